#pragma once

// Public records, enumerations and constants of the gateway SDK.
// Every member notes the wire field it travels in ("Message.field").

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMap>
#include <QMetaType>
#include <QPair>
#include <QString>
#include <QStringList>

#include <tuple>
#include <type_traits>
#include <utility>

namespace oru_sdk {

/// Names one media stream.
typedef unsigned int StreamId;
/// One channel of one device: device id, channel index. The same meta-type
/// as QPair<QString, int>, under either name.
typedef QPair<QString, int> ChannelId;

// ---- Enumerations (travel as int32; any int value may arrive) ----

/// Connection state of a device or channel.
enum class DevStatus : int {
    Offline = 0,      ///< not reachable
    Online = 1,       ///< connected and logged in
    LoginFailed = 2,  ///< reachable, but the login was refused
    NotActivated = 3, ///< reachable, still waiting for activation
};

/// What a PTZ command moves.
enum class PTZOperation : int {
    Up = 0,         ///< tilt up
    Down = 1,       ///< tilt down
    Left = 2,       ///< pan left
    Right = 3,      ///< pan right
    UpLeft = 4,     ///< tilt up and pan left
    UpRight = 5,    ///< tilt up and pan right
    DownLeft = 6,   ///< tilt down and pan left
    DownRight = 7,  ///< tilt down and pan right
    ZoomIn = 8,     ///< zoom in
    ZoomOut = 9,    ///< zoom out
    FocusNear = 10, ///< focus nearer
    FocusFar = 11,  ///< focus farther
    IrisOpen = 12,  ///< open the iris
    IrisClose = 13, ///< close the iris
};

/// Whether a PTZ movement begins or ends.
enum class PTZAction : int {
    Start = 0, ///< start moving
    Stop = 1,  ///< stop moving
};

/// Operation on one preset.
enum class PresetOper : int {
    Add = 0,    ///< store the current position as a preset
    Delete = 1, ///< remove the preset
    Call = 2,   ///< move to the preset
};

/// Operation on one patrol route.
enum class PatrolOper : int {
    Add = 0,    ///< create the patrol
    Delete = 1, ///< remove the patrol
    Start = 2,  ///< start patrolling
    Stop = 3,   ///< stop patrolling
};

/// Operation on one stop of a patrol route.
enum class PatrolPresetOper : int {
    Add = 0,    ///< add the preset to the patrol
    Delete = 1, ///< remove the preset from the patrol
    Modify = 2, ///< change the stop's settings
};

/// Event of a talk or speak session.
enum class TalkEvent : int {
    TalkStart = 0, ///< the session is running
    TalkEnd = 1,   ///< the session has ended
    TalkError = 2, ///< the session failed
    DevBusy = 3,   ///< the device is busy with another session
};

/// Event of a media stream.
enum class StreamEvent : int {
    StreamStart = 0, ///< media starts flowing
    StreamEnd = 1,   ///< the stream has ended (end of file for playback)
    StreamError = 2, ///< the stream broke off
};

/// Control of a running playback.
enum class PlaybackCtrl : int {
    Pause = 0,  ///< pause the playback
    Resume = 1, ///< resume a paused playback
    Stop = 2,   ///< stop the playback
};

// ---- Playback speeds (passed through unchanged) ----

inline constexpr char PlaybackSpeed_1_8X[] = "1/8X";
inline constexpr char PlaybackSpeed_1_4X[] = "1/4X";
inline constexpr char PlaybackSpeed_1_2X[] = "1/2X";
inline constexpr char PlaybackSpeed_1X[] = "1X";
inline constexpr char PlaybackSpeed_2X[] = "2X";
inline constexpr char PlaybackSpeed_4X[] = "4X";
inline constexpr char PlaybackSpeed_8X[] = "8X";
inline constexpr char PlaybackSpeed_0X[] = "0X";
inline constexpr char PlaybackSpeed_100X[] = "100X";

// ---- Request conditions ----

/// Gateway initialisation.
struct InitDgwCondition {
    QString requestId;  ///< request id; InitDgwReq.request_id
    QString ak;         ///< credential; InitDgwReq.ak
    QString sk;         ///< credential; InitDgwReq.sk
    QString ck;         ///< credential; InitDgwReq.ck
    QString csk;        ///< credential; InitDgwReq.csk
    int param6 = 0;     ///< 0 or 1; InitDgwReq.param_6 (bool)
    QString url;        ///< address; InitDgwReq.url
    int param8 = 0;     ///< InitDgwReq.param_8
    QString saasServer; ///< cloud server address; InitDgwReq.saas_server
    QString saasCer;    ///< cloud server certificate; InitDgwReq.saas_cer
};

/// Settings of the device search.
struct SearchDevsConfig {
    int param1 = 0;  ///< 0 or 1; SetSearchDevsConfigCmd.param_1 (bool)
    QString beginIp; ///< first address of the range; SetSearchDevsConfigCmd.begin_ip
    QString endIp;   ///< last address of the range; SetSearchDevsConfigCmd.end_ip
    int param4 = 0;  ///< SetSearchDevsConfigCmd.param_4
};

/// Activation of devices (their serial numbers travel beside the record).
struct ActivateCondition {
    QString account = QStringLiteral("admin");  ///< account to create; DevActivateCmd.account
    QString password;                           ///< its password; DevActivateCmd.password
    QList<QPair<QString, QString>> secretInfos; ///< question/answer pairs; DevActivateCmd.secret_infos
    int param5 = 0;                             ///< DevActivateCmd.param_5
};

/// Query of a device's security questions.
struct GetDevSecretQuestionsCondition {
    QString devSn;                             ///< device serial number; DevSecretQuestionsGetReq.dev_sn
    QString account = QStringLiteral("admin"); ///< account; DevSecretQuestionsGetReq.account
};

/// Password reset through security questions.
struct ResetDevPwdCondition {
    QString devSn;                              ///< device serial number; DevPwdResetReq.dev_sn
    QString account = QStringLiteral("admin");  ///< account; DevPwdResetReq.account
    QString password;                           ///< new password; DevPwdResetReq.password
    QList<QPair<QString, QString>> secretInfos; ///< question/answer pairs; DevPwdResetReq.secret_infos
};

/// Query of a device's platform settings.
struct GetDevPlatformCondition {
    QString requestId; ///< request id; DevPlatformGetReq.request_id
    QString devId;     ///< device id; DevPlatformGetReq.dev_id
    int param3 = 0;    ///< DevPlatformGetReq.param_3
    int param4 = 0;    ///< 0 or 1; DevPlatformGetReq.param_4 (bool)
};

/// New platform settings of a device.
struct SetDevPlatformCondition {
    QString requestId;    ///< request id; DevPlatformSetReq.request_id
    QString devId;        ///< device id; DevPlatformSetReq.dev_id
    bool param1 = false;  ///< DevPlatformInfo.param_1
    QString platformAddr; ///< platform address; DevPlatformInfo.platform_addr
    bool param3 = false;  ///< DevPlatformInfo.param_3
    int param4 = 0;       ///< DevPlatformInfo.param_4
    int param5 = 0;       ///< DevPlatformInfo.param_5
};

/// New "_tav" platform settings of a device.
struct SetDevPlatform_tavCondition {
    QString requestId;      ///< request id; DevPlatform_tavSetReq.request_id
    QString devId;          ///< device id; DevPlatform_tavSetReq.dev_id
    QString onlineServer;   ///< DevPlatformInfo_tav.online_server
    bool param4 = false;    ///< DevPlatformInfo_tav.param_4
    QString businessServer; ///< DevPlatformInfo_tav.bussiness_server
};

/// Certificate import into a device.
struct ImportDevCertCondition {
    QString requestId;    ///< request id; DevCertImportReq.request_id
    QString devId;        ///< device id; DevCertImportReq.dev_id
    int param3 = 0;       ///< DevCertImportReq.param_3
    QString ca;           ///< CA certificate text; DevCertImportReq.ca
    QString certContents; ///< device certificate text; DevCertImportReq.cert_contents
    QString key;          ///< private key text; DevCertImportReq.key
    QString secretKey;    ///< DevCertImportReq.secret_key
};

/// New network settings of a device.
struct SetDevNetCondition {
    QString requestId;      ///< request id; DevNetSetReq.request_id
    QString devId;          ///< device id; DevNetSetReq.dev_id
    QString ip;             ///< address; DevNetInfo.ip
    QString subNetMask;     ///< subnet mask; DevNetInfo.sub_net_Mask
    QString defaultGateway; ///< gateway; DevNetInfo.default_gateway
    QString dns;            ///< name server; DevNetInfo.DNS
    bool param5 = false;    ///< DevNetInfo.param_5
    int param6 = -1;        ///< DevNetInfo.param_6
    int param7 = -1;        ///< DevNetInfo.param_7
    int param8 = -1;        ///< DevNetInfo.param_8
};

/// Search of recordings on one channel.
struct RecsSearchCondition {
    QString requestId;   ///< request id; SearchVideoRecordingsReq.request_id
    QString devId;       ///< device id; SearchVideoRecordingsReq.channel_id.dev_id
    int channel = 0;     ///< channel index; SearchVideoRecordingsReq.channel_id.channel
    int param3 = 0;      ///< SearchVideoRecordingsReq.param_3
    int param4 = 1;      ///< SearchVideoRecordingsReq.param_4
    QDateTime beginTime; ///< start of the searched span; SearchVideoRecordingsReq.begin_time
    QDateTime endTime;   ///< end of the searched span; SearchVideoRecordingsReq.end_time
};

/// Query of a channel's RTSP address.
struct GetRtspUrlCondition {
    QString requestId;  ///< request id; GetRtspUrlReq.request_id
    QString devId;      ///< device id; GetRtspUrlReq.channel_id.dev_id
    int channel = 0;    ///< channel index; GetRtspUrlReq.channel_id.channel
    int streamType = 0; ///< which stream of the channel; GetRtspUrlReq.param_3
};

/// PTZ command.
struct PTZCtrlCondition {
    QString requestId; ///< request id; PTZCtrlReq.request_id
    QString devId;     ///< device id; PTZCtrlReq.channel_id.dev_id
    int channel = 0;   ///< channel index; PTZCtrlReq.channel_id.channel
    int operation = 0; ///< PTZOperation value; PTZCtrlReq.param_3
    int action = 0;    ///< PTZAction value; PTZCtrlReq.param_4
    int param5 = 0;    ///< PTZCtrlReq.param_5
    int param6 = 0;    ///< PTZCtrlReq.param_6 (uint32)
};

/// Request about one channel (presets, patrols).
struct ChannelCondition {
    QString requestId; ///< request id; ChannelReq.request_id
    QString devId;     ///< device id; ChannelReq.channel_id.dev_id
    int channel = 0;   ///< channel index; ChannelReq.channel_id.channel
};

/// Operation on one preset.
struct PresetOperCondition {
    QString requestId;    ///< request id; PresetOperReq.request_id
    QString devId;        ///< device id; PresetOperReq.channel_id.dev_id
    int channel = 0;      ///< channel index; PresetOperReq.channel_id.channel
    int presetNumber = 0; ///< preset number; PresetOperReq.param_3 (uint32)
    QString presetName;   ///< preset name; PresetOperReq.preset_name
    int oper = 0;         ///< PresetOper value; PresetOperReq.param_5
};

/// Operation on one patrol route.
struct PatrolOperCondition {
    QString requestId; ///< request id; PatrolOperReq.request_id
    QString devId;     ///< device id; PatrolOperReq.channel_id.dev_id
    int channel = 0;   ///< channel index; PatrolOperReq.channel_id.channel
    int param3 = 0;    ///< PatrolOperReq.param_3
    int param4 = 0;    ///< PatrolOperReq.param_4
};

/// Operation on one stop of a patrol route.
struct PatrolPresetOperCondition {
    QString requestId; ///< request id; PatrolPresetOperReq.request_id
    QString devId;     ///< device id; PatrolPresetOperReq.channel_id.dev_id
    int channel = 0;   ///< channel index; PatrolPresetOperReq.channel_id.channel
    int param3 = 0;    ///< PatrolPresetOperReq.param_3
    int param4 = 0;    ///< PatrolPresetOperReq.param_4
    int param5 = 0;    ///< PatrolPresetOperReq.param_5 (uint32)
    int param6 = 0;    ///< PatrolPresetOperReq.param_6
};

/// One stop of a patrol route as it is set.
struct PatrolPresetEntry {
    int presetNumber = 0; ///< preset number; SetPatrolPresetsReq.PresetInfo.param_1 (uint32)
    int stayTime = 0;     ///< time spent at the preset; SetPatrolPresetsReq.PresetInfo.param_2 (uint32)
};

/// New stops of one patrol route.
struct SetPatrolPresetsCondition {
    QString requestId;                ///< request id; SetPatrolPresetsReq.request_id
    QString devId;                    ///< device id; SetPatrolPresetsReq.channel_id.dev_id
    int channel = 0;                  ///< channel index; SetPatrolPresetsReq.channel_id.channel
    int param3 = 0;                   ///< SetPatrolPresetsReq.param_3
    QList<PatrolPresetEntry> presets; ///< the stops in order; SetPatrolPresetsReq.presets
};

/// New on-screen text of a channel.
struct SetOSDCondition {
    QString requestId; ///< request id; SetOSDReq.request_id
    QString devId;     ///< device id; SetOSDReq.channel_id.dev_id
    int channel = 0;   ///< channel index; SetOSDReq.channel_id.channel
    QString osd;       ///< the text; SetOSDReq.osd
};

/// New device name.
struct ModifyDevNameCondition {
    QString requestId; ///< request id; ModifyDevNameReq.request_id
    QString devId;     ///< device id; ModifyDevNameReq.dev_id
    QString devName;   ///< new name; ModifyDevNameReq.dev_name
};

/// Firmware upgrade check or run.
struct DevUpgradeCondtition {
    QString requestId; ///< request id; DevUpgradeReq.request_id
    QString devId;     ///< device id; DevUpgradeReq.dev_id
    QString mode;      ///< upgrade mode; DevUpgradeReq.mode
    QString url;       ///< firmware address; DevUpgradeReq.url
    int param5 = 0;    ///< DevUpgradeReq.param_5
    QString mainFile;  ///< firmware file; DevUpgradeReq.main_file
    QString verFile;   ///< version file; DevUpgradeReq.ver_file
};

/// Change of a device account.
struct ModifyDevAccountCondition {
    QString requestId;   ///< request id; ModifyDevAccountReq.request_id
    QString devId;       ///< device id; ModifyDevAccountReq.dev_id
    QString account;     ///< account name; ModifyDevAccountReq.account
    QString oldPassword; ///< current password; ModifyDevAccountReq.old_password
    QString newPassword; ///< new password; ModifyDevAccountReq.new_password
    QString level;       ///< account level; ModifyDevAccountReq.level
};

/// Face to add to a device's face library.
struct ModifyFaceCondition {
    QString requestId;         ///< request id; AddFaceReq.request_id
    QString devId;             ///< device id; AddFaceReq.channel_id.dev_id
    int channel = 0;           ///< channel index; AddFaceReq.channel_id.channel
    QString serialNum;         ///< face serial number; AddFaceReq.serial_num
    QString name;              ///< person's name; AddFaceReq.name
    int param6 = 0;            ///< AddFaceReq.param_6
    int param7 = 0;            ///< AddFaceReq.param_7
    int param8 = 0;            ///< AddFaceReq.param_8
    QString faceType;          ///< face type; AddFaceReq.face_type
    QDateTime validTime;       ///< valid from; AddFaceReq.valid_time
    QDateTime invalidTime;     ///< valid until; AddFaceReq.invalid_time
    QByteArray faceImage;      ///< image bytes, unchanged; AddFaceReq.data_12
    QStringList organizations; ///< organisations, in order; AddFaceReq.organizations
};

/// Query of a device's face library.
struct GetFacesCondition {
    QString requestId; ///< request id; GetFacesReq.request_id
    QString devId;     ///< device id; GetFacesReq.channel_id.dev_id
    int channel = 0;   ///< channel index; GetFacesReq.channel_id.channel
    int param3 = 0;    ///< GetFacesReq.param_3 (uint32)
    int param4 = 0;    ///< GetFacesReq.param_4 (uint32)
    int param5 = 0;    ///< GetFacesReq.param_5 (uint32)
    int param6 = 0;    ///< 0 or 1; GetFacesReq.param_6 (bool)
};

/// Removal of a face from a device's face library.
struct DelFaceCondition {
    QString requestId; ///< request id; DelFaceReq.request_id
    QString devId;     ///< device id; DelFaceReq.channel_id.dev_id
    int channel = 0;   ///< channel index; DelFaceReq.channel_id.channel
    int param3 = 0;    ///< DelFaceReq.param_3
};

/// Query of face-detection records in a time span.
struct GetFaceDetectRecordsCondition {
    QString requestId;   ///< request id; GetFaceDetectRecordsReq.request_id
    QString devId;       ///< device id; GetFaceDetectRecordsReq.channel_id.dev_id
    int channel = 0;     ///< channel index; GetFaceDetectRecordsReq.channel_id.channel
    QDateTime beginTime; ///< start of the span; GetFaceDetectRecordsReq.begin_time
    QDateTime endTime;   ///< end of the span; GetFaceDetectRecordsReq.end_time
};

/// Talk session operation.
struct TalkOperCondition {
    QString requestId; ///< request id; TalkOperReq.request_id
    QString devId;     ///< device id; TalkOperReq.channel_id.dev_id
    int channel = 0;   ///< channel index; TalkOperReq.channel_id.channel
    int param3 = 0;    ///< TalkOperReq.param_3
};

/// Speak session operation.
struct SpeakOperCondition {
    QString requestId; ///< request id; TalkOperReq.request_id
    QString devId;     ///< device id; TalkOperReq.channel_id.dev_id
    int channel = 0;   ///< channel index; TalkOperReq.channel_id.channel
    int param3 = 0;    ///< TalkOperReq.param_3
};

/// File upload to a device.
struct UploadFileCondition {
    QString requestId; ///< request id; UploadFileReq.request_id
    QString devId;     ///< device id; UploadFileReq.dev_id
    QString fileName;  ///< file to upload; UploadFileReq.file_name
    QString purpose;   ///< what the file is for; UploadFileReq.purpose
};

/// File download from a device.
struct DownloadFileCondition {
    QString requestId;   ///< request id; DownloadFileReq.request_id
    QString devId;       ///< device id; DownloadFileReq.dev_id
    QString srcFileName; ///< file on the device; DownloadFileReq.src_file_name
    QString desFileName; ///< file to write; DownloadFileReq.des_file_name
};

// ---- Stream conditions ----

/// Live video of one channel.
struct LiveVideoConnCondition {
    QString devId;      ///< device id; LiveVideoConnReq.channel_id.dev_id
    int channel = 0;    ///< channel index; LiveVideoConnReq.channel_id.channel
    int streamType = 0; ///< which stream of the channel; LiveVideoConnReq.param_2
};

/// Playback of one recorded file.
struct PlaybackByFileCondition {
    QString devId;    ///< device id; PlaybackByFileReq.channel_id.dev_id
    int channel = 0;  ///< channel index; PlaybackByFileReq.channel_id.channel
    QString fileName; ///< recorded file; PlaybackByFileReq.file_name
    int param3 = 0;   ///< PlaybackByFileReq.param_3
    int param4 = 0;   ///< PlaybackByFileReq.param_4
};

/// Playback from a point in time.
struct PlaybackByTimeCondition {
    QString devId;       ///< device id; PlaybackByTimeReq.channel_id.dev_id
    int channel = 0;     ///< channel index; PlaybackByTimeReq.channel_id.channel
    QDateTime startTime; ///< where to start; PlaybackByTimeReq.start_time
    int param3 = 0;      ///< PlaybackByTimeReq.param_3
};

// ---- Results and events ----

/// Result of one request.
struct Response {
    QString requestId; ///< id of the answered request; Response.request_id
    int errorCode = 0; ///< error code, 0 for success; Error.err_code
    QString errorText; ///< error text; Error.err_msg
};

/// One device as the main client manages it.
struct DevInfo {
    QString id;               ///< device id; DevInfo.id
    QString name;             ///< device name; DevInfo.name
    QString sn;               ///< serial number; DevInfo.sn
    unsigned int param4 = 0;  ///< DevInfo.param_4
    QString ip;               ///< address; DevInfo.ip
    unsigned int port = 0;    ///< port; DevInfo.param_6
    QString user;             ///< login name; DevInfo.user
    QString password;         ///< login password; DevInfo.password
    QString version;          ///< firmware version; DevInfo.version
    QString seriesName;       ///< product series; DevInfo.series_name
    int param11 = 0;          ///< DevInfo.param_11
    int param12 = 0;          ///< DevInfo.param_12
    unsigned int param13 = 0; ///< DevInfo.param_13
    int param14 = 0;          ///< DevInfo.param_14
    bool param15 = false;     ///< DevInfo.param_15
    int param16 = 0;          ///< DevInfo.param_16
    int param17 = 0;          ///< DevInfo.param_17
    int param18 = 0;          ///< DevInfo.param_18
};

/// One analysis ability of a device or channel.
struct AiAbilityInfo {
    QString package;     ///< package name; AiAbilityInfo.package
    int param2 = 0;      ///< AiAbilityInfo.param_2
    QString name;        ///< ability name; AiAbilityInfo.name
    int param4 = 0;      ///< AiAbilityInfo.param_4
    bool param5 = false; ///< AiAbilityInfo.param_5
};

/// One device as the gateway reports it.
struct DevInfoFromDgw {
    QString id;                              ///< device id; DevInfoFromDgw.id
    QString sn;                              ///< serial number; DevInfoFromDgw.sn
    QString ip;                              ///< address; DevInfoFromDgw.ip
    unsigned int param4 = 0;                 ///< DevInfoFromDgw.param_4
    unsigned int param5 = 0;                 ///< DevInfoFromDgw.param_5
    int param6 = 0;                          ///< DevInfoFromDgw.param_6
    QString version;                         ///< firmware version; DevInfoFromDgw.version
    QString seriesName;                      ///< product series; DevInfoFromDgw.series_name
    unsigned int param9 = 0;                 ///< DevInfoFromDgw.param_9
    int param10 = 0;                         ///< DevInfoFromDgw.param_10
    QString devCode;                         ///< device code; DevInfoFromDgw.dev_code
    int param12 = 0;                         ///< DevInfoFromDgw.param_12
    QMap<int, AiAbilityInfo> abilityDetails; ///< abilities by key; DevInfoFromDgw.ability_details
};

/// One channel of a device.
struct DevChannelInfo {
    QString devId;                           ///< device id; DevChannInfo.channel_id.dev_id
    int channel = 0;                         ///< channel index; DevChannInfo.channel_id.channel
    QString osd;                             ///< on-screen text; DevChannInfo.OSD
    unsigned int param3 = 0;                 ///< DevChannInfo.param_3
    int param4 = 0;                          ///< DevChannInfo.param_4
    QString sn;                              ///< serial number; DevChannInfo.sn
    QString ip;                              ///< address; DevChannInfo.ip
    unsigned int port = 0;                   ///< port; DevChannInfo.param_7
    QString user;                            ///< login name; DevChannInfo.user
    QString password;                        ///< login password; DevChannInfo.password
    int param10 = 0;                         ///< DevChannInfo.param_10
    int param11 = 0;                         ///< DevChannInfo.param_11
    QMap<int, AiAbilityInfo> abilityDetails; ///< abilities by key; DevChannInfo.ability_details
};

/// Network settings of a device (the three ints default to -1, as in SetDevNetCondition).
struct DevNetInfo {
    QString ip;             ///< address; DevNetInfo.ip
    QString subNetMask;     ///< subnet mask; DevNetInfo.sub_net_Mask
    QString defaultGateway; ///< gateway; DevNetInfo.default_gateway
    QString dns;            ///< name server; DevNetInfo.DNS
    bool param5 = false;    ///< DevNetInfo.param_5
    int param6 = -1;        ///< DevNetInfo.param_6
    int param7 = -1;        ///< DevNetInfo.param_7
    int param8 = -1;        ///< DevNetInfo.param_8
};

/// Platform settings of a device.
struct DevPlatformInfo {
    bool param1 = false;  ///< DevPlatformInfo.param_1
    QString platformAddr; ///< platform address; DevPlatformInfo.platform_addr
    bool param3 = false;  ///< DevPlatformInfo.param_3
    int param4 = 0;       ///< DevPlatformInfo.param_4
    int param5 = 0;       ///< DevPlatformInfo.param_5
};

/// "_tav" platform settings of a device.
struct DevPlatform_tavInfo {
    bool param1 = false;    ///< DevPlatformInfo_tav.param_1
    bool param2 = false;    ///< DevPlatformInfo_tav.param_2
    QString onlineServer;   ///< DevPlatformInfo_tav.online_server
    bool param4 = false;    ///< DevPlatformInfo_tav.param_4
    QString businessServer; ///< DevPlatformInfo_tav.bussiness_server
};

/// One preset position.
struct PresetInfo {
    int number = 0; ///< preset number; PresetInfo.param_1 (uint32)
    QString name;   ///< preset name; PresetInfo.preset_name
};

/// One stop of a patrol route.
struct PatrolPresetInfo {
    PresetInfo preset;       ///< the preset; PatrolPresetInfo.preset
    unsigned int param2 = 0; ///< PatrolPresetInfo.param_2
    unsigned int param3 = 0; ///< PatrolPresetInfo.param_3
};

/// One patrol route.
struct PatrolInfo {
    int number = 0;                  ///< patrol number; PatrolInfo.param_1
    QList<PatrolPresetInfo> presets; ///< its stops, in order; PatrolInfo.presets
    int param3 = 0;                  ///< PatrolInfo.param_3
    int param4 = 0;                  ///< PatrolInfo.param_4
};

/// One recording found on a device.
struct VideoRecInfo {
    QDateTime begin;  ///< start; VideoRecInfo.begin_time
    QDateTime end;    ///< end; VideoRecInfo.end_time
    QString fileName; ///< file name; VideoRecInfo.file_name
    int param4 = 0;   ///< VideoRecInfo.param_4
    int param5 = 0;   ///< VideoRecInfo.param_5
};

/// One face of a device's face library.
struct FaceInfo {
    int param1 = 0;            ///< FaceInfo.param_1
    QString serialNum;         ///< face serial number; FaceInfo.serial_num
    QString name;              ///< person's name; FaceInfo.name
    QString faceType;          ///< face type; FaceInfo.face_type
    QString faceUrl;           ///< image address; FaceInfo.face_url
    int param6 = 0;            ///< FaceInfo.param_6
    int param7 = 0;            ///< FaceInfo.param_7
    QByteArray faceImage;      ///< image bytes, unchanged; FaceInfo.data_8
    QDateTime validTime;       ///< valid from; FaceInfo.valid_time
    QDateTime invalidTime;     ///< valid until; FaceInfo.invalid_time
    QStringList organizations; ///< organisations, in order; FaceInfo.organizations
};

/// One face-detection record.
struct FaceDetectRecordInfo {
    QString serialNum;       ///< face serial number; FaceDetectRecordInfo.serial_num
    QString name;            ///< person's name; FaceDetectRecordInfo.name
    QString company;         ///< company; FaceDetectRecordInfo.company
    QString department;      ///< department; FaceDetectRecordInfo.department
    QString position;        ///< job position; FaceDetectRecordInfo.position
    QDateTime detectTime;    ///< when the face was seen; FaceDetectRecordInfo.detect_time
    unsigned int param7 = 0; ///< FaceDetectRecordInfo.param_7
    int param8 = 0;          ///< FaceDetectRecordInfo.param_8
    double param9 = 0.0;     ///< FaceDetectRecordInfo.param_9
    int param10 = 0;         ///< FaceDetectRecordInfo.param_10
    int param11 = 0;         ///< FaceDetectRecordInfo.param_11
    QByteArray data12;       ///< bytes, unchanged; FaceDetectRecordInfo.data_12
    QByteArray data13;       ///< bytes, unchanged; FaceDetectRecordInfo.data_13
};

/// Face and temperature counters of one channel (the channel travels beside it).
struct FaceCountInfo {
    unsigned int param2 = 0; ///< FaceCountInfo.param_2
    unsigned int param3 = 0; ///< FaceCountInfo.param_3
    unsigned int param4 = 0; ///< FaceCountInfo.param_4
};

/// One alarm.
struct AlarmInfo {
    QString alarmId;         ///< alarm id; AlarmInfo.alarm_id
    ChannelId channel;       ///< channel that raised it; AlarmInfo.channel_id
    ChannelId secondChannel; ///< second channel involved; AlarmInfo.second_channel_id
    QString triggerName;     ///< trigger name; AlarmInfo.trigger_name
    QDateTime alarmTime;     ///< when it happened; AlarmInfo.alarm_time
    QList<QByteArray> data6; ///< byte blocks, unchanged, in order; AlarmInfo.data_6
    QString alarmType;       ///< alarm type; AlarmInfo.alarm_type
    int param8 = 0;          ///< AlarmInfo.param_8
    QString alarmName;       ///< alarm name; AlarmInfo.alarm_name
    QByteArray data10;       ///< bytes, unchanged; AlarmInfo.data_10
};

/// Temporary user code of one device.
struct DevTempUserCode {
    QString sn;   ///< device serial number; DevTempUserCode.sn
    QString code; ///< the code; DevTempUserCode.code
};

/// State of a firmware upgrade.
struct DevUpgradeInfo {
    int param3 = 0;         ///< DevUpgradeRes.param_3
    QString newVersionName; ///< version offered; DevUpgradeRes.new_version_name
    bool param5 = false;    ///< DevUpgradeRes.param_5
    QString phase;          ///< upgrade phase; DevUpgradeRes.phase
    int param7 = 0;         ///< DevUpgradeRes.param_7
};

/// Progress of a file upload or download.
struct FileTransferProgress {
    QString requestId; ///< id of the transfer request; FileTransferProgress.request_id
    int param2 = 0;    ///< FileTransferProgress.param_2
    int param3 = 0;    ///< FileTransferProgress.param_3
};

// ---- Lists ----

typedef QList<DevInfo> DevInfoList;
typedef QList<PresetInfo> PresetList;
typedef QList<PatrolInfo> PatrolList;
typedef QList<VideoRecInfo> VideoRecList;
typedef QList<FaceInfo> FaceInfoList;
typedef QList<FaceDetectRecordInfo> FaceDetectRecordList;
typedef QList<DevTempUserCode> DevTempUserCodeList;
typedef QList<DevChannelInfo> DevChanInfoList;
typedef QList<DevStatus> ChanStatusList;

// ---- Comparison: tied() lists a record's members, == and != compare them ----

inline auto tied(const InitDgwCondition &r)
{
    return std::tie(r.requestId, r.ak, r.sk, r.ck, r.csk, r.param6, r.url, r.param8, r.saasServer, r.saasCer);
}
inline auto tied(const SearchDevsConfig &r) { return std::tie(r.param1, r.beginIp, r.endIp, r.param4); }
inline auto tied(const ActivateCondition &r) { return std::tie(r.account, r.password, r.secretInfos, r.param5); }
inline auto tied(const GetDevSecretQuestionsCondition &r) { return std::tie(r.devSn, r.account); }
inline auto tied(const ResetDevPwdCondition &r) { return std::tie(r.devSn, r.account, r.password, r.secretInfos); }
inline auto tied(const GetDevPlatformCondition &r) { return std::tie(r.requestId, r.devId, r.param3, r.param4); }
inline auto tied(const SetDevPlatformCondition &r)
{
    return std::tie(r.requestId, r.devId, r.param1, r.platformAddr, r.param3, r.param4, r.param5);
}
inline auto tied(const SetDevPlatform_tavCondition &r)
{
    return std::tie(r.requestId, r.devId, r.onlineServer, r.param4, r.businessServer);
}
inline auto tied(const ImportDevCertCondition &r)
{
    return std::tie(r.requestId, r.devId, r.param3, r.ca, r.certContents, r.key, r.secretKey);
}
inline auto tied(const SetDevNetCondition &r)
{
    return std::tie(r.requestId, r.devId, r.ip, r.subNetMask, r.defaultGateway, r.dns, r.param5, r.param6, r.param7,
                    r.param8);
}
inline auto tied(const RecsSearchCondition &r)
{
    return std::tie(r.requestId, r.devId, r.channel, r.param3, r.param4, r.beginTime, r.endTime);
}
inline auto tied(const GetRtspUrlCondition &r) { return std::tie(r.requestId, r.devId, r.channel, r.streamType); }
inline auto tied(const PTZCtrlCondition &r)
{
    return std::tie(r.requestId, r.devId, r.channel, r.operation, r.action, r.param5, r.param6);
}
inline auto tied(const ChannelCondition &r) { return std::tie(r.requestId, r.devId, r.channel); }
inline auto tied(const PresetOperCondition &r)
{
    return std::tie(r.requestId, r.devId, r.channel, r.presetNumber, r.presetName, r.oper);
}
inline auto tied(const PatrolOperCondition &r) { return std::tie(r.requestId, r.devId, r.channel, r.param3, r.param4); }
inline auto tied(const PatrolPresetOperCondition &r)
{
    return std::tie(r.requestId, r.devId, r.channel, r.param3, r.param4, r.param5, r.param6);
}
inline auto tied(const PatrolPresetEntry &r) { return std::tie(r.presetNumber, r.stayTime); }
inline auto tied(const SetPatrolPresetsCondition &r)
{
    return std::tie(r.requestId, r.devId, r.channel, r.param3, r.presets);
}
inline auto tied(const SetOSDCondition &r) { return std::tie(r.requestId, r.devId, r.channel, r.osd); }
inline auto tied(const ModifyDevNameCondition &r) { return std::tie(r.requestId, r.devId, r.devName); }
inline auto tied(const DevUpgradeCondtition &r)
{
    return std::tie(r.requestId, r.devId, r.mode, r.url, r.param5, r.mainFile, r.verFile);
}
inline auto tied(const ModifyDevAccountCondition &r)
{
    return std::tie(r.requestId, r.devId, r.account, r.oldPassword, r.newPassword, r.level);
}
inline auto tied(const ModifyFaceCondition &r)
{
    return std::tie(r.requestId, r.devId, r.channel, r.serialNum, r.name, r.param6, r.param7, r.param8, r.faceType,
                    r.validTime, r.invalidTime, r.faceImage, r.organizations);
}
inline auto tied(const GetFacesCondition &r)
{
    return std::tie(r.requestId, r.devId, r.channel, r.param3, r.param4, r.param5, r.param6);
}
inline auto tied(const DelFaceCondition &r) { return std::tie(r.requestId, r.devId, r.channel, r.param3); }
inline auto tied(const GetFaceDetectRecordsCondition &r)
{
    return std::tie(r.requestId, r.devId, r.channel, r.beginTime, r.endTime);
}
inline auto tied(const TalkOperCondition &r) { return std::tie(r.requestId, r.devId, r.channel, r.param3); }
inline auto tied(const SpeakOperCondition &r) { return std::tie(r.requestId, r.devId, r.channel, r.param3); }
inline auto tied(const UploadFileCondition &r) { return std::tie(r.requestId, r.devId, r.fileName, r.purpose); }
inline auto tied(const DownloadFileCondition &r)
{
    return std::tie(r.requestId, r.devId, r.srcFileName, r.desFileName);
}
inline auto tied(const LiveVideoConnCondition &r) { return std::tie(r.devId, r.channel, r.streamType); }
inline auto tied(const PlaybackByFileCondition &r)
{
    return std::tie(r.devId, r.channel, r.fileName, r.param3, r.param4);
}
inline auto tied(const PlaybackByTimeCondition &r) { return std::tie(r.devId, r.channel, r.startTime, r.param3); }
inline auto tied(const Response &r) { return std::tie(r.requestId, r.errorCode, r.errorText); }
inline auto tied(const DevInfo &r)
{
    return std::tie(r.id, r.name, r.sn, r.param4, r.ip, r.port, r.user, r.password, r.version, r.seriesName, r.param11,
                    r.param12, r.param13, r.param14, r.param15, r.param16, r.param17, r.param18);
}
inline auto tied(const AiAbilityInfo &r) { return std::tie(r.package, r.param2, r.name, r.param4, r.param5); }
inline auto tied(const DevInfoFromDgw &r)
{
    return std::tie(r.id, r.sn, r.ip, r.param4, r.param5, r.param6, r.version, r.seriesName, r.param9, r.param10,
                    r.devCode, r.param12, r.abilityDetails);
}
inline auto tied(const DevChannelInfo &r)
{
    return std::tie(r.devId, r.channel, r.osd, r.param3, r.param4, r.sn, r.ip, r.port, r.user, r.password, r.param10,
                    r.param11, r.abilityDetails);
}
inline auto tied(const DevNetInfo &r)
{
    return std::tie(r.ip, r.subNetMask, r.defaultGateway, r.dns, r.param5, r.param6, r.param7, r.param8);
}
inline auto tied(const DevPlatformInfo &r) { return std::tie(r.param1, r.platformAddr, r.param3, r.param4, r.param5); }
inline auto tied(const DevPlatform_tavInfo &r)
{
    return std::tie(r.param1, r.param2, r.onlineServer, r.param4, r.businessServer);
}
inline auto tied(const PresetInfo &r) { return std::tie(r.number, r.name); }
inline auto tied(const PatrolPresetInfo &r) { return std::tie(r.preset, r.param2, r.param3); }
inline auto tied(const PatrolInfo &r) { return std::tie(r.number, r.presets, r.param3, r.param4); }
inline auto tied(const VideoRecInfo &r) { return std::tie(r.begin, r.end, r.fileName, r.param4, r.param5); }
inline auto tied(const FaceInfo &r)
{
    return std::tie(r.param1, r.serialNum, r.name, r.faceType, r.faceUrl, r.param6, r.param7, r.faceImage, r.validTime,
                    r.invalidTime, r.organizations);
}
inline auto tied(const FaceDetectRecordInfo &r)
{
    return std::tie(r.serialNum, r.name, r.company, r.department, r.position, r.detectTime, r.param7, r.param8,
                    r.param9, r.param10, r.param11, r.data12, r.data13);
}
inline auto tied(const FaceCountInfo &r) { return std::tie(r.param2, r.param3, r.param4); }
inline auto tied(const AlarmInfo &r)
{
    return std::tie(r.alarmId, r.channel, r.secondChannel, r.triggerName, r.alarmTime, r.data6, r.alarmType, r.param8,
                    r.alarmName, r.data10);
}
inline auto tied(const DevTempUserCode &r) { return std::tie(r.sn, r.code); }
inline auto tied(const DevUpgradeInfo &r) { return std::tie(r.param3, r.newVersionName, r.param5, r.phase, r.param7); }
inline auto tied(const FileTransferProgress &r) { return std::tie(r.requestId, r.param2, r.param3); }

namespace detail {
// Converts to any member type: T{AnyMember{}...} compiles for up to as many
// values as the aggregate T has members, which counts them.
struct AnyMember {
    template <class M>
    operator M() const;
};
template <class T, class Indexes, class = void>
struct BracesWith : std::false_type {
};
template <class T, std::size_t... I>
struct BracesWith<T, std::index_sequence<I...>, std::void_t<decltype(T{(void(I), AnyMember{})...})>> : std::true_type {
};
template <class T, std::size_t N = 0>
constexpr std::size_t memberCount()
{
    if constexpr (BracesWith<T, std::make_index_sequence<N + 1>>::value)
        return memberCount<T, N + 1>();
    else
        return N;
}
} // namespace detail

/// Member-wise equality of any record above.
template <class T>
inline auto operator==(const T &a, const T &b) -> decltype(tied(a) == tied(b))
{
    // A member left out of tied() would make == blind to it.
    static_assert(detail::memberCount<T>() == std::tuple_size_v<decltype(tied(a))>, "tied() must name every member");
    return tied(a) == tied(b);
}
template <class T>
inline auto operator!=(const T &a, const T &b) -> decltype(tied(a) == tied(b))
{
    return !(tied(a) == tied(b));
}

} // namespace oru_sdk

