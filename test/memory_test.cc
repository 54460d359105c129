// What becomes of a worker that grows too large, of its client and of the others, under the limits
// that a service sets.
#include "test/server.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <vector>

namespace vnt {

// A control group of the kernel with a limit of its own, for the length of a test.
class limited_group {
  public:
    explicit limited_group(long bytes)
    {
        for (const char *const *kind : {second, first}) {
            name = std::string(kind[0]) + "/vnt" + std::to_string(getpid());
            std::error_code failed;
            if (!std::filesystem::create_directory(name, failed)) continue;
            usable = write_to(name + "/" + kind[1], bytes); // opens only what the kernel made
            if (usable) break;
            std::filesystem::remove(name, failed);
        }
    }
    ~limited_group()
    {
        std::error_code failed;
        if (!usable) return;
        EXPECT_TRUE(std::filesystem::remove(name, failed)) << failed.message();
    }
    // The command that starts what follows it in the group.
    std::vector<std::string> entering() const
    {
        return {"sh", "-c", "echo $$ >" + name + "/cgroup.procs && exec \"$@\"", "sh"};
    }
    bool usable = false;

  private:
    static bool write_to(const std::string &file, long number)
    {
        std::fstream existing(file, std::ios::in | std::ios::out);
        existing << number << std::flush;
        return existing.good();
    }
    static constexpr const char *second[] = {"/sys/fs/cgroup", "memory.max"};
    static constexpr const char *first[] = {"/sys/fs/cgroup/memory", "memory.limit_in_bytes"};
    std::string name;
};

// Adds columns until the worker has no room for more.  Returns the status that says so.
static int grow(VNTENVptr env)
{
    int status = 0;
    VNTLPptr lp = VNTLcreateprob(env, &status, "large");
    const std::vector<double> costs(2'000'000, 1);
    const int count = static_cast<int>(costs.size());
    for (int rounds = 0; status == 0 && rounds < 50; rounds++)
        status = VNTLnewcols(env, lp, count, costs.data(), nullptr, nullptr, nullptr, nullptr);
    return status;
}

class Memory : public testing::Test {
    void SetUp() override
    {
        if (SANITIZED) GTEST_SKIP() << "a sanitizer takes much more memory";
    }
};

TEST_F(Memory, TheKernelEndsTheLargestWorkerOfAGroupAndItsClientIsTold)
{
    limited_group group(200 << 20);
    if (!group.usable) GTEST_SKIP() << "needs the right to make a control group";
    server s({}, {}, group.entering());
    VNTENVptr large = open_at(s), other = open_at(s);
    EXPECT_EQ(grow(large), VNTERR_CONNECTION_LOST);
    EXPECT_NE(std::string(vntclient_errortext()), "");
    EXPECT_TRUE(eventually([&] { return s.workers().size() == 1; }));
    EXPECT_EQ(solve_bounded(other, 3), 3);
    VNTLcloseVANTO(&large);
    VNTENVptr later = open_at(s);
    EXPECT_EQ(solve_bounded(later, 3), 3);
    VNTLcloseVANTO(&later);
    VNTLcloseVANTO(&other);
    EXPECT_TRUE(eventually([&] { return s.workers().empty(); }));
    EXPECT_EQ(s.stop(SIGTERM), 0);
}

TEST_F(Memory, AWorkerAtItsOwnLimitSaysSoAndGoesOn)
{
    server s({}, {}, {"prlimit", "--as=" + std::to_string(300 << 20)});
    VNTENVptr large = open_at(s), other = open_at(s);
    EXPECT_EQ(grow(large), VNTERR_NO_MEMORY);
    EXPECT_EQ(solve_bounded(other, 3), 3);
    EXPECT_EQ(solve_bounded(large, 3), 3);
    VNTLcloseVANTO(&large);
    VNTLcloseVANTO(&other);
}

} // namespace vnt
