#include "tools/annalctl/import/json_lines.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/output/output.h"

namespace annalctl {

namespace {

using Json = nlohmann::ordered_json;

Json parse(std::string_view line) {
  try {
    return Json::parse(line.begin(), line.end());
  } catch (const Json::parse_error& error) {
    throw Refusal(fmt::format("it is not JSON from byte {} on", error.byte));
  } catch (const Json::exception&) {
    throw Refusal("it holds a number that is too large");
  }
}

}  // namespace

std::vector<JsonMember> parse_json_line(std::string_view line) {
  const Json object = parse(line);
  if (!object.is_object()) {
    throw Refusal("it is no JSON object");
  }
  std::vector<JsonMember> members;
  for (const auto& [key, value] : object.items()) {
    if (key == kTimestamp || key == kLevel || key == kLog) {
      continue;  // what 'list' says beside the columns, which have it too
    }
    if (value.is_string()) {
      members.push_back({key, value.get<std::string>()});
    } else if (value.is_number()) {
      members.push_back({key, value.dump()});
    } else if (value.is_null()) {
      members.push_back({key, {}, true});
    } else {
      throw Refusal(fmt::format("'{}' is neither a text nor a number", key));
    }
  }
  return members;
}

}  // namespace annalctl
