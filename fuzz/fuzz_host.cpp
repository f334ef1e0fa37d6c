#include "fuzz_host.h"

#include "frame_codec.h"
#include "message_hamal.h"
#include "oru_message.pb.h"
#include "stream_worker.h"
#include "wire_message.h"

#include <oru_sdk/dgw_signals.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTemporaryDir>

#include <google/protobuf/stubs/logging.h>

#include <cstdio>
#include <cstdlib>

namespace oru_fuzz {

using namespace oru_sdk;

namespace {

// Client sockets hang off an owner that lives to the very end, so that the
// leak check at exit sees them as reachable.
QObject *const clientOwner = new QObject;
QList<QLocalSocket *> controlClients;
QList<QLocalSocket *> streamClients;
QString controlServer;
QString streamServer;
QLocalSocket *rawClients[2] = {nullptr, nullptr};
QLocalSocket *rawStreamPeer = nullptr;
QLocalSocket *mainClient = nullptr;

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "fuzz harness: %s\n", what);
    std::abort();
}

// Connects a client and returns the server's end of it: the newest socket
// child of the owner's QLocalServer (sockets that never joined a stream, or
// left before any hello, are kept there for good, so no search over them).
QLocalSocket *connectPeer(const QString &server, QObject *owner, QLocalSocket **client)
{
    auto *listener = owner->findChild<QLocalServer *>();
    if (!listener)
        fail("no server");
    const auto newest = [listener]() -> QObject * {
        const QObjectList &children = listener->children();
        return children.isEmpty() ? nullptr : children.last();
    };
    QObject *const before = newest();
    auto *socket = new QLocalSocket(clientOwner);
    socket->connectToServer(server);
    if (!socket->waitForConnected(3000))
        fail("cannot connect");
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 3000) {
        QCoreApplication::processEvents();
        auto *peer = qobject_cast<QLocalSocket *>(newest());
        if (peer && peer != before && peer->state() == QLocalSocket::ConnectedState) {
            *client = socket;
            return peer;
        }
    }
    fail("connection not accepted");
}

// UTF-8 text, or raw UTF-16 units with lone surrogates and all: whatever a
// host may hand over.
QString anyText(Input &in)
{
    const quint8 head = in.byte();
    const QByteArray raw = in.bytes(head >> 2);
    if (!(head & 1))
        return QString::fromUtf8(raw);
    return QString(reinterpret_cast<const QChar *>(raw.constData()), raw.size() / 2);
}

// The stream that stream socket 0 opened last, or any number.
StreamId anyStream(Input &in)
{
    const quint8 pick = in.byte();
    return pick & 1 ? gateway().streamPeers[0]->property("stream_id").toUInt() : StreamId(pick);
}

QDateTime anyTime(Input &in)
{
    const quint8 pick = in.byte() % 3;
    if (pick == 0)
        return QDateTime();
    return QDateTime::fromMSecsSinceEpoch(qint64(in.u32()) * (pick == 1 ? 1000 : 1));
}

Response response(const QString &requestId, Input *in = nullptr)
{
    Response r;
    r.requestId = requestId;
    if (in) {
        r.errorCode = int(in->u32());
        r.errorText = anyText(*in);
    }
    return r;
}

