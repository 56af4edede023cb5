"""Measures what Python adds to the library: python_bench.py LIBRARY, that of PythonRivals.cpp.

A line for each case: processor time of all threads, in milliseconds, and its ratio to that of the rival. Both take turns
in one process; a time is the least of all turns. README.md says what the cases are.
"""

import ctypes
import sys
import time

import numpy as np

import sf

TURNS = 60
COUNT = 1_000_000
x, y, z = sf.axes()
POINTS = np.random.default_rng(1).uniform(-20, 20, (COUNT, 3))
COLUMNS = [np.ascontiguousarray(column) for column in POINTS.T]


def lattice():
    """Parts that the engine prunes for."""
    centres = np.random.default_rng(2).uniform(-20, 20, (100, 3))
    return sf.union([sf.sphere(3).translate(centre) for centre in centres])


FIELDS = {
    "ball": sf.sphere(10),
    "plate": sf.box((30, 20, 6)).difference(sf.cylinder(4, 20)),
    "gyroid shell": sf.gyroid(cell=10, thickness=1.2) & sf.box((30, 30, 30)).shell(2),
    "100 balls": lattice(),
}
FUNCTIONS = {
    "norm": lambda points: np.linalg.norm(points, axis=1) - 10,
    "columns": lambda points: np.sqrt(points[:, 0] ** 2 + points[:, 1] ** 2 + points[:, 2] ** 2) - 10,
    "waves": lambda points: np.sin(points).prod(axis=1),
}


def least_of_turns(*calls, turns=TURNS):
    """The least processor time of each call, in milliseconds. Every other turn goes backwards, so that each call comes
    before and after its rival, which leaves what they share in the caches."""
    least = [np.inf] * len(calls)
    order = list(enumerate(calls))
    for call in calls:
        call()  # prepares
    for _ in range(turns):
        for i, call in order:
            begin = time.process_time()
            call()
            least[i] = min(least[i], 1e3 * (time.process_time() - begin))
        order.reverse()
    return least


def show(case, spent, rival):
    print(f"{case:34} {spent:9.2f} {rival:9.2f} {spent / rival:7.3f}", flush=True)


def load(path):
    library = ctypes.CDLL(path)
    size, pointer = ctypes.c_size_t, ctypes.c_void_p
    library.sf_rival_make.argtypes, library.sf_rival_make.restype = [ctypes.c_char_p], pointer
    library.sf_rival_drop.argtypes, library.sf_rival_drop.restype = [pointer], None
    library.sf_rival_rows.argtypes, library.sf_rival_rows.restype = [pointer, size, pointer], ctypes.c_double
    library.sf_rival_columns.argtypes = [pointer, size, pointer, pointer, pointer]
    library.sf_rival_columns.restype = ctypes.c_double
    return library


def main():
    rivals = load(sys.argv[1])
    print(f"{'case':34} {'Python ms':>9} {'rival ms':>9} {'ratio':>7}")
    for name, field in FIELDS.items():
        rival = rivals.sf_rival_make(field.to_listing().encode())
        places = [column.ctypes.data for column in COLUMNS]
        rows, rows_rival, columns, columns_rival = least_of_turns(
            lambda: field(POINTS),
            lambda: rivals.sf_rival_rows(rival, COUNT, POINTS.ctypes.data),
            lambda: field(*COLUMNS),
            lambda: rivals.sf_rival_columns(rival, COUNT, *places),
        )
        show(f"{name}: rows", rows, rows_rival)
        show(f"{name}: columns", columns, columns_rival)
        rivals.sf_rival_drop(rival)
    for name, function in FUNCTIONS.items():
        field = sf.resource(function)
        spent, rival = least_of_turns(lambda: field(POINTS), lambda: function(POINTS))
        show(f"function {name}: rows", spent, rival)
        stacked = np.array(COLUMNS).T
        spent, rival = least_of_turns(lambda: field(stacked), lambda: function(stacked))
        show(f"function {name}: columns", spent, rival)
    built, = least_of_turns(lambda: sf.struts(np.random.default_rng(1).uniform(0, 50, (20_000, 2, 3)), 0.2), turns=5)
    print(f"{'20,000 struts':34} {built:9.2f}")


if __name__ == "__main__":
    main()
