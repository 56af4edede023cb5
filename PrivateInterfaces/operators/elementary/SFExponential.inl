// The exponential and the logarithm, after the plan of P. T. P. Tang, "Table-driven implementation of the exponential
// function in IEEE floating-point arithmetic", 1989, and of J.-M. Muller, "Elementary Functions", 2016, chapters 5 and
// 11, but without tables: polynomials over the whole of the reduced range, as gathers cost more than their terms.
//
// Coefficients: Sollya's fpminimax (N. Brisebarre, S. Chevillard, "Efficient polynomial L-infinity approximations",
// 2007), relative errors below 2^-57 on the reduced range.

constexpr double InverseLn2 = 0x1.71547652b82fep+0;
/// ln 2 as a number of 41 bits, whose product with an exponent is exact, and the rest of it.
constexpr double Ln2Hi = 0x1.62e42fefa4000p-1;
constexpr double Ln2Lo = -0x1.8432a1b0e2634p-43;

/// iX times 2 to the power of an integer between -1500 and 1500. Two factors, as neither a result that overflows nor
/// one that is subnormal has its power among the doubles; only the second product may round.
SF_LANES_FUNCTION Real TimesPowerOf2(Real iX, Bits iPowerSum)
{
  Bits const power = iPowerSum + (std::uint64_t{2046} - RounderBits);
  Bits const half = power >> 1;
  return iX * RealOf(half << 52) * RealOf((power - half) << 52);
}

/// (e^r - 1 - r) / r^2 for |r| up to ln(2) / 2.
SF_LANES_FUNCTION Real ExponentialRest(Real iR, Real iSquare)
{
  return Polynomial(iR, iSquare, 0x1.000000000000ap-1, 0x1.55555555554fep-3, 0x1.55555555506bdp-5, 0x1.1111111126b32p-7,
                    0x1.6c16c18476a5ep-10, 0x1.a01a012ff0275p-13, 0x1.a019996060b1bp-16, 0x1.71df18ed0d594p-19,
                    0x1.28adfb3b32a46p-22, 0x1.ad92e93bc8dfcp-26);
}

/// e^x = 2^n e^r with x = n ln 2 + r.
SF_LANES_FUNCTION Real Exp(Real iX)
{
  Real const below = Choose(iX > 710.0, All(710.0), iX); // beyond, the result is infinite or 0 all the same
  Real const x = Choose(below < -746.0, All(-746.0), below);
  Nearest const n = NearestInteger(x * InverseLn2);
  Real const hi = x - n.value * Ln2Hi; // exact
  Real const lo = n.value * Ln2Lo;
  Real const r = hi - lo;
  Real const square = r * r;
  return TimesPowerOf2(1.0 + (hi + (square * ExponentialRest(r, square) - lo)), n.sum);
}

/// x = 2^exponent (1 + f), 1 + f between sqrt(1/2) and sqrt(2), for positive finite x.
struct Scaled
{
  Real exponent, f;
};
SF_LANES_FUNCTION Scaled ScaledOf(Real iX)
{
  constexpr std::uint64_t one = 0x3ff0000000000000;
  constexpr std::uint64_t rootOfHalf = 0x3fe6a09e667f3bcd;
  Mask const isSubnormal = iX < 0x1p-1022;
  Bits const shifted = BitsOf(Choose(isSubnormal, iX * 0x1p54, iX)) + (one - rootOfHalf);
  Real const biased = RealOf((shifted >> 52) | std::uint64_t{0x4330000000000000}); // 2^52 + 1023 + exponent
  Real const exponent = biased - ChooseConstant(isSubnormal, 0x1p52 + 1023.0 + 54.0, 0x1p52 + 1023.0);
  return {exponent, RealOf((shifted & FractionBits) + rootOfHalf) - 1.0};
}

/// With s = f / (2 + f): ln(1 + f) = 2 artanh(s) = f - f^2/2 + s (f^2/2 + R(s)), where R(s) = 2 artanh(s) / s - 2. f is
/// exact, and so is the product of the exponent and Ln2Hi.
SF_LANES_FUNCTION Real Log(Real iX)
{
  Scaled const x = ScaledOf(iX);
  Real const s = x.f / (2.0 + x.f);
  Real const z = s * s;
  Real const rest =
      z * Polynomial(z, z * z, 0x1.5555555555592p-1, 0x1.999999997ff58p-2, 0x1.24924941dc60dp-2, 0x1.c71c5218e11f5p-3,
                     0x1.74663bf27dcf1p-3, 0x1.39a2024d18ee6p-3, 0x1.2f02bc1b2f46ap-3);
  Real const halfSquare = 0.5 * x.f * x.f;
  Real const log = x.exponent * Ln2Hi - ((halfSquare - (s * (halfSquare + rest) + x.exponent * Ln2Lo)) - x.f);
  Real const outside = ChooseConstant(iX == 0.0, -Infinity, __builtin_nan(""));
  return Choose(iX > 0.0, Choose(iX < Infinity, log, iX), Choose(IsNan(iX), iX, outside));
}
