#include "frame_codec.h"

#include <QtTest>

using oru_sdk::MessageType;

namespace {

// A byte pipe: what is appended becomes readable, like a socket's buffer.
class Pipe : public QIODevice
{
public:
    Pipe() { open(QIODevice::ReadOnly); }
    void feed(const QByteArray &bytes) { data.append(bytes); }
    qint64 bytesAvailable() const override { return data.size() + QIODevice::bytesAvailable(); }
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *out, qint64 max) override
    {
        const qint64 n = qMin<qint64>(max, data.size());
        memcpy(out, data.constData(), size_t(n));
        data.remove(0, int(n));
        return n;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray data;
};

using Frames = QList<QPair<int, QByteArray>>;

Frames readAll(Pipe &pipe, qint64 &pending)
{
    Frames frames;
    oru_sdk::readFrames(&pipe, pending, [&](MessageType type, const QByteArray &payload) {
        frames.append({int(type), payload});
        return true;
    });
    return frames;
}

QByteArray frame(int type, const QByteArray &payload) { return oru_sdk::encodeFrame(MessageType(type), payload); }

} // namespace

class tst_Frame : public QObject
{
    Q_OBJECT

private slots:
    void encode_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QByteArray>("expected");
        // Length (payload + 1 for the type), type, then the payload the QDataStream way.
        QTest::newRow("empty") << 4 << QByteArray("") << QByteArray::fromHex("0000000000000001 04 00000000");
        QTest::newRow("null payload") << 102 << QByteArray() << QByteArray::fromHex("0000000000000001 66 ffffffff");
        QTest::newRow("three bytes") << 59 << QByteArray("abc")
                                     << QByteArray::fromHex("0000000000000004 3b 00000003 616263");
        QTest::newRow("negative type") << -128 << QByteArray("x")
                                       << QByteArray::fromHex("0000000000000002 80 00000001 78");
    }

    void encode()
    {
        QFETCH(int, type);
        QFETCH(QByteArray, payload);
        QFETCH(QByteArray, expected);
        QCOMPARE(frame(type, payload).toHex(), expected.toHex());
    }

    void stopLeavesTheRest()
    {
        Pipe pipe;
        pipe.feed(frame(4, {}) + frame(9, "z"));
        qint64 pending = 0;
        int calls = 0;
        oru_sdk::readFrames(&pipe, pending, [&](MessageType, const QByteArray &) { return ++calls > 1; });
        QCOMPARE(calls, 1);
        QCOMPARE(readAll(pipe, pending), (Frames{{9, "z"}}));
    }

    void largestFrame_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<qint64>("limit");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<qint64>("pending");
        const QByteArray huge = QByteArray::fromHex("4000000000000000") + QByteArray(8, 'x');
        QTest::newRow("at the limit") << frame(7, QByteArray(99, 'p')) << qint64(100) << true << qint64(0);
        QTest::newRow("one over") << frame(7, QByteArray(100, 'p')) << qint64(100) << false << qint64(101);
        QTest::newRow("2^62 announced") << huge << qint64(100) << false << (qint64(1) << 62);
        QTest::newRow("negative") << QByteArray::fromHex("ffffffffffffff00") + QByteArray(8, 'x') << qint64(100)
                                  << false << qint64(-256);
        QTest::newRow("no limit") << huge << qint64(0) << true << (qint64(1) << 62);
    }

    void largestFrame()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(qint64, limit);
        QFETCH(bool, accepted);
        QFETCH(qint64, pending);
        Pipe pipe;
        pipe.feed(bytes);
        qint64 length = 0;
        QCOMPARE(oru_sdk::readFrames(
                     &pipe, length, [](MessageType, const QByteArray &) { return true; }, limit),
                 accepted);
        QCOMPARE(length, pending);
    }

    void splitterTakesWholeFramesOnly()
    {
        const QByteArray big(3 << 20, 'q');
        const QByteArray stream = frame(102, big) + frame(102, QByteArray()) + frame(103, "e");
        oru_sdk::FrameSplitter splitter;
        Frames got;
        for (int at = 0; at < stream.size(); at += 65536 + 7) {
            splitter.append(stream.mid(at, 65536 + 7));
            MessageType type;
            QByteArray payload;
            while (splitter.next(&type, &payload))
                got.append({int(type), payload});
        }
        QCOMPARE(got.size(), 3);
        QVERIFY(got[0].second == big);
        QVERIFY(got[1].second.isNull());
        QCOMPARE(got[2], (QPair<int, QByteArray>{103, "e"}));
        QCOMPARE(splitter.buffered(), qint64(0));
    }
};

QTEST_GUILESS_MAIN(tst_Frame)
#include "tst_frame.moc"
