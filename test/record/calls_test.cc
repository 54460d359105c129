// calls_test.cc: every call of the list, from the client's function or from a bare request, through
// a server and a worker to a solver that records its arguments, and back.

#include "client/connection.h"
#include "test/folders.h"
#include "test/record/arguments.h"
#include "test/server.h"
#include "test/wireshark/capture.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <list>
#include <memory>
#include <regex>
#include <set>
#include <unistd.h>

namespace vnt {

namespace fs = std::filesystem;

static const std::map<std::string, void *> functions = {
#define SOLVER_CALL(name, function, ...) {#function, reinterpret_cast<void *>(function)},
#include "remote/calls/solvercalls.def"
};

namespace {

enum variant { FULL, ABSENT, EMPTY, NEGATIVE };

// Arguments whose values show which parameter and element they belong to.
struct patterned : arguments {
    variant v;
    std::string path = (fs::temp_directory_path() / ("call" + std::to_string(getpid()))).string();

    patterned(const listed_function &function, variant w) : arguments(function), v(w) { build(); }

    bool sizes_something(const std::string &name) const
    {
        return std::any_of(f.parameters.begin(), f.parameters.end(), [&](auto &p) {
            return ("+" + p.size + "+").find("+" + name + "+") != std::string::npos ||
                   p.size.rfind(name + "-", 0) == 0;
        });
    }

    int64_t scalar(size_t i) override
    {
        const listed_parameter &p = f.parameters[i];
        if (p.type == "length") return v == FULL ? 5 : 0;
        if ((v == EMPTY || v == NEGATIVE) && sizes_something(p.name))
            return (p.name == "end" ? 2 : 0) - (v == NEGATIVE ? 3 : 0);
        return value_in(f, i, 0);
    }

    int64_t element(size_t i, int64_t k) override { return value_in(f, i, k); }
    bool present(size_t i) override { return v != ABSENT || f.parameters[i].type == "outfile"; }

    std::string text(size_t i) override
    {
        const listed_parameter &p = f.parameters[i];
        if (p.type == "outfile") return path;
        if (p.type == "contents") return v == FULL ? std::string("a\0bcd", 5) : "";
        return "the " + p.name;
    }

    std::optional<std::string> name(size_t i, int64_t k) override
    {
        if (name_absent(k)) return std::nullopt;
        return f.parameters[i].name + std::to_string(k);
    }

    // The line that the solver must have recorded, given the worker's objects.
    std::string line(uint64_t env, uint64_t lp, uint64_t net)
    {
        patterned there(f, v);
        void *objects[] = {reinterpret_cast<void *>(env), reinterpret_cast<void *>(lp),
                           reinterpret_cast<void *>(net)};
        there.set_objects(objects);
        return call_text(f, there.values);
    }
};

// The names that fit into a store of that size.
std::string stored_names(const listed_function &f, size_t i, int64_t count, int64_t space)
{
    std::string names;
    for (int64_t k = 0; k < count; k++) {
        const std::string name = name_out(f, i, k);
        const bool fits = !name_absent(k) && static_cast<int64_t>(name.size()) < space;
        names += fits ? name + " " : "absent ";
        if (fits) space -= static_cast<int64_t>(name.size()) + 1;
    }
    return names;
}

// What an output of so many elements holds when the solver has filled it: the names of a list of
// names, else its bytes.
std::string expected(const patterned &a, size_t i, int64_t count)
{
    const listed_parameter &p = a.f.parameters[i];
    if (p.type == "char*[]") return stored_names(a.f, i, count, listed_size(a.f, i + 1, a.values));
    std::string bytes(static_cast<size_t>(count) * element_size(p.element()), '\0');
    for (int64_t k = 0; k < count; k++)
        store_value(p.element(), bytes.data(), k, value_out(a.f, i, k));
    return bytes;
}

class Calls : public testing::Test {
  protected:
    scratch_folder folder;
    const std::string record = folder.file("calls");
    std::unique_ptr<server> worker;
    VNTENVptr env = nullptr;
    VNTLPptr lp = nullptr;
    VNTNETptr net = nullptr;
    uint64_t solverlp = RECORD_LP, solvernet = RECORD_NET; // what the solver is called with

