// Values of function curves by time, the time of a value, the times of turning points, and the
// repair that keeps the inner handles within the value range.
#include "core/evaluate.h"
#include "core/quadratic.h"
#include "crv/crv.h"
#include "function_curves/cubic_solver.h"
#include "function_curves/function_curve.h"

int32_t CRV_EvaluateYFromX(const CRV_Curve* curve, double x, double* y) {
  double t = 0.0;  // kept where the solver accepts no root
  crv::TFromCoordinate(*curve, 0, x, &t);
  *y = crv::EvaluateCoordinate(*curve, 1, t);
  return CRV_ErrNone;
}

int32_t CRV_EvaluateYFromXs(const CRV_Curve* curve, double x1, double x2, int16_t count,
                            double* ys) {
  crv::ForEachSampleTime(*curve, x1, x2, count, [&](int16_t i, double t) {
    ys[i] = crv::EvaluateCoordinate(*curve, 1, t);
  });
  return CRV_ErrNone;
}

int32_t CRV_EvaluateXFromY(const CRV_Curve* curve, double y, double* x) {
  double t = 0.0;
  crv::TFromCoordinate(*curve, 1, y, &t);
  *x = crv::EvaluateCoordinate(*curve, 0, t);
  return CRV_ErrNone;
}

int32_t CRV_EvaluateXFromYPrime(const CRV_Curve* curve, const void* /*unused*/, int32_t* count,
                                double xs[2]) {
  const double p0 = curve->ctpts[0][1], p1 = curve->ctpts[1][1];
  const double p2 = curve->ctpts[2][1], p3 = curve->ctpts[3][1];
  // dy/dt = A t^2 + B t + C.
  const double c = 3.0 * (p1 - p0);
  const double b = 6.0 * (p0 - 2.0 * p1 + p2);
  const double a = 3.0 * (p3 - p0 + 3.0 * (p1 - p2));
  int32_t rootCount = 0;
  double roots[2];
  crv::SolveQuadratic(a, b, c, &rootCount, roots);

  *count = 0;
  for (int32_t i = 0; i < rootCount; ++i) {
    const double t = roots[i];
    if (!(t >= 0.0 && t <= 1.0)) continue;  // also skips NaN
    double point[2];
    crv::PointAtXY(*curve, t, point);
    xs[*count] = point[0];
    ++*count;
  }
  return CRV_ErrNone;
}

int32_t CRV_CurveSetNonDecreasing(CRV_Curve* curve, uint8_t* changed) {
  double* p0 = curve->ctpts[0];
  double* p1 = curve->ctpts[1];
  double* p2 = curve->ctpts[2];
  double* p3 = curve->ctpts[3];
  uint8_t moved = 0;
  // A falling curve is left alone: its ratios below would be negative or divide by zero.
  if (!(p3[1] < p0[1])) {
    if (p1[1] > p3[1]) {
      // Slide P1 along the ray from P0 through P1 down to P3's height: the start tangent keeps
      // its direction. p1 > p3 >= p0 makes the divisor positive.
      const double r = (p3[1] - p0[1]) / (p1[1] - p0[1]);
      p1[1] = p3[1];
      p1[0] = p0[0] + r * (p1[0] - p0[0]);
      moved = 1;
    }
    if (p0[1] > p2[1]) {
      // Slide P2 along the ray from P3 through P2 up to P0's height; p3 >= p0 > p2.
      const double r = (p3[1] - p0[1]) / (p3[1] - p2[1]);
      p2[1] = p0[1];
      p2[0] = p3[0] + r * (p2[0] - p3[0]);
      moved = 1;
    }
  }
  if (changed != nullptr) *changed = moved;
  return CRV_ErrNone;
}
