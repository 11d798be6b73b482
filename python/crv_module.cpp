// The Python module `crv`: arrays of cubics in, new NumPy arrays out.
//
// Every result comes from the library's exports, called once per curve and parameter, so the
// bits are those of a C caller. Inputs are converted to C-contiguous float64 before the GIL is
// released; outputs are allocated before it too, so no Python object is touched without it.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/eval.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "crv/crv.h"
#include "crv/crv.hpp"

namespace py = pybind11;

namespace {

using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;
using Shape = std::vector<py::ssize_t>;

// Sample counts above this make an arc-length table whose last t drifts past the lookups'
// tolerance (see crv/arc_length.h), so they are refused rather than answered inconsistently.
constexpr int kMaxArcSamples = 1800000;
// Flattening halves at most this often: 2^20 + 1 points, as the library's own walks.
constexpr int kMaxFlattenDepth = 20;
constexpr int kMaxDims = 16;

PyObject* g_crv_error = nullptr;  // crv.CrvError, created at import

// Raises crv.CrvError(message, code). The GIL must be held.
[[noreturn]] void RaiseCode(int32_t code, const std::string& what) {
  py::object error = py::reinterpret_borrow<py::object>(g_crv_error);
  py::object instance =
      error(what + " failed with result code " + std::to_string(code), code);
  PyErr_SetObject(g_crv_error, instance.ptr());
  throw py::error_already_set();
}

void Check(int32_t code, const char* what) {
  if (code != CRV_ErrNone) RaiseCode(code, what);
}

std::string ShapeText(const Shape& shape) {
  std::string text = "(";
  for (size_t i = 0; i < shape.size(); ++i) {
    if (i) text += ", ";
    text += std::to_string(shape[i]);
  }
  return text + (shape.size() == 1 ? ",)" : ")");
}

// A C-contiguous float64 copy (or the array itself when it already is one) of `obj`. Integers,
// booleans and other real floats convert; complex, object, text and date arrays are refused, so
// nothing is silently dropped on the way.
Doubles ToDoubles(py::handle obj, const char* name) {
  // Leaked on purpose: a static py::object would be released after the interpreter is gone.
  static py::object* asarray = new py::object(py::module_::import("numpy").attr("asarray"));
  py::array array = (*asarray)(obj);
  const char kind = array.dtype().kind();
  if (kind == 'c') throw py::type_error(std::string(name) + ": complex values are not accepted");
  if (kind != 'b' && kind != 'i' && kind != 'u' && kind != 'f') {
    throw py::type_error(std::string(name) + ": expected real numbers, got an array of dtype " +
                         py::str(array.dtype()).cast<std::string>());
  }
  // astype keeps NumPy's own MemoryError for a copy too large to make (Doubles::ensure would
  // swallow it); it copies only when the dtype or layout asks for it.
  py::object converted =
      array.attr("astype")(py::dtype::of<double>(), py::arg("order") = "C", py::arg("copy") = false);
  return py::reinterpret_borrow<Doubles>(converted);
}

Shape ShapeOf(const py::array& a) { return Shape(a.shape(), a.shape() + a.ndim()); }

void RequireFinite(const Doubles& a, const char* name) {
  const double* p = a.data();
  for (py::ssize_t i = 0, n = a.size(); i < n; ++i) {
    if (!std::isfinite(p[i])) {
      throw py::value_error(std::string(name) + ": NaN and infinite values are not accepted");
    }
  }
}

// Infinite values are accepted (they have a defined answer); NaN is not.
void RequireNoNaN(const Doubles& a, const char* name) {
  const double* p = a.data();
  for (py::ssize_t i = 0, n = a.size(); i < n; ++i) {
    if (std::isnan(p[i])) throw py::value_error(std::string(name) + ": NaN is not accepted");
  }
}

double FiniteScalar(double value, const char* name) {
  if (!std::isfinite(value)) throw py::value_error(std::string(name) + " must be finite");
  return value;
}

// An array of curves, shape (..., 4, D).
struct Curves {
  Doubles data;
  Shape batch;
  int dims = 0;
  py::ssize_t item() const { return 4 * dims; }
};

// `dims` lists the accepted D; empty accepts 1 to kMaxDims.
Curves ToCurves(py::handle obj, const char* name, std::vector<int> dims = {}) {
  Curves c{ToDoubles(obj, name), {}, 0};
  const Shape shape = ShapeOf(c.data);
  const py::ssize_t nd = static_cast<py::ssize_t>(shape.size());
  bool ok = nd >= 2 && shape[nd - 2] == 4;
  if (ok) {
    const py::ssize_t d = shape[nd - 1];
    ok = dims.empty() ? (d >= 1 && d <= kMaxDims)
                      : std::find(dims.begin(), dims.end(), d) != dims.end();
  }
  if (!ok) {
    std::string want;
    if (dims.empty()) {
      want = "(..., 4, D) with D from 1 to " + std::to_string(kMaxDims);
    } else {
      for (size_t i = 0; i < dims.size(); ++i) {
        want += (i ? " or (..., 4, " : "(..., 4, ") + std::to_string(dims[i]) + ")";
      }
    }
    throw py::value_error(std::string(name) + ": expected shape " + want + ", got " +
                          ShapeText(shape));
  }
  c.dims = static_cast<int>(shape[nd - 1]);
  c.batch.assign(shape.begin(), shape.end() - 2);
  return c;
}

// A single curve, shape (4, D).
Curves ToCurve(py::handle obj, const char* name, std::vector<int> dims) {
  Curves c = ToCurves(obj, name, dims);
  if (!c.batch.empty()) {
    throw py::value_error(std::string(name) + ": expected one curve of shape (4, " +
                          std::to_string(c.dims) + "), got " + ShapeText(ShapeOf(c.data)));
  }
  return c;
}

// The record of the curve whose control points start at p.
inline CRV_Curve Record(const double* p, int dims) {
  CRV_Curve r;
  r.dims = static_cast<int16_t>(dims);
  for (int i = 0; i < 4; ++i) r.ctpts[i] = const_cast<double*>(p + i * dims);
  return r;
}

// Rebuilds a record only when the curve changes: one curve against many parameters is the
// common case, and rebuilding the record for every element showed in the benchmark.
class RecordCache {
 public:
  RecordCache(const double* base, int dims) : base_(base), dims_(dims) {}
  const CRV_Curve* At(py::ssize_t offset) {
    if (offset != last_) {
      record_ = Record(base_ + offset, dims_);
      last_ = offset;
    }
    return &record_;
  }

