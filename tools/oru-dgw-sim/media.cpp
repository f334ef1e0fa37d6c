#include "media.h"

#include "device_model.h"

#include <oru_sdk/dgw_signals.h>

#include <QBuffer>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRegularExpression>

#include <cmath>

using namespace oru_sdk;

namespace {

QString clock(double seconds)
{
    const int s = int(seconds);
    return QStringLiteral("%1:%2:%3")
        .arg(s / 3600, 2, 10, QLatin1Char('0'))
        .arg(s / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(s % 60, 2, 10, QLatin1Char('0'));
}

// "1/8X" -> 0.125, "2X" -> 2; -1 when it is no speed.
double parseSpeed(QString text)
{
    text = text.trimmed().toUpper();
    if (!text.endsWith(QLatin1Char('X')))
        return -1;
    text.chop(1);
    bool ok1 = true, ok2 = true;
    const QStringList parts = text.split(QLatin1Char('/'));
    const double value = parts.size() == 2 ? parts[0].toDouble(&ok1) / parts[1].toDouble(&ok2) : text.toDouble(&ok1);
    return ok1 && ok2 && value >= 0 && std::isfinite(value) ? value : -1;
}

} // namespace

MediaStreams::MediaStreams(const DeviceModel *model, int fps, QObject *parent)
    : QObject(parent)
    , model(model)
    , fps(qBound(1, fps, 60))
{
    ticker.setTimerType(Qt::PreciseTimer);
    connect(&ticker, &QTimer::timeout, this, &MediaStreams::tick);
}

MediaStreams::Stream *MediaStreams::find(StreamId id, const char *what)
{
    auto it = streams.find(id);
    if (it == streams.end()) {
        model->note(QStringLiteral("%1 for unknown stream %2 ignored").arg(QLatin1String(what)).arg(id));
        return nullptr;
    }
    return &*it;
}

bool MediaStreams::start(StreamId id, Stream s, const QString &what)
{
    const ChannelLook look = model->look(s.devId, s.channel);
    if (!look.found || !look.online) {
        push_stream_event_msg(id, StreamEvent::StreamError);
        model->note(QStringLiteral("%1 %2/%3 refused: %4")
                        .arg(what, s.devId)
                        .arg(s.channel)
                        .arg(look.found ? QStringLiteral("device not online") : QStringLiteral("no such channel")));
        return false;
    }
    const bool shared = streams.contains(id);
    if (!shared)
        streams.insert(id, s);
    push_stream_event_msg(id, StreamEvent::StreamStart);
    model->note(QStringLiteral("%1 %2/%3 stream %4%5")
                    .arg(what, s.devId)
                    .arg(s.channel)
                    .arg(id)
                    .arg(shared ? QStringLiteral(" (joined)") : QString()));
    if (!ticker.isActive())
        ticker.start(1000 / fps);
    return true;
}

void MediaStreams::openLive(StreamId id, const LiveVideoConnCondition &c)
{
    Stream s;
    s.devId = c.devId;
    s.channel = c.channel;
    s.small = c.streamType != 0;
    start(id, s, QStringLiteral("live"));
}

void MediaStreams::openPlaybackByFile(StreamId id, const PlaybackByFileCondition &c)
{
    // The recordings' names carry their start and length: dev_chN_yyyyMMdd-hhmmss_600s.mp4
    static const QRegularExpression name(QStringLiteral(R"(_ch\d+_(\d{8}-\d{6})_(\d+)s\.\w+$)"));
    const auto m = name.match(c.fileName);
    Stream s;
    s.kind = Kind::File;
    s.devId = c.devId;
    s.channel = c.channel;
    s.fileName = c.fileName;
    s.begin = m.hasMatch() ? QDateTime::fromString(m.captured(1), QStringLiteral("yyyyMMdd-hhmmss")) : QDateTime();
    s.duration = m.captured(2).toDouble();
    if (!s.begin.isValid() || s.duration <= 0) {
        push_stream_event_msg(id, StreamEvent::StreamError);
        model->note(QStringLiteral("playback of unknown file '%1' refused").arg(c.fileName));
        return;
    }
    start(id, s, QStringLiteral("playback of ") + c.fileName + QStringLiteral(" on"));
}

void MediaStreams::openPlaybackByTime(StreamId id, const PlaybackByTimeCondition &c)
{
    Stream s;
    s.kind = Kind::Time;
    s.devId = c.devId;
    s.channel = c.channel;
    s.begin = c.startTime;
    s.duration = c.startTime.isValid() ? double(c.startTime.msecsTo(QDateTime::currentDateTime())) / 1000 : 0;
    if (s.duration <= 0) {
        push_stream_event_msg(id, StreamEvent::StreamError);
        model->note(QStringLiteral("playback from %1 refused: not in the past").arg(c.startTime.toString(Qt::ISODate)));
        return;
    }
    start(id, s,
          QStringLiteral("playback from ") + c.startTime.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"))
              + QStringLiteral(" on"));
}

void MediaStreams::skipByOffset(StreamId id, uint offsetTime)
{
    if (Stream *s = find(id, "skip")) {
        s->position = qMin(double(offsetTime), s->duration);
        model->note(QStringLiteral("stream %1 skips to %2").arg(id).arg(clock(s->position)));
    }
}

void MediaStreams::skipToTime(StreamId id, const QDateTime &time)
{
    if (Stream *s = find(id, "skip")) {
        if (s->kind == Kind::Live || !time.isValid())
            return;
        s->position = qBound(0.0, double(s->begin.msecsTo(time)) / 1000, s->duration);
        model->note(QStringLiteral("stream %1 skips to %2").arg(id).arg(time.toString(QStringLiteral("hh:mm:ss"))));
    }
}

void MediaStreams::control(StreamId id, PlaybackCtrl ctrl)
{
    Stream *s = find(id, "playback control");
    if (!s)
        return;
    if (ctrl == PlaybackCtrl::Stop) {
        end(id, StreamEvent::StreamEnd, QStringLiteral("stopped"));
        return;
    }
    s->paused = ctrl == PlaybackCtrl::Pause;
    model->note(
        QStringLiteral("stream %1 %2").arg(id).arg(s->paused ? QStringLiteral("paused") : QStringLiteral("resumed")));
}

void MediaStreams::setSpeed(StreamId id, const QString &speed)
{
    Stream *s = find(id, "speed");
    const double value = parseSpeed(speed);
    if (!s || value < 0)
        return;
    s->speed = value;
    s->speedText = speed.trimmed().toUpper();
    model->note(QStringLiteral("stream %1 speed %2").arg(id).arg(s->speedText));
}

void MediaStreams::close(StreamId id)
{
    const auto it = streams.constFind(id);
    if (it == streams.cend())
        return;
    model->note(QStringLiteral("stream %1 closed by the client after %2 frames, %3 KiB")
                    .arg(id)
                    .arg(it->frames)
                    .arg(it->bytes / 1024));
    streams.remove(id);
    if (streams.isEmpty())
        ticker.stop();
}

void MediaStreams::end(StreamId id, StreamEvent event, const QString &why)
{
    push_stream_event_msg(id, event);
    const Stream s = streams.take(id);
    model->note(QStringLiteral("stream %1 %2 after %3 frames").arg(id).arg(why).arg(s.frames));
    if (streams.isEmpty())
        ticker.stop();
}

void MediaStreams::tick()
{
    const QList<StreamId> ids = streams.keys();
    for (StreamId id : ids) {
        Stream &s = streams[id];
        const ChannelLook look = model->look(s.devId, s.channel);
        if (s.paused || !look.online)
            continue; // a rebooting device sends nothing
        QDateTime shown;
        QString mode;
        if (s.kind == Kind::Live) {
            shown = QDateTime::currentDateTime().addMSecs(look.clockOffsetMs);
            mode = QStringLiteral("LIVE");
        } else {
            s.position += s.speed / fps;
            if (s.position >= s.duration) {
                end(id, StreamEvent::StreamEnd, QStringLiteral("reached its end"));
                continue;
            }
            shown = s.begin.addMSecs(qint64(s.position * 1000));
            mode = QStringLiteral("PLAYBACK %1  %2 / %3").arg(s.speedText, clock(s.position), clock(s.duration));
        }
        const double mediaSeconds = double(shown.toMSecsSinceEpoch() % 86400000) / 1000;
        const QByteArray jpeg = picture(look, s.devId, s.channel, mode, shown, mediaSeconds, s.frames, s.small);
        ++s.frames;
        s.bytes += jpeg.size();
        write_stream_data(id, jpeg);
        if (s.kind == Kind::File)
            push_playback_by_file_progress_msg(id, uint(s.position), uint(s.duration));
        else if (s.kind == Kind::Time)
            push_playback_by_time_progress_msg(id, shown);
    }
}

QByteArray MediaStreams::picture(const ChannelLook &look, const QString &devId, int channel, const QString &mode,
                                 const QDateTime &shown, double mediaSeconds, quint64 frame, bool small)
{
    const int w = 640, h = 360;
    QImage image(w, h, QImage::Format_RGB32);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);

