// listfile.h: lines that begin with words and end with a name, as the files of solutions, starts,
// orders and annotations have them.
//
//     starts of p0033
//     start 4 2 m1
//     1 C157
//     0 C158
//     end
//
// The name is the rest of its line, for it may hold blanks.  Empty lines are ignored.  A list is
// preceded by its length or followed by `end`, so that a truncated file is noticed.
//
// Errors: failures with VNTERR_FILE_FORMAT that name the line.

#pragma once

#include "solver/formats/files.h"
#include "solver/model/names.h"

namespace vnt {

class list_reader {
  public:
    explicit list_reader(std::string_view text) : lines(text) {}

    bool next();                    // the next line; false at the end of the file
    void need(const char *wanted);  // the next line, which must be there
    void head(const char *wanted);  // likewise, and must begin with these words
    bool another();                 // likewise; false where it is the end of the list
    bool begins(const char *words); // takes the words off the line if it begins with them

    std::string_view word(); // takes a word off the line
    std::string_view rest() const { return line; }
    bool ended() const { return line.empty(); }
    int64_t integer(int64_t least, int64_t most);
    double number();                   // finite
    int place(const name_list &names); // of the name in the rest of the line
    // The same; fails where `seen`, an element for each of the names, has it already.
    int fresh_place(const name_list &names, std::vector<bool> *seen);

    [[noreturn]] void fail(const std::string &text) const;

  private:
    line_reader lines;
    std::string_view line;
};

// The name of an element as lists hold it.  Fails with VNTERR_FILE_FEATURE where it could not be
// read back: other elements have it as well, or it holds a line end.
std::string listed_name(const name_list &names, int i);

} // namespace vnt
