package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertTrue;

import java.net.URI;
import java.nio.charset.StandardCharsets;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.ipc.RemoteException;
import org.junit.jupiter.api.Assertions;
import org.junit.jupiter.api.Test;

/** What monitors see. */
class StatusPageTest {
    @Test
    void callsAndRefusalsAreShown() throws Exception {
        try (Service service = Service.start(); FileSystem client = service.client()) {
            client.listStatus(new Path("/"));
            Assertions.assertThrows(RemoteException.class,
                    () -> client.createSnapshot(new Path("/"), "never"));
            String page;
            try (java.io.InputStream in = URI.create("http://127.0.0.1:" + service.pagePort()
                    + "/jmx?qry=Hadoop:service=NameNode,name=ZoltNameNode*").toURL().openStream()) {
                page = new String(in.readAllBytes(), StandardCharsets.UTF_8);
            }
            assertTrue(page.contains("\"LiveDataNodes\" : 1"), page);
            assertTrue(page.contains("getListing"), page);
            assertTrue(page.contains("This NameNode has no createSnapshot"), page);
        }
    }
}
