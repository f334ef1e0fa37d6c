#pragma once

// Records as JSON (--json output) and as one-line text (the default output).
// Every record lists its member names once, in the order of its tied().

#include "client.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

#include <tuple>
#include <type_traits>

namespace oru_cli {

using namespace oru_sdk;
using oru_client::NoValue;

#define ORU_JSON_RECORDS(X)                                                                                            \
    X(Response, requestId, errorCode, errorText)                                                                       \
    X(DevInfo, id, name, sn, channels, ip, port, user, password, version, seriesName, param11, param12, param13,       \
      param14, activated, status, param17, param18)                                                                    \
    X(AiAbilityInfo, package, param2, name, param4, param5)                                                            \
    X(DevInfoFromDgw, id, sn, ip, port, channels, status, version, seriesName, param9, param10, devCode, param12,      \
      abilities)                                                                                                       \
    X(DevChannelInfo, devId, channel, osd, online, param4, sn, ip, port, user, password, param10, param11, abilities)  \
    X(DevNetInfo, ip, subNetMask, defaultGateway, dns, param5, param6, param7, param8)                                 \
    X(DevPlatformInfo, enabled, platformAddr, param3, port, param5)                                                    \
    X(DevPlatform_tavInfo, param1, param2, onlineServer, param4, businessServer)                                       \
    X(PresetInfo, number, name)                                                                                        \
    X(PatrolPresetInfo, preset, stayTime, speed)                                                                       \
    X(PatrolInfo, number, stops, running, param4)                                                                      \
    X(VideoRecInfo, begin, end, fileName, type, sizeMiB)                                                               \
    X(FaceInfo, id, serialNum, name, faceType, faceUrl, param6, param7, faceImage, validTime, invalidTime,             \
      organizations)                                                                                                   \
    X(FaceDetectRecordInfo, serialNum, name, company, department, position, detectTime, channel, param8, temperature,  \
      param10, param11, data12, data13)                                                                                \
    X(FaceCountInfo, faces, param3, temperatureChecks)                                                                 \
    X(AlarmInfo, alarmId, channel, secondChannel, triggerName, alarmTime, data6, alarmType, level, alarmName, data10)  \
    X(DevTempUserCode, sn, code)                                                                                       \
    X(DevUpgradeInfo, hasUpdate, newVersionName, param5, phase, percent)                                               \
    X(FileTransferProgress, requestId, percent, sizeKiB)                                                               \
    X(oru_client::DevNetSetResult, devId, devIp)                                                                       \
    X(oru_client::Recordings, recordings, playbackByTimeEnable)                                                        \
    X(oru_client::PtzResult, operation, action)                                                                        \
    X(oru_client::Faces, faces, totalCount)                                                                            \
    X(oru_client::FaceRecords, records, totalCount)

// Names shown for the untitled members follow the simulator's meaning of them.

inline QJsonValue toJson(const QString &v) { return v; }
inline QJsonValue toJson(int v) { return v; }
inline QJsonValue toJson(unsigned int v) { return double(v); }
inline QJsonValue toJson(bool v) { return v; }
inline QJsonValue toJson(double v) { return v; }
inline QJsonValue toJson(const NoValue &) { return QJsonValue(); }
inline QJsonValue toJson(const QDateTime &v)
{
    return v.isValid() ? QJsonValue(v.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"))) : QJsonValue();
}
inline QJsonValue toJson(const QByteArray &v) { return QString::fromLatin1(v.toBase64()); }
inline QJsonValue toJson(const QStringList &v) { return QJsonArray::fromStringList(v); }
inline QJsonValue toJson(const ChannelId &v) { return QJsonObject{{"devId", v.first}, {"channel", v.second}}; }
template <class E, std::enable_if_t<std::is_enum_v<E>, int> = 0>
QJsonValue toJson(E v)
{
    return int(v);
}

// Text: nested records in braces, lists in brackets; empty members left out.
inline QString toText(const QString &v)
{
    return v.isEmpty() || v.contains(QLatin1Char(' ')) ? QLatin1Char('"') + v + QLatin1Char('"') : v;
}
inline QString toText(int v) { return QString::number(v); }
inline QString toText(unsigned int v) { return QString::number(v); }
inline QString toText(bool v) { return v ? QStringLiteral("yes") : QStringLiteral("no"); }
inline QString toText(double v) { return QString::number(v); }
inline QString toText(const QDateTime &v)
{
    return v.isValid() ? v.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")) : QStringLiteral("-");
}
inline QString toText(const QByteArray &v) { return QStringLiteral("<%1 bytes>").arg(v.size()); }
inline QString toText(const QStringList &v)
{
    return QLatin1Char('[') + v.join(QStringLiteral(", ")) + QLatin1Char(']');
}
inline QString toText(const ChannelId &v) { return QStringLiteral("%1/%2").arg(v.first).arg(v.second); }
inline QString toText(const QPair<QString, QString> &v) { return v.first + QLatin1Char('=') + v.second; }
// Names of the enumerations' values, in value order (numbers stay in JSON).
inline QStringList valueNames(oru_sdk::DevStatus) { return {"offline", "online", "login-failed", "not-activated"}; }
inline QStringList valueNames(oru_sdk::PTZOperation)
{
    return {"up",         "down",    "left",     "right",      "up-left",   "up-right",  "down-left",
            "down-right", "zoom-in", "zoom-out", "focus-near", "focus-far", "iris-open", "iris-close"};
}
inline QStringList valueNames(oru_sdk::PTZAction) { return {"start", "stop"}; }
inline QStringList valueNames(oru_sdk::TalkEvent) { return {"start", "end", "error", "device-busy"}; }
inline QStringList valueNames(oru_sdk::StreamEvent) { return {"start", "end", "error"}; }
inline QStringList valueNames(oru_sdk::PlaybackCtrl) { return {"pause", "resume", "stop"}; }
template <class E, std::enable_if_t<std::is_enum_v<E>, int> = 0>
QString toText(E v)
{
    const QStringList names = valueNames(v);
    return int(v) >= 0 && int(v) < names.size() ? names.at(int(v)) : QString::number(int(v));
}

#define ORU_JSON_DECLARE(Type, ...)                                                                                    \
    inline QJsonValue toJson(const Type &r);                                                                           \
    inline QString toText(const Type &r);
ORU_JSON_RECORDS(ORU_JSON_DECLARE)
#undef ORU_JSON_DECLARE

template <class V>
QJsonValue toJson(const QList<V> &list)
{
    QJsonArray a;
    for (const V &v : list)
        a.append(toJson(v));
    return a;
}

template <class V>
QJsonValue toJson(const QMap<int, V> &map)
{
    QJsonObject o;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        o.insert(QString::number(it.key()), toJson(it.value()));
    return o;
}

inline QJsonValue toJson(const QPair<QString, QString> &v) { return QJsonArray{v.first, v.second}; }

template <class V>
QString toText(const QList<V> &list)
{
    QStringList parts;
    for (const V &v : list)
        parts.append(toText(v));
    return QLatin1Char('[') + parts.join(QStringLiteral(", ")) + QLatin1Char(']');
}

template <class V>
QString toText(const QMap<int, V> &map)
{
    QStringList parts;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        parts.append(QStringLiteral("%1:%2").arg(it.key()).arg(toText(it.value())));
    return QLatin1Char('{') + parts.join(QStringLiteral(", ")) + QLatin1Char('}');
}

template <class V, class = void>
struct HasIsEmpty : std::false_type {
};
template <class V>
struct HasIsEmpty<V, std::void_t<decltype(std::declval<const V &>().isEmpty())>> : std::true_type {
};

template <class V>
bool isBlank(const V &v)
{
    if constexpr (HasIsEmpty<V>::value)
        return v.isEmpty();
    else if constexpr (std::is_same_v<V, QDateTime>)
        return !v.isValid();
    else if constexpr (std::is_same_v<V, ChannelId>)
        return v.first.isEmpty();
    else
        return false;
}

// "a=1 b=x" from the names and a tied() tuple; blank members and untitled
// members at zero are left out.
template <class Tuple>
QString namedText(const char *names, const Tuple &values)
{
    const QStringList keys = QString::fromLatin1(names).split(QLatin1Char(','));
    QStringList parts;
    int i = 0;
    auto one = [&](const auto &v) {
        const QString key = keys.at(i++).trimmed();
        const QString text = toText(v);
        const bool untitled = key.startsWith(QLatin1String("param")) || key.startsWith(QLatin1String("data"));
        if (!isBlank(v)
            && !(untitled
                 && (text == QLatin1String("0") || text == QLatin1String("no") || text == QLatin1String("<0 bytes>"))))
            parts.append(key + QLatin1Char('=') + text);
    };
    std::apply([&](const auto &...v) { (one(v), ...); }, values);
    return parts.join(QLatin1Char(' '));
}

// Zips "a, b, c" with the members of a tied() tuple.
template <class Tuple>
QJsonObject namedFields(const char *names, const Tuple &values)
{
    const QStringList keys = QString::fromLatin1(names).split(QLatin1Char(','));
    Q_ASSERT(keys.size() == int(std::tuple_size_v<Tuple>));
    QJsonObject o;
    int i = 0;
    std::apply([&](const auto &...v) { ((o.insert(keys.at(i++).trimmed(), toJson(v))), ...); }, values);
    return o;
}

#define ORU_JSON_DEFINE(Type, ...)                                                                                     \
    inline QJsonValue toJson(const Type &r) { return namedFields(#__VA_ARGS__, tied(r)); }                             \
    inline QString toText(const Type &r)                                                                               \
    {                                                                                                                  \
        return QLatin1Char('{') + namedText(#__VA_ARGS__, tied(r)) + QLatin1Char('}');                                 \
    }
ORU_JSON_RECORDS(ORU_JSON_DEFINE)
#undef ORU_JSON_DEFINE

// The lines the plain output prints for an answer: a list one element a line,
// a record on one line (without braces), a record holding a list its other
// members first and then the list.
template <class T>
QStringList textLines(const T &v)
{
    QString line = toText(v);
    if (line.startsWith(QLatin1Char('{')) && line.endsWith(QLatin1Char('}')))
        line = line.mid(1, line.size() - 2);
    return {line.isEmpty() ? QStringLiteral("(all empty)") : line};
}
inline QStringList textLines(const NoValue &) { return {QStringLiteral("ok")}; }
// The int answers echo the operation done.
inline QStringList textLines(int oper) { return {QStringLiteral("ok (operation %1)").arg(oper)}; }
template <class V>
QStringList textLines(const QList<V> &list)
{
    QStringList lines;
    for (const V &v : list)
        lines += textLines(v);
    return lines.isEmpty() ? QStringList{QStringLiteral("(none)")} : lines;
}
template <class V>
QStringList withList(const QString &head, const QList<V> &list)
{
    return QStringList{head} + textLines(list);
}
inline QStringList textLines(const oru_client::Recordings &r)
{
    return withList(QStringLiteral("%1 recordings, playback by time %2")
                        .arg(r.list.size())
                        .arg(r.playbackByTimeEnable ? "possible" : "not possible"),
                    r.list);
}
inline QStringList textLines(const oru_client::Faces &r)
{
    return withList(QStringLiteral("%1 of %2 faces").arg(r.list.size()).arg(r.totalCount), r.list);
}
inline QStringList textLines(const oru_client::FaceRecords &r)
{
    return withList(QStringLiteral("%1 of %2 records").arg(r.list.size()).arg(r.totalCount), r.list);
}

} // namespace oru_cli
