#include "solver/model/network.h"

#include <cmath>

namespace vnt {

void network::append_nodes(int count, const double *supplies, const char *const *names)
{
    require(count >= 0, VNTERR_BAD_ARGUMENT);
    std::vector<double> fresh(count, 0.0);
    for (int i = 0; i < count && supplies != nullptr; i++)
        fresh[i] = model_finite(supplies[i]);
    std::vector<std::string> copies = name_list::copies(count, names);
    node_names.make_room(count);
    make_room(supply, fresh.size());
    supply.insert(supply.end(), fresh.begin(), fresh.end());
    node_names.append(std::move(copies));
}

static void check_arcs(const network &n, const new_arcs &arcs)
{
    require(arcs.count >= 0, VNTERR_BAD_ARGUMENT);
    require_there(arcs.from, arcs.count > 0);
    require_there(arcs.to, arcs.count > 0);
    for (int k = 0; k < arcs.count; k++) {
        for (int node : {arcs.from[k], arcs.to[k]})
            require(node >= 0 && node < n.numnodes(), VNTERR_INDEX_RANGE);
        if (arcs.lower != nullptr) model_number(arcs.lower[k]);
        if (arcs.upper != nullptr) model_number(arcs.upper[k]);
        if (arcs.cost != nullptr) model_finite(arcs.cost[k]);
    }
}

void network::append_arcs(const new_arcs &arcs)
{
    check_arcs(*this, arcs);
    std::vector<std::string> names = name_list::copies(arcs.count, arcs.names);
    arc_names.make_room(arcs.count);
    for (auto *nodes : {&from, &to})
        make_room(*nodes, arcs.count);
    for (auto *values : {&lower, &upper, &cost})
        make_room(*values, arcs.count);
    for (int k = 0; k < arcs.count; k++) {
        from.push_back(arcs.from[k]);
        to.push_back(arcs.to[k]);
        lower.push_back(arcs.lower != nullptr ? model_number(arcs.lower[k]) : 0);
        upper.push_back(arcs.upper != nullptr ? model_number(arcs.upper[k]) : VNT_INFINITY);
        cost.push_back(arcs.cost != nullptr ? model_finite(arcs.cost[k]) : 0);
    }
    arc_names.append(std::move(names));
}

template <class list> static void keep_places(list &values, const std::vector<int> &place)
{
    size_t left = 0;
    for (size_t i = 0; i < place.size(); i++) {
        if (place[i] >= 0) values[left++] = values[i];
    }
    values.resize(left);
}

void network::keep(const std::vector<int> &node_place, const std::vector<int> &arc_place)
{
    keep_places(supply, node_place);
    node_names.keep(node_place, numnodes());
    for (auto *nodes : {&from, &to})
        keep_places(*nodes, arc_place);
    for (auto *values : {&lower, &upper, &cost})
        keep_places(*values, arc_place);
    arc_names.keep(arc_place, numarcs());
    for (int k = 0; k < numarcs(); k++) {
        from[k] = node_place[from[k]];
        to[k] = node_place[to[k]];
    }
}

// Names that are there; the others are made by the list that they go to.
static std::vector<const char *> own_names(const name_list &names, std::vector<std::string> *texts)
{
    std::vector<const char *> pointers;
    for (int i = 0; i < names.size(); i++)
        texts->push_back(names.at(i));
    for (const std::string &t : *texts)
        pointers.push_back(t.c_str());
    return pointers;
}

// An arc from a node to itself changes no balance: its column is empty.
model network::linear() const
{
    std::vector<std::string> nodes, arcs;
    std::vector<const char *> row_names = own_names(node_names, &nodes);
    std::vector<const char *> col_names = own_names(arc_names, &arcs);
    std::vector<int64_t> begin;
    std::vector<int> index;
    std::vector<double> value;
    for (int k = 0; k < numarcs(); k++) {
        begin.push_back(static_cast<int64_t>(index.size()));
        if (from[k] == to[k]) continue;
        index.insert(index.end(), {from[k], to[k]});
        value.insert(value.end(), {1, -1});
    }
    matrix_lines lines = {numarcs(),    static_cast<int64_t>(index.size()),
                          begin.data(), nullptr,
                          index.data(), value.data()};
    model m;
    m.name = name;
    m.sense = sense;
    m.append_rows({numnodes(), supply.data(), nullptr, nullptr, row_names.data()}, nullptr);
    m.append_cols({numarcs(), cost.data(), lower.data(), upper.data(), nullptr, col_names.data()},
                  &lines);
    return m;
}

// Chooses rows for nodes.  Each column remembers the node that it leaves and the one that it
// enters, -1 while there is none.
class network_search {
  public:
    explicit network_search(const model &m)
        : m(m), leaves(m.numcols(), -1), enters(m.numcols(), -1), sign(m.numrows(), 0)
    {
    }
    extracted run();

