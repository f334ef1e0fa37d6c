#include "types_p.h"

#include <oru_sdk/types.h>

#include "message_type.h"

namespace oru_sdk {

namespace {

void registerAll()
{
    // Condition records first, in their fixed order.
    qRegisterMetaType<InitDgwCondition>("InitDgwCondition");
    qRegisterMetaType<SearchDevsConfig>("SearchDevsConfig");
    qRegisterMetaType<RecsSearchCondition>("RecsSearchCondition");
    qRegisterMetaType<LiveVideoConnCondition>("LiveVideoConnCondition");
    qRegisterMetaType<PlaybackByFileCondition>("PlaybackByFileCondition");
    qRegisterMetaType<PlaybackByTimeCondition>("PlaybackByTimeCondition");
    qRegisterMetaType<PTZCtrlCondition>("PTZCtrlCondition");
    qRegisterMetaType<PresetOperCondition>("PresetOperCondition");
    qRegisterMetaType<ChannelCondition>("ChannelCondition");
    qRegisterMetaType<PatrolOperCondition>("PatrolOperCondition");
    qRegisterMetaType<PatrolPresetOperCondition>("PatrolPresetOperCondition");
    qRegisterMetaType<SetOSDCondition>("SetOSDCondition");
    qRegisterMetaType<ModifyFaceCondition>("ModifyFaceCondition");
    qRegisterMetaType<GetFacesCondition>("GetFacesCondition");
    qRegisterMetaType<DelFaceCondition>("DelFaceCondition");
    qRegisterMetaType<GetFaceDetectRecordsCondition>("GetFaceDetectRecordsCondition");
    qRegisterMetaType<SetDevNetCondition>("SetDevNetCondition");
    qRegisterMetaType<ChannelId>("ChannelId"); // an alias of Qt's QPair<QString,int>, pair converter included
    qRegisterMetaType<ModifyDevNameCondition>("ModifyDevNameCondition");
    qRegisterMetaType<DevUpgradeCondtition>("DevUpgradeCondtition");
    qRegisterMetaType<ModifyDevAccountCondition>("ModifyDevAccountCondition");
    qRegisterMetaType<DevUpgradeInfo>("DevUpgradeInfo");
    qRegisterMetaType<TalkOperCondition>("TalkOperCondition");
    qRegisterMetaType<SpeakOperCondition>("SpeakOperCondition");
    qRegisterMetaType<ActivateCondition>("ActivateCondition");
    qRegisterMetaType<GetDevPlatformCondition>("GetDevPlatformCondition");
    qRegisterMetaType<SetDevPlatformCondition>("SetDevPlatformCondition");
    qRegisterMetaType<ImportDevCertCondition>("ImportDevCertCondition");
    qRegisterMetaType<GetDevSecretQuestionsCondition>("GetDevSecretQuestionsCondition");
    qRegisterMetaType<ResetDevPwdCondition>("ResetDevPwdCondition");
    qRegisterMetaType<SetDevPlatform_tavCondition>("SetDevPlatform_tavCondition");
    qRegisterMetaType<GetRtspUrlCondition>("GetRtspUrlCondition");
    qRegisterMetaType<SetPatrolPresetsCondition>("SetPatrolPresetsCondition");
    qRegisterMetaType<UploadFileCondition>("UploadFileCondition");
    qRegisterMetaType<DownloadFileCondition>("DownloadFileCondition");

    // Types of the response and push signals.
    qRegisterMetaType<StreamId>("StreamId");
    qRegisterMetaType<DevInfoList>("DevInfoList");
    qRegisterMetaType<DevStatus>("DevStatus");
    qRegisterMetaType<DevInfoFromDgw>("DevInfoFromDgw");
    qRegisterMetaType<ChanStatusList>("ChanStatusList");
    qRegisterMetaType<Response>("Response");
    qRegisterMetaType<VideoRecList>("VideoRecList");
    qRegisterMetaType<StreamEvent>("StreamEvent");
    qRegisterMetaType<DevChanInfoList>("DevChanInfoList");
    qRegisterMetaType<PTZOperation>("PTZOperation");
    qRegisterMetaType<PTZAction>("PTZAction");
    qRegisterMetaType<PresetList>("PresetList");
    qRegisterMetaType<PresetOper>("PresetOper");
    qRegisterMetaType<PatrolList>("PatrolList");
    qRegisterMetaType<PatrolOper>("PatrolOper");
    qRegisterMetaType<PatrolPresetOper>("PatrolPresetOper");
    qRegisterMetaType<FaceInfoList>("FaceInfoList");
    qRegisterMetaType<FaceDetectRecordList>("FaceDetectRecordList");
    qRegisterMetaType<FaceDetectRecordInfo>("FaceDetectRecordInfo");
    qRegisterMetaType<DevTempUserCodeList>("DevTempUserCodeList");
    qRegisterMetaType<FaceCountInfo>("FaceCountInfo");
    qRegisterMetaType<AlarmInfo>("AlarmInfo");
    qRegisterMetaType<DevNetInfo>("DevNetInfo");
    qRegisterMetaType<TalkEvent>("TalkEvent");
    qRegisterMetaType<DevPlatformInfo>("DevPlatformInfo");
    qRegisterMetaType<DevPlatform_tavInfo>("DevPlatform_tavInfo");
    qRegisterMetaType<FileTransferProgress>("FileTransferProgress");

    // The rest: stream control, frame codes and the single records of the lists.
    qRegisterMetaType<PlaybackCtrl>("PlaybackCtrl");
    qRegisterMetaType<MessageType>("MessageType");
    qRegisterMetaType<DevInfo>("DevInfo");
    qRegisterMetaType<AiAbilityInfo>("AiAbilityInfo");
    qRegisterMetaType<DevChannelInfo>("DevChannelInfo");
    qRegisterMetaType<PresetInfo>("PresetInfo");
    qRegisterMetaType<PatrolPresetInfo>("PatrolPresetInfo");
    qRegisterMetaType<PatrolInfo>("PatrolInfo");
    qRegisterMetaType<PatrolPresetEntry>("PatrolPresetEntry");
    qRegisterMetaType<VideoRecInfo>("VideoRecInfo");
    qRegisterMetaType<FaceInfo>("FaceInfo");
    qRegisterMetaType<DevTempUserCode>("DevTempUserCode");
}

} // namespace

void registerMetaTypes()
{
    // A function-local static: thread-safe once, and no std template symbol
    // leaks into the library's exports.
    static const bool registered = (registerAll(), true);
    Q_UNUSED(registered);
}

} // namespace oru_sdk
