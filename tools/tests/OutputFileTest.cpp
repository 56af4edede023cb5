#include "SFOutputFile.h"
#include "SFToolsErrors.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;

std::string ContentOf(fs::path const& iFile)
{
  std::ifstream file(iFile, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(OutputFile, AppearsWholeOrNotAtAll)
{
  fs::path const folder = fs::path(testing::TempDir()) / "sf_output_file";
  fs::remove_all(folder);
  fs::create_directory(folder);
  fs::path const target = folder / "result";
  std::ofstream(target) << "before";
  auto const filesThere = [&] { return std::distance(fs::directory_iterator(folder), fs::directory_iterator()); };

  {
    SF::SFOutputFile abandoned(target);
    abandoned.Write(std::string_view("half"));
  }
  EXPECT_EQ(ContentOf(target), "before");
  EXPECT_EQ(filesThere(), 1);

  {
    SF::SFOutputFile stopped(target);
    EXPECT_EQ(SF::SFOutputFile::RemoveUnfinished(), SF::SFOutputFile::Unfinished::Removed);
    EXPECT_EQ(filesThere(), 1);
    EXPECT_EQ(SF::SFOutputFile::RemoveUnfinished(), SF::SFOutputFile::Unfinished::None);
  }

  SF::SFOutputFile whole(target);
  whole.Write(std::string_view("count=?, all"));
  whole.Overwrite(6, "7");
  whole.Write(std::string_view("."));
  EXPECT_EQ(ContentOf(target), "before");
  whole.Commit();
  EXPECT_EQ(ContentOf(target), "count=7, all.");
  EXPECT_EQ(filesThere(), 1);
  EXPECT_EQ(SF::SFOutputFile::RemoveUnfinished(), SF::SFOutputFile::Unfinished::None);
}

TEST(OutputFile, FailsWithItsName)
{
  SF::SFOutputFile full("/dev/full");
  EXPECT_THROW(full.Write(std::string(1 << 20, 'x')), SF::SFFileError);
  try {
    SF::SFOutputFile("no/such/folder/file");
    FAIL();
  } catch (SF::SFFileError const& error) {
    EXPECT_EQ(std::string(error.what()).rfind("no/such/folder/file: ", 0), 0U);
  }
}

} // namespace
