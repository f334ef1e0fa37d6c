#include "bench_util.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace bench {

double percentile(std::vector<double> samples, double p)
{
    if (samples.empty())
        return 0;
    std::sort(samples.begin(), samples.end());
    const double rank = p / 100.0 * double(samples.size() - 1);
    const size_t lo = size_t(rank);
    const size_t hi = std::min(lo + 1, samples.size() - 1);
    return samples[lo] + (samples[hi] - samples[lo]) * (rank - double(lo));
}

// Nanosecond run time of every thread (user and system alike), where the
// kernel keeps it; the 10 ms ticks of /proc/<pid>/stat otherwise.
static double schedstatSeconds(pid_t pid)
{
    const std::string dir = "/proc/" + std::to_string(pid) + "/task";
    DIR *tasks = opendir(dir.c_str());
    if (!tasks)
        return -1;
    double total = 0;
    bool any = false;
    while (dirent *e = readdir(tasks)) {
        if (e->d_name[0] == '.')
            continue;
        std::ifstream in(dir + "/" + e->d_name + "/schedstat");
        unsigned long long ns = 0;
        if (in >> ns) {
            total += double(ns) / 1e9;
            any = true;
        }
    }
    closedir(tasks);
    return any ? total : -1;
}

static double tickSeconds(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // Fields after the command name, which may itself hold blanks.
    const size_t close = text.rfind(')');
    if (close == std::string::npos)
        return 0;
    std::istringstream fields(text.substr(close + 2));
    std::string field;
    unsigned long long utime = 0, stime = 0;
    for (int i = 3; fields >> field; ++i) {
        if (i == 14)
            utime = std::strtoull(field.c_str(), nullptr, 10);
        if (i == 15) {
            stime = std::strtoull(field.c_str(), nullptr, 10);
            break;
        }
    }
    return double(utime + stime) / double(sysconf(_SC_CLK_TCK));
}

CpuSample cpuSample(pid_t pid) { return CpuSample{schedstatSeconds(pid), tickSeconds(pid)}; }

double cpuSecondsBetween(const CpuSample &before, const CpuSample &after)
{
    const double ticks = after.ticks - before.ticks;
    if (before.threads < 0 || after.threads < 0)
        return ticks;
    // Live threads only are in the precise figure; the ticks also hold those
    // that ended meanwhile (a thread pool's). Ticks are sampled, so only a
    // gap of more than two of them says that threads went away.
    const double threads = after.threads - before.threads;
    const double tick = 1.0 / double(sysconf(_SC_CLK_TCK));
    return ticks > threads + 2 * tick ? ticks : threads;
}

static long statusKiB(pid_t pid, const char *key)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    const size_t keyLen = std::strlen(key);
    while (std::getline(in, line)) {
        if (line.compare(0, keyLen, key) == 0)
            return std::strtol(line.c_str() + keyLen, nullptr, 10);
    }
    return 0;
}

long rssKiB(pid_t pid) { return statusKiB(pid, "VmRSS:"); }
long peakRssKiB(pid_t pid) { return statusKiB(pid, "VmHWM:"); }

void resetPeakRss(pid_t pid)
{
    std::ofstream out("/proc/" + std::to_string(pid) + "/clear_refs");
    out << "5";
}

bool Child::start(const std::vector<std::string> &argv, const std::vector<std::string> &env)
{
    std::vector<std::string> envText;
    for (char **e = environ; *e; ++e) {
        const std::string entry(*e);
        const std::string name = entry.substr(0, entry.find('='));
        const bool replaced = std::any_of(env.begin(), env.end(), [&](const std::string &v) {
            return v.compare(0, name.size() + 1, name + "=") == 0;
        });
        if (!replaced)
            envText.push_back(entry);
    }
    for (const std::string &v : env) {
        if (v.back() != '=')
            envText.push_back(v);
    }
    std::vector<char *> args, envp;
    for (const std::string &a : argv)
        args.push_back(const_cast<char *>(a.c_str()));
    args.push_back(nullptr);
    for (const std::string &e : envText)
        envp.push_back(const_cast<char *>(e.c_str()));
    envp.push_back(nullptr);
    if (posix_spawn(&pid_, argv[0].c_str(), nullptr, nullptr, args.data(), envp.data()) != 0) {
        pid_ = -1;
        return false;
    }
    return true;
}

bool Child::running() const { return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0; }

bool Child::waitExit(int timeoutMs)
{
    const auto start = Clock::now();
    while (pid_ > 0 && secondsSince(start) * 1000 < timeoutMs) {
        if (waitpid(pid_, nullptr, WNOHANG) != 0) {
            pid_ = -1;
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return pid_ <= 0;
}

void Child::stop()
{
    if (pid_ <= 0)
        return;
    kill(pid_, SIGTERM);
    for (int i = 0; i < 200; ++i) {
        if (waitpid(pid_, nullptr, WNOHANG) != 0) {
            pid_ = -1;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

int connectUnix(const std::string &path)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", path.c_str());
    if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool waitForSocket(const std::string &path, int timeoutMs)
{
    const auto start = Clock::now();
    while (secondsSince(start) * 1000 < timeoutMs) {
        const int fd = connectUnix(path);
        if (fd >= 0) {
            close(fd);
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

bool writeAll(int fd, const void *data, size_t size)
{
    const char *p = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t n = send(fd, p, size, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= size_t(n);
    }
    return true;
}

bool readAll(int fd, void *data, size_t size)
{
    char *p = static_cast<char *>(data);
    while (size > 0) {
        const ssize_t n = read(fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= size_t(n);
    }
    return true;
}

void putHeader(unsigned char *out, int type, uint32_t payloadSize)
{
    const uint64_t length = uint64_t(payloadSize) + 1;
    for (int i = 0; i < 8; ++i)
        out[i] = static_cast<unsigned char>(length >> (56 - 8 * i));
    out[8] = static_cast<unsigned char>(static_cast<signed char>(type));
    for (int i = 0; i < 4; ++i)
        out[9 + i] = static_cast<unsigned char>(payloadSize >> (24 - 8 * i));
}

std::string frame(int type, const std::string &payload)
{
    // Header then payload, one copy and no zero-filling first.
    unsigned char header[kHeader];
    putHeader(header, type, uint32_t(payload.size()));
    std::string f;
    f.reserve(kHeader + payload.size());
    f.append(reinterpret_cast<const char *>(header), kHeader);
    f.append(payload);
    return f;
}

} // namespace bench
