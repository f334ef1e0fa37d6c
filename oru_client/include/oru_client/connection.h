#pragma once

#include "message_type.h"
#include "oru_client_export.h"

#include <QByteArray>
#include <QList>
#include <QLocalSocket>
#include <QObject>

#include <functional>
#include <memory>

namespace oru_sdk {
class FrameBuffer;
}

namespace oru_client {

using oru_sdk::MessageType;

/// Runs the caller's event loop until done() holds or timeoutMs has passed;
/// true when done() held.
ORU_CLIENT_EXPORT bool spinUntil(const std::function<bool()> &done, int timeoutMs);

struct Frame {
    MessageType type = MessageType(0);
    QByteArray payload;
};

/// One local-socket connection to a gateway channel (control or stream),
/// speaking whole frames. Waiting functions spin the caller's event loop, so a
/// gateway running on the same thread keeps working while the client waits.
class ORU_CLIENT_EXPORT Connection : public QObject
{
    Q_OBJECT

public:
    explicit Connection(QObject *parent = nullptr);
    ~Connection() override;

    bool connectToServer(const QString &serverName, int timeoutMs = 3000);
    void disconnectFromServer();
    bool isConnected() const;
    QString errorString() const { return socket.errorString(); }

    // One frame in one write.
    void sendFrame(MessageType type, const QByteArray &payload = QByteArray());
    // Bytes exactly as given: for frames split at chosen offsets or several in one write.
    void sendRaw(const QByteArray &bytes);

    // Takes the oldest received frame, waiting up to timeoutMs for one.
    bool waitForFrame(Frame *frame, int timeoutMs = 3000);
    // Waits until no frame arrives for quietMs, then takes everything received.
    QList<Frame> collectFrames(int quietMs = 200);
    bool waitForDisconnected(int timeoutMs = 3000);
    qint64 bytesReceived() const { return received; }
    // Buffered frames not taken yet.
    int pendingFrames() const { return frames.size(); }
    // Whether received frames are also buffered for waitForFrame/collectFrames
    // (the default); long-lived users that only listen to frameReceived turn
    // it off so that a stream does not pile up in memory.
    void setKeepFrames(bool keep) { keepFrames = keep; }

    // Whether the connections made from now on read the socket's descriptor
    // themselves (the default where the platform allows it) instead of
    // through QLocalSocket's buffers and readyRead. Turn it off before
    // connectToServer() to read or stall the socket through localSocket().
    void setDirectReads(bool direct) { directReads = direct; }

    // The socket under the connection: for writing, flushing, its state and
    // errors, and a readBufferSize() set before connecting, which bounds the
    // bytes read ahead either way. Reading it (read, readAll, waitForReadyRead,
    // its readyRead), changing its readBufferSize() while connected, or
    // blocking its signals to stop the frames need setDirectReads(false):
    // direct reads pass Qt's read buffer by.
    QLocalSocket *localSocket() { return &socket; }

signals:
    /// A frame sendFrame() has handed to the socket (raw bytes are not frames).
    void frameSent(const oru_client::Frame &frame);
    void frameReceived(const oru_client::Frame &frame);
    void disconnected();

private:
    struct Reader;
    void startReading();
    void readAvailable();
    void take(oru_sdk::FrameBuffer *bytes);

    QLocalSocket socket;
    std::unique_ptr<Reader> reader;
    QList<Frame> frames;
    qint64 received = 0;
    bool keepFrames = true;
    bool directReads = true;
};

} // namespace oru_client
