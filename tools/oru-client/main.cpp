// oru-client: every request of the main client from the command line.
//
// By default the CLI connects as a plain client and does NOT say hello: a
// gateway closes its servers for good when its main client leaves, so a CLI
// that said hello would stop the gateway at its first exit. --hello makes it
// the main client anyway; `oru-client exit` says hello and exit on purpose.

#include "cli.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace oru_cli {

namespace {

// ---- Options: one catalogue, each command names the ones it takes ----

struct Opt {
    const char *help;
    const char *value; // nullptr for a flag
    const char *fallback = nullptr;
};

const QMap<QString, Opt> &catalogue()
{
    static const QMap<QString, Opt> options{
        {"server", {"Control server name (env ORU_MESSAGE_SERVER).", "name"}},
        {"stream-server", {"Stream server name (env ORU_STREAM_SERVER).", "name"}},
        {"timeout", {"Milliseconds to wait for an answer or a connection.", "ms", "5000"}},
        {"json", {"Print JSON instead of text.", nullptr}},
        {"verbose",
         {"One line on stderr per frame sent (>) and received (<): type number and name, request id, bytes, "
          "milliseconds since its request.",
          nullptr}},
        {"hello", {"Become the main client (the gateway stops when it leaves).", nullptr}},
        {"no-hello", {"Stay a plain client (the default).", nullptr}},
        {"dev", {"Device id (repeat where several are taken).", "id"}},
        {"channel", {"Channel number.", "n", "1"}},
        {"sn", {"Device serial number (repeat where several are taken).", "sn"}},
        {"account", {"Account name.", "name", "admin"}},
        {"password", {"Password.", "password"}},
        {"question", {"Security question (repeat, paired with --answer).", "text"}},
        {"answer", {"Answer to the --question at the same place.", "text"}},
        {"time", {"A time: now, today, -90s, -2h, +1d, 2024-05-01 10:00:00[.zzz].", "time"}},
        {"from", {"Start of the span (a time, see --time).", "time"}},
        {"to", {"End of the span (a time). Default: now.", "time"}},
        {"seconds", {"How long to run.", "s"}},
        {"count", {"How many (pushes to wait for, faces to fetch).", "n"}},
        {"broadcast", {"Search by broadcast.", nullptr}},
        {"begin-ip", {"First address of the search range.", "ip"}},
        {"end-ip", {"Last address of the search range.", "ip"}},
        {"enable", {"Turn the setting on.", nullptr}},
        {"disable", {"Turn the setting off.", nullptr}},
        {"id", {"Device id.", "id"}},
        {"name", {"Name.", "name"}},
        {"ip", {"IPv4 address.", "ip"}},
        {"port", {"Port.", "port"}},
        {"user", {"Login name.", "name"}},
        {"mask", {"Subnet mask.", "mask"}},
        {"gateway", {"Default gateway.", "ip"}},
        {"dns", {"Name server.", "ip"}},
        {"addr", {"Platform address.", "address"}},
        {"online-server", {"Online server address.", "address"}},
        {"business-server", {"Business server address.", "address"}},
        {"ca", {"CA certificate: text, or @file.", "pem"}},
        {"cert", {"Device certificate: text, or @file.", "pem"}},
        {"key", {"Private key: text, or @file.", "pem"}},
        {"secret-key", {"Key password.", "text"}},
        {"token", {"Cloud token.", "token"}},
        {"language", {"Language code.", "n", "0"}},
        {"stream-type", {"0 main stream, 1 sub stream.", "n", "0"}},
        {"op",
         {"PTZ operation: up, down, left, right, up-left, up-right, down-left, down-right, zoom-in, zoom-out, "
          "focus-near, focus-far, iris-open, iris-close.",
          "op"}},
        {"action", {"start or stop. Default: start.", "action"}},
        {"speed", {"Speed: PTZ 1-7; playback 1/8X, 1/4X, 1/2X, 1X, 2X, 4X, 8X, 0X, 100X.", "speed"}},
        {"for", {"Stop the movement after this many ms.", "ms"}},
        {"number", {"Preset number (0: the next free one).", "n", "0"}},
        {"patrol", {"Patrol number.", "n", "1"}},
        {"preset", {"Preset number.", "n"}},
        {"stay", {"Seconds spent at the preset.", "s", "10"}},
        {"stop", {"Patrol stop PRESET:SECONDS (repeat, in order).", "p:s"}},
        {"text", {"Text.", "text"}},
        {"old-password", {"Current password.", "password"}},
        {"new-password", {"New password.", "password"}},
        {"level", {"Account level.", "level", "operator"}},
        {"url", {"Address.", "url"}},
        {"mode", {"Upgrade mode.", "mode", "online"}},
        {"wait", {"Follow the progress until done.", nullptr}},
        {"offset", {"First one to fetch.", "n", "0"}},
        {"serial", {"Face serial number.", "sn"}},
        {"type", {"Face type.", "type", "staff"}},
        {"image", {"Face image file.", "file"}},
        {"org", {"Organisation (repeat).", "name"}},
        {"face-id", {"Face id (see faces).", "n"}},
        {"valid-from", {"Valid from (a time). Default: now.", "time"}},
        {"valid-to", {"Valid until (a time). Default: a year from now.", "time"}},
        {"body", {"Request JSON.", "json"}},
        {"file", {"File name.", "file"}},
        {"purpose", {"What the file is for.", "text", "config"}},
        {"src", {"File on the device.", "file"}},
        {"dest", {"File to write.", "file"}},
        {"out", {"Output file (folder for demo); - streams the pictures to stdout.", "path"}},
        {"skip-to", {"Skip to this second of the playback...", "s"}},
        {"skip-time", {"...or to this time...", "time"}},
        {"skip-after", {"...after this many seconds of it (default: half way).", "s"}},
        {"pause-at", {"Pause the playback after this many seconds...", "s"}},
        {"pause-for", {"...for this many seconds.", "s", "1"}},
        {"simple", {"Keep network settings.", nullptr}},
        {"exit", {"Stop the gateway at the end.", nullptr}},
        {"ak", {"Credential.", "text"}},
        {"sk", {"Credential.", "text"}},
        {"ck", {"Credential.", "text"}},
        {"csk", {"Credential.", "text"}},
        {"saas-server", {"Cloud server address.", "address"}},
        {"saas-cert", {"Cloud server certificate.", "pem"}},
    };
    return options;
}

const int kMax = std::numeric_limits<int>::max();
const int kMaxSeconds = kMax / 1000; // timers count milliseconds in an int
// The playback speeds the SDK defines.
const QStringList kSpeeds{PlaybackSpeed_1_8X, PlaybackSpeed_1_4X, PlaybackSpeed_1_2X,
                          PlaybackSpeed_1X,   PlaybackSpeed_2X,   PlaybackSpeed_4X,
                          PlaybackSpeed_8X,   PlaybackSpeed_0X,   PlaybackSpeed_100X};
const QStringList kCommon{"server", "stream-server", "timeout", "json", "verbose", "hello", "no-hello"};
const QStringList kPtzOps{"up",         "down",    "left",     "right",      "up-left",   "up-right",  "down-left",
                          "down-right", "zoom-in", "zoom-out", "focus-near", "focus-far", "iris-open", "iris-close"};

// ---- Commands ----

using Run = std::function<int(Context &)>;
struct Command {
    QString name;
    QStringList actions; // words that must follow the name, e.g. get|set
    QString options;
    QString summary;
    Run run;
};

int sent(Context &c)
{
    c.flush();
    c.print(QJsonObject{{"sent", true}}, {QStringLiteral("sent")});
    return Ok;
}

QList<QPair<QString, QString>> secrets(const Context &c)
{
    const QStringList q = c.values(QStringLiteral("question")), a = c.values(QStringLiteral("answer"));
    if (q.size() != a.size())
        throw Failure{Usage, QStringLiteral("give one --answer for each --question")};
    QList<QPair<QString, QString>> pairs;
    for (int i = 0; i < q.size(); ++i)
        pairs.append({q[i], a[i]});
    return pairs;
}

// Waits for the first push that `arrived` accepts; false on timeout.
template <class Signal, class Accept>
bool waitForPush(Client &client, Signal signal, int ms, Accept accept)
{
    QEventLoop loop;
    bool got = false;
    QObject::connect(&client, signal, &loop, [&](const auto &...args) {
        if (!got && accept(args...)) {
            got = true;
            loop.quit();
        }
    });
    QObject::connect(&client, &Client::disconnected, &loop, &QEventLoop::quit);
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
    return got;
}

int search(Context &c)
{
    Client &client = c.control();
    const bool broadcast = c.has(QStringLiteral("broadcast"));
    DevInfoList devs;
    const auto take = [&](const DevInfoList &list) {
        devs = list;
        return true;
    };
    broadcast ? client.broadcastSearchDevs() : client.searchDevs();
    const int seconds = c.number(QStringLiteral("seconds"), 3, 1, kMaxSeconds);
    if (!(broadcast ? waitForPush(client, &Client::broadcastSearchedDevs, seconds * 1000, take)
                    : waitForPush(client, &Client::searchedDevs, seconds * 1000, take)))
        throw Failure{TimedOut, QStringLiteral("search: no device list pushed within %1 s").arg(seconds)};
    c.print(toJson(devs), textLines(devs));
    return Ok;
}

int channels(Context &c)
{
    const QString dev = c.dev();
    Client &client = c.control();
    client.getDevChannelsInfo(dev);
    DevChanInfoList list;
    const int seconds = c.number(QStringLiteral("seconds"), 3, 1, kMaxSeconds);
    if (!waitForPush(client, &Client::devChannelsInfo, seconds * 1000,
                     [&](const QString &id, const DevChanInfoList &l) {
                         list = l;
                         return id == dev;
                     }))
        throw Failure{TimedOut,
                      QStringLiteral("channels: no channel list of %1 pushed within %2 s").arg(dev).arg(seconds)};
    c.print(toJson(list), textLines(list));
    return Ok;
}

DevInfo deviceFromOptions(const Context &c)
{
    DevInfo d;
    d.id = c.need(QStringLiteral("id"));
    d.name = c.value(QStringLiteral("name"));
    d.sn = c.value(QStringLiteral("sn"));
    d.ip = c.value(QStringLiteral("ip"));
    d.port = unsigned(c.number(QStringLiteral("port"), 0, 1, 65535));
    d.user = c.value(QStringLiteral("user"));
    d.password = c.value(QStringLiteral("password"));
    return d;
}

int devs(Context &c)
{
    Client &client = c.control();
    switch (c.action) {
    case 0:
        client.setManagedDevs({deviceFromOptions(c)});
        break;
    case 1:
        client.addManagedDevs({deviceFromOptions(c)});
        break;
    case 2:
        client.editManagedDevs({deviceFromOptions(c)});
        break;
    case 3:
        client.delManagedDevs(c.devs());
        break;
    default: {
        // No request of its own: asked as a JSON request the gateway knows.
        const QString answer =
            c.answer(client.common({QString(), 0}, QStringLiteral(R"({"method":"getManagedDevices"})")));
        const QJsonObject o = QJsonDocument::fromJson(answer.toUtf8()).object();
        if (const int code = o.value(QStringLiteral("result")).toInt())
            throw Failure{Failed,
                          QStringLiteral("the gateway answered error %1 (%2)")
                              .arg(code)
                              .arg(o.value(QStringLiteral("error")).toString()),
                          code};
        QStringList lines;
        for (const QJsonValue &d : o.value(QStringLiteral("devices")).toArray()) {
            const QJsonObject dev = d.toObject();
            lines.append(QStringLiteral("id=%1 name=\"%2\" ip=%3 status=%4")
                             .arg(dev.value(QStringLiteral("id")).toString(),
                                  dev.value(QStringLiteral("name")).toString(),
                                  dev.value(QStringLiteral("ip")).toString(),
                                  dev.value(QStringLiteral("statusName")).toString()));
        }
        c.print(o.value(QStringLiteral("devices")), lines);
        return Ok;
    }
    }
    return sent(c);
}

int ptz(Context &c)
{
    PTZCtrlCondition p;
    p.devId = c.dev();
    p.channel = c.channel();
    p.operation = c.choose(QStringLiteral("op"), kPtzOps, -1);
    if (p.operation < 0)
        throw Failure{Usage, QStringLiteral("ptz needs --op (%1)").arg(kPtzOps.join(QStringLiteral(", ")))};
    p.action = c.choose(QStringLiteral("action"), {"start", "stop"}, 0);
    p.param5 = c.number(QStringLiteral("speed"), 4, 1, 7);
    const int forMs = c.number(QStringLiteral("for"), 0, 0, kMax);
    if (forMs <= 0)
        return c.show(c.control().ptzCtrl(p));
    // Start, keep moving for a while, stop.
    p.action = int(PTZAction::Start);
    const auto started = c.control().ptzCtrl(p);
    started.wait(c.timeoutMs + 1000);
    c.check(started.call());
    QEventLoop pause;
    QTimer::singleShot(forMs, &pause, &QEventLoop::quit);
    pause.exec();
    p.action = int(PTZAction::Stop);
    return c.show(c.control().ptzCtrl(p));
}

int upgrade(Context &c)
{
    DevUpgradeCondtition u;
    u.devId = c.dev();
    u.url = c.value(QStringLiteral("url"));
    u.mode = c.value(QStringLiteral("mode"));
    Client &client = c.control();
    if (c.action == 0)
        return c.show(client.checkDevUpgrade(u));
    const bool wait = c.has(QStringLiteral("wait"));
    if (c.action == 2 && !wait)
        return c.show(client.getDevUpgradeProgress(u.devId));
    if (c.action == 1)
        client.doDevUpgrade(u);
    if (!wait)
        return sent(c);
    // Follow the progress by asking, as the main client does.
    bool uploaded = false;
    QObject::connect(&client, &Client::uploadUpgradeFileFinished, &client,
                     [&](const QString &id) { uploaded |= id == u.devId; });
    QElapsedTimer clock;
    clock.start();
    const int seconds = c.number(QStringLiteral("seconds"), 60, 1, kMaxSeconds);
    DevUpgradeInfo info;
    do {
        QEventLoop pause;
        QTimer::singleShot(500, &pause, &QEventLoop::quit);
        pause.exec();
        const auto progress = client.getDevUpgradeProgress(u.devId);
        progress.wait(c.timeoutMs + 1000);
        c.check(progress.call());
        info = progress.value();
        if (!c.json)
            c.out << info.phase << ' ' << info.param7 << "%" << Qt::endl;
    } while (info.param7 < 100 && info.phase != QLatin1String("done") && clock.elapsed() < seconds * 1000);
    if (info.phase != QLatin1String("done") && info.param7 < 100)
        throw Failure{TimedOut, QStringLiteral("upgrade: not done within %1 s").arg(seconds)};
    QJsonObject result = toJson(info).toObject();
    result.insert(QStringLiteral("fileUploaded"), uploaded);
    c.print(result,
            {QStringLiteral("upgrade done%1")
                 .arg(uploaded ? QStringLiteral(", upgrade file upload reported") : QString())});
    return Ok;
}

int watch(Context &c)
{
    Client &client = c.control();
    const int seconds = c.number(QStringLiteral("seconds"), 0, 0, kMaxSeconds);
    const int count = c.number(QStringLiteral("count"), 0, 0, kMax);
    int seen = 0;
    QEventLoop loop;
    auto show = [&](const char *kind, const QJsonValue &json, const QString &text) {
        if (count > 0 && seen >= count)
            return; // the rest of a burst that arrived together
        const QString now = QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz"));
        if (c.json)
            c.out << QJsonDocument(QJsonObject{{"push", kind}, {"at", now}, {"data", json}})
                         .toJson(QJsonDocument::Compact)
                  << Qt::endl;
        else
            c.out << now << "  " << qSetFieldWidth(16) << Qt::left << kind << qSetFieldWidth(0) << text << Qt::endl;
        if (count > 0 && ++seen >= count)
            loop.quit();
    };
    using C = Client;
    QObject::connect(&client, &C::searchedDevs, &loop,
                     [&](const DevInfoList &d) { show("searched-devs", toJson(d), toText(d)); });
    QObject::connect(&client, &C::broadcastSearchedDevs, &loop,
                     [&](const DevInfoList &d) { show("broadcast-devs", toJson(d), toText(d)); });
    QObject::connect(&client, &C::devStatus, &loop, [&](const QString &id, DevStatus s) {
        show("status", QJsonObject{{"devId", id}, {"status", int(s)}}, id + QLatin1Char(' ') + toText(s));
    });
    QObject::connect(&client, &C::devP2PSuccess, &loop, [&](const QString &id) {
        show("p2p-success", QJsonObject{{"devId", id}}, id);
    });
    QObject::connect(&client, &C::devInfo, &loop,
                     [&](const DevInfoFromDgw &i) { show("dev-info", toJson(i), toText(i)); });
    QObject::connect(&client, &C::devTempUserCodes, &loop,
                     [&](const DevTempUserCodeList &l) { show("temp-user-codes", toJson(l), toText(l)); });
    QObject::connect(&client, &C::devChannelsInfo, &loop, [&](const QString &id, const DevChanInfoList &l) {
        show("channels", QJsonObject{{"devId", id}, {"channels", toJson(l)}}, id + QLatin1Char(' ') + toText(l));
    });
    QObject::connect(&client, &C::faceDetect, &loop, [&](const ChannelId &ch, const FaceDetectRecordInfo &r) {
        show("face-detect", QJsonObject{{"channel", toJson(ch)}, {"record", toJson(r)}},
             toText(ch) + QLatin1Char(' ') + toText(r));
    });
    QObject::connect(&client, &C::faceTemperatureCount, &loop, [&](const ChannelId &ch, const FaceCountInfo &n) {
        show("face-count", QJsonObject{{"channel", toJson(ch)}, {"count", toJson(n)}},
             toText(ch) + QLatin1Char(' ') + toText(n));
    });
    QObject::connect(&client, &C::alarm, &loop, [&](const AlarmInfo &a) { show("alarm", toJson(a), toText(a)); });
    QObject::connect(&client, &C::tlvData, &loop, [&](const QString &id, const QByteArray &d) {
        show("tlv", QJsonObject{{"devId", id}, {"data", toJson(d)}}, id + QLatin1Char(' ') + toText(d));
    });
    QObject::connect(&client, &C::uploadUpgradeFileFinished, &loop, [&](const QString &id) {
        show("upgrade-uploaded", QJsonObject{{"devId", id}}, id);
    });
    QObject::connect(&client, &C::talkEvent, &loop, [&](const ChannelId &ch, TalkEvent e) {
        show("talk-event", QJsonObject{{"channel", toJson(ch)}, {"event", int(e)}},
             toText(ch) + QStringLiteral(" event=%1").arg(toText(e)));
    });
    QObject::connect(&client, &C::speakEvent, &loop, [&](const ChannelId &ch, TalkEvent e) {
        show("speak-event", QJsonObject{{"channel", toJson(ch)}, {"event", int(e)}},
             toText(ch) + QStringLiteral(" event=%1").arg(toText(e)));
    });
    QObject::connect(&client, &C::activateResult, &loop, [&](const QString &sn, int code) {
        show("activate-result", QJsonObject{{"sn", sn}, {"code", code}},
             QStringLiteral("%1 code=%2").arg(sn).arg(code));
    });
    QObject::connect(&client, &C::secretQuestions, &loop, [&](const QString &sn, int code, const QStringList &q) {
        show("secret-questions", QJsonObject{{"sn", sn}, {"code", code}, {"questions", toJson(q)}},
             QStringLiteral("%1 code=%2 %3").arg(sn).arg(code).arg(toText(q)));
    });
    QObject::connect(&client, &C::resetPasswordResult, &loop, [&](const QString &sn, int code) {
        show("reset-result", QJsonObject{{"sn", sn}, {"code", code}}, QStringLiteral("%1 code=%2").arg(sn).arg(code));
    });
    QObject::connect(&client, &C::fileTransferProgress, &loop,
                     [&](const FileTransferProgress &p) { show("file-progress", toJson(p), toText(p)); });
    bool lost = false;
    QObject::connect(&client, &C::disconnected, &loop, [&] {
        lost = true;
        loop.quit();
    });
    if (seconds > 0)
        QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    loop.exec();
    if (lost)
        throw Failure{NoGateway, QStringLiteral("watch: the gateway closed the connection")};
    if (count > 0 && seen < count)
        throw Failure{TimedOut, QStringLiteral("watch: %1 of %2 pushes within %3 s").arg(seen).arg(count).arg(seconds)};
    return Ok;
}

int live(Context &c)
{
    const LiveVideoConnCondition live{c.dev(), c.channel(), c.number(QStringLiteral("stream-type"), 0, 0, 1)};
    const QString file = c.value(QStringLiteral("out"));
    c.stream().openLive(live);
    const QString label = QStringLiteral("live %1/%2").arg(live.devId).arg(live.channel);
    c.printStream(label,
                  c.runStream(c.stream(), label, c.number(QStringLiteral("seconds"), 5, 1, kMaxSeconds), file, {},
                              {live.devId, live.channel}),
                  file);
    return Ok;
}

int playback(Context &c)
{
    const QString dev = c.dev();
    const int channel = c.channel();
    const double seconds = c.number(QStringLiteral("seconds"), 5, 1, kMaxSeconds);
    const QString file = c.value(QStringLiteral("out"));
    QList<Context::Step> steps;
    if (c.has(QStringLiteral("speed"))) {
        const QString speed = c.value(QStringLiteral("speed")).toUpper();
        if (!kSpeeds.contains(speed))
            throw Failure{Usage,
                          QStringLiteral("--speed takes one of %1, not '%2'")
                              .arg(kSpeeds.join(QStringLiteral(", ")), c.value(QStringLiteral("speed")))};
        steps.append({0, [speed](StreamClient &s) { s.setSpeed(speed); }});
    }
    const double skipAfter = c.number(QStringLiteral("skip-after"), int(seconds / 2), 0, kMaxSeconds);
    if (c.has(QStringLiteral("skip-to")))
        steps.append({skipAfter, [to = uint(c.number(QStringLiteral("skip-to"), 0, 0, kMax))](StreamClient &s) {
                          s.skipByOffsetTime(to);
                      }});
    else if (c.has(QStringLiteral("skip-time")))
        steps.append(
            {skipAfter, [to = c.time(QStringLiteral("skip-time"), {})](StreamClient &s) { s.skipToTime(to); }});
    if (c.has(QStringLiteral("pause-at"))) {
        const double at = c.number(QStringLiteral("pause-at"), 0, 0, kMaxSeconds);
        steps.append({at, [](StreamClient &s) { s.control(PlaybackCtrl::Pause); }, 1});
        steps.append({at + c.number(QStringLiteral("pause-for"), 1, 0, kMaxSeconds),
                      [](StreamClient &s) { s.control(PlaybackCtrl::Resume); }, -1});
    }

    QString label;
    if (c.has(QStringLiteral("time"))) {
        const PlaybackByTimeCondition byTime{dev, channel, c.time(QStringLiteral("time"), {}), 0};
        c.stream().openPlaybackByTime(byTime);
        label = QStringLiteral("playback %1/%2 from %3").arg(dev).arg(channel).arg(toText(byTime.startTime));
    } else {
        QString name = c.value(QStringLiteral("file"));
        if (name.isEmpty()) {
            // The latest recording of the last day.
            RecsSearchCondition search;
            search.devId = dev;
            search.channel = channel;
            search.beginTime = QDateTime::currentDateTime().addDays(-1);
            search.endTime = QDateTime::currentDateTime();
            const auto found = c.control().searchVideoRecordings(search);
            found.wait(c.timeoutMs + 1000);
            c.check(found.call());
            if (found.value().list.isEmpty())
                throw Failure{Failed,
                              QStringLiteral("playback: %1/%2 has no recording of the last day").arg(dev).arg(channel)};
            name = found.value().list.last().fileName;
        }
        c.stream().openPlaybackByFile({dev, channel, name, 0, 0});
        label = QStringLiteral("playback %1").arg(name);
    }
    c.printStream(label, c.runStream(c.stream(), label, seconds, file, steps, {dev, channel}), file);
    return Ok;
}

int snapshot(Context &c)
{
    const LiveVideoConnCondition live{c.dev(), c.channel(), c.number(QStringLiteral("stream-type"), 0, 0, 1)};
    const QString file = c.value(QStringLiteral("out"), QStringLiteral("snapshot.jpg"));
    StreamClient &s = c.stream();
    QByteArray picture;
    QObject::connect(&s, &StreamClient::dataReceived, &s, [&](const QByteArray &d) {
        if (picture.isEmpty())
            picture = d;
    });
    s.openLive(live);
    if (!oru_client::spinUntil(
            [&] { return !picture.isEmpty() || s.events().contains(StreamEvent::StreamError) || !s.isConnected(); },
            c.timeoutMs)
        || picture.isEmpty())
        throw Failure{
            s.events().contains(StreamEvent::StreamError) ? Failed : TimedOut,
            s.events().contains(StreamEvent::StreamError)
                ? QStringLiteral("snapshot: the gateway could not open %1/%2").arg(live.devId).arg(live.channel)
                : QStringLiteral("snapshot: no picture within %1 ms").arg(c.timeoutMs)};
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly) || out.write(picture) != picture.size())
        throw Failure{Failed, QStringLiteral("snapshot: cannot write %1: %2").arg(file, out.errorString())};
    const bool jpeg = picture.startsWith("\xFF\xD8");
    c.print(QJsonObject{{"file", file}, {"bytes", picture.size()}, {"jpeg", jpeg}},
            {QStringLiteral("saved %1 (%2 bytes%3)")
                 .arg(file)
                 .arg(picture.size())
                 .arg(jpeg ? QStringLiteral(", JPEG") : QStringLiteral(", not a JPEG"))});
    return Ok;
}

