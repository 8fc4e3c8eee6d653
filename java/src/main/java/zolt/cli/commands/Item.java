package zolt.cli.commands;

import java.nio.charset.StandardCharsets;
import java.time.Instant;
import java.util.Comparator;
import zolt.fs.FileType;

/** An entry to be listed: of a directory, or a path that was asked for. */
final class Item {
    /** By what entries are sorted, as in ls(1): by name where that is all, or where they are equal. */
    enum Order {
        none, name, time, size
    }

    final FileType type;
    final long inode;
    final byte[] name;
    final int length;
    /** Null where they were not asked for, or cannot be had. */
    Facts facts;

    Item(FileType type, long inode, byte[] name, int length) {
        this.type = type;
        this.inode = inode;
        this.name = name;
        this.length = length;
    }

    static Item of(String path, Facts facts) {
        byte[] name = path.getBytes(StandardCharsets.UTF_8);
        Item item = new Item(facts.type(), facts.inode, name, name.length);
        item.facts = facts;
        return item;
    }

    static Comparator<Item> comparator(Order order, boolean reversed) {
        Comparator<Item> byName = (one, other) -> compare(one, other);
        Comparator<Item> whole = order == Order.time
                ? Comparator.comparing(Item::time, Comparator.reverseOrder()).thenComparing(byName)
                : order == Order.size ? Comparator.comparingLong(Item::size).reversed().thenComparing(byName)
                : byName;
        return reversed ? whole.reversed() : whole;
    }

    /** By bytes, as where LC_ALL is C. */
    private static int compare(Item one, Item other) {
        for (int at = 0; at < Math.min(one.length, other.length); at++) {
            if (one.name[at] != other.name[at]) {
                return (one.name[at] & 0xff) - (other.name[at] & 0xff);
            }
        }
        return one.length - other.length;
    }

    private Instant time() {
        return facts == null ? Instant.MIN : facts.modified;
    }

    private long size() {
        return facts == null ? -1 : facts.size;
    }
}
