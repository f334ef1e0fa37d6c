#include "oru_sdk_kit/oru_log.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

enum Level : int { LevelTrace = 0, LevelInfo = 1, LevelError = 2, LevelOff = 3 };

// Read by every log call before any formatting, so it lives outside the
// logger object: one relaxed load, no lock, no static-init guard.
std::atomic<int> g_threshold{LevelTrace};

// Pending text is capped so a stalled disk cannot eat the host's memory.
constexpr std::size_t kMaxPendingBytes = std::size_t(16) << 20;
// Past this much pending text the writer is woken at once instead of
// waiting for its periodic pass.
constexpr std::size_t kWakeWriterBytes = std::size_t(1) << 20;
constexpr qint64 kDefaultMaxBytes = qint64(10) << 20;
constexpr int kDefaultMaxFiles = 5;
constexpr qint64 kMaxMaxFiles = 1000; // every rotation renames them all
constexpr std::chrono::milliseconds kFlushInterval(200);
// How long process exit waits for a writer that is in the middle of a batch.
constexpr std::chrono::seconds kExitGrace(3);

// ---------------------------------------------------------------------------
// Environment

int levelFromEnv()
{
    const QByteArray v = qgetenv("ORU_LOG_LEVEL").trimmed().toLower();
    if (v == "info")
        return LevelInfo;
    if (v == "error")
        return LevelError;
    if (v == "off")
        return LevelOff;
    return LevelTrace; // unset, "trace" or anything we do not know
}

qint64 intFromEnv(const char *name, qint64 fallback, qint64 minimum)
{
    bool ok = false;
    const qint64 v = qgetenv(name).trimmed().toLongLong(&ok);
    return ok && v >= minimum ? v : fallback;
}

// ---------------------------------------------------------------------------
// File access. The writer uses the C runtime rather than QFile so that the
// final drain at process exit does not depend on Qt globals still being alive.

#ifdef _WIN32
using NativePath = std::wstring;

NativePath toNative(const QString &path) { return QDir::toNativeSeparators(path).toStdWString(); }
NativePath numbered(const NativePath &path, int n) { return path + L"." + std::to_wstring(n); }
std::FILE *openAppend(const NativePath &path) { return _wfopen(path.c_str(), L"ab"); }
void removeFile(const NativePath &path) { _wremove(path.c_str()); }
void renameFile(const NativePath &from, const NativePath &to) { _wrename(from.c_str(), to.c_str()); }
#else
using NativePath = std::string;

NativePath toNative(const QString &path) { return QFile::encodeName(path).toStdString(); }
NativePath numbered(const NativePath &path, int n) { return path + "." + std::to_string(n); }
std::FILE *openAppend(const NativePath &path)
{
#ifdef __linux__
    return std::fopen(path.c_str(), "abe"); // close-on-exec: children of the host must not inherit it
#else
    return std::fopen(path.c_str(), "ab");
#endif
}
void removeFile(const NativePath &path) { std::remove(path.c_str()); }
void renameFile(const NativePath &from, const NativePath &to) { std::rename(from.c_str(), to.c_str()); }
#endif

// ---------------------------------------------------------------------------
// Formatting

constexpr std::size_t kStampLen = 24; // "yyyy-MM-dd hh:mm:ss.zzz "

void putDigits(char *out, int value, int width)
{
    for (int i = width - 1; i >= 0; --i) {
        out[i] = char('0' + value % 10);
        value /= 10;
    }
}

void formatStamp(char *out)
{
    using namespace std::chrono;
    const long long ms = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    const long long sec = ms / 1000;

    // Local-time conversion is the expensive part; each thread remembers the
    // text of the last second it saw.
    thread_local long long cachedSec = -1;
    thread_local char cached[20];
    if (sec != cachedSec) {
        const std::time_t t = std::time_t(sec);
        std::tm tm{};
#ifdef _WIN32
        localtime_s(&tm, &t);
#else
        localtime_r(&t, &tm);
#endif
        putDigits(cached, tm.tm_year + 1900, 4);
        cached[4] = '-';
        putDigits(cached + 5, tm.tm_mon + 1, 2);
        cached[7] = '-';
        putDigits(cached + 8, tm.tm_mday, 2);
        cached[10] = ' ';
        putDigits(cached + 11, tm.tm_hour, 2);
        cached[13] = ':';
        putDigits(cached + 14, tm.tm_min, 2);
        cached[16] = ':';
        putDigits(cached + 17, tm.tm_sec, 2);
        cached[19] = '.';
        cachedSec = sec;
    }
    std::memcpy(out, cached, 20);
    putDigits(out + 20, int(ms % 1000), 3);
    out[23] = ' ';
}

