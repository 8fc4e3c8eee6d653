package zolt.cli;

import java.io.IOException;
import picocli.CommandLine.Command;
import picocli.CommandLine.Parameters;

@Command(name = "doctor", description = {"Check what an operator has to get right, and say how to mend"
    + " what is not.", "The exit code is 1 where a check fails; warnings leave it at 0."}, footer = {"",
        "Example: zolt doctor /srv"})
final class DoctorCommand extends Action {
    @Parameters(paramLabel = "PATH", arity = "0..1",
            description = "A directory of the file system to be checked. Where one may write there, a"
                    + " file is made, tried and removed.")
    String path;

    DoctorCommand(Session session) {
        super(session);
    }

    @Override
    boolean needsLibrary() {
        return as != null; // then it is loaded to take on the identity
    }

    @Override
    void run() throws IOException {
        Findings findings = new Findings(session, json);
        ProcessChecks process = new ProcessChecks(findings);
        process.java();
        if (!process.library()) {
            session.answer(Exit.BROKEN);
            return;
        }
        loadLibrary();
        process.client();
        process.acl();
        process.capabilities();
        process.nobody();
        process.logger();
        process.openFiles();
        if (path != null) {
            new FileSystemChecks(findings, path).all();
        }
        if (findings.failed() > 0) {
            session.answer(Exit.FAILED);
        }
    }
}
