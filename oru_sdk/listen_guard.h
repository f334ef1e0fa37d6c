#pragma once

#include <QFile>
#include <QLocalServer>
#include <QObject>
#include <QString>
#include <QTimer>

namespace oru_sdk {

// Qt's QLocalServer on Unix closes itself and removes its socket file when
// accept() fails (for instance when the process runs out of descriptors), and
// says nothing. A gateway must keep its servers: while listening is wanted,
// this notices the silent close and listens again on the same name.
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
        // Only a server that did listen is watched: retrying a name that never
        // worked would keep deleting whatever else holds it.
        if (listen())
            timer.start();
    }

    // Stops for good: no new connections, no relisten.
    void close()
    {
        timer.stop();
        server->close();
    }

private:
    bool listen()
    {
        QLocalServer::removeServer(name);
        return server->listen(name);
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
        listen();
    }

    QLocalServer *server;
    QString name;
    QTimer timer;
};

} // namespace oru_sdk
