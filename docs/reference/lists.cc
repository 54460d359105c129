#include "docs/reference/lists.h"

#include <cmath>
#include <cstdint>

namespace vnt {

namespace {

std::string whole(int64_t n)
{
    return n == INT64_MAX ? "no limit" : std::to_string(n);
}

std::string real(double n)
{
    char text[32];
    snprintf(text, sizeof text, "%g", n);
    return text;
}

const header_constant *constant_find(const header &h, const std::string &name)
{
    for (const header_enum &e : h.enums) {
        for (const header_constant &c : e.constants)
            if (c.name == name) return &c;
    }
    return nullptr;
}

std::string row_of(const header &h, const std::string &name, const char *textname, const char *type,
                   const std::string &standard, const std::string &range)
{
    const header_constant *c = constant_find(h, "VNT_PARAM_" + name);
    if (c == nullptr) return ""; // the parameter is not in the header, which does not compile then
    size_t colon = c->comment.find(": ");
    std::string meaning = colon == std::string::npos ? c->comment : c->comment.substr(colon + 2);
    return "| `" + name + "` | `" + textname + "` | " + c->value + " | " + type + " | " + standard +
           " | " + range + " | " + meaning + " |\n";
}

} // namespace

std::string parameters_page(const header &h)
{
    std::string out =
        "---\nhide: [toc]\n---\n\n# Parameters\n\n`vntsolve --param NAME=VALUE` and parameter "
        "files know both names; "
        "`VNTLsetintparam` and its like take the number, `VNT_PARAM_` before the first name. "
        "1e+75 means no limit or no value.\n\n"
        "| name | in files | number | type | default | range | |\n|---|---|---|---|---|---|---|\n";
#define NUMBER(make, type, name, textname, standard, least, greatest)                              \
    out += row_of(h, #name, textname, type, make(standard), make(least) + " to " + make(greatest));
#define INT(name, ...) NUMBER(whole, "int", name, __VA_ARGS__)
#define LONG(name, ...) NUMBER(whole, "long", name, __VA_ARGS__)
#define DOUBLE(name, ...) NUMBER(real, "double", name, __VA_ARGS__)
#define STRING(name, textname, text) out += row_of(h, #name, textname, "string", "`" text "`", "");
#include "solver/calls/parameters.def"
#undef NUMBER
    return out;
}

std::string exits_page(void)
{
    std::string out = "# Exit statuses\n\nHow `vntsolve` ends:\n\n| status | |\n|---|---|\n";
#define EXIT(name, status, text) out += "| " #status " | " text " |\n";
#include "tools/exits.def"
    return out +
           "\n`vntworker` ends with 0 after `-help`, and with another status when an option is "
           "refused or it cannot listen. SIGTERM, SIGINT and SIGHUP end it with status 0.\n";
}

} // namespace vnt
