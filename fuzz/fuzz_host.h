#pragma once

#include "fuzz_input.h"

#include <QByteArray>
#include <QList>
#include <QLocalSocket>

namespace oru_fuzz {

// The gateway side of a fuzz run: the SDK started once in this process (a
// static build of its sources, so the internal dispatchers can be called
// directly), a host whose slots answer every request through the exported
// functions, real client connections on both channels so that outbound
// frames travel through real sockets, and a main client that never leaves.
struct Gateway {
    // Control connections as the server names them (socket descriptors).
    QList<qintptr> controlNames;
    // The server's end of each stream connection.
    QList<QLocalSocket *> streamPeers;
};

Gateway &gateway();

// Runs the event loop briefly and throws away what the clients received.
void pump();

// Replaces stream connection `index` by a fresh one; the old one leaves.
void reconnectStream(int index);

enum class Channel { Control, Stream };
// Writes bytes as they are on a spare connection of the channel, read by the
// server's own frame reader. On the control channel the bytes 3 and 4 become
// 5: a hello and then an exit would close the servers for the rest of the run.
void sendRaw(Channel channel, QByteArray bytes);
// Once every so many inputs: fresh spare connections, fresh stream sockets,
// so that what a stuck or joined socket keeps does not pile up.
void tick();

// Calls one exported push or answer function, chosen and filled from `in`.
void hostCall(Input &in);

} // namespace oru_fuzz
