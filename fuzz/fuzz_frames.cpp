// The frame layer fed arbitrary bytes. The first byte picks the mode:
//  - even: the rest is a raw byte stream, cut into chunks whose lengths come
//    from the next bytes; readFrames runs after every chunk (as it would on each
//    readiness notification), on a device and on a FrameBuffer, and must agree
//    with the QDataStream reader it replaced; so does FrameSplitter;
//  - odd: the rest describes frames (type, length, payload) that are encoded
//    and must come back unchanged: from FrameSplitter whatever the cuts, and
//    from readFrames when every write holds whole frames.
#include "frame_codec.h"
#include "fuzz_input.h"

#include <QDataStream>
#include <QIODevice>
#include <QList>

#include <cstdlib>
#include <cstring>

using oru_fuzz::Input;
using oru_sdk::MessageType;

namespace {

// A sequential device whose bytes "arrive" as the test pushes them: what
// bytesAvailable() reports is what a socket would have received so far.
class Feed : public QIODevice
{
public:
    Feed() { open(QIODevice::ReadOnly); }
    void push(const QByteArray &bytes) { buffer.append(bytes); }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return buffer.size() - pos + QIODevice::bytesAvailable(); }
    qint64 consumed() const { return pos - QIODevice::bytesAvailable(); }

protected:
    qint64 readData(char *data, qint64 max) override
    {
        const qint64 n = qMin<qint64>(max, buffer.size() - pos);
        if (n > 0)
            std::memcpy(data, buffer.constData() + pos, size_t(n));
        pos += n;
        return n;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray buffer;
    qint64 pos = 0;
};

struct Frame {
    MessageType type;
    QByteArray payload;
};

void check(bool ok)
{
    if (!ok)
        std::abort();
}

// Chunk lengths for cutting a stream: one byte each, 0 meaning "the rest".
QList<int> cuts(Input &in)
{
    QList<int> lengths;
    const int count = in.byte() % 16;
    for (int i = 0; i < count; ++i)
        lengths.append(in.byte());
    return lengths;
}

template <typename Each>
void inChunks(const QByteArray &stream, const QList<int> &lengths, Each each)
{
    int at = 0;
    for (int length : lengths) {
        if (at >= stream.size())
            break;
        const int n = length == 0 ? stream.size() - at : qMin(length, stream.size() - at);
        each(stream.mid(at, n));
        at += n;
    }
    if (at < stream.size())
        each(stream.mid(at));
}

QList<Frame> splitAll(const QByteArray &stream, const QList<int> &lengths)
{
    oru_sdk::FrameSplitter splitter;
    QList<Frame> frames;
    qint64 taken = 0;
    inChunks(stream, lengths, [&](const QByteArray &chunk) {
        splitter.append(chunk);
        Frame f;
        while (splitter.next(&f.type, &f.payload)) {
            taken += oru_sdk::kFrameHeaderSize + f.payload.size();
            frames.append(f);
        }
    });
    // Every byte is either in a frame taken or still buffered.
    check(taken + splitter.buffered() == stream.size());
    return frames;
}

// The frame reader as first written, on QDataStream: the reference that
// readFrames must match on every source, short reads included.
template <typename Deliver>
bool referenceReadFrames(QIODevice *device, qint64 &pendingLength, Deliver &&deliver, qint64 maxLength)
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

// readFrames as the servers run it: one pass per arriving chunk, the pending
// length kept between passes; `stopAt` makes the owner refuse one frame
// (as the control server does with an exit before hello). The same pass runs
// over a device, over a FrameBuffer (the descriptor reader's) and through the
// reference reader: frames, bytes consumed and results must all agree.
QList<Frame> readAll(const QByteArray &stream, const QList<int> &lengths, int stopAt = -1, qint64 maxLength = 0)
{
    struct Reader {
        qint64 pending = 0;
        QList<Frame> frames;
        bool open = true;
        auto deliverTo(int stopAt)
        {
            return [this, stopAt](MessageType type, const QByteArray &payload) {
                frames.append({type, payload});
                return frames.size() != stopAt;
            };
        }
    };
    Feed feed, reference;
    oru_sdk::FrameBuffer buffer;
    qint64 pushed = 0;
    Reader device, buffered, original;
    inChunks(stream, lengths, [&](const QByteArray &chunk) {
        if (!device.open)
            return;
        feed.push(chunk);
        reference.push(chunk);
        int room = 0;
        std::memcpy(buffer.room(chunk.size(), &room), chunk.constData(), size_t(chunk.size()));
        buffer.wrote(chunk.size());
        pushed += chunk.size();
        device.open = oru_sdk::readFrames(&feed, device.pending, device.deliverTo(stopAt), maxLength);
        buffered.open = oru_sdk::readFrames(&buffer, buffered.pending, buffered.deliverTo(stopAt), maxLength);
        original.open = referenceReadFrames(&reference, original.pending, original.deliverTo(stopAt), maxLength);
        check(device.open == original.open && buffered.open == original.open);
        check(device.pending == original.pending && buffered.pending == original.pending);
        check(feed.consumed() == reference.consumed() && pushed - buffer.bytesAvailable() == reference.consumed());
        check(feed.consumed() <= stream.size());
    });
    check(device.frames.size() == original.frames.size() && buffered.frames.size() == original.frames.size());
    for (int i = 0; i < original.frames.size(); ++i) {
        const Frame &f = original.frames[i];
        for (const Frame &g : {device.frames[i], buffered.frames[i]})
            check(g.type == f.type && g.payload == f.payload && g.payload.isNull() == f.payload.isNull());
    }
    return original.frames;
}

void rawStream(Input &in)
{
    const QList<int> lengths = cuts(in);
    const int pick = in.byte();
    const int stopAt = pick % 4;
    const QByteArray stream = in.rest();
    readAll(stream, lengths, stopAt == 0 ? -1 : stopAt, (pick & 4) ? 100 : 0);
    splitAll(stream, lengths);
}

void encodedFrames(Input &in)
{
    const QList<int> lengths = cuts(in);
    QList<Frame> frames;
    QByteArray stream;
    QList<int> whole; // one chunk per frame
    while (!in.empty() && frames.size() < 64) {
        Frame f;
        f.type = MessageType(qint8(in.byte()));
        const quint8 size = in.byte();
        // A null payload goes out as 0xFFFFFFFF and comes back empty.
        f.payload = size == 255 ? QByteArray() : in.bytes(size);
        const QByteArray encoded = oru_sdk::encodeFrame(f.type, f.payload);
        check(encoded.size() == oru_sdk::kFrameHeaderSize + f.payload.size());
        stream += encoded;
        whole.append(encoded.size());
        frames.append(f);
    }
    const auto same = [&](const QList<Frame> &got) {
        check(got.size() == frames.size());
        for (int i = 0; i < got.size(); ++i)
            check(got[i].type == frames[i].type && got[i].payload == frames[i].payload);
    };
    same(splitAll(stream, lengths));
    same(readAll(stream, whole));
    // Arbitrary cuts may read a frame short on purpose; they must not crash.
    readAll(stream, lengths);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input in(data, size);
    if (in.byte() & 1)
        encodedFrames(in);
    else
        rawStream(in);
    return 0;
}
