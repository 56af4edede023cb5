#include "Failure.h"
#include "Input.h"
#include "Model.h"
#include "Output.h"
#include "SFDagEvaluator.h"
#include "Verbs.h"
#include "Work.h"

#include <cmath>
#include <cstdio>

namespace SFHost {
namespace {

struct EvalOptions
{
  ModelOptions model;
  std::vector<Point> at;
  std::optional<std::string> points;
  WorkOptions work;
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

void Print(std::span<double const> iValues)
{
  Output output("-");
  for (double const value : iValues)
    output.Write(ValueLine(value));
  output.Commit();
}

void EvalStrictly(ModelOptions const& iOptions, std::vector<Point> const& iPoints)
{
  Model const model = LoadReadyModel(iOptions);
  SF::SFDagNode const& root = *model.root;
  SF::SFDagEvaluator const evaluator(model.context);
  SF::SFEvaluationContext context = root.GetNewEvaluationContext();
  std::vector<double> values;
  for (auto const& [x, y, z] : iPoints) {
    root.Reset(context);
    context.SetAtPosition({x, y, z});
    Require(evaluator.ComputeScalar(context, root), model.name, "cannot be evaluated");
    values.push_back(root.GetContextInfos(context.GetIndex()).value);
  }
  Print(values);
}

void Eval(EvalOptions const& iOptions)
{
  std::vector<Point> const points = AllPoints(iOptions);
  if (iOptions.model.strict)
    return EvalStrictly(iOptions.model, points);
  Work work(LoadField(iOptions.model), iOptions.work, "eval");
  auto const values = work.Evaluate(points);
  Print(values);
  WarnOfNans(work.GetName(), CountNans(values), values.size());
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
  options->work.AddTo(ioArguments);
  ioArguments.Examples("  sfdag eval part.sf --at 0 0 0 --at 1 2.5 -3\n"
                       "  sfdag eval -x '- r + + q X q Y q Z f1' --points points.csv");
  return [options] { Eval(*options); };
}

} // namespace SFHost
