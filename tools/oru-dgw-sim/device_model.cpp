#include "device_model.h"

#include <oru_sdk/dgw_signals.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTextStream>

#include <cmath>

using namespace oru_sdk;

namespace {

// Addresses are from the documentation range: the devices are imaginary.
const char kDefaultDevices[] = R"([
  {"id": "cam1", "name": "Front door", "sn": "SIM-IPC-0001", "ip": "192.0.2.11", "channels": 2, "model": "SIM-IPC-P200", "version": "V5.7.3"},
  {"id": "cam2", "name": "Parking lot", "sn": "SIM-IPC-0002", "ip": "192.0.2.12", "channels": 1, "model": "SIM-IPC-B100", "version": "V5.7.3"},
  {"id": "nvr1", "name": "Lobby recorder", "sn": "SIM-NVR-0001", "ip": "192.0.2.20", "channels": 4, "model": "SIM-NVR-8", "version": "V4.2.0"},
  {"id": "cam3", "name": "Warehouse", "sn": "SIM-IPC-0003", "ip": "192.0.2.13", "channels": 1, "model": "SIM-IPC-B100", "version": "V5.6.0", "activated": false}
])";

// What a simulated PTZ head offers; larger values are refused with BadArgument.
const int kMaxPtzSpeed = 7;
const int kMaxPreset = 255;
const int kMaxPatrol = 32;
const int kMaxRecordings = 200;

const QStringList kPeople{QStringLiteral("Alice Martin"), QStringLiteral("Bob Chen"), QStringLiteral("Carla Diaz"),
                          QStringLiteral("Dev Patel"), QStringLiteral("Eva Novak")};
const QStringList kAlarmTypes{QStringLiteral("motion"), QStringLiteral("line-crossing"), QStringLiteral("intrusion"),
                              QStringLiteral("tamper")};

QString outcome(const Response &r, const QString &success)
{
    return r.errorCode ? QStringLiteral("error %1 (%2)").arg(r.errorCode).arg(r.errorText) : success;
}

bool validIp(const QString &ip)
{
    static const QRegularExpression re(QStringLiteral(R"(^(\d{1,3})\.(\d{1,3})\.(\d{1,3})\.(\d{1,3})$)"));
    const auto m = re.match(ip);
    if (!m.hasMatch())
        return false;
    for (int i = 1; i <= 4; ++i)
        if (m.captured(i).toInt() > 255)
            return false;
    return true;
}

} // namespace

DeviceModel::DeviceModel(const QByteArray &devicesJson, int alarmIntervalSec, bool quiet)
    : alarmIntervalSec(alarmIntervalSec)
    , quiet(quiet)
{
    QJsonParseError parseError;
    const QJsonDocument doc =
        QJsonDocument::fromJson(devicesJson.isEmpty() ? QByteArray(kDefaultDevices) : devicesJson, &parseError);
    if (!doc.isArray()) {
        error = parseError.error != QJsonParseError::NoError ? parseError.errorString()
                                                             : QStringLiteral("expected a JSON array of devices");
        return;
    }
    for (const QJsonValue &v : doc.array()) {
        const QJsonObject o = v.toObject();
        DevInfo info;
        info.id = o.value(QLatin1String("id")).toString();
        if (info.id.isEmpty() || find(info.id)) {
            error = QStringLiteral("every device needs an id of its own");
            devices.clear();
            return;
        }
        info.name = o.value(QLatin1String("name")).toString(info.id);
        info.sn = o.value(QLatin1String("sn")).toString(QStringLiteral("SIM-") + info.id.toUpper());
        info.ip = o.value(QLatin1String("ip")).toString(QStringLiteral("192.0.2.%1").arg(100 + devices.size()));
        info.port = unsigned(o.value(QLatin1String("port")).toInt(8000));
        info.user = o.value(QLatin1String("user")).toString(QStringLiteral("admin"));
        info.password = o.value(QLatin1String("password")).toString(QStringLiteral("admin123"));
        info.seriesName = o.value(QLatin1String("model")).toString(QStringLiteral("SIM-IPC"));
        info.version = o.value(QLatin1String("version")).toString(QStringLiteral("V5.7.3"));
        Device d = makeDevice(info, qBound(1, o.value(QLatin1String("channels")).toInt(1), 16));
        if (!o.value(QLatin1String("activated")).toBool(true))
            d.status = DevStatus::NotActivated;
        else if (o.value(QLatin1String("status")).toString() == QLatin1String("offline"))
            d.status = DevStatus::Offline;
        devices.append(d);
    }
    if (devices.isEmpty())
        error = QStringLiteral("the device list is empty");
    publish();
}

DeviceModel::Device DeviceModel::makeDevice(const DevInfo &info, int channels) const
{
    Device d;
    d.info = info;
    d.info.param4 = unsigned(channels);
    for (int i = 0; i < channels; ++i)
        d.channels.append(Channel());
    resetChannels(d);
    d.net = {info.ip,
             QStringLiteral("255.255.255.0"),
             QStringLiteral("192.0.2.1"),
             QStringLiteral("192.0.2.53"),
             false,
             80,
             554,
             int(info.port)};
    d.platform = {true, QStringLiteral("platform.example.net"), false, 7660, 1};
    d.accounts.insert(info.user.isEmpty() ? QStringLiteral("admin") : info.user, info.password);
    d.secrets = {{QStringLiteral("Name of your first pet?"), QStringLiteral("rex")},
                 {QStringLiteral("City you were born in?"), QStringLiteral("paris")},
                 {QStringLiteral("Favourite colour?"), QStringLiteral("blue")}};
    for (int i = 0; i < 2; ++i) {
        FaceInfo f;
        f.param1 = d.nextFaceId++;
        f.serialNum = QStringLiteral("F%1").arg(1000 + i);
        f.name = kPeople.at(i);
        f.faceType = QStringLiteral("staff");
        f.faceUrl = QStringLiteral("faces/%1.jpg").arg(f.serialNum);
        f.validTime = QDateTime(QDate(2024, 1, 1), QTime(0, 0));
        f.invalidTime = QDateTime(QDate(2030, 12, 31), QTime(23, 59, 59));
        f.organizations = QStringList{QStringLiteral("Head office")};
        d.faces.append(f);
    }
    d.latestVersion = QStringLiteral("V5.8.0");
    d.upgrade.phase = QStringLiteral("idle");
    return d;
}

void DeviceModel::resetChannels(Device &d)
{
    for (int i = 0; i < d.channels.size(); ++i) {
        Channel &ch = d.channels[i];
        ch = Channel();
        ch.presets.insert(1, {QStringLiteral("Home"), 0, 0, 1});
        if (i == 0) {
            ch.presets.insert(2, {QStringLiteral("Gate"), -35, -10, 2});
            ch.presets.insert(3, {QStringLiteral("Parking"), 60, -20, 1.5});
            PatrolInfo patrol;
            patrol.number = 1;
            for (int p : {1, 2, 3})
                patrol.presets.append({{p, ch.presets.value(p).name}, 10, 4});
            ch.patrols.insert(1, patrol);
        }
    }
}

