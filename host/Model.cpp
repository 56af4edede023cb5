#include "Model.h"

#include "Failure.h"
#include "Input.h"
#include "Messages.h"
#include "SFDagFromExpression.h"
#include "SFExpressionCheck.h"
#include "SFFormula.h"
#include "SFListing.h"
#include "SFTextMessages.h"
#include "SFVariable.h"

#include <algorithm>
#include <iostream>
#include <map>
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
template <class Node, class Predicate>
bool AnyNode(Node& iRoot, Predicate const& iPredicate)
{
  std::vector<Node*> open{&iRoot};
  std::unordered_set<Node const*> seen;
  while (!open.empty()) {
    Node* const node = open.back();
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
    throw ModelFailure(iModel.name,
                       "holds a parameter, a transform, a blend or an offset, which level 1 does not have");
}

enum class Notation
{
  Expression,
  Listing,
  Formula
};

struct ModelText
{
  std::string name;
  Notation notation = Notation::Expression;
  std::string asGiven;
  std::string onOneLine; ///< of an expression
};

Notation NotationOf(std::string const& iPath)
{
  return IsListing(iPath) ? Notation::Listing : IsFormula(iPath) ? Notation::Formula : Notation::Expression;
}

ModelText ReadText(ModelOptions const& iOptions)
{
  RequireOneSource(iOptions);
  ModelText text;
  if (iOptions.file) {
    text = {InputName(*iOptions.file),
            NotationOf(*iOptions.file),
            iOptions.content ? *iOptions.content : ReadInput(*iOptions.file),
            {}};
  } else if (iOptions.formula) {
    text = {"-e", Notation::Formula, *iOptions.formula, {}};
  } else {
    text = {"-x", Notation::Expression, *iOptions.expression, {}};
  }
  if (text.notation == Notation::Formula && iOptions.strict)
    throw UsageError("--strict is for expressions: a formula has only its plain meaning");
  text.onOneLine = text.asGiven;
  LayOutOnOneLine(text.onOneLine);
  return text;
}

std::shared_ptr<SF::SFDagNode> ReadExpression(ModelText const& iText, SF::SFNodeEquality iEquality)
{
  auto root = SF::SFDagFromExpression::BuildFromExpression(iText.onOneLine, nullptr, iEquality);
  if (root == nullptr)
    throw ModelFailure(iText.name, iText.onOneLine.empty() ? "empty" : "not a readable expression");
  if (root->GetTypeTag() == SF::SFNodeType::END)
    throw ModelFailure(iText.name, "holds no expression");
  return root;
}

/// Ends the tool after an error has been shown at its place.
[[noreturn]] void FailAt(ModelText const& iText, std::string const& iReport, std::string const& iWhat)
{
  std::cerr << iReport;
  throw ModelFailure(iText.name, "not a readable " + iWhat);
}

using Settings = std::map<std::string, double>;

[[noreturn]] void RejectSetting(std::string const& iName)
{
  throw UsageError("--set: the model has no parameter " + Quoted(iName));
}

/// Changes the parameters of a graph.
void SetParameters(SF::SFDagNode& ioRoot, Settings const& iSettings)
{
  for (auto const& [name, value] : iSettings) {
    bool found = false;
    AnyNode(ioRoot, [&found, &name = name, value = value](SF::SFDagNode& ioNode) {
      auto* const parameter = dynamic_cast<SF::SFVariable*>(&ioNode);
      if (parameter != nullptr && parameter->GetExpressionId() == name) {
        parameter->SetConstant(value);
        found = true;
      }
      return false;
    });
    if (!found)
      RejectSetting(name);
  }
}

void RequireParameters(std::vector<SF::SFParameterInfo> const& iParameters, Settings const& iSettings)
{
  for (auto const& [name, value] : iSettings) {
    auto const hasName = [&name = name](SF::SFParameterInfo const& iParameter) { return iParameter.name == name; };
    if (std::none_of(iParameters.begin(), iParameters.end(), hasName))
      RejectSetting(name);
  }
}

SF::SFField ReadListing(std::string const& iText, Settings const& iSettings)
{
  SF::SFField field = SF::ReadListing(iText);
  RequireParameters(SF::Parameters(field), iSettings);
  for (auto const& [name, value] : iSettings)
    field = SF::With(field, name, value);
  return field;
}

/// A formula reads the values of its parameters itself, so that all that its functions make of them follows.
SF::SFField ReadFormula(std::string const& iText, Settings const& iSettings)
{
  if (!iSettings.empty())
    RequireParameters(SF::SFFormula::ReadParameters(iText), iSettings);
  return SF::SFFormula::Read(iText, iSettings);
}

/// The field of a listing or a formula.
SF::SFField ReadField(ModelText const& iText, Settings const& iSettings)
{
  try {
    return iText.notation == Notation::Listing ? ReadListing(iText.asGiven, iSettings)
                                               : ReadFormula(iText.asGiven, iSettings);
  } catch (SF::SFListingError const& error) {
    FailAt(iText,
           SF::SFTextMessages(OneLine(iText.name), iText.asGiven)
               .Format(error.GetPosition(), error.GetLength(), "error", error.GetReason()),
           "listing");
  } catch (SF::SFFormulaError const& error) {
    FailAt(iText, error.Report(OneLine(iText.name)), "formula");
  } catch (std::logic_error const& error) {
    throw ModelFailure(iText.name, error.what());
  }
}

SF::SFNodeEquality EqualityOf(ModelOptions const& iOptions)
{
  return iOptions.strict ? SF::SFNodeEquality::EStructural : SF::SFNodeEquality::EExact;
}

/// Writes warnings to the standard error stream, and says how many there are.
std::size_t WarnOf(ModelText const& iText, SF::SFNodeEquality iEquality, std::size_t iLimit)
{
  if (iText.notation != Notation::Expression)
    return 0;
  auto const findings = SF::SFExpressionCheck::Check(iText.onOneLine, iEquality, iLimit + 1);
  std::size_t const shown = std::min(findings.size(), iLimit);
  std::string lines = SF::SFExpressionCheck::Format({findings.begin(), findings.begin() + static_cast<long>(shown)},
                                                    OneLine(iText.name), iText.asGiven);
  if (findings.size() > shown)
    lines += OneLine(iText.name) + ": there are more warnings\n";
  Warn(lines);
  return findings.size();
}

} // namespace

