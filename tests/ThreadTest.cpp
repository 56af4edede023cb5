#include "Support.h"

#include "SFAffineTransform.h"
#include "SFCylindricalTransform.h"

#include <thread>

using namespace SF;
using namespace SFTest;

namespace {

constexpr std::size_t Depth = Scaled(1000000);

} // namespace

TEST(ThreadDepth, UnaryChain)
{
  OnSmallStack([] {
    std::string const text = Repeated("! ", Depth) + "X $";
    auto const root = Build(text);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->GetRank(), static_cast<int>(Depth));
    EXPECT_EQ(root->GetReady(Level2()), S_OK);
    EXPECT_EQ(ValueAt(*root, {3.0, 0.0, 0.0}), 3.0);
    root->Reset(SFEvaluationContext(0));
    EXPECT_EQ(root->GetNewEvaluationContext().GetIndex(), 1);
    EXPECT_EQ(TextOf(*root), text);
    EXPECT_TRUE(*root == *Build(text));
  });
}

TEST(ThreadDepth, BothSidesAndTransforms)
{
  OnSmallStack([] {
    std::string const left = Repeated("+ ", Depth / 2) + Repeated("X ", Depth / 2 + 1);
    std::string const right = Repeated("+ X ", Depth / 2) + "X ";
    std::string const moved = Repeated("m[1;0;0;1;0;1;0;0;0;0;1;0] ", Depth / 10) + "X";
    EXPECT_EQ(ValueAt(*Build(left), {1, 0, 0}), Depth / 2 + 1);
    EXPECT_EQ(ValueAt(*Build(right), {1, 0, 0}), Depth / 2 + 1);
    EXPECT_EQ(ValueAt(*Build(moved), {1, 0, 0}), 1.0 - Depth / 10);
  });
}

TEST(ThreadDepth, FailuresUnwindToo)
{
  OnSmallStack([] {
    auto const root = Build(Repeated("q ", 20000) + "#a");
    SFEvaluationContext context(0);
    Captured const captured;
    EXPECT_EQ(SFDagEvaluator(Level2()).ComputeScalar(context, *root), E_FAIL);
    std::string text;
    EXPECT_EQ(SFDagToExpression(SFSWContext()).Export(*Build(Repeated("q ", 20000) + "pa[1]"), text, true, false),
              E_FAIL);
    EXPECT_EQ(Build(Repeated("q ", 20000) + "p"), nullptr);
  });
}

// One node, first used by several threads at once: each computes on its own slot, the node's lazy state is shared.
TEST(ThreadTransforms, LazyStateIsComputedOnceSafely)
{
  for (char const* const text : {"m[2;0;0;1;0;1;0;0;0;0;1;0] X", "n[0;0;0;0;0;1;3] X"}) {
    auto const root = Build(text);
    root->ReserveEvaluationContexts(SFEvaluationContext(3));
    root->GetLhs()->ReserveEvaluationContexts(SFEvaluationContext(3));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([&root, t] {
        SFEvaluationContext context(t);
        context.SetAtPosition({5.0, 0.0, 0.0});
        SFDagEvaluator(Level2()).ComputeScalar(context, *root);
      });
    for (auto& thread : threads)
      thread.join();
    for (int t = 1; t < 4; ++t)
      EXPECT_TRUE(Same(root->GetContextInfos(t).value, root->GetContextInfos(0).value)) << text;
  }
}
