// Writes the seed inputs of the three fuzzers: one per message code, built
// from real protobuf messages, plus a few mixed sequences; and packs or
// unpacks a corpus (fuzz/corpus/<target>.pack: each input preceded by its
// length as a 32-bit little-endian number).
// Usage: oru_fuzz_seeds <out-dir> [<target>.pack...]
//          seeds into <out-dir>/{frames,control,stream}, each pack unpacked
//          into <out-dir>/<target>
//        oru_fuzz_seeds --pack <corpus-dir> <target>.pack
#include "frame_codec.h"
#include "oru_message.pb.h"
#include "wire_message.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QPair>

#include <cstdio>
#include <functional>
#include <string>
#include <type_traits>

namespace proto = oru_sdk_proto;
using oru_sdk::MessageType;

namespace {

#define ORU_HAS(name, expr)                                                                                            \
    template <typename M, typename = void>                                                                             \
    struct name : std::false_type {                                                                                    \
    };                                                                                                                 \
    template <typename M>                                                                                              \
    struct name<M, std::void_t<decltype(expr)>> : std::true_type {                                                     \
    };
ORU_HAS(HasRequestId, std::declval<M &>().set_request_id(std::string()))
ORU_HAS(HasDevId, std::declval<M &>().set_dev_id(std::string()))
ORU_HAS(HasChannel, std::declval<M &>().mutable_channel_id())
ORU_HAS(HasBeginTime, std::declval<M &>().set_begin_time(std::string()))
ORU_HAS(HasEndTime, std::declval<M &>().set_end_time(std::string()))
ORU_HAS(HasDevsId, std::declval<M &>().add_devs_id(std::string()))

// A message with the fields most handlers read filled in.
template <typename M>
QByteArray filled(const std::function<void(M &)> &more = {})
{
    M m;
    if constexpr (HasRequestId<M>::value)
        m.set_request_id("req-1");
    if constexpr (HasDevId<M>::value)
        m.set_dev_id("dev-\xc3\xa9-1");
    if constexpr (HasChannel<M>::value) {
        m.mutable_channel_id()->set_dev_id("dev-2");
        m.mutable_channel_id()->set_channel(3);
    }
    if constexpr (HasBeginTime<M>::value)
        m.set_begin_time("2024-01-02 03:04:05.006");
    if constexpr (HasEndTime<M>::value)
        m.set_end_time("2024-01-02 03:04:05");
    if constexpr (HasDevsId<M>::value) {
        m.add_devs_id("a");
        m.add_devs_id("b");
    }
    if (more)
        more(m);
    return oru_sdk::serializeMessage(m);
}

QList<QPair<int, QByteArray>> controlPayloads()
{
    return {
        {1, filled<proto::InitDgwReq>([](auto &m) {
             m.set_ak("ak");
             m.set_url("http://x");
         })},
        {5, filled<proto::SetSearchDevsConfigCmd>([](auto &m) {
             m.set_begin_ip("10.0.0.1");
             m.set_end_ip("10.0.0.9");
         })},
        {6, QByteArray()},
        {7, filled<proto::SetManagedDevsCmd>([](auto &m) { m.add_devs()->set_id("d1"); })},
        {8, QByteArray()},
        {9, filled<proto::AddManagedDevsCmd>([](auto &m) {
             auto *d = m.add_devs();
             d->set_id("d2");
             d->set_ip("1.2.3.4");
         })},
        {10, filled<proto::DevList>()},
        {11, filled<proto::EditManagedDevsCmd>([](auto &m) { m.add_devs()->set_name("n"); })},
        {12, filled<proto::DevTimingCmd>([](auto &m) { m.set_time("2024-01-02 03:04:05.006"); })},
        {13, filled<proto::DevList>()},
        {14, filled<proto::RestoreFactoryCmd>([](auto &m) { m.set_simple(true); })},
        {15, filled<proto::DevList>()},
        {16, filled<proto::DevActivateCmd>([](auto &m) {
             m.add_devs_sn("sn1");
             m.set_account("");
             auto *s = m.add_secret_infos();
             s->set_question("q");
             s->set_answer("a");
         })},
        {17, QByteArray("dev-17\0tail", 11)},
        {19, QByteArray("dev-19")},
        {20, filled<proto::DevNetGetReq>()},
        {22, filled<proto::DevNetSetReq>()},
        {23, filled<proto::DevPlatformGetReq>()},
        {25, filled<proto::DevPlatformSetReq>()},
        {27, filled<proto::DeviceReq>()},
        {29, filled<proto::DevPlatform_tavSetReq>()},
        {31, filled<proto::DevCertImportReq>()},
        {36, QByteArray("token")},
        {37, QByteArray()},
        {52, filled<proto::SearchVideoRecordingsReq>()},
        {53, filled<proto::GetRtspUrlReq>()},
        {56, filled<proto::PTZCtrlReq>()},
        {58, filled<proto::ChannelReq>()},
        {60, filled<proto::PresetOperReq>([](auto &m) { m.set_preset_name("p"); })},
        {62, filled<proto::ChannelReq>()},
        {64, filled<proto::PatrolOperReq>()},
        {66, filled<proto::PatrolPresetOperReq>()},
        {68, filled<proto::SetPatrolPresetsReq>([](auto &m) { m.add_presets(); })},
        {70, filled<proto::SetOSDReq>([](auto &m) { m.set_osd("osd"); })},
        {71, filled<proto::ModifyDevNameReq>([](auto &m) { m.set_dev_name("name"); })},
        {73, filled<proto::AddFaceReq>([](auto &m) {
             m.set_valid_time("2024-01-02 03:04:05.006");
             m.set_data_12(std::string("\0img", 4));
             m.add_organizations("o");
         })},
        {75, filled<proto::GetFacesReq>()},
        {77, filled<proto::DelFaceReq>()},
        {79, filled<proto::GetFaceDetectRecordsReq>()},
        {81, filled<proto::OpenRemoteConfigReq>([](auto &m) { m.set_language(2); })},
        {82, filled<proto::DevUpgradeReq>()},
        {85, filled<proto::DevUpgradeReq>()},
        {86, filled<proto::DeviceReq>()},
        {88, filled<proto::ModifyDevAccountReq>()},
        {90, filled<proto::DevSecretQuestionsGetReq>()},
        {92, filled<proto::DevPwdResetReq>()},
        {94, filled<proto::TalkOperReq>()},
        {96, filled<proto::TalkOperReq>()},
        {100, filled<proto::CommonReq>([](auto &m) { m.set_req_json("{\"a\":1}"); })},
        {111, filled<proto::UploadFileReq>()},
        {112, filled<proto::DownloadFileReq>()},
    };
}

QList<QPair<int, QByteArray>> streamPayloads()
{
    return {
        {104, filled<proto::LiveVideoConnReq>([](auto &m) { m.set_param_2(1); })},
        {105, filled<proto::PlaybackByFileReq>([](auto &m) { m.set_file_name("f.mp4"); })},
        {106, filled<proto::PlaybackByTimeReq>([](auto &m) { m.set_start_time("2024-01-02 03:04:05.006"); })},
        {107, filled<proto::SkipByPosReq>([](auto &m) { m.set_offset_time(5); })},
        {108, filled<proto::SkipByTimeReq>([](auto &m) { m.set_skip_time("2024-01-02 03:04:05.006"); })},
        {109, filled<proto::PlaybackCtrlReq>([](auto &m) { m.set_ctrl(1); })},
        {110, filled<proto::PlaybackSpeedSetReq>([](auto &m) { m.set_playback_speed("2X"); })},
    };
}

// One dispatcher record: op, code, 16-bit little-endian length, payload.
QByteArray record(quint8 op, int code, const QByteArray &payload)
{
    QByteArray r;
    r.append(char(op)).append(char(qint8(code)));
    r.append(char(payload.size() & 0xff)).append(char((payload.size() >> 8) & 0xff));
    return r + payload;
}

bool write(const QString &dir, const QString &name, const QByteArray &bytes)
{
    QDir().mkpath(dir);
    QFile file(dir + QLatin1Char('/') + name);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

int pack(const QString &dir, const QString &target)
{
    QByteArray bytes;
    for (const QFileInfo &f : QDir(dir).entryInfoList(QDir::Files, QDir::Name)) {
        QFile file(f.filePath());
        if (!file.open(QIODevice::ReadOnly))
            return 1;
        const QByteArray input = file.readAll();
        const quint32 size = quint32(input.size());
        for (int shift = 0; shift < 32; shift += 8)
            bytes.append(char((size >> shift) & 0xff));
        bytes += input;
    }
    QFile out(target);
    return out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size() ? 0 : 1;
}

bool unpack(const QString &packPath, const QString &dir)
{
    QFile file(packPath);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    int n = 0;
    for (int at = 0; at + 4 <= bytes.size(); ++n) {
        const uchar *head = reinterpret_cast<const uchar *>(bytes.constData()) + at;
        const int size = int(head[0] | (head[1] << 8) | (head[2] << 16) | (uint(head[3]) << 24));
        if (size < 0 || at + 4 + size > bytes.size())
            return false;
        if (!write(dir, QStringLiteral("pack-%1").arg(n, 5, 10, QLatin1Char('0')), bytes.mid(at + 4, size)))
            return false;
        at += 4 + size;
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 4 && QByteArray(argv[1]) == "--pack")
        return pack(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <out-dir> [<target>.pack...] | --pack <corpus-dir> <target>.pack\n", argv[0]);
        return 2;
    }
    const QString out = QString::fromLocal8Bit(argv[1]);
    bool ok = true;
    for (int i = 2; i < argc; ++i) {
        const QFileInfo packFile(QString::fromLocal8Bit(argv[i]));
        ok &= unpack(packFile.filePath(), out + QLatin1Char('/') + packFile.completeBaseName());
    }
    const auto control = controlPayloads();
    const auto stream = streamPayloads();

    // Control: each code alone, answered by the host, then pumped out.
    QByteArray all;
    for (const auto &[code, payload] : control) {
        const QByteArray one = record(0, code, payload) + QByteArray(1, char(7));
        ok &=
            write(out + QStringLiteral("/control"), QStringLiteral("code-%1").arg(code, 3, 10, QLatin1Char('0')), one);
        all += record(8, code, payload);
    }
    // Host calls (op 5): every push function once.
    QByteArray pushes;
    for (int which = 0; which < 24; ++which)
        pushes += QByteArray(1, char(5)) + char(which) + QByteArray("\x0cxyz\x05\xed\xa0\x80\x00", 9);
    ok &= write(out + QStringLiteral("/control"), QStringLiteral("mixed"), all + pushes + QByteArray(1, char(7)));
    // Raw frames through the server's reader (op 6).
    QByteArray raw = oru_sdk::encodeFrame(MessageType::GetPresetsReq, control[27].second)
        + oru_sdk::encodeFrame(MessageType::SearchDevsCmd, {});
    ok &= write(out + QStringLiteral("/control"), QStringLiteral("raw"),
                QByteArray(1, char(6)) + char(raw.size() & 0xff) + char(raw.size() >> 8) + raw);

    // Stream: open each kind, then control it, then the host writes.
    for (const auto &[code, payload] : stream) {
        ok &= write(out + QStringLiteral("/stream"), QStringLiteral("code-%1").arg(code),
                    record(0, code, payload) + record(8, code, payload));
    }
    QByteArray session = record(0, 104, stream[0].second) + record(8, 104, stream[0].second);
    for (const auto &[code, payload] : stream.mid(3))
        session += record(0, code, payload);
    // Host: data (20) and an event (21) on socket 0's stream; socket 1 leaves (op 15).
    session += QByteArray("\x05\x14\x01\x10\x00", 5) + QByteArray(16, 'm') + char(15)
        + QByteArray("\x05\x15\x01\x02\x00\x00\x00", 7);
    const QByteArray opened = oru_sdk::encodeFrame(MessageType::PlaybackByFileReq, stream[1].second);
    session += QByteArray(1, char(6)) + char(opened.size()) + char(0) + opened;
    ok &= write(out + QStringLiteral("/stream"), QStringLiteral("session"), session);

    // Frames: encoded mode (odd first byte) and a raw stream cut in pieces.
    QByteArray described(1, char(1));
    described += QByteArray("\x03\x09\x05\x00", 4); // three cuts: 9, 5, rest
    QByteArray rawFrames;
    for (const auto &[code, payload] : control.mid(0, 12)) {
        const QByteArray p = payload.left(200);
        described += QByteArray(1, char(qint8(code))) + char(p.size()) + p;
        rawFrames += oru_sdk::encodeFrame(MessageType(code), p);
    }
    described += QByteArray(1, char(-128)) + char(255); // a null payload
    ok &= write(out + QStringLiteral("/frames"), QStringLiteral("encoded"), described);
    ok &= write(out + QStringLiteral("/frames"), QStringLiteral("raw-cut"),
                QByteArray("\x00\x04\x08\x01\x0d\x00\x00", 7) + rawFrames);
    // The tail of a frame arriving by itself, and declared sizes far too large.
    QByteArray huge = oru_sdk::encodeFrame(MessageType::SearchDevsCmd, "abc");
    huge.replace(0, 8, QByteArray("\x40\x00\x00\x00\x00\x00\x00\x00", 8));
    QByteArray bigPayload = oru_sdk::encodeFrame(MessageType::SearchDevsCmd, "abc");
    bigPayload.replace(9, 4, QByteArray("\xff\xff\xff\xf0", 4));
    ok &= write(out + QStringLiteral("/frames"), QStringLiteral("huge"),
                QByteArray("\x00\x02\x0c\x00\x00", 5) + bigPayload + huge);
    return ok ? 0 : 1;
}
