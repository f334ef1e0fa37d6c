#include <oru_sdk/dgw_signals.h>

#include "message_hamal.h"
#include "message_signals.h"
#include "sdk_log.h"
#include "stream_worker.h"
#include "types_p.h"
#include "write_batch.h"

#include <oru_sdk_kit/oru_log.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QStandardPaths>
#include <QThread>

#include <atomic>

namespace oru_sdk {

namespace {
// Which thread won the first call: none yet, one with a Qt event loop, one
// without (a std::thread, say), where the SDK can serve nothing.
enum Start { NotStarted, WithLoop, WithoutLoop };
std::atomic_int started{NotStarted};

bool threadHasEventLoop() { return QCoreApplication::instance() && QAbstractEventDispatcher::instance(); }
} // namespace

void init_oru_dgw_sdk(const QString &logDir, const QString &messageServerName, const QString &streamServerName)
{
    const int mine = threadHasEventLoop() ? WithLoop : WithoutLoop;
    int first = NotStarted;
    if (!started.compare_exchange_strong(first, mine)) {
        // Otherwise only Qt's warnings would say why the SDK never answers.
        if (first == WithoutLoop && mine == WithLoop)
            logError(QStringLiteral("init_oru_dgw_sdk was first called on a thread without a Qt event loop; "
                                    "the SDK runs there and serves nothing, this later call changes nothing"));
        return;
    }
    // Fixed order: log first, then the control server, then the stream server.
    init_oru_log(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QLatin1Char('/') + logDir
                     + QStringLiteral("/oru.dgw.log"),
                 QStringLiteral("oru_dgw_log"));
    if (mine == WithoutLoop)
        logError(QStringLiteral("init_oru_dgw_sdk called on a thread without a Qt event loop (no QCoreApplication, "
                                "or a thread not started by QThread): the SDK will serve nothing"));
    MessageHamal::instance().start(messageServerName);
    StreamWorker::instance()->start(streamServerName);
}

void release_oru_dgw_sdk() {}

DgwSignals::DgwSignals(QObject *parent)
    : QObject(parent)
{
    registerMetaTypes();
}

DgwSignals::~DgwSignals() = default;

DgwSignals &DgwSignals::instance()
{
    static DgwSignals signalsObject(nullptr);
    return signalsObject;
}

// Each exported function only emits its signal: the connected slot turns it into
// a frame, directly on the library's thread or queued from any other.
namespace {
MessageSignals &out() { return MessageSignals::instance(); }

// A call from another thread waits in a queued signal: bytes that point into a
// buffer the host may reuse at once (QByteArray::fromRawData) are copied first.
// On the library's thread the record is serialised before the call returns.
void ownBytes(QByteArray &bytes) { bytes = ownedBytes(bytes); }
void ownBytes(FaceInfo &face) { ownBytes(face.faceImage); }
void ownBytes(FaceDetectRecordInfo &record)
{
    ownBytes(record.data12);
    ownBytes(record.data13);
}
void ownBytes(AlarmInfo &alarm)
{
    for (QByteArray &block : alarm.data6)
        ownBytes(block);
    ownBytes(alarm.data10);
}
template <typename T>
void ownBytes(QList<T> &list)
{
    for (T &item : list)
        ownBytes(item);
}
template <typename T>
T queueable(const T &value)
{
    if (QThread::currentThread() == out().thread())
        return value;
    T copy = value;
    ownBytes(copy);
    return copy;
}
} // namespace

void init_dgw_res(const Response &r) { emit out().signalInitDgwRes(r); }
void activate_dev_res(const QString &devSn, int errorCode) { emit out().signalActivateDevRes(devSn, errorCode); }
void get_dev_net_res(const Response &r, const DevNetInfo &info) { emit out().signalGetDevNetRes(r, info); }
void set_dev_net_res(const Response &r, const QString &devId, const QString &devIp)
{
    emit out().signalSetDevNetRes(r, devId, devIp);
}
void get_dev_platform_res(const Response &r, const DevPlatformInfo &info)
{
    emit out().signalGetDevPlatformRes(r, info);
}
void set_dev_platform_res(const Response &r) { emit out().signalSetDevPlatformRes(r); }
void get_dev_platform_tav_res(const Response &r, const DevPlatform_tavInfo &info)
{
    emit out().signalGetDevPlatform_tavRes(r, info);
}
void set_dev_platform_tav_res(const Response &r) { emit out().signalSetDevPlatform_tavRes(r); }
void import_dev_cert_res(const Response &r) { emit out().signalImportDevCertRes(r); }
void search_video_recordings_res(const Response &r, const QList<VideoRecInfo> &recs, bool byTime)
{
    emit out().signalSearchVideoRecordingsRes(r, recs, byTime);
}
void get_rtsp_url_res(const Response &r, const QString &rtspUrl) { emit out().signalGetRtspUrlRes(r, rtspUrl); }
void PTZ_ctrl_res(const Response &r, PTZOperation operation, PTZAction action)
{
    emit out().signalPTZCtrlRes(r, operation, action);
}
void get_presets_res(const Response &r, const QList<PresetInfo> &presets)
{
    emit out().signalGetPresetsRes(r, presets);
}
void oper_preset_res(const Response &r, PresetOper oper) { emit out().signalOperPresetRes(r, oper); }
void get_patrols_res(const Response &r, const QList<PatrolInfo> &patrols)
{
    emit out().signalGetPatrolsRes(r, patrols);
}
void oper_patrol_res(const Response &r, PatrolOper oper) { emit out().signalOperPatrolRes(r, oper); }
void oper_patrol_preset_res(const Response &r, PatrolPresetOper oper) { emit out().signalOperPatrolPresetRes(r, oper); }
void set_patrol_presets_res(const Response &r) { emit out().signalSetPatrolPresetsRes(r); }
void dev_config_res(const Response &r) { emit out().signalDevConfigRes(r); }
void add_face_res(const Response &r) { emit out().signalAddFaceRes(r); }
void get_faces_res(const Response &r, const QList<FaceInfo> &faces, unsigned int totalCnt)
{
    emit out().signalGetFacesRes(r, queueable(faces), totalCnt);
}
void del_face_res(const Response &r) { emit out().signalDelFaceRes(r); }
void get_face_detect_records_res(const Response &r, const QList<FaceDetectRecordInfo> &recs, unsigned int totalCnt)
{
    emit out().signalGetFaceDetectRecordsRes(r, queueable(recs), totalCnt);
}
void check_dev_upgrade_res(const Response &r, const DevUpgradeInfo &info)
{
    emit out().signalCheckDevUpgradeRes(r, info);
}
void upload_upgrade_file_finished(const QString &devId) { emit out().signalUploadUpgradeFileFinished(devId); }
void get_dev_upgrade_progress_res(const Response &r, const DevUpgradeInfo &info)
{
    emit out().signalGetDevUpgradeProgressRes(r, info);
}
void modify_dev_account_res(const Response &r) { emit out().signalModifyDevAccountRes(r); }
void get_dev_secret_questions_res(const QString &devSn, int errorCode, const QStringList &questions)
{
    emit out().signalGetDevSecretQuestionsRes(devSn, errorCode, questions);
}
void reset_dev_pwd_res(const QString &devSn, int errorCode) { emit out().signalResetDevPwdRes(devSn, errorCode); }
void talk_oper_res(const Response &r) { emit out().signalTalkOperRes(r); }
void speak_oper_res(const Response &r) { emit out().signalSpeakOperRes(r); }
void common_res(const QString &requestId, const QString &resJson) { emit out().signalCommonRes(requestId, resJson); }
void push_searched_devs_msg(const QList<DevInfo> &devs) { emit out().signalPushSearchedDevsMsg(devs); }
void push_broadcast_searched_devs_msg(const QList<DevInfo> &devs)
{
    emit out().signalPushBroadcastSearchedDevsMsg(devs);
}
void push_dev_status_msg(const QString &devId, DevStatus status) { emit out().signalPushDevStatusMsg(devId, status); }
void push_dev_p2p_success(const QString &devId) { emit out().signalPushDevP2PSuccess(devId); }
void push_dev_info_msg(const DevInfoFromDgw &devInfo) { emit out().signalPushDevInfo(devInfo); }
void push_dev_temp_user_code_msg(const QList<DevTempUserCode> &codes)
{
    emit out().signalPushDevTempUserCodeMsg(codes);
}
void push_dev_channels_info_msg(const QString &devId, const QList<DevChannelInfo> &channels)
{
    emit out().signalPushDevChannelsInfoMsg(devId, channels);
}
void push_face_detect_msg(const ChannelId &channelId, const FaceDetectRecordInfo &record)
{
    emit out().signalPushFaceDetectMsg(channelId, queueable(record));
}
void push_face_temperature_count_msg(const ChannelId &channelId, const FaceCountInfo &count)
{
    emit out().signalPushFaceTemperatureCountMsg(channelId, count);
}
void push_alarm_msg(const AlarmInfo &alarm) { emit out().signalPushAlarmMsg(queueable(alarm)); }
void push_tlv_data(const QString &devId, const QByteArray &tlvData)
{
    emit out().signalPushTlvData(devId, queueable(tlvData));
}
void push_talk_event_msg(const ChannelId &channelId, TalkEvent event)
{
    emit out().signalPushTalkEventMsg(channelId, event);
}
void push_speak_event_msg(const ChannelId &channelId, TalkEvent event)
{
    emit out().signalPushSpeakEventMsg(channelId, event);
}
void push_file_transfer_progress(const FileTransferProgress &progress)
{
    emit out().signalPushFileTransferProgress(progress);
}
void write_stream_data(unsigned int streamId, const QByteArray &data)
{
    // Copied here if the host still owns the buffer: a queued call reads it later.
    emit out().signalWriteStreamData(streamId, ownedBytes(data));
}
void push_stream_event_msg(unsigned int streamId, StreamEvent event)
{
    emit out().signalPushStreamEventMsg(streamId, event);
}
void push_playback_by_file_progress_msg(unsigned int streamId, unsigned int offsetTime, unsigned int duration)
{
    emit out().signalPushPlaybackByFileProgressMsg(streamId, offsetTime, duration);
}
void push_playback_by_time_progress_msg(unsigned int streamId, const QDateTime &curTime)
{
    emit out().signalPushPlaybackByTimeProgressMsg(streamId, curTime);
}

} // namespace oru_sdk
