// watch.h: looks at a server again and again, and remembers the last hour.
//
// Threads: any; a thread of its own looks.
// Errors: a server that does not answer is part of what is remembered.

#pragma once

#include "tools/toptable.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace vnt {

class watch {
  public:
    // Looks at once, and then each so many seconds.
    watch(std::string socket, double period);

    // All that is known, as one JSON object for the page.
    std::string json() const;

  private:
    // The sums of one look; times are seconds since the epoch.
    struct sample {
        double time;
        int serving, parked, others;
        double load, memory, in, out; // processors, bytes, bytes a second
    };
    // A stretch of a worker's life.
    struct stretch {
        int64_t number; // of the stretch, counted from the epoch
        double load;
        char state; // its first letter
    };
    struct life {
        worker_status last;
        double seen; // when last
        std::deque<stretch> past;
    };

    void run(std::stop_token stop);
    void look(double now);
    void remember(const server_status &s, double now);
    void remember(const worker_status &w, double load, double now);
    void forget(double now);

    const std::string socket;
    const double period;
    mutable std::mutex lock; // guards what follows
    std::condition_variable_any stopped;
    std::optional<server_status> last;
    std::string trouble; // why there is none
    double lasttime = 0;
    worker_loads loads;
    std::deque<sample> samples;
    std::map<std::pair<int, int64_t>, life> lives; // by id and second of the start
    std::jthread thread;                           // last: it uses the rest
};

} // namespace vnt
