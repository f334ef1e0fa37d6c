#include "sdk_fixture.h"

#include "oru_message.pb.h"
#include "wire_convert.h"

#include <oru_sdk/dgw_signals.h>

#include <QRegularExpression>
#include <QSet>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>

using namespace oru_sdk;
namespace proto = oru_sdk_proto;
using oru_client::Connection;
using oru_client::Frame;

namespace {

// Expected texts are written here as UTF-8 bytes, independent of the library's conversions.
QString q(const std::string &utf8) { return QString::fromStdString(utf8); }
QByteArray b(const std::string &s) { return QByteArray::fromStdString(s); }
QDateTime at(int y, int mo, int d, int h, int mi, int s, int ms)
{
    return QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms));
}
Response R(const std::string &id, int code = 0, const std::string &text = std::string())
{
    return Response{q(id), code, q(text)};
}

// Field values as bytes, so one QCOMPARE of two lists checks many fields and
// names the index of the first that differs. Numbers keep their full value.
QByteArray f(const std::string &s) { return b(s); }
QByteArray f(const char *s) { return s; }
QByteArray f(const QByteArray &s) { return s; }
template <class T>
QByteArray f(T v)
{
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
    if constexpr (std::is_same_v<T, bool>)
        return v ? "true" : "false";
    else if constexpr (std::is_floating_point_v<T>)
        return QByteArray::number(v, 'g', 17);
    else if constexpr (std::is_enum_v<T> || std::is_signed_v<T>)
        return QByteArray::number(qlonglong(v));
    else
        return QByteArray::number(qulonglong(v));
}
template <class... A>
QByteArrayList F(const A &...a)
{
    return {f(a)...};
}

using oru_test::requestWithId;

template <class M>
bool parse(M *m, const QByteArray &payload)
{
    return m->ParseFromString(payload.toStdString());
}

