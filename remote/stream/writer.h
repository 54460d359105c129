// writer.h: the writing half of a stream: it lays values out in a buffer, which an operation sends.
// A stream over a descriptor and a group of streams are both writers and write the same bytes.
//
// All numbers are big-endian, nothing is aligned or named:
//
//   message   id 4, then its fields
//   string    present 4, length 4, then the bytes; an absent one is eight zero bytes
//   array     total 8, type 4; if the total is above 0 the number of chunks 4 and for each its
//             count 4 and its elements
//   file      its name, a string, and its contents, an array
//
// Ownership: the writer owns its scratch block.
//
// Threads: one writes at a time.
//
// Errors: 0, MESSAGE_INVALID for an unknown element type, before anything of the array is written,
// MESSAGE_IO for a file that is shorter than when it was mapped, or what `transmit` returned.

#pragma once

#include "remote/stream/stream.h"

namespace vnt {

constexpr uint32_t FDIO_TAG = 0x03050801; // a stream over descriptors, or a group of them
constexpr uint32_t FDIO_BUFFER = 8192;    // bytes

// The kinds of numbers, in the order of their slots.
#define FDIO_NUMBERS(row)                                                                          \
    row(byte, int8_t) row(short, int16_t) row(int, int32_t) row(long, int64_t) row(ubyte, uint8_t) \
        row(ushort, uint16_t) row(uint, uint32_t) row(ulong, uint64_t) row(float, float)           \
            row(double, double)

struct fdio_writer : stream {
    uint32_t tag;        // FDIO_TAG
    int32_t uselistener; // nonzero: asynchronous input comes from a thread of the stream's own
    int32_t curoutmsg;   // -1 between messages

    // Sends what the buffer holds and then the `n` bytes at `block`, all of it, and empties the
    // buffer.  After an error the buffer keeps what was not sent of it.
    int (*transmit)(fdio_writer *w, const void *block, size_t n);

    unsigned char *scratch; // where large arrays are put into wire order; made when needed
    unsigned char outbuf[FDIO_BUFFER];
    uint32_t outlen; // bytes held
    uint32_t outcap; // bytes that fit
    bool held;       // see writer_hold
};

// Readies the writer's part of a record that is zero.
void writer_init(fdio_writer *w, int32_t uselistener,
                 int (*transmit)(fdio_writer *, const void *, size_t));

// While it holds, messages that end stay in the buffer, as far as they fit, and leave in one piece
// with the first that ends afterwards.
void writer_hold(stream *s, bool hold);

// Frees what the writer owns.
void writer_release(fdio_writer *w);

int fdio_startoutmsg(stream *s, int32_t id, const void *record, int *must_end);
int fdio_getcurrentoutmsg(stream *s);
int fdio_endoutmsg(stream *s);

#define DECLARE(kind, type) int fdio_write##kind(stream *s, const char *name, type value);
FDIO_NUMBERS(DECLARE)
#undef DECLARE
int fdio_writestring(stream *s, const char *name, const message_string *value);
int fdio_writearray(stream *s, const char *name, const message_array *value);
int fdio_writefile(stream *s, const char *name, const message_file *value);

} // namespace vnt
