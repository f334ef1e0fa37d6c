#include "wire_convert.h"

#include "plain_text.h"

#include <type_traits>
#include <utility>

namespace oru_sdk::wire {

const QString kDateTimeFormat = QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz");

// ---- Shared rules ----

QString text(const std::string &s) { return textUpToZero(s.c_str()); }
std::string utf8(const QString &s) { return s.toStdString(); }
QByteArray bytes(const std::string &s) { return QByteArray::fromStdString(s); }
QByteArray utf8Bytes(const QString &s) { return bytes(utf8(s)); }
std::string rawBytes(const QByteArray &b) { return b.toStdString(); }
QDateTime dateTime(const std::string &s) { return QDateTime::fromString(text(s), kDateTimeFormat); }
std::string dateTimeText(const QDateTime &t) { return utf8(t.toString(kDateTimeFormat)); }
double wireDouble(double d) { return d == 0.0 ? 0.0 : d; }

namespace {

// ---- One value, wire to record: the rule is chosen by the two types ----

void read(const std::string &w, QString *r) { *r = text(w); }
void read(const std::string &w, QByteArray *r) { *r = bytes(w); }
void read(const std::string &w, QDateTime *r) { *r = dateTime(w); }

// Numbers of the same width and kind (int32 <-> int, uint32 <-> int, ...) or
// a wire bool with an int member. Anything else would cut or round a value:
// a mistake in the field list, refused at compile time.
template <class W, class R>
constexpr bool fits()
{
    if constexpr (!std::is_arithmetic_v<W> || !std::is_arithmetic_v<R>)
        return false;
    else if constexpr (std::is_floating_point_v<W> != std::is_floating_point_v<R>)
        return false;
    else
        return sizeof(W) == sizeof(R) || std::is_same_v<W, bool>;
}

template <class W, class R, std::enable_if_t<std::is_arithmetic_v<W> && std::is_arithmetic_v<R>, int> = 0>
void read(W w, R *r)
{
    static_assert(fits<W, R>(), "a wire number would be cut to fit the record member");
    *r = static_cast<R>(w);
}

// A nested message that has a record of its own.
template <class W, class R>
auto read(const W &w, R *r) -> decltype(fromWire(w, r))
{
    fromWire(w, r);
}

// Repeated fields replace the list, element by element in order; each
// element starts from a default-constructed value.
template <class W, class R>
void read(const Repeated<W> &w, QList<R> *r)
{
    r->clear();
    r->reserve(w.size());
    for (const W &element : w) {
        r->append(R());
        read(element, &r->last());
    }
}

template <class K, class W, class R>
void read(const google::protobuf::Map<K, W> &w, QMap<int, R> *r)
{
    r->clear();
    for (const auto &entry : w)
        read(entry.second, &(*r)[entry.first]);
}

// ---- One value, record to wire ----

std::string wireText(const QString &r) { return utf8(r); }
std::string wireText(const QByteArray &r) { return rawBytes(r); }
std::string wireText(const QDateTime &r) { return dateTimeText(r); }

template <class W, class R>
W wireNumber(R r)
{
    static_assert(fits<W, R>(), "a record member would be cut to fit the wire number");
    if constexpr (std::is_same_v<W, bool>)
        return r != 0;
    else if constexpr (std::is_same_v<W, double>)
        return wireDouble(r);
    else
        return static_cast<W>(r);
}

template <class R, class W>
auto write(const R &r, W *w) -> decltype(toWire(r, w))
{
    toWire(r, w);
}

// Repeated fields are replaced, not appended to.
template <class R, class W>
void write(const QList<R> &r, Repeated<W> *w)
{
    w->Clear();
    w->Reserve(r.size());
    for (const R &element : r) {
        if constexpr (std::is_same_v<W, std::string>)
            w->Add(wireText(element));
        else
            write(element, w->Add());
    }
}

template <class R, class K, class W>
void write(const QMap<int, R> &r, google::protobuf::Map<K, W> *w)
{
    w->clear();
    for (auto it = r.cbegin(); it != r.cend(); ++it)
        write(it.value(), &(*w)[it.key()]);
}

// ---- The two directions a field list runs in ----

// One wire field of a message: read it, set it, or reach it in place. The
// accessors are generic lambdas over the message so that only what the
// running direction calls is compiled: a const message has no setters, a
// scalar field no mutable_ accessor.
template <class Message, class Get, class Set, class Mutable>
struct Field {
    Message &message;
    Get getter;
    Set setter;
    Mutable mutableGetter;

