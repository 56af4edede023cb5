// The kernels, included once for each instruction set inside a namespace of its own. SF_KERNEL_TARGET is the
// attribute that selects the set; SF_KERNEL_NAME its name, SF_KERNEL_BYTES the width of its registers and
// SF_KERNEL_REGISTERS how many of them a value takes in a fused group. Only plain loops here: they are what the compiler
// turns into vector code, and the scalar operations inlined into them come from SFScalarOps.h. SF_KERNEL_AVX512 adds what
// is written for that set alone.

/// One vector register, and a load that needs no alignment. Written otherwise, clang drops the attribute of the latter
/// without a word.
using Vector = double __attribute__((vector_size(SF_KERNEL_BYTES)));
using Loaded __attribute__((aligned(alignof(double)), may_alias)) = Vector;
static_assert(alignof(Loaded) == alignof(double));
constexpr std::size_t VectorLanes = SF_KERNEL_BYTES / sizeof(double);

/// The difference with 0 is the value itself, a zero of either sign included.
SF_KERNEL_TARGET SF_KERNEL_INLINE Vector Broadcast(double iValue) { return iValue - Vector{}; }

/// The angle of (a, b), which is no operator of graphs.
constexpr SFNodeType Angle{AngleCode};

template <SFNodeType Op>
SF_KERNEL_TARGET SF_KERNEL_INLINE double Single(double iA, double iB)
{
  if constexpr (Op == Angle)
    return SFCylindricalTransform::AngleOf(iA, iB);
  else
    return ScalarOps::Apply<Op>(iA, iB);
}

template <SFNodeType Op, bool AVaries, bool BVaries>
SF_KERNEL_TARGET SF_KERNEL_INLINE void Row(double* __restrict oOut, double const* __restrict iA,
                                           double const* __restrict iB, std::size_t iCount)
{
  double const a0 = *iA;
  double const b0 = *iB;
  for (std::size_t i = 0; i < iCount; ++i)
    oOut[i] = Single<Op>(AVaries ? iA[i] : a0, BVaries ? iB[i] : b0);
}

// ---- elementary functions -------------------------------------------------------------------------------------

/// The elementary functions over a vector, the lanes of which have the bits of the functions for single values.
namespace Lanes {
#define SF_LANES (SF_KERNEL_BYTES / 8)
#define SF_LANES_FUNCTION SF_KERNEL_TARGET SF_KERNEL_INLINE
#include "operators/elementary/SFElementaryFunctions.inl"
#undef SF_LANES
#undef SF_LANES_FUNCTION
} // namespace Lanes

/// As SFCylindricalTransform::AngleOf has it for single values. Of NaN any branch gives NaN.
SF_KERNEL_TARGET SF_KERNEL_INLINE Vector AngleOf(Vector iU, Vector iW)
{
  Vector const t = Lanes::Atan(Lanes::Magnitude(iW) / Lanes::Magnitude(iU));
  Lanes::Mask const isRight = iU > 0.0;
  return Lanes::Choose(iW > 0.0, Lanes::Choose(isRight, t, ZULPI - t),
                       Lanes::Choose(isRight, 2.0 * ZULPI - t, ZULPI + t));
}

/// An elementary function of vectors. The lanes for which Lanes::IsHuge holds are arbitrary for those of angles.
template <SFNodeType Op>
SF_KERNEL_TARGET SF_KERNEL_INLINE Vector Function(Vector iA, [[maybe_unused]] Vector iB)
{
  if constexpr (Op == SFNodeType::SIN)
    return Lanes::Sin(iA);
  else if constexpr (Op == SFNodeType::COS)
    return Lanes::Cos(iA);
  else if constexpr (Op == SFNodeType::TAN)
    return Lanes::Tan(iA);
  else if constexpr (Op == SFNodeType::EXP)
    return Lanes::Exp(iA);
  else if constexpr (Op == SFNodeType::LN)
    return Lanes::Log(iA);
  else if constexpr (Op == SFNodeType::POW)
    return Lanes::Pow(iA, iB);
  else if constexpr (Op == SFNodeType::ASIN)
    return Lanes::Asin(iA);
  else if constexpr (Op == SFNodeType::ACOS)
    return Lanes::Acos(iA);
  else if constexpr (Op == SFNodeType::ATAN)
    return Lanes::Atan(iA);
  else {
    static_assert(Op == Angle, "an elementary function that has no vectors");
    return AngleOf(iA, iB);
  }
}

