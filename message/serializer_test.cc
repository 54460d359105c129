#include "message/serializer.h"

#include "test/allocations.h"
#include "test/bytes.h"

#include <gtest/gtest.h>

#include <string>

static std::string contents(const serializer &s)
{
    return std::string(reinterpret_cast<const char *>(s.buffer), s.used);
}

struct Serializer : testing::Test {
    serializer s;
    Serializer() { serializer_init(&s, 0); }
    ~Serializer() { serializer_release(&s); }
};

TEST_F(Serializer, ValuesStandBigEndianOneBehindTheOther)
{
    const int16_t shorts[] = {-2, 3};
    s.ops.serializeraddint(&s, 1);
    s.ops.serializeradddouble(&s, 1.0);
    s.ops.serializeraddshorts(&s, 2, shorts);
    s.ops.serializeraddlong(&s, 0x0102030405060708);
    EXPECT_EQ(hex(contents(s)), "00 00 00 01 3f f0 00 00 00 00 00 00 ff fe 00 03 "
                                "01 02 03 04 05 06 07 08");
}

TEST_F(Serializer, TheBufferGrowsByDoublingOrToWhatIsNeededOrStaysAsItWas)
{
    const int8_t block[7000] = {};
    EXPECT_EQ(s.ops.serializeraddints(&s, 0, nullptr), 0);
    EXPECT_EQ(s.capacity, 0u);
    EXPECT_EQ(s.ops.serializeraddbyte(&s, 7), 0);
    EXPECT_EQ(s.capacity, 1024u);
    EXPECT_EQ(s.ops.serializeraddbytes(&s, 1024, block), 0);
    EXPECT_EQ(s.capacity, 2048u);
    EXPECT_EQ(s.ops.serializeraddbytes(&s, 7000, block), 0);
    EXPECT_EQ(s.capacity, 8025u);

    std::string before = contents(s);
    allocations_limit(8025);
    EXPECT_EQ(s.ops.serializeraddbyte(&s, 1), 1001);
    EXPECT_EQ(s.ops.serializeradddoubles(&s, INT64_MAX, nullptr), 1001);
    allocations_limit(0);
    EXPECT_EQ(contents(s), before);
    EXPECT_EQ(s.capacity, 8025u);
}
