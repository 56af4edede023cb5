#include "calculus/SFDifferentiation.h"

#include "ResourceGradientToSF.h"
#include "SFAffineTransform.h"
#include "SFConstant.h"
#include "SFCylindricalTransform.h"
#include "SFDagFunctor.h"
#include "SFOp.h"
#include "graph/SFDagTraversal.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace SF {
namespace {

using NodePtr = SFDifferentiation::NodePtr;
using StepKind = SFTreeTemplate::StepKind;
using enum SFNodeType;

NodePtr Constant(double iValue) { return std::make_shared<SFConstant>(iValue); }

NodePtr Op(SFNodeType iType, NodePtr iLhs = nullptr, NodePtr iRhs = nullptr)
{
  return std::make_shared<SFOp>(iType, std::move(iLhs), std::move(iRhs));
}

constexpr std::array Coordinates{X, Y, Z};

/// The component of a vector along a variable; none for a variable that is no coordinate.
double Along(ZULMathVector const& iVector, SFNodeType iVariable)
{
  return iVariable == X ? iVector.x : iVariable == Y ? iVector.y : iVariable == Z ? iVector.z : 0.0;
}

/// The derivatives of the coordinates that an affine mapping makes.
std::array<NodePtr, 3> AffineFactors(ZULMathTransformation const& iMapping, SFNodeType iVariable)
{
  ZULMath3x3Matrix linear;
  iMapping.GetMatrix(linear);
  std::array<NodePtr, 3> factors;
  for (std::size_t row = 0; row < 3; ++row)
    factors[row] = Constant(Along({linear(row, 0), linear(row, 1), linear(row, 2)}, iVariable));
  return factors;
}

/// The derivatives of r, phi = k theta and h, in these coordinates: with u = r cos theta and w = r sin theta,
/// dr = U cos theta + W sin theta, dphi = k (W cos theta - U sin theta) / r and dh = A along the variable.
std::array<NodePtr, 3> CylinderFactors(SFCylindricalTransform const& iCylinder, SFNodeType iVariable)
{
  auto const& frame = iCylinder.GetFrame();
  double const u = Along(frame.u, iVariable);
  double const w = Along(frame.w, iVariable);
  double const k = std::floor(iCylinder.GetScale() + 1.0) / iCylinder.GetScale();
  NodePtr const theta = Op(DIV, Op(Y), Constant(k));
  NodePtr const cosine = Op(COS, theta);
  NodePtr const sine = Op(SIN, theta);
  auto const combination = [&](double iCosine, double iSine) {
    return Op(PLUS, Op(MULT, Constant(iCosine), cosine), Op(MULT, Constant(iSine), sine));
  };
  return {combination(u, w), Op(DIV, combination(k * w, -k * u), Op(X)), Constant(Along(frame.axis, iVariable))};
}

bool ReadsDerivatives(SFTreeTemplate const& iTree)
{
  return iTree.Has(StepKind::LhsDerivative) || iTree.Has(StepKind::RhsDerivative) || iTree.Has(StepKind::Derivative);
}

/// Whether building the derivative of a node writes a line; `iEmits` answers for the nodes below, null included.
template <class Emits>
bool EmitsDiagnostics(SFDagNode const& iNode, Emits iEmits)
{
  SFNodeType const type = iNode.GetTypeTag();
  switch (FamilyOf(type)) {
  case SFNodeFamily::Coordinate:
  case SFNodeFamily::Constant:
    return false;
  case SFNodeFamily::Resource:
    return type != POLY || NodeAs<ResourceToSF>(iNode) == nullptr;
  case SFNodeFamily::Operator:
    return ReadsDerivatives(CalculusRulesOf(type).derivative) &&
           (iEmits(iNode.GetLhs().get()) || (IsBinaryOperator(type) && iEmits(iNode.GetRhs().get())));
  case SFNodeFamily::Transform: {
    auto const* const affine = NodeAs<SFAffineTransform>(iNode);
    ZULMathTransformation const* inverse = nullptr;
    bool const hasRule =
        affine != nullptr ? Succeeded(affine->FindInverse(inverse)) : NodeAs<SFCylindricalTransform>(iNode) != nullptr;
    return !hasRule || iEmits(iNode.GetLhs().get());
  }
  case SFNodeFamily::Offset:
    return iEmits(DerivedDagOf(iNode));
  case SFNodeFamily::None:
  case SFNodeFamily::End:
  case SFNodeFamily::Reference:
  case SFNodeFamily::Blend:
    break;
  }
  return true;
}

} // namespace

/// Turns a tree template over one node into new nodes, in place.
class SFDifferentiation::Growth
{
public:
  Growth(SFDifferentiation& ioOwner, SFDagNode const& iNode, SFNodeType iVariable)
    : _owner(ioOwner), _node(iNode), _variable(iVariable)
  {
  }

