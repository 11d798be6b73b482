// crv: cubic Bezier curve maths for JavaScript, over crv.wasm (the library built for WebAssembly).
//
// Every function takes arrays of numbers (plain arrays or typed arrays) and returns new
// Float64Arrays holding the library's own results, bit for bit those of a native caller. Curves
// are 4 * dims numbers each (P0, P1, P2, P3, point-major; dims = 2 unless an option says
// otherwise), and a batch is curves laid end to end. Where curves meet parameters or points, n
// curves pair with n of them one to one, or one curve serves them all, or one parameter serves
// all curves: one call does the whole batch, so the crossing into WebAssembly is paid once.
// The names are those of the Python module.
//
//   import * as crv from "./crv.mjs";
//   const [x, y] = crv.evaluate([0, 0, 0, 1, 1, 1, 1, 0], [0.5]);
//
// The module loads crv.wasm from beside itself (fetch in a browser, the file in node) before it
// resolves: importing it is all the setup there is.

const wasmUrl = new URL("./crv.wasm", import.meta.url);

async function loadBytes() {
  if (typeof process !== "undefined" && process.versions && process.versions.node) {
    const { readFile } = await import("node:fs/promises");
    return readFile(wasmUrl);
  }
  const response = await fetch(wasmUrl);
  if (!response.ok) throw new Error(`crv.mjs: ${wasmUrl} answered ${response.status}`);
  return response.arrayBuffer();
}

const imports = {
  // The module reports growth; the views below are renewed on every call that could grow it.
  env: { emscripten_notify_memory_growth() {} },
  // Nothing in the library exits; a call here is a fault in the module.
  wasi_snapshot_preview1: {
    proc_exit(code) {
      throw new Error(`crv.wasm exited with status ${code}`);
    },
  },
};

const { instance } = await WebAssembly.instantiate(await loadBytes(), imports);
const w = instance.exports;
w._initialize();

let f64 = new Float64Array(w.memory.buffer);
let i32 = new Int32Array(w.memory.buffer);
function views() {
  if (f64.buffer !== w.memory.buffer) {
    f64 = new Float64Array(w.memory.buffer);
    i32 = new Int32Array(w.memory.buffer);
  }
}

// One scratch block in the module's memory, reused by every call and grown when a call needs
// more. Positions are byte addresses, 8-aligned.
let scratch = 0;
let scratchBytes = 0;
function reserve(doubles) {
  const bytes = doubles * 8;
  if (bytes > scratchBytes) {
    if (scratch) w.crvw_free(scratch);
    scratchBytes = Math.max(bytes, 2 * scratchBytes, 4096);
    scratch = w.crvw_malloc(scratchBytes);
    if (!scratch) {
      scratchBytes = 0;
      throw new RangeError(`crv: no memory for ${doubles} numbers`);
    }
  }
  views();
  return scratch;
}

function put(at, values) {
  f64.set(values, at >> 3);
}
function take(at, count, out) {
  views();
  const view = f64.subarray(at >> 3, (at >> 3) + count);
  if (out === undefined) return view.slice();
  if (out.length < count) throw new RangeError(`out: needs ${count} numbers, has ${out.length}`);
  out.set(view);
  return out;
}
// For results whose size is known only afterwards: the first `count` numbers of `out` when it is
// long enough (a view of it), else a new array.
function takeSome(at, count, out) {
  if (out === undefined || out.length < count) return take(at, count);
  return take(at, count, out).subarray(0, count);
}

/** A failed library call; `code` is its result code (2 a bad record, 4 out of memory, or the
 * host's code passed on unchanged, e.g. -3201 for a point at or behind the eye). */
export class CrvError extends Error {
  constructor(message, code) {
    super(message);
    this.name = "CrvError";
    this.code = code;
  }
}
function check(code, what) {
  if (code !== 0) throw new CrvError(`${what} failed with result code ${code}`, code);
}

const v = w.crvw_version();
/** The library's version, "major.minor.patch". */
export const version = `${Math.floor(v / 10000)}.${Math.floor(v / 100) % 100}.${v % 100}`;