void DeviceModel::start()
{
    ptzTimer = new QTimer(this);
    connect(ptzTimer, &QTimer::timeout, this, &DeviceModel::tick);
    ptzTimer->start(100);
    if (alarmIntervalSec > 0) {
        alarmTimer = new QTimer(this);
        connect(alarmTimer, &QTimer::timeout, this, &DeviceModel::raiseAlarm);
        alarmTimer->start(alarmIntervalSec * 1000);
    }
}

void DeviceModel::note(const QString &text) const
{
    if (quiet)
        return;
    static QMutex lock; // the model's thread and the main one both print
    QMutexLocker locked(&lock);
    QTextStream out(stdout);
    out << QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz")) << "  " << text << Qt::endl;
}

// ---- Lookups ----

DeviceModel::Device *DeviceModel::find(const QString &devId)
{
    for (Device &d : devices)
        if (d.info.id == devId)
            return &d;
    return nullptr;
}

const DeviceModel::Device *DeviceModel::find(const QString &devId) const
{
    return const_cast<DeviceModel *>(this)->find(devId);
}

DeviceModel::Device *DeviceModel::findSn(const QString &sn)
{
    for (Device &d : devices)
        if (d.info.sn == sn)
            return &d;
    return nullptr;
}

Response DeviceModel::failed(const QString &requestId, Code code, const QString &text) const
{
    return {requestId, int(code), text};
}

Response DeviceModel::check(const QString &requestId, const QString &devId, std::optional<int> channel) const
{
    const Device *d = find(devId);
    if (!d)
        return failed(requestId, UnknownDevice, QStringLiteral("unknown device '%1'").arg(devId));
    if (d->status != DevStatus::Online)
        return failed(requestId, Offline,
                      QStringLiteral("%1 is %2")
                          .arg(devId,
                               d->status == DevStatus::NotActivated ? QStringLiteral("not activated")
                                                                    : QStringLiteral("offline")));
    // Every channel number the wire can carry is checked, negative ones too.
    if (channel && (*channel < 1 || *channel > d->channels.size()))
        return failed(requestId, NoChannel, QStringLiteral("%1 has channels 1-%2").arg(devId).arg(d->channels.size()));
    return {requestId, 0, QString()};
}

DeviceModel::Channel &DeviceModel::channelOf(const QString &devId, int channel)
{
    return find(devId)->channels[channel - 1];
}

QString DeviceModel::where(const QString &devId, int channel) const
{
    return QStringLiteral("%1/%2").arg(devId).arg(channel);
}

DevInfoList DeviceModel::deviceList() const
{
    DevInfoList list;
    for (const Device &d : devices) {
        DevInfo info = d.info;
        info.param15 = d.status != DevStatus::NotActivated; // activated
        info.param16 = int(d.status);
        list.append(info);
    }
    return list;
}

void DeviceModel::setStatus(Device &d, DevStatus status)
{
    d.status = status;
    push_dev_status_msg(d.info.id, status);
    publish();
}

void DeviceModel::attach(Qt::ConnectionType type)
{
    const DgwSignals &sdk = DgwSignals::instance();
#define ROUTE(stem) connect(&sdk, &DgwSignals::signal##stem, this, &DeviceModel::on##stem, type)
    ROUTE(InitDgwReq);
    ROUTE(SearchDevsCmd);
    ROUTE(SetSearchDevsConfigCmd);
    ROUTE(BroadcastSearchDevsCmd);
    ROUTE(SetManagedDevsCmd);
    ROUTE(AddManagedDevsCmd);
    ROUTE(DelManagedDevsCmd);
    ROUTE(EditManagedDevsCmd);
    ROUTE(SetDevsTimeCmd);
    ROUTE(RebootDevsCmd);
    ROUTE(RestoreFactory);
    ROUTE(ReconnectDevsCmd);
    ROUTE(ActivateDevsCmd);
    ROUTE(GetDevSecretQuestionsCmd);
    ROUTE(ResetDevPwdCmd);
    ROUTE(GetDevChannelsInfo);
    ROUTE(GetDevNetReq);
    ROUTE(GetDevPlatformReq);
    ROUTE(SetDevPlatformReq);
    ROUTE(GetDevPlatform_tavReq);
    ROUTE(SetDevPlatform_tavReq);
    ROUTE(ImportDevCertReq);
    ROUTE(SetDevNetReq);
    ROUTE(SearchVideoRecsReq);
    ROUTE(GetRtspUrlReq);
    ROUTE(PTZCtrlReq);
    ROUTE(GetPresetsReq);
    ROUTE(OperPresetReq);
    ROUTE(GetPatrolsReq);
    ROUTE(OperPatrolReq);
    ROUTE(OperPatrolPresetReq);
    ROUTE(SetPatrolPresetsReq);
    ROUTE(SetOSDReq);
    ROUTE(ModifyDevNameReq);
    ROUTE(OpenDevRemoteConfigReq);
    ROUTE(CheckDevUpgradeReq);
    ROUTE(DoDevUpgradeCmd);
    ROUTE(GetDevUpgradeProgressReq);
    ROUTE(ModifyDevAccountReq);
    ROUTE(AddFaceReq);
    ROUTE(GetFacesReq);
    ROUTE(DelFaceReq);
    ROUTE(GetFaceDetectRecordsReq);
    ROUTE(ClearFaceTemperatureCountCmd);
    ROUTE(TalkOperReq);
    ROUTE(SpeakOperReq);
    ROUTE(UploadFileReq);
    ROUTE(DownloadFileReq);
    ROUTE(CommonReq);
    ROUTE(SetSaasTokenCmd);
    ROUTE(SaasLogoutCmd);
#undef ROUTE
}

ChannelLook DeviceModel::look(const QString &devId, int channel) const
{
    QMutexLocker lock(&lookLock);
    return looks.value(qMakePair(devId, channel));
}

void DeviceModel::publish()
{
    QHash<QPair<QString, int>, ChannelLook> next;
    for (const Device &d : devices)
        for (int i = 0; i < d.channels.size(); ++i) {
            const Channel &ch = d.channels.at(i);
            next.insert(
                qMakePair(d.info.id, i + 1),
                {true, d.info.name, ch.osd, ch.pan, ch.tilt, ch.zoom, d.clockOffsetMs, d.status == DevStatus::Online});
        }
    QMutexLocker lock(&lookLock);
    looks.swap(next);
}

// ---- Timers: PTZ movement, upgrades, alarms ----

