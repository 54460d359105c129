#include "client/connection.h"
#include "client/worker_double.h"

#include <gtest/gtest.h>
#include <string>

namespace {

VNTENVptr open_at(const std::string &address, int *status)
{
    const char *argv[] = {address.c_str()};
    return vntclient_open(1, argv, status);
}

// An environment in a worker double.  A test sets `worker.on` and then opens.
struct opened : testing::Test {
    worker_double worker;
    VNTENVptr env = nullptr;

    void open()
    {
        int status = -1;
        env = open_at(worker.address(), &status);
        ASSERT_EQ(status, 0) << vntclient_errortext();
        ASSERT_NE(env, nullptr);
    }
    VNTLPptr problem()
    {
        int status = -1;
        VNTLPptr lp = VNTLcreateprob(env, &status, "p");
        EXPECT_EQ(status, 0);
        return lp;
    }
    void TearDown() override
    {
        if (env != nullptr) VNTLcloseVANTO(&env);
    }
};

bool says(const std::string &word)
{
    return std::string(vntclient_errortext()).find(word) != std::string::npos;
}

bool channel(transport *io, int32_t number, const char *text)
{
    vntmsg_CHANNEL m = {nullptr, VNTMESSAGEID_CHANNEL, number, {}};
    if (text != nullptr)
        m.message = {1, static_cast<uint32_t>(strlen(text) + 1), const_cast<char *>(text), 0};
    return io->ops.sendmsg(io, &m) == 0;
}

bool info(transport *io, int32_t tag, uint32_t type, int64_t count, const void *data)
{
    vntmsg_INFO m = {nullptr, VNTMESSAGEID_INFO, 0, tag, {}};
    EXPECT_EQ(message_set_anyarray(&m.data, count, type, data, nullptr), 0);
    bool sent = io->ops.sendmsg(io, &m) == 0;
    message_unset_array(&m.data);
    return sent;
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

TEST(Open, SaysWhyThereIsNoEnvironment)
{
    int status = 0;
    int port;
    {
        scripted_server gone({});
        port = gone.port;
    }
    EXPECT_EQ(open_at("-address=127.0.0.1:" + std::to_string(port), &status), nullptr);
    EXPECT_EQ(status, VNTERR_REMOTE);
    EXPECT_TRUE(says("127.0.0.1:" + std::to_string(port)) && says("refused"));

    EXPECT_EQ(open_at("-adress=here", &status), nullptr);
    EXPECT_EQ(status, VNTERR_BAD_ARGUMENT);

    scripted_server full({[](int fd) { send(fd, "\0\1", 2, MSG_NOSIGNAL); }});
    EXPECT_EQ(open_at(full.address(), &status), nullptr);
    EXPECT_EQ(status, VNTERR_REMOTE);
    EXPECT_TRUE(says("cannot make a worker"));

    scripted_server other({[](int) {}});
    EXPECT_EQ(open_at(other.address(), &status), nullptr);
    EXPECT_EQ(status, VNTERR_FILE_IO);
    setenv("TESK_VANTO_TCPIP_PORT", "1", 1);
    EXPECT_EQ(VNTLopenVANTO(&status), nullptr);
    EXPECT_EQ(status, VNTERR_REMOTE);
    EXPECT_TRUE(says("127.0.0.1:1:"));
    unsetenv("TESK_VANTO_TCPIP_PORT");
}

TEST_F(opened, ASolverThatDoesNotOpenIsReportedAndItsWorkerEnded)
{
    worker.on[VNTMESSAGEID_OPENVANTO_REQ] = [](transport *io, const void *) {
        vntmsg_OPENVANTO_RES response = {nullptr, VNTMESSAGEID_OPENVANTO_RES, 32201, {}};
        return io->ops.sendmsg(io, &response) == 0;
    };
    int status = 0;
    EXPECT_EQ(open_at(worker.address(), &status), nullptr);
    EXPECT_EQ(status, 32201);
    worker.end();
    EXPECT_EQ(worker.seen().back(), VNTMESSAGEID_TERMINATE);
}

TEST_F(opened, ARefusalGivesItsStatusAndTheNextCallGoesOn)
{
    worker.on[VNTMESSAGEID_LPOPT_REQ] = [](transport *io, const void *) {
        return worker_double::status(io, VNTMESSAGEID_LPOPT_REQ, VNTERR_UNKNOWN_CALL);
    };
    worker.on[VNTMESSAGEID_PRIMOPT_REQ] = [](transport *io, const void *) {
        vntmsg_UNKNOWN unknown = {nullptr, VNTMESSAGEID_UNKNOWN, VNTMESSAGEID_PRIMOPT_REQ};
        return worker_double::status(io, VNTMESSAGEID_PRIMOPT_REQ, -1) &&
               io->ops.sendmsg(io, &unknown) == 0;
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
    size_t before = worker.seen().size();
    for (VNTLPptr wrong :
         {foreign, stale, reinterpret_cast<VNTLPptr>(env), reinterpret_cast<VNTLPptr>(&lp)}) {
        EXPECT_EQ(VNTLlpopt(env, wrong), VNTERR_NO_PROBLEM);
        EXPECT_EQ(VNTLgetnumrows(env, wrong), 0);
    }
    for (VNTENVptr wrong : {VNTENVptr(nullptr), reinterpret_cast<VNTENVptr>(lp),
                            reinterpret_cast<VNTENVptr>(&other)}) {
        EXPECT_EQ(VNTLlpopt(wrong, lp), VNTERR_NO_ENVIRONMENT);
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
    for (int i = 0; i < 3; i++)
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

static bool rawbytes(transport *io, std::string what)
{
    return write(io->outfd, what.data(), what.size()) == ssize_t(what.size());
}

INSTANTIATE_TEST_SUITE_P(
    Connection, broken,
    testing::Values([](transport *, const void *) { return false; }, // goes away
                    [](transport *io, const void *) {
                        return rawbytes(io, {0, 0, 4}), false;
                    },                                // in an id
                    [](transport *io, const void *) { // in a field
                        return rawbytes(io, {0, 0, 4, 0x7b, 0, 0, 0, 0, 0, 0}), false;
                    },
                    [](transport *io, const void *) {
                        return rawbytes(io, {0, 0, 0x70, 0});
                    },                                // no such id
                    [](transport *io, const void *) { // another's
                        return worker_double::plain(io, VNTMESSAGEID_LPOPT_REQ);
                    },
                    [](transport *io, const void *) { // resets
                        linger reset = {1, 0};
                        setsockopt(io->outfd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
                        return false;
                    }));

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
    static const int32_t numbers[] = {7, 8};
    static const double real = 0.5;
    worker.on[VNTMESSAGEID_LPOPT_REQ] = [](transport *io, const void *) {
        return channel(io, 3, "one\n") && info(io, 42, TYPE_INT, 2, numbers) &&
               channel(io, 0, "two\n") && info(io, 43, TYPE_DOUBLE, 1, &real) &&
               channel(io, 2, nullptr) && info(io, 44, TYPE_BYTE, 0, nullptr) &&
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
    worker.on[VNTMESSAGEID_USERFUNCTION_REQ] = [&](transport *io, const void *message) {
        auto *request = static_cast<const vntmsg_USERFUNCTION_REQ *>(message);
        if (request->input.nchunks > 0)
            input.assign(static_cast<char *>(request->input.chunks->data),
                         request->input.chunks->count);
        maxout = request->maxout;
        vntmsg_USERFUNCTION_RES response = {};
        response.messageid = VNTMESSAGEID_USERFUNCTION_RES;
        response.status = request->id;
        message_set_bytearray(&response.output, 6, "output");
        bool sent = io->ops.sendmsg(io, &response) == 0;
        message_unset_array(&response.output);
        return sent;
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
