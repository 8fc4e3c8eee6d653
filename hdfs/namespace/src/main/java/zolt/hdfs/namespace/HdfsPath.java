package zolt.hdfs.namespace;

import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.fs.InvalidPathException;

/** A path as a client names it: absolute, its components as they will be given to the kernel. */
public final class HdfsPath {
    public static final HdfsPath ROOT = new HdfsPath(List.of());

    /** The service's own records below the root; no client sees them. */
    public static final String SERVICE_FOLDER = ".zolt";

    private static final int MOST_CHARACTERS = 8000;
    private static final int MOST_COMPONENTS = 1000;
    /** How much of a path that is too long a refusal repeats: a request may have 128 MB of it. */
    private static final int SHOWN_CHARACTERS = 100;

    private final List<String> components;
    /** Made when it is first asked for, by whichever thread. */
    private String text;

    private HdfsPath(List<String> components) {
        this.components = components;
    }

    /**
     * A path to something that should exist.
     *
     * @throws InvalidPathException for one that is not absolute, or that the kernel would read otherwise than HDFS
     */
    public static HdfsPath of(String text) throws InvalidPathException {
        if (text != null && text.length() > MOST_CHARACTERS) {
            throw new InvalidPathException(text.substring(0, SHOWN_CHARACTERS) + "...",
                    "it has more than " + MOST_CHARACTERS + " characters");
        }
        if (text == null || !text.startsWith("/") || text.indexOf('\0') >= 0) {
            throw new InvalidPathException(String.valueOf(text));
        }
        List<String> components = new ArrayList<>();
        for (String component : text.substring(1).split("/", -1)) {
            components.add(component);
        }
        if (components.get(components.size() - 1).isEmpty()) {
            components.remove(components.size() - 1);
        }
        for (String component : components) {
            if (component.isEmpty() || component.equals(".") || component.equals("..")) {
                throw new InvalidPathException(text);
            }
        }
        if (components.size() > MOST_COMPONENTS) {
            throw new InvalidPathException(text, "it has more than " + MOST_COMPONENTS + " levels");
        }
        return new HdfsPath(components);
    }

    /** A path to something that is to be made: HDFS has names that may not be. */
    public static HdfsPath toCreate(String text) throws InvalidPathException {
        HdfsPath path = of(text);
        for (String component : path.components) {
            if (component.indexOf(':') >= 0 || component.equals(".snapshot")) {
                throw new InvalidPathException(text, "no name may be " + component);
            }
        }
        if (!path.isRoot() && path.components.get(0).equals(".reserved")) {
            throw new InvalidPathException(text, ".reserved is a reserved name");
        }
        return path;
    }

    public boolean isRoot() {
        return components.isEmpty();
    }

    /** Whether the path lies in what belongs to the service. */
    boolean isHidden() {
        return !isRoot() && components.get(0).equals(SERVICE_FOLDER);
    }

    public int depth() {
        return components.size();
    }

    public List<String> components() {
        return components;
    }

    /** The last component; empty for the root. */
    public String name() {
        return isRoot() ? "" : components.get(components.size() - 1);
    }

    /** The path without its last component; of the root, the root. */
    public HdfsPath parent() {
        return prefix(Math.max(0, components.size() - 1));
    }

    /** The first components only. */
    public HdfsPath prefix(int depth) {
        return new HdfsPath(components.subList(0, depth));
    }

    public HdfsPath child(String name) {
        List<String> longer = new ArrayList<>(components);
        longer.add(name);
        return new HdfsPath(longer);
    }

    /** The path of components that came from one. */
    public static HdfsPath of(List<String> components) {
        return new HdfsPath(List.copyOf(components));
    }

    /** Whether the path lies below another one. */
    public boolean isBelow(HdfsPath other) {
        if (depth() <= other.depth()) {
            return false;
        }
        for (int i = other.depth() - 1; i >= 0; i--) {  // paths differ at their ends
            if (!components.get(i).equals(other.components.get(i))) {
                return false;
            }
        }
        return true;
    }

    /** The components from one on, without a slash before them. */
    String remainder(int from) {
        return String.join("/", components.subList(from, components.size()));
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof HdfsPath && ((HdfsPath) other).components.equals(components);
    }

    @Override
    public int hashCode() {
        return components.hashCode();
    }

    @Override
    public String toString() {
        String made = text;
        if (made == null) {
            made = "/" + remainder(0);
            text = made;
        }
        return made;
    }
}
