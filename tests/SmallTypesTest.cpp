#include "Support.h"

#include "BRXResourceToSFExecutionInfo.h"
#include "ResourceToSFExecutionInfo.h"
#include "SFExpressionNodeHandle.h"
#include "SFExpressionPaths.h"
#include "SFGeometryOptions.h"
#include "SFMesher.h"
#include "SFProfilerItf.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>

using namespace SF;
using namespace SFTest;

TEST(SmallTypes, TheMesherLeavesItsOutputsAlone)
{
  SFMesher const mesher(Level2());
  SFMesherItf const& itf = mesher;
  unsigned int dims[3] = {1, 1, 1};
  double const origin[3] = {};
  std::vector<float> values{1.0f};
  std::vector<float> vertices{7.0f};
  std::vector<int> indices{8};
  std::shared_ptr<ResourceToSF> resource;
  constexpr auto level = ZULGMSFDiscretizationAccuracyLevel::ELow;
  EXPECT_EQ(itf.ToRawMesh(dims, origin, 1.0, values, ZULTolerance(), vertices, indices, level), E_NOTIMPL);
  EXPECT_EQ(itf.ToRawMesh(dims, origin, 1.0, resource, ZULTolerance(), vertices, indices, level), E_NOTIMPL);
  EXPECT_EQ(vertices, std::vector<float>{7.0f});
  EXPECT_EQ(indices, std::vector<int>{8});
  EXPECT_EQ(&mesher.GetContext(), &Level2());
}

TEST(SmallTypes, OptionsAreStampedWhenTheyDie)
{
  alignas(SFGeometryOptions) unsigned char memory[sizeof(SFGeometryOptions)];
  auto const modeIn = [&memory] {
    std::int32_t mode = -1;
    std::memcpy(&mode, memory + sizeof(void*), sizeof mode);
    return mode;
  };
  auto* options = new (memory) SFGeometryOptions;
  EXPECT_EQ(modeIn(), 1);
  options->~SFGeometryOptions();
  EXPECT_EQ(modeIn(), 0);
  SFGeometryOptions const oneSided(SFGeometryCreationMode::EGeometryCreationOneSided);
  EXPECT_EQ(static_cast<int>(SFGeometryOptions(oneSided).GetCreationMode()), 2);
}

TEST(SmallTypes, HandlesAndRecordsStartEmpty)
{
  int object = 0;
  SFExpressionNodeHandle const handle(&object, nullptr, -5);
  EXPECT_EQ(SFExpressionNodeHandle(handle), handle);
  EXPECT_EQ(handle.GetFirst(), &object);
  EXPECT_EQ(handle.GetNumber(), -5);
  EXPECT_NE(handle, SFExpressionNodeHandle(nullptr, &object, -5));
  EXPECT_EQ(SFExpressionNodeHandle::GetEmpty(), SFExpressionNodeHandle(nullptr, nullptr, 0));
  EXPECT_EQ(SFExpressionNodeHandle::GetEmpty(), SFExpressionNodeHandle());
  EXPECT_EQ(ResourceToSFExecutionInfo().GetRef(), nullptr);
  EXPECT_EQ(BRXResourceToSFExecutionInfo().GetBRXObject(), nullptr);
}

TEST(SmallTypes, PathsAreAListOfTheirOwn)
{
  // Destroyed as what it was made, which a leak checker sees.
  std::unique_ptr<SFExpressionPaths> const paths = std::make_unique<SFExpressionPaths>();
  SFExpressionPath path({SFOperand::ELhs});
  path.Append(SFOperand::ERhs);
  paths->push_back(path);
  SFExpressionPaths const copy(*paths);
  EXPECT_EQ(copy.front().GetSteps(), (std::vector<SFOperand>{SFOperand::ELhs, SFOperand::ERhs}));
}
