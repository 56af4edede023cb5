#include "CalculusSupport.h"
#include "HostResource.h"

#include "ExplicitToSF.h"
#include "ResourceGradientToSF.h"
#include "SFAffineTransform.h"
#include "SFBlendNode.h"
#include "SFCylindricalTransform.h"
#include "SFDagCloner.h"
#include "SFDagOffset.h"
#include "SFDiscreteTransformNode.h"
#include "SFGCGuidedTransform.h"
#include "SFVariable.h"
#include "TetMeshToSF.h"

#include <map>
#include <typeinfo>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

namespace {

/// What two graphs must have in common to be copies: node by node from the root, with the same sharing.
void ExpectCopy(SFDagNode const& iCopy, SFDagNode const& iOriginal)
{
  auto const copies = NodesOf(iCopy);
  auto const originals = NodesOf(iOriginal);
  ASSERT_EQ(copies.size(), originals.size());
  std::map<SFDagNode const*, SFDagNode const*> copyOf{{nullptr, nullptr}};
  for (std::size_t i = 0; i < copies.size(); ++i)
    copyOf[originals[i]] = copies[i];
  for (std::size_t i = 0; i < copies.size(); ++i) {
    SFDagNode const& copy = *copies[i];
    SFDagNode const& original = *originals[i];
    EXPECT_NE(&copy, &original);
    EXPECT_EQ(typeid(copy), typeid(original));
    EXPECT_EQ(copy.GetTypeTag(), original.GetTypeTag());
    EXPECT_EQ(copy.GetRank(), original.GetRank());
    EXPECT_EQ(copy.GetExpressionId(), original.GetExpressionId());
    EXPECT_EQ(copy.GetLhs().get(), copyOf[original.GetLhs().get()]);
    EXPECT_EQ(copy.GetRhs().get(), copyOf[original.GetRhs().get()]);
    EXPECT_EQ(copy.GetContextCount(), 0u);
    double a = 0.0;
    double b = 0.0;
    EXPECT_EQ(copy.GetConstant(a), original.GetConstant(b));
    EXPECT_TRUE(Same(a, b));
  }
}

template <class Class>
Class const& As(NodePtr const& iNode)
{
  return dynamic_cast<Class const&>(*iNode);
}

} // namespace

TEST(Cloner, KeepsNodesSharingAndRanks)
{
  for (char const* const text :
       {"X", "+ * X Y * X Y", "U - r + + q X q Y q Z f1 D a X \\ c Y ? Z", "* pr[2.5] + f0.1 pr[2.5]", "b0.25 X Y",
        "m[2;0;0;4;0;4;0;0;0;0;8;0;0;0;0;1] n[0;0;0;0;0;1;3] X", "o0.5 q X", "+ #foo #7 ", "g[[#1 ;#2 ][#3 ]] X",
        "d[#1 ;#2 ] Y"}) {
    NodePtr const root = Build(text);
    ASSERT_NE(root, nullptr) << text;
    root->GetNewEvaluationContext();
    NodePtr const clone = SFDagCloner::Clone(root);
    SCOPED_TRACE(text);
    ExpectCopy(*clone, *root);
    EXPECT_EQ(TextOf(*clone), TextOf(*root));
  }
  EXPECT_EQ(SFDagCloner::Clone(nullptr), nullptr);
}