    decltype(auto) get() const { return getter(message); }
    template <class T>
    void set(T &&value) const
    {
        setter(message, std::forward<T>(value));
    }
    auto mutableGet() const { return mutableGetter(message); }
};

template <class Message, class Get, class Set, class Mutable>
Field<Message, Get, Set, Mutable> field(Message &message, Get get, Set set, Mutable mutableGet)
{
    return {message, get, set, mutableGet};
}

#define FIELD(msg, name)                                                                                               \
    field(                                                                                                             \
        msg, [](auto &m) -> decltype(auto) { return m.name(); },                                                       \
        [](auto &m, auto &&value) { m.set_##name(std::forward<decltype(value)>(value)); },                             \
        [](auto &m) { return m.mutable_##name(); })

struct Reader {
    template <class Member, class F>
    void operator()(Member &member, const F &f) const
    {
        read(f.get(), &member);
    }

    // A nested message whose fields are members of the record itself.
    template <class F, class List>
    void inside(const F &f, List list) const
    {
        list(f.get());
    }
};

struct Writer {
    template <class Member, class F>
    void operator()(const Member &member, const F &f) const
    {
        using Wire = std::decay_t<decltype(f.get())>;
        if constexpr (std::is_same_v<Wire, std::string>)
            f.set(wireText(member));
        else if constexpr (std::is_arithmetic_v<Wire>)
            f.set(wireNumber<Wire>(member));
        else
            write(member, f.mutableGet()); // nested message, repeated field or map
    }

    // Written even when all its fields are empty: the wire always has it.
    template <class F, class List>
    void inside(const F &f, List list) const
    {
        list(*f.mutableGet());
    }
};

template <class Record>
struct Of {
};

} // namespace

// FIELDS(Record, Message) { io(r.member, FIELD(m, wire_field)); ... } is the
// one field list of a record: fromWire() runs it with a Reader over the const
// message, toWire() with a Writer over the const record.
#define FIELDS(Record, Message)                                                                                        \
    template <class Io, class R, class M>                                                                              \
    void fieldsOf(Io &io, R &r, M &m, Of<Record>);                                                                     \
    void fromWire(const Message &m, Record *r)                                                                         \
    {                                                                                                                  \
        Reader io;                                                                                                     \
        fieldsOf(io, *r, m, Of<Record>());                                                                             \
    }                                                                                                                  \
    void toWire(const Record &r, Message *m)                                                                           \
    {                                                                                                                  \
        Writer io;                                                                                                     \
        fieldsOf(io, r, *m, Of<Record>());                                                                             \
    }                                                                                                                  \
    template <class Io, class R, class M>                                                                              \
    void fieldsOf(Io &io, R &r, M &m, Of<Record>)

namespace {

// dev_id + channel, as a ChannelId and as the nested head of channel requests.
template <class Io, class Text, class Number, class M>
void channelFields(Io &io, Text &devId, Number &channel, M &m)
{
    io(devId, FIELD(m, dev_id));
    io(channel, FIELD(m, channel));
}

// Nested channel_id as (devId, channel); an absent one reads as ("", 0).
template <class Io, class R, class M>
void channelId(Io &io, R &r, M &m)
{
    io.inside(FIELD(m, channel_id), [&](auto &c) { channelFields(io, r.devId, r.channel, c); });
}

// request_id + nested channel_id, the head of most channel requests.
template <class Io, class R, class M>
void channelHead(Io &io, R &r, M &m)
{
    io(r.requestId, FIELD(m, request_id));
    channelId(io, r, m);
}

// request_id + dev_id, the head of most device requests.
template <class Io, class R, class M>
void deviceHead(Io &io, R &r, M &m)
{
    io(r.requestId, FIELD(m, request_id));
    io(r.devId, FIELD(m, dev_id));
}

// The net and platform settings travel as DevNetInfo / DevPlatformInfo both
// inside set requests and on their own.
template <class Io, class R, class M>
void netInfo(Io &io, R &r, M &m)
{
    io(r.ip, FIELD(m, ip));
    io(r.subNetMask, FIELD(m, sub_net_mask));
    io(r.defaultGateway, FIELD(m, default_gateway));
    io(r.dns, FIELD(m, dns));
    io(r.param5, FIELD(m, param_5));
    io(r.param6, FIELD(m, param_6));
    io(r.param7, FIELD(m, param_7));
    io(r.param8, FIELD(m, param_8));
}

template <class Io, class R, class M>
void platformInfo(Io &io, R &r, M &m)
{
    io(r.param1, FIELD(m, param_1));
    io(r.platformAddr, FIELD(m, platform_addr));
    io(r.param3, FIELD(m, param_3));
    io(r.param4, FIELD(m, param_4));
    io(r.param5, FIELD(m, param_5));
}

// Talk and speak share one wire message and one record shape.
template <class Io, class R, class M>
void talk(Io &io, R &r, M &m)
{
    channelHead(io, r, m);
    io(r.param3, FIELD(m, param_3));
}

} // namespace

// ---- Channels ----

FIELDS(ChannelId, proto::ChannelId) { channelFields(io, r.first, r.second, m); }

// ---- Request conditions ----

FIELDS(InitDgwCondition, proto::InitDgwReq)
{
    io(r.requestId, FIELD(m, request_id));
    io(r.ak, FIELD(m, ak));
    io(r.sk, FIELD(m, sk));
    io(r.ck, FIELD(m, ck));
    io(r.csk, FIELD(m, csk));
    io(r.param6, FIELD(m, param_6));
    io(r.url, FIELD(m, url));
    io(r.param8, FIELD(m, param_8));
    io(r.saasServer, FIELD(m, saas_server));
    io(r.saasCer, FIELD(m, saas_cer));
}

FIELDS(SearchDevsConfig, proto::SetSearchDevsConfigCmd)
{
    io(r.param1, FIELD(m, param_1));
    io(r.beginIp, FIELD(m, begin_ip));
    io(r.endIp, FIELD(m, end_ip));
    io(r.param4, FIELD(m, param_4));
}

using SecretPair = QPair<QString, QString>;

FIELDS(SecretPair, proto::SecretInfo)
{
    io(r.first, FIELD(m, question));
    io(r.second, FIELD(m, answer));
}

// devs_sn has no member: neither direction touches it.
FIELDS(ActivateCondition, proto::DevActivateCmd)
{
    io(r.account, FIELD(m, account));
    io(r.password, FIELD(m, password));
    io(r.secretInfos, FIELD(m, secret_infos));
    io(r.param5, FIELD(m, param_5));
}

FIELDS(GetDevSecretQuestionsCondition, proto::DevSecretQuestionsGetReq)
{
    io(r.devSn, FIELD(m, dev_sn));
    io(r.account, FIELD(m, account));
}

FIELDS(ResetDevPwdCondition, proto::DevPwdResetReq)
{
    io(r.devSn, FIELD(m, dev_sn));
    io(r.account, FIELD(m, account));
    io(r.password, FIELD(m, password));
    io(r.secretInfos, FIELD(m, secret_infos));
}

FIELDS(GetDevPlatformCondition, proto::DevPlatformGetReq)
{
    deviceHead(io, r, m);
    io(r.param3, FIELD(m, param_3));
    io(r.param4, FIELD(m, param_4));
}

FIELDS(SetDevPlatformCondition, proto::DevPlatformSetReq)
{
    deviceHead(io, r, m);
    io.inside(FIELD(m, dev_platform_info), [&](auto &info) { platformInfo(io, r, info); });
}

FIELDS(SetDevPlatform_tavCondition, proto::DevPlatform_tavSetReq)
{
    deviceHead(io, r, m);
    io.inside(FIELD(m, dev_platform_info), [&](auto &info) {
        io(r.onlineServer, FIELD(info, online_server));
        io(r.param4, FIELD(info, param_4));
        io(r.businessServer, FIELD(info, bussiness_server));
    });
}

FIELDS(ImportDevCertCondition, proto::DevCertImportReq)
{
    deviceHead(io, r, m);
    io(r.param3, FIELD(m, param_3));
    io(r.ca, FIELD(m, ca));
    io(r.certContents, FIELD(m, cert_contents));
    io(r.key, FIELD(m, key));
    io(r.secretKey, FIELD(m, secret_key));
}

FIELDS(SetDevNetCondition, proto::DevNetSetReq)
{
    deviceHead(io, r, m);
    io.inside(FIELD(m, dev_net_info), [&](auto &info) { netInfo(io, r, info); });
}

FIELDS(RecsSearchCondition, proto::SearchVideoRecordingsReq)
{
    channelHead(io, r, m);
    io(r.param3, FIELD(m, param_3));
    io(r.param4, FIELD(m, param_4));
    io(r.beginTime, FIELD(m, begin_time));
    io(r.endTime, FIELD(m, end_time));
}

FIELDS(GetRtspUrlCondition, proto::GetRtspUrlReq)
{
    channelHead(io, r, m);
    io(r.streamType, FIELD(m, param_3));
}

FIELDS(PTZCtrlCondition, proto::PTZCtrlReq)
{
    channelHead(io, r, m);
    io(r.operation, FIELD(m, param_3));
    io(r.action, FIELD(m, param_4));
    io(r.param5, FIELD(m, param_5));
    io(r.param6, FIELD(m, param_6));
}

FIELDS(ChannelCondition, proto::ChannelReq) { channelHead(io, r, m); }

FIELDS(PresetOperCondition, proto::PresetOperReq)
{
    channelHead(io, r, m);
    io(r.presetNumber, FIELD(m, param_3));
    io(r.presetName, FIELD(m, preset_name));
    io(r.oper, FIELD(m, param_5));
}

// The record has two ints; param_5 of the wire has no counterpart.
FIELDS(PatrolOperCondition, proto::PatrolOperReq)
{
    channelHead(io, r, m);
    io(r.param3, FIELD(m, param_3));
    io(r.param4, FIELD(m, param_4));
}

FIELDS(PatrolPresetOperCondition, proto::PatrolPresetOperReq)
{
    channelHead(io, r, m);
    io(r.param3, FIELD(m, param_3));
    io(r.param4, FIELD(m, param_4));
    io(r.param5, FIELD(m, param_5));
    io(r.param6, FIELD(m, param_6));
}

FIELDS(PatrolPresetEntry, proto::SetPatrolPresetsReq::PresetInfo)
{
    io(r.presetNumber, FIELD(m, param_1));
    io(r.stayTime, FIELD(m, param_2));
}

FIELDS(SetPatrolPresetsCondition, proto::SetPatrolPresetsReq)
{
    channelHead(io, r, m);
    io(r.param3, FIELD(m, param_3));
    io(r.presets, FIELD(m, presets));
}

FIELDS(SetOSDCondition, proto::SetOSDReq)
{
    channelHead(io, r, m);
    io(r.osd, FIELD(m, osd));
}

FIELDS(ModifyDevNameCondition, proto::ModifyDevNameReq)
{
    deviceHead(io, r, m);
    io(r.devName, FIELD(m, dev_name));
}

FIELDS(DevUpgradeCondtition, proto::DevUpgradeReq)
{
    deviceHead(io, r, m);
    io(r.mode, FIELD(m, mode));
    io(r.url, FIELD(m, url));
    io(r.param5, FIELD(m, param_5));
    io(r.mainFile, FIELD(m, main_file));
    io(r.verFile, FIELD(m, ver_file));
}

FIELDS(ModifyDevAccountCondition, proto::ModifyDevAccountReq)
{
    deviceHead(io, r, m);
    io(r.account, FIELD(m, account));
    io(r.oldPassword, FIELD(m, old_password));
    io(r.newPassword, FIELD(m, new_password));
    io(r.level, FIELD(m, level));
}

FIELDS(ModifyFaceCondition, proto::AddFaceReq)
{
    channelHead(io, r, m);
    io(r.serialNum, FIELD(m, serial_num));
    io(r.name, FIELD(m, name));
    io(r.organizations, FIELD(m, organizations));
    io(r.param6, FIELD(m, param_6));
    io(r.param7, FIELD(m, param_7));
    io(r.param8, FIELD(m, param_8));
    io(r.faceType, FIELD(m, face_type));
    io(r.validTime, FIELD(m, valid_time));
    io(r.invalidTime, FIELD(m, invalid_time));
    io(r.faceImage, FIELD(m, data_12));
}

FIELDS(GetFacesCondition, proto::GetFacesReq)
{
    channelHead(io, r, m);
    io(r.param3, FIELD(m, param_3));
    io(r.param4, FIELD(m, param_4));
    io(r.param5, FIELD(m, param_5));
    io(r.param6, FIELD(m, param_6));
}

FIELDS(DelFaceCondition, proto::DelFaceReq)
{
    channelHead(io, r, m);
    io(r.param3, FIELD(m, param_3));
}

// The record has no counterpart for param_3 and param_4 of the wire.
FIELDS(GetFaceDetectRecordsCondition, proto::GetFaceDetectRecordsReq)
{
    channelHead(io, r, m);
    io(r.beginTime, FIELD(m, begin_time));
    io(r.endTime, FIELD(m, end_time));
}

FIELDS(TalkOperCondition, proto::TalkOperReq) { talk(io, r, m); }
FIELDS(SpeakOperCondition, proto::TalkOperReq) { talk(io, r, m); }

FIELDS(UploadFileCondition, proto::UploadFileReq)
{
    deviceHead(io, r, m);
    io(r.fileName, FIELD(m, file_name));
    io(r.purpose, FIELD(m, purpose));
}

FIELDS(DownloadFileCondition, proto::DownloadFileReq)
{
    deviceHead(io, r, m);
    io(r.srcFileName, FIELD(m, src_file_name));
    io(r.desFileName, FIELD(m, des_file_name));
}

// ---- Stream conditions ----

FIELDS(LiveVideoConnCondition, proto::LiveVideoConnReq)
{
    channelId(io, r, m);
    io(r.streamType, FIELD(m, param_2));
}

FIELDS(PlaybackByFileCondition, proto::PlaybackByFileReq)
{
    channelId(io, r, m);
    io(r.fileName, FIELD(m, file_name));
    io(r.param3, FIELD(m, param_3));
    io(r.param4, FIELD(m, param_4));
}

FIELDS(PlaybackByTimeCondition, proto::PlaybackByTimeReq)
{
    channelId(io, r, m);
    io(r.startTime, FIELD(m, start_time));
    io(r.param3, FIELD(m, param_3));
}

// ---- Results and events ----

FIELDS(DevInfo, proto::DevInfo)
{
    io(r.id, FIELD(m, id));
    io(r.name, FIELD(m, name));
    io(r.sn, FIELD(m, sn));
    io(r.param4, FIELD(m, param_4));
    io(r.ip, FIELD(m, ip));
    io(r.port, FIELD(m, param_6));
    io(r.user, FIELD(m, user));
    io(r.password, FIELD(m, password));
    io(r.version, FIELD(m, version));
    io(r.seriesName, FIELD(m, series_name));
    io(r.param11, FIELD(m, param_11));
    io(r.param12, FIELD(m, param_12));
    io(r.param13, FIELD(m, param_13));
    io(r.param14, FIELD(m, param_14));
    io(r.param15, FIELD(m, param_15));
    io(r.param16, FIELD(m, param_16));
    io(r.param17, FIELD(m, param_17));
    io(r.param18, FIELD(m, param_18));
}

FIELDS(AiAbilityInfo, proto::AiAbilityInfo)
{
    io(r.package, FIELD(m, package));
    io(r.param2, FIELD(m, param_2));
    io(r.name, FIELD(m, name));
    io(r.param4, FIELD(m, param_4));
    io(r.param5, FIELD(m, param_5));
}

void fromWire(const AbilityMap &m, QMap<int, AiAbilityInfo> *r) { read(m, r); }
void toWire(const QMap<int, AiAbilityInfo> &r, AbilityMap *m) { write(r, m); }

FIELDS(DevInfoFromDgw, proto::DevInfoFromDgw)
{
    io(r.id, FIELD(m, id));
    io(r.sn, FIELD(m, sn));
    io(r.ip, FIELD(m, ip));
    io(r.param4, FIELD(m, param_4));
    io(r.param5, FIELD(m, param_5));
    io(r.param6, FIELD(m, param_6));
    io(r.version, FIELD(m, version));
    io(r.seriesName, FIELD(m, series_name));
    io(r.param9, FIELD(m, param_9));
    io(r.param10, FIELD(m, param_10));
    io(r.devCode, FIELD(m, dev_code));
    io(r.param12, FIELD(m, param_12));
    io(r.abilityDetails, FIELD(m, ability_details));
}

FIELDS(DevChannelInfo, proto::DevChannInfo)
{
    channelId(io, r, m);
    io(r.osd, FIELD(m, osd));
    io(r.param3, FIELD(m, param_3));
    io(r.param4, FIELD(m, param_4));
    io(r.sn, FIELD(m, sn));
    io(r.ip, FIELD(m, ip));
    io(r.port, FIELD(m, param_7));
    io(r.user, FIELD(m, user));
    io(r.password, FIELD(m, password));
    io(r.param10, FIELD(m, param_10));
    io(r.param11, FIELD(m, param_11));
    io(r.abilityDetails, FIELD(m, ability_details));
}

FIELDS(DevNetInfo, proto::DevNetInfo) { netInfo(io, r, m); }
FIELDS(DevPlatformInfo, proto::DevPlatformInfo) { platformInfo(io, r, m); }

FIELDS(DevPlatform_tavInfo, proto::DevPlatformInfo_tav)
{
    io(r.param1, FIELD(m, param_1));
    io(r.param2, FIELD(m, param_2));
    io(r.onlineServer, FIELD(m, online_server));
    io(r.param4, FIELD(m, param_4));
    io(r.businessServer, FIELD(m, bussiness_server));
}

FIELDS(DevTempUserCode, proto::DevTempUserCode)
{
    io(r.sn, FIELD(m, sn));
    io(r.code, FIELD(m, code));
}

FIELDS(VideoRecInfo, proto::VideoRecInfo)
{
    io(r.begin, FIELD(m, begin_time));
    io(r.end, FIELD(m, end_time));
    io(r.fileName, FIELD(m, file_name));
    io(r.param4, FIELD(m, param_4));
    io(r.param5, FIELD(m, param_5));
}

FIELDS(PresetInfo, proto::PresetInfo)
{
    io(r.number, FIELD(m, param_1));
    io(r.name, FIELD(m, preset_name));
}

FIELDS(PatrolPresetInfo, proto::PatrolPresetInfo)
{
    io(r.preset, FIELD(m, preset));
    io(r.param2, FIELD(m, param_2));
    io(r.param3, FIELD(m, param_3));
}

FIELDS(PatrolInfo, proto::PatrolInfo)
{
    io(r.number, FIELD(m, param_1));
    io(r.presets, FIELD(m, presets));
    io(r.param3, FIELD(m, param_3));
    io(r.param4, FIELD(m, param_4));
}

FIELDS(FaceInfo, proto::FaceInfo)
{
    io(r.param1, FIELD(m, param_1));
    io(r.serialNum, FIELD(m, serial_num));
    io(r.name, FIELD(m, name));
    io(r.faceType, FIELD(m, face_type));
    io(r.faceUrl, FIELD(m, face_url));
    io(r.param6, FIELD(m, param_6));
    io(r.param7, FIELD(m, param_7));
    io(r.faceImage, FIELD(m, data_8));
    io(r.validTime, FIELD(m, valid_time));
    io(r.invalidTime, FIELD(m, invalid_time));
    io(r.organizations, FIELD(m, organizations));
}

FIELDS(FaceDetectRecordInfo, proto::FaceDetectRecordInfo)
{
    io(r.serialNum, FIELD(m, serial_num));
    io(r.name, FIELD(m, name));
    io(r.company, FIELD(m, company));
    io(r.department, FIELD(m, department));
    io(r.position, FIELD(m, position));
    io(r.detectTime, FIELD(m, detect_time));
    io(r.param7, FIELD(m, param_7));
    io(r.param8, FIELD(m, param_8));
    io(r.param9, FIELD(m, param_9));
    io(r.param10, FIELD(m, param_10));
    io(r.param11, FIELD(m, param_11));
    io(r.data12, FIELD(m, data_12));
    io(r.data13, FIELD(m, data_13));
}

// channel_id has no member: only the counts travel.
FIELDS(FaceCountInfo, proto::FaceCountInfo)
{
    io(r.param2, FIELD(m, param_2));
    io(r.param3, FIELD(m, param_3));
    io(r.param4, FIELD(m, param_4));
}

FIELDS(AlarmInfo, proto::AlarmInfo)
{
    io(r.alarmId, FIELD(m, alarm_id));
    io(r.channel, FIELD(m, channel_id));
    io(r.secondChannel, FIELD(m, second_channel_id));
    io(r.triggerName, FIELD(m, trigger_name));
    io(r.alarmTime, FIELD(m, alarm_time));
    io(r.data6, FIELD(m, data_6));
    io(r.alarmType, FIELD(m, alarm_type));
    io(r.param8, FIELD(m, param_8));
    io(r.alarmName, FIELD(m, alarm_name));
    io(r.data10, FIELD(m, data_10));
}

// Fields 1-2 (request and device) belong to the envelope, not the record.
FIELDS(DevUpgradeInfo, proto::DevUpgradeRes)
{
    io(r.param3, FIELD(m, param_3));
    io(r.newVersionName, FIELD(m, new_version_name));
    io(r.param5, FIELD(m, param_5));
    io(r.phase, FIELD(m, phase));
    io(r.param7, FIELD(m, param_7));
}

FIELDS(FileTransferProgress, proto::FileTransferProgress)
{
    io(r.requestId, FIELD(m, request_id));
    io(r.param2, FIELD(m, param_2));
    io(r.param3, FIELD(m, param_3));
}

// ---- Repeated texts and bytes, for callers that build messages by hand ----

QStringList texts(const Repeated<std::string> &in)
{
    QStringList out;
    read(in, &out);
    return out;
}

void setTexts(const QStringList &in, Repeated<std::string> *out) { write(in, out); }

QList<QByteArray> byteList(const Repeated<std::string> &in)
{
    QList<QByteArray> out;
    read(in, &out);
    return out;
}

void setByteList(const QList<QByteArray> &in, Repeated<std::string> *out) { write(in, out); }

#undef FIELDS
#undef FIELD

} // namespace oru_sdk::wire
