#pragma once

#include "channel_server.h"

#include <QByteArray>
#include <QHash>
#include <QMap>

#include <functional>

namespace oru_sdk {

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

    // Told when a socket name stops naming the connection it named: the
    // socket left, or its descriptor now belongs to a newer connection.
    // Whatever still waits for that name must not reach the newcomer.
    std::function<void(qintptr socketName)> onNameReleased;

signals:
    void signalMessageComing(qintptr socketName, MessageType msgType, QByteArray message);

private slots:
    void slotSocketReadyRead();
    void slotSocketDisConnected();
    void msgSocketDisconnected(QLocalSocket *msgSocket);

private:
    void adopt(QLocalSocket *socket) override;

    QLocalServer *server;
    QMap<qintptr, QLocalSocket *> sockets;
    QMap<qintptr, qint64> pendingLengths;
    QLocalSocket *msgSocket = nullptr;
    // A socket's name is its descriptor at accept time; after a disconnect the
    // descriptor reads -1, so the name is kept here to find the entry again.
    QHash<QLocalSocket *, qintptr> names;
};

} // namespace oru_sdk
