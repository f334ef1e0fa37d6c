#pragma once

#include <oru_sdk/types.h>

#include <QDateTime>
#include <QHash>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QTimer>

#include <optional>

// What a picture of one channel shows; read by the renderer on another thread.
struct ChannelLook {
    bool found = false;
    QString devName;
    QString osd;
    double pan = 0, tilt = 0, zoom = 1;
    qint64 clockOffsetMs = 0;
    bool online = false;
};

// The simulated devices and every request about them. Lives in a worker
// thread; the SDK's signals reach it through queued connections and it answers
// through the SDK's exported functions, which may be called from any thread.
class DeviceModel : public QObject
{
    Q_OBJECT

public:
    // Result codes of the simulated devices (0 is success).
    enum Code {
        UnknownDevice = 1001,
        Offline = 1002,
        NoChannel = 1003,
        NotFound = 1004,
        BadArgument = 1005,
        Refused = 1006,
        Busy = 1007
    };

    // `devicesJson` is a JSON array of devices; empty means the built-in set.
    DeviceModel(const QByteArray &devicesJson, int alarmIntervalSec, bool quiet);
    bool isValid() const { return !devices.isEmpty(); }
    QString loadError() const { return error; }
    int deviceCount() const { return devices.size(); }

    ChannelLook look(const QString &devId, int channel) const; // thread-safe

    // Connects every request signal of the SDK to its slot here.
    void attach(Qt::ConnectionType type);

    // One line on stdout (unless quiet); any thread.
    void note(const QString &text) const;

public slots:
    void start(); // timers, once in the worker thread

