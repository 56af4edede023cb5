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

SFPlaneMeeting::SFPlaneMeeting(SFVector3 const& iStart, std::array<double, 6> const& iMatrix, SFVector3 const& iRight)
  : _start(iStart)
{
  auto const& [xx, xy, xz, yy, yz, zz] = iMatrix;
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
  std::array<std::size_t, 3> order{0, 1, 2};
  std::stable_sort(order.begin(), order.end(),
                   [&matrix](std::size_t iA, std::size_t iB) { return matrix[iA][iA] > matrix[iB][iB]; });
  for (std::size_t k = 0; k < 3; ++k) {
    std::size_t const column = order[k];
    _axes[k] = {vectors[0][column], vectors[1][column], vectors[2][column]};
    double const eigenvalue = matrix[column][column];
    if (_rank != k || !(eigenvalue > SFPlaneFit::Cutoff * matrix[order[0]][order[0]]))
      continue;
    _moves[k] = Dot(_axes[k], iRight) / eigenvalue;
    ++_rank;
  }
}

SFVector3 SFPlaneMeeting::Point(std::size_t iRank) const
{
  SFVector3 point = _start;
  for (std::size_t k = 0; k < iRank; ++k)
    point = point + _moves[k] * _axes[k];
  return point;
}

} // namespace SF
