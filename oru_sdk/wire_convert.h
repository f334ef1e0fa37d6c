#pragma once

// Conversions between the public records and the wire messages, both ways.
// fromWire() fills an already default-constructed record; toWire() fills a
// message. Strings are cut at the first zero byte on the way in, bytes never.
// Both directions of a record run its one field list (wire_convert.cpp).

#include <oru_sdk/types.h>

#include "oru_message.pb.h"

#include <string>

namespace oru_sdk::wire {

namespace proto = oru_sdk_proto;
template <class T>
using Repeated = google::protobuf::RepeatedPtrField<T>;
using AbilityMap = google::protobuf::Map<int32_t, proto::AiAbilityInfo>;

// ---- Shared rules ----

extern const QString kDateTimeFormat; // "yyyy-MM-dd hh:mm:ss.zzz"

QString text(const std::string &s); // UTF-8 up to the first zero byte
std::string utf8(const QString &s);
QByteArray bytes(const std::string &s); // every byte
// A text as a plain payload, UTF-8 like utf8(): empty for a null QString too,
// never the null array whose count on the wire is 0xFFFFFFFF.
QByteArray utf8Bytes(const QString &s);
std::string rawBytes(const QByteArray &b);
QDateTime dateTime(const std::string &s); // invalid when the text does not match
std::string dateTimeText(const QDateTime &t);
QStringList texts(const Repeated<std::string> &in);
void setTexts(const QStringList &in, Repeated<std::string> *out);
QList<QByteArray> byteList(const Repeated<std::string> &in);
void setByteList(const QList<QByteArray> &in, Repeated<std::string> *out);
double wireDouble(double d); // -0.0 becomes 0.0

// ---- Channels ----

void fromWire(const proto::ChannelId &m, ChannelId *r);
void toWire(const ChannelId &r, proto::ChannelId *m);

// ---- Answer envelope: request_id plus an always present error ----

template <class M>
void setResult(const Response &r, M *m)
{
    m->set_request_id(utf8(r.requestId));
    m->mutable_error()->set_err_code(r.errorCode);
    m->mutable_error()->set_err_msg(utf8(r.errorText));
}

template <class M>
Response result(const M &m)
{
    Response r;
    r.requestId = text(m.request_id());
    r.errorCode = m.error().err_code();
    r.errorText = text(m.error().err_msg());
    return r;
}

// ---- Request conditions ----

void fromWire(const proto::InitDgwReq &m, InitDgwCondition *r);
void toWire(const InitDgwCondition &r, proto::InitDgwReq *m);
void fromWire(const proto::SetSearchDevsConfigCmd &m, SearchDevsConfig *r);
void toWire(const SearchDevsConfig &r, proto::SetSearchDevsConfigCmd *m);
void fromWire(const proto::SecretInfo &m, QPair<QString, QString> *r);
void toWire(const QPair<QString, QString> &r, proto::SecretInfo *m);
void fromWire(const proto::DevActivateCmd &m, ActivateCondition *r); // devs_sn not touched
void toWire(const ActivateCondition &r, proto::DevActivateCmd *m);
void fromWire(const proto::DevSecretQuestionsGetReq &m, GetDevSecretQuestionsCondition *r);
void toWire(const GetDevSecretQuestionsCondition &r, proto::DevSecretQuestionsGetReq *m);
void fromWire(const proto::DevPwdResetReq &m, ResetDevPwdCondition *r);
void toWire(const ResetDevPwdCondition &r, proto::DevPwdResetReq *m);
void fromWire(const proto::DevPlatformGetReq &m, GetDevPlatformCondition *r);
void toWire(const GetDevPlatformCondition &r, proto::DevPlatformGetReq *m);
void fromWire(const proto::DevPlatformSetReq &m, SetDevPlatformCondition *r);
void toWire(const SetDevPlatformCondition &r, proto::DevPlatformSetReq *m);
void fromWire(const proto::DevPlatform_tavSetReq &m, SetDevPlatform_tavCondition *r);
void toWire(const SetDevPlatform_tavCondition &r, proto::DevPlatform_tavSetReq *m);
void fromWire(const proto::DevCertImportReq &m, ImportDevCertCondition *r);
void toWire(const ImportDevCertCondition &r, proto::DevCertImportReq *m);
void fromWire(const proto::DevNetSetReq &m, SetDevNetCondition *r);
void toWire(const SetDevNetCondition &r, proto::DevNetSetReq *m);
void fromWire(const proto::SearchVideoRecordingsReq &m, RecsSearchCondition *r);
void toWire(const RecsSearchCondition &r, proto::SearchVideoRecordingsReq *m);
void fromWire(const proto::GetRtspUrlReq &m, GetRtspUrlCondition *r);
void toWire(const GetRtspUrlCondition &r, proto::GetRtspUrlReq *m);
void fromWire(const proto::PTZCtrlReq &m, PTZCtrlCondition *r);
void toWire(const PTZCtrlCondition &r, proto::PTZCtrlReq *m);
void fromWire(const proto::ChannelReq &m, ChannelCondition *r);
void toWire(const ChannelCondition &r, proto::ChannelReq *m);
void fromWire(const proto::PresetOperReq &m, PresetOperCondition *r);
void toWire(const PresetOperCondition &r, proto::PresetOperReq *m);
void fromWire(const proto::PatrolOperReq &m, PatrolOperCondition *r);
void toWire(const PatrolOperCondition &r, proto::PatrolOperReq *m);
void fromWire(const proto::PatrolPresetOperReq &m, PatrolPresetOperCondition *r);
void toWire(const PatrolPresetOperCondition &r, proto::PatrolPresetOperReq *m);
void fromWire(const proto::SetPatrolPresetsReq::PresetInfo &m, PatrolPresetEntry *r);
void toWire(const PatrolPresetEntry &r, proto::SetPatrolPresetsReq::PresetInfo *m);
void fromWire(const proto::SetPatrolPresetsReq &m, SetPatrolPresetsCondition *r);
void toWire(const SetPatrolPresetsCondition &r, proto::SetPatrolPresetsReq *m);
void fromWire(const proto::SetOSDReq &m, SetOSDCondition *r);
void toWire(const SetOSDCondition &r, proto::SetOSDReq *m);
void fromWire(const proto::ModifyDevNameReq &m, ModifyDevNameCondition *r);
void toWire(const ModifyDevNameCondition &r, proto::ModifyDevNameReq *m);
void fromWire(const proto::DevUpgradeReq &m, DevUpgradeCondtition *r);
void toWire(const DevUpgradeCondtition &r, proto::DevUpgradeReq *m);
void fromWire(const proto::ModifyDevAccountReq &m, ModifyDevAccountCondition *r);
void toWire(const ModifyDevAccountCondition &r, proto::ModifyDevAccountReq *m);
void fromWire(const proto::AddFaceReq &m, ModifyFaceCondition *r);
void toWire(const ModifyFaceCondition &r, proto::AddFaceReq *m);
void fromWire(const proto::GetFacesReq &m, GetFacesCondition *r);
void toWire(const GetFacesCondition &r, proto::GetFacesReq *m);
void fromWire(const proto::DelFaceReq &m, DelFaceCondition *r);
void toWire(const DelFaceCondition &r, proto::DelFaceReq *m);
void fromWire(const proto::GetFaceDetectRecordsReq &m, GetFaceDetectRecordsCondition *r);
void toWire(const GetFaceDetectRecordsCondition &r, proto::GetFaceDetectRecordsReq *m);
void fromWire(const proto::TalkOperReq &m, TalkOperCondition *r);
void toWire(const TalkOperCondition &r, proto::TalkOperReq *m);
void fromWire(const proto::TalkOperReq &m, SpeakOperCondition *r);
void toWire(const SpeakOperCondition &r, proto::TalkOperReq *m);
void fromWire(const proto::UploadFileReq &m, UploadFileCondition *r);
void toWire(const UploadFileCondition &r, proto::UploadFileReq *m);
void fromWire(const proto::DownloadFileReq &m, DownloadFileCondition *r);
void toWire(const DownloadFileCondition &r, proto::DownloadFileReq *m);

// ---- Stream conditions ----

void fromWire(const proto::LiveVideoConnReq &m, LiveVideoConnCondition *r);
void toWire(const LiveVideoConnCondition &r, proto::LiveVideoConnReq *m);
void fromWire(const proto::PlaybackByFileReq &m, PlaybackByFileCondition *r);
void toWire(const PlaybackByFileCondition &r, proto::PlaybackByFileReq *m);
void fromWire(const proto::PlaybackByTimeReq &m, PlaybackByTimeCondition *r);
void toWire(const PlaybackByTimeCondition &r, proto::PlaybackByTimeReq *m);

// ---- Results and events ----

void fromWire(const proto::DevInfo &m, DevInfo *r);
void toWire(const DevInfo &r, proto::DevInfo *m);
void fromWire(const proto::AiAbilityInfo &m, AiAbilityInfo *r);
void toWire(const AiAbilityInfo &r, proto::AiAbilityInfo *m);
void fromWire(const AbilityMap &m, QMap<int, AiAbilityInfo> *r);
void toWire(const QMap<int, AiAbilityInfo> &r, AbilityMap *m);
void fromWire(const proto::DevInfoFromDgw &m, DevInfoFromDgw *r);
void toWire(const DevInfoFromDgw &r, proto::DevInfoFromDgw *m);
void fromWire(const proto::DevChannInfo &m, DevChannelInfo *r);
void toWire(const DevChannelInfo &r, proto::DevChannInfo *m);
void fromWire(const proto::DevNetInfo &m, DevNetInfo *r);
void toWire(const DevNetInfo &r, proto::DevNetInfo *m);
void fromWire(const proto::DevPlatformInfo &m, DevPlatformInfo *r);
void toWire(const DevPlatformInfo &r, proto::DevPlatformInfo *m);
void fromWire(const proto::DevPlatformInfo_tav &m, DevPlatform_tavInfo *r);
void toWire(const DevPlatform_tavInfo &r, proto::DevPlatformInfo_tav *m);
void fromWire(const proto::DevTempUserCode &m, DevTempUserCode *r);
void toWire(const DevTempUserCode &r, proto::DevTempUserCode *m);
void fromWire(const proto::VideoRecInfo &m, VideoRecInfo *r);
void toWire(const VideoRecInfo &r, proto::VideoRecInfo *m);
void fromWire(const proto::PresetInfo &m, PresetInfo *r);
void toWire(const PresetInfo &r, proto::PresetInfo *m);
void fromWire(const proto::PatrolPresetInfo &m, PatrolPresetInfo *r);
void toWire(const PatrolPresetInfo &r, proto::PatrolPresetInfo *m);
void fromWire(const proto::PatrolInfo &m, PatrolInfo *r);
void toWire(const PatrolInfo &r, proto::PatrolInfo *m);
void fromWire(const proto::FaceInfo &m, FaceInfo *r);
void toWire(const FaceInfo &r, proto::FaceInfo *m);
void fromWire(const proto::FaceDetectRecordInfo &m, FaceDetectRecordInfo *r);
void toWire(const FaceDetectRecordInfo &r, proto::FaceDetectRecordInfo *m);
void fromWire(const proto::FaceCountInfo &m, FaceCountInfo *r); // params only, not channel_id
void toWire(const FaceCountInfo &r, proto::FaceCountInfo *m);
void fromWire(const proto::AlarmInfo &m, AlarmInfo *r);
void toWire(const AlarmInfo &r, proto::AlarmInfo *m);            // alarm_id as given, even empty
void fromWire(const proto::DevUpgradeRes &m, DevUpgradeInfo *r); // fields 3-7 only
void toWire(const DevUpgradeInfo &r, proto::DevUpgradeRes *m);
void fromWire(const proto::FileTransferProgress &m, FileTransferProgress *r);
void toWire(const FileTransferProgress &r, proto::FileTransferProgress *m);

// ---- Lists, element by element in order (after every element overload) ----
// The *ToWire/set* helpers replace what the repeated field held.

template <class Record, class Wire>
QList<Record> listFromWire(const Repeated<Wire> &in)
{
    QList<Record> out;
    out.reserve(in.size());
    for (const Wire &m : in) {
        Record r;
        fromWire(m, &r);
        out.append(r);
    }
    return out;
}

template <class Record, class Wire>
void listToWire(const QList<Record> &in, Repeated<Wire> *out)
{
    out->Clear();
    out->Reserve(in.size());
    for (const Record &r : in)
        toWire(r, out->Add());
}

} // namespace oru_sdk::wire
