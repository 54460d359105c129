#include "test/record/listing.h"
#include "test/folders.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace vnt {

static std::vector<std::string> split(const std::string &text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);)
        if (!part.empty()) parts.push_back(part);
    return parts;
}

static direction direction_of(const std::string &word)
{
    if (word == "in") return IN;
    if (word == "out") return OUT;
    return word == "inout" ? INOUT : LOCAL;
}

static void add_parameter(listed_function *f, const std::string &text)
{
    std::vector<std::string> parts = split(text, ':');
    listed_parameter p = {direction_of(parts[0]), parts[1], parts[2],
                          parts.size() > 3 ? parts[3] : ""};
    if (p.type == "infile") {
        for (const char *type : {"filename", "contents", "length"}) {
            p.type = type;
            f->parameters.push_back(p);
        }
        return;
    }
    if (p.type == "outfile") p.dir = IN; // a path
    if (p.size[0] == '<') p.size.clear();
    f->parameters.push_back(p);
}

static listed_function read_line(const std::string &line)
{
    std::vector<std::string> fields = split(line, '\t');
    listed_function f = {fields[0], atoi(fields[1].c_str()), fields[2], fields[3], {}};
    for (const std::string &text : split(fields[4], ' '))
        add_parameter(&f, text);
    return f;
}

static std::vector<listed_function> read_listing(void)
{
    std::vector<listed_function> all;
    std::ifstream in(source_path("test/record/interface.txt"));
    for (std::string line; std::getline(in, line);)
        if (line[0] != '#') all.push_back(read_line(line));
    return all;
}

const std::vector<listed_function> &listing(void)
{
    static const std::vector<listed_function> all = read_listing();
    return all;
}

const listed_function &listed(const std::string &function)
{
    return *std::find_if(listing().begin(), listing().end(),
                         [&](const listed_function &f) { return f.function == function; });
}

int listed_function::find(const std::string &parameter) const
{
    for (size_t i = 0; i < parameters.size(); i++)
        if (parameters[i].name == parameter) return static_cast<int>(i);
    return -1;
}

static std::map<std::string, int64_t> &sizes(void)
{
    // All different, so that one taken for another shows.
    static std::map<std::string, int64_t> all = {
        {"numcols", 5},      {"numrows", 4},      {"numqconstrs", 3},
        {"numsos", 2},       {"nummipstarts", 6}, {"numindconstrs", 7},
        {"numpwl", 8},       {"numfilters", 9},   {"numsolns", 10},
        {"numnodes", 13},    {"numarcs", 14},     {"numdblannotations", 11},
        {"rednumcols", 15},  {"rednumrows", 16},  {"numlongannotations", 12},
        {"confnumrows", 17}, {"confnumcols", 18},
    };
    return all;
}

int64_t recorded_size(const std::string &query)
{
    const char *all = getenv("VNT_RECORD_SIZE");
    return all != nullptr ? atoll(all) : sizes().at(query);
}

int recorded_status(void)
{
    const char *status = getenv("VNT_RECORD_STATUS");
    return status != nullptr ? atoi(status) : 0;
}

static std::string lower(std::string name)
{
    for (char &c : name)
        c = static_cast<char>(tolower(c));
    return name;
}

void set_recorded_size(const std::string &query, int64_t size)
{
    sizes()[lower(query)] = size;
}

static int64_t number(const listed_parameter &p, const call_value &v)
{
    return p.type == "long" ? v.l : v.i;
}

static int64_t term(const listed_function &f, const std::string &word, const call_value *args)
{
    if (isdigit(static_cast<unsigned char>(word[0]))) return atoll(word.c_str());
    int i = f.find(word);
    return i >= 0 ? number(f.parameters[static_cast<size_t>(i)], args[i]) : recorded_size(word);
}

// The entries of a matrix whose begins and counts stand before parameter `i`.
static int64_t matrix_entries(const listed_function &f, size_t i, const call_value *args)
{
    while (f.parameters[i - 1].array() && f.parameters[i - 1].size.empty())
        i--;
    const int64_t *begins = static_cast<const int64_t *>(args[i - 2].p);
    const int *counts = static_cast<const int *>(args[i - 1].p);
    if (begins == nullptr || counts == nullptr) return 0;
    int64_t last = listed_size(f, i - 2, args) - 1;
    return last >= 0 ? begins[last] + counts[last] : 0;
}

int64_t listed_size(const listed_function &f, size_t i, const call_value *args)
{
    const std::string &size = f.parameters[i].size;
    if (size.empty()) return matrix_entries(f, i, args);
    int64_t sum = 0;
    for (size_t at = 0; at < size.size();) {
        bool minus = size[at] == '-';
        if (minus || size[at] == '+') at++;
        size_t end = std::min(size.find_first_of("+-", at), size.size());
        int64_t value = term(f, size.substr(at, end - at), args);
        sum += minus ? -value : value;
        at = end;
    }
    return sum > 0 ? sum : 0;
}

