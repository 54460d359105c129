// Lazy constraints and user cuts: what a search may return, and what files hold.

#include "solver/calls/test_session.h"

#include <algorithm>
#include <numeric>
#include <random>
#include <unistd.h>

namespace vnt {

struct lazy : session {
    // A row beside the problem by the names of its columns.
    using adder = decltype(VNTLaddlazyconstraints);
    int add(adder *to, VNTLPptr lp, const std::vector<std::pair<const char *, double>> &terms,
            char sense, double rhs, const char *name = nullptr)
    {
        std::vector<int> index;
        std::vector<double> value;
        for (auto [column, v] : terms) {
            index.push_back(-1);
            EXPECT_EQ(VNTLgetcolindex(env, lp, column, &index.back()), 0);
            value.push_back(v);
        }
        int64_t begin = 0;
        return to(env, lp, 1, static_cast<int64_t>(index.size()), &rhs, &sense, &begin,
                  index.data(), value.data(), &name);
    }
    double optimum(VNTLPptr lp)
    {
        EXPECT_EQ(VNTLmipopt(env, lp), 0);
        EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_OPTIMAL);
        int status = 0;
        EXPECT_EQ(VNTLchecksoln(env, lp, &status), 0);
        EXPECT_EQ(status, VNT_STAT_OPTIMAL) << heard[CHANNEL_WARNING];
        return objective(lp);
    }
    std::string text_of(VNTLPptr lp, const char *kind)
    {
        EXPECT_EQ(VNTLwriteprob(env, lp, path.c_str(), kind), 0);
        return written();
    }
};

// max x + y, 2 x + 2 y <= 9 in integers: 4.  What is lazy makes it 3, 2 and nothing.
TEST_F(lazy, AConstraintHoldsInTheSolutionAndIsNoRow)
{
    VNTLPptr lp = problem_from("max\n x + y\nst\n r: 2 x + 2 y <= 9\nbounds\n x <= 5\n y <= 5\n"
                               "generals\n x y\nend\n");
    EXPECT_EQ(optimum(lp), 4);
    ASSERT_EQ(add(VNTLaddlazyconstraints, lp, {{"x", 1}, {"y", 1}}, 'L', 3.5), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_NONE); // the answer is gone
    EXPECT_EQ(optimum(lp), 3);
    ASSERT_EQ(add(VNTLaddlazyconstraints, lp, {{"x", 1}, {"y", -1}}, 'E', 0, "same"), 0);
    EXPECT_EQ(optimum(lp), 2);
    EXPECT_EQ(VNTLgetnumrows(env, lp), 1);
    EXPECT_EQ(VNTLgetnumlazyconstraints(env, lp), 2);
    char name[8];
    int64_t surplus;
    EXPECT_EQ(VNTLEgetlazyconstraintname(env, lp, name, 8, &surplus, 0), 0);
    EXPECT_STREQ(name, "lazy1");
    EXPECT_EQ(VNTLEgetlazyconstraintname(env, lp, name, 8, &surplus, 1), 0);
    EXPECT_STREQ(name, "same");
    EXPECT_EQ(VNTLEgetlazyconstraintname(env, lp, name, 8, &surplus, 2), VNTERR_INDEX_RANGE);

    ASSERT_EQ(add(VNTLaddlazyconstraints, lp, {{"x", 1}, {"y", 1}}, 'G', 4), 0);
    EXPECT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_INFEASIBLE);
    EXPECT_EQ(VNTLfreelazyconstraints(env, lp), 0);
    EXPECT_EQ(optimum(lp), 4);
}

// Nothing but the lazy constraint keeps x from growing; without a row, and beside one.
TEST_F(lazy, AConstraintMayBeAllThatLimitsTheObjective)
{
    for (const char *row : {"", " r: y - x <= 1\n"}) {
        VNTLPptr lp = problem_from(std::string("max\n 2 x + 3 y\nst\n") + row +
                                   "bounds\n y <= 7.5\ngenerals\n x y\nend\n");
        ASSERT_EQ(add(VNTLaddlazyconstraints, lp, {{"x", 2}}, 'L', 9), 0);
        EXPECT_EQ(optimum(lp), row[0] == '\0' ? 8 + 21 : 8 + 15);
    }
}