function dimsOf(options, allowed) {
  const dims = options.dims ?? 2;
  if (!Number.isInteger(dims) || !(allowed ? allowed.includes(dims) : dims >= 1 && dims <= 16)) {
    throw new RangeError(`dims: ${allowed ? allowed.join(" or ") : "1 to 16"}, got ${dims}`);
  }
  return dims;
}
function curveCount(curves, dims, name = "curves") {
  const item = 4 * dims;
  if (curves.length === 0 || curves.length % item !== 0) {
    throw new RangeError(`${name}: a multiple of ${item} numbers (4 points of ${dims}), got ${curves.length}`);
  }
  return curves.length / item;
}
// The batch size of n items against m: equal counts pair up, a single one is shared.
function pair(n, m, a, b) {
  if (n !== m && n !== 1 && m !== 1) throw new RangeError(`${a} (${n}) and ${b} (${m}) do not pair`);
  return m === 0 || n === 0 ? 0 : Math.max(n, m);
}
function requireFinite(values, name) {
  for (let i = 0; i < values.length; i++) {
    if (!Number.isFinite(values[i])) throw new RangeError(`${name}: NaN and infinite values are not accepted`);
  }
}
function finiteScalar(value, name) {
  if (typeof value !== "number" || !Number.isFinite(value)) throw new RangeError(`${name} must be a finite number`);
  return value;
}

function pointsAt(curves, t, order, options) {
  const dims = dimsOf(options);
  const nc = curveCount(curves, dims);
  const n = pair(nc, t.length, "curves", "t");
  const at = reserve(curves.length + t.length + n * dims);
  const pt = at + 8 * curves.length, po = pt + 8 * t.length;
  put(at, curves);
  put(pt, t);
  if (n) w.crvw_evaluate(at, nc, dims, pt, t.length, order, po);
  return take(po, n * dims, options.out);
}

/** B(t): dims numbers per result. Options: dims, out (a Float64Array to fill instead). */
export function evaluate(curves, t, options = {}) {
  return pointsAt(curves, t, 0, options);
}

/** B'(t) (order 1) or B''(t) (order 2). */
export function derivative(curves, t, order = 1, options = {}) {
  if (order !== 1 && order !== 2) throw new RangeError("order must be 1 or 2");
  return pointsAt(curves, t, order, options);
}

/** B at count even parameters from t0 to t1 of one curve (forward differences). */
export function evaluate_even(curve, t0, t1, count, options = {}) {
  const dims = dimsOf(options);
  if (curveCount(curve, dims, "curve") !== 1) throw new RangeError("curve: one curve");
  if (!Number.isInteger(count) || count < 0) throw new RangeError("count must be a whole number");
  const at = reserve(curve.length + count * dims);
  put(at, curve);
  w.crvw_evaluate_even(at, dims, t0, t1, count, at + 8 * curve.length);
  return take(at + 8 * curve.length, count * dims, options.out);
}

/** Tight bounds of each curve: { min, max }, dims numbers per curve each. */
export function bounds(curves, options = {}) {
  const dims = dimsOf(options);
  const n = curveCount(curves, dims);
  // A NaN coordinate would give finite bounds that do not hold it.
  requireFinite(curves, "curves");
  const at = reserve(curves.length + 2 * n * dims);
  const lo = at + 8 * curves.length, hi = lo + 8 * n * dims;
  put(at, curves);
  w.crvw_bounds(at, n, dims, lo, hi);
  return { min: take(lo, n * dims), max: take(hi, n * dims) };
}

/** Each curve split at t: { left, right }, whole curves (4 * dims numbers each). */
export function split(curves, t, options = {}) {
  const dims = dimsOf(options);
  const nc = curveCount(curves, dims);
  const n = pair(nc, t.length, "curves", "t");
  const at = reserve(curves.length + t.length + 8 * n * dims);
  const pt = at + 8 * curves.length, pl = pt + 8 * t.length, pr = pl + 32 * n * dims;
  put(at, curves);
  put(pt, t);
  if (n) w.crvw_split(at, nc, dims, pt, t.length, pl, pr);
  return { left: take(pl, 4 * n * dims), right: take(pr, 4 * n * dims) };
}

