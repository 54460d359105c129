// Models that go through files, and what other readers make of them.

#include "solver/formats/files.h"
#include "solver/formats/lpformat.h"
#include "solver/formats/mps.h"
#include "test/folders.h"
#include "test/has.h"

#include <CoinMpsIO.hpp>
#include <CoinPackedMatrix.hpp>
#include <cmath>
#include <cstdlib>
#include <dirent.h>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <unistd.h>

namespace vnt {

// What a random model may hold: not every format and reader has everything.
enum feature : unsigned {
    RANGED_ROWS = 1,
    CONSTANT = 2,
    MAXIMIZED = 4,
    SEMICONTINUOUS = 8,
    SETS = 16,
    INDICATORS = 32,
    QUADRATIC = 64,
    SHORT_NUMBERS = 128, // that fit into the fixed format
    ALL = 127
};

struct exchange : testing::Test {
    scratch_folder folder;

    std::string path(const std::string &name) { return folder.file(name); }

    static std::string write(const model &m, bool lp)
    {
        bool made;
        return lp ? lp_write(m, &made) : mps_write(m, &made);
    }
    static model read(const std::string &text, bool lp)
    {
        std::string remarks;
        return lp ? lp_read(text, &remarks) : mps_read(text, &remarks);
    }

    static model random_model(unsigned seed, unsigned features)
    {
        std::mt19937 random(seed);
        auto below = [&](int n) { return static_cast<int>(random() % n); };
        auto has = [&](unsigned f) { return (features & f) != 0 && below(2) == 0; };
        auto number = [&] {
            if ((features & SHORT_NUMBERS) != 0)
                return (below(2) ? 1 : -1) * (below(999) + 1) / 8.0;
            return (below(2) ? 1 : -1) * std::ldexp(random() + 1.0, below(40) - 40);
        };
        model m;
        m.name = "random";
        bool semi = has(SEMICONTINUOUS);
        for (int j = 0; j < 12; j++) {
            double low[] = {0, -VNT_INFINITY, number(), 1, 0, -2}, obj = below(3) ? number() : 0;
            double lb = low[below(6)], ub = below(2) ? VNT_INFINITY : std::max(lb, number());
            char type = (semi ? "CCCIISNB" : "CCCCIIBB")[below(8)];
            if (type == 'B') lb = 0, ub = 1;
            if (type == 'S' || type == 'N') lb = std::max(lb, 0.0), ub = std::max(ub, lb + 1);
            m.append_cols({1, &obj, &lb, &ub, &type, nullptr}, nullptr);
        }
        bool ranged = has(RANGED_ROWS);
        for (int i = 0; i < 8; i++) {
            char sense = "LGER"[below(ranged ? 4 : 3)];
            double rhs = below(4) ? number() : 0, range = number();
            m.append_rows({1, &rhs, &sense, &range, nullptr}, nullptr);
            for (int k = 1 + below(4); k > 0; k--)
                m.a.set(i, below(12), number());
        }
        if (has(CONSTANT)) m.offset = number();
        if (has(MAXIMIZED)) m.sense = VNT_MAX;
        if (has(SETS)) m.sets.push_back({"first", '1', {3, 1, 7}, {1, 2.5, -4}});
        if (has(SETS)) m.sets.push_back({"second", '2', {0, 2, 4, 5}, {1, 2, 3, 4}});
        if (has(INDICATORS)) {
            m.indicators.push_back({"on", INDICATOR_IF, 2, false, 'L', number(), {1, 5}, {1, -2}});
            m.indicators.push_back({"off", INDICATOR_IF, 3, true, 'E', 0, {1}, {number()}});
        }
        if (!m.sets.empty() || !m.indicators.empty()) m.make_discrete();
        if (has(QUADRATIC)) {
            for (int k = 0; k < 5; k++)
                m.set_quadratic(below(12), below(12), number());
        }
        return m;
    }