    void SetUp() override
    {
        fs::create_symlink(build_path("lib/libvantorecord.so"), folder.file("libvanto.so"));
        worker = std::make_unique<server>(
            std::vector<std::string>{},
            std::vector<std::string>{"LD_LIBRARY_PATH=" + folder.path, // the solver it finds
                                     "VNT_RECORD_FILE=" + record});
        find();
        int status = -1;
        env = VNTLopenVANTO(&status);
        ASSERT_EQ(status, 0) << vntclient_errortext();
        make_objects();
    }

    virtual void find() { find_server(*worker); }

    void TearDown() override
    {
        VNTLcloseVANTO(&env);
        worker.reset();
    }

    void make_objects()
    {
        int status = -1;
        if (lp == nullptr) lp = VNTLcreateprob(env, &status, "");
        if (net == nullptr) net = VNTLNETcreateprob(env, &status, "");
    }

    std::vector<std::string> recorded()
    {
        std::ifstream in(record);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }

    void check_output(const patterned &a, size_t i)
    {
        const listed_parameter &p = a.f.parameters[i];
        SCOPED_TRACE(p.name);
        if (p.type == "outfile") {
            EXPECT_EQ(file_text(a.path), recorded_status() == 0 ? text_out(a.f, i) : "");
            fs::remove(a.path);
        }
        const bool failed = a.f.result == "status" && recorded_status() != 0;
        if (!a.is_output(i)) return;
        const int64_t count = a.count(i);
        const size_t size = static_cast<size_t>(count) * element_size(p.element());
        const std::string bytes(static_cast<const char *>(a.values[i].p), size);
        if (failed && p.array()) { // a failed call stores no arrays
            EXPECT_TRUE(p.dir == INOUT || bytes == std::string(size, static_cast<char>(a.filling)));
            return;
        }
        if (p.type == "char*[]") {
            EXPECT_EQ(names_in_store(a, i, count), expected(a, i, count));
        } else if (p.type != "str") {
            EXPECT_EQ(bytes, expected(a, i, count));
        } else if (count > 0) {
            EXPECT_EQ(static_cast<const char *>(a.values[i].p),
                      text_out(a.f, i).substr(0, static_cast<size_t>(count - 1)));
        }
    }

    static std::string names_in_store(const patterned &a, size_t i, int64_t count)
    {
        char **names = static_cast<char **>(a.values[i].p);
        const char *store = static_cast<const char *>(a.values[i + 1].p);
        const char *end = store + listed_size(a.f, i + 1, a.values);
        std::string all;
        for (int64_t k = 0; k < count; k++) {
            EXPECT_TRUE(names[k] == nullptr || (names[k] >= store && names[k] < end));
            all += names[k] != nullptr ? names[k] + std::string(" ") : "absent ";
        }
        return all;
    }

    void check_result(const listed_function &f, const call_value &result)
    {
        if (f.result == "out:double")
            EXPECT_EQ(result.d, static_cast<double>(value_returned(f)) + 0.25);
        else if (f.result == "out:long")
            EXPECT_EQ(result.l, value_returned(f));
        else if (f.result.rfind("handle", 0) == 0)
            EXPECT_NE(result.p, nullptr);
        else
            EXPECT_EQ(result.i, value_returned(f));
    }

