#pragma once

#include <QHash>
#include <QMap>
#include <QString>

namespace oru_sdk {

// The requests waiting for the host's answer: request id to the connection
// that asked, indexed by connection as well, so that a connection leaving
// costs what that connection had, not a walk over every pending request.
class PendingRequests
{
public:
    // Stands for a connection that has gone: its answers are found and dropped.
    static constexpr qintptr kGone = -2;

    // Records that `socketName` waits for `id`; a second request with the same
    // id takes over the routing of the first.
    void insert(const QString &id, qintptr socketName);
    // The connection waiting for `id`, or false if none.
    bool take(const QString &id, qintptr *socketName);
    // The connection has gone: its requests stay findable, routed nowhere.
    void release(qintptr socketName);

    int size() const { return int(byId.size()); }

    // Most entries per connection and in all (0 = no limit). Over the first,
    // the connection's oldest entry goes; over the second, the oldest entry
    // of a departed connection, or if there is none the asker's own oldest.
    int maxPerConnection = 0;
    int maxTotal = 0;
    // Most bytes of request ids kept in all, in the same order (0 = no limit).
    qint64 maxBytes = 0;

private:
    struct Entry {
        qintptr socketName;
        quint64 order;
    };
    void forget(const Entry &entry);
    void dropOldest(qintptr socketName);
    void dropEmpty(QHash<qintptr, QMap<quint64, QString>>::iterator ids);
    static qint64 weight(const QString &id) { return qint64(id.size()) * 2 + 64; }

    QHash<QString, Entry> byId;
    // Per connection (kGone for those that left), its ids oldest first.
    QHash<qintptr, QMap<quint64, QString>> byConnection;
    quint64 nextOrder = 0;
    quint64 dropped = 0;
    qint64 bytes = 0;
};

} // namespace oru_sdk
