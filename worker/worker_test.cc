// A worker's main loop, with the test in the place of the server and the client.
#include "worker/child.h"

#include "codec/catalogue.h"
#include "test/process.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

// Found among the symbols of the process.
extern "C" [[gnu::visibility("default")]] void test_registration(void *)
{
    fprintf(stderr, "registered here\n");
}

// A worker in a process of its own.
class worker_process {
  public:
    explicit worker_process(std::vector<std::string> options = {}, std::string program = "worker")
        : errors(memfd_create("stderr", MFD_CLOEXEC))
    {
        int pipes[4][2];
        for (auto &ends : pipes)
            EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        options.insert(options.begin(), std::move(program));
        fflush(nullptr);
        pid = fork();
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(errors, 2);
            std::vector<char *> argv;
            for (std::string &o : options)
                argv.push_back(o.data());
            argv.push_back(nullptr);
            worker_child child = {pipes[0][0], pipes[1][1], pipes[2][1], pipes[3][0], getpid()};
            for (int mine : {pipes[0][1], pipes[1][0], pipes[2][0], pipes[3][1]})
                close(mine);
            tcpipworker(&child, static_cast<int>(options.size()), argv.data());
            exit(0);
        }
        for (int theirs : {pipes[0][0], pipes[1][1], pipes[2][1], pipes[3][0]})
            close(theirs);
        input = pipes[0][1];
        output = pipes[1][0];
        status = pipes[2][0];
        control = pipes[3][1];
    }
    ~worker_process()
    {
        end();
        for (int fd : {input, output, status, control, errors})
            if (fd >= 0) close(fd);
    }

    // Big-endian words, as messages without strings and arrays are made of.
    worker_process &say(std::initializer_list<uint32_t> words)
    {
        for (uint32_t w : words) {
            uint32_t bytes = htobe32(w);
            EXPECT_EQ(write(input, &bytes, sizeof bytes), 4);
        }
        return *this;
    }
    // All that it says until it ends, less the greeting.
    std::string hear(int fd)
    {
        std::string all;
        char bytes[4096];
        for (ssize_t n; (n = read(fd, bytes, sizeof bytes)) > 0;)
            all.append(bytes, static_cast<size_t>(n));
        return all;
    }
    std::string answers()
    {
        std::string all = hear(output);
        int64_t id = pid;
        EXPECT_EQ(all.substr(0, 10),
                  std::string(2, '\0') + std::string(reinterpret_cast<char *>(&id), 8));
        return all.substr(std::min<size_t>(10, all.size()));
    }
    void hangup()
    {
        close(input);
        input = -1;
    }
    // The exit status, or -signal.
    int end()
    {
        if (pid <= 0) return result;
        if (input >= 0) hangup();
        int s = 0;
        if (!eventually([&] { return waitpid(pid, &s, WNOHANG) == pid; })) kill(pid, SIGKILL);
        pid = 0;
        return result = WIFEXITED(s) ? WEXITSTATUS(s) : -WTERMSIG(s);
    }
    std::string log()
    {
        lseek(errors, 0, SEEK_SET);
        return hear(errors);
    }

    pid_t pid;
    int input, output, status, control, errors;

  private:
    int result = 0;
};

static std::string words(std::initializer_list<uint32_t> values)
{
    std::string all;
    for (uint32_t v : values) {
        uint32_t bytes = htobe32(v);
        all.append(reinterpret_cast<char *>(&bytes), 4);
    }
    return all;
}

