package zolt.hdfs.namenode.suites;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Pattern;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.FsShell;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.tools.DFSAdmin;
import org.apache.hadoop.hdfs.tools.DFSck;
import org.apache.hadoop.util.Tool;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.TestFactory;
import org.junit.jupiter.api.io.TempDir;
import zolt.hdfs.namenode.Commands;

/**
 * Runs each command of Hadoop's shell, and of its administrators, on Hadoop's own NameNode and on this one: both say
 * the same, or this one says in one line that there is no such thing. The table in docs/hdfs.md is what was found.
 */
class CommandTableTest {
    private static final org.apache.hadoop.fs.Path TREE = new org.apache.hadoop.fs.Path("/t");
    private static final String SAME = "the same";
    private static final String REFUSED = "This NameNode has no ";
    private static final Path DOCUMENT = Path.of(System.getProperty("zolt.test.document"));
    private static final String BEGIN = "<!-- written by CommandTableTest -->\n";
    private static final String END = "<!-- to here -->";
    private static final Pattern ADDRESS = Pattern.compile("(localhost|127\\.0\\.0\\.1)(/127\\.0\\.0\\.1)?:\\d+");
    private static final Pattern TIME = Pattern.compile("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d(:\\d\\d)?"
            + "|\\w{3} \\w{3} \\d\\d \\d\\d:\\d\\d:\\d\\d UTC \\d{4}");
    /** Sizes; the order of the nodes; folders. */
    private static final Pattern MACHINE = Pattern.compile("(host|rack)\\d"
            + "|(?<=Directory: ).*|\\d+(\\.\\d+)?( [KMGTP]?B?)?%?");
    private static final Pattern WORD = Pattern.compile("\"([^\"]*)\"|(\\S+)");

    @TempDir
    static Path work;

    /**
     * Some commands.
     *
     * @param alike whether numbers are compared too
     * @param reason why the answer is another one here; empty where it is the same, or there is no such thing
     */
    private record Row(String tool, boolean alike, List<List<String>> commands, String reason) {
        String name() {
            String first = commands.get(0).get(0);
            return first.startsWith("-") ? tool + " " + first : tool;
        }

        Tool newTool(Configuration conf) throws IOException {
            return tool.equals("dfs") ? new FsShell() : tool.equals("dfsadmin") ? new DFSAdmin() : new DFSck(conf);
        }

        Row because(String why) {
            return new Row(tool, alike, commands, why);
        }
    }

    private static List<Row> rows() throws IOException {
        List<Row> rows = new ArrayList<>();
        try (InputStream in = CommandTableTest.class.getResourceAsStream("/commands.txt")) {
            for (String line : new String(in.readAllBytes(), StandardCharsets.UTF_8).split("\n")) {
                if (line.startsWith(">")) {
                    rows.set(rows.size() - 1, rows.get(rows.size() - 1).because(line.substring(1).strip()));
                } else if (!line.startsWith("#")) {
                    rows.add(row(line));
                }
            }
        }
        return rows;
    }

    private static Row row(String line) {
        String[] parts = line.split(" ", 2);
        List<List<String>> commands = new ArrayList<>();
        for (String command : parts[1].split(" ; ")) {
            commands.add(WORD.matcher(command).results()
                    .map(word -> word.group(1) != null ? word.group(1) : word.group(2)).toList());
        }
        boolean alike = !parts[0].endsWith("#");
        return new Row(alike ? parts[0] : parts[0].substring(0, parts[0].length() - 1), alike, commands, "");
    }

    /** One of the two, and what names it in an answer. */
    private static final class Side {
        private final Configuration conf;
        private final Path data = work.resolve("data");
        private final Path local;
        private final DatanodeInfo node;

        Side(Configuration conf, String name) throws IOException {
            this.conf = new Configuration(conf);
            // The shell compares the two file systems of a path and another.
            this.conf.setBoolean("fs.hdfs.impl.disable.cache", false);
            local = work.resolve(name);
            Files.writeString(data, "12345678901234\n");
            try (DistributedFileSystem files = client()) {
                node = files.getDataNodeStats()[0];
            }
        }

