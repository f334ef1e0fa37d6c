// Inbound dispatch end to end: a client writes a frame on the control socket,
// the host sees one DgwSignals signal with the converted record, the log gets
// one line, and a request's answer finds its way back to the asking socket.
// Payloads are the client side's messages (or, for quirks, built with the
// generated setters): the gateway must read back what the client wrote.
#include "sdk_fixture.h"

#include "oru_message.pb.h"
#include "wire_convert.h"

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

// A message whose request id is "rid-<n>", optionally on device "dev-<n>" or
// on its channel <n>.
template <class M>
M request(int n)
{
    M m;
    m.set_request_id("rid-" + std::to_string(n));
    return m;
}
template <class M>
M onDev(int n)
{
    M m = request<M>(n);
    m.set_dev_id("dev-" + std::to_string(n));
    return m;
}
template <class M>
M onChannel(int n, const std::string &devId = std::string())
{
    M m = request<M>(n);
    m.mutable_channel_id()->set_dev_id(devId.empty() ? "dev-" + std::to_string(n) : devId);
    m.mutable_channel_id()->set_channel(n);
    return m;
}

DevInfo dev(int k)
{
    const QString s = QString::number(k);
    return DevInfo{"id-" + s,   "name-" + s, "sn-" + s, 400u + k,      "10.0.0." + s, 8000u + k,
                   "user-" + s, "pw-" + s,   "v" + s,   "series-" + s, -11 - k,       1200 + k,
                   1300u + k,   -14 - k,     true,      1600 + k,      -17 - k,       1800 + k};
}

// The client side's message for a record, serialised: the gateway must read
// back every member the client wrote.
template <class M, class Record>
QByteArray wired(const Record &record)
{
    M m;
    wire::toWire(record, &m);
    return ser(m);
}

template <class M>
QByteArray devices(const DevInfoList &devs)
{
    M m;
    wire::listToWire(devs, m.mutable_devs());
    return ser(m);
}

