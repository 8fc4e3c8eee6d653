/*
 * Failure injection: a library, preloaded or linked before libc, that passes calls on to libc and
 * fails the ones it is told to. Everything is per thread, so that the rest of a virtual machine
 * goes on undisturbed.
 */
#ifndef ZOLT_FAULTS_H
#define ZOLT_FAULTS_H

#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * From now on, this thread's calls number first..last (from 1) of the named function fail with the
 * errno; with a negative one they leave errno as it was. Returns 0, or -1 for a function that is
 * not in the table of injector.h, where syscall_setgroups is the raw system call and setgroups the
 * C library's function.
 */
int zolt_fault_arm(const char* function, int first, int last, int error);

/* How often this thread has called the function since it was armed or since the last clear. */
int zolt_fault_calls(const char* function);

/* Forgets every rule of this thread, those below included. */
void zolt_fault_clear(void);

/* Reading "/etc/mtab" is reading this file. The text must stay valid; null: no more. */
void zolt_fault_mount_table(const char* file);

/* stat reports this size for every directory; 0: no more. */
void zolt_fault_directory_size(long long size);

/* Every directory entry is of this type (d_type); -1: no more. */
void zolt_fault_entry_type(int type);

/*
 * Directories are of a file system that numbers its entries from 1 and lists neither "." nor "..",
 * as some in user space do: d_off of the nth entry is n, and so is the position to seek. One stream
 * at a time; 0: no more.
 */
void zolt_fault_numbered_entries(int numbered);

/* A readdir that finds an entry leaves this errno all the same; 0: no more. */
void zolt_fault_stray_errno(int error);

/*
 * Every path has these attribute names, each with its NUL, as far as listing goes. The bytes must
 * stay valid; null: no more.
 */
void zolt_fault_xattr_names(const char* names, int length);

/*
 * What getxattr and listxattr, the l forms included, answer to the question for a length alone;
 * -1: the truth.
 */
void zolt_fault_xattr_lengths(long value, long list);

/* The real-time clock, the only one that can be failed, stands at this time; null: no more. */
void zolt_fault_realtime(const struct timespec* time);

/*
 * One more user or group on this thread, whose database record takes that many bytes at least; a
 * null name: none of them any more.
 */
void zolt_fault_user(const char* name, unsigned uid, unsigned gid, unsigned long bytes);
void zolt_fault_group(const char* name, unsigned gid, unsigned long bytes);

/* sysconf answers this for the sizes of both databases' records; 0: no more. */
void zolt_fault_entry_size(long size);

/* The size of the buffer that came with this thread's last lookup. */
unsigned long zolt_fault_last_buffer(void);

/* Every lookup of this thread takes so long; 0: no more. */
void zolt_fault_slow_lookups(int milliseconds);

/* Every user is in that many groups: the one asked with, then 100001 and on. 0: no more. */
void zolt_fault_group_count(int count);

/*
 * The client's attribute records hold this value, of so many bytes, at that offset; size 0: none of
 * them any more.
 */
void zolt_fault_attribute(unsigned offset, unsigned size, unsigned long long value);

#ifdef __cplusplus
}
#endif

#endif