constexpr bool IsAngular(SFNodeType iType)
{
  return iType == SFNodeType::SIN || iType == SFNodeType::COS || iType == SFNodeType::TAN;
}
constexpr bool IsElementary(SFNodeType iType)
{
  using enum SFNodeType;
  return IsAngular(iType) || iType == EXP || iType == LN || iType == POW || iType == ASIN || iType == ACOS ||
         iType == ATAN || iType == Angle;
}

/// A row of an elementary function. The last values of a vector are computed once more, together with what is left.
template <SFNodeType Op, bool AVaries, bool BVaries>
SF_KERNEL_TARGET void FunctionRow(double* __restrict oOut, double const* __restrict iA, double const* __restrict iB,
                                  std::size_t iCount)
{
  if (Op == SFNodeType::POW && !BVaries && *iB == 2.0)
    return Row<SFNodeType::SQUARE, AVaries, AVaries>(oOut, iA, iA, iCount);
  if (iCount < VectorLanes)
    return Row<Op, AVaries, BVaries>(oOut, iA, iB, iCount);
  Vector const a0 = Broadcast(*iA);
  Vector const b0 = Broadcast(*iB);
  Lanes::Mask huge{};
  for (std::size_t at = 0; at < iCount; at += VectorLanes) {
    std::size_t const i = at + VectorLanes <= iCount ? at : iCount - VectorLanes;
    Vector const a = AVaries ? Vector(*reinterpret_cast<Loaded const*>(iA + i)) : a0;
    Vector const b = BVaries ? Vector(*reinterpret_cast<Loaded const*>(iB + i)) : b0;
    *reinterpret_cast<Loaded*>(oOut + i) = Function<Op>(a, b);
    if constexpr (IsAngular(Op))
      huge |= Lanes::IsHuge(a);
  }
  if constexpr (IsAngular(Op)) {
    std::int64_t any = 0;
    for (std::size_t lane = 0; lane < VectorLanes; ++lane)
      any |= huge[lane];
    for (std::size_t i = 0; any != 0 && i < iCount; ++i) {
      double const a = iA[AVaries ? i : 0];
      if (!(__builtin_fabs(a) <= Lanes::LargestReduced))
        oOut[i] = ScalarOps::Apply<Op>(a, a);
    }
  }
}

// ---- vectors in registers -------------------------------------------------------------------------------------

/// As many registers as hold a value and an operand with some to spare.
template <std::size_t N>
struct Registers
{
  Vector v[N];
};

template <std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE void Load(Registers<N>& oValue, double const* iFrom, bool iVaries)
{
  if (iVaries) {
    SF_KERNEL_UNROLL
    for (std::size_t r = 0; r < N; ++r)
      oValue.v[r] = *reinterpret_cast<Loaded const*>(iFrom + r * VectorLanes);
  } else {
    Vector const value = Broadcast(*iFrom);
    SF_KERNEL_UNROLL
    for (std::size_t r = 0; r < N; ++r)
      oValue.v[r] = value;
  }
}

template <std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE void Store(Registers<N> const& iValue, double* oTo)
{
  SF_KERNEL_UNROLL
  for (std::size_t r = 0; r < N; ++r)
    *reinterpret_cast<Loaded*>(oTo + r * VectorLanes) = iValue.v[r];
}

/// Lane by lane the one meaning that the operator has, which the compiler joins to one vector instruction. It fails to
/// join selections: theirs are written once more, over whole vectors. The meaning itself cannot be called with vectors,
/// as outside of the target region those are taken apart. The tests of fused groups compare each operator's two forms.
template <SFNodeType Op>
SF_KERNEL_TARGET SF_KERNEL_INLINE Vector Combined(Vector iA, Vector iB)
{
  if constexpr (Op == SFNodeType::MIN)
    return iB < iA ? iB : iA;
  if constexpr (Op == SFNodeType::MAX)
    return iB > iA ? iB : iA;
  if constexpr (Op == SFNodeType::WITHOUT)
    return -iB > iA ? -iB : iA;
  if constexpr (Op == SFNodeType::SYMDIFF)
    return Combined<SFNodeType::WITHOUT>(Combined<SFNodeType::MIN>(iA, iB), Combined<SFNodeType::MAX>(iA, iB));
  if constexpr (Op == SFNodeType::SIGN)
    return iA > Vector{} ? Vector{} + 1.0 : Vector{} - 1.0;
  Vector result;
  for (std::size_t lane = 0; lane < VectorLanes; ++lane)
    result[lane] = ScalarOps::Apply<Op>(iA[lane], iB[lane]);
  return result;
}

