#include <algorithm>
#include <cmath>
#include <vector>

#include "accuracy/accuracy.h"

namespace crvtool {
namespace accuracy {
using namespace crvref;  // NOLINT: the references are the measurements' vocabulary

// Rotated by a random angle, scaled by 10^[lo, hi) and moved by up to that scale.
Curve Place(Rng& r, std::vector<double> xy, double lo, double hi) {
  const double a = r.Uniform(0, 2 * kPi), s = std::pow(10.0, r.Uniform(lo, hi));
  const double dx = s * r.Uniform(-1, 1), dy = s * r.Uniform(-1, 1);
  for (size_t i = 0; i < 8; i += 2) {
    const double x = xy[i], y = xy[i + 1];
    xy[i] = s * (x * std::cos(a) - y * std::sin(a)) + dx;
    xy[i + 1] = s * (x * std::sin(a) + y * std::cos(a)) + dy;
  }
  return Curve(2, xy);
}

std::vector<Family> Families(Rng& r) {
  std::vector<Family> f{
      {"easing",
       "easing curves (0,0) (x1,y1) (x2,y2) (1,1), all four handle coordinates in [0, 1]",
       true,
       {}},
      {"overshoot",
       "easing curves with x1, x2 in [0, 1] and y1 in [-1, 0), y2 in (1, 2]: values beyond [0, 1]",
       true,
       {}},
      {"remap", "time remaps: x and y both rising, over 1 to 1000 frames", true, {}},
      {"loops", "curves that cross themselves, rotated, scaled by 1 to 100", false, {}},
      {"cusps",
       "(-a,0) (a,h) (-a,h) (a,0), a cusp at t = 0.5 up to the rounding of rotation and scale",
       false,
       {}},
      {"straight",
       "near-straight curves: handles on the chord, off it by 1e-8 to 1e-2 of its length",
       false,
       {}},
      {"scaled",
       "random control points in the unit square, scaled by 1e-3 to 1e6: short and long curves",
       false,
       {}}};
  for (int i = 0; i < kCurvesPerFamily; ++i) {
    f[0].curves.push_back(
        Curve(2, {0, 0, r.Uniform(0, 1), r.Uniform(0, 1), r.Uniform(0, 1), r.Uniform(0, 1), 1, 1}));
    const double x1 = r.Uniform(0, 1), y1 = r.Uniform(-1, 0), x2 = r.Uniform(0, 1),
                 y2 = r.Uniform(1, 2);
    f[1].curves.push_back(Curve(2, {0, 0, x1, y1, x2, y2, 1, 1}));
    const double span = std::pow(10.0, r.Uniform(0, 3));
    double x[4] = {0, r.Uniform(0, span), r.Uniform(0, span), span},
           y[4] = {0, r.Uniform(0, span), r.Uniform(0, span), span * r.Uniform(0.2, 2)};
    std::sort(x, x + 4);
    std::sort(y, y + 4);
    f[2].curves.push_back(Curve(2, {x[0], y[0], x[1], y[1], x[2], y[2], x[3], y[3]}));
    const double o = r.Uniform(0.3, 1.5), h = r.Uniform(0.8, 2);
    f[3].curves.push_back(Place(r, {0, 0, 1 + o, h, -o, h, 1, 0}, 0, 2));
    const double a = r.Uniform(0.5, 2), ch = r.Uniform(0.5, 2);
    f[4].curves.push_back(Place(r, {-a, 0, a, ch, -a, ch, a, 0}, 0, 2));
    const double e = std::pow(10.0, r.Uniform(-8, -2));
    f[5].curves.push_back(Place(r,
                                {0, 0, r.Uniform(0.1, 0.5), e * r.Uniform(-1, 1),
                                 r.Uniform(0.5, 0.9), e * r.Uniform(-1, 1), 1, 0},
                                0, 2));
    std::vector<double> u(8);
    for (double& v : u) v = r.Uniform(0, 1);
    f[6].curves.push_back(Place(r, u, -3, 6));
  }
  return f;
}

Family Sizes() {
  // A loop, an arch, an S, a cusp, a near-straight curve and a bulge, each in a box of side 1
  // with its lower corner at (0.2, -0.4): the same shape at every size, off the origin.
  const double shapes[kSizeShapes][8] = {{0, 0, 1, 0.75, 0, 0.75, 0.75, 0},
                               {0, 0, 0, 1, 1, 1, 1, 0},
                               {0, 0, 1, 0.1, 0, 0.9, 1, 1},
                               {0, 0, 1, 1, 0, 1, 1, 0},
                               {0, 0, 0.3, 0.01, 0.7, -0.01, 1, 0.02},
                               {0, 0.5, 0.2, 1, 0.9, -0.3, 1, 0.6}};
  Family f{"sizes",
           "the same six shapes (loop, arch, S, cusp, near-straight, bulge) with boxes of side "
           "10^(k/4) from 1e-6 to 1e9, for the nearest point only",
           false,
           {}};
  for (int k = -24; k <= 36; ++k) {
    const double side = std::pow(10.0, k / 4.0);
    for (const auto& shape : shapes) {
      std::vector<double> xy(8);
      for (int i = 0; i < 8; ++i) xy[i] = side * (shape[i] + (i % 2 ? -0.4 : 0.2));
      f.curves.push_back(Curve(2, xy));
    }
  }
  return f;
}

Curve Lift(Rng& r, const Curve& c) {
  double extent = 0;
  for (int k = 0; k < 2; ++k)
    for (int i = 0; i < 4; ++i) extent = std::max(extent, std::fabs(c.at(i, k) - c.at(0, k)));
  std::vector<double> xyz;
  for (int i = 0; i < 4; ++i)
    xyz.insert(xyz.end(), {c.at(i, 0), c.at(i, 1), extent * r.Uniform(-0.5, 0.5)});
  return Curve(3, xyz);
}

}  // namespace accuracy
}  // namespace crvtool
