/* What passes between the library and a message core: fixed widths, in the processor's own order of
 * bytes, which is little-endian. Plain C, and no other header of the library is needed. */
#ifndef TARNWILLOW_MESSAGE_RECORD_H
#define TARNWILLOW_MESSAGE_RECORD_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define TARNWILLOW_RECORD_ASSERT(condition) static_assert(condition, #condition)
#else
#define TARNWILLOW_RECORD_ASSERT(condition) _Static_assert(condition, #condition)
#endif

/* What the bytes given to Queue_Entry are: its last argument. */
enum {
    TARNWILLOW_LOG_ENTRY_NARROW = 8371, /* a record whose text is UTF-8 */
    TARNWILLOW_LOG_ENTRY_WIDE = 8372,   /* a record whose text is UTF-16, or one with a source */
    TARNWILLOW_BROADCAST_ENTRY = 8373   /* the broadcaster's own bytes, with its own code */
};

enum {
    TARNWILLOW_NAMED_LINE = 0xFFFF, /* stands for the class of a record with a source */
    TARNWILLOW_RECORD_SIZE = 1024
};

/* The local time of a line. */
typedef struct tarnwillow_record_time {
    uint16_t year;
    uint16_t month;       /* from 1 */
    uint16_t day_of_week; /* from 0, a Sunday */
    uint16_t day;         /* from 1 */
    uint16_t hour;
    uint16_t minute;
    uint16_t second;
    uint16_t milliseconds;
} tarnwillow_record_time;

/* A line with a source instead of a class. Both texts are UTF-16 and terminated. */
typedef struct tarnwillow_named_text {
    uint16_t source[64];
    uint16_t text[436];
} tarnwillow_named_text;

/* One log line: 1,024 bytes, zeroed before they are filled. Longer text was cut, at a whole
 * character, without a mark; every text is terminated. */
typedef struct tarnwillow_log_record {
    uint16_t log_class; /* 0 to 21, or TARNWILLOW_NAMED_LINE */
    uint16_t level;     /* 5 for lines with a class */
    uint32_t thread;    /* the kernel's number of the thread */
    tarnwillow_record_time time;
    union {
        char narrow[1000];
        uint16_t wide[500];
        tarnwillow_named_text named; /* where log_class is TARNWILLOW_NAMED_LINE */
    } text;
} tarnwillow_log_record;

TARNWILLOW_RECORD_ASSERT(sizeof(tarnwillow_record_time) == 16);
TARNWILLOW_RECORD_ASSERT(sizeof(tarnwillow_log_record) == TARNWILLOW_RECORD_SIZE);
TARNWILLOW_RECORD_ASSERT(offsetof(tarnwillow_log_record, log_class) == 0);
TARNWILLOW_RECORD_ASSERT(offsetof(tarnwillow_log_record, level) == 2);
TARNWILLOW_RECORD_ASSERT(offsetof(tarnwillow_log_record, thread) == 4);
TARNWILLOW_RECORD_ASSERT(offsetof(tarnwillow_log_record, time) == 8);
TARNWILLOW_RECORD_ASSERT(offsetof(tarnwillow_log_record, text.narrow) == 24);
TARNWILLOW_RECORD_ASSERT(offsetof(tarnwillow_log_record, text.wide) == 24);
TARNWILLOW_RECORD_ASSERT(offsetof(tarnwillow_log_record, text.named.source) == 24);
TARNWILLOW_RECORD_ASSERT(offsetof(tarnwillow_log_record, text.named.text) == 152);

/* A listener in a program. What its arguments mean, and on which thread it runs, is the core's to
 * say; the library never calls it. */
typedef void (*tarnwillow_listener)(uint64_t, int64_t, char* data, int64_t, int64_t, void* context);

#endif