    // The files of the tests that hold models.
    static std::vector<std::string> model_files()
    {
        std::vector<std::string> list;
        std::string where = source_path("test/models/");
        std::unique_ptr<DIR, int (*)(DIR *)> dir(opendir(where.c_str()), closedir);
        while (const dirent *entry = readdir(dir.get())) {
            std::string kind = file_kind(entry->d_name, nullptr);
            if (kind == "mps" || kind == "qps" || kind == "lp")
                list.push_back(where + entry->d_name);
        }
        return list;
    }
    static model model_of(const std::string &file)
    {
        return read(file_contents(file.c_str(), nullptr, 0),
                    file_kind(file.c_str(), nullptr) == "lp");
    }
};

static bool same_number(double a, double b, double tolerance)
{
    if (std::fabs(a) >= VNT_INFINITY && std::fabs(b) >= VNT_INFINITY) return (a > 0) == (b > 0);
    return std::fabs(a - b) <= tolerance * std::fabs(a);
}

// Are columns, rows and coefficients those of the model, in its order, to the relative tolerance?
struct other_model {
    int rows, cols;
    const double *objective, *lower, *upper, *row_lower, *row_upper;
    const CoinPackedMatrix *by_row;
    std::function<bool(int)> integer;
};

static void expect_same(const model &m, const other_model &o, double tolerance)
{
    ASSERT_EQ(o.rows, m.numrows());
    ASSERT_EQ(o.cols, m.numcols());
    auto same = [&](double a, double b, const char *what, int i) {
        EXPECT_TRUE(same_number(a, b, tolerance)) << what << " " << i << ": " << a << ", not " << b;
    };
    for (int j = 0; j < o.cols; j++) {
        same(o.objective[j], m.objective[j], "cost", j);
        same(o.lower[j], m.lower[j], "lower bound", j);
        same(o.upper[j], m.upper[j], "upper bound", j);
        char type = m.typed() ? m.ctype[j] : 'C';
        bool semi = type == 'S' || type == 'N';
        EXPECT_TRUE(semi || o.integer(j) == (type != 'C')) << j;
    }
    matrix_view rows = m.a.by_row();
    for (int i = 0; i < o.rows; i++) {
        same(o.row_lower[i], m.row_lower(i), "row's lower side", i);
        same(o.row_upper[i], m.row_upper(i), "row's upper side", i);
        for (int64_t k = rows.begin[i]; k < rows.begin[i + 1]; k++)
            same(o.by_row->getCoefficient(i, rows.index[k]), rows.value[k], "entry of row", i);
    }
}

static void expect_alike(const model &m, const model &o)
{
    std::vector<double> low, high;
    for (int i = 0; i < o.numrows(); i++) {
        low.push_back(o.row_lower(i));
        high.push_back(o.row_upper(i));
    }
    matrix_view r = o.a.by_row();
    std::vector<CoinBigIndex> begin(r.begin, r.begin + o.numrows() + 1);
    CoinPackedMatrix by_row(false, o.numcols(), o.numrows(), begin.back(), r.value, r.index,
                            begin.data(), nullptr);
    expect_same(m,
                {o.numrows(), o.numcols(), o.objective.data(), o.lower.data(), o.upper.data(),
                 low.data(), high.data(), &by_row,
                 [&](int j) { return o.typed() && o.ctype[j] != 'C'; }},
                0);
}

struct coin_sets {
    CoinSet **list = nullptr;
    int count = 0;
    ~coin_sets()
    {
        for (int k = 0; k < count; k++)
            delete list[k];
        delete[] list;
    }
};

// What Coin makes of more than 15 digits differs from the nearest number by a bit now and then.
static void expect_same_for_coin(const model &m, const std::string &file, double tolerance = 1e-15)
{
    CoinMpsIO io;
    io.messageHandler()->setLogLevel(0);
    coin_sets sets;
    ASSERT_EQ(io.readMps(file.c_str(), "", sets.count, sets.list), 0);
    expect_same(m,
                {io.getNumRows(), io.getNumCols(), io.getObjCoefficients(), io.getColLower(),
                 io.getColUpper(), io.getRowLower(), io.getRowUpper(), io.getMatrixByRow(),
                 [&](int j) { return io.isInteger(j); }},
                tolerance);
    EXPECT_TRUE(same_number(io.objectiveOffset(), -m.offset, tolerance));
    ASSERT_EQ(sets.count, static_cast<int>(m.sets.size()));
    for (int k = 0; k < sets.count; k++) {
        EXPECT_EQ(sets.list[k]->setType(), m.sets[k].type - '0');
        ASSERT_EQ(sets.list[k]->numberEntries(), static_cast<int>(m.sets[k].index.size()));
        for (size_t e = 0; e < m.sets[k].index.size(); e++) {
            EXPECT_EQ(sets.list[k]->which()[e], m.sets[k].index[e]);
            EXPECT_TRUE(same_number(sets.list[k]->weights()[e], m.sets[k].weight[e], tolerance));
        }
    }
}

TEST_F(exchange, WhatIsWrittenReadAndWrittenAgainIsTheSameText)
{
    for (unsigned seed = 0; seed < 300; seed++) {
        SCOPED_TRACE(seed);
        model m = random_model(seed, seed % 3 ? ALL : ALL | SHORT_NUMBERS);
        for (bool lp : {false, true}) {
            std::string text = write(m, lp);
            model back = read(text, lp);
            ASSERT_EQ(write(back, lp), text);
            if (lp && m.row_sense.find('R') != m.row_sense.npos) continue; // two sides, no range
            expect_alike(m, back);
            EXPECT_EQ(back.offset, m.offset);
            EXPECT_EQ(back.sense, m.sense);
            EXPECT_EQ(back.a.entries(), m.a.entries());
            EXPECT_EQ(back.row_sense, m.row_sense);
            EXPECT_EQ(back.rhs, m.rhs);
        }
        // The other format holds the same model.
        ASSERT_EQ(write(read(write(read(write(m, true), true), false), false), true),
                  write(m, true));
    }
    for (const std::string &file : model_files()) {
        SCOPED_TRACE(file);
        model m = model_of(file);
        for (bool lp : {false, true}) {
            std::string text = write(m, lp);
            ASSERT_EQ(write(read(text, lp), lp), text);
        }
    }
}

// Words that mean something to a reader, and those that one format or the other has no place for.
TEST_F(exchange, AnyNameMayStandAnywhere)
{
    const model plain = read("max\n a + 2 b + c + [ a ^ 2 ]\nst\n r: a + b <= 7\n s: b - c >= -1\n"
                             " i: a = 1 -> b + c <= 2\nbounds\n -1 <= b <= 5\n c <= -2\n"
                             "binary\n a\nsos\n f: S1:: a:1 b:2\n g: S1:: b:1 c:2\nend\n",
                             true);
    const std::function<void(model &, const char *)> places[] = {
        [](model &m, const char *name) { m.name = name; },
        [](model &m, const char *name) { m.objname = name; },
        [](model &m, const char *name) { m.row_names.rename(1, name); },
        [](model &m, const char *name) { m.col_names.rename(0, name); },
        [](model &m, const char *name) { m.col_names.rename(1, name); },
        [](model &m, const char *name) { m.sets[0].name = name; },
        [](model &m, const char *name) { m.sets[1].name = name; },
        [](model &m, const char *name) { m.indicators[0].name = name; }};
    for (const char *name : {"",          " ",         "two words",  "a r 1",
                             "a r 1 s 1", "ends FREE", "FREE",       "longer than eight",
                             "\r",        "a\tb",      "r",          "cost",
                             "$",         "*",         "'MARKER'",   "S1",
                             "SOS",       "7",         "1e5",        "e5",
                             "-",         "+x",        "x:y",        "[",
                             "]",         "^2",        "/2",         "->",
                             "<=",        "=",         "free",       "inf",
                             "infinity",  "st",        "subject to", "subject",
                             "end",       "sos",       "general",    "bnd",
                             "rhs",       "IF",        "ENDATA",     "\\",
                             "x1",        "obj"}) {
        for (const auto &put : places) {
            SCOPED_TRACE(printed("\"%s\", place %d", name, int(&put - places)));
            model m = plain;
            put(m, name);
            for (bool lp : {false, true}) {
                std::string text = write(m, lp);
                model back = read(text, lp);
                expect_alike(m, back);
                EXPECT_EQ(back.sets.size(), 2U);
                EXPECT_EQ(write(back, lp), text);
            }
        }
    }
}

TEST_F(exchange, CoinReadsTheNumbersOfOurMpsFiles)
{
    unsigned fixed = 0;
    for (unsigned seed = 0; seed < 300; seed++) {
        SCOPED_TRACE(seed);
        bool is_short = seed % 2 == 0;
        unsigned features = RANGED_ROWS | CONSTANT | MAXIMIZED | SEMICONTINUOUS | SETS;
        model m = random_model(seed, is_short ? features | SHORT_NUMBERS : features);
        std::string text = write(m, false);
        fixed += text.find("FREE") == text.npos;
        file_write(path("m.mps").c_str(), text);
        expect_same_for_coin(m, path("m.mps"), is_short ? 0 : 1e-15);
    }
    EXPECT_EQ(fixed, 150U) << "with short names and numbers";
    for (const std::string &file : model_files()) {
        SCOPED_TRACE(file);
        model m = model_of(file);
        if (m.quadratic()) continue;
        file_write(path("m.mps").c_str(), write(m, false));
        expect_same_for_coin(m, path("m.mps"));
        if (file_kind(file.c_str(), nullptr) == "mps") expect_same_for_coin(m, file);
    }
}

// Turns a file into one that our reader takes, with about 10 digits.
static model through_glpsol(const std::string &folder, const std::string &kind)
{
    std::string in = folder + "/in", out = folder + "/out.mps";
    std::string command = "glpsol --check --" + kind + " " + in + " --wfreemps " + out;
    EXPECT_EQ(system((command + " >" + folder + "/log 2>&1").c_str()), 0)
        << file_contents((folder + "/log").c_str(), nullptr, 0);
    std::string remarks;
    return mps_read(file_contents(out.c_str(), nullptr, 0), &remarks);
}

TEST_F(exchange, GlpsolReadsTheNumbersOfOurFiles)
{
    if (system("glpsol --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "glpsol is not there";
    for (unsigned seed = 0; seed < 30; seed++) {
        SCOPED_TRACE(seed);
        bool fixed = seed % 2 == 0;
        model m = random_model(seed, RANGED_ROWS | SHORT_NUMBERS);
        if (!fixed) m.row_names.rename(0, "a_name_for_free_format");
        file_write(path("in").c_str(), write(m, false));
        expect_alike(m, through_glpsol(folder.path, fixed ? "mps" : "freemps"));
        m = random_model(seed, SHORT_NUMBERS); // its format has no more
        file_write(path("in").c_str(), write(m, true));
        expect_alike(m, through_glpsol(folder.path, "lp"));
    }
}

// What a reader says of a file that it reads.
static std::string remarks_on(const std::string &text, bool lp)
{
    std::string remarks;
    lp ? lp_read(text, &remarks) : mps_read(text, &remarks);
    return remarks;
}

TEST_F(exchange, WhatMayNotBeMeantIsSaid)
{
    struct {
        bool lp;
        std::string text;
        const char *says;
    } cases[] = {
        {true, "min\n x\nst\n r: 7 <= x + y <= -5\nend\n", "row \"r\" cannot hold"},
        {true, "min\n x\nbounds\n z <= 4\nend\n", "line 4: column \"z\" is neither"},
        {true, "min\n x\ngeneral\n z\nend\n", "column \"z\" is neither"},
        {true, "min\n x\nsos\n s: S1:: x:1 z:2\nend\n", "column \"z\" is neither"},
        {true, "min\n x\nbounds\n x <= 4\nbinary\n x\nend\n", "binary column \"x\""},
        {false, "ROWS\n N o\n N p\nCOLUMNS\n x o 1\nENDATA\n", "free row \"p\""},
        {false, "ROWS\n N o\n L r\nCOLUMNS\n x r 1\nRHS\n A r 1\n B r 2\nENDATA\n",
         "line 8: only the first vector in section RHS"},
        {false, "ROWS\n N o\nCOLUMNS\n x o 1\nBOUNDS\n UP A x 1\n UP B x 2\nENDATA\n",
         "only the first vector in section BOUNDS"},
        {false, "ROWS\n N o\nCOLUMNS\n x o 1\nBOUNDS\n BV A x\n UP A x 5\nENDATA\n",
         "binary column \"x\""},
    };
    for (const auto &c : cases)
        EXPECT_TRUE(has(remarks_on(c.text, c.lp), c.says)) << c.text;
    EXPECT_EQ(remarks_on(cases[6].text.replace(cases[6].text.find(" B r"), 4, " A o"), false), "");
}

TEST_F(exchange, OnlyTheFirstVectorCounts)
{
    model m = read("ROWS\n N o\n L r\nCOLUMNS\n x o 1 r 1\nRHS\n A r 1\n B r 2\nRANGES\n A r 3\n"
                   " B r 4\nBOUNDS\n UP A x 1\n UP B x 2\nENDATA\n",
                   false);
    EXPECT_EQ(m.rhs[0], 1);
    EXPECT_EQ(m.range[0], -3);
    EXPECT_EQ(m.upper[0], 1);
}

TEST_F(exchange, RowsWhoseSidesContradictEachOtherAreInfeasible)
{
    model m = read("min\n x\nst\n r: 7 <= x + y <= -5\n s: -5 <= x - y <= 7\n"
                   " t: -inf <= x <= 3\n u: 4 <= y <= inf\nend\n",
                   true);
    ASSERT_EQ(m.row_sense, "GLRLG");
    EXPECT_EQ(m.rhs[0], 7);
    EXPECT_EQ(m.rhs[1], -5);
    EXPECT_EQ(m.row_lower(2), -5);
    EXPECT_EQ(m.row_upper(2), 7);
    EXPECT_EQ(m.rhs[3], 3);
    EXPECT_EQ(m.rhs[4], 4);
}

TEST_F(exchange, AConstantLeavesAnInfiniteSideInfinite)
{
    model m = read("min\n x\nst\n low: x - 5e19 >= -inf\n range: -inf <= x + 5 <= 7\n"
                   " far: 9e19 <= x - 5e19 <= 9.5e19\nend\n",
                   true);
    EXPECT_EQ(m.rhs, (std::vector<double>{-VNT_INFINITY, 2, VNT_INFINITY}));
    EXPECT_EQ(m.row_sense, "GLG");
    EXPECT_EQ(write(read(write(m, true), true), true), write(m, true));
}

TEST_F(exchange, SetsAndIndicatorsAreReadInTheFormsThatFilesHave)
{
    std::string columns = "ROWS\n N o\n L r\n G q\nCOLUMNS\n a o 1 r 1\n b o 1 q 2\n c r -1\n";
    model m = read(columns + "RHS\n R r 3 q 4\nSOS\n S1 one\n    a 1\n    b 2\n S2 SOS two 7\n"
                             " SOS a 1\n SOS b 2\n SOS c 3\nINDICATORS\n IF q c 0\nENDATA\n",
                   false);
    ASSERT_EQ(m.sets.size(), 2U);
    EXPECT_EQ(m.sets[0].name + m.sets[1].name, "onetwo");
    EXPECT_EQ(m.sets[1].type, '2');
    EXPECT_EQ(m.sets[1].index, (std::vector<int>{0, 1, 2}));
    ASSERT_EQ(m.numrows(), 1);
    ASSERT_EQ(m.indicators.size(), 1U);
    EXPECT_EQ(m.indicators[0].name, "q");
    EXPECT_EQ(m.indicators[0].column, 2);
    EXPECT_TRUE(m.indicators[0].complemented);
    EXPECT_EQ(m.indicators[0].rhs, 4);
    EXPECT_EQ(m.indicators[0].value, std::vector<double>{2});
    m = read(&"\xef\xbb\xbfmin\n x[1] + b\nst\n i: b = 1 -> x[1] + y <= 4\n n: x[1] - y >= 2\n"
              "binary\n b\nsos1\n f: x[1]:1 y:2\nsos\n S2:: b:3 x[1]:-1 y:2\nend\n"[3],
             true);
    EXPECT_EQ(m.col_names.at(0), "x[1]");
    ASSERT_EQ(m.sets.size(), 2U);
    EXPECT_EQ(m.sets[0].name, "f");
    EXPECT_EQ(m.sets[1].weight, (std::vector<double>{3, -1, 2}));
    ASSERT_EQ(m.indicators.size(), 1U);
    EXPECT_FALSE(m.indicators[0].complemented);
    EXPECT_EQ(m.numrows(), 1);
    std::string marked = "\xef\xbb\xbfmin";
    EXPECT_EQ(file_contents(nullptr, marked.data(), static_cast<int64_t>(marked.size())), "min");
}

// min x^2 - 3xy + 4yy, written in three ways: Q holds twice the squares.
TEST_F(exchange, QuadraticObjectivesMeanTheSameInAllForms)
{
    std::string columns = "ROWS\n N o\nCOLUMNS\n x o 1\n y o 1\n";
    for (model m : {read("min\n x + y + [ 2 x^2 - 6 x * y + 8 y ^ 2 ]/2\nend\n", true),
                    read("min\n x + [ x ^2 - 2 x*y - y * x + 4 y^2 ] + y\nend\n", true),
                    read(columns + "QUADOBJ\n x x 2\n x y -3\n y y 8\nENDATA\n", false),
                    read(columns + "QMATRIX\n x x 2\n x y -3\n y x -3\n y y 8\nENDATA\n", false)}) {
        EXPECT_EQ(m.type, VNT_PROB_QP);
        EXPECT_EQ(m.q.get(0, 0), 2);
        EXPECT_EQ(m.q.get(0, 1), -3);
        EXPECT_EQ(m.q.get(1, 0), -3);
        EXPECT_EQ(m.q.get(1, 1), 8);
        double x[] = {2, 3};
        EXPECT_EQ(m.objective_at(x), 5 + 4 - 18 + 36);
    }
    for (model m : {read("min\n x + y + [ x * y - y * x ]\nend\n", true),
                    read(columns + "QUADOBJ\n x x 0\nENDATA\n", false)}) {
        EXPECT_EQ(m.type, VNT_PROB_LP);
        EXPECT_FALSE(m.quadratic());
    }
}

} // namespace vnt
