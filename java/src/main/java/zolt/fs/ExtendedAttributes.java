package zolt.fs;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.Path;
import java.util.Collections;
import java.util.Map;
import java.util.Optional;
import java.util.SortedMap;
import java.util.TreeMap;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * The extended attributes of a path. Those of a symbolic link are its own: it is not followed.
 *
 * <p>Names have their namespace before them ("user.colour"); values are bytes. The two attributes of a
 * {@link Lease} are hidden here, and refused with an {@link IllegalArgumentException} where they would
 * be changed.
 *
 * <p>While a thread acts for a user who is not the superuser, it changes attributes of the namespace
 * "user." and access control lists only. The others ("security.", "trusted.") ask for capabilities that
 * a switch of identities leaves to the service: the kernel would let every caller have what the service
 * may.
 *
 * <pre>{@code
 * ExtendedAttributes attributes = ExtendedAttributes.of(file);
 * attributes.set("user.colour", "green".getBytes(UTF_8));
 * System.out.println(attributes.all().keySet()); // prints: [user.colour]
 * System.out.println(attributes.getText("user.colour").get()); // prints: green
 * }</pre>
 */
public final class ExtendedAttributes {
    private static final short ANY = 0;
    private static final short ONLY_CREATE = 1;
    private static final short ONLY_REPLACE = 2;

    private static final String USER = "user.";
    /** Access control lists, whose rule is that of chmod(2): the owner alone. */
    private static final String LISTS = "system.posix_acl_";

    private static final String LEASE_HOLDER = "user.lease.holder";
    private static final String LEASE_UPDATE = "user.lease.update";

    private final String path;

    private ExtendedAttributes(String path) {
        this.path = Check.notNull(path, "path");
    }

    /**
     * The attributes of a path. Nothing is read yet.
     *
     * <pre>{@code
     * ExtendedAttributes attributes = ExtendedAttributes.of(file);
     * }</pre>
     *
     * @param path a path
     * @return its attributes
     */
    public static ExtendedAttributes of(String path) {
        return new ExtendedAttributes(path);
    }

    /**
     * As {@link #of(String)}.
     *
     * <pre>{@code
     * ExtendedAttributes attributes = ExtendedAttributes.of(Paths.get(file));
     * }</pre>
     *
     * @param path a path
     * @return its attributes
     */
    public static ExtendedAttributes of(Path path) {
        return of(Check.text(path));
    }

    /**
     * The value of an attribute.
     *
     * <pre>{@code
     * System.out.println(ExtendedAttributes.of(file).get("user.none").isPresent()); // prints: false
     * }</pre>
     *
     * @param name the name with its namespace
     * @return the value; empty when there is no such attribute, or it belongs to a lease
     * @throws IOException when it cannot be read
     */
    public Optional<byte[]> get(String name) throws IOException {
        return Optional.ofNullable(ZOLTNative.getXAttr(path, Check.notNull(name, "name")));
    }

    /**
     * The value of an attribute, as text.
     *
     * <pre>{@code
     * ExtendedAttributes attributes = ExtendedAttributes.of(file);
     * attributes.set("user.colour", "green".getBytes(UTF_8));
     * System.out.println(attributes.getText("user.colour").get()); // prints: green
     * }</pre>
     *
     * @param name the name with its namespace
     * @return the value read as UTF-8; empty as for {@link #get}
     * @throws IOException when it cannot be read
     */
    public Optional<String> getText(String name) throws IOException {
        return get(name).map(value -> new String(value, StandardCharsets.UTF_8));
    }

    /**
     * The values of several attributes, in one call.
     *
     * <pre>{@code
     * ExtendedAttributes attributes = ExtendedAttributes.of(file);
     * attributes.set("user.a", new byte[0]);
     * System.out.println(attributes.getAll("user.a", "user.none").keySet()); // prints: [user.a]
     * }</pre>
     *
     * @param names the names with their namespaces
     * @return those that exist and can be read, by name, unmodifiable
     * @throws IOException when the path has a character that cannot be passed
     */
    public SortedMap<String, byte[]> getAll(String... names) throws IOException {
        for (String name : names) {
            Check.notNull(name, "name");
        }
        return sorted(ZOLTNative.getXAttrs(path, names));
    }

