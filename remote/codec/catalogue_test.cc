#include "remote/codec/catalogue.h"
#include "test/folders.h"

#include <gtest/gtest.h>

#include <sstream>

namespace vnt {

static const char *kind_name(message_kind kind)
{
    switch (kind) {
    case KIND_INT: return "int";
    case KIND_LONG: return "long";
    case KIND_DOUBLE: return "double";
    case KIND_STRING: return "string";
    case KIND_ARRAY:
    case KIND_HANDLE: return "array";
    case KIND_FILE: return "file";
    case KIND_END: break;
    }
    return "?";
}

static std::string listing(void)
{
    std::ostringstream out;
    for (const message_layout *m = catalogue_begin; m != catalogue_end; m++) {
        out << m->id << ' ' << m->name;
        for (const message_field *f = m->fields; f->kind != KIND_END; f++)
            out << (f == m->fields ? ": " : ", ") << f->name << ' ' << kind_name(f->kind);
        out << '\n';
    }
    return out.str();
}

// Both ends must agree on every id and field, also those of other versions.
TEST(Catalogue, IsWhatWasAgreedOn)
{
    EXPECT_EQ(listing(), file_text(source_path("remote/codec/catalogue.golden")));
}

} // namespace vnt
