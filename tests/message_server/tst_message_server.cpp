#include "sdk_fixture.h"

#include "oru_message.pb.h"

#include <oru_sdk/dgw_signals.h>

#include <QtTest>

#include <memory>
#include <thread>
#include <vector>

using oru_client::Connection;
using oru_sdk::DgwSignals;
using oru_sdk::MessageType;

namespace {

bool callExportsAtExit = false;
[[maybe_unused]] const int exitHook = std::atexit([] {
    if (!callExportsAtExit)
        return;
    // Whatever the library freed is reused by now, as in a busy process.
    static std::vector<std::vector<char>> reuse;
    for (size_t size = 16; size <= 1024; size += 8)
        for (int i = 0; i < 64; ++i)
            reuse.emplace_back(size, char(0xA5));
    for (int i = 0; i < 100; ++i) {
        oru_sdk::get_dev_net_res({QStringLiteral("late"), 0, QString()}, {});
        oru_sdk::write_stream_data(1, QByteArray(64, 'x'));
        oru_sdk::push_dev_status_msg(QStringLiteral("late"), oru_sdk::DevStatus(0));
    }
});

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
    void initTestCase()
    {
        if (!QCoreApplication::arguments().contains(QLatin1String("initOnThreadWithoutEventLoop")))
            oru_test::startSdk();
    }

