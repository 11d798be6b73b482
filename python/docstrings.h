// Docstrings of the Python module. Their examples run as doctests (python/tests/test_docs.py).
#ifndef CRV_PYTHON_DOCSTRINGS_H
#define CRV_PYTHON_DOCSTRINGS_H

namespace doc {

constexpr const char* kModule = R"(Cubic Bezier curve maths on NumPy arrays, over libcrv.

A curve is an array of shape (4, D): its control points P0..P3 of D coordinates
(D = 2 or 3 for a curve in space; a function curve is (4, 2) with x the time and
y the value). Many curves are (..., 4, D), and parameters broadcast NumPy-style
against the leading dimensions. Inputs convert to float64; results are new
arrays with the library's exact bits.

>>> import crv
>>> crv.evaluate([[0, 0], [0, 1], [1, 1], [1, 0]], 0.5)
array([0.5 , 0.75])
)";

constexpr const char* kEvaluate = R"(evaluate(curves, t) -> points

Points B(t) of the curves (CRV_EvaluatePoint); t is not restricted to [0, 1].

curves: (..., 4, D), D from 1 to 16. t: any shape broadcasting against the
leading shape (...). Returns (broadcast(..., t.shape), D).

>>> import numpy as np, crv
>>> c = np.array([[0, 0], [0, 1], [1, 1], [1, 0]])
>>> crv.evaluate(c, [0, 0.5, 1])
array([[0.  , 0.  ],
       [0.5 , 0.75],
       [1.  , 0.  ]])
>>> crv.evaluate(np.stack([c, 2 * c]), 0.5).shape    # two curves, one t
(2, 2)
)";

constexpr const char* kDerivative = R"(derivative(curves, t, order=1) -> vectors

B'(t) (order=1, CRV_EvaluateDeriv) or B''(t) (order=2, CRV_EvaluateDeriv2).
Shapes as in evaluate: (..., 4, D) with t -> (..., D).

>>> import crv
>>> c = [[0, 0], [0, 1], [1, 1], [1, 0]]
>>> crv.derivative(c, 0.5)
array([1.5, 0. ])
>>> crv.derivative(c, 0.5, order=2)
array([ 0., -6.])
)";

constexpr const char* kBounds = R"(bounds(curves) -> (lo, hi)

Tight axis-aligned bounds of each curve over t in [0, 1] (CRV_EvaluateBounds).
curves: (..., 4, D), finite. Returns lo and hi, each (..., D). The library's
root test is absolute (1e-10): features far below the unit are bounded by the
end points alone.

>>> import crv
>>> lo, hi = crv.bounds([[0, 0], [0, 1], [1, 1], [1, 0]])
>>> lo, hi
(array([0., 0.]), array([1.  , 0.75]))
)";

constexpr const char* kSplit = R"(split(curves, t) -> (left, right)

De Casteljau split at t (CRV_SubdivideCurve): left covers [0, t], right [t, 1].
curves: (..., 4, D); t broadcasts against (...). Returns two (..., 4, D) arrays.

>>> import crv
>>> left, right = crv.split([[0, 0], [0, 1], [1, 1], [1, 0]], 0.5)
>>> left
array([[0.  , 0.  ],
       [0.  , 0.5 ],
       [0.25, 0.75],
       [0.5 , 0.75]])
>>> crv.evaluate(right, 0.0)
array([0.5 , 0.75])
)";

constexpr const char* kTFromX = R"(t_from_x(curves, x) -> t

The parameter at which a function curve reaches time x (CRV_TFromX): 0 at or
before P0.x, 1 at or after P3.x, else a root of x(t) = x. Where the library
accepts no root the result is NaN. curves: (..., 4, 2), finite; x (no NaN)
broadcasts against (...). Returns broadcast(..., x.shape).

>>> import crv
>>> ease = [[0, 0], [0.42, 0], [0.58, 1], [1, 1]]
>>> crv.t_from_x(ease, [0.0, 0.5, 1.0])
array([0. , 0.5, 1. ])
)";