void DeviceModel::tick()
{
    bool changed = false;
    for (Device &d : devices) {
        for (Channel &ch : d.channels) {
            if (ch.moving < 0)
                continue;
            const int op = ch.moving;
            const double step = 2;
            if (op == int(PTZOperation::Up) || op == int(PTZOperation::UpLeft) || op == int(PTZOperation::UpRight))
                ch.tilt = qMin(90.0, ch.tilt + step);
            if (op == int(PTZOperation::Down) || op == int(PTZOperation::DownLeft)
                || op == int(PTZOperation::DownRight))
                ch.tilt = qMax(-90.0, ch.tilt - step);
            if (op == int(PTZOperation::Left) || op == int(PTZOperation::UpLeft) || op == int(PTZOperation::DownLeft))
                ch.pan = ch.pan - step < -180 ? ch.pan - step + 360 : ch.pan - step;
            if (op == int(PTZOperation::Right) || op == int(PTZOperation::UpRight)
                || op == int(PTZOperation::DownRight))
                ch.pan = ch.pan + step > 180 ? ch.pan + step - 360 : ch.pan + step;
            if (op == int(PTZOperation::ZoomIn))
                ch.zoom = qMin(20.0, ch.zoom * 1.05);
            if (op == int(PTZOperation::ZoomOut))
                ch.zoom = qMax(1.0, ch.zoom / 1.05);
            changed = true;
        }
        DevUpgradeInfo &u = d.upgrade;
        if (u.phase == QLatin1String("downloading") || u.phase == QLatin1String("installing")) {
            u.param7 = qMin(100, u.param7 + 2);
            u.phase = u.param7 < 50 ? QStringLiteral("downloading") : QStringLiteral("installing");
            if (u.param7 == 50)
                upload_upgrade_file_finished(d.info.id);
            if (u.param7 == 100) {
                u.phase = QStringLiteral("done");
                d.info.version = d.latestVersion;
                note(QStringLiteral("upgrade %1 finished, now %2").arg(d.info.id, d.info.version));
            }
        }
    }
    if (changed)
        publish();
}

void DeviceModel::raiseAlarm()
{
    QList<Device *> online;
    for (Device &d : devices)
        if (d.status == DevStatus::Online)
            online.append(&d);
    if (online.isEmpty())
        return;
    Device &d = *online.at(int(alarms % quint64(online.size())));
    const int channel = 1 + int((alarms / quint64(online.size())) % quint64(d.channels.size()));
    const QDateTime now = QDateTime::currentDateTime().addMSecs(d.clockOffsetMs);
    AlarmInfo a;
    a.channel = {d.info.id, channel};
    a.triggerName = QStringLiteral("Zone %1").arg(1 + alarms % 4);
    a.alarmTime = now;
    a.alarmType = kAlarmTypes.at(int(alarms % quint64(kAlarmTypes.size())));
    a.param8 = 1 + int(alarms % 3);
    a.alarmName = QStringLiteral("%1 on %2").arg(a.alarmType, d.info.name);
    push_alarm_msg(a);
    note(QStringLiteral("push alarm %1 on %2").arg(a.alarmType, where(d.info.id, channel)));
    if (alarms % 2 == 1) {
        FaceDetectRecordInfo r;
        r.serialNum = QStringLiteral("F%1").arg(1000 + alarms % kPeople.size());
        r.name = kPeople.at(int(alarms % quint64(kPeople.size())));
        r.company = QStringLiteral("Example Ltd");
        r.detectTime = now;
        r.param9 = 36.4 + double(alarms % 5) / 10;
        push_face_detect_msg({d.info.id, channel}, r);
        push_face_temperature_count_msg({d.info.id, channel}, {unsigned(alarms + 1), 0, unsigned(alarms + 1)});
        note(QStringLiteral("push face detect %1 on %2").arg(r.name, where(d.info.id, channel)));
    }
    ++alarms;
}

// ---- Gateway and device management ----

void DeviceModel::onInitDgwReq(const InitDgwCondition &c)
{
    init_dgw_res({c.requestId, 0, QString()});
    note(QStringLiteral("init gateway%1 -> ok").arg(c.url.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(c.url)));
}

void DeviceModel::onSearchDevsCmd()
{
    // A search takes a moment on a real network.
    QTimer::singleShot(200, this, [this] {
        push_searched_devs_msg(deviceList());
        note(QStringLiteral("push searched devices: %1").arg(devices.size()));
    });
    note(QStringLiteral("search devices%1")
             .arg(searchConfig.beginIp.isEmpty()
                      ? QString()
                      : QStringLiteral(" in %1-%2").arg(searchConfig.beginIp, searchConfig.endIp)));
}

void DeviceModel::onSetSearchDevsConfigCmd(const SearchDevsConfig &config)
{
    searchConfig = config;
    note(QStringLiteral("search range %1-%2").arg(config.beginIp, config.endIp));
}

void DeviceModel::onBroadcastSearchDevsCmd()
{
    QTimer::singleShot(200, this, [this] {
        push_broadcast_searched_devs_msg(deviceList());
        note(QStringLiteral("push broadcast-searched devices: %1").arg(devices.size()));
    });
    note(QStringLiteral("broadcast search"));
}

void DeviceModel::onSetManagedDevsCmd(const DevInfoList &devs)
{
    for (Device &d : devices)
        d.managed = false;
    onAddManagedDevsCmd(devs);
}

void DeviceModel::onAddManagedDevsCmd(const DevInfoList &devs)
{
    for (const DevInfo &info : devs) {
        Device *d = find(info.id);
        if (!d) {
            DevInfo fresh = info;
            if (fresh.sn.isEmpty())
                fresh.sn = QStringLiteral("SIM-") + info.id.toUpper();
            if (fresh.name.isEmpty())
                fresh.name = info.id;
            devices.append(makeDevice(fresh, 1));
            d = &devices.last();
        }
        d->managed = true;
        setStatus(*d, d->status);
        note(QStringLiteral("manage device %1 (%2)").arg(info.id, d->info.name));
    }
}

void DeviceModel::onDelManagedDevsCmd(const QStringList &devIds)
{
    for (const QString &id : devIds)
        if (Device *d = find(id))
            d->managed = false;
    note(QStringLiteral("stop managing %1").arg(devIds.join(QLatin1Char(','))));
}

void DeviceModel::onEditManagedDevsCmd(const DevInfoList &devs)
{
    for (const DevInfo &info : devs) {
        Device *d = find(info.id);
        if (!d)
            continue;
        for (auto [to, from] : {std::pair{&d->info.name, info.name},
                                {&d->info.ip, info.ip},
                                {&d->info.user, info.user},
                                {&d->info.password, info.password}})
            if (!from.isEmpty())
                *to = from;
        if (info.port)
            d->info.port = info.port;
        note(QStringLiteral("edit device %1").arg(info.id));
    }
    publish();
}

void DeviceModel::onSetDevsTimeCmd(const QStringList &devIds, const QDateTime &time)
{
    const qint64 offset = time.isValid() ? QDateTime::currentDateTime().msecsTo(time) : 0;
    for (const QString &id : devIds)
        if (Device *d = find(id))
            d->clockOffsetMs = offset;
    publish();
    note(QStringLiteral("set time of %1 to %2").arg(devIds.join(QLatin1Char(',')), time.toString(Qt::ISODate)));
}

void DeviceModel::onRebootDevsCmd(const QStringList &devIds)
{
    for (const QString &id : devIds) {
        Device *d = find(id);
        if (!d || d->status != DevStatus::Online)
            continue;
        setStatus(*d, DevStatus::Offline);
        QTimer::singleShot(1500, this, [this, id] {
            if (Device *back = find(id))
                setStatus(*back, DevStatus::Online);
            note(QStringLiteral("push status %1 online").arg(id));
        });
        note(QStringLiteral("reboot %1: push status offline").arg(id));
    }
}

