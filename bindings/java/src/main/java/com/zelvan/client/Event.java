package com.zelvan.client;

import com.sun.jna.Native;
import com.sun.jna.Pointer;

/**
 * One event of an execute(), copied out of the library's structure during
 * the call. Texts an event does not carry are null, numbers 0. Events never
 * carry card data, passwords or field values. Immutable.
 */
public final class Event {
    /** What an event reports; {@link #value()} is the C API's {@code ZELVAN_EVENT_*}. */
    public enum Type {
        /** An address of a server is tried: server, address, port. */
        SERVER_TRIED(1),
        /** A TCP connection is open: server, address, port. */
        CONNECTED(2),
        /** The TLS handshake completed: TLS version, cipher, resumed. */
        HANDSHAKE_DONE(3),
        /** A message was written to the gateway. */
        REQUEST_SENT(4),
        /** A whole reply was read from the gateway. */
        REPLY_READ(5),
        /** A status check begins: its number, from 1. */
        STATUS_CHECK(6),
        /** execute() is over: the outcome it came to. */
        OUTCOME(7);

        private final int value;

        Type(int value) {
            this.value = value;
        }

        public int value() {
            return value;
        }

        static Type of(int value) {
            for (Type type : values()) {
                if (type.value == value) {
                    return type;
                }
            }
            return null;
        }
    }

    // Offsets in struct zelvan_event on x86-64 (int, int, long long, then
    // pointers and ints in their natural alignment).
    private static final int TYPE = 4;
    private static final int ELAPSED_MS = 8;
    private static final int SERVER = 16;
    private static final int ADDRESS = 24;
    private static final int PORT = 32;
    private static final int RESUMED = 36;
    private static final int TLS_VERSION = 40;
    private static final int CIPHER = 48;
    private static final int STATUS_CHECK = 56;
    private static final int OUTCOME_VALUE = 60;

    private final Type type;
    private final long elapsedMillis;
    private final String server;
    private final String address;
    private final int port;
    private final boolean resumed;
    private final String tlsVersion;
    private final String cipher;
    private final int statusCheck;
    private final Outcome outcome;

    /** Reads the event at {@code event}, whose first int tells how many bytes the library filled. */
    private Event(Pointer event, Type type) {
        int size = event.getInt(0);
        this.type = type;
        elapsedMillis = size >= ELAPSED_MS + 8 ? event.getLong(ELAPSED_MS) : 0;
        server = text(event, size, SERVER);
        address = text(event, size, ADDRESS);
        port = number(event, size, PORT);
        resumed = number(event, size, RESUMED) != 0;
        tlsVersion = text(event, size, TLS_VERSION);
        cipher = text(event, size, CIPHER);
        statusCheck = number(event, size, STATUS_CHECK);
        outcome = type == Type.OUTCOME ? Outcome.of(number(event, size, OUTCOME_VALUE)) : null;
    }

    /** The event at {@code event}, or null for a type this binding does not know (a later library's). */
    static Event read(Pointer event) {
        Type type = event.getInt(0) >= TYPE + 4 ? Type.of(event.getInt(TYPE)) : null;
        return type == null ? null : new Event(event, type);
    }

    // A field is read only when the library filled it: an older library's
    // structure is shorter.
    private static int number(Pointer event, int size, int offset) {
        return size >= offset + 4 ? event.getInt(offset) : 0;
    }

    private static String text(Pointer event, int size, int offset) {
        Pointer text = size >= offset + Native.POINTER_SIZE ? event.getPointer(offset) : null;
        return text == null ? null : text.getString(0, "UTF-8");
    }

    public Type getType() {
        return type;
    }

    /** Milliseconds since execute() began. */
    public long getElapsedMillis() {
        return elapsedMillis;
    }

    /** The server as listed (SERVER_TRIED, CONNECTED), or null. */
    public String getServer() {
        return server;
    }

    /** The address tried ("127.0.0.1", "[::1]"; through a proxy, the proxy's), or null. */
    public String getAddress() {
        return address;
    }

    public int getPort() {
        return port;
    }

    /** HANDSHAKE_DONE: a stored session was resumed (false: a full handshake). */
    public boolean isResumed() {
        return resumed;
    }

    /** HANDSHAKE_DONE: "TLSv1.3" and the like, or null. */
    public String getTlsVersion() {
        return tlsVersion;
    }

    public String getCipher() {
        return cipher;
    }

    /** STATUS_CHECK: the check's number, from 1. */
    public int getStatusCheck() {
        return statusCheck;
    }

    /** OUTCOME: what execute() came to; null for the other types. */
    public Outcome getOutcome() {
        return outcome;
    }

    @Override
    public String toString() {
        return "Event(" + type + " +" + elapsedMillis + "ms" + (server != null ? " " + server : "")
                + (address != null ? " " + address + ":" + port : "")
                + (type == Type.HANDSHAKE_DONE ? " " + tlsVersion + (resumed ? " resumed" : " full") : "")
                + (type == Type.STATUS_CHECK ? " " + statusCheck : "")
                + (outcome != null ? " " + outcome : "") + ")";
    }
}
