#include "wire_convert.h"

#include "plain_text.h"

#include <type_traits>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace oru_sdk::wire {

const QString kDateTimeFormat = QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz");

// ---- Shared rules ----

QString text(const std::string &s) { return textUpToZero(s.c_str()); }
std::string utf8(const QString &s)
{
    // Most texts are ASCII: those are written straight, without the UTF-8
    // QByteArray that toStdString() goes through, sixteen characters a step
    // where SSE2 is there (a 64 KiB name took eight instructions a character
    // one by one).
    const int size = s.size();
    const ushort *in = s.utf16();
    std::string out(size_t(size), '\0');
    char *o = &out[0];
    int i = 0;
#ifdef __SSE2__
    const __m128i high = _mm_set1_epi16(short(0xff80));
    for (; i + 16 <= size; i += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i + 8));
        // Any bit above 0x7f in any character: not ASCII. (The pack below
        // saturates as signed, so it must never see such a character.)
        const __m128i above = _mm_and_si128(_mm_or_si128(a, b), high);
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(above, _mm_setzero_si128())) != 0xffff)
            return s.toStdString();
        _mm_storeu_si128(reinterpret_cast<__m128i *>(o + i), _mm_packus_epi16(a, b));
    }
#endif
    for (; i < size; ++i) {
        if (in[i] >= 0x80)
            return s.toStdString();
        o[i] = char(in[i]);
    }
    return out;
}
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

void write(const QString &r, std::string *w) { *w = wireText(r); }
void write(const QByteArray &r, std::string *w) { *w = wireText(r); }

// A nested message that has a record of its own (defined below).
template <class R, class W>
auto write(const R &r, W *w) -> decltype(toWire(r, w));

// Repeated fields are replaced, not appended to.
template <class R, class W>
void write(const QList<R> &r, Repeated<W> *w)
{
    w->Clear();
    for (const R &element : r)
        write(element, w->Add());
}

template <class R, class K, class W>
void write(const QMap<int, R> &r, google::protobuf::Map<K, W> *w)
{
    w->clear();
    for (auto it = r.cbegin(); it != r.cend(); ++it)
        write(it.value(), &(*w)[it.key()]);
}

