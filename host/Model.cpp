#include "Model.h"

#include "Failure.h"
#include "Input.h"
#include "SFDagFromExpression.h"
#include "SFExpressionCheck.h"

#include <algorithm>
#include <iostream>
#include <unordered_set>
#include <vector>

namespace SFHost {
namespace {

/// A number token ends at a blank and nothing else.
void LayOutOnOneLine(std::string& ioText)
{
  std::replace_if(
      ioText.begin(), ioText.end(), [](char iCharacter) { return iCharacter >= '\t' && iCharacter <= '\r'; }, ' ');
}

/// Whether a graph holds a node that `iPredicate` is true of; each is asked once.
template <class Predicate>
bool AnyNode(SF::SFDagNode const& iRoot, Predicate const& iPredicate)
{
  std::vector<SF::SFDagNode const*> open{&iRoot};
  std::unordered_set<SF::SFDagNode const*> seen;
  while (!open.empty()) {
    SF::SFDagNode const* const node = open.back();
    open.pop_back();
    if (node == nullptr || !seen.insert(node).second)
      continue;
    if (iPredicate(*node))
      return true;
    open.push_back(node->GetLhs().get());
    open.push_back(node->GetRhs().get());
  }
  return false;
}

void RequireSupported(Model const& iModel)
{
  bool const beyond = AnyNode(*iModel.root, [&](SF::SFDagNode const& iNode) {
    return iModel.context.IsSemanticSupported(iNode.GetTypeTag()) != SF::SFSemanticSupportStatus::ESupported;
  });
  if (beyond)
    throw Failure(iModel.name, "holds a parameter, a transform, a blend or an offset, which level 1 does not have");
}

std::shared_ptr<SF::SFDagNode> Build(std::string const& iText, std::string const& iName)
{
  std::shared_ptr<SF::SFDagNode> root = SF::SFDagFromExpression::BuildFromExpression(iText, nullptr);
  if (root == nullptr)
    throw Failure(iName, iText.empty() ? "empty" : "not a readable expression");
  if (root->GetTypeTag() == SF::SFNodeType::END)
    throw Failure(iName, "holds no expression");
  return root;
}

struct ModelText
{
  std::string name;
  std::string asGiven;
  std::string onOneLine;
};

ModelText ReadText(ModelOptions const& iOptions)
{
  if (iOptions.file.has_value() == iOptions.expression.has_value())
    throw UsageError(iOptions.file ? "give either MODEL or -x, not both" : "give a MODEL or -x EXPR");
  ModelText text{iOptions.file ? InputName(*iOptions.file) : "-x",
                 iOptions.file ? ReadInput(*iOptions.file) : *iOptions.expression,
                 {}};
  text.onOneLine = text.asGiven;
  LayOutOnOneLine(text.onOneLine);
  return text;
}

/// Writes warnings to the standard error stream, and says how many there are.
std::size_t WarnOf(ModelText const& iText, std::size_t iLimit)
{
  auto const findings = SF::SFExpressionCheck::Check(iText.onOneLine, SF::SFNodeEquality::EStructural, iLimit + 1);
  std::size_t const shown = std::min(findings.size(), iLimit);
  std::string lines = SF::SFExpressionCheck::Format({findings.begin(), findings.begin() + static_cast<long>(shown)},
                                                    OneLine(iText.name), iText.asGiven);
  if (findings.size() > shown)
    lines += OneLine(iText.name) + ": there are more warnings\n";
  std::cerr << lines;
  return findings.size();
}

} // namespace

void ModelOptions::AddTo(Arguments& ioArguments)
{
  ioArguments.Text({.names = "MODEL", .values = "", .help = "File with the expression text; - is the standard input"},
                   file);
  ioArguments.Text({.names = "-x,--expression", .values = "EXPR", .help = "The expression text itself"}, expression);
  ioArguments.WholeNumbers({.names = "--level", .values = "1|2", .help = "Semantic level (2)"}, std::span(&level, 1),
                           {.least = 1, .most = 2});
}

void RequireOtherFile(ModelOptions const& iOptions, std::string const& iOutput)
{
  if (iOutput != "-" && iOptions.file && IsFileOf(*iOptions.file, iOutput))
    throw UsageError("--output: " + Quoted(iOutput) + " is the model's own file");
}

Model LoadModel(ModelOptions const& iOptions)
{
  constexpr std::size_t mostWarnings = 10;
  ModelText const text = ReadText(iOptions);
  WarnOf(text, mostWarnings);
  Model model{text.name, SF::SFSWContext(static_cast<SF::SFSemanticLevel>(iOptions.level)),
              Build(text.onOneLine, text.name)};
  RequireSupported(model);
  return model;
}

bool CheckModel(ModelOptions const& iOptions)
{
  return WarnOf(ReadText(iOptions), SF::SFExpressionCheck::DefaultLimit) == 0;
}

Model LoadReadyModel(ModelOptions const& iOptions)
{
  Model model = LoadModel(iOptions);
  Require(model.root->GetReady(model.context), model.name, "cannot be made ready");
  return model;
}

bool HasNode(SF::SFDagNode const& iRoot, SF::SFNodeType iType)
{
  return AnyNode(iRoot, [iType](SF::SFDagNode const& iNode) { return iNode.GetTypeTag() == iType; });
}

} // namespace SFHost
