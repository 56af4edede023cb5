#pragma once

#include "SFOp.h"

namespace SF {

/// A named parameter: a leaf of type PARAMETER, of the second semantic level. Two parameters are equal when their names
/// are; a graph read from text therefore holds one node a name, with the value given first.
class SF_EXPORT SFVariable : public SFOp
{
public:
  /// A name that is to be written as text must hold no blank and no bracket.
  SFVariable(std::string iName, double iValue);
  ~SFVariable() override;

  /// The name.
  std::string const& GetExpressionId() const override;
  /// The value. S_OK.
  HRESULT GetConstant(double& oValue) const override;
  using SFOp::SetConstant;
  /// Changes the value that evaluations from now on see; not while one runs. Graphs that were derived from this one
  /// before, and compiled fields, keep the value that they were made with. S_OK.
  virtual HRESULT SetConstant(double const& iValue);

private:
  std::string _name;
  double _value;
};

} // namespace SF
