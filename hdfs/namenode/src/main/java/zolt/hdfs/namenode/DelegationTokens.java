package zolt.hdfs.namenode;

import java.io.ByteArrayInputStream;
import java.io.DataInputStream;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.Arrays;
import java.util.HashMap;
import java.util.HexFormat;
import java.util.Map;
import java.util.Optional;
import java.util.concurrent.ThreadLocalRandom;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.security.token.delegation.DelegationTokenIdentifier;
import org.apache.hadoop.io.DataOutputBuffer;
import org.apache.hadoop.io.Writable;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.security.token.Token;
import org.apache.hadoop.security.token.delegation.AbstractDelegationTokenSecretManager;
import org.apache.hadoop.security.token.delegation.DelegationKey;
import org.apache.hadoop.util.Time;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;
import zolt.hdfs.namespace.ServiceFolder;
import zolt.hdfs.namespace.SharedRecords;

/**
 * The delegation tokens of a folder and the keys that sign them: records in the service's own folder, so that each NameNode
 * takes, renews and cancels what another one has given out, and none keeps a token in memory. Each signs with its own keys.
 */
final class DelegationTokens extends AbstractDelegationTokenSecretManager<DelegationTokenIdentifier> {
    private static final Logger LOG = LoggerFactory.getLogger(DelegationTokens.class);
    private static final long SCAN_MILLIS = TimeUnit.HOURS.toMillis(1);

    private final SharedRecords tokens;
    private final SharedRecords keys;

    private DelegationTokens(Configuration conf, ServiceFolder service) throws IOException {
        super(conf.getLong(DFSConfigKeys.DFS_NAMENODE_DELEGATION_KEY_UPDATE_INTERVAL_KEY,
                DFSConfigKeys.DFS_NAMENODE_DELEGATION_KEY_UPDATE_INTERVAL_DEFAULT),
                conf.getLong(DFSConfigKeys.DFS_NAMENODE_DELEGATION_TOKEN_MAX_LIFETIME_KEY,
                        DFSConfigKeys.DFS_NAMENODE_DELEGATION_TOKEN_MAX_LIFETIME_DEFAULT),
                conf.getLong(DFSConfigKeys.DFS_NAMENODE_DELEGATION_TOKEN_RENEW_INTERVAL_KEY,
                        DFSConfigKeys.DFS_NAMENODE_DELEGATION_TOKEN_RENEW_INTERVAL_DEFAULT),
                SCAN_MILLIS);
        tokens = new SharedRecords(service, "tokens");
        keys = new SharedRecords(service, "token-keys");
    }

    /** Those of a folder, where there is Kerberos, or Hadoop's key for its tests says so; null where nobody needs one. */
    static DelegationTokens of(Configuration conf, ServiceFolder service) throws IOException {
        if (!UserGroupInformation.isSecurityEnabled()
                && !conf.getBoolean(DFSConfigKeys.DFS_NAMENODE_DELEGATION_TOKEN_ALWAYS_USE_KEY,
                        DFSConfigKeys.DFS_NAMENODE_DELEGATION_TOKEN_ALWAYS_USE_DEFAULT)) {
            return null;
        }
        DelegationTokens all = new DelegationTokens(conf, service);
        all.startThreads();
        return all;
    }

    @Override
    public DelegationTokenIdentifier createIdentifier() {
        return new DelegationTokenIdentifier();
    }

    private static String name(DelegationTokenIdentifier token) {
        try {
            return HexFormat.of().formatHex(MessageDigest.getInstance("SHA-256").digest(token.getBytes()));
        } catch (NoSuchAlgorithmException e) {
            throw new IllegalStateException(e);
        }
    }

    private static byte[] bytes(Writable... parts) throws IOException {
        DataOutputBuffer out = new DataOutputBuffer();
        for (Writable part : parts) {
            part.write(out);
        }
        return Arrays.copyOf(out.getData(), out.getLength());
    }

    private static void fill(byte[] record, Writable... parts) throws IOException {
        DataInputStream in = new DataInputStream(new ByteArrayInputStream(record));
        for (Writable part : parts) {
            part.readFields(in);
        }
    }

