#include "StlReader.h"

#include "FileContent.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <system_error>
#include <unordered_map>

namespace SFExample {
namespace {

/// The binary layout: 80 bytes of any content, the number of triangles, then for each triangle its normal and
/// three corners as 32-bit floats and a 16-bit attribute, all little-endian.
constexpr std::size_t BinaryHeader = 80;
constexpr std::size_t BinaryStart = BinaryHeader + 4;
constexpr std::size_t BinaryTriangle = 12 * 4 + 2;

/// Collects triangles, giving one index to equal corners.
class MeshBuilder
{
public:
  void Add(std::array<ZULMathPoint, 3> const& iCorners)
  {
    if (Count() == MaxTriangles)
      throw MeshError("there are more than " + std::to_string(MaxTriangles) + " triangles");
    TriangleMesh::Triangle triangle;
    std::transform(iCorners.begin(), iCorners.end(), triangle.begin(), [this](auto const& p) { return IndexOf(p); });
    _mesh.triangles.push_back(triangle);
  }
  std::size_t Count() const { return _mesh.triangles.size(); }
  TriangleMesh Take() { return std::move(_mesh); }

private:
  static constexpr std::size_t MaxTriangles = std::size_t{1} << 30; // keeps the indices of corners in 32 bits

  using Key = std::array<std::uint64_t, 3>;
  struct KeyHash
  {
    std::size_t operator()(Key const& iKey) const
    {
      std::uint64_t hash = 0;
      for (std::uint64_t const part : iKey)
        hash = (std::rotl(hash, 23) ^ part) * 0x9E3779B97F4A7C15u;
      return hash ^ (hash >> 32);
    }
  };

  std::uint32_t IndexOf(ZULMathPoint const& iPoint)
  {
    auto const bits = [](double iValue) { return std::bit_cast<std::uint64_t>(iValue + 0.0); }; // -0 becomes 0
    auto const fresh = static_cast<std::uint32_t>(_mesh.vertices.size());
    auto const [known, isNew] = _indices.try_emplace(Key{bits(iPoint.x), bits(iPoint.y), bits(iPoint.z)}, fresh);
    if (isNew)
      _mesh.vertices.push_back(iPoint);
    return known->second;
  }

  TriangleMesh _mesh;
  std::unordered_map<Key, std::uint32_t, KeyHash> _indices;
};

/// A coordinate, which must be a finite number in the range of the format's floats even where it is written out.
double Coordinate(double iValue, std::string const& iWhere)
{
  if (!(std::abs(iValue) <= double{std::numeric_limits<float>::max()}))
    throw MeshError(iWhere + ": a coordinate is not a finite 32-bit float");
  return iValue;
}

// ---- binary ---------------------------------------------------------------------------------------------------

std::uint32_t LittleEndian32(std::string_view iContent, std::size_t iAt)
{
  std::uint32_t value = 0;
  for (std::size_t byte = 4; byte-- > 0;)
    value = (value << 8) | static_cast<unsigned char>(iContent[iAt + byte]);
  return value;
}

std::uint64_t AnnouncedSize(std::string_view iContent)
{
  return BinaryStart + std::uint64_t{BinaryTriangle} * LittleEndian32(iContent, BinaryHeader);
}

bool IsBinary(std::string_view iContent)
{
  return iContent.size() >= BinaryStart && iContent.size() == AnnouncedSize(iContent);
}

TriangleMesh ParseBinary(std::string_view iContent)
{
  MeshBuilder builder;
  for (std::size_t at = BinaryStart; at < iContent.size(); at += BinaryTriangle) {
    auto const coordinate = [&](std::size_t iIndex) {
      auto const bits = LittleEndian32(iContent, at + 4 * iIndex);
      return Coordinate(double{std::bit_cast<float>(bits)}, "triangle " + std::to_string(builder.Count() + 1));
    };
    std::array<ZULMathPoint, 3> corners;
    for (std::size_t corner = 0; corner < 3; ++corner) // the first three numbers are the normal
      corners[corner] = {coordinate(3 * corner + 3), coordinate(3 * corner + 4), coordinate(3 * corner + 5)};
    builder.Add(corners);
  }
  return builder.Take();
}

// ---- ASCII ----------------------------------------------------------------------------------------------------

bool IsSpace(char iCharacter) { return std::isspace(static_cast<unsigned char>(iCharacter)) != 0; }

bool EqualIgnoringCase(std::string_view iA, std::string_view iB)
{
  return std::equal(iA.begin(), iA.end(), iB.begin(), iB.end(), [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
  });
}

/// The words of an ASCII file, one after the other.
class Words
{
public:
  explicit Words(std::string_view iText) : _rest(iText) {}

