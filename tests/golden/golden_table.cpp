#include "golden/golden_table.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "crv/crv.hpp"
#include "host/geo.h"
#include "host/hs.h"
#include "host/seq.h"

namespace crvgolden {

namespace {

constexpr int kCalls = 256;  // calls per export and path

// SplitMix64: the same numbers from every compiler and library (the standard distributions are
// not pinned across implementations). Doubles take the top 53 bits, exact in [0, 1). Draws are
// never two arguments of one call: the order in which a call's arguments are evaluated is the
// compiler's choice (gcc and clang choose differently).
class Rng {
 public:
  explicit Rng(uint64_t seed) : state_(seed) {}
  uint64_t Next() {
    uint64_t z = (state_ += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
  }
  double Unit() { return static_cast<double>(Next() >> 11) * 0x1p-53; }
  double Uniform(double lo, double hi) { return lo + (hi - lo) * Unit(); }
  int Int(int lo, int hi) {
    return lo + static_cast<int>(Next() % static_cast<uint64_t>(hi - lo + 1));
  }
  bool OneIn(int n) { return Next() % static_cast<uint64_t>(n) == 0; }
  // A parameter: mostly inside [0, 1], sometimes an end or the middle, sometimes outside.
  double Parameter() {
    switch (Int(0, 9)) {
      case 0: return 0.0;
      case 1: return 1.0;
      case 2: return 0.5;
      case 3: return Uniform(-0.5, 1.5);
      default: return Unit();
    }
  }

 private:
  uint64_t state_;
};

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

// One call's payload: its result code and outputs.
class Payload {
 public:
  explicit Payload(bool full) : full_(full) {}
  Payload& Code(int32_t code) { return Word(std::to_string(code)); }
  Payload& Int(int64_t v) { return Word(std::to_string(v)); }
  Payload& Value(double v) { return Word(Hex(v)); }
  Payload& Values(const double* v, size_t n) {
    if (full_ || n <= static_cast<size_t>(kShownValues)) {
      for (size_t i = 0; i < n; ++i) Value(v[i]);
      return *this;
    }
    uint64_t hash = 0xcbf29ce484222325ull;
    for (size_t i = 0; i < n; ++i) {
      const uint64_t bits = Bits(v[i]);
      hash = Fnv1a(&bits, sizeof bits, hash);
    }
    char text[64];
    std::snprintf(text, sizeof text, "[%zu:%016llx]", n, static_cast<unsigned long long>(hash));
    return Word(text);
  }
  Payload& Values(const std::vector<double>& v) {
    if (v.empty()) return Word("[]");
    return Values(v.data(), v.size());
  }
  const std::string& str() const { return text_; }

 private:
  Payload& Word(const std::string& w) {
    if (!text_.empty()) text_ += ' ';
    text_ += w;
    return *this;
  }
  bool full_;
  std::string text_;
};

// A curve record owning its coordinates.
class Curve {
 public:
  explicit Curve(int dims) : coords_(4 * static_cast<size_t>(dims > 0 ? dims : 0)) {
    record_.dims = static_cast<int16_t>(dims);
    for (int i = 0; i < 4; ++i) record_.ctpts[i] = coords_.data() + i * (dims > 0 ? dims : 0);
  }
  Curve(const Curve& other) : Curve(other.dims()) { coords_ = other.coords_; }
  Curve& operator=(const Curve&) = delete;
  int dims() const { return record_.dims; }
  double& at(int i, int k) { return coords_[static_cast<size_t>(i * dims() + k)]; }
  double at(int i, int k) const { return coords_[static_cast<size_t>(i * dims() + k)]; }
  CRV_Curve* get() { return &record_; }
  const std::vector<double>& coords() const { return coords_; }

