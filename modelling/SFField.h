#pragma once

#include "SFCompiledField.h"
#include "SFCompiledFieldOptions.h"
#include "SFModellingExport.h"
#include "SFTypes.h"
#include "ZULMathBox.h"

#include <array>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace SF {

class ResourceToSF;
class SFDagNode;
class SFFieldNode;
class SFResourceResolver;

/// A counted reference to a node of a field; null only in a field that has been moved from.
class SF_MODELLING_EXPORT SFFieldNodePtr
{
public:
  SFFieldNodePtr() = default;
  /// Takes over the reference with which a node begins its life.
  explicit SFFieldNodePtr(SFFieldNode const* iNode) noexcept : _node(iNode) {}
  /// Shares the node.
  SFFieldNodePtr(SFFieldNodePtr const& iOther) noexcept : _node(iOther._node) { Acquire(); }
  /// Leaves the other one null.
  SFFieldNodePtr(SFFieldNodePtr&& ioOther) noexcept : _node(ioOther._node) { ioOther._node = nullptr; }
  /// Shares or takes over, as the argument was made.
  SFFieldNodePtr& operator=(SFFieldNodePtr iOther) noexcept
  {
    std::swap(_node, iOther._node);
    return *this;
  }
  ~SFFieldNodePtr()
  {
    if (_node != nullptr)
      Release();
  }

  SFFieldNode const* Get() const { return _node; }        ///< not owned by the caller; may be null
  SFFieldNode const& operator*() const { return *_node; } ///< not of a null pointer
  SFFieldNode const* operator->() const { return _node; } ///< not of a null pointer

private:
  void Acquire() const noexcept;
  void Release() noexcept;

  SFFieldNode const* _node = nullptr;
};

/// How a resource of the host behaves.
enum class SFResourceKind
{
  General, ///< any field
  Distance ///< a signed distance: the length of its gradient is 1 wherever it has one
};

/// A parameter of a field.
struct SFParameterInfo
{
  std::string name;   ///< not empty
  double value = 0.0; ///< as the field was made, or the last With
  double low = 0.0;   ///< -infinity where no range is known
  double high = 0.0;  ///< +infinity where no range is known
};

/// A scalar field over space, negative inside the solid that it describes: a small immutable value, cheap to copy and
/// safe to share between threads. Fields compose with the textbook's meaning: a transform moves its operand and
/// nothing else, equal parts are shared, and no later step changes an earlier field.
///
/// Errors: std::invalid_argument with the name of the parameter, std::length_error beyond MaxNodes, std::domain_error
/// for what has no value or no derivative, std::bad_alloc. Nothing is ever written to std::cout.
class SF_MODELLING_EXPORT SFField
{
public:
  /// The largest number of nodes of one field. Operations that would make a larger one throw std::length_error.
  static constexpr std::size_t MaxNodes = 4'000'000;

  /// The field that has one value everywhere.
  SFField(double iValue);
  /// 0 everywhere.
  SFField() : SFField(0.0) {}

  static SFField X(); ///< the coordinate x of the point
  static SFField Y(); ///< the coordinate y of the point
  static SFField Z(); ///< the coordinate z of the point

  /// A named number that With can replace. The range is a hint for sliders and not enforced. The name is not empty;
  /// parameters of one name in one field are one parameter and must agree in their value when they are compiled.
  static SFField Parameter(std::string iName, double iValue);
  /// The same with a range. std::invalid_argument for one that is empty or NaN.
  static SFField Parameter(std::string iName, double iValue, double iLow, double iHigh);

  /// A field whose values and gradients the host answers. The field shares the resource, and makes one that has
  /// no type a resolved reference. `iBounds`, where known, is a box outside of which the resource is positive.
  static SFField Resource(std::shared_ptr<ResourceToSF> iResource, SFResourceKind iKind = SFResourceKind::General,
                          std::optional<ZULMathBox> const& iBounds = std::nullopt);

  /// The plain meaning of a graph, frame by frame: a transform places its operand only, a blend is a smooth union, an
  /// offset moves all surfaces of its operand by its distance as the operand sees it, and a cylindrical transform has
  /// no correction that depends on a grid. A two-sided offset is the wall between the surfaces moved by half the
  /// distance outwards and inwards.
  ///
  /// The graph is read and not changed; the field shares its resources. std::invalid_argument, with the reason, for
  /// guided and discrete transforms, a transform without an inverse, a missing operand, a reference without a resource
  /// and a node class of the host. std::length_error when the ways of transforms to shared parts multiply these beyond
  /// MaxNodes, which is found out before any part is made.
  static SFField FromNode(std::shared_ptr<SFDagNode> const& iRoot);
  /// FromNode of the first expression of a text, read so that nodes that differ in any number stay different. White
  /// space of any kind counts as a blank. std::invalid_argument for a text that is no expression. The resolver may be
  /// null.
  static SFField FromExpression(std::string_view iText, SFResourceResolver* iResolver = nullptr);

