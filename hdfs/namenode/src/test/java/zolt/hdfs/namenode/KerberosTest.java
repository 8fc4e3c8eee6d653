package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.net.ServerSocket;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FsShell;
import org.apache.hadoop.hdfs.tools.DelegationTokenFetcher;
import org.apache.hadoop.minikdc.MiniKdc;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.kerby.kerberos.kerb.client.KrbClient;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The service with Kerberos: a KDC, a NameNode, a DataNode and Hadoop's own commands, each a process of its own. */
class KerberosTest {
    private static final String REALM = "EXAMPLE.COM";
    private static final String SERVICE = "hdfs/localhost";
    private static final String DATANODE = "dn/localhost";
    private static final String OWNER = "bob";
    private static final String OTHER = "charlie";
    private static final long WAIT_SECONDS = 60;
    private static final String TEXT = "behind Kerberos\n";

    @TempDir
    private static Path work;
    private static Path folder;
    private static Path conf;
    private static Path keytab;
    private static Path krb5;
    private static Process kdc;

    @BeforeAll
    static void start() throws Exception {
        Files.setPosixFilePermissions(work, PosixFilePermissions.fromString("rwxr-xr-x"));
        folder = Files.createDirectory(work.resolve("folder"));
        startKdc();
        for (String user : new String[] {SERVICE, OWNER, OTHER}) {
            fetchTicket(user);
        }
        conf = Path.of(zolt("conf", folder.toString()).trim());
        write("core-site.xml", Map.of("fs.defaultFS", "hdfs://localhost:" + freePort(),
                "hadoop.security.authentication", "kerberos"));
        write("hdfs-site.xml", Map.ofEntries(
                Map.entry("dfs.namenode.kerberos.principal", SERVICE + "@" + REALM),
                Map.entry("dfs.namenode.keytab.file", keytab.toString()),
                Map.entry("dfs.namenode.http-address", "127.0.0.1:0"),
                Map.entry("dfs.datanode.kerberos.principal", DATANODE + "@" + REALM),
                Map.entry("dfs.datanode.keytab.file", keytab.toString()),
                Map.entry("dfs.datanode.address", "127.0.0.1:0"),
                Map.entry("dfs.datanode.ipc.address", "127.0.0.1:0"),
                Map.entry("dfs.datanode.http.address", "127.0.0.1:0"),
                Map.entry("dfs.datanode.data.dir", Files.createDirectory(work.resolve("data")).toString()),
                Map.entry("dfs.data.transfer.protection", "privacy"),
                Map.entry("dfs.block.access.token.enable", "true"),
                // Its page has no certificate here.
                Map.entry("ignore.secure.ports.for.testing", "true")));
        zolt("start", folder.toString());
    }

    @AfterAll
    static void stop() throws Exception {
        try {
            zolt("stop", folder.toString());
        } finally {
            kdc.destroyForcibly().waitFor();
        }
    }

    /** In a process of its own: it sets what all of its process then has for Kerberos. */
    private static void startKdc() throws Exception {
        Path state = Files.createDirectory(work.resolve("kdc"));
        Path log = work.resolve("kdc.log");
        keytab = work.resolve("keytab");
        krb5 = state.resolve("krb5.conf");
        List<String> command = new ArrayList<>(List.of(java(), "--add-exports",
                "java.security.jgss/sun.security.krb5=ALL-UNNAMED", "-cp", System.getProperty("java.class.path"),
                MiniKdc.class.getName(), state.toString(), Files.createFile(work.resolve("kdc.properties")).toString(),
                keytab.toString(), SERVICE, DATANODE, OWNER, OTHER));
        kdc = new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(log.toFile()).start();
        for (long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(WAIT_SECONDS);
                !Files.readString(log).contains("to stop it");) {
            assertTrue(kdc.isAlive() && System.nanoTime() < end, Files.readString(log));
            Thread.sleep(50);
        }
    }

    private static void fetchTicket(String user) throws Exception {
        KrbClient client = new KrbClient(krb5.getParent().toFile());
        client.init();
        client.storeTicket(client.requestTgt(user + "@" + REALM, keytab.toFile()), ticket(user).toFile());
    }

    private static Path ticket(String user) {
        return work.resolve("ticket-" + user.replace('/', '-'));
    }

