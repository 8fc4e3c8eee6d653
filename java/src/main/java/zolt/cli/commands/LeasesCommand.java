package zolt.cli.commands;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.time.Duration;
import java.util.Collections;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Progress;
import zolt.cli.output.Session;
import zolt.fs.FileStatus;
import zolt.fs.FileType;

@Command(name = "leases", description = {"List the leases in trees: for how many seconds each was not renewed"
    + " at the least, its holder, and the file. Of half a lease, which a crash has left, nothing stands where the holder"
    + " would.",
    "A renewal is seen by the file's change time, so any other change of the file counts as one; but 2000 seconds later at"
        + " the latest the lease's own clock has the word."},
        footer = {"", "Examples: zolt leases /srv/data",
            "          zolt leases --holder client-7 --expire 1h /srv/data"})
final class LeasesCommand extends Action {
    @Option(names = "--holder", paramLabel = "NAME", description = "Only those of this holder.")
    String holder;

    @Option(names = "--older", paramLabel = "TIME",
            description = "Only those that were not renewed for this long: 90s, 5m, 1h, 2d; what --expire would"
                    + " remove.")
    String older;

    @Option(names = "--expire", paramLabel = "TIME", description = "Remove, and list, those that were not"
            + " renewed for this long. The clients that write should renew more often.")
    String expire;

    @Parameters(paramLabel = "PATH", arity = "0..*", description = "Trees; \".\" if omitted.")
    List<String> paths;

    private long held;
    private long removed;
    private Progress progress;

    LeasesCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws IOException, Failure {
        if (older != null && expire != null) {
            throw new Failure(Exit.USAGE, "--older and --expire exclude each other");
        }
        String time = expire == null ? older : expire;
        Duration limit = time == null ? null : LeaseCommand.duration(time);
        byte[] wanted = holder == null ? null : holder.getBytes(StandardCharsets.UTF_8);
        FileStatus status = new FileStatus();
        try (TreeWalk walk = new TreeWalk(session, node -> {
            if (node.type == FileType.FILE) {
                show(LeaseLook.withHalves(node.path, wanted, status, limit, expire != null));
            }
            return true;
        })) {
            progress = walk.progress;
            forEach(paths == null ? Collections.singletonList(".") : paths, path -> walk.walk(path, true));
            walk.summary(expire == null ? null : removed + " removed, " + held + " still held");
        }
    }

    private void show(LeaseLook look) {
        if (look.holder == null && !look.half) {
            return;
        }
        removed += look.removed ? 1 : 0;
        held += look.removed ? 0 : 1;
        if (expire != null && !look.removed || older != null && !look.old) {
            return;
        }
        progress.clear();
        if (json) {
            out.line(look.object().put("half", look.half).put("removed", look.removed).toString());
            return;
        }
        out.text(look.age + "\t");
        if (look.holder != null) {
            session.show(look.holder, look.holder.length);
        }
        out.text("\t" + session.shown(look.path));
        out.endName();
    }
}
