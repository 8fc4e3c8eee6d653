/*
 * The interface of the ZOLT file system's client library, libzolt.so: four calls and the records
 * they exchange. The embedded default (client/local) and a site's own client both provide it.
 *
 * All integers are in the machine's byte order unless said otherwise; only the fields that are
 * named have a meaning here.
 */
#ifndef ZOLT_H
#define ZOLT_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  ZOLT_IATTR_VERSION = 3,  /* ia_version of the record below */
  ZOLT_IATTR_RECLEN = 264, /* its length in bytes */
  ZOLT_IAFLAG_ACL = 1      /* ia_flags: the file has an access control list */
};

/* A time stamp of the attribute record. */
typedef struct zolt_timestamp64 {
  int64_t seconds;
  uint32_t nanoseconds;
  uint32_t reserved;
} zolt_timestamp64;

/* The attributes of a file. */
typedef struct zolt_iattr64 {
  int32_t ia_version;        /*   0 */
  int32_t ia_reclen;         /*   4 */
  uint32_t reserved8;        /*   8 */
  uint32_t ia_mode;          /*  12: type and permission bits, as st_mode */
  uint64_t ia_uid;           /*  16: the low 32 bits are used */
  uint64_t ia_gid;           /*  24: likewise */
  uint64_t ia_inode;         /*  32 */
  uint8_t reserved40[16];    /*  40 */
  int64_t ia_size;           /*  56: bytes */
  uint8_t reserved64[8];     /*  64 */
  zolt_timestamp64 ia_atime; /*  72 */
  uint8_t reserved88[8];     /*  88 */
  zolt_timestamp64 ia_mtime; /*  96 */
  uint8_t reserved112[4];    /* 112 */
  uint8_t ia_replication;    /* 116: copies of the file's data */
  uint8_t reserved117[3];    /* 117 */
  zolt_timestamp64 ia_ctime; /* 120 */
  int32_t ia_blocksize;      /* 136: the file system's block size for the file, bytes */
  uint8_t reserved140[44];   /* 140 */
  uint32_t ia_flags;         /* 184: ZOLT_IAFLAG_ACL */
  uint8_t reserved188[76];   /* 188 */
} zolt_iattr64;

#ifdef __cplusplus
#define ZOLT_AT(type, field, offset) static_assert(offsetof(type, field) == (offset), #field)
#else
#define ZOLT_AT(type, field, offset) _Static_assert(offsetof(type, field) == (offset), #field)
#endif

ZOLT_AT(zolt_iattr64, ia_version, 0);
ZOLT_AT(zolt_iattr64, ia_reclen, 4);
ZOLT_AT(zolt_iattr64, ia_mode, 12);
ZOLT_AT(zolt_iattr64, ia_uid, 16);
ZOLT_AT(zolt_iattr64, ia_gid, 24);
ZOLT_AT(zolt_iattr64, ia_inode, 32);
ZOLT_AT(zolt_iattr64, ia_size, 56);
ZOLT_AT(zolt_iattr64, ia_atime, 72);
ZOLT_AT(zolt_iattr64, ia_mtime, 96);
ZOLT_AT(zolt_iattr64, ia_replication, 116);
ZOLT_AT(zolt_iattr64, ia_ctime, 120);
ZOLT_AT(zolt_iattr64, ia_blocksize, 136);
ZOLT_AT(zolt_iattr64, ia_flags, 184);
static_assert(sizeof(zolt_iattr64) == ZOLT_IATTR_RECLEN, "length of the attribute record");

/*
 * Extended stat, by path (symbolic links are followed) and by open descriptor. *liteMask is set to
 * 0 by the caller; bufferLength is the room at buffer in bytes (ZOLT_IATTR_RECLEN). 0, or -1 with
 * errno.
 */
int zolt_stat_x(const char* path, unsigned int* liteMask, zolt_iattr64* buffer,
                size_t bufferLength);
int zolt_fstat_x(int fd, unsigned int* liteMask, zolt_iattr64* buffer, size_t bufferLength);

/*
 * Sends a directive request about an open file: a 16-byte header and the records after it, which
 * the library completes in place. 0, or -1 with errno.
 */
int zolt_fcntl(int fd, void* request);

/* Brings the data of an open file to its current placement settings. The same kind of request. */
int zolt_restripe_file(int fd, void* request);

#ifdef __cplusplus
}
#endif

#endif
