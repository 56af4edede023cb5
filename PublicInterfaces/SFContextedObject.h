#pragma once

#include "SFExport.h"
#include "SFSWContext.h"

namespace SF {

/// Base of the operator objects: refers to the software context that they work under. The caller keeps that
/// context alive for the whole life of the object.
class SF_EXPORT SFContextedObject
{
public:
  /// Keeps a reference to a context of the caller's.
  explicit SFContextedObject(SFSWContext const& iContext) : _context(iContext) {}
  SFContextedObject(SFContextedObject const&) = default;
  SFContextedObject& operator=(SFContextedObject const&) = delete;
  virtual ~SFContextedObject();

  /// The context that the object was made with.
  SFSWContext const& GetContext() const { return _context; }

private:
  SFSWContext const& _context;
};

} // namespace SF
