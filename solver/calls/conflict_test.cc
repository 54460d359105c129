#include "solver/calls/test_session.h"

#include <cmath>
#include <map>
#include <numeric>
#include <random>

namespace vnt {

struct conflicts : session {
    struct parts {
        int status = 0;
        std::map<int, int> rows, cols; // by index
        bool operator==(const parts &) const = default;
    };
    parts conflict_of(VNTLPptr lp)
    {
        parts c;
        int rows = -1, cols = -1;
        EXPECT_EQ(
            VNTLgetconflict(env, lp, nullptr, nullptr, nullptr, &rows, nullptr, nullptr, &cols), 0);
        std::vector<int> row(rows), row_stat(rows), col(cols), col_stat(cols);
        EXPECT_EQ(VNTLgetconflict(env, lp, &c.status, row.data(), row_stat.data(), &rows,
                                  col.data(), col_stat.data(), &cols),
                  0);
        for (int k = 0; k < rows; k++)
            c.rows[row[k]] = row_stat[k];
        for (int k = 0; k < cols; k++)
            c.cols[col[k]] = col_stat[k];
        return c;
    }
    parts refined(VNTLPptr lp)
    {
        int rows = -1, cols = -1;
        EXPECT_EQ(VNTLrefineconflict(env, lp, &rows, &cols), 0) << heard[CHANNEL_ERROR];
        parts c = conflict_of(lp);
        EXPECT_EQ(rows, static_cast<int>(c.rows.size()));
        EXPECT_EQ(cols, static_cast<int>(c.cols.size()));
        return c;
    }

    // Among the rows alone.
    parts refined_rows(VNTLPptr lp)
    {
        int rows = VNTLgetnumrows(env, lp);
        std::vector<int64_t> begin(rows);
        std::iota(begin.begin(), begin.end(), 0);
        std::vector<int> index(begin.begin(), begin.end());
        EXPECT_EQ(VNTLrefineconflictext(env, lp, rows, rows, nullptr, begin.data(), index.data(),
                                        std::string(rows, 'R').c_str()),
                  0);
        return conflict_of(lp);
    }

