"""Virtual KR9 scanners inside the SDK library, for testing software without hardware.

A virtual scanner is a model of the device's firmware: once plugged it is
listed as "KR9 <serial>" beside real scanners and opened and captured from like
one. It exists in this process only, but its device lock, as a real scanner's,
spans the machine.
"""
from __future__ import annotations

import enum
from typing import Iterable, Union

import numpy as np

from . import errors
from ._library import library
from .errors import check

FRAME_SHAPE = (360, 256)  # raw sensor frames: height, width


class Fault(enum.IntEnum):
    """Device faults that :meth:`VirtualScanner.set_fault` injects."""
    SWALLOW_REPLY = 1  # no reply: the host's read times out
    STATUS_254 = 2  # a status byte that would be 255 (yes, success) is 254
    CHUNK_FAIL = 3  # a chunk fetch fails and the chunk is lost
    LATE_REPLY = 4  # a reply comes only after the host's read has timed out


class VirtualScanner:
    """A plugged virtual scanner. A context manager that unplugs it on leaving."""

    def __init__(self, serial: str) -> None:
        self.serial = serial
        self.name = "KR9 " + serial
        """The name it is listed and opened by."""
        self._device = library().KR9EMU_Plug(serial.encode())
        if not self._device:
            raise errors.error_for(errors.INVALID_PARAMETER,
                                   f"plugging the virtual scanner \"{serial}\" (8 characters at most, once)")

    def __enter__(self) -> "VirtualScanner":
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.unplug()

    def __repr__(self) -> str:
        return f"<kr9.virtual.VirtualScanner {self.name!r}{'' if self._device else ' unplugged'}>"

    def set_finger_present(self, present: bool = True) -> None:
        """What the device answers when asked whether a finger lies on it."""
        check(library().KR9EMU_SetFingerPresent(self._device, int(bool(present))), "setting the finger")

    def set_frames(self, frames: Union[np.ndarray, Iterable[np.ndarray]]) -> None:
        """Raw sensor pictures to deliver in order, the last one repeating: 2-D ``uint8`` arrays
        of shape (360, 256), or one 3-D array of them. No frames: the built-in synthetic finger."""
        arrays = [np.asarray(frame) for frame in ([frames] if isinstance(frames, np.ndarray) else frames)]
        for frame in arrays:
            if frame.dtype != np.uint8 or frame.ndim not in (2, 3) or frame.shape[-2:] != FRAME_SHAPE:
                raise TypeError(f"frames are uint8 arrays of shape {FRAME_SHAPE}, not {frame.dtype} {frame.shape}")
        stack = np.ascontiguousarray(np.concatenate([frame.reshape(-1, *FRAME_SHAPE) for frame in arrays])
                                     if arrays else np.zeros((0, *FRAME_SHAPE), np.uint8))
        check(library().KR9EMU_SetFrames(self._device, stack.ctypes.data, len(stack)), "setting the frames")

    def touch(self, seed: int = 1, press_ms: int = 600, hold_ms: int = 2500) -> None:
        """A scripted touch in rounds: away for half a second, pressed down for ``press_ms``,
        held for ``hold_ms``, lifted. Each seed is another synthetic finger; ``hold_ms`` 0 ends it.
        Meant for the default, real-device timing."""
        check(library().KR9EMU_Touch(self._device, seed, press_ms, hold_ms), "starting the touch")

    def set_timing(self, frame_ms: int = 100, reply_ms: int = 2) -> None:
        """Bus time of one frame and of one reply; 0 and 0 for fast tests."""
        check(library().KR9EMU_SetTiming(self._device, frame_ms, reply_ms), "setting the timing")

    def set_fault(self, fault: Fault, count: int = 1) -> None:
        """Injects ``fault`` for the next ``count`` occurrences; -1 keeps it until ``count`` 0 clears it."""
        check(library().KR9EMU_SetFault(self._device, int(fault), count), f"injecting {Fault(fault).name}")

    def unplug(self) -> None:
        """Pulls the scanner out: open sessions on it fail from now on. Unplugging twice does nothing."""
        if self._device:
            device, self._device = self._device, None
            check(library().KR9EMU_Unplug(device), f"unplugging \"{self.name}\"")


def plug(serial: str) -> VirtualScanner:
    """Plugs a virtual scanner with that serial (up to 8 characters), listed as "KR9 <serial>".

    It starts with no finger and real-device timing. Serials are unique per process.
    """
    return VirtualScanner(serial)
