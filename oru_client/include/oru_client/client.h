#pragma once

#include "connection.h"
#include "reply.h"

#include <oru_sdk/types.h>

#include <QDateTime>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <memory>

namespace oru_client {

// Answers that carry more than one value.
struct DevNetSetResult {
    QString devId;
    QString devIp;
};
struct Recordings {
    oru_sdk::VideoRecList list;
    bool playbackByTimeEnable = false;
};
struct PtzResult {
    int operation = 0;
    int action = 0;
};
struct Faces {
    oru_sdk::FaceInfoList list;
    unsigned int totalCount = 0;
};
struct FaceRecords {
    oru_sdk::FaceDetectRecordList list;
    unsigned int totalCount = 0;
};
inline auto tied(const DevNetSetResult &r) { return std::tie(r.devId, r.devIp); }
inline auto tied(const Recordings &r) { return std::tie(r.list, r.playbackByTimeEnable); }
inline auto tied(const PtzResult &r) { return std::tie(r.operation, r.action); }
inline auto tied(const Faces &r) { return std::tie(r.list, r.totalCount); }
inline auto tied(const FaceRecords &r) { return std::tie(r.list, r.totalCount); }

/// The main client's side of the control channel.
///
/// Requests: each is one call returning a Reply<T> at once; it finishes with the
/// gateway's answer (matched by a request id the client makes up) or with an
/// error. T is the answer's value, read with value() once finished. Errors
/// (Reply::error()): NotConnected (nothing sent), Timeout (no answer within
/// timeout() ms), Disconnected (the connection closed while waiting); an
/// answer with a non-zero error code finishes with error() None, ok() false and
/// the code and text in response(). Wait with Reply::wait() (spins the caller's
/// event loop) or react with Reply::then().
///
/// Commands get no answer: plain calls. Pushes are frames the gateway sends
/// unasked to every control connection; each kind is a signal below, connected
/// to like any Qt signal (messageReceived carries every frame undecoded).
///
/// Connecting does not make this the main client: call hello() for that, and
/// know that the gateway closes its servers for good when its main client
/// leaves (exit() or disconnecting).
///
/// Everything runs on the thread that owns the client, through its event loop.
class ORU_CLIENT_EXPORT Client : public QObject
{
    Q_OBJECT

public:
    explicit Client(QObject *parent = nullptr);
    ~Client() override;

    bool connectToServer(const QString &serverName, int timeoutMs = 3000);
    void disconnectFromServer();
    bool isConnected() const;
    QString errorString() const;
    Connection &connection() { return conn; }

    // How long a call waits for its answer (default 5000 ms).
    void setTimeout(int ms) { timeoutMs = ms; }
    int timeout() const { return timeoutMs; }
    int pendingCalls() const;
    // Calls answered / sent so far.
    int answeredCalls() const { return answered; }
    int sentCalls() const { return sent; }
    // Request ids are "<prefix>-<n>" with a random prefix unless set here.
    void setRequestIdPrefix(const QString &prefix) { idPrefix = prefix; }

    void hello();
    void exit();

    // ---- Requests (answered to this connection, matched by request id) ----
    // The request id of a condition record is replaced by a fresh one.
    // Gateway initialisation (codes 1 -> 2).
    Reply<NoValue> initDgw(oru_sdk::InitDgwCondition c);
    // Network settings of a device (20 -> 21; setDevNet 22 -> 33).
    Reply<oru_sdk::DevNetInfo> getDevNet(const QString &devId);
    Reply<DevNetSetResult> setDevNet(oru_sdk::SetDevNetCondition c);
    // Platform settings (23 -> 24, 25 -> 26) and their _tav form (27 -> 28, 29 -> 30).
    Reply<oru_sdk::DevPlatformInfo> getDevPlatform(oru_sdk::GetDevPlatformCondition c);
    Reply<NoValue> setDevPlatform(oru_sdk::SetDevPlatformCondition c);
    Reply<oru_sdk::DevPlatform_tavInfo> getDevPlatformTav(const QString &devId);
    Reply<NoValue> setDevPlatformTav(oru_sdk::SetDevPlatform_tavCondition c);
    // Certificate import (31 -> 32).
    Reply<NoValue> importDevCert(oru_sdk::ImportDevCertCondition c);
    // Recordings in a time span, for playback (52 -> 55); RTSP address (53 -> 54).
    Reply<Recordings> searchVideoRecordings(oru_sdk::RecsSearchCondition c);
    Reply<QString> getRtspUrl(oru_sdk::GetRtspUrlCondition c);
    // PTZ (56 -> 57), presets (58 -> 59, 60 -> 61), patrols (62 -> 63, 64 -> 65),
    // patrol stops (66 -> 67, 68 -> 69). The int answers are the operation done.
    Reply<PtzResult> ptzCtrl(oru_sdk::PTZCtrlCondition c);
    Reply<oru_sdk::PresetList> getPresets(const QString &devId, int channel);
    Reply<int> operPreset(oru_sdk::PresetOperCondition c);
    Reply<oru_sdk::PatrolList> getPatrols(const QString &devId, int channel);
    Reply<int> operPatrol(oru_sdk::PatrolOperCondition c);
    Reply<int> operPatrolPreset(oru_sdk::PatrolPresetOperCondition c);
    Reply<NoValue> setPatrolPresets(oru_sdk::SetPatrolPresetsCondition c);
    // Device configuration, both answered by code 72.
    Reply<NoValue> setOSD(oru_sdk::SetOSDCondition c);
    Reply<NoValue> modifyDevName(oru_sdk::ModifyDevNameCondition c);
    // Face library (73 -> 74, 75 -> 76, 77 -> 78) and detection records (79 -> 80).
    Reply<NoValue> addFace(oru_sdk::ModifyFaceCondition c);
    Reply<Faces> getFaces(oru_sdk::GetFacesCondition c);
    Reply<NoValue> delFace(oru_sdk::DelFaceCondition c);
    Reply<FaceRecords> getFaceDetectRecords(oru_sdk::GetFaceDetectRecordsCondition c);
    // Firmware (82 -> 83, 86 -> 87; running it is the command doDevUpgrade, 85).
    Reply<oru_sdk::DevUpgradeInfo> checkDevUpgrade(oru_sdk::DevUpgradeCondtition c);
    Reply<oru_sdk::DevUpgradeInfo> getDevUpgradeProgress(const QString &devId);
    // Account (88 -> 89), talk (94 -> 95) and speak (96 -> 97); events come as pushes.
    Reply<NoValue> modifyDevAccount(oru_sdk::ModifyDevAccountCondition c);
    Reply<NoValue> talkOper(oru_sdk::TalkOperCondition c);
    Reply<NoValue> speakOper(oru_sdk::SpeakOperCondition c);
    // Generic JSON request (100 -> 101); the value is the answer's JSON.
    Reply<QString> common(const oru_sdk::ChannelId &channel, const QString &requestJson);
    // File transfer (111, 112): finishes with the first progress report (113);
    // later reports arrive as fileTransferProgress.
    Reply<oru_sdk::FileTransferProgress> uploadFile(oru_sdk::UploadFileCondition c);
    Reply<oru_sdk::FileTransferProgress> downloadFile(oru_sdk::DownloadFileCondition c);