int exitGateway(Context &c)
{
    Client &client = c.control();
    client.hello();
    client.exit();
    c.flush();
    const bool closed = client.connection().waitForDisconnected(c.timeoutMs);
    c.print(QJsonObject{{"closed", closed}},
            {closed ? QStringLiteral("the gateway closed the connection") : QStringLiteral("exit sent")});
    return Ok;
}

// Builders of the condition records, shortest first.
template <class R>
R onChannel(const Context &c)
{
    R r;
    r.devId = c.dev();
    r.channel = c.channel();
    return r;
}

const QList<Command> &commands()
{
    static const QList<Command> list{
        // Gateway, search, managed devices.
        {"init",
         {},
         "ak sk ck csk url saas-server saas-cert",
         "Initialise the gateway.",
         [](Context &c) {
             InitDgwCondition i;
             i.ak = c.value("ak");
             i.sk = c.value("sk");
             i.ck = c.value("ck");
             i.csk = c.value("csk");
             i.url = c.value("url");
             i.saasServer = c.value("saas-server");
             i.saasCer = c.text("saas-cert");
             return c.show(c.control().initDgw(i));
         }},
        {"exit", {}, "", "Say hello then exit as the main client: the gateway stops.", exitGateway},
        {"watch", {}, "seconds count", "Print pushes as they arrive (until --seconds or --count).", watch},
        {"search", {}, "seconds broadcast", "Search devices; print the device list the gateway pushes.", search},
        {"search-config",
         {},
         "begin-ip end-ip enable",
         "Set the search range.",
         [](Context &c) {
             c.control().setSearchDevsConfig({c.has("enable"), c.need("begin-ip"), c.need("end-ip"), 0});
             return sent(c);
         }},
        {"devs",
         {"set", "add", "edit", "del", "list"},
         "id name sn ip port user password dev",
         "Managed devices: set the list to one device, add, edit, delete (--dev), or list them.",
         devs},
        {"time",
         {},
         "dev time",
         "Set the devices' clock.",
         [](Context &c) {
             c.control().setDevsTime(c.devs(), c.time("time", QDateTime::currentDateTime()));
             return sent(c);
         }},
        {"reboot",
         {},
         "dev",
         "Reboot devices.",
         [](Context &c) {
             c.control().rebootDevs(c.devs());
             return sent(c);
         }},
        {"reconnect",
         {},
         "dev",
         "Reconnect devices.",
         [](Context &c) {
             c.control().reconnectDevs(c.devs());
             return sent(c);
         }},
        {"factory-reset",
         {},
         "dev simple",
         "Restore factory settings.",
         [](Context &c) {
             c.control().restoreFactory(c.devs(), c.has("simple"));
             return sent(c);
         }},
        {"channels", {}, "dev seconds", "Ask for a device's channels; print the pushed list.", channels},
        {"clear-face-count",
         {},
         "dev",
         "Clear face and temperature counters.",
         [](Context &c) {
             c.control().clearFaceTemperatureCount(c.dev());
             return sent(c);
         }},
        {"remote-config",
         {},
         "dev language",
         "Open a device's remote configuration.",
         [](Context &c) {
             c.control().openDevRemoteConfig(c.dev(), c.number("language", 0));
             return sent(c);
         }},
        {"saas-token",
         {},
         "token",
         "Set the cloud token.",
         [](Context &c) {
             c.control().setSaasToken(c.need("token"));
             return sent(c);
         }},
        {"saas-logout",
         {},
         "",
         "Log out of the cloud.",
         [](Context &c) {
             c.control().saasLogout();
             return sent(c);
         }},
        // Activation and passwords (answers go to every client, matched by serial number).
        {"activate",
         {},
         "sn account password question answer",
         "Activate a device.",
         [](Context &c) {
             ActivateCondition a;
             a.account = c.value("account", "admin");
             a.password = c.need("password");
             a.secretInfos = secrets(c);
             return c.show(c.control().activateDev(c.need("sn"), a));
         }},
        {"secret-questions",
         {},
         "sn account",
         "A device's security questions.",
         [](Context &c) {
             return c.show(c.control().getDevSecretQuestions({c.need("sn"), c.value("account", "admin")}));
         }},
        {"reset-password",
         {},
         "sn account password question answer",
         "Reset a password with the security answers.",
         [](Context &c) {
             ResetDevPwdCondition r;
             r.devSn = c.need("sn");
             r.account = c.value("account", "admin");
             r.password = c.need("password");
             r.secretInfos = secrets(c);
             return c.show(c.control().resetDevPwd(r));
         }},
        // Device configuration.
        {"net",
         {"get", "set"},
         "dev ip mask gateway dns",
         "Network settings.",
         [](Context &c) {
             if (c.action == 0)
                 return c.show(c.control().getDevNet(c.dev()));
             // Only what was given changes: read, modify, write.
             if (!c.has("ip") && !c.has("mask") && !c.has("gateway") && !c.has("dns"))
                 throw Failure{Usage, QStringLiteral("net set needs --ip, --mask, --gateway or --dns")};
             const DevNetInfo now = c.answer(c.control().getDevNet(c.dev()));
             const SetDevNetCondition n{QString(),
                                        c.dev(),
                                        c.value("ip", now.ip),
                                        c.value("mask", now.subNetMask),
                                        c.value("gateway", now.defaultGateway),
                                        c.value("dns", now.dns),
                                        now.param5,
                                        now.param6,
                                        now.param7,
                                        now.param8};
             return c.show(c.control().setDevNet(n));
         }},
        {"platform",
         {"get", "set"},
         "dev enable disable addr port",
         "Platform settings.",
         [](Context &c) {
             if (c.action == 0) {
                 GetDevPlatformCondition g;
                 g.devId = c.dev();
                 return c.show(c.control().getDevPlatform(g));
             }
             if (!c.has("enable") && !c.has("disable") && !c.has("addr") && !c.has("port"))
                 throw Failure{Usage, QStringLiteral("platform set needs --enable, --disable, --addr or --port")};
             if (c.has("enable") && c.has("disable"))
                 throw Failure{Usage, QStringLiteral("give --enable or --disable, not both")};
             GetDevPlatformCondition g;
             g.devId = c.dev();
             const DevPlatformInfo now = c.answer(c.control().getDevPlatform(g));
             const SetDevPlatformCondition s{QString(),
                                             g.devId,
                                             c.has("enable") || (now.param1 && !c.has("disable")),
                                             c.value("addr", now.platformAddr),
                                             now.param3,
                                             c.number("port", now.param4, 1, 65535),
                                             now.param5};
             return c.show(c.control().setDevPlatform(s));
         }},
        {"platform-tav",
         {"get", "set"},
         "dev online-server business-server",
         "Platform_tav settings.",
         [](Context &c) {
             if (c.action == 0)
                 return c.show(c.control().getDevPlatformTav(c.dev()));
             SetDevPlatform_tavCondition s;
             s.devId = c.dev();
             s.onlineServer = c.value("online-server");
             s.businessServer = c.value("business-server");
             return c.show(c.control().setDevPlatformTav(s));
         }},
        {"cert",
         {},
         "dev ca cert key secret-key",
         "Import a certificate into a device.",
         [](Context &c) {
             ImportDevCertCondition i;
             i.devId = c.dev();
             i.ca = c.text("ca");
             i.certContents = c.text("cert");
             i.key = c.text("key");
             i.secretKey = c.value("secret-key");
             return c.show(c.control().importDevCert(i));
         }},
        {"osd",
         {},
         "dev channel text",
         "Set a channel's on-screen text.",
         [](Context &c) {
             auto o = onChannel<SetOSDCondition>(c);
             o.osd = c.value("text");
             return c.show(c.control().setOSD(o));
         }},
        {"rename",
         {},
         "dev name",
         "Rename a device.",
         [](Context &c) {
             return c.show(c.control().modifyDevName({QString(), c.dev(), c.need("name")}));
         }},
        {"account",
         {},
         "dev account old-password new-password level",
         "Change a device account's password.",
         [](Context &c) {
             return c.show(
                 c.control().modifyDevAccount({QString(), c.dev(), c.value("account", "admin"), c.value("old-password"),
                                               c.need("new-password"), c.value("level")}));
         }},
        {"upgrade",
         {"check", "do", "progress"},
         "dev url mode wait seconds",
         "Firmware upgrade: check, start (--wait follows it), progress.",
         upgrade},
        // Recordings, addresses, streams.
        {"recordings",
         {},
         "dev channel from to",
         "Recordings in a span (default: the last 2 hours).",
         [](Context &c) {
             auto r = onChannel<RecsSearchCondition>(c);
             r.beginTime = c.time("from", QDateTime::currentDateTime().addSecs(-7200));
             r.endTime = c.time("to", QDateTime::currentDateTime());
             return c.show(c.control().searchVideoRecordings(r));
         }},
        {"rtsp",
         {},
         "dev channel stream-type",
         "A channel's RTSP address.",
         [](Context &c) {
             auto r = onChannel<GetRtspUrlCondition>(c);
             r.streamType = c.number("stream-type", 0, 0, 1);
             return c.show(c.control().getRtspUrl(r));
         }},
        {"live",
         {},
         "dev channel stream-type seconds out",
         "Receive live video for --seconds, into --out (MJPEG).",
         live},
        {"playback",
         {},
         "dev channel file time seconds out speed skip-to skip-time skip-after pause-at pause-for",
         "Play a recording (--file, --time, or the latest) for --seconds.",
         playback},
        {"snapshot", {}, "dev channel stream-type out", "Save one live picture (default snapshot.jpg).", snapshot},
        // PTZ, presets, patrols.
        {"ptz", {}, "dev channel op action speed for", "Move a PTZ camera (--for MS: start, wait, stop).", ptz},
        {"presets",
         {},
         "dev channel",
         "List a channel's presets.",
         [](Context &c) { return c.show(c.control().getPresets(c.dev(), c.channel())); }},
        {"preset",
         {"add", "delete", "call"},
         "dev channel number name",
         "Add (at the current position), delete or call a preset.",
         [](Context &c) {
             auto p = onChannel<PresetOperCondition>(c);
             // 0 adds at the next free number; delete and call need a real one.
             p.presetNumber = c.number("number", 0, c.action == int(PresetOper::Add) ? 0 : 1, kMax);
             p.presetName = c.value("name");
             p.oper = c.action;
             return c.show(c.control().operPreset(p));
         }},
        {"patrols",
         {},
         "dev channel",
         "List a channel's patrols.",
         [](Context &c) { return c.show(c.control().getPatrols(c.dev(), c.channel())); }},
        {"patrol",
         {"add", "delete", "start", "stop"},
         "dev channel patrol",
         "Add, delete, start or stop a patrol.",
         [](Context &c) {
             auto p = onChannel<PatrolOperCondition>(c);
             p.param3 = c.number("patrol", 1, c.action == int(PatrolOper::Add) ? 0 : 1, kMax);
             p.param4 = c.action;
             return c.show(c.control().operPatrol(p));
         }},
        {"patrol-stop",
         {"add", "delete", "modify"},
         "dev channel patrol preset stay",
         "Add, delete or change one stop of a patrol.",
         [](Context &c) {
             auto p = onChannel<PatrolPresetOperCondition>(c);
             p.param3 = c.number("patrol", 1, 1, kMax);
             p.param4 = c.number("preset", 0, 1, kMax);
             if (!c.has("preset"))
                 throw Failure{Usage, QStringLiteral("--preset is required")};
             p.param5 = c.number("stay", 10, 0, kMax);
             p.param6 = c.action;
             return c.show(c.control().operPatrolPreset(p));
         }},
        {"patrol-stops",
         {},
         "dev channel patrol stop",
         "Set all stops of a patrol (--stop PRESET:SECONDS ...).",
         [](Context &c) {
             auto p = onChannel<SetPatrolPresetsCondition>(c);
             p.param3 = c.number("patrol", 1, 1, kMax);
             if (c.values("stop").isEmpty())
                 throw Failure{Usage,
                               QStringLiteral("patrol-stops needs --stop (it replaces every stop; "
                                              "patrol delete removes a patrol)")};
             for (const QString &stop : c.values("stop")) {
                 const QStringList parts = stop.split(QLatin1Char(':'));
                 bool ok1 = false, ok2 = parts.size() < 2;
                 const int preset = parts.value(0).toInt(&ok1), stay = parts.size() > 1 ? parts[1].toInt(&ok2) : 10;
                 if (!ok1 || !ok2 || parts.size() > 2 || preset < 1 || stay < 0)
                     throw Failure{Usage,
                                   QStringLiteral("--stop takes PRESET:SECONDS (preset 1 or more, seconds 0 or more), "
                                                  "not '%1'")
                                       .arg(stop)};
                 p.presets.append({preset, stay});
             }
             return c.show(c.control().setPatrolPresets(p));
         }},
        // Faces.
        {"faces",
         {},
         "dev channel offset count",
         "List a device's faces.",
         [](Context &c) {
             auto f = onChannel<GetFacesCondition>(c);
             f.param3 = c.number("offset", 0, 0, kMax);
             f.param4 = c.number("count", 0, 0, kMax);
             return c.show(c.control().getFaces(f));
         }},
        {"face",
         {"add", "delete"},
         "dev channel serial name type image org face-id valid-from valid-to",
         "Add a face, or delete one (--face-id).",
         [](Context &c) {
             if (c.action == 1) {
                 auto d = onChannel<DelFaceCondition>(c);
                 d.param3 = c.number("face-id", 0, 1, kMax);
                 if (!c.has("face-id"))
                     throw Failure{Usage, QStringLiteral("--face-id is required")};
                 return c.show(c.control().delFace(d));
             }
             auto f = onChannel<ModifyFaceCondition>(c);
             f.serialNum = c.need("serial");
             f.name = c.need("name");
             f.faceType = c.value("type");
             f.organizations = c.values("org");
             f.validTime = c.time("valid-from", QDateTime::currentDateTime());
             f.invalidTime = c.time("valid-to", QDateTime::currentDateTime().addDays(365));
             if (c.has("image")) {
                 QFile image(c.value("image"));
                 if (!image.open(QIODevice::ReadOnly))
                     throw Failure{Usage, QStringLiteral("cannot read %1").arg(image.fileName())};
                 f.faceImage = image.readAll();
             }
             return c.show(c.control().addFace(f));
         }},
        {"face-records",
         {},
         "dev channel from to",
         "Face-detection records in a span (default: the last 2 hours).",
         [](Context &c) {
             auto f = onChannel<GetFaceDetectRecordsCondition>(c);
             f.beginTime = c.time("from", QDateTime::currentDateTime().addSecs(-7200));
             f.endTime = c.time("to", QDateTime::currentDateTime());
             return c.show(c.control().getFaceDetectRecords(f));
         }},
        // Audio, files, anything else.
        {"talk",
         {"start", "stop"},
         "dev channel",
         "Start or stop a talk session.",
         [](Context &c) {
             auto t = onChannel<TalkOperCondition>(c);
             t.param3 = c.action;
             return c.show(c.control().talkOper(t));
         }},
        {"speak",
         {"start", "stop"},
         "dev channel",
         "Start or stop a speak session.",
         [](Context &c) {
             auto t = onChannel<SpeakOperCondition>(c);
             t.param3 = c.action;
             return c.show(c.control().speakOper(t));
         }},
        {"upload",
         {},
         "dev file purpose",
         "Upload a file to a device (prints the first progress report).",
         [](Context &c) {
             return c.show(c.control().uploadFile({QString(), c.dev(), c.need("file"), c.value("purpose")}));
         }},
        {"download",
         {},
         "dev src dest",
         "Download a file from a device (prints the first progress report).",
         [](Context &c) {
             return c.show(
                 c.control().downloadFile({QString(), c.dev(), c.need("src"), c.value("dest", c.value("src"))}));
         }},
        {"common",
         {},
         "dev channel body",
         "Send a JSON request (--json or --body '{...}'); print the JSON answer.",
         [](Context &c) {
             const auto reply = c.control().common({c.dev(), c.channel()}, c.need("body"));
             reply.wait(c.timeoutMs + 1000);
             c.check(reply.call());
             // The answer's own "result" is its error code.
             const QJsonObject answer = QJsonDocument::fromJson(reply.value().toUtf8()).object();
             if (const int code = answer.value("result").toInt())
                 throw Failure{Failed,
                               QStringLiteral("the gateway answered error %1 (%2)")
                                   .arg(code)
                                   .arg(answer.value("error").toString()),
                               code};
             c.out << reply.value() << Qt::endl;
             return int(Ok);
         }},
        {"demo",
         {},
         "out seconds exit",
         "Run a scripted session and print a summary (files in --out, default demo-output).",
         runDemo},
    };
    return list;
}

