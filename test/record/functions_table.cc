// functions_table.cc: prints docs/functions.md.
//
// The purpose of a function is the first sentence of the comment above its group in vanto.h.  What
// the library defines as a weak symbol says that it is not supported.

#include "test/folders.h"
#include "test/record/listing.h"

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <link.h>
#include <set>

using namespace vnt;

static const std::set<std::string> &constants(void)
{
    static const std::set<std::string> names = {
#define ZERO(type, function) #function,
#define CONSTANT(function) #function,
#include "solver/calls/constants.def"
    };
    return names;
}

static const char *state(void *library, const std::string &function)
{
    Dl_info info;
    ElfW(Sym) *symbol = nullptr;
    void *found = dlsym(library, function.c_str());
    if (found == nullptr ||
        dladdr1(found, &info, reinterpret_cast<void **>(&symbol), RTLD_DL_SYMENT) == 0 ||
        symbol == nullptr)
        return "missing";
    if (ELF64_ST_BIND(symbol->st_info) == STB_WEAK) return "not supported";
    return constants().count(function) != 0 ? "constant" : "works";
}

// The text up to the first full stop, colon or semicolon that ends a clause.
static std::string first_sentence(const std::string &text)
{
    for (size_t i = 0; i < text.size(); i++) {
        bool last = i + 1 == text.size() || text[i + 1] == ' ';
        if (last && std::string(".:;").find(text[i]) != std::string::npos) return text.substr(0, i);
    }
    return text;
}

// A group begins with an empty line and its comment; comments within it are about single functions.
static std::map<std::string, std::string> purposes(std::istream &in)
{
    std::map<std::string, std::string> all;
    std::string line, comment;
    bool heading = false;
    while (std::getline(in, line)) {
        if (line.empty()) {
            comment.clear();
            heading = true;
            continue;
        }
        if (line.rfind("//", 0) != 0) heading = false;
        if (heading)
            comment += (comment.empty() ? "" : " ") + line.substr(std::min<size_t>(3, line.size()));
        size_t end = line.find('('), begin = line.rfind("VNT", end);
        if (end == std::string::npos || begin == std::string::npos || isspace(line[0])) continue;
        all[line.substr(begin, end - begin)] = first_sentence(comment);
    }
    return all;
}

int main()
{
    void *library = dlopen(build_path("lib/libvanto.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return 1;
    std::ifstream header(source_path("include/vanto.h"));
    auto known = purposes(header);
    std::map<std::string, std::string> rows; // by name
    for (const listed_function &f : listing()) {
        rows[f.function] = "| `" + f.function + "` | " + known[f.function] + " | " +
                           state(library, f.function) + " |\n";
    }
    std::string text;
    for (const auto &row : rows)
        text += row.second;
    return printf("# The functions of vanto.h in the open solver\n\n"
                  "Made of the header and the library by `build/test/functions_table > "
                  "docs/functions.md`; a test holds it against them.  The purpose is that of the "
                  "function's group in the header.  A constant answer is one that this solver has "
                  "no other for.\n\n"
                  "| function | purpose | state |\n|---|---|---|\n%s",
                  text.c_str()) < 0;
}
