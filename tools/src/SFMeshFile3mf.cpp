#include "SF3mfPackage.h"
#include "SFMeshWriters.h"
#include "SFToolsErrors.h"
#include "SFWork.h"

namespace SF {
namespace {

/// lib3mf writes six decimals: sides of triangles shorter than this, in the file's unit, would lose too many digits.
constexpr double ShortestSide = 1e-3;

double MeanSide(SFMesh const& iMesh)
{
  double sum = 0.0;
  for (auto const& [a, b, c] : iMesh.triangles)
    sum += Norm(iMesh.vertices[b] - iMesh.vertices[a]);
  return sum / static_cast<double>(iMesh.triangles.size());
}

/// The mesh's unit, or a smaller one for a mesh that is very fine.
SFLengthUnit UnitFor(SFMesh const& iMesh, SFLengthUnit iUnit)
{
  SFLengthUnit unit = iUnit;
  double const metres = MeanSide(iMesh) * MetresOf(iUnit);
  for (SFLengthUnit const smaller : {SFLengthUnit::Millimetre, SFLengthUnit::Micrometre})
    if (metres < ShortestSide * MetresOf(unit) && MetresOf(smaller) < MetresOf(unit))
      unit = smaller;
  return unit;
}

} // namespace

void Write3mf(SFMesh const& iMesh, SFOutputFile& ioFile, SFMeshFileOptions const& iOptions)
{
  SF3mfContent content;
  SFLengthUnit const unit = UnitFor(iMesh, iOptions.unit);
  double const scale = MetresOf(iOptions.unit) / MetresOf(unit);
  content.vertices.reserve(iMesh.vertices.size());
  for (SFVector3 const& vertex : iMesh.vertices)
    content.vertices.push_back(AsFloats(unit == iOptions.unit ? vertex : scale * vertex));
  content.triangles = iMesh.triangles;
  content.name = iOptions.name;
  content.unit = SymbolOf(unit);
  content.cancel = iOptions.cancel;

  unsigned int error = 0;
  auto const bytes = Make3mfPackage(content, error);
  ThrowIfCancelled(iOptions);
  if (bytes.empty())
    throw SFFileError(ioFile.GetName(), "lib3mf cannot make the file, its error " + std::to_string(error));
  ioFile.Write(std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size()));
}

} // namespace SF
