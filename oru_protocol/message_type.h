#pragma once

#include <QMetaType>

// One list per channel: every message-type code on one line with what the
// gateway does with it. A row is IN (client to gateway: the handler), OUT
// (gateway to client: the route its frame takes) or CODE (handled by the
// server itself). Handlers and routes are only names here; the gateway's
// dispatcher expands them where they are defined, everyone else only reads
// the codes.
//
// Inbound handlers: request<Wire>(emit, success) records the asker, command
// does not; the failure line is "parse [<success>] failure" unless given.
// Outbound routes: answer<Wire> goes to the asker, push<Wire> to everyone.

// clang-format off
#define ORU_CONTROL_CHANNEL(IN, OUT, CODE) \
    IN(1, InitDgwReq, request<proto::InitDgwReq>(record(&S::signalInitDgwReq), "init dgw req", Level::Info)) \
    OUT(2, InitDgwRes, answer<proto::Response>(&M::signalInitDgwRes, "init dgw res", nothingMore)) \
    CODE(3, MainClientHello) \
    CODE(4, MainClientExit) \
    IN(5, SetSearchDevsConfigCmd, command<proto::SetSearchDevsConfigCmd>(record(&S::signalSetSearchDevsConfigCmd), "client set search devs config cmd")) \
    IN(6, SearchDevsCmd, bare(&S::signalSearchDevsCmd, "client search devs cmd")) \
    IN(7, SetManagedDevsCmd, command<proto::SetManagedDevsCmd>(devices(&S::signalSetManagedDevsCmd), "client set managed devs to dgw cmd")) \
    IN(8, BroadcastSearchDevsCmd, bare(&S::signalBroadcastSearchDevsCmd, "client broadcast search devs cmd")) \
    IN(9, AddManagedDevsCmd, command<proto::AddManagedDevsCmd>(devices(&S::signalAddManagedDevsCmd), "client add managed devs to dgw cmd")) \
    IN(10, DelManagedDevsCmd, command<proto::DevList>(deviceIds(&S::signalDelManagedDevsCmd), "client delete managed devs from dgw cmd")) \
    IN(11, EditManagedDevsCmd, command<proto::EditManagedDevsCmd>(devices(&S::signalEditManagedDevsCmd), "client edit managed devs in dgw cmd")) \
    IN(12, SetDevsTimeCmd, command<proto::DevTimingCmd>(setDevsTime, "client set devs time cmd")) \
    IN(13, RebootDevsCmd, command<proto::DevList>(deviceIds(&S::signalRebootDevsCmd), "client reboot devs cmd")) \
    IN(14, RestoreFactoryCmd, command<proto::RestoreFactoryCmd>(restoreFactory, "client restore factory cmd")) \
    IN(15, ReconnectDevsCmd, command<proto::DevList>(deviceIds(&S::signalReconnectDevsCmd), "client reconnect devs cmd")) \
    IN(16, ActivateDevsCmd, command<proto::DevActivateCmd>(activateDevs, "client activate devices cmd")) \
    IN(17, GetDevChannelsInfoCmd, plainText(&S::signalGetDevChannelsInfo, "client get device channels information cmd")) \
    OUT(18, ActivateDevRes, push<proto::ActivateDevRes>(&M::signalActivateDevRes, "server response activate device", snAndCode)) \
    IN(19, ClearFaceTemperatureCountCmd, plainText(&S::signalClearFaceTemperatureCountCmd, "client clear face temperature count cmd")) \
    IN(20, GetDevNetReq, request<proto::DevNetGetReq>(requestAndDevice(&S::signalGetDevNetReq), "client get dev net info req")) \
    OUT(21, GetDevNetRes, answer<proto::DevNetGetRes>(&M::signalGetDevNetRes, "server response client get device net req", devNetInfo)) \
    IN(22, SetDevNetReq, request<proto::DevNetSetReq>(record(&S::signalSetDevNetReq), "client set dev net info req")) \
    IN(23, GetDevPlatformReq, request<proto::DevPlatformGetReq>(record(&S::signalGetDevPlatformReq), "client get device platform req")) \
    OUT(24, GetDevPlatformRes, answer<proto::DevPlatformGetRes>(&M::signalGetDevPlatformRes, "server response client get device platform req", platformInfo)) \
    IN(25, SetDevPlatformReq, request<proto::DevPlatformSetReq>(record(&S::signalSetDevPlatformReq), "client set device platform req")) \
    OUT(26, SetDevPlatformRes, answer<proto::Response>(&M::signalSetDevPlatformRes, "server response client set device platform req", nothingMore)) \
    IN(27, GetDevPlatformTavReq, request<proto::DeviceReq>(requestAndDevice(&S::signalGetDevPlatform_tavReq), "client get device platform_tav req")) \
    OUT(28, GetDevPlatformTavRes, answer<proto::DevPlatform_tavGetRes>(&M::signalGetDevPlatform_tavRes, "server response client get device platform_tav req", platformInfo)) \
    IN(29, SetDevPlatformTavReq, request<proto::DevPlatform_tavSetReq>(record(&S::signalSetDevPlatform_tavReq), "client set device platform_tav req")) \
    OUT(30, SetDevPlatformTavRes, answer<proto::Response>(&M::signalSetDevPlatform_tavRes, "server response client set device platform_tav req", nothingMore)) \
    IN(31, ImportDevCertReq, request<proto::DevCertImportReq>(record(&S::signalImportDevCertReq), "client import device cert req")) \
    OUT(32, ImportDevCertRes, answer<proto::Response>(&M::signalImportDevCertRes, "server response client import device cert req", nothingMore)) \
    OUT(33, SetDevNetRes, answer<proto::DevNetSetRes>(&M::signalSetDevNetRes, "server response client set device net req", devIdAndIp)) \
    IN(36, SetSaasTokenCmd, plainText(&S::signalSetSaasTokenCmd, "client set saas token cmd")) \
    IN(37, SaasLogoutCmd, bare(&S::signalSaasLogoutCmd, "client saas logout cmd")) \
    OUT(38, PushSearchedDevsMsg, push<proto::SearchedDevsPush>(&M::signalPushSearchedDevsMsg, "server push searched devs to client", devList)) \
    OUT(39, PushBroadcastSearchedDevsMsg, push<proto::SearchedDevsPush>(&M::signalPushBroadcastSearchedDevsMsg, "server push broadcast searched devs to client", devList)) \
    OUT(40, PushDevStatusMsg, push<proto::DevStatusPush>(&M::signalPushDevStatusMsg, "server push dev status to client", devStatus)) \
    OUT(41, PushDevP2PSuccess, push<PlainText>(&M::signalPushDevP2PSuccess, "server push dev p2p success to client", nothingMore)) \
    OUT(42, PushDevInfo, push<proto::DevInfoFromDgw>(&M::signalPushDevInfo, "server push dev info to client", wholeMessage)) \
    OUT(44, PushDevTempUserCodeMsg, push<proto::DevTempUserCodePush>(&M::signalPushDevTempUserCodeMsg, "server push dev temp user code to client", tempUserCodes)) \
    OUT(45, PushDevChannelsInfoMsg, push<proto::DevChannelsInfoPush>(&M::signalPushDevChannelsInfoMsg, "server push dev channels info to client", channelsInfo)) \
    OUT(48, PushFaceDetectMsg, push<proto::FaceDetectLiveInfo>(&M::signalPushFaceDetectMsg, "server push face detect to client", faceDetect)) \
    OUT(49, PushFaceTemperatureCountMsg, push<proto::FaceCountInfo>(&M::signalPushFaceTemperatureCountMsg, "server push face temperature count to client", faceCount)) \
    OUT(50, PushAlarmMsg, push<proto::AlarmInfo>(&M::signalPushAlarmMsg, "server push alarm to client", alarm)) \
    OUT(51, PushTlvData, push<proto::TlvInfo>(&M::signalPushTlvData, nullptr, tlvData)) \
    IN(52, SearchVideoRecordingsReq, request<proto::SearchVideoRecordingsReq>(record(&S::signalSearchVideoRecsReq), "client search video recordings from dgw req")) \
    IN(53, GetRtspUrlReq, request<proto::GetRtspUrlReq>(record(&S::signalGetRtspUrlReq), "client get rtsp url from dgw req")) \
    OUT(54, GetRtspUrlRes, answer<proto::GetRtspUrlRes>(&M::signalGetRtspUrlRes, "server response client get rtsp url req", rtspUrl)) \
    OUT(55, SearchVideoRecordingsRes, answer<proto::SearchVideoRecordingsRes>(&M::signalSearchVideoRecordingsRes, "server response client search video recordings req", recordings)) \
    IN(56, PTZCtrlReq, request<proto::PTZCtrlReq>(record(&S::signalPTZCtrlReq), "client ptz req")) \
    OUT(57, PTZCtrlRes, answer<proto::PTZCtrlRes>(&M::signalPTZCtrlRes, "server response client ptz ctrl req", ptzOperationTwice)) \
    IN(58, GetPresetsReq, request<proto::ChannelReq>(record(&S::signalGetPresetsReq), "client get presets req")) \
    OUT(59, GetPresetsRes, answer<proto::GetPresetRes>(&M::signalGetPresetsRes, "server response client get presets req", presets)) \
    IN(60, OperPresetReq, request<proto::PresetOperReq>(record(&S::signalOperPresetReq), "client oper preset req")) \
    OUT(61, OperPresetRes, answer<proto::PresetOperRes>(&M::signalOperPresetRes, "server response client oper preset req", oper)) \
    IN(62, GetPatrolsReq, request<proto::ChannelReq>(record(&S::signalGetPatrolsReq), "client get patrols req")) \
    OUT(63, GetPatrolsRes, answer<proto::GetPatrolRes>(&M::signalGetPatrolsRes, "server response client get patrol req", patrols)) \
    IN(64, OperPatrolReq, request<proto::PatrolOperReq>(record(&S::signalOperPatrolReq), "client oper patrol req")) \
    OUT(65, OperPatrolRes, answer<proto::PatrolOperRes>(&M::signalOperPatrolRes, "server response client oper patrol req", oper)) \
    IN(66, OperPatrolPresetReq, request<proto::PatrolPresetOperReq>(record(&S::signalOperPatrolPresetReq), "client oper patrol preset req")) \
    OUT(67, OperPatrolPresetRes, answer<proto::PatrolPresetOperRes>(&M::signalOperPatrolPresetRes, "server response client oper patrol preset req", oper)) \
    IN(68, SetPatrolPresetsReq, request<proto::SetPatrolPresetsReq>(record(&S::signalSetPatrolPresetsReq), "client set patrol presets req")) \
    OUT(69, SetPatrolPresetsRes, answer<proto::Response>(&M::signalSetPatrolPresetsRes, "server response client set patrol presets req", nothingMore)) \
    IN(70, SetOSDReq, request<proto::SetOSDReq>(record(&S::signalSetOSDReq), "client set osd req")) \
    IN(71, ModifyDevNameReq, request<proto::ModifyDevNameReq>(record(&S::signalModifyDevNameReq), "client modify device name req")) \
    OUT(72, DevConfigRes, answer<proto::Response>(&M::signalDevConfigRes, "server response device config req", nothingMore)) \
    IN(73, AddFaceReq, request<proto::AddFaceReq>(record(&S::signalAddFaceReq), "client add face req")) \
    OUT(74, AddFaceRes, answer<proto::Response>(&M::signalAddFaceRes, "server response client add face req", nothingMore)) \
    IN(75, GetFacesReq, request<proto::GetFacesReq>(record(&S::signalGetFacesReq), "client get faces req")) \
    OUT(76, GetFacesRes, answer<proto::GetFacesRes>(&M::signalGetFacesRes, "server response client get faces req", faces)) \
    IN(77, DelFaceReq, request<proto::DelFaceReq>(record(&S::signalDelFaceReq), "client delete face req")) \
    OUT(78, DelFaceRes, answer<proto::Response>(&M::signalDelFaceRes, "server response client delete face req", nothingMore)) \
    IN(79, GetFaceDetectRecordsReq, request<proto::GetFaceDetectRecordsReq>(record(&S::signalGetFaceDetectRecordsReq), "client get face detect records req", withTimesAsSent)) \
    OUT(80, GetFaceDetectRecordsRes, answer<proto::GetFaceDetectRecordsRes>(&M::signalGetFaceDetectRecordsRes, "server response client get face detect records req", faceRecords)) \
    IN(81, OpenDevRemoteConfigReq, command<proto::OpenRemoteConfigReq>(openRemoteConfig, "client open dev remote confit req", Failure{"parse [open remote config req] failure"})) \
    IN(82, CheckDevUpgradeReq, request<proto::DevUpgradeReq>(record(&S::signalCheckDevUpgradeReq), "client check device upgrade req")) \
    OUT(83, CheckDevUpgradeRes, answer<proto::DevUpgradeRes>(&M::signalCheckDevUpgradeRes, "server response client check device upgrade req", upgradeInfo)) \
    OUT(84, UploadUpgradeFileFinished, push<PlainText>(&M::signalUploadUpgradeFileFinished, "server push upload upgrade file finished message", nothingMore)) \
    IN(85, DoDevUpgradeCmd, command<proto::DevUpgradeReq>(record(&S::signalDoDevUpgradeCmd), "client do device upgrade cmd")) \
    IN(86, GetDevUpgradeProgressReq, request<proto::DeviceReq>(requestAndDevice(&S::signalGetDevUpgradeProgressReq), "client get device upgrade progress req")) \
    OUT(87, GetDevUpgradeProgressRes, answer<proto::DevUpgradeRes>(&M::signalGetDevUpgradeProgressRes, "server response client get device upgrade progress req", upgradeInfo)) \
    IN(88, ModifyDevAccountReq, request<proto::ModifyDevAccountReq>(record(&S::signalModifyDevAccountReq), "client modify device account req")) \
    OUT(89, ModifyDevAccountRes, answer<proto::Response>(&M::signalModifyDevAccountRes, "server response client modify device account req", nothingMore)) \
    IN(90, GetDevSecretQuestionsCmd, command<proto::DevSecretQuestionsGetReq>(record(&S::signalGetDevSecretQuestionsCmd), "client get device secret questions cmd")) \
    OUT(91, GetDevSecretQuestionsRes, push<proto::DevSecretQuestionsGetRes>(&M::signalGetDevSecretQuestionsRes, "server response client get device secret questions", secretQuestions)) \
    IN(92, ResetDevPwdCmd, command<proto::DevPwdResetReq>(record(&S::signalResetDevPwdCmd), "client reset device password cmd")) \
    OUT(93, ResetDevPwdRes, push<proto::ResetDevPwdRes>(&M::signalResetDevPwdRes, "server response client reset device password", snAndCode)) \
    IN(94, TalkOperReq, request<proto::TalkOperReq>(record(&S::signalTalkOperReq), "client talk oper req")) \
    OUT(95, TalkOperRes, answer<proto::Response>(&M::signalTalkOperRes, "server response talk oper req", nothingMore)) \
    IN(96, SpeakOperReq, request<proto::TalkOperReq>(record(&S::signalSpeakOperReq), "client speak oper req")) \
    OUT(97, SpeakOperRes, answer<proto::Response>(&M::signalSpeakOperRes, "server response speak oper req", nothingMore)) \
    OUT(98, PushTalkEventMsg, push<proto::TalkEventPush>(&M::signalPushTalkEventMsg, "server push talk event to client", talkEvent)) \
    OUT(99, PushSpeakEventMsg, push<proto::TalkEventPush>(&M::signalPushSpeakEventMsg, "server push speak event to client", talkEvent)) \
    IN(100, CommonReq, request<proto::CommonReq>(commonReq, "client common req", Failure{"parse [common req] failure"})) \
    OUT(101, CommonRes, answer<proto::CommonRes>(&M::signalCommonRes, "server response common req", commonRes)) \
    IN(111, UploadFileReq, request<proto::UploadFileReq>(record(&S::signalUploadFileReq), "client upload file req")) \
    IN(112, DownloadFileReq, request<proto::DownloadFileReq>(record(&S::signalDownloadFileReq), "client download file req")) \
    OUT(113, PushFileTransferProgress, answer<proto::FileTransferProgress>(&M::signalPushFileTransferProgress, "server response client get face detect records req", wholeMessage))

