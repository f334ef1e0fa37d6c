#include "connection.h"

#include "frame_codec.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

namespace oru_client {

bool spinUntil(const std::function<bool()> &done, int timeoutMs)
{
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

Connection::Connection(QObject *parent)
    : QObject(parent)
    , splitter(std::make_unique<oru_sdk::FrameSplitter>())
{
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

void Connection::readAvailable()
{
    const QByteArray bytes = socket.readAll();
    received += bytes.size();
    splitter->append(bytes);
    Frame frame;
    while (splitter->next(&frame.type, &frame.payload)) {
        if (keepFrames)
            frames.append(frame);
        emit frameReceived(frame);
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