// ChannelId needs no declaration: Qt declares QPair types itself (declaring the
// typedef would redefine Qt's own QMetaTypeId<QPair<QString, int>>); the name
// "ChannelId" is registered as an alias of it at start-up.
Q_DECLARE_METATYPE(oru_sdk::DevStatus)
Q_DECLARE_METATYPE(oru_sdk::PTZOperation)
Q_DECLARE_METATYPE(oru_sdk::PTZAction)
Q_DECLARE_METATYPE(oru_sdk::PresetOper)
Q_DECLARE_METATYPE(oru_sdk::PatrolOper)
Q_DECLARE_METATYPE(oru_sdk::PatrolPresetOper)
Q_DECLARE_METATYPE(oru_sdk::TalkEvent)
Q_DECLARE_METATYPE(oru_sdk::StreamEvent)
Q_DECLARE_METATYPE(oru_sdk::PlaybackCtrl)
Q_DECLARE_METATYPE(oru_sdk::InitDgwCondition)
Q_DECLARE_METATYPE(oru_sdk::SearchDevsConfig)
Q_DECLARE_METATYPE(oru_sdk::ActivateCondition)
Q_DECLARE_METATYPE(oru_sdk::GetDevSecretQuestionsCondition)
Q_DECLARE_METATYPE(oru_sdk::ResetDevPwdCondition)
Q_DECLARE_METATYPE(oru_sdk::GetDevPlatformCondition)
Q_DECLARE_METATYPE(oru_sdk::SetDevPlatformCondition)
Q_DECLARE_METATYPE(oru_sdk::SetDevPlatform_tavCondition)
Q_DECLARE_METATYPE(oru_sdk::ImportDevCertCondition)
Q_DECLARE_METATYPE(oru_sdk::SetDevNetCondition)
Q_DECLARE_METATYPE(oru_sdk::RecsSearchCondition)
Q_DECLARE_METATYPE(oru_sdk::GetRtspUrlCondition)
Q_DECLARE_METATYPE(oru_sdk::PTZCtrlCondition)
Q_DECLARE_METATYPE(oru_sdk::ChannelCondition)
Q_DECLARE_METATYPE(oru_sdk::PresetOperCondition)
Q_DECLARE_METATYPE(oru_sdk::PatrolOperCondition)
Q_DECLARE_METATYPE(oru_sdk::PatrolPresetOperCondition)
Q_DECLARE_METATYPE(oru_sdk::PatrolPresetEntry)
Q_DECLARE_METATYPE(oru_sdk::SetPatrolPresetsCondition)
Q_DECLARE_METATYPE(oru_sdk::SetOSDCondition)
Q_DECLARE_METATYPE(oru_sdk::ModifyDevNameCondition)
Q_DECLARE_METATYPE(oru_sdk::DevUpgradeCondtition)
Q_DECLARE_METATYPE(oru_sdk::ModifyDevAccountCondition)
Q_DECLARE_METATYPE(oru_sdk::ModifyFaceCondition)
Q_DECLARE_METATYPE(oru_sdk::GetFacesCondition)
Q_DECLARE_METATYPE(oru_sdk::DelFaceCondition)
Q_DECLARE_METATYPE(oru_sdk::GetFaceDetectRecordsCondition)
Q_DECLARE_METATYPE(oru_sdk::TalkOperCondition)
Q_DECLARE_METATYPE(oru_sdk::SpeakOperCondition)
Q_DECLARE_METATYPE(oru_sdk::UploadFileCondition)
Q_DECLARE_METATYPE(oru_sdk::DownloadFileCondition)
Q_DECLARE_METATYPE(oru_sdk::LiveVideoConnCondition)
Q_DECLARE_METATYPE(oru_sdk::PlaybackByFileCondition)
Q_DECLARE_METATYPE(oru_sdk::PlaybackByTimeCondition)
Q_DECLARE_METATYPE(oru_sdk::Response)
Q_DECLARE_METATYPE(oru_sdk::DevInfo)
Q_DECLARE_METATYPE(oru_sdk::AiAbilityInfo)
Q_DECLARE_METATYPE(oru_sdk::DevInfoFromDgw)
Q_DECLARE_METATYPE(oru_sdk::DevChannelInfo)
Q_DECLARE_METATYPE(oru_sdk::DevNetInfo)
Q_DECLARE_METATYPE(oru_sdk::DevPlatformInfo)
Q_DECLARE_METATYPE(oru_sdk::DevPlatform_tavInfo)
Q_DECLARE_METATYPE(oru_sdk::PresetInfo)
Q_DECLARE_METATYPE(oru_sdk::PatrolPresetInfo)
Q_DECLARE_METATYPE(oru_sdk::PatrolInfo)
Q_DECLARE_METATYPE(oru_sdk::VideoRecInfo)
Q_DECLARE_METATYPE(oru_sdk::FaceInfo)
Q_DECLARE_METATYPE(oru_sdk::FaceDetectRecordInfo)
Q_DECLARE_METATYPE(oru_sdk::FaceCountInfo)
Q_DECLARE_METATYPE(oru_sdk::AlarmInfo)
Q_DECLARE_METATYPE(oru_sdk::DevTempUserCode)
Q_DECLARE_METATYPE(oru_sdk::DevUpgradeInfo)
Q_DECLARE_METATYPE(oru_sdk::FileTransferProgress)
Q_DECLARE_METATYPE(oru_sdk::DevInfoList)
Q_DECLARE_METATYPE(oru_sdk::PresetList)
Q_DECLARE_METATYPE(oru_sdk::PatrolList)
Q_DECLARE_METATYPE(oru_sdk::VideoRecList)
Q_DECLARE_METATYPE(oru_sdk::FaceInfoList)
Q_DECLARE_METATYPE(oru_sdk::FaceDetectRecordList)
Q_DECLARE_METATYPE(oru_sdk::DevTempUserCodeList)
Q_DECLARE_METATYPE(oru_sdk::DevChanInfoList)
Q_DECLARE_METATYPE(oru_sdk::ChanStatusList)
