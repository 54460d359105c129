#include "test/doubles/worker_double.h"

#include "remote/base/log.h"
#include "remote/handler/registry.h"
#include "test/has.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vnt {

TEST(Handler, RejectsWithNakAndTheLoopAddsUnknown)
{
    worker_double w;
    EXPECT_EQ(w.ask("PROBINFO_REQ 4 env bad - 3 0"), "NAK PROBINFO_REQ 4 -1");
    EXPECT_EQ(w.hear(), "UNKNOWN PROBINFO_REQ");
    // What never runs asynchronously is refused without being called rejected.
    for (const char *request :
         {"OPENVANTO_REQ 1", "CLOSEVANTO_REQ 1 env", "PROBINFO_REQ 1 env lp - 3 0"}) {
        EXPECT_EQ(w.ask(request).substr(0, 4), "NAK ");
        EXPECT_EQ(w.ask("RECONNECT_REQ"), "NAK RECONNECT_REQ 0 -1"); // no UNKNOWN in between
    }
    EXPECT_EQ(solver.calls, "");
}

TEST(Handler, OpensAndClosesTheEnvironmentThatDefaultsStandFor)
{
    worker_double w;
    solver.open_status = VNTERR_NO_MEMORY;
    EXPECT_EQ(w.ask("OPENVANTO_REQ 0"), "OPENVANTO_RES NO_MEMORY -");
    EXPECT_EQ(env2handler_find(double_env), nullptr);
    solver.open_status = 0;
    EXPECT_EQ(w.ask("OPENVANTO_REQ 0"), "OPENVANTO_RES 0 env");
    EXPECT_EQ(w.h->env, double_env);
    EXPECT_EQ(env2handler_find(double_env), w.h);
    EXPECT_NE(solver.terminate, nullptr);
    EXPECT_EQ(w.ask("CLOSEVANTO_REQ 0 env"), "CLOSEVANTO_RES 0");
    EXPECT_EQ(w.h->env, nullptr);
    EXPECT_EQ(env2handler_find(double_env), nullptr);
    w.ask("OPENVANTO_REQ 0");
    EXPECT_EQ(w.ask("CLOSEVANTO_REQ 2 -"), "CLOSEVANTO_RES 0");
    EXPECT_EQ(solver.calls, " close close-null") << "the default is forgotten before it is read";
}

TEST(Probinfo, AnswersEachSelectorByItsOwnQuery)
{
    worker_double w;
    solver.int_params[VNT_PARAM_MESSAGES] = 1;
    const int64_t expected[] = {10, 11, 12, 2,  1010, 1013, 16, 17, 18, 19, 20, 0,
                                22, 23, 24, 25, 0,    77,   28, 29, 30, 31, 32, 0};
    const int count = std::size(expected);
    for (int selector = 0; selector < count; selector++) {
        if (selector == 11) continue; // the solver lacks it
        EXPECT_EQ(w.ask("PROBINFO_REQ 0 env lp net " + std::to_string(selector) + " 77"),
                  "PROBINFO_RES 0 " + std::to_string(expected[selector]));
    }
    EXPECT_EQ(solver.int_params[VNT_PARAM_MESSAGES], 1); // the presolved problem switched it off
    for (int beyond : {count, -1})
        EXPECT_EQ(w.ask("PROBINFO_REQ 0 env lp net " + std::to_string(beyond) + " 0"),
                  "PROBINFO_RES BAD_ARGUMENT 0");
}

TEST(Handler, NamesTheFunctionThatTheSolverLacks)
{
    worker_double w;
    int log = memfd_create("log", MFD_CLOEXEC);
    log_fd_set(log);
    EXPECT_EQ(w.ask("PROBINFO_REQ 0 env lp - 11 0"), "NAK PROBINFO_REQ 0 UNKNOWN_CALL");
    EXPECT_EQ(w.ask("LPOPT_REQ 0 env lp"), "NAK LPOPT_REQ 0 UNKNOWN_CALL");
    log_fd_set(-1);
    char text[4096] = "";
    EXPECT_GT(pread(log, text, sizeof text - 1, 0), 0);
    close(log);
    EXPECT_TRUE(has(text, "VNTLgetnumsos"));
    EXPECT_TRUE(has(text, "VNTLlpopt"));
}

TEST(Disconnect, ParksTheWorkerUntilTheServerSpeaks)
{
    worker_double w;
    EXPECT_EQ(w.ask("RECONNECT_REQ"), "NAK RECONNECT_REQ 0 -1");
    EXPECT_EQ(w.ask("DISCONNECT_REQ"), "DISCONNECT_RES");
    EXPECT_EQ(w.parked(), 4711);
    w.say("GETNUMROWS_REQ 0 env lp");
    EXPECT_TRUE(w.silent()); // it reads nothing while parked
    w.release(4711);
    EXPECT_EQ(w.hear(), "GETNUMROWS_RES 10");
    EXPECT_EQ(w.ask("DISCONNECT_REQ"),
              "NAK DISCONNECT_REQ 0 -1"); // still away: no RECONNECT has come
    EXPECT_EQ(w.ask("RECONNECT_REQ"), "RECONNECT_RES");
    EXPECT_EQ(w.ask("DISCONNECT_REQ"), "DISCONNECT_RES");
    w.release(0); // the server stops
    EXPECT_EQ(w.ask("RECONNECT_REQ"), "RECONNECT_RES");
}

} // namespace vnt
