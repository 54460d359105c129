// servers.h: the servers of a sweep, and which of them takes the next model.
//
// A server that was not reached gets no models until a look has found it again.  The file of a pool
// is read again when it changes: new servers join, one that is no longer named gets no more models.
//
// Threads: one.
//
// Errors: throws failure with EXIT_UNREADABLE or EXIT_USAGE.

#pragma once

#include <chrono>
#include <ctime>
#include <list>
#include <string>
#include <vector>

namespace vnt {

struct sweep_server {
    std::string address; // empty: this process
    bool named = true;   // the pool still has it
    bool up = true;
    int running = 0;                                 // models
    bool looking = false;                            // for it, while it is not up
    std::chrono::steady_clock::time_point next = {}; // when to look
};

class servers {
  public:
    // An address, "@FILE", or nothing for this process.
    explicit servers(const std::string &where);

    // Reads the pool's file again if it has changed.  A file that cannot be read now changes
    // nothing.
    void refresh();

    // The one with the fewest models, where possible not that of the address `avoid`; null when
    // none is up.
    sweep_server *choose(const std::string &avoid);

    // A server that is not up and is due to be tried again, or null.
    sweep_server *missing();

    void lost(sweep_server *server);

    // How many processors there are.  A machine is taken to have as many as this one; all local
    // addresses are on this one.
    int cores() const;

  private:
    void name(const std::vector<std::string> &addresses);
    std::string pool; // its file; empty without one
    struct timespec changed = {};
    std::list<sweep_server> all;
};

} // namespace vnt
