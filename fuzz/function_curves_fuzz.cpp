// Lookups by time and value on function curves (records of 2 to 5 dimensions): the solver's
// clamps, the sampled forms against the single ones, averages, turning points and the
// non-decreasing repair, with times anywhere (NaN and infinities included) and up to a few
// thousand samples.
#include <cstdint>
#include <vector>

#include "crv/crv.h"
#include "function_curves/cubic_solver.h"
#include "fuzz/fuzz_input.h"

namespace {

using crvfuzz::Input;
using crvfuzz::SameValue;

// Whether the solver takes the three-real-root branch for target v on coordinate 0, where the
// sampled lookups form the angle's cosine differently (and may differ in the last bit).
bool SolvesThreeRoots(const CRV_Curve& curve, double v) {
  using namespace crv::solver_detail;
  const Terms s = MakeTerms(curve.ctpts[0], curve.ctpts[1], curve.ctpts[2], curve.ctpts[3], 0);
  if (!s.cubic) return false;
  const double c = (s.p0 - v) / s.c3;
  const double r = (s.rHead + 27.0 * c) / 54.0;
  return !(s.q3 < r * r) && !(std::fabs(s.q) < crv::kSolverEpsilon);
}

// Whether the solver accepts a root for time x (t does not depend on the fallback).
bool Accepts(const CRV_Curve& curve, double x) {
  double a = 0.25, b = 0.75;
  crv::TFromCoordinate(curve, 0, x, &a);
  crv::TFromCoordinate(curve, 0, x, &b);
  return SameValue(a, b);
}

// The value at t = 0 is P0.y exactly when the products with the other points' values are finite.
bool FiniteValues(const crvfuzz::Curve& c) {
  for (int i = 0; i < 4; ++i)
    if (!std::isfinite(3.0 * c.at(i, 1))) return false;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const crvfuzz::Ledger ledger;
  crvfuzz::Capability capability;
  auto curve = std::make_unique<crvfuzz::Curve>(static_cast<int>(in.Int(2, 5)));
  crvfuzz::FillCurve(in, *curve);

  for (int op = 0; op < 32 && !in.empty(); ++op) {
    capability.Select(in.Bool());
    const CRV_Curve* record = curve->get();
    const double x0 = curve->at(0, 0), x3 = curve->at(3, 0);
    switch (in.Byte() % 12) {
      case 0: {
        const bool byTime = in.Bool();
        const double v = in.Bool() ? in.Double() : (byTime ? x0 : curve->at(0, 1)) + in.Moderate();
        const double sentinel = in.Double();
        double t = sentinel;
        CRVFUZZ_CHECK((byTime ? CRV_TFromX(record, v, &t) : CRV_TFromY(record, v, &t)) == 0);
        // The start clamp is tested first, then the end clamp.
        const double p0 = curve->at(0, byTime ? 0 : 1), p3 = curve->at(3, byTime ? 0 : 1);
        if (p0 > v || std::fabs(v - p0) < 1e-10)
          CRVFUZZ_CHECK(t == 0.0);
        else if (v > p3 || std::fabs(v - p3) < 1e-10)
          CRVFUZZ_CHECK(t == 1.0);
        break;
      }
      case 1: {
        const double x = in.Bool() ? in.Double() : x0 + (x3 - x0) * in.Parameter();
        double y = 0.0;
        CRVFUZZ_CHECK(CRV_EvaluateYFromX(record, x, &y) == 0);
        if ((x0 > x || std::fabs(x - x0) < 1e-10) && FiniteValues(*curve))
          CRVFUZZ_CHECK(y == curve->at(0, 1));
        break;
      }
      case 2: {
        const int16_t count = static_cast<int16_t>(in.Int(-3, 3000));
        const double x1 = in.Bool() ? in.Double() : x0 + (x3 - x0) * in.Parameter();
        const double x2 = in.Bool() ? in.Double() : x0 + (x3 - x0) * in.Parameter();
        std::unique_ptr<double[]> ys(new double[count > 0 ? count : 0]);
        const bool slopes = in.Bool();
        CRVFUZZ_CHECK((slopes ? CRV_Evaluate1dDerivsFromX(record, x1, x2, count, ys.get())
                              : CRV_EvaluateYFromXs(record, x1, x2, count, ys.get())) == 0);
        // Each sample whose time has an accepted root, off the three-root branch, is the single
        // lookup's bit for bit (the times accumulated by repeated addition): the value, or the
        // unguarded slope y'(t) / x'(t).
        const double step = (x2 - x1) / static_cast<double>(count - 1);
        double x = x1;
        for (int i = 0; i < count && i < 64; ++i, x += step) {
          if (!Accepts(*record, x) || SolvesThreeRoots(*record, x)) continue;
          double expected = 0.0;
          if (slopes) {
            double t = 0.0, d[2];
            crv::TFromCoordinate(*record, 0, x, &t);
            CRV_Curve view = *record;
            view.dims = 2;
            CRV_EvaluateDeriv(&view, t, d);
            expected = d[1] / d[0];
          } else {
            CRV_EvaluateYFromX(record, x, &expected);
          }
          CRVFUZZ_CHECK(SameValue(ys[i], expected));
        }
        break;
      }
      case 3: {
        double x = 0.0;
        CRVFUZZ_CHECK(CRV_EvaluateXFromY(record, in.Bool() ? in.Double() : in.Moderate(), &x) == 0);
        break;
      }
      case 4: {
        std::unique_ptr<double[]> xs(new double[2]);
        int32_t count = -1;
        CRVFUZZ_CHECK(CRV_EvaluateXFromYPrime(record, nullptr, &count, xs.get()) == 0);
        CRVFUZZ_CHECK(count >= 0 && count <= 2);
        break;
      }
      case 5: {
        std::vector<double> before;
        for (int i = 0; i < 4; ++i)
          for (int k = 0; k < curve->dims(); ++k) before.push_back(curve->at(i, k));
        uint8_t changed = 7;
        const bool ask = in.Bool();
        CRVFUZZ_CHECK(CRV_CurveSetNonDecreasing(curve->get(), ask ? &changed : nullptr) == 0);
        if (ask) CRVFUZZ_CHECK(changed == 0 || changed == 1);
        // Only coordinates 0 and 1 of P1 and P2 may move; a falling curve is not touched.
        const bool falling = curve->at(3, 1) < curve->at(0, 1);
        bool moved = false;
        for (int i = 0; i < 4; ++i) {
          for (int k = 0; k < curve->dims(); ++k) {
            const bool same = SameValue(before[i * curve->dims() + k], curve->at(i, k));
            if (i == 0 || i == 3 || k >= 2 || falling) CRVFUZZ_CHECK(same);
            moved = moved || !same;
          }
        }
        if (ask && moved) CRVFUZZ_CHECK(changed == 1);
        break;
      }
      case 6: {
        double slope = 0.0;
        CRVFUZZ_CHECK(
            CRV_Evaluate1dDerivFromX(record, in.Bool() ? in.Double() : in.Moderate(), &slope) == 0);
        break;
      }
      case 7: {
        double out = 0.0;
        CRVFUZZ_CHECK(
            CRV_Evaluate1dDeriv2FromX(record, in.Bool() ? in.Double() : in.Moderate(), &out) == 0);
        break;
      }
      case 8: {
        const double x1 = in.Bool() ? in.Double() : x0 + (x3 - x0) * in.Parameter();
        const double x2 =
            in.Bool() ? x1 : (in.Bool() ? in.Double() : x0 + (x3 - x0) * in.Parameter());
        double average = 0.0;
        CRVFUZZ_CHECK(CRV_EvaluateYAverageFromXToX(record, x1, x2, &average) == 0);
        if (x1 == x2) {  // the value there
          double y = 0.0;
          CRV_EvaluateYFromX(record, x1, &y);
          CRVFUZZ_CHECK(SameValue(average, y));
        }
        // The bounds' order does not matter: both differences change sign, exactly (a zero
        // average may change its sign with them).
        double swapped = 0.0;
        CRVFUZZ_CHECK(CRV_EvaluateYAverageFromXToX(record, x2, x1, &swapped) == 0);
        CRVFUZZ_CHECK(average == swapped || (std::isnan(average) && std::isnan(swapped)));
        break;
      }
      case 9: crvfuzz::FillCurve(in, *curve); break;
      case 10:  // one coordinate edited, the rest kept
        curve->at(in.Byte() % 4, in.Byte() % 2) = in.Double();
        break;
      default:
        curve = std::make_unique<crvfuzz::Curve>(static_cast<int>(in.Int(2, 5)));
        crvfuzz::FillCurve(in, *curve);
        break;
    }
    ledger.CheckLocks();
  }
  ledger.CheckAll(0);
  return 0;
}
