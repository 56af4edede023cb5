#include "Support.h"

#include "SFDagCloner.h"
#include "SFDagOffset.h"
#include "SFVariable.h"

#include <algorithm>

using namespace SF;
using namespace SFTest;

namespace {

std::string const Trace = "SFDagEvaluator::OffsetFunctionTree, gradient norm ";
std::string const FunctorPath = "src/SFDagFunctor.cpp";
std::string const OffsetPath = "src/SFDagOffset.cpp";

SFSWContext const& OneSidedOnly()
{
  static SFSWContext const context(SFSemanticLevel::ESemanticLevel2,
                                   SFGeometryOptions(SFGeometryCreationMode::EGeometryCreationOneSided));
  return context;
}

/// Writes what is asked of it into a journal.
class Recorder : public SFOp
{
public:
  Recorder(std::string iName, std::string& ioJournal)
    : SFOp(SFNodeType::X), _name(std::move(iName)), _journal(ioJournal)
  {
  }
  void ResetEvaluationCache() const override { Note("clear"); }
  HRESULT GetReady(SFSWContext const&) const override
  {
    Note("ready");
    return S_OK;
  }
  SFEvaluationContext GetNewEvaluationContext() const override
  {
    Note("open");
    return SFEvaluationContext(0);
  }
  void Reset(SFEvaluationContext const&) const override { Note("reset"); }

private:
  void Note(char const* iWhat) const { _journal.append(_name).append(" ").append(iWhat).append("; "); }

  std::string _name;
  std::string& _journal;
};

/// A functor over recorders.
class RecordedFunctor : public SFDagFunctor
{
public:
  explicit RecordedFunctor(std::string& ioJournal) : SFDagFunctor(SFNodeType::OFFSET), _journal(ioJournal)
  {
    SetLhs(std::make_shared<Recorder>("left", ioJournal));
    SetRhs(std::make_shared<Recorder>("right", ioJournal));
  }
  HRESULT BuildDerivedDAG(SFSWContext const&, NodePtr& oDerivedDag) const override
  {
    oDerivedDag = std::make_shared<Recorder>("derived", _journal);
    return S_OK;
  }

private:
  std::string& _journal;
};

NodePtr const& DerivedOf(SFDagNode const& iNode) { return dynamic_cast<SFDagFunctor const&>(iNode).GetDerivedDag(); }

HRESULT ReadyQuietly(SFDagNode const& iNode, SFSWContext const& iContext = Level2())
{
  Captured const quiet;
  return iNode.GetReady(iContext);
}

} // namespace

TEST(OffsetNode, BuildsOnceAndKeepsWhatItBuilt)
{
  SFDagOffset node(Build("X $"), 0.5);
  EXPECT_EQ(LinesOf([&] { EXPECT_EQ(node.GetReady(Level2()), S_OK); }), LineList{Trace});
  NodePtr const derived = node.GetDerivedDag();
  EXPECT_EQ(ValueAt(node, {3, 0, 0}), 2.5);

  // Neither another context nor another distance makes it build again.
  EXPECT_EQ(node.SetConstant(1.0), S_OK);
  EXPECT_EQ(LinesOf([&] { EXPECT_EQ(node.GetReady(OneSidedOnly()), S_OK); }), LineList{});
  EXPECT_EQ(node.GetDerivedDag(), derived);
  EXPECT_EQ(ValueAt(node, {3, 0, 0}), 2.5);
  double distance = 0.0;
  EXPECT_EQ(node.GetConstant(distance), S_OK);
  EXPECT_EQ(distance, 1.0);
}

TEST(OffsetNode, BuildsAgainWhatIsDiscarded)
{
  NodePtr const field = Build("* pk[1] X $");
  SFDagOffset node(field, 0.5);
  auto const valueAfter = [&](auto iChange) {
    iChange();
    EXPECT_EQ(ReadyQuietly(node), S_OK);
    return ValueAt(node, {3, 0, 0});
  };
  EXPECT_EQ(valueAfter([] {}), 2.5);
  EXPECT_EQ(valueAfter([&] { dynamic_cast<SFVariable&>(*field->GetLhs()).SetConstant(2.0); }), 2.5);
  EXPECT_EQ(valueAfter([&] { node.Discard(); }), 5.0);
  EXPECT_EQ(valueAfter([&] { node.SetConstant(-1.0); }), 5.0);
  EXPECT_EQ(valueAfter([&] { node.Discard(); }), 8.0);
}

