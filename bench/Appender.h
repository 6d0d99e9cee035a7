#pragma once

#include "platform/base/Fd.h"

#include <chrono>
#include <string>

#include <sys/types.h>

namespace veltra {

/// A separate process that appends to a log, as the agent does. For one thread.
class Appender {
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// The times just before and just after write(2).
    struct Write {
        Time begun;
        Time returned;
    };

    /// Forks the process, which opens the log at `path`. Call it before the first thread is
    /// started. Throws std::system_error.
    explicit Appender(const std::string& path);
    Appender(const Appender&) = delete;
    Appender& operator=(const Appender&) = delete;

    /// Ends the process.
    ~Appender();

    /// Has `text`, a few hundred bytes, appended by one write(2), after a pause that varies between
    /// 50 and 250 milliseconds. One at a time.
    void append(const std::string& text);

    /// The write that append() last requested; waits until it has returned.
    [[nodiscard]] Write lastWrite() const;

  private:
    struct Record;

    void startWriter(int commands, const std::string& path);
    [[noreturn]] static void run(int commands, const std::string& path, Record& record);

    Record* record_; // in memory that both processes share
    Fd commands_;
    pid_t process_ = -1;
};

} // namespace veltra
