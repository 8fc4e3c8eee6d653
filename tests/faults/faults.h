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
 * errno. Returns 0, or -1 for a function that is not in the table of faults.cpp.
 */
int zolt_fault_arm(const char* function, int first, int last, int error);

/* How often this thread has called the function since it was armed or since the last clear. */
int zolt_fault_calls(const char* function);

/* Forgets every rule of this thread, those below included. */
void zolt_fault_clear(void);

/* setmntent opens this file, whatever it is asked for. The text must stay valid; null: no more. */
void zolt_fault_mount_table(const char* file);

/* stat reports this size for every directory; 0: no more. */
void zolt_fault_directory_size(long long size);

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

#ifdef __cplusplus
}
#endif

#endif
