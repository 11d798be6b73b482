// Correctly rounded elementary functions for CRV.
//
// Every function here returns the double nearest to the exact mathematical value (round to nearest,
// ties to even), for every argument of its stated domain. Results are bit-identical on every
// IEEE-754 binary64 platform with FLT_EVAL_METHOD == 0: the implementation uses only +, -, *, /,
// sqrt (all correctly rounded by IEEE-754), exact bit manipulation and 64-bit integer arithmetic,
// plus a fused multiply-add where the processor has one, only for exact products that the
// portable form gives bit for bit too. It must be compiled with -ffp-contract=off (no fusing
// of the written expressions).
#ifndef CRV_CORE_EXACT_MATH_H
#define CRV_CORE_EXACT_MATH_H

namespace crv {

// Cube root. Domain: every double. cbrt(-x) == -cbrt(x); +-0, +-inf returned unchanged, NaN -> NaN.
double ExactCbrt(double x);

// Arc cosine, result in [0, pi]. Domain: [-1, 1]; NaN outside of it and for NaN.
double ExactAcos(double x);

// Cosine. Domain: |x| <= 8 (callers pass angles in [0, 2*pi]); checked by assert in debug builds.
// Outside the domain the result is unspecified. NaN -> NaN.
double ExactCos(double x);

// ExactCos for x within 0.78 of 3 pi/2 (the solver's third angle lies in [4 pi/3, 5 pi/3]), where
// the quadrant is known and the range reduction starts from a constant: the same results, sooner.
// Checked by assert in debug builds. NaN -> NaN.
double ExactCosThirdQuadrant(double x);

}  // namespace crv

#endif
