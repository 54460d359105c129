// calls_table.cc: prints docs/calls.md.

#include "remote/calls/solvercall.h"
#include "remote/handler/handler.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace vnt;

namespace fs = std::filesystem;

static std::string fields(const message_layout *layout)
{
    static const char *const kinds[] = {"",       "int",   "long",   "double",
                                        "string", "array", "handle", "file"};
    std::string text;
    if (layout == nullptr) return "the call's own";
    for (const message_field *m = layout->fields; m->kind != KIND_END; m++)
        text += std::string(text.empty() ? "" : ", ") + m->name + " " + kinds[m->kind];
    return text.empty() ? "none" : text;
}

static const message_layout *find_name(const std::string &name)
{
    for (const message_layout *m = catalogue_begin; m != catalogue_end; m++)
        if (name == m->name) return m;
    return nullptr;
}

static const solver_call *find_call(uint32_t id)
{
    for (const solver_call &call : solvercalls)
        if (call.request == id) return &call;
    return nullptr;
}

static std::string text_of(const fs::path &path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// What says that a request is tested: the list of the calls that are all tested, with their ids
// between tabs, and the tests of the others, which name them.
static const std::string &tests(void)
{
    static const std::string text = [] {
        std::string all = text_of(VNT_SOURCE_DIR "/test/record/interface.txt");
        for (const fs::directory_entry &e :
             fs::directory_iterator(VNT_SOURCE_DIR "/remote/handler"))
            if (e.path().string().find("_test.cc") != std::string::npos) all += text_of(e.path());
        return all;
    }();
    return text;
}

static bool tested(const message_layout *m)
{
    return tests().find("\t" + std::to_string(m->id) + "\t") != std::string::npos ||
           tests().find(m->name) != std::string::npos;
}

static std::string row(const message_layout *m, bool *is_tested)
{
    const solver_call *call = find_call(m->id);
    const std::string name = m->name;
    const message_layout *response = call != nullptr ? catalogue_find(call->response) : nullptr;
    if (response == nullptr && name != "GETRES")
        response = find_name(name.substr(0, name.size() - 3) + "RES");
    *is_tested = tested(m);
    return "| " + std::to_string(m->id) + " | `" + name + "` | " +
           (call != nullptr ? "`" + std::string(call->function) + "`" : "-") + " | " + fields(m) +
           " | " + fields(response) + " | " + (*is_tested ? "yes" : "no") + " |\n";
}

int main()
{
    std::string rows;
    int served = 0, tests = 0;
    for (const message_layout *m = catalogue_begin; m != catalogue_end; m++) {
        bool is_tested = false;
        if (!handler_serves(m->id)) continue;
        rows += row(m, &is_tested);
        served++;
        tests += is_tested;
    }
    return printf("# What a worker serves\n\n"
                  "Made of the lists by `build/docs/calls_table > docs/calls.md`; a test holds it "
                  "against "
                  "them.\n\n"
                  "The run function of a request is `vnthandler_VNTMESSAGEID_<request>_run`.  "
                  "Requests "
                  "without a solver function are the worker's own business; they are tested where "
                  "a test "
                  "beside the handlers names them, all others by the test that carries every call "
                  "through "
                  "a server.\n\n"
                  "%d requests, %d tested.\n\n"
                  "| id | request | solver function | fields | fields of the response | tested |\n"
                  "|---|---|---|---|---|---|\n"
                  "%s",
                  served, tests, rows.c_str()) < 0;
}
