#pragma once

#include "resource_limits.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QVector>

#include <deque>

class QAbstractEventDispatcher;
class QTimer;
class QLocalSocket;

namespace oru_sdk {

// `bytes` itself when its data belongs to a QByteArray (shared, never changed
// under us), else a copy: a QByteArray::fromRawData array points into a buffer
// the host may reuse as soon as the call that handed it over returns.
QByteArray ownedBytes(const QByteArray &bytes);

// Writes frames to local sockets without copying their payloads.
//
// Frames written during one pass of the event loop are collected per socket
// (header and payload by reference: implicitly shared, so one payload fanned
// out to many sockets exists once) and sent when the pass ends (when the
// thread's event dispatcher starts the next one, so no event of our own
// wakes the loop again), on Unix with
// one gathered send straight to the descriptor. What the kernel does not take
// stays queued here; only the rest of the frame being sent when it filled up
// goes through QLocalSocket's own buffer, whose drain (bytesWritten) resumes
// the queue. Whatever reaches Qt is the rest of a frame in one write, on every
// platform: the reader at the other end relies on frames arriving whole.
// The bytes on the wire and their order per socket are exactly those of
// writing each frame with QLocalSocket::write; a socket must not be written
// to any other way.
class WriteBatch : public QObject
{
public:
    // The queue limit and its policy are the channel's (resource_limits.h):
    // a socket holding more than the limit of unsent bytes has whole frames
    // dropped (counted and logged once per episode) or is closed, which then
    // takes the server's normal disconnect path.
    enum class Channel { Control, Stream };
    WriteBatch(QObject *parent, Channel channel);

    // `header` comes from encodeFrameHeader and may be shared by the sockets of
    // one write; `payload` is kept only if owned (see ownedBytes).
    void append(QLocalSocket *socket, const QByteArray &header, const QByteArray &payload);
    // Hands everything queued for `socket` to the kernel now, as far as it
    // takes it, and the rest to Qt's buffer: for a socket about to be forgotten.
    void sendNow(QLocalSocket *socket);

private:
    // Our own type, so the deque's code stays inside the library.
    struct Frame {
        QByteArray header;
        QByteArray payload;
        qint64 size() const { return header.size() + payload.size(); }
    };
    struct Queue {
        std::deque<Frame> frames;
        qint64 offset = 0; // already sent of frames.front()
        qint64 queued = 0; // bytes not sent yet, the part Qt holds not included
        qint64 dropped = 0;
        qint64 droppedBytes = 0;
        bool due = false; // listed for the end of this pass
        bool draining = false;
        bool closing = false;
    };

    // Applies the limit; false if the frame is not to be queued.
    bool admit(QLocalSocket *socket, Queue &queue, qint64 size);
    void flush();
    void drain(QLocalSocket *socket, Queue &queue);
    // The rest of the front frame, in one write.
    void writeFrame(QLocalSocket *socket, Queue &queue);
    // Sends what the kernel takes; true if that was all (128 frames at most).
    static bool sendGathered(int fd, Queue &queue);
    // Forgets the queues with nothing left to do (an empty deque and the two
    // connections still cost about 1 KiB per socket), at most once per
    // kSweepMs: a busy socket builds its queue again once a second at most.
    void sweep();

    const Channel channel;
    const qint64 limit;
    const Limits::Policy policy;
    const QPointer<QAbstractEventDispatcher> dispatcher;
    QHash<QLocalSocket *, Queue> queues;
    QVector<QLocalSocket *> due;
    QVector<QLocalSocket *> spare;
    QTimer *const sweeper;
};

} // namespace oru_sdk