 private:
  const double* base_;
  int dims_;
  py::ssize_t last_ = -1;
  CRV_Curve record_{};
};

// NumPy broadcasting of two operands' leading shapes. Strides count doubles; an operand's item
// (a curve, a point, a scalar) is `item` doubles, and a broadcast axis has stride 0.
struct Plan {
  Shape shape;
  Shape stride_a, stride_b;
  py::ssize_t size = 1;
};

Plan Broadcast(const Shape& a, py::ssize_t item_a, const Shape& b, py::ssize_t item_b,
               const char* name_a, const char* name_b) {
  Plan p;
  const size_t nd = std::max(a.size(), b.size());
  p.shape.assign(nd, 1);
  p.stride_a.assign(nd, 0);
  p.stride_b.assign(nd, 0);
  py::ssize_t sa = item_a, sb = item_b;
  for (size_t k = 0; k < nd; ++k) {
    const size_t d = nd - 1 - k;
    const py::ssize_t da = k < a.size() ? a[a.size() - 1 - k] : 1;
    const py::ssize_t db = k < b.size() ? b[b.size() - 1 - k] : 1;
    if (da != db && da != 1 && db != 1) {
      throw py::value_error(std::string(name_a) + " and " + name_b +
                            " do not broadcast: leading shapes " + ShapeText(a) + " and " +
                            ShapeText(b));
    }
    p.shape[d] = da == 1 ? db : da;
    p.stride_a[d] = da == 1 ? 0 : sa;
    p.stride_b[d] = db == 1 ? 0 : sb;
    sa *= da;
    sb *= db;
  }
  for (py::ssize_t n : p.shape) {
    if (n != 0 && p.size > std::numeric_limits<py::ssize_t>::max() / n) {
      throw py::value_error("the broadcast shape " + ShapeText(p.shape) + " is too large");
    }
    p.size *= n;
  }
  return p;
}

// Wraps an element function f(i, offset_a, offset_b) for ForEach, adding a row loop for the
// common case of one curve (operand a fixed) against many parameters: the per-element lambda is
// then inlined into a tight loop over operand b.
template <typename F>
struct RowOf {
  F f;
  bool operator()(py::ssize_t i, py::ssize_t a, py::ssize_t b) { return f(i, a, b); }
  bool Row(py::ssize_t out, py::ssize_t a, py::ssize_t b, py::ssize_t step, py::ssize_t n) {
    for (py::ssize_t i = 0; i < n; ++i) {
      if (!f(out + i, a, b + i * step)) return false;
    }
    return true;
  }
};
template <typename F>
RowOf<F> Rows(F f) {
  return RowOf<F>{std::move(f)};
}

// Calls f(i, offset_a, offset_b) for every output element i, in C order, offsets in doubles.
// Returns false as soon as f does.
template <typename F>
bool ForEach(const Plan& p, F f) {
  if (p.size == 0) return true;
  const size_t nd = p.shape.size();
  if (nd == 0) return f(py::ssize_t{0}, py::ssize_t{0}, py::ssize_t{0});
  const py::ssize_t inner = p.shape[nd - 1], ia = p.stride_a[nd - 1], ib = p.stride_b[nd - 1];
  std::vector<py::ssize_t> index(nd, 0);
  py::ssize_t oa = 0, ob = 0, out = 0;
  for (py::ssize_t outer = p.size / inner; outer > 0; --outer) {
    if (ia == 0) {
      // One curve against a row of parameters: the record is built once (see RowOf).
      if (!f.Row(out, oa, ob, ib, inner)) return false;
    } else {
      for (py::ssize_t i = 0; i < inner; ++i) {
        if (!f(out + i, oa + i * ia, ob + i * ib)) return false;
      }
    }
    out += inner;
    for (size_t d = nd - 1; d-- > 0;) {
      oa += p.stride_a[d];
      ob += p.stride_b[d];
      if (++index[d] < p.shape[d]) break;
      oa -= p.stride_a[d] * p.shape[d];
      ob -= p.stride_b[d] * p.shape[d];
      index[d] = 0;
    }
  }
  return true;
}

Shape Append(Shape shape, std::initializer_list<py::ssize_t> tail) {
  shape.insert(shape.end(), tail);
  return shape;
}

py::array_t<double> NewArray(const Shape& shape) { return py::array_t<double>(shape); }

// ---- Host lists

// Owns a host list handle and disposes of it on every path. Locks taken through it are released
// by its Lock guard, so the disposal never meets a locked list.
class HostList {
 public:
  HostList() = default;
  HostList(const HostList&) = delete;
  HostList& operator=(const HostList&) = delete;
  ~HostList() {
    if (handle_ != nullptr) SEQ_Dispose(handle_, 0);
  }
  SEQ_ListH* address() { return &handle_; }