constexpr const char* kYFromX = R"(y_from_x(curves, x) -> y

The value of a function curve at time x (CRV_EvaluateYFromX): P0.y before the
start, P3.y after the end. curves: (..., 4, 2), finite; x (no NaN) broadcasts
against (...).
Returns broadcast(..., x.shape).

>>> import crv
>>> ease = [[0, 0], [0.42, 0], [0.58, 1], [1, 1]]
>>> crv.y_from_x(ease, [-1.0, 0.5, 2.0])
array([0. , 0.5, 1. ])
)";

constexpr const char* kNearest = R"(nearest(curves, points) -> (t, point, distance)

The curve point nearest to each point (CRV_NearestPointOnCurve, 2-D only):
its parameter t in [0, 1], the point B(t) and the distance to it.
curves: (..., 4, 2); points: (..., 2), both finite, leading shapes broadcast. Returns t and
distance of the broadcast shape, point of that shape plus (2,).

>>> import crv
>>> t, p, d = crv.nearest([[0, 0], [0, 1], [1, 1], [1, 0]], [0.5, 2.0])
>>> float(t), p, float(d)
(0.5, array([0.5 , 0.75]), 1.25)
)";

constexpr const char* kFit = R"(fit(points, tolerance) -> curves

A tangent-continuous chain of cubics through sampled points
(CRV_FitMultipleCurves): every interior sample lies within `tolerance` (a
distance; the library's bound is its square) of its segment. The first control
point is the first sample, the last the last sample. points: (n, D), D = 2 or 3,
n >= 2, finite. Returns (m, 4, D): segment j ends where segment j + 1 starts.

>>> import numpy as np, crv
>>> x = np.linspace(0, 1, 50)
>>> chain = crv.fit(np.column_stack([x, x ** 2]), 1e-3)
>>> chain.shape[1:], chain[0, 0], chain[-1, 3]
((4, 2), array([0., 0.]), array([1., 1.]))
)";

constexpr const char* kFlatten = R"(flatten(curve, tolerance=0.0005, *, min_chord=0.0, x_low=None, x_high=None,
        min_depth=2, max_depth=10) -> polyline

A polyline for a function curve (CRV_EvaluateAdaptively with the library's
straightness test CRV_IsLinearCallback): pieces are halved until both end
tangents run along the chord within `tolerance` (on the cosine) or the chord is
shorter than `min_chord`, after at least `min_depth` and at most `max_depth`
halvings (0 to 20). x_low and x_high clip the time range. curve: (4, 2).
Returns (k, 2), points in increasing parameter order.

>>> import crv
>>> line = crv.flatten([[0, 0], [1, 1], [2, 2], [3, 3]], min_depth=0)
>>> line
array([[0., 0.],
       [3., 3.]])
)";

constexpr const char* kProject = R"(project(curve, transform, tolerance=0.5) -> curves

The 2-D screen cubics that stand for a 3-D curve under a 4x4 transform
(CRV_3DScreenCurveAdaptiveEvaluator; row-major, acting on column vectors,
divided by w): pieces are halved until the projected control points' cubic is
within `tolerance` screen units of the true projection, at most 11 times.
curve: (4, 3); transform: (4, 4). Returns (m, 4, 2). A point at or behind the
eye raises CrvError with the host's code.

>>> import numpy as np, crv
>>> c = [[0, 0, 0], [1, 2, 0], [2, 2, 0], [3, 0, 0]]
>>> crv.project(c, np.eye(4)).shape    # affine: one cubic
(1, 4, 2)
)";

constexpr const char* kIntersectPlane = R"(intersect_plane(curve, plane) -> t

Parameters in [0, 1] where a 3-D curve meets the plane a x + b y + c z + d = 0
(CRV_IntersectPlane), ascending. curve: (4, 3); plane: (4,) = (a, b, c, d).
Returns (k,). A curve lying in the plane gives [0.0].

