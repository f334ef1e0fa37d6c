#include "message_hamal.h"

#include "frame_codec.h"
#include "inbound.h"
#include "message_server.h"
#include "message_signals.h"
#include "oru_message.pb.h"
#include "plain_text.h"
#include "resource_limits.h"
#include "scratch_message.h"
#include "sdk_log.h"
#include "wire_convert.h"
#include "wire_message.h"

#include <oru_sdk/dgw_signals.h>

#include <QUuid>

#include <type_traits>

namespace oru_sdk {

namespace proto = oru_sdk_proto;
using wire::text;
using wire::utf8;

namespace {

// ---------------------------------------------------------------------------
// Inbound: the handler shapes that the rows of ORU_CONTROL_CHANNEL name.

enum class Kind { Request, Command };
enum class Level { Trace, Info };
// A failure line that is not "parse [<success>] failure".
struct Failure {
    const char *text;
};

// The success line: fixed, or built from the message.
template <typename Wire, typename Describe>
QString successLine(const QString &success, const Describe &describe, const Wire &message)
{
    if constexpr (std::is_invocable_v<Describe, const Wire &>)
        return describe(message);
    else
        return success;
}

// Parse; on failure one error line and nothing else. Otherwise remember the
// asking connection (requests), emit, then log.
template <typename Wire, Kind kind, typename Emit, typename Extra>
auto parsed(Emit emitSignal, const char *success, Extra extra)
{
    return [=, successText = QString::fromLatin1(success)](PendingRequests &pending, qintptr socket,
                                                           const QByteArray &payload) {
        const auto failure = [&] {
            if constexpr (std::is_same_v<Extra, Failure>)
                return QString::fromLatin1(extra.text);
            else
                return parseFailure(successText);
        };
        parseThen<Wire>(payload, failure, [&](const Wire &message) {
            if constexpr (kind == Kind::Request)
                pending.insert(text(message.request_id()), socket);
            emitSignal(message);
            const QString line = successLine(successText, extra, message);
            if constexpr (std::is_same_v<Extra, Level>)
                extra == Level::Info ? logInfo(line) : logTrace(line);
            else
                logTrace(line);
        });
    };
}

template <typename Wire, typename Emit, typename Extra = Level>
auto request(Emit emitSignal, const char *success, Extra extra = Level::Trace)
{
    return parsed<Wire, Kind::Request>(emitSignal, success, extra);
}

template <typename Wire, typename Emit, typename Extra = Level>
auto command(Emit emitSignal, const char *success, Extra extra = Level::Trace)
{
    return parsed<Wire, Kind::Command>(emitSignal, success, extra);
}

// The payload is the one text argument (cut at its first zero byte).
auto plainText(void (DgwSignals::*signal)(const QString &), const char *success)
{
    return [=, line = QString::fromLatin1(success)](PendingRequests &, qintptr, const QByteArray &payload) {
        emit(dgw().*signal)(textPayload(payload));
        logTrace(line);
    };
}

// The payload is ignored.
auto bare(void (DgwSignals::*signal)(), const char *success)
{
    return [=, line = QString::fromLatin1(success)](PendingRequests &, qintptr, const QByteArray &) {
        emit(dgw().*signal)();
        logTrace(line);
    };
}

// Emitters for the common argument shapes.
template <typename Record>
auto record(void (DgwSignals::*signal)(const Record &))
{
    return [signal](const auto &message) {
        Record r;
        wire::fromWire(message, &r);
        emit(dgw().*signal)(r);
    };
}

auto devices(void (DgwSignals::*signal)(const DevInfoList &))
{
    return [signal](const auto &message) { emit(dgw().*signal)(wire::listFromWire<DevInfo>(message.devs())); };
}

auto deviceIds(void (DgwSignals::*signal)(const QStringList &))
{
    return [signal](const proto::DevList &message) { emit(dgw().*signal)(wire::texts(message.devs_id())); };
}

auto requestAndDevice(void (DgwSignals::*signal)(const QString &, const QString &))
{
    return [signal](const auto &message) { emit(dgw().*signal)(text(message.request_id()), text(message.dev_id())); };
}

// Emitters of one row each.
void setDevsTime(const proto::DevTimingCmd &m)
{
    emit dgw().signalSetDevsTimeCmd(wire::texts(m.devs_id()), wire::dateTime(m.time()));
}
void restoreFactory(const proto::RestoreFactoryCmd &m)
{
    emit dgw().signalRestoreFactory(wire::texts(m.devs_id()), m.simple());
}
void activateDevs(const proto::DevActivateCmd &m)
{
    ActivateCondition c;
    wire::fromWire(m, &c);
    emit dgw().signalActivateDevsCmd(wire::texts(m.devs_sn()), c);
}
void openRemoteConfig(const proto::OpenRemoteConfigReq &m)
{
    emit dgw().signalOpenDevRemoteConfigReq(text(m.dev_id()), m.language());
}
void commonReq(const proto::CommonReq &m)
{
    ChannelId channel;
    wire::fromWire(m.channel_id(), &channel);
    emit dgw().signalCommonReq(channel, text(m.request_id()), text(m.req_json()));
}
// The line shows the times exactly as they arrived.
QString withTimesAsSent(const proto::GetFaceDetectRecordsReq &m)
{
    return QStringLiteral("client get face detect records req, begin time:%1, end time:%2")
        .arg(logValue(text(m.begin_time())), logValue(text(m.end_time())));
}

// ---------------------------------------------------------------------------
// Outbound: the routes that the rows of ORU_CONTROL_CHANNEL name.

enum class To { Asker, All };
// A payload that is the first argument as UTF-8 text, no protobuf.
struct PlainText {
};

template <To target, typename Message, typename Fill, typename... Args>
struct Route {
    static constexpr To to = target;
    using Wire = Message;
    void (MessageSignals::*signal)(Args...);
    const char *text; // no line when null
    Fill fill;
};

template <typename Wire, typename... Args, typename Fill>
auto answer(void (MessageSignals::*signal)(Args...), const char *text, Fill fill)
{
    return Route<To::Asker, Wire, Fill, Args...>{signal, text, fill};
}

template <typename Wire, typename... Args, typename Fill>
auto push(void (MessageSignals::*signal)(Args...), const char *text, Fill fill)
{
    return Route<To::All, Wire, Fill, Args...>{signal, text, fill};
}

template <typename First, typename... Rest>
const First &firstOf(const First &first, const Rest &...)
{
    return first;
}

// The request id an answer is routed by: the Response's, the progress
// record's, or the plain id given first.
inline const QString &routingId(const Response &r) { return r.requestId; }
inline const QString &routingId(const FileTransferProgress &p) { return p.requestId; }
inline const QString &routingId(const QString &requestId) { return requestId; }

// The whole frame, the message serialised in place behind its header.
template <typename Wire, typename Fill, typename... Args>
QByteArray frame(MessageType type, const Fill &fill, const Args &...args)
{
    QByteArray bytes;
    withScratchMessage<Wire>([&](Wire &message) {
        if constexpr (std::is_same_v<std::decay_t<decltype(firstOf(args...))>, Response>)
            wire::setResult(firstOf(args...), &message);
        fill(message, args...);
        const size_t size = message.ByteSizeLong();
        bytes = encodeFrameInPlace(type, int(size), [&](uchar *out) {
            if (size > 0)
                message.SerializeWithCachedSizesToArray(out);
        });
        return size;
    });
    return bytes;
}

// Fill functions: what a route adds beyond the answer envelope.
using wire::listToWire;
using wire::toWire;
constexpr auto nothingMore = [](auto &, const auto &...) {};
constexpr auto wholeMessage = [](auto &m, const auto &record) { toWire(record, &m); };
constexpr auto snAndCode = [](auto &m, const QString &sn, int err) {
    m.set_dev_sn(utf8(sn));
    m.set_err_code(err);
};
constexpr auto devNetInfo = [](auto &m, const Response &, const DevNetInfo &info) {
    toWire(info, m.mutable_dev_net_info());
};
constexpr auto platformInfo = [](auto &m, const Response &, const auto &info) {
    toWire(info, m.mutable_dev_platform_info());
};
constexpr auto devIdAndIp = [](auto &m, const Response &, const QString &devId, const QString &devIp) {
    m.set_dev_id(utf8(devId));
    m.set_dev_ip(utf8(devIp));
};
constexpr auto devList = [](auto &m, const DevInfoList &devs) { listToWire(devs, m.mutable_devs()); };
constexpr auto devStatus = [](auto &m, const QString &devId, DevStatus status) {
    m.set_dev_id(utf8(devId));
    m.set_status(int(status));
};
constexpr auto tempUserCodes = [](auto &m, const DevTempUserCodeList &codes) {
    listToWire(codes, m.mutable_code_list());
};
constexpr auto channelsInfo = [](auto &m, const QString &devId, const DevChanInfoList &channels) {
    m.set_dev_id(utf8(devId));
    listToWire(channels, m.mutable_channels_info());
};
constexpr auto faceDetect = [](auto &m, const ChannelId &channel, const FaceDetectRecordInfo &record) {
    toWire(channel, m.mutable_channel_id());
    toWire(record, m.mutable_record());
};
constexpr auto faceCount = [](auto &m, const ChannelId &channel, const FaceCountInfo &count) {
    toWire(channel, m.mutable_channel_id());
    toWire(count, &m);
};
// Every alarm on the wire carries an id.
constexpr auto alarm = [](auto &m, const AlarmInfo &alarm) {
    toWire(alarm, &m);
    if (alarm.alarmId.isEmpty())
        m.set_alarm_id(utf8(QUuid::createUuid().toString()));
};
constexpr auto tlvData = [](auto &m, const QString &devId, const QByteArray &data) {
    m.set_dev_id(utf8(devId));
    m.set_tlv_data(wire::rawBytes(data));
};
constexpr auto rtspUrl = [](auto &m, const Response &, const QString &url) { m.set_rtsp_url(utf8(url)); };
constexpr auto recordings = [](auto &m, const Response &, const VideoRecList &recs, bool byTime) {
    m.set_playback_by_time_enable(byTime);
    listToWire(recs, m.mutable_recordings());
};
// The operation goes into both fields; the action does not reach the wire.
constexpr auto ptzOperationTwice = [](auto &m, const Response &, PTZOperation op, PTZAction) {
    m.set_operation(int(op));
    m.set_action(int(op));
};
constexpr auto presets = [](auto &m, const Response &, const PresetList &list) {
    listToWire(list, m.mutable_presets());
};
constexpr auto oper = [](auto &m, const Response &, auto operation) { m.set_oper(int(operation)); };
constexpr auto patrols = [](auto &m, const Response &, const PatrolList &list) {
    listToWire(list, m.mutable_patrols());
};
constexpr auto faces = [](auto &m, const Response &, const FaceInfoList &list, unsigned int total) {
    listToWire(list, m.mutable_faces());
    m.set_total_cnt(total);
};
constexpr auto faceRecords = [](auto &m, const Response &, const FaceDetectRecordList &list, unsigned int total) {
    listToWire(list, m.mutable_records());
    m.set_total_cnt(total);
};
constexpr auto upgradeInfo = [](auto &m, const Response &, const DevUpgradeInfo &info) { toWire(info, &m); };
// Answers to commands: nothing was remembered, so every connection gets them.
constexpr auto secretQuestions = [](auto &m, const QString &sn, int err, const QStringList &questions) {
    m.set_dev_sn(utf8(sn));
    m.set_err_code(err);
    wire::setTexts(questions, m.mutable_questions());
};
constexpr auto talkEvent = [](auto &m, const ChannelId &channel, TalkEvent event) {
    toWire(channel, m.mutable_channel_id());
    m.set_event(int(event));
};
constexpr auto commonRes = [](auto &m, const QString &requestId, const QString &json) {
    m.set_request_id(utf8(requestId));
    m.set_res_json(utf8(json));
};

} // namespace

MessageHamal::MessageHamal(QObject *parent)
    : QObject(parent)
{
}

MessageHamal &MessageHamal::instance()
{
    static MessageHamal hamal(nullptr);
    return hamal;
}

void MessageHamal::start(const QString &serverName)
{
    server = new MessageServer(serverName, this);
    // An answer whose asker has gone is still found, dropped and logged, but
    // never sent to a later connection that reuses the asker's descriptor.
    server->onNameReleased = [this](qintptr socketName) { pendingRequests.release(socketName); };
    pendingRequests.maxPerConnection = Limits::current().maxPendingPerConnection;
    pendingRequests.maxTotal = Limits::current().maxPendingTotal;
    pendingRequests.maxBytes = Limits::current().maxPendingBytes;
    server->onMessage = [this](qintptr socketName, MessageType msgType, const QByteArray &message) {
        slotMessageComing(socketName, msgType, message);
    };
    connectOutbound();
}

void MessageHamal::slotMessageComing(qintptr socketName, MessageType msgType, QByteArray message)
{
    using S = DgwSignals;
#define ORU_HANDLE(code, name, ...)                                                                                    \
    case MessageType::name: {                                                                                          \
        static const auto handle = __VA_ARGS__;                                                                        \
        return handle(pendingRequests, socketName, message);                                                           \
    }
    switch (msgType) {
        ORU_CONTROL_CHANNEL(ORU_HANDLE, ORU_SKIP_ROW, ORU_SKIP_CODE)
    default:
        return;
    }
#undef ORU_HANDLE
}

// Answer: look up the asker, build, serialise, send, forget the id, log.
// Push: build, serialise, send to every connection, log.
template <typename Route>
void MessageHamal::connectRoute(MessageType type, const Route &route)
{
    connect(&MessageSignals::instance(), route.signal, this,
            [=, line = route.text ? QString::fromLatin1(route.text) : QString()](const auto &...args) {
                qintptr target = kAllSockets;
                if constexpr (Route::to == To::Asker) {
                    if (!pendingRequests.take(routingId(firstOf(args...)), &target))
                        return;
                }
                if constexpr (std::is_same_v<typename Route::Wire, PlainText>)
                    server->sendMessage(target, type, wire::utf8Bytes(firstOf(args...)));
                else
                    server->sendFrame(target, frame<typename Route::Wire>(type, route.fill, args...), QByteArray());
                if (!line.isNull())
                    logTrace(line);
            });
}

void MessageHamal::connectOutbound()
{
    using M = MessageSignals;
#define ORU_ROUTE(code, name, ...) connectRoute(MessageType::name, __VA_ARGS__);
    ORU_CONTROL_CHANNEL(ORU_SKIP_ROW, ORU_ROUTE, ORU_SKIP_CODE)
#undef ORU_ROUTE
}

} // namespace oru_sdk