  // Copies every item out as doubles; returns the host's code of a failed lock or address call.
  int32_t CopyOut(std::vector<double>* out) const {
    out->clear();
    if (handle_ == nullptr) return CRV_ErrNone;
    int32_t code = SEQ_Lock(1, handle_);
    if (code != CRV_ErrNone) return code;
    const char* block = static_cast<const char*>(*handle_);
    int32_t count, item_size;
    std::memcpy(&count, block + SEQ_BLOCK_COUNT_OFFSET, sizeof count);
    std::memcpy(&item_size, block + SEQ_BLOCK_ITEM_SIZE_OFFSET, sizeof item_size);
    if (count > 0) {
      void* items = nullptr;
      code = SEQ_GetAddress(handle_, 0, 0, &items);
      if (code == CRV_ErrNone) {
        const size_t bytes = static_cast<size_t>(count) * static_cast<size_t>(item_size);
        out->resize(bytes / sizeof(double));
        std::memcpy(out->data(), items, out->size() * sizeof(double));
      }
    }
    const int32_t unlock = SEQ_Unlock(handle_);
    return code != CRV_ErrNone ? code : unlock;
  }

 private:
  SEQ_ListH handle_ = nullptr;
};

py::array_t<double> FromVector(const std::vector<double>& v, Shape shape) {
  py::array_t<double> out(shape);
  if (!v.empty()) std::memcpy(out.mutable_data(), v.data(), v.size() * sizeof(double));
  return out;
}

// Copies a polyline or chain of `dims`-point items into (n, dims), or (k, 4, dims) segments
// sharing their end points when `segments`.
py::array_t<double> ItemsToArray(const std::vector<double>& items, int dims, bool segments) {
  const py::ssize_t n = static_cast<py::ssize_t>(items.size()) / dims;
  if (!segments) return FromVector(items, {n, dims});
  const py::ssize_t k = n >= 1 ? (n - 1) / 3 : 0;
  py::array_t<double> out({k, py::ssize_t{4}, py::ssize_t{dims}});
  double* o = out.mutable_data();
  for (py::ssize_t j = 0; j < k; ++j) {
    std::memcpy(o + j * 4 * dims, items.data() + 3 * j * dims, 4 * dims * sizeof(double));
  }
  return out;
}

// ---- Evaluation

py::array_t<double> Evaluate(py::handle curves, py::handle t) {
  const Curves c = ToCurves(curves, "curves");
  const Doubles tt = ToDoubles(t, "t");
  const Plan p = Broadcast(c.batch, c.item(), ShapeOf(tt), 1, "curves", "t");
  auto out = NewArray(Append(p.shape, {c.dims}));
  const double *cd = c.data.data(), *td = tt.data();
  double* o = out.mutable_data();
  const int d = c.dims;
  RecordCache cache(cd, d);
  py::gil_scoped_release nogil;
  ForEach(p, Rows([&](py::ssize_t i, py::ssize_t a, py::ssize_t b) {
    CRV_EvaluatePoint(cache.At(a), td[b], o + i * d);
    return true;
  }));
  return out;
}

py::array_t<double> Derivative(py::handle curves, py::handle t, int order) {
  if (order != 1 && order != 2) throw py::value_error("order must be 1 or 2");
  const Curves c = ToCurves(curves, "curves");
  const Doubles tt = ToDoubles(t, "t");
  const Plan p = Broadcast(c.batch, c.item(), ShapeOf(tt), 1, "curves", "t");
  auto out = NewArray(Append(p.shape, {c.dims}));
  const double *cd = c.data.data(), *td = tt.data();
  double* o = out.mutable_data();
  const int d = c.dims;
  const auto fn = order == 1 ? CRV_EvaluateDeriv : CRV_EvaluateDeriv2;
  RecordCache cache(cd, d);
  py::gil_scoped_release nogil;
  ForEach(p, Rows([&](py::ssize_t i, py::ssize_t a, py::ssize_t b) {
    fn(cache.At(a), td[b], o + i * d);
    return true;
  }));
  return out;
}

py::tuple Bounds(py::handle curves) {
  const Curves c = ToCurves(curves, "curves");
  // A NaN coordinate would give finite bounds that do not hold it.
  RequireFinite(c.data, "curves");
  auto lo = NewArray(Append(c.batch, {c.dims}));
  auto hi = NewArray(Append(c.batch, {c.dims}));
  const double* cd = c.data.data();
  double *l = lo.mutable_data(), *h = hi.mutable_data();
  const int d = c.dims;
  const py::ssize_t n = lo.size() / d;
  {
    py::gil_scoped_release nogil;
    for (py::ssize_t i = 0; i < n; ++i) {
      const CRV_Curve r = Record(cd + i * 4 * d, d);
      CRV_EvaluateBounds(&r, l + i * d, h + i * d);
    }
  }
  return py::make_tuple(lo, hi);
}

py::tuple Split(py::handle curves, py::handle t) {
  const Curves c = ToCurves(curves, "curves");
  const Doubles tt = ToDoubles(t, "t");
  const Plan p = Broadcast(c.batch, c.item(), ShapeOf(tt), 1, "curves", "t");
  auto left = NewArray(Append(p.shape, {4, c.dims}));
  auto right = NewArray(Append(p.shape, {4, c.dims}));
  const double *cd = c.data.data(), *td = tt.data();
  double *lo = left.mutable_data(), *ro = right.mutable_data();
  const int d = c.dims;
  {
    py::gil_scoped_release nogil;
    ForEach(p, Rows([&](py::ssize_t i, py::ssize_t a, py::ssize_t b) {
      const double* src = cd + a;
      const CRV_Curve r = Record(src, d);
      double mid[5 * kMaxDims];  // q0 r0 m r1 q2
      CRV_SubdivideCurve(&r, td[b], mid);
      double *l = lo + i * 4 * d, *rr = ro + i * 4 * d;
      std::memcpy(l, src, d * sizeof(double));                  // P0
      std::memcpy(l + d, mid, 3 * d * sizeof(double));          // q0 r0 m
      std::memcpy(rr, mid + 2 * d, 3 * d * sizeof(double));     // m r1 q2
      std::memcpy(rr + 3 * d, src + 3 * d, d * sizeof(double));  // P3
      return true;
    }));
  }
  return py::make_tuple(left, right);
}

// ---- Function curves

template <typename Fn>
py::array_t<double> ByX(py::handle curves, py::handle x, double initial, Fn fn) {
  const Curves c = ToCurves(curves, "curves", {2});
  // A NaN time would fall back to t = 0 and answer P0's value as if it were meant.
  RequireFinite(c.data, "curves");
  const Doubles xx = ToDoubles(x, "x");
  RequireNoNaN(xx, "x");
  const Plan p = Broadcast(c.batch, c.item(), ShapeOf(xx), 1, "curves", "x");
  auto out = NewArray(p.shape);
  const double *cd = c.data.data(), *xd = xx.data();
  double* o = out.mutable_data();
  RecordCache cache(cd, 2);
  py::gil_scoped_release nogil;
  ForEach(p, Rows([&](py::ssize_t i, py::ssize_t a, py::ssize_t b) {
    o[i] = initial;
    fn(cache.At(a), xd[b], o + i);
    return true;
  }));
  return out;
}

py::array_t<double> TFromX(py::handle curves, py::handle x) {
  // Where no root is accepted the library keeps the caller's value: NaN says "none".
  return ByX(curves, x, std::numeric_limits<double>::quiet_NaN(), CRV_TFromX);
}

py::array_t<double> YFromX(py::handle curves, py::handle x) {
  return ByX(curves, x, 0.0, CRV_EvaluateYFromX);
}

// ---- Nearest point

py::tuple Nearest(py::handle curves, py::handle points) {
  const Curves c = ToCurves(curves, "curves", {2});
  const Doubles pts = ToDoubles(points, "points");
  Shape ps = ShapeOf(pts);
  if (ps.empty() || ps.back() != 2) {
    throw py::value_error("points: expected shape (..., 2), got " + ShapeText(ps));
  }
  ps.pop_back();
  RequireFinite(c.data, "curves");
  RequireFinite(pts, "points");
  const Plan p = Broadcast(c.batch, c.item(), ps, 2, "curves", "points");
  auto t = NewArray(p.shape);
  auto at = NewArray(Append(p.shape, {2}));
  auto dist = NewArray(p.shape);
  const double *cd = c.data.data(), *pd = pts.data();
  double *to = t.mutable_data(), *ao = at.mutable_data(), *dd = dist.mutable_data();
  {
    py::gil_scoped_release nogil;
    ForEach(p, Rows([&](py::ssize_t i, py::ssize_t a, py::ssize_t b) {
      const double* q = cd + a;
      const CRV_CurveClass2D curve({q[0], q[1]}, {q[2], q[3]}, {q[4], q[5]}, {q[6], q[7]});
      const double tt = CRV_NearestPointOnCurve({pd[b], pd[b + 1]}, curve);
      double* pt = ao + 2 * i;
      CRV_EvaluatePoint(curve.Curve(), tt, pt);
      const double dx = pt[0] - pd[b], dy = pt[1] - pd[b + 1];
      to[i] = tt;
      dd[i] = std::sqrt(dx * dx + dy * dy);
      return true;
    }));
  }
  return py::make_tuple(t, at, dist);
}

// ---- Arc length

// Maps an array of any shape through `fn(value, out)` under `mu`, stopping at the first failing
// code, which is raised once the GIL is back. out_dims = 0 gives the input's shape.
template <typename Fn>
py::array_t<double> MapLocked(py::handle values, const char* name, int out_dims,
                              std::mutex* mu, const char* what, Fn fn) {
  const Doubles v = ToDoubles(values, name);
  Shape shape = ShapeOf(v);
  if (out_dims > 0) shape.push_back(out_dims);
  auto out = NewArray(shape);
  const double* vd = v.data();
  double* o = out.mutable_data();
  const int step = out_dims > 0 ? out_dims : 1;
  int32_t code = CRV_ErrNone;
  {
    py::gil_scoped_release nogil;
    std::lock_guard<std::mutex> lock(*mu);
    for (py::ssize_t i = 0, n = v.size(); i < n && code == CRV_ErrNone; ++i) {
      code = fn(vd[i], o + i * step);
    }
  }
  Check(code, what);
  return out;
}

// The items of a list of pairs of doubles (a table's {t, s}, a spline's points) as an (n, 2)
// array, read under the object's lock.
py::array_t<double> PairsOf(HostList& list, std::mutex& mu, const char* what) {
  std::vector<double> items;
  int32_t code;
  {
    std::lock_guard<std::mutex> lock(mu);
    code = list.CopyOut(&items);
  }
  Check(code, what);
  return FromVector(items, {static_cast<py::ssize_t>(items.size() / 2), 2});
}

class ArcTable {
 public:
  ArcTable(py::handle curve, int samples) {
    if (samples < 2 || samples > kMaxArcSamples) {
      throw py::value_error("samples must be from 2 to " + std::to_string(kMaxArcSamples) +
                            ", got " + std::to_string(samples));
    }
    Curves c = ToCurve(curve, "curve", {2, 3});
    RequireFinite(c.data, "curve");
    dims_ = c.dims;
    points_.assign(c.data.data(), c.data.data() + 4 * dims_);
    samples_ = samples;
    int32_t code;
    {
      py::gil_scoped_release nogil;
      const CRV_Curve r = Record(points_.data(), dims_);
      code = CRV_BuildArcTable(&r, samples_, table_.address(), &length_);
    }
    Check(code, "CRV_BuildArcTable");
  }

