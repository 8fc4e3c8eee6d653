/**
 * The data of the blocks: what Hadoop's own DataNode calls its dataset, over the files of the exported folder. Begin
 * with {@link zolt.hdfs.datanode.ZoltDataset}.
 */
package zolt.hdfs.datanode;