TEST(Worker, ServesUntilTheFirstTerminateMessage)
{
    for (std::vector<std::string> options :
         {std::vector<std::string>{}, {"-nothreads", "-nothreads", "-libpath=/nowhere"}}) {
        worker_process w(options);
        // An acknowledgement is no request: it gets no answer.  A reconnect without a disconnect
        // before gets a NAK and no more.
        w.say({VNTMESSAGEID_ACK, 0, 0, 0});
        w.say({VNTMESSAGEID_RECONNECT_REQ});
        w.say({VNTMESSAGEID_TERMINATE});
        EXPECT_EQ(w.answers(), words({VNTMESSAGEID_NAK, VNTMESSAGEID_RECONNECT_REQ, 0, ~0u}));
        EXPECT_EQ(w.hear(w.status), std::string(4, '\0'));
        EXPECT_EQ(w.end(), 0);
        EXPECT_EQ(w.log(), "");
    }
}

TEST(Worker, ARejectedRequestIsAnsweredTwiceAndNotTheLast)
{
    worker_process w;
    // An environment handle of four bytes in one chunk.
    w.say({VNTMESSAGEID_CLOSEVANTO_REQ, 0, 0, 4, TYPE_BYTE, 1, 4, 0x01020304});
    w.say({VNTMESSAGEID_TERMINATE});
    EXPECT_EQ(w.answers(), words({VNTMESSAGEID_NAK, VNTMESSAGEID_CLOSEVANTO_REQ, 0, ~0u,
                                  VNTMESSAGEID_UNKNOWN, VNTMESSAGEID_CLOSEVANTO_REQ}));
}

// What goes wrong is told, after the greeting in any case, and is the end.
TEST(Worker, AFaultEndsItWithALine)
{
    const std::string longname(4097, 'l');
    auto fault = [](std::vector<std::string> options, bool talk, const std::string &line) {
        worker_process w(options);
        if (talk) w.say({4711}); // no codec knows it
        w.hangup();
        w.answers();
        EXPECT_EQ(w.end(), -SIGABRT) << line;
        EXPECT_NE(w.log().find(":0001] " + line + "\n"), std::string::npos) << w.log();
        EXPECT_EQ(w.hear(w.status), "");
    };
    fault({"-what"}, false, "Unknown argument '-what' (try -help)");
    fault({}, false, "Failed to receive message: -7");
    fault({}, true, "Failed to receive message: -2");
    fault({"-userfunction=nothere=f"}, false, "Failed to load user function: -13");
    fault({"-userfunction=" + longname + "=f"}, false, "Path name too long");
}

// A folder with copies of the test's library, under names of the test's choice.
class UserFunctions : public testing::Test {
  protected:
    UserFunctions() : top(testing::TempDir() + "userfunctions" + std::to_string(getpid()))
    {
        fs::create_directories(top / "near");
        fs::create_directories(top / "far");
    }
    ~UserFunctions() override { fs::remove_all(top); }
    void put(const std::string &where, const std::string &file)
    {
        fs::copy_file(VNT_TESTFUNCTION, top / where / file);
    }
    // What a worker with these options has registered.
    std::string registered(std::vector<std::string> options, const std::string &program = "w")
    {
        worker_process w(options, program);
        w.say({VNTMESSAGEID_TERMINATE});
        w.answers();
        return (w.end() == 0 ? "" : "ended: ") + w.log();
    }
    std::string path(const char *folder) { return "-libpath=" + (top / folder).string(); }
    const fs::path top;
};

TEST_F(UserFunctions, AreLookedForInTheNamedFoldersAndInTheProcess)
{
    put("far", "liba=b.so");
    put("near", "libc1.so");
    put("far", "libc1.so");
    EXPECT_EQ(registered({path("near"), path("far"), "-userfunction=a=b=testfunction",
                          "-userfunction=test_registration", "-userfunction=c1=testfunction"}),
              "registered 1\nregistered here\nregistered 1\n");
    // The program's own folder comes last.
    EXPECT_EQ(registered({"-userfunction=a=b=testfunction"}, (top / "far" / "w").string()),
              "registered 1\n");
    // The first library of the name is the one, whether it has the function or not.
    EXPECT_EQ(registered({path("near"), path("far"), "-userfunction=c1=test_registration"}),
              "registered here\n");
}
