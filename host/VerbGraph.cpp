#include "Failure.h"
#include "Layout.h"
#include "Model.h"
#include "OutputFormat.h"
#include "Report.h"
#include "SFDagToGraphViz.h"
#include "SFOutputFile.h"
#include "Verbs.h"

#include <algorithm>
#include <sstream>
#include <unordered_map>

namespace SFHost {
namespace {

constexpr std::string_view Extensions[] = {".dot", ".svg"};

/// Names the nodes of a drawing n1, n2, ... in the order in which they appear. The library names them by their addresses,
/// which are others in every run.
class NodeNames
{
public:
  /// A line with the address at its start, of a node or of an edge, and the one behind an arrow replaced. What follows a
  /// bracket is a label.
  std::string Renamed(std::string const& iLine)
  {
    std::size_t const arrow = iLine.find("->");
    std::size_t const label = std::min(iLine.find('['), iLine.size());
    std::string renamed;
    std::size_t done = 0;
    for (std::size_t const at :
         {std::size_t{iLine.starts_with('\t')}, arrow == std::string::npos ? label : arrow + 2}) {
      std::size_t const end = std::min(iLine.find_first_not_of("0123456789", at), iLine.size());
      if (at >= label || end <= at)
        continue;
      renamed.append(iLine, done, at - done).append(NameOf(iLine.substr(at, end - at)));
      done = end;
    }
    return renamed.append(iLine, done);
  }

private:
  std::string NameOf(std::string const& iAddress)
  {
    auto const number = _numbers.try_emplace(iAddress, _numbers.size() + 1).first->second;
    return std::string(1, 'n').append(std::to_string(number));
  }

  std::unordered_map<std::string, std::size_t> _numbers;
};

std::string WithNames(std::string const& iDrawing)
{
  NodeNames names;
  std::string renamed;
  std::istringstream lines(iDrawing);
  for (std::string line; std::getline(lines, line);)
    renamed += names.Renamed(line) + '\n';
  return renamed;
}

void Graph(CommonOptions const& iCommon, std::string const& iPath)
{
  bool const asSvg = ExtensionFor(iPath, Extensions) == ".svg";
  RequireUsable(iCommon, iPath);
  Model const model = LoadModel(iCommon.model);
  if (HasNode(*model.root, SF::SFNodeType::END))
    throw ModelFailure(model.name, "cannot be drawn, an operand is missing");
  SF::SFOutputFile output(iPath);
  std::string drawing;
  Require(SF::SFDagToGraphViz(model.context).Export(*model.root, drawing, false), model.name, "cannot be drawn");
  drawing = WithNames(drawing);
  output.Write(asSvg ? LayOutAsSvg(drawing) : drawing);
  output.Commit();
  Report report;
  report.Add("file", "file", iPath, iPath);
  report.PrintBeside(iCommon);
}

} // namespace

Action AddGraph(Arguments& ioArguments)
{
  auto const path = std::make_shared<std::string>();
  AddOutputFile(ioArguments, "OUT.dot|OUT.svg", *path);
  ioArguments.Examples("  sfdag graph part.sf -o part.svg\n"
                       "  sfdag graph -x '- r + + q X q Y q Z f1' -o sphere.dot\n\n"
                       "SVG is laid out by dot, a program of GraphViz.");
  return [path](CommonOptions const& iCommon) { Graph(iCommon, *path); };
}

} // namespace SFHost
