// zeromq: a small call as a request and a reply of ZeroMQ.
#include "bench/peers/peer.h"

#include <cstring>
#include <string>
#include <zmq.h>

using namespace vnt;

template <class Tell> static void serve(Tell tell)
{
    void *socket = zmq_socket(zmq_ctx_new(), ZMQ_REP);
    char request[PEER_REQUEST], answer[PEER_ANSWER] = {}, name[64];
    size_t length = sizeof name;
    bench_must(zmq_bind(socket, "tcp://127.0.0.1:*") == 0, "zmq_bind");
    zmq_getsockopt(socket, ZMQ_LAST_ENDPOINT, name, &length);
    tell(atoi(strrchr(name, ':') + 1));
    for (;;) {
        zmq_recv(socket, request, sizeof request, 0);
        zmq_send(socket, answer, sizeof answer, 0);
    }
}

int main(int argc, char **argv)
{
    int port = peer_serve([](auto tell) { serve(tell); });
    void *socket = zmq_socket(zmq_ctx_new(), ZMQ_REQ);
    std::string name = "tcp://127.0.0.1:" + std::to_string(port);
    bench_must(zmq_connect(socket, name.c_str()) == 0, "zmq_connect");
    char request[PEER_REQUEST] = {}, answer[PEER_ANSWER];
    peer_measure(argc, argv, [&] {
        zmq_send(socket, request, sizeof request, 0);
        bench_must(zmq_recv(socket, answer, sizeof answer, 0) == sizeof answer, "zmq_recv");
    });
}
