"""The kr9 binding through the real library against virtual scanners: what the binding adds to the C API."""
import os
import struct
import subprocess
import sys
import zlib
from pathlib import Path

import numpy as np
import pytest

import kr9

TESTDATA = Path(os.environ.get("KR9_TESTDATA_DIR", Path(__file__).resolve().parents[3] / "shared" / "testdata"))
# 64-bit FNV-1a of the library's image of the NIST frame "loop-right", verified bit for bit by the C++ tests.
LOOP_RIGHT_IMAGE_DIGEST = 0xAC9CCD87123574AE


def fnv1a(data: bytes) -> int:
    digest = 14695981039346656037
    for byte in data:
        digest = ((digest ^ byte) * 1099511628211) & 0xFFFFFFFFFFFFFFFF
    return digest


def library_text(code: int) -> str:
    return kr9.library().TV_KR9GetErrorDescriptionA(code & 0xFFFFFFFF).decode()


@pytest.fixture
def plug():
    """Plugs virtual scanners without bus time; serials begin with PY, as device locks span the machine."""
    devices = []

    def plug(serial: str) -> kr9.virtual.VirtualScanner:
        devices.append(kr9.virtual.plug(serial))
        devices[-1].set_timing(0, 0)
        devices[-1].set_finger_present(True)
        return devices[-1]
    yield plug
    for device in devices:
        device.unplug()
    assert kr9.library().TV_KR9Uninitialize() == -2, "every open, failed or not, released the SDK again"


def test_listing_and_opening_by_name_or_as_the_only_scanner(plug):
    first, second = plug("PYLIST1"), plug("PYLIST2")
    assert {first.name, second.name} <= set(kr9.scanners())
    with pytest.raises(kr9.NotFoundError, match="2 scanners attached"):
        kr9.open()
    with kr9.open(second.name) as scanner:
        assert scanner.serial == second.name
    second.unplug()
    with kr9.open() as scanner:
        assert scanner.name == scanner.serial == first.name


def test_capture_is_the_librarys_final_image_of_the_frames(plug):
    device = plug("PYCAP")
    pgm = (TESTDATA / "nist" / "loop-right.pgm").read_bytes()
    device.set_frames([np.frombuffer(pgm[-360 * 256:], np.uint8).reshape(360, 256)])
    with kr9.open(device.name) as scanner:
        image = scanner.capture(timeout=10)
        finals = []
        for live, final in scanner.frames(timeout=10):
            finals.append(final)
            if final:
                break
        assert scanner.properties["Version"] in scanner.version and scanner.dpi == (500, 500)
    assert image.dtype == np.uint8 and image.shape == scanner.size[::-1] == (360, 256)
    assert fnv1a(image.tobytes()) == fnv1a(live.tobytes()) == LOOP_RIGHT_IMAGE_DIGEST
    assert finals[-1] and not any(finals[:-1])


def test_failures_raise_their_family_with_the_code_and_the_librarys_text(plug):
    with pytest.raises(kr9.NotFoundError) as unknown:
        kr9.open("KR9 PYNONE")
    assert (unknown.value.code, unknown.value.text) == (-44, library_text(-44))

    busy = plug("PYBUSY")
    holder = subprocess.Popen([sys.executable, "-c", "import kr9, sys; s = kr9.open(); print(s.name, flush=True); "
                               "sys.stdin.read()"], env={**os.environ, "KR9_VIRTUAL_SCANNERS": "PYBUSY"},
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    try:
        assert holder.stdout.readline() == "KR9 PYBUSY\n"
        with pytest.raises(kr9.BusyError) as held:
            kr9.open(busy.name)
        assert held.value.code == -61
    finally:
        holder.communicate("")

    pulled = plug("PYPULL")
    with kr9.open(pulled.name) as scanner, pytest.raises(kr9.DeviceError) as failed:
        for _ in scanner.frames(timeout=10):
            pulled.unplug()
    assert failed.value.code < 0 and failed.value.text == library_text(failed.value.code)


def test_the_scanner_is_closed_however_the_block_is_left(plug):
    device = plug("PYEXIT")
    with pytest.raises(ZeroDivisionError), kr9.open(device.name) as scanner:
        1 / 0
    with pytest.raises(kr9.Error) as closed:
        scanner.serial
    assert closed.value.code == -42
    with kr9.open(device.name):  # the device lock is free again
        pass


def test_command_line_capture_writes_a_png(tmp_path):
    output = tmp_path / "finger.png"
    run = subprocess.run([sys.executable, "-m", "kr9", "capture", "-o", str(output), "--timeout", "20"],
                         env={**os.environ, "KR9_VIRTUAL_SCANNERS": "PYCLI"}, capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    png, chunks = output.read_bytes(), {}
    assert png[:8] == b"\x89PNG\r\n\x1a\n"
    at = 8
    while at < len(png):
        (length,), kind = struct.unpack(">I", png[at:at + 4]), png[at + 4:at + 8]
        data, (crc,) = png[at + 8:at + 8 + length], struct.unpack(">I", png[at + 8 + length:at + 12 + length])
        assert crc == zlib.crc32(kind + data), kind
        chunks[kind], at = chunks.get(kind, b"") + data, at + 12 + length
    assert struct.unpack(">IIBB", chunks[b"IHDR"][:10]) == (256, 360, 8, 0)
    rows = np.frombuffer(zlib.decompress(chunks[b"IDAT"]), np.uint8).reshape(360, 257)
    assert not rows[:, 0].any() and rows[:, 1:].min() < 128 < rows[:, 1:].max()
