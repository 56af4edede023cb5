#pragma once

#include "SFConstant.h"
#include "SFDagEvaluator.h"
#include "SFDagFromExpression.h"
#include "SFDagNode.h"
#include "SFDagToExpression.h"
#include "SFOp.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <ctime>
#include <functional>
#include <iostream>
#include <memory>
#include <pthread.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace SFTest {

using LineList = std::vector<std::string>;
using NodePtr = std::shared_ptr<SF::SFDagNode>;

/// A number of levels, repetitions or cases that is large enough to show what grows out of bounds. Instrumented code
/// takes ten times as long and as much of the stack, and gets a tenth of them.
constexpr std::size_t Scaled(std::size_t iCount)
{
#ifdef SF_INSTRUMENTED
  return iCount / 10;
#else
  return iCount;
#endif
}

/// A line with the number N for that of every place in the source, as in "src/SFOp.cpp:12 ".
inline std::string WithoutPlaces(std::string const& iLine)
{
  std::string text;
  for (std::size_t i = 0; i < iLine.size(); ++i) {
    text += iLine[i];
    std::size_t const end = iLine.find_first_not_of("0123456789", i + 1);
    if (iLine[i] == ':' && end != std::string::npos && end > i + 1 && iLine[end] == ' ' &&
        (text.ends_with(".cpp:") || text.ends_with(".h:"))) {
      text += 'N';
      i = end - 1;
    }
  }
  return text;
}

/// Takes what the library writes to std::cout while it lives.
class Captured
{
public:
  Captured() : _before(std::cout.rdbuf(_buffer.rdbuf())) {}
  Captured(Captured const&) = delete;
  Captured& operator=(Captured const&) = delete;
  ~Captured() { std::cout.rdbuf(_before); }

  std::string Text() const { return _buffer.str(); }

  /// The lines so far, with every source line number replaced by "N".
  LineList Lines() const
  {
    LineList lines;
    std::istringstream stream(_buffer.str());
    for (std::string line; std::getline(stream, line);)
      lines.push_back(WithoutPlaces(line));
    return lines;
  }

private:
  std::ostringstream _buffer;
  std::streambuf* _before;
};

/// What an action writes.
template <class Action>
LineList LinesOf(Action iAction)
{
  Captured const captured;
  iAction();
  return captured.Lines();
}

/// The numbers of the lines in the sources at which an action reports from `iPath`, in the order of the reports.
template <class Action>
std::vector<int> PlacesOf(std::string const& iPath, Action iAction)
{
  Captured const captured;
  iAction();
  std::vector<int> places;
  std::string const text = captured.Text();
  for (std::size_t at = 0; (at = text.find(iPath + ":", at)) != std::string::npos;)
    places.push_back(std::stoi(text.substr(at += iPath.size() + 1, 9)));
  return places;
}

/// "Error in <method> at <path>:N  failed with hr: <code>", E_FAIL unless said otherwise.
inline std::string FailedCall(std::string const& iMethod, std::string const& iPath, HRESULT iCode = E_FAIL)
{
  return "Error in " + iMethod + " at " + iPath + ":N  failed with hr: " + std::to_string(iCode);
}
inline std::string FailedWith(std::string const& iText, HRESULT iCode = E_FAIL)
{
  return iText + " failed with hr: " + std::to_string(iCode);
}

inline NodePtr Build(std::string const& iText, SF::SFResourceResolver* iResolver = nullptr)
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

/// A value that no kind of node has.
constexpr SF::SFNodeType NoKind{1000};

/// `iCount` times a text.
inline std::string Repeated(std::string const& iText, std::size_t iCount)
{
  std::string all;
  for (std::size_t i = 0; i < iCount; ++i)
    all += iText;
  return all;
}

/// What something takes of the processor, so that it does not count what else the machine does.
inline double SecondsOf(std::function<void()> const& iWhat)
{
  std::clock_t const start = std::clock();
  iWhat();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// Runs something in a thread whose stack is far too small for recursion over a deep graph.
inline void OnSmallStack(std::function<void()> iWhat)
{
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 256 * 1024);
  pthread_t thread;
  auto const run = [](void* iFunction) -> void* {
    (*static_cast<std::function<void()>*>(iFunction))();
    return nullptr;
  };
  if (pthread_create(&thread, &attributes, run, &iWhat) != 0)
    throw std::runtime_error("no thread");
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

inline NodePtr Constant(double iValue) { return std::make_shared<SF::SFConstant>(iValue); }
inline NodePtr Op(SF::SFNodeType iType, NodePtr iLhs = nullptr, NodePtr iRhs = nullptr)
{
  return std::make_shared<SF::SFOp>(iType, std::move(iLhs), std::move(iRhs));
}

/// The value of a graph at a point, evaluated anew.
inline double ValueAt(SF::SFDagNode const& iNode, ZULMathPoint const& iPoint)
{
  iNode.ResetEvaluationCache();
  SF::SFEvaluationContext context(0);
  context.SetAtPosition(iPoint);
  EXPECT_EQ(SF::SFDagEvaluator(Level2()).ComputeScalar(context, iNode), S_OK);
  return iNode.GetContextCount() == 0 ? NAN : iNode.GetContextInfos(0).value;
}

/// The same double: the same bits, or NaN and NaN.
inline bool Same(double iA, double iB)
{
  return std::isnan(iA) ? std::isnan(iB) : std::bit_cast<std::uint64_t>(iA) == std::bit_cast<std::uint64_t>(iB);
}

} // namespace SFTest
