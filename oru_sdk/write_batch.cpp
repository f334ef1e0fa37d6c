#include "write_batch.h"

#include "sdk_log.h"

#include <QAbstractEventDispatcher>
#include <QLocalSocket>
#include <QTimer>

// One gathered send straight to the descriptor where there is one; the
// portable path (QLocalSocket::write only) can be forced to test it here.
#if defined(Q_OS_UNIX) && !defined(ORU_PORTABLE_WRITES)
#define ORU_GATHERED_WRITES
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

WriteBatch::WriteBatch(QObject *parent, Channel channel)
    : QObject(parent)
    , channel(channel)
    , limit(channel == Channel::Stream ? Limits::current().streamQueueBytes : Limits::current().controlQueueBytes)
    , policy(channel == Channel::Stream ? Limits::current().streamPolicy : Limits::current().controlPolicy)
    , dispatcher(QAbstractEventDispatcher::instance(thread()))
    , sweeper(new QTimer(this))
{
    constexpr int kSweepMs = 1000;
    sweeper->setSingleShot(true);
    sweeper->setInterval(kSweepMs);
    connect(sweeper, &QTimer::timeout, this, &WriteBatch::sweep);
    // The end of a pass is the start of the next one: the dispatcher says so
    // before it polls, whether or not it will wait, in nested loops too.
    if (dispatcher) {
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, &WriteBatch::flush);
        connect(dispatcher, &QAbstractEventDispatcher::awake, this, &WriteBatch::flush);
    }
}

void WriteBatch::append(QLocalSocket *socket, const QByteArray &header, const QByteArray &payload)
{
    auto it = queues.find(socket);
    if (it != queues.end() && it->closing)
        return;
    if (it == queues.end()) {
        it = queues.insert(socket, {});
        // Qt's buffer has drained: go on with what waits here.
        connect(socket, &QLocalSocket::bytesWritten, this, [this, socket] {
            const auto queue = queues.find(socket);
            if (queue != queues.end() && !queue->due && socket->bytesToWrite() == 0)
                drain(socket, *queue);
        });
        connect(socket, &QObject::destroyed, this, [this, socket] { queues.remove(socket); });
        if (dispatcher && !sweeper->isActive())
            sweeper->start();
    }
    const qint64 size = header.size() + payload.size();
    if (limit > 0 && !admit(socket, *it, size))
        return;
    it->frames.push_back({header, ownedBytes(payload)});
    it->queued += size;
    if (!it->due) {
        it->due = true;
        // Without a dispatcher to tell us when the pass ends, a posted call.
        if (due.isEmpty() && !dispatcher)
            QMetaObject::invokeMethod(this, &WriteBatch::flush, Qt::QueuedConnection);
        due.append(socket);
    }
}

bool WriteBatch::admit(QLocalSocket *socket, Queue &queue, qint64 size)
{
    // A frame larger than the limit still goes to a socket that holds nothing.
    const qint64 held = queue.queued + socket->bytesToWrite();
    const auto what = [this] { return QLatin1String(channel == Channel::Stream ? "stream" : "control"); };
    if (held == 0 || held + size <= limit) {
        if (queue.dropped > 0) {
            logInfo(QStringLiteral("%1 socket %2 below its queue limit again, %3 frames (%4 bytes) dropped")
                        .arg(what())
                        .arg(socket->socketDescriptor())
                        .arg(queue.dropped)
                        .arg(queue.droppedBytes));
            queue.dropped = queue.droppedBytes = 0;
        }
        return true;
    }
    if (policy == Limits::Policy::Drop) {
        if (queue.dropped++ == 0)
            logError(QStringLiteral("%1 socket %2 over its queue limit of %3 bytes, dropping frames")
                         .arg(what())
                         .arg(socket->socketDescriptor())
                         .arg(limit));
        queue.droppedBytes += size;
        return false;
    }
    logError(QStringLiteral("%1 socket %2 over its queue limit of %3 bytes, closing it")
                 .arg(what())
                 .arg(socket->socketDescriptor())
                 .arg(limit));
    queue.closing = true;
    queue.frames.clear();
    queue.offset = queue.queued = 0;
    // Later: the caller may be walking the sockets this closing takes away.
    QMetaObject::invokeMethod(socket, &QLocalSocket::abort, Qt::QueuedConnection);
    return false;
}

