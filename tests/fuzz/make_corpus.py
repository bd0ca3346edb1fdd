#!/usr/bin/env python3
"""Writes the seed corpus of the fuzz harnesses into tests/fuzz/corpus/<harness>/.

Each seed is spelled out in the byte format of fuzz_input.h, in the order the harness reads
its input: a few ordinary problems per harness, and the inputs that once made the library hang,
kept so that every build replays them. Rerun after changing a harness's input layout:

    python3 tests/fuzz/make_corpus.py
"""

import math
import os
import struct
import sys

DBL_MAX = sys.float_info.max
DBL_MIN = sys.float_info.min
DENORM = 5e-324
NAN = float("nan")
INF = float("inf")

# The special values of fuzz_input.h, in selector order.
SPECIALS = [0.0, -0.0, 1.0, -1.0, 2.0, -2.0, 3.0, 0.5, NAN, INF, -INF, DBL_MAX, -DBL_MAX,
            DBL_MIN, -DBL_MIN, DENORM, -DENORM, DBL_MIN - DENORM, 1e-300, 1e300, 8e8, -8e8,
            799999999.9, 800000000.1, 4.0, 10.0, -1e300, 1e-7]
RAW = 112
NICE_EXPONENT_ZERO = 176 + 12


def same(a, b):
    return struct.pack("<d", a) == struct.pack("<d", b)


def real(x):
    """A double: its special selector, a nice integer, or the raw bits."""
    for i, s in enumerate(SPECIALS):
        if same(x, s):
            return bytes([i])
    if x == int(x) and -32768 <= x < 32768:
        return bytes([NICE_EXPONENT_ZERO]) + struct.pack("<h", int(x))
    return bytes([RAW]) + struct.pack("<d", x)


def reals(*xs):
    return b"".join(real(x) for x in xs)


def integer(v, lo, hi):
    assert lo <= v <= hi
    if hi - lo + 1 > 256:
        return struct.pack("<H", v - lo)
    return bytes([v - lo])


def flag(b):
    return bytes([1 if b else 0])


def matrix(rows):
    return b"".join(reals(*r) for r in rows)


def upper(rows):
    """The upper triangle and diagonal of a symmetric matrix, row by row."""
    return b"".join(reals(*r[i:]) for i, r in enumerate(rows))


CORPUS = {}


def seed(harness, name, data):
    CORPUS.setdefault(harness, {})[name] = data


# ---- roots_fuzz: a, b, c, d, e ------------------------------------------------------------
seed("roots_fuzz", "four_real_roots", reals(1, -10, 35, -50, 24))
seed("roots_fuzz", "double_roots", reals(1, 0, -2, 0, 1))
seed("roots_fuzz", "tiny_leading", reals(1e-300, 1, -3, 2, 0))
seed("roots_fuzz", "huge_and_nan", reals(DBL_MAX, -DBL_MAX, NAN, 1, INF))
seed("roots_fuzz", "all_zero", reals(0, 0, 0, 0, 0))

# ---- polysolve_fuzz: degree, coefficients, lower, upper ------------------------------------
seed("polysolve_fuzz", "wilkinson_6",
     integer(6, -1, 20) + reals(720, -1764, 1624, -735, 175, -21, 1) + reals(-INF, INF))
seed("polysolve_fuzz", "triple_root_in_range",
     integer(3, -1, 20) + reals(-1, 3, -3, 1) + reals(0, 2))
seed("polysolve_fuzz", "huge_coefficients",
     integer(4, -1, 20) + reals(1e300, -1e300, DBL_MAX, 1, -1) + reals(-10, 10))
seed("polysolve_fuzz", "inverted_limits", integer(2, -1, 20) + reals(-1, 0, 1) + reals(5, -5))
# Roots reported twice: x^2 - 1 on [-2, -1], whose root -1 is the upper limit, and a
# quadratic whose roots both overflow to -inf on the whole line.
seed("polysolve_fuzz", "polysolve_root_at_upper_limit_twice",
     integer(2, -1, 20) + reals(-1, 0, 1) + reals(-2, -1))
seed("polysolve_fuzz", "polysolve_allroots_infinite_root_twice",
     integer(3, -1, 20) + reals(DBL_MAX, 1, 1.2598673968951787e-321, 0) + reals(0, 0))
seed("polysolve_fuzz", "degree_20_denormals",
     integer(20, -1, 20) + reals(*([DENORM, -1, 1e-7, 3] * 5 + [1])) + reals(-1e300, 1e300))

