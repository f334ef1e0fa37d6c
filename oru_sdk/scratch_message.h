#pragma once

#include <cstddef>

namespace oru_sdk {

// Runs `use` on an empty message of type M kept for the calling thread, so
// that parsing or building one message per request reuses the strings and
// repeated entries of the last one instead of allocating them again (a
// protobuf arena measured slower: its reset costs more than it saves).
// `use` returns the bytes the message stood for; a message of more than a
// few KiB is dropped after use, so that one large request does not stay in
// memory. While the kept message is in use (a host slot may run a nested
// event loop that handles another frame of the same type), a fresh one is.
template <typename M, typename Use>
void withScratchMessage(Use &&use)
{
    constexpr std::size_t kKeepAtMost = 4096;
    thread_local M kept;
    thread_local bool busy = false;
    if (busy) {
        M fresh;
        use(fresh);
        return;
    }
    busy = true;
    if (use(kept) > kKeepAtMost)
        kept = M();
    else
        kept.Clear();
    busy = false;
}

} // namespace oru_sdk
