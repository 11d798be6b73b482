"""Batch calls release the GIL: another thread keeps running while one is inside a long call."""
import threading
import time

import numpy as np

import crv
from conftest import EASE


def test_other_threads_run_during_a_batch():
    x = np.random.default_rng(1).random(3_000_000)
    started = time.perf_counter()
    crv.y_from_x(EASE, x[:300_000])
    if time.perf_counter() - started < 1e-3:  # far too fast to observe anything
        return
    ticks = []
    worker = threading.Thread(target=crv.y_from_x, args=(EASE, x))
    worker.start()
    while worker.is_alive():
        ticks.append(time.perf_counter())
        time.sleep(0.0005)
    took = ticks[-1] - ticks[0]
    # With the GIL held the ticking thread would stall for the whole call.
    assert max(np.diff(ticks)) < 0.5 * took
