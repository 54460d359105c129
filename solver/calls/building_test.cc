#include "solver/calls/test_session.h"

#include <limits>
#include <random>

namespace vnt {

static constexpr double infinity = VNT_INFINITY;

// A model with every kind of row and column, in the lists that the calls take.
struct building : session {
    int64_t col_begin[4] = {0, 2, 2, 5};
    int col_count[4] = {2, 0, 3, 1};
    int colind[6] = {0, 2, 3, 1, 0, 2}; // a column's rows in any order
    double col_value[6] = {1, -2.5, 3, 0.1, 1e-7, 5};
    int64_t row_begin[4] = {0, 2, 3, 5};
    int rowind[6] = {2, 0, 2, 3, 0, 2}; // a row's columns likewise
    double row_values[6] = {1e-7, 1, 0.1, 5, -2.5, 3};
    double obj[4] = {1, 0, -2, 0.3}, lb[4] = {0, -infinity, -1, 2}, ub[4] = {infinity, 4, 1, 2};
    double rhs[4] = {1, 2, 3, 4}, rng[4] = {0, 0, 0, -1.5};
    const char *sense = "LGER";
    const char *colname[4] = {"alpha", nullptr, "gamma", "delta"};
    const char *rowname[4] = {"one", "two", nullptr, "four"};