// UTF-16 to UTF-8 straight into the caller's buffer, which must hold three
// bytes per UTF-16 unit. Avoids the temporary QByteArray of toUtf8().
char *appendUtf8(char *out, const QString &s)
{
    const QChar *p = s.constData();
    const int n = s.size();
    for (int i = 0; i < n; ++i) {
        unsigned c = p[i].unicode();
        if (c < 0x80) {
            *out++ = char(c);
            continue;
        }
        if (c < 0x800) {
            *out++ = char(0xC0 | (c >> 6));
            *out++ = char(0x80 | (c & 0x3F));
            continue;
        }
        if (c >= 0xD800 && c <= 0xDFFF) {
            const bool pair = c < 0xDC00 && i + 1 < n && p[i + 1].isLowSurrogate();
            if (!pair) {
                c = 0xFFFD; // lone surrogate: write the replacement character
            } else {
                const unsigned cp = 0x10000 + ((c - 0xD800) << 10) + (p[++i].unicode() - 0xDC00);
                *out++ = char(0xF0 | (cp >> 18));
                *out++ = char(0x80 | ((cp >> 12) & 0x3F));
                *out++ = char(0x80 | ((cp >> 6) & 0x3F));
                *out++ = char(0x80 | (cp & 0x3F));
                continue;
            }
        }
        *out++ = char(0xE0 | (c >> 12));
        *out++ = char(0x80 | ((c >> 6) & 0x3F));
        *out++ = char(0x80 | (c & 0x3F));
    }
    return out;
}

const char *const kLevelField[] = {"[trace] ", "[info] ", "[error] "};
const std::size_t kLevelFieldLen[] = {8, 7, 8};

// ---------------------------------------------------------------------------

class Logger
{
public:
    // Never destroyed: threads of the host may still log while the process
    // exits, and they must find a valid object.
    static Logger &instance()
    {
        static Logger *const logger = new Logger;
        return *logger;
    }

    void init(const QString &path, const QString &category);
    void write(int level, const QString &text, const QString &tag);
    void flush();

private:
    static void atExit() { instance().shutdown(); }

    void shutdown();
    void run();
    void rebuildEarlyLines(int threshold);
    quint64 claimBatch();
    void finishBatch(quint64 ticket);
    void writeBatch();
    void writeChunk(std::size_t from, std::size_t to);
    void rotate();

    std::atomic<bool> initCalled_{false};

    std::mutex mutex_;
    std::condition_variable wake_; // the writer sleeps here
    std::condition_variable done_; // flush() and exit wait here

    // Guarded by mutex_.
    std::string pending_;
    std::vector<std::size_t> pendingEnds_; // end offset of every line in pending_
    // Until init the category is unknown, so lines are queued without it and
    // these remember where it goes (one entry per pending line).
    struct EarlyLine {
        std::size_t categoryPos;
        int level;
    };
    std::vector<EarlyLine> early_;
    std::string categoryField_; // set once by init, read-only afterwards
    quint64 dropped_ = 0;
    quint64 flushRequested_ = 0;
    quint64 flushDone_ = 0;
    bool initialised_ = false;
    bool running_ = false; // the writer thread exists
    bool stopped_ = false; // exit drain has begun; new lines are ignored
    bool urgent_ = false;  // error line or lots pending: write without waiting
    bool writing_ = false; // someone owns the batch and the file below

    // Owned by whoever set writing_ (the writer thread, or the exit drain).
    std::string batch_;
    std::vector<std::size_t> batchEnds_;
    quint64 batchDropped_ = 0;
    std::FILE *file_ = nullptr;
    qint64 fileSize_ = 0;
    qint64 maxBytes_ = kDefaultMaxBytes;
    int maxFiles_ = kDefaultMaxFiles;
    NativePath path_;

    std::thread writer_;
};

