#include "platform/bus/CallerAuthentication.h"

#include "platform/bus/ConnectionNames.h"

#include <cstdint>
#include <exception>
#include <thread>
#include <utility>

namespace veltra {

using namespace connections;

namespace {

Result<PinnedProcess> pin(pid_t process, Fd pidfd)
{
    return pidfd ? PinnedProcess::open(process, PidFd{std::move(pidfd)})
                 : PinnedProcess::open(process);
}

} // namespace

CallerAuthentication::CallerAuthentication(Setting setting, std::string uniqueName)
    : setting_{std::move(setting)}
{
    caller_.uniqueName = std::move(uniqueName);
}

CallerAuthentication::~CallerAuthentication()
{
    if (isCounted_ && --(*setting_.underWay)[caller_.user] == 0)
        setting_.underWay->erase(caller_.user);
}

void CallerAuthentication::start(Handler onEnd)
{
    onEnd_ = std::move(onEnd);
    deadline_ =
        setting_.loop->callAfter(patience, [this] { finish("it does not answer in time"); });
    askBus("GetConnectionCredentials", &CallerAuthentication::takeCredentials);
}

void CallerAuthentication::askBus(const char* method, AnswerHandler take)
{
    auto question = setting_.bus->methodCall(busName, busPath, busName, method);
    auto sent = setting_.bus->call(question.append(caller_.uniqueName),
                                   [this, take](BusMessage& answer) { (this->*take)(answer); });
    if (sent)
        question_ = std::move(sent.value());
    else
        finish(sent.error().message());
}

void CallerAuthentication::takeCredentials(BusMessage& answer)
{
    std::map<std::string, BusVariant<std::uint32_t, Fd>> credentials;
    const bool isRead = answer.read(credentials);
    const auto* const process = findProperty<std::uint32_t>(credentials, "ProcessID");
    const auto* const user = findProperty<std::uint32_t>(credentials, "UnixUserID");
    if (!isRead || !process || !user) {
        finish("the bus does not know who it is");
        return;
    }
    caller_.process = static_cast<pid_t>(*process);
    caller_.user = *user;
    int& underWay = (*setting_.underWay)[*user];
    if (underWay >= mostForOneUser) {
        finish("too many of the same user ask at once");
        return;
    }
    ++underWay;
    isCounted_ = true;
    // Newer buses provide a pidfd that they have held since the process connected.
    auto* const pidfd = setting_.takesPidfds ? findProperty<Fd>(credentials, "ProcessFD") : nullptr;
    isPinnedByBus_ = pidfd != nullptr;
    examine(pidfd ? std::move(*pidfd) : Fd{});
}

// The thread keeps the loop alive but not this object: its result may come too late to be needed.
void CallerAuthentication::examine(Fd pidfd)
{
    const PinnedProcess::Expectation expected{caller_.user, setting_.busDaemonProcess};
    auto look = [pid = caller_.process, pidfd = std::move(pidfd), expected,
                 examine = setting_.examine]() mutable -> Examined {
        auto pinned = pin(pid, std::move(pidfd));
        if (!pinned)
            return {nullptr, pinned.error().message()};
        const auto process = std::make_shared<const PinnedProcess>(std::move(pinned.value()));
        if (const auto objection = process->objection(expected))
            return {nullptr, *objection};
        if (examine)
            examine(process);
        return {process, {}};
    };
    std::thread{[look = std::move(look), loop = setting_.loop, weak = weak_from_this()]() mutable {
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

void CallerAuthentication::takeExamined(const Examined& examined)
{
    process_ = examined.process;
    if (!process_)
        finish(examined.objection);
    else if (isPinnedByBus_)
        challenge();
    else
        askBus("NameHasOwner", &CallerAuthentication::takeWhetherNameLives);
}

// If the name still exists, the number that the bus gave is that of the pinned process.
void CallerAuthentication::takeWhetherNameLives(BusMessage& answer)
{
    bool lives = false;
    if (answer.read(lives) && lives)
        challenge();
    else
        finish("it has left the bus");
}

void CallerAuthentication::challenge()
{
    auto made = CallerChallenge::make();
    if (!made) {
        finish(made.error().message());
        return;
    }
    challenge_.emplace(std::move(made.value()));
    auto watch = setting_.loop->watch(challenge_->descriptor(), [this] { takeAnswer(); });
    if (!watch) {
        finish(watch.error().message());
        return;
    }
    answer_ = std::move(watch.value());
    auto request = setting_.bus->methodCall(caller_.uniqueName, peerPath, peerInterface, "Prove");
    request.append(challenge_->takeStrangersEnd(), challenge_->nonce());
    if (const auto sent = setting_.bus->send(request); !sent)
        finish(sent.error().message());
}

void CallerAuthentication::takeAnswer()
{
    finish(challenge_->objection(caller_).value_or(std::string{}));
}

void CallerAuthentication::finish(const std::string& refusal)
{
    const auto self = shared_from_this();
    deadline_ = {};
    question_ = {};
    answer_ = {};
    challenge_.reset();
    if (!refusal.empty())
        process_.reset();
    if (const auto onEnd = std::exchange(onEnd_, {}))
        onEnd(process_, refusal);
}

} // namespace veltra
