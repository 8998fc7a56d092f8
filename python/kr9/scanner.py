"""Listing, opening and capturing from KR9 scanners."""
from __future__ import annotations

import ctypes
import time
from ctypes import byref, c_int32, c_uint8, c_uint64, c_void_p
from typing import Iterator, List, Optional, Tuple, Union

import numpy as np

from . import errors
from ._library import library
from .errors import BusyError, CaptureTimeout, NotFoundError, check, error_for

NAME_SIZE = 16  # a name record in the listing; a 16-character name has no terminator there
_CAPTURE_MODE = 0  # starts the capture thread: previews, then the final image
_IDLE_MODE = 3
# TV_KR9GetImage leaves the status alone when no new image came, and no status is positive.
_NO_NEW_IMAGE = 1


def scanners() -> List[str]:
    """The names of the attached scanners ("KR9 <serial>"), real and virtual."""
    lib = library()
    count = c_uint64(0)
    code = lib.TV_KR9QueryScanners(None, byref(count))
    while True:
        if code not in (errors.SUCCESS, errors.SIZE_TOO_SMALL):
            raise error_for(code, "listing the scanners")
        # A scanner plugged in between two calls makes the list longer: room for a few more.
        count.value += 4
        records = ctypes.create_string_buffer(NAME_SIZE * count.value)
        code = lib.TV_KR9QueryScanners(records, byref(count))
        if code == errors.SUCCESS:
            raw = records.raw
            return [raw[at:at + NAME_SIZE].split(b"\0", 1)[0].decode("latin-1")
                    for at in range(0, NAME_SIZE * count.value, NAME_SIZE)]


class Properties:
    """The named properties of an open scanner: ``scanner.properties["Version"]``."""

    def __init__(self, scanner: "Scanner") -> None:
        self._scanner = scanner

    def __getitem__(self, name: str) -> str:
        size = c_uint64(64)
        while True:
            value = ctypes.create_string_buffer(size.value)
            code = library().TV_KR9GetPropertyA(self._scanner._checked_handle(), name.encode(), value, byref(size))
            # Too small a buffer answers with the size needed, terminator included.
            if code != errors.TEMPLATE_SIZE or size.value <= len(value):
                check(code, f"reading the property \"{name}\"")
                return value.value.decode("latin-1")

    def __setitem__(self, name: str, value: Union[str, int]) -> None:
        lib, handle = library(), self._scanner._checked_handle()
        if isinstance(value, int):
            code = lib.TV_KR9SetPropertyLongA(handle, name.encode(), value)
        else:
            code = lib.TV_KR9SetPropertyA(handle, name.encode(), str(value).encode())
        check(code, f"setting the property \"{name}\"")

    def get(self, name: str, default: Optional[str] = None) -> Optional[str]:
        """The property's text, or ``default`` when there is no such property."""
        try:
            return self[name]
        except NotFoundError:
            return default


