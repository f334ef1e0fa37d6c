#include "sdk_fixture.h"

#include <oru_sdk/dgw_signals.h>

#include <QtTest>

using oru_client::Connection;
using oru_sdk::DgwSignals;
using oru_sdk::MessageType;

namespace {

// The server's own name for a client socket is the descriptor it accepted;
// the log announces it.
QString connectNamed(Connection *connection, bool hello)
{
    oru_test::LogCursor cursor;
    if (!oru_test::connectControl(connection, hello))
        return QString();
    QString name;
    const bool seen = QTest::qWaitFor([&] {
        for (const QString &line : cursor.lines()) {
            if (line.startsWith(QLatin1String("new connection to message server: ")))
                name = line.section(QLatin1Char(' '), -1);
        }
        return !name.isEmpty();
    });
    return seen ? name : QString();
}

bool refusesConnections(const QString &server)
{
    Connection probe;
    return !probe.connectToServer(server, 1000);
}

} // namespace

class tst_MessageServer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { oru_test::startSdk(); }

    void staleEndpointIsReplaced();
    void liveNamesAreLeftAlone();
    void laterInitChangesNothing();
    void exitBeforeHelloDoesNothing();
    void frameFromUnknownTypeIsIgnored();

    void exitByDisconnect();
    void exitByFrame();
    void secondHelloMovesRole();
};

void tst_MessageServer::staleEndpointIsReplaced()
{
    Connection control, stream;
    QVERIFY(oru_test::connectControl(&control));
    QVERIFY(oru_test::connectStream(&stream));
}

// A second gateway started on our names, as a new user might: it must not
// take them, and we stay reachable while it runs and after it has gone.
void tst_MessageServer::liveNamesAreLeftAlone()
{
#ifdef ORU_SIM_BIN
    const auto &sdk = oru_test::startSdk();
    QTemporaryDir home;
    QProcess second;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), home.path());
    second.setProcessEnvironment(env);
    second.start(QStringLiteral(ORU_SIM_BIN),
                 {QStringLiteral("--message-server"), sdk.messageServer, QStringLiteral("--stream-server"),
                  sdk.streamServer, QStringLiteral("--log-dir"), QStringLiteral("logs"), QStringLiteral("--quiet")});
    QVERIFY(second.waitForStarted());
    const auto secondLog = [&] {
        QDirIterator it(home.path(), {QStringLiteral("oru.dgw.log")}, QDir::Files, QDirIterator::Subdirectories);
        QFile file(it.hasNext() ? it.next() : QString());
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    };
    for (const QString &name : {sdk.messageServer, sdk.streamServer}) {
        const QString line =
            QStringLiteral("local server name %1 is in use by a running server, not listening").arg(name);
        QTRY_COMPARE_WITH_TIMEOUT(secondLog().count(line), 1, 10000);
    }
    const auto reachable = [] {
        Connection control, stream;
        return connectNamed(&control, false) != QString() && oru_test::connectStream(&stream);
    };
    QVERIFY(reachable());
    second.terminate();
    QVERIFY(second.waitForFinished());
    QVERIFY(reachable());
#else
    QSKIP("needs the simulated gateway");
#endif
}

void tst_MessageServer::laterInitChangesNothing()
{
    const auto &sdk = oru_test::startSdk();
    oru_sdk::init_oru_dgw_sdk(QStringLiteral("elsewhere"), sdk.messageServer + QLatin1String("_2"),
                              sdk.streamServer + QLatin1String("_2"));
    oru_sdk::release_oru_dgw_sdk();
    QVERIFY(refusesConnections(sdk.messageServer + QLatin1String("_2")));
    QVERIFY(refusesConnections(sdk.streamServer + QLatin1String("_2")));
    QVERIFY(!QFile::exists(QFileInfo(sdk.logPath).dir().filePath(QStringLiteral("../elsewhere/oru.dgw.log"))));
    Connection control;
    QVERIFY(oru_test::connectControl(&control));
}

void tst_MessageServer::exitBeforeHelloDoesNothing()
{
    QSignalSpy exits(&DgwSignals::instance(), &DgwSignals::signalMainClientExit);
    QSignalSpy searches(&DgwSignals::instance(), &DgwSignals::signalSearchDevsCmd);
    Connection client;
    QVERIFY(oru_test::connectControl(&client));
    oru_test::LogCursor cursor;
    // The exit is not acted on, and what follows it waits for the next notification.
    client.sendRaw(oru_sdk::encodeFrame(MessageType::MainClientExit, {})
                   + oru_sdk::encodeFrame(MessageType::SearchDevsCmd, {}));
    QTest::qWait(200);
    QCOMPARE(searches.count(), 0);
    // The next notification reads the waiting frame along with the new one.
    client.sendFrame(MessageType::SearchDevsCmd);
    QTRY_COMPARE(searches.count(), 2);
    QCOMPARE(exits.count(), 0);
    QVERIFY(client.isConnected());
    QVERIFY(!cursor.lines().contains(QStringLiteral("main client exit message")));
    Connection another;
    QVERIFY(oru_test::connectControl(&another));
}

