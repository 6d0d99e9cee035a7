#pragma once

#include "platform/log/SystemLog.h"
#include "platform/log/tests/RecordingSink.h"

#include <memory>
#include <string>
#include <vector>

namespace veltra {

/// Records everything that is logged while it lives.
class RecordedLog {
  public:
    /// All messages so far, oldest first.
    [[nodiscard]] std::vector<std::string> messages()
    {
        log_.drain();
        return recording_->messages();
    }

    /// The messages that do not begin with "read line: ".
    [[nodiscard]] std::vector<std::string> complaints()
    {
        auto all = messages();
        std::erase_if(all, [](const auto& message) { return message.starts_with("read line: "); });
        return all;
    }

  private:
    std::shared_ptr<Recording> recording_ = std::make_shared<Recording>();
    SystemLog log_{Recording::sink(recording_)};
    SystemLog::Redirection redirection_{log_};
};

} // namespace veltra
