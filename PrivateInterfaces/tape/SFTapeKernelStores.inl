// A part of the kernels: values become floats. Included once for each instruction set, like the rest.

/// ScalarOps::Clamped over whole vectors, for the reason given above.
template <std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE void Clamp(Registers<N>& ioValue, double iDiagonal)
{
  Vector const diagonal = Broadcast(iDiagonal);
#if defined(SF_KERNEL_AVX512)
  if (iDiagonal > 0.0) {
    SF_KERNEL_UNROLL
    for (std::size_t r = 0; r < N; ++r)
      ioValue.v[r] = ClampedByClass(ioValue.v[r], diagonal);
    return;
  }
#endif
  SF_KERNEL_UNROLL
  for (std::size_t r = 0; r < N; ++r) {
    Vector const value = ioValue.v[r] == ioValue.v[r] ? ioValue.v[r] : diagonal;
    Vector const magnitude = Combined<SFNodeType::ABS>(value, value);
    ioValue.v[r] = Combined<SFNodeType::SIGN>(value, value) * Combined<SFNodeType::MIN>(diagonal, magnitude);
  }
}

using Floats = float __attribute__((vector_size(SF_KERNEL_BYTES / 2)));
using StoredFloats __attribute__((aligned(alignof(float)), may_alias)) = Floats;

template <std::size_t N>
SF_KERNEL_TARGET SF_KERNEL_INLINE void StoreFloats(Registers<N> const& iValue, float* oFloats)
{
  SF_KERNEL_UNROLL
  for (std::size_t r = 0; r < N; ++r)
    *reinterpret_cast<StoredFloats*>(oFloats + r * VectorLanes) = __builtin_convertvector(iValue.v[r], Floats);
}

// ---- past the caches ------------------------------------------------------------------------------------------

constexpr std::size_t LineFloats = 64 / sizeof(float);

#if defined(SF_KERNEL_AVX512)
constexpr bool CanStream = true;
SF_KERNEL_TARGET SF_KERNEL_INLINE void StreamLine(float* oLine, float const* iFloats)
{
  _mm512_stream_ps(oLine, _mm512_load_ps(iFloats));
}
SF_KERNEL_TARGET SF_KERNEL_INLINE void EndStreams() { _mm_sfence(); }
#else // In lines of several vectors it does not pay.
constexpr bool CanStream = false;
inline void StreamLine(float*, float const*) {}
inline void EndStreams() {}
#endif

/// Collects floats that follow each other in memory and stores them by whole cache lines, past the caches.
struct FloatStream
{
  static constexpr std::size_t Room = 1024;
  alignas(64) float floats[Room + LineFloats];
  float* line = nullptr; ///< where the first of them belongs: at the beginning of a cache line
  std::size_t begin = 0; ///< those before are not known
  std::size_t end = 0;
};

/// Stores the whole lines. The rest stays, or is stored too.
SF_KERNEL_TARGET inline void Flush(FloatStream& ioStream, bool iEnds)
{
  FloatStream& s = ioStream;
  std::size_t i = s.begin;
  for (; i < s.end && i % LineFloats != 0; ++i)
    s.line[i] = s.floats[i];
  for (; i + LineFloats <= s.end; i += LineFloats)
    StreamLine(s.line + i, s.floats + i);
  s.begin = 0;
  if (iEnds) {
    for (; i < s.end; ++i)
      s.line[i] = s.floats[i];
    s.end = 0;
  } else if (i > 0) {
    __builtin_memcpy(s.floats, s.floats + i, LineFloats * sizeof(float)); // more than the rest, but of known length
    s.line += i;
    s.end -= i;
  }
}

/// Room for the next floats of a row, and as many again.
SF_KERNEL_TARGET inline float* NextOf(FloatStream& ioStream, std::size_t iCount)
{
  if (ioStream.end + 2 * iCount > FloatStream::Room)
    Flush(ioStream, false);
  ioStream.end += iCount;
  return ioStream.floats + (ioStream.end - iCount);
}

/// Prepares for the floats of a row: those collected may be of another place.
SF_KERNEL_TARGET inline void Aim(FloatStream& ioStream, float* oFloats)
{
  if (ioStream.end != 0 && ioStream.line + ioStream.end == oFloats)
    return;
  Flush(ioStream, true);
  ioStream.end = reinterpret_cast<std::uintptr_t>(oFloats) / sizeof(float) % LineFloats;
  ioStream.begin = ioStream.end;
  ioStream.line = oFloats - ioStream.end;
}

SF_KERNEL_TARGET inline void Finish(FloatStream& ioStream)
{
  Flush(ioStream, true);
  EndStreams(); // before other threads are told of the floats
}

/// Floats of a row for which all this pays.
constexpr std::size_t WorthStreaming = 192;

// ---- without fusion -------------------------------------------------------------------------------------------

/// Of a row of values up to this many at once.
constexpr std::size_t FloatBatch = 256;

