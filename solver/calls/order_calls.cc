// The order of branching.

#include "solver/calls/calls.h"
#include "solver/formats/files.h"
#include "solver/formats/orderfile.h"

using namespace vnt;

// The answer to a query about an order.
static void put_order(const std::vector<branching> &order, int *indices, int *priority,
                      int *direction)
{
    for (size_t k = 0; k < order.size(); k++) {
        if (indices != nullptr) indices[k] = order[k].column;
        if (priority != nullptr) priority[k] = order[k].priority;
        if (direction != nullptr) direction[k] = order[k].direction;
    }
}

int VNTLcopyorder(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const int *priority,
                  const int *direction)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(p.m.typed(), VNTERR_NOT_MIP);
        require_indices(cnt, indices, p.m.numcols());
        std::vector<branching> order;
        for (int k = 0; k < cnt; k++) {
            branching b = {indices[k], priority != nullptr ? priority[k] : 0,
                           direction != nullptr ? direction[k] : 0};
            require(b.priority >= 0 && b.direction >= -1 && b.direction <= 1, VNTERR_BAD_ARGUMENT);
            order.push_back(b);
        }
        p.m.order = std::move(order);
    });
}

int VNTLgetorder(VNTENVptr env, VNTLPptr lp, int *cnt_p, int *indices, int *priority,
                 int *direction, int ordspace, int *surplus_p)
{
    return with_problem(env, lp, [&](vntlp &p) {
        int wanted = static_cast<int>(p.m.order.size());
        put(cnt_p, std::min(wanted, std::max(ordspace, 0)));
        require_space(wanted, ordspace, surplus_p);
        put_order(p.m.order, indices, priority, direction);
    });
}

int VNTEreadcopyorder(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                      int64_t length)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(p.m.typed(), VNTERR_NOT_MIP);
        p.m.order = order_read(file_contents(filename_str, contents, length), p.m.col_names);
    });
}

int VNTLordwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(p.m.typed(), VNTERR_NOT_MIP);
        file_write(filename_str, order_write(p.m));
    });
}

// An order for columns that are known by their names alone.
int VNTEordread(VNTENVptr env, const char *filename_str, const char *contents, int64_t length,
                int numcols, const char *const *colname, int *cnt_p, int *indices, int *priority,
                int *direction)
{
    return with_environment(env, [&](vntenv &) {
        require(numcols >= 0, VNTERR_BAD_ARGUMENT);
        require_there(colname, numcols > 0);
        name_list columns('x');
        columns.make_room(numcols);
        columns.append(name_list::copies(numcols, colname));
        auto order = order_read(file_contents(filename_str, contents, length), columns);
        put(cnt_p, static_cast<int>(order.size()));
        put_order(order, indices, priority, direction);
    });
}
