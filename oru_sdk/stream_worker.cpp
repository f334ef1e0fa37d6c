#include "stream_worker.h"

#include "message_signals.h"
#include "oru_message.pb.h"
#include "sdk_log.h"
#include "stream_server.h"
#include "wire_convert.h"
#include "wire_message.h"

#include <oru_sdk/dgw_signals.h>

#include <QCryptographicHash>
#include <QLocalSocket>
#include <QUuid>

namespace oru_sdk {

namespace proto = oru_sdk_proto;

namespace {

DgwSignals &dgw() { return DgwSignals::instance(); }

template <typename Wire, typename Handle>
void parseThen(const QByteArray &payload, const char *failure, Handle &&handle)
{
    Wire message;
    if (!parseMessage(payload, &message)) {
        logError(QLatin1String(failure));
        return;
    }
    handle(message);
}

StreamId hashedText(const QString &text)
{
    return qHash(QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex()));
}

StreamId socketStreamId(QLocalSocket *socket) { return socket->property("stream_id").toUInt(); }

QString openedText(const char *what, StreamId id, const QString &devId, int channel)
{
    return QStringLiteral("client request %1, stream id:%2, device id:%3, channel index:%4")
        .arg(QLatin1String(what), QString::number(id), logValue(devId), QString::number(channel));
}

// The three requests that open a stream: the socket joins it before the host
// hears of it, so data the host writes at once already has a reader.
template <typename Wire, typename Condition, typename MakeId>
void openStream(StreamServer *server, QLocalSocket *socket, const QByteArray &payload, const char *failure,
                void (DgwSignals::*signal)(StreamId, const Condition &), MakeId &&streamId, const char *what)
{
    parseThen<Wire>(payload, failure, [&](const Wire &m) {
        Condition c;
        wire::fromWire(m, &c);
        const StreamId id = streamId(c);
        server->addStreamSocket(id, socket);
        emit(dgw().*signal)(id, c);
        logInfo(openedText(what, id, c.devId, c.channel));
    });
}

} // namespace

// Equal live requests share one stream, under the id of the formula the
// hosts know. The formula writes its three values with no separator, so
// ("nvr1", 12, 0) and ("nvr11", 2, 0) give the same id, and the 32-bit hash
// may collide by chance: an id held by another channel is not shared, the
// newcomer gets a free one derived from its key with separators.
StreamId StreamWorker::liveStreamId(const LiveVideoConnCondition &c)
{
    const LiveKey key{{c.devId, c.channel}, c.streamType};
    const auto known = liveIds.constFind(key);
    if (known != liveIds.cend())
        return *known;
    const StreamId formula =
        hashedText(QStringLiteral("%1%2%3").arg(c.devId, QString::number(c.channel), QString::number(c.streamType)));
    StreamId id = formula;
    if (streamServer->hasStream(id)) {
        id = hashedText(
            QStringLiteral("%1\n%2\n%3").arg(c.devId, QString::number(c.channel), QString::number(c.streamType)));
        while (id == 0 || streamServer->hasStream(id))
            ++id;
        logInfo(QStringLiteral("live stream id %1 is held by another channel, device id:%2, channel index:%3, "
                               "stream type:%4 gets stream id:%5")
                    .arg(QString::number(formula), logValue(c.devId), QString::number(c.channel),
                         QString::number(c.streamType), QString::number(id)));
    }
    liveOwners.insert(id, key);
    liveIds.insert(key, id);
    return id;
}

// Every playback is a stream of its own, under an id no stream holds.
StreamId StreamWorker::playbackStreamId()
{
    StreamId id;
    do {
        id = qHash(QUuid::createUuid());
    } while (streamServer->hasStream(id));
    return id;
}

StreamWorker *StreamWorker::instance()
{
    static StreamWorker worker;
    return &worker;
}

void StreamWorker::start(const QString &serverName)
{
    streamServer = new StreamServer(serverName, this);
    const MessageSignals *out = &MessageSignals::instance();
    connect(streamServer, &StreamServer::signalMessageComing, this, &StreamWorker::slotMessageComing);
    connect(streamServer, &StreamServer::signalStreamSocketsDisconnectedAll, this,
            &StreamWorker::slotStreamSocketsDisconnectedAll);
    connect(out, &MessageSignals::signalWriteStreamData, this, &StreamWorker::slotWriteStreamData);
    connect(out, &MessageSignals::signalPushStreamEventMsg, this, &StreamWorker::slotPushStreamEventMsg);
    connect(out, &MessageSignals::signalPushPlaybackByFileProgressMsg, this,
            &StreamWorker::slotPushPlaybackByFileProgressMsg);
    connect(out, &MessageSignals::signalPushPlaybackByTimeProgressMsg, this,
            &StreamWorker::slotPushPlaybackByTimeProgressMsg);
}

