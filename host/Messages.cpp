#include "Messages.h"

#include "Failure.h"

#include <iostream>

namespace SFHost {
namespace {

Loudness loudness = Loudness::Normal;

} // namespace

void SetLoudness(Loudness iLoudness)
{
  loudness = iLoudness;
  if (iLoudness == Loudness::Quiet)
    std::cout.rdbuf(nullptr);
}

void Warn(std::string const& iLines)
{
  if (loudness != Loudness::Quiet)
    std::cerr << iLines;
}

void Note(std::string const& iLine)
{
  if (loudness == Loudness::Verbose)
    std::cerr << OneLine(iLine) + "\n";
}

} // namespace SFHost
