"""The functions that answer through host lists: bits as the C calls, host failures, no leaks."""
import ctypes

import numpy as np
import pytest

import crv
from conftest import CURVE, CURVE3, EASE

H = ctypes.c_void_p


def test_arc_table_bits(c, no_leaks):
    for curve in (CURVE, CURVE3):
        table = crv.ArcTable(curve, samples=200)
        handle, length = H(), ctypes.c_double()
        rec = c.record(curve)
        assert c.lib.CRV_BuildArcTable(ctypes.byref(rec), 200, ctypes.byref(handle),
                                       ctypes.byref(length)) == 0
        try:
            assert table.length == length.value
            assert table.table.tobytes() == c.items(handle, 2).tobytes()
            s = np.linspace(-0.5, length.value + 0.5, 33)
            d = curve.shape[1]
            for name, method, args, out in [
                    ("CRV_TFromS", table.t_from_s, s, 1),
                    ("CRV_SFromT", table.s_from_t, np.linspace(-0.1, 1.1, 33), 1),
                    ("CRV_EvaluatePointFromS", table.point_from_s, s, d)]:
                want = []
                for v in args:
                    buf = (ctypes.c_double * out)()
                    assert getattr(c.lib, name)(ctypes.byref(rec), ctypes.c_double(v), 200,
                                                ctypes.byref(handle), buf) == 0
                    want.append(buf[:])
                assert method(args).tobytes() == np.array(want).reshape(
                    method(args).shape).tobytes(), name
        finally:
            c.dispose(handle)
    assert table.t_from_s(np.zeros((2, 3))).shape == (2, 3)
    assert table.point_from_s(np.zeros((2, 3))).shape == (2, 3, 3)


def test_arc_spline_bits(c, no_leaks):
    spline = crv.ArcSpline(CURVE, bound=1e-6)
    handle, length = H(), ctypes.c_double()
    rec = c.record(CURVE)
    assert c.lib.CRV_BuildArcSpline(ctypes.byref(rec), ctypes.c_double(1e-6),
                                    ctypes.byref(handle), ctypes.byref(length)) == 0
    try:
        assert spline.length == length.value
        s = np.linspace(0, length.value, 50)
        want = []
        for v in s:
            t = ctypes.c_double()
            assert c.lib.CRV_TFromSSpline(ctypes.byref(rec), ctypes.c_double(v),
                                          ctypes.c_double(1e-6), ctypes.byref(handle),
                                          ctypes.byref(t)) == 0
            want.append(t.value)
        assert spline.t_from_s(s).tobytes() == np.array(want).tobytes()
        assert spline.points.tobytes() == c.items(handle, 2).tobytes()
    finally:
        c.dispose(handle)
    # Arc length by the spline and by a fine table agree: the motion is at constant speed.
    table = crv.ArcTable(CURVE, samples=20000)
    np.testing.assert_allclose(table.s_from_t(spline.t_from_s(s)), s, atol=2e-3)


