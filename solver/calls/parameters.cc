#include "solver/calls/parameters.h"

#include "solver/formats/files.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <strings.h>
#include <utility>

namespace vnt {

static constexpr int numbers[] = {
#define INT(name, ...) VNT_PARAM_##name,
#define LONG INT
#define DOUBLE INT
#define STRING INT
#include "solver/calls/parameters.def"
};
static_assert(std::is_sorted(std::begin(numbers), std::end(numbers)), "rows ascend by number");

// Does not compile when vanto.h has a parameter that the list lacks.
[[maybe_unused]] static void every_parameter_is_listed(decltype(VNT_PARAM_MESSAGES) p)
{
    switch (p) {
#define INT(name, ...) case VNT_PARAM_##name:
#define LONG INT
#define DOUBLE INT
#define STRING INT
#include "solver/calls/parameters.def"
        break;
    }
}

static parameter_number whole(int64_t n)
{
    return {n, 0};
}

static parameter_number real(double n)
{
    return {0, n};
}

const std::vector<parameter> &parameter_list()
{
#define ROW(type, name, text_name, make, standard, least, greatest, text)                          \
    {VNT_PARAM_##name, VNT_PARAMTYPE_##type, "VNT_PARAM_" #name, text_name,                        \
     make(standard),   make(least),          make(greatest),     text},
#define INT(name, text_name, ...) ROW(INT, name, text_name, whole, __VA_ARGS__, nullptr)
#define LONG(name, text_name, ...) ROW(LONG, name, text_name, whole, __VA_ARGS__, nullptr)
#define DOUBLE(name, text_name, ...) ROW(DOUBLE, name, text_name, real, __VA_ARGS__, nullptr)
#define STRING(name, text_name, text) ROW(STRING, name, text_name, whole, 0, 0, 0, text)
    static const std::vector<parameter> list = {
#include "solver/calls/parameters.def"
    };
    return list;
}

static size_t place(int number)
{
    auto found = std::lower_bound(std::begin(numbers), std::end(numbers), number);
    require(found != std::end(numbers) && *found == number, VNTERR_BAD_PARAMETER);
    return found - std::begin(numbers);
}

const parameter &parameter_find(int number)
{
    return parameter_list()[place(number)];
}

const parameter &parameter_find(const char *name)
{
    static constexpr size_t prefix = sizeof "VNT_PARAM_" - 1;
    for (const parameter &p : parameter_list()) {
        if (strcasecmp(name, p.name) == 0 || strcasecmp(name, p.name + prefix) == 0 ||
            strcasecmp(name, p.text_name) == 0) {
            return p;
        }
    }
    throw failure{VNTERR_BAD_PARAMETER, printed("no parameter is called \"%.200s\"", name)};
}

parameter_set::parameter_set()
{
    for (const parameter &p : parameter_list()) {
        values.push_back({p.standard, p.text != nullptr ? p.text : ""});
    }
}

const parameter_set::value &parameter_set::at(int number, int type) const
{
    size_t i = place(number);
    require(parameter_list()[i].type == type, VNTERR_PARAMETER_TYPE);
    return values[i];
}

parameter_set::value &parameter_set::at(int number, int type)
{
    return const_cast<value &>(std::as_const(*this).at(number, type));
}

int parameter_set::get_int(int number) const
{
    return static_cast<int>(at(number, VNT_PARAMTYPE_INT).number.integer);
}

int64_t parameter_set::get_long(int number) const
{
    return at(number, VNT_PARAMTYPE_LONG).number.integer;
}

double parameter_set::get_double(int number) const
{
    return at(number, VNT_PARAMTYPE_DOUBLE).number.real;
}

const std::string &parameter_set::get_string(int number) const
{
    return at(number, VNT_PARAMTYPE_STRING).text;
}

static void require_range(const parameter &p, bool inside)
{
    if (!inside) {
        throw failure{VNTERR_PARAMETER_VALUE, printed("a value of %s is out of range", p.name)};
    }
}

static void require_whole(const parameter &p, int64_t value)
{
    require_range(p, value >= p.least.integer && value <= p.greatest.integer);
}

void parameter_set::set_int(int number, int v)
{
    value &slot = at(number, VNT_PARAMTYPE_INT);
    require_whole(parameter_find(number), v);
    slot.number.integer = v;
}

void parameter_set::set_long(int number, int64_t v)
{
    value &slot = at(number, VNT_PARAMTYPE_LONG);
    require_whole(parameter_find(number), v);
    slot.number.integer = v;
}

void parameter_set::set_double(int number, double v)
{
    value &slot = at(number, VNT_PARAMTYPE_DOUBLE);
    const parameter &p = parameter_find(number);
    require_range(p, v >= p.least.real && v <= p.greatest.real); // false for what is no number
    slot.number.real = v;
}

void parameter_set::set_string(int number, const char *v)
{
    value &slot = at(number, VNT_PARAMTYPE_STRING);
    require_there(v);
    std::string text = v;
    // A line break would end the value in a parameter file.
    require_range(parameter_find(number),
                  text.size() < parameter_text_space && text.find('\n') == std::string::npos);
    slot.text = std::move(text);
}

bool parameter_set::changed(const parameter &p) const
{
    const value &v = values[place(p.number)];
    return v.number.integer != p.standard.integer || v.number.real != p.standard.real ||
           v.text != (p.text != nullptr ? p.text : "");
}

std::string parameter_set::write() const
{
    std::string out;
    for (const parameter &p : parameter_list()) {
        if (!changed(p)) continue;
        const value &v = values[place(p.number)];
        out += std::string(p.text_name) + ' ';
        if (p.type == VNT_PARAMTYPE_STRING) {
            out += v.text;
        } else if (p.type == VNT_PARAMTYPE_DOUBLE) {
            out += number_text(v.number.real);
        } else {
            out += printed("%lld", static_cast<long long>(v.number.integer));
        }
        out += '\n';
    }
    return out;
}

static long long as_whole(const std::string &text)
{
    long long n = 0;
    auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), n);
    require(error == std::errc() && stop == text.data() + text.size(), VNTERR_FILE_FORMAT);
    return n;
}

