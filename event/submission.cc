// Adds an event: checks and completes the record, stores it and forwards it.
#include <cstddef>
#include <cstring>
#include <ctime>

#include "Corix_annal.h"
#include "common/address.h"
#include "common/paths.h"
#include "common/record.h"
#include "common/store.h"
#include "event/forwarding.h"
#include "platform/platform.h"

namespace annal {

namespace {

// An overlong message identifier is no reason to lose the event. Events without one have had "0" since the column was
// added to older tables.
constexpr char kNoMessageId[] = "0";

constexpr FieldBound kBounds[] = {
    {offsetof(EventRecord, event_user), 64, nullptr},       {offsetof(EventRecord, event_ip), 64, nullptr},
    {offsetof(EventRecord, event_comp), 64, nullptr},       {offsetof(EventRecord, event_desc), 2048, nullptr},
    {offsetof(EventRecord, event_msgid), 64, kNoMessageId}, {offsetof(EventRecord, event_app_id), 64, nullptr},
    {offsetof(EventRecord, event_app_name), 128, nullptr},  {offsetof(EventRecord, event_category_id), 64, nullptr},
    {offsetof(EventRecord, event_category), 128, nullptr},
};

constexpr unsigned kHighestType = 2;

// The last byte of most fields is not written: callers have always seen exactly these bytes.
constexpr FieldDefault kDefaults[] = {
    {offsetof(EventRecord, event_user), kAbsent, 64},        {offsetof(EventRecord, event_comp), kHostName, 64},
    {offsetof(EventRecord, event_msgid), kAbsent, 64},       {offsetof(EventRecord, event_app_id), kAbsent, 64},
    {offsetof(EventRecord, event_app_name), kAbsent, 128},   {offsetof(EventRecord, event_category_id), kAbsent, 64},
    {offsetof(EventRecord, event_category), kAbsent, 128},   {offsetof(EventRecord, event_client_id), kAbsent, 64},
    {offsetof(EventRecord, event_client_app), kAbsent, 129}, {offsetof(EventRecord, event_client_agent), kAbsent, 256},
};

constexpr Statement kInsert{
    "INSERT INTO ANNAL_EVENT "
    "( event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, "
    "event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category, "
    "event_client_id, event_client_app, event_client_agent ) "
    "VALUES ( %d, DATE(%d, 'UNIXEPOCH', 'LOCALTIME'), TIME(%d, 'UNIXEPOCH', 'LOCALTIME'), "
    "%Q, %Q, %Q, %Q, %Q, %d, %Q, %Q, %Q, %Q, %Q, %Q, %Q );",
    Wait::kBusyTimeout, ANNAL_INSERT_FAILED};

bool begins_absent(const char* text) noexcept {
  return std::strncmp(text, kAbsent, sizeof kAbsent - 1) == 0;
}

void normalise(EventRecord& record) noexcept {
  fill_empty_fields(&record, kDefaults);
  if (check_address(record.event_ip, sizeof record.event_ip) != ANNAL_OK) {
    fill_field(record.event_ip, kAbsent, 64);
  }
  if (record.event_timet == 0) {
    record.event_timet = std::time(nullptr);
  }
  // An event with neither a source address nor a client comes from the appliance itself.
  if (begins_absent(record.event_ip) && begins_absent(record.event_client_app)) {
    fill_field(record.event_client_app, kHostName, 128);
  }
  Skip_Unicode_Control_Characters(record.event_desc);
}

int store(const EventRecord& record) noexcept {
  // Readers of the log expect a 32-bit time stamp in all three places.
  const int timestamp = static_cast<int>(record.event_timet);
  const Text text(sqlite3_mprintf(kInsert.sql, record.event_type, timestamp, timestamp, record.event_user,
                                  record.event_ip, record.event_comp, record.event_desc, record.event_msgid, timestamp,
                                  record.event_app_id, record.event_app_name, record.event_category_id,
                                  record.event_category, record.event_client_id, record.event_client_app,
                                  record.event_client_agent));
  return run(kEventLog, kInsert, text);
}

// Stores an earlier release's record, which has the first fields of the current one, padding included.
template <typename ShorterRecord>
int add_widened(const ShorterRecord* shorter) noexcept {
  if (shorter == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  EventRecord record{};
  std::memcpy(&record, shorter, sizeof *shorter);
  return annal_event_add_msgid_ex3(&record);
}

}  // namespace

}  // namespace annal

using namespace annal;

char* InitAnnalEvent(EventRecord* record) noexcept {
  if (record == nullptr) {
    return nullptr;
  }
  record->event_type = 0;
  std::memset(record->event_user, 0, 64);
  std::memset(record->event_ip, 0, 64);
  std::memset(record->event_comp, 0, 64);
  std::memset(record->event_desc, 0, 2048);
  std::memset(record->event_msgid, 0, 64);
  return record->event_desc;
}

int annal_event_add(const EventRecordBasic* record) noexcept {
  if (record == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  EventRecordMsgId copy{};
  copy.event_type = record->event_type;
  fill_field(copy.event_user, record->event_user, 64);
  fill_field(copy.event_ip, record->event_ip, 64);
  fill_field(copy.event_comp, record->event_comp, 64);
  fill_field(copy.event_desc, record->event_desc, 2048);
  fill_field(copy.event_msgid, kNoMessageId, 64);
  return annal_event_add_msgid(&copy);
}

int annal_event_add_msgid(const EventRecordMsgId* record) noexcept {
  return add_widened(record);
}

int annal_event_add_msgid_ex2(const EventRecordEx* record) noexcept {
  return add_widened(record);
}

int annal_event_add_msgid_ex3(EventRecord* record) noexcept {
  if (record == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  if (!within_bounds(record, kBounds)) {
    return ANNAL_TOO_LONG;
  }
  if (static_cast<unsigned>(record->event_type) > kHighestType) {
    return ANNAL_BAD_ARGUMENT;
  }
  normalise(*record);
  EventRecord room;
  const EventRecord& event = terminated<kEventTextsEnd>(*record, room);
  const int stored = store(event);
  if (stored == ANNAL_OK) {
    forward(event);
  }
  return stored;
}
