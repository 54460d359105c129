#include "docs/reference/manual.h"
#include "docs/reference/rows.h"

#include <regex>

namespace vnt {

namespace {

// Text of a comment in Markdown: stars, angles and underscores mean themselves, and functions and
// constants are code.
std::string marked(const std::string &text)
{
    std::string out = std::regex_replace(text, std::regex("([*<|])"), "\\$1");
    return std::regex_replace(out, std::regex("\\b((VNT|vnt)\\w+)(\\(\\)|_?\\\\\\*)?"), "`$1$3`");
}

std::string unescaped_in_code(const std::string &text)
{
    return std::regex_replace(text, std::regex("(`[^`]*)\\\\\\*`"), "$1*`");
}

std::string running_text(const comment_lines &lines)
{
    std::string out;
    bool example = false;
    for (const std::string &p : paragraphs(lines)) {
        bool as_is = p.starts_with("    ");
        if (!as_is || !example) out += "\n";
        out += (as_is ? p : unescaped_in_code(marked(p))) + "\n";
        example = as_is;
    }
    return out;
}

bool handle(const parameter_row &r)
{
    return r.type == "VNTENVptr" || r.type == "VNTLPptr" || r.type == "VNTNETptr";
}

// The handles say themselves what they are.
std::string parameter_table(const header_function &f)
{
    std::string out;
    for (const parameter_row &r : parameter_rows(f)) {
        if (handle(r)) continue;
        out += "| `" + r.name + "` | " + r.direction + " | `" + r.type + "` | " + r.length + " |\n";
    }
    if (out.empty()) return out;
    return "\n| parameter | | type | elements |\n|---|---|---|---|\n" + out;
}

std::string paragraph(const std::string &title, const std::string &text)
{
    if (text.empty()) return "";
    return "\n" + title + unescaped_in_code(marked(text)) + "\n";
}

std::string function_text(const header_function &f, const manual_context &c)
{
    return "\n### " + f.name + "\n" + running_text(f.comment) + "\n```c\n" + f.declaration +
           "\n```\n" + parameter_table(f) + paragraph("Errors: ", errors_text(f, c)) +
           paragraph("", state_text(f, c));
}

std::string group_page(const header_group &g, const manual_context &c)
{
    std::string out = "# " + (g.title.empty() ? "General" : g.title) + "\n" + running_text(g.text);
    for (const header_function &f : g.functions)
        out += function_text(f, c);
    return out;
}

std::string index_page(const header &h, const manual_context &c)
{
    std::map<std::string, std::string> rows; // by name
    for (const header_group &g : h.groups) {
        for (const header_function &f : g.functions) {
            std::string anchor = page_name(g.title) + ".md#" + f.name;
            for (char &k : anchor)
                k = static_cast<char>(tolower(k));
            rows[f.name] = "| [`" + f.name + "`](" + anchor + ") | " +
                           unescaped_in_code(marked(first_sentence(f.comment))) + " |\n";
        }
    }
    std::string out = "# " + c.include + "\n" + running_text(h.text) +
                      "\n## All functions\n\n| function | what it does |\n|---|---|\n";
    for (const auto &row : rows)
        out += row.second;
    return out;
}

std::string constants_page(const header &h)
{
    std::string out = "# Constants\n";
    for (const header_enum &e : h.enums) {
        out += running_text(e.comment) + "\n| name | value | |\n|---|---|---|\n";
        for (const header_constant &k : e.constants) {
            out += "| `" + k.name + "` | " + k.value + " | " +
                   unescaped_in_code(marked(k.comment)) + " |\n";
        }
    }
    return out;
}

} // namespace

page_map site_pages(const header &h, const manual_context &c)
{
    page_map pages = {{"index.md", index_page(h, c)}, {"constants.md", constants_page(h)}};
    for (const header_group &g : h.groups) {
        if (!g.functions.empty()) pages[page_name(g.title) + ".md"] = group_page(g, c);
    }
    return pages;
}

} // namespace vnt
