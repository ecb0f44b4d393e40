package com.zelvan.client;

import com.sun.jna.Native;
import com.sun.jna.Pointer;
import java.lang.ref.Cleaner;
import java.nio.charset.StandardCharsets;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/**
 * One transaction handle of libzelvanclient and its bundle of text fields.
 *
 * <pre>{@code
 * try (Transaction t = new Transaction()) {
 *     t.setServers(List.of("gw1.example.com", "gw2.example.com"));
 *     t.setPort(8443);
 *     t.setClientId("10000001");
 *     t.setCertificate("/etc/pay/client.p12", password);
 *     t.put("TRANSACTIONTYPE", "PURCHASE");
 *     t.put("CARDDATA", card);
 *     t.put("AMOUNT", "12.50");
 *     Result result = t.execute();   // APPROVED or DECLINED; throws without a decision
 * }
 * }</pre>
 *
 * <p>Text that the gateway message cannot carry is refused with
 * {@link IllegalArgumentException} before it reaches the library: CR, LF or
 * NUL anywhere, an empty name, and "=" in a name or in the value of a field
 * that is sent (local "_" fields never travel and may hold "="). The
 * message names the field, never the value.
 *
 * <p>Threads: the methods of one Transaction take turns; transactions on
 * different Transaction objects run in parallel. {@link #close()} releases
 * the handle and every field, card data and certificate password included;
 * a Transaction that is never closed is released when it is collected.
 */
public final class Transaction implements AutoCloseable {
    private static final Cleaner CLEANER = Cleaner.create();

    /** The handle, apart from the Transaction so that the cleaner can release it. */
    private static final class Handle implements Runnable {
        private final ClientLibrary lib;
        private Pointer pointer;
        // The callback the library holds, strongly referenced for as long as
        // the handle may call it.
        private ListenerHook hook;

        Handle(ClientLibrary lib, Pointer pointer) {
            this.lib = lib;
            this.pointer = pointer;
        }

        @Override
        public synchronized void run() {
            if (pointer != null) {
                lib.cleanup(pointer);
                pointer = null;
                hook = null;
            }
        }
    }

    /**
     * Carries the library's events to one EventListener. Whatever the
     * listener throws must not unwind into the C library: it is caught and
     * kept, and the listener gets no more events until the next execute().
     */
    private static final class ListenerHook implements ClientLibrary.EventHandler {
        private final EventListener listener;
        private Throwable error;

        ListenerHook(EventListener listener) {
            this.listener = listener;
        }

        @Override
        public void invoke(Pointer event, Pointer user) {
            if (error != null) {
                return;
            }
            try {
                Event copied = Event.read(event);
                if (copied != null) {
                    listener.onEvent(copied);
                }
            } catch (Throwable thrown) {
                error = thrown;
            }
        }
    }

    private final ClientLibrary lib;
    private final Handle handle;
    private final Cleaner.Cleanable cleanable;

    /** Creates a handle with an empty bundle; throws LibraryNotFoundException when the library cannot be loaded. */
    public Transaction() {
        lib = ClientLibrary.instance();
        Pointer pointer = lib.newBundle();
        if (pointer == null) {
            throw new OutOfMemoryError("newBundle() returned no handle");
        }
        handle = new Handle(lib, pointer);
        cleanable = CLEANER.register(this, handle);
    }

    /** Stores field {@code name}, replacing an earlier value. */
    public synchronized void put(String name, String value) {
        check(name, value);
        lib.put(live(), name, value);
    }

    /** The field's text, or null when the bundle has no such field (or it is empty). */
    public synchronized String get(String name) {
        checkName(name);
        if (name.equalsIgnoreCase("THEWORKS")) {
            throw new IllegalArgumentException("use fields() for the whole bundle, not get(\"THEWORKS\")");
        }
        // The text belongs to the bundle: copy it, never free it.
        Pointer text = lib.get(live(), name);
        return text == null ? null : text.getString(0, StandardCharsets.UTF_8.name());
    }

    /** Every field of the bundle but the local "_" fields. */
    public Map<String, String> fields() {
        return fields(false);
    }

    /** Every field of the bundle, the local "_" fields too when {@code includeLocal}. */
    public synchronized Map<String, String> fields(boolean includeLocal) {
        Map<String, String> fields = new HashMap<>();
        Pointer text = lib.get(live(), "THEWORKS");
        if (text == null) {
            return fields;
        }
        String lines;
        try {
            lines = text.getString(0, StandardCharsets.UTF_8.name());
        } finally {
            // The library allocates this text with malloc() for the caller.
            Native.free(Pointer.nativeValue(text));
        }
        for (String line : lines.split("\r\n")) {
            int equals = line.indexOf('=');
            if (equals > 0 && (includeLocal || line.charAt(0) != '_')) {
                fields.put(line.substring(0, equals), line.substring(equals + 1));
            }
        }
        return fields;
    }

    /** The gateway servers to try, in order. */
    public void setServers(List<String> servers) {
        setServers(String.join(",", servers));
    }

    /** The gateway servers to try, in order, separated by commas, semicolons or blanks. */
    public synchronized void setServers(String servers) {
        check("SERVER0", servers);
        lib.setServers(live(), servers);
    }

