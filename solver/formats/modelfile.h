// modelfile.h: what readers and writers of models share.
//
// A reader collects parts and takes them as a model at the end, so that a malformed file leaves
// nothing behind.  A writer asks for names that suit its format.

#pragma once

#include "solver/model/model.h"

#include <functional>
#include <string_view>

namespace vnt {

struct model_parts {
    std::string name, objname = "obj";
    int sense = VNT_MIN;
    double offset = 0;

    std::vector<double> objective, lower, upper;
    std::string ctype;
    std::vector<std::string> colnames;

    std::vector<double> rhs, range;
    std::string rowsense;
    std::vector<std::string> rownames;

    // Column by column where the file is; others fill `rowwise` and leave these empty.
    std::vector<int64_t> begin;
    std::vector<int> index;
    std::vector<double> value;
    bool rowwise = false;

    void add_row(char sense, std::string_view name);
    void add_column(std::string_view name, char type);
    void add_entry(int i, double v); // of the column, or of the row, added last

    model take();
};

// The names under which a model is written: its own, or, where one of them does not suit the
// format or stands for two, made ones for all rows or all columns.
struct file_names {
    file_names(const model &m, const std::function<bool(const std::string &)> &suits);
    std::vector<std::string> rows, cols;
    std::string objective;
    bool made = false; // were names made?
};

} // namespace vnt
