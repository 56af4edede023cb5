#include "Text.h"

#include "Failure.h"
#include "Grid.h"
#include "Output.h"
#include "SFDagToExpression.h"

#include <unordered_map>

namespace SFHost {
namespace {

using Node = SF::SFDagNode;

/// How many tokens the text of a graph has. Throws a Failure for what has no token.
class TokenCount
{
public:
  explicit TokenCount(std::string const& iModelName) : _modelName(iModelName) {}

  double Of(Node const& iRoot)
  {
    // Operands before the nodes above them: a node is taken off the list when its operands have been counted.
    std::vector<Node const*> open{&iRoot};
    while (!open.empty()) {
      Node const& node = *open.back();
      std::size_t const before = open.size();
      double tokens = 1.0;
      for (Node const* const operand : {node.GetLhs().get(), node.GetRhs().get()})
        if (operand != nullptr) {
          auto const known = _tokens.find(operand);
          if (known == _tokens.end())
            open.push_back(operand);
          else
            tokens += known->second;
        }
      if (open.size() > before)
        continue;
      if (node.GetTypeTag() == SF::SFNodeType::POLYGRADIENT)
        throw Failure(_modelName, "holds a resource, whose gradient has no text");
      _tokens.emplace(&node, tokens);
      open.pop_back();
    }
    return _tokens.at(&iRoot);
  }

private:
  std::string const& _modelName;
  std::unordered_map<Node const*, double> _tokens;
};

} // namespace

std::string CanonicalText(Model const& iModel, Node const& iRoot)
{
  constexpr double shortestToken = 2.0; // a letter and a blank
  RequireMemory(shortestToken * TokenCount(iModel.name).Of(iRoot), iModel.name + ": the text");
  std::string text;
  Require(SF::SFDagToExpression(iModel.context).Export(iRoot, text, true, false), iModel.name,
          "cannot be written as text at level " +
              std::to_string(static_cast<int>(iModel.context.GetSupportedSemanticLevel())));
  return text;
}

void PrintLines(std::vector<std::string> const& iLines)
{
  Output output("-");
  for (std::string const& line : iLines)
    output.Write(line + "\n");
  output.Commit();
}

} // namespace SFHost
