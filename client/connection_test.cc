#include "client/connection.h"
#include "client/worker_double.h"

#include <gtest/gtest.h>
#include <string>

namespace {

bool says(const std::string &word)
{
    return std::string(vntclient_errortext()).find(word) != std::string::npos;
}

} // namespace

TEST_F(opened, AnEnvironmentIsOpenedUsedAndClosed)
{
    open();
    VNTLPptr lp = problem();
    EXPECT_EQ(VNTLlpopt(env, lp), 0);
    int version = 0;
    EXPECT_EQ(VNTLversionnumber(env, &version), 0);
    EXPECT_EQ(VNTLfreeprob(env, &lp), 0);
    EXPECT_EQ(lp, nullptr);
    VNTENVptr closed = env;
    EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    EXPECT_EQ(env, nullptr);
    EXPECT_EQ(VNTLcloseVANTO(&closed), VNTERR_NO_ENVIRONMENT);
    EXPECT_EQ(VNTLcloseVANTO(nullptr), VNTERR_NULL_POINTER);
    worker.end();
    EXPECT_EQ(worker.seen(),
              (std::vector<uint32_t>{VNTMESSAGEID_OPENVANTO_REQ, VNTMESSAGEID_CREATEPROB_REQ,
                                     VNTMESSAGEID_LPOPT_REQ, VNTMESSAGEID_PROBINFO_REQ,
                                     VNTMESSAGEID_FREEPROB_REQ, VNTMESSAGEID_CLOSEVANTO_REQ,
                                     VNTMESSAGEID_TERMINATE}));
}

TEST_F(opened, AFailedOpenSaysWhy)
{
    auto refused = [](const std::string &address, const std::string &reason) {
        int status = 0;
        EXPECT_EQ(open_at(address, &status), nullptr);
        EXPECT_TRUE(says(reason)) << vntclient_errortext();
        return status;
    };
    scripted_server gone({});
    gone.end();
    EXPECT_EQ(refused(gone.address(), "127.0.0.1:" + std::to_string(gone.port)), VNTERR_REMOTE);
    EXPECT_TRUE(says("refused"));
    EXPECT_EQ(refused("-adress=here", "arguments are wrong"), VNTERR_BAD_ARGUMENT);
    scripted_server full({[](int fd) { send(fd, "\0\1", 2, MSG_NOSIGNAL); }});
    EXPECT_EQ(refused(full.address(), "cannot make a worker"), VNTERR_REMOTE);
    scripted_server mute({[](int) {}});
    EXPECT_EQ(refused(mute.address(), ""), VNTERR_FILE_IO);

    // A solver that does not open: its worker is ended.
    reply(VNTMESSAGEID_OPENVANTO_REQ,
          vntmsg_OPENVANTO_RES{nullptr, VNTMESSAGEID_OPENVANTO_RES, 32201, {}});
    EXPECT_EQ(refused(worker.address(), ""), 32201);
    worker.end();
    EXPECT_EQ(worker.seen().back(), VNTMESSAGEID_TERMINATE);

    setenv("TESK_VANTO_TCPIP_PORT", "1", 1);
    int status = 0;
    EXPECT_EQ(VNTLopenVANTO(&status), nullptr);
    EXPECT_EQ(status, VNTERR_REMOTE);
    EXPECT_TRUE(says("127.0.0.1:1:"));
    unsetenv("TESK_VANTO_TCPIP_PORT");
}

