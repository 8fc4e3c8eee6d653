package org.apache.hadoop.hdfs.server.namenode;

import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;
import org.slf4j.Logger;

/**
 * Finds and loads the library: the file that the system property {@code zolt.library} names, or else
 * {@code libzolthadoop.so} on {@code java.library.path}. Where that has none, it is the one that a jar for
 * developers carries for its platform.
 */
final class LibraryLoader {
    private static final String LIBRARY = "zolthadoop";
    /** Where the header of elf(5) has what. */
    private static final int ELF_HEADER = 64;
    private static final int ELF_CLASS = 4;
    private static final int ELF_64 = 2;
    private static final int ELF_SECTIONS = 0x28;
    private static final int ELF_SECTION_SIZE = 0x3a;
    private static final int ELF_SECTION_COUNT = 0x3c;

    private LibraryLoader() {}

    /**
     * Loads the library.
     *
     * @return the lowest level that it logs: it asks the logger as this does, and keeps the answer
     * @throws UnsatisfiedLinkError when there is none, or the system's loader refuses it; the message says
     *     what to do
     */
    static String load(Logger logger) {
        String level = levelOf(logger);
        load();
        return level;
    }

    private static String levelOf(Logger logger) {
        return logger.isTraceEnabled() ? "trace"
                : logger.isDebugEnabled() ? "debug"
                : logger.isWarnEnabled() ? "warn"
                : logger.isInfoEnabled() ? "info"
                : logger.isErrorEnabled() ? "error" : "off";
    }

    private static void load() {
        String file = System.getProperty("zolt.library");
        try {
            if (file != null) {
                // The virtual machine has advice of its own on folders and texts, and prints it.
                refuseWhatIsNone(file);
                System.load(new File(file).getAbsolutePath());
            } else {
                BundledLibrary.loadInstalledOrOwn(LIBRARY);
            }
        } catch (UnsatisfiedLinkError e) {
            UnsatisfiedLinkError clear = new UnsatisfiedLinkError(whyNotLoaded(file, e));
            clear.initCause(e);
            throw clear;
        }
    }

    private static void refuseWhatIsNone(String file) {
        byte[] magic = {0x7f, 'E', 'L', 'F'};
        byte[] found = new byte[ELF_HEADER];
        try (FileInputStream in = new FileInputStream(file)) {
            in.read(found);
        } catch (IOException e) {
            throw new UnsatisfiedLinkError(e.getMessage());
        }
        if (!Arrays.equals(magic, Arrays.copyOf(found, magic.length))) {
            throw new UnsatisfiedLinkError(file + " is no library");
        }
        // The table of sections is the last of a library. Where it is cut off, the loader ends by a signal.
        ByteBuffer header = ByteBuffer.wrap(found).order(ByteOrder.nativeOrder());
        if (found[ELF_CLASS] == ELF_64 && header.getLong(ELF_SECTIONS) + (long) header.getShort(ELF_SECTION_SIZE)
                * header.getShort(ELF_SECTION_COUNT) > new File(file).length()) {
            throw new UnsatisfiedLinkError(file + " is cut off");
        }
    }

    private static String whyNotLoaded(String file, UnsatisfiedLinkError e) {
        String what = file != null
                ? "Cannot load the ZOLT library from zolt.library=" + file
                : "Cannot load libzolthadoop.so from java.library.path="
                        + System.getProperty("java.library.path");
        String remedy;
        if (file != null && new File(file).isDirectory()) {
            remedy = "That is a folder: name the file in it with -Dzolt.library=FILE.";
        } else if (file != null && !new File(file).exists()) {
            remedy = "There is no such file: correct -Dzolt.library=FILE.";
        } else if (String.valueOf(e.getMessage()).contains("libzolt.so")) {
            remedy = "The file system's client library libzolt.so was not found: put its folder on"
                    + " LD_LIBRARY_PATH, or register it with ldconfig.";
        } else if (String.valueOf(e.getMessage()).contains("map segment")) {
            remedy = "The file lies on a file system without the right to execute: name a folder on"
                    + " another one with -Djava.io.tmpdir=DIR, or the file with -Dzolt.library=FILE.";
        } else if (file == null && BundledLibrary.carried() != null && !BundledLibrary.present(LIBRARY)) {
            remedy = "The jar carries the library for " + BundledLibrary.carried()
                    + " only, and this is " + BundledLibrary.platform() + ".";
        } else if (file == null) {
            remedy = "Name its folder with -Djava.library.path=DIR, or the file itself with"
                    + " -Dzolt.library=FILE.";
        } else {
            remedy = "The file is there but the loader refuses it.";
        }
        return what + ": " + e.getMessage() + ". " + remedy;
    }
}
