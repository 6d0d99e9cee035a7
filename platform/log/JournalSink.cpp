#include "platform/log/SystemLog.h"

#include <array>
#include <cerrno>
#include <string>

// Messages come from everywhere in the program: the location of the call below would be useless.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <sys/stat.h>
#include <sys/syslog.h>
#include <sys/uio.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

namespace veltra {

namespace {

bool isJournalRunning()
{
    struct stat status {};
    return ::stat("/run/systemd/journal/socket", &status) == 0 && S_ISSOCK(status.st_mode);
}

iovec partOf(std::string& field)
{
    return {.iov_base = field.data(), .iov_len = field.size()};
}

// Messages that the journal does not accept go to standard error.
class JournalSink : public LogSink {
  public:
    void write(std::string_view message) override
    {
        // sd_journal_sendv(3) reports success when the journal's socket is not there.
        if (!isJournalRunning() || !send(message))
            fallback_->write(message);
    }

    void flush() override { fallback_->flush(); }

  private:
    static constexpr std::size_t keptCapacity = 1 << 16;

    bool send(std::string_view message)
    {
        message_.assign("MESSAGE=").append(message);
        const std::array fields{partOf(message_), partOf(priority_), partOf(identifier_)};
        const bool isSent = ::sd_journal_sendv(fields.data(), static_cast<int>(fields.size())) == 0;
        if (message_.capacity() > keptCapacity)
            std::string{}.swap(message_);
        return isSent;
    }

    std::string message_;
    std::string priority_ = "PRIORITY=" + std::to_string(LOG_NOTICE);
    std::string identifier_ = std::string{"SYSLOG_IDENTIFIER="} + program_invocation_short_name;
    std::unique_ptr<LogSink> fallback_ = makeStreamSink(STDERR_FILENO);
};

} // namespace

std::unique_ptr<LogSink> makeJournalSink()
{
    if (!isJournalRunning())
        return nullptr;

    return std::make_unique<JournalSink>();
}

} // namespace veltra
