"""Loads the Python bindings of libclang.

Debian installs them for its own interpreter, which need not be the first python3 on the path.
Importing this module restarts the program under that interpreter when the present one lacks them.
"""

import os
import sys

SYSTEM_PYTHON = "/usr/bin/python3"

try:
    from clang import cindex
except ImportError:
    if os.path.realpath(sys.executable) == os.path.realpath(SYSTEM_PYTHON) or not os.path.exists(
            SYSTEM_PYTHON):
        print("mutants: error: no Python bindings of libclang; install python3-clang", file=sys.stderr)
        sys.exit(2)
    os.execv(SYSTEM_PYTHON, [SYSTEM_PYTHON, *sys.argv])

__all__ = ["cindex"]