  /// Grows the tree that starts at `ioStep`, which is moved past it. The depth is that of the template.
  void Grow(SFTreeTemplate::Step const*& ioStep, Destination const& iDestination)
  {
    SFTreeTemplate::Step const& step = *ioStep++;
    switch (step.kind) {
    case StepKind::Operator: {
      NodePtr node = Op(step.type);
      SFDagNode* const parent = node.get();
      _owner.Attach(iDestination, std::move(node));
      Grow(ioStep, {parent, SFOperand::ELhs});
      if (IsBinaryOperator(step.type))
        Grow(ioStep, {parent, SFOperand::ERhs});
      return;
    }
    case StepKind::Lhs:
      return _owner.Attach(iDestination, _node.GetLhs());
    case StepKind::Rhs:
      return _owner.Attach(iDestination, _node.GetRhs());
    case StepKind::LhsDerivative:
      return _owner.Enqueue(_node.GetLhs(), _variable, iDestination);
    case StepKind::RhsDerivative:
      return _owner.Enqueue(_node.GetRhs(), _variable, iDestination);
    case StepKind::Derivative: {
      SFOp parent(NOT);
      Grow(ioStep, {&parent, SFOperand::ELhs});
      return _owner.Enqueue(parent.GetLhs(), _variable, iDestination);
    }
    case StepKind::Constant:
      return _owner.Attach(iDestination, Constant(step.value));
    case StepKind::Value:
    case StepKind::Select:
    case StepKind::Still:
      return; // on tapes only
    }
  }

private:
  SFDifferentiation& _owner;
  SFDagNode const& _node;
  SFNodeType _variable;
};

SFDifferentiation::SFDifferentiation(std::size_t iMaxSeparate, std::vector<SFDagNode const*> const& iField)
  : _maxSeparate(iMaxSeparate)
{
  auto const emits = [this](SFDagNode const* iNode) {
    return iNode == nullptr || _emitsDiagnostics[_field.Find(iNode)];
  };
  for (SFDagNode const* const node : iField) {
    bool const emitsLine = EmitsDiagnostics(*node, emits);
    _field.Insert(node);
    _emitsDiagnostics.push_back(emitsLine);
  }
}

// ---- the list of tasks ----------------------------------------------------------------------------------------

NodePtr SFDifferentiation::Differentiate(NodePtr const& iNode, SFNodeType iVariable)
{
  Enqueue(iNode, iVariable, {});
  return Run();
}

NodePtr SFDifferentiation::DifferentiateAs(SFNodeType iOperator, SFDagNode const& iNode, SFNodeType iVariable)
{
  SFTreeTemplate::Step const* step = CalculusRulesOf(iOperator).derivative.Steps().data();
  Growth(*this, iNode, iVariable).Grow(step, {});
  std::reverse(_tasks.begin(), _tasks.end());
  return Run();
}

NodePtr SFDifferentiation::Run()
{
  while (!_tasks.empty()) {
    Task const task = std::move(_tasks.back());
    _tasks.pop_back();
    bool const isShared = Shares(task);
    if (isShared && Reuse(task))
      continue;
    std::size_t const before = _tasks.size();
    bool const done = Build(task);
    if (done && isShared)
      Remember(task);
    for (std::size_t i = before; i < _tasks.size() && !done; ++i)
      _tasks[i].owner = task.owner; // handed on to another tree, which gives the same derivative
    std::reverse(_tasks.begin() + static_cast<std::ptrdiff_t>(before), _tasks.end());
  }
  return std::move(_root);
}

void SFDifferentiation::Enqueue(NodePtr iSource, SFNodeType iVariable, Destination const& iDestination)
{
  NodePtr owner = iSource;
  _tasks.push_back({std::move(iSource), iVariable, iDestination, std::move(owner)});
}

void SFDifferentiation::Attach(Destination const& iDestination, NodePtr iNode)
{
  if (iDestination.parent == nullptr)
    _root = std::move(iNode);
  else if (iDestination.operand == SFOperand::ELhs)
    iDestination.parent->SetLhs(std::move(iNode));
  else
    iDestination.parent->SetRhs(std::move(iNode));
}

NodePtr const& SFDifferentiation::At(Destination const& iDestination) const
{
  if (iDestination.parent == nullptr)
    return _root;
  return iDestination.operand == SFOperand::ELhs ? iDestination.parent->GetLhs() : iDestination.parent->GetRhs();
}

SFDifferentiation::Built& SFDifferentiation::BuiltFor(SFNodeType iVariable)
{
  auto const position = std::find(Coordinates.begin(), Coordinates.end(), iVariable);
  return _built[static_cast<std::size_t>(position - Coordinates.begin())];
}

