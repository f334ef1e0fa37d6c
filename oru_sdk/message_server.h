#pragma once

#include "channel_server.h"

#include <QByteArray>
#include <QHash>
#include <QMap>

#include <functional>

namespace oru_sdk {

class FrameBuffer;

// The socket name that sends a frame to every connected control socket.
constexpr qintptr kAllSockets = -1;

// The control channel's end: accepts connections, splits their bytes into
// frames, tracks the main client (hello and exit) and writes outbound frames.
class MessageServer : public ChannelServer
{
    Q_OBJECT

public:
    MessageServer(const QString &serverName, QObject *parent);

    void sendMessage(qintptr socketName, MessageType msgType, const QByteArray &message);
    // The same with the frame given as a header and a payload, either of
    // which may hold the whole frame (the other then empty).
    void sendFrame(qintptr socketName, const QByteArray &header, const QByteArray &message);

    // Told when a socket name stops naming the connection it named: the
    // socket left, or its descriptor now belongs to a newer connection.
    // Whatever still waits for that name must not reach the newcomer.
    std::function<void(qintptr socketName)> onNameReleased;
    // Told each inbound frame (other than hello and exit) before
    // signalMessageComing is emitted: the dispatcher's direct line, which
    // spares a signal emission per request.
    std::function<void(qintptr socketName, MessageType msgType, const QByteArray &message)> onMessage;

signals:
    void signalMessageComing(qintptr socketName, MessageType msgType, QByteArray message);

private slots:
    void slotSocketReadyRead();
    void slotSocketDisConnected();
    void msgSocketDisconnected(QLocalSocket *msgSocket);

private:
    void adopt(QLocalSocket *socket) override;
    // One pass of the frame reader over `buffer` (bytes read from the
    // descriptor), or over the socket itself when null.
    void readFrom(QLocalSocket *socket, FrameBuffer *buffer);

    QLocalServer *server;
    QMap<qintptr, QLocalSocket *> sockets;
    QLocalSocket *msgSocket = nullptr;
    // Per accepted socket, in one hash node: its name (the descriptor at
    // accept time; after a disconnect the descriptor reads -1, so the name is
    // kept here to find the entry again) and the frame length already read
    // (0 when none).
    struct Peer {
        qintptr name;
        qint64 pending;
    };
    QHash<QLocalSocket *, Peer> peers;
};

} // namespace oru_sdk
