#include "bench_client.h"
#include "bench_util.h"

#include "oru_message.pb.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <thread>

#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

std::string requestPayload(int connection, long sequence, bool big, bool records)
{
    char id[32];
    std::snprintf(id, sizeof id, "c%04d-%010ld", connection, sequence);
    oru_sdk_proto::ChannelReq req;
    req.set_request_id(id);
    req.mutable_channel_id()->set_dev_id("bench-device");
    req.mutable_channel_id()->set_channel(records ? 2 : big ? 1 : 0);
    return req.SerializeAsString();
}

int requestType(const Target &t, bool big) { return t.sdk || !big ? kSmallReq : kBigReq; }

std::string writeCommand(const StreamJob &job)
{
    return "write " + job.device + " " + std::to_string(job.chunk) + " " + std::to_string(job.total) + " "
        + (job.otherThread ? "1 " : "0 ") + std::to_string(job.readers) + " " + std::to_string(job.window)
        + (job.stalled       ? " fresh"
               : job.rawData ? " raw"
                             : "");
}

std::string commandPayload(const Target &t, const std::string &text)
{
    if (!t.sdk)
        return text;
    oru_sdk_proto::CommonReq req;
    req.set_request_id(text.compare(0, 3, "ack") == 0 ? "ack" : "cmd");
    req.set_req_json(text);
    return req.SerializeAsString();
}

std::string subscribePayload(const Target &t, const std::string &device)
{
    if (!t.sdk)
        return device;
    oru_sdk_proto::LiveVideoConnReq req;
    req.mutable_channel_id()->set_dev_id(device);
    return req.SerializeAsString();
}