TEST(OffsetNode, IsNotOffsetAfterAChange)
{
  ZULTolerance const other(0.25);
  std::function<void(SFDagOffset&)> const changes[] = {
      [](SFDagOffset& ioNode) { ioNode.SetConstant(3.0); },
      [&other](SFDagOffset& ioNode) { ioNode.SetTolerance(&other); },
  };
  for (auto const& change : changes)
    for (bool const isClone : {false, true}) {
      auto inner = std::make_shared<SFDagOffset>(Build("X $"), 0.5);
      EXPECT_EQ(ReadyQuietly(*inner), S_OK);
      if (isClone)
        inner = std::dynamic_pointer_cast<SFDagOffset>(SFDagCloner::Clone(inner));
      SFDagOffset const outer(inner, 0.1);
      change(*inner);
      EXPECT_EQ(LinesOf([&] { EXPECT_EQ(outer.GetReady(Level2()), E_FAIL); }).front(),
                FailedCall("GradientNorm", "src/SFDagOffsetOperator.cpp"));
      inner->SetTolerance(nullptr);
      inner->Discard();
      EXPECT_EQ(ReadyQuietly(outer), S_OK);
      double distance = 0.0;
      EXPECT_EQ(inner->GetConstant(distance), S_OK);
      EXPECT_NEAR(ValueAt(outer, {distance + 0.1, 0, 0}), 0.0, 1e-6);
    }
}

TEST(OffsetNode, ReportsWhatItCannotBuildAndTriesAgain)
{
  LineList const functor{FailedCall("GetReady", FunctorPath)};
  LineList const nothing{"SFDagEvaluator::OffsetFunctionTree, no function provided ! ",
                         "Error in BuildDerivedDAG at " + OffsetPath +
                             ":N SF::SFDagOffsetOperator couldn't build "
                             "tree.",
                         "Error in BuildDerivedDAG at " + OffsetPath + ":N oDerivedDag.get() is nullptr",
                         functor.front()};
  struct
  {
    bool field;
    std::int32_t sides;
    SFSWContext const& context;
    LineList lines;
  } const cases[] = {{true, 2, Level2(), functor},       {true, -1, Level2(), functor},
                     {true, 1, OneSidedOnly(), functor}, {false, 2, Level2(), functor},
                     {false, 0, Level2(), nothing},      {false, 1, Level2(), nothing},
                     {false, 0, OneSidedOnly(), nothing}};
  for (auto const& test : cases) {
    SFDagOffset const node(test.field ? Build("X $") : nullptr, 0.5, test.sides);
    for (int attempt = 0; attempt < 2; ++attempt)
      EXPECT_EQ(LinesOf([&] { EXPECT_EQ(node.GetReady(test.context), E_FAIL); }), test.lines);
    EXPECT_EQ(node.GetDerivedDag(), nullptr);
  }

  SFDagOffset const node(Build("X $"), 2.0, SFDagOffset::ETwoSided);
  EXPECT_EQ(ReadyQuietly(node, OneSidedOnly()), E_FAIL);
  EXPECT_EQ(ReadyQuietly(node, Level2()), S_OK);
  EXPECT_EQ(ValueAt(node, {3, 0, 0}), 8.0);
  SFDagOffset const oneSided(Build("X $"), 2.0);
  EXPECT_EQ(ReadyQuietly(oneSided, OneSidedOnly()), S_OK);
}

TEST(OffsetNode, ItsLinesStandInTheStatedOrder)
{
  auto const placesIn = [](std::string const& iPath) {
    SFDagOffset const node(std::make_shared<SFDagOffset>(nullptr, 1.0), 1.0);
    return PlacesOf(iPath, [&] { EXPECT_EQ(node.GetReady(Level2()), E_FAIL); });
  };
  auto const offset = placesIn(OffsetPath);
  auto const functor = placesIn(FunctorPath);
  ASSERT_EQ(offset.size(), 2U);
  EXPECT_LT(offset[0], offset[1]);
  // The inner node's failed build, then the outer node's failed operand.
  ASSERT_EQ(functor.size(), 2U);
  EXPECT_GT(functor[0], functor[1]);
}

TEST(OffsetNode, TakesItsOwnToleranceOrTheDefault)
{
  // The derivative 2 X + 0.001 keeps its small constant, or not.
  ZULTolerance const coarse(0.01);
  ZULTolerance const fine(1e-5);
  struct
  {
    ZULTolerance const* tolerance;
    bool kept;
  } const cases[] = {{nullptr, true}, {&fine, true}, {&coarse, false}};
  for (auto const& [tolerance, kept] : cases)
    for (std::int32_t const sides : {SFDagOffset::EOneSided, SFDagOffset::ETwoSided}) {
      SFDagOffset const node(Build("+ q X * f0.001 X $"), 1.0, sides, tolerance);
      EXPECT_EQ(ReadyQuietly(node), S_OK);
      EXPECT_EQ(TextOf(*node.GetDerivedDag()).find("+ * f2 X f0.001") != std::string::npos, kept);
    }

  // A rendering lends its tolerance to the root only.
  for (char const* const text : {"o1 + q X * f0.001 X $", "! o1 + q X * f0.001 X $"}) {
    NodePtr root = Build(text);
    bool const isRoot = root->GetTypeTag() == SFNodeType::OFFSET;
    auto const& offset = dynamic_cast<SFDagOffset const&>(isRoot ? *root : *root->GetLhs());
    unsigned int dims[3] = {1, 1, 1};
    std::vector<float> values(1);
    Captured const quiet;
    EXPECT_EQ(SFDagEvaluator(Level2()).Render(dims, values, 1.0, nullptr, root, coarse,
                                              ZULGMSFDiscretizationAccuracyLevel::ELow),
              S_OK);
    EXPECT_EQ(offset.GetTolerance(), nullptr);
    EXPECT_EQ(TextOf(*offset.GetDerivedDag()).find("+ * f2 X f0.001") == std::string::npos, isRoot);
  }
}

