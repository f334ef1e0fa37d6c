#pragma once

#include <QLocalSocket>
#include <QSet>
#include <QVector>

namespace oru_sdk {

// Deletes a socket only once none of its own handlers is on the stack. A host
// slot may wait in a nested event loop while handling a socket's readyRead;
// a deleteLater() called in that loop would run there and free the socket
// under Qt's emission frames, which touch it again on return.
class SocketRelease
{
public:
    // Held for the length of a socket's handler.
    class Reading
    {
    public:
        Reading(SocketRelease *owner, QLocalSocket *socket)
            : owner(owner)
            , socket(socket)
        {
            owner->reading.append(socket);
        }
        ~Reading()
        {
            // Handlers nest only through event loops spun inside them, so
            // they end in the reverse order of their start.
            owner->reading.removeLast();
            if (!owner->reading.contains(socket) && owner->doomed.remove(socket))
                socket->deleteLater();
        }
        Reading(const Reading &) = delete;
        Reading &operator=(const Reading &) = delete;

    private:
        SocketRelease *owner;
        QLocalSocket *socket;
    };

    // deleteLater() now, or when the outermost handler of the socket returns.
    void release(QLocalSocket *socket)
    {
        if (reading.contains(socket))
            doomed.insert(socket);
        else
            socket->deleteLater();
    }

private:
    // The sockets whose handlers are on the stack, innermost last: a few at
    // most, and nothing kept per socket.
    QVector<QLocalSocket *> reading;
    QSet<QLocalSocket *> doomed;
};

} // namespace oru_sdk
