// Assembles the list, entry and refusal pages from navigation, notes, links and the sections' markup.
#include "tools/web/page.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>

#include "tools/annalctl/base/moment.h"
#include "tools/web/text.h"

namespace annal_web {

namespace {

std::string item_of_log(const Selection& selection, const std::string& name, const std::string& title, bool current) {
  Link link(selection);
  // Each log has levels of its own.
  link.drop("level").drop("not-level").drop("least");
  name == "all" ? link.drop("log") : link.set("log", name);
  return fmt::format("<li><a href=\"{}\"{}>{}</a></li>", link.text(), current ? " aria-current=\"page\"" : "", title);
}

std::string navigation(const Selection& selection) {
  const std::string log = selection.value("log");
  const bool all = log.empty() || log == "all";
  std::string out = "<nav aria-label=\"Logs\"><ul>" + item_of_log(selection, "all", "All logs", all);
  for (const Part& part : parts()) {
    if (is_configured(part)) {
      out += item_of_log(selection, part.log->name, part.title, log == part.log->name);
    }
  }
  return out + "</ul></nav>";
}

std::string notes(const Request& request, const Selection& selection, const std::vector<OpenLog>& logs) {
  std::string out;
  for (const OpenLog& log : logs) {
    // In the view of all, a log that nobody has needed yet is no news.
    if (!log.obstacle.empty() && !(log.missing && !selection.alone())) {
      out += fmt::format("<p class=\"note {}\">{}: {}.</p>", log.missing ? "" : "bad", log.part->title,
                         marked(shortened(log.obstacle, 1000)));
    }
  }
  const bool none = std::all_of(logs.begin(), logs.end(), [](const OpenLog& log) { return log.missing; });
  if (none && !selection.alone()) {
    out += "<p class=\"note\">There is no log yet.</p>";
  }
  if (!request.authenticated) {
    out +=
        "<p class=\"note\">This server asks for no password: whoever reaches it can read the logs. The recipe in "
        "<code>/usr/share/doc/annal-web</code> has one.</p>";
  }
  return out;
}

std::string sentence_of(const List& list) {
  const Pass& pass = list.pass;
  if (pass.complete) {
    return fmt::format("{} {}", grouped(pass.summary.entries), pass.summary.entries == 1 ? "entry" : "entries");
  }
  return fmt::format(
      "{} entries so far: the time that a page may take was over before the logs were read to their end, so the list, "
      "the counts and the chart are incomplete. Ask for a shorter time, or try again when fewer others are reading",
      grouped(pass.summary.entries));
}

std::string page_links(const List& list) {
  const Selection& selection = list.selection;
  const bool by_time = selection.sort == SortBy::kTime;
  const char* const forward = !by_time ? "Next" : selection.descending ? "Older" : "Newer";
  const char* const back = !by_time ? "Previous" : selection.descending ? "Newer" : "Older";
  const auto item = [](bool there, const Link& link, const char* rel, const char* title) {
    return there
               ? fmt::format("<li><a href=\"{}\" rel=\"{}\" data-key=\"{}\">{}</a></li>", link.text(), rel, rel, title)
               : fmt::format("<li><span>{}</span></li>", title);
  };
  std::string out = "<nav class=\"pages\" aria-label=\"Pages\"><ul>";
  out += item(!list.first, Link(selection), "first", "First page");
  Link before(selection);
  out += item(!list.first, before.set("before", place_text(list.begin, selection.sort)), "prev", back);
  Link after(selection);
  out += item(list.more, after.set("after", place_text(list.end, selection.sort)), "next", forward);
  return out + "</ul></nav>";
}

std::string switches(const List& list) {
  const Selection& selection = list.selection;
  Link fold(selection);
  selection.fold ? fold.drop("fold") : fold.set("fold", "1");
  Link follow(selection);
  if (!selection.follow) {
    follow.set("follow", "1");
  }
  std::string out = "<ul class=\"switches\">";
  out += fmt::format("<li><a href=\"{}\" data-key=\"fold\">{}</a></li>", fold.text(),
                     selection.fold ? "Show each repeat" : "Fold repeats");
  // What is new comes first on the first page alone.
  if (selection.sort == SortBy::kTime && selection.descending) {
    out += fmt::format("<li><a href=\"{}\" data-key=\"follow\"{}>{}</a></li>", follow.text(),
                       selection.follow ? " class=\"on\"" : "", selection.follow ? "Stop following" : "Follow");
  }
  return out + "</ul>";
}

std::string downloads(const List& list) {
  Link link(list.selection);
  link.drop("sort").drop("order").drop("rows").drop("fold");
  const std::string query = link.text();
  std::string out = "<nav class=\"downloads\" aria-label=\"Download\"><span>Download</span> <ul>";
  for (const auto& [file, title] : {std::pair("entries.csv", "CSV"),
                                    {"entries.jsonl", "JSON Lines"},
                                    {"entries-for-spreadsheet.csv", "CSV for a spreadsheet"}}) {
    out += fmt::format("<li><a href=\"{}/download/{}{}\" download>{}</a></li>", escaped(list.request.script), file,
                       query == "?" ? "" : query, title);
  }
  return out + "</ul></nav>";
}

std::string zone_now() {
  const std::string now = annalctl::iso_text(std::time(nullptr), annalctl::Zone::kLocal).value_or("");
  constexpr std::size_t kZone = 19;
  return now.size() > kZone ? now.substr(kZone) : "";
}

}  // namespace

std::string page_head(const Request& request, const std::string& title, bool reload) {
  const std::string files = escaped(request.script) + "/static/";
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>{0}</title>"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
      "<meta name=\"color-scheme\" content=\"light dark\">{2}"
      "<link rel=\"icon\" href=\"{1}annal.svg\" type=\"image/svg+xml\">"
      "<link rel=\"stylesheet\" href=\"{1}uPlot.min.css\"><link rel=\"stylesheet\" href=\"{1}annal.css\">"
      "<script src=\"{1}annal.js\"></script><script src=\"{1}uPlot.iife.js\" defer></script></head>\n",
      escaped(title), files, reload ? "<noscript><meta http-equiv=\"refresh\" content=\"5\"></noscript>" : "");
}

