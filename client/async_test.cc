#include "client/connection.h"
#include "client/worker_double.h"
#include "test/bytes.h"

namespace {

// A worker that runs a call asynchronously for as many looks as a test wants.
struct asynchronous : opened {
    VNTLPptr lp = nullptr;
    std::atomic<int> looks{3}; // at which the call is still running
    std::atomic<bool> paused{false};
    double injected = 0;

    // Acknowledges a call whose asynchronous flag is set.
    static bool acknowledge(transport *io, const void *request)
    {
        uint32_t id = message_id(request);
        return (field_at<int32_t>(request, 12) & 1) != 0
                   ? worker_double::acknowledge(io, static_cast<int32_t>(id))
                   : worker_double::plain(io, id);
    }

    static bool progress(transport *io, const void *)
    {
        std::string raw = bytes("00 00 00 02 df dc 1c 35 " // nodes
                                "00 00 00 01 "             // phase
                                "bf f8 00 00 00 00 00 00 " // bound
                                "00 00 00 00 00 00 00 4d " // iterations
                                "bf f4 00 00 00 00 00 00 " // incumbent
                                "3f c0 00 00 00 00 00 00 " // gap
                                "00 00 00 03 "             // solutions
                                "00 00 00 00 00 00 00 02 " // values, and they
                                "40 25 00 00 00 00 00 00 40 27 00 00 00 00 00 00");
        chunked<char> block{{raw.begin(), raw.end()}};
        return worker_double::give(
            io,
            vntmsg_EASYNCMIPPROGRESS_RES{nullptr, VNTMESSAGEID_EASYNCMIPPROGRESS_RES, 0, block.a});
    }

    void SetUp() override
    {
        auto &on = worker.on;
        on[VNTMESSAGEID_MIPOPT_REQ] = on[VNTMESSAGEID_GETX_REQ] = acknowledge;
        on[VNTMESSAGEID_EASYNCMIPPROGRESS_REQ] = progress;
        on[VNTMESSAGEID_ASYNCTEST_REQ] = [this](transport *io, const void *) {
            int32_t state = paused ? 2 : looks > 0;
            if (!paused && looks > 0) looks--;
            return worker_double::give(
                io, vntmsg_ASYNCTEST_RES{nullptr, VNTMESSAGEID_ASYNCTEST_RES, 0, state});
        };
        look<vntmsg_ASYNCKILL_REQ>(VNTMESSAGEID_ASYNCKILL_REQ, [this](auto &) {
            looks = 1;
            paused = false;
        });
        look<vntmsg_EASYNCLIMITS_REQ>(VNTMESSAGEID_EASYNCLIMITS_REQ, [this](auto &request) {
            if (request.dettime == 1) paused = true;
        });
        on[VNTMESSAGEID_EASYNCCONTINUE_REQ] = [this](transport *io, const void *request) {
            auto *continued = static_cast<const vntmsg_EASYNCCONTINUE_REQ *>(request);
            // The next interval is over before the next look, while there are looks left.
            paused = continued->walltime < 1 && looks-- > 0;
            return worker_double::plain(io, VNTMESSAGEID_EASYNCCONTINUE_RES - 1);
        };
        on[VNTMESSAGEID_EASYNCTERMINATE_REQ] = [this](transport *io, const void *) {
            paused = false;
            looks = 0;
            return worker_double::plain(io, VNTMESSAGEID_EASYNCTERMINATE_RES - 1);
        };
        look<vntmsg_EASYNCMIPINJECT_REQ>(VNTMESSAGEID_EASYNCMIPINJECT_REQ,
                                         [this](auto &request) { injected = request.objval; });
        reply(VNTMESSAGEID_GETRES,
              vntmsg_MIPOPT_RES{nullptr, VNTMESSAGEID_MIPOPT_RES, VNTERR_ENGINE});
    }
    void open()
    {
        opened::open();
        lp = problem();
    }
    int start()
    {
        int rc = vntclient_start(env);
        return rc == 0 ? VNTLmipopt(env, lp) : rc;
    }
};

} // namespace

