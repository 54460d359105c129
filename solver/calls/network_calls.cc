// Networks: building them, asking for what they hold, and files.

#include "solver/calls/network_words.h"
#include "solver/formats/basisfile.h"
#include "solver/formats/dimacs.h"
#include "solver/formats/files.h"

using namespace vnt;

VNTNETptr VNTLNETcreateprob(VNTENVptr env, int *status_p, const char *name_str)
{
    VNTNETptr net = nullptr;
    int status = with_environment(env, [&](vntenv &e) {
        auto fresh = std::make_unique<vntnet>();
        if (name_str != nullptr) fresh->n.name = name_str;
        VNTNETptr address = fresh.get();
        e.networks.emplace(address, std::move(fresh));
        net = address;
    });
    put(status_p, status);
    return net;
}

int VNTLNETfreeprob(VNTENVptr env, VNTNETptr *net)
{
    return with_environment(env, [&](vntenv &e) {
        require_there(net);
        network_of(e, *net);
        e.networks.erase(*net);
        *net = nullptr;
    });
}

static void check_sense(int sense)
{
    require(sense == VNT_MIN || sense == VNT_MAX, VNTERR_BAD_ARGUMENT);
}

int VNTLNETcopynet(VNTENVptr env, VNTNETptr net, int objsen, int nnodes, const double *supply,
                   const char *const *nnames, int narcs, const int *fromnode, const int *tonode,
                   const double *low, const double *up, const double *obj,
                   const char *const *anames)
{
    return with_network(env, net, [&](vntnet &p) {
        check_sense(objsen);
        network fresh;
        fresh.name = p.n.name;
        fresh.sense = objsen;
        fresh.append_nodes(nnodes, supply, nnames);
        fresh.append_arcs({narcs, fromnode, tonode, low, up, obj, anames});
        p.n = std::move(fresh);
        p.reshaped();
    });
}

int VNTLNETaddnodes(VNTENVptr env, VNTNETptr net, int nnodes, const double *supply,
                    const char *const *name)
{
    return with_network(env, net, [&](vntnet &p) {
        p.n.append_nodes(nnodes, supply, name);
        p.reshaped();
    });
}

int VNTLNETaddarcs(VNTENVptr env, VNTNETptr net, int narcs, const int *fromnode, const int *tonode,
                   const double *low, const double *up, const double *obj,
                   const char *const *anames)
{
    return with_network(env, net, [&](vntnet &p) {
        p.n.append_arcs({narcs, fromnode, tonode, low, up, obj, anames});
        p.reshaped();
    });
}

// Deletes what is marked with 1, and the arcs at nodes that go.  The marks become new places.
static void delete_marked(vntnet &p, std::vector<int> &nodes, std::vector<int> &arcs)
{
    for (int k = 0; k < p.n.numarcs(); k++) {
        if (nodes[p.n.from[k]] == 1 || nodes[p.n.to[k]] == 1) arcs[k] = 1;
    }
    places_of(nodes.data(), p.n.numnodes());
    places_of(arcs.data(), p.n.numarcs());
    p.n.keep(nodes, arcs);
    p.reshaped();
}

static std::vector<int> marks_of(int begin, int end, int count)
{
    std::vector<int> marks(count, 0);
    int going = range_count(begin, end, count);
    for (int k = 0; k < going; k++)
        marks[begin + k] = 1;
    return marks;
}

int VNTLNETdelnodes(VNTENVptr env, VNTNETptr net, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) {
        std::vector<int> nodes = marks_of(begin, end, p.n.numnodes()), arcs(p.n.numarcs(), 0);
        delete_marked(p, nodes, arcs);
    });
}

int VNTLNETdelarcs(VNTENVptr env, VNTNETptr net, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) {
        std::vector<int> nodes(p.n.numnodes(), 0), arcs = marks_of(begin, end, p.n.numarcs());
        delete_marked(p, nodes, arcs);
    });
}

int VNTLNETdelset(VNTENVptr env, VNTNETptr net, int *whichnodes, int *whicharcs)
{
    return with_network(env, net, [&](vntnet &p) {
        std::vector<int> nodes(p.n.numnodes(), 0), arcs(p.n.numarcs(), 0);
        if (whichnodes != nullptr) std::copy_n(whichnodes, nodes.size(), nodes.begin());
        if (whicharcs != nullptr) std::copy_n(whicharcs, arcs.size(), arcs.begin());
        delete_marked(p, nodes, arcs);
        if (whichnodes != nullptr) std::copy(nodes.begin(), nodes.end(), whichnodes);
        if (whicharcs != nullptr) std::copy(arcs.begin(), arcs.end(), whicharcs);
    });
}

// The calls that change numbers and names.

static void rename(name_list &names, int count, const int *indices, const char *const *newname)
{
    require_indices(count, indices, names.size());
    require_there(newname, count > 0);
    for (int k = 0; k < count; k++)
        names.rename(indices[k], newname[k]);
}

