#include "sdk_fixture.h"

#include <oru_sdk/dgw_signals.h>
#include <oru_sdk_kit/oru_log.h>

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QLocalSocket>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace oru_test {

namespace {

const QString kTag = QStringLiteral("[oru_dgw_sdk:]    ");

QStringList readLog(bool withLevel)
{
    flush_oru_log();
    QFile file(startSdk().logPath);
    QStringList texts;
    if (!file.open(QIODevice::ReadOnly))
        return texts;
    static const QRegularExpression prefix(QStringLiteral(R"(^\S+ \S+ \[(\w+)\] \[[^\]]*\] )"));
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &raw : lines) {
        const QString line = QString::fromUtf8(raw);
        const auto match = prefix.match(line);
        if (!match.hasMatch())
            continue;
        QString text = line.mid(match.capturedLength());
        if (text.startsWith(kTag))
            text.remove(0, kTag.size());
        texts.append(withLevel ? match.captured(1) + QLatin1Char(' ') + text : text);
    }
    return texts;
}

} // namespace

const Sdk &startSdk()
{
    static QTemporaryDir dataHome;
    static const Sdk sdk = [] {
        qputenv("XDG_DATA_HOME", dataHome.path().toUtf8());
        if (QCoreApplication::applicationName().isEmpty())
            QCoreApplication::setApplicationName(QStringLiteral("oru_tests"));
        const QString id = QString::number(QCoreApplication::applicationPid());
        Sdk s;
        s.messageServer = QStringLiteral("oru_test_msg_") + id;
        s.streamServer = QStringLiteral("oru_test_stream_") + id;
        s.logPath = dataHome.path() + QLatin1Char('/') + QCoreApplication::applicationName()
            + QStringLiteral("/logs/oru.dgw.log");
        if (!QCoreApplication::organizationName().isEmpty())
            s.logPath = dataHome.path() + QLatin1Char('/') + QCoreApplication::organizationName() + QLatin1Char('/')
                + QCoreApplication::applicationName() + QStringLiteral("/logs/oru.dgw.log");
        // A crashed earlier gateway may have left its endpoints behind.
        for (const QString &name : {s.messageServer, s.streamServer}) {
            QFile stale(QDir::tempPath() + QLatin1Char('/') + name);
            stale.open(QIODevice::WriteOnly);
        }
        oru_sdk::init_oru_dgw_sdk(QStringLiteral("logs"), s.messageServer, s.streamServer);
        return s;
    }();
    return sdk;
}

QStringList logTexts() { return readLog(false); }
QStringList logLevelTexts() { return readLog(true); }

LogCursor::LogCursor()
    : start(int(logTexts().size()))
{
}

QStringList LogCursor::lines() const { return logTexts().mid(start); }
QStringList LogCursor::levelLines() const { return logLevelTexts().mid(start); }

bool connectControl(oru_client::Connection *connection, bool hello)
{
    if (!connection->connectToServer(startSdk().messageServer))
        return false;
    if (hello)
        connection->sendFrame(oru_sdk::MessageType::MainClientHello);
    return true;
}

bool connectStream(oru_client::Connection *connection) { return connection->connectToServer(startSdk().streamServer); }

namespace {
// The server's own name for an accepted socket, from its log line ("" if none came).
QString acceptedName(const LogCursor &cursor, QLatin1String prefix)
{
    QString name;
    const bool seen = QTest::qWaitFor([&] {
        for (const QString &line : cursor.lines()) {
            if (line.startsWith(prefix))
                name = line.mid(prefix.size());
        }
        return !name.isEmpty();
    });
    return seen ? name : QString();
}
} // namespace

QString connectNamed(oru_client::Connection *connection, bool hello)
{
    LogCursor cursor;
    return connectControl(connection, hello) ? acceptedName(cursor, QLatin1String("new connection to message server: "))
                                             : QString();
}

bool connectControlLogged(oru_client::Connection *connection) { return !connectNamed(connection).isEmpty(); }

bool connectStreamLogged(oru_client::Connection *connection)
{
    LogCursor cursor;
    return connectStream(connection)
        && !acceptedName(cursor, QLatin1String("new connection to stream server: ")).isEmpty();
}

bool controlBarrier(oru_client::Connection *connection)
{
    QSignalSpy search(&oru_sdk::DgwSignals::instance(), &oru_sdk::DgwSignals::signalSearchDevsCmd);
    connection->sendFrame(oru_sdk::MessageType::SearchDevsCmd);
    return QTest::qWaitFor([&] { return search.count() == 1; });
}

bool disconnectLogged(oru_client::Connection *connection)
{
    LogCursor cursor;
    connection->disconnectFromServer();
    return QTest::qWaitFor([&] { return cursor.lines().contains(QStringLiteral("message socket disconnected")); });
}

bool waitInLocalLoop(bool eventLoop, const std::function<bool()> &done)
{
    if (!eventLoop)
        return QTest::qWaitFor(done, 5000);
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    QTimer::singleShot(5000, &loop, &QEventLoop::quit);
    poll.start(5);
    loop.exec();
    return done();
}

SocketDeletions::SocketDeletions() { QCoreApplication::instance()->installEventFilter(this); }

bool SocketDeletions::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::DeferredDelete && qobject_cast<QLocalSocket *>(watched))
        ++count;
    return false;
}

void addBoolRows(const char *column, const char *whenFalse, const char *whenTrue)
{
    QTest::addColumn<bool>(column);
    QTest::newRow(whenFalse) << false;
    QTest::newRow(whenTrue) << true;
}

} // namespace oru_test