  bool AtEnd()
  {
    while (!_rest.empty() && IsSpace(_rest.front()))
      Skip();
    return _rest.empty();
  }
  std::string_view Next()
  {
    AtEnd();
    auto const end = std::find_if(_rest.begin(), _rest.end(), IsSpace);
    std::string_view const word = _rest.substr(0, static_cast<std::size_t>(end - _rest.begin()));
    _rest.remove_prefix(word.size());
    return word;
  }
  void SkipLine()
  {
    while (!_rest.empty() && _rest.front() != '\n')
      Skip();
  }
  void Expect(std::string_view iKeyword)
  {
    if (std::string_view const word = Next(); !EqualIgnoringCase(word, iKeyword))
      Unexpected('"' + std::string(iKeyword) + '"', word);
  }
  double Number()
  {
    std::string_view const word = Next();
    std::string_view const digits = word.substr(word.starts_with('+') ? 1 : 0);
    double value = 0.0;
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size())
      Unexpected("a number", word);
    return value;
  }
  std::string Line() const { return "line " + std::to_string(_line); }

  [[noreturn]] void Unexpected(std::string const& iExpected, std::string_view iFound) const
  {
    constexpr std::size_t longest = 40;
    std::string found(iFound.substr(0, longest));
    std::replace_if(
        found.begin(), found.end(), [](unsigned char c) { return std::isprint(c) == 0; }, '?');
    throw MeshError(Line() + ": " + iExpected + " expected, " +
                    (iFound.empty() ? "the file ends" : '"' + found + "\" found"));
  }

private:
  void Skip()
  {
    _line += _rest.front() == '\n' ? 1 : 0;
    _rest.remove_prefix(1);
  }

  std::string_view _rest;
  std::size_t _line = 1;
};

void ParseFacet(Words& ioWords, MeshBuilder& ioBuilder)
{
  ioWords.Expect("normal");
  for (int i = 0; i < 3; ++i)
    ioWords.Next(); // may be "nan": some writers have no normal for a sliver
  ioWords.Expect("outer");
  ioWords.Expect("loop");
  std::array<ZULMathPoint, 3> corners;
  for (ZULMathPoint& corner : corners) {
    ioWords.Expect("vertex");
    for (double* const coordinate : {&corner.x, &corner.y, &corner.z})
      *coordinate = Coordinate(ioWords.Number(), ioWords.Line());
  }
  ioWords.Expect("endloop");
  ioWords.Expect("endfacet");
  ioBuilder.Add(corners);
}

/// "solid", the rest of that line being a name, facets, "endsolid" and a name again; once or several times.
TriangleMesh ParseAscii(std::string_view iContent)
{
  MeshBuilder builder;
  Words words(iContent);
  while (!words.AtEnd()) {
    words.Expect("solid");
    words.SkipLine();
    for (;;) {
      std::string_view const word = words.Next();
      if (EqualIgnoringCase(word, "endsolid"))
        break;
      if (!EqualIgnoringCase(word, "facet"))
        words.Unexpected("\"facet\" or \"endsolid\"", word);
      ParseFacet(words, builder);
    }
    words.SkipLine();
  }
  return builder.Take();
}

/// Binary headers may begin with "solid" too, but hold zero bytes sooner or later.
bool LooksLikeAscii(std::string_view iContent)
{
  return EqualIgnoringCase(Words(iContent).Next(), "solid") && iContent.find('\0') == std::string_view::npos;
}

} // namespace

TriangleMesh ParseStl(std::string_view iContent)
{
  if (IsBinary(iContent))
    return ParseBinary(iContent);
  if (LooksLikeAscii(iContent))
    return ParseAscii(iContent);
  if (iContent.size() < BinaryStart)
    throw MeshError("this is no STL file: it neither begins with \"solid\" nor is it long enough for the binary form");
  throw MeshError("this is no STL file, or a damaged one: for the " +
                  std::to_string(LittleEndian32(iContent, BinaryHeader)) +
                  " triangles that it announces it must have " + std::to_string(AnnouncedSize(iContent)) +
                  " bytes, but has " + std::to_string(iContent.size()));
}

TriangleMesh ReadStl(std::filesystem::path const& iFile) { return ParseStl(ReadFile(iFile)); }

} // namespace SFExample