#define PARSED(Type, var)                                                                                              \
    Type var;                                                                                                          \
    QVERIFY2(parse(&var, payload), #Type)

// request_id, and an error that is there even on success (then the two bytes 0A 00 lead the payload).
#define CHECK_ENVELOPE(m, code, text)                                                                                  \
    do {                                                                                                               \
        QCOMPARE(F((m).has_error(), (m).request_id(), (m).error().err_code(), (m).error().err_msg()),                  \
                 F(true, id, (code), std::string(text)));                                                              \
        if ((code) == 0)                                                                                               \
            QVERIFY(payload.startsWith(QByteArray("\x0a\x00", 2)));                                                    \
    } while (false)

// ---- Records with a distinct value in every member ----

// What the client side reads back from a message: a field swapped or dropped
// on either side shows as a difference from the record that was sent.
template <class Record, class Wire>
Record readBack(const Wire &m)
{
    Record r;
    wire::fromWire(m, &r);
    return r;
}

// A text that ends in the record's number, so that every record differs.
std::function<QString(const char *)> numbered(int k)
{
    return [k](const char *text) { return q(text) + QString::number(k); };
}

DevInfo devInfo(int k)
{
    const auto t = numbered(k);
    return DevInfo{t("dev-ü-"),     t("Kamera Süd "), t("SN"), 4000000000u + k, t("10.1.0."), 8000u + k,
                   t("user"),       t("pässwort"),    t("V"),  t("series"),     -11 - k,      12 + k,
                   3000000000u + k, -14 * k,          true,    16 + k,          -17 - k,      18 * k};
}

QMap<int, AiAbilityInfo> abilities(int k)
{
    return {{k, AiAbilityInfo{q("pkg.ü.") + QString::number(k), -k, q("face"), 40 + k, true}},
            {-1, AiAbilityInfo{q("pkg.minus"), 2, q("count"), 0, false}}};
}

DevChannelInfo channelInfo(int k)
{
    const auto t = numbered(k);
    return DevChannelInfo{t("nvr-ü-"), k,           t("OSD Tür "), 3000000000u + k, -4 - k, t("chsn"),   t("10.2.0."),
                          9000u + k,   t("chuser"), t("chpw"),     -10 - k,         11 + k, abilities(k)};
}

const QByteArray kImage("\x89PNG\0\r\n\xff\0z", 10);

// Large enough to be written and read in many pieces.
const QByteArray &bigImage()
{
    static const QByteArray image = [] {
        QByteArray bytes(3 * 1024 * 1024, Qt::Uninitialized);
        for (int i = 0; i < bytes.size(); ++i)
            bytes[i] = char(i % 251);
        return bytes;
    }();
    return image;
}

FaceInfo faceInfo(int k)
{
    const auto t = numbered(k);
    const QDateTime validFrom = at(2024, 1, 2, 3, 4, 5, k), validTo = at(2025, 12, 31, 23, 59, 58, 999);
    return FaceInfo{-k,
                    t("face-"),
                    t("Jürgen "),
                    q("white"),
                    t("http://faces/ü/"),
                    600 + k,
                    -700 - k,
                    kImage + char(k),
                    validFrom,
                    validTo,
                    {q("Büro"), QString(), t("org")}};
}

FaceDetectRecordInfo detectRecord(int k, double param9)
{
    const auto t = numbered(k);
    const QByteArray data12 = QByteArray("\0\x01\x02", 3) + char(k);
    return FaceDetectRecordInfo{t("det-"),
                                t("Zoë "),
                                t("Firma "),
                                t("Abteilung "),
                                t("Chef "),
                                at(2023, 4, 5, 6, 7, 8, 90 + k),
                                4000000000u + k,
                                -8 - k,
                                param9,
                                10 + k,
                                -11 - k,
                                data12,
                                QByteArray("\xff\0\xfe", 3)};
}

DevUpgradeInfo upgradeInfo(int k)
{
    return DevUpgradeInfo{k * 100 + 3, q("V-ü-") + QString::number(k), true, q("phase") + QString::number(k),
                          -k * 100 - 7};
}

AlarmInfo alarm(const QString &alarmId)
{
    return AlarmInfo{alarmId,
                     ChannelId(q("cam-ä"), 5),
                     ChannelId(q("cam-second"), 6),
                     q("Auslöser"),
                     at(2023, 7, 8, 9, 10, 11, 12),
                     {QByteArray("\x01\0\x02", 3), QByteArray(), QByteArray("\xff\xfe")},
                     q("motion"),
                     -50,
                     q("Bewegung ü"),
                     QByteArray("\0\0\x10", 3)};
}

const DevNetInfo kNet{q("10.0.21.1"), q("255.255.240.0"), q("10.0.0.254"), q("8.8.4.4"), true, 6, -7, 8};
const DevPlatformInfo kPlatform{true, q("platform-address:24, hall 통 east"), false, 2404, -2405};
const DevPlatform_tavInfo kTav{false, true, q("online-ü:28"), true, q("business-video:28 rtsp")};
const DevInfoFromDgw kDgwInfo{q("dgw-ü-42"), q("SN42"),    q("10.4.2.1"), 4000000042u, 3000000042u,  -6,
                              q("V4.2"),     q("serie-ö"), 2900000009u,   -10,         q("code-42"), 12,
                              abilities(42)};
const DevTempUserCodeList kUserCodes{{q("SN-44a"), q("code-ä")}, {q("SN-44b"), q("4444")}};
const VideoRecList kRecordings{
    {at(2024, 1, 2, 3, 4, 5, 6), at(2024, 12, 31, 23, 59, 58, 999), q("aufnahme-ü.mp4"), 55, -56},
    {QDateTime(), at(2000, 2, 29, 0, 0, 0, 0), q("b.mp4"), -1, 1}};
const PresetList kPresets{{59, q("Tor ü")}, {7, q("Hof")}};
const PatrolList kPatrols{{63, {{{1, q("Eins ü")}, 11, 12}, {{2, q("Zwei")}, 21, 22}}, -3, 4}, {64, {}, 5, -6}};

// ---- One row per outbound slot ----

using Call = std::function<void(const std::string &id)>;
using Check = std::function<void(const QByteArray &payload, const std::string &id)>;

struct Row {
    const char *tag;
    MessageType type;
    const char *log;     // trace text; null when the slot logs nothing
    MessageType request; // the request answered; 0 for frames sent to everyone
    Call call;
    Check check;
    int calls = 1; // sends to everyone may be repeated
};

constexpr MessageType kEveryone = MessageType(0);

// Decodes the payload as M, checks the answer's envelope, then hands the message to `fields`.
template <class M, class Fields>
Check expect(int code, const char *text, Fields fields)
{
    return [=](const QByteArray &payload, const std::string &id) {
        PARSED(M, m);
        CHECK_ENVELOPE(m, code, text);
        fields(m, id);
    };
}

template <class M, class Fields>
Check push(Fields fields)
{
    return [=](const QByteArray &payload, const std::string &id) {
        PARSED(M, m);
        fields(m, id);
    };
}

// Answers that carry nothing but the result.
Row resultRow(const char *tag, MessageType type, const char *log, MessageType request,
              void (*function)(const Response &), int code, const char *text)
{
    return Row{tag,
               type,
               log,
               request,
               [=](const std::string &id) { function(R(id, code, text)); },
               expect<proto::Response>(code, text, [](const proto::Response &, const std::string &) {})};
}

const QVector<Row> &rows()
{
    using T = MessageType;
    using P = const QByteArray &;
    using I = const std::string &;
    static QSet<QString> uuids;
    static const QVector<Row> all{
        resultRow("2 init_dgw_res", T::InitDgwRes, "init dgw res", T::InitDgwReq, &init_dgw_res, 0, ""),
        {"18 activate_dev_res", T::ActivateDevRes, "server response activate device", kEveryone,
         [](I) { activate_dev_res(q("SN-ä-18"), -1801); }, push<proto::ActivateDevRes>([](const auto &m, I) {
             QCOMPARE(F(m.dev_sn(), m.err_code()), F("SN-ä-18", -1801));
         })},
        {"21 get_dev_net_res", T::GetDevNetRes, "server response client get device net req", T::GetDevNetReq,
         [](I id) { get_dev_net_res(R(id, 2101, "Netz kaputt ü"), kNet); },
         expect<proto::DevNetGetRes>(2101, "Netz kaputt ü",
                                     [](const auto &m, I) { QCOMPARE(readBack<DevNetInfo>(m.dev_net_info()), kNet); })},
        {"24 get_dev_platform_res", T::GetDevPlatformRes, "server response client get device platform req",
         T::GetDevPlatformReq, [](I id) { get_dev_platform_res(R(id), kPlatform); },
         expect<proto::DevPlatformGetRes>(
             0, "", [](const auto &m, I) { QCOMPARE(readBack<DevPlatformInfo>(m.dev_platform_info()), kPlatform); })},
        resultRow("26 set_dev_platform_res", T::SetDevPlatformRes, "server response client set device platform req",
                  T::SetDevPlatformReq, &set_dev_platform_res, 2601, "abgelehnt ü"),
        {"28 get_dev_platform_tav_res", T::GetDevPlatformTavRes, "server response client get device platform_tav req",
         T::GetDevPlatformTavReq, [](I id) { get_dev_platform_tav_res(R(id, -28, "tav"), kTav); },
         expect<proto::DevPlatform_tavGetRes>(
             -28, "tav",
             [](const auto &m, I) { QCOMPARE(readBack<DevPlatform_tavInfo>(m.dev_platform_info()), kTav); })},
        resultRow("30 set_dev_platform_tav_res", T::SetDevPlatformTavRes,
                  "server response client set device platform_tav req", T::SetDevPlatformTavReq,
                  &set_dev_platform_tav_res, 0, ""),
        resultRow("32 import_dev_cert_res", T::ImportDevCertRes, "server response client import device cert req",
                  T::ImportDevCertReq, &import_dev_cert_res, 3201, "Zertifikat ungültig"),
        {"33 set_dev_net_res", T::SetDevNetRes, "server response client set device net req", T::SetDevNetReq,
         [](I id) { set_dev_net_res(R(id), q("dev-ü-33"), q("192.168.33.3")); },
         expect<proto::DevNetSetRes>(
             0, "", [](const auto &m, I) { QCOMPARE(F(m.dev_id(), m.dev_ip()), F("dev-ü-33", "192.168.33.3")); })},
        {"38 push_searched_devs_msg", T::PushSearchedDevsMsg, "server push searched devs to client", kEveryone,
         [](I) {
             push_searched_devs_msg({devInfo(1), devInfo(2)});
         },
         push<proto::SearchedDevsPush>([](const auto &m, I) {
             QCOMPARE(wire::listFromWire<DevInfo>(m.devs()), (DevInfoList{devInfo(1), devInfo(2)}));
         })},
        {"39 push_broadcast_searched_devs_msg", T::PushBroadcastSearchedDevsMsg,
         "server push broadcast searched devs to client", kEveryone,
         [](I) { push_broadcast_searched_devs_msg({devInfo(39)}); },
         push<proto::SearchedDevsPush>(
             [](const auto &m, I) { QCOMPARE(wire::listFromWire<DevInfo>(m.devs()), DevInfoList{devInfo(39)}); })},
        {"40 push_dev_status_msg", T::PushDevStatusMsg, "server push dev status to client", kEveryone,
         [](I) { push_dev_status_msg(q("dev-ü-40"), DevStatus::NotActivated); },
         push<proto::DevStatusPush>([](const auto &m, I) { QCOMPARE(F(m.dev_id(), m.status()), F("dev-ü-40", 3)); })},
        {"41 push_dev_p2p_success", T::PushDevP2PSuccess, "server push dev p2p success to client", kEveryone,
         [](I) { push_dev_p2p_success(q("设备-41-ü")); }, [](P payload, I) { QCOMPARE(payload, b("设备-41-ü")); }},
        // A null QString is an empty text on the wire: count 0, never the 0xFFFFFFFF of a null array.
        {"41 push_dev_p2p_success, null text", T::PushDevP2PSuccess, "server push dev p2p success to client", kEveryone,
         [](I) { push_dev_p2p_success(QString()); },
         [](P payload, I) { QVERIFY(!payload.isNull() && payload.isEmpty()); }},
        {"42 push_dev_info_msg", T::PushDevInfo, "server push dev info to client", kEveryone,
         [](I) { push_dev_info_msg(kDgwInfo); },
         push<proto::DevInfoFromDgw>([](const auto &m, I) { QCOMPARE(readBack<DevInfoFromDgw>(m), kDgwInfo); })},
        {"44 push_dev_temp_user_code_msg", T::PushDevTempUserCodeMsg, "server push dev temp user code to client",
         kEveryone, [](I) { push_dev_temp_user_code_msg(kUserCodes); },
         push<proto::DevTempUserCodePush>(
             [](const auto &m, I) { QCOMPARE(wire::listFromWire<DevTempUserCode>(m.code_list()), kUserCodes); })},
        {"45 push_dev_channels_info_msg", T::PushDevChannelsInfoMsg, "server push dev channels info to client",
         kEveryone,
         [](I) {
             push_dev_channels_info_msg(q("nvr-ü-45"), {channelInfo(1), channelInfo(2)});
         },
         push<proto::DevChannelsInfoPush>([](const auto &m, I) {
             QCOMPARE(b(m.dev_id()), b("nvr-ü-45"));
             QCOMPARE(wire::listFromWire<DevChannelInfo>(m.channels_info()),
                      (DevChanInfoList{channelInfo(1), channelInfo(2)}));
         })},
        {"48 push_face_detect_msg", T::PushFaceDetectMsg, "server push face detect to client", kEveryone,
         [](I) { push_face_detect_msg(ChannelId(q("cam-ü-48"), 4), detectRecord(4, 36.625)); },
         push<proto::FaceDetectLiveInfo>([](const auto &m, I) {
             QCOMPARE(readBack<ChannelId>(m.channel_id()), ChannelId(q("cam-ü-48"), 4));
             QCOMPARE(readBack<FaceDetectRecordInfo>(m.record()), detectRecord(4, 36.625));
         })},
        {"48 push_face_detect_msg with -0.0", T::PushFaceDetectMsg, "server push face detect to client", kEveryone,
         [](I) { push_face_detect_msg(ChannelId(q("cam-48"), 0), detectRecord(5, -0.0)); },
         push<proto::FaceDetectLiveInfo>([](const auto &m, I) {
             // A written -0.0 would read back with its sign.
             QVERIFY(!std::signbit(m.record().param_9()));
             QCOMPARE(readBack<FaceDetectRecordInfo>(m.record()), detectRecord(5, 0.0));
         })},
        {"49 push_face_temperature_count_msg", T::PushFaceTemperatureCountMsg,
         "server push face temperature count to client", kEveryone,
         [](I) {
             push_face_temperature_count_msg(ChannelId(q("cam-ü-49"), 9), FaceCountInfo{4000000049u, 49, 0x80000000u});
         },
         push<proto::FaceCountInfo>([](const auto &m, I) {
             QCOMPARE(readBack<ChannelId>(m.channel_id()), ChannelId(q("cam-ü-49"), 9));
             QCOMPARE(readBack<FaceCountInfo>(m), (FaceCountInfo{4000000049u, 49, 0x80000000u}));
         })},
        {"50 push_alarm_msg keeps its id", T::PushAlarmMsg, "server push alarm to client", kEveryone,
         [](I) { push_alarm_msg(alarm(q("alarm-ü-50"))); },
         push<proto::AlarmInfo>([](const auto &m, I) { QCOMPARE(readBack<AlarmInfo>(m), alarm(q("alarm-ü-50"))); })},
        {"50 push_alarm_msg without id", T::PushAlarmMsg, "server push alarm to client", kEveryone,
         [](I) { push_alarm_msg(alarm(QString())); }, push<proto::AlarmInfo>([](const auto &m, I) {
             AlarmInfo sent = readBack<AlarmInfo>(m);
             QVERIFY2(QRegularExpression(QStringLiteral("^\\{[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\\}$"))
                          .match(sent.alarmId)
                          .hasMatch(),
                      qPrintable(sent.alarmId));
             // Each push gets a fresh one.
             QVERIFY(!uuids.contains(sent.alarmId));
             uuids.insert(sent.alarmId);
             sent.alarmId.clear();
             QCOMPARE(sent, alarm(QString()));
         }),
         2},
        {"51 push_tlv_data", T::PushTlvData, nullptr, kEveryone,
         [](I) { push_tlv_data(q("tlv-ü-51"), QByteArray("\0\x01\xff\0T", 5)); },
         push<proto::TlvInfo>([](const auto &m, I) {
             QCOMPARE(F(m.dev_id(), m.tlv_data()), F("tlv-ü-51", QByteArray("\0\x01\xff\0T", 5)));
         })},
        {"54 get_rtsp_url_res", T::GetRtspUrlRes, "server response client get rtsp url req", T::GetRtspUrlReq,
         [](I id) { get_rtsp_url_res(R(id, 5401, "kein Strom"), q("rtsp://10.0.0.54:554/ü?x=1")); },
         expect<proto::GetRtspUrlRes>(
             5401, "kein Strom", [](const auto &m, I) { QCOMPARE(b(m.rtsp_url()), b("rtsp://10.0.0.54:554/ü?x=1")); })},
        {"55 search_video_recordings_res", T::SearchVideoRecordingsRes,
         "server response client search video recordings req", T::SearchVideoRecordingsReq,
         [](I id) { search_video_recordings_res(R(id), kRecordings, true); },
         expect<proto::SearchVideoRecordingsRes>(
             0, "",
             [](const auto &m, I) {
                 QVERIFY(m.playback_by_time_enable());
                 QCOMPARE(wire::listFromWire<VideoRecInfo>(m.recordings()), kRecordings);
                 // The text form itself, and an invalid date-time as empty text.
                 QCOMPARE(F(m.recordings(0).begin_time(), m.recordings(1).begin_time()),
                          F("2024-01-02 03:04:05.006", ""));
             })},
        {"57 PTZ_ctrl_res", T::PTZCtrlRes, "server response client ptz ctrl req", T::PTZCtrlReq,
         [](I id) { PTZ_ctrl_res(R(id), PTZOperation::Right, PTZAction::Stop); },
         expect<proto::PTZCtrlRes>(0, "", [](const auto &m, I) { QCOMPARE(F(m.operation(), m.action()), F(3, 3)); })},
        {"59 get_presets_res", T::GetPresetsRes, "server response client get presets req", T::GetPresetsReq,
         [](I id) { get_presets_res(R(id, 5901, "PTZ ü"), kPresets); },
         expect<proto::GetPresetRes>(
             5901, "PTZ ü", [](const auto &m, I) { QCOMPARE(wire::listFromWire<PresetInfo>(m.presets()), kPresets); })},
        {"61 oper_preset_res", T::OperPresetRes, "server response client oper preset req", T::OperPresetReq,
         [](I id) { oper_preset_res(R(id), PresetOper::Call); },
         expect<proto::PresetOperRes>(0, "", [](const auto &m, I) { QCOMPARE(m.oper(), 2); })},
        {"63 get_patrols_res", T::GetPatrolsRes, "server response client get patrol req", T::GetPatrolsReq,
         [](I id) { get_patrols_res(R(id), kPatrols); },
         expect<proto::GetPatrolRes>(
             0, "", [](const auto &m, I) { QCOMPARE(wire::listFromWire<PatrolInfo>(m.patrols()), kPatrols); })},
        {"65 oper_patrol_res", T::OperPatrolRes, "server response client oper patrol req", T::OperPatrolReq,
         [](I id) { oper_patrol_res(R(id, 6501, "läuft"), PatrolOper::Stop); },
         expect<proto::PatrolOperRes>(6501, "läuft", [](const auto &m, I) { QCOMPARE(m.oper(), 3); })},
        {"67 oper_patrol_preset_res", T::OperPatrolPresetRes, "server response client oper patrol preset req",
         T::OperPatrolPresetReq, [](I id) { oper_patrol_preset_res(R(id), PatrolPresetOper::Modify); },
         expect<proto::PatrolPresetOperRes>(0, "", [](const auto &m, I) { QCOMPARE(m.oper(), 2); })},
        resultRow("69 set_patrol_presets_res", T::SetPatrolPresetsRes, "server response client set patrol presets req",
                  T::SetPatrolPresetsReq, &set_patrol_presets_res, 6901, "zu viele"),
        resultRow("72 dev_config_res to set osd", T::DevConfigRes, "server response device config req", T::SetOSDReq,
                  &dev_config_res, 0, ""),
        resultRow("74 add_face_res", T::AddFaceRes, "server response client add face req", T::AddFaceReq, &add_face_res,
                  7401, "Gesicht ü"),
        {"76 get_faces_res", T::GetFacesRes, "server response client get faces req", T::GetFacesReq,
         [](I id) {
             get_faces_res(R(id), {faceInfo(1), faceInfo(2)}, 4000000076u);
         },
         expect<proto::GetFacesRes>(
             0, "",
             [](const auto &m, I) {
                 QCOMPARE(m.total_cnt(), 4000000076u);
                 QCOMPARE(wire::listFromWire<FaceInfo>(m.faces()), (FaceInfoList{faceInfo(1), faceInfo(2)}));
             })},
        {"76 get_faces_res with a 3 MB image", T::GetFacesRes, "server response client get faces req", T::GetFacesReq,
         [](I id) {
             FaceInfo face = faceInfo(3);
             face.faceImage = bigImage();
             get_faces_res(R(id), {face}, 1);
         },
         push<proto::GetFacesRes>([](const auto &m, I) {
             QCOMPARE(F(m.faces_size(), m.total_cnt()), F(1, 1u));
             QVERIFY(b(m.faces(0).data_8()) == bigImage());
         })},
        resultRow("78 del_face_res", T::DelFaceRes, "server response client delete face req", T::DelFaceReq,
                  &del_face_res, 0, ""),
        {"80 get_face_detect_records_res", T::GetFaceDetectRecordsRes,
         "server response client get face detect records req", T::GetFaceDetectRecordsReq,
         [](I id) {
             get_face_detect_records_res(R(id, 8001, "teilweise"), {detectRecord(1, -2.5e-300), detectRecord(2, 1e300)},
                                         80);
         },
         expect<proto::GetFaceDetectRecordsRes>(8001, "teilweise",
                                                [](const auto &m, I) {
                                                    QCOMPARE(m.total_cnt(), 80u);
                                                    QCOMPARE(wire::listFromWire<FaceDetectRecordInfo>(m.records()),
                                                             (FaceDetectRecordList{detectRecord(1, -2.5e-300),
                                                                                   detectRecord(2, 1e300)}));
                                                })},
        {"83 check_dev_upgrade_res", T::CheckDevUpgradeRes, "server response client check device upgrade req",
         T::CheckDevUpgradeReq, [](I id) { check_dev_upgrade_res(R(id), upgradeInfo(83)); },
         expect<proto::DevUpgradeRes>(
             0, "", [](const auto &m, I) { QCOMPARE(readBack<DevUpgradeInfo>(m), upgradeInfo(83)); })},
        {"84 upload_upgrade_file_finished", T::UploadUpgradeFileFinished,
         "server push upload upgrade file finished message", kEveryone,
         [](I) { upload_upgrade_file_finished(q("升级-ü-84")); },
         [](P payload, I) { QCOMPARE(payload, b("升级-ü-84")); }},
        {"84 upload_upgrade_file_finished, null text", T::UploadUpgradeFileFinished,
         "server push upload upgrade file finished message", kEveryone,
         [](I) { upload_upgrade_file_finished(QString()); },
         [](P payload, I) { QVERIFY(!payload.isNull() && payload.isEmpty()); }},
        {"87 get_dev_upgrade_progress_res", T::GetDevUpgradeProgressRes,
         "server response client get device upgrade progress req", T::GetDevUpgradeProgressReq,
         [](I id) { get_dev_upgrade_progress_res(R(id, 8701, "Fortschritt ü"), upgradeInfo(87)); },
         expect<proto::DevUpgradeRes>(
             8701, "Fortschritt ü", [](const auto &m, I) { QCOMPARE(readBack<DevUpgradeInfo>(m), upgradeInfo(87)); })},
        resultRow("89 modify_dev_account_res", T::ModifyDevAccountRes,
                  "server response client modify device account req", T::ModifyDevAccountReq, &modify_dev_account_res,
                  0, ""),
        {"91 get_dev_secret_questions_res", T::GetDevSecretQuestionsRes,
         "server response client get device secret questions", kEveryone,
         [](I) {
             get_dev_secret_questions_res(q("SN-91"), -91, {q("Frage ü?"), QString(), q("q3")});
         },
         push<proto::DevSecretQuestionsGetRes>([](const auto &m, I) {
             QCOMPARE(F(m.dev_sn(), m.err_code()), F("SN-91", -91));
             QCOMPARE(wire::texts(m.questions()), (QStringList{q("Frage ü?"), QString(), q("q3")}));
         })},
        {"93 reset_dev_pwd_res", T::ResetDevPwdRes, "server response client reset device password", kEveryone,
         [](I) { reset_dev_pwd_res(q("SN-ü-93"), 93); }, push<proto::ResetDevPwdRes>([](const auto &m, I) {
             QCOMPARE(F(m.dev_sn(), m.err_code()), F("SN-ü-93", 93));
         })},
        resultRow("95 talk_oper_res", T::TalkOperRes, "server response talk oper req", T::TalkOperReq, &talk_oper_res,
                  9501, "besetzt"),
        resultRow("97 speak_oper_res", T::SpeakOperRes, "server response speak oper req", T::SpeakOperReq,
                  &speak_oper_res, 0, ""),
        {"98 push_talk_event_msg", T::PushTalkEventMsg, "server push talk event to client", kEveryone,
         [](I) { push_talk_event_msg(ChannelId(q("cam-ü-98"), 98), TalkEvent::DevBusy); },
         push<proto::TalkEventPush>([](const auto &m, I) {
             QCOMPARE(F(m.channel_id().dev_id(), m.channel_id().channel(), m.event()), F("cam-ü-98", 98u, 3));
         })},
        {"99 push_speak_event_msg", T::PushSpeakEventMsg, "server push speak event to client", kEveryone,
         [](I) { push_speak_event_msg(ChannelId(q("cam-99"), 99), TalkEvent::TalkError); },
         push<proto::TalkEventPush>([](const auto &m, I) {
             QCOMPARE(F(m.channel_id().dev_id(), m.channel_id().channel(), m.event()), F("cam-99", 99u, 2));
         })},
        {"101 common_res", T::CommonRes, "server response common req", T::CommonReq,
         [](I id) { common_res(q(id), q("{\"ü\":101}")); }, push<proto::CommonRes>([](const auto &m, I id) {
             QCOMPARE(F(m.request_id(), m.res_json()), F(id, "{\"ü\":101}"));
         })},
        // Matched by the progress record's id, logged with the face-detect-records text.
        {"113 progress of an upload", T::PushFileTransferProgress, "server response client get face detect records req",
         T::UploadFileReq,
         [](I id) {
             push_file_transfer_progress(FileTransferProgress{q(id), 11302, -11303});
         },
         push<proto::FileTransferProgress>(
             [](const auto &m, I id) { QCOMPARE(F(m.request_id(), m.param_2(), m.param_3()), F(id, 11302, -11303)); })},
    };
    return all;
}

} // namespace

