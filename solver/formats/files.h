// files.h: reads and writes whole files, and numbers as text.
//
// A file is read from the bytes that came with the call, or else by name, and unpacked if it is
// packed.  Numbers are written as the shortest text that reads back to the same bits, and never
// depend on the program's locale.
//
// Errors: failures with VNTERR_FILE_*.

#pragma once

#include "solver/model/failure.h"

#include <string>
#include <string_view>

namespace vnt {

// The contents of a file, without a byte-order mark.  `contents` may be null: then the file is
// opened.
std::string file_contents(const char *name, const char *contents, int64_t length);

// Writes a file, packed if the name ends in .gz.
void file_write(const char *name, const std::string &text);

// The kind of a file: `filetype` in small letters where given, else the last part of the name
// after a dot, in both cases without .gz, .bz2 or .xz.
std::string file_kind(const char *name, const char *filetype);

// A number as text.  Reading takes the whole text and tells whether it is a number.
std::string number_text(double value);
void append_number(double value, std::string *text);
bool number_read(std::string_view text, double *value);

// A malformed file.
[[noreturn, gnu::format(printf, 2, 3)]] void file_malformed(int line, const char *format, ...);

// Splits a text into lines, counting them.
class line_reader {
  public:
    explicit line_reader(std::string_view text) : rest(text) {}
    bool next(std::string_view *line); // false at the end; takes line ends of all systems off
    int number() const { return count; }

  private:
    std::string_view rest;
    int count = 0;
};

// The first words of a line, as many as any format uses, and the number of all its words.
struct line_words {
    static constexpr size_t most = 8;
    std::string_view word[most];
    size_t count = 0;

    void add(std::string_view w)
    {
        if (count < most) word[count] = w;
        count++;
    }
    bool empty() const { return count == 0; }
    size_t size() const { return count; }
    std::string_view operator[](size_t i) const { return word[i]; }
};
line_words words_of(std::string_view line);

// The text on one line: line ends become blanks, and blanks at its ends go.
std::string one_line(std::string text);

} // namespace vnt
