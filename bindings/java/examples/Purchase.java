import com.zelvan.client.Result;
import com.zelvan.client.Transaction;
import com.zelvan.client.TransactionException;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/**
 * Runs one purchase through the gateway and prints its outcome.
 *
 * <pre>
 * java -cp /usr/share/java/jna.jar:zelvanclient.jar Purchase.java --server 127.0.0.1 --port 40123 \
 *     --certificate certs/client.p12 --password zelvan-test --ca-file certs/ca.pem 4111111111111111 12.50
 * </pre>
 *
 * Exit status: 0 approved, 1 declined, 2 no decision (the error is printed).
 */
public final class Purchase {
    public static void main(String[] args) {
        List<String> servers = new ArrayList<>();
        Map<String, String> options = new HashMap<>();
        List<String> rest = new ArrayList<>();
        for (int i = 0; i < args.length; i++) {
            if (args[i].startsWith("--") && i + 1 < args.length) {
                if (args[i].equals("--server")) {
                    servers.add(args[++i]);
                } else {
                    options.put(args[i].substring(2), args[++i]);
                }
            } else {
                rest.add(args[i]);
            }
        }
        if (servers.isEmpty() || !options.containsKey("port") || !options.containsKey("certificate") || rest.size() != 2) {
            System.err.println("usage: Purchase --server HOST [--server HOST...] --port PORT --certificate FILE");
            System.err.println("       [--password TEXT] [--ca-file FILE] [--client-id ID] [--debug-log FILE] CARD AMOUNT");
            System.exit(64);
        }

        Result result;
        try (Transaction t = new Transaction()) {
            t.setServers(servers);
            t.setPort(options.get("port"));
            t.setClientId(options.getOrDefault("client-id", "10000001"));
            t.setCertificate(options.get("certificate"), options.getOrDefault("password", ""));
            if (options.containsKey("ca-file")) {
                t.setCaFile(options.get("ca-file"));
            }
            if (options.containsKey("debug-log")) {
                t.setDebugLog(options.get("debug-log"));
            }
            t.put("TRANSACTIONTYPE", "PURCHASE");
            t.put("CARDDATA", rest.get(0));
            t.put("AMOUNT", rest.get(1));
            result = t.execute();
        } catch (TransactionException failure) {
            System.out.println("no decision: " + failure.getMessage());
            if (failure.getOutcome().isOutcomeUnknown()) {
                System.out.println("ask the gateway about reference " + failure.getOutcome().getTxnReference());
            }
            System.exit(2);
            return;
        }
        System.out.printf("%s: %s (response code %s)%n", result.isApproved() ? "approved" : "declined",
                result.getResponseText(), result.getResponseCode());
        System.out.printf("reference %s, auth code %s, card %s%n", result.getTxnReference(),
                result.getAuthCode() != null ? result.getAuthCode() : "-", result.get("CARDDATA"));
        System.exit(result.isApproved() ? 0 : 1);
    }
}
