"""The Python binding driving real transactions against the gateway simulator.

Environment: ZELVAN_LIBRARY (the library under test), ZV_GATEWAY_SIM,
ZV_CERTGEN, ZV_PYTHON_EXAMPLES (bindings/python/examples).
"""

import os
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import zelvan
from gateway_sim import GatewaySim, TestCertificates

SIM = os.environ["ZV_GATEWAY_SIM"]
CERTGEN = os.environ["ZV_CERTGEN"]
EXAMPLES = os.environ["ZV_PYTHON_EXAMPLES"]


def closed_port():
    """A port of 127.0.0.1 on which nothing listens."""
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class SimulatorTest(unittest.TestCase):
    """A certificate set for the class; each test starts the simulators it needs."""

    @classmethod
    def setUpClass(cls):
        cls.certs = TestCertificates(CERTGEN)
        cls.addClassCleanup(cls.certs.close)

    def simulator(self, *args):
        sim = GatewaySim(SIM, self.certs, args)
        self.addCleanup(sim.__exit__, None)
        return sim

    def purchase(self, sim, card="4111111111111111", **settings):
        """A Transaction set up for a purchase at sim; settings override the defaults."""
        config = dict(servers="127.0.0.1", port=sim.port, client_id="10000001",
                      certificate=self.certs.client_p12, password=TestCertificates.PASSWORD,
                      ca_file=self.certs.ca)
        config.update(settings)
        t = zelvan.Transaction()
        self.addCleanup(t.close)
        if config["servers"] is not None:
            t.set_servers(config["servers"])
        if config["port"] is not None:
            t.set_port(config["port"])
        if config["client_id"] is not None:
            t.set_client_id(config["client_id"])
        t.set_certificate(config["certificate"], config["password"])
        t.set_ca_file(config["ca_file"])
        t["TRANSACTIONTYPE"] = "PURCHASE"
        t["CARDDATA"] = card
        t["CARDEXPIRYDATE"] = "1230"
        t["CVC2"] = "123"
        t["AMOUNT"] = "12.50"
        return t


class ExecuteTest(SimulatorTest):
    def test_approved_purchase_gives_reply_fields_and_masks_card_data(self):
        sim = self.simulator()
        with self.purchase(sim) as t:
            result = t.execute()
            self.assertTrue(result.approved and result.completed)
            self.assertEqual((result.result, result.response_code, result.response_text), ("0", "00", "APPROVED"))
            self.assertTrue(result.auth_code.startswith("A"), result.auth_code)
            self.assertTrue(result.txn_reference.startswith("ZS"), result.txn_reference)
            self.assertIsNone(result.error)
            self.assertEqual(result.fields["CARDDATA"], "411111XXXXXX1111")
            self.assertEqual((t["CARDDATA"], t["CVC2"], t["CARDEXPIRYDATE"]), ("411111XXXXXX1111", "***", "****"))
            self.assertEqual([name for name in result.fields if name.startswith("_")], [])
            self.assertIn("TIMINGS", result.fields)
            self.assertIn("_CERTIFICATEPASSWORD", t.fields(include_local=True))

    def test_declined_card_is_a_result_not_an_error(self):
        sim = self.simulator()
        for card, code, text in [("4000000000000002", "05", "DO NOT HONOUR"),
                                 ("4000000000009995", "51", "INSUFFICIENT FUNDS")]:
            with self.purchase(sim, card=card) as t:
                result = t.execute()
                self.assertTrue(result.completed, card)
                self.assertFalse(result.approved, card)
                self.assertEqual((result.result, result.response_code, result.response_text), ("1", code, text))

    def test_library_failures_raise_with_the_bundle_texts(self):
        sim = self.simulator()
        cases = [
            (dict(port=None), "UNABLE TO CONNECT - NO PORT SET", None),
            (dict(servers=""), "UNABLE TO CONNECT - NO SERVER SET", None),
            (dict(certificate=self.certs.path("missing.p12")), "COULD NOT OPEN CERTIFICATE - INVALID PATH SET", None),
            (dict(client_id=None), "CLIENTID NOT FOUND", "Please ensure that the Client Id is passed into the bundle."),
            (dict(port=closed_port()), "UNABLE TO CONNECT - COULD NOT OPEN SOCKET", ...),
            (dict(password="wrong"), "UNABLE TO INITIALISE SSL.", ...),
        ]
        for settings, error, detail in cases:
            with self.subTest(error=error), self.purchase(sim, **settings) as t:
                with self.assertRaises(zelvan.TransactionError) as raised:
                    t.execute()
                failure = raised.exception
                self.assertEqual((failure.error, failure.result), (error, "-1"))
                self.assertFalse(failure.outcome.completed)
                if detail is ...:
                    self.assertTrue(failure.error_detail)
                else:
                    self.assertEqual(failure.error_detail, detail)
                self.assertIn(error, str(failure))

    def test_gateway_error_reply_raises_although_the_exchange_completed(self):
        sim = self.simulator("--fault", "first-error")
        with self.purchase(sim) as t:
            with self.assertRaises(zelvan.TransactionError) as raised:
                t.execute()
            failure = raised.exception
            self.assertEqual((failure.error, failure.result), ("SIMULATED GATEWAY ERROR", "2"))
            self.assertTrue(failure.outcome.completed)

    def test_example_script_runs_a_purchase_and_its_log_holds_no_card_number(self):
        sim = self.simulator()
        with tempfile.TemporaryDirectory() as scratch:
            log = os.path.join(scratch, "debug.log")
            command = [sys.executable, os.path.join(EXAMPLES, "purchase.py"), "--server", "127.0.0.1",
                       "--port", str(sim.port), "--certificate", self.certs.client_p12,
                       "--password", TestCertificates.PASSWORD, "--ca-file", self.certs.ca,
                       "--debug-log", log, "4111111111111111", "12.50"]
            # A process of its own: the library keeps the log's path for
            # the rest of the process once a transaction opened a log file.
            done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
            self.assertEqual(done.returncode, 0, done.stdout)
            self.assertIn("approved: APPROVED", done.stdout)
            self.assertIn("card 411111XXXXXX1111", done.stdout)
            with open(log, encoding="utf-8", errors="replace") as f:
                text = f.read()
        self.assertIn("Transaction Succeeded", text)
        self.assertNotIn("4111111111111111", text)
        self.assertNotIn(TestCertificates.PASSWORD, text)


