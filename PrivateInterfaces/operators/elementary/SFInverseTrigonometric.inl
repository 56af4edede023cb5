// Arcus functions (Muller, "Elementary Functions", 2016, chapters 4 and 11): arguments are brought into a range where
// a polynomial is short by the addition theorem of the arcus tangent, or the half-angle formula of the arcus sine, with
// quotients and roots as pairs.
//
// Coefficients: Sollya's fpminimax, relative errors below 2^-59.

constexpr double HalfPiHi = 0x1.921fb54442d18p+0;
constexpr double HalfPiLo = 0x1.1a62633145c07p-54;

/// The arcus tangent of y / x for y, x >= 0, not both 0 and not both infinite, as leading part and rest. The quotient is
/// replaced by (y - x) / (y + x), which is the tangent of the angle less pi/4, or by -x / y, the angle less pi/2, so that
/// it stays below tan(pi/8).
SF_LANES_FUNCTION Pair AngleOf(Real iY, Real iX)
{
  constexpr double tangent = 0x1.a827999fcef32p-2; // of pi/8
  Mask const isLow = iY <= tangent * iX;
  Mask const isHigh = iX < tangent * iY;
  Pair const difference = Sum(iY, -iX);
  Pair const sum = Sum(iY, iX);
  Mask const isMiddle = Not(Either(isLow, isHigh));
  Pair const above{Choose(isMiddle, difference.hi, Choose(isLow, iY, -iX)), Choose(isMiddle, difference.lo, Real{})};
  Pair const below{Choose(isMiddle, sum.hi, Choose(isLow, iX, iY)), Choose(isMiddle, sum.lo, Real{})};
  Pair const q = Quotient(above, below);
  // The rest of a tiny quotient matters to nothing but may have been lost to underflow.
  Real const lo = Choose(Magnitude(q.hi) > 0x1p-100, q.lo, Real{});
  Real const z = q.hi * q.hi;
  Real const series =
      Polynomial(z, z * z, -0x1.555555555553dp-2, 0x1.999999999585bp-3, -0x1.24924922acb78p-3, 0x1.c71c70e5b84a1p-4,
                 -0x1.745cf8d0ca308p-4, 0x1.3b11183416504p-4, -0x1.10ebad12e2435p-4, 0x1.df0e9d906dc24p-5,
                 -0x1.9ccf8630c2712p-5, 0x1.37cd21b921acdp-5, -0x1.25570a17676f6p-6);
  Real const rest = q.hi * z * series + (lo - lo * z);
  Pair const angle = FastSum(Choose(isLow, Real{}, ChooseConstant(isHigh, HalfPiHi, 0.5 * HalfPiHi)), q.hi);
  return {angle.hi, angle.lo + (rest + Choose(isLow, Real{}, ChooseConstant(isHigh, HalfPiLo, 0.5 * HalfPiLo)))};
}

SF_LANES_FUNCTION Real Atan(Real iX)
{
  Real const x = Magnitude(iX);
  Pair const angle = AngleOf(Choose(x < 0x1p100, x, All(0x1p100)), All(1.0)); // pi/2 from far below there on
  Real const atan = Flipped(angle.hi + angle.lo, SignOf(iX));
  return Choose(IsNan(iX), iX, atan);
}

/// The angle of the point (x, y), between -pi and pi, the sign that of y; special values as in annex F of the C standard.
SF_LANES_FUNCTION Real Atan2(Real iY, Real iX)
{
  Real y = Magnitude(iY);
  Real x = Magnitude(iX);
  // Two that are both 0, or both infinite, have the angle of 0 / 1 or of 1 / 1.
  Mask const areInfinite = Both(y == Infinity, x == Infinity);
  x = Choose(Either(areInfinite, Both(y == 0.0, x == 0.0)), All(1.0), x);
  y = Choose(areInfinite, All(1.0), y);
  // Neither the sum nor the quotient's rest may leave the range.
  Real const larger = Choose(y < x, x, y);
  Real const scale = Choose(larger > 0x1p1000, All(0x1p-100), ChooseConstant(larger < 0x1p-800, 0x1p300, 1.0));
  Pair const angle = AngleOf(y * scale, x * scale);
  // For negative x the angle is taken from pi.
  Pair const turned = FastSum(All(2.0 * HalfPiHi), -angle.hi);
  Real const left = turned.hi + (turned.lo + (2.0 * HalfPiLo - angle.lo));
  Mask const isLeft = RealOf(SignOf(iX) >> 1) != 0.0;
  Real const result = Flipped(Choose(isLeft, left, angle.hi + angle.lo), SignOf(iY));
  return Choose(Either(IsNan(iX), IsNan(iY)), iX + iY, result);
}

