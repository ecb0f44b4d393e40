package com.zelvan.client;

/**
 * A transaction without a decision of the gateway: thrown as itself for
 * {@link Outcome#NO_DECISION} (the gateway never opened it: nothing was
 * charged, and it may be run again) and as {@link OutcomeUnknownException}
 * for {@link Outcome#UNKNOWN}. The message is ERROR, with ERROR_DETAIL in
 * brackets (and the reference when the outcome is unknown);
 * {@link #getOutcome()} holds every field, card data masked, and its
 * {@link Result#getOutcome()}.
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
        if (outcome.getErrorDetail() != null) {
            message += " (" + outcome.getErrorDetail() + ")";
        }
        if (outcome.isOutcomeUnknown()) {
            message += "; outcome unknown: ask for the status of TXNREFERENCE " + outcome.getTxnReference();
        }
        return message;
    }

    /** TXNREFERENCE, the reference to ask the gateway about, or null. */
    public String getTxnReference() {
        return outcome.getTxnReference();
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
