// output.h: what vntsolve writes to its two outputs.
//
// A result that does not arrive is an error; a log line that does not arrive is none: a solve of
// hours must not end because the disk with its log is full.

#pragma once

#include <string>

namespace vnt {

// Gives the descriptors 0, 1 and 2 something to be where the caller closed them, so that no
// connection takes their place.  Writing to one of these fails, as it would have; so does writing
// to a pipe without a reader, which does not end the program.
void output_begin();

// Prints to standard output, at once.
// Errors: throws failure with EXIT_UNREADABLE.
void output_result(const std::string &text);

// Prints to standard error as far as that is possible.
void output_note(const std::string &text);

// A line that begins with the program's name, the same way.
void output_complaint(const std::string &message);

} // namespace vnt
