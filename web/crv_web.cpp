// crv.wasm: the library's exports over flat arrays, for crv.mjs.
//
// Every function takes arrays of doubles in the module's memory and a count, and loops over the
// library's exports, so one call from JavaScript does a whole batch. Curves are 4 * dims doubles
// each, point-major. Where two operands are batched, counts n and m pair element i with element
// i (n = m), or one item with all of the other's (n = 1 or m = 1): crv.mjs checks which.
// Results of unknown size (polylines, fitted chains, screen cubics) are left in one buffer that
// crvw_result_data / crvw_result_size expose until the next such call.
#include <emscripten/emscripten.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/host_adapters/host_lists.h"
#include "crv/crv.h"
#include "crv/crv.hpp"

#define WEB_EXPORT extern "C" EMSCRIPTEN_KEEPALIVE

namespace {

std::vector<double> g_result;

// The capability record this module hands the library, in place of the stand-in host's (which
// finds no SSE3 in WebAssembly and leaves word 3 at 0). Word 3 set selects the paired paths, the
// ones every x86-64 host takes: the page then shows the bits a native x86-64 caller gets (the
// other paths agree with them up to the last place, as on an aarch64 host).
const int32_t kPairedHost[8] = {0, 0, 0, 1, 0, 0, 0, 0};
struct PairedHost {
  PairedHost() { HS_G_CPU_DataP = kPairedHost; }
} const g_paired_host;

CRV_Curve Record(const double* p, int dims) {
  CRV_Curve r;
  r.dims = static_cast<int16_t>(dims);
  for (int i = 0; i < 4; ++i) r.ctpts[i] = const_cast<double*>(p + i * dims);
  return r;
}

CRV_CurveClass2D Curve2D(const double* q) {
  return CRV_CurveClass2D({q[0], q[1]}, {q[2], q[3]}, {q[4], q[5]}, {q[6], q[7]});
}

// Appends every item of a list (as doubles) to g_result; returns the host's code of a failed
// lock.
int32_t AppendItems(SEQ_ListH list) {
  if (list == nullptr) return CRV_ErrNone;
  const int32_t code = SEQ_Lock(1, list);
  if (code != CRV_ErrNone) return code;
  int32_t item_size;
  std::memcpy(&item_size, static_cast<const char*>(*list) + SEQ_BLOCK_ITEM_SIZE_OFFSET,
              sizeof item_size);
  const double* items = crv::ItemAt<double>(list, 0);
  g_result.insert(g_result.end(), items,
                  items + static_cast<size_t>(crv::ItemCount(list)) * item_size / sizeof(double));
  return SEQ_Unlock(list);
}

// Disposes of a list on every path out of a call.
struct OwnedList {
  SEQ_ListH handle = nullptr;
  ~OwnedList() {
    if (handle != nullptr) SEQ_Dispose(handle, 0);
  }
};

// A flatness test with a guaranteed bound, for crvw_flatten_within: the piece's inner control
// points lie within `distance` of its chord segment, and the piece lies in their hull, so within
// `distance` of the chord too.
//
// The pieces come from the library's split. The driver judges a piece, then halves it and judges
// the halves left first, depth first; so the halves of the piece last judged at depth d - 1 are
// what depth d asks for next. One split of that piece at 0.5 gives both, kept until asked: half a
// split per judgement, in place of cutting each piece out of the whole curve with two.
constexpr uint32_t kHullMaxDepth = 30;  // pieces of 1e-9 of the parameter: past any tolerance

struct HullContext {
  // Both halves of a piece, split in place: P0 q0 r0 m r1 q2 P3, the left half from point 0 and
  // the right from point 3 (the plain split writes q0 .. q2 between the ends).
  struct Halves {
    double t0 = 0, tm = 0, t1 = -1;  // none yet
    double p[14];
  };
  // The piece last judged at a depth: its points (in a Halves or in `cut`) and its interval.
  struct Judged {
    const double* p = nullptr;
    double t0 = 0, t1 = 0;
  };
  double distance_sq;
  Halves halves[kHullMaxDepth + 1];
  Judged judged[kHullMaxDepth + 1];
  double cut[kHullMaxDepth + 1][8];
};

// The piece [t0, t1] at `depth` > 0, or null when it is not a half of the piece judged above it.
const double* HalfOf(HullContext* c, uint32_t depth, double t0, double t1) {
  HullContext::Halves& h = c->halves[depth];
  if (h.tm == t0 && h.t1 == t1) {
    c->judged[depth] = {h.p + 6, t0, t1};
    return h.p + 6;
  }
  const HullContext::Judged& parent = c->judged[depth - 1];
  const double tm = (parent.t0 + parent.t1) * 0.5;
  if (parent.t0 != t0 || tm != t1) return nullptr;
  const CRV_Curve r = Record(parent.p, 2);
  CRV_SubdivideCurve(&r, 0.5, h.p + 2);
  h.p[0] = parent.p[0];
  h.p[1] = parent.p[1];
  h.p[12] = parent.p[6];
  h.p[13] = parent.p[7];
  h.t0 = t0;
  h.tm = tm;
  h.t1 = parent.t1;
  c->judged[depth] = {h.p, t0, tm};
  return h.p;
}

int32_t HullFlat(void* context, uint32_t depth, double t0, double t1, const double*,
                 const double*, const CRV_Curve* curve, bool* accept) {
  HullContext* c = static_cast<HullContext*>(context);
  if (depth > kHullMaxDepth) {
    *accept = true;
    return CRV_ErrNone;
  }
  const double* q = depth > 0 ? HalfOf(c, depth, t0, t1) : nullptr;
  if (q == nullptr) {
    // The whole curve, or a piece the driver did not reach by halving: cut out of the curve.
    double right[10], left[10];
    const double* p[4] = {curve->ctpts[0], curve->ctpts[1], curve->ctpts[2], curve->ctpts[3]};
    if (t0 > 0) {
      CRV_SubdivideCurve(curve, t0, right);
      p[0] = right + 4;
      p[1] = right + 6;
      p[2] = right + 8;
    }
    if (t1 < 1) {
      CRV_Curve rest;
      rest.dims = 2;
      for (int i = 0; i < 4; ++i) rest.ctpts[i] = const_cast<double*>(p[i]);
      CRV_SubdivideCurve(&rest, t0 < 1 ? (t1 - t0) / (1 - t0) : 1.0, left);
      p[1] = left;
      p[2] = left + 2;
      p[3] = left + 4;
    }
    double* cut = c->cut[depth];
    for (int i = 0; i < 4; ++i) std::memcpy(cut + 2 * i, p[i], 2 * sizeof(double));
    c->judged[depth] = {cut, t0, t1};
    q = cut;
  }
  // Each inner point's squared distance to the chord segment, without a division: to the line
  // (cross^2 / l2) where it projects inside the segment, else to the nearer end.
  const double dx = q[6] - q[0], dy = q[7] - q[1], l2 = dx * dx + dy * dy;
  bool flat = true;
  for (int i = 1; i <= 2 && flat; ++i) {
    const double wx = q[2 * i] - q[0], wy = q[2 * i + 1] - q[1];
    const double dot = wx * dx + wy * dy;
    if (dot <= 0 || l2 == 0) {
      flat = wx * wx + wy * wy <= c->distance_sq;
    } else if (dot >= l2) {
      const double vx = q[2 * i] - q[6], vy = q[2 * i + 1] - q[7];
      flat = vx * vx + vy * vy <= c->distance_sq;
    } else {
      const double cross = wx * dy - wy * dx;
      flat = cross * cross <= c->distance_sq * l2;
    }
  }
  *accept = flat;
  return CRV_ErrNone;
}

}  // namespace

