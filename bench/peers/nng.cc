// nng: a small call as a request and a reply of nng.
#include "bench/peers/peer.h"

#include <nng/nng.h>
#include <nng/protocol/reqrep0/rep.h>
#include <nng/protocol/reqrep0/req.h>
#include <string>

using namespace vnt;

template <class Tell> static void serve(Tell tell)
{
    nng_socket socket;
    nng_listener listener;
    nng_sockaddr address;
    bench_must(nng_rep0_open(&socket) == 0, "nng_rep0_open");
    bench_must(nng_listen(socket, "tcp://127.0.0.1:0", &listener, 0) == 0, "nng_listen");
    nng_listener_get_addr(listener, NNG_OPT_LOCADDR, &address);
    tell(__builtin_bswap16(address.s_in.sa_port));
    for (;;) {
        char request[PEER_REQUEST], answer[PEER_ANSWER] = {};
        size_t n = sizeof request;
        bench_must(nng_recv(socket, request, &n, 0) == 0, "nng_recv");
        bench_must(nng_send(socket, answer, sizeof answer, 0) == 0, "nng_send");
    }
}

int main(int argc, char **argv)
{
    int port = peer_serve([](auto tell) { serve(tell); });
    nng_socket socket;
    std::string name = "tcp://127.0.0.1:" + std::to_string(port);
    bench_must(nng_req0_open(&socket) == 0, "nng_req0_open");
    bench_must(nng_dial(socket, name.c_str(), nullptr, 0) == 0, "nng_dial");
    peer_measure(argc, argv, [&] {
        char request[PEER_REQUEST] = {}, answer[PEER_ANSWER];
        size_t n = sizeof answer;
        bench_must(nng_send(socket, request, sizeof request, 0) == 0, "nng_send");
        bench_must(nng_recv(socket, answer, &n, 0) == 0 && n == sizeof answer, "nng_recv");
    });
}
