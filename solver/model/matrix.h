// matrix.h: the coefficients of a problem, for building and for asking by column or by row.
//
// The entries are stored by column, rows ascending, without zeros.  Entries that come in another
// order (added rows, single coefficients) are kept in a list, which the next access merges in, so
// that a model built row by row costs no more than one built at once.  The copy by rows is made
// when it is first needed.
//
// Threads: reading merges, so readers need the environment's lock, too.
//
// Errors: failures, before anything has changed, for indices out of range, numbers that are not
// finite, and the same place twice in one list of rows or columns.

#pragma once

#include "solver/model/failure.h"

#include <algorithm>
#include <vector>

namespace vnt {

// Whether a cost or coefficient is finite, by the measure that bounds have.
inline bool number_isfinite(double value)
{
    return value > -VNT_INFINITY && value < VNT_INFINITY;
}

// Room for more elements, at least doubled, so that many small additions stay cheap.  What is
// then added within that room cannot fail.
template <class list> void make_room(list &values, size_t more)
{
    if (values.capacity() - values.size() < more) {
        values.reserve(std::max(values.size() + more, values.size() * 2));
    }
}

// One direction of the matrix: entries begin[k] to begin[k + 1] belong to line k.
struct matrix_view {
    const int64_t *begin;
    const int *index;
    const double *value;
};

// Costs, one for each of the columns, less y times these.
inline std::vector<double> matrix_reduced_costs(const matrix_view &columns,
                                                std::vector<double> costs, const double *y)
{
    for (size_t j = 0; j < costs.size(); j++) {
        for (int64_t k = columns.begin[j]; k < columns.begin[j + 1]; k++)
            costs[j] -= y[columns.index[k]] * columns.value[k];
    }
    return costs;
}

// Rows or columns to add: line k is entries begin[k] on, count[k] of them, or up to the next
// line's begin where count is null.
struct matrix_lines {
    int lines;
    int64_t entries; // -1 if the lines determine it
    const int64_t *begin;
    const int *count;
    const int *index;
    const double *value;

    int64_t first(int line) const { return begin[line]; }
    int64_t last(int line) const // one past the end
    {
        if (count != nullptr) return begin[line] + count[line];
        return line + 1 < lines ? begin[line + 1] : entries;
    }
};

class matrix {
  public:
    int rows() const { return numrows; }
    int cols() const { return numcols; }
    int64_t entries() const;

    // Fails unless the lines are well formed and lead to indices below `width`.
    static void check(const matrix_lines &lines, int width);

    void grow(int rows, int cols); // empty ones, at the end
    void append_cols(const matrix_lines &lines);
    void append_rows(const matrix_lines &lines);
    void set(int row, int col, double value);
    double get(int row, int col) const;

    // Removes entries of magnitude up to eps; returns whether there were any.
    bool drop(double eps);

    // Element i of `place` is the new index of row or column i, -1 to delete it.
    void keep_rows(const std::vector<int> &place, int left);
    void keep_cols(const std::vector<int> &place, int left);

    matrix_view by_column() const;
    matrix_view by_row() const;

  private:
    struct entry {
        int row, col;
        double value;
    };

    void merge() const;
    double *find(int row, int col) const;
    void append_sorted_col(const matrix_lines &lines, int line);

    int numrows = 0;
    int numcols = 0;
    mutable std::vector<int64_t> begin = {0};
    mutable std::vector<int> index;
    mutable std::vector<double> value;
    std::vector<std::pair<int, double>> sorting; // room for one column
    mutable std::vector<entry> waiting;          // in the order they came; the last one counts
    mutable std::vector<int64_t> row_begin;      // empty while there is no copy by rows
    mutable std::vector<int> row_index;
    mutable std::vector<double> row_value;
};

} // namespace vnt
