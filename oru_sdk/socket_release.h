#pragma once

#include <QHash>
#include <QLocalSocket>
#include <QSet>

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
            ++owner->depths[socket];
        }
        ~Reading()
        {
            const auto it = owner->depths.find(socket);
            if (--*it > 0)
                return;
            owner->depths.erase(it);
            if (owner->doomed.remove(socket))
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
        if (depths.contains(socket))
            doomed.insert(socket);
        else
            socket->deleteLater();
    }

private:
    QHash<QLocalSocket *, int> depths;
    QSet<QLocalSocket *> doomed;
};

} // namespace oru_sdk
