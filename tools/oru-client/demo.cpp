// `oru-client demo`: one scripted main-client session through the main paths,
// with a line per step and a summary of what went over both channels.

#include "cli.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

namespace oru_cli {

namespace {

struct Demo {
    Context &c;
    QTextStream &out;
    int step = 0;
    int failures = 0;
    double answerMs = 0;
    int streamFrames = 0;
    qint64 streamBytes = 0;
    double streamSeconds = 0;

    template <class F>
    void run(const QString &what, F body)
    {
        ++step;
        QString result;
        try {
            result = body();
        } catch (const Failure &f) {
            ++failures;
            result = QStringLiteral("FAILED: ") + f.text;
        }
        out << QStringLiteral("[%1] %2 %3").arg(step, 2).arg(what, -34).arg(result) << Qt::endl;
    }

    // Waits for the answer; its value, or a Failure.
    template <class T>
    T answer(const Reply<T> &reply)
    {
        reply.wait(c.timeoutMs + 1000);
        c.check(reply.call());
        answerMs += reply.call()->elapsedMs();
        return reply.value();
    }

    void pause(int ms)
    {
        QEventLoop loop;
        QTimer::singleShot(ms, &loop, &QEventLoop::quit);
        loop.exec();
    }

    // Runs until `done` or ms have passed.
    void until(const std::function<bool()> &done, int ms) { oru_client::spinUntil(done, ms); }