class BundleTest(unittest.TestCase):
    def test_fields_behave_like_a_mapping_of_text(self):
        with zelvan.Transaction() as t:
            t["AMOUNT"] = "12.50"
            t["QUANTITY"] = 3
            t["NAME"] = "Zoë Müller"
            self.assertEqual((t["AMOUNT"], t["QUANTITY"], t["NAME"]), ("12.50", "3", "Zoë Müller"))
            self.assertIn("AMOUNT", t)
            self.assertNotIn("RESULT", t)
            self.assertEqual(t.get("RESULT", "none"), "none")
            with self.assertRaises(KeyError):
                t["RESULT"]
            t.set_certificate("client.p12", "secret")
            self.assertEqual(t.fields(), {"AMOUNT": "12.50", "QUANTITY": "3", "NAME": "Zoë Müller"})
            self.assertEqual(t.fields(include_local=True)["_CERTIFICATEPASSWORD"], "secret")

    def test_text_that_would_corrupt_the_message_is_refused(self):
        with zelvan.Transaction() as t:
            for name, value in [("AMOUNT", "1\r\nAMOUNT=1000"), ("AMOUNT", "1\n"), ("AMOUNT", "1\0"),
                                ("ORDERREF", "a=b"), ("AM=OUNT", "1"), ("", "1"), ("AMOUNT\r\n", "1")]:
                with self.assertRaises(ValueError, msg=repr((name, value))):
                    t[name] = value
            with self.assertRaises(TypeError):
                t["AMOUNT"] = 12.5
            self.assertEqual(t.fields(), {})
            # Local fields never travel, so "=" is theirs to hold.
            t.set_certificate_password("pa=ss")
            t["_CAFILE"] = "/etc/ca=1.pem"
            self.assertEqual(t.fields(include_local=True),
                             {"_CERTIFICATEPASSWORD": "pa=ss", "_CAFILE": "/etc/ca=1.pem"})

    def test_flush_empties_and_close_ends_the_handle(self):
        t = zelvan.Transaction()
        t.set_servers(["gw1.example.com", "gw2.example.com"])
        self.assertEqual((t["SERVER1"], t["SERVERCOUNT"]), ("gw2.example.com", "2"))
        t.flush()
        self.assertEqual(t.fields(include_local=True), {})
        t.close()
        t.close()
        for use in [lambda: t["AMOUNT"], lambda: t.set_port(1), t.execute, t.flush]:
            with self.assertRaises(ValueError):
                use()


class ThreadsTest(SimulatorTest):
    def test_transactions_on_separate_objects_run_in_parallel_threads(self):
        # Replies come in slow pieces, so that a purchase mostly waits on the
        # network: eight at once take about as long as one, unless calls
        # into the library were made to take turns.
        sim = self.simulator("--fault", "slow", "--chunk-bytes", "40", "--chunk-delay-ms", "40")
        count = 8

        def run_all(transactions, threads):
            results = [None] * len(transactions)

            def work(indexes):
                for i in indexes:
                    results[i] = transactions[i].execute()
            workers = [threading.Thread(target=work, args=(range(n, len(transactions), threads),))
                       for n in range(threads)]
            start = time.monotonic()
            for worker in workers:
                worker.start()
            for worker in workers:
                worker.join()
            self.assertTrue(all(result is not None and result.approved for result in results), results)
            return time.monotonic() - start

        one_thread = run_all([self.purchase(sim) for _ in range(count)], 1)
        parallel = run_all([self.purchase(sim) for _ in range(count)], count)
        self.assertLess(parallel, one_thread / 2, "one thread %.2f s, %d threads %.2f s" % (one_thread, count, parallel))


if __name__ == "__main__":
    unittest.main()
