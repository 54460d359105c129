// worker_double.h: a worker in a thread of the test, and at the other end of its pipes a client
// that sends and receives messages as text.
//
// A message is its name and its fields, between blanks: "PROBINFO_REQ 0 env lp - 3 0".  Objects
// are env, lp and net of the solver double, - for null, and "bad" for a malformed one.  Arrays of
// bytes are text, chunks joined by "|", or hexadecimal if not printable; strings are quoted; other
// arrays stand in brackets.  An answer names the request that it is about and the solver's
// error: "NAK LPOPT_REQ 0 UNKNOWN_CALL".
//
// Every wait ends after ten seconds; the test has failed then.

#pragma once

#include "remote/handler/handler.h"
#include "test/doubles/solver_double.h"

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vnt {

class worker_double {
  public:
    explicit worker_double(bool nothreads = false);
    ~worker_double(); // ends the worker by a terminate message
    worker_double(const worker_double &) = delete;
    worker_double &operator=(const worker_double &) = delete;

    void say(const std::string &message);
    std::string hear(); // the next message; "nothing" when none comes
    std::string ask(const std::string &message);
    bool silent(); // whether nothing has arrived

    // Asks until the answer is this one.
    bool wait(const std::string &question, const std::string &answer);

    // Starts an asynchronous solve, and fetches its result.
    std::string start(int steps);
    std::string fetch();

    // The server's side of a disconnect: the id that the worker wrote, and the word that lets it
    // go on.
    int32_t parked();
    void release(int32_t word);

    handler *h = nullptr;

  private:
    void loop();
    std::vector<int> descriptors; // to close
    transport *worker_end = nullptr;
    transport *client_end = nullptr;
    int status_fd = -1;
    int control_fd = -1;
    std::thread mainthread;
};

} // namespace vnt
