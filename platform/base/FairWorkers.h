#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include <sys/types.h>

namespace veltra {

/// A few threads that do work for users who do not trust each other.
///
/// A user has one of the threads at a time at most, and users take turns, so one whose work never
/// ends keeps one thread from the others. There are no threads while there is no work. All
/// functions may be called from any thread. Work that has begun when the object is destroyed goes
/// on, and so does what waits for it.
class FairWorkers {
  public:
    /// A user's place. It is free again when it, its copies and the work that was posted with it
    /// have been destroyed.
    using Place = std::shared_ptr<const void>;

    FairWorkers(std::size_t mostThreads, std::size_t placesOfUser);
    FairWorkers(const FairWorkers&) = delete;
    FairWorkers& operator=(const FairWorkers&) = delete;
    ~FairWorkers() = default;

    /// Null if all places of the user are taken.
    [[nodiscard]] Place takePlace(uid_t user);

    /// Does the work on a thread, soon. It must not throw. If no thread can be started, it waits
    /// until one can be for work that is posted later.
    void post(uid_t user, Place place, std::function<void()> work);

  private:
    struct State;

    static void serve(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state_;
};

} // namespace veltra
