// errors.h: the error codes of the message layer, their texts and their solver statuses.
//
// Threads: any.

#pragma once

namespace vnt {

enum message_error : int {
#define MESSAGE_ERROR(name, code, status, text) MESSAGE_##name = code,
#include "remote/message/errors.def"
};

// The solver status for a code: 0 for 0, VNTERR_REMOTE for a code without a row.
int msg2vnt(int code);

// What the code means, for messages to people.  Never null.
const char *message_error_text(int code);

} // namespace vnt