class tst_Outbound : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { oru_test::startSdk(); }

    // First, while nobody is connected yet.
    void pushWithNoClientStillLogs();

    void everySlot_data();
    void everySlot();
    void reusedHostBuffersArriveAsPushed_data();
    void reusedHostBuffersArriveAsPushed();
    void answerToDepartedRequester();
    void pushesFromAnotherThreadArriveQueuedInOrder();
    void hostSlotsAnswerEndToEnd();

private:
    struct Received {
        QList<Frame> asked, others, toMain;
        int strays() const { return others.size() + toMain.size(); }
    };
    bool ensureClients();
    // Pushes a marker to everyone and takes what each client received before
    // it: a socket's frames arrive in order, so no stray is still on its way.
    Received collect();
    // Asks `type` (by default the presets, the one the routing tests ask).
    bool ask(const std::string &id, Connection *from = nullptr, MessageType type = MessageType::GetPresetsReq);

    // The main client stays for the whole run: its leaving would close the servers.
    std::unique_ptr<Connection> mainClient, asker, bystander;
};

bool tst_Outbound::ensureClients()
{
    if (mainClient)
        return true;
    mainClient = std::make_unique<Connection>();
    asker = std::make_unique<Connection>();
    bystander = std::make_unique<Connection>();
    if (oru_test::connectNamed(mainClient.get(), true).isEmpty() || !oru_test::connectControlLogged(asker.get())
        || !oru_test::connectControlLogged(bystander.get()))
        return false;
    return oru_test::controlBarrier(mainClient.get()); // the hello has been read
}

