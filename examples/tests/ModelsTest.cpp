#include "FileContent.h"
#include "Tables.h"

using namespace SFTest;

/// The models are solid where their parts should be.
TEST(Models, AreSolidWhereTheyShouldBe)
{
  CheckTable("models", 2, [](std::vector<std::string> const& iRow) {
    NodePtr const root = Build(SFExample::ReadFile(SF_EXAMPLES_DIR "/" + iRow[0]));
    Captured const quiet;
    EXPECT_EQ(root->GetReady(Level2()), S_OK);
    return LineList{ValueAt(*root, PointOf(iRow[1])) < 0.0 ? "solid" : "void"};
  });
}

// Inside the upright of the bracket lattice and voids alternate, and neither is most of it.
TEST(Models, TheBracketsLatticeIsNeitherFullNorEmpty)
{
  NodePtr const root = Build(SFExample::ReadFile(SF_EXAMPLES_DIR "/gyroid_bracket.sf"));
  int samples = 0;
  int solid = 0;
  for (double x = -15.0; x <= 15.0; x += 0.5)
    for (double z = 20.0; z <= 38.0; z += 0.5, ++samples)
      solid += ValueAt(*root, {x, 24.0, z}) < 0.0 ? 1 : 0;
  EXPECT_GT(solid, samples / 8);
  EXPECT_LT(solid, samples / 2);
}
