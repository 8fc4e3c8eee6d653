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
    /** How often, and how long it takes, is on the page too. */
    @Test
    void eachChangeIsForcedToTheDiskWhereThatIsAskedFor() throws Exception {
        try (Service service = Service.start(conf -> conf.setBoolean(NameNodeServer.FORCE_KEY, true));
                FileSystem client = service.client()) {
            client.mkdirs(new Path("/forced"));
            client.exists(new Path("/forced"));
            client.delete(new Path("/forced"), true);
            String page = page(service).replaceAll("\\s", "");
            assertTrue(page.contains("\"key\":\"forcedtothedisk\",\"value\":2"), page);
        }
    }

    private static String page(Service service) throws java.io.IOException {
        try (java.io.InputStream in = URI.create("http://127.0.0.1:" + service.pagePort()
                + "/jmx?qry=Hadoop:service=NameNode,name=ZoltNameNode*").toURL().openStream()) {
            return new String(in.readAllBytes(), StandardCharsets.UTF_8);
        }
    }

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
            String page = page(service);
            assertTrue(page.contains("\"LiveDataNodes\" : 1"), page);
            assertTrue(page.contains("getListing"), page);
            assertTrue(page.contains("java.lang.UnsupportedOperationException"), page);
            assertTrue(page.length() < 100_000 && !page.contains("secret"), "the page is everybody's");
        }
    }
}
