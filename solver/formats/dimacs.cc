#include "solver/formats/dimacs.h"

#include "solver/formats/files.h"

#include <cmath>

namespace vnt {

class dimacs_reader {
  public:
    explicit dimacs_reader(const std::string &text) : lines(text), size(text.size()) {}
    network read();

  private:
    [[noreturn]] void malformed(const char *what) const
    {
        file_malformed(lines.number(), "%s", what);
    }
    double number(std::string_view word) const;
    int whole(std::string_view word, int most) const;
    void header(const line_words &w);
    void node(const line_words &w);
    void arc(const line_words &w);

    line_reader lines;
    size_t size; // of the file, in bytes
    network n;
    int nodes = -1, arcs = 0;
};

double dimacs_reader::number(std::string_view word) const
{
    double value;
    if (!number_read(word, &value)) malformed("no number where there must be one");
    return value;
}

int dimacs_reader::whole(std::string_view word, int most) const
{
    double value = number(word);
    if (value < 0 || value > most || value != std::floor(value))
        malformed("a number that cannot be");
    return static_cast<int>(value);
}

// Memory for arcs grows as they are read; only the nodes are allocated from the header's count.
// Beyond a million, each must at least have a byte in the file.
void dimacs_reader::header(const line_words &w)
{
    static constexpr int most = 100'000'000, few = 1'000'000;
    if (nodes >= 0) malformed("a second header");
    if (w.size() != 4 || w[1] != "min") malformed("not a minimum-cost flow: p min NODES ARCS");
    nodes = whole(w[2], most);
    arcs = whole(w[3], most);
    if (nodes > few && static_cast<size_t>(nodes) > size)
        malformed("more nodes than a file of this size can have");
    n.append_nodes(nodes, nullptr, nullptr);
}

void dimacs_reader::node(const line_words &w)
{
    if (w.size() != 3) malformed("not a node and its supply");
    int i = whole(w[1], nodes);
    double supply = number(w[2]);
    if (i == 0 || std::fabs(supply) >= VNT_INFINITY) malformed("not a node and its supply");
    n.supply[i - 1] = supply;
}

void dimacs_reader::arc(const line_words &w)
{
    if (w.size() != 6) malformed("not an arc: FROM TO LOWER UPPER COST");
    int from = whole(w[1], nodes) - 1, to = whole(w[2], nodes) - 1;
    double low = number(w[3]), high = number(w[4]), cost = number(w[5]);
    if (from < 0 || to < 0) malformed("nodes are numbered from 1");
    if (std::fabs(cost) >= VNT_INFINITY) malformed("an infinite cost");
    n.append_arcs({1, &from, &to, &low, &high, &cost, nullptr});
}

network dimacs_reader::read()
{
    std::string_view line;
    while (lines.next(&line)) {
        line_words w = words_of(line);
        if (w.empty() || w[0][0] == 'c') continue;
        if (w[0] == "p") {
            header(w);
        } else if (nodes < 0 || (w[0] != "n" && w[0] != "a")) {
            malformed("not a line of a network");
        } else {
            w[0] == "n" ? node(w) : arc(w);
        }
    }
    if (nodes < 0) malformed("the file has no header");
    if (n.numarcs() != arcs) malformed("the file has not as many arcs as its header says");
    return std::move(n);
}

network dimacs_read(const std::string &text)
{
    return dimacs_reader(text).read();
}

std::string dimacs_write(const network &n)
{
    if (n.sense != VNT_MIN) throw failure{VNTERR_FILE_FEATURE, "the format can only minimise"};
    std::string out = "c " + one_line(n.name) + "\n";
    out += printed("p min %d %d\n", n.numnodes(), n.numarcs());
    for (int i = 0; i < n.numnodes(); i++) {
        if (n.supply[i] != 0) out += printed("n %d ", i + 1) + number_text(n.supply[i]) + "\n";
    }
    for (int k = 0; k < n.numarcs(); k++) {
        out += printed("a %d %d ", n.from[k] + 1, n.to[k] + 1) + number_text(n.lower[k]) + " " +
               number_text(n.upper[k]) + " " + number_text(n.cost[k]) + "\n";
    }
    return out;
}

} // namespace vnt