 private:
  std::vector<double> coords_;
  CRV_Curve record_{};
};

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
      case 4:
        for (double& v : p) v = static_cast<double>(rng.Int(-4, 4));
        break;
      case 5: p[0] = p[1] = p[2] = p[3] = rng.Uniform(-10.0, 10.0); break;
      default:
        for (double& v : p) v = rng.Uniform(-100.0, 100.0);
        break;
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

// The x-y control polygon's length: a scale for distances along a curve.
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

// A host list of the caller's, disposed of after the call.
class List {
 public:
  List() = default;
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  ~List() {
    if (handle_ != nullptr) SEQ_Dispose(handle_, 0);
  }
  SEQ_ListH* address() { return &handle_; }
  // An existing list of `count` items of `itemSize` bytes, the doubles in them numbered.
  void Fill(int32_t itemSize, int32_t count) {
    SEQ_New(0, itemSize, 8, 1, &handle_);
    std::vector<unsigned char> item(static_cast<size_t>(itemSize));
    for (int32_t i = 0; i < count; ++i) {
      for (size_t b = 0; b + sizeof(double) <= item.size(); b += sizeof(double)) {
        const double v = 1000.0 + i + static_cast<double>(b);
        std::memcpy(&item[b], &v, sizeof v);
      }
      if (itemSize == 4) std::memcpy(item.data(), &i, sizeof i);
      SEQ_Insert(item.data(), -1, handle_);
    }
  }
  // The items read as doubles (item size a multiple of 8), or as int32_t indices.
  std::vector<double> Doubles() const {
    if (handle_ == nullptr) return {};
    int32_t count, size;
    const char* block = static_cast<const char*>(*handle_);
    std::memcpy(&count, block + SEQ_BLOCK_COUNT_OFFSET, sizeof count);
    std::memcpy(&size, block + SEQ_BLOCK_ITEM_SIZE_OFFSET, sizeof size);
    std::vector<double> out;
    for (int32_t i = 0; i < count; ++i) {
      const char* item = block + SEQ_BLOCK_ITEMS_OFFSET + static_cast<size_t>(i) * size;
      if (size == 4) {
        int32_t index;
        std::memcpy(&index, item, sizeof index);
        out.push_back(index);
        continue;
      }
      for (int32_t b = 0; b + 8 <= size; b += 8) {
        double v;
        std::memcpy(&v, item + b, sizeof v);
        out.push_back(v);
      }
    }
    return out;
  }

