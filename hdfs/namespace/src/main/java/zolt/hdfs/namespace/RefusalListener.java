package zolt.hdfs.namespace;

import org.apache.hadoop.fs.permission.FsAction;

/** Is told what the kernel has refused to a caller, in the midst of the request: it is to be quick. */
@FunctionalInterface
public interface RefusalListener {
    /** Wants to know nothing. */
    RefusalListener NONE = (caller, path, wanted) -> { };

    /**
     * @param path for which the right was wanted: where something is made, the directory
     * @param wanted what was asked for
     */
    void refused(Caller caller, HdfsPath path, FsAction wanted);
}
