#include "client.h"

#include "oru_message.pb.h"
#include "plain_text.h"
#include "wire_convert.h"
#include "wire_message.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QHash>
#include <QPointer>
#include <QUuid>

#include <type_traits>

namespace oru_client {

using namespace oru_sdk;
namespace proto = oru_sdk_proto;
using T = MessageType;
using wire::text;
using wire::utf8;

// ---------------------------------------------------------------------------
// PendingCall

QString PendingCall::errorString() const
{
    if (failure != CallError::None)
        return failureText;
    if (answer.errorCode == 0)
        return QString();
    return QStringLiteral("%1: the gateway answered error %2%3")
        .arg(what)
        .arg(answer.errorCode)
        .arg(answer.errorText.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(answer.errorText));
}

bool PendingCall::wait(int maxMs)
{
    if (!done) {
        QEventLoop loop;
        connect(this, &PendingCall::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(maxMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return done && failure == CallError::None && answer.errorCode == 0;
}

void PendingCall::succeed(const Response &response, double ms)
{
    if (done)
        return;
    done = true;
    answer = response;
    elapsed = ms;
    emit finished();
}

void PendingCall::fail(CallError error, const QString &text)
{
    if (done)
        return;
    done = true;
    failure = error;
    failureText = what + QStringLiteral(": ") + text;
    emit finished();
}

// ---------------------------------------------------------------------------
// Reading answers: the key they are matched by and their result.

namespace {

template <class M, class = void>
struct HasError : std::false_type {
};
template <class M>
struct HasError<M, std::void_t<decltype(std::declval<const M &>().error())>> : std::true_type {
};
template <class M, class = void>
struct HasSn : std::false_type {
};
template <class M>
struct HasSn<M, std::void_t<decltype(std::declval<const M &>().dev_sn())>> : std::true_type {
};

// Results sent to everybody carry the device's serial number, not a request id.
template <class M>
QString keyOf(const M &m)
{
    if constexpr (HasSn<M>::value)
        return text(m.dev_sn());
    else
        return text(m.request_id());
}

template <class M>
Response responseOf(const M &m)
{
    if constexpr (HasError<M>::value) {
        return wire::result(m);
    } else {
        Response r;
        if constexpr (HasSn<M>::value)
            r.errorCode = m.err_code();
        else
            r.requestId = text(m.request_id());
        return r;
    }
}

template <class Wire, class Record>
QByteArray encode(const Record &r)
{
    Wire m;
    wire::toWire(r, &m);
    return serializeMessage(m);
}

QByteArray encodeIds(const QStringList &ids)
{
    proto::DevList m;
    wire::setTexts(ids, m.mutable_devs_id());
    return serializeMessage(m);
}

template <class Wire>
QByteArray encodeDevs(const DevInfoList &devs)
{
    Wire m;
    wire::listToWire(devs, m.mutable_devs());
    return serializeMessage(m);
}

QByteArray encodeDeviceReq(const QString &requestId, const QString &devId)
{
    proto::DeviceReq m;
    m.set_request_id(utf8(requestId));
    m.set_dev_id(utf8(devId));
    return serializeMessage(m);
}

constexpr auto nothing = [](const auto &, NoValue *) {};

// Pushes: decode the payload into records and emit the client's signal.
using PushHandler = std::function<void(Client *, const QByteArray &)>;

template <class Wire, class Emit>
PushHandler decoded(Emit emitSignal)
{
    return [emitSignal](Client *c, const QByteArray &payload) {
        Wire m;
        if (parseMessage(payload, &m))
            emitSignal(c, m);
    };
}

template <class Record, class Wire>
Record record(const Wire &m)
{
    Record r;
    wire::fromWire(m, &r);
    return r;
}

const QHash<int, PushHandler> &pushHandlers()
{
    static const QHash<int, PushHandler> handlers{
        {int(T::PushSearchedDevsMsg), decoded<proto::SearchedDevsPush>([](Client *c, const auto &m) {
             emit c->searchedDevs(wire::listFromWire<DevInfo>(m.devs()));
         })},
        {int(T::PushBroadcastSearchedDevsMsg), decoded<proto::SearchedDevsPush>([](Client *c, const auto &m) {
             emit c->broadcastSearchedDevs(wire::listFromWire<DevInfo>(m.devs()));
         })},
        {int(T::PushDevStatusMsg), decoded<proto::DevStatusPush>([](Client *c, const auto &m) {
             emit c->devStatus(text(m.dev_id()), DevStatus(m.status()));
         })},
        {int(T::PushDevP2PSuccess), [](Client *c, const QByteArray &p) { emit c->devP2PSuccess(textPayload(p)); }},
        {int(T::PushDevInfo),
         decoded<proto::DevInfoFromDgw>([](Client *c, const auto &m) { emit c->devInfo(record<DevInfoFromDgw>(m)); })},
        {int(T::PushDevTempUserCodeMsg), decoded<proto::DevTempUserCodePush>([](Client *c, const auto &m) {
             emit c->devTempUserCodes(wire::listFromWire<DevTempUserCode>(m.code_list()));
         })},
        {int(T::PushDevChannelsInfoMsg), decoded<proto::DevChannelsInfoPush>([](Client *c, const auto &m) {
             emit c->devChannelsInfo(text(m.dev_id()), wire::listFromWire<DevChannelInfo>(m.channels_info()));
         })},
        {int(T::PushFaceDetectMsg), decoded<proto::FaceDetectLiveInfo>([](Client *c, const auto &m) {
             emit c->faceDetect(record<ChannelId>(m.channel_id()), record<FaceDetectRecordInfo>(m.record()));
         })},
        {int(T::PushFaceTemperatureCountMsg), decoded<proto::FaceCountInfo>([](Client *c, const auto &m) {
             emit c->faceTemperatureCount(record<ChannelId>(m.channel_id()), record<FaceCountInfo>(m));
         })},
        {int(T::PushAlarmMsg),
         decoded<proto::AlarmInfo>([](Client *c, const auto &m) { emit c->alarm(record<AlarmInfo>(m)); })},
        {int(T::PushTlvData), decoded<proto::TlvInfo>([](Client *c, const auto &m) {
             emit c->tlvData(text(m.dev_id()), wire::bytes(m.tlv_data()));
         })},
        {int(T::UploadUpgradeFileFinished),
         [](Client *c, const QByteArray &p) { emit c->uploadUpgradeFileFinished(textPayload(p)); }},
        {int(T::PushTalkEventMsg), decoded<proto::TalkEventPush>([](Client *c, const auto &m) {
             emit c->talkEvent(record<ChannelId>(m.channel_id()), TalkEvent(m.event()));
         })},
        {int(T::PushSpeakEventMsg), decoded<proto::TalkEventPush>([](Client *c, const auto &m) {
             emit c->speakEvent(record<ChannelId>(m.channel_id()), TalkEvent(m.event()));
         })},
        {int(T::ActivateDevRes), decoded<proto::ActivateDevRes>([](Client *c, const auto &m) {
             emit c->activateResult(text(m.dev_sn()), m.err_code());
         })},
        {int(T::GetDevSecretQuestionsRes), decoded<proto::DevSecretQuestionsGetRes>([](Client *c, const auto &m) {
             emit c->secretQuestions(text(m.dev_sn()), m.err_code(), wire::texts(m.questions()));
         })},
        {int(T::ResetDevPwdRes), decoded<proto::ResetDevPwdRes>([](Client *c, const auto &m) {
             emit c->resetPasswordResult(text(m.dev_sn()), m.err_code());
         })},
        {int(T::PushFileTransferProgress), decoded<proto::FileTransferProgress>([](Client *c, const auto &m) {
             emit c->fileTransferProgress(record<FileTransferProgress>(m));
         })},
    };
    return handlers;
}

void registerTypes()
{
    qRegisterMetaType<MessageType>();
    qRegisterMetaType<ChannelId>();
    qRegisterMetaType<DevStatus>();
    qRegisterMetaType<TalkEvent>();
    qRegisterMetaType<DevInfoList>();
    qRegisterMetaType<DevInfoFromDgw>();
    qRegisterMetaType<DevTempUserCodeList>();
    qRegisterMetaType<DevChanInfoList>();
    qRegisterMetaType<FaceDetectRecordInfo>();
    qRegisterMetaType<FaceCountInfo>();
    qRegisterMetaType<AlarmInfo>();
    qRegisterMetaType<FileTransferProgress>();
}

} // namespace

// ---------------------------------------------------------------------------
// Client

struct Client::Waiting {
    MessageType answer;
    QSharedPointer<PendingCall> call;
    // Parses a candidate answer: true, with its result, when it is this call's.
    std::function<bool(const QByteArray &, Response *)> match;
    QElapsedTimer clock;
    int timeoutMs = 0;
};

Client::Client(QObject *parent)
    : QObject(parent)
    , idPrefix(QUuid::createUuid().toString(QUuid::WithoutBraces).left(8))
{
    registerTypes();
    conn.setKeepFrames(false);
    sweeper.setInterval(20);
    connect(&sweeper, &QTimer::timeout, this, &Client::expire);
    connect(&conn, &Connection::frameReceived, this, &Client::frame);
    connect(&conn, &Connection::disconnected, this, [this] {
        failAll(CallError::Disconnected, QStringLiteral("the gateway closed the connection"));
        emit disconnected();
    });
}

Client::~Client() { failAll(CallError::Disconnected, QStringLiteral("the client was closed")); }

bool Client::connectToServer(const QString &serverName, int timeoutMs)
{
    return conn.connectToServer(serverName, timeoutMs);
}

void Client::disconnectFromServer() { conn.disconnectFromServer(); }
bool Client::isConnected() const { return conn.isConnected(); }
QString Client::errorString() const { return conn.errorString(); }
int Client::pendingCalls() const { return int(waiting.size()); }

QString Client::nextId()
{
    // Unique across connections: the gateway keeps one table of ids for all.
    return QStringLiteral("%1-%2").arg(idPrefix).arg(++idCounter);
}

void Client::hello() { conn.sendFrame(T::MainClientHello); }
void Client::exit() { conn.sendFrame(T::MainClientExit); }

template <class V, class Wire, class Fill>
Reply<V> Client::call(const char *what, MessageType type, const QByteArray &payload, MessageType answer,
                      const QString &key, Fill fill)
{
    using State = typename Reply<V>::State;
    auto state = QSharedPointer<State>::create(QString::fromLatin1(what));
    if (!isConnected()) {
        state->fail(CallError::NotConnected, QStringLiteral("not connected to the gateway"));
        return Reply<V>(state);
    }
    auto w = std::make_unique<Waiting>();
    w->answer = answer;
    w->call = state;
    w->match = [value = &state->value, key, fill](const QByteArray &bytes, Response *response) {
        Wire m;
        if (!parseMessage(bytes, &m) || keyOf(m) != key)
            return false;
        fill(m, value);
        *response = responseOf(m);
        return true;
    };
    w->clock.start();
    w->timeoutMs = timeoutMs;
    waiting.push_back(std::move(w));
    if (!sweeper.isActive())
        sweeper.start();
    ++sent;
    conn.sendFrame(type, payload);
    return Reply<V>(state);
}

void Client::frame(const Frame &f)
{
    QPointer<Client> self(this);
    emit messageReceived(f.type, f.payload);
    if (!self)
        return;
    for (auto it = waiting.begin(); it != waiting.end(); ++it) {
        Response response;
        if ((*it)->answer != f.type || !(*it)->match(f.payload, &response))
            continue;
        std::unique_ptr<Waiting> done = std::move(*it);
        waiting.erase(it);
        ++answered;
        done->call->succeed(response, done->clock.nsecsElapsed() / 1e6);
        break;
    }
    if (!self)
        return;
    const auto &handlers = pushHandlers();
    const auto handler = handlers.constFind(int(f.type));
    if (handler != handlers.cend())
        (*handler)(this, f.payload);
}

void Client::failAll(CallError error, const QString &text)
{
    auto all = std::move(waiting);
    waiting.clear();
    for (auto &w : all)
        w->call->fail(error, text);
}

// One timer for all calls: a call's timer cannot be deleted from its own signal.
void Client::expire()
{
    std::vector<std::unique_ptr<Waiting>> expired;
    for (auto it = waiting.begin(); it != waiting.end();) {
        if ((*it)->clock.elapsed() >= (*it)->timeoutMs) {
            expired.push_back(std::move(*it));
            it = waiting.erase(it);
        } else {
            ++it;
        }
    }
    if (waiting.empty())
        sweeper.stop();
    for (auto &w : expired)
        w->call->fail(CallError::Timeout, QStringLiteral("no answer within %1 ms").arg(w->timeoutMs));
}

// ---- Requests ----

Reply<NoValue> Client::initDgw(InitDgwCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("init gateway", T::InitDgwReq, encode<proto::InitDgwReq>(c), T::InitDgwRes,
                                          c.requestId, nothing);
}

Reply<DevNetInfo> Client::getDevNet(const QString &devId)
{
    proto::DevNetGetReq m;
    const QString id = nextId();
    m.set_request_id(utf8(id));
    m.set_dev_id(utf8(devId));
    return call<DevNetInfo, proto::DevNetGetRes>(
        "get device network", T::GetDevNetReq, serializeMessage(m), T::GetDevNetRes, id,
        [](const auto &a, DevNetInfo *v) { wire::fromWire(a.dev_net_info(), v); });
}

Reply<DevNetSetResult> Client::setDevNet(SetDevNetCondition c)
{
    c.requestId = nextId();
    return call<DevNetSetResult, proto::DevNetSetRes>("set device network", T::SetDevNetReq,
                                                      encode<proto::DevNetSetReq>(c), T::SetDevNetRes, c.requestId,
                                                      [](const auto &a, DevNetSetResult *v) {
                                                          *v = {text(a.dev_id()), text(a.dev_ip())};
                                                      });
}

Reply<DevPlatformInfo> Client::getDevPlatform(GetDevPlatformCondition c)
{
    c.requestId = nextId();
    return call<DevPlatformInfo, proto::DevPlatformGetRes>(
        "get device platform", T::GetDevPlatformReq, encode<proto::DevPlatformGetReq>(c), T::GetDevPlatformRes,
        c.requestId, [](const auto &a, DevPlatformInfo *v) { wire::fromWire(a.dev_platform_info(), v); });
}

Reply<NoValue> Client::setDevPlatform(SetDevPlatformCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("set device platform", T::SetDevPlatformReq,
                                          encode<proto::DevPlatformSetReq>(c), T::SetDevPlatformRes, c.requestId,
                                          nothing);
}

Reply<DevPlatform_tavInfo> Client::getDevPlatformTav(const QString &devId)
{
    const QString id = nextId();
    return call<DevPlatform_tavInfo, proto::DevPlatform_tavGetRes>(
        "get device platform_tav", T::GetDevPlatformTavReq, encodeDeviceReq(id, devId), T::GetDevPlatformTavRes, id,
        [](const auto &a, DevPlatform_tavInfo *v) { wire::fromWire(a.dev_platform_info(), v); });
}

Reply<NoValue> Client::setDevPlatformTav(SetDevPlatform_tavCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("set device platform_tav", T::SetDevPlatformTavReq,
                                          encode<proto::DevPlatform_tavSetReq>(c), T::SetDevPlatformTavRes, c.requestId,
                                          nothing);
}

Reply<NoValue> Client::importDevCert(ImportDevCertCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("import device certificate", T::ImportDevCertReq,
                                          encode<proto::DevCertImportReq>(c), T::ImportDevCertRes, c.requestId,
                                          nothing);
}

Reply<Recordings> Client::searchVideoRecordings(RecsSearchCondition c)
{
    c.requestId = nextId();
    return call<Recordings, proto::SearchVideoRecordingsRes>(
        "search recordings", T::SearchVideoRecordingsReq, encode<proto::SearchVideoRecordingsReq>(c),
        T::SearchVideoRecordingsRes, c.requestId, [](const auto &a, Recordings *v) {
            *v = {wire::listFromWire<VideoRecInfo>(a.recordings()), a.playback_by_time_enable()};
        });
}

Reply<QString> Client::getRtspUrl(GetRtspUrlCondition c)
{
    c.requestId = nextId();
    return call<QString, proto::GetRtspUrlRes>("get RTSP address", T::GetRtspUrlReq, encode<proto::GetRtspUrlReq>(c),
                                               T::GetRtspUrlRes, c.requestId,
                                               [](const auto &a, QString *v) { *v = text(a.rtsp_url()); });
}

Reply<PtzResult> Client::ptzCtrl(PTZCtrlCondition c)
{
    c.requestId = nextId();
    return call<PtzResult, proto::PTZCtrlRes>("PTZ control", T::PTZCtrlReq, encode<proto::PTZCtrlReq>(c), T::PTZCtrlRes,
                                              c.requestId, [](const auto &a, PtzResult *v) {
                                                  *v = {a.operation(), a.action()};
                                              });
}

Reply<PresetList> Client::getPresets(const QString &devId, int channel)
{
    const ChannelCondition c{nextId(), devId, channel};
    return call<PresetList, proto::GetPresetRes>(
        "get presets", T::GetPresetsReq, encode<proto::ChannelReq>(c), T::GetPresetsRes, c.requestId,
        [](const auto &a, PresetList *v) { *v = wire::listFromWire<PresetInfo>(a.presets()); });
}

Reply<int> Client::operPreset(PresetOperCondition c)
{
    c.requestId = nextId();
    return call<int, proto::PresetOperRes>("preset operation", T::OperPresetReq, encode<proto::PresetOperReq>(c),
                                           T::OperPresetRes, c.requestId, [](const auto &a, int *v) { *v = a.oper(); });
}

Reply<PatrolList> Client::getPatrols(const QString &devId, int channel)
{
    const ChannelCondition c{nextId(), devId, channel};
    return call<PatrolList, proto::GetPatrolRes>(
        "get patrols", T::GetPatrolsReq, encode<proto::ChannelReq>(c), T::GetPatrolsRes, c.requestId,
        [](const auto &a, PatrolList *v) { *v = wire::listFromWire<PatrolInfo>(a.patrols()); });
}

Reply<int> Client::operPatrol(PatrolOperCondition c)
{
    c.requestId = nextId();
    return call<int, proto::PatrolOperRes>("patrol operation", T::OperPatrolReq, encode<proto::PatrolOperReq>(c),
                                           T::OperPatrolRes, c.requestId, [](const auto &a, int *v) { *v = a.oper(); });
}

Reply<int> Client::operPatrolPreset(PatrolPresetOperCondition c)
{
    c.requestId = nextId();
    return call<int, proto::PatrolPresetOperRes>("patrol stop operation", T::OperPatrolPresetReq,
                                                 encode<proto::PatrolPresetOperReq>(c), T::OperPatrolPresetRes,
                                                 c.requestId, [](const auto &a, int *v) { *v = a.oper(); });
}

Reply<NoValue> Client::setPatrolPresets(SetPatrolPresetsCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("set patrol stops", T::SetPatrolPresetsReq,
                                          encode<proto::SetPatrolPresetsReq>(c), T::SetPatrolPresetsRes, c.requestId,
                                          nothing);
}

Reply<NoValue> Client::setOSD(SetOSDCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("set OSD", T::SetOSDReq, encode<proto::SetOSDReq>(c), T::DevConfigRes,
                                          c.requestId, nothing);
}

Reply<NoValue> Client::modifyDevName(ModifyDevNameCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("rename device", T::ModifyDevNameReq, encode<proto::ModifyDevNameReq>(c),
                                          T::DevConfigRes, c.requestId, nothing);
}

Reply<NoValue> Client::addFace(ModifyFaceCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("add face", T::AddFaceReq, encode<proto::AddFaceReq>(c), T::AddFaceRes,
                                          c.requestId, nothing);
}

Reply<Faces> Client::getFaces(GetFacesCondition c)
{
    c.requestId = nextId();
    return call<Faces, proto::GetFacesRes>("get faces", T::GetFacesReq, encode<proto::GetFacesReq>(c), T::GetFacesRes,
                                           c.requestId, [](const auto &a, Faces *v) {
                                               *v = {wire::listFromWire<FaceInfo>(a.faces()), a.total_cnt()};
                                           });
}

Reply<NoValue> Client::delFace(DelFaceCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("delete face", T::DelFaceReq, encode<proto::DelFaceReq>(c), T::DelFaceRes,
                                          c.requestId, nothing);
}

Reply<FaceRecords> Client::getFaceDetectRecords(GetFaceDetectRecordsCondition c)
{
    c.requestId = nextId();
    return call<FaceRecords, proto::GetFaceDetectRecordsRes>(
        "get face-detection records", T::GetFaceDetectRecordsReq, encode<proto::GetFaceDetectRecordsReq>(c),
        T::GetFaceDetectRecordsRes, c.requestId, [](const auto &a, FaceRecords *v) {
            *v = {wire::listFromWire<FaceDetectRecordInfo>(a.records()), a.total_cnt()};
        });
}

Reply<DevUpgradeInfo> Client::checkDevUpgrade(DevUpgradeCondtition c)
{
    c.requestId = nextId();
    return call<DevUpgradeInfo, proto::DevUpgradeRes>(
        "check upgrade", T::CheckDevUpgradeReq, encode<proto::DevUpgradeReq>(c), T::CheckDevUpgradeRes, c.requestId,
        [](const auto &a, DevUpgradeInfo *v) { wire::fromWire(a, v); });
}

Reply<DevUpgradeInfo> Client::getDevUpgradeProgress(const QString &devId)
{
    const QString id = nextId();
    return call<DevUpgradeInfo, proto::DevUpgradeRes>("get upgrade progress", T::GetDevUpgradeProgressReq,
                                                      encodeDeviceReq(id, devId), T::GetDevUpgradeProgressRes, id,
                                                      [](const auto &a, DevUpgradeInfo *v) { wire::fromWire(a, v); });
}

Reply<NoValue> Client::modifyDevAccount(ModifyDevAccountCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("modify account", T::ModifyDevAccountReq,
                                          encode<proto::ModifyDevAccountReq>(c), T::ModifyDevAccountRes, c.requestId,
                                          nothing);
}

Reply<NoValue> Client::talkOper(TalkOperCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("talk", T::TalkOperReq, encode<proto::TalkOperReq>(c), T::TalkOperRes,
                                          c.requestId, nothing);
}

Reply<NoValue> Client::speakOper(SpeakOperCondition c)
{
    c.requestId = nextId();
    return call<NoValue, proto::Response>("speak", T::SpeakOperReq, encode<proto::TalkOperReq>(c), T::SpeakOperRes,
                                          c.requestId, nothing);
}

Reply<QString> Client::common(const ChannelId &channel, const QString &requestJson)
{
    proto::CommonReq m;
    const QString id = nextId();
    m.set_request_id(utf8(id));
    wire::toWire(channel, m.mutable_channel_id());
    m.set_req_json(utf8(requestJson));
    return call<QString, proto::CommonRes>("common request", T::CommonReq, serializeMessage(m), T::CommonRes, id,
                                           [](const auto &a, QString *v) { *v = text(a.res_json()); });
}

Reply<FileTransferProgress> Client::uploadFile(UploadFileCondition c)
{
    c.requestId = nextId();
    return call<FileTransferProgress, proto::FileTransferProgress>(
        "upload file", T::UploadFileReq, encode<proto::UploadFileReq>(c), T::PushFileTransferProgress, c.requestId,
        [](const auto &a, FileTransferProgress *v) { wire::fromWire(a, v); });
}

Reply<FileTransferProgress> Client::downloadFile(DownloadFileCondition c)
{
    c.requestId = nextId();
    return call<FileTransferProgress, proto::FileTransferProgress>(
        "download file", T::DownloadFileReq, encode<proto::DownloadFileReq>(c), T::PushFileTransferProgress,
        c.requestId, [](const auto &a, FileTransferProgress *v) { wire::fromWire(a, v); });
}

Reply<NoValue> Client::activateDev(const QString &devSn, const ActivateCondition &c)
{
    proto::DevActivateCmd m;
    wire::toWire(c, &m);
    m.add_devs_sn(utf8(devSn));
    return call<NoValue, proto::ActivateDevRes>("activate device", T::ActivateDevsCmd, serializeMessage(m),
                                                T::ActivateDevRes, devSn, nothing);
}

Reply<QStringList> Client::getDevSecretQuestions(const GetDevSecretQuestionsCondition &c)
{
    return call<QStringList, proto::DevSecretQuestionsGetRes>(
        "get secret questions", T::GetDevSecretQuestionsCmd, encode<proto::DevSecretQuestionsGetReq>(c),
        T::GetDevSecretQuestionsRes, c.devSn, [](const auto &a, QStringList *v) { *v = wire::texts(a.questions()); });
}

Reply<NoValue> Client::resetDevPwd(const ResetDevPwdCondition &c)
{
    return call<NoValue, proto::ResetDevPwdRes>("reset password", T::ResetDevPwdCmd, encode<proto::DevPwdResetReq>(c),
                                                T::ResetDevPwdRes, c.devSn, nothing);
}

// ---- Commands ----

void Client::setSearchDevsConfig(const SearchDevsConfig &config)
{
    conn.sendFrame(T::SetSearchDevsConfigCmd, encode<proto::SetSearchDevsConfigCmd>(config));
}
void Client::searchDevs() { conn.sendFrame(T::SearchDevsCmd); }
void Client::broadcastSearchDevs() { conn.sendFrame(T::BroadcastSearchDevsCmd); }
void Client::setManagedDevs(const DevInfoList &devs)
{
    conn.sendFrame(T::SetManagedDevsCmd, encodeDevs<proto::SetManagedDevsCmd>(devs));
}
void Client::addManagedDevs(const DevInfoList &devs)
{
    conn.sendFrame(T::AddManagedDevsCmd, encodeDevs<proto::AddManagedDevsCmd>(devs));
}
void Client::delManagedDevs(const QStringList &devIds) { conn.sendFrame(T::DelManagedDevsCmd, encodeIds(devIds)); }
void Client::editManagedDevs(const DevInfoList &devs)
{
    conn.sendFrame(T::EditManagedDevsCmd, encodeDevs<proto::EditManagedDevsCmd>(devs));
}
void Client::rebootDevs(const QStringList &devIds) { conn.sendFrame(T::RebootDevsCmd, encodeIds(devIds)); }
void Client::reconnectDevs(const QStringList &devIds) { conn.sendFrame(T::ReconnectDevsCmd, encodeIds(devIds)); }
void Client::getDevChannelsInfo(const QString &devId) { conn.sendFrame(T::GetDevChannelsInfoCmd, devId.toUtf8()); }
void Client::clearFaceTemperatureCount(const QString &devId)
{
    conn.sendFrame(T::ClearFaceTemperatureCountCmd, devId.toUtf8());
}
void Client::setSaasToken(const QString &token) { conn.sendFrame(T::SetSaasTokenCmd, token.toUtf8()); }
void Client::saasLogout() { conn.sendFrame(T::SaasLogoutCmd); }

void Client::setDevsTime(const QStringList &devIds, const QDateTime &time)
{
    proto::DevTimingCmd m;
    wire::setTexts(devIds, m.mutable_devs_id());
    m.set_time(wire::dateTimeText(time));
    conn.sendFrame(T::SetDevsTimeCmd, serializeMessage(m));
}

void Client::restoreFactory(const QStringList &devIds, bool simple)
{
    proto::RestoreFactoryCmd m;
    wire::setTexts(devIds, m.mutable_devs_id());
    m.set_simple(simple);
    conn.sendFrame(T::RestoreFactoryCmd, serializeMessage(m));
}

void Client::activateDevs(const QStringList &devSns, const ActivateCondition &c)
{
    proto::DevActivateCmd m;
    wire::toWire(c, &m);
    wire::setTexts(devSns, m.mutable_devs_sn());
    conn.sendFrame(T::ActivateDevsCmd, serializeMessage(m));
}

void Client::openDevRemoteConfig(const QString &devId, int language)
{
    proto::OpenRemoteConfigReq m;
    m.set_dev_id(utf8(devId));
    m.set_language(language);
    conn.sendFrame(T::OpenDevRemoteConfigReq, serializeMessage(m));
}

void Client::doDevUpgrade(DevUpgradeCondtition c)
{
    c.requestId = nextId();
    conn.sendFrame(T::DoDevUpgradeCmd, encode<proto::DevUpgradeReq>(c));
}

} // namespace oru_client