#if defined(SF_KERNEL_AVX512)
#include "tape/SFTapeKernelFusedSteps.inl"
#endif

/// Several registers at once hide the latency of roots and quotients by steps; of one the instruction is faster.
template <SFNodeType Op, std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE bool CombineBySteps([[maybe_unused]] Registers<N>& ioValue,
                                                      [[maybe_unused]] Registers<N> const& iOther,
                                                      [[maybe_unused]] bool iSwapped)
{
#if defined(SF_KERNEL_AVX512)
  if constexpr (N > 1 && (Op == SFNodeType::ROOT || Op == SFNodeType::DIV)) {
    Stepped<N> const stepped = Op == SFNodeType::ROOT ? RootsBySteps(ioValue)
                               : iSwapped             ? QuotientsBySteps(iOther, ioValue)
                                                      : QuotientsBySteps(ioValue, iOther);
    if (stepped.isExact)
      ioValue = stepped.results;
    return stepped.isExact;
  }
#endif
  return false;
}

template <SFNodeType Op, std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE void Combine(Registers<N>& ioValue, Registers<N> const& iOther, bool iSwapped)
{
  if (CombineBySteps<Op>(ioValue, iOther, iSwapped))
    return;
  SF_KERNEL_UNROLL
  for (std::size_t r = 0; r < N; ++r)
    ioValue.v[r] = iSwapped ? Combined<Op>(iOther.v[r], ioValue.v[r]) : Combined<Op>(ioValue.v[r], iOther.v[r]);
}

// ---- operators ------------------------------------------------------------------------------------------------

/// A row by several vectors at once.
template <SFNodeType Op, bool AVaries, bool BVaries>
SF_KERNEL_TARGET void StripRow(double* __restrict oOut, double const* __restrict iA, double const* __restrict iB,
                               std::size_t iCount)
{
  constexpr std::size_t strip = SF_KERNEL_REGISTERS * VectorLanes;
  std::size_t i = 0;
  for (; i + strip <= iCount; i += strip) {
    Registers<SF_KERNEL_REGISTERS> a;
    Registers<SF_KERNEL_REGISTERS> b;
    Load(a, iA + (AVaries ? i : 0), AVaries);
    Load(b, iB + (BVaries ? i : 0), BVaries);
    Combine<Op>(a, b, false);
    Store(a, oOut + i);
  }
  Row<Op, AVaries, BVaries>(oOut + i, iA + (AVaries ? i : 0), iB + (BVaries ? i : 0), iCount - i);
}

template <SFNodeType Op, bool AVaries, bool BVaries>
SF_KERNEL_TARGET void Loop(SFKernelBox const& iBox)
{
  double* out = iBox.out;
  for (std::size_t k = 0; k < iBox.n2; ++k)
    for (std::size_t j = 0; j < iBox.n1; ++j) {
      auto const slice = static_cast<std::ptrdiff_t>(k);
      auto const row = static_cast<std::ptrdiff_t>(j);
      double const* const a = iBox.a.data + slice * iBox.a.s2 + row * iBox.a.s1;
      double const* const b = iBox.b.data + slice * iBox.b.s2 + row * iBox.b.s1;
      if constexpr (IsElementary(Op))
        FunctionRow<Op, AVaries, BVaries>(out, a, b, iBox.n0);
      else if constexpr (Op == SFNodeType::ROOT || Op == SFNodeType::DIV)
        StripRow<Op, AVaries, BVaries>(out, a, b, iBox.n0);
      else
        Row<Op, AVaries, BVaries>(out, a, b, iBox.n0);
      out += iBox.n0;
    }
}

// ---- fused groups ---------------------------------------------------------------------------------------------

template <std::size_t Kind, std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE bool ApplyKind(SFFusedOp const& iOp, Registers<N>& ioValue,
                                                 Registers<N> const& iOther)
{
  constexpr SFNodeType op{Kind};
  if constexpr (IsUnaryOperator(op))
    Combine<op>(ioValue, ioValue, false);
  else if (iOp.swapped)
    Combine<op>(ioValue, iOther, true);
  else
    Combine<op>(ioValue, iOther, false);
  return true;
}

