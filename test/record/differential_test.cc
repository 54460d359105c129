// differential_test.cc: the same calls in this process and through a worker, on every model of the
// project; what they return and what they fill must be the same, bit for bit.

#include "test/folders.h"
#include "test/record/arguments.h"
#include "test/server.h"
#include "test/vntsolve.h"

#include <algorithm>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <unistd.h>

namespace vnt {

namespace fs = std::filesystem;

namespace {

// The solver's library, or the calling side's.
struct library {
    void *handle;
    void *objects[3] = {}; // environment, problem, network

    explicit library(const std::string &name)
        : handle(dlopen(build_path("lib/" + name).c_str(), RTLD_NOW | RTLD_LOCAL))
    {
    }
    ~library()
    {
        find<int(VNTENVptr *)>("VNTLcloseVANTO")(reinterpret_cast<VNTENVptr *>(objects));
        // The library stays loaded: what it keeps for the process would look lost without it.
    }
    library(const library &) = delete;
    library &operator=(const library &) = delete;

    template <class function> function *find(const std::string &name) const
    {
        return reinterpret_cast<function *>(dlsym(handle, name.c_str()));
    }
    VNTENVptr env() const { return static_cast<VNTENVptr>(objects[0]); }
    VNTLPptr lp() const { return static_cast<VNTLPptr>(objects[1]); }
    VNTNETptr net() const { return static_cast<VNTNETptr>(objects[2]); }

    // A solver may do without networks.
    int open()
    {
        int status = -1;
        objects[0] = find<decltype(VNTLopenVANTO)>("VNTLopenVANTO")(&status);
        objects[1] = find<decltype(VNTLcreateprob)>("VNTLcreateprob")(env(), &status, "model");
        int unused;
        objects[2] = find<decltype(VNTLNETcreateprob)>("VNTLNETcreateprob")(env(), &unused, "net");
        return status;
    }

    // MIPs only where they are small.
    int solve(bool small) const
    {
        const bool mip = find<decltype(VNTLgetnumint)>("VNTLgetnumint")(env(), lp()) > 0;
        if (mip && !small) return 0;
        return find<decltype(VNTLlpopt)>(mip ? "VNTLmipopt" : "VNTLlpopt")(env(), lp());
    }

    int read(const std::string &path)
    {
        return find<decltype(VNTEreadcopyprob)>("VNTEreadcopyprob")(env(), lp(), path.c_str(),
                                                                    nullptr, 0, nullptr);
    }
};

const char problem[] = "Minimize\n obj: x + 2 y\nSubject To\n c: x + y >= 1\nEnd\n";

bool holds(const std::string &text, std::initializer_list<const char *> parts)
{
    return std::any_of(parts.begin(), parts.end(),
                       [&](const char *part) { return text.find(part) != std::string::npos; });
}

// Values that a caller might have: small indices and counts, true letters and names, and some that
// are out of range.  One seed gives one set of them, in any order of asking.
struct plausible : arguments {
    uint64_t seed;
    std::string path;

    plausible(const listed_function &function, uint64_t s, const std::string &p)
        : arguments(function), seed(s), path(p)
    {
        filling = 0; // the worker's arrays begin as zeros
        build();
    }

    // The same for a given seed and place.
    uint64_t random(size_t i, int64_t k) const
    {
        uint64_t x = seed * 0x9e3779b97f4a7c15 + std::hash<std::string>()(f.function);
        x = (x ^ i * 0xbf58476d1ce4e5b9) * 0x94d049bb133111eb + static_cast<uint64_t>(k);
        return (x ^ (x >> 29)) * 0xbf58476d1ce4e5b9 >> 33;
    }
    int64_t pick(size_t i, int64_t k, std::initializer_list<int64_t> from) const
    {
        return from.begin()[random(i, k) % from.size()];
    }
    int64_t letter(size_t i, int64_t k, const char *from) const
    {
        return from[random(i, k) % strlen(from)] - 'A';
    }

