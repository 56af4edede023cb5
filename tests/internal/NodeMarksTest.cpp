#include "Support.h"

#include "SFDagCloner.h"
#include "graph/SFDagTraversal.h"
#include "graph/SFNodeMarks.h"

#include <functional>
#include <random>
#include <set>
#include <thread>
#include <utility>

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

namespace {

std::vector<NodePtr> Leaves(std::size_t iCount)
{
  std::vector<NodePtr> nodes;
  for (std::size_t i = 0; i < iCount; ++i)
    nodes.push_back(Op(X));
  return nodes;
}

/// Numbers nodes in two ways at once, again and again the same ones, and compares.
template <class Numbering>
void ExpectSameNumbers(Numbering& ioNumbering, std::vector<NodePtr> const& iNodes, unsigned int iSeed)
{
  std::mt19937 random(iSeed);
  SFNodeIndex expected;
  for (std::size_t i = 0; i < 4 * iNodes.size(); ++i) {
    SFDagNode const* const node = iNodes[random() % iNodes.size()].get();
    ASSERT_EQ(ioNumbering.Find(node), expected.Find(node));
    ASSERT_EQ(ioNumbering.Insert(node), expected.Insert(node));
  }
  EXPECT_EQ(ioNumbering.Size(), expected.Size());
  EXPECT_EQ(ioNumbering.Find(nullptr), SFNodeMarks::Absent);
}

/// A class of a host that does something of its own in the middle of a walk.
class BusyNode : public SFDagNode
{
public:
  BusyNode() : SFDagNode(X) {}

  HRESULT GetReady(SFSWContext const&) const override { return Work(); }
  void Reset(SFEvaluationContext const&) const override { Work(); }
  void ResetEvaluationCache() const override
  {
    Work();
    SFDagNode::ResetEvaluationCache();
  }

  mutable std::function<void()> work; ///< done once
  mutable int calls = 0;

private:
  HRESULT Work() const
  {
    ++calls;
    if (auto const now = std::exchange(work, nullptr))
      now();
    return S_OK;
  }
};

/// Sums over sums with many paths: `iWidth` nodes a level, each the sum of two of the level below.
NodePtr Lattice(std::size_t iLevels, std::size_t iWidth)
{
  auto nodes = Leaves(iWidth);
  for (std::size_t level = 0; level < iLevels; ++level) {
    auto const below = nodes;
    for (std::size_t i = 0; i < iWidth; ++i)
      nodes[i] = Op(PLUS, below[i], below[(i + 1) % iWidth]);
  }
  return nodes[0];
}

std::size_t CountByAddress(SFDagNode const& iRoot)
{
  std::set<SFDagNode const*> met;
  std::vector<SFDagNode const*> open{&iRoot};
  while (!open.empty()) {
    SFDagNode const* const node = open.back();
    open.pop_back();
    if (node != nullptr && met.insert(node).second)
      open.insert(open.end(), {node->GetLhs().get(), node->GetRhs().get()});
  }
  return met.size();
}

} // namespace

TEST(NodeMarks, NumberAsATableDoes)
{
  auto const nodes = Leaves(200);
  for (std::uint32_t const room : {SFNodeMarks::MaxMarked, 50U, 1U, 0U}) {
    SFNodeMarks first(room);
    ExpectSameNumbers(first, nodes, room);
    // One that starts while another is there, and the first one after it.
    SFNodeMarks second(room);
    ExpectSameNumbers(second, nodes, room + 1);
    for (auto const& node : nodes) {
      auto const found = first.Find(node.get());
      auto const [number, isNew] = first.Insert(node.get());
      EXPECT_EQ(found, isNew ? SFNodeMarks::Absent : number);
    }
  }
  SFNodeMarks later;
  EXPECT_EQ(later.Find(nodes[0].get()), SFNodeMarks::Absent);
}

TEST(NodeMarks, AreNotCopied)
{
  auto const constant = std::make_shared<SFConstant>(1.0);
  auto const assigned = Op(Y);
  SFNodeMarks marks;
  marks.Insert(constant.get());
  SFConstant const copy(*constant);
  *assigned = *constant;
  EXPECT_EQ(marks.Find(&copy), SFNodeMarks::Absent);
  EXPECT_EQ(marks.Find(assigned.get()), SFNodeMarks::Absent);
}

