#include "solver/calls/calls.h"

#include <cctype>
#include <cmath>
#include <exception>

namespace vnt {

// The text may quote a file, whose control characters must not reach a terminal.
void calls_complain(vntenv *env, const char *call, const std::string &text) noexcept
try {
    if (env == nullptr) return;
    std::string line = printed("%s: %s", call, text.c_str());
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return iscntrl(c) != 0; }, '?');
    env->say(CHANNEL_ERROR, line + "\n");
} catch (...) {
    // Without memory for the text the caller has the status alone.
}

int calls_failed(vntenv *env, const char *call) noexcept
{
    try {
        throw;
    } catch (const failure &f) {
        if (!f.text.empty()) calls_complain(env, call, f.text);
        return f.status;
    } catch (const std::bad_alloc &) {
        return VNTERR_NO_MEMORY;
    } catch (const std::length_error &) {
        return VNTERR_NO_MEMORY; // a size that no memory could hold
    } catch (const std::exception &e) {
        calls_complain(env, call, e.what());
        return VNTERR_ENGINE;
    } catch (...) {
        return VNTERR_ENGINE;
    }
}

std::vector<int> basis_copy(const int *from, int count)
{
    require_there(from, count > 0);
    for (int i = 0; i < count; i++) {
        require(from[i] >= VNT_BASIS_LOWER && from[i] <= VNT_BASIS_FREE, VNTERR_BAD_BASIS);
    }
    return {from, from + count};
}

void basis_check(const std::vector<int> &cols, const std::vector<int> &rows)
{
    int64_t basic = std::count(cols.begin(), cols.end(), VNT_BASIS_BASIC) +
                    std::count(rows.begin(), rows.end(), VNT_BASIS_BASIC);
    if (basic == static_cast<int64_t>(rows.size())) return;
    throw failure{VNTERR_BAD_BASIS, printed("%lld basic variables for %zu rows",
                                            static_cast<long long>(basic), rows.size())};
}

const tableau &optimal_tableau(vntlp &p)
{
    require(p.m.type == VNT_PROB_LP || p.m.type == VNT_PROB_FIXED_MIP, VNTERR_NOT_LP);
    require(p.last.status == VNT_STAT_OPTIMAL, VNTERR_NO_SOLUTION);
    require(p.has_basis() && p.cstat == p.last.cstat && p.rstat == p.last.rstat, VNTERR_NO_BASIS);
    return p.basis_tableau();
}

double relative_gap(double incumbent, double bound)
{
    return std::fabs(incumbent - bound) / std::max(1e-10, std::fabs(incumbent));
}

} // namespace vnt
