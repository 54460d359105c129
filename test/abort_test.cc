// A worker whose solver's engine aborts: it answers, keeps its objects and serves on.
#include "test/folders.h"
#include "test/server.h"

namespace vnt {

static constexpr char told[] = "The engine aborted in ";

TEST(Abort, AWorkerOutlivesAnAbortOfItsEngine)
{
    server s({}, {"LD_PRELOAD=" + build_path("test/libabortingengine.so")});
    VNTENVptr env = open_at(s);
    ASSERT_NE(env, nullptr);
    int status = 0;
    VNTLPptr lp = VNTLcreateprob(env, &status, "choice");
    ASSERT_EQ(status, 0);
    // Its relaxation has no whole solution, so that there is a search.
    double cost[] = {3, 2, 4}, upper[] = {3, 3, 3}, rhs = 5.5, value[] = {2, 1.7, 3}, objective = 0;
    int64_t begin = 0;
    int index[] = {0, 1, 2};
    ASSERT_EQ(VNTLnewcols(env, lp, 3, cost, nullptr, upper, "III", nullptr), 0);
    ASSERT_EQ(VNTLaddrows(env, lp, 0, 1, 3, &rhs, "G", &begin, index, value, nullptr, nullptr), 0);
    ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_PRESOLVE, 0), 0);
    std::vector<pid_t> workers = s.workers();
    EXPECT_EQ(VNTLmipopt(env, lp), VNTERR_ENGINE);
    EXPECT_EQ(VNTLgetnumcols(env, lp), 3);
    EXPECT_EQ(VNTLmipopt(env, lp), 0);
    ASSERT_EQ(VNTLgetobjval(env, lp, &objective), 0);
    EXPECT_NEAR(objective, 8, 1e-6);
    double weight[] = {1, 2, 1}; // x^2/2 + y^2 + z^2/2, less 3 x
    cost[0] = -3, cost[1] = cost[2] = 0;
    VNTLPptr quadratic = VNTLcreateprob(env, &status, "curve");
    ASSERT_EQ(status, 0);
    ASSERT_EQ(VNTLnewcols(env, quadratic, 3, cost, nullptr, upper, nullptr, nullptr), 0);
    ASSERT_EQ(VNTLcopyqpsep(env, quadratic, weight), 0);
    EXPECT_EQ(VNTLqpopt(env, quadratic), VNTERR_ENGINE);
    EXPECT_EQ(VNTLqpopt(env, quadratic), 0);
    ASSERT_EQ(VNTLgetobjval(env, quadratic, &objective), 0);
    EXPECT_NEAR(objective, -4.5, 1e-6);
    EXPECT_EQ(s.workers(), workers);
    ASSERT_EQ(VNTLcloseVANTO(&env), 0);
    for (const char *function :
         {"CbcModel::branchAndBound; trying again", "CbcModel::branchAndBound.", "dmumps_c."})
        EXPECT_TRUE(has(s.log(), std::string(told) + function));
}

} // namespace vnt
