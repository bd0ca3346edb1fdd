"""Projections run in C++ with the GIL released: threads overlap, and the bits do not depend
on how the points are split between them."""
import threading
import time

import numpy as np

import paskosda as p
from conftest import surface_case


def batch(n):
    c, _ = surface_case()
    rng = np.random.default_rng(7)
    return p.PolySurface(c), rng.uniform(-0.6, 0.6, size=(n, 3)), rng.uniform(0, 1, size=(n, 2))


def bits(result):
    return np.column_stack([result.uv, result.distance]).view(np.uint64)


def test_two_threads_give_the_bits_of_one():
    surface, points, starts = batch(4000)
    whole = p.project_points(surface, points, starts)
    halves = [None, None]

    def run(k):
        part = slice(0, 2000) if k == 0 else slice(2000, 4000)
        halves[k] = p.project_points(surface, points[part], starts[part])

    threads = [threading.Thread(target=run, args=(k,)) for k in (0, 1)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert np.array_equal(np.vstack([bits(h) for h in halves]), bits(whole))
    assert np.array_equal(np.concatenate([h.status for h in halves]), whole.status)


def spins_while(target, *args):
    """Turns of a waiting loop while target(*args) runs on another thread, per second."""
    worker = threading.Thread(target=target, args=args)
    spins, start = 0, time.perf_counter()
    worker.start()
    while worker.is_alive():
        spins += 1
    return spins / (time.perf_counter() - start)


def test_python_runs_while_a_projection_runs():
    surface, points, starts = batch(50000)
    free = spins_while(time.sleep, 0.2)
    busy = spins_while(p.project_points, surface, points, starts)
    # Holding the GIL, the projection (~0.3 s) would let the loop turn only for a switch
    # interval or two, some 10 ms; released, the loop keeps turning throughout.
    assert busy > 0.1 * free
