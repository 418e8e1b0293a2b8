/*
 * Corix_annal.h - the log library of the appliance (link with -lCorix_annal).
 *
 * The library keeps the appliance's logs in SQLite files and gives every program of the appliance one set of functions
 * to add, list, count, group, delete and maintain their entries.
 *
 * Conventions that hold for every function unless its own text says otherwise:
 *
 *  - Results. A function returns ANNAL_OK (0), or one of the negative codes of enum annal_result. A counting function
 *    returns the count itself, so the sign tells a count from a failure. The library prints and logs nothing and passes
 *    no SQLite message on: the code is the only report. Corix_annal_text.h has a text for each.
 *
 *  - Arguments are checked first. A call that returns ANNAL_BAD_ARGUMENT or ANNAL_TOO_LONG has opened nothing, so it
 *    has not created a missing log file. The same holds for ANNAL_NO_MEMORY, except where a function says otherwise.
 *
 *  - One call is one unit of work. Each call opens the log's file, does its work and closes the file; no handle,
 *    statement or lock outlives the call. Before a write returns ANNAL_OK it is in the file, synced as SQLite's
 *    rollback journal syncs it; a failed write leaves the file as it was.
 *
 *  - Locks. "Waits up to 20 s" means: when another process holds the file, SQLite retries for 20000 milliseconds before
 *    the call gives up with the code of a failed statement. The limit applies to each lock. SQLite first reads the
 *    table's layout to prepare a statement and then runs it, and each step waits separately, so one statement can take
 *    40 s. Measured: one program held the whole file for 14 s and another then read it for longer; annal_event_add
 *    returned after 34 s. "Does not wait" means that the call gives up at once. There is no queue for a lock: whoever
 *    tries first after its release gets it.
 *
 *  - Slow callbacks. A listing holds the log's read lock until it has delivered its last row. Meanwhile a writer waits
 *    at its commit and fails after 20 s: if a callback writes to a pipe or a socket, other programs lose entries while
 *    the reader at the far end pauses. So collect rows in the callback and write them after the call. If the log is
 *    large, collect a page at a time: sort by descending id (code 13 in every log), and skip rows that are not below
 *    the last id seen, because new entries shift the pages down. Deleting any but the oldest entries shifts them up,
 *    and a page would miss rows: begin each page with the last row of the previous one, and go back a page if that row
 *    is gone. keep() copies a row; write_out() writes the kept rows:
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
 *  - Ownership. The library keeps no pointer beyond the call and returns no memory to free. A text is a zero-terminated
 *    string of bytes, UTF-8 by convention, and is only read unless the function says otherwise.
 *
 *  - Trusted text. A text that goes "unescaped" into a statement is part of the SQL. If it came from outside (a user
 *    name, an address, a file name), reject single quotes before you pass it.
 *
 *  - Threads and signals. The library has no thread and no state of its own between calls, apart from the exported
 *    flags below; any number of threads and processes may call it at once, each with records of its own. No function
 *    may be called from a signal handler, nor between fork and exec. A child forked while another thread was in a call
 *    must not call the library at all, even if it never runs another program: it can hang on a lock that the other
 *    thread held.
 *
 *    A thread that is cancelled in a call ends after the call, at its next cancellation point. Row callbacks run with
 *    cancellation disabled, and every call leaves the thread's cancelability as it was. This holds for deferred
 *    cancellation, the usual type. A thread of the asynchronous type must disable cancellation itself around each call.
 *    Otherwise it can end inside SQLite or libc with their locks held, and the process's other threads hang.
 *
 *  - Processes. Storing an event or a connection starts commands of the appliance; the functions that do so say so. The
 *    children share the caller's memory until they run the command, so the cost does not grow with the caller. If the
 *    caller's address space has no room for their stacks (64 KiB), they get a copy of its memory instead, as from fork.
 *    They inherit the descriptors that the caller has not marked close-on-exec. The caller never gets SIGPIPE from them
 *    and is left with no child; a SIGCHLD handler of its own may see one come and go. A SIGPIPE that another process
 *    sends meanwhile reaches the caller after the notification centre's command has ended. A command that cannot be run
 *    is not reported.
 *
 *    A call that starts a command waits for its start: until the command's exec is done, the calling thread is
 *    suspended, and no signal but SIGKILL reaches it. This is short unless the disk that holds the command is slow or
 *    hangs: on a slow one it took 7.5 s.
 *
 *  - What a program must not do. Each of these loses the program's own entries and those of other programs:
 *    - Open and close a log's file itself, for example to copy it. When a process closes any descriptor of a file,
 *      POSIX releases all its locks on that file, including those of a call in another thread or of one whose callback
 *      is running, and two programs write at once: 125 of 2,474 acknowledged entries were lost, and the log was
 *      damaged. Let another process do it, or SQLite.
 *    - Contain two copies of SQLite, for example one linked statically. Each closes files and so releases the other's
 *      locks: 50 of 50 entries were lost.
 *    - Configure or build SQLite as single-threaded (SQLITE_CONFIG_SINGLETHREAD) and call from two threads: nothing
 *      guards its memory.
 *    - Share SQLite's cache (sqlite3_enable_shared_cache): a call that meets another thread's fails at once instead of
 *      waiting.
 *    - Make a VFS without locks SQLite's default, such as "unix-none": it writes to a log that another program has
 *      locked.
 *    - Limit the size of its files (RLIMIT_FSIZE) without ignoring SIGXFSZ: the first write beyond the limit kills the
 *      program. If the signal is ignored, the call returns the code of a failed statement and stores nothing.
 *
 *  - Standard streams. SQLite never opens a log on descriptors 0, 1 and 2. If a program has closed them, its first call
 *    that opens a log leaves them open on /dev/null.
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
  ANNAL_BAD_ARGUMENT = -11,          /* a null pointer, a code out of range, or an invalid address */
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
 * Names for the numbers that the functions take. The parameters remain int and unsigned int, so a plain number of the
 * same value works too.
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
 * Receives the rows of a listing, one call a row: the listing's context pointer, the number of columns, their texts (a
 * null pointer for NULL) and their names. The arrays and texts belong to SQLite and are valid during the call only. A
 * result other than 0 stops the listing, which then returns ANNAL_QUERY_FAILED. The callback must not throw or leave by
 * longjmp; it may call this library. While it runs, writers wait ("Slow callbacks" above). A null callback runs the
 * statement and drops its rows.
 */
typedef int (*annal_row_callback)(void* context, int columns, char** values, char** names);

/*
 * One event, as callers pass it. Every text field is a zero-terminated string inside its
 * array: char[65] holds up to 64 bytes and the terminator. Zero the whole record (memset) before filling it: the text
 * of an unused field must at least be terminated.
 *
 * Callers of earlier releases were compiled with the three shorter forms. Each has the first fields of this one.
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
 * One connection, as annal_conn_add2 takes it. Texts are UTF-8 and end with a zero byte inside their field; an unused
 * one is empty. Zero the record before filling it. Callers of earlier releases were compiled with ConnRecordV1.
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
 * One notice, as callers pass it. Every text field is a zero-terminated string inside its array. Zero the whole record
 * (memset) before filling it: the text of an unused field must at least be terminated.
 */
typedef struct NoticeRecord {
  int32_t id;        /* not read */
  uint32_t severity; /* as syslog numbers it, 0 to 7: 3 error, 4 warning, 6 information */
  int32_t server;    /* callers decide what the numbers without a comment mean */
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
  char link_id[257];      /* identifier of the notice's link target */
  char link_option[1025]; /* option of that link */
  char title[257];        /* the notice's title */
} NoticeRecord;

/*
 * One entry of a file-operation log, as pavo2log_event_add takes it: what a user of the web file manager did to which
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
  int32_t event_filesize;        /* in bytes, 32 bits; stored unchanged, even if negative */
  char event_comp[65];           /* client computer; empty: "localhost" */
  char event_duid[65];           /* client device; empty: "localhost" */
  char event_desc[1025];         /* description */
} FileOpRecord;

