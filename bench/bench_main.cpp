// Benchmark driver. Starts the gateways under test as processes of their own
// (the SDK host twice: log at its default level and raised to error; the raw
// Unix-socket server; Qt Remote Objects and gRPC servers when built), runs the
// client side of every scenario here, and prints one Markdown table.
//
//   oru_bench [--quick|--full] [--out FILE] [--only rtt,rate,stream,payload,stall,memory]
//             [--gateway PATH]   (another build of the SDK host, to measure a change)
//             [--gateway-env NAME=VALUE]  (environment of the SDK host only, repeatable)
//             [--before PATH]    (an older build of the SDK host, measured in the same rounds)
//   oru_bench --profile callgrind|perf --dir DIR [--requests N] [--before PATH]
//   oru_bench --profile callgrind-stream --dir DIR [--frames N] [--before PATH]
//   oru_bench --curves --out DIR   (cost curves as CSV, see curves.h)

#include "bench_client.h"
#include "bench_util.h"
#include "curves.h"
#ifdef ORU_BENCH_QTRO
#include "baselines.h"
#endif

#include <QCoreApplication>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace bench;

namespace {

struct Settings {
    bool full = false;
    int rounds = 3;
    int samples = 200;      // back-to-back round trips, per round
    int spacedSamples = 60; // round trips 1 ms apart, per round
    double rateSeconds = 0.25;
    long streamBytes = 32 << 20;    // per reader, 64 KiB and 1 MiB chunks
    long smallChunkBytes = 8 << 20; // per reader, 4 KiB chunks
    long fanoutBytes = 16 << 20;    // per reader with 4 readers (aggregate kept for 16)
    long stallBytes = 64 << 20;     // per fast reader
};

std::string binDir;
std::string gatewayBinary;
std::string beforeBinary;
std::vector<std::string> gatewayEnv;
std::string workDir;
int runCounter = 0;

std::string bin(const std::string &name) { return binDir + "/" + name; }
std::string uniqueDevice(const char *what) { return std::string(what) + "-" + std::to_string(++runCounter); }

// ---------------------------------------------------------------------------
// Servers

struct Gateway {
    Child process;
    Target target;
};

std::unique_ptr<Gateway> startGateway(const std::string &name, bool errorLevel,
                                      const std::vector<std::string> &wrapper = {},
                                      const std::vector<std::string> &extraEnv = {},
                                      const std::string &binary = gatewayBinary)
{
    auto g = std::make_unique<Gateway>();
    g->target.control = workDir + "/" + name + "-ctl";
    g->target.stream = workDir + "/" + name + "-stream";
    g->target.sdk = true;
    std::vector<std::string> argv = wrapper;
    for (const std::string &a : {binary, g->target.control, g->target.stream, std::string("logs-") + name})
        argv.push_back(a);
    std::vector<std::string> env{"XDG_DATA_HOME=" + workDir + "/data",
                                 errorLevel ? "ORU_LOG_LEVEL=error" : "ORU_LOG_LEVEL="};
    env.insert(env.end(), gatewayEnv.begin(), gatewayEnv.end());
    env.insert(env.end(), extraEnv.begin(), extraEnv.end());
    if (!g->process.start(argv, env) || !waitForSocket(g->target.control, wrapper.empty() ? 10000 : 120000)
        || !waitForSocket(g->target.stream, 10000)) {
        std::fprintf(stderr, "gateway %s did not start\n", name.c_str());
        std::exit(1);
    }
    return g;
}

std::unique_ptr<Gateway> startRaw(const std::string &name, size_t small, size_t big,
                                  const std::vector<std::string> &wrapper = {})
{
    auto g = std::make_unique<Gateway>();
    g->target.control = workDir + "/" + name;
    g->target.stream = g->target.control;
    g->target.sdk = false;
    std::vector<std::string> argv = wrapper;
    for (const std::string &a :
         {bin("oru_bench_raw_server"), g->target.control, std::to_string(small), std::to_string(big)})
        argv.push_back(a);
    if (!g->process.start(argv) || !waitForSocket(g->target.control, wrapper.empty() ? 5000 : 60000)) {
        std::fprintf(stderr, "raw server did not start\n");
        std::exit(1);
    }
    return g;
}

bool built(const std::string &name) { return access(bin(name).c_str(), X_OK) == 0; }

// ---------------------------------------------------------------------------
// Results

struct Latency {
    double p50 = 0, p99 = 0;
    bool ok = false;
};

Latency latency(std::vector<double> us)
{
    // The first answers pay for connection set-up and cold caches.
    const size_t warm = std::min<size_t>(20, us.size() / 10);
    us.erase(us.begin(), us.begin() + long(warm));
    Latency l;
    l.ok = !us.empty();
    l.p50 = percentile(us, 50);
    l.p99 = percentile(us, 99);
    return l;
}

std::string fmt(double v, int decimals = 0)
{
    char b[64];
    std::snprintf(b, sizeof b, "%.*f", decimals, v);
    return b;
}

std::string fmtLatency(const Latency &l) { return l.ok ? fmt(l.p50) + " / " + fmt(l.p99) : "failed"; }
std::string ratio(double a, double b) { return b > 0 && a > 0 ? fmt(a / b, 2) + "x" : "n/a"; }

struct Row {
    std::string metric, ours, raw, ratio, target, met, qtro, grpc;
};

std::vector<Row> rows;
std::vector<std::string> notes;

void section(const std::string &title) { rows.push_back(Row{"**" + title + "**", "", "", "", "", "", "", ""}); }

void add(Row r)
{
    std::printf("%-58s %16s %16s %8s %10s %4s %16s %16s\n", r.metric.c_str(), r.ours.c_str(), r.raw.c_str(),
                r.ratio.c_str(), r.target.c_str(), r.met.c_str(), r.qtro.c_str(), r.grpc.c_str());
    std::fflush(stdout);
    rows.push_back(std::move(r));
}

// The "Before and after" table: the same metric for the older build (--before)
// and this one, with the raw server's figure from the same rounds.
struct Compared {
    std::string metric, before, after, raw;
    double b, a, r; // what the ratios divide
};

std::vector<Compared> compared;

void compare(Compared c)
{
    std::printf("before / after / raw: %-60s %16s %16s %16s\n", c.metric.c_str(), c.before.c_str(), c.after.c_str(),
                c.raw.c_str());
    std::fflush(stdout);
    compared.push_back(std::move(c));
}

void compare(const std::string &metric, double b, double a, double r, int decimals)
{
    compare(Compared{metric, fmt(b, decimals), fmt(a, decimals), fmt(r, decimals), b, a, r});
}

std::string yesNo(bool b) { return b ? "yes" : "**no**"; }

std::string readFile(const std::string &path)
{
    std::ifstream in(path);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string loadAverage()
{
    const std::string load = readFile("/proc/loadavg");
    return load.substr(0, load.find(' ', load.find(' ', load.find(' ') + 1) + 1));
}

std::string startLoad;

std::string machine()
{
    std::string model = "unknown";
    std::istringstream cpuinfo(readFile("/proc/cpuinfo"));
    for (std::string line; std::getline(cpuinfo, line);) {
        if (line.compare(0, 10, "model name") == 0) {
            model = line.substr(line.find(':') + 2);
            break;
        }
    }
    return std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " CPUs, " + model + ", load average (1, 5, 15 min) "
        + startLoad + " at the start, " + loadAverage() + " at the end";
}

// ---------------------------------------------------------------------------
// gRPC runs through its helper process.

std::string runHelper(const std::vector<std::string> &args)
{
    std::string command;
    for (const std::string &a : args)
        command += "'" + a + "' ";
    FILE *p = popen(command.c_str(), "r");
    if (!p)
        return {};
    char line[256] = {};
    const bool got = std::fgets(line, sizeof line, p) != nullptr;
    pclose(p);
    return got ? line : "";
}

// ---------------------------------------------------------------------------
// Scenarios

struct Systems {
    std::unique_ptr<Gateway> trace, error, raw;
    std::unique_ptr<Gateway> before; // --before: the older build, log trace
    Child qtro, grpc;
    std::string qtroName, grpcPath;
    size_t smallAnswer = 0, bigAnswer = 0;
};

// The machine is shared: every system of a metric is measured once per round,
// in turn, and the median over the rounds is kept.
double median(std::vector<double> v) { return percentile(std::move(v), 50); }

Latency medianLatency(const std::vector<Latency> &runs)
{
    std::vector<double> p50, p99;
    for (const Latency &l : runs) {
        if (l.ok) {
            p50.push_back(l.p50);
            p99.push_back(l.p99);
        }
    }
    Latency m;
    m.ok = !p50.empty();
    m.p50 = median(p50);
    m.p99 = median(p99);
    return m;
}

void roundTrips(Systems &s, const Settings &set)
{
    section("Control round trip, p50 / p99 in µs (lower is better)");
    struct Case {
        bool big, records;
        int spacing;
        std::string what;
    };
    const std::vector<Case> cases{{false, false, 0, "small answer, back to back"},
                                  {false, false, 1000, "small answer, 1 ms apart"},
                                  {true, false, 0, "64 KiB answer, back to back"},
                                  {true, false, 1000, "64 KiB answer, 1 ms apart"}};
    for (const Case &c : cases) {
        const int n = c.spacing ? set.spacedSamples : set.samples;
        const auto sdk = [&](const Gateway &g) { return latency(sdkRoundTrip(g.target, c.big, n, c.spacing)); };
        std::vector<Latency> raw, trace, error, diag, records, qtro, grpc, before;
        for (int round = 0; round < set.rounds; ++round) {
            raw.push_back(latency(rawRoundTrip(s.raw->target, c.big, n, c.spacing)));
            trace.push_back(sdk(*s.trace));
            if (s.before)
                before.push_back(sdk(*s.before));
            error.push_back(sdk(*s.error));
            diag.push_back(latency(rawRoundTrip(s.error->target, c.big, n, c.spacing)));
            if (c.big)
                records.push_back(latency(sdkRoundTrip(s.error->target, c.big, n, c.spacing, true)));
#ifdef ORU_BENCH_QTRO
            if (s.qtro.running())
                qtro.push_back(latency(qtroRoundTrip(s.qtroName, c.big, n, c.spacing)));
#endif
            if (s.grpc.running()) {
                const std::string out =
                    runHelper({bin("oru_bench_grpc_client"), s.grpcPath, "rtt", c.big ? "1" : "0", std::to_string(n),
                               std::to_string(c.spacing), std::to_string(requestPayload(0, 0, c.big).size())});
                Latency g;
                g.ok = std::sscanf(out.c_str(), "%lf %lf", &g.p50, &g.p99) == 2;
                grpc.push_back(g);
            }
        }
        const Latency rawM = medianLatency(raw), qtroM = medianLatency(qtro), grpcM = medianLatency(grpc);
        // Spaced requests find the gateway idle: the wake-up is the raw
        // server's too. Back to back, its per-request work shows whole.
        const double limit = c.spacing ? 1.5 : 2.0;
        for (const bool errorLevel : {false, true}) {
            const Latency ours = medianLatency(errorLevel ? error : trace);
            const bool beatsBaselines = (!qtroM.ok || ours.p50 < qtroM.p50) && (!grpcM.ok || ours.p50 < grpcM.p50);
            add(Row{c.what + (errorLevel ? ", log error" : ", log trace (default)"), fmtLatency(ours), fmtLatency(rawM),
                    ratio(ours.p50, rawM.p50), "<= " + fmt(limit, 1) + "x; < QtRO, gRPC",
                    yesNo(ours.p50 <= limit * rawM.p50) + " / " + yesNo(beatsBaselines),
                    qtroM.ok ? fmtLatency(qtroM) + " (" + ratio(ours.p50, qtroM.p50) + ")" : "-",
                    grpcM.ok ? fmtLatency(grpcM) + " (" + ratio(ours.p50, grpcM.p50) + ")" : "-"});
        }
        if (s.before) {
            const Latency b = medianLatency(before), a = medianLatency(trace);
            compare(Compared{"control round trip p50 / p99 µs, " + c.what, fmtLatency(b), fmtLatency(a),
                             fmtLatency(rawM), b.p50, a.p50, rawM.p50});
        }
        const Latency d = medianLatency(diag);
        add(Row{"  ↳ same, SDK gateway (log error) with the raw client", fmtLatency(d), fmtLatency(rawM),
                ratio(d.p50, rawM.p50), "", "", "", ""});
        if (c.big) {
            const Latency r = medianLatency(records);
            add(Row{"  ↳ same, log error, the 64 KiB as 1,000 preset records", fmtLatency(r), fmtLatency(rawM),
                    ratio(r.p50, rawM.p50), "", "", "", ""});
        }
    }
}

void rates(Systems &s, const Settings &set)
{
    section("Requests per second, 16 in flight per connection (higher is better); CPU ms of the serving process per "
            "1,000 requests");
    const int inFlight = 16;
    for (const int conns : {1, 8, 64}) {
        struct Measure {
            std::vector<double> rate, cpu;
            double medianRate() const { return median(rate); }
            double medianCpu() const { return median(cpu); }
        };
        // CPU of the serving process over the run, per 1,000 answers (drain included).
        const auto measure = [&](Measure &m, pid_t pid, const std::function<RateResult()> &run) {
            const CpuSample before = cpuSample(pid);
            const RateResult r = run();
            const long answered = r.done + long(conns) * inFlight;
            if (r.done <= 0)
                return;
            m.rate.push_back(r.perSecond());
            m.cpu.push_back(cpuSecondsBetween(before, cpuSample(pid)) * 1e6 / double(answered));
        };
        const auto sdk = [&](Measure &m, const Gateway &g) {
            measure(m, g.process.pid(), [&] { return sdkRate(g.target, conns, inFlight, set.rateSeconds); });
        };
        Measure raw, trace, error, diag, qtro, grpc, before;
        for (int round = 0; round < set.rounds; ++round) {
            measure(raw, s.raw->process.pid(),
                    [&] { return rawRate(s.raw->target, conns, inFlight, set.rateSeconds); });
            sdk(trace, *s.trace);
            if (s.before)
                sdk(before, *s.before);
            sdk(error, *s.error);
            measure(diag, s.error->process.pid(),
                    [&] { return rawRate(s.error->target, conns, inFlight, set.rateSeconds); });
#ifdef ORU_BENCH_QTRO
            if (s.qtro.running())
                measure(qtro, s.qtro.pid(), [&] { return qtroRate(s.qtroName, conns, inFlight, set.rateSeconds); });
#endif
            if (s.grpc.running()) {
                measure(grpc, s.grpc.pid(), [&] {
                    RateResult r;
                    const std::string out =
                        runHelper({bin("oru_bench_grpc_client"), s.grpcPath, "rate", std::to_string(conns),
                                   std::to_string(inFlight), fmt(set.rateSeconds, 2),
                                   std::to_string(requestPayload(0, 0, false).size())});
                    std::sscanf(out.c_str(), "%ld %lf", &r.done, &r.seconds);
                    return r;
                });
            }
        }
        const double rawRate = raw.medianRate();
        for (const bool errorLevel : {false, true}) {
            const Measure &ours = errorLevel ? error : trace;
            const std::string what = std::to_string(conns) + (conns == 1 ? " connection" : " connections")
                + (errorLevel ? ", log error" : ", log trace (default)");
            add(Row{"req/s, " + what, fmt(ours.medianRate()), fmt(rawRate), ratio(ours.medianRate(), rawRate),
                    ">= 0.5x", yesNo(ours.medianRate() >= 0.5 * rawRate),
                    qtro.rate.empty() ? "-" : fmt(qtro.medianRate()),
                    grpc.rate.empty() ? "-" : fmt(grpc.medianRate())});
            add(Row{"CPU ms / 1,000 req, " + what, fmt(ours.medianCpu(), 2), fmt(raw.medianCpu(), 2),
                    ratio(ours.medianCpu(), raw.medianCpu()), "", "", qtro.cpu.empty() ? "-" : fmt(qtro.medianCpu(), 2),
                    grpc.cpu.empty() ? "-" : fmt(grpc.medianCpu(), 2)});
        }
        if (s.before) {
            const std::string what = std::to_string(conns) + (conns == 1 ? " connection" : " connections");
            compare("req/s, " + what, before.medianRate(), trace.medianRate(), rawRate, 0);
            compare("CPU ms / 1,000 req, " + what, before.medianCpu(), trace.medianCpu(), raw.medianCpu(), 2);
        }
        add(Row{"  ↳ req/s, SDK gateway (log error) with the raw client", fmt(diag.medianRate()), fmt(rawRate),
                ratio(diag.medianRate(), rawRate), "", "", "", ""});
        add(Row{"  ↳ CPU ms / 1,000 req, same", fmt(diag.medianCpu(), 2), fmt(raw.medianCpu(), 2),
                ratio(diag.medianCpu(), raw.medianCpu()), "", "", "", ""});
    }
}

double mibPerSecond(long bytes, double seconds) { return seconds > 0 ? double(bytes) / double(1 << 20) / seconds : 0; }

// Median MiB/s over the rounds of one stream job (a fresh device each time),
// and the serving process's CPU per GiB delivered, which the machine's other
// load disturbs far less than the rate.
struct StreamRuns {
    std::vector<double> mib, cpu;
    void run(const std::function<double(const StreamJob &)> &f, StreamJob job, long bytes, pid_t pid = 0)
    {
        job.device = uniqueDevice("s");
        const CpuSample before = pid > 0 ? cpuSample(pid) : CpuSample{};
        const double seconds = f(job);
        if (seconds <= 0)
            return;
        mib.push_back(mibPerSecond(bytes, seconds));
        if (pid > 0)
            cpu.push_back(cpuSecondsBetween(before, cpuSample(pid)) * 1000 / (double(bytes) / double(1 << 30)));
    }
    double value() const { return median(mib); }
    double cpuPerGiB() const { return median(cpu); }
};

void streams(Systems &s, const Settings &set)
{
    section("Stream throughput, MiB/s of payload received (higher is better)");
    const auto raw = [&](const Target &t) { return [&t](const StreamJob &j) { return rawStream(t, j); }; };
    const auto sdk = [&](const Target &t) { return [&t](const StreamJob &j) { return sdkStream(t, j); }; };
    for (const long chunk : {4L << 10, 64L << 10, 1L << 20}) {
        StreamJob job;
        job.chunk = chunk;
        job.total = chunk == (4 << 10) ? set.smallChunkBytes : set.streamBytes;
        const std::string size = chunk >= (1 << 20) ? "1 MiB" : std::to_string(chunk >> 10) + " KiB";
        StreamRuns base, lib, thread, diag, grpc, before;
        const bool withBefore = s.before && chunk < (1 << 20);
        for (int round = 0; round < set.rounds; ++round) {
            const pid_t gateway = s.trace->process.pid();
            base.run(raw(s.raw->target), job, job.total, s.raw->process.pid());
            job.otherThread = false;
            lib.run(sdk(s.trace->target), job, job.total, gateway);
            if (withBefore)
                before.run(sdk(s.before->target), job, job.total, s.before->process.pid());
            diag.run(raw(s.trace->target), job, job.total, gateway);
            job.otherThread = true;
            thread.run(sdk(s.trace->target), job, job.total, gateway);
            job.otherThread = false;
            if (s.grpc.running()) {
                grpc.run(
                    [&](const StreamJob &j) {
                        return std::atof(runHelper({bin("oru_bench_grpc_client"), s.grpcPath, "stream",
                                                    std::to_string(j.chunk), std::to_string(j.total)})
                                             .c_str());
                    },
                    job, job.total, s.grpc.pid());
            }
        }
        if (withBefore) {
            compare("stream MiB/s, 1 socket, " + size + " chunks", before.value(), lib.value(), base.value(), 0);
            compare("gateway CPU ms per GiB, 1 socket, " + size + " chunks", before.cpuPerGiB(), lib.cpuPerGiB(),
                    base.cpuPerGiB(), 0);
        }
        const bool targeted = chunk >= (64 << 10);
        for (const StreamRuns *r : {&lib, &thread}) {
            add(Row{"1 socket, " + size + " chunks, written "
                        + (r == &thread ? "from a host thread" : "on the library's thread"),
                    fmt(r->value()), fmt(base.value()), ratio(r->value(), base.value()), targeted ? ">= 0.7x" : "",
                    targeted ? yesNo(r->value() >= 0.7 * base.value()) : "", "-",
                    grpc.mib.empty() ? "-" : fmt(grpc.value())});
        }
        add(Row{"  ↳ same (library's thread), SDK gateway with the raw reader", fmt(diag.value()), fmt(base.value()),
                ratio(diag.value(), base.value()), "", "", "", ""});
        add(Row{"  gateway CPU ms per GiB, library's thread / host thread / raw reader",
                fmt(lib.cpuPerGiB()) + " / " + fmt(thread.cpuPerGiB()) + " / " + fmt(diag.cpuPerGiB()),
                fmt(base.cpuPerGiB()), ratio(lib.cpuPerGiB(), base.cpuPerGiB()), "", "", "-",
                grpc.cpu.empty() ? "-" : fmt(grpc.cpuPerGiB())});
    }

    section("Fan-out of one stream, 64 KiB chunks, aggregate MiB/s (higher is better)");
    for (const int readers : {4, 16}) {
        StreamJob job;
        job.chunk = 64 << 10;
        job.total = set.fanoutBytes * 4 / readers;
        job.readers = readers;
        const long aggregate = job.total * readers;
        StreamRuns base, ours, diag, before;
        const bool withBefore = s.before && readers == 16;
        for (int round = 0; round < set.rounds; ++round) {
            base.run(raw(s.raw->target), job, aggregate, s.raw->process.pid());
            ours.run(sdk(s.trace->target), job, aggregate, s.trace->process.pid());
            if (withBefore)
                before.run(sdk(s.before->target), job, aggregate, s.before->process.pid());
            diag.run(raw(s.trace->target), job, aggregate, s.trace->process.pid());
        }
        if (withBefore) {
            compare("fan-out MiB/s, 16 sockets, 64 KiB chunks", before.value(), ours.value(), base.value(), 0);
            compare("gateway CPU ms per GiB delivered, 16 sockets", before.cpuPerGiB(), ours.cpuPerGiB(),
                    base.cpuPerGiB(), 0);
        }
        add(Row{std::to_string(readers) + " sockets", fmt(ours.value()), fmt(base.value()),
                ratio(ours.value(), base.value()), ">= 0.5x", yesNo(ours.value() >= 0.5 * base.value()), "-", "-"});
        add(Row{"  ↳ same, SDK gateway with raw readers", fmt(diag.value()), fmt(base.value()),
                ratio(diag.value(), base.value()), "", "", "", ""});
        add(Row{"  gateway CPU ms per GiB delivered (Connection readers / raw readers)",
                fmt(ours.cpuPerGiB()) + " / " + fmt(diag.cpuPerGiB()), fmt(base.cpuPerGiB()),
                ratio(ours.cpuPerGiB(), base.cpuPerGiB()), "", "", "-", "-"});
    }
}

// Camera buffers wrapped with QByteArray::fromRawData cost the SDK one copy
// each (it must not read them after the call); arrays that own their data
// none. The baseline writes one owned array again and again (always in cache);
// a new owned array per write is what a host that copies the buffer itself pays.
void payloads(Systems &s, const Settings &set)
{
    section("Host payloads, 1 socket, library's thread, MiB/s (baseline column: one owned array written again and "
            "again)");
    const auto sdk = [&](const StreamJob &j) { return sdkStream(s.trace->target, j); };
    for (const long chunk : {4L << 10, 64L << 10, 1L << 20}) {
        StreamJob job;
        job.chunk = chunk;
        job.total = chunk == (4 << 10) ? set.smallChunkBytes : set.streamBytes;
        StreamRuns shared, fresh, raw;
        for (int round = 0; round < set.rounds; ++round) {
            const pid_t pid = s.trace->process.pid();
            job.rawData = job.fresh = false;
            shared.run(sdk, job, job.total, pid);
            job.rawData = true;
            raw.run(sdk, job, job.total, pid);
            job.rawData = false;
            job.fresh = true;
            fresh.run(sdk, job, job.total, pid);
        }
        const std::string size = chunk >= (1 << 20) ? "1 MiB" : std::to_string(chunk >> 10) + " KiB";
        add(Row{size + " chunks, raw-data arrays (the SDK copies each once)", fmt(raw.value()), fmt(shared.value()),
                ratio(raw.value(), shared.value()), "", "", "-", "-"});
        add(Row{"  ↳ owned arrays, a new one per write (the host copies)", fmt(fresh.value()), fmt(shared.value()),
                ratio(fresh.value(), shared.value()), "", "", "-", "-"});
        add(Row{"  gateway CPU ms per GiB, raw-data / new owned", fmt(raw.cpuPerGiB()) + " / " + fmt(fresh.cpuPerGiB()),
                fmt(shared.cpuPerGiB()), ratio(raw.cpuPerGiB(), shared.cpuPerGiB()), "", "", "-", "-"});
    }
}

void stalled(const Systems &s, const Settings &set)
{
    section("One stalled reader among 3 fast ones, 64 KiB chunks");
    StreamJob job;
    job.chunk = 64 << 10;
    job.total = set.stallBytes;
    job.readers = 3;
    job.stalled = true;
    // Fresh processes: the peak resident size only grows.
    auto gateway = startGateway("stall", false);
    auto raw = startRaw("raw-stall", s.smallAnswer, s.bigAnswer);
    job.device = uniqueDevice("stall-raw");
    const long rawBase = rssKiB(raw->process.pid());
    const double rawRate = mibPerSecond(job.total * 3, rawStream(raw->target, job));
    const long rawPeak = peakRssKiB(raw->process.pid());
    job.device = uniqueDevice("stall");
    const long ourBase = rssKiB(gateway->process.pid());
    const double ours = mibPerSecond(job.total * 3, sdkStream(gateway->target, job));
    const long ourPeak = peakRssKiB(gateway->process.pid());
    add(Row{"fast readers' aggregate MiB/s", fmt(ours), fmt(rawRate), ratio(ours, rawRate), "", "", "-", "-"});
    add(Row{"gateway peak RSS MiB (growth over idle)",
            fmt(ourPeak / 1024.0) + " (+" + fmt((ourPeak - ourBase) / 1024.0) + ")",
            fmt(rawPeak / 1024.0) + " (+" + fmt((rawPeak - rawBase) / 1024.0) + ")",
            ratio(double(ourPeak), double(rawPeak)), "", "", "-", "-"});
    notes.push_back("Stalled reader: each fast reader received " + fmt(job.total / double(1 << 20))
                    + " MiB; the stalled socket never reads, so everything written for it past the kernel's socket "
                      "buffer stays queued in the gateway.");

    // The same with a queue limit: the stalled socket drops frames instead.
    const long limitMiB = 16;
    auto limited =
        startGateway("stall-limit", false, {},
                     {"ORU_STREAM_QUEUE_LIMIT=" + std::to_string(limitMiB) + "M", "ORU_STREAM_QUEUE_POLICY=drop"});
    StreamJob unstalled = job;
    unstalled.stalled = false;
    unstalled.fresh = true;
    const long limitBase = rssKiB(limited->process.pid());
    StreamRuns withStall, without;
    const auto run = [&](const StreamJob &j) { return sdkStream(limited->target, j); };
    for (int round = 0; round < set.rounds; ++round) {
        without.run(run, unstalled, unstalled.total * 3);
        withStall.run(run, job, job.total * 3);
    }
    const double limitRate = withStall.value(), freeRate = without.value();
    const long limitPeak = peakRssKiB(limited->process.pid());
    const double growth = (limitPeak - limitBase) / 1024.0;
    add(Row{"with ORU_STREAM_QUEUE_LIMIT=" + std::to_string(limitMiB)
                + "M (drop): fast readers' MiB/s (baseline column: same gateway, no stalled reader)",
            fmt(limitRate), fmt(freeRate), ratio(limitRate, freeRate), ">= 0.8x", yesNo(limitRate >= 0.8 * freeRate),
            "-", "-"});
    add(Row{"  gateway peak RSS growth over idle, MiB (baseline column: the limit)", fmt(growth), fmt(limitMiB),
            ratio(growth, double(limitMiB)), "<= limit + 16 MiB", yesNo(growth <= limitMiB + 16), "-", "-"});
}

void memory(const Systems &s)
{
    section("Memory, gateway RSS");
    using Hold = std::function<void(const Target &, const std::function<void()> &)>;
    // Resident size of a fresh server while `hold` keeps its connections open.
    const auto measure = [](Gateway &g, const Hold &hold, long *delta) {
        const long before = rssKiB(g.process.pid());
        long during = before;
        hold(g.target, [&] { during = rssKiB(g.process.pid()); });
        *delta = during - before;
        return during;
    };
    struct Case {
        std::string name, total, each, comparedAs;
        int count;
        Hold hold;
    };
    const std::vector<Case> cases{
        {"mem", "1,000 idle control connections: RSS MiB", "  bytes per control connection",
         "bytes per idle control connection", 1000,
         [](const Target &t, const std::function<void()> &m) { rawHoldControl(t, 1000, m); }},
        {"mem2", "256 streams x 2 sockets: RSS MiB", "  bytes per stream socket", "bytes per stream socket", 512,
         [](const Target &t, const std::function<void()> &m) { rawHoldStreams(t, 256, 2, m); }}};
    for (const Case &c : cases) {
        auto ours = startGateway(c.name, false);
        auto raw = startRaw("raw-" + c.name, s.smallAnswer, s.bigAnswer);
        long ourDelta = 0, rawDelta = 0;
        const long ourRss = measure(*ours, c.hold, &ourDelta);
        const long rawRss = measure(*raw, c.hold, &rawDelta);
        add(Row{c.total, fmt(ourRss / 1024.0, 1), fmt(rawRss / 1024.0, 1), ratio(double(ourRss), double(rawRss)), "",
                "", "-", "-"});
        const double each = 1024.0 / c.count;
        add(Row{c.each, fmt(ourDelta * each), fmt(rawDelta * each), ratio(double(ourDelta), double(rawDelta)), "", "",
                "-", "-"});
        if (!beforeBinary.empty()) {
            auto before = startGateway(c.name + "-before", false, {}, {}, beforeBinary);
            long beforeDelta = 0;
            measure(*before, c.hold, &beforeDelta);
            compare(c.comparedAs, beforeDelta * each, ourDelta * each, rawDelta * each, 0);
        }
    }
}

std::string markdown(const std::string &mode, int rounds)
{
    std::ostringstream md;
    char when[64];
    const std::time_t now = std::time(nullptr);
    std::strftime(when, sizeof when, "%Y-%m-%d %H:%M UTC", std::gmtime(&now));
    std::string variant = gatewayBinary == bin("oru_bench_gateway") ? "" : ", gateway " + gatewayBinary;
    for (const std::string &e : gatewayEnv)
        variant += ", gateway env " + e;
    md << "Run " << when << ", mode " << mode << variant << ", " << machine() << ". Each figure is the median of "
       << rounds << " interleaved rounds.\n\n";
    md << "| Metric | ours | raw sockets | ours/raw | target | met | Qt RO (ours/QtRO) | gRPC (ours/gRPC) |\n";
    md << "|---|---:|---:|---:|---|---|---:|---:|\n";
    for (const Row &r : rows)
        md << "| " << r.metric << " | " << r.ours << " | " << r.raw << " | " << r.ratio << " | " << r.target << " | "
           << r.met << " | " << r.qtro << " | " << r.grpc << " |\n";
    md << "\n";
    for (const std::string &n : notes)
        md << "- " << n << "\n";
    if (!compared.empty()) {
        md << "\n### Before and after\n\nBefore: " << beforeBinary << "; after: " << gatewayBinary
           << "; both at the default log level, measured in the same rounds. Round trips: p50 / p99, the ratios "
              "from the p50.\n\n";
        md << "| metric | before | after | after/before | raw | before/raw | after/raw |\n";
        md << "|---|---:|---:|---:|---:|---:|---:|\n";
        for (const Compared &c : compared)
            md << "| " << c.metric << " | " << c.before << " | " << c.after << " | " << ratio(c.a, c.b) << " | "
               << c.raw << " | " << ratio(c.b, c.r) << " | " << ratio(c.a, c.r) << " |\n";
    }
    return md.str();
}

// ---------------------------------------------------------------------------
// Profiles of the SDK gateway alone.

long callgrindTotal(const std::string &file)
{
    std::istringstream in(readFile(file));
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, 8, "summary:") == 0 || line.compare(0, 7, "totals:") == 0)
            return std::atol(line.substr(line.find(':') + 1).c_str());
    }
    return -1;
}

