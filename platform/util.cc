// Stand-in for the appliance's libCorix_Util.so.0.
#include <arpa/inet.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/platform.h"

namespace {

bool printable(char character) {
  return character >= 0x20 && character <= 0x7E;
}

// The length in bytes of the control character at the start of a text, or 0.
std::size_t control_character_length(const unsigned char* text) {
  const unsigned char first = text[0];
  if ((first >= 0x01 && first <= 0x1F) || first == 0x7F) {
    return 1;
  }
  if (first == 0xC2 && text[1] >= 0x80 && text[1] <= 0x9F) {
    return 2;  // U+0080 to U+009F
  }
  if (first == 0xD8 && text[1] == 0x9C) {
    return 2;  // U+061C
  }
  if (first == 0xE2 && text[1] == 0x80) {
    const unsigned char last = text[2];
    return last == 0x8E || last == 0x8F || (last >= 0xA8 && last <= 0xAE) ? 3 : 0;  // U+200E, F, U+2028 to U+202E
  }
  if (first == 0xE2 && text[1] == 0x81 && text[2] >= 0xA6 && text[2] <= 0xA9) {
    return 3;  // U+2066 to U+2069
  }
  return 0;
}

}  // namespace

extern "C" int IS_IPv6_Address(const char* text) {
  in6_addr address;
  // Most addresses are IPv4 and have no colon; skip the parser for those.
  return text != nullptr && std::strchr(text, ':') != nullptr && inet_pton(AF_INET6, text, &address) == 1 ? 1 : 0;
}

extern "C" int Is_Valid_Source(const char* text) {
  in_addr address;
  return text != nullptr && inet_pton(AF_INET, text, &address) == 1 ? 1 : 0;
}

extern "C" int Skip_Unicode_Control_Characters(char* text) {
  if (text == nullptr) {
    return 0;
  }
  char* to = text;
  while (printable(*to)) {  // usually to the end of the text
    ++to;
  }
  const char* from = to;
  while (*from != '\0') {
    const std::size_t skipped = control_character_length(reinterpret_cast<const unsigned char*>(from));
    from += skipped;
    if (skipped == 0) {
      *to++ = *from++;
    }
  }
  *to = '\0';
  return static_cast<int>(from - to);
}

extern "C" int zeno_exec_v(const void* /*unused1*/, const void* /*unused2*/, const void* /*unused3*/, const char* path,
                           char* const argv[]) {
  pid_t child = 0;
  if (path == nullptr || argv == nullptr || posix_spawn(&child, path, nullptr, nullptr, argv, environ) != 0) {
    return -1;
  }
  int status = 0;
  pid_t waited = 0;
  do {
    waited = waitpid(child, &status, 0);
  } while (waited == -1 && errno == EINTR);
  if (waited == -1) {
    return 0;  // The caller ignores SIGCHLD: the program ran, but its status is lost.
  }
  constexpr int kKilled = 128;  // the shells' convention
  return WIFEXITED(status) ? WEXITSTATUS(status) : kKilled + WTERMSIG(status);
}
