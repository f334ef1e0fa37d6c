#pragma once

// Helpers shared by the benchmark driver and its server processes: clocks,
// percentiles, per-process CPU and memory from /proc, child processes, raw
// frames and the small text protocol the bench servers obey.

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

// Percentile (0..100) of microsecond samples; sorts a copy.
double percentile(std::vector<double> samples, double p);

// CPU time (user and system) of a process: nanoseconds summed over its live
// threads, and the kernel's 10 ms ticks, which include threads that ended.
struct CpuSample {
    double threads = -1;
    double ticks = 0;
};
CpuSample cpuSample(pid_t pid);
double cpuSecondsBetween(const CpuSample &before, const CpuSample &after);
// Resident set and its peak, in KiB (VmRSS, VmHWM).
long rssKiB(pid_t pid);
long peakRssKiB(pid_t pid);
// Restarts the peak (VmHWM) from the current resident size.
void resetPeakRss(pid_t pid);

// A server process started by the driver, ended by it.
class Child
{
public:
    Child() = default;
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;
    ~Child() { stop(); }

    // argv[0] is the program path; env entries are "NAME=value" added to ours
    // ("NAME=" with nothing after it removes NAME).
    bool start(const std::vector<std::string> &argv, const std::vector<std::string> &env = {});
    pid_t pid() const { return pid_; }
    bool running() const;
    // Waits for the process to end by itself.
    bool waitExit(int timeoutMs);
    void stop();

private:
    pid_t pid_ = -1;
};

// Waits until a local stream socket at `path` accepts a connection.
bool waitForSocket(const std::string &path, int timeoutMs);

// Blocking Unix-socket helpers for the raw client and server.
int connectUnix(const std::string &path);
bool writeAll(int fd, const void *data, size_t size);
bool readAll(int fd, void *data, size_t size);

// Frame header as the protocol writes it: qint64 length (payload + 1),
// qint8 type, quint32 payload size.
constexpr size_t kHeader = 13;
void putHeader(unsigned char *out, int type, uint32_t payloadSize);
std::string frame(int type, const std::string &payload);
// Reads the header fields; the payload size is the 4-byte count at offset 9.
inline uint32_t headerPayloadSize(const unsigned char *h)
{
    return (uint32_t(h[9]) << 24) | (uint32_t(h[10]) << 16) | (uint32_t(h[11]) << 8) | uint32_t(h[12]);
}
inline int headerType(const unsigned char *h) { return static_cast<signed char>(h[8]); }

// Message codes the bench uses, the same on every target.
enum Code : int {
    kSmallReq = 58, // get presets, small answer
    kSmallRes = 59,
    kBigReq = 60, // raw server only: same request bytes, 64 KiB answer
    kBigRes = 61,
    kCommand = 100, // text command (CommonReq on the SDK)
    kCommandRes = 101,
    kStreamData = 102,
    kSubscribe = 104, // live video request (raw server: the device id as text)
};

// Commands, one line of text:
//   write <device> <chunk> <total> <thread 0|1> <readers> <window>
//     write `total` bytes in `chunk`-byte pieces to the device's stream, never
//     more than `window` bytes ahead of the slowest of readers 0..readers-1
//   ack <device> <reader> <bytes>    cumulative bytes reader has received
//   quit                             exit cleanly (for profilers)
// Readers beyond `readers` (the stalled one) are not waited for.
constexpr long kAckEvery = 1 << 20;

} // namespace bench
