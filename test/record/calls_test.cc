// calls_test.cc: every call of the list, from the calling side's function or from a bare request,
// through a server and a worker to a solver that notes what it gets, and back.

#include "client/connection.h"
#include "test/arrays.h"
#include "test/record/arguments.h"
#include "test/server.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <unistd.h>

namespace fs = std::filesystem;

static const std::map<std::string, void *> functions = {
#define SOLVER_CALL(name, function, ...) {#function, reinterpret_cast<void *>(function)},
#include "handler/solvercalls.def"
};

namespace {

enum variant { FULL, ABSENT, EMPTY, NEGATIVE };

// Arguments whose values tell where they belong.
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
        if (p.type == "contents") return v == FULL ? std::string("a\0b\nc", 5) : "";
        return "the " + p.name;
    }

    std::optional<std::string> name(size_t i, int64_t k) override
    {
        if (name_absent(k)) return std::nullopt;
        return f.parameters[i].name + std::to_string(k);
    }

    // What the solver must have been called with, when the worker's objects are these.
    std::string line(uint64_t env, uint64_t lp, uint64_t net)
    {
        patterned there(f, v);
        void *objects[] = {reinterpret_cast<void *>(env), reinterpret_cast<void *>(lp),
                           reinterpret_cast<void *>(net)};
        there.set_objects(objects);
        return call_text(f, there.values);
    }
};

std::string hex(const void *bytes, size_t size)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < size; i++) {
        unsigned char c = static_cast<const unsigned char *>(bytes)[i];
        text += {digits[c >> 4], digits[c & 15]};
    }
    return text;
}

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
    std::vector<char> bytes(static_cast<size_t>(count) * element_size(p.element()));
    for (int64_t k = 0; k < count; k++)
        store_value(p.element(), bytes.data(), k, value_out(a.f, i, k));
    return hex(bytes.data(), bytes.size());
}

