package zolt.hdfs.namenode;

import java.io.IOException;
import java.net.InetSocketAddress;
import java.net.URI;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.TimeUnit;
import javax.management.ObjectName;
import javax.servlet.http.HttpServlet;
import javax.servlet.http.HttpServletRequest;
import javax.servlet.http.HttpServletResponse;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.protocol.HdfsConstants.DatanodeReportType;
import org.apache.hadoop.http.HttpServer2;
import org.apache.hadoop.metrics2.util.MBeans;
import org.apache.hadoop.net.NetUtils;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/** What the NameNode does, for people and for monitors: by JMX, and at /jmx by Hadoop's own web server. */
final class StatusPage implements AutoCloseable {
    private static final Logger LOG = LoggerFactory.getLogger(StatusPage.class);

    private final HttpServer2 server;
    private final ObjectName bean;

    StatusPage(Configuration conf, String folder, Datanodes datanodes, Calls calls, WrittenFiles written,
            RefusalWords refusals) throws IOException {
        bean = MBeans.register("NameNode", "ZoltNameNode", new State(folder, datanodes, calls, written, refusals));
        InetSocketAddress address = NetUtils.createSocketAddr(conf.getTrimmed(DFSConfigKeys.DFS_NAMENODE_HTTP_ADDRESS_KEY,
                DFSConfigKeys.DFS_NAMENODE_HTTP_ADDRESS_DEFAULT));
        server = new HttpServer2.Builder().setName("hdfs").setConf(conf)
                .addEndpoint(URI.create("http://" + NetUtils.getHostPortString(address))).build();
        server.addInternalServlet("fsck", "/fsck", NoFsck.class);
        server.start();
    }

    /** What 'hdfs fsck' shows, and fails. */
    public static final class NoFsck extends HttpServlet {
        private static final long serialVersionUID = 1;

        @Override
        public void doGet(HttpServletRequest request, HttpServletResponse response) throws IOException {
            response.setContentType("text/plain");
            response.getWriter().println("This NameNode has no fsck: what of a file is lost, the file system knows");
        }
    }

    /** The port that was taken. */
    int port() {
        return server.getConnectorAddress(0).getPort();
    }

    @Override
    public void close() {
        MBeans.unregister(bean);
        try {
            server.stop();
        } catch (Exception e) {
            LOG.warn("The status page did not stop", e);
        }
    }

    /** What JMX shows. */
    public interface StateMXBean {
        String getFolder();

        int getLiveDataNodes();

        int getDeadDataNodes();

        /** How many files are written through this NameNode. */
        int getOpenFiles();

        /** How often each call came. */
        Map<String, Long> getCalls();

        /** How long the slowest of each call took, in microseconds. */
        Map<String, Long> getSlowestMicroseconds();

        /** How long each call took on average, in microseconds. */
        Map<String, Long> getMeanMicroseconds();

        /** How often each call was refused. */
        Map<String, Long> getRefused();

        /** The exception by which each call was refused the last time. */
        Map<String, String> getLastRefusal();

        /** Why the kernel refused, and how often; whom and what is in the log. */
        Map<String, Long> getRefusalReasons();
    }

    private static final class State implements StateMXBean {
        private final String folder;
        private final Datanodes datanodes;
        private final Calls calls;
        private final WrittenFiles written;
        private final RefusalWords refusals;

        State(String folder, Datanodes datanodes, Calls calls, WrittenFiles written, RefusalWords refusals) {
            this.folder = folder;
            this.datanodes = datanodes;
            this.calls = calls;
            this.written = written;
            this.refusals = refusals;
        }

        private interface Value<T> {
            T of(Calls.Kind kind);
        }

        private <T> Map<String, T> byCall(Value<T> value) {
            Map<String, T> all = new TreeMap<>();
            calls.kinds().forEach((name, kind) -> all.put(name, value.of(kind)));
            return all;
        }

        @Override
        public String getFolder() {
            return folder;
        }

        @Override
        public int getLiveDataNodes() {
            return datanodes.of(DatanodeReportType.LIVE).size();
        }

        @Override
        public int getDeadDataNodes() {
            return datanodes.of(DatanodeReportType.DEAD).size();
        }

        @Override
        public int getOpenFiles() {
            return written.count();
        }

        @Override
        public Map<String, Long> getCalls() {
            return byCall(Calls.Kind::count);
        }

        @Override
        public Map<String, Long> getSlowestMicroseconds() {
            return byCall(kind -> TimeUnit.NANOSECONDS.toMicros(kind.slowestNanos()));
        }

        @Override
        public Map<String, Long> getMeanMicroseconds() {
            return byCall(kind -> TimeUnit.NANOSECONDS.toMicros(kind.nanos() / Math.max(1, kind.count())));
        }

        @Override
        public Map<String, Long> getRefused() {
            return byCall(Calls.Kind::refused);
        }

        @Override
        public Map<String, String> getLastRefusal() {
            return byCall(Calls.Kind::lastRefusal);
        }

        @Override
        public Map<String, Long> getRefusalReasons() {
            Map<String, Long> all = new TreeMap<>();
            refusals.reasons().forEach((reason, count) -> all.put(reason, count.sum()));
            return all;
        }
    }
}
