// A part of the kernels for AVX-512: roots and quotients by fused steps, which take a third and a half of the time of
// the processor's own instructions, and clamping by two instructions. Included where `Vector` and `Registers` are known.
//
// The results are those of the instructions, bit for bit. A fused step a ± b c is rounded once, so that the remainders
// a - g² and a - b q lose nothing that matters, and the last step adds remainder times slope to an approximation:
// P. Markstein, "Software division and square root using Goldschmidt's algorithms", 2004. Before its rounding that sum is
// off by the error of the approximation times the relative error of the slope and the remainder. So it rounds wrongly only
// where the exact result is closer than that to a midpoint of two doubles, and no result is a midpoint or very close to
// one: M. Cornea-Hasegan, R. Golliver, P. Markstein, "Correctness proofs outline for Newton-Raphson based floating-point
// divide and square root algorithms", 1999. All below in units in the last place (ulp) of the result, with seeds that
// are wrong by 2^-14 of themselves.
//
// Quotients: a divisor of 2^53 m, 1/2 <= m < 1, keeps them 2^-54 / m away from midpoints. The approximation is less than
// 1.5 off, hence 1/2 next to a midpoint, where the remainder is exact. The slope is 1 / b, rounded correctly by its last
// step, so it is wrong by at most m 2^-53 of itself, and half of that is less than the distance. That last step has one
// exception, the greatest significand, of which it may leave the slope just below. The remainder 1 - b y before it is
// exactly 2^-53 then, and the lane takes the instruction.
//
// Roots: let s = 2^53 m be one and N / 2 a midpoint. 4 s² is a multiple of 2^54 or 2^55 and N is odd, so N² - 4 s² = d is
// 1 modulo 8, and s is |d| 2^-56 / m away. The approximation is less than 2 off, hence 1.5 at most there. The roundings on
// the way to the slope 1 / (2 s) and the seed make it wrong by k 2^-53 / m, k < 3; the remainder's rounding adds 2^-53, the
// curvature of the root 2^-53 / m. So 12 (k + m + 1) < |d| suffices, which holds from |d| = 60 on. For the lesser ones
// there are two dozen significands for which the seeds decide: before these kernels are used, what they make of them is
// compared with the results of the instruction.

#define SF_FUSED_STEPS SF_KERNEL_TARGET SF_KERNEL_INLINE

/// The results of some vectors. Unless `isExact`, one is out of the range of the method.
template <std::size_t N>
struct Stepped
{
  Registers<N> results;
  bool isExact = true;
};

/// Correctly rounded roots of zeros and of what is neither negative nor close to the least or greatest double.
template <std::size_t N>
SF_FUSED_STEPS Stepped<N> RootsBySteps(Registers<N> const& iA)
{
  // Below, the last bits of remainders would be lost. A NaN, which infinities, negative and tiny values lead to, is too.
  Vector const least = Broadcast(0x1p-480);
  Vector const half = Broadcast(0.5);
  Stepped<N> stepped;
  unsigned outside = 0;
  SF_KERNEL_UNROLL
  for (std::size_t i = 0; i < N; ++i) {
    Vector const a = iA.v[i];
    auto const isNotZero = _mm512_cmp_pd_mask(a, Vector{}, _CMP_NEQ_UQ);
    Vector const seed = _mm512_maskz_rsqrt14_pd(isNotZero, a); // relative error below 2^-14
    Vector g = a * seed;
    Vector h = seed * half;
    for (int step = 0; step < 2; ++step) {
      Vector const r = _mm512_fnmadd_pd(g, h, half);
      g = _mm512_fmadd_pd(g, r, g);
      h = _mm512_fmadd_pd(h, r, h);
    }
    stepped.results.v[i] = _mm512_fmadd_pd(_mm512_fnmadd_pd(g, g, a), h, g);
    outside |= _mm512_mask_cmp_pd_mask(isNotZero, stepped.results.v[i], least, _CMP_NGE_UQ);
  }
  stepped.isExact = outside == 0;
  return stepped;
}

/// Results, and the lanes where one may not be correctly rounded.
struct Checked
{
  Vector value;
  unsigned outside;
};

