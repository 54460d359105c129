#include "remote/codec/codec.h"

#include "remote/base/holders.h"
#include "remote/codec/catalogue.h"

#include <cstdlib>
#include <cstring>

namespace vnt {

// The public record of a codec, and which of the two it is.
struct simplecodec : codec {
    bool solver; // knows the messages from FIRST_SOLVER_ID on, else those before
};
static constexpr uint32_t FIRST_SOLVER_ID = 1000;

static const message_layout *find(const codec *c, uint32_t id)
{
    const bool solver = id >= FIRST_SOLVER_ID;
    return solver == static_cast<const simplecodec *>(c)->solver ? catalogue_find(id) : nullptr;
}

static int encode_field(stream *out, const message_field *f, const void *record)
{
    const stream_operations &ops = out->ops;
    switch (f->kind) {
    case KIND_END: break;
    case KIND_INT: return ops.writeint(out, f->name, field_at<int32_t>(record, f->offset));
    case KIND_LONG: return ops.writelong(out, f->name, field_at<int64_t>(record, f->offset));
    case KIND_DOUBLE: return ops.writedouble(out, f->name, field_at<double>(record, f->offset));
    case KIND_STRING:
        return ops.writestring(out, f->name, &field_at<message_string>(record, f->offset));
    case KIND_ARRAY:
    case KIND_HANDLE:
        return ops.writearray(out, f->name, &field_at<message_array>(record, f->offset));
    case KIND_FILE: return ops.writefile(out, f->name, &field_at<message_file>(record, f->offset));
    }
    return 0;
}

static int decode_field(stream *in, const message_field *f, void *record)
{
    const stream_operations &ops = in->ops;
    switch (f->kind) {
    case KIND_END: break;
    case KIND_INT: return ops.readint(in, f->name, &field_at<int32_t>(record, f->offset));
    case KIND_LONG: return ops.readlong(in, f->name, &field_at<int64_t>(record, f->offset));
    case KIND_DOUBLE: return ops.readdouble(in, f->name, &field_at<double>(record, f->offset));
    case KIND_STRING:
        return ops.readstring(in, f->name, &field_at<message_string>(record, f->offset));
    case KIND_ARRAY:
    case KIND_HANDLE:
        return ops.readarray(in, f->name, &field_at<message_array>(record, f->offset));
    case KIND_FILE: return ops.readfile(in, f->name, &field_at<message_file>(record, f->offset));
    }
    return 0;
}

static void free_field(stream *in, const message_field *f, void *record)
{
    const stream_operations &ops = in->ops;
    switch (f->kind) {
    case KIND_END:
    case KIND_INT:
    case KIND_LONG:
    case KIND_DOUBLE: break;
    case KIND_STRING: ops.freestring(in, &field_at<message_string>(record, f->offset)); break;
    case KIND_ARRAY:
    case KIND_HANDLE: ops.freearray(in, &field_at<message_array>(record, f->offset)); break;
    case KIND_FILE: ops.freefile(in, &field_at<message_file>(record, f->offset)); break;
    }
}

// Writes the message but its end, which the caller writes if `*must_end` is set.
static int encode(stream *out, const message_layout *layout, const void *record, int *must_end)
{
    int rc = out->ops.startoutmsg(out, static_cast<int32_t>(layout->id), record, must_end);
    if (rc != 0) return rc;
    *must_end = 1;
    for (const message_field *f = layout->fields; rc == 0 && f->kind != KIND_END; f++)
        rc = encode_field(out, f, record);
    return rc;
}

// Frees a record and what its fields before `end` own, or all of them when that is null.
static void free_record(stream *in, const message_field *fields, const message_field *end,
                        void *record)
{
    for (const message_field *f = fields; f != end && f->kind != KIND_END; f++)
        free_field(in, f, record);
    free(record);
}

// Offers the place where an array of the message is wanted.
static void offer_landing(stream *in, const codec_landing *l, const message_field *f,
                          const void *record)
{
    if (field_at<int32_t>(record, l->status_at) != 0 || f->offset < l->status_at) return;
    for (int i = 0; i < l->n; i++)
        if (l->places[i].array_at == f->offset) in->ops.land(in, &l->places[i].where);
}

static int decode(codec *c, const message_layout *layout, void **out, int *must_end)
{
    stream *in = c->in;
    const bool awaited = c->landing != nullptr && c->landing->id == layout->id;
    void *record = calloc(1, layout->size);
    *must_end = 1;
    if (record == nullptr) return MESSAGE_NOMEMORY;
    field_at<uint32_t>(record, sizeof(void *)) = layout->id;
    if (in->ops.expect != nullptr) in->ops.expect(in, layout->least);
    for (const message_field *f = layout->fields; f->kind != KIND_END; f++) {
        if (awaited && f->kind == KIND_ARRAY) offer_landing(in, c->landing, f, record);
        int rc = decode_field(in, f, record);
        if (rc == 0) continue;
        free_record(in, layout->fields, f, record);
        return rc;
    }
    *out = record;
    return 0;
}

static int simplecodec_sendmsg(codec *c, const void *record)
{
    const message_layout *layout = find(c, message_id(record));
    if (layout == nullptr) return MESSAGE_UNKNOWN;
    mutex_holder hold(&c->lock);
    int must_end = 0;
    int rc = encode(c->out, layout, record, &must_end);
    if (must_end != 0) {
        int ended = c->out->ops.endoutmsg(c->out);
        if (rc == 0) rc = ended;
    }
    return rc;
}

static int simplecodec_recvmsg(codec *c, void **record)
{
    stream *in = c->in;
    int32_t id = in->ops.getcurrentinmsg(in);
    if (id < 0) {
        int rc = in->ops.startinmsg(in, &id);
        if (rc != 0) return rc;
    }
    const message_layout *layout = find(c, static_cast<uint32_t>(id));
    if (layout == nullptr) return MESSAGE_UNKNOWN;
    int must_end = 0;
    int rc = decode(c, layout, record, &must_end);
    if (must_end != 0) {
        int ended = in->ops.endinmsg(in);
        if (rc == 0) rc = ended;
    }
    return rc;
}

static int simplecodec_delmsg(codec *c, void *record)
{
    if (record == nullptr) return 0;
    const message_layout *layout = find(c, message_id(record));
    if (layout == nullptr) return MESSAGE_UNKNOWN;
    free_record(c->in, layout->fields, nullptr, record);
    return 0;
}

static constexpr char CODEC_TAG[4] = {'p', 'M', 'i', 'S'};

static int simplecodec_equal(codec *c, const codec *other)
{
    return other != nullptr && memcmp(other->tag, CODEC_TAG, sizeof CODEC_TAG) == 0 &&
           strcmp(c->name, other->name) == 0;
}

static void simplecodec_destroy(codec *c)
{
    if (c != nullptr) pthread_mutex_destroy(&c->lock);
    free(c);
}

static const char *simplecodec_factoryname(codec *c)
{
    return c->name;
}

static int simplecodec_mkmulticast(codec *c, codec **out, stream *out_stream);

static constexpr codec_operations simplecodec_ops = {
    .sendmsg = simplecodec_sendmsg,
    .recvmsg = simplecodec_recvmsg,
    .delmsg = simplecodec_delmsg,
    .equal = simplecodec_equal,
    .destroy = simplecodec_destroy,
    .factoryname = simplecodec_factoryname,
    .mkmulticast = simplecodec_mkmulticast,
};

static int simplecodec_create(codec **out, bool solver, stream *in, stream *out_stream)
{
    *out = nullptr;
    auto c = static_cast<simplecodec *>(calloc(1, sizeof(simplecodec)));
    if (c == nullptr) return MESSAGE_NOMEMORY;
    if (pthread_mutex_init(&c->lock, nullptr) != 0) {
        free(c);
        return MESSAGE_LOCK;
    }
    c->ops = simplecodec_ops;
    c->in = in;
    c->out = out_stream;
    memcpy(c->tag, CODEC_TAG, sizeof CODEC_TAG);
    c->name = solver ? "vntcodec" : "builtin";
    c->solver = solver;
    *out = c;
    return 0;
}

static int simplecodec_mkmulticast(codec *c, codec **out, stream *out_stream)
{
    return simplecodec_create(out, static_cast<simplecodec *>(c)->solver, nullptr, out_stream);
}

static int builtin_create(codec **out, stream *in, stream *out_stream)
{
    return simplecodec_create(out, false, in, out_stream);
}

static int vntcodec_create(codec **out, stream *in, stream *out_stream)
{
    return simplecodec_create(out, true, in, out_stream);
}

const codec_factory *builtin_getfactory(void)
{
    static constexpr codec_factory factory = {builtin_create};
    return &factory;
}

const codec_factory *vntcodec_getfactory(void)
{
    static constexpr codec_factory factory = {vntcodec_create};
    return &factory;
}

} // namespace vnt
