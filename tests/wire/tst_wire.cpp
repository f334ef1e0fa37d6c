// Byte-level pins of the wire schema. Every expected value is written out by
// hand so that a change of field number, wire type or label shows up here,
// and so that clients in other languages can be checked against the same bytes.
#include "oru_message.pb.h"

#include <google/protobuf/stubs/logging.h>

#include <QtTest>

#include <string>

using namespace oru_sdk_proto;

namespace {

QByteArray hex(const char *text) { return QByteArray::fromHex(text); } // blanks are skipped

QByteArray ser(const google::protobuf::MessageLite &m) { return QByteArray::fromStdString(m.SerializeAsString()); }

void setCh(ChannelId *c, const char *dev, quint32 ch)
{
    c->set_dev_id(dev);
    c->set_channel(ch);
}

void addRow(const char *name, const google::protobuf::MessageLite &msg, const char *expected)
{
    QTest::newRow(name) << ser(msg) << hex(expected);
}

struct Parser {
    bool (*fn)(const QByteArray &);
};
template <class T>
Parser parserFor()
{
    return {[](const QByteArray &b) {
        T m;
        return m.ParseFromString(b.toStdString());
    }};
}

} // namespace

Q_DECLARE_METATYPE(Parser)

class TstWire : public QObject
{
    Q_OBJECT

private slots:
    // every field of a message, numbers and wire types
    void fullMessages_data();
    void fullMessages();
    // UTF-8 in string fields only
    void parseOutcome_data();
    void parseOutcome();
};

// ---- every field set ----

