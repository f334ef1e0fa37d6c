// Cost curves (oru_bench --curves). Each point is measured for three
// systems in turn, round after round, so the machine's other load falls on
// all of them alike: the SDK gateway with the project's client ("ours"), the
// raw server with the raw client ("raw"), and the SDK gateway with the raw
// client ("ours_rawclient"), which shows the gateway's share alone. Rounds are
// few: the whole run has to stay within a few minutes.

#include "curves.h"
#include "bench_util.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

namespace bench {
namespace {

constexpr int kRounds = 5;
constexpr int kInFlight = 16;             // requests per connection, as in the table's rate rows
constexpr double kRateSeconds = 0.5;      // per rate run
constexpr long kStreamBytes = 256L << 20; // delivered per stream run, all readers together
constexpr long kFanoutChunk = 64L << 10;

std::string loadAverage()
{
    std::ifstream in("/proc/loadavg");
    std::string one, five, fifteen;
    in >> one >> five >> fifteen;
    return one + " " + five + " " + fifteen;
}

std::string num(double v, int decimals)
{
    char b[64];
    std::snprintf(b, sizeof b, "%.*f", decimals, v);
    return b;
}

// One run: `units` (requests answered or bytes delivered) in `seconds`, and
// the units the server's CPU over the run is divided by (requests drained
// after the clock stopped included).
struct Sample {
    double units = 0, seconds = -1, cpuUnits = 0;
};

struct System {
    const char *column;
    pid_t pid;
    std::function<Sample(long x)> run;
};

// Medians over the rounds: units per second and CPU seconds per unit.
struct Point {
    long x = 0;
    std::vector<double> rate, cpu;
};

Point measure(const std::vector<System> &systems, long x)
{
    std::vector<std::vector<double>> rates(systems.size()), cpus(systems.size());
    for (int round = 0; round < kRounds; ++round) {
        for (size_t i = 0; i < systems.size(); ++i) {
            const CpuSample before = cpuSample(systems[i].pid);
            const Sample s = systems[i].run(x);
            if (s.seconds <= 0 || s.units <= 0)
                continue;
            rates[i].push_back(s.units / s.seconds);
            cpus[i].push_back(cpuSecondsBetween(before, cpuSample(systems[i].pid)) / s.cpuUnits);
        }
    }
    Point p;
    p.x = x;
    for (size_t i = 0; i < systems.size(); ++i) {
        p.rate.push_back(percentile(rates[i], 50));
        p.cpu.push_back(percentile(cpus[i], 50));
    }
    return p;
}

// A throughput curve: rate and CPU per unit for each system at each x.
struct Curve {
    Curve(std::string file_, std::string title_, std::string x_)
        : file(std::move(file_))
        , title(std::move(title_))
        , x(std::move(x_))
    {
    }
    std::string file, title, x;
    std::string unit;              // of the rate, in the Markdown table
    std::string rateName, cpuName; // column suffixes
    double rateScale = 1;          // from units per second
    double cpuScale = 1;           // from CPU seconds per unit
    std::vector<Point> points;
};

std::string ratio(double a, double b) { return a > 0 && b > 0 ? num(a / b, 2) : "n/a"; }

// Streams: MiB/s delivered and gateway CPU ms per GiB.
Curve streamCurve(const std::string &file, const std::string &title, const std::string &x)
{
    Curve c{file, title, x};
    c.unit = "MiB/s";
    c.rateName = "mib_per_s";
    c.cpuName = "cpu_ms_per_gib";
    c.rateScale = 1.0 / double(1 << 20);
    c.cpuScale = double(1L << 30) * 1000;
    return c;
}

// CSV: x, ours, raw, their CPU, then the gateway with the raw client and
// its CPU, then the rounds.
void writeCsv(const std::string &dir, const Curve &c, const std::vector<System> &systems)
{
    const auto column = [&](size_t system, bool cpu) {
        return std::string(",") + systems[system].column + "_" + (cpu ? c.cpuName : c.rateName);
    };
    const auto value = [&](const Point &p, size_t system, bool cpu) {
        return "," + (cpu ? num(p.cpu[system] * c.cpuScale, 3) : num(p.rate[system] * c.rateScale, 0));
    };
    const std::pair<size_t, bool> order[] = {{0, false}, {1, false}, {0, true}, {1, true}, {2, false}, {2, true}};
    std::ofstream out(dir + "/" + c.file + ".csv");
    out << c.x;
    for (const auto &o : order)
        out << column(o.first, o.second);
    out << ",rounds\n";
    for (const Point &p : c.points) {
        out << p.x;
        for (const auto &o : order)
            out << value(p, o.first, o.second);
        out << "," << kRounds << "\n";
    }
}

// Markdown: the ratios to the raw server at each point.
void writeTable(std::ostream &md, const Curve &c)
{
    md << "### " << c.title << "\n\n| " << c.x << " | ours " << c.unit << " | raw " << c.unit
       << " | ours/raw | CPU ours/raw | gateway with raw client / raw | its CPU / raw "
          "|\n|---:|---:|---:|---:|---:|---:|"
          "---:|\n";
    for (const Point &p : c.points) {
        md << "| " << p.x << " | " << num(p.rate[0] * c.rateScale, 0) << " | " << num(p.rate[1] * c.rateScale, 0)
           << " | " << ratio(p.rate[0], p.rate[1]) << " | " << ratio(p.cpu[0], p.cpu[1]) << " | "
           << ratio(p.rate[2], p.rate[1]) << " | " << ratio(p.cpu[2], p.cpu[1]) << " |\n";
    }
    md << "\n";
}

void progress(const Curve &c, const Point &p)
{
    std::printf("%-8s %-12s %7ld  ours %12.1f  raw %12.1f  (%s)  CPU ours/raw %s\n", c.file.c_str(), c.x.c_str(), p.x,
                p.rate[0] * c.rateScale, p.rate[1] * c.rateScale, ratio(p.rate[0], p.rate[1]).c_str(),
                ratio(p.cpu[0], p.cpu[1]).c_str());
    std::fflush(stdout);
}

int streamRunCounter = 0;

// One stream of `total` bytes per reader; the rate counts every reader's bytes.
Sample streamSample(double (*run)(const Target &, const StreamJob &), const Target &t, long chunk, int readers)
{
    StreamJob job;
    job.device = "curve-" + std::to_string(++streamRunCounter);
    job.chunk = chunk;
    job.readers = readers;
    job.total = kStreamBytes / readers;
    const double bytes = double(job.total) * readers;
    return Sample{bytes, run(t, job), bytes};
}

// Gateway resident-size growth with `count` idle control connections, each
// system in a fresh process (a freed heap would hide the next point's growth).
struct MemoryPoint {
    long count = 0;
    long oursKiB = 0, rawKiB = 0;
};

long growthKiB(const Served &s, int count)
{
    // One connection served first, so the growth excludes what the first costs once.
    rawProbe(s.target, false);
    const long before = rssKiB(s.pid);
    long during = before;
    rawHoldControl(s.target, count, [&] { during = rssKiB(s.pid); });
    return during - before;
}

// Idle connections: as many as the descriptor limit allows each process (the
// driver raised the soft limit to the hard one; the servers inherit it).
std::vector<MemoryPoint> memoryCurve(const std::string &dir, const CurveServers &servers, size_t small, size_t big,
                                     std::string *cut)
{
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    std::vector<MemoryPoint> memory;
    for (const long count : {1L, 10L, 100L, 1000L, 10000L}) {
        if (files.rlim_cur != RLIM_INFINITY && rlim_t(count + 256) > files.rlim_cur) {
            *cut = "The " + std::to_string(count) + "-connection point and those above were left out: the open-file "
                + "limit (RLIMIT_NOFILE, hard limit " + std::to_string(files.rlim_max) + ") is too low.";
            break;
        }
        MemoryPoint p;
        p.count = count;
        p.oursKiB = growthKiB(servers.ours("mem-" + std::to_string(count)), int(count));
        p.rawKiB = growthKiB(servers.raw("mem-raw-" + std::to_string(count), small, big), int(count));
        std::printf("memory   connections  %7ld  ours %8.0f B/conn  raw %8.0f B/conn\n", count,
                    p.oursKiB * 1024.0 / double(count), p.rawKiB * 1024.0 / double(count));
        std::fflush(stdout);
        memory.push_back(p);
    }
    std::ofstream out(dir + "/memory.csv");
    out << "connections,ours_bytes_per_conn,raw_bytes_per_conn,ours_rss_growth_kib,raw_rss_growth_kib,rounds\n";
    for (const MemoryPoint &p : memory) {
        out << p.count << "," << num(p.oursKiB * 1024.0 / double(p.count), 0) << ","
            << num(p.rawKiB * 1024.0 / double(p.count), 0) << "," << p.oursKiB << "," << p.rawKiB << ",1\n";
    }
    return memory;
}

} // namespace

int runCurves(const std::string &dir, const CurveServers &servers)
{
    if (mkdir(dir.c_str(), 0755) != 0 && errno != EEXIST) {
        std::fprintf(stderr, "oru_bench: cannot create %s: %s\n", dir.c_str(), std::strerror(errno));
        return 2;
    }
    const std::string startLoad = loadAverage();
    const std::time_t started = std::time(nullptr);

    const Served ours = servers.ours("curves");
    size_t small = 0, big = 0;
    if (!rawProbe(ours.target, false, &small) || !rawProbe(ours.target, true, &big)) {
        std::fprintf(stderr, "oru_bench: the SDK gateway does not answer\n");
        return 1;
    }
    const Served raw = servers.raw("curves-raw", small, big);

    const auto rateOf = [](RateResult (*run)(const Target &, int, int, double), const Target &t) {
        return [run, &t](long conns) {
            const RateResult r = run(t, int(conns), kInFlight, kRateSeconds);
            return Sample{double(r.done), r.seconds, double(r.done + conns * kInFlight)};
        };
    };
    const std::vector<System> rateSystems{{"ours", ours.pid, rateOf(sdkRate, ours.target)},
                                          {"raw", raw.pid, rateOf(rawRate, raw.target)},
                                          {"ours_rawclient", ours.pid, rateOf(rawRate, ours.target)}};
    const auto fanout = [](double (*run)(const Target &, const StreamJob &), const Target &t) {
        return [run, &t](long readers) { return streamSample(run, t, kFanoutChunk, int(readers)); };
    };
    const std::vector<System> socketSystems{{"ours", ours.pid, fanout(sdkStream, ours.target)},
                                            {"raw", raw.pid, fanout(rawStream, raw.target)},
                                            {"ours_rawclient", ours.pid, fanout(rawStream, ours.target)}};
    const auto chunked = [](double (*run)(const Target &, const StreamJob &), const Target &t) {
        return [run, &t](long kib) { return streamSample(run, t, kib << 10, 1); };
    };
    const std::vector<System> chunkSystems{{"ours", ours.pid, chunked(sdkStream, ours.target)},
                                           {"raw", raw.pid, chunked(rawStream, raw.target)},
                                           {"ours_rawclient", ours.pid, chunked(rawStream, ours.target)}};

    Curve rate{"rate", "Requests per second against connections", "connections"};
    rate.unit = "req/s";
    rate.rateName = "req_per_s";
    rate.cpuName = "cpu_us_per_req";
    rate.cpuScale = 1e6;
    Curve sockets = streamCurve("sockets", "Stream throughput against sockets per stream (64 KiB chunks)", "sockets");
    Curve chunks = streamCurve("chunks", "Stream throughput against chunk size (1 socket)", "chunk_kib");
    const struct {
        Curve &curve;
        const std::vector<System> &systems;
        std::vector<long> xs;
    } plans[] = {{rate, rateSystems, {1, 2, 4, 8, 16, 32, 64, 128, 256}},
                 {sockets, socketSystems, {1, 2, 4, 8, 16, 32, 64}},
                 {chunks, chunkSystems, {4, 16, 64, 256, 1024, 4096}}};
    for (const auto &plan : plans) {
        for (const long x : plan.xs) {
            plan.curve.points.push_back(measure(plan.systems, x));
            progress(plan.curve, plan.curve.points.back());
        }
        writeCsv(dir, plan.curve, plan.systems);
    }

    std::string cut;
    const std::vector<MemoryPoint> memory = memoryCurve(dir, servers, small, big, &cut);

    std::ofstream md(dir + "/curves.md");
    char when[64];
    std::strftime(when, sizeof when, "%Y-%m-%d %H:%M UTC", std::gmtime(&started));
    md << "Curves run " << when << ", " << num(std::difftime(std::time(nullptr), started), 0)
       << " s; load average (1, 5, 15 min) " << startLoad << " at the start, " << loadAverage()
       << " at the end. Throughput points: the median of " << kRounds << " interleaved rounds; requests with "
       << kInFlight << " in flight per connection for " << kRateSeconds << " s; streams " << (kStreamBytes >> 20)
       << " MiB delivered per run (all readers together). Memory: one "
       << "fresh gateway per point, one round. The SDK gateway logs at its default level.\n\n";
    if (!cut.empty())
        md << cut << "\n\n";
    for (const Curve *c : {&rate, &sockets, &chunks})
        writeTable(md, *c);
    md << "### Memory against idle control connections\n\n| connections | ours B/conn | raw B/conn | ours/raw |\n"
          "|---:|---:|---:|---:|\n";
    for (const MemoryPoint &p : memory) {
        md << "| " << p.count << " | " << num(p.oursKiB * 1024.0 / double(p.count), 0) << " | "
           << num(p.rawKiB * 1024.0 / double(p.count), 0) << " | " << ratio(double(p.oursKiB), double(p.rawKiB))
           << " |\n";
    }
    if (!cut.empty())
        std::printf("%s\n", cut.c_str());
    std::printf("CSV and curves.md in %s\n", dir.c_str());
    return 0;
}

} // namespace bench
