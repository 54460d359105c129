// test_session.h: what tests of the solver share: an open environment that notes its channels, and
// problems as text, so that two of them can be compared by one look.

#pragma once

#include "solver/calls/environment.h"
#include "test/folders.h"
#include "test/has.h"

#include <cmath>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace vnt {

struct session : testing::Test {
    VNTENVptr env = nullptr;
    std::string heard[CHANNELS];

    void SetUp() override
    {
        int status = -1;
        env = VNTLopenVANTO(&status);
        ASSERT_EQ(status, 0);
        VNTCHANNELptr channels[CHANNELS];
        ASSERT_EQ(VNTLgetchannels(env, &channels[0], &channels[1], &channels[2], &channels[3]), 0);
        for (int i = 0; i < CHANNELS; i++) {
            ASSERT_EQ(VNTLaddfuncdest(env, channels[i], &heard[i], hear), 0);
        }
    }
    void TearDown() override
    {
        unlink(path.c_str());
        EXPECT_EQ(VNTLcloseVANTO(&env), 0);
    }

    // A file of the test's own, and what is in it.
    const std::string path = testing::TempDir() + "vanto" + std::to_string(getpid());
    std::string written() const { return file_text(path); }

    static void hear(void *heard, const char *text) { *static_cast<std::string *>(heard) += text; }

    VNTLPptr problem(const char *name = "test")
    {
        int status = -1;
        VNTLPptr lp = VNTLcreateprob(env, &status, name);
        EXPECT_EQ(status, 0);
        return lp;
    }

    // What a call that reads a file makes of a text.
    template <class object>
    int read_text(int (*call)(VNTENVptr, object *, const char *, const char *, int64_t),
                  object *into, const std::string &text)
    {
        return call(env, into, "text.min", text.data(), static_cast<int64_t>(text.size()));
    }
    // Texts behind the head of a file that the call refuses, each with the line.
    template <class object>
    void expect_malformed(int (*call)(VNTENVptr, object *, const char *, const char *, int64_t),
                          object *into, const std::string &head,
                          std::initializer_list<const char *> texts)
    {
        for (const char *text : texts) {
            heard[CHANNEL_ERROR].clear();
            EXPECT_EQ(read_text(call, into, head + text), VNTERR_FILE_FORMAT) << text;
            EXPECT_TRUE(has(heard[CHANNEL_ERROR], "line "));
        }
    }
    // Solves by the call, to an optimum of that objective.
    void expect_optimum(int (*call)(VNTENVptr, VNTLPptr), VNTLPptr lp, double optimum)
    {
        ASSERT_EQ(call(env, lp), 0) << heard[CHANNEL_ERROR];
        EXPECT_EQ(VNTLgetstat(env, lp), VNT_STAT_OPTIMAL);
        EXPECT_NEAR(objective(lp), optimum, 1e-6 * std::max(1.0, std::fabs(optimum)));
    }
    static void near(const std::vector<double> &found, const std::vector<double> &expected,
                     double tolerance)
    {
        ASSERT_EQ(found.size(), expected.size());
        for (size_t k = 0; k < expected.size(); k++)
            EXPECT_NEAR(found[k], expected[k], tolerance * std::max(1.0, std::fabs(expected[k])))
                << k;
    }
    // What a query tells of columns or rows 0 to count - 1.
    std::vector<double> asked(decltype(VNTLgetx) *query, VNTLPptr lp, int count)
    {
        std::vector<double> values(count);
        EXPECT_EQ(query(env, lp, values.data(), 0, count - 1), 0);
        return values;
    }
    int read(VNTLPptr lp, const std::string &text, const char *kind)
    {
        return VNTEreadcopyprob(env, lp, "text", text.data(), static_cast<int64_t>(text.size()),
                                kind);
    }
    VNTLPptr problem_from(const std::string &text, const char *kind = "lp")
    {
        VNTLPptr lp = problem();
        EXPECT_EQ(read(lp, text, kind), 0) << heard[CHANNEL_ERROR];
        return lp;
    }
    VNTLPptr problem_of_file(const std::string &name)
    {
        VNTLPptr lp = problem();
        std::string path = source_path("test/models/" + name);
        EXPECT_EQ(VNTEreadcopyprob(env, lp, path.c_str(), nullptr, 0, nullptr), 0)
            << heard[CHANNEL_ERROR];
        return lp;
    }

    // All that the queries tell of a problem, numbers to the last bit.
    std::string all_of(VNTLPptr lp)
    {
        int rows = VNTLgetnumrows(env, lp), cols = VNTLgetnumcols(env, lp);
        int64_t nz = VNTLgetnumnz(env, lp);
        std::ostringstream out;
        double offset = -1;
        EXPECT_EQ(VNTLgetobjoffset(env, lp, &offset), 0);
        out << "type " << VNTLgetprobtype(env, lp) << " sense " << VNTLgetobjsen(env, lp)
            << std::hexfloat << " offset " << offset << " nz " << nz << "\n";
        std::vector<double> obj = asked(VNTLgetobj, lp, cols), lb = asked(VNTLgetlb, lp, cols),
                            ub = asked(VNTLgetub, lp, cols), rhs = asked(VNTLgetrhs, lp, rows),
                            rng = asked(VNTLgetrngval, lp, rows);
        std::string ctype(cols, '-'), sense(rows, '-');
        VNTLgetctype(env, lp, ctype.data(), 0, cols - 1);
        EXPECT_EQ(VNTLgetsense(env, lp, sense.data(), 0, rows - 1), 0);
        std::vector<int64_t> beg(std::max(rows, cols) + 1);
        std::vector<int> ind(nz);
        std::vector<double> val(nz);
        auto lines = [&](decltype(VNTLgetcols) *query, int count) {
            int64_t surplus = -1;
            EXPECT_EQ(query(env, lp, nullptr, beg.data(), ind.data(), val.data(), nz, &surplus, 0,
                            count - 1),
                      0);
            EXPECT_EQ(surplus, 0);
            beg[count] = nz;
            for (int k = 0; k < count; k++) {
                for (int64_t e = beg[k]; e < beg[k + 1]; e++)
                    out << ind[e] << ":" << val[e] << " ";
                out << "| ";
            }
            out << "\n";
        };
        lines(VNTLgetcols, cols);
        lines(VNTLgetrows, rows);
        for (int j = 0; j < cols; j++) {
            out << name_of(lp, VNTLgetcolname, j) << " " << obj[j] << " [" << lb[j] << "," << ub[j]
                << "] " << ctype[j] << "\n";
        }
        for (int i = 0; i < rows; i++) {
            out << name_of(lp, VNTLgetrowname, i) << " " << sense[i] << " " << rhs[i] << " "
                << rng[i] << "\n";
        }
        return out.str();
    }

    std::string name_of(VNTLPptr lp, decltype(VNTLgetcolname) *ask, int i)
    {
        char *name = nullptr, store[300];
        int64_t surplus;
        EXPECT_EQ(ask(env, lp, &name, store, sizeof store, &surplus, i, i), 0);
        return name != nullptr ? name : "";
    }

    double objective(VNTLPptr lp)
    {
        double value = 0;
        EXPECT_EQ(VNTLgetobjval(env, lp, &value), 0);
        return value;
    }
};

} // namespace vnt
