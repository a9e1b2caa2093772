/* fenwire/infrastructure.h - the boundary between the operator library and whoever loads it.
 *
 * The library exports one symbol, PX_GetOperatorMethods, which hands out a table of six methods. All
 * that the library needs comes to it through the objects that are passed into those methods. Plain C,
 * little-endian, natural alignment: an infrastructure may be written in any language.
 *
 * Every object starts with two 64-bit words, of which the library reads the second only: the kind of
 * the object. A method on an object whose kind word is wrong is never called; its status counts as 1
 * (PXSTC_BadHandle). The operations lie behind the kind word as function pointers, in the order in
 * which they stand here, and take the object itself as first argument.
 *
 * Lengths are in bytes and do not count a text's terminating zero. Texts end in a zero all the same.
 * Nothing here is called from two threads, and no two methods of one instance run at the same time.
 */
#ifndef FENWIRE_INFRASTRUCTURE_H
#define FENWIRE_INFRASTRUCTURE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t PxStatus;  /* 0 to 71, see PXSTC_ below */
typedef int32_t PX_Length; /* bytes */
typedef uint32_t
    PX_DataType;             /* 0 to 68: 1 INTEGER, 5 CHAR, 7 VARCHAR, 15 ANSIDATE, 37 BIGINT ... */
typedef uint64_t ShmToken_t; /* names a shared memory block within one job step */

/* The statuses that drive a job. The others are failures with a name, see PxStatusName. */
enum {
    PXSTC_Success = 0,
    PXSTC_BadHandle = 1,
    PXSTC_InvalidArgument = 2,
    PXSTC_Warning = 4,
    PXSTC_NotFound = 5,
    PXSTC_EndOfData = 12,
    PXSTC_MultiValued = 13, /* from PX_GetAttribute: a list where one value is wanted */
    PXSTC_NotSupported = 16,
    PXSTC_Storage = 19,
    PXSTC_NullPointer = 21,
    PXSTC_Duplicate = 26,
    PXSTC_Length = 29,
    PXSTC_Checkpoint = 33, /* call checkpoint in every instance, then go on with execute */
    PXSTC_DataStream = 40,
    PXSTC_NextPhase = 41, /* the next phase, once every instance has answered this */
    PXSTC_EndMethod = 42, /* the method is finished for this instance */
    PXSTC_SamePhase = 43, /* call again with the same phase */
    PXSTC_RowError = 45,
    PXSTC_FatalError = 48,  /* the job step fails */
    PXSTC_WaitTimeout = 68, /* nothing to do now: wait, then call again with the same phase */
    PXSTC_StatusCount = 72
};

enum { PX_KIND_OPERATOR = 1, PX_KIND_SCHEMA = 2, PX_KIND_LOG = 3, PX_KIND_COLUMN = 4 };

enum { PX_ARG_END = 0, PX_ARG_INTEGER = 2, PX_ARG_TEXT = 5 };

/* One argument of a message. A list ends with an entry of type PX_ARG_END. 16 bytes. */
typedef struct PxLogArg {
    uint32_t type; /* PX_ARG_ */
    union {
        const char *text;
        int64_t number;
    };
} PxLogArg;

typedef struct PxOperator PxOperator;
typedef struct PxSchema PxSchema;
typedef struct PxLog PxLog;
typedef struct PxColumn PxColumn;

/* The services of a job step, for one instance. */
struct PxOperator {
    uint64_t reserved; /* the infrastructure's own */
    uint64_t kind;     /* PX_KIND_OPERATOR */

    /* Named arrays that all instances of the step see. Elements count from 1. A name is created by
     * one instance and gone once deleted; 26 when it stands already, 5 when there is none. */
    PxStatus (*PX_CreateGlobalVar)(PxOperator *, const char *name, uint32_t element_size,
                                   uint32_t count);
    PxStatus (*PX_DeleteGlobalVar)(PxOperator *, const char *name);
    /* *element is the infrastructure's memory, valid until the next service call. */
    PxStatus (*PX_ReadGlobalVar)(PxOperator *, const char *name, uint32_t index,
                                 const void **element, uint32_t *length);
    PxStatus (*PX_UpdateGlobalVar)(PxOperator *, const char *name, const void *data,
                                   uint32_t length, uint32_t index);

    /* Adds an attribute to the job. Only SYSTEM_NOCHECKPOINT (type 2, value 0) is ever created. */
    PxStatus (*PX_CreateAttribute)(PxOperator *, const char *name, int32_t type, int64_t value);
    PxStatus (*PX_ReadUniversalVar)(PxOperator *, const char *name, uint32_t index,
                                    const void **value, uint32_t *length);

    /* Checkpoint records of this instance, in the order in which they were written. 21: no more. */
    PxStatus (*PX_ReadCheckpointRecord)(PxOperator *, const void **record, uint32_t *length);
    PxStatus (*PX_WriteCheckpointRecord)(PxOperator *, const void *record, uint32_t length);