void DeviceModel::onRestoreFactory(const QStringList &devIds, bool simple)
{
    for (const QString &id : devIds) {
        Device *d = find(id);
        if (!d)
            continue;
        resetChannels(*d);
        if (!simple)
            d->platform = makeDevice(d->info, 1).platform;
        note(QStringLiteral("restore factory settings of %1%2")
                 .arg(id, simple ? QStringLiteral(" (simple)") : QString()));
    }
    onRebootDevsCmd(devIds);
}

void DeviceModel::onReconnectDevsCmd(const QStringList &devIds)
{
    for (const QString &id : devIds)
        if (Device *d = find(id))
            setStatus(*d, d->status);
    note(QStringLiteral("reconnect %1").arg(devIds.join(QLatin1Char(','))));
}

void DeviceModel::onActivateDevsCmd(const QStringList &devSns, const ActivateCondition &c)
{
    for (const QString &sn : devSns) {
        Device *d = findSn(sn);
        int code = 0;
        if (!d)
            code = UnknownDevice;
        else if (d->status != DevStatus::NotActivated)
            code = Refused;
        else if (c.password.size() < 6)
            code = BadArgument;
        if (code == 0) {
            d->accounts.insert(c.account, c.password);
            if (!c.secretInfos.isEmpty())
                d->secrets = c.secretInfos;
            setStatus(*d, DevStatus::Online);
        }
        activate_dev_res(sn, code);
        note(QStringLiteral("activate %1 -> %2")
                 .arg(sn, code ? QStringLiteral("error %1").arg(code) : QStringLiteral("ok")));
    }
}

void DeviceModel::onGetDevSecretQuestionsCmd(const GetDevSecretQuestionsCondition &c)
{
    const Device *d = findSn(c.devSn);
    QStringList questions;
    if (d)
        for (const auto &s : d->secrets)
            questions.append(s.first);
    get_dev_secret_questions_res(c.devSn, d ? 0 : int(UnknownDevice), questions);
    note(QStringLiteral("secret questions of %1 -> %2")
             .arg(c.devSn, d ? QString::number(questions.size()) : QStringLiteral("unknown device")));
}

void DeviceModel::onResetDevPwdCmd(const ResetDevPwdCondition &c)
{
    Device *d = findSn(c.devSn);
    int code = d ? 0 : int(UnknownDevice);
    if (d) {
        for (const auto &s : d->secrets) {
            const auto given = std::find_if(c.secretInfos.begin(), c.secretInfos.end(),
                                            [&](const auto &p) { return p.first == s.first; });
            if (given == c.secretInfos.end() || given->second.compare(s.second, Qt::CaseInsensitive) != 0)
                code = Refused;
        }
        if (!code && c.password.size() < 6)
            code = BadArgument;
        if (!code)
            d->accounts.insert(c.account, c.password);
    }
    reset_dev_pwd_res(c.devSn, code);
    note(QStringLiteral("reset password of %1 -> %2")
             .arg(c.devSn, code ? QStringLiteral("error %1").arg(code) : QStringLiteral("ok")));
}

void DeviceModel::onGetDevChannelsInfo(const QString &devId)
{
    const Device *d = find(devId);
    if (!d) {
        note(QStringLiteral("channels of unknown device %1 ignored").arg(devId));
        return;
    }
    const QMap<int, AiAbilityInfo> abilities{
        {1, {QStringLiteral("face"), 1, QStringLiteral("Face detection"), 0, true}},
        {2, {QStringLiteral("perimeter"), 1, QStringLiteral("Line crossing"), 0, true}}};
    DevChanInfoList channels;
    for (int i = 0; i < d->channels.size(); ++i) {
        DevChannelInfo ch;
        ch.devId = devId;
        ch.channel = i + 1;
        ch.osd = d->channels.at(i).osd;
        ch.param3 = d->status == DevStatus::Online;
        ch.sn = QStringLiteral("%1-CH%2").arg(d->info.sn).arg(i + 1);
        ch.ip = d->info.ip;
        ch.port = d->info.port;
        ch.user = d->info.user;
        ch.abilityDetails = abilities;
        channels.append(ch);
    }
    DevInfoFromDgw info;
    info.id = devId;
    info.sn = d->info.sn;
    info.ip = d->info.ip;
    info.param4 = d->info.port;
    info.param5 = unsigned(d->channels.size());
    info.param6 = int(d->status);
    info.version = d->info.version;
    info.seriesName = d->info.seriesName;
    info.devCode = QStringLiteral("CODE-") + d->info.sn.right(4);
    info.abilityDetails = abilities;
    push_dev_info_msg(info);
    push_dev_channels_info_msg(devId, channels);
    note(QStringLiteral("push device info and %1 channels of %2").arg(channels.size()).arg(devId));
}

void DeviceModel::onGetDevNetReq(const QString &requestId, const QString &devId)
{
    const Response r = check(requestId, devId);
    get_dev_net_res(r, r.errorCode ? DevNetInfo() : find(devId)->net);
    note(QStringLiteral("network of %1 -> %2").arg(devId, outcome(r, find(devId) ? find(devId)->net.ip : QString())));
}

void DeviceModel::onSetDevNetReq(const SetDevNetCondition &c)
{
    Response r = check(c.requestId, c.devId);
    if (!r.errorCode && !validIp(c.ip))
        r = failed(c.requestId, BadArgument, QStringLiteral("'%1' is not an IPv4 address").arg(c.ip));
    if (!r.errorCode) {
        Device *d = find(c.devId);
        d->net = {c.ip, c.subNetMask, c.defaultGateway, c.dns, c.param5, c.param6, c.param7, c.param8};
        d->info.ip = c.ip;
    }
    set_dev_net_res(r, c.devId, c.ip);
    note(QStringLiteral("set network of %1 -> %2").arg(c.devId, outcome(r, c.ip)));
}

void DeviceModel::onGetDevPlatformReq(const GetDevPlatformCondition &c)
{
    const Response r = check(c.requestId, c.devId);
    get_dev_platform_res(r, r.errorCode ? DevPlatformInfo() : find(c.devId)->platform);
    note(QStringLiteral("platform of %1 -> %2").arg(c.devId, outcome(r, QStringLiteral("ok"))));
}

void DeviceModel::onSetDevPlatformReq(const SetDevPlatformCondition &c)
{
    const Response r = check(c.requestId, c.devId);
    if (!r.errorCode)
        find(c.devId)->platform = {c.param1, c.platformAddr, c.param3, c.param4, c.param5};
    set_dev_platform_res(r);
    note(QStringLiteral("set platform of %1 to %2 -> %3")
             .arg(c.devId, c.platformAddr, outcome(r, QStringLiteral("ok"))));
}

void DeviceModel::onGetDevPlatform_tavReq(const QString &requestId, const QString &devId)
{
    const Response r = check(requestId, devId);
    get_dev_platform_tav_res(r, r.errorCode ? DevPlatform_tavInfo() : find(devId)->tav);
    note(QStringLiteral("platform_tav of %1 -> %2").arg(devId, outcome(r, QStringLiteral("ok"))));
}

