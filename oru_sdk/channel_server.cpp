#include "channel_server.h"

#include "listen_guard.h"
#include "resource_limits.h"

#include <QLocalServer>
#include <QLocalSocket>

namespace oru_sdk {

ChannelServer::ChannelServer(WriteBatch::Channel channel, QObject *parent)
    : QObject(parent)
    , writes(new WriteBatch(this, channel))
{
}

void ChannelServer::listen(QLocalServer *server, const QString &name)
{
    listenGuard = new ListenGuard(server, name);
    connect(server, &QLocalServer::newConnection, this, [this, server] { slotNewConnection(server); });
}

void ChannelServer::slotNewConnection(QLocalServer *server)
{
    // One notification may stand for several queued connections.
    while (QLocalSocket *socket = server->nextPendingConnection()) {
        Limits::current().applyTo(socket);
        adopt(socket);
    }
}

void ChannelServer::close() { listenGuard->close(); }

} // namespace oru_sdk
