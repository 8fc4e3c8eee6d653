package zolt.fs;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.Collections;
import java.util.List;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;

/**
 * An access control list as a value: the entries of an access list, of a default list, or of both, in
 * the order in which getfacl(1) shows them.
 *
 * <pre>{@code
 * Acl.parse("user:nobody:r-x").modify(directory);
 * System.out.print(Acl.get(directory).format());
 * // prints: user::rwx
 * // prints: user:nobody:r-x
 * // prints: group::r-x
 * // prints: mask::r-x
 * // prints: other::r-x
 * }</pre>
 */
public final class Acl {
    private static final int OWNER_SHIFT = 6;
    private static final int GROUP_SHIFT = 3;
    private static final int ALL_BITS = 7;

    private final List<AclEntry> entries;

    private Acl(Collection<AclEntry> entries) {
        List<AclEntry> sorted = new ArrayList<>(entries);
        Collections.sort(sorted);
        this.entries = Collections.unmodifiableList(sorted);
    }

    /**
     * A list of entries.
     *
     * <pre>{@code
     * Acl acl = Acl.of(AclEntry.user("nobody", AclEntry.READ), AclEntry.group("root", 0));
     * System.out.println(acl.entries().size()); // prints: 2
     * }</pre>
     *
     * @param entries entries in any order
     * @return the list
     */
    public static Acl of(AclEntry... entries) {
        return of(Arrays.asList(entries));
    }

    /**
     * A list of entries.
     *
     * <pre>{@code
     * Acl acl = Acl.of(Collections.singletonList(AclEntry.user("nobody", AclEntry.READ)));
     * System.out.println(acl.entries().size()); // prints: 1
     * }</pre>
     *
     * @param entries entries in any order
     * @return the list
     */
    public static Acl of(Collection<AclEntry> entries) {
        return new Acl(entries);
    }

    /**
     * Reads the text form: entries one a line, or separated by commas, with names or ids, permissions
     * as letters or as a digit. The words may be shortened to their first letter; "default:" before an
     * entry puts it into the default list; what follows a "#" is a remark. So it reads what getfacl(1)
     * writes, and what setfacl(1) takes, but for the permission "X".
     *
     * <pre>{@code
     * System.out.print(Acl.parse("u:nobody:rx,default:o::0").format());
     * // prints: user:nobody:r-x
     * // prints: default:other::---
     * }</pre>
     *
     * @param text the text
     * @return the list
     * @throws IllegalArgumentException for a text that is no list; the message has the entry
     * @throws IOException for a name that the system does not know
     */
    public static Acl parse(String text) throws IOException {
        return new Acl(AclText.parse(text, true));
    }

    /**
     * Reads the text form of entries to be removed: the same without permissions.
     *
     * <pre>{@code
     * Acl.parse("user:nobody:r-x").modify(directory);
     * Acl.parseKeys("user:nobody,mask").remove(directory);
     * System.out.println(Acl.get(directory).isMinimal()); // prints: true
     * }</pre>
     *
     * @param text the text
     * @return the list, with no permissions in it
     * @throws IllegalArgumentException for a text that is no list, or has permissions
     * @throws IOException for a name that the system does not know
     */
    public static Acl parseKeys(String text) throws IOException {
        return new Acl(AclText.parse(text, false));
    }

    /**
     * The access list of a path and, for a directory, its default list; symbolic links are followed.
     *
     * <pre>{@code
     * System.out.println(Acl.get(file).entries()); // prints: [user::rw-, group::r--, other::r--]
     * }</pre>
     *
     * @param path a path
     * @return the list; a file without one has the three entries of its mode
     * @throws IOException when it cannot be read
     */
    public static Acl get(String path) throws IOException {
        Acl kept = kept(path);
        return kept != null ? kept : ofMode(fastStatus(path).mode());
    }

    /** The three entries that a mode is. */
    static Acl ofMode(int mode) {
        return of(AclEntry.base(AclEntry.Type.OWNER, mode >> OWNER_SHIFT & ALL_BITS),
                AclEntry.base(AclEntry.Type.OWNING_GROUP, mode >> GROUP_SHIFT & ALL_BITS),
                AclEntry.base(AclEntry.Type.OTHER, mode & ALL_BITS));
    }

