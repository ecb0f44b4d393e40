package com.zelvan.client;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertNull;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import org.junit.Test;

/**
 * The event listener, counted against the simulators' own counters.
 * Environment as for TransactionTest, with ZV_LOST_SIM_PORT, ZV_SIM_STATS
 * and ZV_LOST_SIM_STATS (see tests/support/with_gateway_sim.py).
 */
public class EventsTest {
    private static Map<String, Integer> stats(String variable) throws IOException {
        Map<String, Integer> stats = new HashMap<>();
        for (String line : Files.readAllLines(Path.of(System.getenv(variable)))) {
            int equals = line.indexOf('=');
            if (equals > 0) {
                stats.put(line.substring(0, equals), Integer.parseInt(line.substring(equals + 1)));
            }
        }
        return stats;
    }

    private static long count(List<Event> events, Event.Type type) {
        return events.stream().filter(event -> event.getType() == type).count();
    }

    private static int delta(Map<String, Integer> before, Map<String, Integer> after, String name) {
        return after.getOrDefault(name, 0) - before.getOrDefault(name, 0);
    }

    @Test
    public void eventsMatchWhatTheSimulatorCounted() throws Exception {
        Map<String, Integer> before = stats("ZV_SIM_STATS");
        List<Event> all = new ArrayList<>();
        for (int i = 0; i < 3; i++) {
            List<Event> events = new ArrayList<>();
            try (Transaction t = TransactionTest.purchase(System.getenv("ZV_SIM_PORT"))) {
                t.setEventListener(events::add);
                Result result = t.execute();
                assertTrue(result.isApproved());
                assertNull(result.getListenerError());
            }
            Event first = events.get(0);
            Event last = events.get(events.size() - 1);
            assertEquals(List.of(Event.Type.SERVER_TRIED, "127.0.0.1", Integer.parseInt(System.getenv("ZV_SIM_PORT"))),
                    List.of(first.getType(), first.getAddress(), first.getPort()));
            assertEquals(List.of(Event.Type.OUTCOME, Outcome.APPROVED), List.of(last.getType(), last.getOutcome()));
            all.addAll(events);
        }
        Map<String, Integer> after = stats("ZV_SIM_STATS");
        long resumed = all.stream().filter(e -> e.getType() == Event.Type.HANDSHAKE_DONE && e.isResumed()).count();
        long full = count(all, Event.Type.HANDSHAKE_DONE) - resumed;
        assertEquals(List.of((long) delta(before, after, "handshakes_full"), (long) delta(before, after,
                "handshakes_resumed")), List.of(full, resumed));
        assertTrue(resumed > 0);
        assertEquals(delta(before, after, "messages"), count(all, Event.Type.REQUEST_SENT));
        assertTrue(all.stream().filter(e -> e.getType() == Event.Type.HANDSHAKE_DONE)
                .allMatch(e -> e.getTlsVersion().startsWith("TLS") && e.getCipher() != null));
        assertTrue(all.toString(), !all.toString().contains("4111"));

        Map<String, Integer> lostBefore = stats("ZV_LOST_SIM_STATS");
        List<Event> events = new ArrayList<>();
        try (Transaction t = TransactionTest.purchase(System.getenv("ZV_LOST_SIM_PORT"))) {
            t.setEventListener(events::add);
            OutcomeUnknownException e = assertThrows(OutcomeUnknownException.class, t::execute);
            assertTrue(e.getTxnReference().startsWith("ZS") && e.getMessage().contains(e.getTxnReference()));
        }
        long checks = count(events, Event.Type.STATUS_CHECK);
        assertEquals(delta(lostBefore, stats("ZV_LOST_SIM_STATS"), "messages_STATUS"), checks);
        assertTrue(checks > 0);
        assertEquals(Outcome.UNKNOWN, events.get(events.size() - 1).getOutcome());

        // A throwing listener loses its events, never the payment; null removes it.
        List<Event> calls = new ArrayList<>();
        try (Transaction t = TransactionTest.purchase(System.getenv("ZV_SIM_PORT"))) {
            t.setEventListener(event -> {
                calls.add(event);
                throw new IllegalStateException("metrics backend down");
            });
            Result result = t.execute();
            assertTrue(result.isApproved());
            assertEquals(1, calls.size());
            assertEquals("metrics backend down", result.getListenerError().getMessage());
            t.setEventListener(null);
            t.flush();
            TransactionException failure = assertThrows(TransactionException.class, t::execute);
            assertNull(failure.getOutcome().getListenerError());
            assertEquals(1, calls.size());
        }
    }
}
