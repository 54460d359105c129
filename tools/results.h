// results.h: the file of a sweep's results: a line of JSON for each model, in the order of their
// ends.
//
// A line is written whole and reaches the disk before the next: whatever ends the program, the file
// holds the models that are done, and at most its last line is a part of one.  Opening takes such a
// part off.
//
// Ownership: one sweep at a time has the file; the lock ends with the object.
//
// Errors: throws failure with EXIT_UNREADABLE.

#pragma once

#include "tools/exits.h"

#include <map>
#include <optional>
#include <string>

namespace vnt {

class results {
  public:
    // Opens the file or makes it.  One that holds something else than results is left as it is.
    explicit results(const std::string &file);
    ~results();
    results(const results &) = delete;
    results &operator=(const results &) = delete;

    // `report` is the object of report_json(); the line has the model's name as well.
    void add(const std::string &model, const std::string &report);

    // In a child process: leaves the file and its lock to the parent.
    void release();

    // The exit status of a model that is done.
    std::optional<int> find(const std::string &model) const;

  private:
    void read();
    const std::string file;
    int fd;
    std::map<std::string, int> ends;
};

} // namespace vnt