    int64_t scalar(size_t i) override
    {
        const std::string &name = f.parameters[i].name;
        if (f.parameters[i].type == "length") return static_cast<int64_t>(text(i).size());
        if (holds(name, {"space", "spc", "storesz"})) return pick(i, 0, {0, 3, 1000, 100000});
        if (holds(name, {"param"})) return pick(i, 0, {1035, 1102, 1110, 1120, 1130, 1133, 7});
        if (name == "end") return pick(i, 0, {0, 1, 2, 3, -1, 1000000});
        if (f.parameters[i].type == "char") return letter(i, 0, "LGECR");
        return pick(i, 0, {0, 1, 1, 2, 3, -1});
    }

    int64_t element(size_t i, int64_t k) override
    {
        const std::string &name = f.parameters[i].name;
        if (holds(name, {"beg"})) return std::min<int64_t>(2 * k, 2);
        if (name == "matcnt" || name == "qmatcnt") return k == 0 ? 2 : 0;
        if (name == "sense") return letter(i, k, "LGER");
        if (name == "lu") return letter(i, k, "LUB");
        if (holds(name, {"ctype"})) return letter(i, k, "CBI");
        return static_cast<int64_t>(random(i, k) % 4);
    }

    std::string text(size_t i) override
    {
        const listed_parameter &p = f.parameters[i];
        if (p.type == "outfile") return path;
        if (p.type == "filename") return "file.lp";
        if (p.type == "contents" || p.type == "length") return problem;
        if (holds(p.name, {"filetype", "format"})) return random(i, 0) % 2 != 0 ? "MPS" : "LP";
        return std::string(random(i, 0) % 2 != 0 ? "X0" : "C") + std::to_string(random(i, 1) % 4);
    }

    std::optional<std::string> name(size_t i, int64_t k) override
    {
        if (random(i, k) % 4 == 0) return std::nullopt;
        return "n" + std::to_string(random(i, k) % 100);
    }
    bool present(size_t i) override
    {
        return f.parameters[i].type == "outfile" || random(i, -1) % 8 != 0;
    }

    std::string bytes(size_t i) const
    {
        const listed_parameter &p = f.parameters[i];
        const char *data = static_cast<const char *>(values[i].p);
        if (p.type == "str") return std::string(data, strnlen(data, static_cast<size_t>(count(i))));
        if (p.type != "char*[]")
            return std::string(data, static_cast<size_t>(count(i)) * element_size(p.element()));
        std::string all;
        for (int64_t k = 0; k < count(i); k++) {
            const char *one = static_cast<char **>(values[i].p)[k];
            all += one != nullptr ? std::string("+") + one : "-";
        }
        return all;
    }

    std::string file() const
    {
        std::string text = file_text(path);
        fs::remove(path);
        return text;
    }

