"""Transaction, Result, Outcome and the errors: the Python face of the C API."""

from __future__ import annotations

import ctypes
import enum
import functools
import threading
from typing import Any, Callable, Dict, Iterable, Optional, TypeVar, Union

from . import _library
from .events import NO_HANDLER, Event, Hook

_lib = None
_lib_lock = threading.Lock()


def library() -> Any:
    """The loaded libzelvanclient, loaded on first use (see _library.candidates)."""
    global _lib
    with _lib_lock:
        if _lib is None:
            _lib = _library.load()
        return _lib


def _locked(method):
    """Runs a Transaction method under that Transaction's own lock.

    The library lets any number of threads run transactions at once, each
    on its own handle, but one handle must not be used by two threads at a
    time. ctypes releases the GIL while a C function runs, so transactions
    on different Transaction objects run in parallel, while calls on one
    Transaction take turns. The lock is held for the whole method, so that
    a text read from the bundle is copied before another thread can change
    or flush it.
    """
    @functools.wraps(method)
    def call(self, *args, **kwargs):
        with self._lock:
            return method(self, *args, **kwargs)
    return call


Text = Union[str, bytes, int]
_Default = TypeVar("_Default")


def _encode(text: Text, what: str, sent: bool = True) -> bytes:
    """Text for the C library. Refuses what would corrupt or lose a field.

    Fields travel to the gateway as "NAME=value" lines with no escaping, so
    a CR or LF would start a field of its own on the wire, and a line with
    a second "=" is dropped whole by the gateway's parser (and by the
    library's, when it reads replies). A NUL would cut the text short
    without a word. Local settings (sent=False: the "_" fields, such as
    the certificate password) never travel and may hold "=".
    """
    if isinstance(text, bytes):
        data = text
    elif isinstance(text, str):
        data = text.encode("utf-8", "surrogateescape")
    elif isinstance(text, int) and not isinstance(text, bool):
        data = str(text).encode("ascii")
    else:
        raise TypeError("%s must be str, bytes or int, not %s" % (what, type(text).__name__))
    forbidden = b"\r\n\0=" if sent else b"\r\n\0"
    if any(byte in forbidden for byte in data):
        # Named, never shown: a value may be a card number or a password.
        raise ValueError("%s holds a character the gateway message cannot carry" % what)
    if what == "name" and not data:
        raise ValueError("a field name may not be empty")
    return data


def _decode(data: bytes) -> str:
    return data.decode("utf-8", "surrogateescape")


class Outcome(enum.IntEnum):
    """What became of a payment, as the library decides it
    (zelvanclient_outcome). The values are the C API's ZELVAN_OUTCOME_*."""

    APPROVED = 1
    """The gateway's final decision is an approval."""
    DECLINED = 2
    """The gateway's final decision is not an approval; nothing was charged."""
    NO_DECISION = 3
    """The gateway never opened the transaction; nothing was charged, and it
    is safe to run it again."""
    UNKNOWN = 4
    """The gateway opened the transaction (TXNREFERENCE) and no final
    decision followed: never run it again; ask for its status later."""

    @classmethod
    def of(cls, value: int) -> Outcome:
        # Any other value (NONE cannot follow execute()) is read as UNKNOWN,
        # the one reading that never leads to charging twice.
        return cls(value) if value in cls._value2member_map_ else cls.UNKNOWN


def mask_card_number(number: str) -> str:
    """A card number as the library masks it: 13 to 20 characters without
    an "X" keep their first six and last four, with "X" in between."""
    if not 13 <= len(number) <= 20 or "X" in number:
        return number
    return number[:6] + "X" * (len(number) - 10) + number[-4:]


def hide_card_data(fields: Dict[str, str]) -> Dict[str, str]:
    """fields with the card number masked and CVC2 and the expiry date as
    asterisks. The library does so itself after every exchange, but a
    transaction refused before it connects leaves them as they were put."""
    hidden = {}
    for name, value in fields.items():
        upper = name.upper()
        if upper == "CARDDATA":
            value = mask_card_number(value)
        elif upper in ("CVC2", "CARDEXPIRYDATE"):
            value = "*" * len(value)
        hidden[name] = value
    return hidden


def parse_fields(text: str) -> Dict[str, str]:
    """Fields of a bundle text ("NAME=value" lines ended by CR LF) as a dict."""
    fields = {}
    for line in text.split("\r\n"):
        name, sep, value = line.partition("=")
        if sep:
            fields[name] = value
    return fields


class _Field:
    """A read-only attribute of Result that is one field of the reply, or None."""

    def __init__(self, name: str, doc: str) -> None:
        self.name = name
        self.__doc__ = doc

    def __get__(self, result: Optional[Result], owner: type) -> Optional[str]:
        return None if result is None else result.fields.get(self.name)


