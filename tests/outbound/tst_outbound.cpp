#include "sdk_fixture.h"

#include "oru_message.pb.h"

#include <oru_sdk/dgw_signals.h>

#include <QMetaMethod>
#include <QRegularExpression>
#include <QSet>
#include <QtTest>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <thread>

using namespace oru_sdk;
namespace proto = oru_sdk_proto;
using oru_client::Connection;
using oru_client::Frame;

namespace {

// Expected texts are written here as UTF-8 bytes, independent of the library's conversions.
QString q(const std::string &utf8) { return QString::fromStdString(utf8); }
QByteArray b(const std::string &s) { return QByteArray::fromStdString(s); }
std::string n(long long v) { return std::to_string(v); }
QDateTime at(int y, int mo, int d, int h, int mi, int s, int ms) { return QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms)); }
Response R(const std::string &id, int code = 0, const std::string &text = std::string())
{
    return Response{q(id), code, q(text)};
}

// Every request message carries its id in field 1; only the id matters here.
template <class M>
QByteArray requestWithId(const std::string &id)
{
    M m;
    m.set_request_id(id);
    return b(m.SerializeAsString());
}

// Spies on a DgwSignals signal given by name.
std::unique_ptr<QSignalSpy> spyOn(const char *name)
{
    const QMetaObject &meta = DgwSignals::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() == QMetaMethod::Signal && method.name() == name)
            return std::make_unique<QSignalSpy>(&DgwSignals::instance(), ("2" + method.methodSignature()).constData());
    }
    return nullptr;
}

bool connectAccepted(Connection *connection, bool hello, QString *name = nullptr)
{
    oru_test::LogCursor cursor;
    if (!oru_test::connectControl(connection, hello))
        return false;
    QString accepted;
    const bool seen = QTest::qWaitFor([&] {
        for (const QString &line : cursor.lines()) {
            if (line.startsWith(QLatin1String("new connection to message server: ")))
                accepted = line.section(QLatin1Char(' '), -1);
        }
        return !accepted.isEmpty();
    });
    if (name)
        *name = accepted;
    return seen;
}