std::string page_top(const Request& request, const Selection& selection, const std::vector<OpenLog>& logs) {
  return fmt::format(
      "<body><a class=\"skip\" href=\"#entries\">Skip to the entries</a>\n<header><h1>Logs</h1>{}"
      "<div id=\"settings\"></div></header>\n<main>{}",
      navigation(selection), notes(request, selection, logs));
}

std::string page_end() {
  return fmt::format(
      "</main>\n<footer><p>Times are the appliance's, <span id=\"zone\">UTC{}</span>.</p>"
      "<p id=\"keys\" hidden>Keys: <kbd>/</kbd> search, <kbd>j</kbd> <kbd>k</kbd> next and previous entry, "
      "<kbd>Enter</kbd> open it, <kbd>u</kbd> back to the list, <kbd>n</kbd> <kbd>p</kbd> next and previous page, "
      "<kbd>f</kbd> follow, <kbd>r</kbd> fold repeats.</p></footer></body></html>\n",
      zone_now());
}

std::string list_page(const List& list) {
  const Selection& selection = list.selection;
  const std::string title = selection.alone() ? selection.parts.front()->title : "All logs";
  std::string out = page_head(list.request, title + " – Logs", selection.follow);
  out += page_top(list.request, selection, list.logs);
  if (selection.alone() && !list.logs.front().was_read) {
    return out + page_end();
  }
  out += filter_form(selection);
  out += fmt::format("<div id=\"live\"{}>", selection.follow ? " data-follow" : "");
  out +=
      fmt::format("<div class=\"toolbar\"><p id=\"count\" role=\"status\">{}.{}</p>{}{}</div>", sentence_of(list),
                  selection.follow ? " <span id=\"following\">Following: new entries appear by themselves.</span>" : "",
                  switches(list), downloads(list));
  out += histogram_section(selection, list.pass.summary.histogram);
  out += "<div class=\"columns\">" + facets_section(selection, list.pass.summary);
  out +=
      "<section id=\"entries\" class=\"panel\" aria-labelledby=\"entries-title\" tabindex=\"-1\"><h2 "
      "id=\"entries-title\">Entries</h2>";
  out += list.lines.empty() ? "<p class=\"none\">No entries match these filters.</p>"
                            : entries_table(selection, list.lines, {.sortable = true});
  out += page_links(list) + "</section></div></div>\n";
  return out + page_end();
}

std::string entry_page(const Around& around) {
  const Line& line = around.entry.line;
  const EntryName name{line.part, line.place.id};
  std::string out = page_head(around.request, fmt::format("{} {} – Logs", line.part->log->name, name.id), false);
  out += page_top(around.request, around.selection, around.logs);
  out += fmt::format("<p class=\"back\"><a href=\"{}\" data-key=\"back\">Back to the list</a></p>",
                     Link(around.selection).text());
  out += fmt::format("<section class=\"panel\" aria-labelledby=\"entry\"><h2 id=\"entry\">{}, entry {}</h2>",
                     line.part->title, name.id);
  out += fmt::format("<p class=\"whole {}\"><bdi dir=\"ltr\">{}</bdi></p><dl class=\"fields\">",
                     grade_name(line.part->grade(line.level)), marked(line.message));
  for (const Field& field : around.entry.fields) {
    out += fmt::format(
        "<div><dt>{}</dt><dd>{}{}</dd></div>", escaped(field.name),
        field.value ? marked(*field.value) : "<span class=\"quiet\">NULL</span>",
        field.meaning.empty() ? "" : fmt::format(" <span class=\"quiet\">({})</span>", marked(field.meaning)));
  }
  out +=
      "</dl></section><section id=\"entries\" class=\"panel\" aria-labelledby=\"entries-title\" tabindex=\"-1\"><h2 "
      "id=\"entries-title\">Around it</h2>";
  out += "<p class=\"quiet\">What was added to the same log before and after, whatever the filter. ";
  out += around.selection.parameters.size() > 1 ? "Entries that the filter leaves out are pale.</p>" : "</p>";
  out += entries_table(around.selection, around.neighbours, {.marked = &name, .selected = &around.selected});
  return out + "</section>" + page_end();
}

Response refusal_page(const std::string& script, int status, const std::string& sentence) {
  Request request;
  request.script = script;
  return {.status = status,
          .body = page_head(request, "Logs", false) +
                  fmt::format("<body><header><h1>Logs</h1></header><main><p class=\"note bad\">{}</p>"
                              "<p><a href=\"{}/\">All logs, without a filter</a></p>",
                              marked(shortened(sentence, 2000)), escaped(script)) +
                  page_end()};
}

}  // namespace annal_web
