# SPDX-License-Identifier: MIT
"""The volmtime module against the real library, and with the volmtime tool as the C++ side."""

import itertools
import json
import os
import signal
import subprocess
import sys
import threading
import time
from datetime import datetime, timedelta, timezone

import pytest

import volmtime

SECOND = volmtime.UNITS_PER_SECOND
UNIX_EPOCH = 116_444_736_000_000_000
TOOL = os.environ.get("VOLMTIME_TOOL")
# How long a wait for something that is due may take: long enough for any busy machine, and
# never spent when the library works.
PATIENCE = 60
_names = itertools.count()


def fresh_name():
    return f"volmtime-python-{os.getpid()}-{next(_names)}"


@pytest.fixture(scope="session", autouse=True)
def stores_are_let_go():
    """Every store a test names, whichever process made it, is gone from /dev/shm at the end."""
    yield
    if not os.path.isdir("/dev/shm"):
        return
    prefix = f"volmtime-python-{os.getpid()}-"
    left = [entry for entry in os.listdir("/dev/shm") if prefix in entry]
    assert not left, f"left in /dev/shm: {left}"


@pytest.fixture
def base():
    with volmtime.open() as opened:
        yield opened


def test_clocks_and_counter_read_the_library(base):
    with base.system_clock() as system, base.relative_clock() as relative:
        assert system.is_system_time() and not relative.is_system_time()
        # Between two readings of Python's own clock, however long the scheduler kept us.
        before = UNIX_EPOCH + time.time_ns() // 100
        reading = system.time()
        after = UNIX_EPOCH + time.time_ns() // 100 + 1
        assert before <= reading <= after
        before = datetime.now(timezone.utc)
        reading = system.datetime()
        assert before - timedelta(microseconds=1) <= reading <= datetime.now(timezone.utc)
        # The exact reading: 100-ns units as nanoseconds since 1970.
        before = time.time_ns() // 100 * 100
        reading = system.unix_time_ns()
        assert before <= reading <= time.time_ns() + 100 and reading % 100 == 0
        assert relative.try_time() >= 0
        for calendar in (relative.datetime, relative.unix_time_ns):
            with pytest.raises(ValueError, match="relative clock"):
                calendar()
    with base.counter() as counter:
        assert counter.frequency > 0 and counter.name and base.counter_available()
        assert counter.tick() < counter.tick()


