// Flattening of a function curve into a clipped polyline on a host list, with its y range.
//
// Both walks halve the parameter interval recursively until the flatness callback accepts a
// piece. A piece hands its end points down to its two halves, which share the midpoint, so each
// halving evaluates one new point. When the callback is CRV_IsLinearFunc itself, the walk judges
// pieces directly with the points it already has and keeps each derivative for the two pieces
// that meet there; the answers, and so the polyline, are those of calling it, bit for bit.
#include <cmath>

#include "adaptive/straightness.h"
#include "core/evaluate.h"
#include "core/time_tolerance.h"
#include "crv/crv.h"

namespace {

// The y range outputs; `tracked` is false when the caller gave none.
struct YRange {
  bool* have;
  double* lo;
  double* hi;
  bool tracked;

  void Widen(double y) const {
    if (!tracked) return;
    if (!*have) {
      *have = true;
      *lo = y;
      *hi = y;
      return;
    }
    if (*lo > y) *lo = y;
    if (y > *hi) *hi = y;
  }
};

// y at abscissa x on the segment a-b; b's y when the segment is vertical.
inline double YAt(double x, const double a[2], const double b[2]) {
  if (std::fabs(a[0] - b[0]) < crv::kTimeEpsilon) return b[1];
  return (x - a[0]) / (b[0] - a[0]) * (b[1] - a[1]) + a[1];
}

// Appends (x, y) and widens the range; a failed append leaves the range alone.
inline int32_t Append(SEQ_ListH* list, const YRange& range, double x, double y) {
  const double item[2] = {x, y};
  const int32_t code = SEQ_Insert(item, -1, *list);
  if (code != 0) return code;
  range.Widen(y);
  return CRV_ErrNone;
}

// One end of a piece: its parameter and curve point, and the derivative and its squared length
// once a judge has needed them.
struct End {
  double t;
  double p[2];
  double d[2];
  double dSq;
  bool haveDerivative;
};

// Asks the caller's callback.
struct CallbackJudge {
  CRV_FlatnessFunc callback;
  void* context;

  int32_t operator()(const CRV_Curve* curve, const CRV_Curve&, uint32_t depth, End* a, End* b,
                     bool* accept) const {
    return callback(context, depth, a->t, b->t, a->p, b->p, curve, accept);
  }
};

// CRV_IsLinearFunc, answered from the ends' points and kept derivatives.
struct LinearFuncJudge {
  const CRV_LinearityParams* params;

  static crv::Tangent Derivative(const CRV_Curve& plane, End* end) {
    if (!end->haveDerivative) {
      crv::DerivAt(plane, end->t, end->d);
      end->dSq = crv::TangentSq(end->d);
      end->haveDerivative = true;
    }
    return {end->d, end->dSq};
  }

  int32_t operator()(const CRV_Curve*, const CRV_Curve& plane, uint32_t depth, End* a, End* b,
                     bool* accept) const {
    *accept = false;
    if (params == nullptr || params->checkWord != CRV_LINEARITY_CHECK_WORD)
      return CRV_ErrBadRecord;
    if (depth > params->maxDepth) {
      *accept = true;
      return CRV_ErrNone;
    }
    if (depth < params->minDepth) return CRV_ErrNone;
    // A short chord settles it before the tangents are needed (evaluation has no side effects).
    const double dx = a->p[0] - b->p[0], dy = a->p[1] - b->p[1];
    if (params->minChordSq > dx * dx + dy * dy) {
      *accept = true;
      return CRV_ErrNone;
    }
    const crv::Tangent u = Derivative(plane, a), v = Derivative(plane, b);
    *accept = crv::IsStraight(a->p, b->p, u, v, params->minChordSq, params->angleTol);
    return CRV_ErrNone;
  }
};

// State shared by the pieces of one flattening call.
struct Walk {
  const CRV_Curve* curve;  // what the callback is given
  CRV_Curve plane;         // what is evaluated: coordinates 0 and 1 only
  SEQ_ListH* list;
  YRange range;

  End EndAt(double t) const {
    End end;
    end.t = t;
    end.haveDerivative = false;
    crv::PointAt(plane, t, end.p);
    return end;
  }
};

// CRV_EvaluateAdaptively: the end point of every accepted piece, after the start point.
template <typename Judge>
struct PolylineWalk : Walk {
  Judge judge;
  const double* xLow;
  const double* xHigh;
  bool startEmitted;

