#include "ViewSource.h"

#include "Failure.h"
#include "Input.h"
#include "ViewScript.h"

namespace SFHost {
namespace {

ViewNotation NotationOf(ModelOptions const& iOptions)
{
  if (iOptions.expression)
    return ViewNotation::Expression;
  if (iOptions.formula || IsFormula(*iOptions.file))
    return ViewNotation::Formula;
  return IsListing(*iOptions.file)         ? ViewNotation::Listing
         : iOptions.file->ends_with(".py") ? ViewNotation::Script
                                           : ViewNotation::Expression;
}

} // namespace

ViewSource::ViewSource(ModelOptions const& iOptions, bool iIsWatching) : _options(iOptions), _isWatching(iIsWatching)
{
  RequireOneSource(_options);
  if (_options.strict || _options.level != 2)
    throw UsageError("the page shows the plain meaning of a model, without --strict and --level");
  _model.name = _options.file ? InputName(*_options.file) : _options.formula ? "-e" : "-x";
  _model.notation = NotationOf(_options);
  Read();
}

void ViewSource::Read()
{
  if (_options.file)
    _state = StateOf(*_options.file).value_or(FileState{});
  _model.text = _options.file ? ReadInput(*_options.file) : _options.formula ? *_options.formula : *_options.expression;
  _model.model = _model.text;
  _model.problems.clear();
  if (_model.notation == ViewNotation::Script) {
    try {
      _model.model = RunScript(*_options.file, _model.text);
    } catch (TextProblems const& failed) {
      _model.problems = failed.problems;
    }
  }
  ++_model.version;
}

void ViewSource::Refresh()
{
  if (!_isWatching || !_options.file)
    return;
  auto const now = StateOf(*_options.file);
  if (!now || *now == _state)
    return;
  try {
    Read();
  } catch (Failure const&) { // as while an editor replaces it
  }
}

ViewModel ViewSource::Get()
{
  std::lock_guard const lock(_access);
  Refresh();
  return _model;
}

std::uint64_t ViewSource::GetVersion()
{
  std::lock_guard const lock(_access);
  Refresh();
  return _model.version;
}

} // namespace SFHost