    /* For what can't go to a log, because there is none yet or it fails. */
    PxStatus (*PX_ConsoleWrite)(PxOperator *, const char *text, uint32_t length);

    /* direction: 3 for a producer's output schema, 1 for a consumer's input schema. */
    PxStatus (*PX_GetTableSchemaList)(PxOperator *, int32_t direction, PxSchema ***list,
                                      int32_t *count);

    /* An integer attribute is four bytes, but for EventFunction, which is eight. *value stays the
     * infrastructure's and is valid until the next PX_GetAttribute. 5: absent. 13: a list. */
    PxStatus (*PX_GetAttribute)(PxOperator *, const char *name, const void **value,
                                int32_t *length);
    /* PX_ExitCode: 16-bit exit code, length 2. EventData: the answer to an event. */
    PxStatus (*PX_SetAttribute)(PxOperator *, const char *name, const void *value, int32_t length);

    /* file is null for the public log of the job. */
    PxStatus (*PX_Loginit)(PxOperator *, const char *operator_name, int32_t instance,
                           const char *file, int32_t zero, PxLog **log);
    PxStatus (*PX_LogWrite)(PxLog *, uint32_t number, int32_t msg_class, int32_t severity,
                            const PxLogArg *args);
    PxStatus (*PX_Logterm)(PxLog *);

    PxStatus (*PX_OpenCommandInterface)(PxOperator *, const char *id);
    PxStatus (*PX_CloseCommandInterface)(PxOperator *);

    /* type: 1 unsigned integer of length bytes, 5 text, PX_STAT_RECORD one of the records below. */
    PxStatus (*PX_PutJobStat)(PxOperator *, int32_t statistic, int32_t type, const void *value,
                              int32_t length, int32_t zero1, int32_t zero2);

    /* A block comes zeroed and is gone when it is released and nobody has it attached any more. */
    PxStatus (*PX_ShmObtain)(PxOperator *, uint32_t bytes, ShmToken_t *token);
    PxStatus (*PX_ShmRelease)(PxOperator *, ShmToken_t token);
    PxStatus (*PX_ShmAttach)(PxOperator *, ShmToken_t token, void **address);

    PxStatus (*PX_GetUserId)(PxOperator *, const char **text);
};

/* The row stream of one instance. */
struct PxSchema {
    uint64_t reserved;
    uint64_t kind; /* PX_KIND_SCHEMA */

    /* The next row, in the job's row layout: indicator bytes first (a bit a column, highest bit
     * first, 1 is NULL), then the columns; offsets count from the start of the block. Everything
     * stays the infrastructure's until the next call. 12: end of data. */
    PxStatus (*PX_GetRow)(PxSchema *, int32_t *columns, const uint8_t **indicators,
                          const uint32_t **offsets, const uint32_t **lengths, void **row,
                          uint32_t *row_length);

    /* With arrays: the columns' bytes without indicator bytes; indicators[i] 1 is NULL, offsets
     * count from row. Without (columns 0, arrays null): the job's row layout. row_length is all
     * ones for a row of no bytes. Everything stays the operator's; it is copied in the call. */
    PxStatus (*PX_PutRow)(PxSchema *, int32_t columns, const uint8_t *indicators,
                          const uint32_t *offsets, const uint32_t *lengths, const void *row,
                          uint32_t row_length);

    /* declared_row_length: bytes of a row in which every column has its declared length. */
    PxStatus (*PX_GetColumnSchemaList)(PxSchema *, PxColumn ***list, int32_t *count,
                                       uint32_t *declared_row_length);

    PxStatus (*PX_GetBuffer)(PxSchema *, uint8_t *has_indicators, void **buffer, uint32_t *length);
    PxStatus (*PX_PutBuffer)(PxSchema *, int32_t one, void *buffer, uint32_t length);
    void *(*PX_AllocBuffer)(PxSchema *, uint32_t bytes);
};

struct PxLog {
    uint64_t reserved;
    uint64_t kind;  /* PX_KIND_LOG */
    PxOperator *op; /* in whose table PX_LogWrite and PX_Logterm lie */
};

struct PxColumn {
    uint64_t reserved;
    uint64_t kind; /* PX_KIND_COLUMN */

    /* length: declared bytes. offset: from the first column's data, as if every column had its
     * declared length. metadata_type: 0 none, 1 the column is to hold the input file's name. */
    PxStatus (*PX_GetMetadataColumnSchema)(PxColumn *, const char **name, uint32_t *type,
                                           uint32_t *length, int32_t *offset, uint16_t *precision,
                                           uint16_t *scale, int8_t *indicator,
                                           uint32_t *metadata_type);
    /* Null where the column has none. */
    PxStatus (*PX_GetColumnDateFormats)(PxColumn *, const char **input, const char **output,
                                        int32_t zero);
};

