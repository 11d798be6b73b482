// Linearity tests, flattening of function curves, the typed adaptive driver, the 3-D screen
// projection and the nearest point. Flattening with CRV_IsLinearFunc runs twice, once by its own
// address (which the walk answers from the points it already has) and once through a wrapper
// that calls it: the polylines and ranges must agree bit for bit. Caller callbacks and evaluators
// decide from the input, fail or throw at a chosen call, and always end the halving.
#include <cstdint>
#include <cstring>
#include <vector>

#include "crv/crv.hpp"
#include "fuzz/fuzz_input.h"
#include "host/geo.h"

namespace {

using crvfuzz::Input;
using crvfuzz::SameValue;

// The deepest depth a target's callbacks let the walks reach: 2^12 pieces at most.
constexpr uint32_t kDepthCap = 12;

// A caller's flatness callback: accepts by a bit of `pattern` per depth, and always from depth
// `limit` (at most kDepthCap) on; fails with `code` at its call number `failAt` (0: never).
struct CallerCallback {
  uint64_t pattern;
  uint32_t limit;
  int64_t failAt;
  int32_t code;
  int64_t calls = 0;

  static int32_t Call(void* context, uint32_t depth, double, double, const double*, const double*,
                      const CRV_Curve*, bool* accept) {
    auto* self = static_cast<CallerCallback*>(context);
    if (++self->calls == self->failAt) return self->code;
    *accept = depth >= self->limit || ((self->pattern >> (depth * 5 % 64)) & 1) != 0;
    return 0;
  }
};

// CRV_IsLinearFunc called through another address, so that the walks ask it like any callback.
int32_t IsLinearFuncWrapper(void* context, uint32_t depth, double t0, double t1, const double* p0,
                            const double* p1, const CRV_Curve* curve, bool* accept) {
  return CRV_IsLinearFunc(static_cast<const CRV_LinearityParams*>(context), depth, t0, t1, p0, p1,
                          curve, accept);
}

// The list's items as raw bytes, for comparing two polylines.
std::vector<unsigned char> Contents(const crvfuzz::List& list) {
  const int32_t n = list.count();
  if (n == 0) return {};
  const auto* first = static_cast<const unsigned char*>(list.item(0));
  return std::vector<unsigned char>(first, first + static_cast<size_t>(n) * 16);
}

template <int N, typename V>
CRV_CurveClass<N, V> ClassFrom(const crvfuzz::Curve& curve, Input& in) {
  CRV_CurveClass<N, V> c;
  for (int i = 0; i < 4; ++i)
    for (int k = 0; k < N; ++k)
      (&c.points[i].x)[k] = k < curve.dims() ? curve.at(i, k) : in.Moderate();
  return c;
}

template <int N, typename V>
class CallerEvaluator : public CRV_CurveAdaptiveEvaluator<N, V> {
 public:
  CallerEvaluator(uint64_t pattern, uint32_t limit, int64_t throwAt)
      : pattern_(pattern), limit_(limit), throwAt_(throwAt) {}
  bool NeedsSubdivision(uint32_t depth, double, double, const CRV_CurveClass<N, V>&) override {
    if (++calls_ == throwAt_) throw 1234;
    return depth < limit_ && ((pattern_ >> (depth * 7 % 64)) & 1) != 0;
  }
  void AddParameter(double t, const CRV_CurveClass<N, V>&) override { params.push_back(t); }
  std::vector<double> params;

