// Qt Remote Objects baseline: one source object over the `local:` transport
// whose slot returns the small or the 64 KiB answer.
//
//   oru_bench_qtro_server <local name> <small answer bytes> <big answer bytes>

#include <QCoreApplication>
#include <QRemoteObjectHost>

class BenchSource : public QObject
{
    Q_OBJECT

public:
    BenchSource(int smallSize, int bigSize)
        : small(smallSize, 's')
        , big(bigSize, 'b')
    {
    }

public slots:
    QByteArray call(const QByteArray &request, bool wantBig)
    {
        Q_UNUSED(request);
        return wantBig ? big : small;
    }

private:
    const QByteArray small;
    const QByteArray big;
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 4)
        return 2;
    BenchSource source(atoi(argv[2]), atoi(argv[3]));
    QRemoteObjectHost host(QUrl(QStringLiteral("local:") + QString::fromLocal8Bit(argv[1])));
    host.enableRemoting(&source, QStringLiteral("Bench"));
    return app.exec();
}

#include "qtro_server.moc"
