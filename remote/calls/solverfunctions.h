// solverfunctions.h: defines C functions with the solver's prototypes out of the list of solver
// calls.
//
// SOLVER_FUNCTION(name, function, words...) takes what a row says and defines the function: it
// packs its arguments and hands them to solver_function(), which the includer has declared:
//
//   void solver_function(const solver_call *call, const call_value *args, call_value *result);
//
// A row's words stand for the function's parameters one by one: counting them gives the number of
// parameters, whose types come from the prototype.  A row and a prototype that do not agree do not
// compile.

#pragma once

#include "remote/base/entry.h"
#include "remote/calls/solvercall.h"

#include <type_traits>

namespace vnt {

// The type of a function's parameter.
template <class function, size_t i> struct parameter_at;
template <class result, class first, class... rest, size_t i>
struct parameter_at<result(first, rest...), i> : parameter_at<result(rest...), i - 1> {
};
template <class result, class first, class... rest> struct parameter_at<result(first, rest...), 0> {
    using type = first;
};
template <class function, size_t i> using parameter = typename parameter_at<function, i>::type;

template <class function> struct result_type;
template <class result, class... params> struct result_type<result(params...)> {
    using type = result;
};
template <class function> using result_of_function = typename result_type<function>::type;

template <class type> call_value pack(type value)
{
    call_value v{};
    if constexpr (std::is_pointer_v<type>)
        v.p = const_cast<void *>(static_cast<const void *>(value));
    else if constexpr (std::is_same_v<type, double>)
        v.d = value;
    else if constexpr (std::is_same_v<type, int64_t>)
        v.l = value;
    else
        v.i = value;
    return v;
}

template <class type> type unpack(const call_value &v)
{
    if constexpr (std::is_pointer_v<type>)
        return static_cast<type>(v.p);
    else if constexpr (std::is_same_v<type, double>)
        return v.d;
    else if constexpr (std::is_same_v<type, int64_t>)
        return v.l;
    else
        return v.i;
}

#define NTH(_1, _2, _3, _4, _5, _6, _7, _8, _9, _10, _11, _12, _13, _14, _15, _16, _17, _18, _19,  \
            _20, _21, _22, _23, _24, n, ...)                                                       \
    n
#define COUNT_WORDS(...)                                                                           \
    NTH(__VA_ARGS__, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, \
        3, 2, 1, 0)
#define JOIN(a, b) JOIN2(a, b)
#define JOIN2(a, b) a##b
#define PARAMETERS_1(f) parameter<decltype(f), 0> a0
#define PARAMETERS_2(f) PARAMETERS_1(f), parameter<decltype(f), 1> a1
#define PARAMETERS_3(f) PARAMETERS_2(f), parameter<decltype(f), 2> a2
#define PARAMETERS_4(f) PARAMETERS_3(f), parameter<decltype(f), 3> a3
#define PARAMETERS_5(f) PARAMETERS_4(f), parameter<decltype(f), 4> a4
#define PARAMETERS_6(f) PARAMETERS_5(f), parameter<decltype(f), 5> a5
#define PARAMETERS_7(f) PARAMETERS_6(f), parameter<decltype(f), 6> a6
#define PARAMETERS_8(f) PARAMETERS_7(f), parameter<decltype(f), 7> a7
#define PARAMETERS_9(f) PARAMETERS_8(f), parameter<decltype(f), 8> a8
#define PARAMETERS_10(f) PARAMETERS_9(f), parameter<decltype(f), 9> a9
#define PARAMETERS_11(f) PARAMETERS_10(f), parameter<decltype(f), 10> a10
#define PARAMETERS_12(f) PARAMETERS_11(f), parameter<decltype(f), 11> a11
#define PARAMETERS_13(f) PARAMETERS_12(f), parameter<decltype(f), 12> a12
#define PARAMETERS_14(f) PARAMETERS_13(f), parameter<decltype(f), 13> a13
#define PARAMETERS_15(f) PARAMETERS_14(f), parameter<decltype(f), 14> a14
#define PARAMETERS_16(f) PARAMETERS_15(f), parameter<decltype(f), 15> a15
#define PARAMETERS_17(f) PARAMETERS_16(f), parameter<decltype(f), 16> a16
#define PARAMETERS_18(f) PARAMETERS_17(f), parameter<decltype(f), 17> a17
#define PARAMETERS_19(f) PARAMETERS_18(f), parameter<decltype(f), 18> a18
#define PARAMETERS_20(f) PARAMETERS_19(f), parameter<decltype(f), 19> a19
#define PARAMETERS_21(f) PARAMETERS_20(f), parameter<decltype(f), 20> a20
#define PARAMETERS_22(f) PARAMETERS_21(f), parameter<decltype(f), 21> a21
#define PARAMETERS_23(f) PARAMETERS_22(f), parameter<decltype(f), 22> a22
#define PARAMETERS_24(f) PARAMETERS_23(f), parameter<decltype(f), 23> a23
#define PACKED_1 pack(a0)
#define PACKED_2 PACKED_1, pack(a1)
#define PACKED_3 PACKED_2, pack(a2)
#define PACKED_4 PACKED_3, pack(a3)
#define PACKED_5 PACKED_4, pack(a4)
#define PACKED_6 PACKED_5, pack(a5)
#define PACKED_7 PACKED_6, pack(a6)
#define PACKED_8 PACKED_7, pack(a7)
#define PACKED_9 PACKED_8, pack(a8)
#define PACKED_10 PACKED_9, pack(a9)
#define PACKED_11 PACKED_10, pack(a10)
#define PACKED_12 PACKED_11, pack(a11)
#define PACKED_13 PACKED_12, pack(a12)
#define PACKED_14 PACKED_13, pack(a13)
#define PACKED_15 PACKED_14, pack(a14)
#define PACKED_16 PACKED_15, pack(a15)
#define PACKED_17 PACKED_16, pack(a16)
#define PACKED_18 PACKED_17, pack(a17)
#define PACKED_19 PACKED_18, pack(a18)
#define PACKED_20 PACKED_19, pack(a19)
#define PACKED_21 PACKED_20, pack(a20)
#define PACKED_22 PACKED_21, pack(a21)
#define PACKED_23 PACKED_22, pack(a22)
#define PACKED_24 PACKED_23, pack(a23)

#define SOLVER_FUNCTION(name, function, ...)                                                       \
    VNT_ENTRY result_of_function<decltype(function)> function(                                     \
        JOIN(PARAMETERS_, COUNT_WORDS(__VA_ARGS__))(function))                                     \
    {                                                                                              \
        const call_value args[] = {JOIN(PACKED_, COUNT_WORDS(__VA_ARGS__))};                       \
        call_value value;                                                                          \
        solver_function(&solvercalls[SOLVERCALL_##name], args, &value);                            \
        return unpack<result_of_function<decltype(function)>>(value);                              \
    }

} // namespace vnt
