package zolt.hdfs.namenode;

import java.io.ByteArrayOutputStream;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.security.PrivilegedExceptionAction;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.util.Tool;
import org.apache.hadoop.util.ToolRunner;

/** Hadoop's own commands, in this process. */
public final class Commands {
    private Commands() {}

    public record Result(int code, String out, String err) {}

    /** Runs one for a user; what it says goes to nobody else. */
    public static synchronized Result run(Configuration conf, Tool tool, String user, String... arguments) throws Exception {
        PrintStream out = System.out;
        PrintStream err = System.err;
        ByteArrayOutputStream said = new ByteArrayOutputStream();
        ByteArrayOutputStream complained = new ByteArrayOutputStream();
        System.setOut(new PrintStream(said, true, StandardCharsets.UTF_8));
        System.setErr(new PrintStream(complained, true, StandardCharsets.UTF_8));
        try {
            int code = UserGroupInformation.createRemoteUser(user).doAs(
                    (PrivilegedExceptionAction<Integer>) () -> ToolRunner.run(conf, tool, arguments));
            return new Result(code, said.toString(StandardCharsets.UTF_8), complained.toString(StandardCharsets.UTF_8));
        } finally {
            System.setOut(out);
            System.setErr(err);
        }
    }
}
