#pragma once

// QTest::toString for the SDK's records, generated from tied(), so that a
// failing record comparison prints each member instead of nothing.

#include <oru_sdk/types.h>

#include <QTest>

#include <type_traits>

namespace oru_test {

template <class T>
auto describe(const T &record) -> decltype(oru_sdk::tied(record), QString());
template <class T>
QString describe(const QList<T> &list);
template <class A, class B>
QString describe(const QPair<A, B> &pair);
template <class K, class V>
QString describe(const QMap<K, V> &map);

inline QString describe(const QString &s) { return s.isNull() ? QStringLiteral("null") : u'"' + s + u'"'; }
inline QString describe(const QByteArray &b)
{
    return QString::number(b.size()) + QStringLiteral(" bytes ") + QString::fromLatin1(b.left(16).toHex());
}
inline QString describe(const QDateTime &t) { return t.toString(Qt::ISODateWithMs); }
template <class T>
std::enable_if_t<std::is_arithmetic_v<T> || std::is_enum_v<T>, QString> describe(T v)
{
    if constexpr (std::is_floating_point_v<T>)
        return QString::number(v);
    else
        return QString::number(static_cast<qlonglong>(v));
}

template <class T>
QString describe(const QList<T> &list)
{
    QStringList parts;
    for (const T &item : list)
        parts << describe(item);
    return u'[' + parts.join(QStringLiteral(", ")) + u']';
}
template <class A, class B>
QString describe(const QPair<A, B> &pair)
{
    return u'(' + describe(pair.first) + QStringLiteral(", ") + describe(pair.second) + u')';
}
template <class K, class V>
QString describe(const QMap<K, V> &map)
{
    QStringList parts;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        parts << describe(it.key()) + QStringLiteral(": ") + describe(it.value());
    return u'{' + parts.join(QStringLiteral(", ")) + u'}';
}
template <class T>
auto describe(const T &record) -> decltype(oru_sdk::tied(record), QString())
{
    QStringList parts;
    std::apply([&](const auto &...member) { (parts << ... << describe(member)); }, oru_sdk::tied(record));
    return u'{' + parts.join(QStringLiteral(", ")) + u'}';
}

} // namespace oru_test

// One toString per record, found by QCOMPARE through argument-dependent lookup.
// clang-format off
#define ORU_RECORDS(X) \
    X(InitDgwCondition) X(SearchDevsConfig) X(ActivateCondition) X(GetDevSecretQuestionsCondition) \
    X(ResetDevPwdCondition) X(GetDevPlatformCondition) X(SetDevPlatformCondition) X(SetDevPlatform_tavCondition) \
    X(ImportDevCertCondition) X(SetDevNetCondition) X(RecsSearchCondition) X(GetRtspUrlCondition) \
    X(PTZCtrlCondition) X(ChannelCondition) X(PresetOperCondition) X(PatrolOperCondition) \
    X(PatrolPresetOperCondition) X(PatrolPresetEntry) X(SetPatrolPresetsCondition) X(SetOSDCondition) \
    X(ModifyDevNameCondition) X(DevUpgradeCondtition) X(ModifyDevAccountCondition) X(ModifyFaceCondition) \
    X(GetFacesCondition) X(DelFaceCondition) X(GetFaceDetectRecordsCondition) X(TalkOperCondition) \
    X(SpeakOperCondition) X(UploadFileCondition) X(DownloadFileCondition) X(LiveVideoConnCondition) \
    X(PlaybackByFileCondition) X(PlaybackByTimeCondition) X(Response) X(DevInfo) X(AiAbilityInfo) \
    X(DevInfoFromDgw) X(DevChannelInfo) X(DevNetInfo) X(DevPlatformInfo) X(DevPlatform_tavInfo) X(PresetInfo) \
    X(PatrolPresetInfo) X(PatrolInfo) X(VideoRecInfo) X(FaceInfo) X(FaceDetectRecordInfo) X(FaceCountInfo) \
    X(AlarmInfo) X(DevTempUserCode) X(DevUpgradeInfo) X(FileTransferProgress)
// clang-format on
namespace oru_sdk {
#define ORU_RECORD_TO_STRING(R)                                                                                        \
    inline char *toString(const R &r) { return QTest::toString(oru_test::describe(r)); }
ORU_RECORDS(ORU_RECORD_TO_STRING)
#undef ORU_RECORD_TO_STRING
} // namespace oru_sdk

namespace oru_test {
// Lets QVariant == (and so QSignalSpy arguments) compare records member by member.
inline void compareRecordsInVariants()
{
#define ORU_RECORD_COMPARATOR(R) QMetaType::registerEqualsComparator<oru_sdk::R>();
    ORU_RECORDS(ORU_RECORD_COMPARATOR)
#undef ORU_RECORD_COMPARATOR
}
} // namespace oru_test
