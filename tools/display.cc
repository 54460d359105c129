#include "tools/display.h"

#include "tools/output.h"

#include <cmath>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vnt {

static constexpr auto interval = std::chrono::milliseconds(500); // a line each second, however busy

std::string progress_text(double seconds, const vntmipprogress &progress)
{
    std::string text = fmt::format("{:8.1f} s  {} nodes  {} iterations", seconds, progress.nodes,
                                   progress.iterations);
    if (progress.solutions > 0) text += fmt::format("  best {:.10g}", progress.incumbent);
    if (std::fabs(progress.bound) < VNT_INFINITY)
        text += fmt::format("  bound {:.10g}", progress.bound);
    if (progress.gap < VNT_INFINITY) text += fmt::format("  gap {:.2f} %", 100 * progress.gap);
    bool nodes = progress.nodes > 0;
    double work = static_cast<double>(nodes ? progress.nodes : progress.iterations);
    if (seconds > 0) text += fmt::format("  {:.0f} {}/s", work / seconds, nodes ? "nodes" : "it");
    return text;
}

// A line wider than the terminal wraps and cannot be erased.
static void cut(std::string &line)
{
    winsize size = {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 &&
        line.size() >= size.ws_col)
        line.resize(size.ws_col - 1);
}

display::display(bool wantquiet)
    : quiet(wantquiet), terminal(isatty(STDERR_FILENO)), since(std::chrono::system_clock::now()),
      next(std::chrono::steady_clock::now() + interval)
{
}

display::~display()
{
    erase();
}

void display::start(std::chrono::system_clock::time_point moment)
{
    since = moment;
}

double display::elapsed() const
{
    return std::chrono::duration<double>(std::chrono::system_clock::now() - since).count();
}

bool display::due() const
{
    return !quiet && std::chrono::steady_clock::now() >= next;
}

void display::progress(const vntmipprogress &progress)
{
    next = std::chrono::steady_clock::now() + interval;
    erase();
    line = progress_text(elapsed(), progress);
    if (terminal) cut(line);
    output_note(line + (terminal ? "" : "\n"));
}

// A message may quote a binary file: its control characters must not reach the terminal.
static std::string harmless(std::string text)
{
    for (char &c : text)
        if ((c >= '\0' && c < ' ' && c != '\n' && c != '\t') || c == '\177') c = '?';
    return text;
}

void display::log(const char *text)
{
    std::string shown = harmless(text);
    erase();
    if (shown.empty() || shown.back() != '\n') shown += '\n';
    output_note(shown);
    if (terminal) output_note(line);
}

void display::erase() const
{
    if (terminal && !line.empty()) output_note("\r\033[K");
}

} // namespace vnt