void TstWire::fullMessages_data()
{
    QTest::addColumn<QByteArray>("actual");
    QTest::addColumn<QByteArray>("expected");

    InitDgwReq init;
    init.set_request_id("r1");
    init.set_ak("a");
    init.set_sk("b");
    init.set_ck("c");
    init.set_csk("d");
    init.set_param_6(true);
    init.set_url("u");
    init.set_param_8(300);
    init.set_saas_server("s");
    init.set_saas_cer("e");
    addRow("InitDgwReq", init,
           "0A 02 72 31  12 01 61  1A 01 62  22 01 63  2A 01 64  30 01  3A 01 75  40 AC 02  4A 01 73  52 01 65");

    DevInfo dev;
    dev.set_id("i");
    dev.set_name("n");
    dev.set_sn("s");
    dev.set_param_4(4);
    dev.set_ip("p");
    dev.set_param_6(6);
    dev.set_user("u");
    dev.set_password("w");
    dev.set_version("v");
    dev.set_series_name("x");
    dev.set_param_11(-1);
    dev.set_param_12(12);
    dev.set_param_13(0x80000000u);
    dev.set_param_14(14);
    dev.set_param_15(true);
    dev.set_param_16(16);
    dev.set_param_17(17);
    dev.set_param_18(18);
    // int32 -1 takes ten bytes (sign-extended, no zigzag); fields 16+ need a two-byte tag.
    addRow("DevInfo", dev,
           "0A 01 69  12 01 6E  1A 01 73  20 04  2A 01 70  30 06  3A 01 75  42 01 77  4A 01 76  52 01 78"
           "  58 FF FF FF FF FF FF FF FF FF 01  60 0C  68 80 80 80 80 08  70 0E  78 01"
           "  80 01 10  88 01 11  90 01 12");

    DevInfoFromDgw fromDgw;
    fromDgw.set_id("i");
    fromDgw.set_sn("s");
    fromDgw.set_ip("p");
    fromDgw.set_param_4(4);
    fromDgw.set_param_5(5);
    fromDgw.set_param_6(6);
    fromDgw.set_version("v");
    fromDgw.set_series_name("x");
    fromDgw.set_param_9(9);
    fromDgw.set_param_10(10);
    fromDgw.set_dev_code("c");
    fromDgw.set_param_12(12);
    AiAbilityInfo ai;
    ai.set_package("k");
    ai.set_param_2(2);
    ai.set_name("m");
    ai.set_param_4(4);
    ai.set_param_5(true);
    (*fromDgw.mutable_ability_details())[7] = ai;
    // One entry only: the order of several map entries on the wire is not fixed.
    addRow("DevInfoFromDgw + map entry", fromDgw,
           "0A 01 69  12 01 73  1A 01 70  20 04  28 05  30 06  3A 01 76  42 01 78  48 09  50 0A  5A 01 63  60 0C"
           "  6A 10  08 07  12 0C  0A 01 6B 10 02 1A 01 6D 20 04 28 01");

    DevChannInfo chann;
    setCh(chann.mutable_channel_id(), "d", 1);
    chann.set_osd("o");
    chann.set_param_3(3);
    chann.set_param_4(4);
    chann.set_sn("s");
    chann.set_ip("p");
    chann.set_param_7(7);
    chann.set_user("u");
    chann.set_password("w");
    chann.set_param_10(10);
    chann.set_param_11(11);
    (*chann.mutable_ability_details())[2] = AiAbilityInfo();
    addRow("DevChannInfo + empty map value", chann,
           "0A 05 0A 01 64 10 01  12 01 6F  18 03  20 04  2A 01 73  32 01 70  38 07  42 01 75  4A 01 77"
           "  50 0A  58 0B  62 04 08 02 12 00");

    DevNetSetReq net;
    net.set_request_id("r");
    net.set_dev_id("d");
    DevNetInfo *ni = net.mutable_dev_net_info();
    ni->set_ip("1");
    ni->set_sub_net_mask("2");
    ni->set_default_gateway("3");
    ni->set_dns("4");
    ni->set_param_5(true);
    ni->set_param_6(6);
    ni->set_param_7(7);
    ni->set_param_8(8);
    addRow("DevNetSetReq", net,
           "0A 01 72  12 01 64  1A 14  0A 01 31 12 01 32 1A 01 33 22 01 34 28 01 30 06 38 07 40 08");

    DevActivateCmd act;
    act.add_devs_sn("a");
    act.add_devs_sn("b");
    act.set_account("c");
    act.set_password("p");
    SecretInfo *si = act.add_secret_infos();
    si->set_question("q");
    si->set_answer("y");
    act.set_param_5(5);
    addRow("DevActivateCmd", act, "0A 01 61  0A 01 62  12 01 63  1A 01 70  22 06 0A 01 71 12 01 79  28 05");

    PTZCtrlReq ptz;
    ptz.set_request_id("r");
    setCh(ptz.mutable_channel_id(), "d", 3);
    ptz.set_param_3(3);
    ptz.set_param_4(-2);
    ptz.set_param_5(5);
    ptz.set_param_6(0xFFFFFFFFu);
    addRow("PTZCtrlReq", ptz,
           "0A 01 72  12 05 0A 01 64 10 03  18 03  20 FE FF FF FF FF FF FF FF FF 01  28 05  30 FF FF FF FF 0F");

    SetPatrolPresetsReq spp;
    spp.set_request_id("r");
    setCh(spp.mutable_channel_id(), "d", 1);
    spp.set_param_3(3);
    SetPatrolPresetsReq::PresetInfo *p = spp.add_presets();
    p->set_param_1(5);
    p->set_param_2(7);
    p = spp.add_presets();
    p->set_param_1(1);
    p->set_param_2(2);
    addRow("SetPatrolPresetsReq", spp, "0A 01 72  12 05 0A 01 64 10 01  18 03  22 04 08 05 10 07  22 04 08 01 10 02");

    AddFaceReq face;
    face.set_request_id("r");
    setCh(face.mutable_channel_id(), "d", 1);
    face.set_serial_num("s");
    face.set_name("n");
    face.add_organizations("o1");
    face.add_organizations("o2");
    face.set_param_6(6);
    face.set_param_7(7);
    face.set_param_8(8);
    face.set_face_type("t");
    face.set_valid_time("v");
    face.set_invalid_time("x");
    face.set_data_12(std::string("\x00\xFF", 2));
    addRow("AddFaceReq", face,
           "0A 01 72  12 05 0A 01 64 10 01  1A 01 73  22 01 6E  2A 02 6F 31  2A 02 6F 32  30 06  38 07  40 08"
           "  4A 01 74  52 01 76  5A 01 78  62 02 00 FF");

    FaceDetectRecordInfo rec;
    rec.set_serial_num("s");
    rec.set_name("n");
    rec.set_company("c");
    rec.set_department("d");
    rec.set_position("p");
    rec.set_detect_time("t");
    rec.set_param_7(7);
    rec.set_param_8(-8);
    rec.set_param_9(36.5);
    rec.set_param_10(10);
    rec.set_param_11(11);
    rec.set_data_12("\x01");
    rec.set_data_13("\xFE");
    addRow("FaceDetectRecordInfo", rec,
           "0A 01 73  12 01 6E  1A 01 63  22 01 64  2A 01 70  32 01 74  38 07  40 F8 FF FF FF FF FF FF FF FF 01"
           "  49 00 00 00 00 00 40 42 40  50 0A  58 0B  62 01 01  6A 01 FE");

    AlarmInfo alarm;
    alarm.set_alarm_id("a");
    setCh(alarm.mutable_channel_id(), "d", 1);
    setCh(alarm.mutable_second_channel_id(), "e", 2);
    alarm.set_trigger_name("t");
    alarm.set_alarm_time("m");
    alarm.add_data_6("\x01");
    alarm.add_data_6("");
    alarm.add_data_6("\x02\x03");
    alarm.set_alarm_type("y");
    alarm.set_param_8(8);
    alarm.set_alarm_name("n");
    alarm.set_data_10("\xFF");
    addRow("AlarmInfo", alarm,
           "0A 01 61  12 05 0A 01 64 10 01  1A 05 0A 01 65 10 02  22 01 74  2A 01 6D  32 01 01  32 00  32 02 02 03"
           "  3A 01 79  40 08  4A 01 6E  52 01 FF");

    DevUpgradeRes up;
    up.mutable_error()->set_err_code(5);
    up.mutable_error()->set_err_msg("e");
    up.set_request_id("r");
    up.set_param_3(3);
    up.set_new_version_name("v");
    up.set_param_5(true);
    up.set_phase("p");
    up.set_param_7(7);
    addRow("DevUpgradeRes", up, "0A 05 08 05 12 01 65  12 01 72  18 03  22 01 76  28 01  32 01 70  38 07");

    FileTransferProgress ftp;
    ftp.set_request_id("r");
    ftp.set_param_2(50);
    ftp.set_param_3(-1);
    addRow("FileTransferProgress", ftp, "0A 01 72  10 32  18 FF FF FF FF FF FF FF FF FF 01");

    // Same data as AddFaceReq, own numbering.
    FaceInfo fi;
    fi.set_param_1(-3);
    fi.set_serial_num("s");
    fi.set_name("n");
    fi.set_face_type("t");
    fi.set_face_url("u");
    fi.set_param_6(6);
    fi.set_param_7(7);
    fi.set_data_8("\xFF\xD8");
    fi.set_valid_time("v");
    fi.set_invalid_time("x");
    fi.add_organizations("o");
    addRow("FaceInfo", fi,
           "08 FD FF FF FF FF FF FF FF FF 01  12 01 73  1A 01 6E  22 01 74  2A 01 75  30 06  38 07  42 02 FF D8"
           "  4A 01 76  52 01 78  5A 01 6F");

    GetFacesReq gf;
    gf.set_request_id("r");
    setCh(gf.mutable_channel_id(), "d", 1);
    gf.set_param_3(3);
    gf.set_param_4(4);
    gf.set_param_5(5);
    gf.set_param_6(true);
    addRow("GetFacesReq", gf, "0A 01 72  12 05 0A 01 64 10 01  18 03  20 04  28 05  30 01");

    DevCertImportReq cert;
    cert.set_request_id("r");
    cert.set_dev_id("d");
    cert.set_param_3(3);
    cert.set_ca("a");
    cert.set_cert_contents("c");
    cert.set_key("k");
    cert.set_secret_key("s");
    addRow("DevCertImportReq", cert, "0A 01 72  12 01 64  18 03  22 01 61  2A 01 63  32 01 6B  3A 01 73");

    DevPlatform_tavGetRes tav;
    tav.mutable_error()->set_err_code(2);
    tav.set_request_id("r");
    DevPlatformInfo_tav *ti = tav.mutable_dev_platform_info();
    ti->set_param_1(true);
    ti->set_param_2(true);
    ti->set_online_server("o");
    ti->set_param_4(true);
    ti->set_bussiness_server("b");
    addRow("DevPlatform_tavGetRes", tav, "0A 02 08 02  12 01 72  1A 0C 08 01 10 01 1A 01 6F 20 01 2A 01 62");

    SearchVideoRecordingsRes svr;
    svr.mutable_error();
    svr.set_request_id("r");
    svr.set_playback_by_time_enable(true);
    VideoRecInfo *vr = svr.add_recordings();
    vr->set_begin_time("b");
    vr->set_end_time("e");
    vr->set_file_name("f");
    vr->set_param_4(4);
    vr->set_param_5(5);
    addRow("SearchVideoRecordingsRes", svr, "0A 00  12 01 72  18 01  22 0D 0A 01 62 12 01 65 1A 01 66 20 04 28 05");

    PatrolPresetOperReq ppo;
    ppo.set_request_id("r");
    setCh(ppo.mutable_channel_id(), "d", 1);
    ppo.set_param_3(3);
    ppo.set_param_4(4);
    ppo.set_param_5(5);
    ppo.set_param_6(6);
    addRow("PatrolPresetOperReq", ppo, "0A 01 72  12 05 0A 01 64 10 01  18 03  20 04  28 05  30 06");

    FaceCountInfo cnt;
    setCh(cnt.mutable_channel_id(), "d", 300);
    cnt.set_param_2(2);
    cnt.set_param_3(3);
    cnt.set_param_4(4);
    addRow("FaceCountInfo", cnt, "0A 06 0A 01 64 10 AC 02  10 02  18 03  20 04");

    // One packed field of int32 (ten bytes for a negative).
    ChannelsStatusPush status;
    status.set_dev_id("d");
    status.add_status(-1);
    status.add_status(5);
    addRow("ChannelsStatusPush", status, "0A 01 64  12 0B FF FF FF FF FF FF FF FF FF 01 05");

    // GetPatrolRes > PatrolInfo (19 bytes) > PatrolPresetInfo (11) > PresetInfo (5)
    GetPatrolRes patrols;
    patrols.set_request_id("r");
    PatrolInfo *patrol = patrols.add_patrols();
    patrol->set_param_1(1);
    PatrolPresetInfo *stop = patrol->add_presets();
    stop->mutable_preset()->set_param_1(5);
    stop->mutable_preset()->set_preset_name("p");
    stop->set_param_2(2);
    stop->set_param_3(3);
    patrol->set_param_3(3);
    patrol->set_param_4(4);
    addRow("GetPatrolRes", patrols, "12 01 72  1A 13  08 01  12 0B  0A 05 08 05 12 01 70  10 02  18 03  18 03  20 04");

    // Plain varints above 2^31, five bytes each.
    PlaybackPosProgressPush progress;
    progress.set_offset_time(0x80000001u);
    progress.set_duration(0xFFFFFFFFu);
    addRow("PlaybackPosProgressPush", progress, "08 81 80 80 80 08  10 FF FF FF FF 0F");
}

