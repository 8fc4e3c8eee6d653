package zolt.cli.commands;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;
import zolt.cli.Cli;
import zolt.cli.CliFixture;
import zolt.cli.Tool;
import zolt.cli.Value;
import zolt.cli.output.Exit;
import zolt.fs.BlockLocation;
import zolt.fs.BlockLocations;

/** Files whose blocks are more than one range, up to sizes of which no buffer holds the locations. */
class BlocksTest extends CliFixture {
    private static final long MIB = 1 << 20;

    private String sparse(String size) throws Exception {
        Tool.raw("truncate", "-s", size, path("sparse"));
        return path("sparse");
    }

    /** The library's own answer, in one piece. */
    private static List<String> whole(String path, BlocksCommand.Form form, long offset, long length)
            throws Exception {
        BlockLocations locations = new BlockLocations();
        locations.read(path, form.form, offset, length);
        List<String> rows = new ArrayList<>();
        for (BlockLocation block : locations.list()) {
            rows.add(String.format("  %16d %12d  %s", block.offset(), block.length(), block.nodes()
                    .toString().replaceAll("[\\[\\],]", "")));
        }
        return rows;
    }

    @ParameterizedTest
    @ValueSource(strings = {"fs 700M 0 -1", "fs 700M 4097 536870912", "fs 257M 268435455 2",
        "fs 300M 268435456 1", "hdfs 300M 5 -1", "ranked 200M 134217727 -1", "ranked 200M 0 137438953",
        "fs 300M 314572800 5", "fs 0 0 -1"})
    void rangesJoinToWhatOneCallAnswers(String what) throws Exception {
        String[] words = what.split(" ");
        String path = sparse(words[1]);
        Cli.done("bgf", "16", path); // small HDFS blocks: more of them than a range has
        BlocksCommand.Form form = BlocksCommand.Form.valueOf(words[0]);
        List<String> expected = whole(path, form, Long.parseLong(words[2]), Long.parseLong(words[3]));
        List<String> found = Cli.done("blocks", "--form", words[0], "--offset", words[2], "--length",
                words[3], path).lines();
        assertTrue(found.get(0).startsWith(path + ": " + expected.size() + " blocks of "), found.get(0));
        assertEquals(expected, found.subList(Math.min(2, found.size()), found.size()));
    }

    @Test
    void anObjectIsWholeAcrossRanges() throws Exception {
        String path = sparse("600M");
        Map<String, Object> object = Value.object(Cli.done("blocks", "--json", "--form", "fs", path).text()
                .trim());
        List<?> blocks = (List<?>) object.get("blocks");
        assertEquals(600 * MIB / 4096, blocks.size());
        for (int at = 0; at < blocks.size(); at++) {
            assertEquals(at * 4096L, ((Map<?, ?>) blocks.get(at)).get("offset"));
        }
        assertEquals(List.of(), Value.object(Cli.done("blocks", "--json", dir.toString()).text().trim())
                .get("blocks"));
    }

    /** What is drawn of it is small; what is read for it is not. */
    @Test
    void theDrawingCountsAcrossRanges() throws Exception {
        String path = sparse("1G");
        List<String> drawn = Cli.done("blocks", "--draw", "--form", "fs", path).lines();
        assertEquals(path + ": 262144 blocks of 4096 bytes, 3 replicas", drawn.get(0));
        assertEquals("  NODE  BLOCKS IN FILE ORDER, 4096 in a column", drawn.get(1));
        for (String line : drawn.subList(2, drawn.size())) {
            assertTrue(line.matches(" +\\d  \\+{64}"), line);
        }
    }

    @Test
    void whatIsNoRangeIsRefused() throws Exception {
        String path = sparse("1M");
        assertEquals(Exit.USAGE, Cli.run("blocks", "--offset", "-1", path).code);
        assertEquals(Exit.USAGE, Cli.run("blocks", "--length", "-2", path).code);
        Cli.done("blocks", "--offset", "9223372036854775807", path);
        Cli.done("blocks", "--length", "9223372036854775807", path);
    }
}
