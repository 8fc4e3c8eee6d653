package zolt.fs;

/**
 * What an entry of a directory is.
 *
 * <pre>{@code
 * System.out.println(FileType.ofCode(4)); // prints: DIRECTORY
 * System.out.println(FileType.ofMode(0100644).letter()); // prints: -
 * }</pre>
 */
public enum FileType {
    /** A type that the file system does not tell in a listing; a status tells it. */
    UNKNOWN(0, '?'),
    /** A named pipe. */
    FIFO(1, 'p'),
    /** A character device. */
    CHARACTER_DEVICE(2, 'c'),
    /** A directory. */
    DIRECTORY(4, 'd'),
    /** A block device. */
    BLOCK_DEVICE(6, 'b'),
    /** A regular file. */
    FILE(8, '-'),
    /** A symbolic link. */
    LINK(10, 'l'),
    /** A socket. */
    SOCKET(12, 's');

    private static final int CODES = 16;
    private static final int CODE_SHIFT = 12;
    private static final FileType[] BY_CODE = new FileType[CODES];

    static {
        for (int code = 0; code < CODES; code++) {
            BY_CODE[code] = UNKNOWN;
        }
        for (FileType type : values()) {
            BY_CODE[type.code] = type;
        }
    }

    private final int code;
    private final char letter;

    FileType(int code, char letter) {
        this.code = code;
        this.letter = letter;
    }

    /**
     * The type of a directory entry's type code ({@code d_type} of readdir(3)).
     *
     * <pre>{@code
     * System.out.println(FileType.ofCode(10)); // prints: LINK
     * }</pre>
     *
     * @param code a code; any that is not known is {@link #UNKNOWN}
     * @return the type, never null
     */
    public static FileType ofCode(int code) {
        return code >= 0 && code < CODES ? BY_CODE[code] : UNKNOWN;
    }

    /**
     * The type that a file's mode says.
     *
     * <pre>{@code
     * System.out.println(FileType.ofMode(040755)); // prints: DIRECTORY
     * }</pre>
     *
     * @param mode a mode as of {@link FileStatus#mode()}
     * @return the type, never null
     */
    public static FileType ofMode(int mode) {
        return ofCode(mode >>> CODE_SHIFT);
    }

    /**
     * The letter that stands for the type at the head of a mode: one of {@code -dlpcbs}, or {@code ?}.
     *
     * <pre>{@code
     * System.out.println(FileType.DIRECTORY.letter()); // prints: d
     * }</pre>
     *
     * @return the letter
     */
    public char letter() {
        return letter;
    }
}
