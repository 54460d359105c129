// listing.h: reads interface.txt and derives from it the lengths of arrays, the values that tests
// pass in and the recorder gives, and a call as a line of text.
//
// The recording solver and the tests of calls both use it, and neither looks at the tables that
// carry the calls: what those get wrong makes the two disagree.
//
// Threads: the listing is read at first use and constant then.

#pragma once

#include "remote/calls/solvercall.h"

#include <map>
#include <string>
#include <vector>

namespace vnt {

enum direction { IN, OUT, INOUT, LOCAL };

// One C parameter.  The three of a file that is read have the types "filename", "contents" and
// "length" and one name.
struct listed_parameter {
    direction dir;
    std::string name;
    std::string type;
    std::string size;
    bool array() const { return type.size() > 2 && type.substr(type.size() - 2) == "[]"; }
    std::string element() const { return array() ? type.substr(0, type.size() - 2) : type; }
};

struct listed_function {
    std::string function;
    int id; // 0 for none
    std::string name;
    std::string result;
    std::vector<listed_parameter> parameters;
    int find(const std::string &parameter) const; // its place, -1 for none
};

const std::vector<listed_function> &listing(void);
const listed_function &listed(const std::string &function);

// The recorder's answer to a query, by the listing's name for it.  A test of another solver sets
// the answers of that solver.  The environment variable VNT_RECORD_SIZE overrides all.
int64_t recorded_size(const std::string &query);
void set_recorded_size(const std::string &query, int64_t size);

// The status that the recorder's calls return: VNT_RECORD_STATUS of the environment.
int recorded_status(void);

// Elements of the parameter's array, 0 when negative.
int64_t listed_size(const listed_function &f, size_t i, const call_value *args);

// The value of element `k` of parameter `i`: one that tests pass in, one that the recorder gives.
int64_t value_in(const listed_function &f, size_t i, int64_t k);
int64_t value_out(const listed_function &f, size_t i, int64_t k);
int64_t value_returned(const listed_function &f);

// Stores a number as an element of that type at `to`.
void store_value(const std::string &type, void *to, int64_t k, int64_t value);

// Texts that the recorder gives; names have gaps.
std::string text_out(const listed_function &f, size_t i);
bool name_absent(int64_t k);
std::string name_out(const listed_function &f, size_t i, int64_t k);

// The call with all that it takes, on one line.
std::string call_text(const listed_function &f, const call_value *args);

// The objects that the recorder hands out.
constexpr uint64_t RECORD_ENV = 0xE000;
constexpr uint64_t RECORD_LP = 0xA000;
constexpr uint64_t RECORD_NET = 0xB000;
constexpr uint64_t RECORD_REDUCED = 0xC000;

} // namespace vnt