void Logger::init(const QString &path, const QString &category)
{
    if (initCalled_.exchange(true))
        return; // the first call wins; the SDK only calls it once

    const int threshold = levelFromEnv();
    maxBytes_ = intFromEnv("ORU_LOG_MAX_BYTES", kDefaultMaxBytes, 1);
    maxFiles_ = int(qMin<qint64>(intFromEnv("ORU_LOG_MAX_FILES", kDefaultMaxFiles, 0), kMaxMaxFiles));

    const QFileInfo info(path);
    QDir().mkpath(info.absolutePath());
    // Absolute, so a later change of working directory cannot move the log.
    path_ = toNative(info.absoluteFilePath());
    file_ = openAppend(path_);
    if (file_) {
        fileSize_ = QFileInfo(info.absoluteFilePath()).size();
    } else {
        std::fprintf(stderr, "oru_sdk_kit: cannot open log file %s\n", qPrintable(path));
    }

    const std::string categoryField = "[" + category.toUtf8().toStdString() + "] ";
    {
        std::lock_guard<std::mutex> lock(mutex_);
        categoryField_ = categoryField;
        rebuildEarlyLines(threshold);
        initialised_ = true;
        g_threshold.store(threshold, std::memory_order_relaxed);
        running_ = true;
        urgent_ = !pendingEnds_.empty() || dropped_ != 0;
    }
    try {
        writer_ = std::thread([this] { run(); });
    } catch (const std::system_error &) {
        std::fprintf(stderr, "oru_sdk_kit: cannot start the log writer thread\n");
        std::lock_guard<std::mutex> lock(mutex_);
        running_ = false; // lines then stay queued up to the cap and are dropped
        flushDone_ = flushRequested_;
        done_.notify_all();
        return;
    }
    std::atexit(&Logger::atExit);
}

// Inserts the category into the lines queued before init and applies the
// level threshold that was not known when they were logged.
void Logger::rebuildEarlyLines(int threshold)
{
    if (pendingEnds_.empty())
        return;
    std::string rebuilt;
    rebuilt.reserve(pending_.size() + pendingEnds_.size() * categoryField_.size());
    std::vector<std::size_t> ends;
    ends.reserve(pendingEnds_.size());
    std::size_t start = 0;
    for (std::size_t i = 0; i < pendingEnds_.size(); ++i) {
        const std::size_t end = pendingEnds_[i];
        const EarlyLine &line = early_[i];
        if (line.level >= threshold) {
            rebuilt.append(pending_, start, line.categoryPos - start);
            rebuilt += categoryField_;
            rebuilt.append(pending_, line.categoryPos, end - line.categoryPos);
            ends.push_back(rebuilt.size());
        }
        start = end;
    }
    pending_.swap(rebuilt);
    pendingEnds_.swap(ends);
    std::vector<EarlyLine>().swap(early_);
}

void Logger::write(int level, const QString &text, const QString &tag)
{
    // Format outside the lock; short lines need no heap at all.
    char stackBuf[1024];
    std::unique_ptr<char[]> heapBuf;
    const std::size_t bound = kStampLen + 8 + 3 * (std::size_t(tag.size()) + std::size_t(text.size())) + 1;
    char *line = stackBuf;
    if (bound > sizeof stackBuf) {
        heapBuf.reset(new char[bound]);
        line = heapBuf.get();
    }
    formatStamp(line);
    char *p = line + kStampLen;
    std::memcpy(p, kLevelField[level], kLevelFieldLen[level]);
    p += kLevelFieldLen[level];
    const std::size_t categoryPos = std::size_t(p - line);
    p = appendUtf8(p, tag);
    p = appendUtf8(p, text);
    *p++ = '\n';
    const std::size_t len = std::size_t(p - line);

    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_)
            return;
        if (pending_.size() + len + categoryField_.size() > kMaxPendingBytes) {
            ++dropped_;
            return;
        }
        const bool wasEmpty = pendingEnds_.empty();
        if (!initialised_)
            early_.push_back({pending_.size() + categoryPos, level});
        pending_.append(line, categoryPos);
        pending_ += categoryField_;
        pending_.append(line + categoryPos, len - categoryPos);
        pendingEnds_.push_back(pending_.size());
        const bool becameUrgent = !urgent_ && (level == LevelError || pending_.size() >= kWakeWriterBytes);
        if (becameUrgent)
            urgent_ = true;
        // The writer only needs a nudge to start its timer or to hurry.
        wake = running_ && (wasEmpty || becameUrgent);
    }
    if (wake)
        wake_.notify_one();
}

void Logger::flush()
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (!running_ || stopped_)
        return;
    const quint64 ticket = ++flushRequested_;
    wake_.notify_one();
    done_.wait(lock, [&] { return flushDone_ >= ticket; });
}

quint64 Logger::claimBatch()
{
    batch_.swap(pending_);
    batchEnds_.swap(pendingEnds_);
    batchDropped_ = dropped_;
    dropped_ = 0;
    urgent_ = false;
    writing_ = true;
    return flushRequested_;
}

void Logger::finishBatch(quint64 ticket)
{
    writing_ = false;
    if (ticket > flushDone_)
        flushDone_ = ticket;
    done_.notify_all();
}

