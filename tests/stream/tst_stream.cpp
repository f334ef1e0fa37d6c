#include "sdk_fixture.h"

#include "oru_message.pb.h"

#include <oru_sdk/dgw_signals.h>

#include <QtEndian>
#include <QtTest>

#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

using oru_client::Connection;
using oru_client::Frame;
using oru_sdk::DgwSignals;
using oru_sdk::MessageType;
using oru_sdk::PlaybackCtrl;
using oru_sdk::StreamEvent;
using oru_sdk::StreamId;
namespace pb = oru_sdk_proto;

namespace {

template <typename Message>
QByteArray bytes(const Message &m)
{
    return QByteArray::fromStdString(m.SerializeAsString());
}

// A message of type M as `fill` sets it, serialised.
template <typename M, typename Fill>
QByteArray message(Fill fill)
{
    M m;
    fill(m);
    return bytes(m);
}

template <typename Request>
Request onChannel(const QString &devId, int channel)
{
    Request m;
    m.mutable_channel_id()->set_dev_id(devId.toStdString());
    m.mutable_channel_id()->set_channel(uint(channel));
    return m;
}

QByteArray liveReq(const QString &devId, int channel, int streamType)
{
    auto m = onChannel<pb::LiveVideoConnReq>(devId, channel);
    m.set_param_2(streamType);
    return bytes(m);
}

QByteArray fileReq(const QString &devId, int channel, const QString &file, int p3, int p4)
{
    auto m = onChannel<pb::PlaybackByFileReq>(devId, channel);
    m.set_file_name(file.toStdString());
    m.set_param_3(p3);
    m.set_param_4(p4);
    return bytes(m);
}

QByteArray timeReq(const QString &devId, int channel, const QString &start, int p3)
{
    auto m = onChannel<pb::PlaybackByTimeReq>(devId, channel);
    m.set_start_time(start.toStdString());
    m.set_param_3(p3);
    return bytes(m);
}

// Sends a stream-opening request and returns the id the host was given (0 if none came).
StreamId open(Connection *c, MessageType type, const QByteArray &payload)
{
    auto *d = &DgwSignals::instance();
    QSignalSpy live(d, &DgwSignals::signalLiveVideoConnReq), file(d, &DgwSignals::signalPlaybackByFileReq),
        time(d, &DgwSignals::signalPlaybackByTimeReq);
    c->sendFrame(type, payload);
    if (!QTest::qWaitFor([&] { return live.count() + file.count() + time.count() == 1; }))
        return 0;
    for (QSignalSpy *spy : {&live, &file, &time}) {
        if (!spy->isEmpty())
            return spy->at(0).at(0).toUInt();
    }
    return 0;
}

// Sends a playback control and waits for its signal: the server has then read
// everything `c` sent before it. The stream id it came with, or -1.
qint64 barrier(Connection *c)
{
    QSignalSpy ctrl(&DgwSignals::instance(), &DgwSignals::signalPlaybackCtrlReq);
    c->sendFrame(MessageType::PlaybackCtrlReq);
    return QTest::qWaitFor([&] { return ctrl.count() == 1; }) ? ctrl.at(0).at(0).toLongLong() : -1;
}

QList<StreamId> ids(const QSignalSpy &spy)
{
    QList<StreamId> out;
    for (const QList<QVariant> &args : spy)
        out.append(args.at(0).toUInt());
    return out;
}

// Every signal the host can see, to prove that nothing at all was emitted.
struct AllSignals {
    std::vector<std::unique_ptr<QSignalSpy>> spies;
    AllSignals()
    {
        const QMetaObject &mo = DgwSignals::staticMetaObject;
        for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
            if (mo.method(i).methodType() == QMetaMethod::Signal)
                spies.emplace_back(new QSignalSpy(&DgwSignals::instance(), "2" + mo.method(i).methodSignature()));
        }
    }
    int count() const
    {
        int n = 0;
        for (const auto &spy : spies)
            n += spy->count();
        return n;
    }
};

// Chunk i of a stream: its index up front (when it fits), then one byte
// throughout, so a reader tells a whole chunk in its place from anything else.
QByteArray chunk(int i, int size)
{
    QByteArray bytes(size, char('a' + i % 26));
    if (size >= 4)
        qToBigEndian<qint32>(i, bytes.data());
    return bytes;
}

// A frame of stream data with `payload`, the only frame `c` receives.
bool receivesOnly(Connection *c, const QByteArray &payload)
{
    const QList<Frame> frames = c->collectFrames(100);
    return frames.size() == 1 && frames.first().type == MessageType::StreamData && frames.first().payload == payload;
}

// A live stream opened on two fresh sockets; its id, or 0.
StreamId openShared(Connection *a, Connection *b, const QString &devId)
{
    if (!oru_test::connectStreamLogged(a) || !oru_test::connectStreamLogged(b))
        return 0;
    const StreamId id = open(a, MessageType::LiveVideoConnReq, liveReq(devId, 1, 0));
    return open(b, MessageType::LiveVideoConnReq, liveReq(devId, 1, 0)) == id ? id : 0;
}

