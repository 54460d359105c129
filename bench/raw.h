// raw.h: a client that writes the bytes of its messages by itself, so that a measurement is of the
// server and the worker alone.
//
// Ownership: the destructor sends TERMINATE and closes the connection.

#pragma once

#include <cstddef>
#include <string>

namespace vnt {

class raw_connection {
  public:
    // Asks the server for a worker and waits for the greeting.
    explicit raw_connection(const std::string &port);
    ~raw_connection();
    raw_connection(const raw_connection &) = delete;
    raw_connection &operator=(const raw_connection &) = delete;

    // Opens an environment and a problem, for the calls below.
    void open();

    // VNTLgetnumrows: a request of 80 bytes and an answer of 8.
    void send();
    void receive();

  private:
    void exchange(const std::string &request, char *response, size_t n);

    int fd;
    std::string request;
};

} // namespace vnt
