#include "solver/calls/test_session.h"

#include <cmath>
#include <random>

namespace vnt {

struct in_a_basis : session {
    VNTLPptr lp = nullptr;
    int rows = 0, cols = 0;

    void solved(VNTLPptr problem)
    {
        lp = problem;
        rows = VNTLgetnumrows(env, lp);
        cols = VNTLgetnumcols(env, lp);
        ASSERT_EQ(VNTLlpopt(env, lp), 0);
        ASSERT_EQ(VNTLgetstat(env, lp), VNT_STAT_OPTIMAL);
    }
    struct ranges {
        std::vector<double> low, high;
    };
    using ranging = int(VNTENVptr, VNTLPptr, double *, double *, int, int);
    ranges ranged(ranging *q, int count)
    {
        ranges r = {std::vector<double>(count), std::vector<double>(count)};
        EXPECT_EQ(q(env, lp, r.low.data(), r.high.data(), 0, count - 1), 0);
        return r;
    }
    // Optimum of a copy of the problem after a change; infinite where nothing is feasible.
    template <class change> double optimum_after(const change &make)
    {
        VNTLPptr other = VNTLcloneprob(env, lp, nullptr);
        EXPECT_EQ(make(other), 0);
        EXPECT_EQ(VNTLprimopt(env, other), 0);
        double value = VNTLgetobjsen(env, lp) * VNT_INFINITY;
        if (VNTLgetstat(env, other) == VNT_STAT_OPTIMAL) value = objective(other);
        EXPECT_EQ(VNTLfreeprob(env, &other), 0);
        return value;
    }
};

// The products of a factory with three plants, as books on the subject have it.
TEST_F(in_a_basis, TheRangesOfATextbookProblem)
{
    solved(problem_from("max\n 3 x + 5 y\nst\n a: x <= 4\n b: 2 y <= 12\n c: 3 x + 2 y <= 18\n"
                        "end\n"));
    ranges cost = ranged(VNTLobjsa, 2), rhs = ranged(VNTLrhssa, 3);
    double inf = VNT_INFINITY;
    near(cost.low, {0, 2}, 1e-9);
    near(cost.high, {7.5, inf}, 1e-9);
    near(rhs.low, {2, 6, 12}, 1e-9);
    near(rhs.high, {inf, 18, 24}, 1e-9);
    double at[4][3];
    ASSERT_EQ(VNTLErangesa(env, lp, at[0], at[1], at[2], at[3], 0, 2), 0);
    near({at[0], at[0] + 3}, {-inf, -inf, -inf}, 1e-9);
    near({at[1], at[1] + 3}, {2, 12, 18}, 1e-9); // up to the activity
    near({at[2], at[2] + 3}, rhs.low, 1e-9);
    near({at[3], at[3] + 3}, rhs.high, 1e-9);
    ASSERT_EQ(VNTLboundsa(env, lp, at[0], at[1], nullptr, at[3], 1, 1), 0);
    EXPECT_EQ(at[1][0], 6);
    EXPECT_EQ(at[0][0], -inf);
    EXPECT_EQ(at[3][0], inf);
}

// The objective is linear inside of a range, and bends at its ends.
struct moved_numbers : in_a_basis {
    // `value` gives the objective with the number `by` away from where it is.
    template <class body>
    void bends(double now, double slope, double low, double high, const body &value)
    {
        double f = objective(lp);
        EXPECT_LE(low, now);
        EXPECT_GE(high, now);
        for (double end : {low, high}) {
            double by = std::fabs(end) >= VNT_INFINITY ? std::copysign(7, end) : (end - now) * 0.99;
            EXPECT_NEAR(value(by), f + slope * by, 1e-6) << now << " to " << end;
            if (std::fabs(end) >= VNT_INFINITY) continue;
            by = end - now + std::copysign(1.0, end == low && low < high ? -1.0 : 1.0);
            bent += std::fabs(value(by) - f - slope * by) > 1e-7;
            ends++;
        }
    }
    int bent = 0, ends = 0;
};

TEST_F(moved_numbers, ObjectivesBendAtTheEndsOfRanges)
{
    std::mt19937 random(4);
    auto real = [&](double from, double to) {
        return std::uniform_real_distribution<double>(from, to)(random);
    };
    for (int round = 0; round < 12; round++) {
        std::ostringstream text;
        text << (round % 2 != 0 ? "max\n " : "min\n ");
        for (int j = 0; j < 6; j++)
            text << " + " << real(-5, 5) << " x" << j;
        text << "\nst\n";
        for (int i = 0; i < 5; i++) {
            for (int j = 0; j < 6; j++)
                text << " + " << real(-3, 3) << " x" << j;
            if (i == 4) {
                text << " = " << real(-2, 2) << "\n";
            } else {
                text << (i % 2 != 0 ? " <= " : " >= ") << real(i % 2 != 0 ? 0 : -9, 9 * (i % 2))
                     << "\n";
            }
        }
        text << "bounds\n";
        for (int j = 0; j < 6; j++)
            text << " " << real(-9, 0) << " <= x" << j << " <= " << real(0, 9) << "\n";
        text << "end\n";
        VNTLPptr made = problem_from(text.str());
        double range = 20;
        int first = 0;
        ASSERT_EQ(VNTLchgsense(env, made, 1, &first, "R"), 0);
        ASSERT_EQ(VNTLchgrngval(env, made, 1, &first, &range), 0);
        VNTLlpopt(env, made);
        if (VNTLgetstat(env, made) != VNT_STAT_OPTIMAL) continue;
        solved(made);
        std::vector<double> x = asked(VNTLgetx, lp, cols), cost = asked(VNTLgetobj, lp, cols),
                            pi = asked(VNTLgetpi, lp, rows), rhs = asked(VNTLgetrhs, lp, rows),
                            dj = asked(VNTLgetdj, lp, cols);
        ranges r = ranged(VNTLobjsa, cols);
        auto with = [&](auto *change, int k, double value) {
            return optimum_after([&](VNTLPptr p) { return change(env, p, 1, &k, &value); });
        };
        for (int j = 0; j < cols; j++)
            bends(cost[j], x[j], r.low[j], r.high[j],
                  [&](double by) { return with(VNTLchgobj, j, cost[j] + by); });
        r = ranged(VNTLrhssa, rows);
        for (int i = 0; i < rows; i++)
            bends(rhs[i], pi[i], r.low[i], r.high[i],
                  [&](double by) { return with(VNTLchgrhs, i, rhs[i] + by); });
        ranges low = r, high = r;
        for (auto *list : {&low.low, &low.high, &high.low, &high.high})
            list->resize(cols);
        ASSERT_EQ(VNTLboundsa(env, lp, low.low.data(), low.high.data(), high.low.data(),
                              high.high.data(), 0, cols - 1),
                  0);
        std::vector<double> lb = asked(VNTLgetlb, lp, cols), ub = asked(VNTLgetub, lp, cols);
        for (int j = 0; j < cols; j++) {
            auto bound = [&](char which, double now) {
                return [this, which, now, j](double by) {
                    double to = now + by;
                    return optimum_after(
                        [&](VNTLPptr p) { return VNTLchgbds(env, p, 1, &j, &which, &to); });
                };
            };
            bool at_low = x[j]<lb[j] + 1e-9, at_high = x[j]> ub[j] - 1e-9;
            bends(lb[j], at_low ? dj[j] : 0, low.low[j], low.high[j], bound('L', lb[j]));
            bends(ub[j], at_high ? dj[j] : 0, high.low[j], high.high[j], bound('U', ub[j]));
        }
    }
    EXPECT_GT(ends, 200);
    EXPECT_EQ(bent, ends) << "a range ends too early";
}

// A matrix of the basis made from the header and the problem itself.
struct basis_matrix : in_a_basis {
    std::vector<int> head;
    std::vector<std::vector<double>> b; // by position

