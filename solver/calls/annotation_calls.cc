// Annotations: the long ones and the double ones, by the same words.

#include "solver/calls/calls.h"
#include "solver/formats/annotationfile.h"
#include "solver/formats/files.h"

#include <cmath>

using namespace vnt;

template <class number> using list = std::vector<annotation<number>>;

// Does `work` with the annotations of the type.
template <class number, class body>
static int with_annotations(VNTENVptr env, VNTLPptr lp, const body &work,
                            const char *call = __builtin_FUNCTION())
{
    return with_problem(
        env, lp, [&](vntlp &p) { work(p.notes.of<number>(), p); }, call);
}

// Does `work` with the annotation at the index.
template <class number, class body>
static int with_annotation(VNTENVptr env, VNTLPptr lp, int idx, const body &work,
                           const char *call = __builtin_FUNCTION())
{
    return with_annotations<number>(
        env, lp,
        [&](list<number> &all, vntlp &p) {
            require(idx >= 0 && idx < static_cast<int>(all.size()), VNTERR_INDEX_RANGE);
            work(all[idx], p);
        },
        call);
}

static void require_finite(double value)
{
    require(std::isfinite(value), VNTERR_BAD_NUMBER);
}

template <class number> static void add(list<number> &all, const char *name, number defval)
{
    require_there(name);
    require(!one_line(name).empty(), VNTERR_BAD_ARGUMENT); // a file could not hold it
    require_finite(static_cast<double>(defval));
    for (const annotation<number> &a : all)
        require(a.name != name, VNTERR_DUPLICATE_ENTRY);
    annotation<number> fresh;
    fresh.name = name;
    fresh.defval = defval;
    all.push_back(std::move(fresh));
}

int VNTLnewlongannotation(VNTENVptr env, VNTLPptr lp, const char *annotationname_str,
                          int64_t defval)
{
    return with_annotations<int64_t>(
        env, lp, [&](auto &all, vntlp &) { add(all, annotationname_str, defval); });
}

int VNTLnewdblannotation(VNTENVptr env, VNTLPptr lp, const char *annotationname_str, double defval)
{
    return with_annotations<double>(
        env, lp, [&](auto &all, vntlp &) { add(all, annotationname_str, defval); });
}

int VNTLdellongannotations(VNTENVptr env, VNTLPptr lp, int begin, int end)
{
    return with_annotations<int64_t>(env, lp,
                                     [&](auto &all, vntlp &) { erase_range(all, begin, end); });
}

int VNTLdeldblannotations(VNTENVptr env, VNTLPptr lp, int begin, int end)
{
    return with_annotations<double>(env, lp,
                                    [&](auto &all, vntlp &) { erase_range(all, begin, end); });
}

int VNTLdellongannotation(VNTENVptr env, VNTLPptr lp, int idx)
{
    return VNTLdellongannotations(env, lp, idx, idx);
}

int VNTLdeldblannotation(VNTENVptr env, VNTLPptr lp, int idx)
{
    return VNTLdeldblannotations(env, lp, idx, idx);
}

int VNTLgetnumlongannotations(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return static_cast<int>(p.notes.longs.size()); });
}

int VNTLgetnumdblannotations(VNTENVptr env, VNTLPptr lp)
{
    return count_of(env, lp, [](vntlp &p) { return static_cast<int>(p.notes.doubles.size()); });
}

int VNTLgetlongannotationindex(VNTENVptr env, VNTLPptr lp, const char *annotationname_str,
                               int *index_p)
{
    return with_annotations<int64_t>(
        env, lp, [&](auto &all, vntlp &) { put_place(all, annotationname_str, index_p); });
}

int VNTLgetdblannotationindex(VNTENVptr env, VNTLPptr lp, const char *annotationname_str,
                              int *index_p)
{
    return with_annotations<double>(
        env, lp, [&](auto &all, vntlp &) { put_place(all, annotationname_str, index_p); });
}

