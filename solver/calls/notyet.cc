// notyet.cc: an answer from every function of vanto.h that nothing else defines.
//
// All of them are here, as weak symbols made from the list of solver calls: a function of the same
// name in any other file takes the place of the one here.  What is left says that it is not
// supported: with a status, a count of 0 or no object, and a line of the error channel.

#include "remote/codec/catalogue.h"
#include "solver/calls/calls.h"

#include <tuple>
#include <type_traits>

namespace vnt {

template <class function> struct prototype;
template <class out, class... parameters> struct prototype<out(parameters...)> {
    using result = out;
    template <int n> using parameter = std::tuple_element_t<n, std::tuple<parameters...>>;
};
template <class function> using result = typename prototype<function>::result;
template <class function, int n> using parameter_type =
    typename prototype<function>::template parameter<n>;

static int refuse(const char *call, vntenv *env)
{
    return with_environment(
        env,
        [](vntenv &) {
            throw failure{VNTERR_NOT_SUPPORTED, "not supported"};
        },
        call);
}

// The only int that a creating function points to is its status.
static void set_status(int *status_p, int status)
{
    put(status_p, status);
}
template <class other> static void set_status(other, int) {}

// `response` is the message that would carry the answer: a count travels in its field "out".
template <class response, class out, class... rest>
static out notyet(const char *call, vntenv *env, rest... arguments)
{
    [[maybe_unused]] int status = refuse(call, env);
    if constexpr (std::is_pointer_v<out>) {
        (set_status(arguments, status), ...);
        return nullptr;
    } else if constexpr (requires(response r) { r.out; }) {
        return 0;
    } else {
        return status;
    }
}

// TAKE(n) declares parameter n, PASS(n) passes it on; EACH_n does so for the first n.
#define TAKE(n) parameter_type<call, n> a##n
#define PASS(n) a##n
// clang-format off
#define EACH_1(X) X(0)
#define EACH_2(X) EACH_1(X), X(1)
#define EACH_3(X) EACH_2(X), X(2)
#define EACH_4(X) EACH_3(X), X(3)
#define EACH_5(X) EACH_4(X), X(4)
#define EACH_6(X) EACH_5(X), X(5)
#define EACH_7(X) EACH_6(X), X(6)
#define EACH_8(X) EACH_7(X), X(7)
#define EACH_9(X) EACH_8(X), X(8)
#define EACH_10(X) EACH_9(X), X(9)
#define EACH_11(X) EACH_10(X), X(10)
#define EACH_12(X) EACH_11(X), X(11)
#define EACH_13(X) EACH_12(X), X(12)
#define EACH_14(X) EACH_13(X), X(13)
#define EACH_15(X) EACH_14(X), X(14)
#define EACH_16(X) EACH_15(X), X(15)
#define EACH_17(X) EACH_16(X), X(16)
#define EACH_18(X) EACH_17(X), X(17)
#define EACH_19(X) EACH_18(X), X(18)
#define EACH_20(X) EACH_19(X), X(19)
#define EACH_21(X) EACH_20(X), X(20)
#define EACH_22(X) EACH_21(X), X(21)
#define EACH_23(X) EACH_22(X), X(22)
#define EACH_24(X) EACH_23(X), X(23)
#define NTH(a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15, a16, a17, a18, a19, a20, a21, a22, a23, a24, n, ...) n
#define COUNT(...) NTH(__VA_ARGS__, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1)
// clang-format on
#define JOIN_(a, b) a##b
#define JOIN(a, b) JOIN_(a, b)
#define FIRST(n, X) JOIN(EACH_, n)(X)

#define SOLVER_CALL(name, function, ...)                                                           \
    namespace notyet_##function                                                                    \
    {                                                                                              \
        using call = decltype(::function);                                                         \
        extern "C" [[gnu::weak, gnu::visibility("default")]] result<call> function(                \
            FIRST(COUNT(__VA_ARGS__), TAKE))                                                       \
        {                                                                                          \
            return notyet<vntmsg_##name##_RES, result<call>>(#function,                            \
                                                             FIRST(COUNT(__VA_ARGS__), PASS));     \
        }                                                                                          \
    }
#include "remote/calls/solvercalls.def"

} // namespace vnt
