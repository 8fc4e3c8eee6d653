package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.FileNotFoundException;
import java.net.URI;
import java.nio.charset.StandardCharsets;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.ipc.RemoteException;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.test.GenericTestUtils;
import org.junit.jupiter.api.Assertions;
import org.junit.jupiter.api.Test;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;
import org.slf4j.event.Level;

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

    /** In words that name nobody; whom and what is in the log. */
    @Test
    void whyTheKernelRefusedIsShown() throws Exception {
        Path secret = new Path("/refused/secret");
        Logger log = LoggerFactory.getLogger(RefusalWords.class);
        GenericTestUtils.setLogLevel(log, Level.INFO);
        GenericTestUtils.LogCapturer said = GenericTestUtils.LogCapturer.captureLogs(log);
        try (Service service = Service.startWithoutDataNodes(conf -> { }); FileSystem client = service.client();
                FileSystem nobody = service.client("nobody")) {
            client.mkdirs(secret);
            client.setPermission(secret, new FsPermission((short) 0700));
            client.setPermission(secret.getParent(), new FsPermission((short) 0775));
            Assertions.assertThrows(AccessControlException.class, () -> nobody.mkdirs(new Path("/refused/new")));
            for (int i = 0; i < 1000; i++) {
                String heard = Assertions.assertThrows(AccessControlException.class, () -> nobody.listStatus(secret))
                        .getMessage();
                assertTrue(heard.startsWith("Permission denied: user=nobody, access=READ_EXECUTE,"
                        + " inode=\"/refused/secret\""), heard);
            }
            String page = page(service);
            long end = System.currentTimeMillis() + 20_000;
            while (!page.contains("read: other has ---")) {
                assertTrue(System.currentTimeMillis() < end, page);
                Thread.sleep(50);
                page = page(service);
            }
            assertTrue(page.contains("write: other has r-x") && page.contains(RefusalWords.NOT_LOOKED_AT), page);
            assertTrue(!page.contains("secret") && !page.contains("nobody"), page);
            int lines = said.getOutput().split("Refused: nobody may not ", -1).length - 1;
            Assertions.assertEquals(2, lines, said.getOutput());
            assertTrue(said.getOutput().contains(Service.FOLDER + secret + " (drwx------ root root): nobody is neither"),
                    said.getOutput());
            client.delete(secret.getParent(), true);
        } finally {
            said.stopCapturing();
        }
    }
}
