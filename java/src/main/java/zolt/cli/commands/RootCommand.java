package zolt.cli.commands;

import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.Spec;

/** The command "zolt": looks at a ZOLT file system, and works on it, as its NameNode would. */
@Command(name = "zolt", synopsisSubcommandLabel = "COMMAND", description = {
    "Look at a ZOLT file system, and work on it, as a NameNode does."}, footer = {"",
        "Examples:",
        "  zolt ls -l /srv/data",
        "  zolt why /srv/data/part-0000 --as alice",
        "  zolt acl modify u:alice:rx /srv/data",
        "  zolt doctor /srv",
        "  zolt help acl modify", "",
        "zolt hdfs serves a folder by the protocols of HDFS, from a clone that is built: zolt hdfs --help.", "",
        "Exit codes: 0 done; 1 an operation failed, or several for different reasons; 2 a wrong call;",
        "3 permission denied; 4 no such path, user, attribute or lease; 5 it cannot run;",
        "6 it is there already: a lease, an attribute.", "",
        "Environment: JAVA_HOME, ZOLT_LIBRARY (the file of the library), LD_LIBRARY_PATH (the folder of",
        "the file system's client libzolt.so), ZOLT_LOG (the library's log on standard error: trace,",
        "debug, info, warn, error), ZOLT_JAVA_OPTS."})
final class RootCommand implements Runnable {
    @Spec CommandSpec spec;

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help.")
    boolean help;

    @Option(names = {"-V", "--version"}, versionHelp = true, description = "Show the version.")
    boolean version;

    @Override
    public void run() {
        throw new CommandLine.ParameterException(spec.commandLine(), "Missing command");
    }
}
