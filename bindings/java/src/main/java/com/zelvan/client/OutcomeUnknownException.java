package com.zelvan.client;

/**
 * The gateway opened the transaction and no final decision followed: the
 * payment may have gone through. Never run it again; ask for the status of
 * {@link #getTxnReference()} later.
 */
public final class OutcomeUnknownException extends TransactionException {
    private static final long serialVersionUID = 1L;

    OutcomeUnknownException(Result outcome) {
        super(outcome);
    }
}
