// Inbound dispatch end to end: a client writes a frame on the control socket,
// the host sees one DgwSignals signal with the converted record, the log gets
// one line, and a request's answer finds its way back to the asking socket.
// Payloads are built with the generated setters, never with the library's own
// conversions, so that a mistake there cannot hide itself.
#include "sdk_fixture.h"

#include "oru_message.pb.h"

#include <oru_sdk/dgw_signals.h>

#include <google/protobuf/stubs/logging.h>

#include <QtTest>

#include <memory>
#include <string>
#include <vector>

using namespace oru_sdk;
namespace pb = oru_sdk_proto;
using oru_client::Connection;
using oru_client::Frame;
using S = DgwSignals;

Q_DECLARE_METATYPE(QMetaMethod)

namespace {

template <class M>
QByteArray ser(const M &message)
{
    return QByteArray::fromStdString(message.SerializeAsString());
}

template <class... T>
QVariantList args(const T &...values)
{
    return {QVariant::fromValue(values)...};
}

// Embedded zero bytes need the length spelled out.
template <std::size_t N>
std::string raw(const char (&bytes)[N])
{
    return std::string(bytes, N - 1);
}

const QDateTime kT1(QDate(2024, 1, 2), QTime(3, 4, 5, 6));
const QDateTime kT2(QDate(2025, 12, 31), QTime(23, 59, 58, 999));
const char kT1Text[] = "2024-01-02 03:04:05.006";
const char kT2Text[] = "2025-12-31 23:59:58.999";

template <class M>
void setChannel(M *message, const std::string &devId, quint32 channel)
{
    message->mutable_channel_id()->set_dev_id(devId);
    message->mutable_channel_id()->set_channel(channel);
}

void fillDev(pb::DevInfo *d, int k)
{
    const std::string s = std::to_string(k);
    d->set_id("id-" + s);
    d->set_name("name-" + s);
    d->set_sn("sn-" + s);
    d->set_param_4(400 + k);
    d->set_ip("10.0.0." + s);
    d->set_param_6(8000 + k);
    d->set_user("user-" + s);
    d->set_password("pw-" + s);
    d->set_version("v" + s);
    d->set_series_name("series-" + s);
    d->set_param_11(-11 - k);
    d->set_param_12(1200 + k);
    d->set_param_13(1300 + k);
    d->set_param_14(-14 - k);
    d->set_param_15(true);
    d->set_param_16(1600 + k);
    d->set_param_17(-17 - k);
    d->set_param_18(1800 + k);
}

DevInfo dev(int k)
{
    const QString s = QString::number(k);
    return DevInfo{"id-" + s,   "name-" + s, "sn-" + s, 400u + k,      "10.0.0." + s, 8000u + k,
                   "user-" + s, "pw-" + s,   "v" + s,   "series-" + s, -11 - k,       1200 + k,
                   1300u + k,   -14 - k,     true,      1600 + k,      -17 - k,       1800 + k};
}

void addSecret(google::protobuf::RepeatedPtrField<pb::SecretInfo> *list, const char *question, const char *answer)
{
    pb::SecretInfo *info = list->Add();
    info->set_question(question);
    info->set_answer(answer);
}

// One spy per DgwSignals signal: shows which signals fired and with what.
class SignalLog
{
public:
    SignalLog()
    {
        const QMetaObject &mo = S::staticMetaObject;
        for (int i = mo.methodOffset(); i < mo.methodCount(); ++i)
            spies.emplace_back(new QSignalSpy(&S::instance(), "2" + mo.method(i).methodSignature()));
    }
    QSignalSpy &of(const QMetaMethod &signal)
    {
        return *spies.at(signal.methodIndex() - S::staticMetaObject.methodOffset());
    }
    int total() const
    {
        int n = 0;
        for (const auto &spy : spies)
            n += spy->count();
        return n;
    }
    // One entry per emission.
    QStringList fired() const
    {
        QStringList names;
        for (const auto &spy : spies) {
            for (int i = 0; i < spy->count(); ++i)
                names << QString::fromLatin1(spy->signal());
        }
        return names;
    }

private:
    std::vector<std::unique_ptr<QSignalSpy>> spies;
};

QStringList firedOnly(const QMetaMethod &signal) { return {QString::fromLatin1(signal.methodSignature())}; }

QString mismatch(const QVariantList &actual, const QVariantList &expected)
{
    if (actual.size() != expected.size())
        return QStringLiteral("%1 arguments, expected %2").arg(actual.size()).arg(expected.size());
    for (int i = 0; i < actual.size(); ++i) {
        if (actual.at(i).userType() != expected.at(i).userType())
            return QStringLiteral("argument %1 is a %2, expected %3")
                .arg(i)
                .arg(actual.at(i).typeName(), expected.at(i).typeName());
        if (actual.at(i) != expected.at(i))
            return QStringLiteral("argument %1 (%2) differs").arg(i).arg(actual.at(i).typeName());
    }
    return QString();
}

// How a host answers each request, and the code of the frame that answer makes.
struct HostAnswer {
    int request;
    int frame;
    void (*send)(const Response &);
};

const HostAnswer kAnswers[] = {
    {1, 2, [](const Response &r) { init_dgw_res(r); }},
    {20, 21, [](const Response &r) { get_dev_net_res(r, DevNetInfo()); }},
    {22, 33, [](const Response &r) { set_dev_net_res(r, "dev", "10.1.1.1"); }},
    {23, 24, [](const Response &r) { get_dev_platform_res(r, DevPlatformInfo()); }},
    {25, 26, [](const Response &r) { set_dev_platform_res(r); }},
    {27, 28, [](const Response &r) { get_dev_platform_tav_res(r, DevPlatform_tavInfo()); }},
    {29, 30, [](const Response &r) { set_dev_platform_tav_res(r); }},
    {31, 32, [](const Response &r) { import_dev_cert_res(r); }},
    {52, 55, [](const Response &r) { search_video_recordings_res(r, {}, true); }},
    {53, 54, [](const Response &r) { get_rtsp_url_res(r, "rtsp://cam/1"); }},
    {56, 57, [](const Response &r) { PTZ_ctrl_res(r, PTZOperation::Left, PTZAction::Stop); }},
    {58, 59, [](const Response &r) { get_presets_res(r, {}); }},
    {60, 61, [](const Response &r) { oper_preset_res(r, PresetOper::Call); }},
    {62, 63, [](const Response &r) { get_patrols_res(r, {}); }},
    {64, 65, [](const Response &r) { oper_patrol_res(r, PatrolOper::Start); }},
    {66, 67, [](const Response &r) { oper_patrol_preset_res(r, PatrolPresetOper::Modify); }},
    {68, 69, [](const Response &r) { set_patrol_presets_res(r); }},
    {70, 72, [](const Response &r) { dev_config_res(r); }},
    {71, 72, [](const Response &r) { dev_config_res(r); }},
    {73, 74, [](const Response &r) { add_face_res(r); }},
    {75, 76, [](const Response &r) { get_faces_res(r, {}, 3); }},
    {77, 78, [](const Response &r) { del_face_res(r); }},
    {79, 80, [](const Response &r) { get_face_detect_records_res(r, {}, 4); }},
    {82, 83, [](const Response &r) { check_dev_upgrade_res(r, DevUpgradeInfo()); }},
    {86, 87, [](const Response &r) { get_dev_upgrade_progress_res(r, DevUpgradeInfo()); }},
    {88, 89, [](const Response &r) { modify_dev_account_res(r); }},
    {94, 95, [](const Response &r) { talk_oper_res(r); }},
    {96, 97, [](const Response &r) { speak_oper_res(r); }},
    {100, 101, [](const Response &r) { common_res(r.requestId, "{}"); }},
    {111, 113, [](const Response &r) { push_file_transfer_progress(FileTransferProgress{r.requestId, 1, 2}); }},
    {112, 113, [](const Response &r) { push_file_transfer_progress(FileTransferProgress{r.requestId, 1, 2}); }},
};

// Answers a request with the given id; returns the code of the answer frame.
int answer(int code, const QString &id)
{
    for (const HostAnswer &a : kAnswers) {
        if (a.request == code) {
            a.send(Response{id, 0, QString()});
            return a.frame;
        }
    }
    return -1;
}

// Lets QVariant == compare these records member by member.
template <class... T>
void compareMembers()
{
    (QMetaType::registerEqualsComparator<T>(), ...);
}

void addColumns()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QMetaMethod>("signal");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("logLine"); // level first
    QTest::addColumn<QString>("requestId");
    QTest::addColumn<bool>("recorded");
}

