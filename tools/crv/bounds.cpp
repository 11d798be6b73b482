// `crv bounds`: the tight axis-aligned box of the curve over t in [0, 1].
#include <nlohmann/json.hpp>
#include <sstream>

#include "commands.h"
#include "default_curves.h"
#include "figure.h"

namespace crvtool {
namespace {

void Run(const Args& a, Session& s) {
  const Curve curve = CurveOrDefault(a, Curve(DefaultCurve2D()));
  RequireDrawable(a, curve);
  std::vector<double> lo(curve.dims()), hi(curve.dims());
  CRV_EvaluateBounds(curve.get(), lo.data(), hi.data());

  std::ostringstream text;
  text << "curve " << CurveText(curve) << "\nmin " << Point(lo) << "\nmax " << Point(hi) << "\n";
  Emit(a, {{"curve", CurveJson(curve)}, {"min", lo}, {"max", hi}}, text.str(), s);

  if (!a["--svg"].given) return;
  Figure fig("crv bounds: the tight box of the curve");
  fig.Subtitle("from the end points and the turning points of each coordinate");
  fig.Box({lo[0], lo[1]}, {hi[0], hi[1]}, ink::kBox, "bounds");
  fig.Input(curve);
  fig.Note({lo[0], lo[1]}, "min " + ShortPoint({lo[0], lo[1]}), "#52606d");
  fig.Note({hi[0], hi[1]}, "max " + ShortPoint({hi[0], hi[1]}), "#52606d");
  fig.Save(a["--svg"].text, s);
}

const Registered kRegistered("bounds", Run);

}  // namespace
}  // namespace crvtool
