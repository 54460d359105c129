#include "handler/solvercall.h"

#include "codec/copy.h"
#include "handler/asynccall.h"
#include "handler/flatten.h"
#include "test/arrays.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>

namespace fs = std::filesystem;

// A solver of a few functions.  Each says what it was called with; the tests set what it answers.
static std::vector<std::string> said;
static int status;
static int rows, columns, terminator;
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
int VNTLgetnumrows(VNTENVptr, VNTLPptr lp)
{
    say("numrows " + object(lp));
    return rows;
}
int VNTLgetnumcols(VNTENVptr, VNTLPptr lp)
{
    say("numcols " + object(lp));
    return columns;
}
int VNTLNETgetnumnodes(VNTENVptr, VNTNETptr)
{
    say("numnodes");
    return rows;
}
int VNTLNETgetnumarcs(VNTENVptr, VNTNETptr)
{
    say("numarcs");
    return columns;
}
int VNTLEgetnulbytes(VNTENVptr, int *nulbytes_p)
{
    *nulbytes_p = terminator;
    return 0;
}
int VNTLgetintparam(VNTENVptr, int whichparam, int *value_p)
{
    say("get " + std::to_string(whichparam));
    *value_p = 17;
    return 0;
}
int VNTLsetintparam(VNTENVptr, int whichparam, int newvalue)
{
    say("set " + std::to_string(whichparam) + " " + std::to_string(newvalue));
    return 0;
}
int VNTLgetredlp(VNTENVptr, VNTLPptr lp, VNTLPptr *redlp_p)
{
    say("redlp");
    *redlp_p = status == 0 ? reinterpret_cast<VNTLPptr>(reinterpret_cast<uintptr_t>(lp) + 1) : lp;
    return status;
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
int VNTLcopybase(VNTENVptr, VNTLPptr, const int *cstat, const int *rstat)
{
    say("copybase " + list(cstat, 1) + " " + list(rstat, 1));
    return status;
}
int VNTLgetslack(VNTENVptr, VNTLPptr, double *slack, int begin, int end)
{
    say(slack == nullptr ? "getslack null" : "getslack");
    for (int i = begin; i <= end; i++)
        slack[i - begin] = i;
    return status;
}
int VNTLgetbhead(VNTENVptr, VNTLPptr, int *head, double *x)
{
    if (rows > 0) head[rows - 1] = 5, x[rows - 1] = 2.5;
    return status;
}
int VNTLftran(VNTENVptr, VNTLPptr, double *x)
{
    say("ftran " + list(x, rows));
    if (x != nullptr) x[0] = -1;
    return status;
}
int VNTLgetcols(VNTENVptr, VNTLPptr, int64_t *, int64_t *, int *, double *, int64_t, int64_t *, int,
                int)
{
    say("getcols");
    return status;
}
int VNTLNETgetbase(VNTENVptr, VNTNETptr, int *, int *)
{
    say("getbase");
    return 0;
}
int VNTLgetprestat(VNTENVptr, VNTLPptr, int *, int *pcstat, int *, int *ocstat, int *)
{
    say(std::string(pcstat != nullptr ? "pcstat" : "null") +
        (ocstat != nullptr ? " ocstat" : " null"));
    return 0;
}
int VNTLgetprobname(VNTENVptr, VNTLPptr, char *buf, int64_t space, int64_t *surplus_p)
{
    memcpy(buf, "ab\0\0cd", static_cast<size_t>(space < 6 ? space : 6));
    *surplus_p = space - 6;
    return status;
}
int VNTLgetstrparam(VNTENVptr, int, char *value)
{
    memset(value, 'x', 4096);
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
VNTLPptr VNTLcreateprob(VNTENVptr, int *status_p, const char *)
{
    *status_p = status;
    return status == 0 ? reinterpret_cast<VNTLPptr>(0x1234) : nullptr;
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
using ints = std::vector<int>;

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
        status = rows = columns = begun = 0;
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

TEST_F(SolverCall, ChunksAreJoinedAndOneChunkIsUsedInPlace)
{
    chunked<int> split{{1, 2}, {}, {3}}, whole{{1, 2, 3}};
    chunked<double> values{{0.5}, {1.5, 2.5}};
    vntmsg_CHGOBJ_REQ request = chgobj(3, split.a, values.a);
    EXPECT_EQ(RUN(CHGOBJ, request), 0);
    request = chgobj(3, whole.a, values.a);
    EXPECT_EQ(RUN(CHGOBJ, request), 0);
    EXPECT_EQ(said, lines(2, "chgobj 100 200 3 1,2,3 0.5,1.5,2.5"));
    EXPECT_EQ(pointer, whole.chunks[0].data());
}

TEST_F(SolverCall, AnAbsentArrayIsNullAndAnEmptyOneIsNot)
{
    chunked<int> empty{{}};
    vntmsg_CHGOBJ_REQ request = chgobj(0, empty.a, message_array{});
    EXPECT_EQ(RUN(CHGOBJ, request), 0);
    EXPECT_EQ(said, lines{"chgobj 100 200 0  null"});
    EXPECT_NE(pointer, nullptr);
}

TEST_F(SolverCall, ArraysThatTheCallDoesNotTakeAreRejected)
{
    chunked<int> two{{1, 2}}, lying{{1, 2}};
    chunked<double> values{{1, 2, 3}};
    lying.a.total = 3;
    vntmsg_CHGOBJ_REQ request = chgobj(2, values.a, values.a);
    EXPECT_TRUE(REJECTED(CHGOBJ, request)) << "another type";
    request = chgobj(2, lying.a, values.a);
    EXPECT_TRUE(REJECTED(CHGOBJ, request)) << "a total that the chunks do not make";
    request = chgobj(3, two.a, values.a);
    EXPECT_TRUE(REJECTED(CHGOBJ, request)) << "shorter than its count says";
}

TEST_F(SolverCall, AHandleIsSixteenBytesInOneChunkOrAbsent)
{
    chunked<char> half{std::vector<char>(8)}, split{std::vector<char>(8), std::vector<char>(8)};
    chunked<int> ints16{std::vector<int>(16)};
    for (const message_array &a : {half.a, split.a, ints16.a}) {
        vntmsg_GETITCNT_REQ request = {nullptr, 0, 0, a, lp.a};
        EXPECT_TRUE(REJECTED(GETITCNT, request));
        request = {nullptr, 0, 0, env.a, a};
        EXPECT_TRUE(REJECTED(GETITCNT, request));
    }
}

TEST_F(SolverCall, AnInputIsMeasuredByAQueryOnlyWhereItIsAskedAnyway)
{
    rows = 2, columns = 9;
    chunked<int> one{{7}}, two{{7, 8}};
    vntmsg_COPYBASE_REQ request = {nullptr, 0, 0, env.a, lp.a, one.a, two.a};
    EXPECT_EQ(RUN(COPYBASE, request), 0);
    EXPECT_EQ(said, (lines{"numrows 200", "copybase 7 7"})) << "the columns are not asked";
    sent.clear();
    request.rstat = one.a;
    EXPECT_EQ(RUN(COPYBASE, request), -1);
    EXPECT_EQ(refusal(), -1);
}

TEST_F(SolverCall, ARangeGivesItsElementsAndABackwardOneNone)
{
    status = 42;
    vntmsg_GETSLACK_REQ request = {nullptr, 0, 0, env.a, lp.a, 3, 5};
    ASSERT_EQ(RUN(GETSLACK, request), 0);
    ASSERT_NE(ANSWER(GETSLACK), nullptr);
    EXPECT_EQ(ANSWER(GETSLACK)->status, 42) << "arrays travel whatever the status";
    EXPECT_EQ(elements<double>(ANSWER(GETSLACK)->slack), (doubles{3, 4, 5}));
    EXPECT_EQ(said, (lines{"numrows 200", "getslack"})) << "the index's bound is asked";

    sent.clear();
    request.end = 1;
    ASSERT_EQ(RUN(GETSLACK, request), 0);
    EXPECT_EQ(ANSWER(GETSLACK)->slack.type, TYPE_NONE);
    EXPECT_EQ(said.back(), "getslack null");
}

TEST_F(SolverCall, OutputsOfQueriedSizeAskOnce)
{
    rows = 3;
    vntmsg_GETBHEAD_REQ request = {nullptr, 0, 0, env.a, lp.a};
    ASSERT_EQ(RUN(GETBHEAD, request), 0);
    EXPECT_EQ(elements<int>(ANSWER(GETBHEAD)->head), (ints{0, 0, 5}));
    EXPECT_EQ(elements<double>(ANSWER(GETBHEAD)->x), (doubles{0, 0, 2.5}));
    EXPECT_EQ(said, lines{"numrows 200"});

    sent.clear();
    rows = -1;
    ASSERT_EQ(RUN(GETBHEAD, request), 0);
    EXPECT_EQ(ANSWER(GETBHEAD)->head.type, TYPE_NONE) << "a negative count is none";
}

TEST_F(SolverCall, RoomThatCannotBeCountedIsOutOfMemory)
{
    vntmsg_GETCOLS_REQ request = {nullptr, 0, 0, env.a, lp.a, INT64_MAX, 0, 0};
    EXPECT_EQ(RUN(GETCOLS, request), 0);
    EXPECT_EQ(refusal(), 1001);
    EXPECT_TRUE(said.empty());
}

TEST_F(SolverCall, AnInoutArrayIsAPaddedCopy)
{
    rows = 3;
    chunked<double> two{{1}, {2}};
    vntmsg_FTRAN_REQ request = {nullptr, 0, 0, env.a, lp.a, two.a};
    ASSERT_EQ(RUN(FTRAN, request), 0);
    EXPECT_EQ(said.back(), "ftran 1,2,0");
    EXPECT_EQ(elements<double>(ANSWER(FTRAN)->x), (doubles{-1, 2, 0}));
    EXPECT_EQ(two.chunks[0][0], 1) << "the request stays as it came";

    sent.clear();
    request.x = {};
    ASSERT_EQ(RUN(FTRAN, request), 0);
    EXPECT_EQ(said.back(), "ftran null");
    EXPECT_EQ(ANSWER(FTRAN)->x.type, TYPE_NONE);
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
    EXPECT_EQ(said, (lines{"chgobj 0 0 0 null null", "chgobj 1 2 0 null null",
                           "chgobj 1 200 0 null null"}));
}

TEST_F(SolverCall, FreeingForgetsTheDefaultBeforeItIsLookedAt)
{
    owner.env = reinterpret_cast<VNTENVptr>(1);
    owner.lp = reinterpret_cast<VNTLPptr>(2);
    vntmsg_FREEPROB_REQ request{};
    request.flags = FLAG_USEDEFAULTS;
    EXPECT_EQ(RUN(FREEPROB, request), 0);
    EXPECT_EQ(said, lines{"freeprob 1 0"});
    EXPECT_EQ(owner.lp, nullptr);
}

TEST_F(SolverCall, AFunctionThatTheSolverLacksIsNamed)
{
    vntmsg_LPOPT_REQ request = {nullptr, 0, 0, env.a, lp.a};
    EXPECT_EQ(RUN(LPOPT, request), 0);
    EXPECT_EQ(refusal(), 1811);
    EXPECT_EQ(lacking, "VNTLlpopt");

    sent.clear();
    vntmsg_DELSOS_REQ sos = {nullptr, 0, 0, env.a, lp.a, 0, 0};
    EXPECT_EQ(RUN(DELSOS, sos), 0);
    EXPECT_EQ(refusal(), 1811);
}

TEST_F(SolverCall, ANewObjectTravelsAsAHandleAndAFailureAsNone)
{
    vntmsg_CREATEPROB_REQ request = {nullptr, 0, 0, env.a, text("name")};
    ASSERT_EQ(RUN(CREATEPROB, request), 0);
    handle expected(0x1234);
    EXPECT_EQ(elements<char>(ANSWER(CREATEPROB)->outlp), expected.chunks[0]);

    sent.clear();
    status = 1001;
    ASSERT_EQ(RUN(CREATEPROB, request), 0);
    EXPECT_EQ(ANSWER(CREATEPROB)->outlp.type, TYPE_NONE);
    EXPECT_EQ(ANSWER(CREATEPROB)->status_p, 1001);
}

TEST_F(SolverCall, TextIsMeasuredByTheSolversTerminator)
{
    struct {
        int terminator;
        int64_t space;
        uint32_t length;
    } cases[] = {{1, 10, 3}, {1, 2, 2}, {2, 10, 4}, {4, 6, 6}, {4, 12, 12}, {3, 10, 3}};
    for (auto &c : cases) {
        sent.clear();
        terminator = c.terminator;
        vntmsg_GETPROBNAME_REQ request = {nullptr, 0, 0, env.a, lp.a, c.space};
        ASSERT_EQ(RUN(GETPROBNAME, request), 0);
        EXPECT_EQ(ANSWER(GETPROBNAME)->buf_str.length, c.length) << c.terminator << " " << c.space;
        EXPECT_EQ(ANSWER(GETPROBNAME)->surplus_p, c.space - 6);
    }
    sent.clear();
    vntmsg_GETSTRPARAM_REQ request = {nullptr, 0, 0, env.a, 1};
    ASSERT_EQ(RUN(GETSTRPARAM, request), 0);
    EXPECT_EQ(ANSWER(GETSTRPARAM)->value_str.length, 4096u) << "text without an end";
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

TEST_F(SolverCall, TheMessagesParameterIsKeptAroundTheQueriesThatMayChangeIt)
{
    const lines keeping = {"get 1035", "numnodes", "numarcs", "set 1035 17", "getbase"};
    vntmsg_NETGETBASE_REQ network = {nullptr, 0, 0, env.a, lp.a};
    EXPECT_EQ(RUN(NETGETBASE, network), 0);
    EXPECT_EQ(said, keeping);

    said.clear(), sent.clear();
    rows = columns = 1;
    vntmsg_GETPRESTAT_REQ presolved = {nullptr, 0, 0, env.a, lp.a};
    EXPECT_EQ(RUN(GETPRESTAT, presolved), 0);
    EXPECT_EQ(said, (lines{"get 1035", "numcols 200", "numrows 200", "redlp", "numcols 201",
                           "numrows 201", "set 1035 17", "pcstat ocstat"}));

    said.clear(), sent.clear();
    status = 1; // nothing is presolved
    EXPECT_EQ(RUN(GETPRESTAT, presolved), 0);
    EXPECT_EQ(said.back(), "pcstat null");
}

TEST_F(SolverCall, AFileIsWrittenUnderANameOfItsOwnAndSent)
{
    const std::string mine = "tmp" + std::to_string(getpid());
    std::ofstream(mine + "0m.lp") << "somebody's";
    vntmsg_WRITEPROB_REQ request = {nullptr,         0, 0, env.a, lp.a, text("/etc/a\\m.lp"),
                                    text("contents")};
    ASSERT_EQ(RUN(WRITEPROB, request), 0);
    EXPECT_EQ(said, lines{mine + "1m.lp"});
    EXPECT_EQ(ANSWER(WRITEPROB)->status, 0);
    auto bytes = elements<char>(ANSWER(WRITEPROB)->filename_str.contents);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "contents");
    EXPECT_EQ(filesthen, 1) << "a worker killed while it sends would leave its file";
    fs::remove(mine + "0m.lp");

    for (const char *name : {"..", "", "a/", static_cast<const char *>(nullptr)}) {
        sent.clear();
        request.filename_str = text(name);
        request.filetype = text(""); // written, and empty
        ASSERT_EQ(RUN(WRITEPROB, request), 0);
        EXPECT_EQ(said.back(), mine + (name != nullptr && name[0] == '.' ? "0.." : "0"));
        EXPECT_EQ(ANSWER(WRITEPROB)->status, 0);
        EXPECT_EQ(ANSWER(WRITEPROB)->filename_str.contents.type, TYPE_BYTE);
        EXPECT_EQ(ANSWER(WRITEPROB)->filename_str.contents.total, 0);
    }
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
