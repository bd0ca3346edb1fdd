// Eigen-analysis: principal stresses of a symmetric stress tensor, the closed-form solvers for
// general 2 by 2 and 3 by 3 matrices, and the principal axis of a point cloud (PCA).
#include <paskosda.h>

#include <cmath>
#include <iostream>

namespace {

// The largest |A v - lambda v| over the eigenpairs the solver found.
double largest_residual(const mlMatrix& a, const mlEigenVecs& solver) {
  double worst = 0.0;
  for (int k = 0; k < solver.num_real_eigen_values(); ++k) {
    const mlSlice v = solver.eigen_vector(k);
    mlVector av;
    multiply(a, v, av);
    for (int i = 0; i < av.dimension(); ++i)
      worst = std::fmax(worst, std::fabs(av[i] - solver.eigen_value(k) * v[i]));
  }
  return worst;
}

}  // namespace

int main() {
  // A stress tensor in MPa. Its eigenvalues are the principal stresses, largest magnitude
  // first; its eigenvectors the principal directions, one per column (up to sign
  // (2, 1, 1)/sqrt 6, (0, -1, 1)/sqrt 2 and (1, -1, -1)/sqrt 3).
  const double sigma_elements[] = {30, 10, 10, 10, 0, 20, 10, 20, 0};
  const mlMatrix sigma(utConvert, sigma_elements, 3, 3);
  mlSymEigenVecs principal(sigma);
  principal.set_tolerance(1e-12);
  principal.calculate();
  mlVector stresses;
  principal.eigen_values(stresses);
  std::cout << "stress tensor (MPa) =\n"
            << sigma << "status " << principal.status() << " (2 = ok), principal stresses "
            << stresses << "principal directions, one per column:\n"
            << principal.eigen_vectors()
            << "largest |S v - lambda v| = " << largest_residual(sigma, principal) << "\n\n";

  // x'' + 3 x' + 2 x = 0 as a first-order system: the eigenvalues of its matrix are the decay
  // rates of its two modes, e^(-2t) along (1, -2) and e^(-t) along (1, -1).
  const double system_elements[] = {0, 1, -2, -3};
  const mlMatrix system(utConvert, system_elements, 2, 2);
  mlAsymEigenVecs2 modes(system);
  modes.calculate();
  mlVector rates;
  modes.eigen_values(rates);
  std::cout << "x'' + 3x' + 2x = 0, system matrix [[0, 1], [-2, -3]]: eigenvalues " << rates
            << "modes, one per column:\n"
            << modes.eigen_vectors()
            << "largest |A v - lambda v| = " << largest_residual(system, modes) << "\n\n";

  // A rotation by 120 degrees about (1, 1, 1): of its three eigenvalues only 1 is real (the
  // other two are complex and not reported), and its eigenvector is the rotation axis.
  const double rotation_elements[] = {0, 0, 1, 1, 0, 0, 0, 1, 0};
  const mlMatrix rotation(utConvert, rotation_elements, 3, 3);
  mlAsymEigenVecs3 turn(rotation);
  turn.calculate();
  std::cout << "rotation [[0, 0, 1], [1, 0, 0], [0, 1, 0]]: " << turn.num_real_eigen_values()
            << " real eigenvalue " << turn.eigen_value(0) << "\n  axis " << turn.eigen_vector(0)
            << " (1/sqrt 3 = " << 1.0 / std::sqrt(3.0) << ")\n\n";

  // PCA of 200 points scattered about the line through (1, 0, -1) along (1, 2, 2)/3: the
  // principal axis recovers the line's direction, the mass centre a point on it.
  const double direction[3] = {1.0 / 3, 2.0 / 3, 2.0 / 3};
  mlRandom random(7);
  doublecoDynArr2D cloud;
  for (int i = 0; i < 200; ++i) {
    const double t = random.uniform(-5.0, 5.0);
    cloud(i, 0) = 1.0 + t * direction[0] + random.uniform(-0.05, 0.05);
    cloud(i, 1) = 0.0 + t * direction[1] + random.uniform(-0.05, 0.05);
    cloud(i, 2) = -1.0 + t * direction[2] + random.uniform(-0.05, 0.05);
  }
  const mlPCA pca(cloud);
  mlVector axis;
  pca.principal_axis(axis);
  const double cosine =
      std::fabs(axis[0] * direction[0] + axis[1] * direction[1] + axis[2] * direction[2]);
  const doublecoDynArr& centre = pca.mass_centre();
  std::cout << "PCA of 200 points along (1, 2, 2)/3, status " << pca.status() << " (1 = ok)\n"
            << "mass centre (" << centre[0] << ", " << centre[1] << ", " << centre[2] << ")\n"
            << "variances (expected about 8.33, 0.00083, 0.00083) " << pca.eigenvalues()
            << "principal axis " << axis
            << "angle to the line: " << std::acos(std::fmin(cosine, 1.0)) * 180.0 / utMath::pi()
            << " degrees\n";
  return 0;
}
