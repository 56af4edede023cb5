#pragma once

#include "Field.h"
#include "ResourceToSF.h"
#include "ZULMathBox.h"

#include <memory>
#include <optional>
#include <string>

namespace SFPython {

/// A Python object that may be dropped by any thread, with or without the interpreter lock.
class Shared
{
public:
  explicit Shared(py::object iObject);
  /// With the interpreter lock held.
  py::object const& Get() const { return *_object; }

private:
  std::shared_ptr<py::object> _object;
};

/// What is known of a resource beside its values.
struct Facts
{
  std::string id; ///< "#" and what no other resource has
  SF::SFResourceKind kind = SF::SFResourceKind::General;
  std::optional<ZULMathBox> bounds;
};

/// A resource that is found by its id as long as a field has it, so that fields that are unpickled have the same one.
class Resource : public SF::ResourceToSF
{
public:
  /// `iState` is what Python makes it anew from.
  Resource(Facts iFacts, py::object iState);
  ~Resource() override;

  /// Null where there is none.
  static std::shared_ptr<Resource> Find(std::string const& iId);
  /// Makes `iResource` known, and a field of it.
  static SF::SFField FieldOf(std::shared_ptr<Resource> const& iResource);
  Facts const& GetFacts() const { return _facts; }
  py::object const& GetState() const { return _state.Get(); }

private:
  Facts _facts;
  Shared _state;
};

} // namespace SFPython
