// dissector.cc: writes vanto.lua, which shows the protocol in Wireshark.
//
//     dissector SOURCE FILE
//
// SOURCE is the project's folder.  The file begins with lists, a line for each message, status and
// query, and goes on with walker.lua, which reads traffic by them.  Exit status 1: it could not be
// written.

#include "docs/reference/header.h"
#include "remote/codec/catalogue.h"

#include <fstream>
#include <iostream>
#include <map>

using namespace vnt;

// The function that a request calls.
static std::string function_of(const std::string &message)
{
    static const std::map<std::string, std::string> functions = {
#define SOLVER_CALL(name, function, ...) {#name "_REQ", #function},
#include "remote/calls/solvercalls.def"
    };
    const auto found = functions.find(message);
    return found != functions.end() ? found->second : "-";
}

// One letter of "-ildsahf" for each kind.
static char letter_of(message_kind kind)
{
    return "-ildsahf"[kind];
}

static void write_messages(std::ostream &out)
{
    out << "-- id, name, solver function, fields with their kinds\nlocal messages_list = [[\n";
    for (const message_layout *m = catalogue_begin; m != catalogue_end; m++) {
        out << m->id << ' ' << m->name << ' ' << function_of(m->name);
        for (const message_field *f = m->fields; f->kind != KIND_END; f++)
            out << ' ' << f->name << ':' << letter_of(f->kind);
        out << '\n';
    }
    out << "]]\n";
}

static void write_statuses(std::ostream &out, const header &h)
{
    out << "local statuses_list = [[\n";
    for (const header_enum &e : h.enums)
        for (const header_constant &c : e.constants)
            if (c.name.starts_with("VNTERR_")) out << c.value << ' ' << c.name << '\n';
    out << "]]\n";
}

static void write_queries(std::ostream &out)
{
    out << "local queries_list = [[\n"
#define ANY_QUERY(name, selector) << selector << " " #name "\n"
#include "remote/calls/queries.def"
        << "]]\n";
}

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::cerr << "usage: dissector SOURCE FILE\n";
        return 2;
    }
    const std::string source = argv[1];
    std::ifstream walker(source + "/docs/wireshark/walker.lua");
    std::ofstream out(argv[2]);
    out << "-- vanto.lua: shows the traffic of remote solver objects in Wireshark and tshark.\n"
           "-- Made of the lists of the sources; put it into a folder of Wireshark's plugins.\n\n";
    write_messages(out);
    write_statuses(out, header_read(source + "/include/vanto.h"));
    write_queries(out);
    out << '\n' << walker.rdbuf();
    out.close();
    if (out && walker) return 0;
    std::cerr << "dissector: " << argv[2] << " cannot be written\n";
    return 1;
}