  double length() const { return length_; }
  int samples() const { return samples_; }
  py::array_t<double> curve() const { return FromVector(points_, {4, dims_}); }

  py::array_t<double> TFromS(py::handle s) {
    return MapLocked(s, "s", 0, &mu_, "CRV_TFromS", [this](double v, double* out) {
      const CRV_Curve r = Record(points_.data(), dims_);
      return CRV_TFromS(&r, v, samples_, table_.address(), out);
    });
  }
  py::array_t<double> SFromT(py::handle t) {
    return MapLocked(t, "t", 0, &mu_, "CRV_SFromT", [this](double v, double* out) {
      const CRV_Curve r = Record(points_.data(), dims_);
      return CRV_SFromT(&r, v, samples_, table_.address(), out);
    });
  }
  py::array_t<double> PointFromS(py::handle s) {
    return MapLocked(s, "s", dims_, &mu_, "CRV_EvaluatePointFromS",
                     [this](double v, double* out) {
                       const CRV_Curve r = Record(points_.data(), dims_);
                       return CRV_EvaluatePointFromS(&r, v, samples_, table_.address(), out);
                     });
  }
  py::array_t<double> Table() { return PairsOf(table_, mu_, "reading the arc-length table"); }

 private:
  std::vector<double> points_;
  int dims_ = 0;
  int samples_ = 0;
  double length_ = 0;
  HostList table_;
  std::mutex mu_;  // lookups lock the host list, and the lock count is not atomic
};

class ArcSpline {
 public:
  ArcSpline(py::handle curve, std::optional<double> bound) {
    Curves c = ToCurve(curve, "curve", {2, 3});
    RequireFinite(c.data, "curve");
    dims_ = c.dims;
    points_.assign(c.data.data(), c.data.data() + 4 * dims_);
    const CRV_Curve r = Record(points_.data(), dims_);
    int32_t code = CRV_ErrNone;
    if (bound) {
      bound_ = FiniteScalar(*bound, "bound");
    } else {
      // A thousandth of the length, squared: the same table the spline is fitted to measures it.
      HostList table;
      double length = 0;
      {
        py::gil_scoped_release nogil;
        code = CRV_BuildArcTable(&r, 128, table.address(), &length);
      }
      Check(code, "CRV_BuildArcTable");
      bound_ = (1e-3 * length) * (1e-3 * length);
    }
    if (!(bound_ > 0)) throw py::value_error("bound must be positive (a squared length)");
    {
      py::gil_scoped_release nogil;
      code = CRV_BuildArcSpline(&r, bound_, spline_.address(), &length_);
    }
    Check(code, "CRV_BuildArcSpline");
  }

