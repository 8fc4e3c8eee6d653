package zolt.fs;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.regex.Pattern;

/**
 * The way to a path, walked with the identity of the calling thread, so that it is the file system that refuses: from
 * the root on, or from the current directory, whose own way the kernel does not go again. It ends at the first
 * component that cannot be seen. Its paths are absolute, or relative as the path is.
 */
final class PathWalk {
    /** As many links as the kernel follows (path_resolution(7)). */
    private static final int MOST_LINKS = 40;
    private static final String HERE = ".";
    /** rmdir(2) and rename(2) refuse both, whoever asks. */
    private static final Pattern DOTS = Pattern.compile("(^|/)[.][.]?/*$");

    final String path;
    final PathFailure.Access access;
    final ThreadIdentity who;
    /** Where the walk has ended, whether it refuses or is still to be looked at; null where there is nothing to find. */
    String component;
    /** What is wanted of that component; null where it is not a matter of rights. */
    PathFailure.Access refused;
    /** Null where the walk came to its end. */
    PathFailure.Reason reason;
    String error = "";
    /** What could not be seen in the component. */
    String unseen;
    /** What is to be removed from it. */
    String removed;

    PathWalk(String path, PathFailure.Access access) throws IOException {
        this.path = path;
        this.access = access;
        this.who = ThreadIdentity.now();
        walk(Paths.get(path).toString(), 0, true);
    }

    /**
     * Looks at each component.
     *
     * @param links how many links have led here
     * @param trailing whether the walk ends where the path does, and not on the way
     */
    private void walk(String way, int links, boolean trailing) throws IOException {
        if (access == PathFailure.Access.REMOVE && links == 0 && DOTS.matcher(path).find()) {
            component = path;
            reason = PathFailure.Reason.OTHER;
            error = "a path that ends in \".\" or \"..\" names no entry that could be removed";
            return;
        }
        boolean absolute = way.startsWith("/");
        String last = absolute ? "/" : HERE;
        for (int end = absolute ? 1 : 0; end >= 0 && end < way.length();) {
            int slash = way.indexOf('/', end);
            String next = slash < 0 ? way : way.substring(0, slash);
            end = slash < 0 ? -1 : slash + 1;
            boolean remove = access == PathFailure.Access.REMOVE && links == 0 && end < 0;
            try {
                FileOperations.inode(next, !remove);
            } catch (IOException e) {
                if (blame(last, next, e, links, trailing && end < 0)) {
                    return;
                }
            }
            if (remove) {
                removed = next;
                break;
            }
            last = next;
        }
        String named = removed != null ? removed : last;
        if (links == 0 && path.endsWith("/") && !isDirectory(named)) {
            component = named + "/";
            reason = PathFailure.Reason.MISSING;
            return;
        }
        if (access != PathFailure.Access.LOOK && links == 0) {
            component = last;
            refused = access == PathFailure.Access.REMOVE ? PathFailure.Access.WRITE : access;
        }
    }

    /** Whether what the path ends in is one. A link to one is, but not where the link itself is to go. */
    private boolean isDirectory(String named) {
        return removed == null ? Files.isDirectory(Paths.get(named))
                : Files.isDirectory(Paths.get(named), LinkOption.NOFOLLOW_LINKS);
    }

    /** Finds the reason; false where there is none, since the kernel goes another way than a look. */
    private boolean blame(String parent, String child, IOException e, int links, boolean trailing)
            throws IOException {
        boolean there = true;
        try {
            FileOperations.inode(child, false);
        } catch (IOException alsoNotItself) {
            there = false;
        }
        if (there && links < MOST_LINKS && !isFromWithin(e) && isNoSymFollow(parent)) {
            component = child;
            error = e.getMessage();
            reason = PathFailure.Reason.OTHER;
            return true;
        }
        if (there && links < MOST_LINKS) {
            // A link that can be seen, to what cannot: the reason lies on that way.
            byte[] target;
            try {
                target = FileOperations.linkTarget(child);
            } catch (AccessDeniedException mayNotBeRead) { // one of proc(5)
                component = child;
                error = mayNotBeRead.getMessage().replaceFirst(": $", ""); // it is about nothing else
                reason = PathFailure.Reason.OTHER;
                return true;
            }
            Path directory = Paths.get(parent.equals(HERE) ? "" : parent);
            walk(directory.resolve(new String(target, StandardCharsets.UTF_8)).toString(), links + 1, trailing);
            // Whom the kernel told that something else is wrong it has not let as far as what is missing.
            if (reason != null && (reason != PathFailure.Reason.MISSING || e instanceof NoSuchFileException)) {
                return true;
            }
            reason = null;
        }
        error = e.getMessage();
        component = child;
        if (e instanceof NoSuchFileException) {
            reason = PathFailure.Reason.MISSING;
            if (!there && !Files.isDirectory(Paths.get(parent))) {
                component = parent + "/";
            }
        } else if (!(e instanceof AccessDeniedException)) {
            reason = PathFailure.Reason.OTHER;
        } else if (!there) {
            component = parent;
            unseen = child;
            refused = PathFailure.Access.EXECUTE;
            reason = PathFailure.Reason.REFUSED;
        } else if (trailing) {
            reason = isProtectedLink(parent, child) ? PathFailure.Reason.PROTECTED : PathFailure.Reason.OTHER;
        }
        if (reason == null) {
            // On the way, the kernel follows a link also where it would not at the end.
            component = null;
        }
        return reason != null;
    }

    /** Whether it may be that of what a link leads to. Where links are not followed at all, the kernel says so first. */
    private static boolean isFromWithin(IOException e) {
        return e instanceof AccessDeniedException || e instanceof NoSuchFileException;
    }

    private static boolean isNoSymFollow(String directory) {
        return Mount.of(directory).filter(Mount::isNoSymFollow).isPresent();
    }

    private boolean isProtectedLink(String parent, String link) throws IOException {
        return StickyRules.refusesLink(StickyRules.level("protected_symlinks"), Component.mode(parent),
                Component.uid(parent, true), Component.uid(link, false), who.uid());
    }
}