WEB_EXPORT void* crvw_malloc(size_t bytes) { return std::malloc(bytes); }
WEB_EXPORT void crvw_free(void* p) { std::free(p); }
WEB_EXPORT int crvw_version() { return CRV_VERSION; }
WEB_EXPORT const double* crvw_result_data() { return g_result.data(); }
WEB_EXPORT int crvw_result_size() { return static_cast<int>(g_result.size()); }

// out[i * dims] = B(t), B'(t) or B''(t) (order 0, 1, 2) of curve i at t[i].
WEB_EXPORT void crvw_evaluate(const double* curves, int nc, int dims, const double* t, int nt,
                              int order, double* out) {
  const auto fn = order == 0 ? CRV_EvaluatePoint : order == 1 ? CRV_EvaluateDeriv
                                                              : CRV_EvaluateDeriv2;
  const int n = nc > nt ? nc : nt;
  if (nc == 1) {
    const CRV_Curve r = Record(curves, dims);
    for (int i = 0; i < n; ++i) fn(&r, t[nt == 1 ? 0 : i], out + i * dims);
    return;
  }
  for (int i = 0; i < n; ++i) {
    const CRV_Curve r = Record(curves + i * 4 * dims, dims);
    fn(&r, t[nt == 1 ? 0 : i], out + i * dims);
  }
}

