package zolt.cli.commands;

import java.io.IOException;
import java.util.List;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import zolt.cli.output.Json;
import zolt.cli.output.Progress;
import zolt.cli.output.Session;
import zolt.fs.BlockLocation;
import zolt.fs.BlockLocations;

@Command(name = "blocks", description = {"Show where the blocks of files lie. A file of any size is read"
    + " in ranges, which take no more memory than a small one."}, footer = {"",
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
        BlockLocations reader = new BlockLocations();
        Progress progress = new Progress(session);
        forEach(paths, path -> {
            BlockRanges ranges = new BlockRanges(reader, path, form.form, offset, length);
            try {
                if (json) {
                    object(ranges);
                } else if (draw) {
                    draw(ranges, progress);
                } else {
                    table(ranges, progress);
                }
            } finally {
                progress.clear();
            }
        });
    }

    private String title(BlockRanges ranges) {
        return session.bold(session.shown(ranges.path())) + ": " + ranges.count() + " blocks of " + ranges.blockSize()
                + " bytes, " + ranges.replicas() + " replicas";
    }

    private void table(BlockRanges ranges, Progress progress) throws IOException {
        out.line(title(ranges));
        out.line(ranges.count() == 0 ? "" : String.format("  %16s %12s  %s", "OFFSET", "LENGTH",
                "NODES"));
        StringBuilder row = new StringBuilder();
        ranges.each((locations, first) -> {
            for (int block = 0; block < locations.count(); block++) {
                row.setLength(0);
                rightAligned(row, 18, locations.offset(block));
                rightAligned(row, 13, Math.min(ranges.blockSize(),
                        ranges.fileSize() - locations.offset(block)));
                nodes(row.append("  "), locations, block);
                out.line(row.toString());
            }
            progress.share(first + locations.count(), ranges.count(), ranges.path());
        });
    }

    /** There may be hundreds of millions of rows, and a format is ten times as slow. */
    private static void rightAligned(StringBuilder row, int width, long number) {
        int start = row.length();
        row.append(number);
        for (int missing = width - (row.length() - start); missing > 0; missing--) {
            row.insert(start, ' ');
        }
    }

    private static void nodes(StringBuilder row, BlockLocations locations, int block) {
        int start = row.length();
        for (int copy = 0; copy < locations.replicas(); copy++) {
            if (locations.node(block, copy) >= 0) {
                row.append(row.length() == start ? "" : " ").append(locations.node(block, copy));
            }
        }
        row.append(row.length() == start ? "-" : "");
    }

    /** A picture shows nothing before all is read, so that progress is for those who watch it, too. */
    private void draw(BlockRanges ranges, Progress progress) throws IOException {
        BlockDrawing drawing = new BlockDrawing(ranges.count());
        ranges.each((locations, first) -> {
            drawing.add(locations, first);
            progress.shareOfSilence(first + locations.count(), ranges.count(), ranges.path());
        });
        progress.clear();
        out.line(title(ranges));
        drawing.print(session);
    }

    /** The object is written while it is read. What ends it early stands in its last member. */
    private void object(BlockRanges ranges) throws IOException {
        String head = new Json().put("path", ranges.path()).put("blockSize", ranges.blockSize())
                .put("replicas", ranges.replicas()).toString();
        out.text(head.substring(0, head.length() - 1) + ",\"blocks\":[");
        try {
            ranges.each((locations, first) -> {
                String separator = first == 0 ? "" : ",";
                for (BlockLocation block : locations.list()) {
                    out.text(separator + new Json().put("offset", block.offset())
                            .put("length", block.length()).put("nodes", block.nodes())
                            .put("weights", block.weights()));
                    separator = ",";
                }
            });
        } catch (IOException e) {
            out.line("]," + new Json().put("error", String.valueOf(e.getMessage())).toString().substring(1));
            throw e;
        }
        out.line("]}");
    }
}
