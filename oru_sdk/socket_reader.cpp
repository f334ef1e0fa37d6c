#include "socket_reader.h"

#include <QEvent>
#include <QLocalSocket>

#if defined(Q_OS_UNIX) && !defined(ORU_PORTABLE_READS)
#define ORU_DIRECT_READS
#include <sys/socket.h>

#include <cerrno>
#endif

namespace oru_sdk {

SocketReader *SocketReader::attach(QLocalSocket *socket, std::function<void(FrameBuffer *)> pass, Buffer buffer)
{
#ifdef ORU_DIRECT_READS
    const qintptr fd = socket->socketDescriptor();
    if (fd < 0 || socket->state() != QLocalSocket::ConnectedState || socket->bytesAvailable() > 0)
        return nullptr;
    // Qt's read notifier for this descriptor, inside the socket's own objects.
    QSocketNotifier *qtReader = nullptr;
    for (QSocketNotifier *n : socket->findChildren<QSocketNotifier *>()) {
        if (n->type() != QSocketNotifier::Read || n->socket() != fd)
            continue;
        if (qtReader)
            return nullptr; // not the layout we know
        qtReader = n;
    }
    if (!qtReader || !qtReader->isEnabled())
        return nullptr;
    // Off before ours exists: a dispatcher keeps one notifier per descriptor
    // and type (Qt's own Unix dispatcher warns about a second).
    qtReader->setEnabled(false);
    return new SocketReader(socket, qtReader, std::move(pass), buffer == Buffer::Shared);
#else
    Q_UNUSED(socket)
    Q_UNUSED(pass)
    Q_UNUSED(buffer)
    return nullptr;
#endif
}

SocketReader::SocketReader(QLocalSocket *socket, QSocketNotifier *qtReader, std::function<void(FrameBuffer *)> pass,
                           bool share)
    : QSocketNotifier(qtReader->socket(), QSocketNotifier::Read, socket)
    , owner(socket)
    , pass(std::move(pass))
    , share(share)
{
    // Off before anyone hears of the closing: the descriptor is closed by
    // then and may soon name the next connection. The socket is the context
    // (it already has connection data, which this object would need on its
    // own only for this); a reader dropped before its socket (the client's,
    // on reconnecting) cuts the connection itself.
    stateWatch = connect(socket, &QLocalSocket::stateChanged, socket, [this](QLocalSocket::LocalSocketState state) {
        if (state != QLocalSocket::ConnectedState) {
            stopped = true;
            setEnabled(false);
        }
    });
}

SocketReader::~SocketReader() { disconnect(stateWatch); }

bool SocketReader::event(QEvent *event)
{
    if (event->type() != QEvent::SockAct && event->type() != QEvent::SockClose)
        return QSocketNotifier::event(event);
    readable();
    return true;
}

#ifdef ORU_DIRECT_READS
namespace {
// Bytes are read into one buffer per thread and only a frame's unread rest is
// kept per socket: an idle socket then holds no read storage at all. A reader
// takes it while its own buffer is empty and gives it back after its pass;
// another reader notified in a nested event loop meanwhile reads into its own.
struct SharedBuffer {
    FrameBuffer bytes;
    const void *user = nullptr;
};
SharedBuffer &sharedBuffer()
{
    static thread_local SharedBuffer shared;
    return shared;
}
} // namespace
#endif

void SocketReader::readable()
{
#ifdef ORU_DIRECT_READS
    constexpr int kChunk = 4096;
    const qint64 limit = owner->readBufferSize();
    bool fresh = false;
    bool ended = false;
    SharedBuffer &shared = sharedBuffer();
    const bool borrowed = share && buffer.bytesAvailable() == 0 && (!shared.user || shared.user == this);
    if (borrowed)
        shared.user = this;
    FrameBuffer &into = borrowed ? shared.bytes : buffer;
    while (!stopped) {
        int want = kChunk;
        if (limit > 0) {
            const qint64 room = limit - into.bytesAvailable();
            if (room <= 0) {
                setEnabled(false); // full: nothing more until a pass takes some, as with Qt
                break;
            }
            want = int(qMin<qint64>(room, kChunk));
        }
        int size = 0;
        const bool inPlace = into.awaitedInPlace() > 0;
        char *at = into.room(want, &size);
        if (limit > 0)
            size = qMin(size, want);
        const ssize_t got = ::recv(int(QSocketNotifier::socket()), at, size_t(size), MSG_DONTWAIT);
        if (got > 0) {
            into.wrote(int(got));
            fresh = true;
            // Drained (a level-triggered notifier says if more comes), or put
            // where the reader wanted it: the reader looks before we go on.
            if (got < size || inPlace)
                break;
        } else if (got < 0 && errno == EINTR) {
            continue;
        } else {
            ended = got == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
            break;
        }
    }
    if (fresh && !passing) {
        passing = true;
        pass(&into);
        passing = false;
    }
    if (borrowed && !passing) {
        // The rest of a frame stays with this socket.
        if (const int rest = int(into.bytesAvailable())) {
            int size = 0;
            buffer.wrote(int(into.read(buffer.room(rest, &size), rest)));
        }
        shared.user = nullptr;
    }
    if (ended) {
        stopped = true;
        setEnabled(false);
        owner->abort();
    } else if (!stopped && !isEnabled() && limit > 0 && (passing ? into : buffer).bytesAvailable() < limit) {
        setEnabled(true);
    }
#endif
}

} // namespace oru_sdk