void DeviceModel::onSetDevPlatform_tavReq(const SetDevPlatform_tavCondition &c)
{
    const Response r = check(c.requestId, c.devId);
    if (!r.errorCode) {
        DevPlatform_tavInfo &tav = find(c.devId)->tav;
        tav.onlineServer = c.onlineServer;
        tav.param4 = c.param4;
        tav.businessServer = c.businessServer;
        tav.param1 = !c.onlineServer.isEmpty();
    }
    set_dev_platform_tav_res(r);
    note(QStringLiteral("set platform_tav of %1 -> %2").arg(c.devId, outcome(r, QStringLiteral("ok"))));
}

void DeviceModel::onImportDevCertReq(const ImportDevCertCondition &c)
{
    Response r = check(c.requestId, c.devId);
    if (!r.errorCode && c.certContents.isEmpty())
        r = failed(c.requestId, BadArgument, QStringLiteral("no certificate given"));
    import_dev_cert_res(r);
    note(QStringLiteral("import certificate into %1 -> %2").arg(c.devId, outcome(r, QStringLiteral("ok"))));
}

// ---- Recordings and addresses ----

void DeviceModel::onSearchVideoRecsReq(const RecsSearchCondition &c)
{
    Response r = check(c.requestId, c.devId, c.channel);
    if (!r.errorCode && (!c.beginTime.isValid() || !c.endTime.isValid() || c.endTime < c.beginTime))
        r = failed(c.requestId, BadArgument, QStringLiteral("give a valid time span"));
    VideoRecList list;
    if (!r.errorCode) {
        // Ten minutes recorded at every full and half hour, up to now.
        const QDateTime end = qMin(c.endTime, QDateTime::currentDateTime().addMSecs(find(c.devId)->clockOffsetMs));
        QDateTime t = c.beginTime.addSecs(-c.beginTime.time().second() - 60 * (c.beginTime.time().minute() % 30));
        // One answer holds kMaxRecordings at most; a longer list is refused, not cut.
        if (t.secsTo(end) / 1800 > kMaxRecordings)
            r = failed(c.requestId, BadArgument,
                       QStringLiteral("the span holds more than %1 recordings; narrow it").arg(kMaxRecordings));
        for (; !r.errorCode && t < end; t = t.addSecs(1800)) {
            const QDateTime stop = t.addSecs(600);
            if (stop <= c.beginTime || stop > end)
                continue;
            VideoRecInfo rec;
            rec.begin = t;
            rec.end = stop;
            rec.fileName = QStringLiteral("%1_ch%2_%3_600s.mp4")
                               .arg(c.devId)
                               .arg(c.channel)
                               .arg(t.toString(QStringLiteral("yyyyMMdd-hhmmss")));
            rec.param4 = t.time().minute() == 30 ? 2 : 1; // 1 scheduled, 2 on alarm
            rec.param5 = 48 + t.time().hour();            // size in MiB
            list.append(rec);
        }
    }
    search_video_recordings_res(r, list, true);
    note(QStringLiteral("recordings %1 -> %2")
             .arg(where(c.devId, c.channel), outcome(r, QStringLiteral("%1 files").arg(list.size()))));
}

void DeviceModel::onGetRtspUrlReq(const GetRtspUrlCondition &c)
{
    const Response r = check(c.requestId, c.devId, c.channel);
    QString url;
    if (!r.errorCode) {
        const Device *d = find(c.devId);
        url = QStringLiteral("rtsp://%1@%2:554/Streaming/Channels/%3%4")
                  .arg(d->info.user, d->info.ip)
                  .arg(c.channel)
                  .arg(c.streamType + 1, 2, 10, QLatin1Char('0'));
    }
    get_rtsp_url_res(r, url);
    note(QStringLiteral("rtsp %1 -> %2").arg(where(c.devId, c.channel), outcome(r, url)));
}

// ---- PTZ, presets, patrols ----

void DeviceModel::onPTZCtrlReq(const PTZCtrlCondition &c)
{
    Response r = check(c.requestId, c.devId, c.channel);
    if (!r.errorCode && (c.operation < 0 || c.operation > int(PTZOperation::IrisClose)))
        r = failed(c.requestId, BadArgument, QStringLiteral("unknown PTZ operation %1").arg(c.operation));
    else if (!r.errorCode && (c.action < 0 || c.action > int(PTZAction::Stop)))
        r = failed(c.requestId, BadArgument, QStringLiteral("unknown PTZ action %1").arg(c.action));
    else if (!r.errorCode && (c.param5 < 0 || c.param5 > kMaxPtzSpeed))
        r = failed(c.requestId, BadArgument,
                   QStringLiteral("PTZ speeds are 1-%1 (0: the default), not %2").arg(kMaxPtzSpeed).arg(c.param5));
    if (!r.errorCode)
        channelOf(c.devId, c.channel).moving = c.action == int(PTZAction::Start) ? c.operation : -1;
    PTZ_ctrl_res(r, PTZOperation(c.operation), PTZAction(c.action));
    note(QStringLiteral("ptz %1 operation %2 %3 -> %4")
             .arg(where(c.devId, c.channel))
             .arg(c.operation)
             .arg(c.action ? QStringLiteral("stop") : QStringLiteral("start"), outcome(r, QStringLiteral("ok"))));
}

void DeviceModel::onGetPresetsReq(const ChannelCondition &c)
{
    const Response r = check(c.requestId, c.devId, c.channel);
    PresetList list;
    if (!r.errorCode) {
        const auto &presets = channelOf(c.devId, c.channel).presets;
        for (auto it = presets.cbegin(); it != presets.cend(); ++it)
            list.append({it.key(), it.value().name});
    }
    get_presets_res(r, list);
    note(QStringLiteral("presets %1 -> %2")
             .arg(where(c.devId, c.channel), outcome(r, QStringLiteral("%1 presets").arg(list.size()))));
}

void DeviceModel::onOperPresetReq(const PresetOperCondition &c)
{
    Response r = check(c.requestId, c.devId, c.channel);
    if (!r.errorCode) {
        Channel &ch = channelOf(c.devId, c.channel);
        const bool known = ch.presets.contains(c.presetNumber);
        if (c.oper == int(PresetOper::Add) && c.presetNumber > kMaxPreset) {
            r = failed(c.requestId, BadArgument,
                       QStringLiteral("presets are numbered 1-%1, not %2").arg(kMaxPreset).arg(c.presetNumber));
        } else if (c.oper == int(PresetOper::Add)) {
            int number = c.presetNumber;
            if (number <= 0)
                for (number = 1; ch.presets.contains(number);)
                    ++number;
            ch.presets.insert(number,
                              {c.presetName.isEmpty() ? QStringLiteral("Preset %1").arg(number) : c.presetName, ch.pan,
                               ch.tilt, ch.zoom});
        } else if (c.oper != int(PresetOper::Delete) && c.oper != int(PresetOper::Call)) {
            r = failed(c.requestId, BadArgument, QStringLiteral("unknown preset operation %1").arg(c.oper));
        } else if (!known) {
            r = failed(c.requestId, NotFound,
                       QStringLiteral("no preset %1 on %2").arg(c.presetNumber).arg(where(c.devId, c.channel)));
        } else if (c.oper == int(PresetOper::Delete)) {
            ch.presets.remove(c.presetNumber);
        } else {
            const Preset p = ch.presets.value(c.presetNumber);
            ch.pan = p.pan;
            ch.tilt = p.tilt;
            ch.zoom = p.zoom;
            ch.moving = -1;
            publish();
        }
    }
    oper_preset_res(r, PresetOper(c.oper));
    static const char *names[] = {"add", "delete", "call"};
    note(QStringLiteral("preset %1 %2 %3 -> %4")
             .arg(c.oper >= 0 && c.oper < 3 ? names[c.oper] : "?", where(c.devId, c.channel))
             .arg(c.presetNumber)
             .arg(outcome(r, QStringLiteral("ok"))));
}

