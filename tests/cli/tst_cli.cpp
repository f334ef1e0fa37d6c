// oru-client against oru-dgw-sim as real processes, and the client library's
// waiting, matching and failure paths against a fake gateway in this process.

#include "client.h"
#include "frame_codec.h"
#include "oru_message.pb.h"
#include "wire_message.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QImageReader>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

using namespace oru_sdk;
using oru_client::CallError;
using oru_client::Client;

namespace {

struct Run {
    int code = -1;
    QString out;
    QString err;
};

// A gateway in this process that accepts connections, records the frames it
// gets, and answers only what a test hands it.
class FakeGateway : public QObject
{
public:
    explicit FakeGateway(const QString &name)
    {
        QLocalServer::removeServer(name);
        server.listen(name);
        connect(&server, &QLocalServer::newConnection, this, [this] {
            socket = server.nextPendingConnection();
            connect(socket, &QLocalSocket::readyRead, this, [this] {
                splitter.append(socket->readAll());
                oru_client::Frame f;
                while (splitter.next(&f.type, &f.payload))
                    frames.append(f);
            });
        });
    }
    bool waitForFrames(int n)
    {
        return QTest::qWaitFor([&] { return frames.size() >= n; }, 3000);
    }
    template <class M>
    QString requestId(int i) const
    {
        M m;
        parseMessage(frames.at(i).payload, &m);
        return QString::fromStdString(m.request_id());
    }
    void send(MessageType type, const QByteArray &payload) { socket->write(encodeFrame(type, payload)); }

    QLocalServer server;
    QLocalSocket *socket = nullptr;
    FrameSplitter splitter;
    QList<oru_client::Frame> frames;
};

QByteArray presetsAnswer(const QString &requestId, const QString &name)
{
    oru_sdk_proto::GetPresetRes m;
    m.set_request_id(requestId.toStdString());
    m.mutable_error();
    auto *p = m.add_presets();
    p->set_param_1(1);
    p->set_preset_name(name.toStdString());
    return serializeMessage(m);
}

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

private:
    QString id = QString::number(QCoreApplication::applicationPid());
    QString messageServer = QStringLiteral("oru_cli_test_msg_") + id;
    QString streamServer = QStringLiteral("oru_cli_test_stream_") + id;
    QTemporaryDir dir;
    QProcess sim;