 private:
  uint64_t pattern_;
  uint32_t limit_;
  int64_t throwAt_;
  int64_t calls_ = 0;
};

template <int N, typename V>
void DriveTyped(const crvfuzz::Curve& curve, Input& in) {
  const CRV_CurveClass<N, V> c = ClassFrom<N, V>(curve, in);
  const double t0 = in.Bool() ? 0.0 : in.Parameter();
  const double t1 = in.Bool() ? 1.0 : in.Parameter();
  const int64_t throwAt = in.Byte() % 4 == 0 ? in.Int(1, 64) : 0;
  CallerEvaluator<N, V> evaluator(in.U64(), in.Byte() % (kDepthCap + 1), throwAt);
  bool thrown = false;
  try {
    CRV_EvaluateAdaptively(t0, t1, c, &evaluator);
  } catch (int code) {
    CRVFUZZ_CHECK(code == 1234);
    thrown = true;
  }
  if (thrown) return;
  // t0, the midpoints of the pieces not halved (ascending when t0 < t1), t1.
  const std::vector<double>& p = evaluator.params;
  CRVFUZZ_CHECK(p.size() >= 2 && p.size() <= (size_t{1} << kDepthCap) + 2);
  CRVFUZZ_CHECK(SameValue(p.front(), t0) && SameValue(p.back(), t1));
  // (The midpoints are (a + b) 0.5 as documented, which overflows for ends near the top of the
  // range: those intervals are left out.)
  if (t0 < t1 && std::fabs(t0) <= 1e300 && std::fabs(t1) <= 1e300)
    for (size_t i = 1; i < p.size(); ++i) CRVFUZZ_CHECK(p[i - 1] <= p[i]);
}

// The straightness criterion as documented, step by step: the cosines formed by division and
// compared with 1 - tol. The library settles most answers by comparing squares with a margin
// first; it must answer exactly as this does.
bool ReferenceStraight(const double a[2], const double b[2], const double u[2], const double v[2],
                       double minChordSq, double tol) {
  const double dx = a[0] - b[0], dy = a[1] - b[1];
  if (minChordSq > dx * dx + dy * dy) return true;
  const double ex = b[0] - a[0], ey = b[1] - a[1];
  const double length = std::sqrt(ex * ex + ey * ey);
  const double lu = std::sqrt(u[1] * u[1] + u[0] * u[0]), lv = std::sqrt(v[1] * v[1] + v[0] * v[0]);
  const double cu = lu * length == 0.0 ? 1.0 : (ey * u[1] + ex * u[0]) / (lu * length);
  const double cv = lv * length == 0.0 ? 1.0 : (v[1] * ey + v[0] * ex) / (lv * length);
  return std::fabs(cu) >= 1.0 - tol && std::fabs(cv) >= 1.0 - tol;
}

// The nearest-point query written out plainly, step by step, as the library documents it: the
// quintic's Bernstein polygon, a recursive halving (one store per half, two or more sign changes
// cut off at depth 64 as well), the flatness test dividing every squared distance on its own, and
// the candidates compared with strict inequalities. The library's search is a vectorised loop;
// both must give the same bits. Returns false when the search would visit more than `budget`
// polygons (inputs whose halves keep sign changes through rounding), where nothing is compared.
namespace nearest_reference {

struct Point {
  double x, y;
};

Point Split(const Point* q, int n, double t, Point* left, Point* right) {
  Point r[6];
  for (int j = 0; j <= n; ++j) r[j] = q[j];
  if (left != nullptr) left[0] = r[0];
  if (right != nullptr) right[n] = r[n];
  for (int i = 1; i <= n; ++i) {
    for (int j = 0; j <= n - i; ++j)
      r[j] = {(1.0 - t) * r[j].x + t * r[j + 1].x, (1.0 - t) * r[j].y + t * r[j + 1].y};
    if (left != nullptr) left[i] = r[0];
    if (right != nullptr) right[n - i] = r[n - i];
  }
  return r[0];
}

int SignChanges(const Point* w) {
  int changes = 0;
  for (int i = 1; i <= 5; ++i) changes += (w[i].y < 0.0 ? -1 : 1) != (w[i - 1].y < 0.0 ? -1 : 1);
  return changes;
}

bool Flat(const Point* w) {
  const double a = w[0].y - w[5].y, b = w[5].x - w[0].x;
  const double c = w[0].x * w[5].y - w[5].x * w[0].y, s = a * a + b * b;
  double above = 0.0, below = 0.0;
  for (int i = 1; i < 5; ++i) {
    double e = a * w[i].x + b * w[i].y + c;
    if (e > 0.0) e = e * e / s;
    if (e < 0.0) e = -(e * e / s);
    if (e > above) above = e;
    if (e < below) below = e;
  }
  const double q = 1.0 / -a, x1 = (above + c) * q, x2 = (c + below) * q;
  const double error = 0.5 * ((x1 > x2 ? x1 : x2) - (x1 < x2 ? x1 : x2));
  return error < std::ldexp(1.0, -65);
}

int Roots(const Point* w, int depth, std::vector<double>& out, int& budget) {
  if (--budget < 0) return 0;
  const int s = SignChanges(w);
  if (s == 0) return 0;
  if (depth >= 64) {
    out.push_back((w[0].x + w[5].x) * 0.5);
    return 1;
  }
  if (s == 1 && Flat(w)) {
    out.push_back(((w[5].x - w[0].x) * w[0].y - (w[5].y - w[0].y) * w[0].x) / (w[0].y - w[5].y));
    return 1;
  }
  Point left[6], right[6];
  Split(w, 5, 0.5, left, right);
  return Roots(left, depth + 1, out, budget) + Roots(right, depth + 1, out, budget);
}

bool Nearest(GEO_Vector2T<double> p, const CRV_CurveClass2D& curve, double* result) {
  const Point v[4] = {{curve.points[0].x, curve.points[0].y},
                      {curve.points[1].x, curve.points[1].y},
                      {curve.points[2].x, curve.points[2].y},
                      {curve.points[3].x, curve.points[3].y}};
  static const double z[3][4] = {{1.0, 0.6, 0.3, 0.1}, {0.4, 0.6, 0.6, 0.4}, {0.1, 0.3, 0.6, 1.0}};
  Point c[4], d[3];
  for (int i = 0; i < 4; ++i) c[i] = {v[i].x - p.x, v[i].y - p.y};
  for (int j = 0; j < 3; ++j) d[j] = {3.0 * (v[j + 1].x - v[j].x), 3.0 * (v[j + 1].y - v[j].y)};
  Point w[6];
  for (int k = 0; k <= 5; ++k) w[k] = {k / 5.0, 0.0};
  for (int k = 0; k <= 5; ++k)
    for (int i = k - 2 > 0 ? k - 2 : 0; i <= (k < 3 ? k : 3); ++i)
      w[k].y += (d[k - i].x * c[i].x + d[k - i].y * c[i].y) * z[k - i][i];
  std::vector<double> roots;
  int budget = 20000;
  Roots(w, 0, roots, budget);
  if (budget < 0) return false;
  if (roots.size() > 5) roots.resize(5);  // the store keeps the five smallest
  double dx = p.x - v[0].x, dy = p.y - v[0].y;
  double best = dx * dx + dy * dy, bestT = 0.0;
  for (const double t : roots) {
    const Point q = Split(v, 3, t, nullptr, nullptr);
    dx = p.x - q.x;
    dy = p.y - q.y;
    const double dist = dx * dx + dy * dy;
    if (best > dist) best = dist, bestT = t;
  }
  dx = p.x - v[3].x;
  dy = p.y - v[3].y;
  if (best > dx * dx + dy * dy) bestT = 1.0;
  *result = bestT;
  return true;
}

}  // namespace nearest_reference

GEO_Matrix4 Transform(Input& in) {
  GEO_Matrix4 m{};
  switch (in.Byte() % 3) {
    case 0:  // affine: scale, shear and shift, w = 1
      for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) m.m[r][c] = in.Moderate();
      m.m[3][3] = 1.0;
      break;
    case 1: {  // a perspective camera looking down z
      const double focal = std::fabs(in.Moderate()) + 1e-3;
      m.m[0][0] = focal;
      m.m[1][1] = focal;
      m.m[2][2] = 1.0;
      m.m[3][2] = 1.0;
      m.m[3][3] = std::fabs(in.Moderate()) + in.Double();
      break;
    }
    default:
      for (auto& row : m.m)
        for (double& v : row) v = in.Double();
      break;
  }
  return m;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const crvfuzz::Ledger ledger;
  {
    crvfuzz::Capability capability;
    crvfuzz::Faults faults;
    auto curve = std::make_unique<crvfuzz::Curve>(static_cast<int>(in.Int(2, 4)));
    crvfuzz::FillCurve(in, *curve);

    for (int op = 0; op < 16 && !in.empty(); ++op) {
      capability.Select(in.Bool());
      const CRV_Curve* record = curve->get();
      switch (in.Byte() % 10) {
        case 0: {
          double a[2], b[2], u[2], v[2];
          for (double* p : {a, b, u, v}) p[0] = in.Double(), p[1] = in.Double();
          switch (in.Byte() % 4) {  // tangents along the chord, nearly or exactly
            case 0: {
              const double su = in.Double(), sv = in.Double();
              u[0] = (b[0] - a[0]) * su + in.Double() * 1e-9;
              u[1] = (b[1] - a[1]) * su;
              v[0] = (b[0] - a[0]) * sv;
              v[1] = (b[1] - a[1]) * sv + in.Double() * 1e-12;
              break;
            }
            case 1: u[0] = b[0] - a[0], u[1] = b[1] - a[1]; break;
            default: break;
          }
          const double minChordSq = in.Bool() ? 0.0 : in.Double();
          const double tol =
              in.Bool() ? in.Double() : std::ldexp(1.0, -static_cast<int>(in.Byte() % 64));
          bool out = false;
          CRVFUZZ_CHECK(CRV_IsCurveLinear(a, b, u, v, minChordSq, tol, &out) == 0);
          CRVFUZZ_CHECK(out == ReferenceStraight(a, b, u, v, minChordSq, tol));
          break;
        }
        case 1: {
          bool out = false;
          const double t0 = in.Parameter(), t1 = in.Parameter();
          const double minChordSq = in.Bool() ? 0.0 : in.Double();
          const double tol =
              in.Bool() ? in.Double() : std::ldexp(1.0, -static_cast<int>(in.Byte() % 64));
          CRVFUZZ_CHECK(CRV_IsSubCurveLinear(t0, t1, record, minChordSq, tol, &out) == 0);
          CRV_Curve plane = *record;
          plane.dims = 2;
          double a[2], b[2], u[2], v[2];
          CRV_EvaluateDeriv(&plane, t0, u);
          CRV_EvaluateDeriv(&plane, t1, v);
          CRV_EvaluatePoint(&plane, t0, a);
          CRV_EvaluatePoint(&plane, t1, b);
          CRVFUZZ_CHECK(out == ReferenceStraight(a, b, u, v, minChordSq, tol));
          break;
        }
        case 2: {
          CRV_LinearityParams params{in.Double(), in.Double(),
                                     in.Byte() % 4 == 0 ? in.U32() : CRV_LINEARITY_CHECK_WORD,
                                     in.U32(), in.U32()};
          const bool null = in.Byte() % 8 == 0;
          const uint32_t depth = in.U32();
          bool out = true;
          const int32_t r = CRV_IsLinearFunc(null ? nullptr : &params, depth, in.Parameter(),
                                             in.Parameter(), nullptr, nullptr, record, &out);
          if (null || params.checkWord != CRV_LINEARITY_CHECK_WORD) {
            CRVFUZZ_CHECK(r == CRV_ErrBadRecord && !out);
          } else {
            CRVFUZZ_CHECK(r == 0);
            if (depth > params.maxDepth)
              CRVFUZZ_CHECK(out);
            else if (depth < params.minDepth)
              CRVFUZZ_CHECK(!out);
          }
          break;
        }
        case 3:
        case 4: {  // flattening: the fast walk against the wrapper, or a caller's callback
          const bool polyline = in.Byte() % 2 == 0;
          CRV_LinearityParams params{in.Bool() ? in.Double() : std::fabs(in.Moderate()),
                                     in.Bool() ? in.Double() : in.Parameter(),
                                     in.Byte() % 16 == 0 ? 0u : CRV_LINEARITY_CHECK_WORD,
                                     in.Byte() % (kDepthCap + 3u), in.Byte() % (kDepthCap + 1u)};
          const double xLow = in.Bool() ? in.Double() : curve->at(0, 0) + in.Moderate();
          const double xHigh = in.Bool() ? in.Double() : curve->at(3, 0) + in.Moderate();
          const uint8_t clip = in.Byte();
          const bool tracked = !polyline || in.Bool();
          const bool caller = in.Byte() % 4 == 0;
          CallerCallback callerCallback{in.U64(), in.Byte() % (kDepthCap + 1u),
                                        in.Byte() % 4 == 0 ? in.Int(1, 64) : 0, -6001};
          crvfuzz::List first, second;
          first.Prepare(in, 16, 8);
          if (first.get() == nullptr) CRVFUZZ_CHECK(SEQ_New(0, 16, 8, 1, first.address()) == 0);
          CRVFUZZ_CHECK(SEQ_New(0, 16, 8, 1, second.address()) == 0);
          for (int32_t i = 0; i < first.count(); ++i)
            CRVFUZZ_CHECK(SEQ_Insert(first.item(i), -1, second.get()) == 0);
          bool have[2] = {in.Bool(), false};
          double lo[2] = {in.Double(), 0.0}, hi[2] = {in.Double(), 0.0};
          have[1] = have[0], lo[1] = lo[0], hi[1] = hi[0];
          int32_t results[2];
          const int runs = caller ? 1 : 2;
          for (int run = 0; run < runs; ++run) {
            CRV_FlatnessFunc callback =
                caller ? &CallerCallback::Call
                       : (run == 0 ? reinterpret_cast<CRV_FlatnessFunc>(&CRV_IsLinearFunc)
                                   : &IsLinearFuncWrapper);
            void* context = caller ? static_cast<void*>(&callerCallback) : &params;
            crvfuzz::List& list = run == 0 ? first : second;
            if (run == 0) faults.Arm(in);
            if (polyline)
              results[run] = CRV_EvaluateAdaptively(
                  callback, context, (clip & 1) != 0 ? &xLow : nullptr,
                  (clip & 2) != 0 ? &xHigh : nullptr, record, tracked ? &have[run] : nullptr,
                  tracked ? &lo[run] : nullptr, tracked ? &hi[run] : nullptr, list.address());
            else
              results[run] =
                  CRV_LinearlyInterpolateCurve(callback, context, xLow, xHigh, record, &have[run],
                                               &lo[run], &hi[run], list.address());
            if (run == 0 && !caller) faults.CheckResult(results[0]);
            HOST_ClearFaults();
            ledger.CheckLocks();
          }
          if (caller) {
            CRVFUZZ_CHECK(results[0] == -6001 || faults.Expected(results[0]));
          } else if (!faults.armed()) {
            CRVFUZZ_CHECK(results[0] == results[1]);
            CRVFUZZ_CHECK(Contents(first) == Contents(second));
            CRVFUZZ_CHECK(have[0] == have[1] && SameValue(lo[0], lo[1]) && SameValue(hi[0], hi[1]));
          }
          break;
        }
        case 5: {
          double a[2], b[2], p[2];
          for (double* q : {a, b, p}) q[0] = in.Double(), q[1] = in.Double();
          crvfuzz::List list;
          CRVFUZZ_CHECK(SEQ_New(0, 16, 4, 1, list.address()) == 0);
          bool have = in.Bool();
          double lo = in.Double(), hi = in.Double();
          const double x = in.Double();
          faults.Arm(in);
          const int32_t r =
              CRV_LinearlyInterpolateLine(x, a, b, p, &have, list.address(), &lo, &hi);
          faults.CheckResult(r);
          CRVFUZZ_CHECK(list.count() == (r == 0 ? 1 : 0));
          break;
        }
        case 6:
          if (in.Bool())
            DriveTyped<2, GEO_Vector2T<double>>(*curve, in);
          else
            DriveTyped<3, GEO_Vector3T<double>>(*curve, in);
          break;
        case 7: {
          const CRV_CurveClass3D c = ClassFrom<3, GEO_Vector3T<double>>(*curve, in);
          const GEO_Matrix4 transform = Transform(in);
          const double tolerance = in.Bool() ? in.Double() : std::fabs(in.Moderate()) * 1e-3;
          std::vector<CRV_CurveClass2D> out(in.Byte() % 3);
          const size_t before = out.size();
          faults.Arm(in);
          try {
            CRV_3DScreenCurveAdaptiveEvaluator(tolerance, transform, c, &out);
          } catch (int code) {
            CRVFUZZ_CHECK(code == GEO_ERR_BEHIND_EYE || (faults.armed() && code <= -7000));
          }
          HOST_ClearFaults();
          CRVFUZZ_CHECK(out.size() - before <= 2049);
          break;
        }
        case 8: {
          const CRV_CurveClass2D c = ClassFrom<2, GEO_Vector2T<double>>(*curve, in);
          GEO_Vector2T<double> p{in.Double(), in.Double()};
          if (in.Byte() % 4 == 0) p = c.points[in.Byte() % 4];
          const double t = CRV_NearestPointOnCurve(p, c);
          CRVFUZZ_CHECK(t >= 0.0 && t <= 1.0);
          if (p.x == c.points[0].x && p.y == c.points[0].y) CRVFUZZ_CHECK(t == 0.0);
          double expected;
          if (nearest_reference::Nearest(p, c, &expected)) CRVFUZZ_CHECK(SameValue(t, expected));
          break;
        }
        default:
          if (in.Bool()) {
            crvfuzz::FillCurve(in, *curve);
          } else {
            curve = std::make_unique<crvfuzz::Curve>(static_cast<int>(in.Int(2, 4)));
            crvfuzz::FillCurve(in, *curve);
          }
          break;
      }
      ledger.CheckLocks();
    }
  }
  ledger.CheckAll(0);
  return 0;
}