void DeviceModel::onGetPatrolsReq(const ChannelCondition &c)
{
    const Response r = check(c.requestId, c.devId, c.channel);
    const PatrolList list = r.errorCode ? PatrolList() : channelOf(c.devId, c.channel).patrols.values();
    get_patrols_res(r, list);
    note(QStringLiteral("patrols %1 -> %2")
             .arg(where(c.devId, c.channel), outcome(r, QStringLiteral("%1 patrols").arg(list.size()))));
}

// param3 is the patrol number, param4 the operation.
void DeviceModel::onOperPatrolReq(const PatrolOperCondition &c)
{
    Response r = check(c.requestId, c.devId, c.channel);
    if (!r.errorCode) {
        auto &patrols = channelOf(c.devId, c.channel).patrols;
        if (c.param4 == int(PatrolOper::Add) && c.param3 > kMaxPatrol) {
            r = failed(c.requestId, BadArgument,
                       QStringLiteral("patrols are numbered 1-%1, not %2").arg(kMaxPatrol).arg(c.param3));
        } else if (c.param4 == int(PatrolOper::Add)) {
            int number = c.param3;
            if (number <= 0)
                for (number = 1; patrols.contains(number);)
                    ++number;
            patrols[number].number = number;
        } else if (c.param4 < 0 || c.param4 > int(PatrolOper::Stop)) {
            r = failed(c.requestId, BadArgument, QStringLiteral("unknown patrol operation %1").arg(c.param4));
        } else if (!patrols.contains(c.param3)) {
            r = failed(c.requestId, NotFound, QStringLiteral("no patrol %1").arg(c.param3));
        } else if (c.param4 == int(PatrolOper::Delete)) {
            patrols.remove(c.param3);
        } else {
            patrols[c.param3].param3 = c.param4 == int(PatrolOper::Start); // running
        }
    }
    oper_patrol_res(r, PatrolOper(c.param4));
    note(QStringLiteral("patrol %1 #%2 operation %3 -> %4")
             .arg(where(c.devId, c.channel))
             .arg(c.param3)
             .arg(c.param4)
             .arg(outcome(r, QStringLiteral("ok"))));
}

// param3 patrol, param4 preset, param5 stay time (s), param6 operation.
void DeviceModel::onOperPatrolPresetReq(const PatrolPresetOperCondition &c)
{
    Response r = check(c.requestId, c.devId, c.channel);
    if (!r.errorCode) {
        Channel &ch = channelOf(c.devId, c.channel);
        if (c.param5 < 0) {
            r = failed(c.requestId, BadArgument, QStringLiteral("a stay of %1 s").arg(c.param5));
        } else if (!ch.patrols.contains(c.param3)) {
            r = failed(c.requestId, NotFound, QStringLiteral("no patrol %1").arg(c.param3));
        } else if (!ch.presets.contains(c.param4)) {
            r = failed(c.requestId, NotFound, QStringLiteral("no preset %1").arg(c.param4));
        } else {
            auto &stops = ch.patrols[c.param3].presets;
            if (c.param6 == int(PatrolPresetOper::Add))
                stops.append({{c.param4, ch.presets.value(c.param4).name}, unsigned(c.param5), 4});
            else if (c.param6 == int(PatrolPresetOper::Delete))
                stops.erase(std::remove_if(stops.begin(), stops.end(),
                                           [&](const PatrolPresetInfo &s) { return s.preset.number == c.param4; }),
                            stops.end());
            else if (c.param6 == int(PatrolPresetOper::Modify)) {
                for (PatrolPresetInfo &s : stops)
                    if (s.preset.number == c.param4)
                        s.param2 = unsigned(c.param5);
            } else {
                r = failed(c.requestId, BadArgument, QStringLiteral("unknown operation %1").arg(c.param6));
            }
        }
    }
    oper_patrol_preset_res(r, PatrolPresetOper(c.param6));
    note(QStringLiteral("patrol stop %1 #%2 preset %3 -> %4")
             .arg(where(c.devId, c.channel))
             .arg(c.param3)
             .arg(c.param4)
             .arg(outcome(r, QStringLiteral("ok"))));
}

// param3 is the patrol number; it is created when missing.
void DeviceModel::onSetPatrolPresetsReq(const SetPatrolPresetsCondition &c)
{
    Response r = check(c.requestId, c.devId, c.channel);
    if (!r.errorCode) {
        Channel &ch = channelOf(c.devId, c.channel);
        QList<PatrolPresetInfo> stops;
        if (c.param3 < 1 || c.param3 > kMaxPatrol)
            r = failed(c.requestId, BadArgument,
                       QStringLiteral("patrols are numbered 1-%1, not %2").arg(kMaxPatrol).arg(c.param3));
        for (const PatrolPresetEntry &e : c.presets) {
            if (r.errorCode)
                break;
            if (e.stayTime < 0) {
                r = failed(c.requestId, BadArgument, QStringLiteral("a stay of %1 s").arg(e.stayTime));
                break;
            }
            if (!ch.presets.contains(e.presetNumber)) {
                r = failed(c.requestId, NotFound, QStringLiteral("no preset %1").arg(e.presetNumber));
                break;
            }
            stops.append({{e.presetNumber, ch.presets.value(e.presetNumber).name}, unsigned(e.stayTime), 4});
        }
        if (!r.errorCode) {
            ch.patrols[c.param3].number = c.param3;
            ch.patrols[c.param3].presets = stops;
        }
    }
    set_patrol_presets_res(r);
    note(QStringLiteral("set patrol %1 #%2 to %3 stops -> %4")
             .arg(where(c.devId, c.channel))
             .arg(c.param3)
             .arg(c.presets.size())
             .arg(outcome(r, QStringLiteral("ok"))));
}

// ---- Configuration ----

void DeviceModel::onSetOSDReq(const SetOSDCondition &c)
{
    const Response r = check(c.requestId, c.devId, c.channel);
    if (!r.errorCode) {
        channelOf(c.devId, c.channel).osd = c.osd;
        publish();
    }
    dev_config_res(r);
    note(QStringLiteral("osd %1 = '%2' -> %3").arg(where(c.devId, c.channel), c.osd, outcome(r, QStringLiteral("ok"))));
}

