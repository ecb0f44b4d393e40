// Runs one transaction case file through the Java binding:
//     java -cp ... RunCase CASEFILE
// under run_case_with.py, which starts the simulators, gives the tokens in
// ZV_CASE_* and compares [stats], [sent] and [log]. Prints each difference on
// standard error; exits 1 when there is one. tests/data/README.md
// describes the format.
import com.zelvan.client.Outcome;
import com.zelvan.client.OutcomeUnknownException;
import com.zelvan.client.Result;
import com.zelvan.client.Transaction;
import com.zelvan.client.TransactionException;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Pattern;

public final class RunCase {
    private final Map<String, List<String>> sections = new LinkedHashMap<>();
    private final Map<String, String> tokens = new LinkedHashMap<>();
    private final List<String> failures = new ArrayList<>();

    private RunCase(Path file) throws IOException {
        List<String> section = null;
        for (String line : Files.readAllLines(file, StandardCharsets.UTF_8)) {
            line = line.replaceAll("[ \t\r]+$", "");
            if (line.isEmpty() || line.startsWith("#")) continue;
            if (line.startsWith("[") && line.endsWith("]")) {
                sections.put(line.substring(1, line.length() - 1), section = new ArrayList<>());
            } else {
                section.add(line);
            }
        }
        for (String name : new String[] {"CERTS", "PASSWORD", "LOGFILE", "FREEPORT"}) {
            tokens.put("%" + name, System.getenv("ZV_CASE_" + name));
        }
        tokens.put("%CR", "\r");
        tokens.put("%LF", "\n");
        tokens.put("%EQ", "=");
    }

    private String sub(String text) {
        for (Map.Entry<String, String> token : tokens.entrySet()) text = text.replace(token.getKey(), token.getValue());
        return text;
    }

    private void check(boolean ok, String what) {
        if (!ok) failures.add(what);
    }

    private List<String> lines(String section) {
        return sections.getOrDefault(section, List.of());
    }

    /** Settings, then request fields; false when the binding refused a field itself. */
    private boolean fill(Transaction t, String port) {
        tokens.put("%PORT", port);
        for (String line : lines("settings")) {
            String[] f = sub(line).split("=", 2);
            switch (f[0]) {
                case "SERVERS" -> t.setServers(f[1]);
                case "SERVERPORT" -> t.setPort(f[1]);
                case "CLIENTID" -> t.setClientId(f[1]);
                case "CERTIFICATEPATH" -> t.setCertificate(f[1], null);
                case "CERTIFICATEPASSWORD" -> t.setCertificatePassword(f[1]);
                case "LOGFILE" -> t.setDebugLog(f[1]);
                default -> check(false, "unknown setting " + f[0]);
            }
        }
        for (String line : lines("request")) {
            String[] f = line.split("=", 2);
            String name = sub(f[0]), value = sub(f.length > 1 ? f[1] : "");
            try {
                t.put(name, value);
            } catch (IllegalArgumentException refused) {
                return false;
            }
            check(value.equals(t.get(name)), "put stores what it is given: " + name);
        }
        return true;
    }

    /** execute() returns when the gateway decided and throws when it did not. */
    private Result execute(Transaction t) {
        try {
            Result result = t.execute();
            check(result.isApproved() || result.isDeclined(), "execute() returned for " + result.getOutcome());
            return result;
        } catch (TransactionException e) {
            Result result = e.getOutcome();
            check(!result.isApproved() && !result.isDeclined(), "execute() threw for " + result.getOutcome());
            check((e instanceof OutcomeUnknownException) == result.isOutcomeUnknown(), "the wrong exception");
            return result;
        }
    }

    private void run() throws IOException {
        String beforePort = System.getenv("ZV_CASE_BEFORE_PORT");
        if (beforePort != null) {
            try (Transaction first = new Transaction()) {
                fill(first, beforePort);
                check(execute(first).isCompleted(), "[before]: the first run failed");
            }
            Files.deleteIfExists(Path.of(tokens.get("%LOGFILE")));
        }
        try (Transaction t = new Transaction()) {
            if (!fill(t, System.getenv("ZV_CASE_PORT"))) {
                check(lines("fields").contains("ERROR=INVALID FIELD"), "the binding refused a request field");
                return;
            }
            long start = System.nanoTime();
            Result result = execute(t);
            double seconds = (System.nanoTime() - start) / 1e9;
            for (String line : lines("result")) {
                String[] f = line.split("=", 2);
                switch (f[0]) {
                    case "return" -> check(f[1].equals(result.isCompleted() ? "1" : "0"), "return: " + result.isCompleted());
                    case "outcome" -> check(result.getOutcome() == Outcome.valueOf(f[1]), "outcome: " + result.getOutcome());
                    case "seconds-under" -> check(seconds < Double.parseDouble(f[1]), "took " + seconds + " s");
                    default -> check(false, "unknown result line " + line);
                }
            }
            for (String line : lines("fields")) {
                String[] f = line.split("=", 2);
                check(sub(f[1]).equals(t.get(f[0])), f[0] + ": not the value expected");
            }
            for (String name : lines("absent")) check(t.get(name) == null, name + " is present");
            for (String line : lines("match")) {
                String[] f = line.split("=", 2);
                String value = t.get(f[0]);
                check(value != null && Pattern.matches(f[1], value), f[0] + ": does not match " + f[1]);
            }
        }
    }

    public static void main(String[] args) throws IOException {
        RunCase c = new RunCase(Path.of(args[0]));
        c.run();
        for (String failure : c.failures) System.err.println(Path.of(args[0]).getFileName() + ": " + failure);
        System.exit(c.failures.isEmpty() ? 0 : 1);
    }
}
