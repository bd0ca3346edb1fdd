// Sparse matrices from and to (rows, cols, values) triplets and CSR arrays, and their
// products with vectors, dense matrices and each other.
#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "convert.h"

namespace paskosda_python {
namespace {

using Index = py::array_t<long long, py::array::c_style | py::array::forcecast>;

struct Entry {
  long long row, col;
  double value = 0.0;
};

std::pair<int, int> checked_shape(const std::pair<long long, long long>& shape) {
  const long long limit = std::numeric_limits<int>::max();
  if (shape.first < 0 || shape.second < 0 || shape.first > limit || shape.second > limit)
    throw py::value_error("shape must be two non-negative ints");
  return {static_cast<int>(shape.first), static_cast<int>(shape.second)};
}

// The library's rows must be filled in ascending column order, each (i, j) once: entries are
// sorted here, and duplicates or entries outside the shape are refused.
mlSparseMatrix build(std::vector<Entry>& entries, std::pair<int, int> shape) {
  for (const Entry& e : entries)
    if (e.row < 0 || e.row >= shape.first || e.col < 0 || e.col >= shape.second)
      throw py::value_error("entry (" + std::to_string(e.row) + ", " + std::to_string(e.col) +
                            ") lies outside the shape");
  std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
    return a.row != b.row ? a.row < b.row : a.col < b.col;
  });
  for (size_t k = 1; k < entries.size(); ++k)
    if (entries[k].row == entries[k - 1].row && entries[k].col == entries[k - 1].col)
      throw py::value_error("duplicate entry (" + std::to_string(entries[k].row) + ", " +
                            std::to_string(entries[k].col) + ")");
  mlSparseMatrix a(mlMatrixZero, shape.first, shape.second);
  for (const Entry& e : entries)
    a.set(static_cast<int>(e.row), static_cast<int>(e.col), e.value);
  return a;
}

void require_1d(const py::array& a, py::ssize_t n, const char* name) {
  if (a.ndim() != 1 || a.shape(0) != n)
    throw py::value_error(std::string(name) + " must be 1-D of length " + std::to_string(n));
}

mlSparseMatrix from_triplets(const Index& rows, const Index& cols, const Array& values,
                             std::pair<long long, long long> shape) {
  const py::ssize_t n = values.ndim() == 1 ? values.shape(0) : -1;
  require_1d(values, n, "values");
  require_1d(rows, n, "rows");
  require_1d(cols, n, "cols");
  std::vector<Entry> entries(static_cast<size_t>(n));
  for (py::ssize_t k = 0; k < n; ++k)
    entries[static_cast<size_t>(k)] = {rows.data()[k], cols.data()[k], values.data()[k]};
  return build(entries, checked_shape(shape));
}

mlSparseMatrix from_csr(const Index& indptr, const Index& indices, const Array& data,
                        std::pair<long long, long long> shape) {
  const auto dims = checked_shape(shape);
  require_1d(indptr, dims.first + 1, "indptr");
  const py::ssize_t n = data.ndim() == 1 ? data.shape(0) : -1;
  require_1d(data, n, "data");
  require_1d(indices, n, "indices");
  const long long* p = indptr.data();
  if (p[0] != 0 || p[dims.first] != n)
    throw py::value_error("indptr must start at 0 and end at len(data)");
  std::vector<Entry> entries(static_cast<size_t>(n));
  for (int i = 0; i < dims.first; ++i) {
    if (p[i + 1] < p[i]) throw py::value_error("indptr must not decrease");
    for (long long k = p[i]; k < p[i + 1]; ++k)
      entries[static_cast<size_t>(k)] = {i, indices.data()[k], data.data()[k]};
  }
  return build(entries, dims);
}

mlSparseMatrix from_dense(const Array& a) {
  const mlMatrix m = to_matrix(a, "a");
  mlSparseMatrix s(mlMatrixZero, m.rows(), m.cols());
  for (int i = 0; i < m.rows(); ++i)
    for (int j = 0; j < m.cols(); ++j)
      if (m(i, j) != 0.0) s.set(i, j, m(i, j));
  return s;
}

// Walks every stored entry in row order.
template <class Visit>
void for_each_entry(const mlSparseMatrix& a, Visit&& visit) {
  for (int i = 0; i < a.rows(); ++i) {
    mlSparseRowIT it = a.row_iterator(i);
    for (const mlSparseElement* e = it.advance(); e != nullptr; e = it.advance())
      visit(i, e->column(), e->value());
  }
}

