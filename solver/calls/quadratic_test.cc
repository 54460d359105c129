#include "solver/calls/test_session.h"

#include <cmath>
#include <random>

namespace vnt {

struct quadratic : session {
    int stat_of(const std::string &text)
    {
        VNTLPptr lp = problem_from(text);
        EXPECT_EQ(VNTLqpopt(env, lp), 0) << heard[CHANNEL_ERROR];
        return VNTLgetstat(env, lp);
    }
};

TEST_F(quadratic, PublishedProblemsReachTheirPublishedValues)
{
    VNTLPptr lp = problem_of_file("hs21.qps");
    EXPECT_EQ(VNTLgetprobtype(env, lp), VNT_PROB_QP);
    EXPECT_EQ(VNTLlpopt(env, lp), VNTERR_NOT_LP);
    ASSERT_EQ(VNTLqpopt(env, lp), 0) << heard[CHANNEL_ERROR];
    EXPECT_NEAR(objective(lp), -99.96, 99.96e-5);
    lp = problem_of_file("dual1.qps");
    ASSERT_EQ(VNTLqpopt(env, lp), 0) << heard[CHANNEL_ERROR];
    EXPECT_NEAR(objective(lp), 0.0350129657, 0.035e-5);
    EXPECT_EQ(VNTLgetnumquad(env, lp), 85);
}

// The point of x + y >= 4 that is nearest to (1, 2): (1.5, 2.5), where the gradient (x - 1, y - 2)
// of half the squared distance is pi times the row.
TEST_F(quadratic, PricesAndReducedCostsHaveTheSignsOfLinearProblems)
{
    VNTLPptr lp =
        problem_from("min\n - x - 2 y + 2.5 + [ x^2 + y^2 ]/2\nst\n c: x + y >= 4\nend\n");
    expect_optimum(VNTLqpopt, lp, 0.25);
    near(asked(VNTLgetx, lp, 2), {1.5, 2.5}, 1e-6);
    near(asked(VNTLgetpi, lp, 1), {0.5}, 1e-6);
    near(asked(VNTLgetdj, lp, 2), {0, 0}, 1e-6);
    near(asked(VNTLgetslack, lp, 1), {0}, 1e-6);
    // With x at most 1 its reduced cost is what more room would bring: y = 3, pi = 1, dj = -1.
    int column = 0;
    double one = 1, there[] = {1, 3}, again[2];
    ASSERT_EQ(VNTLchgbds(env, lp, 1, &column, "U", &one), 0);
    expect_optimum(VNTLqpopt, lp, 0.5);
    near(asked(VNTLgetpi, lp, 1), {1}, 1e-5);
    near(asked(VNTLgetdj, lp, 2), {-1, 0}, 1e-5);
    ASSERT_EQ(VNTLqpdjfrompi(env, lp, &one, there, again), 0);
    EXPECT_EQ(again[0], -1);
    EXPECT_EQ(again[1], 0);
    // The same, maximised: all signs turn.
    lp = problem_from("max\n x + 2 y - 2.5 + [ - x^2 - y^2 ]/2\nst\n c: x + y >= 4\n"
                      "bounds\n x <= 1\nend\n");
    expect_optimum(VNTLqpopt, lp, -0.5);
    near(asked(VNTLgetpi, lp, 1), {-1}, 1e-5);
    near(asked(VNTLgetdj, lp, 2), {1, 0}, 1e-5);
}

TEST_F(quadratic, ProblemsWithoutASolutionSayWhy)
{
    EXPECT_EQ(stat_of("min\n [ x^2 ]/2\nst\n x + y >= 4\n x + y <= 3\nend\n"), VNT_STAT_INFEASIBLE);
    EXPECT_EQ(
        stat_of("min\n - y + [ x^2 ]/2\nst\n x - y >= -4\n z + y <= 3\nbounds\n z free\nend\n"),
        VNT_STAT_OPTIMAL);
    EXPECT_EQ(
        stat_of("min\n - y + [ x^2 ]/2\nst\n x + z >= 4\n z + y <= 3\nbounds\n z free\nend\n"),
        VNT_STAT_OPTIMAL)
        << "z must fall for y to grow, and x grows with its square";
    EXPECT_EQ(stat_of("min\n - y + [ x^2 ]/2\nst\n x - y <= 4\nend\n"), VNT_STAT_UNBOUNDED);
    // x = y leads down and is flat: (x - y)^2.
    EXPECT_EQ(stat_of("max\n x + y + [ - x^2 + 2 x*y - y^2 ]/2\nst\n x - y <= 4\nend\n"),
              VNT_STAT_UNBOUNDED);
    EXPECT_EQ(stat_of("min\n [ x^2 ]/2\nst\n x = 1\n 2 x = 2\n 3 x = 3\nend\n"), VNT_STAT_OPTIMAL)
        << "more equations than columns";
    // Twice the squares of integers.
    VNTLPptr lp = problem_from("min\n [ x^2 ]\ngeneral\n x\nend\n");
    EXPECT_EQ(VNTLgetprobtype(env, lp), VNT_PROB_MIQP);
    EXPECT_EQ(VNTLmipopt(env, lp), VNTERR_NOT_SUPPORTED);
    EXPECT_EQ(VNTLqpopt(env, lp), VNTERR_NOT_SUPPORTED);
}

// Products A'A are convex, and with less on the diagonal they are not any more: the certificate is
// judged by its value alone.
TEST_F(quadratic, WhatIsNotConvexIsShownByADirection)
{
    std::mt19937 random(7);
    std::uniform_int_distribution<int> small(-3, 3);
    for (int round = 0; round < 60; round++) {
        SCOPED_TRACE(round);
        constexpr int n = 7, rank = 3;
        double a[rank][n], q[n][n] = {};
        VNTLPptr lp = problem();
        ASSERT_EQ(VNTLnewcols(env, lp, n, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
        for (auto &row : a)
            for (double &v : row)
                v = small(random);
        for (int i = 0; i < n; i++)
            for (int j = 0; j < n; j++)
                for (auto &row : a)
                    q[i][j] += row[i] * row[j];
        for (int i = 0; i < n; i++)
            for (int j = 0; j <= i; j++)
                ASSERT_EQ(VNTLchgqpcoef(env, lp, i, j, q[i][j]), 0);
        double d[n], curve = 0;
        if (VNTLgetnumqpnz(env, lp) == 0) continue;
        ASSERT_EQ(VNTLqpindefcertificate(env, lp, d), VNTERR_NO_SOLUTION) << "of rank 3";
        q[round % n][round % n] -= 0.5;
        ASSERT_EQ(VNTLchgqpcoef(env, lp, round % n, round % n, q[round % n][round % n]), 0);
        int status = VNTLqpindefcertificate(env, lp, d);
        if (status == VNTERR_NO_SOLUTION) continue; // the rank of a single column may bear it
        ASSERT_EQ(status, 0);
        for (int i = 0; i < n; i++)
            for (int j = 0; j < n; j++)
                curve += d[i] * q[i][j] * d[j];
        EXPECT_LT(curve, 0);
        EXPECT_EQ(VNTLqpopt(env, lp), VNTERR_NOT_CONVEX);
    }
    VNTLPptr lp = problem_from("min\n [ x * y ]\nend\n"); // nothing on the diagonal
    double d[2];
    ASSERT_EQ(VNTLqpindefcertificate(env, lp, d), 0);
    EXPECT_LT(d[0] * d[1], 0);
    ASSERT_EQ(VNTLchgobjsen(env, lp, VNT_MAX), 0);
    ASSERT_EQ(VNTLqpindefcertificate(env, lp, d), 0);
    EXPECT_GT(d[0] * d[1], 0);
}

TEST_F(quadratic, TheMatrixIsToldAsItWasGiven)
{
    VNTLPptr lp = problem_from("min\n x + y + z\nend\n");
    EXPECT_EQ(VNTLqpindefcertificate(env, lp, nullptr), VNTERR_WRONG_TYPE);
    int64_t begin[] = {0, 2, 4};
    int count[] = {2, 2, 0}, index[] = {0, 1, 1, 0}, found[4];
    double value[] = {2, -1, 4, -1}, back[4], coefficient = 0, diagonal[] = {1, 0, 3};
    ASSERT_EQ(VNTLcopyquad(env, lp, begin, count, index, value), 0);
    EXPECT_EQ(VNTLgetprobtype(env, lp), VNT_PROB_QP);
    EXPECT_EQ(VNTLgetnumqpnz(env, lp), 4);
    EXPECT_EQ(VNTLgetnumquad(env, lp), 2);
    ASSERT_EQ(VNTLgetqpcoef(env, lp, 1, 0, &coefficient), 0);
    EXPECT_EQ(coefficient, -1);
    int64_t entries = 0, start[2], surplus = 0;
    EXPECT_EQ(VNTLgetquad(env, lp, &entries, start, found, back, 1, &surplus, 1, 2),
              VNTERR_SPACE_TOO_SMALL);
    EXPECT_EQ(surplus, -1);
    ASSERT_EQ(VNTLgetquad(env, lp, &entries, start, found, back, 4, &surplus, 1, 2), 0);
    EXPECT_EQ(entries, 2);
    EXPECT_EQ(start[1], 2);
    EXPECT_EQ(found[0] + found[1], 1);
    EXPECT_EQ(back[0] + back[1], 3);
    value[3] = 1;
    EXPECT_EQ(VNTLcopyquad(env, lp, begin, count, index, value), VNTERR_BAD_ARGUMENT);
    ASSERT_EQ(VNTLgetqpcoef(env, lp, 0, 1, &coefficient), 0);
    EXPECT_EQ(coefficient, -1);
    ASSERT_EQ(VNTLdelcols(env, lp, 0, 0), 0);
    ASSERT_EQ(VNTLgetqpcoef(env, lp, 0, 0, &coefficient), 0);
    EXPECT_EQ(coefficient, 4);
    ASSERT_EQ(VNTLdelcols(env, lp, 0, 0), 0);
    EXPECT_EQ(VNTLgetprobtype(env, lp), VNT_PROB_LP) << "no entry is left";
    ASSERT_EQ(VNTLnewcols(env, lp, 2, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(VNTLcopyqpsep(env, lp, diagonal), 0);
    EXPECT_EQ(VNTLgetnumqpnz(env, lp), 2);
    EXPECT_EQ(VNTLchgqpcoef(env, lp, 0, 3, 1), VNTERR_INDEX_RANGE);
    ASSERT_EQ(VNTLchgqpcoef(env, lp, 0, 2, 0.5), 0);
    ASSERT_EQ(VNTLgetqpcoef(env, lp, 2, 0, &coefficient), 0);
    EXPECT_EQ(coefficient, 0.5);
    ASSERT_EQ(VNTLchgprobtype(env, lp, VNT_PROB_LP), 0);
    EXPECT_EQ(VNTLgetnumqpnz(env, lp), 0);
}

} // namespace vnt
