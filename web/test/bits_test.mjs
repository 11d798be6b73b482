// crv.mjs against the native library, bit for bit: seeded random curves through every function
// of the module and through the native crv tool (whose JSON prints each double so that it reads
// back exactly), each pair of results compared with ===.
//
//   node bits_test.mjs CRV_MJS CRV_TOOL
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { pathToFileURL } from "node:url";

const [mjs, tool] = process.argv.slice(2);
const crv = await import(pathToFileURL(path.resolve(mjs)).href);
const native = (...args) => JSON.parse(execFileSync(tool, [...args, "--json"], { encoding: "utf8" }));

let seed = 7;
const random = () => ((seed = (Math.imul(seed, 1103515245) + 12345) >>> 0) / 4294967296);
const uniform = (lo, hi) => lo + (hi - lo) * random();
const curveArg = (c, dims = 2) => Array.from({ length: 4 }, (_, i) => Array.from(c.slice(i * dims, i * dims + dims)).join(",")).join(" ");
const flat = (nested) => nested.flat(Infinity);

let compared = 0;
const failures = [];
function same(what, web, nat) {
  const a = Array.from(web), b = flat([nat]);
  compared += b.length;
  const i = a.findIndex((v, k) => !Object.is(v, b[k]));
  if (a.length !== b.length || i >= 0) {
    failures.push(`${what}: ${a.length !== b.length ? `${a.length} values against ${b.length}` : `value ${i}: ${a[i]} against ${b[i]}`}`);
  }
}

const ts = Array.from({ length: 9 }, () => uniform(-0.2, 1.2)).concat([0, 1, 0.5]);
for (let k = 0; k < 6; k++) {
  const c = Array.from({ length: 8 }, () => uniform(-500, 1500));
  const arg = curveArg(c);
  const ev = native("eval", "--curve", arg, "--t", ts.join(","));
  same(`evaluate ${k}`, crv.evaluate(c, ts), ev.samples.map((s) => s.point));
  same(`derivative ${k}`, crv.derivative(c, ts), ev.samples.map((s) => s.d1));
  same(`second derivative ${k}`, crv.derivative(c, ts, 2), ev.samples.map((s) => s.d2));
  const b = native("bounds", "--curve", arg);
  const wb = crv.bounds(c);
  same(`bounds ${k}`, [...wb.min, ...wb.max], [b.min, b.max]);
  const sp = native("split", "--curve", arg, "--t", String(ts[k]));
  const ws = crv.split(c, [ts[k]]);
  same(`split ${k}`, [...ws.left, ...ws.right], [sp.left, sp.right]);
  const q = Array.from({ length: 10 }, () => uniform(-500, 1500));
  const nn = native("nearest", "--curve", arg, "--point", Array.from({ length: 5 }, (_, i) => `${q[2 * i]},${q[2 * i + 1]}`).join(" ")).queries;
  const wn = crv.nearest(c, q);
  same(`nearest t ${k}`, wn.t, nn.map((r) => r.t));
  same(`nearest point ${k}`, wn.points, nn.map((r) => r.nearest));
  // The tool takes hypot, the module the square root of the sum: equal to the last place or two.
  nn.forEach((r, i) => {
    if (!(Math.abs(wn.distance[i] - r.distance) <= 1e-14 * r.distance)) failures.push(`nearest distance ${k}.${i}: ${wn.distance[i]} against ${r.distance}`);
  });
  // The tool refuses t outside [0, 1] and s outside [0, L]; the library clamps them, so the
  // module's answers past either end must be those of the ends themselves.
  const table = new crv.ArcTable(c, 256);
  const ss = ts.map((t) => t * table.length);
  const clamp = (v, hi) => Math.min(hi, Math.max(0, v));
  const len = native("length", "--curve", arg, "--samples", "256", "--t", ts.map((t) => clamp(t, 1)).join(","),
                     "--s", ss.map((s) => clamp(s, table.length)).join(","));
  same(`arc length ${k}`, [table.length, ...crv.arc_length(c, 256)], [len.length, len.length]);
  same(`s at t ${k}`, table.s_from_t(ts), len.s_at_t.map((r) => r.s));
  same(`t at s ${k}`, table.t_from_s(ss), len.t_at_s.map((r) => r.t));
  table.dispose();
  // Flattening is for function curves: the same points with time sorted forwards.
  const [x0, x1, x2, x3] = [c[0], c[2], c[4], c[6]].sort((a, b) => a - b);
  const fc = [x0, c[1], x1, c[3], x2, c[5], x3, c[7]];
  const fl = native("flatten", "--curve", curveArg(fc), "--angle-tol", "0.001");
  same(`flatten ${k}`, crv.flatten(fc, 0.001), fl.points);
}

