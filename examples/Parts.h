#pragma once

#include "SFFieldCalculus.h"
#include "SFShapes.h"

#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

/// What the models are made of besides the shapes of the library. Millimetres.
namespace SFExample {

inline SF::SFField const x = SF::SFField::X();
inline SF::SFField const y = SF::SFField::Y();
inline SF::SFField const z = SF::SFField::Z();

/// What lies between two planes across a coordinate.
inline SF::SFField Slab(SF::SFField const& iAcross, double iLow, double iHigh)
{
  return abs(iAcross - 0.5 * (iLow + iHigh)) - 0.5 * (iHigh - iLow);
}

/// An endless rod about a line: `iU` and `iV` are the distances from it along two axes.
inline SF::SFField Rod(SF::SFField const& iU, SF::SFField const& iV, double iRadius)
{
  return SF::Length({iU, iV}) - iRadius;
}

/// A plate with rounded upright edges about the z axis, from `iLow` to `iHigh`.
inline SF::SFField RoundedPlate(double iHalfX, double iHalfY, double iCorner, double iLow, double iHigh)
{
  SF::SFField const u = abs(x) - (iHalfX - iCorner);
  SF::SFField const v = abs(y) - (iHalfY - iCorner);
  return (SF::Length({max(u, 0.0), max(v, 0.0)}) + min(max(u, v), 0.0) - iCorner) & Slab(z, iLow, iHigh);
}

/// Does what can fail. The exit status; errors are reported.
template <class Work>
int Reported(Work const& iWork)
{
  try {
    iWork();
    return 0;
  } catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}

/// Writes a model to the path that the command line names, else to the file kept here. The exit status.
inline int WriteModel(int iCount, char const* const* iArguments, char const* iKept, SF::SFField (*iModel)())
{
  return Reported([&] {
    std::ofstream file(iCount > 1 ? iArguments[1] : iKept, std::ios::binary);
    file << iModel().ToExpression() << '\n' << std::flush;
    if (!file)
      throw std::runtime_error("the model cannot be written");
  });
}

} // namespace SFExample
