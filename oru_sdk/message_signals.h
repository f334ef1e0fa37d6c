#pragma once

#include <oru_sdk/types.h>

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QStringList>

namespace oru_sdk {

// The exported response and push functions emit these; MessageHamal and
// StreamWorker turn them into frames. Automatic connections make a call from
// any host thread a queued call into the library's thread.
class MessageSignals : public QObject
{
    Q_OBJECT

public:
    static MessageSignals &instance();

signals:
    void signalInitDgwRes(const Response &response);
    void signalPushSearchedDevsMsg(const DevInfoList &devs);
    void signalPushBroadcastSearchedDevsMsg(const DevInfoList &devs);
    void signalPushDevStatusMsg(const QString &devId, DevStatus status);
    void signalPushDevP2PSuccess(const QString &devId);
    void signalPushDevChannelsInfoMsg(const QString &devId, const DevChanInfoList &channelsInfo);
    void signalPushDevInfo(const DevInfoFromDgw &devInfo);
    void signalPushDevTempUserCodeMsg(const DevTempUserCodeList &codeList);
    void signalActivateDevRes(const QString &devSn, int errorCode);
    void signalGetDevSecretQuestionsRes(const QString &devSn, int errorCode, const QStringList &questions);
    void signalResetDevPwdRes(const QString &devSn, int errorCode);
    void signalSearchVideoRecordingsRes(const Response &response, const VideoRecList &recordings,
                                        bool playbackByTimeEnable);
    void signalGetRtspUrlRes(const Response &response, const QString &rtspUrl);
    void signalSetDevNetRes(const Response &response, const QString &devId, const QString &devIp);
    void signalGetDevNetRes(const Response &response, const DevNetInfo &devNetInfo);
    void signalGetDevPlatformRes(const Response &response, const DevPlatformInfo &devPlatformInfo);
    void signalSetDevPlatformRes(const Response &response);
    void signalGetDevPlatform_tavRes(const Response &response, const DevPlatform_tavInfo &devPlatformInfo);
    void signalSetDevPlatform_tavRes(const Response &response);
    void signalImportDevCertRes(const Response &response);
    void signalPTZCtrlRes(const Response &response, PTZOperation operation, PTZAction action);
    void signalGetPresetsRes(const Response &response, const PresetList &presets);
    void signalOperPresetRes(const Response &response, PresetOper oper);
    void signalGetPatrolsRes(const Response &response, const PatrolList &patrols);
    void signalOperPatrolRes(const Response &response, PatrolOper oper);
    void signalOperPatrolPresetRes(const Response &response, PatrolPresetOper oper);
    void signalSetPatrolPresetsRes(const Response &response);
    void signalDevConfigRes(const Response &response);
    void signalCheckDevUpgradeRes(const Response &response, const DevUpgradeInfo &info);
    void signalUploadUpgradeFileFinished(const QString &devId);
    void signalGetDevUpgradeProgressRes(const Response &response, const DevUpgradeInfo &info);
    void signalModifyDevAccountRes(const Response &response);
    void signalWriteStreamData(StreamId streamId, const QByteArray &data);
    void signalPushStreamEventMsg(StreamId streamId, StreamEvent event);
    void signalPushPlaybackByFileProgressMsg(StreamId streamId, unsigned int offsetTime, unsigned int duration);
    void signalPushPlaybackByTimeProgressMsg(StreamId streamId, const QDateTime &curTime);
    void signalAddFaceRes(const Response &response);
    void signalGetFacesRes(const Response &response, const FaceInfoList &faces, unsigned int totalCnt);
    void signalDelFaceRes(const Response &response);
    void signalGetFaceDetectRecordsRes(const Response &response, const FaceDetectRecordList &records,
                                       unsigned int totalCnt);
    void signalPushFaceDetectMsg(const ChannelId &channelId, const FaceDetectRecordInfo &record);
    void signalPushFaceTemperatureCountMsg(const ChannelId &channelId, const FaceCountInfo &count);
    void signalPushAlarmMsg(const AlarmInfo &alarm);
    void signalPushTlvData(const QString &devId, const QByteArray &tlvData);
    void signalTalkOperRes(const Response &response);
    void signalSpeakOperRes(const Response &response);
    void signalPushTalkEventMsg(const ChannelId &channelId, TalkEvent event);
    void signalPushSpeakEventMsg(const ChannelId &channelId, TalkEvent event);
    void signalPushFileTransferProgress(const FileTransferProgress &progress);
    void signalCommonRes(const QString &requestId, const QString &resJson);

private:
    MessageSignals();
};

} // namespace oru_sdk
