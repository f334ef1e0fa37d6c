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
    // Never destroyed: host threads may still call the exports while the
    // process exits. By then the slots' objects are gone and have taken
    // their connections with them, so such a call emits to nobody.
    static MessageSignals *const signalsObject = new MessageSignals;
    return *signalsObject;
}

} // namespace oru_sdk