 private:
  SEQ_ListH handle_ = nullptr;
};

// Dims of an evaluation: mostly 1 to 4, now and then an empty record.
int EvaluationDims(Rng& rng) { return rng.OneIn(16) ? rng.Int(-1, 0) : rng.Int(1, 4); }

// Points along a noisy cubic, for the fits.
std::vector<double> Samples(Rng& rng, int dims, int count) {
  Curve c = MakeCurve(rng, dims);
  const double noise = rng.OneIn(4) ? 0.0 : rng.Uniform(0.0, 2.0);
  std::vector<double> samples(static_cast<size_t>(count) * dims);
  for (int i = 0; i < count; ++i) {
    // Uneven spacing, and now and then a sample repeated.
    const double t = count > 1 ? (i + 0.3 * rng.Unit()) / count : 0.0;
    CRV_EvaluatePoint(c.get(), rng.OneIn(16) && i > 0 ? (i - 1 + 0.0) / count : t,
                      &samples[static_cast<size_t>(i) * dims]);
    for (int k = 0; k < dims; ++k)
      samples[static_cast<size_t>(i) * dims + k] += noise * (rng.Unit() - 0.5);
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

// Runs `body` kCalls times with a generator seeded from the export's name, adding one line each.
class Recorder {
 public:
  explicit Recorder(bool full) : full_(full) {}
  void Run(const std::string& name, const std::function<void(Rng&, Payload&)>& body,
           int calls = kCalls) {
    Rng rng(Fnv1a(name.data(), name.size()));
    for (int i = 0; i < calls; ++i) {
      Payload p(full_);
      body(rng, p);
      lines_.push_back(name + " " + std::to_string(i) + " " + p.str());
    }
  }
  std::vector<std::string>& lines() { return lines_; }

 private:
  bool full_;
  std::vector<std::string> lines_;
};

void FrameAndEvaluation(Recorder& r) {
  r.Run(
      "CRV_G_zref",
      [](Rng&, Payload& p) {
        const CRV_LStrTable* table = CRV_G_zref;
        uint64_t hash = Fnv1a(table->shortName, std::strlen(table->shortName));
        for (uint64_t i = 0; i + 1 < table->count; ++i)
          hash = Fnv1a(table->entries[i].text, std::strlen(table->entries[i].text), hash);
        p.Int(static_cast<int64_t>(table->count)).Int(static_cast<int64_t>(hash & 0xffffffff));
      },
      1);
  r.Run("CRV_Birth", [](Rng&, Payload& p) { p.Code(CRV_Birth()); });
  r.Run("CRV_Death", [](Rng&, Payload& p) { p.Code(CRV_Death()); });
  r.Run("CRV_NewCurve", [](Rng&, Payload& p) { p.Code(CRV_NewCurve()); });
  r.Run("CRV_CurveSetCtpts", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, 2);
    p.Code(rng.OneIn(2) ? CRV_CurveSetCtpts(nullptr, nullptr)
                        : CRV_CurveSetCtpts(c.get(), c.get()->ctpts));
  });
  r.Run("CRV_DisposeCurve", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, 2);
    p.Code(CRV_DisposeCurve(rng.OneIn(2) ? nullptr : c.get()));
  });
  r.Run("CRV_EvaluateByCurvature", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, 2);
    p.Code(CRV_EvaluateByCurvature(c.get(), rng.Unit(), nullptr));
  });

  using Single = int32_t (*)(const CRV_Curve*, double, double*);
  const std::pair<const char*, Single> singles[] = {{"CRV_EvaluatePoint", &CRV_EvaluatePoint},
                                                    {"CRV_EvaluateDeriv", &CRV_EvaluateDeriv},
                                                    {"CRV_EvaluateDeriv2", &CRV_EvaluateDeriv2}};
  for (const auto& [name, fn] : singles) {
    r.Run(name, [fn = fn](Rng& rng, Payload& p) {
      Curve c = MakeCurve(rng, EvaluationDims(rng));
      std::vector<double> out(c.dims() > 0 ? c.dims() : 1, -7.0);
      p.Code(fn(c.get(), rng.Parameter(), out.data())).Values(out);
    });
  }
  using Many = int32_t (*)(const CRV_Curve*, double, double, int32_t, double*);
  const std::pair<const char*, Many> manys[] = {{"CRV_EvaluatePoints", &CRV_EvaluatePoints},
                                                {"CRV_EvaluateDerivs", &CRV_EvaluateDerivs}};
  for (const auto& [name, fn] : manys) {
    r.Run(name, [fn = fn](Rng& rng, Payload& p) {
      Curve c = MakeCurve(rng, EvaluationDims(rng));
      const int32_t n = rng.Int(-1, 40);
      const double t0 = rng.Parameter(), t1 = rng.OneIn(4) ? t0 : rng.Parameter();
      std::vector<double> out(static_cast<size_t>(n > 0 ? n : 1) * (c.dims() > 0 ? c.dims() : 1),
                              -7.0);
      p.Code(fn(c.get(), t0, t1, n, out.data())).Values(out);
    });
  }
  r.Run("CRV_EvaluateBounds", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, EvaluationDims(rng));
    const size_t n = c.dims() > 0 ? c.dims() : 1;
    std::vector<double> lo(n, -7.0), hi(n, -7.0);
    p.Code(CRV_EvaluateBounds(c.get(), lo.data(), hi.data())).Values(lo).Values(hi);
  });
  r.Run("CRV_SubdivideCurve", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, EvaluationDims(rng));
    std::vector<double> out(5 * static_cast<size_t>(c.dims() > 0 ? c.dims() : 1), -7.0);
    p.Code(CRV_SubdivideCurve(c.get(), rng.Parameter(), out.data())).Values(out);
  });
  r.Run("CRV_SubdivideCurve<2>/1", [](Rng& rng, Payload& p) {
    const CRV_CurveClass2D c = MakeClass<2, GEO_Vector2T<double>>(rng);
    CRV_CurveClass2D left, right;
    CRV_SubdivideCurve(c, rng.Parameter(), &left, &right);
    AddClasses<2, GEO_Vector2T<double>>(p, {&left, &right});
  });
  r.Run("CRV_SubdivideCurve<3>/1", [](Rng& rng, Payload& p) {
    const CRV_CurveClass3D c = MakeClass<3, GEO_Vector3T<double>>(rng);
    CRV_CurveClass3D left, right;
    CRV_SubdivideCurve(c, rng.Parameter(), &left, &right);
    AddClasses<3, GEO_Vector3T<double>>(p, {&left, &right});
  });
  // Three parts: 0 <= t1 <= t2 <= 1, ends included.
  const auto ordered = [](Rng& rng) {
    double a = rng.OneIn(8) ? 1.0 : rng.Unit(), b = rng.OneIn(8) ? a : rng.Unit();
    return a <= b ? std::make_pair(a, b) : std::make_pair(b, a);
  };
  r.Run("CRV_SubdivideCurve<2>/2", [&](Rng& rng, Payload& p) {
    const CRV_CurveClass2D c = MakeClass<2, GEO_Vector2T<double>>(rng);
    const auto [t1, t2] = ordered(rng);
    CRV_CurveClass2D a, b, d;
    CRV_SubdivideCurve(c, t1, t2, &a, &b, &d);
    AddClasses<2, GEO_Vector2T<double>>(p, {&a, &b, &d});
  });
  r.Run("CRV_SubdivideCurve<3>/2", [&](Rng& rng, Payload& p) {
    const CRV_CurveClass3D c = MakeClass<3, GEO_Vector3T<double>>(rng);
    const auto [t1, t2] = ordered(rng);
    CRV_CurveClass3D a, b, d;
    CRV_SubdivideCurve(c, t1, t2, &a, &b, &d);
    AddClasses<3, GEO_Vector3T<double>>(p, {&a, &b, &d});
  });
  r.Run("CRV_DirectManipSetup", [](Rng& rng, Payload& p) {
    double w[4] = {-7.0, -7.0, -7.0, -7.0};
    p.Code(CRV_DirectManipSetup(rng.Parameter(), w)).Values(w, 4);
  });
  r.Run("CRV_DirectManipCurve", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(1, 4));
    double w[4];
    CRV_DirectManipSetup(rng.Parameter(), w);
    std::vector<double> delta(c.dims());
    for (double& v : delta) v = rng.Uniform(-10.0, 10.0);
    p.Code(CRV_DirectManipCurve(c.get(), delta.data(), w)).Values(c.coords());
  });
}

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