TEST_F(asynchronous, AStartedCallFillsItsOutputsWhenJoined)
{
    chunked<double> values{{1.5, 2.5}};
    reply(VNTMESSAGEID_GETRES, vntmsg_GETX_RES{nullptr, VNTMESSAGEID_GETX_RES, 0, values.a});
    open();
    double x[2] = {0, 0};
    EXPECT_EQ(vntclient_start(env), 0);
    EXPECT_EQ(VNTLgetx(env, lp, x, 0, 1), 0);
    EXPECT_EQ(worker.lastflags, 1);
    EXPECT_EQ(x[1], 0);
    EXPECT_EQ(vntclient_start(env), VNTERR_SOLVING);
    int state = -1;
    EXPECT_EQ(vntclient_test(env, &state), 0);
    EXPECT_EQ(state, VNTCLIENT_RUNNING);
    EXPECT_EQ(vntclient_join(env), 0);
    EXPECT_EQ(x[0], 1.5);
    EXPECT_EQ(x[1], 2.5);
    EXPECT_EQ(vntclient_join(env), VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(worker.lastflags, 0) << "the next call is an ordinary one";
}

TEST_F(asynchronous, ProgressPausesTheSolveForAMoment)
{
    open();
    double sol[4] = {};
    vntmipprogress p = {};
    p.sol = sol;
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(vntclient_progress(env, 4, &p), 0);
    EXPECT_EQ(p.nodes, 12345678901);
    EXPECT_EQ(p.phase, 1);
    EXPECT_EQ(p.bound, -1.5);
    EXPECT_EQ(p.iterations, 77);
    EXPECT_EQ(p.incumbent, -1.25);
    EXPECT_EQ(p.gap, 0.125);
    EXPECT_EQ(p.solutions, 3);
    EXPECT_EQ(p.solcount, 2);
    EXPECT_EQ(sol[1], 11.5);
    EXPECT_FALSE(paused);
    paused = true; // at a limit of the caller's: it stays so
    sol[1] = 0;
    EXPECT_EQ(vntclient_progress(env, 1, &p), 0) << "room for one value";
    EXPECT_EQ(sol[1], 0);
    EXPECT_TRUE(paused);
    EXPECT_EQ(vntclient_terminate(env), 0);
    EXPECT_EQ(vntclient_join(env), VNTERR_ENGINE) << "the status of the call itself";
}

TEST_F(asynchronous, TheTerminateCellOrCallbackEndsASynchronousSolve)
{
    open();
    volatile int cell = 0;
    looks = 1 << 30;
    EXPECT_EQ(VNTLEsetasyncterminate(env, &cell), 0);
    std::thread other([&] {
        while (looks > (1 << 30) - 3)
            usleep(1000);
        __atomic_store_n(&cell, 1, __ATOMIC_RELAXED);
    });
    EXPECT_EQ(VNTLmipopt(env, lp), VNTERR_ENGINE);
    other.join();
    EXPECT_EQ(worker.count(VNTMESSAGEID_ASYNCKILL_REQ), 1u);
    EXPECT_EQ(VNTLEsetasyncterminate(env, nullptr), 0);

    looks = 1 << 30;
    auto second = [](VNTENVptr e, void *data) {
        EXPECT_EQ(VNTLcloseVANTO(&e), VNTERR_SOLVING);
        return int(++*static_cast<int *>(data) == 2);
    };
    int asked = 0;
    EXPECT_EQ(VNTEsetterminatefunc(env, second, &asked), 0);
    EXPECT_EQ(VNTLmipopt(env, lp), VNTERR_ENGINE);
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(worker.count(VNTMESSAGEID_ASYNCKILL_REQ), 2u);
}

TEST_F(asynchronous, ThePauseCallbackSeesAndSteersTheSolve)
{
    open();
    looks = 100;
    auto third = [](VNTENVptr e, void *cbdata, uint64_t, void *calls) {
        vntmipprogress p = {};
        EXPECT_EQ(VNTEgetasyncmipprogress(e, cbdata, 0, &p, 1e75), 0);
        EXPECT_EQ(p.iterations, 77);
        EXPECT_EQ(VNTEasyncprogressinject(e, cbdata, 4, -1, 1e75), 0);
        return ++*static_cast<int *>(calls) == 3 ? 13 : 0;
    };
    int calls = 0;
    EXPECT_EQ(VNTEsetpausecallbackfunc(env, third, &calls), 0);
    EXPECT_EQ(VNTLmipopt(env, lp), VNTERR_ENGINE);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(injected, -4);
    EXPECT_EQ(worker.count(VNTMESSAGEID_EASYNCTERMINATE_REQ), 1u);
    vntmipprogress p = {};
    EXPECT_EQ(VNTEgetasyncmipprogress(env, nullptr, 0, &p, 0), VNTERR_NO_SOLUTION);
}

TEST_F(asynchronous, ClosingEndsACallThatNobodyJoined)
{
    open();
    looks = 1 << 30;
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    worker.end();
    EXPECT_EQ(worker.count(VNTMESSAGEID_ASYNCKILL_REQ), 1u);
    EXPECT_EQ(worker.count(VNTMESSAGEID_CLOSEVANTO_REQ), 1u);
}
