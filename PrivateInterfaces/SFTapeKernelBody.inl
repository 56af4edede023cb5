// The kernels, included once for each instruction set inside a namespace of its own. SF_KERNEL_TARGET is the
// attribute that selects the set; SF_KERNEL_NAME its name. Only plain loops here: they are what the compiler
// turns into vector code, and the scalar operations inlined into them come from SFScalarOps.h.

template <SFNodeType Op, bool AVaries, bool BVaries>
SF_KERNEL_TARGET void Loop(SFKernelBox const& iBox)
{
  double* __restrict out = iBox.out;
  std::size_t const n = iBox.n0;
  for (std::size_t k = 0; k < iBox.n2; ++k)
    for (std::size_t j = 0; j < iBox.n1; ++j) {
      double const* __restrict const a =
          iBox.a.data + static_cast<std::ptrdiff_t>(k) * iBox.a.s2 + static_cast<std::ptrdiff_t>(j) * iBox.a.s1;
      double const* __restrict const b =
          iBox.b.data + static_cast<std::ptrdiff_t>(k) * iBox.b.s2 + static_cast<std::ptrdiff_t>(j) * iBox.b.s1;
      double const a0 = *a;
      double const b0 = *b;
      for (std::size_t i = 0; i < n; ++i)
        out[i] = ScalarOps::Apply<Op>(AVaries ? a[i] : a0, BVaries ? b[i] : b0);
      out += n;
    }
}

SF_KERNEL_TARGET void StoreClamped(float* __restrict oFloats, double const* __restrict iValues, std::size_t iCount,
                                   double iDiagonal)
{
  for (std::size_t i = 0; i < iCount; ++i) {
    double const value = iValues[i] == iValues[i] ? iValues[i] : iDiagonal;
    double const magnitude = __builtin_fabs(value);
    double const limited = magnitude < iDiagonal ? magnitude : iDiagonal;
    oFloats[i] = static_cast<float>((value > 0.0 ? 1.0 : -1.0) * limited);
  }
}

SF_KERNEL_TARGET void StorePlain(float* __restrict oFloats, double const* __restrict iValues, std::size_t iCount,
                                 double)
{
  for (std::size_t i = 0; i < iCount; ++i)
    oFloats[i] = static_cast<float>(iValues[i]);
}

/// The operations of ZULMathVector::Normalize, a component at a time.
SF_KERNEL_TARGET void StoreNormals(float* __restrict oFloats, double const* __restrict iX, double const* __restrict iY,
                                   double const* __restrict iZ, std::size_t iCount)
{
  constexpr std::size_t piece = 64;
  float x[piece];
  float y[piece];
  float z[piece];
  for (std::size_t from = 0; from < iCount; from += piece) {
    std::size_t const n = iCount - from < piece ? iCount - from : piece;
    for (std::size_t i = 0; i < n; ++i) {
      double const a = iX[from + i];
      double const b = iY[from + i];
      double const c = iZ[from + i];
      double const length = __builtin_sqrt(a * a + b * b + c * c);
      double const divisor = length == 0.0 ? 1.0 : length;
      x[i] = static_cast<float>(a / divisor);
      y[i] = static_cast<float>(b / divisor);
      z[i] = static_cast<float>(c / divisor);
    }
    for (std::size_t i = 0; i < n; ++i) {
      oFloats[3 * (from + i)] = x[i];
      oFloats[3 * (from + i) + 1] = y[i];
      oFloats[3 * (from + i) + 2] = z[i];
    }
  }
}

template <std::size_t Kind>
constexpr void Fill(SFTapeKernels& ioKernels)
{
  constexpr SFNodeType op{Kind};
  if constexpr (IsOperator(op)) {
    ioKernels.operators[Kind][0] = &Loop<op, true, true>;
    ioKernels.operators[Kind][1] = &Loop<op, true, false>;
    ioKernels.operators[Kind][2] = &Loop<op, false, true>;
  }
}

constexpr SFTapeKernels kernels = [] {
  SFTapeKernels set{SF_KERNEL_NAME, {}, &StoreClamped, &StorePlain, &StoreNormals};
  [&]<std::size_t... Kind>(std::index_sequence<Kind...>) {
    (Fill<Kind>(set), ...);
  }(std::make_index_sequence<SFNodeTypeCount>{});
  return set;
}();
