/*
 * Corix_annal_text.h - the numbers of Corix_annal.h as texts.
 *
 * Everything here is inline: it needs no linking, and the library exports none of it. Each function returns a constant
 * English text that must not be freed, also for an unknown number.
 */
#ifndef CORIX_ANNAL_TEXT_H
#define CORIX_ANNAL_TEXT_H

#include "Corix_annal.h"

/* The four logs. */
enum annal_log { ANNAL_EVENT_LOG = 0, ANNAL_CONN_LOG = 1, ANNAL_FILEOP_LOG = 2, ANNAL_NOTICE_LOG = 3 };

/* The meaning of a result, in the words of Corix_annal.h. A count or an id, which is 0 or more, is "success". */
static inline const char* annal_result_text(int result) {
  if (result >= 0) {
    return "success";
  }
  switch (result) {
    case ANNAL_TOO_LONG:
      return "a text field of a record is longer than its bound";
    case ANNAL_BAD_ARGUMENT:
      return "a null pointer, a code out of range, or an invalid address";
    case ANNAL_NO_MEMORY:
      return "a buffer or a statement's text could not be allocated";
    case ANNAL_OPEN_FAILED:
      return "the log's file could not be opened (or created)";
    case ANNAL_TABLE_FAILED:
      return "creating or dropping a table failed, or the compaction";
    case ANNAL_EMPTY_FAILED:
      return "emptying a whole table failed";
    case ANNAL_INSERT_FAILED:
      return "storing a new entry failed";
    case ANNAL_QUERY_FAILED:
      return "a query failed, or its callback stopped it, or it gave no usable value";
    case ANNAL_TRIGGER_FAILED:
      return "creating the log-full trigger failed, or trimming to a size";
    case ANNAL_REMOVE_TRIGGER_FAILED:
      return "dropping the log-full trigger failed";
    case ANNAL_CHANGE_FAILED:
      return "a delete by selector, an added column or a migration failed";
    case ANNAL_BATCH_FAILED:
      return "a batch could not begin";
    default:
      return "an unknown result";
  }
}

/* The name of a result's constant, such as "ANNAL_TOO_LONG". */
static inline const char* annal_result_name(int result) {
  if (result >= 0) {
    return "ANNAL_OK";
  }
  switch (result) {
    case ANNAL_TOO_LONG:
      return "ANNAL_TOO_LONG";
    case ANNAL_BAD_ARGUMENT:
      return "ANNAL_BAD_ARGUMENT";
    case ANNAL_NO_MEMORY:
      return "ANNAL_NO_MEMORY";
    case ANNAL_OPEN_FAILED:
      return "ANNAL_OPEN_FAILED";
    case ANNAL_TABLE_FAILED:
      return "ANNAL_TABLE_FAILED";
    case ANNAL_EMPTY_FAILED:
      return "ANNAL_EMPTY_FAILED";
    case ANNAL_INSERT_FAILED:
      return "ANNAL_INSERT_FAILED";
    case ANNAL_QUERY_FAILED:
      return "ANNAL_QUERY_FAILED";
    case ANNAL_TRIGGER_FAILED:
      return "ANNAL_TRIGGER_FAILED";
    case ANNAL_REMOVE_TRIGGER_FAILED:
      return "ANNAL_REMOVE_TRIGGER_FAILED";
    case ANNAL_CHANGE_FAILED:
      return "ANNAL_CHANGE_FAILED";
    case ANNAL_BATCH_FAILED:
      return "ANNAL_BATCH_FAILED";
    default:
      return "unknown";
  }
}

/* The level of a stored event, connection or file operation. */
static inline const char* annal_level_name(int level) {
  switch (level) {
    case ANNAL_INFORMATION:
      return "information";
    case ANNAL_WARNING:
      return "warning";
    case ANNAL_ERROR:
      return "error";
    default:
      return "unknown";
  }
}

/* The severity of a stored notice. */
static inline const char* annal_severity_name(int severity) {
  switch (severity) {
    case ANNAL_SEVERITY_EMERGENCY:
      return "emergency";
    case ANNAL_SEVERITY_ALERT:
      return "alert";
    case ANNAL_SEVERITY_CRITICAL:
      return "critical";
    case ANNAL_SEVERITY_ERROR:
      return "error";
    case ANNAL_SEVERITY_WARNING:
      return "warning";
    case ANNAL_SEVERITY_NOTICE:
      return "notice";
    case ANNAL_SEVERITY_INFORMATIONAL:
      return "informational";
    case ANNAL_SEVERITY_DEBUG:
      return "debug";
    default:
      return "unknown";
  }
}

/* How a connection's action ended. */
static inline const char* annal_action_result_name(int result) {
  switch (result) {
    case ANNAL_ACTION_SUCCEEDED:
      return "succeeded";
    case ANNAL_ACTION_FAILED:
      return "failed";
    default:
      return "unknown";
  }
}

/* The name of a log, as annalctl has it. */
static inline const char* annal_log_name(int log) {
  switch (log) {
    case ANNAL_EVENT_LOG:
      return "event";
    case ANNAL_CONN_LOG:
      return "conn";
    case ANNAL_FILEOP_LOG:
      return "fileop";
    case ANNAL_NOTICE_LOG:
      return "notice";
    default:
      return "unknown";
  }
}

/* The file of a log. Empty for file operations, whose callers name it, and for an unknown log. */
static inline const char* annal_log_path(int log) {
  switch (log) {
    case ANNAL_EVENT_LOG:
      return "/etc/logs/event.log";
    case ANNAL_CONN_LOG:
      return "/etc/logs/conn.log";
    case ANNAL_NOTICE_LOG:
      return "/etc/logs/notice.log";
    default:
      return "";
  }
}

#endif /* CORIX_ANNAL_TEXT_H */
