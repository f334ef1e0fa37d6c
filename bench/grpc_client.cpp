// gRPC client, a process of its own so that the driver does not load the full
// protobuf runtime beside the lite one. Blocking stubs for latency and the
// stream, the callback API for many calls in flight. Prints one result line.
//
//   oru_bench_grpc_client <path> rtt <big 0|1> <samples> <spacing us> <request bytes>
//     -> "<p50 us> <p99 us> <samples>"
//   oru_bench_grpc_client <path> rate <connections> <in flight> <seconds> <request bytes>
//     -> "<requests> <seconds>"
//   oru_bench_grpc_client <path> stream <chunk> <total>  -> "<seconds>"

#include "bench_util.h"

#include "grpc_bench.grpc.pb.h"

#include <grpcpp/grpcpp.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace bench {

namespace {

size_t requestBytes = 0;
std::string requestPayload(int, long, bool) { return std::string(requestBytes, 'q'); }

struct RateResult {
    long done = 0;
    double seconds = 0;
};

// A channel of its own per connection, not one shared subchannel.
std::shared_ptr<grpc::Channel> channel(const std::string &path, int index)
{
    grpc::ChannelArguments args;
    args.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    args.SetInt("oru_bench_channel", index);
    args.SetMaxReceiveMessageSize(64 << 20);
    return grpc::CreateCustomChannel("unix:" + path, grpc::InsecureChannelCredentials(), args);
}

std::vector<double> grpcRoundTrip(const std::string &path, bool big, int samples, int spacingUs)
{
    std::vector<double> us;
    auto stub = oru_bench::Bench::NewStub(channel(path, 0));
    // The first calls connect the channel; they are not timed.
    for (int i = 0; i < 20; ++i) {
        oru_bench::CallRequest request;
        oru_bench::CallReply reply;
        grpc::ClientContext context;
        stub->Call(&context, request, &reply);
    }
    for (long i = 0; i < samples; ++i) {
        oru_bench::CallRequest request;
        request.set_payload(requestPayload(0, i, big));
        request.set_big(big);
        oru_bench::CallReply reply;
        grpc::ClientContext context;
        const auto start = Clock::now();
        if (!stub->Call(&context, request, &reply).ok())
            break;
        us.push_back(secondsSince(start) * 1e6);
        if (spacingUs > 0)
            std::this_thread::sleep_for(std::chrono::microseconds(spacingUs));
    }
    return us;
}

RateResult grpcRate(const std::string &path, int connections, int inFlight, double seconds)
{
    struct Call {
        grpc::ClientContext context;
        oru_bench::CallRequest request;
        oru_bench::CallReply reply;
    };
    std::vector<std::unique_ptr<oru_bench::Bench::Stub>> stubs;
    for (int i = 0; i < connections; ++i)
        stubs.push_back(oru_bench::Bench::NewStub(channel(path, i)));
    // Connect every channel before the clock starts.
    for (auto &stub : stubs) {
        oru_bench::CallRequest request;
        oru_bench::CallReply reply;
        grpc::ClientContext context;
        stub->Call(&context, request, &reply);
    }
    std::atomic<bool> sending{true};
    std::atomic<long> done{0}, outstanding{0};
    std::mutex mutex;
    std::condition_variable drained;
    std::function<void(int, long)> issue = [&](int i, long sequence) {
        auto call = std::make_shared<Call>();
        call->request.set_payload(requestPayload(i, sequence, false));
        ++outstanding;
        stubs[size_t(i)]->async()->Call(&call->context, &call->request, &call->reply,
                                        [&, call, i, sequence](grpc::Status status) {
                                            if (sending && status.ok()) {
                                                ++done;
                                                issue(i, sequence + inFlight);
                                            }
                                            if (--outstanding == 0) {
                                                std::lock_guard<std::mutex> lock(mutex);
                                                drained.notify_all();
                                            }
                                        });
    };
    RateResult result;
    const auto start = Clock::now();
    for (int i = 0; i < connections; ++i) {
        for (int k = 0; k < inFlight; ++k)
            issue(i, k);
    }
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    sending = false;
    result.seconds = secondsSince(start);
    result.done = done;
    std::unique_lock<std::mutex> lock(mutex);
    drained.wait_for(lock, std::chrono::seconds(10), [&] { return outstanding == 0; });
    return result;
}

double grpcStream(const std::string &path, long chunk, long total)
{
    auto stub = oru_bench::Bench::NewStub(channel(path, 0));
    oru_bench::StreamRequest request;
    request.set_chunk(chunk);
    request.set_total(total);
    grpc::ClientContext context;
    const auto start = Clock::now();
    auto reader = stub->Stream(&context, request);
    oru_bench::Chunk piece;
    long received = 0;
    while (reader->Read(&piece))
        received += long(piece.data().size());
    const bool ok = reader->Finish().ok() && received >= total;
    return ok ? secondsSince(start) : -1;
}

} // namespace

} // namespace bench

int main(int argc, char **argv)
{
    using namespace bench;
    if (argc < 3)
        return 2;
    const std::string path = argv[1];
    const std::string mode = argv[2];
    if (mode == "rtt" && argc == 7) {
        requestBytes = size_t(std::atol(argv[6]));
        const auto us = grpcRoundTrip(path, std::atoi(argv[3]) != 0, std::atoi(argv[4]), std::atoi(argv[5]));
        std::printf("%.1f %.1f %zu\n", percentile(us, 50), percentile(us, 99), us.size());
    } else if (mode == "rate" && argc == 7) {
        requestBytes = size_t(std::atol(argv[6]));
        const RateResult r = grpcRate(path, std::atoi(argv[3]), std::atoi(argv[4]), std::atof(argv[5]));
        std::printf("%ld %.4f\n", r.done, r.seconds);
    } else if (mode == "stream" && argc == 5) {
        std::printf("%.4f\n", grpcStream(path, std::atol(argv[3]), std::atol(argv[4])));
    } else {
        return 2;
    }
    return 0;
}
