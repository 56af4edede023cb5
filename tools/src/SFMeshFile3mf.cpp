#include "SF3mfPackage.h"
#include "SFMeshWriters.h"
#include "SFToolsErrors.h"
#include "SFWork.h"

namespace SF {

void Write3mf(SFMesh const& iMesh, SFOutputFile& ioFile, SFMeshFileOptions const& iOptions)
{
  SF3mfContent content;
  content.vertices.reserve(iMesh.vertices.size());
  for (SFVector3 const& vertex : iMesh.vertices)
    content.vertices.push_back(AsFloats(vertex));
  content.triangles = iMesh.triangles;
  content.name = iOptions.name;
  content.unit = SymbolOf(iOptions.unit);
  content.cancel = iOptions.cancel;

  unsigned int error = 0;
  auto const bytes = Make3mfPackage(content, error);
  ThrowIfCancelled(iOptions);
  if (bytes.empty())
    throw SFFileError(ioFile.GetName(), "lib3mf cannot make the file, its error " + std::to_string(error));
  ioFile.Write(std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size()));
}

} // namespace SF
