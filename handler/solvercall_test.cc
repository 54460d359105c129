#include "handler/solvercall.h"

#include "codec/copy.h"
#include "handler/asynccall.h"
#include "handler/flatten.h"
#include "test/arrays.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

namespace fs = std::filesystem;

// A solver of a few functions.  Each says what it was called with; the tests set what it answers.
static std::vector<std::string> said;
static int status;
static int rows, terminator;
static const void *pointer; // one that the function got
static std::function<void()> during;

static void say(const std::string &text)
{
    said.push_back(text);
}

template <class element> static std::string list(const element *p, int count)
{
    if (p == nullptr) return "null";
    std::ostringstream out;
    for (int i = 0; i < count; i++)
        out << (i > 0 ? "," : "") << p[i];
    return out.str();
}

static std::string object(const void *p)
{
    return std::to_string(reinterpret_cast<uintptr_t>(p));
}

extern "C" {
int VNTLgetnumrows(VNTENVptr, VNTLPptr)
{
    say("numrows");
    return rows;
}
int VNTLEgetnulbytes(VNTENVptr, int *nulbytes_p)
{
    *nulbytes_p = terminator;
    return 0;
}
int VNTLfreeprob(VNTENVptr env, VNTLPptr *lp)
{
    say("freeprob " + object(env) + " " + object(*lp));
    return 0;
}
int VNTLchgobj(VNTENVptr env, VNTLPptr lp, int cnt, const int *indices, const double *values)
{
    pointer = indices;
    say("chgobj " + object(env) + " " + object(lp) + " " + std::to_string(cnt) + " " +
        list(indices, cnt) + " " + list(values, cnt));
    if (during) during();
    return status;
}
int VNTLcopybase(VNTENVptr, VNTLPptr, const int *, const int *)
{
    return status;
}
int VNTLgetslack(VNTENVptr, VNTLPptr, double *slack, int begin, int end)
{
    for (int i = begin; i <= end; i++)
        slack[i - begin] = i;
    return status;
}
int VNTLftran(VNTENVptr, VNTLPptr, double *x)
{
    say("ftran " + list(x, rows));
    if (x != nullptr) x[0] = -1;
    return status;
}
int VNTLgetprobname(VNTENVptr, VNTLPptr, char *buf, int64_t space, int64_t *surplus_p)
{
    memcpy(buf, "ab\0\0cd", static_cast<size_t>(space < 6 ? space : 6));
    *surplus_p = 0;
    return status;
}
int VNTLgetcolname(VNTENVptr, VNTLPptr, char **name, char *namestore, int64_t, int64_t *, int, int)
{
    static char elsewhere[] = "elsewhere";
    memcpy(namestore, "one\0tw", 6);
    name[0] = namestore;
    name[1] = nullptr;
    name[2] = elsewhere;
    name[3] = namestore + 4; // ends with the store, not with a zero
    return 0;
}
int VNTLwriteprob(VNTENVptr, VNTLPptr, const char *filename, const char *filetype)
{
    say(filename);
    if (filetype != nullptr) std::ofstream(filename) << filetype;
    return status;
}
}

// What the run function sends, and when its call runs asynchronously.
static std::vector<std::shared_ptr<void>> sent;
static ptrdiff_t filesthen; // in the working directory
static std::string lacking;
static bool asynchronous;
static int begun;

int frame_respond(handler_frame *, const void *response)
{
    sent.emplace_back(vntmsg_copy(response), [](void *p) { vntmsg_uncopy(&p); });
    filesthen = std::distance(fs::directory_iterator("."), {});
    return 0;
}
int frame_reject(handler_frame *frame, int32_t s)
{
    frame->nak.status = s;
    frame_respond(frame, &frame->nak);
    return s == -1 ? -1 : 0;
}
int frame_lacking(handler_frame *frame, const char *function)
{
    lacking = function;
    return frame_reject(frame, 1811);
}
int async_isasync(void)
{
    return asynchronous;
}
int asynccall_begin(handler_frame *, uint32_t requestid, int32_t, VNTENVptr, VNTLPptr)
{
    say("begin " + std::to_string(requestid));
    return begun;
}
void asynccall_end(handler *, VNTENVptr)
{
    say("end");
}