void WriteBatch::sendNow(QLocalSocket *socket)
{
    const auto queue = queues.find(socket);
    if (queue == queues.end() || !socket->isValid())
        return;
    drain(socket, *queue);
    // What the kernel did not take goes to Qt's buffer now, each frame whole.
    while (!queue->frames.empty())
        writeFrame(socket, *queue);
    socket->flush();
}

void WriteBatch::flush()
{
    if (due.isEmpty())
        return;
    // The list is swapped with a spare one that keeps its capacity.
    QVector<QLocalSocket *> sockets = std::exchange(due, std::move(spare));
    for (QLocalSocket *socket : qAsConst(sockets)) {
        const auto queue = queues.find(socket);
        if (queue == queues.end())
            continue; // destroyed meanwhile
        queue->due = false;
        if (!socket->isValid()) {
            queue->frames.clear();
            queue->offset = queue->queued = 0;
        } else {
            drain(socket, *queue); // waits for bytesWritten if Qt still holds bytes
        }
    }
    sockets.clear();
    spare = std::move(sockets);
}

void WriteBatch::sweep()
{
    for (auto it = queues.begin(); it != queues.end();) {
        const Queue &queue = *it;
        // A queue that counts drops or closes its socket still has to say so.
        if (queue.frames.empty() && !queue.due && !queue.draining && !queue.closing && queue.dropped == 0) {
            disconnect(it.key(), nullptr, this, nullptr);
            it = queues.erase(it);
        } else {
            ++it;
        }
    }
    if (!queues.isEmpty())
        sweeper->start();
}

void WriteBatch::drain(QLocalSocket *socket, Queue &queue)
{
    // write() may report bytesWritten before it returns (Qt's sockets do not,
    // other devices may): that call finds the drain running and leaves it be.
    if (queue.draining)
        return;
    queue.draining = true;
#ifdef ORU_GATHERED_WRITES
    const auto fd = int(socket->socketDescriptor());
    while (!queue.frames.empty() && socket->bytesToWrite() == 0) {
        if (fd >= 0 && sendGathered(fd, queue))
            continue;
        // The kernel is full: Qt takes the rest of the current frame and,
        // through its write notifier and bytesWritten, says when to go on.
        writeFrame(socket, queue);
    }
#else
    while (!queue.frames.empty())
        writeFrame(socket, queue);
#endif
    queue.draining = false;
}

void WriteBatch::writeFrame(QLocalSocket *socket, Queue &queue)
{
    // Off the queue before Qt sees it, whatever Qt emits meanwhile.
    const Frame frame = std::move(queue.frames.front());
    const qint64 offset = std::exchange(queue.offset, 0);
    queue.frames.pop_front();
    queue.queued -= frame.size() - offset;
    const qint64 inPayload = offset - frame.header.size();
    if (inPayload >= 0) {
        socket->write(frame.payload.constData() + inPayload, frame.payload.size() - inPayload);
    } else if (frame.payload.isEmpty()) {
        socket->write(frame.header.constData() + offset, frame.header.size() - offset);
    } else {
        QByteArray rest;
        rest.reserve(int(frame.size() - offset));
        rest.append(frame.header.constData() + offset, int(-inPayload)).append(frame.payload);
        socket->write(rest);
    }
}

#ifdef ORU_GATHERED_WRITES
bool WriteBatch::sendGathered(int fd, Queue &queue)
{
    constexpr size_t kMaxFrames = 128;
    iovec iov[2 * kMaxFrames];
    size_t count = 0;
    size_t total = 0;
    qint64 skip = queue.offset;
    const auto add = [&](const QByteArray &bytes) {
        const qint64 from = qMin(skip, qint64(bytes.size()));
        skip -= from;
        if (from == bytes.size())
            return;
        iov[count].iov_base = const_cast<char *>(bytes.constData()) + from;
        iov[count].iov_len = size_t(bytes.size() - from);
        total += iov[count++].iov_len;
    };
    size_t frames = 0;
    for (auto frame = queue.frames.cbegin(); frame != queue.frames.cend() && frames < kMaxFrames; ++frame, ++frames) {
        add(frame->header);
        add(frame->payload);
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
    queue.queued -= sent;
    for (qint64 left = sent; left > 0;) {
        const qint64 rest = queue.frames.front().size() - queue.offset;
        if (left < rest) {
            queue.offset += left;
            break;
        }
        left -= rest;
        queue.frames.pop_front();
        queue.offset = 0;
    }
    return size_t(sent) == total;
}
#endif

} // namespace oru_sdk
