// files.h: reading and writing whole files.

#pragma once

#include <string>

namespace vnt {

// Throws failure with EXIT_UNREADABLE: the file's name and what errno says.
[[noreturn]] void file_fail(const std::string &file);

// Writes the text in place of what the file holds.
// Errors: throws failure with EXIT_UNREADABLE.
void file_write(const std::string &file, const std::string &text);

// Check that the file can be read, or written or made, without touching it.
// Errors: throw failure with EXIT_UNREADABLE.
void file_check_readable(const std::string &file);
void file_check_writable(const std::string &file);

// Appends all that comes until the end.  Returns false for an error, which errno tells.
bool file_readall(int fd, std::string *text);

} // namespace vnt
