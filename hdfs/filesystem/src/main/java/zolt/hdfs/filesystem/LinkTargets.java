package zolt.hdfs.filesystem;

import java.net.URI;
import org.apache.hadoop.fs.FSLinkResolver;
import org.apache.hadoop.fs.Path;

/** The targets of links, as Hadoop names them and as the file system keeps them. */
final class LinkTargets {
    private LinkTargets() {}

    static Path qualified(URI fileSystem, Path link, Path target) {
        return FSLinkResolver.qualifySymlinkTarget(fileSystem, link, target);
    }

    /** The path of a target; the kernel knows no other file system by a link's text. */
    static String inFileSystem(Path target) {
        String scheme = target.toUri().getScheme();
        if (scheme != null && !scheme.equals(ZoltFileSystem.SCHEME)) {
            throw new UnsupportedOperationException("a link to " + target + ", which is on another file system");
        }
        return target.toUri().getPath();
    }
}
