#pragma once

#include <oru_sdk/types.h>

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QTimer>

class DeviceModel;
struct ChannelLook;

// Live videos and playbacks: every tick, each running stream gets one JPEG
// picture showing the device, the channel and the time it stands for, and a
// playback its progress. Pictures are drawn on the thread that owns the
// application's fonts, the main one, where the SDK's stream signals arrive.
class MediaStreams : public QObject
{
    Q_OBJECT

public:
    MediaStreams(const DeviceModel *model, int fps, QObject *parent = nullptr);

    // One picture as the stream would show it (for tests of the renderer).
    static QByteArray picture(const ChannelLook &look, const QString &devId, int channel, const QString &mode,
                              const QDateTime &shown, double mediaSeconds, quint64 frame, bool small);

public slots:
    void openLive(oru_sdk::StreamId id, const oru_sdk::LiveVideoConnCondition &c);
    void openPlaybackByFile(oru_sdk::StreamId id, const oru_sdk::PlaybackByFileCondition &c);
    void openPlaybackByTime(oru_sdk::StreamId id, const oru_sdk::PlaybackByTimeCondition &c);
    void skipByOffset(oru_sdk::StreamId id, uint offsetTime);
    void skipToTime(oru_sdk::StreamId id, const QDateTime &time);
    void control(oru_sdk::StreamId id, oru_sdk::PlaybackCtrl ctrl);
    void setSpeed(oru_sdk::StreamId id, const QString &speed);
    void close(oru_sdk::StreamId id);

private:
    enum class Kind { Live, File, Time };
    struct Stream {
        Kind kind = Kind::Live;
        QString devId;
        int channel = 0;
        bool small = false; // sub stream
        QString fileName;
        QDateTime begin;     // what position 0 of a playback shows
        double duration = 0; // seconds
        double position = 0; // seconds from begin
        double speed = 1;
        QString speedText = QStringLiteral("1X");
        bool paused = false;
        quint64 frames = 0;
        qint64 bytes = 0;
    };

    bool start(oru_sdk::StreamId id, Stream s, const QString &what);
    void tick();
    void end(oru_sdk::StreamId id, oru_sdk::StreamEvent event, const QString &why);
    Stream *find(oru_sdk::StreamId id, const char *what);

    const DeviceModel *model;
    int fps;
    QTimer ticker;
    QHash<oru_sdk::StreamId, Stream> streams;
};
