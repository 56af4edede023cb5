#include "CalculusSupport.h"
#include "HostResource.h"

#include "BRXResourceToSFExecutionInfo.h"
#include "ExplicitToSF.h"
#include "ResourceGradientToSF.h"
#include "ResourceToSFExecutionInfo.h"
#include "TetMeshToSF.h"

#include <cstring>
#include <iomanip>
#include <limits>
#include <new>

namespace SF {
class SFTetMesh
{
};
} // namespace SF
class ZULIBRXObject
{
};

using namespace SF;
using namespace SFTest;

namespace {

double const Missing = std::numeric_limits<double>::max();

std::string TextOf(_GUID const& iId)
{
  std::ostringstream text;
  text << std::hex << std::setfill('0') << std::setw(8) << iId.Data1 << '-' << std::setw(4) << iId.Data2 << '-'
       << std::setw(4) << iId.Data3 << '-';
  for (std::size_t i = 0; i < 8; ++i)
    text << (i == 2 ? "-" : "") << std::setw(2) << int{iId.Data4[i]};
  return text.str();
}

template <class Class>
void ExpectClass(Class& iNode, char const* iGuid, char const* iTag, int iType, HRESULT iCompute, double iScalar)
{
  ResourceToSF& node = iNode;
  EXPECT_EQ(TextOf(node.GetSFResourceType()), iGuid);
  EXPECT_EQ(node.GetSFResourceType(), Class::GetSFResourceTypeS()) << iTag;
  EXPECT_STREQ(node.GetSFResourceTypeTag(), iTag);
  EXPECT_STREQ(Class::GetSFResourceTypeTagS(), iTag);
  EXPECT_EQ(static_cast<int>(node.GetTypeTag()), iType) << iTag;
  EXPECT_EQ(node.GetExpressionId(), "") << iTag;
  EXPECT_EQ(node.ComputeScalars({}, {}, ZULGMSFDiscretizationAccuracyLevel::ELow), iCompute) << iTag;
  EXPECT_EQ(node.GetScalar({2, 0, 0}), iScalar) << iTag;
  EXPECT_EQ(node.GetRawResource(), nullptr) << iTag;
  double gradient[3] = {0, 0, 0};
  EXPECT_EQ(node.ResourceToSF::GetGradient(gradient, {}), S_OK) << iTag;
  EXPECT_TRUE(gradient[0] == Missing && gradient[1] == Missing && gradient[2] == Missing) << iTag;
}

} // namespace

TEST(Resource, ClassesHaveTheirIdentifiersAndDefaults)
{
  ResourceToSF base;
  ResourceGradientToSF gradient(std::make_shared<ResourceToSF>(), SFNodeType::X);
  HostResource host;
  ExplicitToSF plain;
  TetMeshToSF mesh;
  ExpectClass(base, "1151f947-c088-47ed-bbde-fbe9d9af8432", "#R", 1, S_OK, Missing);
  ExpectClass(gradient, "acc0b71f-2f5a-4fd6-9ba3-b7aeefb744c7", "#RGrad", 7, S_OK, Missing);
  ExpectClass(host, "6de32814-5f41-4afd-a191-8c944b7c21b2", "#BRX", 31, S_OK, 2.0);
  ExpectClass(plain, "6a2939a6-996c-473b-80ba-06e041abf8b8", "#EXPL", 1, S_OK, Missing);
  ExpectClass(mesh, "e45151cf-ec82-4eea-8e00-4e9caab3a4ab", "#TM", 31, E_FAIL, 0.0);
}

TEST(Resource, IdsHoldASharp)
{
  ResourceToSF resource;
  EXPECT_EQ(resource.SetExpressionId("x#1"), S_OK);
  EXPECT_EQ(LinesOf([&] { EXPECT_EQ(resource.SetExpressionId("abc"), E_INVALIDARG); }),
            LineList{"Error in SetExpressionId at src/ResourceToSF.cpp:N foundSharp != SFExpression::npos not "
                     "satisfied."});
  EXPECT_EQ(resource.GetExpressionId(), "x#1");
}