int64_t value_in(const listed_function &f, size_t i, int64_t k)
{
    const std::string &name = f.parameters[i].name;
    if (f.parameters[i].array()) {
        // Begins lie within the entries, of which there are at least three.
        const bool counted = f.find("matcnt") >= 0 || f.find("qmatcnt") >= 0;
        if (name.ends_with("beg")) return counted ? 2 * k : k % 3;
        if (name == "matcnt" || name == "qmatcnt") return 2;
        return f.id * 500 + static_cast<int64_t>(i) * 20 + k;
    }
    // A scalar may count an array, so it is small, and each counts differently.
    if (name == "begin" || name == "beg") return 3;
    if (name == "end") return 5 + static_cast<int64_t>(i) % 4;
    return static_cast<int64_t>(i) + 2;
}

int64_t value_out(const listed_function &f, size_t i, int64_t k)
{
    if (f.function == "VNTLEgetnulbytes") return 1;
    if (f.parameters[i].name == "status_p") return 0;
    // The sizes of a conflict are asked of the call itself.
    if (f.function == "VNTLgetconflict" && f.parameters[i].name == "confnumrows_p")
        return recorded_size("confnumrows");
    if (f.function == "VNTLgetconflict" && f.parameters[i].name == "confnumcols_p")
        return recorded_size("confnumcols");
    return f.id * 700 + static_cast<int64_t>(i) * 30 + k;
}

int64_t value_returned(const listed_function &f)
{
    static const std::map<std::string, std::string> queries = {
#define PROBLEM_QUERY(name, function, selector) {#function, #name},
#define NETWORK_QUERY(name, function, selector) {#function, #name},
#define SIZE_QUERY(name, selector)
#include "remote/calls/queries.def"
    };
    auto query = queries.find(f.function);
    if (query == queries.end()) return f.result == "status" ? recorded_status() : f.id + 7;
    return recorded_size(lower(query->second));
}

void store_value(const std::string &type, void *to, int64_t k, int64_t value)
{
    if (type == "int") static_cast<int *>(to)[k] = static_cast<int>(value);
    if (type == "long") static_cast<int64_t *>(to)[k] = value;
    if (type == "double") static_cast<double *>(to)[k] = static_cast<double>(value) + 0.25;
    if (type == "char") static_cast<char *>(to)[k] = static_cast<char>('A' + value % 26);
}

std::string text_out(const listed_function &f, size_t i)
{
    return f.name + "." + f.parameters[i].name;
}

bool name_absent(int64_t k)
{
    return k % 3 == 1;
}

std::string name_out(const listed_function &f, size_t i, int64_t k)
{
    return f.parameters[i].name + std::to_string(k);
}

static std::string quoted(const void *text, int64_t length = -1)
{
    if (text == nullptr) return "null";
    const char *t = static_cast<const char *>(text);
    return "\"" + std::string(t, length < 0 ? strlen(t) : static_cast<size_t>(length)) + "\"";
}

static std::string real(double d)
{
    std::ostringstream text;
    text << std::setprecision(17) << d;
    return text.str();
}

static std::string object(const void *value)
{
    std::ostringstream text;
    text << std::hex << reinterpret_cast<uintptr_t>(value);
    return text.str();
}

static std::string element(const std::string &type, const void *from, int64_t k)
{
    if (type == "int") return std::to_string(static_cast<const int *>(from)[k]);
    if (type == "long") return std::to_string(static_cast<const int64_t *>(from)[k]);
    if (type == "double") return real(static_cast<const double *>(from)[k]);
    if (type == "char") return std::to_string(static_cast<const char *>(from)[k]);
    return quoted(static_cast<const char *const *>(from)[k]);
}

static std::string elements(const std::string &type, const void *from, int64_t count)
{
    if (from == nullptr) return "null";
    std::string text = "[";
    for (int64_t k = 0; k < count; k++)
        text += (k > 0 ? " " : "") + element(type, from, k);
    return text + "]";
}

static std::string argument(const listed_function &f, size_t i, const call_value *args)
{
    const listed_parameter &p = f.parameters[i];
    const call_value &v = args[i];
    if (p.array()) {
        const int64_t count = listed_size(f, i, args);
        const bool none = p.type == "char*[]" && count == 0;
        return elements(p.element(), none ? nullptr : v.p, count);
    }
    if (p.type == "env" || p.type == "lp" || p.type == "net") return object(v.p);
    if (p.type == "lp*" || p.type == "net*") return object(*static_cast<void **>(v.p));
    if (p.type == "double") return real(v.d);
    if (p.type == "contents") return quoted(v.p, args[i + 1].l);
    if (p.type == "length") return std::to_string(v.l);
    if (p.type == "outfile") return "a path"; // the worker's own
    if (p.type == "str" || p.type == "filename") return quoted(v.p);
    return std::to_string(number(p, v));
}

std::string call_text(const listed_function &f, const call_value *args)
{
    std::string text = f.function;
    for (size_t i = 0; i < f.parameters.size(); i++)
        if (f.parameters[i].dir == IN || f.parameters[i].dir == INOUT)
            text += " " + f.parameters[i].name + "=" + argument(f, i, args);
    return text;
}

} // namespace vnt
