// Runs annal-web in a child process with a request's environment, and finds messages and links in its pages.
#include "tests/web/cgi.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "Corix_annal.h"

namespace {

using annal::test::sql;

std::string all_of(std::FILE* file) {
  std::string text;
  std::rewind(file);
  std::array<char, 65536> buffer{};
  for (std::size_t got = 0; (got = std::fread(buffer.data(), 1, buffer.size(), file)) > 0;) {
    text.append(buffer.data(), got);
  }
  return text;
}

Answer run(Environment environment) {
  std::FILE* const out = std::tmpfile();
  std::FILE* const err = std::tmpfile();
  for (const char* kept : {"LD_LIBRARY_PATH", "TZ", "ASAN_OPTIONS", "UBSAN_OPTIONS"}) {
    if (const char* const value = std::getenv(kept)) {
      environment.try_emplace(kept, value);
    }
  }
  std::vector<std::string> texts;
  for (const auto& [name, value] : environment) {
    texts.push_back(fmt::format("{}={}", name, value));
  }
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  std::string program = ANNAL_WEB;
  std::array<char*, 2> arguments{program.data(), nullptr};
  const pid_t process = fork();
  if (process == 0) {
    dup2(fileno(out), STDOUT_FILENO);
    dup2(fileno(err), STDERR_FILENO);
    execve(program.c_str(), arguments.data(), pointers.data());
    _exit(127);
  }
  int status = 0;
  waitpid(process, &status, 0);
  Answer answer;
  answer.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  answer.errors = all_of(err);
  const std::string text = all_of(out);
  std::fclose(out);
  std::fclose(err);
  const std::size_t end = text.find("\r\n\r\n");
  if (end == std::string::npos) {
    ADD_FAILURE() << "no headers: " << text << answer.errors;
    return answer;
  }
  answer.body = text.substr(end + 4);
  std::istringstream lines(text.substr(0, end + 2));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t colon = line.find(": ");
    answer.headers[line.substr(0, colon)] = line.substr(colon + 2, line.size() - colon - 3);
  }
  answer.status = std::stoi("0" + answer.headers["Status"]);
  return answer;
}

}  // namespace

Answer get(const std::string& query, const Environment& environment) {
  Environment whole{{"REQUEST_METHOD", "GET"},
                    {"SCRIPT_NAME", "/annal"},
                    {"QUERY_STRING", query},
                    {"REMOTE_USER", "ann"},
                    {"ANNAL_WEB_FILES", ANNAL_WEB_STATIC}};
  for (const auto& [name, value] : environment) {
    whole[name] = value;
  }
  return run(whole);
}

Answer get_path(const std::string& path, const std::string& query) {
  return get(query, {{"PATH_INFO", path}});
}

std::string url_encoded(const std::string& text) {
  std::string out;
  for (const char c : text) {
    out += std::isalnum(static_cast<unsigned char>(c)) != 0 ? std::string(1, c)
                                                            : fmt::format("%{:02x}", static_cast<unsigned char>(c));
  }
  return out;
}

std::vector<std::string> between(const std::string& text, const std::string& begin, const std::string& end) {
  std::vector<std::string> parts;
  for (std::size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at)) {
    at += begin.size();
    parts.push_back(text.substr(at, text.find(end, at) - at));
  }
  return parts;
}

std::vector<std::string> messages(const Answer& answer) {
  return between(answer.body, "class=\"message\"><bdi dir=\"ltr\">", "</bdi>");
}

std::string link_named(const Answer& answer, const std::string& text) {
  const std::size_t end = answer.body.find(">" + text + "</a>");
  if (end == std::string::npos) {
    ADD_FAILURE() << "no link " << text;
    return {};
  }
  const std::size_t begin = answer.body.rfind("href=\"?", end) + 7;
  std::string link = answer.body.substr(begin, answer.body.find('"', begin) - begin);
  for (std::size_t at = 0; (at = link.find("&amp;")) != std::string::npos;) {
    link.replace(at, 5, "&");
  }
  return link;
}

void WebTest::SetUp() {
  ApplianceTest::SetUp();
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
}

void WebTest::add(const std::string& message, int level, const std::string& user, const std::string& date,
                  const std::string& time, const std::string& application) {
  const auto quoted = [](const std::string& text) {
    std::string doubled;
    for (const char c : text) {
      doubled.append(c == '\'' ? 2 : 1, c);
    }
    return "'" + doubled + "'";
  };
  sql("/etc/logs/event.log",
      fmt::format("INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_ip, event_comp, "
                  "event_desc, event_app_name) VALUES ({}, {}, {}, {}, '10.0.0.1', 'host', {}, {})",
                  level, quoted(date), quoted(time), quoted(user), quoted(message), quoted(application)));
}
