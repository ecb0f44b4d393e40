"""Event, EventType and the ctypes side of the library's event hook."""

from __future__ import annotations

import ctypes
import dataclasses
import enum
from typing import TYPE_CHECKING, Callable, Optional

if TYPE_CHECKING:
    from .transaction import Outcome


class EventType(enum.IntEnum):
    """What an Event reports. The values are the C API's ZELVAN_EVENT_*."""

    SERVER_TRIED = 1
    """An address of a server is tried: server, address, port."""
    CONNECTED = 2
    """A TCP connection is open: server, address, port."""
    HANDSHAKE_DONE = 3
    """The TLS handshake completed: tls_version, cipher, resumed."""
    REQUEST_SENT = 4
    """A message was written to the gateway."""
    REPLY_READ = 5
    """A whole reply was read from the gateway."""
    STATUS_CHECK = 6
    """A status check begins: status_check is its number, from 1."""
    OUTCOME = 7
    """execute() is over: outcome is the Outcome it came to."""


@dataclasses.dataclass(frozen=True)
class Event:
    """One event of an execute(), copied out of the library's structure.

    Fields an event does not use are None (texts, outcome) or 0. Events
    never carry card data, passwords or field values.
    """

    type: EventType
    elapsed_ms: int
    server: Optional[str] = None
    address: Optional[str] = None
    port: int = 0
    resumed: bool = False
    tls_version: Optional[str] = None
    cipher: Optional[str] = None
    status_check: int = 0
    outcome: Optional[Outcome] = None
    """The Outcome for EventType.OUTCOME, else None."""


class _CEvent(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_int),
        ("type", ctypes.c_int),
        ("elapsed_ms", ctypes.c_longlong),
        ("server", ctypes.c_char_p),
        ("address", ctypes.c_char_p),
        ("port", ctypes.c_int),
        ("resumed", ctypes.c_int),
        ("tls_version", ctypes.c_char_p),
        ("cipher", ctypes.c_char_p),
        ("status_check", ctypes.c_int),
        ("outcome", ctypes.c_int),
    ]


HANDLER_TYPE = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_void_p)
NO_HANDLER = HANDLER_TYPE()


def _copy(address: int) -> _CEvent:
    """The library's event as a full structure. A library older than this
    package fills less of it (size says how much): only those bytes are
    copied, and the fields past them stay 0 or None."""
    event = _CEvent()
    filled = ctypes.c_int.from_address(address).value
    ctypes.memmove(ctypes.addressof(event), address, max(0, min(filled, ctypes.sizeof(_CEvent))))
    return event


def _text(data: Optional[bytes]) -> Optional[str]:
    return None if data is None else data.decode("utf-8", "replace")


def read_event(address: int, outcome_of: Callable[[int], Outcome]) -> Optional[Event]:
    """The Event at address, or None for a type this package does not know
    (a later library's)."""
    c = _copy(address)
    if c.type not in EventType._value2member_map_:
        return None
    kind = EventType(c.type)
    return Event(type=kind, elapsed_ms=c.elapsed_ms, server=_text(c.server), address=_text(c.address),
                 port=c.port, resumed=bool(c.resumed), tls_version=_text(c.tls_version),
                 cipher=_text(c.cipher), status_check=c.status_check,
                 outcome=outcome_of(c.outcome) if kind is EventType.OUTCOME else None)


class Hook:
    """The C function pointer that carries events to one Python callable.

    It belongs to one Transaction, which keeps it for as long as the
    library may call it. An exception raised by the callable must not
    unwind through the C library: it is caught and kept in error, and the
    callable gets no more events until the next execute() (begin()).
    """

    def __init__(self, handler: Callable[[Event], object], outcome_of: Callable[[int], Outcome]) -> None:
        self.handler = handler
        self.error: Optional[BaseException] = None
        self._outcome_of = outcome_of
        self.pointer = HANDLER_TYPE(self._deliver)

    def begin(self) -> None:
        self.error = None

    def _deliver(self, address: int, _user: int) -> None:
        if self.error is not None:
            return
        try:
            event = read_event(address, self._outcome_of)
            if event is not None:
                self.handler(event)
        except BaseException as error:  # noqa: B036 - nothing may cross into C
            self.error = error
