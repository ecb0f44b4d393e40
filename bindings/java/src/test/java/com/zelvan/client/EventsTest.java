package com.zelvan.client;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertNull;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.junit.Test;

/**
 * The event listener. Environment as for TransactionTest, with
 * ZV_LOST_SIM_PORT (see tests/support/with_gateway_sim.py).
 */
public class EventsTest {
    private static final Path CERTS = Path.of(System.getenv("ZV_CERT_DIR"));

    private static Transaction purchase(String port) {
        Transaction t = new Transaction();
        t.setServers("127.0.0.1");
        t.setPort(port);
        t.setClientId("10000001");
        t.setCertificate(CERTS.resolve("client.p12").toString(), System.getenv("ZV_CERT_PASSWORD"));
        t.setCaFile(CERTS.resolve("ca.pem").toString());
        t.put("TRANSACTIONTYPE", "PURCHASE");
        t.put("CARDDATA", "4111111111111111");
        t.put("AMOUNT", "12.50");
        return t;
    }

    private static List<Event> collect(String port) {
        List<Event> events = new ArrayList<>();
        try (Transaction t = purchase(port)) {
            t.setEventListener(events::add);
            try {
                assertNull(t.execute().getListenerError());
            } catch (TransactionException e) {
                assertNull(e.getOutcome().getListenerError());
            }
        }
        return events;
    }

    // That the events match what the gateway saw is checked on the
    // library's own events: here, each event's fields as the binding hands them over.
    @Test
    public void eventsCarryTheirFields() {
        List<Event> all = new ArrayList<>();
        for (int i = 0; i < 2; i++) {
            List<Event> events = collect(System.getenv("ZV_SIM_PORT"));
            Event first = events.get(0);
            Event last = events.get(events.size() - 1);
            assertEquals(List.of(Event.Type.SERVER_TRIED, "127.0.0.1", Integer.parseInt(System.getenv("ZV_SIM_PORT"))),
                    List.of(first.getType(), first.getAddress(), first.getPort()));
            assertEquals(List.of(Event.Type.OUTCOME, Outcome.APPROVED), List.of(last.getType(), last.getOutcome()));
            all.addAll(events);
        }
        List<Event> handshakes = all.stream().filter(e -> e.getType() == Event.Type.HANDSHAKE_DONE).toList();
        assertTrue(handshakes.stream().anyMatch(Event::isResumed));
        assertTrue(handshakes.stream().allMatch(e -> e.getTlsVersion().startsWith("TLS") && e.getCipher() != null));
        assertTrue(all.toString(), !all.toString().contains("4111"));

        List<Event> lost = collect(System.getenv("ZV_LOST_SIM_PORT"));
        List<Integer> checks = lost.stream().filter(e -> e.getType() == Event.Type.STATUS_CHECK)
                .map(Event::getStatusCheck).toList();
        assertTrue(!checks.isEmpty() && checks.get(checks.size() - 1) == checks.size());
        assertEquals(Outcome.UNKNOWN, lost.get(lost.size() - 1).getOutcome());
    }

    @Test
    public void aThrowingListenerLosesItsEventsAndNeverThePayment() throws Exception {
        List<Event> calls = new ArrayList<>();
        try (Transaction t = purchase(System.getenv("ZV_SIM_PORT"))) {
            t.setEventListener(event -> {
                calls.add(event);
                throw new IllegalStateException("metrics backend down");
            });
            Result result = t.execute();
            assertTrue(result.isApproved());
            assertEquals(1, calls.size());
            assertEquals("metrics backend down", result.getListenerError().getMessage());
            // Flushed, the bundle ends at once in no decision: without a listener, no call.
            t.setEventListener(null);
            t.flush();
            TransactionException failure = assertThrows(TransactionException.class, t::execute);
            assertNull(failure.getOutcome().getListenerError());
            assertEquals(1, calls.size());
        }
    }
}
