#pragma once

#include "SFDagFromExpression.h"
#include "SFDagNode.h"
#include "SFDagToExpression.h"

#include <iostream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace SFTest {

/// Takes what the library writes to std::cout while it lives.
class Captured
{
public:
  Captured() : _before(std::cout.rdbuf(_buffer.rdbuf())) {}
  Captured(Captured const&) = delete;
  Captured& operator=(Captured const&) = delete;
  ~Captured() { std::cout.rdbuf(_before); }

  /// The lines so far, with every source line number replaced by "N".
  std::vector<std::string> Lines() const
  {
    std::vector<std::string> lines;
    std::istringstream stream(_buffer.str());
    for (std::string line; std::getline(stream, line);)
      lines.push_back(std::regex_replace(line, std::regex(R"((\.(?:cpp|h)):\d+ )"), "$1:N "));
    return lines;
  }

private:
  std::ostringstream _buffer;
  std::streambuf* _before;
};

inline std::shared_ptr<SF::SFDagNode> Build(std::string const& iText, SF::SFResourceResolver* iResolver = nullptr)
{
  return SF::SFDagFromExpression::BuildFromExpression(iText, iResolver);
}

inline SF::SFSWContext const& Level2()
{
  static SF::SFSWContext const context(SF::SFSemanticLevel::ESemanticLevel2);
  return context;
}

/// The canonical text of a graph, "<failed>" when there is none.
inline std::string TextOf(SF::SFDagNode const& iNode)
{
  std::string text;
  return Succeeded(SF::SFDagToExpression(Level2()).Export(iNode, text, true, false)) ? text : "<failed>";
}

} // namespace SFTest