    private static int freePort() throws IOException {
        try (ServerSocket socket = new ServerSocket(0)) {
            return socket.getLocalPort();
        }
    }

    private static void write(String file, Map<String, String> keys) throws IOException {
        Configuration site = new Configuration(false);
        keys.forEach(site::set);
        try (var out = Files.newOutputStream(conf.resolve(file))) {
            site.writeXml(out);
        }
    }

    private static String java() {
        return System.getProperty("java.home") + "/bin/java";
    }

    private record Said(int status, String text) {}

    private static Said run(List<String> command, Map<String, String> environment) throws Exception {
        Path said = Files.createTempFile(work, "said", "");
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(said.toFile());
        builder.environment().putAll(environment);
        int status = builder.start().waitFor();
        return new Said(status, Files.readString(said));
    }

    private static String zolt(String... arguments) throws Exception {
        List<String> command = new ArrayList<>(List.of(System.getProperty("zolt.test.launcher")));
        command.addAll(List.of(arguments));
        Said said = run(command, Map.of("ZOLT_HDFS_STATE", work.resolve("state").toString(),
                "ZOLT_JAVA_OPTS", "-Djava.security.krb5.conf=" + krb5));
        assertEquals(0, said.status(), said::text);
        return said.text();
    }

    /** One of Hadoop's commands, of a user who has a ticket, or of somebody who has a file of tokens. */
    private static Said hadoop(Map<String, String> credentials, Class<?> command, String... arguments) throws Exception {
        List<String> call = new ArrayList<>(List.of(java(), "-XX:TieredStopAtLevel=1", "-Djava.net.preferIPv4Stack=true",
                "-Djava.security.krb5.conf=" + krb5, "-cp", conf + ":" + System.getProperty("java.class.path"),
                command.getName()));
        call.addAll(List.of(arguments));
        return run(call, credentials);
    }

    private static Map<String, String> with(String user) {
        return Map.of("KRB5CCNAME", ticket(user).toString());
    }

    private static void assertDone(Said said, String text) {
        assertEquals(0, said.status(), said::text);
        assertTrue(said.text().contains(text), said::text);
    }

    private static void assertRefused(Said said, String text) {
        assertEquals(1, said.status(), said::text);
        assertTrue(said.text().contains(text), said::text);
    }

    @Test
    void theKernelDecidesForWhomTheTicketNames() throws Exception {
        Path own = Files.createDirectory(folder.resolve("own"), PosixFilePermissions.asFileAttribute(
                PosixFilePermissions.fromString("rwx------")));
        Files.setOwner(own, own.getFileSystem().getUserPrincipalLookupService().lookupPrincipalByName(OWNER));
        String local = Files.writeString(work.resolve("local"), TEXT).toString();
        assertRefused(hadoop(Map.of("KRB5CCNAME", "/nowhere"), FsShell.class, "-ls", "/"),
                "Client cannot authenticate via:[TOKEN, KERBEROS]");
        assertDone(hadoop(with(OWNER), FsShell.class, "-put", local, "/own/file"), "");
        assertEquals(OWNER, Files.getOwner(own.resolve("file")).getName());
        assertRefused(hadoop(with(OTHER), FsShell.class, "-cat", "/own/file"), "Permission denied: user=" + OTHER);
        assertDone(hadoop(with(SERVICE), FsShell.class, "-cat", "/own/file"), TEXT);

        String tokens = work.resolve("tokens").toString();
        assertDone(hadoop(with(OWNER), DelegationTokenFetcher.class, "--renewer", OTHER, tokens), "");
        Map<String, String> bearer = Map.of("KRB5CCNAME", "/nowhere",
                UserGroupInformation.HADOOP_TOKEN_FILE_LOCATION, tokens);
        assertDone(hadoop(bearer, FsShell.class, "-cat", "/own/file"), TEXT);
        assertRefused(hadoop(bearer, DelegationTokenFetcher.class, "--renewer", OTHER, work.resolve("more").toString()),
                "Delegation Token can be issued only with kerberos");
        assertDone(hadoop(with(OWNER), DelegationTokenFetcher.class, "--cancel", tokens), "");
        assertRefused(hadoop(bearer, FsShell.class, "-cat", "/own/file"), "can't be found");
    }
}