template <typename Signal>
void req(const char *tag, int code, const QByteArray &payload, Signal signal, const QVariantList &arguments,
         const char *logLine, const QString &requestId)
{
    QTest::newRow(tag) << code << payload << QMetaMethod::fromSignal(signal) << arguments << QString::fromUtf8(logLine)
                       << requestId << true;
}

// For a command, `id` is what a wrongly kept entry would be found under.
template <typename Signal>
void cmd(const char *tag, int code, const QByteArray &payload, Signal signal, const QVariantList &arguments,
         const char *logLine, const QString &id = QString())
{
    QTest::newRow(tag) << code << payload << QMetaMethod::fromSignal(signal) << arguments << QString::fromUtf8(logLine)
                       << id << false;
}

} // namespace

// A host that answers from inside its slot, as soon as the request arrives.
class EagerHost : public QObject
{
    Q_OBJECT

public:
    int code = 0;
    QString requestId;
    const oru_test::LogCursor *cursor = nullptr;
    QStringList linesAtEmit;
    int calls = 0;

public slots:
    void onRequest()
    {
        ++calls;
        linesAtEmit = cursor->levelLines();
        answer(code, requestId);
    }
};

class tst_Inbound : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void dispatch_data();
    void dispatch() { checkRow(); }
    void emptyPayload_data();
    void emptyPayload() { checkRow(); }
    void edgeCases_data();
    void edgeCases() { checkRow(); }

    void timeText_data();
    void timeText();
    void invalidPayload_data();
    void invalidPayload();
    void answerFromTheSlot_data();
    void answerFromTheSlot();
    void sameRequestIdFromTwoConnections();
    void foreignCodesAreDropped();

private:
    void checkRow();
    bool connectReady(Connection *connection);
    void disconnectAndWait(Connection *connection);

    std::unique_ptr<Connection> client;
};

void tst_Inbound::initTestCase()
{
    oru_test::startSdk();
    compareMembers<InitDgwCondition, SearchDevsConfig, DevInfoList, ActivateCondition, GetDevSecretQuestionsCondition,
                   ResetDevPwdCondition, GetDevPlatformCondition, SetDevPlatformCondition, SetDevPlatform_tavCondition,
                   ImportDevCertCondition, SetDevNetCondition, RecsSearchCondition, GetRtspUrlCondition,
                   PTZCtrlCondition, ChannelCondition, PresetOperCondition, PatrolOperCondition,
                   PatrolPresetOperCondition, SetPatrolPresetsCondition, SetOSDCondition, ModifyDevNameCondition,
                   DevUpgradeCondtition, ModifyDevAccountCondition, ModifyFaceCondition, GetFacesCondition,
                   DelFaceCondition, GetFaceDetectRecordsCondition, TalkOperCondition, SpeakOperCondition,
                   UploadFileCondition, DownloadFileCondition, ChannelId>();
    // The rows compare records inside QVariants: make sure that compares members.
    QVERIFY(args(ChannelCondition{"r", "d", 1}) == args(ChannelCondition{"r", "d", 1}));
    QVERIFY(args(ChannelCondition{"r", "d", 1}) != args(ChannelCondition{"r", "d", 2}));
    QVERIFY(args(ChannelId("d", 1)) != args(ChannelId("e", 1)));
    client.reset(new Connection);
    QVERIFY(connectReady(client.get()));
}

bool tst_Inbound::connectReady(Connection *connection)
{
    oru_test::LogCursor cursor;
    return oru_test::connectControl(connection) && QTest::qWaitFor([&] {
               return !cursor.lines().filter(QStringLiteral("new connection to message server: ")).isEmpty();
           });
}

// So that the server's disconnect lines do not land in a later test's log.
void tst_Inbound::disconnectAndWait(Connection *connection)
{
    oru_test::LogCursor cursor;
    connection->disconnectFromServer();
    QTRY_VERIFY(cursor.lines().contains(QStringLiteral("message socket disconnected")));
}

// Sends the row's frame and checks the signal, its arguments, the log line and
// whether an answer with the row's request id reaches this connection.
void tst_Inbound::checkRow()
{
    QFETCH(int, code);
    QFETCH(QByteArray, payload);
    QFETCH(QMetaMethod, signal);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, logLine);
    QFETCH(QString, requestId);
    QFETCH(bool, recorded);

    QCOMPARE(client->pendingFrames(), 0);
    SignalLog log;
    oru_test::LogCursor cursor;
    client->sendFrame(MessageType(code), payload);
    QTRY_VERIFY(log.total() > 0);
    QCOMPARE(log.fired(), firedOnly(signal));
    const QString diff = mismatch(log.of(signal).first(), arguments);
    QVERIFY2(diff.isEmpty(), qPrintable(diff));
    QCOMPARE(cursor.levelLines(), QStringList{logLine});

    if (recorded) {
        const int answerCode = answer(code, requestId);
        QVERIFY2(answerCode > 0, "no answer known for this code");
        Frame frame;
        QVERIFY(client->waitForFrame(&frame));
        QCOMPARE(int(frame.type), answerCode);
    } else {
        dev_config_res(Response{requestId, 0, QString()});
        QCOMPARE(client->collectFrames(100).size(), 0);
    }
}

