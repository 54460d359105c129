// solvercall.h: the list of solver calls as a table, and the one routine that carries them out.
//
// A row of solvercalls.def becomes a solver_call: its two messages, the solver's function, and for
// each of the function's parameters what it is and where it travels.  The worker's run function
// and the calling side's stub both walk that table, so a call looks the same from both ends.  What
// depends on the function's type alone is one trampoline per prototype.
//
// The compiler checks each row: number and types of the parameters, and that each field of both
// messages is used once, in order.  It looks at the types of the solver's functions only, so that
// nothing which holds the table needs the functions.
//
// Threads: the table is constant.

#pragma once

#include "remote/calls/solver.h"
#include "remote/codec/catalogue.h"

#include <type_traits>

namespace vnt {

struct handler_frame;

// One word for each kind of parameter; solvercalls.def says what they mean.
enum call_word : uint8_t {
    CALL_ENV,
    CALL_LP,
    CALL_NET,
    CALL_LP_BY_ADDRESS,
    CALL_NET_BY_ADDRESS,
    CALL_VALUE,
    CALL_INDEX,
    CALL_STRING,
    CALL_IN,
    CALL_NAMES,
    CALL_INOUT,
    CALL_OUTVALUE,
    CALL_OUTCHAR,
    CALL_OUT,
    CALL_OUTSTRING,
    CALL_PLAINSTRING,
    CALL_OUTNAMES,
    CALL_STORE,
    CALL_INFILE,
    CALL_INFILE_CONTENTS,
    CALL_INFILE_LENGTH,
    CALL_OUTFILE
};

// What a handler asks the solver to size an output.
enum call_query : uint8_t {
#define SIZE_QUERY(name, selector) QUERY_##name,
#include "remote/calls/queries.def"
    QUERY_COUNT
};

// A size: a constant plus up to two terms.  Arrays that say where the rows of a matrix begin also
// name the number of entries that they point into.
struct call_term {
    enum : uint8_t { NONE, INTFIELD, LONGFIELD, QUERY } kind;
    int8_t sign;
    uint16_t at; // the field's offset in the request, or the query
};
struct call_size {
    int64_t constant;
    call_term terms[2];
    bool unsized;      // other arrays tell
    call_term entries; // of an array of starts, else none
};

struct call_argument {
    call_word word;
    uint8_t type;         // TYPE_*: of the scalar, or of the array's elements; 0 for an object
    uint16_t request_at;  // offset of its field, 0 for none
    uint16_t response_at; // likewise
    call_size size;       // of an INDEX: the query
};

// Room for any parameter or result, made of one.  A char goes into `i`.
union call_value {
    int32_t i;
    int64_t l;
    double d;
    void *p;

    call_value() = default;
    // Implicit, so that parameters and results are assigned as they are.
    // NOLINTBEGIN(google-explicit-constructor)
    call_value(int32_t value) : i(value) {}
    call_value(int64_t value) : l(value) {}
    call_value(double value) : d(value) {}
    call_value(const void *value) : p(const_cast<void *>(value)) {}
    // NOLINTEND(google-explicit-constructor)
};

template <class type> type call_unpack(const call_value &v)
{
    if constexpr (std::is_pointer_v<type>)
        return static_cast<type>(v.p);
    else if constexpr (std::is_same_v<type, double>)
        return v.d;
    else if constexpr (std::is_same_v<type, int64_t>)
        return v.l;
    else
        return static_cast<type>(v.i);
}

// Where the solver function's own result goes: an int that is a status, a value, a new object.
enum call_result : uint8_t {
    RESULT_STATUS, // "status"
    RESULT_INT,    // "out"
    RESULT_LONG,
    RESULT_DOUBLE,
    RESULT_LP, // "outlp"
    RESULT_NET // "outnet"
};

struct solver_call {
    const char *name;     // "GETX"
    const char *function; // "VNTLgetx"
    uint32_t request;     // message ids
    uint32_t response;
    uint16_t request_size; // of the records, in bytes
    uint16_t response_size;
    call_result result;
    uint16_t result_at; // offset in the response
    bool runs_long;     // a solve and its like, which a caller may want to end
    bool gives_value;   // "status" carries a value: `nothing` where there is no such problem
    int8_t nothing;
    bool gives_texts; // whose terminator the worker must know
    uint32_t queries; // what the worker asks for sizes, see query_bit()
    uint16_t nargs;
    const call_argument *args;
    // Calls `function`, which must have the row's prototype.
    void (*invoke)(void *function, const call_value *args, call_value *result);
};

// What the largest row takes.
constexpr size_t SOLVERCALL_MAXARGS = 24;
constexpr size_t SOLVERCALL_MAXRECORD = 1024; // bytes of a request or response

// All rows, ascending by request id, and the place of each.
enum : int {
#define SOLVER_CALL(name, function, ...) SOLVERCALL_##name,
#include "remote/calls/solvercalls.def"
    SOLVERCALL_COUNT
};
extern const solver_call solvercalls[SOLVERCALL_COUNT];

// The row of a request's id, null when the request is no call of the solver.
const solver_call *solvercalls_find(uint32_t request);

// Whether the call only asks: it changes nothing in the worker, so that it may be repeated.
bool solvercall_asks(const solver_call *call);

// Carries out the request of `frame`.  Returns what a run function returns: 0, or -1 for a
// malformed request, which has been answered with a NAK of status -1.
int solvercall_run(handler_frame *frame, const solver_call *call);

// The run function of each row.
#define SOLVER_CALL(name, function, ...)                                                           \
    int vnthandler_VNTMESSAGEID_##name##_REQ_run(handler_frame *frame);
#include "remote/calls/solvercalls.def"

} // namespace vnt
