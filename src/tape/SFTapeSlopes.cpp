#include "tape/SFTapeSlopes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace SF {
namespace {

using Vector = std::array<double, 3>;

constexpr double Infinity = SFInterval::Infinity;
/// Twice the unit roundoff, which leaves room for the rounding of the bounds themselves.
constexpr double Epsilon = std::numeric_limits<double>::epsilon();
constexpr double Tiny = 0x1p-1000; ///< above all that underflow can do
constexpr double Margin = 1.0 + 1e-12;

double Length(Vector const& iVector)
{
  return std::sqrt(iVector[0] * iVector[0] + iVector[1] * iVector[1] + iVector[2] * iVector[2]);
}

Vector Sum(Vector const& iA, double iFactor, Vector const& iB)
{
  return {iA[0] + iFactor * iB[0], iA[1] + iFactor * iB[1], iA[2] + iFactor * iB[2]};
}

using Matrix = std::array<Vector, 3>;

double LargestEntry(Matrix const& iMatrix)
{
  double largest = 0.0;
  for (Vector const& row : iMatrix)
    for (double const entry : row)
      largest = std::max(largest, std::abs(entry));
  return largest;
}

Matrix Squared(Matrix const& iMatrix, double iScale)
{
  Matrix square{};
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 3; ++j)
      for (std::size_t k = 0; k < 3; ++k)
        square[i][j] += iMatrix[i][k] * iScale * iMatrix[k][j] * iScale;
  return square;
}

} // namespace

double NormBound(std::span<std::array<double, 3> const> iRows)
{
  Matrix gram{};
  for (Vector const& row : iRows)
    for (std::size_t i = 0; i < 3; ++i)
      for (std::size_t j = 0; j < 3; ++j)
        gram[i][j] += row[i] * row[j];
  double inRow = 0.0;      // no eigenvalue is above a sum of magnitudes of a row,
  double onDiagonal = 0.0; // the largest one not below an entry of the diagonal
  for (std::size_t i = 0; i < 3; ++i) {
    inRow = std::max(inRow, std::abs(gram[i][0]) + std::abs(gram[i][1]) + std::abs(gram[i][2]));
    onDiagonal = std::max(onDiagonal, gram[i][i]);
  }
  if (!(inRow < Infinity) || inRow <= 1.005 * onDiagonal)
    return std::sqrt(inRow) * Margin;
  // The trace of a power is not below that of the largest eigenvalue, and at most three times as large.
  constexpr int squarings = 7;
  double scale = 1.0; // of the matrix, to the power at hand
  double power = 1.0;
  for (int i = 0; i < squarings; ++i) {
    double const largest = LargestEntry(gram);
    scale *= std::pow(largest, 1.0 / power);
    gram = Squared(gram, 1.0 / largest);
    power *= 2.0;
  }
  return std::sqrt(scale * std::pow(gram[0][0] + gram[1][1] + gram[2][2], 1.0 / power)) * Margin;
}

namespace {

/// Along a tape, one value after the other.
class Slopes
{
public:
  Slopes(SFTape const& iTape, std::span<SFInterval const> iRanges, std::span<char const> iNeeded)
    : _tape(iTape), _ranges(iRanges), _needed(iNeeded), _slopes(iTape.instructions.size()),
      _forms(iTape.instructions.size(), None), _squares(iTape.instructions.size(), None)
  {
  }

  std::vector<SFSlope> Run()
  {
    std::vector<SFStatedBound> stated = _tape.bounds;
    std::sort(stated.begin(), stated.end(), [](auto const& a, auto const& b) { return a.value < b.value; });
    auto next = stated.begin();
    for (SFValueId id = 0; id < _slopes.size(); ++id) {
      if (!_needed.empty() && _needed[id] == 0)
        continue;
      _at = id;
      SFTapeInstruction const& instruction = _tape.instructions[id];
      Derive(instruction);
      SFSlope& slope = _slopes[id];
      if (_ranges[id].nan) // a choice may pass over a NaN at one point and not at another
        slope.error = Infinity;
      ForFirstTwo(instruction,
                  [&](SFValueId iOperand) { slope.isStated = slope.isStated || _slopes[iOperand].isStated; });
      while (next != stated.end() && next->value < id)
        ++next;
      for (; next != stated.end() && next->value == id; ++next)
        if (next->lipschitz < slope.lipschitz) {
          slope.lipschitz = next->lipschitz;
          slope.isStated = true;
        }
    }
    return std::move(_slopes);
  }

private:
  static constexpr std::uint32_t None = UINT32_MAX;
  static constexpr std::size_t MostPieces = 6;
  static constexpr std::size_t MostSquares = 4;

