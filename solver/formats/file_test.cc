#include "solver/calls/test_session.h"
#include "solver/formats/files.h"
#include "test/folders.h"

#include <cstdlib>
#include <random>
#include <unistd.h>

namespace vnt {

struct model_files : session {
    scratch_folder folder;

    std::string path(const std::string &name) { return folder.file(name); }

    // What comes back after a model was written to a file of that name.
    std::string through(VNTLPptr lp, const std::string &name)
    {
        EXPECT_EQ(VNTLwriteprob(env, lp, path(name).c_str(), nullptr), 0) << heard[CHANNEL_ERROR];
        VNTLPptr back = problem();
        EXPECT_EQ(VNTEreadcopyprob(env, back, path(name).c_str(), nullptr, 0, nullptr), 0)
            << heard[CHANNEL_ERROR];
        return all_of(back);
    }
};

TEST_F(model_files, PackedFilesAreWrittenByTheirNames)
{
    VNTLPptr israel = problem_of_file("israel.mps");
    EXPECT_EQ(through(israel, "m.mps.gz"), all_of(israel));
    EXPECT_EQ(file_contents(path("m.mps.gz").c_str(), nullptr, 0).substr(0, 4), "NAME");
    EXPECT_EQ(through(israel, "m.lp.gz"), all_of(israel));
}

TEST_F(model_files, MpsIsReadAsItsWritersMeanIt)
{
    VNTLPptr lp = problem_from("* a comment\n$ another\n"
                               "NAME          two words\n"
                               "OBJSENSE\n    MAX\n"
                               "ROWS\n N obj\n N other\n L l\n G g\n E e\n E f\n"
                               "COLUMNS\n"
                               " a obj 1 l 1\n a other 3\n"
                               " M1 'MARKER' 'INTORG'\n"
                               " b l 1 g 1\n c e 1\n"
                               " M2 'MARKER' 'INTEND'\n"
                               " d f -1.5e1\n s g 2\n"
                               "RHS\n obj -7\n RHS l 4 g 2\n"
                               "RANGES\n R l 3 g 2.5\n R e -1 f 1\n"
                               "BOUNDS\n"
                               " UP bnd a -3\n"
                               " LO bnd c 2\n"
                               " FR d\n"
                               " SC bnd s 9\n LO bnd s 4\n"
                               "ENDATA\n",
                               "mps");
    EXPECT_EQ(all_of(lp), "type 1 sense -1 offset 0x1.cp+2 nz 6\n"
                          "0:0x1p+0 | 0:0x1p+0 1:0x1p+0 | 2:0x1p+0 | 3:-0x1.ep+3 | 1:0x1p+1 | \n"
                          "0:0x1p+0 1:0x1p+0 | 1:0x1p+0 4:0x1p+1 | 2:0x1p+0 | 3:-0x1.ep+3 | \n"
                          "a 0x1p+0 [-0x1.5af1d78b58c4p+66,-0x1.8p+1] C\n"
                          "b 0x0p+0 [0x0p+0,0x1p+0] I\n"
                          "c 0x0p+0 [0x1p+1,0x1.5af1d78b58c4p+66] I\n"
                          "d 0x0p+0 [-0x1.5af1d78b58c4p+66,0x1.5af1d78b58c4p+66] C\n"
                          "s 0x0p+0 [0x1p+2,0x1.2p+3] S\n"
                          "l R 0x1p+2 -0x1.8p+1\n"
                          "g R 0x1p+1 0x1.4p+1\n"
                          "e R 0x0p+0 -0x1p+0\n"
                          "f R 0x0p+0 0x1p+0\n");
    EXPECT_TRUE(has(heard[CHANNEL_WARNING], "below 0"));

    // Names with blanks stand in the columns of the fixed format.
    VNTLPptr fixed = problem_from("NAME          FIXED\n"
                                  "ROWS\n"
                                  " N  COST\n"
                                  " G  ROW ONE\n"
                                  "COLUMNS\n"
                                  "    COL ONE   COST                 1   ROW ONE              2\n"
                                  "RHS\n"
                                  "              ROW ONE              3\n"
                                  "ENDATA\n",
                                  "mps");
    EXPECT_TRUE(has(all_of(fixed), "COL ONE 0x1p+0"));
    EXPECT_TRUE(has(all_of(fixed), "ROW ONE G 0x1.8p+1"));
}

TEST_F(model_files, LpIsReadAsItsWritersMeanIt)
{
    VNTLPptr lp = problem_from("\\ a comment\nMAX\n cost: 3 x + 2y - z + 1 + x\n"
                               "Subject To\n"
                               " x + y <= 4\n" // without a name, before a row with a sign
                               " -x + 2 y >= -2.5e0\n"
                               " both: 1 <= x - z <= 3\n"
                               " less: 5 >= z\n"
                               " empty: <= 7\n 1 = 3\n"
                               "Bounds\n -inf <= x <= 8\n z free\n 2 <= w\n v = 3\n u <= -1\n"
                               "General\n y\nBinary\n b\nEnd\n");
    EXPECT_EQ(all_of(lp), "type 1 sense -1 offset 0x1p+0 nz 7\n"
                          "0:0x1p+0 1:-0x1p+0 2:0x1p+0 | 0:0x1p+0 1:0x1p+1 | "
                          "2:-0x1p+0 3:0x1p+0 | | | | | \n"
                          "0:0x1p+0 1:0x1p+0 | 0:-0x1p+0 1:0x1p+1 | 0:0x1p+0 2:-0x1p+0 | "
                          "2:0x1p+0 | | | \n"
                          "x 0x1p+2 [-0x1.5af1d78b58c4p+66,0x1p+3] C\n"
                          "y 0x1p+1 [0x0p+0,0x1.5af1d78b58c4p+66] I\n"
                          "z -0x1p+0 [-0x1.5af1d78b58c4p+66,0x1.5af1d78b58c4p+66] C\n"
                          "w 0x0p+0 [0x1p+1,0x1.5af1d78b58c4p+66] C\n"
                          "v 0x0p+0 [0x1.8p+1,0x1.8p+1] C\n"
                          "u 0x0p+0 [-0x1.5af1d78b58c4p+66,-0x1p+0] C\n"
                          "b 0x0p+0 [0x0p+0,0x1p+0] B\n"
                          "c1 L 0x1p+2 0x0p+0\n"
                          "c2 G -0x1.4p+1 0x0p+0\n"
                          "both R 0x1p+0 0x1p+1\n"
                          "less L 0x1.4p+2 0x0p+0\n"
                          "empty L 0x1.cp+2 0x0p+0\n"
                          "c6 E 0x1p+1 0x0p+0\n");
}

TEST_F(model_files, WhatCannotBeReadTellsTheLineAndLeavesTheProblem)
{
    static const std::string rows = "NAME t\nROWS\n N o\n L r\nCOLUMNS\n x o 1 r 1\n";
    struct {
        const char *kind;
        std::string text;
        int status;
        const char *says;
    } cases[] = {
        {"mps", "hello\n", VNTERR_FILE_FORMAT, "line 1"},
        {"mps", " x r 1\nENDATA\n", VNTERR_FILE_FORMAT, "outside of a section"},
        {"mps", "\x1b[2J\n", VNTERR_FILE_FORMAT, "?[2J"}, // nothing for a terminal to obey
        {"mps", "ROWS\n L r\n L r\nENDATA\n", VNTERR_FILE_FORMAT, "line 3"},
        {"mps", rows + " y q 1\nENDATA\n", VNTERR_FILE_FORMAT, "no row \"q\""},
        {"mps", rows + " y r 1x\nENDATA\n", VNTERR_FILE_FORMAT, "\"1x\" is no number"},
        {"mps", rows + " x r 2\nENDATA\n", VNTERR_FILE_FORMAT, "twice"},
        {"mps", rows + "BOUNDS\n UP b q 1\nENDATA\n", VNTERR_FILE_FORMAT, "no column \"q\""},
        {"mps", rows, VNTERR_FILE_FORMAT, "without ENDATA"},
        {"mps", rows + "QCMATRIX r\n", VNTERR_FILE_FEATURE, "QCMATRIX"},
        {"mps", rows + "SOS\n x 1\nENDATA\n", VNTERR_FILE_FORMAT, "before its set"},
        {"mps", rows + "QMATRIX\n x y 1\nENDATA\n", VNTERR_FILE_FORMAT, "no column \"y\""},
        {"mps", rows + " y o 1\nQMATRIX\n x y 1\nENDATA\n", VNTERR_FILE_FORMAT, "symmetric"},
        {"mps", rows + "INDICATORS\n IF r x 2\nENDATA\n", VNTERR_FILE_FORMAT, "0 or 1"},
        {"mps", rows + " y o 1e20\nENDATA\n", VNTERR_FILE_FORMAT, "infinite coefficient"},
        {"lp", "min\n 1e20 x\nend\n", VNTERR_FILE_FORMAT, "infinite coefficient"},
        {"lp", "min\n x\nst\n 9e19 x + 9e19 x <= 1\nend\n", VNTERR_FILE_FORMAT,
         "infinite coefficient"},
        {"lp", "min\n [ 9e19 x * y + 9e19 y * x ]\nend\n", VNTERR_FILE_FORMAT,
         "infinite coefficient"},
        {"lp", "min\n x\nst\n x + inf >= 1\nend\n", VNTERR_FILE_FORMAT, "no term"},
        {"lp", "min\n x\nst\n inf x >= 1\nend\n", VNTERR_FILE_FORMAT, "no term"},
        {"lp", "min\n x\nst\n x = 2 -> x >= 1\nend\n", VNTERR_FILE_FORMAT, "indicator"},
        {"lp", "min\n x\nsos\n s: S3:: x:1\nend\n", VNTERR_FILE_FORMAT, "S1 or S2"},
        {"lp", "min\n [ x ^ 3 ] / 2\nend\n", VNTERR_FILE_FORMAT, "square"},
        {"lp", "min\n [ x ^ 2\nend\n", VNTERR_FILE_FORMAT, "bracket"},
        {"lp", "x + y\n", VNTERR_FILE_FORMAT, "line 1"},
        {"lp", "min\n x\nst\n x + y\nend\n", VNTERR_FILE_FORMAT, "line 5"},
        {"lp", "min\n x\nst\n x >= 1\n", VNTERR_FILE_FORMAT, "without end"},
        {"lp", "min\n x\nst\n [ x ^ 2 ] <= 1\nend\n", VNTERR_FILE_FEATURE, "quadratic"},
        {"lp", std::string("\x1f\x8b\x08 no", 6), VNTERR_FILE_FORMAT, "damaged"},
        {"txt", "min\n x\nend\n", VNTERR_FILE_TYPE, "txt"},
    };
    VNTLPptr lp = problem_from("min\n x\nst\n c: x + y >= 1\nend\n");
    std::string before = all_of(lp);
    for (auto &c : cases) {
        SCOPED_TRACE(c.text);
        heard[CHANNEL_ERROR].clear();
        EXPECT_EQ(read(lp, c.text, c.kind), c.status);
        EXPECT_TRUE(has(heard[CHANNEL_ERROR], c.says));
        EXPECT_EQ(all_of(lp), before);
    }
    EXPECT_EQ(VNTEreadcopyprob(env, lp, path("none.mps").c_str(), nullptr, 0, nullptr),
              VNTERR_FILE_OPEN);
    EXPECT_EQ(VNTLwriteprob(env, lp, path("no/where.mps").c_str(), nullptr), VNTERR_FILE_CREATE);
}

// Packed by the usual programs, under names that say nothing of it.
TEST_F(model_files, PackedFilesAreKnownByTheirContents)
{
    const std::string plain = source_path("test/models/israel.mps");
    VNTLPptr israel = problem_of_file("israel.mps");
    for (const std::string packer : {"gzip", "bzip2", "xz"}) {
        SCOPED_TRACE(packer);
        const std::string packed = path("packed.mps");
        ASSERT_EQ(system((packer + " -c " + plain + " > " + packed).c_str()), 0);
        ASSERT_EQ(system((packer + " -c < /dev/null >> " + packed).c_str()), 0); // a second member
        VNTLPptr lp = problem();
        ASSERT_EQ(VNTEreadcopyprob(env, lp, packed.c_str(), nullptr, 0, nullptr), 0);
        EXPECT_EQ(all_of(lp), all_of(israel));
        ASSERT_EQ(truncate(packed.c_str(), 3000), 0);
        EXPECT_EQ(VNTEreadcopyprob(env, lp, packed.c_str(), nullptr, 0, nullptr),
                  VNTERR_FILE_FORMAT);
        EXPECT_TRUE(has(heard[CHANNEL_ERROR], "damaged or cut short"));
    }
    EXPECT_EQ(file_kind("m.mps.bz2", nullptr) + file_kind("M.LP.XZ", nullptr), "mpslp");
}

// Damaged files: any status will do, but no crash, and the problem stays unless all was read.
TEST_F(model_files, AFileWithAFlippedByteIsReadOrRefused)
{
    std::string good = file_contents(source_path("test/models/afiro.mps").c_str(), nullptr, 0);
    VNTLPptr lp = problem_of_file("afiro.mps");
    ASSERT_EQ(VNTLwriteprob(env, lp, path("m.lp").c_str(), nullptr), 0);
    ASSERT_EQ(VNTLwriteprob(env, lp, path("m.mps.gz").c_str(), nullptr), 0);
    std::mt19937 random(3);
    for (std::string name : {"m.lp", "m.mps.gz", ""}) {
        std::string text = name.empty() ? good : file_contents(path(name).c_str(), nullptr, 0);
        for (int k = 0; k < 500; k++) {
            std::string bad = text;
            bad[random() % bad.size()] ^= static_cast<char>(1 << random() % 8);
            if (k % 5 == 0) bad.resize(random() % bad.size());
            VNTLPptr into = problem();
            int status = read(into, bad, name == "m.lp" ? "lp" : "mps");
            ASSERT_TRUE(status == 0 || VNTLgetnumcols(env, into) == 0);
            ASSERT_EQ(VNTLfreeprob(env, &into), 0);
        }
    }
}

TEST_F(model_files, ABasisComesBackFromItsFile)
{
    VNTLPptr lp = problem_of_file("israel.mps");
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    ASSERT_EQ(VNTLmbasewrite(env, lp, path("b").c_str()), 0);
    int cols = VNTLgetnumcols(env, lp), rows = VNTLgetnumrows(env, lp);
    std::vector<int> cstat(cols), rstat(rows), cback(cols), rback(rows);
    ASSERT_EQ(VNTLgetbase(env, lp, cstat.data(), rstat.data()), 0);
    VNTLPptr fresh = problem_of_file("israel.mps");
    ASSERT_EQ(VNTEreadcopybase(env, fresh, path("b").c_str(), nullptr, 0), 0)
        << heard[CHANNEL_ERROR];
    ASSERT_EQ(VNTLgetbase(env, fresh, cback.data(), rback.data()), 0);
    EXPECT_EQ(cback, cstat);
    EXPECT_EQ(rback, rstat);
    ASSERT_EQ(VNTLdualopt(env, fresh), 0);
    EXPECT_EQ(VNTLgetitcnt(env, fresh), 0) << "it is optimal already";
    // Names with blanks, of which parts are names as well; and names that could not be read back.
    lp = problem_from("max\n a + b\nst\n r: a + b <= 4\n s: a - b >= -2\nend\n");
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    const char *names[] = {"a", "a b"}, *rownames[] = {"b r", "r"};
    const int both[] = {0, 1};
    ASSERT_EQ(VNTLchgcolname(env, lp, 2, both, names), 0);
    ASSERT_EQ(VNTLchgrowname(env, lp, 2, both, rownames), 0);
    ASSERT_EQ(VNTLmbasewrite(env, lp, path("b").c_str()), 0);
    ASSERT_EQ(VNTEreadcopybase(env, lp, path("b").c_str(), nullptr, 0), 0) << heard[CHANNEL_ERROR];
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    EXPECT_EQ(VNTLgetitcnt(env, lp), 0);
    names[1] = "a";
    ASSERT_EQ(VNTLchgcolname(env, lp, 2, both, names), 0);
    EXPECT_EQ(VNTLmbasewrite(env, lp, path("b").c_str()), VNTERR_FILE_FEATURE);
}

TEST_F(model_files, SolutionsAreWrittenAsText)
{
    VNTLPptr lp = problem_from("max\n x + 2 y\nst\n c: x + y <= 4\n d: x - y = 1\nend\n");
    EXPECT_EQ(VNTLsolwrite(env, lp, path("s").c_str()), VNTERR_NO_SOLUTION);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    ASSERT_EQ(VNTLsolwrite(env, lp, path("s").c_str()), 0);
    EXPECT_EQ(file_contents(path("s").c_str(), nullptr, 0),
              "solution of test\nstatus 1 optimal\nobjective 5.5\n"
              "columns 2\n2.5 0 x\n1.5 0 y\nrows 2\n4 0 1.5 c\n1 0 -0.5 d\n");
}

} // namespace vnt
