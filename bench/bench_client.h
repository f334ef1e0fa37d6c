#pragma once

// The driver's view of a gateway under test and the client scenarios run
// against it. Two client flavours: `sdk*` uses oru_client::Connection (Qt, as
// the main client would), `raw*` uses plain sockets and works against the SDK
// gateway as well as the raw server.

#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Target {
    std::string control; // socket paths
    std::string stream;
    bool sdk = true; // payload flavour: protobuf for the SDK, text for the raw server
};

// The same request bytes for every target (a get-presets request with a
// fixed-width id, unique per connection and sequence number).
// `records` asks the SDK host for its 64 KiB answer as a thousand records.
std::string requestPayload(int connection, long sequence, bool big, bool records = false);
int requestType(const Target &t, bool big);
std::string commandPayload(const Target &t, const std::string &text);
std::string subscribePayload(const Target &t, const std::string &device);

struct RateResult {
    long done = 0;
    double seconds = 0;
    double perSecond() const { return seconds > 0 ? double(done) / seconds : 0; }
};

struct StreamJob {
    std::string device; // unique per run
    long chunk = 0;
    long total = 0;       // bytes per reader
    int readers = 1;      // fast readers
    bool stalled = false; // one more reader that never reads
    bool otherThread = false;
    bool rawData = false; // the SDK host wraps its buffer with QByteArray::fromRawData
    bool fresh = false;   // a buffer of its own per write (always with a stalled reader)
    long window = 8 << 20;
};

// The text command that starts a job at the gateway. With a stalled reader
// the SDK host hands over a fresh buffer per write, as a camera would: shared
// copies of one buffer would cost the gateway nothing to keep.
std::string writeCommand(const StreamJob &job);

// Round trip latencies in microseconds; `spacingUs` between an answer and the next request.
std::vector<double> rawRoundTrip(const Target &t, bool big, int samples, int spacingUs);
std::vector<double> sdkRoundTrip(const Target &t, bool big, int samples, int spacingUs, bool records = false);

RateResult rawRate(const Target &t, int connections, int inFlight, double seconds);
RateResult sdkRate(const Target &t, int connections, int inFlight, double seconds);

// Seconds from the write command to the last byte at every fast reader; < 0 on failure.
double rawStream(const Target &t, const StreamJob &job);
double sdkStream(const Target &t, const StreamJob &job);

// For instruction counts that repeat: `frames` frames of `chunk` bytes pushed
// to `readers` sockets of one stream, the next only once every reader has the
// one before (one ack per frame paces the SDK host). `atEnd` runs with the
// sockets still open. Without readers, `frames` - 1 of the same acks for a job
// with nothing to write, each sent once the gateway has read the one before:
// the pacing's own cost.
bool rawPacedStream(const Target &t, const std::string &device, long chunk, int readers, long frames,
                    const std::function<void()> &atEnd);

// Opens `count` idle control connections (or `count` stream sockets joined to
// count/perStream streams), calls `measure` while they are open, closes them.
void rawHoldControl(const Target &t, int count, const std::function<void()> &measure);
void rawHoldStreams(const Target &t, int streams, int perStream, const std::function<void()> &measure);

// One request answered: the gateway is up and has served everything before it.
bool rawProbe(const Target &t, bool big, size_t *answerBytes = nullptr);

} // namespace bench
