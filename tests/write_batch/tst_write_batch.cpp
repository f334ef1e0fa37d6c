#include "frame_codec.h"
#include "write_batch.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QUuid>
#include <QtTest>

using oru_sdk::MessageType;
using oru_sdk::WriteBatch;

namespace {

// Takes every write itself and reports it at once, from inside write(): a
// QIODevice may emit bytesWritten synchronously, Qt's own sockets just never do.
class EagerSocket : public QLocalSocket
{
public:
    QByteArray taken;
    QList<qint64> writes;

protected:
    qint64 writeData(const char *data, qint64 size) override
    {
        taken.append(data, int(size));
        writes.append(size);
        emit bytesWritten(size);
        return size;
    }
};

// An EagerSocket connected to a peer that does not read, with frames of
// `sizes` appended in one pass (enough to fill the kernel's buffer).
struct Pair {
    QLocalServer server;
    EagerSocket socket;
    QLocalSocket *peer = nullptr;
    QByteArray expected;
    QList<qint64> frameEnds;

    bool connect()
    {
        const QString name = QStringLiteral("oru-wb-") + QUuid::createUuid().toString(QUuid::Id128);
        if (!server.listen(name))
            return false;
        socket.connectToServer(name);
        return socket.waitForConnected(3000) && server.waitForNewConnection(3000)
            && (peer = server.nextPendingConnection());
    }

    void write(WriteBatch *batch, const QList<int> &sizes)
    {
        for (int size : sizes) {
            const QByteArray payload(size, char('a' + frameEnds.size() % 26));
            const QByteArray header = oru_sdk::encodeFrameHeader(MessageType::StreamData, payload);
            batch->append(&socket, header, payload);
            expected += header + payload;
            frameEnds.append(expected.size());
        }
    }

    // What reached the peer through the kernel, then what the socket took.
    QByteArray received()
    {
        QByteArray bytes = peer->readAll();
        while (bytes.size() + socket.taken.size() < expected.size() && peer->waitForReadyRead(1000))
            bytes += peer->readAll();
        return bytes + socket.taken;
    }
};

} // namespace

class tst_WriteBatch : public QObject
{
    Q_OBJECT

private slots:
    void framesLeaveWholeAndInOrder();
};

// The peer's reader takes a frame once its length has arrived: every write
// must end where a frame ends (and so carry the rest of a frame in one piece),
// also while the socket reports bytesWritten from inside write().
void tst_WriteBatch::framesLeaveWholeAndInOrder()
{
    Pair pair;
    QVERIFY(pair.connect());
    WriteBatch batch(nullptr, WriteBatch::Channel::Stream);
    QList<int> sizes;
    for (int i = 0; i < 200; ++i)
        sizes << (i * 7919) % (40 << 10) << 0;
    pair.write(&batch, sizes);
    QTRY_VERIFY(!pair.socket.taken.isEmpty());
    const QByteArray got = pair.received();
    QCOMPARE(got, pair.expected);
    qint64 end = got.size() - pair.socket.taken.size();
    for (qint64 size : qAsConst(pair.socket.writes))
        QVERIFY2(pair.frameEnds.contains(end += size), qPrintable(QString::number(end)));
}

QTEST_GUILESS_MAIN(tst_WriteBatch)
#include "tst_write_batch.moc"
