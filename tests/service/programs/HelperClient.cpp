// Calls the helper as told on standard input, one command and its operands per line, and prints
// each result on standard output, one per line. See the table in main().
#include "channel/protocol/ClientSide.h"
#include "channel/protocol/HelperConstants.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <functional>
#include <future>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <unistd.h>

namespace {

using namespace veltra;

// Whole lines, whichever thread prints them; line breaks inside as "\n".
void say(const std::string& words)
{
    static std::mutex mutex;
    const std::lock_guard lock{mutex};
    for (const char c : words)
        if (c == '\n')
            std::fputs("\\n", stdout);
        else
            std::fputc(c, stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

class Output : public AppProtocol {
  public:
    explicit Output(std::string name) : name_{std::move(name)} {}

    void logWithStdOut(const std::string& text) override { say(name_ + " out " + text); }
    void logWithStdErr(const std::string& text) override { say(name_ + " err " + text); }

  private:
    std::string name_;
};

// Prints only how much was received, and when it ended.
class CountedOutput : public AppProtocol {
  public:
    void logWithStdOut(const std::string& text) override
    {
        size_ += text.size();
        if (text.empty())
            say("counted " + std::to_string(size_));
    }

    void logWithStdErr(const std::string&) override {}

  private:
    std::size_t size_ = 0;
};

// Expects the numbers from 1, each on a line, and then the line "end"; prints only how far they
// were complete and in order.
class OrderedOutput : public AppProtocol {
  public:
    void logWithStdOut(const std::string& text) override
    {
        text_ += text;
        std::size_t start = 0;
        for (std::size_t end = 0; (end = text_.find('\n', start)) != std::string::npos;
             start = end + 1)
            take(text_.substr(start, end - start));
        text_.erase(0, start);
    }

    void logWithStdErr(const std::string&) override {}

  private:
    void take(const std::string& line)
    {
        if (line == "end")
            say("in order up to " + std::to_string(last_));
        else if (line == std::to_string(last_ + 1))
            ++last_;
    }

    std::string text_;
    long last_ = 0;
};

// What a client that is not the real program may do when it is asked whether it took its output.
int sayNothing(sd_bus_message*)
{
    return 1;
}

int answerWithAnError(sd_bus_message* question)
{
    sd_bus_reply_method_errorf(question, "com.veltra.Error.No", "no");
    return 1;
}

// Answers a call that no answer is expected to.
void answerUnasked(sd_bus_message* call)
{
    sd_bus_message* answer = nullptr;
    sd_bus_message_new_method_return(call, &answer);
    sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
}

/// Takes counted output, but has its own way with the helper's questions.
ClientConnection::Receiver takeOddly(int (*answer)(sd_bus_message*))
{
    const auto output = exportAppProtocol(std::make_shared<CountedOutput>());
    return [output, answer, isFirst = true](BusMessage& call) mutable {
        const auto filter = [](sd_bus_message* message, void* answerQuestion, sd_bus_error*) {
            if (sd_bus_message_is_method_call(message, "org.freedesktop.DBus.Peer", "Ping") <= 0)
                return 0;
            return reinterpret_cast<int (*)(sd_bus_message*)>(answerQuestion)(message);
        };
        sd_bus* const bus = sd_bus_message_get_bus(call.handle());
        if (std::exchange(isFirst, false))
            sd_bus_add_filter(bus, nullptr, filter, reinterpret_cast<void*>(answer));
        answerUnasked(call.handle());
        output(call);
    };
}

std::map<std::string, std::shared_ptr<ClientConnection>> connections;

std::shared_ptr<ClientConnection> newConnection()
{
    return std::make_shared<ClientConnection>(
        ClientConnection::initWithMachServiceName(HelperConstants::machServiceName));
}

ClientConnection::Receiver receiver(const std::string& name, const std::string& manner)
{
    if (manner == "counted")
        return exportAppProtocol(std::make_shared<CountedOutput>());
    if (manner == "ordered")
        return exportAppProtocol(std::make_shared<OrderedOutput>());
    if (manner == "withholding")
        return takeOddly(sayNothing);
    if (manner == "erring")
        return takeOddly(answerWithAnError);
    return exportAppProtocol(std::make_shared<Output>(name));
}

void openConnection(const std::string& name, const std::string& manner)
{
    auto connection = newConnection();
    connection->setExportedObject(receiver(name, manner));
    connection->setInvalidationHandler([name] { say(name + " ended"); });
    connection->resume();
    connections[name] = std::move(connection);
}

std::shared_ptr<HelperProtocol> helper(const std::string& name)
{
    return remoteObjectProxyWithErrorHandler(connections.at(name),
                                             [name](const auto&) { say(name + " failed"); });
}

void askVersion(const std::string& name, const std::string&)
{
    helper(name)->getVersion([name](const auto& version) { say(name + " version " + version); });
}

void run(const std::string& name, const std::string& option)
{
    helper(name)->runCommand(
        option, [name](auto status) { say(name + " exit " + std::to_string(status)); });
}

void runWithAuthData(const std::string& name, const std::string& option)
{
    helper(name)->runCommand(
        option, HelperProtocol::AuthorizationData(32, 0x5A),
        [name](auto status) { say(name + " exit " + std::to_string(status)); });
}

void runWithoutAuthData(const std::string& name, const std::string& option)
{
    helper(name)->runCommand(option, std::nullopt, [name](auto status) {
        say(name + " exit " + std::to_string(status));
    });
}

void closeConnection(const std::string& name, const std::string&)
{
    connections.at(name)->invalidate();
}

void abandon(const std::string& name, const std::string&)
{
    connections.erase(name);
}

// Repeatedly opens ten connections one after another, each with one call, and then closes them all:
// the first that is closed ends the helper, which some of the next ten then meet while it ends.
void cycle(const std::string& name, const std::string& count)
{
    int answered = 0;
    int failed = 0;
    for (int left = std::stoi(count); left > 0; left -= 10) {
        std::array<std::promise<bool>, 10> answers;
        std::vector<std::shared_ptr<ClientConnection>> opened;
        for (std::promise<bool>& isAnswered : answers) {
            opened.push_back(newConnection());
            opened.back()->resume();
            remoteObjectProxyWithErrorHandler(opened.back(), [&](const auto&) {
                isAnswered.set_value(false);
            })->getVersion([&](const auto&) { isAnswered.set_value(true); });
            std::this_thread::sleep_for(std::chrono::microseconds{left * 37 % 900});
        }
        for (std::promise<bool>& isAnswered : answers)
            ++(isAnswered.get_future().get() ? answered : failed);
        for (const auto& connection : opened)
            connection->invalidate();
    }
    say(name + " answered " + std::to_string(answered) + " failed " + std::to_string(failed));
}

void execute(const std::string& program, const std::string&)
{
    ::execl(program.c_str(), program.c_str(), nullptr);
    say("cannot execute " + program);
}

} // namespace

int main()
{
    const std::map<std::string, std::function<void(const std::string&, const std::string&)>> words{
        {"connect", openConnection},
        {"version", askVersion},
        {"run", run},
        {"run-with-data", runWithAuthData},
        {"run-without-data", runWithoutAuthData},
        {"close", closeConnection},
        {"abandon", abandon},
        {"cycle", cycle},
        {"execute", execute},
    };
    say("ready");
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words_in_line{line};
        std::string word;
        std::string name;
        std::string rest;
        words_in_line >> word >> name >> std::ws;
        std::getline(words_in_line, rest);
        words.at(word)(name, rest);
    }
    std::fflush(stdout);
    // Calls that are still waiting are abandoned.
    ::_exit(0);
}
