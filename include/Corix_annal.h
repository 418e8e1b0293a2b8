/*
 * Corix_annal.h - the log library of the appliance (link with -lCorix_annal).
 *
 * The library keeps the appliance's logs in SQLite files and gives every program of the appliance one set of functions
 * to add, list, count, group, delete and maintain their entries.
 *
 * Conventions, which hold for every function unless its own text says otherwise:
 *
 *  - Results. A function returns ANNAL_OK (0), or one of the negative codes of enum annal_result. A counting function
 *    returns the count itself, so a caller tells a count from a failure by its sign. Nothing is printed or logged, and
 *    no SQLite message is passed on: the code is the only report. Corix_annal_text.h has a text for each.
 *
 *  - Arguments are checked first. A call that answers ANNAL_BAD_ARGUMENT or ANNAL_TOO_LONG has opened nothing: a log
 *    file that did not exist still does not. The same holds for ANNAL_NO_MEMORY, except where a function says so.
 *
 *  - One call is one unit of work. Each call opens the log's file, does its work and closes the file again; no handle,
 *    statement or lock outlives the call. A write is in the file, synced as SQLite's rollback journal syncs it, before
 *    ANNAL_OK is returned; a write that failed has left the file as it was.
 *
 *  - Locks. "Waits up to 20 s" means: when another process holds the file, SQLite retries for 20000 milliseconds before
 *    the call gives up with the code of a failed statement. That is for each lock: a statement is first prepared, for
 *    which the table's layout is read, and then run, and each of the two waits for itself. So one statement can take
 *    40 s. A program held the whole file for 14 s, and another then read it for longer: annal_event_add returned after
 *    34 s. "Does not wait" means that the call gives up at once. Nobody queues for a lock: it goes to whoever looks
 *    first after it has become free.
 *
 *  - Slow callbacks. A listing holds the log's read lock until its last row has been handed over. A writer beside it
 *    waits at its commit and fails after 20 s: a callback that writes to a pipe or a socket makes other programs lose
 *    entries for as long as the reader at the far end pauses. So collect in the callback, and write after the call.
 *    Collect a page at a time where the log is large: sort by falling id (code 13 in every log), and leave out what is
 *    not below the last id seen, which entries added since have moved down. Entries deleted since, other than the
 *    oldest, move the rest up, and a page would skip as many: begin each page with the last row of the one before, and
 *    go back a page when that row is not there. keep() copies a row, and write_out() writes what is kept:
 *
 *    ```c
 *    enum { kPage = 500 };
 *    struct place { int start, rows, gap; long long last; };
 *
 *    static int collect(void* context, int columns, char** values, char** names) {
 *      struct place* place = context;
 *      long long id = atoll(values[0]);
 *      if (place->rows++ == 0 && id >= place->last) place->gap = 0;
 *      if (!place->gap && id < place->last) {
 *        keep(columns, values, names);
 *        place->last = id;
 *      }
 *      return 0;
 *    }
 *
 *    static int list_by_pages(void) {
 *      struct place place = {0, 0, 0, LLONG_MAX};
 *      for (;;) {
 *        place.rows = 0;
 *        place.gap = place.start > 0;  // until a row is there that was seen
 *        int result = annal_event_query(collect, 13, place.start, place.start + kPage, 0, &place);
 *        if (result != ANNAL_OK) return result;
 *        write_out();
 *        if (place.gap) {
 *          place.start = place.start > kPage ? place.start - kPage : 0;
 *        } else if (place.rows < kPage) {
 *          return ANNAL_OK;
 *        } else {
 *          place.start += kPage - 1;
 *        }
 *      }
 *    }
 *    ```
 *
 *  - Ownership. The library keeps no pointer that it is given beyond the call, and hands out no memory to free. A text
 *    is a zero-terminated string of bytes, UTF-8 by agreement, and is only read unless the function says otherwise.
 *
 *  - Trusted text. Where a text is said to go "unescaped" into a statement, it is part of the SQL: never pass a text
 *    that came from outside (a user name, an address, a file name) without having refused single quotes in it first.
 *
 *  - Threads and signals. The library has no thread and no state of its own between calls, apart from the exported
 *    flags below; any number of threads and processes may call it at once, each with records of its own. No function
 *    may be called from a signal handler, nor between fork and exec. A child that was forked while another thread was
 *    in a call must not call the library at all, even if it never runs another program: it can hang in a lock that the
 *    other thread held.
 *
 *    A thread that is cancelled in a call ends after the call, at its next cancellation point. Row callbacks run with
 *    cancellation disabled, and every call leaves the thread's cancelability as it was. This holds for deferred
 *    cancellation, the usual type. A thread of the asynchronous type must disable cancellation itself around each call:
 *    else it can end inside SQLite or libc, with their locks held, and the process's other threads hang.
 *
 *  - Processes. Storing an event or a connection starts commands of the appliance; the functions that do so say it.
 *    They share the caller's memory until they run, so the cost does not grow with the caller; where its address space
 *    has no room for their stacks (64 KiB), they get a copy of its memory instead, as from fork. They inherit the
 *    descriptors that the caller has not marked close-on-exec. The caller never gets SIGPIPE from them and is left with
 *    no child; a SIGCHLD handler of its own may see one come and go. A SIGPIPE that another process sends meanwhile
 *    reaches the caller when the notification centre's command has ended. A command that cannot be run is not reported.
 *
 *    A call that starts a command waits for its start: until the command's exec is done, the calling thread stands
 *    still, and no signal but SIGKILL reaches it. That is short, unless the disk below the command is slow or hangs: on
 *    a slow one it took 7.5 s.
 *
 *  - What a program must not do. Each of these loses entries, of its own and of other programs:
 *    - Open and close a log's file by itself, as to copy it. When a process closes any descriptor of a file, POSIX
 *      takes all its locks on that file away, also those of a call that is under way in another thread or whose
 *      callback is running, and two programs write at once: of 2,474 acknowledged entries 125 were lost, and the log
 *      was damaged. Leave that to another process, or to SQLite.
 *    - Have two copies of SQLite, one of them linked statically, say. Each closes files under the other's locks, with
 *      the same effect: 50 of 50 entries were lost.
 *    - Set SQLite to SQLITE_CONFIG_SINGLETHREAD, or build it so, and call from two threads: nothing guards its memory.
 *    - Share SQLite's cache (sqlite3_enable_shared_cache): a call that meets another thread's fails at once, where it
 *      would wait.
 *    - Make a VFS without locks SQLite's default, such as "unix-none": it writes into a log that another program holds.
 *    - Limit the size of its files (RLIMIT_FSIZE) without ignoring SIGXFSZ: the write that goes beyond ends the
 *      program. With the signal ignored, the call answers the code of a failed statement, and nothing is stored.
 *
 *  - Standard streams. SQLite keeps logs away from the descriptors 0, 1 and 2: a program that has closed them finds
 *    them open on /dev/null after its first call that opens a log, and they stay so.
 */
#ifndef CORIX_ANNAL_H
#define CORIX_ANNAL_H

#include <stdint.h>
#include <time.h>

/* The release that this header belongs to. */
#define ANNAL_VERSION_MAJOR 2
#define ANNAL_VERSION_MINOR 0
#define ANNAL_VERSION_PATCH 0
#define ANNAL_VERSION "2.0.0"

#if defined(__GNUC__)
#define ANNAL_API __attribute__((visibility("default")))
#define ANNAL_ALIGN8 __attribute__((aligned(8))) /* on 32-bit machines too: one record layout serves all */
#else
#define ANNAL_API
#define ANNAL_ALIGN8
#endif