TEST(OffsetNode, ForwardsToOperandsAndDerivedGraphInOrder)
{
  std::string journal;
  RecordedFunctor const functor(journal);
  auto const journalOf = [&journal](auto iAction) {
    journal.clear();
    iAction();
    return journal;
  };
  SFEvaluationContext const context(0);
  EXPECT_EQ(journalOf([&] { functor.GetNewEvaluationContext(); }), "left open; right open; ");
  EXPECT_EQ(journalOf([&] { functor.GetReady(Level2()); }), "left ready; right ready; derived ready; ");
  EXPECT_EQ(journalOf([&] { functor.GetReady(Level2()); }), "left ready; right ready; ");
  EXPECT_EQ(journalOf([&] { functor.GetNewEvaluationContext(); }), "left open; right open; derived open; ");
  functor.GetContextInfos(0) = {1.0, SFDagNode::ECacheDone};
  EXPECT_EQ(journalOf([&] { functor.Reset(context); }), "left reset; right reset; derived reset; ");
  EXPECT_EQ(functor.GetContextInfos(0).state, SFDagNode::ECacheReset);
  EXPECT_EQ(journalOf([&] { functor.ResetEvaluationCache(); }), "left clear; right clear; derived clear; ");
  EXPECT_EQ(functor.GetContextCount(), 0U);
}

TEST(OffsetNode, ADerivedGraphThatIsNotReadyIsNotKept)
{
  // The functor's derived graph holds an offset that cannot be built.
  struct Functor : SFDagFunctor
  {
    Functor() : SFDagFunctor(SFNodeType::OFFSET) {}
    HRESULT BuildDerivedDAG(SFSWContext const&, NodePtr& oDerivedDag) const override
    {
      oDerivedDag = Op(SFNodeType::NOT, std::make_shared<SFDagOffset>(Op(SFNodeType::X), 1.0, sides));
      return S_OK;
    }
    std::int32_t sides = 7;
  } functor;
  std::string const build = FailedCall("GetReady", FunctorPath);
  EXPECT_EQ(LinesOf([&] { EXPECT_EQ(functor.GetReady(Level2()), E_FAIL); }),
            (LineList{build, FailedCall("GetReady", "PrivateInterfaces/SFDagNode.h"), build}));
  EXPECT_EQ(functor.GetDerivedDag(), nullptr);
  functor.sides = 0;
  EXPECT_EQ(ReadyQuietly(functor), S_OK);
  EXPECT_NE(DerivedOf(*functor.GetDerivedDag()->GetLhs()), nullptr);
}

TEST(OffsetNode, DeepNestingEndsInALine)
{
  std::string const tooDeep = "Error in GetReady at " + FunctorPath + ":N functor nodes are nested too deep.";
  auto const linesOf = [](SFDagNode const& iNode, HRESULT iCode) {
    return LinesOf([&] { EXPECT_EQ(iNode.GetReady(Level2()), iCode); });
  };
  auto const lines = linesOf(*Build(Repeated("o1 ", 5000) + "X $"), E_FAIL);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), tooDeep), 1);

  // The count is that of one build: many offsets beside each other are no nesting.
  std::string many;
  for (int i = 0; i < 400; ++i)
    many += "U o" + std::to_string(i) + " o1 o1 X ";
  EXPECT_EQ(ReadyQuietly(*Build(many + "X $")), S_OK);

  // A functor that holds itself.
  struct Functor : SFDagFunctor, std::enable_shared_from_this<Functor>
  {
    Functor() : SFDagFunctor(SFNodeType::OFFSET) {}
    HRESULT BuildDerivedDAG(SFSWContext const&, NodePtr& oDerivedDag) const override
    {
      oDerivedDag = std::const_pointer_cast<Functor>(shared_from_this());
      return S_OK;
    }
  };
  auto const endless = linesOf(*std::make_shared<Functor>(), E_FAIL);
  EXPECT_EQ(endless.front(), tooDeep);
}
