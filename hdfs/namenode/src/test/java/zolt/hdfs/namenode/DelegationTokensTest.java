package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.security.PrivilegedExceptionAction;
import java.util.List;
import java.util.stream.Stream;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.security.token.delegation.DelegationTokenIdentifier;
import org.apache.hadoop.io.Text;
import org.apache.hadoop.security.AccessControlException;
import org.apache.hadoop.security.SecurityUtil;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.security.token.SecretManager.InvalidToken;
import org.apache.hadoop.security.token.Token;
import org.junit.jupiter.api.Test;

/** Tokens that one NameNode gives out and another one takes. Hadoop's key for its tests turns them on without Kerberos. */
class DelegationTokensTest {
    private static final Path FILE = new Path("/tokens/of-nobody");
    private static final java.nio.file.Path KEPT = java.nio.file.Path.of(Service.FOLDER, ".zolt", "tokens");

    private static void useTokens(Configuration conf) {
        conf.setBoolean(DFSConfigKeys.DFS_NAMENODE_DELEGATION_TOKEN_ALWAYS_USE_KEY, true);
    }

    private static Token<DelegationTokenIdentifier> token(Service service, String renewer) throws Exception {
        try (DistributedFileSystem client = (DistributedFileSystem) service.client("nobody")) {
            return client.getClient().getDelegationToken(new Text(renewer));
        }
    }

    /** Whose a file is that is made with the token by a user who says no more than that. */
    private static String ownerOfFileMadeWith(Token<DelegationTokenIdentifier> token, Service service) throws Exception {
        UserGroupInformation bearer = UserGroupInformation.createRemoteUser("daemon");
        Token<DelegationTokenIdentifier> there = token.copyToken();
        there.setService(SecurityUtil.buildTokenService(service.uri()));
        bearer.addToken(there);
        return bearer.doAs((PrivilegedExceptionAction<String>) () -> {
            try (FileSystem client = service.client()) {
                client.mkdirs(FILE);
                return client.getFileStatus(FILE).getOwner();
            }
        });
    }

    private static long renew(Service service, String user, Token<DelegationTokenIdentifier> token) throws Exception {
        try (DistributedFileSystem client = (DistributedFileSystem) service.client(user)) {
            return client.getClient().getNamenode().renewDelegationToken(token);
        } catch (org.apache.hadoop.ipc.RemoteException e) {
            throw e.unwrapRemoteException();
        }
    }

    private static void cancel(Service service, String user, Token<DelegationTokenIdentifier> token) throws Exception {
        try (DistributedFileSystem client = (DistributedFileSystem) service.client(user)) {
            client.getClient().getNamenode().cancelDelegationToken(token);
        } catch (org.apache.hadoop.ipc.RemoteException e) {
            throw e.unwrapRemoteException();
        }
    }

    private static List<java.nio.file.Path> kept() throws IOException {
        try (Stream<java.nio.file.Path> files = Files.list(KEPT)) {
            return files.toList();
        }
    }

    @Test
    void aTokenOfOneNameNodeIsGoodAtEach() throws Exception {
        Token<DelegationTokenIdentifier> token;
        try (Service ended = Service.startWithoutDataNodes(DelegationTokensTest::useTokens)) {
            token = token(ended, "daemon");
        }
        try (Service one = Service.startWithoutDataNodes(DelegationTokensTest::useTokens);
                Service two = Service.startWithoutDataNodes(DelegationTokensTest::useTokens);
                FileSystem root = one.client()) {
            root.mkdirs(FILE.getParent());
            root.setPermission(FILE.getParent(), new FsPermission((short) 0777));
            assertEquals("nobody", ownerOfFileMadeWith(token, two));
            assertTrue(renew(two, "daemon", token) > System.currentTimeMillis());
            assertThrows(AccessControlException.class, () -> renew(two, "nobody", token), "it is no renewer");
            Token<DelegationTokenIdentifier> forged = token.copyToken();
            byte[] password = token.getPassword().clone();
            password[0]++;
            forged.setPassword(password);
            assertThrows(AccessControlException.class, () -> renew(two, "daemon", forged));
            assertThrows(Exception.class, () -> ownerOfFileMadeWith(forged, two));

            assertThrows(AccessControlException.class, () -> cancel(two, "bin", token));
            assertEquals("nobody", ownerOfFileMadeWith(token, two));
            assertEquals(1, kept().size());
            assertEquals("rw-------", java.nio.file.attribute.PosixFilePermissions.toString(
                    Files.getPosixFilePermissions(kept().get(0))));
            cancel(two, "nobody", token);
            assertThrows(InvalidToken.class, () -> renew(one, "daemon", token));
            assertThrows(Exception.class, () -> ownerOfFileMadeWith(token, one));
            assertEquals(List.of(), kept());
            root.delete(FILE.getParent(), true);
        }
    }

    @Test
    void anExpiredTokenIsNoneAndIsRemoved() throws Exception {
        try (Service service = Service.startWithoutDataNodes(conf -> {
            useTokens(conf);
            conf.setLong(DFSConfigKeys.DFS_NAMENODE_DELEGATION_TOKEN_RENEW_INTERVAL_KEY, 1);
        })) {
            Token<DelegationTokenIdentifier> token = token(service, "daemon");
            Thread.sleep(10);
            assertThrows(Exception.class, () -> ownerOfFileMadeWith(token, service));
            assertEquals(1, kept().size());
            service.restartNameNode();
            for (long end = System.currentTimeMillis() + 10_000; !kept().isEmpty();) {
                assertTrue(System.currentTimeMillis() < end, "it is not removed");
                Thread.sleep(20);
            }
        }
    }

    @Test
    void withoutKerberosThereAreNone() throws Exception {
        assertNull(token(Service.shared(), "daemon"));
        assertThrows(InvalidToken.class, () -> renew(Service.shared(), "daemon", new Token<>()));
        assertThrows(InvalidToken.class, () -> cancel(Service.shared(), "daemon", new Token<>()));
    }
}
