#pragma once

#include "CommonOptions.h"
#include "Model.h"
#include "SFDagToExpression.h"

#include <string>

namespace SFHost {

/// The canonical text of a graph that was made from a model. Throws a Failure that names the model when the graph
/// cannot be written at the model's level, holds something that has no text, or has a text beyond memory: a graph
/// stands for as many texts of a shared part as there are paths to it.
/// Numbers have 6 digits, or all that they need.
std::string CanonicalText(CommonOptions const& iCommon, Model const& iModel, SF::SFDagNode const& iRoot,
                          SF::SFDigits iDigits = SF::SFDigits::ESix);

/// Where the text of a result goes, and in which form.
struct TextOptions
{
  void AddTo(Arguments& ioArguments);

  std::string path = "-";
};

/// Writes a field as an expression, or as a listing where the name of the output ends in ".vm". Throws a Failure that
/// names the model when it cannot be written so.
void WriteText(CommonOptions const& iCommon, TextOptions const& iOptions, FieldModel const& iResult);
/// Writes an expression.
void WriteText(CommonOptions const& iCommon, TextOptions const& iOptions, std::string const& iExpression);

} // namespace SFHost
