#include "solver/model/matrix.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace vnt {

int64_t matrix::entries() const
{
    merge();
    return begin.back();
}

void matrix::check(const matrix_lines &lines, int width)
{
    if (lines.lines == 0) return;
    std::vector<int> seen(width, -1); // the line that last had the index
    for (int line = 0; line < lines.lines; line++) {
        int64_t first = lines.first(line), last = lines.last(line);
        require(first >= 0 && first <= last && (lines.entries < 0 || last <= lines.entries),
                VNTERR_BAD_ARGUMENT);
        require_there(lines.index, first < last);
        require_there(lines.value, first < last);
        for (int64_t k = first; k < last; k++) {
            int i = lines.index[k];
            require(i >= 0 && i < width, VNTERR_INDEX_RANGE);
            require(number_isfinite(lines.value[k]), VNTERR_BAD_NUMBER);
            require(seen[i] != line, VNTERR_DUPLICATE_ENTRY);
            seen[i] = line;
        }
    }
}

void matrix::grow(int rows, int cols)
{
    begin.resize(begin.size() + cols, begin.back());
    row_begin.clear();
    numrows += rows;
    numcols += cols;
}

void matrix::append_sorted_col(const matrix_lines &lines, int line)
{
    size_t start = index.size();
    bool sorted = true;
    for (int64_t k = lines.first(line); k < lines.last(line); k++) {
        if (lines.value[k] == 0) continue;
        sorted = sorted && (index.size() == start || index.back() < lines.index[k]);
        index.push_back(lines.index[k]);
        value.push_back(lines.value[k]);
    }
    if (sorted) return;
    size_t count = index.size() - start;
    for (size_t k = 0; k < count; k++)
        sorting[k] = {index[start + k], value[start + k]};
    std::sort(sorting.begin(), sorting.begin() + static_cast<int64_t>(count));
    for (size_t k = 0; k < count; k++) {
        index[start + k] = sorting[k].first;
        value[start + k] = sorting[k].second;
    }
}

static size_t longest(const matrix_lines &lines)
{
    int64_t most = 0;
    for (int line = 0; line < lines.lines; line++) {
        most = std::max(most, lines.last(line) - lines.first(line));
    }
    return static_cast<size_t>(most);
}

void matrix::append_cols(const matrix_lines &lines)
{
    int64_t more = 0;
    for (int line = 0; line < lines.lines; line++)
        more += lines.last(line) - lines.first(line);
    make_room(begin, lines.lines);
    make_room(index, more);
    make_room(value, more);
    sorting.resize(longest(lines));
    row_begin.clear();
    for (int line = 0; line < lines.lines; line++) {
        append_sorted_col(lines, line);
        begin.push_back(static_cast<int64_t>(index.size()));
        numcols++;
    }
}

void matrix::append_rows(const matrix_lines &lines)
{
    int64_t more = 0;
    for (int line = 0; line < lines.lines; line++)
        more += lines.last(line) - lines.first(line);
    make_room(waiting, more);
    row_begin.clear();
    for (int line = 0; line < lines.lines; line++, numrows++) {
        for (int64_t k = lines.first(line); k < lines.last(line); k++) {
            waiting.push_back({numrows, lines.index[k], lines.value[k]});
        }
    }
}

double *matrix::find(int row, int col) const
{
    auto from = index.begin() + begin[col], to = index.begin() + begin[col + 1];
    auto found = std::lower_bound(from, to, row);
    return found != to && *found == row ? &value[found - index.begin()] : nullptr;
}

void matrix::set(int row, int col, double newvalue)
{
    double *there = waiting.empty() ? find(row, col) : nullptr;
    if (there != nullptr && newvalue != 0) {
        *there = newvalue;
    } else {
        waiting.push_back({row, col, newvalue});
    }
    row_begin.clear();
}

double matrix::get(int row, int col) const
{
    merge();
    const double *there = find(row, col);
    return there != nullptr ? *there : 0;
}

