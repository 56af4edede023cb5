#include "Model.h"

#include "Failure.h"
#include "Input.h"
#include "SFDagFromExpression.h"
#include "SFExpressionCheck.h"
#include "SFListing.h"
#include "SFTextMessages.h"

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

struct ModelText
{
  std::string name;
  bool isListing = false;
  std::string asGiven;
  std::string onOneLine; ///< of an expression
};

ModelText ReadText(ModelOptions const& iOptions)
{
  if (iOptions.file.has_value() == iOptions.expression.has_value())
    throw UsageError(iOptions.file ? "give either MODEL or -x, not both" : "give a MODEL or -x EXPR");
  ModelText text{iOptions.file ? InputName(*iOptions.file) : "-x",
                 iOptions.file && IsListing(*iOptions.file),
                 iOptions.file ? ReadInput(*iOptions.file) : *iOptions.expression,
                 {}};
  text.onOneLine = text.asGiven;
  LayOutOnOneLine(text.onOneLine);
  return text;
}

std::shared_ptr<SF::SFDagNode> ReadExpression(ModelText const& iText, SF::SFNodeEquality iEquality)
{
  auto root = SF::SFDagFromExpression::BuildFromExpression(iText.onOneLine, nullptr, iEquality);
  if (root == nullptr)
    throw Failure(iText.name, iText.onOneLine.empty() ? "empty" : "not a readable expression");
  if (root->GetTypeTag() == SF::SFNodeType::END)
    throw Failure(iText.name, "holds no expression");
  return root;
}

/// The field of a listing. An error is shown at its place, before the tool ends.
SF::SFField ReadListing(ModelText const& iText)
{
  try {
    return SF::ReadListing(iText.asGiven);
  } catch (SF::SFListingError const& error) {
    std::cerr << SF::SFTextMessages(OneLine(iText.name), iText.asGiven)
                     .Format(error.GetPosition(), error.GetLength(), "error", error.GetReason());
    throw Failure(iText.name, "not a readable listing");
  } catch (std::length_error const& error) {
    throw Failure(iText.name, error.what());
  }
}

SF::SFNodeEquality EqualityOf(ModelOptions const& iOptions)
{
  return iOptions.strict ? SF::SFNodeEquality::EStructural : SF::SFNodeEquality::EExact;
}

/// Writes warnings to the standard error stream, and says how many there are.
std::size_t WarnOf(ModelText const& iText, SF::SFNodeEquality iEquality, std::size_t iLimit)
{
  if (iText.isListing)
    return 0;
  auto const findings = SF::SFExpressionCheck::Check(iText.onOneLine, iEquality, iLimit + 1);
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
  ioArguments.Text({.names = "MODEL",
                    .values = "",
                    .help = "File with an expression, or a listing (.vm); - is an expression from the standard input"},
                   file);
  ioArguments.Text({.names = "-x,--expression", .values = "EXPR", .help = "The expression text itself"}, expression);
  ioArguments.WholeNumbers({.names = "--level", .values = "1|2", .help = "Semantic level (2)"}, std::span(&level, 1),
                           {.least = 1, .most = 2});
  ioArguments.Flag({.names = "--strict", .values = "", .help = "Read and compute by the letter (see sfdag --help)"},
                   strict);
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
  WarnOf(text, EqualityOf(iOptions), mostWarnings);
  Model model{text.name, SF::SFSWContext(static_cast<SF::SFSemanticLevel>(iOptions.level)),
              text.isListing ? ReadListing(text).Node() : ReadExpression(text, EqualityOf(iOptions))};
  RequireSupported(model);
  return model;
}

FieldModel LoadField(ModelOptions const& iOptions)
{
  Model const model = LoadModel(iOptions);
  return {model.name, Named(model.name, [&] { return SF::SFField::FromNode(model.root); })};
}

bool CheckModel(ModelOptions const& iOptions)
{
  ModelText const text = ReadText(iOptions);
  if (text.isListing)
    ReadListing(text);
  return WarnOf(text, EqualityOf(iOptions), SF::SFExpressionCheck::DefaultLimit) == 0;
}

Model LoadReadyModel(ModelOptions const& iOptions)
{
  Model model = LoadModel(iOptions);
  Require(model.root->GetReady(model.context), model.name, "cannot be made ready");
  return model;
}

Model LoadPlainModel(ModelOptions const& iOptions)
{
  FieldModel const meant = LoadField(iOptions);
  Model model{meant.name, SF::SFSWContext(SF::SFSemanticLevel::ESemanticLevel2),
              Named(meant.name, [&] { return meant.field.Node(); })};
  Require(model.root->GetReady(model.context), model.name, "cannot be made ready");
  return model;
}

bool HasNode(SF::SFDagNode const& iRoot, SF::SFNodeType iType)
{
  return AnyNode(iRoot, [iType](SF::SFDagNode const& iNode) { return iNode.GetTypeTag() == iType; });
}

} // namespace SFHost