// G is met before and after F, whose operation walks the same graph; H is met after F alone.
TEST(NodeMarks, AWalkInsideAWalkDisturbsNeither)
{
  SFEvaluationContext const context(0);
  std::vector<std::pair<std::string, std::function<void(SFDagNode const&)>>> const walks{
      {"ready", [](SFDagNode const& iRoot) { iRoot.GetReady(Level2()); }},
      {"reset", [&](SFDagNode const& iRoot) { iRoot.Reset(context); }},
      {"drop slots", [](SFDagNode const& iRoot) { iRoot.ResetEvaluationCache(); }},
      {"list", [](SFDagNode const& iRoot) { EXPECT_EQ(PostOrder(iRoot, SFReach::Operands).size(), 10U); }},
      {"clone",
       [](SFDagNode const& iRoot) {
         NodePtr const root(NodePtr(), const_cast<SFDagNode*>(&iRoot));
         EXPECT_EQ(CountByAddress(*SFDagCloner::Clone(root)), 10U);
       }},
  };
  for (auto const& [outerName, outer] : walks)
    for (auto const& [innerName, inner] : walks) {
      if (outerName == "list" || outerName == "clone") // which call nothing of a host's
        continue;
      auto const f = std::make_shared<BusyNode>();
      auto const g = std::make_shared<BusyNode>();
      auto const h = std::make_shared<BusyNode>();
      auto const shared = Op(SIN, Op(Y));
      NodePtr const root = Op(PLUS, Op(PLUS, g, f), Op(MULT, Op(PLUS, h, shared), Op(PLUS, g, shared)));
      f->work = [&, walk = inner] { walk(*root); };
      outer(*root);
      int const calls = innerName == "list" || innerName == "clone" ? 1 : 2;
      for (auto const* const node : {f.get(), g.get(), h.get()})
        EXPECT_EQ(node->calls, calls) << outerName << " around " << innerName;
    }
}

// Walks that change nothing, on one graph at once.
TEST(ThreadWalks, ShareAGraph)
{
  NodePtr const root = Lattice(60, 5);
  std::size_t const nodes = CountByAddress(*root);
  ASSERT_EQ(PostOrder(*root, SFReach::Operands).size(), nodes);
  std::vector<std::thread> threads;
  std::atomic<int> differences{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int run = 0; run < 200; ++run) {
        auto const reach = (run + t) % 2 == 0 ? SFReach::Operands : SFReach::OperandsRightFirst;
        bool const same = PostOrder(*root, reach).size() == nodes && root->GetReady(Level2()) == S_OK &&
                          PostOrder(*SFDagCloner::Clone(root), reach).size() == nodes;
        differences += same ? 0 : 1;
      }
    });
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(differences, 0);
}

// ---- slots ------------------------------------------------------------------------------------------------------

namespace {

NodePtr Doublings(NodePtr iNode, int iCount)
{
  for (int i = 0; i < iCount; ++i)
    iNode = Op(PLUS, iNode, iNode);
  return iNode;
}

} // namespace

TEST(NodeSlots, AreOnePerPathUpToTheLimit)
{
  auto const leafSlots = [](int iDoublings, int iAbove) {
    NodePtr const leaf = Op(X);
    NodePtr root = Doublings(leaf, iDoublings);
    for (int i = 0; i < iAbove; ++i)
      root = Op(SIN, root);
    root->GetNewEvaluationContext();
    return leaf->GetContextCount();
  };
  EXPECT_EQ(leafSlots(21, 1), std::size_t{1} << 21); // 2^22 in all
  EXPECT_EQ(leafSlots(21, 2), 1U);
}

TEST(NodeSlots, RenewAsDropAndOpen)
{
  auto const busy = std::make_shared<BusyNode>();
  NodePtr const below = Op(SIN, Op(Y));
  busy->SetLhs(below);
  std::vector<std::pair<std::string, NodePtr>> const graphs{
      {"leaf", Op(X)},
      {"text", Build("+ * q X - Y f1 U q X - f1 * Y q X")},
      {"lattice", Lattice(12, 4)},
      {"as many paths as may be", Doublings(Op(X), 21)}, // 2^22 - 1 of them
      {"one more", Op(SIN, Doublings(Op(X), 21))},
      {"too many", Doublings(Op(X), 22)},
      {"beyond counting", Doublings(Op(X), 200)},
      {"operand too many", Op(MULT, Op(SIN, Op(X), Op(Y)), Op(Z, Op(Y)))},
      {"foreign below", Op(MULT, Op(PLUS, busy, below), busy)},
      {"foreign root", busy},
  };
  for (auto const& [name, root] : graphs) {
    auto const counts = [&, graph = root] {
      std::vector<std::size_t> slots;
      for (SFDagNode const* const node : PostOrder(*graph, SFReach::Operands))
        slots.push_back(node->GetContextCount());
      return slots;
    };
    root->ResetEvaluationCache();
    int const index = root->GetNewEvaluationContext().GetIndex();
    auto const expected = counts();
    int const calls = busy->calls;
    below->ReserveEvaluationContexts(SFEvaluationContext(7)); // more than it gets
    EXPECT_EQ(root->RenewEvaluationContext().GetIndex(), index) << name;
    EXPECT_EQ(counts(), expected) << name;
    EXPECT_EQ(busy->calls - calls, name.starts_with("foreign") ? 1 : 0) << name;
    // So does a writer, whatever it finds and whether or not it can write all.
    for (int const slots : {0, 7}) {
      root->ResetEvaluationCache();
      root->ReserveEvaluationContexts(SFEvaluationContext(slots - 1));
      LinesOf([graph = root] { TextOf(*graph); });
      EXPECT_EQ(counts(), expected) << name;
    }
    root->ResetEvaluationCache();
  }
}
