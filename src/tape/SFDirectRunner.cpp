#include "tape/SFDirectRunner.h"

#include "operators/SFScalarOps.h"
#include "tape/SFTapeShape.h"

#include <algorithm>

namespace SF {
namespace {

/// Copies a view of the grid over a box.
void Expand(SFValueView const& iView, SFTile const& iBox, double* oValues)
{
  double const* const first = iView.At(iBox);
  std::size_t const length = iBox.count[0];
  for (unsigned int k = 0; k < iBox.count[2]; ++k)
    for (unsigned int j = 0; j < iBox.count[1]; ++j, oValues += length) {
      double const* const row =
          first + static_cast<std::ptrdiff_t>(j) * iView.strides[1] + static_cast<std::ptrdiff_t>(k) * iView.strides[2];
      if (iView.strides[0] != 0)
        std::copy_n(row, length, oValues);
      else
        std::fill_n(oValues, length, *row);
    }
}

} // namespace

SFDirectRunner::SFDirectRunner(SFTapeInvariants const& iTape)
  : _tape(iTape), _places(iTape.GetTape().instructions.size())
{
}

bool SFDirectRunner::CanRun(SFTapeList const& iList)
{
  return iList.results.size() == 1 && iList.steps.size() <= MostSteps &&
         std::all_of(iList.steps.begin(), iList.steps.end(),
                     [](SFTapeStep const& iStep) { return IsOperatorCode(iStep.code); });
}

SFDirectRunner::Operand SFDirectRunner::Of(SFValueId iId, SFTile const& iBox)
{
  Place& place = _places[iId];
  if (place.run == _run)
    return place.operand;
  // What is no step of the list is known for the whole grid.
  place.run = _run;
  SFValueView const& view = _tape.GetViews()[iId];
  if (view.axes == 0)
    place.operand = {view.data, false};
  else {
    double* const room = Room();
    Expand(view, iBox, room);
    place.operand = {room, true};
  }
  return place.operand;
}

void SFDirectRunner::Compute(SFTapeStep const& iStep, SFTile const& iBox)
{
  Operand const a = Of(iStep.operands[0], iBox);
  Operand const b = Of(iStep.operands[1], iBox);
  double* const out = Room();
  if (a.varies || b.varies) {
    SFKernelForm const form = a.varies && b.varies ? SFKernelForm::BothVary
                              : a.varies           ? SFKernelForm::FirstVaries
                                                   : SFKernelForm::SecondVaries;
    SFKernelBox const box{out, _volume, 1, 1, {a.data, 0, 0}, {b.data, 0, 0}};
    _tape.GetKernels().operators[iStep.code][static_cast<std::size_t>(form)](box);
  } else
    *out = ScalarOps::Apply(SFNodeType{iStep.code}, *a.data, *b.data);
  _places[iStep.id] = {{out, a.varies || b.varies}, _run};
}

SFValueView SFDirectRunner::Run(SFTapeList const& iList, SFTile const& iBox)
{
  if (++_run == 0) { // all numbers have been given
    std::fill(_places.begin(), _places.end(), Place());
    _run = 1;
  }
  std::size_t const values = 4 * iList.steps.size() + 1; // its steps and their operands
  if (_capacity < values) {
    _capacity = 2 * values;
    _values = SFValueBuffer(_capacity * MaxVolume);
  }
  _next = _values.get();
  _volume = VolumeOf(AllAxes, iBox.count);
  for (SFTapeStep const& step : iList.steps)
    Compute(step, iBox);
  Operand const result = Of(iList.results.front(), iBox);
  SFAxes const axes = result.varies ? AllAxes : SFAxes{0};
  return {result.data, StridesOf(axes, iBox.count), axes};
}

} // namespace SF
