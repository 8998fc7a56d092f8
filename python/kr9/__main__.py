"""python -m kr9: list the scanners, or capture one fingerprint into a PNG or PGM file."""
from __future__ import annotations

import argparse
import contextlib
import sys
from typing import List, Optional

from . import virtual
from .errors import Error
from .imagefile import save
from .scanner import open as open_scanner
from .scanner import scanners

_VIRTUAL_SERIAL = "VIRTUAL"


def _arguments(argv: Optional[List[str]]) -> argparse.Namespace:
    common = argparse.ArgumentParser(add_help=False)
    common.add_argument("--virtual", action="store_true",
                        help=f'plug the virtual scanner "KR9 {_VIRTUAL_SERIAL}" with a finger of its own first')
    common.add_argument("--seed", type=int, default=1, help="which synthetic finger the virtual scanner shows")
    parser = argparse.ArgumentParser(prog="python -m kr9", description=__doc__)
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("list", parents=[common], help="the attached scanners, one a line")
    capture = commands.add_parser("capture", parents=[common], help="capture one fingerprint")
    capture.add_argument("name", nargs="?", help="the scanner (the only one when left out)")
    capture.add_argument("-o", "--output", required=True, help="FILE.png, or FILE.pgm for a PGM")
    capture.add_argument("--timeout", type=float, default=30.0, help="seconds to wait for a final image")
    return parser.parse_args(argv)


def main(argv: Optional[List[str]] = None) -> int:
    arguments = _arguments(argv)
    try:
        with contextlib.ExitStack() as stack:
            if arguments.virtual:
                stack.enter_context(virtual.plug(_VIRTUAL_SERIAL)).touch(seed=arguments.seed)
            if arguments.command == "list":
                names = scanners()
                print("\n".join(names) if names else "no scanner attached", file=sys.stdout if names else sys.stderr)
                return 0 if names else 1
            with open_scanner(arguments.name) as scanner:
                print(f"Place a finger on {scanner.name}", flush=True)
                image = scanner.capture(timeout=arguments.timeout)
                dpi = scanner.dpi[0]
            save(arguments.output, image, dpi)
            print(f"Captured: {arguments.output} ({image.shape[1]} x {image.shape[0]} pixels, {dpi} dpi)")
            return 0
    except (Error, OSError) as error:
        print(f"kr9: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
