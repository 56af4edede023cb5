#pragma once

#include "SFContextedObject.h"
#include "SFDagNode.h"
#include "SFExport.h"
#include "SFExportContext.h"

#include <cstddef>
#include <string>

namespace SF {

/// Draws graphs as GraphViz digraphs of record nodes, for people to look at. A node is named by its address in
/// memory, as a decimal number, and declared once; its edges are written on every path that leads to it, and
/// GraphViz merges them. Unlike text, any kind of node is drawn at any semantic level.
///
/// A writer marks the nodes' slots, so it must not work on a graph while another writer or an evaluation does.
class SF_EXPORT SFDagToGraphViz : public SFContextedObject
{
public:
  /// The context stays the caller's.
  explicit SFDagToGraphViz(SFSWContext const& iContext) : SFContextedObject(iContext) {}
  ~SFDagToGraphViz() override;

  /// Replaces `oGraph` by the drawing of a graph. With `iExportFlag` an OFFSET node shows no distance.
  ///
  /// E_FAIL, after a line from the failing node outwards, when a node cannot be drawn: a missing operand, a
  /// constant without a value, the kind RESERVED under `iExportFlag`. `oGraph` then holds what was drawn up to
  /// there. A failure ends at the nearest unary node above it, which is drawn, and the call goes on. E_FAIL, with
  /// the lines of all nodes above, also when the drawing would exceed `MaxLength`.
  HRESULT Export(SFDagNode const& iDagNode, std::string& oGraph, bool iExportFlag) const;

  /// Appends the drawing of a graph after an open edge "...->" and marks the slot of `iContext` as done on every
  /// node drawn; nodes that are marked already are not declared again. Returns the name of the root, empty when
  /// it failed.
  std::string Export(SFExportContext iContext, SFDagNode const& iDagNode, std::string& ioGraph) const;

  /// Characters; more than a million nodes, and far beyond what GraphViz lays out. A graph whose nodes are shared
  /// along many paths can stand for a drawing beyond any memory.
  static constexpr std::size_t MaxLength = std::size_t{1} << 28;
};

} // namespace SF