// Merges the waiting entries: sorts them, the last of equal places first, and merges them column by
// column.
void matrix::merge() const
{
    if (waiting.empty()) return;
    std::vector<int64_t> new_begin;
    std::vector<int> new_index;
    std::vector<double> newvalue;
    new_begin.reserve(numcols + 1);
    new_index.reserve(index.size() + waiting.size());
    newvalue.reserve(index.size() + waiting.size());
    // From here on nothing fails: a list turned around twice would have the wrong one last.
    new_begin.push_back(0);
    std::reverse(waiting.begin(), waiting.end());
    std::stable_sort(waiting.begin(), waiting.end(), [](const entry &a, const entry &b) {
        return a.col != b.col ? a.col < b.col : a.row < b.row;
    });
    auto put = [&](int row, double v) {
        if (v == 0) return;
        new_index.push_back(row);
        newvalue.push_back(v);
    };
    size_t w = 0;
    for (int col = 0; col < numcols; col++) {
        int64_t k = begin[col];
        while (w < waiting.size() && waiting[w].col == col) {
            int row = waiting[w].row;
            for (; k < begin[col + 1] && index[k] < row; k++)
                put(index[k], value[k]);
            if (k < begin[col + 1] && index[k] == row) k++; // replaced
            put(row, waiting[w].value);
            while (w < waiting.size() && waiting[w].col == col && waiting[w].row == row)
                w++;
        }
        for (; k < begin[col + 1]; k++)
            put(index[k], value[k]);
        new_begin.push_back(static_cast<int64_t>(new_index.size()));
    }
    begin.swap(new_begin);
    index.swap(new_index);
    value.swap(newvalue);
    waiting.clear();
}

bool matrix::drop(double eps)
{
    merge();
    for (int col = 0; col < numcols; col++) {
        for (int64_t k = begin[col]; k < begin[col + 1]; k++) {
            if (std::fabs(value[k]) <= eps) waiting.push_back({index[k], col, 0});
        }
    }
    if (waiting.empty()) return false;
    row_begin.clear();
    return true;
}

void matrix::keep_rows(const std::vector<int> &place, int left)
{
    merge();
    int64_t to = 0, from = 0;
    for (int col = 0; col < numcols; col++) {
        for (int64_t end = begin[col + 1]; from < end; from++) {
            if (place[index[from]] < 0) continue;
            index[to] = place[index[from]];
            value[to++] = value[from];
        }
        begin[col + 1] = to;
    }
    index.resize(to);
    value.resize(to);
    row_begin.clear();
    numrows = left;
}

void matrix::keep_cols(const std::vector<int> &place, int left)
{
    merge();
    int64_t to = 0, from = 0;
    for (int col = 0; col < numcols; col++) {
        int64_t end = begin[col + 1];
        if (place[col] < 0) {
            from = end;
            continue;
        }
        while (from < end) {
            index[to] = index[from];
            value[to++] = value[from++];
        }
        begin[place[col] + 1] = to;
    }
    begin.resize(left + 1);
    index.resize(to);
    value.resize(to);
    row_begin.clear();
    numcols = left;
}

matrix_view matrix::by_column() const
{
    merge();
    return {begin.data(), index.data(), value.data()};
}

matrix_view matrix::by_row() const
{
    merge();
    if (row_begin.empty()) {
        std::vector<int64_t> next(numrows + 1, 0);
        for (int row : index)
            next[row + 1]++;
        std::partial_sum(next.begin(), next.end(), next.begin());
        row_index.resize(index.size());
        row_value.resize(index.size());
        row_begin = next;
        for (int col = 0; col < numcols; col++) {
            for (int64_t k = begin[col]; k < begin[col + 1]; k++) {
                int64_t at = next[index[k]]++;
                row_index[at] = col;
                row_value[at] = value[k];
            }
        }
    }
    return {row_begin.data(), row_index.data(), row_value.data()};
}

} // namespace vnt
