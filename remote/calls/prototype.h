// prototype.h: the result and the parameters of a function's type, and their lists, as long as the
// words of a row in solvercalls.def.
//
// A row's words stand for the function's parameters one by one, so counting them gives the number
// of parameters.  Headers of the product are not needed here: the open solver reads this one, too.
//
// Threads: any.

#pragma once

#include <cstddef>
#include <tuple>

namespace vnt {

template <class function> struct prototype;
template <class outcome, class... params> struct prototype<outcome(params...)> {
    using result = outcome;
    template <size_t i> using parameter = std::tuple_element_t<i, std::tuple<params...>>;
    // A template made with the result and the parameters.
    template <template <class, class...> class made> using of = made<outcome, params...>;
};

template <class function> using result_type = typename prototype<function>::result;
template <class function, size_t i> using parameter_type =
    typename prototype<function>::template parameter<i>;

} // namespace vnt

// PROTOTYPE_PARAMETERS(type, words...) declares the parameters a0, a1, ... of a function of the
// type, one for each word.  PROTOTYPE_ARGUMENTS(words...) lists their names.
#define PROTOTYPE_PARAMETERS(type, ...) PROTOTYPE_LIST(PROTOTYPE_PARAMETER, type, __VA_ARGS__)
#define PROTOTYPE_ARGUMENTS(...) PROTOTYPE_LIST(PROTOTYPE_ARGUMENT, , __VA_ARGS__)
#define PROTOTYPE_PARAMETER(t, i) ::vnt::parameter_type<t, i> a##i
#define PROTOTYPE_ARGUMENT(t, i) a##i

// clang-format off
#define PROTOTYPE_EACH_1(X, t) X(t, 0)
#define PROTOTYPE_EACH_2(X, t) PROTOTYPE_EACH_1(X, t), X(t, 1)
#define PROTOTYPE_EACH_3(X, t) PROTOTYPE_EACH_2(X, t), X(t, 2)
#define PROTOTYPE_EACH_4(X, t) PROTOTYPE_EACH_3(X, t), X(t, 3)
#define PROTOTYPE_EACH_5(X, t) PROTOTYPE_EACH_4(X, t), X(t, 4)
#define PROTOTYPE_EACH_6(X, t) PROTOTYPE_EACH_5(X, t), X(t, 5)
#define PROTOTYPE_EACH_7(X, t) PROTOTYPE_EACH_6(X, t), X(t, 6)
#define PROTOTYPE_EACH_8(X, t) PROTOTYPE_EACH_7(X, t), X(t, 7)
#define PROTOTYPE_EACH_9(X, t) PROTOTYPE_EACH_8(X, t), X(t, 8)
#define PROTOTYPE_EACH_10(X, t) PROTOTYPE_EACH_9(X, t), X(t, 9)
#define PROTOTYPE_EACH_11(X, t) PROTOTYPE_EACH_10(X, t), X(t, 10)
#define PROTOTYPE_EACH_12(X, t) PROTOTYPE_EACH_11(X, t), X(t, 11)
#define PROTOTYPE_EACH_13(X, t) PROTOTYPE_EACH_12(X, t), X(t, 12)
#define PROTOTYPE_EACH_14(X, t) PROTOTYPE_EACH_13(X, t), X(t, 13)
#define PROTOTYPE_EACH_15(X, t) PROTOTYPE_EACH_14(X, t), X(t, 14)
#define PROTOTYPE_EACH_16(X, t) PROTOTYPE_EACH_15(X, t), X(t, 15)
#define PROTOTYPE_EACH_17(X, t) PROTOTYPE_EACH_16(X, t), X(t, 16)
#define PROTOTYPE_EACH_18(X, t) PROTOTYPE_EACH_17(X, t), X(t, 17)
#define PROTOTYPE_EACH_19(X, t) PROTOTYPE_EACH_18(X, t), X(t, 18)
#define PROTOTYPE_EACH_20(X, t) PROTOTYPE_EACH_19(X, t), X(t, 19)
#define PROTOTYPE_EACH_21(X, t) PROTOTYPE_EACH_20(X, t), X(t, 20)
#define PROTOTYPE_EACH_22(X, t) PROTOTYPE_EACH_21(X, t), X(t, 21)
#define PROTOTYPE_EACH_23(X, t) PROTOTYPE_EACH_22(X, t), X(t, 22)
#define PROTOTYPE_EACH_24(X, t) PROTOTYPE_EACH_23(X, t), X(t, 23)
#define PROTOTYPE_NTH(_1, _2, _3, _4, _5, _6, _7, _8, _9, _10, _11, _12, _13, _14, _15, _16, _17, _18, _19, _20, _21, _22, _23, _24, n, ...) n
#define PROTOTYPE_COUNT(...) PROTOTYPE_NTH(__VA_ARGS__, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0)
// clang-format on
#define PROTOTYPE_LIST(X, t, ...) PROTOTYPE_LIST1(PROTOTYPE_COUNT(__VA_ARGS__), X, t)
#define PROTOTYPE_LIST1(n, X, t) PROTOTYPE_LIST2(n, X, t)
#define PROTOTYPE_LIST2(n, X, t) PROTOTYPE_EACH_##n(X, t)