// n = 1 and count samples: B at count even parameters from t0 to t1.
WEB_EXPORT void crvw_evaluate_even(const double* curve, int dims, double t0, double t1, int count,
                                   double* out) {
  const CRV_Curve r = Record(curve, dims);
  CRV_EvaluatePoints(&r, t0, t1, count, out);
}

WEB_EXPORT void crvw_bounds(const double* curves, int n, int dims, double* lo, double* hi) {
  for (int i = 0; i < n; ++i) {
    const CRV_Curve r = Record(curves + i * 4 * dims, dims);
    CRV_EvaluateBounds(&r, lo + i * dims, hi + i * dims);
  }
}

// left and right receive the two halves as whole curves, 4 * dims doubles each.
WEB_EXPORT void crvw_split(const double* curves, int nc, int dims, const double* t, int nt,
                           double* left, double* right) {
  const int n = nc > nt ? nc : nt;
  const size_t d = static_cast<size_t>(dims);
  std::vector<double> mid(5 * d);  // q0 r0 m r1 q2
  for (int i = 0; i < n; ++i) {
    const double* src = curves + (nc == 1 ? 0 : i * 4 * d);
    const CRV_Curve r = Record(src, dims);
    CRV_SubdivideCurve(&r, t[nt == 1 ? 0 : i], mid.data());
    double *l = left + i * 4 * d, *rr = right + i * 4 * d;
    std::memcpy(l, src, d * sizeof(double));
    std::memcpy(l + d, mid.data(), 3 * d * sizeof(double));
    std::memcpy(rr, mid.data() + 2 * d, 3 * d * sizeof(double));
    std::memcpy(rr + 3 * d, src + 3 * d, d * sizeof(double));
  }
}

// Function curves (dims 2): kind 0 gives t at x (NaN where no root is accepted), kind 1 y at x.
WEB_EXPORT void crvw_by_x(const double* curves, int nc, const double* x, int nx, int kind,
                          double* out) {
  const int n = nc > nx ? nc : nx;
  const auto fn = kind == 0 ? CRV_TFromX : CRV_EvaluateYFromX;
  const double initial = kind == 0 ? std::nan("") : 0.0;
  if (nc == 1) {
    const CRV_Curve r = Record(curves, 2);
    for (int i = 0; i < n; ++i) {
      out[i] = initial;
      fn(&r, x[nx == 1 ? 0 : i], out + i);
    }
    return;
  }
  for (int i = 0; i < n; ++i) {
    const CRV_Curve r = Record(curves + 8 * i, 2);
    out[i] = initial;
    fn(&r, x[nx == 1 ? 0 : i], out + i);
  }
}

// ys[count] = y at count even times from x1 to x2 on one function curve.
WEB_EXPORT void crvw_y_from_xs(const double* curve, double x1, double x2, int count, double* ys) {
  const CRV_Curve r = Record(curve, 2);
  CRV_EvaluateYFromXs(&r, x1, x2, static_cast<int16_t>(count), ys);
}

