#include "client/connection.h"
#include "test/doubles/answering_double.h"
#include "test/has.h"

#include <atomic>
#include <gtest/gtest.h>
#include <string>

namespace vnt {

TEST_F(opened, AFailedOpenSaysWhy)
{
    auto refused = [](const std::string &address, const std::string &reason) {
        int status = 0;
        EXPECT_EQ(open_at(address, &status), nullptr);
        EXPECT_TRUE(has(vntclient_errortext(), reason));
        return status;
    };
    EXPECT_EQ(refused("-address=127.0.0.1:1", "127.0.0.1:1: Connection refused"), VNTERR_REMOTE);
    EXPECT_EQ(refused("-adress=here", "arguments are wrong"), VNTERR_BAD_ARGUMENT);
    scripted_server full({[](int fd) { send(fd, "\0\1", 2, MSG_NOSIGNAL); }});
    EXPECT_EQ(refused(full.address(), "cannot make a worker"), VNTERR_REMOTE);
    vntclient_connecttimeout(60);
    scripted_server silent({[](int fd) {
        char byte;
        while (recv(fd, &byte, 1, 0) > 0) {
        }
    }});
    EXPECT_EQ(refused(silent.address(), "does not answer"), VNTERR_REMOTE);
    vntclient_connecttimeout(10'000);
    scripted_server mute({[](int) {}});
    EXPECT_EQ(refused(mute.address(), ""), VNTERR_FILE_IO);

    // A solver that does not open: its worker is ended.
    reply(VNTMESSAGEID_OPENVANTO_REQ, RECORD(OPENVANTO_RES, 32201, {}));
    EXPECT_EQ(refused(worker.address(), ""), 32201);
    worker.end();
    EXPECT_EQ(worker.seen().back(), VNTMESSAGEID_TERMINATE);
}

TEST_F(opened, ARefusalGivesItsStatusAndTheNextCallGoesOn)
{
    worker.on[VNTMESSAGEID_PRIMOPT_REQ] = [](transport *io, const void *) {
        return worker_double::give(io, RECORD(NAK, VNTMESSAGEID_PRIMOPT_REQ, 0, -1)) &&
               worker_double::give(io, RECORD(UNKNOWN, VNTMESSAGEID_PRIMOPT_REQ));
    };
    open();
    VNTLPptr lp = problem();
    EXPECT_EQ(VNTLprimopt(env, lp), VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(VNTLdualopt(env, lp), 0) << "the unknown message behind the refusal is passed over";
    worker.on[VNTMESSAGEID_BAROPT_REQ] = worker_double::refuses(VNTMESSAGEID_BAROPT_REQ, 0);
    EXPECT_EQ(VNTLbaropt(env, lp), VNTERR_BAD_ARGUMENT) << "a refusal is no success";
}

TEST_F(opened, ObjectsOfOthersNeverReachTheWorker)
{
    open();
    worker_double second;
    int status = 0;
    VNTENVptr other = open_at(second.address(), &status), closed = other;
    VNTLPptr lp = problem(), foreign = VNTLcreateprob(other, &status, "q"), freed = problem();
    VNTLPptr stale = freed;
    EXPECT_EQ(VNTLfreeprob(env, &freed), 0);
    EXPECT_EQ(freed, nullptr);
    size_t before = worker.seen().size();
    for (VNTLPptr wrong : {foreign, stale, reinterpret_cast<VNTLPptr>(&lp)}) {
        EXPECT_EQ(VNTLlpopt(env, wrong), VNTERR_NO_PROBLEM);
        EXPECT_EQ(VNTLgetnumrows(env, wrong), 0);
        EXPECT_EQ(VNTLgetprobtype(env, wrong), -1);
        EXPECT_EQ(VNTLcloneprob(env, wrong, &status), nullptr);
        EXPECT_EQ(status, VNTERR_NO_PROBLEM);
    }
    EXPECT_EQ(VNTLcloseVANTO(&other), 0);
    for (VNTENVptr wrong : {VNTENVptr(nullptr), reinterpret_cast<VNTENVptr>(lp), closed}) {
        EXPECT_EQ(VNTLlpopt(wrong, lp), VNTERR_NO_ENVIRONMENT);
        EXPECT_EQ(vntclient_kill(wrong), VNTERR_NO_ENVIRONMENT);
    }
    EXPECT_EQ(worker.seen().size(), before);
    EXPECT_EQ(VNTLlpopt(env, lp), 0);
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

INSTANTIATE_TEST_SUITE_P(Connection, broken,
                         testing::Values(bytes("", false),                    // goes away
                                         bytes({0, 0, 4}, false),             // in an id
                                         bytes({0, 0, 4, 0x7b, 0, 0}, false), // in a field
                                         bytes({0, 0, 0x70, 0}, true),        // no such id
                                         worker_double::plainly(VNTMESSAGEID_LPOPT_REQ)));

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
    EXPECT_TRUE(has(vntclient_errortext(), "timed out"));
}

TEST_F(opened, MessagesOnTheWayReachTheirHandlersInOrder)
{
    worker.on[VNTMESSAGEID_LPOPT_REQ] = [](transport *io, const void *) {
        chunked<int> numbers{{7, 8}};
        return worker_double::say(io, 3, "one\n") &&
               worker_double::give(io, RECORD(INFO, 0, 42, numbers.a)) &&
               worker_double::say(io, 0, "two\n") && worker_double::say(io, 2, nullptr) &&
               worker_double::plain(io, VNTMESSAGEID_LPOPT_REQ);
    };
    open();
    VNTLPptr lp = problem();
    static std::string heard;
    heard.clear();
    EXPECT_EQ(VNTLlpopt(env, lp), 0) << "without receivers all of it is dropped";
    VNTCHANNELptr log, results;
    EXPECT_EQ(VNTLgetchannels(env, &results, nullptr, nullptr, &log), 0);
    EXPECT_EQ(worker.count(VNTMESSAGEID_PROBINFO_REQ), 0u) << "switched on when first needed";
    std::string logged;
    auto collect = [](void *data, const char *text) { *static_cast<std::string *>(data) += text; };
    EXPECT_EQ(VNTLaddfuncdest(env, log, &logged, collect), 0);
    vntclient_setchannelhandler(
        env,
        [](VNTENVptr e, int number, const char *text, void *data) {
            heard += std::to_string(number) + text;
            // The worker waits for this process, so nothing can be asked of it now.
            EXPECT_EQ(VNTLlpopt(e, static_cast<VNTLPptr>(data)), VNTERR_SOLVING);
            EXPECT_EQ(VNTLcloseVANTO(&e), VNTERR_SOLVING);
        },
        lp);
    vntclient_setinfohandler(
        env,
        [](VNTENVptr, int tag, int type, int64_t count, const void *elements, void *) {
            ASSERT_EQ(type, VNTCLIENT_INT);
            ASSERT_EQ(count, 2);
            int second = static_cast<const int32_t *>(elements)[1];
            heard += "<" + std::to_string(tag) + ":" + std::to_string(second) + ">";
        },
        nullptr);
    EXPECT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(heard, "3one\n<42:8>0two\n2");
    EXPECT_EQ(logged, "one\n");
    EXPECT_EQ(worker.count(VNTMESSAGEID_PROBINFO_REQ), 1u);
}

TEST_F(opened, AnArrayWhoseTotalIsWrongIsNotTaken)
{
    chunked<double> less{{1, 2}, {3, 4}};
    less.a.total = 1;
    chunked<char> more{{'a'}, {'b'}};
    more.a.total = 1000;
    worker.on[VNTMESSAGEID_USERFUNCTION_REQ] = [&](transport *io, const void *) {
        return worker_double::give(io, RECORD(INFO, 0, 42, less.a)) &&
               worker_double::give(io, RECORD(USERFUNCTION_RES, 0, more.a));
    };
    open();
    int infos = 0;
    vntclient_setinfohandler(
        env,
        [](VNTENVptr, int, int, int64_t, const void *, void *data) { ++*static_cast<int *>(data); },
        &infos);
    char output[2000];
    int rc = vntclient_userfunction(env, 1, nullptr, 0, output, sizeof output, nullptr);
    EXPECT_TRUE(rc == VNTERR_REMOTE || rc == VNTERR_CONNECTION_LOST) << rc;
    EXPECT_EQ(infos, 0);
}

TEST(Connection, ItsEndSaysWhatHasBecomeOfTheWorker)
{
    auto answers = [](uint16_t status) {
        return [=](int fd) {
            char action[12];
            recv(fd, action, sizeof action, MSG_WAITALL);
            handshake_answer answer;
            send(fd, answer, handshake_answer_put(answer, status, 7), MSG_NOSIGNAL);
        };
    };
    struct {
        uint16_t status;
        const char *says;
    } cases[] = {{HANDSHAKE_NOTFOUND, "the worker has ended"},
                 {HANDSHAKE_OK, "the network failed"}};
    for (auto [answer, text] : cases) {
        worker_double worker;
        worker.on[VNTMESSAGEID_LPOPT_REQ] = [](transport *, const void *) { return false; };
        worker.then = {answers(answer)};
        int status = -1;
        VNTENVptr env = opened::open_at(worker.address(), &status);
        VNTLPptr lp = VNTLcreateprob(env, &status, "p");
        EXPECT_EQ(VNTLlpopt(env, lp), VNTERR_CONNECTION_LOST);
        EXPECT_TRUE(has(vntclient_errortext(), text));
        VNTLcloseVANTO(&env);
    }
}

TEST_F(opened, AJoinLooksAtTheSolveOnlyIfSomethingButItsEndMayHappen)
{
    int looks = 0;
    serve_solves([&looks] { return looks++, VNTCLIENT_ENDED; });
    open();
    VNTLPptr lp = problem();
    volatile int flag = 0;
    const std::function<int()> watches[] = {
        [] { return 0; },
        [&] { return vntclient_setlimits(env, 0, 500); },
        [&] { return vntclient_setlimits(env, 0, VNTCLIENT_NONE); },
        [&] { return vntclient_settimeouts(env, 10'000, -1); },
        [&] { return vntclient_settimeouts(env, -1, -1); },
        [&] { return VNTLEsetasyncterminate(env, &flag); },
    };
    std::vector<int> seen;
    for (const auto &watch : watches) {
        looks = 0;
        ASSERT_EQ(watch(), 0);
        ASSERT_EQ(vntclient_start(env), 0);
        ASSERT_EQ(VNTLmipopt(env, lp), 0);
        EXPECT_EQ(vntclient_join(env), 0) << vntclient_errortext();
        seen.push_back(looks);
    }
    EXPECT_EQ(seen, (std::vector<int>{0, 1, 0, 1, 0, 1}));
}

TEST_F(opened, AJoinLetsASolveGoOnThatPausedBeforeItsLimitWasLifted)
{
    std::atomic<int> state{VNTCLIENT_PAUSED};
    serve_solves([&state] { return state.load(); });
    worker.on[VNTMESSAGEID_EASYNCCONTINUE_REQ] = [&](transport *io, const void *) {
        state = VNTCLIENT_ENDED;
        return worker_double::give(
            io, vntmsg_EASYNCCONTINUE_RES{nullptr, VNTMESSAGEID_EASYNCCONTINUE_RES, 0});
    };
    open();
    VNTLPptr lp = problem();
    EXPECT_EQ(vntclient_setlimits(env, 0, 500), 0);
    ASSERT_EQ(vntclient_start(env), 0);
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(vntclient_setlimits(env, 0, VNTCLIENT_NONE), 0);
    EXPECT_EQ(vntclient_join(env), 0);
    EXPECT_EQ(state, VNTCLIENT_ENDED) << "to ask for the result of a paused solve ends it";
}

TEST_F(opened, ALookAtASolveLeavesItsTimeLimitArmed)
{
    std::vector<double> limits, continued; // of the worker's thread
    std::atomic<int> state{VNTCLIENT_RUNNING};
    serve_solves([&state] { return state.load(); });
    worker.on[VNTMESSAGEID_EASYNCLIMITS_REQ] = [&](transport *io, const void *message) {
        limits.push_back(static_cast<const vntmsg_EASYNCLIMITS_REQ *>(message)->walltime);
        return worker_double::plain(io, VNTMESSAGEID_EASYNCLIMITS_REQ);
    };
    worker.on[VNTMESSAGEID_EASYNCCONTINUE_REQ] = [&](transport *io, const void *message) {
        continued.push_back(static_cast<const vntmsg_EASYNCCONTINUE_REQ *>(message)->walltime);
        return worker_double::give(io, RECORD(EASYNCCONTINUE_RES, 0));
    };
    reply(VNTMESSAGEID_EASYNCMIPPROGRESS_REQ, RECORD(EASYNCMIPPROGRESS_RES, 0, {}));
    open();
    VNTLPptr lp = problem();
    EXPECT_EQ(vntclient_setlimits(env, 0, 500), 0);
    ASSERT_EQ(vntclient_start(env), 0);
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    vntmipprogress progress = {};
    vntclient_progress(env, 0, &progress); // the solve does not pause within a second
    EXPECT_EQ(limits, (std::vector<double>{500, 500}));
    ASSERT_EQ(continued.size(), 1u);
    EXPECT_GT(continued[0], 0);
    EXPECT_LT(continued[0], 500);
    EXPECT_EQ(vntclient_setlimits(env, 0, 300), 0);
    ASSERT_EQ(continued.size(), 2u) << "a new limit counts at once";
    EXPECT_LT(continued[1], 300);
    state = VNTCLIENT_ENDED;
    EXPECT_EQ(vntclient_join(env), 0);
}

} // namespace vnt
