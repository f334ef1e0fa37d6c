#pragma once

#include "frame_codec.h"

#include <QSocketNotifier>

#include <functional>

class QLocalSocket;

namespace oru_sdk {

// Reads a connected local socket straight from its descriptor: recv into a
// buffer of our own (shared by the thread's readers, only a frame's unread
// rest kept per socket) on each readiness notification, instead of Qt's two
// buffered layers (QAbstractSocket's and QLocalSocket's) and their readyRead.
// The QLocalSocket stays the socket's owner (this is its child) and still
// writes, closes and reports disconnection; its own read notifier is
// switched off, and an end of stream or a read error is handed to it as an
// abort(), which emits disconnected() as Qt's own reader would.
//
// Passes follow Qt's readyRead: `pass` runs once per notification that
// brought bytes, never inside itself: bytes that arrive while a pass is on
// the stack (a host slot spinning an event loop) are there for that pass to
// take. Bytes are read ahead up to the socket's readBufferSize(), as Qt does.
class SocketReader : public QSocketNotifier
{
public:
    // A reader for `socket`, or null where Qt's reader cannot be switched off
    // (no descriptor, data already read by Qt, another platform): the caller
    // then reads on readyRead. `Own` gives the socket a buffer of its own
    // for good, for a pass that keeps state in it (a count of the bytes
    // written, payloads placed in the buffer's space).
    enum class Buffer { Shared, Own };
    static SocketReader *attach(QLocalSocket *socket, std::function<void(FrameBuffer *)> pass,
                                Buffer buffer = Buffer::Shared);

    ~SocketReader() override;

protected:
    bool event(QEvent *event) override;

private:
    SocketReader(QLocalSocket *socket, QSocketNotifier *qtReader, std::function<void(FrameBuffer *)> pass, bool share);
    void readable();

    QLocalSocket *const owner;
    const std::function<void(FrameBuffer *)> pass;
    FrameBuffer buffer;
    const bool share;
    QMetaObject::Connection stateWatch;
    bool passing = false;
    bool stopped = false;
};

} // namespace oru_sdk