TEST(Resource, GradientsPickTheirComponent)
{
  std::string const invalid = "Error in ResourceGradientToSF::GetScalar, invalid gradient variable !";
  auto const host = std::make_shared<HostResource>();
  auto const failing = std::make_shared<HostResource>([](ZULMathPoint const&) { return 0.0; }, E_FAIL);
  // clang-format off
  struct { std::shared_ptr<ResourceToSF> resource; int variable; double value; LineList lines; } const cases[] = {
      {host, 2, 1.0, {}}, {host, 3, 2.0, {}}, {host, 4, 3.0, {}}, {host, 5, Missing, {invalid}},
      {failing, 3, Missing, {}}, {failing, 5, Missing, {}},
  };
  // clang-format on
  for (auto const& test : cases) {
    ResourceGradientToSF const gradient(test.resource, static_cast<SFNodeType>(test.variable));
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(gradient.GetScalar({}), test.value); }), test.lines) << test.variable;
    EXPECT_EQ(static_cast<int>(ResourceGradientToSF(gradient).GetVariableType()), test.variable);
  }
}

TEST(Resource, MeshesMove)
{
  auto const mesh = std::make_shared<SFTetMesh>();
  TetMeshToSF a;
  TetMeshToSF b(mesh);
  EXPECT_EQ(TetMeshToSF(b).GetRawResource(), mesh.get());
  a.MoveFrom(b);
  EXPECT_EQ(b.GetRawResource(), nullptr);
  a.MoveFrom(a);
  EXPECT_EQ(a.GetRawResource(), mesh.get());
  double distance = 4.0;
  EXPECT_EQ(a.GetSFMaxDistance(distance), E_FAIL);
  EXPECT_EQ(distance, 4.0);
}

TEST(Resource, CopiesShareOperandsAndStartWithoutSlots)
{
  ResourceToSF source(SFNodeType::POLY);
  source.SetExpressionId("#a");
  source.SetRank(4);
  source.SetLhs(Op(SFNodeType::X));
  source.GetNewEvaluationContext();
  ResourceToSF const copy(source);
  EXPECT_TRUE(copy == source);
  EXPECT_EQ(copy.GetExpressionId(), "#a");
  EXPECT_EQ(copy.GetLhs(), source.GetLhs());
  EXPECT_EQ(copy.GetContextCount(), 0U);
}

TEST(Resource, ExecutionInfosReferToTheHost)
{
  int object = 0;
  ResourceToSFExecutionInfo info(&object);
  ResourceToSFExecutionInfo const copy(info);
  info.SetRef(nullptr);
  static_cast<SFExecutionInfo&>(info) = copy; // does nothing
  info = copy;                                // nor does this
  EXPECT_EQ(info.GetRef(), nullptr);
  EXPECT_EQ(ResourceToSFExecutionInfo(copy).GetRef(), &object);
  EXPECT_TRUE(info == info);
  EXPECT_FALSE(info == ResourceToSFExecutionInfo(info));

  ZULIBRXObject body;
  BRXResourceToSFExecutionInfo brx(&body);
  brx.SetRef(&object); // is not the object of the modeller
  EXPECT_EQ(brx.GetRef(), nullptr);
  EXPECT_EQ(BRXResourceToSFExecutionInfo(brx).GetBRXObject(), &body);
  brx = BRXResourceToSFExecutionInfo();
  EXPECT_EQ(brx.GetBRXObject(), &body);
}

namespace {

/// What a record that refers to something holds behind its table of functions once it is destroyed.
template <class Record, class Referred>
void* LeftBy(Referred& iReferred)
{
  alignas(Record) unsigned char memory[sizeof(Record)];
  auto* const record = new (memory) Record(&iReferred);
  record->~Record();
  void* left = &iReferred;
  std::memcpy(&left, memory + sizeof(void*), sizeof left);
  return left;
}

} // namespace

TEST(Resource, ExecutionInfosForgetTheHostWhenTheyDie)
{
  int object = 0;
  ZULIBRXObject body;
  EXPECT_EQ(LeftBy<ResourceToSFExecutionInfo>(object), nullptr);
  EXPECT_EQ(LeftBy<BRXResourceToSFExecutionInfo>(body), nullptr);
}

TEST(Resource, ChainsOfGradientsAreDismantledWithoutRecursion)
{
  std::shared_ptr<ResourceToSF> chain = std::make_shared<ExplicitToSF>(SFNodeType::POLY);
  for (int i = 0; i < 1000000; ++i)
    chain = std::make_shared<ResourceGradientToSF>(std::move(chain), SFNodeType::X);
  OnSmallStack([&] { chain.reset(); });
}
