"""The Python binding driving real transactions against the gateway simulator.

Environment: ZELVAN_LIBRARY (the library under test), ZV_GATEWAY_SIM,
ZV_CERTGEN, ZV_PYTHON_EXAMPLES (bindings/python/examples).
"""

import os
import subprocess
import sys
import unittest

import zelvan
from gateway_sim import SimulatorTestCase, TestCertificates, free_port

EXAMPLES = os.environ["ZV_PYTHON_EXAMPLES"]


class SimulatorTest(SimulatorTestCase):
    def purchase(self, sim, card="4111111111111111", password=TestCertificates.PASSWORD):
        """A Transaction set up for a purchase at sim (a simulator, or a port)."""
        t = zelvan.Transaction()
        self.addCleanup(t.close)
        t.set_servers("127.0.0.1")
        t.set_port(sim if isinstance(sim, int) else sim.port)
        t.set_client_id("10000001")
        t.set_certificate(self.certs.client_p12, password)
        t.set_ca_file(self.certs.ca)
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
            self.assertIs(result.outcome, zelvan.Outcome.APPROVED)
            self.assertEqual((result.result, result.response_code, result.response_text), ("0", "00", "APPROVED"))
            self.assertTrue(result.auth_code.startswith("A"), result.auth_code)
            self.assertTrue(result.txn_reference.startswith("ZS"), result.txn_reference)
            self.assertIsNone(result.error)
            self.assertEqual(result.fields["CARDDATA"], "411111XXXXXX1111")
            self.assertEqual((t["CARDDATA"], t["CVC2"], t["CARDEXPIRYDATE"]), ("411111XXXXXX1111", "***", "****"))
            self.assertEqual([name for name in result.fields if name.startswith("_")], [])
            self.assertIn("TIMINGS", result.fields)
            self.assertIn("_CERTIFICATEPASSWORD", t.fields(include_local=True))

    def test_declined_card_is_a_result_and_a_library_failure_raises(self):
        sim = self.simulator()
        with self.purchase(sim, card="4000000000000002") as t:
            result = t.execute()
            self.assertTrue(result.completed and not result.approved)
            self.assertIs(result.outcome, zelvan.Outcome.DECLINED)
            self.assertEqual((result.result, result.response_code), ("1", "05"))
        with self.purchase(sim, password="wrong") as t:
            with self.assertRaises(zelvan.TransactionError) as raised:
                t.execute()
            failure = raised.exception
            self.assertEqual((failure.error, failure.result), ("UNABLE TO INITIALISE SSL.", "-1"))
            self.assertFalse(failure.outcome.completed)
            self.assertIs(failure.outcome.outcome, zelvan.Outcome.NO_DECISION)
            self.assertTrue(failure.error_detail)
            self.assertIn("UNABLE TO INITIALISE SSL.", str(failure))

    def test_gateway_error_reply_raises_although_the_exchange_completed(self):
        sim = self.simulator("--fault", "first-error")
        with self.purchase(sim) as t:
            with self.assertRaises(zelvan.TransactionError) as raised:
                t.execute()
            failure = raised.exception
            self.assertEqual((failure.error, failure.result), ("SIMULATED GATEWAY ERROR", "2"))
            self.assertTrue(failure.outcome.completed)
            self.assertIs(failure.outcome.outcome, zelvan.Outcome.NO_DECISION)

    def test_each_outcome_comes_from_the_library(self):
        declining = self.simulator("--reply-field", "RESULT=5")
        with self.purchase(declining) as t:
            self.assertIs(t.execute().outcome, zelvan.Outcome.DECLINED)
        with self.purchase(free_port()) as t:
            with self.assertRaises(zelvan.TransactionError) as refused:
                t.execute()
            self.assertNotIsInstance(refused.exception, zelvan.OutcomeUnknownError)
            self.assertIs(refused.exception.outcome.outcome, zelvan.Outcome.NO_DECISION)
        lost = self.simulator("--fault", "close-before-final", "--status-fault", "close-before-final")
        with self.purchase(lost) as t:
            with self.assertRaises(zelvan.OutcomeUnknownError) as unknown:
                t.execute()
            failure = unknown.exception
            self.assertIs(failure.outcome.outcome, zelvan.Outcome.UNKNOWN)
            self.assertTrue(failure.txn_reference.startswith("ZS"), failure.txn_reference)
            self.assertIn(failure.txn_reference, str(failure))

    def test_no_card_data_in_errors_of_transactions_refused_before_connecting(self):
        sim = self.simulator()
        wrong_password = self.purchase(sim, password="not-the-password")
        line_break = self.purchase(sim)
        # A CR LF that the binding would refuse, put through the C API as an
        # application without the binding's check could.
        zelvan.library().put(line_break._handle, b"ORDERID", b"one\r\nAMOUNT=9")
        for t in (wrong_password, line_break):
            with self.assertRaises(zelvan.TransactionError) as raised:
                t.execute()
            failure = raised.exception
            shown = " ".join([str(failure), repr(failure), repr(failure.outcome), repr(failure.outcome.fields)])
            for secret in ("4111111111111111", "1230", "123'", "not-the-password"):
                self.assertNotIn(secret, shown)
            self.assertEqual([failure.outcome.fields[n] for n in ("CARDDATA", "CVC2", "CARDEXPIRYDATE")],
                             ["411111XXXXXX1111", "***", "****"])

    def test_example_script_runs_a_purchase(self):
        sim = self.simulator()
        command = [sys.executable, os.path.join(EXAMPLES, "purchase.py"), "--server", "127.0.0.1",
                   "--port", str(sim.port), "--certificate", self.certs.client_p12,
                   "--ca-file", self.certs.ca, "4111111111111111", "12.50"]
        env = dict(os.environ, ZELVAN_CERT_PASSWORD=TestCertificates.PASSWORD)
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, env=env)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertIn("approved: APPROVED", done.stdout)
        self.assertIn("card 411111XXXXXX1111", done.stdout)


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
                with self.assertRaises(ValueError, msg=repr((name, value))) as refused:
                    t[name] = value
                self.assertNotIn(repr(value), str(refused.exception))
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


if __name__ == "__main__":
    unittest.main()
