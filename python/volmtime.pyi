# SPDX-License-Identifier: MIT
"""VolmTime's time base: clocks, shared correction functions and timers.

Arguments of the wrong type raise TypeError; values beyond what a parameter's type holds
OverflowError, other values it does not take ValueError, each naming the parameter.

Times are ints in 100-ns units: since 1601-01-01 UTC for the system clock and the named
clocks that `volmtime publish` feeds, since the factory's start for the relative clock.
Every object gives its references back on close(), at the end of a `with` block, when it is
collected, or when the interpreter exits.
"""

import datetime as _datetime
from types import TracebackType
from typing import Optional, Protocol, Sequence, TypeVar, Union

UNITS_PER_SECOND: int
__version__: str

_Self = TypeVar("_Self")

class VolmError(Exception):
    """A VolmTime operation failed."""

    code: int
    """The library's 32-bit result code, for example 0x80004005."""
    text: str
    """The library's text for the failure (may be empty)."""
    operation: str
    """What was being done."""

class _Closable:
    def close(self) -> None:
        """Gives the object's references back; later calls raise ValueError."""
    @property
    def closed(self) -> bool: ...
    def __enter__(self: _Self) -> _Self: ...
    def __exit__(
        self,
        exc_type: Optional[type],
        exc: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> bool: ...

class _HasFileno(Protocol):
    def fileno(self) -> int: ...

class Timer(_Closable):
    """A timer on its clock's time axis."""

    def set_relative(self, seconds: Optional[float] = None, *, units: Optional[int] = None) -> None:
        """Fires once after a duration on the clock (seconds, or units of 100 ns)."""
    def set_absolute(self, time: int) -> None:
        """Fires once when the clock reaches `time` (100-ns units of the clock)."""
    def set_periodic(self, seconds: Optional[float] = None, *, units: Optional[int] = None) -> None:
        """Fires every period, the first time after one period; ValueError for a period of 0."""
    def wait(self, timeout: Optional[float] = None) -> bool:
        """Waits for a firing, at most `timeout` seconds (None: no limit).

        True after a firing or the timeout, False after a cancellation. The interpreter's
        lock is released while waiting; Ctrl-C ends the wait and cancels the timer.
        """
    def cancel(self) -> None:
        """Stops the timer and releases one waiting thread."""
    def fileno(self) -> int:
        """Linux: the timer's descriptor, readable once it has fired (selectors, asyncio).

        A wait() or wait_for_events() consumes the firing.
        """

class Clock(_Closable):
    """The relative clock, the system clock or a named clock."""

    @property
    def kind(self) -> str:
        """'relative', 'system' or 'named'."""
    def time(self) -> int:
        """The current time in 100-ns units from the clock's origin."""
    def try_time(self) -> Optional[int]:
        """The current time, or None where the clock's function is not defined now."""
    def is_system_time(self) -> bool:
        """True when the clock reads the platform's system time."""
    def datetime(self) -> _datetime.datetime:
        """The time as an aware UTC datetime, to the microsecond (a datetime holds no finer).

        ValueError for the relative clock.
        """
    def unix_time_ns(self) -> int:
        """The time in nanoseconds since 1970-01-01 UTC, exact (a multiple of 100).

        ValueError for the relative clock.
        """
    def sleep(self, seconds: Optional[float] = None, *, units: Optional[int] = None) -> None:
        """Sleeps for a duration on this clock; Ctrl-C ends it."""
    def create_timer(self) -> Timer:
        """A new timer on this clock's time axis.

        VolmError with the library's text when the system gave the timer no handle (for
        example when the process has no descriptors left).
        """

class Counter(_Closable):
    """The high-resolution tick counter that the clocks read."""

    def tick(self) -> int: ...
    @property
    def frequency(self) -> int:
        """Ticks per second."""
    @property
    def name(self) -> str: ...

class Correction(_Closable):
    """A piecewise-linear function from counter ticks to 100-ns units."""

    def add_sample(self, tick: int, rate: float, time: int) -> None:
        """From `tick` on the time is `time` plus `rate` units per tick (0.0: undefined).

        Ticks and times must increase; visible to readers after publish().
        """
    def remove_last_sample(self) -> None:
        """Withdraws the latest sample not yet published."""
    def publish(self) -> None:
        """Makes everything appended or removed so far visible."""
    def reset(self) -> None:
        """Empties the function and publishes that."""
    def tick_to_time(self, tick: int) -> int: ...
    def time_to_tick(self, time: int) -> int: ...
    def rate(self) -> float:
        """Units per tick now."""
    def sample_count(self) -> int: ...

class TimeBase(_Closable):
    """The library's time factory, from which every other object comes."""

    @property
    def library(self) -> str:
        """The library file that was loaded."""
    def can_unload(self) -> bool:
        """True once every object of the library in this process is released."""
    def relative_clock(self) -> Clock: ...
    def system_clock(self) -> Clock: ...
    def named_clock(self, name: str) -> Clock:
        """The clock that the shared correction function `name` drives."""
    def counter(self) -> Counter: ...
    def counter_available(self) -> bool: ...
    def create_local_correction(self) -> Correction:
        """A correction function in this process's memory."""
    def create_shared_correction(self, name: str) -> Correction:
        """The writer of the shared correction function `name` (created or taken over)."""
    def open_shared_correction(self, name: str) -> Correction:
        """A reader of the shared correction function `name`."""
    def wait_for_events(
        self,
        handles: Sequence[Union[int, _HasFileno]],
        wait_all: bool = False,
        timeout: Optional[float] = None,
    ) -> Optional[int]:
        """Waits for any (or all) of the handles; Linux: descriptors or objects with fileno().

        The index of the handle that ended the wait (0 when waiting for all), or None after
        `timeout` seconds. Ctrl-C ends the wait.
        """

def open(library: Optional[str] = None) -> TimeBase:
    """Loads the library and opens its time factory.

    The library is the file given, else $VOLMTIME_LIBRARY, else the copy a wheel installs in
    volmtime.libs beside the module, the installed one seen from the module's install folder,
    the build tree's, or libVolmTime.so.0 by the system's search.
    OSError names every file tried when none loads.
    """
