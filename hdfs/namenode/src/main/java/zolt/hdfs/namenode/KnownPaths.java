package zolt.hdfs.namenode;

import java.io.IOException;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.LinkedList;
import java.util.Map;
import zolt.hdfs.namespace.Entry;
import zolt.hdfs.namespace.HdfsPath;
import zolt.hdfs.namespace.Statuses;

/**
 * Where inodes were last seen: for a DataNode that has to open a file by its path, and a writer whose file was renamed.
 * A tree of names, as the folder's own is, so that a directory which is renamed takes along what is below it. Bounded,
 * and lost without harm.
 */
final class KnownPaths {
    private static final int MOST_NAMES = 200_000;
    private static final float LOAD = 0.75f;
    private static final long NONE = 0;

    /** A name in a directory. */
    private static final class Node {
        private Node parent;
        private String name;
        private final Map<String, Node> children = new HashMap<>(0);
        private long inode = NONE;

        Node(Node parent, String name) {
            this.parent = parent;
            this.name = name;
        }
    }

    private final int most;
    private final Node root = new Node(null, "");
    private final Map<Long, Node> seen = new LinkedHashMap<>(16, LOAD, true);
    private int names;

    KnownPaths() {
        this(MOST_NAMES);
    }

    /** @param most names, of directories too */
    KnownPaths(int most) {
        this.most = most;
    }

    synchronized void put(long inode, HdfsPath path) {
        Node before = seen.get(inode);
        Node node = make(path);
        if (node == before) {
            return;
        }
        seen.remove(node.inode);
        node.inode = inode;
        seen.put(inode, node);
        if (before != null) {
            forget(before);
        }
        while (names > most && seen.size() > 1) {
            forget(seen.remove(seen.keySet().iterator().next()));
        }
    }

    /** Null for an inode that nobody asked about lately. */
    synchronized HdfsPath get(long inode) {
        Node node = seen.get(inode);
        if (node == null) {
            return null;
        }
        LinkedList<String> components = new LinkedList<>();
        for (; node != root; node = node.parent) {
            components.addFirst(node.name);
        }
        return HdfsPath.of(components);
    }

    /** As {@link #get}; null also where the inode is not there any more, or the caller may not see it. */
    HdfsPath getIfThere(long inode, Statuses statuses) {
        HdfsPath path = get(inode);
        try {
            Entry there = path == null ? null : statuses.getLink(path);
            return there != null && there.inode() == inode ? path : null;
        } catch (IOException e) {
            return null;
        }
    }

    /** An entry has another path now, and so has all below it. */
    synchronized void moved(HdfsPath from, HdfsPath to) {
        Node node = root;
        for (String component : from.components()) {
            node = node.children.get(component);
            if (node == null) {
                return;
            }
        }
        Node parent = node.parent;
        parent.children.remove(node.name);
        prune(parent);
        node.parent = make(to.parent());
        node.name = to.name();
        Node replaced = node.parent.children.put(node.name, node);
        if (replaced != null) {
            forgetTree(replaced);
        }
    }

    private Node make(HdfsPath path) {
        Node node = root;
        for (String component : path.components()) {
            Node next = node.children.get(component);
            if (next == null) {
                next = new Node(node, component);
                node.children.put(component, next);
                names++;
            }
            node = next;
        }
        return node;
    }

    private void forget(Node node) {
        node.inode = NONE;
        prune(node);
    }

    /** Removes a name for which there is no reason any more, and so those above it. */
    private void prune(Node leaf) {
        Node node = leaf;
        while (node != root && node.inode == NONE && node.children.isEmpty()) {
            node.parent.children.remove(node.name);
            names--;
            node = node.parent;
        }
    }

    private void forgetTree(Node top) {
        Deque<Node> left = new ArrayDeque<>();
        left.push(top);
        while (!left.isEmpty()) {
            Node node = left.pop();
            seen.remove(node.inode);
            names--;
            left.addAll(node.children.values());
        }
    }
}
