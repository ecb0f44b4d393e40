"""Transaction, Result and TransactionError: the Python face of the C API."""

from __future__ import annotations

import ctypes
import functools
import threading
from typing import Any, Dict, Iterable, Optional, TypeVar, Union

from . import _library

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
        raise ValueError("%s %r holds a character the gateway message cannot carry" % (what, text))
    if what == "name" and not data:
        raise ValueError("a field name may not be empty")
    return data


def _decode(data: bytes) -> str:
    return data.decode("utf-8", "surrogateescape")


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
    """The outcome of a transaction that ran to its end: the gateway's reply.

    completed is execute()'s return value: the exchange ran to its end.
    approved is True only when the gateway approved the payment (RESULT
    "0" and no ERROR); a declined card is a completed transaction that is
    not approved. fields holds every field of the bundle after the
    transaction except the local "_" fields (certificate path and password,
    CA file); card data in it are already masked.
    """

    def __init__(self, completed: int, fields: Dict[str, str]) -> None:
        self.completed = bool(completed)
        self.fields = fields

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
        return self.completed and self.error is None and self.result == "0"

    def __repr__(self) -> str:
        return "<zelvan.Result approved=%s result=%r response=%r txn_reference=%r>" % (
            self.approved, self.result, self.response_text, self.txn_reference)


class TransactionError(Exception):
    """A transaction that got no decision from the gateway.

    Raised by Transaction.execute() for every failure of the library (it
    returned 0: no server, bad certificate, no reply, ...) and for an error
    reply of the gateway (ERROR in the reply). error, error_detail and
    result are the bundle's ERROR, ERROR_DETAIL and RESULT texts; outcome
    is the Result with every field, for logging and status enquiries.
    """

    def __init__(self, outcome: Result) -> None:
        self.outcome = outcome
        self.error = outcome.error
        self.error_detail = outcome.error_detail
        self.result = outcome.result
        message = self.error or "transaction failed without an ERROR text"
        if self.error_detail:
            message += " (%s)" % self.error_detail
        super().__init__(message)


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
            result = t.execute()        # raises TransactionError on failure

    Fields behave like a mapping of str to str: t["AMOUNT"] = "12.50",
    t["RESULT"], "ERROR" in t, t.get("AUTHCODE"). The library reports an
    empty field as absent. Names and values are str (UTF-8 on the wire),
    bytes or int; text that the gateway message cannot carry (CR, LF, NUL,
    and "=" in a name or in the value of a field that is sent) raises
    ValueError. Threads may share a Transaction (its calls take turns), and
    transactions on different Transaction objects run in parallel.
    """

    def __init__(self) -> None:
        self._lock = threading.RLock()
        self._lib = library()
        self._handle = self._lib.newBundle()
        if not self._handle:
            raise MemoryError("newBundle() returned no handle")

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

    # -- running ----------------------------------------------------------

    @_locked
    def execute(self) -> Result:
        """Runs the transaction and returns its Result.

        A decision of the gateway, approval or decline, is returned: check
        result.approved. Raises TransactionError when there is no decision:
        a failure of the library (execute() returned 0) or an error reply
        of the gateway. Blocks until the gateway answers or the time-outs
        pass (5 seconds per unreachable server, 30 per awaited reply);
        other threads' transactions run meanwhile.
        """
        completed = self._lib.execute(self._live())
        outcome = Result(completed, self.fields())
        if not completed or outcome.error is not None:
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

    def __enter__(self) -> Transaction:
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None:
            self.close()
