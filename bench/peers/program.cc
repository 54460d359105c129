#include "bench/peers/program.h"

#include "bench/measure.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vnt {

peer_program::peer_program(const std::string &path)
{
    int ends[2];
    bench_must(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
    id = fork();
    bench_must(id >= 0, "fork");
    if (id == 0) {
        dup2(ends[1], STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        execl(path.c_str(), path.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    fd = ends[0];
}

peer_program::~peer_program()
{
    close(fd);
    waitpid(id, nullptr, 0);
}

double peer_program::seconds_of(int calls)
{
    std::string line = std::to_string(calls) + "\n", answer;
    bench_must(send(fd, line.data(), line.size(), MSG_NOSIGNAL) > 0, "the peer");
    for (char c = 0; c != '\n'; answer += c)
        bench_must(read(fd, &c, 1) == 1, "the peer");
    return atof(answer.c_str());
}

std::vector<std::string> peer_program::paths()
{
    std::vector<std::string> found;
    std::error_code none;
    for (const auto &entry : std::filesystem::directory_iterator(BENCH_PEERS, none))
        if (entry.is_regular_file()) found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace vnt
