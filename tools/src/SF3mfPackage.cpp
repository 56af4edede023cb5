#include "SF3mfPackage.h"

#include <Model/COM/NMR_DLLInterfaces.h>

#include <array>
#include <string_view>
#include <utility>

namespace SF {
namespace {

/// An object of lib3mf.
template <class Type>
class Handle
{
public:
  Handle() = default;
  Handle(Handle const&) = delete;
  Handle& operator=(Handle const&) = delete;
  ~Handle()
  {
    if (_object != nullptr)
      NMR::lib3mf_release(_object);
  }
  Type** Place() { return &_object; }
  Type* Get() const { return _object; }

private:
  Type* _object = nullptr;
};

NMR::eModelUnit UnitFor(std::string_view iSymbol)
{
  constexpr std::array<std::pair<std::string_view, NMR::eModelUnit>, 5> units{{{"um", NMR::MODELUNIT_MICROMETER},
                                                                               {"mm", NMR::MODELUNIT_MILLIMETER},
                                                                               {"cm", NMR::MODELUNIT_CENTIMETER},
                                                                               {"m", NMR::MODELUNIT_METER},
                                                                               {"in", NMR::MODELUNIT_INCH}}};
  for (auto const& [symbol, unit] : units)
    if (symbol == iSymbol)
      return unit;
  return NMR::MODELUNIT_MILLIMETER;
}

std::vector<NMR::MODELMESHVERTEX> VerticesOf(SF3mfContent const& iContent)
{
  std::vector<NMR::MODELMESHVERTEX> vertices;
  vertices.reserve(iContent.vertices.size());
  for (auto const& [x, y, z] : iContent.vertices)
    vertices.push_back({{x, y, z}});
  return vertices;
}

std::vector<NMR::MODELMESHTRIANGLE> TrianglesOf(SF3mfContent const& iContent)
{
  std::vector<NMR::MODELMESHTRIANGLE> triangles;
  triangles.reserve(iContent.triangles.size());
  for (auto const& [a, b, c] : iContent.triangles)
    triangles.push_back({{a, b, c}});
  return triangles;
}

bool IsToContinue(int /*iPercent*/, NMR::ProgressIdentifier /*iStep*/, void* iCancel)
{
  auto const* const cancel = static_cast<std::atomic<bool> const*>(iCancel);
  return cancel == nullptr || !cancel->load(std::memory_order_relaxed);
}

LIB3MFRESULT AddObject(SF3mfContent const& iContent, NMR::PLib3MFModel* ioModel)
{
  Handle<NMR::PLib3MFModelMeshObject> object;
  Handle<NMR::PLib3MFModelBuildItem> item;
  auto vertices = VerticesOf(iContent);
  auto triangles = TrianglesOf(iContent);
  LIB3MFRESULT result = NMR::lib3mf_model_addmeshobject(ioModel, object.Place());
  if (result == LIB3MF_OK)
    result = NMR::lib3mf_object_setnameutf8(object.Get(), iContent.name.c_str());
  if (result == LIB3MF_OK)
    result = NMR::lib3mf_meshobject_setgeometry(object.Get(), vertices.data(), static_cast<DWORD>(vertices.size()),
                                                triangles.data(), static_cast<DWORD>(triangles.size()));
  if (result == LIB3MF_OK)
    result = NMR::lib3mf_model_addbuilditem(ioModel, object.Get(), nullptr, item.Place());
  return result;
}

LIB3MFRESULT Write(SF3mfContent const& iContent, NMR::PLib3MFModel* ioModel, std::vector<unsigned char>& oBytes)
{
  Handle<NMR::PLib3MFModelWriter> writer;
  ULONG64 size = 0;
  LIB3MFRESULT result = NMR::lib3mf_model_querywriter(ioModel, "3mf", writer.Place());
  if (result == LIB3MF_OK)
    result = NMR::lib3mf_writer_setprogresscallback(writer.Get(), &IsToContinue,
                                                    const_cast<std::atomic<bool>*>(iContent.cancel));
  if (result == LIB3MF_OK)
    result = NMR::lib3mf_writer_getstreamsize(writer.Get(), &size);
  if (result != LIB3MF_OK)
    return result;
  oBytes.resize(static_cast<std::size_t>(size));
  return NMR::lib3mf_writer_writetobuffer(writer.Get(), oBytes.data(), size);
}

} // namespace

std::vector<unsigned char> Make3mfPackage(SF3mfContent const& iContent, unsigned int& oError)
{
  std::vector<unsigned char> bytes;
  Handle<NMR::PLib3MFModel> model;
  LIB3MFRESULT result = NMR::lib3mf_createmodel(model.Place());
  if (result == LIB3MF_OK)
    result = NMR::lib3mf_model_setunit(model.Get(), UnitFor(iContent.unit));
  if (result == LIB3MF_OK)
    result = AddObject(iContent, model.Get());
  if (result == LIB3MF_OK)
    result = Write(iContent, model.Get(), bytes);
  oError = static_cast<unsigned int>(result);
  if (result != LIB3MF_OK)
    bytes.clear();
  return bytes;
}

} // namespace SF