  private:
    int sign_for(int i) const;
    void add_row(int i);
    void add_columns();
    void add_slacks();
    void add_arc(int from, int to, double low, double high, double cost, int column);
    int other_node();

    const model &m;
    std::vector<int> leaves, enters, sign;
    extracted out;
    int last = -1; // the node that stands for no row
};

// The sign with which row i suits the rows that were chosen; 0 where it does not.
int network_search::sign_for(int i) const
{
    if (m.row_lower(i) <= -VNT_INFINITY && m.row_upper(i) >= VNT_INFINITY) return 0;
    matrix_view rows = m.a.by_row();
    int wanted = 0;
    for (int64_t k = rows.begin[i]; k < rows.begin[i + 1]; k++) {
        int j = rows.index[k];
        if (std::fabs(rows.value[k]) != 1 || (leaves[j] >= 0 && enters[j] >= 0)) return 0;
        if (leaves[j] < 0 && enters[j] < 0) continue;
        int needed = (leaves[j] < 0 ? 1 : -1) * (rows.value[k] > 0 ? 1 : -1);
        if (wanted != 0 && wanted != needed) return 0;
        wanted = needed;
    }
    return wanted != 0 ? wanted : 1;
}

void network_search::add_row(int i)
{
    sign[i] = sign_for(i);
    if (sign[i] == 0) return;
    matrix_view rows = m.a.by_row();
    int node = static_cast<int>(out.row.size());
    out.row.push_back(i);
    for (int64_t k = rows.begin[i]; k < rows.begin[i + 1]; k++)
        (rows.value[k] * sign[i] > 0 ? leaves : enters)[rows.index[k]] = node;
    double side = m.row_sense[i] == 'R' ? m.row_upper(i) : m.rhs[i];
    double supply = sign[i] * side;
    std::string name = m.row_names.at(i);
    const char *text = name.c_str();
    out.n.append_nodes(1, &supply, &text);
}

// Its supply is what the others lack.
int network_search::other_node()
{
    if (last >= 0) return last;
    double supply = 0;
    for (double s : out.n.supply)
        supply -= s;
    out.n.append_nodes(1, &supply, nullptr);
    out.row.push_back(-1);
    return last = out.n.numnodes() - 1;
}

void network_search::add_arc(int from, int to, double low, double high, double cost, int column)
{
    std::string name = column >= 0 ? m.col_names.at(column) : m.row_names.at(-column - 1);
    const char *text = name.c_str();
    if (from < 0) from = other_node();
    if (to < 0) to = other_node();
    out.n.append_arcs({1, &from, &to, &low, &high, &cost, &text});
    out.column.push_back(column);
}

void network_search::add_columns()
{
    for (int j = 0; j < m.numcols(); j++) {
        if (leaves[j] < 0 && enters[j] < 0) continue;
        add_arc(leaves[j], enters[j], m.lower[j], m.upper[j], m.objective[j], j);
    }
}

// A row at most its side has a slack that adds to it, one at least its side one that is taken off.
void network_search::add_slacks()
{
    for (int node = 0; node < static_cast<int>(out.row.size()); node++) {
        int i = out.row[node];
        if (i < 0 || m.row_sense[i] == 'E') continue;
        bool added = (m.row_sense[i] == 'G') != (sign[i] > 0);
        double width = m.row_sense[i] == 'R' ? m.row_upper(i) - m.row_lower(i) : VNT_INFINITY;
        add_arc(added ? node : -1, added ? -1 : node, 0, width, 0, -i - 1);
    }
}

extracted network_search::run()
{
    out.n.name = m.name;
    out.n.sense = m.sense;
    for (int i = 0; i < m.numrows(); i++)
        add_row(i);
    add_columns();
    add_slacks();
    return std::move(out);
}

extracted network_extract(const model &m)
{
    return network_search(m).run();
}

} // namespace vnt
