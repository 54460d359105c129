// terminal.h: a screen that is drawn again and again, and given back as it was.
//
// Threads: one.  While it lives, SIGINT, SIGTERM and SIGHUP end the waiting instead of the program.

#pragma once

#include <string>

namespace vnt {

class terminal {
  public:
    terminal();
    ~terminal();
    terminal(const terminal &) = delete;
    terminal &operator=(const terminal &) = delete;

    int width() const;
    int height() const;
    void draw(const std::string &text) const;

    enum event { TIME, RESIZED, QUIT };
    // Waits so many seconds, for a change of the window's size, or for the user's end.
    event wait(double seconds) const;
};

} // namespace vnt