  int32_t Piece(End* a, End* b, uint32_t depth) {
    const double tm = (a->t + b->t) * 0.5;
    const double* p0 = a->p;
    const double* p1 = b->p;
    if (xLow != nullptr && *xLow > p0[0] && *xLow > p1[0]) return CRV_ErrNone;
    if (xHigh != nullptr && p0[0] > *xHigh && p1[0] > *xHigh) return CRV_ErrNone;
    bool accept = false;
    int32_t code = judge(curve, plane, depth, a, b, &accept);
    if (code != 0) return code;
    if (!accept) {
      End m = EndAt(tm);
      if ((code = Piece(a, &m, depth + 1)) != 0) return code;
      return Piece(&m, b, depth + 1);
    }
    if (!startEmitted) {
      if (xLow != nullptr && *xLow >= p0[0])
        code = Append(list, range, *xLow, YAt(*xLow, p0, p1));
      else
        code = Append(list, range, p0[0], p0[1]);
      if (code != 0) return code;
      startEmitted = true;
    }
    if (xHigh != nullptr && p1[0] > *xHigh) return Append(list, range, *xHigh, YAt(*xHigh, p0, p1));
    return Append(list, range, p1[0], p1[1]);
  }

  int32_t Run() {
    End a = EndAt(0.0);
    if (xLow == nullptr || a.p[0] > *xLow) {
      const int32_t code = Append(list, range, a.p[0], a.p[1]);
      if (code != 0) return code;
      startEmitted = true;
    }
    End b = EndAt(1.0);
    return Piece(&a, &b, 0);
  }
};

// CRV_LinearlyInterpolateCurve: the midpoint of every accepted piece inside (xA, xB) and the
// clipped points at xA and xB.
template <typename Judge>
struct MidpointWalk : Walk {
  Judge judge;
  double xA;
  double xB;

  int32_t Piece(End* a, End* b, uint32_t depth) {
    const double tm = (b->t - a->t) * 0.5 + a->t;
    const double* p0 = a->p;
    const double* p1 = b->p;
    if (xA > p0[0] && xA > p1[0]) return CRV_ErrNone;
    if (p0[0] > xB && p1[0] > xB) return CRV_ErrNone;
    bool accept = false;
    int32_t code = judge(curve, plane, depth, a, b, &accept);
    if (code != 0) return code;
    End m = EndAt(tm);
    if (!accept) {
      if ((code = Piece(a, &m, depth + 1)) != 0) return code;
      return Piece(&m, b, depth + 1);
    }
    const double* pm = m.p;
    if (xA >= p0[0] && (code = Append(list, range, xA, YAt(xA, p0, p1))) != 0) return code;
    if (xB > pm[0] && pm[0] > xA && (code = Append(list, range, pm[0], pm[1])) != 0) return code;
    if (p1[0] >= xB) return Append(list, range, xB, YAt(xB, p0, p1));
    return CRV_ErrNone;
  }

  int32_t Run() {
    End a = EndAt(0.0), b = EndAt(1.0);
    return Piece(&a, &b, 0);
  }
};

// Runs the walk WalkOf with the judge for `callback`: CRV_IsLinearFunc itself is answered in the
// walk, any other callback is called. `setup` fills the walk's own fields.
template <template <typename> class WalkOf, typename Setup>
int32_t RunWalk(CRV_FlatnessFunc callback, void* context, const Walk& shared, const Setup& setup) {
  auto run = [&](auto judge) {
    WalkOf<decltype(judge)> walk{};
    static_cast<Walk&>(walk) = shared;
    walk.judge = judge;
    setup(&walk);
    return walk.Run();
  };
  if (callback == reinterpret_cast<CRV_FlatnessFunc>(&CRV_IsLinearFunc))
    return run(LinearFuncJudge{static_cast<const CRV_LinearityParams*>(context)});
  return run(CallbackJudge{callback, context});
}

}  // namespace

int32_t CRV_EvaluateAdaptively(CRV_FlatnessFunc callback, void* context, const double* xLow,
                               const double* xHigh, const CRV_Curve* curve, bool* haveRange,
                               double* yMin, double* yMax, SEQ_ListH* list) {
  const YRange range{haveRange, yMin, yMax,
                     haveRange != nullptr && yMin != nullptr && yMax != nullptr};
  const Walk shared{curve, crv::XYView(*curve), list, range};
  return RunWalk<PolylineWalk>(callback, context, shared, [&](auto* walk) {
    walk->xLow = xLow;
    walk->xHigh = xHigh;
    walk->startEmitted = false;
  });
}

int32_t CRV_LinearlyInterpolateCurve(CRV_FlatnessFunc callback, void* context, double xA,
                                     double xB, const CRV_Curve* curve, bool* haveRange,
                                     double* yMin, double* yMax, SEQ_ListH* list) {
  const YRange range{haveRange, yMin, yMax, true};
  const Walk shared{curve, crv::XYView(*curve), list, range};
  return RunWalk<MidpointWalk>(callback, context, shared, [&](auto* walk) {
    walk->xA = xA;
    walk->xB = xB;
  });
}

int32_t CRV_LinearlyInterpolateLine(double x, const double* A, const double* B, const double* P,
                                    bool* haveRange, SEQ_ListH* list, double* yMin,
                                    double* yMax) {
  const YRange range{haveRange, yMin, yMax, true};
  if (x > A[0] && B[0] > x) return Append(list, range, x, YAt(x, A, B));
  return Append(list, range, P[0], P[1]);
}