TEST_F(lazy, StartsAndPoolsKeepToTheConstraints)
{
    VNTLPptr lp = problem_from("max\n 5 x + 4 y + 3 z\nst\n r: 2 x + 3 y + z <= 5\n"
                               " s: 4 x + y + 2 z <= 11\n t: 3 x + 4 y + 2 z <= 8\n"
                               "generals\n x y z\nend\n");
    EXPECT_EQ(optimum(lp), 13); // x = 2, z = 1
    ASSERT_EQ(add(VNTLaddlazyconstraints, lp, {{"x", 1}, {"z", 1}}, 'L', 2), 0);
    const int64_t begin = 0;
    const int columns[] = {0, 1, 2};
    const double violating[] = {2, 0, 1};
    ASSERT_EQ(VNTLaddmipstarts(env, lp, 1, 3, &begin, columns, violating, nullptr, nullptr), 0);
    EXPECT_EQ(optimum(lp), 10); // 2 0 0; 1 0 1 is worth 8, 1 1 0 is 9
    for (int s = 0; s < VNTLgetsolnpoolnumsolns(env, lp); s++) {
        double x[3];
        ASSERT_EQ(VNTLgetsolnpoolx(env, lp, s, x, 0, 2), 0);
        EXPECT_LE(x[0] + x[2], 2);
    }
}

// A tour of all towns, whose subtours are forbidden lazily.  The answer is that of trying all
// tours.
static double best_tour(const std::vector<std::vector<double>> &length)
{
    int towns = static_cast<int>(length.size());
    std::vector<int> tour(towns);
    std::iota(tour.begin(), tour.end(), 0);
    double best = HUGE_VAL;
    do {
        double all = 0;
        for (int k = 0; k < towns; k++)
            all += length[tour[k]][tour[(k + 1) % towns]];
        best = std::min(best, all);
    } while (std::next_permutation(tour.begin() + 1, tour.end()));
    return best;
}

struct tour : lazy, testing::WithParamInterface<unsigned> {
    static constexpr int towns = 8;
    std::vector<std::vector<double>> length;
    std::vector<std::pair<int, int>> roads;

    // Towns in two clusters, so that the cheapest cycles are no tour.
    void build(unsigned seed)
    {
        std::mt19937 random(seed);
        double x[towns], y[towns];
        for (int a = 0; a < towns; a++) {
            x[a] = random() % 100 + (a % 2) * 500.0;
            y[a] = random() % 100;
        }
        length.assign(towns, std::vector<double>(towns));
        for (int a = 0; a < towns; a++)
            for (int b = 0; b < towns; b++) {
                length[a][b] = std::round(std::hypot(x[a] - x[b], y[a] - y[b]));
                if (a < b) roads.emplace_back(a, b);
            }
    }
    VNTLPptr model()
    {
        VNTLPptr lp = problem();
        for (auto [a, b] : roads)
            EXPECT_EQ(VNTLnewcols(env, lp, 1, &length[a][b], nullptr, nullptr, "B", nullptr), 0);
        for (int a = 0; a < towns; a++) {
            double two = 2;
            EXPECT_EQ(VNTLnewrows(env, lp, 1, &two, "E", nullptr, nullptr), 0);
            for (size_t r = 0; r < roads.size(); r++) {
                if (roads[r].first != a && roads[r].second != a) continue;
                EXPECT_EQ(VNTLchgcoef(env, lp, a, static_cast<int>(r), 1), 0);
            }
        }
        return lp;
    }
    // Two roads at least leave every set of towns.
    void forbid_subtours(adder *to, VNTLPptr lp)
    {
        for (unsigned set = 1; set < 1u << (towns - 1); set++) {
            std::vector<int> index;
            for (size_t r = 0; r < roads.size(); r++)
                if (((set >> roads[r].first) & 1) != ((set >> roads[r].second) & 1))
                    index.push_back(static_cast<int>(r));
            std::vector<double> one(index.size(), 1.0);
            double two = 2;
            int64_t begin = 0;
            ASSERT_EQ(to(env, lp, 1, static_cast<int64_t>(index.size()), &two, "G", &begin,
                         index.data(), one.data(), nullptr),
                      0);
        }
    }
};

