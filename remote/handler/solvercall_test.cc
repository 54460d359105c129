#include "remote/base/entry.h"
#include "remote/calls/solvercall.h"

#include "remote/calls/flatten.h"
#include "remote/codec/copy.h"
#include "remote/handler/asynccall.h"
#include "test/arrays.h"
#include "test/folders.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <malloc.h>
#include <memory>

namespace vnt {

namespace fs = std::filesystem;

// A solver of a few functions.  Each says what it was called with; the tests set what it answers.
static std::vector<std::string> said;
static int terminator;
static const void *pointer; // one that the function got
static std::function<void()> during;

static void say(const std::string &text)
{
    said.push_back(text);
}

VNT_ENTRY int VNTLEgetnulbytes(VNTENVptr, int *nulbytes_p)
{
    *nulbytes_p = terminator;
    return 0;
}
VNT_ENTRY int VNTLchgobj(VNTENVptr, VNTLPptr, int cnt, const int *indices, const double *)
{
    if (during) during();
    pointer = indices;
    say("chgobj " + std::to_string(indices[cnt - 1]));
    return 0;
}
VNT_ENTRY int VNTLcopylp(VNTENVptr, VNTLPptr, int, int, int, const double *, const double *,
                         const char *, const int64_t *, const int *, const int *, const double *,
                         const double *, const double *, const double *)
{
    say("copylp");
    return 0;
}
VNT_ENTRY int VNTLaddcols(VNTENVptr, VNTLPptr, int, int64_t, const double *, const int64_t *,
                          const int *, const double *, const double *, const double *,
                          const char *const *)
{
    say("addcols");
    return 0;
}
VNT_ENTRY int VNTLcopyquad(VNTENVptr, VNTLPptr, const int64_t *, const int *, const int *,
                           const double *)
{
    say("copyquad");
    return 0;
}
VNT_ENTRY int VNTLgetprobname(VNTENVptr, VNTLPptr, char *buf, int64_t space, int64_t *surplus_p)
{
    memcpy(buf, "ab\0\0cd", static_cast<size_t>(space < 6 ? space : 6));
    *surplus_p = 0;
    return 0;
}
VNT_ENTRY int VNTLwriteprob(VNTENVptr, VNTLPptr, const char *filename, const char *filetype)
{
    say(filename);
    if (filetype != nullptr) std::ofstream(filename) << filetype;
    return 0;
}

// What the run function sends.
static std::vector<std::shared_ptr<void>> sent;
static ptrdiff_t files_before; // in the working directory

int frame_respond(handler_frame *, const void *response)
{
    sent.emplace_back(vntmsg_copy(response), [](void *p) { vntmsg_uncopy(&p); });
    files_before = std::distance(fs::directory_iterator("."), {});
    return 0;
}
int frame_reject(handler_frame *frame, int32_t s)
{
    frame->nak.status = s;
    frame_respond(frame, &frame->nak);
    return s == -1 ? -1 : 0;
}
int frame_lacking(handler_frame *frame, const char *)
{
    return frame_reject(frame, VNTERR_UNKNOWN_CALL);
}
int async_isasync(void)
{
    return 0;
}
int asynccall_begin(handler_frame *frame, VNTENVptr, VNTLPptr)
{
    say("begin " + std::to_string(frame->ack.message));
    return 0;
}
synccall::synccall(handler *) : nested(false) {}
synccall::~synccall() {}
void asynccall_end(handler *, VNTENVptr)
{
    say("end");
}

namespace {

using lines = std::vector<std::string>;

// A request, sent to its run function, and the answer.
class SolverCall : public testing::Test {
  protected:
    handler owner{};
    working_folder folder;

    void SetUp() override
    {
        terminator = 1;
        during = nullptr;
        said.clear(), sent.clear();
    }
    void TearDown() override { EXPECT_TRUE(fs::is_empty(folder.path)) << "a file was left behind"; }

