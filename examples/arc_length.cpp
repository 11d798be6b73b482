// Arc length: a table of the curve's length, built once, then points at equal distances along
// the curve (motion at constant speed).
#include <cmath>
#include <cstdio>

#include "crv/crv.hpp"

int main() {
  const CRV_CurveClass2D arch({0, 0}, {10, 30}, {40, 30}, {50, 0});
  const int samples = 128;    // table entries; the error of the length falls like 1/samples^2
  SEQ_ListH table = nullptr;  // made by the first call, a host list that the caller disposes of
  double length = 0;
  if (CRV_BuildArcTable(arch.Curve(), samples, &table, &length) != CRV_ErrNone) return 1;
  std::printf("length %.3f\n", length);

  int status = 0;
  double last[2] = {0, 0};
  for (int k = 0; k <= 8; ++k) {
    const double s = length * k / 8;  // eight equal steps along the curve
    double t = 0, p[2] = {0, 0};
    if (CRV_TFromS(arch.Curve(), s, samples, &table, &t) != CRV_ErrNone ||
        CRV_EvaluatePointFromS(arch.Curve(), s, samples, &table, p) != CRV_ErrNone)
      status = 1;
    // A straight step is a little shorter than the arc it cuts across.
    const double chord = std::hypot(p[0] - last[0], p[1] - last[1]);
    std::printf("s %6.2f  t %.4f  (%6.2f, %6.2f)  chord %.3f\n", s, t, p[0], p[1], chord);
    if (k > 0 && !(chord <= length / 8 && chord > 0.95 * length / 8)) status = 1;
    last[0] = p[0], last[1] = p[1];
  }
  if (SEQ_Dispose(table, 0) != 0) status = 1;
  return status;
}
