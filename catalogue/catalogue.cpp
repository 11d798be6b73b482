#include "catalogue/catalogue.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <utility>

#include "crv/crv.hpp"
#include "host/seq.h"
#include "host/hs.h"

namespace crvcat {

namespace {

constexpr int kCalls = 40;  // golden calls per row and path
constexpr unsigned kHost = kReachesHost, kPure = kAllocatesNothing;

using V2 = GEO_Vector2T<double>;
using V3 = GEO_Vector3T<double>;

uint64_t Fnv1a(const void* data, size_t size, uint64_t hash = 0xcbf29ce484222325ull) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 0x100000001b3ull;
  return hash;
}

uint64_t Bits(double v) {
  if (std::isnan(v)) return 0x7ff8000000000000ull;  // every NaN alike
  uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return bits;
}

std::string Hex(double v) {
  if (std::isnan(v)) return "nan";
  char text[24];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(Bits(v)));
  return text;
}

// Curves of several shapes: free, a function curve (time rising, handles inside the span),
// retracted handles (exact or off by a hair), collinear points, a coarse grid, one point.
Curve MakeCurve(Rng& rng, int dims, bool function = false) {
  Curve c(dims);
  const int shape = function && rng.Int(0, 9) < 7 ? 1 : rng.Int(0, 9);
  for (int k = 0; k < dims; ++k) {
    double p[4];
    switch (shape) {
      case 1:
        if (k == 0) {
          const double start = rng.Uniform(-10.0, 10.0), span = rng.Uniform(0.1, 50.0);
          p[0] = start;
          p[1] = start + span * rng.Unit();
          p[2] = start + span * rng.Unit();
          p[3] = start + span;
        } else {
          for (double& v : p) v = rng.Uniform(-50.0, 50.0);
        }
        break;
      case 2:
        p[0] = rng.Uniform(-100.0, 100.0);
        p[3] = rng.Uniform(-100.0, 100.0);
        p[1] = rng.OneIn(2) ? p[0] : p[0] + 1e-9;
        p[2] = rng.OneIn(2) ? p[3] : p[3] - 1e-9;
        break;
      case 3: {
        p[0] = rng.Uniform(-100.0, 100.0);
        p[3] = rng.Uniform(-100.0, 100.0);
        const double a = rng.Unit(), b = rng.Unit();
        p[1] = p[0] + (p[3] - p[0]) * a;
        p[2] = p[0] + (p[3] - p[0]) * b;
        break;
      }
      case 4: for (double& v : p) v = static_cast<double>(rng.Int(-4, 4)); break;
      case 5: p[0] = p[1] = p[2] = p[3] = rng.Uniform(-10.0, 10.0); break;
      default: for (double& v : p) v = rng.Uniform(-100.0, 100.0); break;
    }
    for (int i = 0; i < 4; ++i) c.at(i, k) = p[i];
  }
  return c;
}

template <int N, typename V>
CRV_CurveClass<N, V> MakeClass(Rng& rng) {
  Curve c = MakeCurve(rng, N);
  CRV_CurveClass<N, V> out;
  for (int i = 0; i < 4; ++i)
    for (int k = 0; k < N; ++k) (&out.points[i].x)[k] = c.at(i, k);
  return out;
}

// The control points of typed curves, one after another.
template <int N, typename V>
void AddClasses(Payload& p, std::initializer_list<const CRV_CurveClass<N, V>*> curves) {
  std::vector<double> coords;
  for (const CRV_CurveClass<N, V>* c : curves)
    for (const V& v : c->points) coords.insert(coords.end(), &v.x, &v.x + N);
  p.Values(coords);
}

// The control polygon's length: a scale for distances along a curve.
double PolygonLength(const Curve& c) {
  double length = 0.0;
  for (int i = 0; i < 3; ++i) {
    double sq = 0.0;
    for (int k = 0; k < c.dims(); ++k)
      sq += (c.at(i + 1, k) - c.at(i, k)) * (c.at(i + 1, k) - c.at(i, k));
    length += std::sqrt(sq);
  }
  return length;
}

// Dims of an evaluation: mostly 1 to 4, now and then an empty record.
int EvaluationDims(Rng& rng) { return rng.OneIn(16) ? rng.Int(-1, 0) : rng.Int(1, 4); }
size_t AtLeastOne(int n) { return n > 0 ? static_cast<size_t>(n) : 1; }

// Points along a noisy cubic, for the fits: uneven spacing, now and then a sample repeated.
std::vector<double> Samples(Rng& rng, int dims, int count) {
  Curve c = MakeCurve(rng, dims);
  const double noise = rng.OneIn(4) ? 0.0 : rng.Uniform(0.0, 2.0);
  std::vector<double> samples(static_cast<size_t>(count) * dims);
  for (int i = 0; i < count; ++i) {
    const double t = count > 1 ? (i + 0.3 * rng.Unit()) / count : 0.0;
    double* at = &samples[static_cast<size_t>(i) * dims];
    CRV_EvaluatePoint(c.get(), rng.OneIn(16) && i > 0 ? (i - 1 + 0.0) / count : t, at);
    for (int k = 0; k < dims; ++k) at[k] += noise * (rng.Unit() - 0.5);
  }
  return samples;
}