void FunctionCurves(Recorder& r) {
  r.Run("CRV_TFromX", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    double t = -7.0;
    p.Code(CRV_TFromX(c.get(), Around(rng, c, 0), &t)).Value(t);
  });
  r.Run("CRV_TFromY", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    double t = -7.0;
    p.Code(CRV_TFromY(c.get(), Around(rng, c, 1), &t)).Value(t);
  });
  r.Run("CRV_EvaluateYFromX", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    double y = -7.0;
    p.Code(CRV_EvaluateYFromX(c.get(), Around(rng, c, 0), &y)).Value(y);
  });
  r.Run("CRV_EvaluateYFromXs", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    const int16_t count = static_cast<int16_t>(rng.Int(-1, 24));
    std::vector<double> ys(count > 0 ? count : 1, -7.0);
    const double x1 = Around(rng, c, 0), x2 = Around(rng, c, 0);
    p.Code(CRV_EvaluateYFromXs(c.get(), x1, x2, count, ys.data())).Values(ys);
  });
  r.Run("CRV_EvaluateXFromY", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    double x = -7.0;
    p.Code(CRV_EvaluateXFromY(c.get(), Around(rng, c, 1), &x)).Value(x);
  });
  r.Run("CRV_EvaluateXFromYPrime", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    int32_t count = -7;
    double xs[2] = {-7.0, -7.0};
    p.Code(CRV_EvaluateXFromYPrime(c.get(), nullptr, &count, xs)).Int(count).Values(xs, 2);
  });
  r.Run("CRV_CurveSetNonDecreasing", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    uint8_t changed = 7;
    p.Code(CRV_CurveSetNonDecreasing(c.get(), &changed)).Int(changed).Values(c.coords());
  });
  r.Run("CRV_Evaluate1dDerivFromX", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    double slope = -7.0;
    p.Code(CRV_Evaluate1dDerivFromX(c.get(), Around(rng, c, 0), &slope)).Value(slope);
  });
  r.Run("CRV_Evaluate1dDeriv2FromX", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    double out = -7.0;
    p.Code(CRV_Evaluate1dDeriv2FromX(c.get(), Around(rng, c, 0), &out)).Value(out);
  });
  r.Run("CRV_Evaluate1dDerivsFromX", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    const int16_t count = static_cast<int16_t>(rng.Int(-1, 24));
    std::vector<double> slopes(count > 0 ? count : 1, -7.0);
    const double x1 = Around(rng, c, 0), x2 = Around(rng, c, 0);
    p.Code(CRV_Evaluate1dDerivsFromX(c.get(), x1, x2, count, slopes.data())).Values(slopes);
  });
  r.Run("CRV_EvaluateYAverageFromXToX", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    const double x1 = Around(rng, c, 0), x2 = rng.OneIn(8) ? x1 : Around(rng, c, 0);
    double average = -7.0;
    p.Code(CRV_EvaluateYAverageFromXToX(c.get(), x1, x2, &average)).Value(average);
  });
}

// Arc-length curves: 2 or 3 dimensions, now and then one of the dimension counts that are not
// measured.
int ArcDims(Rng& rng) { return rng.OneIn(16) ? (rng.OneIn(2) ? 1 : 4) : rng.Int(2, 3); }

// A table for the lookups: none (the call builds one) or one built for this curve or another.
void PrepareTable(Rng& rng, Curve& c, List& table) {
  switch (rng.Int(0, 3)) {
    case 0: return;
    case 1: {
      Curve other = MakeCurve(rng, c.dims() > 0 ? c.dims() : 2);
      double length;
      CRV_BuildArcTable(other.get(), rng.Int(1, 40), table.address(), &length);
      return;
    }
    default: {
      double length;
      CRV_BuildArcTable(c.get(), rng.Int(1, 60), table.address(), &length);
      return;
    }
  }
}