QByteArray deviceIds(const QStringList &ids)
{
    pb::DevList m;
    wire::setTexts(ids, m.mutable_devs_id());
    return ser(m);
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

template <typename Signal>
QStringList firedOnly(Signal signal)
{
    return {QString::fromLatin1(QMetaMethod::fromSignal(signal).methodSignature())};
}

// The codes whose handler records the asker: an answer under the request's id
// (any answer, the ids are one table) goes back to that socket.
bool isRequest(int code)
{
    static const QSet<int> requests = [] {
        QSet<int> codes;
#define ORU_TEST_REQUEST(code, name, handler)                                                                          \
    if (QByteArray(#handler).startsWith("request<"))                                                                   \
        codes << code;
        ORU_CONTROL_CHANNEL(ORU_TEST_REQUEST, ORU_SKIP_ROW, ORU_SKIP_CODE)
#undef ORU_TEST_REQUEST
        return codes;
    }();
    return requests.contains(code);
}

// Answers whatever was asked under `id`; returns the answer frame's code, or
// -1 when `code` is a command.
int answer(int code, const QString &id)
{
    dev_config_res(Response{id, 0, QString()});
    return isRequest(code) ? int(MessageType::DevConfigRes) : -1;
}

// How many frames `c` received before the answer to a request it sends now
// (-1 if that answer never came): frames leave in order, so nothing written to
// it before can still be on its way.
int framesBeforeBarrier(Connection *c)
{
    QSignalSpy asked(&S::instance(), &S::signalGetPresetsReq);
    c->sendFrame(MessageType::GetPresetsReq, oru_test::requestWithId<pb::ChannelReq>("barrier"));
    if (!QTest::qWaitFor([&] { return asked.count() == 1; }))
        return -1;
    get_presets_res(Response{"barrier", 0, QString()}, {});
    int before = 0;
    Frame frame;
    pb::GetPresetRes m;
    while (c->waitForFrame(&frame)) {
        if (frame.type == MessageType::GetPresetsRes && m.ParseFromString(frame.payload.toStdString())
            && m.request_id() == "barrier")
            return before;
        ++before;
    }
    return -1;
}

QString lineOf(int code);

// A frame, the one signal it must raise with its arguments, and the log line
// (level first). A request's answer must come back under `id`; for a command,
// `id` is what a wrongly kept entry would be found under.
struct Row {
    QByteArray tag;
    int code;
    QByteArray payload;
    QMetaMethod signal;
    QVariantList arguments;
    QString line;
    QString id;
};

struct Rows : QVector<Row> {
    // A request is answered under "rid-<code>" ("" when the payload is empty);
    // the tag is the code; the line is a client one at trace level unless it says,
    // or when not given, the one the handler's dispatch row expects.
    template <typename Signal, class... T>
    Rows &add(int code, const QByteArray &payload, Signal signal, const char *line, const T &...values)
    {
        const QString id = isRequest(code) && !payload.isEmpty() ? QStringLiteral("rid-%1").arg(code) : QString();
        QString text = line ? QString::fromUtf8(line) : lineOf(code);
        if (line && !text.startsWith(QLatin1String("info ")))
            text.prepend(QLatin1String("trace client "));
        append(
            Row{QByteArray::number(code), code, payload, QMetaMethod::fromSignal(signal), args(values...), text, id});
        return *this;
    }
    // A frame of the client side's message for `record`, which the signal must carry.
    template <class M, typename Signal, class Record>
    Rows &record(int code, Signal signal, const char *line, const Record &record)
    {
        return add(code, wired<M>(record), signal, line, record);
    }
    Rows &named(const char *tag, const char *id = nullptr)
    {
        last().tag = tag;
        if (id)
            last().id = QString::fromUtf8(id);
        return *this;
    }
    void addToTest() const
    {
        QTest::addColumn<Row>("row");
        for (const Row &r : *this)
            QTest::newRow(r.tag) << r;
    }
};

// Every handler once, every field set to a value of its own.
Rows dispatchRows()
{
    Rows rows;
    rows.record<pb::InitDgwReq>(1, &S::signalInitDgwReq, "info init dgw req",
                                InitDgwCondition{"rid-1", "ak-1", "sk-1", "ck-1", "csk-1", 1, "https://gw.example/1",
                                                 -8, "saas.example", "CER-1"});
    rows.record<pb::SetSearchDevsConfigCmd>(5, &S::signalSetSearchDevsConfigCmd, "set search devs config cmd",
                                            SearchDevsConfig{1, "192.168.1.10", "192.168.1.200", -4});
    rows.add(6, QByteArray(), &S::signalSearchDevsCmd, "search devs cmd");
    rows.add(7, devices<pb::SetManagedDevsCmd>({dev(1), dev(2)}), &S::signalSetManagedDevsCmd,
             "set managed devs to dgw cmd", DevInfoList{dev(1), dev(2)});
    rows.add(8, QByteArray(), &S::signalBroadcastSearchDevsCmd, "broadcast search devs cmd");
    rows.add(9, devices<pb::AddManagedDevsCmd>({dev(3)}), &S::signalAddManagedDevsCmd, "add managed devs to dgw cmd",
             DevInfoList{dev(3)});
    // Three commands share the list of device ids.
    const QStringList ids10{"d-10a", "d-10b", "d-10c"};
    rows.add(10, deviceIds(ids10), &S::signalDelManagedDevsCmd, "delete managed devs from dgw cmd", ids10);
    rows.add(13, deviceIds({"d-13"}), &S::signalRebootDevsCmd, "reboot devs cmd", QStringList{"d-13"});
    const QStringList ids15{"d-15a", "d-15b"};
    rows.add(15, deviceIds(ids15), &S::signalReconnectDevsCmd, "reconnect devs cmd", ids15);
    rows.add(11, devices<pb::EditManagedDevsCmd>({dev(4), dev(5), dev(6)}), &S::signalEditManagedDevsCmd,
             "edit managed devs in dgw cmd", DevInfoList{dev(4), dev(5), dev(6)});
    const QStringList ids12{"d-12a", "d-12b"};
    pb::DevTimingCmd m12;
    wire::setTexts(ids12, m12.mutable_devs_id());
    m12.set_time(kT1Text);
    rows.add(12, ser(m12), &S::signalSetDevsTimeCmd, "set devs time cmd", ids12, kT1);
    const QStringList ids14{"d-14a", "d-14b"};
    pb::RestoreFactoryCmd m14;
    wire::setTexts(ids14, m14.mutable_devs_id());
    m14.set_simple(true);
    rows.add(14, ser(m14), &S::signalRestoreFactory, "restore factory cmd", ids14, true);
    const QStringList sns16{"sn-16a", "sn-16b"};
    const ActivateCondition activate{"acc-16", "pw-16", {{"q1", "a1"}, {"q2", "a2"}}, -16};
    pb::DevActivateCmd m16;
    wire::setTexts(sns16, m16.mutable_devs_sn());
    wire::toWire(activate, &m16);
    rows.add(16, ser(m16), &S::signalActivateDevsCmd, "activate devices cmd", sns16, activate);
    // Plain text payloads.
    rows.add(17, "dev-17-\xc3\xa9", &S::signalGetDevChannelsInfo, "get device channels information cmd",
             QStringLiteral("dev-17-\u00e9"));
    rows.add(19, "dev-19", &S::signalClearFaceTemperatureCountCmd, "clear face temperature count cmd",
             QStringLiteral("dev-19"));
    rows.add(20, ser(onDev<pb::DevNetGetReq>(20)), &S::signalGetDevNetReq, "get dev net info req",
             QStringLiteral("rid-20"), QStringLiteral("dev-20"));
    rows.record<pb::DevNetSetReq>(
        22, &S::signalSetDevNetReq, "set dev net info req",
        SetDevNetCondition{"rid-22", "dev-22", "10.2.2.2", "255.255.0.0", "10.2.0.1", "8.8.4.4", true, -6, 7, -8});
    rows.record<pb::DevPlatformGetReq>(23, &S::signalGetDevPlatformReq, "get device platform req",
                                       GetDevPlatformCondition{"rid-23", "dev-23", -23, 1});
    rows.record<pb::DevPlatformSetReq>(
        25, &S::signalSetDevPlatformReq, "set device platform req",
        SetDevPlatformCondition{"rid-25", "dev-25", true, "platform.example:25", true, -4, 5});
    rows.add(27, ser(onDev<pb::DeviceReq>(27)), &S::signalGetDevPlatform_tavReq, "get device platform_tav req",
             QStringLiteral("rid-27"), QStringLiteral("dev-27"));
    rows.record<pb::DevPlatform_tavSetReq>(
        29, &S::signalSetDevPlatform_tavReq, "set device platform_tav req",
        SetDevPlatform_tavCondition{"rid-29", "dev-29", "online.example", true, "business.example"});
    rows.record<pb::DevCertImportReq>(
        31, &S::signalImportDevCertReq, "import device cert req",
        ImportDevCertCondition{"rid-31", "dev-31", -31, "CA-31", "CERT-31", "KEY-31", "SECRET-31"});
    rows.add(36, "token-36", &S::signalSetSaasTokenCmd, "set saas token cmd", QStringLiteral("token-36"));
    rows.add(37, QByteArray(), &S::signalSaasLogoutCmd, "saas logout cmd");
    rows.record<pb::SearchVideoRecordingsReq>(52, &S::signalSearchVideoRecsReq, "search video recordings from dgw req",
                                              RecsSearchCondition{"rid-52", "dev-52", 52, -3, 4, kT1, kT2});
    rows.record<pb::GetRtspUrlReq>(53, &S::signalGetRtspUrlReq, "get rtsp url from dgw req",
                                   GetRtspUrlCondition{"rid-53", "dev-53", 53, -53});
    rows.record<pb::PTZCtrlReq>(56, &S::signalPTZCtrlReq, "ptz req",
                                PTZCtrlCondition{"rid-56", "dev-56", 56, 3, -4, 5, 6});
    rows.record<pb::ChannelReq>(58, &S::signalGetPresetsReq, "get presets req",
                                ChannelCondition{"rid-58", "dev-58", 58});
    rows.record<pb::PresetOperReq>(
        60, &S::signalOperPresetReq, "oper preset req",
        PresetOperCondition{"rid-60", "dev-60", 60, 33, QStringLiteral("gate \u2192 yard"), -5});
    rows.record<pb::ChannelReq>(62, &S::signalGetPatrolsReq, "get patrols req",
                                ChannelCondition{"rid-62", "dev-62", 62});
    rows.record<pb::PatrolOperReq>(64, &S::signalOperPatrolReq, "oper patrol req",
                                   PatrolOperCondition{"rid-64", "dev-64", 64, -3, 4});
    rows.record<pb::PatrolPresetOperReq>(66, &S::signalOperPatrolPresetReq, "oper patrol preset req",
                                         PatrolPresetOperCondition{"rid-66", "dev-66", 66, -3, 4, 5, -6});
    rows.record<pb::SetPatrolPresetsReq>(68, &S::signalSetPatrolPresetsReq, "set patrol presets req",
                                         SetPatrolPresetsCondition{"rid-68", "dev-68", 68, -3, {{1, 10}, {2, 20}}});
    rows.record<pb::SetOSDReq>(70, &S::signalSetOSDReq, "set osd req",
                               SetOSDCondition{"rid-70", "dev-70", 70, QStringLiteral("\u5165\u53e3 1")});
    rows.record<pb::ModifyDevNameReq>(71, &S::signalModifyDevNameReq, "modify device name req",
                                      ModifyDevNameCondition{"rid-71", "dev-71", "Lobby cam"});
    rows.record<pb::AddFaceReq>(73, &S::signalAddFaceReq, "add face req",
                                ModifyFaceCondition{"rid-73", "dev-73", 73, "face-73", "Ada", -6, 7, -8, "staff", kT1,
                                                    kT2, QByteArray("\x00\xff\xd8\xff\x00\x01", 6),
                                                    QStringList{"org-a", "org-b"}});
    rows.record<pb::GetFacesReq>(75, &S::signalGetFacesReq, "get faces req",
                                 GetFacesCondition{"rid-75", "dev-75", 75, 3, 4, 5, 1});
    rows.record<pb::DelFaceReq>(77, &S::signalDelFaceReq, "delete face req",
                                DelFaceCondition{"rid-77", "dev-77", 77, -77});
    rows.record<pb::GetFaceDetectRecordsReq>(
        79, &S::signalGetFaceDetectRecordsReq,
        "get face detect records req, begin time:2024-01-02 03:04:05.006, end time:2025-12-31 23:59:58.999",
        GetFaceDetectRecordsCondition{"rid-79", "dev-79", 79, kT1, kT2});
    pb::OpenRemoteConfigReq m81;
    m81.set_dev_id("dev-81");
    m81.set_language(-81);
    rows.add(81, ser(m81), &S::signalOpenDevRemoteConfigReq, "open dev remote confit req", QStringLiteral("dev-81"),
             -81);
    // Check (a request) and run (a command) read the same message.
    const DevUpgradeCondtition upgrade{"rid-82", "dev-82",      "mode-82",   "http://fw.example/82",
                                       -82,      "main-82.bin", "ver-82.txt"};
    rows.record<pb::DevUpgradeReq>(82, &S::signalCheckDevUpgradeReq, "check device upgrade req", upgrade);
    rows.record<pb::DevUpgradeReq>(85, &S::signalDoDevUpgradeCmd, "do device upgrade cmd", upgrade)
        .named("85", "rid-82");
    rows.add(86, ser(onDev<pb::DeviceReq>(86)), &S::signalGetDevUpgradeProgressReq, "get device upgrade progress req",
             QStringLiteral("rid-86"), QStringLiteral("dev-86"));
    rows.record<pb::ModifyDevAccountReq>(
        88, &S::signalModifyDevAccountReq, "modify device account req",
        ModifyDevAccountCondition{"rid-88", "dev-88", "acc-88", "old-88", "new-88", "admin-level"});
    rows.record<pb::DevSecretQuestionsGetReq>(90, &S::signalGetDevSecretQuestionsCmd, "get device secret questions cmd",
                                              GetDevSecretQuestionsCondition{"sn-90", "acc-90"});
    rows.record<pb::DevPwdResetReq>(
        92, &S::signalResetDevPwdCmd, "reset device password cmd",
        ResetDevPwdCondition{"sn-92", "acc-92", "pw-92", {{"pet?", "cat"}, {"city?", "Oslo"}}});
    rows.record<pb::TalkOperReq>(94, &S::signalTalkOperReq, "talk oper req",
                                 TalkOperCondition{"rid-94", "dev-94", 94, -94});
    rows.record<pb::TalkOperReq>(96, &S::signalSpeakOperReq, "speak oper req",
                                 SpeakOperCondition{"rid-96", "dev-96", 96, 96});
    auto m100 = onChannel<pb::CommonReq>(100);
    m100.set_req_json(R"({"cmd":"ping","n":100})");
    rows.add(100, ser(m100), &S::signalCommonReq, "common req", ChannelId("dev-100", 100), QStringLiteral("rid-100"),
             QStringLiteral(R"({"cmd":"ping","n":100})"));
    rows.record<pb::UploadFileReq>(111, &S::signalUploadFileReq, "upload file req",
                                   UploadFileCondition{"rid-111", "dev-111", "/tmp/up.bin", "firmware"});
    rows.record<pb::DownloadFileReq>(112, &S::signalDownloadFileReq, "download file req",
                                     DownloadFileCondition{"rid-112", "dev-112", "/dev/log.txt", "C:/logs/log.txt"});
    return rows;
}

QString lineOf(int code)
{
    for (const Row &row : dispatchRows()) {
        if (row.code == code)
            return row.line;
    }
    return QString();
}

} // namespace

Q_DECLARE_METATYPE(Row)

// A host that answers from inside its slot, as soon as the request arrives.
class EagerHost : public QObject
{
    Q_OBJECT

public:
    int code = 0;
    const oru_test::LogCursor *cursor = nullptr;
    QStringList linesAtEmit;
    int calls = 0;
    int answerFrame = 0;

public slots:
    void onRequest()
    {
        ++calls;
        linesAtEmit = cursor->levelLines();
        answerFrame = answer(code, QStringLiteral("rid-%1").arg(code));
    }
};

class tst_Inbound : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void dispatch_data() { dispatchRows().addToTest(); }
    void dispatch() { checkRow(); }
    void emptyPayload_data();
    void emptyPayload() { checkRow(); }
    void edgeCases_data();
    void edgeCases() { checkRow(); }

    void timeIsLocal();
    void invalidPayload_data();
    void invalidPayload();
    void answerFromTheSlot_data();
    void answerFromTheSlot();
    void sameRequestIdFromTwoConnections();
    void foreignCodesAreDropped();

private:
    void checkRow();

    std::unique_ptr<Connection> client;
};

void tst_Inbound::initTestCase()
{
    oru_test::startSdk();
    oru_test::compareRecordsInVariants();
    QMetaType::registerEqualsComparator<DevInfoList>();
    QMetaType::registerEqualsComparator<ChannelId>();
    // A comparison that fell back to anything but the members would pass these.
    QVERIFY(args(ChannelCondition{"r", "d", 1}) != args(ChannelCondition{"r", "d", 2}));
    QVERIFY(args(ChannelId("d", 1)) != args(ChannelId("e", 1)));
    client.reset(new Connection);
    QVERIFY(oru_test::connectControlLogged(client.get()));
}

// Sends the row's frame and checks the signal, its arguments, the log line and
// whether an answer with the row's request id reaches this connection.
void tst_Inbound::checkRow()
{
    QFETCH(Row, row);
    QCOMPARE(client->pendingFrames(), 0);
    SignalLog log;
    oru_test::LogCursor cursor;
    client->sendFrame(MessageType(row.code), row.payload);
    QTRY_VERIFY(!log.fired().isEmpty());
    QCOMPARE(log.fired(), QStringList{QString::fromLatin1(row.signal.methodSignature())});
    QCOMPARE(log.of(row.signal).first(), row.arguments);
    QCOMPARE(cursor.levelLines(), QStringList{row.line});

    // A request's answer comes back; for a command nothing may be kept.
    answer(row.code, row.id);
    QCOMPARE(framesBeforeBarrier(client.get()), isRequest(row.code) ? 1 : 0);
}

// An empty payload parses as a message of defaults: the record takes the wire's
// defaults, not its own ("admin", 1, -1), and a request keeps the empty id.
// Rows: the records with defaults of their own and the hand-written handlers.
void tst_Inbound::emptyPayload_data()
{
    const QByteArray none;
    Rows()
        .add(12, none, &S::signalSetDevsTimeCmd, nullptr, QStringList(), QDateTime())
        .add(16, none, &S::signalActivateDevsCmd, nullptr, QStringList(), ActivateCondition{"", "", {}, 0})
        .add(22, none, &S::signalSetDevNetReq, nullptr, SetDevNetCondition{"", "", "", "", "", "", false, 0, 0, 0})
        .add(52, none, &S::signalSearchVideoRecsReq, nullptr,
             RecsSearchCondition{"", "", 0, 0, 0, QDateTime(), QDateTime()})
        .add(90, none, &S::signalGetDevSecretQuestionsCmd, nullptr, GetDevSecretQuestionsCondition{"", ""})
        .add(92, none, &S::signalResetDevPwdCmd, nullptr, ResetDevPwdCondition{"", "", "", {}})
        .add(100, none, &S::signalCommonReq, nullptr, ChannelId("", 0), QString(), QString())
        .addToTest();
}

void tst_Inbound::edgeCases_data()
{
    Rows rows;
    // Times without milliseconds do not match; the request goes on regardless.
    auto noMs = onChannel<pb::SearchVideoRecordingsReq>(1, "dev");
    noMs.set_request_id("rid-52-no-ms");
    noMs.set_begin_time("2024-01-02 03:04:05");
    noMs.set_end_time(kT2Text);
    rows.add(52, ser(noMs), &S::signalSearchVideoRecsReq, nullptr,
             RecsSearchCondition{"rid-52-no-ms", "dev", 1, 0, 0, QDateTime(), kT2})
        .named("time without milliseconds", "rid-52-no-ms");
    // Text stops at a zero byte (the id is kept cut, the time parses after the
    // cut); the image keeps every byte.
    auto zero = onChannel<pb::AddFaceReq>(5, raw("dev\0x"));
    zero.set_request_id(raw("rid-73z\0tail"));
    zero.set_serial_num(raw("ser\0ial"));
    zero.set_name(raw("\0hidden"));
    zero.add_organizations(raw("org\0x"));
    zero.add_organizations(raw("\0y"));
    zero.set_face_type(raw("ty\0pe"));
    zero.set_valid_time(std::string(kT1Text) + raw("\0junk"));
    zero.set_data_12(raw("\0img\0\xff"));
    rows.add(73, ser(zero), &S::signalAddFaceReq, nullptr,
             ModifyFaceCondition{"rid-73z", "dev", 5, "ser", "", 0, 0, 0, "ty", kT1, QDateTime(),
                                 QByteArray("\0img\0\xff", 6), QStringList{"org", ""}})
        .named("zero bytes", "rid-73z");
    rows.add(58, ser(request<pb::ChannelReq>(58)), &S::signalGetPresetsReq, nullptr, ChannelCondition{"rid-58", "", 0})
        .named("absent channel 58", "rid-58");
    auto common = request<pb::CommonReq>(100);
    common.set_req_json("{}");
    rows.add(100, ser(common), &S::signalCommonReq, nullptr, ChannelId("", 0), QStringLiteral("rid-100"),
             QStringLiteral("{}"))
        .named("absent channel 100", "rid-100");
    pb::DevActivateCmd activate;
    activate.add_devs_sn("sn-1");
    activate.set_account("");
    activate.set_password("secret");
    rows.add(16, ser(activate), &S::signalActivateDevsCmd, nullptr, QStringList{"sn-1"},
             ActivateCondition{"", "secret", {}, 0})
        .named("activation with empty account");
    // The line shows the times as they came, whatever they are.
    auto rawTimes = request<pb::GetFaceDetectRecordsReq>(79);
    rawTimes.set_begin_time("yesterday");
    rawTimes.set_end_time("2024-01-02 03:04:05");
    rows.add(79, ser(rawTimes), &S::signalGetFaceDetectRecordsReq,
             "get face detect records req, begin time:yesterday, end time:2024-01-02 03:04:05",
             GetFaceDetectRecordsCondition{"rid-79", "", 0, QDateTime(), QDateTime()})
        .named("79 log with raw times", "rid-79");
    rows.add(17, QByteArray("abc\0def", 7), &S::signalGetDevChannelsInfo, nullptr, QStringLiteral("abc"))
        .named("17 cut at zero");
    rows.add(19, QByteArray(), &S::signalClearFaceTemperatureCountCmd, nullptr, QString()).named("19 empty");
    rows.add(36, QByteArray("t\xc3\xb6ken\0rest", 11), &S::signalSetSaasTokenCmd, nullptr, QStringLiteral("t\u00f6ken"))
        .named("36 utf-8 cut at zero");
    rows.add(6, "\xff\xff\xff", &S::signalSearchDevsCmd, nullptr).named("6 garbage");
    rows.add(8, QByteArray("\0\0\0\0\0", 5), &S::signalBroadcastSearchDevsCmd, nullptr).named("8 garbage");
    rows.add(37, "not protobuf at all", &S::signalSaasLogoutCmd, nullptr).named("37 garbage");
    rows.addToTest();
}

// Times are read as local wall-clock time, milliseconds included (the rows
// compare instants only, which UTC and local time share on a UTC machine).
void tst_Inbound::timeIsLocal()
{
    pb::DevTimingCmd m;
    m.set_time(kT1Text);
    QSignalSpy spy(&S::instance(), &S::signalSetDevsTimeCmd);
    client->sendFrame(MessageType::SetDevsTimeCmd, ser(m));
    QTRY_COMPARE(spy.count(), 1);
    const QDateTime time = spy.first().at(1).toDateTime();
    QCOMPARE(time.timeSpec(), Qt::LocalTime);
    QCOMPARE(time.date(), kT1.date());
    QCOMPARE(time.time(), kT1.time());
}

// Every handler that parses a message, with the words of its failure line.
void tst_Inbound::invalidPayload_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("failure");
    for (const Row &row : dispatchRows()) {
        const int code = row.code;
        if (QList<int>{6, 8, 17, 19, 36, 37}.contains(code))
            continue; // no message to parse
        // The failure names the handler as its trace line does, minus level and times.
        QString what = row.line.section(QLatin1Char(' '), 1).section(QLatin1Char(','), 0, 0);
        if (code == 81)
            what = QStringLiteral("open remote config req");
        else if (code == 100)
            what = QStringLiteral("common req");
        const QString failure = QStringLiteral("parse [%1] failure").arg(what);
        // A well-formed id first, then a tag that never ends: a handler that kept
        // the half-parsed request would have it under "bad-id".
        QTest::addRow("%d truncated", code) << code
                                            << QByteArray("\x0a\x06"
                                                          "bad-id"
                                                          "\xff\xff\xff")
                                            << failure;
        // A string that is not UTF-8 in the first text field (after a bool for 5,
        // inside the first device for 7, 9 and 11).
        QByteArray utf8("\x0a\x02\xc3\x28");
        if (code == 5)
            utf8 = "\x12\x02\xc3\x28";
        else if (code == 7 || code == 9 || code == 11)
            utf8 = "\x0a\x04\x0a\x02\xc3\x28";
        QTest::addRow("%d bad utf-8", code) << code << utf8 << failure;
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
    client->sendFrame(MessageType(code), payload);
    client->sendFrame(MessageType::GetPresetsReq, ser(request<pb::ChannelReq>(58)));
    QTRY_VERIFY(!log.fired().isEmpty());
    QCOMPARE(log.fired(), firedOnly(&S::signalGetPresetsReq));
    QCOMPARE(cursor.levelLines(), (QStringList{"error " + failure, "trace client get presets req"}));
    // An answer for the broken request would go out first, on the same socket.
    dev_config_res(Response{"bad-id", 0, QString()});
    get_presets_res(Response{"rid-58", 0, QString()}, {});
    QCOMPARE(framesBeforeBarrier(client.get()), 1);
}

void tst_Inbound::answerFromTheSlot_data()
{
    Rows rows;
    for (const Row &row : dispatchRows()) {
        if (QList<int>{1, 58, 100, 111}.contains(row.code)) // one of each kind of request handler
            rows << row;
    }
    rows.addToTest();
}

// The asking socket is remembered before the signal and the line is logged
// after it, so an answer given inside the host's slot goes out at once.
void tst_Inbound::answerFromTheSlot()
{
    QFETCH(Row, row);
    QCOMPARE(client->pendingFrames(), 0);
    const oru_test::LogCursor cursor;
    EagerHost host;
    host.code = row.code;
    host.cursor = &cursor;
    QVERIFY(connect(&S::instance(), "2" + row.signal.methodSignature(), &host, SLOT(onRequest())));
    client->sendFrame(MessageType(row.code), row.payload);
    Frame frame;
    QVERIFY(client->waitForFrame(&frame));
    QCOMPARE(host.calls, 1);
    QCOMPARE(int(frame.type), host.answerFrame);
    QCOMPARE(host.linesAtEmit, QStringList());
    QCOMPARE(cursor.levelLines(), (QStringList{"trace server response device config req", row.line}));
}

// The later request with an id wins; the earlier connection hears nothing.
void tst_Inbound::sameRequestIdFromTwoConnections()
{
    Connection first, second;
    QVERIFY(oru_test::connectControlLogged(&first));
    QVERIFY(oru_test::connectControlLogged(&second));
    QSignalSpy spy(&S::instance(), &S::signalGetPresetsReq);
    const QByteArray dup = ser(request<pb::ChannelReq>(0));
    first.sendFrame(MessageType::GetPresetsReq, dup);
    QTRY_COMPARE(spy.count(), 1);
    second.sendFrame(MessageType::GetPresetsReq, dup);
    QTRY_COMPARE(spy.count(), 2);

    get_presets_res(Response{"rid-0", 0, QString()}, {PresetInfo{1, "p"}});
    Frame frame;
    QVERIFY(second.waitForFrame(&frame));
    QCOMPARE(int(frame.type), int(MessageType::GetPresetsRes));
    // One request, one answer.
    get_presets_res(Response{"rid-0", 0, QString()}, {});
    QCOMPARE(framesBeforeBarrier(&second), 0);
    QCOMPARE(framesBeforeBarrier(&first), 0);
    QVERIFY(oru_test::disconnectLogged(&first));
    QVERIFY(oru_test::disconnectLogged(&second));
}

// Codes the library sends, stream codes and unused codes: no signal, no line.
void tst_Inbound::foreignCodesAreDropped()
{
    QList<int> handled{3, 4}; // hello and exit belong to the server
    for (const Row &row : dispatchRows())
        handled << row.code;
    const QByteArray request = ser(onChannel<pb::ChannelReq>(1));
    SignalLog log;
    oru_test::LogCursor cursor;
    for (int code = -128; code < 128; ++code) {
        if (handled.contains(code))
            continue;
        client->sendFrame(MessageType(code), request);
        client->sendFrame(MessageType(code));
    }
    // Frames are handled in order: once this one is seen, all before it were.
    client->sendFrame(MessageType::SearchDevsCmd);
    QTRY_VERIFY(!log.fired().isEmpty());
    QCOMPARE(log.fired(), firedOnly(&S::signalSearchDevsCmd));
    QCOMPARE(cursor.levelLines(), QStringList{"trace client search devs cmd"});
    // Nor was anything kept for the request-shaped payloads.
    dev_config_res(Response{"rid-1", 0, QString()});
    QCOMPARE(framesBeforeBarrier(client.get()), 0);
}

QTEST_GUILESS_MAIN(tst_Inbound)
#include "tst_inbound.moc"