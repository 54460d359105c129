// notyet.cc: an answer from every function of vanto.h that nothing else defines.
//
// All of them are here, as weak symbols made from the list of solver calls: a function of the same
// name in any other file takes the place of the one here.  What is left says that it is not
// supported: with a status, a count of 0 or no object, and a line of the error channel.

#include "remote/calls/prototype.h"
#include "remote/codec/catalogue.h"
#include "solver/calls/calls.h"

#include <type_traits>

namespace vnt {

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

#define SOLVER_CALL(name, function, ...)                                                           \
    namespace notyet_##function                                                                    \
    {                                                                                              \
        using call = decltype(::function);                                                         \
        extern "C" [[gnu::weak, gnu::visibility("default")]] result_type<call> function(           \
            PROTOTYPE_PARAMETERS(call, __VA_ARGS__))                                               \
        {                                                                                          \
            return notyet<vntmsg_##name##_RES, result_type<call>>(                                 \
                #function, PROTOTYPE_ARGUMENTS(__VA_ARGS__));                                      \
        }                                                                                          \
    }
#include "remote/calls/solvercalls.def"

} // namespace vnt
