#include "Support.h"

#include <gtest/gtest.h>

using namespace SFTest;

TEST(Text, WritesWhatItReads)
{
  for (std::string const text : {"+ X * Y f2 $", "U q X f1 $", "b0.1 - X f1 q Y $", "o0.5 + X Y $", "pradius[2.5] $",
                                 "n[0;0;0;0;0;1;3] X $", "m[1;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] X $", "#foo $"}) {
    auto const root = Build(text);
    ASSERT_NE(root, nullptr) << text;
    EXPECT_EQ(TextOf(*root), text);
  }
}
