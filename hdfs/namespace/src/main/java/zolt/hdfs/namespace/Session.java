package zolt.hdfs.namespace;

import java.nio.charset.StandardCharsets;
import java.util.Optional;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * One client's writing of a file, from the taking of the lease to its end, as the file itself keeps it beside the lease.
 *
 * @param start the bytes that the file had: the first block starts there, and nothing before is written or cut
 * @param id the call that began it: tells this session from all others of the file, also from those of the same client
 * @param provisional whether the end of the session, by whomever, cuts the file to {@code start}
 */
public record Session(long start, String id, boolean provisional) {
    static final byte[] ATTRIBUTE = "user.zolt.session".getBytes(StandardCharsets.US_ASCII);
    /** In bytes; what is longer was not written here. */
    static final int MOST_BYTES = 256;

    private static final Pattern TEXT = Pattern.compile("(\\d{1,18}) (\\S+)( provisional)?");

    byte[] toBytes() {
        return (start + " " + id + (provisional ? " provisional" : "")).getBytes(StandardCharsets.UTF_8);
    }

    /** Nothing for what is no session: whoever may write a file may set its attributes. */
    static Optional<Session> of(byte[] bytes, int length) {
        Matcher parts = TEXT.matcher(new String(bytes, 0, length, StandardCharsets.UTF_8));
        return parts.matches()
                ? Optional.of(new Session(Long.parseLong(parts.group(1)), parts.group(2), parts.group(3) != null))
                : Optional.empty();
    }
}