std::string file_text(const fs::path &path)
{
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

class Calls : public testing::Test {
  protected:
    fs::path folder = fs::temp_directory_path() / ("record" + std::to_string(getpid()));
    fs::path record = folder / "calls";
    std::unique_ptr<server> worker;
    VNTENVptr env = nullptr;
    VNTLPptr lp = nullptr;
    VNTNETptr net = nullptr;

    void SetUp() override
    {
        fs::create_directory(folder);
        fs::create_symlink(VNT_BUILD_DIR "/lib/libvantorecord.so", folder / "libvanto.so");
        worker = std::make_unique<server>(
            std::vector<std::string>{},
            std::vector<std::string>{"LD_LIBRARY_PATH=" + folder.string(), // the solver it finds
                                     "VNT_RECORD_FILE=" + record.string()});
        find_server(*worker);
        int status = -1;
        env = VNTLopenVANTO(&status);
        ASSERT_EQ(status, 0) << vntclient_errortext();
        make_objects();
    }

    void TearDown() override
    {
        VNTLcloseVANTO(&env);
        worker.reset();
        fs::remove_all(folder);
    }

    void make_objects()
    {
        int status = -1;
        if (lp == nullptr) lp = VNTLcreateprob(env, &status, "");
        if (net == nullptr) net = VNTLNETcreateprob(env, &status, "");
    }

    std::vector<std::string> recorded()
    {
        const std::string all = file_text(record);
        std::vector<std::string> lines;
        // A line break inside a text is no end of a line.
        for (size_t at = 0, end; (end = all.find("\nVNT", at)) != std::string::npos; at = end + 1)
            lines.push_back(all.substr(at, end - at));
        size_t begin = all.rfind("\nVNT") + 1;
        if (!all.empty()) lines.push_back(all.substr(begin, all.size() - 1 - begin));
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
        if (!a.is_output(i) || (failed && p.array())) return; // a failed call tells nothing there
        const int64_t count = a.count(i);
        if (p.type == "char*[]") {
            EXPECT_EQ(names_in_store(a, i, count), expected(a, i, count));
        } else if (p.type != "str") {
            EXPECT_EQ(hex(a.values[i].p, static_cast<size_t>(count) * element_size(p.element())),
                      expected(a, i, count));
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
        const std::string expected = a.line(RECORD_ENV, RECORD_LP, RECORD_NET);
        void *objects[] = {env, lp, net};
        a.set_objects(objects);
        fs::remove(record);
        call_value result = {};
        row_of(f).invoke(functions.at(f.function), a.values, &result);
        check_result(f, result);
        std::vector<std::string> lines = recorded();
        ASSERT_FALSE(lines.empty()) << "status " << result.i << ": " << vntclient_errortext();
        EXPECT_EQ(lines.back(), expected);
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
        EXPECT_EQ(count, 430);
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

// A solver that has nothing and fails.
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

// A request as it travels, put together by the names of its fields.
struct bare_request {
    patterned a;
    const message_layout *layout;
    std::vector<std::unique_ptr<guarded>> memory;
    std::vector<std::vector<message_chunk>> tables;
    std::vector<std::vector<message_string>> strings;
    alignas(16) char record[SOLVERCALL_MAXRECORD] = {};

    explicit bare_request(const listed_function &f)
        : a(f, FULL), layout(catalogue_find(static_cast<uint32_t>(f.id)))
    {
        tables.reserve(100);
        strings.reserve(100);
        field_at<uint32_t>(record, sizeof(void *)) = layout->id;
        for (const message_field *m = layout->fields; m->kind != KIND_END; m++) {
            int i = f.find(m->name);
            if (i >= 0) set_field(m, static_cast<size_t>(i));
        }
    }

    int32_t &flags() { return field_at<int32_t>(record, layout->fields[0].offset); }

    void set_field(const message_field *m, size_t i)
    {
        const call_value &v = a.values[i];
        switch (m->kind) {
        case KIND_INT: field_at<int32_t>(record, m->offset) = v.i; break;
        case KIND_LONG: field_at<int64_t>(record, m->offset) = v.l; break;
        case KIND_DOUBLE: field_at<double>(record, m->offset) = v.d; break;
        case KIND_STRING:
            field_at<message_string>(record, m->offset) = text(static_cast<const char *>(v.p));
            break;
        case KIND_ARRAY: set_array(&field_at<message_array>(record, m->offset), i); break;
        case KIND_FILE: set_file(&field_at<message_file>(record, m->offset), i); break;
        default: break; // objects stay absent: the defaults are taken
        }
    }

    // In three chunks, the middle one empty.
    void set_chunks(message_array *array, uint32_t type, int64_t count, void *data)
    {
        const uint32_t first = count > 1 ? 1 : 0;
        char *rest = static_cast<char *>(data) + first * message_elementsize(type);
        tables.push_back(
            {{first, data}, {0, nullptr}, {static_cast<uint32_t>(count) - first, rest}});
        *array = {count, type, 3, tables.back().data(), {}};
    }

    void set_array(message_array *array, size_t i)
    {
        static const std::map<std::string, uint32_t> types = {
            {"char", TYPE_BYTE}, {"int", TYPE_INT}, {"long", TYPE_LONG}, {"double", TYPE_DOUBLE}};
        const listed_parameter &p = a.f.parameters[i];
        const int64_t count = listed_size(a.f, i, a.values);
        if (p.type != "char*[]")
            return set_chunks(array, types.at(p.element()), count, a.values[i].p);
        strings.emplace_back();
        for (int64_t k = 0; k < count; k++)
            strings.back().push_back(text(static_cast<const char **>(a.values[i].p)[k]));
        set_chunks(array, TYPE_STRING, count, strings.back().data());
    }

    void set_file(message_file *file, size_t i)
    {
        file->name = text(static_cast<const char *>(a.values[i].p));
        set_chunks(&file->contents, TYPE_BYTE, a.values[i + 2].l, a.values[i + 1].p);
    }
};

class Requests : public Calls {
  protected:
    transport *io = nullptr;

    void SetUp() override
    {
        Calls::SetUp();
        client_env *e = nullptr;
        if (client_findenv(env, &e) == 0) io = e->io;
        ASSERT_NE(io, nullptr);
    }

    // The next message, null when the connection ended.
    const void *receive()
    {
        void *message = nullptr;
        return io->ops.recvmsg(io, &message) == 0 ? message : nullptr;
    }

    const void *exchange(void *request)
    {
        return io->ops.sendmsg(io, request) == 0 ? receive() : nullptr;
    }

    static std::string names_in(const message_array &array)
    {
        std::string all;
        for (const message_string &s : elements<message_string>(array))
            all += s.present ? s.data + std::string(" ") : "absent ";
        return all;
    }
    static std::string bytes_in(const message_array &array)
    {
        std::string all;
        for (uint32_t c = 0; c < array.nchunks; c++)
            all +=
                hex(array.chunks[c].data, array.chunks[c].count * message_elementsize(array.type));
        return all;
    }

    void check_field(const patterned &a, const message_field &m, const void *response)
    {
        SCOPED_TRACE(m.name);
        const int place = a.f.find(m.name);
        if (place < 0) return check_result_field(a.f, m, response);
        const size_t i = static_cast<size_t>(place);
        if (m.kind == KIND_ARRAY) {
            const message_array &array = field_at<message_array>(response, m.offset);
            const int64_t count = listed_size(a.f, i, a.values);
            EXPECT_EQ(array.total, count);
            EXPECT_EQ(a.f.parameters[i].type == "char*[]" ? names_in(array) : bytes_in(array),
                      expected(a, i, count));
        } else if (m.kind == KIND_STRING) {
            const message_string &s = field_at<message_string>(response, m.offset);
            const size_t space = static_cast<size_t>(listed_size(a.f, i, a.values));
            EXPECT_EQ(std::string(s.data, s.length), (text_out(a.f, i) + '\0').substr(0, space));
        } else if (m.kind == KIND_FILE) {
            const std::string text = text_out(a.f, i);
            EXPECT_EQ(bytes_in(field_at<message_file>(response, m.offset).contents),
                      hex(text.data(), text.size()));
        } else {
            const std::string value = expected(a, i, 1);
            EXPECT_EQ(hex(static_cast<const char *>(response) + m.offset, value.size() / 2), value);
        }
    }

    void check_result_field(const listed_function &f, const message_field &m, const void *response)
    {
        call_value result = {};
        if (m.kind == KIND_INT) result.i = field_at<int32_t>(response, m.offset);
        if (m.kind == KIND_LONG) result.l = field_at<int64_t>(response, m.offset);
        if (m.kind == KIND_DOUBLE) result.d = field_at<double>(response, m.offset);
        if (m.kind == KIND_HANDLE || m.kind == KIND_ARRAY)
            result.p = field_at<message_array>(response, m.offset).total == 16 ? this : nullptr;
        check_result(f, result);
    }

    // What the worker has asked besides the call itself: each question once.
    void check_questions(const listed_function &f, std::vector<std::string> lines)
    {
        std::vector<std::string> asked, expected = f.calls;
        lines.pop_back(); // the call
        for (const std::string &line : lines) {
            std::string function = line.substr(0, line.find(' '));
            bool reduced = line.find("lp=c000") != std::string::npos; // asked of another problem
            bool unlisted = function == "VNTLgetnumcols" || function == "VNTLgetintparam" ||
                            function == "VNTLgetconflict";
            if (!reduced && !unlisted) asked.push_back(function);
        }
        std::sort(asked.begin(), asked.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(asked, expected);
    }

    // The request as an exchange of messages, by flags that a stub does not set.
    void check_request(const listed_function &f, int32_t flags)
    {
        SCOPED_TRACE(f.function);
        fs::remove(record);
        bare_request r(f);
        r.flags() = flags;
        const void *response = exchange(r.record);
        if (flags & 1) {
            ASSERT_NE(response, nullptr);
            ASSERT_EQ(message_id(response), VNTMESSAGEID_ACK);
            EXPECT_EQ(static_cast<const vntmsg_ACK *>(response)->message, f.id);
            vntmsg_GETRES get = {nullptr, VNTMESSAGEID_GETRES, f.id, 0};
            response = exchange(&get);
        }
        ASSERT_NE(response, nullptr);
        ASSERT_EQ(message_id(response), row_of(f).response);
        for (const message_field *m = catalogue_find(message_id(response))->fields;
             m->kind != KIND_END; m++)
            check_field(r.a, *m, response);
        std::vector<std::string> lines = recorded();
        const std::string line = r.a.line(RECORD_ENV, 0, 0);
        EXPECT_GE(std::count(lines.begin(), lines.end(), line), 1) << line;
        if ((flags & 1) == 0) check_questions(f, lines);
    }
    void check_requests(int32_t flags)
    {
        for (const listed_function &f : listing())
            if (f.id != 0) check_request(f, flags);
    }
};

TEST_F(Requests, InChunksAndWithDefaultsReachTheSolver)
{
    check_requests(2);
}

TEST_F(Requests, RunAsynchronouslyWithoutTheirRowKnowing)
{
    check_requests(3);
}

// The first field of a kind in a request, and what to make of it.
struct malformation {
    const char *function;
    const char *field;
    void (*spoil)(void *field);
};

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
        SCOPED_TRACE(m.function);
        const listed_function &f = listed(m.function);
        bare_request r(f);
        r.flags() = 2;
        for (const message_field *field = r.layout->fields; field->kind != KIND_END; field++)
            if (strcmp(field->name, m.field) == 0) m.spoil(r.record + field->offset);
        fs::remove(record);
        const void *message = exchange(r.record);
        ASSERT_NE(message, nullptr);
        ASSERT_EQ(message_id(message), VNTMESSAGEID_NAK);
        const vntmsg_NAK nak = *static_cast<const vntmsg_NAK *>(message);
        EXPECT_EQ(nak.message, f.id);
        EXPECT_EQ(nak.flags, 2);
        EXPECT_EQ(nak.status, -1);
        message = receive();
        ASSERT_NE(message, nullptr);
        ASSERT_EQ(message_id(message), VNTMESSAGEID_UNKNOWN);
        EXPECT_EQ(static_cast<const vntmsg_UNKNOWN *>(message)->message, f.id);
        EXPECT_TRUE(recorded().empty());
        EXPECT_EQ(VNTLgetnumrows(env, lp), 4);
    }
}

} // namespace
