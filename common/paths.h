// The logs' paths. Other programs of the appliance open the files by these paths.
#pragma once

namespace annal {

inline constexpr char kEventLog[] = "/etc/logs/event.log";
inline constexpr char kConnLog[] = "/etc/logs/conn.log";
inline constexpr char kNoticeLog[] = "/etc/logs/notice.log";

}  // namespace annal
