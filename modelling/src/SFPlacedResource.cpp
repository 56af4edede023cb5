#include "SFPlacedResource.h"

#include "ResourceGradientToSF.h"
#include "SFCompiledField.h"

#include <array>
#include <limits>
#include <utility>
#include <vector>

namespace SF {
namespace {

constexpr std::array<SFNodeType, 3> Coordinates{SFNodeType::X, SFNodeType::Y, SFNodeType::Z};

/// A component of a gradient, NaN where the host has none.
double Known(double iComponent)
{
  return iComponent == ResourceToSF::MissingValue ? std::numeric_limits<double>::quiet_NaN() : iComponent;
}

/// A mapping of points, three fields compiled for one point at a time.
class Mapping
{
public:
  explicit Mapping(SFFieldNode const& iNode)
  {
    SFCompiledFieldOptions options;
    options.threads = 1;
    for (std::size_t axis = 0; axis < 3; ++axis)
      _fields[axis] = SFField(iNode.GetOperand(static_cast<int>(axis))).Compile(options);
  }

  ZULMathPoint operator()(ZULMathPoint const& iPoint) const
  {
    std::array<double, 3> mapped{};
    for (std::size_t axis = 0; axis < 3; ++axis)
      _fields[axis]->Evaluate(1, &iPoint.x, &iPoint.y, &iPoint.z, &mapped[axis]);
    return {mapped[0], mapped[1], mapped[2]};
  }

  /// Turns a gradient by the mapped coordinates into one by the coordinates of the point.
  void PullBack(ZULMathPoint const& iPoint, double (&ioGradient)[3]) const
  {
    std::array<double, 3> pulled{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      double row[3];
      _fields[axis]->EvaluateGradient(1, &iPoint.x, &iPoint.y, &iPoint.z, nullptr, row);
      for (std::size_t i = 0; i < 3; ++i)
        pulled[i] += row[i] == 0.0 ? 0.0 : Known(ioGradient[axis]) * row[i];
    }
    for (std::size_t i = 0; i < 3; ++i)
      ioGradient[i] = pulled[i];
  }

  /// The images of many points, in memory of its own.
  class Images
  {
  public:
    Images(Mapping const& iMapping, std::size_t iCount, ResourceToSF::Points const& iPoints) : _coordinates(3 * iCount)
    {
      for (std::size_t axis = 0; axis < 3; ++axis) {
        double* const image = &_coordinates[axis * iCount];
        iMapping._fields[axis]->Evaluate(iCount, iPoints[0], iPoints[1], iPoints[2], image);
        _points[axis] = image;
      }
    }
    ResourceToSF::Points const& Get() const { return _points; }

  private:
    std::vector<double> _coordinates;
    ResourceToSF::Points _points{};
  };

private:
  std::array<std::shared_ptr<SFCompiledField>, 3> _fields;
};

/// A leaf whose value another resource gives at a mapped point.
class PlacedLeaf : public ResourceToSF
{
public:
  PlacedLeaf(std::shared_ptr<ResourceToSF> iResource, SFFieldNode const& iNode)
    : ResourceToSF(SFNodeType::RESOLVEDREF), _resource(std::move(iResource)), _mapping(iNode)
  {
  }

  double GetScalar(ZULMathPoint const& iPoint) const override { return _resource->GetScalar(_mapping(iPoint)); }
  HRESULT GetGradient(double (&oGradient)[3], ZULMathPoint const& iPoint) const override
  {
    HRESULT const hr = _resource->GetGradient(oGradient, _mapping(iPoint));
    if (Succeeded(hr))
      _mapping.PullBack(iPoint, oGradient);
    return hr;
  }
  std::size_t GetBatchSize() const override { return _resource->GetBatchSize(); }
  void GetScalars(std::size_t iCount, Points const& iPoints, double* oValues,
                  StopRequest const& iMustStop) const override
  {
    if (GetBatchSize() == 1)
      return ResourceToSF::GetScalars(iCount, iPoints, oValues, iMustStop);
    _resource->GetScalars(iCount, Mapping::Images(_mapping, iCount, iPoints).Get(), oValues, iMustStop);
  }
  void GetGradients(std::size_t iCount, Points const& iPoints, std::array<double*, 3> const& oGradients,
                    StopRequest const& iMustStop) const override
  {
    if (GetBatchSize() == 1)
      return ResourceToSF::GetGradients(iCount, iPoints, oGradients, iMustStop);
    _resource->GetGradients(iCount, Mapping::Images(_mapping, iCount, iPoints).Get(), oGradients, iMustStop);
    for (std::size_t i = 0; i < iCount; ++i) {
      double gradient[3] = {oGradients[0][i], oGradients[1][i], oGradients[2][i]};
      _mapping.PullBack({iPoints[0][i], iPoints[1][i], iPoints[2][i]}, gradient);
      for (std::size_t axis = 0; axis < 3; ++axis)
        oGradients[axis][i] = gradient[axis];
    }
  }

private:
  std::shared_ptr<ResourceToSF> _resource;
  Mapping _mapping;
};

bool IsAtThePointItself(SFFieldNode const& iNode)
{
  for (std::size_t axis = 0; axis < 3; ++axis)
    if (iNode.GetOperand(static_cast<int>(axis))->GetType() != Coordinates[axis])
      return false;
  return true;
}

} // namespace

std::shared_ptr<SFDagNode> PlacedResource(SFFieldNode const& iNode)
{
  std::shared_ptr<ResourceToSF> leaf = iNode.GetDetail()->resource;
  if (iNode.GetType() == SFNodeType::POLYGRADIENT)
    leaf = std::make_shared<ResourceGradientToSF>(leaf, Coordinates[static_cast<std::size_t>(iNode.GetValue())]);
  if (IsAtThePointItself(iNode))
    return leaf;
  return std::make_shared<PlacedLeaf>(std::move(leaf), iNode);
}

} // namespace SF
