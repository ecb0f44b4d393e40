#!/usr/bin/env python3
"""Runs purchases in parallel threads, one transaction handle per thread.

    ZELVAN_CERT_PASSWORD=... parallel.py SERVERS PORT CERTIFICATE CAFILE [COUNT]

Each thread creates its own zelvan.Transaction: a handle belongs to one
thread at a time. Prints one line per purchase and exits 0 when all were
approved.
"""

import os
import sys
from concurrent.futures import ThreadPoolExecutor

import zelvan


def purchase(servers: str, port: str, certificate: str, ca_file: str, number: int) -> str:
    with zelvan.Transaction() as t:
        t.set_servers(servers)
        t.set_port(port)
        t.set_client_id("10000001")
        t.set_certificate(certificate, os.environ.get("ZELVAN_CERT_PASSWORD", ""))
        t.set_ca_file(ca_file)
        t["TRANSACTIONTYPE"] = "PURCHASE"
        t["CARDDATA"] = "4111111111111111"
        t["AMOUNT"] = "%d.00" % (number + 1)
        t["ORDERID"] = "parallel-%d" % number
        try:
            result = t.execute()
        except zelvan.TransactionError as failure:
            return "order %d: no decision: %s" % (number, failure)
        return "order %d: %s %s" % (number, "approved" if result.approved else "declined",
                                    result.txn_reference)


def main(argv: list) -> int:
    if len(argv) not in (5, 6):
        print(__doc__.strip().splitlines()[2].strip(), file=sys.stderr)
        return 2
    servers, port, certificate, ca_file = argv[1:5]
    count = int(argv[5]) if len(argv) == 6 else 4
    with ThreadPoolExecutor(max_workers=count) as pool:
        lines = list(pool.map(lambda n: purchase(servers, port, certificate, ca_file, n), range(count)))
    for line in lines:
        print(line)
    return 0 if all(" approved " in line for line in lines) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
