#include "codec/catalogue.h"
#include "solver/test_session.h"

#include <array>
#include <cstdlib>
#include <new>
#include <set>

// The allocations of this program, one of which can be made to fail.
static thread_local int64_t allowed = -1; // before the one that fails; -1 for all

[[gnu::noinline]] void *operator new(size_t size, const std::nothrow_t &) noexcept
{
    if (allowed == 0) {
        allowed = -1;
        return nullptr;
    }
    if (allowed > 0) allowed--;
    return malloc(size > 0 ? size : 1);
}
[[gnu::noinline]] void *operator new(size_t size)
{
    void *block = operator new(size, std::nothrow);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
[[gnu::noinline]] void operator delete(void *block) noexcept
{
    free(block);
}
[[gnu::noinline]] void operator delete(void *block, size_t) noexcept
{
    free(block);
}
[[gnu::noinline]] void operator delete(void *block, const std::nothrow_t &) noexcept
{
    free(block);
}

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
#include "handler/solvercalls.def"
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

// Runs the action on fresh problems with its first allocation failing, then its second and so on.
struct failing_allocations : session {
    template <class action> void expect_all_or_nothing(const char *what, const action &act)
    {
        SCOPED_TRACE(what);
        for (int64_t n = 0;; n++) {
            VNTLPptr lp = problem_from("max\n x + y\nst\n c: x + y <= 4\n d: x - y <= 2\nend\n");
            ASSERT_EQ(VNTLcopybase(env, lp, std::array{1, 1}.data(), std::array{0, 0}.data()), 0);
            std::string before = all_of(lp);
            allowed = n;
            int rc = act(lp);
            bool failed = allowed < 0;
            allowed = -1;
            if (!failed) {
                EXPECT_EQ(rc, 0);
                EXPECT_GT(n, 0);
                EXPECT_NE(all_of(lp), before);
                return;
            }
            if (rc != 0) {
                EXPECT_EQ(rc, VNTERR_NO_MEMORY) << "allocation " << n;
                EXPECT_EQ(all_of(lp), before) << "allocation " << n;
            }
            ASSERT_EQ(VNTLfreeprob(env, &lp), 0);
        }
    }
};

TEST_F(failing_allocations, LeaveAProblemAsItWas)
{
    const char *names[] = {"a column with a long name", "another one with a long name"};
    int64_t begin[] = {0, 2};
    int index[] = {1, 0, 0}, first = 0;
    double value[] = {1, 2, 3};
    expect_all_or_nothing("addcols", [&](VNTLPptr lp) {
        return VNTLaddcols(env, lp, 2, 3, nullptr, begin, index, value, nullptr, nullptr, names);
    });
    expect_all_or_nothing("addrows", [&](VNTLPptr lp) {
        return VNTLaddrows(env, lp, 0, 2, 3, nullptr, "LG", begin, index, value, nullptr, names);
    });
    expect_all_or_nothing("copylp", [&](VNTLPptr lp) {
        int count[] = {2, 1};
        return VNTLcopylpwnames(env, lp, 2, 2, VNT_MIN, nullptr, nullptr, nullptr, begin, count,
                                index, value, nullptr, nullptr, nullptr, names, names);
    });
    expect_all_or_nothing("delcols", [&](VNTLPptr lp) { return VNTLdelcols(env, lp, 0, 0); });
    expect_all_or_nothing("names",
                          [&](VNTLPptr lp) { return VNTLchgcolname(env, lp, 1, &first, names); });
    const std::string lptext = "min\n x + 2 y\nst\n c: x >= 1\n 1 <= x + y <= 3\nend\n";
    expect_all_or_nothing("lp", [&](VNTLPptr lp) { return read(lp, lptext, "lp"); });
    const std::string mpstext =
        "ROWS\n N o\n L r\nCOLUMNS\n x r 1\nRHS\nBOUNDS\n UP b x 4\nENDATA\n";
    expect_all_or_nothing("mps", [&](VNTLPptr lp) { return read(lp, mpstext, "mps"); });
}
