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

void FrameSplitter::append(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return;
    int size = 0;
    std::memcpy(own.room(bytes.size(), &size), bytes.constData(), size_t(bytes.size()));
    own.wrote(bytes.size());
}

bool FrameSplitter::next(FrameBuffer *from, MessageType *type, QByteArray *out)
{
    // Room is made for this much of an announced payload at once; a larger
    // one grows as its bytes come, so a wrong count costs no memory.
    constexpr qint64 kReserveAhead = 16 << 20;
    // The most one array holds here; a larger payload is never complete.
    constexpr qint64 kLargest = 1 << 30;
    if (!inFrame) {
        if (from->bytesAvailable() < kFrameHeaderSize)
            return false;
        uchar header[kFrameHeaderSize];
        from->read(reinterpret_cast<char *>(header), kFrameHeaderSize);
        frameType = static_cast<MessageType>(static_cast<qint8>(header[8]));
        const quint32 size = qFromBigEndian<quint32>(header + 9);
        missing = size == 0xFFFFFFFFu ? 0 : qint64(size);
        // An empty payload is not a null one (0xFFFFFFFF).
        payload = size == 0xFFFFFFFFu ? QByteArray() : QByteArray("");
        if (missing > 0 && missing <= kLargest)
            payload.reserve(int(qMin(missing, kReserveAhead)));
        inFrame = true;
    }
    const int n = int(qMin(qMin(missing, from->bytesAvailable()), kLargest - payload.size()));
    if (n > 0) {
        const int at = payload.size();
        payload.resize(at + n);
        from->read(payload.data() + at, n);
        missing -= n;
    }
    if (missing > 0)
        return false;
    *type = frameType;
    *out = std::move(payload);
    payload = QByteArray();
    inFrame = false;
    return true;
}

} // namespace oru_sdk
