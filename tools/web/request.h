// What the server hands over of a request, as the common gateway interface has it: in the environment.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace annal_web {

struct Parameter {
  std::string name;
  std::string value;

  bool operator==(const Parameter&) const = default;
};
using Parameters = std::vector<Parameter>;

// A request that is not answered as it was meant. The sentence goes to the reader.
class Refused : public std::runtime_error {
 public:
  Refused(int status, const std::string& sentence) : std::runtime_error(sentence), status_(status) {}
  [[nodiscard]] int status() const { return status_; }

 private:
  int status_;
};

struct Request {
  bool head = false;   // HEAD, and not GET
  std::string script;  // the program's own path
  std::string path;    // what follows it
  Parameters parameters;
  bool authenticated = false;
  std::string if_none_match;
};

// Throws Refused for another method, and for what is longer or more than any page's own link.
[[nodiscard]] Request read_request();

// Behind the name of a parameter whose value is encoded twice: servers refuse control characters in an address, though
// logs hold texts that have some.
constexpr char kEncodedTwice = '*';

// "a=1&b=2&c*=%2509". Throws Refused.
[[nodiscard]] Parameters parse_query(std::string_view query);

}  // namespace annal_web
