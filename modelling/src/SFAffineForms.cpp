#include "SFAffineForms.h"

#include "SFBoxes.h"
#include "ZULMathTransformation.h"

#include <algorithm>
#include <cmath>

namespace SF::AffineForms {
namespace {

using Matrix = std::vector<std::vector<double>>;

double Dot(Form const& iA, Form const& iB) { return iA[0] * iB[0] + iA[1] * iB[1] + iA[2] * iB[2]; }

/// Row by row.
Matrix GramOfRows(std::vector<Form> const& iForms)
{
  Matrix gram(iForms.size(), std::vector<double>(iForms.size()));
  for (std::size_t i = 0; i < iForms.size(); ++i)
    for (std::size_t j = 0; j < iForms.size(); ++j)
      gram[i][j] = Dot(iForms[i], iForms[j]);
  return gram;
}

Matrix GramOfColumns(std::vector<Form> const& iForms)
{
  Matrix gram(3, std::vector<double>(3));
  for (Form const& form : iForms)
    for (std::size_t i = 0; i < 3; ++i)
      for (std::size_t j = 0; j < 3; ++j)
        gram[i][j] += form[i] * form[j];
  return gram;
}

struct Range
{
  double low = 0.0;
  double high = 0.0;
};

/// The eigenvalues of a symmetric matrix lie in it (Gershgorin's circles).
Range EigenvalueRange(Matrix const& iMatrix)
{
  Range range{Infinity, 0.0};
  for (std::size_t i = 0; i < iMatrix.size(); ++i) {
    double others = 0.0;
    for (std::size_t j = 0; j < iMatrix.size(); ++j)
      others += i == j ? 0.0 : std::abs(iMatrix[i][j]);
    range.low = std::fmin(range.low, iMatrix[i][i] - others);
    range.high = std::fmax(range.high, iMatrix[i][i] + others);
  }
  return range;
}

bool IsIdentity(Matrix const& iMatrix)
{
  for (std::size_t i = 0; i < iMatrix.size(); ++i)
    for (std::size_t j = 0; j < iMatrix.size(); ++j)
      if (!(std::abs(iMatrix[i][j] - (i == j ? 1.0 : 0.0)) <= Tolerance))
        return false;
  return true;
}

/// The point where three forms are 0.
bool FindZero(std::vector<Form> const& iForms, ZULMathPoint& oPoint)
{
  std::array<double, 12> coefficients{};
  for (std::size_t i = 0; i < 12; ++i)
    coefficients[i] = iForms[i / 4][i % 4];
  ZULMathTransformation inverse;
  if (Failed(ZULMathTransformation(coefficients.data(), 12).ComputeInverse(inverse)))
    return false;
  oPoint = inverse * ZULMathPoint();
  return std::isfinite(oPoint.x) && std::isfinite(oPoint.y) && std::isfinite(oPoint.z);
}

} // namespace

Form Sum(Form const& iA, double iFactor, Form const& iB)
{
  Form sum{};
  for (std::size_t i = 0; i < sum.size(); ++i)
    sum[i] = iA[i] + iFactor * iB[i];
  return sum;
}

bool CollectSquares(SFFieldNode const& iNode, std::vector<SFFieldNode const*>& oTerms)
{
  constexpr std::size_t most = 16;
  std::vector<SFFieldNode const*> open{&iNode};
  while (!open.empty() && open.size() + oTerms.size() <= most) {
    SFFieldNode const& node = *open.back();
    open.pop_back();
    SFFieldNode const* const a = node.GetOperand(0).Get();
    SFFieldNode const* const b = node.GetOperand(1).Get();
    bool const isSquare = node.GetType() == SFNodeType::SQUARE || (node.GetType() == SFNodeType::MULT && a == b) ||
                          (node.GetType() == SFNodeType::POW && b->IsConstant(2.0));
    if (isSquare)
      oTerms.push_back(a);
    else if (node.GetType() == SFNodeType::PLUS)
      open.insert(open.end(), {a, b});
    else
      return false;
  }
  return open.empty();
}

SFFieldFacts NormFacts(std::vector<Form> const& iForms)
{
  Matrix const rows = GramOfRows(iForms);
  Range const byRows = EigenvalueRange(rows);
  Range const byColumns = EigenvalueRange(GramOfColumns(iForms));
  SFFieldFacts facts;
  facts.lipschitz = std::sqrt(std::fmin(byRows.high, byColumns.high)) * Margin;
  facts.isDistance = IsIdentity(rows);
  // Three independent forms vanish in one point, and the norm grows with the distance from it.
  double const slope = std::fmax(iForms.size() == 3 ? byRows.low : 0.0, byColumns.low);
  ZULMathPoint centre;
  if (iForms.size() == 3 && slope > 0.0 && FindZero(iForms, centre)) {
    facts.bounds = Boxes::Grown({centre, centre}, 0.0);
    facts.growth = std::sqrt(slope) / Margin;
  }
  return facts;
}

} // namespace SF::AffineForms
