// A walk through paskosda in the order an engineer meets it: solve a linear system, fit,
// analyse, find roots and minima, and finally the building blocks underneath. Each section
// shows one capability with real results.
#include "tour.h"

#include <iomanip>
#include <iostream>

namespace tour {

Section::Section(const char* title) : flags_(std::cout.flags()), precision_(std::cout.precision()) {
  std::cout << "\n=== " << title << " ===\n";
}

Section::~Section() {
  std::cout.flags(flags_);
  std::cout.precision(precision_);
}

void Section::restore_flags() const { std::cout.flags(flags_); }

void vectors_and_matrices() {
  const Section section("Vectors, slices and matrices");

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

  const mlMatrix ata(mlMatrixProduct, mlMatrix(mlMatrixTranspose, a), a);
  std::cout << "A^T A =\n" << ata;

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

void arrays_and_scalar_helpers() {
  const Section section("Arrays, sorting and scalar helpers");

  // A paged array grows in blocks and never moves an element: pointers into it stay valid.
  doublecoPageArr lengths(2, 4, 4);  // blocks of 4 elements
  for (int i = 0; i < 10; ++i)
    lengths.append(1.0 / (i + 1));
  const double* third = &lengths[2];
  for (int i = 10; i < 100; ++i)
    lengths.append(1.0 / (i + 1));
  std::cout << "paged array of " << lengths.size() << " in blocks of " << lengths.block_size()
            << "; element 2 has not moved: " << (third == &lengths[2] ? "yes" : "no") << "\n";

  // Sorting: the permutation that orders a set of values, and a plain sort of ints.
  doublecoPageArr keys{4.0, -1.0, 9.0, 0.5};
  intcoPageArr order;
  doublecoQuickSortIndex(keys, order);
  std::cout << "keys 4, -1, 9, 0.5 in ascending order are at indices";
  for (int k = 0; k < order.size(); ++k)
    std::cout << ' ' << order[k];
  intcoDynArr ids{42, 7, 19, 7, 3};
  mlQuickSortDynArrInt().sort(&ids, ids.size());
  std::cout << "\nids 42, 7, 19, 7, 3 sorted:";
  for (int id : ids)
    std::cout << ' ' << id;
  std::cout << "\n";

  // Scalar helpers.
  std::cout << "7 clipped to [0, 5]: " << mlMath::clip_to_range(7.0, 0.0, 5.0)
            << "; 25% of the way from 10 to 20: " << mlMath::interpolate(0.25, 10, 20)
            << "\n3 in [0, 4] rescaled to [100, 200]: " << mlMath::rescale(3, 0, 4, 100, 200)
            << "\n";

  // The elementary functions: the platform's, or with PASKOSDA_PORTABLE_MATH the library's own,
  // which give the same bits on every machine. sin(1e22) needs an exact reduction by pi/2.
  const std::streamsize precision = std::cout.precision();
  std::cout << "elementary functions: "
            << (utMath::portable() ? "the library's own (the same bits everywhere)"
                                   : "the platform's")
            << "; sin(1e22) = " << std::setprecision(17) << utMath::sin(1e22)
            << ", pow(2, 0.5) = " << utMath::pow(2.0, 0.5) << "\n";
  std::cout.precision(precision);

  // Deterministic random numbers (the same sequence on every platform) and running
  // statistics.
  mlRandom random(2026);
  mlStats stats;
  for (int i = 0; i < 100000; ++i)
    stats.add(random.uniform());
  std::cout << "100000 uniform draws: mean " << stats.mean() << ", variance " << stats.variance()
            << " (exact: 0.5 and " << 1.0 / 12.0 << ")\n";
}

}  // namespace tour

int main() {
  std::cout << "paskosda tour: numerical mathematics for engineering, reproducible to the last "
               "bit\n";
  using namespace tour;
  lu_and_cholesky();
  qr_and_tridiagonal();
  singular_values();
  eigen_and_pca();
  functions_and_integrals();
  roots();
  polynomial_roots();
  powell_and_simplex();
  line_minimisation();
  circle_fit();
  constrained_quadratic();
  torus_projection();
  minimum_on_an_edge();
  sparse_matrices();
  vectors_and_matrices();
  arrays_and_scalar_helpers();
  return 0;
}
