#!/usr/bin/env python3
"""Runs one purchase through the gateway and prints its outcome.

    ZELVAN_CERT_PASSWORD=zelvan-test purchase.py --server 127.0.0.1 --port 40123 \\
        --certificate certs/client.p12 --ca-file certs/ca.pem 4111111111111111 12.50

The certificate's password comes from the environment variable
ZELVAN_CERT_PASSWORD, never from the command line, where every user of the
machine could read it. Prints the outcome; exit status as zelvan-txn's:
0 approved, 1 declined, 2 no decision (safe to run again), 3 outcome
unknown (never run it again; ask for the status of the reference).
"""

import argparse
import os
import sys

import zelvan


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--server", action="append", required=True, help="gateway server; may repeat")
    parser.add_argument("--port", required=True)
    parser.add_argument("--certificate", required=True, help="client certificate, PKCS#12 or PEM")
    parser.add_argument("--ca-file", help="CA file to verify the gateway's certificate against")
    parser.add_argument("--client-id", default="10000001")
    parser.add_argument("--debug-log", help='debug log file, or "stdout"')
    parser.add_argument("card")
    parser.add_argument("amount")
    args = parser.parse_args(argv)

    with zelvan.Transaction() as t:
        t.set_servers(args.server)
        t.set_port(args.port)
        t.set_client_id(args.client_id)
        t.set_certificate(args.certificate, os.environ.get("ZELVAN_CERT_PASSWORD", ""))
        if args.ca_file:
            t.set_ca_file(args.ca_file)
        if args.debug_log:
            t.set_debug_log(args.debug_log)
        t["TRANSACTIONTYPE"] = "PURCHASE"
        t["CARDDATA"] = args.card
        t["AMOUNT"] = args.amount
        try:
            result = t.execute()
        except zelvan.OutcomeUnknownError as unknown:
            print("outcome unknown: %s" % unknown)
            print("never run it again; ask for the status of reference %s" % unknown.txn_reference)
            return 3
        except zelvan.TransactionError as failure:
            print("no decision: %s" % failure)
            return 2

    print("%s: %s (response code %s)" % (result.outcome.name.lower(), result.response_text, result.response_code))
    print("reference %s, auth code %s, card %s" % (result.txn_reference, result.auth_code,
                                                  result.fields.get("CARDDATA")))
    return 0 if result.outcome is zelvan.Outcome.APPROVED else 1


if __name__ == "__main__":
    sys.exit(main())