void quitGateway(Gateway &g)
{
    const int fd = connectUnix(g.target.control);
    const std::string f = frame(kCommand, commandPayload(g.target, "quit"));
    writeAll(fd, f.data(), f.size());
    g.process.waitExit(120000);
    close(fd);
}

using Start = std::function<std::unique_ptr<Gateway>(const std::vector<std::string> &)>;

Start sdkStart(const std::string &name, bool errorLevel, const std::string &binary,
               const std::vector<std::string> &env = {})
{
    // A name per run: a log file of its own, not one that grows (and may roll over) from run to run.
    return [=](const std::vector<std::string> &w) {
        return startGateway(name + "-" + std::to_string(++runCounter), errorLevel, w, env, binary);
    };
}

Start rawStart(const std::string &name)
{
    return [=](const std::vector<std::string> &w) { return startRaw(name, 64, 64, w); };
}

// Gateway instructions per unit of work: the difference between two runs
// under callgrind that differ only in the number of units, so start-up
// cancels out. `work` ends the gateway; < 0 when a run failed.
double perUnit(const std::string &dir, const std::string &name, const long counts[2], const Start &start,
               const std::function<bool(Gateway &, long)> &work)
{
    long ir[2] = {0, 0};
    for (int k = 0; k < 2; ++k) {
        const std::string out = dir + "/callgrind." + name + "." + std::to_string(counts[k]) + ".out";
        auto g = start({"/usr/bin/valgrind", "--tool=callgrind", "--quiet", "--callgrind-out-file=" + out});
        if (!work(*g, counts[k]) || (ir[k] = callgrindTotal(out)) < 0) {
            std::fprintf(stderr, "oru_bench: callgrind run %s with %ld failed\n", name.c_str(), counts[k]);
            return -1;
        }
    }
    return double(ir[1] - ir[0]) / double(counts[1] - counts[0]);
}

