#pragma once

#include "Model.h"
#include "ViewText.h"
#include "Watch.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace SFHost {

/// What the page is opened on.
struct ViewModel
{
  std::string name;
  ViewNotation notation = ViewNotation::Formula;
  std::string text;                  ///< as it is shown
  std::string model;                 ///< as it is read: what a script prints, else the text
  std::vector<TextProblem> problems; ///< of a script that fails
  std::uint64_t version = 0;         ///< rises with each change of the file
};

/// The model of the command line, read again when its file changes, where that is asked for. Safe for several threads.
class ViewSource
{
public:
  /// Throws a UsageError, and a Failure for a file that cannot be read.
  ViewSource(ModelOptions const& iOptions, bool iIsWatching);

  bool IsWatching() const { return _isWatching; }
  /// As it is now. A file that cannot be read any more is what it was.
  ViewModel Get();
  std::uint64_t GetVersion();

private:
  void Read();
  void Refresh();

  ModelOptions _options;
  bool _isWatching;
  std::mutex _access;
  ViewModel _model;
  FileState _state{}; ///< of the file when it was read
};

} // namespace SFHost
