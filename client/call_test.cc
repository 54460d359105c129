#include "client/connection.h"
#include "test/arrays.h"
#include "test/doubles/answering_double.h"
#include "test/folders.h"

#include <climits>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace vnt {

namespace fs = std::filesystem;

namespace {

struct Call : opened {
    VNTLPptr lp = nullptr;
    working_folder folder;

    void open()
    {
        opened::open();
        lp = problem();
    }
};

} // namespace

TEST_F(Call, NoMoreIsCopiedThanTheCallerHasRoomForAndNothingOfAnotherType)
{
    chunked<double> five{{1, 2}, {3, 4, 5}};
    reply(VNTMESSAGEID_GETX_REQ, RECORD(GETX_RES, 0, five.a));
    chunked<int> numbers{{1, 2, 3}};
    reply(VNTMESSAGEID_GETPI_REQ, RECORD(GETPI_RES, 0, numbers.a));
    reply(VNTMESSAGEID_GETPROBNAME_REQ, RECORD(GETPROBNAME_RES, 1007, text("abcdef"), -3));
    chunked<message_string> three{{text("one"), text("long"), text("two")}, {text("more")}};
    reply(VNTMESSAGEID_GETCOLNAME_REQ, RECORD(GETCOLNAME_RES, 0, three.a, 0));
    open();

    double got[4] = {-1, -1, -1, -1};
    EXPECT_EQ(VNTLgetpi(env, lp, got, 0, 2), VNTERR_REMOTE);
    EXPECT_EQ(got[0], -1);
    EXPECT_EQ(VNTLgetx(env, lp, got, 4, 6), 0);
    EXPECT_EQ(std::vector<double>(got, got + 4), (std::vector<double>{1, 2, 3, -1}));

    char buffer[5] = "----";
    int64_t surplus = 0;
    EXPECT_EQ(VNTLgetprobname(env, lp, buffer, 4, &surplus), 1007);
    EXPECT_EQ(std::string(buffer, 5), std::string("abc\0", 5)) << "cut, and ended all the same";
    EXPECT_EQ(surplus, -3);

    char *table[4] = {buffer, buffer, buffer, buffer}, store[9];
    EXPECT_EQ(VNTLgetcolname(env, lp, table, store, 8, &surplus, 0, 2), 0);
    EXPECT_EQ(table[1], nullptr) << "it lacks one byte";
    EXPECT_EQ(table[2], store + 4);
    EXPECT_EQ(table[3], buffer) << "not asked for";
}

TEST_F(Call, AnArrayReachesTheCallerOnlyIfTheCallSucceeded)
{
    chunked<double> three{{1, 2, 3}}, four{{4, 5, 6, 7}};
    const struct {
        int status;
        const message_array &sent;
        std::vector<double> got;
    } cases[] = {
        {0, three.a, {1, 2, 3, -1}}, {1217, three.a, {-1, -1, -1, -1}}, {0, four.a, {4, 5, 6, -1}}};
    int n = 0;
    worker.on[VNTMESSAGEID_GETX_REQ] = [&](transport *io, const void *) {
        return worker_double::give(io, RECORD(GETX_RES, cases[n].status, cases[n].sent));
    };
    open();
    for (; n < 3; n++) {
        std::vector<double> x(4, -1);
        EXPECT_EQ(VNTLgetx(env, lp, x.data(), 0, 2), cases[n].status);
        EXPECT_EQ(x, cases[n].got) << n;
    }
}

TEST_F(Call, ALongRangeIsAskedForOnceBothItsEndsAreThere)
{
    static constexpr int LAST = 3'000'000;
    std::vector<std::pair<int, int>> asked;
    worker.on[VNTMESSAGEID_GETX_REQ] = [&](transport *io, const void *message) {
        auto *r = static_cast<const vntmsg_GETX_REQ *>(message);
        asked.push_back({r->begin, r->end});
        int status = r->begin < 0 || r->end > LAST ? VNTERR_INDEX_RANGE : 0;
        return worker_double::give(io, RECORD(GETX_RES, status, {}));
    };
    open();
    EXPECT_EQ(VNTLgetx(env, lp, nullptr, 0, INT_MAX), VNTERR_INDEX_RANGE);
    EXPECT_EQ(VNTLgetx(env, lp, nullptr, INT_MIN, 5), VNTERR_INDEX_RANGE);
    EXPECT_EQ(VNTLgetx(env, lp, nullptr, 1, LAST), 0);
    EXPECT_EQ(VNTLgetx(env, lp, nullptr, LAST, LAST + 1), VNTERR_INDEX_RANGE);
    EXPECT_EQ(asked, (std::vector<std::pair<int, int>>{{0, 0},
                                                       {INT_MAX, INT_MAX},
                                                       {INT_MIN, INT_MIN},
                                                       {1, 1},
                                                       {LAST, LAST},
                                                       {1, LAST},
                                                       {LAST, LAST + 1}}));
}