tst_Outbound::Received tst_Outbound::collect()
{
    // From a thread of its own, so that it queues behind what host threads sent before.
    std::thread([] { push_dev_p2p_success(QStringLiteral("marker")); }).join();
    const auto beforeMarker = [](Connection *c) {
        QList<Frame> frames;
        Frame frame;
        while (c->waitForFrame(&frame) && !(frame.type == MessageType::PushDevP2PSuccess && frame.payload == "marker"))
            frames << frame;
        return frames;
    };
    return Received{beforeMarker(asker.get()), beforeMarker(bystander.get()), beforeMarker(mainClient.get())};
}

// Every request carries its id first, so an id alone makes any of them; the
// barrier returns once the server has read it.
bool tst_Outbound::ask(const std::string &id, Connection *from, MessageType type)
{
    from = from ? from : asker.get();
    from->sendFrame(type, requestWithId<proto::ChannelReq>(id));
    return oru_test::controlBarrier(from);
}

void tst_Outbound::pushWithNoClientStillLogs()
{
    if (mainClient)
        QSKIP("clients are connected already");
    oru_test::LogCursor cursor;
    push_dev_status_msg(q("nobody"), DevStatus::Online);
    upload_upgrade_file_finished(q("nobody"));
    push_tlv_data(q("nobody"), QByteArray("x"));
    QCOMPARE(cursor.levelLines(),
             (QStringList{QStringLiteral("trace server push dev status to client"),
                          QStringLiteral("trace server push upload upgrade file finished message")}));
}

