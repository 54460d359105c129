// server.h: a worker server for the length of a test, on a free port of 127.0.0.1 unless an
// argument says "-address=".

#pragma once

#include "test/process.h"
#include "vanto_client.h"

#include <gtest/gtest.h>

namespace vnt {

class server {
  public:
    // Starts it and waits until it listens.  Further arguments go to the program as they are; a
    // command before it may put it elsewhere.
    explicit server(const std::vector<std::string> &arguments = {},
                    const std::vector<std::string> &environment = {},
                    const std::vector<std::string> &before = {});
    // Ends it by SIGTERM; fails the test when its status is not 0 or a worker is left.
    ~server();

    const std::string &address() const { return where; } // as it has announced it
    std::string port() const { return where.substr(where.rfind(':') + 1); }
    // The environment variables that lead a client to this server.
    std::vector<std::string> environment() const;

    pid_t pid() const { return program.pid(); }
    std::vector<pid_t> workers() const { return process_children(program.pid()); }
    std::string log() const { return program.err(); }

    void kill(int signal) { program.kill(signal); }

    // Sends the signal and waits for the end: the exit status, or -signal.
    int stop(int signal);

  private:
    process program;
    std::string where;
    bool stopped = false;
};

// An environment in a worker of the server; for tests that have the client's library.
inline VNTENVptr open_at(const server &s)
{
    std::string address = "-address=" + s.address();
    const char *argv[] = {address.c_str()};
    int status = -1;
    vntclient_connecttimeout(100'000); // a loaded machine may take longer than the usual limit
    VNTENVptr env = vntclient_open(1, argv, &status);
    EXPECT_EQ(status, 0) << vntclient_errortext();
    return env;
}

// Minimises a column with this lower bound, which is the answer.
inline double solve_bounded(VNTENVptr env, double bound)
{
    int status = 0;
    double one = 1, value = -1;
    VNTLPptr lp = VNTLcreateprob(env, &status, "bounded");
    EXPECT_EQ(VNTLnewcols(env, lp, 1, &one, &bound, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(VNTLlpopt(env, lp), 0) << vntclient_errortext();
    EXPECT_EQ(VNTLgetobjval(env, lp, &value), 0);
    return value;
}

} // namespace vnt
