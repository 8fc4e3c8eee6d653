package zolt.hdfs.namenode;

import java.io.IOException;
import zolt.hdfs.namespace.Attributes;
import zolt.hdfs.namespace.Contents;
import zolt.hdfs.namespace.Folder;
import zolt.hdfs.namespace.Holders;
import zolt.hdfs.namespace.Listings;
import zolt.hdfs.namespace.Locks;
import zolt.hdfs.namespace.Making;
import zolt.hdfs.namespace.OpenFiles;
import zolt.hdfs.namespace.Removing;
import zolt.hdfs.namespace.Renaming;
import zolt.hdfs.namespace.Statuses;
import zolt.hdfs.namespace.XAttributes;

/** The operations on one folder. */
record Parts(Folder folder, Statuses statuses, Listings listings, Contents contents, Attributes attributes,
        Making making, Removing removing, Renaming renaming, XAttributes xattributes, OpenFiles open, Holders holders) {
    static Parts of(Folder folder, Holders holders, Locks locks, OpenFiles.Limits limits) throws IOException {
        Statuses statuses = new Statuses(folder);
        Listings listings = new Listings(folder, statuses);
        Making making = new Making(folder);
        return new Parts(folder, statuses, listings, new Contents(folder, listings, statuses), new Attributes(folder),
                making, new Removing(folder, listings), new Renaming(folder), new XAttributes(folder),
                new OpenFiles(folder, making, holders, locks, limits), holders);
    }
}