# ---- lu_cholesky_fuzz ----------------------------------------------------------------------
# LU: rows, [non-square flag, cols], matrix, b, k, B (n by k), second matrix; Cholesky: n,
# form, matrix, b, k, B; kernel: r, extra columns, matrix, tolerance.
seed("lu_cholesky_fuzz", "regular_3x3",
     integer(3, 0, 8) + flag(False) + matrix([[2, 1, 1], [4, -6, 0], [-2, 7, 2]]) +
     reals(5, -2, 9) + integer(2, 1, 3) + matrix([[1, 0], [0, 1], [1, 1]]) +
     matrix([[1, 2, 3], [4, 5, 6], [7, 8, 10]]) +
     integer(3, 0, 8) + integer(0, 0, 2) + upper([[4, 2, 0], [2, 5, 1], [0, 1, 3]]) +
     reals(1, 2, 3) + integer(1, 1, 3) + reals(1, 0, 0) +
     integer(2, 0, 6) + integer(1, 0, 3) + matrix([[1, 2, 3], [3, 4, 5]]) + real(1e-20))
seed("lu_cholesky_fuzz", "singular_and_nan",
     integer(2, 0, 8) + flag(False) + matrix([[1, 2], [2, 4]]) + reals(NAN, 1) +
     integer(1, 1, 3) + reals(1, INF) + matrix([[NAN, 0], [0, NAN]]) +
     integer(2, 0, 8) + integer(1, 0, 2) + matrix([[-1, 0], [0, 1]]) + reals(1, 1))
seed("lu_cholesky_fuzz", "non_square",
     integer(2, 0, 8) + flag(True) + integer(3, 0, 8) + matrix([[1, 2, 3], [4, 5, 6]]) +
     reals(1, 1))
seed("lu_cholesky_fuzz", "gram_of_extremes",
     integer(0, 0, 8) + flag(False) + integer(1, 1, 3) + integer(3, 0, 8) + integer(2, 0, 2) +
     matrix([[DBL_MAX, 1, 0], [DENORM, -DBL_MAX, 1e300], [1, 1, 1]]) + reals(1, 2, 3))

# ---- qr_fuzz: cols; GS: rows, matrix, adds, (length pick, values, keep)...; QR: orthonormal
# flag, [rows, matrix], adds, (length pick, values)... ----------------------------------------
seed("qr_fuzz", "three_vectors",
     integer(3, 1, 6) + integer(1, 0, 4) + matrix([[1, 0, 0]]) + integer(2, 0, 6) +
     integer(0, 0, 7) + reals(1, 1, 0) + flag(True) + integer(0, 0, 7) + reals(2, 0, 0) +
     flag(False) + flag(False) + integer(0, 0, 3) + integer(3, 0, 6) +
     integer(0, 0, 7) + reals(1, 0, 0) + integer(0, 0, 7) + reals(1, 1, 0) +
     integer(0, 0, 7) + reals(1, 1, 1))
seed("qr_fuzz", "orthonormal_dependent",
     integer(2, 1, 6) + integer(0, 0, 4) + integer(0, 0, 6) + flag(True) + integer(3, 0, 6) +
     integer(0, 0, 7) + reals(3, 4) + integer(0, 0, 7) + reals(6, 8) + integer(6, 0, 7) +
     reals(1, 2, 3))
seed("qr_fuzz", "huge_and_nan_rows",
     integer(2, 1, 6) + integer(3, 0, 4) + matrix([[DBL_MAX, 1], [NAN, 0], [1e-300, 1]]) +
     integer(1, 0, 6) + integer(0, 0, 7) + reals(INF, 1) + flag(True) + flag(False) +
     integer(2, 0, 3) + matrix([[1, DBL_MAX], [DBL_MAX, 1]]) + integer(1, 0, 6) +
     integer(0, 0, 7) + reals(-DBL_MAX, DBL_MAX))


# ---- svd_fuzz: m, n, job U, job V, matrix, tol, b, cols, B ---------------------------------
def svd(rows, job_u=1, job_v=1, tol=1e-7):
    m, n = len(rows), len(rows[0])
    return (integer(m, 1, 6) + integer(n, 1, 6) + integer(job_u, 0, 1) + integer(job_v, 0, 2) +
            matrix(rows) + real(tol) + reals(*([1] * m)) + integer(1, 1, 3) + reals(*([1] * m)))