// The flatness callback a caller might write: halve to depth 2, then accept pieces whose chord
// is short against the curve's control polygon.
struct DepthCallback {
  double minChord;
  static int32_t Call(void* context, uint32_t depth, double, double, const double* p0,
                      const double* p1, const CRV_Curve*, bool* accept) {
    const auto* self = static_cast<DepthCallback*>(context);
    const double dx = p1[0] - p0[0], dy = p1[1] - p0[1];
    *accept = depth >= 9 || (depth >= 2 && std::sqrt(dx * dx + dy * dy) < self->minChord);
    return 0;
  }
};

// A typed evaluator that halves while the midpoint of a piece lies off its chord by more than a
// tolerance, to depth 7 at most; records every parameter it receives.
template <int N, typename V>
class ChordEvaluator : public CRV_CurveAdaptiveEvaluator<N, V> {
 public:
  explicit ChordEvaluator(double tolerance) : tolerance_(tolerance) {}
  bool NeedsSubdivision(uint32_t depth, double t0, double t1,
                        const CRV_CurveClass<N, V>& curve) override {
    if (depth >= 7) return false;
    double a[N], b[N], m[N];
    CRV_EvaluatePoint(curve.Curve(), t0, a);
    CRV_EvaluatePoint(curve.Curve(), t1, b);
    CRV_EvaluatePoint(curve.Curve(), (t0 + t1) * 0.5, m);
    double off = 0.0;
    for (int k = 0; k < N; ++k) off += ((a[k] + b[k]) * 0.5 - m[k]) * ((a[k] + b[k]) * 0.5 - m[k]);
    return off > tolerance_ * tolerance_;
  }
  void AddParameter(double t, const CRV_CurveClass<N, V>&) override { params.push_back(t); }
  std::vector<double> params;

 private:
  double tolerance_;
};

// A time (or value) around a function curve's span on coordinate k: mostly inside, sometimes
// before or after it, sometimes exactly at an end.
double Around(Rng& rng, const Curve& c, int k) {
  const double a = c.at(0, k), b = c.at(3, k);
  switch (rng.Int(0, 9)) {
    case 0: return a;
    case 1: return b;
    case 2: return a + (b - a) * rng.Uniform(-0.5, 0.0);
    case 3: return a + (b - a) * rng.Uniform(1.0, 1.5);
    default: return a + (b - a) * rng.Unit();
  }
}

// Arc-length curves: 2 or 3 dimensions, now and then one of the dimension counts that are not
// measured.
int ArcDims(Rng& rng) { return rng.OneIn(16) ? (rng.OneIn(2) ? 1 : 4) : rng.Int(2, 3); }

// A table for the lookups: none (the call builds one) or one built for this curve or another.
void PrepareTable(Rng& rng, Curve& c, List& table) {
  double length;
  switch (rng.Int(0, 3)) {
    case 0: return;
    case 1: {
      Curve other = MakeCurve(rng, c.dims() > 0 ? c.dims() : 2);
      CRV_BuildArcTable(other.get(), rng.Int(1, 40), table.address(), &length);
      return;
    }
    default: CRV_BuildArcTable(c.get(), rng.Int(1, 60), table.address(), &length); return;
  }
}

// Spline bounds are squared lengths: from far below to far above the curve's squared size.
double SplineBound(Rng& rng, const Curve& c) {
  const double size = PolygonLength(c);
  return rng.OneIn(16) ? 0.0 : size * size * std::ldexp(1.0, -rng.Int(4, 30));
}

// Sample counts of the fits: mostly short runs, some longer than the 256 rows kept on the stack.
int FitCount(Rng& rng) { return rng.OneIn(32) ? rng.Int(257, 320) : rng.Int(2, 40); }
double FitBound(Rng& rng) { return rng.OneIn(8) ? 0.0 : std::ldexp(1.0, -rng.Int(-4, 20)); }

CRV_LinearityParams Params(Rng& rng) {
  return {rng.OneIn(4) ? 0.0 : std::ldexp(1.0, -rng.Int(0, 12)),
          rng.OneIn(8) ? 0.0 : std::ldexp(1.0, -rng.Int(1, 20)),
          rng.OneIn(16) ? 0u : CRV_LINEARITY_CHECK_WORD, static_cast<uint32_t>(rng.Int(0, 3)),
          static_cast<uint32_t>(rng.Int(0, 8))};
}

// The flattening judge: the library's own test with drawn parameters, or a caller's callback.
struct Judge {
  explicit Judge(Rng& rng, const Curve& c)
      : params(Params(rng)), caller{PolygonLength(c) / 16.0}, own(rng.OneIn(4)) {}
  CRV_FlatnessFunc func() const {
    return own ? &DepthCallback::Call : reinterpret_cast<CRV_FlatnessFunc>(&CRV_IsLinearFunc);
  }
  void* context() { return own ? static_cast<void*>(&caller) : &params; }
  CRV_LinearityParams params;
  DepthCallback caller;
  bool own;
};

// The typed rows, for both dimensions.
template <int N, typename V>
void Split(Rng& rng, Payload& p) {
  const CRV_CurveClass<N, V> c = MakeClass<N, V>(rng);
  CRV_CurveClass<N, V> left, right;
  p.Do([&] { CRV_SubdivideCurve(c, rng.Parameter(), &left, &right); });
  AddClasses<N, V>(p, {&left, &right});
}

