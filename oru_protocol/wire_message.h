#pragma once

#include <QByteArray>

namespace oru_sdk {

// Parses a whole payload; false on any malformed input (the message is then
// left in an unspecified but valid state).
template <typename Message>
bool parseMessage(const QByteArray &payload, Message *message)
{
    return message->ParseFromArray(payload.constData(), payload.size());
}

// Serialises straight into the QByteArray that the frame will carry.
template <typename Message>
QByteArray serializeMessage(const Message &message)
{
    const size_t size = message.ByteSizeLong();
    QByteArray bytes(int(size), Qt::Uninitialized);
    if (size > 0)
        message.SerializeWithCachedSizesToArray(reinterpret_cast<uint8_t *>(bytes.data()));
    return bytes;
}

} // namespace oru_sdk
