package com.zelvan.client;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import java.io.IOException;
import java.net.ServerSocket;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.Test;

/**
 * The Java binding driving real transactions against the gateway simulator.
 * Environment: ZELVAN_LIBRARY (the library under test), ZV_SIM_PORT,
 * ZV_CERT_DIR and ZV_CERT_PASSWORD (see tests/support/with_gateway_sim.py);
 * system property zelvan.examples: the examples directory.
 */
public class TransactionTest {
    private static final String CARD = "4111111111111111";
    private static final String PORT = System.getenv("ZV_SIM_PORT");
    private static final Path CERTS = Path.of(System.getenv("ZV_CERT_DIR"));
    private static final String PASSWORD = System.getenv("ZV_CERT_PASSWORD");

    private static Transaction purchase(String card, String port, Path certificate) {
        Transaction t = new Transaction();
        t.setServers("127.0.0.1");
        if (port != null) {
            t.setPort(port);
        }
        t.setClientId("10000001");
        t.setCertificate(certificate.toString(), PASSWORD);
        t.setCaFile(CERTS.resolve("ca.pem").toString());
        t.put("TRANSACTIONTYPE", "PURCHASE");
        t.put("CARDDATA", card);
        t.put("CARDEXPIRYDATE", "1230");
        t.put("CVC2", "123");
        t.put("AMOUNT", "12.50");
        return t;
    }

    private static Transaction purchase(String card) {
        return purchase(card, PORT, CERTS.resolve("client.p12"));
    }

    @Test
    public void approvedPurchaseMasksCardData() throws Exception {
        Transaction t = purchase(CARD);
        Result result = t.execute();
        assertTrue(result.isApproved() && !result.isDeclined() && !result.isOutcomeUnknown());
        assertEquals(List.of("0", "00", "APPROVED"),
                List.of(result.getResult(), result.getResponseCode(), result.getResponseText()));
        assertTrue(result.getAuthCode().startsWith("A") && result.getTxnReference().startsWith("ZS"));
        assertEquals("411111XXXXXX1111", result.get("CARDDATA"));
        assertEquals("***", t.get("CVC2"));
        assertTrue(result.getFields().keySet().stream().noneMatch(name -> name.startsWith("_")));
        assertTrue(t.fields(true).containsKey("_CERTIFICATEPASSWORD"));
        assertTrue(result.toString().contains("approved") && !result.toString().contains("411111"));
        t.close();
        t.close();
        assertThrows(IllegalStateException.class, () -> t.get("RESULT"));
    }

    @Test
    public void declineIsAResultNotAnError() throws Exception {
        for (String[] c : new String[][] {{"4000000000000002", "05", "DO NOT HONOUR"},
                {"4000000000009995", "51", "INSUFFICIENT FUNDS"}}) {
            try (Transaction t = purchase(c[0])) {
                Result result = t.execute();
                assertTrue(c[0], result.isDeclined() && !result.isApproved());
                assertEquals(List.of("1", c[1], c[2]),
                        List.of(result.getResult(), result.getResponseCode(), result.getResponseText()));
            }
        }
    }

    @Test
    public void fieldsTheMessageCannotCarryAreRefused() {
        try (Transaction t = new Transaction()) {
            String[][] bad = {{"AMOUNT", "1\r\nAMOUNT=1000"}, {"AMOUNT", "1\n"}, {"AMOUNT", "1\0"},
                {"ORDERREF", "secret=b"}, {"AM=OUNT", "1"}, {"", "1"}, {"AMOUNT\r", "1"}, {null, "1"}, {"AMOUNT", null}};
            for (String[] field : bad) {
                IllegalArgumentException e = assertThrows(IllegalArgumentException.class, () -> t.put(field[0], field[1]));
                assertFalse(e.getMessage().contains("secret") || e.getMessage().contains("1000"));
            }
            assertThrows(IllegalArgumentException.class, () -> t.setServers("127.0.0.1\nSERVER1=evil"));
            assertThrows(IllegalArgumentException.class, () -> t.setPort("1=2"));
            assertEquals(Map.of(), t.fields(true));
            // Local fields never travel, so "=" is theirs to hold.
            t.setCertificatePassword("pa=ss");
            assertEquals(Map.of("_CERTIFICATEPASSWORD", "pa=ss"), t.fields(true));
        }
    }

    @Test
    public void localFailuresThrowWithTheBundleTexts() throws IOException {
        String closedPort;
        try (ServerSocket socket = new ServerSocket(0)) {
            closedPort = Integer.toString(socket.getLocalPort());
        }
        Object[][] cases = {
            {null, CERTS.resolve("client.p12"), "UNABLE TO CONNECT - NO PORT SET"},
            {closedPort, CERTS.resolve("client.p12"), "UNABLE TO CONNECT - COULD NOT OPEN SOCKET"},
            {PORT, CERTS.resolve("missing.p12"), "COULD NOT OPEN CERTIFICATE - INVALID PATH SET"},
        };
        for (Object[] c : cases) {
            try (Transaction t = purchase(CARD, (String) c[0], (Path) c[1])) {
                TransactionException e = assertThrows(TransactionException.class, t::execute);
                assertEquals(c[2], e.getError());
                assertEquals("-1", e.getOutcome().getResult());
                assertFalse(e.getOutcome().isCompleted() || e.getOutcome().isOutcomeUnknown());
                assertTrue(e.getMessage().startsWith((String) c[2]) && !e.getMessage().contains(CARD));
            }
        }
    }

    @Test
    public void threadsRunTransactionsInParallel() throws Exception {
        ExecutorService pool = Executors.newFixedThreadPool(4);
        try {
            List<Future<List<String>>> runs = new ArrayList<>();
            for (int thread = 0; thread < 4; thread++) {
                runs.add(pool.submit(() -> {
                    List<String> references = new ArrayList<>();
                    for (int i = 0; i < 3; i++) {
                        try (Transaction t = purchase(CARD)) {
                            Result result = t.execute();
                            assertTrue(result.toString(), result.isApproved());
                            references.add(result.getTxnReference());
                        }
                    }
                    return references;
                }));
            }
            Set<String> references = new HashSet<>();
            for (Future<List<String>> run : runs) {
                references.addAll(run.get());
            }
            assertEquals(12, references.size());
        } finally {
            pool.shutdownNow();
        }
    }

    @Test
    public void examplePurchase() throws Exception {
        Path java = Path.of(System.getProperty("java.home"), "bin", "java");
        Process process = new ProcessBuilder(java.toString(), "-cp", System.getProperty("java.class.path"),
                Path.of(System.getProperty("zelvan.examples"), "Purchase.java").toString(),
                "--server", "127.0.0.1", "--port", PORT, "--certificate", CERTS.resolve("client.p12").toString(),
                "--password", PASSWORD, "--ca-file", CERTS.resolve("ca.pem").toString(), CARD, "12.50")
                .redirectErrorStream(true).start();
        String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(output, 0, process.waitFor());
        assertTrue(output, output.contains("approved: APPROVED") && output.contains("card 411111XXXXXX1111"));
    }
}