// Three parts: 0 <= t1 <= t2 <= 1, ends included.
template <int N, typename V>
void SplitThree(Rng& rng, Payload& p) {
  const CRV_CurveClass<N, V> c = MakeClass<N, V>(rng);
  double t1 = rng.OneIn(8) ? 1.0 : rng.Unit(), t2 = rng.OneIn(8) ? t1 : rng.Unit();
  if (t2 < t1) std::swap(t1, t2);
  CRV_CurveClass<N, V> a, b, d;
  p.Do([&] { CRV_SubdivideCurve(c, t1, t2, &a, &b, &d); });
  AddClasses<N, V>(p, {&a, &b, &d});
}

template <int N, typename V>
void Adaptively(Rng& rng, Payload& p) {
  const CRV_CurveClass<N, V> c = MakeClass<N, V>(rng);
  ChordEvaluator<N, V> evaluator(std::ldexp(1.0, -rng.Int(-4, 8)));
  const double t0 = rng.OneIn(2) ? 0.0 : rng.Unit(), t1 = rng.OneIn(2) ? 1.0 : rng.Unit();
  p.Do([&] { CRV_EvaluateAdaptively(t0, t1, c, &evaluator); });
  p.Values(evaluator.params);
}

using Single = int32_t (*)(const CRV_Curve*, double, double*);
using Many = int32_t (*)(const CRV_Curve*, double, double, int32_t, double*);
using Sampled = int32_t (*)(const CRV_Curve*, double, double, int16_t, double*);

// A point or derivative at a parameter.
std::function<void(Rng&, Payload&)> AtParameter(Single fn) {
  return [fn](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, EvaluationDims(rng));
    std::vector<double> out(AtLeastOne(c.dims()), -7.0);
    p.Call([&] { return fn(c.get(), rng.Parameter(), out.data()); }).Values(out);
  };
}

// Points or derivatives at even parameters.
std::function<void(Rng&, Payload&)> AtParameters(Many fn) {
  return [fn](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, EvaluationDims(rng));
    const int32_t n = rng.Int(-1, 40);
    const double t0 = rng.Parameter(), t1 = rng.OneIn(4) ? t0 : rng.Parameter();
    std::vector<double> out(AtLeastOne(n) * AtLeastOne(c.dims()), -7.0);
    p.Call([&] { return fn(c.get(), t0, t1, n, out.data()); }).Values(out);
  };
}

// A function curve's lookup of one value by coordinate k (0 by time, 1 by value).
std::function<void(Rng&, Payload&)> ByCoordinate(Single fn, int k) {
  return [fn, k](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    double out = -7.0;
    p.Call([&] { return fn(c.get(), Around(rng, c, k), &out); }).Value(out);
  };
}

// A function curve's lookups at even times.
std::function<void(Rng&, Payload&)> AtTimes(Sampled fn) {
  return [fn](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    const auto count = static_cast<int16_t>(rng.Int(-1, 24));
    std::vector<double> out(AtLeastOne(count), -7.0);
    const double x1 = Around(rng, c, 0), x2 = Around(rng, c, 0);
    p.Call([&] { return fn(c.get(), x1, x2, count, out.data()); }).Values(out);
  };
}

// An arc-length lookup through a table that is absent, built for the curve or for another.
template <typename F>
std::function<void(Rng&, Payload&)> ArcLookup(F lookup) {
  return [lookup](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, ArcDims(rng));
    List table;
    PrepareTable(rng, c, table);
    lookup(rng, p, c, table);
  };
}

// The single fits: with the error and the end tangents given (0), with iterations (1), plain (2).
std::function<void(Rng&, Payload&)> FitOne(int which) {
  return [which](Rng& rng, Payload& p) {
    Curve c(rng.Int(2, 3));
    const int count = FitCount(rng);
    const std::vector<double> samples = Samples(rng, c.dims(), count);
    double maxError = -7.0;
    const double bound = FitBound(rng);
    const int32_t left = which == 0 ? rng.Int(0, 6) : 0, right = which == 0 ? rng.Int(0, 6) : 0;
    const auto iterations = static_cast<uint16_t>(which < 2 ? rng.Int(0, 12) : 0);
    p.Call([&] {
      if (which == 0)
        return CRV_FitOneCurveError(samples.data(), count, bound, left, right, iterations,
                                    &maxError, c.get());
      if (which == 1)
        return CRV_FitOneCurveIter(samples.data(), count, bound, iterations, rng.Int(1, 4), c.get());
      return CRV_FitOneCurve(samples.data(), count, bound, rng.Int(1, 4), c.get());
    });
    if (which == 0) p.Value(maxError);
    p.Values(c.coords());
  };
}

