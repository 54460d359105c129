// reader.h: the reading half of a stream over descriptors; writer.h describes the layout.
//
// Sizes come from the peer and are not trusted: memory grows with the bytes received, not with the
// sizes announced.  It never exceeds eight times the bytes received plus a megabyte, except while a
// block moves to a larger place, when both exist for a moment.
//
// Ownership: containers read own their memory; the free operations release it.  After an error
// there is nothing to free.  Strings and byte blocks carry MESSAGE_SPARE zero bytes at their end.
//
// Threads: one reads at a time.
//
// Errors: 0, MESSAGE_IO, MESSAGE_INVALID for an unknown element type, MESSAGE_NOMEMORY.  When
// memory runs out, an array is still read to its end, so that the next message can follow; a string
// or a file is not.

#pragma once

#include "remote/stream/fdio.h"

namespace vnt {

int fdio_startinmsg(stream *s, int32_t *id);
int fdio_getcurrentinmsg(stream *s);
int fdio_endinmsg(stream *s);
void fdio_expect(stream *s, uint32_t least);
void fdio_land(stream *s, const stream_landing *landing);

#define DECLARE(kind, type) int fdio_read##kind(stream *s, const char *name, type *value);
FDIO_NUMBERS(DECLARE)
#undef DECLARE
int fdio_readstring(stream *s, const char *name, message_string *value);
int fdio_readarray(stream *s, const char *name, message_array *value);
int fdio_readfile(stream *s, const char *name, message_file *value);

void fdio_freestring(stream *s, message_string *value);
void fdio_freearray(stream *s, message_array *value);
void fdio_freefile(stream *s, message_file *value);

} // namespace vnt
