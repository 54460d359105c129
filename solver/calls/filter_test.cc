// Filters of the solution pool, and their files.

#include "solver/calls/test_session.h"

#include <unistd.h>

namespace vnt {

struct filters : session {
    std::string told(VNTLPptr lp, int which)
    {
        int type, nz, index[4], surplus;
        double low, high, weight[4], reference[4] = {-1, -1, -1, -1};
        EXPECT_EQ(VNTLEgetsolnpoolfilter(env, lp, &type, &low, &high, &nz, index, weight, reference,
                                         4, &surplus, which),
                  0);
        char name[9];
        int64_t left;
        EXPECT_EQ(VNTLgetsolnpoolfiltername(env, lp, name, 9, &left, which), 0);
        std::string out = printed("%s %d [%g %g]", name, type, low, high);
        for (int k = 0; k < nz; k++)
            out += printed(" %d:%g:%g", index[k], weight[k], reference[k]);
        return out;
    }
    // The values of x in the pool of min x, x >= 1 after it was started from 9, 7, 4 and 2.
    std::string pool(VNTLPptr lp)
    {
        EXPECT_EQ(VNTLmipopt(env, lp), 0);
        EXPECT_EQ(objective(lp), 1); // of the search, whatever the pool has
        std::string out;
        for (int s = 0; s < VNTLgetsolnpoolnumsolns(env, lp); s++) {
            double x;
            EXPECT_EQ(VNTLgetsolnpoolx(env, lp, s, &x, 0, 0), 0);
            out += printed("%g ", x);
        }
        return out;
    }
    VNTLPptr started()
    {
        VNTLPptr lp = problem_from("min\n x\nst\n r: x + 0 y >= 1\nbounds\n x <= 9\n y <= 1\n"
                                   "generals\n x\n y\nend\n");
        const std::string starts = "starts of t\nstart 0 2 a\n9 x\n0 y\nstart 0 2 b\n7 x\n0 y\n"
                                   "start 0 2 c\n4 x\n0 y\nstart 0 2 d\n2 x\n0 y\nend\n";
        EXPECT_EQ(read_text(VNTEreadcopymipstarts, lp, starts), 0);
        return lp;
    }
};

TEST_F(filters, SolutionsEnterThePoolIfAllFiltersLetThemPass)
{
    VNTLPptr lp = started();
    EXPECT_EQ(pool(lp), "9 7 4 2 1 ");
    const int x[] = {0};
    const double two[] = {2}, five[] = {5};
    EXPECT_EQ(VNTLaddsolnpoolrngfilter(env, lp, 4, 14, 1, x, two, nullptr), 0);
    EXPECT_EQ(pool(lp), "7 4 2 ");
    EXPECT_EQ(VNTLaddsolnpooldivfilter(env, lp, 2, VNT_INFINITY, 1, x, nullptr, five, "far"), 0);
    EXPECT_EQ(pool(lp), "7 2 ");
    EXPECT_EQ(told(lp, 0), "f1 2 [4 14] 0:2:-1");
    EXPECT_EQ(told(lp, 1), "far 1 [2 1e+20] 0:1:5");
    int index = -1, type = 0, surplus;
    EXPECT_EQ(VNTLgetsolnpoolfilterindex(env, lp, "far", &index), 0);
    EXPECT_EQ(VNTLgetsolnpoolfiltertype(env, lp, &type, index), 0);
    EXPECT_EQ(index * 10 + type, 10 + VNT_FILTER_DIVERSITY);
    EXPECT_EQ(VNTLgetsolnpoolrngfilter(env, lp, nullptr, nullptr, nullptr, nullptr, nullptr, 0,
                                       &surplus, 1),
              VNTERR_WRONG_TYPE);
    EXPECT_EQ(VNTLgetsolnpooldivfilter(env, lp, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       nullptr, 0, &surplus, 1),
              VNTERR_SPACE_TOO_SMALL);
    EXPECT_EQ(surplus, -1);
    EXPECT_EQ(VNTLgetsolnpoolfiltertype(env, lp, &type, 2), VNTERR_INDEX_RANGE);

    int marks[] = {1, 0};
    EXPECT_EQ(VNTLdelsetsolnpoolfilters(env, lp, marks), 0);
    EXPECT_EQ(pool(lp), "9 7 2 1 ");
    EXPECT_EQ(VNTLdelcols(env, lp, 0, 0), 0); // the filter loses its only term
    EXPECT_EQ(told(lp, 0), "far 1 [2 1e+20]");
    EXPECT_EQ(VNTLdelsolnpoolfilters(env, lp, 0, 0), 0);
    EXPECT_EQ(VNTLgetsolnpoolnumfilters(env, lp), 0);
}

TEST_F(filters, FilesAreReadAndWritten)
{
    const std::string text = "filters of test\nrange -1e+20 3 2 two words\n1 x\n-2.5 y\n"
                             "diversity 2 7 1 far\n1 0.5 y\nrange 0 0 0 bare\nend\n";
    VNTLPptr lp = started();
    ASSERT_EQ(read_text(VNTEreadcopysolnpoolfilters, lp, text), 0) << heard[CHANNEL_ERROR];
    EXPECT_EQ(told(lp, 1), "far 1 [2 7] 1:1:0.5");
    EXPECT_EQ(VNTLfltwrite(env, lp, path.c_str()), 0);
    EXPECT_EQ(written(), text);
    expect_malformed(VNTEreadcopysolnpoolfilters, lp, "filters of t\n",
                     {"", "range 1 2\n", "range 1 2 1 n\n1 z\nend\n", "band 1 2 0 n\n",
                      "diversity 1 2 1 n\n1 x\nend\n", "range a 2 0 n\nend\n"});
    EXPECT_EQ(VNTLgetsolnpoolnumfilters(env, lp), 3);
}

} // namespace vnt