    // Runs oru-client against the simulator, spinning this event loop meanwhile.
    Run client(QStringList args, bool withServers = true)
    {
        if (withServers)
            args << QStringLiteral("--server") << messageServer << QStringLiteral("--stream-server") << streamServer;
        QProcess p;
        p.start(QStringLiteral(ORU_CLIENT_BIN), args);
        QEventLoop loop;
        connect(&p, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
        QTimer::singleShot(30000, &loop, &QEventLoop::quit);
        if (p.state() != QProcess::NotRunning)
            loop.exec();
        if (p.state() != QProcess::NotRunning) {
            p.kill();
            p.waitForFinished(2000);
            return {-1, QString(), QStringLiteral("oru-client did not finish")};
        }
        return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

    static QJsonObject jsonOf(const Run &r) { return QJsonDocument::fromJson(r.out.toUtf8()).object(); }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), dir.path()); // its log goes here
        sim.setProcessEnvironment(env);
        sim.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        sim.start(QStringLiteral(ORU_SIM_BIN),
                  {QStringLiteral("--message-server"), messageServer, QStringLiteral("--stream-server"), streamServer,
                   QStringLiteral("--alarm-interval"), QStringLiteral("1"), QStringLiteral("--fps"),
                   QStringLiteral("20"), QStringLiteral("--quiet")});
        QVERIFY(sim.waitForStarted());
        QVERIFY(QTest::qWaitFor(
            [&] {
                QLocalSocket probe;
                probe.connectToServer(messageServer);
                return probe.waitForConnected(100);
            },
            10000));
    }

    // The gateway stops, cleanly, when a main client says hello then exit.
    void cleanupTestCase()
    {
        const Run r = client({QStringLiteral("exit")});
        QCOMPARE(r.code, 0);
        QTRY_VERIFY_WITH_TIMEOUT(sim.state() == QProcess::NotRunning, 5000);
        QCOMPARE(sim.exitStatus(), QProcess::NormalExit);
        QCOMPARE(sim.exitCode(), 0);
    }

    void commands_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("expected"); // regular expression on stdout (success) or stderr (failure)
        const auto row = [](const char *name, const QString &args, int code, const QString &expected) {
            QTest::newRow(name) << args.split(QLatin1Char('|')) << code << expected;
        };
        row("presets", "presets|--dev|cam1|--channel|1", 0, "number=1 name=Home\nnumber=2 name=Gate\n");
        row("presets as JSON", "presets|--dev|cam1|--json", 0, R"("name":"Gate","number":2)");
        row("ptz start then stop", "ptz|--dev|cam1|--op|left|--for|200", 0, "operation=2 action=2");
        row("recordings", "recordings|--dev|cam1|--from|-3h|--to|now", 0,
            R"(recordings, playback by time possible\n(begin=.* fileName=cam1_ch1_\d{8}-\d{6}_600s\.mp4.*\n){5,7}$)");
        row("rtsp of a sub stream", "rtsp|--dev|nvr1|--channel|3|--stream-type|1", 0,
            "^rtsp://admin@192.0.2.20:554/Streaming/Channels/302\n$");
        row("network", "net|get|--dev|cam2", 0, "ip=192.0.2.12 subNetMask=255.255.255.0");
        row("search pushes the devices", "search", 0, "id=cam1 .*\nid=cam2 .*\nid=nvr1 .*\nid=cam3 .*status=3");
        row("channels are pushed", "channels|--dev|nvr1", 0, "(devId=nvr1 channel=\\d.*\n){4}");
        row("common request echoed", R"(common|--dev|cam1|--json|{"probe":[1,2]})", 0,
            R"(\{"echo":\{"probe":\[1,2\]\},"result":0\})");
        row("secret questions to all, matched by serial", "secret-questions|--sn|SIM-IPC-0002", 0,
            "Name of your first pet");
        row("upgrade check", "upgrade|check|--dev|cam2", 0, "hasUpdate=1 newVersionName=V5.8.0");
        row("unknown device", "presets|--dev|nope", 1, "error 1001 \\(unknown device 'nope'\\)");
        row("channel out of range", "presets|--dev|cam1|--channel|7", 1, "error 1003");
        row("not activated", "presets|--dev|cam3", 1, "error 1002");
        row("missing option", "presets", 2, "--dev is required");
        row("not a number", "presets|--dev|cam1|--channel|two", 2, "--channel takes a number");
        row("not a time", "recordings|--dev|cam1|--from|soonish", 2, "--from: 'soonish' is no time");
        row("missing action", "net|--dev|cam1", 2, "net needs one of: get, set");
        row("unknown command", "frobnicate", 2, "unknown command 'frobnicate'");
        row("unknown option", "presets|--dev|cam1|--colour|red", 2, "Unknown option 'colour'");
    }

    void commands()
    {
        QFETCH(QStringList, args);
        QFETCH(int, code);
        QFETCH(QString, expected);
        const Run r = client(args);
        QCOMPARE(r.code, code);
        const QRegularExpression re(expected);
        if (code == 0) {
            QVERIFY2(re.match(r.out).hasMatch(), qPrintable(r.out + r.err));
            QCOMPARE(r.err, QString());
        } else {
            // One line on stderr, nothing on stdout.
            QVERIFY2(re.match(r.err).hasMatch(), qPrintable(r.err));
            QCOMPARE(r.err.count(QLatin1Char('\n')), 1);
            QCOMPARE(r.out, QString());
        }
    }

    // Requests change the simulated devices; later reads show it.
    void changesAreSeenByLaterReads()
    {
        QCOMPARE(client({"preset", "add", "--dev", "cam1", "--channel", "2", "--number", "7", "--name", "Probe"}).code,
                 0);
        QVERIFY(client({"presets", "--dev", "cam1", "--channel", "2"}).out.contains("number=7 name=Probe"));
        QCOMPARE(client({"preset", "delete", "--dev", "cam1", "--channel", "2", "--number", "7"}).code, 0);
        QVERIFY(!client({"presets", "--dev", "cam1", "--channel", "2"}).out.contains("Probe"));
        QCOMPARE(client({"preset", "call", "--dev", "cam1", "--channel", "2", "--number", "7"}).code, 1);

        QCOMPARE(client({"rename", "--dev", "nvr1", "--name", "Back office"}).code, 0);
        QVERIFY(client({"search"}).out.contains(R"(id=nvr1 name="Back office")"));
        QCOMPARE(client({"net", "set", "--dev", "cam2", "--ip", "192.0.2.77"}).out,
                 QString("devId=cam2 devIp=192.0.2.77\n"));
        QVERIFY(client({"net", "get", "--dev", "cam2"}).out.startsWith("ip=192.0.2.77 "));
    }

    void liveStreamToFile()
    {
        const QString file = dir.filePath(QStringLiteral("live.mjpeg"));
        const Run r = client({"live", "--dev", "cam1", "--seconds", "2", "--out", file, "--json"});
        QCOMPARE(r.code, 0);
        const QJsonObject stats = jsonOf(r);
        QVERIFY2(stats.value("frames").toInt() > 0, qPrintable(r.out));
        QFile clip(file);
        QVERIFY(clip.open(QIODevice::ReadOnly));
        const QByteArray bytes = clip.readAll();
        QCOMPARE(double(bytes.size()), stats.value("bytes").toDouble());
        QCOMPARE(bytes.count("\xFF\xD8\xFF"), stats.value("frames").toInt()); // one JPEG per data frame
    }

    void snapshotIsADecodableJpeg()
    {
        const QString file = dir.filePath(QStringLiteral("snap.jpg"));
        QCOMPARE(client({"snapshot", "--dev", "nvr1", "--channel", "4", "--out", file}).code, 0);
        QImageReader reader(file);
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        const QImage image = reader.read();
        QVERIFY2(!image.isNull(), qPrintable(reader.errorString()));
        QCOMPARE(image.size(), QSize(640, 360));
    }

    void playbackHonoursSkip()
    {
        const Run r =
            client({"playback", "--dev", "cam1", "--seconds", "2", "--skip-to", "420", "--skip-after", "1", "--json"});
        QCOMPARE(r.code, 0);
        const QJsonObject stats = jsonOf(r);
        QVERIFY(stats.value("frames").toInt() > 0);
        QCOMPARE(stats.value("duration").toInt(), 600);
        QVERIFY2(stats.value("offsetTime").toInt() >= 420, qPrintable(r.out));
    }

    void watchPrintsPushes()
    {
        const Run r = client({"watch", "--count", "1", "--seconds", "10", "--json"});
        QCOMPARE(r.code, 0);
        QVERIFY2(jsonOf(r).value("push").isString(), qPrintable(r.out));
    }

    void noGatewayIsOneLine()
    {
        const Run r = client({"presets", "--dev", "cam1", "--server", "oru_cli_test_nobody_" + id}, false);
        QCOMPARE(r.code, 3);
        QCOMPARE(r.err,
                 QStringLiteral("oru-client presets: no gateway listening on 'oru_cli_test_nobody_%1'\n").arg(id));
    }

    void silentGatewayTimesOut()
    {
        FakeGateway fake(QStringLiteral("oru_cli_test_silent_") + id);
        const Run r =
            client({"presets", "--dev", "cam1", "--server", fake.server.serverName(), "--timeout", "300"}, false);
        QCOMPARE(r.code, 4);
        QCOMPARE(r.err, QStringLiteral("oru-client presets: get presets: no answer within 300 ms\n"));
    }

    // ---- The library ----

    void callWithoutConnectionFailsAtOnce()
    {
        Client c;
        const auto reply = c.getPresets(QStringLiteral("cam1"), 1);
        QVERIFY(reply.isFinished());
        QCOMPARE(reply.error(), CallError::NotConnected);
        QVERIFY(!reply.ok());
    }

    void callTimesOutWhenNothingAnswers()
    {
        FakeGateway fake(QStringLiteral("oru_cli_test_fake1_") + id);
        Client c;
        QVERIFY(c.connectToServer(fake.server.serverName()));
        c.setTimeout(200);
        const auto reply = c.getRtspUrl({QString(), QStringLiteral("cam1"), 1, 0});
        QSignalSpy finished(reply.call(), &oru_client::PendingCall::finished);
        QElapsedTimer clock;
        clock.start();
        QVERIFY(!reply.wait(5000));
        QCOMPARE(reply.error(), CallError::Timeout);
        QCOMPARE(reply.errorString(), QStringLiteral("get RTSP address: no answer within 200 ms"));
        QVERIFY(clock.elapsed() >= 190);
        QCOMPARE(finished.count(), 1);
        QCOMPARE(c.pendingCalls(), 0);
        QVERIFY(fake.waitForFrames(1)); // the request did go out
        QCOMPARE(fake.frames.first().type, MessageType::GetRtspUrlReq);
    }

    void callFailsWhenTheGatewayGoes()
    {
        FakeGateway fake(QStringLiteral("oru_cli_test_fake2_") + id);
        Client c;
        QVERIFY(c.connectToServer(fake.server.serverName()));
        const auto reply = c.getPresets(QStringLiteral("cam1"), 1);
        QVERIFY(fake.waitForFrames(1));
        fake.socket->close();
        QVERIFY(!reply.wait(3000));
        QCOMPARE(reply.error(), CallError::Disconnected);
        QCOMPARE(reply.errorString(), QStringLiteral("get presets: the gateway closed the connection"));
    }

    // Answers find their own call whatever their order; strangers are ignored.
    void answersAreMatchedByRequestId()
    {
        FakeGateway fake(QStringLiteral("oru_cli_test_fake3_") + id);
        Client c;
        QVERIFY(c.connectToServer(fake.server.serverName()));
        const auto first = c.getPresets(QStringLiteral("cam1"), 1);
        const auto second = c.getPresets(QStringLiteral("cam1"), 2);
        QString seenLater; // then() on a call that has not finished yet
        first.then(this, [&](const oru_client::Reply<PresetList> &r) { seenLater = r.value().value(0).name; });
        QVERIFY(fake.waitForFrames(2));
        const QString id1 = fake.requestId<oru_sdk_proto::ChannelReq>(0),
                      id2 = fake.requestId<oru_sdk_proto::ChannelReq>(1);
        QVERIFY(id1 != id2);
        fake.send(MessageType::GetPresetsRes,
                  presetsAnswer(QStringLiteral("somebody-else"), QStringLiteral("stranger")));
        fake.send(MessageType::GetPresetsRes, presetsAnswer(id2, QStringLiteral("second")));
        QVERIFY(second.wait(3000));
        QVERIFY(!first.isFinished());
        fake.send(MessageType::GetPresetsRes, presetsAnswer(id1, QStringLiteral("first")));
        QVERIFY(first.wait(3000));
        QCOMPARE(first.value().first().name, QStringLiteral("first"));
        QCOMPARE(second.value().first().name, QStringLiteral("second"));
        QCOMPARE(first.response().requestId, id1);
        QCOMPARE(seenLater, QStringLiteral("first"));
        QCOMPARE(c.answeredCalls(), 2);
    }

    // Results sent to every client are matched by serial number and also signalled.
    void broadcastResultsReachTheCallAndTheSignal()
    {
        FakeGateway fake(QStringLiteral("oru_cli_test_fake4_") + id);
        Client c;
        QVERIFY(c.connectToServer(fake.server.serverName()));
        QSignalSpy results(&c, &Client::activateResult);
        ActivateCondition a;
        a.password = QStringLiteral("secret99");
        const auto reply = c.activateDev(QStringLiteral("SN-2"), a);
        QVERIFY(fake.waitForFrames(1));
        oru_sdk_proto::DevActivateCmd sent;
        QVERIFY(parseMessage(fake.frames.first().payload, &sent));
        QCOMPARE(sent.devs_sn(0), std::string("SN-2"));
        for (const char *sn : {"SN-1", "SN-2"}) {
            oru_sdk_proto::ActivateDevRes m;
            m.set_dev_sn(sn);
            m.set_err_code(1006);
            fake.send(MessageType::ActivateDevRes, serializeMessage(m));
        }
        QVERIFY(!reply.wait(3000));
        QCOMPARE(reply.error(), CallError::None);
        QCOMPARE(reply.response().errorCode, 1006);
        QCOMPARE(reply.errorString(), QStringLiteral("activate device: the gateway answered error 1006"));
        QTRY_COMPARE(results.count(), 2);
        QCOMPARE(results.at(0).at(0).toString(), QStringLiteral("SN-1"));
    }
};

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
