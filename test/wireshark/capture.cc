#include "test/wireshark/capture.h"

#include "remote/codec/codec.h"
#include "remote/transport/transport.h"
#include "test/bytes.h"
#include "test/folders.h"
#include "test/process.h"
#include "test/records.h"
#include "test/serverprocess.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <regex>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace vnt {

static constexpr uint16_t SERVER_PORT = 12345;
enum { FIN = 1, SYN = 2, PUSH = 8, ACK = 16 };

template <class number> static void put(std::string *to, number n)
{
    for (size_t i = sizeof n; i > 0; i--)
        *to += char(n >> (8 * (i - 1)));
}

capture::capture(const std::string &path) : out(path, std::ios::binary)
{
    std::string head;
    put<uint32_t>(&head, 0xa1b2c3d4); // the byte order of what follows, for each packet as well
    put<uint32_t>(&head, 0x00020004); // version
    put<uint64_t>(&head, 0);
    put<uint32_t>(&head, 1 << 18); // longest packet
    put<uint32_t>(&head, 101);     // packets begin with the IP header
    out << head;
}

void capture::connect(bool whole)
{
    client_port++;
    sequence[false] = 1000;
    sequence[true] = 2000;
    if (!whole) return;
    packet(true, SYN, "");
    packet(false, SYN | ACK, "");
    packet(true, ACK, "");
}

void capture::packet(bool from_client, int flags, const std::string &payload)
{
    std::string p;
    put<uint32_t>(&p, 0x45000000 + 40 + uint32_t(payload.size()));
    put<uint32_t>(&p, 0);
    put<uint32_t>(&p, 0x40060000); // TCP
    put<uint32_t>(&p, from_client ? 0x7f000002 : 0x7f000001);
    put<uint32_t>(&p, from_client ? 0x7f000001 : 0x7f000002);
    put<uint16_t>(&p, from_client ? client_port : SERVER_PORT);
    put<uint16_t>(&p, from_client ? SERVER_PORT : client_port);
    put<uint32_t>(&p, sequence[from_client]);
    put<uint32_t>(&p, flags & ACK ? sequence[!from_client] : 0);
    put<uint32_t>(&p, 0x5000ffff + (uint32_t(flags) << 16));
    put<uint32_t>(&p, 0);
    p += payload;
    microseconds += 1000;
    std::string head;
    put<uint32_t>(&head, 1'000'000'000 + microseconds / 1'000'000);
    put<uint32_t>(&head, microseconds % 1'000'000);
    put<uint32_t>(&head, uint32_t(p.size()));
    put<uint32_t>(&head, uint32_t(p.size()));
    out << head << p << std::flush;
    sequence[from_client] += uint32_t(payload.size()) + (flags & SYN ? 1 : 0);
}

void capture::send(bool from_client, const std::string &bytes, size_t segment)
{
    for (size_t at = 0; at < bytes.size(); at += segment)
        packet(from_client, PUSH | ACK, bytes.substr(at, segment));
}

static constexpr size_t MOST = 10; // connections

recording_relay::recording_relay(int server_port, capture *to)
    : kept(to), door(std::vector<script>(MOST, [this, server_port](int client) {
          const raw_client server(server_port);
          EXPECT_TRUE(server.connected);
          serve(client, server.fd);
      }))
{
}

recording_relay::traffic recording_relay::end()
{
    door.end();
    return passed;
}

void recording_relay::serve(int client, int server)
{
    kept->connect();
    const size_t begin[] = {passed.from[false].size(), passed.from[true].size()};
    pollfd ends[] = {{server, POLLIN, 0}, {client, POLLIN, 0}};
    for (bool open = true; open && poll(ends, 2, -1) > 0;) {
        if (ends[1].revents != 0) open = forward(client, server, true);
        if (open && ends[0].revents != 0) open = forward(server, client, false);
    }
    const bool joining = passed.from[true].substr(begin[true], 4) == bytes("00 00 00 02");
    passed.from[true].erase(begin[true], joining ? 12 : 4);
    passed.from[false].erase(begin[false], 10);
}

bool recording_relay::forward(int from, int to, bool from_client)
{
    char room[65000];
    const ssize_t n = read(from, room, sizeof room);
    if (n <= 0) return false;
    const std::string piece(room, size_t(n));
    passed.from[from_client] += piece;
    kept->send(from_client, piece, sizeof room);
    return give_to(to, piece);
}

std::string shown_value(const shown_unit &unit, const std::string &name)
{
    for (const auto &[field, value] : unit)
        if (field == name) return value;
    return "";
}

bool client_sends(const std::string &message)
{
    return message.ends_with("_REQ") || message == "GETRES" || message == "TERMINATE";
}

bool tshark_there()
{
    return access("/usr/bin/tshark", X_OK) == 0;
}

std::string dissector_option()
{
    return "lua_script:" + build_path("docs/vanto.lua");
}

static std::string unescaped(std::string text)
{
    const std::pair<const char *, const char *> names[] = {
        {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}, {"&amp;", "&"}};
    for (const auto &[escaped, plain] : names)
        text = std::regex_replace(text, std::regex(escaped), plain);
    return text;
}

static std::string attribute(const std::string &line, const std::string &name)
{
    const std::string begin = " " + name + "=\"";
    const size_t at = line.find(begin);
    if (at == std::string::npos) return "";
    const size_t from = at + begin.size();
    return unescaped(line.substr(from, line.find('"', from) - from));
}

std::vector<shown_unit> tshark_units(const std::string &path,
                                     const std::vector<std::string> &options)
{
    std::vector<std::string> command = {
        "tshark", "-r", path, "-X", dissector_option(), "-T", "pdml", "-o", "vanto.elements:0"};
    command.insert(command.end(), options.begin(), options.end());
    process_result read = run(command);
    EXPECT_EQ(read.status, 0) << read.err;
    EXPECT_FALSE(has(read.err, "ua")); // "Lua: Error ..."
    std::vector<shown_unit> units;
    std::istringstream lines(read.out);
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        const std::string name = attribute(line, "name");
        if (line.find("<proto ") != std::string::npos) {
            inside = name == "vanto";
            if (inside) units.emplace_back();
        } else if (inside && name.starts_with("vanto.")) {
            units.back().push_back({name, attribute(line, "show")});
        }
    }
    return units;
}