std::vector<Row> MakeCatalogue() {
  std::vector<Row> rows = {
      {"CRV_G_zref", kPure, 1,
       [](Rng&, Payload& p) {
         const CRV_LStrTable* table = nullptr;
         p.Do([&] { table = CRV_G_zref; });
         uint64_t hash = Fnv1a(table->shortName, std::strlen(table->shortName));
         for (uint64_t i = 0; i + 1 < table->count; ++i)
           hash = Fnv1a(table->entries[i].text, std::strlen(table->entries[i].text), hash);
         p.Int(static_cast<int64_t>(table->count)).Int(static_cast<int64_t>(hash & 0xffffffff));
       }},
      {"CRV_Birth", kPure, 1, [](Rng&, Payload& p) { p.Call(CRV_Birth); }},
      {"CRV_Death", kPure, 1, [](Rng&, Payload& p) { p.Call(CRV_Death); }},
      // A host without memory: the handle is simply not there, and the call still reports 0.
      {"CRV_NewCurve", kHost | kGoesOnAfterFault, 1, [](Rng&, Payload& p) { p.Call(CRV_NewCurve); }},
      {"CRV_CurveSetCtpts", kPure, 1,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, 2);
         p.Call([&] {
           return rng.OneIn(2) ? CRV_CurveSetCtpts(nullptr, nullptr)
                               : CRV_CurveSetCtpts(c.get(), c.get()->ctpts);
         });
       }},
      {"CRV_DisposeCurve", kPure, 1,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, 2);
         p.Call([&] { return CRV_DisposeCurve(rng.OneIn(2) ? nullptr : c.get()); });
       }},
      {"CRV_EvaluateByCurvature", kPure, 1,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, 2);
         p.Call([&] { return CRV_EvaluateByCurvature(c.get(), rng.Unit(), nullptr); });
       }},
      {"CRV_EvaluatePoint", kPure, kCalls, AtParameter(CRV_EvaluatePoint)},
      {"CRV_EvaluateDeriv", kPure, kCalls, AtParameter(CRV_EvaluateDeriv)},
      {"CRV_EvaluateDeriv2", kPure, kCalls, AtParameter(CRV_EvaluateDeriv2)},
      {"CRV_EvaluatePoints", kPure, kCalls, AtParameters(CRV_EvaluatePoints)},
      {"CRV_EvaluateDerivs", kPure, kCalls, AtParameters(CRV_EvaluateDerivs)},
      {"CRV_EvaluateBounds", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, EvaluationDims(rng));
         std::vector<double> lo(AtLeastOne(c.dims()), -7.0), hi = lo;
         p.Call([&] { return CRV_EvaluateBounds(c.get(), lo.data(), hi.data()); }).Values(lo)
             .Values(hi);
       }},
      {"CRV_SubdivideCurve", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, EvaluationDims(rng));
         std::vector<double> out(5 * AtLeastOne(c.dims()), -7.0);
         p.Call([&] { return CRV_SubdivideCurve(c.get(), rng.Parameter(), out.data()); })
             .Values(out);
       }},
      {"CRV_SubdivideCurve<2>/1", kPure, kCalls, Split<2, V2>},
      {"CRV_SubdivideCurve<3>/1", kPure, kCalls, Split<3, V3>},
      // More calls: a cut of what is left after a cut at 1 takes its own branch 1 time in 8.
      {"CRV_SubdivideCurve<2>/2", kPure, 4 * kCalls, SplitThree<2, V2>},
      {"CRV_SubdivideCurve<3>/2", kPure, 4 * kCalls, SplitThree<3, V3>},
      {"CRV_DirectManipSetup", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         double w[4] = {-7.0, -7.0, -7.0, -7.0};
         p.Call([&] { return CRV_DirectManipSetup(rng.Parameter(), w); }).Values(w, 4);
       }},
      {"CRV_DirectManipCurve", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, rng.Int(1, 4));
         double w[4];
         CRV_DirectManipSetup(rng.Parameter(), w);
         std::vector<double> delta(c.dims());
         for (double& v : delta) v = rng.Uniform(-10.0, 10.0);
         p.Call([&] { return CRV_DirectManipCurve(c.get(), delta.data(), w); }).Values(c.coords());
       }},

      {"CRV_TFromX", kPure, kCalls, ByCoordinate(CRV_TFromX, 0)},
      {"CRV_TFromY", kPure, kCalls, ByCoordinate(CRV_TFromY, 1)},
      {"CRV_EvaluateYFromX", kPure, kCalls, ByCoordinate(CRV_EvaluateYFromX, 0)},
      {"CRV_EvaluateYFromXs", kPure, kCalls, AtTimes(CRV_EvaluateYFromXs)},
      {"CRV_EvaluateXFromY", kPure, kCalls, ByCoordinate(CRV_EvaluateXFromY, 1)},
      {"CRV_EvaluateXFromYPrime", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, rng.Int(2, 3), true);
         int32_t count = -7;
         double xs[2] = {-7.0, -7.0};
         p.Call([&] { return CRV_EvaluateXFromYPrime(c.get(), nullptr, &count, xs); }).Int(count)
             .Values(xs, 2);
       }},
      {"CRV_CurveSetNonDecreasing", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, rng.Int(2, 3), true);
         uint8_t changed = 7;
         p.Call([&] { return CRV_CurveSetNonDecreasing(c.get(), &changed); }).Int(changed)
             .Values(c.coords());
       }},
      {"CRV_Evaluate1dDerivFromX", kPure, kCalls, ByCoordinate(CRV_Evaluate1dDerivFromX, 0)},
      {"CRV_Evaluate1dDeriv2FromX", kPure, kCalls, ByCoordinate(CRV_Evaluate1dDeriv2FromX, 0)},
      {"CRV_Evaluate1dDerivsFromX", kPure, kCalls, AtTimes(CRV_Evaluate1dDerivsFromX)},
      {"CRV_EvaluateYAverageFromXToX", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, rng.Int(2, 3), true);
         const double x1 = Around(rng, c, 0), x2 = rng.OneIn(8) ? x1 : Around(rng, c, 0);
         double average = -7.0;
         p.Call([&] { return CRV_EvaluateYAverageFromXToX(c.get(), x1, x2, &average); })
             .Value(average);
       }},

      {"CRV_BuildArcTable", kHost, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, ArcDims(rng));
         List table;
         if (rng.OneIn(3)) table.Fill(16, rng.Int(0, 80));
         double length = -7.0;
         p.Call([&] { return CRV_BuildArcTable(c.get(), rng.Int(-1, 64), table.address(), &length); })
             .Value(length).Values(table.Doubles());
       }},
      // s from t interpolates between entries read in place under the lock; the entry below is
      // the one before in the block whatever the host answers for its address.
      {"CRV_SFromT", kHost | kGoesOnAfterFault, kCalls,
       ArcLookup([](Rng& rng, Payload& p, Curve& c, List& table) {
         double s = -7.0;
         const double t = rng.Parameter();
         p.Call([&] { return CRV_SFromT(c.get(), t, rng.Int(1, 64), table.address(), &s); })
             .Value(s);
       })},
      {"CRV_TFromS", kHost | kKeepsOutputsOnFault, kCalls,
       ArcLookup([](Rng& rng, Payload& p, Curve& c, List& table) {
         double t = -7.0;
         const double s = PolygonLength(c) * rng.Uniform(-0.1, 1.1);
         p.Call([&] { return CRV_TFromS(c.get(), s, rng.Int(1, 64), table.address(), &t); })
             .Value(t);
       })},
      {"CRV_EvaluatePointFromS", kHost | kKeepsOutputsOnFault, kCalls,
       ArcLookup([](Rng& rng, Payload& p, Curve& c, List& table) {
         std::vector<double> point(c.dims(), -7.0);
         const double s = PolygonLength(c) * rng.Uniform(-0.1, 1.1);
         p.Call([&] {
            return CRV_EvaluatePointFromS(c.get(), s, rng.Int(1, 64), table.address(),
                                          point.data());
          }).Values(point);
       })},
      {"CRV_BuildArcSpline", kHost, kCalls / 2,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, ArcDims(rng));
         List spline;
         if (rng.OneIn(3)) spline.Fill(16, rng.Int(0, 20));
         double length = -7.0;
         p.Call([&] {
            return CRV_BuildArcSpline(c.get(), SplineBound(rng, c), spline.address(), &length);
          }).Value(length).Values(spline.Doubles());
       }},
      {"CRV_TFromSSpline", kHost | kKeepsOutputsOnFault, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, ArcDims(rng));
         List spline;
         const double b = SplineBound(rng, c);
         double length, t = -7.0;
         if (rng.OneIn(2)) CRV_BuildArcSpline(c.get(), b, spline.address(), &length);
         const double s = PolygonLength(c) * rng.Uniform(-0.1, 1.1);
         p.Call([&] { return CRV_TFromSSpline(c.get(), s, b, spline.address(), &t); }).Value(t);
       }},
      {"CRV_EvaluateByDistance", kHost, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, rng.OneIn(16) ? 1 : rng.Int(2, 3));
         List list;
         const int32_t held = rng.OneIn(2) ? rng.Int(0, 30) : -1;
         if (held >= 0) list.Fill(16, held);
         const double length = PolygonLength(c);
         const double distance = length > 0.0 ? length / rng.Uniform(2.0, 64.0) : 1.0;
         p.Call([&] {
            return CRV_EvaluateByDistance(c.get(), distance, rng.Int(-2, held + (held < 0) + 2),
                                          list.address());
          }).Values(list.Doubles());
       }},

      {"CRV_FitOneCurveError", kHost, kCalls, FitOne(0)},
      {"CRV_FitOneCurveIter", kHost, kCalls, FitOne(1)},
      {"CRV_FitOneCurve", kHost, kCalls, FitOne(2)},
      {"CRV_FitMultipleCurvesIterate", kHost, kCalls,
       [](Rng& rng, Payload& p) {
         const int dims = rng.Int(2, 3);
         const int count = rng.OneIn(32) ? rng.Int(257, 300) : rng.Int(2, 60);
         const std::vector<double> samples = Samples(rng, dims, count);
         List points, indices;
         if (rng.OneIn(3)) points.Fill(8 * dims, rng.Int(0, 10));
         if (rng.OneIn(3)) indices.Fill(4, rng.Int(0, 10));
         const double bound = FitBound(rng);
         p.Call([&] {
            return CRV_FitMultipleCurvesIterate(samples.data(), static_cast<uint16_t>(dims), count,
                                                bound, static_cast<uint16_t>(rng.Int(0, 8)),
                                                points.address(), indices.address());
          }).Values(points.Doubles()).Values(indices.Doubles());
       }},
      {"CRV_FitMultipleCurves", kHost, kCalls,
       [](Rng& rng, Payload& p) {
         const int dims = rng.Int(2, 3);
         const int count = rng.Int(2, 60);
         const std::vector<double> samples = Samples(rng, dims, count);
         List points;
         if (rng.OneIn(3)) points.Fill(8 * dims, rng.Int(0, 10));
         p.Call([&] {
            return CRV_FitMultipleCurves(samples.data(), static_cast<uint16_t>(dims), count,
                                         FitBound(rng), points.address());
          }).Values(points.Doubles());
       }},

      {"CRV_IsCurveLinear", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         double a[2], b[2], u[2], v[2];
         for (double* q : {a, b, u, v}) q[0] = rng.Uniform(-10, 10), q[1] = rng.Uniform(-10, 10);
         if (rng.OneIn(3))
           u[0] = (b[0] - a[0]) * 2.0, u[1] = (b[1] - a[1]) * 2.0 + rng.Uniform(-1e-3, 1e-3);
         if (rng.OneIn(3)) v[0] = b[0] - a[0], v[1] = b[1] - a[1];
         if (rng.OneIn(8)) u[0] = u[1] = 0.0;
         bool out = false;
         const double minChordSq = rng.OneIn(2) ? 0.0 : rng.Uniform(0.0, 50.0);
         p.Call([&] {
            return CRV_IsCurveLinear(a, b, u, v, minChordSq, std::ldexp(1.0, -rng.Int(0, 30)),
                                     &out);
          }).Int(out);
       }},
      {"CRV_IsSubCurveLinear", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, rng.Int(2, 3));
         bool out = false;
         const double t0 = rng.Unit(), t1 = rng.Unit();
         const double minChordSq = rng.OneIn(2) ? 0.0 : rng.Uniform(0.0, 10.0);
         p.Call([&] {
            return CRV_IsSubCurveLinear(t0, t1, c.get(), minChordSq,
                                        std::ldexp(1.0, -rng.Int(0, 30)), &out);
          }).Int(out);
       }},
      {"CRV_IsLinearFunc", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, 2);
         const CRV_LinearityParams params = Params(rng);
         bool out = true;
         const double t0 = rng.Unit(), t1 = rng.Unit();
         const CRV_LinearityParams* given = rng.OneIn(16) ? nullptr : &params;
         p.Call([&] {
            return CRV_IsLinearFunc(given, static_cast<uint32_t>(rng.Int(0, 10)), t0, t1, nullptr,
                                    nullptr, c.get(), &out);
          }).Int(out);
       }},
      {"CRV_EvaluateAdaptively", kHost, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, rng.Int(2, 3), true);
         Judge judge(rng, c);
         const double xLow = Around(rng, c, 0), xHigh = Around(rng, c, 0);
         const int clip = rng.Int(0, 3);
         List list;
         list.Fill(16, rng.Int(0, 3));
         bool have = false;
         double lo = -7.0, hi = -7.0;
         const bool tracked = !rng.OneIn(4);
         p.Call([&] {
            return CRV_EvaluateAdaptively(judge.func(), judge.context(),
                                          (clip & 1) ? &xLow : nullptr,
                                          (clip & 2) ? &xHigh : nullptr, c.get(),
                                          tracked ? &have : nullptr, tracked ? &lo : nullptr,
                                          tracked ? &hi : nullptr, list.address());
          }).Int(have).Value(lo).Value(hi).Values(list.Doubles());
       }},
      {"CRV_LinearlyInterpolateCurve", kHost, kCalls,
       [](Rng& rng, Payload& p) {
         Curve c = MakeCurve(rng, rng.Int(2, 3), true);
         Judge judge(rng, c);
         const double xA = Around(rng, c, 0), xB = rng.OneIn(8) ? xA : Around(rng, c, 0);
         List list;
         list.Fill(16, rng.Int(0, 3));
         bool have = rng.OneIn(2);
         double lo = 0.0, hi = 1.0;
         p.Call([&] {
            return CRV_LinearlyInterpolateCurve(judge.func(), judge.context(), xA, xB, c.get(),
                                                &have, &lo, &hi, list.address());
          }).Int(have).Value(lo).Value(hi).Values(list.Doubles());
       }},
      {"CRV_LinearlyInterpolateLine", kHost, kCalls,
       [](Rng& rng, Payload& p) {
         double a[2] = {rng.Uniform(-10.0, 10.0), rng.Uniform(-10.0, 10.0)};
         double b[2] = {a[0] + rng.Uniform(rng.OneIn(8) ? -1.0 : 0.0, 10.0),
                        rng.Uniform(-10.0, 10.0)};
         double q[2] = {rng.Uniform(-10.0, 10.0), rng.Uniform(-10.0, 10.0)};
         List list;
         list.Fill(16, rng.Int(0, 2));
         bool have = rng.OneIn(2);
         double lo = 0.0, hi = 1.0;
         const double x = rng.OneIn(8) ? a[0] : a[0] + (b[0] - a[0]) * rng.Uniform(-0.2, 1.2);
         p.Call([&] {
            return CRV_LinearlyInterpolateLine(x, a, b, q, &have, list.address(), &lo, &hi);
          }).Int(have).Value(lo).Value(hi).Values(list.Doubles());
       }},
      {"CRV_EvaluateAdaptively<2>", 0, kCalls, Adaptively<2, V2>},
      {"CRV_EvaluateAdaptively<3>", 0, kCalls, Adaptively<3, V3>},
      // A failed transform is thrown as an int.
      {"CRV_3DScreenCurveAdaptiveEvaluator", kHost, kCalls / 2,
       [](Rng& rng, Payload& p) {
         CRV_CurveClass3D c = MakeClass<3, V3>(rng);
         // A camera looking down z from in front of the curve: w = z + distance stays positive.
         GEO_Matrix4 m{};
         m.m[0][0] = m.m[1][1] = rng.Uniform(100.0, 1000.0);
         m.m[0][1] = rng.Uniform(-50.0, 50.0);
         m.m[2][2] = 1.0;
         m.m[3][2] = rng.OneIn(4) ? 0.0 : 1.0;  // an affine projection now and then
         m.m[3][3] = rng.Uniform(150.0, 400.0);
         // Cubics already in the vector stay in front of the new ones.
         std::vector<CRV_CurveClass2D> out;
         if (rng.OneIn(2)) out.push_back(CRV_CurveClass2D({1, 2}, {3, 4}, {5, 6}, {7, 8}));
         p.Call([&] {
           try {
             CRV_3DScreenCurveAdaptiveEvaluator(
                 rng.OneIn(8) ? 0.0 : std::ldexp(1.0, -rng.Int(-2, 10)), m, c, &out);
           } catch (int thrown) {
             return thrown;
           }
           return 0;
         });
         std::vector<double> coords;
         for (const CRV_CurveClass2D& q : out)
           for (const V2& v : q.points) coords.insert(coords.end(), {v.x, v.y});
         p.Int(static_cast<int64_t>(out.size())).Values(coords);
       }},
      {"CRV_NearestPointOnCurve", kPure, kCalls,
       [](Rng& rng, Payload& p) {
         const CRV_CurveClass2D c = MakeClass<2, V2>(rng);
         V2 q{rng.Uniform(-150.0, 150.0), rng.Uniform(-150.0, 150.0)};
         if (rng.OneIn(16)) q = c.points[rng.Int(0, 3)];
         double t = -7.0;
         p.Do([&] { t = CRV_NearestPointOnCurve(q, c); });
         p.Value(t);
       }},
      {"CRV_IntersectPlane", 0, kCalls,
       [](Rng& rng, Payload& p) {
         const CRV_CurveClass3D c = MakeClass<3, V3>(rng);
         // A plane through a point near the curve: through a control point now and then, or
         // containing the whole curve when it is flat.
         const V3 at = rng.OneIn(4) ? c.points[rng.Int(0, 3)]
                                    : V3{rng.Uniform(-100.0, 100.0), rng.Uniform(-100.0, 100.0),
                                         rng.Uniform(-100.0, 100.0)};
         const double a = rng.Uniform(-1.0, 1.0), b = rng.Uniform(-1.0, 1.0);
         const double cz = rng.Uniform(-1.0, 1.0);
         const GEO_PlaneEq plane{a, b, cz, -(a * at.x + b * at.y + cz * at.z)};
         std::vector<double> result;
         if (rng.OneIn(4)) result = {0.25, 2.0};
         p.Do([&] { CRV_IntersectPlane(c, plane, &result); });
         p.Values(result);
       }},
  };
  return rows;
}

}  // namespace

