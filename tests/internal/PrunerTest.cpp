#include "Fields.h"
#include "Tables.h"

#include "tape/SFTapeCompiler.h"
#include "tape/SFTapeRestriction.h"

#include <gtest/gtest.h>

using namespace SFTest;

namespace {

constexpr unsigned int Dims[3] = {65, 33, 40};
SFGrid const Grid(Dims, 1.0, nullptr);

Nodes Spheres(std::size_t iCount)
{
  std::mt19937_64 random(7);
  auto const at = [&](std::uint64_t iEnd) { return static_cast<double>(random() % iEnd); };
  Nodes spheres;
  for (std::size_t i = 0; i < iCount; ++i) {
    double const x = at(Dims[0]);
    double const y = at(Dims[1]);
    double const z = at(Dims[2]);
    spheres.push_back(Sphere(x, y, z, 2.0 + at(5)));
  }
  return spheres;
}

} // namespace

// However a chain is associated, its tiles run lists of nearly the same length, with the same values.
TEST(Pruner, ChainsOfAnyShapeShrinkAlike)
{
  constexpr std::size_t count = 120;
  Nodes const parts = Spheres(count);
  auto const without = [&](Node iSolid) { return Op(WITHOUT, std::move(iSolid), Sphere(30, 15, 20, 9)); };
  struct Case
  {
    char const* what;
    Node leftDeep, balanced;
  };
  Nodes complements;
  for (Node const& part : parts)
    complements.push_back(Op(NOT, part));
  for (Case const& c :
       {Case{"union", Chain(MIN, parts, false), Chain(MIN, parts, true)},
        Case{"intersection of complements", Chain(MAX, complements, false), Chain(MAX, complements, true)},
        Case{"difference", without(Chain(MIN, parts, false)), without(Chain(MIN, parts, true))},
        Case{"subtracted one by one", Chain(WITHOUT, parts, false),
             Op(WITHOUT, parts[0], Chain(MIN, Nodes(parts.begin() + 1, parts.end()), true))}}) {
    double stepsLeft = 0.0;
    double stepsBalanced = 0.0;
    Compiled const left({c.leftDeep}, Grid);
    Values const values = left.OnPrunedTape(&stepsLeft);
    EXPECT_EQ(FirstDifference(values, left.OnTape()), values.size()) << c.what;
    EXPECT_EQ(FirstDifference(values, Compiled({c.balanced}, Grid).OnPrunedTape(&stepsBalanced)), values.size())
        << c.what;
    EXPECT_LT(stepsLeft, 1.1 * stepsBalanced) << c.what;
    EXPECT_LT(stepsBalanced, 1.1 * stepsLeft) << c.what;
    EXPECT_LT(stepsLeft, 0.3 * static_cast<double>(left.tape->GetList().steps.size())) << c.what;
  }
}

TEST(Pruner, DropsOnStrictComparisonsOnly)
{
  CheckTable("pruning", 1, [](std::vector<std::string> const& iRow) {
    Node const root = Build(iRow[0]);
    Compiled const compiled({root}, Grid, 0); // nothing hoisted, so every step is the pruner's
    SFTapePruner const pruner(*compiled.tape);
    auto scratch = pruner.MakeScratch();
    SFPrunableList list;
    SFTile const all{{0, 0, 0}, {Dims[0], Dims[1], Dims[2]}};
    bool const drops = pruner.Prune(pruner.GetList(), {&all, 1}, SFListUse::ToPrune, scratch, &list) != 0;
    EXPECT_EQ(list.steps.size() < pruner.GetList().steps.size(), drops);
    Values const expected = ByRecursion({root}, Grid);
    EXPECT_EQ(FirstDifference(compiled.OnPrunedTape(), expected), expected.size());
    return LineList{drops ? "drops" : "keeps"};
  });
}

