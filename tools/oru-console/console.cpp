#include "console.h"

#include <oru_client/stream_client.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>

using namespace oru_client;

namespace {

QJsonArray devicesJson(const oru_sdk::DevInfoList &devs)
{
    QJsonArray out;
    for (const auto &d : devs)
        out.append(QJsonObject{{"id", d.id}, {"name", d.name}, {"sn", d.sn}, {"ip", d.ip}});
    return out;
}

QJsonObject channelJson(const oru_sdk::ChannelId &c) { return {{"devId", c.first}, {"channel", c.second}}; }

} // namespace

Console::Console(QString server, QString streamServer, bool hello)
    : serverName(std::move(server))
    , streamName(std::move(streamServer))
    , wantHello(hello)
{
    connect(&client, &Client::searchedDevs, this, [this](const oru_sdk::DevInfoList &d) {
        publish({{"type", "devices"}, {"devices", devicesJson(d)}});
        // Their channels come as pushes too, one list per device.
        for (const auto &dev : d)
            client.getDevChannelsInfo(dev.id);
    });
    connect(&client, &Client::devStatus, this, [this](const QString &id, oru_sdk::DevStatus s) {
        publish({{"type", "status"}, {"devId", id}, {"status", int(s)}});
    });
    connect(&client, &Client::devChannelsInfo, this, [this](const QString &id, const oru_sdk::DevChanInfoList &list) {
        QJsonArray channels;
        for (const auto &c : list)
            channels.append(QJsonObject{{"channel", c.channel}, {"osd", c.osd}, {"online", c.param3 != 0}});
        publish({{"type", "channels"}, {"devId", id}, {"channels", channels}});
    });
    connect(&client, &Client::alarm, this, [this](const oru_sdk::AlarmInfo &a) {
        publish({{"type", "alarm"},
                 {"channel", channelJson(a.channel)},
                 {"name", a.alarmName},
                 {"alarmType", a.alarmType},
                 {"time", a.alarmTime.toString(Qt::ISODateWithMs)}});
    });
    connect(&client, &Client::faceDetect, this,
            [this](const oru_sdk::ChannelId &c, const oru_sdk::FaceDetectRecordInfo &r) {
                publish({{"type", "face"},
                         {"channel", channelJson(c)},
                         {"name", r.name},
                         {"time", r.detectTime.toString(Qt::ISODateWithMs)}});
            });
    connect(&client, &Client::disconnected, this, [this] {
        up = false;
        publish({{"type", "gateway"}, {"up", false}});
    });
    // Reconnects when the gateway comes back; a no-op while connected.
    auto *retry = new QTimer(this);
    connect(retry, &QTimer::timeout, this, &Console::connectGateway);
    retry->start(1000);
    QTimer::singleShot(0, this, &Console::connectGateway);
}

void Console::connectGateway()
{
    if (up)
        return;
    if (!client.connectToServer(serverName, 500))
        return;
    up = true;
    if (wantHello)
        client.hello();
    publish({{"type", "gateway"}, {"up", true}});
    client.searchDevs();
}

void Console::publish(const QJsonObject &event)
{
    std::lock_guard<std::mutex> g(eventLock);
    events.emplace_back(++lastEvent, QJsonDocument(event).toJson(QJsonDocument::Compact).toStdString());
    while (events.size() > 500)
        events.pop_front();
    eventArrived.notify_all();
}

bool Console::nextEvent(quint64 &after, std::string &out, int timeoutMs)
{
    std::unique_lock<std::mutex> g(eventLock);
    if (!eventArrived.wait_for(g, std::chrono::milliseconds(timeoutMs), [&] { return lastEvent > after; }))
        return false;
    for (const auto &e : events) {
        if (e.first > after) {
            after = e.first;
            out = e.second;
            return true;
        }
    }
    after = lastEvent;
    return false;
}

QJsonObject Console::answerOf(const PendingCall *call) const
{
    static const char *const kinds[] = {"", "not connected", "timeout", "disconnected"};
    return {{"request", call->description()},
            {"errorCode", call->response().errorCode},
            {"errorText", call->response().errorText},
            {"transportError", kinds[int(call->error())]},
            {"ms", call->elapsedMs()}};
}