shown_unit carried(const shown_unit &unit)
{
    static const std::regex said("vanto\\.(flags\\..*|msg\\.(function|.*_in|time)|failed|refused)");
    static const std::regex kind(
        "vanto\\.((?!(?:element|array|file|msg)\\.)\\w+)\\.(array|double|string|file)");
    shown_unit all;
    for (const auto &[name, value] : unit)
        if (!std::regex_match(name, said))
            all.push_back({std::regex_replace(name, kind, "vanto.$1"), value});
    return all;
}

// Bytes as Wireshark writes them.
static std::string colons(const void *data, size_t size)
{
    std::string text = hex({static_cast<const char *>(data), size});
    std::replace(text.begin(), text.end(), ' ', ':');
    return text;
}

static std::string real(double d, int digits)
{
    char text[64];
    snprintf(text, sizeof text, "%.*g", digits, d);
    return text;
}

namespace {
// The fields of a record, one after the other.
struct shown_fields {
    shown_unit &unit;
    std::string name; // of the field at hand

    void add(const std::string &field, const std::string &value)
    {
        unit.push_back({"vanto." + field, value});
    }
    void absent() { add("msg.absent", name.substr(name.rfind('.') + 1)); }

    void operator()(int32_t n) { add(name, std::to_string(n)); }
    void operator()(int64_t n) { add(name, std::to_string(n)); }
    void operator()(double d) { add(name, real(d, 15)); }
    void operator()(const message_string &s) { string(s, name, name); }
    void operator()(const message_array &a) { array(a, name, name); }
    void operator()(const message_file &f)
    {
        add(name, "");
        string(f.name, "file.name", "File name");
        array(f.contents, "file.contents", "Contents");
    }

