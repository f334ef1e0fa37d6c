#pragma once

// How the cost grows with the work: requests per second against connections,
// stream throughput against sockets per stream and chunk size, memory against
// idle connections. The SDK gateway and the raw server side by side, each
// curve written as CSV for bench/plot_curves.py.

#include "bench_client.h"

#include <functional>
#include <memory>
#include <string>

#include <sys/types.h>

namespace bench {

// A server process started for the curves; it runs while `process` is held.
struct Served {
    Target target;
    pid_t pid = -1;
    std::shared_ptr<void> process;
};

struct CurveServers {
    // The SDK host at its default log level, under a fresh name.
    std::function<Served(const std::string &name)> ours;
    // The raw server answering with the SDK host's answer sizes.
    std::function<Served(const std::string &name, size_t smallAnswer, size_t bigAnswer)> raw;
};

// Writes rate.csv, sockets.csv, chunks.csv, memory.csv and curves.md into
// `dir` (created if missing); returns the process exit code.
int runCurves(const std::string &dir, const CurveServers &servers);

} // namespace bench
