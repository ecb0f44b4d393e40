package com.zelvan.client;

import java.util.Collections;
import java.util.Locale;
import java.util.Map;
import java.util.TreeMap;

/**
 * The bundle after a transaction and its {@link Outcome}: the gateway's reply
 * and the fields sent, card data masked, the local "_" fields (certificate
 * path and password, CA file) left out. Immutable.
 *
 * <p>{@link #isCompleted()} is what the library's execute() returned: the
 * last exchange ran to its end (it says nothing about the payment).
 * {@link #toString()} names the outcome, codes and reference only, so that
 * logging a Result never writes card data.
 */
public final class Result {
    private final boolean completed;
    private final Outcome outcome;
    private final Map<String, String> fields;
    private final Throwable listenerError;

    Result(boolean completed, Map<String, String> fields, Outcome outcome) {
        this(completed, fields, outcome, null);
    }

    Result(boolean completed, Map<String, String> fields, Outcome outcome, Throwable listenerError) {
        this.completed = completed;
        this.listenerError = listenerError;
        this.outcome = outcome;
        this.fields = Collections.unmodifiableMap(hideCardData(new TreeMap<>(fields)));
    }

    /**
     * The card number masked and CVC2 and the expiry date as asterisks. The
     * library does so itself after every exchange, but a transaction refused
     * before it connects leaves them as they were put.
     */
    private static Map<String, String> hideCardData(Map<String, String> fields) {
        fields.replaceAll((name, value) -> {
            String upper = name.toUpperCase(Locale.ROOT);
            if (upper.equals("CARDDATA")) {
                return maskCardNumber(value);
            }
            return upper.equals("CVC2") || upper.equals("CARDEXPIRYDATE") ? "*".repeat(value.length()) : value;
        });
        return fields;
    }

    /** As the library masks: 13 to 20 characters without an "X" keep their first six and last four. */
    private static String maskCardNumber(String number) {
        int length = number.length();
        if (length < 13 || length > 20 || number.indexOf('X') >= 0) {
            return number;
        }
        return number.substring(0, 6) + "X".repeat(length - 10) + number.substring(length - 4);
    }

    public boolean isCompleted() {
        return completed;
    }

    /** The library's outcome of the transaction. */
    public Outcome getOutcome() {
        return outcome;
    }

    /**
     * What the event listener threw during this execute(), or null. The
     * listener got no more events after it; the outcome is unchanged.
     */
    public Throwable getListenerError() {
        return listenerError;
    }

    public boolean isApproved() {
        return outcome == Outcome.APPROVED;
    }

    public boolean isDeclined() {
        return outcome == Outcome.DECLINED;
    }

    /** The payment may have gone through: never repeat it; ask for its status with the reference. */
    public boolean isOutcomeUnknown() {
        return outcome == Outcome.UNKNOWN;
    }

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
        text.append(outcome.name().toLowerCase(Locale.ROOT));
        for (String name : new String[] {"RESULT", "RESPONSECODE", "RESPONSETEXT", "ERROR", "TXNREFERENCE"}) {
            if (fields.containsKey(name)) {
                text.append(' ').append(name).append('=').append(fields.get(name));
            }
        }
        return text.append(')').toString();
    }
}
