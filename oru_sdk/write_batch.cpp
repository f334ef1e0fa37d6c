#include "write_batch.h"

#include <QLocalSocket>

#ifdef Q_OS_UNIX
#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#endif

namespace oru_sdk {

WriteBatch::WriteBatch(QObject *parent)
    : QObject(parent)
{
}

void WriteBatch::append(QLocalSocket *socket, const QByteArray &header, const QByteArray &payload)
{
    auto it = queues.find(socket);
    if (it == queues.end()) {
        it = queues.insert(socket, {});
        // Qt's buffer has drained: go on with what waits here.
        connect(socket, &QLocalSocket::bytesWritten, this, [this, socket] {
            const auto queue = queues.find(socket);
            if (queue != queues.end() && !queue->due && socket->bytesToWrite() == 0)
                drain(socket, *queue);
        });
        connect(socket, &QObject::destroyed, this, [this, socket] { queues.remove(socket); });
    }
    it->parts.push_back({header});
    if (!payload.isEmpty())
        it->parts.push_back({payload});
    if (!it->due) {
        it->due = true;
        if (due.isEmpty())
            QMetaObject::invokeMethod(this, &WriteBatch::flush, Qt::QueuedConnection);
        due.append(socket);
    }
}

void WriteBatch::sendNow(QLocalSocket *socket)
{
    const auto queue = queues.find(socket);
    if (queue == queues.end() || !socket->isValid())
        return;
    if (socket->bytesToWrite() == 0)
        drain(socket, *queue);
    for (const Part &part : queue->parts) {
        socket->write(part.bytes.constData() + queue->offset, part.bytes.size() - queue->offset);
        queue->offset = 0;
    }
    queue->parts.clear();
    socket->flush();
}

void WriteBatch::flush()
{
    const QVector<QLocalSocket *> sockets = std::exchange(due, {});
    for (QLocalSocket *socket : sockets) {
        const auto queue = queues.find(socket);
        if (queue == queues.end())
            continue; // destroyed meanwhile
        queue->due = false;
        if (!socket->isValid()) {
            queue->parts.clear();
            queue->offset = 0;
        } else if (socket->bytesToWrite() == 0) {
            drain(socket, *queue);
        } // else bytesWritten resumes it
    }
}

void WriteBatch::drain(QLocalSocket *socket, Queue &queue)
{
#ifdef Q_OS_UNIX
    const auto fd = int(socket->socketDescriptor());
    while (fd >= 0 && !queue.parts.empty()) {
        constexpr size_t kMaxParts = 256;
        iovec iov[kMaxParts];
        size_t count = 0;
        size_t total = 0;
        for (auto part = queue.parts.cbegin(); part != queue.parts.cend() && count < kMaxParts; ++part, ++count) {
            const qint64 skip = count == 0 ? queue.offset : 0;
            iov[count].iov_base = const_cast<char *>(part->bytes.constData()) + skip;
            iov[count].iov_len = size_t(part->bytes.size() - skip);
            total += iov[count].iov_len;
        }
        msghdr message{};
        message.msg_iov = iov;
        message.msg_iovlen = count;
        const ssize_t sent = ::sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            break; // full, or failing: Qt's write path below reports errors
        for (qint64 left = sent; left > 0;) {
            const qint64 rest = queue.parts.front().bytes.size() - queue.offset;
            if (left < rest) {
                queue.offset += left;
                break;
            }
            left -= rest;
            queue.parts.pop_front();
            queue.offset = 0;
        }
        if (size_t(sent) < total)
            break;
    }
    if (queue.parts.empty())
        return;
    // The kernel is full: Qt takes the rest of the current piece and, through
    // its write notifier and bytesWritten, says when to go on.
    const QByteArray part = queue.parts.front().bytes;
    socket->write(part.constData() + queue.offset, part.size() - queue.offset);
    queue.parts.pop_front();
    queue.offset = 0;
#else
    for (const Part &part : queue.parts)
        socket->write(part.bytes);
    queue.parts.clear();
#endif
}

} // namespace oru_sdk
