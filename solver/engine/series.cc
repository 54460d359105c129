#include "solver/engine/series.h"

#include <algorithm>

namespace vnt {

engine_series::engine_series(const engine_params &params, const engine_hooks &hooks)
    : params(params), outer(hooks)
{
    this->params.cutoff = 1e75; // of another objective
}

void engine_series::poll(void *arg, const engine_progress *progress, engine_reply *reply)
{
    engine_series &s = *static_cast<engine_series *>(arg);
    if (s.outer.poll == nullptr) return;
    clock::time_point now = clock::now();
    engine_progress seen = {};
    seen.ticks = s.done + progress->ticks;
    seen.iterations = progress->iterations;
    s.outer.poll(s.outer.arg, &seen, reply);
    s.held += clock::now() - now;
    s.stopped |= reply->stop;
    reply->inject = false;
}

void engine_series::log(void *arg, int channel, const char *text)
{
    engine_series &s = *static_cast<engine_series *>(arg);
    if (s.outer.log != nullptr) s.outer.log(s.outer.arg, channel, text);
}

double engine_series::left() const
{
    std::chrono::duration<double> worked = clock::now() - begin - held;
    return params.time_limit - worked.count();
}

int engine_series::ended() const
{
    if (stopped) return VNT_STAT_STOPPED;
    return left() <= 0 ? VNT_STAT_TIME_LIMIT : 0;
}

int engine_series::solve(const engine_model &model, int64_t nodes, engine_result *result)
{
    engine_params now = params;
    now.time_limit = std::max(0.0, left());
    now.node_limit = std::min(nodes, params.node_limit);
    engine_hooks hooks = {this, poll, log};
    int rc = model.ctype != nullptr ? engine_solve_mip(model, now, hooks, result)
                                    : engine_solve_lp(model, now, ENGINE_DUAL, true, hooks, result);
    done += result->ticks;
    return rc;
}

} // namespace vnt
