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
 * Directives. A request is one contiguous piece of memory: a header and the records after it, each
 * of which begins with its own length and type. The library completes the fields called replies in
 * place. What is called reserved is 0.
 */
enum {
  ZOLT_REQUEST_VERSION = 1,
  /* record types */
  ZOLT_SET_REPLICATION = 2005,
  ZOLT_RESTRIPE = 2008,
  ZOLT_READ_REPLICATION = 3001,
  ZOLT_READ_LOCATIONS = 3006,
  ZOLT_READ_ATTRIBUTE = 6001,
  ZOLT_WRITE_ATTRIBUTE = 6002,
  /* values */
  ZOLT_ATTRIBUTE_FLAGS = 32768,
  ZOLT_RESTRIPE_OPTION = 2,
  ZOLT_LOCATION_ENTRIES = 8064 /* the most replicas that one reply describes */
};

typedef struct zolt_request_header {
  uint32_t length;  /*  0: of the whole request, in bytes */
  uint32_t version; /*  4: ZOLT_REQUEST_VERSION */
  uint32_t answer;  /*  8: the library's own; its input value does not matter */
  uint32_t reserved12;
} zolt_request_header;

/* ZOLT_READ_REPLICATION */
typedef struct zolt_replication_record {
  uint32_t length; /*  0 */
  uint32_t type;   /*  4 */
  uint32_t reserved8[2];
  uint32_t dataReplicas; /* 16: reply, copies of the file's data */
  uint32_t reserved20[3];
} zolt_replication_record;

/* ZOLT_READ_ATTRIBUTE, ZOLT_WRITE_ATTRIBUTE: an extended attribute that the file system keeps. */
typedef struct zolt_attribute_record {
  uint32_t length;      /*  0 */
  uint32_t type;        /*  4 */
  uint32_t nameLength;  /*  8: bytes used of name */
  uint32_t valueLength; /* 12: reading: the room in value; writing: bytes used of value */
  uint32_t flags;       /* 16: ZOLT_ATTRIBUTE_FLAGS */
  int32_t status;       /* 20: reply, not 0 when the attribute is not set */
  char name[8];         /* 24: not terminated */
  uint8_t value[24];    /* 32: reply when reading */
} zolt_attribute_record;

/*
 * ZOLT_READ_LOCATIONS: where the data of a byte range lies. Each of the described blocks takes
 * 2 * replicas words: the nodes of its replicas, then a second value for each.
 */
typedef struct zolt_location_record {
  uint32_t length;     /*  0 */
  uint32_t type;       /*  4 */
  uint64_t offset;     /*  8: first byte of the range */
  uint64_t skipFactor; /* 16: the block size in which to count; 0 for the file system's own */
  uint64_t range;      /* 24: length of the range in bytes */
  uint32_t flags;      /* 32: 0 */
  uint32_t reserved36;
  int32_t replicas;             /* 40: reply, replicas per block */
  int32_t blocks;               /* 44: reply, blocks described */
  int32_t metaBlockSizeHalf[2]; /* 48: reply, the file's own block size: low half, high half */
  int32_t words[2 * ZOLT_LOCATION_ENTRIES]; /* 56: reply */
} zolt_location_record;

/* ZOLT_SET_REPLICATION */
typedef struct zolt_set_replication_record {
  uint32_t length; /*  0 */
  uint32_t type;   /*  4 */
  uint32_t reserved8[2];
  int32_t dataReplicas; /* 16 */
  uint32_t reserved20[5];
} zolt_set_replication_record;

/* ZOLT_RESTRIPE, the one record of zolt_restripe_file. */
typedef struct zolt_restripe_record {
  uint32_t length; /* 0 */
  uint32_t type;   /* 4 */
  uint32_t option; /* 8: ZOLT_RESTRIPE_OPTION */
  uint32_t reserved12[9];
} zolt_restripe_record;

ZOLT_AT(zolt_request_header, length, 0);
ZOLT_AT(zolt_request_header, version, 4);
ZOLT_AT(zolt_request_header, answer, 8);
static_assert(sizeof(zolt_request_header) == 16, "length of the header");
ZOLT_AT(zolt_replication_record, length, 0);
ZOLT_AT(zolt_replication_record, type, 4);
ZOLT_AT(zolt_replication_record, dataReplicas, 16);
static_assert(sizeof(zolt_replication_record) == 32, "length of the replication record");
ZOLT_AT(zolt_attribute_record, length, 0);
ZOLT_AT(zolt_attribute_record, type, 4);
ZOLT_AT(zolt_attribute_record, nameLength, 8);
ZOLT_AT(zolt_attribute_record, valueLength, 12);
ZOLT_AT(zolt_attribute_record, flags, 16);
ZOLT_AT(zolt_attribute_record, status, 20);
ZOLT_AT(zolt_attribute_record, name, 24);
ZOLT_AT(zolt_attribute_record, value, 32);
static_assert(sizeof(zolt_attribute_record) == 56, "length of an attribute record");
ZOLT_AT(zolt_location_record, length, 0);
ZOLT_AT(zolt_location_record, type, 4);
ZOLT_AT(zolt_location_record, offset, 8);
ZOLT_AT(zolt_location_record, skipFactor, 16);
ZOLT_AT(zolt_location_record, range, 24);
ZOLT_AT(zolt_location_record, flags, 32);
ZOLT_AT(zolt_location_record, replicas, 40);
ZOLT_AT(zolt_location_record, blocks, 44);
ZOLT_AT(zolt_location_record, metaBlockSizeHalf, 48);
ZOLT_AT(zolt_location_record, words, 56);
static_assert(sizeof(zolt_location_record) == 64568, "length of the location record");
ZOLT_AT(zolt_set_replication_record, length, 0);
ZOLT_AT(zolt_set_replication_record, type, 4);
ZOLT_AT(zolt_set_replication_record, dataReplicas, 16);
static_assert(sizeof(zolt_set_replication_record) == 40, "length of the set-replication record");
ZOLT_AT(zolt_restripe_record, length, 0);
ZOLT_AT(zolt_restripe_record, type, 4);
ZOLT_AT(zolt_restripe_record, option, 8);
static_assert(sizeof(zolt_restripe_record) == 48, "length of the restripe record");

/*
 * Extended stat, by path (symbolic links are followed) and by open descriptor. *liteMask is set to
 * 0 by the caller; bufferLength is the room at buffer in bytes (ZOLT_IATTR_RECLEN). 0, or -1 with
 * errno.
 */
int zolt_stat_x(const char* path, unsigned int* liteMask, zolt_iattr64* buffer,
                size_t bufferLength);
int zolt_fstat_x(int fd, unsigned int* liteMask, zolt_iattr64* buffer, size_t bufferLength);

/*
 * Sends a request about an open file. 0, or -1 with errno. A failure is this result, never a status
 * in a record: that only tells whether an attribute is set.
 */
int zolt_fcntl(int fd, void* request);

/* Brings the data of an open file to its current placement settings: a request with one restripe
 * record. The same results. */
int zolt_restripe_file(int fd, void* request);

#ifdef __cplusplus
}
#endif

#endif
