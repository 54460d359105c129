#include "tools/sweepdisplay.h"

#include "tools/output.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <unistd.h>

namespace vnt {

static constexpr size_t most_named = 3; // of the files that are skipped

sweep_display::sweep_display(bool wantquiet)
    : quiet(wantquiet), terminal(!quiet && isatty(STDERR_FILENO)),
      since(std::chrono::steady_clock::now())
{
}

// A line above the one that counts.
void sweep_display::note(const std::string &text)
{
    const std::string count = line;
    close();
    output_note(output_harmless(text) + "\n");
    line = count;
    output_note(line);
}

void sweep_display::close()
{
    if (!line.empty()) output_note("\r\033[K");
    line.clear();
}

void sweep_display::skipped(const std::vector<std::string> &files)
{
    if (quiet || files.empty()) return;
    const size_t named = std::min(files.size(), most_named);
    note(
        fmt::format("skipped, no models by their names: {}{}",
                    fmt::join(files.begin(), files.begin() + static_cast<ptrdiff_t>(named), ", "),
                    named < files.size() ? fmt::format(" and {} more", files.size() - named) : ""));
}

void sweep_display::begin(int done, int total)
{
    if (quiet) return;
    note(fmt::format("{} models{}", total, done > 0 ? fmt::format(", {} are done", done) : ""));
}

void sweep_display::progress(int done, int total, int running)
{
    if (!terminal) return;
    close();
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - since)
            .count();
    line = fmt::format("{} of {} done, {} running, {}:{:02}:{:02}", done, total, running,
                       seconds / 3600, seconds / 60 % 60, seconds % 60);
    output_note(line);
}

void sweep_display::result(const std::string &model, const std::string &report)
{
    if (quiet) return;
    const auto object = nlohmann::json::parse(report);
    std::string text = model + ": " + object.value("status", "");
    if (object["objective"].is_number())
        text += fmt::format(", objective {:.12g}", object["objective"].get<double>());
    if (object["seconds"].is_number())
        text += fmt::format(", {:.2f} s", object["seconds"].get<double>());
    if (object["server"].is_string()) text += ", " + object["server"].get<std::string>();
    if (object["message"].is_string()) text += ", " + object["message"].get<std::string>();
    note(text);
}

void sweep_display::complaint(const std::string &model, const std::string &text)
{
    std::istringstream lines(text);
    for (std::string one; std::getline(lines, one);)
        note(model + ": " + one);
}

void sweep_display::server(const std::string &address, const std::string &what)
{
    if (!quiet) note(address + " " + what);
}

} // namespace vnt
