#include "remote/base/pool.h"

#include "test/folders.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vnt {

namespace {
class Pool : public testing::Test {
  protected:
    // What the text says as a pool: its addresses, or what is wrong with it.
    std::vector<std::string> read(const std::string &text)
    {
        std::ofstream(file.name) << text;
        pool p;
        char wrong[300];
        if (!pool_read(&p, file.name.c_str(), wrong, sizeof wrong)) return {"wrong", wrong};
        std::vector<std::string> all(p.addresses, p.addresses + p.count);
        pool_release(&p);
        return all;
    }

    const scratch file{".pool"};
};
using list = std::vector<std::string>;
} // namespace

TEST_F(Pool, IsAnAddressALine)
{
    EXPECT_EQ(read("a:1\r\n\n [::1]:65535\t# six\nnode\nunix:/a b/#c \na:1\n#\nunix:4000"),
              (list{"a:1", "[::1]:65535", "node", "unix:/a b/#c", "a:1", "unix:4000"}));
}

TEST_F(Pool, SaysWhichLineIsWrong)
{
    for (const std::string bad : {"a:0", "a:65536", "a:1x", "a:", ":1", "a b:1", "a 1", "[]:1",
                                  "unix:", "unix:here", "@other"})
        EXPECT_EQ(read("a:1\n\n" + bad + " # bad"),
                  (list{"wrong", file.name + ":3: '" + bad + "' is not HOST:PORT or unix:/PATH"}));
    EXPECT_EQ(read("a:1\n" + std::string(1024, 'a')).front(), "wrong");
    EXPECT_EQ(read("\n# nothing\n"), (list{"wrong", file.name + ": there is no address in it"}));
}

TEST_F(Pool, SaysWhyItCannotBeRead)
{
    pool p;
    char wrong[300];
    EXPECT_FALSE(pool_read(&p, "/nowhere/pool", wrong, sizeof wrong));
    EXPECT_STREQ(wrong, "/nowhere/pool: No such file or directory");
    EXPECT_FALSE(pool_read(&p, "/tmp", wrong, sizeof wrong));
    EXPECT_STREQ(wrong, "/tmp: Is a directory");
    EXPECT_EQ(p.count, 0u);
}

} // namespace vnt