void tst_Inbound::dispatch_data()
{
    addColumns();
    {
        pb::InitDgwReq m;
        m.set_request_id("rid-1");
        m.set_ak("ak-1");
        m.set_sk("sk-1");
        m.set_ck("ck-1");
        m.set_csk("csk-1");
        m.set_param_6(true);
        m.set_url("https://gw.example/1");
        m.set_param_8(-8);
        m.set_saas_server("saas.example");
        m.set_saas_cer("CER-1");
        req("1 InitDgwReq", 1, ser(m), &S::signalInitDgwReq,
            args(InitDgwCondition{"rid-1", "ak-1", "sk-1", "ck-1", "csk-1", 1, "https://gw.example/1", -8,
                                  "saas.example", "CER-1"}),
            "info init dgw req", "rid-1");
    }
    {
        pb::SetSearchDevsConfigCmd m;
        m.set_param_1(true);
        m.set_begin_ip("192.168.1.10");
        m.set_end_ip("192.168.1.200");
        m.set_param_4(-4);
        cmd("5 SetSearchDevsConfigCmd", 5, ser(m), &S::signalSetSearchDevsConfigCmd,
            args(SearchDevsConfig{1, "192.168.1.10", "192.168.1.200", -4}), "trace client set search devs config cmd");
    }
    cmd("6 search", 6, QByteArray(), &S::signalSearchDevsCmd, {}, "trace client search devs cmd");
    {
        pb::SetManagedDevsCmd m;
        fillDev(m.add_devs(), 1);
        fillDev(m.add_devs(), 2);
        cmd("7 SetManagedDevsCmd", 7, ser(m), &S::signalSetManagedDevsCmd, args(DevInfoList{dev(1), dev(2)}),
            "trace client set managed devs to dgw cmd");
    }
    cmd("8 broadcast search", 8, QByteArray(), &S::signalBroadcastSearchDevsCmd, {},
        "trace client broadcast search devs cmd");
    {
        pb::AddManagedDevsCmd m;
        fillDev(m.add_devs(), 3);
        cmd("9 AddManagedDevsCmd", 9, ser(m), &S::signalAddManagedDevsCmd, args(DevInfoList{dev(3)}),
            "trace client add managed devs to dgw cmd");
    }
    {
        pb::DevList m;
        m.add_devs_id("d-10a");
        m.add_devs_id("d-10b");
        m.add_devs_id("d-10c");
        cmd("10 DevList", 10, ser(m), &S::signalDelManagedDevsCmd, args(QStringList{"d-10a", "d-10b", "d-10c"}),
            "trace client delete managed devs from dgw cmd");
    }
    {
        pb::EditManagedDevsCmd m;
        fillDev(m.add_devs(), 4);
        fillDev(m.add_devs(), 5);
        fillDev(m.add_devs(), 6);
        cmd("11 EditManagedDevsCmd", 11, ser(m), &S::signalEditManagedDevsCmd,
            args(DevInfoList{dev(4), dev(5), dev(6)}), "trace client edit managed devs in dgw cmd");
    }
    {
        pb::DevTimingCmd m;
        m.add_devs_id("d-12a");
        m.add_devs_id("d-12b");
        m.set_time(kT1Text);
        cmd("12 DevTimingCmd", 12, ser(m), &S::signalSetDevsTimeCmd, args(QStringList{"d-12a", "d-12b"}, kT1),
            "trace client set devs time cmd");
    }
    {
        pb::DevList m;
        m.add_devs_id("d-13");
        cmd("13 DevList", 13, ser(m), &S::signalRebootDevsCmd, args(QStringList{"d-13"}),
            "trace client reboot devs cmd");
    }
    {
        pb::RestoreFactoryCmd m;
        m.add_devs_id("d-14a");
        m.add_devs_id("d-14b");
        m.set_simple(true);
        cmd("14 RestoreFactoryCmd", 14, ser(m), &S::signalRestoreFactory, args(QStringList{"d-14a", "d-14b"}, true),
            "trace client restore factory cmd");
    }
    {
        pb::DevList m;
        m.add_devs_id("d-15a");
        m.add_devs_id("d-15b");
        cmd("15 DevList", 15, ser(m), &S::signalReconnectDevsCmd, args(QStringList{"d-15a", "d-15b"}),
            "trace client reconnect devs cmd");
    }
    {
        pb::DevActivateCmd m;
        m.add_devs_sn("sn-16a");
        m.add_devs_sn("sn-16b");
        m.set_account("acc-16");
        m.set_password("pw-16");
        addSecret(m.mutable_secret_infos(), "q1", "a1");
        addSecret(m.mutable_secret_infos(), "q2", "a2");
        m.set_param_5(-16);
        cmd("16 DevActivateCmd", 16, ser(m), &S::signalActivateDevsCmd,
            args(QStringList{"sn-16a", "sn-16b"},
                 ActivateCondition{"acc-16", "pw-16", {{"q1", "a1"}, {"q2", "a2"}}, -16}),
            "trace client activate devices cmd");
    }
    cmd("17 text", 17, "dev-17-\xc3\xa9", &S::signalGetDevChannelsInfo, args(QStringLiteral("dev-17-\u00e9")),
        "trace client get device channels information cmd");
    cmd("19 text", 19, "dev-19", &S::signalClearFaceTemperatureCountCmd, args(QStringLiteral("dev-19")),
        "trace client clear face temperature count cmd");
    {
        pb::DevNetGetReq m;
        m.set_request_id("rid-20");
        m.set_dev_id("dev-20");
        req("20 DevNetGetReq", 20, ser(m), &S::signalGetDevNetReq,
            args(QStringLiteral("rid-20"), QStringLiteral("dev-20")), "trace client get dev net info req", "rid-20");
    }
    {
        pb::DevNetSetReq m;
        m.set_request_id("rid-22");
        m.set_dev_id("dev-22");
        pb::DevNetInfo *info = m.mutable_dev_net_info();
        info->set_ip("10.2.2.2");
        info->set_sub_net_mask("255.255.0.0");
        info->set_default_gateway("10.2.0.1");
        info->set_dns("8.8.4.4");
        info->set_param_5(true);
        info->set_param_6(-6);
        info->set_param_7(7);
        info->set_param_8(-8);
        req("22 DevNetSetReq", 22, ser(m), &S::signalSetDevNetReq,
            args(SetDevNetCondition{"rid-22", "dev-22", "10.2.2.2", "255.255.0.0", "10.2.0.1", "8.8.4.4", true, -6, 7,
                                    -8}),
            "trace client set dev net info req", "rid-22");
    }
    {
        pb::DevPlatformGetReq m;
        m.set_request_id("rid-23");
        m.set_dev_id("dev-23");
        m.set_param_3(-23);
        m.set_param_4(true);
        req("23 DevPlatformGetReq", 23, ser(m), &S::signalGetDevPlatformReq,
            args(GetDevPlatformCondition{"rid-23", "dev-23", -23, 1}), "trace client get device platform req",
            "rid-23");
    }
    {
        pb::DevPlatformSetReq m;
        m.set_request_id("rid-25");
        m.set_dev_id("dev-25");
        pb::DevPlatformInfo *info = m.mutable_dev_platform_info();
        info->set_param_1(true);
        info->set_platform_addr("platform.example:25");
        info->set_param_3(true);
        info->set_param_4(-4);
        info->set_param_5(5);
        req("25 DevPlatformSetReq", 25, ser(m), &S::signalSetDevPlatformReq,
            args(SetDevPlatformCondition{"rid-25", "dev-25", true, "platform.example:25", true, -4, 5}),
            "trace client set device platform req", "rid-25");
    }
    {
        pb::DeviceReq m;
        m.set_request_id("rid-27");
        m.set_dev_id("dev-27");
        req("27 DeviceReq", 27, ser(m), &S::signalGetDevPlatform_tavReq,
            args(QStringLiteral("rid-27"), QStringLiteral("dev-27")), "trace client get device platform_tav req",
            "rid-27");
    }
    {
        pb::DevPlatform_tavSetReq m;
        m.set_request_id("rid-29");
        m.set_dev_id("dev-29");
        pb::DevPlatformInfo_tav *info = m.mutable_dev_platform_info();
        info->set_param_1(true);
        info->set_param_2(true);
        info->set_online_server("online.example");
        info->set_param_4(true);
        info->set_bussiness_server("business.example");
        req("29 DevPlatform_tavSetReq", 29, ser(m), &S::signalSetDevPlatform_tavReq,
            args(SetDevPlatform_tavCondition{"rid-29", "dev-29", "online.example", true, "business.example"}),
            "trace client set device platform_tav req", "rid-29");
    }
    {
        pb::DevCertImportReq m;
        m.set_request_id("rid-31");
        m.set_dev_id("dev-31");
        m.set_param_3(-31);
        m.set_ca("CA-31");
        m.set_cert_contents("CERT-31");
        m.set_key("KEY-31");
        m.set_secret_key("SECRET-31");
        req("31 DevCertImportReq", 31, ser(m), &S::signalImportDevCertReq,
            args(ImportDevCertCondition{"rid-31", "dev-31", -31, "CA-31", "CERT-31", "KEY-31", "SECRET-31"}),
            "trace client import device cert req", "rid-31");
    }
    cmd("36 text", 36, "token-36", &S::signalSetSaasTokenCmd, args(QStringLiteral("token-36")),
        "trace client set saas token cmd");
    cmd("37 saas logout", 37, QByteArray(), &S::signalSaasLogoutCmd, {}, "trace client saas logout cmd");
    {
        pb::SearchVideoRecordingsReq m;
        m.set_request_id("rid-52");
        setChannel(&m, "dev-52", 52);
        m.set_param_3(-3);
        m.set_param_4(4);
        m.set_begin_time(kT1Text);
        m.set_end_time(kT2Text);
        req("52 SearchVideoRecordingsReq", 52, ser(m), &S::signalSearchVideoRecsReq,
            args(RecsSearchCondition{"rid-52", "dev-52", 52, -3, 4, kT1, kT2}),
            "trace client search video recordings from dgw req", "rid-52");
    }
    {
        pb::GetRtspUrlReq m;
        m.set_request_id("rid-53");
        setChannel(&m, "dev-53", 53);
        m.set_param_3(-53);
        req("53 GetRtspUrlReq", 53, ser(m), &S::signalGetRtspUrlReq,
            args(GetRtspUrlCondition{"rid-53", "dev-53", 53, -53}), "trace client get rtsp url from dgw req", "rid-53");
    }
    {
        pb::PTZCtrlReq m;
        m.set_request_id("rid-56");
        setChannel(&m, "dev-56", 56);
        m.set_param_3(3);
        m.set_param_4(-4);
        m.set_param_5(5);
        m.set_param_6(6);
        req("56 PTZCtrlReq", 56, ser(m), &S::signalPTZCtrlReq,
            args(PTZCtrlCondition{"rid-56", "dev-56", 56, 3, -4, 5, 6}), "trace client ptz req", "rid-56");
    }
    {
        pb::ChannelReq m;
        m.set_request_id("rid-58");
        setChannel(&m, "dev-58", 58);
        req("58 ChannelReq", 58, ser(m), &S::signalGetPresetsReq, args(ChannelCondition{"rid-58", "dev-58", 58}),
            "trace client get presets req", "rid-58");
    }
    {
        pb::PresetOperReq m;
        m.set_request_id("rid-60");
        setChannel(&m, "dev-60", 60);
        m.set_param_3(33);
        m.set_preset_name("gate \xe2\x86\x92 yard");
        m.set_param_5(-5);
        req("60 PresetOperReq", 60, ser(m), &S::signalOperPresetReq,
            args(PresetOperCondition{"rid-60", "dev-60", 60, 33, QStringLiteral("gate \u2192 yard"), -5}),
            "trace client oper preset req", "rid-60");
    }
    {
        pb::ChannelReq m;
        m.set_request_id("rid-62");
        setChannel(&m, "dev-62", 62);
        req("62 ChannelReq", 62, ser(m), &S::signalGetPatrolsReq, args(ChannelCondition{"rid-62", "dev-62", 62}),
            "trace client get patrols req", "rid-62");
    }
    {
        pb::PatrolOperReq m;
        m.set_request_id("rid-64");
        setChannel(&m, "dev-64", 64);
        m.set_param_3(-3);
        m.set_param_4(4);
        m.set_param_5(-5); // no member of the record takes it
        req("64 PatrolOperReq", 64, ser(m), &S::signalOperPatrolReq,
            args(PatrolOperCondition{"rid-64", "dev-64", 64, -3, 4}), "trace client oper patrol req", "rid-64");
    }
    {
        pb::PatrolPresetOperReq m;
        m.set_request_id("rid-66");
        setChannel(&m, "dev-66", 66);
        m.set_param_3(-3);
        m.set_param_4(4);
        m.set_param_5(5);
        m.set_param_6(-6);
        req("66 PatrolPresetOperReq", 66, ser(m), &S::signalOperPatrolPresetReq,
            args(PatrolPresetOperCondition{"rid-66", "dev-66", 66, -3, 4, 5, -6}),
            "trace client oper patrol preset req", "rid-66");
    }
    {
        pb::SetPatrolPresetsReq m;
        m.set_request_id("rid-68");
        setChannel(&m, "dev-68", 68);
        m.set_param_3(-3);
        pb::SetPatrolPresetsReq::PresetInfo *p = m.add_presets();
        p->set_param_1(1);
        p->set_param_2(10);
        p = m.add_presets();
        p->set_param_1(2);
        p->set_param_2(20);
        req("68 SetPatrolPresetsReq", 68, ser(m), &S::signalSetPatrolPresetsReq,
            args(SetPatrolPresetsCondition{
                "rid-68", "dev-68", 68, -3, {PatrolPresetEntry{1, 10}, PatrolPresetEntry{2, 20}}}),
            "trace client set patrol presets req", "rid-68");
    }
    {
        pb::SetOSDReq m;
        m.set_request_id("rid-70");
        setChannel(&m, "dev-70", 70);
        m.set_osd("\xe5\x85\xa5\xe5\x8f\xa3 1");
        req("70 SetOSDReq", 70, ser(m), &S::signalSetOSDReq,
            args(SetOSDCondition{"rid-70", "dev-70", 70, QStringLiteral("\u5165\u53e3 1")}), "trace client set osd req",
            "rid-70");
    }
    {
        pb::ModifyDevNameReq m;
        m.set_request_id("rid-71");
        m.set_dev_id("dev-71");
        m.set_dev_name("Lobby cam");
        req("71 ModifyDevNameReq", 71, ser(m), &S::signalModifyDevNameReq,
            args(ModifyDevNameCondition{"rid-71", "dev-71", "Lobby cam"}), "trace client modify device name req",
            "rid-71");
    }
    {
        pb::AddFaceReq m;
        m.set_request_id("rid-73");
        setChannel(&m, "dev-73", 73);
        m.set_serial_num("face-73");
        m.set_name("Ada");
        m.add_organizations("org-a");
        m.add_organizations("org-b");
        m.set_param_6(-6);
        m.set_param_7(7);
        m.set_param_8(-8);
        m.set_face_type("staff");
        m.set_valid_time(kT1Text);
        m.set_invalid_time(kT2Text);
        m.set_data_12(raw("\x00\xff\xd8\xff\x00\x01"));
        req("73 AddFaceReq", 73, ser(m), &S::signalAddFaceReq,
            args(ModifyFaceCondition{"rid-73",
                                     "dev-73",
                                     73,
                                     "face-73",
                                     "Ada",
                                     -6,
                                     7,
                                     -8,
                                     "staff",
                                     kT1,
                                     kT2,
                                     QByteArray("\x00\xff\xd8\xff\x00\x01", 6),
                                     {"org-a", "org-b"}}),
            "trace client add face req", "rid-73");
    }
    {
        pb::GetFacesReq m;
        m.set_request_id("rid-75");
        setChannel(&m, "dev-75", 75);
        m.set_param_3(3);
        m.set_param_4(4);
        m.set_param_5(5);
        m.set_param_6(true);
        req("75 GetFacesReq", 75, ser(m), &S::signalGetFacesReq,
            args(GetFacesCondition{"rid-75", "dev-75", 75, 3, 4, 5, 1}), "trace client get faces req", "rid-75");
    }
    {
        pb::DelFaceReq m;
        m.set_request_id("rid-77");
        setChannel(&m, "dev-77", 77);
        m.set_param_3(-77);
        req("77 DelFaceReq", 77, ser(m), &S::signalDelFaceReq, args(DelFaceCondition{"rid-77", "dev-77", 77, -77}),
            "trace client delete face req", "rid-77");
    }
    {
        pb::GetFaceDetectRecordsReq m;
        m.set_request_id("rid-79");
        setChannel(&m, "dev-79", 79);
        m.set_param_3(3); // no member of the record takes it
        m.set_param_4(4); // nor this one
        m.set_begin_time(kT1Text);
        m.set_end_time(kT2Text);
        req("79 GetFaceDetectRecordsReq", 79, ser(m), &S::signalGetFaceDetectRecordsReq,
            args(GetFaceDetectRecordsCondition{"rid-79", "dev-79", 79, kT1, kT2}),
            "trace client get face detect records req, begin time:2024-01-02 03:04:05.006, end time:2025-12-31 "
            "23:59:58.999",
            "rid-79");
    }
    {
        pb::OpenRemoteConfigReq m;
        m.set_dev_id("dev-81");
        m.set_language(-81);
        cmd("81 OpenRemoteConfigReq", 81, ser(m), &S::signalOpenDevRemoteConfigReq, args(QStringLiteral("dev-81"), -81),
            "trace client open dev remote confit req");
    }
    for (int code : {82, 85}) {
        pb::DevUpgradeReq m;
        const std::string n = std::to_string(code);
        m.set_request_id("rid-" + n);
        m.set_dev_id("dev-" + n);
        m.set_mode("mode-" + n);
        m.set_url("http://fw.example/" + n);
        m.set_param_5(-code);
        m.set_main_file("main-" + n + ".bin");
        m.set_ver_file("ver-" + n + ".txt");
        const QString q = QString::number(code);
        const QVariantList expected =
            args(DevUpgradeCondtition{"rid-" + q, "dev-" + q, "mode-" + q, "http://fw.example/" + q, -code,
                                      "main-" + q + ".bin", "ver-" + q + ".txt"});
        if (code == 82)
            req("82 DevUpgradeReq", 82, ser(m), &S::signalCheckDevUpgradeReq, expected,
                "trace client check device upgrade req", "rid-82");
        else
            cmd("85 DevUpgradeReq", 85, ser(m), &S::signalDoDevUpgradeCmd, expected,
                "trace client do device upgrade cmd", "rid-85");
    }
    {
        pb::DeviceReq m;
        m.set_request_id("rid-86");
        m.set_dev_id("dev-86");
        req("86 DeviceReq", 86, ser(m), &S::signalGetDevUpgradeProgressReq,
            args(QStringLiteral("rid-86"), QStringLiteral("dev-86")), "trace client get device upgrade progress req",
            "rid-86");
    }
    {
        pb::ModifyDevAccountReq m;
        m.set_request_id("rid-88");
        m.set_dev_id("dev-88");
        m.set_account("acc-88");
        m.set_old_password("old-88");
        m.set_new_password("new-88");
        m.set_level("admin-level");
        req("88 ModifyDevAccountReq", 88, ser(m), &S::signalModifyDevAccountReq,
            args(ModifyDevAccountCondition{"rid-88", "dev-88", "acc-88", "old-88", "new-88", "admin-level"}),
            "trace client modify device account req", "rid-88");
    }
    {
        pb::DevSecretQuestionsGetReq m;
        m.set_dev_sn("sn-90");
        m.set_account("acc-90");
        cmd("90 DevSecretQuestionsGetReq", 90, ser(m), &S::signalGetDevSecretQuestionsCmd,
            args(GetDevSecretQuestionsCondition{"sn-90", "acc-90"}), "trace client get device secret questions cmd");
    }
    {
        pb::DevPwdResetReq m;
        m.set_dev_sn("sn-92");
        m.set_account("acc-92");
        m.set_password("pw-92");
        addSecret(m.mutable_secret_infos(), "pet?", "cat");
        addSecret(m.mutable_secret_infos(), "city?", "Oslo");
        cmd("92 DevPwdResetReq", 92, ser(m), &S::signalResetDevPwdCmd,
            args(ResetDevPwdCondition{"sn-92", "acc-92", "pw-92", {{"pet?", "cat"}, {"city?", "Oslo"}}}),
            "trace client reset device password cmd");
    }
    {
        pb::TalkOperReq m;
        m.set_request_id("rid-94");
        setChannel(&m, "dev-94", 94);
        m.set_param_3(-94);
        req("94 TalkOperReq", 94, ser(m), &S::signalTalkOperReq, args(TalkOperCondition{"rid-94", "dev-94", 94, -94}),
            "trace client talk oper req", "rid-94");
    }
    {
        pb::TalkOperReq m;
        m.set_request_id("rid-96");
        setChannel(&m, "dev-96", 96);
        m.set_param_3(96);
        req("96 TalkOperReq", 96, ser(m), &S::signalSpeakOperReq, args(SpeakOperCondition{"rid-96", "dev-96", 96, 96}),
            "trace client speak oper req", "rid-96");
    }
    {
        pb::CommonReq m;
        m.set_request_id("rid-100");
        setChannel(&m, "dev-100", 100);
        m.set_req_json(R"({"cmd":"ping","n":100})");
        req("100 CommonReq", 100, ser(m), &S::signalCommonReq,
            args(ChannelId("dev-100", 100), QStringLiteral("rid-100"), QStringLiteral(R"({"cmd":"ping","n":100})")),
            "trace client common req", "rid-100");
    }
    {
        pb::UploadFileReq m;
        m.set_request_id("rid-111");
        m.set_dev_id("dev-111");
        m.set_file_name("/tmp/up.bin");
        m.set_purpose("firmware");
        req("111 UploadFileReq", 111, ser(m), &S::signalUploadFileReq,
            args(UploadFileCondition{"rid-111", "dev-111", "/tmp/up.bin", "firmware"}), "trace client upload file req",
            "rid-111");
    }
    {
        pb::DownloadFileReq m;
        m.set_request_id("rid-112");
        m.set_dev_id("dev-112");
        m.set_src_file_name("/dev/log.txt");
        m.set_des_file_name("C:/logs/log.txt");
        req("112 DownloadFileReq", 112, ser(m), &S::signalDownloadFileReq,
            args(DownloadFileCondition{"rid-112", "dev-112", "/dev/log.txt", "C:/logs/log.txt"}),
            "trace client download file req", "rid-112");
    }
}

