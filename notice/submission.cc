// Adds a notice: checks and completes the record and stores it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include "Corix_annal.h"
#include "common/address.h"
#include "common/paths.h"
#include "common/record.h"
#include "common/store.h"
#include "platform/platform.h"

namespace annal {

namespace {

// The default source of a notice.
constexpr char kAppliance[] = "System";

// The other texts have no bound: they are stored up to their terminators.
constexpr FieldBound kBounds[] = {
    {offsetof(NoticeRecord, user), 64, nullptr},
    {offsetof(NoticeRecord, ip), 64, nullptr},
    {offsetof(NoticeRecord, client), 64, nullptr},
    {offsetof(NoticeRecord, desc), 2048, nullptr},
};

constexpr unsigned kHighestSeverity = 7;

// The fields differ in the number of bytes written: callers have always seen exactly these bytes.
constexpr FieldDefault kDefaults[] = {
    {offsetof(NoticeRecord, user), kAppliance, 65},
    {offsetof(NoticeRecord, client), kHostName, 64},
    {offsetof(NoticeRecord, msgCode), "0", 65},
    {offsetof(NoticeRecord, serviceName), kAppliance, sizeof kAppliance},
};

constexpr std::size_t kTextsEnd = offsetof(NoticeRecord, title) + sizeof NoticeRecord::title;

constexpr Statement kInsert{
    "INSERT INTO ANNAL_NOTICE "
    "\t( severity, server, action, serviceName, facility, time, endtime, user, ip, client, "
    "desc, msgCode, varNum, varContent, name, status, uid, gid , "
    "link_id, link_option, title) "
    "\tVALUES "
    "\t( %d, %d, %d, '%q', %d, %d, %d, '%q', '%q', '%q', '%q', '%q', %d, "
    "'%q', '%q', %d, %d, %d , "
    "'%q', '%q', '%q');",
    Wait::kBusyTimeout, ANNAL_INSERT_FAILED};

constexpr std::int32_t kNobody = -1;

void normalise(NoticeRecord& record) noexcept {
  fill_empty_fields(&record, kDefaults);
  if (check_address(record.ip, sizeof record.ip) != ANNAL_OK) {
    fill_field(record.ip, kLocalAddress, 64);
  }
  record.uid = std::max(record.uid, kNobody);
  record.gid = std::max(record.gid, kNobody);
  Skip_Unicode_Control_Characters(record.desc);
}

int store(const NoticeRecord& record) noexcept {
  // Readers of the log expect a 32-bit time stamp.
  const int now = static_cast<int>(std::time(nullptr));
  const Text text(sqlite3_mprintf(kInsert.sql, record.severity, record.server, record.action, record.serviceName,
                                  record.facility, now, now, record.user, record.ip, record.client, record.desc,
                                  record.msgCode, record.varNum, record.varContent, record.name, record.status,
                                  record.uid, record.gid, record.link_id, record.link_option, record.title));
  return run(kNoticeLog, kInsert, text);
}

}  // namespace

}  // namespace annal

using namespace annal;

int annal_notice_add(NoticeRecord* record) noexcept {
  if (record == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  if (!within_bounds(record, kBounds)) {
    return ANNAL_TOO_LONG;
  }
  if (record->severity > kHighestSeverity) {
    return ANNAL_BAD_ARGUMENT;
  }
  normalise(*record);
  NoticeRecord room;
  return store(terminated<kTextsEnd>(*record, room));
}
