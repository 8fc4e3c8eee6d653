package zolt.soak;

/** An invariant that does not hold; the message says all that is known. */
final class Broken extends Error {
    private static final long serialVersionUID = 1;

    Broken(String message) {
        super(message);
    }
}
