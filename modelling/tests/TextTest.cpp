#include "HostResource.h"
#include "ResourceGradientToSF.h"
#include "SFAffineTransform.h"
#include "SFDagOffset.h"
#include "SFFieldCalculus.h"
#include "SFListing.h"
#include "SFOp.h"
#include "SFTransforms.h"
#include "Tables.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>

namespace {

using namespace SF;
using namespace SFTest;

/// A ball of radius 1 about (2, 0, 0).
class BallResource : public HostResource
{
public:
  BallResource() : HostResource(Distance) {}

  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const override
  {
    double const d[3] = {iPoint.x - 2.0, iPoint.y, iPoint.z};
    for (int i = 0; i < 3; ++i)
      oGradient[i] = d[i] / (Distance(iPoint) + 1.0);
    return S_OK;
  }

private:
  static double Distance(ZULMathPoint const& iPoint)
  {
    return ZULMathVector(iPoint.x - 2.0, iPoint.y, iPoint.z).Length() - 1.0;
  }
};

/// Resolves every reference.
class BallResolver : public SFResourceResolver
{
public:
  ResourceToSF* Resolve(std::string const&) override { return new BallResource(); }
};

std::string Moved(double iX) { return "m[1;0;0;" + std::to_string(iX) + ";0;1;0;0;0;0;1;0;0;0;0;1] "; }

SFField Done(std::string const& iOperation, SFField const& iField)
{
  std::istringstream words(iOperation);
  std::string verb;
  std::string argument;
  words >> verb >> argument;
  if (verb == "offset")
    return Offset(iField, std::stod(argument));
  if (verb == "derive")
    return Gradient(iField)[static_cast<std::size_t>(argument[0] - 'x')];
  return iField;
}

TEST(Text, HasItsPlainMeaning)
{
  for (TableRow const& row : ReadTable("meanings")) {
    SFField const field = Done(row.cells[0], SFField::FromExpression(row.cells[1]));
    ZULMathPoint const at = PointOf(row.cells[2]);
    EXPECT_NEAR(field(at.x, at.y, at.z), std::stod(row.cells[4]), 1e-12) << row.place;
  }
  std::string many = Moved(3);
  for (int i = 0; i < 5000; ++i)
    many += "U - X f" + std::to_string(i) + " ";
  EXPECT_EQ(SFField::FromExpression(many + "X")(4.0, 1.0, 1.0), -4998.0);
  EXPECT_EQ(SFField::FromExpression("- X\n\tf1\n")(3.0, 0.0, 0.0), 2.0);
  EXPECT_EQ(With(SFField::FromExpression("o0.5 - X pr[1]"), "r", 2.0)(2.5, 0.0, 0.0), 0.0);

  BallResolver resolver;
  std::pair<std::string, double> const resources[] = {
      {"#ball ", 4.0}, {Moved(1) + "#ball ", 3.0}, {"# 3 ", 4.0}, {"o1 #ball ", 3.0}, {Moved(1) + "o1 #ball ", 2.0}};
  for (auto const& [text, value] : resources)
    EXPECT_NEAR(SFField::FromExpression(text, &resolver)(7.0, 0.0, 0.0), value, 1e-12) << text;
}

TEST(Text, KnowsTheBoundsOfTurnedParts)
{
  std::string const turned = "m[0.8;-0.6;0;3;0.6;0.8;0;0;0;0;1;0;0;0;0;1] ";
  std::string const sheared = "m[1;0.5;0;0;0;1;0.3;0;0;0;2;5;0;0;0;1] ";
  std::string const block = "I I - a X f2 - a Y f1 - a Z f1 ";
  struct
  {
    std::string text;
    ZULMathBox box;
  } const cases[] = {{turned + block, {{0.8, -2.0, -1.0}, {5.2, 2.0, 1.0}}},
                     {sheared + block, {{-2.5, -1.3, 3.0}, {2.5, 1.3, 7.0}}},
                     {"U " + turned + block + Moved(-9) + block, {{-11.0, -2.0, -1.0}, {5.2, 2.0, 1.0}}},
                     {"\\ " + turned + block + block, {{0.8, -2.0, -1.0}, {5.2, 2.0, 1.0}}},
                     {"I " + turned + "- + X Y f3 " + turned + block, {{0.8, -2.0, -1.0}, {5.2, 2.0, 1.0}}}};
  for (auto const& [text, box] : cases) {
    auto const found = SFField::FromExpression(text).Bounds();
    ASSERT_TRUE(found) << text;
    double const slack[] = {box.low.x - found->low.x,   box.low.y - found->low.y,   box.low.z - found->low.z,
                            found->high.x - box.high.x, found->high.y - box.high.y, found->high.z - box.high.z};
    for (double const s : slack)
      EXPECT_TRUE(s > -1e-9 && s < 1e-6) << text << ' ' << s;
  }
  EXPECT_FALSE(SFField::FromExpression("U " + turned + block + turned + "X").Bounds());
}

TEST(Text, FollowsThePlainMeaningOfNodes)
{
  auto const plane = std::make_shared<SFOp>(SFNodeType::X);
  SFField const wall = SFField::FromNode(std::make_shared<SFDagOffset>(plane, 2.0, SFDagOffset::ETwoSided));
  EXPECT_EQ(wall(0.25, 0.0, 0.0), -0.75);
  EXPECT_EQ(wall(-3.0, 0.0, 0.0), 2.0);
  auto const host = std::make_shared<ResourceGradientToSF>(std::make_shared<BallResource>(), SFNodeType::X);
  EXPECT_EQ(SFField::FromNode(host)(5.0, 0.0, 0.0), 1.0);

  class HostOp : public SFOp
  {
    using SFOp::SFOp;
  };
  std::shared_ptr<SFDagNode> const refused[] = {
      nullptr, std::make_shared<HostOp>(SFNodeType::X), std::make_shared<SFOp>(SFNodeType::PLUS, plane),
      std::make_shared<SFOp>(SFNodeType::AFFINETRANSFORM, plane), std::make_shared<SFDagOffset>(plane, 2.0, 7)};
  for (auto const& node : refused)
    EXPECT_THROW(SFField::FromNode(node), std::invalid_argument);
}

TEST(Text, WithoutAMeaningIsRefusedByName)
{
  std::pair<std::string, std::string> const cases[] = {
      {"", "empty"},
      {"$", "operand is expected"},
      {"+ X", "operand is expected"},
      {"m X", "not a readable expression"},
      {"#nobody ", "'#nobody' has no resource"},
      {"# 12 ", "'# 12' has no resource"},
      {"d[#a;#b] X", "DISCRETETRANFORM"},
      {"g[] X", "GCGUIDEDTRANSFORM"},
      {"m[0;0;0;0;0;1;0;0;0;0;1;0;0;0;0;1] X", "no inverse"},
      {"n[0;0;0;0;0;0;1] X", "no axis"},
      {"n[0;0;0;0;0;1;0] X", "no axis"},
      {"b-1 X Y", "radius"},
  };
  Captured output;
  for (auto const& [text, reason] : cases)
    try {
      SFField::FromExpression(text);
      ADD_FAILURE() << text;
    } catch (std::invalid_argument const& error) {
      EXPECT_NE(std::string(error.what()).find(reason), std::string::npos) << text << ": " << error.what();
    }
  EXPECT_EQ(output.Text(), "");
}

/// Every level is one node that two transforms lead to.
std::shared_ptr<SFDagNode> Doubled(int iLevels)
{
  std::shared_ptr<SFDagNode> node = std::make_shared<SFOp>(SFNodeType::X);
  for (int i = 0; i < iLevels; ++i) {
    double const shift = i + 1;
    std::array<std::shared_ptr<SFDagNode>, 2> sides;
    for (double const side : {0, 1}) {
      double const rows[12] = {1, 0, 0, side == 0 ? shift : -shift * shift, 0, 1, 0, 0, 0, 0, 1, 0};
      auto const moved = std::make_shared<SFAffineTransform>(ZULMathTransformation(rows, 12));
      moved->SetLhs(node);
      sides[side == 0 ? 0 : 1] = moved;
    }
    node = std::make_shared<SFOp>(SFNodeType::MIN, sides[0], sides[1]);
  }
  return node;
}

TEST(Text, DoublingsUnderTransformsAreLimited)
{
  EXPECT_EQ(SFField::FromNode(Doubled(4))(0.0, 0.0, 0.0), -10.0);
  EXPECT_THROW(SFField::FromNode(Doubled(60)), std::length_error);
  std::string nested;
  for (int i = 0; i < 100000; ++i)
    nested += Moved(1);
  EXPECT_EQ(SFField::FromExpression(nested + "X")(0.0, 0.0, 0.0), -100000.0);
  SFField doubled = SFField::X();
  for (int i = 0; i < 100; ++i)
    doubled = doubled * doubled;
  EXPECT_THROW(doubled.ToExpression(), std::length_error);
  EXPECT_EQ(ReadListing(WriteListing(doubled)), doubled);
}

/// A field with shared parts, every operator, and constants of any digits.
SFField RandomField(std::mt19937& ioRandom)
{
  std::vector<SFField> parts{SFField::X(), SFField::Y(), SFField::Z(), SFField::Parameter("r", 0.1 + 0.2)};
  auto const any = [&]() -> SFField const& { return parts[ioRandom() % parts.size()]; };
  for (int i = 0; i < 40; ++i) {
    double const number = std::bit_cast<double>((std::uint64_t{ioRandom()} << 32) | ioRandom());
    SFField const constant = std::isfinite(number) ? number : 5e-324;
    SFField const choices[] = {any() + any(),
                               any() - constant,
                               any() * any(),
                               any() / any(),
                               min(any(), any()),
                               max(any(), any()),
                               sqrt(abs(any())),
                               sin(any()),
                               cos(any()),
                               atan(any()),
                               exp(any()),
                               log(any()),
                               sign(any()),
                               pow(any(), any()),
                               Difference(any(), any()),
                               square(any()),
                               asin(any()),
                               acos(any()),
                               tan(any()),
                               SymmetricDifference(any(), any()),
                               constant * any(),
                               -any(),
                               any() - -0.0,
                               Translate(any(), {0.1, 0.0, 1e-7})};
    parts.push_back(choices[ioRandom() % std::size(choices)]);
  }
  return parts.back();
}

TEST(Text, WrittenAndReadIsTheSameField)
{
  std::mt19937 random(3);
  for (int i = 0; i < 500; ++i) {
    SFField const field = RandomField(random);
    SFField const listed = ReadListing(WriteListing(field));
    EXPECT_EQ(listed, field) << WriteListing(field);
    SFField read;
    try {
      read = SFField::FromExpression(field.ToExpression());
    } catch (std::domain_error const&) {
      continue; // folding has made an infinity or NaN
    }
    EXPECT_EQ(read, field) << field.ToExpression();
    for (double const x : {-1.5, 0.0, 0.3})
      EXPECT_EQ(std::bit_cast<std::uint64_t>(read(x, 0.7, -x)), std::bit_cast<std::uint64_t>(field(x, 0.7, -x)));
  }
}

TEST(Text, SaysWhatItCannotHold)
{
  BallResolver resolver;
  SFField const ball = SFField::FromExpression("#ball ", &resolver);
  SFField const refused[] = {SFField(INFINITY),
                             SFField(NAN),
                             SFField::Parameter("a b", 1.0),
                             SFField::Parameter("a[0", 1.0),
                             Translate(ball, {1.0, 0.0, 0.0}),
                             Gradient(ball)[0]};
  for (SFField const& field : refused) {
    EXPECT_THROW(field.ToExpression(), std::domain_error);
    SFField const listed = ReadListing(WriteListing(field), &resolver);
    EXPECT_EQ(WriteListing(listed), WriteListing(field));
    EXPECT_EQ(std::isnan(listed(3.0, 1.0, 0.0)), std::isnan(field(3.0, 1.0, 0.0)));
    EXPECT_TRUE(listed(3.0, 1.0, 0.0) == field(3.0, 1.0, 0.0) || field == refused[1]);
  }
  EXPECT_EQ(ball.ToExpression(), "#ball $");
  EXPECT_THROW(WriteListing(ball + SFField::FromExpression("#ball ", &resolver)), std::domain_error);
  auto const ranged = Parameters(ReadListing(WriteListing(SFField::Parameter("\"\\\n", 1.0, -2.0, INFINITY))));
  EXPECT_EQ(ranged[0].name, "\"\\\n");
  EXPECT_EQ(ranged[0].low, -2.0);
}

TEST(Listing, IsReadAsPublished)
{
  std::string const text = "# two planes\r\n"
                           "_0 var-x # the first\r\n\r\n"
                           "\tfe var-y\r\n"
                           "_2\tconst  -1.5e0\r\n"
                           "_3 add fe _2\n"
                           "_5 neg _0\n"
                           "_04 max _3 _5\n"
                           "_4 max _04 _04#no line feed";
  SFField const solid = max(SFField::Y() + -1.5, -SFField::X());
  EXPECT_EQ(ReadListing(text), max(solid, solid));
}

struct ListingError
{
  std::string text;
  std::size_t line;
  std::size_t column;
};

TEST(Listing, NamesThePlaceOfAnError)
{
  ListingError const cases[] = {
      {"", 1, 1},
      {"# nothing\n", 2, 1},
      {"_0", 1, 3},
      {"_0 var-w", 1, 4},
      {"_0 var-x\n_1 add _0", 2, 10},
      {"_0 var-x\n_1 add _0 _1", 2, 11},
      {"_0 var-x _0", 1, 10},
      {"_0 var-x\n_0 var-y", 2, 1},
      {"_1 var-x\n_1 var-y", 2, 1},
      {"_0 const 1.2.3", 1, 10},
      {"_0 const 1-2", 1, 10},
      {"_0 const 1e", 1, 10},
      {"_0 const nan:7ff", 1, 10},
      {"_0 param \"a", 1, 10},
      {"_0 param \"\\q\" 1", 1, 11},
      {"_0 param \"\\x4\" 1", 1, 11},
      {"_0 param \"a\" inf", 1, 10},
      {"_0 param \"a\" 1 2", 1, 17},
      {"_0 resource \"#a\"", 1, 13},
      {std::string("_0 \0 1", 6), 1, 4},
  };
  for (ListingError const& c : cases)
    try {
      ReadListing(c.text);
      ADD_FAILURE() << c.text;
    } catch (SFListingError const& error) {
      EXPECT_EQ(error.GetLine(), c.line) << c.text << ": " << error.what();
      EXPECT_EQ(error.GetColumn(), c.column) << c.text << ": " << error.what();
    }
}

} // namespace
