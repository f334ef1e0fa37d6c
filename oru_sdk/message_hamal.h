#pragma once

#include "message_type.h"
#include "pending_requests.h"

#include <QByteArray>
#include <QObject>
#include <QString>

namespace oru_sdk {

class MessageServer;

// The control channel's dispatcher: inbound frames become DgwSignals signals,
// the host's answers and pushes become outbound frames. Requests are
// remembered by id so that their answer finds the connection that asked.
class MessageHamal : public QObject
{
    Q_OBJECT

public:
    static MessageHamal &instance();

    void start(const QString &serverName);

public slots:
    void slotMessageComing(qintptr socketName, MessageType msgType, QByteArray message);

private:
    explicit MessageHamal(QObject *parent);

    void connectOutbound();
    template <typename Route>
    void connectRoute(MessageType type, const Route &route);

    MessageServer *server = nullptr;
    PendingRequests pendingRequests;
};

} // namespace oru_sdk