// An empty payload parses as a message of defaults: the record takes the wire's
// defaults, not its own ("admin", 1, -1), and a request keeps the empty id.
void tst_Inbound::emptyPayload_data()
{
    addColumns();
    cmd("5", 5, QByteArray(), &S::signalSetSearchDevsConfigCmd, args(SearchDevsConfig{0, "", "", 0}),
        "trace client set search devs config cmd");
    cmd("7", 7, QByteArray(), &S::signalSetManagedDevsCmd, args(DevInfoList()),
        "trace client set managed devs to dgw cmd");
    cmd("12", 12, QByteArray(), &S::signalSetDevsTimeCmd, args(QStringList(), QDateTime()),
        "trace client set devs time cmd");
    cmd("14", 14, QByteArray(), &S::signalRestoreFactory, args(QStringList(), false),
        "trace client restore factory cmd");
    cmd("16", 16, QByteArray(), &S::signalActivateDevsCmd, args(QStringList(), ActivateCondition{"", "", {}, 0}),
        "trace client activate devices cmd");
    req("20", 20, QByteArray(), &S::signalGetDevNetReq, args(QString(), QString()), "trace client get dev net info req",
        "");
    req("22", 22, QByteArray(), &S::signalSetDevNetReq,
        args(SetDevNetCondition{"", "", "", "", "", "", false, 0, 0, 0}), "trace client set dev net info req", "");
    req("52", 52, QByteArray(), &S::signalSearchVideoRecsReq,
        args(RecsSearchCondition{"", "", 0, 0, 0, QDateTime(), QDateTime()}),
        "trace client search video recordings from dgw req", "");
    req("73", 73, QByteArray(), &S::signalAddFaceReq,
        args(ModifyFaceCondition{"", "", 0, "", "", 0, 0, 0, "", QDateTime(), QDateTime(), QByteArray(), {}}),
        "trace client add face req", "");
    cmd("81", 81, QByteArray(), &S::signalOpenDevRemoteConfigReq, args(QString(), 0),
        "trace client open dev remote confit req");
    cmd("90", 90, QByteArray(), &S::signalGetDevSecretQuestionsCmd, args(GetDevSecretQuestionsCondition{"", ""}),
        "trace client get device secret questions cmd");
    cmd("92", 92, QByteArray(), &S::signalResetDevPwdCmd, args(ResetDevPwdCondition{"", "", "", {}}),
        "trace client reset device password cmd");
    req("100", 100, QByteArray(), &S::signalCommonReq, args(ChannelId("", 0), QString(), QString()),
        "trace client common req", "");
}

