// A tour of the typed C++ interface: split a curve, find the nearest point, intersect a 3-D curve
// with a plane and project it to the screen.
//
// Build against an installed package:
//   c++ -std=c++17 geometry_tour.cpp $(pkg-config --cflags --libs crv) -o geometry_tour
#include <cmath>
#include <cstdio>
#include <vector>

#include "crv/crv.hpp"

namespace {

int failures = 0;

void Expect(bool ok, const char* what) {
  if (!ok) {
    std::fprintf(stderr, "unexpected: %s\n", what);
    ++failures;
  }
}

}  // namespace

int main() {
  // Split: the two parts meet at the curve point of the split parameter.
  const CRV_CurveClass2D arch({0, 0}, {0, 100}, {100, 100}, {100, 0});
  CRV_CurveClass2D left, right;
  CRV_SubdivideCurve(arch, 0.5, &left, &right);
  std::printf("split at 0.5: left ends at (%g, %g), right starts at (%g, %g)\n", left.points[3].x,
              left.points[3].y, right.points[0].x, right.points[0].y);
  Expect(left.points[3] == right.points[0], "the parts share their join");
  Expect(left.points[3].x == 50 && left.points[3].y == 75, "the join is B(0.5) = (50, 75)");

  // Nearest point: the parameter, from which the caller evaluates the point itself.
  const GEO_Vector2T<double> probe{50, 120};
  const double t = CRV_NearestPointOnCurve(probe, arch);
  double nearest[2];
  CRV_EvaluatePoint(arch.Curve(), t, nearest);
  std::printf("nearest to (%g, %g): t = %.6f, point (%.4f, %.4f)\n", probe.x, probe.y, t,
              nearest[0], nearest[1]);
  Expect(std::fabs(t - 0.5) < 1e-9,
         "the apex of the symmetric arch is nearest to a point above it");

  // Plane intersection: a curve climbing through z = 0 and back crosses the plane twice.
  const CRV_CurveClass3D hop({0, 0, -1}, {1, 0, 3}, {2, 0, 3}, {3, 0, -1});
  const GEO_PlaneEq ground{0, 0, 1, 0};
  std::vector<double> crossings;
  CRV_IntersectPlane(hop, ground, &crossings);
  std::printf("crosses z = 0 at t =");
  for (double c : crossings) std::printf(" %.6f", c);
  std::printf("\n");
  Expect(crossings.size() == 2, "two crossings");
  if (crossings.size() == 2)
    Expect(std::fabs(crossings[0] + crossings[1] - 1) < 1e-12, "crossings symmetric about 0.5");

  // Screen projection: a perspective camera at z = -10 looking along +z, focal length 100.
  GEO_Matrix4 camera{{{100, 0, 0, 0}, {0, 100, 0, 0}, {0, 0, 1, 0}, {0, 0, 1, 10}}};
  std::vector<CRV_CurveClass2D> screen;
  try {
    CRV_3DScreenCurveAdaptiveEvaluator(0.25, camera, hop, &screen);
  } catch (int code) {  // the host transform refuses points at or behind the eye
    std::fprintf(stderr, "projection failed with host code %d\n", code);
    return 1;
  }
  std::printf("projected into %zu screen cubic(s) within 0.25 pixel\n", screen.size());
  Expect(!screen.empty(), "at least one screen cubic");
  if (!screen.empty()) {
    const auto& first = screen.front().points[0];
    Expect(std::fabs(first.x - 0) < 1e-9 && std::fabs(first.y) < 1e-9,
           "the first screen point is the projection of P0");
    for (size_t i = 1; i < screen.size(); ++i)
      Expect(screen[i].points[0] == screen[i - 1].points[3], "screen cubics join end to end");
  }

  if (failures) return 1;
  std::puts("geometry tour: ok");
  return 0;
}
