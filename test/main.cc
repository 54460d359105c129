// main.cc: runs the tests of a program, and fails a test that leaves more descriptors, threads or
// child processes than it found.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>

namespace fs = std::filesystem;

typedef std::set<std::string> names;

static names entries(const char *folder)
{
    names found;
    std::error_code gone;
    for (const fs::directory_entry &e : fs::directory_iterator(folder, gone))
        found.insert(e.path().filename());
    return found;
}

// "5 -> pipe:[1234]"; the folder's own descriptor is closed by now and has no target.
static names descriptors(void)
{
    names open;
    for (const std::string &number : entries("/proc/self/fd")) {
        std::error_code gone;
        fs::path target = fs::read_symlink("/proc/self/fd/" + number, gone);
        if (!gone) open.insert("descriptor " + number + " -> " + target.string());
    }
    return open;
}

// Threads and child processes.  Those that have ended but were not collected count as well.
static names tasks(void)
{
    names running;
    for (const std::string &id : entries("/proc/self/task")) {
        running.insert("thread " + id);
        std::ifstream children("/proc/self/task/" + id + "/children");
        for (std::string pid; children >> pid;)
            running.insert("child process " + pid);
    }
    return running;
}

static names resources(void)
{
    names all = descriptors();
    all.merge(tasks());
    return all;
}

static std::string added(const names &before, const names &now)
{
    std::string text;
    for (const std::string &name : now)
        if (before.count(name) == 0) text += "\n  " + name;
    return text;
}

class leak_listener : public testing::EmptyTestEventListener {
    names before;

    void OnTestStart(const testing::TestInfo &) override { before = resources(); }

    void OnTestEnd(const testing::TestInfo &) override
    {
        // Threads and children that were told to end may take a moment; the system's asynchronous
        // input keeps its threads for a second.
        std::string left = added(before, resources());
        for (int i = 0; i < 300 && !left.empty(); i++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            left = added(before, resources());
        }
        EXPECT_TRUE(left.empty()) << "left behind:" << left;
    }
};

// Options that sanitizers read from the program.  Allocations that are too large return null, as
// they do without a sanitizer; leaks inside the engines are not ours.  A worker does not stay for a
// second at its end, in which its server would kill it.
extern "C" {
#pragma GCC visibility push(default)
const char *__asan_default_options(void)
{
    return "allocator_may_return_null=1";
}
const char *__tsan_default_options(void)
{
    return "allocator_may_return_null=1:atexit_sleep_ms=0";
}
const char *__lsan_default_suppressions(void)
{
    return "leak:implied_free_action\nleak:ClpPredictorCorrector\nleak:presolve_dupmajor\n";
}
#pragma GCC visibility pop
} // extern "C"

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    std::thread([] {}).join(); // the thread sanitizer starts a thread of its own with the first
    testing::UnitTest::GetInstance()->listeners().Append(new leak_listener);
    return RUN_ALL_TESTS();
}