seed("svd_fuzz", "rectangular_3x2", svd([[1, 2], [3, 4], [5, 6]]))
seed("svd_fuzz", "wide_reduced", svd([[1, 0, 2], [0, 3, 0]], 0, 2, 0.5))
seed("svd_fuzz", "rank_one_no_vectors", svd([[1, 2, 3], [2, 4, 6], [3, 6, 9]], 0, 0))
# Inputs that made the implicitly shifted QR sweeps spin.
seed("svd_fuzz", "svd_nan_zero_column", svd([[NAN], [0]]))
seed("svd_fuzz", "svd_zero_inf_column", svd([[0], [INF]]))
seed("svd_fuzz", "svd_dbl_max_column", svd([[DBL_MAX], [DBL_MAX]]))
seed("svd_fuzz", "svd_dbl_max_corner", svd([[1, 1], [1, DBL_MAX]]))
seed("svd_fuzz", "svd_inf_corner", svd([[1, 1], [1, INF]]))
seed("svd_fuzz", "svd_diag_zero_nan", svd([[0, 0], [0, NAN]]))

# ---- tridiagonal_fuzz: n, stride, lower, diagonal, upper, d --------------------------------
seed("tridiagonal_fuzz", "dominant_4",
     integer(4, 0, 8) + integer(1, 1, 2) + reals(1, 1, 1, 1) + reals(4, 4, 4, 4) +
     reals(1, 1, 1, 1) + reals(1, 2, 3, 4))
seed("tridiagonal_fuzz", "zero_pivot_strided",
     integer(3, 0, 8) + integer(2, 1, 2) + reals(-1, 1, 2) + reals(1, 1, 0) + reals(1, -1, 3) +
     reals(NAN, 1, INF))
seed("tridiagonal_fuzz", "single_periodic",
     integer(1, 0, 8) + integer(1, 1, 2) + reals(2) + reals(3) + reals(4) + reals(9))

# ---- eigen_fuzz: solver code, then its problem --------------------------------------------
def sym(rows, tol=None):
    n = len(rows)
    data = integer(0, 0, 4) + integer(n, 1, 3) + upper(rows)
    return data + (flag(True) + real(tol) if tol is not None else flag(False))


seed("eigen_fuzz", "sym_3x3", sym([[2, 1, 0], [1, 2, 1], [0, 1, 2]]))
seed("eigen_fuzz", "asym3_rotation",
     integer(2, 0, 4) + matrix([[0, -1, 0], [1, 0, 0], [0, 0, 2]]) + flag(False) + real(0))
seed("eigen_fuzz", "pca_line",
     integer(4, 0, 4) + integer(4, 0, 10) + integer(2, 0, 5) +
     matrix([[0, 0], [1, 1], [2, 2.5], [3, 3]]) + integer(1, -1, 6))
# Inputs that made the solvers hang (the symmetric solver with tolerance 0 is merely slow: it
# runs to its rotation limit).
seed("eigen_fuzz", "eigen_ata_dbl_max_corner",
     integer(3, 0, 4) + integer(3, 1, 5) + integer(1, 0, 3) +
     matrix([[1, 2, 0], [0, 1, 1], [3, 0, 1], [1, 1, DBL_MAX]]))
seed("eigen_fuzz", "eigen_asym2_minus_dbl_max",
     integer(1, 0, 4) + matrix([[1, 0], [-DBL_MAX, -8]]) + flag(False) + real(0))
seed("eigen_fuzz", "eigen_sym_near_8e8", sym([[8e8, 799999999.9], [799999999.9, 800000000.1]]))
seed("eigen_fuzz", "eigen_sym_8e8_offdiagonal", sym([[1, 8e8], [8e8, -8e8]]))
seed("eigen_fuzz", "eigen_sym_zero_tolerance", sym([[2, 1], [1, 2]], 0.0))
# Tiny off-diagonal elements against a denormal tolerance: rotations to the limit.
tiny = -2.3033111081647696e-156
seed("eigen_fuzz", "eigen_sym_tiny_offdiagonal_denormal_tolerance",
     sym([[-3145856, tiny, tiny], [tiny, tiny, tiny], [tiny, tiny, tiny]], 6.3628667905e-314))