function byX(curves, x, kind, options) {
  const nc = curveCount(curves, 2);
  // A NaN time would fall back to t = 0 and answer P0's value as if it were meant.
  requireFinite(curves, "curves");
  for (let i = 0; i < x.length; i++) if (Number.isNaN(x[i])) throw new RangeError("x: NaN is not accepted");
  const n = pair(nc, x.length, "curves", "x");
  const at = reserve(curves.length + x.length + n);
  const px = at + 8 * curves.length, po = px + 8 * x.length;
  put(at, curves);
  put(px, x);
  if (n) w.crvw_by_x(at, nc, px, x.length, kind, po);
  return take(po, n, options.out);
}

/** The parameter at time x of function curves (x, y); NaN where no root is accepted. */
export function t_from_x(curves, x, options = {}) {
  return byX(curves, x, 0, options);
}

/** The value y at time x of function curves (x, y): easing lookups. */
export function y_from_x(curves, x, options = {}) {
  return byX(curves, x, 1, options);
}

/** y at count even times from x1 to x2 on one function curve (count 1 to 32767). */
export function y_from_xs(curve, x1, x2, count, options = {}) {
  if (curveCount(curve, 2, "curve") !== 1) throw new RangeError("curve: one curve of 8 numbers");
  if (!Number.isInteger(count) || count < 0 || count > 32767) throw new RangeError("count: 0 to 32767");
  const at = reserve(8 + count);
  put(at, curve);
  w.crvw_y_from_xs(at, x1, x2, count, at + 64);
  return take(at + 64, count, options.out);
}

/** The CSS easing curve cubic-bezier(x1, y1, x2, y2): (0, 0), (x1, y1), (x2, y2), (1, 1). */
export function cubic_bezier(x1, y1, x2, y2) {
  return Float64Array.of(0, 0, x1, y1, x2, y2, 1, 1);
}

/** The nearest point of 2-D curves to points (x, y pairs): { t, points, distance }. */
export function nearest(curves, points) {
  const nc = curveCount(curves, 2);
  if (points.length % 2 !== 0) throw new RangeError("points: x, y pairs");
  requireFinite(curves, "curves");
  requireFinite(points, "points");
  const np = points.length / 2;
  const n = pair(nc, np, "curves", "points");
  const at = reserve(curves.length + points.length + 4 * n);
  const pp = at + 8 * curves.length, pt = pp + 8 * points.length, pa = pt + 8 * n, pd = pa + 16 * n;
  put(at, curves);
  put(pp, points);
  if (n) w.crvw_nearest(at, nc, pp, np, pt, pa, pd);
  return { t: take(pt, n), points: take(pa, 2 * n), distance: take(pd, n) };
}

// Sample counts above this make a table whose last t drifts past the lookups' tolerance.
const kMaxArcSamples = 1800000;

/** The arc length of each 2-D or 3-D curve, measured by an arc-length table of `samples`
 * entries (the same length as ArcTable's). */
export function arc_length(curves, samples = 1024, options = {}) {
  const dims = dimsOf(options, [2, 3]);
  const n = curveCount(curves, dims);
  requireFinite(curves, "curves");
  if (!Number.isInteger(samples) || samples < 2 || samples > kMaxArcSamples) {
    throw new RangeError(`samples must be from 2 to ${kMaxArcSamples}, got ${samples}`);
  }
  const at = reserve(curves.length + n);
  put(at, curves);
  check(w.crvw_arc_lengths(at, n, dims, samples, at + 8 * curves.length), "CRV_BuildArcTable");
  return take(at + 8 * curves.length, n, options.out);
}

/** The arc-length table of one 2-D or 3-D curve, in the module's memory until dispose(). */
export class ArcTable {
  #curve = 0; // the curve's copy and the handle variable, one block of the module's memory
  #dims;
  #samples;
  #length;

