#pragma once

#include <QtGlobal>

class QLocalSocket;

namespace oru_sdk {

// Opt-in limits on what one client may cost the gateway. Every limit is off
// unless its environment variable sets it (or ORU_LIMITS=recommended turns on
// the recommended value of every limit not set on its own); off means the
// unbounded behaviour hosts have always had. Read once, at initialisation.
// The table of variables, units and recommended values is in README ("Limits").
struct Limits {
    enum class Policy { Drop, Close };

    // Bytes queued for one stream socket that the kernel has not taken yet;
    // over it, `streamPolicy` applies. 0 = no limit.
    qint64 streamQueueBytes = 0;
    Policy streamPolicy = Policy::Drop;
    // The same for control sockets.
    qint64 controlQueueBytes = 0;
    Policy controlPolicy = Policy::Close;
    // Largest frame length a client may announce; a larger one closes that socket.
    qint64 maxFrameBytes = 0;
    // Most bytes read ahead from one socket and not yet taken as frames.
    qint64 readBufferBytes = 0;
    // Most unanswered requests per connection and in all.
    int maxPendingPerConnection = 0;
    int maxPendingTotal = 0;
    // Most bytes of their request ids, in all.
    qint64 maxPendingBytes = 0;
    // Release sockets that leave before any hello (control) or before opening
    // a stream (stream), instead of keeping them to the end of the process.
    bool releaseEarlySockets = false;

    // The largest frame length a socket may announce: maxFrameBytes, or with
    // only the read buffer bounded, what that buffer holds. 0 = any.
    qint64 largestFrame() const;
    // Bounds a new socket's read buffer, never below one largest frame.
    void applyTo(QLocalSocket *socket) const;
    // Closes a socket that announced a frame over largestFrame(), with one line.
    void refuseFrame(QLocalSocket *socket, qint64 socketName, qint64 length) const;

    // The limits in force: read from the environment on first use. Values
    // that do not parse are logged once and leave their limit off.
    static const Limits &current();
    // Parses the environment now (for tests and the first use of current()).
    static Limits fromEnvironment(bool logProblems);
};

} // namespace oru_sdk
