package zolt.hdfs.namenode;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.io.InputStream;
import java.net.HttpURLConnection;
import java.net.ServerSocket;
import java.net.URL;
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
import org.apache.hadoop.security.authentication.client.AuthenticatedURL;
import org.apache.kerby.kerberos.kerb.client.KrbClient;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The service with Kerberos: a KDC, all servers of the service and Hadoop's own commands, each a process of its own. */
class KerberosTest {
    private static final String REALM = "EXAMPLE.COM";
    private static final String SERVICE = "hdfs/localhost";
    private static final String DATANODE = "dn/localhost";
    private static final String WEB = "HTTP/localhost";
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
    private static String web;

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
        assertRefused(attempt("web", folder.toString()), "Keytab does not exist");
        write("httpfs-site.xml", Map.of(
                "httpfs.http.hostname", "localhost",
                "httpfs.http.port", "0",
                "hadoop.http.authentication.kerberos.principal", WEB + "@" + REALM,
                "hadoop.http.authentication.kerberos.keytab", keytab.toString(),
                "httpfs.proxyuser.hdfs.hosts", "localhost",
                "httpfs.proxyuser.hdfs.groups", OWNER));
        zolt("start", folder.toString(), "--web");
        web = zolt("status", folder.toString()).replaceFirst("(?s).*http://[^:]*", "http://localhost").trim();
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
                keytab.toString(), SERVICE, DATANODE, WEB, OWNER, OTHER));
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

    private static Said attempt(String... arguments) throws Exception {
        List<String> command = new ArrayList<>(List.of(System.getProperty("zolt.test.launcher")));
        command.addAll(List.of(arguments));
        return run(command, Map.of("ZOLT_HDFS_STATE", work.resolve("state").toString(),
                "ZOLT_JAVA_OPTS", "-Djava.security.krb5.conf=" + krb5));
    }

    private static String zolt(String... arguments) throws Exception {
        Said said = attempt(arguments);
        assertEquals(0, said.status(), said::text);
        return said.text();
    }

    /** One of Hadoop's commands, of a user who has a ticket, or of somebody who has a file of tokens. */
    private static Said hadoop(Map<String, String> credentials, Class<?> command, String... arguments) throws Exception {
        List<String> call = new ArrayList<>(List.of(java(), "-XX:TieredStopAtLevel=1", "-Djava.net.preferIPv4Stack=true",
                "-Dzolt.log=WARN", "-Djava.security.krb5.conf=" + krb5, "-cp",
                conf + ":" + System.getProperty("java.class.path"), command.getName()));
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

    /** Requests of somebody who has a ticket, as {@code GET /path?op=OPEN}: a status and an answer for each. */
    static final class Requests {
        private Requests() {}

        public static void main(String[] requests) throws Exception {
            AuthenticatedURL.Token session = new AuthenticatedURL.Token();
            AuthenticatedURL client = new AuthenticatedURL();
            client.openConnection(new URL(requests[0] + "/?op=GETHOMEDIRECTORY"), session);
            for (String request : List.of(requests).subList(1, requests.length)) {
                System.out.println(answer(client.openConnection(url(requests[0], request), session), request));
            }
        }

        private static URL url(String address, String request) throws IOException {
            return new URL(address + request.substring(request.indexOf('/')));
        }

        private static String answer(HttpURLConnection connection, String request) throws IOException {
            connection.setRequestMethod(request.substring(0, request.indexOf(' ')));
            int status = connection.getResponseCode();
            try (InputStream in = status < 400 ? connection.getInputStream() : connection.getErrorStream()) {
                String said = in == null ? connection.getResponseMessage() : new String(in.readAllBytes(), UTF_8);
                return status + " " + said.replaceAll("\\s+", " ").trim();
            }
        }
    }

    private static List<String> requested(String user, String... requests) throws Exception {
        List<String> arguments = new ArrayList<>(List.of(web));
        arguments.addAll(List.of(requests));
        Said said = hadoop(with(user), Requests.class, arguments.toArray(new String[0]));
        assertEquals(0, said.status(), said::text);
        List<String> answers = said.text().lines().filter(line -> line.matches("[1-5]\\d\\d .*")).toList();
        assertEquals(requests.length, answers.size(), said::text);
        return answers;
    }

    /** By somebody who has no ticket. */
    private static String requested(String request) throws IOException {
        return Requests.answer((HttpURLConnection) Requests.url(web, request).openConnection(), request);
    }

    private static void assertAnswer(String start, String text, String answer) {
        assertTrue(answer.startsWith(start) && answer.contains(text), answer);
    }

    @Test
    void theWebServerAsksForTicketsToo() throws Exception {
        Path own = Files.createDirectory(folder.resolve("web"));
        Files.setPosixFilePermissions(own, PosixFilePermissions.fromString("rwxrwxrwx"));
        String local = Files.writeString(work.resolve("of-web"), TEXT).toString();
        assertDone(hadoop(with(OWNER), FsShell.class, "-fs", web.replaceFirst("http:(//[^/]*).*", "webhdfs:$1"),
                "-put", local, "/web/file"), "");
        Files.setPosixFilePermissions(own.resolve("file"), PosixFilePermissions.fromString("rw-------"));
        assertEquals(OWNER, Files.getOwner(own.resolve("file")).getName());
        String open = "GET /web/file?op=OPEN";
        assertAnswer("401 ", "", requested(open));
        assertAnswer("401 ", "", requested(open + "&user.name=" + OWNER));

        List<String> owners = requested(OWNER, open, "GET /?op=GETDELEGATIONTOKEN&renewer=" + OTHER);
        assertEquals("200 " + TEXT.trim(), owners.get(0));
        String token = owners.get(1).replaceFirst(".*\"urlString\":\"([^\"]*)\".*", "$1");
        String renew = "PUT /?op=RENEWDELEGATIONTOKEN&token=" + token;
        List<String> others = requested(OTHER, open, open + "&doas=" + OWNER, renew);
        assertAnswer("500 ", "Permission denied: user=" + OTHER, others.get(0));
        assertAnswer("403 ", "is not allowed to impersonate", others.get(1));
        assertAnswer("200 ", "{\"long\":", others.get(2));
        List<String> services = requested(SERVICE, open + "&doas=" + OWNER, open + "&doas=" + OTHER, renew);
        assertEquals("200 " + TEXT.trim(), services.get(0));
        assertAnswer("403 ", "is not allowed to impersonate " + OTHER, services.get(1));
        assertAnswer("403 ", "tries to renew a token", services.get(2));

        assertEquals("200 " + TEXT.trim(), requested(open + "&delegation=" + token));
        assertAnswer("403 ", "", requested(open + "&delegation=" + token.replaceFirst("A", "B")));
        assertAnswer("401 ", "", requested("GET /?op=GETDELEGATIONTOKEN&delegation=" + token));
        assertAnswer("200 ", "", requested("PUT /?op=CANCELDELEGATIONTOKEN&token=" + token));
        assertAnswer("403 ", "", requested(open + "&delegation=" + token));
    }
}
