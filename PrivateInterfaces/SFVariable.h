#pragma once

#include "SFOp.h"

namespace SF {

/// A named parameter. Two parameters are equal when their names are; a graph read from text therefore holds one
/// node a name, with the value given first.
class SF_EXPORT SFVariable : public SFOp
{
public:
  SFVariable(std::string iName, double iValue);
  ~SFVariable() override;

  /// The name.
  std::string const& GetExpressionId() const override;
  HRESULT GetConstant(double& oValue) const override;
  using SFOp::SetConstant;
  /// Changes the value that evaluations from now on see; not while one runs. S_OK.
  virtual HRESULT SetConstant(double const& iValue);

private:
  std::string _name;
  double _value;
};

} // namespace SF
