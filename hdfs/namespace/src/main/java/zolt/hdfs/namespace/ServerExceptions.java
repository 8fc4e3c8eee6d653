package zolt.hdfs.namespace;

import java.io.IOException;
import org.apache.hadoop.hdfs.protocol.FSLimitException.PathComponentTooLongException;
import org.apache.hadoop.hdfs.server.namenode.LeaseExpiredException;

/**
 * What HDFS's servers throw. A program that has only the client's part of Hadoop does not have these classes, so that no
 * other class here may name them: the virtual machine would look for them before it runs a method.
 */
final class ServerExceptions {
    private ServerExceptions() {}

    static IOException leaseExpired(String text) {
        return new LeaseExpiredException(text);
    }

    static IOException nameTooLong(int most, int length, String parent, String name) {
        return new PathComponentTooLongException(most, length, parent, name);
    }
}