    // ---- Commands whose result goes to every connection: matched by serial
    // number (the first result for that device after the call wins); the
    // result code is response().errorCode. Also emitted as signals below.
    Reply<NoValue> activateDev(const QString &devSn, const oru_sdk::ActivateCondition &c);
    Reply<QStringList> getDevSecretQuestions(const oru_sdk::GetDevSecretQuestionsCondition &c);
    Reply<NoValue> resetDevPwd(const oru_sdk::ResetDevPwdCondition &c);

    // ---- Commands (no answer) ----
    void setSearchDevsConfig(const oru_sdk::SearchDevsConfig &config);
    void searchDevs();
    void broadcastSearchDevs();
    void setManagedDevs(const oru_sdk::DevInfoList &devs);
    void addManagedDevs(const oru_sdk::DevInfoList &devs);
    void delManagedDevs(const QStringList &devIds);
    void editManagedDevs(const oru_sdk::DevInfoList &devs);
    void setDevsTime(const QStringList &devIds, const QDateTime &time);
    void rebootDevs(const QStringList &devIds);
    void restoreFactory(const QStringList &devIds, bool simple);
    void reconnectDevs(const QStringList &devIds);
    void activateDevs(const QStringList &devSns, const oru_sdk::ActivateCondition &c);
    void getDevChannelsInfo(const QString &devId);
    void clearFaceTemperatureCount(const QString &devId);
    void setSaasToken(const QString &token);
    void saasLogout();
    void openDevRemoteConfig(const QString &devId, int language);
    void doDevUpgrade(oru_sdk::DevUpgradeCondtition c);

signals:
    // Pushes, decoded into the public records.
    void searchedDevs(const oru_sdk::DevInfoList &devs);
    void broadcastSearchedDevs(const oru_sdk::DevInfoList &devs);
    void devStatus(const QString &devId, oru_sdk::DevStatus status);
    void devP2PSuccess(const QString &devId);
    void devInfo(const oru_sdk::DevInfoFromDgw &info);
    void devTempUserCodes(const oru_sdk::DevTempUserCodeList &codes);
    void devChannelsInfo(const QString &devId, const oru_sdk::DevChanInfoList &channels);
    void faceDetect(const oru_sdk::ChannelId &channel, const oru_sdk::FaceDetectRecordInfo &record);
    void faceTemperatureCount(const oru_sdk::ChannelId &channel, const oru_sdk::FaceCountInfo &count);
    void alarm(const oru_sdk::AlarmInfo &alarm);
    void tlvData(const QString &devId, const QByteArray &data);
    void uploadUpgradeFileFinished(const QString &devId);
    void talkEvent(const oru_sdk::ChannelId &channel, oru_sdk::TalkEvent event);
    void speakEvent(const oru_sdk::ChannelId &channel, oru_sdk::TalkEvent event);
    // Results sent to every connection (also delivered to a waiting call).
    void activateResult(const QString &devSn, int errorCode);
    void secretQuestions(const QString &devSn, int errorCode, const QStringList &questions);
    void resetPasswordResult(const QString &devSn, int errorCode);
    void fileTransferProgress(const oru_sdk::FileTransferProgress &progress);
    // Every frame received, before it is decoded.
    void messageReceived(oru_sdk::MessageType type, const QByteArray &payload);
    void disconnected();

private:
    struct Waiting;
    template <class T, class Wire, class Fill>
    Reply<T> call(const char *what, MessageType type, const QByteArray &payload, MessageType answer, const QString &key,
                  Fill fill);
    void frame(const Frame &frame);
    void failAll(CallError error, const QString &text);
    void expire();
    QString nextId();

    Connection conn;
    QTimer sweeper;
    std::vector<std::unique_ptr<Waiting>> waiting;
    QString idPrefix;
    quint64 idCounter = 0;
    int timeoutMs = 5000;
    int answered = 0;
    int sent = 0;
};

} // namespace oru_client