// Easing curves, with the times of every branch of the solver (before, inside, after).
const xs = Array.from({ length: 12 }, () => uniform(-0.1, 1.1));
for (let k = 0; k < 8; k++) {
  const c = [0, 0, random(), uniform(-0.5, 1.5), random(), uniform(-0.5, 1.5), 1, 1];
  const e = native("ease", "--curve", curveArg(c), "--x", xs.join(",")).samples;
  same(`y at x ${k}`, crv.y_from_x(c, xs), e.map((s) => s.y));
  same(`t at x ${k}`, crv.t_from_x(c, xs), e.map((s) => s.t));
}

// Projection under a perspective transform, and fitting a noisy sampled curve.
for (let k = 0; k < 3; k++) {
  const c3 = Array.from({ length: 12 }, () => uniform(-200, 200));
  const m = [400, 0, 0, 0, 0, 400, 0, 0, 0, 0, 1, 0, 0, 0, 1, 600];
  const pr = native("project", "--curve", curveArg(c3, 3), "--matrix", m.join(","), "--tolerance", "0.25");
  same(`project ${k}`, crv.project(c3, m, 0.25), pr.screen_curves);
  const plane = [uniform(-1, 1), uniform(-1, 1), uniform(-1, 1), uniform(-20, 20)];
  const pl = native("plane", "--curve", curveArg(c3, 3), "--plane", plane.join(","));
  same(`intersect_plane ${k}`, crv.intersect_plane(c3, plane), pl.crossings.map((r) => r.t));

  const c = Array.from({ length: 8 }, () => uniform(0, 1000));
  const pts = crv.evaluate(c, Array.from({ length: 200 }, (_, i) => i / 199)).map((v) => v + uniform(-1, 1));
  const csv = path.join(os.tmpdir(), `crv-bits-${process.pid}.csv`);
  fs.writeFileSync(csv, Array.from({ length: 200 }, (_, i) => `${pts[2 * i]},${pts[2 * i + 1]}`).join("\n") + "\n");
  const fit = native("fit", csv, "--bound", "4");
  fs.unlinkSync(csv);
  same(`fit ${k}`, crv.fit(pts, 2), fit.curves);
}

// flatten_within has no native twin: its polylines must start at P0, end at P3, have their
// points on the curve, and keep every curve point within the distance of them.
for (let k = 0; k < 20; k++) {
  const c = Array.from({ length: 8 }, () => uniform(0, 1000));
  const distance = [0.05, 0.5, 5][k % 3];
  const { points, counts } = crv.flatten_within(c, distance);
  const n = counts[0];
  const off = crv.nearest(c, points).distance.reduce((a, b) => Math.max(a, b), 0);
  const dense = crv.evaluate_even(c, 0, 1, 4001);
  let worst = 0;
  for (let i = 0; i < dense.length; i += 2) {
    let best = Infinity;
    for (let j = 0; j + 3 < 2 * n; j += 2) {
      const ax = points[j], ay = points[j + 1], dx = points[j + 2] - ax, dy = points[j + 3] - ay;
      const l2 = dx * dx + dy * dy;
      const u = l2 > 0 ? Math.max(0, Math.min(1, ((dense[i] - ax) * dx + (dense[i + 1] - ay) * dy) / l2)) : 0;
      best = Math.min(best, Math.hypot(dense[i] - ax - u * dx, dense[i + 1] - ay - u * dy));
    }
    worst = Math.max(worst, best);
  }
  compared += 2 * n;
  if (points.length !== 2 * n || points[0] !== c[0] || points[1] !== c[1] || points[2 * n - 2] !== c[6] ||
      points[2 * n - 1] !== c[7] || off > 1e-9 || worst > distance * (1 + 1e-9)) {
    failures.push(`flatten_within ${k} (${distance}): ${n} points, ${off} off the curve, curve ${worst} from them`);
  }
}

if (failures.length) {
  console.log(`FAIL crv.mjs differs from the native library:\n  ${failures.join("\n  ")}`);
  process.exit(1);
}
console.log(`ok   crv.mjs reproduces the native library's bits (${compared} values)`);
