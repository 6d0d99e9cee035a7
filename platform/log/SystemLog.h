#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <thread>

namespace veltra {

/// Where log messages end up. Its functions are called on the log's own thread and may block;
/// messages come one at a time, in the order in which they were logged.
class LogSink {
  public:
    LogSink() = default;
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;
    virtual ~LogSink() = default;

    /// Takes one message, which may hold any bytes.
    virtual void write(std::string_view message) = 0;

    /// Lets out what write() kept back. Comes behind the last of the messages that wait.
    virtual void flush() {}
};

/// The journal through sd_journal_sendv(3); null when no journal runs on this machine.
[[nodiscard]] std::unique_ptr<LogSink> makeJournalSink();

/// A stream such as standard error, which is not closed: each message as it is, ended by a line
/// break unless it ends with one. Messages go out together, up to PIPE_BUF bytes in one call, so
/// that lines of programs that share a pipe do not mix; see pipe(7). A descriptor that fails for
/// good makes the sink deaf.
[[nodiscard]] std::unique_ptr<LogSink> makeStreamSink(int descriptor);

/// The program's log.
///
/// Logging never waits for the sink, keeps the order and loses nothing: a thread of the log's own
/// feeds the sink, at most `memoryLimit` bytes wait for it in memory, and what is more waits in
/// an unnamed temporary file in $TMPDIR, /var/tmp or /tmp. Only when that file cannot be written
/// does logging wait for room. All functions may be called from any thread.
class SystemLog {
  public:
    /// A log without a sink drops every message and has no thread.
    explicit SystemLog(std::unique_ptr<LogSink> sink, std::size_t memoryLimit = 1 << 20,
                       std::chrono::milliseconds patience = std::chrono::seconds{5});
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    /// Writes out what still waits; gives up only when the sink takes nothing for as long as
    /// `patience`. The sink then lives on until it lets go of the message that it has.
    ~SystemLog();

    /// Logs one message, given in pieces that are joined as they are.
    void write(std::initializer_list<std::string_view> pieces);

    /// Waits until everything logged before the call has been handed to the sink.
    void drain();

    /// The log of this process: the journal where one runs, else standard error.
    /// Made at first use, written out at exit.
    static SystemLog& shared();

    /// Makes `log` the one that log() writes to, for as long as the handle lives. Handles end in
    /// the reverse order of their making; no other thread may be inside log() when one begins
    /// or ends.
    class Redirection {
      public:
        explicit Redirection(SystemLog& log);
        Redirection(const Redirection&) = delete;
        Redirection& operator=(const Redirection&) = delete;
        ~Redirection();

      private:
        SystemLog* previous_;
    };

    /// Logs one message, given in pieces, to the redirected log or else to the shared one.
    static void log(std::initializer_list<std::string_view> pieces);
    static void log(std::string_view message) { log({message}); }

    /// Logs what was thrown where nobody else deals with it.
    static void logThrown(const std::exception& error) { log({"the error is ", error.what()}); }

  private:
    class Feeder;
    std::shared_ptr<Feeder> feeder_;
    std::thread thread_;
};

} // namespace veltra
