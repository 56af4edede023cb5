#include "CalculusSupport.h"
#include "Models.h"
#include "SFDagEvaluator.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace SFTest;

namespace {

struct Probe
{
  ZULMathPoint point;
  bool solid;
  char const* where;
};

} // namespace

TEST(GyroidBracket, IsSolidWhereItShouldBe)
{
  auto const root = BuildModel("gyroid_bracket.sf");
  ASSERT_NE(root, nullptr);
  EXPECT_GE(NodesOf(*root).size(), 200u);
  SF::SFDagEvaluator const evaluator(Level2());
  SF::SFEvaluationContext context = root->GetNewEvaluationContext();
  auto const at = [&](ZULMathPoint const& iPoint) {
    root->Reset(context);
    context.SetAtPosition(iPoint);
    EXPECT_EQ(evaluator.ComputeScalar(context, *root), S_OK);
    return root->GetContextInfos(context.GetIndex()).value;
  };
  for (auto const& [point, solid, where] : std::vector<Probe>{
           {{0, 0, 0.8}, true, "the skin under the plate"},
           {{0, 29.2, 35}, true, "the skin behind the upright"},
           {{-44.2, 0, 5}, true, "the skin at the plate's side"},
           {{0, 22, 83.5}, true, "the skin over the seat"},
           {{34, -18, 5}, false, "a screw's hole"},
           {{34 + 4.5, -18, 8}, false, "a screw's counterbore"},
           {{34 + 4.5, -18, 3}, true, "the wall around a screw's hole"},
           {{-34, 6 + 6.5, 7}, true, "the wall around a screw's counterbore"},
           {{8, -16, 5}, false, "the slot"},
           {{0, 20, 62}, false, "the bore"},
           {{13, 14, 62}, false, "the bearing's counterbore"},
           {{13, 20, 62}, true, "the wall around the bore"},
           {{20, -18 + 4, 10 + 3}, true, "a rib"},
           {{0, 17, 11}, true, "the fillet"},
           {{-44, 29, 5}, false, "outside the rounded corner"},
           {{40, 24, 60}, false, "beside the upright"},
       })
    EXPECT_EQ(at(point) < 0.0, solid) << where << ": " << at(point);

  // Inside the upright lattice and voids alternate, and neither is most of it.
  int samples = 0;
  int solid = 0;
  for (double x = -15.0; x <= 15.0; x += 0.5)
    for (double z = 20.0; z <= 38.0; z += 0.5) {
      double const value = at({x, 24.0, z});
      ASSERT_FALSE(std::isnan(value));
      ++samples;
      solid += value < 0.0 ? 1 : 0;
    }
  EXPECT_GT(solid, samples / 8);
  EXPECT_LT(solid, samples / 2);
}
