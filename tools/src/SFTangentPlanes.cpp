#include "SFTangentPlanes.h"

#include <algorithm>
#include <utility>

namespace SF {
namespace {

using Matrix3 = std::array<SFVector3, 3>;

/// Makes entry (p, q) of a symmetric matrix 0 by a rotation, which is applied to the columns of `ioVectors` too. (C. G. J.
/// Jacobi, 1846, in the form of Golub and Van Loan, "Matrix Computations", 1996, section 8.4.)
void Rotate(Matrix3& ioMatrix, Matrix3& ioVectors, std::size_t iP, std::size_t iQ)
{
  double const off = ioMatrix[iP][iQ];
  if (off == 0.0)
    return;
  double const tau = (ioMatrix[iQ][iQ] - ioMatrix[iP][iP]) / (2.0 * off);
  double const root = std::sqrt(1.0 + tau * tau);
  double const t = 1.0 / (tau >= 0.0 ? tau + root : tau - root);
  double const c = 1.0 / std::sqrt(1.0 + t * t);
  double const s = t * c;
  for (std::size_t k = 0; k < 3; ++k) {
    double const a = ioMatrix[k][iP];
    double const b = ioMatrix[k][iQ];
    ioMatrix[k][iP] = c * a - s * b;
    ioMatrix[k][iQ] = s * a + c * b;
  }
  for (std::size_t k = 0; k < 3; ++k) {
    double const a = ioMatrix[iP][k];
    double const b = ioMatrix[iQ][k];
    ioMatrix[iP][k] = c * a - s * b;
    ioMatrix[iQ][k] = s * a + c * b;
    double const x = ioVectors[k][iP];
    double const y = ioVectors[k][iQ];
    ioVectors[k][iP] = c * x - s * y;
    ioVectors[k][iQ] = s * x + c * y;
  }
}

} // namespace

void SFPlaneFit::Add(SFTangentPlane const& iPlane)
{
  SFVector3 const& n = iPlane.normal;
  double const distance = iPlane.offset - Dot(n, _start);
  std::size_t entry = 0;
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = i; j < 3; ++j)
      _matrix[entry++] += n[i] * n[j];
    _right[i] += n[i] * distance;
  }
}

SFVector3 SFPlaneFit::Solve() const
{
  auto const& [xx, xy, xz, yy, yz, zz] = _matrix;
  Matrix3 matrix{{{xx, xy, xz}, {xy, yy, yz}, {xz, yz, zz}}};
  Matrix3 vectors{{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};
  double const negligible = 1e-15 * (xx + yy + zz);
  for (int sweep = 0; sweep < 12; ++sweep) {
    if (std::abs(matrix[0][1]) + std::abs(matrix[0][2]) + std::abs(matrix[1][2]) <= negligible)
      break;
    Rotate(matrix, vectors, 0, 1);
    Rotate(matrix, vectors, 0, 2);
    Rotate(matrix, vectors, 1, 2);
  }
  double const largest = std::max({matrix[0][0], matrix[1][1], matrix[2][2]});
  SFVector3 solution = _start;
  for (std::size_t k = 0; k < 3; ++k)
    if (matrix[k][k] > Cutoff * largest) {
      SFVector3 const axis{vectors[0][k], vectors[1][k], vectors[2][k]};
      solution = solution + (Dot(axis, _right) / matrix[k][k]) * axis;
    }
  return solution;
}

} // namespace SF
