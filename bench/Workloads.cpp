#include "Workloads.h"

#include "SFDagDifferentialOperator.h"
#include "SFDagEvaluator.h"
#include "SFDagFromExpression.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <unordered_set>

namespace SFBench {
namespace {

/// Keeps the library's lines out of the report.
class Quiet
{
public:
  Quiet() : _before(std::cout.rdbuf(nullptr)) {}
  Quiet(Quiet const&) = delete;
  Quiet& operator=(Quiet const&) = delete;
  ~Quiet()
  {
    std::cout.rdbuf(_before); // clears the error state of a stream without a buffer
  }

private:
  std::streambuf* _before;
};

SF::SFSWContext const& Level2()
{
  static SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
  return context;
}

/// As Render's documentation has it.
unsigned TaskCount()
{
  return std::max(1u, std::thread::hardware_concurrency() != 0 ? std::thread::hardware_concurrency() : 2u);
}

std::size_t DifferentBits(float iA, float iB)
{
  return std::bit_cast<std::uint32_t>(iA) != std::bit_cast<std::uint32_t>(iB) ? 1 : 0;
}

/// Neighbouring floats, or what is left where functions cancel out, may differ.
std::size_t Apart(float iA, float iB) { return std::abs(iA - iB) <= 2e-7F * std::abs(iB) + 1e-12F ? 0 : 1; }

// ---- the loops' numbers -----------------------------------------------------------------------------------------

Workload::Loop RotatedGyroidLoop(std::string const& iText)
{
  std::size_t const open = iText.find('[');
  std::istringstream list(iText.substr(open + 1, iText.find(']') - open - 1));
  std::vector<double> numbers;
  for (std::string number; std::getline(list, number, ';');)
    numbers.push_back(std::strtod(number.c_str(), nullptr));
  ZULMathTransformation inverse;
  if (Failed(ZULMathTransformation(numbers.data(), static_cast<int>(numbers.size())).ComputeInverse(inverse)))
    throw std::runtime_error("rotated_gyroid.sf: its transformation has no inverse");
  return [inverse](Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues) {
    double rows[3][4];
    inverse.GetCoef(&rows[0][0], 12);
    HandLoops::RotatedGyroid(iGrid, iBegin, iEnd, oValues, rows);
  };
}

std::vector<CsgPart> ReadParts()
{
  std::istringstream table(ReadText(SF_BENCH_MODELS "/csg_parts.csv"));
  std::string line;
  std::getline(table, line); // the head
  std::vector<CsgPart> parts;
  while (std::getline(table, line)) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream row(line);
    std::string kind;
    CsgPart part{};
    row >> kind >> part.center[0] >> part.center[1] >> part.center[2] >> part.size[0] >> part.size[1] >> part.size[2] >>
        part.subtracted;
    part.isSphere = kind == "sphere";
    if (!row)
      throw std::runtime_error("csg_parts.csv: a line cannot be read: " + line);
    parts.push_back(part);
  }
  return parts;
}

Workload::Loop CsgLoop(std::string const&)
{
  return [parts = ReadParts()](Grid const& iGrid, unsigned iBegin, unsigned iEnd, float* oValues) {
    HandLoops::Csg(iGrid, iBegin, iEnd, oValues, parts.data(), parts.size());
  };
}

Workload::Loop SphereLoop(std::string const&) { return HandLoops::Sphere; }
Workload::Loop PanelLoop(std::string const&) { return HandLoops::Panel; }
Workload::Loop OrganicLoop(std::string const&) { return HandLoops::Organic; }
Workload::Loop GyroidShellLoop(std::string const&) { return HandLoops::GyroidShell; }

} // namespace

