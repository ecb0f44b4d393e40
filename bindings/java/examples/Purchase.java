import com.zelvan.client.Outcome;
import com.zelvan.client.OutcomeUnknownException;
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
 * ZELVAN_CERT_PASSWORD=zelvan-test java -cp /usr/share/java/jna.jar:zelvanclient.jar Purchase.java \
 *     --server 127.0.0.1 --port 40123 --certificate certs/client.p12 --ca-file certs/ca.pem 4111111111111111 12.50
 * </pre>
 *
 * The certificate's password comes from the environment variable
 * ZELVAN_CERT_PASSWORD, never from the command line, where every user of
 * the machine could read it. Exit status as zelvan-txn's: 0 approved,
 * 1 declined, 2 no decision (safe to run again), 3 outcome unknown (never
 * run it again; ask for the status of the reference), 64 usage.
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
            System.err.println("       [--ca-file FILE] [--client-id ID] [--debug-log FILE] CARD AMOUNT");
            System.exit(64);
        }

        Result result;
        try (Transaction t = new Transaction()) {
            t.setServers(servers);
            t.setPort(options.get("port"));
            t.setClientId(options.getOrDefault("client-id", "10000001"));
            t.setCertificate(options.get("certificate"), System.getenv().getOrDefault("ZELVAN_CERT_PASSWORD", ""));
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
        } catch (OutcomeUnknownException unknown) {
            System.out.println("outcome unknown: " + unknown.getMessage());
            System.out.println("never run it again; ask for the status of reference " + unknown.getTxnReference());
            System.exit(3);
            return;
        } catch (TransactionException failure) {
            System.out.println("no decision: " + failure.getMessage());
            System.exit(2);
            return;
        }
        System.out.printf("%s: %s (response code %s)%n", result.getOutcome().name().toLowerCase(),
                result.getResponseText(), result.getResponseCode());
        System.out.printf("reference %s, auth code %s, card %s%n", result.getTxnReference(),
                result.getAuthCode() != null ? result.getAuthCode() : "-", result.get("CARDDATA"));
        System.exit(result.getOutcome() == Outcome.APPROVED ? 0 : 1);
    }
}
