#include "write_batch.h"

#include <QLocalSocket>

#ifdef Q_OS_UNIX
#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#endif

namespace oru_sdk {

QByteArray ownedBytes(const QByteArray &bytes)
{
    QByteArray shared = bytes;
    const QByteArray::DataPtr d = shared.data_ptr();
    // Qt allocated it (alloc) or it is static (literals, the null and empty arrays).
    if (d->ref.isStatic() || d->alloc != 0)
        return shared;
    return QByteArray(bytes.constData(), bytes.size());
}

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
        it->parts.push_back({ownedBytes(payload)});
    if (!it->due) {
        it->due = true;
        if (due.isEmpty())
            QMetaObject::invokeMethod(this, &WriteBatch::flush, Qt::QueuedConnection);
        due.append(socket);
    }
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
        } else {
            drain(socket, *queue); // waits for bytesWritten if Qt still holds bytes
        }
    }
}

void WriteBatch::drain(QLocalSocket *socket, Queue &queue)
{
    // write() may report bytesWritten before it returns (Qt's sockets do not,
    // other devices may): that call finds the drain running and leaves it be.
    if (queue.draining)
        return;
    queue.draining = true;
#ifdef Q_OS_UNIX
    const auto fd = int(socket->socketDescriptor());
    while (!queue.parts.empty() && socket->bytesToWrite() == 0) {
        if (fd >= 0 && sendGathered(fd, queue))
            continue;
        // The kernel is full: Qt takes the rest of the current piece and,
        // through its write notifier and bytesWritten, says when to go on.
        writePart(socket, queue);
    }
#else
    while (!queue.parts.empty())
        writePart(socket, queue);
#endif
    queue.draining = false;
}

void WriteBatch::writePart(QLocalSocket *socket, Queue &queue)
{
    // Off the queue before Qt sees it, whatever Qt emits meanwhile.
    const QByteArray part = std::move(queue.parts.front().bytes);
    const qint64 offset = std::exchange(queue.offset, 0);
    queue.parts.pop_front();
    socket->write(part.constData() + offset, part.size() - offset);
}

#ifdef Q_OS_UNIX
bool WriteBatch::sendGathered(int fd, Queue &queue)
{
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
    ssize_t sent;
    do
        sent = ::sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    while (sent < 0 && errno == EINTR);
    if (sent <= 0)
        return false; // full, or failing: Qt's write path reports errors
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
    return size_t(sent) == total;
}
#endif

} // namespace oru_sdk
