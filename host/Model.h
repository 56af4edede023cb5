#pragma once

#include "Arguments.h"
#include "Failure.h"
#include "SFDagNode.h"
#include "SFField.h"
#include "SFSWContext.h"

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace SFHost {

/// The options that say which field a verb works on, and how it is read.
struct ModelOptions
{
  void AddTo(Arguments& ioArguments);

  std::optional<std::string> file;
  std::optional<std::string> content; ///< of the file, where it has been read already
  std::optional<std::string> expression;
  std::optional<std::string> formula;
  std::uint32_t level = 2;
  bool strict = false;
  std::vector<std::string> settings; ///< "name=value", of parameters
};

/// A model as it is written, and the semantic level that it is used under.
struct Model
{
  std::string name; ///< for messages
  SF::SFSWContext context;
  std::shared_ptr<SF::SFDagNode> root;
};

/// What a model means.
struct FieldModel
{
  std::string name;
  SF::SFField field;
};

/// Throws a UsageError when not exactly one source of a model is given.
void RequireOneSource(ModelOptions const& iOptions);

/// The values of parameters that the command line sets. Throws a UsageError.
std::map<std::string, double> ReadSettings(ModelOptions const& iOptions);

/// Throws a UsageError when a file that is to be written is the one that the model is read from.
void RequireOtherFile(ModelOptions const& iOptions, std::string const& iOutput);

/// Throws a UsageError when the reading is strict, for verbs that work on the plain meaning alone.
void RequirePlain(ModelOptions const& iOptions);

/// Reads the model: a listing where the name ends in ".vm", a formula where it ends in ".sfm", else an expression, in which white space of any kind counts
/// as a blank. Nodes that differ in any number stay different, unless the reading is strict. Throws a UsageError when not
/// exactly one source is given, and a Failure for a text that cannot be read or that holds what the level does not have.
Model LoadModel(ModelOptions const& iOptions);

/// The plain meaning of the model. Throws a Failure, too, when it has none. The reading is not strict.
FieldModel LoadField(ModelOptions const& iOptions);

/// Whether the text of a model is what it looks like. Otherwise there are warnings on the standard error stream, as
/// LoadModel writes them, too. Throws as that does for options and files.
bool CheckModel(ModelOptions const& iOptions);

/// As LoadModel, made ready for evaluation and calculus. Throws a Failure, too, when it cannot be.
Model LoadReadyModel(ModelOptions const& iOptions);

/// As LoadReadyModel, of the plain meaning: a graph of operators.
Model LoadPlainModel(ModelOptions const& iOptions);

/// Whether a graph holds a node of a kind.
bool HasNode(SF::SFDagNode const& iRoot, SF::SFNodeType iType);

/// Does something with a model. What the modelling library refuses becomes a Failure that names the model.
template <class Action>
auto Named(std::string const& iModelName, Action const& iAction)
{
  try {
    return iAction();
  } catch (std::logic_error const& error) { // invalid_argument, domain_error and length_error
    throw ModelFailure(iModelName, error.what());
  }
}

} // namespace SFHost
