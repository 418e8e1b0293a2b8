// Writes objects as JSON Lines or as CSV.
#include "tools/annalctl/output/objects.h"

#include <nlohmann/json.hpp>

namespace annalctl {

using Json = nlohmann::ordered_json;

ObjectSink::ObjectSink(Session& session, std::span<const char* const> columns) : session_(session) {
  for (const char* const name : columns) {
    columns_.push_back({name, false});
  }
  if (session.format() == Format::kCsv) {
    csv_ = make_sink(View{.format = Format::kCsv, .titled = session.view.titled}, RowShape{columns_, {}},
                     session.terminal, session.output);
  }
}

void ObjectSink::write(const Json& object) {
  if (!csv_) {
    // A terminal would act on control characters beyond ASCII; a program gets the text unchanged.
    session_.output.write(object.dump(-1, ' ', session_.terminal.present, Json::error_handler_t::replace) + "\n");
    return;
  }
  std::vector<std::string> texts(columns_.size());
  std::vector<const char*> row(columns_.size(), nullptr);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const auto member = object.find(columns_[i].name);
    if (member != object.end() && !member->is_null()) {
      texts[i] = member->is_string() ? member->get<std::string>() : member->dump();
      row[i] = texts[i].c_str();
    }
  }
  csv_->row(row);
}

}  // namespace annalctl
