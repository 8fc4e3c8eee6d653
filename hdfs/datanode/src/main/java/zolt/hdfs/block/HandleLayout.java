package zolt.hdfs.block;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;
import java.util.Optional;
import zolt.hdfs.namespace.NativeFiles;

/**
 * Where the file handles of a file system have the inode and its generation. With it a handle is made of these
 * two numbers, so that a file is opened by them alone, and the generation of an open file is told.
 *
 * <p>The layouts are those of Linux. None is taken on trust: {@link #of} asks the kernel for the handles
 * of two files, makes them again from their numbers and opens what it made.
 */
public final class HandleLayout {
    private static final byte[] ITSELF = {};
    private static final int MAX_HANDLE = 4 + 128;
    private static final int TYPE_BYTES = 4;

    /** The known forms; offsets count from behind the type. */
    private enum Form {
        /** ext4 and all whose inodes have 32 bits. */
        GENERIC(0x01, 8, 0, 4, 4),
        TMPFS(0x01, 12, 4, 8, 0),
        XFS(0x81, 12, 0, 8, 8),
        /** Between inode and generation stands the subvolume. */
        BTRFS(0x4d, 20, 0, 8, 16);

        private final int type;
        private final int length;
        private final int inodeAt;
        private final int inodeBytes;
        private final int generationAt;

        Form(int type, int length, int inodeAt, int inodeBytes, int generationAt) {
            this.type = type;
            this.length = TYPE_BYTES + length;
            this.inodeAt = TYPE_BYTES + inodeAt;
            this.inodeBytes = inodeBytes;
            this.generationAt = TYPE_BYTES + generationAt;
        }

        boolean is(byte[] handle, long inode) {
            return handle.length == length && buffer(handle).getInt(0) == type && inode(handle) == inode;
        }

        private long inode(byte[] handle) {
            return inodeBytes == 8 ? buffer(handle).getLong(inodeAt)
                    : Integer.toUnsignedLong(buffer(handle).getInt(inodeAt));
        }
    }

    private final Form form;
    private final byte[] template;

    private HandleLayout(Form form, byte[] template) {
        this.form = form;
        this.template = template;
    }

    /**
     * The layout of a file system.
     *
     * @param root a descriptor of a directory, open for reading
     * @param sample a descriptor of a file in the same file system; the root again where none can be made
     * @return nothing where files cannot be opened by handle: the file system offers none, has a form of its own,
     *     or the process lacks CAP_DAC_READ_SEARCH
     */
    public static Optional<HandleLayout> of(int root, int sample) {
        byte[] template = handle(root);
        long inode = inode(root);
        for (Form form : Form.values()) {
            if (form.is(template, inode)) {
                HandleLayout layout = new HandleLayout(form, template);
                return layout.opens(root, root) && layout.opens(root, sample) ? Optional.of(layout) : Optional.empty();
            }
        }
        return Optional.empty();
    }

    /** The handle of an inode with a generation, as {@link NativeFiles#openByHandle} takes it. */
    public byte[] handle(long inode, int generation) {
        byte[] handle = template.clone();
        if (form.inodeBytes == 8) {
            buffer(handle).putLong(form.inodeAt, inode);
        } else {
            buffer(handle).putInt(form.inodeAt, (int) inode);
        }
        buffer(handle).putInt(form.generationAt, generation);
        return handle;
    }

    /**
     * The generation of an open file; a descriptor that was opened with O_PATH will do. Whoever opened it by handle has
     * to ask too: for some file systems a generation of 0 means any.
     *
     * @throws IllegalArgumentException when its handle has another form than those of this file system
     */
    public int generation(int descriptor) {
        byte[] handle = handle(descriptor);
        if (handle.length != form.length || buffer(handle).getInt(0) != form.type) {
            throw new IllegalArgumentException("The handle of the file has another form than that of the exported folder");
        }
        return buffer(handle).getInt(form.generationAt);
    }

    @Override
    public String toString() {
        return form.toString();
    }

    private boolean opens(int root, int sample) {
        byte[] handle = handle(sample);
        long inode = inode(sample);
        if (!form.is(handle, inode) || !Arrays.equals(handle, handle(inode, generation(sample)))) {
            return false;
        }
        int opened = NativeFiles.openByHandle(root, handle(inode, generation(sample)), NativeFiles.O_PATH);
        if (opened < 0) {
            return false;
        }
        try {
            return inode(opened) == inode && generation(opened) == generation(sample);
        } finally {
            NativeFiles.close(opened);
        }
    }

    private static byte[] handle(int descriptor) {
        byte[] handle = new byte[MAX_HANDLE];
        int length = NativeFiles.handle(descriptor, handle);
        return length < 0 ? ITSELF : Arrays.copyOf(handle, length);
    }

    private static long inode(int descriptor) {
        long[] status = new long[NativeFiles.STATUS_WORDS];
        return NativeFiles.status(descriptor, ITSELF, status) < 0 ? -1 : status[NativeFiles.INODE];
    }

    private static ByteBuffer buffer(byte[] handle) {
        return ByteBuffer.wrap(handle).order(ByteOrder.nativeOrder());
    }
}
