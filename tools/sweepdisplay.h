// sweepdisplay.h: shows a sweep to the user: a line for each model, and how many are done.
//
// All of it goes to standard error.  On a terminal, the last line counts and is drawn again.  A
// user who wants quiet sees what the solver complains about, and nothing else.
//
// Threads: one.

#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace vnt {

class sweep_display {
  public:
    explicit sweep_display(bool quiet);
    ~sweep_display() { close(); }

    // Files of the directory that are not models.
    void skipped(const std::vector<std::string> &files);

    // Counts: models that are done, all models, models that run.
    void begin(int done, int total);
    void progress(int done, int total, int running);

    // `report` is the object of report_json().
    void result(const std::string &model, const std::string &report);

    // What the solve of a model has written to its standard error.
    void complaint(const std::string &model, const std::string &text);

    void server(const std::string &address, const std::string &what);

    // Takes the counting line off the terminal.
    void close();

  private:
    void note(const std::string &text);
    const bool quiet, terminal;
    const std::chrono::steady_clock::time_point since;
    std::string line; // what stands on the terminal now
};

} // namespace vnt
