#pragma once

#include "FileContent.h"
#include "Support.h"

#include <string>

namespace SFTest {

/// The model in a file of the examples' folder, whose text is to be the canonical one. Null if it cannot be built.
inline NodePtr BuildModel(std::string const& iFile)
{
  std::string const text = SFExample::ReadFile(SF_EXAMPLES_DIR "/" + iFile);
  NodePtr root = Build(text);
  if (root != nullptr) {
    EXPECT_EQ(TextOf(*root) + "\n", text);
  }
  return root;
}

} // namespace SFTest
