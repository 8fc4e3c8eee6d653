package zolt.cli.commands;

import java.io.IOException;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.doctor.FileSystemChecks;
import zolt.cli.doctor.Findings;
import zolt.cli.doctor.ProcessChecks;
import zolt.cli.doctor.ServiceChecks;
import zolt.cli.output.Exit;
import zolt.cli.output.Failure;
import zolt.cli.output.Session;

@Command(name = "doctor", description = {"Check what an operator has to get right, and say how to mend"
    + " what is not.", "The exit code is 1 where a check fails, and 5 where the library cannot be loaded; warnings leave"
        + " it at 0."}, footer = {"",
        "Examples: zolt doctor /srv", "          zolt doctor --pid 4711"})
final class DoctorCommand extends Action {
    @Option(names = "--pid", paramLabel = "PID", description = "Examine a service that runs, instead of what is"
            + " started here: the libraries that it has loaded, the capabilities of its threads, its groups and"
            + " open files.")
    Long pid;

    @Parameters(paramLabel = "PATH", arity = "0..1",
            description = "A directory of the file system to be checked. Where one may write there, a"
                    + " file and a directory are made, tried and removed.")
    String path;

    DoctorCommand(Session session) {
        super(session);
    }

    @Override
    boolean needsLibrary() {
        return as != null; // then it is loaded to take on the identity
    }

    @Override
    void run() throws IOException, Failure {
        Findings findings = new Findings(session, json);
        if (pid != null) {
            service(findings);
        } else if (!process(findings)) {
            session.answer(Exit.BROKEN);
            return;
        }
        if (path != null) {
            prepare();
            new FileSystemChecks(findings, path, as).all();
        }
        if (findings.failed() > 0) {
            session.answer(Exit.FAILED);
        }
    }

    /** Once: what it looks at is the process, and not the user who is acted for. */
    private void prepare() throws IOException {
        if (!needsLibrary()) {
            loadLibrary();
        }
    }

    private void service(Findings findings) throws IOException, Failure {
        ServiceChecks service = new ServiceChecks(findings, pid);
        prepare(); // it knows the names of users
        String missing = service.whatIsMissing();
        if (missing != null) {
            throw new Failure(Exit.NOT_FOUND, pid + ": " + missing);
        }
        service.all();
    }

    /** Without the library nothing else can be looked at. */
    private boolean process(Findings findings) throws IOException {
        ProcessChecks process = new ProcessChecks(findings);
        process.java();
        if (!process.library()) {
            return false;
        }
        prepare();
        process.client();
        process.acl();
        if (as == null) {
            process.capabilities();
        } else {
            process.acting();
        }
        process.nobody();
        process.logger();
        process.openFiles();
        return true;
    }
}