using Push = std::function<void(StreamId)>;
} // namespace
Q_DECLARE_METATYPE(Push)

class tst_Stream : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { oru_test::startSdk(); }
    // Sockets closed by a test leave their streams before the next one starts.
    void cleanup() { QTest::qWait(100); }

    void liveStreamId_data()
    {
        QTest::addColumn<QString>("devId");
        QTest::addColumn<int>("channel");
        QTest::addColumn<int>("streamType");
        QTest::addColumn<StreamId>("id");
        // Pinned values: the id is a function of the three values that must not change.
        QTest::newRow("plain") << "dev-id-1" << 1 << 0 << 1683332133u;
        QTest::newRow("non-ascii device") << QStringLiteral("摄像机-é") << 3 << 1 << 2469765850u;
        QTest::newRow("wide channel") << "dev-id-1" << 65535 << 2 << 2689447298u;
        QTest::newRow("negative second field") << "dev-id-1" << 1 << -1 << 3293220813u;
        // Taken as text, not as further placeholders.
        QTest::newRow("percent signs in device") << "cam%2%1" << 4 << 5 << 3403216041u;
        // Cut in the log, whole in the signal.
        QTest::newRow("huge device") << QString(100000, QLatin1Char('d')) << 1 << 0 << 3997643736u;
        QTest::newRow("empty device") << "" << 0 << 0 << 1954520347u;
    }

    void liveStreamId()
    {
        QFETCH(QString, devId);
        QFETCH(int, channel);
        QFETCH(int, streamType);
        QFETCH(StreamId, id);
        const QString logged = devId.size() > 256 ? devId.left(256) + QStringLiteral("...(100000 characters)") : devId;
        QSignalSpy live(&DgwSignals::instance(), &DgwSignals::signalLiveVideoConnReq);
        Connection c;
        QVERIFY(oru_test::connectStreamLogged(&c));
        oru_test::LogCursor cursor;
        c.sendFrame(MessageType::LiveVideoConnReq, liveReq(devId, channel, streamType));
        QTRY_COMPARE(live.count(), 1);
        const auto condition = live.at(0).at(1).value<oru_sdk::LiveVideoConnCondition>();
        QCOMPARE((QVariantList{live.at(0).at(0).toUInt(), condition.devId, condition.channel, condition.streamType}),
                 (QVariantList{id, devId, channel, streamType}));
        QCOMPARE(cursor.levelLines(),
                 QStringList(QStringLiteral(
                                 "info client request live video connect, stream id:%1, device id:%2, channel index:%3")
                                 .arg(QString::number(id), logged, QString::number(channel))));
    }

    void collidingChannelsGetTheirOwnStreams_data()
    {
        QTest::addColumn<QByteArray>("requestA");
        QTest::addColumn<QByteArray>("requestB");
        // Written one after the other, both give the same text.
        QTest::newRow("device and channel") << liveReq("nvr1", 12, 0) << liveReq("nvr11", 2, 0);
        QTest::newRow("numeric device") << liveReq("1", 11, 0) << liveReq("11", 1, 0);
        QTest::newRow("channel and type") << liveReq("cam2", 1, 10) << liveReq("cam21", 1, 0);
    }

    void collidingChannelsGetTheirOwnStreams()
    {
        QFETCH(QByteArray, requestA);
        QFETCH(QByteArray, requestB);
        Connection a, b, b2;
        QVERIFY(oru_test::connectStreamLogged(&a) && oru_test::connectStreamLogged(&b)
                && oru_test::connectStreamLogged(&b2));
        const StreamId idA = open(&a, MessageType::LiveVideoConnReq, requestA);
        oru_test::LogCursor cursor;
        const StreamId idB = open(&b, MessageType::LiveVideoConnReq, requestB);
        QVERIFY(idB != idA && idB != 0);
        QCOMPARE(cursor.lines().filter(QStringLiteral("is held by another channel")).size(), 1);
        // The same channel again still shares its stream.
        QCOMPARE(open(&b2, MessageType::LiveVideoConnReq, requestB), idB);

        oru_sdk::write_stream_data(idA, "camera A");
        oru_sdk::write_stream_data(idB, "camera B");
        QVERIFY(receivesOnly(&a, "camera A"));
        QVERIFY(receivesOnly(&b, "camera B") && receivesOnly(&b2, "camera B"));
    }

    void playbackByFile()
    {
        QSignalSpy file(&DgwSignals::instance(), &DgwSignals::signalPlaybackByFileReq);
        Connection a, b;
        QVERIFY(oru_test::connectStreamLogged(&a) && oru_test::connectStreamLogged(&b));
        oru_test::LogCursor cursor;
        const QByteArray request =
            fileReq(QStringLiteral("nvr-7"), 12, QStringLiteral("录像/ch12_0001.mp4"), -3, 2000000000);
        const StreamId first = open(&a, MessageType::PlaybackByFileReq, request),
                       second = open(&b, MessageType::PlaybackByFileReq, request);
        QVERIFY(first != second && first != 0 && second != 0);
        const auto c = file.at(1).at(1).value<oru_sdk::PlaybackByFileCondition>();
        QCOMPARE((QVariantList{c.devId, c.channel, c.fileName, c.param3, c.param4}),
                 (QVariantList{QStringLiteral("nvr-7"), 12, QStringLiteral("录像/ch12_0001.mp4"), -3, 2000000000}));
        const QString line =
            QStringLiteral("info client request playback by file, stream id:%1, device id:nvr-7, channel index:12");
        QCOMPARE(cursor.levelLines(), (QStringList{line.arg(first), line.arg(second)}));

        // Each playback is its own stream: data goes to its socket alone.
        oru_sdk::write_stream_data(first, "to a");
        QVERIFY(receivesOnly(&a, "to a"));
        QCOMPARE(b.collectFrames(0).size(), 0);
        QCOMPARE(barrier(&b), qint64(second));
    }

    void playbackByTime_data()
    {
        QTest::addColumn<QString>("start");
        QTest::addColumn<QDateTime>("expected");
        QTest::newRow("full") << "2024-02-29 23:59:58.123" << QDateTime(QDate(2024, 2, 29), QTime(23, 59, 58, 123));
        QTest::newRow("midnight") << "2000-01-01 00:00:00.000" << QDateTime(QDate(2000, 1, 1), QTime(0, 0));
        QTest::newRow("no milliseconds") << "2024-02-29 23:59:58" << QDateTime();
        QTest::newRow("iso") << "2024-02-29T23:59:58.123" << QDateTime();
        QTest::newRow("empty") << "" << QDateTime();
    }

    void playbackByTime()
    {
        QFETCH(QString, start);
        QFETCH(QDateTime, expected);
        QSignalSpy time(&DgwSignals::instance(), &DgwSignals::signalPlaybackByTimeReq);
        Connection a;
        QVERIFY(oru_test::connectStreamLogged(&a));
        oru_test::LogCursor cursor;
        a.sendFrame(MessageType::PlaybackByTimeReq, timeReq(QStringLiteral("dvr"), 0, start, 77));
        QTRY_COMPARE(time.count(), 1);
        const auto c = time.at(0).at(1).value<oru_sdk::PlaybackByTimeCondition>();
        QCOMPARE((QVariantList{c.devId, c.channel, c.startTime.isValid(), c.startTime, c.param3}),
                 (QVariantList{QStringLiteral("dvr"), 0, expected.isValid(), expected, 77}));
        QCOMPARE(
            cursor.lines(),
            QStringList(QStringLiteral("client request playback by time, stream id:%1, device id:dvr, channel index:0")
                            .arg(time.at(0).at(0).toUInt())));
    }

    void emptyDataIsOneByteBlock_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QByteArray>("frame");
        QTest::newRow("empty") << QByteArray("") << QByteArray::fromHex("0000000000000001 66 00000000");
        // QDataStream's mark for a null array.
        QTest::newRow("null") << QByteArray() << QByteArray::fromHex("0000000000000001 66 ffffffff");
        QTest::newRow("one byte") << QByteArray("\x00", 1) << QByteArray::fromHex("0000000000000002 66 00000001 00");
    }

    void emptyDataIsOneByteBlock()
    {
        QFETCH(QByteArray, data);
        QFETCH(QByteArray, frame);
        Connection c;
        c.setDirectReads(false); // read below through the socket
        QVERIFY(oru_test::connectStreamLogged(&c));
        const StreamId id = open(&c, MessageType::LiveVideoConnReq, liveReq(QStringLiteral("raw"), 1, 1));
        // Raw bytes: the connection's splitter does not see them.
        const QSignalBlocker raw(c.localSocket());
        // A second block behind it shows that nothing else came in between.
        oru_sdk::write_stream_data(id, data);
        oru_sdk::write_stream_data(id, "end");
        const QByteArray end = QByteArray::fromHex("0000000000000004 66 00000003 656e64");
        QTRY_COMPARE(c.localSocket()->bytesAvailable(), qint64(frame.size() + end.size()));
        QCOMPARE(c.localSocket()->readAll(), frame + end);
    }

    void controlRequests_data()
    {
        QTest::addColumn<bool>("attached");
        QTest::addColumn<MessageType>("type");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QVariant>("value");
        const auto pos = [](uint v) { return message<pb::SkipByPosReq>([&](auto &m) { m.set_offset_time(v); }); };
        const auto at = [](const char *t) { return message<pb::SkipByTimeReq>([&](auto &m) { m.set_skip_time(t); }); };
        const auto ctrl = [](int v) { return message<pb::PlaybackCtrlReq>([&](auto &m) { m.set_ctrl(v); }); };
        const auto rate = [](const char *v) {
            return message<pb::PlaybackSpeedSetReq>([&](auto &m) { m.set_playback_speed(v); });
        };
        for (bool attached : {false, true}) {
            const auto row = [&](const char *name, MessageType type, const QByteArray &payload, const QVariant &value) {
                QTest::addRow("%s / %s", name, attached ? "own stream" : "no stream")
                    << attached << type << payload << value;
            };
            row("skip by offset", MessageType::SkipByOffsetTimeReq, pos(4000000000u), 4000000000u);
            row("skip by offset, empty", MessageType::SkipByOffsetTimeReq, QByteArray(), 0u);
            row("skip to time", MessageType::SkipByAppointedTimeReq, at("2023-05-06 07:08:09.010"),
                QDateTime(QDate(2023, 5, 6), QTime(7, 8, 9, 10)));
            row("skip to unmatched time", MessageType::SkipByAppointedTimeReq, at("06.05.2023 07:08"), QDateTime());
            row("pause", MessageType::PlaybackCtrlReq, ctrl(0), QVariant::fromValue(PlaybackCtrl::Pause));
            row("stop", MessageType::PlaybackCtrlReq, ctrl(2), QVariant::fromValue(PlaybackCtrl::Stop));
            row("ctrl out of range", MessageType::PlaybackCtrlReq, ctrl(-7), QVariant::fromValue(PlaybackCtrl(-7)));
            row("speed 1/8X", MessageType::PlaybackSpeedSetReq, rate(oru_sdk::PlaybackSpeed_1_8X),
                QStringLiteral("1/8X"));
            row("speed outside the set", MessageType::PlaybackSpeedSetReq, rate("3X"), QStringLiteral("3X"));
        }
    }

    void controlRequests()
    {
        QFETCH(bool, attached);
        QFETCH(MessageType, type);
        QFETCH(QByteArray, payload);
        QFETCH(QVariant, value);
        // Per request: its signal and its line (%1: the stream id).
        const QMap<MessageType, QPair<const char *, QString>> meaning{
            {MessageType::SkipByOffsetTimeReq,
             {SIGNAL(signalSkipByOffsetTimeReq(StreamId, uint)), "client request skip by offset time, stream id:%1"}},
            {MessageType::SkipByAppointedTimeReq,
             {SIGNAL(signalSkipByAppointedTimeReq(StreamId, QDateTime)),
              "client request skip by appointed time, stream id:%1"}},
            {MessageType::PlaybackCtrlReq,
             {SIGNAL(signalPlaybackCtrlReq(StreamId, PlaybackCtrl)), "client request playback ctrl, stream id:%1"}},
            {MessageType::PlaybackSpeedSetReq,
             {SIGNAL(signalPlaybackSpeedSetReq(StreamId, QString)), "client request set playback speed"}}};
        Connection c;
        QVERIFY(oru_test::connectStreamLogged(&c));
        StreamId id = 0;
        if (attached) {
            id = open(&c, MessageType::PlaybackByFileReq, fileReq(QStringLiteral("ctl"), 1, QStringLiteral("f"), 0, 0));
            QVERIFY(id != 0);
        }
        QSignalSpy spy(&DgwSignals::instance(), meaning.value(type).first);
        QVERIFY(spy.isValid());
        AllSignals all;
        oru_test::LogCursor cursor;
        c.sendFrame(type, payload);
        QTRY_COMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toUInt(), id);
        QCOMPARE(spy.at(0).at(1), value);
        const QString line = meaning.value(type).second;
        QCOMPARE(cursor.levelLines(),
                 QStringList(QStringLiteral("info ") + (line.contains(QLatin1String("%1")) ? line.arg(id) : line)));
        QCOMPARE(all.count(), 1);
    }

    void framesThatDoNothing_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QString>("error"); // the line logged, none for codes the channel ignores
        const auto row = [](int code, const char *hex, const char *what, const char *why) {
            QTest::addRow("%d %s", code, why)
                << code << QByteArray::fromHex(hex)
                << QStringLiteral("parse [client %1 req] failure").arg(QLatin1String(what));
        };
        // A length-delimited field 1 that claims more bytes than follow.
        const char *const requests[] = {"live video connect",  "playback by file",       "playback by time",
                                        "skip by offset time", "skip by appointed time", "playback ctrl",
                                        "playback speed set"};
        for (int i = 0; i < 7; ++i)
            row(int(MessageType::LiveVideoConnReq) + i, "0a05616263", requests[i], "truncated");
        // Text fields must be UTF-8.
        row(104, "0a040a02fffe", "live video connect", "device not utf-8");
        row(110, "0a02c328", "playback speed set", "speed not utf-8");
        row(107, "08ffffffffffffffffffff", "skip by offset time", "bad varint");
        // A payload that would open a stream under the right code.
        for (int code : {45, 111, 1, 102, 103, 46, 47, 3, 4, 0, 112, 127, -1, -128})
            QTest::addRow("%d silent", code) << code << liveReq(QStringLiteral("silent"), 1, 1) << QString();
    }

    void framesThatDoNothing()
    {
        QFETCH(int, code);
        QFETCH(QByteArray, payload);
        QFETCH(QString, error);
        Connection c;
        QVERIFY(oru_test::connectStreamLogged(&c));
        AllSignals all;
        oru_test::LogCursor cursor;
        c.sendFrame(MessageType(code), payload);
        // The channel goes on reading, and the socket still has no stream.
        QCOMPARE(barrier(&c), 0);
        const QStringList lines = cursor.levelLines(); // ends with the control's own line
        QCOMPARE(lines.size(), error.isEmpty() ? 1 : 2);
        if (!error.isEmpty())
            QCOMPARE(lines.first(), QStringLiteral("error ") + error);
        QCOMPARE(all.count(), 1);
        QVERIFY(c.isConnected());
        QCOMPARE(c.collectFrames(0).size(), 0);
        // Leaving, a socket without a stream tells the host nothing.
        c.disconnectFromServer();
        Connection later;
        QVERIFY(oru_test::connectStreamLogged(&later));
        QCOMPARE(barrier(&later), 0);
        QCOMPARE(all.count(), 2);
    }

    void framing_data()
    {
        QTest::addColumn<QByteArrayList>("pieces");
        QTest::addColumn<QStringList>("seen"); // control values delivered after each piece
        const auto frame = [](int v) {
            return oru_sdk::encodeFrame(MessageType::PlaybackCtrlReq,
                                        message<pb::PlaybackCtrlReq>([&](auto &m) { m.set_ctrl(v); }));
        };
        const QByteArray one = frame(1), two = frame(2), long_ = frame(-1);
        QTest::newRow("two frames in one write") << QByteArrayList{one + two} << QStringList{"1,2"};
        QTest::newRow("eight bytes, then the rest") << QByteArrayList{one.left(8), one.mid(8)} << QStringList{"", "1"};
        QTest::newRow("header, then the rest") << QByteArrayList{long_.left(9), long_.mid(9)} << QStringList{"", "-1"};
        QTest::newRow("frame and a half") << QByteArrayList{one + two.left(5), two.mid(5)} << QStringList{"1", "1,2"};
        // Nine bytes or more start a pass, also when only a short body is missing.
        QTest::newRow("short tail waits for more")
            << QByteArrayList{one.left(9), one.mid(9), two} << QStringList{"", "", "1,2"};
        // The length counts four bytes less than the frame holds: the body is read short.
        QTest::newRow("last four bytes missing") << QByteArrayList{long_.left(long_.size() - 4)} << QStringList{"0"};
    }

    void framing()
    {
        QFETCH(QByteArrayList, pieces);
        QFETCH(QStringList, seen);
        QSignalSpy ctrl(&DgwSignals::instance(), &DgwSignals::signalPlaybackCtrlReq);
        Connection c;
        QVERIFY(oru_test::connectStreamLogged(&c));
        for (int i = 0; i < pieces.size(); ++i) {
            c.sendRaw(pieces.at(i));
            // Values that came too early show up in a later piece's list.
            const auto values = [&] {
                QStringList out;
                for (const QList<QVariant> &args : qAsConst(ctrl))
                    out.append(QString::number(int(args.at(1).value<PlaybackCtrl>())));
                return out.join(QLatin1Char(','));
            };
            QTRY_COMPARE(values(), seen.at(i));
        }
    }

    void leavingSocketStopsItsStreams_data() { oru_test::addBoolRows("shared", "alone", "first stream shared"); }

    // A socket in two streams leaves: the host hears of each stream it was the
    // last socket of, once, and nothing is logged.
    void leavingSocketStopsItsStreams()
    {
        QFETCH(bool, shared);
        const QByteArray request = liveReq(QStringLiteral("two-") + QLatin1String(QTest::currentDataTag()), 1, 1);
        QSignalSpy gone(&DgwSignals::instance(), &DgwSignals::signalDisconnectStream);
        auto s = std::make_unique<Connection>();
        Connection watcher;
        QVERIFY(oru_test::connectStreamLogged(s.get()));
        const StreamId live = open(s.get(), MessageType::LiveVideoConnReq, request);
        if (shared) {
            QVERIFY(oru_test::connectStreamLogged(&watcher));
            QCOMPARE(open(&watcher, MessageType::LiveVideoConnReq, request), live);
        }
        const StreamId playback =
            open(s.get(), MessageType::PlaybackByFileReq, fileReq(QStringLiteral("two"), 1, QStringLiteral("f"), 0, 0));
        QVERIFY(playback != 0 && playback != live);

        // Still a member of both; controls act on the stream opened last.
        oru_sdk::write_stream_data(live, "live");
        QVERIFY(receivesOnly(s.get(), "live"));
        oru_sdk::write_stream_data(playback, "playback");
        QVERIFY(receivesOnly(s.get(), "playback"));
        QCOMPARE(barrier(s.get()), qint64(playback));

        oru_test::LogCursor cursor;
        s.reset();
        QTRY_COMPARE(ids(gone), shared ? QList<StreamId>{playback} : (QList<StreamId>{playback, live}));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(cursor.lines(), QStringList());
        // Writes to either stream must not reach the deleted socket; a stream
        // still watched goes on.
        oru_sdk::write_stream_data(live, "after");
        oru_sdk::write_stream_data(playback, "after");
        if (shared) {
            QCOMPARE(watcher.collectFrames(50).size(), 2); // "live", then the write after
            watcher.disconnectFromServer();
            QTRY_COMPARE(ids(gone), (QList<StreamId>{playback, live}));
        }
        // The same request later starts the stream afresh, under the same id; by
        // then nothing more was told.
        Connection again;
        QVERIFY(oru_test::connectStreamLogged(&again));
        QCOMPARE(open(&again, MessageType::LiveVideoConnReq, request), live);
        QCOMPARE(gone.count(), 2);
        oru_sdk::write_stream_data(live, "again");
        QVERIFY(receivesOnly(&again, "again"));
    }

    void playbackPushes_data()
    {
        QTest::addColumn<Push>("push");
        QTest::addColumn<MessageType>("type");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QString>("line"); // %1: the stream id
        const QString none;
        for (auto [offset, duration] :
             {std::pair{5u, 60u}, {2147483648u, 3000000000u}, {4294967295u, 4294967295u}, {0u, 0u}}) {
            const QByteArray payload = message<pb::PlaybackPosProgressPush>([=](auto &m) {
                m.set_offset_time(offset);
                m.set_duration(duration);
            });
            QTest::addRow("file progress %u of %u", offset, duration)
                << Push{[=](StreamId id) { oru_sdk::push_playback_by_file_progress_msg(id, offset, duration); }}
                << MessageType::PushPlaybackByFileProgressMsg << payload << none;
        }
        const QDateTime plain(QDate(2038, 1, 19), QTime(3, 14, 8, 999)), early(QDate(1999, 12, 31), QTime(0, 0, 0, 1));
        for (auto [time, text] :
             {std::pair{plain, "2038-01-19 03:14:08.999"}, {early, "1999-12-31 00:00:00.001"}, {QDateTime(), ""}}) {
            QTest::addRow("time progress '%s'", text)
                << Push{[time = time](StreamId id) { oru_sdk::push_playback_by_time_progress_msg(id, time); }}
                << MessageType::PushPlaybackByTimeProgressMsg
                << message<pb::PlaybackTimeProgressPush>([text = text](auto &m) { m.set_cur_time(text); }) << none;
        }
        for (int event : {0, 1, 2, 42, -5}) {
            QTest::addRow("event %d", event)
                << Push{[=](StreamId id) { oru_sdk::push_stream_event_msg(id, StreamEvent(event)); }}
                << MessageType::PushStreamEventMsg << message<pb::StreamEventPush>([=](auto &m) { m.set_event(event); })
                << QStringLiteral("info server push stream event to client, stream id:%1, event:")
                    + QString::number(event);
        }
    }

    void playbackPushes()
    {
        QFETCH(Push, push);
        QFETCH(MessageType, type);
        QFETCH(QByteArray, payload);
        QFETCH(QString, line);
        Connection c;
        QVERIFY(oru_test::connectStreamLogged(&c));
        const StreamId id = open(&c, MessageType::PlaybackByTimeReq, timeReq(QStringLiteral("push"), 2, QString(), 0));
        QVERIFY(id != 0);
        oru_test::LogCursor cursor;
        // To a stream nobody watches it goes nowhere (events are logged all the same).
        const StreamId nobody = id + 1;
        push(nobody);
        oru_sdk::write_stream_data(nobody, "x");
        push(id);
        Frame frame;
        QVERIFY(c.waitForFrame(&frame));
        QCOMPARE(int(frame.type), int(type));
        QCOMPARE(frame.payload.toHex(' '), payload.toHex(' '));
        QCOMPARE(c.collectFrames(50).size(), 0);
        QCOMPARE(cursor.levelLines(), line.isEmpty() ? QStringList() : (QStringList{line.arg(nobody), line.arg(id)}));
    }

    void chunksArriveAsWritten_data()
    {
        QTest::addColumn<bool>("otherThread");
        QTest::addColumn<bool>("stall");
        QTest::addColumn<QList<int>>("sizes");
        QList<int> mixed, large{4 << 20, 1}, many;
        for (int i = 0; i < 40; ++i)
            mixed.append(QList<int>{13, 4 << 10, 64 << 10, 1 << 20, 7}.at(i % 5));
        for (bool otherThread : {false, true}) {
            for (bool stall : {false, true}) {
                QTest::addRow("%s thread, %s reader", otherThread ? "other" : "library", stall ? "stalled" : "fast")
                    << otherThread << stall << mixed;
            }
        }
        // The stalled socket's frames queue in the gateway far past the kernel's
        // buffer, without holding the other reader back.
        for (int i = 0; i < 64; ++i)
            large.append(64 << 10);
        large.append((4 << 20) + 7);
        QTest::newRow("large chunks, stalled reader") << false << true << large;
        for (int i = 0; i < 500; ++i)
            many.append(4 + (i * 37) % 3001);
        QTest::newRow("many chunks, other thread") << true << false << many;
    }

    // A camera SDK hands out a buffer, the host wraps it without a copy and gives
    // it back (here: overwrites it) as soon as write_stream_data returns. Both
    // sockets of the stream get every chunk whole and in order.
    void chunksArriveAsWritten()
    {
        QFETCH(bool, otherThread);
        QFETCH(bool, stall);
        QFETCH(QList<int>, sizes);
        Connection a, b;
        b.setDirectReads(!stall); // stalled through Qt's buffer
        const StreamId id = openShared(&a, &b, QLatin1String(QTest::currentDataTag()));
        QVERIFY(id != 0);
        std::optional<QSignalBlocker> stalled;
        if (stall) {
            b.localSocket()->setReadBufferSize(1);
            stalled.emplace(b.localSocket());
        }
        QByteArray buffer(*std::max_element(sizes.cbegin(), sizes.cend()), Qt::Uninitialized);
        const auto host = [&] {
            for (int i = 0; i < sizes.size(); ++i) {
                memcpy(buffer.data(), chunk(i, sizes.at(i)).constData(), size_t(sizes.at(i)));
                oru_sdk::write_stream_data(id, QByteArray::fromRawData(buffer.constData(), sizes.at(i)));
                buffer.fill('#');
            }
        };
        const auto receivesAll = [&](Connection *c) {
            for (int i = 0; i < sizes.size(); ++i) {
                Frame frame;
                if (!c->waitForFrame(&frame, 20000) || frame.type != MessageType::StreamData
                    || frame.payload != chunk(i, sizes.at(i)))
                    return false;
            }
            return true;
        };
        // From another thread, the host writes while the library sends.
        std::thread writer;
        if (otherThread)
            writer = std::thread(host);
        else
            host();
        const bool firstGotAll = receivesAll(&a);
        if (writer.joinable())
            writer.join();
        QVERIFY(firstGotAll);
        if (stall) {
            QCOMPARE(b.bytesReceived(), 0);
            stalled.reset();
            b.localSocket()->setReadBufferSize(0);
        }
        QVERIFY(receivesAll(&b));
    }

    // Frames that come while the host waits in a local loop inside one socket's
    // request: another socket's frame, in two pieces, is taken in that loop;
    // the waiting socket's own only once its handler has returned.
    void framesArriveWhileHostWaits()
    {
        const auto ctrl = [](int v) {
            return oru_sdk::encodeFrame(MessageType::PlaybackCtrlReq,
                                        message<pb::PlaybackCtrlReq>([&](auto &m) { m.set_ctrl(v); }));
        };
        QSignalSpy ctrls(&DgwSignals::instance(), &DgwSignals::signalPlaybackCtrlReq);
        const auto values = [&] {
            QStringList out;
            for (const QList<QVariant> &args : qAsConst(ctrls))
                out.append(QString::number(int(args.at(1).value<PlaybackCtrl>())));
            return out.join(QLatin1Char(','));
        };
        Connection waiter, other;
        QVERIFY(oru_test::connectStreamLogged(&waiter) && oru_test::connectStreamLogged(&other));
        const auto wait = connect(&DgwSignals::instance(), &DgwSignals::signalLiveVideoConnReq, this, [&] {
            waiter.sendRaw(ctrl(1));
            const QByteArray two = ctrl(2);
            other.sendRaw(two.left(5));
            other.sendRaw(two.mid(5));
            QVERIFY(oru_test::waitInLocalLoop(true, [&] { return !ctrls.isEmpty(); }));
            QCOMPARE(values(), QStringLiteral("2"));
        });
        waiter.sendFrame(MessageType::LiveVideoConnReq, liveReq(QStringLiteral("waiting-frames"), 1, 0));
        QTRY_COMPARE(values(), QStringLiteral("2,1"));
        disconnect(wait);
    }

    void viewerLeavesWhileHostWaits_data() { oru_test::addBoolRows("eventLoop", "processEvents", "QEventLoop"); }

    // The host asks its device before answering and waits in a local loop; the
    // viewer gives up meanwhile while another one keeps asking.
    void viewerLeavesWhileHostWaits()
    {
        QFETCH(bool, eventLoop);
        QSignalSpy gone(&DgwSignals::instance(), &DgwSignals::signalDisconnectStream);
        auto leaver = std::make_unique<Connection>();
        Connection other, newcomers[3];
        QVERIFY(oru_test::connectStreamLogged(leaver.get()) && oru_test::connectStreamLogged(&other));
        bool waited = false;
        const auto wait = connect(&DgwSignals::instance(), &DgwSignals::signalLiveVideoConnReq, this, [&] {
            if (std::exchange(waited, true))
                return;
            leaver->disconnectFromServer();
            other.sendFrame(MessageType::LiveVideoConnReq, liveReq(QStringLiteral("waiting-other"), 1, 0));
            oru_test::SocketDeletions deletions;
            QVERIFY(oru_test::waitInLocalLoop(eventLoop, [&] { return gone.count() == 1; }));
            for (auto &c : newcomers)
                QVERIFY(oru_test::connectStreamLogged(&c));
            QCOMPARE(deletions.count, 0);
        });
        leaver->sendFrame(MessageType::LiveVideoConnReq, liveReq(QStringLiteral("waiting-leaver"), 1, 0));
        QTRY_COMPARE(gone.count(), 1);
        disconnect(wait);
        const StreamId otherId = 4001371126u;
        for (int i = 0; i < 5; ++i) {
            QCOMPARE(open(&other, MessageType::LiveVideoConnReq, liveReq(QStringLiteral("waiting-other"), 1, 0)),
                     otherId);
            oru_sdk::write_stream_data(otherId, QByteArray::number(i));
            QVERIFY(receivesOnly(&other, QByteArray::number(i)));
        }
    }

    void mainClientExitClosesStreamListener()
    {
        ORU_REQUIRE_OWN_PROCESS();
        QSignalSpy exits(&DgwSignals::instance(), &DgwSignals::signalMainClientExit);
        QSignalSpy gone(&DgwSignals::instance(), &DgwSignals::signalDisconnectStream);
        Connection control, stream;
        QVERIFY(oru_test::connectControl(&control, true));
        QVERIFY(oru_test::connectStreamLogged(&stream));
        const StreamId id = open(&stream, MessageType::LiveVideoConnReq, liveReq(QStringLiteral("exit"), 1, 0));
        QVERIFY(id != 0);

        control.disconnectFromServer();
        QTRY_COMPARE(exits.count(), 1);
        // Refused at once, and still refused after the listener's watch would have noticed.
        for (int wait : {0, 600}) {
            QTest::qWait(wait);
            Connection late;
            QVERIFY(!late.connectToServer(oru_test::startSdk().streamServer, 1000));
        }

        // The socket attached before goes on as before.
        oru_sdk::write_stream_data(id, "after exit");
        QVERIFY(receivesOnly(&stream, "after exit"));
        QCOMPARE(barrier(&stream), qint64(id));
        stream.disconnectFromServer();
        QTRY_COMPARE(gone.count(), 1);
        QCOMPARE(gone.at(0).at(0).toUInt(), id);
    }

    // With a queue limit set in the environment (see tests/CMakeLists.txt), a
    // fast viewer and a stalled one share a stream; the stalled one goes over
    // its queue limit. `drop`: it loses whole frames, then recovers; `close`: it is
    // closed and leaves as any viewer does. The fast one never loses a frame.
    void stalledViewerOverLimit()
    {
        ORU_REQUIRE_OWN_PROCESS();
        const bool drop = qgetenv("ORU_STREAM_QUEUE_POLICY") == "drop";
        QSignalSpy gone(&DgwSignals::instance(), &DgwSignals::signalDisconnectStream);
        oru_test::LogCursor cursor;
        Connection fast, stalled;
        stalled.setDirectReads(false); // stalled through Qt's buffer
        const StreamId id = openShared(&fast, &stalled, QStringLiteral("limit"));
        QVERIFY(id != 0);
        std::optional<QSignalBlocker> blocked;
        stalled.localSocket()->setReadBufferSize(1);
        blocked.emplace(stalled.localSocket());
        // At a camera's pace: the fast viewer has each frame before the next.
        int sent = 0;
        for (; sent < 100; ++sent) {
            oru_sdk::write_stream_data(id, chunk(sent, 64 << 10));
            QVERIFY(QTest::qWaitFor([&] { return fast.pendingFrames() > sent; }));
        }
        const QList<Frame> all = fast.collectFrames(0);
        QCOMPARE(all.size(), sent);
        for (int i = 0; i < sent; ++i)
            QVERIFY(all.at(i).payload == chunk(i, 64 << 10));
        QCOMPARE(gone.count(), 0);
        blocked.reset();
        stalled.localSocket()->setReadBufferSize(0);
        if (!drop) {
            QVERIFY(stalled.waitForDisconnected());
            QCOMPARE(cursor.lines().filter(QStringLiteral("over its queue limit of 1048576 bytes, closing it")).size(),
                     1);
            fast.disconnectFromServer();
            QTRY_COMPARE(ids(gone), QList<StreamId>{id}); // once, when the last viewer left
            return;
        }
        // Whole frames, in order, a gap where it was over the limit.
        QList<Frame> got = stalled.collectFrames(300);
        QVERIFY(got.size() > 4 && got.size() < sent);
        int last = -1;
        for (const Frame &frame : qAsConst(got)) {
            const int i = qFromBigEndian<qint32>(frame.payload.constData());
            QVERIFY(i > last && frame.payload == chunk(i, 64 << 10));
            last = i;
        }
        // It reads again: the next frame reaches it, and the episode is told once.
        oru_sdk::write_stream_data(id, chunk(sent, 64 << 10));
        QVERIFY(receivesOnly(&stalled, chunk(sent, 64 << 10)));
        const int dropped = sent - got.size();
        const QStringList lines = cursor.lines().filter(QStringLiteral("queue limit"));
        QCOMPARE(lines.size(), 2);
        QVERIFY(lines.at(0).endsWith(QStringLiteral("over its queue limit of 1048576 bytes, dropping frames")));
        QVERIFY(lines.at(1).endsWith(QStringLiteral("below its queue limit again, %1 frames (%2 bytes) dropped")
                                         .arg(dropped)
                                         .arg(dropped * ((64 << 10) + 13))));
        // A frame larger than the limit still goes to a viewer that holds nothing.
        const QByteArray large(3 << 19, 'L');
        oru_sdk::write_stream_data(id, large);
        QVERIFY(receivesOnly(&stalled, large));
        QCOMPARE(gone.count(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_Stream)
#include "tst_stream.moc"
