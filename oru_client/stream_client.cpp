#include "stream_client.h"

#include "oru_message.pb.h"
#include "wire_convert.h"
#include "wire_message.h"

namespace oru_client {

using namespace oru_sdk;
namespace proto = oru_sdk_proto;
using T = MessageType;

namespace {
template <class Wire, class Record>
QByteArray encode(const Record &r)
{
    Wire m;
    wire::toWire(r, &m);
    return serializeMessage(m);
}
} // namespace

StreamClient::StreamClient(QObject *parent)
    : QObject(parent)
{
    qRegisterMetaType<StreamEvent>();
    conn.setKeepFrames(false);
    connect(&conn, &Connection::frameReceived, this, &StreamClient::frame);
    connect(&conn, &Connection::disconnected, this, &StreamClient::disconnected);
}

bool StreamClient::connectToServer(const QString &serverName, int timeoutMs)
{
    return conn.connectToServer(serverName, timeoutMs);
}
void StreamClient::disconnectFromServer() { conn.disconnectFromServer(); }
bool StreamClient::isConnected() const { return conn.isConnected(); }
QString StreamClient::errorString() const { return conn.errorString(); }

void StreamClient::openLive(const LiveVideoConnCondition &c)
{
    conn.sendFrame(T::LiveVideoConnReq, encode<proto::LiveVideoConnReq>(c));
}
void StreamClient::openPlaybackByFile(const PlaybackByFileCondition &c)
{
    conn.sendFrame(T::PlaybackByFileReq, encode<proto::PlaybackByFileReq>(c));
}
void StreamClient::openPlaybackByTime(const PlaybackByTimeCondition &c)
{
    conn.sendFrame(T::PlaybackByTimeReq, encode<proto::PlaybackByTimeReq>(c));
}

void StreamClient::skipByOffsetTime(uint offsetTime)
{
    proto::SkipByPosReq m;
    m.set_offset_time(offsetTime);
    conn.sendFrame(T::SkipByOffsetTimeReq, serializeMessage(m));
}

void StreamClient::skipToTime(const QDateTime &time)
{
    proto::SkipByTimeReq m;
    m.set_skip_time(wire::dateTimeText(time));
    conn.sendFrame(T::SkipByAppointedTimeReq, serializeMessage(m));
}

void StreamClient::control(PlaybackCtrl ctrl)
{
    proto::PlaybackCtrlReq m;
    m.set_ctrl(int(ctrl));
    conn.sendFrame(T::PlaybackCtrlReq, serializeMessage(m));
}

void StreamClient::setSpeed(const QString &speed)
{
    proto::PlaybackSpeedSetReq m;
    m.set_playback_speed(wire::utf8(speed));
    conn.sendFrame(T::PlaybackSpeedSetReq, serializeMessage(m));
}

bool StreamClient::waitForData(int count, int timeoutMs)
{
    return spinUntil([&] { return frames >= count; }, timeoutMs);
}

void StreamClient::frame(const Frame &f)
{
    switch (f.type) {
    case T::StreamData:
        ++frames;
        bytes += f.payload.size();
        emit dataReceived(f.payload);
        break;
    case T::PushStreamEventMsg: {
        proto::StreamEventPush m;
        if (parseMessage(f.payload, &m)) {
            eventList.append(StreamEvent(m.event()));
            emit eventReceived(StreamEvent(m.event()));
        }
        break;
    }
    case T::PushPlaybackByFileProgressMsg: {
        proto::PlaybackPosProgressPush m;
        if (parseMessage(f.payload, &m)) {
            offset = m.offset_time();
            length = m.duration();
            emit fileProgress(offset, length);
        }
        break;
    }
    case T::PushPlaybackByTimeProgressMsg: {
        proto::PlaybackTimeProgressPush m;
        if (parseMessage(f.payload, &m)) {
            current = wire::dateTime(m.cur_time());
            emit timeProgress(current);
        }
        break;
    }
    default:
        break;
    }
}

} // namespace oru_client