// ---- Parsing ----

QString usage()
{
    QString text = QStringLiteral("Usage: oru-client <command> [action] [options]   (oru-client <command> --help)\n\n"
                                  "The main client's requests from the command line. Connects as a plain client\n"
                                  "(no hello) so that the gateway keeps running; --hello to be the main client.\n"
                                  "Exit codes: 0 ok, 1 the gateway answered an error, 2 bad arguments,\n"
                                  "3 no gateway / connection lost, 4 timeout.\n\nCommands:\n");
    for (const Command &cmd : commands()) {
        const QString name =
            cmd.actions.isEmpty() ? cmd.name : cmd.name + QLatin1Char(' ') + cmd.actions.join(QLatin1Char('|'));
        text += QStringLiteral("  %1 %2\n").arg(name, -34).arg(cmd.summary);
    }
    return text;
}

} // namespace

// ---- Context ----

Context::Context(QCommandLineParser &parser)
    : out(stdout)
    , parser(parser)
{
}

QString Context::value(const QString &name, const QString &fallback) const
{
    if (parser.isSet(name))
        return parser.value(name);
    const auto opt = catalogue().value(name);
    return fallback.isNull() && opt.fallback ? QString::fromLatin1(opt.fallback) : fallback;
}

QString Context::need(const QString &name) const
{
    const QString v = value(name);
    if (v.isEmpty())
        throw Failure{Usage, QStringLiteral("--%1 is required").arg(name)};
    return v;
}

