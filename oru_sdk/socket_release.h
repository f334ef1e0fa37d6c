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
            // The entry stays at 0 until the socket is released: no hash
            // node allocated and freed per read.
            if (--owner->depths[socket] > 0)
                return;
            if (owner->doomed.remove(socket)) {
                owner->depths.remove(socket);
                socket->deleteLater();
            }
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
        const auto it = depths.find(socket);
        if (it != depths.end() && *it > 0) {
            doomed.insert(socket);
            return;
        }
        if (it != depths.end())
            depths.erase(it);
        socket->deleteLater();
    }

private:
    QHash<QLocalSocket *, int> depths;
    QSet<QLocalSocket *> doomed;
};

} // namespace oru_sdk