void tst_Outbound::everySlot_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<bool>("threaded");
    for (bool threaded : {false, true}) {
        for (int i = 0; i < rows().size(); ++i)
            QTest::addRow("%s%s", rows().at(i).tag, threaded ? " from a host thread" : "") << i << threaded;
    }
}

void tst_Outbound::everySlot()
{
    QFETCH(int, row);
    QFETCH(bool, threaded);
    const Row &s = rows().at(row);
    QVERIFY(ensureClients());
    const std::string id = std::string("rid-ü-") + QTest::currentDataTag();
    const bool answer = s.request != kEveryone;
    if (answer)
        QVERIFY(ask(id, asker.get(), s.request));
    collect();

    oru_test::LogCursor cursor;
    const auto calls = [&] {
        for (int i = 0; i < s.calls; ++i)
            s.call(id);
        if (answer) {
            // One request, one answer: the second is dropped, as is one for an id never seen.
            s.call(id);
            s.call(id + "-unknown");
        }
    };
    if (threaded) {
        std::thread host(calls);
        host.join();
        // Queued: nothing has run yet on the library's thread.
        QCOMPARE(cursor.lines(), QStringList());
    } else {
        calls();
    }
    // On the library's own thread the slots have run before the calls returned.
    const QStringList direct = cursor.levelLines();
    const Received got = collect();
    QCOMPARE(got.asked.size(), s.calls);
    QCOMPARE(got.strays(), answer ? 0 : 2 * s.calls);
    for (int i = 0; i < s.calls; ++i) {
        QCOMPARE(int(got.asked[i].type), int(s.type));
        if (!answer) {
            QCOMPARE(F(got.others[i].type, got.others[i].payload, got.toMain[i].type, got.toMain[i].payload),
                     F(s.type, got.asked[i].payload, s.type, got.asked[i].payload));
        }
        s.check(got.asked[i].payload, id);
        if (QTest::currentTestFailed())
            return;
    }
    QStringList expectedLines;
    for (int i = 0; s.log && i < s.calls; ++i)
        expectedLines << QStringLiteral("trace ") + QLatin1String(s.log);
    if (!threaded)
        QCOMPARE(direct, expectedLines);
    QCOMPARE(cursor.levelLines(), expectedLines << QStringLiteral("trace server push dev p2p success to client"));
}

