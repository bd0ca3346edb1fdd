"""Shared helpers of the binding's tests."""
import numpy as np


def hex_bits(values):
    """The bit patterns of float64 values as 16 hex digits each, as reference_bits prints."""
    flat = np.ascontiguousarray(np.asarray(values, dtype=np.float64).ravel())
    return ['%016x' % b for b in flat.view(np.uint64)]


def rosenbrock(p):
    """Rosenbrock's valley with the reference program's operation order."""
    a = 1.0 - p[0]
    b = p[1] - p[0] * p[0]
    return a * a + 100.0 * b * b


def surface_case():
    """The projection case of the reference program: a degree 2 by 3 surface, 8 points."""
    i, j, k = np.meshgrid(np.arange(3), np.arange(4), np.arange(3), indexing='ij')
    c = ((i * 5 + j * 3 + k * 7) % 11) * 0.1 - 0.5
    n, k = np.meshgrid(np.arange(8), np.arange(3), indexing='ij')
    points = ((n * 13 + k * 5) % 17) * 0.0625 - 0.5
    return c, points