std::vector<Workload::Description> const& Workload::All()
{
  static std::vector<Description> const all{
      {"sphere", "sphere.sf", {-1.5, -1.5, -1.5}, 3.0, false, 256, SphereLoop},
      {"gyroid_shell", "gyroid_shell.sf", {-11.0, -11.0, -11.0}, 22.0, false, 256, GyroidShellLoop, true},
      {"rotated_gyroid", "rotated_gyroid.sf", {-11.0, -11.0, -11.0}, 22.0, false, 128, RotatedGyroidLoop, true},
      {"organic", "organic.sf", {-9.0, -9.0, -9.0}, 18.0, false, 128, OrganicLoop, true},
      {"bracket", "../../examples/gyroid_bracket.sf", {-46.0, -46.0, -4.0}, 92.0, false, 128, nullptr},
      {"csg_balanced", "csg_balanced.sf", {0.0, 0.0, 0.0}, 100.0, false, 256, CsgLoop},
      {"csg_chain", "csg_chain.sf", {0.0, 0.0, 0.0}, 100.0, false, 256, CsgLoop},
      {"panel", "panel.sf", {-100.0, -100.0, 0.0}, 200.0, true, 1024, PanelLoop},
  };
  return all;
}

Workload::Workload(Description const& iDescription, unsigned iSide)
  : _name(iDescription.name), _loopCallsLibrary(iDescription.callsLibrary)
{
  unsigned const side = iSide != 0 ? iSide : iDescription.side;
  _grid = {{side, side, iDescription.flat ? 1 : side},
           {iDescription.origin[0], iDescription.origin[1], iDescription.origin[2]},
           iDescription.extent / (side - 1)};
  std::string const text = ReadText(SF_BENCH_MODELS "/" + iDescription.file);
  _root = BuildQuietly(text);
  if (iDescription.makeLoop != nullptr)
    _loop = iDescription.makeLoop(text);
}

std::size_t Workload::NodeCount() const { return CountNodes(*_root); }

void Workload::Touch()
{
  _rendered.resize(_grid.Count());
  if (HasLoop())
    _looped.resize(_grid.Count());
}

void Workload::Render()
{
  Quiet const quiet;
  HRESULT const hr =
      SF::SFDagEvaluator(Level2()).Render(_grid.dims, _rendered, _grid.h, _grid.origin, _root, ZULGetDefaultTolerance(),
                                          ZULGMSFDiscretizationAccuracyLevel::EMedium);
  if (Failed(hr))
    throw std::runtime_error(_name + ": Render failed with " + std::to_string(hr));
  _isRendered = true;
}

void Workload::PrepareNormals()
{
  Quiet const quiet;
  for (auto const axis : {SF::SFNodeType::X, SF::SFNodeType::Y, SF::SFNodeType::Z})
    _gradient.push_back(SF::SFDagDifferentialOperator::BuildGradientTree(_root, axis, ZULGetDefaultTolerance()));
}

void Workload::RenderNormals()
{
  Quiet const quiet;
  _normals.resize(3 * _grid.Count());
  HRESULT const hr =
      SF::SFDagEvaluator(Level2()).Render(_grid.dims, _rendered, _normals, _grid.h, _grid.origin, *_root, _gradient,
                                          ZULGetDefaultTolerance(), ZULGMSFDiscretizationAccuracyLevel::EMedium);
  _isRendered = false; // these values are not clamped
  if (Failed(hr))
    throw std::runtime_error(_name + ": Render with normals failed with " + std::to_string(hr));
}

void Workload::RunLoop()
{
  unsigned const tasks = TaskCount();
  unsigned const slices = _grid.dims[2] == 1 ? _grid.dims[1] : _grid.dims[2]; // rows of a flat grid
  std::vector<std::future<void>> futures;
  for (unsigned t = 0; t < tasks; ++t)
    futures.push_back(std::async(std::launch::async, [this, tasks, slices, t] {
      _loop(_grid, slices * t / tasks, slices * (t + 1) / tasks, _looped.data());
    }));
  for (auto& future : futures)
    future.get();
  _isLooped = true;
}

