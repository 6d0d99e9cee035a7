#include "platform/base/FairWorkers.h"

#include <deque>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace veltra {

struct FairWorkers::State {
    struct Work {
        Place place;
        std::function<void()> run;
    };
    struct User {
        std::size_t places = 0;
        std::deque<Work> waiting;
        bool isServed = false; // it is being served, or its turn will come
    };

    const std::size_t mostThreads;
    const std::size_t placesOfUser;

    std::mutex mutex;
    // All guarded by the mutex.
    std::map<uid_t, User> users;
    std::deque<uid_t> turns;
    std::size_t threads = 0;
};

FairWorkers::FairWorkers(std::size_t mostThreads, std::size_t placesOfUser)
    : state_{new State{.mostThreads = mostThreads,
                       .placesOfUser = placesOfUser,
                       .mutex = {},
                       .users = {},
                       .turns = {}}}
{
}

FairWorkers::Place FairWorkers::takePlace(uid_t user)
{
    const auto giveBack = [state = state_, user](const void*) {
        const std::lock_guard lock{state->mutex};
        if (--state->users[user].places == 0)
            state->users.erase(user);
    };
    {
        const std::lock_guard lock{state_->mutex};
        std::size_t& taken = state_->users[user].places;
        if (taken == state_->placesOfUser)
            return nullptr;
        ++taken;
    }
    return Place{state_.get(), giveBack};
}

void FairWorkers::post(uid_t user, Place place, std::function<void()> work)
{
    const std::lock_guard lock{state_->mutex};
    State::User& its = state_->users[user];
    its.waiting.push_back({std::move(place), std::move(work)});
    if (!std::exchange(its.isServed, true))
        state_->turns.push_back(user);
    if (state_->turns.empty() || state_->threads == state_->mostThreads)
        return;
    try {
        std::thread{[state = state_] { serve(state); }}.detach();
        ++state_->threads;
    } catch (const std::system_error&) {
        // The system grants no more threads now.
    }
}

void FairWorkers::serve(const std::shared_ptr<State>& state)
{
    std::unique_lock lock{state->mutex};
    while (!state->turns.empty()) {
        const uid_t user = state->turns.front();
        state->turns.pop_front();
        // The place keeps the entry.
        State::User& its = state->users[user];
        State::Work work = std::move(its.waiting.front());
        its.waiting.pop_front();

        lock.unlock();
        work.run();
        work.run = {};
        lock.lock();
        its.isServed = !its.waiting.empty();
        if (its.isServed)
            state->turns.push_back(user);
        lock.unlock();
        work.place = {};
        lock.lock();
    }
    --state->threads;
}

} // namespace veltra
