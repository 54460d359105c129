#include "solver/formats/startfile.h"

#include "solver/formats/listfile.h"

#include <climits>

namespace vnt {

static constexpr const char *title = "starts of";

std::string starts_write(const model &m, const mip_start *first, int count)
{
    std::string out = printed("%s ", title) + one_line(m.name) + "\n";
    for (const mip_start *start = first; start < first + count; start++) {
        out += printed("start %d %zu ", start->effort, start->index.size());
        out += one_line(start->name) + "\n";
        for (size_t k = 0; k < start->index.size(); k++) {
            append_number(start->value[k], &out);
            out += " " + listed_name(m.col_names, start->index[k]) + "\n";
        }
    }
    return out + "end\n";
}

static mip_start start_read(list_reader &in, const model &m)
{
    mip_start start;
    start.effort = static_cast<int>(in.integer(0, INT_MAX));
    int64_t count = in.integer(0, m.numcols());
    start.name = in.rest();
    std::vector<bool> seen(m.numcols());
    while (count-- > 0) {
        in.need("a column's value");
        start.value.push_back(in.number());
        start.index.push_back(in.fresh_place(m.col_names, &seen));
    }
    return start;
}

std::vector<mip_start> starts_read(const std::string &text, const model &m)
{
    std::vector<mip_start> starts;
    list_reader in(text);
    in.head(title);
    while (in.another()) {
        if (!in.begins("start")) in.fail("\"start\" or \"end\" should stand here");
        starts.push_back(start_read(in, m));
    }
    return starts;
}

bool starts_inside(const std::string &text)
{
    list_reader in(text);
    return in.next() && in.begins(title);
}

} // namespace vnt
