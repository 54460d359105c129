#include "solver/calls/test_session.h"
#include "solver/formats/files.h"

#include <cmath>
#include <random>
#include <unistd.h>

namespace vnt {

struct networks : session {
    VNTNETptr net = nullptr;

    void SetUp() override
    {
        session::SetUp();
        net = create();
    }
    VNTNETptr create()
    {
        int status = -1;
        VNTNETptr fresh = VNTLNETcreateprob(env, &status, "flows");
        EXPECT_EQ(status, 0);
        return fresh;
    }

    // Two sources, one way station and a sink; solved by hand below.
    //     0 (+4) costs 2 to 2, 4 directly to 3 (at most 2); 1 (+5) costs 1 to 2; 2 costs 3 to 3
    //     (-9)
    void small()
    {
        double supply[] = {4, 5, 0, -9}, up[] = {VNT_INFINITY, VNT_INFINITY, VNT_INFINITY, 2};
        int from[] = {0, 1, 2, 0}, to[] = {2, 2, 3, 3};
        double cost[] = {2, 1, 3, 4};
        const char *nodes[] = {"one", "two", "way", "sink"};
        ASSERT_EQ(VNTLNETcopynet(env, net, VNT_MIN, 4, supply, nodes, 4, from, to, nullptr, up,
                                 cost, nullptr),
                  0);
    }
    double value(VNTNETptr of)
    {
        double objective = -1;
        EXPECT_EQ(VNTLNETgetobjval(env, of, &objective), 0);
        return objective;
    }
};

// 2 units go directly for 4 each, which saves 1 against the way; the other 7 take the way: 2 from
// the first source and 5 from the second.  8 + 2*2 + 5*1 + 7*3 = 38.
TEST_F(networks, ASmallFlowIsTheOneFoundByHand)
{
    small();
    EXPECT_EQ(VNTLNETgetx(env, net, nullptr, 0, 0), VNTERR_NO_SOLUTION);
    EXPECT_EQ(VNTLNETgetstat(env, net), VNT_STAT_NONE);
    ASSERT_EQ(VNTLNETprimopt(env, net), 0) << heard[CHANNEL_ERROR];
    int status = -1, primal = 0, dual = 0;
    double objective, x[4], pi[4], slack[4], dj[4], again[4];
    ASSERT_EQ(VNTLNETsolution(env, net, &status, &objective, x, pi, slack, dj), 0);
    EXPECT_EQ(status, VNT_STAT_OPTIMAL);
    EXPECT_EQ(objective, 38);
    EXPECT_EQ(value(net), 38);
    double flow[] = {2, 5, 7, 2}, cost[] = {2, 1, 3, 4};
    int from[] = {0, 1, 2, 0}, to[] = {2, 2, 3, 3};
    for (int k = 0; k < 4; k++) {
        EXPECT_EQ(x[k], flow[k]) << k;
        EXPECT_DOUBLE_EQ(dj[k], cost[k] - pi[from[k]] + pi[to[k]]) << k;
        EXPECT_EQ(slack[k], 0) << k;
    }
    EXPECT_DOUBLE_EQ(dj[3], -1) << "one more unit on the direct arc would save 1";
    ASSERT_EQ(VNTLNETgetx(env, net, again, 1, 2), 0);
    EXPECT_EQ(again[1], 7);
    ASSERT_EQ(VNTLNETgetpi(env, net, again, 0, 3), 0);
    EXPECT_EQ(again[1], pi[1]);
    ASSERT_EQ(VNTLNETgetdj(env, net, again, 3, 3), 0);
    EXPECT_EQ(again[0], dj[3]);
    ASSERT_EQ(VNTLNETgetslack(env, net, again, 0, 3), 0);
    ASSERT_EQ(VNTLNETsolninfo(env, net, &primal, &dual), 0);
    EXPECT_EQ(primal + dual, 2);
    EXPECT_LE(VNTLNETgetphase1cnt(env, net), VNTLNETgetitcnt(env, net));

    // The basis is a spanning tree with one node's equation; from it there is nothing to do.
    int astat[4], nstat[4], basic = 0;
    ASSERT_EQ(VNTLNETgetbase(env, net, astat, nstat), 0);
    for (int k = 0; k < 4; k++)
        basic += (astat[k] == VNT_BASIS_BASIC) + (nstat[k] == VNT_BASIS_BASIC);
    EXPECT_EQ(basic, 4);
    EXPECT_EQ(astat[3], VNT_BASIS_UPPER);
    ASSERT_EQ(VNTLNETbasewrite(env, net, path.c_str()), 0);
    small();
    EXPECT_EQ(VNTLNETgetbase(env, net, astat, nstat), VNTERR_NO_BASIS);
    ASSERT_EQ(VNTENETreadcopybase(env, net, path.c_str(), nullptr, 0), 0) << heard[CHANNEL_ERROR];
    ASSERT_EQ(VNTLNETprimopt(env, net), 0);
    EXPECT_EQ(VNTLNETgetitcnt(env, net), 0);
    small();
    EXPECT_EQ(VNTLNETcopybase(env, net, nstat, nstat), VNTERR_BAD_BASIS);
    ASSERT_EQ(VNTLNETcopybase(env, net, astat, nstat), 0);
    ASSERT_EQ(VNTLNETprimopt(env, net), 0);
    EXPECT_EQ(VNTLNETgetitcnt(env, net), 0);
    EXPECT_EQ(value(net), 38);
}

TEST_F(networks, ChangesShowInTheAnswer)
{
    small();
    int arc = 3, way = 2;
    double up = 0, dear = 5, less[] = {3, -8};
    int ends[] = {0, 3};
    ASSERT_EQ(VNTLNETchgbds(env, net, 1, &arc, "U", &up), 0);
    ASSERT_EQ(VNTLNETprimopt(env, net), 0);
    EXPECT_EQ(value(net), 4 * 2 + 5 + 9 * 3); // all take the way
    ASSERT_EQ(VNTLNETchgobj(env, net, 1, &way, &dear), 0);
    ASSERT_EQ(VNTLNETchgsupply(env, net, 2, ends, less), 0);
    EXPECT_EQ(VNTLNETgetstat(env, net), VNT_STAT_NONE);
    ASSERT_EQ(VNTLNETprimopt(env, net), 0);
    EXPECT_EQ(value(net), 3 * 2 + 5 + 8 * 5);
    less[0] = 2; // more is wanted than there is
    ASSERT_EQ(VNTLNETchgsupply(env, net, 1, ends, less), 0);
    ASSERT_EQ(VNTLNETprimopt(env, net), 0);
    EXPECT_EQ(VNTLNETgetstat(env, net), VNT_STAT_INFEASIBLE);
    // A circle that gains for ever.
    double gain = -9;
    int back = 3, to = 0;
    less[0] = 3;
    ASSERT_EQ(VNTLNETchgsupply(env, net, 1, ends, less), 0);
    ASSERT_EQ(VNTLNETaddarcs(env, net, 1, &back, &to, nullptr, nullptr, &gain, nullptr), 0);
    ASSERT_EQ(VNTLNETprimopt(env, net), 0);
    EXPECT_EQ(VNTLNETgetstat(env, net), VNT_STAT_UNBOUNDED);
    ASSERT_EQ(VNTLNETchgobjsen(env, net, VNT_MAX), 0);
    EXPECT_EQ(VNTLNETgetobjsen(env, net), VNT_MAX);
    up = 1;
    int circle = 4;
    ASSERT_EQ(VNTLNETchgbds(env, net, 1, &circle, "U", &up), 0);
    ASSERT_EQ(VNTLNETprimopt(env, net), 0);
    EXPECT_EQ(value(net), 3 * 2 + 5 + 8 * 5) << "the circle costs 2, and so is not taken";
}

TEST_F(networks, WhatWasBuiltIsToldAndDeletedArcsMove)
{
    small();
    double supply = 1, some[4];
    const char *name = "five";
    ASSERT_EQ(VNTLNETaddnodes(env, net, 1, &supply, &name), 0);
    EXPECT_EQ(VNTLNETgetnumnodes(env, net), 5);
    EXPECT_EQ(VNTLNETgetnumarcs(env, net), 4);
    int index = -1, from[2], to[2], first[2], arcs[4], count = 0, surplus = 0;
    ASSERT_EQ(VNTLNETgetnodeindex(env, net, "way", &index), 0);
    EXPECT_EQ(index, 2);
    ASSERT_EQ(VNTLNETgetarcindex(env, net, "a2", &index), 0);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(VNTLNETgetarcindex(env, net, "b", &index), VNTERR_NAME_NOT_FOUND);
    ASSERT_EQ(VNTLNETgetarcnodes(env, net, from, to, 2, 3), 0);
    EXPECT_EQ(from[0], 2);
    EXPECT_EQ(to[1], 3);
    EXPECT_EQ(VNTLNETgetnodearcs(env, net, &count, first, arcs, 3, &surplus, 1, 2),
              VNTERR_SPACE_TOO_SMALL);
    EXPECT_EQ(surplus, -1);
    ASSERT_EQ(VNTLNETgetnodearcs(env, net, &count, first, arcs, 4, &surplus, 1, 2), 0);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(first[1], 1);
    EXPECT_EQ(std::vector<int>(arcs, arcs + 4), (std::vector<int>{1, 0, 1, 2}));
    ASSERT_EQ(VNTLNETgetsupply(env, net, some, 3, 4), 0);
    EXPECT_EQ(some[0] + some[1], -8);
    ASSERT_EQ(VNTLNETgetlb(env, net, some, 0, 0), 0);
    EXPECT_EQ(some[0], 0);
    ASSERT_EQ(VNTLNETgetub(env, net, some, 3, 3), 0);
    EXPECT_EQ(some[0], 2);
    ASSERT_EQ(VNTLNETgetobj(env, net, some, 1, 2), 0);
    EXPECT_EQ(some[1], 3);
    char store[40], *names[2];
    int64_t left = 0;
    ASSERT_EQ(VNTLNETgetnodename(env, net, names, store, sizeof store, &left, 0, 1), 0);
    EXPECT_STREQ(names[1], "two");
    const char *fresh = "direct", *tree = "tree";
    int last = 3;
    ASSERT_EQ(VNTLNETchgarcname(env, net, 1, &last, &fresh), 0);
    ASSERT_EQ(VNTLNETchgnodename(env, net, 1, &last, &tree), 0);
    ASSERT_EQ(VNTLNETchgname(env, net, 'n', 0, "root"), 0);
    EXPECT_EQ(VNTLNETchgname(env, net, 'c', 0, "root"), VNTERR_BAD_ARGUMENT);
    ASSERT_EQ(VNTLNETgetarcname(env, net, names, store, sizeof store, &left, 3, 3), 0);
    EXPECT_STREQ(names[0], "direct");
    ASSERT_EQ(VNTLNETgetprobname(env, net, store, sizeof store, &left), 0);
    EXPECT_STREQ(store, "flows");
    int node = 1, way = 2;
    ASSERT_EQ(VNTLNETchgarcnodes(env, net, 1, &last, &node, &way), 0);
    int marks[] = {1, 0, 0, 0, 0}, moved[] = {0, 0, 0, 0};
    ASSERT_EQ(VNTLNETdelset(env, net, marks, moved), 0); // the first arc goes with its node
    EXPECT_EQ(std::vector<int>(marks, marks + 5), (std::vector<int>{-1, 0, 1, 2, 3}));
    EXPECT_EQ(std::vector<int>(moved, moved + 4), (std::vector<int>{-1, 0, 1, 2}));
    ASSERT_EQ(VNTLNETgetarcnodes(env, net, from, to, 2, 2), 0);
    EXPECT_EQ(from[0], 0);
    EXPECT_EQ(to[0], 1);
    ASSERT_EQ(VNTLNETdelarcs(env, net, 0, 0), 0);
    ASSERT_EQ(VNTLNETdelnodes(env, net, 2, 3), 0);
    EXPECT_EQ(VNTLNETgetnumnodes(env, net), 2);
    EXPECT_EQ(VNTLNETgetnumarcs(env, net), 1);
    EXPECT_EQ(VNTLNETdelarcs(env, net, 0, 1), VNTERR_INDEX_RANGE);
    int nowhere = 2;
    EXPECT_EQ(VNTLNETaddarcs(env, net, 1, &node, &nowhere, nullptr, nullptr, nullptr, nullptr),
              VNTERR_INDEX_RANGE);
    VNTNETptr gone = net;
    ASSERT_EQ(VNTLNETfreeprob(env, &net), 0);
    EXPECT_EQ(net, nullptr);
    EXPECT_EQ(VNTLNETgetnumnodes(env, gone), 0);
    EXPECT_EQ(VNTLNETprimopt(env, gone), VNTERR_NO_PROBLEM);
}

TEST_F(networks, ThePublishedProblemReachesItsPublishedValue)
{
    std::string file = source_path("test/models/netgen_8_08a.min");
    ASSERT_EQ(VNTENETreadcopyprob(env, net, file.c_str(), nullptr, 0), 0) << heard[CHANNEL_ERROR];
    ASSERT_EQ(VNTLNETprimopt(env, net), 0);
    EXPECT_EQ(value(net), 142274536);
    VNTLPptr lp = problem_of_file("netgen_8_08a.min");
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_DOUBLE_EQ(objective(lp), 142274536);
    VNTLPptr copy = problem();
    ASSERT_EQ(VNTLcopynettolp(env, copy, net), 0);
    EXPECT_EQ(all_of(copy), all_of(lp));
    ASSERT_EQ(VNTLprimopt(env, copy), 0);
    EXPECT_EQ(VNTLgetitcnt(env, copy), 0) << "it comes with the basis";

    // Found again in the problem, and written and read.
    std::vector<int> cols(2048 + 256), rows(256 + 1);
    VNTNETptr other = create();
    ASSERT_EQ(VNTLNETextract(env, other, lp, cols.data(), rows.data()), 0);
    EXPECT_EQ(VNTLNETgetnumarcs(env, other), 2048);
    EXPECT_EQ(VNTLNETgetnumnodes(env, other), 256);
    EXPECT_EQ(cols[2047] + rows[255], 2047 + 255);
    ASSERT_EQ(VNTLNETwriteprob(env, other, path.c_str(), "min"), 0);
    ASSERT_EQ(read_text(VNTENETreadcopyprob, other, written()), 0);
    ASSERT_EQ(VNTLNETprimopt(env, other), 0);
    EXPECT_EQ(value(other), 142274536);
    EXPECT_EQ(VNTLNETwriteprob(env, other, "x.mps", nullptr), VNTERR_FILE_TYPE);
}

// Problems whose rows are those of a network, with signs turned, ranges and open ends: what is
// extracted has the same optimal value as the problem itself.
TEST_F(networks, AnExtractedNetworkIsTheProblemThatItWasTakenFrom)
{
    std::mt19937 random(5);
    auto below = [&](int n) { return static_cast<int>(random() % n); };
    int whole = 0;
    for (int round = 0; round < 40; round++) {
        SCOPED_TRACE(round);
        constexpr int nodes = 6, arcs = 14;
        VNTLPptr lp = problem();
        std::vector<int> sign(nodes);
        for (int i = 0; i < nodes; i++) {
            char sense = "LGRE"[below(4)];
            double rhs = below(5) - 2, range = 1 + below(3);
            sign[i] = below(2) ? 1 : -1;
            ASSERT_EQ(VNTLnewrows(env, lp, 1, &rhs, &sense, &range, nullptr), 0);
        }
        for (int j = 0; j < arcs; j++) {
            double cost = below(9) - 4, low = -below(3), high = below(4);
            ASSERT_EQ(VNTLnewcols(env, lp, 1, &cost, &low, &high, nullptr, nullptr), 0);
            int from = below(nodes), to = below(nodes + 1);
            ASSERT_EQ(VNTLchgcoef(env, lp, from, j, sign[from]), 0);
            if (to == nodes || to == from) continue;
            ASSERT_EQ(VNTLchgcoef(env, lp, to, j, -sign[to]), 0);
        }
        std::vector<int> cols(arcs + nodes), rows(nodes + 1);
        ASSERT_EQ(VNTLNETextract(env, net, lp, cols.data(), rows.data()), 0);
        rows.resize(VNTLNETgetnumnodes(env, net));
        if (std::count(rows.begin(), rows.end(), -1) + nodes != static_cast<int>(rows.size()))
            continue; // the signs that were tried first kept a row out
        whole++;
        ASSERT_EQ(VNTLlpopt(env, lp), 0);
        ASSERT_EQ(VNTLNETprimopt(env, net), 0);
        ASSERT_EQ(VNTLNETgetstat(env, net), VNTLgetstat(env, lp));
        if (VNTLgetstat(env, lp) != VNT_STAT_OPTIMAL) continue;
        EXPECT_NEAR(value(net), objective(lp), 1e-9);
    }
    EXPECT_GT(whole, 5);
}

TEST_F(networks, MalformedFilesTellTheLineAndLeaveTheNetwork)
{
    small();
    struct {
        const char *text, *says;
    } cases[] = {
        {"c nothing\n", "no header"},
        {"p max 2 1\n", "line 1: not a minimum-cost flow"},
        {"p min 2 1\n", "not as many arcs"},
        {"p min 2 1\na 1 3 0 1 1\n", "line 2: a number that cannot be"},
        {"p min 2 1\na 0 1 0 1 1\n", "numbered from 1"},
        {"p min 2 1\na 1 2 0 x 1\n", "no number"},
        {"p min 2 1\na 1 2 0 1 1e20\n", "infinite cost"},
        {"p min 2 0\nn 3 1\n", "cannot be"},
        {"p min 2 0\nn 1 1e20\n", "not a node"},
        {"p min 2 0\np min 2 0\n", "second header"},
        {"p min 50000000 0\n", "more nodes than a file of this size can have"},
        {"a 1 2 0 1 1\n", "line 1"},
    };
    for (auto &c : cases) {
        SCOPED_TRACE(c.text);
        heard[CHANNEL_ERROR].clear();
        EXPECT_EQ(read_text(VNTENETreadcopyprob, net, c.text), VNTERR_FILE_FORMAT);
        EXPECT_TRUE(has(heard[CHANNEL_ERROR], c.says));
        EXPECT_EQ(VNTLNETgetnumarcs(env, net), 4);
    }
    ASSERT_EQ(VNTLNETchgobjsen(env, net, VNT_MAX), 0);
    EXPECT_EQ(VNTLNETwriteprob(env, net, "x.min", nullptr), VNTERR_FILE_FEATURE);
}

} // namespace vnt