TEST_F(opened, ARefusalGivesItsStatusAndTheNextCallGoesOn)
{
    worker.on[VNTMESSAGEID_LPOPT_REQ] = [](transport *io, const void *) {
        return worker_double::refuse(io, VNTMESSAGEID_LPOPT_REQ, VNTERR_UNKNOWN_CALL);
    };
    worker.on[VNTMESSAGEID_PRIMOPT_REQ] = [](transport *io, const void *) {
        return worker_double::refuse(io, VNTMESSAGEID_PRIMOPT_REQ, -1) &&
               worker_double::give(
                   io, vntmsg_UNKNOWN{nullptr, VNTMESSAGEID_UNKNOWN, VNTMESSAGEID_PRIMOPT_REQ});
    };
    open();
    VNTLPptr lp = problem();
    EXPECT_EQ(VNTLlpopt(env, lp), VNTERR_UNKNOWN_CALL);
    EXPECT_EQ(VNTLprimopt(env, lp), VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(VNTLdualopt(env, lp), 0) << "the unknown message behind the refusal is passed over";
}

TEST_F(opened, ObjectsOfOthersNeverReachTheWorker)
{
    open();
    worker_double second;
    int status = 0;
    VNTENVptr other = open_at(second.address(), &status);
    VNTLPptr lp = problem(), foreign = VNTLcreateprob(other, &status, "q"), freed = problem();
    VNTLPptr stale = freed;
    EXPECT_EQ(VNTLfreeprob(env, &freed), 0);
    EXPECT_EQ(VNTLfreeprob(env, nullptr), VNTERR_NULL_POINTER);
    size_t before = worker.seen().size();
    for (VNTLPptr wrong :
         {foreign, stale, reinterpret_cast<VNTLPptr>(env), reinterpret_cast<VNTLPptr>(&lp)}) {
        EXPECT_EQ(VNTLlpopt(env, wrong), VNTERR_NO_PROBLEM);
        EXPECT_EQ(VNTLgetnumrows(env, wrong), 0);
        EXPECT_EQ(VNTLgetstat(env, wrong), VNT_STAT_NONE);
        EXPECT_EQ(VNTLcloneprob(env, wrong, &status), nullptr);
        EXPECT_EQ(status, VNTERR_NO_PROBLEM);
    }
    for (VNTENVptr wrong : {VNTENVptr(nullptr), reinterpret_cast<VNTENVptr>(lp),
                            reinterpret_cast<VNTENVptr>(&other)}) {
        EXPECT_EQ(VNTLlpopt(wrong, lp), VNTERR_NO_ENVIRONMENT);
        EXPECT_EQ(VNTLgetprobtype(wrong, lp), -1);
        EXPECT_EQ(vntclient_kill(wrong), VNTERR_NO_ENVIRONMENT);
    }
    EXPECT_EQ(worker.seen().size(), before);
    EXPECT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(VNTLcloseVANTO(&other), 0);
    EXPECT_EQ(VNTLlpopt(env, foreign), VNTERR_NO_PROBLEM);
}

// What a worker may do to a call that it does not answer well.
struct broken : opened, testing::WithParamInterface<worker_double::answer> {};

TEST_P(broken, TheConnectionIsLostAtOnceAndForGood)
{
    worker.on[VNTMESSAGEID_GETX_REQ] = GetParam();
    open();
    VNTLPptr lp = problem();
    double x[2];
    EXPECT_EQ(VNTLgetx(env, lp, x, 0, 1), VNTERR_CONNECTION_LOST);
    EXPECT_STRNE(vntclient_errortext(), "");
    EXPECT_EQ(VNTLgetx(env, lp, x, 0, 1), VNTERR_CONNECTION_LOST);
    EXPECT_EQ(VNTLgetnumrows(env, lp), 0);
    int status = 0;
    EXPECT_EQ(VNTLcreateprob(env, &status, "q"), nullptr);
    EXPECT_EQ(status, VNTERR_CONNECTION_LOST);
    char bytes[VNTCLIENT_INFO_LENGTH];
    EXPECT_EQ(vntclient_start(env), VNTERR_CONNECTION_LOST);
    EXPECT_EQ(vntclient_disconnect(env, bytes), VNTERR_CONNECTION_LOST);
    EXPECT_EQ(vntclient_pack(env, nullptr, 0, nullptr), VNTERR_CONNECTION_LOST);
    EXPECT_EQ(VNTLcloseVANTO(&env), VNTERR_CONNECTION_LOST);
    EXPECT_EQ(env, nullptr) << "closed all the same";
}

// Sends the bytes in an answer's place, and goes away or stays.
static worker_double::answer bytes(std::string what, bool stays)
{
    return [=](transport *io, const void *) {
        return write(io->outfd, what.data(), what.size()) == ssize_t(what.size()) && stays;
    };
}

static bool reset(transport *io, const void *)
{
    linger none = {1, 0};
    setsockopt(io->outfd, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    return false;
}

static bool answer_to_another(transport *io, const void *)
{
    return worker_double::plain(io, VNTMESSAGEID_LPOPT_REQ);
}

INSTANTIATE_TEST_SUITE_P(Connection, broken,
                         testing::Values(bytes("", false),                    // goes away
                                         bytes({0, 0, 4}, false),             // in an id
                                         bytes({0, 0, 4, 0x7b, 0, 0}, false), // in a field
                                         bytes({0, 0, 0x70, 0}, true),        // no such id
                                         answer_to_another, reset));

TEST_F(opened, AWorkerThatWentAwayMeanwhileRaisesNoSignal)
{
    worker.on[VNTMESSAGEID_LPOPT_REQ] = [](transport *io, const void *) {
        worker_double::plain(io, VNTMESSAGEID_LPOPT_REQ);
        return false;
    };
    open();
    VNTLPptr lp = problem();
    EXPECT_EQ(VNTLlpopt(env, lp), 0);
    worker.end();
    // Megabytes, so that the sending itself meets the closed connection.
    std::vector<double> values(1 << 20);
    std::vector<int> indices(1 << 20);
    EXPECT_EQ(VNTLchgobj(env, lp, 1 << 20, indices.data(), values.data()), VNTERR_CONNECTION_LOST);
}

TEST_F(opened, ASilentWorkerIsGivenUpAfterTheTimeout)
{
    worker.on[VNTMESSAGEID_LPOPT_REQ] = [](transport *, const void *) { return true; };
    open();
    VNTLPptr lp = problem();
    EXPECT_EQ(vntclient_settimeouts(env, 60, -1), 0);
    EXPECT_EQ(VNTLlpopt(env, lp), VNTERR_CONNECTION_LOST);
    EXPECT_TRUE(says("timed out"));
    EXPECT_EQ(vntclient_settimeouts(env, 60, -1), VNTERR_CONNECTION_LOST);
}

TEST_F(opened, MessagesOnTheWayReachTheirHandlersInOrder)
{
    auto info = [](transport *io, int32_t tag, const message_array &data) {
        return worker_double::give(io, vntmsg_INFO{nullptr, VNTMESSAGEID_INFO, 0, tag, data});
    };
    worker.on[VNTMESSAGEID_LPOPT_REQ] = [info](transport *io, const void *) {
        return worker_double::say(io, 3, "one\n") && info(io, 42, chunked<int>{{7, 8}}.a) &&
               worker_double::say(io, 0, "two\n") && info(io, 43, chunked<double>{{0.5}}.a) &&
               worker_double::say(io, 2, nullptr) && info(io, 44, chunked<char>{}.a) &&
               worker_double::plain(io, VNTMESSAGEID_LPOPT_REQ);
    };
    open();
    VNTLPptr lp = problem();
    static std::string heard;
    heard.clear();
    EXPECT_EQ(VNTLlpopt(env, lp), 0) << "nobody asked: all of it is dropped";
    VNTCHANNELptr log, results;
    EXPECT_EQ(VNTLgetchannels(env, &results, nullptr, nullptr, &log), 0);
    EXPECT_EQ(worker.count(VNTMESSAGEID_PROBINFO_REQ), 0u) << "switched on when first needed";
    std::string tologs;
    auto collect = [](void *data, const char *text) { *static_cast<std::string *>(data) += text; };
    EXPECT_EQ(VNTLaddfuncdest(env, log, &tologs, collect), 0);
    EXPECT_EQ(VNTLaddfuncdest(env, log, &tologs, collect), 0);
    EXPECT_EQ(VNTLaddfuncdest(env, reinterpret_cast<VNTCHANNELptr>(lp), &tologs, collect),
              VNTERR_BAD_ARGUMENT);
    vntclient_setchannelhandler(
        env,
        [](VNTENVptr e, int number, const char *text, void *data) {
            heard += std::to_string(number) + text;
            // The worker waits for this process, so nothing can be asked of it now.
            auto of = static_cast<VNTLPptr>(data);
            EXPECT_EQ(VNTLlpopt(e, of), VNTERR_SOLVING);
            EXPECT_EQ(VNTLcloseVANTO(&e), VNTERR_SOLVING);
        },
        lp);
    vntclient_setinfohandler(
        env,
        [](VNTENVptr, int tag, int type, int64_t count, const void *elements, void *) {
            heard += "<" + std::to_string(tag) + ":" + std::to_string(count) + ">";
            EXPECT_TRUE(type != VNTCLIENT_INT || static_cast<const int32_t *>(elements)[1] == 8);
            EXPECT_TRUE(type != VNTCLIENT_DOUBLE || *static_cast<const double *>(elements) == 0.5);
        },
        nullptr);
    EXPECT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(heard, "3one\n<42:2>0two\n<43:1>2<44:0>");
    EXPECT_EQ(tologs, "one\none\n");
    EXPECT_EQ(worker.count(VNTMESSAGEID_PROBINFO_REQ), 1u);
    vntclient_setchannelhandler(env, nullptr, nullptr);
    vntclient_setinfohandler(env, nullptr, nullptr);
}

TEST_F(opened, AUserFunctionGetsItsBytesAndGivesItsOwn)
{
    std::string input;
    int64_t maxout = -1;
    chunked<char> six{{'o', 'u', 't', 'p', 'u', 't'}};
    worker.on[VNTMESSAGEID_USERFUNCTION_REQ] = [&](transport *io, const void *message) {
        auto *request = static_cast<const vntmsg_USERFUNCTION_REQ *>(message);
        std::vector<char> given = elements<char>(request->input);
        input.assign(given.begin(), given.end());
        maxout = request->maxout;
        return worker_double::give(
            io,
            vntmsg_USERFUNCTION_RES{nullptr, VNTMESSAGEID_USERFUNCTION_RES, request->id, six.a});
    };
    open();
    char output[8] = "";
    int64_t length = 0;
    EXPECT_EQ(vntclient_userfunction(env, 0, "in", 2, output, 8, &length), 0);
    EXPECT_EQ(input, "in");
    EXPECT_EQ(maxout, 8);
    EXPECT_EQ(std::string(output, static_cast<size_t>(length)), "output");
    memset(output, 0, sizeof output);
    EXPECT_EQ(vntclient_userfunction(env, 0, nullptr, 0, output, 3, &length),
              VNTERR_SPACE_TOO_SMALL);
    EXPECT_STREQ(output, "out");
    EXPECT_EQ(length, 6);
    EXPECT_EQ(vntclient_userfunction(env, 55, nullptr, 0, nullptr, 0, nullptr), 55);
    EXPECT_EQ(vntclient_userfunction(env, 0, nullptr, 1, nullptr, 0, nullptr), VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(vntclient_userfunction(env, 0, "", 0, output, -1, nullptr), VNTERR_BAD_ARGUMENT);
}