def test_fit_bits(c, no_leaks):
    rng = np.random.default_rng(5)
    x = np.linspace(0, 4, 200)
    pts = np.column_stack([x, np.sin(x) + rng.normal(0, 0.01, x.size)])
    chain = crv.fit(pts, 0.05)
    handle = H()
    assert c.lib.CRV_FitMultipleCurves(pts.ctypes.data_as(ctypes.c_void_p), 2, len(pts),
                                       ctypes.c_double(0.05 * 0.05), ctypes.byref(handle)) == 0
    try:
        items = c.items(handle, 2)
    finally:
        c.dispose(handle)
    assert chain.shape == ((len(items) - 1) // 3, 4, 2)
    assert np.array_equal(chain[:, :3].reshape(-1, 2), items[:-1])
    assert np.array_equal(chain[-1, 3], items[-1])
    assert np.array_equal(chain[:-1, 3], chain[1:, 0])
    near = crv.nearest(chain[:, None], pts)[2].min(axis=0)
    assert near.max() < 0.06
    assert crv.fit(np.column_stack([x, x, x]), 0.1).shape[1:] == (4, 3)


def test_flatten_bits(c, no_leaks):
    proto = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p, ctypes.c_uint32, ctypes.c_double,
                             ctypes.c_double, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p,
                             ctypes.c_void_p)
    c.lib.CRV_IsLinearFunc.argtypes = [ctypes.c_void_p, ctypes.c_uint32, ctypes.c_double,
                                       ctypes.c_double] + [ctypes.c_void_p] * 4
    callback = proto(lambda *args: c.lib.CRV_IsLinearFunc(*args))

    class Params(ctypes.Structure):
        _fields_ = [("minChordSq", ctypes.c_double), ("angleTol", ctypes.c_double),
                    ("checkWord", ctypes.c_uint32), ("minDepth", ctypes.c_uint32),
                    ("maxDepth", ctypes.c_uint32)]

    curve = np.array([[0, 0], [40, 100], [60, -50], [100, 50.0]])
    params = Params(0.5 ** 2, 1e-3, 0x0BADBEEF, 1, 12)
    handle = H()
    assert c.host.SEQ_New(0, 16, 64, 1, ctypes.byref(handle)) == 0
    lo, hi = ctypes.c_double(10), ctypes.c_double(90)
    have, y0, y1 = ctypes.c_bool(), ctypes.c_double(), ctypes.c_double()
    rec = c.record(curve)
    try:
        assert c.lib.CRV_EvaluateAdaptively(callback, ctypes.byref(params), ctypes.byref(lo),
                                            ctypes.byref(hi), ctypes.byref(rec), ctypes.byref(have),
                                            ctypes.byref(y0), ctypes.byref(y1),
                                            ctypes.byref(handle)) == 0
        want = c.items(handle, 2)
    finally:
        c.dispose(handle)
    got = crv.flatten(curve, 1e-3, min_chord=0.5, x_low=10, x_high=90, min_depth=1, max_depth=12)
    assert got.tobytes() == want.tobytes()
    assert got[0, 0] == 10 and got[-1, 0] == 90 and np.all(np.diff(got[:, 0]) > 0)


def test_project_and_plane():
    eye = np.eye(4)
    pieces = crv.project(CURVE3, eye)
    assert np.array_equal(pieces, CURVE3[None, :, :2])
    persp = np.eye(4)
    persp[3] = [0, 0, 0.1, 5]  # w = 5 + z / 10
    pieces = crv.project(CURVE3, persp, tolerance=1e-3)
    assert pieces.ndim == 3 and pieces.shape[0] > 1 and np.array_equal(pieces[:-1, 3], pieces[1:, 0])
    behind = np.eye(4)
    behind[3] = [0, 0, 0, -1]
    with pytest.raises(crv.CrvError) as info:
        crv.project(CURVE3, behind)
    assert info.value.code == -3201
    t = crv.intersect_plane(CURVE3, [1, 0, 0, -1.5])
    np.testing.assert_allclose(crv.evaluate(CURVE3, t)[:, 0], 1.5)
    assert crv.intersect_plane(CURVE3, [0, 0, 0, 1]).size == 0


@pytest.mark.parametrize("make", [
    lambda: crv.ArcTable(CURVE, 50), lambda: crv.ArcSpline(CURVE, 1e-4),
    lambda: crv.ArcTable(CURVE, 50).t_from_s([0.3, 0.6]),
    lambda: crv.ArcSpline(CURVE, 1e-4).t_from_s([0.3, 0.6]),
    lambda: crv.fit(crv.evaluate(CURVE, np.linspace(0, 1, 300)), 1e-3),
    lambda: crv.flatten(EASE)])
def test_host_failures_raise_and_release(c, no_leaks, make):
    c.host.HOST_ClearFaults()
    make()
    calls = c.host.HOST_CallCount()
    assert calls > 0
    raised = 0
    for n in range(1, calls + 1):
        c.host.HOST_FailNthCall(n, -3106)
        try:
            make()
        except crv.CrvError as error:
            assert error.code in (-3106, 4, -108) and str(error.code) in str(error)
            raised += 1
        except MemoryError:
            raised += 1
        finally:
            c.host.HOST_ClearFaults()
    assert raised > 0