int VNTLNETchgname(VNTENVptr env, VNTNETptr net, int key, int vindex, const char *name_str)
{
    return with_network(env, net, [&](vntnet &p) {
        require(key == 'a' || key == 'n', VNTERR_BAD_ARGUMENT);
        rename(key == 'a' ? p.n.arc_names : p.n.node_names, 1, &vindex, &name_str);
    });
}

int VNTLNETchgarcname(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                      const char *const *newname)
{
    return with_network(env, net, [&](vntnet &p) { rename(p.n.arc_names, cnt, indices, newname); });
}

int VNTLNETchgnodename(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                       const char *const *newname)
{
    return with_network(env, net,
                        [&](vntnet &p) { rename(p.n.node_names, cnt, indices, newname); });
}

int VNTLNETchgobjsen(VNTENVptr env, VNTNETptr net, int maxormin)
{
    return with_network(env, net, [&](vntnet &p) {
        check_sense(maxormin);
        p.n.sense = maxormin;
        p.changed();
    });
}

int VNTLNETchgbds(VNTENVptr env, VNTNETptr net, int cnt, const int *indices, const char *lu,
                  const double *bd)
{
    return with_network(env, net, [&](vntnet &p) {
        require_indices(cnt, indices, p.n.numarcs());
        require_there(lu, cnt > 0);
        require_there(bd, cnt > 0);
        for (int k = 0; k < cnt; k++)
            model::check_bound(lu[k], bd[k]);
        for (int k = 0; k < cnt; k++) {
            if (lu[k] != 'U') p.n.lower[indices[k]] = model_number(bd[k]);
            if (lu[k] != 'L') p.n.upper[indices[k]] = model_number(bd[k]);
        }
        p.changed();
    });
}

int VNTLNETchgarcnodes(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                       const int *fromnode, const int *tonode)
{
    return with_network(env, net, [&](vntnet &p) {
        require_indices(cnt, indices, p.n.numarcs());
        require_indices(cnt, fromnode, p.n.numnodes());
        require_indices(cnt, tonode, p.n.numnodes());
        for (int k = 0; k < cnt; k++) {
            p.n.from[indices[k]] = fromnode[k];
            p.n.to[indices[k]] = tonode[k];
        }
        p.reshaped();
    });
}

// Numbers of some elements of a list, all checked before the first changes.
static void change_numbers(vntnet &p, std::vector<double> &list, int cnt, const int *indices,
                           const double *values)
{
    require_indices(cnt, indices, static_cast<int>(list.size()));
    require_there(values, cnt > 0);
    for (int k = 0; k < cnt; k++)
        model_finite(values[k]);
    for (int k = 0; k < cnt; k++)
        list[indices[k]] = model_finite(values[k]);
    p.changed();
}

int VNTLNETchgobj(VNTENVptr env, VNTNETptr net, int cnt, const int *indices, const double *obj)
{
    return with_network(env, net,
                        [&](vntnet &p) { change_numbers(p, p.n.cost, cnt, indices, obj); });
}

int VNTLNETchgsupply(VNTENVptr env, VNTNETptr net, int cnt, const int *indices,
                     const double *supply)
{
    return with_network(env, net,
                        [&](vntnet &p) { change_numbers(p, p.n.supply, cnt, indices, supply); });
}

// The calls that answer about the network.

int VNTLNETgetobjsen(VNTENVptr env, VNTNETptr net)
{
    return network_count(env, net, [](vntnet &p) { return p.n.sense; });
}

int VNTLNETgetnumnodes(VNTENVptr env, VNTNETptr net)
{
    return network_count(env, net, [](vntnet &p) { return p.n.numnodes(); });
}

int VNTLNETgetnumarcs(VNTENVptr env, VNTNETptr net)
{
    return network_count(env, net, [](vntnet &p) { return p.n.numarcs(); });
}

int VNTLNETgetsupply(VNTENVptr env, VNTNETptr net, double *supply, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) { put_range(p.n.supply, supply, begin, end); });
}

int VNTLNETgetlb(VNTENVptr env, VNTNETptr net, double *low, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) { put_range(p.n.lower, low, begin, end); });
}

int VNTLNETgetub(VNTENVptr env, VNTNETptr net, double *up, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) { put_range(p.n.upper, up, begin, end); });
}

int VNTLNETgetobj(VNTENVptr env, VNTNETptr net, double *obj, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) { put_range(p.n.cost, obj, begin, end); });
}

int VNTLNETgetarcnodes(VNTENVptr env, VNTNETptr net, int *fromnode, int *tonode, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) {
        put_range(p.n.from, fromnode, begin, end);
        put_range(p.n.to, tonode, begin, end);
    });
}

// The arcs that leave or enter each node, in their order.
int VNTLNETgetnodearcs(VNTENVptr env, VNTNETptr net, int *arccnt_p, int *arcbeg, int *arc,
                       int arcspace, int *surplus_p, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) {
        int count = range_count(begin, end, p.n.numnodes());
        std::vector<std::vector<int>> arcs(count);
        auto note = [&](int node, int k) {
            if (node >= begin && node - begin < count) arcs[node - begin].push_back(k);
        };
        for (int k = 0; k < p.n.numarcs(); k++) {
            note(p.n.from[k], k);
            if (p.n.to[k] != p.n.from[k]) note(p.n.to[k], k);
        }
        std::vector<int> all, first;
        for (const std::vector<int> &list : arcs) {
            first.push_back(static_cast<int>(all.size()));
            all.insert(all.end(), list.begin(), list.end());
        }
        put(arccnt_p, std::min(static_cast<int>(all.size()), std::max(arcspace, 0)));
        put_list(all, arc, arcspace, surplus_p);
        put_range(first, arcbeg, 0, count - 1);
    });
}

