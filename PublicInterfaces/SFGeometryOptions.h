#pragma once

#include "SFExport.h"

#include <cstdint>

namespace SF {

/// How derived geometry may be created.
enum class SFGeometryCreationMode : std::int32_t
{
  EGeometryCreationDefault = 1,
  EGeometryCreationOneSided = 2 ///< two-sided offset nodes are refused
};

/// The geometry options of a software context.
class SF_EXPORT SFGeometryOptions
{
public:
  SFGeometryOptions() = default;
  /// Options with a mode.
  explicit SFGeometryOptions(SFGeometryCreationMode iMode) : _creationMode(iMode) {}
  SFGeometryOptions(SFGeometryOptions const&) = default;
  SFGeometryOptions& operator=(SFGeometryOptions const&) = default;
  virtual ~SFGeometryOptions();

  /// EGeometryCreationDefault where none was given.
  SFGeometryCreationMode GetCreationMode() const { return _creationMode; }
  /// Read when graphs are made ready; graphs that are ready stay as they are.
  void SetCreationMode(SFGeometryCreationMode iMode) { _creationMode = iMode; }

private:
  SFGeometryCreationMode _creationMode = SFGeometryCreationMode::EGeometryCreationDefault;
};

} // namespace SF
