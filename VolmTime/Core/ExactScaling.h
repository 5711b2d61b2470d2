// SPDX-License-Identifier: MIT
// A tick difference times a rate, truncated to a whole count: the double product every mapping
// is defined by, taken in integer arithmetic wherever that gives the same answer, because a
// clock reading waits for this product and integer multiplication is the shorter wait.
#ifndef VOLMTIME_CORE_EXACTSCALING_H
#define VOLMTIME_CORE_EXACTSCALING_H

#include "VolmTime/Core/FullRangeConversion.h"

#include <algorithm>
#include <bit>
#include <cfenv>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace VolmTime::Core {

// A rate as a fixed-point number, rate == whole + fraction / 2^64 exactly, with the bounds
// ScaleExactly checks. Rates from 2^-12 up to (not including) 2^11 are held; every other value
// (zero, negative, not finite, too small or too large) has a count limit of 0, so that its
// products all take the double arithmetic.
struct FixedPointRate {
  std::uint64_t whole = 0;
  std::uint64_t fraction = 0;
  // With 2^e <= rate < 2^(e+1): counts below countLimit = 2^min(53, 51 - e) keep the product
  // below 2^52, and count << boundShift, boundShift = e + 12, bounds its half ulp.
  std::uint64_t countLimit = 0;
  unsigned boundShift = 0;
};

[[nodiscard]] constexpr FixedPointRate ToFixedPoint(double rate) noexcept {
  const auto bits = std::bit_cast<std::uint64_t>(rate);
  // A positive normal double is mantissa * 2^(biased exponent - 1075) with a 53-bit mantissa,
  // so rate * 2^64 is mantissa * 2^(biased exponent - 1011), and e + 12 is the same shift. The
  // sign bit puts a negative rate's biased exponent above 2047; zero, subnormals, infinities
  // and NaN fall outside too. Clock readings of a store's latest segment convert its rate each
  // time, hence no branch but the range check.
  const std::uint64_t biased = bits >> 52;
  const std::uint64_t shift = biased - 1011;  // wraps for small exponents
  if (shift > 22) return {};
  const std::uint64_t mantissa = (bits & ((std::uint64_t{1} << 52) - 1)) | std::uint64_t{1} << 52;
  const std::uint64_t countBits = std::min<std::uint64_t>(1074 - biased, 53);
  // mantissa * 2^shift < 2^75: the bits above 2^64 are the whole part.
  return {(mantissa >> 1) >> (63 - shift), mantissa << shift, std::uint64_t{1} << countBits,
          static_cast<unsigned>(shift)};
}

// Whether double arithmetic rounds to nearest in this thread, as the integer path below
// assumes: a host may have changed the rounding mode. 1 + 3/4 ulp rounds away from 1 only to
// nearest or upward, -1 - 3/4 ulp away from -1 only to nearest or downward. Both sums are one
// vector addition; reading the mode from MXCSR instead makes a clock reading a fifth slower.
[[nodiscard]] inline bool RoundsToNearest() noexcept {
#if defined(__SSE2__)
  __m128d ones = _mm_set_pd(-1.0, 1.0);
  // Hidden from the compiler, which would otherwise fold the sums in its own rounding mode.
  __asm__("" : "+x"(ones));
  const __m128d sums = _mm_add_pd(ones, _mm_set_pd(-0x1.8p-53, 0x1.8p-53));
  return _mm_movemask_pd(_mm_cmpneq_pd(sums, ones)) == 3;
#else
  return std::fegetround() == FE_TONEAREST;
#endif
}

// Sets `scaled` to TruncateToUint64(ToDouble(count) * rate) and returns true when that is
// certain from integer arithmetic alone; returns false, leaving `scaled` alone, otherwise.
//
// Why the answers agree: for count < 2^53 ToDouble(count) is exact, and with the rate as
// whole + fraction / 2^64 the exact product P = count * rate has the integer part `floor`
// and the fraction `below` / 2^64 computed here without rounding. The double product is P
// rounded to nearest. With 2^e <= rate < 2^(e+1) and count < 2^(51 - e), P < 2^52, so floor(P)
// and ceil(P) are both doubles and, rounding being monotonic, the double product lies between
// them: its truncation is floor(P) unless P rounds up to ceil(P), which needs P within half an
// ulp below ceil(P). Half an ulp of P is at most P * 2^-53 < count * 2^(e+1) * 2^-53, which in
// units of 2^-64 is count << (e + 12) (below 2^63); when `below` plus that bound stays under
// 2^64 the product cannot round up. Otherwise (a share of the products under
// count * rate * 2^-52: rare) the caller takes the double arithmetic. The positive product
// takes the plain branch of TruncateToUint64, and 0 gives 0 in both.
//
// The bounds depend on the count alone, not on the product, so that a clock reading waits
// only for the multiplication.
[[nodiscard]] inline bool ScaleExactly(std::uint64_t count, const FixedPointRate& rate,
                                       std::uint64_t& scaled) noexcept {
  if (count >= rate.countLimit) return false;
  __extension__ using Wide = unsigned __int128;
  const Wide fractionProduct = static_cast<Wide>(count) * rate.fraction;
  const auto below = static_cast<std::uint64_t>(fractionProduct);
  if (below > ~(count << rate.boundShift) || !RoundsToNearest()) return false;
  std::uint64_t floor = static_cast<std::uint64_t>(fractionProduct >> 64);
  // Rates of 1 and more only (a 10 MHz counter's); count < 2^53 and whole < 2^11: no wrap.
  if (rate.whole != 0) floor += count * rate.whole;
  scaled = floor;
  return true;
}

// TruncateToUint64(ToDouble(count) * rate), where `fixed` is ToFixedPoint(rate).
[[nodiscard]] inline std::uint64_t ScaleTicks(std::uint64_t count, double rate,
                                              const FixedPointRate& fixed) noexcept {
  std::uint64_t scaled = 0;
  if (ScaleExactly(count, fixed, scaled)) [[likely]]
    return scaled;
  return TruncateToUint64(ToDouble(count) * rate);
}

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_EXACTSCALING_H
