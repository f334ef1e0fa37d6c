#include "message_server.h"

#include "frame_codec.h"
#include "resource_limits.h"
#include "sdk_log.h"
#include "socket_reader.h"
#include "stream_worker.h"
#include "write_batch.h"

#include <oru_sdk/dgw_signals.h>

#include <QLocalServer>
#include <QLocalSocket>
#include <QMetaMethod>

namespace oru_sdk {

namespace {
const QMetaMethod &messageComing()
{
    static const QMetaMethod signal = QMetaMethod::fromSignal(&MessageServer::signalMessageComing);
    return signal;
}
} // namespace

MessageServer::MessageServer(const QString &serverName, QObject *parent)
    : ChannelServer(WriteBatch::Channel::Control, parent)
    , server(new QLocalServer(this))
{
    listen(server, serverName);
}

void MessageServer::adopt(QLocalSocket *socket)
{
    const qintptr name = socket->socketDescriptor();
    // A socket that left before any hello is kept under its name; a new
    // connection on the same descriptor takes the name over.
    if (sockets.contains(name) && onNameReleased)
        onNameReleased(name);
    sockets[name] = socket;
    peers.insert(socket, Peer{name, 0});
    // Read from the descriptor where we can, else through Qt's readyRead.
    if (!SocketReader::attach(socket, [this, socket](FrameBuffer *buffer) { readFrom(socket, buffer); }))
        connect(socket, &QLocalSocket::readyRead, this, &MessageServer::slotSocketReadyRead);
    // By meta-method: a connection by function pointer allocates a slot
    // object per socket as well.
    static const QMetaMethod disconnected = QMetaMethod::fromSignal(&QLocalSocket::disconnected);
    static const QMetaMethod slot = staticMetaObject.method(staticMetaObject.indexOfSlot("slotSocketDisConnected()"));
    connect(socket, disconnected, this, slot);
    logInfo(QStringLiteral("new connection to message server: %1").arg(name));
}

void MessageServer::slotSocketReadyRead()
{
    if (auto *socket = qobject_cast<QLocalSocket *>(sender()))
        readFrom(socket, nullptr);
}

void MessageServer::readFrom(QLocalSocket *socket, FrameBuffer *buffer)
{
    const auto peer = peers.constFind(socket);
    if (peer == peers.cend())
        return;
    const qintptr socketName = peer->name;
    // A host slot may spin a nested event loop in which this socket is
    // forgotten: read with a local length, never into the maps. The socket
    // itself outlives this handler (SocketRelease), with no QPointer's
    // shared count allocated for it.
    const SocketRelease::Reading reading(&release, socket);
    const auto known = [&] { return sockets.value(socketName) == socket; };
    const auto deliver = [&](MessageType type, const QByteArray &payload) {
        switch (type) {
        case MessageType::MainClientHello:
            msgSocket = socket;
            break;
        case MessageType::MainClientExit:
            if (!msgSocket)
                return false;
            logInfo(QStringLiteral("main client exit message"));
            msgSocketDisconnected(socket);
            break;
        default:
            if (onMessage)
                onMessage(socketName, type, payload);
            if (isSignalConnected(messageComing()))
                emit signalMessageComing(socketName, type, payload);
            break;
        }
        // A forgotten socket is not read any further.
        return known();
    };
    qint64 pending = peer->pending;
    const Limits &limits = Limits::current();
    const bool fits = buffer ? readFrames(buffer, pending, deliver, limits.largestFrame())
                             : readFrames(socket, pending, deliver, limits.largestFrame());
    if (!known())
        return;
    peers[socket].pending = pending;
    if (!fits)
        limits.refuseFrame(socket, socketName, pending);
}

void MessageServer::slotSocketDisConnected()
{
    logInfo(QStringLiteral("message socket disconnected"));
    if (!msgSocket) {
        // Kept to the end of the process, unless the limits say otherwise.
        if (Limits::current().releaseEarlySockets)
            msgSocketDisconnected(qobject_cast<QLocalSocket *>(sender()));
        return;
    }
    logInfo(QStringLiteral("main client socket exist now"));
    msgSocketDisconnected(qobject_cast<QLocalSocket *>(sender()));
}

void MessageServer::msgSocketDisconnected(QLocalSocket *s)
{
    if (!s)
        return;
    // Answers of this pass still wait for its end; a host that quits on the
    // exit signal would never see them leave.
    writes->sendNow(s);
    if (s == msgSocket) {
        msgSocket = nullptr;
        close();
        StreamWorker::instance()->stop();
        logInfo(QStringLiteral("start emit main client exit signal"));
        emit DgwSignals::instance().signalMainClientExit();
        logInfo(QStringLiteral("end emit main client exit signal"));
    }
    const auto peer = peers.find(s);
    if (peer == peers.end())
        return; // already forgotten (an exit frame came first)
    const qintptr socketName = peer->name;
    peers.erase(peer);
    // The descriptor may have been reused by a newer connection: only remove our own entry.
    if (sockets.value(socketName) == s) {
        sockets.remove(socketName);
        if (onNameReleased)
            onNameReleased(socketName);
    }
    release.release(s);
    logInfo(QStringLiteral("socket disconnect from server: %1").arg(socketName));
}

void MessageServer::sendMessage(qintptr socketName, MessageType msgType, const QByteArray &message)
{
    sendFrame(socketName, encodeFrameHeader(msgType, message), message);
}

void MessageServer::sendFrame(qintptr socketName, const QByteArray &header, const QByteArray &message)
{
    // Answers of one event-loop pass leave together (see WriteBatch).
    if (socketName == kAllSockets) {
        for (QLocalSocket *socket : qAsConst(sockets)) {
            if (socket->isValid())
                writes->append(socket, header, message);
        }
        return;
    }
    if (QLocalSocket *socket = sockets.value(socketName))
        writes->append(socket, header, message);
}

} // namespace oru_sdk
