package zolt.cli.output;

import java.io.IOException;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;

/** Standard output: bytes as they are, text as UTF-8, through one buffer. */
public final class Output extends OutputStream {
    /** The other side of a write has failed: nothing more can be said there. */
    public static final class Lost extends RuntimeException {
        private static final long serialVersionUID = 1L;

        Lost(IOException cause) {
            super(cause);
        }

        boolean isPipe() {
            return String.valueOf(getCause().getMessage()).contains("Broken pipe");
        }
    }

    private final OutputStream out;
    private final byte[] buffer = new byte[64 << 10];
    private int used;
    private byte nameEnd = '\n';

    Output(OutputStream out) {
        this.out = out;
    }

    public void write(byte[] bytes, int length) {
        write(bytes, 0, length);
    }

    @Override
    public void write(int each) {
        if (used == buffer.length) {
            drain();
        }
        buffer[used++] = (byte) each;
    }

    @Override
    public void write(byte[] bytes, int from, int length) {
        if (length > buffer.length - used) {
            drain();
            if (length > buffer.length) {
                send(bytes, from, length);
                return;
            }
        }
        System.arraycopy(bytes, from, buffer, used, length);
        used += length;
    }

    /** What ends a name that is a line by itself: a line end, or NUL. */
    public void endNamesWith(char end) {
        nameEnd = (byte) end;
    }

    public void endName() {
        write(nameEnd);
    }

    /** Bytes from a buffer's position on, and the end of a name. */
    public void line(ByteBuffer from, int length) {
        if (length >= buffer.length - used) {
            drain();
        }
        from.get(buffer, used, length);
        used += length;
        buffer[used++] = nameEnd;
    }

    public void text(String text) {
        byte[] bytes = text.getBytes(StandardCharsets.UTF_8);
        write(bytes, bytes.length);
    }

    public void line(String text) {
        text(text);
        write('\n');
    }

    @Override
    public void flush() {
        drain();
        try {
            out.flush();
        } catch (IOException e) {
            throw new Lost(e);
        }
    }

    private void drain() {
        int length = used;
        used = 0;
        send(buffer, 0, length);
    }

    private void send(byte[] bytes, int from, int length) {
        try {
            out.write(bytes, from, length);
        } catch (IOException e) {
            throw new Lost(e);
        }
    }
}
