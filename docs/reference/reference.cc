// reference.cc: writes the reference of the public headers.
//
//     reference_pages man SOURCE VERSION FOLDER    manual pages of section 3
//     reference_pages site SOURCE VERSION FOLDER   Markdown pages of the site, in folders for each
//     header
//
// SOURCE is the project's folder.  Exit status 1: a file could not be written.

#include "docs/reference/lists.h"
#include "docs/reference/manual.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

using namespace vnt;

static bool written(const std::filesystem::path &folder, const page_map &pages)
{
    std::error_code ignored; // writing fails then, which is looked at
    std::filesystem::create_directories(folder, ignored);
    for (const auto &[name, text] : pages) {
        std::ofstream out(folder / name);
        out << text;
        out.close();
        if (!out) {
            fprintf(stderr, "reference_pages: %s cannot be written\n", (folder / name).c_str());
            return false;
        }
    }
    return true;
}

int main(int argc, char **argv)
{
    bool man = argc == 5 && strcmp(argv[1], "man") == 0;
    if (argc != 5 || (!man && strcmp(argv[1], "site") != 0)) {
        fprintf(stderr, "usage: reference_pages man|site SOURCE VERSION FOLDER\n");
        return 2;
    }
    const std::filesystem::path source = argv[2], folder = argv[4];
    const manual_context contexts[] = {
        {"vanto.h", "vanto", "callable library of the solver", argv[3],
         states_read(source / "docs/functions.md")},
        {"vanto_client.h",
         "vanto_client",
         "what the calling side offers beyond the solver",
         argv[3],
         {}},
        {"vanto_remote.h", "vanto_remote", "worker servers and what runs in a worker", argv[3], {}},
    };
    bool all = true;
    for (const manual_context &c : contexts) {
        header h = header_read(source / "include" / c.include);
        all &= man ? written(folder, manual_pages(h, c))
                   : written(folder / c.overview, site_pages(h, c));
    }
    if (!man) {
        header h = header_read(source / "include/vanto.h");
        all &= written(folder, {{"parameters.md", parameters_page(h)}, {"exits.md", exits_page()}});
    }
    return all ? 0 : 1;
}
