// display.h: shows a running solve to the user: log lines and progress.
//
// On a terminal the progress is one line below the log, drawn again each time; elsewhere each
// report of the progress is a line of its own.  All of it goes to standard error.  What is known of
// the progress goes to the history as well, whatever the user wants to see.
//
// Threads: one.

#pragma once

#include "tools/history.h"
#include "vanto.h"

#include <chrono>
#include <string>

namespace vnt {

class display {
  public:
    display(bool quiet, history &past);
    ~display();

    // Sets the moment from which the seconds count; without it the display's creation.
    void start(std::chrono::system_clock::time_point since);
    double elapsed() const;

    // Whether anything takes the log and the progress: the user or the history.
    bool wanted() const { return !quiet || past.wanted(); }

    // Whether it is time for the next look at the progress; never when it is not wanted.
    bool due() const;
    void progress(const vntmipprogress &progress);

    // Shows a line of the solver; its line break may be missing.
    void say(const char *text);

    // The same for a line of the log, unless the user wants quiet.  A progress line takes the place
    // of the one before.
    void log(const char *text);

    // Takes the progress line off the terminal: the summary comes next.
    void close();

  private:
    void show(const progress_sample &sample);
    void erase() const;
    const bool quiet;
    const bool terminal;
    history &past;
    std::chrono::system_clock::time_point since;
    std::chrono::steady_clock::time_point next;
    std::string line; // what stands on the terminal now
};

} // namespace vnt
