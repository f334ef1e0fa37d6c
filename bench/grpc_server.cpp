// gRPC baseline: the synchronous server on a Unix-domain socket.
//
//   oru_bench_grpc_server <socket path> <small answer bytes> <big answer bytes>

#include "grpc_bench.grpc.pb.h"

#include <grpcpp/grpcpp.h>

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

class Service final : public oru_bench::Bench::Service
{
public:
    Service(size_t small, size_t big)
        : small(small, 's')
        , big(big, 'b')
    {
    }

    grpc::Status Call(grpc::ServerContext *, const oru_bench::CallRequest *request,
                      oru_bench::CallReply *reply) override
    {
        reply->set_payload(request->big() ? big : small);
        return grpc::Status::OK;
    }

    grpc::Status Stream(grpc::ServerContext *, const oru_bench::StreamRequest *request,
                        grpc::ServerWriter<oru_bench::Chunk> *writer) override
    {
        oru_bench::Chunk chunk;
        for (int64_t sent = 0; sent < request->total(); sent += request->chunk()) {
            chunk.set_data(std::string(size_t(request->chunk()), 'x'));
            if (!writer->Write(chunk))
                break;
        }
        return grpc::Status::OK;
    }

private:
    const std::string small;
    const std::string big;
};

} // namespace

int main(int argc, char **argv)
{
    if (argc < 4)
        return 2;
    unlink(argv[1]);
    Service service(size_t(std::atol(argv[2])), size_t(std::atol(argv[3])));
    grpc::ServerBuilder builder;
    builder.AddListeningPort(std::string("unix:") + argv[1], grpc::InsecureServerCredentials());
    builder.RegisterService(&service);
    std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
    if (!server)
        return 1;
    server->Wait();
}
