// The power: x^y = e^(y ln x), with ln x to about 2^-65, as the exponential makes an absolute error of its argument,
// which reaches 745, a relative one (Muller et al., "Handbook of Floating-Point Arithmetic", 2018, 10.5; P. T. P. Tang,
// "Table-driven implementation of the logarithm function in IEEE floating-point arithmetic", 1990). The error before
// the last rounding stays below 0.41 of a unit, so that a result that is a double comes out exactly.

/// ln x for positive finite x, by the same series as Log: 2 artanh(s) = 2s + s^3 (2/3 + s^2 Q(s^2)).
SF_LANES_FUNCTION Pair LogPair(Real iX)
{
  Scaled const x = ScaledOf(iX);
  Pair const s = Quotient({x.f, Real{}}, FastSum(All(2.0), x.f));
  Pair const z = Product(s, s);
  Real const q = Polynomial(z.hi, z.hi * z.hi, 0x1.9999999999996p-2, 0x1.2492492492f4bp-2, 0x1.c71c71c59796ap-3,
                            0x1.745d1828c79ebp-3, 0x1.3b1364f1016b5p-3, 0x1.1120692f23e3ep-3, 0x1.de3e606607dcfp-4,
                            0x1.eabe236a092aep-4);
  Pair series = FastSum(All(0x1.5555555555555p-1), z.hi * q);
  series.lo = series.lo + 0x1.5555555555555p-55;
  Pair const cubic = Product(Product(s, z), series);
  Pair const log = FastSum(2.0 * s.hi, cubic.hi);
  Pair const sum = FastSum(x.exponent * Ln2Hi, log.hi);
  return FastSum(sum.hi, sum.lo + (x.exponent * Ln2Lo + (log.lo + (2.0 * s.lo + cubic.lo))));
}

/// e^x for |x.hi| up to 800.
SF_LANES_FUNCTION Real ExpOfPair(Pair iX)
{
  Nearest const n = NearestInteger(iX.hi * InverseLn2);
  Pair const reduced = Sum(iX.hi - n.value * Ln2Hi, -(n.value * Ln2Lo));
  Pair const r = FastSum(reduced.hi, reduced.lo + iX.lo);
  Pair const sum = FastSum(All(1.0), r.hi);
  Real const square = r.hi * r.hi;
  Real const rest = square * ExponentialRest(r.hi, square) + (r.lo + r.lo * r.hi);
  return TimesPowerOf2(sum.hi + (sum.lo + rest), n.sum);
}

/// x^y for positive x, or 0, and y that are no NaN.
SF_LANES_FUNCTION Real PowerOfMagnitude(Real iX, Real iY)
{
  Pair const log = LogPair(iX);
  Pair const product = Product(iY, log.hi);
  Mask const isInRange = Both(product.hi<800.0, product.hi> - 800.0);
  Real const beyond = ChooseConstant(product.hi > 0.0, 800.0, -800.0);
  Real const power =
      ExpOfPair({Choose(isInRange, product.hi, beyond), Choose(isInRange, product.lo + iY * log.lo, Real{})});
  Mask const isEnd = Either(iX == 0.0, iX == Infinity);
  Real const end = Choose(OnlyOne(iX == 0.0, iY < 0.0), Real{}, All(Infinity));
  return Choose(iX == 1.0, All(1.0), Choose(isEnd, end, power));
}

/// Special values as in annex F of the C standard. The square is rounded once, as the operator for it does.
SF_LANES_FUNCTION Real Pow(Real iX, Real iY)
{
  Real const x = Magnitude(iX);
  Real const y = Magnitude(iY);
  Mask const isInteger = IsInteger(y);
  Mask const isOdd = Both(isInteger, Not(IsInteger(0.5 * y)));
  Real const power = PowerOfMagnitude(x, iY);
  Real const isSigned = Flipped(power, SignOf(iX));
  Mask const isOutside = Both(Both(iX < 0.0, x < Infinity), Not(isInteger));
  Real result = Choose(isOutside, All(__builtin_nan("")), Choose(isOdd, isSigned, power));
  result = Choose(Either(IsNan(iX), IsNan(iY)), iX + iY, result);
  result = Choose(Either(iX == 1.0, iY == 0.0), All(1.0), result);
  return Choose(iY == 2.0, iX * iX, result);
}
