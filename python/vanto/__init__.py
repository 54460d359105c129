"""Optimisation models, solved in this process or in workers on other machines.

    import vanto

    with vanto.Environment("bigmachine:12345") as env:
        model = env.read("plan.mps")
        result = model.solve(timelimit=60)
        print(result.objective, result.x)
"""
from .environment import Environment, Parameters
from .lib import Error
from .many import conduct, map, race
from .model import Model
from .optimize import linprog, milp
from .plots import plot_sweep
from .result import Basis, Result, Status
from .run import Progress, Run
from .tickets import attach

__all__ = ["Basis", "Environment", "Error", "Model", "Parameters", "Progress", "Result", "Run",
           "Status", "attach", "conduct", "linprog", "map", "milp", "plot_sweep", "race"]
