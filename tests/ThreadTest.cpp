#include "Support.h"

#include "SFAffineTransform.h"
#include "SFCylindricalTransform.h"

#include <thread>

using namespace SF;
using namespace SFTest;

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

TEST(ThreadDiagnostics, LinesDoNotMixAndAreFlushed)
{
  struct Buffer : std::stringbuf
  {
    int sync() override { return ++flushed, 0; }
    std::streamsize xsputn(char const* iText, std::streamsize iCount) override
    {
      auto const written = std::stringbuf::xsputn(iText, iCount);
      std::this_thread::yield(); // to whoever wants to write meanwhile
      return written;
    }
    std::size_t flushed = 0;
  } buffer;
  auto* const before = std::cout.rdbuf(&buffer);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      NodePtr const node = Op(SFNodeType::END);
      SFEvaluationContext context(0);
      for (int i = 0; i < 500; ++i)
        SFDagEvaluator(Level2()).ComputeScalar(context, *node);
    });
  for (auto& thread : threads)
    thread.join();
  std::cout.rdbuf(before);
  EXPECT_EQ(buffer.str(), Repeated("Error in SFDagEvaluator::ComputeScalar, node type not supported.\n", 2000));
  EXPECT_EQ(buffer.flushed, 2000U);
}