void ArcLength(Recorder& r) {
  r.Run("CRV_BuildArcTable", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, ArcDims(rng));
    List table;
    if (rng.OneIn(3)) table.Fill(16, rng.Int(0, 80));
    double length = -7.0;
    p.Code(CRV_BuildArcTable(c.get(), rng.Int(-1, 64), table.address(), &length))
        .Value(length)
        .Values(table.Doubles());
  });
  r.Run("CRV_SFromT", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, ArcDims(rng));
    List table;
    PrepareTable(rng, c, table);
    double s = -7.0;
    const double t = rng.Parameter();
    p.Code(CRV_SFromT(c.get(), t, rng.Int(1, 64), table.address(), &s)).Value(s);
  });
  r.Run("CRV_TFromS", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, ArcDims(rng));
    List table;
    PrepareTable(rng, c, table);
    double t = -7.0;
    const double s = PolygonLength(c) * rng.Uniform(-0.1, 1.1);
    p.Code(CRV_TFromS(c.get(), s, rng.Int(1, 64), table.address(), &t)).Value(t);
  });
  r.Run("CRV_EvaluatePointFromS", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, ArcDims(rng));
    List table;
    PrepareTable(rng, c, table);
    std::vector<double> point(c.dims(), -7.0);
    const double s = PolygonLength(c) * rng.Uniform(-0.1, 1.1);
    p.Code(CRV_EvaluatePointFromS(c.get(), s, rng.Int(1, 64), table.address(), point.data()))
        .Values(point);
  });
  // Bounds are squared lengths: from far below to far above the curve's squared size.
  const auto bound = [](Rng& rng, const Curve& c) {
    const double size = PolygonLength(c);
    return rng.OneIn(16) ? 0.0 : size * size * std::ldexp(1.0, -rng.Int(4, 30));
  };
  r.Run(
      "CRV_BuildArcSpline",
      [&](Rng& rng, Payload& p) {
        Curve c = MakeCurve(rng, ArcDims(rng));
        List spline;
        if (rng.OneIn(3)) spline.Fill(16, rng.Int(0, 20));
        double length = -7.0;
        p.Code(CRV_BuildArcSpline(c.get(), bound(rng, c), spline.address(), &length))
            .Value(length)
            .Values(spline.Doubles());
      },
      kCalls / 2);
  r.Run("CRV_TFromSSpline", [&](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, ArcDims(rng));
    List spline;
    const double b = bound(rng, c);
    if (rng.OneIn(2)) {
      double length;
      CRV_BuildArcSpline(c.get(), b, spline.address(), &length);
    }
    double t = -7.0;
    const double s = PolygonLength(c) * rng.Uniform(-0.1, 1.1);
    p.Code(CRV_TFromSSpline(c.get(), s, b, spline.address(), &t)).Value(t);
  });
  r.Run("CRV_EvaluateByDistance", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.OneIn(16) ? 1 : rng.Int(2, 3));
    List list;
    int32_t held = 0;
    if (rng.OneIn(2)) {
      held = rng.Int(0, 30);
      list.Fill(16, held);
    }
    const double length = PolygonLength(c);
    const double distance = length > 0.0 ? length / rng.Uniform(2.0, 64.0) : 1.0;
    p.Code(CRV_EvaluateByDistance(c.get(), distance, rng.Int(-2, held + 2), list.address()))
        .Values(list.Doubles());
  });
}

// Sample counts of the fits: mostly short runs, some longer than the 256 rows kept on the stack.
int FitCount(Rng& rng) { return rng.OneIn(32) ? rng.Int(257, 320) : rng.Int(2, 40); }
double FitBound(Rng& rng) { return rng.OneIn(8) ? 0.0 : std::ldexp(1.0, -rng.Int(-4, 20)); }