void ModelOptions::AddTo(Arguments& ioArguments)
{
  ioArguments.Text({.names = "MODEL",
                    .values = "",
                    .help = "File with an expression, a formula (.sfm) or a listing (.vm); - is an expression from the "
                            "standard input"},
                   file);
  ioArguments.Text({.names = "-x,--expression", .values = "EXPR", .help = "The expression text itself"}, expression);
  ioArguments.Text({.names = "-e,--formula", .values = "FORMULA", .help = "The formula itself, as in docs/formulae.md"},
                   formula);
  ioArguments.Texts(
      {.names = "--set", .values = "NAME=NUMBER", .help = "The value of a parameter; may be given many times"},
      settings);
  ioArguments.WholeNumbers({.names = "--level", .values = "1|2", .help = "Semantic level (2)"}, std::span(&level, 1),
                           {.least = 1, .most = 2});
  ioArguments.Flag({.names = "--strict", .values = "", .help = "Read and compute by the letter (see sfdag --help)"},
                   strict);
}

Settings ReadSettings(ModelOptions const& iOptions)
{
  Settings settings;
  for (std::string const& setting : iOptions.settings) {
    std::size_t const equals = setting.find('=');
    auto const value = equals == std::string::npos ? std::nullopt : ParseNumber(setting.substr(equals + 1));
    if (!value || equals == 0)
      throw UsageError("--set: " + Quoted(setting) + " is not NAME=NUMBER");
    settings[setting.substr(0, equals)] = *value;
  }
  return settings;
}

void RequireOneSource(ModelOptions const& iOptions)
{
  int const given = iOptions.file.has_value() + iOptions.expression.has_value() + iOptions.formula.has_value();
  if (given != 1)
    throw UsageError(given == 0 ? "give a MODEL, -x EXPR or -e FORMULA" : "give only one of MODEL, -x and -e");
}

void RequireOtherFile(ModelOptions const& iOptions, std::string const& iOutput)
{
  if (iOutput != "-" && iOptions.file && IsFileOf(*iOptions.file, iOutput))
    throw UsageError("--output: " + Quoted(iOutput) + " is the model's own file");
}

void RequirePlain(ModelOptions const& iOptions)
{
  if (iOptions.strict)
    throw UsageError("--strict: this verb works on the plain meaning of models");
}

Model LoadModel(ModelOptions const& iOptions)
{
  constexpr std::size_t mostWarnings = 10;
  ModelText const text = ReadText(iOptions);
  WarnOf(text, EqualityOf(iOptions), mostWarnings);
  Model model{text.name, SF::SFSWContext(static_cast<SF::SFSemanticLevel>(iOptions.level)),
              text.notation == Notation::Expression
                  ? ReadExpression(text, EqualityOf(iOptions))
                  : Named(text.name, [&] { return ReadField(text, ReadSettings(iOptions)).Node(); })};
  if (!iOptions.settings.empty() && text.notation == Notation::Expression)
    SetParameters(*model.root, ReadSettings(iOptions));
  RequireSupported(model);
  return model;
}

FieldModel LoadField(ModelOptions const& iOptions)
{
  constexpr std::uint32_t allLevels = 2; // a lower one is checked on the graph
  if (iOptions.level == allLevels && !iOptions.expression) {
    ModelText const text = ReadText(iOptions);
    if (text.notation != Notation::Expression)
      return {text.name, ReadField(text, ReadSettings(iOptions))};
  }
  Model const model = LoadModel(iOptions);
  return {model.name, Named(model.name, [&] { return SF::SFField::FromNode(model.root); })};
}

bool CheckModel(ModelOptions const& iOptions)
{
  ModelText const text = ReadText(iOptions);
  if (text.notation != Notation::Expression)
    ReadField(text, ReadSettings(iOptions));
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