void StreamWorker::stop()
{
    if (streamServer)
        streamServer->close();
}

void StreamWorker::slotMessageComing(QLocalSocket *socket, MessageType msgType, const QByteArray &message)
{
    switch (msgType) {
    case MessageType::LiveVideoConnReq:
        return openStream<proto::LiveVideoConnReq>(
            streamServer, socket, message, "parse [client live video connect req] failure",
            &DgwSignals::signalLiveVideoConnReq, [this](const auto &c) { return liveStreamId(c); },
            "live video connect");
    case MessageType::PlaybackByFileReq:
        return openStream<proto::PlaybackByFileReq>(
            streamServer, socket, message, "parse [client playback by file req] failure",
            &DgwSignals::signalPlaybackByFileReq, [this](const auto &) { return playbackStreamId(); },
            "playback by file");
    case MessageType::PlaybackByTimeReq:
        return openStream<proto::PlaybackByTimeReq>(
            streamServer, socket, message, "parse [client playback by time req] failure",
            &DgwSignals::signalPlaybackByTimeReq, [this](const auto &) { return playbackStreamId(); },
            "playback by time");
    case MessageType::SkipByOffsetTimeReq:
        return parseThen<proto::SkipByPosReq>(
            message, "parse [client skip by offset time req] failure", [&](const auto &m) {
                const StreamId id = socketStreamId(socket);
                emit dgw().signalSkipByOffsetTimeReq(id, m.offset_time());
                logInfo(QStringLiteral("client request skip by offset time, stream id:%1").arg(id));
            });
    case MessageType::SkipByAppointedTimeReq:
        return parseThen<proto::SkipByTimeReq>(
            message, "parse [client skip by appointed time req] failure", [&](const auto &m) {
                const StreamId id = socketStreamId(socket);
                emit dgw().signalSkipByAppointedTimeReq(id, wire::dateTime(m.skip_time()));
                logInfo(QStringLiteral("client request skip by appointed time, stream id:%1").arg(id));
            });
    case MessageType::PlaybackCtrlReq:
        return parseThen<proto::PlaybackCtrlReq>(
            message, "parse [client playback ctrl req] failure", [&](const auto &m) {
                const StreamId id = socketStreamId(socket);
                emit dgw().signalPlaybackCtrlReq(id, static_cast<PlaybackCtrl>(m.ctrl()));
                logInfo(QStringLiteral("client request playback ctrl, stream id:%1").arg(id));
            });
    case MessageType::PlaybackSpeedSetReq:
        return parseThen<proto::PlaybackSpeedSetReq>(
            message, "parse [client playback speed set req] failure", [&](const auto &m) {
                emit dgw().signalPlaybackSpeedSetReq(socketStreamId(socket), wire::text(m.playback_speed()));
                // The text has no place for the id.
                logInfo(QStringLiteral("client request set playback speed"));
            });
    default:
        return;
    }
}

void StreamWorker::slotStreamSocketsDisconnectedAll(StreamId streamId)
{
    const auto owner = liveOwners.find(streamId);
    if (owner != liveOwners.end()) {
        liveIds.remove(*owner);
        liveOwners.erase(owner);
    }
    emit dgw().signalDisconnectStream(streamId);
}

void StreamWorker::slotWriteStreamData(StreamId streamId, const QByteArray &data)
{
    streamServer->writeToStream(streamId, MessageType::StreamData, data);
}

void StreamWorker::slotPushStreamEventMsg(StreamId streamId, StreamEvent event)
{
    proto::StreamEventPush push;
    push.set_event(static_cast<int>(event));
    streamServer->writeToStream(streamId, MessageType::PushStreamEventMsg, serializeMessage(push));
    logInfo(QStringLiteral("server push stream event to client, stream id:%1, event:%2")
                .arg(streamId)
                .arg(static_cast<int>(event)));
}

void StreamWorker::slotPushPlaybackByFileProgressMsg(StreamId streamId, unsigned int offsetTime, unsigned int duration)
{
    proto::PlaybackPosProgressPush push;
    push.set_offset_time(offsetTime);
    push.set_duration(duration);
    streamServer->writeToStream(streamId, MessageType::PushPlaybackByFileProgressMsg, serializeMessage(push));
}

void StreamWorker::slotPushPlaybackByTimeProgressMsg(StreamId streamId, const QDateTime &curTime)
{
    proto::PlaybackTimeProgressPush push;
    push.set_cur_time(wire::dateTimeText(curTime));
    streamServer->writeToStream(streamId, MessageType::PushPlaybackByTimeProgressMsg, serializeMessage(push));
}

} // namespace oru_sdk
