// When a client or the server ends at any moment, nothing is left behind.
#include "remote/codec/catalogue.h"
#include "test/folders.h"
#include "test/server.h"
#include "test/serverprocess.h"

#include <csignal>
#include <gtest/gtest.h>
#include <list>

namespace vnt {

static const std::string longmodel = source_path("test/models/misc07.mps");

// A client in the middle of a solve, and its worker.
struct busy_client {
    explicit busy_client(const server &s)
        : program({built("vntsolve"), longmodel, "--server", s.address()})
    {
        EXPECT_TRUE(eventually([&] { return !s.workers().empty() && program.err() != ""; }))
            << program.err() << s.log();
    }
    process program;
};

// The steps of a client on the wire before it ends, and whether its worker stays for another.
// w: gets a worker.  o: sends the request to open the solver.  h: sends half of that.  d: sends the
// request to disconnect.  a: receives the answer.  j: joins the worker again by the handshake.
// r: sends the request to reconnect.
struct client_life {
    const char *steps;
    bool stays;
};
static constexpr client_life lives[] = {{"", false},    {"w", false},     {"wh", false},
                                        {"wo", false},  {"wd", true},     {"wda", true},
                                        {"wdaj", true}, {"wdajr", false}, {"wdajrd", true}};

static std::string wire(uint32_t id)
{
    return {0, 0, static_cast<char>(id >> 8), static_cast<char>(id)};
}

// Returns the worker's id.
static int64_t live(std::list<raw_client> &clients, const server &s, const char *steps)
{
    for (clients.emplace_back(stoi(s.port())); *steps != 0; steps++) {
        raw_client &c = clients.back();
        switch (*steps) {
        case 'w': EXPECT_EQ(c.new_worker(), 0); break;
        case 'o': c.say(wire(VNTMESSAGEID_OPENVANTO_REQ) + wire(0)); break;
        case 'h': c.say(wire(VNTMESSAGEID_OPENVANTO_REQ).substr(0, 2)); break;
        case 'd': c.say(wire(VNTMESSAGEID_DISCONNECT_REQ)); break;
        case 'a': EXPECT_EQ(c.hear(4), wire(VNTMESSAGEID_DISCONNECT_RES)); break;
        case 'j':
            c.leave();
            EXPECT_EQ(clients.emplace_back(stoi(s.port())).reconnect(c.id), 0);
            break;
        case 'r': c.say(wire(VNTMESSAGEID_RECONNECT_REQ)); break;
        }
    }
    return clients.back().id;
}

TEST(Lifetime, AClientMayEndAtAnyMoment)
{
    server s;
    std::list<raw_client> clients;
    std::vector<int64_t> staying;
    for (const client_life &life : lives) {
        int64_t id = live(clients, s, life.steps);
        if (life.stays) staying.push_back(id);
    }
    busy_client busy(s);
    busy.program.kill(SIGKILL);
    clients.clear();
    EXPECT_TRUE(eventually([&] { return s.workers().size() <= staying.size(); }, seconds(25)));
    for (int64_t id : staying) {
        raw_client back(stoi(s.port()));
        EXPECT_EQ(back.reconnect(id), 0);
        EXPECT_EQ(back.say(wire(VNTMESSAGEID_RECONNECT_REQ)).hear(4),
                  wire(VNTMESSAGEID_RECONNECT_RES));
    }
}

TEST(Lifetime, AServerMayEndAtAnyMoment)
{
    for (int signal : {SIGTERM, SIGKILL}) {
        server s;
        busy_client busy(s);
        std::list<raw_client> clients;
        for (const client_life &life : lives)
            live(clients, s, life.steps);
        std::vector<pid_t> workers = s.workers();
        EXPECT_EQ(workers.size(), std::size(lives));
        EXPECT_EQ(s.stop(signal), signal == SIGKILL ? -SIGKILL : 0) << s.log();
        for (pid_t worker : workers)
            EXPECT_TRUE(eventually([&] { return !process_alive(worker); },
                                   seconds(signal == SIGTERM ? 0 : 25)));
        EXPECT_EQ(busy.program.wait(seconds(20)), 5) << "it says that it lost the server";
        server second({"-port=" + s.port()});
        EXPECT_EQ(second.address(), s.address());
    }
}

} // namespace vnt
