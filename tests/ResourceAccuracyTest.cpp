#include "Support.h"

#include "ResourceGradientToSF.h"
#include "SFDagEvaluator.h"
#include "SFOp.h"

#include <gtest/gtest.h>

using namespace SF;
using namespace SFTest;

namespace {

/// Writes its name into a journal when it is asked to compute, with what it was asked for.
class Recorder : public ResourceToSF
{
public:
  Recorder(SFNodeType iType, std::string iName, std::string& ioJournal)
    : ResourceToSF(iType), _name(std::move(iName)), _journal(ioJournal)
  {
  }
  HRESULT ComputeScalars(ZULMathBox const& iBox, ZULTolerance const& iTolerance,
                         ZULGMSFDiscretizationAccuracyLevel iLevel) override
  {
    EXPECT_EQ(iBox.high.z, 3.0);
    EXPECT_EQ(iTolerance.GetResolution(), 0.125);
    EXPECT_EQ(iLevel, ZULGMSFDiscretizationAccuracyLevel::EHigh);
    _journal += _name;
    return E_FAIL; // to be ignored
  }

private:
  std::string _name;
  std::string& _journal;
};

void Update(NodePtr const& iRoot)
{
  ZULMathBox box;
  box.high = {1.0, 2.0, 3.0};
  EXPECT_EQ(SFDagEvaluator(Level2()).UpdateResourceToDiscretizationAccuracyLevel(
                iRoot, box, ZULTolerance(0.125), ZULGMSFDiscretizationAccuracyLevel::EHigh),
            E_NOTIMPL);
}

} // namespace

TEST(ResourceAccuracy, EachResourceIsAskedOnceRightBeforeLeft)
{
  std::string journal;
  auto const resource = [&journal](SFNodeType iType, char const* iName) {
    return std::make_shared<Recorder>(iType, iName, journal);
  };
  auto const node = [](SFNodeType iType, NodePtr iLhs, NodePtr iRhs = nullptr) {
    return std::make_shared<SFOp>(iType, std::move(iLhs), std::move(iRhs));
  };
  auto const a = resource(SFNodeType::POLY, "a");
  auto const b = resource(SFNodeType::UNRESOLVEDREF, "b");
  auto const c = resource(SFNodeType::RESOLVEDREF, "c");
  auto const end = resource(SFNodeType::END, "!");
  auto const gradient = resource(SFNodeType::POLYGRADIENT, "!");
  // A node with operands may be a resource too; it is met before them.
  auto const above = resource(SFNodeType::RESOLVEDREF, "d");
  above->SetLhs(c);

  using enum SFNodeType;
  struct
  {
    NodePtr root;
    char const* calls;
  } const cases[] = {
      {nullptr, ""},
      {Build("+ X f2 $"), ""},
      {a, "a"},
      {node(PLUS, a, b), "ba"},
      {node(PLUS, a, node(SIN, node(PLUS, b, c))), "cba"},
      {node(PLUS, a, a), "a"},
      {node(PLUS, node(PLUS, a, b), node(PLUS, c, a)), "acb"},
      {node(PLUS, node(PLUS, end, gradient), node(PLUS, a, gradient)), "a"},
      {node(PLUS, c, above), "dc"},
      // The kind of node decides, and a plain node that claims to be a resource is passed over.
      {node(PLUS, node(POLY, nullptr), b), "b"},
  };
  for (auto const& [root, calls] : cases) {
    journal.clear();
    Update(root);
    EXPECT_EQ(journal, calls);
  }
}
