// Files of the search's starting points: orders of branching, MIP starts, solutions.

#include "solver/calls/test_session.h"

namespace vnt {

// min 3 x + 2 y, x + y >= 4.5, x <= 3, both integer: y = 5.
static const char integers[] = "min\n cost: 3 x + 2 y\nst\n need: x + y >= 4.5\n"
                               "bounds\n x <= 3\n y <= 9\ngenerals\n x y\nend\n";

struct start_files : session {
    std::string order_of(VNTLPptr lp)
    {
        int count = 0, surplus, column[5], priority[5], direction[5];
        EXPECT_EQ(VNTLgetorder(env, lp, &count, column, priority, direction, 5, &surplus), 0);
        std::string out;
        for (int k = 0; k < count; k++)
            out += printed("%d:%d:%d ", column[k], priority[k], direction[k]);
        return out;
    }
    std::string starts_of(VNTLPptr lp)
    {
        int64_t surplus, nz, begin[5];
        int column[9], effort[5], count = VNTLgetnummipstarts(env, lp);
        double value[9];
        EXPECT_EQ(
            VNTLgetmipstarts(env, lp, &nz, begin, column, value, effort, 9, &surplus, 0, count - 1),
            0);
        std::string out;
        for (int k = 0; k < count; k++) {
            out += name_of(lp, VNTLgetmipstartname, k) + printed(" %d", effort[k]);
            for (int64_t e = begin[k]; e < (k + 1 < count ? begin[k + 1] : nz); e++)
                out += printed(" %d=%g", column[e], value[e]);
            out += "; ";
        }
        return out;
    }
    int64_t iterations_of_solving(VNTLPptr lp)
    {
        EXPECT_EQ(VNTLlpopt(env, lp), 0);
        return VNTLgetitcnt(env, lp);
    }
};

TEST_F(start_files, AnOrderIsReadAndWritten)
{
    VNTLPptr lp = problem_from(integers);
    EXPECT_EQ(VNTLchgname(env, lp, 'c', 1, "two words"), 0);
    const std::string text = "order of test\n10 up two words\n0 down x\nend\n";
    ASSERT_EQ(read_text(VNTEreadcopyorder, lp, text), 0) << heard[CHANNEL_ERROR];
    EXPECT_EQ(order_of(lp), "1:10:1 0:0:-1 ");
    EXPECT_EQ(VNTLordwrite(env, lp, path.c_str()), 0);
    EXPECT_EQ(written(), text);

    const char *const names[] = {"a", "two words", "b", "x"};
    int count = -1, column[4], priority[4], direction[4];
    EXPECT_EQ(
        VNTEordread(env, path.c_str(), nullptr, 0, 4, names, &count, column, priority, direction),
        0);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(column[0] * 100 + priority[0] * 10 + direction[0], 100 + 100 + 1);
    EXPECT_EQ(column[1] * 100 + priority[1] * 10 + direction[1], 300 - 1);
    EXPECT_EQ(
        VNTEordread(env, path.c_str(), nullptr, 0, 3, names, nullptr, nullptr, nullptr, nullptr),
        VNTERR_FILE_FORMAT); // no x
    EXPECT_EQ(
        VNTEordread(env, path.c_str(), nullptr, 0, 3, nullptr, &count, nullptr, nullptr, nullptr),
        VNTERR_NULL_POINTER);
}

TEST_F(start_files, StartsAreReadAndWritten)
{
    VNTLPptr lp = problem_from(integers);
    const std::string text = "starts of test\n"
                             "start 4 2 first of all\n2 y\n2.5 x\n"
                             "start 0 1 m2\n1e3 y\nend\n";
    ASSERT_EQ(read_text(VNTEreadcopymipstarts, lp, text), 0) << heard[CHANNEL_ERROR];
    EXPECT_EQ(starts_of(lp), "first of all 4 1=2 0=2.5; m2 0 1=1000; ");
    EXPECT_EQ(VNTLwritemipstarts(env, lp, path.c_str(), 0, 1), 0);
    EXPECT_EQ(written(), "starts of test\nstart 4 2 first of all\n2 y\n2.5 x\n"
                         "start 0 1 m2\n1000 y\nend\n");
    EXPECT_EQ(VNTLwritemipstarts(env, lp, path.c_str(), 1, 1), 0);
    EXPECT_EQ(read_text(VNTEreadcopymipstarts, lp, written()), 0);
    EXPECT_EQ(starts_of(lp), "m2 0 1=1000; ");
    EXPECT_EQ(VNTLwritemipstarts(env, lp, path.c_str(), 0, 1), VNTERR_INDEX_RANGE);
}

// The pool of one problem is where another one starts.
TEST_F(start_files, ASolutionIsWhereASearchStarts)
{
    VNTLPptr lp = problem_from(integers), other = problem_from(integers);
    ASSERT_EQ(read_text(VNTEreadcopymipstarts, lp, "starts of t\nstart 0 2 m\n3 x\n2 y\nend\n"), 0);
    ASSERT_EQ(VNTLmipopt(env, lp), 0);
    EXPECT_EQ(objective(lp), 10);
    ASSERT_GT(VNTLgetsolnpoolnumsolns(env, lp), 1); // 13 with x = 3, y = 2 came first
    ASSERT_EQ(VNTLsolwritesolnpoolall(env, lp, path.c_str()), 0);
    ASSERT_EQ(VNTEreadcopysol(env, other, path.c_str(), nullptr, 0), 0) << heard[CHANNEL_ERROR];
    EXPECT_EQ(VNTLgetnummipstarts(env, other), VNTLgetsolnpoolnumsolns(env, lp));
    EXPECT_EQ(starts_of(other).substr(0, 15), "m1 0 0=3 1=2; m");
    ASSERT_EQ(VNTLsolwrite(env, lp, path.c_str()), 0);
    ASSERT_EQ(VNTEreadcopysol(env, other, path.c_str(), nullptr, 0), 0);
    EXPECT_EQ(starts_of(other), "m1 0 0=0 1=5; ");
}

// A textbook's product mix: 2 and 6 make 36.  Its vertex is not degenerate.
TEST_F(start_files, ASolutionIsABasisOfAContinuousProblem)
{
    const char mix[] = "max\n 3 x + 5 y\nst\n x + 0 y <= 4\n 2 y <= 12\n 3 x + 2 y <= 18\nend\n";
    VNTLPptr lp = problem_from(mix), other = problem_from(mix);
    ASSERT_GT(iterations_of_solving(lp), 0);
    ASSERT_EQ(VNTLsolwrite(env, lp, path.c_str()), 0);
    ASSERT_EQ(VNTEreadcopystartinfo(env, other, path.c_str(), nullptr, 0), 0);
    EXPECT_EQ(iterations_of_solving(other), 0);
    EXPECT_EQ(objective(other), 36);
}

TEST_F(start_files, StartingInformationIsKnownByItsFirstLine)
{
    VNTLPptr lp = problem_from(integers);
    EXPECT_EQ(read_text(VNTEreadcopystartinfo, lp, "starts of t\nstart 1 0 m\nend\n"), 0);
    EXPECT_EQ(starts_of(lp), "m 1; ");
    EXPECT_EQ(read_text(VNTEreadcopystartinfo, lp, "NAME t\n XL y need\nENDATA\n"), 0);
    int column[2], row;
    ASSERT_EQ(VNTLgetbase(env, lp, column, &row), 0);
    EXPECT_EQ(column[1], VNT_BASIS_BASIC);
    EXPECT_EQ(row, VNT_BASIS_LOWER);
    EXPECT_EQ(read_text(VNTEreadcopystartinfo, lp, "starting\n"), VNTERR_FILE_FORMAT);
}

struct bad_file {
    decltype(VNTEreadcopyorder) *read;
    const char *text, *complaint;
};

TEST_F(start_files, MalformedFilesAreRefusedWithTheLine)
{
    VNTLPptr lp = problem_from(integers);
    const bad_file files[] = {
        {VNTEreadcopyorder, "", "line 0: the file ends"},
        {VNTEreadcopyorder, "orders of t\nend\n", "line 1: \"order of\" should"},
        {VNTEreadcopyorder, "order of t\n\n1 up x\n", "line 3: the file ends"},
        {VNTEreadcopyorder, "order of t\n1 left x\nend\n", "line 2: the direction"},
        {VNTEreadcopyorder, "order of t\n-1 up x\nend\n", "line 2: \"-1\" is out of range"},
        {VNTEreadcopyorder, "order of t\n1.5 up x\nend\n", "line 2: \"1.5\" is no integer"},
        {VNTEreadcopyorder, "order of t\n1 up z\nend\n", "line 2: nothing is called \"z\""},
        {VNTEreadcopyorder, "order of t\n1 up x\n2 up x\nend\n", "line 3: the column stands"},
        {VNTEreadcopymipstarts, "starts of t\nend", nullptr},
        {VNTEreadcopymipstarts, "starts of t\nstop\n", "line 2: \"start\" or \"end\""},
        {VNTEreadcopymipstarts, "starts of t\nstart 1 3 m\n", "line 2: \"3\" is out of range"},
        {VNTEreadcopymipstarts, "starts of t\nstart 1 2 m\n1 x\nend\n", "line 4: \"end\" is no"},
        {VNTEreadcopymipstarts, "starts of t\nstart 1 1 m\ninf x\nend\n", "not finite"},
        {VNTEreadcopysol, "solution of t\nstatus 1 o\nobjective 1\ncolumns 3\n", "line 4: the pr"},
        {VNTEreadcopysol, "solution of t\nstatus 1 o\nobjective 1\ncolumns 2\n1 0 x\n1 0 y\n",
         "line 6: the file ends"},
        {VNTEreadcopysol,
         "solution of t\nstatus 1 o\nobjective 1\ncolumns 2\n1 0 x\n1 0 y\nrows 0\nmore\n",
         "line 8: \"solution of\" should"},
    };
    for (const bad_file &f : files) {
        heard[CHANNEL_ERROR].clear();
        int rc = read_text(f.read, lp, f.text);
        EXPECT_EQ(rc, f.complaint == nullptr ? 0 : VNTERR_FILE_FORMAT) << f.text;
        if (f.complaint == nullptr) continue;
        EXPECT_TRUE(has(heard[CHANNEL_ERROR], f.complaint)) << f.text;
    }
    EXPECT_EQ(read_text(VNTEreadcopyorder, problem_from("min\n x\nend\n"), "order of t\nend\n"),
              VNTERR_NOT_MIP);
}

// The solution is spoilt behind the solver's back, one way at a time.
TEST_F(start_files, ACheckFindsWhatASolutionViolates)
{
    VNTLPptr lp = problem_from("min\n cost: 3 x + 2 y + z\nst\n need: x + y >= 4.5\n"
                               " i: y = 1 -> z >= 2\nbounds\n x <= 3\n y <= 9\n"
                               "generals\n x\nbinary\n y\nsos\n s: S1:: x:1 z:2\nend\n");
    int status = -1;
    EXPECT_EQ(VNTLchecksoln(env, lp, &status), VNTERR_NO_SOLUTION);
    vntlp &p = *environment_find(env)->problems.at(lp);
    struct {
        double x, y, z;
        const char *complaint;
    } const points[] = {{5, 0, 0, "bounds of x"},
                        {3, 0, 0, "row need"},
                        {2.5, 1, 0, "integer column x"},
                        {3, 1, 2, "set s"},
                        {0, 1, 0, "indicator constraint i"}};
    for (const auto &point : points) {
        p.last.x = {point.x, point.y, point.z};
        p.last.primal_feasible = true;
        p.last.solution = VNT_SOLUTION_PRIMAL;
        p.last.status = VNT_STAT_OPTIMAL;
        EXPECT_EQ(VNTLchecksoln(env, lp, &status), 0);
        EXPECT_EQ(status, VNT_STAT_NUMERICAL);
        EXPECT_TRUE(has(heard[CHANNEL_WARNING], point.complaint));
        heard[CHANNEL_WARNING].clear();
    }
    VNTLPptr linear = problem_of_file("afiro.mps");
    ASSERT_EQ(VNTLlpopt(env, linear), 0);
    EXPECT_EQ(VNTLchecksoln(env, linear, &status), 0);
    EXPECT_EQ(status, VNT_STAT_OPTIMAL);
    environment_find(env)->problems.at(linear)->last.dj[1] = -1;
    EXPECT_EQ(VNTLchecksoln(env, linear, &status), 0);
    EXPECT_EQ(status, VNT_STAT_NUMERICAL);
    EXPECT_TRUE(has(heard[CHANNEL_WARNING], "reduced cost of X02"));
}

TEST_F(start_files, NamesThatCouldNotBeReadBackAreRefused)
{
    VNTLPptr lp = problem_from(integers);
    int column[] = {0, 1}, priority[] = {2, 1};
    ASSERT_EQ(VNTLcopyorder(env, lp, 2, column, priority, nullptr), 0);
    for (const char *name : {"x", "two\nlines"}) {
        char *names[] = {const_cast<char *>(name)};
        ASSERT_EQ(VNTLchgcolname(env, lp, 1, &column[1], names), 0);
        heard[CHANNEL_ERROR].clear();
        EXPECT_EQ(VNTLordwrite(env, lp, path.c_str()), VNTERR_FILE_FEATURE);
        EXPECT_TRUE(has(heard[CHANNEL_ERROR], "could not be read back"));
        EXPECT_EQ(written(), "");
    }
}

} // namespace vnt