/*
 * Selects file operations: an operation must meet every condition that is set. "Contains" ignores the case of ASCII
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
 * One message of the catalog. An array's first entry has empty texts and level 0, its last has null pointers and level
 * 0.
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
 * ip: an IPv4 or IPv6 address text, changed in place. A zone suffix is cut off (fe80::1%eth0 becomes fe80::1), even if
 * the rest is then refused; only the "%" is overwritten. An IPv4 address in IPv6 form loses its prefix
 * (::ffff:10.0.0.5, in upper or lower case, becomes 10.0.0.5), and the seven bytes freed at its end become zero.
 * Nothing after the text's own terminator is written: a record's field is not cleared to its end.
 *
 * Returns ANNAL_OK for an address, ANNAL_BAD_ARGUMENT for any other text, an empty one included, and, for historical
 * reasons, ANNAL_NO_MEMORY for a null pointer. Touches no file.
 */
ANNAL_API int annal_checkip(char* ip) ANNAL_NOEXCEPT;

/*
 * The host name and the local address that the logs use as defaults: the fixed texts "localhost" and "127.0.0.1".
 *
 * out: a buffer of at least 64 bytes. The first 64 are written: the text, then zero bytes.
 * Return ANNAL_OK, or ANNAL_BAD_ARGUMENT for a null pointer. Neither asks the system for anything.
 */
ANNAL_API int annal_gethostname(char* out) ANNAL_NOEXCEPT;
ANNAL_API int annal_getlocalip(char* out) ANNAL_NOEXCEPT;

/*
 * Was meant to compact the event log and never has. Returns ANNAL_TABLE_FAILED for every log, healthy or not, or
 * ANNAL_OPEN_FAILED if /etc/logs/event.log cannot be opened. Callers rely on this: a real compaction would lock out
 * every writer while it runs. Does not wait.
 */
ANNAL_API int annal_common_pack_db(void) ANNAL_NOEXCEPT;

/*
 * Brings an older table up to a list of columns by adding the trailing columns that it lacks, all in one transaction.
 *
 * filename: path of the database file. table: the table's name, unescaped. list: count entries in the table's column
 * order (null only with a count of 0).
 *
 * Returns
 *   ANNAL_OK             the table now has, or already had, exactly the listed columns;
 *   ANNAL_BAD_ARGUMENT   a null filename, table or list;
 *   ANNAL_NO_MEMORY      the statements' text could not be allocated (the file has been opened, nothing is changed);
 *   ANNAL_OPEN_FAILED    the file could not be opened, or SQLite refused to look up the table's columns;
 *   ANNAL_CHANGE_FAILED  the table's columns differ in name or order from the start of the list, outnumber it or could
 *                        not all be read; or a missing column has no statement, or a statement failed. No column was
 *                        added.
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
 * The log's file is /etc/logs/event.log, its table ANNAL_EVENT. Every function here that opens it returns
 * ANNAL_OPEN_FAILED if it cannot, and ANNAL_NO_MEMORY if it cannot build its statement.
 */

/*
 * Creates the table, its indexes and its log-full trigger.
 *
 * limit: the maximum number of entries; 0 or less means 100000. batch: how many of the oldest entries (by date, then
 * time) are deleted together when an insert exceeds the limit; 0 or less means 1.
 *
 * Returns ANNAL_OK; ANNAL_TABLE_FAILED if the table could not be created, for example because it exists; or what
 * annal_event_add_trigger_logfull returns, with the table left in place. Waits up to 20 s, for the table and again for
 * the trigger. A process killed between the two (38 of 150 kills during the call) leaves a table without its limit,
 * which grows forever; creating it again returns ANNAL_TABLE_FAILED. "annalctl event check" reports a missing row limit
 * and the command that repairs it; annal_event_add_trigger_logfull adds the limit. The same holds for all four logs.
 */
ANNAL_API int annal_event_create_tbl(int limit, int batch) ANNAL_NOEXCEPT;

/* Drops the table with all its entries. ANNAL_TABLE_FAILED on failure, e.g. without a table. Does not wait. */
ANNAL_API int annal_event_remove_tbl(void) ANNAL_NOEXCEPT;

/* Deletes every entry and keeps the table. ANNAL_EMPTY_FAILED when that fails. Waits up to 20 s. */
ANNAL_API int annal_event_flush_tbl(void) ANNAL_NOEXCEPT;

/*
 * Creates the log-full trigger; arguments and their defaults as for annal_event_create_tbl. To change the limits,
 * remove the trigger first. ANNAL_TRIGGER_FAILED on failure, for example because there is a trigger. Waits up to 20 s.
 */
ANNAL_API int annal_event_add_trigger_logfull(int limit, int batch) ANNAL_NOEXCEPT;

/* Drops the log-full trigger; succeeds without one. ANNAL_REMOVE_TRIGGER_FAILED on failure. Waits up to 20 s. */
ANNAL_API int annal_event_remove_trigger_logfull(void) ANNAL_NOEXCEPT;

/*
 * Deletes the oldest entries (by date, then time) until limit entries are left; 0 or less means 100000.
 * ANNAL_TRIGGER_FAILED on failure. Waits up to 20 s.
 */
ANNAL_API int annal_event_del_logfull_over_size(int limit) ANNAL_NOEXCEPT;

/*
 * Deletes the entries whose column equals a value. Succeeds if none matches.
 *
 * selector: the column. 0 event_id, 1 event_type, 2 event_date, 3 event_time, 4 event_user, 5 event_ip, 6 event_comp,
 * 7 event_desc, 8 event_msgid, 9 event_timet.
 * value: for 0, 1 and 9 the address of an int, for the others a text. The text goes unescaped between single quotes
 * into the statement: a text with a single quote in it is SQL, not a value.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for another selector or a null value; ANNAL_CHANGE_FAILED when the statement
 * fails. Does not wait.
 */
ANNAL_API int annal_event_del(unsigned int selector, const void* value) ANNAL_NOEXCEPT;

/*
 * Tells whether the table has a column, by reading its value in the first row.
 *
 * column: the column's name, unescaped.
 *
 * Returns that value as an integer (0 for a text that is not a number): a result of 0 or more means that the column
 * exists. ANNAL_QUERY_FAILED for a missing column, but also for an empty table or a negative value; ANNAL_BAD_ARGUMENT
 * for a null pointer. Waits up to 20 s.
 */
ANNAL_API int annal_event_table_check_column(const char* column) ANNAL_NOEXCEPT;

/*
 * Adds a column.
 *
 * column: its name, unescaped. kind: 0 for TEXT, 1 for INTEGER. default_text: the default for either kind, unescaped
 * between single quotes.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a null pointer or another kind; ANNAL_CHANGE_FAILED if the statement fails,
 * for example because the column exists. Does not wait.
 */
ANNAL_API int annal_event_table_add_column(const char* column, int kind, const char* default_text) ANNAL_NOEXCEPT;

/*
 * Rewrites every entry with a time stamp computed from its date and time texts.
 *
 * unused: not read. text: the strftime format of the time stamp, unescaped; "%s" gives seconds since 1970.
 *
 * The date and time are joined without a blank, as always, and REPLACE rewrites only the columns event_id to
 * event_timet: application, category and client columns get their defaults.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a null text, without opening anything; ANNAL_CHANGE_FAILED when the
 * statement fails. Does not wait.
 */
ANNAL_API int annal_event_table_update_event_timet(const void* unused, const char* text) ANNAL_NOEXCEPT;

/*
 * Adds the columns that a table of an earlier release lacks. Returns the result of annal_common_migrate_db for the
 * event table. Waits up to 20 s.
 */
ANNAL_API int annal_event_modify_tbl(void) ANNAL_NOEXCEPT;

/*
 * How the filtering event queries match a user: 0, the initial value, finds every user whose name contains the given
 * text; any other value finds the user of exactly that name. A program may read and write it directly at any time,
 * atomically if other threads use it; it applies to the whole process.
 */
ANNAL_API extern int is_event_name_matching;

/* Sets is_event_name_matching to 1 when on is not 0, else to 0, and returns its address. Touches no file. */
ANNAL_API int* annal_event_enable_name_matching(int on) ANNAL_NOEXCEPT;

/* ---- event log: submission ---- */

/*
 * Clears the fields of a record that the first release had: event_type becomes 0, and the first 64 bytes of event_user,
 * event_ip, event_comp and event_msgid and the first 2048 of event_desc become zero bytes. All else stays as it is:
 * callers of the _ex2 and _ex3 forms clear the later fields themselves.
 *
 * Returns the address of the record's event_desc, or a null pointer for a null record. Touches no file.
 */
