// The steps of one segment's fit: chord-length parameters, the least-squares inner control
// points, the largest deviation, one Newton refinement of the parameters, and appending the
// result to the caller's lists. Written once per coordinate count D (2 or 3) and dispatched on
// dims, so the inner loops run over a fixed number of coordinates.
#include <cmath>
#include <cstddef>

#include "core/host_adapters/handle_names.h"
#include "core/host_adapters/host_lists.h"
#include "fit/fit_engine.h"
#include "host/hs.h"

namespace crv {

namespace {

template <int D>
const double* Sample(const double* samples, int32_t i) {
  return samples + static_cast<ptrdiff_t>(i) * D;
}

// a . b over D coordinates, summed x first.
template <int D>
double Dot(const double* a, const double* b) {
  double sum = a[0] * b[0] + a[1] * b[1];
  if (D == 3) sum = sum + a[2] * b[2];
  return sum;
}

// |a - b|, the squares summed x first.
template <int D>
double Distance(const double* a, const double* b) {
  double diff[3] = {a[0] - b[0], a[1] - b[1], D == 3 ? a[2] - b[2] : 0.0};
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

template <int D>
void ChordLengthParametersD(const double* samples, int32_t first, int32_t last, double* u) {
  u[0] = 0.0;
  for (int32_t i = first + 1; i <= last; ++i)
    u[i - first] = u[i - first - 1] + Distance<D>(Sample<D>(samples, i), Sample<D>(samples, i - 1));
  // Scaled by the reciprocal, as the parameters are pinned bit for bit: the last entry is
  // total * (1/total), which need not be exactly 1.
  const double total = u[last - first];
  const double factor = total != 0.0 ? 1.0 / total : 0.0;
  for (int32_t j = 1; j <= last - first; ++j) u[j] = u[j] * factor;
}

// One row of the least-squares system: the tangents weighted by the Bernstein weights of P1 and
// P2 at the sample's parameter.
struct LeastSquaresRow {
  double a0[3];
  double a1[3];
};
static_assert(sizeof(LeastSquaresRow) == 48, "rows are two vectors of three doubles");

// The host handle that holds the rows of a long segment, freed on every path.
class RowsHandle {
 public:
  RowsHandle() = default;
  RowsHandle(const RowsHandle&) = delete;
  RowsHandle& operator=(const RowsHandle&) = delete;
  ~RowsHandle() {
    if (handle_ != nullptr) HS_FreeHandle(handle_);
  }
  // The rows' block, or null when the host has no memory left.
  LeastSquaresRow* Allocate(int32_t count) {
    handle_ = HS_AllocateHandle(CRV_TAG_PARAM_VALUES, HandleName(kMessageParamValuesHandle),
                                static_cast<uint64_t>(count) * sizeof(LeastSquaresRow));
    return handle_ != nullptr ? static_cast<LeastSquaresRow*>(*handle_) : nullptr;
  }

 private:
  HS_Handle handle_ = nullptr;
};

// Below this magnitude the determinant of the 2x2 normal equations is taken as singular. It is
// absolute, in the units of C00 C11 (length^4 for unit tangents), like every tolerance here.
constexpr double kSingularDeterminant = 0.0001;

template <int D>
int32_t SolveInnerControlPointsD(const double* samples, int32_t first, int32_t last,
                                 const double* u, const double* startTangent,
                                 const double* endTangent, WorkingCurve* curve) {
  const int32_t count = last - first + 1;
  LeastSquaresRow localRows[kLocalRows];
  LeastSquaresRow* rows = localRows;
  // Up to kLocalRows samples the rows stay on the stack; a longer segment borrows a handle.
  RowsHandle borrowed;
  if (count > kLocalRows) {
    rows = borrowed.Allocate(count);
    if (rows == nullptr) return CRV_ErrOutOfMemory;
  }

  // Row i holds the tangents weighted by the Bernstein weights of P1 and P2 at u[i]; the normal
  // equations accumulate it against itself and against the residual of sample i from the curve
  // whose handles are retracted onto its ends.
  const double* d0 = Sample<D>(samples, first);
  const double* d3 = Sample<D>(samples, last);
  double c00 = 0.0, c01 = 0.0, c11 = 0.0, x0 = 0.0, x1 = 0.0;
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
    const double* d = Sample<D>(samples, first + i);
    double r[3];
    for (int k = 0; k < D; ++k)
      r[k] = d[k] - (((d0[k] * b0 + d0[k] * b1) + d3[k] * b2) + d3[k] * b3);
    c00 = c00 + Dot<D>(row.a0, row.a0);
    c01 = c01 + Dot<D>(row.a0, row.a1);
    c11 = c11 + Dot<D>(row.a1, row.a1);
    x0 = x0 + Dot<D>(row.a0, r);
    x1 = x1 + Dot<D>(row.a1, r);
  }

  // Cramer's rule. A near-singular system (the tangents parallel, or too few distinct
  // parameters) gets a small stand-in determinant instead of a division by (almost) zero.
  double det = c00 * c11 - c01 * c01;
  const double det0 = c00 * x1 - x0 * c01;
  const double det1 = x0 * c11 - x1 * c01;
  if (-kSingularDeterminant < det && det < kSingularDeterminant) {
    det = ((c00 * c11) * 10.0) * kSingularDeterminant;
    if (-kSingularDeterminant < det && det < kSingularDeterminant) det = 0.001;
  }
  double alphaStart = det1 / det;
  double alphaEnd = det0 / det;
  // A negative distance would put a handle behind its end point, against its tangent (samples
  // that bend back): fall back to the two-sample placement on both sides.
  if (alphaStart < 0.0 || alphaEnd < 0.0) {
    alphaStart = Distance<D>(d3, d0) * kThirdOfChord;
    alphaEnd = alphaStart;
  }

  double(&p)[4][3] = curve->points;
  for (int k = 0; k < D; ++k) {
    p[0][k] = d0[k];
    p[3][k] = d3[k];
    p[1][k] = p[0][k] + alphaStart * startTangent[k];
    p[2][k] = p[3][k] + alphaEnd * endTangent[k];
  }
  return CRV_ErrNone;
}

// Evaluations of the working curve run a block of samples at a time, ahead of the arithmetic
// on them, so that the divisions and comparisons of a block overlap instead of each waiting
// behind its own three calls. Blocks live on the stack (three doubles per value and sample).
constexpr int32_t kEvaluationBlock = 32;

template <int D>
int32_t ComputeMaxErrorD(const double* samples, int32_t first, int32_t last,
                         const WorkingCurve& curve, const double* u, double* maxError,
                         int32_t* splitIndex) {
  // The midpoint, in 64 bits so that indices near the top of the int32 range cannot overflow.
  int32_t split = static_cast<int32_t>((static_cast<int64_t>(first) + last + 1) / 2);
  double worst = 0.0;
  double points[kEvaluationBlock][3];
  for (int32_t begin = first + 1; begin < last; begin += kEvaluationBlock) {
    const int32_t count = last - begin < kEvaluationBlock ? last - begin : kEvaluationBlock;
    for (int32_t j = 0; j < count; ++j) {
      const int32_t code = CRV_EvaluatePoint(&curve.record, u[begin + j - first], points[j]);
      if (code != 0) return code;
    }
    for (int32_t j = 0; j < count; ++j) {
      const double* d = Sample<D>(samples, begin + j);
      const double* p = points[j];
      double diff[3] = {p[0] - d[0], p[1] - d[1], D == 3 ? p[2] - d[2] : 0.0};
      const double dist = Dot<D>(diff, diff);
      if (dist >= worst) {  // >=: a tie goes to the later sample
        worst = dist;
        split = begin + j;
      }
    }
  }
  *maxError = worst;
  *splitIndex = split;
  return CRV_ErrNone;
}

template <int D>
int32_t NewtonReparameterizeD(const double* samples, int32_t first, int32_t last, const double* u,
                              const WorkingCurve& curve, double* out) {
  double q[kEvaluationBlock][3], q1[kEvaluationBlock][3], q2[kEvaluationBlock][3];
  for (int32_t begin = first; begin <= last; begin += kEvaluationBlock) {
    const int32_t count =
        last - begin + 1 < kEvaluationBlock ? last - begin + 1 : kEvaluationBlock;
    const double* t = u + (begin - first);
    for (int32_t j = 0; j < count; ++j) {
      int32_t code = CRV_EvaluatePoint(&curve.record, t[j], q[j]);
      if (code == 0) code = CRV_EvaluateDeriv(&curve.record, t[j], q1[j]);
      if (code == 0) code = CRV_EvaluateDeriv2(&curve.record, t[j], q2[j]);
      if (code != 0) return code;
    }
    for (int32_t j = 0; j < count; ++j) {
      const double* d = Sample<D>(samples, begin + j);
      double diff[3] = {q[j][0] - d[0], q[j][1] - d[1], D == 3 ? q[j][2] - d[2] : 0.0};
      // f(t) = (B(t) - d) . B'(t) vanishes where the sample's offset is normal to the curve.
      const double numerator = Dot<D>(diff, q1[j]);
      const double denominator = Dot<D>(q1[j], q1[j]) + Dot<D>(diff, q2[j]);
      out[begin - first + j] = denominator != 0.0 ? t[j] - numerator / denominator : t[j];
    }
  }
  return CRV_ErrNone;
}

template <int D>
void EstimateEndTangentD(const double* samples, int32_t end, int32_t step, int32_t count,
                         double out[3]) {
  const double* e = Sample<D>(samples, end);
  double sum[3] = {0.0, 0.0, 0.0};
  for (int32_t j = 1; j <= count; ++j) {
    const double* d = Sample<D>(samples, end + j * step);
    for (int k = 0; k < D; ++k) sum[k] = sum[k] + (d[k] - e[k]);
  }
  out[2] = 0.0;
  for (int k = 0; k < D; ++k) out[k] = sum[k] / static_cast<double>(count);
  NormalizeUnlessZero<D>(out);
}

template <int D>
void JoinTwoSamplesD(const double* samples, int32_t first, int32_t last,
                     const double* startTangent, const double* endTangent, WorkingCurve* curve) {
  const double* d0 = Sample<D>(samples, first);
  const double* d3 = Sample<D>(samples, last);
  const double handle = Distance<D>(d3, d0) * kThirdOfChord;
  double(&p)[4][3] = curve->points;
  for (int k = 0; k < D; ++k) {
    p[0][k] = d0[k];
    p[3][k] = d3[k];
    p[1][k] = p[0][k] + handle * startTangent[k];
    p[2][k] = p[3][k] + handle * endTangent[k];
  }
}

template <int D>
int32_t CenterTangentD(const double* samples, int32_t c, double out[3]) {
  const double* before = Sample<D>(samples, c - 1);
  const double* at = Sample<D>(samples, c);
  const double* after = Sample<D>(samples, c + 1);
  out[2] = 0.0;
  for (int k = 0; k < D; ++k) out[k] = ((at[k] - after[k]) + (before[k] - at[k])) * 0.5;
  NormalizeUnlessZero<D>(out);
  return CRV_ErrNone;
}

}  // namespace

WorkingCurve::WorkingCurve(int16_t dims) {
  record.dims = dims;
  for (int i = 0; i < 4; ++i) record.ctpts[i] = points[i];
}

void ChordLengthParameters(const double* samples, int16_t dims, int32_t first, int32_t last,
                           double* u) {
  if (dims == 2)
    ChordLengthParametersD<2>(samples, first, last, u);
  else
    ChordLengthParametersD<3>(samples, first, last, u);
}

int32_t SolveInnerControlPoints(const double* samples, int32_t first, int32_t last,
                                const double* u, const double* startTangent,
                                const double* endTangent, WorkingCurve* curve) {
  if (curve->record.dims == 2)
    return SolveInnerControlPointsD<2>(samples, first, last, u, startTangent, endTangent, curve);
  return SolveInnerControlPointsD<3>(samples, first, last, u, startTangent, endTangent, curve);
}

int32_t ComputeMaxError(const double* samples, int32_t first, int32_t last,
                        const WorkingCurve& curve, const double* u, double* maxError,
                        int32_t* splitIndex) {
  if (curve.record.dims == 2)
    return ComputeMaxErrorD<2>(samples, first, last, curve, u, maxError, splitIndex);
  return ComputeMaxErrorD<3>(samples, first, last, curve, u, maxError, splitIndex);
}

int32_t NewtonReparameterize(const double* samples, int32_t first, int32_t last, const double* u,
                             const WorkingCurve& curve, double* out) {
  if (curve.record.dims == 2) return NewtonReparameterizeD<2>(samples, first, last, u, curve, out);
  return NewtonReparameterizeD<3>(samples, first, last, u, curve, out);
}

void EstimateEndTangent(const double* samples, int16_t dims, int32_t end, int32_t step,
                        int32_t count, double out[3]) {
  if (dims == 2)
    EstimateEndTangentD<2>(samples, end, step, count, out);
  else
    EstimateEndTangentD<3>(samples, end, step, count, out);
}

void JoinTwoSamples(const double* samples, int32_t first, int32_t last, const double* startTangent,
                    const double* endTangent, WorkingCurve* curve) {
  if (curve->record.dims == 2)
    JoinTwoSamplesD<2>(samples, first, last, startTangent, endTangent, curve);
  else
    JoinTwoSamplesD<3>(samples, first, last, startTangent, endTangent, curve);
}

int32_t CenterTangent(const double* samples, int16_t dims, int32_t c, double out[3]) {
  if (dims == 2) return CenterTangentD<2>(samples, c, out);
  return CenterTangentD<3>(samples, c, out);
}

int32_t EmitSegment(const WorkingCurve& curve, int32_t last, SEQ_ListH pointList,
                    SEQ_ListH* indexList) {
  // The first segment brings its start point; every later one starts at the previous end.
  int32_t code = 0;
  if (ItemCount(pointList) == 0) code = SEQ_Insert(curve.points[0], -1, pointList);
  for (int i = 1; code == 0 && i < 4; ++i) code = SEQ_Insert(curve.points[i], -1, pointList);
  if (code == 0 && indexList != nullptr) code = SEQ_Insert(&last, -1, *indexList);
  return code;
}

}  // namespace crv
