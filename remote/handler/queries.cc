#include "remote/handler/queries.h"

namespace vnt {

static constexpr uint32_t REDUCED = query_bit(QUERY_REDNUMCOLS) | query_bit(QUERY_REDNUMROWS);
static constexpr uint32_t CONFLICT = query_bit(QUERY_CONFNUMROWS) | query_bit(QUERY_CONFNUMCOLS);
static constexpr uint32_t NETWORK = query_bit(QUERY_NUMNODES) | query_bit(QUERY_NUMARCS);

static bool is_output(const call_argument &arg)
{
    return arg.word == CALL_OUT || arg.word == CALL_INOUT;
}

static uint32_t wanted_by(const call_argument &arg)
{
    uint32_t wanted = 0;
    for (const call_term &term : arg.size.terms)
        if (term.kind == call_term::QUERY && (term.at != QUERY_NUMCOLS || is_output(arg)))
            wanted |= query_bit(term.at);
    return wanted;
}

// Returns the function, and notes it as missing if the solver lacks it.
template <class function> static function needed(size_queries *q, function f, const char *name)
{
    if (f == nullptr) q->missing = name;
    return f;
}
#define NEEDED(q, function) needed(q, SOLVER(function), #function)

static void ask_width(size_queries *q)
{
    auto getnulbytes = NEEDED(q, VNTLEgetnulbytes);
    int bytes = 0;
    if (getnulbytes == nullptr || getnulbytes(q->env, &bytes) != 0) return;
    q->width = bytes == 2 ? 1 : bytes == 4 ? 2 : 0;
}

static void ask_counts(size_queries *q)
{
#define PROBLEM_QUERY(name, function, selector)                                                    \
    if (q->sizes.asked & query_bit(QUERY_##name))                                                  \
        if (auto count = NEEDED(q, function)) q->sizes.answers[QUERY_##name] = count(q->env, q->lp);
#define NETWORK_QUERY(name, function, selector)                                                    \
    if (q->sizes.asked & query_bit(QUERY_##name))                                                  \
        if (auto count = NEEDED(q, function))                                                      \
            q->sizes.answers[QUERY_##name] = count(q->env, q->net);
#define OTHER_QUERY(name, selector)
#include "remote/calls/queries.def"
}

static void ask_reduced(size_queries *q)
{
    auto getredlp = NEEDED(q, VNTLgetredlp);
    auto numcols = NEEDED(q, VNTLgetnumcols);
    auto numrows = NEEDED(q, VNTLgetnumrows);
    if (q->missing != nullptr) return;
    VNTLPptr reduced = nullptr;
    if (getredlp(q->env, q->lp, &reduced) != 0 || reduced == nullptr) return;
    if (q->sizes.asked & query_bit(QUERY_REDNUMCOLS))
        q->sizes.answers[QUERY_REDNUMCOLS] = numcols(q->env, reduced);
    if (q->sizes.asked & query_bit(QUERY_REDNUMROWS))
        q->sizes.answers[QUERY_REDNUMROWS] = numrows(q->env, reduced);
}

static void ask_conflict(size_queries *q)
{
    auto getconflict = NEEDED(q, VNTLgetconflict);
    if (getconflict == nullptr) return;
    int status = 0, rows = 0, columns = 0;
    if (getconflict(q->env, q->lp, &status, nullptr, nullptr, &rows, nullptr, nullptr, &columns))
        return;
    q->sizes.answers[QUERY_CONFNUMROWS] = rows;
    q->sizes.answers[QUERY_CONFNUMCOLS] = columns;
}

static void ask_all(size_queries *q)
{
    ask_counts(q);
    if (q->sizes.asked & REDUCED) ask_reduced(q);
    if (q->sizes.asked & CONFLICT) ask_conflict(q);
}

static void ask_keeping_messages(size_queries *q)
{
    auto getparam = NEEDED(q, VNTLgetintparam);
    auto setparam = NEEDED(q, VNTLsetintparam);
    if (q->missing != nullptr) return;
    int value = 0;
    bool saved = getparam(q->env, VNT_PARAM_MESSAGES, &value) == 0;
    ask_all(q);
    if (saved) setparam(q->env, VNT_PARAM_MESSAGES, value);
}

void queries_ask(size_queries *q, const solver_call *call)
{
    bool texts = false;
    for (int i = 0; i < call->nargs; i++) {
        const call_argument &arg = call->args[i];
        q->sizes.asked |= wanted_by(arg);
        texts = texts || arg.word == CALL_OUTSTRING || arg.word == CALL_OUTNAMES;
    }
    if (texts) ask_width(q);
    if (q->sizes.asked & (NETWORK | REDUCED | CONFLICT))
        ask_keeping_messages(q);
    else
        ask_all(q);
}

} // namespace vnt
