#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <thread>

namespace veltra {

/// The destination of log messages. Its functions are called on the log's own thread and may block;
/// messages come one at a time, in the order in which they were logged.
class LogSink {
  public:
    LogSink() = default;
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;
    virtual ~LogSink() = default;

    /// Takes one message, which may hold any bytes.
    virtual void write(std::string_view message) = 0;

    /// Writes out what write() has buffered. Called after the last waiting message.
    virtual void flush() {}
};

/// The journal, through sd_journal_sendv(3); null if no journal runs on this machine.
[[nodiscard]] std::unique_ptr<LogSink> makeJournalSink();

/// A stream such as standard error, which is not closed. Each message is written unchanged,
/// followed by a newline unless it ends with one. Messages are written together, up to PIPE_BUF
/// bytes in one call, so that lines of programs that share a pipe do not mix; see pipe(7). When
/// nobody can read the stream any more (EPIPE, EBADF), the sink ignores all further messages. After
/// any other error, such as a full disk, it tries again until it succeeds.
[[nodiscard]] std::unique_ptr<LogSink> makeStreamSink(int descriptor);

/// The program's log.
///
/// Logging never waits for the sink and keeps the order: the log's own thread feeds the sink, at
/// most `memoryLimit` bytes wait for it in memory, and the rest waits in unnamed temporary files in
/// $TMPDIR, /var/tmp or /tmp. Messages are left out only if none of these has room; how many is
/// logged in their place. All functions may be called from any thread.
class SystemLog {
  public:
    /// A log without a sink drops every message and has no thread.
    explicit SystemLog(std::unique_ptr<LogSink> sink, std::size_t memoryLimit = 1 << 20,
                       std::chrono::milliseconds patience = std::chrono::seconds{5});
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    /// Writes out what still waits; gives up only if the sink accepts nothing for `patience`. The
    /// sink then lives on until it has finished its current message.
    ~SystemLog();

    /// Logs one message, given in pieces that are concatenated unchanged.
    void write(std::initializer_list<std::string_view> pieces);

    /// Waits until everything logged before the call has been passed to the sink. With a time
    /// limit, returns whether that happened in time.
    void drain();
    bool drain(std::chrono::milliseconds timeLimit);

    /// The log of this process: the journal if one runs, otherwise standard error. Created on first
    /// use, written out at exit.
    static SystemLog& shared();

    /// Makes log() write to `log` for as long as the handle lives. Handles must end in the reverse
    /// order of their creation; no other thread may be inside log() when one begins or ends.
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

    /// Logs an exception that is not handled anywhere else.
    static void logThrown(const std::exception& error) { log({"the error is ", error.what()}); }

  private:
    class Feeder;
    std::shared_ptr<Feeder> feeder_;
    std::thread thread_;
};

} // namespace veltra
