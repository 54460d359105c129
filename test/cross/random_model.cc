#include "test/cross/random_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>

namespace vnt {

namespace {

constexpr double infinite = VNT_INFINITY;

class maker {
  public:
    explicit maker(unsigned seed) : random(seed) {}
    random_model make(int kind);

  private:
    int number(int low, int high)
    {
        return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
    }
    bool chance(int percent) { return number(1, 100) <= percent; }

    // Small whole numbers in half of the models, four decimals in the others.
    double coefficient(int most)
    {
        double v = number(-most, most);
        return decimals ? v + number(-9999, 9999) * 1e-4 : v;
    }
    void add(double cost, double lower, double upper, char type)
    {
        m.columns.push_back({cost, lower, upper, type});
    }
    void anycolumn(char type);
    void anycolumns(int most, const char *types);
    std::vector<double> anypoint();
    void anyrow(const std::vector<double> &around, int percent);
    void anyrows(int most);
    void bindrow(random_row row, const std::vector<double> &around, bool close);
    void general(int cols, int rows, const char *types);
    void knapsack();
    void partitioning();
    void fixedcharge();
    void equations();
    void freeintegers();
    void semicontinuous();
    void sets();
    void indicators();

    std::mt19937 random;
    random_model m;
    bool decimals = false;
};

void maker::anycolumn(char type)
{
    double cost = chance(20) ? 0 : coefficient(9), lower = number(-6, 4);
    double upper = lower + number(0, 12);
    if (type == 'B') return add(cost, 0, 1, type);
    if (chance(25)) lower = 0;
    if (upper < lower || chance(30)) upper = infinite;
    if (chance(10)) lower = -infinite;
    add(cost, lower, upper, type);
}

void maker::anycolumns(int most, const char *types)
{
    int count = number(1, most), kinds = static_cast<int>(std::string(types).size());
    for (int j = 0; j < count; j++)
        anycolumn(types[number(0, kinds - 1)]);
}

// A point within the bounds of the columns.
std::vector<double> maker::anypoint()
{
    std::vector<double> x;
    for (const random_column &c : m.columns) {
        double low = c.lower <= -infinite ? std::min(c.upper, 5.0) - 9 : c.lower;
        double high = c.upper >= infinite ? low + 9 : c.upper;
        double v = low + number(0, static_cast<int>(high - low));
        if (c.type == 'C' && v + 0.5 <= high && chance(50)) v += 0.5;
        x.push_back(v);
    }
    return x;
}

// Gives the row bounds that hold at the point, with room or without.
void maker::bindrow(random_row row, const std::vector<double> &around, bool close)
{
    double at = activity_of(row, around), room = close ? 0 : number(0, 8);
    int kind = number(0, 9);
    row.lower = kind >= 4 ? at - room : -infinite;
    row.upper = kind < 4 ? at + room : kind < 7 ? infinite : at + number(0, 3);
    if (kind == 9) row.upper = row.lower = at;
    m.rows.push_back(row);
}

void maker::anyrow(const std::vector<double> &around, int percent)
{
    random_row row;
    for (int j = 0; j < static_cast<int>(m.columns.size()); j++) {
        double v = chance(percent) ? coefficient(9) : 0;
        if (v == 0) continue;
        row.index.push_back(j);
        row.value.push_back(v);
    }
    bindrow(std::move(row), around, chance(30));
}

// Most models are made around a point; the others get sides at random, and often have none.
void maker::anyrows(int most)
{
    m.known = anypoint();
    int count = number(0, most), percent = number(20, 90);
    for (int i = 0; i < count; i++)
        anyrow(m.known, percent);
    if (chance(80)) return;
    m.known.clear();
    for (random_row &r : m.rows) {
        double by = number(-15, 15);
        if (r.lower > -infinite) r.lower += by;
        if (r.upper < infinite) r.upper += by;
    }
}

void maker::general(int cols, int rows, const char *types)
{
    anycolumns(cols, types);
    anyrows(rows);
}

void maker::knapsack()
{
    int cols = number(8, 30), rows = number(3, 18);
    for (int j = 0; j < cols; j++) {
        int kind = number(0, 9);
        double cost = -number(1, 60);
        if (kind < 8) add(cost, 0, 1, 'B');
        if (kind == 8) add(cost, 0, number(1, 4), 'I');
        if (kind == 9) add(cost, 0, number(1, 3), 'C');
    }
    for (int i = 0; i < rows; i++) {
        random_row row = {-infinite, 0, {}, {}};
        double sum = 0;
        for (int j = 0; j < cols; j++) {
            if (!chance(60)) continue;
            row.index.push_back(j);
            row.value.push_back(number(1, 60));
            sum += row.value.back();
        }
        row.upper = std::floor(sum * number(20, 60) / 100);
        m.rows.push_back(row);
    }
    m.known.assign(cols, 0);
}

void maker::partitioning()
{
    int rows = number(4, 10), cols = number(rows, 4 * rows);
    m.rows.assign(rows, {1, 1, {}, {}});
    m.known.assign(cols + rows, 0);
    for (int j = 0; j < cols + rows; j++) {
        int size = j < rows ? 1 : number(2, 4);
        add(number(1, 9) * size + (j < rows ? 6 : 0), 0, 1, 'B');
        if (j < rows) m.known[j] = 1;
        for (int k = 0; k < size; k++) {
            random_row &r = m.rows[j < rows ? j : number(0, rows - 1)];
            if (!r.index.empty() && r.index.back() == j) continue;
            r.index.push_back(j);
            r.value.push_back(1);
        }
    }
    if (chance(30))
        for (random_row &r : m.rows)
            (chance(50) ? r.lower : r.upper) = chance(50) ? 1 : r.lower;
}

// Lots of several products over some periods: stock balance, setups with a big M, a capacity.
void maker::fixedcharge()
{
    int periods = number(2, 9), products = number(1, 3), each = 3 * periods;
    for (int p = 0; p < products; p++) {
        double hold = number(1, 3), make = number(0, 4), setup = number(10, 60);
        for (int t = 0; t < periods; t++) {
            int at = p * each + 3 * t;
            add(make, 0, infinite, 'C'); // made
            add(hold, 0, infinite, 'C'); // in stock
            add(setup, 0, 1, 'B');
            double demand = number(0, 20);
            random_row balance = {demand, demand, {at, at + 1}, {1, -1}};
            if (t > 0) {
                balance.index.insert(balance.index.begin(), at - 2);
                balance.value.insert(balance.value.begin(), 1);
            }
            m.rows.push_back(balance);
            m.rows.push_back(
                {-infinite, 0, {at, at + 2}, {1, -static_cast<double>(number(60, 150))}});
        }
    }
    for (int t = 0; t < periods && chance(80); t++) {
        random_row capacity = {-infinite, static_cast<double>(number(15, 30) * products), {}, {}};
        for (int p = 0; p < products; p++) {
            capacity.index.insert(capacity.index.end(), {p * each + 3 * t, p * each + 3 * t + 2});
            capacity.value.insert(capacity.value.end(), {1, static_cast<double>(number(0, 5))});
        }
        m.rows.push_back(capacity);
    }
}

void maker::equations()
{
    decimals = false;
    int cols = number(2, 7), rows = number(1, 3);
    for (int j = 0; j < cols; j++)
        add(coefficient(9), 0, number(3, 40), 'I');
    m.known = anypoint();
    for (int i = 0; i < rows; i++) {
        random_row row;
        for (int j = 0; j < cols; j++) {
            row.index.push_back(j);
            row.value.push_back(number(1, 60));
        }
        row.lower = row.upper = activity_of(row, m.known);
        m.rows.push_back(row);
    }
}

void maker::freeintegers()
{
    anycolumns(6, "CIII");
    for (random_column &c : m.columns)
        if (chance(60)) {
            c.lower = -infinite;
            if (chance(60)) c.upper = infinite;
        }
    anyrows(7);
}

void maker::semicontinuous()
{
    anycolumns(6, "CIB");
    for (int k = number(1, 4); k > 0; k--) {
        double low = number(1, 9);
        double high = low + (chance(80) ? number(0, 20) : chance(50) ? 1e8 : infinite);
        add(coefficient(9), low, high, chance(70) ? 'S' : 'N');
    }
    anyrows(6);
}

void maker::sets()
{
    int cols = number(3, 9);
    for (int j = 0; j < cols; j++)
        add(coefficient(9), chance(20) ? -number(1, 4) : 0, number(1, 9), chance(60) ? 'C' : 'I');
    for (int k = number(1, 2); k > 0; k--) {
        random_set s = {chance(50) ? '1' : '2', {}};
        for (int j = 0; j < cols; j++)
            if (chance(70)) s.index.push_back(j);
        if (s.index.size() > 1) m.sets.push_back(s);
    }
    if (chance(20)) m.columns[number(0, cols - 1)].upper = infinite;
    anyrows(5);
    m.known.assign(cols, 0);
}

void maker::indicators()
{
    int binaries = number(1, 3);
    for (int j = 0; j < binaries; j++)
        add(coefficient(9), 0, 1, 'B');
    anycolumns(5, "CCI");
    anyrows(4);
    std::vector<double> around = m.known.empty() ? anypoint() : m.known;
    for (int k = number(1, 3); k > 0; k--) {
        anyrow(around, 60);
        random_row &r = m.rows.back();
        if (r.lower > -infinite && r.upper < infinite) r.upper = r.lower;
        r.binary = number(0, binaries - 1);
        r.complemented = chance(40);
        bool own = std::find(r.index.begin(), r.index.end(), r.binary) != r.index.end();
        if (own && chance(80)) m.rows.pop_back();
    }
    for (random_row &r : m.rows)
        if (r.lower > -infinite && r.lower == r.upper && r.binary >= 0 && chance(50))
            r.upper = infinite;
}

const char *const names[random_kinds] = {"linear",        "mixed",           "knapsack",
                                         "partitioning",  "fixed charge",    "integer equations",
                                         "free integers", "semi-continuous", "sets",
                                         "indicators"};

random_model maker::make(int kind)
{
    decimals = chance(50);
    m.kind = names[kind];
    m.sense = chance(50) ? VNT_MIN : VNT_MAX;
    m.offset = number(-5, 5);
    switch (kind) {
    case 0: chance(20) ? general(30, 20, "C") : general(8, 8, "C"); break;
    case 1: general(10, 8, "CBI"); break;
    case 2: knapsack(); break;
    case 3: partitioning(); break;
    case 4: fixedcharge(); break;
    case 5: equations(); break;
    case 6: freeintegers(); break;
    case 7: semicontinuous(); break;
    case 8: sets(); break;
    default: indicators();
    }
    if (m.sense == VNT_MAX && kind >= 2 && kind <= 4)
        for (random_column &c : m.columns)
            c.cost = -c.cost;
    return m;
}

std::string said(const char *what, size_t which, double by)
{
    char text[100];
    snprintf(text, sizeof text, "%s %zu by %g", what, which, by);
    return text;
}

double beyond(double v, double lower, double upper)
{
    double below = lower <= -infinite ? 0 : lower - v, above = upper >= infinite ? 0 : v - upper;
    return std::isfinite(v) ? std::max({0.0, below, above}) : infinite;
}

std::string column_fault(const random_column &c, size_t j, double v, double tolerance)
{
    bool semi = c.type == 'S' || c.type == 'N', whole = c.type != 'C' && c.type != 'S';
    if (semi && std::fabs(v) <= tolerance) return {};
    double by = beyond(v, c.lower, c.upper), scale = std::max(1.0, std::fabs(v));
    if (by > tolerance * scale) return said("bound of column", j, by);
    double fraction = std::fabs(v - std::round(v));
    return whole && fraction > 10 * tolerance ? said("fraction of column", j, fraction) : "";
}

std::string row_fault(const random_row &r, size_t i, const std::vector<double> &x, double tolerance)
{
    if (r.binary >= 0 && (x[r.binary] > 0.5) == r.complemented) return {};
    double scale = 1;
    for (size_t k = 0; k < r.index.size(); k++)
        scale = std::max(scale, std::fabs(r.value[k] * x[r.index[k]]));
    double by = beyond(activity_of(r, x), r.lower, r.upper);
    return by > tolerance * scale ? said("row", i, by) : "";
}

std::string set_fault(const random_set &s, size_t i, const std::vector<double> &x, double tolerance)
{
    int first = -1, last = -1, width = s.type - '0';
    for (int k = 0; k < static_cast<int>(s.index.size()); k++) {
        if (std::fabs(x[s.index[k]]) <= tolerance) continue;
        if (first < 0) first = k;
        last = k;
    }
    return first >= 0 && last - first >= width ? said("set", i, last - first) : "";
}

} // namespace

bool random_model::discrete() const
{
    return !sets.empty() ||
           std::any_of(rows.begin(), rows.end(), [](const auto &r) { return r.binary >= 0; }) ||
           std::any_of(columns.begin(), columns.end(), [](const auto &c) { return c.type != 'C'; });
}

random_model random_model_make(unsigned seed)
{
    return maker(seed).make(static_cast<int>(seed % random_kinds));
}

const char *random_kind_name(int kind)
{
    return names[kind];
}

double objective_of(const random_model &m, const std::vector<double> &x)
{
    double sum = m.offset;
    for (size_t j = 0; j < x.size(); j++)
        sum += m.columns[j].cost * x[j];
    return sum;
}

double activity_of(const random_row &r, const std::vector<double> &x)
{
    double sum = 0;
    for (size_t k = 0; k < r.index.size(); k++)
        sum += r.value[k] * x[r.index[k]];
    return sum;
}

std::string point_fault(const random_model &m, const std::vector<double> &x, double tolerance)
{
    std::string fault;
    for (size_t j = 0; j < x.size() && fault.empty(); j++)
        fault = column_fault(m.columns[j], j, x[j], tolerance);
    for (size_t i = 0; i < m.rows.size() && fault.empty(); i++)
        fault = row_fault(m.rows[i], i, x, tolerance);
    for (size_t i = 0; i < m.sets.size() && fault.empty(); i++)
        fault = set_fault(m.sets[i], i, x, tolerance);
    return fault;
}

} // namespace vnt