static double as_real(const std::string &text)
{
    double n = 0;
    require(number_read(text, &n), VNTERR_FILE_FORMAT);
    return n;
}

void parameter_set::read_line(const std::string &name, const std::string &text)
{
    const parameter &p = parameter_find(name.c_str());
    switch (p.type) {
    case VNT_PARAMTYPE_INT: {
        long long n = as_whole(text);
        require_whole(p, n);
        set_int(p.number, static_cast<int>(n));
        break;
    }
    case VNT_PARAMTYPE_LONG: set_long(p.number, as_whole(text)); break;
    case VNT_PARAMTYPE_DOUBLE: set_double(p.number, as_real(text)); break;
    default: set_string(p.number, text.c_str());
    }
}

static std::string trimmed(const std::string &text)
{
    static const char blanks[] = " \t\r";
    size_t from = text.find_first_not_of(blanks);
    if (from == std::string::npos) return {};
    return text.substr(from, text.find_last_not_of(blanks) - from + 1);
}

void parameter_set::read(const std::string &text)
{
    parameter_set fresh = *this;
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); number++) {
        line = trimmed(line);
        if (line.empty() || line[0] == '#') continue;
        size_t space = std::min(line.find_first_of(" \t"), line.size());
        try {
            fresh.read_line(line.substr(0, space), trimmed(line.substr(space)));
        } catch (const failure &f) {
            throw failure{f.status == VNTERR_PARAMETER_VALUE ? f.status : VNTERR_FILE_FORMAT,
                          printed("line %d of the parameters: %s", number,
                                  f.text.empty() ? "malformed" : f.text.c_str())};
        }
    }
    *this = std::move(fresh);
}

} // namespace vnt