TEST(Cloner, KeepsParametersToTheLastBit)
{
  double const digits = 0.1 + 0.2;
  NodePtr const odd = C(digits);
  EXPECT_EQ(ValueAt(*SFDagCloner::Clone(odd), {}), digits);
  EXPECT_EQ(As<SFBlendNode>(SFDagCloner::Clone(std::make_shared<SFBlendNode>(*Op(BLEND), digits))).GetBlendParameter(),
            digits);

  std::array<double, 16> coefficients{digits, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3, 0, 0, 0, 1};
  NodePtr const affine = std::make_shared<SFAffineTransform>(ZULMathTransformation(coefficients.data(), 16));
  EXPECT_EQ(As<SFAffineTransform>(SFDagCloner::Clone(affine)).GetParameters(), coefficients);

  for (ZULMathVector const& reference : {ZULMathVector(), ZULMathVector(0.3, digits, 0.0)}) {
    NodePtr const cylinder = std::make_shared<SFCylindricalTransform>(ZULMathPoint(digits, 2, 3),
                                                                      ZULMathVector(4, 5, digits), 1.5, reference);
    NodePtr const clone = SFDagCloner::Clone(cylinder);
    EXPECT_EQ(As<SFCylindricalTransform>(clone).GetParameters(), As<SFCylindricalTransform>(cylinder).GetParameters());
    for (int axis = 0; axis < 3; ++axis) {
      cylinder->SetLhs(Op(SFNodeType{2 + axis}));
      clone->SetLhs(Op(SFNodeType{2 + axis}));
      EXPECT_EQ(ValueAt(*clone, {5, -4, 3}), ValueAt(*cylinder, {5, -4, 3}));
    }
  }

  ZULTolerance const tolerance(0.25);
  NodePtr const offset = std::make_shared<SFDagOffset>(Op(X), digits, SFDagOffset::ETwoSided, &tolerance);
  NodePtr const offsetClone = SFDagCloner::Clone(offset);
  auto const& copy = As<SFDagOffset>(offsetClone);
  EXPECT_EQ(copy.GetSides(), SFDagOffset::ETwoSided);
  EXPECT_EQ(copy.GetTolerance(), &tolerance);
  EXPECT_EQ(copy.GetDerivedDag(), nullptr);
}

TEST(Cloner, SharesResourcesAndNodesOfTheHost)
{
  auto const mesh = std::shared_ptr<SFTetMesh>(reinterpret_cast<SFTetMesh*>(0x1000), [](SFTetMesh*) {});
  auto clone = SFDagCloner::Clone(std::make_shared<TetMeshToSF>(mesh));
  EXPECT_EQ(dynamic_cast<TetMeshToSF&>(*clone).GetRawResource(), mesh.get());

  auto const resource = std::make_shared<ExplicitToSF>(POLY);
  clone = SFDagCloner::Clone(std::make_shared<ResourceGradientToSF>(resource, Z));
  EXPECT_EQ(As<ResourceGradientToSF>(clone).GetResource(), resource);
  EXPECT_EQ(As<ResourceGradientToSF>(clone).GetVariableType(), Z);

  struct HostNode : SFOp
  {
    explicit HostNode(NodePtr iLhs) : SFOp(COS, std::move(iLhs)) {}
  };
  NodePtr const x = Op(X);
  NodePtr const host = std::make_shared<HostNode>(x);
  NodePtr const root = Op(PLUS, host, Op(MULT, host, x));
  clone = SFDagCloner::Clone(root);
  EXPECT_EQ(clone->GetLhs(), host);
  EXPECT_EQ(clone->GetRhs()->GetLhs(), host);
  EXPECT_NE(clone->GetRhs()->GetRhs(), x);
  EXPECT_EQ(SFDagCloner::Clone(host), host);
}

TEST(Cloner, LeavesTheOriginalAlone)
{
  NodePtr const root = Build("o0.25 e + X f0");
  ASSERT_EQ(root->GetReady(Level2()), S_OK);
  NodePtr const clone = SFDagCloner::Clone(root);
  auto const& derived = As<SFDagOffset>(root).GetDerivedDag();
  ASSERT_NE(derived, nullptr);
  std::string const before = TextOf(*derived);
  ExpectCopy(*As<SFDagOffset>(clone).GetDerivedDag(), *derived);
  EXPECT_EQ(ValueAt(*clone, {0.5, 0, 0}), ValueAt(*root, {0.5, 0, 0}));

  Operator::BuildGradientTree(clone, X, ZULTolerance());
  EXPECT_EQ(TextOf(*derived), before);

  NodePtr const field = Build("e * Y + X f0");
  Operator::BuildGradientTree(SFDagCloner::Clone(field), X, ZULTolerance());
  EXPECT_EQ(TextOf(*field), "e * Y + X f0 $");
}
