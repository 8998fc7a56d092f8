"""The exceptions of the binding: every failing SDK call raises one, carrying its result code."""
from __future__ import annotations

from typing import Mapping, Optional, Type

# Result codes the binding itself speaks of.
SUCCESS = 0
NO_HANDLE = -42
INVALID_PARAMETER = -44
DEVICE_DISCONNECTED = -60
DEVICE_OPEN_FAIL = -61
DEVICE_INTERNAL = -62
NO_FINGER = -15
WRITE_FAIL = -202
READ_FAIL = -203
IO = -204
UNKNOWN_PARAMETER = -206
TEMPLATE_SIZE = -21  # what a property read answers when the buffer is too small
SIZE_TOO_SMALL = -702


class Error(Exception):
    """A failure of the KR9 SDK.

    ``code`` is the SDK's result code (negative), ``text`` the library's own
    description of it (``TV_KR9GetErrorDescriptionA``), ``what`` what the
    binding was doing when it failed.
    """

    def __init__(self, code: int, text: str, what: str = "") -> None:
        self.code = code
        self.text = text
        self.what = what
        super().__init__(f"{what}: error {code}: {text}" if what else f"error {code}: {text}")


class NotFoundError(Error, LookupError):
    """No scanner of that name is attached, or no property of that name exists."""


class BusyError(Error):
    """The scanner is open already, in this process or another one (the device lock is machine-wide)."""


class DeviceError(Error):
    """The scanner failed: pulled out, not answering, or a transfer that went wrong."""


class CaptureTimeout(Error, TimeoutError):
    """No final image came within the time given (the code is that of "no finger")."""


_FAMILIES: Mapping[int, Type[Error]] = {
    UNKNOWN_PARAMETER: NotFoundError,
    DEVICE_DISCONNECTED: DeviceError,
    DEVICE_OPEN_FAIL: DeviceError,
    DEVICE_INTERNAL: DeviceError,
    WRITE_FAIL: DeviceError,
    READ_FAIL: DeviceError,
    IO: DeviceError,
}


def error_for(code: int, what: str, families: Optional[Mapping[int, Type[Error]]] = None) -> Error:
    """The exception for a failing result code; ``families`` gives the meaning a code has for one call."""
    from ._library import describe
    kind = (families or {}).get(code) or _FAMILIES.get(code, Error)
    return kind(code, describe(code), what)


def check(code: int, what: str, families: Optional[Mapping[int, Type[Error]]] = None) -> None:
    """Raises the exception for ``code`` unless it is success."""
    if code != SUCCESS:
        raise error_for(code, what, families)
