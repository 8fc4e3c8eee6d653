package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.FileNotFoundException;
import java.net.URI;
import java.nio.charset.StandardCharsets;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
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
            Assertions.assertThrows(FileNotFoundException.class, () -> client.listStatus(new Path("/a-secret-name")));
            ClientProtocol raw = ((DistributedFileSystem) client).getClient().getNamenode();
            String longest = Assertions.assertThrows(RemoteException.class,
                    () -> raw.getFileInfo("x".repeat(1_000_000))).getMessage();
            assertTrue(longest.length() < 10_000, "the answer repeats the path");
            String page;
            try (java.io.InputStream in = URI.create("http://127.0.0.1:" + service.pagePort()
                    + "/jmx?qry=Hadoop:service=NameNode,name=ZoltNameNode*").toURL().openStream()) {
                page = new String(in.readAllBytes(), StandardCharsets.UTF_8);
            }
            assertTrue(page.contains("\"LiveDataNodes\" : 1"), page);
            assertTrue(page.contains("getListing"), page);
            assertTrue(page.contains("java.lang.UnsupportedOperationException"), page);
            assertTrue(page.length() < 100_000 && !page.contains("secret"), "the page is everybody's");
        }
    }
}