void tst_MessageServer::frameFromUnknownTypeIsIgnored()
{
    Connection client;
    QVERIFY(oru_test::connectControl(&client));
    QTest::qWait(50);
    oru_test::LogCursor cursor;
    for (int type : {0, 2, 18, 55, 102, 104, 114, 127, -1, -128})
        client.sendFrame(MessageType(type), "payload");
    QTest::qWait(200);
    QCOMPARE(cursor.lines(), QStringList());
    QVERIFY(client.isConnected());
}

void tst_MessageServer::exitByDisconnect()
{
    ORU_REQUIRE_OWN_PROCESS();
    QSignalSpy exits(&DgwSignals::instance(), &DgwSignals::signalMainClientExit);
    Connection bystander, main;
    QVERIFY(!connectNamed(&bystander, false).isEmpty());
    const QString name = connectNamed(&main, true);
    QVERIFY(!name.isEmpty());
    QTest::qWait(100);

    oru_test::LogCursor cursor;
    main.disconnectFromServer();
    QTRY_COMPARE(exits.count(), 1);
    QTest::qWait(100);
    QCOMPARE(cursor.lines(),
             (QStringList{QStringLiteral("message socket disconnected"), QStringLiteral("main client socket exist now"),
                          QStringLiteral("start emit main client exit signal"),
                          QStringLiteral("end emit main client exit signal"),
                          QStringLiteral("socket disconnect from server: ") + name}));
    QVERIFY(refusesConnections(oru_test::startSdk().messageServer));
    QVERIFY(refusesConnections(oru_test::startSdk().streamServer));

    // Connections made before go on working.
    QSignalSpy searches(&DgwSignals::instance(), &DgwSignals::signalSearchDevsCmd);
    bystander.sendFrame(MessageType::SearchDevsCmd);
    QTRY_COMPARE(searches.count(), 1);
    QCOMPARE(exits.count(), 1);
}

void tst_MessageServer::exitByFrame()
{
    ORU_REQUIRE_OWN_PROCESS();
    QSignalSpy exits(&DgwSignals::instance(), &DgwSignals::signalMainClientExit);
    Connection main;
    const QString name = connectNamed(&main, true);
    QVERIFY(!name.isEmpty());
    QTest::qWait(100);

    oru_test::LogCursor cursor;
    main.sendFrame(MessageType::MainClientExit);
    QTRY_COMPARE(exits.count(), 1);
    // The library lets go of the socket; its late disconnect finds no main client.
    QVERIFY(main.waitForDisconnected());
    QTest::qWait(100);
    QCOMPARE(
        cursor.lines(),
        (QStringList{QStringLiteral("main client exit message"), QStringLiteral("start emit main client exit signal"),
                     QStringLiteral("end emit main client exit signal"),
                     QStringLiteral("socket disconnect from server: ") + name,
                     QStringLiteral("message socket disconnected")}));
    QCOMPARE(exits.count(), 1);
    QVERIFY(refusesConnections(oru_test::startSdk().messageServer));
    QVERIFY(refusesConnections(oru_test::startSdk().streamServer));
}

void tst_MessageServer::secondHelloMovesRole()
{
    ORU_REQUIRE_OWN_PROCESS();
    QSignalSpy exits(&DgwSignals::instance(), &DgwSignals::signalMainClientExit);
    Connection first, second;
    const QString firstName = connectNamed(&first, true);
    QVERIFY(!firstName.isEmpty());
    QVERIFY(!connectNamed(&second, true).isEmpty());
    QTest::qWait(100);

    oru_test::LogCursor cursor;
    first.disconnectFromServer();
    QTRY_COMPARE(cursor.lines().size(), 3);
    QCOMPARE(cursor.lines(),
             (QStringList{QStringLiteral("message socket disconnected"), QStringLiteral("main client socket exist now"),
                          QStringLiteral("socket disconnect from server: ") + firstName}));
    QCOMPARE(exits.count(), 0);
    Connection late;
    QVERIFY(oru_test::connectControl(&late));

    second.disconnectFromServer();
    QTRY_COMPARE(exits.count(), 1);
    QVERIFY(refusesConnections(oru_test::startSdk().messageServer));
    // A frame to a forgotten socket name goes nowhere, and nothing breaks.
    late.sendFrame(MessageType::SearchDevsCmd);
    QTest::qWait(100);
    QVERIFY(late.isConnected());
}

QTEST_GUILESS_MAIN(tst_MessageServer)
#include "tst_message_server.moc"
