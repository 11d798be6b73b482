"""Batch evaluation: shapes, broadcasting, agreement with the C exports and between functions."""
import ctypes

import numpy as np
import pytest
from hypothesis import given, settings, strategies as st
from hypothesis.extra import numpy as hnp

import crv
from conftest import CURVE, CURVE3, EASE

# Hundredths: the library's root tests are absolute (1e-10), so curves whose features are far
# below the unit are bounded by their end points by design (crv/evaluation.h).
coords = st.integers(-10000, 10000).map(lambda v: v / 100)
curves2 = hnp.arrays(np.float64, (4, 2), elements=coords)
params = st.floats(-0.5, 1.5, allow_nan=False)


def test_version():
    assert crv.__version__ == "0.1.0"


@pytest.mark.parametrize("batch,tshape,out", [
    ((), (), ()), ((), (7,), (7,)), ((3,), (), (3,)), ((3,), (3,), (3,)),
    ((2, 1), (5,), (2, 5)), ((1, 4), (3, 1), (3, 4)), ((0,), (), (0,))])
def test_broadcast_shapes(batch, tshape, out):
    curves = np.broadcast_to(CURVE3, batch + (4, 3)) + np.arange(3)
    t = np.full(tshape, 0.25)
    assert crv.evaluate(curves, t).shape == out + (3,)
    assert crv.derivative(curves, t, 2).shape == out + (3,)
    left, right = crv.split(curves, t)
    assert left.shape == right.shape == out + (4, 3)


def test_broadcast_values_match_loops():
    curves = np.stack([CURVE, CURVE * 2, CURVE[::-1]])[:, None]  # (3, 1, 4, 2)
    t = np.linspace(-0.2, 1.2, 5)
    got = crv.evaluate(curves, t)
    for i in range(3):
        for j in range(5):
            assert np.array_equal(got[i, j], crv.evaluate(curves[i, 0], t[j]))


def test_broadcast_mismatch():
    with pytest.raises(ValueError, match="broadcast"):
        crv.evaluate(np.zeros((3, 4, 2)), np.zeros(2))


def test_bits_match_the_exports(c):
    t = np.linspace(-0.25, 1.25, 41)
    for curve in (CURVE, CURVE3, EASE):
        d = curve.shape[1]
        batch = [crv.evaluate(curve, t), crv.derivative(curve, t), crv.derivative(curve, t, 2)]
        for k, name in enumerate(["CRV_EvaluatePoint", "CRV_EvaluateDeriv", "CRV_EvaluateDeriv2"]):
            one = np.array([c.call(name, curve, ctypes.c_double(v), out=d) for v in t])
            assert batch[k].tobytes() == one.tobytes(), name
        split = crv.split(curve, t)
        for i, v in enumerate(t):
            q = c.call("CRV_SubdivideCurve", curve, ctypes.c_double(v), out=5 * d).reshape(5, d)
            assert split[0][i].tobytes() == np.vstack([curve[:1], q[:3]]).tobytes()
            assert split[1][i].tobytes() == np.vstack([q[2:], curve[3:]]).tobytes()
        rec = c.record(curve)
        lo, hi = (ctypes.c_double * d)(), (ctypes.c_double * d)()
        c.lib.CRV_EvaluateBounds(ctypes.byref(rec), lo, hi)
        assert [a.tobytes() for a in crv.bounds(curve)] == [
            np.array(lo[:]).tobytes(), np.array(hi[:]).tobytes()]
    x = np.linspace(-0.1, 1.1, 37)
    y = np.array([c.call("CRV_EvaluateYFromX", EASE, ctypes.c_double(v)) for v in x])
    t_nan = np.array([c.call("CRV_TFromX", EASE, ctypes.c_double(v)) for v in x])
    assert crv.y_from_x(EASE, x).tobytes() == y.ravel().tobytes()
    # The export keeps what the caller left where no root is accepted; ctypes left 0.
    t_mod = crv.t_from_x(EASE, x)
    assert np.array_equal(np.nan_to_num(t_mod), t_nan.ravel())


@settings(max_examples=60, deadline=None)
@given(curves2, params, st.floats(0, 1))
def test_split_then_evaluate_agrees(curve, t, u):
    left, right = crv.split(curve, t)
    scale = 1 + np.abs(curve).max()
    np.testing.assert_allclose(crv.evaluate(left, u), crv.evaluate(curve, t * u),
                               atol=1e-11 * scale)
    np.testing.assert_allclose(crv.evaluate(right, u), crv.evaluate(curve, t + (1 - t) * u),
                               atol=1e-11 * scale)


@settings(max_examples=60, deadline=None)
@given(curves2)
def test_bounds_contain_every_sample(curve):
    lo, hi = crv.bounds(curve)
    pts = crv.evaluate(curve, np.linspace(0, 1, 257))
    slack = 1e-9 * (1 + np.abs(curve).max())
    assert np.all(pts >= lo - slack) and np.all(pts <= hi + slack)
    assert np.all(lo <= curve[[0, 3]]) and np.all(hi >= curve[[0, 3]])


@settings(max_examples=60, deadline=None)
@given(st.floats(0.05, 0.95), st.floats(0.05, 0.95), st.floats(-2, 2), st.floats(-2, 2),
       st.floats(0, 1))
def test_y_from_x_inverts_evaluation(x1, x2, y1, y2, t):
    ease = np.array([[0, 0], [x1, y1], [x2, y2], [1, 1]])  # x rises: 0 <= x1, x2 <= 1
    x, y = crv.evaluate(ease, t)
    assert abs(crv.y_from_x(ease, x) - y) < 1e-7
    # Times within 1e-10 of an end snap to it (crv/function_curves.h).
    np.testing.assert_allclose(crv.evaluate(ease, crv.t_from_x(ease, x))[0], x, atol=2e-10)


def test_nearest():
    pts = np.array([[0.5, 2.0], [0.2, 0.1], [1.0, 1.0]])
    t, p, d = crv.nearest(CURVE, pts)
    assert t.shape == d.shape == (3,) and p.shape == (3, 2)
    assert np.array_equal(p, crv.evaluate(CURVE, t))
    np.testing.assert_array_equal(d, np.hypot(*(p - pts).T))
    dense = crv.evaluate(CURVE, np.linspace(0, 1, 4001))
    best = np.min(np.hypot(*(dense[:, None] - pts).transpose(2, 0, 1)), axis=0)
    assert np.all(d <= best + 1e-12)
    assert crv.nearest(np.stack([CURVE] * 2)[:, None], pts)[0].shape == (2, 3)
