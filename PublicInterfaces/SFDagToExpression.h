#pragma once

#include "SFContextedObject.h"
#include "SFDagNode.h"
#include "SFExport.h"
#include "SFExportContext.h"

#include <string>

namespace SF {

/// How numbers are written.
enum class SFDigits
{
  ESix, ///< 6 significant digits
  EAll  ///< the fewest that read back to the same double
};

/// Writes graphs as expression text. Keeps nothing between calls.
///
/// A writer marks the nodes' slots, so it must not work on a graph while another writer or an evaluation does.
class SF_EXPORT SFDagToExpression : public SFContextedObject
{
public:
  /// The context, which stays the caller's, decides which kinds may be written.
  explicit SFDagToExpression(SFSWContext const& iContext) : SFContextedObject(iContext) {}
  ~SFDagToExpression() override;

  /// Replaces `oExpression` by the text of a graph, ended by " $" or, without `iTerminate`, by one blank. A node
  /// that several parents share is written at each of them; numbers keep 6 significant digits.
  ///
  /// E_FAIL, after a line from the failing node outwards and with `oExpression` untouched, when the context does
  /// not support a node's kind, an operand is missing or the text would exceed `MaxLength`, which is found out early
  /// where it is many paths to few nodes that make it long. Kinds without a token (NONE, END, POLYGRADIENT,
  /// UNDEFINED) write nothing; std::out_of_range when the root is one of them.
  HRESULT Export(SFDagNode const& iDagNode, std::string& oExpression, bool iTerminate, bool iExportFlag) const;
  /// The same with a choice of digits. A text with all of them, read under exact equality (SFNodeEquality), gives the
  /// same graph.
  HRESULT Export(SFDagNode const& iDagNode, std::string& oExpression, bool iTerminate, bool iExportFlag,
                 SFDigits iDigits) const;

  /// Appends the text of a graph, with a blank before each token, and marks the slot of `iContext` as done on
  /// every node written. The text may have grown when the call fails. E_INVALIDARG for a negative index.
  HRESULT Export(SFExportContext iContext, SFDagNode const& iDagNode, std::string& ioExpression) const;

  /// Characters; a graph whose nodes are shared along many paths can stand for a text beyond any memory.
  static constexpr std::size_t MaxLength = std::size_t{1} << 32;
};

} // namespace SF
