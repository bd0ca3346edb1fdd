"""Per-call time of an LU factorisation and solve through the binding, for 3x3 and 200x200
systems (median of 7 timed loops), beside the same call in C++ (paskosda_python_overhead).

Usage: python3 overhead.py [path/to/paskosda_python_overhead]
"""
import statistics
import subprocess
import sys
import timeit

import numpy as np

import paskosda


def system(n):
    i, j = np.indices((n, n))
    return np.where(i == j, n + 1.0, 1.0 / (i + j + 1)), np.arange(1.0, n + 1.0)


def main():
    for n, calls in ((3, 50_000), (200, 200)):
        a, b = system(n)
        runs = timeit.repeat(lambda: paskosda.lu(a).solve(b), number=calls, repeat=7)
        median = statistics.median(runs) / calls * 1e6
        print(f'Python LU factorise + solve {n}x{n}: {median:.3f} us per call (median of 7)')
    if len(sys.argv) > 1:
        print(subprocess.run([sys.argv[1]], check=True, capture_output=True, text=True).stdout,
              end='')


if __name__ == '__main__':
    main()
