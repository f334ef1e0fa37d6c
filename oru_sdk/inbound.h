#pragma once

#include "scratch_message.h"
#include "sdk_log.h"
#include "wire_message.h"

#include <oru_sdk/dgw_signals.h>

#include <QByteArray>
#include <QString>

namespace oru_sdk {

inline DgwSignals &dgw() { return DgwSignals::instance(); }

// The line an unparsable request leaves: "parse [<what>] failure".
inline QString parseFailure(const QString &what) { return QStringLiteral("parse [%1] failure").arg(what); }

// Both channels' handlers start here: parse the whole payload, or log one
// error line (built only then) and do nothing else.
template <typename Wire, typename Failure, typename Handle>
void parseThen(const QByteArray &payload, const Failure &failure, Handle &&handle)
{
    const auto size = std::size_t(payload.size());
    withScratchMessage<Wire>([&](Wire &message) {
        if (!parseMessage(payload, &message)) {
            logError(failure());
            return size;
        }
        handle(message);
        return size;
    });
}

} // namespace oru_sdk
