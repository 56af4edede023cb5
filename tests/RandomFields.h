#pragma once

#include "Support.h"

#include "SFOperatorTable.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace SFTest {

using SF::SFNodeType;

/// All operators of the table but some.
inline std::vector<SFNodeType> OperatorsWithout(std::vector<SFNodeType> const& iLeftOut)
{
  std::vector<SFNodeType> operators;
  for (auto const& row : SF::SFOperatorTable)
    if (SF::IsOperator(row.type) && std::find(iLeftOut.begin(), iLeftOut.end(), row.type) == iLeftOut.end())
      operators.push_back(row.type);
  return operators;
}

/// What random fields are made of; what stands twice is twice as likely.
struct Vocabulary
{
  std::vector<SFNodeType> operators = OperatorsWithout({});
  std::vector<std::string> leaves{"X", "Y", "Z", "f", "f"}; ///< "f" is a random number
  std::vector<std::string> prefixes = {};                   ///< texts that take an operand more, such as transforms
  bool shares = false;                                      ///< some operands are parts that occurred before
};

/// The one source of random texts and graphs.
class RandomFields
{
public:
  RandomFields(unsigned int iSeed, Vocabulary iVocabulary) : _engine(iSeed), _vocabulary(std::move(iVocabulary)) {}
  RandomFields(unsigned int iSeed, std::vector<SFNodeType> iOperators)
    : RandomFields(iSeed, Vocabulary{std::move(iOperators)})
  {
  }

  /// The text of a field whose paths have up to `iDepth` operators; more where parts are shared.
  std::string Next(int iDepth)
  {
    if (iDepth == 0 || Below(8) == 0)
      return Leaf();
    if (_vocabulary.shares && !_seen.empty() && Below(10) == 0)
      return OneOf(_seen);
    std::string text;
    if (!_vocabulary.prefixes.empty() && Below(5) == 0)
      text.append(OneOf(_vocabulary.prefixes)).append(" ").append(Next(iDepth - 1));
    else {
      auto const& row = SF::OperatorRow(OneOf(_vocabulary.operators));
      text.append(std::string{row.token, ' '}).append(Next(iDepth - 1));
      if (row.arity == 2)
        text.append(" ").append(Next(iDepth - 1));
    }
    if (_vocabulary.shares)
      _seen.push_back(text);
    return text;
  }

  /// Appends operators over the latest of some nodes, so that most nodes are shared.
  void Grow(std::vector<NodePtr>& ioNodes, std::size_t iCount)
  {
    for (; iCount > 0; --iCount) {
      SFNodeType const type = OneOf(_vocabulary.operators);
      NodePtr const lhs = Recent(ioNodes);
      ioNodes.push_back(Op(type, lhs, SF::IsBinaryOperator(type) ? Recent(ioNodes) : nullptr));
    }
  }
  NodePtr Recent(std::vector<NodePtr> const& iNodes)
  {
    return iNodes[iNodes.size() - 1 - Below(std::min<std::size_t>(iNodes.size(), 8))];
  }

  double Uniform(double iLow, double iHigh) { return std::uniform_real_distribution<double>(iLow, iHigh)(_engine); }
  double Number() { return Uniform(-2.0, 2.0); }
  ZULMathPoint Point() { return {Number(), Number(), Number()}; }
  std::size_t Below(std::size_t iEnd) { return std::uniform_int_distribution<std::size_t>(0, iEnd - 1)(_engine); }
  template <class Value>
  Value const& OneOf(std::vector<Value> const& iValues)
  {
    return iValues[Below(iValues.size())];
  }

private:
  std::string Leaf()
  {
    std::string const& leaf = OneOf(_vocabulary.leaves);
    return leaf == "f" ? leaf + std::to_string(Number()) : leaf;
  }

  std::mt19937 _engine;
  Vocabulary _vocabulary;
  std::vector<std::string> _seen;
};

} // namespace SFTest
