"""Writing 8-bit grayscale images as PNG (with their resolution) or PGM, with the standard library only."""
from __future__ import annotations

import struct
import zlib
from pathlib import Path
from typing import Union

import numpy as np

_METRES_PER_INCH = 0.0254


def _chunk(kind: bytes, data: bytes) -> bytes:
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def encode_png(image: np.ndarray, dpi: int = 500) -> bytes:
    """A 2-D ``uint8`` array as an 8-bit grayscale PNG file's bytes."""
    height, width = image.shape
    rows = np.hstack([np.zeros((height, 1), np.uint8), np.asarray(image, np.uint8)])  # filter type 0 per row
    pixels_per_metre = round(dpi / _METRES_PER_INCH)
    return b"".join([
        b"\x89PNG\r\n\x1a\n",
        _chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)),
        _chunk(b"pHYs", struct.pack(">IIB", pixels_per_metre, pixels_per_metre, 1)),
        _chunk(b"IDAT", zlib.compress(rows.tobytes(), 9)),
        _chunk(b"IEND", b""),
    ])


def save(path: Union[str, Path], image: np.ndarray, dpi: int = 500) -> None:
    """Writes ``image`` to ``path``: a PGM when the name ends in .pgm, a PNG otherwise."""
    path = Path(path)
    if path.suffix.lower() == ".pgm":
        height, width = image.shape
        data = f"P5 {width} {height} 255\n".encode() + np.asarray(image, np.uint8).tobytes()
    else:
        data = encode_png(image, dpi)
    path.write_bytes(data)
