#include "Call.h"
#include "Resources.h"
#include "SFExpressionCheck.h"
#include "SFFormula.h"
#include "SFListing.h"

#include "SFDagToGraphViz.h"
#include "SFDiagnostics.h"
#include "SFResourceResolver.h"
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

/// Resolves the references of a text to the resources that fields of this process have.
class References : public SF::SFResourceResolver
{
public:
  SF::ResourceToSF* Resolve(std::string const& iText) override
  {
    auto const resource = Resource::Find(iText);
    if (resource == nullptr)
      return nullptr;
    _found.emplace(iText, Resource::FieldOf(resource));
    auto standIn = std::make_unique<SF::ResourceToSF>(SF::SFNodeType::RESOLVEDREF);
    standIn->SetExpressionId(iText);
    return standIn.release();
  }

  /// A field that has been read, with the resources themselves, so that it equals the one that was written.
  SF::SFField Resolved(SF::SFField iField) const
  {
    return _found.empty() ? iField : SF::ReadListing(SF::WriteListing(iField), _found);
  }

private:
  SF::SFListingResources _found;
};

/// The field that `iRead` reads with a resolver.
template <class Read>
Field FieldOf(std::string const& iText, Read const& iRead)
{
  return Field(Result(
      [=] {
        References references;
        return references.Resolved(iRead(&references));
      },
      IsShort(iText)));
}

void AddReading(py::module_& ioModule)
{
  ioModule.def("from_expression", [](std::string const& iText) {
    return FieldOf(iText, [=](References* ioResolver) { return SF::SFField::FromExpression(iText, ioResolver); });
  });
  ioModule.def("from_formula", [](std::string const& iText, std::map<std::string, double> const& iValues) {
    return FieldOf(iText, [=](References* ioResolver) { return SF::SFFormula::Read(iText, iValues, ioResolver); });
  });
  ioModule.def("from_listing", [](std::string const& iText) {
    return FieldOf(iText, [=](References* ioResolver) { return SF::ReadListing(iText, ioResolver); });
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
