#include "wire_convert.h"

#include "plain_text.h"

namespace oru_sdk::wire {

const QString kDateTimeFormat = QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz");

namespace {

// request_id + nested channel_id, the head of most channel requests.
template <class M, class C>
void readChannelHead(const M &m, C *c)
{
    c->requestId = text(m.request_id());
    readChannel(m, &c->devId, &c->channel);
}

template <class C, class M>
void writeChannelHead(const C &c, M *m)
{
    m->set_request_id(utf8(c.requestId));
    writeChannel(c.devId, c.channel, m);
}

// request_id + dev_id, the head of most device requests.
template <class M, class C>
void readDeviceHead(const M &m, C *c)
{
    c->requestId = text(m.request_id());
    c->devId = text(m.dev_id());
}

template <class C, class M>
void writeDeviceHead(const C &c, M *m)
{
    m->set_request_id(utf8(c.requestId));
    m->set_dev_id(utf8(c.devId));
}

// Talk and speak share one wire message and one record shape.
template <class C>
void readTalk(const proto::TalkOperReq &m, C *r)
{
    readChannelHead(m, r);
    r->param3 = m.param_3();
}

template <class C>
void writeTalk(const C &r, proto::TalkOperReq *m)
{
    writeChannelHead(r, m);
    m->set_param_3(r.param3);
}

} // namespace

// ---- Shared rules ----

QString text(const std::string &s) { return textUpToZero(s.c_str()); }
std::string utf8(const QString &s)
{
    // Most texts are ASCII: those are written straight, without the UTF-8
    // QByteArray that toStdString() goes through.
    const int size = s.size();
    std::string out(size_t(size), '\0');
    const QChar *in = s.constData();
    for (int i = 0; i < size; ++i) {
        const ushort c = in[i].unicode();
        if (c >= 0x80)
            return s.toStdString();
        out[size_t(i)] = char(c);
    }
    return out;
}
QByteArray bytes(const std::string &s) { return QByteArray::fromStdString(s); }
QByteArray utf8Bytes(const QString &s) { return bytes(utf8(s)); }
std::string rawBytes(const QByteArray &b) { return b.toStdString(); }
QDateTime dateTime(const std::string &s) { return QDateTime::fromString(text(s), kDateTimeFormat); }
std::string dateTimeText(const QDateTime &t) { return utf8(t.toString(kDateTimeFormat)); }
double wireDouble(double d) { return d == 0.0 ? 0.0 : d; }

QStringList texts(const Repeated<std::string> &in)
{
    QStringList out;
    out.reserve(in.size());
    for (const std::string &s : in)
        out.append(text(s));
    return out;
}

void setTexts(const QStringList &in, Repeated<std::string> *out)
{
    out->Clear();
    for (const QString &s : in)
        out->Add(utf8(s));
}

QList<QByteArray> byteList(const Repeated<std::string> &in)
{
    QList<QByteArray> out;
    out.reserve(in.size());
    for (const std::string &s : in)
        out.append(bytes(s));
    return out;
}

void setByteList(const QList<QByteArray> &in, Repeated<std::string> *out)
{
    out->Clear();
    for (const QByteArray &b : in)
        out->Add(rawBytes(b));
}

// ---- Channels ----

void fromWire(const proto::ChannelId &m, ChannelId *r)
{
    r->first = text(m.dev_id());
    r->second = static_cast<int>(m.channel());
}

void toWire(const ChannelId &r, proto::ChannelId *m)
{
    m->set_dev_id(utf8(r.first));
    m->set_channel(static_cast<uint32_t>(r.second));
}

// ---- Request conditions ----

void fromWire(const proto::InitDgwReq &m, InitDgwCondition *r)
{
    r->requestId = text(m.request_id());
    r->ak = text(m.ak());
    r->sk = text(m.sk());
    r->ck = text(m.ck());
    r->csk = text(m.csk());
    r->param6 = m.param_6();
    r->url = text(m.url());
    r->param8 = m.param_8();
    r->saasServer = text(m.saas_server());
    r->saasCer = text(m.saas_cer());
}

void toWire(const InitDgwCondition &r, proto::InitDgwReq *m)
{
    m->set_request_id(utf8(r.requestId));
    m->set_ak(utf8(r.ak));
    m->set_sk(utf8(r.sk));
    m->set_ck(utf8(r.ck));
    m->set_csk(utf8(r.csk));
    m->set_param_6(r.param6 != 0);
    m->set_url(utf8(r.url));
    m->set_param_8(r.param8);
    m->set_saas_server(utf8(r.saasServer));
    m->set_saas_cer(utf8(r.saasCer));
}

void fromWire(const proto::SetSearchDevsConfigCmd &m, SearchDevsConfig *r)
{
    r->param1 = m.param_1();
    r->beginIp = text(m.begin_ip());
    r->endIp = text(m.end_ip());
    r->param4 = m.param_4();
}

void toWire(const SearchDevsConfig &r, proto::SetSearchDevsConfigCmd *m)
{
    m->set_param_1(r.param1 != 0);
    m->set_begin_ip(utf8(r.beginIp));
    m->set_end_ip(utf8(r.endIp));
    m->set_param_4(r.param4);
}

void fromWire(const proto::SecretInfo &m, QPair<QString, QString> *r)
{
    r->first = text(m.question());
    r->second = text(m.answer());
}

void toWire(const QPair<QString, QString> &r, proto::SecretInfo *m)
{
    m->set_question(utf8(r.first));
    m->set_answer(utf8(r.second));
}

void fromWire(const proto::DevActivateCmd &m, ActivateCondition *r)
{
    r->account = text(m.account());
    r->password = text(m.password());
    r->secretInfos = listFromWire<QPair<QString, QString>>(m.secret_infos());
    r->param5 = m.param_5();
}

void toWire(const ActivateCondition &r, proto::DevActivateCmd *m)
{
    m->set_account(utf8(r.account));
    m->set_password(utf8(r.password));
    listToWire(r.secretInfos, m->mutable_secret_infos());
    m->set_param_5(r.param5);
}

void fromWire(const proto::DevSecretQuestionsGetReq &m, GetDevSecretQuestionsCondition *r)
{
    r->devSn = text(m.dev_sn());
    r->account = text(m.account());
}

void toWire(const GetDevSecretQuestionsCondition &r, proto::DevSecretQuestionsGetReq *m)
{
    m->set_dev_sn(utf8(r.devSn));
    m->set_account(utf8(r.account));
}

void fromWire(const proto::DevPwdResetReq &m, ResetDevPwdCondition *r)
{
    r->devSn = text(m.dev_sn());
    r->account = text(m.account());
    r->password = text(m.password());
    r->secretInfos = listFromWire<QPair<QString, QString>>(m.secret_infos());
}

void toWire(const ResetDevPwdCondition &r, proto::DevPwdResetReq *m)
{
    m->set_dev_sn(utf8(r.devSn));
    m->set_account(utf8(r.account));
    m->set_password(utf8(r.password));
    listToWire(r.secretInfos, m->mutable_secret_infos());
}

void fromWire(const proto::DevPlatformGetReq &m, GetDevPlatformCondition *r)
{
    readDeviceHead(m, r);
    r->param3 = m.param_3();
    r->param4 = m.param_4();
}

void toWire(const GetDevPlatformCondition &r, proto::DevPlatformGetReq *m)
{
    writeDeviceHead(r, m);
    m->set_param_3(r.param3);
    m->set_param_4(r.param4 != 0);
}

void fromWire(const proto::DevPlatformSetReq &m, SetDevPlatformCondition *r)
{
    readDeviceHead(m, r);
    const proto::DevPlatformInfo &info = m.dev_platform_info();
    r->param1 = info.param_1();
    r->platformAddr = text(info.platform_addr());
    r->param3 = info.param_3();
    r->param4 = info.param_4();
    r->param5 = info.param_5();
}

void toWire(const SetDevPlatformCondition &r, proto::DevPlatformSetReq *m)
{
    writeDeviceHead(r, m);
    proto::DevPlatformInfo *info = m->mutable_dev_platform_info();
    info->set_param_1(r.param1);
    info->set_platform_addr(utf8(r.platformAddr));
    info->set_param_3(r.param3);
    info->set_param_4(r.param4);
    info->set_param_5(r.param5);
}

void fromWire(const proto::DevPlatform_tavSetReq &m, SetDevPlatform_tavCondition *r)
{
    readDeviceHead(m, r);
    const proto::DevPlatformInfo_tav &info = m.dev_platform_info();
    r->onlineServer = text(info.online_server());
    r->param4 = info.param_4();
    r->businessServer = text(info.bussiness_server());
}

void toWire(const SetDevPlatform_tavCondition &r, proto::DevPlatform_tavSetReq *m)
{
    writeDeviceHead(r, m);
    proto::DevPlatformInfo_tav *info = m->mutable_dev_platform_info();
    info->set_online_server(utf8(r.onlineServer));
    info->set_param_4(r.param4);
    info->set_bussiness_server(utf8(r.businessServer));
}

void fromWire(const proto::DevCertImportReq &m, ImportDevCertCondition *r)
{
    readDeviceHead(m, r);
    r->param3 = m.param_3();
    r->ca = text(m.ca());
    r->certContents = text(m.cert_contents());
    r->key = text(m.key());
    r->secretKey = text(m.secret_key());
}

void toWire(const ImportDevCertCondition &r, proto::DevCertImportReq *m)
{
    writeDeviceHead(r, m);
    m->set_param_3(r.param3);
    m->set_ca(utf8(r.ca));
    m->set_cert_contents(utf8(r.certContents));
    m->set_key(utf8(r.key));
    m->set_secret_key(utf8(r.secretKey));
}

void fromWire(const proto::DevNetSetReq &m, SetDevNetCondition *r)
{
    readDeviceHead(m, r);
    const proto::DevNetInfo &info = m.dev_net_info();
    r->ip = text(info.ip());
    r->subNetMask = text(info.sub_net_mask());
    r->defaultGateway = text(info.default_gateway());
    r->dns = text(info.dns());
    r->param5 = info.param_5();
    r->param6 = info.param_6();
    r->param7 = info.param_7();
    r->param8 = info.param_8();
}

void toWire(const SetDevNetCondition &r, proto::DevNetSetReq *m)
{
    writeDeviceHead(r, m);
    proto::DevNetInfo *info = m->mutable_dev_net_info();
    info->set_ip(utf8(r.ip));
    info->set_sub_net_mask(utf8(r.subNetMask));
    info->set_default_gateway(utf8(r.defaultGateway));
    info->set_dns(utf8(r.dns));
    info->set_param_5(r.param5);
    info->set_param_6(r.param6);
    info->set_param_7(r.param7);
    info->set_param_8(r.param8);
}

void fromWire(const proto::SearchVideoRecordingsReq &m, RecsSearchCondition *r)
{
    readChannelHead(m, r);
    r->param3 = m.param_3();
    r->param4 = m.param_4();
    r->beginTime = dateTime(m.begin_time());
    r->endTime = dateTime(m.end_time());
}

void toWire(const RecsSearchCondition &r, proto::SearchVideoRecordingsReq *m)
{
    writeChannelHead(r, m);
    m->set_param_3(r.param3);
    m->set_param_4(r.param4);
    m->set_begin_time(dateTimeText(r.beginTime));
    m->set_end_time(dateTimeText(r.endTime));
}

void fromWire(const proto::GetRtspUrlReq &m, GetRtspUrlCondition *r)
{
    readChannelHead(m, r);
    r->streamType = m.param_3();
}

void toWire(const GetRtspUrlCondition &r, proto::GetRtspUrlReq *m)
{
    writeChannelHead(r, m);
    m->set_param_3(r.streamType);
}

void fromWire(const proto::PTZCtrlReq &m, PTZCtrlCondition *r)
{
    readChannelHead(m, r);
    r->operation = m.param_3();
    r->action = m.param_4();
    r->param5 = m.param_5();
    r->param6 = static_cast<int>(m.param_6());
}

void toWire(const PTZCtrlCondition &r, proto::PTZCtrlReq *m)
{
    writeChannelHead(r, m);
    m->set_param_3(r.operation);
    m->set_param_4(r.action);
    m->set_param_5(r.param5);
    m->set_param_6(static_cast<uint32_t>(r.param6));
}

void fromWire(const proto::ChannelReq &m, ChannelCondition *r) { readChannelHead(m, r); }
void toWire(const ChannelCondition &r, proto::ChannelReq *m) { writeChannelHead(r, m); }

void fromWire(const proto::PresetOperReq &m, PresetOperCondition *r)
{
    readChannelHead(m, r);
    r->presetNumber = static_cast<int>(m.param_3());
    r->presetName = text(m.preset_name());
    r->oper = m.param_5();
}

void toWire(const PresetOperCondition &r, proto::PresetOperReq *m)
{
    writeChannelHead(r, m);
    m->set_param_3(static_cast<uint32_t>(r.presetNumber));
    m->set_preset_name(utf8(r.presetName));
    m->set_param_5(r.oper);
}

// The record has two ints; param_5 of the wire has no counterpart.
void fromWire(const proto::PatrolOperReq &m, PatrolOperCondition *r)
{
    readChannelHead(m, r);
    r->param3 = m.param_3();
    r->param4 = m.param_4();
}

void toWire(const PatrolOperCondition &r, proto::PatrolOperReq *m)
{
    writeChannelHead(r, m);
    m->set_param_3(r.param3);
    m->set_param_4(r.param4);
}

void fromWire(const proto::PatrolPresetOperReq &m, PatrolPresetOperCondition *r)
{
    readChannelHead(m, r);
    r->param3 = m.param_3();
    r->param4 = m.param_4();
    r->param5 = static_cast<int>(m.param_5());
    r->param6 = m.param_6();
}

void toWire(const PatrolPresetOperCondition &r, proto::PatrolPresetOperReq *m)
{
    writeChannelHead(r, m);
    m->set_param_3(r.param3);
    m->set_param_4(r.param4);
    m->set_param_5(static_cast<uint32_t>(r.param5));
    m->set_param_6(r.param6);
}

void fromWire(const proto::SetPatrolPresetsReq::PresetInfo &m, PatrolPresetEntry *r)
{
    r->presetNumber = static_cast<int>(m.param_1());
    r->stayTime = static_cast<int>(m.param_2());
}

void toWire(const PatrolPresetEntry &r, proto::SetPatrolPresetsReq::PresetInfo *m)
{
    m->set_param_1(static_cast<uint32_t>(r.presetNumber));
    m->set_param_2(static_cast<uint32_t>(r.stayTime));
}

void fromWire(const proto::SetPatrolPresetsReq &m, SetPatrolPresetsCondition *r)
{
    readChannelHead(m, r);
    r->param3 = m.param_3();
    r->presets = listFromWire<PatrolPresetEntry>(m.presets());
}

void toWire(const SetPatrolPresetsCondition &r, proto::SetPatrolPresetsReq *m)
{
    writeChannelHead(r, m);
    m->set_param_3(r.param3);
    listToWire(r.presets, m->mutable_presets());
}

void fromWire(const proto::SetOSDReq &m, SetOSDCondition *r)
{
    readChannelHead(m, r);
    r->osd = text(m.osd());
}

void toWire(const SetOSDCondition &r, proto::SetOSDReq *m)
{
    writeChannelHead(r, m);
    m->set_osd(utf8(r.osd));
}

void fromWire(const proto::ModifyDevNameReq &m, ModifyDevNameCondition *r)
{
    readDeviceHead(m, r);
    r->devName = text(m.dev_name());
}

void toWire(const ModifyDevNameCondition &r, proto::ModifyDevNameReq *m)
{
    writeDeviceHead(r, m);
    m->set_dev_name(utf8(r.devName));
}

void fromWire(const proto::DevUpgradeReq &m, DevUpgradeCondtition *r)
{
    readDeviceHead(m, r);
    r->mode = text(m.mode());
    r->url = text(m.url());
    r->param5 = m.param_5();
    r->mainFile = text(m.main_file());
    r->verFile = text(m.ver_file());
}

void toWire(const DevUpgradeCondtition &r, proto::DevUpgradeReq *m)
{
    writeDeviceHead(r, m);
    m->set_mode(utf8(r.mode));
    m->set_url(utf8(r.url));
    m->set_param_5(r.param5);
    m->set_main_file(utf8(r.mainFile));
    m->set_ver_file(utf8(r.verFile));
}

void fromWire(const proto::ModifyDevAccountReq &m, ModifyDevAccountCondition *r)
{
    readDeviceHead(m, r);
    r->account = text(m.account());
    r->oldPassword = text(m.old_password());
    r->newPassword = text(m.new_password());
    r->level = text(m.level());
}

void toWire(const ModifyDevAccountCondition &r, proto::ModifyDevAccountReq *m)
{
    writeDeviceHead(r, m);
    m->set_account(utf8(r.account));
    m->set_old_password(utf8(r.oldPassword));
    m->set_new_password(utf8(r.newPassword));
    m->set_level(utf8(r.level));
}

void fromWire(const proto::AddFaceReq &m, ModifyFaceCondition *r)
{
    readChannelHead(m, r);
    r->serialNum = text(m.serial_num());
    r->name = text(m.name());
    r->param6 = m.param_6();
    r->param7 = m.param_7();
    r->param8 = m.param_8();
    r->faceType = text(m.face_type());
    r->validTime = dateTime(m.valid_time());
    r->invalidTime = dateTime(m.invalid_time());
    r->faceImage = bytes(m.data_12());
    r->organizations = texts(m.organizations());
}

void toWire(const ModifyFaceCondition &r, proto::AddFaceReq *m)
{
    writeChannelHead(r, m);
    m->set_serial_num(utf8(r.serialNum));
    m->set_name(utf8(r.name));
    setTexts(r.organizations, m->mutable_organizations());
    m->set_param_6(r.param6);
    m->set_param_7(r.param7);
    m->set_param_8(r.param8);
    m->set_face_type(utf8(r.faceType));
    m->set_valid_time(dateTimeText(r.validTime));
    m->set_invalid_time(dateTimeText(r.invalidTime));
    m->set_data_12(rawBytes(r.faceImage));
}

void fromWire(const proto::GetFacesReq &m, GetFacesCondition *r)
{
    readChannelHead(m, r);
    r->param3 = static_cast<int>(m.param_3());
    r->param4 = static_cast<int>(m.param_4());
    r->param5 = static_cast<int>(m.param_5());
    r->param6 = m.param_6();
}

void toWire(const GetFacesCondition &r, proto::GetFacesReq *m)
{
    writeChannelHead(r, m);
    m->set_param_3(static_cast<uint32_t>(r.param3));
    m->set_param_4(static_cast<uint32_t>(r.param4));
    m->set_param_5(static_cast<uint32_t>(r.param5));
    m->set_param_6(r.param6 != 0);
}

void fromWire(const proto::DelFaceReq &m, DelFaceCondition *r)
{
    readChannelHead(m, r);
    r->param3 = m.param_3();
}

void toWire(const DelFaceCondition &r, proto::DelFaceReq *m)
{
    writeChannelHead(r, m);
    m->set_param_3(r.param3);
}

// The record has no counterpart for param_3 and param_4 of the wire.
void fromWire(const proto::GetFaceDetectRecordsReq &m, GetFaceDetectRecordsCondition *r)
{
    readChannelHead(m, r);
    r->beginTime = dateTime(m.begin_time());
    r->endTime = dateTime(m.end_time());
}

void toWire(const GetFaceDetectRecordsCondition &r, proto::GetFaceDetectRecordsReq *m)
{
    writeChannelHead(r, m);
    m->set_begin_time(dateTimeText(r.beginTime));
    m->set_end_time(dateTimeText(r.endTime));
}

void fromWire(const proto::TalkOperReq &m, TalkOperCondition *r) { readTalk(m, r); }
void toWire(const TalkOperCondition &r, proto::TalkOperReq *m) { writeTalk(r, m); }
void fromWire(const proto::TalkOperReq &m, SpeakOperCondition *r) { readTalk(m, r); }
void toWire(const SpeakOperCondition &r, proto::TalkOperReq *m) { writeTalk(r, m); }

void fromWire(const proto::UploadFileReq &m, UploadFileCondition *r)
{
    readDeviceHead(m, r);
    r->fileName = text(m.file_name());
    r->purpose = text(m.purpose());
}

void toWire(const UploadFileCondition &r, proto::UploadFileReq *m)
{
    writeDeviceHead(r, m);
    m->set_file_name(utf8(r.fileName));
    m->set_purpose(utf8(r.purpose));
}

void fromWire(const proto::DownloadFileReq &m, DownloadFileCondition *r)
{
    readDeviceHead(m, r);
    r->srcFileName = text(m.src_file_name());
    r->desFileName = text(m.des_file_name());
}

void toWire(const DownloadFileCondition &r, proto::DownloadFileReq *m)
{
    writeDeviceHead(r, m);
    m->set_src_file_name(utf8(r.srcFileName));
    m->set_des_file_name(utf8(r.desFileName));
}

// ---- Stream conditions ----

void fromWire(const proto::LiveVideoConnReq &m, LiveVideoConnCondition *r)
{
    readChannel(m, &r->devId, &r->channel);
    r->streamType = m.param_2();
}

void toWire(const LiveVideoConnCondition &r, proto::LiveVideoConnReq *m)
{
    writeChannel(r.devId, r.channel, m);
    m->set_param_2(r.streamType);
}

void fromWire(const proto::PlaybackByFileReq &m, PlaybackByFileCondition *r)
{
    readChannel(m, &r->devId, &r->channel);
    r->fileName = text(m.file_name());
    r->param3 = m.param_3();
    r->param4 = m.param_4();
}

void toWire(const PlaybackByFileCondition &r, proto::PlaybackByFileReq *m)
{
    writeChannel(r.devId, r.channel, m);
    m->set_file_name(utf8(r.fileName));
    m->set_param_3(r.param3);
    m->set_param_4(r.param4);
}

void fromWire(const proto::PlaybackByTimeReq &m, PlaybackByTimeCondition *r)
{
    readChannel(m, &r->devId, &r->channel);
    r->startTime = dateTime(m.start_time());
    r->param3 = m.param_3();
}

void toWire(const PlaybackByTimeCondition &r, proto::PlaybackByTimeReq *m)
{
    writeChannel(r.devId, r.channel, m);
    m->set_start_time(dateTimeText(r.startTime));
    m->set_param_3(r.param3);
}

// ---- Results and events ----

void fromWire(const proto::DevInfo &m, DevInfo *r)
{
    r->id = text(m.id());
    r->name = text(m.name());
    r->sn = text(m.sn());
    r->param4 = m.param_4();
    r->ip = text(m.ip());
    r->port = m.param_6();
    r->user = text(m.user());
    r->password = text(m.password());
    r->version = text(m.version());
    r->seriesName = text(m.series_name());
    r->param11 = m.param_11();
    r->param12 = m.param_12();
    r->param13 = m.param_13();
    r->param14 = m.param_14();
    r->param15 = m.param_15();
    r->param16 = m.param_16();
    r->param17 = m.param_17();
    r->param18 = m.param_18();
}

void toWire(const DevInfo &r, proto::DevInfo *m)
{
    m->set_id(utf8(r.id));
    m->set_name(utf8(r.name));
    m->set_sn(utf8(r.sn));
    m->set_param_4(r.param4);
    m->set_ip(utf8(r.ip));
    m->set_param_6(r.port);
    m->set_user(utf8(r.user));
    m->set_password(utf8(r.password));
    m->set_version(utf8(r.version));
    m->set_series_name(utf8(r.seriesName));
    m->set_param_11(r.param11);
    m->set_param_12(r.param12);
    m->set_param_13(r.param13);
    m->set_param_14(r.param14);
    m->set_param_15(r.param15);
    m->set_param_16(r.param16);
    m->set_param_17(r.param17);
    m->set_param_18(r.param18);
}

void fromWire(const proto::AiAbilityInfo &m, AiAbilityInfo *r)
{
    r->package = text(m.package());
    r->param2 = m.param_2();
    r->name = text(m.name());
    r->param4 = m.param_4();
    r->param5 = m.param_5();
}

void toWire(const AiAbilityInfo &r, proto::AiAbilityInfo *m)
{
    m->set_package(utf8(r.package));
    m->set_param_2(r.param2);
    m->set_name(utf8(r.name));
    m->set_param_4(r.param4);
    m->set_param_5(r.param5);
}

void fromWire(const AbilityMap &m, QMap<int, AiAbilityInfo> *r)
{
    r->clear();
    for (const auto &entry : m)
        fromWire(entry.second, &(*r)[entry.first]);
}

void toWire(const QMap<int, AiAbilityInfo> &r, AbilityMap *m)
{
    m->clear();
    for (auto it = r.cbegin(); it != r.cend(); ++it)
        toWire(it.value(), &(*m)[it.key()]);
}

void fromWire(const proto::DevInfoFromDgw &m, DevInfoFromDgw *r)
{
    r->id = text(m.id());
    r->sn = text(m.sn());
    r->ip = text(m.ip());
    r->param4 = m.param_4();
    r->param5 = m.param_5();
    r->param6 = m.param_6();
    r->version = text(m.version());
    r->seriesName = text(m.series_name());
    r->param9 = m.param_9();
    r->param10 = m.param_10();
    r->devCode = text(m.dev_code());
    r->param12 = m.param_12();
    fromWire(m.ability_details(), &r->abilityDetails);
}

void toWire(const DevInfoFromDgw &r, proto::DevInfoFromDgw *m)
{
    m->set_id(utf8(r.id));
    m->set_sn(utf8(r.sn));
    m->set_ip(utf8(r.ip));
    m->set_param_4(r.param4);
    m->set_param_5(r.param5);
    m->set_param_6(r.param6);
    m->set_version(utf8(r.version));
    m->set_series_name(utf8(r.seriesName));
    m->set_param_9(r.param9);
    m->set_param_10(r.param10);
    m->set_dev_code(utf8(r.devCode));
    m->set_param_12(r.param12);
    toWire(r.abilityDetails, m->mutable_ability_details());
}

void fromWire(const proto::DevChannInfo &m, DevChannelInfo *r)
{
    readChannel(m, &r->devId, &r->channel);
    r->osd = text(m.osd());
    r->param3 = m.param_3();
    r->param4 = m.param_4();
    r->sn = text(m.sn());
    r->ip = text(m.ip());
    r->port = m.param_7();
    r->user = text(m.user());
    r->password = text(m.password());
    r->param10 = m.param_10();
    r->param11 = m.param_11();
    fromWire(m.ability_details(), &r->abilityDetails);
}

void toWire(const DevChannelInfo &r, proto::DevChannInfo *m)
{
    writeChannel(r.devId, r.channel, m);
    m->set_osd(utf8(r.osd));
    m->set_param_3(r.param3);
    m->set_param_4(r.param4);
    m->set_sn(utf8(r.sn));
    m->set_ip(utf8(r.ip));
    m->set_param_7(r.port);
    m->set_user(utf8(r.user));
    m->set_password(utf8(r.password));
    m->set_param_10(r.param10);
    m->set_param_11(r.param11);
    toWire(r.abilityDetails, m->mutable_ability_details());
}

void fromWire(const proto::DevNetInfo &m, DevNetInfo *r)
{
    r->ip = text(m.ip());
    r->subNetMask = text(m.sub_net_mask());
    r->defaultGateway = text(m.default_gateway());
    r->dns = text(m.dns());
    r->param5 = m.param_5();
    r->param6 = m.param_6();
    r->param7 = m.param_7();
    r->param8 = m.param_8();
}

void toWire(const DevNetInfo &r, proto::DevNetInfo *m)
{
    m->set_ip(utf8(r.ip));
    m->set_sub_net_mask(utf8(r.subNetMask));
    m->set_default_gateway(utf8(r.defaultGateway));
    m->set_dns(utf8(r.dns));
    m->set_param_5(r.param5);
    m->set_param_6(r.param6);
    m->set_param_7(r.param7);
    m->set_param_8(r.param8);
}

void fromWire(const proto::DevPlatformInfo &m, DevPlatformInfo *r)
{
    r->param1 = m.param_1();
    r->platformAddr = text(m.platform_addr());
    r->param3 = m.param_3();
    r->param4 = m.param_4();
    r->param5 = m.param_5();
}

void toWire(const DevPlatformInfo &r, proto::DevPlatformInfo *m)
{
    m->set_param_1(r.param1);
    m->set_platform_addr(utf8(r.platformAddr));
    m->set_param_3(r.param3);
    m->set_param_4(r.param4);
    m->set_param_5(r.param5);
}

void fromWire(const proto::DevPlatformInfo_tav &m, DevPlatform_tavInfo *r)
{
    r->param1 = m.param_1();
    r->param2 = m.param_2();
    r->onlineServer = text(m.online_server());
    r->param4 = m.param_4();
    r->businessServer = text(m.bussiness_server());
}

void toWire(const DevPlatform_tavInfo &r, proto::DevPlatformInfo_tav *m)
{
    m->set_param_1(r.param1);
    m->set_param_2(r.param2);
    m->set_online_server(utf8(r.onlineServer));
    m->set_param_4(r.param4);
    m->set_bussiness_server(utf8(r.businessServer));
}

void fromWire(const proto::DevTempUserCode &m, DevTempUserCode *r)
{
    r->sn = text(m.sn());
    r->code = text(m.code());
}

void toWire(const DevTempUserCode &r, proto::DevTempUserCode *m)
{
    m->set_sn(utf8(r.sn));
    m->set_code(utf8(r.code));
}

void fromWire(const proto::VideoRecInfo &m, VideoRecInfo *r)
{
    r->begin = dateTime(m.begin_time());
    r->end = dateTime(m.end_time());
    r->fileName = text(m.file_name());
    r->param4 = m.param_4();
    r->param5 = m.param_5();
}

void toWire(const VideoRecInfo &r, proto::VideoRecInfo *m)
{
    m->set_begin_time(dateTimeText(r.begin));
    m->set_end_time(dateTimeText(r.end));
    m->set_file_name(utf8(r.fileName));
    m->set_param_4(r.param4);
    m->set_param_5(r.param5);
}

void fromWire(const proto::PresetInfo &m, PresetInfo *r)
{
    r->number = static_cast<int>(m.param_1());
    r->name = text(m.preset_name());
}

void toWire(const PresetInfo &r, proto::PresetInfo *m)
{
    m->set_param_1(static_cast<uint32_t>(r.number));
    m->set_preset_name(utf8(r.name));
}

void fromWire(const proto::PatrolPresetInfo &m, PatrolPresetInfo *r)
{
    fromWire(m.preset(), &r->preset);
    r->param2 = m.param_2();
    r->param3 = m.param_3();
}

void toWire(const PatrolPresetInfo &r, proto::PatrolPresetInfo *m)
{
    toWire(r.preset, m->mutable_preset());
    m->set_param_2(r.param2);
    m->set_param_3(r.param3);
}

void fromWire(const proto::PatrolInfo &m, PatrolInfo *r)
{
    r->number = m.param_1();
    r->presets = listFromWire<PatrolPresetInfo>(m.presets());
    r->param3 = m.param_3();
    r->param4 = m.param_4();
}

void toWire(const PatrolInfo &r, proto::PatrolInfo *m)
{
    m->set_param_1(r.number);
    listToWire(r.presets, m->mutable_presets());
    m->set_param_3(r.param3);
    m->set_param_4(r.param4);
}

void fromWire(const proto::FaceInfo &m, FaceInfo *r)
{
    r->param1 = m.param_1();
    r->serialNum = text(m.serial_num());
    r->name = text(m.name());
    r->faceType = text(m.face_type());
    r->faceUrl = text(m.face_url());
    r->param6 = m.param_6();
    r->param7 = m.param_7();
    r->faceImage = bytes(m.data_8());
    r->validTime = dateTime(m.valid_time());
    r->invalidTime = dateTime(m.invalid_time());
    r->organizations = texts(m.organizations());
}

void toWire(const FaceInfo &r, proto::FaceInfo *m)
{
    m->set_param_1(r.param1);
    m->set_serial_num(utf8(r.serialNum));
    m->set_name(utf8(r.name));
    m->set_face_type(utf8(r.faceType));
    m->set_face_url(utf8(r.faceUrl));
    m->set_param_6(r.param6);
    m->set_param_7(r.param7);
    m->set_data_8(rawBytes(r.faceImage));
    m->set_valid_time(dateTimeText(r.validTime));
    m->set_invalid_time(dateTimeText(r.invalidTime));
    setTexts(r.organizations, m->mutable_organizations());
}

void fromWire(const proto::FaceDetectRecordInfo &m, FaceDetectRecordInfo *r)
{
    r->serialNum = text(m.serial_num());
    r->name = text(m.name());
    r->company = text(m.company());
    r->department = text(m.department());
    r->position = text(m.position());
    r->detectTime = dateTime(m.detect_time());
    r->param7 = m.param_7();
    r->param8 = m.param_8();
    r->param9 = m.param_9();
    r->param10 = m.param_10();
    r->param11 = m.param_11();
    r->data12 = bytes(m.data_12());
    r->data13 = bytes(m.data_13());
}

void toWire(const FaceDetectRecordInfo &r, proto::FaceDetectRecordInfo *m)
{
    m->set_serial_num(utf8(r.serialNum));
    m->set_name(utf8(r.name));
    m->set_company(utf8(r.company));
    m->set_department(utf8(r.department));
    m->set_position(utf8(r.position));
    m->set_detect_time(dateTimeText(r.detectTime));
    m->set_param_7(r.param7);
    m->set_param_8(r.param8);
    m->set_param_9(wireDouble(r.param9));
    m->set_param_10(r.param10);
    m->set_param_11(r.param11);
    m->set_data_12(rawBytes(r.data12));
    m->set_data_13(rawBytes(r.data13));
}

void fromWire(const proto::FaceCountInfo &m, FaceCountInfo *r)
{
    r->param2 = m.param_2();
    r->param3 = m.param_3();
    r->param4 = m.param_4();
}

void toWire(const FaceCountInfo &r, proto::FaceCountInfo *m)
{
    m->set_param_2(r.param2);
    m->set_param_3(r.param3);
    m->set_param_4(r.param4);
}

void fromWire(const proto::AlarmInfo &m, AlarmInfo *r)
{
    r->alarmId = text(m.alarm_id());
    fromWire(m.channel_id(), &r->channel);
    fromWire(m.second_channel_id(), &r->secondChannel);
    r->triggerName = text(m.trigger_name());
    r->alarmTime = dateTime(m.alarm_time());
    r->data6 = byteList(m.data_6());
    r->alarmType = text(m.alarm_type());
    r->param8 = m.param_8();
    r->alarmName = text(m.alarm_name());
    r->data10 = bytes(m.data_10());
}

void toWire(const AlarmInfo &r, proto::AlarmInfo *m)
{
    m->set_alarm_id(utf8(r.alarmId));
    toWire(r.channel, m->mutable_channel_id());
    toWire(r.secondChannel, m->mutable_second_channel_id());
    m->set_trigger_name(utf8(r.triggerName));
    m->set_alarm_time(dateTimeText(r.alarmTime));
    setByteList(r.data6, m->mutable_data_6());
    m->set_alarm_type(utf8(r.alarmType));
    m->set_param_8(r.param8);
    m->set_alarm_name(utf8(r.alarmName));
    m->set_data_10(rawBytes(r.data10));
}

void fromWire(const proto::DevUpgradeRes &m, DevUpgradeInfo *r)
{
    r->param3 = m.param_3();
    r->newVersionName = text(m.new_version_name());
    r->param5 = m.param_5();
    r->phase = text(m.phase());
    r->param7 = m.param_7();
}

void toWire(const DevUpgradeInfo &r, proto::DevUpgradeRes *m)
{
    m->set_param_3(r.param3);
    m->set_new_version_name(utf8(r.newVersionName));
    m->set_param_5(r.param5);
    m->set_phase(utf8(r.phase));
    m->set_param_7(r.param7);
}

void fromWire(const proto::FileTransferProgress &m, FileTransferProgress *r)
{
    r->requestId = text(m.request_id());
    r->param2 = m.param_2();
    r->param3 = m.param_3();
}

void toWire(const FileTransferProgress &r, proto::FileTransferProgress *m)
{
    m->set_request_id(utf8(r.requestId));
    m->set_param_2(r.param2);
    m->set_param_3(r.param3);
}

} // namespace oru_sdk::wire