/// A sequence of tests that the compiler turns into a jump.
template <std::size_t N, std::size_t... Kind>
SF_KERNEL_TARGET SF_KERNEL_INLINE void Apply(SFFusedOp const& iOp, Registers<N>& ioValue, Registers<N> const& iOther,
                                             std::index_sequence<Kind...>)
{
  (void)((iOp.code == Fusable[Kind] && ApplyKind<Fusable[Kind]>(iOp, ioValue, iOther)) || ...);
}

#include "tape/SFTapeKernelStores.inl"

/// Of the value and another operand the one that a condition, in memory, selects.
template <std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE void Choose(Registers<N>& ioValue, Registers<N> const& iOther, bool iSwapped,
                                              double const* iCondition, bool iVaries)
{
  SF_KERNEL_UNROLL
  for (std::size_t r = 0; r < N; ++r) {
    Vector const condition =
        iVaries ? Vector(*reinterpret_cast<Loaded const*>(iCondition + r * VectorLanes)) : Broadcast(*iCondition);
    auto const isPositive = condition > Vector{};
    if (iSwapped)
      ioValue.v[r] = isPositive ? iOther.v[r] : ioValue.v[r];
    else
      ioValue.v[r] = isPositive ? ioValue.v[r] : iOther.v[r];
  }
}

/// Runs a group on some vectors of a row. The values go to `oOut`, or, when it is null, as floats to `oFloats`.
template <std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE void RunStrip(SFFusedBox const& iBox, FusedRow const& iRow, std::size_t iAt,
                                                double* oOut, float* oFloats)
{
  Registers<N> value{};
  Registers<N> other{};
  Registers<N> second{};
  Load(value, iRow.first + (iBox.firstVaries ? iAt : 0), iBox.firstVaries);
  for (std::size_t l = 0; l < iBox.opCount; ++l) {
    SFFusedOp const& op = iBox.ops[l];
    if (op.code == SFConditionCode)
      continue;
    if (iRow.operands[l] != nullptr)
      Load(other, iRow.operands[l] + (op.varies ? iAt : 0), op.varies);
    else
      other = second;
    if (op.code == SFSpillCode) {
      second = value;
      value = other;
    } else if (op.code == SelectCode) {
      bool const varies = iBox.ops[l - 1].varies;
      Choose(value, other, op.swapped, iRow.operands[l - 1] + (varies ? iAt : 0), varies);
    } else
      Apply(op, value, other, std::make_index_sequence<Fusable.size()>{});
  }
  if (oOut != nullptr)
    return Store(value, oOut);
  if (iBox.clamps)
    Clamp(value, iBox.diagonal);
  StoreFloats(value, oFloats);
}

/// Runs a group on a row. `ioStream`: collects the floats; null where they go to their place at once.
SF_KERNEL_TARGET void RunRow(SFFusedBox const& iBox, FusedRow const& iRow, double* oOut, float* oFloats,
                             FloatStream* ioStream)
{
  constexpr std::size_t strip = SF_KERNEL_REGISTERS * VectorLanes;
  std::size_t const n = iBox.n0;
  auto const out = [oOut](std::size_t iAt) { return oOut == nullptr ? nullptr : oOut + iAt; };
  auto const floats = [oFloats](std::size_t iAt) { return oFloats == nullptr ? nullptr : oFloats + iAt; };
  std::size_t i = 0;
  for (; i + strip <= n; i += strip)
    RunStrip<SF_KERNEL_REGISTERS>(iBox, iRow, i, out(i), ioStream == nullptr ? floats(i) : NextOf(*ioStream, strip));
  for (std::size_t at = i; at < n; at += VectorLanes) { // the last few once more, together with what is left
    std::size_t const from = at + VectorLanes <= n ? at : n - VectorLanes;
    RunStrip<1>(iBox, iRow, from, out(from),
                ioStream == nullptr ? floats(from) : ioStream->floats + (ioStream->end + from - i));
  }
  if (ioStream != nullptr)
    ioStream->end += n - i;
}