// 2-D curves against points: the parameter, the curve point there and its distance.
WEB_EXPORT void crvw_nearest(const double* curves, int nc, const double* points, int np,
                             double* t, double* at, double* dist) {
  const int n = nc > np ? nc : np;
  CRV_CurveClass2D curve = Curve2D(curves);
  for (int i = 0; i < n; ++i) {
    if (nc != 1) curve = Curve2D(curves + 8 * i);
    const double* q = points + 2 * (np == 1 ? 0 : i);
    const double u = CRV_NearestPointOnCurve({q[0], q[1]}, curve);
    double* p = at + 2 * i;
    CRV_EvaluatePoint(curve.Curve(), u, p);
    const double dx = p[0] - q[0], dy = p[1] - q[1];
    t[i] = u;
    dist[i] = std::sqrt(dx * dx + dy * dy);
  }
}

// ---- Arc-length tables: the handle variable *table lives in the module's memory.

WEB_EXPORT int crvw_arc_table(const double* curve, int dims, int samples, SEQ_ListH* table,
                              double* length) {
  const CRV_Curve r = Record(curve, dims);
  return CRV_BuildArcTable(&r, samples, table, length);
}

// lengths[i] = the arc length of curve i by a table of `samples` entries, one list reused by all.
WEB_EXPORT int crvw_arc_lengths(const double* curves, int n, int dims, int samples,
                                double* lengths) {
  OwnedList table;
  int32_t code = CRV_ErrNone;
  for (int i = 0; i < n && code == CRV_ErrNone; ++i) {
    const CRV_Curve r = Record(curves + i * 4 * dims, dims);
    code = CRV_BuildArcTable(&r, samples, &table.handle, lengths + i);
  }
  return code;
}

// kind 0: t at s; 1: s at t; 2: the point at s (dims doubles each). Stops at the first failure.
WEB_EXPORT int crvw_arc_lookup(const double* curve, int dims, int samples, SEQ_ListH* table,
                               int kind, const double* v, int n, double* out) {
  const CRV_Curve r = Record(curve, dims);
  int32_t code = CRV_ErrNone;
  for (int i = 0; i < n && code == CRV_ErrNone; ++i) {
    code = kind == 0   ? CRV_TFromS(&r, v[i], samples, table, out + i)
           : kind == 1 ? CRV_SFromT(&r, v[i], samples, table, out + i)
                       : CRV_EvaluatePointFromS(&r, v[i], samples, table, out + i * dims);
  }
  return code;
}

WEB_EXPORT int crvw_list_items(SEQ_ListH* list) {
  g_result.clear();
  return AppendItems(*list);
}

WEB_EXPORT void crvw_list_dispose(SEQ_ListH* list) {
  if (*list != nullptr) SEQ_Dispose(*list, 0);
  *list = nullptr;
}

// ---- Fitting, flattening, projection (results in g_result)

// The chain's 3k + 1 points of `dims` doubles.
WEB_EXPORT int crvw_fit(const double* samples, int count, int dims, double bound) {
  g_result.clear();
  OwnedList list;
  const int32_t code = CRV_FitMultipleCurves(samples, static_cast<uint16_t>(dims), count, bound,
                                             &list.handle);
  return code != CRV_ErrNone ? code : AppendItems(list.handle);
}

// The polyline (x, y pairs) of the library's straightness test; a null bound does not clip.
WEB_EXPORT int crvw_flatten(const double* curve, double tolerance, double min_chord,
                            const double* x_low, const double* x_high, int min_depth,
                            int max_depth) {
  g_result.clear();
  CRV_LinearityParams params{min_chord * min_chord, tolerance, CRV_LINEARITY_CHECK_WORD,
                             static_cast<uint32_t>(min_depth), static_cast<uint32_t>(max_depth)};
  OwnedList list;
  int32_t code = SEQ_New(0, 16, 64, 1, &list.handle);
  bool have_range = false;
  double y_min = 0, y_max = 0;
  const CRV_Curve r = Record(curve, 2);
  if (code == CRV_ErrNone) {
    code = CRV_EvaluateAdaptively(CRV_IsLinearCallback, &params, x_low, x_high, &r, &have_range,
                                  &y_min, &y_max, &list.handle);
  }
  return code != CRV_ErrNone ? code : AppendItems(list.handle);
}

