// Arc length: tables built, reused and looked up; splines built and looked up (also splines of
// arbitrary content, which the lookup must survive); evaluation by distance into new and reused
// lists at any start position. Host faults strike at random calls, and every list the target
// holds is inspected and disposed of at the end, when the host's live counts must be back.
#include <cstdint>
#include <cstring>

#include "crv/crv.h"
#include "fuzz/fuzz_input.h"

namespace {

using crvfuzz::Input;
using crvfuzz::SameValue;

struct Pair {
  double a, b;
};

Pair ItemOf(const crvfuzz::List& list, int32_t index) {
  Pair p;
  std::memcpy(&p, list.item(index), sizeof p);
  return p;
}

// The x-y control polygon's length, or infinity when it has none worth the name.
double PolygonLength(const crvfuzz::Curve& c) {
  double length = 0.0;
  for (int i = 0; i < 3; ++i) {
    const double dx = c.dims() >= 1 ? c.at(i + 1, 0) - c.at(i, 0) : 0.0;
    const double dy = c.dims() >= 2 ? c.at(i + 1, 1) - c.at(i, 1) : 0.0;
    length += std::sqrt(dx * dx + dy * dy);
  }
  return std::isfinite(length) ? length : std::numeric_limits<double>::infinity();
}

// The table's state as far as the target knows: a lookup needs no table or a whole one; a call
// that failed may leave a partly refilled one, which only a rebuild may touch.
enum class Table { kNone, kWhole, kPartial };

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const crvfuzz::Ledger ledger;
  {
    crvfuzz::Capability capability;
    crvfuzz::Faults faults;
    crvfuzz::List table, spline, points;
    Table tableState = Table::kNone;
    auto curve = std::make_unique<crvfuzz::Curve>(static_cast<int>(in.Int(0, 4)));
    crvfuzz::FillCurve(in, *curve);

    for (int op = 0; op < 24 && !in.empty(); ++op) {
      capability.Select(in.Bool());
      const CRV_Curve* record = curve->get();
      const bool lookupReady = tableState != Table::kPartial;
      switch (in.Byte() % 10) {
        case 0: {  // build or rebuild, into a new or a reused list of any content
          if (in.Byte() % 4 == 0) table.Prepare(in, 16, 300);
          const int32_t n = in.Byte() % 16 == 0
                                ? static_cast<int32_t>(in.Int(INT32_MIN, INT32_MIN + 3))
                                : static_cast<int32_t>(in.Int(-2, 2000));
          double length = -1.0;
          faults.Arm(in);
          const int32_t r = CRV_BuildArcTable(record, n, table.address(), &length);
          faults.CheckResult(r);
          // A curve that is not measured leaves the list's old items behind entry 0.
          const bool measured = record->dims == 2 || record->dims == 3;
          tableState = r == 0 && (measured || n <= 1) ? Table::kWhole : Table::kPartial;
          if (r != 0) break;
          CRVFUZZ_CHECK(table.count() == (n < 1 ? 1 : n));
          const Pair first = ItemOf(table, 0);
          CRVFUZZ_CHECK(first.a == 0.0 && first.b == 0.0);
          if (measured) CRVFUZZ_CHECK(SameValue(ItemOf(table, table.count() - 1).b, length));
          break;
        }
        case 1: {
          if (!lookupReady) break;
          double s = -1.0;
          const bool wasNull = table.get() == nullptr;
          faults.Arm(in);
          const int32_t r = CRV_SFromT(record, in.Parameter(),
                                       static_cast<int32_t>(in.Int(-2, 2000)), table.address(), &s);
          faults.CheckResult(r);
          if (wasNull && table.get() != nullptr)
            tableState = r == 0 ? Table::kWhole : Table::kPartial;
          break;
        }
        case 2:
        case 3: {
          if (!lookupReady) break;
          const double s = in.Bool() ? in.Double() : in.Moderate();
          const bool wasNull = table.get() == nullptr;
          const int32_t n = static_cast<int32_t>(in.Int(-2, 2000));
          faults.Arm(in);
          int32_t r;
          if (in.Bool()) {
            double t = -7.0;
            r = CRV_TFromS(record, s, n, table.address(), &t);
            if (r == 0 && (s < 0.0 || std::fabs(s) < 1e-10)) CRVFUZZ_CHECK(t == 0.0);
            if (r != 0) CRVFUZZ_CHECK(t == -7.0);
          } else {
            const int dims = record->dims > 0 ? record->dims : 0;
            std::unique_ptr<double[]> point(new double[dims]);
            r = CRV_EvaluatePointFromS(record, s, n, table.address(), point.get());
          }
          faults.CheckResult(r);
          if (wasNull && table.get() != nullptr)
            tableState = r == 0 ? Table::kWhole : Table::kPartial;
          break;
        }
        case 4: {
          if (in.Byte() % 4 == 0) spline.Prepare(in, 16, 40);
          const double bound = in.Bool() ? in.Double() : std::fabs(in.Moderate());
          double length = -1.0;
          faults.Arm(in);
          const int32_t r = CRV_BuildArcSpline(record, bound, spline.address(), &length);
          faults.CheckResult(r);
          if (record->dims != 2 && record->dims != 3) CRVFUZZ_CHECK(r == CRV_ErrBadRecord);
          if (r != 0) break;
          // 3m + 1 points ending at (1, L).
          CRVFUZZ_CHECK(spline.count() >= 4 && (spline.count() - 1) % 3 == 0);
          const Pair last = ItemOf(spline, spline.count() - 1);
          CRVFUZZ_CHECK(last.a == 1.0 && SameValue(last.b, length));
          break;
        }
        case 5:
        case 6: {  // a lookup on whatever spline the target holds, or an arbitrary list
          if (in.Byte() % 8 == 0) spline.Prepare(in, 16, 40);
          const double s = in.Bool() ? in.Double() : std::fabs(in.Moderate());
          const double bound = in.Bool() ? in.Double() : std::fabs(in.Moderate());
          const bool wasNull = spline.get() == nullptr;
          const int32_t count = spline.count();
          double t = -7.0;
          faults.Arm(in);
          const int32_t r = CRV_TFromSSpline(record, s, bound, spline.address(), &t);
          faults.CheckResult(r);
          if (!wasNull && count < 4) CRVFUZZ_CHECK(r == CRV_ErrBadRecord);
          if (r != 0) CRVFUZZ_CHECK(t == -7.0);
          if (r == 0 && (s < 0.0 || std::fabs(s) < 1e-10)) CRVFUZZ_CHECK(t == 0.0);
          break;
        }
        case 7: {
          if (in.Byte() % 2 == 0) points.Prepare(in, 16, 100);
          const double length = PolygonLength(*curve);
          double distance = in.Bool() ? in.Double() : in.Moderate();
          // About 40 L / |distance| points at most, plus the eighths every curve is cut into:
          // a short walk per input. Distances whose square is not positive, or tiny beside the
          // curve, and non-finite curves end at 2^20 + 1 points, which the stress tests cover.
          if (!std::isfinite(length)) break;
          if (!(std::fabs(distance) * 1000.0 >= length) || !(distance * distance > 0.0)) {
            distance = length / 64.0;
            if (!(distance * distance > 0.0)) distance = 1.0;
          }
          const int32_t before = points.count();
          const bool fresh = points.get() == nullptr;
          int32_t start;
          switch (in.Byte() % 4) {
            case 0: start = INT32_MIN; break;
            case 1: start = INT32_MAX; break;
            default: start = static_cast<int32_t>(in.Int(-3, before + 3)); break;
          }
          faults.Arm(in);
          const int32_t r = CRV_EvaluateByDistance(record, distance, start, points.address());
          faults.CheckResult(r);
          if (r != 0) break;
          // P0 at the clamped start, P3 last, both bit for bit (x, y; 0 where there is none).
          const int32_t at = fresh ? 0 : (start < 0 ? 0 : (start > before ? before : start));
          CRVFUZZ_CHECK(points.count() > at + 8 && points.count() - at <= (1 << 20) + 1);
          const Pair p0 = ItemOf(points, at), p3 = ItemOf(points, points.count() - 1);
          const int dims = record->dims;
          CRVFUZZ_CHECK(SameValue(p0.a, dims >= 1 ? curve->at(0, 0) : 0.0));
          CRVFUZZ_CHECK(SameValue(p0.b, dims >= 2 ? curve->at(0, 1) : 0.0));
          CRVFUZZ_CHECK(SameValue(p3.a, dims >= 1 ? curve->at(3, 0) : 0.0));
          CRVFUZZ_CHECK(SameValue(p3.b, dims >= 2 ? curve->at(3, 1) : 0.0));
          break;
        }
        case 8: crvfuzz::FillCurve(in, *curve); break;
        default:
          if (in.Bool()) {
            curve = std::make_unique<crvfuzz::Curve>(static_cast<int>(in.Int(0, 4)));
            crvfuzz::FillCurve(in, *curve);
          } else {  // the caller disposes of its table and starts again
            table.Reset();
            tableState = Table::kNone;
          }
          break;
      }
      ledger.CheckLocks();
    }
  }
  ledger.CheckAll(0);
  return 0;
}