std::string fmtIr(double ir) { return ir < 0 ? "failed" : fmt(ir); }

std::function<bool(Gateway &, long)> roundTripsThenQuit(bool big)
{
    return [big](Gateway &g, long n) {
        const bool ok = long(rawRoundTrip(g.target, big, int(n), 0).size()) == n;
        quitGateway(g);
        return ok;
    };
}

// Per stream frame, each pushed only once every reader has the one before:
// unpaced, the SDK's batching depends on timing and so does the count. The
// pacing's own cost (one ack command per frame) is counted apart and taken off.
int streamProfile(const std::string &dir, long frames)
{
    const long counts[2] = {frames / 5, frames};
    struct Build {
        std::string name;
        Start start;
        double pacing = -1;
    };
    // What otherwise changes the count from run to run: glibc's one-off fastbin
    // consolidation (100k to 200k instructions) at a moment that depends on
    // timing, malloc's search of bins that depends on the heap's layout (a
    // tcache that keeps every small block instead), Qt's random hash seed.
    const std::vector<std::string> env{"GLIBC_TUNABLES=glibc.malloc.mxfast=0:glibc.malloc.tcache_count=65535",
                                       "QT_HASH_SEED=0"};
    std::vector<Build> builds{{"after", sdkStart("cg-after", false, gatewayBinary, env)}};
    if (!beforeBinary.empty())
        builds.push_back({"before", sdkStart("cg-before", false, beforeBinary, env)});
    builds.push_back({"raw", rawStart("cg-raw")});
    const auto paced = [](long chunk, int readers) {
        return [=](Gateway &g, long n) {
            return rawPacedStream(g.target, "paced", chunk, readers, n, [&g] { quitGateway(g); });
        };
    };
    for (Build &b : builds)
        b.pacing = perUnit(dir, b.name + ".pacing", counts, b.start, paced(4 << 10, 0));
    const std::string beforeName = beforeBinary.empty() ? "before (--before PATH)" : "before";
    std::printf("Gateway instructions per paced stream frame (callgrind Ir, %ld - %ld frames; the pacing ack "
                "subtracted; SDK hosts run with %s %s), after: %s%s\n\n",
                counts[1], counts[0], env[0].c_str(), env[1].c_str(), gatewayBinary.c_str(),
                beforeBinary.empty() ? "" : ("; before: " + beforeBinary).c_str());
    std::printf("| frame | after | after per KiB | %s | before per KiB | after/before | raw server | after/raw |\n"
                "|---|---:|---:|---:|---:|---:|---:|---:|\n",
                beforeName.c_str());
    std::fflush(stdout);
    const auto cell = [](const Build *b, double v) { return !b ? std::string("-") : v < 0 ? "failed" : fmt(v); };
    bool failed = false;
    for (const int readers : {1, 16}) {
        for (const long chunk : {4L << 10, 64L << 10}) {
            const std::string what = std::to_string(chunk >> 10) + " KiB, " + std::to_string(readers)
                + (readers == 1 ? " reader" : " readers");
            std::vector<double> ir;
            for (const Build &b : builds) {
                const double total =
                    perUnit(dir, b.name + "." + std::to_string(chunk >> 10) + "k" + std::to_string(readers), counts,
                            b.start, paced(chunk, readers));
                failed = failed || total < 0 || b.pacing < 0;
                ir.push_back(total < 0 || b.pacing < 0 ? -1 : total - b.pacing);
            }
            const Build *before = beforeBinary.empty() ? nullptr : &builds[1];
            const double after = ir.front(), raw = ir.back(), old = before ? ir[1] : -1;
            const double kib = double(chunk >> 10);
            std::printf("| %s | %s | %s | %s | %s | %s | %s | %s |\n", what.c_str(), fmtIr(after).c_str(),
                        fmtIr(after / kib).c_str(), cell(before, old).c_str(), cell(before, old / kib).c_str(),
                        before ? ratio(after, old).c_str() : "-", fmtIr(raw).c_str(), ratio(after, raw).c_str());
            std::fflush(stdout);
        }
    }
    std::printf("| the pacing ack, per frame (taken off above) | %s | | %s | | | %s | |\n",
                fmtIr(builds.front().pacing).c_str(), beforeBinary.empty() ? "-" : fmtIr(builds[1].pacing).c_str(),
                fmtIr(builds.back().pacing).c_str());
    return failed ? 1 : 0;
}

