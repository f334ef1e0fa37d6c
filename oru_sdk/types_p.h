#pragma once

namespace oru_sdk {

// Registers every public record, enumeration and list with Qt's meta-type
// system. Safe to call any number of times from any thread.
void registerMetaTypes();

} // namespace oru_sdk
