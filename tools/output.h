// output.h: what vntsolve writes to its two outputs.
//
// A result that cannot be written is an error.  A log line that cannot be written is dropped: a
// solve of hours must not end because the disk with its log is full.

#pragma once

#include <string>
#include <thread>

namespace vnt {

// Opens those of the descriptors 0, 1 and 2 that are closed, so that no connection takes their
// place; reading or writing them still fails.  Ignores SIGPIPE and SIGXFSZ: writing to a pipe
// without a reader or beyond the limit of a file's size fails and does not end the program.
void output_begin();

// Prints to standard output, at once.
// Errors: throws failure with EXIT_UNREADABLE.
void output_result(const std::string &text);

// Prints to standard error; ignores failures.
void output_note(const std::string &text);

// The text without control characters.  A message may quote a binary file, or the name of one,
// which must not reach the terminal as it is.
std::string output_harmless(std::string text);

// Prints a line that begins with the program's name to standard error; ignores failures.
void output_complaint(const std::string &message);

// Prints such a line if it lives for so many seconds.
class late_complaint {
  public:
    late_complaint(double seconds, std::string message);

  private:
    std::jthread waiting;
};

} // namespace vnt
