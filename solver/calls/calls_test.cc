#include "remote/codec/catalogue.h"
#include "solver/calls/test_session.h"

#include <set>

namespace vnt {

// Every call of the list with the same number in all its numbers and nothing in its pointers.
struct bare_arguments {
    VNTENVptr env;
    VNTLPptr lp;
    VNTLPptr variable;
    int number;

    template <class type> type make()
    {
        if constexpr (std::is_same_v<type, VNTENVptr>) {
            return env;
        } else if constexpr (std::is_same_v<type, VNTLPptr>) {
            return lp;
        } else if constexpr (std::is_same_v<type, VNTLPptr *>) {
            return &variable;
        } else if constexpr (std::is_pointer_v<type>) {
            return nullptr;
        } else {
            return static_cast<type>(number);
        }
    }
};

template <class out, class... parameters>
static out call_bare(out (*function)(parameters...), bare_arguments arguments)
{
    return function(arguments.make<parameters>()...);
}

// A count or a value travels in the response's field "out".
template <class response> constexpr bool counts = requires(response r)
{
    r.out;
};

enum answer_kind { ANSWER_STATUS, ANSWER_VALUE, ANSWER_OBJECT };

template <class out> static answer_kind kind_of(const char *call, bool count)
{
    if (std::is_pointer_v<out>) return ANSWER_OBJECT;
    for (const char *value : {"VNTLgetstat", "VNTLgetsubstat", "VNTLgetsubmethod", "VNTLNETgetstat",
                              "VNTLgetobjsen", "VNTLNETgetobjsen", "VNTLgetprobtype"}) {
        if (strcmp(call, value) == 0) return ANSWER_VALUE;
    }
    return count ? ANSWER_VALUE : ANSWER_STATUS;
}

template <class out, class... parameters> static bool takes_problem(out (*)(parameters...))
{
    return (std::is_same_v<parameters, VNTLPptr> || ...);
}

// Hands the name of each call and its answer to `check`; of those that take a problem alone where
// that is what is asked for: others may make one, at the address of one that was freed.
template <class visitor>
static void every_call(const bare_arguments &arguments, bool problems, visitor check)
{
#define SOLVER_CALL(name, function, ...)                                                           \
    if (!problems || takes_problem(function)) {                                                    \
        auto answer = call_bare(function, arguments);                                              \
        check(#function, kind_of<decltype(answer)>(#function, counts<vntmsg_##name##_RES>),        \
              (int64_t)answer);                                                                    \
    }
#include "remote/calls/solvercalls.def"
}

struct any_call : session {
    // A count or a value has nothing better to say than 0.
    void expect_refused(const bare_arguments &arguments, bool problems, std::set<int64_t> statuses)
    {
        every_call(arguments, problems, [&](const char *call, auto kind, int64_t got) {
            bool refused = kind == ANSWER_STATUS ? statuses.count(got) > 0 : got <= 0;
            EXPECT_TRUE(refused) << call << " " << got;
        });
    }
};

TEST_F(any_call, RefusesAnEnvironmentThatIsNot)
{
    VNTENVptr other = VNTLopenVANTO(nullptr), closed = other;
    ASSERT_EQ(VNTLcloseVANTO(&other), 0);
    EXPECT_EQ(other, nullptr);
    for (VNTENVptr bad : {VNTENVptr{}, reinterpret_cast<VNTENVptr>(this), closed})
        expect_refused({bad, nullptr, nullptr, 0}, false, {VNTERR_NO_ENVIRONMENT});
    EXPECT_EQ(VNTLcloseVANTO(&closed), VNTERR_NO_ENVIRONMENT);
}

TEST_F(any_call, RefusesAProblemThatIsNot)
{
    VNTENVptr other = VNTLopenVANTO(nullptr);
    VNTLPptr freed = problem(), copy = freed, foreign = VNTLcreateprob(other, nullptr, "q");
    ASSERT_EQ(VNTLfreeprob(env, &copy), 0);
    EXPECT_EQ(copy, nullptr);
    for (VNTLPptr bad : {VNTLPptr{}, freed, foreign})
        expect_refused({env, bad, bad, 0}, true, {VNTERR_NO_PROBLEM, VNTERR_NOT_SUPPORTED});
    EXPECT_EQ(VNTLcloseVANTO(&other), 0);
}

TEST_F(any_call, BearsAnyNumbersAndNoPointers)
{
    VNTLPptr lp = problem_from("max\n x + y + s\nst\n c: x + y + s <= 4.5\n d: 1 <= x - y <= 2\n"
                               "bounds\n x <= 3\n y <= 3\n 1 <= s <= 2\ngeneral\n x\n"
                               "semi-continuous\n s\nend\n");
    int64_t begin = 0;
    int ind[] = {0, 1};
    double val[] = {1, 2};
    ASSERT_EQ(VNTLaddsos(env, lp, 1, 2, "2", &begin, ind, val, nullptr), 0);
    ASSERT_EQ(VNTLaddindconstr(env, lp, 0, 0, 1, 1, 'L', ind + 1, val, nullptr), 0);
    ASSERT_EQ(VNTLaddmipstarts(env, lp, 1, 2, &begin, ind, val, nullptr, nullptr), 0);
    for (bool solved : {false, true}) {
        for (int number : {-1, 0, 1, 3}) {
            VNTLPptr copy = VNTLcloneprob(env, lp, nullptr);
            ASSERT_EQ(solved ? VNTLmipopt(env, copy) : 0, 0);
            every_call({env, copy, nullptr, number}, false,
                       [](const char *call, auto kind, int64_t got) {
                           bool status = got == 0 || (got >= 1001 && got < 2000);
                           EXPECT_TRUE(kind != ANSWER_STATUS || status) << call << " " << got;
                       });
            EXPECT_NE(all_of(copy), "");
        }
    }
}

} // namespace vnt
