// worker_double.h: a server and worker in a thread of the test, which answers every request with
// status 0 and zeros unless the test says otherwise.

#pragma once

#include "client/handles.h"
#include "remote/codec/catalogue.h"
#include "remote/transport/transport.h"
#include "test/arrays.h"
#include "test/scripted.h"
#include "vanto_client.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace vnt {

// A message of these fields.
#define RECORD(name, ...) (vntmsg_##name{nullptr, VNTMESSAGEID_##name, __VA_ARGS__})

class worker_double {
  public:
    static constexpr uint64_t env = 0x7700;

    // An answer of the test's own.  It returns false to close the connection.
    using answer = std::function<bool(transport *io, const void *request)>;

    explicit worker_double(int connections = 1, int64_t id = 4711)
        : scripts(static_cast<size_t>(connections), [this, id](int fd) { serve(fd, id); })
    {
        on[VNTMESSAGEID_OPENVANTO_REQ] = [](transport *io, const void *) {
            char bytes[16];
            vntmsg_OPENVANTO_RES response = {nullptr, VNTMESSAGEID_OPENVANTO_RES, 0, {}};
            client_value_put(&response.env, bytes, env);
            return give(io, response);
        };
        on[VNTMESSAGEID_PROBINFO_REQ] = [](transport *io, const void *message) {
            auto *request = static_cast<const vntmsg_PROBINFO_REQ *>(message);
            return give(io, RECORD(PROBINFO_RES, 0, request->intarg));
        };
        on[VNTMESSAGEID_CREATEPROB_REQ] = [this](transport *io, const void *) {
            char bytes[16];
            vntmsg_CREATEPROB_RES response = {nullptr, VNTMESSAGEID_CREATEPROB_RES, {}, 0};
            client_value_put(&response.outlp, bytes, nextlp++);
            return give(io, response);
        };
    }

    // It listens from the first time that it is asked where.
    std::string address()
    {
        scripts.insert(scripts.end(), then.begin(), then.end());
        then.clear();
        if (!server) server.emplace(scripts);
        return server->address();
    }
    int port() const { return server->port; }

    // The ids of what has arrived, each message once.
    std::vector<uint32_t> seen()
    {
        std::lock_guard hold(lock);
        return heard;
    }
    size_t count(uint32_t id)
    {
        auto list = seen();
        return static_cast<size_t>(std::count(list.begin(), list.end(), id));
    }
    void end()
    {
        if (server) server->end();
    }

    std::map<uint32_t, answer> on; // set before it listens
    std::vector<script> then;      // what further connections meet, likewise

  private:
    uint64_t nextlp = 0x9900; // of its thread
    std::mutex lock;
    std::vector<uint32_t> heard;
    std::vector<script> scripts;
    std::optional<scripted_server> server; // last: its thread uses all of the above

    static const codec_factory *const *codecs()
    {
        static const codec_factory *const list[] = {builtin_getfactory(), vntcodec_getfactory()};
        return list;
    }

    void serve(int fd, int64_t id)
    {
        char request[12];
        recv(fd, request, 4, MSG_WAITALL);
        if (request[3] == 2) recv(fd, request + 4, 8, MSG_WAITALL);
        std::string greeting(2, '\0');
        greeting.append(reinterpret_cast<char *>(&id), sizeof id);
        send(fd, greeting.data(), greeting.size(), MSG_NOSIGNAL);
        int out = dup(fd), in = dup(fd);
        std::string infd = "-infd=" + std::to_string(in), outfd = "-outfd=" + std::to_string(out);
        const char *arguments[] = {infd.c_str(), outfd.c_str()};
        transport *io;
        ASSERT_EQ(fdtransport_create(&io, 2, codecs(), 2, arguments), 0);
        for (void *message; io->ops.recvmsg(io, &message) == 0;)
            if (!respond(io, message)) break;
        shutdown(fd, SHUT_RDWR);
        io->ops.destroy(io);
    }

    bool respond(transport *io, const void *message)
    {
        uint32_t id = message_id(message);
        {
            std::lock_guard hold(lock);
            heard.push_back(id);
        }
        if (id == VNTMESSAGEID_TERMINATE) return false;
        auto special = on.find(id);
        if (special != on.end()) return special->second(io, message);
        return plain(io, id);
    }

  public:
    // Answers: the same each time; status 0 of this request, and nothing else; a refusal of it.
    template <class response> static answer gives(response r)
    {
        return [r](transport *io, const void *) { return give(io, r); };
    }
    static answer plainly(uint32_t request_id)
    {
        return [=](transport *io, const void *) { return plain(io, request_id); };
    }
    static answer refuses(uint32_t request_id, int32_t status)
    {
        return gives(RECORD(NAK, static_cast<int32_t>(request_id), 0, status));
    }
    static answer starts(uint32_t request_id)
    {
        return gives(RECORD(ACK, static_cast<int32_t>(request_id), 1, 0));
    }

    static bool plain(transport *io, uint32_t request_id)
    {
        const message_layout *layout = catalogue_find(request_id + 1);
        std::vector<uint64_t> record(layout->size / 8 + 1);
        auto *bytes = reinterpret_cast<char *>(record.data());
        memcpy(bytes + sizeof(void *), &layout->id, sizeof layout->id);
        return io->ops.sendmsg(io, bytes) == 0;
    }
    // One line of a channel; null is no text at all.
    static bool say(transport *io, int32_t channel, const char *line)
    {
        return give(io, RECORD(CHANNEL, channel, text(line)));
    }
    template <class response> static bool give(transport *io, response r)
    {
        return io->ops.sendmsg(io, &r) == 0;
    }
};

// The record of an environment for another process.
inline std::string packed(VNTENVptr env)
{
    int64_t length = 0;
    EXPECT_EQ(vntclient_pack(env, nullptr, 0, &length), 0);
    std::string record(static_cast<size_t>(length), '\0');
    EXPECT_EQ(vntclient_pack(env, record.data(), length, &length), 0);
    return record;
}

// An environment in a worker double, for tests that say what the worker answers and then open it.
struct opened : testing::Test {
    worker_double worker{3};
    VNTENVptr env = nullptr;

    static VNTENVptr open_at(const std::string &address, int *status)
    {
        const char *argv[] = {address.c_str()};
        return vntclient_open(1, argv, status);
    }
    void open()
    {
        int status = -1;
        env = open_at(worker.address(), &status);
        ASSERT_EQ(status, 0) << vntclient_errortext();
    }
    VNTLPptr problem()
    {
        int status = -1;
        VNTLPptr lp = VNTLcreateprob(env, &status, "p");
        EXPECT_EQ(status, 0);
        return lp;
    }
    // Solves run in the background, in the state that `state` tells each time it is asked.
    void serve_solves(const std::function<int()> &state)
    {
        worker.on[VNTMESSAGEID_MIPOPT_REQ] = worker_double::starts(VNTMESSAGEID_MIPOPT_REQ);
        worker.on[VNTMESSAGEID_ASYNCTEST_REQ] = [state](transport *io, const void *) {
            return worker_double::give(io, RECORD(ASYNCTEST_RES, 0, state()));
        };
        worker.on[VNTMESSAGEID_GETRES] = worker_double::plainly(VNTMESSAGEID_MIPOPT_REQ);
    }
    // The worker's answer to every such request; what it points at stays the test's.
    template <class response> void reply(uint32_t id, response r)
    {
        worker.on[id] = worker_double::gives(r);
    }
    void TearDown() override
    {
        if (env != nullptr) VNTLcloseVANTO(&env);
        worker.end(); // before the test takes away what the answers use
    }
};

} // namespace vnt
