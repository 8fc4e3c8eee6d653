package zolt.cli.commands;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import picocli.CommandLine.Command;
import zolt.cli.output.Json;
import zolt.cli.output.Session;
import zolt.cli.output.Shown;
import zolt.fs.Accounts;
import zolt.fs.ThreadIdentity;

@Command(name = "whoami", description = "Show the identity that calls are made with.",
        footer = {"", "Example: zolt whoami --as alice"})
final class WhoamiCommand extends Action {
    WhoamiCommand(Session session) {
        super(session);
    }

    @Override
    void run() throws IOException {
        ThreadIdentity now = ThreadIdentity.now();
        if (!json) {
            out.line(Shown.name(now.toString()));
            return;
        }
        List<Json> groups = new ArrayList<>();
        for (long gid : now.groups()) {
            groups.add(new Json().put("gid", gid).put("group", Accounts.groupOrId(gid)));
        }
        out.line(new Json().put("uid", now.uid()).put("user", Accounts.userOrId(now.uid()))
                .put("gid", now.gid()).put("group", Accounts.groupOrId(now.gid()))
                .put("groups", groups).toString());
    }
}
