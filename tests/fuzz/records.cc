// Calls every function that takes a record, or texts to forward, with any bytes. A healthy log's result is predicted,
// and the stored entry is read back.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>

#include "Corix_annal.h"
#include "tests/fuzz/fuzz.h"

namespace {

using annal::fuzz::Input;
using annal::fuzz::or_null;
using annal::fuzz::require;
using annal::fuzz::Rows;
using annal::fuzz::rows;
using annal::fuzz::same_bytes;
using annal::fuzz::Value;

constexpr std::size_t kNoBound = ~std::size_t{0};

struct TextField {
  const char* column;
  std::size_t offset;
  std::size_t size;
  std::size_t bound;  // the record is refused above it
  bool raw = false;   // goes unescaped into the statement
};

#define TEXT_FIELD(Record, field, ...)                                  \
  TextField {                                                           \
#field, offsetof(Record, field), sizeof(Record::field), __VA_ARGS__ \
  }

struct Kind {
  const char* path;
  const char* table;
  const char* id;
  std::span<const TextField> fields;
  std::size_t end;  // the end of the last text
};

constexpr std::array kEventFields{
    TEXT_FIELD(EventRecord, event_user, 64),
    TEXT_FIELD(EventRecord, event_ip, 64),
    TEXT_FIELD(EventRecord, event_comp, 64),
    TEXT_FIELD(EventRecord, event_desc, 2048),
    TEXT_FIELD(EventRecord, event_msgid, kNoBound),
    TEXT_FIELD(EventRecord, event_app_id, 64),
    TEXT_FIELD(EventRecord, event_app_name, 128),
    TEXT_FIELD(EventRecord, event_category_id, 64),
    TEXT_FIELD(EventRecord, event_category, 128),
    TEXT_FIELD(EventRecord, event_client_id, kNoBound),
    TEXT_FIELD(EventRecord, event_client_app, kNoBound),
    TEXT_FIELD(EventRecord, event_client_agent, kNoBound),
};
constexpr std::size_t kFieldsOfMsgId = 5;
constexpr std::size_t kFieldsOfEx = 9;
constexpr Kind kEvents{annal::fuzz::kEventLog, "ANNAL_EVENT", "event_id", kEventFields,
                       offsetof(EventRecord, event_client_agent) + sizeof(EventRecord::event_client_agent)};

constexpr std::array kConnFields{
    TEXT_FIELD(ConnRecord, conn_user, 64, true),       TEXT_FIELD(ConnRecord, conn_ip, 64, true),
    TEXT_FIELD(ConnRecord, conn_comp, 64, true),       TEXT_FIELD(ConnRecord, conn_res, 1024),
    TEXT_FIELD(ConnRecord, conn_app, 256, true),       TEXT_FIELD(ConnRecord, conn_client_id, kNoBound),
    TEXT_FIELD(ConnRecord, conn_client_app, kNoBound), TEXT_FIELD(ConnRecord, conn_client_agent, kNoBound),
};
constexpr std::size_t kFieldsOfConnV1 = 5;
constexpr Kind kConns{annal::fuzz::kConnLog, "ANNAL_CONN", "conn_id", kConnFields,
                      offsetof(ConnRecord, conn_client_agent) + sizeof(ConnRecord::conn_client_agent)};

constexpr std::array kNoticeFields{
    TEXT_FIELD(NoticeRecord, serviceName, kNoBound),
    TEXT_FIELD(NoticeRecord, user, 64),
    TEXT_FIELD(NoticeRecord, ip, 64),
    TEXT_FIELD(NoticeRecord, client, 64),
    TEXT_FIELD(NoticeRecord, desc, 2048),
    TEXT_FIELD(NoticeRecord, msgCode, kNoBound),
    TEXT_FIELD(NoticeRecord, varContent, kNoBound),
    TEXT_FIELD(NoticeRecord, name, kNoBound),
    TEXT_FIELD(NoticeRecord, link_id, kNoBound),
    TEXT_FIELD(NoticeRecord, link_option, kNoBound),
    TEXT_FIELD(NoticeRecord, title, kNoBound),
};
constexpr Kind kNotices{annal::fuzz::kNoticeLog, "ANNAL_NOTICE", "id", kNoticeFields,
                        offsetof(NoticeRecord, title) + sizeof(NoticeRecord::title)};

constexpr std::array kFileOpFields{
    TEXT_FIELD(FileOpRecord, event_user, 64, true), TEXT_FIELD(FileOpRecord, event_ip, 64, true),
    TEXT_FIELD(FileOpRecord, event_comp, 64, true), TEXT_FIELD(FileOpRecord, event_duid, 64, true),
    TEXT_FIELD(FileOpRecord, event_desc, 1024),
};
constexpr Kind kFileOps{annal::fuzz::kFileOpLog, "PAVO2LOG_EVENT", "event_id", kFileOpFields,
                        offsetof(FileOpRecord, event_desc) + sizeof(FileOpRecord::event_desc)};

#undef TEXT_FIELD

// Exactly as large as the record, so that a sanitizer detects a read after it; no chance terminators.
template <typename Record>
std::unique_ptr<Record[]> make_records(std::size_t count = 1) {
  auto records = std::make_unique<Record[]>(count);
  std::memset(static_cast<void*>(records.get()), 'Z', count * sizeof(Record));
  return records;
}

template <typename Record>
std::span<char> field_of(Record& record, const TextField& field) {
  return {reinterpret_cast<char*>(&record) + field.offset, field.size};
}

template <typename Record>
void fill(Input& input, Record& record, std::span<const TextField> fields) {
  for (const TextField& field : fields) {
    input.fill(field_of(record, field));
  }
}

// A field's text, which runs on into the next field if it is not terminated.
template <typename Record>
std::string text_of(const Record& record, const TextField& field, std::size_t end) {
  const char* const text = reinterpret_cast<const char*>(&record) + field.offset;
  return {text, strnlen(text, end - field.offset)};
}

template <typename Record>
bool too_long(Record& record, std::span<const TextField> fields) {
  return std::any_of(fields.begin(), fields.end(), [&record](const TextField& field) {
    return field.bound < field.size && strnlen(field_of(record, field).data(), field.size) > field.bound;
  });
}

template <typename Record>
bool has_raw_quote(const Record& record, const Kind& kind) {
  return std::any_of(kind.fields.begin(), kind.fields.end(), [&](const TextField& field) {
    return field.raw && text_of(record, field, kind.end).find('\'') != std::string::npos;
  });
}

template <typename Record>
int expected_answer(Record& record, std::span<const TextField> fields, bool in_range) {
  if (too_long(record, fields)) {
    return ANNAL_TOO_LONG;
  }
  return in_range ? ANNAL_OK : ANNAL_BAD_ARGUMENT;
}

void require_count(const Kind& kind, const std::string& count) {
  require(rows(kind.path, std::string("SELECT COUNT(*) FROM ") + kind.table) == Rows{{count}},
          "another number of entries than " + count);
}

// The last stored entry must equal the record as it is now.
template <typename Record>
void require_stored(const Record& record, const Kind& kind) {
  std::string columns;
  std::vector<Value> expected;
  for (const TextField& field : kind.fields) {
    columns += (columns.empty() ? "" : ", ") + std::string(field.column);
    expected.emplace_back(text_of(record, field, kind.end));
  }
  require(rows(kind.path, "SELECT " + columns + " FROM " + kind.table + " ORDER BY " + kind.id + " DESC LIMIT 1") ==
              Rows{expected},
          "the entry stored last is another one");
}

// ---- events ----

bool in_range(const EventRecord& record) {
  return record.event_type >= 0 && record.event_type <= 2;
}

// The forms' common fields have the same offsets.
template <typename Record>
std::unique_ptr<Record[]> some_event(Input& input, std::size_t fields) {
  auto record = make_records<Record>();
  record[0].event_type = input.flag() ? static_cast<std::int32_t>(input.below(3)) : input.number();
  if constexpr (!std::is_same_v<Record, EventRecordBasic>) {
    record[0].event_timet = input.number();
    if (input.flag()) {
      record[0].event_timet *= 4'000'000'000;
    }
  }
  fill(input, record[0], std::span(kEventFields).first(fields));
  return record;
}

void add_event(Input& input) {
  const auto record = some_event<EventRecord>(input, kEventFields.size());
  const int expected = expected_answer(record[0], kEventFields, in_range(record[0]));
  require(annal_event_add_msgid_ex3(record.get()) == expected, "the answer to an event");
  require_count(kEvents, expected == ANNAL_OK ? "1" : "0");
  if (expected == ANNAL_OK) {
    require_stored(record[0], kEvents);
  }
}

template <typename Record>
void add_shorter(Input& input, int (*add)(const Record*) noexcept, std::size_t fields, bool cuts) {
  const auto record = some_event<Record>(input, fields);
  EventRecord same{};
  std::memcpy(static_cast<void*>(&same), record.get(), sizeof(Record));
  const auto checked = std::span(kEventFields).first(cuts ? 0 : fields);
  const int expected = expected_answer(same, checked, in_range(same));
  require(add(record.get()) == expected, "the answer to an event of an earlier release");
  require(same_bytes(&same, record.get(), sizeof(Record)), "the caller's record has changed");
  require_count(kEvents, expected == ANNAL_OK ? "1" : "0");
}

void add_basic_event(Input& input) {
  add_shorter<EventRecordBasic>(input, &annal_event_add, kFieldsOfMsgId, true);
}

void add_event_with_id(Input& input) {
  add_shorter<EventRecordMsgId>(input, &annal_event_add_msgid, kFieldsOfMsgId, false);
}

void add_extended_event(Input& input) {
  add_shorter<EventRecordEx>(input, &annal_event_add_msgid_ex2, kFieldsOfEx, false);
}

void forward_event(Input& input) {
  const auto record = some_event<EventRecord>(input, kEventFields.size());
  SendEventToLumod(record.get());
  require(send_event_log_to_orca(record.get(), input.code()) == ANNAL_OK, "the answer of a forwarder");
  const std::string message = input.text(10240);
  require(annal_report_event(input.code(), message.c_str()) == ANNAL_OK, "the answer of a forwarder");
  require(InitAnnalEvent(record.get()) == record[0].event_desc && record[0].event_type == 0, "a cleared event");
}

// ---- connections ----

bool in_range(const ConnRecord& record) {
  const auto up_to = [](std::int32_t number, std::int32_t most) { return number >= 0 && number <= most; };
  return up_to(record.conn_type, 2) && up_to(record.conn_serv, 12) && up_to(record.conn_action, 36) &&
         (record.conn_action_result == 0 || record.conn_action_result == 13);
}

template <typename Record>
void fill_connection(Input& input, Record& record, std::size_t fields) {
  if (input.below(4) != 0) {
    record.conn_type = static_cast<std::int32_t>(input.below(3));
    record.conn_serv = static_cast<std::int32_t>(input.below(13));
    record.conn_action = static_cast<std::int32_t>(input.below(37));
    record.conn_action_result = input.flag() ? 13 : 0;
  } else {
    record.conn_type = input.number();
    record.conn_serv = input.number();
    record.conn_action = input.number();
    record.conn_action_result = input.number();
  }
  fill(input, record, std::span(kConnFields).first(fields));
}

// A quote in an unescaped field is SQL, so the entry may be stored or not.
void require_added(int answer, int expected, bool raw_quote, const char* what) {
  require(answer == expected || (expected == ANNAL_OK && raw_quote && answer == ANNAL_INSERT_FAILED), what);
}

void add_connection(Input& input) {
  const auto record = make_records<ConnRecord>();
  fill_connection(input, record[0], kConnFields.size());
  const bool raw_quote = has_raw_quote(record[0], kConns);
  const int expected = expected_answer(record[0], kConnFields, in_range(record[0]));
  require_added(annal_conn_add2(record.get()), expected, raw_quote, "the answer to a connection");
  if (!raw_quote) {
    require_count(kConns, expected == ANNAL_OK ? "1" : "0");
  }
  if (!raw_quote && expected == ANNAL_OK) {
    require_stored(record[0], kConns);
  }
}

void add_old_connection(Input& input) {
  const auto record = make_records<ConnRecordV1>();
  fill_connection(input, record[0], kFieldsOfConnV1);
  ConnRecord same{};
  std::memcpy(static_cast<void*>(&same), record.get(), sizeof(ConnRecordV1));
  const int expected = expected_answer(same, std::span(kConnFields).first(kFieldsOfConnV1), in_range(same));
  require_added(annal_conn_add(record.get()), expected, has_raw_quote(same, kConns), "the answer to an old connection");
  require(same_bytes(&same, record.get(), sizeof(ConnRecordV1)), "the caller's record has changed");
}

void add_connections(Input& input) {
  const unsigned count = input.below(4);
  const auto records = make_records<ConnRecord>(count);
  int expected = 0;
  std::optional<unsigned> last;
  for (unsigned i = 0; i < count; ++i) {
    fill_connection(input, records[i], kConnFields.size());
    if (expected_answer(records[i], kConnFields, in_range(records[i])) == ANNAL_OK) {
      ++expected;
      last = i;
    }
  }
  int inserted = -1;
  require(annal_conn_add_entries2(records.get(), static_cast<int>(count), &inserted) == ANNAL_OK, "a batch's answer");
  require(inserted == expected, "a batch's number of entries");
  require_count(kConns, std::to_string(expected));
  if (last) {
    require_stored(records[*last], kConns);
  }
}

void add_old_connections(Input& input) {
  const unsigned count = input.below(4);
  const auto records = make_records<ConnRecordV1>(count);
  int expected = 0;
  for (unsigned i = 0; i < count; ++i) {
    fill_connection(input, records[i], kFieldsOfConnV1);
    ConnRecord same{};
    std::memcpy(static_cast<void*>(&same), &records[i], sizeof(ConnRecordV1));
    const int answer = expected_answer(same, std::span(kConnFields).first(kFieldsOfConnV1), in_range(same));
    expected += answer == ANNAL_OK ? 1 : 0;
  }
  int inserted = -1;
  require(annal_conn_add_entries(records.get(), static_cast<int>(count), &inserted) == ANNAL_OK, "a batch's answer");
  require(inserted == expected, "a batch's number of entries");
  require_count(kConns, std::to_string(expected));
}

void forward_connection(Input& input) {
  const int type = input.number();
  const int service = input.number();
  const int action = input.flag() ? static_cast<int>(9 + input.below(3)) : input.number();
  std::array<std::optional<std::string>, 4> texts;
  for (auto& text : texts) {
    text = input.text_or_none(10240);
  }
  require(send_conn_log_to_orca(type, or_null(texts[0]), or_null(texts[1]), or_null(texts[2]), service, action,
                                or_null(texts[3])) == ANNAL_OK,
          "the answer of a forwarder");
}

// ---- notices ----

void add_notice(Input& input) {
  const auto record = make_records<NoticeRecord>();
  NoticeRecord& notice = record[0];
  notice.severity = input.flag() ? input.below(8) : input.code();
  for (std::int32_t* const number :
       {&notice.server, &notice.action, &notice.facility, &notice.varNum, &notice.status, &notice.uid, &notice.gid}) {
    *number = input.number();
  }
  fill(input, notice, kNoticeFields);
  const int expected = expected_answer(notice, kNoticeFields, notice.severity <= 7);
  require(annal_notice_add(record.get()) == expected, "the answer to a notice");
  require_count(kNotices, expected == ANNAL_OK ? "1" : "0");
  if (expected == ANNAL_OK) {
    require_stored(notice, kNotices);
  }
}

constexpr std::size_t kMaxParameters = 70;
using Parameters = std::array<const char*, kMaxParameters>;

template <std::size_t... index>
int send_notice(const std::array<std::optional<std::string>, 7>& texts, int level, int type,
                const Parameters& parameters, std::index_sequence<index...> /*each*/) {
  return annal_notice_send(or_null(texts[0]), level, type, or_null(texts[1]), or_null(texts[2]), or_null(texts[3]),
                           or_null(texts[4]), or_null(texts[5]), or_null(texts[6]), parameters[index]..., nullptr);
}

template <std::size_t... index>
int send_entry(const std::array<std::optional<std::string>, 7>& texts, const CatalogEntry* entry, int type, int level,
               const Parameters& parameters, std::index_sequence<index...> /*each*/) {
  return notify_send(or_null(texts[0]), or_null(texts[1]), or_null(texts[2]), or_null(texts[3]), or_null(texts[4]),
                     or_null(texts[5]), entry, type, level, parameters[index]..., nullptr);
}

void send(Input& input) {
  const int level = input.number();
  const int type = input.number();
  std::array<std::optional<std::string>, 7> texts;
  for (auto& text : texts) {
    text = input.text_or_none(10240);
  }
  std::array<std::optional<std::string>, 4> parts;
  for (auto& part : parts) {
    part = input.below(8) == 0 ? std::nullopt : std::optional(input.text(10240));
  }
  std::vector<std::string> values(input.below(kMaxParameters));
  Parameters parameters{};
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = input.text(400);
    parameters[i] = values[i].c_str();
  }
  constexpr auto kEach = std::make_index_sequence<kMaxParameters>();
  const int sent = send_notice(texts, level, type, parameters, kEach);
  require(sent == ANNAL_OK || sent == -1, "the answer of annal_notice_send");
  const CatalogEntry entry{or_null(parts[0]), level, or_null(parts[1]), or_null(parts[2]), or_null(parts[3])};
  const bool is_whole = std::all_of(parts.begin(), parts.end(), [](const auto& part) { return part.has_value(); });
  const int started = send_entry(texts, &entry, type, level, parameters, kEach);
  require(is_whole ? started == ANNAL_OK || started == 1 : started == ANNAL_BAD_ARGUMENT, "the answer of notify_send");
}

