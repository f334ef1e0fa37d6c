#include "connection.h"

#include "frame_codec.h"
#include "socket_reader.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPointer>
#include <QTimer>

namespace oru_client {

bool spinUntil(const std::function<bool()> &done, int timeoutMs)
{
    if (done())
        return true; // no timer to start: a frame taken in a slot is this case
    QElapsedTimer clock;
    clock.start();
    // Every event (a frame arriving, a state change) ends one wait and the
    // condition is checked again at once; the ticker bounds the wait.
    QTimer ticker;
    ticker.start(20);
    while (!done()) {
        if (clock.elapsed() >= timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

struct Connection::Reader {
    oru_sdk::FrameSplitter splitter;
    // What Qt's reader has buffered, when the descriptor is not read directly.
    oru_sdk::FrameBuffer fromQt;
    QPointer<oru_sdk::SocketReader> direct;
    // Bytes written to the buffer when it was last looked at.
    qint64 seen = 0;
    // Counts the connections made, so that a pass sees a slot connecting anew.
    int generation = 0;
};

Connection::Connection(QObject *parent)
    : QObject(parent)
    , reader(std::make_unique<Reader>())
{
    // Before Qt's reader has taken any byte of the new connection.
    connect(&socket, &QLocalSocket::connected, this, &Connection::startReading);
    connect(&socket, &QLocalSocket::readyRead, this, &Connection::readAvailable);
    connect(&socket, &QLocalSocket::disconnected, this, &Connection::disconnected);
}

bool Connection::connectToServer(const QString &serverName, int timeoutMs)
{
    socket.connectToServer(serverName);
    return spinUntil(
               [this] {
                   return socket.state() == QLocalSocket::ConnectedState
                       || socket.state() == QLocalSocket::UnconnectedState;
               },
               timeoutMs)
        && socket.state() == QLocalSocket::ConnectedState;
}

Connection::~Connection() = default;

void Connection::disconnectFromServer() { socket.disconnectFromServer(); }

bool Connection::isConnected() const { return socket.state() == QLocalSocket::ConnectedState; }

void Connection::sendFrame(MessageType type, const QByteArray &payload)
{
    socket.write(oru_sdk::encodeFrame(type, payload));
    emit frameSent(Frame{type, payload});
}

void Connection::sendRaw(const QByteArray &bytes)
{
    socket.write(bytes);
    socket.flush();
}

void Connection::startReading()
{
    if (reader->direct) {
        // The last connection's, long stopped; out of the socket's children
        // at once, where it would hide Qt's new read notifier from attach().
        reader->direct->setParent(nullptr);
        reader->direct->deleteLater();
    }
    auto fresh = std::make_unique<Reader>();
    fresh->generation = reader->generation + 1;
    reader = std::move(fresh);
    if (directReads)
        reader->direct = oru_sdk::SocketReader::attach(
            &socket, [this](oru_sdk::FrameBuffer *bytes) { take(bytes); }, oru_sdk::SocketReader::Buffer::Own);
}

void Connection::readAvailable()
{
    oru_sdk::FrameBuffer *bytes = &reader->fromQt;
    for (qint64 available; (available = socket.bytesAvailable()) > 0;) {
        int room = 0;
        char *at = bytes->room(int(qMin<qint64>(available, 1 << 20)), &room);
        const qint64 got = socket.read(at, qMin<qint64>(available, room));
        if (got <= 0)
            break;
        bytes->wrote(int(got));
    }
    take(bytes);
}

void Connection::take(oru_sdk::FrameBuffer *bytes)
{
    const int generation = reader->generation;
    Frame frame;
    for (;;) {
        // Also what a notification in a slot's nested event loop added.
        received += bytes->written() - reader->seen;
        reader->seen = bytes->written();
        if (!reader->splitter.next(bytes, &frame.type, &frame.payload))
            return;
        if (keepFrames)
            frames.append(frame);
        emit frameReceived(frame);
        if (reader->generation != generation)
            return; // a slot connected anew: the old connection's bytes are gone
    }
}

bool Connection::waitForFrame(Frame *frame, int timeoutMs)
{
    if (!spinUntil([this] { return !frames.isEmpty(); }, timeoutMs))
        return false;
    *frame = frames.takeFirst();
    return true;
}

QList<Frame> Connection::collectFrames(int quietMs)
{
    int seen = -1;
    while (seen != frames.size()) {
        seen = frames.size();
        spinUntil([] { return false; }, quietMs);
    }
    QList<Frame> all;
    all.swap(frames);
    return all;
}

bool Connection::waitForDisconnected(int timeoutMs)
{
    return spinUntil([this] { return socket.state() == QLocalSocket::UnconnectedState; }, timeoutMs);
}

} // namespace oru_client