int VNTLgetlongannotationname(VNTENVptr env, VNTLPptr lp, int idx, char *buf_str, int64_t bufspace,
                              int64_t *surplus_p)
{
    return with_annotation<int64_t>(
        env, lp, idx, [&](auto &a, vntlp &) { put_text(a.name, buf_str, bufspace, surplus_p); });
}

int VNTLgetdblannotationname(VNTENVptr env, VNTLPptr lp, int idx, char *buf_str, int64_t bufspace,
                             int64_t *surplus_p)
{
    return with_annotation<double>(
        env, lp, idx, [&](auto &a, vntlp &) { put_text(a.name, buf_str, bufspace, surplus_p); });
}

int VNTLgetlongannotationdefval(VNTENVptr env, VNTLPptr lp, int idx, int64_t *defval_p)
{
    return with_annotation<int64_t>(env, lp, idx,
                                    [&](auto &a, vntlp &) { put(defval_p, a.defval); });
}

int VNTLgetdblannotationdefval(VNTENVptr env, VNTLPptr lp, int idx, double *defval_p)
{
    return with_annotation<double>(env, lp, idx,
                                   [&](auto &a, vntlp &) { put(defval_p, a.defval); });
}

template <class number> static void set_values(annotation<number> &a, const vntlp &p, int kind,
                                               int cnt, const int *indices, const number *values)
{
    require_indices(cnt, indices, annotated_count(p.m, kind));
    require_there(values, cnt > 0);
    for (int k = 0; k < cnt; k++)
        require_finite(static_cast<double>(values[k]));
    for (int k = 0; k < cnt; k++)
        a.set(kind, indices[k], values[k]);
}

int VNTLsetlongannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, int cnt,
                           const int *indices, const int64_t *values)
{
    return with_annotation<int64_t>(
        env, lp, idx, [&](auto &a, vntlp &p) { set_values(a, p, objtype, cnt, indices, values); });
}

int VNTLsetdblannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, int cnt,
                          const int *indices, const double *values)
{
    return with_annotation<double>(
        env, lp, idx, [&](auto &a, vntlp &p) { set_values(a, p, objtype, cnt, indices, values); });
}

template <class number> static void put_values(const annotation<number> &a, const vntlp &p,
                                               int kind, number *values, int begin, int end)
{
    int count = range_count(begin, end, annotated_count(p.m, kind));
    for (int k = 0; k < count && values != nullptr; k++)
        values[k] = a.get(kind, begin + k);
}

int VNTLgetlongannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, int64_t *annotation,
                           int begin, int end)
{
    return with_annotation<int64_t>(env, lp, idx, [&](auto &a, vntlp &p) {
        put_values(a, p, objtype, annotation, begin, end);
    });
}

int VNTLgetdblannotations(VNTENVptr env, VNTLPptr lp, int idx, int objtype, double *annotation,
                          int begin, int end)
{
    return with_annotation<double>(env, lp, idx, [&](auto &a, vntlp &p) {
        put_values(a, p, objtype, annotation, begin, end);
    });
}

// The calls that read and write files of annotations.

int VNTEreadcopyannotations(VNTENVptr env, VNTLPptr lp, const char *filename, const char *contents,
                            int64_t length)
{
    return with_problem(env, lp, [&](vntlp &p) {
        p.notes = annotations_read(file_contents(filename, contents, length), p.m);
    });
}

int VNTLEreadcopyannotations(VNTENVptr env, VNTLPptr lp, const char *filename, const char *content,
                             int64_t length)
{
    return VNTEreadcopyannotations(env, lp, filename, content, length);
}

int VNTLwriteannotations(VNTENVptr env, VNTLPptr lp, const char *filename)
{
    return with_problem(env, lp,
                        [&](vntlp &p) { file_write(filename, annotations_write(p.m, p.notes)); });
}

int VNTLwritebendersannotation(VNTENVptr env, VNTLPptr lp, const char *filename)
{
    return with_problem(env, lp, [&](vntlp &p) {
        annotations blocks;
        blocks.longs.push_back(decomposition_of(p.m));
        file_write(filename, annotations_write(p.m, blocks));
    });
}
