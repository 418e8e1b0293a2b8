// Adds a file operation: checks and completes the record and stores it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <iterator>

#include "Corix_annal.h"
#include "common/address.h"
#include "common/local_time.h"
#include "common/record.h"
#include "common/store.h"

namespace annal {

namespace {

constexpr FieldBound kBounds[] = {
    {offsetof(FileOpRecord, event_user), 64, nullptr},   {offsetof(FileOpRecord, event_ip), 64, nullptr},
    {offsetof(FileOpRecord, event_comp), 64, nullptr},   {offsetof(FileOpRecord, event_duid), 64, nullptr},
    {offsetof(FileOpRecord, event_desc), 1024, nullptr},
};

constexpr unsigned kHighestType = 2;
constexpr unsigned kHighestFolder = 2;
constexpr unsigned kLowestAction = 1;
constexpr unsigned kHighestAction = 35;

// The user's field is cleared to its end. The last byte of the others is not written, as in every log.
constexpr char kNoUser[] = "System";
constexpr FieldDefault kDefaults[] = {
    {offsetof(FileOpRecord, event_user), kNoUser, 65},
    {offsetof(FileOpRecord, event_comp), kHostName, 64},
    {offsetof(FileOpRecord, event_duid), kHostName, 64},
};

// Users type paths and descriptions, so these are escaped. The file manager itself supplies the other four texts. A
// user waits for the operation to end, so this log gives up on a lock sooner than the others.
constexpr Statement kInsert{
    "INSERT INTO PAVO2LOG_EVENT "
    "\t( event_type, event_date, event_time, event_user, event_ip, event_oldfilepath, event_filepath, "
    "event_isFolder, event_action, event_filesize, event_comp, event_duid, event_desc, sub_user, pid) "
    "\tVALUES "
    "\t( %d, '%s', '%s', '%s', '%s', '%q', '%q', %d, %d, %d, '%s', '%s', '%q', '%s', %d);",
    Wait::kBusyHandler, ANNAL_INSERT_FAILED};

// The values of columns for which the record has no field.
constexpr char kNoSubUser[] = "";
constexpr int kNoProcess = 0;

bool in_range(const FileOpRecord& record) noexcept {
  return record.event_type <= kHighestType && record.event_isFolder <= kHighestFolder &&
         record.event_action >= kLowestAction && record.event_action <= kHighestAction;
}

// Four numbers with dots between them and any text after them, because some clients are known by address and port. The
// platform's own check would refuse those. sscanf reads the numbers, with its blanks, signs and overflow: callers rely
// on its results.
int is_dotted_quad(const char* text) noexcept {
  constexpr int kParts = 4;
  constexpr unsigned kHighestPart = 255;
  int part[kParts];
  // NOLINTNEXTLINE(cert-err34-c): sscanf's own handling of overflow is wanted
  if (std::sscanf(text, "%d.%d.%d.%d", &part[0], &part[1], &part[2], &part[3]) != kParts) {
    return 0;
  }
  return std::all_of(std::begin(part), std::end(part),
                     [](int number) { return static_cast<unsigned>(number) <= kHighestPart; })
             ? 1
             : 0;
}

void normalise(FileOpRecord& record) noexcept {
  fill_empty_fields(&record, kDefaults);
  if (check_address(record.event_ip, sizeof record.event_ip, is_dotted_quad) != ANNAL_OK) {
    fill_field(record.event_ip, kLocalAddress, 64);
  }
}

// A date and a time as the columns hold them. Impossible calendar fields may be too long; their text is then empty.
struct Moment {
  explicit Moment(const std::tm& fields) noexcept {
    if (std::strftime(date, sizeof date, "%F", &fields) == 0) {
      date[0] = '\0';
    }
    if (std::strftime(time, sizeof time, "%T", &fields) == 0) {
      time[0] = '\0';
    }
  }
  char date[32];
  char time[32];
};

const char* text_or_empty(const char* text) noexcept {
  return text != nullptr ? text : "";
}

}  // namespace

}  // namespace annal

using namespace annal;

int pavo2log_checkip(char* ip) noexcept {
  return check_address(ip, kUnknownSize, is_dotted_quad);
}

std::int64_t pavo2log_event_add(const char* path, FileOpRecord* record) noexcept {
  if (path == nullptr || record == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  if (!within_bounds(record, kBounds)) {
    return ANNAL_TOO_LONG;
  }
  if (!in_range(*record)) {
    return ANNAL_BAD_ARGUMENT;
  }
  normalise(*record);
  // Counted from 1900, year 0 is before any file: records are zeroed before they are filled.
  const Moment moment(record->event_tm.tm_year != 0 ? record->event_tm : local_time());
  const Text text(sqlite3_mprintf(kInsert.sql, record->event_type, moment.date, moment.time, record->event_user,
                                  record->event_ip, text_or_empty(record->event_oldfilepath),
                                  text_or_empty(record->event_filepath), record->event_isFolder, record->event_action,
                                  record->event_filesize, record->event_comp, record->event_duid, record->event_desc,
                                  kNoSubUser, kNoProcess));
  return insert(path, kInsert, text);
}