void DeviceModel::onModifyDevNameReq(const ModifyDevNameCondition &c)
{
    Response r = check(c.requestId, c.devId);
    if (!r.errorCode && c.devName.trimmed().isEmpty())
        r = failed(c.requestId, BadArgument, QStringLiteral("empty name"));
    if (!r.errorCode) {
        find(c.devId)->info.name = c.devName;
        publish();
    }
    dev_config_res(r);
    note(QStringLiteral("rename %1 to '%2' -> %3").arg(c.devId, c.devName, outcome(r, QStringLiteral("ok"))));
}

void DeviceModel::onOpenDevRemoteConfigReq(const QString &devId, int language)
{
    note(QStringLiteral("open remote configuration of %1 (language %2)").arg(devId).arg(language));
}

void DeviceModel::onModifyDevAccountReq(const ModifyDevAccountCondition &c)
{
    Response r = check(c.requestId, c.devId);
    if (!r.errorCode) {
        Device *d = find(c.devId);
        if (d->accounts.contains(c.account) && d->accounts.value(c.account) != c.oldPassword)
            r = failed(c.requestId, Refused, QStringLiteral("wrong password for '%1'").arg(c.account));
        else if (c.newPassword.size() < 6)
            r = failed(c.requestId, BadArgument, QStringLiteral("the new password needs 6 characters or more"));
        else
            d->accounts.insert(c.account, c.newPassword);
    }
    modify_dev_account_res(r);
    note(QStringLiteral("account %1 of %2 -> %3").arg(c.account, c.devId, outcome(r, QStringLiteral("ok"))));
}

// ---- Upgrades ----

void DeviceModel::onCheckDevUpgradeReq(const DevUpgradeCondtition &c)
{
    const Response r = check(c.requestId, c.devId);
    DevUpgradeInfo info;
    if (!r.errorCode) {
        const Device *d = find(c.devId);
        info = d->upgrade;
        info.param3 = d->info.version != d->latestVersion; // 1: a newer version exists
        info.newVersionName = d->latestVersion;
        info.param5 = info.param3;
    }
    check_dev_upgrade_res(r, info);
    note(QStringLiteral("check upgrade %1 -> %2")
             .arg(c.devId,
                  outcome(r,
                          info.param3 ? QStringLiteral("%1 available").arg(info.newVersionName)
                                      : QStringLiteral("up to date"))));
}

void DeviceModel::onDoDevUpgradeCmd(const DevUpgradeCondtition &c)
{
    Device *d = find(c.devId);
    if (!d || d->status != DevStatus::Online) {
        note(QStringLiteral("upgrade of %1 ignored: not online").arg(c.devId));
        return;
    }
    d->upgrade = {1, d->latestVersion, true, QStringLiteral("downloading"), 0};
    note(QStringLiteral("upgrade %1 to %2 started").arg(c.devId, d->latestVersion));
}

void DeviceModel::onGetDevUpgradeProgressReq(const QString &requestId, const QString &devId)
{
    const Response r = check(requestId, devId);
    const DevUpgradeInfo info = r.errorCode ? DevUpgradeInfo() : find(devId)->upgrade;
    get_dev_upgrade_progress_res(r, info);
    note(QStringLiteral("upgrade progress %1 -> %2")
             .arg(devId, outcome(r, QStringLiteral("%1 %2%").arg(info.phase).arg(info.param7))));
}

// ---- Faces ----

void DeviceModel::onAddFaceReq(const ModifyFaceCondition &c)
{
    Response r = check(c.requestId, c.devId, c.channel);
    if (!r.errorCode) {
        Device *d = find(c.devId);
        if (c.serialNum.isEmpty() || c.name.isEmpty())
            r = failed(c.requestId, BadArgument, QStringLiteral("a face needs a serial number and a name"));
        else if (std::any_of(d->faces.cbegin(), d->faces.cend(),
                             [&](const FaceInfo &f) { return f.serialNum == c.serialNum; }))
            r = failed(c.requestId, BadArgument, QStringLiteral("face %1 exists").arg(c.serialNum));
        else {
            FaceInfo f;
            f.param1 = d->nextFaceId++;
            f.serialNum = c.serialNum;
            f.name = c.name;
            f.faceType = c.faceType;
            f.faceUrl = QStringLiteral("faces/%1.jpg").arg(c.serialNum);
            f.param6 = c.param6;
            f.param7 = c.param7;
            f.faceImage = c.faceImage;
            f.validTime = c.validTime;
            f.invalidTime = c.invalidTime;
            f.organizations = c.organizations;
            d->faces.append(f);
        }
    }
    add_face_res(r);
    note(QStringLiteral("add face %1 '%2' to %3 -> %4")
             .arg(c.serialNum, c.name, c.devId, outcome(r, QStringLiteral("ok"))));
}

// param3 is the first face to return, param4 how many (0: all).
void DeviceModel::onGetFacesReq(const GetFacesCondition &c)
{
    const Response r = check(c.requestId, c.devId, c.channel);
    FaceInfoList page;
    unsigned total = 0;
    if (!r.errorCode) {
        const FaceInfoList &all = find(c.devId)->faces;
        total = unsigned(all.size());
        page = all.mid(c.param3, c.param4 > 0 ? c.param4 : -1);
    }
    get_faces_res(r, page, total);
    note(QStringLiteral("faces %1 -> %2")
             .arg(c.devId, outcome(r, QStringLiteral("%1 of %2").arg(page.size()).arg(total))));
}

// param3 is the face id.
void DeviceModel::onDelFaceReq(const DelFaceCondition &c)
{
    Response r = check(c.requestId, c.devId, c.channel);
    if (!r.errorCode) {
        FaceInfoList &faces = find(c.devId)->faces;
        const auto it =
            std::find_if(faces.begin(), faces.end(), [&](const FaceInfo &f) { return f.param1 == c.param3; });
        if (it == faces.end())
            r = failed(c.requestId, NotFound, QStringLiteral("no face %1").arg(c.param3));
        else
            faces.erase(it);
    }
    del_face_res(r);
    note(QStringLiteral("delete face %1 of %2 -> %3").arg(c.param3).arg(c.devId, outcome(r, QStringLiteral("ok"))));
}