  /// A new graph of operators of the first semantic level, parameters and resources, for use with any class of the
  /// library SF. Equal parts are one node. The graph belongs to the caller, who may change it.
  std::shared_ptr<SFDagNode> Node() const;
  /// A formula (SFFormula) that reads back to the same bits at every point. Shared parts become definitions.
  /// std::domain_error for a parameter whose name is no name in formulae, for a resource without an id, and for the
  /// gradient of a resource.
  std::string ToFormula() const;

  /// The field prepared for many evaluations. The compiled field shares nothing with this object but its resources. It
  /// is told the Lipschitz bounds of shapes and of resources that are distances, in place of those of `iOptions`.
  std::shared_ptr<SFCompiledField> Compile(SFCompiledFieldOptions const& iOptions = {}) const;
  /// The value at one point. The first call compiles the field for all copies of this object; for many points use
  /// Compile.
  double operator()(double iX, double iY, double iZ) const;

  /// The expression text, which FromExpression reads back to an equal field: numbers have the fewest digits that give
  /// the same double. Ranges of parameters and what is known of bounds are no part of it.
  ///
  /// Shared parts are written at each of their places: std::length_error, at once, when the text would have more than
  /// MaxTextLength characters; a listing (SFListing.h) keeps them shared. std::domain_error for what a text cannot say:
  /// infinite numbers, NaN, parameter names with blanks or brackets, components of a gradient, resources without an id
  /// of one word or at another place than the point itself.
  std::string ToExpression() const;
  /// The longest text of ToExpression, in characters.
  static constexpr std::size_t MaxTextLength = std::size_t{1} << 30;

  /// A box outside of which the field is provably positive; absent when no such box is known. The box holds the solid
  /// and is not always the smallest one. Found from what is known of shapes, moved along with them and combined by the
  /// set operations, else by interval arithmetic over half-spaces, in turned coordinates for parts that are turned.
  std::optional<ZULMathBox> Bounds() const;
  /// A number L with |f(p) - f(q)| <= L |p - q| in exact arithmetic; infinity when none is known.
  double LipschitzBound() const;
  /// How many nodes the field has, equal parts counted once for each time that they were made.
  std::size_t NodeCount() const;

  /// Structural equality: the same operators on the same numbers, parameters and resources.
  bool operator==(SFField const& iOther) const;
  /// Equal fields have equal hashes, in every run on every machine, except that resources are told apart by address.
  std::size_t Hash() const;

  /// For the sources of the modelling library.
  explicit SFField(SFFieldNodePtr iNode) : _node(std::move(iNode)) {}
  /// For the sources of the modelling library.
  SFFieldNodePtr const& GetNode() const { return _node; }

private:
  SFFieldNodePtr _node;
};

/// Three fields: of a mapping, a gradient, a vector.
using SFField3 = std::array<SFField, 3>;

// Arithmetic, and the functions of the node kinds.
SF_MODELLING_EXPORT SFField operator+(SFField const& iA, SFField const& iB); ///< a + b at each point
SF_MODELLING_EXPORT SFField operator-(SFField const& iA, SFField const& iB); ///< a - b
SF_MODELLING_EXPORT SFField operator*(SFField const& iA, SFField const& iB); ///< a b
SF_MODELLING_EXPORT SFField operator/(SFField const& iA, SFField const& iB); ///< a / b; infinite or NaN where b is 0
inline SFField operator+(SFField const& iA) { return iA; }                   ///< a itself
SF_MODELLING_EXPORT SFField operator-(SFField const& iA);                    ///< 0 - a
inline SFField& operator+=(SFField& ioA, SFField const& iB) { return ioA = ioA + iB; } ///< a = a + b
inline SFField& operator-=(SFField& ioA, SFField const& iB) { return ioA = ioA - iB; } ///< a = a - b
inline SFField& operator*=(SFField& ioA, SFField const& iB) { return ioA = ioA * iB; } ///< a = a * b
inline SFField& operator/=(SFField& ioA, SFField const& iB) { return ioA = ioA / iB; } ///< a = a / b

