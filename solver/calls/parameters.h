// parameters.h: the parameters of an environment: the list, and one environment's values.
//
// The list is parameters.def.  A set of values is copied at the start of a solve, so a running
// solve never looks at values that another thread may change.
//
// Errors: failures with VNTERR_BAD_PARAMETER, VNTERR_PARAMETER_TYPE or VNTERR_PARAMETER_VALUE.

#pragma once

#include "solver/model/failure.h"

#include <string>
#include <vector>

namespace vnt {

// What an int, long or double parameter holds: one number in the form of its type.
struct parameter_number {
    int64_t integer = 0;
    double real = 0;
};

struct parameter {
    int number;            // VNT_PARAM_*
    int type;              // VNT_PARAMTYPE_*
    const char *name;      // "VNT_PARAM_TIME_LIMIT"
    const char *text_name; // "limits.time"
    parameter_number standard, least, greatest;
    const char *text; // the default of a string
};

// Texts have room for this many bytes with their end, and so have the buffers they are put into.
static constexpr size_t parameter_text_space = 4096;

const std::vector<parameter> &parameter_list();

// The parameter of a number.
const parameter &parameter_find(int number);

// The parameter of a name: the constant's, with or without its VNT_PARAM_, or the text name, in
// small or capital letters.
const parameter &parameter_find(const char *name);

// The values of one environment.
class parameter_set {
  public:
    parameter_set();

    int get_int(int number) const;
    int64_t get_long(int number) const;
    double get_double(int number) const;
    const std::string &get_string(int number) const;

    void set_int(int number, int value);
    void set_long(int number, int64_t value);
    void set_double(int number, double value);
    void set_string(int number, const char *value);

    bool changed(const parameter &p) const; // is it other than the default?

    // One line for each changed parameter: text name, space, value.
    std::string write() const;

    // Takes such lines; one that starts with # is a comment.  All or nothing.
    void read(const std::string &text);

  private:
    struct value {
        parameter_number number;
        std::string text;
    };
    const value &at(int number, int type) const;
    value &at(int number, int type);
    void read_line(const std::string &name, const std::string &text);

    std::vector<value> values;
};

} // namespace vnt