TEST_P(tour, HasNoSubtourWhereTheseAreForbiddenLazily)
{
    build(GetParam() / 4);
    EXPECT_EQ(VNTLsetintparam(env, VNT_PARAM_PRESOLVE, GetParam() & 1), 0);
    EXPECT_EQ(VNTLsetintparam(env, VNT_PARAM_HEURISTICS, (GetParam() >> 1) & 1), 0);
    VNTLPptr lp = model();
    double relaxed = optimum(lp), best = best_tour(length);
    ASSERT_LT(relaxed, best); // two cycles, one in each cluster
    forbid_subtours(VNTLaddlazyconstraints, lp);
    EXPECT_EQ(optimum(lp), best);
    double bound = 0;
    EXPECT_EQ(VNTLgetbestobjval(env, lp, &bound), 0);
    EXPECT_NEAR(bound, best, 1e-6);
    std::vector<double> x(roads.size()), again(roads.size());
    int last = static_cast<int>(roads.size()) - 1;
    EXPECT_EQ(VNTLgetx(env, lp, x.data(), 0, last), 0);
    EXPECT_EQ(optimum(lp), best);
    EXPECT_EQ(VNTLgetx(env, lp, again.data(), 0, last), 0);
    EXPECT_EQ(x, again);
}
INSTANTIATE_TEST_SUITE_P(Seeds, tour, testing::Range(4u, 16u));

// Cuts that every tour keeps to change no answer where the constraints are rows already, and what
// is no constraint need not be kept to: the relaxation's point alone calls cuts up.
TEST_F(tour, UserCutsRaiseTheBoundAndChangeNoAnswer)
{
    build(3);
    VNTLPptr lp = model();
    forbid_subtours(VNTLaddlazyconstraints, lp);
    double best = optimum(lp);
    forbid_subtours(VNTLaddusercuts, lp);
    EXPECT_EQ(VNTLgetnumusercuts(env, lp), VNTLgetnumlazyconstraints(env, lp));
    EXPECT_EQ(optimum(lp), best);
    EXPECT_EQ(VNTLfreelazyconstraints(env, lp), 0);
    EXPECT_EQ(VNTLsetlongparam(env, VNT_PARAM_NODE_LIMIT, 1), 0);
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    double with = 0, without = 0;
    EXPECT_EQ(VNTLgetbestobjval(env, lp, &with), 0);
    EXPECT_EQ(VNTLfreeusercuts(env, lp), 0);
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(VNTLgetbestobjval(env, lp, &without), 0);
    EXPECT_GT(with, without + 100); // the clusters are 400 apart
}