    // Calls the function and compares what the solver got, and what came back.
    void check_call(const listed_function &f, variant v)
    {
        SCOPED_TRACE(f.function);
        patterned a(f, v);
        const std::string expected = a.line(RECORD_ENV, solverlp, solvernet);
        void *objects[] = {env, lp, net};
        a.set_objects(objects);
        fs::remove(record);
        call_value result = {};
        row_of(f).invoke(functions.at(f.function), a.values, &result);
        check_result(f, result);
        std::vector<std::string> lines = recorded();
        auto line = std::find_if(lines.rbegin(), lines.rend(), [&](const std::string &text) {
            return text.rfind(f.function + " ", 0) == 0;
        });
        ASSERT_NE(line, lines.rend()) << "status " << result.i << ": " << vntclient_errortext();
        EXPECT_EQ(*line, expected);
        for (size_t i = 0; i < f.parameters.size(); i++)
            check_output(a, i);
        lp = static_cast<VNTLPptr>(objects[1]); // which the call may have freed
        net = static_cast<VNTNETptr>(objects[2]);
        make_objects();
    }

    void check_all(variant v)
    {
        int count = 0;
        for (const listed_function &f : listing()) {
            if (f.id == 0) continue;
            check_call(f, v);
            count++;
        }
        EXPECT_EQ(count, int(SOLVERCALL_COUNT));
    }
};

TEST_F(Calls, ReachTheSolverAndBringBackWhatItGives)
{
    check_all(FULL);
}

TEST_F(Calls, TakeNullForAnyArrayTextAndOutput)
{
    check_all(ABSENT);
}

TEST_F(Calls, TakeEmptyRangesAndNegativeCounts)
{
    check_all(EMPTY);
    check_all(NEGATIVE);
}

// A solver whose counts are negative and whose calls fail.
class FailingCalls : public Calls {
  protected:
    void SetUp() override
    {
        setenv("VNT_RECORD_SIZE", "-1", 1);
        setenv("VNT_RECORD_STATUS", "1217", 1);
        Calls::SetUp();
    }
    void TearDown() override
    {
        Calls::TearDown();
        unsetenv("VNT_RECORD_SIZE");
        unsetenv("VNT_RECORD_STATUS");
    }
};

TEST_F(FailingCalls, BringBackTheirStatusTextsAndScalars)
{
    check_all(FULL);
}

// A field of a request, and how to spoil it.
struct malformation {
    const char *function;
    const char *field;
    void (*spoil)(void *field);
};

// The same calls, as requests that the client library would not send.
class Requests : public Calls {
  protected:
    int32_t flags = 2;
    const malformation *malformed = nullptr; // sent before the request as it should be

    void SetUp() override
    {
        Calls::SetUp();
        solverlp = solvernet = 0; // the worker has no default objects
        client_env *e = nullptr;
        ASSERT_EQ(client_env_find(env, &e), 0);
        changer = this;
        send = e->io->ops.sendmsg;
        e->io->ops.sendmsg = [](transport *io, const void *request) {
            return changer->send_changed(io, request);
        };
    }

  private:
    static inline Requests *changer;
    int (*send)(transport *, const void *) = nullptr;
    std::list<std::array<message_chunk, 3>> tables;

    // In three chunks, the middle one empty.
    void split(message_array *array)
    {
        if (array->nchunks != 1) return;
        const message_chunk all = array->chunks[0];
        const uint32_t first = all.count > 1 ? 1 : 0;
        message_chunk *table = tables.emplace_back().data();
        table[0] = {first, all.data};
        table[1] = {0, nullptr};
        table[2] = {all.count - first,
                    static_cast<char *>(all.data) + first * message_element_size(array->type)};
        array->nchunks = 3;
        array->chunks = table;
    }

    void change(void *request, const message_field &m)
    {
        if (m.kind == KIND_ARRAY) split(&field_at<message_array>(request, m.offset));
        if (m.kind == KIND_FILE) split(&field_at<message_file>(request, m.offset).contents);
        if (m.kind == KIND_HANDLE) field_at<message_array>(request, m.offset) = {};
    }