>>> import crv
>>> c = [[0, 0, 0], [1, 0, 0], [2, 0, 0], [3, 0, 0]]
>>> crv.intersect_plane(c, [1, 0, 0, -1.5])
array([0.5])
)";

constexpr const char* kArcTable = R"(ArcTable(curve, samples=1024)

The arc-length table of a 2-D or 3-D curve (CRV_BuildArcTable) with `samples`
entries (2 to 1,800,000, where the table stays consistent): the parameter t
against the distance s travelled from P0, for lookups by distance. curve:
(4, 2) or (4, 3), finite. Lookups take s or t of any shape.

>>> import crv
>>> table = crv.ArcTable([[0, 0], [1, 0], [2, 0], [3, 0]], samples=64)
>>> round(table.length, 12)
3.0
>>> table.point_from_s([0.0, 1.5, 3.0])
array([[0. , 0. ],
       [1.5, 0. ],
       [3. , 0. ]])
)";

constexpr const char* kArcTableLength = "The arc length L measured when the table was built.";

constexpr const char* kArcTableTable = R"(A copy of the table, (samples, 2): columns t and s.

>>> import crv
>>> crv.ArcTable([[0, 0], [1, 0], [2, 0], [3, 0]], samples=3).table
array([[0. , 0. ],
       [0.5, 1.5],
       [1. , 3. ]])
)";

constexpr const char* kArcTableTFromS = R"(t_from_s(s) -> t

The parameter at arc length s (CRV_TFromS): 0 at or before the start, 1 at or
after the end. s: any shape; returns the same shape.

>>> import crv
>>> crv.ArcTable([[0, 0], [1, 0], [2, 0], [3, 0]]).t_from_s([-1.0, 1.5, 9.0])
array([0. , 0.5, 1. ])
)";

constexpr const char* kArcTableSFromT = R"(s_from_t(t) -> s

The arc length at parameter t (CRV_SFromT), t clamped to [0, 1]. t: any shape;
returns the same shape.

>>> import crv
>>> crv.ArcTable([[0, 0], [1, 0], [2, 0], [3, 0]]).s_from_t(0.5)
array(1.5)
)";

constexpr const char* kArcTablePointFromS = R"(point_from_s(s) -> points

The curve point at arc length s (CRV_EvaluatePointFromS). s: any shape;
returns s.shape + (D,).

>>> import crv
>>> crv.ArcTable([[0, 0], [1, 0], [2, 0], [3, 0]]).point_from_s(3.0)
array([3., 0.])
)";

constexpr const char* kArcSpline = R"(ArcSpline(curve, bound=None)

The arc-length spline of a 2-D or 3-D curve (CRV_BuildArcSpline): the relation
between parameter and distance fitted with a chain of cubics within `bound`, a
squared length (default: a thousandth of the length, squared), for smooth
constant-speed motion. curve: (4, 2) or (4, 3), finite.

>>> import crv
>>> spline = crv.ArcSpline([[0, 0], [1, 0], [2, 0], [3, 0]])
>>> round(spline.length, 12)
3.0
>>> spline.t_from_s([0.0, 3.0])
array([0., 1.])
)";

constexpr const char* kArcSplinePoints = R"(The spline's control points, (3m + 1, 2): columns t and s.

>>> import crv
>>> crv.ArcSpline([[0, 0], [1, 0], [2, 0], [3, 0]]).points[[0, -1]]
array([[0., 0.],
       [1., 3.]])
)";

constexpr const char* kArcSplineTFromS = R"(t_from_s(s) -> t

The parameter at arc length s (CRV_TFromSSpline): 0 at or before the start, 1
at or after the end. s: any shape; returns the same shape.

>>> import crv
>>> crv.ArcSpline([[0, 0], [1, 0], [2, 0], [3, 0]]).t_from_s(1.5).round(6)
0.5
)";

}  // namespace doc

#endif