    /** The lists of a path; null where its file system keeps none. */
    static Acl kept(String path) throws IOException {
        ByteBuffer stream;
        try {
            stream = ByteBuffer.wrap(ZOLTNative.getAclStatus(path, isDirectory(path))).order(ByteOrder.nativeOrder());
        } catch (IOException e) {
            if (!NativeFailure.isUnsupported(e) || NativeFailure.isWithoutLibacl(e)) {
                throw e;
            }
            return null;
        }
        List<AclEntry> entries = new ArrayList<>();
        while (stream.hasRemaining()) {
            AclEntry.Scope scope = scope(stream.getInt());
            AclEntry.Type type = type(stream.getInt());
            long id = type.isNamed() ? Integer.toUnsignedLong(stream.getInt()) : 0;
            entries.add(AclEntry.of(scope, type, id, stream.getInt()));
        }
        return new Acl(entries);
    }

    /**
     * As {@link #get(String)}.
     *
     * <pre>{@code
     * System.out.println(Acl.get(Paths.get(file)).isMinimal()); // prints: true
     * }</pre>
     *
     * @param path a path
     * @return the list
     * @throws IOException when it cannot be read
     */
    public static Acl get(Path path) throws IOException {
        return get(Check.text(path));
    }

    /**
     * Whether the library has found what it needs of libacl. Without that every call here is an IOException.
     *
     * <pre>{@code
     * System.out.println(Acl.isAvailable()); // prints: true
     * }</pre>
     *
     * @return false where libacl.so.1 was not found, or lacks a function
     */
    public static boolean isAvailable() {
        try {
            get("/");
            return true;
        } catch (IOException e) {
            return !NativeFailure.isWithoutLibacl(e);
        }
    }

    private static AclEntry.Scope scope(int code) throws IOException {
        for (AclEntry.Scope scope : AclEntry.Scope.values()) {
            if (scope.code == code) {
                return scope;
            }
        }
        throw new IOException("unknown scope in an ACL: " + code);
    }

    private static AclEntry.Type type(int code) throws IOException {
        for (AclEntry.Type type : AclEntry.Type.values()) {
            if (type.code == code) {
                return type;
            }
        }
        throw new IOException("unknown tag in an ACL: " + code);
    }

    private static boolean isDirectory(String path) throws IOException {
        return fastStatus(path).isDirectory();
    }

    private static FileStatus fastStatus(String path) throws IOException {
        FileStatus status = new FileStatus();
        status.readFast(path);
        return status;
    }

    /**
     * Whether a path has these lists already. Then they are not written again: the kernel takes set-group-id from a
     * directory whose group is not the caller's even then, and setfacl(1) does not write them either.
     */
    private static boolean isThere(Acl present, Acl wanted) {
        return Arrays.stream(AclEntry.Scope.values()).map(wanted::of)
                .allMatch(list -> list.entries.isEmpty() || list.equals(present.of(list.entries.get(0).scope())));
    }

    /**
     * Replaces the lists of a path for which there are entries; the other one stays. Missing entries
     * for owner, owning group and others are those of the path's access list, and a missing mask is
     * computed where there are named entries. An empty list changes nothing.
     *
     * <pre>{@code
     * Acl.parse("user::rwx,group::---,other::---").set(file);
     * System.out.println(FileStatus.of(file).modeText()); // prints: -rwx------
     * }</pre>
     *
     * @param path a path
     * @throws IOException when the list is not valid, or cannot be set
     */
    public void set(String path) throws IOException {
        requireDirectoryForDefault(path);
        if (!isThere(get(Check.notNull(path, "path")), this)) {
            ZOLTNative.setAcl(path, specification());
        }
    }

    /**
     * Adds the entries to the lists of a path, in place of those for the same user or group.
     *
     * <pre>{@code
     * Acl.of(AclEntry.user("nobody", AclEntry.READ)).modify(file);
     * System.out.println(FileStatus.of(file).modeText()); // prints: -rw-r--r--+
     * }</pre>
     *
     * @param path a path
     * @throws IOException when the result is not valid, or cannot be set
     */
    public void modify(String path) throws IOException {
        requireDirectoryForDefault(path);
        Acl present = get(Check.notNull(path, "path"));
        if (!isThere(present, modified(present))) {
            ZOLTNative.modifyAclEntries(path, specification());
        }
    }

    /** The lists for which there are entries, with them, and with the masks that come of them. */
    private Acl modified(Acl present) {
        List<AclEntry> all = new ArrayList<>();
        for (AclEntry.Scope scope : AclEntry.Scope.values()) {
            Acl change = of(scope);
            if (!change.entries.isEmpty()) {
                List<AclEntry> merged = new ArrayList<>(present.of(scope).without(change).entries);
                merged.addAll(change.entries);
                Acl list = new Acl(merged);
                all.addAll((change.has(AclEntry.Type.MASK) ? list : list.masked()).entries);
            }
        }
        return new Acl(all);
    }

