#include "CalculusSupport.h"
#include "HostResource.h"

#include "SFVariable.h"

#include <cfloat>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

namespace {

struct Curvatures
{
  HRESULT code = S_OK;
  double maximum = 42.0;
  double minimum = 42.0;
};

Curvatures Measure(NodePtr const& iField, std::array<unsigned int, 3> iDims, std::array<double, 3> const& iOrigin,
                   double iVoxel)
{
  Curvatures found;
  found.code = SFDagEvaluator(Level2()).ComputeMaxAndMinCurvature(found.maximum, found.minimum, iDims.data(),
                                                                  iOrigin.data(), iVoxel, iField, ZULTolerance());
  return found;
}

void ExpectWithin(double iValue, double iLow, double iHigh)
{
  // the square root of a rounding error: M^2 - K is 0 where the curvatures are equal
  constexpr double rounding = 1e-6;
  EXPECT_GE(iValue, iLow - rounding);
  EXPECT_LE(iValue, iHigh + rounding);
}

} // namespace

// The points that count lie on level sets up to b = 0.8 h away from the surface, whose radii differ by as much.

TEST(Curvature, OfASphere)
{
  constexpr double h = 0.125;
  constexpr double b = 0.8 * h;
  Curvatures const found =
      Measure(Build("- r + + q - X f0.5 q Y q + Z f0.25 f2"), {45, 45, 45}, {-2.25, -2.75, -3.0}, h);
  EXPECT_EQ(found.code, S_OK);
  for (double const curvature : {found.maximum, found.minimum})
    ExpectWithin(curvature, -1.0 / (2.0 - b), -1.0 / (2.0 + b));
  EXPECT_GT(found.maximum, -0.5); // points on both sides of the surface have been met
  EXPECT_LT(found.minimum, -0.5);
}

TEST(Curvature, OfACylinder)
{
  constexpr double h = 0.25;
  constexpr double b = 0.8 * h;
  Curvatures const found = Measure(Build("- r + q X q Y f2"), {25, 25, 3}, {-3.0, -3.0, 0.0}, h);
  ExpectWithin(found.maximum, 0.0, 0.0);
  ExpectWithin(found.minimum, -1.0 / (2.0 - b), -0.5); // (2, 0, 0) is a point of the grid
}

TEST(Curvature, OfATorus)
{
  constexpr double R = 1.0;
  constexpr double r = 0.25;
  constexpr double h = 1.0 / 16.0;
  constexpr double b = 0.8 * h;
  Curvatures const found =
      Measure(Build("- r + q - r + q X q Y f1 q Z f0.25"), {45, 45, 13}, {-22 * h, -22 * h, -6 * h}, h);
  // around the hole, most of all where it is narrowest, and around the tube; both places are points of the grid
  ExpectWithin(found.maximum, 1.0 / (R - r), 1.0 / (R - r - b));
  ExpectWithin(found.minimum, -1.0 / (r - b), -1.0 / r);
}

TEST(Curvature, LeavesOutPointsOutsideOfTheBand)
{
  // Spheres about the origin: of the points 1, 2, ... 5 along X only the one within 0.8 of radius 3 counts.
  double maximum = 0.0;
  double minimum = 0.0;
  unsigned int dims[] = {6, 1, 1};
  EXPECT_EQ(SFDagEvaluator(Level2()).ComputeMaxAndMinCurvature(maximum, minimum, dims, nullptr, 1.0,
                                                               Build("- r + + q X q Y q Z f3.5"), ZULTolerance()),
            S_OK);
  ExpectWithin(maximum, -1.0 / 4.0, -1.0 / 4.0);
  ExpectWithin(minimum, -1.0 / 3.0, -1.0 / 3.0);
}

TEST(Curvature, ReportsWhereItFails)
{
  std::string const head = "Error in SFDagEvaluator::ComputeGaussianCurvature, ";
  std::string const hessian =
      FailedWith(head + "ComputeFirstOrderDerivative(gradient[i / 3], variable[i % 3], iZeroOrderCtx[i / 3], "
                        "iFirstOrderCtx[i / 3])");
  std::string const gradient = FailedWith(head + "ComputeScalar(iZeroOrderCtx[i], *gradient[i])");
  std::string const lastLines[] = {FailedWith(head + "ComputeScalar(iZeroOrderCtx, iFunctionNode)"),
                                   gradient + " at i = 0",
                                   gradient + " at i = 2",
                                   hessian + " at i = 0",
                                   hessian + " at i = 1",
                                   hessian + " at i = 2",
                                   hessian + " at i = 6",
                                   hessian + " at i = 7",
                                   hessian + " at i = 8"};
  for (int reads = 0; reads < 10; ++reads) {
    // The parameter is in the field and in two components of its gradient.
    NodePtr const field =
        Op(MULT, Op(MULT, Op(SIN, Op(X)), Op(SIN, Op(Z))), std::make_shared<Fading<SFVariable>>(reads, "p", 2.0));
    Curvatures found;
    LineList const lines = LinesOf([&] { found = Measure(field, {1, 1, 1}, {0, 0, 0}, 1.0); });
    if (reads == 9) {
      EXPECT_EQ(found.code, S_OK);
      break;
    }
    EXPECT_EQ(found.code, E_FAIL);
    EXPECT_EQ(found.maximum, 42.0);
    EXPECT_EQ(found.minimum, 42.0);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), lastLines[reads]);
  }

  std::string const noFunction = "SFDagEvaluator::DifferentiateFunctionTree, no function provided ! ";
  std::string const notRecognized =
      "Error in SFDagEvaluator::DifferentiateFunctionTree, SFNodeType provided not recognized ! ";
  struct
  {
    NodePtr field;
    LineList lines;
  } const cases[] = {{nullptr, LineList(3, noFunction)},
                     {Build("b1 X Y"), LineList(3, notRecognized)},
                     {Build("o1 X"), LineList(3, noFunction)},
                     // a component that lacks an operand cannot be evaluated
                     {Op(PLUS, Op(X), std::make_shared<HostResource>()),
                      {notRecognized, notRecognized, notRecognized,
                       "Error in SFDagEvaluator::ComputeAndSetScalar, iNode.GetRhs() returned nullptr.",
                       FailedWith("Error in SFDagEvaluator::ComputeScalar, ComputeAndSetScalar for PLUS on RHS"),
                       gradient + " at i = 0"}}};
  for (auto const& c : cases) {
    Curvatures found;
    EXPECT_EQ(LinesOf([&] { found = Measure(c.field, {2, 2, 2}, {0, 0, 0}, 1.0); }), c.lines);
    EXPECT_EQ(found.code, E_FAIL);
    EXPECT_EQ(found.maximum, 42.0);
  }
  double maximum = 42.0;
  EXPECT_EQ(LinesOf([&] {
              EXPECT_EQ(SFDagEvaluator(Level2()).ComputeMaxAndMinCurvature(maximum, maximum, nullptr, nullptr, 1.0,
                                                                           Op(X), ZULTolerance()),
                        E_INVALIDARG);
            }),
            LineList{"Error in ComputeMaxAndMinCurvature at src/SFCurvature.cpp:N iDims != nullptr not satisfied."});
  EXPECT_EQ(maximum, 42.0);
}
