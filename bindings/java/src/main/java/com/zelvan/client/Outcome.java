package com.zelvan.client;

/**
 * What became of a payment, as the library decides it
 * ({@code zelvanclient_outcome}); {@link #value()} is the C API's
 * {@code ZELVAN_OUTCOME_*}.
 */
public enum Outcome {
    /** The gateway's final decision is an approval. */
    APPROVED(1),
    /** The gateway's final decision is not an approval; nothing was charged. */
    DECLINED(2),
    /** The gateway never opened the transaction; nothing was charged, and it is safe to run it again. */
    NO_DECISION(3),
    /**
     * The gateway opened the transaction (TXNREFERENCE) and no final decision
     * followed: never run it again; ask for its status later.
     */
    UNKNOWN(4);

    private final int value;

    Outcome(int value) {
        this.value = value;
    }

    public int value() {
        return value;
    }

    /**
     * The library's value. Any other value (none cannot follow execute())
     * is read as UNKNOWN, the reading that never leads to charging twice.
     */
    static Outcome of(int value) {
        for (Outcome outcome : values()) {
            if (outcome.value == value) {
                return outcome;
            }
        }
        return UNKNOWN;
    }
}
