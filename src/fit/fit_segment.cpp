// The steps of one segment's fit: chord-length parameters, the least-squares inner control
// points, the largest deviation, one Newton refinement of the parameters, the tangents at the
// ends and at a split, and appending the result to the caller's lists. Written once per
// coordinate count D (2 or 3), so the inner loops run over a fixed number of coordinates.
#include <cmath>
#include <cstddef>

#include "core/evaluate.h"
#include "core/host_adapters/handles.h"
#include "core/host_adapters/host_lists.h"
#include "fit/fit_engine.h"
#include "host/hs.h"

namespace crv {

namespace {

// a . b over D coordinates, summed x first.
template <int D>
double Dot(const double* a, const double* b) {
  double sum = a[0] * b[0] + a[1] * b[1];
  if (D == 3) sum = sum + a[2] * b[2];
  return sum;
}

// a - b over D coordinates; z is 0 for D = 2.
template <int D>
void Difference(const double* a, const double* b, double out[3]) {
  out[0] = a[0] - b[0];
  out[1] = a[1] - b[1];
  out[2] = D == 3 ? a[2] - b[2] : 0.0;
}

// |a - b|, the squares summed x first.
template <int D>
double Distance(const double* a, const double* b) {
  double diff[3];
  Difference<D>(a, b, diff);
  return std::sqrt(Dot<D>(diff, diff));
}

// Normalises v in place unless its length is exactly 0 (a zero tangent stays zero).
template <int D>
void NormalizeUnlessZero(double* v) {
  const double length = std::sqrt(Dot<D>(v, v));
  if (length != 0.0) {
    for (int k = 0; k < D; ++k) v[k] = v[k] / length;
  }
}

// One row of the least-squares system: the tangents weighted by the Bernstein weights of P1 and
// P2 at the sample's parameter.
struct LeastSquaresRow {
  double a0[3];
  double a1[3];
};
static_assert(sizeof(LeastSquaresRow) == 48, "rows are two vectors of three doubles");

// The sums of the 2x2 normal equations [c00 c01; c01 c11] (alphaStart, alphaEnd) = (x0, x1).
struct NormalEquations {
  double c00 = 0.0, c01 = 0.0, c11 = 0.0, x0 = 0.0, x1 = 0.0;
};

// Row i holds the tangents weighted by the Bernstein weights of P1 and P2 at u[i]; the normal
// equations accumulate it against itself and against the residual of sample i from the curve
// whose handles are retracted onto its ends. `d` is the segment's first sample, `count` its
// sample count.
template <int D>
NormalEquations AccumulateNormalEquations(const double* d, int32_t count, const double* u,
                                          const double* startTangent, const double* endTangent,
                                          LeastSquaresRow* rows) {
  const double* d0 = d;
  const double* d3 = d + static_cast<ptrdiff_t>(count - 1) * D;
  NormalEquations n;
  for (int32_t i = 0; i < count; ++i) {
    const double t = u[i];
    const double s = 1.0 - t;
    const double b0 = (s * s) * s;
    const double b1 = (s * s) * (3.0 * t);
    const double b2 = ((3.0 * t) * t) * s;
    const double b3 = (t * t) * t;
    LeastSquaresRow& row = rows[i];
    for (int k = 0; k < D; ++k) {
      row.a0[k] = startTangent[k] * b1;
      row.a1[k] = endTangent[k] * b2;
    }
    const double* di = d + static_cast<ptrdiff_t>(i) * D;
    double r[3];
    for (int k = 0; k < D; ++k)
      r[k] = di[k] - (((d0[k] * b0 + d0[k] * b1) + d3[k] * b2) + d3[k] * b3);
    n.c00 = n.c00 + Dot<D>(row.a0, row.a0);
    n.c01 = n.c01 + Dot<D>(row.a0, row.a1);
    n.c11 = n.c11 + Dot<D>(row.a1, row.a1);
    n.x0 = n.x0 + Dot<D>(row.a0, r);
    n.x1 = n.x1 + Dot<D>(row.a1, r);
  }
  return n;
}

// Below this magnitude the determinant of the 2x2 normal equations is taken as singular. It is
// absolute, in the units of C00 C11 (length^4 for unit tangents), like every tolerance here.
constexpr double kSingularDeterminant = 0.0001;
// det = C00 C11 sin^2(theta), theta the angle between the system's two columns. A near-singular
// system gets det = C00 C11 * (kStandInScale * kSingularDeterminant): the columns are taken to
// meet at the angle whose sin^2 is 1e-3 (about 1.8 degrees) instead of being (almost) parallel.
constexpr double kStandInScale = 10.0;
// When even that stand-in is below the threshold (a column all but zero, as with a zero tangent
// or coincident parameters), this fixed determinant keeps the distances finite; the numerators
// are then near 0 as well.
constexpr double kLastResortDeterminant = 0.001;

// Cramer's rule for the distances of P1 from P0 and of P2 from P3 along their tangents.
void SolveDistances(const NormalEquations& n, double* alphaStart, double* alphaEnd) {
  double det = n.c00 * n.c11 - n.c01 * n.c01;
  const double det0 = n.c00 * n.x1 - n.x0 * n.c01;
  const double det1 = n.x0 * n.c11 - n.x1 * n.c01;
  if (-kSingularDeterminant < det && det < kSingularDeterminant) {
    det = ((n.c00 * n.c11) * kStandInScale) * kSingularDeterminant;
    if (-kSingularDeterminant < det && det < kSingularDeterminant) det = kLastResortDeterminant;
  }
  *alphaStart = det1 / det;
  *alphaEnd = det0 / det;
}

// Evaluations of the working curve run a block of samples at a time, ahead of the arithmetic
// on them, so that the divisions and comparisons of a block overlap instead of each waiting
// behind its own calls. Blocks live on the stack (three doubles per value and sample).
constexpr int32_t kEvaluationBlock = 32;

// The samples of a block that starts at `begin` in a range that ends at `end` (inclusive).
int32_t BlockSize(int32_t begin, int32_t end) {
  return end - begin + 1 < kEvaluationBlock ? end - begin + 1 : kEvaluationBlock;
}

}  // namespace

WorkingCurve::WorkingCurve(int16_t dims) {
  record.dims = dims;
  for (int i = 0; i < 4; ++i) record.ctpts[i] = points[i];
}

template <int D>
void FitEngine<D>::EndTangent(int32_t end, int32_t step, int32_t count, double out[3]) const {
  const double* e = Sample(end);
  double sum[3] = {0.0, 0.0, 0.0};
  for (int32_t j = 1; j <= count; ++j) {
    const double* d = Sample(end + j * step);
    for (int k = 0; k < D; ++k) sum[k] = sum[k] + (d[k] - e[k]);
  }
  out[2] = 0.0;
  for (int k = 0; k < D; ++k) out[k] = sum[k] / static_cast<double>(count);
  NormalizeUnlessZero<D>(out);
}

template <int D>
void FitEngine<D>::CenterTangent(int32_t c, double out[3]) const {
  const double* before = Sample(c - 1);
  const double* at = Sample(c);
  const double* after = Sample(c + 1);
  out[2] = 0.0;
  for (int k = 0; k < D; ++k) out[k] = ((at[k] - after[k]) + (before[k] - at[k])) * 0.5;
  NormalizeUnlessZero<D>(out);
}

template <int D>
void FitEngine<D>::ChordLengthParameters(int32_t first, int32_t last, double* u) const {
  u[0] = 0.0;
  for (int32_t i = first + 1; i <= last; ++i)
    u[i - first] = u[i - first - 1] + Distance<D>(Sample(i), Sample(i - 1));
  // Scaled by the reciprocal, as the parameters are pinned bit for bit: the last entry is
  // total * (1/total), which need not be exactly 1.
  const double total = u[last - first];
  const double factor = total != 0.0 ? 1.0 / total : 0.0;
  for (int32_t j = 1; j <= last - first; ++j) u[j] = u[j] * factor;
}

template <int D>
int32_t FitEngine<D>::SolveInnerControlPoints(int32_t first, int32_t last, const double* u,
                                              const double* startTangent,
                                              const double* endTangent) {
  const int32_t count = last - first + 1;
  LeastSquaresRow localRows[kLocalRows];
  LeastSquaresRow* rows = localRows;
  // Up to kLocalRows samples the rows stay on the stack; a longer segment borrows a handle.
  TemporaryHandle borrowed;
  if (count > kLocalRows) {
    borrowed.reset(HS_AllocateHandle(CRV_TAG_PARAM_VALUES,
                                     HandleName(kMessageParamValuesHandle),
                                     static_cast<uint64_t>(count) * sizeof(LeastSquaresRow)));
    if (borrowed == nullptr) return CRV_ErrOutOfMemory;
    rows = static_cast<LeastSquaresRow*>(*borrowed.get());
  }
  const NormalEquations n =
      AccumulateNormalEquations<D>(Sample(first), count, u, startTangent, endTangent, rows);
  double alphaStart, alphaEnd;
  SolveDistances(n, &alphaStart, &alphaEnd);
  // A negative distance would put a handle behind its end point, against its tangent (samples
  // that bend back): fall back to the two-sample placement on both sides.
  if (alphaStart < 0.0 || alphaEnd < 0.0) {
    alphaStart = ThirdOfChord(first, last);
    alphaEnd = alphaStart;
  }
  PlaceHandles(first, last, alphaStart, alphaEnd, startTangent, endTangent);
  return CRV_ErrNone;
}

template <int D>
double FitEngine<D>::ThirdOfChord(int32_t first, int32_t last) const {
  return Distance<D>(Sample(last), Sample(first)) * kThirdOfChord;
}

template <int D>
void FitEngine<D>::PlaceHandles(int32_t first, int32_t last, double alphaStart, double alphaEnd,
                                const double* startTangent, const double* endTangent) {
  const double* d0 = Sample(first);
  const double* d3 = Sample(last);
  double(&p)[4][3] = curve_.points;
  for (int k = 0; k < D; ++k) {
    p[0][k] = d0[k];
    p[3][k] = d3[k];
    p[1][k] = p[0][k] + alphaStart * startTangent[k];
    p[2][k] = p[3][k] + alphaEnd * endTangent[k];
  }
}

template <int D>
CRV_FORCE_INLINE void FitEngine<D>::EvaluatePoint(double t, bool paired, double* out) const {
  if constexpr (D == 2) {
    PointAtXYOnPath(curve_.record, t, paired, out);
  } else if (paired) {
    EvaluatePointPaired(curve_.record, t, out);
  } else {
    EvaluatePointScalar(curve_.record, t, out);
  }
}

template <int D>
typename FitEngine<D>::Deviation FitEngine<D>::MaxError(int32_t first, int32_t last,
                                                        const double* u) const {
  // The midpoint, in 64 bits so that indices near the top of the int32 range cannot overflow.
  Deviation deviation{0.0, static_cast<int32_t>((static_cast<int64_t>(first) + last + 1) / 2)};
  double points[kEvaluationBlock][3];
  const bool paired = UsePairedPath();  // one path for every sample of the call
  for (int32_t begin = first + 1; begin < last; begin += kEvaluationBlock) {
    const int32_t count = BlockSize(begin, last - 1);
    for (int32_t j = 0; j < count; ++j) EvaluatePoint(u[begin + j - first], paired, points[j]);
    for (int32_t j = 0; j < count; ++j) {
      double diff[3];
      Difference<D>(points[j], Sample(begin + j), diff);
      const double dist = Dot<D>(diff, diff);
      if (dist >= deviation.worst) {  // >=: a tie goes to the later sample
        deviation.worst = dist;
        deviation.sample = begin + j;
      }
    }
  }
  return deviation;
}

template <int D>
void FitEngine<D>::NewtonReparameterize(int32_t first, int32_t last, const double* u,
                                        double* out) const {
  double q[kEvaluationBlock][3], q1[kEvaluationBlock][3], q2[kEvaluationBlock][3];
  for (int32_t begin = first; begin <= last; begin += kEvaluationBlock) {
    const int32_t count = BlockSize(begin, last);
    const double* t = u + (begin - first);
    const bool paired = UsePairedPath();
    for (int32_t j = 0; j < count; ++j) {
      EvaluatePoint(t[j], paired, q[j]);
      DerivAt(curve_.record, t[j], q1[j]);
      Deriv2At(curve_.record, t[j], q2[j]);
    }
    for (int32_t j = 0; j < count; ++j) {
      double diff[3];
      Difference<D>(q[j], Sample(begin + j), diff);
      // f(t) = (B(t) - d) . B'(t) vanishes where the sample's offset is normal to the curve.
      const double numerator = Dot<D>(diff, q1[j]);
      const double denominator = Dot<D>(q1[j], q1[j]) + Dot<D>(diff, q2[j]);
      out[begin - first + j] = denominator != 0.0 ? t[j] - numerator / denominator : t[j];
    }
  }
}

template <int D>
int32_t FitEngine<D>::Emit(int32_t last) {
  const SEQ_ListH points = request_.pointList;
  // The first segment brings its start point; every later one starts at the previous end.
  if (ItemCount(points) == 0) {
    const int32_t code = SEQ_Insert(curve_.points[0], -1, points);
    if (code != 0) return code;
  }
  for (int i = 1; i < 4; ++i) {
    const int32_t code = SEQ_Insert(curve_.points[i], -1, points);
    if (code != 0) return code;
  }
  if (request_.indexList == nullptr) return CRV_ErrNone;
  return SEQ_Insert(&last, -1, *request_.indexList);
}

template class FitEngine<2>;
template class FitEngine<3>;

}  // namespace crv