    // A second gateway started on our names, as a new user might: it must not
    // take them, and we stay reachable while it runs and after it has gone.
    void liveNamesAreLeftAlone()
    {
        const auto &sdk = oru_test::startSdk();
        QTemporaryDir home;
        QProcess second;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), home.path());
        second.setProcessEnvironment(env);
        second.start(QStringLiteral(ORU_SECOND_GATEWAY_BIN),
                     {QStringLiteral("logs"), sdk.messageServer, sdk.streamServer});
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
            return oru_test::connectNamed(&control, false) != QString() && oru_test::connectStream(&stream);
        };
        QVERIFY(reachable());
        second.terminate();
        QVERIFY(second.waitForFinished());
        QVERIFY(reachable());
    }

    void laterInitChangesNothing()
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

    void exitBeforeHelloDoesNothing()
    {
        QSignalSpy exits(&DgwSignals::instance(), &DgwSignals::signalMainClientExit);
        QSignalSpy searches(&DgwSignals::instance(), &DgwSignals::signalSearchDevsCmd);
        Connection client;
        QVERIFY(oru_test::connectControl(&client));
        oru_test::LogCursor cursor;
        // The exit is not acted on, and what follows it waits for the next notification.
        client.sendRaw(oru_sdk::encodeFrame(MessageType::MainClientExit, {})
                       + oru_sdk::encodeFrame(MessageType::SearchDevsCmd, {}));
        // Once another client's frame is read, only that one has been acted on.
        Connection other;
        QVERIFY(oru_test::connectControl(&other) && oru_test::controlBarrier(&other));
        QCOMPARE(searches.count(), 1);
        // The next notification reads the waiting frame along with the new one.
        client.sendFrame(MessageType::SearchDevsCmd);
        QTRY_COMPARE(searches.count(), 3);
        QCOMPARE(exits.count(), 0);
        QVERIFY(client.isConnected());
        QVERIFY(!cursor.lines().contains(QStringLiteral("main client exit message")));
        Connection another;
        QVERIFY(oru_test::connectControl(&another));
    }

    void frameFromUnknownTypeIsIgnored()
    {
        Connection client;
        QVERIFY(oru_test::connectControlLogged(&client));
        oru_test::LogCursor cursor;
        for (int type : {0, 2, 18, 55, 102, 104, 114, 127, -1, -128})
            client.sendFrame(MessageType(type), "payload");
        QVERIFY(oru_test::controlBarrier(&client));
        // Earlier tests' sockets may still be coming and going.
        const QRegularExpression notLifecycle(QStringLiteral("^(?!new connection to|message socket disconnected)"));
        QCOMPARE(cursor.lines().filter(notLifecycle), QStringList(QStringLiteral("client search devs cmd")));
        QVERIFY(client.isConnected());
    }

    void exitByDisconnect() { mainClientLeaves(false); }
    void exitByFrame() { mainClientLeaves(true); }
    void secondHelloMovesRole()
    {
        ORU_REQUIRE_OWN_PROCESS();
        QSignalSpy exits(&DgwSignals::instance(), &DgwSignals::signalMainClientExit);
        Connection first, second;
        const QString firstName = oru_test::connectNamed(&first, true);
        QVERIFY(!firstName.isEmpty());
        QVERIFY(!oru_test::connectNamed(&second, true).isEmpty() && oru_test::controlBarrier(&second));

        oru_test::LogCursor cursor;
        first.disconnectFromServer();
        QTRY_COMPARE(cursor.lines().size(), 3);
        QCOMPARE(
            cursor.lines(),
            (QStringList{QStringLiteral("message socket disconnected"), QStringLiteral("main client socket exist now"),
                         QStringLiteral("socket disconnect from server: ") + firstName}));
        QCOMPARE(exits.count(), 0);
        Connection late;
        QVERIFY(oru_test::connectControl(&late));

        second.disconnectFromServer();
        QTRY_COMPARE(exits.count(), 1);
        QVERIFY(refusesConnections(oru_test::startSdk().messageServer));
        // A frame to a forgotten socket name goes nowhere, and nothing breaks.
        QVERIFY(oru_test::controlBarrier(&late));
        QVERIFY(late.isConnected());
    }

    // [hello][request][exit] in one write, to a host that answers at once and
    // ends its process on the exit signal: the answer must be out by then.
    void answerBeforeExitFrameIsSent()
    {
        ORU_REQUIRE_OWN_PROCESS();
        Connection main;
        main.setDirectReads(false); // waited on below through the socket
        QVERIFY(oru_test::connectControl(&main));
        QObject host; // its connections go with it
        connect(&DgwSignals::instance(), &DgwSignals::signalGetDevNetReq, &host, [](const QString &id) {
            oru_sdk::get_dev_net_res({id, 0, QString()}, {});
        });
        QSignalSpy exits(&DgwSignals::instance(), &DgwSignals::signalMainClientExit);
        bool answeredFirst = false;
        connect(&DgwSignals::instance(), &DgwSignals::signalMainClientExit, &host, [&] {
            // What a host that quits here leaves behind is all the client gets.
            answeredFirst = main.localSocket()->waitForReadyRead(1000);
        });
        main.sendRaw(oru_sdk::encodeFrame(MessageType::MainClientHello, {})
                     + oru_sdk::encodeFrame(MessageType::GetDevNetReq,
                                            oru_test::requestWithId<oru_sdk_proto::DevNetGetReq>("last words"))
                     + oru_sdk::encodeFrame(MessageType::MainClientExit, {}));
        QTRY_COMPARE(exits.count(), 1);
        QVERIFY(answeredFirst);
        oru_client::Frame frame;
        QVERIFY(main.waitForFrame(&frame, 0));
        QCOMPARE(frame.type, MessageType::GetDevNetRes);
    }

    // Host threads may still call exports while the process exits, after the
    // library's objects are gone: the calls must do nothing. The checks run from
    // an exit handler registered before main (so it runs after those objects'
    // destructors); a crash
    // there fails the test's process.
    void exportsAfterExitDoNothing()
    {
        ORU_REQUIRE_OWN_PROCESS();
        callExportsAtExit = true;
    }

    // Started from a std::thread, the SDK serves nothing: it says so, and says so
    // again to the event-loop thread that calls init too late.
    void initOnThreadWithoutEventLoop()
    {
        ORU_REQUIRE_OWN_PROCESS();
        std::thread([] { oru_test::startSdk(); }).join();
        const auto &sdk = oru_test::startSdk();
        oru_sdk::init_oru_dgw_sdk(QStringLiteral("logs"), sdk.messageServer, sdk.streamServer);
        const QStringList errors = oru_test::logLevelTexts().filter(QRegularExpression(QStringLiteral("^error ")));
        QCOMPARE(errors.size(), 2);
        QVERIFY(errors.at(0).contains(QLatin1String("thread without a Qt event loop")));
        QVERIFY(errors.at(1).contains(QLatin1String("changes nothing")));
    }

    // The exit signal comes once per main client, not once per process: a socket
    // connected before may say hello after the main client left, then leave.
    void exitSignalCanComeTwice()
    {
        ORU_REQUIRE_OWN_PROCESS();
        QSignalSpy exits(&DgwSignals::instance(), &DgwSignals::signalMainClientExit);
        Connection main, late;
        QVERIFY(!oru_test::connectNamed(&main, true).isEmpty() && !oru_test::connectNamed(&late, false).isEmpty());
        main.disconnectFromServer();
        QTRY_COMPARE(exits.count(), 1);
        late.sendFrame(MessageType::MainClientHello);
        late.sendFrame(MessageType::MainClientExit);
        QTRY_COMPARE(exits.count(), 2);
    }

    void clientLeavesWhileHostWaits_data()
    {
        QTest::addColumn<bool>("mainLeaves");
        QTest::addColumn<bool>("eventLoop");
        QTest::newRow("control socket, QEventLoop") << false << true;
        QTest::newRow("control socket, processEvents") << false << false;
        // Ends the servers, so it comes last.
        QTest::newRow("main client, QEventLoop") << true << true;
    }

    // The host asks its device before answering and waits in a local loop; the
    // asking client leaves meanwhile while another one keeps sending.
    void clientLeavesWhileHostWaits()
    {
        ORU_REQUIRE_OWN_PROCESS();
        QFETCH(bool, mainLeaves);
        QFETCH(bool, eventLoop);
        if (!mainClient) {
            mainClient = std::make_unique<Connection>();
            bystander = std::make_unique<Connection>();
            mainName = oru_test::connectNamed(mainClient.get(), true);
            QVERIFY(!mainName.isEmpty() && !oru_test::connectNamed(bystander.get(), false).isEmpty());
        }
        Connection control;
        Connection *asker = mainLeaves ? mainClient.get() : &control;
        const QString name = mainLeaves ? mainName : oru_test::connectNamed(&control, false);
        QVERIFY(!name.isEmpty());

        oru_test::LogCursor cursor;
        bool waited = false;
        const auto host =
            connect(&DgwSignals::instance(), &DgwSignals::signalGetDevNetReq, this, [&](const QString &id) {
                if (!std::exchange(waited, true)) {
                    asker->disconnectFromServer();
                    bystander->sendFrame(MessageType::SearchDevsCmd);
                    oru_test::SocketDeletions deletions;
                    QVERIFY(oru_test::waitInLocalLoop(eventLoop, [&] {
                        return cursor.lines().contains(QStringLiteral("socket disconnect from server: ") + name);
                    }));
                    QCOMPARE(deletions.count, 0);
                }
                oru_sdk::get_dev_net_res({id, 0, QString()}, {});
            });
        asker->sendFrame(MessageType::GetDevNetReq, oru_test::requestWithId<oru_sdk_proto::DevNetGetReq>("waiting"));
        QTRY_VERIFY(waited);
        for (int i = 0; i < 5; ++i) {
            const QString id = QString::number(i);
            bystander->sendFrame(MessageType::GetDevNetReq,
                                 oru_test::requestWithId<oru_sdk_proto::DevNetGetReq>(id.toStdString()));
            oru_client::Frame frame;
            QVERIFY(bystander->waitForFrame(&frame));
            QCOMPARE(frame.type, MessageType::GetDevNetRes);
            QVERIFY(frame.payload.contains(id.toUtf8()));
        }
        disconnect(host);
    }

