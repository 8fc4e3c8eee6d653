package zolt.hdfs.namespace;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * What a program leaves that is ended while it copies a file behind another: a mark on the target, which says where it ended
 * before and which file was copied. The next writer cuts off what was copied. It goes by the bytes and not by the mark
 * alone, since other programs may have written there since: what it cuts off is all in the other file. It does so with
 * files of its user alone, and where nobody else can have made the mark: whether something was cut off would tell another
 * user what is in a file.
 */
final class HalfJoined {
    private static final Logger LOG = LoggerFactory.getLogger(HalfJoined.class);
    private static final byte[] ATTRIBUTE = "user.zolt.joining".getBytes(StandardCharsets.US_ASCII);
    /** A number, a slash and a name. */
    private static final int MOST_BYTES = 512;
    private static final int WRITABLE_BY_OTHERS = 022;
    private static final int SOME_BYTES = 1 << 20;

    private HalfJoined() {}

    private static byte[] nameOf(int descriptor) {
        return NativeFiles.nameOf(descriptor).getBytes(StandardCharsets.US_ASCII);
    }

    /** From here on, what is behind the end of the target is a part of the source. */
    static void mark(int target, long end, HdfsPath source) {
        byte[] value = (end + "/" + source.name()).getBytes(StandardCharsets.UTF_8);
        int result = NativeFiles.setAttribute(nameOf(target), ATTRIBUTE, value, 0);
        if (result < 0) {
            LOG.debug("{} is joined without a mark: {}", source, NativeFiles.errorText(-result));
        }
    }

    /** The target has all of the source, or nothing. */
    static void unmark(int target) {
        NativeFiles.removeAttribute(nameOf(target), ATTRIBUTE);
    }

    /** Cuts off the part of another file at the end of one that the caller writes, and that nobody else does. */
    static void mend(Folder folder, HdfsPath path, int descriptor) throws IOException {
        Entry target = Entry.of(descriptor);
        if (target.uid() != Acting.now().uid() || (target.permissions() & WRITABLE_BY_OTHERS) != 0) {
            return;
        }
        byte[] value = new byte[MOST_BYTES];
        int length = NativeFiles.getAttribute(nameOf(descriptor), ATTRIBUTE, value);
        if (length <= 0) {
            return;
        }
        String mark = new String(value, 0, length, StandardCharsets.UTF_8);
        int slash = mark.lastIndexOf('/');
        try (OpenedFile source = OpenedFile.toRead(folder, path.parent().child(mark.substring(slash + 1)));
                FileChannel from = FileChannel.open(Path.of(NativeFiles.nameOf(source.descriptor())),
                        StandardOpenOption.READ);
                FileChannel file = FileChannel.open(Path.of(NativeFiles.nameOf(descriptor)), StandardOpenOption.READ,
                        StandardOpenOption.WRITE)) {
            long end = Long.parseLong(mark.substring(0, Math.max(0, slash)));
            if (end >= 0 && source.entry().uid() == target.uid() && isBeginning(file, end, from)) {
                LOG.info("{} was being joined with {} by a program that has ended: cut to its {} bytes", path,
                        mark.substring(slash + 1), end);
                file.truncate(end);
            }
            unmark(descriptor);
        } catch (FileNotFoundException e) {
            unmark(descriptor);
        } catch (IOException | IllegalArgumentException e) {
            LOG.debug("What was joined to {} stays", path, e);
        }
    }

    /** Whether all that a file has behind some bytes is what another one begins with. */
    private static boolean isBeginning(FileChannel file, long end, FileChannel of) throws IOException {
        long size = file.size();
        if (size - end > of.size()) {
            return false;
        }
        ByteBuffer these = ByteBuffer.allocate(SOME_BYTES);
        ByteBuffer those = ByteBuffer.allocate(SOME_BYTES);
        for (long at = end; at < size; at += these.limit()) {
            int some = (int) Math.min(SOME_BYTES, size - at);
            if (!fill(file, at, these.clear().limit(some)) || !fill(of, at - end, those.clear().limit(some))
                    || !these.flip().equals(those.flip())) {
                return false;
            }
        }
        return true;
    }

    private static boolean fill(FileChannel file, long at, ByteBuffer buffer) throws IOException {
        while (buffer.hasRemaining()) {
            if (file.read(buffer, at + buffer.position()) <= 0) {
                return false;
            }
        }
        return true;
    }
}
