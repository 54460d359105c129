#include "tools/display.h"

#include "tools/output.h"
#include "tools/progress.h"

#include <cmath>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vnt {

static constexpr auto interval = std::chrono::milliseconds(500); // a line each second, however busy

// A line wider than the terminal wraps and cannot be erased.
static void cut(std::string &line)
{
    winsize size = {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 &&
        line.size() >= size.ws_col)
        line.resize(size.ws_col - 1);
}

display::display(bool wantquiet, history &past)
    : quiet(wantquiet), terminal(isatty(STDERR_FILENO)), past(past),
      since(std::chrono::system_clock::now()), next(std::chrono::steady_clock::now() + interval)
{
}

display::~display()
{
    close();
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
    return wanted() && std::chrono::steady_clock::now() >= next;
}

void display::progress(const vntmipprogress &progress)
{
    next = std::chrono::steady_clock::now() + interval;
    const progress_sample sample = progress_of(elapsed(), progress);
    past.add(sample);
    if (!quiet) show(sample);
}

void display::show(const progress_sample &sample)
{
    erase();
    line = progress_text(sample);
    if (terminal) cut(line);
    output_note(line + (terminal ? "" : "\n"));
}

void display::say(const char *text)
{
    std::string shown = output_harmless(text);
    erase();
    if (shown.empty() || shown.back() != '\n') shown += '\n';
    output_note(shown);
    if (terminal) output_note(line);
}

void display::log(const char *text)
{
    std::optional<progress_sample> told = progress_parse(text);
    if (told) {
        if (std::isnan(told->seconds)) told->seconds = elapsed();
        past.add(*told);
    }
    if (quiet) return;
    if (told && told->event == "progress")
        show(*told);
    else
        say(text);
}

void display::close()
{
    erase();
    line.clear();
}

void display::erase() const
{
    if (terminal && !line.empty()) output_note("\r\033[K");
}

} // namespace vnt
