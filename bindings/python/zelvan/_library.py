"""Finds libzelvanclient and declares the C functions that the package calls."""

from __future__ import annotations

import ctypes
import ctypes.util
import glob
import os
from typing import List, Mapping

from .events import HANDLER_TYPE

LIBRARY_VARIABLE = "ZELVAN_LIBRARY"
SONAME = "libzelvanclient.so.1"

PACKAGE_DIR = os.path.dirname(os.path.abspath(__file__))


class LibraryNotFoundError(OSError):
    """libzelvanclient could not be found or loaded."""


def candidates(environ: Mapping[str, str] = os.environ, package_dir: str = PACKAGE_DIR) -> List[str]:
    """The places to load the library from, in the order they are tried.

    1. The file that $ZELVAN_LIBRARY names: an explicit choice wins, and
       when it is set nothing else is tried.
    2. A libzelvanclient.so* file next to the package, for applications
       that ship the library inside their own tree.
    3. The dynamic loader's search: LD_LIBRARY_PATH, the run path of the
       program, and the system's library directories.
    """
    named = environ.get(LIBRARY_VARIABLE)
    if named:
        return [named]
    beside = sorted(glob.glob(os.path.join(package_dir, "libzelvanclient.so*")))
    found = ctypes.util.find_library("zelvanclient")
    return beside + [SONAME] + ([found] if found and found != SONAME else [])


def load(environ: Mapping[str, str] = os.environ, package_dir: str = PACKAGE_DIR) -> ctypes.CDLL:
    """Loads the library from the first candidate that loads and declares its functions."""
    reasons = []
    for candidate in candidates(environ, package_dir):
        try:
            return _declare(ctypes.CDLL(candidate))
        except OSError as error:
            reasons.append("%s: %s" % (candidate, error))
    raise LibraryNotFoundError(
        "libzelvanclient could not be loaded (set %s to its path):\n  %s"
        % (LIBRARY_VARIABLE, "\n  ".join(reasons)))


def _declare(lib: ctypes.CDLL) -> ctypes.CDLL:
    handle = ctypes.c_void_p
    text = ctypes.c_char_p
    signatures = {
        "newBundle": ([], handle),
        "flushBundle": ([handle], ctypes.c_void_p),
        "put": ([handle, text, text], ctypes.c_int),
        # A void pointer, not c_char_p: "THEWORKS" hands back an array that
        # must be released with free(), so the address has to be kept.
        "get": ([handle, text], ctypes.c_void_p),
        "setPort": ([handle, text], ctypes.c_int),
        "put_ClientID": ([handle, text], ctypes.c_int),
        "put_CertificatePath": ([handle, text], ctypes.c_int),
        "put_CertificatePassword": ([handle, text], ctypes.c_int),
        "setServers": ([handle, text], None),
        "execute": ([handle], ctypes.c_int),
        "zelvanclient_outcome": ([handle], ctypes.c_int),
        "zelvanclient_set_event_handler": ([handle, HANDLER_TYPE, ctypes.c_void_p], ctypes.c_int),
        "cleanup": ([handle], None),
        "zelvanclient_version": ([], text),
    }
    for name, (argtypes, restype) in signatures.items():
        try:
            function = getattr(lib, name)
        except AttributeError:
            raise OSError("%s does not export %s()" % (lib._name, name)) from None
        function.argtypes = argtypes
        function.restype = restype
    return lib


# The C library allocates "THEWORKS" texts with malloc(); the process's own
# free() releases them.
libc = ctypes.CDLL(None)
libc.free.argtypes = [ctypes.c_void_p]
libc.free.restype = None