Curve::Curve(int dims, std::vector<double> coords) : Curve(dims) {
  if (coords.size() != coords_.size()) throw std::logic_error("a curve needs 4 * dims coordinates");
  coords_ = std::move(coords);
  Bind();
}

std::vector<double> Curve::Point(int i) const {
  return {coords_.begin() + i * dims(), coords_.begin() + (i + 1) * dims()};
}

CRV_CurveClass2D Curve::As2D() const {
  CRV_CurveClass2D c;
  for (int i = 0; i < 4; ++i) c.points[i] = {at(i, 0), at(i, 1)};
  return c;
}

CRV_CurveClass3D Curve::As3D() const {
  CRV_CurveClass3D c;
  for (int i = 0; i < 4; ++i) c.points[i] = {at(i, 0), at(i, 1), at(i, 2)};
  return c;
}

Curve::Curve(std::initializer_list<double> p0, std::initializer_list<double> p1,
             std::initializer_list<double> p2, std::initializer_list<double> p3)
    : Curve(static_cast<int>(p0.size())) {
  int i = 0;
  for (auto point : {p0, p1, p2, p3}) std::copy(point.begin(), point.end(), &at(i++, 0));
}

void List::Dispose() {
  if (handle != nullptr) SEQ_Dispose(handle, 0);
  handle = nullptr;
}