ANNAL_API char* InitAnnalEvent(EventRecord* record) ANNAL_NOEXCEPT;

/*
 * Stores one event and forwards it to the appliance's other log consumers.
 *
 * record: the event. Once it has passed the checks it is changed in place as follows, whether or not it can then be
 * stored.
 *   - empty event_user, event_msgid, event_app_id, event_app_name, event_category_id, event_category, event_client_id,
 *     event_client_app and event_client_agent become "---"; empty event_comp becomes "localhost";
 *   - event_ip is normalised as by annal_checkip and becomes "---" if it is not an address, which is not an error;
 *   - event_timet 0 becomes the current time;
 *   - an event with neither address nor client application comes from the appliance itself: it gets the client
 *     application "localhost";
 *   - Unicode control characters are removed from event_desc.
 *   A replaced field is padded with zero bytes to 64 bytes, the fields of 129 bytes to 128; but "---" pads the whole of
 *   event_client_app and event_client_agent, and an address without its prefix is padded to 63.
 * The date and time columns are those of event_timet in local time. The time stamp is stored as a 32-bit number.
 *
 * Bounds, in bytes: 64 for event_user, event_ip, event_comp, event_app_id and event_category_id, 128 for event_app_name
 * and event_category, 2048 for event_desc. An event_msgid of more than 64 bytes is replaced by "0", even if a later
 * check fails. The client fields are not checked: a text without a terminator inside its field runs on into the next
 * field, but never beyond the record.
 *
 * Returns
 *   ANNAL_OK             the event is stored; forwarding does not affect the result;
 *   ANNAL_TOO_LONG       a field is longer than its bound;
 *   ANNAL_BAD_ARGUMENT   a null record, or an event_type other than 0, 1 and 2;
 *   ANNAL_NO_MEMORY      the statement could not be built;
 *   ANNAL_OPEN_FAILED    /etc/logs/event.log could not be opened;
 *   ANNAL_INSERT_FAILED  the file is locked, damaged, full or lacks the table. Nothing is stored.
 * Waits up to 20 s.
 *
 * The stored event, as the record now holds it, then goes to the notification centre (annal_report_event), to
 * SNMPTrap_Send_Alert, to the log centre (SendEventToLumod), to SendEventToZSyslogd, if it is a warning or an error to
 * SendNoticeToLogEngine, and to the recorder (send_event_log_to_orca). Starts processes: the call waits until the
 * notification centre's command has ended and until the other two have started. If the notification command never ends,
 * or one of the platform's functions never returns, neither does the call; its event is stored.
 */
ANNAL_API int annal_event_add_msgid_ex3(EventRecord* record) ANNAL_NOEXCEPT;

/*
 * The same for callers of earlier releases. Each works on a copy, so the caller's record stays as it is; a field that
 * the shorter record lacks counts as empty. Results as annal_event_add_msgid_ex3.
 *
 * annal_event_add reads event_type, event_user, event_ip, event_comp and event_desc only, cuts each text at its bound
 * instead of refusing it, and stores the message identifier "0". The padding after the last field of an EventRecordEx
 * is copied too: zero the record before filling it.
 */
ANNAL_API int annal_event_add(const EventRecordBasic* record) ANNAL_NOEXCEPT;
ANNAL_API int annal_event_add_msgid(const EventRecordMsgId* record) ANNAL_NOEXCEPT;
ANNAL_API int annal_event_add_msgid_ex2(const EventRecordEx* record) ANNAL_NOEXCEPT;

/* ---- event log: other consumers ---- */
/*
 * The forwarding steps of storing an event, each callable alone. None reports a failure or touches a log, and a text
 * that is not valid UTF-8 is passed on as it is.
 */

/*
 * Sends a message to the notification centre: runs "/usr/local/sbin/evsh -0 nc.send_message" through the shell with one
 * JSON object on its standard input, {"type":1,"level":L,"message":"..."}.
 *
 * type: 0 information, 1 warning, 2 error, sent as the levels 1, 2 and 4; any other as 0. message: a text, in which
 * only quotes and backslashes are escaped; a null pointer counts as empty.
 *
 * Always returns ANNAL_OK. Starts a process and waits for its end, however long that takes.
 */
ANNAL_API int annal_report_event(unsigned int type, const char* message) ANNAL_NOEXCEPT;

/*
 * Sends an event to the log centre: starts "/usr/local/sbin/evsh" "lumo.add_local_event_log" with one "key=value"
 * argument for the level, and for each of time stamp, user, ip, computer, application, category and message that is not
 * empty; then client_id, client_app and client_agent from the record or, if they are empty, from the environment
 * variables HTTP_CLIENT_ID, HTTP_CLIENT_APP and HTTP_CLIENT_AGENT. The texts have room for 10240 bytes in all; the rest
 * is cut.
 *
 * record: read only. A text without a terminator inside its field runs on into the next field, but never beyond the
 * record. A null record, or one without event_desc, sends nothing. Starts a process; waits for its start, not for its
 * end. Reads the environment: no other thread may change it meanwhile.
 */
ANNAL_API void SendEventToLumod(const EventRecord* record) ANNAL_NOEXCEPT;

/*
 * Sends an event to the video-surveillance recorder if one is installed, that is, if "/sbin/orcapro_conn_log_tool"
 * exists: starts "/sbin/orcapro_log_tool" with the type after "-t", the time stamp after "-l", user "-u", ip "-p",
 * computer "-m" and message "-a".
 *
 * record: read only, its texts read as by SendEventToLumod; null sends nothing. timestamp: seconds since 1970.
 *
 * Always returns ANNAL_OK. Starts a process; waits for its start, not for its end.
 */
ANNAL_API int send_event_log_to_orca(const EventRecord* record, unsigned long timestamp) ANNAL_NOEXCEPT;

/* ---- event log: queries ---- */
/*
 * Selectors that the event queries share:
 *
 * type: 0 all events, 1 information, 2 warnings, 3 errors (one more than the stored event_type).
 *
 * sort: 0 date and time, 2 time and date, 4 type, 6 user, 8 address, 10 computer, 12 id, 14 message id, 16 time stamp;
 * one more for the reverse order. 18 to 25 are accepted but do not sort.
 *
 * start, end: the rows from start up to, but not including, end, counted from 0. 10 and 30 select at most 20 rows,
 * beginning with the eleventh. 0 and 0 mean all rows; any other equal pair means none.
 *
 * group: 0 id, 1 type, and, each within its type, 2 date, 3 time, 4 user, 5 address, 6 computer, 7 to 9 message text.
 */

/*
 * Lists events. The callback gets 17 columns: event_id, event_type, event_date, event_time, event_user, event_ip,
 * event_comp, event_desc, event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category,
 * event_client_id, event_client_app and event_client_agent. It also gets context.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a sort above 25, a type above 3, or a range that is negative or inverted;
 * ANNAL_NO_MEMORY; ANNAL_OPEN_FAILED; ANNAL_QUERY_FAILED when the statement fails or the callback stops it. The
 * callback may have received rows before a failure. Waits up to 20 s.
 */
ANNAL_API int annal_event_query(annal_row_callback callback, unsigned int sort, int start, int end, unsigned int type,
                                void* context) ANNAL_NOEXCEPT;

/*
 * Lists one event of each group, with an eighteenth column "COUNT(*)": the size of the group. SQLite chooses which
 * event represents its group. Results as annal_event_query; ANNAL_BAD_ARGUMENT also for a group above 9.
 */
ANNAL_API int annal_event_query_group(annal_row_callback callback, unsigned int sort, int start, int end,
                                      unsigned int type, unsigned int group, void* context) ANNAL_NOEXCEPT;

/*
 * Counts events. Returns their number, or ANNAL_BAD_ARGUMENT for a type above 3, ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, or
 * ANNAL_QUERY_FAILED (no table, or a lock held longer than the wait). Waits up to 20 s.
 */
ANNAL_API int annal_event_query_count(unsigned int type) ANNAL_NOEXCEPT;