void Fitting(Recorder& r) {
  r.Run("CRV_FitOneCurveError", [](Rng& rng, Payload& p) {
    Curve c(rng.Int(2, 3));
    const int count = FitCount(rng);
    const std::vector<double> samples = Samples(rng, c.dims(), count);
    double maxError = -7.0;
    const double bound = FitBound(rng);
    const int32_t left = rng.Int(0, 6), right = rng.Int(0, 6);
    const auto iterations = static_cast<uint16_t>(rng.Int(0, 12));
    p.Code(CRV_FitOneCurveError(samples.data(), count, bound, left, right, iterations, &maxError,
                                c.get()))
        .Value(maxError)
        .Values(c.coords());
  });
  r.Run("CRV_FitOneCurveIter", [](Rng& rng, Payload& p) {
    Curve c(rng.Int(2, 3));
    const int count = FitCount(rng);
    const std::vector<double> samples = Samples(rng, c.dims(), count);
    const double bound = FitBound(rng);
    const auto iterations = static_cast<uint16_t>(rng.Int(0, 12));
    p.Code(CRV_FitOneCurveIter(samples.data(), count, bound, iterations, rng.Int(1, 4), c.get()))
        .Values(c.coords());
  });
  r.Run("CRV_FitOneCurve", [](Rng& rng, Payload& p) {
    Curve c(rng.Int(2, 3));
    const int count = FitCount(rng);
    const std::vector<double> samples = Samples(rng, c.dims(), count);
    const double bound = FitBound(rng);
    p.Code(CRV_FitOneCurve(samples.data(), count, bound, rng.Int(1, 4), c.get()))
        .Values(c.coords());
  });
  r.Run("CRV_FitMultipleCurvesIterate", [](Rng& rng, Payload& p) {
    const int dims = rng.Int(2, 3);
    const int count = rng.OneIn(32) ? rng.Int(257, 300) : rng.Int(2, 60);
    const std::vector<double> samples = Samples(rng, dims, count);
    List points, indices;
    if (rng.OneIn(3)) points.Fill(8 * dims, rng.Int(0, 10));
    if (rng.OneIn(3)) indices.Fill(4, rng.Int(0, 10));
    const double bound = FitBound(rng);
    p.Code(CRV_FitMultipleCurvesIterate(samples.data(), static_cast<uint16_t>(dims), count, bound,
                                        static_cast<uint16_t>(rng.Int(0, 8)), points.address(),
                                        indices.address()))
        .Values(points.Doubles())
        .Values(indices.Doubles());
  });
  r.Run("CRV_FitMultipleCurves", [](Rng& rng, Payload& p) {
    const int dims = rng.Int(2, 3);
    const int count = rng.Int(2, 60);
    const std::vector<double> samples = Samples(rng, dims, count);
    List points;
    if (rng.OneIn(3)) points.Fill(8 * dims, rng.Int(0, 10));
    p.Code(CRV_FitMultipleCurves(samples.data(), static_cast<uint16_t>(dims), count, FitBound(rng),
                                 points.address()))
        .Values(points.Doubles());
  });
}

CRV_LinearityParams Params(Rng& rng) {
  return {rng.OneIn(4) ? 0.0 : std::ldexp(1.0, -rng.Int(0, 12)),
          rng.OneIn(8) ? 0.0 : std::ldexp(1.0, -rng.Int(1, 20)),
          rng.OneIn(16) ? 0u : CRV_LINEARITY_CHECK_WORD, static_cast<uint32_t>(rng.Int(0, 3)),
          static_cast<uint32_t>(rng.Int(0, 8))};
}

