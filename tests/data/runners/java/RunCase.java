// Runs one transaction through the Java binding for run_case_with.py:
//     java -cp ... RunCase [S|R|F NAME VALUE]...
// S gives a setting, R puts a request field, F names a field to report after
// execute(). Prints what it saw as one JSON document; run_case_with.py
// compares it with the case.
import com.zelvan.client.OutcomeUnknownException;
import com.zelvan.client.Result;
import com.zelvan.client.Transaction;
import com.zelvan.client.TransactionException;
import java.util.ArrayList;
import java.util.List;

public final class RunCase {
    private static String json(String text) {
        if (text == null) return "null";
        StringBuilder out = new StringBuilder("\"");
        for (char c : text.toCharArray()) {
            if (c == '"' || c == '\\' || c < 0x20) out.append(String.format("\\u%04x", (int) c));
            else out.append(c);
        }
        return out.append('"').toString();
    }

    public static void main(String[] words) {
        List<String> notStored = new ArrayList<>();
        boolean refused = false;
        StringBuilder report = new StringBuilder("{");
        try (Transaction t = new Transaction()) {
            for (int i = 0; i < words.length && !refused; i += 3) {
                String name = words[i + 1], value = words[i + 2];
                if (words[i].equals("S")) {
                    switch (name) {
                        case "SERVERS" -> t.setServers(value);
                        case "SERVERPORT" -> t.setPort(value);
                        case "CLIENTID" -> t.setClientId(value);
                        case "CERTIFICATEPATH" -> t.setCertificate(value, null);
                        case "CERTIFICATEPASSWORD" -> t.setCertificatePassword(value);
                        case "LOGFILE" -> t.setDebugLog(value);
                        default -> throw new IllegalStateException("unknown setting " + name);
                    }
                } else if (words[i].equals("R")) {
                    try {
                        t.put(name, value);
                        if (!value.equals(t.get(name))) notStored.add(json(name));
                    } catch (IllegalArgumentException e) {
                        refused = true;
                    }
                }
            }
            report.append("\"refused\": ").append(refused).append(", \"not_stored\": ").append(notStored);
            if (!refused) {
                long start = System.nanoTime();
                Result result;
                String raised = "null";
                try {
                    result = t.execute();
                } catch (TransactionException e) {
                    result = e.getOutcome();
                    raised = json(e instanceof OutcomeUnknownException ? "unknown" : "error");
                }
                report.append(", \"seconds\": ").append((System.nanoTime() - start) / 1e9)
                    .append(", \"raised\": ").append(raised)
                    .append(", \"outcome\": ").append(json(result.getOutcome().name()))
                    .append(", \"completed\": ").append(result.isCompleted());
            }
            report.append(", \"fields\": {");
            String comma = "";
            for (int i = 0; i < words.length && !refused; i += 3) {
                if (!words[i].equals("F")) continue;
                report.append(comma).append(json(words[i + 1])).append(": ").append(json(t.get(words[i + 1])));
                comma = ", ";
            }
        }
        System.out.print(report.append("}}"));
    }
}
