// Evaluation for the library's own use: the same formulas, and the same choice between the scalar
// and the paired path, as the exported functions, without their result codes (evaluation cannot
// fail). Every subsystem that evaluates a curve goes through these, so an internal evaluation
// gives the bits a caller would get from the export.
#ifndef CRV_CORE_EVALUATE_H
#define CRV_CORE_EVALUATE_H

#include "crv/crv.h"

namespace crv {

// out[dims] = B(t), B'(t), B''(t). Nothing is written for dims <= 0.
void PointAt(const CRV_Curve& curve, double t, double* out);
void DerivAt(const CRV_Curve& curve, double t, double* out);
void Deriv2At(const CRV_Curve& curve, double t, double* out);

// The record's first two coordinates (x and y, or time and value) as a record of its own, so that
// evaluating it writes at most two doubles whatever the caller's record carries. Each coordinate is
// evaluated on its own, so x and y come out exactly as from the full record. A record of fewer
// than two coordinates is left as it is.
inline CRV_Curve XYView(const CRV_Curve& curve) {
  CRV_Curve view = curve;
  if (view.dims > 2) view.dims = 2;
  return view;
}

}  // namespace crv

#endif
