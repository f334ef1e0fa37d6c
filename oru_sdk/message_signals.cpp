#include "message_signals.h"

#include "types_p.h"

namespace oru_sdk {

MessageSignals::MessageSignals()
    : QObject(nullptr)
{
    // Before any signal can carry a record across threads.
    registerMetaTypes();
}

MessageSignals &MessageSignals::instance()
{
    static MessageSignals signalsObject;
    return signalsObject;
}

} // namespace oru_sdk