template <bool Clamps, bool Varies>
SF_KERNEL_TARGET inline void StoreBatch(float* __restrict oFloats, double const* __restrict iValues, std::size_t iCount,
                                        double iDiagonal)
{
  for (std::size_t i = 0; i < iCount; ++i) {
    double const value = iValues[Varies ? i : 0];
    oFloats[i] = static_cast<float>(Clamps ? ScalarOps::Clamped(value, iDiagonal) : value);
  }
}

template <bool Clamps, bool Varies>
SF_KERNEL_TARGET void StoreRows(SFStoreBox const& iBox, double iDiagonal)
{
  SFFloatBox const& to = iBox.floats;
  FloatStream stream;
  bool const streams = CanStream && to.streams && to.n0 >= WorthStreaming;
  for (std::size_t k = 0; k < to.n2; ++k)
    for (std::size_t j = 0; j < to.n1; ++j) {
      auto const slice = static_cast<std::ptrdiff_t>(k);
      auto const row = static_cast<std::ptrdiff_t>(j);
      float* const floats = to.out + slice * to.s2 + row * to.s1;
      double const* const values = iBox.values.data + slice * iBox.values.s2 + row * iBox.values.s1;
      if (streams)
        Aim(stream, floats);
      for (std::size_t i = 0; i < to.n0; i += FloatBatch) {
        std::size_t const count = to.n0 - i < FloatBatch ? to.n0 - i : FloatBatch;
        StoreBatch<Clamps, Varies>(streams ? NextOf(stream, count) : floats + i, values + (Varies ? i : 0), count,
                                   iDiagonal);
      }
    }
  if (streams)
    Finish(stream);
}

template <bool Clamps>
SF_KERNEL_TARGET void StoreBox(SFStoreBox const& iBox, double iDiagonal)
{
  if (iBox.varies)
    StoreRows<Clamps, true>(iBox, iDiagonal);
  else
    StoreRows<Clamps, false>(iBox, iDiagonal);
}

/// Up to this many vectors at once, so that their components stay in the first-level cache.
constexpr std::size_t NormalBatch = 64;

/// As many vectors as a row of the smallest boxes fills.
constexpr std::size_t UnitVectors = 128 / SF_KERNEL_BYTES;

struct Components
{
  Registers<UnitVectors> x, y, z;
};

/// The operations of ZULMathVector::Normalize.
SF_KERNEL_TARGET SF_KERNEL_INLINE void Normalize(Components& ioUnits)
{
  Registers<UnitVectors> lengths;
  for (std::size_t r = 0; r < UnitVectors; ++r) {
    Vector const a = ioUnits.x.v[r];
    Vector const b = ioUnits.y.v[r];
    Vector const c = ioUnits.z.v[r];
    lengths.v[r] = a * a + b * b + c * c;
  }
  Combine<SFNodeType::ROOT>(lengths, lengths, false);
  for (std::size_t r = 0; r < UnitVectors; ++r)
    lengths.v[r] = lengths.v[r] == Vector{} ? Vector{} + 1.0 : lengths.v[r];
#if defined(SF_KERNEL_AVX512)
  if (DivideBySteps(ioUnits.x, ioUnits.y, ioUnits.z, lengths))
    return;
#endif
  for (std::size_t r = 0; r < UnitVectors; ++r) {
    ioUnits.x.v[r] /= lengths.v[r];
    ioUnits.y.v[r] /= lengths.v[r];
    ioUnits.z.v[r] /= lengths.v[r];
  }
}

/// Stores normalised vectors, the last few one by one.
SF_KERNEL_TARGET void StoreUnits(float* __restrict oFloats, double const* __restrict iX, double const* __restrict iY,
                                 double const* __restrict iZ, std::size_t iCount)
{
  float x[NormalBatch];
  float y[NormalBatch];
  float z[NormalBatch];
  constexpr std::size_t strip = UnitVectors * VectorLanes;
  std::size_t at = 0;
  for (; at + strip <= iCount; at += strip) {
    Components units;
    Load(units.x, iX + at, true);
    Load(units.y, iY + at, true);
    Load(units.z, iZ + at, true);
    Normalize(units);
    StoreFloats(units.x, x + at);
    StoreFloats(units.y, y + at);
    StoreFloats(units.z, z + at);
  }
  for (std::size_t i = at; i < iCount; ++i) {
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
  FloatStream stream;
  bool const streams = CanStream && to.streams && 3 * to.n0 >= WorthStreaming;
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
      if (streams)
        Aim(stream, floats);
      for (std::size_t i = 0; i < to.n0; i += NormalBatch) {
        auto const values = [&](std::size_t iAxis) { return iBox.vary[iAxis] ? from[iAxis] + i : constants[iAxis]; };
        std::size_t const count = to.n0 - i < NormalBatch ? to.n0 - i : NormalBatch;
        StoreUnits(streams ? NextOf(stream, 3 * count) : floats + 3 * i, values(0), values(1), values(2), count);
      }
    }
  if (streams)
    Finish(stream);
}
