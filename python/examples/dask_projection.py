"""Project 100,000 points onto a polynomial surface on a Dask cluster, in chunks, and check
the result bit for bit against a serial loop.

The surface is pickled to the workers (PolySurface supports pickling); each task projects one
chunk in C++ with the GIL released. On a real cluster, replace LocalCluster by the address of
the scheduler: Client('tcp://scheduler:8786'). Exits with status 1 on any differing bit.
"""
import sys
import time

import numpy as np

import paskosda

N_POINTS = 100_000
CHUNK = 12_500


def make_problem():
    # A gently curved patch over the unit square: z = 0.3 sin-like bump from a cubic.
    c = np.zeros((4, 4, 3))
    c[1, 0] = [1.0, 0.0, 0.0]     # x = u
    c[0, 1] = [0.0, 1.0, 0.0]     # y = v
    c[2, 0, 2], c[0, 2, 2], c[1, 1, 2], c[3, 1, 2] = 0.4, -0.3, 0.2, -0.1
    rng = np.random.default_rng(2026)
    points = np.column_stack([rng.uniform(-0.1, 1.1, N_POINTS), rng.uniform(-0.1, 1.1, N_POINTS),
                              rng.uniform(-0.5, 0.5, N_POINTS)])
    return paskosda.PolySurface(c), points


def project_chunk(surface, points):
    r = paskosda.project_points(surface, points, [0.5, 0.5])
    return np.column_stack([r.uv, r.distance, r.status])


def serial_loop(surface, points):
    """One projection per call, in order: the plain reference."""
    rows = []
    for point in points:
        r = paskosda.project_points(surface, point[np.newaxis, :], [0.5, 0.5])
        rows.append([r.uv[0, 0], r.uv[0, 1], r.distance[0], r.status[0]])
    return np.array(rows)


def main():
    from dask.distributed import Client, LocalCluster

    surface, points = make_problem()
    chunks = [points[i:i + CHUNK] for i in range(0, N_POINTS, CHUNK)]

    start = time.perf_counter()
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                      dashboard_address=None) as cluster, Client(cluster) as client:
        remote_surface = client.scatter(surface, broadcast=True)
        futures = [client.submit(project_chunk, remote_surface, chunk, pure=False)
                   for chunk in chunks]
        distributed = np.vstack(client.gather(futures))
    cluster_seconds = time.perf_counter() - start

    start = time.perf_counter()
    serial = serial_loop(surface, points)
    serial_seconds = time.perf_counter() - start

    same = np.array_equal(distributed.view(np.uint64), serial.view(np.uint64))
    print(f'{N_POINTS} projections in {len(chunks)} chunks on 2 workers: {cluster_seconds:.1f} s '
          f'(cluster start included); serial loop {serial_seconds:.1f} s')
    print(f'largest distance {distributed[:, 2].max():.6f}; converged or on an edge: '
          f'{int(np.isin(distributed[:, 3], (0, 1, 2)).sum())} of {N_POINTS}')
    print('bit for bit equal to the serial loop: ' + ('yes' if same else 'NO'))
    return 0 if same else 1


if __name__ == '__main__':
    sys.exit(main())
