#pragma once

#include "sdk_log.h"

#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QObject>
#include <QString>
#include <QTimer>

namespace oru_sdk {

// Listens on a name, taking it over only from a dead server: an endpoint that
// a live server answers on belongs to another process (a second gateway
// started with the same names) and is left alone, with one error line.
//
// Qt's QLocalServer on Unix also closes itself and removes its socket file when
// accept() fails (for instance when the process runs out of descriptors), and
// says nothing. A gateway must keep its servers: while listening is wanted,
// this notices the silent close and listens again on the same name, unless
// another live server has taken it meanwhile.
class ListenGuard : public QObject
{
public:
    ListenGuard(QLocalServer *server, const QString &name)
        : QObject(server)
        , server(server)
        , name(name)
    {
        timer.setInterval(200);
        connect(&timer, &QTimer::timeout, this, &ListenGuard::check);
        // Only a server that did listen is watched.
        const Endpoint endpoint = probe();
        if (endpoint == Endpoint::Live)
            return;
        if (endpoint == Endpoint::Stale)
            QLocalServer::removeServer(name);
        if (server->listen(name))
            timer.start();
    }

    // Stops for good: no new connections, no relisten.
    void close()
    {
        timer.stop();
        server->close();
    }

private:
    enum class Endpoint { Live, Stale, Unknown };

    // Decided by connecting, never by removing: refused or no file is stale.
    Endpoint probe() const
    {
        QLocalSocket socket;
        socket.connectToServer(name);
        if (socket.waitForConnected(1000)) {
            logError(QStringLiteral("local server name %1 is in use by a running server, not listening").arg(name));
            return Endpoint::Live;
        }
        const auto error = socket.error();
        if (error == QLocalSocket::ServerNotFoundError || error == QLocalSocket::ConnectionRefusedError)
            return Endpoint::Stale;
        return Endpoint::Unknown; // out of descriptors, say: ask again later
    }

    // After a failed accept() Qt closes the listening socket and removes its
    // file, yet still says isListening() (and socketDescriptor() would crash):
    // the missing file is what tells. close() resets that state, without
    // which listen() refuses to run.
    void check()
    {
#ifdef Q_OS_UNIX
        if (server->isListening() && QFile::exists(server->fullServerName()))
            return;
#else
        // Elsewhere the name is no file; a closed server is the only sign.
        if (server->isListening())
            return;
#endif
        server->close();
        switch (probe()) {
        case Endpoint::Live:
            timer.stop(); // someone else's now
            return;
        case Endpoint::Stale:
            QLocalServer::removeServer(name);
            server->listen(name);
            return;
        case Endpoint::Unknown:
            return;
        }
    }

    QLocalServer *server;
    QString name;
    QTimer timer;
};

} // namespace oru_sdk
