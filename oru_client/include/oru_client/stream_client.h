#pragma once

#include "connection.h"

#include <oru_sdk/types.h>

#include <QDateTime>
#include <QObject>

namespace oru_client {

/// The main client's side of one stream socket: opens a live video (code 104)
/// or a playback by file (105) or by time (106), then receives its media as
/// dataReceived (102, the device's bytes unchanged), events as eventReceived
/// (103: start, end, error...), and playback progress as fileProgress (46,
/// seconds into the file and its length) or timeProgress (47). Skip (107, 108),
/// pause/resume/stop (109) and speed (110) act on the stream this socket opened
/// last. Nothing is answered: a gateway reports a refused request as an error
/// event. Sockets asking for the same live channel share one stream; closing
/// the last one stops it. Runs on the owning thread's event loop.
class ORU_CLIENT_EXPORT StreamClient : public QObject
{
    Q_OBJECT

public:
    explicit StreamClient(QObject *parent = nullptr);

    bool connectToServer(const QString &serverName, int timeoutMs = 3000);
    void disconnectFromServer();
    bool isConnected() const;
    QString errorString() const;
    Connection &connection() { return conn; }

    void openLive(const oru_sdk::LiveVideoConnCondition &condition);
    void openPlaybackByFile(const oru_sdk::PlaybackByFileCondition &condition);
    void openPlaybackByTime(const oru_sdk::PlaybackByTimeCondition &condition);
    void skipByOffsetTime(uint offsetTime);
    void skipToTime(const QDateTime &time);
    void control(oru_sdk::PlaybackCtrl ctrl);
    void setSpeed(const QString &speed);

    // What has arrived so far.
    int dataFrames() const { return frames; }
    qint64 dataBytes() const { return bytes; }
    const QList<oru_sdk::StreamEvent> &events() const { return eventList; }
    uint offsetTime() const { return offset; }
    uint duration() const { return length; }
    QDateTime currentTime() const { return current; }

    // Spins the event loop until `count` data frames in all have arrived.
    bool waitForData(int count, int timeoutMs);

signals:
    void dataReceived(const QByteArray &data);
    void eventReceived(oru_sdk::StreamEvent event);
    void fileProgress(uint offsetTime, uint duration);
    void timeProgress(const QDateTime &currentTime);
    void disconnected();

private:
    void frame(const Frame &frame);

    Connection conn;
    int frames = 0;
    qint64 bytes = 0;
    QList<oru_sdk::StreamEvent> eventList;
    uint offset = 0;
    uint length = 0;
    QDateTime current;
};

} // namespace oru_client
