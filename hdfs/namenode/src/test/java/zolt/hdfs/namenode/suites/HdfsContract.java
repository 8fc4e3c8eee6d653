package zolt.hdfs.namenode.suites;

import java.io.IOException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.contract.AbstractFSContract;

/** What Hadoop's contract suites are told of an HDFS: that it keeps the whole contract. */
final class HdfsContract extends AbstractFSContract {
    private static final String[] KEPT = {"test.root-tests-enabled", "is-case-sensitive", "supports-append",
        "supports-atomic-directory-delete", "supports-atomic-rename", "supports-block-locality", "supports-concat",
        "supports-seek", "rejects-seek-past-eof", "supports-strict-exceptions", "supports-unix-permissions",
        "rename-returns-false-if-dest-exists", "rename-returns-false-if-source-missing", "supports-settimes",
        "supports-getfilestatus", "supports-file-reference", "supports-content-check", "supports-unbuffer",
        "supports-hflush", "supports-hsync"};

    private FileSystem client;

    HdfsContract(Configuration conf) {
        super(conf);
        for (String option : KEPT) {
            getConf().setBoolean("fs.contract." + option, true);
        }
        getConf().setBoolean("fs.contract.metadata_updated_on_hsync", false);
    }

    @Override
    public void init() throws IOException {
        super.init();
        client = Cluster.client(getConf());
    }

    @Override
    public FileSystem getTestFileSystem() {
        return client;
    }

    @Override
    public String getScheme() {
        return "hdfs";
    }

    @Override
    public Path getTestPath() {
        return new Path("/test");
    }
}