    @Override
    protected void storeToken(DelegationTokenIdentifier token, DelegationTokenInformation what) {
        try {
            updateToken(token, what);
        } catch (IOException e) {
            throw new UncheckedIOException(e);  // an IOException is logged only, and the token given out
        }
    }

    @Override
    protected void updateToken(DelegationTokenIdentifier token, DelegationTokenInformation what) throws IOException {
        tokens.put(name(token), bytes(token, what));
    }

    @Override
    protected DelegationTokenInformation getTokenInfo(DelegationTokenIdentifier token) {
        try {
            Optional<byte[]> record = tokens.get(name(token));
            DelegationTokenInformation what = new DelegationTokenInformation();
            if (record.isPresent()) {
                fill(record.get(), new DelegationTokenIdentifier(), what);
                return what;
            }
        } catch (IOException e) {
            LOG.warn("A delegation token cannot be read", e);
        }
        return null;
    }

    @Override
    public synchronized DelegationTokenIdentifier cancelToken(Token<DelegationTokenIdentifier> token, String canceller)
            throws IOException {
        DelegationTokenIdentifier identifier = createIdentifier();
        fill(token.getIdentifier(), identifier);
        DelegationTokenInformation known = getTokenInfo(identifier);
        try {
            if (known != null) {
                currentTokens.put(identifier, known);
            }
            return super.cancelToken(token, canceller);
        } finally {
            currentTokens.remove(identifier);
        }
    }

    @Override
    protected void removeStoredToken(DelegationTokenIdentifier token) throws IOException {
        tokens.remove(name(token));
    }

    /** All that there are: whose NameNode has ended, nobody else removes. A failure would end the process. */
    @Override
    protected Map<DelegationTokenIdentifier, DelegationTokenInformation> getCandidateTokensForCleanup() {
        Map<DelegationTokenIdentifier, DelegationTokenInformation> all = new HashMap<>();
        try {
            removeExpiredKeys();
            for (String name : tokens.names()) {
                Optional<byte[]> record = tokens.get(name);
                if (record.isPresent()) {
                    DelegationTokenIdentifier token = createIdentifier();
                    DelegationTokenInformation what = new DelegationTokenInformation();
                    fill(record.get(), token, what);
                    all.put(token, what);
                }
            }
        } catch (IOException e) {
            LOG.warn("Expired delegation tokens are not removed this time", e);
        }
        return all;
    }

    @Override
    protected void removeExpiredStoredToken(DelegationTokenIdentifier token) {
        try {
            removeStoredToken(token);
        } catch (IOException e) {
            LOG.warn("An expired delegation token is not removed this time", e);
        }
    }

    /** Numbers that no other NameNode takes. */
    @Override
    protected int incrementCurrentKeyId() {
        int id = ThreadLocalRandom.current().nextInt(1, Integer.MAX_VALUE);
        setCurrentKeyId(id);
        return id;
    }

    @Override
    protected void storeDelegationKey(DelegationKey key) throws IOException {
        updateDelegationKey(key);
    }

    @Override
    protected void updateDelegationKey(DelegationKey key) throws IOException {
        super.updateDelegationKey(key);
        keys.put(Integer.toString(key.getKeyId()), bytes(key));
    }

    @Override
    protected DelegationKey getDelegationKey(int id) {
        DelegationKey own = super.getDelegationKey(id);
        try {
            Optional<byte[]> record = own == null ? keys.get(Integer.toString(id)) : Optional.empty();
            return record.isPresent() ? key(record.get()) : own;
        } catch (IOException e) {
            LOG.warn("The key of a delegation token cannot be read", e);
            return null;
        }
    }

    private static DelegationKey key(byte[] record) throws IOException {
        DelegationKey key = new DelegationKey();
        fill(record, key);
        return key;
    }

    private void removeExpiredKeys() throws IOException {
        for (String name : keys.names()) {
            Optional<byte[]> record = keys.get(name);
            if (record.isPresent() && key(record.get()).getExpiryDate() < Time.now()) {
                keys.remove(name);
            }
        }
    }
}