void List::Fill(int32_t itemSize, int32_t count) {
  SEQ_New(0, itemSize, 8, 1, &handle);
  std::vector<unsigned char> item(static_cast<size_t>(itemSize));
  for (int32_t i = 0; i < count; ++i) {
    for (size_t b = 0; b + sizeof(double) <= item.size(); b += sizeof(double)) {
      const double v = 1000.0 + i + static_cast<double>(b);
      std::memcpy(&item[b], &v, sizeof v);
    }
    if (itemSize == 4) std::memcpy(item.data(), &i, sizeof i);
    SEQ_Insert(item.data(), -1, handle);
  }
}

int32_t List::Count() const {
  int32_t count = 0;
  if (handle != nullptr)
    std::memcpy(&count, static_cast<const char*>(*handle) + SEQ_BLOCK_COUNT_OFFSET, sizeof count);
  return count;
}

std::vector<double> List::Doubles() const {
  if (handle == nullptr) return {};
  const int32_t count = Count();
  int32_t size;
  const char* block = static_cast<const char*>(*handle);
  std::memcpy(&size, block + SEQ_BLOCK_ITEM_SIZE_OFFSET, sizeof size);
  std::vector<double> out;
  for (int32_t i = 0; i < count; ++i) {
    const char* item = block + SEQ_BLOCK_ITEMS_OFFSET + static_cast<size_t>(i) * size;
    if (size == 4) {
      int32_t index;
      std::memcpy(&index, item, sizeof index);
      out.push_back(index);
    }
    for (int32_t b = 0; b + 8 <= size; b += 8) {
      double v;
      std::memcpy(&v, item + b, sizeof v);
      out.push_back(v);
    }
  }
  return out;
}

