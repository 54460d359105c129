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
    enum : char { ROW, LAZY, CUT };

    std::string name, objname = "obj";
    int sense = VNT_MIN;
    double offset = 0;

    std::vector<double> objective, lower, upper;
    std::string ctype;
    std::vector<std::string> col_names;

    std::vector<double> rhs, range;
    std::string row_sense, row_kind;
    char kind = ROW; // of the rows to come
    std::vector<std::string> row_names;

    // Column by column where the file is; others fill `rowwise` and leave these empty.
    std::vector<int64_t> begin;
    std::vector<int> index;
    std::vector<double> value;
    bool rowwise = false;

    // A quadratic entry stands for its mirror image, too.
    struct quadratic_entry {
        int row, col;
        double value;
    };
    std::vector<quadratic_entry> quadratic;
    std::vector<special_set> sets;
    std::vector<indicator> indicators;

    void add_row(char sense, std::string_view name);
    void add_column(std::string_view name, char type);
    void add_entry(int i, double v);         // of the column, or of the row, added last
    void set_range(double low, double high); // makes the last row one of sense R

    model take();
};

// A warning about the first binary column whose bounds reach beyond 0 and 1; empty without one.
std::string wide_binaries(const model_parts &parts);

// Can the name stand in a file at all: is it there, and on one line?
bool suits_files(const std::string &name);

// The names under which a model is written: its own, or, where one of them does not suit the
// format or stands for two, made ones for all of its kind.  Rows, indicators and the objective
// share one space of names.
struct file_names {
    file_names(const model &m, const std::function<bool(const std::string &)> &suits);
    std::vector<std::string> rows, cols, sets, indicators;
    std::string objective;
    bool made = false; // were names made?
};

} // namespace vnt