class Scanner:
    """An open scanner. Made by :func:`open`; a context manager that closes it on leaving.

    Do not close a scanner while another thread captures from it.
    """

    def __init__(self, name: str) -> None:
        self.name = name
        self._handle = c_void_p()
        lib = library()
        check(lib.TV_KR9Initialize(None), "initialising the SDK")
        try:
            # An unknown name gives "invalid parameter"; a scanner open elsewhere "failed to open".
            check(lib.TV_KR9OpenScanner(name.encode(), byref(self._handle)), f"opening \"{name}\"",
                  {errors.INVALID_PARAMETER: NotFoundError, errors.DEVICE_OPEN_FAIL: BusyError})
        except BaseException:
            lib.TV_KR9Uninitialize()
            raise
        self.properties = Properties(self)
        try:
            self.size: Tuple[int, int] = self._pair("TV_KR9GetImageSize", "reading the image size")
            """(width, height) of the images in pixels."""
            self.dpi: Tuple[int, int] = self._pair("TV_KR9GetImageDPI", "reading the resolution")
            """(horizontal, vertical) resolution in dots per inch."""
        except BaseException:
            self.close()
            raise

    def __enter__(self) -> "Scanner":
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<kr9.Scanner {self.name!r}{'' if self.is_open else ' closed'}>"

    @property
    def is_open(self) -> bool:
        return bool(self._handle.value)

    def close(self) -> None:
        """Stops the capture, ends the session and releases the SDK; closing twice does nothing."""
        if not self.is_open:
            return
        lib = library()
        try:
            check(lib.TV_KR9CloseScanner(byref(self._handle)), f"closing \"{self.name}\"")
        finally:
            self._handle = c_void_p()
            lib.TV_KR9Uninitialize()

    @property
    def serial(self) -> str:
        """The scanner's serial text as the device reports it."""
        text = ctypes.create_string_buffer(NAME_SIZE + 1)
        check(library().TV_KR9GetSerialNumber(self._checked_handle(), text), "reading the serial number")
        return text.value.decode("latin-1")

    @property
    def version(self) -> str:
        """The versions of firmware, library and FPGA as one text."""
        lib, handle, size = library(), self._checked_handle(), c_uint64(0)
        code = lib.TV_KR9GetVersionString(handle, None, byref(size))  # learns the length
        text = ctypes.create_string_buffer(size.value + 1)
        if code != errors.SUCCESS:
            code = lib.TV_KR9GetVersionString(handle, text, byref(size))
        check(code, "reading the version string")
        return text.raw[:size.value].decode("latin-1")

    def frames(self, timeout: Optional[float] = None) -> Iterator[Tuple[np.ndarray, bool]]:
        """Starts a fresh capture and yields ``(image, final)`` for every image as it comes.

        Images are ``uint8`` arrays of shape (height, width): white previews while
        no finger lies on the scanner, then the finger, ``final`` once it has held
        still. The stream goes on after a final image while the finger stays;
        break out of the loop when you have what you need. With ``timeout``, it
        raises :class:`CaptureTimeout` when no final image has come within that
        many seconds. A failure of the capture (a scanner pulled out) raises.
        """
        lib, handle = library(), self._checked_handle()
        # Through the idle mode, so that the capture thread starts again even
        # after a failure and nothing from before this call is handed out.
        check(lib.TV_KR9SetCaptureMode(handle, _IDLE_MODE), "stopping the capture")
        check(lib.TV_KR9SetCaptureMode(handle, _CAPTURE_MODE), "starting the capture")
        width, height = self.size
        deadline = None if timeout is None else time.monotonic() + timeout
        reserved, final, status = c_uint64(), c_uint8(), c_int32()
        while True:
            image = np.empty((height, width), dtype=np.uint8)
            while True:
                if deadline is not None and time.monotonic() > deadline:
                    raise error_for(errors.NO_FINGER, f"no final image from \"{self.name}\" within {timeout:g} s",
                                    {errors.NO_FINGER: CaptureTimeout})
                status.value = _NO_NEW_IMAGE
                # Waits up to 10 ms for an image; ctypes lets other threads run meanwhile.
                check(lib.TV_KR9GetImage(self._checked_handle(), image.ctypes.data_as(c_void_p), byref(reserved),
                                         byref(final), byref(status)), f"capturing from \"{self.name}\"")
                if status.value != _NO_NEW_IMAGE:
                    break
            check(status.value, f"capturing from \"{self.name}\"")
            if final.value:
                deadline = None
            yield image, bool(final.value)

    def capture(self, timeout: Optional[float] = 30.0) -> np.ndarray:
        """Captures one fingerprint: the final image as a ``uint8`` array of shape (height, width).

        Raises :class:`CaptureTimeout` when no finger has held still within
        ``timeout`` seconds (``None``: wait for ever).
        """
        return next(image for image, final in self.frames(timeout=timeout) if final)

    def _checked_handle(self) -> c_void_p:
        if not self.is_open:
            raise error_for(errors.NO_HANDLE, f"\"{self.name}\" is closed")
        return self._handle

    def _pair(self, function: str, what: str) -> Tuple[int, int]:
        first, second = c_uint64(), c_uint64()
        check(getattr(library(), function)(self._checked_handle(), byref(first), byref(second)), what)
        return first.value, second.value


def open(name: Optional[str] = None) -> Scanner:  # noqa: A001 - kr9.open reads like the built-in on purpose
    """Opens the scanner of that name, or the only attached one when no name is given.

    Use it in a ``with`` statement: the scanner is closed, and the SDK released,
    however the block is left.
    """
    if name is None:
        names = scanners()
        if len(names) != 1:
            problem = "no scanner attached" if not names else f"{len(names)} scanners attached: name one"
            raise error_for(errors.INVALID_PARAMETER, problem, {errors.INVALID_PARAMETER: NotFoundError})
        name = names[0]
    return Scanner(name)
