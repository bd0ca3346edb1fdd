// The sections of the tour, one function each, in the order main() calls them.
#ifndef PASKOSDA_EXAMPLES_TOUR_H
#define PASKOSDA_EXAMPLES_TOUR_H

#include <paskosda.h>

#include <ios>

namespace tour {

// Prints a section's heading; on leaving the section, puts std::cout's number format back.
class Section {
 public:
  explicit Section(const char* title);
  ~Section();
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;

  // Back to the flags (fixed, scientific, ...) the section started with; the precision stays.
  void restore_flags() const;

 private:
  std::ios_base::fmtflags flags_{};
  std::streamsize precision_ = 0;
};

void lu_and_cholesky();
void qr_and_tridiagonal();
void singular_values();
void eigen_and_pca();
void sparse_matrices();

void functions_and_integrals();
void roots();
void polynomial_roots();

void powell_and_simplex();
void line_minimisation();
void circle_fit();
void constrained_quadratic();
void torus_projection();
void minimum_on_an_edge();

void vectors_and_matrices();
void arrays_and_scalar_helpers();

}  // namespace tour

#endif  // PASKOSDA_EXAMPLES_TOUR_H