namespace {

void ExpectSameLists(SFPrunableList const& iA, SFPrunableList const& iB)
{
  ASSERT_EQ(iA.steps.size(), iB.steps.size());
  EXPECT_EQ(iA.results, iB.results);
  EXPECT_EQ(iA.choices, iB.choices);
  EXPECT_EQ(iA.cost, iB.cost);
  for (std::size_t i = 0; i < iA.steps.size(); ++i) {
    EXPECT_EQ(iA.steps[i].id, iB.steps[i].id);
    EXPECT_EQ(iA.steps[i].code, iB.steps[i].code);
    EXPECT_EQ(iA.steps[i].axes, iB.steps[i].axes);
    EXPECT_EQ(iA.steps[i].operands, iB.steps[i].operands);
    bool const isUnary = IsOperatorCode(iA.steps[i].code) && ArityOf(iA.steps[i].code) == 1;
    EXPECT_TRUE(!isUnary || iA.steps[i].operands[0] == iA.steps[i].operands[1]); // one axis too many, if not
  }
}

} // namespace

// However many boxes are pruned for together, and by which kernels, each gets the list that it gets alone. One
// thread's memory serves pruning after pruning: what one box has dropped, replaced or bounded must not show in another.
TEST(Pruner, BoxesPrunedTogetherDoNotMixUp)
{
  Nodes parts = Spheres(30);
  parts.push_back(Op(SIGN, Op(MINUS, Op(X), Constant(30.0))));
  parts.push_back(Op(ABS, Op(MINUS, Op(MULT, Op(X), Op(Y)), Constant(30.0))));
  parts.push_back(Op(NOT, Op(MAX, Op(MULT, Op(Y), Op(Z)), Op(LN, Op(MINUS, Op(X), Constant(20.0))))));
  Node const root = Op(WITHOUT, Chain(MIN, parts, false), Chain(MAX, Spheres(3), true));
  for (SFTapeKernels const* const kernels : AvailableTapeKernels()) {
    KernelsInUse const forced(kernels->name);
    Compiled const compiled({root, parts[3], root, Op(SQUARE, Op(MIN, parts[4], parts[5]))}, Grid);
    SFTapePruner const pruner(*compiled.tape);
    SFPrunableList const& all = pruner.GetList();
    auto shared = pruner.MakeScratch();
    std::array<SFPrunableList, SFTapePruner::MaxBoxes> together;
    std::mt19937_64 random(5);
    for (int trial = 0; trial < 60; ++trial) {
      std::array<SFTile, SFTapePruner::MaxBoxes> boxes;
      for (SFTile& box : boxes)
        for (std::size_t axis = 0; axis < 3; ++axis) {
          box.begin[axis] = static_cast<unsigned int>(random() % Dims[axis]);
          box.count[axis] = 1 + static_cast<unsigned int>(random() % (Dims[axis] - box.begin[axis]));
        }
      std::size_t const count = 1 + random() % boxes.size();
      SFListUse const use = trial % 2 == 0 ? SFListUse::ToPrune : SFListUse::ToRun;
      SFBoxes const changed = pruner.Prune(all, {boxes.data(), count}, use, shared, together.data());
      for (std::size_t i = 0; i < count; ++i) {
        auto fresh = pruner.MakeScratch();
        SFPrunableList alone;
        EXPECT_EQ(pruner.Prune(all, {&boxes[i], 1}, use, fresh, &alone), changed >> i & 1U);
        ExpectSameLists(together[i], alone);
        ASSERT_FALSE(HasFailure()) << kernels->name << ", trial " << trial << ", box " << i;
      }
    }
  }
}

// Far spheres go, however their unions are associated, and the demand passes through complements.
TEST(Pruner, RestrictionDropsWhatIsFar)
{
  Nodes const spheres = Spheres(200);
  for (bool const isRight : {false, true})
    for (Node const& root : {Chain(MIN, spheres, isRight), Op(NOT, Op(NOT, Chain(MIN, spheres, isRight)))}) {
      SFTapeCompiler compiler(true);
      ASSERT_TRUE(compiler.AddRoot(*root, EFieldLimit));
      SFTape const tape = compiler.Finish();
      SFInterval const x(10.0, 11.0, false);
      SFTape const part = Restricted(tape, {x, x, x});
      EXPECT_LT(part.instructions.size(), tape.instructions.size() / 10);
      EXPECT_EQ(Restricted(part, {x, x, x}).instructions.size(), part.instructions.size());
    }
}
