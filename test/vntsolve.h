// vntsolve.h: vntsolve run by tests, and what it prints.

#pragma once

#include "test/folders.h"
#include "test/process.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace vnt {

inline std::string model(const std::string &name)
{
    return source_path("test/models/" + name);
}

inline std::vector<std::string> command(const std::vector<std::string> &arguments)
{
    return joined({built("vntsolve")}, arguments);
}

inline process_result vntsolve(const std::vector<std::string> &arguments)
{
    return run(command(arguments));
}

// A member of a --json object as it is written; empty when it is not there.
inline std::string member(const std::string &json, const std::string &name)
{
    std::string key = "\"" + name + "\": ";
    size_t begin = json.find(key);
    if (begin == std::string::npos) return "";
    begin += key.size();
    if (json[begin] == '"') begin++;
    return json.substr(begin, json.find_first_of("\",\n", begin) - begin);
}

// The objective of a solve, which must have ended well.
inline std::string objective_of(const process_result &solved)
{
    EXPECT_EQ(solved.status, 0) << solved.err;
    return member(solved.out, "objective");
}

// Leaves a solve in a worker; the objective of the client that comes back to it.
inline void leave(const std::string &file, const std::string &server, const std::string &ticket,
                  const std::vector<std::string> &more = {})
{
    const process_result left =
        vntsolve(joined({model(file), "--server", server, "--detach", ticket}, more));
    EXPECT_EQ(left.status, 0) << left.err;
}
inline std::string attach(const std::string &ticket)
{
    return objective_of(vntsolve({"--attach", ticket, "--json"}));
}

// What docs/schema/NAME.json finds wrong with a JSON text; nothing when all is well.
inline std::string schema_complaints(const std::string &name, const std::string &json)
{
    static const char check[] =
        "import json, jsonschema, sys\n"
        "def strict(word): raise ValueError(word)\n"
        "schema = json.load(open(sys.argv[1]))\n"
        "jsonschema.Draft202012Validator.check_schema(schema)\n"
        "jsonschema.validate(json.loads(sys.argv[2], parse_constant=strict), schema)\n";
    process_result result =
        run({"python3", "-c", check, source_path("docs/schema/" + name + ".json"), json});
    return result.status == 0 ? "" : result.err + json;
}

// All that must not depend on where the model was solved.
inline std::string digits(const std::string &json)
{
    std::istringstream lines(json);
    std::string kept;
    for (std::string line; std::getline(lines, line);)
        if (line.find("\"seconds\"") == line.npos && line.find("\"server\"") == line.npos)
            kept += line + '\n';
    return kept;
}

} // namespace vnt
