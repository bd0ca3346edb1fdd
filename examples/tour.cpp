// A walk through paskosda: each section shows one capability with real results.
#include <paskosda.h>

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
  for (int i = 0; i < ax.dimension(); ++i) range.merge(ax[i]);
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

}  // namespace

int main() {
  std::cout << "paskosda tour\n";
  arrays_and_scalar_helpers();
  vectors_and_matrices();
  return 0;
}
