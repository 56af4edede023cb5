#pragma once

#include "SFField.h"

#include <pybind11/pybind11.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace SFPython {

namespace py = pybind11;

/// The field of a Python object, and what it was compiled into last: copies of it compile for themselves.
class Field
{
public:
  explicit Field(SF::SFField iField) : _field(std::move(iField)) {}
  Field(Field const& iOther) : _field(iOther._field) {}
  Field& operator=(Field const&) = delete;

  SF::SFField const& Get() const { return _field; }
  /// Compiled for a number of threads, 0 for all. Takes as long as the field is large: to be called without the
  /// interpreter lock.
  std::shared_ptr<SF::SFCompiledField> Compile(unsigned int iThreads) const;

  /// Counted once: that takes a visit to all nodes.
  std::size_t GetNodeCount() const
  {
    if (_nodeCount == 0)
      _nodeCount = _field.NodeCount();
    return _nodeCount;
  }

private:
  SF::SFField _field;
  mutable std::atomic<std::size_t> _nodeCount{0};
  mutable std::mutex _mutex;
  mutable std::shared_ptr<SF::SFCompiledField> _compiled;
  mutable unsigned int _threads = 0; ///< that it was compiled for
};

using Vector = std::array<double, 3>;

/// The fields of Python objects.
std::vector<SF::SFField> FieldsOf(std::vector<Field const*> const& iFields);

// Each adds a part of the module's functions.
void AddFields(py::module_& ioModule);
void AddShapes(py::module_& ioModule);
void AddTransforms(py::module_& ioModule);
void AddEvaluation(py::module_& ioModule);
void AddResources(py::module_& ioModule);
void AddTexts(py::module_& ioModule);
void AddTools(py::module_& ioModule);
void AddPictures(py::module_& ioModule);
void AddErrors(py::module_& ioModule);

} // namespace SFPython
