// The kernels, included once for each instruction set inside a namespace of its own. SF_KERNEL_TARGET is the
// attribute that selects the set; SF_KERNEL_NAME its name, SF_KERNEL_BYTES the width of its registers and
// SF_KERNEL_REGISTERS how many of them a value takes in a fused group. Only plain loops here: they are what the compiler
// turns into vector code, and the scalar operations inlined into them come from SFScalarOps.h.

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
      else
        Row<Op, AVaries, BVaries>(out, a, b, iBox.n0);
      out += iBox.n0;
    }
}

// ---- fused groups ---------------------------------------------------------------------------------------------

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

template <SFNodeType Op, std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE void Combine(Registers<N>& ioValue, Registers<N> const& iOther, bool iSwapped)
{
  SF_KERNEL_UNROLL
  for (std::size_t r = 0; r < N; ++r)
    ioValue.v[r] = iSwapped ? Combined<Op>(iOther.v[r], ioValue.v[r]) : Combined<Op>(ioValue.v[r], iOther.v[r]);
}

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

/// ScalarOps::Clamped over a whole vector, for the reason given above.
SF_KERNEL_TARGET SF_KERNEL_INLINE Vector Clamped(Vector iValue, Vector iDiagonal)
{
  Vector const value = iValue == iValue ? iValue : iDiagonal;
  Vector const magnitude = Combined<SFNodeType::ABS>(value, value);
  return Combined<SFNodeType::SIGN>(value, value) * Combined<SFNodeType::MIN>(iDiagonal, magnitude);
}

using Floats = float __attribute__((vector_size(SF_KERNEL_BYTES / 2)));
using StoredFloats __attribute__((aligned(alignof(float)), may_alias)) = Floats;

template <std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE void StoreFloats(Registers<N> const& iValue, SFFusedBox const& iBox, float* oFloats)
{
  Vector const diagonal = Broadcast(iBox.diagonal);
  SF_KERNEL_UNROLL
  for (std::size_t r = 0; r < N; ++r)
    *reinterpret_cast<StoredFloats*>(oFloats + r * VectorLanes) =
        __builtin_convertvector(iBox.clamps ? Clamped(iValue.v[r], diagonal) : iValue.v[r], Floats);
}

/// The rows of a fused group's operands.
struct FusedRow
{
  double const* first;
  double const* operands[SFMaxFusedOps];
  double* out;
  float* floats;
};

template <std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE void RunStrip(SFFusedBox const& iBox, FusedRow const& iRow, std::size_t iAt)
{
  Registers<N> value{};
  Registers<N> other{};
  Registers<N> second{};
  Load(value, iRow.first + (iBox.firstVaries ? iAt : 0), iBox.firstVaries);
  for (std::size_t l = 0; l < iBox.opCount; ++l) {
    SFFusedOp const& op = iBox.ops[l];
    if (iRow.operands[l] != nullptr)
      Load(other, iRow.operands[l] + (op.varies ? iAt : 0), op.varies);
    else
      other = second;
    if (op.code == SFSpillCode) {
      second = value;
      value = other;
    } else
      Apply(op, value, other, std::make_index_sequence<Fusable.size()>{});
  }
  if (iRow.out == nullptr)
    StoreFloats(value, iBox, iRow.floats + iAt);
  else
    SF_KERNEL_UNROLL
  for (std::size_t r = 0; r < N; ++r)
    *reinterpret_cast<Loaded*>(iRow.out + iAt + r * VectorLanes) = value.v[r];
}

SF_KERNEL_TARGET void Fused(SFFusedBox const& iBox)
{
  constexpr std::size_t strip = SF_KERNEL_REGISTERS * VectorLanes;
  for (std::size_t k = 0; k < iBox.n2; ++k)
    for (std::size_t j = 0; j < iBox.n1; ++j) {
      auto const slice = static_cast<std::ptrdiff_t>(k);
      auto const number = static_cast<std::ptrdiff_t>(j);
      auto const at = [&](SFKernelOperand const& iOperand) {
        return iOperand.data == nullptr ? nullptr : iOperand.data + slice * iOperand.s2 + number * iOperand.s1;
      };
      FusedRow row;
      row.first = at(iBox.first);
      for (std::size_t l = 0; l < iBox.opCount; ++l)
        row.operands[l] = at(iBox.ops[l].operand);
      row.out = iBox.out == nullptr ? nullptr : iBox.out + (k * iBox.n1 + j) * iBox.n0;
      row.floats = iBox.out == nullptr ? iBox.floats + slice * iBox.s2 + number * iBox.s1 : nullptr;
      std::size_t i = 0;
      for (; i + strip <= iBox.n0; i += strip)
        RunStrip<SF_KERNEL_REGISTERS>(iBox, row, i);
      for (; i + VectorLanes <= iBox.n0; i += VectorLanes)
        RunStrip<1>(iBox, row, i);
      if (i < iBox.n0) // the last few once more, together with what is left
        RunStrip<1>(iBox, row, iBox.n0 - VectorLanes);
    }
}

// ---- ranges ---------------------------------------------------------------------------------------------------