namespace {

using lines = std::vector<std::string>;
using doubles = std::vector<double>;

// A request, sent to its run function, and the answer.
class SolverCall : public testing::Test {
  protected:
    handler owner{};
    fs::path directory = fs::temp_directory_path() / ("calls" + std::to_string(getpid()));

    void SetUp() override
    {
        fs::create_directory(directory);
        fs::current_path(directory);
        terminator = 1;
        status = rows = begun = 0;
        asynchronous = false;
        during = nullptr;
        said.clear(), sent.clear();
    }
    void TearDown() override
    {
        fs::current_path("/");
        EXPECT_TRUE(fs::is_empty(directory)) << "a file was left behind";
        fs::remove_all(directory);
    }

    int run(int row, void *request)
    {
        field_at<uint32_t>(request, sizeof(void *)) = solvercalls[row].request;
        handler_frame frame{};
        frame.owner = &owner;
        frame.request = request;
        frame.nak.messageid = VNTMESSAGEID_NAK;
        frame.nak.status = 12345;
        return solvercall_run(&frame, &solvercalls[row]);
    }

    // The answer, of the id that the row says; null for a NAK.
    template <class response> const response *answer(int row)
    {
        if (sent.size() != 1 || message_id(sent[0].get()) != solvercalls[row].response)
            return nullptr;
        return static_cast<const response *>(sent[0].get());
    }
    int32_t refusal() const
    {
        if (sent.size() != 1 || message_id(sent[0].get()) != VNTMESSAGEID_NAK) return 0;
        return static_cast<const vntmsg_NAK *>(sent[0].get())->status;
    }
    bool rejected(int row, void *request)
    {
        sent.clear();
        return run(row, request) == -1 && refusal() == -1 && said.empty();
    }
};

#define RUN(name, request) run(SOLVERCALL_##name, &request)
#define ANSWER(name) answer<vntmsg_##name##_RES>(SOLVERCALL_##name)
#define REJECTED(name, request) rejected(SOLVERCALL_##name, &request)

const handle env(100), lp(200);

vntmsg_CHGOBJ_REQ chgobj(int count, const message_array &indices, const message_array &values)
{
    return {nullptr, 0, 0, env.a, lp.a, count, indices, values};
}

// What calls and rows have in common is tested with all of them, in chunks, absent, empty and of
// negative counts, by the all-calls test.

TEST_F(SolverCall, ArraysAndObjectsThatTheCallDoesNotTakeAreRejected)
{
    chunked<int> two{{1, 2}}, lying{{1, 2}}, ints16{std::vector<int>(16)};
    chunked<char> half{std::vector<char>(8)}, split{std::vector<char>(8), std::vector<char>(8)};
    chunked<double> values{{1, 2, 3}};
    lying.a.total = 3;
    vntmsg_CHGOBJ_REQ request = chgobj(2, values.a, values.a);
    EXPECT_TRUE(REJECTED(CHGOBJ, request)) << "another type";
    request = chgobj(2, lying.a, values.a);
    EXPECT_TRUE(REJECTED(CHGOBJ, request)) << "a total that the chunks do not make";
    request = chgobj(3, two.a, values.a);
    EXPECT_TRUE(REJECTED(CHGOBJ, request)) << "shorter than its count says";
    for (const message_array &a : {half.a, split.a, ints16.a}) { // no sixteen bytes in one chunk
        vntmsg_GETITCNT_REQ count = {nullptr, 0, 0, a, lp.a};
        EXPECT_TRUE(REJECTED(GETITCNT, count));
        count = {nullptr, 0, 0, env.a, a};
        EXPECT_TRUE(REJECTED(GETITCNT, count));
    }
}

TEST_F(SolverCall, AnInputIsMeasuredByAQueryOnlyWhereItIsAskedAnyway)
{
    rows = 2;
    chunked<int> one{{7}};
    vntmsg_COPYBASE_REQ request = {nullptr, 0, 0, env.a, lp.a, one.a, one.a};
    EXPECT_EQ(RUN(COPYBASE, request), -1);
    EXPECT_EQ(refusal(), -1);
    EXPECT_EQ(said, lines{"numrows"}) << "the columns are not asked";
}

TEST_F(SolverCall, OutputsTravelWhateverTheStatusAndInoutOnesAreAPaddedCopy)
{
    status = 42;
    vntmsg_GETSLACK_REQ slack = {nullptr, 0, 0, env.a, lp.a, 3, 5};
    ASSERT_EQ(RUN(GETSLACK, slack), 0);
    ASSERT_NE(ANSWER(GETSLACK), nullptr);
    EXPECT_EQ(ANSWER(GETSLACK)->status, 42);
    EXPECT_EQ(elements<double>(ANSWER(GETSLACK)->slack), (doubles{3, 4, 5}));

    sent.clear();
    rows = 3;
    chunked<double> two{{1}, {2}};
    vntmsg_FTRAN_REQ request = {nullptr, 0, 0, env.a, lp.a, two.a};
    ASSERT_EQ(RUN(FTRAN, request), 0);
    EXPECT_EQ(said.back(), "ftran 1,2,0");
    EXPECT_EQ(elements<double>(ANSWER(FTRAN)->x), (doubles{-1, 2, 0}));
    EXPECT_EQ(two.chunks[0][0], 1) << "the request stays as it came";
}

TEST_F(SolverCall, DefaultsStandInForAbsentObjectsWhereTheRequestSaysSo)
{
    owner.env = reinterpret_cast<VNTENVptr>(1);
    owner.lp = reinterpret_cast<VNTLPptr>(2);
    vntmsg_CHGOBJ_REQ request = chgobj(0, message_array{}, message_array{});
    request.env = request.lp = {};
    RUN(CHGOBJ, request);
    request.flags = FLAG_USEDEFAULTS;
    RUN(CHGOBJ, request);
    request.lp = lp.a;
    RUN(CHGOBJ, request);
    vntmsg_FREEPROB_REQ last{};
    last.flags = FLAG_USEDEFAULTS;
    RUN(FREEPROB, last);
    EXPECT_EQ(said, (lines{"chgobj 0 0 0 null null", "chgobj 1 2 0 null null",
                           "chgobj 1 200 0 null null", "freeprob 1 0"}));
    EXPECT_EQ(owner.lp, nullptr) << "forgotten before it is looked at";
}

TEST_F(SolverCall, AFunctionThatTheSolverLacksIsNamed)
{
    vntmsg_LPOPT_REQ request = {nullptr, 0, 0, env.a, lp.a};
    EXPECT_EQ(RUN(LPOPT, request), 0);
    EXPECT_EQ(refusal(), 1811);
    EXPECT_EQ(lacking, "VNTLlpopt");
}

TEST_F(SolverCall, TextIsMeasuredByTheSolversTerminatorAndNeedsRoom)
{
    const struct {
        int terminator;
        int64_t space;
        uint32_t length;
    } cases[] = {{1, 10, 3}, {1, 2, 2}, {2, 10, 4}, {4, 6, 6}};
    for (auto &c : cases) {
        sent.clear();
        terminator = c.terminator;
        vntmsg_GETPROBNAME_REQ request = {nullptr, 0, 0, env.a, lp.a, c.space};
        ASSERT_EQ(RUN(GETPROBNAME, request), 0);
        EXPECT_EQ(ANSWER(GETPROBNAME)->buf_str.length, c.length) << c.terminator << " " << c.space;
    }
    sent.clear();
    vntmsg_GETPROBNAME_REQ endless = {nullptr, 0, 0, env.a, lp.a, INT64_MAX};
    EXPECT_EQ(RUN(GETPROBNAME, endless), 0);
    EXPECT_EQ(refusal(), 1001);
}

TEST_F(SolverCall, AListOfNamesLiesInTheStoreOrElsewhere)
{
    vntmsg_GETCOLNAME_REQ request = {nullptr, 0, 0, env.a, lp.a, 6, 0, 3};
    ASSERT_EQ(RUN(GETCOLNAME, request), 0);
    auto names = elements<message_string>(ANSWER(GETCOLNAME)->name);
    ASSERT_EQ(names.size(), 4u);
    EXPECT_STREQ(names[0].data, "one");
    EXPECT_FALSE(names[1].present);
    EXPECT_STREQ(names[2].data, "elsewhere");
    EXPECT_EQ(std::string(names[3].data, names[3].length), "tw") << "cut by the end of the store";
}

TEST_F(SolverCall, AFileIsWrittenUnderANameOfItsOwnAndSent)
{
    const std::string mine = "tmp" + std::to_string(getpid());
    std::ofstream(mine + "0m.lp") << "somebody's";
    const struct {
        const char *asked, *given;
        std::string contents;
    } cases[] = {
        {"/etc/a\\m.lp", "1m.lp", "contents"},
        {"..", "0..", ""},
        {"", "0", ""},
        {"a/", "0", ""},
        {nullptr, "0", ""},
    };
    for (auto &c : cases) {
        sent.clear();
        vntmsg_WRITEPROB_REQ request = {
            nullptr, 0, 0, env.a, lp.a, text(c.asked), text(c.contents.c_str())};
        ASSERT_EQ(RUN(WRITEPROB, request), 0);
        EXPECT_EQ(said.back(), mine + c.given);
        EXPECT_EQ(filesthen, 1) << "a worker killed while it sends would leave its file";
        EXPECT_EQ(ANSWER(WRITEPROB)->status, 0);
        const message_array &contents = ANSWER(WRITEPROB)->filename_str.contents;
        EXPECT_EQ(contents.type, TYPE_BYTE);
        std::vector<char> bytes = elements<char>(contents);
        EXPECT_EQ(std::string(bytes.begin(), bytes.end()), c.contents);
    }
    fs::remove(mine + "0m.lp");
}

TEST_F(SolverCall, AFileThatWasNotWrittenIsNotSent)
{
    status = 7;
    vntmsg_WRITEPROB_REQ request = {nullptr, 0, 0, env.a, lp.a, text("m"), text("half")};
    ASSERT_EQ(RUN(WRITEPROB, request), 0);
    EXPECT_EQ(ANSWER(WRITEPROB)->status, 7);
    EXPECT_FALSE(ANSWER(WRITEPROB)->filename_str.name.present);

    sent.clear(), said.clear();
    std::string endless(5000, 'n');
    request.filename_str = text(endless.c_str());
    ASSERT_EQ(RUN(WRITEPROB, request), 0);
    EXPECT_EQ(ANSWER(WRITEPROB)->status, 1422);
    EXPECT_EQ(ANSWER(WRITEPROB)->filename_str.contents.type, TYPE_NONE);
    EXPECT_TRUE(said.empty()) << "the solver has nothing to write to";
}

TEST_F(SolverCall, AnAsynchronousCallOutlivesItsRequest)
{
    chunked<int> indices{{1, 2}};
    chunked<double> values{{0.5, 1.5}};
    vntmsg_CHGOBJ_REQ request = chgobj(2, indices.a, values.a);
    request.flags = FLAG_ASYNCHRONOUS;
    during = [&] { memset(&request, 0, sizeof request); };
    EXPECT_EQ(RUN(CHGOBJ, request), 0);
    EXPECT_EQ(said, (lines{"begin 1246", "chgobj 100 200 2 1,2 0.5,1.5", "end"}));
    EXPECT_NE(pointer, indices.chunks[0].data());
    EXPECT_NE(ANSWER(CHGOBJ), nullptr);
    request = chgobj(2, indices.a, values.a);
    EXPECT_EQ(RUN(CHGOBJ, request), 0);
    EXPECT_EQ(pointer, indices.chunks[0].data()) << "one that does not is not copied";
}

TEST_F(SolverCall, AnAsynchronousCallMayNotNestNorBeginInVain)
{
    vntmsg_CHGOBJ_REQ request = chgobj(0, message_array{}, message_array{});
    request.flags = FLAG_ASYNCHRONOUS;
    asynchronous = true;
    EXPECT_TRUE(REJECTED(CHGOBJ, request));
    asynchronous = false;
    sent.clear();
    begun = 1809;
    EXPECT_EQ(RUN(CHGOBJ, request), 0);
    EXPECT_EQ(refusal(), 1809);
    EXPECT_EQ(said, lines{"begin 1246"}) << "neither called nor ended";
}

} // namespace
