// Annotations: values that stay with their objects, and their files.

#include "solver/calls/test_session.h"

namespace vnt {

struct notes : session {
    // The long values of all objects of the kind.
    std::string longs(VNTLPptr lp, int idx, int kind, int count)
    {
        int64_t value[9];
        EXPECT_EQ(VNTLgetlongannotations(env, lp, idx, kind, value, 0, count - 1), 0);
        std::string out;
        for (int k = 0; k < count; k++)
            out += std::to_string(value[k]) + " ";
        return out;
    }
    VNTLPptr with_structure()
    {
        return problem_from("min\n x + y + z\nst\n r: x + y >= 1\n s: y + z >= 1\n"
                            " i: b = 1 -> x >= 2\n j: b = 0 -> x >= 1\nbinary\n b\n"
                            "sos\n one: S1:: x:1 y:2\n two: S1:: y:1 z:2\nend\n");
    }
};

TEST_F(notes, AnnotationsAreFoundByIndexAndByName)
{
    VNTLPptr lp = with_structure();
    ASSERT_EQ(VNTLnewlongannotation(env, lp, "weight", 7), 0);
    ASSERT_EQ(VNTLnewlongannotation(env, lp, "group", -1), 0);
    ASSERT_EQ(VNTLnewdblannotation(env, lp, "weight", 0.5), 0); // the types are apart
    EXPECT_EQ(VNTLnewdblannotation(env, lp, "weight", 1), VNTERR_DUPLICATE_ENTRY);
    EXPECT_EQ(VNTLnewdblannotation(env, lp, nullptr, 1), VNTERR_NULL_POINTER);
    EXPECT_EQ(VNTLnewdblannotation(env, lp, "", 1), VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(VNTLnewdblannotation(env, lp, " ", 1), VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(VNTLnewdblannotation(env, lp, "n", 1 / 0.0), VNTERR_BAD_NUMBER);
    EXPECT_EQ(VNTLgetnumlongannotations(env, lp), 2);
    EXPECT_EQ(VNTLgetnumdblannotations(env, lp), 1);
    int index = -1;
    EXPECT_EQ(VNTLgetlongannotationindex(env, lp, "group", &index), 0);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(VNTLgetdblannotationindex(env, lp, "weight", &index), 0);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(VNTLgetdblannotationindex(env, lp, "group", &index), VNTERR_NAME_NOT_FOUND);
    char name[8];
    int64_t surplus = 0, long_default = 0;
    double double_default = 0;
    EXPECT_EQ(VNTLgetlongannotationname(env, lp, 1, name, 8, &surplus), 0);
    EXPECT_STREQ(name, "group");
    EXPECT_EQ(VNTLgetdblannotationname(env, lp, 0, name, 3, &surplus), VNTERR_SPACE_TOO_SMALL);
    EXPECT_EQ(surplus, -4);
    EXPECT_EQ(VNTLgetlongannotationdefval(env, lp, 0, &long_default), 0);
    EXPECT_EQ(VNTLgetdblannotationdefval(env, lp, 0, &double_default), 0);
    EXPECT_EQ(long_default + double_default, 7.5);
    EXPECT_EQ(VNTLgetdblannotationdefval(env, lp, 1, &double_default), VNTERR_INDEX_RANGE);
    EXPECT_EQ(VNTLdellongannotation(env, lp, 0), 0);
    EXPECT_EQ(VNTLdellongannotation(env, lp, 1), VNTERR_INDEX_RANGE);
    EXPECT_EQ(VNTLgetlongannotationindex(env, lp, "group", &index), 0);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(VNTLdeldblannotations(env, lp, 0, 0), 0);
    EXPECT_EQ(VNTLdellongannotations(env, lp, 0, -1), 0);
    EXPECT_EQ(VNTLgetnumlongannotations(env, lp) * 10 + VNTLgetnumdblannotations(env, lp), 10);
}

TEST_F(notes, ValuesStayWithTheirObjects)
{
    VNTLPptr lp = with_structure();
    ASSERT_EQ(VNTLnewlongannotation(env, lp, "n", 9), 0);
    const int places[] = {0, 1, 2, 3};
    const int64_t values[] = {10, 11, 12, 13}, large[] = {INT64_MAX};
    const int counts[] = {1, 4, 2, 2, 2}; // objective, columns, rows, sets, indicators
    for (int kind = 0; kind < 5; kind++)
        ASSERT_EQ(VNTLsetlongannotations(env, lp, 0, kind, counts[kind], places, values), 0);
    EXPECT_EQ(VNTLsetlongannotations(env, lp, 0, VNT_ANNOTATION_COLUMN, 1, places + 3, large), 0);
    EXPECT_EQ(VNTLsetlongannotations(env, lp, 0, 5, 0, nullptr, nullptr), VNTERR_BAD_ARGUMENT);
    EXPECT_EQ(VNTLsetlongannotations(env, lp, 0, VNT_ANNOTATION_ROW, 1, places + 2, values),
              VNTERR_INDEX_RANGE);
    EXPECT_EQ(VNTLsetlongannotations(env, lp, 0, VNT_ANNOTATION_ROW, 1, places, nullptr),
              VNTERR_NULL_POINTER);
    VNTLPptr clone = VNTLcloneprob(env, lp, nullptr);

    ASSERT_EQ(VNTLdelcols(env, lp, 1, 2), 0);
    ASSERT_EQ(VNTLdelrows(env, lp, 0, 0), 0);
    int marks[] = {1, 0};
    ASSERT_EQ(VNTLdelsetsos(env, lp, marks), 0);
    ASSERT_EQ(VNTLdelindconstrs(env, lp, 0, 0), 0);
    ASSERT_EQ(VNTLnewrows(env, lp, 1, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(longs(lp, 0, VNT_ANNOTATION_OBJECTIVE, 1), "10 ");
    EXPECT_EQ(longs(lp, 0, VNT_ANNOTATION_COLUMN, 2), "10 9223372036854775807 ");
    EXPECT_EQ(longs(lp, 0, VNT_ANNOTATION_ROW, 2), "11 9 ");
    EXPECT_EQ(longs(lp, 0, VNT_ANNOTATION_SET, 1), "11 ");
    EXPECT_EQ(longs(lp, 0, VNT_ANNOTATION_INDICATOR, 1), "11 ");
    EXPECT_EQ(longs(clone, 0, VNT_ANNOTATION_COLUMN, 3), "10 11 12 ");
}

// The text is by hand, and comes back by letters.
TEST_F(notes, FilesAreReadAndWritten)
{
    const std::string text = "annotations of test\n"
                             "annotation long 0 two words\n"
                             "column 5 y\ncolumn -6 z\nrow 2 s\nset 3 two\nindicator 4 i\n"
                             "annotation double 0.5 price\nobjective -1.25\ncolumn 1e+99 x\n"
                             "annotation double 3 bare\nend\n";
    VNTLPptr lp = with_structure();
    ASSERT_EQ(read_text(VNTLEreadcopyannotations, lp, text), 0) << heard[CHANNEL_ERROR];
    EXPECT_EQ(longs(lp, 0, VNT_ANNOTATION_COLUMN, 4), "0 5 -6 0 ");
    EXPECT_EQ(longs(lp, 0, VNT_ANNOTATION_INDICATOR, 2), "4 0 ");
    double value[2];
    EXPECT_EQ(VNTLgetdblannotations(env, lp, 0, VNT_ANNOTATION_COLUMN, value, 0, 1), 0);
    EXPECT_EQ(value[0], 1e99);
    EXPECT_EQ(value[1], 0.5);
    EXPECT_EQ(VNTLwriteannotations(env, lp, path.c_str()), 0);
    EXPECT_EQ(written(), text);
    expect_malformed(VNTLEreadcopyannotations, lp, "annotations of t\n",
                     {"annotation long 0\n", "annotation\n", "annotation long 1.5 n\n",
                      "annotation long 0 n\ncolumn 1 w\n", "annotation long 0 n\nset 1 r\n",
                      "annotation long 0 n\nannotation long 0 n\nend\n"});
    EXPECT_EQ(VNTLgetnumdblannotations(env, lp), 2); // the last good ones
    EXPECT_EQ(VNTEreadcopyannotations(env, lp, path.c_str(), nullptr, 0), 0);
}

// b and d are discrete; a and c share a row, e and f another one; g is alone.
TEST_F(notes, ADecompositionNumbersTheBlocksOfContinuousColumns)
{
    VNTLPptr lp = problem_from("min\n a + b + c + d + e + f + g\nst\n r: a + b + c >= 1\n"
                               " s: d + e + f >= 1\n t: b + d + g >= 1\ngenerals\n b d\nend\n");
    ASSERT_EQ(VNTLwritebendersannotation(env, lp, path.c_str()), 0);
    EXPECT_EQ(written(), "annotations of test\nannotation long 0 benders\n"
                         "column 1 a\ncolumn 1 c\ncolumn 2 e\ncolumn 2 f\ncolumn 3 g\nend\n");
    EXPECT_EQ(VNTLgetnumlongannotations(env, lp), 0);
}

} // namespace vnt
