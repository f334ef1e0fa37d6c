#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QVector>

#include <deque>

class QLocalSocket;

namespace oru_sdk {

// Writes frames to local sockets without copying their payloads.
//
// Frames written during one pass of the event loop are collected per socket
// (header and payload by reference: implicitly shared, so one payload fanned
// out to many sockets exists once) and sent when the pass ends, on Unix with
// one gathered send straight to the descriptor. What the kernel does not take
// stays queued here; only the piece being sent when it filled up goes through
// QLocalSocket's own buffer, whose drain (bytesWritten) resumes the queue.
// The bytes on the wire and their order per socket are exactly those of
// writing each frame with QLocalSocket::write; a socket must not be written
// to any other way.
class WriteBatch : public QObject
{
public:
    explicit WriteBatch(QObject *parent);

    // `header` comes from encodeFrameHeader and may be shared by the sockets of one write.
    void append(QLocalSocket *socket, const QByteArray &header, const QByteArray &payload);
    // Hands everything queued for `socket` to the kernel now, as far as it
    // takes it, and the rest to Qt's buffer: for a socket about to be forgotten.
    void sendNow(QLocalSocket *socket);

private:
    // Our own type, so the deque's code stays inside the library.
    struct Part {
        QByteArray bytes;
    };
    struct Queue {
        std::deque<Part> parts;
        qint64 offset = 0; // already sent of parts.front()
        bool due = false;  // listed for the end of this pass
    };

    void flush();
    void drain(QLocalSocket *socket, Queue &queue);

    QHash<QLocalSocket *, Queue> queues;
    QVector<QLocalSocket *> due;
};

} // namespace oru_sdk
