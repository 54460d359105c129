#include "remote/handler/queries.h"

#include "remote/handler/handler.h"

namespace vnt {

enum class about : uint8_t { PROBLEM, NETWORK, REDUCED, CONFLICT };

// The bits of the queries about one kind of object.
static constexpr uint32_t bits(about kind)
{
    constexpr about kinds[] = {
#define PROBLEM_QUERY(name, function, selector) about::PROBLEM,
#define NETWORK_QUERY(name, function, selector) about::NETWORK,
#define REDUCED_QUERY(name, function, selector) about::REDUCED,
#define CONFLICT_QUERY(name, selector) about::CONFLICT,
#include "remote/calls/queries.def"
    };
    uint32_t found = 0;
    for (int i = 0; i < QUERY_COUNT; i++)
        if (kinds[i] == kind) found |= query_bit(i);
    return found;
}
static constexpr uint32_t NETWORK = bits(about::NETWORK);
static constexpr uint32_t REDUCED = bits(about::REDUCED);
static constexpr uint32_t CONFLICT = bits(about::CONFLICT);

// Returns the function, and notes it as missing if the solver lacks it.
template <class function> static function needed(size_queries *q, function f, const char *name)
{
    if (f == nullptr) q->missing = name;
    return f;
}
#define NEEDED(q, function) needed(q, SOLVER(function), #function)

#define COUNT_IF_ASKED(q, name, function, object)                                                  \
    if ((q)->sizes.asked & query_bit(QUERY_##name))                                                \
        if (auto count = NEEDED(q, function))                                                      \
            (q)->sizes.answers[QUERY_##name] = count((q)->env, object);

static void ask_counts(size_queries *q)
{
#define PROBLEM_QUERY(name, function, selector) COUNT_IF_ASKED(q, name, function, q->lp)
#define NETWORK_QUERY(name, function, selector) COUNT_IF_ASKED(q, name, function, q->net)
#define SIZE_QUERY(name, selector)
#include "remote/calls/queries.def"
}

static void ask_reduced(size_queries *q)
{
    auto getredlp = NEEDED(q, VNTLgetredlp);
    if (getredlp == nullptr) return;
    VNTLPptr reduced = nullptr;
    q->status = getredlp(q->env, q->lp, &reduced);
    if (q->status != 0 || reduced == nullptr) return;
#define REDUCED_QUERY(name, function, selector) COUNT_IF_ASKED(q, name, function, reduced)
#define SIZE_QUERY(name, selector)
#include "remote/calls/queries.def"
}

static void ask_conflict(size_queries *q)
{
    auto getconflict = NEEDED(q, VNTLgetconflict);
    if (getconflict == nullptr) return;
    int kind = 0, rows = 0, columns = 0;
    q->status =
        getconflict(q->env, q->lp, &kind, nullptr, nullptr, &rows, nullptr, nullptr, &columns);
    if (q->status != 0) return;
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

void queries_use_defaults(size_queries *q, const handler *h)
{
    if (q->env == nullptr) q->env = h->env;
    if (q->lp == nullptr) q->lp = h->lp;
    if (q->net == nullptr) q->net = h->net;
}

void queries_ask(size_queries *q)
{
    if (q->sizes.asked & (NETWORK | REDUCED | CONFLICT))
        ask_keeping_messages(q);
    else
        ask_all(q);
}

void queries_ask_width(size_queries *q)
{
    auto getnulbytes = NEEDED(q, VNTLEgetnulbytes);
    if (getnulbytes == nullptr) return;
    int bytes = 0;
    q->status = getnulbytes(q->env, &bytes);
    if (q->status == 0) q->width = bytes == 2 ? 1 : bytes == 4 ? 2 : 0;
}

} // namespace vnt