void Adaptive(Recorder& r) {
  r.Run("CRV_IsCurveLinear", [](Rng& rng, Payload& p) {
    double a[2], b[2], u[2], v[2];
    for (double* q : {a, b, u, v}) q[0] = rng.Uniform(-10.0, 10.0), q[1] = rng.Uniform(-10.0, 10.0);
    if (rng.OneIn(3))
      u[0] = (b[0] - a[0]) * 2.0, u[1] = (b[1] - a[1]) * 2.0 + rng.Uniform(-1e-3, 1e-3);
    if (rng.OneIn(3)) v[0] = b[0] - a[0], v[1] = b[1] - a[1];
    if (rng.OneIn(8)) u[0] = u[1] = 0.0;
    bool out = false;
    const double minChordSq = rng.OneIn(2) ? 0.0 : rng.Uniform(0.0, 50.0);
    p.Code(CRV_IsCurveLinear(a, b, u, v, minChordSq, std::ldexp(1.0, -rng.Int(0, 30)), &out))
        .Int(out);
  });
  r.Run("CRV_IsSubCurveLinear", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3));
    bool out = false;
    const double t0 = rng.Unit(), t1 = rng.Unit();
    const double minChordSq = rng.OneIn(2) ? 0.0 : rng.Uniform(0.0, 10.0);
    p.Code(
         CRV_IsSubCurveLinear(t0, t1, c.get(), minChordSq, std::ldexp(1.0, -rng.Int(0, 30)), &out))
        .Int(out);
  });
  r.Run("CRV_IsLinearFunc", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, 2);
    const CRV_LinearityParams params = Params(rng);
    bool out = true;
    const double t0 = rng.Unit(), t1 = rng.Unit();
    const CRV_LinearityParams* given = rng.OneIn(16) ? nullptr : &params;
    p.Code(CRV_IsLinearFunc(given, static_cast<uint32_t>(rng.Int(0, 10)), t0, t1, nullptr, nullptr,
                            c.get(), &out))
        .Int(out);
  });
  r.Run("CRV_EvaluateAdaptively", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    CRV_LinearityParams params = Params(rng);
    DepthCallback caller{PolygonLength(c) / 16.0};
    const bool own = rng.OneIn(4);
    const double xLow = Around(rng, c, 0), xHigh = Around(rng, c, 0);
    const int clip = rng.Int(0, 3);
    List list;
    list.Fill(16, rng.Int(0, 3));
    bool have = false;
    double lo = -7.0, hi = -7.0;
    const bool tracked = !rng.OneIn(4);
    p.Code(CRV_EvaluateAdaptively(
               own ? &DepthCallback::Call : reinterpret_cast<CRV_FlatnessFunc>(&CRV_IsLinearFunc),
               own ? static_cast<void*>(&caller) : &params, (clip & 1) ? &xLow : nullptr,
               (clip & 2) ? &xHigh : nullptr, c.get(), tracked ? &have : nullptr,
               tracked ? &lo : nullptr, tracked ? &hi : nullptr, list.address()))
        .Int(have)
        .Value(lo)
        .Value(hi)
        .Values(list.Doubles());
  });
  r.Run("CRV_LinearlyInterpolateCurve", [](Rng& rng, Payload& p) {
    Curve c = MakeCurve(rng, rng.Int(2, 3), true);
    CRV_LinearityParams params = Params(rng);
    DepthCallback caller{PolygonLength(c) / 16.0};
    const bool own = rng.OneIn(4);
    const double xA = Around(rng, c, 0), xB = rng.OneIn(8) ? xA : Around(rng, c, 0);
    List list;
    list.Fill(16, rng.Int(0, 3));
    bool have = rng.OneIn(2);
    double lo = 0.0, hi = 1.0;
    p.Code(CRV_LinearlyInterpolateCurve(
               own ? &DepthCallback::Call : reinterpret_cast<CRV_FlatnessFunc>(&CRV_IsLinearFunc),
               own ? static_cast<void*>(&caller) : &params, xA, xB, c.get(), &have, &lo, &hi,
               list.address()))
        .Int(have)
        .Value(lo)
        .Value(hi)
        .Values(list.Doubles());
  });
  r.Run("CRV_LinearlyInterpolateLine", [](Rng& rng, Payload& p) {
    double a[2] = {rng.Uniform(-10.0, 10.0), rng.Uniform(-10.0, 10.0)};
    double b[2] = {a[0] + rng.Uniform(rng.OneIn(8) ? -1.0 : 0.0, 10.0), rng.Uniform(-10.0, 10.0)};
    double q[2] = {rng.Uniform(-10.0, 10.0), rng.Uniform(-10.0, 10.0)};
    List list;
    list.Fill(16, rng.Int(0, 2));
    bool have = rng.OneIn(2);
    double lo = 0.0, hi = 1.0;
    const double x = rng.OneIn(8) ? a[0] : a[0] + (b[0] - a[0]) * rng.Uniform(-0.2, 1.2);
    p.Code(CRV_LinearlyInterpolateLine(x, a, b, q, &have, list.address(), &lo, &hi))
        .Int(have)
        .Value(lo)
        .Value(hi)
        .Values(list.Doubles());
  });
  r.Run("CRV_EvaluateAdaptively<2>", [](Rng& rng, Payload& p) {
    const CRV_CurveClass2D c = MakeClass<2, GEO_Vector2T<double>>(rng);
    ChordEvaluator<2, GEO_Vector2T<double>> evaluator(std::ldexp(1.0, -rng.Int(-4, 8)));
    const double t0 = rng.OneIn(2) ? 0.0 : rng.Unit(), t1 = rng.OneIn(2) ? 1.0 : rng.Unit();
    CRV_EvaluateAdaptively(t0, t1, c, &evaluator);
    p.Values(evaluator.params);
  });
  r.Run("CRV_EvaluateAdaptively<3>", [](Rng& rng, Payload& p) {
    const CRV_CurveClass3D c = MakeClass<3, GEO_Vector3T<double>>(rng);
    ChordEvaluator<3, GEO_Vector3T<double>> evaluator(std::ldexp(1.0, -rng.Int(-4, 8)));
    const double t0 = rng.OneIn(2) ? 0.0 : rng.Unit(), t1 = rng.OneIn(2) ? 1.0 : rng.Unit();
    CRV_EvaluateAdaptively(t0, t1, c, &evaluator);
    p.Values(evaluator.params);
  });
  r.Run(
      "CRV_3DScreenCurveAdaptiveEvaluator",
      [](Rng& rng, Payload& p) {
        CRV_CurveClass3D c = MakeClass<3, GEO_Vector3T<double>>(rng);
        // A camera looking down z from in front of the curve: w = z + distance stays positive.
        GEO_Matrix4 m{};
        const double focal = rng.Uniform(100.0, 1000.0);
        m.m[0][0] = focal;
        m.m[1][1] = focal;
        m.m[0][1] = rng.Uniform(-50.0, 50.0);
        m.m[2][2] = 1.0;
        m.m[3][2] = rng.OneIn(4) ? 0.0 : 1.0;  // an affine projection now and then
        m.m[3][3] = rng.Uniform(150.0, 400.0);
        // Cubics already in the vector stay in front of the new ones.
        std::vector<CRV_CurveClass2D> out;
        if (rng.OneIn(2)) out.push_back(CRV_CurveClass2D({1, 2}, {3, 4}, {5, 6}, {7, 8}));
        int32_t code = 0;
        try {
          CRV_3DScreenCurveAdaptiveEvaluator(rng.OneIn(8) ? 0.0 : std::ldexp(1.0, -rng.Int(-2, 10)),
                                             m, c, &out);
        } catch (int thrown) {
          code = thrown;
        }
        std::vector<double> coords;
        for (const CRV_CurveClass2D& q : out)
          for (const auto& v : q.points) coords.insert(coords.end(), {v.x, v.y});
        p.Code(code).Int(static_cast<int64_t>(out.size())).Values(coords);
      },
      kCalls / 2);
  r.Run("CRV_NearestPointOnCurve", [](Rng& rng, Payload& p) {
    const CRV_CurveClass2D c = MakeClass<2, GEO_Vector2T<double>>(rng);
    GEO_Vector2T<double> q{rng.Uniform(-150.0, 150.0), rng.Uniform(-150.0, 150.0)};
    if (rng.OneIn(16)) q = c.points[rng.Int(0, 3)];
    p.Value(CRV_NearestPointOnCurve(q, c));
  });
  r.Run("CRV_IntersectPlane", [](Rng& rng, Payload& p) {
    const CRV_CurveClass3D c = MakeClass<3, GEO_Vector3T<double>>(rng);
    // A plane through a point near the curve: through a control point now and then, or
    // containing the whole curve when it is flat.
    const GEO_Vector3T<double> at =
        rng.OneIn(4) ? c.points[rng.Int(0, 3)]
                     : GEO_Vector3T<double>{rng.Uniform(-100.0, 100.0), rng.Uniform(-100.0, 100.0),
                                            rng.Uniform(-100.0, 100.0)};
    const double a = rng.Uniform(-1.0, 1.0), b = rng.Uniform(-1.0, 1.0),
                 cz = rng.Uniform(-1.0, 1.0);
    const GEO_PlaneEq plane{a, b, cz, -(a * at.x + b * at.y + cz * at.z)};
    std::vector<double> result;
    if (rng.OneIn(4)) result = {0.25, 2.0};
    CRV_IntersectPlane(c, plane, &result);
    p.Values(result);
  });
}