SF_FUSED_STEPS Checked Reciprocal(Vector iB)
{
  Vector const one = Broadcast(1.0);
  Vector y = _mm512_maskz_rcp14_pd(0xff, iB); // the plain form has GCC warn of what it leaves out
  Vector remainder{};
  for (int step = 0; step < 3; ++step) {
    remainder = _mm512_fnmadd_pd(iB, y, one);
    y = _mm512_fmadd_pd(y, remainder, y);
  }
  return {y, _mm512_cmp_pd_mask(remainder, Broadcast(0x1p-53), _CMP_EQ_OQ)};
}

SF_FUSED_STEPS Checked QuotientBySteps(Vector iA, Vector iB, Vector iReciprocal)
{
  auto const isNotZero = _mm512_cmp_pd_mask(iA, Vector{}, _CMP_NEQ_UQ);
  Vector const q = iA * iReciprocal;
  Vector const value = _mm512_mask3_fmadd_pd(_mm512_fnmadd_pd(iB, q, iA), iReciprocal, q, isNotZero);
  return {value, _mm512_mask_cmp_pd_mask(isNotZero, _mm512_abs_pd(value), Broadcast(0x1p-400), _CMP_NGE_UQ)};
}

/// The lanes of divisors of which the exponent is not within ±511: those are the exponents of which the two leading bits
/// differ.
SF_FUSED_STEPS unsigned OutsideDivisors(Vector iB)
{
  __m512i const bits = _mm512_castpd_si512(iB);
  return _mm512_testn_epi64_mask(_mm512_xor_si512(bits, _mm512_add_epi64(bits, bits)), _mm512_set1_epi64(1LL << 62));
}

template <std::size_t N>
SF_FUSED_STEPS Stepped<N> QuotientsBySteps(Registers<N> const& iA, Registers<N> const& iB)
{
  Stepped<N> stepped;
  unsigned outside = 0;
  SF_KERNEL_UNROLL
  for (std::size_t i = 0; i < N; ++i) {
    Checked const reciprocal = Reciprocal(iB.v[i]);
    Checked const quotient = QuotientBySteps(iA.v[i], iB.v[i], reciprocal.value);
    stepped.results.v[i] = quotient.value;
    outside |= quotient.outside | reciprocal.outside | OutsideDivisors(iB.v[i]);
  }
  stepped.isExact = outside == 0;
  return stepped;
}

/// Divides three components by their length, which is no less than 2^-537. False, and nothing is done, where a result is
/// out of range.
template <std::size_t N>
SF_FUSED_STEPS bool DivideBySteps(Registers<N>& ioX, Registers<N>& ioY, Registers<N>& ioZ, Registers<N> const& iB)
{
  Registers<N> x, y, z;
  unsigned outside = 0;
  SF_KERNEL_UNROLL
  for (std::size_t i = 0; i < N; ++i) {
    Vector const b = iB.v[i];
    Checked const reciprocal = Reciprocal(b);
    Checked const quotients[] = {QuotientBySteps(ioX.v[i], b, reciprocal.value),
                                 QuotientBySteps(ioY.v[i], b, reciprocal.value),
                                 QuotientBySteps(ioZ.v[i], b, reciprocal.value)};
    x.v[i] = quotients[0].value;
    y.v[i] = quotients[1].value;
    z.v[i] = quotients[2].value;
    outside |= reciprocal.outside | quotients[0].outside | quotients[1].outside | quotients[2].outside;
  }
  if (outside != 0)
    return false;
  ioX = x;
  ioY = y;
  ioZ = z;
  return true;
}

/// ScalarOps::Clamped for a limit above 0. Zeros become -0 and NaN infinite, so that what is left is the lesser
/// magnitude with the sign of the value.
SF_FUSED_STEPS Vector ClampedByClass(Vector iValue, Vector iLimit)
{
  // By class of the value, four bits each: NaN twice, then zero, 1, -infinity, infinity, negative, positive.
  __m512i const responses = _mm512_set1_epi64(0x11111755);
  return _mm512_range_pd(_mm512_fixupimm_pd(iValue, iValue, responses, 0), iLimit, 0b0010);
}

#undef SF_FUSED_STEPS