CapabilityPath::CapabilityPath(int32_t paired) : saved_(HS_G_CPU_DataP) {
  record_[3] = paired;
  HS_G_CPU_DataP = record_;
}

CapabilityPath::~CapabilityPath() { HS_G_CPU_DataP = saved_; }

uint64_t Rng::Next() {
  if (data_ != nullptr) {  // the fuzzer's bytes, eight a number, then zeros
    uint64_t v = 0;
    for (int b = 0; b < 8; ++b) v = v << 8 | (pos_ < size_ ? data_[pos_++] : 0);
    return v;
  }
  uint64_t z = (state_ += 0x9e3779b97f4a7c15ull);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
  return z ^ (z >> 31);
}

double Rng::Unit() {
  const uint64_t n = Next();
  if (data_ != nullptr && (n & 0xff) == 0xff) {
    static constexpr double kHostile[] = {
        std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), 0x1p-1074, -0.0, 1e300, -1e300, 1e-300,
        1.0 - 0x1p-53, 1e-10, 1.0 + 1e-10, 0x1p-60};
    return kHostile[(n >> 8) % std::size(kHostile)];
  }
  return static_cast<double>(n >> 11) * 0x1p-53;
}

double Rng::Parameter() {
  switch (Int(0, 9)) {
    case 0: return 0.0;
    case 1: return 1.0;
    case 2: return 0.5;
    case 3: return Uniform(-0.5, 1.5);
    default: return Unit();
  }
}

