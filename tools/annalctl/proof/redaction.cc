// Redacts in steps of adaptive size: signs the tombstones, replaces the texts, then erases the old salts.
#include "tools/annalctl/proof/redaction.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "tools/annalctl/maintenance/facts.h"
#include "tools/annalctl/proof/aside_chains.h"
#include "tools/annalctl/proof/content.h"
#include "tools/annalctl/proof/erasing_changes.h"
#include "tools/annalctl/proof/seal.h"
#include "tools/annalctl/query/row_buffer.h"

namespace annalctl::proof {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kFirst = 16;
constexpr std::size_t kMost = 256;
constexpr milliseconds kShort{15};
constexpr milliseconds kLong{40};
constexpr milliseconds kLeastPause{5};
// Writing so much again takes less than a tenth of a second.
constexpr std::int64_t kSmallFile = std::int64_t{8} << 20U;

// What a column has when nobody has given it anything: nothing personal.
constexpr std::string_view kNothing = "---";

// "x" with its personal columns as SQL sees them.
std::string is_personal(const std::string& column) {
  return fmt::format("({0} IS NOT NULL AND {0} NOT IN ('', '{1}', '{2}'))", column, kNothing, kMarker);
}

class Redactor {
 public:
  Redactor(const Log& log, const RedactionOptions& options, Reader& reader)
      : reader_(reader), contents_(contents_of(reader, log)) {
    for (const ContentReader::Source& source : contents_.sources()) {
      const bool personal = std::any_of(options.personal.begin(), options.personal.end(),
                                        [&source](const char* name) { return source.name == name; });
      personal_.push_back(personal);
      if (personal) {
        const std::string column = quoted_name(source.name);
        assignments_ += fmt::format("{0}{1} = CASE WHEN {2} THEN '{3}' ELSE {1} END", assignments_.empty() ? "" : ", ",
                                    column, is_personal(column), kMarker);
        condition_ += fmt::format("{}{}", condition_.empty() ? "" : " OR ", is_personal("t." + column));
      }
    }
  }

  // The query's entries that have something personal.
  [[nodiscard]] Query narrowed(Query query) const {
    query.columns = "NULL";
    query.conditions.push_back({"(" + condition_ + ")", {}});
    return query;
  }

  struct Entry {
    std::int64_t id;
    std::string before;
    std::string after;
  };

  [[nodiscard]] SqliteStatement select() {
    return reader_.prepare(
        fmt::format("SELECT t.rowid, {} FROM {} AS t WHERE t.rowid = ?1", contents_.columns(), reader_.table()));
  }
  [[nodiscard]] SqliteStatement update() {
    return reader_.prepare(fmt::format("UPDATE {} SET {} WHERE rowid = ?1", reader_.table(), assignments_));
  }

  [[nodiscard]] std::optional<Entry> entry_of(SqliteStatement& select, std::int64_t id) {
    select.bind(1, id);
    std::optional<Entry> entry;
    if (reader_.next(select)) {
      entry = {id, {}, {}};
      contents_.append(select, entry->before);
      append_redacted(select, entry->after);
    }
    select.reset();
    return entry;
  }

 private:
  static ContentReader contents_of(Reader& reader, const Log& log) {
    const Reader::Turn turn(reader);
    return {reader, log};
  }

  // As the update leaves it.
  void append_redacted(const SqliteStatement& row, std::string& bytes) const {
    int column = 1;
    std::size_t place = 0;
    for (const ContentReader::Source& source : contents_.sources()) {
      const int type = sqlite3_column_type(row.handle(), column);
      bool replaced = personal_[place++] && type != SQLITE_NULL;
      if (replaced && type == SQLITE_TEXT) {
        const std::string text = row.text(column);
        replaced = !text.empty() && text != kNothing;
      }
      if (replaced) {
        ContentReader::append_text(source, kMarker, bytes);
      } else {
        ContentReader::append_column(source, row.handle(), column, bytes);
      }
      ++column;
    }
  }

  Reader& reader_;
  ContentReader contents_;
  std::vector<bool> personal_;  // of each source
  std::string assignments_;
  std::string condition_;
};

// One run over a log with or without a chain.
class Run {
 public:
  Run(const Log& log, const RedactionOptions& options, const KeyRing* keys, Redacted& done)
      : options_(options),
        keys_(keys),
        done_(done),
        reader_(log),
        redactor_(log, options, reader_),
        erasing_(reader_, log),
        asides_(log),
        select_(redactor_.select()),
        update_(redactor_.update()) {
    done_.unreadable_chains = asides_.damaged();
    if (keys != nullptr) {
      chain_ = open_own_chain(log, *keys);
      survey_ = survey_of(*chain_);
    }
  }

  void redact(const Query& query, const std::function<void()>& watch) {
    const Query personal = redactor_.narrowed(query);
    RowStream stream(reader_, personal, IdRanges::Direction::kRising, {.through = reader_.highest_id()});
    RowBuffer page;
    while (stream.next(page)) {
      for (std::size_t next = 0; next < page.size();) {
        const std::size_t some = std::min(page.size() - next, at_once_);
        std::vector<std::int64_t> ids(some);
        for (std::size_t i = 0; i < some; ++i) {
          ids[i] = page.id(next + i);
        }
        redact(ids);
        next += some;
        watch();
      }
    }
    clear_file();
  }

