#include "CalculusSupport.h"

#include "calculus/SFDifferentiation.h"
#include "calculus/SFSimplification.h"

using namespace SF;
using namespace SFTest;
using enum SFNodeType;

TEST(SimplificationPass, RemembersOnlyWhatAnotherVisitWouldGiveAgain)
{
  int rewritten = 0;
  for (unsigned int seed = 0; seed < 3000; ++seed) {
    auto const outcome = [seed](bool iRecall) {
      Captured const captured;
      NodePtr const root = RandomGraph(seed);
      std::string const before = TextOf(*root);
      auto const result = SFSimplification(1e-6, iRecall).Run(root);
      std::vector<std::string> all = captured.Lines();
      all.push_back(TextOf(*root));
      all.push_back(result.replacement != nullptr ? TextOf(*result.replacement) : "kept");
      all.push_back(result.replacement != nullptr ? std::to_string(result.kind) : before);
      return all;
    };
    auto const expected = outcome(false);
    EXPECT_EQ(outcome(true), expected) << seed;
    rewritten += expected.back() != expected[expected.size() - 3];
  }
  EXPECT_GT(rewritten, 1500);
}

TEST(DerivativeBuilder, SharingDerivativesChangesNoValue)
{
  auto const operators = OperatorsWithout({});
  RandomFields random(3, operators);
  for (int i = 0; i < 300; ++i) {
    std::string const text = random.Next(6);
    NodePtr const field = Build(i % 5 == 0 ? "m[0;1;0;0;1;0;0;0;0;0;-1;3;0;0;0;1] " + text : text);
    Captured const captured;
    for (std::size_t const limit : {0U, 10U}) {
      NodePtr const separate = SFDifferentiation(1000000).Differentiate(field, X);
      NodePtr const shared = SFDifferentiation(limit).Differentiate(field, X);
      EXPECT_EQ(TextOf(*shared), TextOf(*separate)) << text;
    }
  }
}
