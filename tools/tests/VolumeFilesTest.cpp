#include "SFShapes.h"
#include "SFToolsErrors.h"
#include "SFVolumeFiles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <functional>

namespace {

namespace fs = std::filesystem;
using SF::SFField;
using SF::SFVolumeFormat;

SF::SFGridFrame const Frame{{20, 30, 40}, 0.1, {-1, -1.5, -2}};

class VolumeFiles : public testing::Test
{
protected:
  VolumeFiles() : _path(fs::path(testing::TempDir()) / "sf_volume.raw") { fs::remove(_path); }
  ~VolumeFiles() override { fs::remove(_path); }

  SF::SFVolumeReport Write(SFField const& iField, SFVolumeFormat iFormat, SF::SFVolumeOptions const& iOptions = {},
                           SF::SFGridFrame const& iFrame = Frame)
  {
    SF::SFOutputFile file(_path);
    auto const report = SF::WriteVolume(iField, iFrame, iFormat, file, iOptions);
    file.Commit();
    return report;
  }

  fs::path _path;
};

TEST_F(VolumeFiles, ReportWhatTheyHold)
{
  SFField const root = sqrt(SFField::X());
  auto const holed = Write(root, SFVolumeFormat::Raw);
  EXPECT_EQ(fs::file_size(_path), Frame.PointCount() * sizeof(float));
  EXPECT_EQ(holed.pointsWithoutValue, Frame.PointCount() / 2);
  EXPECT_EQ(holed.activePoints, Frame.PointCount());

  // Three voxels on both sides of a plane between two points, also where the field is five times as steep.
  for (double const steepness : {1.0, 5.0}) {
    auto const plane = Write(steepness * (SFField::Z() - 0.05), SFVolumeFormat::Vdb);
    EXPECT_NEAR(plane.steepness, steepness, 1e-9);
    EXPECT_EQ(plane.activePoints, Frame.PointCount() / 40 * 6);
  }
}

TEST_F(VolumeFiles, FormatsFollowNames)
{
  EXPECT_EQ(SF::VolumeFormatOf("a.b.VDB"), SFVolumeFormat::Vdb);
  EXPECT_EQ(SF::VolumeFormatOf(".nrrd"), SFVolumeFormat::Nrrd);
  for (char const* const name : {"vdb", "part.vd", ""})
    EXPECT_THROW(SF::VolumeFormatOf(name), std::invalid_argument) << name;
}

TEST_F(VolumeFiles, FailuresLeaveNothing)
{
  std::atomic<bool> const cancelled{true};
  SF::SFVolumeOptions cancelling;
  cancelling.cancel = &cancelled;
  SF::SFVolumeOptions poor;
  poor.maxMemory = 1e4;
  SF::SFVolumeOptions negative;
  negative.halfBand = -1.0;
  SFField const ball = SF::Sphere(1.0);
  for (SFVolumeFormat const format : {SFVolumeFormat::Vdb, SFVolumeFormat::Npy}) {
    EXPECT_THROW(Write(ball, format, cancelling), SF::SFCancelled);
    EXPECT_THROW(Write(ball, format, poor), SF::SFMemoryLimit);
    EXPECT_THROW(Write(ball, format, negative), std::invalid_argument);
    EXPECT_THROW(Write(sqrt(SFField(-1.0) - square(SFField::X())), format), SF::SFModelError);
  }
  EXPECT_THROW(Write(ball, SFVolumeFormat::Vdb, {}, {{9, 9, 9}, 0.1, {3, 3, 3}}), SF::SFModelError);
  EXPECT_FALSE(fs::exists(_path));
  SF::SFOutputFile file(_path);
  EXPECT_THROW(SF::WriteVolume(std::vector<float>(7), Frame, SFVolumeFormat::Raw, file), std::invalid_argument);
}

} // namespace