small = 5.55690368353751e-161
seed("eigen_fuzz", "eigen_sym_zero_tolerance_tiny_offdiagonal",
     sym([[1, 0, small], [0, 1, 0], [small, 0, 1]], 0.0))


# ---- sparse_fuzz: r, c, A masks and values, k, B masks and values, x, M (c by 2), sub-matrix,
# two scale factors, S masks and values ------------------------------------------------------
def sparse(rows, cols, entries):
    """Masks and values of a sparse matrix given as {(i, j): v}."""
    out = b""
    for i in range(rows):
        mask = sum(1 << j for j in range(min(cols, 8)) if (i, j) in entries)
        out += bytes([mask]) + reals(*[entries[(i, j)] for j in range(cols) if (i, j) in entries])
    return out


seed("sparse_fuzz", "small_product",
     integer(2, 1, 8) + integer(3, 1, 8) + sparse(2, 3, {(0, 0): 1, (0, 2): 2, (1, 1): 3}) +
     integer(2, 1, 8) + sparse(3, 2, {(0, 1): 1, (2, 0): -1}) + reals(1, 2, 3) +
     matrix([[1, 0], [0, 1], [1, 1]]) + integer(0, 0, 1) + integer(1, 0, 2) + integer(2, 0, 2) +
     integer(2, 0, 2) + reals(2, 2) + sparse(3, 3, {(0, 0): 1, (0, 2): 5, (2, 2): 1}))
seed("sparse_fuzz", "cancellation_and_nan",
     integer(3, 1, 8) + integer(2, 1, 8) + sparse(3, 2, {(0, 0): 1, (0, 1): -1, (1, 0): NAN,
                                                         (2, 1): DBL_MAX}) +
     integer(3, 1, 8) + sparse(2, 3, {(0, 0): 1, (1, 0): 1, (1, 2): INF}) + reals(INF, 0))
seed("sparse_fuzz", "dense_8x8",
     integer(8, 1, 8) + integer(8, 1, 8) +
     sparse(8, 8, {(i, j): (i + 1) * (j - 3) for i in range(8) for j in range(8)}))


# ---- qp_fuzz: n, m, delete flag, A, b, symmetric flag, H, g, start, two index lists -------
def qp(A, b, H, g, x, delete=False):
    n, m = len(H), len(A)
    return (integer(n, 1, 5) + integer(m, 0, 6) + flag(delete) + matrix(A) + reals(*b) +
            flag(True) + upper(H) + reals(*g) + reals(*x))


seed("qp_fuzz", "box_2d", qp([[1, 0], [0, 1], [-1, 0], [0, -1]], [0, 0, -1, -1],
                             [[2, 0], [0, 2]], [-4, 1], [0.5, 0.5]))
seed("qp_fuzz", "contradicting_deleted", qp([[1], [-1]], [1, 0], [[1]], [0], [0], True) +
     integer(2, 0, 5) + integer(3, 0, 9) + integer(1, 0, 9) + integer(1, 0, 5) +
     integer(2, 0, 9))
seed("qp_fuzz", "infeasible_start_3d",
     qp([[1, 1, 1], [1, -1, 0], [0, 0, 1]], [1, 0, -2], [[1, 0, 0], [0, 1, 0], [0, 0, 0]],
        [0, 0, -1], [-5, 5, NAN]))
# An input that made the active-set iteration hang.
seed("qp_fuzz", "qp_dbl_max_hessian", qp([[1, 0]], [0], [[4, 2], [2, DBL_MAX]], [0, 0], [0, 0]))


# ---- lm_fuzz: n, m, model, points, independent, precise flag, factor, normalisation, scales,
# start, rated point ------------------------------------------------------------------------
def lm(model, t, y, start, rated, independent=None, scales=None, precise=False, normalise=0):
    n = len(start)
    data = integer(n, 1, 4) + integer(len(t), 0, 8) + integer(model, 0, 2)
    for tk, yk in zip(t, y):
        data += reals(tk, yk)
    data += integer(independent or n, 1, n) + flag(precise) + real(1) + integer(normalise, 0, 2)
    return data + reals(*(scales or [1] * n)) + reals(*start) + reals(*rated)


seed("lm_fuzz", "line_fit", lm(0, [0, 1, 2, 3], [1, 3, 5, 7.5], [0, 0], [1, 2]))
seed("lm_fuzz", "decay_fit", lm(1, [0, 1, 2], [2, 1.25, 0.5], [1, -1], [2, -0.5],
                                normalise=1))
