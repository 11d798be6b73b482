// crv.wasm (through crv.mjs, in batches) beside the JavaScript curve libraries a web developer
// would pick, on the same data in one node process: easing y(x), point evaluation, bounds, arc
// length, nearest point and flattening. Prints a Markdown table of median nanoseconds per item.
//
//   node bench.mjs CRV_MJS     (bench/web/run.sh builds crv.mjs and installs the peers)
import { createRequire } from "node:module";
import os from "node:os";
import { pathToFileURL } from "node:url";

const require = createRequire(import.meta.url);
const BezierEasing = require("bezier-easing");
const { Bezier } = await import("bezier-js");
const adaptiveBezier = require("adaptive-bezier-curve");
const crv = await import(pathToFileURL(process.argv[2] || "../../build/web/crv.mjs").href);

// ---- Data: a fixed seed; 1000 cubics with coordinates in [0, 1000], a parameter and a query
// point each; 1000 CSS easing curves (x1, x2 in [0, 1], y1, y2 in [-0.5, 1.5]) with a time each.
let seed = 20240607;
function random() { // mulberry32
  seed = (seed + 0x6d2b79f5) | 0;
  let z = Math.imul(seed ^ (seed >>> 15), 1 | seed);
  z = (z + Math.imul(z ^ (z >>> 7), 61 | z)) ^ z;
  return ((z ^ (z >>> 14)) >>> 0) / 4294967296;
}
const N = 1000;
const cubics = new Float64Array(8 * N).map(() => 1000 * random());
const ts = new Float64Array(N).map(random);
const queries = new Float64Array(2 * N).map(() => 1000 * random());
const eases = Array.from({ length: N }, () => [random(), 2 * random() - 0.5, random(), 2 * random() - 0.5, random()]);
const easeCurves = new Float64Array(8 * N);
eases.forEach((e, i) => easeCurves.set([0, 0, e[0], e[1], e[2], e[3], 1, 1], 8 * i));
const easeX = Float64Array.from(eases, (e) => e[4]);

// ---- Timing, as the peers' harness (a warm-up of at least 3 passes and 0.3 s, an inner loop
// calibrated to a minimum time, 15 repetitions, the median), but in the process's CPU time and
// with 10 ms repetitions: on a machine shared with builds, wall time counts the time the process
// waits for a core. Nanoseconds per item.
const cpuNs = () => {
  const u = process.cpuUsage();
  return (u.user + u.system) * 1000;
};
function measure(pass, items, reps = 15, minRepNs = 1e7) {
  const w0 = cpuNs();
  for (let k = 0; k < 3 || cpuNs() - w0 < 3e8; k++) pass();
  const t0 = cpuNs();
  let once = 0;
  do { pass(); once++; } while (cpuNs() - t0 < 1e6);
  const inner = Math.max(1, Math.ceil(minRepNs / ((cpuNs() - t0) / once)));
  const v = [];
  for (let r = 0; r < reps; r++) {
    const a = cpuNs();
    for (let i = 0; i < inner; i++) pass();
    v.push((cpuNs() - a) / (inner * items));
  }
  v.sort((a, b) => a - b);
  return { best: v[0], median: v[v.length >> 1] };
}

const rows = [];
function row(op, crvVariant, crvNs, peer, peerVariant, peerNs, note = "") {
  rows.push({ op, crvVariant, crvNs: crvNs.median, peer, peerVariant, peerNs: peerNs.median, note });
  console.error(`${op.padEnd(11)} crv ${crvNs.median.toFixed(1).padStart(8)} ns (best ${crvNs.best.toFixed(1)})   ` +
    `${peer} ${peerVariant} ${peerNs.median.toFixed(1)} ns (best ${peerNs.best.toFixed(1)})`);
}
let sink = 0;

// Easing: y at x on 1000 curves, each at its own time.
{
  const out = new Float64Array(N);
  // The first measurement of the run also settles the process (collection of the data's
  // garbage, the module's first calls): it is made twice and the first discarded.
  measure(() => crv.y_from_x(easeCurves, easeX, { out }), N);
  const crvNs = measure(() => crv.y_from_x(easeCurves, easeX, { out }), N);
  // The curves written into a reused array each pass, as a caller whose curves change would.
  const c = new Float64Array(8 * N);
  const crvBuild = measure(() => {
    for (let i = 0; i < N; i++) {
      const e = eases[i];
      c[8 * i + 2] = e[0]; c[8 * i + 3] = e[1]; c[8 * i + 4] = e[2]; c[8 * i + 5] = e[3]; c[8 * i + 6] = 1; c[8 * i + 7] = 1;
    }
    crv.y_from_x(c, easeX, { out });
  }, N);
  const built = eases.map((e) => BezierEasing(e[0], e[1], e[2], e[3]));
  const pre = measure(() => { for (let i = 0; i < N; i++) out[i] = built[i](easeX[i]); }, N);
  const construct = measure(() => {
    for (let i = 0; i < N; i++) { const e = eases[i]; out[i] = BezierEasing(e[0], e[1], e[2], e[3])(e[4]); }
  }, N);
  row("easing y(x)", "y_from_x, curves in place", crvNs, "bezier-easing", "eval, prebuilt function", pre,
    "bezier-easing samples each curve into an 11-entry table when it is built");
  row("easing y(x)", "y_from_x, curves written per pass", crvBuild, "bezier-easing", "construct + eval", construct);
}

