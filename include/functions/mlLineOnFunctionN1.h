#ifndef PASKOSDA_FUNCTIONS_MLLINEONFUNCTIONN1_H
#define PASKOSDA_FUNCTIONS_MLLINEONFUNCTIONN1_H

/// \file
/// `mlLineOnFunctionN1`, a scalar function of several variables restricted to a line, as line
/// searches see it.

#include "functions/mlFunction.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// g(t) = f(origin + t direction): a scalar function of a vector restricted to a line, the
/// form in which line searches see a function of several variables. The origin and the
/// direction are the caller's vectors, borrowed and read at every evaluation, so the caller
/// moves the line by changing them; they and f must outlive the line. Derivatives and domain
/// are the `mlFunction` defaults (no analytic derivative, unbounded).
class PASKOSDA_EXPORT mlLineOnFunctionN1 : public mlFunction {
 public:
  /// The line through `origin` along `direction` on f; the scratch point takes origin's
  /// present length.
  mlLineOnFunctionN1(const mlVector& origin, const mlVector& direction,
                     const mlFunctionN1* f) noexcept;
  // The line keeps references: temporaries would be gone before the first evaluation.
  mlLineOnFunctionN1(const mlVector&&, const mlVector&, const mlFunctionN1*) = delete;
  mlLineOnFunctionN1(const mlVector&, const mlVector&&, const mlFunctionN1*) = delete;
  /// Re-initialises as the constructor does. Returns this.
  mlLineOnFunctionN1& become(const mlVector& origin, const mlVector& direction,
                             const mlFunctionN1* f) noexcept;
  mlLineOnFunctionN1& become(const mlVector&&, const mlVector&, const mlFunctionN1*) = delete;
  mlLineOnFunctionN1& become(const mlVector&, const mlVector&&, const mlFunctionN1*) = delete;
  mlLineOnFunctionN1(const mlLineOnFunctionN1&) = delete;
  mlLineOnFunctionN1& operator=(const mlLineOnFunctionN1&) = delete;
  ~mlLineOnFunctionN1() override;

  /// f at the point with elements t * direction[k] + origin[k], over the scratch point's
  /// length, passed as a slice of the whole point.
  double function(double t) const override;

 private:
  const mlFunctionN1* function_ = nullptr;
  const mlVector* origin_ = nullptr;
  const mlVector* direction_ = nullptr;
  mutable mlVector point_;
};

#endif  // PASKOSDA_FUNCTIONS_MLLINEONFUNCTIONN1_H