template <SFNodeType Op>
SF_KERNEL_TARGET void Ranges(SFRanges<SFRangeLanes>& oRanges, SFRanges<SFRangeLanes> const& iA,
                             SFRanges<SFRangeLanes> const& iB)
{
  if constexpr (Op == SFNodeType::MULT)
    if (&iA == &iB)
      return Ranges<SFNodeType::SQUARE>(oRanges, iA, iA);
  for (std::size_t lane = 0; lane < SFRangeLanes; ++lane) {
    SFInterval const a{iA.lo[lane], iA.hi[lane], iA.nan[lane] != 0};
    SFInterval const b{iB.lo[lane], iB.hi[lane], iB.nan[lane] != 0};
    SFInterval const range = ScalarOps::Apply<Op>(a, b);
    oRanges.lo[lane] = range.lo;
    oRanges.hi[lane] = range.hi;
    oRanges.nan[lane] = range.nan ? 1 : 0;
  }
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

template <bool Clamps, bool Varies>
SF_KERNEL_TARGET void StoreRows(SFStoreBox const& iBox, double iDiagonal)
{
  SFFloatBox const& to = iBox.floats;
  for (std::size_t k = 0; k < to.n2; ++k)
    for (std::size_t j = 0; j < to.n1; ++j) {
      auto const slice = static_cast<std::ptrdiff_t>(k);
      auto const row = static_cast<std::ptrdiff_t>(j);
      float* __restrict const floats = to.out + slice * to.s2 + row * to.s1;
      double const* __restrict const values = iBox.values.data + slice * iBox.values.s2 + row * iBox.values.s1;
      for (std::size_t i = 0; i < to.n0; ++i) {
        double const value = values[Varies ? i : 0];
        floats[i] = static_cast<float>(Clamps ? ScalarOps::Clamped(value, iDiagonal) : value);
      }
    }
}

template <bool Clamps>
SF_KERNEL_TARGET void Store(SFStoreBox const& iBox, double iDiagonal)
{
  if (iBox.varies)
    StoreRows<Clamps, true>(iBox, iDiagonal);
  else
    StoreRows<Clamps, false>(iBox, iDiagonal);
}

/// Up to this many vectors at once, so that their components stay in the first-level cache.
constexpr std::size_t NormalBatch = 64;

/// The operations of ZULMathVector::Normalize, a component at a time.
SF_KERNEL_TARGET void StoreUnits(float* __restrict oFloats, double const* __restrict iX, double const* __restrict iY,
                                 double const* __restrict iZ, std::size_t iCount)
{
  float x[NormalBatch];
  float y[NormalBatch];
  float z[NormalBatch];
  for (std::size_t i = 0; i < iCount; ++i) {
    double const a = iX[i];
    double const b = iY[i];
    double const c = iZ[i];
    double const length = __builtin_sqrt(a * a + b * b + c * c);
    double const divisor = length == 0.0 ? 1.0 : length;
    x[i] = static_cast<float>(a / divisor);
    y[i] = static_cast<float>(b / divisor);
    z[i] = static_cast<float>(c / divisor);
  }
  for (std::size_t i = 0; i < iCount; ++i) {
    oFloats[3 * i] = x[i];
    oFloats[3 * i + 1] = y[i];
    oFloats[3 * i + 2] = z[i];
  }
}

SF_KERNEL_TARGET void StoreNormals(SFNormalBox const& iBox)
{
  SFFloatBox const& to = iBox.floats;
  double constants[3][NormalBatch];
  double const* from[3];
  for (std::size_t k = 0; k < to.n2; ++k)
    for (std::size_t j = 0; j < to.n1; ++j) {
      auto const slice = static_cast<std::ptrdiff_t>(k);
      auto const row = static_cast<std::ptrdiff_t>(j);
      for (std::size_t axis = 0; axis < 3; ++axis) {
        SFKernelOperand const& component = iBox.components[axis];
        from[axis] = component.data + slice * component.s2 + row * component.s1;
        if (!iBox.vary[axis])
          for (double& constant : constants[axis])
            constant = *from[axis];
      }
      float* const floats = to.out + slice * to.s2 + row * to.s1;
      for (std::size_t i = 0; i < to.n0; i += NormalBatch) {
        auto const values = [&](std::size_t iAxis) { return iBox.vary[iAxis] ? from[iAxis] + i : constants[iAxis]; };
        StoreUnits(floats + 3 * i, values(0), values(1), values(2), to.n0 - i < NormalBatch ? to.n0 - i : NormalBatch);
      }
    }
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
    ioKernels.ranges[Kind] = &Ranges<op>;
    constexpr SFPruning pruning = OperatorRow(op).pruning;
    if constexpr (IsNarrowing(pruning))
      ioKernels.narrow[Kind] = &NarrowLanes<pruning>;
  }
}

constexpr SFTapeKernels kernels = [] {
  SFTapeKernels set{SF_KERNEL_NAME, {}, &Fused, {}, {}, &WidenLanes, &Store<true>, &Store<false>, &StoreNormals};
  [&]<std::size_t... Kind>(std::index_sequence<Kind...>) { (Fill<Kind>(set), ...); }
  (std::make_index_sequence<SFNodeTypeCount>{});
  FillForms<Angle>(set.operators[AngleCode]);
  return set;
}();
