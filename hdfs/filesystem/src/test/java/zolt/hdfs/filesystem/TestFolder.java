package zolt.hdfs.filesystem;

import java.io.IOException;
import java.net.URI;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.GroupPrincipal;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.PrivilegedExceptionAction;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.security.UserGroupInformation;

/** A folder of the machine that is the root of {@code zolt://} in the tests. */
public final class TestFolder {
    public static final URI NAME = URI.create("zolt:///");

    private static final Path FOLDER = make("root");

    static {
        System.setProperty("zolt.test.root", FOLDER.toString());  // for core-site.xml
    }

    private TestFolder() {}

    /** A new folder that everybody may search. */
    static Path make(String name) {
        try {
            Path state = Path.of(System.getProperty("zolt.test.state"));
            Files.setPosixFilePermissions(state, PosixFilePermissions.fromString("rwxr-xr-x"));
            Path made = Files.createTempDirectory(state, name);
            Files.setPosixFilePermissions(made, PosixFilePermissions.fromString("rwxr-xr-x"));
            return made;
        } catch (IOException e) {
            throw new java.io.UncheckedIOException(e);
        }
    }

    static Path folder() {
        return FOLDER;
    }

    /** A new folder, in which all that is made has a group. */
    public static Path make(String name, String group) throws IOException {
        Path made = make(name);
        GroupPrincipal principal = made.getFileSystem().getUserPrincipalLookupService().lookupPrincipalByGroupName(group);
        Files.setAttribute(made, "posix:group", principal);
        Files.setAttribute(made, "unix:mode", 02755);
        return made;
    }

    public static void configure(Configuration conf) {
        conf.set("fs.zolt.root", FOLDER.toString());
        conf.set("fs.AbstractFileSystem.zolt.impl", ZoltFs.class.getName());
        conf.setBoolean("fs.zolt.impl.disable.cache", true);
        conf.set("fs.defaultFS", NAME.toString());
    }

    public static Configuration conf() {
        Configuration conf = new Configuration();
        configure(conf);
        return conf;
    }

    static FileSystem files() throws IOException {
        return FileSystem.newInstance(NAME, conf());
    }

    /** The file system as another user has it. */
    static FileSystem files(String user) throws Exception {
        return UserGroupInformation.createRemoteUser(user).doAs((PrivilegedExceptionAction<FileSystem>) TestFolder::files);
    }
}