/*
 * Filters of the searching event queries. An event must pass all of them:
 *
 *   date_from, date_to   the first and last date, such as "2026-01-31"; both null for any time.
 *   time_from, time_to   narrow the period to start and end at these times of the two dates, such as "23:59:59"; both
 *                        null for whole days. Ignored without dates.
 *   user                 contained in the user name, or the name itself (is_event_name_matching); null means any
 *   ip, comp, desc, app_id, app_name, category_id, category, client_id, client_app, client_agent
 *                        contained in the column; null means any. As in every LIKE of SQLite, "%" matches any text and
 *                        "_" any character, and the case of ASCII letters does not matter.
 * Every text is escaped: SQL in it has no effect.
 *
 * The _ex2 and _ex3 forms refuse two combinations with ANNAL_QUERY_FAILED. Callers rely on it:
 *   - category_id and category without any other filter;
 *   - a client filter with an application or category filter, but without type, period, user, ip, comp and desc.
 * Together with any of these six, both work.
 *
 * Listing and grouping return ANNAL_OK; ANNAL_BAD_ARGUMENT for a sort above 25, a type above 3, a group above 9, a
 * range that is negative or inverted, or one date or time of a pair without the other; ANNAL_NO_MEMORY;
 * ANNAL_OPEN_FAILED; ANNAL_QUERY_FAILED when the statement fails or the callback stops it. The callback may have
 * received rows before a failure. Counting returns the number of events, or one of these codes; it does not check the
 * pair of times: without a time_to the period ends before the day of date_to begins, and a time_to without time_from is
 * ignored. All wait up to 20 s.
 */

/*
 * List events that pass the filters, with the columns of annal_event_query. Each later form adds filters to the earlier
 * one's arguments. _ex2 and _ex3 also sort by 18 application id, 20 application name, 22 category id and 24 category,
 * one more for the reverse order; _ex does not sort by these.
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
 * Queries for polling clients: the events of some types since the client last polled.
 *
 * types: stored types (0, 1, 2), not the selector above, separated by commas, such as "0,2". The first three items
 *   count. Other numbers are ignored, and an item that does not begin with a number counts as 0. With no valid type the
 *   call returns ANNAL_QUERY_FAILED. At most 63 bytes are read.
 * client_time: seconds since 1970, as a text. It goes into the statement as a bare expression, so it must be a number.
 * days: only events of the last N days, of 86400 seconds each.
 *
 * The count and the grouping omit events stamped in the future; the listing does not. The listing delivers the table's
 * own columns in the table's order, the grouping the columns of annal_event_query_group. The grouping sorts before it
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
 * The log's file is /etc/logs/conn.log, its table ANNAL_CONN. Every function here that opens it returns
 * ANNAL_OPEN_FAILED if it cannot, and ANNAL_NO_MEMORY if it cannot build its statement.
 */

/*
 * Creates the table, its indexes and its log-full trigger.
 *
 * max_rows: the maximum number of entries; 0 or less means 10000. del_rows: how many of the oldest entries (by date,
 * then time) are deleted together when an insert exceeds it; 0 or less means 1.
 *
 * Returns ANNAL_OK; ANNAL_TABLE_FAILED if the table could not be created, for example because it exists; or what
 * annal_conn_add_trigger_logfull returns, with the table left in place. Waits up to 20 s, for the table and again for
 * the trigger.
 */
ANNAL_API int annal_conn_create_tbl(int max_rows, int del_rows) ANNAL_NOEXCEPT;

/* Drops the table with all its entries. ANNAL_TABLE_FAILED on failure, e.g. without a table. Does not wait. */
ANNAL_API int annal_conn_remove_tbl(void) ANNAL_NOEXCEPT;

/* Deletes every entry and keeps the table. ANNAL_EMPTY_FAILED when that fails. Waits up to 20 s. */
ANNAL_API int annal_conn_flush_tbl(void) ANNAL_NOEXCEPT;

/*
 * Creates the log-full trigger; arguments and their defaults as for annal_conn_create_tbl. To change the limits, remove
 * the trigger first. ANNAL_TRIGGER_FAILED on failure, for example because there is a trigger. Waits up to 20 s.
 */
ANNAL_API int annal_conn_add_trigger_logfull(int max_rows, int del_rows) ANNAL_NOEXCEPT;

/* Drops the log-full trigger. ANNAL_REMOVE_TRIGGER_FAILED on failure, e.g. without one. Waits up to 20 s. */
ANNAL_API int annal_conn_remove_trigger_logfull(void) ANNAL_NOEXCEPT;

/*
 * Deletes the count oldest entries (by date, then time). A negative count deletes every entry; 0 deletes none.
 * ANNAL_TRIGGER_FAILED on failure. Waits up to 20 s.
 */
ANNAL_API int annal_conn_del_full(int count) ANNAL_NOEXCEPT;

/*
 * Deletes the entries whose column equals a value. Succeeds if none matches.
 *
 * selector: the column. 0 conn_id, 1 conn_type, 2 conn_date, 3 conn_time, 4 conn_user, 5 conn_ip, 6 conn_comp,
 * 7 conn_res, 8 conn_serv, 9 conn_action, 10 conn_app, 11 conn_action_result.
 * value: for 0, 1, 8, 9 and 11 the address of an int, for the others a text. The text goes unescaped between single
 * quotes into the statement: a text with a single quote in it is SQL, not a value.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for another selector or a null value; ANNAL_CHANGE_FAILED when the statement
 * fails. Does not wait.
 */
ANNAL_API int annal_conn_del(unsigned int selector, const void* value) ANNAL_NOEXCEPT;

/*
 * Tells whether the table has a column, as annal_event_table_check_column does. Waits up to 20 s.
 */
ANNAL_API int annal_conn_table_check_column(const char* column) ANNAL_NOEXCEPT;

/* Adds a column: as annal_event_table_add_column. Does not wait. */
ANNAL_API int annal_conn_table_add_column(const char* column, int kind, const char* default_text) ANNAL_NOEXCEPT;

/*
 * Adds the columns that a table of an earlier release lacks. Returns the result of annal_common_migrate_db for the
 * connection table. Waits up to 20 s.
 */
ANNAL_API int annal_conn_modify_tbl(void) ANNAL_NOEXCEPT;

/* How the filtering connection queries match a user: as is_event_name_matching, for connections. */
ANNAL_API extern int is_conn_name_matching;

/* Sets is_conn_name_matching to 1 when enable is not 0, else to 0. Returns ANNAL_OK. Touches no file. */
ANNAL_API int annal_conn_enable_name_matching(int enable) ANNAL_NOEXCEPT;

/* ---- connection log: submission ---- */

/*
 * Stores one connection and forwards it to the appliance's other log consumers.
 *
 * A WARNING. conn_user, conn_ip, conn_comp and conn_app go unescaped between single quotes into the statement. A quote
 * in one of them ends the text there: at best the statement fails with ANNAL_INSERT_FAILED and the entry is lost; at
 * worst the rest of a crafted name runs as SQL. Pass names that came from the network, such as the user of a failed
 * log-in, to annal_conn_add_entries2, even a single one: it binds its values, so a quote is an ordinary character.
 *
 * record: the connection. Once it has passed the checks it is changed in place as follows, whether or not it can then
 * be stored.
 *   - empty conn_user becomes "---", padded with zero bytes to its end;
 *   - conn_ip is normalised as by annal_checkip and becomes "---", padded to the field's end, if it is not an address,
 *     which is not an error; an address without its prefix is padded to 63;
 *   - empty conn_comp becomes "localhost", padded with zero bytes to 64;
 *   - empty conn_res, conn_app, conn_client_id, conn_client_app and conn_client_agent become "---"; the bytes after the
 *     terminator stay;
 *   - if both the address and the client application begin with "---", the connection is the appliance's own:
 *     conn_client_app becomes "localhost";
 *   - Unicode control characters are removed from conn_res.
 * The entry is stamped with the current local date and time.
 *
 * Bounds, in bytes: 64 for conn_user, conn_ip and conn_comp, 256 for conn_app, 1024 for conn_res. The client fields are
 * not checked: a text without a terminator inside its field runs on into the next field, but never beyond the record.
 *
 * Returns
 *   ANNAL_OK             the connection is stored; forwarding does not affect the result;
 *   ANNAL_TOO_LONG       a field is longer than its bound;
 *   ANNAL_BAD_ARGUMENT   a null record, a conn_type above 2, conn_serv above 12, conn_action above 36 or one of these
 *                        negative, or a conn_action_result other than 0 and 13;
 *   ANNAL_NO_MEMORY      the statement could not be built;
 *   ANNAL_OPEN_FAILED    /etc/logs/conn.log could not be opened;
 *   ANNAL_INSERT_FAILED  a quote in a field, or the file is locked, damaged, full or lacks the table. Nothing is stored
 *                        or forwarded.
 * Waits up to 20 s.
 *
 * The stored connection, as the record now holds it, then goes to the log centre (a detached "/usr/local/sbin/evsh"
 * "lumo.add_local_access_log", with level, action, service and action result as bit sets in which number n is bit n -
 * 1), to SendConnToZSyslogd, and to the recorder (send_conn_log_to_orca). Starts processes; waits for their start, not
 * for their end.
 */
