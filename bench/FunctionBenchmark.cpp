// What a value of each elementary function costs: by the C library, by the function for single values, and by the rows
// of each kernel set that the machine has. Processor time in nanoseconds, the least of some repetitions, over rows of
// 1,024 arguments of ordinary size.

#include "SFElementary.h"
#include "Stopwatch.h"
#include "tape/SFTapeKernels.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

namespace {

using namespace SF;
using Function = double (*)(double, double);

struct Row
{
  char const* name;
  SFNodeType type; ///< NONE without an operator
  Function library, own;
  double low, high;
};

template <double (*F)(double)>
double Single(double iX, double)
{
  return F(iX);
}

using enum SFNodeType;
using namespace Elementary;
Row const rows[] = {
    {"sin", SIN, Single<std::sin>, Single<Sin>, -10.0, 10.0},
    {"cos", COS, Single<std::cos>, Single<Cos>, -10.0, 10.0},
    {"tan", TAN, Single<std::tan>, Single<Tan>, -10.0, 10.0},
    {"exp", EXP, Single<std::exp>, Single<Exp>, -10.0, 10.0},
    {"log", LN, Single<std::log>, Single<Log>, 0.01, 100.0},
    {"pow", POW, std::pow, Pow, 0.01, 20.0},
    {"asin", ASIN, Single<std::asin>, Single<Asin>, -1.0, 1.0},
    {"acos", ACOS, Single<std::acos>, Single<Acos>, -1.0, 1.0},
    {"atan", ATAN, Single<std::atan>, Single<Atan>, -10.0, 10.0},
    {"atan2", NONE, std::atan2, Atan2, -2.0, 2.0},
};

std::vector<double> Arguments(double iLow, double iHigh)
{
  std::mt19937_64 random(1);
  std::vector<double> arguments(1024);
  for (double& argument : arguments)
    argument = iLow + static_cast<double>(random() >> 11) * 0x1p-53 * (iHigh - iLow);
  return arguments;
}

template <class Action>
double NanosecondsOf(Action const& iAction, std::size_t iCount)
{
  constexpr int rounds = 50;
  double least = 1e9;
  for (int repetition = 0; repetition < 15; ++repetition) {
    SFBench::Stopwatch const watch;
    for (int round = 0; round < rounds; ++round)
      iAction();
    least = std::min(least, watch.Elapsed().cpu);
  }
  return least * 1e9 / (rounds * static_cast<double>(iCount));
}

} // namespace

int main()
{
  std::printf("%-6s %10s %10s", "", "C library", "single");
  for (SFTapeKernels const* const kernels : AvailableTapeKernels())
    std::printf(" %10s", kernels->name.data());
  std::printf("\n");
  for (Row const& row : rows) {
    std::vector<double> const x = Arguments(row.low, row.high);
    std::vector<double> const y = Arguments(-3.0, 3.0);
    std::vector<double> out(x.size());
    std::printf("%-6s", row.name);
    for (Function const function : {row.library, row.own})
      std::printf(" %10.2f", NanosecondsOf(
                                 [&] {
                                   for (std::size_t i = 0; i < x.size(); ++i)
                                     out[i] = function(x[i], y[i]);
                                 },
                                 x.size()));
    for (SFTapeKernels const* const kernels : AvailableTapeKernels())
      if (row.type != NONE) {
        SFKernelBox const box{out.data(), x.size(), 1, 1, {x.data(), 0, 0}, {y.data(), 0, 0}};
        SFKernel const kernel = kernels->operators[CodeOf(row.type)][0];
        std::printf(" %10.2f", NanosecondsOf([&] { kernel(box); }, x.size()));
      }
    std::printf("\n");
  }
  return 0;
}