    void onInitDgwReq(const oru_sdk::InitDgwCondition &c);
    void onSearchDevsCmd();
    void onSetSearchDevsConfigCmd(const oru_sdk::SearchDevsConfig &config);
    void onBroadcastSearchDevsCmd();
    void onSetManagedDevsCmd(const oru_sdk::DevInfoList &devs);
    void onAddManagedDevsCmd(const oru_sdk::DevInfoList &devs);
    void onDelManagedDevsCmd(const QStringList &devIds);
    void onEditManagedDevsCmd(const oru_sdk::DevInfoList &devs);
    void onSetDevsTimeCmd(const QStringList &devIds, const QDateTime &time);
    void onRebootDevsCmd(const QStringList &devIds);
    void onRestoreFactory(const QStringList &devIds, bool simple);
    void onReconnectDevsCmd(const QStringList &devIds);
    void onActivateDevsCmd(const QStringList &devSns, const oru_sdk::ActivateCondition &c);
    void onGetDevSecretQuestionsCmd(const oru_sdk::GetDevSecretQuestionsCondition &c);
    void onResetDevPwdCmd(const oru_sdk::ResetDevPwdCondition &c);
    void onGetDevChannelsInfo(const QString &devId);
    void onGetDevNetReq(const QString &requestId, const QString &devId);
    void onGetDevPlatformReq(const oru_sdk::GetDevPlatformCondition &c);
    void onSetDevPlatformReq(const oru_sdk::SetDevPlatformCondition &c);
    void onGetDevPlatform_tavReq(const QString &requestId, const QString &devId);
    void onSetDevPlatform_tavReq(const oru_sdk::SetDevPlatform_tavCondition &c);
    void onImportDevCertReq(const oru_sdk::ImportDevCertCondition &c);
    void onSetDevNetReq(const oru_sdk::SetDevNetCondition &c);
    void onSearchVideoRecsReq(const oru_sdk::RecsSearchCondition &c);
    void onGetRtspUrlReq(const oru_sdk::GetRtspUrlCondition &c);
    void onPTZCtrlReq(const oru_sdk::PTZCtrlCondition &c);
    void onGetPresetsReq(const oru_sdk::ChannelCondition &c);
    void onOperPresetReq(const oru_sdk::PresetOperCondition &c);
    void onGetPatrolsReq(const oru_sdk::ChannelCondition &c);
    void onOperPatrolReq(const oru_sdk::PatrolOperCondition &c);
    void onOperPatrolPresetReq(const oru_sdk::PatrolPresetOperCondition &c);
    void onSetPatrolPresetsReq(const oru_sdk::SetPatrolPresetsCondition &c);
    void onSetOSDReq(const oru_sdk::SetOSDCondition &c);
    void onModifyDevNameReq(const oru_sdk::ModifyDevNameCondition &c);
    void onOpenDevRemoteConfigReq(const QString &devId, int language);
    void onCheckDevUpgradeReq(const oru_sdk::DevUpgradeCondtition &c);
    void onDoDevUpgradeCmd(const oru_sdk::DevUpgradeCondtition &c);
    void onGetDevUpgradeProgressReq(const QString &requestId, const QString &devId);
    void onModifyDevAccountReq(const oru_sdk::ModifyDevAccountCondition &c);
    void onAddFaceReq(const oru_sdk::ModifyFaceCondition &c);
    void onGetFacesReq(const oru_sdk::GetFacesCondition &c);
    void onDelFaceReq(const oru_sdk::DelFaceCondition &c);
    void onGetFaceDetectRecordsReq(const oru_sdk::GetFaceDetectRecordsCondition &c);
    void onClearFaceTemperatureCountCmd(const QString &devId);
    void onTalkOperReq(const oru_sdk::TalkOperCondition &c);
    void onSpeakOperReq(const oru_sdk::SpeakOperCondition &c);
    void onUploadFileReq(const oru_sdk::UploadFileCondition &c);
    void onDownloadFileReq(const oru_sdk::DownloadFileCondition &c);
    void onCommonReq(const oru_sdk::ChannelId &channel, const QString &requestId, const QString &reqJson);
    void onSetSaasTokenCmd(const QString &token);
    void onSaasLogoutCmd();

private:
    struct Preset {
        QString name;
        double pan = 0, tilt = 0, zoom = 1;
    };
    struct Channel {
        QString osd;
        QMap<int, Preset> presets;
        QMap<int, oru_sdk::PatrolInfo> patrols;
        double pan = 0, tilt = 0, zoom = 1;
        int moving = -1; // PTZOperation while a movement runs
        bool talking = false, speaking = false;
    };
    struct Device {
        oru_sdk::DevInfo info;
        oru_sdk::DevStatus status = oru_sdk::DevStatus::Online;
        bool managed = true;
        QList<Channel> channels;
        oru_sdk::DevNetInfo net;
        oru_sdk::DevPlatformInfo platform;
        oru_sdk::DevPlatform_tavInfo tav;
        QMap<QString, QString> accounts; // name -> password
        QList<QPair<QString, QString>> secrets;
        oru_sdk::FaceInfoList faces;
        int nextFaceId = 1;
        qint64 clockOffsetMs = 0;
        oru_sdk::DevUpgradeInfo upgrade;
        QString latestVersion;
    };

    Device makeDevice(const oru_sdk::DevInfo &info, int channels) const;
    Device *find(const QString &devId);
    const Device *find(const QString &devId) const;
    Device *findSn(const QString &sn);
    // Success, or the reason the device (and channel, when given) cannot serve.
    oru_sdk::Response check(const QString &requestId, const QString &devId,
                            std::optional<int> channel = std::nullopt) const;
    oru_sdk::Response failed(const QString &requestId, Code code, const QString &text) const;
    Channel &channelOf(const QString &devId, int channel);
    QString where(const QString &devId, int channel) const;
    oru_sdk::DevInfoList deviceList() const;
    void setStatus(Device &d, oru_sdk::DevStatus status);
    static void resetChannels(Device &d);
    void tick();
    void raiseAlarm();
    void publish(); // refreshes the looks the renderer reads

    QList<Device> devices;
    QString error;
    oru_sdk::SearchDevsConfig searchConfig;
    int alarmIntervalSec;
    bool quiet;
    QTimer *ptzTimer = nullptr;
    QTimer *alarmTimer = nullptr;
    quint64 alarms = 0;

    mutable QMutex lookLock;
    QHash<QPair<QString, int>, ChannelLook> looks;
};
