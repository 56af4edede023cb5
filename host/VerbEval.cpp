#include "Failure.h"
#include "Input.h"
#include "Model.h"
#include "Output.h"
#include "SFDagEvaluator.h"
#include "Verbs.h"

#include <cmath>
#include <cstdio>

namespace SFHost {
namespace {

struct EvalOptions
{
  ModelOptions model;
  std::vector<Point> at;
  std::optional<std::string> points;
};

/// The points asked for, those of the command line first.
std::vector<Point> AllPoints(EvalOptions const& iOptions)
{
  if (iOptions.at.empty() && !iOptions.points)
    throw UsageError("give at least one point with --at or --points");
  if (iOptions.points == "-" && iOptions.model.file == "-")
    throw UsageError("MODEL and --points cannot both be the standard input");
  std::vector<Point> points = iOptions.at;
  if (iOptions.points) {
    auto const more = ParsePoints(ReadInput(*iOptions.points), InputName(*iOptions.points));
    points.insert(points.end(), more.begin(), more.end());
  }
  return points;
}

/// Enough digits to read the same double back. A NaN has no sign here.
std::string ValueLine(double iValue)
{
  if (std::isnan(iValue))
    return "nan\n";
  char text[32];
  std::snprintf(text, sizeof text, "%.17g\n", iValue);
  return text;
}

void Eval(EvalOptions const& iOptions)
{
  std::vector<Point> const points = AllPoints(iOptions);
  Model const model = LoadReadyModel(iOptions.model);
  SF::SFDagNode const& root = *model.root;

  SF::SFDagEvaluator const evaluator(model.context);
  SF::SFEvaluationContext context = root.GetNewEvaluationContext();
  Output output("-");
  for (auto const& [x, y, z] : points) {
    root.Reset(context);
    context.SetAtPosition({x, y, z});
    Require(evaluator.ComputeScalar(context, root), model.name, "cannot be evaluated");
    output.Write(ValueLine(root.GetContextInfos(context.GetIndex()).value));
  }
  output.Commit();
}

} // namespace

Action AddEval(Arguments& ioArguments)
{
  auto const options = std::make_shared<EvalOptions>();
  options->model.AddTo(ioArguments);
  ioArguments.Points({.names = "--at", .values = "X Y Z ...", .help = "A point; may be given many times"}, options->at);
  ioArguments.Text({.names = "--points",
                    .values = "FILE",
                    .help = "File with a point on each line, X Y Z or X,Y,Z; - is the standard input"},
                   options->points);
  ioArguments.Examples("  sfdag eval part.sf --at 0 0 0 --at 1 2.5 -3\n"
                       "  sfdag eval -x '- r + + q X q Y q Z f1' --points points.csv");
  return [options] { Eval(*options); };
}

} // namespace SFHost
