#pragma once

#include <oru_sdk/oru_sdk_export.h>
#include <oru_sdk/types.h>

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>

namespace oru_sdk {

/*!
    Starts the SDK: opens the log file "<app data>/<logDir>/oru.dgw.log", then the
    control server on \a messageServerName, then the stream server on
    \a streamServerName. Call once, on the thread that runs the Qt event loop; every
    later call does nothing.
*/
ORU_SDK_EXPORT void init_oru_dgw_sdk(const QString &logDir, const QString &messageServerName,
                                     const QString &streamServerName);

/*!
    Does nothing; kept for the host's shutdown sequence. The host ends its process
    after DgwSignals::signalMainClientExit().
*/
ORU_SDK_EXPORT void release_oru_dgw_sdk();

/*!
    The requests of the main client, as signals. Connect to them through
    DgwSignals::instance() and answer through the exported *_res and push_*
    functions. Signals are emitted on the thread that called init_oru_dgw_sdk().
*/
class ORU_SDK_EXPORT DgwSignals : public QObject
{
    Q_OBJECT

public:
    static DgwSignals &instance();

signals:
    void signalInitDgwReq(const InitDgwCondition &condition);
    void signalMainClientExit();
    void signalSearchDevsCmd();
    void signalSetSearchDevsConfigCmd(const SearchDevsConfig &config);
    void signalBroadcastSearchDevsCmd();
    void signalSetManagedDevsCmd(const DevInfoList &devsInfo);
    void signalAddManagedDevsCmd(const DevInfoList &devsInfo);
    void signalDelManagedDevsCmd(const QStringList &devIds);
    void signalEditManagedDevsCmd(const DevInfoList &devsInfo);
    void signalSetDevsTimeCmd(const QStringList &devIds, const QDateTime &time);
    void signalRebootDevsCmd(const QStringList &devIds);
    void signalRestoreFactory(const QStringList &devIds, bool simple);
    void signalReconnectDevsCmd(const QStringList &devIds);
    void signalActivateDevsCmd(const QStringList &devSns, const ActivateCondition &condition);
    void signalGetDevSecretQuestionsCmd(const GetDevSecretQuestionsCondition &condition);
    void signalResetDevPwdCmd(const ResetDevPwdCondition &condition);
    void signalGetDevChannelsInfo(const QString &devId);
    void signalGetDevNetReq(const QString &requestId, const QString &devId);
    void signalGetDevPlatformReq(const GetDevPlatformCondition &condition);
    void signalSetDevPlatformReq(const SetDevPlatformCondition &condition);
    void signalGetDevPlatform_tavReq(const QString &requestId, const QString &devId);
    void signalSetDevPlatform_tavReq(const SetDevPlatform_tavCondition &condition);
    void signalImportDevCertReq(const ImportDevCertCondition &condition);
    void signalSetDevNetReq(const SetDevNetCondition &condition);
    void signalSearchVideoRecsReq(const RecsSearchCondition &condition);
    void signalGetRtspUrlReq(const GetRtspUrlCondition &condition);
    void signalLiveVideoConnReq(StreamId streamId, const LiveVideoConnCondition &condition);
    void signalPlaybackByFileReq(StreamId streamId, const PlaybackByFileCondition &condition);
    void signalPlaybackByTimeReq(StreamId streamId, const PlaybackByTimeCondition &condition);
    void signalSkipByOffsetTimeReq(StreamId streamId, uint offsetTime);
    void signalSkipByAppointedTimeReq(StreamId streamId, const QDateTime &appointedTime);
    void signalPlaybackCtrlReq(StreamId streamId, PlaybackCtrl ctrl);
    void signalPlaybackSpeedSetReq(StreamId streamId, const QString &speed);
    void signalPTZCtrlReq(const PTZCtrlCondition &condition);
    void signalGetPresetsReq(const ChannelCondition &condition);
    void signalOperPresetReq(const PresetOperCondition &condition);
    void signalGetPatrolsReq(const ChannelCondition &condition);
    void signalOperPatrolReq(const PatrolOperCondition &condition);
    void signalOperPatrolPresetReq(const PatrolPresetOperCondition &condition);
    void signalSetPatrolPresetsReq(const SetPatrolPresetsCondition &condition);
    void signalSetOSDReq(const SetOSDCondition &condition);
    void signalModifyDevNameReq(const ModifyDevNameCondition &condition);
    void signalOpenDevRemoteConfigReq(const QString &devId, int language);
    void signalCheckDevUpgradeReq(const DevUpgradeCondtition &condition);
    void signalDoDevUpgradeCmd(const DevUpgradeCondtition &condition);
    void signalGetDevUpgradeProgressReq(const QString &requestId, const QString &devId);
    void signalModifyDevAccountReq(const ModifyDevAccountCondition &condition);
    void signalDisconnectStream(StreamId streamId);
    void signalAddFaceReq(const ModifyFaceCondition &condition);
    void signalGetFacesReq(const GetFacesCondition &condition);
    void signalDelFaceReq(const DelFaceCondition &condition);
    void signalGetFaceDetectRecordsReq(const GetFaceDetectRecordsCondition &condition);
    void signalClearFaceTemperatureCountCmd(const QString &devId);
    void signalTalkOperReq(const TalkOperCondition &condition);
    void signalSpeakOperReq(const SpeakOperCondition &condition);
    void signalUploadFileReq(const UploadFileCondition &condition);
    void signalDownloadFileReq(const DownloadFileCondition &condition);
    void signalCommonReq(const ChannelId &channelId, const QString &requestId, const QString &reqJson);
    void signalSetSaasTokenCmd(const QString &token);
    void signalSaasLogoutCmd();

private:
    explicit DgwSignals(QObject *parent);
    ~DgwSignals() override;
    Q_DISABLE_COPY(DgwSignals)
};

// Answers to requests: each is sent to the connection that asked, matched by
// the request id; an unknown id sends nothing. Callable from any thread.
ORU_SDK_EXPORT void init_dgw_res(const Response &response);
ORU_SDK_EXPORT void get_dev_net_res(const Response &response, const DevNetInfo &devNetInfo);
ORU_SDK_EXPORT void set_dev_net_res(const Response &response, const QString &devId, const QString &devIp);
ORU_SDK_EXPORT void get_dev_platform_res(const Response &response, const DevPlatformInfo &devPlatformInfo);
ORU_SDK_EXPORT void set_dev_platform_res(const Response &response);
ORU_SDK_EXPORT void get_dev_platform_tav_res(const Response &response, const DevPlatform_tavInfo &devPlatformInfo);
ORU_SDK_EXPORT void set_dev_platform_tav_res(const Response &response);
ORU_SDK_EXPORT void import_dev_cert_res(const Response &response);
ORU_SDK_EXPORT void search_video_recordings_res(const Response &response, const QList<VideoRecInfo> &recordings,
                                                bool playbackByTimeEnable);
ORU_SDK_EXPORT void get_rtsp_url_res(const Response &response, const QString &rtspUrl);
// The operation is written to both the operation and the action field of the answer.
ORU_SDK_EXPORT void PTZ_ctrl_res(const Response &response, PTZOperation operation, PTZAction action);
ORU_SDK_EXPORT void get_presets_res(const Response &response, const QList<PresetInfo> &presets);
ORU_SDK_EXPORT void oper_preset_res(const Response &response, PresetOper oper);
ORU_SDK_EXPORT void get_patrols_res(const Response &response, const QList<PatrolInfo> &patrols);
ORU_SDK_EXPORT void oper_patrol_res(const Response &response, PatrolOper oper);
ORU_SDK_EXPORT void oper_patrol_preset_res(const Response &response, PatrolPresetOper oper);
ORU_SDK_EXPORT void set_patrol_presets_res(const Response &response);
// Answer to set OSD and modify device name.
ORU_SDK_EXPORT void dev_config_res(const Response &response);
ORU_SDK_EXPORT void add_face_res(const Response &response);
ORU_SDK_EXPORT void get_faces_res(const Response &response, const QList<FaceInfo> &faces, unsigned int totalCnt);
ORU_SDK_EXPORT void del_face_res(const Response &response);
ORU_SDK_EXPORT void get_face_detect_records_res(const Response &response, const QList<FaceDetectRecordInfo> &records,
                                                unsigned int totalCnt);
ORU_SDK_EXPORT void check_dev_upgrade_res(const Response &response, const DevUpgradeInfo &info);
ORU_SDK_EXPORT void get_dev_upgrade_progress_res(const Response &response, const DevUpgradeInfo &info);
ORU_SDK_EXPORT void modify_dev_account_res(const Response &response);
ORU_SDK_EXPORT void talk_oper_res(const Response &response);
ORU_SDK_EXPORT void speak_oper_res(const Response &response);
ORU_SDK_EXPORT void common_res(const QString &requestId, const QString &resJson);
// Matched by the progress record's request id; the first report ends the match.
ORU_SDK_EXPORT void push_file_transfer_progress(const FileTransferProgress &progress);

// Sent to every control connection: answers to commands and pushes.
ORU_SDK_EXPORT void activate_dev_res(const QString &devSn, int errorCode);
ORU_SDK_EXPORT void get_dev_secret_questions_res(const QString &devSn, int errorCode, const QStringList &questions);
ORU_SDK_EXPORT void reset_dev_pwd_res(const QString &devSn, int errorCode);
ORU_SDK_EXPORT void upload_upgrade_file_finished(const QString &devId);
ORU_SDK_EXPORT void push_searched_devs_msg(const QList<DevInfo> &devs);
ORU_SDK_EXPORT void push_broadcast_searched_devs_msg(const QList<DevInfo> &devs);
ORU_SDK_EXPORT void push_dev_status_msg(const QString &devId, DevStatus status);
ORU_SDK_EXPORT void push_dev_p2p_success(const QString &devId);
ORU_SDK_EXPORT void push_dev_info_msg(const DevInfoFromDgw &devInfo);
ORU_SDK_EXPORT void push_dev_temp_user_code_msg(const QList<DevTempUserCode> &codeList);
ORU_SDK_EXPORT void push_dev_channels_info_msg(const QString &devId, const QList<DevChannelInfo> &channelsInfo);
ORU_SDK_EXPORT void push_face_detect_msg(const ChannelId &channelId, const FaceDetectRecordInfo &record);
ORU_SDK_EXPORT void push_face_temperature_count_msg(const ChannelId &channelId, const FaceCountInfo &count);
// An empty alarm id is replaced by a fresh braced UUID.
ORU_SDK_EXPORT void push_alarm_msg(const AlarmInfo &alarm);
ORU_SDK_EXPORT void push_tlv_data(const QString &devId, const QByteArray &tlvData);
ORU_SDK_EXPORT void push_talk_event_msg(const ChannelId &channelId, TalkEvent event);
ORU_SDK_EXPORT void push_speak_event_msg(const ChannelId &channelId, TalkEvent event);

// Stream channel: sent to every socket watching the stream; dropped when none does.
ORU_SDK_EXPORT void write_stream_data(unsigned int streamId, const QByteArray &data);
ORU_SDK_EXPORT void push_stream_event_msg(unsigned int streamId, StreamEvent event);
ORU_SDK_EXPORT void push_playback_by_file_progress_msg(unsigned int streamId, unsigned int offsetTime,
                                                       unsigned int duration);
ORU_SDK_EXPORT void push_playback_by_time_progress_msg(unsigned int streamId, const QDateTime &curTime);

} // namespace oru_sdk
