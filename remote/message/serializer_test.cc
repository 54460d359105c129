#include "remote/message/serializer.h"

#include "test/allocations.h"
#include "vanto.h"

#include <gtest/gtest.h>

namespace vnt {

// What it writes is compared with a progress as it travels.
TEST(Serializer, GrowsByDoublingOrToWhatIsNeededOrStaysAsItWas)
{
    serializer s;
    serializer_init(&s, 0);
    const int8_t block[7000] = {};
    EXPECT_EQ(s.ops.serializeraddbyte(&s, 7), 0);
    EXPECT_EQ(s.capacity, 1024u);
    EXPECT_EQ(s.ops.serializeraddbytes(&s, 1024, block), 0);
    EXPECT_EQ(s.capacity, 2048u);
    EXPECT_EQ(s.ops.serializeraddbytes(&s, 7000, block), 0);
    EXPECT_EQ(s.capacity, 8025u);
    allocations_limit(8025);
    EXPECT_EQ(s.ops.serializeraddbyte(&s, 1), VNTERR_NO_MEMORY);
    EXPECT_EQ(s.ops.serializeradddoubles(&s, INT64_MAX, nullptr), VNTERR_NO_MEMORY);
    allocations_limit(0);
    EXPECT_EQ(s.used, 8025u);
    EXPECT_EQ(s.buffer[0], 7);
    serializer_release(&s);
}

} // namespace vnt