/// Whether all paths to a node share one derivative from here on. Counts those that do not.
bool SFDifferentiation::Shares(Task const& iTask)
{
  if (_emitsDiagnostics.empty())
    return ++_separate > _maxSeparate;
  std::uint32_t const number = _field.Find(iTask.owner.get());
  if (number == SFNodeIndex::Absent) // made by a rule, for one use or two
    return false;
  return !_emitsDiagnostics[number] || ++_separate > _maxSeparate;
}

bool SFDifferentiation::Reuse(Task const& iTask)
{
  Built& built = BuiltFor(iTask.variable);
  std::uint32_t const number = built.index.Find(iTask.owner.get());
  if (number == SFNodeIndex::Absent)
    return false;
  Attach(iTask.destination, built.derivatives[number]);
  return true;
}

void SFDifferentiation::Remember(Task const& iTask)
{
  Built& built = BuiltFor(iTask.variable);
  if (iTask.owner == nullptr || !built.index.Insert(iTask.owner.get()).second)
    return;
  built.owners.push_back(iTask.owner);
  built.derivatives.push_back(At(iTask.destination));
}

// ---- the rules ------------------------------------------------------------------------------------------------

/// Puts the root of a derivative into its destination. False when another task has been left to do that.
bool SFDifferentiation::Build(Task const& iTask)
{
  if (iTask.source == nullptr) {
    Diagnostics::Sentence("SFDagEvaluator::DifferentiateFunctionTree, no function provided ! ");
    return true;
  }
  SFDagNode const& node = *iTask.source;
  SFNodeType const type = node.GetTypeTag();
  switch (FamilyOf(type)) {
  case SFNodeFamily::Coordinate:
    Attach(iTask.destination, Constant(type == iTask.variable ? 1.0 : 0.0));
    return true;
  case SFNodeFamily::Constant:
    Attach(iTask.destination, Constant(0.0));
    return true;
  case SFNodeFamily::Resource:
    if (auto resource = std::dynamic_pointer_cast<ResourceToSF>(iTask.source); resource != nullptr && type == POLY) {
      Attach(iTask.destination, std::make_shared<ResourceGradientToSF>(std::move(resource), iTask.variable));
      return true;
    }
    break;
  case SFNodeFamily::Operator: {
    SFTreeTemplate::Step const* step = CalculusRulesOf(type).derivative.Steps().data();
    bool const handedOn = step->kind == StepKind::Derivative;
    Growth(*this, node, iTask.variable).Grow(step, iTask.destination);
    return !handedOn;
  }
  case SFNodeFamily::Transform:
    if (BuildTransform(iTask))
      return true;
    break;
  case SFNodeFamily::Offset: {
    auto const* const functor = NodeAs<SFDagFunctor>(node);
    Enqueue(functor != nullptr ? functor->GetDerivedDag() : nullptr, iTask.variable, iTask.destination);
    return false;
  }
  case SFNodeFamily::None:
  case SFNodeFamily::End:
  case SFNodeFamily::Reference:
  case SFNodeFamily::Blend:
    break;
  }
  Diagnostics::Sentence("Error in SFDagEvaluator::DifferentiateFunctionTree, SFNodeType provided not recognized ! ");
  return true;
}

bool SFDifferentiation::BuildTransform(Task const& iTask)
{
  if (auto const* const affine = NodeAs<SFAffineTransform>(*iTask.source)) {
    ZULMathTransformation const inverse = affine->GetInverse();
    BuildChainRule(iTask, std::make_shared<SFAffineTransform>(inverse), AffineFactors(inverse, iTask.variable));
    return true;
  }
  if (auto const* const cylinder = NodeAs<SFCylindricalTransform>(*iTask.source)) {
    BuildChainRule(iTask, cylinder->Copy(), CylinderFactors(*cylinder, iTask.variable));
    return true;
  }
  return false;
}

/// The transform over fX a + fY b + fZ c, with the derivatives of its operand f along the mapped coordinates.
void SFDifferentiation::BuildChainRule(Task const& iTask, NodePtr ioTransform, std::array<NodePtr, 3> const& iFactors)
{
  std::array<NodePtr, 3> terms;
  for (std::size_t i = 0; i < 3; ++i)
    terms[i] = Op(MULT, nullptr, iFactors[i]);
  ioTransform->SetLhs(Op(PLUS, Op(PLUS, terms[0], terms[1]), terms[2]));
  Attach(iTask.destination, std::move(ioTransform));
  for (std::size_t i = 0; i < 3; ++i)
    Enqueue(iTask.source->GetLhs(), Coordinates[i], {terms[i].get(), SFOperand::ELhs});
}

} // namespace SF
