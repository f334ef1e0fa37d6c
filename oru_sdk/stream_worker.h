#pragma once

#include "message_type.h"

#include <oru_sdk/types.h>

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QPair>

class QLocalSocket;

namespace oru_sdk {

class StreamServer;

// The media channel's logic: stream requests to the host's signals, the host's
// data, events and progress to every socket of the stream.
class StreamWorker : public QObject
{
    Q_OBJECT

public:
    static StreamWorker *instance();

    void start(const QString &serverName);
    void stop();

public slots:
    void slotMessageComing(QLocalSocket *socket, MessageType msgType, const QByteArray &message);
    void slotStreamSocketsDisconnectedAll(StreamId streamId);
    void slotWriteStreamData(StreamId streamId, const QByteArray &data);
    void slotPushStreamEventMsg(StreamId streamId, StreamEvent event);
    void slotPushPlaybackByFileProgressMsg(StreamId streamId, unsigned int offsetTime, unsigned int duration);
    void slotPushPlaybackByTimeProgressMsg(StreamId streamId, const QDateTime &curTime);

private:
    StreamWorker() = default;

    // Device id, channel and stream type: what makes a live stream.
    using LiveKey = QPair<QPair<QString, int>, int>;
    StreamId liveStreamId(const LiveVideoConnCondition &condition);
    StreamId playbackStreamId();

    StreamServer *streamServer = nullptr;
    // The live streams being watched, both ways: an id whose formula gives
    // the same value for two channels must not send one camera to the other.
    QHash<StreamId, LiveKey> liveOwners;
    QHash<LiveKey, StreamId> liveIds;
};

} // namespace oru_sdk