    /** The kernel says of files no more than "Permission denied". */
    private void requireDirectoryForDefault(String path) throws IOException {
        if (!of(AclEntry.Scope.DEFAULT).entries.isEmpty() && !isDirectory(Check.notNull(path, "path"))) {
            throw new IOException("only directories have default lists: " + path);
        }
    }

    /** The entries of one list. */
    private Acl of(AclEntry.Scope scope) {
        List<AclEntry> found = new ArrayList<>(entries);
        found.removeIf(entry -> entry.scope() != scope);
        return new Acl(found);
    }

    /**
     * Removes from the lists of a path the entries for the same users and groups; permissions do not
     * matter, and what the path does not have is no error. As with setfacl(1), a mask becomes what the
     * entries that are left come to, unless it is named itself: then it goes with the last entry that it
     * masks.
     *
     * <pre>{@code
     * Acl.parse("user:nobody:rw-").modify(file);
     * Acl.parseKeys("user:nobody").remove(file);
     * System.out.println(Acl.get(file).entries()); // prints: [user::rw-, group::r--, mask::r--, other::r--]
     * }</pre>
     *
     * @param path a path
     * @throws IOException when the result is not valid, or cannot be set
     */
    public void remove(String path) throws IOException {
        boolean directory = isDirectory(Check.notNull(path, "path"));
        for (AclEntry.Scope scope : AclEntry.Scope.values()) {
            Acl keys = of(scope);
            if (keys.entries.isEmpty() || scope == AclEntry.Scope.DEFAULT && !directory) {
                continue;
            }
            // A default list gets from the access list what it lacks; an access list may lack nothing.
            boolean valid = keys.isOfNames() || scope == AclEntry.Scope.DEFAULT && !keys.has(AclEntry.Type.MASK);
            Acl present = get(path).of(scope);
            Acl left = valid ? present.without(keys) : of();
            if (left.has(AclEntry.Type.MASK) || !left.entries.isEmpty() && !keys.isOfNames()) {
                left.masked().set(path);
            } else if (!valid || !left.equals(present)) {
                ZOLTNative.removeAclEntries(path, keys.specification());
            }
        }
    }

    private boolean isOfNames() {
        return entries.stream().allMatch(entry -> entry.type().isNamed());
    }

    private boolean has(AclEntry.Type type) {
        return entries.stream().anyMatch(entry -> entry.type() == type);
    }

    private Acl without(Acl keys) {
        List<AclEntry> left = new ArrayList<>(entries);
        left.removeIf(entry -> keys.entries.stream().anyMatch(key -> key.sameKey(entry)));
        return new Acl(left);
    }

    /** The same list of one scope, with the mask that lets every entry through. */
    private Acl masked() {
        List<AclEntry> changed = new ArrayList<>(entries);
        int union = 0;
        for (AclEntry entry : entries) {
            union |= entry.isMasked() ? entry.permissions() : 0;
        }
        int permissions = union;
        changed.replaceAll(entry -> entry.type() == AclEntry.Type.MASK
                ? AclEntry.of(entry.scope(), entry.type(), 0, permissions) : entry);
        return new Acl(changed);
    }

    /**
     * Removes all but the entries of the mode, and the default list of a directory. Nobody gets a right by
     * that: what the mask took from the owning group it does not get back, as with setfacl(1).
     *
     * <pre>{@code
     * Acl.parse("user:nobody:r,group::rw,mask::r").modify(file);
     * Acl.clear(file);
     * System.out.println(Acl.get(file)); // prints: user::rw-,group::r--,other::r--
     * }</pre>
     *
     * @param path a path
     * @throws IOException when it cannot be set
     */
    public static void clear(String path) throws IOException {
        boolean directory = isDirectory(path);
        Acl present = get(path);
        Acl access = present.of(AclEntry.Scope.ACCESS);
        if (!present.of(AclEntry.Scope.DEFAULT).entries.isEmpty()) {
            ZOLTNative.removeDefaultAcl(path, directory);
        }
        if (access.isMinimal()) {
            return;
        }
        List<AclEntry> kept = new ArrayList<>();
        for (AclEntry entry : access.entries) {
            if (!entry.type().isNamed() && entry.type() != AclEntry.Type.MASK) {
                kept.add(AclEntry.of(entry.scope(), entry.type(), 0, access.effective(entry)));
            }
        }
        ZOLTNative.setAcl(path, new Acl(kept).specification());
    }

