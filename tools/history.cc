#include "tools/history.h"

#include "tools/files.h"
#include "tools/output.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>

namespace vnt {

// A solve of weeks writes two samples a second; a plot needs fewer.
static constexpr size_t most = 20000;

static FILE *file_open(const std::string &name)
{
    if (name.empty()) return nullptr;
    FILE *file = fopen(name.c_str(), "we");
    if (file == nullptr) file_fail(name);
    return file;
}

history::history(const std::string &progressfile, bool keep)
    : name(progressfile), file(file_open(progressfile), fclose), keep(keep)
{
}

void history::write(const std::string &line)
{
    if (file == nullptr) return;
    fwrite(line.data(), 1, line.size(), file.get());
    if (fflush(file.get()) == 0 && !ferror(file.get())) return;
    output_complaint(fmt::format("{}: {}; no more progress is written", name, strerror(errno)));
    file.reset();
}

void history::add(const progress_sample &sample)
{
    write(progress_json(sample));
    if (!keep) return;
    if (kept.size() == most) { // every other one
        for (size_t i = 1; 2 * i < most; i++)
            kept[i] = kept[2 * i];
        kept.resize(most / 2);
    }
    kept.push_back(sample);
}

} // namespace vnt
