#pragma once

#include "CommonOptions.h"
#include "Grid.h"
#include "Ranks.h"
#include "SFMeshShares.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace SFMpi {

/// A mesh made by all processes. First they draw tasks and make the blocks of their strips; then each slab is assembled by one
/// process, to which the others send the strips that it lacks. What a process holds at once are the blocks that it made and
/// its slabs. All functions are collective and throw an AgreedFailure.
class MeshExchange
{
public:
  MeshExchange(Ranks const& iRanks, SFHost::CommonOptions const& iCommon, std::string iModelName);

  void Make(SF::SFField const& iField, SFHost::SampledBox const& iSampled, SF::SFMeshingOptions const& iOptions,
            std::string const& iWhat);
  /// Who gets the slabs.
  enum class Keeper
  {
    All,  ///< neighbouring slabs to each process, of about as many vertices
    First ///< all to the first process
  };
  enum class Surface
  {
    Required, ///< a mesh without triangles is a failure
    Optional
  };
  void Assemble(Keeper iKeeper, Surface iSurface = Surface::Required);

  /// Of this process, by their numbers.
  std::map<std::uint32_t, SF::SFMeshShares::Slab> const& GetSlabs() const { return _slabs; }
  /// Of the whole mesh.
  std::uint64_t CountVertices() const { return _vertexBefore.back(); }
  /// By slab, and all in the end.
  std::vector<std::uint64_t> TrianglesBefore() const;
  /// Of the whole mesh.
  SF::SFMeshingReport const& GetReport() const { return _report; }

private:
  void ShareReport();
  int KeeperOf(std::uint32_t iSlab) const;
  void Send();
  void AssembleSlab(std::uint32_t iSlab);

  Ranks const& _ranks;
  SFHost::CommonOptions const& _common;
  std::string _modelName;
  SF::SFWorkOptions _work; ///< of each task
  std::optional<SF::SFMeshShares> _shares;
  Keeper _keeper = Keeper::All;
  std::map<std::uint32_t, std::string> _strips; ///< that are here
  std::vector<std::uint64_t> _makers;           ///< of all strips
  std::vector<std::uint64_t> _sizes;            ///< in bytes
  std::vector<std::uint64_t> _vertexBefore;     ///< strip by strip, and all in the end
  std::vector<std::uint64_t> _triangles;        ///< of all slabs
  std::map<std::uint32_t, SF::SFMeshShares::Slab> _slabs;
  SF::SFMeshingReport _report;
};

} // namespace SFMpi