int VNTLNETgetprobname(VNTENVptr env, VNTNETptr net, char *buf_str, int64_t bufspace,
                       int64_t *surplus_p)
{
    return with_network(env, net,
                        [&](vntnet &p) { put_text(p.n.name, buf_str, bufspace, surplus_p); });
}

int VNTLNETgetnodename(VNTENVptr env, VNTNETptr net, char **nnames, char *namestore,
                       int64_t namespc, int64_t *surplus_p, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) {
        put_names([&](int i) { return p.n.node_names.at(i); }, p.n.numnodes(), nnames, namestore,
                  namespc, surplus_p, begin, end);
    });
}

int VNTLNETgetarcname(VNTENVptr env, VNTNETptr net, char **nnames, char *namestore, int64_t namespc,
                      int64_t *surplus_p, int begin, int end)
{
    return with_network(env, net, [&](vntnet &p) {
        put_names([&](int k) { return p.n.arc_names.at(k); }, p.n.numarcs(), nnames, namestore,
                  namespc, surplus_p, begin, end);
    });
}

int VNTLNETgetnodeindex(VNTENVptr env, VNTNETptr net, const char *lname_str, int *index_p)
{
    return with_network(env, net,
                        [&](vntnet &p) { put_place(p.n.node_names, lname_str, index_p); });
}

int VNTLNETgetarcindex(VNTENVptr env, VNTNETptr net, const char *lname_str, int *index_p)
{
    return with_network(env, net, [&](vntnet &p) { put_place(p.n.arc_names, lname_str, index_p); });
}

// Between networks and linear problems.

int VNTLcopynettolp(VNTENVptr env, VNTLPptr lp, VNTNETptr net)
{
    return with_environment(env, [&](vntenv &e) {
        vntlp &p = problem_of(e, lp);
        const vntnet &from = network_of(e, net);
        p.replace(from.n.linear());
        if (from.has_basis()) p.set_basis(from.astat, from.nstat);
    });
}

int VNTLNETextract(VNTENVptr env, VNTNETptr net, VNTLPptr lp, int *colmap, int *rowmap)
{
    return with_environment(env, [&](vntenv &e) {
        vntnet &p = network_of(e, net);
        extracted found = network_extract(problem_of(e, lp).m);
        p.n = std::move(found.n);
        p.reshaped();
        put_range(found.column, colmap, 0, p.n.numarcs() - 1);
        put_range(found.row, rowmap, 0, p.n.numnodes() - 1);
    });
}

// The calls that read and write files.

int VNTENETreadcopyprob(VNTENVptr env, VNTNETptr net, const char *filename_str,
                        const char *contents, int64_t length)
{
    return with_network(env, net, [&](vntnet &p) {
        network fresh = dimacs_read(file_contents(filename_str, contents, length));
        fresh.name = p.n.name;
        p.n = std::move(fresh);
        p.reshaped();
    });
}

static bool has_names(const name_list &names)
{
    for (int i = 0; i < names.size(); i++) {
        if (names.named(i)) return true;
    }
    return false;
}

int VNTLNETwriteprob(VNTENVptr env, VNTNETptr net, const char *filename_str, const char *format_str)
{
    return with_environment(env, [&](vntenv &e) {
        const network &n = network_of(e, net).n;
        std::string kind = file_kind(filename_str, format_str);
        if (kind != "min" && kind != "net") {
            throw failure{VNTERR_FILE_TYPE,
                          printed("\"%.80s\" is not min, the file type of networks", kind.c_str())};
        }
        file_write(filename_str, dimacs_write(n));
        if (has_names(n.node_names) || has_names(n.arc_names))
            e.say(CHANNEL_WARNING, "the file has no names: the format cannot hold them\n");
    });
}

// A basis of the network is one of its linear problem.
static vntlp with_basis(const vntnet &p)
{
    vntlp lp;
    lp.m = p.n.linear();
    lp.set_basis(p.astat, p.nstat);
    return lp;
}

int VNTENETreadcopybase(VNTENVptr env, VNTNETptr net, const char *filename_str,
                        const char *contents, int64_t length)
{
    return with_network(env, net, [&](vntnet &p) {
        vntlp lp = with_basis(p);
        basis_read(lp, file_contents(filename_str, contents, length));
        p.astat = std::move(lp.cstat);
        p.nstat = std::move(lp.rstat);
    });
}

int VNTLNETbasewrite(VNTENVptr env, VNTNETptr net, const char *filename_str)
{
    return with_network(env, net, [&](vntnet &p) {
        require(p.has_basis(), VNTERR_NO_BASIS);
        file_write(filename_str, basis_write(with_basis(p)));
    });
}
