"""Finding and loading the KR9 SDK library, and the C signatures of its exports.

The library is looked for, in this order: next to this package (a copy placed
into the installed package), at the path in the environment variable
``KR9_LIBRARY``, and on the system's library search path. It is loaded once per
process, on first use, and its interface version is checked before anything
else is called.
"""
from __future__ import annotations

import ctypes
import os
import sys
import threading
from ctypes import POINTER, c_char_p, c_int32, c_uint8, c_uint32, c_uint64, c_void_p
from pathlib import Path
from typing import Optional

# The oldest interface version whose calls this binding makes.
INTERFACE_VERSION = "2.7"

if sys.platform == "win32":
    _FILE_NAMES = ["QuorvaneTactiviewKR9.dll"]
else:
    # The versioned name first: it is what an installed runtime package has.
    _FILE_NAMES = ["libQuorvaneTactiviewKR9.so.1", "libQuorvaneTactiviewKR9.so"]

_i32p = POINTER(c_int32)
_u64p = POINTER(c_uint64)

# name: (result type, argument types), as the public headers declare them.
_SIGNATURES = {
    "TV_KR9Initialize": (c_int32, [c_void_p]),
    "TV_KR9Uninitialize": (c_int32, []),
    "TV_KR9CompatibilityCheck": (c_int32, [c_char_p]),
    "TV_KR9GetErrorDescriptionA": (c_char_p, [c_uint32]),
    "TV_KR9QueryScanners": (c_int32, [c_void_p, _u64p]),
    "TV_KR9OpenScanner": (c_int32, [c_char_p, POINTER(c_void_p)]),
    "TV_KR9CloseScanner": (c_int32, [POINTER(c_void_p)]),
    "TV_KR9TriggerScanner": (c_int32, [c_void_p]),
    "TV_KR9GetScannerCondition": (c_int32, [c_void_p, POINTER(c_uint32), POINTER(c_uint32)]),
    "TV_KR9GetImageSize": (c_int32, [c_void_p, _u64p, _u64p]),
    "TV_KR9GetPreviewImageSize": (c_int32, [c_void_p, _u64p, _u64p]),
    "TV_KR9GetImageDPI": (c_int32, [c_void_p, _u64p, _u64p]),
    "TV_KR9GetPreviewImageDPI": (c_int32, [c_void_p, _u64p, _u64p]),
    "TV_KR9GetSerialNumber": (c_int32, [c_void_p, c_void_p]),
    "TV_KR9GetVersionString": (c_int32, [c_void_p, c_void_p, _u64p]),
    "TV_KR9SetCaptureMode": (c_int32, [c_void_p, c_int32]),
    "TV_KR9GetCaptureMode": (c_int32, [c_void_p, _i32p]),
    "TV_KR9GetImage": (c_int32, [c_void_p, c_void_p, _u64p, POINTER(c_uint8), _i32p]),
    "TV_KR9GetPreviewImage": (c_int32, [c_void_p, c_void_p, _u64p, POINTER(c_uint8), _i32p]),
    "TV_KR9SetPropertyA": (c_int32, [c_void_p, c_char_p, c_char_p]),
    "TV_KR9SetPropertyLongA": (c_int32, [c_void_p, c_char_p, c_int32]),
    "TV_KR9GetPropertyA": (c_int32, [c_void_p, c_char_p, c_void_p, _u64p]),
    "TV_KR9GetPropertyLongA": (c_int32, [c_void_p, c_char_p, _i32p]),
    # Virtual scanners; the device is an opaque pointer.
    "KR9EMU_Plug": (c_void_p, [c_char_p]),
    "KR9EMU_Unplug": (c_int32, [c_void_p]),
    "KR9EMU_SetFingerPresent": (c_int32, [c_void_p, c_int32]),
    "KR9EMU_Touch": (c_int32, [c_void_p, c_uint32, c_uint32, c_uint32]),
    "KR9EMU_SetFrames": (c_int32, [c_void_p, c_void_p, c_uint32]),
    "KR9EMU_SetTiming": (c_int32, [c_void_p, c_uint32, c_uint32]),
    "KR9EMU_SetFault": (c_int32, [c_void_p, c_int32, c_int32]),
}

_lock = threading.Lock()
_library: Optional[ctypes.CDLL] = None


def _candidates() -> list[str]:
    here = Path(__file__).resolve().parent
    paths = [str(here / name) for name in _FILE_NAMES if (here / name).exists()]
    if os.environ.get("KR9_LIBRARY"):
        paths.append(os.environ["KR9_LIBRARY"])
    # Bare names go through the system's search (LD_LIBRARY_PATH, ld.so.cache).
    return paths + _FILE_NAMES


def _load() -> ctypes.CDLL:
    loader = ctypes.WinDLL if sys.platform == "win32" else ctypes.CDLL  # the exports are __stdcall there
    problems = []
    for candidate in _candidates():
        try:
            library = loader(candidate)
            break
        except OSError as error:
            problems.append(f"{candidate}: {error}")
    else:
        raise OSError("the KR9 SDK library was not found; set KR9_LIBRARY to the path of "
                      f"{_FILE_NAMES[-1]} (tried: {'; '.join(problems)})")
    for name, (result, arguments) in _SIGNATURES.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments
    code = library.TV_KR9CompatibilityCheck(INTERFACE_VERSION.encode())
    if code != 0:
        from .errors import error_for
        raise error_for(code, f"checking the library's interface against version {INTERFACE_VERSION}")
    return library


def library() -> ctypes.CDLL:
    """The loaded SDK library with the C signatures of its exports set (loaded on first call)."""
    global _library
    with _lock:
        if _library is None:
            _library = _load()
        return _library


def describe(code: int) -> str:
    """The library's own text for a result code."""
    text = library().TV_KR9GetErrorDescriptionA(code & 0xFFFFFFFF)
    return text.decode("ascii", "replace") if text else ""