    // A scene of its own per channel: sky, ground, and a car crossing it.
    const int hue = int(qHash(devId + QString::number(channel)) % 360);
    QLinearGradient sky(0, 0, 0, h * 0.6);
    sky.setColorAt(0, QColor::fromHsv(hue, 120, 90));
    sky.setColorAt(1, QColor::fromHsv(hue, 60, 170));
    p.fillRect(0, 0, w, int(h * 0.6), sky);
    p.fillRect(0, int(h * 0.6), w, h - int(h * 0.6), QColor::fromHsv((hue + 90) % 360, 80, 70));
    const double x = std::fmod(mediaSeconds * 90, w + 120) - 60;
    p.setPen(Qt::NoPen);
    p.setBrush(QColor::fromHsv((hue + 180) % 360, 200, 230));
    p.drawRoundedRect(QRectF(x - 45, h * 0.6 + 20, 90, 34), 8, 8);
    p.setBrush(QColor(30, 30, 30));
    p.drawEllipse(QPointF(x - 25, h * 0.6 + 56), 10, 10);
    p.drawEllipse(QPointF(x + 25, h * 0.6 + 56), 10, 10);

    // Where the PTZ head points.
    const QPointF aim(w / 2 + look.pan / 180 * w / 2, h / 2 - look.tilt / 90 * h / 2);
    p.setPen(QPen(QColor(255, 255, 255, 160), 2));
    p.setBrush(Qt::NoBrush);
    const double r = 40 / std::max(1.0, look.zoom) + 8;
    p.drawEllipse(aim, r, r);
    p.drawLine(aim - QPointF(r + 10, 0), aim + QPointF(r + 10, 0));
    p.drawLine(aim - QPointF(0, r + 10), aim + QPointF(0, r + 10));

