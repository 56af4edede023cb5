#include "Failure.h"
#include "Input.h"
#include "Model.h"
#include "Report.h"
#include "SFDagEvaluator.h"
#include "SFOutputFile.h"
#include "Verbs.h"
#include "Work.h"

#include <cmath>
#include <cstdio>

namespace SFHost {
namespace {

struct EvalOptions
{
  std::vector<Point> at;
  std::optional<std::string> points;
};

/// The points asked for, those of the command line first.
std::vector<Point> AllPoints(CommonOptions const& iCommon, EvalOptions const& iOptions)
{
  if (iOptions.at.empty() && !iOptions.points)
    throw UsageError("give at least one point with --at or --points");
  if (iOptions.points == "-" && iCommon.model.file == "-")
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

void Print(CommonOptions const& iCommon, std::span<double const> iValues)
{
  if (iCommon.asJson) {
    Json values = Json::array();
    for (double const value : iValues)
      values.push_back(JsonNumber(value));
    return PrintJson({{"values", values}});
  }
  SF::SFOutputFile output("-");
  for (double const value : iValues)
    output.Write(ValueLine(value));
  output.Commit();
}

void EvalStrictly(CommonOptions const& iCommon, std::vector<Point> const& iPoints)
{
  Model const model = LoadReadyModel(iCommon.model);
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
  Print(iCommon, values);
}

void Eval(CommonOptions const& iCommon, EvalOptions const& iOptions)
{
  std::vector<Point> const points = AllPoints(iCommon, iOptions);
  if (iCommon.model.strict)
    return EvalStrictly(iCommon, points);
  Work work(iCommon, LoadField(iCommon.model), "eval");
  auto const values = work.Evaluate(points);
  Print(iCommon, values);
  WarnOfNans(work.GetName(), CountNans(values), values.size());
}

} // namespace

Action AddEval(Arguments& ioArguments)
{
  auto const options = std::make_shared<EvalOptions>();
  ioArguments.Points({.names = "--at", .values = "X Y Z ...", .help = "A point; may be given many times"}, options->at);
  ioArguments.Text({.names = "--points",
                    .values = "FILE",
                    .help = "File with a point on each line, X Y Z or X,Y,Z; - is the standard input"},
                   options->points);
  ioArguments.Examples("  sfdag eval part.sf --at 0 0 0 --at 1 2.5 -3\n"
                       "  sfdag eval -x '- r + + q X q Y q Z f1' --points points.csv");
  return [options](CommonOptions const& iCommon) { Eval(iCommon, *options); };
}

} // namespace SFHost