void Logger::run()
{
    using Clock = std::chrono::steady_clock;
    std::unique_lock<std::mutex> lock(mutex_);
    bool armed = false;
    Clock::time_point deadline;
    while (!stopped_) {
        bool due = urgent_ || flushRequested_ != flushDone_;
        const bool pending = !pendingEnds_.empty() || dropped_ != 0;
        if (!due && pending) {
            // Plain lines wait up to one interval so they go out in batches.
            const Clock::time_point now = Clock::now();
            if (!armed) {
                armed = true;
                deadline = now + kFlushInterval;
            }
            if (now < deadline) {
                wake_.wait_until(lock, deadline);
                continue;
            }
            due = true;
        }
        if (!due) {
            armed = false;
            wake_.wait(lock);
            continue;
        }
        armed = false;
        const quint64 ticket = claimBatch();
        lock.unlock();
        writeBatch();
        lock.lock();
        finishBatch(ticket);
    }
}

// Runs from the exit handlers. The exiting thread does the last write itself:
// it never joins the writer, which on some platforms is already gone or
// cannot be joined during exit.
void Logger::shutdown()
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (!running_ || stopped_)
        return;
    stopped_ = true;
    wake_.notify_one();
    // A writer stuck on a dead disk must not hold up the exit.
    if (!done_.wait_for(lock, kExitGrace, [this] { return !writing_; }))
        return;
    const quint64 ticket = claimBatch();
    lock.unlock();
    writeBatch();
    if (file_) {
        std::fclose(file_);
        file_ = nullptr;
    }
    lock.lock();
    finishBatch(ticket);
    if (writer_.joinable())
        writer_.detach();
}

void Logger::writeBatch()
{
    if (batchDropped_ != 0) {
        char stamp[kStampLen];
        formatStamp(stamp);
        batch_.append(stamp, kStampLen);
        batch_.append(kLevelField[LevelError], kLevelFieldLen[LevelError]);
        batch_ += categoryField_;
        batch_ += std::to_string(batchDropped_) + " log lines dropped\n";
        batchEnds_.push_back(batch_.size());
        batchDropped_ = 0;
    }

    // Rotation happens between lines, so no line is ever split across files.
    std::size_t chunkStart = 0;
    std::size_t lineStart = 0;
    for (const std::size_t end : batchEnds_) {
        const qint64 before = fileSize_ + qint64(lineStart - chunkStart);
        if (before > 0 && before + qint64(end - lineStart) > maxBytes_) {
            writeChunk(chunkStart, lineStart);
            rotate();
            chunkStart = lineStart;
        }
        lineStart = end;
    }
    writeChunk(chunkStart, lineStart);
    if (file_)
        std::fflush(file_);

    batch_.clear();
    batchEnds_.clear();
    // Give back the memory of a burst; normal batches keep their capacity.
    if (batch_.capacity() > 4 * kWakeWriterBytes) {
        std::string().swap(batch_);
        std::vector<std::size_t>().swap(batchEnds_);
    }
}

void Logger::writeChunk(std::size_t from, std::size_t to)
{
    if (!file_ || to <= from)
        return;
    std::fwrite(batch_.data() + from, 1, to - from, file_);
    fileSize_ += qint64(to - from);
}

void Logger::rotate()
{
    if (file_) {
        std::fclose(file_);
        file_ = nullptr;
    }
    if (maxFiles_ > 0) {
        removeFile(numbered(path_, maxFiles_));
        for (int i = maxFiles_ - 1; i >= 1; --i)
            renameFile(numbered(path_, i), numbered(path_, i + 1));
        renameFile(path_, numbered(path_, 1));
    } else {
        removeFile(path_);
    }
    file_ = openAppend(path_);
    // Counted from zero even if a rename failed (a reader holding the file on
    // Windows): the next attempt then comes after another full file instead
    // of before every line.
    fileSize_ = 0;
}

} // namespace

void init_oru_log(const QString &path, const QString &category) { Logger::instance().init(path, category); }

void log_info(const QString &text, const QString &tag)
{
    if (LevelInfo < g_threshold.load(std::memory_order_relaxed))
        return;
    Logger::instance().write(LevelInfo, text, tag);
}

void log_error(const QString &text, const QString &tag)
{
    if (LevelError < g_threshold.load(std::memory_order_relaxed))
        return;
    Logger::instance().write(LevelError, text, tag);
}

void log_trace(const QString &text, const QString &tag)
{
    if (LevelTrace < g_threshold.load(std::memory_order_relaxed))
        return;
    Logger::instance().write(LevelTrace, text, tag);
}

void flush_oru_log() { Logger::instance().flush(); }
