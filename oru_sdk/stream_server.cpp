#include "stream_server.h"

#include "frame_codec.h"
#include "resource_limits.h"
#include "sdk_log.h"
#include "socket_reader.h"
#include "write_batch.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QVariant>

namespace oru_sdk {

namespace {
const char kStreamIdProperty[] = "stream_id";
}

StreamServer::StreamServer(const QString &serverName, QObject *parent)
    : ChannelServer(WriteBatch::Channel::Stream, parent)
    , localServer(new QLocalServer(this))
{
    listen(localServer, serverName);
}

StreamId StreamServer::streamOf(QLocalSocket *socket) const
{
    const auto peer = peers.constFind(socket);
    return peer != peers.cend() && peer->joined ? peer->last : 0;
}

void StreamServer::addStreamSocket(StreamId streamId, QLocalSocket *socket)
{
    streamSockets[streamId].insert(socket);
    // The stream opened last goes last: control requests act on it.
    Peer &peer = peers[socket];
    if (peer.joined && peer.last != streamId) {
        peer.earlier.removeOne(streamId);
        peer.earlier.append(peer.last);
    }
    peer.last = streamId;
    peer.joined = true;
    // Kept for hosts that read it; the library asks its own table.
    socket->setProperty(kStreamIdProperty, QVariant::fromValue<uint>(streamId));
}

void StreamServer::writeToStream(StreamId streamId, MessageType type, const QByteArray &data)
{
    const auto it = streamSockets.constFind(streamId);
    if (it == streamSockets.cend())
        return;
    // The header is built once and shared; the data itself is never copied
    // on its way to the sockets (see WriteBatch).
    const QByteArray header = encodeFrameHeader(type, data);
    const QSet<QLocalSocket *> sockets = *it;
    for (QLocalSocket *socket : sockets) {
        if (socket->isValid())
            writes->append(socket, header, data);
    }
}

void StreamServer::adopt(QLocalSocket *socket)
{
    peers.insert(socket, Peer());
    // Read from the descriptor where we can: Qt's two buffered layers would
    // each keep a 16 KiB block per socket once a request has come through.
    if (!SocketReader::attach(socket, [this, socket](FrameBuffer *buffer) { readFrom(socket, buffer); }))
        connect(socket, &QLocalSocket::readyRead, this, &StreamServer::slotSocketReadyRead);
    connect(socket, &QLocalSocket::disconnected, this, &StreamServer::slotSocketDisConnected);
    logInfo(QStringLiteral("new connection to stream server: %1").arg(socket->socketDescriptor()));
}

void StreamServer::slotSocketReadyRead()
{
    if (auto *socket = qobject_cast<QLocalSocket *>(sender()))
        readFrom(socket, nullptr);
}

void StreamServer::readFrom(QLocalSocket *socket, FrameBuffer *buffer)
{
    if (!peers.contains(socket))
        return;
    // The socket outlives this handler (SocketRelease).
    const SocketRelease::Reading reading(&release, socket);
    qint64 pending = peers.value(socket).pending;
    const Limits &limits = Limits::current();
    const auto deliver = [&](MessageType type, const QByteArray &payload) {
        emit signalMessageComing(socket, type, payload);
        return peers.contains(socket);
    };
    const bool fits = buffer ? readFrames(buffer, pending, deliver, limits.largestFrame())
                             : readFrames(socket, pending, deliver, limits.largestFrame());
    const auto peer = peers.find(socket);
    if (peer == peers.end())
        return;
    peer->pending = pending;
    if (!fits)
        limits.refuseFrame(socket, socket->socketDescriptor(), pending);
}

void StreamServer::slotSocketDisConnected()
{
    auto *socket = qobject_cast<QLocalSocket *>(sender());
    if (!socket)
        return;
    // A socket that never joined a stream is left alone, unless the limits
    // say to release it.
    const auto peer = peers.find(socket);
    if (peer == peers.end())
        return;
    if (!peer->joined) {
        if (Limits::current().releaseEarlySockets) {
            peers.erase(peer);
            release.release(socket);
        }
        return;
    }
    QVector<StreamId> joined = peer->earlier;
    joined.append(peer->last);
    peers.erase(peer);
    release.release(socket);
    // The stream opened last first, as the host expects.
    for (auto it = joined.crbegin(); it != joined.crend(); ++it) {
        const StreamId id = *it;
        const auto stream = streamSockets.find(id);
        if (stream == streamSockets.end())
            continue;
        stream->remove(socket);
        if (stream->isEmpty()) {
            streamSockets.erase(stream);
            emit signalStreamSocketsDisconnectedAll(id);
        }
    }
}

} // namespace oru_sdk
