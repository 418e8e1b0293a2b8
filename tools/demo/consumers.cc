// Stands in front of the platform's senders for the demo, and writes down what they are handed.
#include <cstdio>
#include <cstdlib>

#include "platform/platform.h"

namespace {

const char* shown(const char* text) {
  return text != nullptr ? text : "NULL";
}

template <typename... Values>
int write_down(const char* consumer, const char* format, Values... values) {
  const char* folder = std::getenv("DEMO_RECEIVED");  // NOLINT(concurrency-mt-unsafe): annalctl has one thread
  char path[256];
  static_cast<void>(std::snprintf(path, sizeof path, "%s/%s", folder != nullptr ? folder : "/tmp", consumer));
  if (std::FILE* const file = std::fopen(path, "we")) {
    static_cast<void>(std::fprintf(file, format, values...));
    static_cast<void>(std::fclose(file));
  }
  return 0;
}

}  // namespace

int SNMPTrap_Send_Alert(const char* message, int type) {
  return write_down("2 SNMP traps", "SNMPTrap_Send_Alert(\"%s\", %d)\n", shown(message), type);
}

int SendEventToZSyslogd(int type, const char* user, const char* ip, const char* comp, const char* app_name,
                        const char* category, const char* message) {
  return write_down("4 syslog forwarder", "SendEventToZSyslogd(%d, \"%s\", \"%s\", \"%s\", \"%s\", \"%s\", \"%s\")\n",
                    type, shown(user), shown(ip), shown(comp), shown(app_name), shown(category), shown(message));
}

int SendNoticeToLogEngine(int severity, int /*arg2*/, const char* /*arg3*/, const char* /*arg4*/, int /*arg5*/,
                          const char* /*arg6*/, int /*arg7*/, int /*arg8*/, int /*arg9*/, const char* user,
                          const char* ip, const char* comp, const char* /*arg13*/, const char* /*arg14*/,
                          const char* /*arg15*/, const char* message) {
  return write_down("5 notice engine", "SendNoticeToLogEngine(severity %d, ..., \"%s\", \"%s\", \"%s\", ..., \"%s\")\n",
                    severity, shown(user), shown(ip), shown(comp), shown(message));
}