/* ---- Job statistics ---------------------------------------------------------------------------
 * Numbers below 1000 are the infrastructure's own and carry 32-bit counts. From 1000 on they are this
 * library's: 64-bit counts for reports. An infrastructure that does not know them ignores them. */

enum {
    PX_STAT_RowsRead = 119,
    PX_STAT_RowsWritten = 120,
    PX_STAT_FilesRead = 121,
    PX_STAT_FilesWritten = 122,
    PX_STAT_FileName = 124,
    PX_STAT_RowErrorNo = 125,
    PX_STAT_CheckPointNo = 126,
    PX_STAT_FileCounts = 1000, /* PxFileCounts: a file is finished, or was left in a failure */
    PX_STAT_BadRecord = 1001,  /* PxBadRecord and what follows it: a record that was found bad */
    PX_STAT_ErrorFile =
        1002,          /* text: path of the record error file of this instance, once it is open */
    PX_STAT_RECORD = 9 /* type word of the records */
};

/* What became of one file's records: records = rows + refused + skipped. Of a file that was written, records
 * and rows are the rows written. 80 bytes. */
typedef struct PxFileCounts {
    uint32_t index; /* element of FileNames, from 1 */
    uint32_t
        ended; /* 1: read to its end (or to a row limit), or written and closed; 0: left in a failure;
                * 2: so far, at a checkpoint. A restarted instance counts from where it goes on. */
    uint64_t records; /* records read */
    uint64_t rows;    /* rows handed over with PX_PutRow */
    uint64_t refused; /* bad records that were left out */
    uint64_t skipped; /* records dropped by SkipRows */
    uint64_t bytes;   /* size of the file as it was found, or as its writer left it; 0 for a pipe */
    double cpu_seconds;
    uint64_t without_excess; /* of the rows: those that lost columns behind the schema's last one */
    uint64_t padded;         /* those that got NULL for columns that the record did not have */
    uint64_t cut;            /* those with columns cut to their length */
} PxFileCounts;

/* A record that was left out, or that went on changed and is kept in the record error file. 48 bytes;
 * behind them text_bytes of the reason in words and raw_bytes of the record as it was read, without its
 * end-of-record mark. The statistic's length is the sum of the three. */
typedef struct PxBadRecord {
    uint32_t index;    /* element of FileNames, from 1 */
    uint32_t left_out; /* 1: no row came of it; 0: its row was handed over all the same */
    uint64_t record;   /* of its file, from 1; records skipped at its start count */
    int64_t offset;    /* of its first byte in the file; -1: not known, as in a pipe */
    uint32_t message;  /* number of the message that tells of the same fault, 0: none */
    uint32_t column;   /* at fault, from 1, of those that are read; 0: none, or beyond the schema */
    uint32_t kept;     /* 1: it was written to the record error file, too */
    uint32_t text_bytes; /* no terminating zero */
    uint32_t raw_bytes;
    uint32_t unused;
} PxBadRecord;

/* ---- Global variables that an infrastructure may read -----------------------------------------
 * FileNames has one element for each file of the job step, written by the instance that reads or writes it. */

enum { PX_FILE_Pending = 0, PX_FILE_InProcess = 1, PX_FILE_Finished = 2, PX_FILE_Archived = 3 };

/* 4120 bytes. */
typedef struct PxFileNamesEntry {
    int32_t status;   /* PX_FILE_ */
    int32_t instance; /* from 1 */
    int64_t size;     /* bytes, as found by the scan, or of a finished output file; 0 for a pipe */
    char name[4096];  /* zero-terminated; without the job's directory */
    int32_t time;     /* of modification, seconds */
    uint32_t bad_records; /* kept by the instance until it finished the file; for its restart */
} PxFileNamesEntry;

/* ---- The library's side ----------------------------------------------------------------------- */

typedef struct PxMethods {
    const char *interface_version, *operator_version;
    uint64_t flag; /* 1 */
    PxStatus (*initiate)(PxOperator *, uint32_t phase);
    PxStatus (*execute)(PxOperator *, uint32_t phase);
    PxStatus (*terminate)(PxOperator *, uint32_t phase);
    PxStatus (*checkpoint)(PxOperator *, uint32_t phase);
    PxStatus (*restart)(PxOperator *, uint32_t phase);
    PxStatus (*event)(PxOperator *);
} PxMethods;

#if defined(__GNUC__)
#define PX_EXPORT __attribute__((visibility("default")))
#else
#define PX_EXPORT
#endif

/* Stores the address of the one method table and returns 0. May be called any number of times. */
PX_EXPORT PxStatus PX_GetOperatorMethods(PxMethods **table);

#ifdef __cplusplus
}
#endif
#endif
