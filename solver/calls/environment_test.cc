#include "solver/calls/test_session.h"

#include <limits>

namespace vnt {

using environment_test = session;

TEST_F(environment_test, AParameterTakesItsRangeAndNothingBeyond)
{
    for (const parameter &p : parameter_list()) {
        SCOPED_TRACE(p.name);
        if (p.type == VNT_PARAMTYPE_INT) {
            int least, greatest, value = -1;
            ASSERT_EQ(VNTLinfointparam(env, p.number, nullptr, &least, &greatest), 0);
            EXPECT_EQ(VNTLsetintparam(env, p.number, greatest), 0);
            EXPECT_EQ(VNTLsetintparam(env, p.number, least - 1), VNTERR_PARAMETER_VALUE);
            EXPECT_EQ(VNTLgetintparam(env, p.number, &value), 0);
            EXPECT_EQ(value, greatest);
        } else if (p.type == VNT_PARAMTYPE_DOUBLE) {
            double least, greatest;
            ASSERT_EQ(VNTLinfodblparam(env, p.number, nullptr, &least, &greatest), 0);
            EXPECT_EQ(VNTLsetdblparam(env, p.number, least), 0);
            EXPECT_EQ(VNTLsetdblparam(env, p.number, greatest * 2), VNTERR_PARAMETER_VALUE);
            EXPECT_EQ(VNTLsetdblparam(env, p.number, std::numeric_limits<double>::quiet_NaN()),
                      VNTERR_PARAMETER_VALUE);
        }
    }
    EXPECT_EQ(VNTLsetintparam(env, 7, 1), VNTERR_BAD_PARAMETER);
    EXPECT_EQ(VNTLsetintparam(env, VNT_PARAM_TIME_LIMIT, 1), VNTERR_PARAMETER_TYPE);
}

TEST(Parameters, AFileOfThemIsTakenWholeOrNotAtAll)
{
    parameter_set set, copy;
    set.set_double(VNT_PARAM_TIME_LIMIT, 1.0 / 3);
    set.set_string(VNT_PARAM_WORK_DIR, "a b");
    copy.read("# comment\n\n" + set.write());
    EXPECT_EQ(copy.get_double(VNT_PARAM_TIME_LIMIT), 1.0 / 3);
    EXPECT_EQ(copy.get_string(VNT_PARAM_WORK_DIR), "a b");
    for (const char *bad : {"seed 3\nnosuch 4\n", "seed 3\nthreads x\n", "seed 3\nthreads -1\n"}) {
        EXPECT_THROW(copy.read(bad), failure);
        EXPECT_EQ(copy.get_int(VNT_PARAM_SEED), 1);
    }
}

} // namespace vnt