  constructor(curve, samples = 1024, options = {}) {
    const dims = dimsOf(options, [2, 3]);
    if (curveCount(curve, dims, "curve") !== 1) throw new RangeError("curve: one curve");
    requireFinite(curve, "curve");
    if (!Number.isInteger(samples) || samples < 2 || samples > kMaxArcSamples) {
      throw new RangeError(`samples must be from 2 to ${kMaxArcSamples}, got ${samples}`);
    }
    this.#dims = dims;
    this.#samples = samples;
    this.#curve = w.crvw_malloc(8 * (4 * dims + 2));
    if (!this.#curve) throw new RangeError("crv: no memory for a table");
    views();
    put(this.#curve, curve);
    i32[this.#handle >> 2] = 0;
    const length = reserve(1);
    const code = w.crvw_arc_table(this.#curve, dims, samples, this.#handle, length);
    views();
    this.#length = f64[length >> 3];
    if (code !== 0) {
      this.dispose();
      check(code, "CRV_BuildArcTable");
    }
  }

  get #handle() {
    return this.#curve + 32 * this.#dims;
  }
  #live() {
    if (!this.#curve) throw new Error("ArcTable: used after dispose()");
  }

  /** The arc length L of the curve. */
  get length() {
    return this.#length;
  }
  get samples() {
    return this.#samples;
  }
  get curve() {
    this.#live();
    return take(this.#curve, 4 * this.#dims);
  }
  /** The table's (t, s) entries, pairs of numbers. */
  get table() {
    this.#live();
    check(w.crvw_list_items(this.#handle), "reading the arc-length table");
    return take(w.crvw_result_data(), w.crvw_result_size());
  }

  #lookup(kind, values, perValue, what, options) {
    this.#live();
    const at = reserve(values.length * (1 + perValue));
    const po = at + 8 * values.length;
    put(at, values);
    const code = w.crvw_arc_lookup(this.#curve, this.#dims, this.#samples, this.#handle, kind, at,
      values.length, po);
    check(code, what);
    return take(po, values.length * perValue, options.out);
  }
  /** The parameter at each arc length s. */
  t_from_s(s, options = {}) {
    return this.#lookup(0, s, 1, "CRV_TFromS", options);
  }
  /** The arc length at each parameter t. */
  s_from_t(t, options = {}) {
    return this.#lookup(1, t, 1, "CRV_SFromT", options);
  }
  /** The curve point (dims numbers) at each arc length s. */
  point_from_s(s, options = {}) {
    return this.#lookup(2, s, this.#dims, "CRV_EvaluatePointFromS", options);
  }

  /** Frees the table and the curve's copy; the object is unusable afterwards. */
  dispose() {
    if (!this.#curve) return;
    w.crvw_list_dispose(this.#handle);
    w.crvw_free(this.#curve);
    this.#curve = 0;
  }
}

/** A tangent-continuous chain of cubics through sampled points (dims 2 or 3) whose every sample
 * lies within `tolerance` of it: k curves of 4 * dims numbers, neighbours sharing end points. */
export function fit(points, tolerance, options = {}) {
  const dims = dimsOf(options, [2, 3]);
  if (points.length % dims !== 0 || points.length < 2 * dims) {
    throw new RangeError(`points: at least two points of ${dims} numbers`);
  }
  requireFinite(points, "points");
  const bound = finiteScalar(tolerance, "tolerance") * tolerance;
  // A bound of 0 is never met, and coincident samples then cost the square of their count.
  if (!(tolerance > 0) || !(bound > 0)) throw new RangeError("tolerance must be positive (and its square above 0)");
  const at = reserve(points.length);
  put(at, points);
  check(w.crvw_fit(at, points.length / dims, dims, bound), "CRV_FitMultipleCurves");
  const chain = take(w.crvw_result_data(), w.crvw_result_size());
  const k = (chain.length / dims - 1) / 3;
  const out = new Float64Array(4 * k * dims);
  for (let j = 0; j < k; j++) out.set(chain.subarray(3 * j * dims, (3 * j + 4) * dims), 4 * j * dims);
  return out;
}

// Flattening halves at most this often: 2^20 + 1 points, as the library's own walks.
const kMaxFlattenDepth = 20;

/** The adaptive polyline (x, y pairs) of a 2-D curve by the library's straightness test:
 * pieces are halved until both end tangents lie along the chord within `tolerance` (on the
 * cosine). Options: min_chord, x_low, x_high (clip a function curve's time), min_depth (2),
 * max_depth (10). */
export function flatten(curve, tolerance = 0.0005, options = {}) {
  if (curveCount(curve, 2, "curve") !== 1) throw new RangeError("curve: one curve of 8 numbers");
  requireFinite(curve, "curve");
  if (!(finiteScalar(tolerance, "tolerance") >= 0)) throw new RangeError("tolerance must not be negative");
  const minChord = finiteScalar(options.min_chord ?? 0, "min_chord");
  if (!(minChord >= 0)) throw new RangeError("min_chord must not be negative");
  const minDepth = options.min_depth ?? 2, maxDepth = options.max_depth ?? 10;
  for (const d of [minDepth, maxDepth]) {
    if (!Number.isInteger(d) || d < 0 || d > kMaxFlattenDepth) {
      throw new RangeError(`min_depth and max_depth must be from 0 to ${kMaxFlattenDepth}`);
    }
  }
  const at = reserve(10);
  put(at, curve);
  const lo = options.x_low ?? null, hi = options.x_high ?? null;
  if (lo !== null) f64[(at >> 3) + 8] = finiteScalar(lo, "x_low");
  if (hi !== null) f64[(at >> 3) + 9] = finiteScalar(hi, "x_high");
  const code = w.crvw_flatten(at, tolerance, minChord, lo === null ? 0 : at + 64,
    hi === null ? 0 : at + 72, minDepth, maxDepth);
  check(code, "CRV_EvaluateAdaptively");
  return take(w.crvw_result_data(), w.crvw_result_size());
}

/** Polylines within `distance` of 2-D curves, by the library's adaptive driver and a flatness
 * test on each piece's control polygon: { points (x, y pairs, one polyline after another),
 * counts (points per curve) }. Option `out`: an array to receive the points when it is long
 * enough (points is then a view of it). */
export function flatten_within(curves, distance, options = {}) {
  const n = curveCount(curves, 2);
  requireFinite(curves, "curves");
  if (!(finiteScalar(distance, "distance") > 0)) throw new RangeError("distance must be positive");
  const at = reserve(curves.length + Math.ceil(n / 2));
  const pc = at + 8 * curves.length;
  put(at, curves);
  check(w.crvw_flatten_within(at, n, distance, pc), "CRV_EvaluateAdaptively");
  views();
  const counts = i32.slice(pc >> 2, (pc >> 2) + n);
  return { points: takeSome(w.crvw_result_data(), w.crvw_result_size(), options.out), counts };
}

/** The screen cubics (8 numbers each) of a 3-D curve (12 numbers) under a 4x4 transform (16
 * numbers, row-major, acting on (x, y, z, 1) and divided by w): the curve is halved until each
 * piece's projected control points give a cubic within `tolerance` of the true projection. A
 * curve that reaches the eye or passes behind it throws CrvError with code -3201. */
export function project(curve, transform, tolerance = 0.5) {
  if (curve.length !== 12) throw new RangeError("curve: one 3-D curve of 12 numbers");
  if (transform.length !== 16) throw new RangeError("transform: 16 numbers, row-major");
  requireFinite(curve, "curve");
  requireFinite(transform, "transform");
  if (!(finiteScalar(tolerance, "tolerance") >= 0)) throw new RangeError("tolerance must not be negative");
  const at = reserve(28);
  put(at, curve);
  put(at + 96, transform);
  check(w.crvw_project(at, at + 96, tolerance), "CRV_3DScreenCurveAdaptiveEvaluator");
  return take(w.crvw_result_data(), w.crvw_result_size());
}

/** The parameters in [0, 1], ascending, where a 3-D curve (12 numbers) meets the plane
 * a x + b y + c z + d = 0 (4 numbers). */
export function intersect_plane(curve, plane) {
  if (curve.length !== 12) throw new RangeError("curve: one 3-D curve of 12 numbers");
  if (plane.length !== 4) throw new RangeError("plane: a, b, c, d");
  requireFinite(curve, "curve");
  requireFinite(plane, "plane");
  const at = reserve(16);
  put(at, curve);
  put(at + 96, plane);
  w.crvw_intersect_plane(at, at + 96);
  return take(w.crvw_result_data(), w.crvw_result_size());
}
