#pragma once

#include "channel_server.h"

#include <oru_sdk/types.h>

#include <QHash>
#include <QMap>
#include <QSet>
#include <QVector>

namespace oru_sdk {

class FrameBuffer;

// The media channel's end: accepts sockets, splits their bytes into frames,
// groups sockets by stream and writes each frame to every socket of a stream.
class StreamServer : public ChannelServer
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

signals:
    void signalMessageComing(QLocalSocket *socket, MessageType msgType, QByteArray message);
    void signalStreamSocketsDisconnectedAll(StreamId streamId);

private:
    void adopt(QLocalSocket *socket) override;
    void slotSocketReadyRead();
    // One pass of the frame reader over `buffer` (bytes read from the
    // descriptor), or over the socket itself when null.
    void readFrom(QLocalSocket *socket, FrameBuffer *buffer);
    void slotSocketDisConnected();

    QLocalServer *localServer;
    QMap<StreamId, QSet<QLocalSocket *>> streamSockets;
    // What is kept per accepted socket, in one hash node: the frame length
    // already read (0 when none), keyed by the socket itself since its
    // descriptor is gone after a disconnect, and every stream it joined, in
    // the order it opened them. A socket that opens a second stream stays in
    // the first one too, and must leave both when it goes; most open one,
    // which is kept without a list.
    struct Peer {
        qint64 pending = 0;
        StreamId last = 0; // the stream opened last, if `joined`
        bool joined = false;
        QVector<StreamId> earlier;
    };
    QHash<QLocalSocket *, Peer> peers;
};

} // namespace oru_sdk