  /// gradient . p + factor (value number `kink`) + a constant. The entries are off by no more than `slack` in sum.
  struct Form
  {
    Vector gradient{};
    SFValueId kink = None;
    double factor = 0.0;
    double slack = 0.0;
  };
  /// The gradients of the pieces of a value.
  struct Pieces
  {
    std::vector<Vector> gradients;
    double slack = 0.0;
  };
  /// The values of which a value is the sum of the squares.
  struct Squares
  {
    std::array<SFValueId, MostSquares> values{};
    std::size_t count = 0;
  };

  template <class Call>
  static void ForFirstTwo(SFTapeInstruction const& iInstruction, Call iCall)
  {
    for (std::size_t i = 0; i < static_cast<std::size_t>(std::min(2, ArityOf(iInstruction.code))); ++i)
      iCall(iInstruction.operands[i]);
  }

  double Magnitude(SFValueId iId) const { return std::max(std::abs(_ranges[iId].lo), std::abs(_ranges[iId].hi)); }
  double Rounding() const { return Epsilon * Magnitude(_at) + Tiny; }
  bool IsConstant(SFValueId iId) const { return _tape.instructions[iId].code == CodeOf(SFNodeType::CONSTANT); }
  double ConstantOf(SFValueId iId) const { return _tape.instructions[iId].constant; }

  void Derive(SFTapeInstruction const& iInstruction)
  {
    SFSlope& slope = _slopes[_at];
    if (IsCoordinateCode(iInstruction.code)) {
      Form form;
      form.gradient[AxisOf(iInstruction.code)] = 1.0;
      slope.error = 0.0;
      return SetForm(form);
    }
    if (iInstruction.code == CodeOf(SFNodeType::CONSTANT) || iInstruction.code == LimitCode) {
      SFInterval const range = _ranges[_at];
      slope.error = 0.0;
      if (range.lo >= 0.0)
        slope.ofRoot = 0.0;
      return SetForm({});
    }
    if (IsOperatorCode(iInstruction.code)) {
      SetError(iInstruction);
      SetBounds(iInstruction);
    }
  }

  // ---- affine functions and pieces of them ----------------------------------------------------------------------

  Form const* FormOf(SFValueId iId) const { return _forms[iId] != None ? &_formList[_forms[iId]] : nullptr; }

  void SetForm(Form const& iForm)
  {
    _forms[_at] = static_cast<std::uint32_t>(_formList.size());
    _formList.push_back(iForm);
    double largest = 0.0;
    ForGradients(iForm, [&](Vector const& iGradient) { largest = std::max(largest, Length(iGradient)); });
    _slopes[_at].lipschitz = largest * Margin + SlackOf(iForm);
  }

  double SlackOf(Form const& iForm) const
  {
    return iForm.slack + (iForm.kink == None ? 0.0 : std::abs(iForm.factor) * PiecesOf(iForm.kink).slack);
  }

  Pieces const& PiecesOf(SFValueId iKink) const { return _pieces[NumberOf(iKink)]; }

  template <class Call>
  void ForGradients(Form const& iForm, Call iCall) const
  {
    if (iForm.kink == None)
      return iCall(iForm.gradient);
    for (Vector const& gradient : PiecesOf(iForm.kink).gradients)
      iCall(Sum(iForm.gradient, iForm.factor, gradient));
  }

  /// iA + iFactor iB, where at most one value with pieces is left.
  bool Combine(Form const& iA, double iFactor, Form const& iB)
  {
    if (iA.kink != None && iB.kink != None && iA.kink != iB.kink)
      return false;
    Form form{Sum(iA.gradient, iFactor, iB.gradient), iA.kink != None ? iA.kink : iB.kink,
              iA.factor + iFactor * iB.factor, 0.0};
    form.slack = iA.slack + std::abs(iFactor) * iB.slack + Epsilon * MagnitudeOf(iA) +
                 Epsilon * std::abs(iFactor) * MagnitudeOf(iB);
    if (!(MagnitudeOf(form) < Infinity))
      return false;
    SetForm(form);
    return true;
  }

  static double MagnitudeOf(Form const& iForm)
  {
    return std::abs(iForm.gradient[0]) + std::abs(iForm.gradient[1]) + std::abs(iForm.gradient[2]) +
           std::abs(iForm.factor);
  }

  /// The value is at each point one of two, each perhaps negated.
  void SetPieces(std::span<std::pair<SFValueId, double> const> iValues)
  {
    Pieces pieces;
    for (auto const& [id, sign] : iValues) {
      Form const* const form = FormOf(id);
      if (form == nullptr)
        return;
      pieces.slack = std::max(pieces.slack, SlackOf(*form));
      double const factor = sign;
      ForGradients(*form, [&](Vector const& iGradient) {
        Vector const gradient = Sum({}, factor, iGradient);
        if (std::find(pieces.gradients.begin(), pieces.gradients.end(), gradient) == pieces.gradients.end())
          pieces.gradients.push_back(gradient);
      });
    }
    if (pieces.gradients.size() > MostPieces)
      return;
    _kinks.push_back(_at);
    _pieces.push_back(std::move(pieces));
    Form form;
    form.kink = _at;
    form.factor = 1.0;
    SetForm(form);
  }

