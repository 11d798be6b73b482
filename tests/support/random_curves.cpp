#include <algorithm>

#include "support/curves.h"

namespace crvtest {

OwnedCurve Random::Curve(int dims, double lo, double hi) {
  OwnedCurve curve(dims);
  for (int i = 0; i < 4; ++i)
    for (int k = 0; k < dims; ++k) curve.at(i, k) = Uniform(lo, hi);
  return curve;
}

std::vector<double> ReferencePoint(const CRV_Curve& curve, double t) {
  const long double u = t, s = 1.0L - u;
  const long double w[4] = {s * s * s, 3 * s * s * u, 3 * s * u * u, u * u * u};
  std::vector<double> out(static_cast<size_t>(std::max<int>(curve.dims, 0)));
  for (int k = 0; k < curve.dims; ++k) {
    long double v = 0;
    for (int i = 0; i < 4; ++i) v += w[i] * curve.ctpts[i][k];
    out[static_cast<size_t>(k)] = static_cast<double>(v);
  }
  return out;
}

}  // namespace crvtest