    int send_changed(transport *io, const void *message)
    {
        const uint32_t id = message_id(message);
        if (std::none_of(solvercalls, solvercalls + SOLVERCALL_COUNT,
                         [&](const solver_call &call) { return call.request == id; }))
            return send(io, message);
        const message_layout *layout = catalogue_find(id);
        fs::remove(record); // what the calling side has asked
        alignas(16) char request[SOLVERCALL_MAXRECORD];
        memcpy(request, message, layout->size);
        field_at<int32_t>(request, layout->fields[0].offset) = flags;
        for (const message_field *m = layout->fields; m->kind != KIND_END; m++)
            change(request, *m);
        if (malformed != nullptr) expect_refusal(io, request, *layout);
        int rc = send(io, request);
        if (rc == 0 && (flags & 1)) rc = ask_for_result(io, static_cast<int32_t>(id));
        tables.clear();
        return rc;
    }

    static const void *receive(transport *io, uint32_t expected)
    {
        void *message = nullptr;
        int rc = io->ops.recvmsg(io, &message);
        EXPECT_EQ(rc, 0);
        EXPECT_EQ(rc == 0 ? message_id(message) : 0, expected);
        return rc == 0 && message_id(message) == expected ? message : nullptr;
    }

    int ask_for_result(transport *io, int32_t id)
    {
        const void *ack = receive(io, VNTMESSAGEID_ACK);
        if (ack == nullptr) return -1;
        EXPECT_EQ(static_cast<const vntmsg_ACK *>(ack)->message, id);
        vntmsg_GETRES get = {nullptr, VNTMESSAGEID_GETRES, id, 0};
        return send(io, &get);
    }

    void expect_refusal(transport *io, const void *request, const message_layout &layout)
    {
        const int32_t id = static_cast<int32_t>(layout.id);
        alignas(16) char spoiled[SOLVERCALL_MAXRECORD];
        memcpy(spoiled, request, layout.size);
        for (const message_field *m = layout.fields; m->kind != KIND_END; m++)
            if (strcmp(m->name, malformed->field) == 0) malformed->spoil(spoiled + m->offset);
        EXPECT_EQ(send(io, spoiled), 0);
        const void *message = receive(io, VNTMESSAGEID_NAK);
        ASSERT_NE(message, nullptr);
        const vntmsg_NAK nak = *static_cast<const vntmsg_NAK *>(message);
        EXPECT_EQ(nak.message, id);
        EXPECT_EQ(nak.flags, 2);
        EXPECT_EQ(nak.status, -1);
        message = receive(io, VNTMESSAGEID_UNKNOWN);
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(static_cast<const vntmsg_UNKNOWN *>(message)->message, id);
        EXPECT_TRUE(recorded().empty());
    }
};

TEST_F(Requests, InChunksAndWithDefaultsReachTheSolver)
{
    check_all(FULL);
}

TEST_F(Requests, RunAsynchronouslyWithoutTheirRowKnowing)
{
    flags = 3;
    check_all(FULL);
}

void spoil_type(void *field)
{
    static_cast<message_array *>(field)->type = TYPE_FLOAT;
    static_cast<message_array *>(field)->nchunks = 0;
    static_cast<message_array *>(field)->total = 0;
}
void spoil_length(void *field)
{
    message_array *a = static_cast<message_array *>(field);
    a->total = a->chunks[0].count;
    a->nchunks = 1;
}
void spoil_handle(void *field)
{
    static char bytes[16];
    static message_chunk halves[] = {{8, bytes}, {8, bytes + 8}};
    *static_cast<message_array *>(field) = {16, TYPE_BYTE, 2, halves, {}};
}
void spoil_contents(void *field)
{
    spoil_type(&static_cast<message_file *>(field)->contents);
}

TEST_F(Requests, MalformedAreRefusedAndTheNextIsServed)
{
    const malformation malformations[] = {
        {"VNTLgetx", "env", spoil_handle},
        {"VNTLgetx", "lp", spoil_type},
        {"VNTLNETgetx", "net", spoil_handle},
        {"VNTLchgobj", "indices", spoil_type},
        {"VNTLchgobj", "values", spoil_length},
        {"VNTLchgcolname", "newname", spoil_type},
        {"VNTLchgcolname", "newname", spoil_length},
        {"VNTLftran", "x", spoil_type},
        {"VNTEreadcopyprob", "filename_str", spoil_contents},
        {"VNTLEreadcopyprob", "content", spoil_length},
    };
    for (const malformation &m : malformations) {
        malformed = &m;
        check_call(listed(m.function), FULL);
    }
}

// The same calls, seen from beside by Wireshark.
class SlowCapturedCalls : public Calls {
  protected:
    const std::string path = folder.file("capture");
    capture kept{path};
    std::unique_ptr<recording_relay> relay;

