// The dissector for Wireshark, on connections that are made up.
#include "remote/codec/codec.h"
#include "test/folders.h"
#include "test/process.h"
#include "test/records.h"
#include "test/streams.h"
#include "test/wireshark/capture.h"

#include <functional>
#include <regex>
#include <unistd.h>

namespace vnt {

namespace {

// A record as its bytes on the wire.
std::string wire_of(const void *record)
{
    stream_end s;
    codec *c = nullptr;
    const codec_factory *factory =
        message_id(record) < 1000 ? builtin_getfactory() : vntcodec_getfactory();
    EXPECT_EQ(factory->create(&c, s.near, s.near), 0);
    EXPECT_EQ(c->ops.sendmsg(c, record), 0);
    c->ops.destroy(c);
    return s.take(size_t(s.arrived()));
}

// Where handles are, there are objects.
record_holder sound_record(const message_layout *m, uint32_t seed)
{
    static handle objects[] = {0xa000, 0xb000, 0xc000};
    record_holder record = record_make(m, seed);
    for (const message_field *f = m->fields; f->kind != KIND_END; f++)
        if (f->kind == KIND_HANDLE) {
            const uint32_t which = (m->id + f->offset + seed) % 4;
            field_at<message_array>(record.get(), f->offset) =
                which < 3 ? objects[which].a : message_array{};
        }
    return record;
}

// What one side says.
struct said {
    bool from_client;
    std::string bytes;
};

std::string message(uint32_t id, uint32_t seed = 0)
{
    return wire_of(sound_record(catalogue_find(id), seed).get());
}

std::string names_of(const std::vector<shown_unit> &units)
{
    std::string names;
    for (const shown_unit &unit : units) {
        const std::string name = shown_value(unit, "vanto.msg.name");
        names += name.empty() ? unit.front().first.substr(6) : name;
        for (const char *mark : {"malformed", "cut"})
            for (const auto &[field, value] : unit)
                if (field == std::string("vanto.") + mark) names += std::string(" ") + mark;
        names += "\n";
    }
    return names;
}

const char *const SESSION = "handshake.action\nhandshake.status\n"
                            "COPYLP_REQ\nCOPYLP_RES\nCHANNEL\nGETX_RES\n"
                            "RECONNECT_REQ\nGETX_REQ\nCOPYLP_REQ\n";

std::vector<said> session(void)
{
    return {{true, bytes("00 00 00 02  2a 16 00 00 00 00 00 00")},
            {false, bytes("00 00  2a 16 00 00 00 00 00 00")},
            {true, message(1100, 6)},
            {false, message(1101) + message(1007, 1) + message(1147, 3)},
            {true, message(1023) + message(1146) + message(1100, 6)}};
}

// The handshake of a client that takes up a worker.
void greet(capture &c)
{
    c.connect();
    c.send(true, session()[0].bytes);
    c.send(false, session()[1].bytes);
}

class SlowDissector : public testing::Test {
  protected:
    const scratch file{".capture"};
    const std::string &path = file.name;

    void SetUp() override
    {
        if (!tshark_there()) GTEST_SKIP() << "there is no tshark";
    }