py::tuple to_csr(const mlSparseMatrix& a) {
  const py::ssize_t nnz = a.num_non_zero_elements();
  py::array_t<long long> indptr(a.rows() + 1), indices(nnz);
  py::array_t<double> data(nnz);
  long long* p = indptr.mutable_data();
  p[0] = 0;
  long long k = 0;
  int last_row = 0;
  for_each_entry(a, [&](int i, int j, double v) {
    for (; last_row < i; ++last_row)
      p[last_row + 1] = k;
    indices.mutable_data()[k] = j;
    data.mutable_data()[k++] = v;
  });
  for (; last_row < a.rows(); ++last_row)
    p[last_row + 1] = k;
  return py::make_tuple(indptr, indices, data, py::make_tuple(a.rows(), a.cols()));
}

py::tuple to_triplets(const mlSparseMatrix& a) {
  const py::ssize_t nnz = a.num_non_zero_elements();
  py::array_t<long long> rows(nnz), cols(nnz);
  py::array_t<double> values(nnz);
  py::ssize_t k = 0;
  for_each_entry(a, [&](int i, int j, double v) {
    rows.mutable_data()[k] = i;
    cols.mutable_data()[k] = j;
    values.mutable_data()[k++] = v;
  });
  return py::make_tuple(rows, cols, values);
}

void require_inner(int cols, int rows) {
  if (cols != rows)
    throw py::value_error("inner dimensions differ: " + std::to_string(cols) + " columns, " +
                          std::to_string(rows) + " rows");
}

// A @ x for a 1-D or 2-D dense operand.
py::array_t<double> multiply_dense(const mlSparseMatrix& a, const Array& x) {
  if (x.ndim() == 2) {
    const mlMatrix m = to_matrix(x, "x");
    require_inner(a.cols(), m.rows());
    mlMatrix c;
    {
      py::gil_scoped_release release;
      a.multiply_matrix(m, c);
    }
    return from_matrix(c);
  }
  const mlVector v = to_vector(x, "x", a.cols());
  mlVector y;
  {
    py::gil_scoped_release release;
    a.multiply_vector(v, y);
  }
  return from_vector(y);
}

mlSparseMatrix multiply_sparse(const mlSparseMatrix& a, const mlSparseMatrix& b) {
  require_inner(a.cols(), b.rows());
  py::gil_scoped_release release;
  return mlSparseMatrix(mlMatrixProduct, a, b);
}

}  // namespace

void bind_sparse(py::module_& m) {
  using S = mlSparseMatrix;
  py::class_<S>(m, "SparseMatrix",
                "A general sparse matrix (mlSparseMatrix), one sorted row of (column, value) "
                "entries per row. Build it with from_triplets, from_csr or from_dense.")
      .def_static("from_triplets", &from_triplets, py::arg("rows"), py::arg("cols"),
                  py::arg("values"), py::arg("shape"),
                  "From (row, col, value) triplets in any order; duplicates raise ValueError.")
      .def_static("from_csr", &from_csr, py::arg("indptr"), py::arg("indices"), py::arg("data"),
                  py::arg("shape"), "From CSR arrays (as scipy.sparse.csr_matrix keeps them).")
      .def_static("from_dense", &from_dense, py::arg("a"), "The non-zero elements of a.")
      .def_property_readonly("shape", [](const S& a) { return py::make_tuple(a.rows(), a.cols()); })
      .def_property_readonly(
          "nnz", [](const S& a) { return a.num_non_zero_elements(); }, "The stored entries.")
      .def("element",
           [](const S& a, int i, int j) {
             if (i < 0 || i >= a.rows() || j < 0 || j >= a.cols())
               throw py::index_error("index outside the matrix");
             return a.element(i, j);
           })
      .def("to_csr", &to_csr, "(indptr, indices, data, shape).")
      .def("to_triplets", &to_triplets, "(rows, cols, values) in row order.")
      .def("to_dense",
           [](const S& a) {
             mlMatrix d;
             a.decompress(d);
             return from_matrix(d);
           })
      .def("transpose", [](const S& a) { return S(mlMatrixTranspose, a); })
      .def("multiply", &multiply_dense, py::arg("x"),
           "A x for a vector (multiply_vector) or a dense matrix (multiply_matrix).")
      .def("product", &multiply_sparse, py::arg("b"), "The sparse product A B.")
      .def("__matmul__", &multiply_sparse)
      .def("__matmul__", &multiply_dense);
}

}  // namespace paskosda_python
