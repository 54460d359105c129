#include "tools/trial.h"

#include "tools/files.h"

#include <cerrno>
#include <dlfcn.h>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace vnt {

using text = const std::string &;

// The values of a repeated option.
static std::vector<std::string> values_of(const std::vector<std::string> &arguments, text name)
{
    std::vector<std::string> values;
    for (text argument : arguments)
        if (argument.starts_with(name)) values.push_back(argument.substr(name.size()));
    return values;
}

static void *library_load(text file)
{
    return dlopen(file.c_str(), RTLD_LAZY | RTLD_GLOBAL);
}

// -library=NAME is the name of a file, or what stands between "lib" and ".so".
static void library_try(text name)
{
    if (library_load(name) != nullptr) return;
    std::string first = dlerror();
    if (library_load("lib" + name + ".so") != nullptr) return;
    throw std::runtime_error(fmt::format("-library={}: {}", name, first));
}

// The first file of the name that opens, in the order in which a worker looks for it.
static void *userlibrary_load(text name, const std::vector<std::string> &folders,
                              std::string *trouble)
{
    const std::string file = "lib" + name + ".so";
    void *found = library_load(file);
    if (found == nullptr) *trouble = dlerror();
    for (size_t i = 0; i < folders.size() && found == nullptr; i++) {
        const std::string full = folders[i] + "/" + file;
        found = library_load(full);
        // Where the file is there, what keeps it from opening says more than that others are not.
        if (found == nullptr && access(full.c_str(), F_OK) == 0) *trouble = dlerror();
    }
    if (found != nullptr) trouble->clear();
    return found;
}

static void userfunction_try(text value, const std::vector<std::string> &folders)
{
    const size_t equals = value.rfind('=');
    const std::string function = equals == value.npos ? value : value.substr(equals + 1);
    std::string trouble;
    void *library = nullptr;
    if (equals != value.npos)
        library = userlibrary_load(value.substr(0, equals), folders, &trouble);
    if (library != nullptr && dlsym(library, function.c_str()) != nullptr) return;
    if (dlsym(RTLD_DEFAULT, function.c_str()) != nullptr) return;
    if (trouble.empty()) trouble = fmt::format("no library has a function {}", function);
    throw std::runtime_error(fmt::format("-userfunction={}: {}", value, trouble));
}

// A worker that found the library of remote calls in the solver's place would connect to a worker.
static void solver_try()
{
    if (dlsym(RTLD_DEFAULT, "vntclient_open") != nullptr)
        throw std::runtime_error("libvantoclient.so stands in the place of the solver's library: "
                                 "look at LD_PRELOAD");
    for (const char *function : {"VNTLopenVANTO", "VNTLcloseVANTO", "VNTLcreateprob"})
        if (dlsym(RTLD_DEFAULT, function) == nullptr)
            throw std::runtime_error(
                fmt::format("the solver's library libvanto.so has no function {}", function));
}

static void try_all(const std::vector<std::string> &arguments, text program)
{
    std::vector<std::string> folders = values_of(arguments, "-libpath=");
    folders.push_back(".");
    folders.push_back(program.substr(0, program.rfind('/')));
    for (text name : values_of(arguments, "-library="))
        library_try(name);
    solver_try();
    for (text value : values_of(arguments, "-userfunction="))
        userfunction_try(value, folders);
}

[[noreturn]] static void child_run(int fd, const std::vector<std::string> &arguments, text program)
{
    std::string trouble;
    try {
        try_all(arguments, program);
    } catch (const std::exception &what) {
        trouble = what.what();
    }
    bool told = write(fd, trouble.data(), trouble.size()) == ssize_t(trouble.size());
    _exit(told ? 0 : 1); // no exit handlers of the libraries
}

void trial_run(const std::vector<std::string> &arguments, const std::string &program)
{
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe can be made");
    pid_t child = fork();
    if (child == 0) child_run(ends[1], arguments, program);
    close(ends[1]);
    std::string trouble;
    if (child < 0) trouble = "no process can be made";
    if (child > 0) file_readall(ends[0], &trouble);
    close(ends[0]);
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!trouble.empty()) throw std::runtime_error(trouble);
    if (status != 0) throw std::runtime_error("loading the libraries ends the process");
}

} // namespace vnt
