package zolt.tour;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.Map;
import zolt.fs.ExtendedAttributes;
import zolt.fs.Lease;

/** Extended attributes, and the leases that are kept in two of them. */
final class AttributesStop {
    private AttributesStop() {}

    static void visit(Stop stop) throws IOException, InterruptedException {
        stop.file("part-0000", "", "rw-r--r--");
        attributes(stop, stop.path("part-0000"));
        lease(stop, stop.path("part-0000"));
    }

    private static void attributes(Stop stop, String file) throws IOException {
        stop.page.title("Extended attributes of part-0000");
        ExtendedAttributes attributes = ExtendedAttributes.of(file);
        attributes.set("user.colour", bytes("green"));
        attributes.set("user.empty", bytes(""));
        stop.page.line("set:            " + text(attributes.all()));
        stop.page.line("asked for two:  " + text(attributes.getAll("user.colour", "user.none")));
        stop.page.line("create again:   " + Stop.outcome(() -> {
            attributes.create("user.colour", bytes("red"));
            return "done";
        }));
        attributes.remove("user.empty");
        stop.page.line("one removed:    " + text(attributes.all()));
    }

    private static void lease(Stop stop, String file) throws IOException, InterruptedException {
        stop.page.title("A lease on part-0000");
        Lease lease = Lease.of(file);
        lease.set("writer-1");
        stop.page.line("writer-1 takes it; the holder is now " + holder(lease, Lease.NEVER));
        stop.page.line("writer-2 tries:     " + Stop.outcome(() -> {
            lease.set("writer-2");
            return "has it";
        }));
        lease.renew();
        // The lease clock falls back at every full second, so a look may find the lease alive again.
        int looks = 1;
        while (!holder(lease, 0).equals("nobody")) {
            Thread.sleep(5);
            looks++;
        }
        stop.page.line("it expires:         found dead at look " + looks + ", and removed");
        lease.set("writer-2");
        stop.page.line("writer-2 tries now: the holder is " + holder(lease, Lease.NEVER));
        lease.remove();
    }

    private static String holder(Lease lease, long limit) throws IOException {
        return lease.holder(limit).map(holder -> new String(holder, StandardCharsets.UTF_8))
                .orElse("nobody");
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    private static String text(Map<String, byte[]> attributes) {
        StringBuilder text = new StringBuilder();
        attributes.forEach((name, value) -> text
                .append(text.length() == 0 ? "" : ", ").append(name).append("=\"")
                .append(new String(value, StandardCharsets.UTF_8)).append('"'));
        return text.toString();
    }
}
