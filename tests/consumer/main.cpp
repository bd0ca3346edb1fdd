// A program outside the project that uses an installed paskosda.
#include <paskosda.h>

#include <iostream>

int main() {
  doublecoDynArr values{3.0, 1.0, 2.0};
  intcoDynArr order{2, 0, 1};
  mlQuickSortDynArrInt().sort(&order, order.size());
  std::cout << values;
  const bool ok = order[0] == 0 && order[2] == 2 && mlMath::interpolate(0.5, 3.0, 1.0) == 2.0;
  return ok ? 0 : 1;
}
