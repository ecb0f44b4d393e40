package com.zelvan.client;

/**
 * A transaction that got no decision from the gateway: a failure of the
 * library (no server, bad certificate, no reply, ...) or an error reply of
 * the gateway. The message is ERROR, with ERROR_DETAIL in brackets;
 * {@link #getOutcome()} holds every field for logging, and for a status
 * enquiry when {@link Result#isOutcomeUnknown()} says the payment may have
 * gone through.
 */
public class TransactionException extends Exception {
    private static final long serialVersionUID = 1L;

    private final transient Result outcome;

    TransactionException(Result outcome) {
        super(message(outcome));
        this.outcome = outcome;
    }

    private static String message(Result outcome) {
        String message = outcome.getError() != null ? outcome.getError() : "transaction failed without an ERROR text";
        return outcome.getErrorDetail() != null ? message + " (" + outcome.getErrorDetail() + ")" : message;
    }

    /** The bundle after the failed transaction. */
    public Result getOutcome() {
        return outcome;
    }

    /** ERROR, the library's or the gateway's error text. */
    public String getError() {
        return outcome.getError();
    }

    /** ERROR_DETAIL, or null. */
    public String getErrorDetail() {
        return outcome.getErrorDetail();
    }
}
