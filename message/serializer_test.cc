#include "message/serializer.h"

#include "test/allocations.h"

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
    const float floats[] = {1.0f};
    s.ops.serializeraddint(&s, 1);
    s.ops.serializeradddouble(&s, 1.0);
    s.ops.serializeraddshorts(&s, 2, shorts);
    s.ops.serializeraddbyte(&s, 0x7f);
    s.ops.serializeraddfloats(&s, 1, floats);
    s.ops.serializeraddlong(&s, 0x0102030405060708);
    EXPECT_EQ(contents(s), std::string("\0\0\0\1"
                                       "\x3f\xf0\0\0\0\0\0\0"
                                       "\xff\xfe\0\3"
                                       "\x7f"
                                       "\x3f\x80\0\0"
                                       "\1\2\3\4\5\6\7\x08",
                                       29));
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