void DeviceModel::onGetFaceDetectRecordsReq(const GetFaceDetectRecordsCondition &c)
{
    Response r = check(c.requestId, c.devId, c.channel);
    if (!r.errorCode && (!c.beginTime.isValid() || !c.endTime.isValid() || c.endTime < c.beginTime))
        r = failed(c.requestId, BadArgument, QStringLiteral("give a valid time span"));
    FaceDetectRecordList list;
    unsigned total = 0;
    if (!r.errorCode) {
        // One detection every seven minutes, on the minute.
        const qint64 step = 7 * 60;
        const qint64 first = (c.beginTime.toSecsSinceEpoch() + step - 1) / step * step;
        const qint64 last = qMin(c.endTime, QDateTime::currentDateTime()).toSecsSinceEpoch();
        for (qint64 s = first; s <= last; s += step, ++total) {
            if (list.size() >= 100)
                continue;
            const int who = int((s / step) % kPeople.size());
            FaceDetectRecordInfo rec;
            rec.serialNum = QStringLiteral("F%1").arg(1000 + who);
            rec.name = kPeople.at(who);
            rec.company = QStringLiteral("Example Ltd");
            rec.department = who % 2 ? QStringLiteral("Sales") : QStringLiteral("Engineering");
            rec.position = QStringLiteral("Staff");
            rec.detectTime = QDateTime::fromSecsSinceEpoch(s);
            rec.param7 = unsigned(c.channel);
            rec.param9 = 36.2 + double(s % 7) / 10;
            list.append(rec);
        }
    }
    get_face_detect_records_res(r, list, total);
    note(QStringLiteral("face records %1 -> %2")
             .arg(where(c.devId, c.channel), outcome(r, QStringLiteral("%1 of %2").arg(list.size()).arg(total))));
}

void DeviceModel::onClearFaceTemperatureCountCmd(const QString &devId)
{
    if (const Device *d = find(devId))
        for (int ch = 1; ch <= d->channels.size(); ++ch)
            push_face_temperature_count_msg({devId, ch}, FaceCountInfo());
    note(QStringLiteral("clear face counts of %1").arg(devId));
}

// ---- Talk and speak: param3 0 starts, anything else stops ----

void DeviceModel::onTalkOperReq(const TalkOperCondition &c)
{
    const Response r = check(c.requestId, c.devId, c.channel);
    talk_oper_res(r);
    if (!r.errorCode) {
        Channel &ch = channelOf(c.devId, c.channel);
        const bool start = c.param3 == 0;
        push_talk_event_msg({c.devId, c.channel},
                            start && ch.talking ? TalkEvent::DevBusy
                                : start         ? TalkEvent::TalkStart
                                                : TalkEvent::TalkEnd);
        ch.talking = start;
    }
    note(QStringLiteral("talk %1 %2 -> %3")
             .arg(c.param3 == 0 ? QStringLiteral("start") : QStringLiteral("stop"), where(c.devId, c.channel),
                  outcome(r, QStringLiteral("ok"))));
}

void DeviceModel::onSpeakOperReq(const SpeakOperCondition &c)
{
    const Response r = check(c.requestId, c.devId, c.channel);
    speak_oper_res(r);
    if (!r.errorCode) {
        Channel &ch = channelOf(c.devId, c.channel);
        const bool start = c.param3 == 0;
        push_speak_event_msg({c.devId, c.channel},
                             start && ch.speaking ? TalkEvent::DevBusy
                                 : start          ? TalkEvent::TalkStart
                                                  : TalkEvent::TalkEnd);
        ch.speaking = start;
    }
    note(QStringLiteral("speak %1 %2 -> %3")
             .arg(c.param3 == 0 ? QStringLiteral("start") : QStringLiteral("stop"), where(c.devId, c.channel),
                  outcome(r, QStringLiteral("ok"))));
}

// ---- File transfer: progress in percent (param2) of a made-up size (param3, KiB) ----

void DeviceModel::onUploadFileReq(const UploadFileCondition &c)
{
    const Response r = check(c.requestId, c.devId);
    const int code = r.errorCode;
    for (int step = 0; step <= 4; ++step)
        QTimer::singleShot(50 + 200 * step, this, [c, step, code] {
            push_file_transfer_progress({c.requestId, code ? -code : 25 * step, 512});
        });
    note(QStringLiteral("upload %1 to %2 -> %3").arg(c.fileName, c.devId, outcome(r, QStringLiteral("started"))));
}

void DeviceModel::onDownloadFileReq(const DownloadFileCondition &c)
{
    const Response r = check(c.requestId, c.devId);
    const int code = r.errorCode;
    for (int step = 0; step <= 4; ++step)
        QTimer::singleShot(50 + 200 * step, this, [c, step, code] {
            push_file_transfer_progress({c.requestId, code ? -code : 25 * step, 2048});
        });
    note(
        QStringLiteral("download %1 from %2 -> %3").arg(c.srcFileName, c.devId, outcome(r, QStringLiteral("started"))));
}

// ---- Generic JSON: a few methods, anything else is echoed ----

void DeviceModel::onCommonReq(const ChannelId &channel, const QString &requestId, const QString &reqJson)
{
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(reqJson.toUtf8(), &parseError);
    QJsonObject answer;
    const Device *d = find(channel.first);
    const QString method = doc.object().value(QLatin1String("method")).toString();
    if (!doc.isObject()) {
        answer = {{"result", BadArgument}, {"error", parseError.errorString()}};
    } else if (method == QLatin1String("getDeviceInfo")) {
        if (d)
            answer = {{"result", 0},
                      {"id", d->info.id},
                      {"name", d->info.name},
                      {"sn", d->info.sn},
                      {"model", d->info.seriesName},
                      {"version", d->info.version},
                      {"channels", d->channels.size()},
                      {"status", int(d->status)}};
        else
            answer = {{"result", UnknownDevice}, {"error", QStringLiteral("unknown device '%1'").arg(channel.first)}};
    } else if (method == QLatin1String("getManagedDevices")) {
        static const QStringList statusNames{"offline", "online", "login-failed", "not-activated"};
        QJsonArray list;
        for (const Device &dev : devices)
            if (dev.managed)
                list.append(QJsonObject{{"id", dev.info.id},
                                        {"name", dev.info.name},
                                        {"ip", dev.info.ip},
                                        {"status", int(dev.status)},
                                        {"statusName", statusNames.value(int(dev.status))}});
        answer = {{"result", 0}, {"devices", list}};
    } else if (method == QLatin1String("getPtzPosition")) {
        // Where a held PTZ arrow has moved the head; nothing else reports it.
        const Response r = check(requestId, channel.first, channel.second);
        if (r.errorCode) {
            answer = {{"result", r.errorCode}, {"error", r.errorText}};
        } else {
            const Channel &ch = d->channels.at(channel.second - 1);
            answer = {{"result", 0}, {"pan", ch.pan}, {"tilt", ch.tilt}, {"zoom", ch.zoom}};
        }
    } else if (method == QLatin1String("getTime")) {
        answer = {
            {"result", 0},
            {"time", QDateTime::currentDateTime().addMSecs(d ? d->clockOffsetMs : 0).toString(Qt::ISODateWithMs)}};
    } else {
        answer = {{"result", 0}, {"echo", doc.object()}};
    }
    common_res(requestId, QString::fromUtf8(QJsonDocument(answer).toJson(QJsonDocument::Compact)));
    note(QStringLiteral("common %1 %2 -> result %3")
             .arg(where(channel.first, channel.second), method.isEmpty() ? QStringLiteral("(echo)") : method)
             .arg(answer.value(QLatin1String("result")).toInt()));
}

void DeviceModel::onSetSaasTokenCmd(const QString &token)
{
    note(QStringLiteral("cloud token set (%1 characters)").arg(token.size()));
}

void DeviceModel::onSaasLogoutCmd() { note(QStringLiteral("cloud logout")); }
