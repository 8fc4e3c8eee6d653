package zolt.hdfs.namespace;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.AclEntryScope;
import org.apache.hadoop.fs.permission.AclEntryType;
import org.apache.hadoop.fs.permission.AclStatus;
import org.apache.hadoop.fs.permission.FsAction;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.AclException;
import zolt.fs.Acl;

/** Access control lists: HDFS says how one follows from another, the kernel who may change it. */
public final class Acls {
    private static final int MINIMAL = 3;
    private static final long NOBODY = 0xffffffffL;

    private final Folder folder;

    public Acls(Folder folder) {
        this.folder = folder;
    }

    /** How a list follows from the one that is there. */
    @FunctionalInterface
    public interface Rule {
        List<AclEntry> of(List<AclEntry> now) throws IOException;
    }

    /** All entries of a path, those of its mode too. */
    public List<AclEntry> get(HdfsPath path) throws IOException {
        try (Place place = folder.held(path)) {
            return get(path, place);
        }
    }

    private List<AclEntry> get(HdfsPath path, Place place) throws IOException {
        try {
            return get(place.pinned());
        } catch (IOException e) {
            throw folder.refusal(path, e, FsAction.READ);
        }
    }

    /** The list as HDFS shows it: without what the mode says already, owner, mask and others. */
    public AclStatus status(HdfsPath path) throws IOException {
        Entry entry;
        List<AclEntry> all;
        try (Place place = folder.held(path)) {
            entry = place.entry();
            all = get(path, place);
        }
        FsPermission mode = new FsPermission((short) entry.permissions());
        List<AclEntry> access = all.stream().filter(each -> each.getScope() == AclEntryScope.ACCESS).toList();
        List<AclEntry> beyond = new ArrayList<>(access.size() > MINIMAL ? access.subList(1, access.size() - 2) : List.of());
        all.stream().filter(each -> each.getScope() == AclEntryScope.DEFAULT).forEach(beyond::add);
        return new AclStatus.Builder().owner(folder.names().user(entry.uid())).group(folder.names().group(entry.gid()))
                .stickyBit(mode.getStickyBit()).setPermission(mode).addEntries(beyond).build();
    }

    /** Leaves the entries of the mode, with the group's own and not the mask. */
    public void remove(HdfsPath path) throws IOException {
        change(path, now -> now.stream().filter(entry -> entry.getScope() == AclEntryScope.ACCESS
                && entry.getName() == null && entry.getType() != AclEntryType.MASK).toList());
    }

    private List<AclEntry> get(String file) throws IOException {
        List<AclEntry> entries = new ArrayList<>();
        for (zolt.fs.AclEntry entry : Acl.get(file).entries()) {
            entries.add(toHdfs(entry));
        }
        return entries;
    }

    /** Changes the list of a path. */
    public void change(HdfsPath path, Rule rule) throws IOException {
        try (Place place = folder.held(path)) {
            change(path, place, rule);
        }
    }

    private void change(HdfsPath path, Place place, Rule rule) throws IOException {
        try {
            boolean isDirectory = place.entry().isDirectory();
            List<AclEntry> wanted;
            try {
                wanted = rule.of(get(place.pinned()));
                if (!isDirectory && wanted.stream().anyMatch(entry -> entry.getScope() == AclEntryScope.DEFAULT)) {
                    throw new AclException("Invalid ACL: only directories may have a default ACL.");
                }
            } catch (AclException e) {
                throw new AclException(e.getMessage() + " Path: " + path);
            }
            set(place.pinned(), wanted);
        } catch (AclException e) {
            throw e;
        } catch (IOException e) {
            throw folder.refusal(path, e, FsAction.WRITE);
        }
    }

    private void set(String file, List<AclEntry> wanted) throws IOException {
        List<zolt.fs.AclEntry> entries = new ArrayList<>();
        boolean handsDown = false;
        for (AclEntry entry : wanted) {
            entries.add(toFile(entry));
            handsDown |= entry.getScope() == AclEntryScope.DEFAULT;
        }
        Acl.of(entries).set(file);
        if (!handsDown) {
            Acl.clearDefault(file);
        }
    }

    private AclEntry toHdfs(zolt.fs.AclEntry entry) {
        AclEntry.Builder builder = new AclEntry.Builder()
                .setScope(entry.scope() == zolt.fs.AclEntry.Scope.DEFAULT ? AclEntryScope.DEFAULT : AclEntryScope.ACCESS)
                .setPermission(FsAction.values()[entry.permissions()]);
        switch (entry.type()) {
            case OWNER:
                return builder.setType(AclEntryType.USER).build();
            case USER:
                return builder.setType(AclEntryType.USER).setName(folder.names().user((int) entry.id())).build();
            case OWNING_GROUP:
                return builder.setType(AclEntryType.GROUP).build();
            case GROUP:
                return builder.setType(AclEntryType.GROUP).setName(folder.names().group((int) entry.id())).build();
            case MASK:
                return builder.setType(AclEntryType.MASK).build();
            default:
                return builder.setType(AclEntryType.OTHER).build();
        }
    }

    private static zolt.fs.AclEntry toFile(AclEntry entry) throws IOException {
        int permissions = entry.getPermission().ordinal();
        zolt.fs.AclEntry made = of(entry, permissions);
        return entry.getScope() == AclEntryScope.DEFAULT ? made.inherited() : made;
    }

    private static zolt.fs.AclEntry of(AclEntry entry, int permissions) throws IOException {
        switch (entry.getType()) {
            case USER:
                return entry.getName() == null ? zolt.fs.AclEntry.base(zolt.fs.AclEntry.Type.OWNER, permissions)
                        : zolt.fs.AclEntry.user(Integer.toUnsignedLong(uid(entry.getName())), permissions);
            case GROUP:
                return entry.getName() == null ? zolt.fs.AclEntry.base(zolt.fs.AclEntry.Type.OWNING_GROUP, permissions)
                        : zolt.fs.AclEntry.group(Integer.toUnsignedLong(gid(entry.getName())), permissions);
            case MASK:
                return zolt.fs.AclEntry.base(zolt.fs.AclEntry.Type.MASK, permissions);
            default:
                return zolt.fs.AclEntry.base(zolt.fs.AclEntry.Type.OTHER, permissions);
        }
    }

    /** A user that has lost its name is listed, and so given back, as a number. */
    private static int uid(String name) throws IOException {
        try {
            return Names.uid(name);
        } catch (IOException e) {
            return number(name).orElseThrow(() -> e);
        }
    }

    private static int gid(String name) throws IOException {
        try {
            return Names.gid(name);
        } catch (IOException e) {
            return number(name).orElseThrow(() -> e);
        }
    }

    /** An id in digits; the last one of 32 bits means nobody. */
    private static Optional<Integer> number(String name) {
        boolean isNumber = name.length() <= 10 && !name.isEmpty() && name.chars().allMatch(c -> c >= '0' && c <= '9');
        return isNumber && Long.parseLong(name) < NOBODY ? Optional.of(Integer.parseUnsignedInt(name)) : Optional.empty();
    }
}