TEST_F(Call, MuchSpaceIsUsedOnlyAsFarAsItIsNeeded)
{
    int64_t needed = 0;
    std::vector<int64_t> asked;
    worker.on[VNTMESSAGEID_GETROWS_REQ] = [&](transport *io, const void *message) {
        int64_t space = static_cast<const vntmsg_GETROWS_REQ *>(message)->rmatspace;
        asked.push_back(space);
        vntmsg_GETROWS_RES response = {};
        response.messageid = VNTMESSAGEID_GETROWS_RES;
        response.status = needed > space ? VNTERR_SPACE_TOO_SMALL : 0;
        response.surplus_p = space - needed;
        return worker_double::give(io, response);
    };
    open();
    struct {
        int64_t needed, space;
        std::vector<int64_t> asked;
        int status;
        int64_t surplus;
    } cases[] = {
        {10, 65535, {65535}, 0, 65525},
        {10, 65536, {512}, 0, 65526},
        {1000, 70000, {512, 1000}, 0, 69000},
        {70000, 70000, {512, 70000}, 0, 0},
        {70001, 70000, {512, 70000}, VNTERR_SPACE_TOO_SMALL, -1},
    };
    for (auto &c : cases) {
        int64_t surplus = 7;
        needed = c.needed;
        asked.clear();
        EXPECT_EQ(VNTLgetrows(env, lp, nullptr, nullptr, nullptr, nullptr, c.space, &surplus, 0, 0),
                  c.status);
        EXPECT_EQ(asked, c.asked);
        EXPECT_EQ(surplus, c.surplus);
    }
}

TEST_F(Call, AFileThatTheSolverWroteLandsAtItsPathAlone)
{
    chunked<char> two{{'n', 'e'}, {'w'}};
    reply(VNTMESSAGEID_WRITEPROB_REQ,
          RECORD(WRITEPROB_RES, 0, {text("/tmp/elsewhere"), two.a, nullptr}));
    // Mbasewrite is answered without a file, and that all went well.
    open();
    std::ofstream("old") << "longer than the new one";
    fs::create_symlink("old", "link");
    EXPECT_EQ(VNTLmbasewrite(env, lp, "old"), VNTERR_REMOTE);
    EXPECT_EQ(file_text("old"), "longer than the new one");

    EXPECT_EQ(VNTLwriteprob(env, lp, "fresh", "LP"), 0);
    EXPECT_EQ(file_text("fresh"), "new");
    EXPECT_EQ(VNTLwriteprob(env, lp, "link", "LP"), 0);
    EXPECT_EQ(file_text("old"), "new");
    EXPECT_TRUE(fs::is_symlink("link"));
    chmod("fresh", 0640);
    fs::create_hard_link("old", "second");
    EXPECT_EQ(VNTLwriteprob(env, lp, "fresh", "LP"), 0);
    EXPECT_EQ(fs::status("fresh").permissions(), fs::perms(0640));
    EXPECT_EQ(VNTLwriteprob(env, lp, "second", "LP"), 0);
    EXPECT_TRUE(fs::equivalent("old", "second"));
    EXPECT_EQ(VNTLwriteprob(env, lp, "/dev/full", "LP"), VNTERR_FILE_IO);
    EXPECT_STREQ(vntclient_errortext(), "/dev/full: No space left on device");
    EXPECT_EQ(VNTLwriteprob(env, lp, "/dev/null", "LP"), 0);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    EXPECT_EQ(VNTLwriteprob(env, lp, "no/such/folder", "LP"), VNTERR_FILE_CREATE);
    EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 4) << "nothing is left beside them";
    EXPECT_EQ(VNTEreadcopyprob(env, lp, "missing", nullptr, 0, "LP"), VNTERR_FILE_OPEN);
}

TEST_F(Call, AStartedCallKeepsThePathOfTheFileThatItWrites)
{
    chunked<char> two{{'n', 'e'}, {'w'}};
    worker.on[VNTMESSAGEID_WRITEPROB_REQ] = worker_double::starts(VNTMESSAGEID_WRITEPROB_REQ);
    reply(VNTMESSAGEID_GETRES, RECORD(WRITEPROB_RES, 0, {text("wanted"), two.a, nullptr}));
    open();
    char path[] = "wanted";
    ASSERT_EQ(vntclient_start(env), 0);
    ASSERT_EQ(VNTLwriteprob(env, lp, path, "LP"), 0);
    strcpy(path, "others"); // the caller's again
    EXPECT_EQ(vntclient_join(env), 0) << vntclient_errortext();
    EXPECT_EQ(file_text("wanted"), "new");
    EXPECT_FALSE(fs::exists("others"));
    EXPECT_EQ(VNTLwriteprob(env, lp, std::string(PATH_MAX, 'p').c_str(), "LP"), VNTERR_FILE_CREATE);
}

TEST_F(Call, APipeIsReadToItsEndByOneReader)
{
    std::string got;
    worker.on[VNTMESSAGEID_READCOPYPROB_REQ] = [&got](transport *io, const void *message) {
        const message_array &a =
            static_cast<const vntmsg_READCOPYPROB_REQ *>(message)->filename_str.contents;
        for (uint32_t i = 0; i < a.nchunks; i++)
            got.append(static_cast<const char *>(a.chunks[i].data), a.chunks[i].count);
        return worker_double::plain(io, VNTMESSAGEID_READCOPYPROB_REQ);
    };
    open();
    ASSERT_EQ(mkfifo("model", 0600), 0);
    std::thread writer([] { std::ofstream("model") << "max x"; });
    EXPECT_EQ(VNTEreadcopyprob(env, lp, "model", nullptr, 0, "LP"), 0);
    writer.join();
    EXPECT_EQ(got, "max x");
}

} // namespace vnt