void tst_Outbound::reusedHostBuffersArriveAsPushed_data() { oru_test::addBoolRows("tlv", "alarm bytes", "tlv data"); }

// A push from another thread waits in a queued call while the host already
// reuses the buffer it wrapped: the frame still carries what was pushed.
void tst_Outbound::reusedHostBuffersArriveAsPushed()
{
    QFETCH(bool, tlv);
    QVERIFY(ensureClients());
    char buffer[64];
    std::fill(std::begin(buffer), std::end(buffer), 'a');
    std::thread host([&] {
        const QByteArray bytes = QByteArray::fromRawData(buffer, sizeof buffer);
        if (tlv) {
            push_tlv_data(q("cam1"), bytes);
        } else {
            AlarmInfo alarm;
            alarm.data6 = {bytes};
            alarm.data10 = bytes;
            push_alarm_msg(alarm);
        }
        std::fill(std::begin(buffer), std::end(buffer), 'z');
    });
    host.join();
    const Received got = collect();
    const std::string pushed(sizeof buffer, 'a');
    if (tlv) {
        proto::TlvInfo m;
        QVERIFY(parse(&m, got.others.first().payload));
        QCOMPARE(m.tlv_data(), pushed);
    } else {
        proto::AlarmInfo m;
        QVERIFY(parse(&m, got.others.first().payload));
        QCOMPARE(F(m.data_10(), m.data_6_size() ? m.data_6(0) : std::string()), F(pushed, pushed));
    }
}