int Context::number(const QString &name, int fallback) const
{
    if (!parser.isSet(name))
        return fallback;
    bool ok = false;
    const int n = parser.value(name).toInt(&ok);
    if (!ok)
        throw Failure{Usage, QStringLiteral("--%1 takes a number, not '%2'").arg(name, parser.value(name))};
    return n;
}

int Context::number(const QString &name, int fallback, int min, int max) const
{
    const int n = number(name, fallback);
    if (parser.isSet(name) && (n < min || n > max))
        throw Failure{Usage,
                      max == std::numeric_limits<int>::max()
                          ? QStringLiteral("--%1 takes %2 or more, not %3").arg(name).arg(min).arg(n)
                          : QStringLiteral("--%1 takes %2 to %3, not %4").arg(name).arg(min).arg(max).arg(n)};
    return n;
}

QDateTime Context::time(const QString &name, const QDateTime &fallback) const
{
    if (!parser.isSet(name))
        return fallback;
    const QDateTime t = parseTime(parser.value(name));
    if (!t.isValid())
        throw Failure{
            Usage,
            QStringLiteral("--%1: '%2' is no time (try now, -2h, 2024-05-01 10:00:00)").arg(name, parser.value(name))};
    return t;
}

int Context::choose(const QString &name, const QStringList &words, int fallback) const
{
    if (!parser.isSet(name))
        return fallback;
    const QString v = parser.value(name).toLower();
    bool isNumber = false;
    const int n = v.toInt(&isNumber);
    const int i = isNumber ? n : int(words.indexOf(v));
    if (i < 0 || i >= words.size())
        throw Failure{Usage, QStringLiteral("--%1 takes one of %2").arg(name, words.join(QStringLiteral(", ")))};
    return i;
}

