// Files in and out.

#include "solver/calls/calls.h"
#include "solver/formats/basisfile.h"
#include "solver/formats/dimacs.h"
#include "solver/formats/files.h"
#include "solver/formats/lpformat.h"
#include "solver/formats/mps.h"
#include "solver/formats/solutionfile.h"
#include "solver/formats/startfile.h"

#include <numeric>

using namespace vnt;

static bool mps_kind(const std::string &kind)
{
    return kind == "mps" || kind == "qps";
}

[[noreturn]] static void unknown_kind(const std::string &kind)
{
    throw failure{
        VNTERR_FILE_TYPE,
        printed(
            "\"%.80s\" is not a type of files: mps, qps and lp hold problems, min holds networks",
            kind.c_str())};
}

static model read_model(const std::string &kind, const std::string &text, std::string *remarks)
{
    if (mps_kind(kind)) return mps_read(text, remarks);
    return kind == "lp" ? lp_read(text, remarks) : dimacs_read(text).linear();
}

// The problem changes only once the whole file has been understood.
static void read_problem(vntenv &e, vntlp &p, const char *name, const char *contents,
                         int64_t length, const char *filetype)
{
    std::string kind = file_kind(name, filetype), remarks;
    if (!mps_kind(kind) && kind != "lp" && kind != "min") unknown_kind(kind);
    std::string text = file_contents(name, contents, length);
    model m = read_model(kind, text, &remarks);
    if (m.name.empty()) m.name = p.m.name;
    p.replace(std::move(m));
    if (!remarks.empty()) e.say(CHANNEL_WARNING, remarks);
}

static int readcopyprob(VNTENVptr env, VNTLPptr lp, const char *name, const char *contents,
                        int64_t length, const char *filetype, const char *call)
{
    return with_environment(
        env,
        [&](vntenv &e) { read_problem(e, problem_of(e, lp), name, contents, length, filetype); },
        call);
}

int VNTEreadcopyprob(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                     int64_t length, const char *filetype)
{
    return readcopyprob(env, lp, filename_str, contents, length, filetype, __func__);
}

int VNTLEreadcopyprob(VNTENVptr env, VNTLPptr lp, const char *filename, const char *content,
                      int64_t length, const char *filetype)
{
    return readcopyprob(env, lp, filename, content, length, filetype, __func__);
}

int VNTLwriteprob(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *filetype)
{
    return with_environment(env, [&](vntenv &e) {
        const model &m = problem_of(e, lp).m;
        std::string kind = file_kind(filename_str, filetype), text;
        bool made = false;
        if (mps_kind(kind)) {
            text = mps_write(m, &made);
        } else if (kind == "lp") {
            text = lp_write(m, &made);
        } else {
            unknown_kind(kind);
        }
        file_write(filename_str, text);
        if (made)
            e.say(CHANNEL_WARNING, "the file has made names: the format cannot hold the own\n");
    });
}

int VNTEreadcopybase(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                     int64_t length)
{
    return with_problem(
        env, lp, [&](vntlp &p) { basis_read(p, file_contents(filename_str, contents, length)); });
}

int VNTLmbasewrite(VNTENVptr env, VNTLPptr lp, const char *filename_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(p.has_basis(), VNTERR_NO_BASIS);
        file_write(filename_str, basis_write(p));
    });
}

int VNTLsolwrite(VNTENVptr env, VNTLPptr lp, const char *filename_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(p.last.has_solution(), VNTERR_NO_SOLUTION);
        file_write(filename_str, solution_write(p.m, {p.last.status, p.last.objective, p.last.x,
                                                      p.last.pi, p.last.dj}));
    });
}

static std::string pool_text(const vntlp &p, const pool_solution &s)
{
    static const std::vector<double> none;
    return solution_write(p.m, {p.last.status, s.objective, s.x, none, none});
}

int VNTLsolwritesolnpool(VNTENVptr env, VNTLPptr lp, int soln, const char *filename_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(soln >= 0 && soln < static_cast<int>(p.last.pool.size()), VNTERR_INDEX_RANGE);
        file_write(filename_str, pool_text(p, p.last.pool[soln]));
    });
}

int VNTLsolwritesolnpoolall(VNTENVptr env, VNTLPptr lp, const char *filename_str)
{
    return with_problem(env, lp, [&](vntlp &p) {
        require(!p.last.pool.empty(), VNTERR_NO_SOLUTION);
        std::string text;
        for (const pool_solution &s : p.last.pool)
            text += pool_text(p, s);
        file_write(filename_str, text);
    });
}

// Solutions become the start of the next solve: MIP starts of a problem with discrete columns, a
// basis near the first one of any other.
static void start_from(vntlp &p, const std::string &text)
{
    auto solutions = solutions_read(text, p.m);
    if (!p.m.discrete()) {
        p.set_basis_near(solutions[0].x, solutions[0].dj);
        return;
    }
    std::vector<int> all(p.m.numcols());
    std::iota(all.begin(), all.end(), 0);
    p.mip_starts.clear();
    for (solution_columns &s : solutions) {
        std::string name = "m" + std::to_string(p.mip_starts.size() + 1);
        p.mip_starts.push_back({name, 0, all, std::move(s.x)});
    }
}

int VNTEreadcopysol(VNTENVptr env, VNTLPptr lp, const char *filename_str, const char *contents,
                    int64_t length)
{
    return with_problem(
        env, lp, [&](vntlp &p) { start_from(p, file_contents(filename_str, contents, length)); });
}

int VNTEreadcopystartinfo(VNTENVptr env, VNTLPptr lp, const char *filename_str,
                          const char *contents, int64_t length)
{
    return with_problem(env, lp, [&](vntlp &p) {
        std::string text = file_contents(filename_str, contents, length);
        if (solution_inside(text)) return start_from(p, text);
        if (!starts_inside(text)) return basis_read(p, text);
        p.mip_starts = starts_read(text, p.m);
    });
}

int VNTEreadcopyparam(VNTENVptr env, const char *filename_str, const char *contents, int64_t length)
{
    return with_environment(
        env, [&](vntenv &e) { e.parameters.read(file_contents(filename_str, contents, length)); });
}

int VNTLwriteparam(VNTENVptr env, const char *filename_str)
{
    return with_environment(env,
                            [&](vntenv &e) { file_write(filename_str, e.parameters.write()); });
}