ANNAL_API int annal_conn_add2(ConnRecord* record) ANNAL_NOEXCEPT;

/* The same for callers of earlier releases: works on a copy whose client fields are empty. Results as above. */
ANNAL_API int annal_conn_add(const ConnRecordV1* record) ANNAL_NOEXCEPT;

/*
 * Stores many connections in one transaction, which is much cheaper than one at a time, and forwards each as
 * annal_conn_add2 does. Every value is bound, so SQL in a text has no effect. Use this form for names that came from
 * the network.
 *
 * records: an array of count records, changed in place. A record that annal_conn_add2 would refuse for its bounds is
 *   skipped silently: unchanged, not stored, not forwarded. The others are changed as by annal_conn_add2, with three
 *   exceptions: an empty conn_user becomes "System", and the bytes after its terminator stay; an invalid address
 *   becomes "127.0.0.1" (padded to 64); conn_client_app "---" becomes "localhost" for addresses that begin with
 *   "127.0.0.1". May be null if count is 0 or less; the call then runs an empty transaction.
 * inserted: set to 0, then to the number of rows inserted. A record whose insert failed is not counted, but is
 *   forwarded. After ANNAL_INSERT_FAILED it does not tell what is stored: usually no row at all; but if SQLite rolled
 *   back the transaction half-way (a disk that is full for a moment), the records after that point, each on its own.
 *
 * Returns ANNAL_OK if the transaction is committed, even if records were skipped: compare inserted with count;
 * ANNAL_BAD_ARGUMENT for a null inserted, or null records with a count above 0; ANNAL_OPEN_FAILED; ANNAL_INSERT_FAILED
 * when the commit failed; ANNAL_BATCH_FAILED if seven attempts to begin a transaction failed.
 *
 * It replaces a broken log. If preparing the statement or beginning the transaction fails twice in a row, the call
 * DELETES the file with all its entries and recreates it with annal_conn_create_tbl(0, 0) before each further attempt.
 * The cause may be a file that is not a database, lacks the table or has another layout, or whose triggers or indexes
 * SQLite cannot read; a lock on the whole file through two waits; or a lack of memory. The call still returns ANNAL_OK;
 * while a reader has the deleted file open it may return ANNAL_INSERT_FAILED although the rows are stored. The new file
 * keeps the old one's mode, owner, group and access list as far as the process may set them, and never grants more
 * rights than before. Without root's rights the process becomes the owner. The owner can always read and write. If the
 * new file cannot be linked into place, or another process creates the log first, the umask decides its mode.
 *
 * So a careful caller first checks, over its own connection, that the log takes entries, and only then calls the batch.
 * The function below does what a batch does and undoes it: it takes the write lock, inserts the batch's columns into
 * the table with its triggers and indexes, and rolls back. It inserts two equal rows, because a unique index added by
 * someone would refuse only the second. It waits up to 20 s. It refuses a log that is missing, locked, of another
 * layout, damaged where an entry is written, or that refuses rows. It does not read the whole log as "annalctl conn
 * check" does, and it cannot foresee what happens next: if a process then locks the whole file for 40 s, or damages it
 * at that moment, the log is still lost.
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
 * Waits up to 20 s before each attempt for a lock on the whole file, then for each record until one gets the write
 * lock, and once more to commit. While another program keeps the write lock, 3 records take 60 s and 1000 take five and
 * a half hours; the call then returns ANNAL_OK with 0 in inserted and has forwarded every record. The check above gives
 * up after 20 s. The batch itself holds the write lock until it has forwarded the last record, so a slow consumer
 * (SendConnToZSyslogd) keeps other writers waiting. Starts processes; waits for their start, not for their end.
 */
ANNAL_API int annal_conn_add_entries2(ConnRecord* records, int count, int* inserted) ANNAL_NOEXCEPT;

/* The same for callers of earlier releases: works on copies whose client fields are empty. Results as above. */
ANNAL_API int annal_conn_add_entries(const ConnRecordV1* records, int count, int* inserted) ANNAL_NOEXCEPT;

/*
 * Sends a connection to the video-surveillance recorder if the action is 9, 10 or 11 and a recorder is installed, that
 * is, if "/sbin/orcapro_conn_log_tool" exists: starts that tool with the type after "-t", the current time "-l", user
 * "-u", ip "-p", computer "-m", service "-s", action "-c" and resource "-a". A null text is sent as "(null)".
 *
 * Always returns ANNAL_OK. Touches no log. Starts a process; waits for its start, not for its end.
 */
ANNAL_API int send_conn_log_to_orca(int type, const char* user, const char* ip, const char* comp, int serv, int action,
                                    const char* res) ANNAL_NOEXCEPT;

/* ---- connection log: queries ---- */
/*
 * What the connection queries share:
 *
 * db_path: the file to read; null means /etc/logs/conn.log, which counts and the polling clients' queries always read.
 *
 * callback: gets the fifteen columns of the table for each row, in the table's own order; the grouping queries add
 * "COUNT(*)", the size of the group. It also gets context.
 *
 * sort: 0 date and time, 2 time and date, 4 type, 6 user, 8 address, 10 computer, 12 id, 14 service, 16 action,
 * 18 application, 20 action result; one more for the reverse order.
 *
 * start, end: the rows from start up to, but not including, end, counted from 0. 0 and 0 mean all rows.
 *
 * type_mode: 0 all connections, 1 information, 2 warnings, 3 errors (one more than the stored conn_type).
 *
 * group: 0 id, 1 type, 2 date, 3 time, 4 user, 5 address, 6 computer, 7 resource, 8 service, 9 action, 10 application,
 * 11 action result. Unlike events, connections are not also grouped by type.
 *
 * The filters. A row must pass all of them:
 *   date_from, date_to    the first and last date, such as "2026-01-31"; a null date_from means any time, and date_to
 *                         is then ignored. A date_from needs a date_to.
 *   time_from, time_to    narrow the period to start and end at these times of the two dates, such as "23:59:59".
 *                         Ignored without date_from. A time_from needs a time_to.
 *   user                  contained in the user name, or the name itself (is_conn_name_matching); null means any
 *   ip, comp, res, app, client_id, client_app, client_agent
 *                         contained in the column; null means any. As in every LIKE of SQLite, "%" matches any text and
 *                         "_" any character, and the case of ASCII letters does not matter.
 *   serv                  the service number, up to 12; 0 means any
 *   action                the action number, up to 36; 0 means any
 *   action_result         13, or 0 for any
 * Every text is escaped: SQL in it has no effect.
 *
 * Listing and grouping return ANNAL_OK; ANNAL_BAD_ARGUMENT for a sort above 21, a range that is negative or inverted, a
 * type_mode above 3, a group above 11, or a filter's number out of its range; ANNAL_NO_MEMORY; ANNAL_OPEN_FAILED;
 * ANNAL_QUERY_FAILED when the statement fails or the callback stops it. The callback may have received rows before a
 * failure. Counting returns the number of rows, or one of these codes. All wait up to 20 s.
 */

/* Lists connections. */
ANNAL_API int annal_conn_query(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                               int type_mode, void* context) ANNAL_NOEXCEPT;

/* Lists connections that pass the filters. Each later form adds filters to the earlier one's arguments. */
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

