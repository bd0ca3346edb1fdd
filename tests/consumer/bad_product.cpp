// A program with a caller's error: a 2x3 matrix times a 4x2 one. Linked against a checked
// paskosda it must stop with a message naming the function and the sizes.
#include <paskosda.h>

#include <iostream>

int main() {
  const double a[] = {1, 2, 3, 4, 5, 6};
  const double b[] = {1, 2, 3, 4, 5, 6, 7, 8};
  mlMatrix c;
  multiply(mlMatrix(utConvert, a, 2, 3), mlMatrix(utConvert, b, 4, 2), c);
  std::cout << "not stopped: c is " << c.rows() << "x" << c.cols() << "\n";
  return 0;
}
