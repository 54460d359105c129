// formats_fuzz.cc: any bytes as a file of one format, FUZZED_FORMAT.  A model that is read can be
// written, and what was written reads back to what writes the same text.

#include "solver/formats/annotationfile.h"
#include "solver/formats/basisfile.h"
#include "solver/formats/dimacs.h"
#include "solver/formats/filterfile.h"
#include "solver/formats/lpformat.h"
#include "solver/formats/mps.h"
#include "solver/formats/orderfile.h"
#include "solver/formats/solutionfile.h"
#include "solver/formats/startfile.h"
#include "solver/problem/problem.h"

#include <cstdio>
#include <cstdlib>

namespace vnt {

template <class Read, class Write>
static void read_and_write(const std::string &text, Read &&read, Write &&write)
{
    std::string remarks;
    bool made;
    const std::string once = write(read(text, &remarks), &made);
    std::string twice;
    try {
        twice = write(read(once, &remarks), &made);
    } catch (const failure &f) {
        twice = f.text;
    }
    if (twice == once) return;
    fprintf(stderr, "written:\n%s\nread and written again:\n%s\n", once.c_str(), twice.c_str());
    abort();
}

[[maybe_unused]] static void mps(const std::string &text)
{
    read_and_write(text, mps_read, mps_write);
}
[[maybe_unused]] static void lp(const std::string &text)
{
    read_and_write(text, lp_read, lp_write);
}
[[maybe_unused]] static void dimacs(const std::string &text)
{
    dimacs_read(text);
}

// Two rows and three columns, named as in test/models.
static vntlp little()
{
    std::string remarks;
    vntlp p;
    p.m = lp_read("minimize x + y + z\nst r: x + y >= 1\n s: y + z >= 2\nend\n", &remarks);
    return p;
}
[[maybe_unused]] static void basis(const std::string &text)
{
    vntlp p = little();
    basis_read(p, text);
}
[[maybe_unused]] static void solution(const std::string &text)
{
    solutions_read(text, little().m);
}
[[maybe_unused]] static void starts(const std::string &text)
{
    const vntlp p = little();
    auto read = [&](const std::string &t, auto) { return starts_read(t, p.m); };
    read_and_write(text, read, [&](const std::vector<mip_start> &s, auto) {
        return starts_write(p.m, s.data(), static_cast<int>(s.size()));
    });
}
[[maybe_unused]] static void order(const std::string &text)
{
    vntlp p = little();
    auto read = [&](const std::string &t, auto) { return order_read(t, p.m.col_names); };
    read_and_write(text, read, [&](std::vector<branching> order, auto) {
        p.m.order = std::move(order);
        return order_write(p.m);
    });
}

[[maybe_unused]] static void notes(const std::string &text)
{
    vntlp p = little();
    auto read = [&](const std::string &t, auto) { return annotations_read(t, p.m); };
    read_and_write(text, read,
                   [&](const annotations &a, auto) { return annotations_write(p.m, a); });
}

[[maybe_unused]] static void filters(const std::string &text)
{
    vntlp p = little();
    auto read = [&](const std::string &t, auto) { return filters_read(t, p.m); };
    read_and_write(text, read,
                   [&](const std::vector<pool_filter> &f, auto) { return filters_write(p.m, f); });
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    try {
        FUZZED_FORMAT(std::string(reinterpret_cast<const char *>(data), size));
    } catch (const failure &) { // not of the format
    }
    return 0;
}

} // namespace vnt
