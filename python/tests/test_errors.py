"""Shape errors raise ValueError before the library runs; an exception raised by a callable
comes out of the solver unchanged, and no callable runs after it."""
import math

import numpy as np
import pytest

import paskosda as p
from conftest import rosenbrock

SQUARE = np.eye(3)
WIDE = np.ones((2, 3))
SURFACE = p.PolySurface(np.zeros((2, 2, 3)))
TRIPLETS = ([0, 1], [1, 0], [1.0, 2.0])

SHAPE_ERRORS = {
    'lu of a non-square matrix': lambda: p.lu(WIDE),
    'lu of a vector': lambda: p.lu([1.0, 2.0]),
    'LU.solve of a short vector': lambda: p.lu(SQUARE).solve([1.0, 2.0]),
    'LU.solve of a matrix with other rows': lambda: p.lu(SQUARE).solve(np.ones((2, 2))),
    'cholesky of a non-square matrix': lambda: p.cholesky(WIDE),
    'SVD.solve of a long vector': lambda: p.svd(WIDE).solve([1.0, 2.0, 3.0]),
    'sym_eigen of a non-square matrix': lambda: p.sym_eigen(WIDE),
    'asym_eigen of a 4x4 matrix': lambda: p.asym_eigen(np.eye(4)),
    'pca of a vector': lambda: p.pca([1.0, 2.0]),
    'tridiagonal bands of unequal length': lambda: p.tridiagonal_solve([1, 1], [4, 4, 4], [1, 1, 1],
                                                                      [1, 2, 3]),
    'polynomial without coefficients': lambda: p.polynomial_roots([]),
    'powell directions of another order': lambda: p.powell(rosenbrock, [0, 0], directions=SQUARE),
    'quadratic with a short gradient': lambda: p.constrained_quadratic(np.eye(2), [1.0], WIDE[:, :2],
                                                                      [0, 0], [0, 0]),
    'quadratic with constraints of other width': lambda: p.constrained_quadratic(
        np.eye(2), [1, 1], WIDE, [0, 0], [0, 0]),
    'points that are not 3-D': lambda: p.project_points(SURFACE, np.zeros((4, 2)), [0, 0]),
    'starts of another count': lambda: p.project_points(SURFACE, np.zeros((4, 3)), np.zeros((3, 2))),
    'surface coefficients that are not 3-D points': lambda: p.PolySurface(np.zeros((2, 2, 2))),
    'a reversed patch': lambda: p.project_points(SURFACE, np.zeros((1, 3)), [0, 0],
                                                 patch=(1.0, 0.0, 0.0, 1.0)),
    'duplicate sparse entries': lambda: p.SparseMatrix.from_triplets([0, 0], [1, 1], [1, 2], (2, 2)),
    'a sparse entry outside the shape': lambda: p.SparseMatrix.from_triplets(*TRIPLETS, (1, 2)),
    'CSR arrays of other lengths': lambda: p.SparseMatrix.from_csr([0, 1, 2], [0], [1.0], (2, 2)),
    'a sparse product of other inner dimensions': lambda: p.SparseMatrix.from_triplets(
        *TRIPLETS, (2, 2)).multiply([1.0, 2.0, 3.0]),
    'a Jacobian callable of the wrong length': lambda: p.levenberg_marquardt(
        lambda q, k: q[0] - k, 3, [0.0], jacobian=lambda q, k: [1.0, 2.0]),
    'a vector callable of the wrong length': lambda: p.minimise_vector(
        lambda u, v: [u, v], lambda u, v: np.eye(3, 2), 3, 0.0, 0.0),
}


@pytest.mark.parametrize('call', SHAPE_ERRORS.values(), ids=SHAPE_ERRORS.keys())
def test_shape_errors_raise_value_error(call):
    with pytest.raises(ValueError):
        call()


class Boom(Exception):
    pass


class FailsOnCall:
    """A callable that raises Boom at its n-th call and records how often it was called."""

    def __init__(self, n, body):
        self.n, self.body, self.calls = n, body, 0

    def __call__(self, *args):
        self.calls += 1
        if self.calls == self.n:
            raise Boom(self.calls)
        return self.body(*args)


def bowl(u, v):
    return (u - 0.3) ** 2 + (v - 0.6) ** 2


# Each solver gets a callable that raises part-way; the solver runs to its end on NaN values,
# then Boom comes out and the callable has not been called again.
RAISING = {
    'integrate': lambda f: p.integrate(f, 0.0, 1.0),
    'minimise_scalar': lambda f: p.minimise_scalar(f, 0.5, 0.0, 2.0, 1e-10),
    'minimise_scalar derivative': lambda f: p.minimise_scalar(math.cos, 2.5, 2.0, 5.0, 1e-12,
                                                              derivative=f),
    'brent': lambda f: p.brent(f, 0.0, 0.5, 2.0, 1e-8),
    'bracket': lambda f: p.bracket(f, 0.0, 0.1),
    'powell': lambda f: p.powell(f, [-1.2, 1.0]),
    'downhill_simplex': lambda f: p.downhill_simplex(f, [-1.2, 1.0]),
    'levenberg_marquardt': lambda f: p.levenberg_marquardt(f, 10, [1.0, 0.0]),
    'levenberg_marquardt jacobian': lambda f: p.levenberg_marquardt(
        lambda q, k: q[0] * k - q[1], 10, [1.0, 0.0], jacobian=f),
    'minimise2': lambda f: p.minimise2(f, 0.0, 0.0, patch=(0, 1, 0, 1)),
    'minimise_vector': lambda f: p.minimise_vector(f, lambda u, v: np.eye(2), 2, 0.0, 0.0),
}
BODIES = {
    'integrate': math.sin, 'minimise_scalar': lambda t: (t - 1.0) ** 2,
    'minimise_scalar derivative': lambda order, t: -math.sin(t) if order == 1 else -math.cos(t),
    'brent': lambda t: (t - 0.7) ** 2, 'bracket': lambda t: (t - 3.0) ** 2,
    'powell': rosenbrock, 'downhill_simplex': rosenbrock,
    'levenberg_marquardt': lambda q, k: q[0] * k - q[1] - 1.0,
    'levenberg_marquardt jacobian': lambda q, k: [float(k), -1.0],
    'minimise2': bowl, 'minimise_vector': lambda u, v: [u - 0.3, v - 0.6],
}


@pytest.mark.parametrize('name', RAISING)
def test_callable_exceptions_propagate_and_stop_the_calls(name):
    f = FailsOnCall(3, BODIES[name])
    with pytest.raises(Boom) as raised:
        RAISING[name](f)
    assert raised.value.args == (3,)
    assert f.calls == 3


def test_a_callable_returning_a_non_number_raises_type_error():
    with pytest.raises(TypeError):
        p.integrate(lambda t: 'text', 0.0, 1.0)