    void string(const message_string &s, const std::string &field, const std::string &title)
    {
        if (s.present == 0) return add("msg.absent", title);
        std::string text(s.data != nullptr ? s.data : "", s.length);
        if (!text.empty() && text.back() == '\0') text.pop_back();
        add(field, text);
    }

    void array(const message_array &a, const std::string &field, const std::string &title)
    {
        if (a.type == TYPE_NONE) return add("msg.absent", title);
        add(field, "");
        add("array.total", std::to_string(a.total));
        add("array.type", std::to_string(a.type));
        if (a.total > 0) add("array.chunks", std::to_string(a.nchunks));
        for (uint32_t c = 0; a.total > 0 && c < a.nchunks; c++)
            chunk(a.type, a.chunks[c]);
    }

    void chunk(uint32_t type, const message_chunk &c)
    {
        add("array.chunk", std::to_string(c.count));
        if (c.count > 0 && message_element_size(type) == 1)
            return add("element.bytes", colons(c.data, c.count));
        for (uint32_t i = 0; i < c.count; i++)
            element(type, c.data, i);
    }

    template <class type> type at(const void *data, uint32_t i)
    {
        return static_cast<const type *>(data)[i];
    }
    void element(uint32_t type, const void *data, uint32_t i)
    {
        switch (type) {
        case TYPE_SHORT: return add("element.int", std::to_string(at<int16_t>(data, i)));
        case TYPE_INT: return add("element.int", std::to_string(at<int32_t>(data, i)));
        case TYPE_LONG: return add("element.int", std::to_string(at<int64_t>(data, i)));
        case TYPE_USHORT: return add("element.uint", std::to_string(at<uint16_t>(data, i)));
        case TYPE_UINT: return add("element.uint", std::to_string(at<uint32_t>(data, i)));
        case TYPE_ULONG: return add("element.uint", std::to_string(at<uint64_t>(data, i)));
        case TYPE_FLOAT: return add("element.float", real(double(at<float>(data, i)), 6));
        case TYPE_DOUBLE: return add("element.double", real(at<double>(data, i), 15));
        default: return string(at<message_string>(data, i), "element.string", "Element");
        }
    }
};
} // namespace

shown_unit record_shown(const void *record)
{
    const message_layout *layout = catalogue_find(message_id(record));
    shown_unit unit = {{"vanto.msg.id", std::to_string(layout->id)},
                       {"vanto.msg.name", layout->name}};
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++) {
        shown_fields shown = {unit, f->name};
        if (f->kind == KIND_HANDLE) {
            const message_array &a = field_at<message_array>(record, f->offset);
            if (a.type == TYPE_NONE)
                shown.absent();
            else
                shown.add(f->name, colons(a.chunks[0].data, 16));
        } else {
            with_field(const_cast<void *>(record), *f, shown);
        }
    }
    return unit;
}

std::vector<shown_unit> stream_shown(const std::string &bytes)
{
    static const codec_factory *const codecs[] = {builtin_getfactory(), vntcodec_getfactory()};
    std::vector<shown_unit> units;
    transport t = {};
    const int file = memfd_create("stream", MFD_CLOEXEC);
    EXPECT_TRUE(pwrite(file, bytes.data(), bytes.size(), 0) == ssize_t(bytes.size()));
    EXPECT_EQ(fdtransport_setup(&t, file, file, 0, 2, codecs), 0);
    for (void *message; fdtransport_recvmsg(&t, &message) == 0;)
        units.push_back(record_shown(message));
    EXPECT_EQ(lseek(file, 0, SEEK_CUR), off_t(bytes.size()));
    fdtransport_teardown(&t);
    return units;
}

} // namespace vnt
