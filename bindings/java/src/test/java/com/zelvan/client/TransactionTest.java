package com.zelvan.client;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import java.nio.file.Path;
import java.util.List;
import org.junit.Test;

/**
 * The Java binding driving real transactions against the gateway simulator.
 * Environment: ZELVAN_LIBRARY (the library under test), ZV_SIM_PORT,
 * ZV_LOST_SIM_PORT, ZV_CERT_DIR and ZV_CERT_PASSWORD (see
 * tests/support/with_gateway_sim.py). Outcomes, fields and refusals are
 * checked through this binding by the transaction cases (tests/data);
 * these tests check the binding's own types and texts (the outcome-unknown
 * exception is EventsTest's, beside the status checks it follows).
 */
public class TransactionTest {
    private static final String CARD = "4111111111111111";
    private static final Path CERTS = Path.of(System.getenv("ZV_CERT_DIR"));

    static Transaction purchase(String password, String port) {
        Transaction t = new Transaction();
        t.setServers("127.0.0.1");
        t.setPort(port);
        t.setClientId("10000001");
        t.setCertificate(CERTS.resolve("client.p12").toString(), password);
        t.setCaFile(CERTS.resolve("ca.pem").toString());
        t.put("TRANSACTIONTYPE", "PURCHASE");
        t.put("CARDDATA", CARD);
        t.put("AMOUNT", "12.50");
        return t;
    }

    static Transaction purchase(String port) {
        return purchase(System.getenv("ZV_CERT_PASSWORD"), port);
    }

    @Test
    public void resultsAndExceptionsCarryTheBundleAndNoCardData() throws Exception {
        Transaction t = purchase(System.getenv("ZV_SIM_PORT"));
        Result result = t.execute();
        assertTrue(result.isApproved() && !result.isDeclined() && !result.isOutcomeUnknown());
        assertEquals(List.of("0", "00", "APPROVED"),
                List.of(result.getResult(), result.getResponseCode(), result.getResponseText()));
        assertTrue(result.getAuthCode().startsWith("A") && result.getTxnReference().startsWith("ZS"));
        assertTrue(result.getFields().keySet().stream().noneMatch(name -> name.startsWith("_")));
        assertTrue(result.toString().contains("approved") && !result.toString().contains("411111"));
        IllegalArgumentException refused = assertThrows(IllegalArgumentException.class, () -> t.put("ORDERREF", "secret=b"));
        assertTrue(refused.toString(), !refused.toString().contains("secret"));
        t.close();
        t.close();
        assertThrows(IllegalStateException.class, () -> t.get("RESULT"));

        try (Transaction wrong = purchase("not-the-password", System.getenv("ZV_SIM_PORT"))) {
            TransactionException e = assertThrows(TransactionException.class, wrong::execute);
            assertEquals("UNABLE TO INITIALISE SSL.", e.getError());
            String shown = e + " " + e.getOutcome() + " " + e.getOutcome().getFields();
            assertTrue(shown, !shown.contains(CARD) && !shown.contains("not-the-password"));
        }
    }
}
