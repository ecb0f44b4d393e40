"""The Python binding driving real transactions against the gateway simulator.

Environment: ZELVAN_LIBRARY (the library under test), ZV_GATEWAY_SIM and
ZV_CERTGEN.
"""

import unittest

import zelvan
from gateway_sim import SimulatorTestCase, TestCertificates


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
    # Outcomes, fields and refusals are checked through this binding by the
    # transaction cases (tests/data); this test checks the binding's own
    # types and that none of its texts shows the card data or the password.
    def test_result_and_error_types(self):
        sim = self.simulator()
        with self.purchase(sim) as t:
            result = t.execute()
            self.assertTrue(result.approved and result.completed)
            self.assertEqual((result.result, result.response_code, result.response_text), ("0", "00", "APPROVED"))
            self.assertTrue(result.auth_code.startswith("A") and result.txn_reference.startswith("ZS"))
            self.assertIsNone(result.error)
            self.assertEqual([name for name in result.fields if name.startswith("_")], [])
        lost = self.simulator("--fault", "close-before-final", "--status-fault", "close-before-final")
        with self.purchase(lost) as t, self.assertRaises(zelvan.OutcomeUnknownError) as unknown:
            t.execute()
        self.assertTrue(unknown.exception.txn_reference.startswith("ZS"), unknown.exception.txn_reference)
        self.assertIn(unknown.exception.txn_reference, str(unknown.exception))
        with self.purchase(sim, password="not-the-password") as t, self.assertRaises(zelvan.TransactionError) as raised:
            t.execute()
        failure = raised.exception
        shown = " ".join([str(failure), repr(failure), repr(failure.outcome), repr(failure.outcome.fields)])
        self.assertIn(failure.error, str(failure))
        for secret in ("4111111111111111", "not-the-password"):
            self.assertNotIn(secret, shown)


class BundleTest(unittest.TestCase):
    def test_fields_behave_like_a_mapping_of_text_and_refusals_show_no_value(self):
        with zelvan.Transaction() as t:
            t["AMOUNT"] = "12.50"
            t["QUANTITY"] = 3
            t["NAME"] = "Zoë Müller"
            self.assertEqual((t["AMOUNT"], t["QUANTITY"], t["NAME"]), ("12.50", "3", "Zoë Müller"))
            self.assertIn("AMOUNT", t)
            self.assertEqual(t.get("RESULT", "none"), "none")
            with self.assertRaises(KeyError):
                t["RESULT"]
            for name, value in [("ORDERREF", "secret=1"), ("AMOUNT", "1\r\nAMOUNT=1000")]:
                with self.assertRaises(ValueError) as refused:
                    t[name] = value
                self.assertNotIn("secret", str(refused.exception))
                self.assertNotIn("1000", str(refused.exception))
            with self.assertRaises(TypeError):
                t["AMOUNT"] = 12.5
            # Local fields never travel, so "=" is theirs to hold.
            t.set_certificate("client.p12", "pa=ss")
            self.assertEqual(t.fields(), {"AMOUNT": "12.50", "QUANTITY": "3", "NAME": "Zoë Müller"})
            self.assertEqual(t.fields(include_local=True)["_CERTIFICATEPASSWORD"], "pa=ss")

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
