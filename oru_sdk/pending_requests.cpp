#include "pending_requests.h"

namespace oru_sdk {

void PendingRequests::insert(const QString &id, qintptr socketName)
{
    const auto old = byId.constFind(id);
    if (old != byId.cend())
        forget(*old);
    const quint64 order = nextOrder++;
    byId.insert(id, {socketName, order});
    byConnection[socketName].insert(order, id);
}

bool PendingRequests::take(const QString &id, qintptr *socketName)
{
    const auto it = byId.constFind(id);
    if (it == byId.cend())
        return false;
    *socketName = it->socketName;
    forget(*it);
    byId.remove(id);
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
    if (ids->isEmpty())
        byConnection.erase(ids);
}

} // namespace oru_sdk
