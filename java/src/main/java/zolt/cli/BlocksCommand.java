package zolt.cli;

import java.util.ArrayList;
import java.util.List;
import java.util.TreeSet;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.fs.BlockLocation;
import zolt.fs.BlockLocations;

@Command(name = "blocks", description = "Show where the blocks of files lie.", footer = {"",
    "Example: zolt blocks --draw /srv/data/part-0000"})
final class BlocksCommand extends Action {
    /** The forms of an answer, by what people call them. */
    enum Form {
        ranked(BlockLocations.Form.RANKED), hdfs(BlockLocations.Form.HDFS),
        fs(BlockLocations.Form.FILE_SYSTEM);

        final BlockLocations.Form form;

        Form(BlockLocations.Form form) {
            this.form = form;
        }
    }

    @Option(names = "--draw", description = "Draw a line for each node: # where it has a block.")
    boolean draw;

    @Option(names = "--form", paramLabel = "FORM", defaultValue = "ranked",
            description = "ranked: HDFS blocks, each with the nodes that hold most of it (default);"
                    + " hdfs: HDFS blocks as the client counts them; fs: blocks of the file system.")
    Form form;

    @Option(names = "--offset", paramLabel = "BYTES", description = "Where to begin.")
    long offset;

    @Option(names = "--length", paramLabel = "BYTES", description = "How far; to the end if omitted.")
    long length = BlockLocations.TO_THE_END;

    @Parameters(paramLabel = "PATH", arity = "1..*", description = "Files.")
    List<String> paths;

    BlocksCommand(Session session) {
        super(session);
    }

    @Override
    void run() {
        BlockLocations locations = new BlockLocations();
        forEach(paths, path -> {
            locations.read(path, form.form, offset, length);
            if (json) {
                out.line(object(path, locations).toString());
                return;
            }
            out.line(session.bold(session.shown(path)) + ": " + locations.count() + " blocks of "
                    + locations.blockSize() + " bytes, " + locations.replicas() + " replicas");
            if (draw) {
                new Strips(session).draw(locations);
            } else {
                table(locations);
            }
        });
    }

    private void table(BlockLocations locations) {
        out.line(locations.count() == 0 ? "" : String.format("  %16s %12s  %s", "OFFSET", "LENGTH",
                "NODES"));
        for (BlockLocation block : locations.list()) {
            out.line(String.format("  %16d %12d  %s", block.offset(), block.length(), nodes(block)));
        }
    }

    private static String nodes(BlockLocation block) {
        List<String> nodes = new ArrayList<>();
        block.nodes().forEach(node -> nodes.add(node.toString()));
        return nodes.isEmpty() ? "-" : String.join(" ", nodes);
    }

    private static Json object(String path, BlockLocations locations) {
        List<Json> blocks = new ArrayList<>();
        for (BlockLocation block : locations.list()) {
            blocks.add(new Json().put("offset", block.offset()).put("length", block.length())
                    .put("nodes", block.nodes()).put("weights", block.weights()));
        }
        return new Json().put("path", path).put("blockSize", locations.blockSize())
                .put("replicas", locations.replicas()).put("blocks", blocks);
    }

    /** The picture: a line for each node, in columns for the blocks. */
    private static final class Strips {
        private static final int COLUMNS = 64;

        private final Session session;

        Strips(Session session) {
            this.session = session;
        }

        void draw(BlockLocations locations) {
            int columns = Math.min(COLUMNS, locations.count());
            TreeSet<Integer> nodes = new TreeSet<>();
            for (int block = 0; block < locations.count(); block++) {
                for (int copy = 0; copy < locations.replicas(); copy++) {
                    nodes.add(locations.node(block, copy));
                }
            }
            nodes.remove(-1);
            session.out.line("  NODE  BLOCKS IN FILE ORDER" + (columns < locations.count()
                    ? ", " + (locations.count() + columns - 1) / columns + " in a column" : ""));
            for (int node : nodes) {
                session.out.line(String.format("  %4d  %s", node, strip(locations, node)));
            }
        }

        private String strip(BlockLocations locations, int node) {
            int each = Math.max(1, (locations.count() + COLUMNS - 1) / COLUMNS);
            StringBuilder strip = new StringBuilder();
            for (int first = 0; first < locations.count(); first += each) {
                int held = 0;
                int here = Math.min(each, locations.count() - first);
                for (int block = first; block < first + here; block++) {
                    held += holds(locations, block, node) ? 1 : 0;
                }
                strip.append(held == 0 ? '.' : held == here ? '#' : '+');
            }
            return session.outIsTerminal
                    ? strip.toString().replaceAll("([#+]+)", "\033[32m$1\033[0m") : strip.toString();
        }

        private static boolean holds(BlockLocations locations, int block, int node) {
            for (int copy = 0; copy < locations.replicas(); copy++) {
                if (locations.node(block, copy) == node) {
                    return true;
                }
            }
            return false;
        }
    }
}