int profile(const std::string &tool, const std::string &dir, int requests, long frames)
{
    if (tool == "callgrind-stream")
        return streamProfile(dir, frames);
    if (tool == "callgrind") {
        std::printf("| Gateway instructions (callgrind Ir) | ours, log trace (default) | ours, log error | raw server "
                    "| ours (trace) / raw |\n|---|---:|---:|---:|---:|\n");
        bool failed = false;
        // 64 KiB answers take far longer under valgrind: a tenth as many.
        for (const bool big : {false, true}) {
            const long counts[2] = {requests / (big ? 50 : 5), requests / (big ? 10 : 1)};
            const std::string what = big ? "per 64 KiB round trip" : "per small round trip";
            const std::string tag = big ? "-64k" : "";
            const auto count = [&](const std::string &name, bool errorLevel, const std::string &binary) {
                return perUnit(dir, name + tag, counts, sdkStart("cg-" + name + tag, errorLevel, binary),
                               roundTripsThenQuit(big));
            };
            const double trace = count("trace", false, gatewayBinary), error = count("error", true, gatewayBinary);
            const double raw = perUnit(dir, "raw" + tag, counts, rawStart("cg-raw" + tag), roundTripsThenQuit(big));
            failed = failed || trace < 0 || error < 0 || raw < 0;
            std::printf("| %s | %s | %s | %s | %s |\n", what.c_str(), fmtIr(trace).c_str(), fmtIr(error).c_str(),
                        fmtIr(raw).c_str(), ratio(trace, raw).c_str());
            std::fflush(stdout);
            if (!beforeBinary.empty()) {
                const double oldTrace = count("before-trace", false, beforeBinary);
                const double oldError = count("before-error", true, beforeBinary);
                std::printf("| %s, before (%s) | %s | %s | %s | %s |\n", what.c_str(), beforeBinary.c_str(),
                            fmtIr(oldTrace).c_str(), fmtIr(oldError).c_str(), fmtIr(raw).c_str(),
                            ratio(oldTrace, raw).c_str());
                std::printf("| after / before | %s | %s | | |\n", ratio(trace, oldTrace).c_str(),
                            ratio(error, oldError).c_str());
                std::fflush(stdout);
            }
        }
        return failed ? 1 : 0;
    }
    if (tool == "perf") {
        for (const bool errorLevel : {false, true}) {
            const std::string level = errorLevel ? "error" : "trace";
            auto g = startGateway("perf-" + level, errorLevel,
                                  {"/usr/bin/perf", "record", "-q", "-e", "cpu-clock", "-F", "2000", "-g", "-o",
                                   dir + "/perf." + level + ".data"});
            // Requests, then one stream to one reader, then one stream to 16 readers.
            const RateResult r = rawRate(g->target, 8, 16, 3);
            StreamJob job;
            job.chunk = 64 << 10;
            job.total = 256 << 20;
            job.device = uniqueDevice("perf");
            rawStream(g->target, job);
            job.device = uniqueDevice("perf");
            job.readers = 16;
            job.total = 32 << 20;
            rawStream(g->target, job);
            quitGateway(*g);
            std::printf("perf %s: %.0f req/s under the profiler; data in %s/perf.%s.data\n", level.c_str(),
                        r.perSecond(), dir.c_str(), level.c_str());
        }
        return 0;
    }
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    Settings set;
    std::string out, profileTool, profileDir, only = "rtt,rate,stream,payload,stall,memory";
    int requests = 5000;
    long frames = 2000;
    bool curves = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--full") {
            set.full = true;
            set.rounds = 5;
            set.samples = 2000;
            set.spacedSamples = 400;
            set.rateSeconds = 2;
            set.streamBytes = 256 << 20;
            set.smallChunkBytes = 64 << 20;
            set.fanoutBytes = 128 << 20;
            set.stallBytes = 256 << 20;
        } else if (a == "--only" && i + 1 < argc) {
            only = argv[++i];
        } else if (a == "--gateway-env" && i + 1 < argc) {
            gatewayEnv.push_back(argv[++i]);
        } else if (a == "--gateway" && i + 1 < argc) {
            gatewayBinary = argv[++i];
        } else if (a == "--before" && i + 1 < argc) {
            beforeBinary = argv[++i];
        } else if (a == "--frames" && i + 1 < argc) {
            frames = std::atol(argv[++i]);
        } else if (a == "--out" && i + 1 < argc) {
            out = argv[++i];
        } else if (a == "--profile" && i + 1 < argc) {
            profileTool = argv[++i];
        } else if (a == "--dir" && i + 1 < argc) {
            profileDir = argv[++i];
        } else if (a == "--requests" && i + 1 < argc) {
            requests = std::atoi(argv[++i]);
        } else if (a == "--curves") {
            curves = true;
        } else if (a == "--help") {
            std::printf("usage: oru_bench [--quick|--full] [--out FILE] [--only SECTIONS] [--gateway PATH] "
                        "[--gateway-env NAME=VALUE] [--before PATH]\n"
                        "       oru_bench --curves [--out DIR] [--gateway PATH] [--gateway-env NAME=VALUE]\n"
                        "       oru_bench --profile callgrind|perf --dir DIR [--requests N] [--before PATH]\n"
                        "       oru_bench --profile callgrind-stream --dir DIR [--frames N] [--before PATH]\n"
                        "--before PATH: an older build of oru_bench_gateway, measured beside this one in the same "
                        "rounds (\"Before and after\" table; with callgrind, its counts too).\n"
                        "callgrind-stream: gateway instructions per stream frame, each frame pushed once every "
                        "reader has the one before (N and N/5 frames, default 2000).\n");
            return 0;
        } else if (a != "--quick") {
            const bool takesValue = a == "--only" || a == "--gateway-env" || a == "--gateway" || a == "--out"
                || a == "--profile" || a == "--dir" || a == "--requests" || a == "--before" || a == "--frames";
            std::fprintf(stderr, "oru_bench: %s '%s' (oru_bench --help lists the options)\n",
                         takesValue ? "missing value after" : "unknown option", a.c_str());
            return 2;
        }
    }
    // Values that would otherwise run nothing, or something else, without a word.
    std::string badValue;
    struct stat file {
    };
    if (!profileTool.empty() && profileTool != "callgrind" && profileTool != "callgrind-stream"
        && profileTool != "perf")
        badValue = "--profile takes callgrind, callgrind-stream or perf";
    else if (requests < 10)
        badValue = "--requests takes a number of at least 10";
    else if (frames < 10)
        badValue = "--frames takes a number of at least 10";
    else if (!beforeBinary.empty()
             && (stat(beforeBinary.c_str(), &file) != 0 || !S_ISREG(file.st_mode)
                 || access(beforeBinary.c_str(), X_OK) != 0))
        badValue = "--before takes an executable SDK gateway host, not '" + beforeBinary + "'";
    else if (!beforeBinary.empty() && (curves || profileTool == "perf"))
        badValue = "--before is for --quick, --full and the callgrind profiles";
    for (size_t from = 0; badValue.empty() && from <= only.size();) {
        const size_t comma = std::min(only.find(',', from), only.size());
        const std::string name = only.substr(from, comma - from);
        if (std::string(",rtt,rate,stream,payload,stall,memory,").find("," + name + ",") == std::string::npos)
            badValue = "--only takes rtt, rate, stream, payload, stall and memory, not '" + name + "'";
        from = comma + 1;
    }
    if (!badValue.empty()) {
        std::fprintf(stderr, "oru_bench: %s\n", badValue.c_str());
        return 2;
    }
    const std::string self = QCoreApplication::applicationFilePath().toStdString();
    binDir = self.substr(0, self.rfind('/'));
    if (gatewayBinary.empty())
        gatewayBinary = bin("oru_bench_gateway");
    char tmpl[] = "/tmp/oru-bench-XXXXXX";
    workDir = mkdtemp(tmpl);
    // 1,000 idle connections plus the servers' own descriptors.
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);

    int rc = 0;
    if (curves) {
        CurveServers servers;
        servers.ours = [](const std::string &name) {
            std::shared_ptr<Gateway> g = startGateway(name, false);
            return Served{g->target, g->process.pid(), g};
        };
        servers.raw = [](const std::string &name, size_t small, size_t big) {
            std::shared_ptr<Gateway> g = startRaw(name, small, big);
            return Served{g->target, g->process.pid(), g};
        };
        rc = runCurves(out.empty() ? "curves" : out, servers);
        std::system(("rm -rf '" + workDir + "'").c_str());
        return rc;
    }
    if (!profileTool.empty()) {
        rc = profile(profileTool, profileDir.empty() ? workDir : profileDir, requests, frames);
        std::system(("rm -rf '" + workDir + "'").c_str());
        return rc;
    }

    startLoad = loadAverage();
    Systems s;
    s.trace = startGateway("trace", false);
    s.error = startGateway("error", true);
    if (!rawProbe(s.error->target, false, &s.smallAnswer) || !rawProbe(s.error->target, true, &s.bigAnswer)) {
        std::fprintf(stderr, "the SDK gateway does not answer\n");
        return 1;
    }
    s.raw = startRaw("raw", s.smallAnswer, s.bigAnswer);
    if (!beforeBinary.empty()) {
        s.before = startGateway("before", false, {}, {}, beforeBinary);
        if (!rawProbe(s.before->target, false)) {
            std::fprintf(stderr, "the --before gateway does not answer\n");
            return 1;
        }
    }
