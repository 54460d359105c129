#include "solver/formats/orderfile.h"

#include "solver/formats/listfile.h"

#include <climits>

namespace vnt {

static constexpr const char *directions[] = {"down", "any", "up"}; // -1, 0, 1

std::string order_write(const model &m)
{
    std::string out = "order of " + one_line(m.name) + "\n";
    for (const branching &b : m.order) {
        out += std::to_string(b.priority) + " " + directions[b.direction + 1] + " ";
        out += listed_name(m.col_names, b.column) + "\n";
    }
    return out + "end\n";
}

static int direction_of(list_reader &in)
{
    std::string_view word = in.word();
    for (int k = 0; k < 3; k++)
        if (word == directions[k]) return k - 1;
    in.fail("the direction is not down, any or up");
}

std::vector<branching> order_read(const std::string &text, const name_list &columns)
{
    std::vector<branching> order;
    std::vector<bool> seen(columns.size());
    list_reader in(text);
    in.head("order of");
    while (in.another()) {
        branching b = {0, static_cast<int>(in.integer(0, INT_MAX)), direction_of(in)};
        b.column = in.fresh_place(columns, &seen);
        order.push_back(b);
    }
    return order;
}

} // namespace vnt