        private DistributedFileSystem client() throws IOException {
            return (DistributedFileSystem) FileSystem.newInstance(conf);
        }

        /** What the commands of a row say, without what differs between any two clusters. */
        List<String> run(Row row) throws Exception {
            lay();
            List<String> said = new ArrayList<>();
            for (List<String> command : row.commands()) {
                Commands.Result result = Commands.run(conf, row.newTool(conf), "root",
                        command.stream().map(this::place).toArray(String[]::new));
                said.add(result.code() + "\n" + plain(result.out(), row.alike()) + plain(result.err(), row.alike()));
            }
            return said;
        }

        /** A tree to work on, the same each time. */
        private void lay() throws IOException {
            if (Files.exists(local)) {
                org.apache.hadoop.fs.FileUtil.fullyDelete(local.toFile());
            }
            Files.createDirectory(local);
            try (FileSystem files = client()) {
                files.delete(TREE, true);
                for (String name : new String[] {"file", "empty", "dir/one", "dir/two"}) {
                    try (FSDataOutputStream out = files.create(new org.apache.hadoop.fs.Path(TREE, name))) {
                        if (!name.equals("empty")) {
                            out.write(Files.readAllBytes(data));
                        }
                    }
                }
            }
        }

        private String place(String word) {
            return word.replace("DATANODE", node.getIpcAddr(false)).replace("DATA", data.toString())
                    .replace("LOCAL", local.toString()).replace("NAMENODE", FileSystem.getDefaultUri(conf).getAuthority());
        }

        private String plain(String text, boolean alike) {
            String plain = ADDRESS.matcher(text.replace(local.toString(), "LOCAL")).replaceAll("ADDRESS");
            plain = TIME.matcher(plain).replaceAll("TIME");
            return alike ? plain : MACHINE.matcher(plain).replaceAll("#").replaceAll("[ \\t]+", " ");
        }
    }

    /** A command that is not supported ends in one line, and fails. */
    private static String refusal(Row row, String said) {
        String[] lines = said.split("\n");
        String last = lines[lines.length - 1];
        assertTrue(!lines[0].equals("0") && last.startsWith(row.commands().get(0).get(0).substring(1) + ": "), said);
        assertFalse(said.contains("Exception") || said.contains("\tat "), said);
        return last;
    }

    private static String verdict(Row row, List<String> there, List<String> here) {
        if (!row.reason().isEmpty()) {
            assertNotEquals(there, here, "it is the same: the reason has gone");
            assertFalse(here.toString().contains("\tat "), here.toString());
            return row.reason();
        }
        boolean refused = here.stream().allMatch(said -> said.contains(REFUSED));
        return refused ? "not supported: `" + refusal(row, here.get(0)) + "`" : same(there, here);
    }

    private static String same(List<String> there, List<String> here) {
        assertEquals(there, here);
        return SAME;
    }

    @TestFactory
    List<DynamicTest> commands() throws Exception {
        Side stock = new Side(Cluster.stockForCommands(), "stock");
        Side own = new Side(Cluster.ownForCommands(), "own");
        List<DynamicTest> tests = new ArrayList<>();
        StringBuilder table = new StringBuilder("| Command | Here |\n|---|---|\n");
        for (Row row : rows()) {
            tests.add(DynamicTest.dynamicTest(row.name(), () -> {
                String verdict = verdict(row, stock.run(row), own.run(row));
                table.append("| `").append(row.name()).append("` | ").append(verdict).append(" |\n");
            }));
        }
        tests.add(DynamicTest.dynamicTest("the table in the document", () -> document(table.toString())));
        return tests;
    }

    /** The document has what was found; -Dzolt.test.document.write=true writes it there. */
    private static void document(String table) throws IOException {
        String text = Files.readString(DOCUMENT);
        int begin = text.indexOf(BEGIN) + BEGIN.length();
        int end = text.indexOf(END);
        if (Boolean.getBoolean("zolt.test.document.write")) {
            Files.writeString(DOCUMENT, text.substring(0, begin) + table + text.substring(end));
        } else {
            assertEquals(table, text.substring(begin, end));
        }
    }
}
