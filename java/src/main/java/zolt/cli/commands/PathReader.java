package zolt.cli.commands;

import java.io.BufferedInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import zolt.cli.output.Names;

/** Paths that come in by a stream, one after the other, each with an end of its own. */
final class PathReader {
    private final InputStream in;
    private final int end;

    PathReader(InputStream in, int end) {
        this.in = new BufferedInputStream(in);
        this.end = end;
    }

    /** The next path; null where there are no more. */
    String next() throws IOException {
        ByteArrayOutputStream name = new ByteArrayOutputStream();
        int each = in.read();
        if (each < 0) {
            return null;
        }
        for (; each >= 0 && each != end; each = in.read()) {
            name.write(each);
        }
        return Names.text(name.toByteArray(), name.size());
    }
}
