#include "solver/formats/unpack.h"

#include "solver/model/failure.h"

#include <algorithm>
#include <bzlib.h>
#include <lzma.h>
#include <memory>
#include <zlib.h>

namespace vnt {

namespace {

// The common interface of the three libraries: `step` fills a piece of output from the input, and
// returns one of these.
enum class unpacking { GOES_ON, MEMBER_ENDS, FAILS };

// How many bytes of a piece are left to a library that counts them in 32 bits.
constexpr size_t most = 1 << 30;

class gzip {
  public:
    static constexpr std::string_view magic = "\x1f\x8b";
    gzip() { require(inflateInit2(&z, 16 + MAX_WBITS) == Z_OK, VNTERR_NO_MEMORY); }
    ~gzip() { inflateEnd(&z); }
    void restart() { inflateReset(&z); }
    unpacking step(std::string_view *in, char **out, size_t space)
    {
        z.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(in->data()));
        z.avail_in = static_cast<uInt>(std::min(in->size(), most));
        z.next_out = reinterpret_cast<Bytef *>(*out);
        z.avail_out = static_cast<uInt>(space);
        int rc = inflate(&z, Z_NO_FLUSH);
        in->remove_prefix(reinterpret_cast<const char *>(z.next_in) - in->data());
        *out += space - z.avail_out;
        if (rc == Z_STREAM_END) return unpacking::MEMBER_ENDS;
        return rc == Z_OK ? unpacking::GOES_ON : unpacking::FAILS;
    }

  private:
    z_stream z = {};
};

class bzip2 {
  public:
    static constexpr std::string_view magic = "BZh";
    bzip2() { require(BZ2_bzDecompressInit(&z, 0, 0) == BZ_OK, VNTERR_NO_MEMORY); }
    ~bzip2() { BZ2_bzDecompressEnd(&z); }
    void restart()
    {
        BZ2_bzDecompressEnd(&z);
        z = {};
        require(BZ2_bzDecompressInit(&z, 0, 0) == BZ_OK, VNTERR_NO_MEMORY);
    }
    unpacking step(std::string_view *in, char **out, size_t space)
    {
        z.next_in = const_cast<char *>(in->data());
        z.avail_in = static_cast<unsigned>(std::min(in->size(), most));
        z.next_out = *out;
        z.avail_out = static_cast<unsigned>(space);
        int rc = BZ2_bzDecompress(&z);
        bool moved = z.next_in != in->data() || z.avail_out != space;
        in->remove_prefix(z.next_in - in->data());
        *out += space - z.avail_out;
        if (rc == BZ_STREAM_END) return unpacking::MEMBER_ENDS;
        return rc == BZ_OK && moved ? unpacking::GOES_ON : unpacking::FAILS;
    }

  private:
    bz_stream z = {};
};

class xz {
  public:
    static constexpr std::string_view magic{"\xfd"
                                            "7zXZ\0",
                                            6};
    xz() { restart(); }
    ~xz() { lzma_end(&z); }
    void restart() { require(lzma_stream_decoder(&z, UINT64_MAX, 0) == LZMA_OK, VNTERR_NO_MEMORY); }
    unpacking step(std::string_view *in, char **out, size_t space)
    {
        z.next_in = reinterpret_cast<const uint8_t *>(in->data());
        z.avail_in = in->size();
        z.next_out = reinterpret_cast<uint8_t *>(*out);
        z.avail_out = space;
        lzma_ret rc = lzma_code(&z, LZMA_RUN);
        in->remove_prefix(in->size() - z.avail_in);
        *out += space - z.avail_out;
        if (rc == LZMA_STREAM_END) return unpacking::MEMBER_ENDS;
        return rc == LZMA_OK ? unpacking::GOES_ON : unpacking::FAILS;
    }

  private:
    lzma_stream z = LZMA_STREAM_INIT;
};

} // namespace

// A packed file may consist of several members, one after the other.  What follows the last one
// does not count.
template <class packer> static std::string unpack(std::string_view bytes)
{
    packer p;
    std::string text;
    char piece[65536];
    for (;;) {
        char *end = piece;
        unpacking how = p.step(&bytes, &end, sizeof piece);
        if (how == unpacking::FAILS)
            throw failure{VNTERR_FILE_FORMAT, "the packed file is damaged or cut short"};
        text.append(piece, end);
        if (how == unpacking::GOES_ON) continue;
        if (!bytes.starts_with(packer::magic)) return text;
        p.restart();
    }
}

std::string unpacked(std::string bytes)
{
    if (bytes.starts_with(gzip::magic)) return unpack<gzip>(bytes);
    if (bytes.starts_with(bzip2::magic)) return unpack<bzip2>(bytes);
    if (bytes.starts_with(xz::magic)) return unpack<xz>(bytes);
    return bytes;
}

std::string_view without_packer(std::string_view name)
{
    for (std::string_view end : {".gz", ".bz2", ".xz"})
        if (name.ends_with(end)) return name.substr(0, name.size() - end.size());
    return name;
}

} // namespace vnt
