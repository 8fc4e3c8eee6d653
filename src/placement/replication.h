// What the file system keeps about the placement of an open file: the replica count of its data and
// its block group factor (BGF), the number of file-system blocks in an HDFS block.
#pragma once

namespace zolt {

/// The BGF; 0 when the file has none; -1 for a negative descriptor; minus errno when the client
/// fails.
int getBGF(int fd);

/// Sets the BGF. 0, or -1 with the client's errno.
int setBGF(int fd, int bgf);

/// Sets how many copies of its data the file is to have; data that is already there stays as it is
/// until a restripe. 0, or -1 with the client's errno.
int setReplication(int fd, short replication);

/// Brings the file's data to its current replication. 0, or -1 with the client's errno.
int restripeFile(int fd);

}  // namespace zolt