TEST_F(lazy, WhatIsAddedMustBeRowsOfOneSide)
{
    VNTLPptr lp = problem_from("min\n x + y\nst\n r: x + y >= 1\ngenerals\n x\nend\n");
    const int64_t begin = 0;
    const int twice[] = {1, 1}, beyond[] = {2};
    const double one[] = {1, 1}, infinite = VNT_INFINITY;
    auto refused = [&](int64_t nz, const double *rhs, const char *sense, const int *index) {
        return VNTLaddusercuts(env, lp, 1, nz, rhs, sense, &begin, index, one, nullptr);
    };
    EXPECT_EQ(refused(1, one, "R", twice), VNTERR_BAD_SENSE);
    EXPECT_EQ(refused(2, one, "L", twice), VNTERR_DUPLICATE_ENTRY);
    EXPECT_EQ(refused(1, one, "L", beyond), VNTERR_INDEX_RANGE);
    EXPECT_EQ(refused(1, one, "L", nullptr), VNTERR_NULL_POINTER);
    EXPECT_EQ(refused(1, &infinite, "L", twice), VNTERR_BAD_NUMBER);
    EXPECT_EQ(refused(-1, one, "L", twice), VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(VNTLgetnumusercuts(env, lp), 0);
    EXPECT_EQ(refused(1, nullptr, nullptr, twice), 0); // an equation with 0
    EXPECT_EQ(VNTLgetnumusercuts(env, lp), 1);
    EXPECT_EQ(optimum(lp), 1);
    // Where the columns of a lazy constraint are fixed, it holds; this one could be violated.
    ASSERT_EQ(add(VNTLaddlazyconstraints, lp, {{"x", 1}, {"y", 1}}, 'G', 1), 0);
    EXPECT_EQ(optimum(lp), 1);
    EXPECT_EQ(VNTLchgprobtype(env, lp, VNT_PROB_FIXED_MIP), VNTERR_NOT_SUPPORTED);
}

// The files are by hand.  Deleting a column takes its terms; a clone has what its model has.
TEST_F(lazy, FilesHoldThem)
{
    const char mps[] = "NAME          test\nROWS\n N  obj\n G  r\nLAZYCONS\n L  far\nUSERCUTS\n"
                       " G  near\n E  same\nCOLUMNS\n"
                       "    MARKER    'MARKER'                 'INTORG'\n"
                       "    x         obj       1\n    x         r         1\n"
                       "    x         far       2\n    x         same      1\n"
                       "    y         obj       1\n    y         r         1\n"
                       "    y         near      3\n    y         same      -1\n"
                       "    MARKER    'MARKER'                 'INTEND'\n"
                       "RHS\n    rhs       r         1.5\n    rhs       far       5\n"
                       "    rhs       near      4\nBOUNDS\n PL bnd       x\n PL bnd       y\n"
                       "ENDATA\n";
    const char lp_text[] = "minimize\n obj: 1 x + 1 y\nsubject to\n r: 1 x + 1 y >= 1.5\n"
                           "lazy constraints\n far: 2 x <= 5\n"
                           "user cuts\n near: 3 y >= 4\n same: 1 x - 1 y = 0\n"
                           "bounds\ngeneral\n x\n y\nend\n";
    VNTLPptr from_mps = problem_from(mps, "mps"), from_lp = problem_from(lp_text);
    for (VNTLPptr lp : {from_mps, from_lp}) {
        EXPECT_EQ(VNTLgetnumrows(env, lp), 1);
        EXPECT_EQ(VNTLgetnumlazyconstraints(env, lp) * 10 + VNTLgetnumusercuts(env, lp), 12);
        EXPECT_EQ(optimum(lp), 4); // the cuts' own: 2 and 2
        EXPECT_EQ(text_of(lp, "mps").substr(14), std::string(mps).substr(14));
        EXPECT_EQ(text_of(lp, "lp"), lp_text);
    }
    VNTLPptr clone = VNTLcloneprob(env, from_lp, nullptr);
    ASSERT_EQ(VNTLdelcols(env, from_lp, 0, 0), 0);
    EXPECT_TRUE(
        has(text_of(from_lp, "lp"), " far: 0 y <= 5\nuser cuts\n near: 3 y >= 4\n same: - 1 y"));
    EXPECT_EQ(text_of(clone, "lp"), lp_text);
    // The words are names where the other one does not follow.
    VNTLPptr names = problem_from("min\n user + cuts\nst\n lazy: user >= 1\nlazy constraints\n"
                                  " user >= 2\nuser cuts\n user + cuts >= 2\nend\n");
    EXPECT_EQ(VNTLgetnumcols(env, names), 2);
    const char *const bad[] = {"lazy constraints\n 1 <= x <= 2\nend\n",
                               "user cuts\n x = 1 -> y >= 1\nend\n"};
    for (const char *section : bad) {
        VNTLPptr lp = problem();
        EXPECT_EQ(read(lp, std::string("min\n x + y\nst\n") + section, "lp"), VNTERR_FILE_FORMAT);
    }
}

} // namespace vnt
