"""The binding gives the bits the library gives in C++, case by case (reference_bits.cpp)."""
import math
import os
import subprocess

import numpy as np
import pytest

import paskosda as p
from conftest import hex_bits, rosenbrock, surface_case

A = [[2, 1, 1], [4, -6, 0], [-2, 7, 2]]
POLY = [-6, 11, -9, 8, -2, -3, 1]


def lu_solve():
    lu = p.lu(A)
    return [*lu.solve([5, -2, 9]), lu.determinant()]


def svd_least_squares():
    fit = [[1.0, i, float(i) * i] for i in range(6)]
    d = p.svd(fit)
    return [*d.s, *d.solve([1.1, 1.9, 5.2, 10.1, 16.8, 26.0])]


def cholesky_hilbert():
    c = p.cholesky([[1.0 / (i + j + 1) for j in range(6)] for i in range(6)])
    return [*c.solve([1, 2, 3, 4, 5, 6]), c.determinant()]


def qr_gram_schmidt():
    q, r, _ = p.qr([[1, 1, 0], [1, 0, 1], [2, 1, 1]])
    return [*q.ravel(), *r.ravel()]


def eigen(result):
    return [*result.values, *result.vectors.ravel()]


def pca():
    pts = [[i * 0.1, 2.0 * (i * 0.1) + ((i * 7) % 5) * 0.01, (i % 3) * 0.5] for i in range(50)]
    return p.pca(pts).variances


def counted(solution):
    n, roots = solution
    return [n, *roots]


def integrate_sin():
    out = []
    for method in ('trapezoid', 'simpson', 'romberg'):
        r = p.integrate(math.sin, 0.0, math.pi, method=method)
        out += [r.value, r.evaluations]
    return out


def minimise_scalar():
    r = p.minimise_scalar(math.cos, 2.5, 2.0, 5.0, 1e-12,
                          derivative=lambda o, t: -math.sin(t) if o == 1 else -math.cos(t))
    return [r.x, r.iterations]


def brent():
    r = p.brent(lambda x: (x - 0.7) * (x - 0.7) + 0.1 * x, 0.0, 0.5, 2.0, 1e-8)
    return [r.x, r.fun]


def powell():
    r = p.powell(rosenbrock, [-1.2, 1.0], 1e-10)
    return [*r.x, r.fun, r.iterations, r.evaluations]


def simplex():
    r = p.downhill_simplex(rosenbrock, [-1.2, 1.0], p.SimplexSpeed.SLOW)
    return [*r.x, r.fun, r.evaluations]


XS = [0.1 * k for k in range(50)]
YS = [2.5 * math.exp(-1.3 * XS[k]) + 0.002 * ((k * 37) % 11 - 5) for k in range(50)]


def residual(q, k):
    return q[0] * math.exp(q[1] * XS[k]) - YS[k]


def jacobian(q, k):
    e = math.exp(q[1] * XS[k])
    return [e, q[0] * XS[k] * e]


def levenberg_marquardt(**kw):
    r = p.levenberg_marquardt(residual, 50, [1.0, 0.0], **kw)
    return [*r.x, r.fun]


def constrained_quadratic():
    r = p.constrained_quadratic([[2, 1], [1, 2]], [-6, 2], [[1, 0], [-1, 0], [0, 1], [0, -1]],
                                [0, -2, 0, -2], [5.0, -3.0])
    return [*r.x, r.success]


def minimise2():
    def bowl(u, v):
        return (u - 1.5) * (u - 1.5) + 2.0 * (v - 0.6) * (v - 0.6) + 0.5 * (u - 1.5) * (v - 0.6)

    r = p.minimise2(bowl, 0.2, 0.1, patch=(0.0, 1.0, 0.0, 1.0))
    return [*r.x, r.fun, r.status, r.evaluations]


