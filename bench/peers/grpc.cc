// grpc: a small call as a remote call of gRPC.
#include "bench/peers/peer.h"
#include "call.grpc.pb.h"

#include <grpcpp/grpcpp.h>
#include <string>

using namespace vnt;

namespace {
class callee final : public peer::Call::Service {
    grpc::Status Do(grpc::ServerContext *, const peer::Request *, peer::Answer *answer) override
    {
        answer->set_data(std::string(PEER_ANSWER, 0));
        return grpc::Status::OK;
    }
};
} // namespace

template <class Tell> static void serve(Tell tell)
{
    callee service;
    int port = 0;
    grpc::ServerBuilder builder;
    builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
    builder.RegisterService(&service);
    std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
    tell(port);
    server->Wait();
}

int main(int argc, char **argv)
{
    int port = peer_serve([](auto tell) { serve(tell); });
    auto channel = grpc::CreateChannel("127.0.0.1:" + std::to_string(port),
                                       grpc::InsecureChannelCredentials());
    auto remote = peer::Call::NewStub(channel);
    peer_measure(argc, argv, [&] {
        grpc::ClientContext context;
        peer::Request request;
        peer::Answer answer;
        request.set_data(std::string(PEER_REQUEST, 0));
        bench_must(remote->Do(&context, request, &answer).ok(), "call");
    });
}
