// Byte-level pins of the wire schema. Every message is written out by hand as
// bytes and read through the conversions into a record, so that a change of
// field number, wire type or label, or a conversion that reads the wrong
// field, shows up here; clients in other languages can be checked against the
// same bytes. The SDK's and the client's writers are pinned through these
// readers by the round trips of the inbound and outbound tests.
#include "oru_message.pb.h"
#include "records.h"
#include "wire_convert.h"

#include <google/protobuf/stubs/logging.h>

#include <QtTest>

#include <string>

using namespace oru_sdk_proto;
namespace sdk = oru_sdk;
namespace wire = oru_sdk::wire;
using oru_test::describe;

// The two date-times of the rows as their text's bytes.
#define T1 "32 30 32 34 2D 30 31 2D 30 32 20 30 33 3A 30 34 3A 30 35 2E 30 30 36" // 2024-01-02 03:04:05.006
#define T2 "32 30 32 35 2D 31 32 2D 33 31 20 32 33 3A 35 39 3A 35 38 2E 39 39 39" // 2025-12-31 23:59:58.999

namespace {

QByteArray hex(const char *text) { return QByteArray::fromHex(text); } // blanks are skipped

const QDateTime kT1(QDate(2024, 1, 2), QTime(3, 4, 5, 6));
const QDateTime kT2(QDate(2025, 12, 31), QTime(23, 59, 58, 999));

// The bytes parsed as M and handed to `read`, described member by member.
template <class M, class Read>
QString parsed(const char *bytes, Read read)
{
    M m;
    return m.ParseFromString(hex(bytes).toStdString()) ? describe(read(m)) : QStringLiteral("<parse failed>");
}

// Reads a message as its record.
template <class Record>
auto as()
{
    return [](const auto &m) {
        Record r;
        wire::fromWire(m, &r);
        return r;
    };
}

// Reads an answer as its envelope and its record.
template <class Record>
auto answer()
{
    return [](const auto &m) { return qMakePair(wire::result(m), as<Record>()(m)); };
}

template <class M, class Read, class Expected>
void addRow(const char *name, const char *bytes, Read read, const Expected &expected)
{
    QTest::newRow(name) << parsed<M>(bytes, read) << describe(expected);
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
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("expected");

    addRow<InitDgwReq>(
        "InitDgwReq",
        "0A 02 72 31  12 01 61  1A 01 62  22 01 63  2A 01 64  30 01  3A 01 75  40 AC 02  4A 01 73  52 01 65",
        as<sdk::InitDgwCondition>(), sdk::InitDgwCondition{"r1", "a", "b", "c", "d", 1, "u", 300, "s", "e"});
    // int32 -1 takes ten bytes (sign-extended, no zigzag); fields 16+ need a two-byte tag.
    addRow<DevInfo>(
        "DevInfo",
        "0A 01 69  12 01 6E  1A 01 73  20 04  2A 01 70  30 06  3A 01 75  42 01 77  4A 01 76  52 01 78"
        "  58 FF FF FF FF FF FF FF FF FF 01  60 0C  68 80 80 80 80 08  70 0E  78 01"
        "  80 01 10  88 01 11  90 01 12",
        as<sdk::DevInfo>(),
        sdk::DevInfo{"i", "n", "s", 4, "p", 6, "u", "w", "v", "x", -1, 12, 0x80000000u, 14, true, 16, 17, 18});
    addRow<DevInfoFromDgw>(
        "DevInfoFromDgw + map entry",
        "0A 01 69  12 01 73  1A 01 70  20 04  28 05  30 06  3A 01 76  42 01 78  48 09  50 0A  5A 01 63  60 0C"
        "  6A 10  08 07  12 0C  0A 01 6B 10 02 1A 01 6D 20 04 28 01",
        as<sdk::DevInfoFromDgw>(),
        sdk::DevInfoFromDgw{"i", "s", "p", 4, 5, 6, "v", "x", 9, 10, "c", 12, {{7, {"k", 2, "m", 4, true}}}});
    addRow<DevChannInfo>(
        "DevChannInfo + empty map value",
        "0A 05 0A 01 64 10 01  12 01 6F  18 03  20 04  2A 01 73  32 01 70  38 07  42 01 75  4A 01 77"
        "  50 0A  58 0B  62 04 08 02 12 00",
        as<sdk::DevChannelInfo>(),
        sdk::DevChannelInfo{"d", 1, "o", 3, 4, "s", "p", 7, "u", "w", 10, 11, {{2, {"", 0, "", 0, false}}}});
    addRow<DevNetSetReq>(
        "DevNetSetReq", "0A 01 72  12 01 64  1A 14  0A 01 31 12 01 32 1A 01 33 22 01 34 28 01 30 06 38 07 40 08",
        as<sdk::SetDevNetCondition>(), sdk::SetDevNetCondition{"r", "d", "1", "2", "3", "4", true, 6, 7, 8});
    addRow<DevActivateCmd>(
        "DevActivateCmd", "0A 01 61  0A 01 62  12 01 63  1A 01 70  22 06 0A 01 71 12 01 79  28 05",
        [](const DevActivateCmd &m) { return qMakePair(wire::texts(m.devs_sn()), as<sdk::ActivateCondition>()(m)); },
        qMakePair(QStringList{"a", "b"}, sdk::ActivateCondition{"c", "p", {{"q", "y"}}, 5}));
    addRow<PTZCtrlReq>("PTZCtrlReq",
                       "0A 01 72  12 05 0A 01 64 10 03  18 03  20 FE FF FF FF FF FF FF FF FF 01  28 05  30 06",
                       as<sdk::PTZCtrlCondition>(), sdk::PTZCtrlCondition{"r", "d", 3, 3, -2, 5, 6});
    addRow<SetPatrolPresetsReq>(
        "SetPatrolPresetsReq", "0A 01 72  12 05 0A 01 64 10 01  18 03  22 04 08 05 10 07  22 04 08 01 10 02",
        as<sdk::SetPatrolPresetsCondition>(), sdk::SetPatrolPresetsCondition{"r", "d", 1, 3, {{5, 7}, {1, 2}}});
    addRow<AddFaceReq>(
        "AddFaceReq",
        "0A 01 72  12 05 0A 01 64 10 01  1A 01 73  22 01 6E  2A 02 6F 31  2A 02 6F 32  30 06  38 07  40 08"
        "  4A 01 74  52 17 " T1 "  5A 17 " T2 "  62 02 00 FF",
        as<sdk::ModifyFaceCondition>(),
        sdk::ModifyFaceCondition{
            "r", "d", 1, "s", "n", 6, 7, 8, "t", kT1, kT2, QByteArray("\x00\xFF", 2), {"o1", "o2"}});
    addRow<FaceDetectRecordInfo>(
        "FaceDetectRecordInfo",
        "0A 01 73  12 01 6E  1A 01 63  22 01 64  2A 01 70  32 17 " T1 "  38 07  40 F8 FF FF FF FF FF FF FF FF 01"
        "  49 00 00 00 00 00 40 42 40  50 0A  58 0B  62 01 01  6A 01 FE",
        as<sdk::FaceDetectRecordInfo>(),
        sdk::FaceDetectRecordInfo{"s", "n", "c", "d", "p", kT1, 7, -8, 36.5, 10, 11, "\x01", "\xFE"});
    addRow<AlarmInfo>("AlarmInfo",
                      "0A 01 61  12 05 0A 01 64 10 01  1A 05 0A 01 65 10 02  22 01 74  2A 17 " T1
                      "  32 01 01  32 00  32 02 02 03  3A 01 79  40 08  4A 01 6E  52 01 FF",
                      as<sdk::AlarmInfo>(),
                      sdk::AlarmInfo{"a", {"d", 1}, {"e", 2}, "t", kT1, {"\x01", "", "\x02\x03"}, "y", 8, "n", "\xFF"});
    addRow<DevUpgradeRes>("DevUpgradeRes", "0A 05 08 05 12 01 65  12 01 72  18 03  22 01 76  28 01  32 01 70  38 07",
                          answer<sdk::DevUpgradeInfo>(),
                          qMakePair(sdk::Response{"r", 5, "e"}, sdk::DevUpgradeInfo{3, "v", true, "p", 7}));
    addRow<FileTransferProgress>("FileTransferProgress", "0A 01 72  10 32  18 FF FF FF FF FF FF FF FF FF 01",
                                 as<sdk::FileTransferProgress>(), sdk::FileTransferProgress{"r", 50, -1});
    // Same data as AddFaceReq, own numbering.
    addRow<FaceInfo>(
        "FaceInfo",
        "08 FD FF FF FF FF FF FF FF FF 01  12 01 73  1A 01 6E  22 01 74  2A 01 75  30 06  38 07  42 02 FF D8"
        "  4A 17 " T1 "  52 17 " T2 "  5A 01 6F",
        as<sdk::FaceInfo>(), sdk::FaceInfo{-3, "s", "n", "t", "u", 6, 7, QByteArray("\xFF\xD8"), kT1, kT2, {"o"}});
    addRow<GetFacesReq>("GetFacesReq", "0A 01 72  12 05 0A 01 64 10 01  18 03  20 04  28 05  30 01",
                        as<sdk::GetFacesCondition>(), sdk::GetFacesCondition{"r", "d", 1, 3, 4, 5, 1});
    addRow<DevCertImportReq>("DevCertImportReq", "0A 01 72  12 01 64  18 03  22 01 61  2A 01 63  32 01 6B  3A 01 73",
                             as<sdk::ImportDevCertCondition>(),
                             sdk::ImportDevCertCondition{"r", "d", 3, "a", "c", "k", "s"});
    addRow<DevPlatform_tavGetRes>(
        "DevPlatform_tavGetRes", "0A 02 08 02  12 01 72  1A 0C 08 01 10 01 1A 01 6F 20 01 2A 01 62",
        [](const DevPlatform_tavGetRes &m) {
            return qMakePair(wire::result(m), as<sdk::DevPlatform_tavInfo>()(m.dev_platform_info()));
        },
        qMakePair(sdk::Response{"r", 2, ""}, sdk::DevPlatform_tavInfo{true, true, "o", true, "b"}));
    addRow<SearchVideoRecordingsRes>(
        "SearchVideoRecordingsRes", "0A 00  12 01 72  18 01  22 39 0A 17 " T1 " 12 17 " T2 " 1A 01 66 20 04 28 05",
        [](const SearchVideoRecordingsRes &m) {
            return qMakePair(m.playback_by_time_enable(), wire::listFromWire<sdk::VideoRecInfo>(m.recordings()));
        },
        qMakePair(true, sdk::VideoRecList{{kT1, kT2, "f", 4, 5}}));
    addRow<PatrolPresetOperReq>("PatrolPresetOperReq", "0A 01 72  12 05 0A 01 64 10 01  18 03  20 04  28 05  30 06",
                                as<sdk::PatrolPresetOperCondition>(),
                                sdk::PatrolPresetOperCondition{"r", "d", 1, 3, 4, 5, 6});
    addRow<FaceCountInfo>(
        "FaceCountInfo", "0A 06 0A 01 64 10 AC 02  10 02  18 03  20 04",
        [](const FaceCountInfo &m) {
            return qMakePair(as<sdk::ChannelId>()(m.channel_id()), as<sdk::FaceCountInfo>()(m));
        },
        qMakePair(sdk::ChannelId("d", 300), sdk::FaceCountInfo{2, 3, 4}));
    // One packed field of int32 (ten bytes for a negative).
    addRow<ChannelsStatusPush>(
        "ChannelsStatusPush", "0A 01 64  12 0B FF FF FF FF FF FF FF FF FF 01 05",
        [](const ChannelsStatusPush &m) {
            return qMakePair(wire::text(m.dev_id()), QList<int>(m.status().begin(), m.status().end()));
        },
        qMakePair(QString("d"), QList<int>{-1, 5}));
    // GetPatrolRes > PatrolInfo (19 bytes) > PatrolPresetInfo (11) > PresetInfo (5)
    addRow<GetPatrolRes>(
        "GetPatrolRes", "12 01 72  1A 13  08 01  12 0B  0A 05 08 05 12 01 70  10 02  18 03  18 03  20 04",
        [](const GetPatrolRes &m) {
            return qMakePair(wire::result(m), wire::listFromWire<sdk::PatrolInfo>(m.patrols()));
        },
        qMakePair(sdk::Response{"r", 0, ""}, sdk::PatrolList{{1, {{{5, "p"}, 2, 3}}, 3, 4}}));
    // Plain varints above 2^31, five bytes each.
    addRow<PlaybackPosProgressPush>(
        "PlaybackPosProgressPush", "08 81 80 80 80 08  10 FF FF FF FF 0F",
        [](const PlaybackPosProgressPush &m) { return qMakePair(m.offset_time(), m.duration()); },
        qMakePair(0x80000001u, 0xFFFFFFFFu));
}

void TstWire::fullMessages()
{
    QFETCH(QString, actual);
    QFETCH(QString, expected);
    QCOMPARE(actual, expected);
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
