// Special ordered sets and indicator constraints.

#include "solver/calls/calls.h"
#include "solver/model/infeasibility.h"

using namespace vnt;

// What makes a continuous problem a mixed-integer one.
static void structured(vntlp &p)
{
    p.changed();
    p.m.make_discrete();
}

static int64_t sized(int64_t count)
{
    require(count >= 0, VNTERR_BAD_ARGUMENT);
    return count;
}

// Places within a list that is asked for piece by piece, one after the other.
template <class type> static void put_at(type *where, int64_t at, const std::vector<type> &values)
{
    if (where != nullptr) std::copy(values.begin(), values.end(), where + at);
}

// Special ordered sets.

static std::vector<special_set> sets_of(const model &m, int numsos, int64_t numsosnz,
                                        const char *sostype, const int64_t *sosbeg,
                                        const int *sosind, const double *soswt,
                                        const char *const *sosname)
{
    sized(numsos);
    require_there(sostype, numsos > 0);
    require_there(sosbeg, numsos > 0);
    std::vector<double> made(soswt == nullptr ? sized(numsosnz) : 0);
    for (size_t k = 0; k < made.size(); k++)
        made[k] = static_cast<double>(k + 1);
    matrix_lines lines = {numsos,  sized(numsosnz), sosbeg,
                          nullptr, sosind,          soswt != nullptr ? soswt : made.data()};
    matrix::check(lines, m.numcols());
    std::vector<special_set> sets;
    for (int k = 0; k < numsos; k++) {
        require(sostype[k] == '1' || sostype[k] == '2', VNTERR_BAD_ARGUMENT);
        special_set s = {"s" + std::to_string(m.sets.size() + k + 1), sostype[k], {}, {}};
        if (sosname != nullptr && sosname[k] != nullptr) s.name = sosname[k];
        s.index.assign(lines.index + lines.first(k), lines.index + lines.last(k));
        s.weight.assign(lines.value + lines.first(k), lines.value + lines.last(k));
        sets.push_back(std::move(s));
    }
    return sets;
}

int VNTLaddsos(VNTENVptr env, VNTLPptr lp, int numsos, int64_t numsosnz, const char *sostype,
               const int64_t *sosbeg, const int *sosind, const double *soswt,
               const char *const *sosname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        auto sets = sets_of(p.m, numsos, numsosnz, sostype, sosbeg, sosind, soswt, sosname);
        for (special_set &s : sets)
            p.m.sets.push_back(std::move(s));
        structured(p);
    });
}

// In place of those that are there.
int VNTLcopysos(VNTENVptr env, VNTLPptr lp, int numsos, int64_t numsosnz, const char *sostype,
                const int64_t *sosbeg, const int *sosind, const double *soswt,
                const char *const *sosname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        model none;
        none.a.grow(0, p.m.numcols());
        p.m.sets = sets_of(none, numsos, numsosnz, sostype, sosbeg, sosind, soswt, sosname);
        p.notes.keep(VNT_ANNOTATION_SET, {});
        structured(p);
    });
}

int VNTLgetnumsos(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return static_cast<int>(p.m.sets.size()); });
}

int VNTLgetsos(VNTENVptr env, VNTLPptr lp, int64_t *numsosnz_p, char *sostype, int64_t *sosbeg,
               int *sosind, double *soswt, int64_t sosspace, int64_t *surplus_p, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        int count = range_count(begin, end, static_cast<int>(p.m.sets.size()));
        int64_t wanted = 0;
        for (int k = 0; k < count; k++)
            wanted += static_cast<int64_t>(p.m.sets[begin + k].index.size());
        put(numsosnz_p, std::min(wanted, std::max<int64_t>(sosspace, 0)));
        require_space(wanted, sosspace, surplus_p);
        int64_t at = 0;
        for (int k = 0; k < count; k++) {
            const special_set &s = p.m.sets[begin + k];
            if (sostype != nullptr) sostype[k] = s.type;
            if (sosbeg != nullptr) sosbeg[k] = at;
            put_at(sosind, at, s.index);
            put_at(soswt, at, s.weight);
            at += static_cast<int64_t>(s.index.size());
        }
    });
}

int VNTLgetsosname(VNTENVptr env, VNTLPptr lp, char **name, char *namestore, int64_t storespace,
                   int64_t *surplus_p, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_names([&](int k) { return p.m.sets[k].name; }, static_cast<int>(p.m.sets.size()), name,
                  namestore, storespace, surplus_p, begin, end);
    });
}

int VNTLgetsosindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put_place(p.m.sets, lname_str, index_p); });
}

int VNTLEchgsosname(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices,
                    const char *const *newname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_indices(cnt, indices, static_cast<int>(p.m.sets.size()));
        require_there(newname, cnt > 0);
        for (int k = 0; k < cnt; k++)
            require_there(newname[k]);
        for (int k = 0; k < cnt; k++)
            p.m.sets[indices[k]].name = newname[k];
    });
}

int VNTLdelsos(VNTENVptr env, VNTLPptr lp, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        int sets = static_cast<int>(p.m.sets.size());
        p.notes.keep(VNT_ANNOTATION_SET, places_without(begin, end, sets));
        erase_range(p.m.sets, begin, end);
        p.changed();
    });
}

int VNTLdelsetsos(VNTENVptr env, VNTLPptr lp, int *delset)
{
    return with_problem(env, lp, [&](vntlp &p) {
        size_t sets = p.m.sets.size();
        erase_marked(p.m.sets, delset);
        p.notes.keep(VNT_ANNOTATION_SET, {delset, delset + sets});
        p.changed();
    });
}

int VNTLgetsosinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout, int begin,
                     int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_range(set_infeasibilities(p.m, point_of(p, x)), infeasout, begin, end);
    });
}

// Indicator constraints.

static void check_indicator(const model &m, int type, int column, char sense, double rhs)
{
    require(type == INDICATOR_IF, VNTERR_NOT_SUPPORTED);
    require(column >= 0 && column < m.numcols(), VNTERR_INDEX_RANGE);
    require(sense == 'L' || sense == 'G' || sense == 'E', VNTERR_BAD_SENSE);
    model_finite(rhs);
}

static indicator indicator_of(const matrix_lines &lines, int k, std::string name)
{
    indicator c = {};
    c.name = std::move(name);
    c.type = INDICATOR_IF;
    c.index.assign(lines.index + lines.first(k), lines.index + lines.last(k));
    c.value.assign(lines.value + lines.first(k), lines.value + lines.last(k));
    return c;
}

static std::string indicator_name(const model &m, const char *name)
{
    return name != nullptr ? name : "i" + std::to_string(m.indicators.size() + 1);
}

static void append_indicators(vntlp &p, const matrix_lines &lines, const int *type,
                              const int *indvar, const int *complemented, const double *rhs,
                              const char *sense, const char *const *names)
{
    require_there(indvar, lines.lines > 0);
    matrix::check(lines, p.m.numcols());
    auto kind = [&](int k) { return type != nullptr ? type[k] : INDICATOR_IF; };
    auto side = [&](int k) { return rhs != nullptr ? rhs[k] : 0; };
    auto relation = [&](int k) { return sense != nullptr ? sense[k] : 'E'; };
    for (int k = 0; k < lines.lines; k++) {
        check_indicator(p.m, kind(k), indvar[k], relation(k), side(k));
    }
    for (int k = 0; k < lines.lines; k++) {
        indicator c =
            indicator_of(lines, k, indicator_name(p.m, names != nullptr ? names[k] : nullptr));
        c.column = indvar[k];
        c.complemented = complemented != nullptr && complemented[k] != 0;
        c.sense = relation(k);
        c.rhs = side(k);
        p.m.indicators.push_back(std::move(c));
    }
    structured(p);
}

int VNTLaddindconstr(VNTENVptr env, VNTLPptr lp, int indvar, int complemented, int nzcnt,
                     double rhs, int sense, const int *linind, const double *linval,
                     const char *indname_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        int64_t begin = 0;
        char relation = static_cast<char>(sense);
        append_indicators(p, {1, sized(nzcnt), &begin, nullptr, linind, linval}, nullptr, &indvar,
                          &complemented, &rhs, &relation, &indname_str);
    });
}

int VNTLaddindconstraints(VNTENVptr env, VNTLPptr lp, int indcnt, const int *type,
                          const int *indvar, const int *complemented, int64_t nzcnt,
                          const double *rhs, const char *sense, const int64_t *linbeg,
                          const int *linind, const double *linval, const char *const *indname)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require_there(linbeg, sized(indcnt) > 0);
        append_indicators(p, {indcnt, sized(nzcnt), linbeg, nullptr, linind, linval}, type, indvar,
                          complemented, rhs, sense, indname);
    });
}