void tst_Outbound::answerToDepartedRequester()
{
    QVERIFY(ensureClients());
    Connection leaver, newcomer;
    const QString name = oru_test::connectNamed(&leaver);
    QVERIFY(!name.isEmpty());
    QVERIFY(ask("gone", &leaver));
    oru_test::LogCursor left;
    leaver.disconnectFromServer();
    QTRY_VERIFY(left.lines().contains(QStringLiteral("socket disconnect from server: ") + name));

    // A newcomer usually gets the leaver's descriptor, hence its name: the
    // answer must still not reach it.
    QVERIFY(oru_test::connectControlLogged(&newcomer));

    // Dropped, yet the entry goes and the line is written; a repeat then finds nothing.
    oru_test::LogCursor cursor;
    get_presets_res(R("gone"), {PresetInfo{1, q("one")}});
    get_presets_res(R("gone"), {PresetInfo{2, q("two")}});
    QCOMPARE(cursor.levelLines(), QStringList{QStringLiteral("trace server response client get presets req")});
    Received got = collect();
    QCOMPARE(got.asked.size() + got.strays(), 0);
    Frame first; // the newcomer's first frame is the marker
    QVERIFY(newcomer.waitForFrame(&first) && first.payload == "marker");

    // The same id asked again by another connection gets the next answer.
    QVERIFY(ask("gone"));
    get_presets_res(R("gone"), {PresetInfo{3, q("three")}});
    got = collect();
    QCOMPARE(F(got.asked.size(), got.strays()), F(1, 0));
    proto::GetPresetRes m;
    QVERIFY(parse(&m, got.asked[0].payload));
    QCOMPARE(F(m.request_id(), m.presets_size(), m.presets(0).param_1()), F("gone", 1, 3u));
}

