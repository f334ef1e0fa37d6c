#include "sdk_fixture.h"

#include "oru_message.pb.h"

#include <oru_sdk/dgw_signals.h>

#include <QtTest>

#include <memory>

using oru_client::Connection;
using oru_sdk::DgwSignals;
using oru_sdk::MessageType;

namespace {

// A header announcing 2^62 bytes, then some of them.
QByteArray hugeFrame() { return QByteArray::fromHex("40000000000000000a") + QByteArray(200000, 'x'); }

} // namespace

// Each scenario runs in a process of its own with its limits in the
// environment (see tests/CMakeLists.txt).
class tst_Limits : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { oru_test::startSdk(); }

    void oversizedFrameClosesSocket_data() { oru_test::addBoolRows("stream", "control", "stream"); }

    void oversizedFrameClosesSocket()
    {
        ORU_REQUIRE_OWN_PROCESS();
        QFETCH(bool, stream);
        QSignalSpy searches(&DgwSignals::instance(), &DgwSignals::signalSearchDevsCmd);
        Connection bad, good;
        QVERIFY(stream ? oru_test::connectStream(&bad) : oru_test::connectControlLogged(&bad));
        QVERIFY(oru_test::connectControlLogged(&good));
        oru_test::LogCursor cursor;
        bad.sendRaw(hugeFrame());
        QVERIFY(bad.waitForDisconnected());
        QTRY_COMPARE(cursor.lines().filter(QStringLiteral("over the limit of 1024: closed")).size(), 1);
        // Up to the limit is fine, and others are not touched.
        good.sendFrame(MessageType::SearchDevsCmd, QByteArray(1023, 'p'));
        QTRY_COMPARE(searches.count(), 1);
    }

    void boundedReadBufferStillTakesWholeFrames()
    {
        ORU_REQUIRE_OWN_PROCESS();
        QSignalSpy searches(&DgwSignals::instance(), &DgwSignals::signalSearchDevsCmd);
        Connection client, bad;
        QVERIFY(oru_test::connectControlLogged(&client) && oru_test::connectControlLogged(&bad));
        // Frames just under the buffer, far more of them than it holds.
        QByteArray many;
        for (int i = 0; i < 50; ++i)
            many += oru_sdk::encodeFrame(MessageType::SearchDevsCmd, QByteArray(60000, 'p'));
        client.sendRaw(many);
        QTRY_COMPARE(searches.count(), 50);
        // A frame the buffer can never hold is refused.
        oru_test::LogCursor cursor;
        bad.sendRaw(hugeFrame());
        QVERIFY(bad.waitForDisconnected());
        QTRY_COMPARE(cursor.lines().filter(QStringLiteral("closed")).size(), 1);
    }

    void pendingRequestsBounded()
    {
        ORU_REQUIRE_OWN_PROCESS();
        const auto answerAll = [](const QStringList &ids) {
            for (const QString &id : ids)
                oru_sdk::get_dev_net_res({id, 0, QString()}, {});
        };
        const auto ask = [](Connection *c, const QStringList &ids) {
            QSignalSpy asked(&DgwSignals::instance(), &DgwSignals::signalGetDevNetReq);
            for (const QString &id : ids)
                c->sendFrame(MessageType::GetDevNetReq,
                             oru_test::requestWithId<oru_sdk_proto::DevNetGetReq>(id.toStdString()));
            return QTest::qWaitFor([&] { return asked.count() == ids.size(); });
        };
        const auto answered = [](Connection *c) {
            QStringList ids;
            for (const oru_client::Frame &f : c->collectFrames(100)) {
                oru_sdk_proto::DevNetGetRes m;
                if (m.ParseFromString(f.payload.toStdString()))
                    ids.append(QString::fromStdString(m.request_id()));
            }
            return ids;
        };
        Connection main, leaver, asker;
        QVERIFY(oru_test::connectControl(&main, true) && oru_test::connectControlLogged(&leaver)
                && oru_test::connectControlLogged(&asker));

        // Per connection (3): the oldest go.
        QVERIFY(ask(&asker, {"c0", "c1", "c2", "c3", "c4"}));
        answerAll({"c0", "c1", "c2", "c3", "c4"});
        QCOMPARE(answered(&asker), (QStringList{"c2", "c3", "c4"}));

        // In all (4): a departed connection's entries go first.
        QVERIFY(ask(&leaver, {"a0", "a1", "a2"}));
        QVERIFY(oru_test::disconnectLogged(&leaver));
        QVERIFY(ask(&asker, {"b0", "b1", "b2"}));
        oru_test::LogCursor cursor;
        answerAll({"a0", "a1", "a2", "b0", "b1", "b2"});
        QCOMPARE(answered(&asker), (QStringList{"b0", "b1", "b2"}));
        // Only the departed entry still kept is found (and dropped with its line).
        QCOMPARE(cursor.lines().filter(QStringLiteral("server response client get device net req")).size(), 4);

        // In bytes of ids (64K): two ids of 20,000 characters do not fit.
        const QStringList big{QString(20000, 'x') + "0", QString(20000, 'x') + "1"};
        QVERIFY(ask(&asker, big));
        answerAll(big);
        QCOMPARE(answered(&asker), QStringList{big.at(1)});
    }

    void earlySocketsReleased()
    {
        ORU_REQUIRE_OWN_PROCESS();
        oru_test::SocketDeletions deletions;
        Connection control, stream;
        QVERIFY(oru_test::connectControlLogged(&control) && oru_test::connectStreamLogged(&stream));
        oru_test::LogCursor cursor;
        QVERIFY(oru_test::disconnectLogged(&control));
        stream.disconnectFromServer();
        QTRY_COMPARE(deletions.count, 2);
        QCOMPARE(cursor.lines().filter(QStringLiteral("socket disconnect from server: ")).size(), 1);
    }

    // A control client that stops reading is closed at its queue limit unless
    // the policy says drop; the others keep receiving every push.
    void stalledControlClientClosedByDefault()
    {
        ORU_REQUIRE_OWN_PROCESS();
        Connection reader, stalled;
        stalled.setDirectReads(false); // stalled through Qt's buffer
        QVERIFY(oru_test::connectControlLogged(&reader) && oru_test::connectControlLogged(&stalled));
        oru_test::LogCursor cursor;
        stalled.localSocket()->setReadBufferSize(1);
        QSignalBlocker blocked(stalled.localSocket());
        const QString devId(64 << 10, QLatin1Char('p'));
        for (int i = 0; i < 100; ++i) {
            oru_sdk::push_dev_p2p_success(devId);
            QVERIFY(QTest::qWaitFor([&] { return reader.pendingFrames() > i; }));
        }
        QCOMPARE(cursor.lines().filter(QStringLiteral("over its queue limit of 1048576 bytes, closing it")).size(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_Limits)
#include "tst_limits.moc"
