// Runs annal-web as a server does, and takes its answer apart.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/appliance.h"

using Environment = std::map<std::string, std::string>;

struct Answer {
  int exit_status = -1;
  int status = 0;
  std::map<std::string, std::string> headers;
  std::string body;
  std::string errors;
};

// A GET of the page with a query, as it stands in an address, unless the environment says something else.
[[nodiscard]] Answer get(const std::string& query = {}, const Environment& environment = {});
[[nodiscard]] Answer get_path(const std::string& path, const std::string& query = {});

[[nodiscard]] std::string url_encoded(const std::string& text);

// The texts between two others, in their order.
[[nodiscard]] std::vector<std::string> between(const std::string& text, const std::string& begin,
                                               const std::string& end);
// The messages of the list, as they stand in the page.
[[nodiscard]] std::vector<std::string> messages(const Answer& answer);
// The address of a link of a page, without its question mark, by the text of the link.
[[nodiscard]] std::string link_named(const Answer& answer, const std::string& text);

// With an event log that exists.
class WebTest : public annal::test::ApplianceTest {
 protected:
  void SetUp() override;

  // level: 0 to 2.
  static void add(const std::string& message, int level = 0, const std::string& user = "ann",
                  const std::string& date = "2026-11-21", const std::string& time = "10:00:00",
                  const std::string& application = "Storage");
};
