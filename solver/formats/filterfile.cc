#include "solver/formats/filterfile.h"

#include "solver/formats/listfile.h"

namespace vnt {

std::string filters_write(const model &m, const std::vector<pool_filter> &filters)
{
    std::string out = "filters of " + one_line(m.name) + "\n";
    for (const pool_filter &f : filters) {
        bool range = f.type == VNT_FILTER_RANGE;
        out += range ? "range " : "diversity ";
        out += number_text(f.lower) + " " + number_text(f.upper) + " ";
        out += std::to_string(f.index.size()) + " " + one_line(f.name) + "\n";
        for (size_t k = 0; k < f.index.size(); k++) {
            out += number_text(f.weight[k]) + " ";
            if (!range) out += number_text(f.reference[k]) + " ";
            out += listed_name(m.col_names, f.index[k]) + "\n";
        }
    }
    return out + "end\n";
}

static pool_filter filter_read(list_reader &in, const model &m, int type)
{
    pool_filter f = {{}, type, in.number(), 0, {}, {}, {}};
    f.upper = in.number();
    int64_t count = in.integer(0, m.numcols());
    f.name = in.rest();
    std::vector<bool> seen(m.numcols());
    while (count-- > 0) {
        in.need("a column's weight");
        f.weight.push_back(in.number());
        if (type == VNT_FILTER_DIVERSITY) f.reference.push_back(in.number());
        f.index.push_back(in.fresh_place(m.col_names, &seen));
    }
    return f;
}

std::vector<pool_filter> filters_read(const std::string &text, const model &m)
{
    std::vector<pool_filter> filters;
    list_reader in(text);
    in.head("filters of");
    while (in.another()) {
        if (in.begins("range"))
            filters.push_back(filter_read(in, m, VNT_FILTER_RANGE));
        else if (in.begins("diversity"))
            filters.push_back(filter_read(in, m, VNT_FILTER_DIVERSITY));
        else
            in.fail("\"range\", \"diversity\" or \"end\" should stand here");
    }
    return filters;
}

} // namespace vnt