  double length() const { return length_; }
  double bound() const { return bound_; }

  py::array_t<double> TFromS(py::handle s) {
    return MapLocked(s, "s", 0, &mu_, "CRV_TFromSSpline", [this](double v, double* out) {
      const CRV_Curve r = Record(points_.data(), dims_);
      return CRV_TFromSSpline(&r, v, bound_, spline_.address(), out);
    });
  }
  py::array_t<double> Points() { return PairsOf(spline_, mu_, "reading the arc-length spline"); }

 private:
  std::vector<double> points_;
  int dims_ = 0;
  double bound_ = 0;
  double length_ = 0;
  HostList spline_;
  std::mutex mu_;  // lookups may repair the stored spline in place
};

// ---- Fitting, flattening, projection, plane

py::array_t<double> Fit(py::handle points, double tolerance) {
  const Doubles pts = ToDoubles(points, "points");
  const Shape shape = ShapeOf(pts);
  if (shape.size() != 2 || (shape[1] != 2 && shape[1] != 3) || shape[0] < 2) {
    throw py::value_error("points: expected shape (n, 2) or (n, 3) with n >= 2, got " +
                          ShapeText(shape));
  }
  if (shape[0] > std::numeric_limits<int32_t>::max()) {
    throw py::value_error("points: at most 2**31 - 1 samples");
  }
  RequireFinite(pts, "points");
  FiniteScalar(tolerance, "tolerance");
  const double bound = tolerance * tolerance;
  // A bound of 0 is never met, and coincident samples then cost the square of their count.
  if (!(tolerance > 0) || !(bound > 0)) {
    throw py::value_error("tolerance must be positive (and its square above 0)");
  }
  const int dims = static_cast<int>(shape[1]);
  HostList list;
  std::vector<double> items;
  int32_t code;
  {
    py::gil_scoped_release nogil;
    code = CRV_FitMultipleCurves(pts.data(), static_cast<uint16_t>(dims),
                                 static_cast<int32_t>(shape[0]), bound, list.address());
    if (code == CRV_ErrNone) code = list.CopyOut(&items);
  }
  Check(code, "CRV_FitMultipleCurves");
  return ItemsToArray(items, dims, true);
}

py::array_t<double> Flatten(py::handle curve, double tolerance, double min_chord,
                            std::optional<double> x_low, std::optional<double> x_high,
                            int min_depth, int max_depth) {
  const Curves c = ToCurve(curve, "curve", {2});
  RequireFinite(c.data, "curve");
  if (!(FiniteScalar(tolerance, "tolerance") >= 0)) {
    throw py::value_error("tolerance must not be negative");
  }
  if (!(FiniteScalar(min_chord, "min_chord") >= 0)) {
    throw py::value_error("min_chord must not be negative");
  }
  if (min_depth < 0 || max_depth < 0 || min_depth > kMaxFlattenDepth ||
      max_depth > kMaxFlattenDepth) {
    throw py::value_error("min_depth and max_depth must be from 0 to " +
                          std::to_string(kMaxFlattenDepth));
  }
  double lo = x_low ? FiniteScalar(*x_low, "x_low") : 0.0;
  double hi = x_high ? FiniteScalar(*x_high, "x_high") : 0.0;
  CRV_LinearityParams params{min_chord * min_chord, tolerance, CRV_LINEARITY_CHECK_WORD,
                             static_cast<uint32_t>(min_depth), static_cast<uint32_t>(max_depth)};
  HostList list;
  std::vector<double> items;
  int32_t code;
  {
    py::gil_scoped_release nogil;
    const CRV_Curve r = Record(c.data.data(), 2);
    code = SEQ_New(0, 16, 64, 1, list.address());
    bool have_range = false;
    double y_min = 0, y_max = 0;
    if (code == CRV_ErrNone) {
      code = CRV_EvaluateAdaptively(CRV_IsLinearCallback, &params, x_low ? &lo : nullptr,
                                    x_high ? &hi : nullptr, &r, &have_range, &y_min, &y_max,
                                    list.address());
    }
    if (code == CRV_ErrNone) code = list.CopyOut(&items);
  }
  Check(code, "CRV_EvaluateAdaptively");
  return ItemsToArray(items, 2, false);
}

py::array_t<double> Project(py::handle curve, py::handle transform, double tolerance) {
  const Curves c = ToCurve(curve, "curve", {3});
  RequireFinite(c.data, "curve");
  const Doubles m = ToDoubles(transform, "transform");
  if (ShapeOf(m) != Shape{4, 4}) {
    throw py::value_error("transform: expected shape (4, 4), got " + ShapeText(ShapeOf(m)));
  }
  RequireFinite(m, "transform");
  if (!(FiniteScalar(tolerance, "tolerance") >= 0)) {
    throw py::value_error("tolerance must not be negative");
  }
  GEO_Matrix4 matrix;
  std::memcpy(matrix.m, m.data(), sizeof matrix.m);
  const double* q = c.data.data();
  const CRV_CurveClass3D curve3({q[0], q[1], q[2]}, {q[3], q[4], q[5]}, {q[6], q[7], q[8]},
                                {q[9], q[10], q[11]});
  std::vector<CRV_CurveClass2D> pieces;
  int32_t code = CRV_ErrNone;
  bool no_memory = false;
  {
    py::gil_scoped_release nogil;
    try {
      CRV_3DScreenCurveAdaptiveEvaluator(tolerance, matrix, curve3, &pieces);
    } catch (int thrown) {
      code = thrown;
    } catch (const std::bad_alloc&) {
      no_memory = true;
    }
  }
  if (no_memory) throw std::bad_alloc();
  Check(code, "CRV_3DScreenCurveAdaptiveEvaluator");
  py::array_t<double> out({static_cast<py::ssize_t>(pieces.size()), py::ssize_t{4},
                           py::ssize_t{2}});
  double* o = out.mutable_data();
  for (size_t j = 0; j < pieces.size(); ++j) {
    for (int i = 0; i < 4; ++i) {
      o[8 * j + 2 * i] = pieces[j].points[i].x;
      o[8 * j + 2 * i + 1] = pieces[j].points[i].y;
    }
  }
  return out;
}

py::array_t<double> IntersectPlane(py::handle curve, py::handle plane) {
  const Curves c = ToCurve(curve, "curve", {3});
  RequireFinite(c.data, "curve");
  const Doubles pl = ToDoubles(plane, "plane");
  if (ShapeOf(pl) != Shape{4}) {
    throw py::value_error("plane: expected shape (4,) for (a, b, c, d), got " +
                          ShapeText(ShapeOf(pl)));
  }
  RequireFinite(pl, "plane");
  const double* q = c.data.data();
  const CRV_CurveClass3D curve3({q[0], q[1], q[2]}, {q[3], q[4], q[5]}, {q[6], q[7], q[8]},
                                {q[9], q[10], q[11]});
  const GEO_PlaneEq eq{pl.data()[0], pl.data()[1], pl.data()[2], pl.data()[3]};
  std::vector<double> roots;
  {
    py::gil_scoped_release nogil;
    CRV_IntersectPlane(curve3, eq, &roots);
  }
  return FromVector(roots, {static_cast<py::ssize_t>(roots.size())});
}

}  // namespace

