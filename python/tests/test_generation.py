"""Long generation: progress through a callback, cancellation from it and by Ctrl-C."""

import os
import signal
import threading

import pytest

import zubra


def long_search():
    """A D-optimal response-surface design in 18 factors: its search lasts many seconds."""
    inv = zubra.Investigation("Long search")
    for i in range(1, 19):
        inv.add_factor(f"F{i}", f"F{i}", low=0, high=1)
    inv.configure(objective="RSM", design="DOptimal")
    return inv


def test_an_exception_from_the_progress_callback_cancels_the_search():
    for raised in (KeyboardInterrupt, ValueError):
        inv = long_search()
        calls = []

        def progress(finished, total, raised=raised):
            calls.append((finished, total))
            raise raised("stop")

        with pytest.raises(raised):
            inv.design(progress=progress)
        assert len(calls) == 1 and calls[0][1] > 0
        assert inv.generated_design is None and len(inv.worksheet) == 0
        # The investigation is usable again at once.
        inv.configure(objective="Screening")
        assert inv.design(seed=1).runs > 0


def test_ctrl_c_during_the_search_raises_keyboard_interrupt():
    inv = long_search()
    started = threading.Event()
    sender = threading.Thread(
        target=lambda: started.wait(60) and os.kill(os.getpid(), signal.SIGINT))
    sender.start()
    try:
        with pytest.raises(KeyboardInterrupt):
            inv.design(progress=lambda finished, total: started.set())
    finally:
        sender.join()
    assert inv.generated_design is None


def test_progress_is_reported_on_the_calling_thread_until_the_search_ends():
    inv = zubra.Investigation.from_json({
        "factors": [{"name": n, "abbreviation": n, "type": "quantitative", "settings": [0, 1]}
                    for n in ("A", "B", "C", "D")],
        "design": {"objective": "RSM", "type": "DOptimal"}})
    caller = threading.get_ident()
    seen = []
    inv.design(seed=1, progress=lambda f, t: seen.append((f, t, threading.get_ident())))
    assert seen, "an optimal design reports its progress"
    assert all(thread == caller for _, _, thread in seen)
    finished = [f for f, _, _ in seen]
    assert finished == sorted(finished) and all(0 <= f <= t for f, t, _ in seen)