void name_facility(Input& input) {
  const int facility = input.number();
  const auto room = static_cast<std::size_t>(input.below(64));
  const auto name = std::make_unique<char[]>(room + 1);
  require(Get_Facility_String_By_Facility(facility, name.get(), static_cast<int>(room)) == ANNAL_OK, "a facility");
  require(name[room] == '\0', "a byte behind a facility's name");
  require(Get_Facility_String_By_Facility(facility, name.get(), -static_cast<int>(room)) == ANNAL_OK, "no room");
  const int severity = ChangeLogTypeToNoticeSeverity(facility);
  require(severity == 3 || severity == 4 || severity == 6, "a severity");
}

// ---- file operations ----

void add_operation(Input& input) {
  const auto record = make_records<FileOpRecord>();
  FileOpRecord& operation = record[0];
  // Also fills the unread fields of the time, one of which is a pointer.
  const std::string time = input.bytes(input.below(sizeof operation.event_tm + 1));
  operation.event_tm = {};
  std::memcpy(&operation.event_tm, time.data(), time.size());
  operation.event_type = input.flag() ? input.below(3) : input.code();
  operation.event_isFolder = input.flag() ? input.below(3) : input.code();
  operation.event_action = input.flag() ? 1 + input.below(35) : input.code();
  operation.event_filesize = input.number();
  const std::optional<std::string> old_path = input.text_or_none(5000);
  const std::optional<std::string> path = input.text_or_none(5000);
  operation.event_oldfilepath = or_null(old_path);
  operation.event_filepath = or_null(path);
  fill(input, operation, kFileOpFields);
  const bool raw_quote = has_raw_quote(operation, kFileOps);
  const bool in_range = operation.event_type <= 2 && operation.event_isFolder <= 2 && operation.event_action >= 1 &&
                        operation.event_action <= 35;
  const int expected = expected_answer(operation, kFileOpFields, in_range);
  const std::int64_t answer = pavo2log_event_add(annal::fuzz::kFileOpLog, record.get());
  require_added(static_cast<int>(std::min<std::int64_t>(answer, 0)), expected, raw_quote, "the answer to an operation");
  if (!raw_quote && expected == ANNAL_OK) {
    require(answer == 1, "the id of the first operation");
    require_stored(operation, kFileOps);
    require(rows(annal::fuzz::kFileOpLog, "SELECT event_oldfilepath, event_filepath FROM PAVO2LOG_EVENT") ==
                Rows{{old_path.value_or(""), path.value_or("")}},
            "the paths of an operation");
  }
}