int VNTLgetnumindconstrs(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return static_cast<int>(p.m.indicators.size()); });
}

static const indicator &indicator_at(const vntlp &p, int which)
{
    require(which >= 0 && which < static_cast<int>(p.m.indicators.size()), VNTERR_INDEX_RANGE);
    return p.m.indicators[which];
}

int VNTLgetindconstr(VNTENVptr env, VNTLPptr lp, int *indvar_p, int *complemented_p, int *nzcnt_p,
                     double *rhs_p, char *sense_p, int *linind, double *linval, int space,
                     int *surplus_p, int which)
{
    return with_problem(env, lp, [&](vntlp &p) {
        const indicator &c = indicator_at(p, which);
        put(indvar_p, c.column);
        put(complemented_p, static_cast<int>(c.complemented));
        put(rhs_p, c.rhs);
        put(sense_p, c.sense);
        int wanted = static_cast<int>(c.index.size());
        put(nzcnt_p, std::min(wanted, std::max(space, 0)));
        require_space(wanted, space, surplus_p);
        put_at(linind, 0, c.index);
        put_at(linval, 0, c.value);
    });
}

int VNTLgetindconstraints(VNTENVptr env, VNTLPptr lp, int *type, int *indvar, int *complemented,
                          int64_t *nzcnt_p, double *rhs, char *sense, int64_t *linbeg, int *linind,
                          double *linval, int64_t linspace, int64_t *surplus_p, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        int count = range_count(begin, end, static_cast<int>(p.m.indicators.size()));
        int64_t wanted = 0;
        for (int k = 0; k < count; k++) {
            const indicator &c = p.m.indicators[begin + k];
            if (type != nullptr) type[k] = c.type;
            if (indvar != nullptr) indvar[k] = c.column;
            if (complemented != nullptr) complemented[k] = c.complemented;
            if (rhs != nullptr) rhs[k] = c.rhs;
            if (sense != nullptr) sense[k] = c.sense;
            if (linbeg != nullptr) linbeg[k] = wanted;
            wanted += static_cast<int64_t>(c.index.size());
        }
        put(nzcnt_p, std::min(wanted, std::max<int64_t>(linspace, 0)));
        require_space(wanted, linspace, surplus_p);
        int64_t at = 0;
        for (int k = 0; k < count; k++) {
            const indicator &c = p.m.indicators[begin + k];
            put_at(linind, at, c.index);
            put_at(linval, at, c.value);
            at += static_cast<int64_t>(c.index.size());
        }
    });
}

int VNTLgetindconstrindex(VNTENVptr env, VNTLPptr lp, const char *lname_str, int *index_p)
{
    return with_problem(env, lp, [&](vntlp &p) { put_place(p.m.indicators, lname_str, index_p); });
}

int VNTLgetindconstrname(VNTENVptr env, VNTLPptr lp, char *buf_str, int64_t bufspace,
                         int64_t *surplus_p, int which)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_text(indicator_at(p, which).name, buf_str, bufspace, surplus_p);
    });
}

int VNTLdelindconstrs(VNTENVptr env, VNTLPptr lp, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        int indicators = static_cast<int>(p.m.indicators.size());
        p.notes.keep(VNT_ANNOTATION_INDICATOR, places_without(begin, end, indicators));
        erase_range(p.m.indicators, begin, end);
        p.changed();
    });
}

static std::vector<double> indicator_slacks(const model &m, const double *x)
{
    std::vector<double> slack;
    for (const indicator &c : m.indicators)
        slack.push_back(m.indicator_slack(c, x));
    return slack;
}

int VNTLgetindconstrslack(VNTENVptr env, VNTLPptr lp, double *indslack, int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_range(indicator_slacks(p.m, point_of(p, nullptr)), indslack, begin, end);
    });
}

int VNTLindconstrslackfromx(VNTENVptr env, VNTLPptr lp, const double *x, double *indslack)
{
    return with_problem(env, lp, [&](vntlp &p) {
        std::vector<double> slack = indicator_slacks(p.m, point_of(p, x));
        put_range(slack, indslack, 0, static_cast<int>(slack.size()) - 1);
    });
}

int VNTLgetindconstrinfeas(VNTENVptr env, VNTLPptr lp, const double *x, double *infeasout,
                           int begin, int end)
{
    return with_problem(env, lp, [&](vntlp &p) {
        put_range(indicator_infeasibilities(p.m, point_of(p, x)), infeasout, begin, end);
    });
}