#define PARSED(Type, var)                                                                                            \
    Type var;                                                                                                        \
    QVERIFY2(var.ParseFromString(payload.toStdString()), #Type)

// request_id, and an error that is there even on success (then the two bytes 0A 00 lead the payload).
#define CHECK_ENVELOPE(m, code, text)                                                                                \
    do {                                                                                                             \
        QVERIFY((m).has_error());                                                                                    \
        QCOMPARE(b((m).request_id()), b(id));                                                                        \
        QCOMPARE((m).error().err_code(), (code));                                                                    \
        QCOMPARE(b((m).error().err_msg()), b(text));                                                                 \
        if ((code) == 0)                                                                                             \
            QVERIFY(payload.startsWith(QByteArray("\x0a\x00", 2)));                                                  \
    } while (false)

// ---- Records with a distinct value in every member, and their expected wire form ----

DevInfo devInfo(int k)
{
    DevInfo d;
    const QString s = QString::number(k);
    d.id = q("dev-ü-") + s;
    d.name = q("Kamera Süd ") + s;
    d.sn = q("SN") + s;
    d.param4 = 4000000000u + unsigned(k);
    d.ip = q("10.1.0.") + s;
    d.port = 8000u + unsigned(k);
    d.user = q("user") + s;
    d.password = q("pässwort") + s;
    d.version = q("V") + s;
    d.seriesName = q("series") + s;
    d.param11 = -11 - k;
    d.param12 = 12 + k;
    d.param13 = 3000000000u + unsigned(k);
    d.param14 = -14 * k;
    d.param15 = true;
    d.param16 = 16 + k;
    d.param17 = -17 - k;
    d.param18 = 18 * k;
    return d;
}

void checkDevInfo(const proto::DevInfo &m, int k)
{
    const std::string s = n(k);
    QCOMPARE(b(m.id()), b("dev-ü-" + s));
    QCOMPARE(b(m.name()), b("Kamera Süd " + s));
    QCOMPARE(b(m.sn()), b("SN" + s));
    QCOMPARE(m.param_4(), 4000000000u + unsigned(k));
    QCOMPARE(b(m.ip()), b("10.1.0." + s));
    QCOMPARE(m.param_6(), 8000u + unsigned(k));
    QCOMPARE(b(m.user()), b("user" + s));
    QCOMPARE(b(m.password()), b("pässwort" + s));
    QCOMPARE(b(m.version()), b("V" + s));
    QCOMPARE(b(m.series_name()), b("series" + s));
    QCOMPARE(m.param_11(), -11 - k);
    QCOMPARE(m.param_12(), 12 + k);
    QCOMPARE(m.param_13(), 3000000000u + unsigned(k));
    QCOMPARE(m.param_14(), -14 * k);
    QCOMPARE(m.param_15(), true);
    QCOMPARE(m.param_16(), 16 + k);
    QCOMPARE(m.param_17(), -17 - k);
    QCOMPARE(m.param_18(), 18 * k);
}

QMap<int, AiAbilityInfo> abilities(int k)
{
    return {{k, AiAbilityInfo{q("pkg.ü.") + QString::number(k), -k, q("face"), 40 + k, true}},
            {-1, AiAbilityInfo{q("pkg.minus"), 2, q("count"), 0, false}}};
}

void checkAbilities(const google::protobuf::Map<int32_t, proto::AiAbilityInfo> &m, int k)
{
    QCOMPARE(int(m.size()), 2);
    QVERIFY(m.count(k) && m.count(-1));
    const proto::AiAbilityInfo &a = m.at(k);
    QCOMPARE(b(a.package()), b("pkg.ü." + n(k)));
    QCOMPARE(a.param_2(), -k);
    QCOMPARE(b(a.name()), b("face"));
    QCOMPARE(a.param_4(), 40 + k);
    QCOMPARE(a.param_5(), true);
    QCOMPARE(b(m.at(-1).package()), b("pkg.minus"));
    QCOMPARE(m.at(-1).param_2(), 2);
    QCOMPARE(b(m.at(-1).name()), b("count"));
    QCOMPARE(m.at(-1).param_5(), false);
}

DevChannelInfo channelInfo(int k)
{
    const QString s = QString::number(k);
    return DevChannelInfo{q("nvr-ü-") + s, k, q("OSD Tür ") + s, 3000000000u + unsigned(k), -4 - k,
                          q("chsn") + s, q("10.2.0.") + s, 9000u + unsigned(k), q("chuser") + s, q("chpw") + s,
                          -10 - k, 11 + k, abilities(k)};
}

void checkChannelInfo(const proto::DevChannInfo &m, int k)
{
    const std::string s = n(k);
    QCOMPARE(b(m.channel_id().dev_id()), b("nvr-ü-" + s));
    QCOMPARE(m.channel_id().channel(), unsigned(k));
    QCOMPARE(b(m.osd()), b("OSD Tür " + s));
    QCOMPARE(m.param_3(), 3000000000u + unsigned(k));
    QCOMPARE(m.param_4(), -4 - k);
    QCOMPARE(b(m.sn()), b("chsn" + s));
    QCOMPARE(b(m.ip()), b("10.2.0." + s));
    QCOMPARE(m.param_7(), 9000u + unsigned(k));
    QCOMPARE(b(m.user()), b("chuser" + s));
    QCOMPARE(b(m.password()), b("chpw" + s));
    QCOMPARE(m.param_10(), -10 - k);
    QCOMPARE(m.param_11(), 11 + k);
    checkAbilities(m.ability_details(), k);
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
    const QString s = QString::number(k);
    FaceInfo f{-k, q("face-") + s, q("Jürgen ") + s, q("white"), q("http://faces/ü/") + s, 600 + k, -700 - k,
               kImage + char(k), at(2024, 1, 2, 3, 4, 5, k), at(2025, 12, 31, 23, 59, 58, 999),
               {q("Büro"), QString(), q("org") + s}};
    return f;
}

void checkFaceInfo(const proto::FaceInfo &m, int k)
{
    const std::string s = n(k);
    QCOMPARE(m.param_1(), -k);
    QCOMPARE(b(m.serial_num()), b("face-" + s));
    QCOMPARE(b(m.name()), b("Jürgen " + s));
    QCOMPARE(b(m.face_type()), b("white"));
    QCOMPARE(b(m.face_url()), b("http://faces/ü/" + s));
    QCOMPARE(m.param_6(), 600 + k);
    QCOMPARE(m.param_7(), -700 - k);
    QCOMPARE(b(m.data_8()), kImage + char(k));
    QCOMPARE(b(m.valid_time()), b("2024-01-02 03:04:05.00" + s));
    QCOMPARE(b(m.invalid_time()), b("2025-12-31 23:59:58.999"));
    QCOMPARE(m.organizations_size(), 3);
    QCOMPARE(b(m.organizations(0)), b("Büro"));
    QCOMPARE(b(m.organizations(1)), QByteArray());
    QCOMPARE(b(m.organizations(2)), b("org" + s));
}

FaceDetectRecordInfo detectRecord(int k, double param9)
{
    const QString s = QString::number(k);
    return FaceDetectRecordInfo{q("det-") + s, q("Zoë ") + s, q("Firma ") + s, q("Abteilung ") + s, q("Chef ") + s,
                                at(2023, 4, 5, 6, 7, 8, 90 + k), 4000000000u + unsigned(k), -8 - k, param9,
                                10 + k, -11 - k, QByteArray("\0\x01\x02", 3) + char(k), QByteArray("\xff\0\xfe", 3)};
}

void checkDetectRecord(const proto::FaceDetectRecordInfo &m, int k, double param9)
{
    const std::string s = n(k);
    QCOMPARE(b(m.serial_num()), b("det-" + s));
    QCOMPARE(b(m.name()), b("Zoë " + s));
    QCOMPARE(b(m.company()), b("Firma " + s));
    QCOMPARE(b(m.department()), b("Abteilung " + s));
    QCOMPARE(b(m.position()), b("Chef " + s));
    QCOMPARE(b(m.detect_time()), b("2023-04-05 06:07:08.0" + n(90 + k)));
    QCOMPARE(m.param_7(), 4000000000u + unsigned(k));
    QCOMPARE(m.param_8(), -8 - k);
    QCOMPARE(m.param_9(), param9);
    QCOMPARE(m.param_10(), 10 + k);
    QCOMPARE(m.param_11(), -11 - k);
    QCOMPARE(b(m.data_12()), QByteArray("\0\x01\x02", 3) + char(k));
    QCOMPARE(b(m.data_13()), QByteArray("\xff\0\xfe", 3));
}

DevUpgradeInfo upgradeInfo(int k)
{
    return DevUpgradeInfo{k * 100 + 3, q("V-ü-") + QString::number(k), true, q("phase") + QString::number(k), -k * 100 - 7};
}

void checkUpgrade(const proto::DevUpgradeRes &m, int k)
{
    QCOMPARE(m.param_3(), k * 100 + 3);
    QCOMPARE(b(m.new_version_name()), b("V-ü-" + n(k)));
    QCOMPARE(m.param_5(), true);
    QCOMPARE(b(m.phase()), b("phase" + n(k)));
    QCOMPARE(m.param_7(), -k * 100 - 7);
}

AlarmInfo alarm(const QString &alarmId)
{
    return AlarmInfo{alarmId, ChannelId(q("cam-ä"), 5), ChannelId(q("cam-second"), 6), q("Auslöser"),
                     at(2023, 7, 8, 9, 10, 11, 12), {QByteArray("\x01\0\x02", 3), QByteArray(), QByteArray("\xff\xfe")},
                     q("motion"), -50, q("Bewegung ü"), QByteArray("\0\0\x10", 3)};
}

void checkAlarmBody(const proto::AlarmInfo &m)
{
    QCOMPARE(b(m.channel_id().dev_id()), b("cam-ä"));
    QCOMPARE(m.channel_id().channel(), 5u);
    QCOMPARE(b(m.second_channel_id().dev_id()), b("cam-second"));
    QCOMPARE(m.second_channel_id().channel(), 6u);
    QCOMPARE(b(m.trigger_name()), b("Auslöser"));
    QCOMPARE(b(m.alarm_time()), b("2023-07-08 09:10:11.012"));
    QCOMPARE(m.data_6_size(), 3);
    QCOMPARE(b(m.data_6(0)), QByteArray("\x01\0\x02", 3));
    QCOMPARE(b(m.data_6(1)), QByteArray());
    QCOMPARE(b(m.data_6(2)), QByteArray("\xff\xfe"));
    QCOMPARE(b(m.alarm_type()), b("motion"));
    QCOMPARE(m.param_8(), -50);
    QCOMPARE(b(m.alarm_name()), b("Bewegung ü"));
    QCOMPARE(b(m.data_10()), QByteArray("\0\0\x10", 3));
}

// ---- One row per outbound slot ----

using Call = std::function<void(const std::string &id)>;
using Check = std::function<void(const QByteArray &payload, const std::string &id)>;

struct Row
{
    const char *tag;
    MessageType type;
    const char *log;       // trace text; null when the slot logs nothing
    MessageType request;   // the request answered; 0 for frames sent to everyone
    QByteArray (*requestPayload)(const std::string &id);
    const char *requestSignal;
    Call call;
    Check check;
    int calls = 1;         // sends to everyone may be repeated
};

constexpr MessageType kEveryone = MessageType(0);

// Answers that carry nothing but the result.
template <class Req>
Row resultRow(const char *tag, MessageType type, const char *log, MessageType request, const char *signal,
              void (*function)(const Response &), int code, const char *text)
{
    return Row{tag, type, log, request, &requestWithId<Req>, signal,
               [=](const std::string &id) { function(R(id, code, text)); },
               [=](const QByteArray &payload, const std::string &id) {
                   PARSED(proto::Response, m);
                   CHECK_ENVELOPE(m, code, std::string(text));
               }};
}

const QVector<Row> &rows()
{
    using T = MessageType;
    static QSet<QString> uuids;
    static const QVector<Row> all{
        resultRow<proto::InitDgwReq>("2 init_dgw_res", T::InitDgwRes, "init dgw res", T::InitDgwReq, "signalInitDgwReq", &init_dgw_res, 0, ""),
        {"18 activate_dev_res", T::ActivateDevRes, "server response activate device", kEveryone, nullptr, nullptr,
         [](const std::string &) { activate_dev_res(q("SN-ä-18"), -1801); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::ActivateDevRes, m);
             QCOMPARE(b(m.dev_sn()), b("SN-ä-18"));
             QCOMPARE(m.err_code(), -1801);
         }},
        {"21 get_dev_net_res", T::GetDevNetRes, "server response client get device net req", T::GetDevNetReq, &requestWithId<proto::DevNetGetReq>, "signalGetDevNetReq",
         [](const std::string &id) {
             get_dev_net_res(R(id, 2101, "Netz kaputt ü"), DevNetInfo{q("10.0.21.1"), q("255.255.240.0"), q("10.0.0.254"), q("8.8.4.4"), true, 6, -7, 8});
         },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::DevNetGetRes, m);
             CHECK_ENVELOPE(m, 2101, std::string("Netz kaputt ü"));
             const proto::DevNetInfo &i = m.dev_net_info();
             QCOMPARE(b(i.ip()), b("10.0.21.1"));
             QCOMPARE(b(i.sub_net_mask()), b("255.255.240.0"));
             QCOMPARE(b(i.default_gateway()), b("10.0.0.254"));
             QCOMPARE(b(i.dns()), b("8.8.4.4"));
             QCOMPARE(i.param_5(), true);
             QCOMPARE(i.param_6(), 6);
             QCOMPARE(i.param_7(), -7);
             QCOMPARE(i.param_8(), 8);
         }},
        {"24 get_dev_platform_res", T::GetDevPlatformRes, "server response client get device platform req", T::GetDevPlatformReq, &requestWithId<proto::DevPlatformGetReq>, "signalGetDevPlatformReq",
         [](const std::string &id) { get_dev_platform_res(R(id), DevPlatformInfo{true, q("plattform.ü:24"), false, 2404, -2405}); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::DevPlatformGetRes, m);
             CHECK_ENVELOPE(m, 0, std::string());
             QVERIFY(m.has_dev_platform_info());
             const proto::DevPlatformInfo &i = m.dev_platform_info();
             QCOMPARE(i.param_1(), true);
             QCOMPARE(b(i.platform_addr()), b("plattform.ü:24"));
             QCOMPARE(i.param_3(), false);
             QCOMPARE(i.param_4(), 2404);
             QCOMPARE(i.param_5(), -2405);
         }},
        resultRow<proto::DevPlatformSetReq>("26 set_dev_platform_res", T::SetDevPlatformRes, "server response client set device platform req", T::SetDevPlatformReq, "signalSetDevPlatformReq", &set_dev_platform_res, 2601, "abgelehnt ü"),
        {"28 get_dev_platform_tav_res", T::GetDevPlatformTavRes, "server response client get device platform_tav req", T::GetDevPlatformTavReq, &requestWithId<proto::DeviceReq>, "signalGetDevPlatform_tavReq",
         [](const std::string &id) { get_dev_platform_tav_res(R(id, -28, "tav"), DevPlatform_tavInfo{false, true, q("online-ü:28"), true, q("business:28")}); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::DevPlatform_tavGetRes, m);
             CHECK_ENVELOPE(m, -28, std::string("tav"));
             const proto::DevPlatformInfo_tav &i = m.dev_platform_info();
             QCOMPARE(i.param_1(), false);
             QCOMPARE(i.param_2(), true);
             QCOMPARE(b(i.online_server()), b("online-ü:28"));
             QCOMPARE(i.param_4(), true);
             QCOMPARE(b(i.bussiness_server()), b("business:28"));
         }},
        resultRow<proto::DevPlatform_tavSetReq>("30 set_dev_platform_tav_res", T::SetDevPlatformTavRes, "server response client set device platform_tav req", T::SetDevPlatformTavReq, "signalSetDevPlatform_tavReq", &set_dev_platform_tav_res, 0, ""),
        resultRow<proto::DevCertImportReq>("32 import_dev_cert_res", T::ImportDevCertRes, "server response client import device cert req", T::ImportDevCertReq, "signalImportDevCertReq", &import_dev_cert_res, 3201, "Zertifikat ungültig"),
        {"33 set_dev_net_res", T::SetDevNetRes, "server response client set device net req", T::SetDevNetReq, &requestWithId<proto::DevNetSetReq>, "signalSetDevNetReq",
         [](const std::string &id) { set_dev_net_res(R(id), q("dev-ü-33"), q("192.168.33.3")); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::DevNetSetRes, m);
             CHECK_ENVELOPE(m, 0, std::string());
             QCOMPARE(b(m.dev_id()), b("dev-ü-33"));
             QCOMPARE(b(m.dev_ip()), b("192.168.33.3"));
         }},
        {"38 push_searched_devs_msg", T::PushSearchedDevsMsg, "server push searched devs to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_searched_devs_msg({devInfo(1), devInfo(2)}); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::SearchedDevsPush, m);
             QCOMPARE(m.devs_size(), 2);
             checkDevInfo(m.devs(0), 1);
             checkDevInfo(m.devs(1), 2);
         }},
        {"39 push_broadcast_searched_devs_msg", T::PushBroadcastSearchedDevsMsg, "server push broadcast searched devs to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_broadcast_searched_devs_msg({devInfo(39)}); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::SearchedDevsPush, m);
             QCOMPARE(m.devs_size(), 1);
             checkDevInfo(m.devs(0), 39);
         }},
        {"40 push_dev_status_msg", T::PushDevStatusMsg, "server push dev status to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_dev_status_msg(q("dev-ü-40"), DevStatus::NotActivated); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::DevStatusPush, m);
             QCOMPARE(b(m.dev_id()), b("dev-ü-40"));
             QCOMPARE(m.status(), 3);
         }},
        {"41 push_dev_p2p_success", T::PushDevP2PSuccess, "server push dev p2p success to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_dev_p2p_success(q("设备-41-ü")); },
         [](const QByteArray &payload, const std::string &) { QCOMPARE(payload, b("设备-41-ü")); }},
        {"42 push_dev_info_msg", T::PushDevInfo, "server push dev info to client", kEveryone, nullptr, nullptr,
         [](const std::string &) {
             push_dev_info_msg(DevInfoFromDgw{q("dgw-ü-42"), q("SN42"), q("10.4.2.1"), 4000000042u, 3000000042u, -6,
                                              q("V4.2"), q("serie-ö"), 2900000009u, -10, q("code-42"), 12, abilities(42)});
         },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::DevInfoFromDgw, m);
             QCOMPARE(b(m.id()), b("dgw-ü-42"));
             QCOMPARE(b(m.sn()), b("SN42"));
             QCOMPARE(b(m.ip()), b("10.4.2.1"));
             QCOMPARE(m.param_4(), 4000000042u);
             QCOMPARE(m.param_5(), 3000000042u);
             QCOMPARE(m.param_6(), -6);
             QCOMPARE(b(m.version()), b("V4.2"));
             QCOMPARE(b(m.series_name()), b("serie-ö"));
             QCOMPARE(m.param_9(), 2900000009u);
             QCOMPARE(m.param_10(), -10);
             QCOMPARE(b(m.dev_code()), b("code-42"));
             QCOMPARE(m.param_12(), 12);
             checkAbilities(m.ability_details(), 42);
         }},
        {"44 push_dev_temp_user_code_msg", T::PushDevTempUserCodeMsg, "server push dev temp user code to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_dev_temp_user_code_msg({DevTempUserCode{q("SN-44a"), q("code-ä")}, DevTempUserCode{q("SN-44b"), q("4444")}}); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::DevTempUserCodePush, m);
             QCOMPARE(m.code_list_size(), 2);
             QCOMPARE(b(m.code_list(0).sn()), b("SN-44a"));
             QCOMPARE(b(m.code_list(0).code()), b("code-ä"));
             QCOMPARE(b(m.code_list(1).sn()), b("SN-44b"));
             QCOMPARE(b(m.code_list(1).code()), b("4444"));
         }},
        {"45 push_dev_channels_info_msg", T::PushDevChannelsInfoMsg, "server push dev channels info to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_dev_channels_info_msg(q("nvr-ü-45"), {channelInfo(1), channelInfo(2)}); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::DevChannelsInfoPush, m);
             QCOMPARE(b(m.dev_id()), b("nvr-ü-45"));
             QCOMPARE(m.channels_info_size(), 2);
             checkChannelInfo(m.channels_info(0), 1);
             checkChannelInfo(m.channels_info(1), 2);
         }},
        {"48 push_face_detect_msg", T::PushFaceDetectMsg, "server push face detect to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_face_detect_msg(ChannelId(q("cam-ü-48"), 4), detectRecord(4, 36.625)); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::FaceDetectLiveInfo, m);
             QCOMPARE(b(m.channel_id().dev_id()), b("cam-ü-48"));
             QCOMPARE(m.channel_id().channel(), 4u);
             checkDetectRecord(m.record(), 4, 36.625);
         }},
        {"48 push_face_detect_msg with -0.0", T::PushFaceDetectMsg, "server push face detect to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_face_detect_msg(ChannelId(q("cam-48"), 0), detectRecord(5, -0.0)); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::FaceDetectLiveInfo, m);
             // A written -0.0 would read back with its sign.
             QVERIFY(!std::signbit(m.record().param_9()));
             checkDetectRecord(m.record(), 5, 0.0);
         }},
        {"49 push_face_temperature_count_msg", T::PushFaceTemperatureCountMsg, "server push face temperature count to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_face_temperature_count_msg(ChannelId(q("cam-ü-49"), 9), FaceCountInfo{4000000049u, 49, 0x80000000u}); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::FaceCountInfo, m);
             QCOMPARE(b(m.channel_id().dev_id()), b("cam-ü-49"));
             QCOMPARE(m.channel_id().channel(), 9u);
             QCOMPARE(m.param_2(), 4000000049u);
             QCOMPARE(m.param_3(), 49u);
             QCOMPARE(m.param_4(), 0x80000000u);
         }},
        {"50 push_alarm_msg keeps its id", T::PushAlarmMsg, "server push alarm to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_alarm_msg(alarm(q("alarm-ü-50"))); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::AlarmInfo, m);
             QCOMPARE(b(m.alarm_id()), b("alarm-ü-50"));
             checkAlarmBody(m);
         }},
        {"50 push_alarm_msg without id", T::PushAlarmMsg, "server push alarm to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_alarm_msg(alarm(QString())); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::AlarmInfo, m);
             const QString id = q(m.alarm_id());
             QVERIFY2(QRegularExpression(QStringLiteral("^\\{[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\\}$")).match(id).hasMatch(), qPrintable(id));
             // Each push gets a fresh one.
             QVERIFY(!uuids.contains(id));
             uuids.insert(id);
             checkAlarmBody(m);
         },
         2},
        {"51 push_tlv_data", T::PushTlvData, nullptr, kEveryone, nullptr, nullptr,
         [](const std::string &) { push_tlv_data(q("tlv-ü-51"), QByteArray("\0\x01\xff\0T", 5)); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::TlvInfo, m);
             QCOMPARE(b(m.dev_id()), b("tlv-ü-51"));
             QCOMPARE(b(m.tlv_data()), QByteArray("\0\x01\xff\0T", 5));
         }},
        {"54 get_rtsp_url_res", T::GetRtspUrlRes, "server response client get rtsp url req", T::GetRtspUrlReq, &requestWithId<proto::GetRtspUrlReq>, "signalGetRtspUrlReq",
         [](const std::string &id) { get_rtsp_url_res(R(id, 5401, "kein Strom"), q("rtsp://10.0.0.54:554/ü?x=1")); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::GetRtspUrlRes, m);
             CHECK_ENVELOPE(m, 5401, std::string("kein Strom"));
             QCOMPARE(b(m.rtsp_url()), b("rtsp://10.0.0.54:554/ü?x=1"));
         }},
        {"55 search_video_recordings_res", T::SearchVideoRecordingsRes, "server response client search video recordings req", T::SearchVideoRecordingsReq, &requestWithId<proto::SearchVideoRecordingsReq>, "signalSearchVideoRecsReq",
         [](const std::string &id) {
             search_video_recordings_res(R(id), {VideoRecInfo{at(2024, 1, 2, 3, 4, 5, 6), at(2024, 12, 31, 23, 59, 58, 999), q("aufnahme-ü.mp4"), 55, -56},
                                                 VideoRecInfo{QDateTime(), at(2000, 2, 29, 0, 0, 0, 0), q("b.mp4"), -1, 1}},
                                         true);
         },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::SearchVideoRecordingsRes, m);
             CHECK_ENVELOPE(m, 0, std::string());
             QCOMPARE(m.playback_by_time_enable(), true);
             QCOMPARE(m.recordings_size(), 2);
             const proto::VideoRecInfo &r = m.recordings(0);
             QCOMPARE(b(r.begin_time()), b("2024-01-02 03:04:05.006"));
             QCOMPARE(b(r.end_time()), b("2024-12-31 23:59:58.999"));
             QCOMPARE(b(r.file_name()), b("aufnahme-ü.mp4"));
             QCOMPARE(r.param_4(), 55);
             QCOMPARE(r.param_5(), -56);
             // An invalid date-time travels as empty text.
             QCOMPARE(b(m.recordings(1).begin_time()), QByteArray());
             QCOMPARE(b(m.recordings(1).end_time()), b("2000-02-29 00:00:00.000"));
             QCOMPARE(m.recordings(1).param_4(), -1);
         }},
        {"55 search_video_recordings_res, nothing found", T::SearchVideoRecordingsRes, "server response client search video recordings req", T::SearchVideoRecordingsReq, &requestWithId<proto::SearchVideoRecordingsReq>, "signalSearchVideoRecsReq",
         [](const std::string &id) { search_video_recordings_res(R(id), {}, false); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::SearchVideoRecordingsRes, m);
             CHECK_ENVELOPE(m, 0, std::string());
             // Only error and request_id.
             QCOMPARE(payload, QByteArray("\x0a\x00\x12", 3) + char(id.size()) + b(id));
         }},
        {"57 PTZ_ctrl_res", T::PTZCtrlRes, "server response client ptz ctrl req", T::PTZCtrlReq, &requestWithId<proto::PTZCtrlReq>, "signalPTZCtrlReq",
         [](const std::string &id) { PTZ_ctrl_res(R(id), PTZOperation::Right, PTZAction::Stop); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::PTZCtrlRes, m);
             CHECK_ENVELOPE(m, 0, std::string());
             QCOMPARE(m.operation(), 3);
             QCOMPARE(m.action(), 3);
         }},
        {"59 get_presets_res", T::GetPresetsRes, "server response client get presets req", T::GetPresetsReq, &requestWithId<proto::ChannelReq>, "signalGetPresetsReq",
         [](const std::string &id) { get_presets_res(R(id, 5901, "PTZ ü"), {PresetInfo{59, q("Tor ü")}, PresetInfo{7, q("Hof")}}); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::GetPresetRes, m);
             CHECK_ENVELOPE(m, 5901, std::string("PTZ ü"));
             QCOMPARE(m.presets_size(), 2);
             QCOMPARE(m.presets(0).param_1(), 59u);
             QCOMPARE(b(m.presets(0).preset_name()), b("Tor ü"));
             QCOMPARE(m.presets(1).param_1(), 7u);
             QCOMPARE(b(m.presets(1).preset_name()), b("Hof"));
         }},
        {"61 oper_preset_res", T::OperPresetRes, "server response client oper preset req", T::OperPresetReq, &requestWithId<proto::PresetOperReq>, "signalOperPresetReq",
         [](const std::string &id) { oper_preset_res(R(id), PresetOper::Call); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::PresetOperRes, m);
             CHECK_ENVELOPE(m, 0, std::string());
             QCOMPARE(m.oper(), 2);
         }},
        {"63 get_patrols_res", T::GetPatrolsRes, "server response client get patrol req", T::GetPatrolsReq, &requestWithId<proto::ChannelReq>, "signalGetPatrolsReq",
         [](const std::string &id) {
             get_patrols_res(R(id), {PatrolInfo{63, {PatrolPresetInfo{PresetInfo{1, q("Eins ü")}, 11, 12}, PatrolPresetInfo{PresetInfo{2, q("Zwei")}, 21, 22}}, -3, 4},
                                     PatrolInfo{64, {}, 5, -6}});
         },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::GetPatrolRes, m);
             CHECK_ENVELOPE(m, 0, std::string());
             QCOMPARE(m.patrols_size(), 2);
             const proto::PatrolInfo &p = m.patrols(0);
             QCOMPARE(p.param_1(), 63);
             QCOMPARE(p.presets_size(), 2);
             QCOMPARE(p.presets(0).preset().param_1(), 1u);
             QCOMPARE(b(p.presets(0).preset().preset_name()), b("Eins ü"));
             QCOMPARE(p.presets(0).param_2(), 11u);
             QCOMPARE(p.presets(0).param_3(), 12u);
             QCOMPARE(p.presets(1).preset().param_1(), 2u);
             QCOMPARE(b(p.presets(1).preset().preset_name()), b("Zwei"));
             QCOMPARE(p.presets(1).param_2(), 21u);
             QCOMPARE(p.presets(1).param_3(), 22u);
             QCOMPARE(p.param_3(), -3);
             QCOMPARE(p.param_4(), 4);
             QCOMPARE(m.patrols(1).param_1(), 64);
             QCOMPARE(m.patrols(1).presets_size(), 0);
             QCOMPARE(m.patrols(1).param_3(), 5);
             QCOMPARE(m.patrols(1).param_4(), -6);
         }},
        {"65 oper_patrol_res", T::OperPatrolRes, "server response client oper patrol req", T::OperPatrolReq, &requestWithId<proto::PatrolOperReq>, "signalOperPatrolReq",
         [](const std::string &id) { oper_patrol_res(R(id, 6501, "läuft"), PatrolOper::Stop); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::PatrolOperRes, m);
             CHECK_ENVELOPE(m, 6501, std::string("läuft"));
             QCOMPARE(m.oper(), 3);
         }},
        {"67 oper_patrol_preset_res", T::OperPatrolPresetRes, "server response client oper patrol preset req", T::OperPatrolPresetReq, &requestWithId<proto::PatrolPresetOperReq>, "signalOperPatrolPresetReq",
         [](const std::string &id) { oper_patrol_preset_res(R(id), PatrolPresetOper::Modify); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::PatrolPresetOperRes, m);
             CHECK_ENVELOPE(m, 0, std::string());
             QCOMPARE(m.oper(), 2);
         }},
        resultRow<proto::SetPatrolPresetsReq>("69 set_patrol_presets_res", T::SetPatrolPresetsRes, "server response client set patrol presets req", T::SetPatrolPresetsReq, "signalSetPatrolPresetsReq", &set_patrol_presets_res, 6901, "zu viele"),
        resultRow<proto::SetOSDReq>("72 dev_config_res to set osd", T::DevConfigRes, "server response device config req", T::SetOSDReq, "signalSetOSDReq", &dev_config_res, 0, ""),
        resultRow<proto::ModifyDevNameReq>("72 dev_config_res to modify name", T::DevConfigRes, "server response device config req", T::ModifyDevNameReq, "signalModifyDevNameReq", &dev_config_res, 7201, "Name vergeben"),
        resultRow<proto::AddFaceReq>("74 add_face_res", T::AddFaceRes, "server response client add face req", T::AddFaceReq, "signalAddFaceReq", &add_face_res, 7401, "Gesicht ü"),
        {"76 get_faces_res", T::GetFacesRes, "server response client get faces req", T::GetFacesReq, &requestWithId<proto::GetFacesReq>, "signalGetFacesReq",
         [](const std::string &id) { get_faces_res(R(id), {faceInfo(1), faceInfo(2)}, 4000000076u); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::GetFacesRes, m);
             CHECK_ENVELOPE(m, 0, std::string());
             QCOMPARE(m.faces_size(), 2);
             checkFaceInfo(m.faces(0), 1);
             checkFaceInfo(m.faces(1), 2);
             QCOMPARE(m.total_cnt(), 4000000076u);
         }},
        {"76 get_faces_res with a 3 MB image", T::GetFacesRes, "server response client get faces req", T::GetFacesReq, &requestWithId<proto::GetFacesReq>, "signalGetFacesReq",
         [](const std::string &id) {
             FaceInfo face = faceInfo(3);
             face.faceImage = bigImage();
             get_faces_res(R(id), {face}, 1);
         },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::GetFacesRes, m);
             QCOMPARE(m.faces_size(), 1);
             QVERIFY(b(m.faces(0).data_8()) == bigImage());
             QCOMPARE(m.total_cnt(), 1u);
         }},
        resultRow<proto::DelFaceReq>("78 del_face_res", T::DelFaceRes, "server response client delete face req", T::DelFaceReq, "signalDelFaceReq", &del_face_res, 0, ""),
        {"80 get_face_detect_records_res", T::GetFaceDetectRecordsRes, "server response client get face detect records req", T::GetFaceDetectRecordsReq, &requestWithId<proto::GetFaceDetectRecordsReq>, "signalGetFaceDetectRecordsReq",
         [](const std::string &id) { get_face_detect_records_res(R(id, 8001, "teilweise"), {detectRecord(1, -2.5e-300), detectRecord(2, 1e300)}, 80); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::GetFaceDetectRecordsRes, m);
             CHECK_ENVELOPE(m, 8001, std::string("teilweise"));
             QCOMPARE(m.records_size(), 2);
             checkDetectRecord(m.records(0), 1, -2.5e-300);
             checkDetectRecord(m.records(1), 2, 1e300);
             QCOMPARE(m.total_cnt(), 80u);
         }},
        {"83 check_dev_upgrade_res", T::CheckDevUpgradeRes, "server response client check device upgrade req", T::CheckDevUpgradeReq, &requestWithId<proto::DevUpgradeReq>, "signalCheckDevUpgradeReq",
         [](const std::string &id) { check_dev_upgrade_res(R(id), upgradeInfo(83)); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::DevUpgradeRes, m);
             CHECK_ENVELOPE(m, 0, std::string());
             checkUpgrade(m, 83);
         }},
        {"84 upload_upgrade_file_finished", T::UploadUpgradeFileFinished, "server push upload upgrade file finished message", kEveryone, nullptr, nullptr,
         [](const std::string &) { upload_upgrade_file_finished(q("升级-ü-84")); },
         [](const QByteArray &payload, const std::string &) { QCOMPARE(payload, b("升级-ü-84")); }},
        {"87 get_dev_upgrade_progress_res", T::GetDevUpgradeProgressRes, "server response client get device upgrade progress req", T::GetDevUpgradeProgressReq, &requestWithId<proto::DeviceReq>, "signalGetDevUpgradeProgressReq",
         [](const std::string &id) { get_dev_upgrade_progress_res(R(id, 8701, "Fortschritt ü"), upgradeInfo(87)); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::DevUpgradeRes, m);
             CHECK_ENVELOPE(m, 8701, std::string("Fortschritt ü"));
             checkUpgrade(m, 87);
         }},
        resultRow<proto::ModifyDevAccountReq>("89 modify_dev_account_res", T::ModifyDevAccountRes, "server response client modify device account req", T::ModifyDevAccountReq, "signalModifyDevAccountReq", &modify_dev_account_res, 0, ""),
        {"91 get_dev_secret_questions_res", T::GetDevSecretQuestionsRes, "server response client get device secret questions", kEveryone, nullptr, nullptr,
         [](const std::string &) { get_dev_secret_questions_res(q("SN-91"), -91, {q("Frage ü?"), QString(), q("q3")}); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::DevSecretQuestionsGetRes, m);
             QCOMPARE(b(m.dev_sn()), b("SN-91"));
             QCOMPARE(m.err_code(), -91);
             QCOMPARE(m.questions_size(), 3);
             QCOMPARE(b(m.questions(0)), b("Frage ü?"));
             QCOMPARE(b(m.questions(1)), QByteArray());
             QCOMPARE(b(m.questions(2)), b("q3"));
         }},
        {"93 reset_dev_pwd_res", T::ResetDevPwdRes, "server response client reset device password", kEveryone, nullptr, nullptr,
         [](const std::string &) { reset_dev_pwd_res(q("SN-ü-93"), 93); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::ResetDevPwdRes, m);
             QCOMPARE(b(m.dev_sn()), b("SN-ü-93"));
             QCOMPARE(m.err_code(), 93);
         }},
        resultRow<proto::TalkOperReq>("95 talk_oper_res", T::TalkOperRes, "server response talk oper req", T::TalkOperReq, "signalTalkOperReq", &talk_oper_res, 9501, "besetzt"),
        resultRow<proto::TalkOperReq>("97 speak_oper_res", T::SpeakOperRes, "server response speak oper req", T::SpeakOperReq, "signalSpeakOperReq", &speak_oper_res, 0, ""),
        {"98 push_talk_event_msg", T::PushTalkEventMsg, "server push talk event to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_talk_event_msg(ChannelId(q("cam-ü-98"), 98), TalkEvent::DevBusy); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::TalkEventPush, m);
             QCOMPARE(b(m.channel_id().dev_id()), b("cam-ü-98"));
             QCOMPARE(m.channel_id().channel(), 98u);
             QCOMPARE(m.event(), 3);
         }},
        {"99 push_speak_event_msg", T::PushSpeakEventMsg, "server push speak event to client", kEveryone, nullptr, nullptr,
         [](const std::string &) { push_speak_event_msg(ChannelId(q("cam-99"), 99), TalkEvent::TalkError); },
         [](const QByteArray &payload, const std::string &) {
             PARSED(proto::TalkEventPush, m);
             QCOMPARE(b(m.channel_id().dev_id()), b("cam-99"));
             QCOMPARE(m.channel_id().channel(), 99u);
             QCOMPARE(m.event(), 2);
         }},
        {"101 common_res", T::CommonRes, "server response common req", T::CommonReq, &requestWithId<proto::CommonReq>, "signalCommonReq",
         [](const std::string &id) { common_res(q(id), q("{\"ü\":101}")); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::CommonRes, m);
             QCOMPARE(b(m.request_id()), b(id));
             QCOMPARE(b(m.res_json()), b("{\"ü\":101}"));
         }},
        // Matched by the progress record's id, logged with the face-detect-records text.
        {"113 progress of an upload", T::PushFileTransferProgress, "server response client get face detect records req", T::UploadFileReq, &requestWithId<proto::UploadFileReq>, "signalUploadFileReq",
         [](const std::string &id) { push_file_transfer_progress(FileTransferProgress{q(id), 11302, -11303}); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::FileTransferProgress, m);
             QCOMPARE(b(m.request_id()), b(id));
             QCOMPARE(m.param_2(), 11302);
             QCOMPARE(m.param_3(), -11303);
         }},
        {"113 progress of a download", T::PushFileTransferProgress, "server response client get face detect records req", T::DownloadFileReq, &requestWithId<proto::DownloadFileReq>, "signalDownloadFileReq",
         [](const std::string &id) { push_file_transfer_progress(FileTransferProgress{q(id), 100, 1}); },
         [](const QByteArray &payload, const std::string &id) {
             PARSED(proto::FileTransferProgress, m);
             QCOMPARE(b(m.request_id()), b(id));
             QCOMPARE(m.param_2(), 100);
             QCOMPARE(m.param_3(), 1);
         }},
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
    void answerToDepartedRequester();
    void pushesFromAnotherThreadArriveQueuedInOrder();
    void answerFromAnotherThreadReachesAsker();
    void hostSlotsAnswerEndToEnd();

