#include "solver/formats/annotationfile.h"

#include "solver/formats/listfile.h"

namespace vnt {

static constexpr const char *title = "annotations of";
static constexpr const char *kinds[annotated_kinds] = {"objective", "column", "row", "set",
                                                       "indicator"}; // VNT_ANNOTATION_*

static std::string text_of(int64_t value)
{
    return std::to_string(value);
}
static std::string text_of(double value)
{
    return number_text(value);
}

static std::string name_of(const model &m, int kind, int i)
{
    switch (kind) {
    case VNT_ANNOTATION_COLUMN: return " " + listed_name(m.col_names, i);
    case VNT_ANNOTATION_ROW: return " " + listed_name(m.row_names, i);
    case VNT_ANNOTATION_SET: return " " + m.sets[i].name;
    case VNT_ANNOTATION_INDICATOR: return " " + m.indicators[i].name;
    default: return "";
    }
}

template <class number>
static void append(const model &m, const char *type, const annotation<number> &a, std::string *out)
{
    *out += printed("annotation %s ", type) + text_of(a.defval) + " " + one_line(a.name) + "\n";
    for (int kind = 0; kind < annotated_kinds; kind++) {
        for (auto [i, value] : a.values[kind])
            *out += printed("%s ", kinds[kind]) + text_of(value) + name_of(m, kind, i) + "\n";
    }
}

std::string annotations_write(const model &m, const annotations &a)
{
    std::string out = printed("%s ", title) + one_line(m.name) + "\n";
    for (const auto &one : a.longs)
        append(m, "long", one, &out);
    for (const auto &one : a.doubles)
        append(m, "double", one, &out);
    return out + "end\n";
}

static void read_number(list_reader &in, int64_t *value)
{
    *value = in.integer(INT64_MIN, INT64_MAX);
}
static void read_number(list_reader &in, double *value)
{
    *value = in.number();
}

template <class record> static int place_in(list_reader &in, const std::vector<record> &list)
{
    for (size_t k = 0; k < list.size(); k++)
        if (list[k].name == in.rest()) return static_cast<int>(k);
    in.fail("nothing of the kind has this name");
}

static int object_of(list_reader &in, const model &m, int kind)
{
    switch (kind) {
    case VNT_ANNOTATION_COLUMN: return in.place(m.col_names);
    case VNT_ANNOTATION_ROW: return in.place(m.row_names);
    case VNT_ANNOTATION_SET: return place_in(in, m.sets);
    case VNT_ANNOTATION_INDICATOR: return place_in(in, m.indicators);
    default: return 0;
    }
}

// Reads the values that follow; on return the line is that of something else.
template <class number>
static void read_annotation(list_reader &in, const model &m, std::vector<annotation<number>> &list)
{
    annotation<number> a = {};
    read_number(in, &a.defval);
    a.name = one_line(std::string(in.rest()));
    if (a.name.empty()) in.fail("the annotation has no name");
    for (const auto &other : list)
        if (other.name == a.name) in.fail("the annotation stands there twice");
    for (in.need("\"end\"");; in.need("\"end\"")) {
        int kind = 0;
        while (kind < annotated_kinds && !in.begins(kinds[kind]))
            kind++;
        if (kind == annotated_kinds) break;
        number value;
        read_number(in, &value);
        a.set(kind, object_of(in, m, kind), value);
    }
    list.push_back(std::move(a));
}

annotations annotations_read(const std::string &text, const model &m)
{
    annotations all;
    list_reader in(text);
    in.head(title);
    in.need("\"end\"");
    while (!in.begins("end")) {
        if (in.begins("annotation long"))
            read_annotation(in, m, all.longs);
        else if (in.begins("annotation double"))
            read_annotation(in, m, all.doubles);
        else
            in.fail("\"annotation long\", \"annotation double\" or \"end\" should stand here");
    }
    return all;
}

} // namespace vnt
