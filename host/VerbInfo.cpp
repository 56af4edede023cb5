#include "Model.h"
#include "Report.h"
#include "SFOperatorTable.h"
#include "Verbs.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <unordered_map>

namespace SFHost {
namespace {

/// What the graph of a field holds.
struct GraphFacts
{
  std::uint64_t nodes = 0;
  std::uint64_t depth = 0;
  std::uint64_t cost = 0; ///< of one value, in additions
  std::map<SF::SFNodeType, std::uint64_t> kinds;
};

GraphFacts FactsOf(SF::SFDagNode const& iRoot)
{
  GraphFacts facts;
  std::unordered_map<SF::SFDagNode const*, std::uint64_t> depths;
  std::vector<SF::SFDagNode const*> open{&iRoot};
  while (!open.empty()) {
    SF::SFDagNode const& node = *open.back();
    std::size_t const before = open.size();
    std::uint64_t depth = 0;
    for (SF::SFDagNode const* const operand : {node.GetLhs().get(), node.GetRhs().get()})
      if (operand != nullptr) {
        auto const known = depths.find(operand);
        if (known == depths.end())
          open.push_back(operand);
        else
          depth = std::max(depth, known->second);
      }
    if (open.size() > before)
      continue;
    open.pop_back();
    if (!depths.emplace(&node, depth + 1).second)
      continue;
    ++facts.nodes;
    ++facts.kinds[node.GetTypeTag()];
    facts.cost += SF::OperatorRow(node.GetTypeTag()).cost;
    facts.depth = std::max(facts.depth, depth + 1);
  }
  return facts;
}

std::string Number(double iValue)
{
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", iValue);
  return text;
}

void AddKinds(Report& ioReport, GraphFacts const& iFacts)
{
  Json kinds = Json::object();
  std::string text;
  for (auto const& [type, count] : iFacts.kinds) {
    std::string const name(SF::OperatorRow(type).name);
    kinds[name] = count;
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + name;
  }
  ioReport.Add("kinds", "kinds", kinds, text);
}

void AddAxes(Report& ioReport, GraphFacts const& iFacts)
{
  using enum SF::SFNodeType;
  Json axes = Json::array();
  std::string text;
  bool const hasResource = iFacts.kinds.contains(RESOLVEDREF) || iFacts.kinds.contains(POLY);
  for (auto const& [type, name] : {std::pair{X, "x"}, {Y, "y"}, {Z, "z"}})
    if (hasResource || iFacts.kinds.contains(type)) {
      axes.push_back(name);
      text += (text.empty() ? "" : ", ") + std::string(name);
    }
  ioReport.Add("axes", "depends on", axes, text.empty() ? "nothing" : text);
}

void AddParameters(Report& ioReport, SF::SFField const& iField)
{
  Json parameters = Json::array();
  std::string text;
  for (SF::SFParameterInfo const& parameter : SF::Parameters(iField)) {
    parameters.push_back({{"name", parameter.name},
                          {"value", JsonNumber(parameter.value)},
                          {"low", JsonNumber(parameter.low)},
                          {"high", JsonNumber(parameter.high)}});
    text += (text.empty() ? "" : ", ") + parameter.name + " = " + Number(parameter.value);
    if (std::isfinite(parameter.low) || std::isfinite(parameter.high))
      text += " (" + Number(parameter.low) + " .. " + Number(parameter.high) + ")";
  }
  ioReport.Add("parameters", "parameters", parameters, text.empty() ? "none" : text);
}

void AddBounds(Report& ioReport, SF::SFField const& iField)
{
  auto const bounds = iField.Bounds();
  if (!bounds)
    return ioReport.Add("bounds", "bounds", Json(), "not known");
  auto const& [low, high] = *bounds;
  ioReport.Add("bounds", "bounds",
               {{"low", {JsonNumber(low.x), JsonNumber(low.y), JsonNumber(low.z)}},
                {"high", {JsonNumber(high.x), JsonNumber(high.y), JsonNumber(high.z)}}},
               Number(low.x) + "," + Number(low.y) + "," + Number(low.z) + "," + Number(high.x) + "," + Number(high.y) +
                   "," + Number(high.z) + " (it holds the solid, and may be larger)");
}

/// How near the values are to those of real numbers.
void AddExactness(Report& ioReport, GraphFacts const& iFacts)
{
  using enum SF::SFNodeType;
  std::string functions;
  std::string resources;
  for (auto const& [type, count] : iFacts.kinds) {
    bool const isFunction = SF::OperatorRow(type).cost >= SF::Detail::Function;
    bool const isResource = SF::FamilyOf(type) == SF::SFNodeFamily::Resource;
    std::string& list = isFunction ? functions : resources;
    if (isFunction || isResource)
      list.append(list.empty() ? "" : ", ").append(SF::OperatorRow(type).name);
  }
  std::string text = "each operator is rounded once";
  if (!functions.empty())
    text += "; " + functions + " within 1 ulp";
  if (!resources.empty())
    text += "; " + resources + " as the application answers";
  ioReport.Add("rounding", "rounding", text, text);
}

void Info(CommonOptions const& iCommon)
{
  RequirePlain(iCommon.model);
  FieldModel const model = LoadField(iCommon.model);
  GraphFacts const facts = Named(model.name, [&] { return FactsOf(*model.field.Node()); });
  Report report;
  report.AddCount("nodes", "nodes", facts.nodes);
  report.AddCount("depth", "depth", facts.depth);
  AddKinds(report, facts);
  AddParameters(report, model.field);
  AddAxes(report, facts);
  AddBounds(report, model.field);
  double const lipschitz = model.field.LipschitzBound();
  report.Add("lipschitz", "Lipschitz bound", JsonNumber(lipschitz),
             !std::isfinite(lipschitz) ? "not known"
             : lipschitz > 1.0         ? Number(lipschitz)
                                       : Number(lipschitz) + ": no value is further from 0 than the surface is away");
  report.Add("cost", "work per value", facts.cost, "about " + std::to_string(facts.cost) + " additions");
  AddExactness(report, facts);
  report.Print(iCommon);
}

} // namespace

Action AddInfo(Arguments& ioArguments)
{
  ioArguments.Examples("  sfdag info part.sfm\n"
                       "  sfdag info -x '- r + + q X q Y q Z pradius[1]' --json\n\n"
                       "Of the plain meaning: transforms, blends and offsets are counted as the operators that they\n"
                       "are made of, equal parts once. The work is what a compiled field does at most; parts that\n"
                       "depend on one axis, or are far away, cost less on grids (see sfdag bench).");
  return Info;
}

} // namespace SFHost