template <class R, class W>
auto write(const R &r, W *w) -> decltype(toWire(r, w))
{
    toWire(r, w);
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

// dev_id + channel, as a ChannelId and as the nested channel_id head of
// channel requests; an absent channel_id reads as ("", 0).
template <class Io, class Text, class Number, class M>
void channelFields(Io &io, Text &devId, Number &channel, M &m)
{
    io(devId, FIELD(m, dev_id));
    io(channel, FIELD(m, channel));
}

// A group of rows that is not a record of its own (its rows say what).
struct TavServers {
};

using SecretPair = QPair<QString, QString>;

// Every record's fields, a row each: the record member and the wire field it
// travels in. fields<G>() keeps the rows of group G and discards the others
// at compile time; fromWire() runs them with a Reader over the const
// message, toWire() with a Writer over the const record. A record whose rows
// run inside a nested message of the wire names that message with NESTED.
#define ROW(Group, member, wire)                                                                                       \
    if constexpr (std::is_same_v<G, Group>)                                                                            \
    io(r.member, FIELD(m, wire))
#define CHANNEL_FIELDS(Group, devId, channel)                                                                          \
    if constexpr (std::is_same_v<G, Group>)                                                                            \
    channelFields(io, r.devId, r.channel, m)
#define CHANNEL_ID(Group, devId, channel)                                                                              \
    if constexpr (std::is_same_v<G, Group>)                                                                            \
    io.inside(FIELD(m, channel_id), [&](auto &c) { channelFields(io, r.devId, r.channel, c); })
#define NESTED(Group, wire, Rows)                                                                                      \
    if constexpr (std::is_same_v<G, Group>)                                                                            \
    io.inside(FIELD(m, wire), [&](auto &inner) { fields<Rows>(io, r, inner); })

template <class G, class Io, class R, class M>
void fields(Io &io, R &r, M &m)
{
    // ---- Channels ----

    CHANNEL_FIELDS(ChannelId, first, second);

    // ---- Request conditions ----

    ROW(InitDgwCondition, requestId, request_id);
    ROW(InitDgwCondition, ak, ak);
    ROW(InitDgwCondition, sk, sk);
    ROW(InitDgwCondition, ck, ck);
    ROW(InitDgwCondition, csk, csk);
    ROW(InitDgwCondition, param6, param_6);
    ROW(InitDgwCondition, url, url);
    ROW(InitDgwCondition, param8, param_8);
    ROW(InitDgwCondition, saasServer, saas_server);
    ROW(InitDgwCondition, saasCer, saas_cer);

    ROW(SearchDevsConfig, param1, param_1);
    ROW(SearchDevsConfig, beginIp, begin_ip);
    ROW(SearchDevsConfig, endIp, end_ip);
    ROW(SearchDevsConfig, param4, param_4);

    ROW(SecretPair, first, question);
    ROW(SecretPair, second, answer);

    // devs_sn has no member: neither direction touches it.
    ROW(ActivateCondition, account, account);
    ROW(ActivateCondition, password, password);
    ROW(ActivateCondition, secretInfos, secret_infos);
    ROW(ActivateCondition, param5, param_5);

    ROW(GetDevSecretQuestionsCondition, devSn, dev_sn);
    ROW(GetDevSecretQuestionsCondition, account, account);

    ROW(ResetDevPwdCondition, devSn, dev_sn);
    ROW(ResetDevPwdCondition, account, account);
    ROW(ResetDevPwdCondition, password, password);
    ROW(ResetDevPwdCondition, secretInfos, secret_infos);

    ROW(GetDevPlatformCondition, requestId, request_id);
    ROW(GetDevPlatformCondition, devId, dev_id);
    ROW(GetDevPlatformCondition, param3, param_3);
    ROW(GetDevPlatformCondition, param4, param_4);

    ROW(SetDevPlatformCondition, requestId, request_id);
    ROW(SetDevPlatformCondition, devId, dev_id);
    NESTED(SetDevPlatformCondition, dev_platform_info, DevPlatformInfo);

    ROW(SetDevPlatform_tavCondition, requestId, request_id);
    ROW(SetDevPlatform_tavCondition, devId, dev_id);
    NESTED(SetDevPlatform_tavCondition, dev_platform_info, TavServers);

    // The part of DevPlatformInfo_tav that a set request carries.
    ROW(TavServers, onlineServer, online_server);
    ROW(TavServers, param4, param_4);
    ROW(TavServers, businessServer, bussiness_server);

    ROW(ImportDevCertCondition, requestId, request_id);
    ROW(ImportDevCertCondition, devId, dev_id);
    ROW(ImportDevCertCondition, param3, param_3);
    ROW(ImportDevCertCondition, ca, ca);
    ROW(ImportDevCertCondition, certContents, cert_contents);
    ROW(ImportDevCertCondition, key, key);
    ROW(ImportDevCertCondition, secretKey, secret_key);

    ROW(SetDevNetCondition, requestId, request_id);
    ROW(SetDevNetCondition, devId, dev_id);
    NESTED(SetDevNetCondition, dev_net_info, DevNetInfo);

    ROW(RecsSearchCondition, requestId, request_id);
    CHANNEL_ID(RecsSearchCondition, devId, channel);
    ROW(RecsSearchCondition, param3, param_3);
    ROW(RecsSearchCondition, param4, param_4);
    ROW(RecsSearchCondition, beginTime, begin_time);
    ROW(RecsSearchCondition, endTime, end_time);

    ROW(GetRtspUrlCondition, requestId, request_id);
    CHANNEL_ID(GetRtspUrlCondition, devId, channel);
    ROW(GetRtspUrlCondition, streamType, param_3);

    ROW(PTZCtrlCondition, requestId, request_id);
    CHANNEL_ID(PTZCtrlCondition, devId, channel);
    ROW(PTZCtrlCondition, operation, param_3);
    ROW(PTZCtrlCondition, action, param_4);
    ROW(PTZCtrlCondition, param5, param_5);
    ROW(PTZCtrlCondition, param6, param_6);

    ROW(ChannelCondition, requestId, request_id);
    CHANNEL_ID(ChannelCondition, devId, channel);

    ROW(PresetOperCondition, requestId, request_id);
    CHANNEL_ID(PresetOperCondition, devId, channel);
    ROW(PresetOperCondition, presetNumber, param_3);
    ROW(PresetOperCondition, presetName, preset_name);
    ROW(PresetOperCondition, oper, param_5);

    // The record has two ints; param_5 of the wire has no counterpart.
    ROW(PatrolOperCondition, requestId, request_id);
    CHANNEL_ID(PatrolOperCondition, devId, channel);
    ROW(PatrolOperCondition, param3, param_3);
    ROW(PatrolOperCondition, param4, param_4);

    ROW(PatrolPresetOperCondition, requestId, request_id);
    CHANNEL_ID(PatrolPresetOperCondition, devId, channel);
    ROW(PatrolPresetOperCondition, param3, param_3);
    ROW(PatrolPresetOperCondition, param4, param_4);
    ROW(PatrolPresetOperCondition, param5, param_5);
    ROW(PatrolPresetOperCondition, param6, param_6);

    ROW(PatrolPresetEntry, presetNumber, param_1);
    ROW(PatrolPresetEntry, stayTime, param_2);

    ROW(SetPatrolPresetsCondition, requestId, request_id);
    CHANNEL_ID(SetPatrolPresetsCondition, devId, channel);
    ROW(SetPatrolPresetsCondition, param3, param_3);
    ROW(SetPatrolPresetsCondition, presets, presets);

    ROW(SetOSDCondition, requestId, request_id);
    CHANNEL_ID(SetOSDCondition, devId, channel);
    ROW(SetOSDCondition, osd, osd);

    ROW(ModifyDevNameCondition, requestId, request_id);
    ROW(ModifyDevNameCondition, devId, dev_id);
    ROW(ModifyDevNameCondition, devName, dev_name);

    ROW(DevUpgradeCondtition, requestId, request_id);
    ROW(DevUpgradeCondtition, devId, dev_id);
    ROW(DevUpgradeCondtition, mode, mode);
    ROW(DevUpgradeCondtition, url, url);
    ROW(DevUpgradeCondtition, param5, param_5);
    ROW(DevUpgradeCondtition, mainFile, main_file);
    ROW(DevUpgradeCondtition, verFile, ver_file);

    ROW(ModifyDevAccountCondition, requestId, request_id);
    ROW(ModifyDevAccountCondition, devId, dev_id);
    ROW(ModifyDevAccountCondition, account, account);
    ROW(ModifyDevAccountCondition, oldPassword, old_password);
    ROW(ModifyDevAccountCondition, newPassword, new_password);
    ROW(ModifyDevAccountCondition, level, level);

    ROW(ModifyFaceCondition, requestId, request_id);
    CHANNEL_ID(ModifyFaceCondition, devId, channel);
    ROW(ModifyFaceCondition, serialNum, serial_num);
    ROW(ModifyFaceCondition, name, name);
    ROW(ModifyFaceCondition, organizations, organizations);
    ROW(ModifyFaceCondition, param6, param_6);
    ROW(ModifyFaceCondition, param7, param_7);
    ROW(ModifyFaceCondition, param8, param_8);
    ROW(ModifyFaceCondition, faceType, face_type);
    ROW(ModifyFaceCondition, validTime, valid_time);
    ROW(ModifyFaceCondition, invalidTime, invalid_time);
    ROW(ModifyFaceCondition, faceImage, data_12);

    ROW(GetFacesCondition, requestId, request_id);
    CHANNEL_ID(GetFacesCondition, devId, channel);
    ROW(GetFacesCondition, param3, param_3);
    ROW(GetFacesCondition, param4, param_4);
    ROW(GetFacesCondition, param5, param_5);
    ROW(GetFacesCondition, param6, param_6);

    ROW(DelFaceCondition, requestId, request_id);
    CHANNEL_ID(DelFaceCondition, devId, channel);
    ROW(DelFaceCondition, param3, param_3);

    // The record has no counterpart for param_3 and param_4 of the wire.
    ROW(GetFaceDetectRecordsCondition, requestId, request_id);
    CHANNEL_ID(GetFaceDetectRecordsCondition, devId, channel);
    ROW(GetFaceDetectRecordsCondition, beginTime, begin_time);
    ROW(GetFaceDetectRecordsCondition, endTime, end_time);

    ROW(TalkOperCondition, requestId, request_id);
    CHANNEL_ID(TalkOperCondition, devId, channel);
    ROW(TalkOperCondition, param3, param_3);

    ROW(SpeakOperCondition, requestId, request_id);
    CHANNEL_ID(SpeakOperCondition, devId, channel);
    ROW(SpeakOperCondition, param3, param_3);

    ROW(UploadFileCondition, requestId, request_id);
    ROW(UploadFileCondition, devId, dev_id);
    ROW(UploadFileCondition, fileName, file_name);
    ROW(UploadFileCondition, purpose, purpose);

    ROW(DownloadFileCondition, requestId, request_id);
    ROW(DownloadFileCondition, devId, dev_id);
    ROW(DownloadFileCondition, srcFileName, src_file_name);
    ROW(DownloadFileCondition, desFileName, des_file_name);

    // ---- Stream conditions ----

    CHANNEL_ID(LiveVideoConnCondition, devId, channel);
    ROW(LiveVideoConnCondition, streamType, param_2);

    CHANNEL_ID(PlaybackByFileCondition, devId, channel);
    ROW(PlaybackByFileCondition, fileName, file_name);
    ROW(PlaybackByFileCondition, param3, param_3);
    ROW(PlaybackByFileCondition, param4, param_4);

    CHANNEL_ID(PlaybackByTimeCondition, devId, channel);
    ROW(PlaybackByTimeCondition, startTime, start_time);
    ROW(PlaybackByTimeCondition, param3, param_3);

    // ---- Results and events ----

    ROW(DevInfo, id, id);
    ROW(DevInfo, name, name);
    ROW(DevInfo, sn, sn);
    ROW(DevInfo, param4, param_4);
    ROW(DevInfo, ip, ip);
    ROW(DevInfo, port, param_6);
    ROW(DevInfo, user, user);
    ROW(DevInfo, password, password);
    ROW(DevInfo, version, version);
    ROW(DevInfo, seriesName, series_name);
    ROW(DevInfo, param11, param_11);
    ROW(DevInfo, param12, param_12);
    ROW(DevInfo, param13, param_13);
    ROW(DevInfo, param14, param_14);
    ROW(DevInfo, param15, param_15);
    ROW(DevInfo, param16, param_16);
    ROW(DevInfo, param17, param_17);
    ROW(DevInfo, param18, param_18);

    ROW(AiAbilityInfo, package, package);
    ROW(AiAbilityInfo, param2, param_2);
    ROW(AiAbilityInfo, name, name);
    ROW(AiAbilityInfo, param4, param_4);
    ROW(AiAbilityInfo, param5, param_5);

    ROW(DevInfoFromDgw, id, id);
    ROW(DevInfoFromDgw, sn, sn);
    ROW(DevInfoFromDgw, ip, ip);
    ROW(DevInfoFromDgw, param4, param_4);
    ROW(DevInfoFromDgw, param5, param_5);
    ROW(DevInfoFromDgw, param6, param_6);
    ROW(DevInfoFromDgw, version, version);
    ROW(DevInfoFromDgw, seriesName, series_name);
    ROW(DevInfoFromDgw, param9, param_9);
    ROW(DevInfoFromDgw, param10, param_10);
    ROW(DevInfoFromDgw, devCode, dev_code);
    ROW(DevInfoFromDgw, param12, param_12);
    ROW(DevInfoFromDgw, abilityDetails, ability_details);

    CHANNEL_ID(DevChannelInfo, devId, channel);
    ROW(DevChannelInfo, osd, osd);
    ROW(DevChannelInfo, param3, param_3);
    ROW(DevChannelInfo, param4, param_4);
    ROW(DevChannelInfo, sn, sn);
    ROW(DevChannelInfo, ip, ip);
    ROW(DevChannelInfo, port, param_7);
    ROW(DevChannelInfo, user, user);
    ROW(DevChannelInfo, password, password);
    ROW(DevChannelInfo, param10, param_10);
    ROW(DevChannelInfo, param11, param_11);
    ROW(DevChannelInfo, abilityDetails, ability_details);

    ROW(DevNetInfo, ip, ip);
    ROW(DevNetInfo, subNetMask, sub_net_mask);
    ROW(DevNetInfo, defaultGateway, default_gateway);
    ROW(DevNetInfo, dns, dns);
    ROW(DevNetInfo, param5, param_5);
    ROW(DevNetInfo, param6, param_6);
    ROW(DevNetInfo, param7, param_7);
    ROW(DevNetInfo, param8, param_8);

    ROW(DevPlatformInfo, param1, param_1);
    ROW(DevPlatformInfo, platformAddr, platform_addr);
    ROW(DevPlatformInfo, param3, param_3);
    ROW(DevPlatformInfo, param4, param_4);
    ROW(DevPlatformInfo, param5, param_5);

    ROW(DevPlatform_tavInfo, param1, param_1);
    ROW(DevPlatform_tavInfo, param2, param_2);
    ROW(DevPlatform_tavInfo, onlineServer, online_server);
    ROW(DevPlatform_tavInfo, param4, param_4);
    ROW(DevPlatform_tavInfo, businessServer, bussiness_server);

    ROW(DevTempUserCode, sn, sn);
    ROW(DevTempUserCode, code, code);

    ROW(VideoRecInfo, begin, begin_time);
    ROW(VideoRecInfo, end, end_time);
    ROW(VideoRecInfo, fileName, file_name);
    ROW(VideoRecInfo, param4, param_4);
    ROW(VideoRecInfo, param5, param_5);

    ROW(PresetInfo, number, param_1);
    ROW(PresetInfo, name, preset_name);

    ROW(PatrolPresetInfo, preset, preset);
    ROW(PatrolPresetInfo, param2, param_2);
    ROW(PatrolPresetInfo, param3, param_3);

    ROW(PatrolInfo, number, param_1);
    ROW(PatrolInfo, presets, presets);
    ROW(PatrolInfo, param3, param_3);
    ROW(PatrolInfo, param4, param_4);

    ROW(FaceInfo, param1, param_1);
    ROW(FaceInfo, serialNum, serial_num);
    ROW(FaceInfo, name, name);
    ROW(FaceInfo, faceType, face_type);
    ROW(FaceInfo, faceUrl, face_url);
    ROW(FaceInfo, param6, param_6);
    ROW(FaceInfo, param7, param_7);
    ROW(FaceInfo, faceImage, data_8);
    ROW(FaceInfo, validTime, valid_time);
    ROW(FaceInfo, invalidTime, invalid_time);
    ROW(FaceInfo, organizations, organizations);

    ROW(FaceDetectRecordInfo, serialNum, serial_num);
    ROW(FaceDetectRecordInfo, name, name);
    ROW(FaceDetectRecordInfo, company, company);
    ROW(FaceDetectRecordInfo, department, department);
    ROW(FaceDetectRecordInfo, position, position);
    ROW(FaceDetectRecordInfo, detectTime, detect_time);
    ROW(FaceDetectRecordInfo, param7, param_7);
    ROW(FaceDetectRecordInfo, param8, param_8);
    ROW(FaceDetectRecordInfo, param9, param_9);
    ROW(FaceDetectRecordInfo, param10, param_10);
    ROW(FaceDetectRecordInfo, param11, param_11);
    ROW(FaceDetectRecordInfo, data12, data_12);
    ROW(FaceDetectRecordInfo, data13, data_13);

    // channel_id has no member: only the counts travel.
    ROW(FaceCountInfo, param2, param_2);
    ROW(FaceCountInfo, param3, param_3);
    ROW(FaceCountInfo, param4, param_4);

    ROW(AlarmInfo, alarmId, alarm_id);
    ROW(AlarmInfo, channel, channel_id);
    ROW(AlarmInfo, secondChannel, second_channel_id);
    ROW(AlarmInfo, triggerName, trigger_name);
    ROW(AlarmInfo, alarmTime, alarm_time);
    ROW(AlarmInfo, data6, data_6);
    ROW(AlarmInfo, alarmType, alarm_type);
    ROW(AlarmInfo, param8, param_8);
    ROW(AlarmInfo, alarmName, alarm_name);
    ROW(AlarmInfo, data10, data_10);

    // Fields 1-2 (request and device) belong to the envelope, not the record.
    ROW(DevUpgradeInfo, param3, param_3);
    ROW(DevUpgradeInfo, newVersionName, new_version_name);
    ROW(DevUpgradeInfo, param5, param_5);
    ROW(DevUpgradeInfo, phase, phase);
    ROW(DevUpgradeInfo, param7, param_7);

    ROW(FileTransferProgress, requestId, request_id);
    ROW(FileTransferProgress, param2, param_2);
    ROW(FileTransferProgress, param3, param_3);
}

#undef NESTED
#undef CHANNEL_ID
#undef CHANNEL_FIELDS
#undef ROW

} // namespace

