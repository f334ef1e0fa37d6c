// The baseline gateway: the same frames and the same bench commands as the
// SDK host, on plain Unix-domain sockets with one epoll loop. Writes go out
// at once and only what the kernel does not take is queued, per socket and
// without limit, as the SDK does.
//
//   oru_bench_raw_server <socket path> <small answer bytes> <big answer bytes>

#include "bench_util.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

using namespace bench;

namespace {

using Buffer = std::shared_ptr<const std::string>;

struct Conn {
    int fd = -1;
    std::string in; // a partial frame
    std::deque<Buffer> out;
    size_t outOff = 0;
    bool pollingOut = false;
};

struct Job {
    std::string device;
    std::string chunk;
    long total = 0;
    long written = 0;
    long window = 0;
    std::vector<long> acked;

    bool mayWrite() const
    {
        return written < total && written - *std::min_element(acked.begin(), acked.end()) < window;
    }
};

int epollFd = -1;
std::unordered_map<int, std::unique_ptr<Conn>> conns;
std::map<std::string, std::vector<Conn *>> streams;
std::map<std::string, Job> jobs;
std::string smallPayload, bigPayload;

void watch(Conn *c, bool out)
{
    epoll_event ev{};
    ev.events = out ? uint32_t(EPOLLIN | EPOLLOUT) : uint32_t(EPOLLIN);
    ev.data.fd = c->fd;
    epoll_ctl(epollFd, EPOLL_CTL_MOD, c->fd, &ev);
    c->pollingOut = out;
}

void drop(Conn *c)
{
    for (auto &s : streams)
        s.second.erase(std::remove(s.second.begin(), s.second.end(), c), s.second.end());
    epoll_ctl(epollFd, EPOLL_CTL_DEL, c->fd, nullptr);
    close(c->fd);
    conns.erase(c->fd);
}

// Returns false when the connection broke (and is gone).
bool flushOut(Conn *c)
{
    while (!c->out.empty()) {
        iovec iov[64];
        int n = 0;
        size_t off = c->outOff;
        for (auto it = c->out.begin(); it != c->out.end() && n < 64; ++it, off = 0)
            iov[n++] = {const_cast<char *>((*it)->data()) + off, (*it)->size() - off};
        msghdr msg{};
        msg.msg_iov = iov;
        msg.msg_iovlen = size_t(n);
        ssize_t sent = sendmsg(c->fd, &msg, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno == EAGAIN)
            break;
        if (sent < 0) {
            drop(c);
            return false;
        }
        while (sent > 0) {
            const size_t left = c->out.front()->size() - c->outOff;
            if (size_t(sent) >= left) {
                sent -= ssize_t(left);
                c->out.pop_front();
                c->outOff = 0;
            } else {
                c->outOff += size_t(sent);
                sent = 0;
            }
        }
    }
    if (c->out.empty() == c->pollingOut)
        watch(c, !c->out.empty());
    return true;
}

// Queued only: the caller flushes once per batch, as an event loop would.
void queue(Conn *c, const Buffer &b) { c->out.push_back(b); }

Buffer makeFrame(int type, const std::string &payload)
{
    return std::make_shared<const std::string>(frame(type, payload));
}

void pump(Job &j)
{
    const auto it = streams.find(j.device);
    const long batch = std::max<long>(long(j.chunk.size()), 256 * 1024);
    for (long done = 0; done < batch && j.mayWrite(); done += long(j.chunk.size())) {
        const Buffer f = makeFrame(kStreamData, j.chunk);
        if (it != streams.end()) {
            for (Conn *c : it->second)
                queue(c, f);
        }
        j.written += long(j.chunk.size());
    }
    if (it != streams.end()) {
        const std::vector<Conn *> readers = it->second;
        for (Conn *c : readers)
            flushOut(c);
    }
}

void command(const std::string &text)
{
    char device[128] = {};
    long chunk = 0, total = 0, window = 0, reader = 0, bytes = 0;
    int thread = 0, readers = 0;
    if (std::sscanf(text.c_str(), "write %127s %ld %ld %d %d %ld", device, &chunk, &total, &thread, &readers, &window)
        == 6) {
        Job &j = jobs[device];
        j = Job{};
        j.device = device;
        j.chunk.assign(size_t(chunk), 'x');
        j.total = total;
        j.window = window;
        j.acked.assign(size_t(std::max(1, readers)), 0);
    } else if (text == "quit") {
        std::exit(0);
    } else if (std::sscanf(text.c_str(), "ack %127s %ld %ld", device, &reader, &bytes) == 3) {
        const auto it = jobs.find(device);
        if (it != jobs.end() && size_t(reader) < it->second.acked.size())
            it->second.acked[size_t(reader)] = std::max(it->second.acked[size_t(reader)], bytes);
    }
}

void handle(Conn *c, int type, const std::string &payload)
{
    switch (type) {
    case kSmallReq:
        queue(c, makeFrame(kSmallRes, smallPayload));
        break;
    case kBigReq:
        queue(c, makeFrame(kBigRes, bigPayload));
        break;
    case kSubscribe:
        streams[payload].push_back(c);
        break;
    case kCommand:
        command(payload);
        break;
    default:
        break;
    }
}

// Reads into one shared buffer; only a partial frame is kept per connection,
// so an idle connection holds no buffer. Answers go out in one write per read.
// Returns false when the connection is gone.
bool readIn(Conn *c)
{
    static std::vector<char> buffer(256 * 1024);
    const int fd = c->fd;
    for (;;) {
        const ssize_t n = read(fd, buffer.data(), buffer.size());
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) {
            drop(c);
            return false;
        }
        if (n < 0)
            break;
        const char *data = buffer.data();
        size_t size = size_t(n);
        if (!c->in.empty()) {
            c->in.append(data, size);
            data = c->in.data();
            size = c->in.size();
        }
        size_t off = 0;
        while (size - off >= kHeader) {
            const auto *h = reinterpret_cast<const unsigned char *>(data + off);
            const uint32_t payloadSize = headerPayloadSize(h);
            if (size - off - kHeader < payloadSize)
                break;
            handle(c, headerType(h), std::string(data + off + kHeader, payloadSize));
            off += kHeader + payloadSize;
            if (!conns.count(fd))
                return false;
        }
        std::string rest(data + off, size - off);
        c->in.swap(rest);
        if (size_t(n) < buffer.size())
            break;
    }
    return c->out.empty() || flushOut(c);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 4)
        return 2;
    const std::string path = argv[1];
    smallPayload.assign(size_t(std::atol(argv[2])), 's');
    bigPayload.assign(size_t(std::atol(argv[3])), 'b');

    unlink(path.c_str());
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", path.c_str());
    if (bind(listener, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 || listen(listener, 4096) != 0) {
        std::perror("raw server");
        return 1;
    }
    epollFd = epoll_create1(EPOLL_CLOEXEC);
    epoll_event ev{};
    ev.events = EPOLLIN;
    ev.data.fd = listener;
    epoll_ctl(epollFd, EPOLL_CTL_ADD, listener, &ev);

    epoll_event events[256];
    for (;;) {
        const bool busy = std::any_of(jobs.begin(), jobs.end(), [](const auto &j) { return j.second.mayWrite(); });
        const int n = epoll_wait(epollFd, events, 256, busy ? 0 : -1);
        for (int i = 0; i < n; ++i) {
            const int fd = events[i].data.fd;
            if (fd == listener) {
                int s;
                while ((s = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0) {
                    auto c = std::make_unique<Conn>();
                    c->fd = s;
                    epoll_event cev{};
                    cev.events = EPOLLIN;
                    cev.data.fd = s;
                    epoll_ctl(epollFd, EPOLL_CTL_ADD, s, &cev);
                    conns[s] = std::move(c);
                }
                continue;
            }
            const auto it = conns.find(fd);
            if (it == conns.end())
                continue;
            Conn *c = it->second.get();
            if ((events[i].events & EPOLLOUT) && !flushOut(c))
                continue;
            if (events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR))
                readIn(c);
        }
        for (auto &j : jobs) {
            if (j.second.mayWrite())
                pump(j.second);
        }
    }
}
