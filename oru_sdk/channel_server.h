#pragma once

#include "message_type.h"
#include "socket_release.h"
#include "write_batch.h"

#include <QObject>

class QLocalServer;
class QLocalSocket;

namespace oru_sdk {

class ListenGuard;

// What the control and the stream server share: listening on a name that the
// guard keeps, accepting every waiting connection with the limits applied,
// writes batched per event-loop pass, and deletion deferred past a socket's
// own handlers.
class ChannelServer : public QObject
{
public:
    // Stops accepting for good; sockets already accepted stay open.
    void close();

protected:
    ChannelServer(WriteBatch::Channel channel, QObject *parent);
    // Called once from the constructor of the server that owns `server`.
    void listen(QLocalServer *server, const QString &name);
    // Takes over a new connection.
    virtual void adopt(QLocalSocket *socket) = 0;

    SocketRelease release;
    WriteBatch *const writes;

private:
    void slotNewConnection(QLocalServer *server);

    ListenGuard *listenGuard = nullptr;
};

} // namespace oru_sdk
