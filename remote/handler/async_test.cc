#include "test/doubles/worker_double.h"

#include "remote/handler/async.h"
#include "test/process.h"

#include <climits>
#include <gtest/gtest.h>

namespace vnt {

// Every control session runs in both modes: a listener's thread, and polls from the solver.
class Async : public testing::TestWithParam<bool> {
  protected:
    Async() : w(GetParam()) { w.ask("OPENVANTO_REQ 0"); }

    enum { ENDED, RUNNING, PAUSED };
    bool comes_to(int state)
    {
        return w.wait("ASYNCTEST_REQ 0", "ASYNCTEST_RES 0 " + std::to_string(state));
    }
    // A solve that is held in its pause callback, at the progress limit.
    void start_paused(int limit)
    {
        w.ask("EASYNCLIMITS_REQ 0 env " + std::to_string(limit) + " 1e75");
        EXPECT_EQ(w.start(INT_MAX), "ACK MIPOPT_REQ 1 0");
        EXPECT_TRUE(comes_to(PAUSED));
    }
    void expect_result(int status)
    {
        EXPECT_TRUE(comes_to(ENDED));
        EXPECT_EQ(w.fetch(), "MIPOPT_RES " + std::to_string(status));
        EXPECT_EQ(async_isasync(), 0);
        EXPECT_EQ(solver.terminate_func, nullptr);
        EXPECT_EQ(solver.pause_func, nullptr);
    }
    worker_double w;
};

INSTANTIATE_TEST_SUITE_P(Mode, Async, testing::Bool(),
                         [](const auto &mode) { return mode.param ? "Polling" : "Listener"; });

TEST_P(Async, ServesRequestsWhileItRunsAndAnswersWhenAsked)
{
    EXPECT_EQ(w.start(INT_MAX), "ACK MIPOPT_REQ 1 0");
    EXPECT_EQ(w.ask("ASYNCTEST_REQ 0"), "ASYNCTEST_RES 0 1");
    EXPECT_EQ(w.ask("GETNUMROWS_REQ 0 env lp"), "GETNUMROWS_RES 10");
    EXPECT_EQ(w.ask("MIPOPT_REQ 1 env lp"), "NAK MIPOPT_REQ 1 -1");
    EXPECT_EQ(w.hear(), "UNKNOWN MIPOPT_REQ");
    w.say("TERMINATE"); // not meant for a worker that works
    EXPECT_EQ(w.ask("ASYNCTEST_REQ 0"), "ASYNCTEST_RES 0 1");
    w.say("GETRES 0 0"); // the result may be asked for before it is there
    EXPECT_TRUE(w.silent());
    solver.steps = 1;
    EXPECT_EQ(w.hear(), "MIPOPT_RES 0");

    w.start(20);
    EXPECT_TRUE(comes_to(ENDED));
    EXPECT_TRUE(w.silent());
    expect_result(0);
    EXPECT_EQ(w.h->info.pending, 0);
}

TEST_P(Async, EndsWhenKilledAndTheNextSolveIsNotKilledToo)
{
    for (int round = 0; round < 3; round++) {
        w.start(INT_MAX);
        EXPECT_EQ(w.ask("ASYNCKILL_REQ 0"), "ASYNCKILL_RES 0");
        EXPECT_TRUE(comes_to(ENDED));
        EXPECT_EQ(w.ask("ASYNCKILL_REQ 0"), "ASYNCKILL_RES 0"); // late
        expect_result(13);
        w.start(5);
        expect_result(0);
    }
    EXPECT_EQ(w.ask("ASYNCKILL_REQ 0"), "ASYNCKILL_RES 0"); // nothing runs at all
    w.start(5);
    expect_result(0);
}

TEST_P(Async, AKillWhileNothingRunsDoomsNoSynchronousSolve)
{
    const auto solve = [&] {
        solver.steps = 5;
        return w.ask("MIPOPT_REQ 0 env lp");
    };
    w.ask("ASYNCKILL_REQ 0");
    EXPECT_EQ(solve(), "MIPOPT_RES 0");
    w.start(5);
    EXPECT_TRUE(comes_to(ENDED));
    w.ask("ASYNCKILL_REQ 0"); // late
    EXPECT_EQ(solve(), "MIPOPT_RES 0");
    w.ask("ASYNCKILL_REQ 0");
    expect_result(0);
    EXPECT_EQ(solve(), "MIPOPT_RES 0");
}

// A synchronous solve would wait for a CONTINUE that its own thread has to receive, and a poll from
// inside it would free its request.
TEST_P(Async, ServesASolveWithoutPausingOrPollingInsideIt)
{
    w.ask("EASYNCLIMITS_REQ 0 env 3 1e75");
    w.start(2);
    EXPECT_TRUE(comes_to(ENDED));
    solver.steps = 5; // beyond the limit
    EXPECT_EQ(w.ask("MIPOPT_REQ 0 env lp"), "MIPOPT_RES 0");
    expect_result(0);

    w.ask("EASYNCLIMITS_REQ 0 env 0 0");
    EXPECT_EQ(w.start(INT_MAX), "ACK MIPOPT_REQ 1 0");
    EXPECT_TRUE(comes_to(PAUSED));
    solver.steps = 5;
    solver.helped = true;
    w.say("MIPOPT_REQ 0 env lp");
    EXPECT_EQ(w.ask("EASYNCCONTINUE_REQ 0 env 0 1e75"), "MIPOPT_RES 0");
    EXPECT_EQ(w.hear(), "EASYNCCONTINUE_RES 0");
    expect_result(0);
}

TEST_P(Async, PausesAtTheProgressLimitAndContinuesToTheNext)
{
    start_paused(3);
    EXPECT_EQ(solver.progress, 3u);         // a limit that equals the progress pauses
    w.ask("EASYNCLIMITS_REQ 0 env 8 1e75"); // does not wake it
    EXPECT_EQ(w.ask("ASYNCTEST_REQ 0"), "ASYNCTEST_RES 0 2");
    EXPECT_EQ(w.ask("EASYNCCONTINUE_REQ 0 env 6 1e75"), "EASYNCCONTINUE_RES 0");
    EXPECT_TRUE(comes_to(PAUSED));
    EXPECT_EQ(solver.progress, 6u);
    w.ask("EASYNCCONTINUE_REQ 0 env 0 1e75"); // no limit
    solver.steps = 2;
    expect_result(0);
}

TEST_P(Async, TerminatesOrIsKilledInAPause)
{
    start_paused(2);
    EXPECT_EQ(w.ask("EASYNCTERMINATE_REQ 0 env"), "EASYNCTERMINATE_RES 0");
    expect_result(13);
    start_paused(5);
    w.ask("ASYNCKILL_REQ 0");
    w.ask("EASYNCCONTINUE_REQ 0 env 0 1e75"); // comes too late
    expect_result(13);
    EXPECT_EQ(w.ask("EASYNCTERMINATE_REQ 0 env"), "EASYNCTERMINATE_RES 0"); // nothing runs
    EXPECT_EQ(w.ask("EASYNCCONTINUE_REQ 0 env 0 1e75"), "EASYNCCONTINUE_RES 0");
    EXPECT_EQ(w.ask("ASYNCTEST_REQ 0"), "ASYNCTEST_RES 0 0");
}

// No CONTINUE can arrive any more.
TEST_P(Async, EndsInsteadOfPausingOnceItsResultIsWanted)
{
    start_paused(1);
    EXPECT_EQ(w.fetch(), "MIPOPT_RES 13");
    w.ask("EASYNCLIMITS_REQ 0 env 2000 1e75");
    w.start(INT_MAX);
    EXPECT_EQ(w.fetch(), "MIPOPT_RES 13");
}

// The thread sanitizer cannot bear the C library's timer threads: nothing may expire under it.
#ifdef __SANITIZE_THREAD__
static constexpr const char *SHORT = "0";
#else
static constexpr const char *SHORT = "0.02";
#endif

TEST_P(Async, PausesWhenTheTimeIsUp)
{
    for (const char *seconds : {SHORT, "0"}) {
        w.ask(std::string("EASYNCLIMITS_REQ 0 env 0 ") + seconds);
        w.start(INT_MAX);
        EXPECT_TRUE(comes_to(PAUSED));
        w.ask(std::string("EASYNCCONTINUE_REQ 0 env 0 ") + SHORT);
        EXPECT_TRUE(comes_to(PAUSED));
        w.ask("EASYNCCONTINUE_REQ 0 env 0 nan"); // no limit; the flag must be down again
        const uint64_t reached = solver.progress;
        while (solver.progress < reached + 3)
            EXPECT_EQ(w.ask("ASYNCTEST_REQ 0"), "ASYNCTEST_RES 0 1");
        w.ask("ASYNCKILL_REQ 0");
        expect_result(13);
    }
    w.start(3); // the limit of before does not reach into this one
    expect_result(0);
}

TEST_P(Async, TellsTheProgressOfAMaximisationAndInjects)
{
    solver.maximise = true;
    start_paused(2);
    EXPECT_EQ(solver.reference, -1e75);
    EXPECT_EQ(w.ask("EASYNCMIPPROGRESS_REQ 0 env"),
              "EASYNCMIPPROGRESS_RES 0 0x"
              "0000000000000005" // nodes
              "00000001"         // phase
              "c000000000000000" // bound -2
              "0000000000000002" // iterations
              "401e000000000000" // incumbent 7.5
              "3fe0000000000000" // gap
              "00000003"         // solutions
              "0000000000000002" // two values: 0.25, 1.25
              "3fd00000000000003ff4000000000000");
    EXPECT_EQ(w.ask("EASYNCMIPPROGRESS_REQ 0 bad"), "EASYNCMIPPROGRESS_RES -1 -");
    w.ask("EASYNCCONTINUE_REQ 0 env 4 1e75");
    EXPECT_TRUE(comes_to(PAUSED));
    EXPECT_EQ(solver.reference, 7.5); // the incumbent of before
    EXPECT_EQ(solver.injected, 0);    // there was nothing to inject
    EXPECT_EQ(w.ask("EASYNCMIPINJECT_REQ 0 env 6"), "EASYNCMIPINJECT_RES 0");
    solver.inject_status = 1; // a refusal leaves the value for the next time
    w.ask("EASYNCCONTINUE_REQ 0 env 6 1e75");
    EXPECT_TRUE(comes_to(PAUSED));
    EXPECT_EQ(solver.injected, -61); // 6 x sense, ten times, and the sense
    EXPECT_EQ(w.h->progress.injected, 6);
    solver.inject_status = 0;
    w.ask("EASYNCCONTINUE_REQ 0 env 8 1e75");
    EXPECT_TRUE(comes_to(PAUSED));
    EXPECT_EQ(w.h->progress.injected, -1e75);
    w.ask("EASYNCTERMINATE_REQ 0 env");
    expect_result(13);
    EXPECT_EQ(w.ask("EASYNCMIPPROGRESS_REQ 0 env").substr(122), "ffffffffffffffff"); // no solution
}

TEST_P(Async, KeepsInfoUntilTheNextAnswer)
{
    const int32_t value = 8;
    start_paused(1);
    std::thread([&] { VNTsendinfoint(double_env, 1, 1, &value); }).join();
    EXPECT_TRUE(w.silent());
    EXPECT_EQ(w.ask("ASYNCTEST_REQ 0"), "INFO 0 1 [8]");
    EXPECT_EQ(w.hear(), "ASYNCTEST_RES 0 2");
    w.ask("EASYNCTERMINATE_REQ 0 env");
    EXPECT_TRUE(comes_to(ENDED));
    VNTsendinfoint(double_env, 2, 1, &value);
    EXPECT_EQ(w.fetch(), "INFO 0 2 [8]");
    EXPECT_EQ(w.hear(), "MIPOPT_RES 13");
}

TEST_P(Async, SurvivesADisconnect)
{
    w.start(INT_MAX);
    EXPECT_EQ(w.ask("DISCONNECT_REQ"), "DISCONNECT_RES");
    w.parked();
    const int32_t value = 8;
    VNTsendinfoint(double_env, 1, 1, &value);
    const uint64_t before = solver.progress;
    EXPECT_TRUE(eventually([&] { return solver.progress > before + 10; })) << "it goes on";
    w.release(4711);
    EXPECT_EQ(w.ask("RECONNECT_REQ"), "INFO 0 1 [8]");
    EXPECT_EQ(w.hear(), "RECONNECT_RES");
    EXPECT_EQ(w.ask("ASYNCTEST_REQ 0"), "ASYNCTEST_RES 0 1");
    w.ask("ASYNCKILL_REQ 0");
    expect_result(13);
}

TEST_P(Async, RunsAThousandTimes)
{
    for (int i = 0; i < 1000; i++) {
        ASSERT_EQ(w.start(i % 3), "ACK MIPOPT_REQ 1 0");
        if (i % 2 == 0) w.ask("ASYNCKILL_REQ 0");
        w.say("GETRES 0 0");
        ASSERT_EQ(w.hear().substr(0, 10), "MIPOPT_RES");
        ASSERT_EQ(w.ask("GETNUMROWS_REQ 0 env lp"), "GETNUMROWS_RES 10");
    }
}

// Misuse ends the worker with a line that says what went wrong.
TEST(AsyncDeath, NamesEachMisuse)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    transport t = {};
    EXPECT_DEATH(async_block(&t), "async_block\\(\\) called while no operation was running!");
    EXPECT_DEATH(async_poll(&t), "async_poll\\(\\) called in wrong mode \\[0\\]!");
    t.ops.mustpoll = [](transport *) { return 1; };
    t.ops.startasync = [](transport *, transport_callback, void *) { return 0; };
    async_start(&t);
    EXPECT_DEATH(async_start(&t), "\\[ *[0-9]+:0001\\] nested async_start\\(\\)");
    EXPECT_EQ(async_stop(), 1);
    EXPECT_EQ(async_block(&t), 1); // and is over
}

// The caller waits for it, and part of it may be on its way.
TEST(AsyncDeath, AWorkerThatCannotSendAnAnswerEnds)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    for (const char *request : {"MIPOPT_REQ 1 env lp", "MIPOPT_REQ 0 env lp", "DISCONNECT_REQ"})
        EXPECT_DEATH(
            {
                worker_double w;
                w.ask("OPENVANTO_REQ 0");
                w.h->io->ops.sendmsg = [](transport *, const void *) -> int { return MESSAGE_IO; };
                w.ask(request);
            },
            "Failed to send message: -7")
            << request;
    EXPECT_DEATH(
        {
            worker_double w;
            w.ask("OPENVANTO_REQ 0");
            w.h->io->ops.sendmsg = [](transport *, const void *message) {
                return message_id(message) == VNTMESSAGEID_INFO ? MESSAGE_IO : 0;
            };
            const int32_t value = 8;
            VNTsendinfoint(double_env, 1, 1, &value);
            w.ask("GETNUMROWS_REQ 0 env lp");
        },
        "Failed to send message: -7")
        << "half an info may be on its way";
}

} // namespace vnt
