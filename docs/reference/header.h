// header.h: reads a public header for its reference.
//
// vanto.h and vanto_client.h are lists: one declaration with one comment for each function, in
// groups that begin with a line "// --- Title ---".  Empty lines part the blocks of a comment and
// what it is about; what follows the opening comment and is no such block is left out.  Manual
// pages and the pages of the site are made of what this finds.
//
// Threads: any; nothing is shared.

#pragma once

#include <string>
#include <vector>

namespace vnt {

// Lines of a comment without their slashes.  Empty ones part paragraphs; lines that begin with four
// blanks stay as they are.
using comment_lines = std::vector<std::string>;

struct header_parameter {
    std::string type; // "const double *"; of a function pointer the whole declaration
    std::string name;
};

struct header_function {
    std::string name;
    std::string declaration; // as it stands, on one line or more
    comment_lines comment;
    std::vector<header_parameter> parameters;
    bool gives_object; // returns a pointer
};

struct header_group {
    std::string title; // empty for what stands before the first title
    comment_lines text;
    std::vector<header_function> functions;
};

// A constant of an enum, or a #define.
struct header_constant {
    std::string name, value, comment;
};
struct header_enum {
    comment_lines comment;
    std::vector<header_constant> constants;
};

struct header {
    comment_lines text; // what the header is for
    std::vector<header_group> groups;
    std::vector<header_enum> enums;
};

// Reads the header of that path.  A file that is missing has no functions.
header header_read(const std::string &path);

// The comment as paragraphs, each on one line with single blanks; what stays as it is keeps its
// lines.
std::vector<std::string> paragraphs(const comment_lines &lines);

// The first sentence of a comment, without its full stop.
std::string first_sentence(const comment_lines &lines);

} // namespace vnt
