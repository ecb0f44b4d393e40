"""Runs purchases one after another in this one process, through the
Python binding, and prints one outcome per line (approved, declined,
no_decision, unknown): the in-process half of the resumption test.

    purchases_in_one_process.py COUNT SERVER PORT CERTIFICATE CAFILE [NAME=VALUE ...]

The certificate's password comes from $ZELVAN_CERT_PASSWORD, the library
from $ZELVAN_LIBRARY; the NAME=VALUE fields go into every request.
"""

import os
import sys

import zelvan


def main(count, server, port, certificate, ca_file, *fields):
    for _ in range(int(count)):
        with zelvan.Transaction() as t:
            t.set_servers(server)
            t.set_port(port)
            t.set_client_id("10000001")
            t.set_certificate(certificate, os.environ.get("ZELVAN_CERT_PASSWORD", ""))
            t.set_ca_file(ca_file)
            for name, value in (("TRANSACTIONTYPE", "PURCHASE"), ("CARDDATA", "4111111111111111"),
                                ("CARDEXPIRYDATE", "1230"), ("CVC2", "123"), ("AMOUNT", "12.50"),
                                ("CURRENCY", "EUR")):
                t[name] = value
            for field in fields:
                name, value = field.split("=", 1)
                t[name] = value
            try:
                print(t.execute().outcome.name.lower(), flush=True)
            except zelvan.TransactionError as failure:
                print(failure.outcome.outcome.name.lower(), flush=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
