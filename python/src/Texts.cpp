#include "Call.h"
#include "SFExpressionCheck.h"
#include "SFFormula.h"
#include "SFListing.h"

#include "SFDagToGraphViz.h"
#include "SFDiagnostics.h"
#include "SFSWContext.h"

#include <pybind11/stl.h>

#include <stdexcept>

namespace SFPython {
namespace {

/// Why a text is not what it looks like, as Python's names of the kinds.
char const* NameOf(SF::SFFindingKind iKind)
{
  using enum SF::SFFindingKind;
  switch (iKind) {
  case EEncoding:
    return "encoding";
  case ECharactersSkipped:
    return "characters-skipped";
  case ENumberNotRead:
    return "number-not-read";
  case ENumberOutOfRange:
    return "number-out-of-range";
  case ELineBreakInToken:
    return "line-break-in-token";
  case EBlankInToken:
    return "blank-in-token";
  case EBadBrackets:
    return "bad-brackets";
  case EOddName:
    return "odd-name";
  case ENumberedResource:
    return "numbered-resource";
  case EMissingOperand:
    return "missing-operand";
  case ETextAfterEnd:
    return "text-after-end";
  case EMergedNode:
    return "merged-node";
  case ENoValue:
    return "no-value";
  }
  return "";
}

bool IsShort(std::string const& iText) { return iText.size() <= FewParts; }

void AddReading(py::module_& ioModule)
{
  ioModule.def("from_expression", [](std::string const& iText) {
    return Field(Result([=] { return SF::SFField::FromExpression(iText); }, IsShort(iText)));
  });
  ioModule.def("from_formula", [](std::string const& iText, std::map<std::string, double> const& iValues) {
    return Field(Result([=] { return SF::SFFormula::Read(iText, iValues); }, IsShort(iText)));
  });
  ioModule.def("check", [](std::string const& iText, bool iIsStrict, std::size_t iLimit) {
    auto const equality = iIsStrict ? SF::SFNodeEquality::EStructural : SF::SFNodeEquality::EExact;
    auto const findings = Result([=] { return SF::SFExpressionCheck::Check(iText, equality, iLimit); }, IsShort(iText));
    py::list all;
    for (SF::SFTextFinding const& finding : findings)
      all.append(py::make_tuple(NameOf(finding.kind), finding.sentence, finding.position, finding.length));
    return all;
  });
}

void AddWriting(py::module_& ioModule)
{
  ioModule.def("to_expression", [](Field const& iField) {
    return Result([field = iField.Get()] { return field.ToExpression(); }, false);
  });
  ioModule.def("to_formula", [](Field const& iField) {
    return Result([field = iField.Get()] { return field.ToFormula(); }, IsSmall(iField));
  });
  ioModule.def("to_listing", [](Field const& iField) {
    return Result([field = iField.Get()] { return SF::WriteListing(field); }, IsSmall(iField));
  });
  ioModule.def("to_graphviz", [](Field const& iField) {
    return Result(
        [field = iField.Get()] {
          SF::SFSilence const silence;
          SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
          std::string graph;
          if (Failed(SF::SFDagToGraphViz(context).Export(*field.Node(), graph, false)))
            throw std::length_error("the drawing of the graph is too large");
          return graph;
        },
        IsSmall(iField));
  });
}

} // namespace

void AddTexts(py::module_& ioModule)
{
  AddReading(ioModule);
  AddWriting(ioModule);
}

} // namespace SFPython
