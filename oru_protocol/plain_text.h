#pragma once

#include <QByteArray>
#include <QString>

namespace oru_sdk {

// Text on the wire is UTF-8 and ends at its first zero byte, whatever length
// the frame or field gives.
inline QString textUpToZero(const char *utf8) { return QString::fromUtf8(utf8); }

// A frame whose whole payload is one text (a device id, a token).
inline QString textPayload(const QByteArray &payload) { return textUpToZero(payload.constData()); }

} // namespace oru_sdk