SF_MODELLING_EXPORT SFField square(SFField const& iA); ///< a^2
SF_MODELLING_EXPORT SFField sqrt(SFField const& iA);   ///< NaN where a < 0
SF_MODELLING_EXPORT SFField abs(SFField const& iA);    ///< |a|
SF_MODELLING_EXPORT SFField sin(SFField const& iA);    ///< of an angle in radians
SF_MODELLING_EXPORT SFField cos(SFField const& iA);    ///< of an angle in radians
SF_MODELLING_EXPORT SFField tan(SFField const& iA);    ///< of an angle in radians
SF_MODELLING_EXPORT SFField asin(SFField const& iA);   ///< in [-pi/2, pi/2]; NaN where |a| > 1
SF_MODELLING_EXPORT SFField acos(SFField const& iA);   ///< in [0, pi]; NaN where |a| > 1
SF_MODELLING_EXPORT SFField atan(SFField const& iA);   ///< in [-pi/2, pi/2]
SF_MODELLING_EXPORT SFField exp(SFField const& iA);    ///< e^a
SF_MODELLING_EXPORT SFField log(SFField const& iA);    ///< natural
/// a to the power b; b = 2 gives the square.
SF_MODELLING_EXPORT SFField pow(SFField const& iA, SFField const& iB);
SF_MODELLING_EXPORT SFField sign(SFField const& iA);                   ///< 1 where a > 0, -1 elsewhere
SF_MODELLING_EXPORT SFField min(SFField const& iA, SFField const& iB); ///< b where b < a, else a
SF_MODELLING_EXPORT SFField max(SFField const& iA, SFField const& iB); ///< b where b > a, else a
/// The angle of (x, y) in (0, 2 pi]; on the axis it is pi.
SF_MODELLING_EXPORT SFField Angle(SFField const& iY, SFField const& iX);
/// sqrt(x^2 + y^2 + ...), summed from left to right.
SF_MODELLING_EXPORT SFField Length(std::span<SFField const> iComponents);
/// The same of a list in braces.
inline SFField Length(std::initializer_list<SFField> iComponents)
{
  return Length(std::span<SFField const>(iComponents.begin(), iComponents.size()));
}

// Set operations. Over a list they are balanced trees; an empty list is an std::invalid_argument.
SF_MODELLING_EXPORT SFField Union(SFField const& iA, SFField const& iB); ///< in one of the two at least: min(a, b)
SF_MODELLING_EXPORT SFField Union(std::span<SFField const> iFields);     ///< in one at least
SF_MODELLING_EXPORT SFField Intersection(SFField const& iA, SFField const& iB); ///< in both: max(a, b)
SF_MODELLING_EXPORT SFField Intersection(std::span<SFField const> iFields);     ///< in all
/// a without b.
SF_MODELLING_EXPORT SFField Difference(SFField const& iA, SFField const& iB);
/// In one of the two, but not in both.
SF_MODELLING_EXPORT SFField SymmetricDifference(SFField const& iA, SFField const& iB);
SF_MODELLING_EXPORT SFField Complement(SFField const& iA); ///< outside of the solid: -a
/// In one at least.
inline SFField Union(std::initializer_list<SFField> iFields)
{
  return Union(std::span<SFField const>(iFields.begin(), iFields.size()));
}
/// In all.
inline SFField Intersection(std::initializer_list<SFField> iFields)
{
  return Intersection(std::span<SFField const>(iFields.begin(), iFields.size()));
}
inline SFField operator|(SFField const& iA, SFField const& iB) { return Union(iA, iB); }        ///< union
inline SFField operator&(SFField const& iA, SFField const& iB) { return Intersection(iA, iB); } ///< intersection
inline SFField operator~(SFField const& iA) { return Complement(iA); }                          ///< complement

/// The smooth forms. With h = MAX(0, 1 - |a - b| / k) the union is MIN(a, b) - h^2 k / 4: it equals MIN(a, b) where the
/// operands differ by the blend radius k or more, and adds at most k / 4 of material. (Quadratic smooth minimum: I.
/// Quilez, "Smooth minimum", 2013, the polynomial of degree 2.) k = 0 gives the sharp form; std::invalid_argument for k
/// < 0, infinity or NaN. The others follow by de Morgan's laws.
SF_MODELLING_EXPORT SFField SmoothUnion(SFField const& iA, SFField const& iB, double iRadius);
/// The same over a balanced tree of a list that is not empty; which fields meet first shows where more than two are
/// near.
SF_MODELLING_EXPORT SFField SmoothUnion(std::span<SFField const> iFields, double iRadius);
/// -SmoothUnion(-a, -b): takes off at most k / 4.
SF_MODELLING_EXPORT SFField SmoothIntersection(SFField const& iA, SFField const& iB, double iRadius);
/// SmoothIntersection(a, -b).
SF_MODELLING_EXPORT SFField SmoothDifference(SFField const& iA, SFField const& iB, double iRadius);

/// The parameters of a field, by name in ascending order.
SF_MODELLING_EXPORT std::vector<SFParameterInfo> Parameters(SFField const& iField);
/// The field with another value of a parameter; std::invalid_argument when it has none of that name.
SF_MODELLING_EXPORT SFField With(SFField const& iField, std::string_view iName, double iValue);

} // namespace SF

/// Fields may be keys of unordered containers.
template <>
struct std::hash<SF::SFField>
{
  /// SFField::Hash.
  std::size_t operator()(SF::SFField const& iField) const { return iField.Hash(); }
};
