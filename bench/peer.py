"""What the programs of Python beside the library share."""

import re
import time
from os.path import basename

import numpy


class Stopwatch:
    def __init__(self):
        self.wall, self.cpu = time.perf_counter(), time.process_time()

    def tell(self, name):
        wall, cpu = time.perf_counter() - self.wall, time.process_time() - self.cpu
        print(f"  {name:<22} {wall:8.3f} s {cpu:8.3f} s cpu")


def read_design(file, covariates, levels):
    """The columns: intercept, covariates, an indicator for every level but a factor's first."""
    records = numpy.fromfile(file).reshape(-1, covariates + len(levels) + 1)
    design = numpy.empty((len(records), 1 + covariates + sum(levels) - len(levels)))
    design[:, 0] = 1.0
    design[:, 1 : covariates + 1] = records[:, :covariates]
    column = covariates + 1
    for factor, count in enumerate(levels):
        for level in range(1, count):
            design[:, column] = records[:, covariates + factor] == level
            column += 1
    return design, records[:, -1].astype(int)


def linear_algebra_library():
    """The file that numpy's BLAS came from."""
    with open("/proc/self/maps", encoding="utf-8") as maps:
        files = [line.split()[-1] for line in maps]
    blas = [file for file in files if re.match(r"lib(open)?blas|libscipy_openblas", basename(file))]
    return blas[0] if blas else "numpy itself"
