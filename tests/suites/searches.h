// Tests common to the searches of every log. A log lists its functions; searches.cc tests each. Link that file and
// search_model.cc into the log's test program.
#pragma once

#include <gtest/gtest.h>

#include <iosfwd>
#include <random>
#include <string>
#include <vector>

#include "tests/suites/search_model.h"
#include "tests/support/appliance.h"

namespace annal::test {

void PrintTo(const SearchFunction& function, std::ostream* out);
std::string name_of_search(const testing::TestParamInfo<SearchFunction>& tested);

// A log with an empty table.
class EverySearch : public ApplianceTest, public testing::WithParamInterface<SearchFunction> {
 protected:
  void SetUp() override;
  void TearDown() override;

  int call(const Search& search = {});

  // Expects this to be the only statement.
  void expect_statement(const Search& search, const std::string& text);
  void expect_statement(const Search& search) { expect_statement(search, statement(GetParam(), search)); }

  // The statement's text after the filters' slots for all rows, and the statement without filters.
  static std::string tail(unsigned sort, unsigned group);
  static std::string without_filters(unsigned sort, unsigned group);

  static std::mt19937 random();  // the same in every run

  Listing listing;
};

// The functions that list rows or groups.
class EveryListingSearch : public EverySearch {};

// The functions of a suite.
std::vector<SearchFunction> listing(std::vector<SearchFunction> functions);

// ---- the polling clients' queries ----

// The arguments of all polling functions.
struct Poll {
  const char* levels = "0,1,2";
  const char* client_time = "0";
  int days = 1;
  int start = 0;
  int end = 0;
  unsigned sort = 0;
  unsigned group = 0;           // for events
  const char* group_text = "";  // for connections
};

struct PollFunction {
  const char* name;
  const SearchedLog* log;
  SearchFunction::Kind kind;
  // The statement's parts: %W the levels, %T the client time, %D the days, %G the grouping, %X the
  // caller's own, %O the order, %P the page.
  const char* statement;
  const char* where;  // the text before the levels
  int (*call)(const Poll& poll, annal_row_callback callback, void* context);
  unsigned orders = 0;  // the number of the 26 codes that sort
};

void PrintTo(const PollFunction& function, std::ostream* out);
std::string name_of_poll(const testing::TestParamInfo<PollFunction>& tested);

class EveryPoll : public ApplianceTest, public testing::WithParamInterface<PollFunction> {
 protected:
  void SetUp() override;
  void TearDown() override;

  int call(const Poll& poll);

  // Inserts an entry stamped N seconds from now.
  void put_entry(int seconds_from_now, int type = 0);

  // The number of entries found: the count, the number of rows, or the sum of the groups.
  int found(const Poll& poll);

  [[nodiscard]] std::string text(const std::string& levels, const Poll& poll) const;
  void expect_statement(const std::string& levels, const Poll& poll);

  Listing listing;

 private:
  std::string zone_;
};

class EveryListingPoll : public EveryPoll {};

std::vector<PollFunction> listing(std::vector<PollFunction> functions);

}  // namespace annal::test
