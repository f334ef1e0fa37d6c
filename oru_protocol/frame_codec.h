#pragma once

#include "message_type.h"

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>
#include <QtEndian>

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

// The bytes of a socket read ahead of the frame reader, as one array: what
// the reader takes from the front is dropped, new bytes go at the end.
class FrameBuffer
{
public:
    qint64 bytesAvailable() const { return end - offset; }
    // Up to `size` bytes into `out`; the count taken.
    qint64 read(char *out, qint64 size);
    // `size` bytes (at most what is there) as an array of their own.
    QByteArray take(qint64 size);
    // Room for at least `atLeast` more bytes at the end (or all that a
    // placement still awaits, see below); `wrote` then counts what was put
    // there.
    char *room(int atLeast, int *size);
    void wrote(int size);
    // While the buffer is empty, a frame reader can have the next `size`
    // bytes placed straight where it wants them (a payload's own array):
    // room() hands out that space until it is full.
    void placeNext(char *at, int size)
    {
        placeAt = at;
        placeLeft = size;
    }
    int awaitedInPlace() const { return placeLeft; }
    // Every byte ever written, in place or not.
    qint64 written() const { return total; }

private:
    QByteArray bytes;
    int offset = 0;
    int end = 0;
    char *placeAt = nullptr;
    int placeLeft = 0;
    qint64 total = 0;
};

namespace frame_source {
// The reader below takes bytes as QDataStream takes them from a device: a
// read asks for a count and gets what is there, the rest consumed all the same.
inline qint64 read(QIODevice *device, char *out, qint64 size) { return device->read(out, size); }
inline qint64 read(FrameBuffer *buffer, char *out, qint64 size) { return buffer->read(out, size); }
// Into an array of its own, as QDataStream reads (QIODevice::read(qint64) may
// call the device's readData with no buffer at all).
inline QByteArray take(QIODevice *device, qint64 size)
{
    QByteArray bytes(int(size), Qt::Uninitialized);
    bytes.resize(int(qMax<qint64>(0, device->read(bytes.data(), size))));
    return bytes;
}
inline QByteArray take(FrameBuffer *buffer, qint64 size) { return buffer->take(size); }
} // namespace frame_source

// Reads every complete frame available on `source` (a QIODevice or a
// FrameBuffer), one pass per readiness notification. `pendingLength` is the
// connection's length already read (0 when none). `deliver(type, payload)`
// returns false to leave the rest for later. With `maxLength` above 0, a
// frame announcing a larger (or negative) length stops the reading and makes
// the call return false; the length stays in `pendingLength` for the
// caller's report.
//
// Two quirks are part of the protocol and kept on purpose: fewer than 9
// available bytes never start a pass, even with a length pending; and a frame
// is taken as complete once `length` bytes are available, four short of its
// real end, so a frame whose tail is missing is read short (empty payload).
// The fields are read as QDataStream (version Qt_5_13) reads them, short
// reads included: the fuzzers compare the two on random byte streams.
template <typename Source, typename Deliver>
bool readFrames(Source *source, qint64 &pendingLength, Deliver &&deliver, qint64 maxLength = 0)
{
    while (source->bytesAvailable() >= 9) {
        if (pendingLength == 0) {
            uchar length[8];
            frame_source::read(source, reinterpret_cast<char *>(length), 8);
            pendingLength = qFromBigEndian<qint64>(length);
        }
        if (maxLength > 0 && (pendingLength > maxLength || pendingLength < 0))
            return false;
        if (source->bytesAvailable() < pendingLength)
            return true;
        char type = 0;
        frame_source::read(source, &type, 1);
        // The payload as a QByteArray: a 32-bit count (0xFFFFFFFF: null), then
        // the bytes; missing ones make it null, what was there is consumed.
        uchar count[4] = {0, 0, 0, 0};
        QByteArray payload;
        if (frame_source::read(source, reinterpret_cast<char *>(count), 4) != 4) {
            payload = QByteArray(""); // a short count reads as 0
        } else if (const quint32 size = qFromBigEndian<quint32>(count); size != 0xFFFFFFFFu) {
            if (source->bytesAvailable() >= qint64(size))
                payload = size == 0 ? QByteArray("") : frame_source::take(source, size);
            else if (source->bytesAvailable() > 0)
                frame_source::take(source, source->bytesAvailable());
        }
        pendingLength = 0;
        if (!deliver(static_cast<MessageType>(static_cast<qint8>(type)), payload))
            return true;
    }
    return true;
}

// An exact frame splitter for the main client's side, where large frames
// arrive in pieces: a frame is taken only once all its bytes are there. Once
// the buffer it reads from is empty, the rest of a large payload (and of the
// header after one) is placed straight into the splitter's own arrays, so
// that payload is handed out without a copy of its own.
class FrameSplitter
{
public:
    FrameSplitter() = default;
    FrameSplitter(const FrameSplitter &) = delete; // placements point into it
    FrameSplitter &operator=(const FrameSplitter &) = delete;

    void append(const QByteArray &bytes);
    // Takes the next whole frame; false when none is complete yet.
    bool next(MessageType *type, QByteArray *payload) { return next(&own, type, payload); }
    // The same from bytes read ahead elsewhere (a descriptor reader's buffer),
    // one stream of frames per splitter.
    bool next(FrameBuffer *from, MessageType *type, QByteArray *payload);
    // Appended bytes not handed out in a frame yet.
    qint64 buffered() const { return own.bytesAvailable() + (inFrame ? kFrameHeaderSize : 0) + have; }

private:
    FrameBuffer own;
    uchar header[kFrameHeaderSize] = {};
    bool inFrame = false; // the header is in, the payload is being gathered
    MessageType frameType = MessageType(0);
    QByteArray payload;
    qint64 payloadSize = 0;
    int have = 0;   // bytes of the header or payload gathered
    int placed = 0; // bytes of it that a placement still awaits
    bool afterLarge = false;
};

} // namespace oru_sdk
