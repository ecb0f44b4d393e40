package com.zelvan.client;

/** libzelvanclient could not be found or loaded; the message lists what was tried. */
public class LibraryNotFoundException extends RuntimeException {
    private static final long serialVersionUID = 1L;

    LibraryNotFoundException(String message) {
        super(message);
    }
}
