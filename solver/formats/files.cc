#include "solver/formats/files.h"

#include "solver/formats/unpack.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <memory>
#include <zlib.h>

namespace vnt {

using file_holder = std::unique_ptr<FILE, int (*)(FILE *)>;

static std::string read_all(const char *name)
{
    file_holder file(fopen(name, "rbe"), fclose);
    if (file == nullptr) {
        throw failure{VNTERR_FILE_OPEN, printed("cannot open %s: %s", name, strerror(errno))};
    }
    std::string text;
    char piece[65536];
    while (size_t got = fread(piece, 1, sizeof piece, file.get()))
        text.append(piece, got);
    if (ferror(file.get())) {
        throw failure{VNTERR_FILE_IO, printed("cannot read %s: %s", name, strerror(errno))};
    }
    return text;
}

std::string file_contents(const char *name, const char *contents, int64_t length)
{
    std::string text;
    if (contents != nullptr) {
        require(length >= 0, VNTERR_BAD_ARGUMENT);
        text.assign(contents, static_cast<size_t>(length));
    } else {
        require_there(name);
        text = read_all(name);
    }
    text = unpacked(std::move(text));
    if (text.compare(0, 3, "\xef\xbb\xbf") == 0) text.erase(0, 3); // a byte-order mark
    return text;
}

static bool write_packed(const char *name, const std::string &text)
{
    gzFile file = gzopen(name, "wbe");
    require(file != nullptr, VNTERR_FILE_CREATE);
    size_t done = 0;
    while (done < text.size()) {
        auto piece = static_cast<unsigned>(std::min<size_t>(text.size() - done, 1 << 30));
        if (gzwrite(file, text.data() + done, piece) != static_cast<int>(piece)) break;
        done += piece;
    }
    bool closed = gzclose(file) == Z_OK;
    return closed && done == text.size();
}

static bool write_plain(const char *name, const std::string &text)
{
    file_holder file(fopen(name, "wbe"), fclose);
    if (file == nullptr) {
        throw failure{VNTERR_FILE_CREATE, printed("cannot create %s: %s", name, strerror(errno))};
    }
    bool written = fwrite(text.data(), 1, text.size(), file.get()) == text.size();
    return (fclose(file.release()) == 0) & written;
}

void file_write(const char *name, const std::string &text)
{
    require_there(name);
    bool written = std::string_view(name).ends_with(".gz") ? write_packed(name, text)
                                                           : write_plain(name, text);
    if (written) return;
    throw failure{VNTERR_FILE_IO, printed("cannot write %s: %s", name, strerror(errno))};
}

std::string file_kind(const char *name, const char *filetype)
{
    std::string kind;
    if (filetype != nullptr && filetype[0] != '\0') {
        kind = filetype;
    } else if (name != nullptr) {
        kind = name;
    }
    for (char &c : kind)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    kind.resize(without_packer(kind).size());
    size_t dot = kind.rfind('.');
    if (dot != std::string::npos) kind.erase(0, dot + 1);
    return kind;
}

void append_number(double value, std::string *text)
{
    char digits[32];
    text->append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

std::string number_text(double value)
{
    std::string text;
    append_number(value, &text);
    return text;
}

bool number_read(std::string_view text, double *value)
{
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    const char *end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, *value);
    if (error == std::errc::result_out_of_range && stop == end) {
        // Too small or too large: an exponent below zero tells which.
        bool small = text.find("e-") != text.npos || text.find("E-") != text.npos;
        *value = small ? 0 : text[0] == '-' ? -HUGE_VAL : HUGE_VAL;
        return true;
    }
    return error == std::errc() && stop == end && !std::isnan(*value);
}

void file_malformed(int line, const char *format, ...)
{
    char text[512];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    throw failure{VNTERR_FILE_FORMAT, printed("line %d: %s", line, text)};
}

bool line_reader::next(std::string_view *line)
{
    if (rest.empty()) return false;
    size_t end = std::min(rest.find('\n'), rest.size());
    *line = rest.substr(0, end);
    if (!line->empty() && line->back() == '\r') line->remove_suffix(1);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    count++;
    return true;
}

line_words words_of(std::string_view line)
{
    line_words words;
    auto blank = [&](size_t i) { return line[i] == ' ' || line[i] == '\t'; };
    for (size_t at = 0;;) {
        while (at < line.size() && blank(at))
            at++;
        if (at == line.size()) return words;
        size_t end = at;
        while (end < line.size() && !blank(end))
            end++;
        words.add(line.substr(at, end - at));
        at = end;
    }
}

std::string one_line(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    text.erase(text.find_last_not_of(" \t") + 1);
    return text.erase(0, text.find_first_not_of(" \t"));
}

} // namespace vnt
