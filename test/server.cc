#include "test/server.h"

#include <csignal>
#include <gtest/gtest.h>

namespace vnt {

static std::vector<std::string> command_of(const std::vector<std::string> &before,
                                           const std::vector<std::string> &arguments)
{
    std::vector<std::string> all = joined(before, {built("vntworker")});
    for (const std::string &argument : arguments)
        if (argument.rfind("-address=", 0) == 0) return joined(all, arguments);
    return joined(joined(all, {"-host=127.0.0.1", "-port=0"}), arguments);
}

server::server(const std::vector<std::string> &arguments,
               const std::vector<std::string> &environment, const std::vector<std::string> &before)
    : program(command_of(before, arguments), environment)
{
    bool listening = eventually([&] {
        where = announced(log());
        return !where.empty();
    });
    EXPECT_TRUE(listening) << log();
}

server::~server()
{
    if (stopped) return;
    std::vector<pid_t> left = workers();
    EXPECT_EQ(stop(SIGTERM), 0) << log();
    for (pid_t worker : left)
        EXPECT_FALSE(process_alive(worker));
}

int server::stop(int signal)
{
    stopped = true;
    program.kill(signal);
    return program.wait(seconds(20));
}

std::vector<std::string> server::environment() const
{
    return {"TESK_VANTO_TCPIP_HOST=127.0.0.1", "TESK_VANTO_TCPIP_PORT=" + port()};
}

} // namespace vnt
