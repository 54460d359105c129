// Every allocation of the library fails once, against the real server: no entry point ends the
// program, each returns, and nothing is left behind.
#include "test/allocations.h"
#include "test/server.h"

#include <atomic>
#include <functional>

// A container could not return a failure: the library does without.
static std::atomic<int> containers{0};
extern "C" void *__real__Znwm(size_t);
extern "C" void *__wrap__Znwm(size_t n);
void *__wrap__Znwm(size_t n)
{
    containers++;
    return __real__Znwm(n);
}

namespace vnt {

namespace {

constexpr double OBJECTIVE[] = {1, 2}, UPPER[] = {3, 2}, RIGHT[] = {4};
constexpr int64_t BEGIN[] = {0, 1};
constexpr int COUNT[] = {1, 1}, INDEX[] = {0, 0};
constexpr double VALUE[] = {1, 1};

struct memory : testing::Test {
    server s;
    VNTENVptr env = nullptr;
    const std::string address = "-address=" + s.address();
    const scratch copy{".lp"};

    int open(VNTENVptr *out) const
    {
        const char *argv[] = {address.c_str()};
        int status = -1;
        *out = vntclient_open(1, argv, &status);
        return status;
    }
    static void close(VNTENVptr *e)
    {
        if (*e != nullptr) VNTLcloseVANTO(e);
        EXPECT_EQ(*e, nullptr);
    }
    // What a user does with one problem.
    int solve() const
    {
        int status = 0;
        double x[2];
        char store[64], *names[2];
        int64_t surplus;
        VNTLPptr lp = VNTLcreateprob(env, &status, "p");
        auto step = [&status](int rc) { status = status != 0 ? status : rc; };
        step(VNTLcopylp(env, lp, 2, 1, -1, OBJECTIVE, RIGHT, "L", BEGIN, COUNT, INDEX, VALUE,
                        nullptr, UPPER, nullptr));
        step(VNTLlpopt(env, lp));
        step(VNTLgetx(env, lp, x, 0, 1));
        step(VNTLgetcolname(env, lp, names, store, sizeof store, &surplus, 0, 1));
        step(VNTLwriteprob(env, lp, copy.name.c_str(), "lp"));
        step(VNTEreadcopyprob(env, lp, copy.name.c_str(), nullptr, 0, nullptr));
        step(vntclient_start(env));
        step(VNTLlpopt(env, lp));
        if (status == 0) step(vntclient_join(env));
        step(VNTLfreeprob(env, &lp));
        return status;
    }
    // Runs `action` on an open environment with its first allocation failing, then its second and
    // so on, until it succeeds.
    void fail_each(const std::function<int()> &action)
    {
        ASSERT_EQ(open(&env), 0) << vntclient_errortext();
        ASSERT_EQ(action(), 0) << vntclient_errortext(); // tables that stay have grown now
        close(&env);
        int rc = -1;
        for (int64_t n = 0; rc != 0; n++) {
            int64_t before = allocations_held();
            ASSERT_EQ(open(&env), 0) << vntclient_errortext();
            int news = containers;
            allocations_fail_after(n);
            rc = action();
            allocations_fail_after(-1);
            EXPECT_EQ(containers, news);
            close(&env);
            EXPECT_EQ(allocations_held(), before) << "allocation " << n;
            if (HasFailure()) return;
        }
    }
};

} // namespace

TEST_F(memory, AFailedAllocationIsAStatusOfOpening)
{
    fail_each([this] {
        VNTENVptr second;
        int rc = open(&second);
        EXPECT_EQ(rc == 0, second != nullptr);
        close(&second);
        return rc;
    });
}

TEST_F(memory, AFailedAllocationIsAStatusOfACall)
{
    fail_each([this] { return solve(); });
}

TEST_F(memory, AFailedAllocationIsAStatusOfAGroup)
{
    fail_each([this] {
        VNTENVptr envs[2] = {env, nullptr};
        int status = open(&envs[1]), member;
        VNTCLIENTGROUPptr group = nullptr;
        auto step = [&status](int rc) { status = status != 0 ? status : rc; };
        if (status == 0) group = vntclient_group_create(2, envs, &status);
        if (status == 0) step(vntclient_group_call(group));
        VNTLPptr lp = status == 0 ? VNTLcreateprob(env, &status, "p") : nullptr;
        if (status == 0) step(vntclient_group_call(group));
        step(VNTLlpopt(env, lp));
        if (status == 0) step(vntclient_group_wait(group, 0, &member));
        if (status == 0) step(vntclient_group_call(group));
        step(VNTLfreeprob(env, &lp));
        vntclient_group_destroy(&group);
        close(&envs[1]);
        return status;
    });
}

TEST_F(memory, AFailedAllocationIsAStatusOfLeavingAndComingBack)
{
    fail_each([this] {
        char record[1024], info[VNTCLIENT_INFO_LENGTH];
        int64_t length = 0;
        int status = 0;
        VNTLPptr lp = VNTLcreateprob(env, &status, "p"), known;
        auto step = [&status](int rc) { status = status != 0 ? status : rc; };
        step(vntclient_disconnect(env, info));
        if (status == 0) step(vntclient_pack(env, record, sizeof record, &length));
        if (status == 0) step(VNTLcloseVANTO(&env));
        if (status == 0) step(vntclient_attach(record, length, &env));
        step(status == 0 ? vntclient_getproblems(env, 1, &known) - 1 : 0);
        return status != 0 || lp == nullptr ? -1 : 0;
    });
}

} // namespace vnt
