#include "HeapUse.h"
#include "Support.h"

#include "SFConstant.h"
#include "graph/SFNodePool.h"
#include "tape/SFLargePages.h"

#include <algorithm>
#include <set>
#include <thread>

#if defined(__GLIBC__)
#include <sys/resource.h>
#endif

using namespace SF;
using namespace SFTest;

namespace {

constexpr std::size_t Count = SFNodePool::OnHeap + 100000; // several chunks

std::vector<NodePtr> MakeConstants()
{
  SFNodePool pool;
  std::vector<NodePtr> nodes;
  nodes.reserve(Count);
  for (std::size_t i = 0; i < Count; ++i)
    nodes.push_back(pool.Make<SFConstant>(static_cast<double>(i)));
  return nodes;
}

} // namespace

TEST(NodePool, NodesOutliveTheirPoolAndGoOnAnyThread)
{
  auto nodes = MakeConstants();
  std::thread([&] {
    for (std::size_t i = 0; i < Count; ++i)
      if (i % 30000 != 7)
        nodes[i].reset();
  }).join();
  auto const others = MakeConstants(); // in the places of those that have gone, if any were taken for free too early
  for (std::size_t i = 7; i < Count; i += 30000) {
    double value = 0.0;
    ASSERT_EQ(nodes[i]->GetConstant(value), S_OK);
    EXPECT_EQ(value, static_cast<double>(i));
  }
}

#if defined(__GLIBC__) && !defined(SF_INSTRUMENTED)
TEST(NodePool, ChunksGoWithTheirLastNode)
{
  MakeConstants(); // what the heap keeps for itself is there
  SFPageStore::Drop();
  std::size_t const before = TakenFromHeap();
  auto nodes = MakeConstants();
  std::size_t const least = before + 4 * SFLargePage;
  EXPECT_GT(TakenFromHeap(), least);
  nodes.erase(nodes.begin() + 1, nodes.end());
  nodes.shrink_to_fit();
  // All but that of the first node, which is in the heap, are kept for the next graph, and that takes no others.
  std::size_t const kept = SFPageStore::GetKeptCount();
  EXPECT_GE(kept, 4U);
  nodes = MakeConstants();
  EXPECT_LT(SFPageStore::GetKeptCount(), 2U);
  std::vector<NodePtr>().swap(nodes);
  EXPECT_EQ(SFPageStore::GetKeptCount(), kept);
  SFPageStore::Drop();
  EXPECT_LT(TakenFromHeap(), before + SFLargePage);
}

TEST(PageStore, KeepsNoMoreThanItSaysAndNoneWhereAddressesAreLimited)
{
  SFPageStore::Drop();
  std::vector<void*> pages(SFPageStore::MaxKept + 3); // never written to
  std::generate(pages.begin(), pages.end(), SFPageStore::Take);
  EXPECT_EQ(std::set<void*>(pages.begin(), pages.end()).size(), pages.size());
  std::for_each(pages.begin(), pages.end(), SFPageStore::GiveBack);
  EXPECT_EQ(SFPageStore::GetKeptCount(), SFPageStore::MaxKept);
  SFPageStore::Drop();

  void* const page = SFPageStore::Take();
  rlimit unlimited{};
  getrlimit(RLIMIT_AS, &unlimited);
  rlimit const limited{rlim_t{1} << 46, unlimited.rlim_max};
  setrlimit(RLIMIT_AS, &limited);
  SFPageStore::GiveBack(page);
  setrlimit(RLIMIT_AS, &unlimited);
  EXPECT_EQ(SFPageStore::GetKeptCount(), 0U);
}
#endif
