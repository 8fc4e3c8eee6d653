package zolt.hdfs.filesystem.suites;

import java.io.IOException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.contract.AbstractFSContract;
import zolt.hdfs.filesystem.TestFolder;

/** What Hadoop's contract suites are told: contract/zolt.xml. */
final class ZoltContract extends AbstractFSContract {
    private FileSystem files;

    ZoltContract(Configuration conf) {
        super(conf);
        addConfResource("contract/zolt.xml");
    }

    @Override
    public void init() throws IOException {
        super.init();
        Configuration conf = new Configuration(getConf());
        TestFolder.configure(conf);
        files = FileSystem.newInstance(TestFolder.NAME, conf);
    }

    @Override
    public FileSystem getTestFileSystem() {
        return files;
    }

    @Override
    public String getScheme() {
        return "zolt";
    }

    @Override
    public Path getTestPath() {
        return new Path("/test");
    }
}
