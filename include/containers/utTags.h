#ifndef PASKOSDA_CONTAINERS_UTTAGS_H
#define PASKOSDA_CONTAINERS_UTTAGS_H

/// \file
/// Tag enumerations. Each selects a constructor or a `become` overload and carries no data:
/// `mlVector v(utCopy, w);`, `m.become(mlMatrixIdentity, 3);`. They are scoped so that a tag
/// never converts to an int and picks an unintended overload.

/// Deep copy of another object.
///@{
enum class utCopyTag { utCopy };
inline constexpr utCopyTag utCopy = utCopyTag::utCopy;
///@}

/// Construction from a raw array of doubles.
///@{
enum class utConvertTag { utConvert };
inline constexpr utConvertTag utConvert = utConvertTag::utConvert;
///@}

/// A vector of a given dimension, all 0.0.
///@{
enum class mlVectorZeroTag { mlVectorZero };
inline constexpr mlVectorZeroTag mlVectorZero = mlVectorZeroTag::mlVectorZero;
///@}

/// A vector of a given dimension, values unset.
///@{
enum class mlVectorDimTag { mlVectorDim };
inline constexpr mlVectorDimTag mlVectorDim = mlVectorDimTag::mlVectorDim;
///@}

/// The element-wise sum of two vectors.
///@{
enum class mlVectorAddTag { mlVectorAdd };
inline constexpr mlVectorAddTag mlVectorAdd = mlVectorAddTag::mlVectorAdd;
///@}

/// The element-wise difference of two vectors.
///@{
enum class mlVectorSubtractTag { mlVectorSubtract };
inline constexpr mlVectorSubtractTag mlVectorSubtract = mlVectorSubtractTag::mlVectorSubtract;
///@}

/// A matrix of a given shape, all 0.0.
///@{
enum class mlMatrixZeroTag { mlMatrixZero };
inline constexpr mlMatrixZeroTag mlMatrixZero = mlMatrixZeroTag::mlMatrixZero;
///@}

/// The identity matrix.
///@{
enum class mlMatrixIdentityTag { mlMatrixIdentity };
inline constexpr mlMatrixIdentityTag mlMatrixIdentity = mlMatrixIdentityTag::mlMatrixIdentity;
///@}

/// The Hilbert matrix, element (i, j) = 1 / (i + j + 1).
///@{
enum class mlMatrixHilbertTag { mlMatrixHilbert };
inline constexpr mlMatrixHilbertTag mlMatrixHilbert = mlMatrixHilbertTag::mlMatrixHilbert;
///@}

/// The product of two operands.
///@{
enum class mlMatrixProductTag { mlMatrixProduct };
inline constexpr mlMatrixProductTag mlMatrixProduct = mlMatrixProductTag::mlMatrixProduct;
///@}

/// The transpose of a matrix.
///@{
enum class mlMatrixTransposeTag { mlMatrixTranspose };
inline constexpr mlMatrixTransposeTag mlMatrixTranspose = mlMatrixTransposeTag::mlMatrixTranspose;
///@}

/// The product of the first operand's transpose with the second.
///@{
enum class mlMatrixPremultiplyTransposeTag { mlMatrixPremultiplyTranspose };
inline constexpr mlMatrixPremultiplyTransposeTag mlMatrixPremultiplyTranspose =
    mlMatrixPremultiplyTransposeTag::mlMatrixPremultiplyTranspose;
///@}

#endif  // PASKOSDA_CONTAINERS_UTTAGS_H