// Each record with its wire message; both directions run its rows.
#define CONVERT(Record, Message)                                                                                       \
    void fromWire(const Message &m, Record *r)                                                                         \
    {                                                                                                                  \
        Reader io;                                                                                                     \
        fields<Record>(io, *r, m);                                                                                     \
    }                                                                                                                  \
    void toWire(const Record &r, Message *m)                                                                           \
    {                                                                                                                  \
        Writer io;                                                                                                     \
        fields<Record>(io, r, *m);                                                                                     \
    }

CONVERT(ChannelId, proto::ChannelId);
CONVERT(InitDgwCondition, proto::InitDgwReq);
CONVERT(SearchDevsConfig, proto::SetSearchDevsConfigCmd);
CONVERT(SecretPair, proto::SecretInfo);
CONVERT(ActivateCondition, proto::DevActivateCmd);
CONVERT(GetDevSecretQuestionsCondition, proto::DevSecretQuestionsGetReq);
CONVERT(ResetDevPwdCondition, proto::DevPwdResetReq);
CONVERT(GetDevPlatformCondition, proto::DevPlatformGetReq);
CONVERT(SetDevPlatformCondition, proto::DevPlatformSetReq);
CONVERT(SetDevPlatform_tavCondition, proto::DevPlatform_tavSetReq);
CONVERT(ImportDevCertCondition, proto::DevCertImportReq);
CONVERT(SetDevNetCondition, proto::DevNetSetReq);
CONVERT(RecsSearchCondition, proto::SearchVideoRecordingsReq);
CONVERT(GetRtspUrlCondition, proto::GetRtspUrlReq);
CONVERT(PTZCtrlCondition, proto::PTZCtrlReq);
CONVERT(ChannelCondition, proto::ChannelReq);
CONVERT(PresetOperCondition, proto::PresetOperReq);
CONVERT(PatrolOperCondition, proto::PatrolOperReq);
CONVERT(PatrolPresetOperCondition, proto::PatrolPresetOperReq);
CONVERT(PatrolPresetEntry, proto::SetPatrolPresetsReq::PresetInfo);
CONVERT(SetPatrolPresetsCondition, proto::SetPatrolPresetsReq);
CONVERT(SetOSDCondition, proto::SetOSDReq);
CONVERT(ModifyDevNameCondition, proto::ModifyDevNameReq);
CONVERT(DevUpgradeCondtition, proto::DevUpgradeReq);
CONVERT(ModifyDevAccountCondition, proto::ModifyDevAccountReq);
CONVERT(ModifyFaceCondition, proto::AddFaceReq);
CONVERT(GetFacesCondition, proto::GetFacesReq);
CONVERT(DelFaceCondition, proto::DelFaceReq);
CONVERT(GetFaceDetectRecordsCondition, proto::GetFaceDetectRecordsReq);
CONVERT(TalkOperCondition, proto::TalkOperReq);
CONVERT(SpeakOperCondition, proto::TalkOperReq);
CONVERT(UploadFileCondition, proto::UploadFileReq);
CONVERT(DownloadFileCondition, proto::DownloadFileReq);
CONVERT(LiveVideoConnCondition, proto::LiveVideoConnReq);
CONVERT(PlaybackByFileCondition, proto::PlaybackByFileReq);
CONVERT(PlaybackByTimeCondition, proto::PlaybackByTimeReq);
CONVERT(DevInfo, proto::DevInfo);
CONVERT(AiAbilityInfo, proto::AiAbilityInfo);
CONVERT(DevInfoFromDgw, proto::DevInfoFromDgw);
CONVERT(DevChannelInfo, proto::DevChannInfo);
CONVERT(DevNetInfo, proto::DevNetInfo);
CONVERT(DevPlatformInfo, proto::DevPlatformInfo);
CONVERT(DevPlatform_tavInfo, proto::DevPlatformInfo_tav);
CONVERT(DevTempUserCode, proto::DevTempUserCode);
CONVERT(VideoRecInfo, proto::VideoRecInfo);
CONVERT(PresetInfo, proto::PresetInfo);
CONVERT(PatrolPresetInfo, proto::PatrolPresetInfo);
CONVERT(PatrolInfo, proto::PatrolInfo);
CONVERT(FaceInfo, proto::FaceInfo);
CONVERT(FaceDetectRecordInfo, proto::FaceDetectRecordInfo);
CONVERT(FaceCountInfo, proto::FaceCountInfo);
CONVERT(AlarmInfo, proto::AlarmInfo);
CONVERT(DevUpgradeInfo, proto::DevUpgradeRes);
CONVERT(FileTransferProgress, proto::FileTransferProgress);

#undef CONVERT

void fromWire(const AbilityMap &m, QMap<int, AiAbilityInfo> *r) { read(m, r); }
void toWire(const QMap<int, AiAbilityInfo> &r, AbilityMap *m) { write(r, m); }

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

#undef FIELD

} // namespace oru_sdk::wire