SF_KERNEL_TARGET void Fused(SFFusedBox const& iBox)
{
  FloatStream stream;
  bool const streams = CanStream && iBox.streams && iBox.out == nullptr && iBox.n0 >= WorthStreaming;
  double* out = iBox.out;
  for (std::size_t k = 0; k < iBox.n2; ++k)
    for (std::size_t j = 0; j < iBox.n1; ++j) {
      auto const slice = static_cast<std::ptrdiff_t>(k);
      auto const number = static_cast<std::ptrdiff_t>(j);
      FusedRow const row = FusedRowAt(iBox, number, slice);
      float* const floats = out == nullptr ? iBox.floats + slice * iBox.s2 + number * iBox.s1 : nullptr;
      if (streams)
        Aim(stream, floats);
      RunRow(iBox, row, out, floats, streams ? &stream : nullptr);
      if (out != nullptr)
        out += iBox.n0;
    }
  if (streams)
    Finish(stream);
}

// ---- ranges ---------------------------------------------------------------------------------------------------

template <SFNodeType Op, bool WithCentres>
SF_KERNEL_TARGET void Ranges(SFRanges<SFRangeLanes>& oRanges, SFRanges<SFRangeLanes> const& iA,
                             SFRanges<SFRangeLanes> const& iB)
{
  if constexpr (Op == SFNodeType::MULT)
    if (&iA == &iB)
      return Ranges<SFNodeType::SQUARE, WithCentres>(oRanges, iA, iA);
  for (std::size_t lane = 0; lane < SFRangeLanes; ++lane) {
    SFInterval const a{iA.lo[lane], iA.hi[lane], iA.nan[lane] != 0};
    SFInterval const b{iB.lo[lane], iB.hi[lane], iB.nan[lane] != 0};
    SFInterval const range = ScalarOps::Apply<Op>(a, b);
    oRanges.lo[lane] = range.lo;
    oRanges.hi[lane] = range.hi;
    oRanges.nan[lane] = range.nan ? 1 : 0;
  }
  if constexpr (WithCentres)
    for (std::size_t lane = 0; lane < SFRangeLanes; ++lane)
      oRanges.centre[lane] = ScalarOps::Apply<Op>(iA.centre[lane], iB.centre[lane]);
}

template <bool OfRoot>
SF_KERNEL_TARGET void ConfineLanes(SFRanges<SFRangeLanes>& ioRanges, SFSpread<SFRangeLanes> const& iSpread)
{
  Confine<OfRoot>(ioRanges, iSpread);
}

template <SFPruning Pruning>
SF_KERNEL_TARGET void NarrowLanes(SFRanges<SFRangeLanes> const& iA, SFRanges<SFRangeLanes> const& iB,
                                  SFDemand<SFRangeLanes> const& iDemand, SFNarrowed<SFRangeLanes>& oNarrowed)
{
  Narrow<Pruning>(iA, iB, iDemand, oNarrowed);
}

SF_KERNEL_TARGET void WidenLanes(SFDemand<SFRangeLanes>& ioDemand, SFDemand<SFRangeLanes> const& iBy, SFBoxes iBoxes)
{
  Widen(ioDemand, iBy, iBoxes);
}

template <SFNodeType Op>
constexpr void FillForms(SFKernel (&oForms)[SFKernelFormCount])
{
  oForms[0] = &Loop<Op, true, true>;
  oForms[1] = &Loop<Op, true, false>;
  oForms[2] = &Loop<Op, false, true>;
}

template <std::size_t Kind>
constexpr void Fill(SFTapeKernels& ioKernels)
{
  constexpr SFNodeType op{Kind};
  if constexpr (IsOperator(op)) {
    FillForms<op>(ioKernels.operators[Kind]);
    ioKernels.ranges[Kind] = &Ranges<op, false>;
    ioKernels.rangesWithCentres[Kind] = &Ranges<op, true>;
    constexpr SFPruning pruning = OperatorRow(op).pruning;
    if constexpr (IsNarrowing(pruning))
      ioKernels.narrow[Kind] = &NarrowLanes<pruning>;
  }
}

constexpr SFTapeKernels kernels = [] {
  SFTapeKernels set{SF_KERNEL_NAME,   {},           &Fused, {}, {}, {}, {}, &WidenLanes, &StoreBox<true>,
                    &StoreBox<false>, &StoreNormals};
  [&]<std::size_t... Kind>(std::index_sequence<Kind...>) { (Fill<Kind>(set), ...); }
  (std::make_index_sequence<SFNodeTypeCount>{});
  FillForms<Angle>(set.operators[AngleCode]);
  set.confine[0] = &ConfineLanes<false>;
  set.confine[1] = &ConfineLanes<true>;
  return set;
}();