    std::vector<double> column(int member)
    {
        std::vector<double> a(rows, 0.0);
        if (member < 0) {
            a[-1 - member] = 1;
            return a;
        }
        for (int i = 0; i < rows; i++)
            EXPECT_EQ(VNTLgetcoef(env, lp, i, member, &a[i]), 0);
        return a;
    }
    void build()
    {
        head.resize(rows);
        ASSERT_EQ(VNTLgetbhead(env, lp, head.data(), nullptr), 0);
        for (int k = 0; k < rows; k++)
            b.push_back(column(head[k]));
    }
    // B x
    std::vector<double> times(const std::vector<double> &x)
    {
        std::vector<double> sum(rows, 0.0);
        for (int k = 0; k < rows; k++)
            for (int i = 0; i < rows; i++)
                sum[i] += b[k][i] * x[k];
        return sum;
    }
    static double dot(const std::vector<double> &x, const std::vector<double> &y)
    {
        return std::inner_product(x.begin(), x.end(), y.begin(), 0.0);
    }
};

TEST_F(basis_matrix, QueriesOfTheTableauFitTheMatrix)
{
    solved(problem_of_file("afiro.mps"));
    build();
    std::vector<double> v(rows), z(cols), x = asked(VNTLgetx, lp, cols),
                                          slack = asked(VNTLgetslack, lp, rows);
    ASSERT_EQ(VNTLgetbhead(env, lp, nullptr, v.data()), 0);
    for (int k = 0; k < rows; k++) {
        int place = -2, j = head[k];
        EXPECT_NEAR(v[k], j < 0 ? slack[-1 - j] : x[j], 1e-7);
        ASSERT_EQ(VNTLgetijrow(env, lp, j < 0 ? -1 - j : -1, j, &place), 0);
        EXPECT_EQ(place, k);
    }
    for (int k = 0; k < rows; k++) {
        std::vector<double> unit(rows, 0.0);
        unit[k] = 1;
        ASSERT_EQ(VNTLbinvcol(env, lp, k, v.data()), 0);
        near(times(v), unit, 1e-7);
        std::vector<double> same = unit;
        ASSERT_EQ(VNTLftran(env, lp, same.data()), 0);
        EXPECT_EQ(same, v);
        ASSERT_EQ(VNTLbinvrow(env, lp, k, v.data()), 0);
        for (int q = 0; q < rows; q++)
            EXPECT_NEAR(dot(v, b[q]), q == k, 1e-7);
        same = unit;
        ASSERT_EQ(VNTLbtran(env, lp, same.data()), 0);
        EXPECT_EQ(same, v);
        ASSERT_EQ(VNTLbinvarow(env, lp, k, z.data()), 0);
        for (int j = 0; j < cols; j++)
            EXPECT_NEAR(z[j], dot(v, column(j)), 1e-7);
    }
    for (int j = 0; j < cols; j++) {
        ASSERT_EQ(VNTLbinvacol(env, lp, j, v.data()), 0);
        near(times(v), column(j), 1e-7);
        std::vector<double> same(rows);
        std::vector<int> same_head(rows);
        ASSERT_EQ(VNTLgetgrad(env, lp, j, same_head.data(), same.data()), 0);
        EXPECT_EQ(same, v);
        EXPECT_EQ(same_head, head);
    }
}

TEST_F(in_a_basis, TrialBranchesEndWhereTheBranchesEnd)
{
    VNTLPptr mip = problem_of_file("p0033.mps");
    ASSERT_EQ(VNTLchgprobtype(env, mip, VNT_PROB_LP), 0);
    solved(mip);
    std::vector<double> x = asked(VNTLgetx, lp, cols), down(cols), up(cols);
    std::vector<int> all, basic;
    for (int j = 0; j < cols; j++) {
        int place = -1;
        all.push_back(j);
        ASSERT_EQ(VNTLgetijrow(env, lp, -1, j, &place), 0);
        if (place >= 0 && x[j] > 0.01 && x[j] < 0.99) basic.push_back(j);
    }
    ASSERT_EQ(VNTLstrongbranch(env, lp, all.data(), cols, down.data(), up.data(), 1000), 0);
    auto forced = [&](int j, char which, double bound) {
        return optimum_after([&](VNTLPptr p) { return VNTLchgbds(env, p, 1, &j, &which, &bound); });
    };
    for (int j = 0; j < cols; j++) {
        double floor = std::floor(x[j] + 1e-6), below = x[j] - floor < 1e-6 ? floor - 1 : floor;
        EXPECT_NEAR(down[j], below < 0 ? VNT_INFINITY : forced(j, 'U', below), 1e-6) << j;
        EXPECT_NEAR(up[j], floor >= 1 ? VNT_INFINITY : forced(j, 'L', floor + 1), 1e-6) << j;
    }
    ASSERT_GT(basic.size(), 2u);
    int count = static_cast<int>(basic.size());
    ASSERT_EQ(VNTLmdleave(env, lp, basic.data(), count, down.data(), up.data()), 0);
    int alike = 0; // the first step tells all where the next one is not due at once
    for (int k = 0; k < count; k++) {
        int j = basic[k];
        double low = forced(j, 'U', x[j] - 1e-3) - objective(lp) - 1e-3 * down[k];
        double high = forced(j, 'L', x[j] + 1e-3) - objective(lp) - 1e-3 * up[k];
        EXPECT_GT(std::min(low, high), -1e-6);
        alike += (low < 1e-6) + (high < 1e-6);
    }
    EXPECT_GE(alike, 2 * count - 1);
    ASSERT_EQ(VNTLstrongbranch(env, lp, basic.data(), count, down.data(), nullptr, 0), 0);
    EXPECT_NEAR(down[0], objective(lp), 1e-9) << "no step, no change";
}

TEST_F(in_a_basis, WhatDivergesIsNamed)
{
    lp = problem_from("max\n x + z\nst\n a: x <= 4\n b: y - z >= -3\nend\n");
    ASSERT_EQ(VNTLprimopt(env, lp), 0);
    ASSERT_EQ(VNTLgetstat(env, lp), VNT_STAT_UNBOUNDED);
    int row = 7, col = 7;
    ASSERT_EQ(VNTLgetijdiv(env, lp, &row, &col), 0);
    EXPECT_EQ(row, -1);
    EXPECT_EQ(col, 2) << "y takes z along";
}

TEST_F(in_a_basis, TheTableauFollowsItsProblem)
{
    lp = problem_from("max\n x + y\nst\n a: x + y <= 4\n b: x + y <= 5\nend\n");
    int head[2], row;
    double number[2] = {0, 0};
    EXPECT_EQ(VNTLgetbhead(env, lp, head, nullptr), VNTERR_NO_BASIS);
    EXPECT_EQ(VNTLobjsa(env, lp, number, number, 0, 0), VNTERR_NO_SOLUTION);
    solved(lp);
    ASSERT_EQ(VNTLgetbhead(env, lp, head, nullptr), 0);
    int both[2] = {VNT_BASIS_BASIC, VNT_BASIS_BASIC}, none[2] = {0, 0};
    ASSERT_EQ(VNTLcopybase(env, lp, none, both), 0);
    ASSERT_EQ(VNTLgetbhead(env, lp, head, number), 0);
    EXPECT_EQ(head[0] + head[1], -3);
    EXPECT_EQ(number[0] + number[1], 9) << "the slacks at the origin";
    EXPECT_EQ(VNTLobjsa(env, lp, number, number, 0, 0), VNTERR_NO_BASIS) << "not the optimal one";
    ASSERT_EQ(VNTLcopybase(env, lp, both, none), 0);
    EXPECT_EQ(VNTLgetbhead(env, lp, head, number), VNTERR_BAD_BASIS) << "singular";
    ASSERT_EQ(VNTLcopybase(env, lp, none, both), 0);
    EXPECT_EQ(VNTLbinvcol(env, lp, 2, number), VNTERR_INDEX_RANGE);
    EXPECT_EQ(VNTLbinvarow(env, lp, -1, number), VNTERR_INDEX_RANGE);
    EXPECT_EQ(VNTLgetijrow(env, lp, 0, 0, &row), VNTERR_BAD_ARGUMENT);
    number[0] = NAN;
    EXPECT_EQ(VNTLftran(env, lp, number), VNTERR_BAD_NUMBER);
    double three = 3;
    ASSERT_EQ(VNTLchgcoef(env, lp, 0, 0, three), 0);
    ASSERT_EQ(VNTLbinvacol(env, lp, 0, number), 0);
    EXPECT_EQ(number[0] + number[1], 4) << "of the changed matrix";
}

TEST_F(in_a_basis, SiftingAndNetworksEndWhereTheOthersEnd)
{
    for (auto &solve :
         {+[](VNTENVptr e, VNTLPptr p) { return VNTLsiftopt(e, p); },
          +[](VNTENVptr e, VNTLPptr p) { return VNTLhybnetopt(e, p, VNT_METHOD_PRIMAL); }}) {
        lp = problem_of_file("afiro.mps");
        ASSERT_EQ(solve(env, lp), 0);
        EXPECT_NEAR(objective(lp), -464.7531428571, 1e-6);
    }
    EXPECT_EQ(VNTLhybnetopt(env, lp, VNT_METHOD_MIP), VNTERR_BAD_ARGUMENT);
}

} // namespace vnt