// Stream channel. Lines read "client request <what>, stream id:..." and
// "parse [client <what> req] failure" unless given.
#define ORU_STREAM_CHANNEL(IN, OUT, CODE) \
    OUT(102, StreamData, &M::signalWriteStreamData, &StreamWorker::slotWriteStreamData) \
    OUT(103, PushStreamEventMsg, &M::signalPushStreamEventMsg, &StreamWorker::slotPushStreamEventMsg) \
    OUT(46, PushPlaybackByFileProgressMsg, &M::signalPushPlaybackByFileProgressMsg, &StreamWorker::slotPushPlaybackByFileProgressMsg) \
    OUT(47, PushPlaybackByTimeProgressMsg, &M::signalPushPlaybackByTimeProgressMsg, &StreamWorker::slotPushPlaybackByTimeProgressMsg) \
    IN(104, LiveVideoConnReq, openStream<proto::LiveVideoConnReq>(&S::signalLiveVideoConnReq, &StreamWorker::liveStreamId, "live video connect")) \
    IN(105, PlaybackByFileReq, openStream<proto::PlaybackByFileReq>(&S::signalPlaybackByFileReq, &StreamWorker::playbackStreamId, "playback by file")) \
    IN(106, PlaybackByTimeReq, openStream<proto::PlaybackByTimeReq>(&S::signalPlaybackByTimeReq, &StreamWorker::playbackStreamId, "playback by time")) \
    IN(107, SkipByOffsetTimeReq, controlStream<proto::SkipByPosReq>(skipByOffsetTime, "skip by offset time")) \
    IN(108, SkipByAppointedTimeReq, controlStream<proto::SkipByTimeReq>(skipByAppointedTime, "skip by appointed time")) \
    IN(109, PlaybackCtrlReq, controlStream<proto::PlaybackCtrlReq>(playbackCtrl, "playback ctrl")) \
    IN(110, PlaybackSpeedSetReq, controlStream<proto::PlaybackSpeedSetReq>(playbackSpeedSet, "playback speed set", "client request set playback speed"))
