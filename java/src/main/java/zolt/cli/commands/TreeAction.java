package zolt.cli.commands;

import java.io.IOException;
import java.util.List;
import picocli.CommandLine.Option;
import zolt.cli.output.Failure;
import zolt.cli.output.Progress;
import zolt.cli.output.Session;
import zolt.fs.FileType;

/** What may be done to paths, or to all that is below them. */
abstract class TreeAction extends Action {
    @Option(names = {"-R", "--recursive"}, description = "Also what is below directories, but for symbolic"
            + " links.")
    boolean recursive;

    private long taken;
    private long left;

    /** Something that is done to a path. */
    interface NodeStep {
        /**
         * @param type its type, {@link FileType#UNKNOWN} where it is not recursive
         * @return false where there was nothing to do
         */
        boolean take(String path, FileType type) throws IOException, Failure;
    }

    TreeAction(Session session) {
        super(session);
    }

    /**
     * Takes a step for each path, or for all below it.
     *
     * @param done what the step does, for the summary; null where it prints what it finds
     */
    final void forAll(List<String> paths, String done, NodeStep step) throws IOException {
        if (!recursive) {
            forEach(paths, path -> step.take(path, FileType.UNKNOWN));
            return;
        }
        Progress[] progress = new Progress[1];
        try (TreeWalk walk = new TreeWalk(session, node -> {
            if (done == null || json) {
                progress[0].clear(); // the step prints
            }
            return take(node, step);
        })) {
            progress[0] = walk.progress;
            forEach(paths, path -> walk.walk(path, true));
            walk.summary(done == null ? null : taken + " " + done
                    + (left > 0 ? ", " + left + " left alone" : ""));
        }
    }

    private boolean take(TreeWalk.Node node, NodeStep step) throws IOException, Failure {
        if (node.type != FileType.LINK && step.take(node.path, node.type)) {
            taken++;
        } else {
            left++;
        }
        return true;
    }
}