class Result:
    """The bundle after a transaction, and its outcome.

    outcome is the library's Outcome. completed is execute()'s return
    value: the last exchange ran to its end (it says nothing about the
    payment; read outcome). fields holds every field of the bundle after
    the transaction except the local "_" fields (certificate path and
    password, CA file), with card data masked. handler_error is the
    exception the event handler raised during this execute(), or None.
    """

    def __init__(self, completed: int, fields: Dict[str, str], outcome: Outcome,
                 handler_error: Optional[BaseException] = None) -> None:
        self.completed = bool(completed)
        self.fields = hide_card_data(fields)
        self.outcome = outcome
        self.handler_error = handler_error

    result = _Field("RESULT", "RESULT: the outcome code")
    error = _Field("ERROR", "ERROR: the error text, or None")
    error_detail = _Field("ERROR_DETAIL", "ERROR_DETAIL, or None")
    txn_reference = _Field("TXNREFERENCE", "TXNREFERENCE, or None")
    auth_code = _Field("AUTHCODE", "AUTHCODE (approvals), or None")
    response_code = _Field("RESPONSECODE", "RESPONSECODE, or None")
    response_text = _Field("RESPONSETEXT", "RESPONSETEXT, or None")
    transaction_type = _Field("TRANSACTIONTYPE", "TRANSACTIONTYPE: \"STATUS\" after a status check")
    total_time = _Field("TOTAL_TIME", "TOTAL_TIME in milliseconds")

    @property
    def approved(self) -> bool:
        return self.outcome is Outcome.APPROVED

    @property
    def declined(self) -> bool:
        return self.outcome is Outcome.DECLINED

    @property
    def outcome_unknown(self) -> bool:
        return self.outcome is Outcome.UNKNOWN

    def __repr__(self) -> str:
        return "<zelvan.Result outcome=%s result=%r response=%r error=%r txn_reference=%r>" % (
            self.outcome.name, self.result, self.response_text, self.error, self.txn_reference)


class TransactionError(Exception):
    """A transaction without a decision of the gateway.

    Raised by Transaction.execute() as itself for Outcome.NO_DECISION (the
    gateway never opened the transaction: nothing was charged, and it may
    be run again), and as OutcomeUnknownError for Outcome.UNKNOWN. error,
    error_detail, result and txn_reference are the bundle's ERROR,
    ERROR_DETAIL, RESULT and TXNREFERENCE texts; outcome is the Result with
    every field (card data masked), whose .outcome is the Outcome.
    """

    def __init__(self, outcome: Result) -> None:
        self.outcome = outcome
        self.error = outcome.error
        self.error_detail = outcome.error_detail
        self.result = outcome.result
        self.txn_reference = outcome.txn_reference
        message = self.error or "transaction failed without an ERROR text"
        if self.error_detail:
            message += " (%s)" % self.error_detail
        if outcome.outcome is Outcome.UNKNOWN:
            message += "; outcome unknown: ask for the status of TXNREFERENCE %s" % self.txn_reference
        super().__init__(message)

    @property
    def outcome_unknown(self) -> bool:
        return self.outcome.outcome is Outcome.UNKNOWN


class OutcomeUnknownError(TransactionError):
    """The gateway opened the transaction (txn_reference) and no final
    decision followed: the payment may have gone through. Never run it
    again; ask for the status of txn_reference later."""


