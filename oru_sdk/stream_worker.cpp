#include "stream_worker.h"

#include "inbound.h"
#include "message_signals.h"
#include "oru_message.pb.h"
#include "sdk_log.h"
#include "stream_server.h"
#include "wire_convert.h"
#include "wire_message.h"

#include <QCryptographicHash>
#include <QLocalSocket>
#include <QUuid>

#include <type_traits>

namespace oru_sdk {

namespace proto = oru_sdk_proto;

namespace {

StreamId hashedText(const QString &text)
{
    return qHash(QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex()));
}

QString streamFailure(const char *what)
{
    return parseFailure(QStringLiteral("client %1 req").arg(QLatin1String(what)));
}

// The three requests that open a stream: the socket joins it before the host
// hears of it, so data the host writes at once already has a reader.
template <typename Wire, typename Condition, typename MakeId>
auto openStream(void (DgwSignals::*signal)(StreamId, const Condition &), MakeId makeId, const char *what)
{
    return [=](StreamWorker *worker, StreamServer *server, QLocalSocket *socket, const QByteArray &payload) {
        parseThen<Wire>(
            payload, [&] { return streamFailure(what); },
            [&](const Wire &m) {
                Condition c;
                wire::fromWire(m, &c);
                StreamId id;
                if constexpr (std::is_invocable_v<MakeId, StreamWorker *, const Condition &>)
                    id = (worker->*makeId)(c);
                else
                    id = (worker->*makeId)();
                server->addStreamSocket(id, socket);
                emit(dgw().*signal)(id, c);
                logInfo(
                    QStringLiteral("client request %1, stream id:%2, device id:%3, channel index:%4")
                        .arg(QLatin1String(what), QString::number(id), logValue(c.devId), QString::number(c.channel)));
            });
    };
}

// The requests that act on the stream the socket opened last (0 if none).
template <typename Wire, typename Emit>
auto controlStream(Emit emitSignal, const char *what, const char *success = nullptr)
{
    return [=](StreamWorker *, StreamServer *server, QLocalSocket *socket, const QByteArray &payload) {
        parseThen<Wire>(
            payload, [&] { return streamFailure(what); },
            [&](const Wire &m) {
                const StreamId id = server->streamOf(socket);
                emitSignal(id, m);
                // A line of its own has no place for the id.
                logInfo(success ? QString::fromLatin1(success)
                                : QStringLiteral("client request %1, stream id:%2").arg(QLatin1String(what)).arg(id));
            });
    };
}

void skipByOffsetTime(StreamId id, const proto::SkipByPosReq &m)
{
    emit dgw().signalSkipByOffsetTimeReq(id, m.offset_time());
}
void skipByAppointedTime(StreamId id, const proto::SkipByTimeReq &m)
{
    emit dgw().signalSkipByAppointedTimeReq(id, wire::dateTime(m.skip_time()));
}
void playbackCtrl(StreamId id, const proto::PlaybackCtrlReq &m)
{
    emit dgw().signalPlaybackCtrlReq(id, static_cast<PlaybackCtrl>(m.ctrl()));
}
void playbackSpeedSet(StreamId id, const proto::PlaybackSpeedSetReq &m)
{
    emit dgw().signalPlaybackSpeedSetReq(id, wire::text(m.playback_speed()));
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
    using M = MessageSignals;
    streamServer = new StreamServer(serverName, this);
    connect(streamServer, &StreamServer::signalMessageComing, this, &StreamWorker::slotMessageComing);
    connect(streamServer, &StreamServer::signalStreamSocketsDisconnectedAll, this,
            &StreamWorker::slotStreamSocketsDisconnectedAll);
#define ORU_STREAM_ROUTE(code, name, signal, slot) connect(&M::instance(), signal, this, slot);
    ORU_STREAM_CHANNEL(ORU_SKIP_ROW, ORU_STREAM_ROUTE, ORU_SKIP_CODE)
#undef ORU_STREAM_ROUTE
}

void StreamWorker::stop()
{
    if (streamServer)
        streamServer->close();
}

void StreamWorker::slotMessageComing(QLocalSocket *socket, MessageType msgType, const QByteArray &message)
{
    using S = DgwSignals;
#define ORU_STREAM_HANDLE(code, name, ...)                                                                             \
    case MessageType::name:                                                                                            \
        return __VA_ARGS__(this, streamServer, socket, message);
    switch (msgType) {
        ORU_STREAM_CHANNEL(ORU_STREAM_HANDLE, ORU_SKIP_ROW, ORU_SKIP_CODE)
    default:
        return;
    }
#undef ORU_STREAM_HANDLE
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