std::size_t Workload::RunRecursion(std::size_t iCount)
{
  Quiet const quiet;
  SF::SFDagEvaluator const evaluator(Level2());
  SF::SFEvaluationContext context(0);
  auto const point = [this](std::size_t iIndex) {
    std::size_t const rest = iIndex / _grid.dims[0];
    auto const at = [this](int iAxis, std::size_t i) { return _grid.origin[iAxis] + static_cast<double>(i) * _grid.h; };
    return ZULMathPoint(at(0, iIndex % _grid.dims[0]), at(1, rest % _grid.dims[1]), at(2, rest / _grid.dims[1]));
  };
  double const span = (_grid.dims[0] - 1.0) * _grid.h;
  context.SetDomainSize(span, span, (_grid.dims[2] - 1.0) * _grid.h);
  context.SetVoxelSize(_grid.h);
  double const diagonal = ZULMathVector(span, span, (_grid.dims[2] - 1.0) * _grid.h).Length();

  _recursed.clear();
  std::size_t const step = std::max<std::size_t>(1, _grid.Count() / iCount);
  for (std::size_t index = step / 2; index < _grid.Count(); index += step) {
    _root->Reset(context);
    context.SetAtPosition(point(index));
    HRESULT const hr = evaluator.ComputeScalar(context, *_root);
    if (Failed(hr))
      throw std::runtime_error(_name + ": ComputeScalar failed with " + std::to_string(hr));
    double const value = _root->GetContextInfos(context.GetIndex()).value;
    double const magnitude = std::abs(value) < diagonal ? std::abs(value) : diagonal;
    _recursed.push_back({index, static_cast<float>(value <= 0.0 ? -magnitude : magnitude)});
  }
  _root->ResetEvaluationCache();
  return _recursed.size();
}

std::size_t Workload::LoopDifferences() const
{
  std::size_t differences = 0;
  if (_isRendered && _isLooped)
    for (std::size_t i = 0; i < _looped.size(); ++i)
      differences += (_loopCallsLibrary ? Apart : DifferentBits)(_rendered[i], _looped[i]);
  return differences;
}

std::size_t Workload::RecursionDifferences() const
{
  std::size_t differences = 0;
  if (_isRendered)
    for (auto const& [index, value] : _recursed)
      differences += DifferentBits(_rendered[index], value);
  return differences;
}

std::string ReadText(std::string const& iFile)
{
  std::ifstream stream(iFile, std::ios::binary);
  std::string const text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream || text.empty())
    throw std::runtime_error(iFile + ": cannot be read, or is empty");
  return text;
}

std::shared_ptr<SF::SFDagNode> BuildQuietly(std::string const& iText)
{
  Quiet const quiet;
  auto root = SF::SFDagFromExpression::BuildFromExpression(iText, nullptr);
  if (root == nullptr)
    throw std::runtime_error("a model cannot be built");
  return root;
}

std::string SolidsText(std::size_t iLength)
{
  std::string text;
  unsigned state = 1;
  auto const next = [&state] { // a linear congruential generator
    state = state * 1664525u + 1013904223u;
    return (state >> 8) % 100000 * 0.001;
  };
  constexpr std::size_t longest = 80; // characters of a sphere
  constexpr std::string_view last = "X ";
  while (text.size() + longest < iLength) {
    char sphere[longest];
    int const size = std::snprintf(sphere, longest, "U - r + + q - X f%.3f q - Y f%.3f q - Z f%.3f f%.3f ", next(),
                                   next(), next(), next());
    text.append(sphere, static_cast<std::size_t>(size));
  }
  text += last;
  text.resize(iLength, ' ');
  return text;
}

std::size_t CountNodes(SF::SFDagNode const& iRoot)
{
  std::unordered_set<SF::SFDagNode const*> met;
  std::vector<SF::SFDagNode const*> open{&iRoot};
  while (!open.empty()) {
    SF::SFDagNode const* const node = open.back();
    open.pop_back();
    if (node != nullptr && met.insert(node).second)
      open.insert(open.end(), {node->GetLhs().get(), node->GetRhs().get()});
  }
  return met.size();
}

} // namespace SFBench