    VNTLPptr all_at_once()
    {
        VNTLPptr lp = problem();
        EXPECT_EQ(VNTLcopylpwnames(env, lp, 4, 4, VNT_MAX, obj, rhs, sense, col_begin, col_count,
                                   colind, col_value, lb, ub, rng, colname, rowname),
                  0);
        return lp;
    }
};

TEST_F(building, AModelIsTheSameHoweverItIsBuilt)
{
    std::string expected = all_of(all_at_once());
    EXPECT_TRUE(has(expected, "alpha"));

    VNTLPptr by_col = problem();
    ASSERT_EQ(VNTLnewrows(env, by_col, 4, rhs, sense, rng, rowname), 0);
    ASSERT_EQ(VNTLaddcols(env, by_col, 4, 6, obj, col_begin, colind, col_value, lb, ub, colname),
              0);
    ASSERT_EQ(VNTLchgobjsen(env, by_col, VNT_MAX), 0);
    EXPECT_EQ(all_of(by_col), expected);

    VNTLPptr by_row = problem();
    ASSERT_EQ(VNTLnewcols(env, by_row, 4, obj, lb, ub, nullptr, colname), 0);
    for (int i = 0; i < 4; i++) { // one by one, the last column's name in pieces
        int64_t begin = 0, count = i < 3 ? row_begin[i + 1] - row_begin[i] : 1;
        ASSERT_EQ(VNTLaddrows(env, by_row, 0, 1, count, &rhs[i], &sense[i], &begin,
                              &rowind[row_begin[i]], &row_values[row_begin[i]], nullptr,
                              &rowname[i]),
                  0);
    }
    int last = 3;
    ASSERT_EQ(VNTLchgrngval(env, by_row, 1, &last, &rng[3]), 0);
    ASSERT_EQ(VNTLchgobjsen(env, by_row, VNT_MAX), 0);
    EXPECT_EQ(all_of(by_row), expected);

    VNTLPptr by_coef = problem();
    ASSERT_EQ(VNTLnewcols(env, by_coef, 4, nullptr, lb, ub, nullptr, colname), 0);
    ASSERT_EQ(VNTLnewrows(env, by_coef, 4, nullptr, sense, rng, rowname), 0);
    for (int j = 0; j < 4; j++) {
        for (int64_t k = col_begin[j]; k < col_begin[j] + col_count[j]; k++) {
            ASSERT_EQ(VNTLchgcoef(env, by_coef, colind[k], j, 77), 0); // replaced at once
            ASSERT_EQ(VNTLchgcoef(env, by_coef, colind[k], j, col_value[k]), 0);
        }
        ASSERT_EQ(VNTLchgcoef(env, by_coef, -1, j, obj[j]), 0);
        ASSERT_EQ(VNTLchgcoef(env, by_coef, j, -1, rhs[j]), 0);
    }
    ASSERT_EQ(VNTLchgobjsen(env, by_coef, VNT_MAX), 0);
    EXPECT_EQ(all_of(by_coef), expected);

    int status = -1;
    EXPECT_EQ(all_of(VNTLcloneprob(env, by_coef, &status)), expected);
}

TEST_F(building, DeletedRowsAndColumnsTakeTheirPartsAlong)
{
    VNTLPptr marked = all_at_once(), ranged = all_at_once();
    int row_marks[4] = {0, 1, 0, 0}, col_marks[4] = {1, 0, 7, 1}; // any other mark keeps
    ASSERT_EQ(VNTLdelsetrows(env, marked, row_marks), 0);
    ASSERT_EQ(VNTLdelsetcols(env, marked, col_marks), 0);
    EXPECT_EQ(std::vector<int>(row_marks, row_marks + 4), (std::vector<int>{0, -1, 1, 2}));
    ASSERT_EQ(VNTLdelrows(env, ranged, 1, 1), 0);
    ASSERT_EQ(VNTLdelcols(env, ranged, 3, 3), 0);
    ASSERT_EQ(VNTLdelcols(env, ranged, 0, 0), 0);
    EXPECT_EQ(all_of(marked), all_of(ranged));
    double coef = 0;
    ASSERT_EQ(VNTLgetcoef(env, marked, 2, 1, &coef), 0);
    EXPECT_EQ(coef, 3);
    int index = -1;
    EXPECT_EQ(VNTLgetrowindex(env, marked, "four", &index), 0);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(VNTLgetrowindex(env, marked, "two", &index), VNTERR_NAME_NOT_FOUND);
}

TEST_F(building, AWrongListIsRefusedAndChangesNothing)
{
    VNTLPptr lp = all_at_once();
    std::string before = all_of(lp);
    int both[2] = {0, 4}, twice[2] = {2, 2};
    int64_t zero = 0, back[2] = {1, 0};
    double bad[2] = {1, std::numeric_limits<double>::quiet_NaN()}, fine[2] = {5, 6};
    EXPECT_EQ(VNTLchgobj(env, lp, 2, both, fine), VNTERR_INDEX_RANGE);
    EXPECT_EQ(VNTLchgobj(env, lp, 2, twice, bad), VNTERR_BAD_NUMBER);
    bad[1] = -VNT_INFINITY; // no finite cost: the engines end the process at some of them
    EXPECT_EQ(VNTLchgobj(env, lp, 2, twice, bad), VNTERR_BAD_NUMBER);
    EXPECT_EQ(VNTLchgcoef(env, lp, 0, 0, VNT_INFINITY), VNTERR_BAD_NUMBER);
    EXPECT_EQ(VNTLnewcols(env, lp, 1, bad + 1, nullptr, nullptr, nullptr, nullptr),
              VNTERR_BAD_NUMBER);
    EXPECT_EQ(VNTLnewcols(env, lp, INT_MAX, nullptr, nullptr, nullptr, nullptr, nullptr),
              VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(VNTLchgbds(env, lp, 2, twice, "UX", fine), VNTERR_BAD_BOUND);
    EXPECT_EQ(VNTLaddcols(env, lp, 1, 2, nullptr, &zero, twice, fine, nullptr, nullptr, nullptr),
              VNTERR_DUPLICATE_ENTRY);
    EXPECT_EQ(VNTLaddcols(env, lp, 2, 2, nullptr, back, both, fine, nullptr, nullptr, nullptr),
              VNTERR_BAD_ARGUMENT);
    const char *fresh = "fresh"; // a new column goes again with the row that is refused
    EXPECT_EQ(VNTLaddrows(env, lp, 1, 1, 2, nullptr, "Q", &zero, both, fine, &fresh, nullptr),
              VNTERR_BAD_SENSE);
    EXPECT_EQ(VNTLdelcols(env, lp, 3, 4), VNTERR_INDEX_RANGE);
    EXPECT_EQ(VNTLcopylp(env, lp, 4, 3, VNT_MIN, obj, rhs, sense, col_begin, col_count, colind,
                         col_value, lb, ub, rng),
              VNTERR_INDEX_RANGE);
    EXPECT_EQ(all_of(lp), before);
}

TEST_F(building, AQueryTellsHowMuchSpaceItLacks)
{
    VNTLPptr lp = all_at_once();
    int64_t surplus = 0, begin[4] = {-7}, count = -1;
    int ind[6];
    double val[6];
    EXPECT_EQ(VNTLgetcols(env, lp, &count, begin, ind, val, 0, &surplus, 1, 3),
              VNTERR_SPACE_TOO_SMALL);
    EXPECT_EQ(surplus, -4);
    EXPECT_EQ(begin[0], -7) << "a call that fails leaves the arrays alone";
    EXPECT_EQ(VNTLgetcols(env, lp, &count, begin, ind, val, 6, &surplus, 1, 3), 0);
    EXPECT_EQ(surplus, 2);
    EXPECT_EQ(begin[2], 3);

    // alpha, x2, gamma and their ends take 6 + 3 + 6 bytes.
    char *names[3], store[15];
    EXPECT_EQ(VNTLgetcolname(env, lp, names, store, 14, &surplus, 0, 2), VNTERR_SPACE_TOO_SMALL);
    EXPECT_EQ(surplus, -1);
    EXPECT_EQ(VNTLgetcolname(env, lp, names, store, 15, &surplus, 0, 2), 0);
    EXPECT_STREQ(names[1], "x2");
    EXPECT_EQ(VNTLgetobj(env, lp, val, 3, 4), VNTERR_INDEX_RANGE);
}

TEST_F(building, NamesAreFoundWhereverTheyCameFrom)
{
    VNTLPptr lp = all_at_once();
    int index = -1, second = 1;
    EXPECT_EQ(VNTLgetcolindex(env, lp, "x2", &index), 0);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(VNTLgetcolindex(env, lp, "x1", &index), VNTERR_NAME_NOT_FOUND) << "that is alpha";
    const char *name = "beta";
    ASSERT_EQ(VNTLchgcolname(env, lp, 1, &second, &name), 0);
    EXPECT_EQ(VNTLgetcolindex(env, lp, "beta", &index), 0);
    EXPECT_EQ(VNTLgetcolindex(env, lp, "x2", &index), VNTERR_NAME_NOT_FOUND);
    ASSERT_EQ(VNTLdelnames(env, lp), 0);
    EXPECT_EQ(name_of(lp, VNTLgetrowname, 2), "c3");
    EXPECT_EQ(VNTLgetcolindex(env, lp, "beta", &index), VNTERR_NAME_NOT_FOUND);
}

// The matrix against a plain table, under a random mix of what changes it.
TEST(Matrix, AgreesWithATableAfterAnyChanges)
{
    constexpr int size = 6;
    std::mt19937 random(7);
    auto below = [&](unsigned n) { return static_cast<int>(random() % n); };
    matrix m;
    m.grow(size, size);
    std::vector<std::vector<double>> table(size, std::vector<double>(size)); // by column
    for (int step = 0; step < 400; step++) {
        int at[] = {3, 0}, gone = below(size);
        double value[] = {below(5) - 1.0, 2};
        int64_t begin = 0;
        matrix_lines line = {1, 2, &begin, nullptr, at, value};
        std::vector<int> place(size + 1); // one comes and one goes
        for (int k = 0; k <= size; k++)
            place[k] = k == gone ? -1 : k - (k > gone);
        switch (below(8)) {
        case 0:
            m.append_cols(line);
            m.keep_cols(place, size);
            table.push_back({2, 0, 0, value[0], 0, 0});
            table.erase(table.begin() + gone);
            break;
        case 1:
            m.append_rows(line);
            m.keep_rows(place, size);
            for (int j = 0; j < size; j++) {
                table[j].push_back(j == 0 ? 2 : j == 3 ? value[0] : 0);
                table[j].erase(table[j].begin() + gone);
            }
            break;
        default:
            for (int k = 0; k < 3; k++) {
                int i = below(size), j = below(size);
                m.set(i, j, table[j][i] = below(3));
            }
        }
        if (below(3) != 0) continue; // changes pile up
        matrix_view across = m.by_row();
        int64_t k = 0;
        for (int i = 0; i < size; i++)
            for (int j = 0; j < size; j++) {
                ASSERT_EQ(m.get(i, j), table[j][i]) << step << " " << i << " " << j;
                if (table[j][i] == 0) continue;
                ASSERT_EQ(across.index[k], j);
                ASSERT_EQ(across.value[k++], table[j][i]);
            }
        ASSERT_EQ(m.entries(), k);
    }
}

} // namespace vnt
