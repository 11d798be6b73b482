// Curve fitting: one cubic or a chain, through up to a few hundred samples (past the 256 that
// move the least squares into a host handle) of any shape, coincident and non-finite samples
// included, with any bound, tangent counts and iteration counts, into new and reused lists, with
// host faults at random calls. The fitted ends are the end samples bit for bit, and a chain's
// lists agree with each other.
#include <cstdint>
#include <cstring>
#include <vector>

#include "crv/crv.h"
#include "fuzz/fuzz_input.h"

namespace {

using crvfuzz::Input;
using crvfuzz::SameValue;

// count samples of `dims` coordinates, as a run along a curve, a grid, a cloud or a repeat.
std::vector<double> Samples(Input& in, int dims, int32_t count) {
  std::vector<double> samples(static_cast<size_t>(count) * static_cast<size_t>(dims));
  switch (in.Byte() % 4) {
    case 0:  // anything, repeats and non-finite values included
      for (double& v : samples) v = in.Double();
      break;
    case 1: {  // points of a cubic with noise
      crvfuzz::Curve c(dims);
      crvfuzz::FillCurve(in, c);
      const double noise = in.Moderate() * 1e-3;
      for (int32_t i = 0; i < count; ++i) {
        const double t = count > 1 ? static_cast<double>(i) / (count - 1) : 0.0;
        CRV_EvaluatePoint(c.get(), t, &samples[static_cast<size_t>(i) * dims]);
        for (int k = 0; k < dims; ++k)
          samples[static_cast<size_t>(i) * dims + k] +=
              noise * (static_cast<int8_t>(in.Byte()) / 128.0);
      }
      break;
    }
    case 2:  // a coarse grid: coincident samples and straight runs
      for (double& v : samples) v = static_cast<int8_t>(in.Byte() & 0x8f) / 4.0;
      break;
    default:
      for (double& v : samples) v = in.Moderate();
      break;
  }
  return samples;
}

// Iteration counts: a few, or (for short runs only) the values around the signed 16-bit edge.
uint16_t Iterations(Input& in, int32_t count) {
  if (count <= 12 && in.Byte() % 4 == 0) {
    static const uint16_t kEdges[] = {32767, 32768, 65535, 40000};
    return kEdges[in.Byte() % 4];
  }
  return static_cast<uint16_t>(in.Byte() % 17);
}

double Bound(Input& in) {
  switch (in.Byte() % 4) {
    case 0: return in.Double();
    case 1: return 0.0;
    default: return std::fabs(in.Moderate());
  }
}

bool SamePoint(const double* a, const double* b, int dims) {
  for (int k = 0; k < dims; ++k)
    if (!SameValue(a[k], b[k])) return false;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const crvfuzz::Ledger ledger;
  {
    crvfuzz::Capability capability;
    crvfuzz::Faults faults;
    crvfuzz::List points, indices;

    for (int op = 0; op < 6 && !in.empty(); ++op) {
      capability.Select(in.Bool());
      // dims 2 and 3 are fitted; others (and fewer than 2 samples) are refused untouched.
      const uint8_t dimsByte = in.Byte();
      const int dims = dimsByte % 16 == 0 ? static_cast<int>(dimsByte / 16) - 4 : 2 + dimsByte % 2;
      const int32_t count = in.Byte() % 8 == 0 ? static_cast<int32_t>(in.Int(-2, 2))
                                               : static_cast<int32_t>(in.Int(2, 400));
      const int storedDims = dims > 0 ? dims : 1;
      const std::vector<double> samples = Samples(in, storedDims, count > 0 ? count : 0);
      const double bound = Bound(in);
      const uint16_t iterations = Iterations(in, count);
      const bool valid = (dims == 2 || dims == 3) && count >= 2;

      if (in.Bool()) {
        crvfuzz::Curve curve(dims);
        for (int i = 0; i < 4; ++i)
          for (int k = 0; k < dims; ++k) curve.at(i, k) = -7.0;
        const int32_t left = in.Byte() % 4 == 0 ? static_cast<int32_t>(in.U32()) : in.Byte() % 12;
        const int32_t right = in.Byte() % 4 == 0 ? static_cast<int32_t>(in.U32()) : in.Byte() % 12;
        double maxError = -7.0;
        const uint8_t form = in.Byte() % 3;
        faults.Arm(in);
        int32_t r;
        if (form == 0)
          r = CRV_FitOneCurveError(samples.data(), count, bound, left, right, iterations,
                                   in.Bool() ? &maxError : nullptr, curve.get());
        else if (form == 1)
          r = CRV_FitOneCurveIter(samples.data(), count, bound, iterations, left, curve.get());
        else
          r = CRV_FitOneCurve(samples.data(), count, bound, left, curve.get());
        faults.CheckResult(r);
        if (!valid) CRVFUZZ_CHECK(r == CRV_ErrBadRecord);
        if (r == 0) {  // the ends are the end samples
          for (int k = 0; k < dims; ++k) {
            CRVFUZZ_CHECK(SameValue(curve.at(0, k), samples[k]));
            CRVFUZZ_CHECK(
                SameValue(curve.at(3, k), samples[static_cast<size_t>(count - 1) * dims + k]));
          }
        } else if (!faults.armed()) {
          for (int i = 0; i < 4; ++i)  // a failure before the copy leaves the curve untouched
            for (int k = 0; k < dims; ++k) CRVFUZZ_CHECK(curve.at(i, k) == -7.0);
        }
      } else {
        const int32_t itemSize = 8 * (dims == 3 ? 3 : 2);
        if (in.Bool()) points.Prepare(in, itemSize, 20);
        const bool withIndices = in.Bool();
        if (withIndices && in.Bool()) indices.Prepare(in, 4, 20);
        const bool iterate = in.Bool();
        // A reused list must have the fit's item size; a list of the other size is replaced.
        if (valid && points.get() != nullptr) {
          int32_t size;
          std::memcpy(&size, static_cast<const char*>(*points.get()) + SEQ_BLOCK_ITEM_SIZE_OFFSET,
                      sizeof size);
          if (size != 8 * dims) points.Reset();
        }
        faults.Arm(in);
        const int32_t r =
            iterate ? CRV_FitMultipleCurvesIterate(samples.data(), static_cast<uint16_t>(dims),
                                                   count, bound, iterations, points.address(),
                                                   withIndices ? indices.address() : nullptr)
                    : CRV_FitMultipleCurves(samples.data(), static_cast<uint16_t>(dims), count,
                                            bound, points.address());
        faults.CheckResult(r);
        if (!valid) CRVFUZZ_CHECK(r == CRV_ErrBadRecord);
        if (r == 0) {
          // 3k + 1 points from sample 0 to the last sample; k + 1 rising indices from 0 to the
          // last sample; the segment ends are the samples at the indices.
          const int32_t n = points.count();
          CRVFUZZ_CHECK(n >= 4 && (n - 1) % 3 == 0);
          const auto point = [&](int32_t i) { return static_cast<const double*>(points.item(i)); };
          CRVFUZZ_CHECK(SamePoint(point(0), samples.data(), dims));
          CRVFUZZ_CHECK(
              SamePoint(point(n - 1), &samples[static_cast<size_t>(count - 1) * dims], dims));
          CRVFUZZ_CHECK(n - 1 <= 3 * (count - 1));
          if (iterate && withIndices) {
            const int32_t segments = (n - 1) / 3;
            CRVFUZZ_CHECK(indices.count() == segments + 1);
            int32_t previous = -1;
            for (int32_t j = 0; j <= segments; ++j) {
              int32_t index;
              std::memcpy(&index, indices.item(j), sizeof index);
              CRVFUZZ_CHECK(index > previous && index < count);
              CRVFUZZ_CHECK(
                  SamePoint(point(3 * j), &samples[static_cast<size_t>(index) * dims], dims));
              previous = index;
            }
            CRVFUZZ_CHECK(previous == count - 1);
          }
          // A bound that is never met leaves one segment per pair of samples.
          if (!(bound > 0.0)) CRVFUZZ_CHECK(n == 3 * (count - 1) + 1);
        }
      }
      ledger.CheckLocks();
    }
  }
  ledger.CheckAll(0);
  return 0;
}
