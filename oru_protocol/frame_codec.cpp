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

bool FrameSplitter::next(MessageType *type, QByteArray *payload)
{
    const int available = buffer.size() - offset;
    if (available < kFrameHeaderSize)
        return false;
    const uchar *in = reinterpret_cast<const uchar *>(buffer.constData()) + offset;
    const quint32 size = qFromBigEndian<quint32>(in + 9);
    const qint64 payloadSize = size == 0xFFFFFFFFu ? 0 : qint64(size);
    if (available - kFrameHeaderSize < payloadSize)
        return false;
    *type = static_cast<MessageType>(static_cast<qint8>(in[8]));
    *payload = size == 0xFFFFFFFFu ? QByteArray() : buffer.mid(offset + kFrameHeaderSize, int(payloadSize));
    offset += kFrameHeaderSize + int(payloadSize);
    // Compact once the consumed head dominates, keeping appends amortised.
    if (offset == buffer.size()) {
        buffer.clear();
        offset = 0;
    } else if (offset > (1 << 20) && offset > buffer.size() / 2) {
        buffer.remove(0, offset);
        offset = 0;
    }
    return true;
}

} // namespace oru_sdk
