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


# Outcomes, fields and refusals are checked through this binding by the
# transaction cases (tests/data); these tests check the binding's own types
# and that none of its texts shows the card data, the password or a refused
# value (the outcome-unknown error is test_events', beside its status checks).
class ExecuteTest(SimulatorTest):
    def test_result_and_error_types(self):
        sim = self.simulator()
        with self.purchase(sim) as t:
            result = t.execute()
            self.assertTrue(result.approved and result.completed)
            self.assertEqual((result.result, result.response_code, result.response_text), ("0", "00", "APPROVED"))
            self.assertTrue(result.auth_code.startswith("A") and result.txn_reference.startswith("ZS"))
            self.assertIsNone(result.error)
            self.assertEqual([name for name in result.fields if name.startswith("_")], [])
        with self.purchase(sim, password="not-the-password") as t, self.assertRaises(zelvan.TransactionError) as raised:
            t.execute()
        failure = raised.exception
        shown = " ".join([str(failure), repr(failure), repr(failure.outcome), repr(failure.outcome.fields)])
        self.assertIn(failure.error, str(failure))
        for secret in ("4111111111111111", "not-the-password"):
            self.assertNotIn(secret, shown)

    def test_fields_are_a_mapping_of_text_and_refusals_show_no_value(self):
        t = zelvan.Transaction()
        t["QUANTITY"] = 3
        self.assertEqual((t["QUANTITY"], t.get("RESULT", "none")), ("3", "none"))
        with self.assertRaises(KeyError):
            t["RESULT"]
        with self.assertRaises(TypeError):
            t["AMOUNT"] = 12.5
        with self.assertRaises(ValueError) as refused:
            t["ORDERREF"] = "secret=1"
        self.assertNotIn("secret", str(refused.exception))
        t.close()
        t.close()
        with self.assertRaises(ValueError):
            t["AMOUNT"]


if __name__ == "__main__":
    unittest.main()