/// asin(x) / x - 1 over x^2, at z = x^2 up to 1/4.
SF_LANES_FUNCTION Real ArcusSineSeries(Real iZ)
{
  return Polynomial(iZ, iZ * iZ, 0x1.5555555555577p-3, 0x1.333333332e133p-4, 0x1.6db6db721247bp-5, 0x1.f1c71a95002fbp-6,
                    0x1.6e8bdedebf9dfp-6, 0x1.1c49f077d5bc7p-6, 0x1.ca1f8af1f0a3ap-7, 0x1.75859dad05d79p-7,
                    0x1.613c1e6ed73f2p-7, 0x1.e5fbe88dfba57p-9, 0x1.639a894e228e8p-6, -0x1.57fad0deac45ep-6,
                    0x1.0b45e9f72edb3p-5);
}

/// What both arcus functions compute from |x|: up to 1/2 its arcus sine, beyond that of sqrt((1 - |x|) / 2), which is
/// half of pi/2 less the one wanted. `lo` is the rest.
struct ArcusSine
{
  Mask isHalved;
  Real hi, lo;
};
SF_LANES_FUNCTION ArcusSine ArcusSineOf(Real iMagnitude)
{
  Mask const isHalved = iMagnitude > 0.5;
  Real const z = Choose(isHalved, 0.5 * (1.0 - iMagnitude), iMagnitude * iMagnitude);
  Real const root = SquareRoot(z);
  Pair const square = Product(root, root);
  Real const rootRest = ((z - square.hi) - square.lo) / (root + root + 0x1p-1000); // 0 of the root of 0
  Real const hi = Choose(isHalved, root, iMagnitude);
  return {isHalved, hi, Choose(isHalved, rootRest, Real{}) + hi * z * ArcusSineSeries(z)};
}

SF_LANES_FUNCTION Real Asin(Real iX)
{
  ArcusSine const half = ArcusSineOf(Magnitude(iX));
  Pair const from = FastSum(All(HalfPiHi), -2.0 * half.hi);
  Real const halved = from.hi + (from.lo + (HalfPiLo - 2.0 * half.lo));
  Real const asin = Flipped(Choose(half.isHalved, halved, half.hi + half.lo), SignOf(iX));
  return Choose(Magnitude(iX) <= 1.0, asin, Choose(IsNan(iX), iX, All(__builtin_nan(""))));
}

SF_LANES_FUNCTION Real Acos(Real iX)
{
  ArcusSine const half = ArcusSineOf(Magnitude(iX));
  Mask const isNegative = iX < 0.0;
  // From 1/2 on: twice the half angle, or pi less that. Below: pi/2 less the arcus sine.
  Real const doubled = 2.0 * half.hi + 2.0 * half.lo;
  Pair const fromPi = FastSum(All(2.0 * HalfPiHi), -2.0 * half.hi);
  Real const outer = Choose(isNegative, fromPi.hi + (fromPi.lo + (2.0 * HalfPiLo - 2.0 * half.lo)), doubled);
  Bits const sign = SignOf(iX);
  Pair const from = FastSum(All(HalfPiHi), -Flipped(half.hi, sign));
  Real const inner = from.hi + (from.lo + (HalfPiLo - Flipped(half.lo, sign)));
  Real const acos = Choose(half.isHalved, outer, inner);
  return Choose(Magnitude(iX) <= 1.0, acos, Choose(IsNan(iX), iX, All(__builtin_nan(""))));
}