void tst_Inbound::edgeCases_data()
{
    addColumns();
    {
        // Times without milliseconds do not match; the request goes on regardless.
        pb::SearchVideoRecordingsReq m;
        m.set_request_id("rid-52-no-ms");
        setChannel(&m, "dev", 1);
        m.set_begin_time("2024-01-02 03:04:05");
        m.set_end_time(kT2Text);
        req("time without milliseconds", 52, ser(m), &S::signalSearchVideoRecsReq,
            args(RecsSearchCondition{"rid-52-no-ms", "dev", 1, 0, 0, QDateTime(), kT2}),
            "trace client search video recordings from dgw req", "rid-52-no-ms");
    }
    {
        // Text stops at a zero byte (the id is kept cut, the time parses after the
        // cut); the image keeps every byte.
        pb::AddFaceReq m;
        m.set_request_id(raw("rid-73z\0tail"));
        setChannel(&m, raw("dev\0x"), 5);
        m.set_serial_num(raw("ser\0ial"));
        m.set_name(raw("\0hidden"));
        m.add_organizations(raw("org\0x"));
        m.add_organizations(raw("\0y"));
        m.set_face_type(raw("ty\0pe"));
        m.set_valid_time(std::string(kT1Text) + raw("\0junk"));
        m.set_data_12(raw("\0img\0\xff"));
        req("zero bytes", 73, ser(m), &S::signalAddFaceReq,
            args(ModifyFaceCondition{"rid-73z",
                                     "dev",
                                     5,
                                     "ser",
                                     "",
                                     0,
                                     0,
                                     0,
                                     "ty",
                                     kT1,
                                     QDateTime(),
                                     QByteArray("\0img\0\xff", 6),
                                     {"org", ""}}),
            "trace client add face req", "rid-73z");
    }
    {
        pb::ChannelReq m;
        m.set_request_id("rid-58-no-channel");
        req("absent channel 58", 58, ser(m), &S::signalGetPresetsReq,
            args(ChannelCondition{"rid-58-no-channel", "", 0}), "trace client get presets req", "rid-58-no-channel");
    }
    {
        pb::CommonReq m;
        m.set_request_id("rid-100-no-channel");
        m.set_req_json("{}");
        req("absent channel 100", 100, ser(m), &S::signalCommonReq,
            args(ChannelId("", 0), QStringLiteral("rid-100-no-channel"), QStringLiteral("{}")),
            "trace client common req", "rid-100-no-channel");
    }
    {
        pb::DevActivateCmd m;
        m.add_devs_sn("sn-1");
        m.set_account("");
        m.set_password("secret");
        cmd("activation with empty account", 16, ser(m), &S::signalActivateDevsCmd,
            args(QStringList{"sn-1"}, ActivateCondition{"", "secret", {}, 0}), "trace client activate devices cmd");
    }
    {
        // The line shows the times as they came, whatever they are.
        pb::GetFaceDetectRecordsReq m;
        m.set_request_id("rid-79-raw");
        m.set_begin_time("yesterday");
        m.set_end_time("2024-01-02 03:04:05");
        req("79 log with raw times", 79, ser(m), &S::signalGetFaceDetectRecordsReq,
            args(GetFaceDetectRecordsCondition{"rid-79-raw", "", 0, QDateTime(), QDateTime()}),
            "trace client get face detect records req, begin time:yesterday, end time:2024-01-02 03:04:05",
            "rid-79-raw");
    }
    cmd("17 cut at zero", 17, QByteArray("abc\0def", 7), &S::signalGetDevChannelsInfo, args(QStringLiteral("abc")),
        "trace client get device channels information cmd");
    cmd("19 empty", 19, QByteArray(), &S::signalClearFaceTemperatureCountCmd, args(QString()),
        "trace client clear face temperature count cmd");
    cmd("36 utf-8 cut at zero", 36, QByteArray("t\xc3\xb6ken\0rest", 11), &S::signalSetSaasTokenCmd,
        args(QStringLiteral("t\u00f6ken")), "trace client set saas token cmd");
    cmd("6 garbage", 6, "\xff\xff\xff", &S::signalSearchDevsCmd, {}, "trace client search devs cmd");
    cmd("8 garbage", 8, QByteArray("\0\0\0\0\0", 5), &S::signalBroadcastSearchDevsCmd, {},
        "trace client broadcast search devs cmd");
    cmd("37 garbage", 37, "not protobuf at all", &S::signalSaasLogoutCmd, {}, "trace client saas logout cmd");
}