    // What tshark finds in what `fill` captures, in one pass and in two.
    void expect_names(const std::function<void(capture &)> &fill, const std::string &names)
    {
        {
            capture c(path);
            fill(c);
        }
        for (const char *passes : {"-n", "-2"})
            EXPECT_EQ(names_of(tshark_units(path, {passes})), names) << passes;
    }
};

} // namespace

TEST_F(SlowDissector, ShowsEveryFieldOfEveryMessage)
{
    std::vector<shown_unit> sent;
    {
        capture c(path);
        c.connect();
        c.send(true, bytes("00 00 00 01"));
        c.send(false, bytes("00 00  03 e9 00 00 00 00 00 00")); // an id that looks like a message's
        for (uint32_t seed : {0u, 5u, 9u})
            for (const message_layout *m = catalogue_begin; m != catalogue_end; m++) {
                record_holder record = sound_record(m, seed);
                c.send(client_sends(m->name), wire_of(record.get()), 100 + m->id % 1300);
                sent.push_back(record_shown(record.get()));
            }
    }
    const std::vector<shown_unit> shown = tshark_units(path);
    ASSERT_EQ(shown.size(), sent.size() + 2);
    EXPECT_EQ(shown_value(shown[0], "vanto.handshake.action"), "1");
    EXPECT_EQ(shown_value(shown[1], "vanto.handshake.worker"), "03:e9:00:00:00:00:00:00");
    for (size_t i = 0; i < sent.size(); i++)
        EXPECT_EQ(carried(shown[i + 2]), sent[i]) << i;
}

TEST_F(SlowDissector, FindsMessagesWhateverTheSegmentsAre)
{
    for (size_t segment : {1, 64}) {
        SCOPED_TRACE(segment);
        expect_names(
            [&](capture &c) {
                c.connect();
                for (const said &s : session())
                    c.send(s.from_client, s.bytes, segment);
            },
            SESSION);
    }
}

TEST_F(SlowDissector, FindsTheEndOfALongMessage)
{
    expect_names(
        [](capture &c) {
            greet(c);
            c.send(false, bytes("00 00 03 f0  00 00 00 00  00 00 00 07 "
                                "00 00 00 00 00 04 93 e2  00 00 00 01  00 00 00 02  00 04 93 e0") +
                              std::string(300'000, 'x') + bytes("00 00 00 02  78 78") +
                              message(1147, 3));
        },
        "handshake.action\nhandshake.status\nINFO\nGETX_RES\n");
}

TEST_F(SlowDissector, TakesUpASessionInItsMiddleAndAfterLostBytes)
{
    expect_names(
        [](capture &c) {
            c.connect(false);
            c.send(true, message(1100, 6).substr(30));
            c.send(false, message(1101));
            c.send(true, message(1146));
            c.lose(false, 100);
            c.send(false, message(1147, 3).substr(13));
            c.send(true, message(1146));
            c.send(false, message(1147, 3), 10);
        },
        "msg.data\nCOPYLP_RES\nGETX_REQ\nmsg.data malformed\nGETX_REQ\nGETX_RES\n");
}

TEST_F(SlowDissector, MarksWhatIsMalformedAndGoesOnBehindIt)
{
    const std::string getx = bytes("00 00 04 7b  00 00 00 00"); // a response and its status
    const struct {
        std::string bytes, names;
    } cases[] = {
        {bytes("00 00 04 02"), "msg.data malformed\n"}, // an id that no message has
        {getx + bytes("00 00 00 00 00 00 00 01  00 00 00 0c  00 00 00 01"),
         "GETX_RES malformed\n"}, // a type that there is not
        {getx + bytes("00 00 00 00 00 00 00 02  00 00 00 0a  00 00 00 01  ff ff ff ff"),
         "GETX_RES malformed\n"}, // more than anyone sends
        {getx + bytes("00 00 00 00 00 00 00 02  00 00 00 03  00 00 00 01  00 00 00 01 "
                      "00 00 00 07"),
         "GETX_RES malformed\n"}, // fewer elements than announced
        {getx + bytes("ff ff ff ff ff ff ff ff  00 00 00 0a"), "GETX_RES malformed\n"},
        {bytes("00 00 03 ef  00 00 00 03  00 00 00 02  00 00 00 01  41"), "CHANNEL malformed\n"},
    };
    capture c(path);
    std::string expected;
    for (const auto &wrong : cases) {
        greet(c);
        c.send(false, wrong.bytes);
        c.send(false, message(1101));
        expected += "handshake.action\nhandshake.status\n" + wrong.names + "COPYLP_RES\n";
    }
    EXPECT_EQ(names_of(tshark_units(path)), expected);
}

TEST_F(SlowDissector, SaysWhatNumbersMeanAndWhichAnswerBelongsToWhichRequest)
{
    const std::string absent(12, '\0');
    {
        capture c(path);
        greet(c);                                                          // packets 1 to 5
        c.send(true, bytes("00 00 04 5a  00 00 00 01") + absent + absent); // 6: LPOPT_REQ
        c.send(false, bytes("00 00 03 e8  00 00 04 5a  00 00 00 01  00 00 00 00"));
        c.send(true, bytes("00 00 03 ea  00 00 04 5a  00 00 00 00"));
        c.send(false, bytes("00 00 04 5b  00 00 03 f4")); // 9: LPOPT_RES
        c.send(true, bytes("00 00 04 7a  00 00 00 00") + absent + absent + absent.substr(4));
        c.send(false, bytes("00 00 03 e9  00 00 04 7a  00 00 00 00  ff ff ff ff"));
        c.connect();
        c.send(true, session()[0].bytes);
        c.send(false, bytes("00 05"));
    }
    const std::vector<shown_unit> shown = tshark_units(path, {"-2"});
    ASSERT_EQ(shown.size(), 10u);
    EXPECT_EQ(shown_value(shown[2], "vanto.msg.function"), "VNTLlpopt");
    EXPECT_EQ(shown_value(shown[2], "vanto.flags.asynchronous"), "1");
    EXPECT_EQ(shown_value(shown[2], "vanto.msg.response_in"), "9");
    EXPECT_EQ(shown_value(shown[3], "vanto.msg.request_in"), "6");
    EXPECT_EQ(shown_value(shown[5], "vanto.msg.request_in"), "6");
    EXPECT_EQ(shown_value(shown[5], "vanto.msg.time").substr(0, 6), "0.0030");
    EXPECT_EQ(shown_value(shown[7], "vanto.msg.request_in"), "10");
    const process_result infos = run({"tshark", "-r", path, "-X", dissector_option(), "-T",
                                      "fields", "-Y", "vanto", "-e", "_ws.col.Info"});
    EXPECT_EQ(infos.out, "handshake: take up a worker\n"
                         "handshake answer: accepted\n"
                         "LPOPT_REQ VNTLlpopt\n"
                         "ACK: LPOPT_REQ\n"
                         "GETRES: LPOPT_REQ\n"
                         "LPOPT_RES: status 1012 (VNTERR_NO_SOLUTION)\n"
                         "GETX_REQ VNTLgetx\n"
                         "NAK: GETX_REQ, status -1\n"
                         "handshake: take up a worker\n"
                         "handshake answer: there is no worker with that id\n");
}

TEST_F(SlowDissector, KnowsTheFiltersOfItsDocument)
{
    const std::string page = file_text(source_path("docs/site/look-at-traffic.md"));
    static const std::regex row("\n\\| `([^`]+)` \\|");
    std::string all = "frame";
    for (std::sregex_iterator i(page.begin(), page.end(), row), end; i != end; ++i)
        all += " or (" + std::string((*i)[1]) + ")";
    EXPECT_NE(all, "frame");
    capture{path}.connect();
    EXPECT_EQ(tshark_units(path, {"-Y", all}).size(), 0u);
}

} // namespace vnt