void TstWire::fullMessages()
{
    QFETCH(QByteArray, actual);
    QFETCH(QByteArray, expected);
    QCOMPARE(actual.toHex(' '), expected.toHex(' '));
}

// ---- UTF-8 ----

void TstWire::parseOutcome_data()
{
    QTest::addColumn<Parser>("parser");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<bool>("ok");

    // UTF-8 is checked in string fields only.
    QTest::newRow("DevInfo.name lone FF") << parserFor<DevInfo>() << hex("12 01 FF") << false;
    QTest::newRow("FaceInfo.face_url jpeg bytes") << parserFor<FaceInfo>() << hex("2A 03 FF D8 FF") << false;
    QTest::newRow("FaceInfo.data_8 jpeg bytes") << parserFor<FaceInfo>() << hex("42 03 FF D8 FF") << true;
    QTest::newRow("FaceInfo.organizations FF") << parserFor<FaceInfo>() << hex("5A 01 FF") << false;
    QTest::newRow("map value name FF") << parserFor<DevInfoFromDgw>() << hex("6A 07 08 01 12 03 1A 01 FF") << false;
    QTest::newRow("AlarmInfo.data_6 FF") << parserFor<AlarmInfo>() << hex("32 01 FF") << true;
    QTest::newRow("TlvInfo.tlv_data FF") << parserFor<TlvInfo>() << hex("12 02 FF FE") << true;
}

void TstWire::parseOutcome()
{
    QFETCH(Parser, parser);
    QFETCH(QByteArray, input);
    QFETCH(bool, ok);
    const google::protobuf::LogSilencer quiet; // the runtime logs each UTF-8 rejection
    QCOMPARE(parser.fn(input), ok);
}

QTEST_APPLESS_MAIN(TstWire)
#include "tst_wire.moc"
