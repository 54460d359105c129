#include "remote/calls/solvercall.h"

#include "remote/calls/callsize.h"
#include "remote/calls/prototype.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <type_traits>
#include <utility>

namespace vnt {

// What a parameter is to the solver: a value, a pointer that it reads from or writes through, an
// object, the address of a variable that holds one.
enum access : uint8_t {
    ODD,
    BY_VALUE,
    READS,
    WRITES,
    AN_ENVIRONMENT,
    A_PROBLEM,
    A_NETWORK,
    PROBLEM_ADDRESS,
    NETWORK_ADDRESS
};

struct parameter {
    access how;
    uint8_t type; // TYPE_*, behind a pointer that of the elements
};

template <class type> constexpr uint8_t type_of = TYPE_NONE;
template <> constexpr uint8_t type_of<char> = TYPE_BYTE;
template <> constexpr uint8_t type_of<int32_t> = TYPE_INT;
template <> constexpr uint8_t type_of<int64_t> = TYPE_LONG;
template <> constexpr uint8_t type_of<double> = TYPE_DOUBLE;
template <> constexpr uint8_t type_of<char *> = TYPE_STRING;
template <> constexpr uint8_t type_of<const char *> = TYPE_STRING;

template <class type> constexpr parameter parameter_of = {BY_VALUE, type_of<type>};
template <class type> constexpr parameter parameter_of<type *> = {WRITES, type_of<type>};
template <class type> constexpr parameter parameter_of<const type *> = {READS, type_of<type>};
template <> constexpr parameter parameter_of<const char **> = {ODD, TYPE_NONE};
template <> constexpr parameter parameter_of<VNTENVptr> = {AN_ENVIRONMENT, TYPE_NONE};
template <> constexpr parameter parameter_of<VNTLPptr> = {A_PROBLEM, TYPE_NONE};
template <> constexpr parameter parameter_of<VNTNETptr> = {A_NETWORK, TYPE_NONE};
template <> constexpr parameter parameter_of<VNTLPptr *> = {PROBLEM_ADDRESS, TYPE_NONE};
template <> constexpr parameter parameter_of<VNTNETptr *> = {NETWORK_ADDRESS, TYPE_NONE};

// All that is made of a prototype, shared by the functions that have it.
template <class outcome, class... params> struct solver_function {
    using result = outcome;
    static constexpr size_t count = sizeof...(params);
    static constexpr parameter parameters[] = {parameter_of<params>...};

    template <size_t... i>
    static outcome spread(void *function, const call_value *args, std::index_sequence<i...>)
    {
        return reinterpret_cast<outcome (*)(params...)>(function)(call_unpack<params>(args[i])...);
    }
    static void invoke(void *function, const call_value *args, call_value *result)
    {
        *result = spread(function, args, std::index_sequence_for<params...>());
    }
};

template <class type> constexpr message_kind kind_of = KIND_END;
template <> constexpr message_kind kind_of<int32_t> = KIND_INT;
template <> constexpr message_kind kind_of<int64_t> = KIND_LONG;
template <> constexpr message_kind kind_of<double> = KIND_DOUBLE;
template <> constexpr message_kind kind_of<message_string> = KIND_STRING;
template <> constexpr message_kind kind_of<message_array> = KIND_ARRAY;
template <> constexpr message_kind kind_of<message_file> = KIND_FILE;

struct field_place {
    message_kind kind; // KIND_END for no field
    uint16_t at;
};

template <class type> constexpr field_place place_of(size_t at)
{
    return {kind_of<type>, static_cast<uint16_t>(at)};
}

// The place of a field; `request` and `response` are the records of the row's two messages.
#define ASKED(f) (place_of<decltype(request::f)>(offsetof(request, f)))
#define ANSWERED(f) (place_of<decltype(response::f)>(offsetof(response, f)))

// An argument as its row writes it: the word, and the fields that it names.
struct written {
    call_word word;
    field_place asked;
    field_place answered;
    call_size size;
};

constexpr written exchanges(call_word word, field_place asked, field_place answered,
                            call_size size = {})
{
    return {word, asked, answered, size};
}
constexpr written asks(call_word word, field_place asked, call_size size = {})
{
    return {word, asked, {}, size};
}
constexpr written answers(call_word word, field_place answered, call_size size = {})
{
    return {word, {}, answered, size};
}

constexpr call_term term_of(field_place field, int8_t sign)
{
    return {field.kind == KIND_LONG ? call_term::LONGFIELD : call_term::INTFIELD, sign, field.at};
}
constexpr call_size size_of_field(field_place field)
{
    return {0, {term_of(field, 1), {}}, false, {}};
}
constexpr call_size size_of_starts(field_place field, field_place entries)
{
    return {0, {term_of(field, 1), {}}, false, term_of(entries, 1)};
}
constexpr call_size size_of_range(field_place first, field_place last)
{
    return {1, {term_of(last, 1), term_of(first, -1)}, false, {}};
}
constexpr call_size size_of_query(call_query query)
{
    return {0, {{call_term::QUERY, 1, query}, {}}, false, {}};
}
constexpr call_size size_of_number(int64_t number)
{
    return {number, {}, false, {}};
}
constexpr call_size size_unknown()
{
    return {0, {}, true, {}};
}
constexpr call_size operator+(call_size a, const call_size &b)
{
    a.constant += b.constant;
    a.terms[1] = b.terms[0];
    return a;
}
constexpr call_size operator+(call_size a, int64_t b)
{
    a.constant += b;
    return a;
}

constexpr message_kind scalar_kind(uint8_t type)
{
    switch (type) {
    case TYPE_BYTE: return KIND_INT; // one character travels as an int
    case TYPE_INT: return KIND_INT;
    case TYPE_LONG: return KIND_LONG;
    case TYPE_DOUBLE: return KIND_DOUBLE;
    default: return KIND_END;
    }
}

constexpr bool is(parameter p, access how, uint8_t type)
{
    return p.how == how && p.type == type;
}

constexpr bool is_scalar(parameter p, access how)
{
    return p.how == how && scalar_kind(p.type) != KIND_END;
}

// Whether the word says what the solver's parameter is, and the fields have the kinds for it.
constexpr bool fits(const written &w, parameter p)
{
    switch (w.word) {
    case CALL_ENV: return p.how == AN_ENVIRONMENT && w.asked.kind == KIND_ARRAY;
    case CALL_LP: return p.how == A_PROBLEM && w.asked.kind == KIND_ARRAY;
    case CALL_NET: return p.how == A_NETWORK && w.asked.kind == KIND_ARRAY;
    case CALL_LP_BY_ADDRESS: return p.how == PROBLEM_ADDRESS && w.asked.kind == KIND_ARRAY;
    case CALL_NET_BY_ADDRESS: return p.how == NETWORK_ADDRESS && w.asked.kind == KIND_ARRAY;
    case CALL_VALUE:
    case CALL_INDEX: return is_scalar(p, BY_VALUE) && w.asked.kind == scalar_kind(p.type);
    case CALL_STRING: return is(p, READS, TYPE_BYTE) && w.asked.kind == KIND_STRING;
    case CALL_IN:
        if (w.size.entries.kind != call_term::NONE && p.type != TYPE_LONG) return false;
        return is_scalar(p, READS) && w.asked.kind == KIND_ARRAY;
    case CALL_NAMES: return is(p, READS, TYPE_STRING) && w.asked.kind == KIND_ARRAY;
    case CALL_INOUT:
        return is_scalar(p, WRITES) && w.asked.kind == KIND_ARRAY && w.answered.kind == KIND_ARRAY;
    case CALL_OUTVALUE:
        return is_scalar(p, WRITES) && p.type != TYPE_BYTE &&
               w.answered.kind == scalar_kind(p.type);
    case CALL_OUTCHAR: return is(p, WRITES, TYPE_BYTE) && w.answered.kind == KIND_INT;
    case CALL_OUT: return is_scalar(p, WRITES) && w.answered.kind == KIND_ARRAY;
    case CALL_OUTSTRING:
    case CALL_PLAINSTRING: return is(p, WRITES, TYPE_BYTE) && w.answered.kind == KIND_STRING;
    case CALL_OUTNAMES: return is(p, WRITES, TYPE_STRING) && w.answered.kind == KIND_ARRAY;
    case CALL_STORE: return is(p, WRITES, TYPE_BYTE);
    case CALL_INFILE:
    case CALL_INFILE_CONTENTS: return is(p, READS, TYPE_BYTE) && w.asked.kind == KIND_FILE;
    case CALL_INFILE_LENGTH: return is(p, BY_VALUE, TYPE_LONG) && w.asked.kind == KIND_FILE;
    case CALL_OUTFILE:
        return is(p, READS, TYPE_BYTE) && w.asked.kind == KIND_STRING &&
               w.answered.kind == KIND_FILE;
    }
    return false;
}

// A wrong number of words is reported by an assertion of its own.
template <size_t count, size_t takes>
constexpr bool all_fit(const written (&words)[count], const parameter (&parameters)[takes])
{
    for (size_t i = 0; i < count && i < takes; i++)
        if (!fits(words[i], parameters[i])) return false;
    return true;
}

// The words that come in groups: a list of names is followed by its store, a file that the solver
// reads takes three parameters.
template <size_t count> constexpr bool groups_are_whole(const written (&words)[count])
{
    for (size_t i = 0; i < count; i++) {
        call_word before = i > 0 ? words[i - 1].word : CALL_ENV;
        call_word word = words[i].word;
        if ((word == CALL_STORE) != (before == CALL_OUTNAMES)) return false;
        if ((word == CALL_INFILE_CONTENTS) != (before == CALL_INFILE)) return false;
        if ((word == CALL_INFILE_LENGTH) != (before == CALL_INFILE_CONTENTS)) return false;
        if ((word == CALL_INFILE_CONTENTS || word == CALL_INFILE_LENGTH) &&
            words[i].asked.at != words[i - 1].asked.at)
            return false;
    }
    return true;
}

// Arrays without a size belong to a matrix: the two before them say where each column begins and
// how many entries it has.
template <size_t count, size_t takes>
constexpr bool unsized_are_told(const written (&words)[count], const parameter (&parameters)[takes])
{
    for (size_t i = 0; i < count && i < takes; i++) {
        if (!words[i].size.unsized || (i > 0 && words[i - 1].size.unsized)) continue;
        if (i < 2 || words[i - 2].word != CALL_IN || words[i - 1].word != CALL_IN) return false;
        if (parameters[i - 2].type != TYPE_LONG || parameters[i - 1].type != TYPE_INT) return false;
    }
    return true;
}

// Whether the offsets ascend from `first` and are `fields` in number: then each field has its
// argument, and no two of one type have changed places.
template <size_t count> constexpr bool
uses_all(const written (&words)[count], field_place written::*field, uint16_t first, int fields)
{
    uint16_t last = first;
    for (const written &w : words) {
        uint16_t at = (w.*field).at;
        bool again = w.word == CALL_INFILE_CONTENTS || w.word == CALL_INFILE_LENGTH;
        if (at == 0 || again) continue;
        if (at <= last) return false;
        last = at;
        fields--;
    }
    return fields == 0;
}

template <size_t count, size_t takes> constexpr std::array<call_argument, count>
arguments(const written (&words)[count], const parameter (&parameters)[takes])
{
    std::array<call_argument, count> args{};
    for (size_t i = 0; i < count && i < takes; i++)
        args[i] = {words[i].word, parameters[i].type, words[i].asked.at, words[i].answered.at,
                   words[i].size};
    return args;
}

// All queries that the sizes name, also if one only bounds an index, as solvers expect.  Only the
// number of columns is asked just for outputs.
template <size_t count> constexpr uint32_t queries_of(const std::array<call_argument, count> &args)
{
    uint32_t queries = 0;
    for (const call_argument &arg : args) {
        const bool output = arg.word == CALL_OUT || arg.word == CALL_INOUT;
        for (const call_term &term : arg.size.terms)
            if (term.kind == call_term::QUERY && (term.at != QUERY_NUMCOLS || output))
                queries |= query_bit(term.at);
    }
    return queries;
}

template <size_t count> constexpr bool has_texts(const std::array<call_argument, count> &args)
{
    return std::ranges::any_of(args, [](const call_argument &arg) {
        return arg.word == CALL_OUTSTRING || arg.word == CALL_OUTNAMES;
    });
}

// The response's field for the solver function's own result.
struct result_place {
    call_result kind; // of an "out": RESULT_INT
    field_place field;
};

template <class response> constexpr result_place result_field()
{
    if constexpr (requires(response r) { r.status; })
        return {RESULT_STATUS, ANSWERED(status)};
    else if constexpr (requires(response r) { r.out; })
        return {RESULT_INT, ANSWERED(out)};
    else if constexpr (requires(response r) { r.outlp; })
        return {RESULT_LP, ANSWERED(outlp)};
    else
        return {RESULT_NET, ANSWERED(outnet)};
}

constexpr call_result result_kind(result_place place)
{
    if (place.field.kind == KIND_LONG) return RESULT_LONG;
    if (place.field.kind == KIND_DOUBLE) return RESULT_DOUBLE;
    return place.kind;
}

template <class type> constexpr bool result_fits(result_place place)
{
    if (std::is_same_v<type, VNTLPptr>) return place.kind == RESULT_LP;
    if (std::is_same_v<type, VNTNETptr>) return place.kind == RESULT_NET;
    if (place.kind == RESULT_STATUS && !std::is_same_v<type, int>) return false;
    return place.field.kind == kind_of<type>;
}

// The words as rows write them.
#define ENV asks(CALL_ENV, ASKED(env))
#define LP asks(CALL_LP, ASKED(lp))
#define NET asks(CALL_NET, ASKED(net))
#define LP_BY_ADDRESS asks(CALL_LP_BY_ADDRESS, ASKED(lp))
#define NET_BY_ADDRESS asks(CALL_NET_BY_ADDRESS, ASKED(net))
#define VALUE(f) asks(CALL_VALUE, ASKED(f))
#define INDEX(f, query) asks(CALL_INDEX, ASKED(f), query)
#define STRING(f) asks(CALL_STRING, ASKED(f))
#define IN(f, size) asks(CALL_IN, ASKED(f), size)
#define NAMES(f, size) asks(CALL_NAMES, ASKED(f), size)
#define INOUT(f, size) exchanges(CALL_INOUT, ASKED(f), ANSWERED(f), size)
#define OUTVALUE(f) answers(CALL_OUTVALUE, ANSWERED(f))
#define OUTCHAR(f) answers(CALL_OUTCHAR, ANSWERED(f))
#define OUT(f, size) answers(CALL_OUT, ANSWERED(f), size)
#define OUTSTRING(f, size) answers(CALL_OUTSTRING, ANSWERED(f), size)
#define PLAINSTRING(f, size) answers(CALL_PLAINSTRING, ANSWERED(f), size)
#define OUTNAMES(f, size) answers(CALL_OUTNAMES, ANSWERED(f), size)
#define STORE(size) exchanges(CALL_STORE, {}, {}, size)
#define INFILE(f) asks(CALL_INFILE, ASKED(f))
#define INFILE_CONTENTS(f) asks(CALL_INFILE_CONTENTS, ASKED(f))
#define INFILE_LENGTH(f) asks(CALL_INFILE_LENGTH, ASKED(f))
#define OUTFILE(f) exchanges(CALL_OUTFILE, ASKED(f), ANSWERED(f))

// And their sizes.
#define COUNT(f) size_of_field(ASKED(f))
#define STARTS(f, entries) size_of_starts(ASKED(f), ASKED(entries))
#define RANGE(first, last) size_of_range(ASKED(first), ASKED(last))
#define FIXED(number) size_of_number(number)
#define UNSIZED size_unknown()
#define SIZE_QUERY(name, selector) static constexpr call_size name = size_of_query(QUERY_##name);
#include "remote/calls/queries.def"

#define SOLVER_CALL(name, function, ...)                                                           \
    namespace row_##name                                                                           \
    {                                                                                              \
        using request = vntmsg_##name##_REQ;                                                       \
        using response = vntmsg_##name##_RES;                                                      \
        using solver = prototype<decltype(function)>::of<solver_function>;                         \
        constexpr written words[] = {__VA_ARGS__};                                                 \
        constexpr result_place result = result_field<response>();                                  \
        static_assert(std::size(words) == solver::count,                                           \
                      #name ": the row lists another number of arguments than the solver takes");  \
        static_assert(all_fit(words, solver::parameters), #name                                    \
                      ": a word does not say what the solver takes, or its field is of another "   \
                      "kind");                                                                     \
        static_assert(groups_are_whole(words) && unsized_are_told(words, solver::parameters),      \
                      #name ": a word lacks those that go with it");                               \
        static_assert(                                                                             \
            uses_all(words, &written::asked, offsetof(request, flags), FIELDS_##name##_REQ - 1),   \
            #name ": the arguments do not use each field of the request once, in order");          \
        static_assert(                                                                             \
            uses_all(words, &written::answered, result.field.at, FIELDS_##name##_RES - 1),         \
            #name ": the arguments do not fill each field of the response once, in order");        \
        static_assert(result_fits<solver::result>(result),                                         \
                      #name ": the solver returns something else than the response carries");      \
        static_assert(std::size(words) <= SOLVERCALL_MAXARGS &&                                    \
                      sizeof(request) <= SOLVERCALL_MAXRECORD &&                                   \
                      sizeof(response) <= SOLVERCALL_MAXRECORD);                                   \
        constexpr auto args = arguments(words, solver::parameters);                                \
    }
#include "remote/calls/solvercalls.def"

#define ROW(name, function, runs_long, gives_value, nothing)                                       \
    {#name,                                                                                        \
     #function,                                                                                    \
     VNTMESSAGEID_##name##_REQ,                                                                    \
     VNTMESSAGEID_##name##_RES,                                                                    \
     sizeof(row_##name::request),                                                                  \
     sizeof(row_##name::response),                                                                 \
     result_kind(row_##name::result),                                                              \
     row_##name::result.field.at,                                                                  \
     runs_long,                                                                                    \
     gives_value,                                                                                  \
     nothing,                                                                                      \
     has_texts(row_##name::args),                                                                  \
     queries_of(row_##name::args),                                                                 \
     row_##name::args.size(),                                                                      \
     row_##name::args.data(),                                                                      \
     row_##name::solver::invoke},

constexpr solver_call solvercalls[SOLVERCALL_COUNT] = {
#define SOLVER_CALL(name, function, ...) ROW(name, function, false, false, 0)
#define SOLVER_RUN(name, function, ...) ROW(name, function, true, false, 0)
#define SOLVER_VALUE(name, nothing, function, ...) ROW(name, function, false, true, nothing)
#include "remote/calls/solvercalls.def"
};

static constexpr bool ids_ascend()
{
    for (size_t i = 1; i < SOLVERCALL_COUNT; i++)
        if (solvercalls[i - 1].request >= solvercalls[i].request) return false;
    return true;
}
static_assert(ids_ascend(), "solvercalls.def: the rows are not in ascending order of request id");

const solver_call *solvercalls_find(uint32_t request)
{
    const solver_call *row =
        std::partition_point(std::begin(solvercalls), std::end(solvercalls),
                             [request](const solver_call &call) { return call.request < request; });
    return row != std::end(solvercalls) && row->request == request ? row : nullptr;
}

bool solvercall_asks(const solver_call *call)
{
    // A count is returned in the place of a status.
    bool answers = call->result != RESULT_STATUS || strstr(call->name, "GET") != nullptr;
    bool changes = call->runs_long || call->result == RESULT_LP || call->result == RESULT_NET;
    for (int i = 0; i < call->nargs; i++) {
        switch (call->args[i].word) {
        case CALL_OUTVALUE:
        case CALL_OUTCHAR:
        case CALL_OUT:
        case CALL_OUTSTRING:
        case CALL_PLAINSTRING:
        case CALL_OUTNAMES:
        case CALL_OUTFILE: answers = true; break;
        case CALL_INOUT:
        case CALL_LP_BY_ADDRESS:
        case CALL_NET_BY_ADDRESS: changes = true; break;
        default: break;
        }
    }
    return answers && !changes;
}

} // namespace vnt
