#include "Support.h"

#include "SFOperatorTable.h"

using namespace SF;
using namespace SFTest;

TEST(Context, SupportsTheKindsOfItsLevel)
{
  for (int const level : {0, 1, 2, 3}) {
    SFSWContext const context(static_cast<SFSemanticLevel>(level));
    int const end = level == 2 ? static_cast<int>(SFNodeTypeCount) : 33;
    for (int kind = -1; kind < static_cast<int>(SFNodeTypeCount) + 2; ++kind) {
      bool const expected = kind >= 0 && kind < end;
      EXPECT_EQ(context.IsSemanticSupported(static_cast<SFNodeType>(kind)) == SFSemanticSupportStatus::ESupported,
                expected)
          << "level " << level << ", kind " << kind;
    }
  }
}

TEST(Context, CopyCarriesTheLevelOnly)
{
  SFSWContext const source(SFSemanticLevel::ESemanticLevel2,
                           SFGeometryOptions(SFGeometryCreationMode::EGeometryCreationOneSided));
  SFSWContext const copy(source);
  EXPECT_EQ(copy.GetSupportedSemanticLevel(), SFSemanticLevel::ESemanticLevel2);
  EXPECT_EQ(copy.GetGeometryOptions().GetCreationMode(), SFGeometryCreationMode{1});
  EXPECT_EQ(source.GetGeometryOptions().GetCreationMode(), SFGeometryCreationMode{2});
}

// Text, messages and stored graphs depend on every one of these.
TEST(OperatorTable, IsTheContract)
{
  std::string const tokens = "~$XYZf#~+q-*UI!csr/ael^D\\CStT?#~~pmbdngo~";
  std::string const arities = "00000000"
                              "2122221111"
                              "2111222"
                              "11111"
                              "0000"
                              "1211110";
  std::istringstream names("NONE END X Y Z CONSTANT POLY POLYGRADIENT PLUS SQUARE MINUS MULT MIN MAX NOT COS SIN ROOT "
                           "DIV ABS EXP LN POW SYMDIFF WITHOUT ACOS ASIN TAN ATAN SIGN UNRESOLVEDREF RESOLVEDREF "
                           "UNDEFINED PARAMETER AFFINETRANSFORM BLEND DISCRETETRANFORM CYLINDRICALTRANSFORM "
                           "GCGUIDEDTRANSFORM OFFSET RESERVED");
  for (std::size_t kind = 0; kind <= 40; ++kind) {
    SFOperatorRow const& row = OperatorRow(static_cast<SFNodeType>(kind));
    std::string name;
    names >> name;
    EXPECT_EQ(row.name, name);
    EXPECT_EQ(row.token, tokens[kind] == '~' ? '\0' : tokens[kind]) << name;
    EXPECT_EQ(row.arity, arities[kind] - '0') << name;
  }
  EXPECT_EQ(OperatorRow(NoKind).name, "NONE");
  EXPECT_EQ(OperatorRow(static_cast<SFNodeType>(-1)).name, "NONE");
}
