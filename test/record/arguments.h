// arguments.h: the arguments of any call of the solver as a caller would have them.
//
// Ownership: the arguments own all that they point at, objects of the solver apart.

#pragma once

#include "test/record/listing.h"
#include "test/server.h"

#include <memory>
#include <optional>

namespace vnt {

// Memory in front of a page without access: a read or write of one byte too many ends the test.
struct guarded {
    char *pages;
    size_t length;
    void *data;

    guarded(size_t size, int filling);
    ~guarded();
    guarded(const guarded &) = delete;
    guarded &operator=(const guarded &) = delete;
};

size_t element_size(const std::string &type);

// The call in the table that carries it.
const solver_call &row_of(const listed_function &f);

// A test derives from this, gives the values of the arguments, and calls build().
struct arguments {
    const listed_function &f;
    call_value values[SOLVERCALL_MAXARGS] = {};
    int filling = 0x5a; // what outputs hold before the call

    explicit arguments(const listed_function &function) : f(function) {}
    virtual ~arguments() = default;

    virtual int64_t scalar(size_t i) = 0;
    virtual int64_t element(size_t i, int64_t k) = 0;
    virtual std::string text(size_t i) = 0;
    virtual std::optional<std::string> name(size_t i, int64_t k) = 0;
    virtual bool present(size_t i) = 0; // false: a null pointer

    void build();

    // Sets the environment, the problem and the network; where a call takes the address of one,
    // the place in the table.
    void set_objects(void **objects);

    // Elements of an output.
    int64_t count(size_t i) const;
    bool is_output(size_t i) const;

  private:
    std::vector<std::unique_ptr<guarded>> memory;
    std::vector<std::unique_ptr<std::string>> texts;

    char *keep(const std::string &t);
    void set_scalar(size_t i);
    void set_pointer(size_t i);
    void set_buffer(size_t i);
    void fill(size_t i, int64_t k);
};

// Sets the environment variables that lead this process to the server.
void find_server(const server &s);

} // namespace vnt
