// POCO's SQLChannel on SQLite, set to return only after the entry is stored, as the library does.
#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Data/SQLChannel.h>
#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Message.h>

#include <string>

namespace annal::bench {

class PocoChannel {
 public:
  explicit PocoChannel(const std::string& path) {
    Poco::Data::SQLite::Connector::registerConnector();
    channel_ = new Poco::Data::SQLChannel("SQLite", path, "bench");
    channel_->setProperty("async", "false");
    channel_->setProperty("throw", "true");
  }

  void log(const std::string& text) { channel_->log(Poco::Message("admin", text, Poco::Message::PRIO_INFORMATION)); }

 private:
  Poco::AutoPtr<Poco::Data::SQLChannel> channel_;
};

}  // namespace annal::bench
