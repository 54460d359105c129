#include "test/process.h"
#include "test/bytes.h"
#include "test/folders.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vnt {

// With a sanitizer the loader does not find libraries beside the program, and a preloaded library
// comes before the sanitizer's own.
static void please_sanitizer()
{
    setenv("LD_LIBRARY_PATH", build_path("lib").c_str(), 0);
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 0);
}

// The child after fork(): never returns.
[[noreturn]] static void become(const std::vector<std::string> &arguments,
                                const std::vector<std::string> &environment, int outfd, int errfd)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(outfd, 1);
    dup2(errfd, 2);
    if (SANITIZED) please_sanitizer();
    for (const std::string &entry : environment)
        putenv(const_cast<char *>(entry.c_str()));
    std::vector<char *> argv;
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    perror(argv[0]);
    _exit(127);
}

process::process(const std::vector<std::string> &arguments,
                 const std::vector<std::string> &environment)
    : outfd(memfd_create("out", MFD_CLOEXEC)), errfd(memfd_create("err", MFD_CLOEXEC))
{
    id = fork();
    if (id == 0) become(arguments, environment, outfd, errfd);
    EXPECT_GT(id, 0) << strerror(errno);
}

process::~process()
{
    if (!ended) {
        kill(SIGKILL);
        wait(seconds(10));
    }
    close(outfd);
    close(errfd);
}

// Once collected, the id may be another's.
void process::kill(int signal)
{
    if (!ended) ::kill(id, signal);
}

int process::wait(seconds limit)
{
    int word = 0;
    ended = ended || eventually([&] { return waitpid(id, &word, WNOHANG) == id; }, limit);
    if (ended && status == unended) status = WIFEXITED(word) ? WEXITSTATUS(word) : -WTERMSIG(word);
    return status;
}

static std::string contents(int fd)
{
    std::string text;
    char block[4096];
    ssize_t n;
    while ((n = pread(fd, block, sizeof block, static_cast<off_t>(text.size()))) > 0)
        text.append(block, static_cast<size_t>(n));
    return text;
}

std::string process::out() const
{
    return contents(outfd);
}

std::string process::err() const
{
    return contents(errfd);
}

process_result run(const std::vector<std::string> &arguments,
                   const std::vector<std::string> &environment, seconds limit)
{
    process program(arguments, environment);
    int status = program.wait(limit);
    EXPECT_NE(status, process::unended) << arguments[0] << " did not end";
    return {status, program.out(), program.err()};
}

std::vector<std::string> joined(std::vector<std::string> all, const std::vector<std::string> &more)
{
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

std::string announced(const std::string &log)
{
    static const std::string words = "Server started on ";
    const size_t begin = log.find(words), end = log.find('\n', begin);
    if (begin == std::string::npos || end == std::string::npos) return "";
    return log.substr(begin + words.size(), end - begin - words.size());
}

long process_count(pid_t id, const std::string &what)
{
    std::filesystem::directory_iterator all("/proc/" + std::to_string(id) + "/" + what);
    return std::distance(begin(all), end(all));
}

// State and parent of a process, from the text behind its name; false when it is gone.
static bool process_stat(const std::string &id, char *state, pid_t *parent)
{
    const std::string text = file_text("/proc/" + id + "/stat");
    size_t paren = text.rfind(')');
    return paren != std::string::npos &&
           sscanf(text.c_str() + paren + 1, " %c %d", state, parent) == 2;
}

bool process_alive(pid_t id)
{
    char state;
    pid_t parent;
    return process_stat(std::to_string(id), &state, &parent) && state != 'Z';
}

std::vector<pid_t> process_children(pid_t id)
{
    std::vector<pid_t> children;
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        char state;
        pid_t parent;
        if (isdigit(name[0]) && process_stat(name, &state, &parent) && parent == id && state != 'Z')
            children.push_back(atoi(name.c_str()));
    }
    return children;
}

std::string built(const std::string &name)
{
    return build_path("bin/" + name);
}

std::string free_port(void)
{
    std::random_device random;
    std::uniform_int_distribution<int> ports(10000, 32767);
    for (;;) {
        const sockaddr_in a = loopback(ports(random));
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool is_free = bind(fd, reinterpret_cast<const sockaddr *>(&a), sizeof a) == 0;
        close(fd);
        if (is_free) return std::to_string(ntohs(a.sin_port));
    }
}

} // namespace vnt