    /**
     * All attributes that the thread's identity may see.
     *
     * <pre>{@code
     * System.out.println(ExtendedAttributes.of(file).all()); // prints: {}
     * }</pre>
     *
     * @return the values by name, unmodifiable
     * @throws IOException when they cannot be listed
     */
    public SortedMap<String, byte[]> all() throws IOException {
        return sorted(ZOLTNative.dumpXAttrs(path));
    }

    private static SortedMap<String, byte[]> sorted(Map<String, byte[]> attributes) {
        return Collections.unmodifiableSortedMap(new TreeMap<>(attributes));
    }

    /**
     * Sets an attribute, whether it exists or not.
     *
     * <pre>{@code
     * ExtendedAttributes.of(file).set("user.empty", new byte[0]);
     * }</pre>
     *
     * @param name the name with its namespace
     * @param value the value, which may be empty
     * @throws IOException when it cannot be set ("Operation not supported" for a namespace, or a file
     *     system, without them)
     */
    public void set(String name, byte[] value) throws IOException {
        set(name, value, ANY);
    }

    /**
     * Sets an attribute that does not exist yet.
     *
     * <pre>{@code
     * ExtendedAttributes attributes = ExtendedAttributes.of(file);
     * attributes.create("user.a", new byte[0]);
     * try {
     *     attributes.create("user.a", new byte[0]);
     * } catch (AttributeExistsException e) {
     *     System.out.println(e.getMessage()); // prints: File exists: user.a already exists
     * }
     * }</pre>
     *
     * @param name the name with its namespace
     * @param value the value, which may be empty
     * @throws AttributeExistsException when it exists
     * @throws IOException when it cannot be set
     */
    public void create(String name, byte[] value) throws IOException {
        set(name, value, ONLY_CREATE);
    }

    /**
     * Sets an attribute that exists already.
     *
     * <pre>{@code
     * try {
     *     ExtendedAttributes.of(file).replace("user.a", new byte[0]);
     * } catch (NoSuchAttributeException e) {
     *     System.out.println(e.getMessage()); // prints: No data available: user.a does not exist
     * }
     * }</pre>
     *
     * @param name the name with its namespace
     * @param value the value, which may be empty
     * @throws NoSuchAttributeException when it does not exist
     * @throws IOException when it cannot be set
     */
    public void replace(String name, byte[] value) throws IOException {
        set(name, value, ONLY_REPLACE);
    }

    private void set(String name, byte[] value, short flags) throws IOException {
        check(name);
        try {
            ZOLTNative.setExtendedAttribute(path, name, Check.notNull(value, "value"), flags);
        } catch (IOException e) {
            throw typed(e, name);
        }
    }

    /**
     * Removes an attribute.
     *
     * <pre>{@code
     * ExtendedAttributes attributes = ExtendedAttributes.of(file);
     * attributes.set("user.a", new byte[0]);
     * attributes.remove("user.a");
     * System.out.println(attributes.all()); // prints: {}
     * }</pre>
     *
     * @param name the name with its namespace
     * @throws NoSuchAttributeException when there is none
     * @throws IOException when it cannot be removed
     */
    public void remove(String name) throws IOException {
        check(name);
        try {
            ZOLTNative.removeXAttr(path, name);
        } catch (IOException e) {
            throw typed(e, name);
        }
    }

    private static IOException typed(IOException e, String name) {
        return NativeFailure.isExisting(e, name) ? new AttributeExistsException(e)
                : NativeFailure.isMissing(e, name) ? new NoSuchAttributeException(e) : e;
    }

    private static void check(String name) throws IOException {
        if (LEASE_HOLDER.equals(Check.notNull(name, "name")) || LEASE_UPDATE.equals(name)) {
            throw new IllegalArgumentException(name + " belongs to the lease of the file, and changes with it alone");
        }
        if (!name.startsWith(USER) && !name.startsWith(LISTS)) {
            ThreadIdentity now = ThreadIdentity.now();
            if (now.actsForAnother()) {
                throw new AccessDeniedException("Operation not permitted: " + name + " is not of the"
                        + " namespace user., and this thread acts for " + Accounts.userOrId(now.uid()));
            }
        }
    }

    /** The path; for a log. */
    @Override
    public String toString() {
        return "extended attributes of " + path;
    }
}
