#pragma once

#include <oru_sdk_kit/oru_log.h>

#include <QString>

namespace oru_sdk {

// Every line of the library carries this tag.
inline const QString &logTag()
{
    static const QString tag = QStringLiteral("[oru_dgw_sdk:]    ");
    return tag;
}

// A value from a request, as inserted into a log line: cut to a sane length,
// so that a few huge requests cannot rotate the log history away.
inline QString logValue(const QString &value)
{
    constexpr int kMax = 256;
    if (value.size() <= kMax)
        return value;
    return value.left(kMax) + QStringLiteral("...(%1 characters)").arg(value.size());
}

inline void logInfo(const QString &text) { log_info(text, logTag()); }
inline void logError(const QString &text) { log_error(text, logTag()); }
inline void logTrace(const QString &text) { log_trace(text, logTag()); }

} // namespace oru_sdk