namespace {

// Reads one whole frame; returns its payload size, or -1.
long readFrame(int fd, std::string *buffer)
{
    unsigned char h[kHeader];
    if (!readAll(fd, h, kHeader))
        return -1;
    const uint32_t size = headerPayloadSize(h) == 0xFFFFFFFFu ? 0 : headerPayloadSize(h);
    buffer->resize(size);
    return readAll(fd, &(*buffer)[0], size) ? long(size) : -1;
}

// Waits until the peer has read all that was written on `fd`: the SDK handles
// what it reads at once, so this is the point where a request has been served.
bool waitRead(int fd, double timeoutSeconds)
{
    const auto start = Clock::now();
    for (;;) {
        int unread = 0;
        if (ioctl(fd, SIOCOUTQ, &unread) != 0)
            return false;
        if (unread == 0)
            return true;
        if (secondsSince(start) > timeoutSeconds)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

void setNonBlocking(int fd) { fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK); }

// Counts whole frames in a byte stream without keeping the bytes.
struct FrameCounter {
    unsigned char header[kHeader];
    size_t headerHave = 0;
    size_t payloadLeft = 0;
    long payloadBytes = 0;

    // Returns the number of frames completed in `data`.
    int feed(const char *data, size_t size)
    {
        int frames = 0;
        while (size > 0) {
            if (payloadLeft == 0 && headerHave < kHeader) {
                const size_t take = std::min(size, kHeader - headerHave);
                std::copy(data, data + take, header + headerHave);
                headerHave += take;
                data += take;
                size -= take;
                if (headerHave == kHeader) {
                    const uint32_t n = headerPayloadSize(header);
                    payloadLeft = n == 0xFFFFFFFFu ? 0 : n;
                    if (payloadLeft == 0) {
                        headerHave = 0;
                        ++frames;
                    }
                }
                continue;
            }
            const size_t take = std::min(size, payloadLeft);
            payloadLeft -= take;
            payloadBytes += long(take);
            data += take;
            size -= take;
            if (payloadLeft == 0) {
                headerHave = 0;
                ++frames;
            }
        }
        return frames;
    }
};

} // namespace

bool rawProbe(const Target &t, bool big, size_t *answerBytes)
{
    const int fd = connectUnix(t.control);
    if (fd < 0)
        return false;
    const std::string f = frame(requestType(t, big), requestPayload(9999, 0, big));
    std::string answer;
    const bool ok = writeAll(fd, f.data(), f.size()) && readFrame(fd, &answer) >= 0;
    if (answerBytes)
        *answerBytes = answer.size();
    close(fd);
    return ok;
}

std::vector<double> rawRoundTrip(const Target &t, bool big, int samples, int spacingUs)
{
    std::vector<double> us;
    const int fd = connectUnix(t.control);
    if (fd < 0)
        return us;
    std::string answer;
    for (long i = 0; i < samples; ++i) {
        const std::string f = frame(requestType(t, big), requestPayload(0, i, big));
        const auto start = Clock::now();
        if (!writeAll(fd, f.data(), f.size()) || readFrame(fd, &answer) < 0)
            break;
        us.push_back(secondsSince(start) * 1e6);
        if (spacingUs > 0)
            std::this_thread::sleep_for(std::chrono::microseconds(spacingUs));
    }
    close(fd);
    return us;
}

RateResult rawRate(const Target &t, int connections, int inFlight, double seconds)
{
    struct Conn {
        int fd = -1;
        long sent = 0;
        long outstanding = 0;
        FrameCounter counter;
    };
    std::vector<Conn> conns;
    conns.resize(size_t(connections));
    const int ep = epoll_create1(EPOLL_CLOEXEC);
    RateResult result;
    // Several requests in one write, as a buffered client sends them.
    const auto send = [&](int i, int count) {
        Conn &c = conns[size_t(i)];
        std::string batch;
        for (int k = 0; k < count; ++k)
            batch += frame(requestType(t, false), requestPayload(i, c.sent++, false));
        // Small frames on a socket that drains: a blocking write never waits long.
        writeAll(c.fd, batch.data(), batch.size());
        c.outstanding += count;
    };
    for (int i = 0; i < connections; ++i) {
        conns[size_t(i)].fd = connectUnix(t.control);
        if (conns[size_t(i)].fd < 0) {
            close(ep);
            return result;
        }
        epoll_event ev{};
        ev.events = EPOLLIN;
        ev.data.u32 = uint32_t(i);
        epoll_ctl(ep, EPOLL_CTL_ADD, conns[size_t(i)].fd, &ev);
    }
    const auto start = Clock::now();
    for (int i = 0; i < connections; ++i)
        send(i, inFlight);
    bool sending = true;
    long outstanding = long(connections) * inFlight;
    std::vector<char> buf(256 * 1024);
    epoll_event events[128];
    while (outstanding > 0) {
        if (sending && secondsSince(start) >= seconds) {
            sending = false;
            result.seconds = secondsSince(start);
        }
        if (!sending && secondsSince(start) > seconds + 5)
            break;
        const int n = epoll_wait(ep, events, 128, 100);
        for (int e = 0; e < n; ++e) {
            const int i = int(events[e].data.u32);
            Conn &c = conns[size_t(i)];
            const ssize_t got = recv(c.fd, buf.data(), buf.size(), MSG_DONTWAIT);
            if (got <= 0)
                continue;
            const int answers = c.counter.feed(buf.data(), size_t(got));
            c.outstanding -= answers;
            outstanding -= answers;
            if (sending)
                result.done += answers;
            if (sending && answers > 0) {
                send(i, answers);
                outstanding += answers;
            }
        }
    }
    for (Conn &c : conns)
        close(c.fd);
    close(ep);
    return result;
}

double rawStream(const Target &t, const StreamJob &job)
{
    const int control = connectUnix(t.control);
    const int total = job.readers + (job.stalled ? 1 : 0);
    std::vector<int> fds;
    const std::string subscribe = frame(kSubscribe, subscribePayload(t, job.device));
    const auto closeAll = [&] {
        for (int fd : fds)
            close(fd);
        if (control >= 0)
            close(control);
    };
    for (int i = 0; i < total; ++i) {
        const int fd = connectUnix(t.stream);
        if (fd >= 0)
            fds.push_back(fd);
        if (control < 0 || fd < 0 || !writeAll(fd, subscribe.data(), subscribe.size())) {
            closeAll();
            return -1;
        }
    }
    // The subscriptions travel on other sockets than the command: let them land first.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));

    const int ep = epoll_create1(EPOLL_CLOEXEC);
    std::vector<FrameCounter> counters(size_t(job.readers));
    std::vector<long> acked(size_t(job.readers), 0);
    for (int i = 0; i < job.readers; ++i) {
        setNonBlocking(fds[size_t(i)]);
        epoll_event ev{};
        ev.events = EPOLLIN;
        ev.data.u32 = uint32_t(i);
        epoll_ctl(ep, EPOLL_CTL_ADD, fds[size_t(i)], &ev);
    }
    const std::string text = writeCommand(job);
    const std::string command = frame(kCommand, commandPayload(t, text));
    const auto start = Clock::now();
    writeAll(control, command.data(), command.size());
    int finished = 0;
    double elapsed = -1;
    std::vector<char> buf(256 * 1024);
    epoll_event events[64];
    while (finished < job.readers && secondsSince(start) < 120) {
        const int n = epoll_wait(ep, events, 64, 100);
        for (int e = 0; e < n; ++e) {
            const size_t i = events[e].data.u32;
            const ssize_t got = recv(fds[i], buf.data(), buf.size(), MSG_DONTWAIT);
            if (got <= 0)
                continue;
            FrameCounter &c = counters[i];
            c.feed(buf.data(), size_t(got));
            if (c.payloadBytes - acked[i] >= kAckEvery && c.payloadBytes < job.total) {
                acked[i] = c.payloadBytes;
                const std::string ack =
                    frame(kCommand,
                          commandPayload(
                              t, "ack " + job.device + " " + std::to_string(i) + " " + std::to_string(c.payloadBytes)));
                writeAll(control, ack.data(), ack.size());
            }
            if (c.payloadBytes >= job.total && c.payloadLeft == 0 && acked[i] != -1) {
                acked[i] = -1;
                ++finished;
            }
        }
    }
    if (finished == job.readers)
        elapsed = secondsSince(start);
    closeAll();
    close(ep);
    return elapsed;
}

bool rawPacedStream(const Target &t, const std::string &device, long chunk, int readers, long frames,
                    const std::function<void()> &atEnd)
{
    const double patience = 120; // seconds without progress, under valgrind
    const int control = connectUnix(t.control);
    std::vector<int> fds;
    const auto finish = [&](bool ok) {
        if (ok)
            atEnd();
        for (int fd : fds)
            close(fd);
        if (control >= 0)
            close(control);
        return ok;
    };
    if (control < 0)
        return finish(false);
    // Every reader attached before the first frame.
    const std::string subscribe = frame(kSubscribe, subscribePayload(t, device));
    for (int i = 0; i < readers; ++i) {
        const int fd = connectUnix(t.stream);
        if (fd < 0)
            return finish(false);
        fds.push_back(fd);
        if (!writeAll(fd, subscribe.data(), subscribe.size()) || !waitRead(fd, patience))
            return finish(false);
    }
    const auto command = [&](const std::string &text) {
        const std::string f = frame(kCommand, commandPayload(t, text));
        return writeAll(control, f.data(), f.size()) && waitRead(control, patience);
    };
    const auto ack = [&](long k) { return command("ack " + device + " 0 " + std::to_string(k * chunk)); };
    // The host waits for reader 0's acks only, each sent once all readers have the frame.
    StreamJob job;
    job.device = device;
    job.chunk = chunk;
    job.total = readers > 0 ? chunk * frames : 0;
    job.window = chunk;
    if (!command(writeCommand(job)))
        return finish(false);
    if (readers == 0) {
        for (long k = 1; k < frames; ++k) {
            if (!ack(k))
                return finish(false);
        }
        return finish(true);
    }
    const int ep = epoll_create1(EPOLL_CLOEXEC);
    std::vector<FrameCounter> counters(static_cast<size_t>(readers));
    std::vector<long> got(size_t(readers), 0);
    for (int i = 0; i < readers; ++i) {
        setNonBlocking(fds[size_t(i)]);
        epoll_event ev{};
        ev.events = EPOLLIN;
        ev.data.u32 = uint32_t(i);
        epoll_ctl(ep, EPOLL_CTL_ADD, fds[size_t(i)], &ev);
    }
    std::vector<char> buf(256 * 1024);
    epoll_event events[64];
    long everyone = 0;
    auto progress = Clock::now();
    bool ok = true;
    while (ok && everyone < frames) {
        if (secondsSince(progress) > patience) {
            ok = false;
            break;
        }
        const int n = epoll_wait(ep, events, 64, 100);
        for (int e = 0; e < n; ++e) {
            const size_t i = events[e].data.u32;
            const ssize_t r = recv(fds[i], buf.data(), buf.size(), MSG_DONTWAIT);
            if (r > 0)
                got[i] += counters[i].feed(buf.data(), size_t(r));
        }
        const long least = *std::min_element(got.begin(), got.end());
        if (least > everyone) {
            everyone = least;
            progress = Clock::now();
            if (everyone < frames)
                ok = ack(everyone);
        }
    }
    close(ep);
    return finish(ok);
}

void rawHoldControl(const Target &t, int count, const std::function<void()> &measure)
{
    std::vector<int> fds;
    for (int i = 0; i < count; ++i) {
        const int fd = connectUnix(t.control);
        if (fd >= 0)
            fds.push_back(fd);
    }
    // Connections are accepted in order: once the last one is served, all are in.
    if (!fds.empty()) {
        const std::string f = frame(requestType(t, false), requestPayload(9998, 0, false));
        std::string answer;
        writeAll(fds.back(), f.data(), f.size());
        readFrame(fds.back(), &answer);
    }
    measure();
    for (int fd : fds)
        close(fd);
}

void rawHoldStreams(const Target &t, int streams, int perStream, const std::function<void()> &measure)
{
    std::vector<int> fds;
    for (int s = 0; s < streams; ++s) {
        const std::string subscribe = frame(kSubscribe, subscribePayload(t, "hold-" + std::to_string(s)));
        for (int k = 0; k < perStream; ++k) {
            const int fd = connectUnix(t.stream);
            if (fd >= 0 && writeAll(fd, subscribe.data(), subscribe.size()))
                fds.push_back(fd);
        }
    }
    // Nothing answers a subscription: give the gateway time to take them all in.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    measure();
    for (int fd : fds)
        close(fd);
}

} // namespace bench