    /** The gateway's port, the same for every server. */
    public void setPort(int port) {
        setPort(Integer.toString(port));
    }

    /** The gateway's port as decimal text; execute() refuses anything but 1 to 65535. */
    public synchronized void setPort(String port) {
        check("SERVERPORT", port);
        lib.setPort(live(), port);
    }

    /** The merchant's client identifier (CLIENTID). */
    public synchronized void setClientId(String clientId) {
        check("CLIENTID", clientId);
        lib.put_ClientID(live(), clientId);
    }

    /** The client certificate file (PKCS#12 or PEM) and, unless null, its password. */
    public synchronized void setCertificate(String path, String password) {
        check("_CERTIFICATEPATH", path);
        lib.put_CertificatePath(live(), path);
        if (password != null) {
            setCertificatePassword(password);
        }
    }

    /** The client certificate's password; it is neither sent nor logged. */
    public synchronized void setCertificatePassword(String password) {
        check("_CERTIFICATEPASSWORD", password);
        lib.put_CertificatePassword(live(), password);
    }

    /** The CA file that the gateway's certificate is verified against; without one it is not verified. */
    public void setCaFile(String path) {
        put("_CAFILE", path);
    }

    /** Switches the debug log on, to a file path or "stdout"; null switches it off. */
    public synchronized void setDebugLog(String destination) {
        if (destination == null) {
            put("DEBUG", "OFF");
            return;
        }
        // DEBUG must be on before LOGFILE is given, or no file is opened.
        put("DEBUG", "ON");
        put("LOGFILE", destination);
    }

    /**
     * Gives {@code listener} each {@link Event} of every later execute(), on
     * the thread that runs it; null stops the events. The listener must be
     * quick (its time counts against the transaction) and must not use this
     * Transaction. What it throws never reaches the library nor changes the
     * payment: it stops the events for the rest of that execute(), which
     * returns or throws as it would have, with the throwable in
     * {@link Result#getListenerError()}.
     */
    public synchronized void setEventListener(EventListener listener) {
        Pointer pointer = live();
        ListenerHook hook = listener == null ? null : new ListenerHook(listener);
        lib.zelvanclient_set_event_handler(pointer, hook, null);
        synchronized (handle) {
            handle.hook = hook;
        }
    }

    /**
     * Runs the transaction and returns its Result when the gateway decided:
     * its outcome is {@link Outcome#APPROVED} or {@link Outcome#DECLINED}.
     * Throws TransactionException for {@link Outcome#NO_DECISION} (safe to
     * run again) and OutcomeUnknownException for {@link Outcome#UNKNOWN}
     * (never run it again; ask for the status of its reference). Blocks the
     * calling thread until the gateway answers or the time-outs pass (5
     * seconds per unreachable server, about 30 per awaited reply, and the
     * status checks); other threads' transactions run meanwhile.
     */
    public synchronized Result execute() throws TransactionException {
        Pointer pointer = live();
        ListenerHook hook;
        synchronized (handle) {
            hook = handle.hook;
        }
        if (hook != null) {
            hook.error = null;
        }
        boolean completed = lib.execute(pointer) != 0;
        Result result = new Result(completed, fields(), Outcome.of(lib.zelvanclient_outcome(pointer)),
                hook == null ? null : hook.error);
        if (result.getOutcome() == Outcome.UNKNOWN) {
            throw new OutcomeUnknownException(result);
        }
        if (result.getOutcome() == Outcome.NO_DECISION) {
            throw new TransactionException(result);
        }
        return result;
    }

    /** Empties the bundle for the next transaction, settings included; the debug log stays. */
    public synchronized void flush() {
        lib.flushBundle(live());
    }

    /** Destroys the handle and its fields. Later calls of close() do nothing. */
    @Override
    public synchronized void close() {
        cleanable.clean();
    }

    private Pointer live() {
        synchronized (handle) {
            if (handle.pointer == null) {
                throw new IllegalStateException("the transaction is closed");
            }
            return handle.pointer;
        }
    }

    /**
     * Refuses text that would corrupt or lose a field. Fields travel as
     * "NAME=value" lines without escaping: a CR or LF would start a field
     * of its own, a second "=" makes the gateway drop the line, and a NUL
     * would cut the text short without a word.
     */
    private static void check(String name, String value) {
        checkName(name);
        if (value == null) {
            throw new IllegalArgumentException("the value of field " + name + " is null");
        }
        String forbidden = name.startsWith("_") ? "\r\n\0" : "\r\n\0=";
        if (value.chars().anyMatch(c -> forbidden.indexOf(c) >= 0)) {
            throw new IllegalArgumentException("the value of field " + name
                    + " holds a character the gateway message cannot carry");
        }
    }

    private static void checkName(String name) {
        if (name == null || name.isEmpty()) {
            throw new IllegalArgumentException("a field name may not be null or empty");
        }
        if (name.chars().anyMatch(c -> "\r\n\0=".indexOf(c) >= 0)) {
            throw new IllegalArgumentException("a field name holds a character the gateway message cannot carry: "
                    + name.replace("\r", "\\r").replace("\n", "\\n").replace("\0", "\\0"));
        }
    }
}