QStringList Context::devs() const
{
    const QStringList list = parser.values(QStringLiteral("dev"));
    if (list.isEmpty())
        throw Failure{Usage, QStringLiteral("--dev is required")};
    return list;
}

QString Context::text(const QString &name) const
{
    const QString v = value(name);
    if (!v.startsWith(QLatin1Char('@')))
        return v;
    QFile file(v.mid(1));
    if (!file.open(QIODevice::ReadOnly))
        throw Failure{Usage, QStringLiteral("--%1: cannot read %2").arg(name, file.fileName())};
    return QString::fromUtf8(file.readAll());
}

Client &Context::control()
{
    if (!client) {
        const QString name = value(QStringLiteral("server"),
                                   qEnvironmentVariable("ORU_MESSAGE_SERVER", QStringLiteral("oru_dgw_message")));
        client = std::make_unique<Client>();
        trace(client->connection());
        client->setTimeout(timeoutMs);
        if (!client->connectToServer(name, timeoutMs))
            throw Failure{NoGateway, QStringLiteral("no gateway listening on '%1'").arg(name)};
        if (parser.isSet(QStringLiteral("hello")) && !parser.isSet(QStringLiteral("no-hello")))
            client->hello();
    }
    return *client;
}

std::unique_ptr<StreamClient> Context::newStream()
{
    const QString name = value(QStringLiteral("stream-server"),
                               qEnvironmentVariable("ORU_STREAM_SERVER", QStringLiteral("oru_dgw_stream")));
    auto s = std::make_unique<StreamClient>();
    trace(s->connection());
    if (!s->connectToServer(name, timeoutMs))
        throw Failure{NoGateway, QStringLiteral("no gateway stream server listening on '%1'").arg(name)};
    return s;
}

