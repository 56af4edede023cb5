#include "Text.h"

#include "Failure.h"
#include "Input.h"
#include "Report.h"
#include "SFListing.h"
#include "SFOutputFile.h"

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
        throw ModelFailure(_modelName, "holds a resource, whose gradient has no text");
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

std::string CanonicalText(CommonOptions const& iCommon, Model const& iModel, Node const& iRoot, SF::SFDigits iDigits)
{
  constexpr double shortestToken = 2.0; // a letter and a blank
  iCommon.RequireMemory(shortestToken * TokenCount(iModel.name).Of(iRoot), iModel.name + ": the text");
  std::string text;
  Require(SF::SFDagToExpression(iModel.context).Export(iRoot, text, true, false, iDigits), iModel.name,
          "cannot be written as text at level " +
              std::to_string(static_cast<int>(iModel.context.GetSupportedSemanticLevel())));
  return text;
}

void TextOptions::AddTo(Arguments& ioArguments)
{
  ioArguments.Text({.names = "-o,--output",
                    .values = "FILE",
                    .help =
                        "File to write: a listing where the name ends in .vm, a formula where it ends in .sfm, else an "
                        "expression; - is the standard output"},
                   path);
}

namespace {

/// As it is, or as the member "text" of the report that --json asks for.
void WriteResult(CommonOptions const& iCommon, TextOptions const& iOptions, std::string const& iText)
{
  if (iCommon.asJson && iOptions.path == "-")
    return PrintJson({{"text", iText.substr(0, iText.find_last_not_of('\n') + 1)}});
  SF::SFOutputFile output(iOptions.path);
  output.Write(iText);
  output.Commit();
  Report report;
  report.Add("file", "file", iOptions.path, iOptions.path);
  report.AddCount("bytes", "bytes", iText.size());
  report.PrintBeside(iCommon);
}

} // namespace

void WriteText(CommonOptions const& iCommon, TextOptions const& iOptions, FieldModel const& iResult)
{
  std::string const text = Named(iResult.name, [&] {
    if (IsFormula(iOptions.path))
      return iResult.field.ToFormula();
    return IsListing(iOptions.path) ? SF::WriteListing(iResult.field) : iResult.field.ToExpression() + "\n";
  });
  WriteResult(iCommon, iOptions, text);
}

void WriteText(CommonOptions const& iCommon, TextOptions const& iOptions, std::string const& iExpression)
{
  if (IsListing(iOptions.path) || IsFormula(iOptions.path))
    throw UsageError("--output: listings and formulae hold the plain meaning of a model, which --strict is not");
  WriteResult(iCommon, iOptions, iExpression + "\n");
}

} // namespace SFHost