def minimise_vector():
    t = (-1.5, -0.4, 1.2)

    def torus(u, v):
        rho = 3.0 + math.cos(v)
        return [rho * math.cos(u) - t[0], rho * math.sin(u) - t[1], math.sin(v) - t[2]]

    def jac(u, v):
        rho = 3.0 + math.cos(v)
        return [[-rho * math.sin(u), -math.sin(v) * math.cos(u)],
                [rho * math.cos(u), -math.sin(v) * math.sin(u)], [0.0, math.cos(v)]]

    two_pi = 2.0 * math.pi
    r = p.minimise_vector(torus, jac, 3, 0.3, 5.9, patch=(0.0, two_pi, 0.0, two_pi),
                          periodic=(True, True))
    return [*r.x, r.fun, r.status, r.evaluations]


def project_points():
    c, points = surface_case()
    r = p.project_points(p.PolySurface(c), points, [0.5, 0.5])
    return np.column_stack([r.uv, r.distance, r.status]).ravel()


def sparse():
    m, n = 4, 16
    triplets = []
    for row in range(m):
        for col in range(m):
            i = m * row + col
            triplets += [(i, i, 4.0 + 0.1 * i)]
            triplets += [(i, j, -1.0) for j, ok in ((i - m, row > 0), (i - 1, col > 0),
                                                   (i + 1, col + 1 < m), (i + m, row + 1 < m)) if ok]
    r, c, v = zip(*triplets)
    laplacian = p.SparseMatrix.from_triplets(r, c, v, (n, n))
    square = laplacian @ laplacian
    return [*square.to_csr()[2], *laplacian.multiply([1.0 / (i + 1) for i in range(n)])]


CASES = {
    'lu_solve': lu_solve,
    'lu_matrix_solve': lambda: p.lu(A).solve([[5, 1], [-2, 0], [9, 2]]),
    'cholesky_hilbert': cholesky_hilbert,
    'svd_least_squares': svd_least_squares,
    'qr_gram_schmidt': qr_gram_schmidt,
    'sym_eigen': lambda: eigen(p.sym_eigen([[2, -1, 0, 0], [-1, 2, -1, 0], [0, -1, 2, -1],
                                            [0, 0, -1, 1]], tolerance=1e-12)),
    'asym_eigen3': lambda: eigen(p.asym_eigen([[4, 1, 2], [0, 3, 1], [1, 0, 2]])),
    'pca': pca,
    'quadratic': lambda: counted(p.quadratic_solve(1, -3, 2)),
    'cubic': lambda: counted(p.cubic_solve(1, -6, 11, -6)),
    'quartic': lambda: counted(p.quartic_solve(1, 0, -5, 0, 4)),
    'polynomial_all': lambda: p.polynomial_roots(POLY)[1],
    'polynomial_interval': lambda: p.polynomial_roots(POLY, -1.0, 4.0)[1],
    'polynomial_extrema': lambda: p.polynomial_extrema(POLY, -1.0, 4.0)[0],
    'integrate_sin': integrate_sin,
    'minimise_scalar': minimise_scalar,
    'brent': brent,
    'powell': powell,
    'simplex': simplex,
    'lm_differences': levenberg_marquardt,
    'lm_jacobian': lambda: levenberg_marquardt(jacobian=jacobian),
    'constrained_quadratic': constrained_quadratic,
    'minimise2': minimise2,
    'minimise_vector': minimise_vector,
    'project_points': project_points,
    'sparse': sparse,
}


@pytest.fixture(scope='module')
def reference():
    program = os.environ.get('PASKOSDA_REFERENCE_BITS')
    if not program:
        pytest.skip('PASKOSDA_REFERENCE_BITS names no reference program (run through ctest)')
    lines = subprocess.run([program], check=True, capture_output=True, text=True).stdout
    return {name: bits for name, *bits in (line.split() for line in lines.splitlines())}


def test_reference_covers_every_case(reference):
    assert sorted(reference) == sorted(CASES)


@pytest.mark.parametrize('name', sorted(CASES))
def test_same_bits_as_cpp(reference, name):
    assert hex_bits(CASES[name]()) == reference[name]