    QString streamLine(const StreamStats &st)
    {
        streamFrames += st.frames;
        streamBytes += st.bytes;
        streamSeconds += st.seconds;
        return QStringLiteral("%1 frames, %2 KiB, %3 fps").arg(st.frames).arg(st.bytes / 1024).arg(st.fps(), 0, 'f', 1);
    }
};

QString names(const QStringList &list, int max = 4)
{
    return list.mid(0, max).join(QStringLiteral(", ")) + (list.size() > max ? QStringLiteral(", ...") : QString());
}

} // namespace

int runDemo(Context &c)
{
    const QString dir = c.value(QStringLiteral("out"), QStringLiteral("demo-output"));
    const int seconds = qMax(1, c.number(QStringLiteral("seconds"), 3));
    const bool stopGateway = c.has(QStringLiteral("exit"));
    if (!QDir().mkpath(dir))
        throw Failure{Failed, QStringLiteral("cannot create %1").arg(dir)};
    QElapsedTimer total;
    total.start();

    Client &client = c.control();
    Demo d{c, c.out};
    QMap<QString, int> pushes;
    const auto count = [&](const char *kind) { return [&pushes, kind] { ++pushes[QLatin1String(kind)]; }; };
    QObject::connect(&client, &Client::searchedDevs, &client, count("searched devices"));
    QObject::connect(&client, &Client::devStatus, &client, count("device status"));
    QObject::connect(&client, &Client::devInfo, &client, count("device info"));
    QObject::connect(&client, &Client::devChannelsInfo, &client, count("channels info"));
    QObject::connect(&client, &Client::alarm, &client, count("alarm"));
    QObject::connect(&client, &Client::faceDetect, &client, count("face detect"));
    QObject::connect(&client, &Client::faceTemperatureCount, &client, count("face count"));
    QObject::connect(&client, &Client::talkEvent, &client, count("talk event"));

    c.out << "oru-client demo: a main-client session, files in " << dir << '/' << Qt::endl;
    if (stopGateway)
        d.run(QStringLiteral("hello: become the main client"), [&] {
            client.hello();
            return QStringLiteral("sent");
        });
    d.run(QStringLiteral("initialise the gateway"), [&] {
        InitDgwCondition init;
        init.url = QStringLiteral("https://vms.example.net");
        d.answer(client.initDgw(init));
        return QStringLiteral("ok");
    });

    DevInfoList devices;
    d.run(QStringLiteral("search devices"), [&] {
        client.searchDevs();
        QObject::connect(&client, &Client::searchedDevs, &client, [&](const DevInfoList &l) { devices = l; });
        d.until([&] { return !devices.isEmpty(); }, 3000);
        if (devices.isEmpty())
            throw Failure{TimedOut, QStringLiteral("no device list pushed within 3 s")};
        QStringList list;
        for (const DevInfo &dev : devices)
            list.append(QStringLiteral("%1 \"%2\"").arg(dev.id, dev.name));
        return QStringLiteral("%1 devices: %2").arg(devices.size()).arg(names(list, 3));
    });
    const QString dev = devices.isEmpty() ? QStringLiteral("cam1") : devices.first().id;
    const QString other = devices.size() > 1 ? devices.at(1).id : dev;

    d.run(QStringLiteral("channels of ") + dev, [&] {
        int n = -1;
        QObject scope; // ends the connection with this step
        client.getDevChannelsInfo(dev);
        QObject::connect(&client, &Client::devChannelsInfo, &scope, [&](const QString &id, const DevChanInfoList &l) {
            if (id == dev)
                n = l.size();
        });
        d.until([&] { return n >= 0; }, 3000);
        if (n < 0)
            throw Failure{TimedOut, QStringLiteral("no channel list pushed within 3 s")};
        return QStringLiteral("%1 channels (pushed)").arg(n);
    });

    d.run(QStringLiteral("presets of %1/1").arg(dev), [&] {
        QStringList list;
        for (const PresetInfo &p : d.answer(client.getPresets(dev, 1)))
            list.append(QStringLiteral("%1 %2").arg(p.number).arg(p.name));
        return QStringLiteral("%1 presets: %2").arg(list.size()).arg(names(list));
    });

    d.run(QStringLiteral("PTZ: pan right for 0.8 s"), [&] {
        PTZCtrlCondition p;
        p.devId = dev;
        p.channel = 1;
        p.operation = int(PTZOperation::Right);
        d.answer(client.ptzCtrl(p));
        d.pause(800);
        p.action = int(PTZAction::Stop);
        d.answer(client.ptzCtrl(p));
        return QStringLiteral("started and stopped");
    });

    d.run(QStringLiteral("store the position as a preset"), [&] {
        PresetOperCondition p;
        p.devId = dev;
        p.channel = 1;
        p.presetName = QStringLiteral("Demo view");
        p.oper = int(PresetOper::Add);
        d.answer(client.operPreset(p));
        return QStringLiteral("now %1 presets").arg(d.answer(client.getPresets(dev, 1)).size());
    });

    d.run(QStringLiteral("set the on-screen text"), [&] {
        d.answer(client.setOSD({QString(), dev, 1, QStringLiteral("oru-client demo")}));
        return QStringLiteral("\"oru-client demo\"");
    });

    VideoRecList recordings;
    d.run(QStringLiteral("recordings of the last 2 hours"), [&] {
        RecsSearchCondition r;
        r.devId = dev;
        r.channel = 1;
        r.beginTime = QDateTime::currentDateTime().addSecs(-7200);
        r.endTime = QDateTime::currentDateTime();
        recordings = d.answer(client.searchVideoRecordings(r)).list;
        if (recordings.isEmpty())
            return QStringLiteral("none");
        return QStringLiteral("%1 files, latest %2").arg(recordings.size()).arg(recordings.last().fileName);
    });

    d.run(QStringLiteral("RTSP address"), [&] {
        GetRtspUrlCondition r;
        r.devId = dev;
        r.channel = 1;
        return d.answer(client.getRtspUrl(r));
    });

    d.run(QStringLiteral("live video for %1 s").arg(seconds), [&] {
        auto s = c.newStream();
        QByteArray last;
        QObject::connect(s.get(), &StreamClient::dataReceived, s.get(), [&](const QByteArray &b) { last = b; });
        s->openLive({dev, 1, 0});
        const StreamStats st = c.runStream(*s, QStringLiteral("live"), seconds, dir + QStringLiteral("/live.mjpeg"));
        QFile snap(dir + QStringLiteral("/snapshot.jpg"));
        if (!snap.open(QIODevice::WriteOnly) || snap.write(last) != last.size())
            throw Failure{Failed, QStringLiteral("cannot write ") + snap.fileName()};
        return d.streamLine(st) + QStringLiteral(" -> live.mjpeg, snapshot.jpg");
    });

    d.run(QStringLiteral("playback at 2X, skip to 5:00"), [&] {
        if (recordings.isEmpty())
            throw Failure{Failed, QStringLiteral("no recording to play")};
        auto s = c.newStream();
        s->openPlaybackByFile({dev, 1, recordings.last().fileName, 0, 0});
        const QList<Context::Step> steps{
            {0, [](StreamClient &x) { x.setSpeed(QString::fromLatin1(PlaybackSpeed_2X)); }},
            {seconds / 2.0, [](StreamClient &x) { x.skipByOffsetTime(300); }}};
        const StreamStats st =
            c.runStream(*s, QStringLiteral("playback"), seconds + 1, dir + QStringLiteral("/playback.mjpeg"), steps);
        return d.streamLine(st) + QStringLiteral(", at %1/%2 s -> playback.mjpeg").arg(st.offsetTime).arg(st.duration);
    });

    d.run(QStringLiteral("reboot %1, watch its status").arg(other), [&] {
        QList<DevStatus> seen;
        QObject scope;
        QObject::connect(&client, &Client::devStatus, &scope, [&](const QString &id, DevStatus st) {
            if (id == other)
                seen.append(st);
        });
        client.rebootDevs({other});
        d.until([&] { return seen.size() >= 2; }, 4000);
        QStringList words;
        for (DevStatus st : seen)
            words.append(st == DevStatus::Online        ? QStringLiteral("online")
                             : st == DevStatus::Offline ? QStringLiteral("offline")
                                                        : QString::number(int(st)));
        if (seen.isEmpty())
            throw Failure{TimedOut, QStringLiteral("no status pushed within 4 s")};
        return QStringLiteral("pushed: %1").arg(words.join(QStringLiteral(" -> ")));
    });

    d.run(QStringLiteral("talk start and stop"), [&] {
        d.answer(client.talkOper({QString(), dev, 1, 0}));
        d.answer(client.talkOper({QString(), dev, 1, 1}));
        return QStringLiteral("ok");
    });

    d.run(QStringLiteral("JSON request getDeviceInfo"), [&] {
        return d.answer(client.common({dev, 1}, QStringLiteral(R"({"method":"getDeviceInfo"})")));
    });

    d.run(QStringLiteral("pushes received"), [&] {
        d.pause(300); // the last events on their way
        QStringList list;
        int n = 0;
        for (auto it = pushes.cbegin(); it != pushes.cend(); ++it) {
            list.append(QStringLiteral("%1 %2").arg(it.value()).arg(it.key()));
            n += it.value();
        }
        return QStringLiteral("%1: %2").arg(n).arg(list.join(QStringLiteral(", ")));
    });

    if (stopGateway)
        d.run(QStringLiteral("exit: the gateway stops"), [&] {
            client.exit();
            c.flush();
            if (!client.connection().waitForDisconnected(c.timeoutMs))
                throw Failure{TimedOut, QStringLiteral("the gateway did not close the connection")};
            return QStringLiteral("connection closed by the gateway");
        });

    const double elapsed = total.elapsed() / 1000.0;
    int pushCount = 0;
    for (int n : pushes)
        pushCount += n;
    c.out << Qt::endl
          << "Summary" << Qt::endl
          << QStringLiteral("  requests answered  %1 of %2, %3 ms on average")
                 .arg(client.answeredCalls())
                 .arg(client.sentCalls())
                 .arg(client.answeredCalls() ? d.answerMs / client.answeredCalls() : 0, 0, 'f', 2)
          << Qt::endl
          << QStringLiteral("  pushes received    %1").arg(pushCount) << Qt::endl
          << QStringLiteral("  stream data        %1 frames, %2 KiB in %3 s: %4 fps, %5 KiB/s")
                 .arg(d.streamFrames)
                 .arg(d.streamBytes / 1024)
                 .arg(d.streamSeconds, 0, 'f', 1)
                 .arg(d.streamSeconds > 0 ? d.streamFrames / d.streamSeconds : 0, 0, 'f', 1)
                 .arg(d.streamSeconds > 0 ? d.streamBytes / 1024.0 / d.streamSeconds : 0, 0, 'f', 0)
          << Qt::endl
          << QStringLiteral("  files              %1/snapshot.jpg, live.mjpeg, playback.mjpeg").arg(dir) << Qt::endl
          << QStringLiteral("  steps              %1 of %2 ok, %3 s")
                 .arg(d.step - d.failures)
                 .arg(d.step)
                 .arg(elapsed, 0, 'f', 1)
          << Qt::endl;
    if (c.json)
        c.print(QJsonObject{{"answered", client.answeredCalls()},
                            {"sent", client.sentCalls()},
                            {"pushes", pushCount},
                            {"frames", d.streamFrames},
                            {"bytes", double(d.streamBytes)},
                            {"failures", d.failures}},
                {});
    return d.failures ? Failed : Ok;
}

} // namespace oru_cli
