// vntworker: the host program of the worker server.  It links libvanto.so without a version, so
// that another solver library of that name, or a preloaded one, can take its place.

#include "tools/solvercheck.h"
#include "tools/workeroptions.h"
#include "vanto_remote.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

// What the server itself returns for a wrong option.
static constexpr int EXIT_REFUSED = -1;

static int print(const std::string &text)
{
    return fputs(text.c_str(), stdout) >= 0 && fflush(stdout) == 0 ? 0 : EXIT_REFUSED;
}

int main(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    auto asked = [&](const char *option) {
        return std::find(arguments.begin(), arguments.end(), option) != arguments.end();
    };
    if (vnt::solvercheck_asked(arguments)) return vnt::solvercheck_run(arguments);
    if (asked("--help")) return print(vnt::workeroptions_help());
    if (asked("--version") || asked("-version")) return print("vntworker " VNT_VERSION "\n");
    try {
        if (!asked("-help")) vnt::workeroptions_check(arguments, argc > 0 ? argv[0] : "");
    } catch (const std::runtime_error &wrong) {
        fprintf(stderr, "vntworker: %s\n", wrong.what());
        return EXIT_REFUSED;
    }
    return VNTWORKERtcpip(argc, argv);
}