 private:
  using Entries = std::vector<Redactor::Entry>;

  // The tombstones come first: a cut-off run leaves entries that are as they were and known to be on their way.
  void redact(const std::vector<std::int64_t>& ids) {
    const Entries entries = read(ids);
    leave_tombstones(entries);
    const auto begun = Clock::now();
    change(entries);
    const auto held = Clock::now() - begun;
    if (chain_ && !superseded_.empty()) {
      chain_->erase_salts(superseded_);
      superseded_.clear();
    }
    asides_.erase_salts(ids);
    at_once_ = held < kShort  ? std::min(at_once_ * 2, kMost)
               : held > kLong ? std::max<std::size_t>(at_once_ / 2, 1)
                              : at_once_;
    std::this_thread::sleep_for(std::max<Clock::duration>(held, kLeastPause));
  }

  Entries read(const std::vector<std::int64_t>& ids) {
    Entries entries;
    const Reader::Turn turn(reader_);
    for (const std::int64_t id : ids) {
      if (auto entry = redactor_.entry_of(select_, id); entry && entry->before != entry->after) {
        entries.push_back(std::move(*entry));
      }
    }
    return entries;
  }

  void leave_tombstones(const Entries& entries) {
    if (!chain_) {
      return;
    }
    const auto now = time_key(seconds_now());
    for (const Redactor::Entry& entry : entries) {
      const SealedEntry* const sealed = survey_->entry(entry.id);
      if (sealed == nullptr || survey_->notes.gone(entry.id) != nullptr) {
        continue;
      }
      Record record = tombstone_of_changed(entry.id, now);
      if (is_as_sealed(*sealed, entry.before)) {
        fill_with_random(record.salt);
        record.commitment = commitment_of(record.salt, entry.after);
      } else {
        ++done_.changed;
      }
      superseded_.push_back(sealed->position);
      if (const Notes::Redaction* const earlier = survey_->notes.redaction(entry.id)) {
        superseded_.push_back(earlier->position);
      }
      chain_->append(record);
      ++done_.tombstones;
    }
    if (chain_->appended() > 0) {
      chain_->commit(keys_->key, chain_->head().last_id, seconds_now());
    }
  }

  // A tombstone for what somebody has changed would make it what was sealed.
  [[nodiscard]] bool is_as_sealed(const SealedEntry& sealed, const std::string& content) const {
    const Notes::Redaction* const earlier = survey_->notes.redaction(sealed.id);
    if (earlier != nullptr && (is_of_changed(earlier->record) || commits_to(earlier->record, content))) {
      return !is_of_changed(earlier->record);
    }
    std::vector<Byte> bytes;
    chain_->read(sealed.position, 1, bytes);
    const std::optional<Record> record =
        bytes.size() == kRecordSize ? proof::read(ConstRecordBytes(bytes)) : std::nullopt;
    return record && commits_to(*record, content);
  }

  void change(const Entries& entries) {
    ErasingChanges::Change change(erasing_);
    std::int64_t changed = 0;
    for (const Redactor::Entry& entry : entries) {
      const std::optional<Redactor::Entry> now = redactor_.entry_of(select_, entry.id);
      if (now && now->before == entry.before) {
        update_.bind(1, entry.id);
        reader_.next(update_);
        update_.reset();
        ++changed;
      }
    }
    change.finish();
    done_.entries += changed;
  }

  // Earlier copies, from before rows were moved or deleted, may be where nothing is now; and a run that was killed may
  // have left copies of what it has redacted. So this does not depend on what there was to redact.
  void clear_file() {
    std::int64_t in_use = 0;
    {
      const Reader::Turn turn(reader_);
      in_use = bytes_in_use(reader_);
    }
    const bool small = in_use <= kSmallFile;
    if (options_.rewrite || small || (!erasing_.are_usual() && done_.entries > 0)) {
      erasing_.write_again();
    } else if (erasing_.is_journal_left()) {
      ErasingChanges::Change(erasing_).finish();
    }
    erasing_.finish();
  }

  const RedactionOptions& options_;
  const KeyRing* keys_;
  Redacted& done_;
  Reader reader_;
  Redactor redactor_;
  ErasingChanges erasing_;
  AsideChains asides_;
  SqliteStatement select_;
  SqliteStatement update_;
  std::optional<ChainFile> chain_;
  std::optional<Survey> survey_;
  std::vector<std::uint64_t> superseded_;  // whose salts go when the entries are changed
  std::size_t at_once_ = kFirst;
};

}  // namespace

std::int64_t count_personal(const Log& log, const Query& query, const RedactionOptions& options) {
  Reader reader(log);
  return reader.count(Redactor(log, options, reader).narrowed(query));
}

void redact(const Log& log, const Query& query, const RedactionOptions& options, const KeyRing* keys, Redacted& done,
            const std::function<void()>& watch) {
  Run(log, options, keys, done).redact(query, watch);
}

std::vector<Tombstone> tombstones_from(const ChainFile& chain, std::uint64_t position, std::size_t most) {
  std::vector<Tombstone> tombstones;
  for (RecordStream records(chain, position); tombstones.size() < most && records.next();) {
    const std::optional<Record> record = read(records.bytes());
    if (record && record->kind == Kind::kRedaction) {
      tombstones.push_back({records.position(), record->id, record->time});
    }
  }
  return tombstones;
}

}  // namespace annalctl::proof