namespace {
// The request id a frame carries: the first text in field 1 or 2, where every
// request and answer keeps it (answers put their error first); empty for
// pushes, raw payloads and anything that does not parse.
QByteArray requestIdOf(const oru_client::Frame &frame)
{
    using T = oru_sdk::MessageType;
    if (frame.type == T::StreamData || frame.type == T::PushDevP2PSuccess || frame.type == T::UploadUpgradeFileFinished)
        return QByteArray();
    const QByteArray &in = frame.payload;
    int at = 0;
    const auto varint = [&](quint64 *value) {
        *value = 0;
        for (int shift = 0; at < in.size() && shift < 64; shift += 7) {
            const uchar byte = uchar(in.at(at++));
            *value |= quint64(byte & 0x7F) << shift;
            if (!(byte & 0x80))
                return true;
        }
        return false;
    };
    quint64 tag = 0;
    quint64 value = 0;
    while (at < in.size() && varint(&tag) && (tag >> 3) <= 2) {
        switch (tag & 7) {
        case 0:
            if (!varint(&value))
                return QByteArray();
            break;
        case 2: {
            if (!varint(&value) || value > quint64(in.size() - at))
                return QByteArray();
            const QByteArray text = in.mid(at, int(value));
            at += int(value);
            if (!text.isEmpty() && std::all_of(text.begin(), text.end(), [](char c) { return uchar(c) >= 0x20; }))
                return text;
            break;
        }
        default:
            return QByteArray();
        }
    }
    return QByteArray();
}
} // namespace