private:
    // The main client leaves (its socket closes, or it says exit): the servers stop
    // listening, and connections made before go on working.
    void mainClientLeaves(bool byFrame)
    {
        ORU_REQUIRE_OWN_PROCESS();
        QSignalSpy exits(&DgwSignals::instance(), &DgwSignals::signalMainClientExit);
        Connection bystander, main;
        QVERIFY(!oru_test::connectNamed(&bystander, false).isEmpty());
        const QString name = oru_test::connectNamed(&main, true);
        QVERIFY(!name.isEmpty() && oru_test::controlBarrier(&main));

        oru_test::LogCursor cursor;
        const QStringList emitted{QStringLiteral("start emit main client exit signal"),
                                  QStringLiteral("end emit main client exit signal"),
                                  QStringLiteral("socket disconnect from server: ") + name};
        if (byFrame) {
            main.sendFrame(MessageType::MainClientExit);
            // The library lets go of the socket; its late disconnect finds no main client.
            QVERIFY(main.waitForDisconnected());
            QTRY_COMPARE(cursor.lines(),
                         QStringList(QStringLiteral("main client exit message")) + emitted
                             + QStringList(QStringLiteral("message socket disconnected")));
        } else {
            main.disconnectFromServer();
            QTRY_COMPARE(cursor.lines(),
                         (QStringList{QStringLiteral("message socket disconnected"),
                                      QStringLiteral("main client socket exist now")}
                          + emitted));
        }
        QVERIFY(refusesConnections(oru_test::startSdk().messageServer));
        QVERIFY(refusesConnections(oru_test::startSdk().streamServer));
        QVERIFY(oru_test::controlBarrier(&bystander));
        QCOMPARE(exits.count(), 1);
    }

    // Kept across the rows of clientLeavesWhileHostWaits.
    std::unique_ptr<Connection> mainClient, bystander;
    QString mainName;
};

QTEST_GUILESS_MAIN(tst_MessageServer)
#include "tst_message_server.moc"
