// Qt Remote Objects client: a dynamic replica, calls answered through
// pending-call watchers on the caller's event loop.

#include "baselines.h"
#include "bench_util.h"

#include <QEventLoop>
#include <QRemoteObjectDynamicReplica>
#include <QRemoteObjectNode>
#include <QRemoteObjectPendingCallWatcher>
#include <QTimer>

#include <memory>

namespace bench {

namespace {

struct Replica {
    QRemoteObjectNode node;
    std::unique_ptr<QRemoteObjectDynamicReplica> replica;

    bool open(const std::string &name)
    {
        if (!node.connectToNode(QUrl(QStringLiteral("local:") + QString::fromStdString(name))))
            return false;
        replica.reset(node.acquireDynamic(QStringLiteral("Bench")));
        return replica && replica->waitForSource(5000);
    }

    // Starts one call; `done` runs on the caller's loop when the answer is in.
    template <typename Done>
    bool call(const QByteArray &request, bool big, QObject *context, Done done)
    {
        QRemoteObjectPendingCall pending;
        if (!QMetaObject::invokeMethod(replica.get(), "call", Qt::DirectConnection,
                                       Q_RETURN_ARG(QRemoteObjectPendingCall, pending), Q_ARG(QByteArray, request),
                                       Q_ARG(bool, big)))
            return false;
        auto *watcher = new QRemoteObjectPendingCallWatcher(pending, context);
        QObject::connect(watcher, &QRemoteObjectPendingCallWatcher::finished, context, [watcher, done] {
            watcher->deleteLater();
            done();
        });
        return true;
    }
};

QByteArray bytes(const std::string &s) { return QByteArray(s.data(), int(s.size())); }

void run(QEventLoop &loop, int timeoutMs)
{
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

std::vector<double> qtroRoundTrip(const std::string &name, bool big, int samples, int spacingUs)
{
    std::vector<double> us;
    Replica r;
    if (!r.open(name))
        return us;
    QEventLoop loop;
    long sequence = 0;
    std::function<void()> sendNext = [&] {
        const QByteArray request = bytes(requestPayload(0, sequence, big));
        const auto start = Clock::now();
        r.call(request, big, &loop, [&, start] {
            us.push_back(secondsSince(start) * 1e6);
            if (++sequence >= samples)
                return loop.quit();
            if (spacingUs > 0)
                QTimer::singleShot(spacingUs / 1000, Qt::PreciseTimer, &loop, sendNext);
            else
                sendNext();
        });
    };
    QTimer::singleShot(0, &loop, sendNext);
    run(loop, 120000);
    return us;
}

RateResult qtroRate(const std::string &name, int connections, int inFlight, double seconds)
{
    RateResult result;
    std::vector<std::unique_ptr<Replica>> replicas;
    for (int i = 0; i < connections; ++i) {
        replicas.push_back(std::make_unique<Replica>());
        if (!replicas.back()->open(name))
            return result;
    }
    QEventLoop loop;
    bool sending = true;
    long outstanding = 0;
    std::vector<long> sent(size_t(connections), 0);
    Clock::time_point start;
    std::function<void(int)> sendOne = [&](int i) {
        ++outstanding;
        replicas[size_t(i)]->call(bytes(requestPayload(i, sent[size_t(i)]++, false)), false, &loop, [&, i] {
            --outstanding;
            if (sending) {
                ++result.done;
                sendOne(i);
            } else if (outstanding == 0) {
                loop.quit();
            }
        });
    };
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

} // namespace bench
