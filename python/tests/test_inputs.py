"""Bad input gets a clear exception; odd layouts and dtypes work; outputs are new arrays."""
import numpy as np
import pytest

import crv
from conftest import CURVE, CURVE3, EASE

nan, inf = float("nan"), float("inf")
FUNCTIONS = [
    lambda a: crv.evaluate(a, 0.5), lambda a: crv.derivative(a, 0.5), crv.bounds,
    lambda a: crv.split(a, 0.5), lambda a: crv.y_from_x(a, 0.5), lambda a: crv.t_from_x(a, 0.5),
    lambda a: crv.nearest(a, [0, 0]), lambda a: crv.ArcTable(a), lambda a: crv.ArcSpline(a),
    lambda a: crv.flatten(a), lambda a: crv.project(a, np.eye(4)),
    lambda a: crv.intersect_plane(a, [0, 0, 1, 0])]


@pytest.mark.parametrize("f", FUNCTIONS)
@pytest.mark.parametrize("shape", [(3, 2), (4,), (), (4, 17), (2, 4, 0)])
def test_wrong_shape(f, shape):
    with pytest.raises(ValueError, match=r"expected (one curve of )?shape .*4, "):
        f(np.zeros(shape))


@pytest.mark.parametrize("f", FUNCTIONS)
@pytest.mark.parametrize("bad", [np.zeros((4, 2), complex), np.zeros((4, 2), object),
                                 np.full((4, 2), "a"), [[1, 2], [3], [4], [5]]])
def test_wrong_type(f, bad):
    with pytest.raises((TypeError, ValueError)) as info:
        f(bad)
    if not isinstance(bad, list):
        assert info.type is TypeError


# evaluate, derivative and split pass NaN through to NaN; the others would answer wrongly.
@pytest.mark.parametrize("index", [2, 4, 5, 6, 7, 8, 9, 10, 11])
def test_nan_refused(index):
    bad = (CURVE3 if index >= 10 else EASE).copy()
    bad[1, 0] = nan
    with pytest.raises(ValueError, match="NaN"):
        FUNCTIONS[index](bad)


def test_nan_parameters():
    assert np.isnan(crv.evaluate(CURVE, nan)).all()
    with pytest.raises(ValueError, match="NaN"):
        crv.y_from_x(EASE, [0.5, nan])
    assert crv.y_from_x(EASE, [-inf, inf]).tolist() == [0.0, 1.0]
    with pytest.raises(ValueError):
        crv.nearest(CURVE, [nan, 0])


@pytest.mark.parametrize("arg", [
    {"samples": 0}, {"samples": 1_800_001}, {"samples": -5}])
def test_arc_table_limits(arg):
    with pytest.raises(ValueError, match="samples"):
        crv.ArcTable(CURVE, **arg)


def test_other_limits():
    with pytest.raises(ValueError):
        crv.ArcSpline(CURVE, bound=0)
    with pytest.raises(ValueError):
        crv.fit(np.zeros((5, 2)), 0.0)
    with pytest.raises(ValueError):
        crv.fit(np.zeros((1, 2)), 0.1)
    with pytest.raises(ValueError):
        crv.flatten(EASE, max_depth=21)
    with pytest.raises(ValueError):
        crv.flatten(EASE, tolerance=nan)
    with pytest.raises(ValueError, match="order"):
        crv.derivative(CURVE, 0.5, order=3)
    with pytest.raises(ValueError, match=r"\(4, 4\)"):
        crv.project(CURVE3, np.eye(3))
    with pytest.raises((MemoryError, ValueError)):
        crv.evaluate(CURVE, np.broadcast_to(0.5, (1 << 40,)))
    with pytest.raises((MemoryError, ValueError)):
        crv.evaluate(np.broadcast_to(CURVE, (1 << 31, 1, 4, 2)), np.zeros((1 << 31)))


def test_dtypes_and_layouts():
    want = crv.evaluate(CURVE, [0.25, 0.75])
    as_float32 = crv.evaluate(CURVE.astype(np.float32), np.float32([0.25, 0.75]))
    np.testing.assert_allclose(as_float32, want, rtol=1e-6)
    ints = np.array([[0, 0], [0, 1], [1, 1], [1, 0]])
    assert np.array_equal(crv.evaluate(ints, 0.5), crv.evaluate(ints.astype(float), 0.5))
    big = np.zeros((4, 4, 2))
    big[:, :, :] = CURVE
    strided = big[:, :, ::-1][::2].transpose(0, 1, 2)[..., ::-1]  # non-contiguous views
    assert not strided.flags.c_contiguous
    assert np.array_equal(crv.evaluate(strided, 0.25), crv.evaluate(np.stack([CURVE] * 2), 0.25))
    t = np.linspace(0, 1, 9)[::-1]
    assert np.array_equal(crv.evaluate(CURVE, t), crv.evaluate(CURVE, t.copy()))
    frozen = CURVE.copy()
    frozen.flags.writeable = False
    assert np.array_equal(crv.evaluate(frozen, 0.3), crv.evaluate(CURVE, 0.3))
    assert crv.bounds(frozen)[0].flags.writeable


def test_outputs_are_new_arrays():
    curve = CURVE.copy()
    t = np.linspace(0, 1, 4)
    outs = [crv.evaluate(curve, t), *crv.split(curve, 0.5), *crv.bounds(curve),
            crv.ArcTable(curve).curve, crv.fit(curve, 0.1), crv.flatten(EASE)]
    for out in outs:
        assert out.base is None or not np.shares_memory(out, curve)
        assert not np.shares_memory(out, t)