#include "docstrings.h"

PYBIND11_MODULE(crv, m) {
  m.doc() = doc::kModule;
  m.attr("__version__") = std::to_string(CRV_VERSION_MAJOR) + "." +
                          std::to_string(CRV_VERSION_MINOR) + "." +
                          std::to_string(CRV_VERSION_PATCH);

  py::dict ns;
  ns["__builtins__"] = py::module_::import("builtins");
  ns["__name__"] = "crv";
  py::exec(R"(
class CrvError(RuntimeError):
    """A libcrv call failed. ``code`` is its result code: 2 (a bad record), 4 (out of memory)
    or a host failure's code, passed on unchanged.

    >>> import crv
    >>> issubclass(crv.CrvError, RuntimeError)
    True
    """

    def __init__(self, message, code):
        super().__init__(message)
        self.code = code

    def __reduce__(self):
        return (type(self), (self.args[0], self.code))
)",
           ns);
  py::object error = ns["CrvError"];
  error.inc_ref();  // the module and g_crv_error keep it for the process's life
  g_crv_error = error.ptr();
  m.attr("CrvError") = error;

  using py::arg;
  m.def("evaluate", &Evaluate, arg("curves"), arg("t"), doc::kEvaluate);
  m.def("derivative", &Derivative, arg("curves"), arg("t"), arg("order") = 1, doc::kDerivative);
  m.def("bounds", &Bounds, arg("curves"), doc::kBounds);
  m.def("split", &Split, arg("curves"), arg("t"), doc::kSplit);
  m.def("t_from_x", &TFromX, arg("curves"), arg("x"), doc::kTFromX);
  m.def("y_from_x", &YFromX, arg("curves"), arg("x"), doc::kYFromX);
  m.def("nearest", &Nearest, arg("curves"), arg("points"), doc::kNearest);
  m.def("fit", &Fit, arg("points"), arg("tolerance"), doc::kFit);
  m.def("flatten", &Flatten, arg("curve"), arg("tolerance") = 0.0005, py::kw_only(),
        arg("min_chord") = 0.0, arg("x_low") = py::none(), arg("x_high") = py::none(),
        arg("min_depth") = 2, arg("max_depth") = 10, doc::kFlatten);
  m.def("project", &Project, arg("curve"), arg("transform"), arg("tolerance") = 0.5,
        doc::kProject);
  m.def("intersect_plane", &IntersectPlane, arg("curve"), arg("plane"), doc::kIntersectPlane);

  py::class_<ArcTable>(m, "ArcTable", doc::kArcTable)
      .def(py::init<py::handle, int>(), arg("curve"), arg("samples") = 1024)
      .def_property_readonly("length", &ArcTable::length, doc::kArcTableLength)
      .def_property_readonly("samples", &ArcTable::samples, "The number of table entries.")
      .def_property_readonly("curve", &ArcTable::curve, "A copy of the measured curve, (4, D).")
      .def_property_readonly("table", &ArcTable::Table, doc::kArcTableTable)
      .def("t_from_s", &ArcTable::TFromS, arg("s"), doc::kArcTableTFromS)
      .def("s_from_t", &ArcTable::SFromT, arg("t"), doc::kArcTableSFromT)
      .def("point_from_s", &ArcTable::PointFromS, arg("s"), doc::kArcTablePointFromS);

  py::class_<ArcSpline>(m, "ArcSpline", doc::kArcSpline)
      .def(py::init<py::handle, std::optional<double>>(), arg("curve"),
           arg("bound") = py::none())
      .def_property_readonly("length", &ArcSpline::length, "The arc length L of the curve.")
      .def_property_readonly("bound", &ArcSpline::bound, "The fit's bound, a squared length.")
      .def_property_readonly("points", &ArcSpline::Points, doc::kArcSplinePoints)
      .def("t_from_s", &ArcSpline::TFromS, arg("s"), doc::kArcSplineTFromS);
}