void tst_Inbound::timeText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QDateTime>("expected"); // invalid when the text must not match
    QTest::newRow("milliseconds") << QByteArray(kT1Text) << kT1;
    QTest::newRow("last millisecond") << QByteArray(kT2Text) << kT2;
    QTest::newRow("no milliseconds") << QByteArray("2024-01-02 03:04:05") << QDateTime();
    QTest::newRow("date only") << QByteArray("2024-01-02") << QDateTime();
    QTest::newRow("ISO T") << QByteArray("2024-01-02T03:04:05.006") << QDateTime();
    QTest::newRow("no such day") << QByteArray("2024-02-30 03:04:05.006") << QDateTime();
    QTest::newRow("empty") << QByteArray() << QDateTime();
}

// Times are read as local wall-clock time, milliseconds included.
void tst_Inbound::timeText()
{
    QFETCH(QByteArray, text);
    QFETCH(QDateTime, expected);
    pb::DevTimingCmd m;
    m.add_devs_id("d");
    m.set_time(text.toStdString());
    QSignalSpy spy(&S::instance(), &S::signalSetDevsTimeCmd);
    client->sendFrame(MessageType::SetDevsTimeCmd, ser(m));
    QTRY_COMPARE(spy.count(), 1);
    const QDateTime time = spy.first().at(1).toDateTime();
    QCOMPARE(time.isValid(), expected.isValid());
    if (expected.isValid()) {
        QCOMPARE(time.timeSpec(), Qt::LocalTime);
        QCOMPARE(time.date(), expected.date());
        QCOMPARE(time.time(), expected.time());
    }
}

