package com.zelvan.client;

import java.util.Collections;
import java.util.Map;
import java.util.TreeMap;

/**
 * The bundle after a transaction: the gateway's reply and the fields sent,
 * card data already masked, the local "_" fields (certificate path and
 * password, CA file) left out. Immutable.
 *
 * <p>{@link #isCompleted()} is what the library's execute() returned: the
 * last exchange ran to its end. {@link #toString()} names the decision,
 * codes and reference only, so that logging a Result never writes card
 * data.
 */
public final class Result {
    private final boolean completed;
    private final Map<String, String> fields;

    Result(boolean completed, Map<String, String> fields) {
        this.completed = completed;
        this.fields = Collections.unmodifiableMap(new TreeMap<>(fields));
    }

    public boolean isCompleted() {
        return completed;
    }

    /** The gateway approved the payment: RESULT "0" and no ERROR. */
    public boolean isApproved() {
        return completed && getError() == null && "0".equals(getResult());
    }

    /** The gateway decided and did not approve (RESULT "1", a declined card). */
    public boolean isDeclined() {
        return completed && getError() == null && "1".equals(getResult());
    }

    /**
     * The gateway opened a reference but no final RESULT came back: the
     * payment may have gone through. Never repeat it; ask for its status
     * later with {@link #getTxnReference()}.
     */
    public boolean isOutcomeUnknown() {
        String result = getResult();
        return getTxnReference() != null && (result == null || "-1".equals(result));
    }

    /** Every field, sorted by name, unmodifiable. */
    public Map<String, String> getFields() {
        return fields;
    }

    /** A field's text, or null. */
    public String get(String name) {
        return fields.get(name);
    }

    public String getResult() {
        return get("RESULT");
    }

    public String getError() {
        return get("ERROR");
    }

    public String getErrorDetail() {
        return get("ERROR_DETAIL");
    }

    public String getTxnReference() {
        return get("TXNREFERENCE");
    }

    public String getAuthCode() {
        return get("AUTHCODE");
    }

    public String getResponseCode() {
        return get("RESPONSECODE");
    }

    public String getResponseText() {
        return get("RESPONSETEXT");
    }

    @Override
    public String toString() {
        StringBuilder text = new StringBuilder("Result(");
        text.append(isApproved() ? "approved" : isDeclined() ? "declined"
                : isOutcomeUnknown() ? "outcome unknown" : "failed");
        for (String name : new String[] {"RESULT", "RESPONSECODE", "RESPONSETEXT", "ERROR", "TXNREFERENCE"}) {
            if (fields.containsKey(name)) {
                text.append(' ').append(name).append('=').append(fields.get(name));
            }
        }
        return text.append(')').toString();
    }
}
