#include "SFTangentPlanes.h"

#include <cmath>
#include <utility>

namespace SF {
namespace {

using Matrix3 = std::array<SFVector3, 3>;

/// Makes entry (p, q) of a symmetric matrix 0 by a rotation, which is applied to the columns of `ioVectors` too. (C. G. J.
/// Jacobi, 1846, in the form of Golub and Van Loan, "Matrix Computations", 1996, section 8.4.)
template <std::size_t P, std::size_t Q>
void Rotate(Matrix3& ioMatrix, Matrix3& ioVectors)
{
  double const off = ioMatrix[P][Q];
  if (off == 0.0)
    return;
  double const difference = ioMatrix[Q][Q] - ioMatrix[P][P];
  double const root = std::sqrt(difference * difference + 4.0 * off * off);
  double const t = 2.0 * off / (difference >= 0.0 ? difference + root : difference - root);
  double const c = 1.0 / std::sqrt(1.0 + t * t);
  double const s = t * c;
  ioMatrix[P][P] -= t * off;
  ioMatrix[Q][Q] += t * off;
  ioMatrix[P][Q] = ioMatrix[Q][P] = 0.0;
  constexpr std::size_t other = 3 - P - Q;
  double const p = ioMatrix[other][P];
  double const q = ioMatrix[other][Q];
  ioMatrix[other][P] = ioMatrix[P][other] = c * p - s * q;
  ioMatrix[other][Q] = ioMatrix[Q][other] = s * p + c * q;
  for (SFVector3& row : ioVectors) {
    double const x = row[P];
    double const y = row[Q];
    row[P] = c * x - s * y;
    row[Q] = s * x + c * y;
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
    Rotate<0, 1>(matrix, vectors);
    Rotate<0, 2>(matrix, vectors);
    Rotate<1, 2>(matrix, vectors);
  }
  std::array<std::size_t, 3> order{0, 1, 2};
  for (std::size_t const k : {0U, 1U, 0U})
    if (matrix[order[k + 1]][order[k + 1]] > matrix[order[k]][order[k]])
      std::swap(order[k], order[k + 1]);
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
