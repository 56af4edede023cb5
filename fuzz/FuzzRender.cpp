/// A text as a field: what all renderers and a compiled field give on a small grid is what the recursion gives, bit
/// for bit; intervals hold the values.
///
/// The first byte chooses the grid (its low four bits), and whether operands follow the text (unless the bit 0x40 is
/// set), which makes nearly every text a field. The rest is the text.

#include "Harness.h"
#include "Rendering.h"

#include "SFDagFromExpression.h"

#include <stdexcept>

namespace {

using namespace SFFuzz;

constexpr std::size_t LongestInput = 2048;
constexpr std::uint8_t AsItIs = 0x40;

/// An offset writes out its field and the derivatives of it, which double at every choice and transform. That is how
/// it is defined, so that only small ones can be built here. One offset in another is left to FuzzResources.cpp.
constexpr double MostTokensOfOffset = 40.0;
constexpr std::size_t MostBranchingOfOffset = 5;

bool IsAffordable(Facts const& iFacts)
{
  return iFacts.offsets == 0 ||
         (iFacts.offsets == 1 && iFacts.tokens <= MostTokensOfOffset && iFacts.branching <= MostBranchingOfOffset);
}

void Check(std::string const& iText, Grid const& iGrid)
{
  NodePtr root;
  try {
    root = SF::SFDagFromExpression::BuildFromExpression(iText, nullptr);
  } catch (std::out_of_range const&) { // a number that ends with the text
  }
  if (root == nullptr || !IsAffordable(FactsOf(*root)))
    return;
  std::size_t const lines = LineCount();
  if (Failed(root->GetReady(Level2())))
    Require(LineCount() > lines, "what cannot be made ready is reported");
  else
    CheckRendering(root, iGrid);
}

} // namespace

int TestOneInput(std::uint8_t const* iData, std::size_t iSize)
{
  if (iSize < 2 || iSize > LongestInput)
    return 0;
  LineCount();
  std::string const text(iData + 1, iData + iSize);
  Check((iData[0] & AsItIs) != 0 ? text : WithOperands(text), GridOf(iData[0]));
  return 0;
}
