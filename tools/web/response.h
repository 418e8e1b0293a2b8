// What goes back to the server.
#pragma once

#include <string>
#include <string_view>

namespace annal_web {

struct Response {
  int status = 200;
  std::string type = "text/html; charset=utf-8";
  std::string more_headers{};  // each with its line end
  std::string body{};
};

// Writes all of it, or for HEAD the same headers alone.
void send(const Response& response, bool head);

// The headers of what is written as it is read, with no length told before.
void send_head_of_download(const std::string& type, const std::string& file);

// Writes to standard output. Throws annalctl::WriteFailure when the reader has gone.
void write_out(std::string_view text);

}  // namespace annal_web