seed("lm_fuzz", "nonconvex_precise", lm(2, [1, 2, 3], [2, 3, 4], [1, 1, 0], [1, 1, 0],
                                        independent=2, precise=True, normalise=2))
# Inputs whose derivatives overflow, which made the quality's decomposition hang.
seed("lm_fuzz", "lm_quality_overflowing_derivatives", lm(1, [1000, 2], [1, 1], [1, 1], [1, 1]))
seed("lm_fuzz", "lm_quality_dbl_max_abscissa", lm(0, [1, DBL_MAX], [0, 0], [1, 1], [1, 1]))


# ---- minimise1d_fuzz: degree, coefficients, window, outside, max_deriv, t_min, t_max; then
# bracketing a, b; Brent tol, iterations, a2, b2, c2; minimiser start, lower, upper, tol, new
# limit; roots x0, a, b, tol, iterations --------------------------------------------------
def minimise1d(coefficients, window, outside, max_deriv, domain, rest):
    return (integer(len(coefficients) - 1, 0, 6) + reals(*coefficients) + reals(*window) +
            real(outside) + integer(max_deriv, 0, 3) + reals(*domain) + rest)


seed("minimise1d_fuzz", "parabola",
     minimise1d([2, -4, 1], [NAN, NAN], 0, 2, [-INF, INF],
                reals(0, 1) + real(1e-7) + integer(100, 0, 1000) + reals(0, 1, 5) +
                reals(0, -10, 10, 1e-7, 20) + reals(3, 0, 3, 1e-12) + integer(50, 0, 1000)))
seed("minimise1d_fuzz", "quartic_no_derivatives",
     minimise1d([0, 0, -3, 0, 1], [-10, 10], INF, 0, [-100, 100],
                reals(-1, 1) + real(0) + integer(1000, 0, 1000) + reals(-2, 0, 2) +
                reals(5, -DBL_MAX, DBL_MAX, 1e-9, -DBL_MAX) + reals(0.5, -1, 3, 0) +
                integer(1000, 0, 1000)))
seed("minimise1d_fuzz", "nan_outside_window",
     minimise1d([1, -1], [-1, 1], NAN, 1, [0, 1],
                reals(0, 0.5) + real(NAN) + integer(10, 0, 1000) + reals(NAN, 0, INF) +
                reals(NAN, 1, -1, -1, 2) + reals(INF, -INF, INF, NAN) + integer(7, 0, 1000)))


# ---- multidim_fuzz: n, Q, g, w, r, outside; Powell start, [directions], tol; simplex start,
# speed; system A, b, c, start, iterations, tolerance ---------------------------------------
seed("multidim_fuzz", "bowl_2d",
     integer(2, 1, 4) + matrix([[2, 1], [1, 3]]) + reals(-1, 1) + reals(0, NAN, 0) +
     reals(5, -5) + flag(False) + real(1e-8) + reals(1, 1) + integer(2, 0, 5) +
     matrix([[2, 1], [1, 1]]) + reals(-3, -2) + reals(0, 0) + reals(0, 0) +
     integer(20, 0, 100) + real(1e-12))
seed("multidim_fuzz", "saddle_quartic_box",
     integer(3, 1, 4) + matrix([[1, 0, 0], [0, -2, 0], [0, 0, 1]]) + reals(0, 0, 1) +
     reals(0.25, 10, INF) + reals(1, 1, 1) + flag(True) +
     matrix([[0, 1, 0], [1, 0, 0], [0, 0, 0]]) + real(0) + reals(DBL_MAX, 0, 1) +
     integer(3, 0, 5) + matrix([[0, 1, 0], [1, 0, 0], [0, 0, 1]]) + reals(-1, 1, 0) +
     reals(1, 1, 1) + reals(1, -1, 1) + integer(100, 0, 100) + real(0))
seed("multidim_fuzz", "negative_minimum_1d",
     integer(1, 1, 4) + matrix([[2]]) + reals(-4) + reals(0, NAN, 0) + reals(0) + flag(False) +
     real(1e-3) + reals(10) + integer(0, 0, 5) + matrix([[0]]) + reals(-1) + reals(1) +
     reals(3) + integer(5, 0, 100) + real(NAN))


