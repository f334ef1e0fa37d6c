#include "pending_requests.h"

#include "sdk_log.h"

namespace oru_sdk {

void PendingRequests::insert(const QString &id, qintptr socketName)
{
    const auto old = byId.constFind(id);
    if (old != byId.cend())
        forget(*old);
    else
        bytes += weight(id);
    const quint64 order = nextOrder++;
    byId.insert(id, {socketName, order});
    QMap<quint64, QString> &mine = byConnection[socketName];
    mine.insert(order, id);
    if (maxPerConnection > 0 && mine.size() > maxPerConnection)
        dropOldest(socketName);
    if (maxTotal > 0 && byId.size() > maxTotal)
        dropOldest(byConnection.contains(kGone) ? kGone : socketName);
    while (maxBytes > 0 && bytes > maxBytes)
        dropOldest(byConnection.contains(kGone) ? kGone : socketName);
}

void PendingRequests::dropOldest(qintptr socketName)
{
    const auto ids = byConnection.find(socketName);
    const auto oldest = ids->begin();
    bytes -= weight(*oldest);
    byId.remove(*oldest);
    ids->erase(oldest);
    dropEmpty(ids);
    // Counted, not logged one by one: a flood must not rotate the log away.
    ++dropped;
    if ((dropped & (dropped - 1)) == 0)
        logInfo(QStringLiteral("pending requests over the limit: %1 dropped so far, their answers go nowhere")
                    .arg(dropped));
}

bool PendingRequests::take(const QString &id, qintptr *socketName)
{
    const auto it = byId.find(id);
    if (it == byId.end())
        return false;
    *socketName = it->socketName;
    forget(*it);
    bytes -= weight(id);
    byId.erase(it);
    return true;
}

void PendingRequests::release(qintptr socketName)
{
    if (socketName == kGone)
        return;
    const QMap<quint64, QString> ids = byConnection.take(socketName);
    if (ids.isEmpty())
        return;
    QMap<quint64, QString> &gone = byConnection[kGone];
    for (auto it = ids.cbegin(); it != ids.cend(); ++it) {
        byId[*it].socketName = kGone;
        gone.insert(it.key(), *it);
    }
}

void PendingRequests::forget(const Entry &entry)
{
    const auto ids = byConnection.find(entry.socketName);
    if (ids == byConnection.end())
        return;
    ids->remove(entry.order);
    dropEmpty(ids);
}

void PendingRequests::dropEmpty(QHash<qintptr, QMap<quint64, QString>>::iterator ids)
{
    // Only the departed connections' list goes when empty (its presence is
    // asked); a live connection keeps its own until it leaves, so that one
    // request after another does not build and free it each time.
    if (ids.key() == kGone && ids->isEmpty())
        byConnection.erase(ids);
}

} // namespace oru_sdk
