// A walk through paskosda: each section shows one capability with real results.
#include <paskosda.h>

#include <iomanip>
#include <iostream>

namespace {

void section(const char* title) { std::cout << "\n=== " << title << " ===\n"; }

void arrays_and_scalar_helpers() {
  section("Arrays and scalar helpers");

  // A growable array: operator[] past the end grows it; the increment sets the growth step.
  doublecoDynArr samples(0, 4);
  for (int i = 0; i < 5; ++i)
    samples[i] = 0.5 * i * i;
  std::cout << "samples, printed in the container format:\n" << samples;

  // A paged array keeps element addresses stable while it grows.
  doublecoPageArr lengths(2, 4, 4);  // blocks of 4 elements
  for (int i = 0; i < 10; ++i)
    lengths.append(1.0 / (i + 1));
  const double* third = &lengths[2];
  for (int i = 10; i < 100; ++i)
    lengths.append(1.0 / (i + 1));
  std::cout << "paged array of " << lengths.size() << " in blocks of " << lengths.block_size()
            << "; element 2 has not moved: " << (third == &lengths[2] ? "yes" : "no") << "\n";

  // Sorting an index by values: the permutation that orders the values.
  doublecoPageArr keys{4.0, -1.0, 9.0, 0.5};
  intcoPageArr order;
  doublecoQuickSortIndex(keys, order);
  std::cout << "keys 4, -1, 9, 0.5 in ascending order are at indices";
  for (int k = 0; k < order.size(); ++k)
    std::cout << ' ' << order[k];
  std::cout << "\n";

  intcoDynArr ids{42, 7, 19, 7, 3};
  mlQuickSortDynArrInt().sort(&ids, ids.size());
  std::cout << "sorted ids:";
  for (int id : ids)
    std::cout << ' ' << id;
  std::cout << "\n";

  // Scalar helpers.
  std::cout << "clip 7 to [0, 5]: " << mlMath::clip_to_range(7.0, 0.0, 5.0) << "\n";
  std::cout << "interpolate 25% of the way from 10 to 20: " << mlMath::interpolate(0.25, 10, 20)
            << "\n";
  std::cout << "rescale 3 from [0, 4] to [100, 200]: " << mlMath::rescale(3, 0, 4, 100, 200)
            << "\n";
  std::cout << "5th derivative of sin at 0: " << mlMath::sin_derivative(5, 0.0) << "\n";
  std::cout << "C(10, 3) = " << utMath::n_choose_i(10, 3) << ", 1.5^3 = " << utMath::pow(1.5, 3)
            << "\n";
  bool overflow = false;
  const int narrowed = ut_numeric_cast<int>(utUInt64{3000000000u}, overflow);
  std::cout << "3000000000 as an int: " << narrowed << " (overflow " << std::boolalpha << overflow
            << ")\n";

  // Deterministic random numbers and running statistics.
  mlRandom random(2026);
  mlStats stats;
  for (int i = 0; i < 100000; ++i)
    stats.add(random.uniform());
  std::cout << "100000 uniform draws: mean " << stats.mean() << ", variance " << stats.variance()
            << " (exact: 0.5 and " << 1.0 / 12.0 << ")\n";
}

void vectors_and_matrices() {
  section("Vectors, slices and matrices");

  // A 3x3 matrix read row by row; rows, columns and the diagonal are views of its storage.
  const double elements[] = {4, -2, 1, -2, 4, -2, 1, -2, 4};
  mlMatrix a(utConvert, elements, 3, 3);
  std::cout << "A =\n" << a;
  std::cout << "row 1 " << a.row(1) << ", column 2 " << a.col(2) << ", diagonal " << a.diagonal()
            << "\n";

  mlVector x(mlVectorZero, 3);
  x[0] = 1.0;
  x[1] = 2.0;
  x[2] = 3.0;
  const mlVector ax(mlMatrixProduct, a, x);
  std::cout << "x = " << x << "A x = " << ax;
  std::cout << "x . Ax = " << scalar_product(x, ax) << ", |x| = " << x.modulus() << "\n";

  const mlMatrix a2(mlMatrixProduct, a, a);
  std::cout << "A squared =\n" << a2;
  const mlMatrix h(mlMatrixHilbert, 4);
  std::cout << "the 4x4 Hilbert matrix =\n" << h;

  mlRange range;
  for (int i = 0; i < ax.dimension(); ++i)
    range.merge(ax[i]);
  std::cout << "A x spans [" << range.min() << ", " << range.max() << "]; 5 sits at "
            << range.position_in_range(5.0) << " of the way\n";

  // Tiny vectors: fixed-size points and directions, no allocation.
  const mlTinyVector3 u(1, 0, 0), v(0.6, 0.8, 0);
  mlTinyVector3 normal;
  normal.vector_product(u, v);
  mlTinyVector3 halfway;
  halfway.interpolate(u, v, 0.5);
  std::cout << "u x v = " << normal << ", halfway " << halfway << ", |halfway| "
            << halfway.modulus() << "\n";
}

void functions_section() {
  section("Functions, derivatives and integration");
  const std::ios_base::fmtflags flags = std::cout.flags();
  const std::streamsize precision = std::cout.precision();

  // A caller's function: derive from mlFunction and implement `function`. This one counts
  // its evaluations.
  class Sine : public mlFunction {
   public:
    double function(double t) const override {
      ++evaluations;
      return utMath::sin(t);
    }
    mutable long evaluations = 0;
  };
  const Sine sine;

  // The three integrators share one interface; each halves the step until two successive
  // estimates differ by less than the tolerance.
  const mlIntegrateTrapezoid trapezoid(1e-10, 20);
  const mlIntegrateSimpson simpson(1e-10, 20);
  const mlIntegrateRomberg romberg(1e-10, 20);
  struct Rule {
    const char* name;
    const mlIntegrate* rule;
  };
  const Rule rules[] = {
      {"trapezoid", &trapezoid}, {"Simpson  ", &simpson}, {"Romberg  ", &romberg}};
  std::cout << "integral of sin over [0, pi] (exactly 2), tolerance 1e-10:\n";
  for (const Rule& r : rules) {
    sine.evaluations = 0;
    const double value = r.rule->integrate(sine, 0.0, utMath::pi());
    std::cout << "  " << r.name << "  " << std::fixed << std::setprecision(15) << value
              << "  error " << std::scientific << std::setprecision(2) << value - 2.0 << "  "
              << std::setw(6) << sine.evaluations << " evaluations\n";
    std::cout.flags(flags);
  }
  std::cout << "  converged: " << trapezoid.converged() << " " << simpson.converged() << " "
            << romberg.converged() << "\n";

  // A derivative by a one-sided difference, for functions without an analytic one.
  const mlFunctionApproxDeriv slope(sine, 1e-6);
  std::cout << std::setprecision(10)
            << "d/dt sin at t = 1 by a forward difference of 1e-6: " << slope.function(1.0)
            << " (cos 1 = " << utMath::cos(1.0) << ")\n";

  // A scalar function of a vector gets central-difference gradients and Hessians for free.
  // f(x, y) = x^2 y + 3 y^2 - x.
  class Bowl : public mlFunctionN1 {
   public:
    Bowl() : mlFunctionN1(2) {}
    double function(const mlSlice& p) const override {
      return p[0] * p[0] * p[1] + 3.0 * p[1] * p[1] - p[0];
    }
  };
  const Bowl bowl;
  mlVector at(mlVectorDim, 2);
  at[0] = 1.5;
  at[1] = -0.5;
  mlVector gradient;
  mlMatrix hessian;
  bowl.gradient(at.slice(), gradient);
  bowl.hessian(at.slice(), hessian);
  const double x = at[0], y = at[1];
  std::cout << "f(x, y) = x^2 y + 3 y^2 - x at (1.5, -0.5):\n"
            << "  gradient numerical (" << gradient[0] << ", " << gradient[1] << ")"
            << "  analytic (" << 2.0 * x * y - 1.0 << ", " << x * x + 6.0 * y << ")\n"
            << "  Hessian  numerical ((" << hessian(0, 0) << ", " << hessian(0, 1) << "), ("
            << hessian(1, 0) << ", " << hessian(1, 1) << "))\n"
            << "           analytic  ((" << 2.0 * y << ", " << 2.0 * x << "), (" << 2.0 * x << ", "
            << 6.0 << "))\n"
            << "  (steps of 1.19e-7 and 1e-7: the second differences keep only a few digits)\n";
  std::cout.flags(flags);
  std::cout.precision(precision);
}

void svd_section() {
  section("Singular value decomposition and least squares");

  // Fit y = c0 + c1 t + c2 t^2 to six measurements: six equations, three unknowns.
  const double t[] = {0, 1, 2, 3, 4, 5};
  const double y[] = {1.1, 1.9, 5.2, 10.1, 16.8, 26.0};
  mlMatrix a(6, 3);
  mlVector b(mlVectorDim, 6);
  for (int i = 0; i < 6; ++i) {
    a(i, 0) = 1.0;
    a(i, 1) = t[i];
    a(i, 2) = t[i] * t[i];
    b[i] = y[i];
  }
  const mlSingularValueDecomposition svd(a);
  std::cout << "A = U diag(s) V^T with s = " << svd.diagonal();
  std::cout << "rank at tolerance 1e-7: " << svd.rank(1e-7) << "\n";

  // The pseudo-inverse gives the least-squares solution.
  mlVector c;
  svd.solve(b, c);
  std::cout << "least-squares coefficients c0, c1, c2: " << c;
  mlVector fitted(mlMatrixProduct, a, c);
  fitted -= b;
  std::cout << "residual norm: " << fitted.modulus() << "\n";

  // Add a column that repeats t: the matrix loses rank, and the pseudo-inverse returns the
  // solution of least norm, sharing the slope between the two equal columns.
  mlMatrix redundant(6, 4);
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j < 3; ++j)
      redundant(i, j) = a(i, j);
    redundant(i, 3) = t[i];
  }
  const mlSingularValueDecomposition deficient(redundant);
  std::cout << "with a repeated column, s = " << deficient.diagonal();
  std::cout << "rank " << deficient.rank(1e-7) << ", singular: " << deficient.is_singular(1e-7)
            << "\n";
  mlVector d;
  deficient.solve(b, d);
  std::cout << "minimum-norm coefficients: " << d;
}

}  // namespace

int main() {
  std::cout << "paskosda tour\n";
  arrays_and_scalar_helpers();
  vectors_and_matrices();
  svd_section();
  functions_section();
  return 0;
}
