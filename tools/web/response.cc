// Writes the status, the security headers and the body to standard output.
#include "tools/web/response.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "tools/annalctl/base/failure.h"
#include "tools/web/limits.h"

namespace annal_web {

namespace {

struct Reason {
  int status;
  const char* text;
};
constexpr std::array kReasons{
    Reason{200, "OK"},
    Reason{304, "Not Modified"},
    Reason{400, "Bad Request"},
    Reason{404, "Not Found"},
    Reason{405, "Method Not Allowed"},
    Reason{414, "URI Too Long"},
    Reason{500, "Internal Server Error"},
    Reason{503, "Service Unavailable"},
};

const char* reason_of(int status) {
  for (const Reason& reason : kReasons) {
    if (reason.status == status) {
      return reason.text;
    }
  }
  return "Unknown";
}

// Pages hold what strangers have written, so they may do nothing but show it: no script, style or picture but the
// page's own files, no text that becomes markup, no frame around or within.
constexpr char kSecurityHeaders[] =
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
    "connect-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'; "
    "require-trusted-types-for 'script'; trusted-types 'none'\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "X-Frame-Options: DENY\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Cross-Origin-Resource-Policy: same-origin\r\n"
    "Cross-Origin-Opener-Policy: same-origin\r\n"
    "Permissions-Policy: camera=(), geolocation=(), microphone=()\r\n";
constexpr char kUnlessTold[] = "Cache-Control: no-store\r\n";

}  // namespace

void write_out(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written < 0 && errno != EINTR) {
      throw annalctl::WriteFailure(errno);
    }
    text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
  }
}

void send(const Response& response, bool head) {
  const bool has_cache = response.more_headers.find("Cache-Control:") != std::string::npos;
  std::string text = fmt::format("Status: {} {}\r\n{}{}{}", response.status, reason_of(response.status),
                                 kSecurityHeaders, has_cache ? "" : kUnlessTold, response.more_headers);
  constexpr int kNotModified = 304;
  if (response.status != kNotModified) {
    text += fmt::format("Content-Type: {}\r\nContent-Length: {}\r\n", response.type, response.body.size());
  }
  text += "\r\n";
  if (!head) {
    text += response.body;
  }
  answer_has_begun();
  write_out(text);
}

void send_head_of_download(const std::string& type, const std::string& file) {
  answer_has_begun();
  write_out(
      fmt::format("Status: 200 OK\r\n{}{}Content-Type: {}\r\nContent-Disposition: attachment; filename=\"{}\"\r\n\r\n",
                  kSecurityHeaders, kUnlessTold, type, file));
}

}  // namespace annal_web
