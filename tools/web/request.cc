// Reads the request's variables, decodes its parameters, and refuses what is malformed or too long.
#include "tools/web/request.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

namespace annal_web {

namespace {

constexpr std::size_t kLongestQuery = 8192;
constexpr std::size_t kMostParameters = 100;
constexpr std::size_t kLongestName = 32;
constexpr std::size_t kLongestValue = 512;
constexpr int kBadRequest = 400;
constexpr int kMethodNotAllowed = 405;
constexpr int kTooLong = 414;

// The only thread reads it, before anything else runs.
std::string variable(const char* name) {
  const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
  return value == nullptr ? "" : value;
}

int digit_of(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string decoded(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      plain += text[i] == '+' ? ' ' : text[i];
      continue;
    }
    const int high = i + 2 < text.size() ? digit_of(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? digit_of(text[i + 2]) : -1;
    constexpr int kBase = 16;
    if (high < 0 || low < 0 || high + low == 0) {
      throw Refused(kBadRequest, "The address has a '%' that does not stand for a character.");
    }
    plain += static_cast<char>(high * kBase + low);
    i += 2;
  }
  return plain;
}

Parameter parse_one(std::string_view text) {
  const std::size_t equals = std::min(text.find('='), text.size());
  Parameter parameter{decoded(text.substr(0, equals)), decoded(text.substr(std::min(equals + 1, text.size())))};
  if (parameter.name.ends_with(kEncodedTwice)) {
    parameter.name.pop_back();
    parameter.value = decoded(parameter.value);
  }
  if (parameter.name.empty() || parameter.name.size() > kLongestName) {
    throw Refused(kBadRequest, "The address has a parameter that this page does not know.");
  }
  if (parameter.value.size() > kLongestValue) {
    throw Refused(kBadRequest,
                  fmt::format("The parameter '{}' is longer than {} bytes.", parameter.name, kLongestValue));
  }
  return parameter;
}

}  // namespace

Parameters parse_query(std::string_view query) {
  if (query.size() > kLongestQuery) {
    throw Refused(kTooLong, fmt::format("The address is longer than {} bytes.", kLongestQuery));
  }
  Parameters parameters;
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    if (end > 0) {
      if (parameters.size() == kMostParameters) {
        throw Refused(kBadRequest, fmt::format("The address has more than {} parameters.", kMostParameters));
      }
      parameters.push_back(parse_one(query.substr(0, end)));
    }
    query.remove_prefix(std::min(end + 1, query.size()));
  }
  return parameters;
}

Request read_request() {
  Request request;
  request.script = variable("SCRIPT_NAME");
  // A server that leads a whole folder here hands it over with its last slash.
  while (request.script.ends_with('/')) {
    request.script.pop_back();
  }
  request.path = variable("PATH_INFO");
  request.authenticated = !variable("REMOTE_USER").empty();
  request.if_none_match = variable("HTTP_IF_NONE_MATCH");
  const std::string method = variable("REQUEST_METHOD");
  request.head = method == "HEAD";
  if (!request.head && method != "GET") {
    throw Refused(kMethodNotAllowed, "This page can only be read: it answers GET and HEAD.");
  }
  if (request.script.size() > kLongestValue || request.path.size() > kLongestValue) {
    throw Refused(kTooLong, "The address is too long.");
  }
  request.parameters = parse_query(variable("QUERY_STRING"));
  return request;
}

}  // namespace annal_web
