// Evaluation and bounds, split and drag, and the frame's entry points: any dimension count
// (empty records included), any parameter, forward differencing over up to a few thousand
// samples, on both capability paths. Every output array has exactly the documented size, so a
// write past it is caught; the identities that hold bit for bit are checked.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "core/evaluate_paired.h"
#include "crv/crv.hpp"
#include "fuzz/fuzz_input.h"

namespace {

using crvfuzz::Input;
using crvfuzz::SameValue;

// An output array of exactly n doubles (none for n <= 0).
std::unique_ptr<double[]> Out(int64_t n) {
  return std::unique_ptr<double[]>(new double[n > 0 ? n : 0]);
}

template <int N, typename V>
CRV_CurveClass<N, V> ClassFrom(const crvfuzz::Curve& curve, Input& in) {
  CRV_CurveClass<N, V> c;
  for (int i = 0; i < 4; ++i) {
    double* p = &c.points[i].x;
    for (int k = 0; k < N; ++k) p[k] = k < curve.dims() ? curve.at(i, k) : in.Double();
  }
  return c;
}

template <int N, typename V>
bool SamePoint(const V& a, const V& b) {
  for (int k = 0; k < N; ++k)
    if (!SameValue((&a.x)[k], (&b.x)[k])) return false;
  return true;
}

// The typed splits: ends kept, halves joined, and the plain split's points bit for bit.
template <int N, typename V>
void TypedSplits(const crvfuzz::Curve& curve, Input& in) {
  const CRV_CurveClass<N, V> c = ClassFrom<N, V>(curve, in);
  const double t = in.Parameter();
  CRV_CurveClass<N, V> left, right;
  CRV_SubdivideCurve(c, t, &left, &right);
  CRVFUZZ_CHECK((SamePoint<N, V>(left.points[0], c.points[0])));
  CRVFUZZ_CHECK((SamePoint<N, V>(right.points[3], c.points[3])));
  CRVFUZZ_CHECK((SamePoint<N, V>(left.points[3], right.points[0])));
  double plain[5 * N];
  CRVFUZZ_CHECK(CRV_SubdivideCurve(c.Curve(), t, plain) == 0);
  const V* expected[5] = {&left.points[1], &left.points[2], &left.points[3], &right.points[1],
                          &right.points[2]};
  for (int j = 0; j < 5; ++j)
    for (int k = 0; k < N; ++k) CRVFUZZ_CHECK(SameValue(plain[j * N + k], (&expected[j]->x)[k]));

  // Three parts need 0 <= t1 <= t2 <= 1.
  double t1 = in.Parameter(), t2 = in.Parameter();
  t1 = t1 >= 0.0 && t1 <= 1.0 ? t1 : 0.5;
  t2 = t2 >= 0.0 && t2 <= 1.0 ? t2 : 1.0;
  if (t1 > t2) std::swap(t1, t2);
  CRV_CurveClass<N, V> first, second, third;
  CRV_SubdivideCurve(c, t1, t2, &first, &second, &third);
  CRVFUZZ_CHECK((SamePoint<N, V>(first.points[0], c.points[0])));
  CRVFUZZ_CHECK((SamePoint<N, V>(third.points[3], c.points[3])));
  CRVFUZZ_CHECK((SamePoint<N, V>(first.points[3], second.points[0])));
  CRVFUZZ_CHECK((SamePoint<N, V>(second.points[3], third.points[0])));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const crvfuzz::Ledger ledger;
  crvfuzz::Capability capability;
  crvfuzz::Faults faults;
  auto curve = std::make_unique<crvfuzz::Curve>(static_cast<int>(in.Int(-2, 9)));
  crvfuzz::FillCurve(in, *curve);

  for (int op = 0; op < 32 && !in.empty(); ++op) {
    capability.Select(in.Bool());
    const int dims = curve->dims();
    const CRV_Curve* record = curve->get();
    switch (in.Byte() % 13) {
      case 0: {
        auto out = Out(dims);
        const double t = in.Parameter();
        CRVFUZZ_CHECK(CRV_EvaluatePoint(record, t, out.get()) == 0);
        if (dims >= 2) {
          // The paired path adds (P0 w0 + P1 w1) + (P2 w2 + P3 w3), coordinate by coordinate.
          if (HS_G_CPU_DataP[3] != 0) {
            const crv::BernsteinWeights w = crv::WeightsAt(t);
            const double* const* p = record->ctpts;
            for (int k = 0; k < dims; ++k)
              CRVFUZZ_CHECK(SameValue(crv::PairedSum(p[0][k], p[1][k], p[2][k], p[3][k], w), out[k]));
          }
        }
        break;
      }
      case 1:
      case 2: {
        const int32_t n = static_cast<int32_t>(in.Int(-2, 3000));
        const double t0 = in.Parameter(), t1 = in.Parameter();
        auto out = Out(static_cast<int64_t>(n > 0 ? n : 0) * (dims > 0 ? dims : 0));
        const bool points = in.Bool();
        const int32_t r = points ? CRV_EvaluatePoints(record, t0, t1, n, out.get())
                                 : CRV_EvaluateDerivs(record, t0, t1, n, out.get());
        CRVFUZZ_CHECK(r == 0);
        // From t0 = 0 the walk starts at P0, and the derivative's at 3 (P1 - P0), exactly.
        if (t0 == 0.0 && n >= 1)
          for (int k = 0; k < dims; ++k)
            CRVFUZZ_CHECK(SameValue(
                out[k], points ? curve->at(0, k) : 3.0 * (curve->at(1, k) - curve->at(0, k))));
        break;
      }
      case 3: {
        auto out = Out(dims);
        CRVFUZZ_CHECK(CRV_EvaluateDeriv(record, in.Parameter(), out.get()) == 0);
        break;
      }
      case 4: {
        auto out = Out(dims);
        CRVFUZZ_CHECK(CRV_EvaluateDeriv2(record, in.Parameter(), out.get()) == 0);
        break;
      }
      case 5: {
        auto lo = Out(dims), hi = Out(dims);
        CRVFUZZ_CHECK(CRV_EvaluateBounds(record, lo.get(), hi.get()) == 0);
        // The end points are never outside the bounds (a NaN root leaves them as they are).
        for (int k = 0; k < dims; ++k) {
          const double p0 = curve->at(0, k), p3 = curve->at(3, k);
          if (std::isnan(p0) || std::isnan(p3)) continue;
          CRVFUZZ_CHECK(lo[k] <= p0 && lo[k] <= p3 && hi[k] >= p0 && hi[k] >= p3);
        }
        // Nor is any curve point, beyond rounding, except in a coordinate where the solver's
        // absolute 1e-10 thresholds decide: a and b both below it (only t = 0 is tried), or a
        // discriminant in [0, 1e-10), taken as a double root even where the two roots lie far
        // apart (small a), which may miss an extreme of up to about 1e-5.
        double size = 0.0;
        bool moderate = true;
        for (int i = 0; i < 4; ++i) {
          for (int k = 0; k < dims; ++k) {
            const double m = std::fabs(curve->at(i, k));
            moderate = moderate && m <= 1e100;  // false for NaN
            size = m > size ? m : size;
          }
        }
        if (!moderate) break;
        const double slack = 1e-9 + 1e-12 * size;
        auto point = Out(dims);
        for (int k = 0; k < dims; ++k) {
          const double p0 = curve->at(0, k), p1 = curve->at(1, k);
          const double p2 = curve->at(2, k), p3 = curve->at(3, k);
          const double a = 3.0 * ((p3 - p0) + 3.0 * (p1 - p2));
          const double b = 6.0 * ((p0 - 2.0 * p1) + p2);
          const double c = 3.0 * (p1 - p0);
          const double disc = b * b - (2.0 * a) * (2.0 * c);
          const bool thresholds = (std::fabs(a) < 1e-10 && std::fabs(b) < 1e-10) ||
                                  (std::fabs(a) >= 1e-10 && disc >= 0.0 && disc < 1e-10);
          if (thresholds) continue;
          for (int j = 0; j <= 16; ++j) {
            CRV_EvaluatePoint(record, j / 16.0, point.get());
            CRVFUZZ_CHECK(point[k] >= lo[k] - slack && point[k] <= hi[k] + slack);
          }
        }
        break;
      }
      case 6: {
        auto out = Out(5 * static_cast<int64_t>(dims));
        CRVFUZZ_CHECK(CRV_SubdivideCurve(record, in.Parameter(), out.get()) == 0);
        break;
      }
      case 7:
        if (in.Bool())
          TypedSplits<2, GEO_Vector2T<double>>(*curve, in);
        else
          TypedSplits<3, GEO_Vector3T<double>>(*curve, in);
        break;
      case 8: {
        double weights[4];
        const double t = in.Parameter();
        CRVFUZZ_CHECK(CRV_DirectManipSetup(t, weights) == 0);
        CRVFUZZ_CHECK(weights[0] == 0.0 && weights[3] == 0.0);
        if (t == 0.0 || t == 1.0) CRVFUZZ_CHECK(weights[1] == 0.0 && weights[2] == 0.0);
        auto delta = Out(dims);
        for (int k = 0; k < dims; ++k) delta[k] = in.Double();
        if (in.Bool()) {  // weights of the caller's own making
          weights[1] = in.Double();
          weights[2] = in.Double();
        }
        std::vector<double> ends;
        for (int k = 0; k < dims; ++k) ends.insert(ends.end(), {curve->at(0, k), curve->at(3, k)});
        CRVFUZZ_CHECK(CRV_DirectManipCurve(curve->get(), delta.get(), weights) == 0);
        for (int k = 0; k < dims; ++k) {
          CRVFUZZ_CHECK(SameValue(curve->at(0, k), ends[2 * k]));
          CRVFUZZ_CHECK(SameValue(curve->at(3, k), ends[2 * k + 1]));
        }
        break;
      }
      case 9: {
        faults.Arm(in);
        const int32_t r = CRV_NewCurve();  // returns 0 also when the host has no handle
        faults.CheckResult(r);
        CRVFUZZ_CHECK(r == 0);
        break;
      }
      case 10:
        CRVFUZZ_CHECK(CRV_Birth() == 0 && CRV_Death() == 0);
        CRVFUZZ_CHECK(CRV_CurveSetCtpts(nullptr, nullptr) == 0);
        CRVFUZZ_CHECK(CRV_CurveSetCtpts(curve->get(), curve->get()->ctpts) == 0);
        CRVFUZZ_CHECK(CRV_DisposeCurve(nullptr) == 0);
        CRVFUZZ_CHECK(CRV_EvaluateByCurvature(nullptr, in.Double(), nullptr) == 0);
        break;
      case 11: crvfuzz::FillCurve(in, *curve); break;
      default:
        curve = std::make_unique<crvfuzz::Curve>(static_cast<int>(in.Int(-2, 9)));
        crvfuzz::FillCurve(in, *curve);
        break;
    }
    ledger.CheckLocks();
  }
  ledger.CheckAll(0);
  return 0;
}