#ifdef ORU_BENCH_QTRO
    if (built("oru_bench_qtro_server")) {
        s.qtroName = workDir + "/qtro";
        s.qtro.start(
            {bin("oru_bench_qtro_server"), s.qtroName, std::to_string(s.smallAnswer), std::to_string(s.bigAnswer)});
        waitForSocket(s.qtroName, 5000);
    }
#endif
    if (built("oru_bench_grpc_server") && built("oru_bench_grpc_client")) {
        s.grpcPath = workDir + "/grpc";
        s.grpc.start(
            {bin("oru_bench_grpc_server"), s.grpcPath, std::to_string(s.smallAnswer), std::to_string(s.bigAnswer)});
        waitForSocket(s.grpcPath, 5000);
    }
    notes.push_back("Request " + std::to_string(requestPayload(0, 0, false).size()) + " payload bytes; answers "
                    + std::to_string(s.smallAnswer) + " and " + std::to_string(s.bigAnswer)
                    + " payload bytes; every system moves the same payload sizes.");
    if (!s.qtro.running())
        notes.push_back("Qt Remote Objects baseline not built (Qt5RemoteObjects not found).");
    if (!s.grpc.running())
        notes.push_back("gRPC baseline not built (gRPC not found).");

    std::printf("%-58s %16s %16s %8s %10s %4s %16s %16s\n", "metric", "ours", "raw", "ours/raw", "target", "met",
                "QtRO", "gRPC");
    const auto wanted = [&](const char *name) {
        return ("," + only + ",").find(std::string(",") + name + ",") != std::string::npos;
    };
    if (wanted("rtt"))
        roundTrips(s, set);
    if (wanted("rate"))
        rates(s, set);
    if (wanted("stream"))
        streams(s, set);
    if (wanted("payload"))
        payloads(s, set);
    if (wanted("stall"))
        stalled(s, set);
    if (wanted("memory"))
        memory(s);

    const std::string md = markdown(set.full ? "--full" : "--quick", set.rounds);
    if (!out.empty())
        std::ofstream(out) << md;
    s.qtro.stop();
    s.grpc.stop();
    s.trace.reset();
    s.error.reset();
    s.raw.reset();
    s.before.reset();
    std::system(("rm -rf '" + workDir + "'").c_str());
    return rc;
}
