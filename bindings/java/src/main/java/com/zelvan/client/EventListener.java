package com.zelvan.client;

/**
 * Receives the {@link Event}s of a Transaction's execute(), on the thread
 * that runs it (see {@link Transaction#setEventListener}). Keep it quick:
 * its time counts against the transaction.
 */
@FunctionalInterface
public interface EventListener {
    void onEvent(Event event);
}
