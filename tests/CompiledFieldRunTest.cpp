#include "CompiledFieldSupport.h"

#include "SFProfilerItf.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <unistd.h>

using namespace SF;
using namespace SFTest;

namespace {

// ---- slices ---------------------------------------------------------------------------------------------------

struct SliceCase
{
  std::array<unsigned int, 3> dims;
  std::vector<unsigned int> cuts;
  SFCompiledFieldOptions options;
};

/// The floats of Render, from a graph of its own.
std::vector<float> Rendered(std::string const& iText, std::array<unsigned int, 3> iDims, double iH,
                            double const* iOrigin)
{
  Captured const captured;
  RootPtr const root = Build(iText);
  std::vector<float> values(std::size_t{iDims[0]} * iDims[1] * iDims[2]);
  EXPECT_EQ(SFDagEvaluator(Level2()).Render(iDims.data(), values, iH, iOrigin, *root, ZULTolerance(),
                                            ZULGMSFDiscretizationAccuracyLevel::ELow),
            S_OK);
  return values;
}

TEST(RenderSlices, InARowAreTheWholeGrid)
{
  SFCompiledFieldOptions tight = WithThreads(2);
  tight.memoryBudget = 1;
  SFCompiledFieldOptions small = WithThreads(3);
  small.memoryBudget = 20000;
  std::vector<SliceCase> const cases{{{33, 21, 19}, {1, 2, 12}, {}},     {{33, 21, 19}, {}, tight},
                                     {{70, 9, 40}, {13}, small},         {{1, 1, 5}, {1, 2, 3, 4}, WithThreads(1)},
                                     {{300, 1, 2}, {1}, WithThreads(2)}, {{5, 40, 9}, {4, 4, 8}, WithThreads(8)},
                                     {{64, 64, 3}, {2}, WithThreads(1)}, {{2, 2, 2}, {0, 2}, tight}};
  double const origin[3] = {-1.3, -0.9, -1.1};
  std::vector<std::string> texts = CompiledTexts;
  Expressions expressions(17);
  for (int i = 0; i < 12; ++i)
    texts.push_back(expressions.Next(5));
  for (std::string const& text : texts)
    for (SliceCase const& c : cases) {
      double const h = 0.11;
      auto const expected = Rendered(text, c.dims, h, origin);
      FieldPtr const field = Compiled(Build(text), c.options);
      std::vector<unsigned int> ends = c.cuts;
      ends.push_back(c.dims[2]);
      std::vector<float> found(expected.size() + 1, 77.0F); // the last one is nobody's
      std::size_t const slice = std::size_t{c.dims[0]} * c.dims[1];
      unsigned int begin = 0;
      for (unsigned int const end : ends) {
        std::span<float> const part(found.data() + begin * slice, (end - begin) * slice);
        ASSERT_EQ(field->RenderSlices(c.dims.data(), begin, end, part, h, origin), S_OK);
        begin = end;
      }
      for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_TRUE(SameBits<std::uint32_t>(found[i], expected[i]))
            << text << ", voxel " << i << ": " << found[i] << ", not " << expected[i];
      ASSERT_EQ(found.back(), 77.0F);
    }
}

/// What a field keeps of the grids before: places, sizes, slices in any order, infinities.
TEST(RenderSlices, KeepNothingOfOtherGrids)
{
  struct
  {
    std::array<unsigned int, 3> dims;
    unsigned int begin, end;
    double h, x;
  } const cases[] = {
      {{9, 8, 200}, 0, 2, 0.1, -0.5},   {{9, 8, 200}, 150, 152, 0.1, -0.5}, {{9, 8, 200}, 60, 70, 0.1, -0.5},
      {{9, 8, 200}, 61, 62, 0.1, -0.5}, {{9, 8, 200}, 61, 62, 0.1, 0.25},   {{9, 8, 200}, 61, 62, 0.2, 0.25},
      {{8, 9, 200}, 61, 62, 0.1, -0.5}, {{9, 8, 1}, 0, 1, 0.1, 7.0},        {{9, 8, 1}, 0, 1, 0.1, INFINITY},
      {{9, 8, 1}, 0, 1, 1e200, 7.0},    {{9, 8, 1}, 0, 1, 0.1, -3.0},       {{9, 8, 200}, 0, 2, 0.1, -0.5}};
  RootPtr const root = Build("U - r + + q X q Y q Z f1 I a - X f0.5 * Y Z $");
  for (std::size_t const budget : {std::size_t{1}, std::size_t{40000}, SFCompiledFieldOptions().memoryBudget}) {
    SFCompiledFieldOptions options = WithThreads(2);
    options.memoryBudget = budget;
    FieldPtr const kept = Compiled(root, options);
    for (auto const& c : cases) {
      double const origin[3] = {c.x, 0.5, -1.0};
      std::vector<float> found(std::size_t{c.dims[0]} * c.dims[1] * (c.end - c.begin));
      std::vector<float> expected(found.size());
      for (int again = 0; again < 2; ++again) {
        std::fill(found.begin(), found.end(), 77.0F);
        ASSERT_EQ(kept->RenderSlices(c.dims.data(), c.begin, c.end, found, c.h, origin), S_OK);
      }
      ASSERT_EQ(Compiled(root)->RenderSlices(c.dims.data(), c.begin, c.end, expected, c.h, origin), S_OK);
      for (std::size_t i = 0; i < found.size(); ++i)
        ASSERT_TRUE(SameBits<std::uint32_t>(found[i], expected[i])) << "case " << &c - cases << " at " << i;
    }
  }
}

TEST(RenderSlices, ReachIntoGridsThatFitIntoNoMemory)
{
  unsigned int const dims[3] = {3, 2, 4000000000U};
  double const origin[3] = {0.0, 0.0, -2e9};
  std::vector<float> values(12);
  ASSERT_EQ(Compiled(Build("Z $"))->RenderSlices(dims, 3999999998U, 4000000000U, values, 1.0, origin), S_OK);
  EXPECT_EQ(values.front(), static_cast<float>(1999999998.0));
  EXPECT_EQ(values.back(), static_cast<float>(1999999999.0));
}

/// A part that is dropped nearly everywhere, but for one place of a long axis, wherever that is.
TEST(RenderSlices, PruneLongAxesRightly)
{
  constexpr int length = 1500;
  unsigned int const dims[3] = {length, 3, 3};
  std::vector<float> values(std::size_t{length} * 3 * 3);
  for (int place = 0; place < length; ++place) {
    FieldPtr const field =
        Compiled(Build("I - a - X f" + std::to_string(place) + " f0.4 + f0.2 * f0.05 s * X * Y Z $"), WithThreads(2));
    ASSERT_EQ(field->RenderSlices(dims, 0, 3, values, 1.0, nullptr), S_OK);
    for (int row = 0; row < 9; ++row) {
      double const other = 0.2 + 0.05 * std::sin(1.0 * place * (row % 3) * (row / 3));
      ASSERT_EQ(values[static_cast<std::size_t>(row * length + place)], static_cast<float>(other)) << place;
    }
  }
}

// ---- progress, cancellation, exceptions, threads --------------------------------------------------------------

struct Log : SFProfilerItf
{
  void OnProgress(char const* iOperation, double iFraction) override
  {
    operation = iOperation;
    fractions.push_back(iFraction);
    sameThread = sameThread && std::this_thread::get_id() == caller;
    if (onProgress)
      onProgress(iFraction);
  }
  std::string operation;
  std::vector<double> fractions;
  std::function<void(double)> onProgress;
  std::thread::id const caller = std::this_thread::get_id();
  bool sameThread = true;
};

/// An operation that takes a while, by name, on a field of resources and functions.
struct Operation
{
  std::string name;
  std::function<HRESULT(SFCompiledField const&, std::atomic<bool> const*)> run;
};

std::vector<Operation> const& Operations()
{
  static std::vector<Operation> const operations{
      {"Evaluate",
       [](auto const& iField, auto const* iCancel) { return RandomPoints(20000).Evaluate(iField, iCancel); }},
      {"EvaluateGradient",
       [](auto const& iField, auto const* iCancel) { return RandomPoints(20000).Differentiate(iField, iCancel); }},
      {"RenderSlices",
       [](auto const& iField, auto const* iCancel) {
         unsigned int const dims[3] = {40, 40, 20};
         std::vector<float> values(std::size_t{40} * 40 * 12);
         return iField.RenderSlices(dims, 3, 15, values, 0.1, nullptr, iCancel);
       }},
  };
  return operations;
}

TEST(ThreadCompiledField, ReportsProgress)
{
  for (unsigned int const threads : {1U, 4U})
    for (Operation const& operation : Operations()) {
      Log log;
      SFCompiledFieldOptions options = WithThreads(threads);
      options.profiler = &log;
      FieldPtr const field = Compiled(Build("+ s X * Y Z $"), options);
      EXPECT_EQ(operation.run(*field, nullptr), S_OK);
      EXPECT_EQ(log.operation, operation.name);
      EXPECT_TRUE(log.sameThread);
      ASSERT_FALSE(log.fractions.empty());
      EXPECT_EQ(log.fractions.front(), 0.0);
      EXPECT_EQ(log.fractions.back(), 1.0);
      EXPECT_TRUE(std::is_sorted(log.fractions.begin(), log.fractions.end(), std::less_equal<>()));
      EXPECT_GT(log.fractions.size(), threads == 1 ? 5U : 1U) << operation.name;
    }
}

/// Every thread may be in one call of the resource when the flag is set, and about to begin another.
TEST(ThreadCompiledField, EndsAfterOneCallOfAResourceWhenCancelled)
{
  constexpr int when = 700;
  for (bool const inOptions : {false, true})
    for (int const threads : {1, 4})
      for (Operation const& operation : Operations()) {
        std::atomic<bool> cancel{false};
        std::atomic<bool> armed{true};
        SFCompiledFieldOptions options = WithThreads(static_cast<unsigned int>(threads));
        options.cancel = inOptions ? &cancel : nullptr;
        CountedFieldResolver resolver;
        RootPtr const root = Build("+ U #a X s Y $", &resolver);
        FieldPtr const field = Compiled(root, options);
        resolver.made->onCall = [&](int iCall) {
          if (armed && iCall == when)
            cancel = true;
        };
        EXPECT_EQ(operation.run(*field, inOptions ? nullptr : &cancel), E_ABORT) << operation.name;
        EXPECT_LE(std::max(resolver.made->values.load(), resolver.made->gradients.load()), when + 2 * threads)
            << operation.name;
        int const calls = resolver.made->values;
        EXPECT_EQ(operation.run(*field, inOptions ? nullptr : &cancel), E_ABORT); // and does not begin again
        EXPECT_EQ(resolver.made->values, calls);
        armed = cancel = false;
        EXPECT_EQ(operation.run(*field, inOptions ? nullptr : &cancel), S_OK);
        Points points;
        points.Add(1.0, 2.0, 3.0);
        EXPECT_EQ(points.Evaluate(*field), S_OK);
        SFEvaluationContext context = root->GetNewEvaluationContext();
        EXPECT_EQ(points.values[0], ByRecursion(*root, context, {1.0, 2.0, 3.0}));
      }
}

TEST(ThreadCompiledField, UsesTheThreadsThatOptionsAndMemoryAllow)
{
  struct
  {
    unsigned int threads;
    std::size_t budget;
    std::size_t expected;
  } const cases[] = {
      {1, SFCompiledFieldOptions().memoryBudget, 1}, {3, SFCompiledFieldOptions().memoryBudget, 3}, {3, 1, 1}};
  for (auto const& [threads, budget, expected] : cases)
    for (Operation const& operation : Operations()) {
      SFCompiledFieldOptions options = WithThreads(threads);
      options.memoryBudget = budget;
      CountedFieldResolver resolver;
      FieldPtr const field = Compiled(Build("+ U #a X + s Y + c Z * X Y $", &resolver), options);
      std::mutex mutex;
      std::condition_variable another;
      std::set<std::thread::id> seen;
      // Each thread waits in its first call for those that should come, and a moment for those that should not.
      resolver.made->onCall = [&, most = expected](int) {
        std::unique_lock lock(mutex);
        if (!seen.insert(std::this_thread::get_id()).second)
          return;
        another.notify_all();
        another.wait_for(lock, std::chrono::seconds(20), [&] { return seen.size() >= most; });
        another.wait_for(lock, std::chrono::milliseconds(30), [&] { return seen.size() > most; });
      };
      EXPECT_EQ(operation.run(*field, nullptr), S_OK);
      EXPECT_EQ(seen.size(), expected) << operation.name << " on " << threads << " with " << budget;
    }
}

/// Bytes of the process that are in memory.
std::size_t ResidentMemory()
{
  std::ifstream file("/proc/self/statm");
  std::size_t all = 0;
  std::size_t resident = 0;
  file >> all >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

TEST(CompiledFieldMemory, StaysWithinItsBudget)
{
#ifdef SF_INSTRUMENTED
  GTEST_SKIP() << "the sanitizers keep memory of their own";
#endif
  constexpr std::size_t budget = 1 << 20;
  unsigned int const dims[3] = {2048, 4, 1024}; // its plane of x and z takes 16 MiB
  std::vector<float> values(std::size_t{2048} * 4 * 1024);
  Log log;
  SFCompiledFieldOptions options = WithThreads(1);
  options.memoryBudget = budget;
  options.profiler = &log;
  FieldPtr const field = Compiled(Build("+ Y s + X Z $"), options);
  std::size_t most = 0;
  log.onProgress = [&](double) { most = std::max(most, ResidentMemory()); };
  std::size_t const before = ResidentMemory();
  EXPECT_EQ(field->RenderSlices(dims, 0, 1024, values, 0.01, nullptr), S_OK);
  EXPECT_LT(most, before + 4 * budget);
}

TEST(ThreadCompiledField, ReportsNoEndWhenCancelled)
{
  for (Operation const& operation : Operations()) {
    std::atomic<bool> cancel{false};
    Log log;
    log.onProgress = [&](double iFraction) { cancel = iFraction > 0.0; };
    SFCompiledFieldOptions options = WithThreads(1);
    options.profiler = &log;
    EXPECT_EQ(operation.run(*Compiled(Build("s X $"), options), &cancel), E_ABORT) << operation.name;
    ASSERT_EQ(log.fractions.size(), 2U) << operation.name;
    EXPECT_LT(log.fractions.back(), 1.0) << operation.name;
  }
}

TEST(ThreadCompiledField, PassesOnWhatAResourceOrAProfilerThrows)
{
  for (unsigned int const threads : {1U, 4U})
    for (Operation const& operation : Operations()) {
      Log log;
      SFCompiledFieldOptions options = WithThreads(threads);
      options.profiler = &log;
      CountedFieldResolver resolver;
      FieldPtr const field = Compiled(Build("+ U #a X s Y $", &resolver), options);
      bool armed = true;
      resolver.made->onCall = [&](int iCall) {
        if (armed && iCall == 999)
          throw std::runtime_error("resource");
        if (armed && iCall > 999) // other threads end before long
          std::this_thread::sleep_for(std::chrono::milliseconds(1));
      };
      EXPECT_THROW(operation.run(*field, nullptr), std::runtime_error) << operation.name;
      EXPECT_LT(resolver.made->values, 5000) << operation.name;
      armed = false;
      log.onProgress = [](double) { throw std::logic_error("profiler"); };
      EXPECT_THROW(operation.run(*field, nullptr), std::logic_error) << operation.name;
      log.onProgress = {};
      EXPECT_EQ(operation.run(*field, nullptr), S_OK) << operation.name;
    }
}

TEST(ThreadCompiledField, ServesConcurrentCalls)
{
  std::string const text = "U - r + + q X q Y q Z f1 \\ s X #a $";
  CountedFieldResolver resolver;
  FieldPtr const field = Compiled(Build(text, &resolver), WithThreads(2));
  unsigned int const dims[3] = {30, 20, 10};
  Points const at = RandomPoints(3000);
  struct Answers
  {
    Points values;
    Points gradients;
    std::vector<float> slices;
    double low = 0.0;
    double high = 0.0;
  };
  auto const ask = [&] {
    Answers answers{at, at, std::vector<float>(6000), 0.0, 0.0};
    EXPECT_EQ(answers.values.Evaluate(*field), S_OK);
    EXPECT_EQ(answers.gradients.Differentiate(*field), S_OK);
    EXPECT_EQ(field->RenderSlices(dims, 0, 10, answers.slices, 0.1, nullptr), S_OK);
    EXPECT_EQ(field->EvaluateInterval({{0, 0, 0}, {1, 1, 1}}, answers.low, answers.high), S_OK);
    return answers;
  };
  std::vector<std::thread> threads;
  std::vector<Answers> all(4);
  for (Answers& answers : all)
    threads.emplace_back([&ask, &answers] {
      for (int i = 0; i < 3; ++i)
        answers = ask();
    });
  for (std::thread& thread : threads)
    thread.join();
  Answers const alone = ask();
  for (Answers const& answers : all) {
    EXPECT_EQ(answers.values.values, alone.values.values);
    EXPECT_EQ(answers.gradients.gradients, alone.gradients.gradients);
    EXPECT_EQ(answers.slices, alone.slices);
    EXPECT_EQ(answers.high, alone.high);
  }
}

} // namespace
