// helper-latency: measures, on the system bus, how long a request for the helper's version takes:
// on an open connection, as the first call of a client that the helper does not know, and when the
// helper has to be started for it. Must be signed like the helper, and be the helper's only client.

#include "channel/protocol/ClientSide.h"
#include "channel/protocol/HelperConstants.h"
#include "platform/bus/tests/ClientProgram.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <future>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using namespace veltra;
using namespace std::chrono_literals;

// What this program is started with to be one of the new clients.
constexpr const char* clientArgument = "client";

using Milliseconds = std::chrono::duration<double, std::milli>;

/// A separate client, which the helper has to identify first.
class Client {
  public:
    Client()
    {
        connection_->setInvalidationHandler([this] { ended_.set_value(); });
        connection_->resume();
    }

    /// How long a request for the version takes.
    Milliseconds timeOfCall()
    {
        std::promise<bool> isAnswered;
        const auto start = std::chrono::steady_clock::now();
        remoteObjectProxyWithErrorHandler(connection_, [&](const auto&) {
            isAnswered.set_value(false);
        })->getVersion([&](const auto&) { isAnswered.set_value(true); });
        if (!isAnswered.get_future().get())
            throw std::runtime_error{"the helper did not answer"};
        return std::chrono::steady_clock::now() - start;
    }

    /// Closes the connection, which ends the helper, and waits until it has released its name.
    void close()
    {
        connection_->invalidate();
        ended_.get_future().wait();
        while (isHelperThere())
            std::this_thread::sleep_for(10ms);
    }

  private:
    bool isHelperThere()
    {
        std::promise<bool> answer;
        bus_.post([&] {
            BusConnection& bus = *bus_.connection().value();
            auto question = bus.methodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                           "org.freedesktop.DBus", "NameHasOwner");
            auto reply = bus.call(question.append(std::string{HelperConstants::machServiceName}));
            bool isThere = false;
            answer.set_value(reply && reply.value().read(isThere) && isThere);
        });
        return answer.get_future().get();
    }

    ServiceBus bus_;
    std::promise<void> ended_;
    std::shared_ptr<ClientConnection> connection_ = std::make_shared<ClientConnection>(
        ClientConnection::initWithMachServiceName(HelperConstants::machServiceName, bus_));
};

void print(const char* what, std::vector<Milliseconds> times)
{
    std::ranges::sort(times);
    std::printf("%-28s %5zu calls: median %7.2f ms, worst %7.2f ms\n", what, times.size(),
                times[times.size() / 2].count(), times.back().count());
}

std::vector<Milliseconds> startingTheHelper(int count)
{
    std::vector<Milliseconds> times;
    for (int i = 0; i < count; ++i) {
        Client client;
        times.push_back(client.timeOfCall());
        client.close();
        // The helper's process ends only after it has released its name.
        std::this_thread::sleep_for(300ms);
    }
    return times;
}

// Each is a program of its own, as in the field: what the helper looks at grows with a program's
// threads and mappings. The first client to leave ends the helper, so all stay.
std::vector<Milliseconds> asNewClients(int count)
{
    std::vector<std::unique_ptr<ClientProgram>> clients;
    std::vector<Milliseconds> times;
    for (int i = 0; i < count; ++i) {
        clients.push_back(std::make_unique<ClientProgram>(
            ClientProgram::Words{"/proc/self/exe", clientArgument}));
        times.emplace_back(std::stod(clients.back()->line()));
    }
    // The helper was started for the first one.
    times.erase(times.begin());
    return times;
}

void callOnceAndStay()
{
    Client client;
    std::cout << client.timeOfCall().count() << std::endl;
    std::cin.get();
}

std::vector<Milliseconds> onOpenConnection(int count)
{
    Client client;
    client.timeOfCall();
    std::vector<Milliseconds> times(static_cast<std::size_t>(count));
    std::ranges::generate(times, [&] { return client.timeOfCall(); });
    return times;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (argc == 2 && argv[1] == std::string_view{clientArgument}) {
            callOnceAndStay();
            return EXIT_SUCCESS;
        }
        print("starting the helper", startingTheHelper(20));
        print("first call of a client", asNewClients(101));
        std::this_thread::sleep_for(2s);
        print("on an open connection", onOpenConnection(1000));
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "helper-latency: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
