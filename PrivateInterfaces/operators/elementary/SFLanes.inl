// Lanes: one double, or a vector of them, on which the elementary functions are written once. Included by
// SFElementaryFunctions.inl, which tells what must be defined.
//
// Only + - * / and square roots, operations on bits, comparisons and selections: all of them are exact or correctly
// rounded on every machine, so that a lane has the same bits whatever its neighbours and the width of the vector.

#if SF_LANES == 1
using Real = double;
using Bits = std::uint64_t;
#else
using Real = double __attribute__((vector_size(8 * SF_LANES)));
using Bits = std::uint64_t __attribute__((vector_size(8 * SF_LANES)));
#endif
using Mask = decltype(Real{} < Real{});

/// The difference with 0 is the value itself, a zero of either sign included.
SF_LANES_FUNCTION Real All(double iValue) { return iValue - Real{}; }
SF_LANES_FUNCTION Bits BitsOf(Real iX) { return __builtin_bit_cast(Bits, iX); }
SF_LANES_FUNCTION Real RealOf(Bits iBits) { return __builtin_bit_cast(Real, iBits); }

SF_LANES_FUNCTION Real Choose(Mask iCondition, Real iThen, Real iElse) { return iCondition ? iThen : iElse; }
SF_LANES_FUNCTION Real ChooseConstant(Mask iCondition, double iThen, double iElse)
{
  return Choose(iCondition, All(iThen), All(iElse));
}
SF_LANES_FUNCTION Mask Both(Mask iA, Mask iB) { return iA & iB; }
SF_LANES_FUNCTION Mask Either(Mask iA, Mask iB) { return iA | iB; }
SF_LANES_FUNCTION Mask OnlyOne(Mask iA, Mask iB) { return iA ^ iB; }
#if SF_LANES == 1
SF_LANES_FUNCTION Mask Not(Mask iA) { return !iA; }
SF_LANES_FUNCTION Real SquareRoot(Real iX) { return __builtin_sqrt(iX); }
#else
SF_LANES_FUNCTION Mask Not(Mask iA) { return ~iA; }
SF_LANES_FUNCTION Real SquareRoot(Real iX)
{
  Real root;
  for (std::size_t lane = 0; lane < SF_LANES; ++lane)
    root[lane] = __builtin_sqrt(iX[lane]);
  return root;
}
#endif

constexpr double Infinity = __builtin_inf();
constexpr std::uint64_t SignBit = 0x8000000000000000;
constexpr std::uint64_t FractionBits = 0x000fffffffffffff;

SF_LANES_FUNCTION Real Magnitude(Real iX) { return RealOf(BitsOf(iX) & ~SignBit); }
SF_LANES_FUNCTION Bits SignOf(Real iX) { return BitsOf(iX) & SignBit; }
SF_LANES_FUNCTION Real Flipped(Real iX, Bits iSign) { return RealOf(BitsOf(iX) ^ iSign); }
SF_LANES_FUNCTION Mask IsNan(Real iX) { return iX != iX; }

// ---- nearest integers -----------------------------------------------------------------------------------------

/// Added to a value below 2^51 in magnitude, it leaves no place for a fraction: the sum is rounded to an integer,
/// which its lowest bits show in two's complement.
constexpr double Rounder = 0x1.8p52;
constexpr std::uint64_t RounderBits = 0x4338000000000000;

struct Nearest
{
  Real value;
  Bits sum; ///< the integer plus RounderBits
};
SF_LANES_FUNCTION Nearest NearestInteger(Real iX)
{
  Real const sum = iX + Rounder;
  return {sum - Rounder, BitsOf(sum)};
}

/// Whether bit 0 of an integer is set. The comparison of doubles exists on every instruction set, that of 64-bit
/// integers does not.
SF_LANES_FUNCTION Mask IsOdd(Bits iInteger) { return RealOf(iInteger << 62) != 0.0; }

/// For values without a sign.
SF_LANES_FUNCTION Mask IsInteger(Real iX) { return Either(iX >= 0x1p52, (iX + 0x1p52) - 0x1p52 == iX); }

// ---- sums of two doubles --------------------------------------------------------------------------------------

/// A value of about twice the precision: the unevaluated sum of two doubles, of which `lo` is the small one.
/// (T. J. Dekker, "A floating-point technique for extending the available precision", 1971; Muller et al., "Handbook
/// of Floating-Point Arithmetic", 2018, chapters 4 and 14.)
struct Pair
{
  Real hi, lo;
};

/// Exact when iA is 0 or at least as large as iB.
SF_LANES_FUNCTION Pair FastSum(Real iA, Real iB)
{
  Real const sum = iA + iB;
  return {sum, iB - (sum - iA)};
}

/// Exact (D. E. Knuth, "The Art of Computer Programming", volume 2, 4.2.2).
SF_LANES_FUNCTION Pair Sum(Real iA, Real iB)
{
  Real const sum = iA + iB;
  Real const b = sum - iA;
  return {sum, (iA - (sum - b)) + (iB - b)};
}

/// The leading 26 bits. What is left has 27.
SF_LANES_FUNCTION Real Upper(Real iX) { return RealOf(BitsOf(iX) & ~std::uint64_t{0x7ffffff}); }

/// Exact up to the last bit of `lo`.
SF_LANES_FUNCTION Pair Product(Real iA, Real iB)
{
  Real const a = Upper(iA);
  Real const b = Upper(iB);
  Real const restA = iA - a;
  Real const restB = iB - b;
  Real const product = iA * iB;
  return {product, ((a * b - product) + a * restB + restA * b) + restA * restB};
}

/// To about 2^-100.
SF_LANES_FUNCTION Pair Product(Pair iA, Pair iB)
{
  Pair const product = Product(iA.hi, iB.hi);
  return {product.hi, product.lo + (iA.hi * iB.lo + iA.lo * iB.hi)};
}

/// To about 2^-100; `hi` is the correctly rounded quotient of the leading parts.
SF_LANES_FUNCTION Pair Quotient(Pair iA, Pair iB)
{
  Real const quotient = iA.hi / iB.hi;
  Pair const product = Product(quotient, iB.hi);
  Real const rest = (iA.hi - product.hi) - product.lo + (iA.lo - quotient * iB.lo);
  return {quotient, rest / iB.hi};
}

// ---- polynomials ----------------------------------------------------------------------------------------------

/// c0 + c2 x^2 + c4 x^4 + ..., given the square.
SF_LANES_FUNCTION Real EveryOther(Real, double iC) { return All(iC); }
SF_LANES_FUNCTION Real EveryOther(Real, double iC, double) { return All(iC); }
template <class... Rest>
SF_LANES_FUNCTION Real EveryOther(Real iSquare, double iC, double, Rest... iRest)
{
  return iC + iSquare * EveryOther(iSquare, iRest...);
}

/// c0 + c1 x + c2 x^2 + ..., given the square: even and odd powers apart, which the processor computes at the same time.
template <class... Rest>
SF_LANES_FUNCTION Real Polynomial(Real iX, Real iSquare, double iC, Rest... iRest)
{
  return EveryOther(iSquare, iC, iRest...) + iX * EveryOther(iSquare, iRest...);
}
