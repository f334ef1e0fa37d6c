#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// The example host, built against the unpacked development package (through
// the CMake package and through pkg-config), driven by the packaged oru-client.
class tst_Package : public QObject
{
    Q_OBJECT

private slots:
    void hostAnswersPackagedClient_data();
    void hostAnswersPackagedClient();
};

namespace {

// Runs the packaged oru-client against the given control server; returns its output.
QByteArray client(const QString &server, QStringList arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral(ORU_PACKAGED_CLIENT), arguments << QStringLiteral("--server") << server);
    if (!process.waitForFinished(20000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return QByteArray("failed: ") + process.errorString().toUtf8();
    return process.readAllStandardOutput();
}

} // namespace

void tst_Package::hostAnswersPackagedClient_data()
{
    QTest::addColumn<QString>("host");
    for (const QString &host : QStringLiteral(ORU_EXAMPLE_HOSTS).split(QLatin1Char(',')))
        QTest::newRow(qPrintable(QFileInfo(host).fileName())) << host;
}

void tst_Package::hostAnswersPackagedClient()
{
    QFETCH(QString, host);
    QVERIFY2(QFileInfo::exists(host), "example host not built");
    // The log lands in the app data folder: keep it out of the real home.
    QTemporaryDir dataHome;
    QVERIFY(dataHome.isValid());
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), dataHome.path());
    QProcess gateway;
    gateway.setProcessEnvironment(env);
    gateway.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const QString control = QStringLiteral("oru-package-%1-control").arg(QCoreApplication::applicationPid());
    gateway.start(host, {control, control + QStringLiteral("-stream"), QStringLiteral("log")});
    QVERIFY2(gateway.waitForStarted(), qPrintable(gateway.errorString()));
    while (!gateway.canReadLine() && gateway.waitForReadyRead(10000)) {}
    QCOMPARE(gateway.readLine().trimmed(), QByteArray("ready"));

    const QByteArray presets = client(control, {"presets", "--dev", "cam-7", "--channel", "2"});
    QVERIFY2(presets.contains("gate") && presets.contains("cam-7/2 yard"), presets.constData());

    // Exit as the main client: the host's slot quits its event loop.
    QVERIFY(!client(control, {"exit"}).startsWith("failed"));
    QVERIFY(gateway.waitForFinished(10000));
    QCOMPARE(gateway.exitStatus(), QProcess::NormalExit);
    QCOMPARE(gateway.exitCode(), 0);

    // The packaged logging library wrote the host's log under its app data folder.
    QDirIterator logs(dataHome.path(), {QStringLiteral("oru.dgw.log")}, QDir::Files, QDirIterator::Subdirectories);
    QVERIFY(logs.hasNext());
    QFile log(logs.next());
    QVERIFY(log.open(QIODevice::ReadOnly));
    QVERIFY(log.readAll().contains("server response client get presets req"));
}

QTEST_GUILESS_MAIN(tst_Package)
#include "tst_package.moc"
