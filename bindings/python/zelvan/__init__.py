"""Python binding of libzelvanclient, the Zelvan card-payment gateway client.

    import zelvan

    with zelvan.Transaction() as t:
        t.set_servers("127.0.0.1")
        t.set_port(8443)
        ...
        result = t.execute()    # result.outcome is zelvan.Outcome.APPROVED or DECLINED

The package uses only the standard library (ctypes). It loads
libzelvanclient from $ZELVAN_LIBRARY, else from next to the package, else
from the system's library path; see zelvan._library.candidates.
"""

from ._library import LibraryNotFoundError
from ._version import __version__
from .events import Event, EventType
from .transaction import Outcome, OutcomeUnknownError, Result, Transaction, TransactionError, library


def library_version() -> str:
    """The version of the libzelvanclient that is loaded, which may differ
    from this package's __version__ when another library is installed."""
    version: bytes = library().zelvanclient_version()
    return version.decode("ascii")


__all__ = ["Event", "EventType", "LibraryNotFoundError", "Outcome", "OutcomeUnknownError", "Result", "Transaction", "TransactionError", "__version__", "library",
           "library_version"]
