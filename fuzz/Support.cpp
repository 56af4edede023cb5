#include "Support.h"

#include "SFDiscreteTransformNode.h"
#include "SFGCGuidedTransform.h"
#include "SFOperatorTable.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <streambuf>
#include <unordered_map>
#include <vector>

namespace SFFuzz {
namespace {

using SF::SFDagNode;
using SF::SFNodeType;

/// Takes anything and keeps nothing but the number of lines.
class LineCounter : public std::streambuf
{
public:
  std::size_t Count() const { return _lines; }

protected:
  int_type overflow(int_type iCharacter) override
  {
    char const character = traits_type::to_char_type(iCharacter);
    xsputn(&character, 1);
    return traits_type::not_eof(iCharacter);
  }
  std::streamsize xsputn(char const* iBytes, std::streamsize iCount) override
  {
    for (std::streamsize i = 0; i < iCount; ++i)
      _lines += iBytes[i] == '\n' ? 1 : 0;
    return iCount;
  }

private:
  std::atomic<std::size_t> _lines{0};
};

bool HasBlank(std::string const& iText) { return iText.find(' ') != std::string::npos; }

bool HasBlankInName(SFDagNode const& iNode)
{
  if (auto const* const discrete = dynamic_cast<SF::SFDiscreteTransformNode const*>(&iNode))
    return HasBlank(discrete->GetFirstResource()->GetExpressionId()) ||
           HasBlank(discrete->GetSecondResource()->GetExpressionId());
  if (auto const* const guided = dynamic_cast<SF::SFGCGuidedTransform const*>(&iNode))
    for (std::size_t section = 0; section < guided->GetCrossSectionCount(); ++section)
      for (std::size_t wire = 0; wire < guided->GetWireCount(section); ++wire)
        if (HasBlank(guided->GetWire(section, wire)->GetExpressionId()))
          return true;
  return HasBlank(iNode.GetExpressionId());
}

bool HasChainRule(SFNodeType iType)
{
  return iType == SFNodeType::AFFINETRANSFORM || iType == SFNodeType::CYLINDRICALTRANSFORM;
}

/// A choice has each derivative in its condition too; behind a transform there are three of them.
std::size_t BranchingOf(SFNodeType iType)
{
  bool const isChoice = iType == SFNodeType::MIN || iType == SFNodeType::MAX || iType == SFNodeType::SYMDIFF ||
                        iType == SFNodeType::WITHOUT;
  return isChoice ? 1 : HasChainRule(iType) ? 2 : 0;
}

bool IsForgetful(SFNodeType iType)
{
  auto const family = SF::FamilyOf(iType);
  return family == SF::SFNodeFamily::Transform || family == SF::SFNodeFamily::Blend;
}

void Add(SFDagNode const& iNode, Facts& ioFacts)
{
  SFNodeType const type = iNode.GetTypeTag();
  ++ioFacts.nodes;
  ioFacts.offsets += type == SFNodeType::OFFSET ? 1 : 0;
  ioFacts.transforms += HasChainRule(type) ? 1 : 0;
  ioFacts.branching += BranchingOf(type);
  ioFacts.hasLevel2 = ioFacts.hasLevel2 || SF::OperatorRow(type).level == SF::SFSemanticLevel::ESemanticLevel2;
  ioFacts.hasForgetful = ioFacts.hasForgetful || IsForgetful(type);
  ioFacts.hasBlankInName = ioFacts.hasBlankInName || HasBlankInName(iNode);
  ioFacts.hasMissingOperand = ioFacts.hasMissingOperand || type == SFNodeType::END;
}

} // namespace

void Violated(std::string const& iWhat)
{
  std::fprintf(stderr, "violated: %s\n", iWhat.c_str());
  std::abort();
}

std::string Printable(std::string const& iText)
{
  std::string text;
  for (char const character : iText) {
    auto const byte = static_cast<unsigned char>(character);
    char hex[8];
    std::snprintf(hex, sizeof hex, "\\x%02x", byte);
    text.append(byte < ' ' || byte > '~' ? hex : std::string(1, character));
  }
  return text;
}

std::size_t LineCount()
{
  static LineCounter& counter = *new LineCounter; // outlives the stream that is left with it
  static bool const installed = (std::cout.rdbuf(&counter), true);
  return installed ? counter.Count() : 0;
}

SF::SFSWContext const& Level1()
{
  static SF::SFSWContext const context;
  return context;
}

SF::SFSWContext const& Level2()
{
  static SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
  return context;
}

Facts FactsOf(SFDagNode const& iRoot)
{
  Facts facts;
  std::unordered_map<SFDagNode const*, double> tokens; // by node whose operands have been counted
  std::vector<SFDagNode const*> open{&iRoot};
  while (!open.empty()) {
    SFDagNode const& node = *open.back();
    std::size_t const before = open.size();
    double sum = 1.0;
    for (SFDagNode const* const operand : {node.GetLhs().get(), node.GetRhs().get()})
      if (operand != nullptr) {
        auto const known = tokens.find(operand);
        if (known == tokens.end())
          open.push_back(operand);
        else
          sum += known->second;
      }
    if (open.size() > before)
      continue;
    open.pop_back();
    if (tokens.emplace(&node, sum).second)
      Add(node, facts);
  }
  facts.tokens = tokens.at(&iRoot);
  return facts;
}

} // namespace SFFuzz
