// display.h: shows a running solve to the user: log lines and progress.
//
// On a terminal the progress is one line below the log, drawn again each time; elsewhere each
// report of the progress is a line of its own.  All of it goes to standard error.
//
// Threads: one.

#pragma once

#include "vanto.h"

#include <chrono>
#include <string>

namespace vnt {

// The progress of a solve after `seconds`, as one line without a line break.
std::string progress_text(double seconds, const vntmipprogress &progress);

class display {
  public:
    explicit display(bool quiet);
    ~display();

    // Sets the moment from which the seconds count; without it the display's creation.
    void start(std::chrono::system_clock::time_point since);
    double elapsed() const;

    // Whether it is time for the next look at the progress; never when the user wants quiet.
    bool due() const;
    void progress(const vntmipprogress &progress);

    // Shows a line of the solver's log; its line break may be missing.
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
