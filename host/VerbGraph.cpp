#include "Failure.h"
#include "Layout.h"
#include "Model.h"
#include "Output.h"
#include "OutputFormat.h"
#include "SFDagToGraphViz.h"
#include "Verbs.h"

namespace SFHost {
namespace {

constexpr std::string_view Formats[] = {"dot", "svg"};

struct GraphOptions
{
  ModelOptions model;
  std::string path;
};

void Graph(GraphOptions const& iOptions)
{
  bool const asSvg = FormatOf(iOptions.path, Formats) == "svg";
  RequireOtherFile(iOptions.model, iOptions.path);
  Model const model = LoadModel(iOptions.model);
  if (HasNode(*model.root, SF::SFNodeType::END))
    throw Failure(model.name, "cannot be drawn, an operand is missing");
  Output output(iOptions.path);
  std::string drawing;
  Require(SF::SFDagToGraphViz(model.context).Export(*model.root, drawing, false), model.name, "cannot be drawn");
  output.Write(asSvg ? LayOutAsSvg(drawing) : drawing);
  output.Commit();
}

} // namespace

Action AddGraph(Arguments& ioArguments)
{
  auto const options = std::make_shared<GraphOptions>();
  options->model.AddTo(ioArguments);
  AddOutputFile(ioArguments, "OUT.dot|OUT.svg", options->path);
  ioArguments.Examples("  sfdag graph part.sf -o part.svg\n"
                       "  sfdag graph -x '- r + + q X q Y q Z f1' -o sphere.dot\n\n"
                       "SVG is laid out by dot, a program of GraphViz.");
  return [options] { Graph(*options); };
}

} // namespace SFHost