void tst_Outbound::pushesFromAnotherThreadArriveQueuedInOrder()
{
    QVERIFY(ensureClients());
    constexpr int count = 200;
    oru_test::LogCursor cursor;
    std::thread host([] {
        for (int i = 1; i <= count; ++i)
            push_face_temperature_count_msg(ChannelId(q("thread"), 1), FaceCountInfo{unsigned(i), 0, 0});
    });
    host.join();
    // Queued: nothing is sent or logged until the library's thread runs its loop.
    QCOMPARE(cursor.lines(), QStringList());
    QTRY_COMPARE_WITH_TIMEOUT(bystander->pendingFrames(), count, 10000);
    const Received got = collect();
    QCOMPARE(F(got.others.size(), got.asked.size(), got.toMain.size()), F(count, count, count));
    for (int i = 0; i < count; ++i) {
        proto::FaceCountInfo m;
        QVERIFY(parse(&m, got.others[i].payload));
        QCOMPARE(F(got.others[i].type, m.param_2()), F(MessageType::PushFaceTemperatureCountMsg, unsigned(i + 1)));
    }
    QCOMPARE(cursor.lines().count(QStringLiteral("server push face temperature count to client")), count);
}

void tst_Outbound::hostSlotsAnswerEndToEnd()
{
    QVERIFY(ensureClients());
    QObject host; // the connection ends with it
    connect(&DgwSignals::instance(), &DgwSignals::signalCommonReq, &host,
            [](const ChannelId &channel, const QString &requestId, const QString &json) {
                common_res(requestId, json + QLatin1Char('@') + channel.first);
            });
    proto::CommonReq request;
    request.set_request_id("e2e-common");
    request.mutable_channel_id()->set_dev_id("dev-ä");
    request.set_req_json("{\"a\":1}");
    mainClient->sendFrame(MessageType::CommonReq, b(request.SerializeAsString()));
    Frame frame;
    proto::CommonRes common;
    QVERIFY(mainClient->waitForFrame(&frame) && frame.type == MessageType::CommonRes && parse(&common, frame.payload));
    QCOMPARE(F(common.request_id(), common.res_json()), F("e2e-common", "{\"a\":1}@dev-ä"));
    const Received got = collect();
    QCOMPARE(got.asked.size() + got.strays(), 0);
}

QTEST_GUILESS_MAIN(tst_Outbound)
#include "tst_outbound.moc"
