#pragma once

#include "SFCompiledField.h"
#include "SFDagNode.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace SFLoad {

using NodePtr = std::shared_ptr<SF::SFDagNode>;

/// A field that threads build for themselves, and one of it that they share.
struct Model
{
  std::string name;
  std::string text;
  bool isSmall;    ///< its derivatives and offsets may be built
  bool isCopyable; ///< holds nodes of the library alone; others stay shared with a copy

  NodePtr shared;                                   ///< ready, with a slot for each thread
  std::shared_ptr<SF::SFCompiledField> sharedField; ///< of a graph of its own
};

/// The models, shared parts for `iThreads` threads included. Throws when one cannot be made.
std::vector<Model> MakeModels(unsigned int iThreads);

/// A piece of work on one model. What it gives, a checksum of all its results, never differs.
struct Job
{
  char const* name;
  bool onlySmall;
  bool onlyCopyable;
  /// `iThread` is the number of the slot in the shared graph that the work may use.
  std::uint64_t (*run)(Model const& iModel, unsigned int iThread);
};
extern std::vector<Job> const Jobs;

} // namespace SFLoad
