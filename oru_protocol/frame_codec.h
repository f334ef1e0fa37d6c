#pragma once

#include "message_type.h"

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>

namespace oru_sdk {

// Frame layout, big-endian: qint64 length (payload size + 1), qint8 type,
// quint32 payload size (0xFFFFFFFF for a null array), payload bytes.
constexpr int kFrameHeaderSize = 13;

// Builds one whole frame, ready for a single write.
QByteArray encodeFrame(MessageType type, const QByteArray &payload);
// Only the frame's first kFrameHeaderSize bytes, for writers that send the
// payload from its own array.
QByteArray encodeFrameHeader(MessageType type, const QByteArray &payload);
// The header of a frame with `size` payload bytes, or of a null payload.
void writeFrameHeader(uchar *out, MessageType type, int size, bool null);
// A frame whose (non-null) payload of `size` bytes `write` puts in place at
// the pointer it is given: one array, no copy of the payload.
template <typename Write>
QByteArray encodeFrameInPlace(MessageType type, int size, Write &&write)
{
    QByteArray frame(kFrameHeaderSize + size, Qt::Uninitialized);
    writeFrameHeader(reinterpret_cast<uchar *>(frame.data()), type, size, false);
    write(reinterpret_cast<uchar *>(frame.data()) + kFrameHeaderSize);
    return frame;
}

// Reads every complete frame available on `device`, one pass per readiness
// notification. `pendingLength` is the connection's length already read (0 when
// none). `deliver(type, payload)` returns false to leave the rest for later.
// With `maxLength` above 0, a frame announcing a larger (or negative) length
// stops the reading and makes the call return false; the length stays in
// `pendingLength` for the caller's report.
//
// Two quirks are part of the protocol and kept on purpose: fewer than 9
// available bytes never start a pass, even with a length pending; and a frame
// is taken as complete once `length` bytes are available, four short of its
// real end, so a frame whose tail is missing is read short (empty payload).
template <typename Deliver>
bool readFrames(QIODevice *device, qint64 &pendingLength, Deliver &&deliver, qint64 maxLength = 0)
{
    QDataStream in(device);
    in.setVersion(QDataStream::Qt_5_13);
    while (device->bytesAvailable() >= 9) {
        if (pendingLength == 0)
            in >> pendingLength;
        if (maxLength > 0 && (pendingLength > maxLength || pendingLength < 0))
            return false;
        if (device->bytesAvailable() < pendingLength)
            return true;
        qint8 type = 0;
        QByteArray payload;
        in >> type >> payload;
        pendingLength = 0;
        if (!deliver(static_cast<MessageType>(type), payload))
            return true;
    }
    return true;
}

// An exact frame splitter for the main client's side, where large frames
// arrive in pieces: a frame is taken only once all its bytes are there.
class FrameSplitter
{
public:
    void append(const QByteArray &bytes) { buffer.append(bytes); }
    // Takes the next whole frame; false when none is complete yet.
    bool next(MessageType *type, QByteArray *payload);
    qint64 buffered() const { return buffer.size() - offset; }

private:
    QByteArray buffer;
    int offset = 0;
};

} // namespace oru_sdk