    void SetUp() override
    {
        if (!tshark_there()) GTEST_SKIP() << "there is no tshark";
        Calls::SetUp();
    }
    void find() override
    {
        find_server(*worker);
        relay = std::make_unique<recording_relay>(stoi(worker->port()), &kept);
        setenv("TESK_VANTO_TCPIP_PORT", relay->port().c_str(), 1);
    }
    void TearDown() override
    {
        if (worker != nullptr) Calls::TearDown();
    }

    // Sends the worker's own requests with nothing in them, and waits for the answer to the last.
    void control_all()
    {
        client_env *e = nullptr;
        ASSERT_EQ(client_env_find(env, &e), 0);
        for (uint32_t id : {VNTMESSAGEID_ASYNCKILL_REQ, VNTMESSAGEID_USERFUNCTION_REQ,
                            VNTMESSAGEID_EASYNCLIMITS_REQ, VNTMESSAGEID_EASYNCCONTINUE_REQ,
                            VNTMESSAGEID_EASYNCTERMINATE_REQ, VNTMESSAGEID_EASYNCMIPPROGRESS_REQ,
                            VNTMESSAGEID_EASYNCMIPINJECT_REQ, VNTMESSAGEID_ASYNCTEST_REQ}) {
            alignas(16) char request[256] = {};
            memcpy(request + sizeof(void *), &id, sizeof id);
            EXPECT_EQ(e->io->ops.sendmsg(e->io, request), 0);
        }
        for (void *message = nullptr;
             message == nullptr || message_id(message) != VNTMESSAGEID_ASYNCTEST_RES;)
            ASSERT_EQ(e->io->ops.recvmsg(e->io, &message), 0) << worker->log();
    }
};

TEST_F(SlowCapturedCalls, AreShownAsTheyTravelled)
{
    check_all(FULL);
    control_all();
    ASSERT_EQ(vntclient_start(env), 0);
    ASSERT_EQ(VNTLlpopt(env, lp), 0);
    ASSERT_EQ(vntclient_join(env), 0);
    char info[VNTCLIENT_INFO_LENGTH];
    ASSERT_EQ(vntclient_disconnect(env, info), 0) << vntclient_errortext();
    ASSERT_EQ(vntclient_reconnect(info, &env), 0) << vntclient_errortext();
    VNTLcloseVANTO(&env);
    const recording_relay::traffic passed = relay->end();
    std::vector<shown_unit> shown[2]; // of the server and of the client
    std::set<std::string> seen;
    for (const shown_unit &unit : tshark_units(path)) {
        const std::string name = shown_value(unit, "vanto.msg.name");
        if (!name.empty()) // no handshake
            shown[client_sends(name)].push_back(carried(unit));
        seen.insert(name);
    }
    EXPECT_EQ(shown[true], stream_shown(passed.from[true]));
    EXPECT_EQ(shown[false], stream_shown(passed.from[false]));
    const std::string served = file_text(source_path("docs/calls.md"));
    static const std::regex row("\n\\| \\d+ \\| `(\\w+)` \\|");
    for (std::sregex_iterator i(served.begin(), served.end(), row), end; i != end; ++i)
        EXPECT_EQ(seen.count((*i)[1]), 1u) << (*i)[1];
}

} // namespace

} // namespace vnt
