#include "remote/message/errors.h"

#include "vanto.h"

#include <iterator>

namespace vnt {

struct error_row {
    int code;
    int status;
    const char *text;
};

static constexpr error_row rows[] = {
    {0, 0, "success"},
#define MESSAGE_ERROR(name, code, status, text) {code, status, text},
#include "remote/message/errors.def"
};

static const error_row *find(int code)
{
    for (const error_row &row : rows)
        if (row.code == code) return &row;
    return nullptr;
}

int msg2vnt(int code)
{
    const error_row *row = find(code);
    return row != nullptr ? row->status : VNTERR_REMOTE;
}

const char *message_error_text(int code)
{
    const error_row *row = find(code);
    return row != nullptr ? row->text : "unknown error";
}

} // namespace vnt