// --verbose: frames as they leave and arrive, timed from the request with the
// same id, or else from the last frame this connection sent.
void Context::trace(oru_client::Connection &conn)
{
    if (!parser.isSet(QStringLiteral("verbose")))
        return;
    struct Clock {
        QHash<QByteArray, qint64> sentAt;
        qint64 lastSent = 0;
        QElapsedTimer timer;
    };
    auto clock = std::make_shared<Clock>();
    clock->timer.start();
    const auto line = [clock](char direction, const oru_client::Frame &frame) {
        const QByteArray id = requestIdOf(frame);
        const qint64 now = clock->timer.elapsed();
        if (direction == '>') {
            clock->lastSent = now;
            if (!id.isEmpty())
                clock->sentAt.insert(id, now);
        }
        const qint64 since = now - clock->sentAt.value(id, clock->lastSent);
        const char *name = oru_sdk::messageTypeName(int(frame.type));
        QTextStream(stderr) << direction << ' ' << int(frame.type) << ' ' << (name ? name : "unknown")
                            << (id.isEmpty() ? QString() : QStringLiteral(" id=") + QString::fromUtf8(id)) << ' '
                            << frame.payload.size() << " bytes +" << since << " ms" << Qt::endl;
    };
    QObject::connect(&conn, &oru_client::Connection::frameSent, [line](const oru_client::Frame &f) { line('>', f); });
    QObject::connect(&conn, &oru_client::Connection::frameReceived,
                     [line](const oru_client::Frame &f) { line('<', f); });
}

StreamClient &Context::stream()
{
    if (!streamClient)
        streamClient = newStream();
    return *streamClient;
}

void Context::flush()
{
    // On the event loop: the connection reads its socket itself.
    if (client && client->isConnected()) {
        QLocalSocket *socket = client->connection().localSocket();
        oru_client::spinUntil([&] { return socket->bytesToWrite() == 0 || !client->isConnected(); }, timeoutMs);
    }
}

void Context::check(const PendingCall *call) const
{
    switch (call->error()) {
    case oru_client::CallError::None:
        if (!call->isFinished())
            throw Failure{TimedOut, call->description() + QStringLiteral(": no answer")};
        if (call->response().errorCode)
            throw Failure{Failed, call->errorString(), call->response().errorCode};
        return;
    case oru_client::CallError::Timeout:
        throw Failure{TimedOut, call->errorString()};
    default:
        throw Failure{NoGateway, call->errorString()};
    }
}

void Context::print(const QJsonValue &value, const QStringList &text)
{
    if (!json) {
        for (const QString &line : text)
            out << line << '\n';
    } else if (value.isArray()) {
        out << QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact) << '\n';
    } else if (value.isObject()) {
        out << QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact) << '\n';
    } else {
        out << QJsonDocument(QJsonObject{{"value", value.isNull() ? QJsonValue(true) : value}})
                   .toJson(QJsonDocument::Compact)
            << '\n';
    }
    out.flush();
}

StreamStats Context::runStream(StreamClient &s, const QString &label, double seconds, const QString &file,
                               const QList<Step> &steps, const ChannelId &source)
{
    QFile sink(file);
    if (file == QLatin1String("-")) { // pictures on stdout: the words go to stderr
        static QFile errors;
        errors.open(stderr, QIODevice::WriteOnly);
        out.flush();
        out.setDevice(&errors);
    }
    const bool terminal = !json && isatty(fileno(stdout));
    StreamStats stats;
    QElapsedTimer clock;
    QEventLoop loop;
    bool lost = false, stalled = false;
    // Armed while data is expected: no picture within the timeout ends the run.
    QTimer silence;
    silence.setSingleShot(true);
    silence.setInterval(timeoutMs);
    QObject::connect(&silence, &QTimer::timeout, &loop, [&] {
        stalled = true;
        loop.quit();
    });
    QString writeError;
    QObject::connect(&s, &StreamClient::dataReceived, &loop, [&](const QByteArray &data) {
        if (!clock.isValid())
            clock.start(); // the rate counts from the first picture
        if (silence.isActive())
            silence.start();
        // Opened at the first picture, so that a stream that never starts leaves no empty file.
        if (!file.isEmpty() && !sink.isOpen()
            && !(file == QLatin1String("-") ? sink.open(stdout, QIODevice::WriteOnly | QIODevice::Unbuffered)
                                            : sink.open(QIODevice::WriteOnly))) {
            writeError = sink.errorString();
            loop.quit();
        }
        if (sink.isOpen())
            sink.write(data);
    });
    QObject::connect(&s, &StreamClient::eventReceived, &loop, [&](StreamEvent e) {
        if (e != StreamEvent::StreamStart)
            loop.quit();
    });
    QObject::connect(&s, &StreamClient::disconnected, &loop, [&] {
        lost = true;
        loop.quit();
    });
    for (const Step &step : steps)
        QTimer::singleShot(int(step.at * 1000), &loop, [&s, &silence, step] {
            step.action(s);
            if (step.pause > 0)
                silence.stop();
            else if (step.pause < 0)
                silence.start();
        });
    QTimer progress;
    QObject::connect(&progress, &QTimer::timeout, &loop, [&] {
        if (!clock.isValid() && s.dataFrames() == 0)
            return;
        const double t = clock.isValid() ? clock.elapsed() / 1000.0 : 0;
        out << '\r'
            << QStringLiteral("%1: %2 frames, %3 KiB, %4 fps")
                   .arg(label)
                   .arg(s.dataFrames())
                   .arg(s.dataBytes() / 1024)
                   .arg(t > 0 ? s.dataFrames() / t : 0, 0, 'f', 1);
        if (s.duration())
            out << QStringLiteral(", at %1/%2 s").arg(s.offsetTime()).arg(s.duration());
        out << "   " << Qt::flush;
    });
    if (terminal)
        progress.start(250);
    silence.start();
    QTimer::singleShot(int(seconds * 1000), &loop, &QEventLoop::quit);
    loop.exec();
    progress.stop();
    if (terminal)
        out << '\r' << QString(100, QLatin1Char(' ')) << '\r' << Qt::flush;
    if (!writeError.isEmpty())
        throw Failure{Failed, QStringLiteral("cannot write %1: %2").arg(file, writeError)};
    stats.frames = s.dataFrames();
    stats.bytes = s.dataBytes();
    stats.seconds = clock.isValid() ? clock.elapsed() / 1000.0 : 0;
    stats.offsetTime = s.offsetTime();
    stats.duration = s.duration();
    stats.currentTime = s.currentTime();
    stats.events = s.events();
    const QString after = stats.frames ? QStringLiteral(" after %1 frames").arg(stats.frames) : QString();
    if (stats.events.contains(StreamEvent::StreamError)) {
        // Stream events carry no reason: ask the control channel about the same channel.
        QString reason;
        if (!source.first.isEmpty()) {
            GetRtspUrlCondition probe;
            probe.devId = source.first;
            probe.channel = source.second;
            const auto reply = control().getRtspUrl(probe);
            reply.wait(timeoutMs + 1000);
            if (reply.isFinished() && reply.response().errorCode)
                reason =
                    QStringLiteral(": error %1 (%2)").arg(reply.response().errorCode).arg(reply.response().errorText);
        }
        throw Failure{Failed, label + QStringLiteral(": the gateway reported a stream error") + after + reason};
    }
    if (lost)
        throw Failure{NoGateway, label + QStringLiteral(": the gateway closed the stream connection") + after};
    if (stalled || stats.frames == 0)
        throw Failure{TimedOut, label + QStringLiteral(": no stream data within %1 ms").arg(timeoutMs) + after};
    return stats;
}

