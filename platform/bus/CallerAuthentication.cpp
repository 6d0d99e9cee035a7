#include "platform/bus/CallerAuthentication.h"

#include "platform/bus/Refusal.h"

#include <cstdint>
#include <exception>
#include <utility>

namespace veltra {

namespace {

Result<PinnedProcess> pin(pid_t process, Fd pidfd)
{
    return pidfd ? PinnedProcess::open(process, PidFd{std::move(pidfd)})
                 : PinnedProcess::open(process);
}

} // namespace

CallerAuthentication::CallerAuthentication(Setting setting, std::string uniqueName, Fd socket)
    : setting_{std::move(setting)}, socket_{std::move(socket)}
{
    caller_.uniqueName = std::move(uniqueName);
}

void CallerAuthentication::start(Handler onEnd)
{
    onEnd_ = std::move(onEnd);
    deadline_ = setting_.loop->callAfter(patience, [this] { finish(refusal(Refusal::isTooSlow)); });
    askBus("GetConnectionCredentials", &CallerAuthentication::takeCredentials);
}

void CallerAuthentication::askBus(const char* method, AnswerHandler take)
{
    auto question = setting_.bus->busCall(method);
    auto sent = setting_.bus->call(question.append(caller_.uniqueName),
                                   [this, take](BusMessage& answer) { (this->*take)(answer); });
    if (sent)
        question_ = std::move(sent.value());
    else
        finish(sent.error());
}

void CallerAuthentication::takeCredentials(BusMessage& answer)
{
    std::map<std::string, BusVariant<std::uint32_t, Fd>> credentials;
    const bool isRead = answer.read(credentials);
    const auto* const process = findProperty<std::uint32_t>(credentials, "ProcessID");
    const auto* const user = findProperty<std::uint32_t>(credentials, "UnixUserID");
    if (!isRead || !process || !user) {
        finish(refusal(Refusal::isUnknown));
        return;
    }
    caller_.process = static_cast<pid_t>(*process);
    caller_.user = *user;
    place_ = setting_.workers->takePlace(*user);
    if (!place_) {
        finish(refusal(Refusal::isOneOfTooMany));
        return;
    }
    // Newer buses provide a pidfd that they have held since the process connected.
    auto* const pidfd = setting_.takesPidfds ? findProperty<Fd>(credentials, "ProcessFD") : nullptr;
    isPinnedByBus_ = pidfd != nullptr;
    examine(pidfd ? std::move(*pidfd) : Fd{});
}

// The work keeps the loop alive but not this object: its result may come too late to be needed.
void CallerAuthentication::examine(Fd pidfd)
{
    const auto shared = std::make_shared<Fd>(std::move(pidfd));
    const PinnedProcess::Expectation expected{caller_.user, setting_.busDaemonProcess};
    const auto look = [pid = caller_.process, shared, expected,
                       examine = setting_.examine]() -> Result<Process> {
        try {
            auto pinned = pin(pid, std::move(*shared));
            if (!pinned)
                return pinned.error();
            const auto process = std::make_shared<const PinnedProcess>(std::move(pinned.value()));
            if (const auto checked = process->check(expected); !checked)
                return checked.error();
            if (examine)
                examine(process);
            return process;
        } catch (const std::exception& error) {
            return Error{std::make_error_code(std::errc::io_error), error.what()};
        }
    };
    setting_.workers->post(caller_.user, place_,
                           [look, loop = setting_.loop, weak = weak_from_this()] {
                               loop->post([weak, examined = look()] {
                                   if (const auto self = weak.lock())
                                       self->takeExamined(examined);
                               });
                           });
}

void CallerAuthentication::takeExamined(const Result<Process>& examined)
{
    if (!examined) {
        finish(examined.error());
        return;
    }
    process_ = examined.value();
    if (isPinnedByBus_)
        challenge();
    else // The number was the caller's when it was opened if the caller is still there now.
        askBus("NameHasOwner", &CallerAuthentication::takeWhetherNameLives);
}

void CallerAuthentication::takeWhetherNameLives(BusMessage& answer)
{
    bool lives = false;
    if (answer.read(lives) && lives)
        challenge();
    else
        finish(refusal(Refusal::hasLeft));
}

void CallerAuthentication::challenge()
{
    auto sent = CallerChallenge::send(std::move(socket_));
    if (!sent) {
        finish(sent.error());
        return;
    }
    challenge_.emplace(std::move(sent.value()));
    auto watch = setting_.loop->watch(challenge_->descriptor(), [this] { takeAnswer(); });
    if (watch)
        answer_ = std::move(watch.value());
    else
        finish(watch.error());
}

void CallerAuthentication::takeAnswer()
{
    if (const auto checked = challenge_->check(caller_); checked)
        finish(process_);
    else
        finish(checked.error());
}

void CallerAuthentication::finish(const Result<Process>& outcome)
{
    const auto self = shared_from_this();
    deadline_ = {};
    question_ = {};
    answer_ = {};
    challenge_.reset();
    if (const auto onEnd = std::exchange(onEnd_, {}))
        onEnd(outcome);
}

} // namespace veltra
