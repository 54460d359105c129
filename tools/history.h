// history.h: the course of a solve: kept for the report page, and written as it comes to the file
// of --progress.
//
// A file that cannot be written ends no solve: it is complained of once.
//
// Threads: one.

#pragma once

#include "tools/progress.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace vnt {

class history {
  public:
    // The name is empty where no file is wanted.
    // Errors: throws failure with EXIT_UNREADABLE.
    history(const std::string &progressfile, bool keep);

    bool wanted() const { return file != nullptr || keep; }
    void add(const progress_sample &sample);
    const std::vector<progress_sample> &samples() const { return kept; }

  private:
    void write(const std::string &line);
    const std::string name;
    std::unique_ptr<FILE, int (*)(FILE *)> file;
    const bool keep;
    std::vector<progress_sample> kept;
};

} // namespace vnt
