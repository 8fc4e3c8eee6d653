package zolt.hdfs.filesystem.suites;

import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.contract.AbstractContractAppendTest;
import org.apache.hadoop.fs.contract.AbstractContractBulkDeleteTest;
import org.apache.hadoop.fs.contract.AbstractContractConcatTest;
import org.apache.hadoop.fs.contract.AbstractContractContentSummaryTest;
import org.apache.hadoop.fs.contract.AbstractContractCopyFromLocalTest;
import org.apache.hadoop.fs.contract.AbstractContractCreateTest;
import org.apache.hadoop.fs.contract.AbstractContractDeleteTest;
import org.apache.hadoop.fs.contract.AbstractContractGetEnclosingRoot;
import org.apache.hadoop.fs.contract.AbstractContractGetFileStatusTest;
import org.apache.hadoop.fs.contract.AbstractContractMkdirTest;
import org.apache.hadoop.fs.contract.AbstractContractMultipartUploaderTest;
import org.apache.hadoop.fs.contract.AbstractContractOpenTest;
import org.apache.hadoop.fs.contract.AbstractContractPathHandleTest;
import org.apache.hadoop.fs.contract.AbstractContractRenameTest;
import org.apache.hadoop.fs.contract.AbstractContractRootDirectoryTest;
import org.apache.hadoop.fs.contract.AbstractContractSeekTest;
import org.apache.hadoop.fs.contract.AbstractContractSetTimesTest;
import org.apache.hadoop.fs.contract.AbstractContractStreamIOStatisticsTest;
import org.apache.hadoop.fs.contract.AbstractContractUnbufferTest;
import org.apache.hadoop.fs.contract.AbstractContractVectoredReadTest;
import org.apache.hadoop.fs.contract.AbstractFSContract;
import org.junit.jupiter.params.ParameterizedClass;
import org.junit.jupiter.params.provider.MethodSource;

/** Hadoop's own suites of what a file system keeps. */
final class ContractSuites {
    private ContractSuites() {}

    static class Append extends AbstractContractAppendTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class BulkDelete extends AbstractContractBulkDeleteTest {
        @Override
        protected int getExpectedPageSize() {
            return 1000;
        }

        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class Concat extends AbstractContractConcatTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class ContentSummary extends AbstractContractContentSummaryTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class CopyFromLocal extends AbstractContractCopyFromLocalTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class Create extends AbstractContractCreateTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class Delete extends AbstractContractDeleteTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class GetEnclosingRoot extends AbstractContractGetEnclosingRoot {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class GetFileStatus extends AbstractContractGetFileStatusTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class Mkdir extends AbstractContractMkdirTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class MultipartUploader extends AbstractContractMultipartUploaderTest {
        @Override
        protected boolean supportsConcurrentUploadsToSamePath() {
            return true;
        }

        @Override
        protected int partSizeInBytes() {
            return 1024;
        }

        @Override
        protected boolean finalizeConsumesUploadIdImmediately() {
            return true;
        }

        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class Open extends AbstractContractOpenTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class PathHandle extends AbstractContractPathHandleTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class Rename extends AbstractContractRenameTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class RootDirectory extends AbstractContractRootDirectoryTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class Seek extends AbstractContractSeekTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class SetTimes extends AbstractContractSetTimesTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class StreamIOStatistics extends AbstractContractStreamIOStatisticsTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    static class Unbuffer extends AbstractContractUnbufferTest {
        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }

    @ParameterizedClass
    @MethodSource("params")
    static class VectoredRead extends AbstractContractVectoredReadTest {
        VectoredRead(String bufferType) {
            super(bufferType);
        }

        @Override
        protected AbstractFSContract createContract(Configuration conf) {
            return new ZoltContract(conf);
        }
    }
}
