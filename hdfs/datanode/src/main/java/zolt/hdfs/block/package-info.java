/** The ids by which a NameNode names the blocks of a file, and a DataNode finds them. */
package zolt.hdfs.block;
