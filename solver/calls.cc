#include "solver/calls.h"

#include <cmath>
#include <exception>

void calls_complain(vntenv *env, const char *call, const std::string &text) noexcept
try {
    if (env != nullptr) env->say(CHANNEL_ERROR, printed("%s: %s\n", call, text.c_str()));
} catch (...) {
    // Without memory for the text the status has to do.
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

double relative_gap(double incumbent, double bound)
{
    return std::fabs(incumbent - bound) / std::max(1e-10, std::fabs(incumbent));
}
