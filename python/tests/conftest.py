"""ctypes access to the libcrv and libcrvhost the module loaded, for bit-exact comparisons."""
import ctypes
import os
import pathlib

import numpy as np
import pytest

import crv

c_double_p = ctypes.POINTER(ctypes.c_double)


class Curve(ctypes.Structure):
    _fields_ = [("dims", ctypes.c_int16), ("ctpts", c_double_p * 4)]


def _library(env, relative):
    path = os.environ.get(env)
    if not path:  # the build tree: <build>/python/crv*.so beside <build>/lib/
        path = pathlib.Path(crv.__file__).resolve().parent.parent / relative
    return ctypes.CDLL(str(path))


class C:
    """The exports, called one at a time as a C host would."""

    def __init__(self):
        self.lib = _library("CRV_LIB", "lib/libcrv.so")
        self.host = _library("CRV_HOSTLIB", "lib/libcrvhost.so")
        self.host.HOST_LiveLists.restype = ctypes.c_int64
        self.host.HOST_HeldLocks.restype = ctypes.c_int64
        self.host.HOST_CallCount.restype = ctypes.c_int64
        self.host.HOST_FailNthCall.argtypes = [ctypes.c_int64, ctypes.c_int32]
        self.host.SEQ_GetItem.argtypes = [ctypes.c_void_p, ctypes.c_int32, ctypes.c_void_p]
        self.host.SEQ_Dispose.argtypes = [ctypes.c_void_p, ctypes.c_int32]

    @staticmethod
    def record(points):
        points = np.ascontiguousarray(points, dtype=np.float64)
        rec = Curve(points.shape[1])
        for i in range(4):
            rec.ctpts[i] = points[i].ctypes.data_as(c_double_p)
        rec.keep = points  # the record points into this array
        return rec

    def call(self, name, points, *args, out=1):
        rec = self.record(points)
        buf = (ctypes.c_double * out)()
        code = getattr(self.lib, name)(ctypes.byref(rec), *args, buf)
        assert code == 0
        return np.array(buf[:])

    def items(self, handle, doubles):
        """The items of a host list, `doubles` doubles each."""
        block = ctypes.cast(handle, ctypes.POINTER(ctypes.c_void_p))[0]
        count = ctypes.c_int32.from_address(block + 16).value
        out = []
        item = (ctypes.c_double * doubles)()
        for i in range(count):
            assert self.host.SEQ_GetItem(handle, i, item) == 0
            out.append(item[:])
        return np.array(out).reshape(count, doubles)

    def dispose(self, handle):
        self.host.SEQ_Dispose(handle, 0)


@pytest.fixture(scope="session")
def c():
    return C()


@pytest.fixture
def no_leaks(c):
    """Checks that the test leaves no host list and no lock behind."""
    lists = c.host.HOST_LiveLists()
    yield
    assert c.host.HOST_LiveLists() == lists
    assert c.host.HOST_HeldLocks() == 0


CURVE = np.array([[0.0, 0.0], [0.1, 1.3], [0.7, -0.4], [1.0, 1.0]])
EASE = np.array([[0.0, 0.0], [0.42, 0.0], [0.58, 1.0], [1.0, 1.0]])
CURVE3 = np.array([[0.0, 0.0, 0.0], [1.0, 2.0, 0.5], [2.0, -1.0, 1.0], [3.0, 0.5, -0.5]])