    // Whether a copy of the problem that has these parts alone, and no objective, has a point.  Of
    // one with integers the bounds stay, or a search might not end.
    bool feasible(VNTLPptr lp, const parts &only)
    {
        VNTLPptr copy = VNTLcloneprob(env, lp, nullptr);
        int rows = VNTLgetnumrows(env, lp), cols = VNTLgetnumcols(env, lp);
        bool mip = VNTLgetprobtype(env, lp) == VNT_PROB_MIP;
        std::vector<int> gone(rows);
        for (int i = 0; i < rows; i++)
            gone[i] = only.rows.count(i) == 0;
        double inf = VNT_INFINITY, minus = -inf, zero = 0;
        for (int j = 0; j < cols; j++) {
            int status = only.cols.count(j) != 0 ? only.cols.at(j) : 0;
            EXPECT_EQ(VNTLchgobj(env, copy, 1, &j, &zero), 0);
            for (int side : {VNT_CONFLICT_LOWER, VNT_CONFLICT_UPPER}) {
                if (mip || (status & side) != 0) continue;
                bool low = side == VNT_CONFLICT_LOWER;
                EXPECT_EQ(VNTLchgbds(env, copy, 1, &j, low ? "L" : "U", low ? &minus : &inf), 0);
            }
        }
        EXPECT_EQ(VNTLdelsetrows(env, copy, gone.data()), 0);
        EXPECT_EQ(mip ? VNTLmipopt(env, copy) : VNTLprimopt(env, copy), 0);
        int status = VNTLgetstat(env, copy);
        EXPECT_TRUE(status == VNT_STAT_OPTIMAL || status == VNT_STAT_INFEASIBLE) << status;
        EXPECT_EQ(VNTLfreeprob(env, &copy), 0);
        return status == VNT_STAT_OPTIMAL;
    }
    // The parts are infeasible, and no longer so when one of them goes.
    void expect_minimal(VNTLPptr lp, const parts &c)
    {
        EXPECT_EQ(c.status, VNT_CONFSTAT_MINIMAL);
        EXPECT_FALSE(feasible(lp, c));
        for (auto [i, status] : c.rows) {
            parts fewer = c;
            fewer.rows.erase(i);
            EXPECT_EQ(status, VNT_CONFLICT_MEMBER);
            EXPECT_TRUE(feasible(lp, fewer)) << "without row " << i;
        }
        for (auto [j, status] : c.cols)
            for (int side : {VNT_CONFLICT_LOWER, VNT_CONFLICT_UPPER}) {
                if ((status & side) == 0) continue;
                parts fewer = c;
                fewer.cols[j] -= side;
                EXPECT_TRUE(feasible(lp, fewer)) << "without bound " << side << " of " << j;
            }
    }
};

TEST_F(conflicts, EveryConflictIsInfeasibleAndNeedsAllOfItsMembers)
{
    VNTLPptr wood = problem_of_file("woodinfe.mps");
    expect_minimal(wood, refined(wood));
    EXPECT_GT(VNTLgetconflictnumpasses(env, wood), 1);
    int64_t groups = VNTLgetnumrows(env, wood);
    for (double low : asked(VNTLgetlb, wood, VNTLgetnumcols(env, wood)))
        groups += low > -VNT_INFINITY;
    for (double high : asked(VNTLgetub, wood, VNTLgetnumcols(env, wood)))
        groups += high < VNT_INFINITY;
    EXPECT_EQ(VNTLgetconflictnumgroups(env, wood), groups);
    std::mt19937 random(11);
    auto number = [&](int from, int to) {
        return from + static_cast<int>(random() % static_cast<unsigned>(to - from + 1));
    };
    int found = 0;
    for (int round = 0; round < 60; round++) {
        bool discrete = round % 2 != 0;
        std::ostringstream text, names;
        text << "min\n x0\nst\n";
        for (int i = 0; i < 6; i++) {
            for (int j = 0; j < 4; j++)
                text << " + " << number(-4, 4) * (discrete ? 2 : 1) << " x" << j;
            text << (number(0, 2) == 0   ? " = "
                     : number(0, 1) != 0 ? " <= "
                                         : " >= ")
                 << number(-9, 9) << "\n";
        }
        text << "bounds\n";
        for (int j = 0; j < 4; j++) {
            text << " " << number(-3, 0) << " <= x" << j << " <= " << number(0, 3) << "\n";
            names << " x" << j;
        }
        if (discrete) text << "general\n" << names.str() << "\n";
        VNTLPptr lp = problem_from(text.str() + "end\n");
        parts c = discrete ? refined_rows(lp) : refined(lp);
        if (c.status == VNT_CONFSTAT_FEASIBLE) {
            EXPECT_TRUE(c.rows.empty() && c.cols.empty());
            continue;
        }
        found++;
        expect_minimal(lp, c);
    }
    EXPECT_GT(found, 40);
}

struct groups_of_constraints : conflicts {
    // Three rows about one column, of which the last two cannot both be left out.
    VNTLPptr lp = nullptr;
    void SetUp() override
    {
        conflicts::SetUp();
        lp = problem_from("min\n x\nst\n a: x >= 3\n b: x <= 1\n c: x <= 2\nend\n");
    }
    std::vector<int> statuses(const std::vector<double> &preference)
    {
        const int64_t begin[] = {0, 1, 2};
        const int index[] = {0, 1, 2};
        std::vector<int> status(3, -1);
        EXPECT_EQ(VNTLrefineconflictext(env, lp, 3, 3, preference.data(), begin, index, "RRR"), 0);
        EXPECT_EQ(VNTLgetconflictext(env, lp, status.data(), 0, 2), 0);
        return status;
    }
};

TEST_F(groups_of_constraints, PreferencesDecideBetweenConflicts)
{
    int in = VNT_CONFLICT_MEMBER, out = VNT_CONFLICT_EXCLUDED;
    EXPECT_EQ(statuses({1, 1, 5}), (std::vector<int>{in, out, in}));
    EXPECT_EQ(statuses({1, 5, 1}), (std::vector<int>{in, in, out}));
    EXPECT_EQ(statuses({1, 5, -1}), (std::vector<int>{in, in, out})) << "not there at all";
    EXPECT_EQ(statuses({1, 1, 0}), (std::vector<int>{in, out, in})) << "always there";
    EXPECT_EQ(statuses({-1, 1, 1}), (std::vector<int>{out, out, out})) << "x may be 0";
    parts c = conflict_of(lp);
    EXPECT_EQ(c.status, VNT_CONFSTAT_FEASIBLE);

    const int64_t begin[] = {0, 2};
    const int index[] = {0, 1, 2};
    ASSERT_EQ(VNTLrefineconflictext(env, lp, 2, 3, nullptr, begin, index, "RRR"), 0);
    EXPECT_EQ(conflict_of(lp).rows.size(), 2u) << "a and b conflict by themselves";
    int64_t count, beg[2], surplus;
    double preference[2];
    int ind[3];
    char type[3];
    EXPECT_EQ(VNTLgetconflictgroups(env, lp, nullptr, nullptr, nullptr, nullptr, nullptr, 1,
                                    &surplus, 0, 1),
              VNTERR_SPACE_TOO_SMALL);
    EXPECT_EQ(surplus, -2);
    ASSERT_EQ(VNTLgetconflictgroups(env, lp, &count, preference, beg, ind, type, 3, &surplus, 0, 1),
              0);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(preference[1], 1);
    EXPECT_EQ(beg[1], 2);
    EXPECT_EQ(std::string(type, 3), "RRR");
    EXPECT_EQ(ind[2], 2);
}

TEST_F(groups_of_constraints, WhatIsNoGroupIsRefused)
{
    int64_t begin[] = {0, 1};
    int index[] = {0, 7};
    auto refine = [&](int64_t groups, int64_t members, const char *type) {
        return VNTLrefineconflictext(env, lp, groups, members, nullptr, begin, index, type);
    };
    EXPECT_EQ(refine(1, 1, "X"), VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(refine(2, 2, "RR"), VNTERR_INDEX_RANGE);
    EXPECT_EQ(refine(1, 1, "S"), VNTERR_INDEX_RANGE);
    EXPECT_EQ(refine(1, 1, nullptr), VNTERR_NULL_POINTER);
    EXPECT_EQ(refine(-1, 0, "R"), VNTERR_BAD_ARGUMENT);
    begin[1] = 3;
    EXPECT_EQ(refine(2, 2, "RR"), VNTERR_BAD_ARGUMENT);
    int status;
    EXPECT_EQ(VNTLgetconflictext(env, lp, &status, 0, 0), VNTERR_NO_SOLUTION) << "none was found";
    refined(lp);
    EXPECT_EQ(VNTLgetconflictext(env, lp, &status, 0, 99), VNTERR_INDEX_RANGE);
    double four = 4;
    ASSERT_EQ(VNTLchgrhs(env, lp, 1, index, &four), 0);
    EXPECT_EQ(VNTLgetconflictext(env, lp, &status, 0, 0), VNTERR_NO_SOLUTION) << "of old";
}

TEST_F(conflicts, SetsAndIndicatorsAreConstraintsToo)
{
    VNTLPptr lp = problem_from("min\n x\nst\n a: x + y >= 5\n b: z >= 1\n"
                               " c: z = 1 -> x + y <= 4\nbounds\n x <= 3\n y <= 3\n"
                               "binary\n z\nsos\n s: S1:: x:1 y:2\nend\n");
    const int64_t begin[] = {0, 1, 2, 3, 4};
    const int index[] = {0, 1, 0, 0, 1};
    int status[5];
    const double first[] = {9, 9, 9, 1, 1}, second[] = {9, 9, 1, 9, 9};
    ASSERT_EQ(VNTLrefineconflictext(env, lp, 5, 5, first, begin, index, "RRISU"), 0)
        << heard[CHANNEL_ERROR];
    ASSERT_EQ(VNTLgetconflictext(env, lp, status, 0, 4), 0);
    EXPECT_EQ(std::vector<int>(status, status + 5), (std::vector<int>{2, 2, 2, 0, 0}));
    ASSERT_EQ(VNTLrefineconflictext(env, lp, 5, 5, second, begin, index, "RRISU"), 0);
    ASSERT_EQ(VNTLgetconflictext(env, lp, status, 0, 4), 0);
    EXPECT_EQ(std::vector<int>(status, status + 5), (std::vector<int>{2, 0, 0, 2, 2}))
        << "one of x and y is 0, the other at most 3";
    int zee = 2;
    EXPECT_EQ(VNTLrefineconflictext(env, lp, 1, 1, nullptr, begin, &zee, "L"),
              VNTERR_NOT_SUPPORTED);
}

TEST_F(conflicts, AFileHoldsTheConflictAlone)
{
    VNTLPptr lp = problem_of_file("woodinfe.mps"), back = problem();
    EXPECT_EQ(VNTLclpwrite(env, lp, path.c_str()), VNTERR_NO_SOLUTION);
    parts c = refined(lp);
    ASSERT_EQ(VNTLclpwrite(env, lp, path.c_str()), 0);
    ASSERT_EQ(read(back, written(), "lp"), 0);
    EXPECT_EQ(VNTLgetnumrows(env, back), static_cast<int>(c.rows.size()));
    ASSERT_EQ(VNTLprimopt(env, back), 0);
    EXPECT_EQ(VNTLgetstat(env, back), VNT_STAT_INFEASIBLE);
}

TEST_F(conflicts, AStopLeavesWhatIsNotYetDecided)
{
    VNTLPptr lp = problem_of_file("woodinfe.mps");
    for (int after : {0, 5}) {
        struct counter {
            int polls, most;
        } count = {0, after};
        auto stop = [](VNTENVptr, void *, uint64_t, void *data) -> int {
            counter &c = *static_cast<counter *>(data);
            return c.polls++ >= c.most ? 13 : 0;
        };
        ASSERT_EQ(VNTEsetpausecallbackfunc(env, stop, &count), 0);
        parts c = refined(lp);
        EXPECT_EQ(c.status, VNT_CONFSTAT_NOT_MINIMAL);
        EXPECT_FALSE(c.rows.empty());
    }
    ASSERT_EQ(VNTEsetpausecallbackfunc(env, nullptr, nullptr), 0);
    ASSERT_EQ(VNTLsetdblparam(env, VNT_PARAM_TIME_LIMIT, 0), 0);
    EXPECT_EQ(refined(lp).status, VNT_CONFSTAT_NOT_MINIMAL);
}

TEST_F(conflicts, OfAMipStart)
{
    VNTLPptr lp = problem_from("max\n x + y + z\nst\n a: x + y <= 1\n b: x + z <= 2\n"
                               "binary\n x y z\nend\n");
    const int64_t begin = 0;
    const int index[] = {0, 1};
    const double values[] = {1, 1};
    ASSERT_EQ(VNTLaddmipstarts(env, lp, 1, 2, &begin, index, values, nullptr, nullptr), 0);
    int rows = -1, cols = -1, status = -1;
    ASSERT_EQ(VNTLrefinemipstartconflict(env, lp, 0, &rows, &cols), 0);
    parts expected = {VNT_CONFSTAT_MINIMAL, {{0, VNT_CONFLICT_MEMBER}}, {}};
    EXPECT_EQ(conflict_of(lp), expected);
    EXPECT_EQ(rows, 1);
    EXPECT_EQ(cols, 0);
    int row = 1;
    ASSERT_EQ(VNTLrefinemipstartconflictext(env, lp, 0, 1, 1, nullptr, &begin, &row, "R"), 0);
    ASSERT_EQ(VNTLgetconflictext(env, lp, &status, 0, 0), 0);
    EXPECT_EQ(status, VNT_CONFLICT_EXCLUDED) << "a is in no group: it always holds";
    EXPECT_EQ(VNTLrefinemipstartconflict(env, lp, 1, &rows, &cols), VNTERR_INDEX_RANGE);
}

// The least relaxation.
struct relaxing : session {
    // The columns' values, none where nothing can give way.
    std::vector<double> told(VNTLPptr lp, int expected)
    {
        int cols = VNTLgetnumcols(env, lp);
        std::vector<double> x(cols, NAN);
        EXPECT_EQ(VNTLgetstat(env, lp), expected);
        int rc = VNTLgetx(env, lp, x.data(), 0, cols - 1);
        EXPECT_EQ(rc, expected == VNT_STAT_INFEASIBLE ? VNTERR_NO_SOLUTION : 0);
        if (rc != 0) x.clear();
        return x;
    }
};

TEST_F(relaxing, TheLeastWeightGivesWay)
{
    const char *const two = "max\n x\nst\n a: x >= 5\n b: x <= 3\nend\n";
    const char *const low = "min\n x\nst\n a: x >= 5\n b: x <= 3\nend\n";
    const char *const three = "min\n x\nst\n a: x >= 9\n b: x <= 3\n c: x <= 2\nend\n";
    const char *const ranged = "min\n x\nst\n a: 4 <= x <= 6\nbounds\n x <= 1\nend\n";
    const char *const high = "min\n x\nst\n a: 4 <= x <= 6\nbounds\n x >= 8\nend\n";
    const char *const bounds = "min\n x + y\nst\n a: x + y >= 4\nbounds\n x <= 1\n y <= 1\nend\n";
    const char *const mip = "max\n x + 2 y\nst\n a: 2 x + 2 y = 7\nbinary\n x y\nend\n";
    constexpr int sum = VNT_FEASOPT_SUM, then = VNT_FEASOPT_SUM_THEN_OBJECTIVE;
    constexpr int number = VNT_FEASOPT_NUMBER, best = VNT_FEASOPT_NUMBER_THEN_OBJECTIVE;
    struct {
        const char *why, *text;
        int mode;
        std::vector<double> x, rhs, lb, ub, rng;
    } const rows[] = {
        {"a gives way more easily", two, sum, {3}, {2, 1}, {}, {}, {}},
        {"b does", two, sum, {5}, {1, 2}, {}, {}, {}},
        {"the greatest of all between 3 and 5", two, then, {5}, {1, 1}, {}, {}, {}},
        {"the least of them", low, then, {3}, {1, 1}, {}, {}, {}},
        {"nothing gives way", two, sum, {}, {0, 0}, {}, {}, {}},
        {"13 / 3, less than 7", three, sum, {9}, {1, 3, 3}, {}, {}, {}},
        {"a alone", three, best, {0}, {1, 1, 1}, {}, {}, {}},
        {"b and c cost 2 / 9, a costs 1", three, best, {9}, {1, 9, 9}, {}, {}, {}},
        {"y's bound holds", bounds, sum, {3, 1}, {}, {}, {1, 0}, {}},
        {"the range of a is not what is in the way", ranged, sum, {}, {}, {}, {}, {1}},
        {"its lower side is", ranged, sum, {1}, {1}, {}, {}, {}},
        {"its lower side is not", high, sum, {}, {1}, {}, {}, {}},
        {"its range is", high, sum, {8}, {}, {}, {}, {1}},
        {"3 are missing", mip, sum, {1, 1}, {1}, {}, {}, {}},
        {"y's bound by 1, which is worth more, and the row by 1",
         mip,
         then,
         {1, 2},
         {1},
         {},
         {9, 9},
         {}},
    };
    auto list = [](const std::vector<double> &v) { return v.empty() ? nullptr : v.data(); };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.why);
        VNTLPptr lp = problem_from(row.text);
        EXPECT_EQ(VNTLsetintparam(env, VNT_PARAM_FEASOPT_MODE, row.mode), 0);
        EXPECT_EQ(VNTLfeasopt(env, lp, list(row.rhs), list(row.rng), list(row.lb), list(row.ub)), 0)
            << heard[CHANNEL_ERROR];
        bool optimal = row.mode == then || row.mode == best;
        std::vector<double> x = told(lp, row.x.empty() ? VNT_STAT_INFEASIBLE
                                         : optimal     ? VNT_STAT_RELAXED_OPTIMAL
                                                       : VNT_STAT_RELAXED);
        ASSERT_EQ(x.size(), row.x.size());
        for (size_t j = 0; j < x.size(); j++)
            EXPECT_NEAR(x[j], row.x[j], 1e-5) << j;
    }
    EXPECT_TRUE(has(heard[CHANNEL_RESULTS], "Relaxed, objective 3"));

