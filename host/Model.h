#pragma once

#include "Arguments.h"
#include "SFDagNode.h"
#include "SFSWContext.h"

#include <memory>
#include <optional>
#include <string>

namespace SFHost {

/// The options that say which field a verb works on.
struct ModelOptions
{
  void AddTo(Arguments& ioArguments);

  std::optional<std::string> file;
  std::optional<std::string> expression;
  std::uint32_t level = 2;
};

/// A field and the semantic level that it is used under.
struct Model
{
  std::string name; ///< for messages
  SF::SFSWContext context;
  std::shared_ptr<SF::SFDagNode> root;
};

/// Throws a UsageError when a file that is to be written is the one that the model is read from.
void RequireOtherFile(ModelOptions const& iOptions, std::string const& iOutput);

/// Reads the model. White space of any kind counts as a blank, so that a text may be laid out on many lines.
/// Throws a UsageError when not exactly one source is given, and a Failure for a text that cannot be read or that holds
/// what the level does not have.
Model LoadModel(ModelOptions const& iOptions);

/// Whether the text of a model is what it looks like. Otherwise there are warnings on the standard error stream, as
/// LoadModel writes them, too. Throws as that does for options and files.
bool CheckModel(ModelOptions const& iOptions);

/// The same, made ready for evaluation and calculus. Throws a Failure, too, when it cannot be.
Model LoadReadyModel(ModelOptions const& iOptions);

/// Whether a graph holds a node of a kind.
bool HasNode(SF::SFDagNode const& iRoot, SF::SFNodeType iType);

} // namespace SFHost
