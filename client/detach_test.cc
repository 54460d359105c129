#include "client/connection.h"
#include "test/doubles/answering_double.h"

#include <gtest/gtest.h>
#include <string>

namespace vnt {

namespace {

struct detached : opened {
    std::string heard;

    void SetUp() override
    {
        worker.on[VNTMESSAGEID_RECONNECT_REQ] = [](transport *io, const void *) {
            return worker_double::say(io, 3, "said meanwhile") &&
                   worker_double::plain(io, VNTMESSAGEID_RECONNECT_REQ);
        };
        open();
    }
    void TearDown() override
    {
        vntclient_defaulthandlers(nullptr, nullptr, nullptr, nullptr);
        opened::TearDown();
    }
    static void hear(VNTENVptr, int, const char *text, void *data)
    {
        *static_cast<std::string *>(data) += text;
    }
    // As if the process had ended: what it knew of the environment is gone.
    void forget()
    {
        EXPECT_EQ(VNTLcloseVANTO(&env), 0);
        EXPECT_EQ(env, nullptr);
    }
};

template <class Value> Value value_at(const std::string &record, size_t offset)
{
    Value value;
    memcpy(&value, record.data() + offset, sizeof value);
    return value;
}

} // namespace

TEST_F(detached, AnotherProcessTakesOverWithTheRecord)
{
    VNTLPptr first = VNTLcreateprob(env, nullptr, "p"), second = VNTLcreateprob(env, nullptr, "q");
    EXPECT_EQ(VNTLfreeprob(env, &first), 0);
    VNTLcreateprob(env, nullptr, "r");
    std::string record = packed(env);
    ASSERT_EQ(record.size(), 192u + 2 * 16);
    EXPECT_EQ(record.substr(0, 4), "VNTR");
    EXPECT_EQ(value_at<uint32_t>(record, 4), 1u);
    EXPECT_EQ(value_at<uint32_t>(record, 8), record.size());
    EXPECT_EQ(value_at<uint32_t>(record, 12), 0u);
    EXPECT_EQ(value_at<int64_t>(record, 16 + 4), 4711);
    EXPECT_EQ(value_at<uint64_t>(record, 176), worker_double::env);
    EXPECT_EQ(value_at<uint32_t>(record, 184), 2u);
    EXPECT_EQ(value_at<uint32_t>(record, 192), 1u);
    EXPECT_EQ(value_at<uint64_t>(record, 200), 0x9901u);
    EXPECT_EQ(value_at<uint64_t>(record, 216), 0x9902u);

    char info[VNTCLIENT_INFO_LENGTH];
    EXPECT_EQ(vntclient_disconnect(env, info), 0);
    EXPECT_EQ(packed(env).substr(16, 160), std::string(info, sizeof info));
    forget();
    vntclient_defaulthandlers(hear, &heard, nullptr, nullptr);
    ASSERT_EQ(vntclient_attach(record.data(), int64_t(record.size()), &env), 0)
        << vntclient_errortext();
    EXPECT_EQ(heard, "said meanwhile");
    VNTLPptr lps[2] = {};
    EXPECT_EQ(vntclient_getproblems(env, 1, lps), 2);
    EXPECT_EQ(vntclient_getproblems(env, 2, lps), 2);
    uint64_t value = 0;
    EXPECT_EQ(vntclient_remotevalue(env, lps[1], &value), 0);
    EXPECT_EQ(value, 0x9902u);
    EXPECT_EQ(VNTLlpopt(env, lps[0]), 0);
    EXPECT_EQ(VNTLlpopt(env, second), VNTERR_NO_PROBLEM) << "a handle of the other process";
}

TEST_F(detached, RecordsThatAreNoneAreRefused)
{
    std::string good = packed(env);
    auto refused = [](std::string record) {
        VNTENVptr e = nullptr;
        int rc = vntclient_attach(record.data(), int64_t(record.size()), &e);
        EXPECT_EQ(e, nullptr);
        return rc;
    };
    struct {
        size_t at;
        char byte;
        int status;
    } spoils[] = {
        {0, 'v', VNTERR_FILE_FORMAT},
        {184, 1, VNTERR_FILE_FORMAT},           // an object more than there is
        {16 + 152 + 1, 1, VNTERR_BAD_ARGUMENT}, // an address of more than 256 bytes
    };
    for (auto [at, byte, status] : spoils) {
        std::string wrong = good;
        wrong[at] = byte;
        EXPECT_EQ(refused(wrong), status) << at;
    }
    EXPECT_EQ(refused(good.substr(0, good.size() - 1)), VNTERR_FILE_FORMAT);
    EXPECT_EQ(refused(""), VNTERR_FILE_FORMAT);
}

TEST(Detach, AWorkerThatIsGoneIsToldFromOneThatCannotBeReachedNow)
{
    auto greeting = [](const char *answer, size_t n) {
        return [=](int fd) {
            char action[12];
            recv(fd, action, sizeof action, MSG_WAITALL);
            send(fd, answer, n, MSG_NOSIGNAL);
        };
    };
    // The first connection opens an environment and leaves it; the server refuses the next ones.
    worker_double worker;
    worker.then = {greeting("\0\4", 2), greeting("\0\5", 2)};
    int status = 0;
    VNTENVptr env = opened::open_at(worker.address(), &status), back = env;
    char info[VNTCLIENT_INFO_LENGTH];
    ASSERT_EQ(vntclient_disconnect(env, info), 0);
    EXPECT_EQ(vntclient_reconnect(info, &back), VNTERR_REMOTE) << "somebody else has it";
    EXPECT_EQ(vntclient_start(env), VNTERR_REMOTE) << "still away";
    EXPECT_EQ(vntclient_reconnect(info, &back), VNTERR_CONNECTION_LOST);
    EXPECT_EQ(back, env) << "the caller's only handle";
    EXPECT_EQ(VNTLcloseVANTO(&env), VNTERR_CONNECTION_LOST) << "gone for good";
}

} // namespace vnt