class Transaction:
    """One transaction handle and its bundle of text fields.

    Use it as a context manager, or call close(): the handle and its fields
    (card data and certificate password included) are released then.

        with zelvan.Transaction() as t:
            t.set_servers("gw1.example.com, gw2.example.com")
            t.set_port(8443)
            t.set_client_id("10000001")
            t.set_certificate("client.p12", "secret")
            t["TRANSACTIONTYPE"] = "PURCHASE"
            t["CARDDATA"] = "4111111111111111"
            t["AMOUNT"] = "12.50"
            result = t.execute()        # result.outcome: APPROVED or DECLINED

    Fields behave like a mapping of str to str: t["AMOUNT"] = "12.50",
    t["RESULT"], "ERROR" in t, t.get("AUTHCODE"). The library reports an
    empty field as absent. Names and values are str (UTF-8 on the wire),
    bytes or int; text that the gateway message cannot carry (CR, LF, NUL,
    and "=" in a name or in the value of a field that is sent) raises
    ValueError, which names the field and never the value. Threads may share a Transaction (its calls take turns), and
    transactions on different Transaction objects run in parallel.
    """

    def __init__(self) -> None:
        self._lock = threading.RLock()
        self._lib = library()
        self._handle = self._lib.newBundle()
        if not self._handle:
            raise MemoryError("newBundle() returned no handle")
        self._hook: Optional[Hook] = None

    def _live(self) -> int:
        if self._handle is None:
            raise ValueError("the transaction is closed")
        return self._handle

    # -- the bundle as a mapping ------------------------------------------

    @_locked
    def __setitem__(self, name: Text, value: Text) -> None:
        data = _encode(name, "name")
        self._lib.put(self._live(), data, _encode(value, "value", sent=not data.startswith(b"_")))

    def __getitem__(self, name: Text) -> str:
        value = self.get(name)
        if value is None:
            raise KeyError(name)
        return value

    def __contains__(self, name: Text) -> bool:
        return self.get(name) is not None

    @_locked
    def get(self, name: Text, default: Optional[_Default] = None) -> Union[str, _Default, None]:
        """The field's text, or default when the bundle has no such field."""
        data = _encode(name, "name")
        if data.upper() == b"THEWORKS":
            raise ValueError('use fields() for the whole bundle, not get("THEWORKS")')
        address = self._lib.get(self._live(), data)
        # The text belongs to the bundle: copy it, never free it.
        return default if not address else _decode(ctypes.string_at(address))

    @_locked
    def fields(self, include_local: bool = False) -> Dict[str, str]:
        """Every field of the bundle as a dict.

        The local fields whose names begin with "_" (certificate path and
        password, CA file) are left out unless include_local is True.
        """
        address = self._lib.get(self._live(), b"THEWORKS")
        if not address:
            return {}
        try:
            text = _decode(ctypes.string_at(address))
        finally:
            _library.libc.free(address)
        every = parse_fields(text)
        return every if include_local else {k: v for k, v in every.items() if not k.startswith("_")}

    # -- settings ---------------------------------------------------------

    @_locked
    def set_servers(self, servers: Union[str, bytes, Iterable[str]]) -> None:
        """The gateway servers to try in order: a list, or one text separated
        by commas, semicolons or blanks."""
        if not isinstance(servers, (str, bytes)):
            servers = ",".join(servers)
        self._lib.setServers(self._live(), _encode(servers, "value"))

    @_locked
    def set_port(self, port: Text) -> None:
        """The gateway's port, the same for every server."""
        self._lib.setPort(self._live(), _encode(port, "value"))

    @_locked
    def set_client_id(self, client_id: Text) -> None:
        """The merchant's client identifier (CLIENTID)."""
        self._lib.put_ClientID(self._live(), _encode(client_id, "value"))

    @_locked
    def set_certificate(self, path: Text, password: Optional[Text] = None) -> None:
        """The client certificate file (PKCS#12 or PEM) and, if given, its password."""
        self._lib.put_CertificatePath(self._live(), _encode(path, "value", sent=False))
        if password is not None:
            self.set_certificate_password(password)

    @_locked
    def set_certificate_password(self, password: Text) -> None:
        """The client certificate's password; it is neither sent nor logged."""
        self._lib.put_CertificatePassword(self._live(), _encode(password, "value", sent=False))

    @_locked
    def set_ca_file(self, path: Text) -> None:
        """The CA file that the gateway's certificate is verified against.
        Without one the gateway's certificate is not verified."""
        self["_CAFILE"] = path

    @_locked
    def set_debug_log(self, destination: Optional[Text]) -> None:
        """Switches the debug log on, to a file path or "stdout"; None switches it off."""
        if destination is None:
            self["DEBUG"] = "OFF"
        else:
            # DEBUG must be on before LOGFILE is given, or no file is opened.
            self["DEBUG"] = "ON"
            self["LOGFILE"] = destination

    @_locked
    def set_event_handler(self, handler: Optional[Callable[[Event], object]]) -> None:
        """Calls handler(event) for each Event of every later execute(), on
        the thread that runs it; None stops the events.

        The handler must be quick (its time counts against the
        transaction) and must not use this Transaction. An exception it
        raises never reaches the library nor changes the payment: it stops
        the events for the rest of that execute(), which returns or raises
        as it would have, with the exception in Result.handler_error.
        """
        handle = self._live()
        hook = None if handler is None else Hook(handler, Outcome.of)
        self._lib.zelvanclient_set_event_handler(handle, NO_HANDLER if hook is None else hook.pointer, None)
        # The function pointer the library holds lives as long as the handle
        # uses it: until the next call here, or close().
        self._hook = hook

    # -- running ----------------------------------------------------------

    @_locked
    def execute(self) -> Result:
        """Runs the transaction and returns its Result when the gateway
        decided: result.outcome is Outcome.APPROVED or Outcome.DECLINED.

        Raises TransactionError for Outcome.NO_DECISION (safe to run again)
        and OutcomeUnknownError for Outcome.UNKNOWN (never run it again;
        ask for the status of its txn_reference). Blocks until the gateway
        answers or the time-outs pass (5 seconds per unreachable server, 30
        per awaited reply, and the status checks); other threads'
        transactions run meanwhile.
        """
        handle = self._live()
        hook = self._hook
        if hook is not None:
            hook.begin()
        completed = self._lib.execute(handle)
        outcome = Result(completed, self.fields(), Outcome.of(self._lib.zelvanclient_outcome(handle)),
                         hook.error if hook is not None else None)
        if outcome.outcome is Outcome.UNKNOWN:
            raise OutcomeUnknownError(outcome)
        if outcome.outcome is Outcome.NO_DECISION:
            raise TransactionError(outcome)
        return outcome

    @_locked
    def flush(self) -> None:
        """Empties the bundle for the next transaction. Every field goes,
        settings included; the debug log stays as it was."""
        self._lib.flushBundle(self._live())

    @_locked
    def close(self) -> None:
        """Destroys the handle and its fields. Later calls do nothing."""
        if self._handle is not None:
            handle, self._handle = self._handle, None
            self._lib.cleanup(handle)
            self._hook = None

    def __enter__(self) -> Transaction:
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None:
            self.close()