void tst_Inbound::invalidPayload_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("failure");
    const QList<QPair<int, const char *>> failures{
        {1, "init dgw req"},
        {5, "client set search devs config cmd"},
        {7, "client set managed devs to dgw cmd"},
        {9, "client add managed devs to dgw cmd"},
        {10, "client delete managed devs from dgw cmd"},
        {11, "client edit managed devs in dgw cmd"},
        {12, "client set devs time cmd"},
        {13, "client reboot devs cmd"},
        {14, "client restore factory cmd"},
        {15, "client reconnect devs cmd"},
        {16, "client activate devices cmd"},
        {20, "client get dev net info req"},
        {22, "client set dev net info req"},
        {23, "client get device platform req"},
        {25, "client set device platform req"},
        {27, "client get device platform_tav req"},
        {29, "client set device platform_tav req"},
        {31, "client import device cert req"},
        {52, "client search video recordings from dgw req"},
        {53, "client get rtsp url from dgw req"},
        {56, "client ptz req"},
        {58, "client get presets req"},
        {60, "client oper preset req"},
        {62, "client get patrols req"},
        {64, "client oper patrol req"},
        {66, "client oper patrol preset req"},
        {68, "client set patrol presets req"},
        {70, "client set osd req"},
        {71, "client modify device name req"},
        {73, "client add face req"},
        {75, "client get faces req"},
        {77, "client delete face req"},
        {79, "client get face detect records req"},
        {81, "open remote config req"},
        {82, "client check device upgrade req"},
        {85, "client do device upgrade cmd"},
        {86, "client get device upgrade progress req"},
        {88, "client modify device account req"},
        {90, "client get device secret questions cmd"},
        {92, "client reset device password cmd"},
        {94, "client talk oper req"},
        {96, "client speak oper req"},
        {100, "common req"},
        {111, "client upload file req"},
        {112, "client download file req"},
    };
    for (const auto &f : failures) {
        const QString failure = QStringLiteral("parse [%1] failure").arg(QLatin1String(f.second));
        // A well-formed id first, then a tag that never ends: a handler that kept
        // the half-parsed request would have it under "bad-id".
        QTest::addRow("%d truncated", f.first) << f.first
                                               << QByteArray("\x0a\x06"
                                                             "bad-id"
                                                             "\xff\xff\xff")
                                               << failure;
        // A string that is not UTF-8, in the first text field of the message.
        QByteArray utf8 = QByteArray("\x0a\x02\xc3\x28");
        if (f.first == 5)
            utf8 = QByteArray("\x12\x02\xc3\x28");
        else if (f.first == 7 || f.first == 9 || f.first == 11)
            utf8 = QByteArray("\x0a\x04\x0a\x02\xc3\x28");
        QTest::addRow("%d bad utf-8", f.first) << f.first << utf8 << failure;
    }
}

