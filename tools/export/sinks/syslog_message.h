// A record as a message of RFC 5424.
#pragma once

#include <string>

#include "tools/export/record.h"

namespace exporter::sinks {

struct SyslogOrigin {
  std::string host;
  int facility = 16;                    // local0
  std::string element = "annal@32473";  // the structured data's name; the number is the one for examples
};

// "<132>1 2026-11-21T10:00:00Z HOST annal - event [ELEMENT appliance="…" log="event" generation="1" kind="entry"
// id="4711" record="{…}"] Volume 1 is nearly full."
//
// The structured data has the key and the whole record as JSON, in which every control character is escaped: many
// receivers replace such characters, or end a message at a line end. The text after it is for people, so there they are
// shown as \xNN.
[[nodiscard]] std::string syslog_message(const SyslogOrigin& origin, const Stream& stream, const Record& record);

// Whether a text can be the name of structured data: 1 to 32 printable characters of ASCII, no blank, '=', ']' or '"'.
[[nodiscard]] bool is_element_name(const std::string& text);

}  // namespace exporter::sinks