constexpr std::array kWays{
    &add_event,          &add_basic_event, &add_event_with_id,   &add_extended_event, &forward_event, &add_connection,
    &add_old_connection, &add_connections, &add_old_connections, &forward_connection, &add_notice,    &send,
    &name_facility,      &add_operation,
};

const annal::fuzz::Files& empty_logs() {
  static const annal::fuzz::Files logs = [] {
    require(annal_event_create_tbl(0, 0) == ANNAL_OK && annal_conn_create_tbl(0, 0) == ANNAL_OK &&
                annal_notice_create_tbl(0, 0) == ANNAL_OK &&
                pavo2log_event_create_tbl(annal::fuzz::kFileOpLog, 0, 0) == ANNAL_OK,
            "new logs");
    return annal::fuzz::files();
  }();
  return logs;
}

// A command that exists but cannot run, or none.
void install(const char* path, bool there) {
  if (there) {
    close(open(path, O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  } else {
    unlink(path);
  }
}

void set_client(const char* variable, const std::optional<std::string>& value) {
  if (value) {
    setenv(variable, value->c_str(), 1);
  } else {
    unsetenv(variable);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  annal::fuzz::put_back(empty_logs());
  Input input(data, size);
  void (*const way)(Input&) = input.one_of(kWays);
  annal::fuzz::allow_commands(input.below(16) == 1);
  const unsigned there = input.below(8);
  install("/sbin/orcapro_conn_log_tool", (there & 1U) != 0);
  install("/usr/local/sbin/notify", (there & 2U) != 0);
  for (const char* const variable : {"HTTP_CLIENT_ID", "HTTP_CLIENT_APP", "HTTP_CLIENT_AGENT"}) {
    set_client(variable, (there & 4U) != 0 ? input.text_or_none(10240) : std::nullopt);
  }
  const annal::fuzz::LeakCheck leak_check;
  way(input);
  return 0;
}