void Console::request(const QString &name, const QJsonObject &a, std::function<void(QJsonObject)> answer)
{
    const QString dev = a.value("devId").toString();
    const int ch = a.value("channel").toInt();
    // One pattern for every call: run it, then add its value to the answer.
    auto finish = [this, answer](auto reply, auto valueOf) {
        reply.then(this, [this, answer, valueOf](auto r) {
            QJsonObject out = answerOf(r.call());
            if (r.ok())
                out.insert("value", valueOf(r.value()));
            answer(out);
        });
    };
    auto none = [](const NoValue &) { return QJsonValue(); };
    if (name == "devices") {
        client.searchDevs();
        answer({{"errorCode", 0}, {"request", "search devices"}});
    } else if (name == "ptz") {
        oru_sdk::PTZCtrlCondition c;
        c.devId = dev;
        c.channel = ch;
        c.operation = a.value("operation").toInt();
        c.action = a.value("action").toInt();
        c.param5 = a.value("speed").toInt(4);
        finish(client.ptzCtrl(c), [](const PtzResult &p) {
            return QJsonValue(QJsonObject{{"operation", p.operation}, {"action", p.action}});
        });
    } else if (name == "presets") {
        finish(client.getPresets(dev, ch), [](const oru_sdk::PresetList &list) {
            QJsonArray out;
            for (const auto &p : list)
                out.append(QJsonObject{{"number", p.number}, {"name", p.name}});
            return QJsonValue(out);
        });
    } else if (name == "preset") {
        oru_sdk::PresetOperCondition c;
        c.devId = dev;
        c.channel = ch;
        c.presetNumber = a.value("number").toInt();
        c.presetName = a.value("name").toString();
        c.oper = a.value("oper").toInt();
        finish(client.operPreset(c), [](int n) { return QJsonValue(n); });
    } else if (name == "name") {
        oru_sdk::ModifyDevNameCondition c;
        c.devId = dev;
        c.devName = a.value("name").toString();
        finish(client.modifyDevName(c), none);
    } else if (name == "osd") {
        oru_sdk::SetOSDCondition c;
        c.devId = dev;
        c.channel = ch;
        c.osd = a.value("osd").toString();
        finish(client.setOSD(c), none);
    } else if (name == "recordings") {
        oru_sdk::RecsSearchCondition c;
        c.devId = dev;
        c.channel = ch;
        c.beginTime = QDateTime::fromString(a.value("begin").toString(), "yyyy-MM-dd hh:mm:ss");
        c.endTime = QDateTime::fromString(a.value("end").toString(), "yyyy-MM-dd hh:mm:ss");
        finish(client.searchVideoRecordings(c), [](const Recordings &r) {
            QJsonArray out;
            for (const auto &v : r.list)
                out.append(QJsonObject{{"begin", v.begin.toString("yyyy-MM-dd hh:mm:ss")},
                                       {"end", v.end.toString("yyyy-MM-dd hh:mm:ss")},
                                       {"file", v.fileName}});
            return QJsonValue(out);
        });
    } else if (name == "playback" || name == "playctl") {
        // The playback's own answers come as progress events.
        if (name == "playback")
            startPlayback(a);
        else if (auto *s = streams["play"]) {
            if (a.contains("speed"))
                s->setSpeed(a.value("speed").toString());
            if (a.contains("ctrl"))
                s->control(oru_sdk::PlaybackCtrl(a.value("ctrl").toInt()));
            if (a.contains("seek"))
                s->skipToTime(QDateTime::fromString(a.value("seek").toString(), "yyyy-MM-dd hh:mm:ss"));
        }
        answer({{"errorCode", 0}, {"request", name}});
    } else if (name == "stats") {
        answer({{"errorCode", 0}, {"request", name}, {"value", stats()}});
    } else if (name == "common") {
        finish(client.common({dev, ch}, a.value("json").toString()), [](const QString &s) { return QJsonValue(s); });
    } else {
        answer({{"errorCode", -1}, {"errorText", "unknown request " + name}});
    }
}

StreamClient *Console::openStream(const QString &key, const std::shared_ptr<LiveFeed> &f)
{
    delete streams[key];
    auto *s = new StreamClient(this);
    streams[key] = s;
    connect(s, &StreamClient::dataReceived, this, [f](const QByteArray &jpeg) {
        std::lock_guard<std::mutex> lg(f->lock);
        f->jpeg.assign(jpeg.constData(), size_t(jpeg.size()));
        f->bytes += jpeg.size();
        ++f->serial;
        f->changed.notify_all();
    });
    s->connectToServer(streamName, 1000);
    return s;
}

void Console::startPlayback(const QJsonObject &a)
{
    std::shared_ptr<LiveFeed> f;
    {
        std::lock_guard<std::mutex> g(feedLock);
        auto &slot = feeds["play"];
        if (!slot)
            slot = std::make_shared<LiveFeed>();
        f = slot;
    }
    StreamClient *s = openStream("play", f);
    connect(s, &StreamClient::timeProgress, this, [this](const QDateTime &t) {
        publish({{"type", "progress"}, {"time", t.toString("yyyy-MM-dd hh:mm:ss")}});
    });
    s->openPlaybackByTime({a.value("devId").toString(), a.value("channel").toInt(),
                           QDateTime::fromString(a.value("start").toString(), "yyyy-MM-dd hh:mm:ss"), 0});
}

QJsonObject Console::stats()
{
    QJsonObject out;
    std::lock_guard<std::mutex> g(feedLock);
    for (const auto &f : feeds) {
        std::lock_guard<std::mutex> lg(f.second->lock);
        out.insert(f.first,
                   QJsonObject{{"frames", double(f.second->serial)},
                               {"bytes", double(f.second->bytes)},
                               {"sent", double(f.second->sent)}});
    }
    return out;
}

std::shared_ptr<LiveFeed> Console::feed(const QString &key)
{
    std::lock_guard<std::mutex> g(feedLock);
    auto &f = feeds[key];
    if (!f)
        f = std::make_shared<LiveFeed>();
    if (f->viewers++ == 0 && key != "play") {
        // First viewer of a live channel ("<devId>/<channel>"): open its stream.
        QMetaObject::invokeMethod(this, [this, key, f] {
            const int slash = key.lastIndexOf('/');
            openStream(key, f)->openLive({key.left(slash), key.mid(slash + 1).toInt(), 0});
        });
    }
    return f;
}

void Console::releaseFeed(const QString &key)
{
    std::lock_guard<std::mutex> g(feedLock);
    auto it = feeds.find(key);
    if (it == feeds.end() || --it->second->viewers > 0 || key == "play")
        return;
    feeds.erase(it);
    QMetaObject::invokeMethod(this, [this, key] {
        if (auto *s = streams[key])
            s->deleteLater();
        streams.erase(key);
    });
}
