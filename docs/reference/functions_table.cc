// functions_table.cc: prints docs/functions.md, of the header and the library of its build.
//
// What a function does is the first sentence of its comment in vanto.h.  What the library defines
// as a weak symbol says that it is not supported.

#include "docs/reference/header.h"

#include <cstdio>
#include <dlfcn.h>
#include <link.h>
#include <map>
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

int main()
{
    void *library = dlopen(VNT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return 1;
    std::map<std::string, std::string> rows; // by name
    for (const header_group &g : header_read(VNT_HEADER).groups) {
        for (const header_function &f : g.functions)
            rows[f.name] = "| `" + f.name + "` | " + first_sentence(f.comment) + " | " +
                           state(library, f.name) + " |\n";
    }
    std::string text;
    for (const auto &row : rows)
        text += row.second;
    return printf("# The functions of vanto.h in the open solver\n\n"
                  "Made of the header and the library by `build/docs/functions_table > "
                  "docs/functions.md`; a test holds it against them.  A constant answer is one "
                  "that this solver has no other for.\n\n"
                  "| function | what it does | state |\n|---|---|---|\n%s",
                  text.c_str()) < 0;
}
