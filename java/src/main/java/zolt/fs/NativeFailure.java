package zolt.fs;

import java.io.IOException;

/**
 * What a failure of the natives is about. Their exceptions tell errors apart by class only where Java has one,
 * and else by the end of their message, which is the library's own text in every locale.
 */
final class NativeFailure {
    private static final String EXISTS = " already exists";
    private static final String MISSING = " does not exist";
    private static final String NO_LIBACL = "libacl.so.1 is not available";

    private NativeFailure() {}

    /** One of these attributes is there already. */
    static boolean isExisting(IOException e, String... attributes) {
        return says(e, attributes, EXISTS);
    }

    /** One of these attributes is not there. */
    static boolean isMissing(IOException e, String... attributes) {
        return says(e, attributes, MISSING);
    }

    private static boolean says(IOException e, String[] attributes, String what) {
        for (String attribute : attributes) {
            if (ends(e, ": " + attribute + what)) {
                return true;
            }
        }
        return false;
    }

    /** A file system without what was asked for, where errors are told in English; elsewhere the error stays one. */
    static boolean isUnsupported(IOException e) {
        return e.getMessage() != null && e.getMessage().startsWith("Operation not supported");
    }

    /** No library of access control lists could be bound. */
    static boolean isWithoutLibacl(IOException e) {
        return ends(e, ": " + NO_LIBACL);
    }

    private static boolean ends(IOException e, String end) {
        return e.getMessage() != null && e.getMessage().endsWith(end);
    }
}
