package com.zelvan.client;

import com.sun.jna.Callback;
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

    int zelvanclient_outcome(Pointer t);

    /** zelvan_event_handler: called with the event and the user pointer. */
    interface EventHandler extends Callback {
        void invoke(Pointer event, Pointer user);
    }

    int zelvanclient_set_event_handler(Pointer t, EventHandler handler, Pointer user);

    void cleanup(Pointer t);

    /**
     * The library, loaded on first use. While it cannot be loaded, every
     * call tries again and throws {@link LibraryNotFoundException}: a
     * failed load is not remembered, so the application gets the same
     * exception each time and a library installed later is found.
     */
    static ClientLibrary instance() {
        return Loader.get();
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

    /** Loads the library once it can be loaded; threads wait for one another. */
    final class Loader {
        private static ClientLibrary loaded;

        private Loader() {
        }

        static synchronized ClientLibrary get() {
            if (loaded == null) {
                loaded = load();
            }
            return loaded;
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
            // JNA looks for a bare name in jna.library.path, then asks the
            // dynamic loader (LD_LIBRARY_PATH, /etc/ld.so.cache): the
            // message names both, as they were, with what each name gave.
            throw new LibraryNotFoundException("libzelvanclient could not be loaded (set " + VARIABLE
                    + " to its path); tried:\n  " + String.join("\n  ", reasons)
                    + "\n  searched jna.library.path=" + System.getProperty("jna.library.path", "")
                    + " and LD_LIBRARY_PATH=" + System.getenv().getOrDefault("LD_LIBRARY_PATH", ""));
        }
    }
}