#ifdef __cplusplus
#if __cplusplus >= 201103L
#define ANNAL_NOEXCEPT noexcept
#else
#define ANNAL_NOEXCEPT throw()
#endif
extern "C" {
#else
#define ANNAL_NOEXCEPT
#endif

/* ---- result codes ---- */

enum annal_result {
  ANNAL_OK = 0,                      /* success */
  ANNAL_TOO_LONG = -10,              /* a text field of a record is longer than its bound */
  ANNAL_BAD_ARGUMENT = -11,          /* a null pointer, a code out of range, or a text that is no address */
  ANNAL_NO_MEMORY = -12,             /* a buffer or a statement's text could not be allocated */
  ANNAL_OPEN_FAILED = -20,           /* the log's file could not be opened (or created) */
  ANNAL_TABLE_FAILED = -21,          /* creating or dropping a table failed, or the compaction */
  ANNAL_EMPTY_FAILED = -22,          /* emptying a whole table failed */
  ANNAL_INSERT_FAILED = -23,         /* storing a new entry failed */
  ANNAL_QUERY_FAILED = -24,          /* a query failed, or its callback stopped it, or it gave no usable value */
  ANNAL_TRIGGER_FAILED = -25,        /* creating the log-full trigger failed, or trimming to a size */
  ANNAL_REMOVE_TRIGGER_FAILED = -26, /* dropping the log-full trigger failed */
  ANNAL_CHANGE_FAILED = -27,         /* a delete by selector, an added column or a migration failed */
  ANNAL_BATCH_FAILED = -29           /* a batch could not begin */
};

/* ---- codes ---- */

/*
 * Names for the numbers that the functions take. The parameters remain int and unsigned int: a plain number of the same
 * value does as well.
 */

/* The level of an event, a connection or a file operation, as the record holds it. */
enum annal_level { ANNAL_INFORMATION = 0, ANNAL_WARNING = 1, ANNAL_ERROR = 2 };

/* The queries' argument type: one more than the stored level. */
enum annal_level_filter {
  ANNAL_ANY_LEVEL = 0,
  ANNAL_ONLY_INFORMATION = 1,
  ANNAL_ONLY_WARNINGS = 2,
  ANNAL_ONLY_ERRORS = 3
};

/* The severity of a notice, as in syslog. */
enum annal_severity {
  ANNAL_SEVERITY_EMERGENCY = 0,
  ANNAL_SEVERITY_ALERT = 1,
  ANNAL_SEVERITY_CRITICAL = 2,
  ANNAL_SEVERITY_ERROR = 3,
  ANNAL_SEVERITY_WARNING = 4,
  ANNAL_SEVERITY_NOTICE = 5,
  ANNAL_SEVERITY_INFORMATIONAL = 6,
  ANNAL_SEVERITY_DEBUG = 7
};

/* The result of a connection's action: conn_action_result. */
enum annal_action_result { ANNAL_ACTION_SUCCEEDED = 0, ANNAL_ACTION_FAILED = 13 };

/* The type of a column to add. */
enum annal_column_kind { ANNAL_COLUMN_TEXT = 0, ANNAL_COLUMN_INTEGER = 1 };

/*
 * Add to a sort code for the reverse order. Rows that are equal in all the columns of a sort come in no particular
 * order.
 */
#define ANNAL_DESCENDING 1

/* Orders of events. */
enum annal_event_sort {
  ANNAL_EVENT_SORT_DATE = 0, /* date, then time */
  ANNAL_EVENT_SORT_TIME = 2, /* time, then date */
  ANNAL_EVENT_SORT_TYPE = 4,
  ANNAL_EVENT_SORT_USER = 6,
  ANNAL_EVENT_SORT_IP = 8,
  ANNAL_EVENT_SORT_COMP = 10,
  ANNAL_EVENT_SORT_ID = 12,
  ANNAL_EVENT_SORT_MSGID = 14,
  ANNAL_EVENT_SORT_TIMET = 16,
  ANNAL_EVENT_SORT_APP_ID = 18, /* this and the following: annal_event_query_ex2 and _ex3 only */
  ANNAL_EVENT_SORT_APP_NAME = 20,
  ANNAL_EVENT_SORT_CATEGORY_ID = 22,
  ANNAL_EVENT_SORT_CATEGORY = 24
};

/* Groupings of events. All but ANNAL_EVENT_GROUP_ID also group by type. */
enum annal_event_group {
  ANNAL_EVENT_GROUP_ID = 0,
  ANNAL_EVENT_GROUP_TYPE = 1,
  ANNAL_EVENT_GROUP_DATE = 2,
  ANNAL_EVENT_GROUP_TIME = 3,
  ANNAL_EVENT_GROUP_USER = 4,
  ANNAL_EVENT_GROUP_IP = 5,
  ANNAL_EVENT_GROUP_COMP = 6,
  ANNAL_EVENT_GROUP_DESC = 7
};

/* Columns by which annal_event_del deletes. */
enum annal_event_selector {
  ANNAL_EVENT_DEL_ID = 0,
  ANNAL_EVENT_DEL_TYPE = 1,
  ANNAL_EVENT_DEL_DATE = 2,
  ANNAL_EVENT_DEL_TIME = 3,
  ANNAL_EVENT_DEL_USER = 4,
  ANNAL_EVENT_DEL_IP = 5,
  ANNAL_EVENT_DEL_COMP = 6,
  ANNAL_EVENT_DEL_DESC = 7,
  ANNAL_EVENT_DEL_MSGID = 8,
  ANNAL_EVENT_DEL_TIMET = 9
};

/* Orders of connections. */
enum annal_conn_sort {
  ANNAL_CONN_SORT_DATE = 0, /* date, then time */
  ANNAL_CONN_SORT_TIME = 2, /* time, then date */
  ANNAL_CONN_SORT_TYPE = 4,
  ANNAL_CONN_SORT_USER = 6,
  ANNAL_CONN_SORT_IP = 8,
  ANNAL_CONN_SORT_COMP = 10,
  ANNAL_CONN_SORT_ID = 12,
  ANNAL_CONN_SORT_SERV = 14,
  ANNAL_CONN_SORT_ACTION = 16,
  ANNAL_CONN_SORT_APP = 18,
  ANNAL_CONN_SORT_ACTION_RESULT = 20
};

/* Groupings of connections. */
enum annal_conn_group {
  ANNAL_CONN_GROUP_ID = 0,
  ANNAL_CONN_GROUP_TYPE = 1,
  ANNAL_CONN_GROUP_DATE = 2,
  ANNAL_CONN_GROUP_TIME = 3,
  ANNAL_CONN_GROUP_USER = 4,
  ANNAL_CONN_GROUP_IP = 5,
  ANNAL_CONN_GROUP_COMP = 6,
  ANNAL_CONN_GROUP_RES = 7,
  ANNAL_CONN_GROUP_SERV = 8,
  ANNAL_CONN_GROUP_ACTION = 9,
  ANNAL_CONN_GROUP_APP = 10,
  ANNAL_CONN_GROUP_ACTION_RESULT = 11
};

/* Columns by which annal_conn_del deletes. */
enum annal_conn_selector {
  ANNAL_CONN_DEL_ID = 0,
  ANNAL_CONN_DEL_TYPE = 1,
  ANNAL_CONN_DEL_DATE = 2,
  ANNAL_CONN_DEL_TIME = 3,
  ANNAL_CONN_DEL_USER = 4,
  ANNAL_CONN_DEL_IP = 5,
  ANNAL_CONN_DEL_COMP = 6,
  ANNAL_CONN_DEL_RES = 7,
  ANNAL_CONN_DEL_SERV = 8,
  ANNAL_CONN_DEL_ACTION = 9,
  ANNAL_CONN_DEL_APP = 10,
  ANNAL_CONN_DEL_ACTION_RESULT = 11
};

/* Orders of file operations. */
enum annal_fileop_sort {
  ANNAL_FILEOP_SORT_DATE = 0, /* date, then time */
  ANNAL_FILEOP_SORT_TIME = 2, /* time, then date */
  ANNAL_FILEOP_SORT_TYPE = 4,
  ANNAL_FILEOP_SORT_USER = 6,
  ANNAL_FILEOP_SORT_IP = 8,
  ANNAL_FILEOP_SORT_COMP = 10,
  ANNAL_FILEOP_SORT_ID = 12,
  ANNAL_FILEOP_SORT_ISFOLDER = 14,
  ANNAL_FILEOP_SORT_ACTION = 16,
  ANNAL_FILEOP_SORT_FILESIZE = 18
};

/* Columns by which pavo2log_event_del deletes. */
enum annal_fileop_selector {
  ANNAL_FILEOP_DEL_ID = 0,
  ANNAL_FILEOP_DEL_TYPE = 1,
  ANNAL_FILEOP_DEL_DATE = 2,
  ANNAL_FILEOP_DEL_TIME = 3,
  ANNAL_FILEOP_DEL_USER = 4,
  ANNAL_FILEOP_DEL_IP = 5,
  ANNAL_FILEOP_DEL_ISFOLDER = 6,
  ANNAL_FILEOP_DEL_ACTION = 7,
  ANNAL_FILEOP_DEL_FILESIZE = 8,
  ANNAL_FILEOP_DEL_COMP = 9,
  ANNAL_FILEOP_DEL_DUID = 10,
  ANNAL_FILEOP_DEL_DESC = 11,
  ANNAL_FILEOP_DEL_FILEPATH = 12
};

/* Orders of notices. */
enum annal_notice_sort {
  ANNAL_NOTICE_SORT_TIME = 0,
  ANNAL_NOTICE_SORT_SEVERITY = 4,
  ANNAL_NOTICE_SORT_USER = 6,
  ANNAL_NOTICE_SORT_IP = 8,
  ANNAL_NOTICE_SORT_CLIENT = 10,
  ANNAL_NOTICE_SORT_ID = 12,
  ANNAL_NOTICE_SORT_SERVER = 14,
  ANNAL_NOTICE_SORT_ACTION = 16,
  ANNAL_NOTICE_SORT_SERVICENAME = 18,
  ANNAL_NOTICE_SORT_FACILITY = 20,
  ANNAL_NOTICE_SORT_MSGCODE = 22
};

/* Groupings of notices. */
enum annal_notice_group {
  ANNAL_NOTICE_GROUP_ID = 0,
  ANNAL_NOTICE_GROUP_SEVERITY = 1,
  ANNAL_NOTICE_GROUP_SERVER = 2,
  ANNAL_NOTICE_GROUP_ACTION = 3,
  ANNAL_NOTICE_GROUP_SERVICENAME = 4,
  ANNAL_NOTICE_GROUP_FACILITY = 5,
  ANNAL_NOTICE_GROUP_TIME = 6,
  ANNAL_NOTICE_GROUP_ENDTIME = 7,
  ANNAL_NOTICE_GROUP_USER = 8,
  ANNAL_NOTICE_GROUP_IP = 9,
  ANNAL_NOTICE_GROUP_DESC = 11,
  ANNAL_NOTICE_GROUP_MSGCODE = 12,
  ANNAL_NOTICE_GROUP_VARNUM = 13,
  ANNAL_NOTICE_GROUP_VARCONTENT = 14,
  ANNAL_NOTICE_GROUP_ALIKE = 15 /* facility, name and desc together */
};

/* Columns by which annal_notice_del deletes. */
enum annal_notice_selector {
  ANNAL_NOTICE_DEL_ID = 0,
  ANNAL_NOTICE_DEL_SEVERITY = 1,
  ANNAL_NOTICE_DEL_SERVER = 2,
  ANNAL_NOTICE_DEL_ACTION = 3,
  ANNAL_NOTICE_DEL_SERVICENAME = 4,
  ANNAL_NOTICE_DEL_FACILITY = 5,
  ANNAL_NOTICE_DEL_TIME = 6,
  ANNAL_NOTICE_DEL_ENDTIME = 7,
  ANNAL_NOTICE_DEL_USER = 8,
  ANNAL_NOTICE_DEL_IP = 9,
  ANNAL_NOTICE_DEL_DESC = 11,
  ANNAL_NOTICE_DEL_MSGCODE = 12,
  ANNAL_NOTICE_DEL_VARNUM = 13,
  ANNAL_NOTICE_DEL_VARCONTENT = 14,
  ANNAL_NOTICE_DEL_NAME = 15,
  ANNAL_NOTICE_DEL_STATUS = 16,
  ANNAL_NOTICE_DEL_UID = 17,
  ANNAL_NOTICE_DEL_GID = 18,
  ANNAL_NOTICE_DEL_LINK_ID = 19,
  ANNAL_NOTICE_DEL_LINK_OPTION = 20,
  ANNAL_NOTICE_DEL_TITLE = 21
};

/* ---- types ---- */

/*
 * Receives the rows of a listing, one call a row: the listing's context pointer, the number of columns, their texts
 * (a null pointer for NULL) and their names. The arrays and texts belong to SQLite and are valid during the call only.
 * A result other than 0 stops the listing, which then answers ANNAL_QUERY_FAILED. It must not throw and must not leave
 * by longjmp; it may call functions of this library. It holds writers up ("Slow callbacks" above). A null callback runs
 * the statement and drops its rows.
 */
typedef int (*annal_row_callback)(void* context, int columns, char** values, char** names);

/*
 * One entry of a system event log, as callers hand it in. Every text field is a zero-terminated string inside its
 * array: char[65] holds up to 64 bytes and the terminator. Zero the whole record (memset) before filling it: the text
 * of an unused field must at least be terminated.
 *
 * The three shorter forms are what callers of earlier releases were compiled with. Each has the same fields as far as
 * it goes.
 */
typedef struct EventRecord {
  int32_t event_id;                 /* not read */
  int32_t event_type;               /* level: 0 information, 1 warning, 2 error */
  char event_date_time[56];         /* neither read nor written */
  char event_user[65];              /* user name */
  char event_ip[65];                /* source address, IPv4 or IPv6 */
  char event_comp[65];              /* computer (host) name */
  char event_desc[2049];            /* message text */
  char event_msgid[65];             /* message identifier */
  ANNAL_ALIGN8 int64_t event_timet; /* seconds since 1970-01-01 00:00:00 UTC; 0 means now */
  char event_app_id[65];            /* application identifier */
  char event_app_name[129];         /* application name */
  char event_category_id[65];       /* category identifier */
  char event_category[129];         /* category name */
  char event_client_id[65];         /* client identifier */
  char event_client_app[129];       /* client application */
  char event_client_agent[256];     /* client agent */
} EventRecord;

typedef struct EventRecordBasic {
  int32_t event_id;
  int32_t event_type;
  char event_date_time[56];
  char event_user[65];
  char event_ip[65];
  char event_comp[65];
  char event_desc[2049];
  char event_msgid[65];
} EventRecordBasic;

typedef struct EventRecordMsgId {
  int32_t event_id;
  int32_t event_type;
  char event_date_time[56];
  char event_user[65];
  char event_ip[65];
  char event_comp[65];
  char event_desc[2049];
  char event_msgid[65];
  ANNAL_ALIGN8 int64_t event_timet;
} EventRecordMsgId;

typedef struct EventRecordEx {
  int32_t event_id;
  int32_t event_type;
  char event_date_time[56];
  char event_user[65];
  char event_ip[65];
  char event_comp[65];
  char event_desc[2049];
  char event_msgid[65];
  ANNAL_ALIGN8 int64_t event_timet;
  char event_app_id[65];
  char event_app_name[129];
  char event_category_id[65];
  char event_category[129];
} EventRecordEx;

/*
 * One connection, as annal_conn_add2 takes it. Texts are UTF-8, end with a zero byte inside their field, and empty
 * where there is nothing to say; zero the record before filling it. ConnRecordV1 is what callers of earlier releases
 * were compiled with.
 */
typedef struct ConnRecord {
  int32_t conn_id;             /* not read */
  int32_t conn_type;           /* level: 0 information, 1 warning, 2 error */
  char conn_date[28];          /* neither read nor written: the log stamps the entry itself */
  char conn_time[28];          /* likewise */
  char conn_user[65];          /* user name */
  char conn_ip[65];            /* client address, IPv4 or IPv6 */
  char conn_comp[65];          /* client computer name */
  char conn_res[1025];         /* resource: the path, share or page that was accessed */
  int32_t conn_serv;           /* service number, 0 to 12 */
  int32_t conn_action;         /* action number, 0 to 36 */
  char conn_app[257];          /* application name */
  int32_t conn_action_result;  /* 0 or 13, nothing else */
  char conn_client_id[65];     /* client identifier */
  char conn_client_app[129];   /* client application */
  char conn_client_agent[257]; /* client's user agent */
} ConnRecord;

typedef struct ConnRecordV1 {
  int32_t conn_id;
  int32_t conn_type;
  char conn_date[28];
  char conn_time[28];
  char conn_user[65];
  char conn_ip[65];
  char conn_comp[65];
  char conn_res[1025];
  int32_t conn_serv;
  int32_t conn_action;
  char conn_app[257];
  int32_t conn_action_result;
} ConnRecordV1;

/*
 * One notice, as callers hand it in. Every text field is a zero-terminated string inside its array. Zero the whole
 * record (memset) before filling it: the text of an unused field must at least be terminated.
 */
typedef struct NoticeRecord {
  int32_t id;        /* not read */
  uint32_t severity; /* as syslog numbers it, 0 to 7: 3 error, 4 warning, 6 information */
  int32_t server;    /* the numbers of which nothing is said have the meaning that callers give them */
  int32_t action;
  char serviceName[1025];    /* the service that the notice comes from */
  int32_t facility;          /* as in notice_facility_list */
  ANNAL_ALIGN8 int64_t time; /* not read */
  int64_t endtime;           /* not read */
  char user[65];             /* user name */
  char ip[65];               /* the client's address, IPv4 or IPv6 */
  char client[65];           /* the client's host name */
  char desc[2049];           /* the notice's text */
  char msgCode[65];          /* message code */
  int32_t varNum;            /* how many variables the message has */
  char varContent[2049];     /* the variables, as one text */
  char name[129];            /* the notice's name */
  int32_t status;
  int32_t uid;            /* user number; any negative one for none */
  int32_t gid;            /* group number; any negative one for none */
  char link_id[257];      /* identifier of what the notice is linked to */
  char link_option[1025]; /* option of that link */
  char title[257];        /* the notice's title */
} NoticeRecord;

/*
 * One entry of a file-operation log, as pavo2log_event_add takes it: what a user of the web file manager did, to what
 * file. Zero the whole record before filling it. The widths include the terminators; the two paths may have any length.
 */
typedef struct FileOpRecord {
  int32_t event_id;              /* not read */
  uint32_t event_type;           /* level: 0 information, 1 warning, 2 error */
  struct tm event_tm;            /* local time; a tm_year of 0 means now. Of the others only date and time are read */
  char event_user[65];           /* user name; empty: "System" */
  char event_ip[65];             /* client address; none: "127.0.0.1" */
  const char* event_oldfilepath; /* path before a move or renaming; null: an empty text */
  const char* event_filepath;    /* path that was operated on; null: an empty text */
  uint32_t event_isFolder;       /* 0 to 2, as the file manager defines it */
  uint32_t event_action;         /* operation, 1 to 35, as the file manager defines it */
  int32_t event_filesize;        /* in bytes, as far as 32 bits hold it: stored as it is, a negative one too */
  char event_comp[65];           /* client computer; empty: "localhost" */
  char event_duid[65];           /* client device; empty: "localhost" */
  char event_desc[1025];         /* description */
} FileOpRecord;

/*
 * Which file operations are looked for: every condition that is there has to hold. "Contains" ignores the case of ASCII
 * letters and reads "%" as any text and "_" as any character.
 */
typedef struct FileOpFilter {
  int32_t event_id;              /* not read */
  uint32_t event_type;           /* 0 all, 1 information, 2 warnings, 3 errors (one more than the stored event_type) */
  char date_from[11];            /* first date, as 2026-11-21; empty with a date_to: today */
  char date_to[11];              /* last date; empty with a date_from: today. Both empty: any date */
  char event_user[65];           /* contained in the user; empty: any */
  char event_ip[65];             /* contained in the address; empty: any */
  const char* event_oldfilepath; /* contained in the old path; null: any */
  const char* event_filepath;    /* contained in the path; null: any */
  int32_t event_isFolder;        /* equal; 0 or less: any */
  int32_t event_action;          /* equal; 0 or less: any */
  int32_t event_filesize;        /* equal; below 0: any. A zeroed filter looks for empty files */
  char event_comp[65];           /* contained in the computer; empty: any */
  char event_duid[65];           /* empty: any; else the device equals the text in event_comp */
  char event_desc[1025];         /* contained in the description; empty: any */
} FileOpFilter;

/* One entry of notice_facility_list. */
typedef struct NoticeFacility {
  int32_t number;   /* -1 ends the list */
  const char* name; /* for display; a null pointer ends the list */
} NoticeFacility;

/*
 * One message of the catalog. In an array's first entry all texts are empty and the level is 0; in its last every
 * pointer is null and the level is 0.
 */
typedef struct CatalogEntry {
  const char* app_id;       /* the application, "A" and three digits, as in the array's name; null ends the array */
  long level;               /* 1 error, 2 warning, 4 information; 0 for a phrase */
  const char* category_id;  /* "C" and three digits; "[reserved]" without a category, and for a phrase */
  const char* msg_no;       /* the number, decimal, unique in the array; for a phrase its token, as "%V002%" */
  const char* msg_template; /* one line of up to 400 characters with the placeholders {0} to {20}; or the phrase */
} CatalogEntry;

/* One column of a table's current layout, for annal_common_migrate_db. */
typedef struct AnnalColumn {
  const char* name;    /* the column expected at this position */
  const char* add_sql; /* the whole statement, ending with ";", that adds it to an older table; null: never added */
} AnnalColumn;

/* ---- helpers ---- */

/*
 * Normalises and checks an address in place.
 *
 * ip: an IPv4 or IPv6 address text, changed in place. A zone suffix is cut off (fe80::1%eth0 becomes fe80::1), also
 * when the rest is then refused; an IPv4 address in IPv6 form loses its prefix (::ffff:10.0.0.5, in any case of the
 * letters, becomes 10.0.0.5), and the seven bytes that it leaves at its end become zero bytes. Of a zone only the "%"
 * is overwritten. Nothing behind the text's own terminator is written: a field of a record is not cleared to its end.
 *
 * Returns ANNAL_OK when the text is an address, ANNAL_BAD_ARGUMENT when it is none (an empty text too), and
 * ANNAL_NO_MEMORY, by old custom, for a null pointer. Touches no file.
 */
ANNAL_API int annal_checkip(char* ip) ANNAL_NOEXCEPT;

/*
 * The host name and the local address that the logs use as defaults: the fixed texts "localhost" and "127.0.0.1".
 *
 * out: a buffer of at least 64 bytes, of which all 64 are written: the text, then zero bytes.
 * Return ANNAL_OK, or ANNAL_BAD_ARGUMENT for a null pointer. Neither asks the system for anything.
 */
ANNAL_API int annal_gethostname(char* out) ANNAL_NOEXCEPT;
ANNAL_API int annal_getlocalip(char* out) ANNAL_NOEXCEPT;

/*
 * Was meant to compact the event log, and never has: it answers ANNAL_TABLE_FAILED on every log, healthy or not, and
 * ANNAL_OPEN_FAILED when /etc/logs/event.log cannot be opened. Nothing is compacted. Callers rely on that: a
 * compaction would lock every writer out of a full log for as long as it takes. Does not wait.
 */
ANNAL_API int annal_common_pack_db(void) ANNAL_NOEXCEPT;

/*
 * Brings an older table up to a list of columns by adding the trailing columns that it lacks, all in one transaction.
 *
 * filename: path of the database file. table: the table's name, unescaped. list: count entries in the table's column
 * order (null only with a count of 0).
 *
 * Returns
 *   ANNAL_OK             the table has exactly the listed columns now, or had them before;
 *   ANNAL_BAD_ARGUMENT   a null filename, table or list;
 *   ANNAL_NO_MEMORY      the statements' text could not be allocated (the file has been opened, nothing is changed);
 *   ANNAL_OPEN_FAILED    the file could not be opened, or SQLite refused to look up the table's columns;
 *   ANNAL_CHANGE_FAILED  the table's columns differ in name or order from the head of the list, or are more than the
 *                        list has, or could not be read to the end, or a missing column has no statement, or a
 *                        statement failed. No column was added.
 * Waits up to 20 s.
 */
ANNAL_API int annal_common_migrate_db(const char* filename, const char* table, const AnnalColumn* list,
                                      unsigned long count) ANNAL_NOEXCEPT;

/*
 * Frees a text that SQLite's allocator made and clears the pointer to it.
 *
 * slot: the address of a char*. A null slot, and a slot that holds a null pointer, are left alone.
 */
ANNAL_API void auto_free_str(void* slot) ANNAL_NOEXCEPT;

/* ---- event log: table and maintenance ---- */
/*
 * The log's file is /etc/logs/event.log, its table ANNAL_EVENT. Every function here that opens it answers
 * ANNAL_OPEN_FAILED when it cannot, and ANNAL_NO_MEMORY when its statement cannot be built.
 */

/*
 * Creates the table, its indexes and its log-full trigger.
 *
 * limit: the largest number of entries kept; 0 or less means 100000. batch: how many of the oldest entries (by date,
 * then time) go at once when an insert exceeds the limit; 0 or less means 1.
 *
 * Returns ANNAL_OK; ANNAL_TABLE_FAILED when the table could not be created, as when it is there already; or what
 * annal_event_add_trigger_logfull answers, with the table left in place. Waits up to 20 s, for the table and again for
 * the trigger. A process that is killed between the two (38 of 150 kills in the midst of it) leaves a table without its
 * limit, which grows for ever; creating it again then answers ANNAL_TABLE_FAILED. "annalctl event check" says that the
 * row limit is missing, and which command helps; annal_event_add_trigger_logfull adds it. So it is with all four logs.
 */
ANNAL_API int annal_event_create_tbl(int limit, int batch) ANNAL_NOEXCEPT;

/* Drops the table with all its entries. ANNAL_TABLE_FAILED when that fails, as when there is none. Does not wait. */
ANNAL_API int annal_event_remove_tbl(void) ANNAL_NOEXCEPT;

/* Deletes every entry and keeps the table. ANNAL_EMPTY_FAILED when that fails. Waits up to 20 s. */
ANNAL_API int annal_event_flush_tbl(void) ANNAL_NOEXCEPT;

/*
 * Creates the log-full trigger; arguments and their defaults as for annal_event_create_tbl. To change the limits,
 * remove the trigger first. ANNAL_TRIGGER_FAILED when it fails, as when there is a trigger. Waits up to 20 s.
 */
ANNAL_API int annal_event_add_trigger_logfull(int limit, int batch) ANNAL_NOEXCEPT;

/* Drops the log-full trigger; none to drop is a success. ANNAL_REMOVE_TRIGGER_FAILED on failure. Waits up to 20 s. */
ANNAL_API int annal_event_remove_trigger_logfull(void) ANNAL_NOEXCEPT;

/*
 * Deletes the oldest entries (by date, then time) so that limit entries are left; 0 or less means 100000. Fewer
 * entries than that are left alone. ANNAL_TRIGGER_FAILED on failure. Waits up to 20 s.
 */
ANNAL_API int annal_event_del_logfull_over_size(int limit) ANNAL_NOEXCEPT;

/*
 * Deletes the entries whose column equals a value. None that matches is a success.
 *
 * selector: the column. 0 event_id, 1 event_type, 2 event_date, 3 event_time, 4 event_user, 5 event_ip, 6 event_comp,
 * 7 event_desc, 8 event_msgid, 9 event_timet.
 * value: for 0, 1 and 9 the address of an int, for the others a text. The text goes unescaped between single quotes
 * into the statement: one with a single quote in it is SQL, not a value.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for another selector or a null value; ANNAL_CHANGE_FAILED when the statement
 * fails. Does not wait.
 */
ANNAL_API int annal_event_del(unsigned int selector, const void* value) ANNAL_NOEXCEPT;

/*
 * Tells whether the table has a column, by way of its value in the first row.
 *
 * column: the column's name, unescaped.
 *
 * Returns that value read as an integer (0 for a text that is no number) when it is 0 or more: take any such answer
 * as "the column is there". ANNAL_QUERY_FAILED for a missing column, and also for an empty table or a negative value;
 * ANNAL_BAD_ARGUMENT for a null pointer. Waits up to 20 s.
 */
ANNAL_API int annal_event_table_check_column(const char* column) ANNAL_NOEXCEPT;

/*
 * Adds a column.
 *
 * column: its name, unescaped. kind: 0 for TEXT, 1 for INTEGER. default_text: its default in either case, unescaped
 * between single quotes.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a null pointer or another kind; ANNAL_CHANGE_FAILED when the statement
 * fails, as when the column is there already. Does not wait.
 */
ANNAL_API int annal_event_table_add_column(const char* column, int kind, const char* default_text) ANNAL_NOEXCEPT;

/*
 * Rewrites every entry with a time stamp computed from its date and time texts.
 *
 * unused: not read. text: the strftime format of the computation, unescaped; "%s" gives seconds since 1970.
 *
 * The date and time are joined without a blank, as they always were, and the entries are rewritten through REPLACE with
 * the columns event_id to event_timet only: application, category and client columns fall back to their defaults.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a null text, with nothing opened and no entry changed; ANNAL_CHANGE_FAILED
 * when the statement fails. Does not wait.
 */
ANNAL_API int annal_event_table_update_event_timet(const void* unused, const char* text) ANNAL_NOEXCEPT;

/*
 * Adds the columns that a table made by an earlier release lacks. Returns what annal_common_migrate_db answers for the
 * event table. Waits up to 20 s.
 */
ANNAL_API int annal_event_modify_tbl(void) ANNAL_NOEXCEPT;

/*
 * How the filtering event queries match a user: 0, the initial value, finds every user whose name contains the given
 * text; anything else finds the user of exactly that name. A program may read and write it directly at any time,
 * atomically where other threads use it; it holds for the whole process.
 */
ANNAL_API extern int is_event_name_matching;

/* Sets is_event_name_matching to 1 when on is not 0, else to 0, and returns its address. Touches no file. */
ANNAL_API int* annal_event_enable_name_matching(int on) ANNAL_NOEXCEPT;

/* ---- event log: submission ---- */

/*
 * Clears the fields of a record that the first release had: event_type becomes 0, and the first 64 bytes of
 * event_user, event_ip, event_comp and event_msgid and the first 2048 of event_desc become zero bytes. All else is
 * left untouched: callers of the _ex2 and _ex3 forms clear the later fields themselves.
 *
 * Returns the address of the record's event_desc, or a null pointer for a null record. Touches no file.
 */
ANNAL_API char* InitAnnalEvent(EventRecord* record) ANNAL_NOEXCEPT;

/*
 * Stores one event, and hands it to the appliance's other log consumers.
 *
 * record: the event, changed in place as follows once its checks are passed, whether or not it can then be stored.
 *   - empty event_user, event_msgid, event_app_id, event_app_name, event_category_id, event_category, event_client_id,
 *     event_client_app and event_client_agent become "---"; empty event_comp becomes "localhost";
 *   - event_ip is normalised as annal_checkip does it, and becomes "---" when it is no address: that is no error;
 *   - event_timet 0 becomes the current time;
 *   - an event with neither address nor client application gets the client application "localhost": it is taken to
 *     come from the appliance itself;
 *   - Unicode control characters are removed from event_desc.
 *   A replaced field is filled up with zero bytes to 64 bytes in all, the fields of 129 bytes to 128, except that "---"
 *   fills the whole of event_client_app and event_client_agent; an address without its prefix is, to 63.
 * The date and time columns are those of event_timet in local time. The time stamp is stored as a 32-bit number.
 *
 * Bounds, in bytes: 64 for event_user, event_ip, event_comp, event_app_id and event_category_id, 128 for
 * event_app_name and event_category, 2048 for event_desc. An event_msgid of more than 64 bytes is replaced by "0",
 * also when a later check fails. The client fields are not checked: a text that is not terminated inside its field is
 * read on into the next, though never beyond the record.
 *
 * Returns
 *   ANNAL_OK             the event is stored, whatever became of the rest;
 *   ANNAL_TOO_LONG       a field is longer than its bound;
 *   ANNAL_BAD_ARGUMENT   a null record, or an event_type other than 0, 1 and 2;
 *   ANNAL_NO_MEMORY      the statement could not be built;
 *   ANNAL_OPEN_FAILED    /etc/logs/event.log could not be opened;
 *   ANNAL_INSERT_FAILED  the file is locked, damaged, full or has no such table. Nothing is stored.
 * Waits up to 20 s.
 *
 * A stored event, as the record now holds it, then goes to the notification centre (annal_report_event), to
 * SNMPTrap_Send_Alert, to the log centre (SendEventToLumod), to SendEventToZSyslogd, when it is a warning or an error
 * to SendNoticeToLogEngine, and to the recorder (send_event_log_to_orca). Starts processes: the call waits until the
 * notification centre's command has ended, and until the other two have started. A notification command that never ends
 * keeps the call, with its event stored, for ever, and so does one of the platform's functions that never returns.
 */
ANNAL_API int annal_event_add_msgid_ex3(EventRecord* record) ANNAL_NOEXCEPT;

/*
 * The same for callers of earlier releases. Each works on a copy, so that the caller's record stays as it is; a field
 * that the shorter record lacks counts as empty. Results as annal_event_add_msgid_ex3.
 *
 * annal_event_add reads event_type, event_user, event_ip, event_comp and event_desc only, cuts each text at its bound
 * instead of refusing it, and stores the message identifier "0". The alignment bytes behind the last field of an
 * EventRecordEx are taken over with it: zero the record before filling it.
 */
ANNAL_API int annal_event_add(const EventRecordBasic* record) ANNAL_NOEXCEPT;
ANNAL_API int annal_event_add_msgid(const EventRecordMsgId* record) ANNAL_NOEXCEPT;
ANNAL_API int annal_event_add_msgid_ex2(const EventRecordEx* record) ANNAL_NOEXCEPT;

/* ---- event log: other consumers ---- */
/*
 * What storing an event calls, for programs that want one of them alone. None reports a failure, none touches a log,
 * and a text that is not valid UTF-8 is passed on as it is.
 */

/*
 * Sends a message to the notification centre: runs "/usr/local/sbin/evsh -0 nc.send_message" through the shell with one
 * JSON object on its standard input, {"type":1,"level":L,"message":"..."}.
 *
 * type: 0 information, 1 warning, 2 error, sent as the levels 1, 2 and 4; any other as 0. message: a text, in which
 * quotes and backslashes are escaped and nothing else; a null pointer counts as empty.
 *
 * Returns ANNAL_OK always. Starts a process and waits until it has ended, however long that takes.
 */
ANNAL_API int annal_report_event(unsigned int type, const char* message) ANNAL_NOEXCEPT;

/*
 * Sends an event to the log centre: starts "/usr/local/sbin/evsh" "lumo.add_local_event_log" with one "key=value"
 * argument for the level, and for each of time stamp, user, ip, computer, application, category and message that is not
 * empty; then client_id, client_app and client_agent from the record or, where they are empty, from the environment
 * variables HTTP_CLIENT_ID, HTTP_CLIENT_APP and HTTP_CLIENT_AGENT. The texts have room for 10240 bytes in all, and what
 * is beyond is cut.
 *
 * record: read only. A text that is not terminated inside its field is read on into the next, though never beyond the
 * record. A null record, or one without event_desc, sends nothing. Starts a process, and waits for its start, not for
 * its end. Reads the environment: no other thread may change it meanwhile.
 */
ANNAL_API void SendEventToLumod(const EventRecord* record) ANNAL_NOEXCEPT;

/*
 * Sends an event to the video-surveillance recorder when one is installed, that is, when
 * "/sbin/orcapro_conn_log_tool" exists: starts "/sbin/orcapro_log_tool" with the type behind "-t", the time stamp
 * behind
 * "-l", user "-u", ip "-p", computer "-m" and message "-a".
 *
 * record: read only, its texts read as by SendEventToLumod; null sends nothing. timestamp: seconds since 1970.
 *
 * Returns ANNAL_OK always. Starts a process, and waits for its start, not for its end.
 */
ANNAL_API int send_event_log_to_orca(const EventRecord* record, unsigned long timestamp) ANNAL_NOEXCEPT;

/* ---- event log: queries ---- */
/*
 * Selectors that the event queries share:
 *
 * type: 0 all events, 1 information, 2 warnings, 3 errors (one more than the stored event_type).
 *
 * sort: 0 date and time, 2 time and date, 4 type, 6 user, 8 address, 10 computer, 12 id, 14 message id, 16 time stamp;
 * one more for the reverse order. 18 to 25 are accepted and leave the rows unsorted.
 *
 * start, end: the rows from start up to, but not including, end, counted from 0. With 10 and 30: at most 20 rows,
 * beginning with the eleventh. 0 and 0 mean all rows, any other equal pair none.
 *
 * group: 0 id, 1 type, and, each within its type, 2 date, 3 time, 4 user, 5 address, 6 computer, 7 to 9 message text.
 */

/*
 * Lists events. The callback gets 17 columns: event_id, event_type, event_date, event_time, event_user, event_ip,
 * event_comp, event_desc, event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category,
 * event_client_id, event_client_app and event_client_agent. context is handed to it as it is.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a sort above 25, a type above 3, or a range that is negative or inverted;
 * ANNAL_NO_MEMORY; ANNAL_OPEN_FAILED; ANNAL_QUERY_FAILED when the statement fails or the callback stops it. Rows that
 * were delivered before a failure stay delivered. Waits up to 20 s.
 */
ANNAL_API int annal_event_query(annal_row_callback callback, unsigned int sort, int start, int end, unsigned int type,
                                void* context) ANNAL_NOEXCEPT;

/*
 * Lists one event of each group, with an eighteenth column "COUNT(*)": the size of the group. Which event of its group
 * is listed is SQLite's choice. Results as annal_event_query; ANNAL_BAD_ARGUMENT also for a group above 9.
 */
ANNAL_API int annal_event_query_group(annal_row_callback callback, unsigned int sort, int start, int end,
                                      unsigned int type, unsigned int group, void* context) ANNAL_NOEXCEPT;

/*
 * Counts events. Returns their number, or ANNAL_BAD_ARGUMENT for a type above 3, ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED,
 * or ANNAL_QUERY_FAILED (no such table, or locked for longer than the wait). Waits up to 20 s.
 */
ANNAL_API int annal_event_query_count(unsigned int type) ANNAL_NOEXCEPT;

/*
 * Filters of the searching event queries, all of which an event must pass:
 *
 *   date_from, date_to   the dates between, both included, as "2026-01-31"; both null for any time.
 *   time_from, time_to   with them the period is from one date and time to the other, as "23:59:59"; both null for
 *                        whole days. Not looked at without dates.
 *   user                 contained in the user name, or the name itself (is_event_name_matching); null means any
 *   ip, comp, desc, app_id, app_name, category_id, category, client_id, client_app, client_agent
 *                        contained in the column; null means any. As in every LIKE of SQLite, "%" and "_" stand for any
 *                        text and any character, and ASCII letters are the same in both cases.
 * Every text is escaped: nothing in it has a meaning to SQL.
 *
 * Two combinations of the _ex2 and _ex3 forms are refused with ANNAL_QUERY_FAILED, by a custom that callers rely on:
 *   - category_id and category together, when no other filter is given;
 *   - a client filter together with an application or category filter, when none of type, period, user, ip, comp and
 *     desc is given.
 * With any of these six beside them, both work.
 *
 * Listing and grouping return ANNAL_OK; ANNAL_BAD_ARGUMENT for a sort above 25, a type above 3, a group above 9, a
 * range that is negative or inverted, or one date or time of a pair without the other; ANNAL_NO_MEMORY;
 * ANNAL_OPEN_FAILED; ANNAL_QUERY_FAILED when the statement fails or the callback stops it. Rows that were delivered
 * before a failure stay delivered. Counting returns the number of events, or one of these codes; it does not check the
 * pair of times: with a time_from and no time_to the period ends before the day of date_to begins, and a time_to
 * without time_from is not looked at. All wait up to 20 s.
 */

/*
 * List events that pass the filters, with the columns of annal_event_query. Each later form takes the earlier one's
 * arguments and further filters. _ex2 and _ex3 sort by 18 application id, 20 application name, 22 category id and 24
 * category too, one more for the reverse order; _ex leaves these unsorted.
 */
ANNAL_API int annal_event_query_ex(annal_row_callback callback, unsigned int sort, int start, int end,
                                   unsigned int type, const char* date_from, const char* date_to, const char* user,
                                   const char* ip, const char* comp, const char* desc, void* context,
                                   const char* time_from, const char* time_to) ANNAL_NOEXCEPT;
ANNAL_API int annal_event_query_ex2(annal_row_callback callback, unsigned int sort, int start, int end,
                                    unsigned int type, const char* date_from, const char* date_to, const char* user,
                                    const char* ip, const char* comp, const char* desc, void* context,
                                    const char* time_from, const char* time_to, const char* app_id,
                                    const char* app_name, const char* category_id, const char* category) ANNAL_NOEXCEPT;
ANNAL_API int annal_event_query_ex3(annal_row_callback callback, unsigned int sort, int start, int end,
                                    unsigned int type, const char* date_from, const char* date_to, const char* user,
                                    const char* ip, const char* comp, const char* desc, void* context,
                                    const char* time_from, const char* time_to, const char* app_id,
                                    const char* app_name, const char* category_id, const char* category,
                                    const char* client_id, const char* client_app,
                                    const char* client_agent) ANNAL_NOEXCEPT;

/* Count events that pass the filters. */
ANNAL_API int annal_event_query_count_ex(unsigned int type, const char* date_from, const char* date_to,
                                         const char* user, const char* ip, const char* comp, const char* desc,
                                         const char* time_from, const char* time_to) ANNAL_NOEXCEPT;
ANNAL_API int annal_event_query_count_ex2(unsigned int type, const char* date_from, const char* date_to,
                                          const char* user, const char* ip, const char* comp, const char* desc,
                                          const char* time_from, const char* time_to, const char* app_id,
                                          const char* app_name, const char* category_id,
                                          const char* category) ANNAL_NOEXCEPT;
ANNAL_API int annal_event_query_count_ex3(unsigned int type, const char* date_from, const char* date_to,
                                          const char* user, const char* ip, const char* comp, const char* desc,
                                          const char* time_from, const char* time_to, const char* app_id,
                                          const char* app_name, const char* category_id, const char* category,
                                          const char* client_id, const char* client_app,
                                          const char* client_agent) ANNAL_NOEXCEPT;

/* Lists one event of each group of those that pass the filters, as annal_event_query_group does. */
ANNAL_API int annal_event_query_group_ex(annal_row_callback callback, unsigned int sort, int start, int end,
                                         unsigned int type, const char* date_from, const char* date_to,
                                         const char* user, const char* ip, const char* comp, const char* desc,
                                         unsigned int group, void* context, const char* time_from,
                                         const char* time_to) ANNAL_NOEXCEPT;

/*
 * What a polling client asks for: the events of some types since it last looked.
 *
 * types: stored types (0, 1, 2), not the selector above, separated by commas, as "0,2". The first three count;
 *   other numbers are left out, and what begins with no number is 0. Without any type the call answers
 *   ANNAL_QUERY_FAILED. At most 63 bytes are read.
 * client_time: seconds since 1970 as a text, which goes into the statement as a bare expression: it must be a number.
 * days: only events of the last so many days, of 86400 seconds each.
 *
 * The count and the grouping leave out what is stamped in the future; the listing does not. The listing delivers the
 * table's own columns in the table's own order, the grouping the columns of annal_event_query_group; it sorts before it
 * groups. Results as above; ANNAL_BAD_ARGUMENT also for a null types or client_time, or negative days.
 */
ANNAL_API int annal_event_query_byclientTime_count_ex(const char* types, const char* client_time,
                                                      int days) ANNAL_NOEXCEPT;
ANNAL_API int annal_event_query_byclientTime_ex(annal_row_callback callback, const char* types, const char* client_time,
                                                int days, int start, int end, unsigned int sort,
                                                void* context) ANNAL_NOEXCEPT;
ANNAL_API int annal_event_query_byclientTime_group(annal_row_callback callback, const char* types,
                                                   const char* client_time, int days, int start, int end,
                                                   unsigned int sort, unsigned int group, void* context) ANNAL_NOEXCEPT;

/* ---- connection log: table and maintenance ---- */
/*
 * The log's file is /etc/logs/conn.log, its table ANNAL_CONN. Every function here that opens it answers
 * ANNAL_OPEN_FAILED when it cannot, and ANNAL_NO_MEMORY when its statement cannot be built.
 */

/*
 * Creates the table, its indexes and its log-full trigger.
 *
 * max_rows: the largest number of entries kept; 0 or less means 10000. del_rows: how many of the oldest entries (by
 * date, then time) go at once when an insert exceeds it; 0 or less means 1.
 *
 * Returns ANNAL_OK; ANNAL_TABLE_FAILED when the table could not be created, as when it is there already; or what
 * annal_conn_add_trigger_logfull answers, with the table left in place. Waits up to 20 s, for the table and again for
 * the trigger.
 */
ANNAL_API int annal_conn_create_tbl(int max_rows, int del_rows) ANNAL_NOEXCEPT;

/* Drops the table with all its entries. ANNAL_TABLE_FAILED when that fails, as when there is none. Does not wait. */
ANNAL_API int annal_conn_remove_tbl(void) ANNAL_NOEXCEPT;

/* Deletes every entry and keeps the table. ANNAL_EMPTY_FAILED when that fails. Waits up to 20 s. */
ANNAL_API int annal_conn_flush_tbl(void) ANNAL_NOEXCEPT;

/*
 * Creates the log-full trigger; arguments and their defaults as for annal_conn_create_tbl. To change the limits, remove
 * the trigger first. ANNAL_TRIGGER_FAILED when it fails, as when there is a trigger. Waits up to 20 s.
 */
ANNAL_API int annal_conn_add_trigger_logfull(int max_rows, int del_rows) ANNAL_NOEXCEPT;

/* Drops the log-full trigger. ANNAL_REMOVE_TRIGGER_FAILED when that fails, as when there is none. Waits up to 20 s. */
ANNAL_API int annal_conn_remove_trigger_logfull(void) ANNAL_NOEXCEPT;

/*
 * Deletes the count oldest entries (by date, then time). A negative count deletes every entry, 0 none.
 * ANNAL_TRIGGER_FAILED on failure. Waits up to 20 s.
 */
ANNAL_API int annal_conn_del_full(int count) ANNAL_NOEXCEPT;

/*
 * Deletes the entries whose column equals a value. None that matches is a success.
 *
 * selector: the column. 0 conn_id, 1 conn_type, 2 conn_date, 3 conn_time, 4 conn_user, 5 conn_ip, 6 conn_comp,
 * 7 conn_res, 8 conn_serv, 9 conn_action, 10 conn_app, 11 conn_action_result.
 * value: for 0, 1, 8, 9 and 11 the address of an int, for the others a text. The text goes unescaped between single
 * quotes into the statement: one with a single quote in it is SQL, not a value.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for another selector or a null value; ANNAL_CHANGE_FAILED when the statement
 * fails. Does not wait.
 */
ANNAL_API int annal_conn_del(unsigned int selector, const void* value) ANNAL_NOEXCEPT;

/*
 * Tells whether the table has a column, by way of its value in the first row: as annal_event_table_check_column.
 * Waits up to 20 s.
 */
ANNAL_API int annal_conn_table_check_column(const char* column) ANNAL_NOEXCEPT;

/* Adds a column: as annal_event_table_add_column. Does not wait. */
ANNAL_API int annal_conn_table_add_column(const char* column, int kind, const char* default_text) ANNAL_NOEXCEPT;

/*
 * Adds the columns that a table made by an earlier release lacks. Returns what annal_common_migrate_db answers for the
 * connection table. Waits up to 20 s.
 */
ANNAL_API int annal_conn_modify_tbl(void) ANNAL_NOEXCEPT;

/* How the filtering connection queries match a user: as is_event_name_matching, for connections. */
ANNAL_API extern int is_conn_name_matching;

/* Sets is_conn_name_matching to 1 when enable is not 0, else to 0. Returns ANNAL_OK. Touches no file. */
ANNAL_API int annal_conn_enable_name_matching(int enable) ANNAL_NOEXCEPT;

/* ---- connection log: submission ---- */

/*
 * Stores one connection, and hands it to the appliance's other log consumers.
 *
 * A WARNING. conn_user, conn_ip, conn_comp and conn_app go unescaped between single quotes into the statement. A quote
 * in one of them ends the text there: at best the statement fails with ANNAL_INSERT_FAILED and the entry is lost, at
 * worst the rest of a crafted name is run as SQL. Names that came from the network, such as the user of a failed
 * log-in, belong into annal_conn_add_entries2, also when there is only one: it binds its values, and a quote is a
 * character like any other.
 *
 * record: the connection, changed in place as follows once its checks are passed, whether or not it can then be stored.
 *   - empty conn_user becomes "---", and the field is zero bytes to its end;
 *   - conn_ip is normalised as annal_checkip does it, and becomes "---", zero bytes to the field's end, when it is no
 *     address: that is no error;
 *   - empty conn_comp becomes "localhost", zero bytes to 64;
 *   - empty conn_res, conn_app, conn_client_id, conn_client_app and conn_client_agent become "---"; the bytes behind
 *     the terminator stay;
 *   - with neither address nor client application ("---" in both, or what begins so), conn_client_app becomes
 *     "localhost": it is the appliance's own;
 *   - Unicode control characters are removed from conn_res.
 * The entry is stamped with the current local date and time.
 *
 * Bounds, in bytes: 64 for conn_user, conn_ip and conn_comp, 256 for conn_app, 1024 for conn_res. The client fields are
 * not checked: a text that is not terminated inside its field is read on into the next, though never beyond the record.
 *
 * Returns
 *   ANNAL_OK             the connection is stored, whatever became of the rest;
 *   ANNAL_TOO_LONG       a field is longer than its bound;
 *   ANNAL_BAD_ARGUMENT   a null record, a conn_type above 2, conn_serv above 12, conn_action above 36 or one of these
 *                        negative, or a conn_action_result other than 0 and 13;
 *   ANNAL_NO_MEMORY      the statement could not be built;
 *   ANNAL_OPEN_FAILED    /etc/logs/conn.log could not be opened;
 *   ANNAL_INSERT_FAILED  a quote in a field, or the file is locked, damaged, full or has no such table. Nothing is
 *                        stored and nothing handed on.
 * Waits up to 20 s.
 *
 * A stored connection, as the record now holds it, then goes to the log centre (as a detached "/usr/local/sbin/evsh"
 * "lumo.add_local_access_log", with level, action, service and action result as sets in which number n is bit n - 1),
 * to SendConnToZSyslogd, and to the recorder (send_conn_log_to_orca). Starts processes, and waits for their start, not
 * for their end.
 */
ANNAL_API int annal_conn_add2(ConnRecord* record) ANNAL_NOEXCEPT;

/* The same for callers of earlier releases: works on a copy whose client fields are empty. Results as above. */
ANNAL_API int annal_conn_add(const ConnRecordV1* record) ANNAL_NOEXCEPT;

/*
 * Stores many connections in one transaction, which is much cheaper than one by one, and hands each to the other
 * consumers as annal_conn_add2 does. Every value is bound: no character in a text has a meaning to SQL. This is the
 * form for names that came from the network.
 *
 * records: an array of count records, changed in place. A record that annal_conn_add2 would refuse for its bounds is
 *   skipped silently, unchanged: no row, nothing handed on. The others are changed as by annal_conn_add2, except that
 *   an empty conn_user becomes "System", that what is no address becomes "127.0.0.1" (zero bytes to 64), and that
 *   conn_client_app "---" becomes "localhost" for the addresses that begin with "127.0.0.1". May be null when count is
 *   0 or less; then only an empty transaction is run.
 * inserted: set to 0, then to the number of rows inserted. A record whose insert failed is not counted, yet handed on.
 *   After ANNAL_INSERT_FAILED it says nothing about what is stored: mostly no row at all; when SQLite itself had undone
 *   the transaction half-way (a disk that is full for a moment), the records behind that, each by itself.
 *
 * Returns ANNAL_OK when the transaction is committed, also when records were skipped: compare inserted with count;
 * ANNAL_BAD_ARGUMENT for a null inserted, or null records with a count above 0; ANNAL_OPEN_FAILED; ANNAL_INSERT_FAILED
 * when the commit failed; ANNAL_BATCH_FAILED when no transaction could be begun in seven attempts.
 *
 * It mends a broken log by force. When the statement cannot be prepared, or the transaction not begun, twice in a row
 * (a file that is no database, that has no table or another layout, whose triggers or indexes SQLite cannot read, that
 * stays locked whole for two waits, or because memory is short), the file is DELETED with all its entries and created
 * anew with annal_conn_create_tbl(0, 0) before each further attempt. The call still returns ANNAL_OK; beside a reader
 * that has the deleted file open it may return ANNAL_INSERT_FAILED although the rows are stored. The new file keeps
 * the old one's mode, owner, group and access list, as far as the process may set them; what it may not keep gives
 * nobody more than before. A process without root's rights becomes the owner. The owner can always read and write.
 * Where no file can be linked into its place, or another process creates the log first, it has the mode that the
 * umask leaves.
 *
 * So a careful caller first asks, with a connection of its own, whether the log takes entries, and calls the batch only
 * then. The function below does what a batch does, and undoes it: it takes the write lock, inserts the batch's columns
 * into the table with its triggers and indexes, and rolls back. It inserts two equal rows, because a unique index that
 * somebody has added would refuse only the second. It waits up to 20 s. It refuses a log that is missing, locked, of
 * another layout, or damaged where an entry is written, and one that refuses rows. It does not read the whole log, as
 * "annalctl conn check" does, and cannot know what happens to the log after it: a process that then locks the whole
 * file for 40 s, or damages it in that moment, still costs the log.
 *
 * ```c
 * #include <sqlite3.h>
 * #include <stddef.h>
 *
 * static int conn_log_takes_entries(void) {
 *   static const char trial[] =
 *       "BEGIN IMMEDIATE; "
 *       "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, conn_serv, "
 *       "conn_action, conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent) "
 *       "SELECT 0, strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME'), strftime('%H:%M:%S', CURRENT_TIMESTAMP, "
 *       "'LOCALTIME'), '---', '---', '---', '---', 0, 0, '---', 0, '---', '---', '---' FROM (VALUES (1), (2)); "
 *       "ROLLBACK;";
 *   sqlite3* log = NULL;
 *   const int takes = sqlite3_open_v2("/etc/logs/conn.log", &log, SQLITE_OPEN_READWRITE, NULL) == SQLITE_OK &&
 *                     sqlite3_busy_timeout(log, 20000) == SQLITE_OK &&
 *                     sqlite3_exec(log, trial, NULL, NULL, NULL) == SQLITE_OK;
 *   sqlite3_close(log); // which also undoes a trial that failed half-way
 *   return takes;
 * }
 * ```
 *
 * Waits up to 20 s before each attempt for a log that is held whole, then for each record by itself until one has got
 * the write lock, and once more to commit. Beside a program that keeps the write lock, 3 records take 60 s and 1000
 * five and a half hours; the call then returns ANNAL_OK with 0 in inserted, and has handed every record on. The check
 * above gives up after 20 s. The batch itself holds the write lock until the last record has been handed on, so a
 * function that it is handed to (SendConnToZSyslogd) and that takes long keeps other writers waiting. Starts processes,
 * and waits for their start, not for their end.
 */
ANNAL_API int annal_conn_add_entries2(ConnRecord* records, int count, int* inserted) ANNAL_NOEXCEPT;

/* The same for callers of earlier releases: works on copies whose client fields are empty. Results as above. */
ANNAL_API int annal_conn_add_entries(const ConnRecordV1* records, int count, int* inserted) ANNAL_NOEXCEPT;

/*
 * Sends a connection to the video-surveillance recorder when the action is 9, 10 or 11 and a recorder is installed,
 * that is, when "/sbin/orcapro_conn_log_tool" exists: starts that tool with the type behind "-t", the current time
 * "-l", user "-u", ip "-p", computer "-m", service "-s", action "-c" and resource "-a". A null text is sent as
 * "(null)".
 *
 * Returns ANNAL_OK always. Touches no log. Starts a process, and waits for its start, not for its end.
 */
ANNAL_API int send_conn_log_to_orca(int type, const char* user, const char* ip, const char* comp, int serv, int action,
                                    const char* res) ANNAL_NOEXCEPT;

/* ---- connection log: queries ---- */
/*
 * What the connection queries share:
 *
 * db_path: the file to read; null means /etc/logs/conn.log. Counts and the polling clients' queries always read that.
 *
 * callback: gets the fifteen columns of the table for each row, in the table's own order; the grouping queries add
 * "COUNT(*)", the size of the group. context is handed to it as it is.
 *
 * sort: 0 date and time, 2 time and date, 4 type, 6 user, 8 address, 10 computer, 12 id, 14 service, 16 action,
 * 18 application, 20 action result; one more for the reverse order.
 *
 * start, end: the rows from start up to, but not including, end, counted from 0. 0 and 0 mean all rows.
 *
 * type_mode: 0 all connections, 1 information, 2 warnings, 3 errors (one more than the stored conn_type).
 *
 * group: 0 id, 1 type, 2 date, 3 time, 4 user, 5 address, 6 computer, 7 resource, 8 service, 9 action, 10 application,
 * 11 action result. Unlike the events' groups, these are not split by type.
 *
 * The filters, all of which a row must pass:
 *   date_from, date_to    the dates between, both included, as "2026-01-31"; a null date_from means any time, while
 *                         date_to is then not looked at. With date_from given, date_to must be given too.
 *   time_from, time_to    with them the period is from one date and time to the other, as "23:59:59". Not looked at
 *                         without date_from; with time_from given, time_to must be given too.
 *   user                  contained in the user name, or the name itself (is_conn_name_matching); null means any
 *   ip, comp, res, app, client_id, client_app, client_agent
 *                         contained in the column; null means any. As in every LIKE of SQLite, "%" and "_" stand for
 *                         any text and any character, and ASCII letters are the same in both cases.
 *   serv                  the service number, up to 12; 0 means any
 *   action                the action number, up to 36; 0 means any
 *   action_result         13, or 0 for any
 * Every text is escaped: nothing in it has a meaning to SQL.
 *
 * Listing and grouping return ANNAL_OK; ANNAL_BAD_ARGUMENT for a sort above 21, a range that is negative or inverted, a
 * type_mode above 3, a group above 11, or a filter's number out of its range; ANNAL_NO_MEMORY; ANNAL_OPEN_FAILED;
 * ANNAL_QUERY_FAILED when the statement fails or the callback stops it. Rows that were delivered before a failure stay
 * delivered. Counting returns the number of rows, or one of these codes. All wait up to 20 s.
 */

/* Lists connections. */
ANNAL_API int annal_conn_query(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                               int type_mode, void* context) ANNAL_NOEXCEPT;

/* Lists connections that pass the filters. Each later form takes the earlier one's arguments and further filters. */
ANNAL_API int annal_conn_query_ex(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                                  int type_mode, const char* date_from, const char* date_to, const char* user,
                                  const char* ip, const char* comp, const char* res, int serv, int action,
                                  void* context, const char* time_from, const char* time_to,
                                  const char* app) ANNAL_NOEXCEPT;
ANNAL_API int annal_conn_query_ex2(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                                   int type_mode, const char* date_from, const char* date_to, const char* user,
                                   const char* ip, const char* comp, const char* res, int serv, int action,
                                   void* context, const char* time_from, const char* time_to, const char* app,
                                   int action_result) ANNAL_NOEXCEPT;
ANNAL_API int annal_conn_query_ex3(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                                   int type_mode, const char* date_from, const char* date_to, const char* user,
                                   const char* ip, const char* comp, const char* res, int serv, int action,
                                   void* context, const char* time_from, const char* time_to, const char* app,
                                   int action_result, const char* client_id, const char* client_app,
                                   const char* client_agent) ANNAL_NOEXCEPT;

/* Counts connections: all, or those that pass the filters. */
ANNAL_API int annal_conn_query_count(int type_mode) ANNAL_NOEXCEPT;
ANNAL_API int annal_conn_query_count_ex(int type_mode, const char* date_from, const char* date_to, const char* user,
                                        const char* ip, const char* comp, const char* res, int serv, int action,
                                        const char* time_from, const char* time_to, const char* app) ANNAL_NOEXCEPT;
ANNAL_API int annal_conn_query_count_ex2(int type_mode, const char* date_from, const char* date_to, const char* user,
                                         const char* ip, const char* comp, const char* res, int serv, int action,
                                         const char* time_from, const char* time_to, const char* app,
                                         int action_result) ANNAL_NOEXCEPT;
ANNAL_API int annal_conn_query_count_ex3(int type_mode, const char* date_from, const char* date_to, const char* user,
                                         const char* ip, const char* comp, const char* res, int serv, int action,
                                         const char* time_from, const char* time_to, const char* app, int action_result,
                                         const char* client_id, const char* client_app,
                                         const char* client_agent) ANNAL_NOEXCEPT;

/* List one connection of each group, with the group's size; which one of the group is SQLite's choice. */
ANNAL_API int annal_conn_query_group(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                                     int type_mode, unsigned int group, void* context) ANNAL_NOEXCEPT;
ANNAL_API int annal_conn_query_group_ex(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                                        int type_mode, const char* date_from, const char* date_to, const char* user,
                                        const char* ip, const char* comp, const char* res, int serv, int action,
                                        unsigned int group, void* context, const char* time_from, const char* time_to,
                                        const char* app) ANNAL_NOEXCEPT;
ANNAL_API int annal_conn_query_group_ex2(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                                         int type_mode, const char* date_from, const char* date_to, const char* user,
                                         const char* ip, const char* comp, const char* res, int serv, int action,
                                         unsigned int group, void* context, const char* time_from, const char* time_to,
                                         const char* app, int action_result) ANNAL_NOEXCEPT;

/*
 * What a polling client asks for: the connections of some levels since it last looked.
 *
 * levels: stored types (0, 1, 2) separated by commas, as "0,2". The first three count; other numbers are left
 *   out, and what begins with no number is 0. Without any level the call answers ANNAL_QUERY_FAILED. At most 63 bytes
 *   are read.
 * client_time: seconds since 1970 as a text, which goes into the statement as a bare expression: it must be a number.
 * days: only connections of the last so many days, of 86400 seconds each.
 * sort: as above, but accepted up to 25. The listing sorts by 0 to 17 only, the grouping by 0 to 21.
 * group_text: a text of the caller's that goes, unescaped, behind the levels into the inner selection, such as
 *   "group by conn_user"; not null.
 *
 * The count and the grouping leave out what is stamped in the future, the listing does not. Results as above;
 * ANNAL_BAD_ARGUMENT also for a null levels, client_time or group_text, or negative days.
 */
ANNAL_API int annal_conn_query_byclientTime_count_ex(const char* levels, const char* client_time,
                                                     int days) ANNAL_NOEXCEPT;
ANNAL_API int annal_conn_query_byclientTime_ex(annal_row_callback callback, const char* levels, const char* client_time,
                                               int days, int start, int end, unsigned int sort,
                                               void* context) ANNAL_NOEXCEPT;
ANNAL_API int annal_conn_query_byclientTime_group(annal_row_callback callback, const char* levels,
                                                  const char* client_time, int days, int start, int end,
                                                  unsigned int sort, const char* group_text,
                                                  void* context) ANNAL_NOEXCEPT;

/* ---- file-operation log: table and maintenance ---- */
/*
 * The operations of the web file manager, in the table PAVO2LOG_EVENT of a file that the caller names: path, the first
 * argument of every function here. SQLite reads a path that begins with "file:" as a URI where it is built so, as
 * Debian's is: what follows may then name a database in memory, or a VFS. ":memory:" and an empty path are no files
 * either. Begin a path that comes from elsewhere with "/" or "./", which is none of these. A null path is answered with
 * ANNAL_BAD_ARGUMENT. Every function that opens the file
 * answers ANNAL_OPEN_FAILED when it cannot, and ANNAL_NO_MEMORY when its statement cannot be built. All but
 * pavo2log_event_create_tbl leave an empty file behind where there was none.
 *
 * Call them with no more rights than those users have who may write the file, its folder or a folder above it. A
 * journal that they put beside the file makes SQLite change the file and delete any other one with the rights of the
 * next caller of any of these functions. A look at the folder before the call is no protection: take on the user's
 * rights instead.
 */

/*
 * Creates the file with its table, indexes and log-full trigger. May be called on every start: whatever the path holds
 * already, unless it is an empty file, is left alone, and is not looked into. So a success does not say that there is a
 * table, nor that a table has its limit (see annal_event_create_tbl), and the limits of an existing log are changed by
 * removing its trigger and adding another.
 *
 * max_rows: the largest number of operations kept; 0 or less means 100000. delete_count: how many of the oldest (by
 * date, then time) go at once when an insert exceeds it; 0 or less means 1.
 *
 * Returns ANNAL_OK; ANNAL_TABLE_FAILED when the table could not be created (an index that could not be created is no
 * failure); or what pavo2log_event_add_trigger_logfull answers, with the table left in place. Waits up to 20 s, for
 * each of its statements.
 */
ANNAL_API int pavo2log_event_create_tbl(const char* path, int max_rows, int delete_count) ANNAL_NOEXCEPT;

/* Drops the table with all its entries. ANNAL_TABLE_FAILED when that fails, as when there is none. Does not wait. */
ANNAL_API int pavo2log_event_remove_tbl(const char* path) ANNAL_NOEXCEPT;

/* Deletes every entry and keeps the table. ANNAL_EMPTY_FAILED when that fails. Waits up to 20 s. */
ANNAL_API int pavo2log_event_flush_tbl(const char* path) ANNAL_NOEXCEPT;

/*
 * Creates the log-full trigger; arguments and their defaults as for pavo2log_event_create_tbl. To change the limits,
 * remove the trigger first. ANNAL_TRIGGER_FAILED when it fails, as when there is a trigger. Waits up to 20 s.
 */
ANNAL_API int pavo2log_event_add_trigger_logfull(const char* path, int max_rows, int delete_count) ANNAL_NOEXCEPT;

/* Drops the log-full trigger. ANNAL_REMOVE_TRIGGER_FAILED when that fails, as when there is none. Waits up to 20 s. */
ANNAL_API int pavo2log_event_remove_trigger_logfull(const char* path) ANNAL_NOEXCEPT;

/*
 * Deletes the entries whose column equals a value. None that matches is a success.
 *
 * selector: the column. 0 event_id, 1 event_type, 2 event_date, 3 event_time, 4 event_user, 5 event_ip,
 * 6 event_isFolder, 7 event_action, 8 event_filesize, 9 event_comp, 10 event_duid, 11 event_desc, 12 event_filepath.
 * value: for 0, 1 and 6 to 8 the address of an int, for the others a text. The text goes unescaped between single
 * quotes into the statement: one with a single quote in it is SQL, not a value.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for another selector or a null value; ANNAL_CHANGE_FAILED when the statement
 * fails. Does not wait.
 */
ANNAL_API int pavo2log_event_del(const char* path, unsigned int selector, const void* value) ANNAL_NOEXCEPT;

/* ---- file-operation log: submission ---- */

/*
 * Normalises and checks an address in place, as annal_checkip does, but for what an IPv4 address is: here, four decimal
 * numbers from 0 to 255 with dots between them, whatever stands behind the last. So "10.0.0.5:8080" is accepted, and
 * left as it is. The numbers are read as sscanf reads "%d.%d.%d.%d": blanks before a number, a sign and leading zeros
 * pass, and of a number beyond 32 bits the low 32 bits count, so that "10.0.0.4294967301" is accepted too, where long
 * has 64 bits. A number beyond the range of long is the nearest one within.
 *
 * Returns ANNAL_OK, ANNAL_BAD_ARGUMENT for what is no address, ANNAL_NO_MEMORY for a null pointer. Touches no file.
 */
ANNAL_API int pavo2log_checkip(char* ip) ANNAL_NOEXCEPT;

/*
 * Stores one file operation. The record is first normalised in place, and stays so whatever becomes of storing it:
 *
 *  - an empty event_user becomes "System", the rest of its array zeroed; an empty event_comp or event_duid becomes
 *    "localhost";
 *  - event_ip is what pavo2log_checkip makes of it; what it refuses becomes "127.0.0.1".
 *
 * Single quotes in the two paths and in event_desc are stored as they are. event_user, event_ip, event_comp and
 * event_duid go unescaped into the statement: a quote in one of them makes it fail at best.
 *
 * Returns the new entry's event_id, which is above 0, also when the log-full trigger has taken that entry away again.
 * Otherwise, and with nothing stored:
 *
 *  - ANNAL_TOO_LONG: event_user, event_ip, event_comp or event_duid is longer than 64 bytes, or event_desc than 1024.
 *    The record is unchanged;
 *  - ANNAL_BAD_ARGUMENT: a null record, an event_type or event_isFolder above 2, an event_action other than 1 to 35.
 *    The record is unchanged;
 *  - ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED;
 *  - ANNAL_INSERT_FAILED: the statement failed: no such table, locked for longer than the wait, disk full.
 *
 * Waits for a lock by trying again 50 times, 100 ms apart: 5 s, and 10 s where it meets one lock when it reads the
 * table's layout and another when it writes (7.2 s were measured). So few looks can all find the lock taken, although
 * nobody holds it for long: with 16 threads that wrote without a pause, 19 of 9,979 calls answered ANNAL_INSERT_FAILED.
 * Who must not lose an entry calls again.
 */
ANNAL_API int64_t pavo2log_event_add(const char* path, FileOpRecord* record) ANNAL_NOEXCEPT;

/* ---- file-operation log: queries ---- */
/*
 * Selectors that the queries share:
 *
 * type: 0 all operations, 1 information, 2 warnings, 3 errors (one more than the stored event_type).
 *
 * sort: 0 date and time, 2 time and date, 4 type, 6 user, 8 address, 10 computer, 12 id, 14 event_isFolder,
 * 16 event_action, 18 size; one more for the reverse order. 20 and 21 leave the rows unsorted.
 *
 * start, end: as for the event log's queries. 0 and 0 mean all rows.
 *
 * filter: read only, its text fields terminated. Its texts go unescaped into the statement: a single quote in one makes
 * it fail at best. Its conditions together have room for 2047 bytes, which only long paths and descriptions exceed:
 * each takes what it holds and 20 to 40 bytes more.
 *
 * All wait up to 20 s. The arguments called unused are not read.
 */

/*
 * Count the operations of a type, or those that a filter picks. Return their number, or ANNAL_BAD_ARGUMENT for a type
 * above 3, a null filter, or one with a text that is not terminated or with conditions that do not fit;
 * ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, or ANNAL_QUERY_FAILED (no such table, locked for longer than the wait, a text
 * that breaks the statement).
 */
ANNAL_API int pavo2log_event_query_count(const char* path, unsigned int type, const void* unused1, const void* unused2,
                                         const void* unused3, const void* unused4) ANNAL_NOEXCEPT;
ANNAL_API int pavo2log_event_query_count_by(const char* path, FileOpFilter* filter, const void* unused1,
                                            const void* unused2, const void* unused3,
                                            const void* unused4) ANNAL_NOEXCEPT;

/*
 * List the operations of a type, or those that a filter picks. The callback gets the table's 16 columns: event_id,
 * event_type, event_date, event_time, event_user, event_ip, event_oldfilepath, event_filepath, event_isFolder,
 * event_action, event_filesize, event_comp, event_duid, event_desc, sub_user and pid. context is handed to it as it is.
 *
 * With sort 1 the two differ: pavo2log_event_query lists by date and time, the latest first, pavo2log_event_query_by
 * by event_id, the last stored first.
 *
 * Return ANNAL_OK; ANNAL_BAD_ARGUMENT for a sort above 21, a range that is negative or inverted, or what the counts
 * answer so; ANNAL_NO_MEMORY; ANNAL_OPEN_FAILED; ANNAL_QUERY_FAILED when the statement fails or the callback stops it.
 * Rows that were delivered before a failure stay delivered.
 */
ANNAL_API int pavo2log_event_query(const char* path, annal_row_callback callback, unsigned int sort, int start, int end,
                                   unsigned int type, void* context) ANNAL_NOEXCEPT;
ANNAL_API int pavo2log_event_query_by(const char* path, annal_row_callback callback, FileOpFilter* filter,
                                      unsigned int sort, int start, int end, void* context) ANNAL_NOEXCEPT;

/* ---- notices: table and maintenance ---- */
/*
 * The file is /etc/logs/notice.log, its table ANNAL_NOTICE. Every function here that opens it answers
 * ANNAL_OPEN_FAILED when it cannot, and ANNAL_NO_MEMORY when its statement cannot be built.
 */

/*
 * Creates the table, its indexes and its log-full trigger.
 *
 * max_rows: the largest number of notices kept; 0 or less means 10000. delete_count: how many of the oldest (by time)
 * go at once when an insert exceeds it; 0 or less means 1.
 *
 * Returns ANNAL_OK; ANNAL_TABLE_FAILED when the table could not be created, as when it is there already (an index that
 * could not be created is no failure); or what annal_notice_add_trigger_logfull answers, with the table left in place.
 * Waits up to 20 s, for each of its statements.
 */
ANNAL_API int annal_notice_create_tbl(int max_rows, int delete_count) ANNAL_NOEXCEPT;

/* Drops the table with all its notices. ANNAL_TABLE_FAILED when that fails, as when there is none. Does not wait. */
ANNAL_API int annal_notice_remove_tbl(void) ANNAL_NOEXCEPT;

/* Deletes every notice and keeps the table. ANNAL_EMPTY_FAILED when that fails. Waits up to 20 s. */
ANNAL_API int annal_notice_flush_tbl(void) ANNAL_NOEXCEPT;

/*
 * Creates the log-full trigger; arguments and their defaults as for annal_notice_create_tbl. To change the limits,
 * remove the trigger first. ANNAL_TRIGGER_FAILED when it fails, as when there is a trigger. Waits up to 20 s.
 */
ANNAL_API int annal_notice_add_trigger_logfull(int max_rows, int delete_count) ANNAL_NOEXCEPT;

/* Drops the log-full trigger. ANNAL_REMOVE_TRIGGER_FAILED when that fails, as when there is none. Waits up to 20 s. */
ANNAL_API int annal_notice_remove_trigger_logfull(void) ANNAL_NOEXCEPT;

/*
 * Deletes the notices whose column equals a value. None that matches is a success.
 *
 * selector: the column. 0 id, 1 severity, 2 server, 3 action, 4 serviceName, 5 facility, 6 time, 7 endtime, 8 user,
 * 9 ip, 11 desc, 12 msgCode, 13 varNum, 14 varContent, 15 name, 16 status, 17 uid, 18 gid, 19 link_id, 20 link_option,
 * 21 title. 10 has no column and always fails.
 * value: the address of an int for 0 to 3, 5, 7, 13 and 16 to 18, for the others a text, whose single quotes are
 * escaped. Selector 6 takes the time as a text. 19 to 21 take an SQL expression: a number as it is, anything else with
 * whatever it means to SQLite.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a selector above 21 or a null value; ANNAL_CHANGE_FAILED when the statement
 * fails. Does not wait.
 */
ANNAL_API int annal_notice_del(unsigned int selector, const void* value) ANNAL_NOEXCEPT;

/*
 * Deletes the notices that are older than so many days of 86400 seconds.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for less than 1 day; ANNAL_CHANGE_FAILED when the statement fails. Does not
 * wait.
 */
ANNAL_API int AnnalNoticeDellogByClientTime(int days) ANNAL_NOEXCEPT;

/*
 * Tells whether the table has a column, by way of its value in the first row.
 *
 * column: the column's name, unescaped.
 *
 * Returns that value read as an integer, a negative one too; ANNAL_QUERY_FAILED for a missing column, and also for an
 * empty table; ANNAL_BAD_ARGUMENT for a null pointer. Waits up to 20 s.
 */
ANNAL_API int annal_notice_table_check_column(const char* column) ANNAL_NOEXCEPT;

/*
 * How many of the 21 columns from id to link_option annal_notice_table_check_column does not find: despite the name, 0
 * means that all are there, and an empty table answers 21. A column that cannot be read counts as missing: the file is
 * locked or damaged, or memory is short (7,816 of 10,189 single failed allocations made a healthy log lack a column).
 * Only where the file does not open, or the statement's own text finds no memory, does a column not count. Who needs to
 * know reads "PRAGMA table_info(ANNAL_NOTICE)" to its end with a connection of its own, and compares the names as
 * SQLite does, in any case of the letters. Waits up to 20 s, for each.
 */
ANNAL_API int isAllColumnExist(void) ANNAL_NOEXCEPT;

/*
 * Adds a column.
 *
 * column: its name, unescaped. type: 0 for TEXT, 1 for INTEGER. default_text: its default in either case, unescaped
 * between single quotes.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a null pointer or another type; ANNAL_CHANGE_FAILED when the statement
 * fails, as when the column is there already. Does not wait.
 */
ANNAL_API int annal_notice_table_add_column(const char* column, int type, const char* default_text) ANNAL_NOEXCEPT;

/*
 * Brings the file of an earlier release up to date. A file that lacks only title gets that column. One that lacks any
 * of the columns from id to link_option is deleted with all its notices and created anew for 10000, and so is one that
 * holds no notice: the call then answers ANNAL_CHANGE_FAILED, although the new table is as it should be, because title
 * is looked for in the empty table, not found, and cannot be added again. A column that cannot be read counts as
 * lacking here too: a healthy log is deleted with all its notices when it is locked for longer than the wait, or when
 * memory is short in that moment. So look at the columns first, as isAllColumnExist says, and call this only when some
 * are really missing and nobody else is at the file. "annalctl notice migrate" does so. The new file
 * keeps the old one's mode, owner and group, as one that annal_conn_add_entries2 creates.
 *
 * Returns ANNAL_OK, also when the file could not be opened to look for the columns, and nothing was done; or what
 * creating the table or adding the column answers. Waits up to 20 s, for each of its steps but the adding of title.
 */
ANNAL_API int AnnalNoticeModifyTbl(void) ANNAL_NOEXCEPT;

/* ---- notices: submission ---- */

/*
 * Stores one notice. No other program is told of it: that is annal_notice_send and notify_send.
 *
 * record: the notice, changed in place as follows once its checks are passed, whether or not it can then be stored.
 *   - empty user and serviceName become "System", an empty msgCode becomes "0", an empty client "localhost";
 *   - ip is normalised as annal_checkip does it, and becomes "127.0.0.1" when it is no address: that is no error;
 *   - a uid or gid below 0 becomes -1;
 *   - Unicode control characters are removed from desc.
 *   A replaced user or msgCode is filled up with zero bytes to its end, client and ip to 64 bytes in all, an address
 *   without its prefix to 63; behind "System" in serviceName nothing but its terminator is written.
 * The time and endtime columns both get the current time, stored as a 32-bit number; the record's own are neither read
 * nor changed.
 *
 * Bounds, in bytes: 64 for user, ip and client, 2048 for desc. The other texts are not checked: one that is not
 * terminated inside its field is read on into the next, though never beyond the record.
 *
 * Returns
 *   ANNAL_OK             the notice is stored;
 *   ANNAL_TOO_LONG       a field is longer than its bound;
 *   ANNAL_BAD_ARGUMENT   a null record, or a severity above 7;
 *   ANNAL_NO_MEMORY      the statement could not be built;
 *   ANNAL_OPEN_FAILED    /etc/logs/notice.log could not be opened;
 *   ANNAL_INSERT_FAILED  the file is locked, damaged, full or has no such table. Nothing is stored.
 * Waits up to 20 s. Starts no process.
 */
ANNAL_API int annal_notice_add(NoticeRecord* record) ANNAL_NOEXCEPT;

/* ---- notices: queries ---- */
/*
 * Arguments that the notice queries share:
 *
 * sort: 0 time, 4 severity, 6 user, 8 ip, 10 client, 12 id, 14 server, 16 action, 18 serviceName, 20 facility,
 * 22 msgCode; one more for the reverse order. 2 and 3 leave the rows in SQLite's own order.
 *
 * start, end: the rows from start up to, but not including, end, counted from 0; 0 and 0 mean all rows, any other equal
 * pair none.
 *
 * kind: 0 or 1, which are the same.
 *
 * from, days, to: the notices whose time is from "from" to "to", both included, and no more than so many days of 86400
 * seconds before "to". Texts in seconds since 1970: "1795255200". They go without quotes into the statement, where an
 * expression such as "strftime('%s','now')" cannot stand, because its quotes are doubled; one without quotes can.
 * condition: an SQL expression that the notices must also satisfy, such as "severity < 4", or a null pointer for none.
 * Its quotes are doubled too: a condition with a text in it fails. None of these texts is checked, and a null from or
 * to matches nothing; never pass what came from outside.
 *
 * The listings hand their callback the 22 columns of the table: id, severity, server, action, serviceName, facility,
 * time, endtime, user, ip, client, desc, msgCode, varNum, varContent, name, status, uid, gid, link_id, link_option and
 * title. context is handed to it as it is. Rows that were delivered before a failure stay delivered.
 *
 * Every query waits up to 20 s.
 */

/*
 * Counts all notices. The five further arguments are accepted and not read.
 *
 * Returns their number, or ANNAL_BAD_ARGUMENT for a kind above 1, ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, or
 * ANNAL_QUERY_FAILED (no such table, or locked for longer than the wait).
 */
ANNAL_API int annal_notice_query_count(unsigned int kind, const void* unused1, const void* unused2, const void* unused3,
                                       const void* unused4, const void* unused5) ANNAL_NOEXCEPT;

/*
 * Lists notices.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a sort above 23, a kind above 1, or a range that is negative or inverted;
 * ANNAL_NO_MEMORY; ANNAL_OPEN_FAILED; ANNAL_QUERY_FAILED when the statement fails or the callback stops it.
 */
ANNAL_API int annal_notice_query(annal_row_callback callback, unsigned int sort, int start, int end, unsigned int kind,
                                 void* context) ANNAL_NOEXCEPT;

/*
 * Counts the notices of a time. Returns their number, or ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, or ANNAL_QUERY_FAILED,
 * also for texts that make no statement.
 */
ANNAL_API int annal_notice_query_byclientTime_count(const char* from, int days, const char* to,
                                                    const char* condition) ANNAL_NOEXCEPT;

/* Lists the notices of a time. Results as annal_notice_query; ANNAL_QUERY_FAILED also for texts that make no statement.
 */
ANNAL_API int annal_notice_query_byclientTime(annal_row_callback callback, const char* from, int days, const char* to,
                                              int start, int end, unsigned int sort, const char* condition,
                                              void* context) ANNAL_NOEXCEPT;

/*
 * Lists one notice of each group of the notices of a time, with a twenty-third column "COUNT(*)": the size of the
 * group. Which notice of its group is listed is SQLite's choice, and so is the order of the groups: the sort is that of
 * the notices before they are grouped.
 *
 * group: what the notices of a group share. 0 id, 1 severity, 2 server, 3 action, 4 serviceName, 5 facility, 6 time,
 * 7 endtime, 8 user, 9 ip, 11 desc, 12 msgCode, 13 varNum, 14 varContent; any above 14 facility, name and desc
 * together. 10 has no column and always fails.
 *
 * Results as annal_notice_query_byclientTime.
 */
ANNAL_API int annal_notice_query_group_byclientTime(annal_row_callback callback, const char* from, int days,
                                                    const char* to, int start, int end, unsigned int sort,
                                                    unsigned int group, const char* condition,
                                                    void* context) ANNAL_NOEXCEPT;

/* ---- notices: the notification command ---- */
/*
 * Both hand a notice to "/usr/local/sbin/notify" "send2" instead of storing it. A text that is not valid UTF-8 is
 * passed on as it is. Both read the environment variables HTTP_CLIENT_ID, HTTP_CLIENT_APP and HTTP_CLIENT_AGENT: no
 * other thread may change the environment meanwhile.
 */

/*
 * Runs the notification command through the platform's zeno_exec_v.
 *
 * app_id, category_id, msg_no: what identifies the message ("-A", "-C", "-M"). level: 1 error, 2 warning, any other
 * information ("-l" "error", "warn" or "info"). type: any number ("-t"). ip, user, comp: of the client, each left out
 * when it is null ("-p", "-u", "--comp="); what the environment says of the client follows ("--client_id=",
 * "--client_app=", "--client_agent="). message: the text. param and all that follows: texts for the message's
 * parameters, ended by a null pointer (in C "(char*)NULL"; a null param means that there are none). The vector has 63
 * arguments at most, and further parameters are dropped; the arguments that begin with "--" have room for 10240 bytes
 * in all, and what is beyond is cut. A null app_id, category_id, msg_no or message ends the vector there: the command
 * is run with what stands before it, and the call is a success.
 *
 * Where "/usr/local/sbin/notify" does not exist, "/sbin/log_tool" is run instead: "-a" message, "-t" and the level as
 * an event type, "-p" ip, "-u" user, "-m" comp, and nothing else. Notices of type 2 and 3 are then dropped.
 *
 * Returns ANNAL_OK, also when the command fails or the notice is dropped; -1 when the command could not be run. Sets
 * LC_ALL to "en_US.UTF-8" in the calling process, and leaves it so, unless the notice is dropped: not to be called
 * while another thread uses the environment. Touches no log. Starts a process, and waits for it as long as zeno_exec_v
 * does.
 */
ANNAL_API int annal_notice_send(const char* app_id, int level, int type, const char* category_id, const char* msg_no,
                                const char* ip, const char* user, const char* comp, const char* message,
                                const char* param, ...) ANNAL_NOEXCEPT;

/*
 * Starts the notification command for a message of the catalog.
 *
 * ip, user, comp: of the client, each left out when it is null ("--ip=", "--user=", "--comp="). client_id, client_app,
 * client_agent: likewise ("--client_id=", "--client_app=", "--client_agent="), but a null one is looked for in the
 * environment first. type: any number ("-t7"). level: on the scale of the catalog; sent as it is when it is 2, any
 * other combined with 5 by exclusive or, so that 1 becomes 4 and 4 becomes 1 ("-l4"). entry: the message, of which all
 * is sent but the level ("-AA011", "-CC001", "-M7" and the template). All that follows: texts for its parameters, ended
 * by a null pointer (in C "(char*)NULL"). The command's vector has 22 arguments at most, and further parameters are
 * dropped; the arguments, but for the first two and the template, have room for 10240 bytes in all, and what is beyond
 * is cut.
 *
 * Returns ANNAL_OK once a child has been created to start the command, whatever becomes of it then; 1 when none could
 * be created; ANNAL_BAD_ARGUMENT for a null entry or one with a null text, as the last of each array is: nothing is
 * started then. Touches no log. Starts a process, and waits for its start, not for its end.
 */
ANNAL_API int notify_send(const char* ip, const char* user, const char* comp, const char* client_id,
                          const char* client_app, const char* client_agent, const CatalogEntry* entry, int type,
                          int level, ...) ANNAL_NOEXCEPT;

/* ---- notices: severities and facilities ---- */

/* The severity of a notice about an event, as syslog numbers it: 4 for type 1, 3 for type 2, 6 for any other. */
ANNAL_API int ChangeLogTypeToNoticeSeverity(int type) ANNAL_NOEXCEPT;

/* The facilities that notices come from: entry n has the number n. Ended by the number -1 and a null name. */
ANNAL_API extern const NoticeFacility notice_facility_list[22];

/*
 * Copies the display name of a facility.
 *
 * facility: 0 to 20 as listed, or 99 ("Background Task"); any other has the name of 0, which is empty. dst: a buffer of
 * len bytes, of which all are written: the name, then zero bytes. A name of len bytes or more is cut and not
 * terminated. A len of 0 or less writes nothing.
 *
 * Returns ANNAL_OK, for such a len too, or -1 for a null dst. Touches no file.
 */
ANNAL_API int Get_Facility_String_By_Facility(int facility, char* dst, int len) ANNAL_NOEXCEPT;

/* ---- message catalog ---- */

/*
 * What the applications of the appliance log, an array for each: entry 0 is blank, the messages and phrases follow, and
 * an entry whose app_id is null ends the array. To find a message, compare msg_no from entry 1 on; never index by
 * number: numbers are absent, and some stand out of order. No function looks anything up.
 *
 * A template is filled by putting the n-th value, counted from 0, in place of each {n}. A phrase is what its token
 * stands for, in a template and in a value alike.
 *
 * The level is on the catalog's own scale, 1 for an error and 4 for information: the reverse of the scale on which the
 * notification centre is told of an event.
 *
 * The entries and texts are read-only and live as long as the library is loaded. A program that is compiled neither
 * with -fPIC nor with -mno-direct-extern-access carries a copy of each array that it names, as long as the array was
 * when the program was linked: therefore no array changes its length within libCorix_annal.so.2.
 */
ANNAL_API extern const CatalogEntry A001_list[38];   /* system settings */
ANNAL_API extern const CatalogEntry A002_list[1291]; /* pools, RAID groups, disks, volumes, LUNs, snapshots */
ANNAL_API extern const CatalogEntry A003_list[21];   /* power schedules */
ANNAL_API extern const CatalogEntry A004_list[47];   /* users and groups */
ANNAL_API extern const CatalogEntry A005_list[82];   /* shared folders and permissions */
ANNAL_API extern const CatalogEntry A007_list[39];   /* SMB, NFS and AFP */
ANNAL_API extern const CatalogEntry A008_list[37];   /* adapters and virtual switches */
ANNAL_API extern const CatalogEntry A009_list[96];   /* backup and synchronization jobs */
ANNAL_API extern const CatalogEntry A010_list[15];   /* settings of logs and notifications */
ANNAL_API extern const CatalogEntry A011_list[21];   /* printers, UPS, external disks */
ANNAL_API extern const CatalogEntry A013_list[8];    /* recycle bin */
ANNAL_API extern const CatalogEntry A015_list[54];   /* certificates, allow and deny lists, two-step sign-in */
ANNAL_API extern const CatalogEntry A017_list[7];    /* time service */
ANNAL_API extern const CatalogEntry A018_list[78];   /* firmware and its updates */
ANNAL_API extern const CatalogEntry A019_list[7];    /* web server */
ANNAL_API extern const CatalogEntry A020_list[26];   /* domain and directory */
ANNAL_API extern const CatalogEntry A021_list[53];   /* installing applications */
ANNAL_API extern const CatalogEntry A022_list[78];   /* VPN and remote access */
ANNAL_API extern const CatalogEntry A023_list[38];   /* file manager */
ANNAL_API extern const CatalogEntry A024_list[12];   /* download tasks */
ANNAL_API extern const CatalogEntry A026_list[28];   /* media library */
ANNAL_API extern const CatalogEntry A029_list[11];   /* DNS */
ANNAL_API extern const CatalogEntry A030_list[9];    /* proxy */
ANNAL_API extern const CatalogEntry A031_list[36];   /* antivirus */
ANNAL_API extern const CatalogEntry A032_list[31];   /* database server */
ANNAL_API extern const CatalogEntry A034_list[14];   /* SNMP and monitoring */
ANNAL_API extern const CatalogEntry A035_list[22];   /* mail relay */
ANNAL_API extern const CatalogEntry A036_list[22];   /* link to surveillance recorders */
ANNAL_API extern const CatalogEntry A037_list[19];   /* resource monitor */
ANNAL_API extern const CatalogEntry A038_list[5];    /* TFTP */
ANNAL_API extern const CatalogEntry A039_list[102];  /* virtual machines */
ANNAL_API extern const CatalogEntry A040_list[12];   /* syslog server */
ANNAL_API extern const CatalogEntry A041_list[63];   /* cloud gateway */
ANNAL_API extern const CatalogEntry A043_list[20];   /* remote mounts */
ANNAL_API extern const CatalogEntry A044_list[29];   /* containers */
ANNAL_API extern const CatalogEntry A045_list[6];    /* shell access */
ANNAL_API extern const CatalogEntry A046_list[11];   /* FTP */
ANNAL_API extern const CatalogEntry A047_list[64];   /* high availability */
ANNAL_API extern const CatalogEntry A049_list[179];  /* state of the hardware */
ANNAL_API extern const CatalogEntry A053_list[170];  /* snapshot replication */
ANNAL_API extern const CatalogEntry A055_list[4];    /* RADIUS server */
ANNAL_API extern const CatalogEntry A057_list[8];    /* LDAP server */
ANNAL_API extern const CatalogEntry A059_list[14];   /* delegated administration */
ANNAL_API extern const CatalogEntry A201_list[196];  /* object storage */
ANNAL_API extern const CatalogEntry A234_list[13];   /* search index */
ANNAL_API extern const CatalogEntry A255_list[20];   /* photos */
ANNAL_API extern const CatalogEntry A259_list[4];    /* notes */
ANNAL_API extern const CatalogEntry A267_list[4];    /* text editor */
ANNAL_API extern const CatalogEntry A283_list[87];   /* retention and archive */

#ifdef __cplusplus
} /* extern "C" */
#endif

#undef ANNAL_API
#undef ANNAL_ALIGN8
#undef ANNAL_NOEXCEPT

#endif /* CORIX_ANNAL_H */