def test_sleep_lasts_at_least_its_duration_in_seconds_or_units(base):
    with base.relative_clock() as clock:
        for seconds, units in ((0.02, None), (None, SECOND // 5)):  # one slice, then several
            start = clock.time()
            clock.sleep(seconds, units=units)
            assert clock.time() - start >= (units or seconds * SECOND)


# Each call with the exception it raises and a word of its message, which names the argument.
BAD_ARGUMENTS = [
    (lambda c, t, b: c.sleep("1"), TypeError, "seconds must be a number, not str"),
    (lambda c, t, b: c.sleep(True), TypeError, "seconds must be a number, not bool"),
    (lambda c, t, b: c.sleep(1, units=1), TypeError, "not both"),
    (lambda c, t, b: c.sleep(-1), ValueError, "seconds cannot be negative"),
    (lambda c, t, b: c.sleep(float("nan")), ValueError, "seconds must be a number, not nan"),
    (lambda c, t, b: c.sleep(2e12), OverflowError, "seconds must be less than 2\\*\\*64"),
    (lambda c, t, b: c.sleep(units=2**70), OverflowError, "units must be from 0 to 2\\*\\*64"),
    (lambda c, t, b: c.sleep(units=1.5), TypeError, "units must be an int, not float"),
    (lambda c, t, b: c.sleep(units=-1), ValueError, "units cannot be negative"),
    (lambda c, t, b: t.set_periodic(0), ValueError, "period must be more than 0: seconds=0"),
    (lambda c, t, b: t.set_periodic(units=0), ValueError, "period must be more than 0: units=0"),
    (lambda c, t, b: t.set_absolute(-1), OverflowError, "time must be from 0 to 2\\*\\*64 - 1"),
    (lambda c, t, b: t.wait(float("nan")), ValueError, "timeout must be a number of seconds or None, not nan"),
    (lambda c, t, b: t.wait(float("inf")), OverflowError, "timeout must be at most"),
    (lambda c, t, b: b.wait_for_events(["x"]), TypeError, "handles\\[0\\] must be an int descriptor or have fileno\\(\\), not str"),
    (lambda c, t, b: b.wait_for_events([t, 2**40]), OverflowError, "handles\\[1\\] is not a descriptor"),
    (lambda c, t, b: b.wait_for_events(5), TypeError, "handles must be a sequence"),
    (lambda c, t, b: b.create_local_correction().tick_to_time(1.0), TypeError, "tick must be an int"),
]


@pytest.mark.parametrize("call, error, message", BAD_ARGUMENTS)
def test_bad_arguments_raise_python_errors_that_name_them(base, call, error, message):
    with base.relative_clock() as clock, clock.create_timer() as timer:
        with pytest.raises(error, match=message):
            call(clock, timer, base)


def test_local_correction_maps_ticks_and_edits_samples(base):
    with base.create_local_correction() as function:
        function.add_sample(1000, 2.0, 5000)
        function.publish()
        assert (function.tick_to_time(1500), function.time_to_tick(6000)) == (6000, 1500)
        function.add_sample(2000, 3.0, 7000)
        function.remove_last_sample()
        assert (function.rate(), function.sample_count()) == (2.0, 1)
        function.reset()
        assert function.sample_count() == 0


def test_failures_raise_volm_error_with_code_and_text(base):
    with base.create_local_correction() as function:
        function.add_sample(1000, 1.0, 1000)
        with pytest.raises(volmtime.VolmError) as failure:
            function.add_sample(500, 1.0, 2000)  # ticks must increase
    assert failure.value.code & 0x80000000 and failure.value.text
    assert f"0x{failure.value.code:08X}" in str(failure.value)
    assert failure.value.operation == "AddSample"
    with pytest.raises(volmtime.VolmError):
        base.named_clock(fresh_name())
    with pytest.raises(OSError, match="no-such-library.so: no such file"):
        volmtime.open("/no-such-library.so")


def test_closed_objects_refuse_calls_and_release_their_references(base):
    clock = base.system_clock()
    base.close()
    assert clock.time() > 0  # a clock keeps what it needs
    assert not base.can_unload()
    clock.close()
    assert base.can_unload() and base.closed
    with pytest.raises(ValueError, match="closed"):
        clock.time()
    with pytest.raises(ValueError, match="closed"):
        base.system_clock()


def test_shared_correction_is_seen_by_its_readers(base):
    name = fresh_name()
    with base.create_shared_correction(name) as writer, base.open_shared_correction(name) as reader:
        writer.add_sample(10, 1.0, 100)
        writer.publish()
        assert reader.tick_to_time(20) == 110


def test_timers_fire_and_waits_time_out_or_wait_for_all(base):
    with base.relative_clock() as clock, clock.create_timer() as timer, \
            base.system_clock() as system, system.create_timer() as other:
        due = clock.time() + SECOND // 50
        timer.set_absolute(due)
        assert base.wait_for_events([timer], timeout=PATIENCE) == 0
        # Not before its time; the timer runs on the system clock, which may be slewed a little
        # against the counter.
        assert clock.time() >= due - SECOND // 1000
        start = clock.time()
        timer.set_periodic(units=SECOND // 100)
        for _ in range(3):
            assert base.wait_for_events([timer], timeout=PATIENCE) == 0
        assert clock.time() - start >= 3 * SECOND // 100 - SECOND // 1000
        timer.cancel()
        # A firing signalled before the cancel is kept and comes first; then the cancel.
        outcomes = [timer.wait(PATIENCE)]
        if outcomes[0]:
            outcomes.append(timer.wait(PATIENCE))
        assert outcomes[-1] is False and len(outcomes) <= 2
        assert base.wait_for_events([timer, other.fileno()], timeout=0.12) is None
        timer.set_relative(0.01)
        other.set_relative(0.03)
        assert base.wait_for_events([timer, other], wait_all=True, timeout=PATIENCE) == 0


def test_cancel_from_another_thread_ends_a_long_wait(base):
    with base.relative_clock() as clock, clock.create_timer() as timer:
        timer.set_relative(60)
        # The other thread runs only if the wait lets go of the interpreter lock.
        canceller = threading.Timer(0.2, timer.cancel)
        canceller.start()
        assert timer.wait() is False
        canceller.join()


def test_ctrl_c_ends_waits_and_sleeps():
    source = ("import volmtime\n"
              "with volmtime.open() as base, base.relative_clock() as clock:\n"
              "    timer = clock.create_timer()\n"
              "    for wait in (timer.wait, lambda: clock.sleep(60),\n"
              "                 lambda: base.wait_for_events([timer])):\n"
              "        try:\n"
              "            print('waiting', flush=True)\n"
              "            wait()\n"
              "        except KeyboardInterrupt:\n"
              "            print('interrupted', flush=True)\n")
    child = subprocess.Popen([sys.executable, "-c", source], stdout=subprocess.PIPE, text=True)
    try:
        for _ in range(3):
            assert child.stdout.readline() == "waiting\n"
            time.sleep(0.2)
            child.send_signal(signal.SIGINT)
            assert child.stdout.readline() == "interrupted\n"
        assert child.wait(30) == 0
    finally:
        child.kill()


@pytest.mark.skipif("san" in os.environ.get("LD_PRELOAD", ""),
                    reason="a sanitizer checks memory through a pipe, which needs descriptors")
def test_a_timer_without_descriptors_is_refused_with_the_library_text():
    # Run in a child interpreter: it takes every descriptor its limit allows.
    source = ("import os, resource, volmtime\n"
              "base = volmtime.open()\n"
              "clock = base.relative_clock()\n"
              "highest = max(int(fd) for fd in os.listdir('/proc/self/fd'))\n"
              "soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)\n"
              "resource.setrlimit(resource.RLIMIT_NOFILE, (highest + 1, hard))\n"
              "held = []\n"
              "while True:\n"
              "    try:\n"
              "        held.append(os.open(os.devnull, os.O_RDONLY))\n"
              "    except OSError:\n"
              "        break\n"
              "try:\n"
              "    clock.create_timer()\n"
              "    print('made')\n"
              "except volmtime.VolmError as error:\n"
              "    print(error.operation, '|', error.text)\n"
              "for fd in held:\n"
              "    os.close(fd)\n"
              "resource.setrlimit(resource.RLIMIT_NOFILE, (soft, hard))\n"
              "with clock.create_timer() as timer:\n"
              "    timer.set_relative(units=1)\n"
              "    print(timer.wait(5))\n")
    child = subprocess.run([sys.executable, "-c", source], capture_output=True, text=True,
                           timeout=60, check=True)
    refused, fired = child.stdout.splitlines()
    assert refused.startswith("CreateTimer | ") and "CreateWaitableTimer failed!" in refused
    assert fired == "True"


def test_stubs_match_the_module():
    # mypy's stubtest compares volmtime.pyi with the module it imports. The allowlist holds
    # what pybind11 gives every class (its metaclass, an __init__ taking anything).
    folder = os.path.dirname(volmtime.__file__)
    allowlist = os.path.join(os.path.dirname(__file__), "stubtest-allowlist.txt")
    stubtest = subprocess.run([sys.executable, "-m", "mypy.stubtest", "volmtime",
                               "--allowlist", allowlist],
                              capture_output=True, text=True, timeout=300,
                              env=dict(os.environ, MYPYPATH=folder))
    assert stubtest.returncode == 0, stubtest.stdout + stubtest.stderr


@pytest.mark.skipif(not TOOL, reason="VOLMTIME_TOOL names the volmtime tool (set by ctest)")
def test_python_reads_a_named_clock_that_the_tool_publishes(base):
    name = fresh_name()
    publisher = subprocess.Popen([TOOL, "publish", name, "--interval-ms", "50", "--quiet"])
    try:
        deadline = time.monotonic() + 20
        while True:
            try:
                named = base.named_clock(name)
                break
            except volmtime.VolmError:
                assert time.monotonic() < deadline and publisher.poll() is None
                time.sleep(0.05)
        with named, base.system_clock() as system:
            # The publisher follows the system clock to well within a millisecond.
            slack = SECOND // 1000
            before = system.time()
            reading = named.time()
            assert before - slack <= reading <= system.time() + slack
            before = system.datetime()
            reading = named.datetime()
            assert before - timedelta(milliseconds=1) <= reading <= system.datetime() + \
                timedelta(milliseconds=1)
    finally:
        publisher.send_signal(signal.SIGTERM)
        assert publisher.wait(30) == 0


@pytest.mark.skipif(not TOOL, reason="VOLMTIME_TOOL names the volmtime tool (set by ctest)")
def test_the_tool_reads_a_named_clock_that_python_publishes(base):
    name = fresh_name()
    with base.counter() as counter, base.system_clock() as system, \
            base.create_shared_correction(name) as writer:
        # One hour ahead of the system clock, at the counter's nominal rate.
        writer.add_sample(counter.tick(), SECOND / counter.frequency, system.time() + 3600 * SECOND)
        writer.publish()
        report = subprocess.run([TOOL, "tracking", name, "--json"], capture_output=True,
                                text=True, timeout=60, check=True)
    assert abs(json.loads(report.stdout)["offset_ns"] - 3600e9) < 1e9