private:
    bool ensureClients();
    // Waits briefly for strays, then takes what every client received.
    void collect(QList<Frame> *asked, QList<Frame> *others, QList<Frame> *toMain);
    QByteArray ask(MessageType type, const QByteArray &payload, const char *signal, Connection *from = nullptr);

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
    if (!connectAccepted(mainClient.get(), true) || !connectAccepted(asker.get(), false)
        || !connectAccepted(bystander.get(), false))
        return false;
    QTest::qWait(50); // let the hello be read
    return true;
}

void tst_Outbound::collect(QList<Frame> *asked, QList<Frame> *others, QList<Frame> *toMain)
{
    QTest::qWait(100);
    *asked = asker->collectFrames(0);
    *others = bystander->collectFrames(0);
    *toMain = mainClient->collectFrames(0);
}

QByteArray tst_Outbound::ask(MessageType type, const QByteArray &payload, const char *signal, Connection *from)
{
    const auto spy = spyOn(signal);
    if (!spy)
        return "no such signal";
    (from ? from : asker.get())->sendFrame(type, payload);
    return QTest::qWaitFor([&] { return spy->count() == 1; }) ? QByteArray() : QByteArray("request not delivered");
}

void tst_Outbound::pushWithNoClientStillLogs()
{
    if (mainClient)
        QSKIP("clients are connected already");
    oru_test::LogCursor cursor;
    push_dev_status_msg(q("nobody"), DevStatus::Online);
    upload_upgrade_file_finished(q("nobody"));
    push_tlv_data(q("nobody"), QByteArray("x"));
    QCOMPARE(cursor.levelLines(), (QStringList{QStringLiteral("trace server push dev status to client"),
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
    if (answer) {
        QCOMPARE(ask(s.request, s.requestPayload(id), s.requestSignal), QByteArray());
        QTest::qWait(20);
    }
    QList<Frame> asked, others, toMain;
    collect(&asked, &others, &toMain);

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
    const QStringList lines = threaded ? QStringList() : cursor.levelLines();
    QTRY_VERIFY(asker->pendingFrames() >= s.calls
                && (answer || (bystander->pendingFrames() >= s.calls && mainClient->pendingFrames() >= s.calls)));
    collect(&asked, &others, &toMain);

    QCOMPARE(asked.size(), s.calls);
    QCOMPARE(others.size(), answer ? 0 : s.calls);
    QCOMPARE(toMain.size(), answer ? 0 : s.calls);
    for (int i = 0; i < s.calls; ++i) {
        QCOMPARE(int(asked[i].type), int(s.type));
        if (!answer) {
            QCOMPARE(int(others[i].type), int(s.type));
            QCOMPARE(others[i].payload, asked[i].payload);
            QCOMPARE(toMain[i].payload, asked[i].payload);
        }
        s.check(asked[i].payload, id);
        if (QTest::currentTestFailed())
            return;
    }
    QStringList expectedLines;
    if (s.log)
        for (int i = 0; i < s.calls; ++i)
            expectedLines << QStringLiteral("trace ") + QLatin1String(s.log);
    QCOMPARE(threaded ? cursor.levelLines() : lines, expectedLines);
}

void tst_Outbound::answerToDepartedRequester()
{
    QVERIFY(ensureClients());
    Connection leaver;
    QString name;
    QVERIFY(connectAccepted(&leaver, false, &name));
    QCOMPARE(ask(MessageType::GetPresetsReq, requestWithId<proto::ChannelReq>("gone"), "signalGetPresetsReq", &leaver), QByteArray());
    {
        oru_test::LogCursor cursor;
        leaver.disconnectFromServer();
        QTRY_VERIFY(cursor.lines().contains(QStringLiteral("socket disconnect from server: ") + name));
    }

    // A newcomer usually gets the leaver's descriptor, hence its name: the
    // answer must still not reach it.
    Connection newcomer;
    QString newName;
    QVERIFY(connectAccepted(&newcomer, false, &newName));

    // Dropped, yet the entry goes and the line is written; a repeat then finds nothing.
    oru_test::LogCursor cursor;
    get_presets_res(R("gone"), {PresetInfo{1, q("one")}});
    get_presets_res(R("gone"), {PresetInfo{2, q("two")}});
    QList<Frame> asked, others, toMain;
    collect(&asked, &others, &toMain);
    QCOMPARE(asked.size() + others.size() + toMain.size(), 0);
    QCOMPARE(newcomer.collectFrames(0).size(), 0);
    QCOMPARE(cursor.levelLines(), QStringList{QStringLiteral("trace server response client get presets req")});

    // The same id asked again by another connection gets the next answer.
    QCOMPARE(ask(MessageType::GetPresetsReq, requestWithId<proto::ChannelReq>("gone"), "signalGetPresetsReq"), QByteArray());
    get_presets_res(R("gone"), {PresetInfo{3, q("three")}});
    collect(&asked, &others, &toMain);
    QCOMPARE(asked.size(), 1);
    QCOMPARE(others.size() + toMain.size(), 0);
    proto::GetPresetRes m;
    QVERIFY(m.ParseFromString(asked[0].payload.toStdString()));
    QCOMPARE(b(m.request_id()), QByteArray("gone"));
    QCOMPARE(m.presets_size(), 1);
    QCOMPARE(m.presets(0).param_1(), 3u);
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
    QList<Frame> asked, others, toMain;
    collect(&asked, &others, &toMain);
    QCOMPARE(others.size(), count);
    QCOMPARE(asked.size(), count);
    QCOMPARE(toMain.size(), count);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(int(others[i].type), int(MessageType::PushFaceTemperatureCountMsg));
        proto::FaceCountInfo m;
        QVERIFY(m.ParseFromString(others[i].payload.toStdString()));
        QCOMPARE(m.param_2(), unsigned(i + 1));
    }
    QCOMPARE(cursor.lines().count(QStringLiteral("server push face temperature count to client")), count);
}

void tst_Outbound::answerFromAnotherThreadReachesAsker()
{
    QVERIFY(ensureClients());
    QCOMPARE(ask(MessageType::GetPresetsReq, requestWithId<proto::ChannelReq>("from-thread"), "signalGetPresetsReq"), QByteArray());
    QList<Frame> asked, others, toMain;
    collect(&asked, &others, &toMain);
    std::thread host([] { get_presets_res(R("from-thread", 17, "spät"), {PresetInfo{17, q("thread")}}); });
    host.join();
    QCOMPARE(asker->pendingFrames(), 0);
    Frame frame;
    QVERIFY(asker->waitForFrame(&frame));
    QCOMPARE(int(frame.type), int(MessageType::GetPresetsRes));
    proto::GetPresetRes m;
    QVERIFY(m.ParseFromString(frame.payload.toStdString()));
    QCOMPARE(b(m.request_id()), QByteArray("from-thread"));
    QCOMPARE(m.error().err_code(), 17);
    QCOMPARE(b(m.error().err_msg()), b("spät"));
    QCOMPARE(m.presets_size(), 1);
    QCOMPARE(b(m.presets(0).preset_name()), QByteArray("thread"));
    collect(&asked, &others, &toMain);
    QCOMPARE(asked.size() + others.size() + toMain.size(), 0);
}

void tst_Outbound::hostSlotsAnswerEndToEnd()
{
    QVERIFY(ensureClients());
    QObject host; // the connections end with it
    connect(&DgwSignals::instance(), &DgwSignals::signalGetPresetsReq, &host, [](const ChannelCondition &c) {
        get_presets_res(Response{c.requestId, 0, QString()},
                        {PresetInfo{c.channel, c.devId + QStringLiteral("-a")}, PresetInfo{c.channel + 1, c.devId + QStringLiteral("-b")}});
    });
    connect(&DgwSignals::instance(), &DgwSignals::signalGetRtspUrlReq, &host, [](const GetRtspUrlCondition &c) {
        get_rtsp_url_res(Response{c.requestId, 0, QString()},
                         QStringLiteral("rtsp://%1/%2/%3").arg(c.devId).arg(c.channel).arg(c.streamType));
    });
    connect(&DgwSignals::instance(), &DgwSignals::signalCommonReq, &host,
            [](const ChannelId &channel, const QString &requestId, const QString &json) {
                common_res(requestId, json + QLatin1Char('@') + channel.first);
            });

    Frame frame;
    {
        proto::ChannelReq req;
        req.set_request_id("e2e-presets");
        req.mutable_channel_id()->set_dev_id("cam-ü");
        req.mutable_channel_id()->set_channel(3);
        oru_test::LogCursor cursor;
        bystander->sendFrame(MessageType::GetPresetsReq, b(req.SerializeAsString()));
        QVERIFY(bystander->waitForFrame(&frame));
        QCOMPARE(int(frame.type), int(MessageType::GetPresetsRes));
        proto::GetPresetRes m;
        QVERIFY(m.ParseFromString(frame.payload.toStdString()));
        QCOMPARE(b(m.request_id()), QByteArray("e2e-presets"));
        QVERIFY(m.has_error());
        QCOMPARE(m.presets_size(), 2);
        QCOMPARE(m.presets(0).param_1(), 3u);
        QCOMPARE(b(m.presets(0).preset_name()), b("cam-ü-a"));
        QCOMPARE(m.presets(1).param_1(), 4u);
        QCOMPARE(b(m.presets(1).preset_name()), b("cam-ü-b"));
        // The host answered inside the signal, before the request's own line.
        QCOMPARE(cursor.levelLines(), (QStringList{QStringLiteral("trace server response client get presets req"),
                                                   QStringLiteral("trace client get presets req")}));
    }
    {
        proto::GetRtspUrlReq req;
        req.set_request_id("e2e-rtsp");
        req.mutable_channel_id()->set_dev_id("nvr");
        req.mutable_channel_id()->set_channel(2);
        req.set_param_3(1);
        asker->sendFrame(MessageType::GetRtspUrlReq, b(req.SerializeAsString()));
        QVERIFY(asker->waitForFrame(&frame));
        QCOMPARE(int(frame.type), int(MessageType::GetRtspUrlRes));
        proto::GetRtspUrlRes m;
        QVERIFY(m.ParseFromString(frame.payload.toStdString()));
        QCOMPARE(b(m.request_id()), QByteArray("e2e-rtsp"));
        QCOMPARE(b(m.rtsp_url()), QByteArray("rtsp://nvr/2/1"));
    }
    {
        proto::CommonReq req;
        req.set_request_id("e2e-common");
        req.mutable_channel_id()->set_dev_id("dev-ä");
        req.set_req_json("{\"a\":1}");
        mainClient->sendFrame(MessageType::CommonReq, b(req.SerializeAsString()));
        QVERIFY(mainClient->waitForFrame(&frame));
        QCOMPARE(int(frame.type), int(MessageType::CommonRes));
        proto::CommonRes m;
        QVERIFY(m.ParseFromString(frame.payload.toStdString()));
        QCOMPARE(b(m.request_id()), QByteArray("e2e-common"));
        QCOMPARE(b(m.res_json()), b("{\"a\":1}@dev-ä"));
    }
    QList<Frame> asked, others, toMain;
    collect(&asked, &others, &toMain);
    QCOMPARE(asked.size() + others.size() + toMain.size(), 0);
}

QTEST_GUILESS_MAIN(tst_Outbound)
#include "tst_outbound.moc"