    /**
     * Removes the default list of a directory; of anything else, nothing.
     *
     * <pre>{@code
     * Acl.parse("default:user:nobody:r-x").modify(directory);
     * Acl.clearDefault(directory);
     * System.out.println(Acl.get(directory).isMinimal()); // prints: true
     * }</pre>
     *
     * @param path a path
     * @throws IOException when it cannot be set
     */
    public static void clearDefault(String path) throws IOException {
        ZOLTNative.removeDefaultAcl(path, isDirectory(path));
    }

    /** A count, then for each entry scope, tag, the id where there is one, and permissions. */
    private byte[] specification() {
        ByteBuffer stream = ByteBuffer.allocate(Integer.BYTES * (1 + 4 * entries.size()))
                .order(ByteOrder.nativeOrder()).putInt(entries.size());
        for (AclEntry entry : entries) {
            stream.putInt(entry.scope().code).putInt(entry.type().code);
            if (entry.type().isNamed()) {
                stream.putInt(Accounts.narrow(entry.id()));
            }
            stream.putInt(entry.permissions());
        }
        return Arrays.copyOf(stream.array(), stream.position());
    }

    /**
     * The entries: access list first, each in the order owner, users, owning group, groups, mask,
     * others, users and groups by id.
     *
     * <pre>{@code
     * for (AclEntry entry : Acl.get(file).entries()) {
     *     System.out.println(entry.type());
     *     // prints: OWNER
     *     // prints: OWNING_GROUP
     *     // prints: OTHER
     * }
     * }</pre>
     *
     * @return the entries, unmodifiable
     */
    public List<AclEntry> entries() {
        return entries;
    }

    /**
     * Whether the list says no more than a mode: at most owner, owning group and others, and no default
     * list.
     *
     * <pre>{@code
     * System.out.println(Acl.get(file).isMinimal()); // prints: true
     * }</pre>
     *
     * @return true when a mode says as much
     */
    public boolean isMinimal() {
        for (AclEntry entry : entries) {
            if (entry.scope() == AclEntry.Scope.DEFAULT || entry.type().isNamed()
                    || entry.type() == AclEntry.Type.MASK) {
                return false;
            }
        }
        return true;
    }

    /**
     * What an entry of this list comes to under the mask of its scope.
     *
     * <pre>{@code
     * Acl acl = Acl.parse("user:nobody:rwx,mask::r--");
     * System.out.println(acl.effective(acl.entries().get(0))); // prints: 4
     * }</pre>
     *
     * @param entry an entry
     * @return a sum of {@link AclEntry#READ}, {@link AclEntry#WRITE} and {@link AclEntry#EXECUTE}
     */
    public int effective(AclEntry entry) {
        int permissions = entry.permissions();
        if (entry.isMasked()) {
            for (AclEntry each : entries) {
                if (each.scope() == entry.scope() && each.type() == AclEntry.Type.MASK) {
                    permissions &= each.permissions();
                }
            }
        }
        return permissions;
    }

    /**
     * The text form with names, as getfacl(1) writes it into a pipe below its header: a line for each
     * entry, and after a tab a remark where the mask takes something away.
     *
     * <pre>{@code
     * System.out.print(Acl.get(file).format());
     * // prints: user::rw-
     * // prints: group::r--
     * // prints: other::r--
     * }</pre>
     *
     * @return lines, each with its end
     */
    public String format() {
        return AclText.format(this, false);
    }

    /**
     * The text form with ids.
     *
     * <pre>{@code
     * System.out.print(Acl.of(AclEntry.user("nobody", 7)).formatNumeric()); // prints: user:65534:rwx
     * }</pre>
     *
     * @return lines, each with its end
     */
    public String formatNumeric() {
        return AclText.format(this, true);
    }

    /** Whether both have the same entries. */
    @Override
    public boolean equals(Object other) {
        return other instanceof Acl && entries.equals(((Acl) other).entries);
    }

    /** Agrees with equals. */
    @Override
    public int hashCode() {
        return entries.hashCode();
    }

    /** The entries with names, separated by commas; {@link #parse} reads it. */
    @Override
    public String toString() {
        StringBuilder text = new StringBuilder();
        for (AclEntry entry : entries) {
            text.append(text.length() == 0 ? "" : ",").append(entry);
        }
        return text.toString();
    }
}
