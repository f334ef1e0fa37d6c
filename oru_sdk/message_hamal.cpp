#include "message_hamal.h"

#include "message_server.h"
#include "message_signals.h"
#include "oru_message.pb.h"
#include "resource_limits.h"
#include "sdk_log.h"
#include "wire_convert.h"
#include "wire_message.h"

#include <oru_sdk/dgw_signals.h>

#include <QHash>
#include <QUuid>

#include <functional>
#include <type_traits>

namespace oru_sdk {

namespace proto = oru_sdk_proto;
using wire::text;
using wire::utf8;

namespace {

DgwSignals &dgw() { return DgwSignals::instance(); }

// ---------------------------------------------------------------------------
// Inbound: one handler per code, built from a few shapes.

using Handler = std::function<void(PendingRequests &, qintptr, const QByteArray &)>;

enum class Kind { Request, Command };
enum class Level { Trace, Info };

template <typename Wire, typename Describe, std::enable_if_t<std::is_invocable_v<Describe, const Wire &>, int> = 0>
QString describeWith(const Describe &describe, const Wire &message)
{
    return describe(message);
}
template <typename Wire>
QString describeWith(const QString &success, const Wire &)
{
    return success;
}

// Parse; on failure one error line and nothing else. Otherwise remember the
// asking connection (requests), emit, then log.
template <typename Wire, Kind kind, typename Emit, typename Describe>
Handler parsed(Emit emitSignal, Describe success, const char *failure, Level level)
{
    return [=, failureText = QString::fromLatin1(failure)](PendingRequests &pending, qintptr socket,
                                                           const QByteArray &payload) {
        Wire message;
        if (!parseMessage(payload, &message)) {
            logError(failureText);
            return;
        }
        if constexpr (kind == Kind::Request)
            pending.insert(text(message.request_id()), socket);
        emitSignal(message);
        const QString line = describeWith<Wire>(success, message);
        level == Level::Info ? logInfo(line) : logTrace(line);
    };
}

template <typename Wire, typename Emit, typename Describe = QString>
Handler request(Emit emitSignal, Describe success, const char *failure, Level level = Level::Trace)
{
    return parsed<Wire, Kind::Request>(emitSignal, success, failure, level);
}

template <typename Wire, typename Emit>
Handler command(Emit emitSignal, const char *success, const char *failure)
{
    return parsed<Wire, Kind::Command>(emitSignal, QString::fromLatin1(success), failure, Level::Trace);
}

// The payload is the one text argument (cut at its first zero byte).
Handler plainText(void (DgwSignals::*signal)(const QString &), const char *success)
{
    return [=, line = QString::fromLatin1(success)](PendingRequests &, qintptr, const QByteArray &payload) {
        emit(dgw().*signal)(QString::fromUtf8(payload.constData()));
        logTrace(line);
    };
}

// The payload is ignored.
Handler bare(void (DgwSignals::*signal)(), const char *success)
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

const QHash<int, Handler> &inboundHandlers()
{
    using S = DgwSignals;
    using T = MessageType;
    static const QHash<int, Handler> handlers{
        {int(T::InitDgwReq),
         request<proto::InitDgwReq>(record(&S::signalInitDgwReq), QStringLiteral("init dgw req"),
                                    "parse [init dgw req] failure", Level::Info)},
        {int(T::SetSearchDevsConfigCmd),
         command<proto::SetSearchDevsConfigCmd>(record(&S::signalSetSearchDevsConfigCmd),
                                                "client set search devs config cmd",
                                                "parse [client set search devs config cmd] failure")},
        {int(T::SearchDevsCmd), bare(&S::signalSearchDevsCmd, "client search devs cmd")},
        {int(T::SetManagedDevsCmd),
         command<proto::SetManagedDevsCmd>(devices(&S::signalSetManagedDevsCmd), "client set managed devs to dgw cmd",
                                           "parse [client set managed devs to dgw cmd] failure")},
        {int(T::BroadcastSearchDevsCmd), bare(&S::signalBroadcastSearchDevsCmd, "client broadcast search devs cmd")},
        {int(T::AddManagedDevsCmd),
         command<proto::AddManagedDevsCmd>(devices(&S::signalAddManagedDevsCmd), "client add managed devs to dgw cmd",
                                           "parse [client add managed devs to dgw cmd] failure")},
        {int(T::DelManagedDevsCmd),
         command<proto::DevList>(deviceIds(&S::signalDelManagedDevsCmd), "client delete managed devs from dgw cmd",
                                 "parse [client delete managed devs from dgw cmd] failure")},
        {int(T::EditManagedDevsCmd),
         command<proto::EditManagedDevsCmd>(devices(&S::signalEditManagedDevsCmd),
                                            "client edit managed devs in dgw cmd",
                                            "parse [client edit managed devs in dgw cmd] failure")},
        {int(T::SetDevsTimeCmd),
         command<proto::DevTimingCmd>(
             [](const proto::DevTimingCmd &m) {
                 emit dgw().signalSetDevsTimeCmd(wire::texts(m.devs_id()), wire::dateTime(m.time()));
             },
             "client set devs time cmd", "parse [client set devs time cmd] failure")},
        {int(T::RebootDevsCmd),
         command<proto::DevList>(deviceIds(&S::signalRebootDevsCmd), "client reboot devs cmd",
                                 "parse [client reboot devs cmd] failure")},
        {int(T::RestoreFactoryCmd),
         command<proto::RestoreFactoryCmd>(
             [](const proto::RestoreFactoryCmd &m) {
                 emit dgw().signalRestoreFactory(wire::texts(m.devs_id()), m.simple());
             },
             "client restore factory cmd", "parse [client restore factory cmd] failure")},
        {int(T::ReconnectDevsCmd),
         command<proto::DevList>(deviceIds(&S::signalReconnectDevsCmd), "client reconnect devs cmd",
                                 "parse [client reconnect devs cmd] failure")},
        {int(T::ActivateDevsCmd),
         command<proto::DevActivateCmd>(
             [](const proto::DevActivateCmd &m) {
                 ActivateCondition c;
                 wire::fromWire(m, &c);
                 emit dgw().signalActivateDevsCmd(wire::texts(m.devs_sn()), c);
             },
             "client activate devices cmd", "parse [client activate devices cmd] failure")},
        {int(T::GetDevChannelsInfoCmd),
         plainText(&S::signalGetDevChannelsInfo, "client get device channels information cmd")},
        {int(T::ClearFaceTemperatureCountCmd),
         plainText(&S::signalClearFaceTemperatureCountCmd, "client clear face temperature count cmd")},
        {int(T::GetDevNetReq),
         request<proto::DevNetGetReq>(requestAndDevice(&S::signalGetDevNetReq),
                                      QStringLiteral("client get dev net info req"),
                                      "parse [client get dev net info req] failure")},
        {int(T::SetDevNetReq),
         request<proto::DevNetSetReq>(record(&S::signalSetDevNetReq), QStringLiteral("client set dev net info req"),
                                      "parse [client set dev net info req] failure")},
        {int(T::GetDevPlatformReq),
         request<proto::DevPlatformGetReq>(record(&S::signalGetDevPlatformReq),
                                           QStringLiteral("client get device platform req"),
                                           "parse [client get device platform req] failure")},
        {int(T::SetDevPlatformReq),
         request<proto::DevPlatformSetReq>(record(&S::signalSetDevPlatformReq),
                                           QStringLiteral("client set device platform req"),
                                           "parse [client set device platform req] failure")},
        {int(T::GetDevPlatformTavReq),
         request<proto::DeviceReq>(requestAndDevice(&S::signalGetDevPlatform_tavReq),
                                   QStringLiteral("client get device platform_tav req"),
                                   "parse [client get device platform_tav req] failure")},
        {int(T::SetDevPlatformTavReq),
         request<proto::DevPlatform_tavSetReq>(record(&S::signalSetDevPlatform_tavReq),
                                               QStringLiteral("client set device platform_tav req"),
                                               "parse [client set device platform_tav req] failure")},
        {int(T::ImportDevCertReq),
         request<proto::DevCertImportReq>(record(&S::signalImportDevCertReq),
                                          QStringLiteral("client import device cert req"),
                                          "parse [client import device cert req] failure")},
        {int(T::SetSaasTokenCmd), plainText(&S::signalSetSaasTokenCmd, "client set saas token cmd")},
        {int(T::SaasLogoutCmd), bare(&S::signalSaasLogoutCmd, "client saas logout cmd")},
        {int(T::SearchVideoRecordingsReq),
         request<proto::SearchVideoRecordingsReq>(record(&S::signalSearchVideoRecsReq),
                                                  QStringLiteral("client search video recordings from dgw req"),
                                                  "parse [client search video recordings from dgw req] failure")},
        {int(T::GetRtspUrlReq),
         request<proto::GetRtspUrlReq>(record(&S::signalGetRtspUrlReq),
                                       QStringLiteral("client get rtsp url from dgw req"),
                                       "parse [client get rtsp url from dgw req] failure")},
        {int(T::PTZCtrlReq),
         request<proto::PTZCtrlReq>(record(&S::signalPTZCtrlReq), QStringLiteral("client ptz req"),
                                    "parse [client ptz req] failure")},
        {int(T::GetPresetsReq),
         request<proto::ChannelReq>(record(&S::signalGetPresetsReq), QStringLiteral("client get presets req"),
                                    "parse [client get presets req] failure")},
        {int(T::OperPresetReq),
         request<proto::PresetOperReq>(record(&S::signalOperPresetReq), QStringLiteral("client oper preset req"),
                                       "parse [client oper preset req] failure")},
        {int(T::GetPatrolsReq),
         request<proto::ChannelReq>(record(&S::signalGetPatrolsReq), QStringLiteral("client get patrols req"),
                                    "parse [client get patrols req] failure")},
        {int(T::OperPatrolReq),
         request<proto::PatrolOperReq>(record(&S::signalOperPatrolReq), QStringLiteral("client oper patrol req"),
                                       "parse [client oper patrol req] failure")},
        {int(T::OperPatrolPresetReq),
         request<proto::PatrolPresetOperReq>(record(&S::signalOperPatrolPresetReq),
                                             QStringLiteral("client oper patrol preset req"),
                                             "parse [client oper patrol preset req] failure")},
        {int(T::SetPatrolPresetsReq),
         request<proto::SetPatrolPresetsReq>(record(&S::signalSetPatrolPresetsReq),
                                             QStringLiteral("client set patrol presets req"),
                                             "parse [client set patrol presets req] failure")},
        {int(T::SetOSDReq),
         request<proto::SetOSDReq>(record(&S::signalSetOSDReq), QStringLiteral("client set osd req"),
                                   "parse [client set osd req] failure")},
        {int(T::ModifyDevNameReq),
         request<proto::ModifyDevNameReq>(record(&S::signalModifyDevNameReq),
                                          QStringLiteral("client modify device name req"),
                                          "parse [client modify device name req] failure")},
        {int(T::AddFaceReq),
         request<proto::AddFaceReq>(record(&S::signalAddFaceReq), QStringLiteral("client add face req"),
                                    "parse [client add face req] failure")},
        {int(T::GetFacesReq),
         request<proto::GetFacesReq>(record(&S::signalGetFacesReq), QStringLiteral("client get faces req"),
                                     "parse [client get faces req] failure")},
        {int(T::DelFaceReq),
         request<proto::DelFaceReq>(record(&S::signalDelFaceReq), QStringLiteral("client delete face req"),
                                    "parse [client delete face req] failure")},
        // The line shows the times exactly as they arrived.
        {int(T::GetFaceDetectRecordsReq),
         request<proto::GetFaceDetectRecordsReq>(
             record(&S::signalGetFaceDetectRecordsReq),
             [](const proto::GetFaceDetectRecordsReq &m) {
                 return QStringLiteral("client get face detect records req, begin time:%1, end time:%2")
                     .arg(logValue(text(m.begin_time())), logValue(text(m.end_time())));
             },
             "parse [client get face detect records req] failure")},
        {int(T::OpenDevRemoteConfigReq),
         command<proto::OpenRemoteConfigReq>(
             [](const proto::OpenRemoteConfigReq &m) {
                 emit dgw().signalOpenDevRemoteConfigReq(text(m.dev_id()), m.language());
             },
             "client open dev remote confit req", "parse [open remote config req] failure")},
        {int(T::CheckDevUpgradeReq),
         request<proto::DevUpgradeReq>(record(&S::signalCheckDevUpgradeReq),
                                       QStringLiteral("client check device upgrade req"),
                                       "parse [client check device upgrade req] failure")},
        {int(T::DoDevUpgradeCmd),
         command<proto::DevUpgradeReq>(record(&S::signalDoDevUpgradeCmd), "client do device upgrade cmd",
                                       "parse [client do device upgrade cmd] failure")},
        {int(T::GetDevUpgradeProgressReq),
         request<proto::DeviceReq>(requestAndDevice(&S::signalGetDevUpgradeProgressReq),
                                   QStringLiteral("client get device upgrade progress req"),
                                   "parse [client get device upgrade progress req] failure")},
        {int(T::ModifyDevAccountReq),
         request<proto::ModifyDevAccountReq>(record(&S::signalModifyDevAccountReq),
                                             QStringLiteral("client modify device account req"),
                                             "parse [client modify device account req] failure")},
        {int(T::GetDevSecretQuestionsCmd),
         command<proto::DevSecretQuestionsGetReq>(record(&S::signalGetDevSecretQuestionsCmd),
                                                  "client get device secret questions cmd",
                                                  "parse [client get device secret questions cmd] failure")},
        {int(T::ResetDevPwdCmd),
         command<proto::DevPwdResetReq>(record(&S::signalResetDevPwdCmd), "client reset device password cmd",
                                        "parse [client reset device password cmd] failure")},
        {int(T::TalkOperReq),
         request<proto::TalkOperReq>(record(&S::signalTalkOperReq), QStringLiteral("client talk oper req"),
                                     "parse [client talk oper req] failure")},
        {int(T::SpeakOperReq),
         request<proto::TalkOperReq>(record(&S::signalSpeakOperReq), QStringLiteral("client speak oper req"),
                                     "parse [client speak oper req] failure")},
        {int(T::CommonReq),
         request<proto::CommonReq>(
             [](const proto::CommonReq &m) {
                 ChannelId channel;
                 wire::fromWire(m.channel_id(), &channel);
                 emit dgw().signalCommonReq(channel, text(m.request_id()), text(m.req_json()));
             },
             QStringLiteral("client common req"), "parse [common req] failure")},
        {int(T::UploadFileReq),
         request<proto::UploadFileReq>(record(&S::signalUploadFileReq), QStringLiteral("client upload file req"),
                                       "parse [client upload file req] failure")},
        {int(T::DownloadFileReq),
         request<proto::DownloadFileReq>(record(&S::signalDownloadFileReq), QStringLiteral("client download file req"),
                                         "parse [client download file req] failure")},
    };
    return handlers;
}

// ---------------------------------------------------------------------------
// Outbound helpers.

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

constexpr auto nothingMore = [](auto &, const auto &...) {};

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
    connect(server, &MessageServer::signalMessageComing, this, &MessageHamal::slotMessageComing);
    connectOutbound();
}

void MessageHamal::slotMessageComing(qintptr socketName, MessageType msgType, QByteArray message)
{
    const auto &handlers = inboundHandlers();
    const auto handler = handlers.constFind(int(msgType));
    if (handler != handlers.cend())
        (*handler)(pendingRequests, socketName, message);
}

// Answer: look up the asker, build, serialise, send, forget the id, log.
template <typename Wire, typename... Args, typename Fill>
void MessageHamal::answer(void (MessageSignals::*signal)(Args...), MessageType type, const char *text, Fill fill)
{
    connect(&MessageSignals::instance(), signal, this, [=, line = QString::fromLatin1(text)](Args... args) {
        const auto &first = firstOf(args...);
        qintptr asker = 0;
        if (!pendingRequests.take(routingId(first), &asker))
            return;
        Wire message;
        if constexpr (std::is_same_v<std::decay_t<decltype(first)>, Response>)
            wire::setResult(first, &message);
        fill(message, args...);
        server->sendMessage(asker, type, serializeMessage(message));
        logTrace(line);
    });
}

// Push: build, serialise, send to every connection, log.
template <typename Wire, typename... Args, typename Fill>
void MessageHamal::push(void (MessageSignals::*signal)(Args...), MessageType type, const char *text, Fill fill)
{
    connect(&MessageSignals::instance(), signal, this,
            [=, line = text ? QString::fromLatin1(text) : QString()](Args... args) {
                Wire message;
                fill(message, args...);
                server->sendMessage(-1, type, serializeMessage(message));
                if (!line.isNull())
                    logTrace(line);
            });
}

// Push of a device id as plain UTF-8 text.
void MessageHamal::pushText(void (MessageSignals::*signal)(const QString &), MessageType type, const char *text)
{
    connect(&MessageSignals::instance(), signal, this, [=, line = QString::fromLatin1(text)](const QString &devId) {
        server->sendMessage(-1, type, wire::utf8Bytes(devId));
        logTrace(line);
    });
}

void MessageHamal::connectOutbound()
{
    using M = MessageSignals;
    using T = MessageType;
    using wire::listToWire;
    using wire::toWire;

    answer<proto::Response>(&M::signalInitDgwRes, T::InitDgwRes, "init dgw res", nothingMore);
    push<proto::ActivateDevRes>(&M::signalActivateDevRes, T::ActivateDevRes, "server response activate device",
                                [](auto &m, const QString &sn, int err) {
                                    m.set_dev_sn(utf8(sn));
                                    m.set_err_code(err);
                                });
    answer<proto::DevNetGetRes>(
        &M::signalGetDevNetRes, T::GetDevNetRes, "server response client get device net req",
        [](auto &m, const Response &, const DevNetInfo &info) { toWire(info, m.mutable_dev_net_info()); });
    answer<proto::DevPlatformGetRes>(
        &M::signalGetDevPlatformRes, T::GetDevPlatformRes, "server response client get device platform req",
        [](auto &m, const Response &, const DevPlatformInfo &info) { toWire(info, m.mutable_dev_platform_info()); });
    answer<proto::Response>(&M::signalSetDevPlatformRes, T::SetDevPlatformRes,
                            "server response client set device platform req", nothingMore);
    answer<proto::DevPlatform_tavGetRes>(&M::signalGetDevPlatform_tavRes, T::GetDevPlatformTavRes,
                                         "server response client get device platform_tav req",
                                         [](auto &m, const Response &, const DevPlatform_tavInfo &info) {
                                             toWire(info, m.mutable_dev_platform_info());
                                         });
    answer<proto::Response>(&M::signalSetDevPlatform_tavRes, T::SetDevPlatformTavRes,
                            "server response client set device platform_tav req", nothingMore);
    answer<proto::Response>(&M::signalImportDevCertRes, T::ImportDevCertRes,
                            "server response client import device cert req", nothingMore);
    answer<proto::DevNetSetRes>(&M::signalSetDevNetRes, T::SetDevNetRes, "server response client set device net req",
                                [](auto &m, const Response &, const QString &devId, const QString &devIp) {
                                    m.set_dev_id(utf8(devId));
                                    m.set_dev_ip(utf8(devIp));
                                });
    push<proto::SearchedDevsPush>(&M::signalPushSearchedDevsMsg, T::PushSearchedDevsMsg,
                                  "server push searched devs to client",
                                  [](auto &m, const DevInfoList &devs) { listToWire(devs, m.mutable_devs()); });
    push<proto::SearchedDevsPush>(&M::signalPushBroadcastSearchedDevsMsg, T::PushBroadcastSearchedDevsMsg,
                                  "server push broadcast searched devs to client",
                                  [](auto &m, const DevInfoList &devs) { listToWire(devs, m.mutable_devs()); });
    push<proto::DevStatusPush>(&M::signalPushDevStatusMsg, T::PushDevStatusMsg, "server push dev status to client",
                               [](auto &m, const QString &devId, DevStatus status) {
                                   m.set_dev_id(utf8(devId));
                                   m.set_status(int(status));
                               });
    pushText(&M::signalPushDevP2PSuccess, T::PushDevP2PSuccess, "server push dev p2p success to client");
    push<proto::DevInfoFromDgw>(&M::signalPushDevInfo, T::PushDevInfo, "server push dev info to client",
                                [](auto &m, const DevInfoFromDgw &info) { toWire(info, &m); });
    push<proto::DevTempUserCodePush>(
        &M::signalPushDevTempUserCodeMsg, T::PushDevTempUserCodeMsg, "server push dev temp user code to client",
        [](auto &m, const DevTempUserCodeList &codes) { listToWire(codes, m.mutable_code_list()); });
    push<proto::DevChannelsInfoPush>(&M::signalPushDevChannelsInfoMsg, T::PushDevChannelsInfoMsg,
                                     "server push dev channels info to client",
                                     [](auto &m, const QString &devId, const DevChanInfoList &channels) {
                                         m.set_dev_id(utf8(devId));
                                         listToWire(channels, m.mutable_channels_info());
                                     });
    push<proto::FaceDetectLiveInfo>(&M::signalPushFaceDetectMsg, T::PushFaceDetectMsg,
                                    "server push face detect to client",
                                    [](auto &m, const ChannelId &channel, const FaceDetectRecordInfo &record) {
                                        toWire(channel, m.mutable_channel_id());
                                        toWire(record, m.mutable_record());
                                    });
    push<proto::FaceCountInfo>(&M::signalPushFaceTemperatureCountMsg, T::PushFaceTemperatureCountMsg,
                               "server push face temperature count to client",
                               [](auto &m, const ChannelId &channel, const FaceCountInfo &count) {
                                   toWire(channel, m.mutable_channel_id());
                                   toWire(count, &m);
                               });
    // Every alarm on the wire carries an id.
    push<proto::AlarmInfo>(&M::signalPushAlarmMsg, T::PushAlarmMsg, "server push alarm to client",
                           [](auto &m, const AlarmInfo &alarm) {
                               toWire(alarm, &m);
                               if (alarm.alarmId.isEmpty())
                                   m.set_alarm_id(utf8(QUuid::createUuid().toString()));
                           });
    push<proto::TlvInfo>(&M::signalPushTlvData, T::PushTlvData, nullptr,
                         [](auto &m, const QString &devId, const QByteArray &data) {
                             m.set_dev_id(utf8(devId));
                             m.set_tlv_data(wire::rawBytes(data));
                         });
    answer<proto::GetRtspUrlRes>(&M::signalGetRtspUrlRes, T::GetRtspUrlRes, "server response client get rtsp url req",
                                 [](auto &m, const Response &, const QString &url) { m.set_rtsp_url(utf8(url)); });
    answer<proto::SearchVideoRecordingsRes>(&M::signalSearchVideoRecordingsRes, T::SearchVideoRecordingsRes,
                                            "server response client search video recordings req",
                                            [](auto &m, const Response &, const VideoRecList &recs, bool byTime) {
                                                m.set_playback_by_time_enable(byTime);
                                                listToWire(recs, m.mutable_recordings());
                                            });
    // The operation goes into both fields; the action does not reach the wire.
    answer<proto::PTZCtrlRes>(&M::signalPTZCtrlRes, T::PTZCtrlRes, "server response client ptz ctrl req",
                              [](auto &m, const Response &, PTZOperation op, PTZAction) {
                                  m.set_operation(int(op));
                                  m.set_action(int(op));
                              });
    answer<proto::GetPresetRes>(
        &M::signalGetPresetsRes, T::GetPresetsRes, "server response client get presets req",
        [](auto &m, const Response &, const PresetList &presets) { listToWire(presets, m.mutable_presets()); });
    answer<proto::PresetOperRes>(&M::signalOperPresetRes, T::OperPresetRes, "server response client oper preset req",
                                 [](auto &m, const Response &, PresetOper oper) { m.set_oper(int(oper)); });
    answer<proto::GetPatrolRes>(
        &M::signalGetPatrolsRes, T::GetPatrolsRes, "server response client get patrol req",
        [](auto &m, const Response &, const PatrolList &patrols) { listToWire(patrols, m.mutable_patrols()); });
    answer<proto::PatrolOperRes>(&M::signalOperPatrolRes, T::OperPatrolRes, "server response client oper patrol req",
                                 [](auto &m, const Response &, PatrolOper oper) { m.set_oper(int(oper)); });
    answer<proto::PatrolPresetOperRes>(&M::signalOperPatrolPresetRes, T::OperPatrolPresetRes,
                                       "server response client oper patrol preset req",
                                       [](auto &m, const Response &, PatrolPresetOper oper) { m.set_oper(int(oper)); });
    answer<proto::Response>(&M::signalSetPatrolPresetsRes, T::SetPatrolPresetsRes,
                            "server response client set patrol presets req", nothingMore);
    answer<proto::Response>(&M::signalDevConfigRes, T::DevConfigRes, "server response device config req", nothingMore);
    answer<proto::Response>(&M::signalAddFaceRes, T::AddFaceRes, "server response client add face req", nothingMore);
    answer<proto::GetFacesRes>(&M::signalGetFacesRes, T::GetFacesRes, "server response client get faces req",
                               [](auto &m, const Response &, const FaceInfoList &faces, unsigned int total) {
                                   listToWire(faces, m.mutable_faces());
                                   m.set_total_cnt(total);
                               });
    answer<proto::Response>(&M::signalDelFaceRes, T::DelFaceRes, "server response client delete face req", nothingMore);
    answer<proto::GetFaceDetectRecordsRes>(
        &M::signalGetFaceDetectRecordsRes, T::GetFaceDetectRecordsRes,
        "server response client get face detect records req",
        [](auto &m, const Response &, const FaceDetectRecordList &records, unsigned int total) {
            listToWire(records, m.mutable_records());
            m.set_total_cnt(total);
        });
    answer<proto::DevUpgradeRes>(&M::signalCheckDevUpgradeRes, T::CheckDevUpgradeRes,
                                 "server response client check device upgrade req",
                                 [](auto &m, const Response &, const DevUpgradeInfo &info) { toWire(info, &m); });
    pushText(&M::signalUploadUpgradeFileFinished, T::UploadUpgradeFileFinished,
             "server push upload upgrade file finished message");
    answer<proto::DevUpgradeRes>(&M::signalGetDevUpgradeProgressRes, T::GetDevUpgradeProgressRes,
                                 "server response client get device upgrade progress req",
                                 [](auto &m, const Response &, const DevUpgradeInfo &info) { toWire(info, &m); });
    answer<proto::Response>(&M::signalModifyDevAccountRes, T::ModifyDevAccountRes,
                            "server response client modify device account req", nothingMore);
    // Answers to commands: nothing was remembered, so every connection gets them.
    push<proto::DevSecretQuestionsGetRes>(&M::signalGetDevSecretQuestionsRes, T::GetDevSecretQuestionsRes,
                                          "server response client get device secret questions",
                                          [](auto &m, const QString &sn, int err, const QStringList &questions) {
                                              m.set_dev_sn(utf8(sn));
                                              m.set_err_code(err);
                                              wire::setTexts(questions, m.mutable_questions());
                                          });
    push<proto::ResetDevPwdRes>(&M::signalResetDevPwdRes, T::ResetDevPwdRes,
                                "server response client reset device password",
                                [](auto &m, const QString &sn, int err) {
                                    m.set_dev_sn(utf8(sn));
                                    m.set_err_code(err);
                                });
    answer<proto::Response>(&M::signalTalkOperRes, T::TalkOperRes, "server response talk oper req", nothingMore);
    answer<proto::Response>(&M::signalSpeakOperRes, T::SpeakOperRes, "server response speak oper req", nothingMore);
    push<proto::TalkEventPush>(&M::signalPushTalkEventMsg, T::PushTalkEventMsg, "server push talk event to client",
                               [](auto &m, const ChannelId &channel, TalkEvent event) {
                                   toWire(channel, m.mutable_channel_id());
                                   m.set_event(int(event));
                               });
    push<proto::TalkEventPush>(&M::signalPushSpeakEventMsg, T::PushSpeakEventMsg, "server push speak event to client",
                               [](auto &m, const ChannelId &channel, TalkEvent event) {
                                   toWire(channel, m.mutable_channel_id());
                                   m.set_event(int(event));
                               });
    answer<proto::CommonRes>(&M::signalCommonRes, T::CommonRes, "server response common req",
                             [](auto &m, const QString &requestId, const QString &json) {
                                 m.set_request_id(utf8(requestId));
                                 m.set_res_json(utf8(json));
                             });
    // Matched by the progress record's own id; logged with the face-detect-records text.
    answer<proto::FileTransferProgress>(&M::signalPushFileTransferProgress, T::PushFileTransferProgress,
                                        "server response client get face detect records req",
                                        [](auto &m, const FileTransferProgress &progress) { toWire(progress, &m); });
}

} // namespace oru_sdk