    // All that came of the call.  A failed one says what went wrong and how much space it lacked.
    std::string outcome(const call_value &result) const
    {
        const bool creates = f.result.rfind("handle", 0) == 0;
        std::string all = creates ? std::to_string(result.p != nullptr)
                          : f.result == "out:double" || f.result == "out:long"
                              ? std::string(reinterpret_cast<const char *>(&result), sizeof result)
                              : std::to_string(result.i);
        const bool failed = f.result == "status" && result.i != 0;
        for (size_t i = 0; i < f.parameters.size(); i++) {
            const listed_parameter &p = f.parameters[i];
            if (p.type == "outfile") all += "\nfile " + file();
            if (is_output(i) && (!failed || holds(p.name, {"surplus"})))
                all += "\n" + p.name + " " + bytes(i);
        }
        return all;
    }
};

// Calls that take long, on models that are not small.
bool solves(const std::string &function)
{
    return holds(function, {"opt", "populate", "tune", "refine", "strongbranch", "runseeds"});
}

// Calls that put another problem in the model's place.
bool replaces(const std::string &function)
{
    return holds(function, {"copylp", "readcopyprob", "copynettolp", "basicpresolve"});
}

bool answers(const listed_function &f)
{
    return f.result != "status" || std::any_of(f.parameters.begin(), f.parameters.end(),
                                               [](auto &p) { return p.dir == OUT; });
}

// Calls whose results differ each time, that free the objects of the test or that name other files.
bool left_out(const std::string &function)
{
    static const std::set<std::string> names = {"VNTLgettime",       "VNTLgetdettime",
                                                "VNTLEgetrootticks", "VNTLfreeprob",
                                                "VNTLNETfreeprob",   "VNTLsetlogfilename"};
    return names.count(function) != 0;
}

std::vector<std::string> models(void)
{
    std::vector<std::string> names;
    for (const fs::directory_entry &e : fs::directory_iterator(source_path("test/models")))
        if (e.path().extension() != ".md") names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

// How long the arrays of a model are.
void set_sizes(const library &l)
{
#define PROBLEM_QUERY(name, function, selector)                                                    \
    set_recorded_size(#name, l.find<int(VNTENVptr, VNTLPptr)>(#function)(l.env(), l.lp()));
#define NETWORK_QUERY(name, function, selector)                                                    \
    set_recorded_size(#name, l.find<int(VNTENVptr, VNTNETptr)>(#function)(l.env(), l.net()));
#define SIZE_QUERY(name, selector) set_recorded_size(#name, 0);
#include "remote/calls/queries.def"
    int rows = 0, cols = 0;
    l.find<decltype(VNTLgetconflict)>("VNTLgetconflict")(l.env(), l.lp(), nullptr, nullptr, nullptr,
                                                         &rows, nullptr, nullptr, &cols);
    set_recorded_size("confnumrows", rows);
    set_recorded_size("confnumcols", cols);
}

class Differential : public testing::TestWithParam<std::string> {
  protected:
    working_folder folder; // for what the solver writes of its own accord
    int calls = 0;

    void SetUp() override { std::ofstream("file.lp") << problem; } // what it reads

    // A function that this solver lacks looks at nothing, while the calling side refuses a matrix
    // that reaches beyond its arrays before anything is sent.
    static bool both_refuse(const std::string &here, const std::string &there)
    {
        const auto status = [](const std::string &text) { return atoi(text.c_str()); };
        return status(here) == VNTERR_NOT_SUPPORTED && status(there) == VNTERR_BAD_ARGUMENT;
    }

    void compare(const library &here, const library &there, const listed_function &f, uint64_t seed)
    {
        set_sizes(here);
        const std::string expected = call(here, f, seed);
        const std::string got = call(there, f, seed);
        EXPECT_TRUE(got == expected || both_refuse(expected, got))
            << f.function << " " << seed << "\n"
            << got.substr(0, 300) << "\n"
            << expected.substr(0, 300);
        calls++;
    }

    std::string call(const library &l, const listed_function &f, uint64_t seed)
    {
        plausible a(f, seed, folder.file("written"));
        void *objects[] = {l.objects[0], l.objects[1], l.objects[2]};
        a.set_objects(objects);
        call_value result = {};
        row_of(f).invoke(dlsym(l.handle, f.function.c_str()), a.values, &result);
        return a.outcome(result);
    }
};

TEST_P(Differential, CallsDoTheSameHereAndInAWorker)
{
    server worker;
    find_server(worker);
    library here("libvanto.so"), there("libvantoclient.so");
    ASSERT_EQ(here.open(), 0);
    ASSERT_EQ(there.open(), 0);
    const std::string path = model(GetParam());
    const bool small = fs::file_size(path) < 10000;
    ASSERT_EQ(here.read(path), there.read(path));

    if (fs::file_size(path) < 400000) {
        ASSERT_EQ(here.solve(small), there.solve(small));
    }
    // Answers first, while they are about the model as it was read and solved.
    for (uint64_t seed = 0; seed < 3; seed++)
        for (bool answering : {true, false})
            for (const listed_function &f : listing()) {
                if (f.id == 0 || left_out(f.function) || (solves(f.function) && !small)) continue;
                if (answers(f) != answering || (replaces(f.function) && seed < 2)) continue;
                compare(here, there, f, seed);
            }
    EXPECT_GT(calls, 1000);
}

INSTANTIATE_TEST_SUITE_P(Models, Differential, testing::ValuesIn(models()), [](auto &info) {
    std::string name = info.param;
    for (char &c : name)
        if (!isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
});

} // namespace

} // namespace vnt
