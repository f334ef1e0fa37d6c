// The gateway side of the benchmark: a host process that loads the SDK the way
// a real gateway does, answers get-presets requests at once and writes stream
// data when told to by a text command. The channel asks for the answer: 0 one
// short preset, 1 one preset with a 64 KiB name (the bytes of the baselines'
// blob), 2 a thousand presets of about the same size.
//
//   oru_bench_gateway <control server> <stream server> [log folder]

#include "bench_util.h"

#include <oru_sdk/dgw_signals.h>

#include <QCoreApplication>
#include <QHash>
#include <QTimer>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

using namespace oru_sdk;

namespace {

PresetList presets(int count, int nameLength)
{
    PresetList list;
    for (int i = 0; i < count; ++i)
        list.append(PresetInfo{i + 1, QString(nameLength, QLatin1Char('p'))});
    return list;
}

// One stream being written, paced by its readers' acknowledgements so that
// the SDK's buffers hold at most `window` bytes per fast reader.
struct Job {
    StreamId id = 0;
    QByteArray chunk;
    qint64 total = 0;
    qint64 written = 0;
    qint64 window = 0;
    std::vector<qint64> acked;
    bool otherThread = false;
    bool fresh = false;   // a buffer of its own per write
    bool rawData = false; // the buffer wrapped, as camera frames are
    bool scheduled = false;
    std::mutex mutex;
    std::condition_variable wake;

    QByteArray next() const
    {
        if (rawData)
            return QByteArray::fromRawData(chunk.constData(), chunk.size());
        return fresh ? QByteArray(chunk.constData(), chunk.size()) : chunk;
    }
    qint64 slowest() const { return *std::min_element(acked.begin(), acked.end()); }
    bool mayWrite() const { return written < total && written - slowest() < window; }
};

class Host : public QObject
{
public:
    Host()
        : small(presets(1, 8))
        , big(presets(1, 64 * 1024 - 16))
        , many(presets(1000, 60))
    {
        DgwSignals &s = DgwSignals::instance();
        connect(&s, &DgwSignals::signalGetPresetsReq, this, [this](const ChannelCondition &c) {
            get_presets_res(Response{c.requestId, 0, QString()}, c.channel == 2 ? many : c.channel == 1 ? big : small);
        });
        connect(&s, &DgwSignals::signalLiveVideoConnReq, this,
                [this](StreamId id, const LiveVideoConnCondition &c) { streams.insert(c.devId, id); });
        connect(&s, &DgwSignals::signalCommonReq, this,
                [this](const ChannelId &, const QString &, const QString &text) { command(text); });
    }

private:
    void command(const QString &text)
    {
        const QStringList f = text.split(QLatin1Char(' '));
        if (f.value(0) == QLatin1String("write") && (f.size() == 7 || f.size() == 8)) {
            auto job = std::make_unique<Job>();
            job->id = streams.value(f[1]);
            job->chunk = QByteArray(f[2].toInt(), 'x');
            job->total = f[3].toLongLong();
            job->otherThread = f[4] == QLatin1String("1");
            job->acked.assign(size_t(std::max(1, f[5].toInt())), 0);
            job->window = f[6].toLongLong();
            job->fresh = f.value(7) == QLatin1String("fresh");
            job->rawData = f.value(7) == QLatin1String("raw");
            Job *j = job.get();
            jobs[f[1]] = std::move(job);
            if (j->otherThread)
                std::thread([j] { writeFromThread(j); }).detach();
            else
                pump(j);
        } else if (f.value(0) == QLatin1String("quit")) {
            // A clean exit, so that a profiler around the process writes its data.
            QCoreApplication::quit();
        } else if (f.value(0) == QLatin1String("ack") && f.size() == 4) {
            const auto it = jobs.find(f[1]);
            if (it == jobs.end())
                return;
            Job *j = it->second.get();
            const size_t reader = size_t(f[2].toInt());
            {
                std::lock_guard<std::mutex> lock(j->mutex);
                if (reader < j->acked.size())
                    j->acked[reader] = std::max(j->acked[reader], f[3].toLongLong());
            }
            if (j->otherThread)
                j->wake.notify_one();
            else if (!j->scheduled)
                pump(j);
        }
    }

    // On the library's thread: a batch per event-loop turn, so the sockets
    // get written in between, as with a real producer.
    void pump(Job *j)
    {
        j->scheduled = false;
        const qint64 batch = std::max<qint64>(j->chunk.size(), 256 * 1024);
        for (qint64 done = 0; done < batch && j->mayWrite(); done += j->chunk.size()) {
            write_stream_data(j->id, j->next());
            j->written += j->chunk.size();
        }
        if (j->mayWrite()) {
            j->scheduled = true;
            QTimer::singleShot(0, this, [this, j] { pump(j); });
        }
    }

    // From a host thread of its own: every call is queued into the library's thread.
    static void writeFromThread(Job *j)
    {
        for (;;) {
            std::unique_lock<std::mutex> lock(j->mutex);
            j->wake.wait(lock, [j] { return j->written >= j->total || j->mayWrite(); });
            if (j->written >= j->total)
                return;
            lock.unlock();
            write_stream_data(j->id, j->next());
            lock.lock();
            j->written += j->chunk.size();
        }
    }

    const PresetList small;
    const PresetList big;
    const PresetList many;
    QHash<QString, StreamId> streams;
    std::map<QString, std::unique_ptr<Job>> jobs;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    app.setApplicationName(QStringLiteral("oru_bench_gateway"));
    if (argc < 3)
        return 2;
    Host host;
    init_oru_dgw_sdk(argc > 3 ? QString::fromLocal8Bit(argv[3]) : QStringLiteral("logs"),
                     QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]));
    return app.exec();
}
