#pragma once

#include "SFExport.h"
#include "SFGeometryOptions.h"
#include "SFTypes.h"

namespace SF {

/// The software context: decides which node kinds the operator objects built on it support. Immutable but for
/// its geometry options, and safe to read from any thread.
class SF_EXPORT SFSWContext
{
public:
  /// Level 1, default geometry options.
  SFSWContext() = default;
  /// A level, with default geometry options.
  explicit SFSWContext(SFSemanticLevel iLevel) : _level(iLevel) {}
  /// A level and a copy of geometry options.
  SFSWContext(SFSemanticLevel iLevel, SFGeometryOptions const& iOptions) : _level(iLevel), _geometryOptions(iOptions) {}
  /// Copies the level only: a copied context never carries the creation mode of its source.
  SFSWContext(SFSWContext const& iOther) : _level(iOther._level) {}
  SFSWContext& operator=(SFSWContext const&) = delete;
  virtual ~SFSWContext();

  /// The level, as given.
  SFSemanticLevel GetSupportedSemanticLevel() const { return _level; }
  /// The options, which belong to the context.
  SFGeometryOptions const& GetGeometryOptions() const { return _geometryOptions; }
  /// The same, to be changed while no other thread reads the context.
  SFGeometryOptions& GetGeometryOptions() { return _geometryOptions; }

  /// At level 2 the kinds 0 to 40 are supported, at any other level the kinds 0 to 32.
  SFSemanticSupportStatus IsSemanticSupported(SFNodeType iType) const;

private:
  SFSemanticLevel _level = SFSemanticLevel::ESemanticLevel1;
  SFGeometryOptions _geometryOptions;
};

} // namespace SF
