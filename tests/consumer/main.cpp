// What a host does with an installed library: reads a field, gives it geometry of its own, evaluates and renders it,
// assembles a graph by hand, and reads the lines of inline functions that it compiled itself. Ends with 1, after a line, at the first value that is not the expected one.
#include <BRXResourceToSF.h>
#include <SFAffineTransform.h>
#include <SFDagEvaluator.h>
#include <SFDagFromExpression.h>
#include <SFDagToExpression.h>
#include <SFGCGuidedTransform.h>
#include <SFOp.h>
#include <SFResourceResolver.h>
#include <SFSWContext.h>
#include <SFVersion.h>

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace {

/// The distance to a plane z = constant; refuses points far from it.
class Plane : public SF::BRXResourceToSF
{
public:
  HRESULT ComputeScalars(ZULMathBox const&, ZULTolerance const&, ZULGMSFDiscretizationAccuracyLevel) override
  {
    return S_OK;
  }
  double GetScalar(ZULMathPoint const& iPoint) const override
  {
    if (iPoint.z > 100.0)
      throw std::out_of_range("too far");
    return iPoint.z - 0.5;
  }
};

class Resolver : public SF::SFResourceResolver
{
public:
  SF::ResourceToSF* Resolve(std::string const& iText) override { return iText == "#BRX:plane" ? new Plane : nullptr; }
};

void Expect(bool iCondition, char const* iWhat)
{
  if (iCondition)
    return;
  std::cerr << "not as expected: " << iWhat << '\n';
  std::exit(1);
}

double ValueAt(SF::SFDagNode const& iRoot, ZULMathPoint const& iPoint)
{
  SF::SFSWContext const level2(SF::SFSemanticLevel::ESemanticLevel2);
  Expect(Succeeded(iRoot.GetReady(level2)), "GetReady");
  auto context = iRoot.GetNewEvaluationContext();
  context.SetAtPosition(iPoint);
  Expect(Succeeded(SF::SFDagEvaluator(level2).ComputeScalar(context, iRoot)), "ComputeScalar");
  return iRoot.GetContextInfos(context.GetIndex()).value;
}

void ReadsEvaluatesWrites()
{
  Resolver resolver;
  auto const root = SF::SFDagFromExpression::BuildFromExpression("I - r + + q X q Y q Z f2 #BRX:plane $", &resolver);
  Expect(root != nullptr, "the text can be read");
  Expect(ValueAt(*root, {2.0, 3.0, 6.0}) == 5.5, "the plane decides above");
  Expect(ValueAt(*root, {0.0, 0.0, -4.0}) == 2.0, "the sphere decides below");
  Expect(dynamic_cast<Plane const*>(root->GetRhs().get()) != nullptr, "the host's class is in the graph");

  SF::SFSWContext const level1;
  std::string text;
  Expect(Succeeded(SF::SFDagToExpression(level1).Export(*root, text, true, false)) &&
             text == "I - r + + q X q Y q Z f2 #BRX:plane $",
         "the text comes back");
}

void RendersAndPassesExceptionsOn()
{
  Resolver resolver;
  auto root = SF::SFDagFromExpression::BuildFromExpression("#BRX:plane $", &resolver);
  SF::SFSWContext const context;
  SF::SFDagEvaluator const evaluator(context);
  unsigned int dims[] = {2, 2, 8};
  std::vector<float> values(2 * 2 * 8);
  constexpr auto level = ZULGMSFDiscretizationAccuracyLevel::EMedium;
  Expect(evaluator.Render(dims, values, 0.25, nullptr, root, ZULGetDefaultTolerance(), level) == S_OK, "Render");
  Expect(values.front() == -0.5F && values.back() == 1.25F, "the rendered values");

  double const origin[] = {0.0, 0.0, 99.0};
  bool caught = false;
  try {
    evaluator.Render(dims, values, 0.25, origin, root, ZULGetDefaultTolerance(), level);
  } catch (std::out_of_range const&) {
    caught = true;
  }
  Expect(caught, "an exception of the host comes back as itself");
}

void AssemblesByHand()
{
  double const shift[] = {1, 0, 0, 5, 0, 1, 0, 0, 0, 0, 1, 0};
  auto const moved = std::make_shared<SF::SFAffineTransform>(ZULMathTransformation(shift, 12));
  moved->SetLhs(std::make_shared<SF::SFOp>(SF::SFNodeType::X));
  Expect(ValueAt(*moved, {7.0, 0.0, 0.0}) == 2.0, "the transform moves the field");
}

/// Lines show the header's path in the sources of the library, wherever it has been installed.
void ReportsPlacesOfTheLibrary()
{
  std::ostringstream lines;
  std::streambuf* const before = std::cout.rdbuf(lines.rdbuf());
  SF::SFGCGuidedTransform guided;
  guided.AddWireToCrossSection(0, nullptr);
  guided.GetWire(0, 0);
  guided.AddCrossSection();
  guided.GetWire(0, 0);
  double const flat[12] = {};
  ZULMathPoint point;
  SF::SFAffineTransform(ZULMathTransformation(flat, 12)).ApplyInverseTransformation(point);
  SF::CheckNumberText("1 2");
  SF::CheckNumberText("1,2");
  std::cout.rdbuf(before);

  std::istringstream stream(lines.str());
  std::string line;
  for (std::string const place :
       {"AddWireToCrossSection at PrivateInterfaces/SFGCGuidedTransform.h:",
        "GetWire at PrivateInterfaces/SFGCGuidedTransform.h:", "GetWire at PrivateInterfaces/SFGCGuidedTransform.h:",
        "GetInverse at PrivateInterfaces/SFAffineTransform.h:",
        "ApplyInverseTransformation at PrivateInterfaces/SFAffineTransform.h:",
        "ToSFString at ProtectedInterfaces/SFTypes.h:", "ToSFString at ProtectedInterfaces/SFTypes.h:"}) {
    std::getline(stream, line);
    Expect(line.starts_with("Error in " + place), line.c_str());
  }
}

} // namespace

int main()
{
  Expect(std::string(SF_VERSION_STRING) == FOUND_VERSION, "the version of the package");
  ReadsEvaluatesWrites();
  RendersAndPassesExceptionsOn();
  AssemblesByHand();
  ReportsPlacesOfTheLibrary();
  std::cout << "consumer: as expected\n";
}
