#include "test/record/arguments.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace vnt {

guarded::guarded(size_t size, int filling)
{
    const size_t page = static_cast<size_t>(getpagesize());
    length = (size + page - 1) / page * page + page;
    pages = static_cast<char *>(
        mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(pages + length - page, page, PROT_NONE);
    data = pages + length - page - size;
    memset(data, filling, size);
}

guarded::~guarded()
{
    munmap(pages, length);
}

size_t element_size(const std::string &type)
{
    if (type == "int") return sizeof(int);
    return type == "char" || type == "str" ? 1 : 8;
}

const solver_call &row_of(const listed_function &f)
{
    return *std::find_if(solvercalls, solvercalls + SOLVERCALL_COUNT,
                         [&](const solver_call &call) { return f.function == call.function; });
}

void arguments::build()
{
    for (size_t i = 0; i < f.parameters.size(); i++)
        set_scalar(i);
    for (size_t i = 0; i < f.parameters.size(); i++)
        if (present(i)) set_pointer(i);
}

void arguments::set_scalar(size_t i)
{
    const listed_parameter &p = f.parameters[i];
    if (p.dir != IN) return;
    if (p.type == "double") values[i].d = static_cast<double>(scalar(i)) + 0.25;
    if (p.type == "char") values[i].i = static_cast<int>('A' + scalar(i) % 26);
    if (p.type == "long" || p.type == "length") values[i].l = scalar(i);
    if (p.type == "int") values[i].i = static_cast<int>(scalar(i));
}

char *arguments::keep(const std::string &t)
{
    texts.push_back(std::make_unique<std::string>(t));
    return texts.back()->data();
}

void arguments::set_pointer(size_t i)
{
    const listed_parameter &p = f.parameters[i];
    if (p.array() || p.dir != IN)
        set_buffer(i);
    else if (p.type == "str" || p.type == "filename" || p.type == "contents" || p.type == "outfile")
        values[i].p = keep(text(i));
}

int64_t arguments::count(size_t i) const
{
    const listed_parameter &p = f.parameters[i];
    return p.array() || p.type == "str" ? listed_size(f, i, values) : 1;
}

bool arguments::is_output(size_t i) const
{
    const direction dir = f.parameters[i].dir;
    return (dir == OUT || dir == INOUT) && values[i].p != nullptr;
}

void arguments::set_buffer(size_t i)
{
    const listed_parameter &p = f.parameters[i];
    const size_t size = static_cast<size_t>(count(i)) * element_size(p.element());
    memory.push_back(std::make_unique<guarded>(size, filling));
    values[i].p = memory.back()->data;
    if (p.dir == IN || p.dir == INOUT)
        for (int64_t k = 0; k < count(i); k++)
            fill(i, k);
}

void arguments::fill(size_t i, int64_t k)
{
    const listed_parameter &p = f.parameters[i];
    if (p.type != "char*[]") return store_value(p.element(), values[i].p, k, element(i, k));
    const std::optional<std::string> text = name(i, k);
    static_cast<char **>(values[i].p)[k] = text ? keep(*text) : nullptr;
}

void arguments::set_objects(void **objects)
{
    for (size_t i = 0; i < f.parameters.size(); i++) {
        const std::string &type = f.parameters[i].type;
        if (type == "env") values[i].p = objects[0];
        if (type == "lp") values[i].p = objects[1];
        if (type == "net") values[i].p = objects[2];
        if (type == "lp*") values[i].p = &objects[1];
        if (type == "net*") values[i].p = &objects[2];
    }
}

void find_server(const server &s)
{
    for (const std::string &entry : s.environment()) {
        const size_t equals = entry.find('=');
        setenv(entry.substr(0, equals).c_str(), entry.substr(equals + 1).c_str(), 1);
    }
}

} // namespace vnt
