package com.zelvan.client;

import com.sun.jna.Library;
import com.sun.jna.Native;
import com.sun.jna.Pointer;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;

/**
 * The C functions of libzelvanclient that the binding calls, and the
 * loading of the library. A handle ({@code txn*}) is a {@link Pointer}.
 */
interface ClientLibrary extends Library {
    /** The environment variable that names the library file to load. */
    String VARIABLE = "ZELVAN_LIBRARY";

    Pointer newBundle();

    Pointer flushBundle(Pointer t);

    int put(Pointer t, String name, String value);

    /** Returns the bundle's own text, or for "THEWORKS" a malloc()ed copy. */
    Pointer get(Pointer t, String name);

    int setPort(Pointer t, String port);

    int put_ClientID(Pointer t, String clientId);

    int put_CertificatePath(Pointer t, String path);

    int put_CertificatePassword(Pointer t, String password);

    void setServers(Pointer t, String list);

    int execute(Pointer t);

    void cleanup(Pointer t);

    /** The library, loaded on first use. */
    static ClientLibrary instance() {
        return Holder.LIBRARY;
    }

    /**
     * The names tried, in order: the file that $ZELVAN_LIBRARY names (an
     * explicit choice wins, and then nothing else is tried), otherwise
     * "zelvanclient" through JNA's search (jna.library.path, then the
     * dynamic loader's) and libzelvanclient.so.1, the name that an
     * installed library without its development link still has.
     */
    static List<String> candidates() {
        String named = System.getenv(VARIABLE);
        if (named != null && !named.isEmpty()) {
            return List.of(named);
        }
        return List.of("zelvanclient", "libzelvanclient.so.1");
    }

    /** Lazy loading: the class initialiser runs on first use, once. */
    final class Holder {
        static final ClientLibrary LIBRARY = load();

        private Holder() {
        }

        private static ClientLibrary load() {
            List<String> reasons = new ArrayList<>();
            for (String candidate : candidates()) {
                try {
                    return Native.load(candidate, ClientLibrary.class,
                            Map.of(Library.OPTION_STRING_ENCODING, "UTF-8"));
                } catch (UnsatisfiedLinkError error) {
                    reasons.add(candidate + ": " + error.getMessage());
                }
            }
            throw new LibraryNotFoundException("libzelvanclient could not be loaded (set " + VARIABLE
                    + " to its path):\n  " + String.join("\n  ", reasons));
        }
    }
}
