#include "SF3mfPackage.h"

#include <Model/COM/NMR_DLLInterfaces.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace SF {
namespace {

/// Vertices or triangles between two looks at the cancel flag.
constexpr std::size_t CheckInterval = 8192;
constexpr auto Stopped = static_cast<LIB3MFRESULT>(LIB3MF_FAIL);

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

bool IsToContinue(int /*iPercent*/, NMR::ProgressIdentifier /*iStep*/, void* iCancel)
{
  auto const* const cancel = static_cast<std::atomic<bool> const*>(iCancel);
  return cancel == nullptr || !cancel->load(std::memory_order_relaxed);
}

bool IsCancelled(SF3mfContent const& iContent)
{
  return iContent.cancel != nullptr && iContent.cancel->load(std::memory_order_relaxed);
}

/// One by one, as the calls for whole arrays cannot be interrupted.
template <class Items, class Add>
LIB3MFRESULT AddAll(SF3mfContent const& iContent, Items const& iItems, Add const& iAdd)
{
  LIB3MFRESULT result = LIB3MF_OK;
  for (std::size_t i = 0; i < iItems.size() && result == LIB3MF_OK; ++i)
    result = i % CheckInterval == 0 && IsCancelled(iContent) ? Stopped : iAdd(iItems[i]);
  return result;
}

LIB3MFRESULT AddGeometry(SF3mfContent const& iContent, NMR::PLib3MFModelMeshObject* ioObject)
{
  LIB3MFRESULT const result = AddAll(iContent, iContent.vertices, [&](auto const& iVertex) {
    NMR::MODELMESHVERTEX vertex{{iVertex[0], iVertex[1], iVertex[2]}};
    return NMR::lib3mf_meshobject_addvertex(ioObject, &vertex, nullptr);
  });
  return result != LIB3MF_OK ? result : AddAll(iContent, iContent.triangles, [&](auto const& iTriangle) {
    NMR::MODELMESHTRIANGLE triangle{{iTriangle[0], iTriangle[1], iTriangle[2]}};
    return NMR::lib3mf_meshobject_addtriangle(ioObject, &triangle, nullptr);
  });
}

LIB3MFRESULT AddObject(SF3mfContent const& iContent, NMR::PLib3MFModel* ioModel)
{
  Handle<NMR::PLib3MFModelMeshObject> object;
  Handle<NMR::PLib3MFModelBuildItem> item;
  LIB3MFRESULT result = NMR::lib3mf_model_addmeshobject(ioModel, object.Place());
  if (result == LIB3MF_OK)
    result = NMR::lib3mf_object_setnameutf8(object.Get(), iContent.name.c_str());
  if (result == LIB3MF_OK)
    result = AddGeometry(iContent, object.Get());
  if (result == LIB3MF_OK)
    result = NMR::lib3mf_model_addbuilditem(ioModel, object.Get(), nullptr, item.Place());
  return result;
}

constexpr std::uint32_t WrittenWell = 0; // what callbacks return

/// The file as it grows. The writer goes back to fill in what it knows in the end only.
struct Bytes
{
  std::vector<unsigned char> content;
  std::size_t position = 0;
};

std::uint32_t WriteBytes(BYTE const* iBytes, std::uint32_t iCount, void* ioBytes)
{
  auto& [content, position] = *static_cast<Bytes*>(ioBytes);
  content.resize(std::max(content.size(), position + iCount));
  std::copy_n(iBytes, iCount, content.begin() + static_cast<std::ptrdiff_t>(position));
  position += iCount;
  return WrittenWell;
}

std::uint32_t SeekBytes(std::uint64_t iPosition, void* ioBytes)
{
  static_cast<Bytes*>(ioBytes)->position = static_cast<std::size_t>(iPosition);
  return WrittenWell;
}

LIB3MFRESULT Write(SF3mfContent const& iContent, NMR::PLib3MFModel* ioModel, std::vector<unsigned char>& oBytes)
{
  Handle<NMR::PLib3MFModelWriter> writer;
  LIB3MFRESULT result = NMR::lib3mf_model_querywriter(ioModel, "3mf", writer.Place());
  if (result == LIB3MF_OK)
    result = NMR::lib3mf_writer_setprogresscallback(writer.Get(), &IsToContinue,
                                                    const_cast<std::atomic<bool>*>(iContent.cancel));
  if (result != LIB3MF_OK)
    return result;
  Bytes bytes;
  result = NMR::lib3mf_writer_writetocallback(writer.Get(), reinterpret_cast<void*>(&WriteBytes),
                                              reinterpret_cast<void*>(&SeekBytes), &bytes);
  oBytes = std::move(bytes.content);
  return result;
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
