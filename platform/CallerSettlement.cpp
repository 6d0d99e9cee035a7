#include "platform/CallerSettlement.h"

#include "platform/ConnectionNames.h"

#include <exception>
#include <thread>
#include <utility>

namespace veltra {

using namespace connections;

namespace {

// The object is made for the one call: nothing is to be heard from the client.
void sendChallenge(sdbus::IConnection& bus, const std::string& client, CallerChallenge& challenge)
{
    sdbus::createProxy(bus, client, peerPath)
        ->callMethod("Prove")
        .onInterface(peerInterface)
        .withArguments(sdbus::UnixFd{challenge.takeStrangersEnd().release(), sdbus::adopt_fd},
                       challenge.nonce())
        .dontExpectReply();
}

} // namespace

CallerSettlement::CallerSettlement(Setting setting, std::string uniqueName)
    : setting_{std::move(setting)}
{
    caller_.uniqueName = std::move(uniqueName);
}

CallerSettlement::~CallerSettlement()
{
    if (isCounted_ && --(*setting_.underWay)[caller_.user] == 0)
        setting_.underWay->erase(caller_.user);
}

void CallerSettlement::start(Handler onEnd)
{
    onEnd_ = std::move(onEnd);
    deadline_ =
        setting_.loop->callAfter(patience, [this] { settle("it does not answer in time"); });
    askForCredentials();
}

void CallerSettlement::askForCredentials()
{
    using Credentials = std::map<std::string, sdbus::Variant>;
    setting_.busDaemon->callMethodAsync("GetConnectionCredentials")
        .onInterface(busName)
        .withArguments(caller_.uniqueName)
        .uponReplyInvoke(
            [weak = weak_from_this()](const sdbus::Error* error, const Credentials& credentials) {
                const auto self = weak.lock();
                if (!self)
                    return;
                const auto process = credentials.find("ProcessID");
                const auto user = credentials.find("UnixUserID");
                if (error || process == credentials.end() || user == credentials.end())
                    self->settle("the bus does not know who it is");
                else
                    self->takeCredentials(static_cast<pid_t>(process->second.get<std::uint32_t>()),
                                          user->second.get<std::uint32_t>());
            });
}

void CallerSettlement::takeCredentials(pid_t process, uid_t user)
{
    caller_.process = process;
    caller_.user = user;
    int& underWay = (*setting_.underWay)[user];
    if (underWay >= mostForOneUser) {
        settle("too many of the same user ask at once");
        return;
    }
    ++underWay;
    isCounted_ = true;
    examine();
}

// The thread keeps the loop but not this: what it finds may come too late for anybody to care.
void CallerSettlement::examine()
{
    const PinnedProcess::Expectation expected{caller_.user, setting_.busDaemonProcess};
    const auto look = [pid = caller_.process, expected, examine = setting_.examine]() -> Examined {
        auto pinned = PinnedProcess::open(pid);
        if (!pinned)
            return {nullptr, pinned.error().message()};
        const auto process = std::make_shared<const PinnedProcess>(std::move(pinned.value()));
        if (const auto objection = process->objection(expected))
            return {nullptr, *objection};
        if (examine)
            examine(process);
        return {process, {}};
    };
    std::thread{[look, loop = setting_.loop, weak = weak_from_this()] {
        Examined examined;
        try {
            examined = look();
        } catch (const std::exception& error) {
            examined = {nullptr, error.what()};
        }
        loop->post([weak, examined] {
            if (const auto self = weak.lock())
                self->takeExamined(examined);
        });
    }}.detach();
}

void CallerSettlement::takeExamined(const Examined& examined)
{
    process_ = examined.process;
    if (process_)
        askWhetherNameLives();
    else
        settle(examined.objection);
}

// As long as it does, the number that the bus gave is the number of the process that was pinned.
void CallerSettlement::askWhetherNameLives()
{
    setting_.busDaemon->callMethodAsync("NameHasOwner")
        .onInterface(busName)
        .withArguments(caller_.uniqueName)
        .uponReplyInvoke([weak = weak_from_this()](const sdbus::Error* error, bool lives) {
            const auto self = weak.lock();
            if (!self)
                return;
            if (error || !lives)
                self->settle("it has left the bus");
            else
                self->challenge();
        });
}

void CallerSettlement::challenge()
{
    auto made = CallerChallenge::make();
    if (!made) {
        settle(made.error().message());
        return;
    }
    challenge_.emplace(std::move(made.value()));
    auto watch = setting_.loop->watch(challenge_->descriptor(), [this] { takeAnswer(); });
    if (!watch) {
        settle(watch.error().message());
        return;
    }
    answer_ = std::move(watch.value());
    sendChallenge(*setting_.bus, caller_.uniqueName, *challenge_);
}

void CallerSettlement::takeAnswer()
{
    settle(challenge_->objection(caller_).value_or(std::string{}));
}

void CallerSettlement::settle(const std::string& refusal)
{
    const auto self = shared_from_this();
    deadline_ = {};
    answer_ = {};
    challenge_.reset();
    if (!refusal.empty())
        process_.reset();
    if (const auto onEnd = std::exchange(onEnd_, {}))
        onEnd(process_, refusal);
}

} // namespace veltra
