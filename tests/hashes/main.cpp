// Renders the models of a table and compares the hash of all bits with the one that stands there: the same for every
// compiler, instruction set and machine. sf_grid_hashes TABLE FOLDER; the folder is what files of models are relative to.
//
// Lines of the table: text or file of a model | lowest coordinate | extent of the domain | points along an axis | hash.
// A model that is meant to change shows its new hash in the output.

#include "SFCompiledField.h"
#include "SFDagFromExpression.h"

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// FNV-1a. All NaN count as one, since their signs and payloads are not defined.
class Hash
{
public:
  void Add(double iValue)
  {
    std::uint64_t const bits = iValue == iValue ? std::bit_cast<std::uint64_t>(iValue) : 0x7ff8000000000000;
    for (int byte = 0; byte < 64; byte += 8)
      _hash = (_hash ^ (bits >> byte & 0xff)) * 0x100000001b3;
  }
  std::string Text() const
  {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(_hash));
    return text;
  }

private:
  std::uint64_t _hash = 0xcbf29ce484222325;
};

struct Line
{
  std::string model;
  double low = 0.0;
  double extent = 0.0;
  unsigned int side = 0;
  std::string hash;
};

std::string TextOf(std::string const& iModel, std::string const& iFolder)
{
  if (!iModel.ends_with(".sf"))
    return iModel;
  std::ifstream file(iFolder + "/" + iModel);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// All floats of the grid, and the values and gradients at points of its diagonal, which come in doubles.
std::string HashOf(Line const& iLine, std::string const& iFolder)
{
  SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
  auto const root = SF::SFDagFromExpression::BuildFromExpression(TextOf(iLine.model, iFolder), nullptr);
  if (root == nullptr)
    return "unreadable";
  std::shared_ptr<SF::SFCompiledField> field;
  if (SF::SFCompiledField::Compile(context, root, {}, field) != S_OK)
    return "not compiled";
  unsigned int const dims[3] = {iLine.side, iLine.side, iLine.side};
  double const origin[3] = {iLine.low, iLine.low, iLine.low};
  std::vector<float> floats(std::size_t{iLine.side} * iLine.side * iLine.side);
  if (field->RenderSlices(dims, 0, iLine.side, floats, iLine.extent / (iLine.side - 1), origin) != S_OK)
    return "not rendered";
  Hash hash;
  for (float const value : floats)
    hash.Add(static_cast<double>(value));

  std::size_t const count = 999;
  std::vector<double> x(count), y(count), z(count), values(count), gradients(3 * count);
  for (std::size_t i = 0; i < count; ++i) {
    double const along = iLine.extent * static_cast<double>(i) / static_cast<double>(count);
    x[i] = iLine.low + along;
    y[i] = iLine.low + 0.9 * along;
    z[i] = iLine.low + iLine.extent - 0.8 * along;
  }
  if (field->EvaluateGradient(count, x.data(), y.data(), z.data(), values.data(), gradients.data()) != S_OK)
    return "not evaluated";
  for (double const value : values)
    hash.Add(value);
  for (double const value : gradients)
    hash.Add(value);
  return hash.Text();
}

std::vector<Line> ReadTable(char const* iFile)
{
  std::vector<Line> lines;
  std::ifstream file(iFile);
  for (std::string text; std::getline(file, text);) {
    if (text.empty() || text.starts_with("//"))
      continue;
    Line line;
    std::size_t const end = text.find(" |");
    line.model = text.substr(0, text.find_last_not_of(' ', end) + 1);
    char bar = 0;
    std::istringstream rest(text.substr(end + 1));
    rest >> bar >> line.low >> bar >> line.extent >> bar >> line.side >> bar >> line.hash;
    lines.push_back(line);
  }
  return lines;
}

} // namespace

int main(int argc, char** argv)
{
  if (argc != 3)
    return 2;
  std::vector<Line> const lines = ReadTable(argv[1]);
  bool areSame = lines.size() == 12;
  for (Line const& line : lines) {
    std::string const hash = HashOf(line, argv[2]);
    std::cout << hash << (hash == line.hash ? "  " : "  instead of " + line.hash + "  ") << line.model << std::endl;
    areSame = areSame && hash == line.hash;
  }
  return areSame ? EXIT_SUCCESS : EXIT_FAILURE;
}
