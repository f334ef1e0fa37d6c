#pragma once

#include "message_type.h"
#include "socket_release.h"

#include <oru_sdk/types.h>

#include <QByteArray>
#include <QHash>
#include <QMap>
#include <QObject>
#include <QSet>

class QLocalServer;
class QLocalSocket;

namespace oru_sdk {

class ListenGuard;
class WriteBatch;

// The media channel's end: accepts sockets, splits their bytes into frames,
// groups sockets by stream and writes each frame to every socket of a stream.
class StreamServer : public QObject
{
    Q_OBJECT

public:
    StreamServer(const QString &serverName, QObject *parent);

    void addStreamSocket(StreamId streamId, QLocalSocket *socket);
    void writeToStream(StreamId streamId, MessageType type, const QByteArray &data);
    // Whether some socket watches the stream.
    bool hasStream(StreamId streamId) const { return streamSockets.contains(streamId); }
    // The stream the socket opened last, 0 if none.
    StreamId streamOf(QLocalSocket *socket) const;
    void close();

signals:
    void signalMessageComing(QLocalSocket *socket, MessageType msgType, QByteArray message);
    void signalStreamSocketsDisconnectedAll(StreamId streamId);

private:
    void slotNewConnection();
    void slotSocketReadyRead();
    void slotSocketDisConnected();

    QLocalServer *localServer;
    QMap<StreamId, QSet<QLocalSocket *>> streamSockets;
    // Keyed by the socket itself: its descriptor is gone after a disconnect.
    QHash<QLocalSocket *, qint64> pendingBlockSizes;
    // Every stream a socket joined, in the order it opened them; a socket
    // that opens a second stream stays in the first one too, and must leave
    // both when it goes.
    QHash<QLocalSocket *, QList<StreamId>> memberships;
    SocketRelease release;
    ListenGuard *listenGuard;
    WriteBatch *writes;
};

} // namespace oru_sdk
