// Sine, cosine and tangent: an argument less the nearest multiple of pi/2, as a pair, then polynomials on
// [-pi/4, pi/4]. The multiple is subtracted in three parts (W. J. Cody, W. Waite, "Software Manual for the Elementary
// Functions", 1980; Muller, "Elementary Functions", 2016, chapter 11); beyond LargestReduced it takes ReduceHugeArgument.
// All is done on magnitudes, so that odd and even symmetry are exact.
//
// Coefficients: Sollya's fpminimax, relative errors below 2^-57.

/// Up to here the multiples of pi/2 are below 2^18, and the products with the first two parts exact. Nearest to a
/// multiple of pi/2, over all doubles in the range, the remainder has a relative error of 2^-57.9 (all 262,144 multiples
/// were tried).
constexpr double LargestReduced = 0x1.9p18;
constexpr double HalfPi1 = 0x1.921fb54440000p+0;
constexpr double HalfPi2 = 0x1.68c234c4c0000p-39;
constexpr double HalfPi3 = 0x1.98a2e03707345p-77;
constexpr double TwoOverPi = 0x1.45f306dc9c883p-1;

/// Arguments that SinOf and the others below do not take: what is huge, infinite or NaN goes through the functions
/// for single values.
SF_LANES_FUNCTION Mask IsHuge(Real iX) { return Not(Magnitude(iX) <= LargestReduced); }

/// An argument less a multiple of pi/2. `lo` is below 2^-53, which near a multiple may be more than `hi` is.
struct Reduced
{
  Real hi, lo;
  Bits quadrant; ///< the multiple modulo 4; further bits are arbitrary
};

/// For 0 <= iX <= LargestReduced.
SF_LANES_FUNCTION Reduced ReduceArgument(Real iX)
{
  Nearest const n = NearestInteger(iX * TwoOverPi);
  Real const first = iX - n.value * HalfPi1; // exact
  Real const part2 = n.value * HalfPi2;      // exact
  Real const second = first - part2;
  return {second, ((first - second) - part2) - n.value * HalfPi3, n.sum};
}

/// (sin(r) - r) / r^3 and (cos(r) - 1 + r^2/2) / r^4, in powers of r^2.
constexpr double SineTerms[] = {-0x1.5555555555548p-3, 0x1.111111110f75dp-7, -0x1.a01a019bf222ep-13,
                                0x1.71de355f05599p-19, -0x1.ae5e5471f55p-26, 0x1.5d8e3511cda67p-33};
constexpr double CosineTerms[] = {0x1.555555555554cp-5,   -0x1.6c16c16c15221p-10, 0x1.a01a019cbfa2cp-16,
                                  -0x1.27e4f812e395ep-22, 0x1.1ee9f16cc7818p-29,  -0x1.8fb13b550fc5cp-37};

SF_LANES_FUNCTION Real SineSeries(Real iZ)
{
  return Polynomial(iZ, iZ * iZ, SineTerms[0], SineTerms[1], SineTerms[2], SineTerms[3], SineTerms[4], SineTerms[5]);
}
SF_LANES_FUNCTION Real CosineSeries(Real iZ)
{
  return Polynomial(iZ, iZ * iZ, CosineTerms[0], CosineTerms[1], CosineTerms[2], CosineTerms[3], CosineTerms[4],
                    CosineTerms[5]);
}

/// The series of the cosine where asked, that of the sine elsewhere. Where a selection is one instruction, it is cheaper
/// to select the coefficients; the value is the same.
SF_LANES_FUNCTION Real SelectedSeries(Mask iIsCosine, Real iZ)
{
#if SF_LANES == 8
  Real const w = iZ * iZ;
  Real even = ChooseConstant(iIsCosine, CosineTerms[4], SineTerms[4]);
  even = ChooseConstant(iIsCosine, CosineTerms[2], SineTerms[2]) + w * even;
  even = ChooseConstant(iIsCosine, CosineTerms[0], SineTerms[0]) + w * even;
  Real odd = ChooseConstant(iIsCosine, CosineTerms[5], SineTerms[5]);
  odd = ChooseConstant(iIsCosine, CosineTerms[3], SineTerms[3]) + w * odd;
  odd = ChooseConstant(iIsCosine, CosineTerms[1], SineTerms[1]) + w * odd;
  return even + iZ * odd;
#else
  return Choose(iIsCosine, CosineSeries(iZ), SineSeries(iZ));
#endif
}

