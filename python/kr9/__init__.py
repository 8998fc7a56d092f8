"""kr9: capture fingerprints from KR9 scanners as NumPy arrays.

A thin binding over the KR9 SDK's C interface (``libQuorvaneTactiviewKR9``)::

    import kr9
    with kr9.open() as scanner:               # the only attached scanner
        image = scanner.capture(timeout=30)   # uint8 array, 360 rows of 256 pixels, 500 dpi

The library is found next to this package, through the environment variable
``KR9_LIBRARY`` (its path), or on the system's library path. ``kr9.virtual``
plugs virtual scanners for tests without hardware.
"""
from . import virtual
from ._library import library
from .errors import BusyError, CaptureTimeout, DeviceError, Error, NotFoundError
from .imagefile import save
from .scanner import Properties, Scanner, open, scanners

__all__ = ["BusyError", "CaptureTimeout", "DeviceError", "Error", "NotFoundError", "Properties", "Scanner",
           "library", "open", "save", "scanners", "virtual"]
__version__ = "1.0.1"