std::vector<std::string> OnePath(bool full) {
  Recorder r(full);
  FrameAndEvaluation(r);
  FunctionCurves(r);
  ArcLength(r);
  Fitting(r);
  Adaptive(r);
  return std::move(r.lines());
}

// Points the capability record at one of the test's own while a path is generated.
class CapabilityRecord {
 public:
  explicit CapabilityRecord(int32_t paired) : saved_(HS_G_CPU_DataP) {
    record_[3] = paired;
    HS_G_CPU_DataP = record_;
  }
  ~CapabilityRecord() { HS_G_CPU_DataP = saved_; }
  CapabilityRecord(const CapabilityRecord&) = delete;
  CapabilityRecord& operator=(const CapabilityRecord&) = delete;

 private:
  const int32_t* saved_;
  int32_t record_[8] = {};
};

}  // namespace

bool HasPairedPath() {
#if defined(__x86_64__) || defined(__i386__)
  return __builtin_cpu_supports("sse3");
#else
  return true;  // elsewhere the paired path is its scalar emulation
#endif
}

std::vector<std::string> GoldenTable(bool full) {
  std::vector<std::string> scalar, paired;
  {
    const CapabilityRecord record(0);
    scalar = OnePath(full);
  }
  {
    const CapabilityRecord record(1);
    paired = OnePath(full);
  }
  std::vector<std::string> table = {
      "# CRV golden table: every export called on fixed seeded inputs "
      "(tests/golden/golden_table.cpp).",
      "# <export> <case> <result code and outputs, scalar path>[ | <the same, paired path>]",
      "# Doubles as 16 hex digits of their bits (NaN as nan); arrays of more than four as",
      "# [length:FNV-1a hash of their bits] (golden_gen --full prints them out). Regenerate with",
      "# golden_gen > tests/golden/golden.txt only for a change that means to alter results, and",
      "# say why in its commit."};
  for (size_t i = 0; i < scalar.size(); ++i) {
    // Both lines start with the same "<export> <case> "; only the payloads may differ.
    const size_t head = scalar[i].find(' ', scalar[i].find(' ') + 1) + 1;
    const std::string payload = paired[i].substr(head);
    table.push_back(payload == scalar[i].substr(head) ? scalar[i] : scalar[i] + " | " + payload);
  }
  return table;
}

}  // namespace crvgolden
