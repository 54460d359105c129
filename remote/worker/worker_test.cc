// A worker's main loop, with the test in the place of the server and the client.
#include "remote/worker/worker.h"

#include "remote/codec/catalogue.h"
#include "test/bytes.h"
#include "test/forked.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace vnt {

// Big-endian words, as messages without strings and arrays are made of.
static std::string words(std::initializer_list<uint32_t> values)
{
    std::string all;
    for (uint32_t v : values) {
        uint32_t raw = htonl(v);
        all.append(reinterpret_cast<char *>(&raw), 4);
    }
    return all;
}

// What is left of a worker that has ended.
struct outcome {
    std::string answers; // behind the greeting
    std::string status;  // what it told the server
    std::string log;
    int end; // the exit status, or -signal
};

// A worker in a process of its own gets these messages, and then the end of its input.
static outcome work(const std::vector<std::string> &arguments, const std::string &messages)
{
    int in[2], out[2], status[2], control[2];
    for (int *ends : {in, out, status, control})
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    forked_process worker(
        [&](int argc, char **argv) {
            for (int fd : {in[1], out[0], status[0], control[1]})
                close(fd);
            worker_child child = {in[0], out[1], status[1], control[0], getpid()};
            tcpipworker(&child, argc, argv);
            exit(0); // as a server's child does
            return 0;
        },
        arguments);
    for (int fd : {in[0], out[1], status[1], control[0]})
        close(fd);
    EXPECT_TRUE(give_to(in[1], messages));
    close(in[1]);
    EXPECT_EQ(take_from(out[0], 10), std::string(2, '\0') + raw_id(worker.pid));
    outcome o = {take_from(out[0], SIZE_MAX), take_from(status[0], SIZE_MAX), "", worker.wait()};
    o.log = worker.written();
    for (int fd : {out[0], status[0], control[1]})
        close(fd);
    return o;
}

TEST(Worker, ServesUntilTheFirstTerminateMessage)
{
    for (const std::vector<std::string> &arguments : std::vector<std::vector<std::string>>{
             {"worker"}, {"worker", "-nothreads", "-nothreads", "-libpath=/nowhere"}}) {
        // An acknowledgement is no request: it gets no answer.  A reconnect without a disconnect
        // before gets a NAK and no more, an environment handle of four bytes a second message.
        outcome o = work(arguments, words({VNTMESSAGEID_ACK, 0, 0, 0, VNTMESSAGEID_RECONNECT_REQ,
                                           VNTMESSAGEID_CLOSEVANTO_REQ, 0, 0, 4, TYPE_BYTE, 1, 4,
                                           0x01020304, VNTMESSAGEID_TERMINATE}));
        EXPECT_EQ(o.answers, words({VNTMESSAGEID_NAK, VNTMESSAGEID_RECONNECT_REQ, 0, ~0u,
                                    VNTMESSAGEID_NAK, VNTMESSAGEID_CLOSEVANTO_REQ, 0, ~0u,
                                    VNTMESSAGEID_UNKNOWN, VNTMESSAGEID_CLOSEVANTO_REQ}));
        EXPECT_EQ(o.status, std::string(4, '\0'));
        EXPECT_EQ(o.end, 0);
        EXPECT_EQ(o.log, "");
    }
}

// It logs what went wrong, after the greeting in any case, and aborts.
TEST(Worker, AFaultEndsItWithALine)
{
    const std::string no_codecs = words({4711}), long_name(4097, 'l');
    const struct {
        std::vector<std::string> arguments;
        std::string messages, line;
    } faults[] = {
        {{"w", "-what"}, "", "Unknown argument '-what' (try -help)"},
        {{"w"}, "", "Failed to receive message: -7"},
        {{"w"}, no_codecs, "Failed to receive message: -2"},
        {{"w", "-userfunction=nothere=f"}, "", "Failed to load user function: -13"},
        {{"w", "-userfunction=" + long_name + "=f"}, "", "Path name too long"},
    };
    for (auto &fault : faults) {
        outcome o = work(fault.arguments, fault.messages);
        EXPECT_EQ(o.end, -SIGABRT) << fault.line;
        EXPECT_TRUE(has(o.log, ":0001] " + fault.line + "\n"));
        EXPECT_EQ(o.status, "");
    }
}

} // namespace vnt