    // Texts: device, channel, OSD, mode, time.
    QFont font(QStringLiteral("DejaVu Sans"));
    p.fillRect(0, 0, w, 58, QColor(0, 0, 0, 120));
    p.fillRect(0, h - 64, w, 64, QColor(0, 0, 0, 150));
    p.setPen(Qt::white);
    font.setPixelSize(22);
    font.setBold(true);
    p.setFont(font);
    p.drawText(12, 27, look.devName);
    font.setPixelSize(14);
    font.setBold(false);
    p.setFont(font);
    p.drawText(12, 48,
               QStringLiteral("%1 · channel %2 · %3")
                   .arg(devId)
                   .arg(channel)
                   .arg(small ? QStringLiteral("sub stream") : QStringLiteral("main stream")));
    p.drawText(QRect(w - 320, 8, 308, 44), Qt::AlignRight | Qt::AlignVCenter, look.osd);
    p.drawText(12, h - 44,
               QStringLiteral("PTZ pan %1°  tilt %2°  zoom %3x")
                   .arg(look.pan, 0, 'f', 0)
                   .arg(look.tilt, 0, 'f', 0)
                   .arg(look.zoom, 0, 'f', 1));
    p.setPen(mode == QLatin1String("LIVE") ? QColor(255, 80, 80) : QColor(120, 200, 255));
    p.drawText(QRect(w - 320, h - 58, 308, 20), Qt::AlignRight | Qt::AlignVCenter, mode);
    p.setPen(Qt::white);
    font.setPixelSize(24);
    font.setBold(true);
    p.setFont(font);
    p.drawText(12, h - 14, shown.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")));
    font.setPixelSize(12);
    font.setBold(false);
    p.setFont(font);
    p.drawText(QRect(w - 200, h - 30, 188, 20), Qt::AlignRight | Qt::AlignVCenter,
               QStringLiteral("frame %1").arg(frame));
    p.end();

    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    (small ? image.scaled(w / 2, h / 2, Qt::IgnoreAspectRatio, Qt::SmoothTransformation) : image)
        .save(&buffer, "JPG", 80);
    return jpeg;
}
