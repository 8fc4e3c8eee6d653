/**
 * A typed interface to a ZOLT file system, over the natives of {@code ZOLTNative}.
 *
 * <table>
 * <caption>What is where</caption>
 * <tr><th>Class</th><th>For</th></tr>
 * <tr><td>{@link zolt.fs.ZoltLibrary}</td><td>loading, versions, settings of the process</td></tr>
 * <tr><td>{@link zolt.fs.FileStatus}</td><td>status records, full and fast; what has changed</td></tr>
 * <tr><td>{@link zolt.fs.FileOperations}</td><td>inode number, link target, permissions, times,
 * replication, block group factor</td></tr>
 * <tr><td>{@link zolt.fs.DirectoryListing}, {@link zolt.fs.DirectoryEntry}, {@link
 * zolt.fs.FileType}</td><td>the entries of a directory</td></tr>
 * <tr><td>{@link zolt.fs.BlockLocations}, {@link zolt.fs.BlockLocation}</td><td>where the blocks of a
 * file lie</td></tr>
 * <tr><td>{@link zolt.fs.ExtendedAttributes}</td><td>get, set, list, remove</td></tr>
 * <tr><td>{@link zolt.fs.Lease}</td><td>who holds a file open for writing</td></tr>
 * <tr><td>{@link zolt.fs.Acl}, {@link zolt.fs.AclEntry}</td><td>access control lists, and their text
 * form</td></tr>
 * <tr><td>{@link zolt.fs.Identity}, {@link zolt.fs.ThreadIdentity}, {@link
 * zolt.fs.Accounts}</td><td>whose rights a thread has; names and ids</td></tr>
 * <tr><td>{@link zolt.fs.PathFailure}</td><td>why a user does not get at a path</td></tr>
 * <tr><td>{@link zolt.fs.Mount}</td><td>where a path lies</td></tr>
 * </table>
 *
 * <p>Paths are text and cross into the library as modified UTF-8. Where a class begins with a path ({@code
 * of}, {@code open}, {@code get}), and in {@code FileOperations}, it may be a {@link java.nio.file.Path} as
 * well. Each call is synchronous and runs with
 * the identity of the calling thread. A failure is an {@link java.io.IOException}: {@link
 * java.nio.file.AccessDeniedException} for EPERM and EACCES, {@link
 * java.nio.file.NoSuchFileException} for ENOENT, {@link zolt.fs.NoSuchAttributeException}, {@link
 * zolt.fs.AttributeExistsException}, {@link zolt.fs.LeaseHeldException}; its message begins with the system's text for the
 * error. Want of memory is a {@link java.lang.RuntimeException}. A null argument is a {@link
 * java.lang.NullPointerException} that names it.
 *
 * <p>{@code FileStatus}, {@code BlockLocations} and {@code DirectoryListing} are readers: each owns a
 * direct buffer, is filled again and again, allocates nothing in doing so, and is for one thread at a
 * time. Everything else is immutable.
 *
 * <p>In the examples {@code directory} is the path of a directory that holds one file, {@code inner}
 * the path of that file, {@code file} the path of a file of 11 bytes, {@code link} that of a symbolic
 * link to "file", and {@code blocks} that of a file of 8 file-system blocks. They run as root, with the
 * embedded client; what stands behind "prints:" is what they print.
 */
package zolt.fs;
