#include "solver/engine/convex.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>

namespace vnt {

std::vector<double> engine_multiply(const engine_quadratic &q, int numcols, const double *x)
{
    std::vector<double> product(numcols, 0.0);
    for (int j = 0; j < numcols; j++) {
        for (int64_t k = q.begin[j]; k < q.begin[j + 1]; k++)
            product[q.index[k]] += q.value[k] * x[j];
    }
    return product;
}

// The columns that a column is connected to, itself included; takes them off `open`.
static std::vector<int> connected(const engine_quadratic &q, int start, std::vector<char> *open)
{
    std::vector<int> list = {start};
    (*open)[start] = 0;
    for (size_t at = 0; at < list.size(); at++) {
        for (int64_t k = q.begin[list[at]]; k < q.begin[list[at] + 1]; k++) {
            int i = q.index[k];
            if ((*open)[i]) list.push_back(i);
            (*open)[i] = 0;
        }
    }
    return list;
}

// A Cholesky factorisation that takes the greatest diagonal element first.  It goes through to the
// end of the rank where no direction curves downwards, and otherwise meets one.
class pivoted_cholesky {
  public:
    // `place` has room for the place of each column in the block.
    pivoted_cholesky(const engine_quadratic &q, const std::vector<int> &columns,
                     std::vector<int> *place, int sense);
    // Values for the columns; empty where the block is convex, or the work has to end.
    std::vector<double> downwards(const std::function<bool()> &ended);

  private:
    double &at(size_t i, size_t j) { return a[i * n + j]; }
    void pivot(size_t k);
    bool eliminate(size_t k, const std::function<bool()> &ended);
    std::vector<double> direction(size_t k, size_t i, size_t j);
    std::vector<double> rest(size_t k);

    size_t n;
    std::vector<double> a; // lower triangle: the factor's columns, and what is left to do
    std::vector<size_t> order;
    double tolerance = 0;
};

pivoted_cholesky::pivoted_cholesky(const engine_quadratic &q, const std::vector<int> &columns,
                                   std::vector<int> *place, int sense)
    : n(columns.size()), a(n * n, 0.0), order(n)
{
    std::iota(order.begin(), order.end(), size_t{0});
    for (size_t k = 0; k < n; k++)
        (*place)[columns[k]] = static_cast<int>(k);
    for (size_t j = 0; j < n; j++) {
        for (int64_t k = q.begin[columns[j]]; k < q.begin[columns[j] + 1]; k++) {
            at((*place)[q.index[k]], j) = sense * q.value[k];
            tolerance = std::max(tolerance, std::fabs(q.value[k]));
        }
    }
    tolerance *= 1e-12 * static_cast<double>(n);
}

// Brings the greatest diagonal element to place k.  Both triangles are kept up.
void pivoted_cholesky::pivot(size_t k)
{
    size_t best = k;
    for (size_t i = k; i < n; i++) {
        if (at(i, i) > at(best, best)) best = i;
    }
    if (best == k) return;
    std::swap(order[k], order[best]);
    for (size_t j = 0; j < n; j++)
        std::swap(at(k, j), at(best, j));
    for (size_t i = 0; i < n; i++)
        std::swap(at(i, k), at(i, best));
}

// False where the work has to end.
bool pivoted_cholesky::eliminate(size_t k, const std::function<bool()> &ended)
{
    constexpr size_t between = 1000; // rows; with 10,000 columns that is some milliseconds
    double root = std::sqrt(at(k, k));
    for (size_t i = k; i < n; i++)
        at(i, k) /= root;
    for (size_t i = k + 1; i < n; i++) {
        if (i % between == 0 && ended()) return false;
        if (at(i, k) == 0) continue;
        for (size_t j = k + 1; j < n; j++)
            at(i, j) -= at(i, k) * at(j, k);
    }
    for (size_t j = k + 1; j < n; j++)
        at(k, j) = 0; // the factor is below the diagonal
    return !ended();
}

// The direction in all columns that goes along i, and j where it is another, in the k-th rest: the
// first k values make the best of it, L11' y1 = -L21' y2.
std::vector<double> pivoted_cholesky::direction(size_t k, size_t i, size_t j)
{
    std::vector<double> y(n, 0.0), d(n, 0.0);
    y[i] = 1;
    if (i != j) y[j] = at(i, j) > 0 ? -1 : 1;
    for (size_t c = k; c-- > 0;) {
        double sum = 0;
        for (size_t r = c + 1; r < n; r++)
            sum += at(r, c) * y[r];
        y[c] = -sum / at(c, c);
    }
    for (size_t p = 0; p < n; p++)
        d[order[p]] = y[p];
    return d;
}

// With nothing positive left on its diagonal, the rest must be zero.
std::vector<double> pivoted_cholesky::rest(size_t k)
{
    for (size_t i = k; i < n; i++) {
        if (at(i, i) < -tolerance) return direction(k, i, i);
    }
    for (size_t i = k; i < n; i++) {
        for (size_t j = k; j < i; j++) {
            if (std::fabs(at(i, j)) > 2 * tolerance) return direction(k, i, j);
        }
    }
    return {};
}

std::vector<double> pivoted_cholesky::downwards(const std::function<bool()> &ended)
{
    for (size_t k = 0; k < n; k++) {
        pivot(k);
        if (at(k, k) <= tolerance) return rest(k);
        for (size_t i = k; i < n; i++) {
            if (at(i, i) < -tolerance) return direction(k, i, i);
        }
        if (!eliminate(k, ended)) return {};
    }
    return {};
}

// Whether no diagonal element is less than the others of its column together.
static bool dominant(const engine_quadratic &q, const std::vector<int> &columns, int sense)
{
    return std::all_of(columns.begin(), columns.end(), [&](int j) {
        double margin = 0;
        for (int64_t k = q.begin[j]; k < q.begin[j + 1]; k++)
            margin += q.index[k] == j ? sense * q.value[k] : -std::fabs(q.value[k]);
        return margin >= 0;
    });
}

std::vector<double> engine_nonconvex(const engine_quadratic &q, int numcols, int sense,
                                     const std::function<bool()> &ended)
{
    constexpr size_t most = 10000; // columns of a block; 800 MB
    std::vector<char> open(numcols, 1);
    std::vector<int> place(numcols);
    for (int j = 0; j < numcols; j++) {
        if (!open[j] || q.begin[j] == q.begin[j + 1]) continue;
        std::vector<int> columns = connected(q, j, &open);
        if (dominant(q, columns, sense)) continue;
        if (columns.size() > most) throw std::length_error("columns of a quadratic objective");
        std::vector<double> found = pivoted_cholesky(q, columns, &place, sense).downwards(ended);
        if (found.empty() && ended()) return {};
        if (found.empty()) continue;
        std::vector<double> direction(numcols, 0.0);
        for (size_t k = 0; k < columns.size(); k++)
            direction[columns[k]] = found[k];
        return direction;
    }
    return {};
}

} // namespace vnt
