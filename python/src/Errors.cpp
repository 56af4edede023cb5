// What the library throws, as Python's exceptions. pybind11 knows the standard ones: std::invalid_argument, std::domain_error
// and std::length_error are a ValueError, std::bad_alloc is a MemoryError.

#include "Field.h"
#include "SFFormula.h"
#include "SFListing.h"
#include "SFToolsErrors.h"
#include "SFWorkOptions.h"

namespace SFPython {
namespace {

/// Sets an sf.TextError: a sentence and the bytes of the text that it is about.
void SetTextError(std::string const& iSentence, std::size_t iPosition, std::size_t iLength)
{
  py::object const type = py::module_::import("sf._errors").attr("TextError");
  py::object const error = type(iSentence, iPosition, iLength);
  PyErr_SetObject(type.ptr(), error.ptr());
}

void Translate(std::exception_ptr iException)
{
  try {
    std::rethrow_exception(std::move(iException));
  } catch (SF::SFFormulaError const& error) {
    SetTextError(error.what(), error.GetPlace().offset, error.GetPlace().length);
  } catch (SF::SFListingError const& error) {
    SetTextError(error.GetReason(), error.GetPosition(), error.GetLength());
  } catch (SF::SFMemoryLimit const& error) {
    PyErr_SetString(PyExc_MemoryError, error.what());
  } catch (SF::SFFileError const& error) {
    PyErr_SetString(PyExc_OSError, error.what());
  } catch (SF::SFCancelled const& error) {
    PyErr_SetString(PyExc_KeyboardInterrupt, error.what());
  }
}

} // namespace

void AddErrors(py::module_& ioModule)
{
  ioModule.def("require_memory", [](double iBytes, std::string const& iWhat) { SF::RequireMemory({}, iBytes, iWhat); });
  py::register_exception_translator([](std::exception_ptr iException) {
    if (iException != nullptr)
      Translate(std::move(iException));
  });
}

} // namespace SFPython
