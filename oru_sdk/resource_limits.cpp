#include "resource_limits.h"

#include "sdk_log.h"

#include <QByteArray>
#include <QLocalSocket>
#include <QString>

namespace oru_sdk {

namespace {

struct Reader {
    bool recommended;
    bool logProblems;

    void problem(const char *name, const QByteArray &value) const
    {
        if (logProblems)
            logError(QStringLiteral("limit %1=\"%2\" not understood, left off")
                         .arg(QLatin1String(name), QString::fromUtf8(value.left(64))));
    }

    // Bytes, with an optional K, M or G (powers of 1024).
    qint64 bytes(const char *name, qint64 recommendedValue) const
    {
        const QByteArray raw = qgetenv(name).trimmed();
        if (raw.isEmpty())
            return recommended ? recommendedValue : 0;
        QByteArray digits = raw;
        qint64 unit = 1;
        switch (QChar::toUpper(uint(uchar(raw.back())))) {
        case 'K':
            unit = qint64(1) << 10;
            break;
        case 'M':
            unit = qint64(1) << 20;
            break;
        case 'G':
            unit = qint64(1) << 30;
            break;
        default:
            break;
        }
        if (unit != 1)
            digits.chop(1);
        bool ok = false;
        const qint64 value = digits.toLongLong(&ok);
        if (!ok || value < 0 || value > (qint64(1) << 50) / unit) {
            problem(name, raw);
            return 0;
        }
        return value * unit;
    }

    int count(const char *name, int recommendedValue) const
    {
        const QByteArray raw = qgetenv(name).trimmed();
        if (raw.isEmpty())
            return recommended ? recommendedValue : 0;
        bool ok = false;
        const int value = raw.toInt(&ok);
        if (!ok || value < 0) {
            problem(name, raw);
            return 0;
        }
        return value;
    }

    Limits::Policy policy(const char *name, Limits::Policy fallback) const
    {
        const QByteArray raw = qgetenv(name).trimmed().toLower();
        if (raw.isEmpty())
            return fallback;
        if (raw == "drop")
            return Limits::Policy::Drop;
        if (raw == "close")
            return Limits::Policy::Close;
        problem(name, raw);
        return fallback;
    }

    bool flag(const char *name, bool recommendedValue) const
    {
        const QByteArray raw = qgetenv(name).trimmed().toLower();
        if (raw.isEmpty())
            return recommended && recommendedValue;
        if (raw == "1" || raw == "on" || raw == "yes" || raw == "true")
            return true;
        if (raw == "0" || raw == "off" || raw == "no" || raw == "false")
            return false;
        problem(name, raw);
        return false;
    }
};

} // namespace

Limits Limits::fromEnvironment(bool logProblems)
{
    const QByteArray preset = qgetenv("ORU_LIMITS").trimmed().toLower();
    const Reader read{preset == "recommended", logProblems};
    if (!preset.isEmpty() && !read.recommended)
        read.problem("ORU_LIMITS", preset);

    Limits limits;
    limits.streamQueueBytes = read.bytes("ORU_STREAM_QUEUE_LIMIT", qint64(64) << 20);
    limits.streamPolicy = read.policy("ORU_STREAM_QUEUE_POLICY", Policy::Drop);
    limits.controlQueueBytes = read.bytes("ORU_CONTROL_QUEUE_LIMIT", qint64(16) << 20);
    limits.controlPolicy = read.policy("ORU_CONTROL_QUEUE_POLICY", Policy::Close);
    limits.maxFrameBytes = read.bytes("ORU_MAX_FRAME_BYTES", qint64(16) << 20);
    limits.readBufferBytes = read.bytes("ORU_READ_BUFFER_LIMIT", qint64(1) << 20);
    limits.maxPendingPerConnection = read.count("ORU_MAX_PENDING_PER_CONNECTION", 10000);
    limits.maxPendingTotal = read.count("ORU_MAX_PENDING_TOTAL", 100000);
    limits.maxPendingBytes = read.bytes("ORU_MAX_PENDING_BYTES", qint64(64) << 20);
    limits.releaseEarlySockets = read.flag("ORU_RELEASE_EARLY_SOCKETS", true);
    return limits;
}

namespace {
// A frame is its announced length plus the 8-byte length and the 4-byte payload size.
constexpr qint64 kFrameOverhead = 12;
} // namespace

qint64 Limits::largestFrame() const
{
    if (maxFrameBytes > 0)
        return maxFrameBytes;
    return readBufferBytes > kFrameOverhead ? readBufferBytes - kFrameOverhead : readBufferBytes;
}

void Limits::applyTo(QLocalSocket *socket) const
{
    if (readBufferBytes > 0)
        socket->setReadBufferSize(qMax(readBufferBytes, largestFrame() + kFrameOverhead));
}

void Limits::refuseFrame(QLocalSocket *socket, qint64 socketName, qint64 length) const
{
    logInfo(QStringLiteral("socket %1 announced a frame of %2 bytes, over the limit of %3: closed")
                .arg(socketName)
                .arg(length)
                .arg(largestFrame()));
    socket->abort();
}

const Limits &Limits::current()
{
    static const Limits limits = fromEnvironment(true);
    return limits;
}

} // namespace oru_sdk
