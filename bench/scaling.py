#!/usr/bin/env python3
"""Time of sfdag-mpi grid over the number of processes: measured costs, and a model of what follows from them.

Usage: scaling.py measure SFDAG MODEL N...      processor time of the grid of N^3 points, and its share in 32 sections along z
       scaling.py predict COSTS.json POINTS PROCESSES...

A prediction draws the slabs of the program's own plan (mpi/SlabPlan.cpp) in turn for whichever process is free first. A slab
costs what its slices cost, by the measured shares, and the whole what the costs of the measured grids make of it by a power law.
All write at the bandwidth of the file system together; a process computes or writes.
"""

import heapq
import json
import math
import os
import resource
import subprocess
import sys
import tempfile

SECTIONS = 32
BOX = (-1.0, 1.0)  # of the models, along each axis
SLAB_BYTES = 16 << 20
BANDWIDTHS = (1e9, 10e9, 100e9)


def processor_seconds(command):
    """User time alone: what the system does goes into writing."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before


def render(sfdag, model, points, first, slices):
    voxel = (BOX[1] - BOX[0]) / (points - 1)
    origin = (BOX[0], BOX[0], BOX[0] + first * voxel)
    with tempfile.TemporaryDirectory() as folder:
        command = [sfdag, "grid", model, "--dims", str(points), str(points), str(slices), "--voxel", repr(voxel),
                   "--origin", *map(repr, origin), "-j", "1", "-o", os.path.join(folder, "a.raw")]
        return processor_seconds(command)


def measure(sfdag, model, sizes):
    start = min(render(sfdag, model, 2, 0, 1) for _ in range(3))
    totals = {n: min(render(sfdag, model, n, 0, n) for _ in range(2)) - start for n in sizes}
    largest = max(sizes)
    bounds = [largest * i // SECTIONS for i in range(SECTIONS + 1)]
    shares = [max(render(sfdag, model, largest, a, b - a) - start, 1e-4) for a, b in zip(bounds, bounds[1:])]
    return {"model": os.path.basename(model), "start": start, "totals": totals,
            "shares": [share / sum(shares) for share in shares]}


def exponent(totals):
    """Of the power law through the two largest grids."""
    (n, t), (m, u) = sorted((int(n), t) for n, t in totals.items())[-2:]
    return math.log(u / t) / math.log(m / n)


def total_at(totals, points):
    n, t = max((int(n), t) for n, t in totals.items())
    return t * (points / n) ** exponent(totals)


def plan(slices, most, processes):
    """PlanSlabs of mpi/SlabPlan.cpp."""
    slabs, begin = [], 0
    while begin < slices:
        size = min(max((slices - begin) // (8 * processes), 1), max(1, most))
        slabs.append((begin, begin + size))
        begin += size
    return slabs


def cost_below(shares, part):
    """The share of the work below a part of the height."""
    place = part * len(shares)
    whole = min(int(place), len(shares) - 1)
    return sum(shares[:whole]) + shares[whole] * (place - whole)


def predict(costs, points, processes, bandwidth):
    """Seconds in all, of computing, and the slowest process over the mean."""
    total = total_at(costs["totals"], points)
    slice_bytes = 4 * points * points
    below = [total * cost_below(costs["shares"], k / points) for k in range(points + 1)]
    free = [0.0] * processes
    work = 0.0
    for begin, end in plan(points, SLAB_BYTES // slice_bytes, processes):
        seconds = below[end] - below[begin]
        work += seconds
        heapq.heapreplace(free, free[0] + seconds)
    mean = work / processes
    return max(max(free), slice_bytes * points / bandwidth) + costs["start"], max(free), max(free) / mean


def main():
    if sys.argv[1] == "measure":
        print(json.dumps(measure(sys.argv[2], sys.argv[3], [int(n) for n in sys.argv[4:]])))
        return
    with open(sys.argv[2]) as file:
        costs = json.load(file)
    points = int(sys.argv[3])
    print(f"{costs['model']}, {points}^3: {total_at(costs['totals'], points):.3g} s of processor time, "
          f"as the power {exponent(costs['totals']):.2f} of the points along an axis")
    print("processes  computing s  slowest/mean" + "".join(f"  all at {b / 1e9:g} GB/s" for b in BANDWIDTHS))
    for processes in map(int, sys.argv[4:]):
        rows = [predict(costs, points, processes, bandwidth) for bandwidth in BANDWIDTHS]
        print(f"{processes:9d}  {rows[0][1]:11.4g}  {rows[0][2]:12.3f}" + "".join(f"  {row[0]:13.4g}" for row in rows))


if __name__ == "__main__":
    main()
