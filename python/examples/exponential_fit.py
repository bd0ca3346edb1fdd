"""Fit y = a exp(b x) to 50 noisy samples with Levenberg-Marquardt and plot the fit.

Usage: python3 exponential_fit.py [output.png]
"""
import math
import sys

import matplotlib

matplotlib.use('Agg')
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import paskosda  # noqa: E402


def main(path):
    # Samples of 2.5 exp(-1.3 x) with a deterministic ripple standing in for noise.
    x = np.array([0.1 * k for k in range(50)])
    y = np.array([2.5 * math.exp(-1.3 * x[k]) + 0.05 * math.sin(7.0 * k) for k in range(50)])

    def residual(p, k):
        return p[0] * math.exp(p[1] * x[k]) - y[k]

    def jacobian(p, k):
        e = math.exp(p[1] * x[k])
        return [e, p[0] * x[k] * e]

    fit = paskosda.levenberg_marquardt(residual, len(x), [1.0, 0.0], jacobian=jacobian)
    a, b = fit.x
    print(f'a = {a:.4f}, b = {b:.4f}, rms residual {math.sqrt(fit.fun):.4f} '
          f'after {fit.evaluations} calls')

    t = np.linspace(0.0, x[-1], 200)
    fig, ax = plt.subplots(figsize=(6, 4))
    ax.plot(x, y, 'o', ms=4, label='samples')
    ax.plot(t, a * np.exp(b * t), '-', label=f'{a:.3f} exp({b:.3f} x)')
    ax.set_xlabel('x')
    ax.set_ylabel('y')
    ax.set_title('Levenberg-Marquardt fit')
    ax.legend()
    fig.tight_layout()
    fig.savefig(path, dpi=100)
    print(f'plot written to {path}')


if __name__ == '__main__':
    main(sys.argv[1] if len(sys.argv) > 1 else 'exponential_fit.png')