// n 2-D curves, each within `distance` of its polyline; counts[i] receives curve i's number of
// points, and g_result all the polylines one after another.
WEB_EXPORT int crvw_flatten_within(const double* curves, int n, double distance, int* counts) {
  g_result.clear();
  HullContext context;
  context.distance_sq = distance * distance;
  OwnedList list;
  int32_t code = SEQ_New(0, 16, 64, 1, &list.handle);
  for (int i = 0; i < n && code == CRV_ErrNone; ++i) {
    const CRV_Curve r = Record(curves + 8 * i, 2);
    for (HullContext::Halves& h : context.halves) h.t1 = -1;
    const size_t before = g_result.size();
    code = SEQ_SetNumItems(0, list.handle, 0);
    if (code == CRV_ErrNone) {
      code = CRV_EvaluateAdaptively(HullFlat, &context, nullptr, nullptr, &r, nullptr, nullptr,
                                    nullptr, &list.handle);
    }
    if (code == CRV_ErrNone) code = AppendItems(list.handle);
    counts[i] = static_cast<int>((g_result.size() - before) / 2);
  }
  return code;
}

// The screen cubics (8 doubles each) of a 3-D curve under a row-major 4x4 transform.
WEB_EXPORT int crvw_project(const double* curve, const double* matrix, double tolerance) {
  g_result.clear();
  GEO_Matrix4 m;
  std::memcpy(m.m, matrix, sizeof m.m);
  // The projection throws the transform's code, and this module is built without exception
  // catching. w is affine in the point and every point the projection transforms (pieces' control
  // points, curve points) lies in the hull of the control points, up to rounding: so the curve is
  // refused, with the transform's own code, when a control point fails the transform or has a w
  // within a millionth of its terms' size of the eye plane, far beyond what rounding moves.
  double hull[12];
  std::memcpy(hull, curve, sizeof hull);
  const int32_t code = GEO_Transform3DFloatPoints(&m, 4, hull);
  if (code != CRV_ErrNone) return code;
  for (int i = 0; i < 4; ++i) {
    const double* p = curve + 3 * i;
    const double* w = m.m[3];
    const double size = std::fabs(w[0] * p[0]) + std::fabs(w[1] * p[1]) + std::fabs(w[2] * p[2]) +
                        std::fabs(w[3]);
    if (!(w[0] * p[0] + w[1] * p[1] + w[2] * p[2] + w[3] > 1e-6 * size)) return GEO_ERR_BEHIND_EYE;
  }
  const CRV_CurveClass3D c({curve[0], curve[1], curve[2]}, {curve[3], curve[4], curve[5]},
                           {curve[6], curve[7], curve[8]}, {curve[9], curve[10], curve[11]});
  std::vector<CRV_CurveClass2D> pieces;
  CRV_3DScreenCurveAdaptiveEvaluator(tolerance, m, c, &pieces);
  for (const CRV_CurveClass2D& p : pieces) {
    for (int i = 0; i < 4; ++i) {
      g_result.push_back(p.points[i].x);
      g_result.push_back(p.points[i].y);
    }
  }
  return CRV_ErrNone;
}

// The parameters in [0, 1], ascending, where a 3-D curve meets the plane a x + b y + c z + d = 0.
WEB_EXPORT void crvw_intersect_plane(const double* curve, const double* plane) {
  g_result.clear();
  const CRV_CurveClass3D c({curve[0], curve[1], curve[2]}, {curve[3], curve[4], curve[5]},
                           {curve[6], curve[7], curve[8]}, {curve[9], curve[10], curve[11]});
  CRV_IntersectPlane(c, GEO_PlaneEq{plane[0], plane[1], plane[2], plane[3]}, &g_result);
}
