#include "helper/ClientSignatures.h"

#include "platform/base/tests/SleepingProcess.h"

#include <memory>
#include <utility>

#include <gtest/gtest.h>

namespace veltra {
namespace {

// The token is released with the last reference to the client, weak references included.
ClientSignatures::Client clientWith(std::shared_ptr<int> token, const SleepingProcess& process)
{
    auto pinned =
        std::make_unique<PinnedProcess>(std::move(PinnedProcess::open(process.pid()).value()));
    return ClientSignatures::Client{pinned.release(),
                                    [token = std::move(token)](const PinnedProcess* client) {
                                        std::default_delete<const PinnedProcess>{}(client);
                                    }};
}

TEST(ClientSignatures, KeepNothingOfAClientThatIsGoneOnceTheyKnowAnother)
{
    ClientSignatures signatures;
    const SleepingProcess process;
    auto token = std::make_shared<int>(0);
    const std::weak_ptr<int> kept = token;
    auto client = clientWith(std::move(token), process);
    signatures.examine(client);
    client.reset();
    const bool wasKept = !kept.expired();

    const auto other = clientWith(nullptr, process);
    signatures.examine(other);

    EXPECT_TRUE(wasKept);
    EXPECT_TRUE(kept.expired());
}

} // namespace
} // namespace veltra