// clang-format on

// For the kinds of row a reader does not expand.
#define ORU_SKIP_ROW(code, name, ...)
#define ORU_SKIP_CODE(code, name)

namespace oru_sdk {

#define ORU_MESSAGE_TYPE_ROW(code, name, ...) name = code,
#define ORU_MESSAGE_TYPE_CODE(code, name) name = code,
// Message-type code of a frame: one signed byte on the wire, widened with its
// sign. Codes not listed are never sent by the gateway and are ignored when
// received.
enum class MessageType : int {
    ORU_CONTROL_CHANNEL(ORU_MESSAGE_TYPE_ROW, ORU_MESSAGE_TYPE_ROW, ORU_MESSAGE_TYPE_CODE)
        ORU_STREAM_CHANNEL(ORU_MESSAGE_TYPE_ROW, ORU_MESSAGE_TYPE_ROW, ORU_MESSAGE_TYPE_CODE)
};
#undef ORU_MESSAGE_TYPE_ROW
#undef ORU_MESSAGE_TYPE_CODE

namespace message_type_detail {
#define ORU_MESSAGE_CODE_ROW(code, name, ...) code,
#define ORU_MESSAGE_CODE_CODE(code, name) code,
constexpr int kCodes[] = {ORU_CONTROL_CHANNEL(ORU_MESSAGE_CODE_ROW, ORU_MESSAGE_CODE_ROW, ORU_MESSAGE_CODE_CODE)
                              ORU_STREAM_CHANNEL(ORU_MESSAGE_CODE_ROW, ORU_MESSAGE_CODE_ROW, ORU_MESSAGE_CODE_CODE)};
#undef ORU_MESSAGE_CODE_ROW
#undef ORU_MESSAGE_CODE_CODE

constexpr bool codesAreUnique()
{
    constexpr int count = sizeof(kCodes) / sizeof(kCodes[0]);
    for (int i = 0; i < count; ++i) {
        for (int j = i + 1; j < count; ++j) {
            if (kCodes[i] == kCodes[j])
                return false;
        }
    }
    return true;
}
static_assert(codesAreUnique(), "a message-type code is listed twice");
} // namespace message_type_detail

#define ORU_MESSAGE_NAME_ROW(code, name, ...)                                                                          \
    case code:                                                                                                         \
        return #name;
#define ORU_MESSAGE_NAME_CODE(code, name) ORU_MESSAGE_NAME_ROW(code, name)
/// The name of a message-type code ("GetPresetsReq"), or nullptr for a code not listed.
inline const char *messageTypeName(int code)
{
    switch (code) {
        ORU_CONTROL_CHANNEL(ORU_MESSAGE_NAME_ROW, ORU_MESSAGE_NAME_ROW, ORU_MESSAGE_NAME_CODE)
        ORU_STREAM_CHANNEL(ORU_MESSAGE_NAME_ROW, ORU_MESSAGE_NAME_ROW, ORU_MESSAGE_NAME_CODE)
    }
    return nullptr;
}
#undef ORU_MESSAGE_NAME_ROW
#undef ORU_MESSAGE_NAME_CODE

} // namespace oru_sdk

Q_DECLARE_METATYPE(oru_sdk::MessageType)
