// capnproto: a small call as a remote call of Cap'n Proto.
#include "bench/peers/peer.h"
#include "call.capnp.h"

#include <capnp/ez-rpc.h>

using namespace vnt;

namespace {
class callee final : public Call::Server {
    kj::Promise<void> call(CallContext context) override
    {
        context.getResults().initAnswer(PEER_ANSWER);
        return kj::READY_NOW;
    }
};
} // namespace

template <class Tell> static void serve(Tell tell)
{
    capnp::EzRpcServer server(kj::heap<callee>(), "127.0.0.1", 0);
    tell(static_cast<int>(server.getPort().wait(server.getWaitScope())));
    kj::NEVER_DONE.wait(server.getWaitScope());
}

int main(int argc, char **argv)
{
    int port = peer_serve([](auto tell) { serve(tell); });
    capnp::EzRpcClient client("127.0.0.1", static_cast<unsigned>(port));
    Call::Client remote = client.getMain<Call>();
    peer_measure(argc, argv, [&] {
        auto request = remote.callRequest();
        request.initRequest(PEER_REQUEST);
        auto answer = request.send().wait(client.getWaitScope());
        bench_must(answer.getAnswer().size() == PEER_ANSWER, "call");
    });
}
