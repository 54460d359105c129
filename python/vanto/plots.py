"""Pictures of solves, drawn by matplotlib."""
from __future__ import annotations

import math
import time
from typing import TYPE_CHECKING, Any, Mapping, Sequence

if TYPE_CHECKING:
    from .result import Result
    from .run import Progress, Run


def _axes(axes: Any) -> Any:
    if axes is not None:
        return axes
    import matplotlib.pyplot as plt
    return plt.subplots(figsize=(7, 4), layout="constrained")[1]


def plot_history(history: Sequence[Progress], axes: Any = None) -> Any:
    """Incumbent and bound over time, the gap in percent beside them.  Returns the axes."""
    axes = _axes(axes)
    axes.set_xlabel("seconds")
    axes.set_ylabel("objective")
    for name, colour in (("bound", "tab:blue"), ("incumbent", "tab:orange")):
        points = [(p.seconds, getattr(p, name)) for p in history if getattr(p, name) is not None]
        if points and history:
            points.append((history[-1].seconds, points[-1][1]))
        axes.step(*_columns(points), where="post", label=name, color=colour)
    gaps = [(p.seconds, 100 * p.gap) for p in history if p.gap is not None]
    right = getattr(axes, "_vanto_right", None) or axes.twinx()
    axes._vanto_right = right
    right.clear()
    right.set_ylabel("gap in %")
    right.yaxis.set_label_position("right")
    right.plot(*_columns(gaps), color="tab:gray", linestyle=":", label="gap")
    right.set_ylim(0, 1.05 * max([p[1] for p in gaps if p[1] > 0], default=1.0))
    lines = axes.get_lines() + right.get_lines()
    axes.legend(lines, [line.get_label() for line in lines], loc="best", frameon=False)
    return axes


def _columns(points: Sequence[tuple[float, float]]) -> tuple[list[float], list[float]]:
    return [p[0] for p in points], [p[1] for p in points]


def plot_run(run: Run, axes: Any = None) -> Any:
    """The solve as it stands; in a notebook, the picture is drawn anew until the solve ends."""
    display = _notebook_display()
    own = axes is None
    axes = _axes(axes)
    if display is None:
        return plot_history(run.history, axes)
    handle = display(axes.figure, display_id=True)

    def draw() -> None:
        axes.clear()
        plot_history(run.history, axes)
        handle.update(axes.figure)

    rest = 0.0
    for _ in run.progress():
        begin = time.monotonic()
        if begin < rest:
            continue
        draw()
        rest = time.monotonic() + 4 * (time.monotonic() - begin)  # the solve needs the time more
    draw()
    if own:
        import matplotlib.pyplot as plt
        plt.close(axes.figure)  # otherwise the notebook shows it once more
    return axes


def _notebook_display() -> Any:
    try:
        from IPython import get_ipython
        from IPython.display import display
    except ImportError:
        return None
    shell = get_ipython()
    return display if shell is not None and "IPKernelApp" in shell.config else None


def plot_sweep(results: Mapping[str, Sequence[Result | float | None]], axes: Any = None) -> Any:
    """A performance profile: for each setting, the share of models that it solves within a factor
    of the fastest setting's time.

    results: by setting, one entry a model in the same order: a Result, which counts when it is
    optimal, seconds, or None for a model that was not solved.
    """
    axes = _axes(axes)
    times = {name: [_seconds(r) for r in row] for name, row in results.items()}
    lengths = {len(row) for row in times.values()}
    if len(lengths) != 1 or lengths == {0}:
        raise ValueError("each setting has one entry for each model")
    count = lengths.pop()
    best = [min(row[k] for row in times.values()) for k in range(count)]
    for name, row in times.items():
        ratios = sorted(t / b if math.isfinite(t) else math.inf for t, b in zip(row, best))
        solved = [r for r in ratios if math.isfinite(r)]
        axes.step([1.0, *solved, max([10.0, *solved])],
                  [0.0, *((k + 1) / count for k in range(len(solved))), len(solved) / count],
                  where="post", label=name)
    axes.set_xscale("log")
    axes.set_ylim(0, 1.02)
    axes.set_xlabel("time over the fastest setting's")
    axes.set_ylabel("share of the models")
    axes.legend(loc="lower right", frameon=False)
    return axes


def _seconds(result: Result | float | None) -> float:
    if result is None:
        return math.inf
    if isinstance(result, (int, float)):
        return max(float(result), 1e-3)
    return max(result.seconds, 1e-3) if result.optimal else math.inf