// One error line, nothing emitted, nothing kept; the connection goes on.
void tst_Inbound::invalidPayload()
{
    QFETCH(int, code);
    QFETCH(QByteArray, payload);
    QFETCH(QString, failure);
    const google::protobuf::LogSilencer quiet; // protobuf's own complaint about bad UTF-8
    QCOMPARE(client->pendingFrames(), 0);
    SignalLog log;
    oru_test::LogCursor cursor;
    pb::ChannelReq next;
    next.set_request_id("after-bad");
    client->sendFrame(MessageType(code), payload);
    client->sendFrame(MessageType::GetPresetsReq, ser(next));
    QTRY_VERIFY(log.total() > 0);
    QCOMPARE(log.fired(), firedOnly(QMetaMethod::fromSignal(&S::signalGetPresetsReq)));
    QCOMPARE(cursor.levelLines(), (QStringList{"error " + failure, "trace client get presets req"}));
    // An answer for the broken request would go out first, on the same socket.
    dev_config_res(Response{"bad-id", 0, QString()});
    get_presets_res(Response{"after-bad", 0, QString()}, {});
    Frame frame;
    QVERIFY(client->waitForFrame(&frame));
    QCOMPARE(int(frame.type), int(MessageType::GetPresetsRes));
    QCOMPARE(client->collectFrames(50).size(), 0);
}

void tst_Inbound::answerFromTheSlot_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QMetaMethod>("signal");
    QTest::addColumn<int>("answerCode");
    QTest::addColumn<QStringList>("lines");
    pb::InitDgwReq init;
    init.set_request_id("eager-1");
    QTest::newRow("1") << 1 << ser(init) << QMetaMethod::fromSignal(&S::signalInitDgwReq) << 2
                       << QStringList{"trace init dgw res", "info init dgw req"};
    pb::ChannelReq presets;
    presets.set_request_id("eager-58");
    QTest::newRow("58") << 58 << ser(presets) << QMetaMethod::fromSignal(&S::signalGetPresetsReq) << 59
                        << QStringList{"trace server response client get presets req", "trace client get presets req"};
    pb::CommonReq common;
    common.set_request_id("eager-100");
    QTest::newRow("100") << 100 << ser(common) << QMetaMethod::fromSignal(&S::signalCommonReq) << 101
                         << QStringList{"trace server response common req", "trace client common req"};
    pb::UploadFileReq upload;
    upload.set_request_id("eager-111");
    QTest::newRow("111") << 111 << ser(upload) << QMetaMethod::fromSignal(&S::signalUploadFileReq) << 113
                         << QStringList{"trace server response client get face detect records req",
                                        "trace client upload file req"};
}

// The asking socket is remembered before the signal and the line is logged
// after it, so an answer given inside the host's slot goes out at once.
void tst_Inbound::answerFromTheSlot()
{
    QFETCH(int, code);
    QFETCH(QByteArray, payload);
    QFETCH(QMetaMethod, signal);
    QFETCH(int, answerCode);
    QFETCH(QStringList, lines);
    QCOMPARE(client->pendingFrames(), 0);
    const oru_test::LogCursor cursor;
    EagerHost host;
    host.code = code;
    host.requestId = QStringLiteral("eager-%1").arg(code);
    host.cursor = &cursor;
    QVERIFY(connect(&S::instance(), "2" + signal.methodSignature(), &host, SLOT(onRequest())));
    client->sendFrame(MessageType(code), payload);
    Frame frame;
    QVERIFY(client->waitForFrame(&frame));
    QCOMPARE(int(frame.type), answerCode);
    QCOMPARE(host.calls, 1);
    QCOMPARE(host.linesAtEmit, QStringList());
    QCOMPARE(cursor.levelLines(), lines);
}

// The later request with an id wins; the earlier connection hears nothing.
void tst_Inbound::sameRequestIdFromTwoConnections()
{
    Connection first, second;
    QVERIFY(connectReady(&first));
    QVERIFY(connectReady(&second));
    QSignalSpy spy(&S::instance(), &S::signalGetPresetsReq);
    pb::ChannelReq m;
    m.set_request_id("dup");
    first.sendFrame(MessageType::GetPresetsReq, ser(m));
    QTRY_COMPARE(spy.count(), 1);
    second.sendFrame(MessageType::GetPresetsReq, ser(m));
    QTRY_COMPARE(spy.count(), 2);

    get_presets_res(Response{"dup", 0, QString()}, {PresetInfo{1, "p"}});
    Frame frame;
    QVERIFY(second.waitForFrame(&frame));
    QCOMPARE(int(frame.type), int(MessageType::GetPresetsRes));
    QCOMPARE(first.collectFrames(100).size(), 0);
    // One request, one answer.
    get_presets_res(Response{"dup", 0, QString()}, {});
    QCOMPARE(second.collectFrames(100).size(), 0);
    QCOMPARE(first.collectFrames(0).size(), 0);
    disconnectAndWait(&first);
    disconnectAndWait(&second);
}

// Codes the library sends, stream codes and unused codes: no signal, no line.
void tst_Inbound::foreignCodesAreDropped()
{
    QList<int> codes{0, 34, 35, 43, 114, 120, 127, -1, -100, -128};
    for (int code : {2,  18, 21, 24, 26, 28, 30, 32, 33,  38,  39,  40,  41,  42,  44,  45,  46,  47,  48,
                     49, 50, 51, 54, 55, 57, 59, 61, 63,  65,  67,  69,  72,  74,  76,  78,  80,  83,  84,
                     87, 89, 91, 93, 95, 97, 98, 99, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 113})
        codes << code;

    pb::ChannelReq request;
    request.set_request_id("foreign");
    setChannel(&request, "dev", 1);
    SignalLog log;
    oru_test::LogCursor cursor;
    for (int code : codes) {
        client->sendFrame(MessageType(code), ser(request));
        client->sendFrame(MessageType(code));
    }
    // Frames are handled in order: once this one is seen, all before it were.
    client->sendFrame(MessageType::SearchDevsCmd);
    QTRY_VERIFY(log.total() > 0);
    QCOMPARE(log.fired(), firedOnly(QMetaMethod::fromSignal(&S::signalSearchDevsCmd)));
    QCOMPARE(cursor.levelLines(), QStringList{"trace client search devs cmd"});
    // Nor was anything kept for the request-shaped payloads.
    dev_config_res(Response{"foreign", 0, QString()});
    QCOMPARE(client->collectFrames(100).size(), 0);
}

QTEST_GUILESS_MAIN(tst_Inbound)
#include "tst_inbound.moc"
