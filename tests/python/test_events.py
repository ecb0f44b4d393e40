"""The Python binding's event handler, counted against the simulator's own
counters. Environment as for test_transaction."""

import collections
import unittest

import zelvan
from test_transaction import SimulatorTest

E = zelvan.EventType


class EventsTest(SimulatorTest):
    def run_collecting(self, t):
        """Runs t with a handler that keeps its events; returns (events, result or error)."""
        events = []
        t.set_event_handler(events.append)
        try:
            return events, t.execute()
        except zelvan.TransactionError as failure:
            return events, failure

    def test_events_match_what_the_simulator_counted(self):
        sim = self.simulator()
        seen = []
        for _ in range(3):
            events, result = self.run_collecting(self.purchase(sim))
            self.assertTrue(result.approved)
            self.assertIsNone(result.handler_error)
            self.assertEqual(events[-1].type, E.OUTCOME)
            self.assertIs(events[-1].outcome, zelvan.Outcome.APPROVED)
            self.assertEqual(events[0].type, E.SERVER_TRIED)
            self.assertEqual((events[0].server, events[0].address, events[0].port), ("127.0.0.1", "127.0.0.1", sim.port))
            elapsed = [event.elapsed_ms for event in events]
            self.assertEqual(elapsed, sorted(elapsed))
            seen += events
        count = collections.Counter(e.type for e in seen)
        handshakes = [e for e in seen if e.type is E.HANDSHAKE_DONE]
        stats = sim.stats()
        self.assertEqual(sum(not e.resumed for e in handshakes), stats["handshakes_full"])
        self.assertEqual(sum(e.resumed for e in handshakes), stats["handshakes_resumed"])
        self.assertGreater(stats["handshakes_resumed"], 0)
        self.assertTrue(all(e.tls_version.startswith("TLS") and e.cipher for e in handshakes), handshakes)
        self.assertEqual(count[E.REQUEST_SENT], stats["messages"])
        self.assertEqual(count[E.REPLY_READ], stats["messages"])
        self.assertEqual((count[E.OUTCOME], count[E.STATUS_CHECK]), (3, 0))
        self.assertNotIn("4111", repr(seen))

        lost = self.simulator("--fault", "close-before-final", "--status-fault", "close-before-final")
        events, failure = self.run_collecting(self.purchase(lost))
        self.assertIsInstance(failure, zelvan.OutcomeUnknownError)
        self.assertTrue(failure.txn_reference.startswith("ZS"), failure.txn_reference)
        self.assertIn(failure.txn_reference, str(failure))
        checks = [e.status_check for e in events if e.type is E.STATUS_CHECK]
        self.assertEqual(len(checks), lost.stats()["messages_STATUS"])
        self.assertEqual(checks, list(range(1, len(checks) + 1)))
        self.assertGreater(len(checks), 0)
        self.assertIs(events[-1].outcome, zelvan.Outcome.UNKNOWN)

    def test_a_raising_handler_loses_its_events_and_never_the_payment(self):
        calls = []

        def failing(event):
            calls.append(event)
            raise RuntimeError("metrics backend down")

        t = self.purchase(self.simulator())
        t.set_event_handler(failing)
        result = t.execute()
        self.assertTrue(result.approved)
        self.assertEqual(len(calls), 1)
        self.assertEqual(str(result.handler_error), "metrics backend down")
        # The next execute calls the handler again (an empty bundle still
        # ends in an outcome event), and None stops it.
        t.flush()
        with self.assertRaises(zelvan.TransactionError) as raised:
            t.execute()
        self.assertEqual(len(calls), 2)
        self.assertIsInstance(raised.exception.outcome.handler_error, RuntimeError)
        t.set_event_handler(None)
        with self.assertRaises(zelvan.TransactionError) as raised:
            t.execute()
        self.assertIsNone(raised.exception.outcome.handler_error)
        self.assertEqual(len(calls), 2)


if __name__ == "__main__":
    unittest.main()
