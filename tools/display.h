// display.h: what the user sees of a solve while it runs: log lines, and how far it is.
//
// On a terminal the progress is one line that is drawn again and again below the log; elsewhere
// it is a line each time.  All of it goes to standard error.
//
// Threads: one.

#pragma once

#include "vanto.h"

#include <chrono>
#include <string>

namespace vnt {

// How far a solve is after so many seconds, in one line without its break.
std::string progress_text(double seconds, const vntmipprogress &progress);

class display {
  public:
    explicit display(bool quiet);
    ~display();

    // The moment from which seconds count.
    void start(std::chrono::system_clock::time_point since);
    double elapsed() const;

    // Whether it is time for the next look at the progress; never when the user wants quiet.
    bool due() const;
    void progress(const vntmipprogress &progress);

    // A line of the solver's; its line break may be missing.
    void log(const char *text);

  private:
    void erase() const;
    const bool quiet;
    const bool terminal;
    std::chrono::system_clock::time_point since;
    std::chrono::steady_clock::time_point next;
    std::string line; // what stands on the terminal now
};

} // namespace vnt
