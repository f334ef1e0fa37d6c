// oru-client against oru-dgw-sim as real processes, and the client library's
// waiting, matching and failure paths against a fake gateway in this process.

#include "client.h"
#include "frame_codec.h"
#include "oru_message.pb.h"
#include "wire_message.h"

#include <QImageReader>
#include <QLocalServer>
#include <QLocalSocket>
#include <QtTest>

#include <csignal>

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

    // Starts oru-client against the simulator.
    void startClient(QProcess &p, QStringList args, bool withServers = true)
    {
        if (withServers)
            args << QStringLiteral("--server") << messageServer << QStringLiteral("--stream-server") << streamServer;
        p.start(QStringLiteral(ORU_CLIENT_BIN), args);
    }

    // Waits for a started oru-client, spinning this event loop meanwhile.
    static Run finish(QProcess &p)
    {
        if (!QTest::qWaitFor([&] { return p.state() == QProcess::NotRunning; }, 30000)) {
            p.kill();
            p.waitForFinished(2000);
            return {-1, QString(), QStringLiteral("oru-client did not finish")};
        }
        return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

    Run client(const QStringList &args, bool withServers = true)
    {
        QProcess p;
        startClient(p, args, withServers);
        return finish(p);
    }

    static QJsonObject jsonOf(const Run &r) { return QJsonDocument::fromJson(r.out.toUtf8()).object(); }

    // Starts a simulator on its own server names and waits until it listens.
    bool startSim(QProcess &p, const QString &msg, const QString &stream, const QStringList &extra = {})
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), dir.path()); // its log goes here
        p.setProcessEnvironment(env);
        p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        p.start(QStringLiteral(ORU_SIM_BIN),
                QStringList{QStringLiteral("--message-server"), msg, QStringLiteral("--stream-server"), stream,
                            QStringLiteral("--quiet")}
                    + extra);
        const auto listening = [&] {
            QLocalSocket probe;
            probe.connectToServer(msg);
            return probe.waitForConnected(100);
        };
        return p.waitForStarted() && QTest::qWaitFor(listening, 10000);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        QVERIFY(startSim(
            sim, messageServer, streamServer,
            {QStringLiteral("--alarm-interval"), QStringLiteral("1"), QStringLiteral("--fps"), QStringLiteral("20")}));
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

    // --verbose: one line per frame on stderr, the answer matched to its request by id.
    void verboseTracesFrames()
    {
        const Run r = client(
            {QStringLiteral("presets"), QStringLiteral("--dev"), QStringLiteral("cam1"), QStringLiteral("--verbose")});
        QCOMPARE(r.code, 0);
        const QRegularExpression trace(QStringLiteral("^> 58 GetPresetsReq id=(\\S+) \\d+ bytes \\+\\d+ ms$\n"
                                                      "^< 59 GetPresetsRes id=\\1 \\d+ bytes \\+\\d+ ms$"),
                                       QRegularExpression::MultilineOption);
        QVERIFY2(trace.match(r.err).hasMatch(), qPrintable(r.err));
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
        row("upgrade", "upgrade|do|--dev|nvr1", 0, "^sent\n$");
        row("upgrade progress waits", "upgrade|progress|--dev|nvr1|--wait|--json", 0, R"("phase":"done")");
        row("playback honours a skip", "playback|--dev|cam1|--seconds|2|--skip-to|420|--skip-after|1|--json", 0,
            R"("duration":600,.*"frames":[1-9]\d*,"offsetTime":(4[2-9]|5\d)\d,)");
        row("watch prints a push", "watch|--count|1|--seconds|10|--json", 0, R"(,"push":"\w+"\}\n$)");
        row("version", "--version", 0, "^oru-client \\d+\\.\\d+\\.\\d+\n$");
        row("devices the gateway manages", "devs|list", 0, "id=cam1 name=\"Front door\" ip=192.0.2.11 status=online\n");
        row("error as one JSON object", "presets|--dev|nope|--json", 1,
            R"(^\{"code":1001,"error":"get presets: [^"]*unknown device 'nope'[^"]*","exit":1\}\n$)");
        row("unknown device", "presets|--dev|nope", 1, "error 1001 \\(unknown device 'nope'\\)");
        row("recordings beyond one answer", "recordings|--dev|cam1|--from|-10d", 1, "more than 200 recordings");
        row("error in a JSON answer", "common|--dev|cam1|--json|{bad", 1, "error 1005");
        row("preset beyond the device's range", "preset|add|--dev|cam1|--number|9999", 1, "error 1005");
        row("erasing every stop unasked", "patrol-stops|--dev|cam1", 2, "patrol-stops needs --stop");
        row("playback speed off the list", "playback|--dev|cam1|--speed|7X", 2, "--speed takes one of 1/8X, ");
        row("playback speed no word", "playback|--dev|cam1|--speed|fast", 2, "--speed takes one of");
        row("PTZ speed", "ptz|--dev|cam1|--op|left|--speed|9", 2, "--speed takes 1 to 7, not 9");
        row("PTZ operation number", "ptz|--dev|cam1|--op|99", 2, "--op takes one of up, ");
        row("negative preset", "preset|call|--dev|cam1|--number|-3", 2, "--number takes 1 or more, not -3");
        row("negative stay", "patrol-stops|--dev|cam1|--stop|1:-5", 2, "--stop takes PRESET:SECONDS");
        row("channel out of range", "presets|--dev|cam1|--channel|7", 1, "error 1003");
        row("not activated", "presets|--dev|cam3", 1, "error 1002");
        row("missing option", "presets", 2, "--dev is required");
        row("not a number", "presets|--dev|cam1|--channel|two", 2, "--channel takes a number");
        row("negative channel", "osd|--dev|cam1|--channel|-1|--text|x", 2, "--channel takes 1 or more, not -1");
        row("not a time", "recordings|--dev|cam1|--from|soonish", 2, "--from: 'soonish' is no time");
        row("missing action", "net|--dev|cam1", 2, "net needs one of: get, set");
        row("unknown command", "frobnicate", 2, "unknown command 'frobnicate'");
        row("unknown option", "presets|--dev|cam1|--colour|red", 2, "Unknown option 'colour'");
        row("extra argument", "presets|--dev|cam1|extra", 2, "unexpected argument 'extra'");
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

        // A set command changes what it is given and keeps the rest: command,
        // its option, the field it sets, the value.
        for (const QStringList &set : {QStringList{"net", "--ip", "ip", "192.0.2.21"},
                                       QStringList{"platform", "--addr", "platformAddr", "p.example.org"}}) {
            QJsonObject expected = jsonOf(client({set[0], "get", "--dev", "nvr1", "--json"}));
            QCOMPARE(client({set[0], "set", "--dev", "nvr1", set[1], set[3]}).code, 0);
            expected.insert(set[2], set[3]);
            QCOMPARE(jsonOf(client({set[0], "get", "--dev", "nvr1", "--json"})), expected);
        }

        QCOMPARE(client({"face", "add", "--dev", "nvr1", "--serial", "F9", "--name", "Zoe", "--org", "Lab"}).code, 0);
        QVERIFY(client({"faces", "--dev", "nvr1", "--json"}).out.contains(R"("organizations":["Lab"])"));
    }

    // Pictures to a file or (--out -) to stdout, the summary as JSON on the other channel.
    void liveStream_data()
    {
        QTest::addColumn<bool>("toStdout");
        QTest::newRow("to a file") << false;
        QTest::newRow("to stdout") << true;
    }

    void liveStream()
    {
        QFETCH(bool, toStdout);
        QFile clip(dir.filePath(QStringLiteral("live.mjpeg")));
        QProcess p;
        startClient(p,
                    {"live", "--dev", "cam1", "--seconds", "1", "--out", toStdout ? "-" : clip.fileName(), "--json"});
        QVERIFY(p.waitForFinished(15000));
        QCOMPARE(p.exitCode(), 0);
        const QByteArray out = p.readAllStandardOutput(), err = p.readAllStandardError();
        const QByteArray pictures = toStdout ? out : (clip.open(QIODevice::ReadOnly) ? clip.readAll() : QByteArray());
        const QJsonObject stats = QJsonDocument::fromJson(toStdout ? err : out).object();
        QVERIFY2(stats.value("frames").toInt() > 0, toStdout ? err.constData() : out.constData());
        QCOMPARE(double(pictures.size()), stats.value("bytes").toDouble());
        QCOMPARE(pictures.count("\xFF\xD8\xFF"), stats.value("frames").toInt()); // one JPEG per data frame
    }

    // A refused stream says the gateway's reason and leaves no empty file.
    void failedLiveSaysWhyAndLeavesNoFile()
    {
        const QString file = dir.filePath(QStringLiteral("refused.mjpeg"));
        const Run r = client({"live", "--dev", "nope", "--out", file});
        QCOMPARE(r.code, 1);
        QCOMPARE(r.err,
                 QStringLiteral("oru-client live: live nope/1: the gateway reported a stream error: "
                                "error 1001 (unknown device 'nope')\n"));
        QVERIFY(!QFile::exists(file));
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

    // A gateway killed or frozen in mid-stream ends live and playback with
    // 3 (connection lost) or 4 (no data within the timeout), never 0.
    void streamEndsWithTheGateway_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("freeze");
        QTest::addColumn<int>("code");
        for (const char *command : {"live", "playback"}) {
            QTest::addRow("%s, killed", command) << command << false << 3;
            QTest::addRow("%s, frozen", command) << command << true << 4;
        }
    }

    void streamEndsWithTheGateway()
    {
        QFETCH(QString, command);
        QFETCH(bool, freeze);
        QFETCH(int, code);
        const QString tag = QStringLiteral("_%1_%2").arg(command).arg(freeze);
        QProcess gw;
        QVERIFY(startSim(gw, messageServer + tag, streamServer + tag));
        const QString file = dir.filePath(command + tag);
        QProcess p;
        startClient(p,
                    {command, "--dev", "cam1", "--seconds", "20", "--timeout", "1000", "--out", file, "--server",
                     messageServer + tag, "--stream-server", streamServer + tag},
                    false);
        QVERIFY(QTest::qWaitFor([&] { return QFileInfo(file).size() > 0; }, 10000));
        if (freeze)
            ::kill(pid_t(gw.processId()), SIGSTOP);
        else
            gw.kill();
        const Run r = finish(p);
        gw.kill();
        gw.waitForFinished();
        QLocalServer::removeServer(messageServer + tag);
        QLocalServer::removeServer(streamServer + tag);
        QCOMPARE(r.code, code);
        QCOMPARE(r.out, QString());
        QVERIFY2(r.err.contains(freeze ? "no stream data within 1000 ms after" : "closed the stream connection after"),
                 qPrintable(r.err));
    }

    // SIGTERM and SIGINT stop the simulator cleanly: exit 0, socket files gone.
    void simStopsOnSignals_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << int(SIGTERM);
        QTest::newRow("SIGINT") << int(SIGINT);
    }

    void simStopsOnSignals()
    {
        QFETCH(int, signal);
        const QString tag = QStringLiteral("_sig%1").arg(signal);
        QProcess gw;
        QVERIFY(startSim(gw, messageServer + tag, streamServer + tag));
        ::kill(pid_t(gw.processId()), signal);
        QVERIFY(gw.waitForFinished(5000));
        QCOMPARE(gw.exitStatus(), QProcess::NormalExit);
        QCOMPARE(gw.exitCode(), 0);
        QVERIFY(!QFile::exists(QDir::temp().filePath(messageServer + tag)));
        QVERIFY(!QFile::exists(QDir::temp().filePath(streamServer + tag)));
    }

    // A second simulator on a live gateway's name says so and leaves it alone.
    // A name a live gateway holds, or a value out of range: exit 2 with one line
    // of its own (among Qt's notes and a sanitizer's report), the first gateway untouched.
    void simRefuses_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("line");
        const auto names = [this](const QString &suffix) {
            return QStringList{"--message-server", messageServer + suffix, "--stream-server", streamServer + suffix};
        };
        const QString inUse = QStringLiteral("oru-dgw-sim: a gateway is already listening on '%1'");
        QTest::newRow("name in use") << names(QString()) << inUse.arg(messageServer);
        QTest::newRow("frame rate") << names("-fps") + QStringList{"--fps", "61"}
                                    << "oru-dgw-sim: --fps takes 1 to 60 and --alarm-interval a number of seconds";
    }

    void simRefuses()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, line);
        QProcess second;
        second.start(QStringLiteral(ORU_SIM_BIN), args);
        QVERIFY(second.waitForFinished(5000));
        QCOMPARE(second.exitCode(), 2);
        const QString err = QString::fromUtf8(second.readAllStandardError());
        QVERIFY2(err.split(QLatin1Char('\n')).contains(line), qPrintable(err));
        QCOMPARE(client({"presets", "--dev", "cam1"}).code, 0);
    }

    // No gateway (exit 3), or one that never answers (exit 4): one line saying which.
    void unreachableGatewayIsOneLine()
    {
        const Run none = client({"presets", "--dev", "cam1", "--server", "oru_cli_test_nobody_" + id}, false);
        QCOMPARE(none.code, 3);
        QCOMPARE(none.err,
                 QStringLiteral("oru-client presets: no gateway listening on 'oru_cli_test_nobody_%1'\n").arg(id));
        FakeGateway fake(QStringLiteral("oru_cli_test_silent_") + id);
        const Run silent =
            client({"presets", "--dev", "cam1", "--server", fake.server.serverName(), "--timeout", "300"}, false);
        QCOMPARE(silent.code, 4);
        QCOMPARE(silent.err, QStringLiteral("oru-client presets: get presets: no answer within 300 ms\n"));
    }

    // Channels outside a device's range (negative ones too) get NoChannel from
    // every request that takes one, values a device cannot take BadArgument;
    // the simulator lives on.
    void simRefusesOutOfRange()
    {
        Client c;
        QVERIFY(c.connectToServer(messageServer));
        const QString cam = QStringLiteral("cam1");
        const auto refused = [](const oru_client::PendingCall *call, int code) {
            return QTest::qWaitFor([&] { return call->isFinished(); }, 5000) && call->response().errorCode == code;
        };
        for (int channel : {-1, 0, std::numeric_limits<int>::min()}) {
            QVERIFY(refused(c.getPresets(cam, channel).call(), 1003));
            QVERIFY(refused(c.getPatrols(cam, channel).call(), 1003));
            QVERIFY(refused(c.setOSD({QString(), cam, channel, QStringLiteral("x")}).call(), 1003));
            QVERIFY(refused(c.ptzCtrl({QString(), cam, channel, 0, 0, 4}).call(), 1003));
        }
        QVERIFY(refused(c.ptzCtrl({QString(), cam, 1, 0, 0, 9}).call(), 1005));
        QVERIFY(refused(c.ptzCtrl({QString(), cam, 1, 0, 5, 4}).call(), 1005));
        QVERIFY(refused(c.operPatrolPreset({QString(), cam, 1, 1, 1, -5, 0}).call(), 1005));
        QVERIFY(refused(c.setPatrolPresets({QString(), cam, 1, 1, {{1, -5}}}).call(), 1005));
        QVERIFY(refused(c.setPatrolPresets({QString(), cam, 1, -3, {{1, 5}}}).call(), 1005));
        QCOMPARE(sim.state(), QProcess::Running);
    }

    // ---- The library ----

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

    // A call fails at once before the client connects, and when the gateway goes.
    void callFailsWithoutGateway()
    {
        FakeGateway fake(QStringLiteral("oru_cli_test_fake2_") + id);
        Client c;
        const auto early = c.getPresets(QStringLiteral("cam1"), 1);
        QVERIFY(early.isFinished() && !early.ok());
        QCOMPARE(early.error(), CallError::NotConnected);
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
        oru_sdk_proto::ChannelReq sent[2];
        QVERIFY(parseMessage(fake.frames.at(0).payload, &sent[0]) && parseMessage(fake.frames.at(1).payload, &sent[1]));
        const QString id1 = QString::fromStdString(sent[0].request_id()),
                      id2 = QString::fromStdString(sent[1].request_id());
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