// Point evaluation: each cubic at its own t.
{
  const B = Array.from({ length: N }, (_, i) => new Bezier(...cubics.subarray(8 * i, 8 * i + 8)));
  const out = new Float64Array(2 * N);
  const crvNs = measure(() => crv.evaluate(cubics, ts, { out }), N);
  const peer = measure(() => {
    for (let i = 0; i < N; i++) { const p = B[i].compute(ts[i]); out[2 * i] = p.x; out[2 * i + 1] = p.y; }
  }, N);
  row("point", "evaluate", crvNs, "bezier-js", "compute", peer);

  // Tight bounds.
  const crvB = measure(() => { sink += crv.bounds(cubics).min[0]; }, N);
  const peerB = measure(() => { for (let i = 0; i < N; i++) sink += B[i].bbox().x.min; }, N);
  row("bounds", "bounds", crvB, "bezier-js", "bbox", peerB);

  // Arc length, with the relative error of each against a table of 2^16 samples.
  const ref = crv.arc_length(cubics, 1 << 16);
  const worst = (lengths) => lengths.reduce((m, l, i) => Math.max(m, Math.abs(l - ref[i]) / ref[i]), 0);
  const peerLen = Float64Array.from(B, (b) => b.length());
  const peerL = measure(() => { for (let i = 0; i < N; i++) sink += B[i].length(); }, N);
  for (const samples of [32, 64, 128]) {
    const lengths = new Float64Array(N);
    const crvL = measure(() => crv.arc_length(cubics, samples, { out: lengths }), N);
    row("arc length", `arc_length, ${samples}-sample table (worst rel. error ${worst(lengths).toExponential(1)})`, crvL,
      "bezier-js", `length (Gauss-Legendre, worst rel. error ${worst(peerLen).toExponential(1)})`, peerL);
  }

  // Nearest point: each cubic against its own query point.
  const crvN = measure(() => { sink += crv.nearest(cubics, queries).t[0]; }, N, 9);
  const peerN = measure(() => {
    for (let i = 0; i < N; i++) { B[i]._lut = []; sink += B[i].project({ x: queries[2 * i], y: queries[2 * i + 1] }).t; }
  }, N, 9);
  const peerNc = measure(() => {
    for (let i = 0; i < N; i++) sink += B[i].project({ x: queries[2 * i], y: queries[2 * i + 1] }).t;
  }, N, 9);
  // How far bezier-js's answers are from the true nearest point (CRV's is exact to rounding).
  const exact = crv.nearest(cubics, queries).distance;
  let excess = 0;
  for (let i = 0; i < N; i++) excess = Math.max(excess, B[i].project({ x: queries[2 * i], y: queries[2 * i + 1] }).d - exact[i]);
  row("nearest", "nearest", crvN, "bezier-js", "project, lookup table rebuilt per call", peerN,
    `bezier-js's distances exceed the true minimum by up to ${excess.toFixed(2)}`);
  row("nearest", "nearest", crvN, "bezier-js", "project, lookup table cached on the curve", peerNc);
}

// Flattening within 0.25: adaptive-bezier-curve's distance tolerance is 1 / scale.
{
  const P = Array.from({ length: N }, (_, i) => {
    const c = cubics.subarray(8 * i, 8 * i + 8);
    return [[c[0], c[1]], [c[2], c[3]], [c[4], c[5]], [c[6], c[7]]];
  });
  let crvPoints = 0, peerPoints = 0;
  const out = new Float64Array(1 << 20);
  const crvF = measure(() => { crvPoints = crv.flatten_within(cubics, 0.25, { out }).points.length / 2; }, N, 9);
  const peerF = measure(() => {
    peerPoints = 0;
    for (let i = 0; i < N; i++) { const p = P[i]; peerPoints += adaptiveBezier(p[0], p[1], p[2], p[3], 4).length; }
  }, N, 9);
  row("flatten", `flatten_within 0.25 (${(crvPoints / N).toFixed(1)} points a curve)`, crvF, "adaptive-bezier-curve",
    `scale 4, tolerance 0.25 (${(peerPoints / N).toFixed(1)} points a curve)`, peerF);
}
globalThis.__sink = sink;

console.log(`Run of ${new Date().toISOString().slice(0, 16)}Z, node ${process.version}, ${os.cpus()[0].model}, ` +
  `${os.cpus().length} cores, load average ${os.loadavg()[0].toFixed(1)}; crv.wasm ${crv.version}.\n` +
  `CPU nanoseconds per item (curve or lookup), median of 15 repetitions, 1000 items a batch.\n`);
console.log("| op | CRV (crv.wasm, batched) | ns | peer | peer's variant | ns | CRV / peer |");
console.log("|---|---|---:|---|---|---:|---:|");
for (const r of rows) {
  console.log(`| ${r.op} | ${r.crvVariant} | ${r.crvNs.toFixed(1)} | ${r.peer} | ${r.peerVariant} | ${r.peerNs.toFixed(1)} | ${(r.crvNs / r.peerNs).toFixed(2)} |`);
}
const notes = rows.filter((r) => r.note);
if (notes.length) console.log("\n" + notes.map((r) => `- ${r.op}: ${r.note}`).join("\n"));
