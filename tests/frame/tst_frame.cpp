#include "connection.h"
#include "frame_codec.h"

#include <QLocalServer>
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

    void splitterTakesWholeFramesOnly_data()
    {
        QTest::addColumn<int>("reader"); // 0: bytes appended, 1: a connection's descriptor, 2: Qt's reader
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("cut");
        QTest::newRow("appended") << 0 << (3 << 20) << 65536 + 7;
        QTest::newRow("descriptor") << 1 << (3 << 20) << 65536 + 7;
        QTest::newRow("descriptor, every byte") << 1 << (40 << 10) << 1;
        QTest::newRow("Qt's reader, every byte") << 2 << (40 << 10) << 1;
    }

    // However the stream is cut, frames come whole, an empty payload stays
    // apart from a null one, and a frame cut off by the peer's leaving is
    // never handed out.
    void splitterTakesWholeFramesOnly()
    {
        QFETCH(int, reader);
        QFETCH(int, size);
        QFETCH(int, cut);
        const QByteArray big(size, 'q');
        const QByteArray stream = frame(102, big) + frame(102, QByteArray()) + frame(103, "") + frame(103, "e")
            + frame(104, "cut off").left(15);
        oru_sdk::FrameSplitter splitter;
        QLocalServer server;
        oru_client::Connection connection;
        QLocalSocket *peer = nullptr;
        if (reader > 0) {
            QVERIFY(server.listen(QStringLiteral("oru-tst-frame-%1").arg(QCoreApplication::applicationPid())));
            connection.setDirectReads(reader == 1);
            QVERIFY(connection.connectToServer(server.serverName()) && server.waitForNewConnection(3000));
            peer = server.nextPendingConnection();
        }
        Frames got;
        for (int at = 0; at < stream.size(); at += cut) {
            const QByteArray piece = stream.mid(at, cut);
            if (peer) {
                peer->write(piece);
                peer->flush();
                // Each piece is read by itself.
                QVERIFY(oru_client::spinUntil([&] { return connection.bytesReceived() == at + piece.size(); }, 3000));
                continue;
            }
            splitter.append(piece);
            MessageType type;
            QByteArray payload;
            while (splitter.next(&type, &payload))
                got.append({int(type), payload});
        }
        if (peer) {
            peer->disconnectFromServer();
            QVERIFY(connection.waitForDisconnected());
            for (const oru_client::Frame &f : connection.collectFrames(0))
                got.append({int(f.type), f.payload});
        } else {
            QCOMPARE(splitter.buffered(), qint64(15));
        }
        QCOMPARE(got.size(), 4);
        QVERIFY(got[0].second == big);
        QVERIFY(got[1].second.isNull());
        QVERIFY(!got[2].second.isNull() && got[2].second.isEmpty());
        QCOMPARE(got[3], (QPair<int, QByteArray>{103, "e"}));
    }

    // A slot that connects anew in the middle of a read: the old connection's
    // remaining frames are gone, the new connection's arrive whole.
    void reconnectFromAFrameSlot()
    {
        QLocalServer server;
        QVERIFY(server.listen(QStringLiteral("oru-tst-frame-re-%1").arg(QCoreApplication::applicationPid())));
        oru_client::Connection connection;
        connection.setKeepFrames(false);
        Frames got;
        connect(&connection, &oru_client::Connection::frameReceived, [&](const oru_client::Frame &f) {
            got.append({int(f.type), f.payload});
            if (got.size() == 1) {
                connection.disconnectFromServer();
                QVERIFY(connection.connectToServer(server.serverName()));
            }
        });
        QVERIFY(connection.connectToServer(server.serverName()) && server.waitForNewConnection(3000));
        QLocalSocket *first = server.nextPendingConnection();
        first->write(frame(102, "a") + frame(102, QByteArray(70000, 'b')));
        first->flush();
        QTRY_VERIFY(server.hasPendingConnections());
        QLocalSocket *second = server.nextPendingConnection();
        second->write(frame(103, QByteArray(70000, 'c')));
        QTRY_COMPARE(got.size(), 2);
        QCOMPARE(got[0], (QPair<int, QByteArray>{102, "a"}));
        QVERIFY(got[1] == (QPair<int, QByteArray>{103, QByteArray(70000, 'c')}));
    }
};

QTEST_GUILESS_MAIN(tst_Frame)
#include "tst_frame.moc"