Payload& Payload::Value(double v) { return Word(Hex(v)); }

Payload& Payload::Values(const double* v, size_t n) {
  if (full_ || n <= 4) {
    for (size_t i = 0; i < n; ++i) Value(v[i]);
    return *this;
  }
  uint64_t hash = 0xcbf29ce484222325ull, bits;
  for (size_t i = 0; i < n; ++i) hash = Fnv1a(&(bits = Bits(v[i])), sizeof bits, hash);
  char text[64];
  std::snprintf(text, sizeof text, "[%zu:%016llx]", n, static_cast<unsigned long long>(hash));
  return Word(text);
}

Payload& Payload::Values(const std::vector<double>& v) {
  return v.empty() ? Word("[]") : Values(v.data(), v.size());
}

Payload& Payload::Word(const std::string& w) {
  text_ += (text_.empty() ? "" : " ") + w;
  return *this;
}

Rng Row::Seeded() const { return Rng(Fnv1a(name.data(), name.size())); }

const std::vector<Row>& Catalogue() {
  static const std::vector<Row> rows = MakeCatalogue();
  return rows;
}

std::string RunCall(const Row& row, Rng& rng, Hook& hook, bool full) {
  Payload p(full, hook);
  row.body(rng, p);
  return p.str();
}

std::vector<std::string> RunPath(bool full) {
  Hook none;
  std::vector<std::string> lines;
  for (const Row& row : Catalogue()) {
    Rng rng = row.Seeded();
    for (int i = 0; i < row.calls; ++i)
      lines.push_back(row.name + " " + std::to_string(i) + " " + RunCall(row, rng, none, full));
  }
  return lines;
}

std::vector<std::string> MergePaths(const std::vector<std::string>& scalar,
                                    const std::vector<std::string>& paired) {
  std::vector<std::string> table = {
      "# CRV reference outputs: every row of the catalogue of exports",
      "# (catalogue/catalogue.cpp) called on fixed seeded inputs; crv selftest checks a build",
      "# against them. <row> <call> <result code and outputs, scalar path>[ | <the same, paired>]",
      "# Doubles as 16 hex digits of their bits (NaN as nan); arrays of more than four as",
      "# [length:FNV-1a hash of their bits] (crv selftest --print --full prints them). Regenerate",
      "# with crv selftest --print > catalogue/golden.txt only for a change that means to alter",
      "# results, and say why in its commit."};
  for (size_t i = 0; i < scalar.size() && i < paired.size(); ++i) {
    // Both lines start with the same "<row> <call> "; only the payloads may differ.
    const size_t head = scalar[i].find(' ', scalar[i].find(' ') + 1) + 1;
    const std::string payload = paired[i].substr(head);
    table.push_back(payload == scalar[i].substr(head) ? scalar[i] : scalar[i] + " | " + payload);
  }
  return table;
}

std::vector<std::string> GoldenTable(bool full) {
  std::vector<std::string> paths[2];
  for (int32_t paired : {0, 1}) {
    const CapabilityPath record(paired);
    paths[paired] = RunPath(full);
  }
  return MergePaths(paths[0], paths[1]);
}

bool HasPairedPath() {
#if defined(__x86_64__) || defined(__i386__)
  return __builtin_cpu_supports("sse3");
#else
  return true;  // elsewhere the paired path is its scalar emulation
#endif
}

}  // namespace crvcat
