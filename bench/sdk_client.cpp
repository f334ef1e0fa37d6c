// The main client's side as the product has it: oru_client::Connection on a Qt
// event loop. Frames are taken as Connection announces them (frameReceived),
// so no wait adds its own polling delay.

#include "bench_client.h"
#include "bench_util.h"

#include "connection.h"

#include <QEventLoop>
#include <QTimer>

#include <memory>
#include <thread>

#include <unistd.h>

namespace bench {

using oru_client::Connection;
using oru_client::Frame;
using oru_sdk::MessageType;

namespace {

QByteArray bytes(const std::string &s) { return QByteArray(s.data(), int(s.size())); }

// Runs the loop until quit or `timeoutMs`.
void run(QEventLoop &loop, int timeoutMs)
{
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, &loop, &QEventLoop::quit);
    guard.start(timeoutMs);
    loop.exec();
}

void spin(int ms)
{
    QEventLoop loop;
    run(loop, ms);
}

} // namespace

std::vector<double> sdkRoundTrip(const Target &t, bool big, int samples, int spacingUs, bool records)
{
    std::vector<double> us;
    Connection conn;
    if (!conn.connectToServer(QString::fromStdString(t.control)))
        return us;
    QEventLoop loop;
    long sequence = 0;
    Clock::time_point start;
    const auto sendNext = [&] {
        const QByteArray payload = bytes(requestPayload(0, sequence, big, records));
        start = Clock::now();
        conn.sendFrame(MessageType(requestType(t, big)), payload);
    };
    QObject::connect(&conn, &Connection::frameReceived, &loop, [&](const Frame &) {
        us.push_back(secondsSince(start) * 1e6);
        Frame taken;
        conn.waitForFrame(&taken, 0);
        if (++sequence >= samples)
            return loop.quit();
        if (spacingUs > 0)
            QTimer::singleShot(spacingUs / 1000, Qt::PreciseTimer, &loop, sendNext);
        else
            sendNext();
    });
    QTimer::singleShot(0, &loop, sendNext);
    run(loop, 120000);
    return us;
}

RateResult sdkRate(const Target &t, int connections, int inFlight, double seconds)
{
    RateResult result;
    std::vector<std::unique_ptr<Connection>> conns;
    std::vector<long> sent(size_t(connections), 0);
    for (int i = 0; i < connections; ++i) {
        conns.push_back(std::make_unique<Connection>());
        if (!conns.back()->connectToServer(QString::fromStdString(t.control)))
            return result;
    }
    QEventLoop loop;
    bool sending = true;
    long outstanding = 0;
    Clock::time_point start;
    const auto sendOne = [&](int i) {
        conns[size_t(i)]->sendFrame(MessageType(requestType(t, false)),
                                    bytes(requestPayload(i, sent[size_t(i)]++, false)));
        ++outstanding;
    };
    for (int i = 0; i < connections; ++i) {
        Connection *c = conns[size_t(i)].get();
        QObject::connect(c, &Connection::frameReceived, &loop, [&, c, i](const Frame &) {
            Frame taken;
            c->waitForFrame(&taken, 0);
            --outstanding;
            if (sending) {
                ++result.done;
                sendOne(i);
            } else if (outstanding == 0) {
                loop.quit();
            }
        });
    }
    QTimer::singleShot(0, &loop, [&] {
        start = Clock::now();
        for (int i = 0; i < connections; ++i) {
            for (int k = 0; k < inFlight; ++k)
                sendOne(i);
        }
    });
    QTimer::singleShot(int(seconds * 1000), &loop, [&] {
        sending = false;
        result.seconds = secondsSince(start);
        if (outstanding == 0)
            loop.quit();
    });
    run(loop, int(seconds * 1000) + 5000);
    return result;
}

double sdkStream(const Target &t, const StreamJob &job)
{
    Connection control;
    if (!control.connectToServer(QString::fromStdString(t.control)))
        return -1;
    std::vector<std::unique_ptr<Connection>> readers;
    const QByteArray subscribe = bytes(subscribePayload(t, job.device));
    for (int i = 0; i < job.readers; ++i) {
        readers.push_back(std::make_unique<Connection>());
        if (!readers.back()->connectToServer(QString::fromStdString(t.stream)))
            return -1;
        readers.back()->sendFrame(MessageType(kSubscribe), subscribe);
    }
    // The stalled reader is a socket nobody reads.
    int stalled = -1;
    if (job.stalled) {
        stalled = connectUnix(t.stream);
        const std::string f = frame(kSubscribe, subscribePayload(t, job.device));
        writeAll(stalled, f.data(), f.size());
    }
    spin(50);

    QEventLoop loop;
    std::vector<long> received(size_t(job.readers), 0), acked(size_t(job.readers), 0);
    int finished = 0;
    for (int i = 0; i < job.readers; ++i) {
        Connection *c = readers[size_t(i)].get();
        QObject::connect(c, &Connection::frameReceived, &loop, [&, c, i](const Frame &) {
            Frame f;
            c->waitForFrame(&f, 0);
            if (f.type != MessageType(kStreamData))
                return;
            long &got = received[size_t(i)];
            got += f.payload.size();
            if (got - acked[size_t(i)] >= kAckEvery && got < job.total) {
                acked[size_t(i)] = got;
                const std::string text = "ack " + job.device + " " + std::to_string(i) + " " + std::to_string(got);
                control.sendFrame(MessageType(kCommand), bytes(commandPayload(t, text)));
            }
            if (got >= job.total && got - f.payload.size() < job.total && ++finished == job.readers)
                loop.quit();
        });
    }
    const std::string text = writeCommand(job);
    const auto start = Clock::now();
    control.sendFrame(MessageType(kCommand), bytes(commandPayload(t, text)));
    run(loop, 120000);
    const double elapsed = finished == job.readers ? secondsSince(start) : -1;
    if (stalled >= 0)
        close(stalled);
    return elapsed;
}

} // namespace bench