    int run(int row, void *request)
    {
        field_at<uint32_t>(request, sizeof(void *)) = solvercalls[row].request;
        handler_frame frame{};
        frame.owner = &owner;
        frame.request = request;
        frame.nak.messageid = VNTMESSAGEID_NAK;
        frame.nak.status = 12345;
        frame.ack.message = static_cast<int32_t>(solvercalls[row].request);
        frame.ack.flags = static_cast<const vntmsg_GETNUMROWS_REQ *>(request)->flags;
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
};

#define RUN(name, request) run(SOLVERCALL_##name, &request)
#define ANSWER(name) answer<vntmsg_##name##_RES>(SOLVERCALL_##name)

const handle env(100), lp(200);

// What calls and rows have in common is tested with all of them, in chunks, absent, empty and of
// negative counts, by the all-calls test.

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
    EXPECT_EQ(refusal(), VNTERR_NO_MEMORY);
}

// The solver would read what lies behind them, or before.
TEST_F(SolverCall, AMatrixThatReachesBeyondItsArraysIsRejected)
{
    const struct {
        std::vector<int64_t> begins;
        std::vector<int> counts;
        bool fits;
    } cases[] = {
        {{0, 2}, {2, 1}, true},    {{2, 0}, {1, 2}, true},   {{0, 3}, {2, 1}, false},
        {{0, 2}, {2, 2}, false},   {{-1, 0}, {1, 2}, false}, {{INT64_MAX, 0}, {1, 2}, false},
        {{99, -1}, {0, -5}, true}, // columns without entries
        {{0, 1}, {1}, false},
    };
    chunked<int> indices{{0, 1}, {0}};
    chunked<double> values{{1, 2, 3}};
    for (auto &c : cases) {
        said.clear(), sent.clear();
        chunked<int64_t> begins{c.begins};
        chunked<int> counts{c.counts};
        vntmsg_COPYLP_REQ copylp = {};
        copylp.numcols = 2;
        copylp.matbeg = begins.a, copylp.matcnt = counts.a;
        copylp.matind = indices.a, copylp.matval = values.a;
        EXPECT_EQ(RUN(COPYLP, copylp), c.fits ? 0 : -1);
        vntmsg_COPYQUAD_REQ copyquad = {nullptr,  0,        0,         env.a,   lp.a,
                                        begins.a, counts.a, indices.a, values.a};
        EXPECT_EQ(RUN(COPYQUAD, copyquad), c.fits ? 0 : -1);
        EXPECT_EQ(said, c.fits ? (lines{"copylp", "copyquad"}) : lines{});
    }
    for (auto [first, second, fits] : {std::tuple(0, 3, true), {0, 4, false}, {-1, 0, false}}) {
        said.clear(), sent.clear();
        chunked<int64_t> starts{{first, second}};
        vntmsg_ADDCOLS_REQ addcols = {};
        addcols.ccnt = 2, addcols.nzcnt = 3;
        addcols.cmatbeg = starts.a, addcols.cmatind = indices.a, addcols.cmatval = values.a;
        EXPECT_EQ(RUN(ADDCOLS, addcols), fits ? 0 : -1);
        EXPECT_EQ(said, fits ? lines{"addcols"} : lines{});
        EXPECT_EQ(refusal(), fits ? 0 : -1);
    }
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
        EXPECT_EQ(files_before, 1) << "a worker killed while it sends would leave its file";
        EXPECT_EQ(ANSWER(WRITEPROB)->status, 0);
        const message_array &contents = ANSWER(WRITEPROB)->filename_str.contents;
        EXPECT_EQ(contents.type, TYPE_BYTE);
        std::vector<char> bytes = elements<char>(contents);
        EXPECT_EQ(std::string(bytes.begin(), bytes.end()), c.contents);
    }
    fs::remove(mine + "0m.lp");
}

TEST_F(SolverCall, AnAsynchronousCallOutlivesItsRequest)
{
    chunked<int> indices{{1, 2}};
    chunked<double> values{{0.5, 1.5}};
    const vntmsg_CHGOBJ_REQ whole = {nullptr, 0, FLAG_ASYNCHRONOUS, env.a,
                                     lp.a,    2, indices.a,         values.a};
    vntmsg_CHGOBJ_REQ request = whole;
    during = [&] { request = {}; };
    EXPECT_EQ(RUN(CHGOBJ, request), 0);
    EXPECT_EQ(said, (lines{"begin 1246", "chgobj 2", "end"}));
    EXPECT_NE(pointer, indices.chunks[0].data());
    EXPECT_NE(ANSWER(CHGOBJ), nullptr);
    request = whole;
    request.flags = 0;
    EXPECT_EQ(RUN(CHGOBJ, request), 0);
    EXPECT_EQ(pointer, indices.chunks[0].data()) << "one that does not is not copied";
}

// What a worker holds of large arrays while the solver works, beside the request that came.
TEST_F(SolverCall, AnAsynchronousCallHoldsLargeArraysOnce)
{
    static constexpr int HALF = 1 << 20;
    const auto in_use = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
    chunked<int> indices{std::vector<int>(HALF, 7), std::vector<int>(HALF, 8)};
    const size_t size = 2 * HALF * sizeof(int), before = in_use();
    size_t held = 0;
    during = [&] { held = in_use() - before; };
    vntmsg_CHGOBJ_REQ request = {nullptr, 0,        FLAG_ASYNCHRONOUS, env.a,
                                 lp.a,    2 * HALF, indices.a,         {}};
    EXPECT_EQ(RUN(CHGOBJ, request), 0);
    EXPECT_EQ(said, (lines{"begin 1246", "chgobj 8", "end"}));
    EXPECT_LT(held, size + size / 4);
    EXPECT_LT(in_use() - before, size / 4);
    EXPECT_EQ(request.indices.nchunks, 2u) << "the request is as it came";
}

} // namespace

} // namespace vnt