/// The sine of an argument and iTurn quadrants: r + r^3 S(r^2), or 1 - r^2/2 + r^4 C(r^2), at r = hi, and the derivative
/// times lo.
SF_LANES_FUNCTION Real SineInQuadrant(Reduced const& iX, std::uint64_t iTurn)
{
  Bits const quadrant = iX.quadrant + iTurn;
  Mask const isCosine = IsOdd(quadrant);
  Real const z = iX.hi * iX.hi;
  Real const halfSquare = 0.5 * z;
  Real const rough = 1.0 - halfSquare;
  Real const rounding = Choose(isCosine, (1.0 - rough) - halfSquare, Real{});
  Real const slope = iX.lo * Choose(isCosine, -iX.hi, rough);
  Real const rest = z * Choose(isCosine, z, iX.hi) * SelectedSeries(isCosine, z) + slope + rounding;
  return Flipped(Choose(isCosine, rough, iX.hi) + rest, (quadrant << 62) & SignBit);
}

SF_LANES_FUNCTION Real SinOf(Real iX, Reduced const& iReduced)
{
  return Flipped(SineInQuadrant(iReduced, 0), SignOf(iX));
}
SF_LANES_FUNCTION Real CosOf(Real, Reduced const& iReduced) { return SineInQuadrant(iReduced, 1); }

/// Sine and cosine to about 2^-60 for |r| up to pi/8, as leading part and rest.
SF_LANES_FUNCTION Pair SinePair(Pair iR)
{
  Real const z = iR.hi * iR.hi;
  Real const rest = iR.hi * z * SineSeries(z) + (iR.lo - iR.lo * (0.5 * z));
  return FastSum(iR.hi, rest);
}
SF_LANES_FUNCTION Pair CosinePair(Pair iR)
{
  Real const z = iR.hi * iR.hi;
  return FastSum(All(1.0), z * z * CosineSeries(z) - 0.5 * z - iR.hi * iR.lo);
}

/// With |r| = t + pi/4 beyond pi/8: tan(t + pi/4) = (cos t + sin t) / (cos t - sin t). The quotient of pairs is rounded
/// once.
SF_LANES_FUNCTION Real TanOf(Real iX, Reduced const& iReduced)
{
  constexpr double quarterPi = 0x1.921fb54442d18p-1;
  constexpr double quarterPiRest = 0x1.1a62633145c07p-55;
  Pair const reduced = Sum(iReduced.hi, iReduced.lo);
  Bits const sign = SignOf(reduced.hi);
  Real const magnitude = Flipped(reduced.hi, sign);
  Mask const isSteep = magnitude > 0.5 * quarterPi;
  Pair const r{magnitude - Choose(isSteep, All(quarterPi), Real{}),
               Flipped(reduced.lo, sign) - Choose(isSteep, All(quarterPiRest), Real{})};
  Pair const sine = SinePair(r);
  Pair const cosine = CosinePair(r);
  Pair const sum = Sum(cosine.hi, sine.hi);
  Pair const difference = Sum(cosine.hi, -sine.hi);
  Pair const opposite{Choose(isSteep, sum.hi, sine.hi), Choose(isSteep, sum.lo + (cosine.lo + sine.lo), sine.lo)};
  Pair const adjacent{Choose(isSteep, difference.hi, cosine.hi),
                      Choose(isSteep, difference.lo + (cosine.lo - sine.lo), cosine.lo)};
  Mask const isOdd = IsOdd(iReduced.quadrant);
  Pair const tangent = Quotient({Choose(isOdd, adjacent.hi, opposite.hi), Choose(isOdd, adjacent.lo, opposite.lo)},
                                {Choose(isOdd, opposite.hi, adjacent.hi), Choose(isOdd, opposite.lo, adjacent.lo)});
  return Flipped(tangent.hi + tangent.lo, sign ^ (iReduced.quadrant << 63) ^ SignOf(iX));
}

/// For arguments that are not huge.
SF_LANES_FUNCTION Real Sin(Real iX) { return SinOf(iX, ReduceArgument(Magnitude(iX))); }
SF_LANES_FUNCTION Real Cos(Real iX) { return CosOf(iX, ReduceArgument(Magnitude(iX))); }
SF_LANES_FUNCTION Real Tan(Real iX) { return TanOf(iX, ReduceArgument(Magnitude(iX))); }