  std::size_t NumberOf(SFValueId iKink) const
  {
    return static_cast<std::size_t>(std::lower_bound(_kinks.begin(), _kinks.end(), iKink) - _kinks.begin());
  }

  // ---- sums of squares ------------------------------------------------------------------------------------------

  void SetSquares(Squares const& iSquares)
  {
    _squares[_at] = static_cast<std::uint32_t>(_squareList.size());
    _squareList.push_back(iSquares);
    _slopes[_at].ofRoot = std::min(_slopes[_at].ofRoot, LengthBound(iSquares));
  }

  void AddSquares(SFValueId iA, SFValueId iB)
  {
    double const a = _slopes[iA].ofRoot;
    double const b = _slopes[iB].ofRoot;
    _slopes[_at].ofRoot = std::sqrt(a * a + b * b) * Margin;
    if (_squares[iA] == None || _squares[iB] == None)
      return;
    Squares squares = _squareList[_squares[iA]];
    Squares const& others = _squareList[_squares[iB]];
    if (squares.count + others.count > MostSquares)
      return;
    for (std::size_t i = 0; i < others.count; ++i)
      squares.values[squares.count++] = others.values[i];
    SetSquares(squares);
  }

  /// Of the length of a vector of values: the largest norm of its Jacobian. Values with pieces are on the same one of
  /// them in all components.
  double LengthBound(Squares const& iSquares) const
  {
    std::array<Form const*, MostSquares> forms{};
    SFValueId kink = None;
    double sum = 0.0;
    double slack = 0.0;
    bool isKnown = true;
    for (std::size_t i = 0; i < iSquares.count; ++i) {
      double const bound = _slopes[iSquares.values[i]].lipschitz;
      sum += bound * bound;
      forms[i] = FormOf(iSquares.values[i]);
      isKnown = isKnown && forms[i] != nullptr && (forms[i]->kink == None || kink == None || forms[i]->kink == kink);
      if (!isKnown)
        continue;
      kink = forms[i]->kink != None ? forms[i]->kink : kink;
      slack += SlackOf(*forms[i]);
    }
    double const bySum = std::sqrt(sum) * Margin;
    if (!isKnown || iSquares.count == 1)
      return bySum;
    double largest = 0.0;
    std::array<Vector, MostSquares> rows{};
    auto const add = [&](Vector const& iGradient) {
      for (std::size_t i = 0; i < iSquares.count; ++i)
        rows[i] = Sum(forms[i]->gradient, forms[i]->factor, iGradient);
      largest = std::max(largest, NormBound(std::span(rows.data(), iSquares.count)));
    };
    if (kink == None)
      add({});
    else
      for (Vector const& gradient : PiecesOf(kink).gradients)
        add(gradient);
    return std::min(bySum, largest + slack);
  }

  // ---- operators ------------------------------------------------------------------------------------------------

  void SetBounds(SFTapeInstruction const& iInstruction)
  {
    auto const [a, b, unused] = iInstruction.operands;
    SFSlope const& slopeA = _slopes[a];
    SFSlope const& slopeB = _slopes[b];
    SFSlope& slope = _slopes[_at];
    using enum SFNodeType;
    switch (SFNodeType{iInstruction.code}) {
    case PLUS:
    case MINUS: {
      bool const isSum = SFNodeType{iInstruction.code} == PLUS;
      if (FormOf(a) == nullptr || FormOf(b) == nullptr || !Combine(*FormOf(a), isSum ? 1.0 : -1.0, *FormOf(b)))
        slope.lipschitz = (slopeA.lipschitz + slopeB.lipschitz) * Margin;
      return isSum ? AddSquares(a, b) : void();
    }
    case MULT:
      if (a == b)
        return Square(a);
      return IsConstant(b) ? Scale(a, ConstantOf(b)) : IsConstant(a) ? Scale(b, ConstantOf(a)) : void();
    case DIV:
      return IsConstant(b) ? Scale(a, 1.0 / ConstantOf(b)) : void();
    case SQUARE:
      return Square(a);
    case NOT:
      return Scale(a, -1.0);
    case ROOT:
      slope.lipschitz = slopeA.ofRoot;
      return;
    case ABS:
      slope.lipschitz = slopeA.lipschitz;
      slope.ofRoot = slopeA.ofRoot;
      return SetPieces(std::array{std::pair{a, 1.0}, std::pair{a, -1.0}});
    case MIN:
    case MAX:
      slope.ofRoot = std::max(slopeA.ofRoot, slopeB.ofRoot);
      slope.lipschitz = std::max(slopeA.lipschitz, slopeB.lipschitz);
      return SetPieces(std::array{std::pair{a, 1.0}, std::pair{b, 1.0}});
    case WITHOUT:
      slope.lipschitz = std::max(slopeA.lipschitz, slopeB.lipschitz);
      return SetPieces(std::array{std::pair{a, 1.0}, std::pair{b, -1.0}});
    case SYMDIFF:
      slope.lipschitz = std::max(slopeA.lipschitz, slopeB.lipschitz);
      return;
    case SIN:
    case COS:
    case ATAN:
      slope.lipschitz = slopeA.lipschitz * Margin;
      return;
    case POW:
      return IsConstant(b) && ConstantOf(b) == 2.0 ? Square(a) : void();
    default:
      return;
    }
  }

