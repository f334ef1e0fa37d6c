#include "frame_codec.h"

#include <QtEndian>

#include <cstring>

namespace oru_sdk {

namespace {
void writeHeader(uchar *out, MessageType type, const QByteArray &payload)
{
    writeFrameHeader(out, type, payload.size(), payload.isNull());
}
} // namespace

void writeFrameHeader(uchar *out, MessageType type, int size, bool null)
{
    qToBigEndian<qint64>(qint64(size) + 1, out);
    out[8] = static_cast<uchar>(static_cast<qint8>(type));
    qToBigEndian<quint32>(null ? 0xFFFFFFFFu : quint32(size), out + 9);
}

QByteArray encodeFrame(MessageType type, const QByteArray &payload)
{
    // Same bytes as QDataStream (version Qt_5_13) would write, without its
    // per-field overhead.
    const int size = payload.size();
    QByteArray frame(kFrameHeaderSize + size, Qt::Uninitialized);
    writeHeader(reinterpret_cast<uchar *>(frame.data()), type, payload);
    if (size > 0)
        std::memcpy(frame.data() + kFrameHeaderSize, payload.constData(), size_t(size));
    return frame;
}

QByteArray encodeFrameHeader(MessageType type, const QByteArray &payload)
{
    QByteArray header(kFrameHeaderSize, Qt::Uninitialized);
    writeHeader(reinterpret_cast<uchar *>(header.data()), type, payload);
    return header;
}

qint64 FrameBuffer::read(char *out, qint64 size)
{
    const int n = int(qMin(size, bytesAvailable()));
    if (n > 0)
        std::memcpy(out, bytes.constData() + offset, size_t(n));
    offset += n;
    return n;
}

QByteArray FrameBuffer::take(qint64 size)
{
    const int n = int(qMin(size, bytesAvailable()));
    const QByteArray taken(bytes.constData() + offset, n);
    offset += n;
    return taken;
}

char *FrameBuffer::room(int atLeast, int *size)
{
    if (placeLeft > 0) {
        *size = placeLeft;
        return placeAt;
    }
    // Small storage is kept for the next bytes; large storage goes once empty,
    // so that one big frame does not stay in memory.
    constexpr int kKeep = 4096;
    if (offset == end) {
        offset = end = 0;
        if (bytes.size() > kKeep)
            bytes = QByteArray();
    } else if (offset > 0 && bytes.size() - end < atLeast) {
        std::memmove(bytes.data(), bytes.constData() + offset, size_t(end - offset));
        end -= offset;
        offset = 0;
    }
    if (bytes.size() - end < atLeast)
        bytes.resize(qMax(end + atLeast, qMin(2 * bytes.size(), end + (1 << 20))));
    *size = bytes.size() - end;
    return bytes.data() + end;
}

void FrameBuffer::wrote(int size)
{
    total += size;
    if (placeLeft > 0) {
        placeAt += size;
        placeLeft -= size;
    } else {
        end += size;
    }
}

void FrameSplitter::append(const QByteArray &bytes)
{
    for (int at = 0, size = 0; at < bytes.size(); at += size) {
        char *to = own.room(bytes.size() - at, &size);
        size = qMin(size, bytes.size() - at);
        std::memcpy(to, bytes.constData() + at, size_t(size));
        own.wrote(size);
    }
}

bool FrameSplitter::next(FrameBuffer *from, MessageType *type, QByteArray *out)
{
    // A payload's array grows by this much at most at once, so that a wrong
    // count costs no memory; a payload above kLargest is never complete.
    constexpr int kStep = 16 << 20;
    constexpr int kLargest = 1 << 30;
    // A placement costs the reader a notification of its own: worth it for a
    // large payload, and for the header after one (a stream of large frames).
    // Small frames are read many at a time and copied out.
    constexpr int kPlaceFrom = 32 << 10;
    have += placed - from->awaitedInPlace();
    placed = from->awaitedInPlace();
    if (placed > 0)
        return false;
    for (;;) {
        const int size = inFrame ? payload.size() : kFrameHeaderSize;
        if (have < size) {
            char *part = inFrame ? payload.data() : reinterpret_cast<char *>(header);
            have += int(from->read(part + have, size - have));
            if (have < size) {
                if (!(inFrame ? payloadSize >= kPlaceFrom : afterLarge))
                    return false;
                // Nothing left in the buffer: the rest goes straight into place.
                placed = size - have;
                from->placeNext(part + have, placed);
                return false;
            }
        }
        if (!inFrame) {
            frameType = static_cast<MessageType>(static_cast<qint8>(header[8]));
            const quint32 count = qFromBigEndian<quint32>(header + 9);
            // An empty payload is not a null one (0xFFFFFFFF).
            payloadSize = count == 0xFFFFFFFFu ? 0 : qint64(count);
            payload = count == 0xFFFFFFFFu ? QByteArray() : QByteArray("");
            if (payloadSize > 0)
                payload.resize(int(qMin<qint64>(payloadSize, kStep)));
            have = 0;
            inFrame = true;
        } else if (payloadSize > size) {
            if (size >= kLargest)
                return false;
            payload.resize(int(qMin<qint64>(payloadSize, qMin<qint64>(kLargest, size + qMax(size, kStep)))));
        } else {
            *type = frameType;
            afterLarge = payloadSize >= kPlaceFrom;
            *out = std::move(payload);
            payload = QByteArray();
            have = 0;
            inFrame = false;
            return true;
        }
    }
}

} // namespace oru_sdk
