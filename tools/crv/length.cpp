// `crv length`: arc length through the library's table or its spline: the total, s at t and t
// at s.
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

// The curve and how its arc length is looked up: the options, checked.
struct LengthOptions {
  Curve curve;
  bool spline = false;
  int32_t n = 0;     // the table's entries
  double bound = 0;  // the spline's error bound
};

// The arc-length lookups asked for; the table or spline stays in the list that Run owns, since
// the picture looks it up again.
struct LengthResult {
  double total = 0;
  int32_t segments = 0;  // the spline's
  std::vector<double> ts, sAtT;
  std::vector<double> ss, tAtS;
};

LengthOptions Parse(const Args& a) {
  LengthOptions o;
  o.curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  RequireDims(o.curve, 2, 3, "arc length");
  o.spline = a["--method"].text == "spline";
  const bool spline = o.spline;
  if (!spline && a["--method"].text != "table")
    throw InputError("--method: " + Quote(a["--method"].text) + " is neither table nor spline");
  RefuseUnless(!spline, a["--t"], "--t",
               "s at t is answered by the table only (drop --method spline)");
  RefuseUnless(!spline, a["--samples"], "--samples", "applies to --method table only");
  RefuseUnless(spline, a["--bound"], "--bound", "applies to --method spline only");
  o.n = static_cast<int32_t>(ParseCount(a["--samples"].text, "--samples", 2, 1000000));
  o.bound = ParsePositive(a["--bound"].text, "--bound");
  return o;
}

double TFromS(const LengthOptions& o, OwnedList& list, double arc) {
  double t = 0;
  if (o.spline)
    Check(CRV_TFromSSpline(o.curve.get(), arc, o.bound, &list.handle, &t), "CRV_TFromSSpline");
  else
    Check(CRV_TFromS(o.curve.get(), arc, o.n, &list.handle, &t), "CRV_TFromS");
  return t;
}

LengthResult Compute(const Args& a, const LengthOptions& o, OwnedList& list) {
  const CRV_Curve* c = o.curve.get();
  LengthResult r;
  if (o.spline)
    Check(CRV_BuildArcSpline(c, o.bound, &list.handle, &r.total), "CRV_BuildArcSpline");
  else
    Check(CRV_BuildArcTable(c, o.n, &list.handle, &r.total), "CRV_BuildArcTable");

  // The library clamps t to [0, 1] and s to [0, L]: a value outside would get the answer of the
  // end without a word. L as printed (10 digits) may round up: that much above L is L.
  if (a["--s"].given) r.ss = ParseList(a["--s"].text, "--s", 0, 0, r.total * (1 + 1e-9));
  if (a["--t"].given) r.ts = ParseList(a["--t"].text, "--t", 0, 0, 1);
  if (r.ss.empty() && r.ts.empty())
    for (int k = 0; k <= 4; ++k) r.ss.push_back(r.total * k / 4);

  r.segments = (list.Count() - 1) / 3;
  for (double t : r.ts) {
    double arc = 0;
    Check(CRV_SFromT(c, t, o.n, &list.handle, &arc), "CRV_SFromT");
    r.sAtT.push_back(arc);
  }
  for (double arc : r.ss) r.tAtS.push_back(TFromS(o, list, arc));
  return r;
}

void Report(const Args& a, const LengthOptions& o, const LengthResult& r, Session& s) {
  nlohmann::json result{{"curve", CurveJson(o.curve)},
                        {"method", a["--method"].text},
                        {"length", r.total},
                        {"s_at_t", nlohmann::json::array()},
                        {"t_at_s", nlohmann::json::array()}};
  std::ostringstream text;
  text << "curve " << CurveText(o.curve) << "\nlength " << Num(r.total) << " (";
  if (o.spline)
    text << "spline of " << Count(r.segments, "segment") << ", bound " << Num(o.bound) << ")\n";
  else
    text << "table of " << o.n << " samples)\n";
  result[o.spline ? "segments" : "samples"] = o.spline ? r.segments : o.n;
  for (size_t i = 0; i < r.ts.size(); ++i) {
    result["s_at_t"].push_back({{"t", r.ts[i]}, {"s", r.sAtT[i]}});
    text << "t " << Num(r.ts[i]) << " -> s " << Num(r.sAtT[i]) << "\n";
  }
  for (size_t i = 0; i < r.ss.size(); ++i) {
    result["t_at_s"].push_back({{"s", r.ss[i]}, {"t", r.tAtS[i]}});
    text << "s " << Num(r.ss[i]) << " -> t " << Num(r.tAtS[i]) << "\n";
  }
  Emit(a, result, text.str(), s);
}

void Draw(const Args& a, const LengthOptions& o, const LengthResult& r, OwnedList& list,
          Session& s) {
  const CRV_Curve* c = o.curve.get();
  const double total = r.total;
  constexpr int kSteps = 12;
  Figure fig("crv length: " + std::to_string(kSteps) + " equal steps of arc length (" +
             a["--method"].text + ")");
  fig.Subtitle("length " + Short(total) + "; blue dots at s = k L / " + std::to_string(kSteps) +
               ", small red dots at t = k / " + std::to_string(kSteps) + " for comparison");
  fig.Input(o.curve);
  std::vector<svg::Point> even, byT;
  for (int k = 0; k <= kSteps; ++k) {
    double p[3], q[3];
    CRV_EvaluatePoint(c, TFromS(o, list, total * k / kSteps), p);
    CRV_EvaluatePoint(c, double(k) / kSteps, q);
    even.push_back({p[0], p[1]});
    byT.push_back({q[0], q[1]});
  }
  fig.Dots(byT, ink::kRedDot, 3, "even steps in t");
  fig.Dots(even, ink::kBlueDot, 5.5, "even steps in s");
  fig.Save(a["--svg"].text, s);
}

void Run(const Args& a, Session& s) {
  const LengthOptions o = Parse(a);
  OwnedList list;
  const LengthResult r = Compute(a, o, list);
  Report(a, o, r, s);
  if (a["--svg"].given) Draw(a, o, r, list, s);
}

const Registered kRegistered("length", Run);

}  // namespace
}  // namespace crvtool
