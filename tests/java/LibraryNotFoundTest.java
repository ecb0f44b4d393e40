package com.zelvan.client;

import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import org.junit.Test;

/**
 * The binding without its library: run with ZELVAN_LIBRARY naming a file
 * that does not exist. Every attempt, not only the first, must end in
 * LibraryNotFoundException naming what was tried, never in the JVM's
 * ExceptionInInitializerError or NoClassDefFoundError.
 */
public class LibraryNotFoundTest {
    @Test
    public void everyAttemptThrowsLibraryNotFoundNamingThePathTried() {
        String missing = System.getenv(ClientLibrary.VARIABLE);
        for (int attempt = 0; attempt < 3; attempt++) {
            LibraryNotFoundException thrown = assertThrows(LibraryNotFoundException.class, Transaction::new);
            assertTrue(thrown.getMessage(), thrown.getMessage().contains(missing));
            assertTrue(thrown.getMessage(), thrown.getMessage().contains(ClientLibrary.VARIABLE));
        }
    }
}
