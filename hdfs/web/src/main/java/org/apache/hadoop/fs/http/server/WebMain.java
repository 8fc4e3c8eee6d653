package org.apache.hadoop.fs.http.server;

import java.net.InetSocketAddress;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.security.ssl.SSLFactory;
import org.apache.hadoop.util.StringUtils;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * The process of the web server, as HttpFS's own main has it, in HttpFS's package. That one goes on with nothing to serve
 * where the server does not start, and says nowhere that it has started.
 */
public final class WebMain {
    private static final Logger LOG = LoggerFactory.getLogger(WebMain.class);

    private WebMain() {}

    public static void main(String[] arguments) throws Exception {
        StringUtils.startupShutdownMessage(HttpFSServerWebServer.class, arguments, LOG);
        try {
            start().join();
        } catch (Exception e) {
            System.err.println("zolt: " + e.getMessage() + (e.getCause() == null ? "" : ": " + rootOf(e).getMessage()));
            System.exit(1);
        }
    }

    private static HttpFSServerWebServer start() throws Exception {
        HttpFSServerWebServer.addDeprecatedKeys();
        Configuration conf = new Configuration();
        HttpFSServerWebServer server = new HttpFSServerWebServer(conf,
                SSLFactory.readSSLConfiguration(conf, SSLFactory.Mode.SERVER));
        server.start();
        InetSocketAddress address = server.getHttpServer().getConnectorAddress(0);
        LOG.info("Serving at {}://{}:{}/webhdfs/v1", server.getUrl().getProtocol(), address.getHostString(),
                address.getPort());
        return server;
    }

    private static Throwable rootOf(Throwable e) {
        return e.getCause() == null ? e : rootOf(e.getCause());
    }
}