void Context::printStream(const QString &label, const StreamStats &st, const QString &file)
{
    QJsonArray events;
    for (StreamEvent e : st.events)
        events.append(int(e));
    QJsonObject o{{"frames", st.frames}, {"bytes", double(st.bytes)},   {"seconds", st.seconds},
                  {"fps", st.fps()},     {"bytesPerSecond", st.rate()}, {"events", events}};
    QString line = QStringLiteral("%1: %2 frames, %3 KiB in %4 s, %5 fps, %6 KiB/s")
                       .arg(label)
                       .arg(st.frames)
                       .arg(st.bytes / 1024)
                       .arg(st.seconds, 0, 'f', 1)
                       .arg(st.fps(), 0, 'f', 1)
                       .arg(st.rate() / 1024, 0, 'f', 0);
    if (st.duration) {
        o.insert(QStringLiteral("offsetTime"), double(st.offsetTime));
        o.insert(QStringLiteral("duration"), double(st.duration));
        line += QStringLiteral(", position %1/%2 s").arg(st.offsetTime).arg(st.duration);
    }
    if (st.currentTime.isValid()) {
        o.insert(QStringLiteral("currentTime"), toJson(st.currentTime));
        line += QStringLiteral(", at %1").arg(toText(st.currentTime));
    }
    QStringList eventNames;
    for (StreamEvent e : st.events)
        eventNames.append(toText(e));
    if (!eventNames.isEmpty())
        line += QStringLiteral(", events: ") + eventNames.join(QStringLiteral(", "));
    if (!file.isEmpty()) {
        o.insert(QStringLiteral("file"), file);
        line += QStringLiteral(" -> ") + file;
    }
    print(o, {line});
}

QDateTime parseTime(const QString &text)
{
    const QString t = text.trimmed();
    const QDateTime now = QDateTime::currentDateTime();
    if (t == QLatin1String("now"))
        return now;
    if (t == QLatin1String("today"))
        return QDateTime(now.date(), QTime(0, 0));
    static const QRegularExpression relative(QStringLiteral(R"(^([+-])(\d+)([smhd])$)"));
    const auto m = relative.match(t);
    if (m.hasMatch()) {
        static const QMap<QString, qint64> unit{{"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}};
        return now.addSecs((m.captured(1) == QLatin1String("-") ? -1 : 1) * m.captured(2).toLongLong()
                           * unit.value(m.captured(3)));
    }
    for (const char *format :
         {"yyyy-MM-dd hh:mm:ss.zzz", "yyyy-MM-dd hh:mm:ss", "yyyy-MM-ddThh:mm:ss", "yyyy-MM-dd hh:mm", "yyyy-MM-dd"}) {
        const QDateTime d = QDateTime::fromString(t, QString::fromLatin1(format));
        if (d.isValid())
            return d;
    }
    return QDateTime();
}

} // namespace oru_cli

using namespace oru_cli;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("oru-client"));
    // Scripts read stderr as one line per failure: keep Qt's own chatter out.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &msg) {
        if (type == QtFatalMsg || qEnvironmentVariableIsSet("ORU_CLIENT_DEBUG"))
            fprintf(stderr, "%s\n", qPrintable(msg));
    });
    QTextStream err(stderr);
    const QStringList args = app.arguments();

    // The command is the first word that is not an option or an option's value.
    QStringList words;
    for (int i = 1; i < args.size(); ++i) {
        const QString a = args[i];
        if (a.startsWith(QLatin1Char('-'))) {
            const auto opt = catalogue().find(a.mid(a.startsWith(QLatin1String("--")) ? 2 : 1));
            if (opt != catalogue().end() && opt->value && !a.contains(QLatin1Char('=')))
                ++i;
            continue;
        }
        words.append(a);
    }
    if (words.isEmpty()) {
        if (args.contains(QStringLiteral("--version"))) {
            QTextStream(stdout) << "oru-client " << ORU_VERSION << Qt::endl;
            return Ok;
        }
        if (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
            QTextStream(stdout) << usage();
            return Ok;
        }
        err << "oru-client: no command given (oru-client --help lists them)" << Qt::endl;
        return Usage;
    }
    const auto &all = commands();
    const auto cmd = std::find_if(all.begin(), all.end(), [&](const Command &c) { return c.name == words[0]; });
    if (cmd == all.end()) {
        err << "oru-client: unknown command '" << words[0] << "' (oru-client --help lists them)" << Qt::endl;
        return Usage;
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(cmd->summary);
    parser.addHelpOption();
    QStringList names = kCommon;
    const QStringList own = cmd->options.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (cmd->name == QLatin1String("common"))
        names.removeAll(QStringLiteral("json")); // there --json is the request body
    for (const QString &name : names + own) {
        const Opt o = catalogue().value(name);
        QStringList optionNames{name};
        if (name == QLatin1String("body"))
            optionNames.append(QStringLiteral("json"));
        if (name == QLatin1String("verbose"))
            optionNames.prepend(QStringLiteral("v"));
        QString help = QString::fromLatin1(o.help);
        if (o.fallback)
            help += QStringLiteral(" Default: %1.").arg(QLatin1String(o.fallback));
        QCommandLineOption option(optionNames, help);
        if (o.value)
            option.setValueName(QString::fromLatin1(o.value));
        parser.addOption(option);
    }
    const QString verb =
        cmd->actions.isEmpty() ? cmd->name : cmd->name + QLatin1Char(' ') + cmd->actions.join(QLatin1Char('|'));
    parser.addPositionalArgument(verb, QString(), verb);
    if (!parser.parse(args)) {
        err << "oru-client " << cmd->name << ": " << parser.errorText() << Qt::endl;
        return Usage;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        QTextStream(stdout) << parser.helpText().replace(args.first(), QStringLiteral("oru-client"));
        return Ok;
    }

    Context c(parser);
    try {
        const QStringList positional = parser.positionalArguments();
        if (!cmd->actions.isEmpty()) {
            c.action = positional.size() > 1 ? int(cmd->actions.indexOf(positional[1])) : -1;
            if (c.action < 0)
                throw Failure{
                    Usage,
                    QStringLiteral("%1 needs one of: %2").arg(cmd->name, cmd->actions.join(QStringLiteral(", ")))};
        }
        if (positional.size() > (cmd->actions.isEmpty() ? 1 : 2))
            throw Failure{Usage, QStringLiteral("unexpected argument '%1'").arg(positional.last())};
        c.json = names.contains(QStringLiteral("json")) && parser.isSet(QStringLiteral("json"));
        c.timeoutMs = c.number(QStringLiteral("timeout"), 5000, 1, kMax);
        return cmd->run(c);
    } catch (const Failure &f) {
        c.out.flush();
        if (c.json) // scripts get one object, never text to parse
            err << QJsonDocument(QJsonObject{{"error", f.text}, {"code", f.gatewayCode}, {"exit", f.code}})
                       .toJson(QJsonDocument::Compact)
                << Qt::endl;
        else
            err << "oru-client " << cmd->name << ": " << f.text << Qt::endl;
        return f.code;
    }
}