// The host: every request is answered at once, with content made from the
// request itself, so the outbound side sees whatever the inbound side parsed.
void connectHost()
{
    DgwSignals &s = DgwSignals::instance();
    QObject::connect(&s, &DgwSignals::signalInitDgwReq,
                     [](const InitDgwCondition &c) { init_dgw_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalGetDevNetReq, [](const QString &id, const QString &dev) {
        DevNetInfo i;
        i.ip = dev;
        get_dev_net_res(response(id), i);
    });
    QObject::connect(&s, &DgwSignals::signalSetDevNetReq,
                     [](const SetDevNetCondition &c) { set_dev_net_res(response(c.requestId), c.devId, c.ip); });
    QObject::connect(&s, &DgwSignals::signalGetDevPlatformReq, [](const GetDevPlatformCondition &c) {
        DevPlatformInfo i;
        i.platformAddr = c.devId;
        get_dev_platform_res(response(c.requestId), i);
    });
    QObject::connect(&s, &DgwSignals::signalSetDevPlatformReq,
                     [](const SetDevPlatformCondition &c) { set_dev_platform_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalGetDevPlatform_tavReq, [](const QString &id, const QString &dev) {
        DevPlatform_tavInfo i;
        i.onlineServer = dev;
        get_dev_platform_tav_res(response(id), i);
    });
    QObject::connect(&s, &DgwSignals::signalSetDevPlatform_tavReq,
                     [](const SetDevPlatform_tavCondition &c) { set_dev_platform_tav_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalImportDevCertReq,
                     [](const ImportDevCertCondition &c) { import_dev_cert_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalSearchVideoRecsReq, [](const RecsSearchCondition &c) {
        VideoRecInfo rec;
        rec.begin = c.beginTime;
        rec.end = c.endTime;
        rec.fileName = c.devId;
        search_video_recordings_res(response(c.requestId), {rec, rec}, c.param3 != 0);
    });
    QObject::connect(&s, &DgwSignals::signalGetRtspUrlReq,
                     [](const GetRtspUrlCondition &c) { get_rtsp_url_res(response(c.requestId), c.devId); });
    QObject::connect(&s, &DgwSignals::signalPTZCtrlReq, [](const PTZCtrlCondition &c) {
        PTZ_ctrl_res(response(c.requestId), PTZOperation(c.operation), PTZAction(c.action));
    });
    QObject::connect(&s, &DgwSignals::signalGetPresetsReq, [](const ChannelCondition &c) {
        get_presets_res(response(c.requestId), {PresetInfo{c.channel, c.devId}});
    });
    QObject::connect(&s, &DgwSignals::signalOperPresetReq,
                     [](const PresetOperCondition &c) { oper_preset_res(response(c.requestId), PresetOper(c.oper)); });
    QObject::connect(&s, &DgwSignals::signalGetPatrolsReq, [](const ChannelCondition &c) {
        PatrolInfo p;
        p.number = c.channel;
        p.presets.append(PatrolPresetInfo{PresetInfo{c.channel, c.devId}, 1, 2});
        get_patrols_res(response(c.requestId), {p});
    });
    QObject::connect(&s, &DgwSignals::signalOperPatrolReq, [](const PatrolOperCondition &c) {
        oper_patrol_res(response(c.requestId), PatrolOper(c.param4));
    });
    QObject::connect(&s, &DgwSignals::signalOperPatrolPresetReq, [](const PatrolPresetOperCondition &c) {
        oper_patrol_preset_res(response(c.requestId), PatrolPresetOper(c.param3));
    });
    QObject::connect(&s, &DgwSignals::signalSetPatrolPresetsReq,
                     [](const SetPatrolPresetsCondition &c) { set_patrol_presets_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalSetOSDReq,
                     [](const SetOSDCondition &c) { dev_config_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalModifyDevNameReq,
                     [](const ModifyDevNameCondition &c) { dev_config_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalAddFaceReq,
                     [](const ModifyFaceCondition &c) { add_face_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalGetFacesReq, [](const GetFacesCondition &c) {
        FaceInfo f;
        f.name = c.devId;
        f.validTime = QDateTime::currentDateTime();
        f.organizations = QStringList{c.devId, QString()};
        get_faces_res(response(c.requestId), {f}, uint(c.param3));
    });
    QObject::connect(&s, &DgwSignals::signalDelFaceReq,
                     [](const DelFaceCondition &c) { del_face_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalGetFaceDetectRecordsReq, [](const GetFaceDetectRecordsCondition &c) {
        FaceDetectRecordInfo r;
        r.name = c.devId;
        r.detectTime = c.beginTime;
        get_face_detect_records_res(response(c.requestId), {r}, 1);
    });
    QObject::connect(&s, &DgwSignals::signalCheckDevUpgradeReq, [](const DevUpgradeCondtition &c) {
        check_dev_upgrade_res(response(c.requestId), DevUpgradeInfo());
    });
    QObject::connect(&s, &DgwSignals::signalGetDevUpgradeProgressReq, [](const QString &id, const QString &) {
        get_dev_upgrade_progress_res(response(id), DevUpgradeInfo());
    });
    QObject::connect(&s, &DgwSignals::signalModifyDevAccountReq,
                     [](const ModifyDevAccountCondition &c) { modify_dev_account_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalGetDevSecretQuestionsCmd, [](const GetDevSecretQuestionsCondition &c) {
        get_dev_secret_questions_res(c.devSn, 0, {c.account});
    });
    QObject::connect(&s, &DgwSignals::signalResetDevPwdCmd,
                     [](const ResetDevPwdCondition &c) { reset_dev_pwd_res(c.devSn, 1); });
    QObject::connect(&s, &DgwSignals::signalTalkOperReq,
                     [](const TalkOperCondition &c) { talk_oper_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalSpeakOperReq,
                     [](const SpeakOperCondition &c) { speak_oper_res(response(c.requestId)); });
    QObject::connect(&s, &DgwSignals::signalCommonReq,
                     [](const ChannelId &, const QString &id, const QString &json) { common_res(id, json); });
    QObject::connect(&s, &DgwSignals::signalUploadFileReq, [](const UploadFileCondition &c) {
        FileTransferProgress p;
        p.requestId = c.requestId;
        push_file_transfer_progress(p);
    });
    QObject::connect(&s, &DgwSignals::signalDownloadFileReq, [](const DownloadFileCondition &c) {
        FileTransferProgress p;
        p.requestId = c.requestId;
        push_file_transfer_progress(p);
    });
    QObject::connect(&s, &DgwSignals::signalActivateDevsCmd, [](const QStringList &sns, const ActivateCondition &) {
        for (const QString &sn : sns)
            activate_dev_res(sn, 0);
    });
    QObject::connect(&s, &DgwSignals::signalGetDevChannelsInfo, [](const QString &dev) {
        DevChannelInfo ch;
        ch.devId = dev;
        ch.abilityDetails.insert(1, AiAbilityInfo());
        push_dev_channels_info_msg(dev, {ch});
    });
    // Stream requests: answer on the stream they opened.
    QObject::connect(&s, &DgwSignals::signalLiveVideoConnReq,
                     [](StreamId id, const LiveVideoConnCondition &c) { write_stream_data(id, c.devId.toUtf8()); });
    QObject::connect(&s, &DgwSignals::signalPlaybackByFileReq, [](StreamId id, const PlaybackByFileCondition &c) {
        push_playback_by_file_progress_msg(id, uint(c.param3), uint(c.param4));
    });
    QObject::connect(&s, &DgwSignals::signalPlaybackByTimeReq, [](StreamId id, const PlaybackByTimeCondition &c) {
        push_playback_by_time_progress_msg(id, c.startTime);
    });
    QObject::connect(&s, &DgwSignals::signalSkipByAppointedTimeReq,
                     [](StreamId id, const QDateTime &t) { push_playback_by_time_progress_msg(id, t); });
    QObject::connect(&s, &DgwSignals::signalPlaybackCtrlReq,
                     [](StreamId id, PlaybackCtrl ctrl) { push_stream_event_msg(id, StreamEvent(int(ctrl))); });
}

Gateway *startGateway()
{
    static int argc = 1;
    static char name[] = "oru_fuzz";
    static char *argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    // Malformed strings are the point here; protobuf's complaints are noise.
    google::protobuf::SetLogHandler([](google::protobuf::LogLevel, const char *, int, const std::string &) {});
    static QTemporaryDir home;
    qputenv("XDG_DATA_HOME", home.path().toUtf8());
    // The log would only measure the disk; ORU_LOG_LEVEL=trace brings it back.
    if (qEnvironmentVariableIsEmpty("ORU_LOG_LEVEL"))
        qputenv("ORU_LOG_LEVEL", "off");
    const QString id = QString::number(QCoreApplication::applicationPid());
    const QString control = QStringLiteral("oru_fuzz_msg_") + id;
    const QString stream = QStringLiteral("oru_fuzz_stream_") + id;
    controlServer = control;
    streamServer = stream;
    init_oru_dgw_sdk(QStringLiteral("logs"), control, stream);
    connectHost();

    static Gateway g;
    for (int i = 0; i < 2; ++i) {
        QLocalSocket *client = nullptr;
        g.controlNames.append(connectPeer(control, &MessageHamal::instance(), &client)->socketDescriptor());
        controlClients.append(client);
        g.streamPeers.append(connectPeer(stream, StreamWorker::instance(), &client));
        streamClients.append(client);
    }
    connectPeer(control, &MessageHamal::instance(), &rawClients[0]);
    rawStreamPeer = connectPeer(stream, StreamWorker::instance(), &rawClients[1]);
    // A main client that never leaves: with one known, control sockets that
    // leave are let go of instead of kept (with whatever they had unread).
    connectPeer(control, &MessageHamal::instance(), &mainClient);
    mainClient->write(encodeFrame(MessageType::MainClientHello, QByteArray()));
    mainClient->flush();
    for (int i = 0; i < 10; ++i)
        QCoreApplication::processEvents();
    return &g;
}

} // namespace

Gateway &gateway()
{
    static Gateway *g = startGateway();
    return *g;
}

void pump()
{
    QCoreApplication::processEvents();
    // No event loop runs here, so what was deleteLater()'d must be let go
    // of by hand, or it piles up.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    for (QLocalSocket *client : qAsConst(controlClients) + streamClients)
        client->readAll();
    for (QLocalSocket *client : rawClients)
        client->readAll();
    mainClient->readAll();
}

void reconnectStream(int index)
{
    Gateway &g = gateway();
    QLocalSocket *client = nullptr;
    QLocalSocket *const leaving = g.streamPeers[index];
    g.streamPeers[index] = connectPeer(streamServer, StreamWorker::instance(), &client);
    // The old server end is deleted by the server once it sees the disconnect
    // (or kept, if it never joined a stream): it is not touched from here on.
    // The old one joins a stream before it goes, so that the server lets go of
    // it (a socket that never joined is kept).
    oru_sdk_proto::LiveVideoConnReq join;
    join.mutable_channel_id()->set_dev_id("leaving");
    StreamWorker::instance()->slotMessageComing(leaving, MessageType::LiveVideoConnReq, serializeMessage(join));
    QLocalSocket *old = streamClients[index];
    streamClients[index] = client;
    old->disconnectFromServer();
    old->deleteLater();
}

void sendRaw(Channel channel, QByteArray bytes)
{
    gateway();
    if (channel == Channel::Control)
        bytes.replace('\x03', '\x05').replace('\x04', '\x05');
    QLocalSocket *client = rawClients[int(channel)];
    client->write(bytes);
    client->flush();
    pump();
    pump();
}

void tick()
{
    static unsigned count = 0;
    if (++count % 256 != 0)
        return;
    Gateway &g = gateway();
    for (int i = 0; i < g.streamPeers.size(); ++i)
        reconnectStream(i);
    // The spare stream socket joins a stream before it goes, so that the
    // server lets go of it and of any bytes stuck behind a huge length.
    oru_sdk_proto::LiveVideoConnReq join;
    join.mutable_channel_id()->set_dev_id("leaving");
    StreamWorker::instance()->slotMessageComing(rawStreamPeer, MessageType::LiveVideoConnReq, serializeMessage(join));
    for (int channel = 0; channel < 2; ++channel) {
        QLocalSocket *old = rawClients[channel];
        if (channel == 0)
            connectPeer(controlServer, &MessageHamal::instance(), &rawClients[0]);
        else
            rawStreamPeer = connectPeer(streamServer, StreamWorker::instance(), &rawClients[1]);
        old->disconnectFromServer();
        old->deleteLater();
    }
    pump();
}

void hostCall(Input &in)
{
    switch (in.byte() % 24) {
    case 0:
        push_dev_status_msg(anyText(in), DevStatus(int(in.u32())));
        break;
    case 1:
        push_dev_p2p_success(anyText(in));
        break;
    case 2: {
        DevInfo d;
        d.id = anyText(in);
        d.name = anyText(in);
        push_searched_devs_msg({d});
        break;
    }
    case 3: {
        DevInfo d;
        d.sn = anyText(in);
        push_broadcast_searched_devs_msg({d, d});
        break;
    }
    case 4: {
        DevInfoFromDgw d;
        d.id = anyText(in);
        d.version = anyText(in);
        push_dev_info_msg(d);
        break;
    }
    case 5: {
        DevTempUserCode c;
        push_dev_temp_user_code_msg({c});
        break;
    }
    case 6: {
        DevChannelInfo c;
        c.devId = anyText(in);
        c.abilityDetails.insert(int(in.u32()), AiAbilityInfo());
        push_dev_channels_info_msg(c.devId, {c});
        break;
    }
    case 7: {
        FaceDetectRecordInfo r;
        r.name = anyText(in);
        r.detectTime = anyTime(in);
        r.data12 = in.bytes(in.byte());
        push_face_detect_msg(ChannelId(anyText(in), int(in.u32())), r);
        break;
    }
    case 8:
        push_face_temperature_count_msg(ChannelId(anyText(in), 1), FaceCountInfo());
        break;
    case 9: {
        AlarmInfo a;
        a.alarmId = in.byte() & 1 ? QString() : anyText(in);
        push_alarm_msg(a);
        break;
    }
    case 10:
        push_tlv_data(anyText(in), in.bytes(in.byte()));
        break;
    case 11:
        push_talk_event_msg(ChannelId(anyText(in), 2), TalkEvent(int(in.u32())));
        break;
    case 12:
        push_speak_event_msg(ChannelId(anyText(in), 3), TalkEvent(int(in.u32())));
        break;
    case 13:
        upload_upgrade_file_finished(anyText(in));
        break;
    case 14:
        get_dev_secret_questions_res(anyText(in), int(in.u32()), {anyText(in), anyText(in)});
        break;
    case 15:
        reset_dev_pwd_res(anyText(in), int(in.u32()));
        break;
    case 16:
        activate_dev_res(anyText(in), int(in.u32()));
        break;
    // Answers to ids that may or may not be pending.
    case 17: {
        const QString id = anyText(in);
        add_face_res(response(id, &in));
        break;
    }
    case 18: {
        const QString id = anyText(in);
        common_res(id, anyText(in));
        break;
    }
    case 19: {
        FileTransferProgress p;
        p.requestId = anyText(in);
        push_file_transfer_progress(p);
        break;
    }
    case 20:
        write_stream_data(anyStream(in), in.bytes(in.u16() % 4096));
        break;
    case 21:
        push_stream_event_msg(anyStream(in), StreamEvent(int(in.u32())));
        break;
    case 22:
        push_playback_by_file_progress_msg(anyStream(in), in.u32(), in.u32());
        break;
    case 23:
        push_playback_by_time_progress_msg(anyStream(in), anyTime(in));
        break;
    }
}

} // namespace oru_fuzz