    VNTLPptr lp = problem_from(two);
    double infeasible[2], preferences[] = {1, 0};
    ASSERT_EQ(VNTLEfeasopt(env, lp, preferences, nullptr, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(VNTLgetrowinfeas(env, lp, nullptr, infeasible, 0, 1), 0);
    EXPECT_NEAR(std::fabs(infeasible[0]), 2, 1e-6);
    EXPECT_EQ(infeasible[1], 0);
    lp = problem_from(three);
    ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_FEASOPT_MODE, number), 0);
    ASSERT_EQ(VNTLfeasopt(env, lp, std::vector<double>{1, 1, 1}.data(), nullptr, nullptr, nullptr),
              0);
    EXPECT_LE(told(lp, VNT_STAT_RELAXED).at(0), 2 + 1e-6) << "a alone";
}

TEST_F(relaxing, AGroupCountsOnceAndAnIndicatorsRowGivesWay)
{
    VNTLPptr lp = problem_from("min\n x\nst\n a: x >= 9\n b: x <= 3\n c: x <= 2\nend\n");
    const int64_t begin[] = {0, 1};
    const int index[] = {0, 1, 2};
    const double preference[] = {1, 1.5}; // b and c together count once, which is what a counts
    ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_FEASOPT_MODE, VNT_FEASOPT_NUMBER_THEN_OBJECTIVE), 0);
    ASSERT_EQ(VNTLfeasoptext(env, lp, 2, 3, preference, begin, index, "RRR"), 0);
    EXPECT_NEAR(told(lp, VNT_STAT_RELAXED_OPTIMAL).at(0), 9, 1e-6);

    lp = problem_from("max\n x\nst\n a: x >= 5\n b: z >= 1\n c: z = 1 -> x <= 3\n"
                      "bounds\n x <= 20\nbinary\n z\nend\n");
    ASSERT_EQ(VNTLsetintparam(env, VNT_PARAM_FEASOPT_MODE, VNT_FEASOPT_SUM), 0);
    ASSERT_EQ(VNTLfeasoptext(env, lp, 1, 1, nullptr, begin, index, "I"), 0);
    EXPECT_NEAR(told(lp, VNT_STAT_RELAXED).at(0), 5, 1e-6);
}

} // namespace vnt