  void Square(SFValueId iA) { SetSquares({{iA}, 1}); }

  void Scale(SFValueId iA, double iFactor)
  {
    SFSlope const& slopeA = _slopes[iA];
    SFSlope& slope = _slopes[_at];
    if (!std::isfinite(iFactor))
      return;
    if (FormOf(iA) == nullptr || !Combine({}, iFactor, *FormOf(iA)))
      slope.lipschitz = iFactor == 0.0 ? 0.0 : slopeA.lipschitz * std::abs(iFactor) * Margin;
    if (iFactor > 0.0)
      slope.ofRoot = slopeA.ofRoot * std::sqrt(iFactor) * Margin;
  }

  // ---- errors ---------------------------------------------------------------------------------------------------

  void SetError(SFTapeInstruction const& iInstruction)
  {
    auto const [a, b, unused] = iInstruction.operands;
    double const error = ErrorOf(SFNodeType{iInstruction.code}, a, b);
    _slopes[_at].error = error >= 0.0 ? error : Infinity; // infinity where magnitudes are infinite
  }

  double ErrorOf(SFNodeType iOperator, SFValueId iA, SFValueId iB) const
  {
    double const a = _slopes[iA].error;
    double const b = _slopes[iB].error;
    using enum SFNodeType;
    switch (iOperator) {
    case PLUS:
    case MINUS:
      return a + b + Rounding();
    case MULT:
      return Magnitude(iA) * b + Magnitude(iB) * a + a * b + Rounding();
    case SQUARE:
      return (2.0 * Magnitude(iA) + a) * a + Rounding();
    case DIV: {
      SFInterval const& divisor = _ranges[iB];
      double const least = (divisor.lo > 0.0 ? divisor.lo : -divisor.hi) - b;
      return least > 0.0 ? (a + Magnitude(_at) * b) / least * (1.0 + Epsilon) + Rounding() : Infinity;
    }
    case ROOT: {
      double const low = std::max(0.0, _ranges[iA].lo);
      double const below = std::max(0.0, low - a);
      double const roots = std::sqrt(low) + std::sqrt(below);
      return std::min(std::sqrt(a), roots > 0.0 ? a / roots : Infinity) * Margin + Rounding();
    }
    case MIN:
    case MAX:
    case WITHOUT:
    case SYMDIFF:
      return std::max(a, b);
    case NOT:
    case ABS:
      return a;
    case SIN:
    case COS:
    case ATAN:
      return a + 4.0 * Epsilon;
    case EXP:
      return a < 1.0 ? Magnitude(_at) * (2.0 * a + 4.0 * Epsilon) + Tiny : Infinity;
    case LN: {
      double const least = _ranges[iA].lo - a;
      return least > 0.0 ? a / least * (1.0 + Epsilon) + 4.0 * Rounding() : Infinity;
    }
    default: // of exact operands alone
      return a == 0.0 && (b == 0.0 || IsUnaryOperator(iOperator)) && iOperator != SIGN ? 4.0 * Rounding() : Infinity;
    }
  }

  SFTape const& _tape;
  std::span<SFInterval const> _ranges;
  std::span<char const> _needed;
  SFValueId _at = 0;
  std::vector<SFSlope> _slopes;
  std::vector<std::uint32_t> _forms; ///< by value: the number of its form
  std::vector<Form> _formList;
  std::vector<SFValueId> _kinks;       ///< in ascending order
  std::vector<Pieces> _pieces;         ///< of each of them
  std::vector<std::uint32_t> _squares; ///< by value
  std::vector<Squares> _squareList;
};

} // namespace

std::vector<SFSlope> SlopesOf(SFTape const& iTape, std::span<SFInterval const> iRanges, std::span<char const> iNeeded)
{
  return Slopes(iTape, iRanges, iNeeded).Run();
}

} // namespace SF
