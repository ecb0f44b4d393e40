package com.zelvan.client;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import org.junit.Test;

/**
 * The Java binding driving real transactions against the gateway simulator.
 * Environment: ZELVAN_LIBRARY (the library under test), ZV_SIM_PORT,
 * ZV_LOST_SIM_PORT, ZV_CERT_DIR and ZV_CERT_PASSWORD (see
 * tests/support/with_gateway_sim.py).
 */
public class TransactionTest {
    private static final String CARD = "4111111111111111";
    private static final String PORT = System.getenv("ZV_SIM_PORT");
    private static final Path CERTS = Path.of(System.getenv("ZV_CERT_DIR"));
    private static final String PASSWORD = System.getenv("ZV_CERT_PASSWORD");

    private static Transaction purchase(String card, String password) {
        return purchase(card, password, PORT);
    }

    private static Transaction purchase(String card, String password, String port) {
        Transaction t = new Transaction();
        t.setServers("127.0.0.1");
        t.setPort(port);
        t.setClientId("10000001");
        t.setCertificate(CERTS.resolve("client.p12").toString(), password);
        t.setCaFile(CERTS.resolve("ca.pem").toString());
        t.put("TRANSACTIONTYPE", "PURCHASE");
        t.put("CARDDATA", card);
        t.put("CARDEXPIRYDATE", "1230");
        t.put("CVC2", "123");
        t.put("AMOUNT", "12.50");
        return t;
    }

    @Test
    public void approvedPurchaseMasksCardData() throws Exception {
        Transaction t = purchase(CARD, PASSWORD);
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

    /** Which outcome makes which exception is the transaction cases' work (tests/data). */
    @Test
    public void failuresThrowWithTheBundleTextsAndUnknownOnesWithTheReference() throws Exception {
        try (Transaction t = purchase(CARD, "wrong")) {
            TransactionException e = assertThrows(TransactionException.class, t::execute);
            assertEquals("UNABLE TO INITIALISE SSL.", e.getError());
            assertEquals("-1", e.getOutcome().getResult());
            assertTrue(e.getMessage().startsWith("UNABLE TO INITIALISE SSL.") && !e.getMessage().contains(CARD));
        }
        try (Transaction t = purchase(CARD, PASSWORD, System.getenv("ZV_LOST_SIM_PORT"))) {
            OutcomeUnknownException e = assertThrows(OutcomeUnknownException.class, t::execute);
            assertTrue(e.getTxnReference().startsWith("ZS") && e.getMessage().contains(e.getTxnReference()));
        }
    }

    @Test
    public void noCardDataInErrorsOfTransactionsRefusedBeforeConnecting() {
        List<String> secrets = List.of(CARD, "123", "1230", "not-the-password");
        try (Transaction t = purchase(CARD, PASSWORD)) {
            // A CR LF never reaches the library: the refusal names the field only.
            for (String[] field : new String[][] {{"CARDDATA", CARD + "\r\n"}, {"CVC2", "123\r\n"},
                    {"CARDEXPIRYDATE", "1230\r\n"}}) {
                IllegalArgumentException e = assertThrows(IllegalArgumentException.class, () -> t.put(field[0], field[1]));
                assertTrue(secrets.stream().noneMatch(e.toString()::contains));
            }
        }
        try (Transaction t = purchase(CARD, "not-the-password")) {
            TransactionException e = assertThrows(TransactionException.class, t::execute);
            String shown = e + " " + e.getOutcome() + " " + e.getOutcome().getFields();
            assertTrue(shown, secrets.stream().noneMatch(shown::contains));
            assertEquals(List.of("411111XXXXXX1111", "***", "****"), List.of(e.getOutcome().get("CARDDATA"),
                    e.getOutcome().get("CVC2"), e.getOutcome().get("CARDEXPIRYDATE")));
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
}