/* List one connection of each group, with the group's size. SQLite chooses which one. */
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
 * Queries for polling clients: the connections of some levels since the client last polled.
 *
 * levels: stored types (0, 1, 2) separated by commas, such as "0,2". The first three items count. Other numbers are
 *   ignored, and an item that does not begin with a number counts as 0. With no valid level the call returns
 *   ANNAL_QUERY_FAILED. At most 63 bytes are read.
 * client_time: seconds since 1970, as a text. It goes into the statement as a bare expression, so it must be a number.
 * days: only connections of the last N days, of 86400 seconds each.
 * sort: as above, but up to 25 is accepted. The listing sorts only by 0 to 17, the grouping by 0 to 21.
 * group_text: the caller's own text, which goes unescaped after the levels into the inner selection, such as "group by
 *   conn_user"; not null.
 *
 * The count and the grouping omit connections stamped in the future; the listing does not. Results as above;
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
 * argument of every function here. Depending on its build (Debian's does), SQLite reads a path that begins with "file:"
 * as a URI, which may name an in-memory database or a VFS. ":memory:" and an empty path are not files either. Begin a
 * path that comes from outside with "/" or "./" to rule these out. A null path returns ANNAL_BAD_ARGUMENT. Every
 * function that opens the file returns ANNAL_OPEN_FAILED if it cannot, and ANNAL_NO_MEMORY if it cannot build its
 * statement. All but pavo2log_event_create_tbl create an empty file if there was none.
 *
 * Call them with no more rights than the users who can write to the file, its folder or a folder above it. If such a
 * user puts a journal beside the file, SQLite changes the file, and deletes any other file, with the rights of the next
 * caller of any of these functions. Checking the folder before the call does not protect you: assume the user's rights
 * instead.
 */

/*
 * Creates the file with its table, indexes and log-full trigger. May be called on every start: unless the path holds an
 * empty file, whatever is there stays untouched and unread. So success does not mean that there is a table, or that the
 * table has its limit (see annal_event_create_tbl). To change the limits of an existing log, remove its trigger and add
 * another.
 *
 * max_rows: the maximum number of operations; 0 or less means 100000. delete_count: how many of the oldest (by date,
 * then time) are deleted together when an insert exceeds it; 0 or less means 1.
 *
 * Returns ANNAL_OK; ANNAL_TABLE_FAILED if the table could not be created (a failed index does not count); or what
 * pavo2log_event_add_trigger_logfull returns, with the table left in place. Waits up to 20 s, for each of its
 * statements.
 */
ANNAL_API int pavo2log_event_create_tbl(const char* path, int max_rows, int delete_count) ANNAL_NOEXCEPT;

/* Drops the table with all its entries. ANNAL_TABLE_FAILED on failure, e.g. without a table. Does not wait. */
ANNAL_API int pavo2log_event_remove_tbl(const char* path) ANNAL_NOEXCEPT;

/* Deletes every entry and keeps the table. ANNAL_EMPTY_FAILED when that fails. Waits up to 20 s. */
ANNAL_API int pavo2log_event_flush_tbl(const char* path) ANNAL_NOEXCEPT;

/*
 * Creates the log-full trigger; arguments and their defaults as for pavo2log_event_create_tbl. To change the limits,
 * remove the trigger first. ANNAL_TRIGGER_FAILED on failure, for example because there is a trigger. Waits up to 20 s.
 */
ANNAL_API int pavo2log_event_add_trigger_logfull(const char* path, int max_rows, int delete_count) ANNAL_NOEXCEPT;

/* Drops the log-full trigger. ANNAL_REMOVE_TRIGGER_FAILED on failure, e.g. without one. Waits up to 20 s. */
ANNAL_API int pavo2log_event_remove_trigger_logfull(const char* path) ANNAL_NOEXCEPT;

/*
 * Deletes the entries whose column equals a value. Succeeds if none matches.
 *
 * selector: the column. 0 event_id, 1 event_type, 2 event_date, 3 event_time, 4 event_user, 5 event_ip,
 * 6 event_isFolder, 7 event_action, 8 event_filesize, 9 event_comp, 10 event_duid, 11 event_desc, 12 event_filepath.
 * value: for 0, 1 and 6 to 8 the address of an int, for the others a text. The text goes unescaped between single
 * quotes into the statement: a text with a single quote in it is SQL, not a value.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for another selector or a null value; ANNAL_CHANGE_FAILED when the statement
 * fails. Does not wait.
 */
ANNAL_API int pavo2log_event_del(const char* path, unsigned int selector, const void* value) ANNAL_NOEXCEPT;

/* ---- file-operation log: submission ---- */

/*
 * Normalises and checks an address in place, as annal_checkip does, but takes as IPv4 any four decimal numbers from
 * 0 to 255 with dots between them, whatever follows the last. So it accepts "10.0.0.5:8080" and leaves it as it is. It
 * reads the numbers as sscanf reads "%d.%d.%d.%d": blanks before a number, a sign and leading zeros pass, and only the
 * low 32 bits of a larger number count, so on a 64-bit machine it also accepts "10.0.0.4294967301". A number outside
 * the range of long counts as the nearest one inside it.
 *
 * Returns ANNAL_OK, ANNAL_BAD_ARGUMENT for an invalid address, ANNAL_NO_MEMORY for a null pointer. Touches no file.
 */
ANNAL_API int pavo2log_checkip(char* ip) ANNAL_NOEXCEPT;

/*
 * Stores one file operation. The record is first normalised in place and stays so whether or not it can be stored:
 *
 *  - an empty event_user becomes "System", the rest of its array zeroed; an empty event_comp or event_duid becomes
 *    "localhost", padded with zero bytes to 64;
 *  - event_ip is normalised as by pavo2log_checkip, and an address without its prefix is padded to 63; an invalid one
 *    becomes "127.0.0.1", padded to 64.
 *
 * Single quotes in the two paths and in event_desc are stored as they are. event_user, event_ip, event_comp and
 * event_duid go unescaped into the statement: at best, a quote in one of them makes it fail.
 *
 * Returns the new entry's event_id, which is above 0, even if the log-full trigger has already deleted that entry.
 * Otherwise it stores nothing and returns one of these:
 *
 *  - ANNAL_TOO_LONG: event_user, event_ip, event_comp or event_duid is longer than 64 bytes, or event_desc than 1024.
 *    The record is unchanged;
 *  - ANNAL_BAD_ARGUMENT: a null record, an event_type or event_isFolder above 2, an event_action other than 1 to 35.
 *    The record is unchanged;
 *  - ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED;
 *  - ANNAL_INSERT_FAILED: the statement failed: no table, a lock held longer than the wait, a full disk.
 *
 * Waits for a lock by retrying 50 times, 100 ms apart: 5 s, or up to 10 s if it meets one lock when it reads the
 * table's layout and another when it writes (7.2 s measured). All 50 tries can find the lock taken even if no one holds
 * it for long: with 16 threads writing without a pause, 19 of 9,979 calls returned ANNAL_INSERT_FAILED. If you must not
 * lose an entry, call again.
 */
ANNAL_API int64_t pavo2log_event_add(const char* path, FileOpRecord* record) ANNAL_NOEXCEPT;

/* ---- file-operation log: queries ---- */
/*
 * Selectors that the queries share:
 *
 * type: 0 all operations, 1 information, 2 warnings, 3 errors (one more than the stored event_type).
 *
 * sort: 0 date and time, 2 time and date, 4 type, 6 user, 8 address, 10 computer, 12 id, 14 event_isFolder,
 * 16 event_action, 18 size; one more for the reverse order. 20 and 21 do not sort.
 *
 * start, end: as for the event log's queries. 0 and 0 mean all rows.
 *
 * filter: read only, its text fields terminated. Its texts go unescaped into the statement: at best, a single quote
 * makes it fail. All conditions together have room for 2047 bytes, which only long paths and descriptions exceed: each
 * takes its text and 20 to 40 bytes more.
 *
 * All wait up to 20 s. The arguments called unused are not read.
 */

/*
 * Count the operations of a type, or those that match a filter. Return their number, or ANNAL_BAD_ARGUMENT for a type
 * above 3, a null filter, or one with a text that is not terminated or with conditions that do not fit;
 * ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, or ANNAL_QUERY_FAILED (no table, a lock held longer than the wait, a text that
 * breaks the statement).
 */
ANNAL_API int pavo2log_event_query_count(const char* path, unsigned int type, const void* unused1, const void* unused2,
                                         const void* unused3, const void* unused4) ANNAL_NOEXCEPT;
ANNAL_API int pavo2log_event_query_count_by(const char* path, FileOpFilter* filter, const void* unused1,
                                            const void* unused2, const void* unused3,
                                            const void* unused4) ANNAL_NOEXCEPT;

/*
 * List the operations of a type, or those that match a filter. The callback gets the table's 16 columns: event_id,
 * event_type, event_date, event_time, event_user, event_ip, event_oldfilepath, event_filepath, event_isFolder,
 * event_action, event_filesize, event_comp, event_duid, event_desc, sub_user and pid. It also gets context.
 *
 * With sort 1 the two differ: pavo2log_event_query lists by date and time, latest first; pavo2log_event_query_by lists
 * by event_id, last stored first.
 *
 * Return ANNAL_OK; ANNAL_BAD_ARGUMENT for a sort above 21, a range that is negative or inverted, or where the counts
 * return it; ANNAL_NO_MEMORY; ANNAL_OPEN_FAILED; ANNAL_QUERY_FAILED when the statement fails or the callback stops it.
 * The callback may have received rows before a failure.
 */
ANNAL_API int pavo2log_event_query(const char* path, annal_row_callback callback, unsigned int sort, int start, int end,
                                   unsigned int type, void* context) ANNAL_NOEXCEPT;
ANNAL_API int pavo2log_event_query_by(const char* path, annal_row_callback callback, FileOpFilter* filter,
                                      unsigned int sort, int start, int end, void* context) ANNAL_NOEXCEPT;

/* ---- notices: table and maintenance ---- */
/*
 * The file is /etc/logs/notice.log, its table ANNAL_NOTICE. Every function here that opens it returns ANNAL_OPEN_FAILED
 * if it cannot, and ANNAL_NO_MEMORY if it cannot build its statement.
 */

/*
 * Creates the table, its indexes and its log-full trigger.
 *
 * max_rows: the maximum number of notices; 0 or less means 10000. delete_count: how many of the oldest (by time) are
 * deleted together when an insert exceeds it; 0 or less means 1.
 *
 * Returns ANNAL_OK; ANNAL_TABLE_FAILED if the table could not be created, for example because it exists (a failed index
 * does not count); or what annal_notice_add_trigger_logfull returns, with the table left in place. Waits up to 20 s,
 * for each of its statements.
 */
ANNAL_API int annal_notice_create_tbl(int max_rows, int delete_count) ANNAL_NOEXCEPT;

/* Drops the table with all its notices. ANNAL_TABLE_FAILED on failure, e.g. without a table. Does not wait. */
ANNAL_API int annal_notice_remove_tbl(void) ANNAL_NOEXCEPT;

/* Deletes every notice and keeps the table. ANNAL_EMPTY_FAILED when that fails. Waits up to 20 s. */
ANNAL_API int annal_notice_flush_tbl(void) ANNAL_NOEXCEPT;

/*
 * Creates the log-full trigger; arguments and their defaults as for annal_notice_create_tbl. To change the limits,
 * remove the trigger first. ANNAL_TRIGGER_FAILED on failure, for example because there is a trigger. Waits up to 20 s.
 */
ANNAL_API int annal_notice_add_trigger_logfull(int max_rows, int delete_count) ANNAL_NOEXCEPT;

/* Drops the log-full trigger. ANNAL_REMOVE_TRIGGER_FAILED on failure, e.g. without one. Waits up to 20 s. */
ANNAL_API int annal_notice_remove_trigger_logfull(void) ANNAL_NOEXCEPT;

/*
 * Deletes the notices whose column equals a value. Succeeds if none matches.
 *
 * selector: the column. 0 id, 1 severity, 2 server, 3 action, 4 serviceName, 5 facility, 6 time, 7 endtime, 8 user,
 * 9 ip, 11 desc, 12 msgCode, 13 varNum, 14 varContent, 15 name, 16 status, 17 uid, 18 gid, 19 link_id, 20 link_option,
 * 21 title. 10 has no column and always fails.
 * value: the address of an int for 0 to 3, 5, 7, 13 and 16 to 18, for the others a text, whose single quotes are
 * escaped. Selector 6 takes the time as a text. 19 to 21 take an SQL expression, such as a number.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a selector above 21 or a null value; ANNAL_CHANGE_FAILED when the statement
 * fails. Does not wait.
 */
ANNAL_API int annal_notice_del(unsigned int selector, const void* value) ANNAL_NOEXCEPT;

/*
 * Deletes the notices that are older than N days of 86400 seconds.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for less than 1 day; ANNAL_CHANGE_FAILED when the statement fails. Does not
 * wait.
 */
ANNAL_API int AnnalNoticeDellogByClientTime(int days) ANNAL_NOEXCEPT;

/*
 * Tells whether the table has a column, by reading its value in the first row.
 *
 * column: the column's name, unescaped.
 *
 * Returns that value as an integer, even a negative one; ANNAL_QUERY_FAILED for a missing column, but also for an empty
 * table; ANNAL_BAD_ARGUMENT for a null pointer. Waits up to 20 s.
 */
ANNAL_API int annal_notice_table_check_column(const char* column) ANNAL_NOEXCEPT;

/*
 * Returns how many of the 21 columns from id to link_option annal_notice_table_check_column does not find: despite the
 * name, 0 means that all exist. An empty table returns 21. A column that cannot be read counts as missing, because the
 * file is locked or damaged or memory is short (7,816 of 10,189 single failed allocations made a healthy log seem to
 * lack a column). A column does not count if the file cannot be opened or the statement's own text cannot be allocated.
 * To know for certain, read "PRAGMA table_info(ANNAL_NOTICE)" to its end over your own connection and compare the names
 * without regard to case, as SQLite does. Waits up to 20 s for each column.
 */
ANNAL_API int isAllColumnExist(void) ANNAL_NOEXCEPT;

/*
 * Adds a column.
 *
 * column: its name, unescaped. type: 0 for TEXT, 1 for INTEGER. default_text: the default for either kind, unescaped
 * between single quotes.
 *
 * Returns ANNAL_OK; ANNAL_BAD_ARGUMENT for a null pointer or another type; ANNAL_CHANGE_FAILED if the statement fails,
 * for example because the column exists. Does not wait.
 */
ANNAL_API int annal_notice_table_add_column(const char* column, int type, const char* default_text) ANNAL_NOEXCEPT;

/*
 * Updates the file of an earlier release. A file that lacks only title gets that column. A file that lacks any of the
 * columns from id to link_option, or holds no notice, is deleted with all its notices and recreated for 10000. The call
 * then returns ANNAL_CHANGE_FAILED although the new table is correct: it looks for title in the empty table, does not
 * find it and cannot add it again. A column that cannot be read counts as missing here too: a healthy log is deleted
 * with all its notices if it is locked longer than the wait, or if memory is short at that moment. So check the columns
 * first, as isAllColumnExist describes, and call this only if some are really missing and no one else uses the file.
 * "annalctl notice migrate" does so. The new file keeps the old one's mode, owner and group, like one that
 * annal_conn_add_entries2 recreates.
 *
 * Returns ANNAL_OK, even if the file could not be opened and nothing was done; or the result of creating the table or
 * adding the column. Waits up to 20 s for each step except adding title.
 */
ANNAL_API int AnnalNoticeModifyTbl(void) ANNAL_NOEXCEPT;

/* ---- notices: submission ---- */

/*
 * Stores one notice. It notifies no other program: annal_notice_send and notify_send do that.
 *
 * record: the notice. Once it has passed the checks it is changed in place as follows, whether or not it can then be
 * stored.
 *   - empty user and serviceName become "System", an empty msgCode becomes "0", an empty client "localhost";
 *   - ip is normalised as by annal_checkip and becomes "127.0.0.1" if it is not an address, which is not an error;
 *   - a uid or gid below 0 becomes -1;
 *   - Unicode control characters are removed from desc.
 *   A replaced user or msgCode is padded with zero bytes to its end, client and ip to 64 bytes, an address without its
 *   prefix to 63; after "System" in serviceName only the terminator is written.
 * The time and endtime columns both get the current time, stored as a 32-bit number; the record's own are neither read
 * nor changed.
 *
 * Bounds, in bytes: 64 for user, ip and client, 2048 for desc. The other texts are not checked: one without a
 * terminator inside its field runs on into the next field, but never beyond the record.
 *
 * Returns
 *   ANNAL_OK             the notice is stored;
 *   ANNAL_TOO_LONG       a field is longer than its bound;
 *   ANNAL_BAD_ARGUMENT   a null record, or a severity above 7;
 *   ANNAL_NO_MEMORY      the statement could not be built;
 *   ANNAL_OPEN_FAILED    /etc/logs/notice.log could not be opened;
 *   ANNAL_INSERT_FAILED  the file is locked, damaged, full or lacks the table. Nothing is stored.
 * Waits up to 20 s. Starts no process.
 */
ANNAL_API int annal_notice_add(NoticeRecord* record) ANNAL_NOEXCEPT;

/* ---- notices: queries ---- */
/*
 * Arguments that the notice queries share:
 *
 * sort: 0 time, 4 severity, 6 user, 8 ip, 10 client, 12 id, 14 server, 16 action, 18 serviceName, 20 facility,
 * 22 msgCode; one more for the reverse order. 2 and 3 do not sort.
 *
 * start, end: the rows from start up to, but not including, end, counted from 0; 0 and 0 mean all rows; any other equal
 * pair means none.
 *
 * kind: 0 or 1, with the same effect.
 *
 * from, days, to: the notices whose time is from "from" to "to", both included, and at most N days of 86400 seconds
 * before "to". Texts in seconds since 1970: "1795255200". They go into the statement without quotes, so an expression
 * works too, but quotes inside it are doubled: "strftime('%s','now')" fails.
 * condition: an SQL expression that the notices must also satisfy, such as "severity < 4", or a null pointer for none.
 * Its quotes are doubled too, so a condition with a text in it fails. None of these texts is checked: never pass one
 * that came from outside. A null from or to matches nothing.
 *
 * The listings pass the 22 columns of the table to their callback: id, severity, server, action, serviceName, facility,
 * time, endtime, user, ip, client, desc, msgCode, varNum, varContent, name, status, uid, gid, link_id, link_option and
 * title. It also gets context. The callback may have received rows before a failure.
 *
 * Every query waits up to 20 s.
 */

/*
 * Counts all notices. The other five arguments are not read.
 *
 * Returns their number, or ANNAL_BAD_ARGUMENT for a kind above 1, ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, or
 * ANNAL_QUERY_FAILED (no table, or a lock held longer than the wait).
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
 * Counts the notices of a period. Returns their number, or ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, or ANNAL_QUERY_FAILED,
 * also for texts that break the statement.
 */
ANNAL_API int annal_notice_query_byclientTime_count(const char* from, int days, const char* to,
                                                    const char* condition) ANNAL_NOEXCEPT;

/* Lists the notices of a period. Results as annal_notice_query.
 */
ANNAL_API int annal_notice_query_byclientTime(annal_row_callback callback, const char* from, int days, const char* to,
                                              int start, int end, unsigned int sort, const char* condition,
                                              void* context) ANNAL_NOEXCEPT;

/*
 * Groups the notices of a period and lists one of each group, with a twenty-third column "COUNT(*)": the size of the
 * group. SQLite chooses which notice represents its group, and the order of the groups: the sort applies to the notices
 * before they are grouped.
 *
 * group: the columns that the notices of a group share. 0 id, 1 severity, 2 server, 3 action, 4 serviceName,
 * 5 facility, 6 time, 7 endtime, 8 user, 9 ip, 11 desc, 12 msgCode, 13 varNum, 14 varContent; any above 14 facility,
 * name and desc together. 10 has no column and always fails.
 *
 * Results as annal_notice_query_byclientTime.
 */
ANNAL_API int annal_notice_query_group_byclientTime(annal_row_callback callback, const char* from, int days,
                                                    const char* to, int start, int end, unsigned int sort,
                                                    unsigned int group, const char* condition,
                                                    void* context) ANNAL_NOEXCEPT;

/* ---- notices: the notification command ---- */
/*
 * Both pass a notice to "/usr/local/sbin/notify" "send2" instead of storing it. A text that is not valid UTF-8 is
 * passed on as it is. Both read the environment variables HTTP_CLIENT_ID, HTTP_CLIENT_APP and HTTP_CLIENT_AGENT: no
 * other thread may change the environment meanwhile.
 */

/*
 * Runs the notification command through the platform's zeno_exec_v.
 *
 * app_id, category_id, msg_no: identify the message ("-A", "-C", "-M"). level: 1 error, 2 warning, any other
 * information ("-l" "error", "warn" or "info"). type: any number ("-t"). ip, user, comp: of the client, each omitted if
 * it is null ("-p", "-u", "--comp="); the client details of the environment follow ("--client_id=", "--client_app=",
 * "--client_agent="). message: the text. param and the following: texts for the message's parameters, ended by a null
 * pointer (in C "(char*)NULL"; a null param means no parameters). The command gets at most 63 arguments; further
 * parameters are dropped. The arguments that begin with "--" have room for 10240 bytes in all; the rest is cut. A null
 * app_id, category_id, msg_no or message ends the arguments there: the command runs with those before it, and the call
 * succeeds.
 *
 * If "/usr/local/sbin/notify" does not exist, "/sbin/log_tool" runs instead: "-a" message, "-t" and the level as an
 * event type, "-p" ip, "-u" user, "-m" comp, and nothing else. Notices of type 2 and 3 are then dropped.
 *
 * Returns ANNAL_OK, even if the command fails or the notice is dropped; -1 if the command could not be run. Unless the
 * notice is dropped, it sets LC_ALL to "en_US.UTF-8" in the calling process and leaves it so: do not call it while
 * another thread uses the environment. Touches no log. Starts a process and waits for it as long as zeno_exec_v does.
 */
ANNAL_API int annal_notice_send(const char* app_id, int level, int type, const char* category_id, const char* msg_no,
                                const char* ip, const char* user, const char* comp, const char* message,
                                const char* param, ...) ANNAL_NOEXCEPT;

/*
 * Starts the notification command for a message of the catalog.
 *
 * ip, user, comp: of the client, each omitted if it is null ("--ip=", "--user=", "--comp=").
 * client_id, client_app, client_agent: likewise ("--client_id=", "--client_app=", "--client_agent="), but a null one is
 * first looked up in the environment.
 * type: any number ("-t7"). level: on the scale of the catalog; 2 is sent as it is, any other is combined with 5 by
 * exclusive or, so that 1 becomes 4 and 4 becomes 1 ("-l4").
 * entry: the message; all of it is sent except the level ("-AA011", "-CC001", "-M7" and the template).
 * The following arguments: texts for the message's parameters, ended by a null pointer (in C "(char*)NULL").
 * The command gets at most 22 arguments; further parameters are dropped. All but the first two and the template share
 * 10240 bytes; the rest is cut.
 *
 * Returns ANNAL_OK once a child has been created to start the command, even if the command then fails; 1 if no child
 * could be created; ANNAL_BAD_ARGUMENT, without starting anything, for a null entry or one with a null text, such as
 * the last of each array. Touches no log. Starts a process; waits for its start, not for its end.
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
 * len bytes. All of them are written: the name, then zero bytes. A name of len bytes or more is cut and not terminated.
 * A len of 0 or less writes nothing.
 *
 * Returns ANNAL_OK, for such a len too, or -1 for a null dst. Touches no file.
 */
ANNAL_API int Get_Facility_String_By_Facility(int facility, char* dst, int len) ANNAL_NOEXCEPT;

/* ---- message catalog ---- */

/*
 * The messages that the appliance's applications log, one array for each application: entry 0 is blank, the messages
 * and phrases follow, and an entry whose app_id is null ends the array. To find a message, compare msg_no from entry 1
 * on. Never use the number as an index: there are gaps, and some numbers are out of order. No function looks messages
 * up.
 *
 * To fill a template, replace each {n} by the n-th value, counted from 0. A phrase replaces its token, in templates and
 * in values.
 *
 * The level is on the catalog's own scale, 1 for an error and 4 for information: the reverse of the notification
 * centre's scale.
 *
 * The entries and texts are read-only and live as long as the library is loaded. A program compiled with neither -fPIC
 * nor -mno-direct-extern-access contains a copy of each array that it names, with the length that the array had when
 * the program was linked. So no array changes its length within libCorix_annal.so.2.
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
