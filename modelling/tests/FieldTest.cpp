#include "SFField.h"
#include "SFTransforms.h"

#include <gtest/gtest.h>

namespace {

using namespace SF;

SFField Ball(double iRadius) { return Length({SFField::X(), SFField::Y(), SFField::Z()}) - iRadius; }

TEST(Field, TransformsPlaceTheirOperandOnly)
{
  SFField const ball = Ball(1.0);
  SFField const two = Translate(ball, {-3.0, 0.0, 0.0}) | Translate(ball, {3.0, 0.0, 0.0});
  EXPECT_EQ(two(3.0, 0.0, 0.0), -1.0);
  EXPECT_EQ(two(-3.0, 0.0, 0.0), -1.0);
  EXPECT_EQ(two(0.0, 0.0, 0.0), 2.0);
  auto const bounds = two.Bounds();
  ASSERT_TRUE(bounds);
  EXPECT_NEAR(bounds->low.x, -4.0, 1e-3);
  EXPECT_NEAR(bounds->high.y, 1.0, 1e-3);
}

} // namespace
