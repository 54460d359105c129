#include "tools/plot.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace vnt {

namespace {
struct point {
    double time, value;
};
using curve = std::vector<point>;

struct range {
    double low, high;
    double place(double value) const { return (value - low) / (high - low); }
};

constexpr int left = 78, right = 16, top = 16, bottom = 40; // room for the labels
} // namespace

static curve curve_of(const std::vector<progress_sample> &samples,
                      std::optional<double> progress_sample::*value)
{
    curve line;
    double latest = 0;
    for (const progress_sample &s : samples) {
        latest = std::max(latest, s.seconds); // clocks may be set back
        if (s.*value) line.push_back({latest, *(s.*value)});
    }
    return line;
}

// Early values may lie so far off that the rest would look like one line: what is beyond three
// times the distance between the first bound and the last incumbent is cut off.
static range values_range(const curve &best, const curve &bound)
{
    range all = {INFINITY, -INFINITY};
    for (const curve *line : {&best, &bound})
        for (const point &p : *line)
            all = {std::min(all.low, p.value), std::max(all.high, p.value)};
    if (!best.empty() && !bound.empty()) {
        const double last = best.back().value;
        const double room = 3 * std::max(std::fabs(last - bound.front().value),
                                         1e-6 * std::max(1.0, std::fabs(last)));
        all = {std::max(all.low, last - room), std::min(all.high, last + room)};
    }
    double margin = 0.06 * (all.high - all.low);
    if (!(margin > 1e-12 * std::fabs(all.high))) margin = std::max(1.0, std::fabs(all.high)) * 0.05;
    return {all.low - margin, all.high + margin};
}

// A step of 1, 2 or 5 times a power of ten, of which about `count` fit.
static double step_of(const range &r, int count)
{
    const double raw = (r.high - r.low) / count, power = std::pow(10, std::floor(std::log10(raw)));
    const double lead = raw / power;
    return power * (lead < 1.5 ? 1 : lead < 3.5 ? 2 : lead < 7.5 ? 5 : 10);
}

namespace {
class drawing {
  public:
    drawing(const plot_form &form, range times, range values)
        : form(form), times(times), values(values)
    {
    }
    double x(double time) const { return left + times.place(time) * (form.width - left - right); }
    double y(double value) const
    {
        const double place = std::clamp(values.place(value), 0.0, 1.0);
        return form.height - bottom - place * (form.height - top - bottom);
    }
    std::string grid() const;
    // A value counts until the next one: the curve goes in steps.
    std::string steps(const curve &line, const char *cssclass) const;
    std::string dots(const curve &line) const;

  private:
    const plot_form &form;
    range times, values;
};
} // namespace

std::string drawing::grid() const
{
    std::string text;
    const double down = form.height - bottom;
    const double vstep = step_of(values, 5), tstep = step_of(times, std::max(3, form.width / 130));
    for (double v = std::ceil(values.low / vstep) * vstep; v <= values.high; v += vstep)
        text += fmt::format("<line class=\"grid\" x1=\"{}\" x2=\"{}\" y1=\"{:.1f}\" y2=\"{:.1f}\"/>"
                            "<text x=\"{}\" y=\"{:.1f}\" text-anchor=\"end\">{:.6g}</text>\n",
                            left, form.width - right, y(v), y(v), left - 8, y(v) + 4,
                            std::fabs(v) < vstep / 2 ? 0 : v);
    for (double t = 0; t <= times.high; t += tstep)
        text += fmt::format("<line class=\"grid\" x1=\"{0:.1f}\" x2=\"{0:.1f}\" y1=\"{1}\" "
                            "y2=\"{2}\"/><text x=\"{0:.1f}\" y=\"{3}\" text-anchor=\"middle\">"
                            "{4:.6g} s</text>\n",
                            x(t), top, down, down + 22, t);
    return text;
}

std::string drawing::steps(const curve &line, const char *cssclass) const
{
    if (line.empty()) return "";
    std::string path = fmt::format("M{:.1f} {:.1f}", x(line[0].time), y(line[0].value));
    for (const point &p : line)
        path += fmt::format("H{:.1f}V{:.1f}", x(p.time), y(p.value));
    return fmt::format("<path class=\"{}\" d=\"{}H{:.1f}\"/>\n", cssclass, path, x(times.high));
}

std::string drawing::dots(const curve &line) const
{
    std::string text;
    for (size_t i = 0; i < line.size(); i++)
        if (i == 0 || line[i].value != line[i - 1].value)
            text += fmt::format("<circle class=\"dot\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"3.5\"/>\n",
                                x(line[i].time), y(line[i].value));
    return text;
}

std::string plot_svg(const std::vector<progress_sample> &samples, const plot_form &form)
{
    const curve best = curve_of(samples, &progress_sample::incumbent),
                bound = curve_of(samples, &progress_sample::bound);
    double end = 0;
    for (const curve *line : {&best, &bound})
        if (!line->empty()) end = std::max(end, line->back().time);
    if (best.size() + bound.size() < 3 || !(end > 0)) return "";
    const drawing d(form, {0, end}, values_range(best, bound));
    return fmt::format("<svg class=\"{}\" viewBox=\"0 0 {} {}\" role=\"img\" "
                       "aria-label=\"best solution and bound over time\">\n",
                       form.cssclass, form.width, form.height) +
           d.grid() + d.steps(bound, "bound") + d.steps(best, "best") + d.dots(best) + "</svg>\n";
}

} // namespace vnt