# ---- integrate_fuzz: degree, coefficients, window, outside, a, b, then (tol, steps) for the
# trapezoid, Simpson and Romberg, and the point sum's x0, dx, count --------------------------
def integrate(coefficients, window, outside, a, b, rules, point_sum):
    data = (integer(len(coefficients) - 1, 0, 6) + reals(*coefficients) + reals(*window) +
            real(outside) + reals(a, b))
    for tol, steps in rules:
        data += real(tol) + integer(steps, -1, 14)
    x0, dx, count = point_sum
    return data + reals(x0, dx) + integer(count, -2, 1000)


seed("integrate_fuzz", "cubic_on_unit",
     integrate([1, 0, -3, 1], [NAN, NAN], 0, 0, 1, [(1e-9, 14), (1e-12, 10), (1e-12, 8)],
               (0, 0.25, 5)))
seed("integrate_fuzz", "step_function_reversed",
     integrate([1], [-1, 1], 0, 2, -2, [(0, 14), (0, 14), (0, 14)], (-2, 0.5, 1000)))
seed("integrate_fuzz", "infinite_limits",
     integrate([0, 1], [NAN, NAN], 0, -INF, DBL_MAX, [(NAN, 5), (INF, 0), (1e-7, -1)],
               (NAN, INF, 3)))


# ---- surface_fuzz: scalar k[9], r, outside, domain (u, v pairs), max_deriv; patch (u, v
# pairs), set flag, periodic flags, tolerance, iterations, start; vector dimension,
# coefficients, second-derivative flag; patch, flags, tolerance, iterations, start ----------
def surface(k, r, outside, domain, max_deriv, patch, flags, tol, iterations, start):
    return (reals(*k) + reals(r, outside) + reals(*domain) + integer(max_deriv, 0, 2) +
            reals(*patch) + b"".join(flag(f) for f in flags) + real(tol) +
            integer(iterations, -1, 60) + reals(*start))


def vector_surface(rows, second, patch, flags, tol, iterations, start):
    data = integer(len(rows), 1, 3) + b"".join(reals(*r) for r in rows) + flag(second)
    return (data + reals(*patch) + b"".join(flag(f) for f in flags) + real(tol) +
            integer(iterations, -1, 60) + reals(*start))


torus_patch = [0, 2 * math.pi, 0, 2 * math.pi]
seed("surface_fuzz", "bowl_analytic",
     surface([2, 0.5, 1, -1, 2, 0, 0, 0, 0], NAN, 0, [-10, 10, -10, 10], 2,
             [0, 0, 0, 0], [False, False, False], 0, 50, [5, -5]) +
     vector_surface([[1, 0, 0, 0, 0, 1], [0, 1, 0, 0, 0, 2], [0, 0, 1, 0, 0, 3]], True,
                    [-5, 5, -5, 5], [True, False, False], 1e-12, 50, [0, 0]))
seed("surface_fuzz", "periodic_trigonometric",
     surface([0, 0, 0, 0, 0, 1, 0, -1, 0.5], 100, NAN, [-INF, INF, -INF, INF], 1,
             torus_patch, [True, True, True], 0, 60, [7, -1]) +
     vector_surface([[0, 0, 0, 1, 0, 0], [0, 0, 0, 0, 1, 0.5]], False, torus_patch,
                    [False, True, True], 0, 60, [1, 1]))
seed("surface_fuzz", "saddle_on_edge_no_derivatives",
     surface([1, 0, -1, 0, 0, 0, 0, 0, 0], 3, INF, [-1, 1, -2, 2], 0,
             [-1, 1, -DBL_MAX, DBL_MAX], [True, False, False], -1, 60, [NAN, 0]) +
     vector_surface([[1, 1, DBL_MAX, 0, 0, 0]], True, [NAN, NAN, 0, 0],
                    [True, False, False], INF, 10, [INF, -INF]))


# Inputs kept as the fuzzer found them (not spelled out above), which this script leaves as
# they are: surface_fuzz/surface_{periodic_wrap_overflow_nan, periodic_v_dbl_max_start,
# infinite_side_nan_result, infinite_patch_nan_start, zero_width_periodic}.


def main():
    root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
    for harness, seeds in sorted(CORPUS.items()):
        folder = os.path.join(root, harness)
        os.makedirs(folder, exist_ok=True)
        for name, data in sorted(seeds.items()):
            with open(os.path.join(folder, name), "wb") as f:
                f.write(data)
    print(sum(len(s) for s in CORPUS.values()), "seeds in", len(CORPUS), "harnesses")


if __name__ == "__main__":
    main()
